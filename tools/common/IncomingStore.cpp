#include "common/IncomingStore.h"

#include <fcntl.h>
#include <unistd.h>

#include "common/CurrentUids.h"
#include "common/ScpLoop.h"

namespace b3tool {

std::string commandText(DcMsg& msg, int tag)
{
    char text[DICT_UID_MAX + 1] = "";
    msg.getValue(tag, text, DICT_UID_MAX, ELEM_VAL_INDEX_KEEP);
    return text;
}

IncomingStore::~IncomingStore()
{
    delete pending;
    file.discard();
    partialPath[0] = '\0';
    if (nowhere >= 0)
        close(nowhere);
}

void IncomingStore::request(DcMsm& msm, DcCmdCStoreRq* rq)
{
    delete pending;
    pending = rq;
    pendingProblem.clear();
    DcPduInfoTf tf;
    rq->getInfo(tf);
    DcMsmAssoInfo asso;
    msm.getAssoInfo(asso);
    DcDirMetaInfo meta;
    meta.sopClassUid = dictUid(commandText(*rq, T_0000_0002_affectedSopClassUid), UID_SOP_CLASS);
    snprintf(meta.sopInstanceUid, sizeof meta.sopInstanceUid, "%s",
             commandText(*rq, T_0000_1000_affectedSopInstanceUid).c_str());
    for (int i = 0; i < MSM_PRES_CTX_MAX; i++)
        if (asso.presCtxId[i] != 0 && asso.presCtxId[i] == tf.presCtxId)
            meta.xferSyn = asso.xferSyn[i];
    snprintf(meta.sourceAeTitle, sizeof meta.sourceAeTitle, "%s", asso.callingAeTitle);
    int fd = file.open(meta, pendingProblem);
    snprintf(partialPath, sizeof partialPath, "%s", file.partialPath().c_str());
    // Without a file the data set is still taken as it comes, and dropped:
    // the request fails, memory stays small and the association goes on.
    if (fd < 0) {
        if (nowhere < 0)
            nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        fd = nowhere;
    }
    raw.expect(fd);
}

unsigned short IncomingStore::finish(std::string& where)
{
    std::string problem = pendingProblem;
    int status = raw.status();
    if (problem.empty() && status != 0) {
        char code[32];
        snprintf(code, sizeof code, " (status 0x%04x)", status);
        problem = status == MSM_ERR_RAW_WRITE ? systemErrorText(raw.writeErrno()) : "data set not received";
        problem += code;
    }
    std::string instance = raw.sopInstanceUid();
    if (instance.empty() && pending != nullptr)
        instance = commandText(*pending, T_0000_1000_affectedSopInstanceUid);
    if (problem.empty() && file.finish(raw.studyInstanceUid(), instance, where, problem)) {
        partialPath[0] = '\0';
        return STORE_SUCCESS;
    }
    file.discard();
    partialPath[0] = '\0';
    where = (where.empty() ? instance : where) + ": " + problem;
    return STORE_OUT_OF_RESOURCES;
}

void IncomingStore::answer(DcMsm& msm, unsigned short status)
{
    if (pending == nullptr)
        return;
    DcCmdCStoreRsp rsp;
    rsp.parseRequest(pending);
    rsp.add(new DcElem(T_0000_0900_status, status));
    DcPduInfoTf info;
    pending->getInfo(info);
    msm.write(info.presCtxId, &rsp);
    delete pending;
    pending = nullptr;
}

std::string IncomingStore::sopClassUid() const
{
    return pending == nullptr ? std::string() : commandText(*pending, T_0000_0002_affectedSopClassUid);
}

}

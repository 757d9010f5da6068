#include "archive/Retrieving.h"

#include <cstdio>
#include <cstring>

#include "archive/Keys.h"
#include "archive/Storage.h"
#include "common/QueryKeys.h"

namespace b3archive {

namespace {

enum : unsigned short { STORE_SUCCESS = 0x0000, STORE_OUT_OF_RESOURCES = 0xA700 };

int countOf(DcMsg& rsp, int tag)
{
    unsigned short value = 0;
    if (rsp.getValue(tag, value, ELEM_VAL_INDEX_KEEP) != 0)
        return -1;
    return value;
}

}

bool IncomingFiles::take(DcMsm& msm, DcMsg* msg)
{
    MSG_TYPE type = MSG_NONE;
    msg->getType(type);
    if (type == MSG_C_STORE_RQ) {
        delete pending;
        pending = static_cast<DcCmdCStoreRq*>(msg);
        return true;
    }
    if (type != MSG_IOD || pending == nullptr)
        return false;
    DcPduInfoTf info;
    msg->getInfo(info);
    DcDirMetaInfo meta;
    meta.xferSyn = info.xferSyn;
    DcMsmAssoInfo asso;
    msm.getAssoInfo(asso);
    // The sender is the peer: the caller of a move's association, the called
    // side of a get's.
    const char* sender = strcmp(asso.callingAeTitle, msm.getAeTitle()) == 0 ? asso.calledAeTitle : asso.callingAeTitle;
    snprintf(meta.sourceAeTitle, sizeof meta.sourceAeTitle, "%s", sender);
    std::string relative;
    std::string error;
    unsigned short status = STORE_SUCCESS;
    if (writeObjectFile(folder, meta, *msg->getElemList(), relative, error)) {
        stored++;
    } else {
        status = STORE_OUT_OF_RESOURCES;
        failed++;
        fprintf(stderr, "could not store an object: %s\n", error.c_str());
    }
    DcCmdCStoreRsp rsp;
    rsp.parseRequest(pending);
    rsp.add(new DcElem(T_0000_0900_status, status));
    DICT_UID sopClass = UID_NONE;
    pending->getValue(T_0000_0002_affectedSopClassUid, sopClass, ELEM_VAL_INDEX_KEEP);
    msm.write(sopClass, &rsp);
    delete pending;
    pending = nullptr;
    delete msg;
    return true;
}

void IncomingFiles::serve(DcMsm& msm)
{
    for (;;) {
        DcMsg* msg = nullptr;
        DICT_UID sopClass;
        int status = msm.read(&sopClass, &msg, MSM_READ_BLOCKING, MSM_CONNECT_BLOCKING);
        if (status == MSM_READ_ASSO_RQ)
            continue;
        if (status != MSM_READ_MESSAGE || msg == nullptr) {
            delete msg;
            if (status == MSM_READ_RELEASE_RQ)
                msm.event13_writeRelRpPdu();
            break;
        }
        if (!take(msm, msg))
            delete msg;
    }
    msm.closeAssociation();
}

bool fillRetrieveRequest(const char* program, DcCmd& rq, DICT_UID model, const std::string& level,
                         const std::vector<std::string>& keys)
{
    unsigned short messageId = 0;
    Dict.genMsgId(messageId);
    rq.add(new DcElem(T_0000_0002_affectedSopClassUid, model));
    rq.add(new DcElem(T_0000_0110_messageId, messageId));
    rq.add(new DcElem(T_0000_0700_priority, static_cast<unsigned short>(0)));
    rq.add(new DcElem(T_0008_0052_queryRetrieveLevel, level.c_str()));
    for (const std::string& key : keys) {
        DcElem* elem = b3tool::keyElement(program, key);
        if (elem == nullptr)
            return false;
        rq.add(elem);
    }
    return true;
}

RetrieveCounts countsOf(DcMsg& rsp)
{
    RetrieveCounts counts;
    counts.remaining = countOf(rsp, T_0000_1020_numberOfRemainingSuboperations);
    counts.completed = countOf(rsp, T_0000_1021_numberOfCompletedSuboperations);
    counts.failed = countOf(rsp, T_0000_1022_numberOfFailedSuboperations);
    counts.warning = countOf(rsp, T_0000_1023_numberOfWarningSuboperations);
    return counts;
}

void printFailedList(DcMsm& msm, DcMsg& finalResponse)
{
    unsigned short dataSetType = CMD_DATASET_ABSENT;
    finalResponse.getValue(T_0000_0800_commandDataSetType, dataSetType, ELEM_VAL_INDEX_KEEP);
    if (dataSetType == CMD_DATASET_ABSENT)
        return;
    DcMsg* data = nullptr;
    DICT_UID sopClass;
    if (msm.read(&sopClass, &data, MSM_READ_BLOCKING, MSM_CONNECT_BLOCKING) == MSM_READ_MESSAGE && data != nullptr) {
        std::string failed = valueOf(*data->getElemList(), T_0008_0058_failedSopInstanceUidList);
        if (!failed.empty())
            printf("failed SOP instances: %s\n", failed.c_str());
    }
    delete data;
}

void printProgress(const RetrieveCounts& counts)
{
    int done = counts.completed + counts.failed + counts.warning;
    if (counts.remaining >= 0)
        printf("%d of %d done: %d completed, %d failed, %d warning\n", done, done + counts.remaining,
               counts.completed, counts.failed, counts.warning);
    else
        printf("%d completed, %d failed, %d warning\n", counts.completed < 0 ? 0 : counts.completed,
               counts.failed < 0 ? 0 : counts.failed, counts.warning < 0 ? 0 : counts.warning);
}

}

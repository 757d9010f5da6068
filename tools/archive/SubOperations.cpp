#include "archive/SubOperations.h"

#include <map>

namespace b3archive {

namespace {

bool isUncompressedLittle(DICT_UID xfer)
{
    return xfer == UID_LITTLE_ENDIAN_IMPLICIT || xfer == UID_LITTLE_ENDIAN_EXPLICIT;
}

bool isWarning(int status)
{
    return status == 0x0001 || (status & 0xF000) == 0xB000;
}

void failOne(const std::string& uid, SubOpCounts& counts)
{
    counts.failed++;
    counts.failedUids.push_back(uid);
}

}

std::vector<Outgoing> prepareOutgoing(const std::string& root, const std::vector<RetrieveItem>& items,
                                      SubOpCounts& counts)
{
    std::vector<Outgoing> files;
    for (const RetrieveItem& item : items) {
        Outgoing file;
        file.sopInstanceUid = item.sopInstanceUid;
        file.path = root + "/" + item.path;
        DcDirMetaInfo meta;
        unsigned int offset = 0;
        if (dirReadFileMetaInfo(file.path.c_str(), meta, offset) != 0 || meta.sopClassUid == UID_NONE ||
            meta.xferSyn == UID_NONE) {
            failOne(item.sopInstanceUid, counts);
            continue;
        }
        file.sopClass = meta.sopClassUid;
        file.xferSyn = meta.xferSyn;
        files.push_back(file);
    }
    counts.remaining = static_cast<int>(files.size());
    return files;
}

std::vector<DcMsmSopXferSyn> contextsFor(const std::vector<Outgoing>& files)
{
    std::vector<DcMsmSopXferSyn> contexts;
    std::map<std::pair<int, int>, bool> proposed;
    for (const Outgoing& file : files) {
        if (proposed.count({file.sopClass, file.xferSyn}) || contexts.size() >= MSM_PRES_CTX_MAX - 1)
            continue;
        proposed[{file.sopClass, file.xferSyn}] = true;
        DICT_UID syntaxes[3] = {file.xferSyn, UID_NONE, UID_NONE};
        if (isUncompressedLittle(file.xferSyn))
            syntaxes[1] = file.xferSyn == UID_LITTLE_ENDIAN_IMPLICIT ? UID_LITTLE_ENDIAN_EXPLICIT
                                                                    : UID_LITTLE_ENDIAN_IMPLICIT;
        contexts.emplace_back(file.sopClass, syntaxes, MSM_ROLE_NONE);
    }
    contexts.emplace_back();
    return contexts;
}

// The file's own transfer syntax, or the other little-endian uncompressed
// one, which the library converts to.
int SubOperations::contextFor(const Outgoing& file)
{
    DcMsmAssoInfo asso;
    msm.getAssoInfo(asso);
    int convertible = 0;
    for (int i = 0; i < MSM_PRES_CTX_MAX; i++) {
        if (asso.presCtxId[i] == 0 || asso.sopClass[i] != file.sopClass || asso.xferSyn[i] == UID_NONE)
            continue;
        if (asso.xferSyn[i] == file.xferSyn)
            return asso.presCtxId[i];
        if (convertible == 0 && isUncompressedLittle(asso.xferSyn[i]) && isUncompressedLittle(file.xferSyn))
            convertible = asso.presCtxId[i];
    }
    return convertible;
}

bool SubOperations::send(const Outgoing& file, SubOpCounts& counts)
{
    counts.remaining--;
    int context = contextFor(file);
    DcDirMetaInfo meta;
    DcElemList* list = new DcElemList;
    if (context == 0 || dirReadFileHeader(file.path.c_str(), meta, *list) != 0) {
        delete list;
        failOne(file.sopInstanceUid, counts);
        return true;
    }
    unsigned short messageId = 0;
    Dict.genMsgId(messageId);
    DcCmdCStoreRq* rq = new DcCmdCStoreRq;
    rq->add(new DcElem(T_0000_0002_affectedSopClassUid, file.sopClass));
    rq->add(new DcElem(T_0000_0110_messageId, messageId));
    rq->add(new DcElem(T_0000_0700_priority, static_cast<unsigned short>(0)));
    rq->add(new DcElem(T_0000_1000_affectedSopInstanceUid, file.sopInstanceUid.c_str()));
    if (!originator.empty()) {
        rq->add(new DcElem(T_0000_1030_moveOriginatorApplicationEntityTitle, originator.c_str()));
        rq->add(new DcElem(T_0000_1031_moveOriginatorMessageId, originatorId));
    }
    rq->add(list);
    int status = msm.write(static_cast<unsigned char>(context), rq);
    delete rq;
    if (status != 0) {
        failOne(file.sopInstanceUid, counts);
        return false;
    }
    for (;;) {
        DcMsg* msg = nullptr;
        DICT_UID sopClass;
        status = msm.read(&sopClass, &msg, MSM_READ_BLOCKING, MSM_CONNECT_BLOCKING);
        MSG_TYPE type = MSG_NONE;
        if (status != MSM_READ_MESSAGE || msg == nullptr || msg->getType(type) != 0) {
            delete msg;
            failOne(file.sopInstanceUid, counts);
            return false;
        }
        if (type != MSG_C_STORE_RSP) {
            if (onOther)
                onOther(*msg);
            delete msg;
            continue;
        }
        unsigned short answer = 0xFFFF;
        bool hasStatus = msg->getValue(T_0000_0900_status, answer, ELEM_VAL_INDEX_KEEP) == 0;
        delete msg;
        if (hasStatus && answer == 0)
            counts.completed++;
        else if (hasStatus && isWarning(answer))
            counts.warning++;
        else
            failOne(file.sopInstanceUid, counts);
        return true;
    }
}

}

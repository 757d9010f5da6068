#include "archive/Service.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <unistd.h>

#include "archive/Storage.h"
#include "archive/SubOperations.h"
#include "common/CurrentUids.h"

namespace b3archive {

namespace {

using namespace b3tool;

// The bytes of the extended negotiation of a FIND SOP class: relational
// queries, combined date-time matching, fuzzy semantic matching of person
// names, timezone adjustment; 1 asks for (or grants) each.
enum { RELATIONAL_BYTE, COMBINED_DATE_TIME_BYTE, FUZZY_NAMES_BYTE, TIMEZONE_BYTE, FIND_NEGOTIATION_BYTES };

const unsigned int TAG_CHARSET = 0x00080005;
const unsigned int TAG_LEVEL = 0x00080052;
const unsigned int TAG_RETRIEVE_AE = 0x00080054;
const unsigned int TAG_FAILED_UIDS = 0x00080058;

// Whether text needs no character set beyond the default repertoire.
bool isPlainAscii(const std::string& text)
{
    for (unsigned char c : text)
        if (c >= 0x80 || c == 0x1B)
            return false;
    return true;
}

// An answer's element: the value as text, or empty. A sequence key comes
// back as an empty sequence.
DcElem* textElement(unsigned int tag, const std::string& value)
{
    DICT_VR vr = VR_UNKNOWN;
    if (Dict.getVrDef(tag, vr) == 0 && vr == VR_SQ)
        return new DcElemSq(static_cast<unsigned short>(tag >> 16), static_cast<unsigned short>(tag & 0xFFFF));
    DcElem* elem = new DcElem(static_cast<unsigned short>(tag >> 16), static_cast<unsigned short>(tag & 0xFFFF));
    if (!value.empty() && elem->addValue(value.c_str()) != 0)
        elem->deleteAllValues();
    return elem;
}

}

bool Service::answerExtNeg(void* self, const DcPduExtNeg& asked, DcPduExtNeg& answer)
{
    Service& service = *static_cast<Service*>(self);
    std::string sopClass = asked.sopClassUid;
    if (sopClass != uidText(UID_PAT_ROOT_Q_R_FIND) && sopClass != uidText(UID_STUDY_ROOT_Q_R_FIND))
        return false;
    // Of what was asked, only combined date-time matching is granted; the
    // answer is no longer than the question.
    answer.infoLen = std::min<unsigned int>(asked.infoLen, FIND_NEGOTIATION_BYTES);
    for (unsigned int i = 0; i < answer.infoLen; i++)
        answer.info[i] = 0;
    if (asked.infoLen > COMBINED_DATE_TIME_BYTE && asked.info[COMBINED_DATE_TIME_BYTE] == 1) {
        answer.info[COMBINED_DATE_TIME_BYTE] = 1;
        service.combinedDateTime.insert(sopClass);
    }
    return true;
}

std::vector<DcMsmSopXferSyn> archiveContexts()
{
    std::vector<DICT_UID> syntaxes;
    for (int uid = UID_JPEG_BASELINE; uid <= UID_RLE_LOSSLESS; uid++)
        syntaxes.push_back(static_cast<DICT_UID>(uid));
    syntaxes.insert(syntaxes.end(), {UID_LITTLE_ENDIAN_EXPLICIT, UID_LITTLE_ENDIAN_IMPLICIT, UID_BIG_ENDIAN_EXPLICIT,
                                     UID_NONE});
    DICT_UID plain[] = {UID_LITTLE_ENDIAN_EXPLICIT, UID_LITTLE_ENDIAN_IMPLICIT, UID_NONE};

    std::vector<DcMsmSopXferSyn> contexts;
    for (DICT_UID model : {UID_PAT_ROOT_Q_R_FIND, UID_PAT_ROOT_Q_R_MOVE, UID_PAT_ROOT_Q_R_GET, UID_STUDY_ROOT_Q_R_FIND,
                           UID_STUDY_ROOT_Q_R_MOVE, UID_STUDY_ROOT_Q_R_GET})
        contexts.emplace_back(model, plain, MSM_ROLE_NONE);
    for (int uid = UID_VERIFICATION; uid <= UID_BUILTIN_LAST && contexts.size() < MSM_PRES_CTX_MAX - 2; uid++) {
        DICT_UID_TYPE type;
        char desc[DICT_NAME_MAX + 1] = "";
        if (Dict.getUidType(static_cast<DICT_UID>(uid), type) != 0 || type != UID_SOP_CLASS ||
            Dict.getDesc(static_cast<DICT_UID>(uid), desc) != 0)
            continue;
        std::string text = desc;
        if (text.find("Storage") == std::string::npos || text.find("Commitment") != std::string::npos ||
            uid == UID_MEDIA_STORAGE_DIR_STORAGE)
            continue;
        contexts.emplace_back(static_cast<DICT_UID>(uid), syntaxes.data(), MSM_ROLE_NONE);
    }
    contexts.emplace_back(UID_VERIFICATION, nullptr, MSM_ROLE_NONE);
    contexts.emplace_back();
    return contexts;
}

void Service::answer(DcCmd& rsp, DICT_UID model, unsigned short status, DcElemList* identifier)
{
    rsp.add(new DcElem(T_0000_0900_status, status));
    if (identifier != nullptr)
        rsp.add(identifier);
    msm->write(model, &rsp);
}

void Service::store()
{
    std::string where;
    std::string error;
    unsigned short status = incoming.finish(where);
    if (status == STORE_SUCCESS) {
        std::string relative = where.substr(cfg.root.size() + 1);
        bool lacksUids = false;
        if (!indexFile(cfg.root, relative, index, error, &lacksUids)) {
            // The index never lacks a file it could hold: nothing stays.
            unlink(where.c_str());
            status = lacksUids ? STORE_CANNOT_UNDERSTAND : STORE_OUT_OF_RESOURCES;
        }
    }
    if (status == STORE_SUCCESS) {
        stored++;
        printf("[%d] stored %s\n", id, where.c_str());
    } else {
        failedStores++;
        printf("[%d] FAILED to store %s%s%s\n", id, where.c_str(), error.empty() ? "" : ": ", error.c_str());
    }
    incoming.answer(*msm, status);
}

bool Service::cancelWaiting(bool& lost)
{
    int sock = 0;
    msm->getStreamHandle(sock);
    pollfd p = {sock, POLLIN, 0};
    while (sock > 0 && poll(&p, 1, 0) > 0) {
        DcMsg* msg = nullptr;
        DICT_UID sopClass;
        int status = msm->read(&sopClass, &msg, MSM_READ_BLOCKING, MSM_CONNECT_BLOCKING);
        MSG_TYPE type = MSG_NONE;
        if (msg != nullptr)
            msg->getType(type);
        delete msg;
        if (status != MSM_READ_MESSAGE) {
            lost = true;
            return false;
        }
        if (type == MSG_C_CANCEL_RQ) {
            cancelled = true;
            break;
        }
        msm->getStreamHandle(sock);
        p.fd = sock;
    }
    return cancelled;
}

void Service::find(DcCmd& rq, DcMsg& identifier, DICT_UID model)
{
    Query query;
    unsigned short status = QR_SUCCESS;
    std::string reason;
    bool lost = false;
    int matches = 0;
    cancelled = false;
    bool combined = combinedDateTime.count(uidText(model)) != 0;
    if (!parseQuery(*identifier.getElemList(), query, status, reason, combined)) {
        printf("[%d] C-FIND refused: %s\n", id, reason.c_str());
    } else if (model == UID_STUDY_ROOT_Q_R_FIND && query.level == PATIENT) {
        status = QR_BAD_IDENTIFIER;
        printf("[%d] C-FIND refused: no patient level in the study root model\n", id);
    } else {
        bool ok = index.find(
            query,
            [&](const Row& row) {
                if (cancelWaiting(lost) || lost)
                    return false;
                DcElemList* answerSet = new DcElemList;
                bool plain = true;
                for (unsigned int tag : query.requested) {
                    auto it = row.find(tag);
                    std::string value = it != row.end() ? it->second : "";
                    if (tag == TAG_RETRIEVE_AE)
                        value = cfg.aeTitle;
                    plain = plain && isPlainAscii(value);
                    answerSet->add(textElement(tag, value));
                }
                // The character set of the record, as it arrived, whenever
                // the record had one or an answer's text needs one.
                auto charset = row.find(TAG_CHARSET);
                if (charset != row.end() && (!charset->second.empty() || !plain))
                    answerSet->add(textElement(TAG_CHARSET, charset->second));
                answerSet->add(textElement(TAG_LEVEL, levelText(query.level)));
                DcCmdCFindRsp rsp;
                rsp.parseRequest(&rq);
                answer(rsp, model, QR_PENDING, answerSet);
                matches++;
                return true;
            },
            reason);
        if (!ok) {
            status = QR_UNABLE_TO_PROCESS;
            printf("[%d] C-FIND failed: %s\n", id, reason.c_str());
        } else if (cancelled) {
            status = QR_CANCELED;
        }
    }
    if (lost)
        return;
    DcCmdCFindRsp rsp;
    rsp.parseRequest(&rq);
    answer(rsp, model, status, nullptr);
    printf("[%d] C-FIND at %s level: %d match%s, status 0x%04x\n", id, levelText(query.level), matches,
           matches == 1 ? "" : "es", status);
}

void Service::answerRetrieve(DcCmd& rq, DICT_UID model, bool get, unsigned short status, const SubOpCounts* counts)
{
    DcCmdCGetRsp getRsp;
    DcCmdCMoveRsp moveRsp;
    DcCmd* rsp = &moveRsp;
    if (get) {
        getRsp.parseRequest(&rq);
        rsp = &getRsp;
    } else {
        moveRsp.parseRequest(&rq);
    }
    DcElemList* failedList = nullptr;
    if (counts != nullptr) {
        if (status == QR_PENDING || status == QR_CANCELED)
            rsp->add(new DcElem(T_0000_1020_numberOfRemainingSuboperations,
                                static_cast<unsigned short>(counts->remaining)));
        rsp->add(new DcElem(T_0000_1021_numberOfCompletedSuboperations, static_cast<unsigned short>(counts->completed)));
        rsp->add(new DcElem(T_0000_1022_numberOfFailedSuboperations, static_cast<unsigned short>(counts->failed)));
        rsp->add(new DcElem(T_0000_1023_numberOfWarningSuboperations, static_cast<unsigned short>(counts->warning)));
        if (status != QR_PENDING && !counts->failedUids.empty()) {
            std::string uids;
            for (const std::string& uid : counts->failedUids)
                uids += (uids.empty() ? "" : "\\") + uid;
            failedList = new DcElemList;
            failedList->add(textElement(TAG_FAILED_UIDS, uids));
        }
    }
    answer(*rsp, model, status, failedList);
}

void Service::retrieve(DcCmd& rq, DcMsg& identifier, DICT_UID model, bool get)
{
    const char* what = get ? "C-GET" : "C-MOVE";
    Query query;
    unsigned short status = QR_SUCCESS;
    std::string reason;
    cancelled = false;
    if (!parseQuery(*identifier.getElemList(), query, status, reason)) {
        printf("[%d] %s refused: %s\n", id, what, reason.c_str());
        answerRetrieve(rq, model, get, status, nullptr);
        return;
    }
    Destination destination;
    if (!get) {
        std::string name = commandText(rq, T_0000_0600_moveDestination);
        auto it = cfg.destinations.find(name);
        if (it == cfg.destinations.end()) {
            printf("[%d] C-MOVE refused: unknown destination '%s'\n", id, name.c_str());
            answerRetrieve(rq, model, get, QR_UNKNOWN_DESTINATION, nullptr);
            return;
        }
        destination = it->second;
    }
    std::vector<RetrieveItem> items;
    if (!index.instances(query, items, reason)) {
        printf("[%d] %s failed: %s\n", id, what, reason.c_str());
        answerRetrieve(rq, model, get, QR_UNABLE_TO_PROCESS, nullptr);
        return;
    }
    SubOpCounts counts;
    std::vector<Outgoing> files = prepareOutgoing(cfg.root, items, counts);

    DcMsm* out = msm;
    DcMsm moveAssociation(cfg.aeTitle.c_str(), MSM_ROLE_SCU, destination.port);
    std::vector<DcMsmSopXferSyn> contexts = contextsFor(files);
    if (!get && !files.empty()) {
        DcMsmScuInfo info;
        snprintf(info.calledAeTitle, sizeof info.calledAeTitle, "%s", destination.aeTitle.c_str());
        info.sopXferList = contexts.data();
        info.timeouts.readTimeout = static_cast<unsigned int>(cfg.timeout);
        int result = moveAssociation.connect(destination.host.c_str(), info);
        if (result != MSM_READ_ACCEPTED) {
            moveAssociation.closeAssociation();
            for (const Outgoing& file : files)
                counts.failedUids.push_back(file.sopInstanceUid);
            counts.failed += counts.remaining;
            counts.remaining = 0;
            printf("[%d] C-MOVE to %s at %s:%d: no association (0x%04x)\n", id, destination.aeTitle.c_str(),
                   destination.host.c_str(), destination.port, result);
            answerRetrieve(rq, model, get, QR_SUBOPS_IMPOSSIBLE, &counts);
            return;
        }
        out = &moveAssociation;
    }
    DcMsmAssoInfo asso;
    msm->getAssoInfo(asso);
    unsigned short originatorId = 0;
    rq.getValue(T_0000_0110_messageId, originatorId, ELEM_VAL_INDEX_KEEP);
    SubOperations sender(*out, get ? "" : asso.callingAeTitle, originatorId);
    bool lost = false;
    if (get)
        sender.onOther = [this](DcMsg& msg) {
            MSG_TYPE type = MSG_NONE;
            msg.getType(type);
            cancelled |= type == MSG_C_CANCEL_RQ;
        };
    size_t next = 0;
    bool usable = true;
    for (; next < files.size() && usable; next++) {
        if (cancelWaiting(lost) || lost)
            break;
        usable = sender.send(files[next], counts);
        if (usable && next + 1 < files.size())
            answerRetrieve(rq, model, get, QR_PENDING, &counts);
    }
    for (size_t rest = next; rest < files.size() && !cancelled; rest++) {
        counts.failedUids.push_back(files[rest].sopInstanceUid);
        counts.failed++;
        counts.remaining--;
    }
    if (!get && !files.empty()) {
        if (usable && !lost)
            moveAssociation.releaseAssociation();
        else
            moveAssociation.abortAssociation();
        moveAssociation.closeAssociation();
    }
    if (lost) {
        printf("[%d] %s stopped: the caller has gone (%d sent)\n", id, what, counts.completed + counts.warning);
        return;
    }
    if (cancelled) {
        for (size_t rest = next; rest < files.size(); rest++)
            counts.failedUids.push_back(files[rest].sopInstanceUid);
        status = QR_CANCELED;
    } else if (counts.failed > 0 || counts.warning > 0) {
        status = counts.completed + counts.warning > 0 ? QR_SUBOPS_WARNING : QR_SUBOPS_IMPOSSIBLE;
    }
    answerRetrieve(rq, model, get, status, &counts);
    printf("[%d] %s at %s level: %d completed, %d failed, %d warning, status 0x%04x\n", id, what,
           levelText(query.level), counts.completed, counts.failed, counts.warning, status);
}

int Service::serve(int sock, const sockaddr_in& peerAddress)
{
    std::vector<DcMsmSopXferSyn> contexts = archiveContexts();
    std::vector<char*> accepted = acceptedTitles(cfg);

    DcMsm association(cfg.aeTitle.c_str(), MSM_ROLE_SCP, static_cast<int>(cfg.port));
    msm = &association;
    DcMsmScpInfo info;
    info.acceptAeTitles = accepted.data();
    info.sopXferList = contexts.data();
    info.timeouts.readTimeout = static_cast<unsigned int>(cfg.timeout);
    info.extNegAnswer = answerExtNeg;
    info.extNegUserData = this;
    association.setDataSetSink(&incoming.sink());
    int status = association.adoptConnection(sock, &peerAddress, sizeof peerAddress);
    if (status == 0)
        status = association.connect(info);
    if (status != 0) {
        printf("[%d] no association: accepting the connection failed (status 0x%04x)\n", id, status);
        return 1;
    }

    DcCmd* pending = nullptr;
    DICT_UID pendingModel = UID_NONE;
    const char* ending = "connection closed";
    bool open = true;
    while (open) {
        DcMsg* msg = nullptr;
        DICT_UID sopClass = UID_NONE;
        status = association.read(&sopClass, &msg, MSM_READ_BLOCKING, MSM_CONNECT_BLOCKING);
        MSG_TYPE type = MSG_NONE;
        if (msg != nullptr)
            msg->getType(type);
        switch (status) {
        case MSM_READ_ASSO_RQ: {
            DcMsmAssoInfo asso;
            association.getAssoInfo(asso);
            if (asso.callingAeTitle[0] == '\0') {
                printf("[%d] association request refused: AE title not accepted\n", id);
                open = false;
                ending = nullptr;
                break;
            }
            peer = std::string(asso.callingAeTitle) + " (" + asso.ipAddress + ")";
            printf("[%d] association from %s\n", id, peer.c_str());
            break;
        }
        case MSM_READ_MESSAGE:
            if (type == MSG_C_STORE_RQ) {
                incoming.request(association, static_cast<DcCmdCStoreRq*>(msg));
                msg = nullptr;
            } else if (type == MSG_IOD && incoming.waiting()) {
                store();
            } else if (type == MSG_C_FIND_RQ || type == MSG_C_MOVE_RQ || type == MSG_C_GET_RQ) {
                delete pending;
                pending = static_cast<DcCmd*>(msg);
                pendingModel = sopClass;
                msg = nullptr;
            } else if (type == MSG_IOD && pending != nullptr) {
                MSG_TYPE command = MSG_NONE;
                pending->getType(command);
                if (command == MSG_C_FIND_RQ)
                    find(*pending, *msg, pendingModel);
                else
                    retrieve(*pending, *msg, pendingModel, command == MSG_C_GET_RQ);
                delete pending;
                pending = nullptr;
            }
            break;
        case MSM_READ_RELEASE_RQ:
            association.event13_writeRelRpPdu();
            ending = "released";
            open = false;
            break;
        case MSM_READ_ABORT:
            ending = "aborted by the peer";
            open = false;
            break;
        default:
            ending = status == MSM_READ_TIMEOUT ? "timed out" : "connection lost";
            open = false;
            break;
        }
        delete msg;
        fflush(stdout);
    }
    delete pending;
    association.closeAssociation();
    msm = nullptr;
    if (ending != nullptr)
        printf("[%d] association from %s %s: %d stored, %d failed\n", id, peer.c_str(), ending, stored,
               failedStores);
    return failedStores == 0 ? 0 : 1;
}

}

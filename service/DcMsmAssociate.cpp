#include "service/DcMsm.h"

#include <cstring>

#include <arpa/inet.h>
#include <sys/socket.h>

#include "dictionary/DcDict.h"
#include "foundation/DcLog.h"
#include "foundation/util.h"
#include "dataset/DcElem.h"
#include "internal/CharRules.h"
#include "internal/Text.h"

namespace {

enum { REJECT_PERMANENT = 1, REJECT_SOURCE_PRESENTATION = 3 };
enum { REJECT_REASON_OTHER = 1, REJECT_REASON_CALLING_AE = 3, REJECT_REASON_CALLED_AE = 7 };

// Only digits and '.' in a UID, only printable characters in an AE title.
int verifyText(const char* text, bool uid)
{
    for (const char* c = text; *c != '\0'; c++) {
        unsigned char ch = static_cast<unsigned char>(*c);
        bool ok = uid ? brenik3::uidString(ch) : brenik3::printableAscii(ch);
        if (!ok) {
            logReport(LOG_CHANNEL_1, uid ? "verifyValueUI" : "verifyValueAE", "Illegal character '%c' (0x%x) in string",
                      *c, static_cast<unsigned int>(ch));
            return ELEM_ERR_ILLEGAL_CHAR;
        }
    }
    return 0;
}

// The role that a role-selection sub-item gives a SOP class, 0 without one.
unsigned int selectedRole(DcPduAssoAcRq& pdu, DICT_UID sopClass, bool& found)
{
    DICT_UID sops[PDU_PRES_CTX_MAX] = {};
    unsigned int roles[PDU_PRES_CTX_MAX] = {};
    pdu.getScpScuRoles(sops, roles);
    found = false;
    for (int i = 0; i < PDU_PRES_CTX_MAX; i++) {
        if (sops[i] != UID_NONE && sops[i] == sopClass) {
            found = true;
            return roles[i];
        }
    }
    return 0;
}

}

template <typename Info>
int DcMsm::prepareConnect(Info& info, const char* calledAeTitle)
{
    if (info.sopList == nullptr && info.sopXferList == nullptr) {
        logReport(LOG_CHANNEL_1, "DcMsm::connect", "List of SOPs is absent");
        return MSM_ERR_NO_XFER_SYN;
    }
    int status = verifyText(info.appCtxName, true);
    if (status == 0)
        status = verifyText(info.implClassUid, true);
    if (status == 0)
        status = verifyText(info.implVerName, false);
    if (status == 0 && calledAeTitle != nullptr)
        status = verifyText(calledAeTitle, false);
    if (status != 0)
        return status;
    resetAssoInfo();
    return 0;
}

// The acceptance table (a sopList alone gives Implicit VR Little Endian for
// each class), the maximum PDU length, the time-outs and the texts of the
// association being set up.
template <typename Info>
void DcMsm::applyConnectInfo(Info& info)
{
    DcMsmSopXferSyn built[MSM_PRES_CTX_MAX + 1];
    DcMsmSopXferSyn* list = info.sopXferList;
    if (list == nullptr) {
        for (int i = 0; i < MSM_PRES_CTX_MAX && info.sopList[i] != UID_NONE; i++)
            built[i] = DcMsmSopXferSyn(info.sopList[i], nullptr, MSM_ROLE_NONE);
        list = built;
    }
    setSopXferAccept(list);
    if (info.maxPduLen >= MSM_MIN_PDU_LEN)
        maxPduLen = info.maxPduLen;
    setTimeoutInfo(info.timeouts);
    brenik3::copyText(appCtxName, info.appCtxName, MSM_UID_LEN);
    brenik3::copyText(implClassUid, info.implClassUid, MSM_UID_LEN);
    brenik3::copyText(implVerName, info.implVerName, MSM_VER_NAME_LEN);
}

int DcMsm::connect(DcMsmScpInfo& info)
{
    if ((role & MSM_ROLE_SCP) == 0)
        return TUL_ERR_NOT_ACCEPTOR;
    int status = prepareConnect(info, nullptr);
    if (status != 0)
        return status;
    setAeTitleAccept(info.acceptAeTitles);
    applyConnectInfo(info);
    extNegAnswer = info.extNegAnswer;
    extNegUserData = info.extNegUserData;
    keepExtNeg(extNegAnswer != nullptr);
    if (startupStatus != 0)
        return startupStatus;
    return event04_connectScp();
}

int DcMsm::connect(const char* host, DcMsmScuInfo& info)
{
    if ((role & MSM_ROLE_SCU) == 0)
        return TUL_ERR_NOT_REQUESTER;
    if (tcpInfo.sockConv != 0)
        return 0;
    int status = prepareConnect(info, info.calledAeTitle);
    if (status != 0)
        return status;
    applyConnectInfo(info);
    status = checkExtNegList(info.extNegList);
    if (status != 0)
        return status;
    keepExtNeg(info.extNegList != nullptr);
    status = event00_connectScu(host, tcpInfo.port);
    if (status == 0)
        status = scuAssoRq(info);
    if (status != 0)
        return status;
    return read(nullptr, nullptr, MSM_READ_BLOCKING, MSM_CONNECT_BLOCKING);
}

// Whether every sub-item of the list can be framed, before any connection.
int DcMsm::checkExtNegList(const DcPduExtNeg* list)
{
    DcPduAssoRq trial;
    for (const DcPduExtNeg* each = list; each != nullptr && each->sopClassUid[0] != '\0'; each++) {
        int status = trial.extNegAdd(*each);
        if (status != 0)
            return status;
    }
    return 0;
}

int DcMsm::scuAssoRq(DcMsmScuInfo& info)
{
    DcPduInfoAcRq rqInfo;
    brenik3::copyText(rqInfo.calledAeTitle, info.calledAeTitle, PDU_AE_TITLE_LEN);
    brenik3::copyText(rqInfo.callingAeTitle, aeTitle, PDU_AE_TITLE_LEN);
    Dict.getUid(UID_DICOM_APP_CONTEXT_NAME, rqInfo.appCtxName);
    rqInfo.maxPduLen = maxPduLen;
    brenik3::copyText(rqInfo.implClassUid, info.implClassUid, PDU_UID_LEN);
    brenik3::copyText(rqInfo.implVerName, info.implVerName, PDU_VER_NAME_LEN);
    DcPduAssoRq rq;
    givePduLimits(rq);
    rq.setInfo(rqInfo);
    int count = 0;
    for (; count < MSM_PRES_CTX_MAX && sopXferAccept[count].sopClass != UID_NONE; count++) {
        DcMsmSopXferSyn& entry = sopXferAccept[count];
        DcPduPresCtxItem item;
        item.type = PRES_CTX_TYPE_RQ;
        item.presCtxId = static_cast<unsigned int>(2 * count + 1);
        item.abstractSyntax = entry.sopClass;
        item.role = entry.role;
        for (int i = 0; i < MSM_XFER_SYN_MAX; i++)
            item.xferSyn[i] = entry.xferSyn[i];
        rq.presCtxItemAdd(item);
        assoInfo.presCtxId[count] = static_cast<int>(item.presCtxId);
        assoInfo.sopClass[count] = entry.sopClass;
    }
    assoInfo.assoNum = count;
    for (const DcPduExtNeg* each = info.extNegList; each != nullptr && each->sopClassUid[0] != '\0'; each++)
        rq.extNegAdd(*each);  // checked before connecting
    return event01_writeAssoRqPdu(&rq);
}

int DcMsm::scuAssoAcRsp(DcPduAssoAc* ac)
{
    for (auto& each : assoInfo.result)
        each = PRES_CTX_UNKNOWN;
    DcPduPresCtxItem* items[PDU_PRES_CTX_MAX] = {};
    ac->getPresCtxItems(items);
    for (DcPduPresCtxItem* item : items) {
        if (item == nullptr)
            continue;
        for (int slot = 0; slot < MSM_PRES_CTX_MAX; slot++) {
            if (assoInfo.presCtxId[slot] == 0 || assoInfo.presCtxId[slot] != static_cast<int>(item->presCtxId))
                continue;
            assoInfo.result[slot] = static_cast<PRES_CTX_AC_RESULT>(item->result);
            bool found;
            unsigned int selected = selectedRole(*ac, assoInfo.sopClass[slot], found);
            assoInfo.role[slot] = static_cast<MSM_ROLE>(found ? selected : item->role);
            if (item->result == PRES_CTX_ACCEPTANCE)
                assoInfo.xferSyn[slot] = item->xferSyn[0];
            break;
        }
        delete item;
    }
    extNegReceived = ac->getExtNegs();
    DcPduInfoAcRq acInfo;
    int status = ac->getInfo(acInfo);
    if (status != 0)
        return status;
    brenik3::copyStripped(assoInfo.callingAeTitle, acInfo.callingAeTitle, MSM_AE_TITLE_LEN);
    brenik3::copyStripped(assoInfo.calledAeTitle, acInfo.calledAeTitle, MSM_AE_TITLE_LEN);
    brenik3::copyStripped(assoInfo.appCtxName, acInfo.appCtxName, MSM_UID_LEN);
    brenik3::copyStripped(assoInfo.implClassUid, acInfo.implClassUid, MSM_UID_LEN);
    brenik3::copyStripped(assoInfo.implVerName, acInfo.implVerName, MSM_VER_NAME_LEN);
    assoInfo.maxPduLen = acInfo.maxPduLen;
    if (acInfo.maxPduLen != 0)
        maxPduLen = acInfo.maxPduLen;
    peerAddress(assoInfo.ipAddress);
    return 0;
}

void DcMsm::peerAddress(char* text)
{
    text[0] = '\0';
    sockaddr_in peer = {};
    socklen_t len = sizeof peer;
    if (tcpInfo.sockConv > 0 && getpeername(tcpInfo.sockConv, reinterpret_cast<sockaddr*>(&peer), &len) == 0 &&
        peer.sin_family == AF_INET)
        inet_ntop(AF_INET, &peer.sin_addr, text, MSM_IP_ADDRESS_LEN + 1);
    else if (connSide == TSM_CONN_ACCEPTOR) {
        // A caller that has already reset the connection: the address its accept gave.
        memcpy(&peer, sockAddr, sizeof peer);
        if (peer.sin_family == AF_INET)
            inet_ntop(AF_INET, &peer.sin_addr, text, MSM_IP_ADDRESS_LEN + 1);
    }
}

int DcMsm::scpAssoRqRsp(DcPduAssoRq* rq)
{
    for (int slot = 0; slot < MSM_PRES_CTX_MAX; slot++) {
        assoInfo.presCtxId[slot] = 0;
        assoInfo.sopClass[slot] = UID_NONE;
        assoInfo.xferSyn[slot] = UID_NONE;
    }
    DcPduInfoAcRq rqInfo;
    rq->getInfo(rqInfo);
    int status = acceptAssoInfo(rqInfo);
    if (status != 0)
        scpAssoRqRspRj(status);
    else
        scpAssoRqRspAc(rq);
    return 0;
}

int DcMsm::acceptAssoInfo(DcPduInfoAcRq& info)
{
    return acceptAeTitle(info);
}

int DcMsm::acceptAeTitle(DcPduInfoAcRq& info)
{
    static const char* const function = "DcMsm::acceptAeTitle";
    if (aeTitleCheck == 0)
        return 0;
    char called[PDU_AE_TITLE_LEN + 1];
    brenik3::copyStripped(called, info.calledAeTitle, PDU_AE_TITLE_LEN);
    if (strcmp(called, aeTitle) != 0) {
        logReport(LOG_CHANNEL_2, function, "Invalid Called AE Title - '%s'", called);
        return MSM_ERR_CALLED_AE;
    }
    if ((aeTitleCheck & 1) == 0)
        return 0;
    char calling[PDU_AE_TITLE_LEN + 1];
    brenik3::copyStripped(calling, info.callingAeTitle, PDU_AE_TITLE_LEN);
    for (const char* accepted : acceptAeTitles) {
        if (accepted != nullptr && strcmp(accepted, calling) == 0)
            return 0;
    }
    logReport(LOG_CHANNEL_2, function, "Invalid Calling AE Title - '%s'", calling);
    return MSM_ERR_CALLING_AE;
}

int DcMsm::scpAssoRqRspRj(int status)
{
    unsigned int reason = REJECT_REASON_OTHER;
    if (status == MSM_ERR_CALLED_AE)
        reason = REJECT_REASON_CALLED_AE;
    else if (status == MSM_ERR_CALLING_AE)
        reason = REJECT_REASON_CALLING_AE;
    DcPduInfoRj rjInfo = {REJECT_PERMANENT, REJECT_SOURCE_PRESENTATION, reason};
    DcPduAssoRj rj;
    givePduLimits(rj);
    rj.setInfo(&rjInfo);
    return event07_writeAssoRjPdu(&rj);
}

// The acceptor's order of preference decides among the transfer syntaxes
// that both sides know.
int DcMsm::acceptSopXfer(DcMsmSopXferSyn& proposed, DICT_UID* accepted, PRES_CTX_AC_RESULT& result)
{
    *accepted = UID_LITTLE_ENDIAN_IMPLICIT;
    DcMsmSopXferSyn* entry = nullptr;
    for (int i = 0; proposed.sopClass != UID_NONE && i < MSM_PRES_CTX_MAX && sopXferAccept[i].sopClass != UID_NONE;
         i++) {
        if (sopXferAccept[i].sopClass == proposed.sopClass) {
            entry = &sopXferAccept[i];
            break;
        }
    }
    if (entry == nullptr) {
        result = PRES_CTX_ABSTRACT_SYNTAX_NOT_SUPPORTED;
        return MSM_ERR_ABSTRACT_SYN;
    }
    for (int mine = 0; mine < MSM_XFER_SYN_MAX && entry->xferSyn[mine] != UID_NONE; mine++) {
        for (int theirs = 0; theirs < MSM_XFER_SYN_MAX && proposed.xferSyn[theirs] != UID_NONE; theirs++) {
            if (entry->xferSyn[mine] == proposed.xferSyn[theirs]) {
                *accepted = entry->xferSyn[mine];
                result = PRES_CTX_ACCEPTANCE;
                return 0;
            }
        }
    }
    result = PRES_CTX_XFER_SYNTAXES_NOT_SUPPORTED;
    return MSM_ERR_NO_XFER_SYN;
}

int DcMsm::scpAssoRqRspAc(DcPduAssoRq* rq)
{
    DcPduInfoAcRq info;
    rq->getInfo(info);
    assoInfo.maxPduLen = info.maxPduLen;
    info.maxPduLen = maxPduLen;
    DcPduAssoAc ac;
    givePduLimits(ac);

    DcPduPresCtxItem* items[PDU_PRES_CTX_MAX] = {};
    rq->getPresCtxItems(items);
    int count = 0;
    for (DcPduPresCtxItem* item : items) {
        if (item == nullptr)
            continue;
        bool found;
        unsigned int selected = selectedRole(*rq, item->abstractSyntax, found);
        DcMsmSopXferSyn proposed;
        proposed.sopClass = item->abstractSyntax;
        for (int i = 0; i < MSM_XFER_SYN_MAX; i++)
            proposed.xferSyn[i] = item->xferSyn[i];
        DICT_UID accepted;
        PRES_CTX_AC_RESULT result;
        acceptSopXfer(proposed, &accepted, result);

        DcPduPresCtxItem answer;
        answer.type = PRES_CTX_TYPE_AC;
        answer.presCtxId = item->presCtxId;
        answer.result = result;
        answer.xferSyn[0] = accepted;
        ac.presCtxItemAdd(answer);

        assoInfo.presCtxId[count] = static_cast<int>(item->presCtxId);
        assoInfo.sopClass[count] = item->abstractSyntax;
        assoInfo.result[count] = result;
        assoInfo.xferSyn[count] = result == PRES_CTX_ACCEPTANCE ? accepted : UID_NONE;
        assoInfo.role[count] = static_cast<MSM_ROLE>(selected);
        count++;
        delete item;
    }
    assoInfo.assoNum = count;
    brenik3::copyStripped(assoInfo.callingAeTitle, info.callingAeTitle, MSM_AE_TITLE_LEN);
    brenik3::copyStripped(assoInfo.calledAeTitle, info.calledAeTitle, MSM_AE_TITLE_LEN);
    brenik3::copyStripped(assoInfo.appCtxName, info.appCtxName, MSM_UID_LEN);
    brenik3::copyStripped(assoInfo.implClassUid, info.implClassUid, MSM_UID_LEN);
    brenik3::copyStripped(assoInfo.implVerName, info.implVerName, MSM_VER_NAME_LEN);
    peerAddress(assoInfo.ipAddress);

    if (appCtxName[0] != '\0')
        brenik3::copyText(info.appCtxName, appCtxName, PDU_UID_LEN);
    if (implClassUid[0] != '\0')
        brenik3::copyText(info.implClassUid, implClassUid, PDU_UID_LEN);
    if (implVerName[0] != '\0')
        brenik3::copyText(info.implVerName, implVerName, PDU_VER_NAME_LEN);
    ac.setInfo(info);
    answerExtNeg(*rq, ac);
    return event06_writeAssoAcPdu(&ac);
}

// One answer per SOP class asked about, when the caller's callback gives one
// and a presentation context of that class was accepted.
void DcMsm::answerExtNeg(DcPduAssoRq& rq, DcPduAssoAc& ac)
{
    extNegReceived = rq.getExtNegs();
    if (extNegAnswer == nullptr)
        return;
    for (const DcPduExtNeg& asked : extNegReceived) {
        bool accepted = false;
        for (int slot = 0; slot < assoInfo.assoNum && !accepted; slot++) {
            char uid[PDU_UID_LEN + 1];
            accepted = assoInfo.result[slot] == PRES_CTX_ACCEPTANCE &&
                       Dict.getUid(assoInfo.sopClass[slot], uid) == 0 && strcmp(uid, asked.sopClassUid) == 0;
        }
        bool answered = false;
        for (const DcPduExtNeg& sent : ac.getExtNegs())
            answered = answered || strcmp(sent.sopClassUid, asked.sopClassUid) == 0;
        if (!accepted || answered)
            continue;
        DcPduExtNeg answer;
        memcpy(answer.sopClassUid, asked.sopClassUid, sizeof answer.sopClassUid);
        if (extNegAnswer(extNegUserData, asked, answer)) {
            memcpy(answer.sopClassUid, asked.sopClassUid, sizeof answer.sopClassUid);
            ac.extNegAdd(answer);
        }
    }
}

#include "network/DcTsm.h"

#include "foundation/DcLog.h"
#include "network/DcPduAbort.h"
#include "network/DcPduAssoAcRq.h"
#include "network/DcPduAssoRj.h"
#include "network/DcPduDataTf.h"
#include "network/DcPduRelease.h"

namespace {

// Actions by their slot in the action table of each machine.
enum TsmAction {
    AA1, AA2, AA3, AA4, AA5, AA6, AA7, AA8,
    AE1, AE2, AE3, AE4, AE5, AE6, AE7, AE8,
    AR1, AR2, AR3, AR4, AR5, AR6, AR7, AR8, AR9, AR10,
    DT1, DT2,
    AE0
};

struct Transition {
    TsmAction action;
    int next;  // 0 keeps the current state
};

enum { EVENT_COUNT = 19, STATE_COUNT = 13 };

const Transition NONE = {AE0, 0};

// Rows: events 0 to 18; columns: Sta1 to Sta13.
const Transition transitions[EVENT_COUNT][STATE_COUNT] = {
    // 0 A-ASSOCIATE request
    {{AE1, 4}, {AE1, 4}, NONE, NONE, NONE, NONE, NONE, NONE, NONE, NONE, NONE, NONE, NONE},
    // 1 transport connect confirmation
    {NONE, NONE, NONE, {AE2, 5}, NONE, NONE, NONE, NONE, NONE, NONE, NONE, NONE, NONE},
    // 2 A-ASSOCIATE-AC PDU
    {NONE, {AA1, 13}, {AA8, 13}, NONE, {AE3, 6}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13},
     {AA8, 13}, {AA8, 13}, {AA6, 13}},
    // 3 A-ASSOCIATE-RJ PDU
    {NONE, {AA1, 13}, {AA8, 13}, NONE, {AE4, 1}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13},
     {AA8, 13}, {AA8, 13}, {AA6, 13}},
    // 4 transport connection indication
    {{AE5, 2}, NONE, NONE, NONE, NONE, NONE, NONE, NONE, NONE, NONE, NONE, NONE, NONE},
    // 5 A-ASSOCIATE-RQ PDU
    {NONE, {AE6, 3}, {AA8, 13}, NONE, {AE4, 1}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13},
     {AA8, 13}, {AA8, 13}, {AA7, 13}},
    // 6 A-ASSOCIATE response (accept)
    {NONE, NONE, {AE7, 6}, NONE, NONE, NONE, NONE, NONE, NONE, NONE, NONE, NONE, NONE},
    // 7 A-ASSOCIATE response (reject)
    {NONE, NONE, {AE8, 13}, NONE, NONE, NONE, NONE, NONE, NONE, NONE, NONE, NONE, NONE},
    // 8 P-DATA request
    {NONE, NONE, NONE, NONE, NONE, {DT1, 6}, NONE, {AR7, 8}, NONE, NONE, NONE, NONE, NONE},
    // 9 P-DATA-TF PDU
    {NONE, {AA1, 13}, {AA8, 13}, NONE, {AA8, 13}, {DT2, 6}, {AR6, 7}, {AA8, 13}, {AA8, 13}, {AA8, 13},
     {AA8, 13}, {AA8, 13}, {AA6, 13}},
    // 10 A-RELEASE request
    {NONE, NONE, NONE, NONE, NONE, {AR1, 7}, NONE, NONE, NONE, NONE, NONE, NONE, NONE},
    // 11 A-RELEASE-RQ PDU
    {NONE, {AA1, 13}, {AA8, 13}, NONE, {AA8, 13}, {AR2, 8}, {AR8, 0}, {AA8, 13}, {AA8, 13}, {AA8, 13},
     {AA8, 13}, {AA8, 13}, {AA6, 13}},
    // 12 A-RELEASE-RP PDU
    {NONE, {AA1, 13}, {AA8, 13}, NONE, {AA8, 13}, {AA8, 13}, {AR3, 1}, {AA8, 13}, {AA8, 13}, {AR10, 12},
     {AR3, 1}, {AA8, 13}, {AA6, 13}},
    // 13 A-RELEASE response
    {NONE, NONE, NONE, NONE, NONE, NONE, NONE, {AR4, 13}, {AR9, 11}, NONE, NONE, {AR4, 13}, NONE},
    // 14 A-ABORT request
    {NONE, NONE, {AA1, 13}, {AA2, 1}, {AA1, 13}, {AA1, 13}, {AA1, 13}, {AA1, 13}, {AA1, 13}, {AA1, 13},
     {AA1, 13}, {AA1, 13}, NONE},
    // 15 A-ABORT PDU
    {NONE, {AA2, 1}, {AA3, 1}, NONE, {AA3, 1}, {AA3, 1}, {AA3, 1}, {AA3, 1}, {AA3, 1}, {AA3, 1}, {AA3, 1},
     {AA3, 1}, {AA2, 1}},
    // 16 transport connection closed
    {{AA2, 1}, {AA5, 1}, {AA4, 1}, {AA4, 1}, {AA4, 1}, {AA4, 1}, {AA4, 1}, {AA4, 1}, {AA4, 1}, {AA4, 1},
     {AA4, 1}, {AA4, 1}, {AR5, 1}},
    // 17 ARTIM timer expired
    {{AA2, 1}, {AA2, 1}, NONE, NONE, NONE, NONE, {AE0, 1}, NONE, NONE, NONE, NONE, NONE, {AA2, 1}},
    // 18 unrecognised or invalid PDU
    {{AA2, 1}, {AA1, 13}, {AA8, 13}, NONE, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13},
     {AA8, 13}, {AA8, 13}, {AA7, 13}},
};

}

void DcTsm::initializeActionFuncArray()
{
    static const Action bound[ACTION_COUNT] = {
        &DcTsm::AA_1_writeAbortPduScu, &DcTsm::AA_2_closeTransport, &DcTsm::AA_3_abortScpScuIndication,
        &DcTsm::AA_4_abortScpIndication, &DcTsm::AA_5_artimStop, &DcTsm::AA_6_ignorePdu,
        &DcTsm::AA_7_writeAbortPdu, &DcTsm::AA_8_writeAbortPduScp,
        &DcTsm::AE_1_connectScu, &DcTsm::AE_2_writeAssoRqPdu, &DcTsm::AE_3_readAssoAcPdu,
        &DcTsm::AE_4_readAssoRjPdu, &DcTsm::AE_5_connectScp,
        &DcTsm::AE_3_readAssoAcPdu,   // AE-6
        &DcTsm::AE_2_writeAssoRqPdu,  // AE-7
        &DcTsm::AE_8_writeAssoRjPdu,
        &DcTsm::AR_1_writeRelRqPdu, &DcTsm::AR_2_relIndication, &DcTsm::AR_3_relConfirmation,
        &DcTsm::AR_4_writeRelRpPdu,
        &DcTsm::AA_5_artimStop,       // AR-5
        &DcTsm::AR_6_dataIndication,
        &DcTsm::AE_2_writeAssoRqPdu,  // AR-7
        &DcTsm::AR_8_relIndication, &DcTsm::AR_9_writeRelRpPdu, &DcTsm::AR_10_relConfirmation,
        &DcTsm::AE_2_writeAssoRqPdu,  // DT-1
        &DcTsm::DT_2_readDataTfPdu,
        &DcTsm::AE_0_none,
    };
    for (int i = 0; i < ACTION_COUNT; i++)
        actionFunc[i] = bound[i];
}

int DcTsm::stateMachine(TSM_EVENT event, void* arg)
{
    if (event < TSM_EVT1 || event > TSM_EVT19) {
        logReport(LOG_CHANNEL_2, "DcTsm::stateMachine", "Event number %d out of range", static_cast<int>(event));
        return TSM_ERR_EVENT_RANGE;
    }
    const Transition& cell = transitions[event][state - TSM_STA1];
    if (cell.next != 0)
        state = static_cast<TSM_STATE>(cell.next);
    return (this->*actionFunc[cell.action])(arg);
}

int DcTsm::readNextPduType(PDU_TYPE& type, PDU_BLOCK block)
{
    if (tcpInfo.sockConv == 0 || pdu == nullptr)
        return TSM_ERR_NO_CONVERSATION;
    return pdu->readType(type, block);
}

int DcTsm::sockConvAccept(TSM_BLOCK block)
{
    bool open = tcpInfo.sockConv > 0;
    int status = sockConvOpenServer(block);
    if (status == 0 && !open)
        artimStart();
    return status;
}

namespace {

// The PDU handed to an action, when it is of the class that the action
// reads; null for any other, which is then never read as this one.
template <typename Expected>
Expected* pduAs(void* arg)
{
    return dynamic_cast<Expected*>(static_cast<DcPdu*>(arg));
}

int reportPduType(const char* function, void* arg, const char* expected)
{
    logReport(LOG_CHANNEL_2, function, "PDU type %d received where %s was expected",
              static_cast<int>(static_cast<DcPdu*>(arg)->getType()), expected);
    return TSM_ERR_PDU_TYPE;
}

// Gives a PDU that an action sends the limits of the conversation.
void prepare(DcPdu& out, int sock, unsigned int maxPduLen, const DcTsmTimeoutInfo& timeouts)
{
    DcPduInfo info;
    info.maxPduLen = maxPduLen;
    info.readTimeout = timeouts.readTimeout;
    info.writeTimeout = timeouts.writeTimeout;
    out.setInfo(info);
    out.attach(sock);
}

int sendAbort(int sock, unsigned int maxPduLen, const DcTsmTimeoutInfo& timeouts, unsigned int source,
              unsigned int reason)
{
    DcPduAbort abort;
    prepare(abort, sock, maxPduLen, timeouts);
    DcPduInfoAbort content = {source, reason};
    abort.setInfo(&content);
    return abort.write();
}

int sendRelease(int sock, unsigned int maxPduLen, const DcTsmTimeoutInfo& timeouts, PDU_TYPE type)
{
    DcPduReleaseRpRq release(type);
    prepare(release, sock, maxPduLen, timeouts);
    return release.write();
}

}

int DcTsm::AA_1_writeAbortPduScu(void*)
{
    if (tcpInfo.sockConv == 0)
        return TSM_ERR_NO_CONVERSATION;
    int status = sendAbort(tcpInfo.sockConv, maxPduLen, timeoutInfo, 0, 0);
    artimStart();
    return status;
}

int DcTsm::AA_3_abortScpScuIndication(void*)
{
    bool acceptor = connSide == TSM_CONN_ACCEPTOR;
    if (acceptor)
        state = TSM_STA2;
    closeSockConv();
    return acceptor ? TSM_ABORT_INDICATION : TSM_ABORT_INDICATION_SCU;
}

int DcTsm::AA_4_abortScpIndication(void*)
{
    artimStop();
    closeSockConv();
    state = TSM_STA2;
    return TSM_ABORT_INDICATION;
}

int DcTsm::AA_5_artimStop(void*)
{
    artimStop();
    return 0;
}

// The ignored PDU's body stays unread: flushing a bare PDU does nothing.
int DcTsm::AA_6_ignorePdu(void*)
{
    if (tcpInfo.sockConv == 0)
        return TSM_ERR_NO_CONVERSATION;
    DcPdu bare(tcpInfo.sockConv, PDU_INVALID);
    bare.iflush(nullptr, 0);
    return 0;
}

int DcTsm::AA_7_writeAbortPdu(void*)
{
    if (tcpInfo.sockConv == 0)
        return TSM_ERR_NO_CONVERSATION;
    unsigned int source = connSide == TSM_CONN_REQUESTER ? 0 : 2;
    return sendAbort(tcpInfo.sockConv, maxPduLen, timeoutInfo, source, 2);
}

int DcTsm::AA_8_writeAbortPduScp(void*)
{
    if (tcpInfo.sockConv == 0)
        return TSM_ERR_NO_CONVERSATION;
    sendAbort(tcpInfo.sockConv, maxPduLen, timeoutInfo, 2, 2);
    artimStart();
    return TSM_ABORT_INDICATION;
}

int DcTsm::AE_0_none(void*)
{
    return 0;
}

// A failed connect leaves no conversation, so the machine returns to Sta1
// where the next A-ASSOCIATE request is taken again.
int DcTsm::AE_1_connectScu(void* arg)
{
    if (arg == nullptr)
        return TSM_ERR_NULL_ARG;
    DcTsmConnectArg* where = static_cast<DcTsmConnectArg*>(arg);
    int status = sockConvOpenClient(where->host, where->port);
    if (status != 0)
        state = TSM_STA1;
    return status;
}

int DcTsm::AE_2_writeAssoRqPdu(void* arg)
{
    if (arg == nullptr)
        return TSM_ERR_NULL_ARG;
    if (tcpInfo.sockConv == 0)
        return TSM_ERR_NO_CONVERSATION;
    DcPdu* out = static_cast<DcPdu*>(arg);
    out->attach(tcpInfo.sockConv);
    return out->write();
}

int DcTsm::AE_3_readAssoAcPdu(void* arg)
{
    if (arg == nullptr)
        return TSM_ERR_NULL_ARG;
    if (tcpInfo.sockConv == 0)
        return TSM_ERR_NO_CONVERSATION;
    DcPduAssoAcRq* in = pduAs<DcPduAssoAcRq>(arg);
    if (in == nullptr)
        return reportPduType("DcTsm::AE_3_readAssoAcPdu", arg, "an A-ASSOCIATE PDU");
    artimCancel();
    in->attach(tcpInfo.sockConv);
    lastPduRead = in;
    return in->read(PDU_WAIT);
}

int DcTsm::AE_4_readAssoRjPdu(void* arg)
{
    if (arg == nullptr)
        return TSM_ERR_NULL_ARG;
    if (tcpInfo.sockConv == 0)
        return TSM_ERR_NO_CONVERSATION;
    // An A-ASSOCIATE-RQ in answer to ours ends the attempt as a reject
    // does, but is not read as one.
    DcPduAssoRj* in = pduAs<DcPduAssoRj>(arg);
    int status = 0;
    if (in != nullptr) {
        in->attach(tcpInfo.sockConv);
        in->read(PDU_WAIT);
        lastPduRead = in;
    } else {
        status = reportPduType("DcTsm::AE_4_readAssoRjPdu", arg, "an A-ASSOCIATE-RJ PDU");
    }
    closeSockConv();
    return status;
}

int DcTsm::AE_5_connectScp(void*)
{
    return sockConvAccept(TSM_BLOCKING);
}

int DcTsm::AE_8_writeAssoRjPdu(void* arg)
{
    if (arg == nullptr)
        return TSM_ERR_NULL_ARG;
    if (tcpInfo.sockConv == 0)
        return TSM_ERR_NO_CONVERSATION;
    DcPdu* out = static_cast<DcPdu*>(arg);
    out->attach(tcpInfo.sockConv);
    int status = out->write();
    artimStart();
    return status;
}

int DcTsm::AR_1_writeRelRqPdu(void*)
{
    if (tcpInfo.sockConv == 0)
        return TSM_ERR_NO_CONVERSATION;
    return sendRelease(tcpInfo.sockConv, maxPduLen, timeoutInfo, PDU_RELEASE_RQ);
}

int DcTsm::AR_2_relIndication(void*)
{
    return TSM_RELEASE_INDICATION;
}

int DcTsm::AR_3_relConfirmation(void*)
{
    closeSockConv();
    return TSM_RELEASE_CONFIRMATION;
}

int DcTsm::AR_4_writeRelRpPdu(void*)
{
    if (tcpInfo.sockConv == 0)
        return TSM_ERR_NO_CONVERSATION;
    int status = sendRelease(tcpInfo.sockConv, maxPduLen, timeoutInfo, PDU_RELEASE_RP);
    artimStart();
    return status;
}

int DcTsm::AR_5_artimStop(void* arg)
{
    return AA_5_artimStop(arg);
}

// The PDU's body is consumed so that the conversation stays in step; its
// data is not handed on.
int DcTsm::AR_6_dataIndication(void* arg)
{
    DcPduDataTf* in = arg != nullptr ? pduAs<DcPduDataTf>(arg) : nullptr;
    if (in != nullptr && tcpInfo.sockConv != 0) {
        in->attach(tcpInfo.sockConv);
        in->read(tcpInfo.readDumpHandle, PDU_WAIT);
    }
    return TSM_DATA_INDICATION;
}

int DcTsm::AR_8_relIndication(void*)
{
    state = connSide == TSM_CONN_REQUESTER ? TSM_STA9 : TSM_STA10;
    return TSM_RELEASE_INDICATION;
}

int DcTsm::AR_9_writeRelRpPdu(void*)
{
    if (tcpInfo.sockConv == 0)
        return TSM_ERR_NO_CONVERSATION;
    return sendRelease(tcpInfo.sockConv, maxPduLen, timeoutInfo, PDU_RELEASE_RP);
}

int DcTsm::AR_10_relConfirmation(void*)
{
    return TSM_RELEASE_CONFIRMATION;
}

int DcTsm::DT_2_readDataTfPdu(void* arg)
{
    if (arg == nullptr)
        return TSM_ERR_NULL_ARG;
    if (tcpInfo.sockConv == 0)
        return TSM_ERR_NO_CONVERSATION;
    DcPduDataTf* in = pduAs<DcPduDataTf>(arg);
    if (in == nullptr)
        return reportPduType("DcTsm::DT_2_readDataTfPdu", arg, "a P-DATA-TF PDU");
    in->attach(tcpInfo.sockConv);
    lastPduRead = in;
    return in->read(tcpInfo.readDumpHandle, PDU_WAIT);
}

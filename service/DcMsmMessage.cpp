#include "service/DcMsm.h"

#include <unistd.h>

#include "dictionary/DcDict.h"
#include "foundation/DcLog.h"
#include "message/DcCmdCCancel.h"
#include "message/DcCmdCEcho.h"
#include "message/DcCmdCFind.h"
#include "message/DcCmdCGet.h"
#include "message/DcCmdCMove.h"
#include "message/DcCmdCStore.h"
#include "message/DcCmdNAction.h"
#include "message/DcCmdNCreate.h"
#include "message/DcCmdNDelete.h"
#include "message/DcCmdNEvent.h"
#include "message/DcCmdNGet.h"
#include "message/DcCmdNSet.h"
#include "message/DcIod.h"
#include "network/DcPduRelease.h"

namespace {

enum { COMMAND_FIELD_NONE = 0xFFFF, STATUS_SUCCESS = 0x0000 };

// The message class for a received command field; null for an unknown one.
DcMsg* newMessage(unsigned short commandField)
{
    switch (commandField) {
    case CMD_C_STORE_RQ: return new DcCmdCStoreRq();
    case CMD_C_STORE_RSP: return new DcCmdCStoreRsp();
    case CMD_C_GET_RQ: return new DcCmdCGetRq();
    case CMD_C_GET_RSP: return new DcCmdCGetRsp();
    case CMD_C_FIND_RQ: return new DcCmdCFindRq();
    case CMD_C_FIND_RSP: return new DcCmdCFindRsp();
    case CMD_C_MOVE_RQ: return new DcCmdCMoveRq();
    case CMD_C_MOVE_RSP: return new DcCmdCMoveRsp();
    case CMD_C_ECHO_RQ: return new DcCmdCEchoRq();
    case CMD_C_ECHO_RSP: return new DcCmdCEchoRsp();
    case CMD_C_CANCEL_RQ: return new DcCmdCCancelRq();
    case CMD_N_EVENT_REPORT_RQ: return new DcCmdNEventRq();
    case CMD_N_EVENT_REPORT_RSP: return new DcCmdNEventRsp();
    case CMD_N_GET_RQ: return new DcCmdNGetRq();
    case CMD_N_GET_RSP: return new DcCmdNGetRsp();
    case CMD_N_SET_RQ: return new DcCmdNSetRq();
    case CMD_N_SET_RSP: return new DcCmdNSetRsp();
    case CMD_N_ACTION_RQ: return new DcCmdNActionRq();
    case CMD_N_ACTION_RSP: return new DcCmdNActionRsp();
    case CMD_N_CREATE_RQ: return new DcCmdNCreateRq();
    case CMD_N_CREATE_RSP: return new DcCmdNCreateRsp();
    case CMD_N_DELETE_RQ: return new DcCmdNDeleteRq();
    case CMD_N_DELETE_RSP: return new DcCmdNDeleteRsp();
    case COMMAND_FIELD_NONE: return new DcIod();
    default: return nullptr;
    }
}

}

int DcMsm::read(DICT_UID* sopClass, DcMsg** msg, MSM_BLOCK_READ blockRead, MSM_BLOCK_CONNECT blockConnect)
{
    for (;;) {
        if (sopClass != nullptr)
            *sopClass = UID_NONE;
        if (msg != nullptr)
            *msg = nullptr;
        if (tcpInfo.sockConv == 0) {
            if ((role & MSM_ROLE_SCP) == 0)
                return MSM_READ_NO_CONNECTION;
            int status = sockConvAccept(blockConnect == MSM_CONNECT_NO_BLOCK ? TSM_NO_BLOCK : TSM_BLOCKING);
            if (status == TSM_ERR_CONNECT_TIMEOUT)
                return MSM_READ_NO_CALLER;
            if (status != 0)
                return status;
        }
        DcPdu* pdu = nullptr;
        int status = readNextPdu(&pdu, assoInfo.presCtxId, assoInfo.xferSyn,
                                 blockRead == MSM_READ_NO_BLOCK ? PDU_NO_WAIT : PDU_WAIT);
        if (pdu != nullptr) {
            PDU_TYPE type = pdu->getType();
            switch (type) {
            case PDU_ASSO_RQ:
                scpAssoRqRsp(static_cast<DcPduAssoRq*>(pdu));
                delete pdu;
                return MSM_READ_ASSO_RQ;
            case PDU_ASSO_AC:
                status = scuAssoAcRsp(static_cast<DcPduAssoAc*>(pdu));
                delete pdu;
                if (status == 0)
                    return MSM_READ_ACCEPTED;
                releaseAssociation();
                return MSM_READ_REJECTED;
            case PDU_ASSO_RJ:
                if (const DcPduInfoRj* rj = static_cast<DcPduAssoRj*>(pdu)->getInfo())
                    lastReject = *rj;
                delete pdu;
                return MSM_READ_REJECTED;
            case PDU_DATA_TF:
                if (msg == nullptr || makeMsg(msg, pdu) != 0) {
                    delete pdu;
                    continue;
                }
                if (processMsg(sopClass, *msg) == MSM_READ_MESSAGE)
                    return MSM_READ_MESSAGE;
                delete *msg;
                *msg = nullptr;
                continue;
            case PDU_RELEASE_RQ:
                delete pdu;
                return MSM_READ_RELEASE_RQ;
            case PDU_RELEASE_RP:
                delete pdu;
                return MSM_READ_RELEASE_RP;
            case PDU_ABORT:
                delete pdu;
                return MSM_READ_ABORT;
            default:
                delete pdu;
                continue;
            }
        }
        switch (status) {
        case TSM_ABORT_INDICATION:
        case TSM_ABORT_INDICATION_SCU:
            return MSM_READ_ABORT;
        case TSM_RELEASE_INDICATION:
            event13_writeRelRpPdu();
            return MSM_READ_RELEASE_RQ;
        case TSM_RELEASE_CONFIRMATION:
            return MSM_READ_RELEASE_RQ;
        case TSM_TRANSPORT_CLOSED:
            return MSM_READ_NO_CONNECTION;
        case PDU_ERR_TIMEOUT:
            if (blockRead != MSM_READ_NO_BLOCK)
                event16_closeTrans();
            return MSM_READ_TIMEOUT;
        case TUL_ERR_PIXEL_WRITE:
            return MSM_READ_NOT_STORED;
        case TUL_ERR_DATA:
        case TUL_ERR_CLOSE:
            return MSM_READ_PROTOCOL_ERROR;
        case PDU_ERR_CONNECTION:
            event16_closeTrans();
            return MSM_READ_CONNECTION_LOST;
        default:
            continue;
        }
    }
}

// The message takes the elements that the PDU parsed, in its own class.
int DcMsm::makeMsg(DcMsg** msg, DcPdu* pdu)
{
    if (msg == nullptr)
        return 1;
    *msg = nullptr;
    DcPduDataTf* tf = static_cast<DcPduDataTf*>(pdu);
    unsigned short commandField = COMMAND_FIELD_NONE;
    bool command = tf->getElem(static_cast<int>(T_0000_0100_command), static_cast<DcElem**>(nullptr)) == 0;
    if (command)
        tf->getValue(static_cast<int>(T_0000_0100_command), commandField, ELEM_VAL_INDEX_KEEP);
    DcMsg* made = newMessage(command ? commandField : static_cast<unsigned short>(COMMAND_FIELD_NONE));
    if (made == nullptr)
        return MSM_ERR_COMMAND_FIELD;

    DcPduInfoTf info;
    tf->getInfo(info);
    info.xferSyn = UID_NONE;
    for (int slot = 0; slot < MSM_PRES_CTX_MAX; slot++) {
        if (assoInfo.presCtxId[slot] == info.presCtxId) {
            info.xferSyn = assoInfo.xferSyn[slot];
            break;
        }
    }
    info.msgCtrlHdr = command && commandField != COMMAND_FIELD_NONE ? PDV_MCH_COMMAND | PDV_MCH_LAST : PDV_MCH_LAST;
    info.maxPduLen = maxPduLen;
    made->setInfo(info);
    made->getElemList()->destroyAllNodes();
    tf->moveElem(made);
    delete tf;
    *msg = made;
    return 0;
}

int DcMsm::processMsg(DICT_UID* sopClass, DcMsg* msg)
{
    DcPduInfoTf info;
    msg->getInfo(info);
    for (int slot = 0; slot < MSM_PRES_CTX_MAX; slot++) {
        if (assoInfo.presCtxId[slot] != 0 && assoInfo.presCtxId[slot] == info.presCtxId) {
            if (sopClass != nullptr)
                *sopClass = assoInfo.sopClass[slot];
            break;
        }
    }
    msg->parseType();
    MSG_TYPE type = MSG_NONE;
    msg->getType(type);
    if (type != MSG_C_ECHO_RQ)
        return MSM_READ_MESSAGE;
    scpCEchoRsp(static_cast<DcCmdCEchoRq*>(msg));
    return MSM_READ_ECHO_ANSWERED;
}

int DcMsm::scpCEchoRsp(DcCmdCEchoRq* rq)
{
    DcCmdCEchoRsp rsp;
    rsp.parseRequest(rq);
    rsp.add(new DcElem(static_cast<int>(T_0000_0900_status), static_cast<unsigned short>(STATUS_SUCCESS)));
    return write(UID_VERIFICATION, &rsp);
}

int DcMsm::write(DcMsg* msg)
{
    for (int slot = 0; slot < MSM_PRES_CTX_MAX; slot++) {
        if (assoInfo.xferSyn[slot] != UID_NONE)
            return write(static_cast<unsigned char>(assoInfo.presCtxId[slot]), assoInfo.xferSyn[slot], msg);
    }
    logReport(LOG_CHANNEL_2, "DcMsm::write", "No valid service negotiated");
    return MSM_ERR_NOT_NEGOTIATED;
}

int DcMsm::write(unsigned char presCtxId, DcMsg* msg)
{
    for (int slot = 0; slot < MSM_PRES_CTX_MAX; slot++) {
        if (assoInfo.presCtxId[slot] == 0 || assoInfo.presCtxId[slot] != presCtxId)
            continue;
        if (assoInfo.xferSyn[slot] == UID_NONE) {
            logReport(LOG_CHANNEL_2, "DcMsm::write", "A valid service is not negotiated for presentation context %d",
                      presCtxId);
            return MSM_ERR_NOT_NEGOTIATED;
        }
        return write(presCtxId, assoInfo.xferSyn[slot], msg);
    }
    logReport(LOG_CHANNEL_2, "DcMsm::write", "Invalid presentation context");
    return MSM_ERR_NO_PRES_CTX;
}

// A response built from its request already names its context.
int DcMsm::write(DICT_UID sopClass, DcMsg* msg)
{
    DcPduInfoTf info;
    msg->getInfo(info);
    int found = -1;
    for (int slot = 0; slot < MSM_PRES_CTX_MAX && found < 0; slot++) {
        if (info.presCtxId != 0) {
            if (assoInfo.presCtxId[slot] == info.presCtxId)
                found = slot;
        } else if (assoInfo.presCtxId[slot] != 0 && assoInfo.sopClass[slot] == sopClass &&
                   assoInfo.xferSyn[slot] != UID_NONE) {
            found = slot;
        }
    }
    char uid[DICT_UID_MAX + 1] = "";
    if (found < 0) {
        Dict.getUid(sopClass, uid);
        logReport(LOG_CHANNEL_2, "DcMsm::write", "Abstract syntax '%s' is not part of the association", uid);
        return MSM_ERR_NO_PRES_CTX;
    }
    if (assoInfo.xferSyn[found] == UID_NONE) {
        Dict.getUid(sopClass, uid);
        logReport(LOG_CHANNEL_2, "DcMsm::write", "A valid transfer syntax is not negotiated for abstract syntax '%s'",
                  uid);
        return MSM_ERR_NOT_NEGOTIATED;
    }
    return write(static_cast<unsigned char>(assoInfo.presCtxId[found]), assoInfo.xferSyn[found], msg);
}

int DcMsm::write(unsigned char presCtxId, DICT_UID xferSyn, DcMsg* msg)
{
    DcPduInfoTf info;
    info.presCtxId = presCtxId;
    info.msgCtrlHdr = 0;
    info.xferSyn = xferSyn;
    info.maxPduLen = maxPduLen;
    msg->setInfo(info);
    givePduLimits(*msg);
    return event08_writeDataTfPdu(msg);
}

int DcMsm::releaseAssociation()
{
    resetAssoInfo();
    return event10_writeRelRqPdu();
}

int DcMsm::abortAssociation()
{
    resetAssoInfo();
    return event14_writeAbortPdu();
}

int DcMsm::closeAssociation()
{
    resetAssoInfo();
    closeSockConv();
    return event16_closeTrans();
}

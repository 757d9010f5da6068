#include "message/DcCmdNEvent.h"

#include "message/DcCmdParms.h"

namespace {

const DcCmdRspCopy nEventRspCopies[] = {
    {T_0000_0002_affectedSopClassUid, T_0000_0002_affectedSopClassUid, true, "T_0000_0002_affectedSopClassUid"},
    {T_0000_0110_messageId, T_0000_0120_messageIdBeingRespondedTo, true, "T_0000_0110_messageId"},
    {T_0000_1000_affectedSopInstanceUid, T_0000_1000_affectedSopInstanceUid, true, "T_0000_1000_affectedSopInstanceUid"},
    {T_0000_1002_eventTypeId, T_0000_1002_eventTypeId, true, "T_0000_1002_eventTypeId"},
};

const DcCmdRspRule nEventRspRule = {
    "DcCmdNEventRsp::parseRequest", CMD_N_EVENT_REPORT_RQ, "N-EVENT-RQ",
    NEVENT_RSP_ERR_NULL_ARG, NEVENT_RSP_ERR_INCOMPATIBLE, NEVENT_RSP_ERR_MISSING, LOG_CHANNEL_2,
    nEventRspCopies, sizeof nEventRspCopies / sizeof nEventRspCopies[0],
};

}

DcCmdNEventRq::DcCmdNEventRq() : DcCmd(CMD_N_EVENT_REPORT_RQ, CMD_DATASET_OPTIONAL)
{
    initialize();
}

int DcCmdNEventRq::initialize()
{
    setParmList(cmdParmList(CMD_N_EVENT_REPORT_RQ));
    return 0;
}

DcCmdNEventRsp::DcCmdNEventRsp() : DcCmd(CMD_N_EVENT_REPORT_RSP, CMD_DATASET_OPTIONAL)
{
    initialize();
}

int DcCmdNEventRsp::initialize()
{
    setParmList(cmdParmList(CMD_N_EVENT_REPORT_RSP));
    return 0;
}

int DcCmdNEventRsp::parseRequest(DcCmd* request)
{
    return parseRequestBy(request, nEventRspRule);
}

#include "message/DcCmdNAction.h"

namespace {

const DcCmdParm nActionRqParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0003_requestedSopClassUid, CMD_PARM_REQUIRED},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0110_messageId, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {T_0000_1001_requestedSopInstanceUid, CMD_PARM_REQUIRED},
    {T_0000_1008_actionTypeId, CMD_PARM_REQUIRED},
    {CMD_PARM_END, 0},
};

const DcCmdParm nActionRspParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0002_affectedSopClassUid, CMD_PARM_OPTIONAL},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0120_messageIdBeingRespondedTo, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {T_0000_0900_status, CMD_PARM_REQUIRED},
    {T_0000_1000_affectedSopInstanceUid, CMD_PARM_OPTIONAL},
    {T_0000_1008_actionTypeId, CMD_PARM_CONDITIONAL},
    {CMD_PARM_END, 0},
};

const DcCmdRspCopy nActionRspCopies[] = {
    {T_0000_0110_messageId, T_0000_0120_messageIdBeingRespondedTo, true, "T_0000_0110_messageId"},
    {T_0000_1008_actionTypeId, T_0000_1008_actionTypeId, true, "T_0000_1008_actionTypeId"},
};

const DcCmdRspRule nActionRspRule = {
    "DcCmdNActionRsp::parseRequest", CMD_N_ACTION_RQ, "N-ACTION-RQ",
    NACTION_RSP_ERR_NULL_ARG, NACTION_RSP_ERR_INCOMPATIBLE, NACTION_RSP_ERR_MISSING, LOG_CHANNEL_2,
    nActionRspCopies, sizeof nActionRspCopies / sizeof nActionRspCopies[0],
};

}

DcCmdNActionRq::DcCmdNActionRq() : DcCmd(CMD_N_ACTION_RQ, CMD_DATASET_OPTIONAL)
{
    initialize();
}

int DcCmdNActionRq::initialize()
{
    setParmList(nActionRqParms);
    return 0;
}

DcCmdNActionRsp::DcCmdNActionRsp() : DcCmd(CMD_N_ACTION_RSP, CMD_DATASET_OPTIONAL)
{
    initialize();
}

int DcCmdNActionRsp::initialize()
{
    setParmList(nActionRspParms);
    return 0;
}

int DcCmdNActionRsp::parseRequest(DcCmd* request)
{
    return parseRequestBy(request, nActionRspRule);
}

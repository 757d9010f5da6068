#include "message/DcCmdCGet.h"

namespace {

const DcCmdParm cGetRqParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0002_affectedSopClassUid, CMD_PARM_REQUIRED},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0110_messageId, CMD_PARM_REQUIRED},
    {T_0000_0700_priority, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {CMD_PARM_END, 0},
};

const DcCmdParm cGetRspParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0002_affectedSopClassUid, CMD_PARM_OPTIONAL},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0120_messageIdBeingRespondedTo, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {T_0000_0900_status, CMD_PARM_REQUIRED},
    {T_0000_1020_numberOfRemainingSuboperations, CMD_PARM_CONDITIONAL},
    {T_0000_1021_numberOfCompletedSuboperations, CMD_PARM_CONDITIONAL},
    {T_0000_1022_numberOfFailedSuboperations, CMD_PARM_CONDITIONAL},
    {T_0000_1023_numberOfWarningSuboperations, CMD_PARM_CONDITIONAL},
    {CMD_PARM_END, 0},
};

const DcCmdRspCopy cGetRspCopies[] = {
    {T_0000_0002_affectedSopClassUid, T_0000_0002_affectedSopClassUid, true, "T_0000_0002_affectedSopClassUid"},
    {T_0000_0110_messageId, T_0000_0120_messageIdBeingRespondedTo, true, "T_0000_0110_messageId"},
};

const DcCmdRspRule cGetRspRule = {
    "DcCmdCGetRsp::parseRequest", CMD_C_GET_RQ, "C-GET-RQ",
    CGET_RSP_ERR_NULL_ARG, CGET_RSP_ERR_INCOMPATIBLE, CGET_RSP_ERR_MISSING, LOG_CHANNEL_2,
    cGetRspCopies, sizeof cGetRspCopies / sizeof cGetRspCopies[0],
};

}

DcCmdCGetRq::DcCmdCGetRq() : DcCmd(CMD_C_GET_RQ, CMD_DATASET_PRESENT)
{
    initialize();
}

int DcCmdCGetRq::initialize()
{
    setParmList(cGetRqParms);
    return 0;
}

DcCmdCGetRsp::DcCmdCGetRsp() : DcCmd(CMD_C_GET_RSP, CMD_DATASET_OPTIONAL)
{
    initialize();
}

int DcCmdCGetRsp::initialize()
{
    setParmList(cGetRspParms);
    return 0;
}

int DcCmdCGetRsp::parseRequest(DcCmd* request)
{
    return parseRequestBy(request, cGetRspRule);
}

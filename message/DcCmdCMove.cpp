#include "message/DcCmdCMove.h"

namespace {

const DcCmdParm cMoveRqParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0002_affectedSopClassUid, CMD_PARM_REQUIRED},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0110_messageId, CMD_PARM_REQUIRED},
    {T_0000_0600_moveDestination, CMD_PARM_REQUIRED},
    {T_0000_0700_priority, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {CMD_PARM_END, 0},
};

const DcCmdParm cMoveRspParms[] = {
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

const DcCmdRspCopy cMoveRspCopies[] = {
    {T_0000_0002_affectedSopClassUid, T_0000_0002_affectedSopClassUid, true, "T_0000_0002_affectedSopClassUid"},
    {T_0000_0110_messageId, T_0000_0120_messageIdBeingRespondedTo, true, "T_0000_0110_messageId"},
};

const DcCmdRspRule cMoveRspRule = {
    "DcCmdCMoveRsp::parseRequest", CMD_C_MOVE_RQ, "C-MOVE-RQ",
    CMOVE_RSP_ERR_NULL_ARG, CMOVE_RSP_ERR_INCOMPATIBLE, CMOVE_RSP_ERR_MISSING, LOG_CHANNEL_2,
    cMoveRspCopies, sizeof cMoveRspCopies / sizeof cMoveRspCopies[0],
};

}

DcCmdCMoveRq::DcCmdCMoveRq() : DcCmd(CMD_C_MOVE_RQ, CMD_DATASET_PRESENT)
{
    initialize();
}

int DcCmdCMoveRq::initialize()
{
    setParmList(cMoveRqParms);
    return 0;
}

DcCmdCMoveRsp::DcCmdCMoveRsp() : DcCmd(CMD_C_MOVE_RSP, CMD_DATASET_OPTIONAL)
{
    initialize();
}

int DcCmdCMoveRsp::initialize()
{
    setParmList(cMoveRspParms);
    return 0;
}

int DcCmdCMoveRsp::parseRequest(DcCmd* request)
{
    return parseRequestBy(request, cMoveRspRule);
}

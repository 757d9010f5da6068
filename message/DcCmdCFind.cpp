#include "message/DcCmdCFind.h"

namespace {

const DcCmdParm cFindRqParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0002_affectedSopClassUid, CMD_PARM_REQUIRED},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0110_messageId, CMD_PARM_REQUIRED},
    {T_0000_0700_priority, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {CMD_PARM_END, 0},
};

const DcCmdParm cFindRspParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0002_affectedSopClassUid, CMD_PARM_OPTIONAL},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0120_messageIdBeingRespondedTo, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {T_0000_0900_status, CMD_PARM_REQUIRED},
    {CMD_PARM_END, 0},
};

const DcCmdRspCopy cFindRspCopies[] = {
    {T_0000_0002_affectedSopClassUid, T_0000_0002_affectedSopClassUid, true, "T_0000_0002_affectedSopClassUid"},
    {T_0000_0110_messageId, T_0000_0120_messageIdBeingRespondedTo, true, "T_0000_0110_messageId"},
};

const DcCmdRspRule cFindRspRule = {
    "DcCmdCFindRsp::parseRequest", CMD_C_FIND_RQ, "C-FIND-RQ",
    CFIND_RSP_ERR_NULL_ARG, CFIND_RSP_ERR_INCOMPATIBLE, CFIND_RSP_ERR_MISSING, LOG_CHANNEL_2,
    cFindRspCopies, sizeof cFindRspCopies / sizeof cFindRspCopies[0],
};

}

DcCmdCFindRq::DcCmdCFindRq() : DcCmd(CMD_C_FIND_RQ, CMD_DATASET_PRESENT)
{
    initialize();
}

int DcCmdCFindRq::initialize()
{
    setParmList(cFindRqParms);
    return 0;
}

DcCmdCFindRsp::DcCmdCFindRsp() : DcCmd(CMD_C_FIND_RSP, CMD_DATASET_OPTIONAL)
{
    initialize();
}

int DcCmdCFindRsp::initialize()
{
    setParmList(cFindRspParms);
    return 0;
}

int DcCmdCFindRsp::parseRequest(DcCmd* request)
{
    return parseRequestBy(request, cFindRspRule);
}

#include "message/DcCmdNDelete.h"

namespace {

const DcCmdParm nDeleteRqParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0003_requestedSopClassUid, CMD_PARM_REQUIRED},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0110_messageId, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {T_0000_1001_requestedSopInstanceUid, CMD_PARM_REQUIRED},
    {CMD_PARM_END, 0},
};

const DcCmdParm nDeleteRspParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0002_affectedSopClassUid, CMD_PARM_OPTIONAL},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0120_messageIdBeingRespondedTo, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {T_0000_0900_status, CMD_PARM_REQUIRED},
    {T_0000_1000_affectedSopInstanceUid, CMD_PARM_OPTIONAL},
    {CMD_PARM_END, 0},
};

const DcCmdRspCopy nDeleteRspCopies[] = {
    {T_0000_0110_messageId, T_0000_0120_messageIdBeingRespondedTo, true, "T_0000_0110_messageId"},
};

const DcCmdRspRule nDeleteRspRule = {
    "DcCmdNDeleteRsp::parseRequest", CMD_N_DELETE_RQ, "N-DELETE-RQ",
    NDELETE_RSP_ERR_NULL_ARG, NDELETE_RSP_ERR_INCOMPATIBLE, NDELETE_RSP_ERR_MISSING, LOG_CHANNEL_2,
    nDeleteRspCopies, sizeof nDeleteRspCopies / sizeof nDeleteRspCopies[0],
};

}

DcCmdNDeleteRq::DcCmdNDeleteRq() : DcCmd(CMD_N_DELETE_RQ, CMD_DATASET_ABSENT)
{
    initialize();
}

int DcCmdNDeleteRq::initialize()
{
    setParmList(nDeleteRqParms);
    return 0;
}

DcCmdNDeleteRsp::DcCmdNDeleteRsp() : DcCmd(CMD_N_DELETE_RSP, CMD_DATASET_ABSENT)
{
    initialize();
}

int DcCmdNDeleteRsp::initialize()
{
    setParmList(nDeleteRspParms);
    return 0;
}

int DcCmdNDeleteRsp::parseRequest(DcCmd* request)
{
    return parseRequestBy(request, nDeleteRspRule);
}

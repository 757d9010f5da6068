#include "message/DcCmdCMove.h"

#include "message/DcCmdParms.h"

namespace {

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
    setParmList(cmdParmList(CMD_C_MOVE_RQ));
    return 0;
}

DcCmdCMoveRsp::DcCmdCMoveRsp() : DcCmd(CMD_C_MOVE_RSP, CMD_DATASET_OPTIONAL)
{
    initialize();
}

int DcCmdCMoveRsp::initialize()
{
    setParmList(cmdParmList(CMD_C_MOVE_RSP));
    return 0;
}

int DcCmdCMoveRsp::parseRequest(DcCmd* request)
{
    return parseRequestBy(request, cMoveRspRule);
}

#include "message/DcCmdCEcho.h"

#include "message/DcCmdParms.h"

namespace {

const DcCmdRspCopy cEchoRspCopies[] = {
    {T_0000_0002_affectedSopClassUid, T_0000_0002_affectedSopClassUid, true, "T_0000_0002_affectedSopClassUid"},
    {T_0000_0110_messageId, T_0000_0120_messageIdBeingRespondedTo, true, "T_0000_0110_messageId"},
};

const DcCmdRspRule cEchoRspRule = {
    "DcCmdCEchoRsp::parseRequest", CMD_C_ECHO_RQ, "C-ECHO-RQ",
    CECHO_RSP_ERR_NULL_ARG, CECHO_RSP_ERR_INCOMPATIBLE, CECHO_RSP_ERR_MISSING, LOG_CHANNEL_1,
    cEchoRspCopies, sizeof cEchoRspCopies / sizeof cEchoRspCopies[0],
};

}

DcCmdCEchoRq::DcCmdCEchoRq() : DcCmd(CMD_C_ECHO_RQ, CMD_DATASET_ABSENT)
{
    initialize();
}

int DcCmdCEchoRq::initialize()
{
    setParmList(cmdParmList(CMD_C_ECHO_RQ));
    return 0;
}

DcCmdCEchoRsp::DcCmdCEchoRsp() : DcCmd(CMD_C_ECHO_RSP, CMD_DATASET_ABSENT)
{
    initialize();
}

int DcCmdCEchoRsp::initialize()
{
    setParmList(cmdParmList(CMD_C_ECHO_RSP));
    return 0;
}

int DcCmdCEchoRsp::parseRequest(DcCmd* request)
{
    return parseRequestBy(request, cEchoRspRule);
}

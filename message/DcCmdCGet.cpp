#include "message/DcCmdCGet.h"

#include "message/DcCmdParms.h"

namespace {

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
    setParmList(cmdParmList(CMD_C_GET_RQ));
    return 0;
}

DcCmdCGetRsp::DcCmdCGetRsp() : DcCmd(CMD_C_GET_RSP, CMD_DATASET_OPTIONAL)
{
    initialize();
}

int DcCmdCGetRsp::initialize()
{
    setParmList(cmdParmList(CMD_C_GET_RSP));
    return 0;
}

int DcCmdCGetRsp::parseRequest(DcCmd* request)
{
    return parseRequestBy(request, cGetRspRule);
}

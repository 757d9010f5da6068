#include "message/DcCmdNGet.h"

#include "message/DcCmdParms.h"

namespace {

const DcCmdRspCopy nGetRspCopies[] = {
    {T_0000_0110_messageId, T_0000_0120_messageIdBeingRespondedTo, true, "T_0000_0110_messageId"},
};

const DcCmdRspRule nGetRspRule = {
    "DcCmdNGetRsp::parseRequest", CMD_N_GET_RQ, "N-GET-RQ",
    NGET_RSP_ERR_NULL_ARG, NGET_RSP_ERR_INCOMPATIBLE, NGET_RSP_ERR_MISSING, LOG_CHANNEL_2,
    nGetRspCopies, sizeof nGetRspCopies / sizeof nGetRspCopies[0],
};

}

DcCmdNGetRq::DcCmdNGetRq() : DcCmd(CMD_N_GET_RQ, CMD_DATASET_ABSENT)
{
    initialize();
}

int DcCmdNGetRq::initialize()
{
    setParmList(cmdParmList(CMD_N_GET_RQ));
    return 0;
}

DcCmdNGetRsp::DcCmdNGetRsp() : DcCmd(CMD_N_GET_RSP, CMD_DATASET_OPTIONAL)
{
    initialize();
}

int DcCmdNGetRsp::initialize()
{
    setParmList(cmdParmList(CMD_N_GET_RSP));
    return 0;
}

int DcCmdNGetRsp::parseRequest(DcCmd* request)
{
    return parseRequestBy(request, nGetRspRule);
}

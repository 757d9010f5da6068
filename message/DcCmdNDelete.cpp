#include "message/DcCmdNDelete.h"

#include "message/DcCmdParms.h"

namespace {

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
    setParmList(cmdParmList(CMD_N_DELETE_RQ));
    return 0;
}

DcCmdNDeleteRsp::DcCmdNDeleteRsp() : DcCmd(CMD_N_DELETE_RSP, CMD_DATASET_ABSENT)
{
    initialize();
}

int DcCmdNDeleteRsp::initialize()
{
    setParmList(cmdParmList(CMD_N_DELETE_RSP));
    return 0;
}

int DcCmdNDeleteRsp::parseRequest(DcCmd* request)
{
    return parseRequestBy(request, nDeleteRspRule);
}

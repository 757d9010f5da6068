#include "message/DcCmdCFind.h"

#include "message/DcCmdParms.h"

namespace {

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
    setParmList(cmdParmList(CMD_C_FIND_RQ));
    return 0;
}

DcCmdCFindRsp::DcCmdCFindRsp() : DcCmd(CMD_C_FIND_RSP, CMD_DATASET_OPTIONAL)
{
    initialize();
}

int DcCmdCFindRsp::initialize()
{
    setParmList(cmdParmList(CMD_C_FIND_RSP));
    return 0;
}

int DcCmdCFindRsp::parseRequest(DcCmd* request)
{
    return parseRequestBy(request, cFindRspRule);
}

#include "message/DcCmdNSet.h"

#include "message/DcCmdParms.h"

namespace {

const DcCmdRspCopy nSetRspCopies[] = {
    {T_0000_0110_messageId, T_0000_0120_messageIdBeingRespondedTo, true, "T_0000_0110_messageId"},
    {T_0000_0003_requestedSopClassUid, T_0000_0002_affectedSopClassUid, false, "T_0000_0003_requestedSopClassUid"},
    {T_0000_1001_requestedSopInstanceUid, T_0000_1000_affectedSopInstanceUid, false, "T_0000_1001_requestedSopInstanceUid"},
};

const DcCmdRspRule nSetRspRule = {
    "DcCmdNSetRsp::parseRequest", CMD_N_SET_RQ, "N-SET-RQ",
    NSET_RSP_ERR_NULL_ARG, NSET_RSP_ERR_INCOMPATIBLE, NSET_RSP_ERR_MISSING, LOG_CHANNEL_2,
    nSetRspCopies, sizeof nSetRspCopies / sizeof nSetRspCopies[0],
};

}

DcCmdNSetRq::DcCmdNSetRq() : DcCmd(CMD_N_SET_RQ, CMD_DATASET_PRESENT)
{
    initialize();
}

int DcCmdNSetRq::initialize()
{
    setParmList(cmdParmList(CMD_N_SET_RQ));
    return 0;
}

DcCmdNSetRsp::DcCmdNSetRsp() : DcCmd(CMD_N_SET_RSP, CMD_DATASET_OPTIONAL)
{
    initialize();
}

int DcCmdNSetRsp::initialize()
{
    setParmList(cmdParmList(CMD_N_SET_RSP));
    return 0;
}

int DcCmdNSetRsp::parseRequest(DcCmd* request)
{
    return parseRequestBy(request, nSetRspRule);
}

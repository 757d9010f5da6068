#include "message/DcCmdNCreate.h"

#include "message/DcCmdParms.h"

namespace {

const DcCmdRspCopy nCreateRspCopies[] = {
    {T_0000_0110_messageId, T_0000_0120_messageIdBeingRespondedTo, true, "T_0000_0110_messageId"},
    {T_0000_0002_affectedSopClassUid, T_0000_0002_affectedSopClassUid, false, "T_0000_0002_affectedSopClassUid"},
    {T_0000_1000_affectedSopInstanceUid, T_0000_1000_affectedSopInstanceUid, false, "T_0000_1000_affectedSopInstanceUid"},
};

const DcCmdRspRule nCreateRspRule = {
    "DcCmdNCreateRsp::parseRequest", CMD_N_CREATE_RQ, "N-CREATE-RQ",
    NCREATE_RSP_ERR_NULL_ARG, NCREATE_RSP_ERR_INCOMPATIBLE, NCREATE_RSP_ERR_MISSING, LOG_CHANNEL_2,
    nCreateRspCopies, sizeof nCreateRspCopies / sizeof nCreateRspCopies[0],
};

}

DcCmdNCreateRq::DcCmdNCreateRq() : DcCmd(CMD_N_CREATE_RQ, CMD_DATASET_PRESENT)
{
    initialize();
}

int DcCmdNCreateRq::initialize()
{
    setParmList(cmdParmList(CMD_N_CREATE_RQ));
    return 0;
}

DcCmdNCreateRsp::DcCmdNCreateRsp() : DcCmd(CMD_N_CREATE_RSP, CMD_DATASET_OPTIONAL)
{
    initialize();
}

int DcCmdNCreateRsp::initialize()
{
    setParmList(cmdParmList(CMD_N_CREATE_RSP));
    return 0;
}

int DcCmdNCreateRsp::parseRequest(DcCmd* request)
{
    return parseRequestBy(request, nCreateRspRule);
}

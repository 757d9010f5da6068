#include "message/DcCmdCStore.h"

#include "message/DcCmdParms.h"

namespace {

const DcCmdRspCopy cStoreRspCopies[] = {
    {T_0000_0002_affectedSopClassUid, T_0000_0002_affectedSopClassUid, true, "T_0000_0002_affectedSopClassUid"},
    {T_0000_0200_initiator, T_0000_0300_receiver, false, "T_0000_0200_initiator"},
    {T_0000_0300_receiver, T_0000_0200_initiator, false, "T_0000_0300_receiver"},
    {T_0000_0110_messageId, T_0000_0120_messageIdBeingRespondedTo, true, "T_0000_0110_messageId"},
    {T_0000_1000_affectedSopInstanceUid, T_0000_1000_affectedSopInstanceUid, true, "T_0000_1000_affectedSopInstanceUid"},
};

const DcCmdRspRule cStoreRspRule = {
    "DcCmdCStoreRsp::parseRequest", CMD_C_STORE_RQ, "C-STORE-RQ",
    CSTORE_RSP_ERR_NULL_ARG, CSTORE_RSP_ERR_INCOMPATIBLE, CSTORE_RSP_ERR_MISSING, LOG_CHANNEL_2,
    cStoreRspCopies, sizeof cStoreRspCopies / sizeof cStoreRspCopies[0],
};

}

DcCmdCStoreRq::DcCmdCStoreRq() : DcCmd(CMD_C_STORE_RQ, CMD_DATASET_PRESENT)
{
    initialize();
}

int DcCmdCStoreRq::initialize()
{
    setParmList(cmdParmList(CMD_C_STORE_RQ));
    return 0;
}

DcCmdCStoreRsp::DcCmdCStoreRsp() : DcCmd(CMD_C_STORE_RSP, CMD_DATASET_ABSENT)
{
    initialize();
}

int DcCmdCStoreRsp::initialize()
{
    setParmList(cmdParmList(CMD_C_STORE_RSP));
    return 0;
}

int DcCmdCStoreRsp::parseRequest(DcCmd* request)
{
    return parseRequestBy(request, cStoreRspRule);
}

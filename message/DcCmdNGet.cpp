#include "message/DcCmdNGet.h"

namespace {

const DcCmdParm nGetRqParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0003_requestedSopClassUid, CMD_PARM_REQUIRED},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0110_messageId, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {T_0000_1001_requestedSopInstanceUid, CMD_PARM_REQUIRED},
    {T_0000_1005_attributeIdentifierList, CMD_PARM_OPTIONAL},
    {CMD_PARM_END, 0},
};

const DcCmdParm nGetRspParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0002_affectedSopClassUid, CMD_PARM_OPTIONAL},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0120_messageIdBeingRespondedTo, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {T_0000_0900_status, CMD_PARM_REQUIRED},
    {T_0000_1000_affectedSopInstanceUid, CMD_PARM_OPTIONAL},
    {CMD_PARM_END, 0},
};

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
    setParmList(nGetRqParms);
    return 0;
}

DcCmdNGetRsp::DcCmdNGetRsp() : DcCmd(CMD_N_GET_RSP, CMD_DATASET_OPTIONAL)
{
    initialize();
}

int DcCmdNGetRsp::initialize()
{
    setParmList(nGetRspParms);
    return 0;
}

int DcCmdNGetRsp::parseRequest(DcCmd* request)
{
    return parseRequestBy(request, nGetRspRule);
}

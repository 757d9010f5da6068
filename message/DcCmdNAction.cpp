#include "message/DcCmdNAction.h"

#include "message/DcCmdParms.h"

namespace {

const DcCmdRspCopy nActionRspCopies[] = {
    {T_0000_0110_messageId, T_0000_0120_messageIdBeingRespondedTo, true, "T_0000_0110_messageId"},
    {T_0000_1008_actionTypeId, T_0000_1008_actionTypeId, true, "T_0000_1008_actionTypeId"},
};

const DcCmdRspRule nActionRspRule = {
    "DcCmdNActionRsp::parseRequest", CMD_N_ACTION_RQ, "N-ACTION-RQ",
    NACTION_RSP_ERR_NULL_ARG, NACTION_RSP_ERR_INCOMPATIBLE, NACTION_RSP_ERR_MISSING, LOG_CHANNEL_2,
    nActionRspCopies, sizeof nActionRspCopies / sizeof nActionRspCopies[0],
};

}

DcCmdNActionRq::DcCmdNActionRq() : DcCmd(CMD_N_ACTION_RQ, CMD_DATASET_OPTIONAL)
{
    initialize();
}

int DcCmdNActionRq::initialize()
{
    setParmList(cmdParmList(CMD_N_ACTION_RQ));
    return 0;
}

DcCmdNActionRsp::DcCmdNActionRsp() : DcCmd(CMD_N_ACTION_RSP, CMD_DATASET_OPTIONAL)
{
    initialize();
}

int DcCmdNActionRsp::initialize()
{
    setParmList(cmdParmList(CMD_N_ACTION_RSP));
    return 0;
}

int DcCmdNActionRsp::parseRequest(DcCmd* request)
{
    return parseRequestBy(request, nActionRspRule);
}

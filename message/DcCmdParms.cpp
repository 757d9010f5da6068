#include "message/DcCmdParms.h"

namespace {

const DcCmdParm cCancelRqParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0110_messageId, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {CMD_PARM_END, 0},
};

const DcCmdParm cEchoRqParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0002_affectedSopClassUid, CMD_PARM_REQUIRED},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0110_messageId, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {CMD_PARM_END, 0},
};

const DcCmdParm cEchoOrFindRspParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0002_affectedSopClassUid, CMD_PARM_OPTIONAL},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0120_messageIdBeingRespondedTo, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {T_0000_0900_status, CMD_PARM_REQUIRED},
    {CMD_PARM_END, 0},
};

const DcCmdParm cFindOrGetRqParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0002_affectedSopClassUid, CMD_PARM_REQUIRED},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0110_messageId, CMD_PARM_REQUIRED},
    {T_0000_0700_priority, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {CMD_PARM_END, 0},
};

const DcCmdParm cGetOrMoveRspParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0002_affectedSopClassUid, CMD_PARM_OPTIONAL},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0120_messageIdBeingRespondedTo, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {T_0000_0900_status, CMD_PARM_REQUIRED},
    {T_0000_1020_numberOfRemainingSuboperations, CMD_PARM_CONDITIONAL},
    {T_0000_1021_numberOfCompletedSuboperations, CMD_PARM_CONDITIONAL},
    {T_0000_1022_numberOfFailedSuboperations, CMD_PARM_CONDITIONAL},
    {T_0000_1023_numberOfWarningSuboperations, CMD_PARM_CONDITIONAL},
    {CMD_PARM_END, 0},
};

const DcCmdParm cMoveRqParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0002_affectedSopClassUid, CMD_PARM_REQUIRED},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0110_messageId, CMD_PARM_REQUIRED},
    {T_0000_0600_moveDestination, CMD_PARM_REQUIRED},
    {T_0000_0700_priority, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {CMD_PARM_END, 0},
};

const DcCmdParm cStoreRqParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0002_affectedSopClassUid, CMD_PARM_REQUIRED},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0110_messageId, CMD_PARM_REQUIRED},
    {T_0000_0200_initiator, CMD_PARM_OPTIONAL},
    {T_0000_0300_receiver, CMD_PARM_OPTIONAL},
    {T_0000_0700_priority, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {T_0000_1000_affectedSopInstanceUid, CMD_PARM_REQUIRED},
    {T_0000_1030_moveOriginatorApplicationEntityTitle, CMD_PARM_OPTIONAL},
    {T_0000_1031_moveOriginatorMessageId, CMD_PARM_OPTIONAL},
    {CMD_PARM_END, 0},
};

const DcCmdParm cStoreRspParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0001_commandLengthToEnd, CMD_PARM_OPTIONAL},
    {T_0000_0002_affectedSopClassUid, CMD_PARM_OPTIONAL},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0120_messageIdBeingRespondedTo, CMD_PARM_REQUIRED},
    {T_0000_0200_initiator, CMD_PARM_OPTIONAL},
    {T_0000_0300_receiver, CMD_PARM_OPTIONAL},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {T_0000_0900_status, CMD_PARM_REQUIRED},
    {T_0000_1000_affectedSopInstanceUid, CMD_PARM_OPTIONAL},
    {CMD_PARM_END, 0},
};

const DcCmdParm nActionRqParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0003_requestedSopClassUid, CMD_PARM_REQUIRED},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0110_messageId, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {T_0000_1001_requestedSopInstanceUid, CMD_PARM_REQUIRED},
    {T_0000_1008_actionTypeId, CMD_PARM_REQUIRED},
    {CMD_PARM_END, 0},
};

const DcCmdParm nActionRspParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0002_affectedSopClassUid, CMD_PARM_OPTIONAL},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0120_messageIdBeingRespondedTo, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {T_0000_0900_status, CMD_PARM_REQUIRED},
    {T_0000_1000_affectedSopInstanceUid, CMD_PARM_OPTIONAL},
    {T_0000_1008_actionTypeId, CMD_PARM_CONDITIONAL},
    {CMD_PARM_END, 0},
};

const DcCmdParm nCreateRqParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0002_affectedSopClassUid, CMD_PARM_REQUIRED},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0110_messageId, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {T_0000_1000_affectedSopInstanceUid, CMD_PARM_OPTIONAL},
    {CMD_PARM_END, 0},
};

const DcCmdParm nCreateRspParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0002_affectedSopClassUid, CMD_PARM_OPTIONAL},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0120_messageIdBeingRespondedTo, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {T_0000_0900_status, CMD_PARM_REQUIRED},
    {T_0000_1000_affectedSopInstanceUid, CMD_PARM_CONDITIONAL},
    {CMD_PARM_END, 0},
};

const DcCmdParm nDeleteOrSetRqParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0003_requestedSopClassUid, CMD_PARM_REQUIRED},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0110_messageId, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {T_0000_1001_requestedSopInstanceUid, CMD_PARM_REQUIRED},
    {CMD_PARM_END, 0},
};

const DcCmdParm nGetSetOrDeleteRspParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0002_affectedSopClassUid, CMD_PARM_OPTIONAL},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0120_messageIdBeingRespondedTo, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {T_0000_0900_status, CMD_PARM_REQUIRED},
    {T_0000_1000_affectedSopInstanceUid, CMD_PARM_OPTIONAL},
    {CMD_PARM_END, 0},
};

const DcCmdParm nEventRqParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0002_affectedSopClassUid, CMD_PARM_REQUIRED},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0110_messageId, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {T_0000_1000_affectedSopInstanceUid, CMD_PARM_REQUIRED},
    {T_0000_1002_eventTypeId, CMD_PARM_REQUIRED},
    {CMD_PARM_END, 0},
};

const DcCmdParm nEventRspParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0002_affectedSopClassUid, CMD_PARM_OPTIONAL},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0120_messageIdBeingRespondedTo, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {T_0000_0900_status, CMD_PARM_REQUIRED},
    {T_0000_1002_eventTypeId, CMD_PARM_CONDITIONAL},
    {CMD_PARM_END, 0},
};

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

struct ParmListOfType {
    CMD_TYPE type;
    const DcCmdParm* parms;
};

const ParmListOfType parmLists[] = {
    {CMD_C_CANCEL_RQ, cCancelRqParms},
    {CMD_C_ECHO_RQ, cEchoRqParms},
    {CMD_C_ECHO_RSP, cEchoOrFindRspParms},
    {CMD_C_FIND_RQ, cFindOrGetRqParms},
    {CMD_C_FIND_RSP, cEchoOrFindRspParms},
    {CMD_C_GET_RQ, cFindOrGetRqParms},
    {CMD_C_GET_RSP, cGetOrMoveRspParms},
    {CMD_C_MOVE_RQ, cMoveRqParms},
    {CMD_C_MOVE_RSP, cGetOrMoveRspParms},
    {CMD_C_STORE_RQ, cStoreRqParms},
    {CMD_C_STORE_RSP, cStoreRspParms},
    {CMD_N_ACTION_RQ, nActionRqParms},
    {CMD_N_ACTION_RSP, nActionRspParms},
    {CMD_N_CREATE_RQ, nCreateRqParms},
    {CMD_N_CREATE_RSP, nCreateRspParms},
    {CMD_N_DELETE_RQ, nDeleteOrSetRqParms},
    {CMD_N_DELETE_RSP, nGetSetOrDeleteRspParms},
    {CMD_N_EVENT_REPORT_RQ, nEventRqParms},
    {CMD_N_EVENT_REPORT_RSP, nEventRspParms},
    {CMD_N_GET_RQ, nGetRqParms},
    {CMD_N_GET_RSP, nGetSetOrDeleteRspParms},
    {CMD_N_SET_RQ, nDeleteOrSetRqParms},
    {CMD_N_SET_RSP, nGetSetOrDeleteRspParms},
};

}

const DcCmdParm* cmdParmList(CMD_TYPE type)
{
    for (const ParmListOfType& entry : parmLists)
        if (entry.type == type)
            return entry.parms;
    return nullptr;
}

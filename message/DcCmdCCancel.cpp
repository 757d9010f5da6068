#include "message/DcCmdCCancel.h"

namespace {

const DcCmdParm cCancelRqParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {T_0000_0110_messageId, CMD_PARM_REQUIRED},
    {T_0000_0800_commandDataSetType, CMD_PARM_REQUIRED},
    {CMD_PARM_END, 0},
};

}

DcCmdCCancelRq::DcCmdCCancelRq() : DcCmd(CMD_C_CANCEL_RQ, CMD_DATASET_ABSENT)
{
    initialize();
}

int DcCmdCCancelRq::initialize()
{
    setParmList(cCancelRqParms);
    return 0;
}

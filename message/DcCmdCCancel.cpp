#include "message/DcCmdCCancel.h"

#include "message/DcCmdParms.h"

DcCmdCCancelRq::DcCmdCCancelRq() : DcCmd(CMD_C_CANCEL_RQ, CMD_DATASET_ABSENT)
{
    initialize();
}

int DcCmdCCancelRq::initialize()
{
    setParmList(cmdParmList(CMD_C_CANCEL_RQ));
    return 0;
}

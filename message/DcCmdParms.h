#ifndef BRENIK3_MESSAGE_DCCMDPARMS_H
#define BRENIK3_MESSAGE_DCCMDPARMS_H

#include "message/DcCmd.h"
#include "foundation/Export.h"

// The parameter list of each command type, ended by a CMD_PARM_END row; the
// commands whose lists are alike share one. Null for a type without a list.
BRENIK3_API const DcCmdParm* cmdParmList(CMD_TYPE type);

#endif

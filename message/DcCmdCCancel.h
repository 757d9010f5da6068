#ifndef BRENIK3_MESSAGE_DCCMDCCANCEL_H
#define BRENIK3_MESSAGE_DCCMDCCANCEL_H

#include "message/DcCmd.h"

// The C-CANCEL request.
class DcCmdCCancelRq : public DcCmd {
public:
    DcCmdCCancelRq();

private:
    int initialize();
};

#endif

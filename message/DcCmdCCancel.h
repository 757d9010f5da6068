#ifndef BRENIK3_MESSAGE_DCCMDCCANCEL_H
#define BRENIK3_MESSAGE_DCCMDCCANCEL_H

#include "message/DcCmd.h"
#include "foundation/Export.h"

// The C-CANCEL request.
class BRENIK3_API DcCmdCCancelRq : public DcCmd {
public:
    DcCmdCCancelRq();

private:
    int initialize();
};

#endif

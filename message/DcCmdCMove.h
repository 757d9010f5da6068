#ifndef BRENIK3_MESSAGE_DCCMDCMOVE_H
#define BRENIK3_MESSAGE_DCCMDCMOVE_H

#include "message/DcCmd.h"
#include "foundation/Export.h"

// Status codes of the C-MOVE response.
enum {
    CMOVE_RSP_ERR_MISSING = 0x1001,
    CMOVE_RSP_ERR_NULL_ARG = 0x1003,
    CMOVE_RSP_ERR_INCOMPATIBLE = 0x1004
};

// The C-MOVE request.
class BRENIK3_API DcCmdCMoveRq : public DcCmd {
public:
    DcCmdCMoveRq();

private:
    int initialize();
};

// The C-MOVE response.
class BRENIK3_API DcCmdCMoveRsp : public DcCmd {
public:
    DcCmdCMoveRsp();
    // Fills the response from the C-MOVE request that it answers.
    virtual int parseRequest(DcCmd* request);

private:
    int initialize();
};

#endif

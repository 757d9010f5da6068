#ifndef BRENIK3_MESSAGE_DCCMDNDELETE_H
#define BRENIK3_MESSAGE_DCCMDNDELETE_H

#include "message/DcCmd.h"
#include "foundation/Export.h"

// Status codes of the N-DELETE response.
enum {
    NDELETE_RSP_ERR_MISSING = 0x3201,
    NDELETE_RSP_ERR_NULL_ARG = 0x3203,
    NDELETE_RSP_ERR_INCOMPATIBLE = 0x3204
};

// The N-DELETE request.
class BRENIK3_API DcCmdNDeleteRq : public DcCmd {
public:
    DcCmdNDeleteRq();

private:
    int initialize();
};

// The N-DELETE response.
class BRENIK3_API DcCmdNDeleteRsp : public DcCmd {
public:
    DcCmdNDeleteRsp();
    // Fills the response from the N-DELETE request that it answers.
    virtual int parseRequest(DcCmd* request);

private:
    int initialize();
};

#endif

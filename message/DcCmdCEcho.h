#ifndef BRENIK3_MESSAGE_DCCMDCECHO_H
#define BRENIK3_MESSAGE_DCCMDCECHO_H

#include "message/DcCmd.h"
#include "foundation/Export.h"

// Status codes of the C-ECHO response.
enum {
    CECHO_RSP_ERR_MISSING = 0x0801,
    CECHO_RSP_ERR_NULL_ARG = 0x0803,
    CECHO_RSP_ERR_INCOMPATIBLE = 0x0804
};

// The C-ECHO request.
class BRENIK3_API DcCmdCEchoRq : public DcCmd {
public:
    DcCmdCEchoRq();

private:
    int initialize();
};

// The C-ECHO response.
class BRENIK3_API DcCmdCEchoRsp : public DcCmd {
public:
    DcCmdCEchoRsp();
    // Fills the response from the C-ECHO request that it answers.
    virtual int parseRequest(DcCmd* request);

private:
    int initialize();
};

#endif

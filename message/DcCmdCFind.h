#ifndef BRENIK3_MESSAGE_DCCMDCFIND_H
#define BRENIK3_MESSAGE_DCCMDCFIND_H

#include "message/DcCmd.h"
#include "foundation/Export.h"

// Status codes of the C-FIND response.
enum {
    CFIND_RSP_ERR_MISSING = 0x0A03,
    CFIND_RSP_ERR_NULL_ARG = 0x0A02,
    CFIND_RSP_ERR_INCOMPATIBLE = 0x0A04
};

// The C-FIND request.
class BRENIK3_API DcCmdCFindRq : public DcCmd {
public:
    DcCmdCFindRq();

private:
    int initialize();
};

// The C-FIND response.
class BRENIK3_API DcCmdCFindRsp : public DcCmd {
public:
    DcCmdCFindRsp();
    // Fills the response from the C-FIND request that it answers.
    virtual int parseRequest(DcCmd* request);

private:
    int initialize();
};

#endif

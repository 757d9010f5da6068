#ifndef BRENIK3_MESSAGE_DCCMDNGET_H
#define BRENIK3_MESSAGE_DCCMDNGET_H

#include "message/DcCmd.h"
#include "foundation/Export.h"

// Status codes of the N-GET response.
enum {
    NGET_RSP_ERR_MISSING = 0x3601,
    NGET_RSP_ERR_NULL_ARG = 0x3603,
    NGET_RSP_ERR_INCOMPATIBLE = 0x3604
};

// The N-GET request.
class BRENIK3_API DcCmdNGetRq : public DcCmd {
public:
    DcCmdNGetRq();

private:
    int initialize();
};

// The N-GET response.
class BRENIK3_API DcCmdNGetRsp : public DcCmd {
public:
    DcCmdNGetRsp();
    // Fills the response from the N-GET request that it answers.
    virtual int parseRequest(DcCmd* request);

private:
    int initialize();
};

#endif

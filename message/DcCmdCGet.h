#ifndef BRENIK3_MESSAGE_DCCMDCGET_H
#define BRENIK3_MESSAGE_DCCMDCGET_H

#include "message/DcCmd.h"
#include "foundation/Export.h"

// Status codes of the C-GET response.
enum {
    CGET_RSP_ERR_MISSING = 0x0C03,
    CGET_RSP_ERR_NULL_ARG = 0x0C02,
    CGET_RSP_ERR_INCOMPATIBLE = 0x0C04
};

// The C-GET request.
class BRENIK3_API DcCmdCGetRq : public DcCmd {
public:
    DcCmdCGetRq();

private:
    int initialize();
};

// The C-GET response.
class BRENIK3_API DcCmdCGetRsp : public DcCmd {
public:
    DcCmdCGetRsp();
    // Fills the response from the C-GET request that it answers.
    virtual int parseRequest(DcCmd* request);

private:
    int initialize();
};

#endif

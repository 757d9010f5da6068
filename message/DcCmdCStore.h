#ifndef BRENIK3_MESSAGE_DCCMDCSTORE_H
#define BRENIK3_MESSAGE_DCCMDCSTORE_H

#include "message/DcCmd.h"
#include "foundation/Export.h"

// Status codes of the C-STORE response.
enum {
    CSTORE_RSP_ERR_MISSING = 0x1201,
    CSTORE_RSP_ERR_NULL_ARG = 0x1203,
    CSTORE_RSP_ERR_INCOMPATIBLE = 0x1204
};

// The C-STORE request.
class BRENIK3_API DcCmdCStoreRq : public DcCmd {
public:
    DcCmdCStoreRq();

private:
    int initialize();
};

// The C-STORE response.
class BRENIK3_API DcCmdCStoreRsp : public DcCmd {
public:
    DcCmdCStoreRsp();
    // Fills the response from the C-STORE request that it answers.
    virtual int parseRequest(DcCmd* request);

private:
    int initialize();
};

#endif

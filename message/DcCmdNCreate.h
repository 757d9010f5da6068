#ifndef BRENIK3_MESSAGE_DCCMDNCREATE_H
#define BRENIK3_MESSAGE_DCCMDNCREATE_H

#include "message/DcCmd.h"
#include "foundation/Export.h"

// Status codes of the N-CREATE response.
enum {
    NCREATE_RSP_ERR_MISSING = 0x3001,
    NCREATE_RSP_ERR_NULL_ARG = 0x3003,
    NCREATE_RSP_ERR_INCOMPATIBLE = 0x3004
};

// The N-CREATE request.
class BRENIK3_API DcCmdNCreateRq : public DcCmd {
public:
    DcCmdNCreateRq();

private:
    int initialize();
};

// The N-CREATE response.
class BRENIK3_API DcCmdNCreateRsp : public DcCmd {
public:
    DcCmdNCreateRsp();
    // Fills the response from the N-CREATE request that it answers.
    virtual int parseRequest(DcCmd* request);

private:
    int initialize();
};

#endif

#ifndef BRENIK3_MESSAGE_DCCMDNSET_H
#define BRENIK3_MESSAGE_DCCMDNSET_H

#include "message/DcCmd.h"
#include "foundation/Export.h"

// Status codes of the N-SET response.
enum {
    NSET_RSP_ERR_MISSING = 0x3801,
    NSET_RSP_ERR_NULL_ARG = 0x3803,
    NSET_RSP_ERR_INCOMPATIBLE = 0x3804
};

// The N-SET request.
class BRENIK3_API DcCmdNSetRq : public DcCmd {
public:
    DcCmdNSetRq();

private:
    int initialize();
};

// The N-SET response.
class BRENIK3_API DcCmdNSetRsp : public DcCmd {
public:
    DcCmdNSetRsp();
    // Fills the response from the N-SET request that it answers.
    virtual int parseRequest(DcCmd* request);

private:
    int initialize();
};

#endif

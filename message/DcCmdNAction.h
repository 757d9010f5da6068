#ifndef BRENIK3_MESSAGE_DCCMDNACTION_H
#define BRENIK3_MESSAGE_DCCMDNACTION_H

#include "message/DcCmd.h"
#include "foundation/Export.h"

// Status codes of the N-ACTION response.
enum {
    NACTION_RSP_ERR_MISSING = 0x2E01,
    NACTION_RSP_ERR_NULL_ARG = 0x2E03,
    NACTION_RSP_ERR_INCOMPATIBLE = 0x2E04
};

// The N-ACTION request.
class BRENIK3_API DcCmdNActionRq : public DcCmd {
public:
    DcCmdNActionRq();

private:
    int initialize();
};

// The N-ACTION response.
class BRENIK3_API DcCmdNActionRsp : public DcCmd {
public:
    DcCmdNActionRsp();
    // Fills the response from the N-ACTION request that it answers.
    virtual int parseRequest(DcCmd* request);

private:
    int initialize();
};

#endif

#ifndef BRENIK3_MESSAGE_DCCMDNEVENT_H
#define BRENIK3_MESSAGE_DCCMDNEVENT_H

#include "message/DcCmd.h"
#include "foundation/Export.h"

// Status codes of the N-EVENT-REPORT response.
enum {
    NEVENT_RSP_ERR_MISSING = 0x3401,
    NEVENT_RSP_ERR_NULL_ARG = 0x3403,
    NEVENT_RSP_ERR_INCOMPATIBLE = 0x3404
};

// The N-EVENT-REPORT request.
class BRENIK3_API DcCmdNEventRq : public DcCmd {
public:
    DcCmdNEventRq();

private:
    int initialize();
};

// The N-EVENT-REPORT response.
class BRENIK3_API DcCmdNEventRsp : public DcCmd {
public:
    DcCmdNEventRsp();
    // Fills the response from the N-EVENT-REPORT request that it answers.
    virtual int parseRequest(DcCmd* request);

private:
    int initialize();
};

#endif

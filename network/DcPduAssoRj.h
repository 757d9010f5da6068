#ifndef BRENIK3_NETWORK_DCPDUASSORJ_H
#define BRENIK3_NETWORK_DCPDUASSORJ_H

#include "network/DcPdu.h"
#include "foundation/Export.h"

// Status codes of the A-ASSOCIATE-RJ PDU (module 0x4A).
enum {
    ASSO_RJ_ERR_DATA = 0x4A02,     // no record to frame, or the body could not be read
    ASSO_RJ_ERR_NULL_ARG = 0x4A03
};

// Content of an A-ASSOCIATE-RJ; only the low byte of each field travels.
struct BRENIK3_API DcPduInfoRj {
    unsigned int result;  // 1 rejected-permanent, 2 rejected-transient
    unsigned int source;  // 1 service-user, 2 provider (ACSE), 3 provider (presentation)
    unsigned int reason;
};

class BRENIK3_API DcPduAssoRj : public DcPdu {
public:
    DcPduAssoRj();
    explicit DcPduAssoRj(int sock);
    DcPduAssoRj(const DcPduAssoRj&) = delete;
    DcPduAssoRj& operator=(const DcPduAssoRj&) = delete;
    ~DcPduAssoRj() override;

    using DcPdu::setInfo;
    int setInfo(DcPduInfoRj* rjInfo);
    // The record read or set; null while there is none.
    const DcPduInfoRj* getInfo() { return rjInfo; }
    int read(PDU_BLOCK block);

protected:
    int frameAsso(unsigned char* buf) override;

private:
    DcPduInfoRj* rjInfo;
};

#endif

#ifndef BRENIK3_NETWORK_DCPDURELEASE_H
#define BRENIK3_NETWORK_DCPDURELEASE_H

#include "network/DcPdu.h"
#include "foundation/Export.h"

// Status code of the release PDUs.
enum { RELEASE_ERR_READ = 0x4C02 };

// A-RELEASE-RQ and A-RELEASE-RP: ten bytes, no content of their own.
class BRENIK3_API DcPduReleaseRpRq : public DcPdu {
public:
    DcPduReleaseRpRq(int sock, PDU_TYPE type);
    explicit DcPduReleaseRpRq(PDU_TYPE type);
    ~DcPduReleaseRpRq() override;

    // Reads and discards the body, whatever its bytes hold.
    int read(PDU_BLOCK block);

protected:
    int frameAsso(unsigned char* buf) override;
};

class BRENIK3_API DcPduReleaseRq : public DcPduReleaseRpRq {
public:
    explicit DcPduReleaseRq(int sock) : DcPduReleaseRpRq(sock, PDU_RELEASE_RQ) {}
    DcPduReleaseRq() : DcPduReleaseRpRq(PDU_RELEASE_RQ) {}
};

class BRENIK3_API DcPduReleaseRp : public DcPduReleaseRpRq {
public:
    explicit DcPduReleaseRp(int sock) : DcPduReleaseRpRq(sock, PDU_RELEASE_RP) {}
    DcPduReleaseRp() : DcPduReleaseRpRq(PDU_RELEASE_RP) {}
};

#endif

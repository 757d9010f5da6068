#ifndef BRENIK3_NETWORK_DCPDUABORT_H
#define BRENIK3_NETWORK_DCPDUABORT_H

#include "network/DcPdu.h"
#include "foundation/Export.h"

// Status codes of the A-ABORT PDU (module 0x46).
enum {
    ABORT_ERR_DATA = 0x4601,      // no record to frame
    ABORT_ERR_READ = 0x4602,      // the body could not be read
    ABORT_ERR_NULL_ARG = 0x4603
};

// Content of an A-ABORT.
struct BRENIK3_API DcPduInfoAbort {
    unsigned int source;  // 0 service-user, 2 service-provider
    unsigned int reason;  // provider reason, sent only when source is not 0
};

class BRENIK3_API DcPduAbort : public DcPdu {
public:
    DcPduAbort();
    explicit DcPduAbort(int sock);
    DcPduAbort(const DcPduAbort&) = delete;
    DcPduAbort& operator=(const DcPduAbort&) = delete;
    ~DcPduAbort() override;

    using DcPdu::setInfo;
    int setInfo(DcPduInfoAbort* abortInfo);
    // The record read or set; null while there is none.
    const DcPduInfoAbort* getInfo() { return abortInfo; }
    // Takes source and reason from the two reserved bytes that precede the
    // framed ones, so a received abort normally reads as source 0, reason 0.
    int read(PDU_BLOCK block);

protected:
    int frameAsso(unsigned char* buf) override;

private:
    DcPduInfoAbort* abortInfo;
};

#endif

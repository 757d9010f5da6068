#ifndef BRENIK3_NETWORK_DCTULDATASETSINK_H
#define BRENIK3_NETWORK_DCTULDATASETSINK_H

#include "foundation/Export.h"
#include "dictionary/DcDictTypes.h"

// Extension: a receiver of data set bytes exactly as they arrive. Registered
// on a DcTul with setDataSetSink, it is asked at the start of every data set
// message (not commands) whether it takes it; a taken data set is handed
// over fragment by fragment as the PDUs are read and never parsed, so the
// message that read returns for it has an empty element list. Memory stays
// at one PDU whatever the size of the data set. Nothing changes while no
// sink is registered.
class BRENIK3_API DcTulDataSetSink {
public:
    virtual ~DcTulDataSetSink() = default;
    // A data set begins on the presentation context, in the transfer syntax
    // negotiated for it. Return true to take its bytes, false to leave the
    // message to the usual reassembly.
    virtual bool begin(unsigned char presCtxId, DICT_UID xferSyn) = 0;
    // The next len bytes of the data set; a non-zero status stops the
    // transfer and is reported as a data error (the association closes).
    virtual int bytes(const unsigned char* data, unsigned int len) = 0;
    // The message ended: status 0 when its last fragment arrived, otherwise
    // the read's failure.
    virtual void end(int status) = 0;
};

#endif

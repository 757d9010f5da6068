#ifndef BRENIK3_SERVICE_DCMSMRAWSTORE_H
#define BRENIK3_SERVICE_DCMSMRAWSTORE_H

#include "foundation/Export.h"
#include <cstdint>
#include <memory>
#include <string>

#include "network/DcTulDataSetSink.h"
#include "service/DcMsmRawPick.h"

class DcMsm;

// Extension: bit-preserving storage over the network. Nothing here is used
// unless the caller asks for it; the specified message exchange is unchanged.
//
// Receiving (SCP): register a DcMsmRawStore with DcMsm::setDataSetSink and,
// after reading a C-STORE request, arm it with expect(fd). The data set that
// follows is written to fd exactly as it arrived, one PDU at a time, and read
// returns an empty DcIod for it; the store then tells its length and the SOP
// class, SOP instance and study instance UIDs picked from it on the way.
//
// Sending (SCU): DcMsmRawFile reads a Part 10 file's meta information (no
// dictionary needed), and msmRawStoreRq sends a C-STORE request whose data
// set is the file's data set bytes as they lie, streamed from disk. The
// response is read with DcMsm::read as usual.

// Status codes of the bit-preserving store and send (module 0x2C).
enum {
    MSM_ERR_RAW_WRITE = 0x2C31,    // the data set could not be written (see writeErrno)
    MSM_ERR_RAW_READ = 0x2C32,     // the file could not be read, or is not a Part 10 file
    MSM_ERR_RAW_SEND = 0x2C33,     // the connection failed while sending
    MSM_ERR_RAW_NOT_ARMED = 0x2C34 // status of a store that took no data set
};

class BRENIK3_API DcMsmRawStore : public DcTulDataSetSink {
public:
    DcMsmRawStore() = default;

    // The next data set received goes to fd (appended at its position); the
    // descriptor stays the caller's. Results of the previous one are cleared.
    void expect(int fd);

    // 0 once a whole data set was written; MSM_ERR_RAW_WRITE when writing
    // failed (the rest of the data set was then read and dropped, so the
    // association goes on and the request can be answered), the read's
    // failure when the transfer broke off, MSM_ERR_RAW_NOT_ARMED before any.
    int status() const { return result; }
    // errno of the failed write (ENOSPC for a full disk, EFBIG for a file
    // too large), 0 otherwise.
    int writeErrno() const { return error; }
    // Bytes of the data set received.
    uint64_t length() const { return received; }
    // The transfer syntax the data set arrived in.
    DICT_UID xferSyn() const { return syntax; }
    // Whether the UIDs below could be looked for (not in a deflated syntax).
    bool picked() const { return pick != nullptr && !pick->failed(); }
    std::string sopClassUid() const;
    std::string sopInstanceUid() const;
    std::string studyInstanceUid() const;

    bool begin(unsigned char presCtxId, DICT_UID xferSyn) override;
    int bytes(const unsigned char* data, unsigned int len) override;
    void end(int status) override;

private:
    std::string value(uint32_t tag) const;

    int fd = -1;
    int result = MSM_ERR_RAW_NOT_ARMED;
    int error = 0;
    uint64_t received = 0;
    DICT_UID syntax = UID_NONE;
    std::unique_ptr<DcMsmRawPick> pick;
};

// A Part 10 file opened for sending its data set as it is.
class BRENIK3_API DcMsmRawFile {
public:
    DcMsmRawFile() = default;
    DcMsmRawFile(const DcMsmRawFile&) = delete;
    DcMsmRawFile& operator=(const DcMsmRawFile&) = delete;
    ~DcMsmRawFile();

    // Opens the file and reads its meta information: 0, or MSM_ERR_RAW_READ
    // (no "DICM" marker, a malformed meta group, or a read error).
    int open(const char* path);

    std::string sopClassUid;      // (0002,0002)
    std::string sopInstanceUid;   // (0002,0003)
    std::string xferSynUid;       // (0002,0010)
    uint64_t dataOffset = 0;      // where the data set begins
    uint64_t dataLength = 0;      // up to the end of the file
    int handle = -1;
};

// Sends a C-STORE request on the presentation context: the command, then the
// file's data set bytes unchanged, in P-DATA-TF PDUs that fit the peer's
// maximum PDU length. The context must have been accepted with the file's
// own transfer syntax. Returns 0, MSM_ERR_RAW_READ or MSM_ERR_RAW_SEND.
BRENIK3_API int msmRawStoreRq(DcMsm& msm, unsigned char presCtxId, const DcMsmRawFile& file, unsigned short messageId,
                  unsigned short priority);

#endif

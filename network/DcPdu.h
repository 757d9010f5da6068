#ifndef BRENIK3_NETWORK_DCPDU_H
#define BRENIK3_NETWORK_DCPDU_H

#include <cstddef>
#include <cstdint>
#include <mutex>
#include "foundation/Export.h"

// Upper-layer PDU type codes as they travel in the first header byte.
enum PDU_TYPE : int {
    PDU_ASSO_RQ = 1,
    PDU_ASSO_AC = 2,
    PDU_ASSO_RJ = 3,
    PDU_DATA_TF = 4,
    PDU_RELEASE_RQ = 5,
    PDU_RELEASE_RP = 6,
    PDU_ABORT = 7,
    PDU_INVALID = 255
};

// How a read waits for data: a zero-time poll, or up to the read time-out.
enum PDU_BLOCK { PDU_NO_WAIT = 0, PDU_WAIT = 1 };

// Status codes of the PDU transport.
enum {
    PDU_ERR_TIMEOUT = 0x3A06,     // nothing became readable within the wait
    PDU_ERR_CONNECTION = 0x3A08   // peer closed, receive error or failed send
};

enum {
    PDU_HEADER_LEN = 6,
    PDU_FIXED_LEN = 10,           // the reject, release and abort PDUs
    PDU_MAX_LENGTH = 0xFFFF,      // what the 16-bit length member can account for
    PDU_BODY_READ_STEP = 65536    // first allocation of a body; grows as bytes arrive
};

// Transfer limits of one connection, handed to every PDU by the state machine.
struct BRENIK3_API DcPduInfo {
    unsigned int maxPduLen = 65536;  // framing buffer size and largest receive request
    unsigned int readTimeout = 45;   // seconds per wait for readable data
    unsigned int writeTimeout = 15;  // seconds
};

// Bit 0: copy every PDU read to a dump file; bit 1: every PDU written.
extern BRENIK3_API int PduDumpFlag;
enum { PDU_DUMP_READ = 1, PDU_DUMP_WRITE = 2 };

// The process-wide lock taken around every single receive and send. It is
// waited for at most the connection's read or write time-out; on time-out
// the caller goes on without it. It is never held across a wait for the
// socket, so a wait for it is short unless a holder is stuck.
extern BRENIK3_API std::recursive_timed_mutex DcPduMutex;

// Waits at most the given milliseconds for DcPduMutex; true when obtained.
BRENIK3_API bool pduMutexWait(unsigned int milliseconds);
// Releases DcPduMutex if the matching wait obtained it.
BRENIK3_API void pduMutexRelease(bool obtained);

// Creates the next dump file ("_pdu.%04d.rq.rd" and the like) in the current
// directory and returns its descriptor (negative when it cannot be created).
BRENIK3_API int pduDumpCreate(int type, bool reading);
// Appends to a dump file; failures are ignored, as a dump is only a diagnosis aid.
BRENIK3_API void pduDumpWrite(int fd, const void* data, size_t len);

// The base of every protocol data unit: header reading, body reading and the
// framing-and-send step, all on the attached conversation socket.
class BRENIK3_API DcPdu {
public:
    DcPdu();
    explicit DcPdu(PDU_TYPE type);
    DcPdu(int sock, PDU_TYPE type);
    DcPdu(const DcPdu& other) = default;
    DcPdu& operator=(const DcPdu& other) = default;
    virtual ~DcPdu();

    PDU_TYPE getType() { return type; }
    int getSockConv() { return sockConv; }
    unsigned short getLength() { return length; }

    // Binds the PDU to a socket unless it already has one.
    int attach(int sock);
    void setInfo(DcPduInfo& newInfo) { info = newInfo; }

    // Reads the type and reserved bytes of the next PDU.
    int readType(PDU_TYPE& pduType, PDU_BLOCK block);
    int iflush(unsigned char* buf, int len);
    virtual int write();

protected:
    // Frames the whole PDU into buf (capacity frameCapacity()) and sets length.
    virtual int frameAsso(unsigned char* buf);

    // Reads the 4 length bytes and the body; the caller frees the result.
    unsigned char* readBody(PDU_BLOCK block);
    unsigned char* readBody(unsigned int len, PDU_BLOCK block);
    // Reads exactly len bytes; len returns the count read, on failure too.
    int readBuf(unsigned char* buf, unsigned int& len, PDU_BLOCK block);

    // Bytes available to frameAsso: the write buffer, and never more than
    // the 16-bit length can account for.
    unsigned int frameCapacity();
    static void frameHeader(unsigned char* buf, PDU_TYPE pduType, uint32_t bodyLen);
    // Frames a 10-byte PDU of this type: header, a zero byte, then b7, b8, b9.
    void frameFixed(unsigned char* buf, unsigned char b7, unsigned char b8, unsigned char b9);

    PDU_TYPE type;
    uint16_t length;
    int sockConv;
    unsigned int protocolVersion;
    DcPduInfo info;
    // Size of the body returned by the last readBody (length keeps only 16 bits).
    unsigned int bodyLen;

private:
    void initialize(PDU_TYPE pduType);
};

#endif

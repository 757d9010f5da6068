#include "network/DcPdu.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "foundation/ByteOrder.h"
#include "foundation/DcLog.h"
#include "internal/SendAll.h"

int PduDumpFlag = 0;
std::recursive_timed_mutex DcPduMutex;

namespace {

// Shared by read and write dumps of every connection of the process.
int dumpCounter = 0;
// The file that receives the PDU now being read, from one readType to the next.
int readDumpFd = -1;

// Waits until sock is readable; a negative socket or a failed wait is "not readable".
bool waitReadable(int sock, PDU_BLOCK block, unsigned int seconds)
{
    if (sock <= 0)
        return false;
    int millis = 0;
    if (block == PDU_WAIT)
        millis = seconds > unsigned(INT_MAX / 1000) ? INT_MAX : int(seconds * 1000);
    struct pollfd pfd = {sock, POLLIN, 0};
    int ready;
    do {
        ready = poll(&pfd, 1, millis);
    } while (ready < 0 && errno == EINTR);
    return ready > 0 && (pfd.revents & (POLLIN | POLLHUP | POLLERR)) != 0;
}

}

bool pduMutexWait(unsigned int milliseconds)
{
    return DcPduMutex.try_lock_for(std::chrono::milliseconds(milliseconds));
}

void pduMutexRelease(bool obtained)
{
    if (obtained)
        DcPduMutex.unlock();
}

int pduDumpCreate(int type, bool reading)
{
    static const char* const names[] = {"xx", "rq", "ac", "rj", "tf", "rr", "rp", "ab"};
    const char* name = (type >= PDU_ASSO_RQ && type <= PDU_ABORT) ? names[type] : names[0];
    char fileName[64];
    snprintf(fileName, sizeof fileName, "_pdu.%04d.%s.%s", dumpCounter++, name, reading ? "rd" : "wr");
    return open(fileName, O_WRONLY | O_CREAT | O_TRUNC, 0644);
}

void pduDumpWrite(int fd, const void* data, size_t len)
{
    ssize_t written = ::write(fd, data, len);
    (void)written;
}

DcPdu::DcPdu()
{
    initialize(static_cast<PDU_TYPE>(0));
}

DcPdu::DcPdu(PDU_TYPE type)
{
    initialize(type);
}

DcPdu::DcPdu(int sock, PDU_TYPE type)
{
    initialize(type);
    sockConv = sock;
}

DcPdu::~DcPdu() = default;

void DcPdu::initialize(PDU_TYPE pduType)
{
    protocolVersion = 1;
    type = pduType;
    length = 0;
    sockConv = 0;
    info = DcPduInfo();
    bodyLen = 0;
}

int DcPdu::attach(int sock)
{
    if (sockConv == 0)
        sockConv = sock;
    return 0;
}

int DcPdu::iflush(unsigned char*, int)
{
    return 0;
}

int DcPdu::frameAsso(unsigned char*)
{
    return 0;
}

unsigned int DcPdu::frameCapacity()
{
    return std::min<unsigned int>(std::max<unsigned int>(info.maxPduLen, PDU_FIXED_LEN), PDU_MAX_LENGTH);
}

void DcPdu::frameHeader(unsigned char* buf, PDU_TYPE pduType, uint32_t bodyLength)
{
    buf[0] = static_cast<unsigned char>(pduType);
    buf[1] = 0;
    byteorder::put32(buf + 2, bodyLength, true);
}

void DcPdu::frameFixed(unsigned char* buf, unsigned char b7, unsigned char b8, unsigned char b9)
{
    frameHeader(buf, type, PDU_FIXED_LEN - PDU_HEADER_LEN);
    buf[6] = 0;
    buf[7] = b7;
    buf[8] = b8;
    buf[9] = b9;
    length = PDU_FIXED_LEN;
}

int DcPdu::readBuf(unsigned char* buf, unsigned int& len, PDU_BLOCK block)
{
    if (len == 0)
        return 0;
    unsigned int chunk = std::min(len, info.maxPduLen);
    unsigned int count = 0;
    int status = 0;
    // Bytes already queued are taken at once; the wait is only for a socket
    // that has nothing yet, which saves a poll per read on a busy connection.
    bool waited = sockConv <= 0;
    while (count < len) {
        if (waited && !waitReadable(sockConv, block, info.readTimeout)) {
            status = PDU_ERR_TIMEOUT;
            break;
        }
        bool obtained = brenik3::pduMutexWaitTimeoutAsMillis(info.readTimeout);
        ssize_t got;
        do {
            got = recv(sockConv, buf + count, std::min(len - count, chunk), MSG_DONTWAIT);
        } while (got < 0 && errno == EINTR);
        int error = errno;
        waited = got < 0 && (error == EAGAIN || error == EWOULDBLOCK);
        if (waited) {
            pduMutexRelease(obtained);
            continue;
        }
        if (got <= 0) {
            // A failed receive keeps the lock; later waiters go on after
            // their own short wait.
            status = PDU_ERR_CONNECTION;
            break;
        }
        pduMutexRelease(obtained);
        count += static_cast<unsigned int>(got);
    }
    len = count;
    if ((PduDumpFlag & PDU_DUMP_READ) && readDumpFd > 0 && count > 0)
        pduDumpWrite(readDumpFd, buf, count);
    return status;
}

int DcPdu::readType(PDU_TYPE& pduType, PDU_BLOCK block)
{
    pduType = PDU_INVALID;
    if ((PduDumpFlag & PDU_DUMP_READ) && readDumpFd > 0) {
        close(readDumpFd);
        readDumpFd = -1;
    }
    unsigned char head[2];
    unsigned int count = sizeof head;
    int status = readBuf(head, count, block);
    if (status != 0)
        return status;
    if (head[0] == 0 || head[0] > PDU_ABORT)
        logReport(LOG_CHANNEL_2, "DcPdu::readType", "Invalid type 0x%x", head[0]);
    else
        pduType = static_cast<PDU_TYPE>(head[0]);
    if (PduDumpFlag & PDU_DUMP_READ) {
        readDumpFd = pduDumpCreate(pduType, true);
        if (readDumpFd >= 0)
            pduDumpWrite(readDumpFd, head, sizeof head);
    }
    return 0;
}

unsigned char* DcPdu::readBody(PDU_BLOCK block)
{
    unsigned char lenBytes[4];
    unsigned int count = sizeof lenBytes;
    if (readBuf(lenBytes, count, block) != 0)
        return nullptr;
    return readBody(byteorder::get32(lenBytes, true), block);
}

// The body is allocated as its bytes arrive: a first block of at most
// PDU_BODY_READ_STEP bytes, doubled whenever it is full, so a hostile length
// costs no more memory than twice what the peer really sent.
unsigned char* DcPdu::readBody(unsigned int len, PDU_BLOCK block)
{
    length = PDU_HEADER_LEN;
    bodyLen = 0;
    unsigned int capacity = std::min<unsigned int>(len, PDU_BODY_READ_STEP);
    unsigned char* body = static_cast<unsigned char*>(malloc(std::max(capacity, 1u)));
    if (body == nullptr)
        return nullptr;
    unsigned int count = 0;
    while (count < len) {
        if (count == capacity) {
            capacity = static_cast<unsigned int>(std::min<uint64_t>(uint64_t(capacity) * 2, len));
            unsigned char* grown = static_cast<unsigned char*>(realloc(body, capacity));
            if (grown == nullptr) {
                free(body);
                return nullptr;
            }
            body = grown;
        }
        unsigned int piece = capacity - count;
        int status = readBuf(body + count, piece, block);
        count += piece;
        if (status != 0) {
            free(body);
            return nullptr;
        }
    }
    length = static_cast<uint16_t>(length + count);
    bodyLen = count;
    return body;
}

int DcPdu::write()
{
    unsigned char* buf = static_cast<unsigned char*>(malloc(frameCapacity()));
    if (buf == nullptr)
        return PDU_ERR_CONNECTION;
    int status = frameAsso(buf);
    if (status != 0) {
        free(buf);
        return status;
    }
    if (PduDumpFlag & PDU_DUMP_WRITE) {
        int fd = pduDumpCreate(type, false);
        if (fd >= 0) {
            pduDumpWrite(fd, buf, length);
            close(fd);
        }
    }
    bool sent = brenik3::sendAll(sockConv, buf, length, info.writeTimeout);
    free(buf);
    return sent ? 0 : PDU_ERR_CONNECTION;
}

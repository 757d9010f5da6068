// The bit-preserving store: data set bytes from the network to a file as
// they arrive, and from a file to the network as they lie.
#include "service/DcMsmRawStore.h"

#include <cerrno>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "dictionary/DcDict.h"
#include "foundation/ByteOrder.h"
#include "foundation/DcLog.h"
#include "network/DcPdu.h"
#include "network/DcPduDataTf.h"
#include "service/DcMsm.h"

namespace {

const uint32_t TAG_SOP_CLASS = 0x00080016;
const uint32_t TAG_SOP_INSTANCE = 0x00080018;
const uint32_t TAG_STUDY_INSTANCE = 0x0020000D;
const uint32_t TAG_META_SOP_CLASS = 0x00020002;
const uint32_t TAG_META_SOP_INSTANCE = 0x00020003;
const uint32_t TAG_META_XFER_SYN = 0x00020010;

const unsigned int PREAMBLE_AND_MARKER = 132;
const unsigned int DEFAULT_FRAGMENT = 256 * 1024;  // when the peer sets no limit
const unsigned int READ_CHUNK = 16384;

enum { PDU_P_DATA_TF = 0x04 };

// The encoding of a data set in the transfer syntax; false for a deflated
// one, whose elements cannot be read as they pass.
bool encodingOf(DICT_UID xferSyn, DcMsmRawPick::Encoding& encoding)
{
    char uid[DICT_UID_MAX + 1] = "";
    Dict.getUid(xferSyn, uid);
    if (strcmp(uid, "1.2.840.10008.1.2.1.99") == 0 || strcmp(uid, "1.2.840.10008.1.2.4.95") == 0)
        return false;
    encoding = xferSyn == UID_LITTLE_ENDIAN_IMPLICIT  ? DcMsmRawPick::IMPLICIT_LITTLE
               : xferSyn == UID_BIG_ENDIAN_EXPLICIT ? DcMsmRawPick::EXPLICIT_BIG
                                                    : DcMsmRawPick::EXPLICIT_LITTLE;
    return true;
}

bool writeAll(int fd, const unsigned char* data, size_t len, int& error)
{
    while (len > 0) {
        ssize_t n = ::write(fd, data, len);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            error = n < 0 ? errno : ENOSPC;
            return false;
        }
        data += n;
        len -= static_cast<size_t>(n);
    }
    return true;
}

// Sends every byte under the PDU lock, one send call at a time.
bool sendAll(int sock, const unsigned char* data, size_t len, int flags)
{
    while (len > 0) {
        bool obtained = pduMutexWait(1000);
        ssize_t n = send(sock, data, len, flags | MSG_NOSIGNAL);
        int error = errno;
        pduMutexRelease(obtained);
        if (n < 0 && error == EINTR)
            continue;
        if (n <= 0)
            return false;
        data += n;
        len -= static_cast<size_t>(n);
    }
    return true;
}

// Sends len bytes of the file from offset straight from the page cache.
bool sendFromFile(int sock, int fd, uint64_t offset, uint64_t len)
{
    off_t at = static_cast<off_t>(offset);
    while (len > 0) {
        bool obtained = pduMutexWait(1000);
        ssize_t n = sendfile(sock, fd, &at, static_cast<size_t>(len));
        int error = errno;
        pduMutexRelease(obtained);
        if (n < 0 && error == EINTR)
            continue;
        if (n <= 0)
            return false;
        len -= static_cast<uint64_t>(n);
    }
    return true;
}

// The PDU and PDV headers of one fragment.
void frameHeader(unsigned char* out, unsigned int dataLen, unsigned char presCtxId, unsigned char control)
{
    out[0] = PDU_P_DATA_TF;
    out[1] = 0;
    byteorder::put32(out + 2, dataLen + 6, true);
    byteorder::put32(out + 6, dataLen + 2, true);
    out[10] = presCtxId;
    out[11] = control;
}

void putElement(std::vector<unsigned char>& out, uint32_t tag, const void* value, uint32_t len)
{
    unsigned char head[8];
    byteorder::put16(head, static_cast<uint16_t>(tag >> 16), false);
    byteorder::put16(head + 2, static_cast<uint16_t>(tag), false);
    byteorder::put32(head + 4, len, false);
    out.insert(out.end(), head, head + 8);
    const unsigned char* bytes = static_cast<const unsigned char*>(value);
    out.insert(out.end(), bytes, bytes + len);
}

void putUid(std::vector<unsigned char>& out, uint32_t tag, const std::string& uid)
{
    std::string padded = uid;
    if (padded.size() % 2 != 0)
        padded.push_back('\0');
    putElement(out, tag, padded.data(), static_cast<uint32_t>(padded.size()));
}

void putUs(std::vector<unsigned char>& out, uint32_t tag, unsigned short value)
{
    unsigned char bytes[2];
    byteorder::put16(bytes, value, false);
    putElement(out, tag, bytes, 2);
}

// The C-STORE request command in Implicit VR Little Endian, with its group length.
std::vector<unsigned char> storeCommand(const DcMsmRawFile& file, unsigned short messageId, unsigned short priority)
{
    std::vector<unsigned char> body;
    putUid(body, 0x00000002, file.sopClassUid);
    putUs(body, 0x00000100, 0x0001);
    putUs(body, 0x00000110, messageId);
    putUs(body, 0x00000700, priority);
    putUs(body, 0x00000800, 0x0102);
    putUid(body, 0x00001000, file.sopInstanceUid);
    std::vector<unsigned char> command;
    unsigned char groupLength[4];
    byteorder::put32(groupLength, static_cast<uint32_t>(body.size()), false);
    putElement(command, 0x00000000, groupLength, 4);
    command.insert(command.end(), body.begin(), body.end());
    return command;
}

}

void DcMsmRawStore::expect(int handle)
{
    fd = handle;
    result = MSM_ERR_RAW_NOT_ARMED;
    error = 0;
    received = 0;
    syntax = UID_NONE;
    pick.reset();
}

bool DcMsmRawStore::begin(unsigned char, DICT_UID xferSyn)
{
    if (fd < 0)
        return false;
    syntax = xferSyn;
    result = 0;
    DcMsmRawPick::Encoding encoding;
    if (encodingOf(xferSyn, encoding))
        pick.reset(new DcMsmRawPick(encoding, {TAG_SOP_CLASS, TAG_SOP_INSTANCE, TAG_STUDY_INSTANCE},
                                    TAG_STUDY_INSTANCE + 1));
    return true;
}

int DcMsmRawStore::bytes(const unsigned char* data, unsigned int len)
{
    // After a failed write the rest of the data set is read and dropped:
    // the request fails, the association goes on.
    if (result != 0)
        return 0;
    if (pick != nullptr && !pick->finished())
        pick->feed(data, len);
    if (!writeAll(fd, data, len, error)) {
        logReport(LOG_CHANNEL_2, "DcMsmRawStore::bytes", "Data set write error, %s", strerror(error));
        result = MSM_ERR_RAW_WRITE;
        return 0;
    }
    received += len;
    return 0;
}

void DcMsmRawStore::end(int status)
{
    if (result == 0)
        result = status;
    fd = -1;
}

std::string DcMsmRawStore::value(uint32_t tag) const
{
    return pick != nullptr ? pick->text(tag) : std::string();
}

std::string DcMsmRawStore::sopClassUid() const
{
    return value(TAG_SOP_CLASS);
}

std::string DcMsmRawStore::sopInstanceUid() const
{
    return value(TAG_SOP_INSTANCE);
}

std::string DcMsmRawStore::studyInstanceUid() const
{
    return value(TAG_STUDY_INSTANCE);
}

DcMsmRawFile::~DcMsmRawFile()
{
    if (handle >= 0)
        close(handle);
}

int DcMsmRawFile::open(const char* path)
{
    static const char* const function = "DcMsmRawFile::open";
    if (path == nullptr) {
        logReport(LOG_CHANNEL_2, function, "Null argument passed");
        return MSM_ERR_RAW_READ;
    }
    if (handle >= 0)
        close(handle);
    handle = ::open(path, O_RDONLY | O_CLOEXEC);
    struct stat st = {};
    if (handle < 0 || fstat(handle, &st) != 0) {
        logReport(LOG_CHANNEL_2, function, "Cannot open %s, %s", path, strerror(errno));
        return MSM_ERR_RAW_READ;
    }
    uint64_t size = static_cast<uint64_t>(st.st_size);
    unsigned char chunk[READ_CHUNK];
    if (size < PREAMBLE_AND_MARKER || pread(handle, chunk, PREAMBLE_AND_MARKER, 0) != PREAMBLE_AND_MARKER ||
        memcmp(chunk + 128, "DICM", 4) != 0) {
        logReport(LOG_CHANNEL_2, function, "%s has no file meta information", path);
        return MSM_ERR_RAW_READ;
    }
    DcMsmRawPick meta(DcMsmRawPick::EXPLICIT_LITTLE, {TAG_META_SOP_CLASS, TAG_META_SOP_INSTANCE, TAG_META_XFER_SYN},
                      0x00030000);
    uint64_t at = PREAMBLE_AND_MARKER;
    while (at < size && !meta.finished() && !meta.failed()) {
        ssize_t got = pread(handle, chunk, sizeof chunk, static_cast<off_t>(at));
        if (got <= 0)
            break;
        meta.feed(chunk, static_cast<size_t>(got));
        at += static_cast<uint64_t>(got);
    }
    sopClassUid = meta.text(TAG_META_SOP_CLASS);
    sopInstanceUid = meta.text(TAG_META_SOP_INSTANCE);
    xferSynUid = meta.text(TAG_META_XFER_SYN);
    if (!meta.finished() || sopClassUid.empty() || xferSynUid.empty()) {
        logReport(LOG_CHANNEL_2, function, "%s: the file meta information is malformed or incomplete", path);
        return MSM_ERR_RAW_READ;
    }
    dataOffset = PREAMBLE_AND_MARKER + meta.stopOffset();
    dataLength = size - dataOffset;
    return 0;
}

int msmRawStoreRq(DcMsm& msm, unsigned char presCtxId, const DcMsmRawFile& file, unsigned short messageId,
                  unsigned short priority)
{
    static const char* const function = "msmRawStoreRq";
    if (file.handle < 0) {
        logReport(LOG_CHANNEL_2, function, "No file to send");
        return MSM_ERR_RAW_READ;
    }
    int sock = 0;
    msm.getStreamHandle(sock);
    DcMsmAssoInfo asso;
    msm.getAssoInfo(asso);
    if (sock <= 0) {
        logReport(LOG_CHANNEL_2, function, "No connection");
        return MSM_ERR_RAW_SEND;
    }
    unsigned int fragment = asso.maxPduLen > PDV_HEADER_LEN ? asso.maxPduLen - PDV_HEADER_LEN : DEFAULT_FRAGMENT;
    if (asso.maxPduLen == 0)
        fragment = DEFAULT_FRAGMENT;

    std::vector<unsigned char> command = storeCommand(file, messageId, priority);
    std::vector<unsigned char> pdu(PDV_HEADER_LEN);
    frameHeader(pdu.data(), static_cast<unsigned int>(command.size()), presCtxId, PDV_MCH_COMMAND | PDV_MCH_LAST);
    pdu.insert(pdu.end(), command.begin(), command.end());
    bool ok = sendAll(sock, pdu.data(), pdu.size(), 0);

    uint64_t offset = file.dataOffset;
    uint64_t left = file.dataLength;
    do {
        unsigned int piece = left < fragment ? static_cast<unsigned int>(left) : fragment;
        unsigned char header[PDV_HEADER_LEN];
        frameHeader(header, piece, presCtxId, piece == left ? PDV_MCH_LAST : 0);
        ok = ok && sendAll(sock, header, sizeof header, MSG_MORE) && sendFromFile(sock, file.handle, offset, piece);
        offset += piece;
        left -= piece;
    } while (ok && left > 0);
    if (!ok) {
        logReport(LOG_CHANNEL_2, function, "Send error, %s", strerror(errno));
        return MSM_ERR_RAW_SEND;
    }
    return 0;
}

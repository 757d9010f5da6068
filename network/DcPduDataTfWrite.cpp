// Sending the element list as P-DATA-TF PDUs: the command in one PDV, the
// data set in fragments of the peer's maximum PDU length.
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>

#include <sys/uio.h>
#include <unistd.h>

#include "dictionary/DcDictTags.h"
#include "foundation/ByteOrder.h"
#include "foundation/DcLog.h"
#include "internal/SendAll.h"
#include "network/DcPduDataTf.h"

namespace {

// Bytes read from a file at a time when sending a value held on disk.
const unsigned int DISK_CHUNK = 1024 * 1024;

// Elements of group 0000 that stay out of the command sent.
bool isUnsentCommandElement(unsigned short element)
{
    return element == 0x0001 || element == 0x0200 || element == 0x0300;
}

// Reads up to len bytes from the file's current position; returns how many
// were read before the end of the file or an error.
unsigned int readUpTo(int fd, unsigned char* buf, unsigned int len)
{
    unsigned int got = 0;
    while (got < len) {
        ssize_t n = ::read(fd, buf + got, len - got);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        got += static_cast<unsigned int>(n);
    }
    return got;
}

void frameTfHeader(unsigned char* header, unsigned int fragLen, unsigned char presCtxId, unsigned char msgCtrlHdr)
{
    uint32_t pdvLen = fragLen + PDV_ITEM_EXTRA;
    header[0] = PDU_DATA_TF;
    header[1] = 0;
    byteorder::put32(header + 2, pdvLen + 4, true);  // the PDV and its 4-byte length field
    byteorder::put32(header + 6, pdvLen, true);
    header[10] = presCtxId;
    header[11] = msgCtrlHdr;
}

// Whether any buffer after this one still carries data.
bool isLastWithData(DcBuf* buf)
{
    for (DcBuf* later = buf->next(); later != nullptr; later = later->next())
        if (later->getType() != BUF_NONE && later->getLen() > 0)
            return false;
    return true;
}

// Sends fragments in batches, headers and data of several PDUs in one call,
// then the optional dump of each. Queued data must stay in place until flush.
class FragmentSender {
public:
    enum { BATCH = 64 };

    FragmentSender(int sock, unsigned char presCtxId, unsigned int writeTimeout)
        : sock(sock), presCtxId(presCtxId), writeTimeout(writeTimeout)
    {
    }

    // Queues one fragment; a full queue is sent first.
    bool add(const unsigned char* data, unsigned int len, unsigned char msgCtrlHdr)
    {
        if (queued == BATCH && !flush())
            return false;
        frameTfHeader(headers[queued], len, presCtxId, msgCtrlHdr);
        iov[2 * queued] = {headers[queued], PDV_HEADER_LEN};
        iov[2 * queued + 1] = {const_cast<unsigned char*>(data), len};
        queued++;
        return true;
    }

    bool flush()
    {
        if (queued == 0)
            return true;
        int count = queued;
        queued = 0;
        if (!brenik3::sendAll(sock, iov, 2 * count, writeTimeout))
            return false;
        for (int at = 0; (PduDumpFlag & PDU_DUMP_WRITE) && at < count; at++) {
            int fd = pduDumpCreate(PDU_DATA_TF, false);
            if (fd >= 0) {
                pduDumpWrite(fd, headers[at], PDV_HEADER_LEN);
                pduDumpWrite(fd, iov[2 * at + 1].iov_base, iov[2 * at + 1].iov_len);
                close(fd);
            }
        }
        return true;
    }

private:
    int sock;
    unsigned char presCtxId;
    unsigned int writeTimeout;
    int queued = 0;
    unsigned char headers[BATCH][PDV_HEADER_LEN];
    struct iovec iov[2 * BATCH];
};

}

int DcPduDataTf::write()
{
    DcPduInfoTf own;
    getInfo(own);
    int status = verifyInfo(own);
    if (status != 0)
        return status;
    if ((status = elemListMerge()) != 0)
        return status;

    int cmdCount = 0;
    bool hasData = false;
    for (DcElem* elem = elemList->first(); elem != nullptr; elem = elem->next()) {
        unsigned short group, element;
        elem->getTag(group, element);
        if (group != 0)
            hasData = true;
        else if (!isUnsentCommandElement(element))
            cmdCount++;
    }
    if (cmdCount > 0) {
        DcElem* dataSetType = nullptr;
        if (elemList->getElem(T_0000_0800_commandDataSetType, &dataSetType) == 0) {
            elemList->subtract(dataSetType);
            delete dataSetType;
        } else {
            cmdCount++;
        }
        elemList->add(new DcElem(T_0000_0800_commandDataSetType,
                                 static_cast<unsigned short>(hasData ? 0x0102 : 0x0101)));
    }
    if ((status = elemListVerify(cmdCount)) != 0)
        return status;

    // The command and the data set travel from lists of their own and come
    // back into the element list afterwards.
    DcElemList cmd, data;
    for (DcElem* elem = elemList->first(); elem != nullptr;) {
        DcElem* following = elem->next();
        unsigned short group, element;
        elem->getTag(group, element);
        if (group != 0) {
            elemList->subtract(elem);
            data.add(elem);
        } else if (!isUnsentCommandElement(element)) {
            elemList->subtract(elem);
            cmd.add(elem);
        }
        elem = following;
    }
    if (cmd.first() != nullptr)
        status = writeCmd(&cmd);
    if (status == 0 && data.first() != nullptr)
        status = writeDataBufList(&data);
    cmd.moveElem(elemList);
    data.moveElem(elemList);
    return status;
}

int DcPduDataTf::writeCmd(DcElemList* cmd)
{
    unsigned int size = 0;
    cmd->getBufSize(size, 0);
    size_t capacity = static_cast<size_t>(size) + PDV_FRAME_SPARE;
    unsigned char* buf = static_cast<unsigned char*>(malloc(capacity));
    if (buf == nullptr) {
        logReport(LOG_CHANNEL_2, "DcPduDataTf::writeCmd", "Out of memory for a command of %u bytes", size);
        return PDU_DATA_TF_ERR;
    }
    unsigned int len = 0;
    int status = cmd->frame(buf + PDV_HEADER_LEN, len, UID_LITTLE_ENDIAN_IMPLICIT);
    unsigned char mch = PDV_MCH_COMMAND | PDV_MCH_LAST;
    frameTfHeader(buf, len, presCtxId, mch);
    struct iovec iov = {buf, static_cast<size_t>(len) + PDV_HEADER_LEN};
    bool sent = brenik3::sendAll(sockConv, &iov, 1, info.writeTimeout);
    if (PduDumpFlag & PDU_DUMP_WRITE) {
        int fd = pduDumpCreate(PDU_DATA_TF, false);
        if (fd >= 0) {
            pduDumpWrite(fd, buf, len + PDV_HEADER_LEN);
            close(fd);
        }
    }
    free(buf);
    return sent ? status : PDU_ERR_CONNECTION;
}

// Full fragments hold F = maxPduLen - 32 bytes. Memory buffers are sent in
// place; disk buffers are read several fragments at a time (about
// DISK_CHUNK bytes) into one buffer. A fragment never spans two buffers.
int DcPduDataTf::writeDataBufList(DcElemList* data)
{
    static const char* const function = "DcPduDataTf::writeDataBufList";
    if (maxPduLen <= PDV_FRAGMENT_RESERVE) {
        logReport(LOG_CHANNEL_2, function, "maximum pdu length %u leaves no room for data", maxPduLen);
        return PDU_DATA_TF_ERR;
    }
    unsigned int fragMax = maxPduLen - PDV_FRAGMENT_RESERVE;
    unsigned int chunkFrags = std::max(1u, std::min<unsigned int>(FragmentSender::BATCH, DISK_CHUNK / fragMax));

    int exclude[] = {T_7fe0_0010_pixelData, -1};
    unsigned int size = 0;
    data->getBufSize(size, exclude);
    unsigned int capacity = size + PDV_FRAME_SPARE;
    void* block = malloc(capacity);
    if (block == nullptr) {
        logReport(LOG_CHANNEL_2, function, "Out of memory for a data set of %u bytes", size);
        return PDU_DATA_TF_ERR;
    }
    DcBufList framed;
    DcBuf* head = new DcBuf(block, capacity, xferSyn);
    head->setLen(0);
    framed.add(head);
    unsigned int framedLen = 0;
    data->frame(&framed, framedLen, xferSyn);

    FragmentSender sender(sockConv, presCtxId, info.writeTimeout);
    unsigned char* diskBuf = nullptr;
    int status = 0;
    for (DcBuf* buf = framed.first(); buf != nullptr && status == 0; buf = buf->next()) {
        if (buf->getType() == BUF_NONE || buf->getLen() == 0)
            continue;
        bool lastBuf = isLastWithData(buf);
        bool onDisk = buf->getType() == BUF_DISK;
        const unsigned char* from = static_cast<const unsigned char*>(buf->getBuf());
        if (onDisk) {
            if (!sender.flush()) {
                status = PDU_ERR_CONNECTION;
                break;
            }
            size_t diskLen = size_t(fragMax) * chunkFrags;
            if (diskBuf == nullptr && (diskBuf = static_cast<unsigned char*>(malloc(diskLen))) == nullptr) {
                logReport(LOG_CHANNEL_2, function, "Out of memory for a fragment of %u bytes", fragMax);
                status = PDU_DATA_TF_ERR;
                break;
            }
            if (lseek(buf->getHandle(), buf->getOffset(), SEEK_SET) == -1) {
                logReport(LOG_CHANNEL_2, function, "disk buffer lseek error, offset - %d", buf->getOffset());
                status = PDU_DATA_TF_ERR;
                break;
            }
        }
        unsigned int total = buf->getLen();
        for (unsigned int done = 0; done < total && status == 0;) {
            unsigned int span = total - done;
            if (onDisk) {
                span = static_cast<unsigned int>(std::min<uint64_t>(span, uint64_t(fragMax) * chunkFrags));
                unsigned int got = readUpTo(buf->getHandle(), diskBuf, span);
                if (got < span) {
                    // The whole fragments read still go out, as if read one by one.
                    unsigned int whole = got - got % fragMax;
                    for (unsigned int at = 0; at < whole && status == 0; at += fragMax)
                        if (!sender.add(diskBuf + at, fragMax, 0))
                            status = PDU_ERR_CONNECTION;
                    if (status == 0 && !sender.flush())
                        status = PDU_ERR_CONNECTION;
                    if (status == 0) {
                        logReport(LOG_CHANNEL_2, function, "disk buffer read error, blkLen - %d, outLenCount - %d",
                                  static_cast<int>(std::min(fragMax, total - done - whole)),
                                  static_cast<int>(done + whole));
                        status = PDU_DATA_TF_ERR;
                    }
                    break;
                }
                from = diskBuf;
            }
            for (unsigned int at = 0; at < span && status == 0;) {
                unsigned int piece = std::min(fragMax, span - at);
                at += piece;
                unsigned char mch = (lastBuf && done + at == total) ? PDV_MCH_LAST : 0;
                if (!sender.add(from, piece, mch))
                    status = PDU_ERR_CONNECTION;
                from += piece;
            }
            done += span;
            if (status == 0 && onDisk && !sender.flush())
                status = PDU_ERR_CONNECTION;
        }
    }
    if (status == 0 && !sender.flush())
        status = PDU_ERR_CONNECTION;
    free(diskBuf);
    return status;
}

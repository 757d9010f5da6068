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

// Elements of group 0000 that stay out of the command sent.
bool isUnsentCommandElement(unsigned short element)
{
    return element == 0x0001 || element == 0x0200 || element == 0x0300;
}

// Reads exactly len bytes from the file's current position.
bool readAll(int fd, unsigned char* buf, unsigned int len)
{
    unsigned int got = 0;
    while (got < len) {
        ssize_t n = ::read(fd, buf + got, len - got);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        got += static_cast<unsigned int>(n);
    }
    return true;
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

// Sends one fragment, header and data in one call, then the optional dump of both.
class FragmentSender {
public:
    FragmentSender(int sock, unsigned char presCtxId, unsigned int writeTimeout)
        : sock(sock), presCtxId(presCtxId), writeTimeout(writeTimeout)
    {
    }

    bool send(const unsigned char* data, unsigned int len, unsigned char msgCtrlHdr)
    {
        unsigned char header[PDV_HEADER_LEN];
        frameTfHeader(header, len, presCtxId, msgCtrlHdr);
        struct iovec iov[2] = {{header, sizeof header}, {const_cast<unsigned char*>(data), len}};
        bool sent = brenik3::sendAll(sock, iov, len > 0 ? 2 : 1, writeTimeout);
        if (sent && (PduDumpFlag & PDU_DUMP_WRITE)) {
            int fd = pduDumpCreate(PDU_DATA_TF, false);
            if (fd >= 0) {
                pduDumpWrite(fd, header, sizeof header);
                pduDumpWrite(fd, data, len);
                close(fd);
            }
        }
        return sent;
    }

private:
    int sock;
    unsigned char presCtxId;
    unsigned int writeTimeout;
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
// place; disk buffers are read one fragment at a time into a single F-byte
// buffer. A fragment never spans two buffers.
int DcPduDataTf::writeDataBufList(DcElemList* data)
{
    static const char* const function = "DcPduDataTf::writeDataBufList";
    if (maxPduLen <= PDV_FRAGMENT_RESERVE) {
        logReport(LOG_CHANNEL_2, function, "maximum pdu length %u leaves no room for data", maxPduLen);
        return PDU_DATA_TF_ERR;
    }
    unsigned int fragMax = maxPduLen - PDV_FRAGMENT_RESERVE;

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
            if (diskBuf == nullptr && (diskBuf = static_cast<unsigned char*>(malloc(fragMax))) == nullptr) {
                logReport(LOG_CHANNEL_2, function, "Out of memory for a fragment of %u bytes", fragMax);
                status = PDU_DATA_TF_ERR;
                break;
            }
            if (lseek(buf->getHandle(), buf->getOffset(), SEEK_SET) == -1) {
                logReport(LOG_CHANNEL_2, function, "disk buffer lseek error, offset - %d", buf->getOffset());
                status = PDU_DATA_TF_ERR;
                break;
            }
            from = diskBuf;
        }
        unsigned int total = buf->getLen();
        for (unsigned int done = 0; done < total;) {
            unsigned int piece = std::min(fragMax, total - done);
            if (onDisk && !readAll(buf->getHandle(), diskBuf, piece)) {
                logReport(LOG_CHANNEL_2, function, "disk buffer read error, blkLen - %d, outLenCount - %d",
                          static_cast<int>(piece), static_cast<int>(done));
                status = PDU_DATA_TF_ERR;
                break;
            }
            done += piece;
            unsigned char mch = (lastBuf && done == total) ? PDV_MCH_LAST : 0;
            if (!sender.send(from, piece, mch)) {
                status = PDU_ERR_CONNECTION;
                break;
            }
            if (!onDisk)
                from += piece;
        }
    }
    free(diskBuf);
    return status;
}

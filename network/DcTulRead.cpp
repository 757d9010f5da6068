#include "network/DcTul.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include "dictionary/DcDict.h"
#include "foundation/ByteOrder.h"
#include "foundation/DcLog.h"
#include "network/DcPduAbort.h"
#include "network/DcPduRelease.h"

namespace {

enum {
    PIX_SEARCHING = 1,   // looking for Pixel Data
    PIX_INSIDE = 2,      // inside its value
    PIX_DONE = 3,        // after its end: the rest is dropped
    UNDEFINED_LENGTH = 0xFFFFFFFF,
    HEADER_IMPLICIT = 8,
    HEADER_EXPLICIT = 12
};

bool isIndication(int status)
{
    return status >= TSM_ABORT_INDICATION && status <= TSM_RELEASE_INDICATION;
}

// The first even offset at which the 4-byte tag begins with room for need
// bytes from there on; -1 when there is none.
long findTag(const unsigned char* data, unsigned int len, const unsigned char* tag, unsigned int need)
{
    for (unsigned int at = 0; at + need <= len; at += 2) {
        if (memcmp(data + at, tag, 4) == 0)
            return static_cast<long>(at);
    }
    return -1;
}

// A new memory buffer holding a copy of len bytes.
DcBuf* copyBuf(const unsigned char* data, unsigned int len, DICT_UID xferSyn)
{
    void* block = malloc(len > 0 ? len : 1);
    if (block == nullptr)
        return nullptr;
    memcpy(block, data, len);
    return new DcBuf(block, len, xferSyn);
}

}

int DcTul::readNextPdu(DcPdu** out, int* presCtxIds, DICT_UID* xferSyns, PDU_BLOCK block)
{
    static const char* const function = "DcTul::readNextPdu";
    if (out == nullptr) {
        logReport(LOG_CHANNEL_2, function, "Null argument passed");
        return TUL_ERR_NULL_ARG;
    }
    *out = nullptr;
    if (tcpInfo.sockConv <= 0)
        return TUL_ERR_NO_SOCKET;
    // Acknowledge the coming PDU at once: a peer that writes a PDU in pieces
    // without TCP_NODELAY would otherwise wait for a delayed acknowledgement.
    int quick = 1;
    setsockopt(tcpInfo.sockConv, IPPROTO_TCP, TCP_QUICKACK, &quick, sizeof quick);
    int status = artimWait(block);
    if (status != 0)
        return status;
    PDU_TYPE type;
    status = readNextPduType(type, block);
    if (status != 0)
        return status;
    if (type == 0)
        return 0;

    DcPdu* pdu = nullptr;
    TSM_EVENT event = TSM_EVT19;
    switch (type) {
    case PDU_ASSO_RQ:
        pdu = new DcPduAssoRq();
        event = TSM_EVT6;
        break;
    case PDU_ASSO_AC:
        pdu = new DcPduAssoAc();
        event = TSM_EVT3;
        break;
    case PDU_ASSO_RJ:
        pdu = new DcPduAssoRj();
        event = TSM_EVT4;
        break;
    case PDU_DATA_TF:
        pdu = new DcPduDataTf();
        // A data set sink takes the fragments one by one as they come.
        if (receivesInMemory() && dataSetSink == nullptr)
            static_cast<DcPduDataTf*>(pdu)->gatherInto(nullptr);
        event = TSM_EVT10;
        break;
    case PDU_RELEASE_RQ:
        pdu = new DcPduReleaseRq();
        event = TSM_EVT12;
        break;
    case PDU_RELEASE_RP:
        pdu = new DcPduReleaseRp();
        event = TSM_EVT13;
        break;
    case PDU_ABORT:
        pdu = new DcPduAbort();
        event = TSM_EVT16;
        break;
    default:
        break;
    }
    if (pdu != nullptr)
        givePduLimits(*pdu);
    if (type == PDU_ASSO_RQ || type == PDU_ASSO_AC)
        static_cast<DcPduAssoAcRq*>(pdu)->keepExtNeg(extNegKept);
    if (type == PDU_RELEASE_RQ || type == PDU_ABORT) {
        status = pdu->attach(tcpInfo.sockConv);
        if (status != 0) {
            delete pdu;
            return status;
        }
        if (type == PDU_RELEASE_RQ)
            static_cast<DcPduReleaseRq*>(pdu)->read(PDU_WAIT);
        else
            static_cast<DcPduAbort*>(pdu)->read(PDU_WAIT);
        lastPduRead = pdu;
    } else {
        lastPduRead = nullptr;
    }

    status = stateMachine(event, pdu);
    if (status != 0) {
        delete pdu;
        if (isIndication(status))
            return status;
        logReport(LOG_CHANNEL_2, function, "Error code 0x%04x", static_cast<unsigned int>(status));
        return TUL_ERR_CLOSE;
    }
    if (pdu != lastPduRead) {
        // The machine answered this PDU (with an abort) or ignores it in
        // its state; its body was not read, so there is nothing to hand on.
        delete pdu;
        return 0;
    }
    if (type != PDU_DATA_TF) {
        *out = pdu;
        return 0;
    }

    DcPduDataTf* tf = static_cast<DcPduDataTf*>(pdu);
    DcPduInfoTf info;
    tf->getInfo(info);
    DICT_UID xferSyn = UID_NONE;
    for (int slot = 0; presCtxIds != nullptr && xferSyns != nullptr && slot < TUL_PRES_CTX_SLOTS; slot++) {
        if (presCtxIds[slot] == info.presCtxId) {
            xferSyn = xferSyns[slot];
            break;
        }
    }
    if (xferSyn == UID_NONE) {
        logReport(LOG_CHANNEL_2, function, "Invalid Presentation Context ID - %d, association will be closed",
                  info.presCtxId);
        logReport(LOG_CHANNEL_2, function, "Error code 0x%04x", static_cast<unsigned int>(TUL_ERR_DATA));
        delete tf;
        return TUL_ERR_CLOSE;
    }
    status = readPduDataTf(tf, xferSyn, block);
    if (status != 0) {
        delete tf;
        if (isIndication(status) || status == TUL_ERR_PIXEL_WRITE)
            return status;
        logReport(LOG_CHANNEL_2, function, "Error code 0x%04x", static_cast<unsigned int>(status));
        return TUL_ERR_CLOSE;
    }
    tf->parse(xferSyn);
    *out = tf;
    return 0;
}

int DcTul::readPduDataTf(DcPduDataTf* pdu, DICT_UID xferSyn, PDU_BLOCK block)
{
    static const char* const function = "DcTul::readPduDataTf";
    if (pdu == nullptr) {
        logReport(LOG_CHANNEL_2, function, "Null argument passed");
        return TUL_ERR_NULL_ARG;
    }
    int pixState = PIX_SEARCHING;
    unsigned int count = 0;
    pixelRemaining = UNDEFINED_LENGTH;
    pixelFileStart = -1;
    pixelWriteFailed = false;
    DcPduInfoTf info;
    pdu->getInfo(info);
    bool sunk = dataSetSink != nullptr && (info.msgCtrlHdr & PDV_MCH_COMMAND) == 0 &&
                dataSetSink->begin(info.presCtxId, xferSyn);
    int status = sunk ? sinkFragments(pdu) : processPduDataTf(pdu, pdu, pixState, count, xferSyn);
    unsigned char lastHeader = info.msgCtrlHdr;

    DcPduDataTf next;
    givePduLimits(next);
    if (receivesInMemory() && dataSetSink == nullptr)
        next.gatherInto(pdu);
    while (status == 0 && (lastHeader & PDV_MCH_LAST) == 0) {
        PDU_TYPE type;
        status = readNextPduType(type, block);
        if (sunk && (status != 0 || type == 0))
            dataSetSink->end(status != 0 ? status : TUL_ERR_DATA);
        if (status != 0)
            return status;
        if (type == 0)
            return 0;
        if (type != PDU_DATA_TF) {
            if (sunk)
                dataSetSink->end(TUL_ERR_DATA);
            logReport(LOG_CHANNEL_2, function,
                      "Out-of-sequence PDU 0x%02x received, expecting P-DATA-TF PDU, association will be closed",
                      static_cast<unsigned int>(type));
            return TUL_ERR_DATA;
        }
        status = stateMachine(TSM_EVT10, &next);
        if (status != 0)
            break;
        next.getInfo(info);
        lastHeader = info.msgCtrlHdr;
        status = sunk ? sinkFragments(&next) : processPduDataTf(pdu, &next, pixState, count, xferSyn);
    }
    if (sunk)
        dataSetSink->end(status != 0 ? status : (lastHeader & PDV_MCH_LAST) ? 0 : TUL_ERR_DATA);

    if (pixelWriteFailed) {
        if ((lastHeader & PDV_MCH_LAST) == 0)
            logReport(LOG_CHANNEL_2, function, "Incomplete DIMSE message received, association will be closed");
        return (lastHeader & PDV_MCH_LAST) != 0 && status == 0 ? TUL_ERR_PIXEL_WRITE : TUL_ERR_DATA;
    }
    if (tcpInfo.pixelDataHandle != -1 && count != 0) {
        int own = dup(tcpInfo.pixelDataHandle);
        if (own >= 0)
            pdu->add(new DcBuf(own, static_cast<int>(pixelFileStart < 0 ? 0 : pixelFileStart), count, xferSyn));
    }
    if (lastHeader & PDV_MCH_LAST)
        return status;
    logReport(LOG_CHANNEL_2, function, "Incomplete DIMSE message received, association will be closed");
    return TUL_ERR_DATA;
}

// Hands every fragment of the PDU to the data set sink, then drops it.
int DcTul::sinkFragments(DcPduDataTf* source)
{
    for (DcBuf* buf = source->firstBuf(); buf != nullptr; buf = source->firstBuf()) {
        source->subtract(buf);
        int status = dataSetSink->bytes(static_cast<const unsigned char*>(buf->getBuf()), buf->getLen());
        delete buf;
        if (status != 0) {
            logReport(LOG_CHANNEL_2, "DcTul::readPduDataTf",
                      "Data set sink returned error code 0x%x, association will be closed",
                      static_cast<unsigned int>(status));
            return TUL_ERR_DATA;
        }
    }
    return 0;
}

int DcTul::processPduDataTf(DcPduDataTf* target, DcPduDataTf* source, int& pixState, unsigned int& count,
                            DICT_UID xferSyn)
{
    static const char* const function = "DcTul::processPduDataTf";
    if (receivesInMemory()) {
        for (DcBuf* buf = source->firstBuf(); buf != nullptr;) {
            DcBuf* following = buf->next();
            count += buf->getLen();
            if (target != source) {
                source->subtract(buf);
                target->add(buf);
            }
            buf = following;
        }
        return 0;
    }

    ARCH_ENDIAN endian = ENDIAN_LITTLE;
    Dict.getEndian(xferSyn, endian);
    bool big = endian == ENDIAN_BIG;
    unsigned char pixelTag[4], delimiterTag[4];
    byteorder::put16(pixelTag, 0x7FE0, big);
    byteorder::put16(pixelTag + 2, 0x0010, big);
    byteorder::put16(delimiterTag, 0xFFFE, big);
    byteorder::put16(delimiterTag + 2, 0xE0DD, big);
    unsigned int headerLen = xferSyn == UID_LITTLE_ENDIAN_IMPLICIT ? HEADER_IMPLICIT : HEADER_EXPLICIT;

    // Every fragment is taken out first, since target and source may be one PDU.
    DcBufList pending;
    for (DcBuf* buf = source->firstBuf(); buf != nullptr; buf = source->firstBuf()) {
        source->subtract(buf);
        pending.add(buf);
    }
    for (DcBuf* buf = pending.first(); buf != nullptr; buf = pending.first()) {
        pending.subtract(buf);
        if (buf->getLen() == 0 || pixState == PIX_DONE) {
            delete buf;
            continue;
        }
        if (pixState == PIX_SEARCHING) {
            const unsigned char* data = static_cast<const unsigned char*>(buf->getBuf());
            long at = findTag(data, buf->getLen(), pixelTag, headerLen);
            if (at < 0) {
                target->add(buf);
                continue;
            }
            unsigned int tagAt = static_cast<unsigned int>(at);
            if (tagAt > 0)
                target->add(copyBuf(data, tagAt, xferSyn));
            pixState = PIX_INSIDE;
            int result = callPixRecvCB(target, xferSyn);
            if (result != 0) {
                logReport(LOG_CHANNEL_2, function,
                          "DcMsmPixRecvCB function returned error code 0x%x (%d), association will be closed",
                          static_cast<unsigned int>(result), result);
                delete buf;
                return result;
            }
            pixelRemaining = byteorder::get32(data + tagAt + headerLen - 4, big);
            if (tcpInfo.pixelDataHandle == -1)
                target->add(copyBuf(data + tagAt, headerLen, xferSyn));
            DcBuf* rest = copyBuf(data + tagAt + headerLen, buf->getLen() - tagAt - headerLen, xferSyn);
            delete buf;
            buf = rest;
            if (buf == nullptr || buf->getLen() == 0) {
                delete buf;
                continue;
            }
        }
        int status = pixelFragment(target, buf, pixState, count, delimiterTag);
        if (status != 0)
            return status;
    }
    return 0;
}

// One buffer of Pixel Data value. In a file, a value of defined length ends
// after its length, an undefined one at its sequence delimiter; in memory
// everything stays in the data set.
int DcTul::pixelFragment(DcPduDataTf* target, DcBuf* buf, int& pixState, unsigned int& count,
                         const unsigned char* delimiterTag)
{
    int handle = tcpInfo.pixelDataHandle;
    if (handle < 0) {
        count += buf->getLen();
        target->add(buf);
        return 0;
    }
    unsigned int keep = buf->getLen();
    if (pixelRemaining != UNDEFINED_LENGTH) {
        if (keep >= pixelRemaining) {
            keep = pixelRemaining;
            pixState = PIX_DONE;
        }
        pixelRemaining -= keep;
    } else if (handle > 0) {
        long at = findTag(static_cast<const unsigned char*>(buf->getBuf()), keep, delimiterTag, 4);
        if (at >= 0) {
            keep = static_cast<unsigned int>(at);
            pixState = PIX_DONE;
        }
    }
    // After a failed write the rest of the value is read and dropped, so
    // that the association stays in step.
    if (!pixelWriteFailed && writePixels(static_cast<const unsigned char*>(buf->getBuf()), keep) != 0)
        pixelWriteFailed = true;
    delete buf;
    count += keep;
    return 0;
}

int DcTul::writePixels(const unsigned char* data, unsigned int len)
{
    int handle = tcpInfo.pixelDataHandle;
    if (pixelFileStart < 0)
        pixelFileStart = lseek(handle, 0, SEEK_CUR);
    unsigned int done = 0;
    while (done < len) {
        ssize_t n = ::write(handle, data + done, len - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            logReport(LOG_CHANNEL_2, "DcTul::processPduDataTf", "Pixel data write error, %s", strerror(errno));
            return TUL_ERR_DATA;
        }
        done += static_cast<unsigned int>(n);
    }
    return 0;
}

int DcTul::callPixRecvCB(DcPduDataTf* pdu, DICT_UID xferSyn)
{
    if (pixRecvCB == nullptr)
        return 0;
    unsigned int size = 0;
    for (DcBuf* buf = pdu->firstBuf(); buf != nullptr; buf = buf->next())
        size += buf->getLen();
    if (size > TUL_PIX_HEADER_LIMIT) {
        logReport(LOG_CHANNEL_2, "DcTul::callPixRecvCB", "Incoming data size %d exceeds limit of %d, callback ignored",
                  static_cast<int>(size), static_cast<int>(TUL_PIX_HEADER_LIMIT));
        return TUL_ERR_DATA;
    }
    std::vector<unsigned char> joined;
    joined.reserve(size);
    for (DcBuf* buf = pdu->firstBuf(); buf != nullptr; buf = buf->next()) {
        const unsigned char* data = static_cast<const unsigned char*>(buf->getBuf());
        joined.insert(joined.end(), data, data + buf->getLen());
    }
    DcElemList header;
    unsigned int left = size;
    if (size > 0)
        header.parse(joined.data(), left, xferSyn);
    return pixRecvCB(pixRecvUserData, header, tcpInfo.pixelDataHandle, xferSyn);
}

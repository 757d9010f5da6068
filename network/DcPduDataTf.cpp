// The data transfer PDU: construction, transfer information, its two lists
// and the decoding of received fragments. Reading and writing are in
// DcPduDataTfRead.cpp and DcPduDataTfWrite.cpp.
#include "network/DcPduDataTf.h"

#include <cstdlib>
#include <cstring>

#include "dataset/DcElemCodec.h"
#include "dictionary/DcDict.h"
#include "foundation/ByteOrder.h"
#include "foundation/DcLog.h"

using namespace elemcodec;

DcPduDataTf::DcPduDataTf() : DcPduDataTf(0) {}

DcPduDataTf::DcPduDataTf(int sock)
    : DcPdu(sock, PDU_DATA_TF), presCtxId(0), msgCtrlHdr(0), xferSyn(UID_LITTLE_ENDIAN_IMPLICIT), maxPduLen(0),
      fragments(new DcBufList), elemList(new DcElemList(nullptr, 0, UID_LITTLE_ENDIAN_IMPLICIT))
{
}

DcPduDataTf::DcPduDataTf(const DcPduDataTf& other)
    : DcPdu(other), fragments(new DcBufList), elemList(new DcElemList(nullptr, 0, UID_LITTLE_ENDIAN_IMPLICIT))
{
    copyTransferInfo(other);
}

DcPduDataTf& DcPduDataTf::operator=(const DcPduDataTf& other)
{
    if (this != &other) {
        DcPdu::operator=(other);
        copyTransferInfo(other);
    }
    return *this;
}

DcPduDataTf::~DcPduDataTf()
{
    delete fragments;
    delete elemList;
}

void DcPduDataTf::copyTransferInfo(const DcPduDataTf& other)
{
    presCtxId = other.presCtxId;
    msgCtrlHdr = other.msgCtrlHdr;
    xferSyn = other.xferSyn;
    maxPduLen = other.maxPduLen;
}

int DcPduDataTf::verifyInfo(DcPduInfoTf& infoTf)
{
    DICT_UID_TYPE uidType;
    if (Dict.getUidType(infoTf.xferSyn, uidType) != 0 || uidType != UID_TRANSFER_SYNTAX)
        return PDU_DATA_TF_ERR;
    if (infoTf.msgCtrlHdr >= PDV_MCH_LIMIT || infoTf.maxPduLen == 0)
        return PDU_DATA_TF_ERR;
    return 0;
}

int DcPduDataTf::setInfo(DcPduInfoTf& infoTf)
{
    int status = verifyInfo(infoTf);
    if (status != 0)
        return status;
    presCtxId = infoTf.presCtxId;
    msgCtrlHdr = infoTf.msgCtrlHdr;
    xferSyn = infoTf.xferSyn;
    maxPduLen = infoTf.maxPduLen;
    return 0;
}

int DcPduDataTf::getInfo(DcPduInfoTf& infoTf)
{
    infoTf.presCtxId = presCtxId;
    infoTf.msgCtrlHdr = msgCtrlHdr;
    infoTf.xferSyn = xferSyn;
    infoTf.maxPduLen = maxPduLen;
    return 0;
}

int DcPduDataTf::elemListMerge()
{
    return 0;
}

int DcPduDataTf::elemListVerify(int&)
{
    return 0;
}

DcBuf* DcPduDataTf::add(DcBuf* buf)
{
    return fragments->add(buf);
}

DcBuf* DcPduDataTf::subtract(DcBuf* buf)
{
    return fragments->subtract(buf);
}

DcPduDataTf& DcPduDataTf::operator+(DcBuf* buf)
{
    fragments->add(buf);
    return *this;
}

DcPduDataTf& DcPduDataTf::operator-(DcBuf* buf)
{
    fragments->subtract(buf);
    return *this;
}

int DcPduDataTf::getBufSize(unsigned int& size)
{
    size = 0;
    for (DcBuf* buf = fragments->first(); buf != nullptr; buf = buf->next())
        size += buf->getLen();
    return 0;
}

int DcPduDataTf::moveElem(DcPduDataTf* to)
{
    return elemList->moveElem(to != nullptr ? to->elemList : nullptr);
}

// Memory fragments are parsed as one stretch of data (joined when there are
// several); a disk fragment ends the stretch and becomes Pixel Data.
int DcPduDataTf::parse(DICT_UID xfer)
{
    int status = 0;
    DcBuf* runStart = fragments->first();
    for (DcBuf* buf = runStart; buf != nullptr; buf = buf->next()) {
        if (buf->getType() != BUF_DISK)
            continue;
        DICT_VR pixelVr = VR_IM;
        status = parseRun(runStart, buf, xfer, pixelVr);
        if (status == 0)
            status = addPixelExtent(buf, xfer, pixelVr);
        if (status != 0)
            return status;
        runStart = buf->next();
    }
    DICT_VR unused = VR_IM;
    return parseRun(runStart, nullptr, xfer, unused);
}

// Parses the memory buffers from `from` up to (not including) `to`. When `to`
// is a disk buffer, a Pixel Data header at the end of the stretch belongs to
// the pixels on disk: it is left out, and its VR is given in pixelVr.
int DcPduDataTf::parseRun(DcBuf* from, DcBuf* to, DICT_UID xfer, DICT_VR& pixelVr)
{
    size_t total = 0;
    int memoryBufs = 0;
    DcBuf* only = nullptr;
    for (DcBuf* buf = from; buf != to; buf = buf->next())
        if (buf->getType() == BUF_MEMORY && buf->getLen() > 0) {
            total += buf->getLen();
            memoryBufs++;
            only = buf;
        }
    if (total == 0)
        return 0;
    unsigned char* joined = nullptr;
    unsigned char* data = static_cast<unsigned char*>(only->getBuf());
    if (memoryBufs > 1) {
        joined = static_cast<unsigned char*>(malloc(total));
        if (joined == nullptr) {
            logReport(LOG_CHANNEL_2, "DcPduDataTf::parse", "Out of memory joining %lu bytes",
                      static_cast<unsigned long>(total));
            return PDU_DATA_TF_ERR;
        }
        size_t at = 0;
        for (DcBuf* buf = from; buf != to; buf = buf->next())
            if (buf->getType() == BUF_MEMORY && buf->getLen() > 0) {
                memcpy(joined + at, buf->getBuf(), buf->getLen());
                at += buf->getLen();
            }
        data = joined;
    }
    bool big = false;
    bigEndian(xfer, big);
    unsigned int headerLen = isExplicit(xfer) ? 12 : 8;
    if (to != nullptr && total >= headerLen && byteorder::getTag(data + total - headerLen, big) == TAG_PIXEL_DATA) {
        if (isExplicit(xfer)) {
            char letters[3] = {static_cast<char>(data[total - 8]), static_cast<char>(data[total - 7]), '\0'};
            Dict.getVrDef(letters, pixelVr);
        }
        total -= headerLen;
    }
    unsigned int len = static_cast<unsigned int>(total);
    int status = len > 0 ? elemList->parse(data, len, xfer) : 0;
    free(joined);
    return status;
}

// The element holds its own duplicate of the file handle; the fragment keeps
// the one it owns.
int DcPduDataTf::addPixelExtent(DcBuf* disk, DICT_UID xfer, DICT_VR pixelVr)
{
    DcElem* pixels = nullptr;
    if (elemList->getElem(T_7fe0_0010_pixelData, &pixels) != 0) {
        if (pixelVr != VR_OB && pixelVr != VR_OW)
            pixelVr = VR_IM;
        pixels = new DcElem(static_cast<unsigned short>(0x7FE0), static_cast<unsigned short>(0x0010), nullptr, 0,
                            xfer, pixelVr);
        elemList->add(pixels);
    }
    int status = pixels->addValue(disk->getHandle(), disk->getOffset(), disk->getLen(), xfer);
    if (status != 0)
        logReport(LOG_CHANNEL_2, "DcPduDataTf::parse", "Pixel data on disk could not be attached, handle %d",
                  disk->getHandle());
    return status;
}

// Parsing encoded elements into a data set.
#include <atomic>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <unistd.h>
#include <vector>

#include "dataset/DcElemCodec.h"
#include "dataset/DcElemList.h"
#include "dataset/DcElemSq.h"
#include "dataset/utilLocate.h"
#include "dictionary/DcDict.h"
#include "foundation/ByteOrder.h"
#include "foundation/DcLog.h"

using namespace elemcodec;

namespace {

// VRs of later editions of the standard, written with reserved bytes and a
// 4-byte length; their elements are skipped.
bool isLongUnknownVr(const unsigned char* letters)
{
    static const char* const names[] = {"OD", "OF", "OL", "OV", "UC", "UR", "SV", "UV"};
    for (const char* name : names)
        if (memcmp(letters, name, 2) == 0)
            return true;
    return false;
}

// The VR named by two letters. Names of letters A-Z found are remembered
// (the dictionary only ever gains VRs); others ask the dictionary every time.
DICT_VR vrNamed(const char* letters)
{
    DICT_VR vr = VR_UNKNOWN;
    if (letters[0] < 'A' || letters[0] > 'Z' || letters[1] < 'A' || letters[1] > 'Z') {
        Dict.getVrDef(letters, vr);
        return vr;
    }
    static std::atomic<int> found[26 * 26];
    std::atomic<int>& slot = found[(letters[0] - 'A') * 26 + (letters[1] - 'A')];
    int known = slot.load(std::memory_order_relaxed);
    if (known != 0)
        return static_cast<DICT_VR>(known - 1);
    if (Dict.getVrDef(letters, vr) == 0)
        slot.store(static_cast<int>(vr) + 1, std::memory_order_relaxed);
    return vr;
}

bool isSequenceDelimiter(const unsigned char* p, bool big)
{
    return byteorder::getTag(p, big) == TAG_SEQUENCE_DELIMITATION && byteorder::get32(p + 4, big) == 0;
}

}

int DcElemList::parse()
{
    return 0;
}

int DcElemList::parse(void* buf, unsigned int& len, DICT_UID xfer)
{
    if (buf == nullptr || len == 0)
        return ELEM_ERR_NULL_ARG;
    unsigned char* p = static_cast<unsigned char*>(buf);
    unsigned int remaining = len;
    int status = 0;
    LosslessParseScope scope(lossless);
    while (remaining > 0) {
        unsigned int used = 0;
        status = parseElem(p, remaining, xfer, used);
        if (status != 0 || used == 0)
            break;
        p += used;
        remaining -= used;
    }
    len = remaining;
    return status;
}

// The memory buffers of a list are parsed as one stretch of data; disk
// buffers are read in.
int DcElemList::parse(DcBufList* list)
{
    if (list == nullptr || list->first() == nullptr)
        return ELEM_ERR_NULL_ARG;
    DICT_UID xfer = list->first()->getXferSyn();
    if (list->first() == list->last() && list->first()->getType() == BUF_MEMORY) {
        unsigned int len = list->first()->getLen();
        return parse(list->first()->getBuf(), len, xfer);
    }
    std::vector<unsigned char> joined;
    for (DcBuf* entry = list->first(); entry != nullptr; entry = entry->next()) {
        size_t at = joined.size();
        joined.resize(at + entry->getLen());
        if (entry->getType() == BUF_MEMORY) {
            memcpy(joined.data() + at, entry->getBuf(), entry->getLen());
        } else if (entry->getType() == BUF_DISK) {
            ssize_t got = pread(entry->getHandle(), joined.data() + at, entry->getLen(), entry->getOffset());
            if (got != static_cast<ssize_t>(entry->getLen())) {
                logReport(LOG_CHANNEL_1, "DcElemList::parse", "read error, offset - %d", entry->getOffset());
                return ELEM_ERR_PAST_END;
            }
        }
    }
    unsigned int len = static_cast<unsigned int>(joined.size());
    return joined.empty() ? ELEM_ERR_NULL_ARG : parse(joined.data(), len, xfer);
}

// Group, element, VR and value length of the element at buf. Group 0000 is
// always Implicit VR Little Endian; so xfer may change.
int DcElemList::readHdr(unsigned char* buf, unsigned int len, DICT_UID xfer, DcElemHdr& hdr, unsigned int& hdrLen)
{
    hdrLen = 0;
    hdr = DcElemHdr{0, 0, 0, VR_UNKNOWN, 0};
    if (len < 8) {
        logReport(LOG_CHANNEL_1, "DcElemList::readHdr", "Data error, %u bytes left, too short for an element header",
                  len);
        return ELEM_ERR_PAST_END;
    }
    bool big;
    if (!bigEndian(xfer, big))
        return ELEM_ERR_XFER_SYNTAX;
    if (buf[0] == 0 && buf[1] == 0)
        big = false;
    hdr.group = byteorder::get16(buf, big);
    hdr.element = byteorder::get16(buf + 2, big);
    return 0;
}

int DcElemList::parseVr(unsigned char* buf, unsigned int len, DICT_UID xfer, DcElemHdr& hdr)
{
    if (!isExplicit(xfer) || hdr.group == 0xFFFE) {
        hdr.vrFieldLen = 0;
        hdr.vr = VR_IM;
    } else {
        if (len < 2)
            return ELEM_ERR_BAD_VALUE;
        char letters[3] = {static_cast<char>(buf[0]), static_cast<char>(buf[1]), '\0'};
        if (isLongUnknownVr(buf)) {
            // Known once the current dictionary is loaded, and in lossless mode.
            hdr.vr = lossless || Dict.isCurrentLoaded() ? newerVrOf(buf) : VR_UNKNOWN;
            hdr.vrFieldLen = 4;
            return 0;
        }
        DICT_VR vr = VR_UNKNOWN;
        if (isupper(buf[0]) && isupper(buf[1]))
            vr = vrNamed(letters);
        hdr.vr = vr;
        hdr.vrFieldLen = hasReservedBytes(vr) ? 4 : 2;
    }
    if (hdr.vr == VR_IM) {
        DICT_VR vr = VR_UNKNOWN;
        int tagConst;
        if (Dict.getTagDef(hdr.group, hdr.element, tagConst) == 0)
            Dict.getVrDef(tagConst, vr);
        hdr.vr = vr;
    }
    return 0;
}

// The value length; undefined lengths are measured up to their delimiter.
int DcElemList::parseValLen(unsigned char* buf, unsigned int len, DICT_UID xfer, DcElemHdr& hdr, unsigned int& fieldLen)
{
    bool big;
    if (!bigEndian(xfer, big))
        return ELEM_ERR_XFER_SYNTAX;
    bool longField = !isExplicit(xfer) || hdr.group == 0xFFFE || hasLongLength(hdr.vr) || hdr.vrFieldLen == 4;
    fieldLen = longField ? 4 : 2;
    if (len < fieldLen) {
        logReport(LOG_CHANNEL_1, "DcElemList::parseValLen", "Element (%04x,%04x) - length field beyond end of buffer",
                  hdr.group, hdr.element);
        return ELEM_ERR_PAST_END;
    }
    if (!longField) {
        hdr.valueLen = byteorder::get16(buf, big);
        return 0;
    }
    hdr.valueLen = byteorder::get32(buf, big);
    int extra = 0;
    if (hdr.vr == VR_SQ || hdr.vr == VR_UN || (hdr.valueLen == UNDEFINED_LENGTH && !isRawVr(hdr.vr) && hdr.vr != VR_UT))
        return utilGetSqValLen(buf, len, xfer, hdr.valueLen, extra, 1);
    if (isRawVr(hdr.vr))
        return utilGetOxValLen(buf, len, xfer, hdr.valueLen, extra, 1);
    if (hdr.vr == VR_UT)
        return utilGetOxValLen(buf, len, xfer, hdr.valueLen, extra, 0);
    return 0;
}

int DcElemList::parseElem(unsigned char* buf, unsigned int len, DICT_UID xfer, unsigned int& used)
{
    used = 0;
    DcElemHdr hdr;
    unsigned int hdrLen = 0;
    int status = readHdr(buf, len, xfer, hdr, hdrLen);
    if (status != 0)
        return status;
    if (hdr.group == 0)
        xfer = UID_LITTLE_ENDIAN_IMPLICIT;
    if ((status = parseVr(buf + 4, len - 4, xfer, hdr)) != 0)
        return status;
    unsigned int fieldLen = 0;
    hdrLen = 4 + hdr.vrFieldLen;
    if ((status = parseValLen(buf + hdrLen, len - hdrLen, xfer, hdr, fieldLen)) != 0)
        return status;
    hdrLen += fieldLen;
    if (hdr.valueLen > len - hdrLen) {
        logReport(LOG_CHANNEL_1, "DcElemList::parseElem",
                  "Element (%04x,%04x) - value length %d(0x%x) exceeds buffer length %d(0x%x)", hdr.group, hdr.element,
                  static_cast<int>(hdr.valueLen), hdr.valueLen, static_cast<int>(len - hdrLen), len - hdrLen);
        return ELEM_ERR_PAST_END;
    }

    int tagConst;
    bool known = Dict.getTagDef(hdr.group, hdr.element, tagConst) == 0;
    unsigned char* value = buf + hdrLen;
    if (lossless)
        keepElem(hdr, known, value, buf + hdrLen - fieldLen, fieldLen, xfer);
    bool skip = lossless;
    if (skip || hdr.group == 0xFFFE) {
        skip = true;
    } else if (!known && isExplicit(xfer) && hdr.vr != VR_UNKNOWN) {
        Dict.add(hdr.group, hdr.element, hdr.vr, 0, nullptr, nullptr);
    } else if (!known) {
        logReport(LOG_CHANNEL_0, "DcElemList::parseElem", "Ignored unknown element (%04x,%04x)", hdr.group,
                  hdr.element);
        skip = true;
    } else if (hdr.vr == VR_RT) {
        logReport(LOG_CHANNEL_0, "DcElemList::parseElem", "Ignored retired element (%04x,%04x)", hdr.group,
                  hdr.element);
        skip = true;
    } else if (hdr.vr == VR_UNKNOWN) {
        logReport(LOG_CHANNEL_0, "DcElemList::parseElem", "Ignored element (%04x,%04x) with unknown VR", hdr.group,
                  hdr.element);
        skip = true;
    }

    if (!skip) {
        DcElem* elem;
        if (hdr.vr == VR_SQ)
            elem = new DcElemSq(hdr.group, hdr.element, value, hdr.valueLen, xfer, hdr.vr);
        else
            elem = new DcElem(hdr.group, hdr.element, value, hdr.valueLen, xfer, hdr.vr, 0);
        add(elem);
    }
    used = hdrLen + hdr.valueLen;
    bool big = false;
    bigEndian(xfer, big);
    if (len - used >= 8 && isSequenceDelimiter(buf + used, big))
        used += 8;
    return 0;
}

// Lossless mode: every element is kept with the bytes it was read from.
// Elements of tags unknown to the dictionary keep the VR they came with, UN
// in the implicit syntax (private creators: LO).
void DcElemList::keepElem(DcElemHdr& hdr, bool known, unsigned char* value, unsigned char* lengthField,
                          unsigned int fieldLen, DICT_UID xfer)
{
    bool big = false;
    bigEndian(xfer, big);
    bool undefined = fieldLen == 4 && byteorder::get32(lengthField, big) == UNDEFINED_LENGTH;
    unsigned int tag = (static_cast<unsigned int>(hdr.group) << 16) | hdr.element;
    DICT_VR vr = hdr.vr;
    if (hdr.group == 0xFFFE)
        return;
    // A private creator is LO whatever block it reserves.
    if (!known && vr == VR_UNKNOWN && (hdr.group & 1) && hdr.element >= 0x0010 && hdr.element <= 0x00FF)
        vr = VR_LO;
    // Elements of unknown tags keep their VR themselves, without entering the
    // dictionary, so that what one file says about a private tag does not
    // change how the next one is read.
    DcElem* elem;
    if (known && vr == VR_SQ) {
        elem = new DcElemSq(hdr.group, hdr.element, value, hdr.valueLen, xfer, vr);
    } else if (vr == VR_SQ) {
        elem = new DcElemSq(DcElem::AsReadTag{}, tag, value, hdr.valueLen, xfer);
    } else if (known && vr != VR_UNKNOWN && vr != VR_RT && !isNewerVr(vr)) {
        elem = new DcElem(hdr.group, hdr.element, value, hdr.valueLen, xfer, vr, 0);
    } else {
        if (vr == VR_UNKNOWN || vr == VR_RT)
            vr = VR_UN;
        elem = DcElem::makeAsRead(tag, vr, value, hdr.valueLen, xfer);
    }
    elem->keepAsRead(value, hdr.valueLen, xfer, undefined);
    add(elem);
}

int DcElemList::addPixelDataOnDisk(int handle, int offset, unsigned int length, DICT_UID xfer, DICT_VR vr)
{
    DcElem* elem = new DcElem(static_cast<unsigned short>(TAG_PIXEL_DATA >> 16),
                              static_cast<unsigned short>(TAG_PIXEL_DATA & 0xFFFF), nullptr, 0, xfer, vr);
    int status = elem->addValue(handle, offset, length, xfer);
    if (status != 0) {
        delete elem;
        return status;
    }
    if (lossless && vr != VR_IM)
        elem->keepAsRead(nullptr, 0, xfer, false);
    add(elem);
    return 0;
}

// Encoding an element into bytes and decoding a value field back.
#include <cstdlib>
#include <cstring>

#include "dataset/DcElem.h"
#include "dataset/DcElemCodec.h"
#include "dictionary/DcDict.h"
#include "foundation/ByteOrder.h"
#include "foundation/DcLog.h"
#include "internal/VrLength.h"

using namespace elemcodec;

namespace {

// Bytes of one stored binary value: AT holds a whole tag.
unsigned int unitOf(DICT_VR vr, unsigned int vrLen)
{
    return vr == VR_AT ? 4 : vrLen;
}

// Copies one binary value, reversing each swap unit for big endian.
void copyValue(unsigned char* out, const unsigned char* in, unsigned int size, DICT_VR_SIZE vrSize, bool big)
{
    if (!big || vrSize == VR_SIZE_BYTE) {
        memcpy(out, in, size);
        return;
    }
    unsigned int swapUnit = vrSize == VR_SIZE_WORD ? 2 : vrSize == VR_SIZE_DOUBLE ? 8 : 4;
    for (unsigned int at = 0; at + swapUnit <= size; at += swapUnit)
        for (unsigned int i = 0; i < swapUnit; ++i)
            out[at + i] = in[at + swapUnit - 1 - i];
}

// Copies len bytes reversing each whole unit; a trailing part unit is copied as is.
void swapUnits(unsigned char* out, const unsigned char* in, unsigned int len, unsigned int unit)
{
    unsigned int whole = len - len % unit;
    for (unsigned int at = 0; at < whole; at += unit)
        for (unsigned int i = 0; i < unit; ++i)
            out[at + i] = in[at + unit - 1 - i];
    memcpy(out + whole, in + whole, len - whole);
}

// Makes room for needed more bytes in a memory buffer, moving its contents
// into a larger block when they do not fit.
bool ensureRoom(DcBuf* target, unsigned int needed)
{
    unsigned int used = target->getLen();
    if (target->getAllocLen() >= used && target->getAllocLen() - used >= needed)
        return true;
    unsigned long long wanted = static_cast<unsigned long long>(used) + needed;
    unsigned long long doubled = 2ULL * target->getAllocLen();
    unsigned long long capacity = doubled > wanted ? doubled : wanted;
    if (capacity > 0xFFFFFFFFULL)
        return false;
    void* block = malloc(static_cast<size_t>(capacity));
    if (block == nullptr)
        return false;
    memcpy(block, target->getBuf(), used);
    DcBuf grown(block, static_cast<unsigned int>(capacity), target->getXferSyn());
    target->setBuf(nullptr);
    target->move(&grown);
    target->setLen(used);
    return true;
}

}

int DcElem::frameTag(unsigned char* buf, unsigned int& len, DICT_UID xfer)
{
    bool big = false;
    if (group != 0 && !bigEndian(xfer, big))
        return ELEM_ERR_XFER_SYNTAX;
    byteorder::putTag(buf, tag, big);
    len = 4;
    return 0;
}

int DcElem::frameVr(unsigned char* buf, unsigned int& len, DICT_UID xfer, DICT_VR v)
{
    len = 0;
    if (group == 0 || !isExplicit(xfer) || tag == TAG_ITEM)
        return 0;
    memcpy(buf, wireName(v), 2);
    len = 2;
    if (hasReservedBytes(v)) {
        buf[2] = buf[3] = 0;
        len = 4;
    }
    return 0;
}

int DcElem::frameValueLen(unsigned char* buf, unsigned int& len, DICT_UID xfer, DICT_VR v, unsigned int length)
{
    bool big = false;
    if (group != 0 && !bigEndian(xfer, big))
        return ELEM_ERR_XFER_SYNTAX;
    if (group == 0 || !isExplicit(xfer) || hasLongLength(v) || tag == TAG_ITEM) {
        byteorder::put32(buf, length, big);
        len = 4;
        return 0;
    }
    byteorder::put16(buf, static_cast<uint16_t>(length), big);
    len = 2;
    if (length > 0xFFFF) {
        logReport(LOG_CHANNEL_1, "DcElem::frameValueLen",
                  "Element (%04x,%04x) - value length %u does not fit a 2-byte length field", group, element, length);
        return ELEM_ERR_BAD_VALUE;
    }
    return 0;
}

int DcElem::frameValue(unsigned char* buf, unsigned int& len, DICT_UID xfer, DICT_VR v, DICT_VR_SIZE size)
{
    if (isRawVr(v))
        return frameValueOX(buf, len, xfer);
    return frameValueNonOX(buf, len, xfer, v, size);
}

int DcElem::frameValueNonOX(unsigned char* buf, unsigned int& len, DICT_UID xfer, DICT_VR v, DICT_VR_SIZE size)
{
    len = 0;
    if (values == nullptr || valueCount == 0)
        return ELEM_ERR_NO_VALUE;
    if (size == VR_SIZE_BYTE && pooledTextInPlace()) {
        // The values as parsed, separators put back where they were.
        const char* start = static_cast<const char*>(values[0]);
        memcpy(buf, start, pooledLen);
        for (int i = 1; i < valueCount; ++i)
            buf[static_cast<const char*>(values[i]) - start - 1] = '\\';
        len = pooledLen;
        if (len % 2 != 0)
            buf[len++] = v == VR_UI ? '\0' : ' ';
        return 0;
    }
    if (size == VR_SIZE_BYTE) {
        for (int i = 0; i < valueCount; ++i) {
            if (i > 0)
                buf[len++] = '\\';
            size_t n = strlen(static_cast<char*>(values[i]));
            memcpy(buf + len, values[i], n);
            len += static_cast<unsigned int>(n);
        }
        if (len % 2 != 0)
            buf[len++] = v == VR_UI ? '\0' : ' ';
        return 0;
    }
    if (size < VR_SIZE_WORD || size > VR_SIZE_DOUBLE) {
        logReport(LOG_CHANNEL_1, "DcElem::frameValueNonOX", "Element (%04x,%04x) - Invalid VR size", group, element);
        return ELEM_ERR_BAD_VR;
    }
    bool big = false;
    if (group != 0 && !bigEndian(xfer, big))
        return ELEM_ERR_XFER_SYNTAX;
    unsigned int unit = unitOf(v, vrLen);
    for (int i = 0; i < valueCount; ++i, len += unit)
        copyValue(buf + len, static_cast<unsigned char*>(values[i]), unit, size, big);
    return 0;
}

// Raw buffers: memory entries are copied as they are; disk entries are left
// for the caller to stream. Encapsulated Pixel Data gets its delimiter.
int DcElem::frameValueOX(unsigned char* buf, unsigned int& len, DICT_UID xfer)
{
    len = 0;
    bool memory = false, disk = false;
    for (DcBuf* entry = rawBufList->first(); entry != nullptr; entry = entry->next()) {
        memory |= entry->getType() == BUF_MEMORY;
        disk |= entry->getType() == BUF_DISK;
    }
    if (memory && disk) {
        logReport(LOG_CHANNEL_1, "DcElem::frameValueOX",
                  "Element (%04x,%04x) - mixed memory/disk buffers, not processed", group, element);
        return ELEM_ERR_BAD_VALUE;
    }
    if (!memory)
        return 0;
    // The newer VRs hold numbers: they change byte order with the syntax.
    unsigned int unit = newerVrSwapUnit(effectiveVr());
    bool big = false;
    if (unit > 1 && !bigEndian(xfer, big))
        return ELEM_ERR_XFER_SYNTAX;
    for (DcBuf* entry = rawBufList->first(); entry != nullptr; entry = entry->next()) {
        bool entryBig = big;
        if (unit > 1)
            bigEndian(entry->getXferSyn(), entryBig);
        const unsigned char* in = static_cast<const unsigned char*>(entry->getBuf());
        if (entryBig == big)
            memcpy(buf + len, in, entry->getLen());
        else
            swapUnits(buf + len, in, entry->getLen(), unit);
        len += entry->getLen();
    }
    if (tag == TAG_PIXEL_DATA && isCompressed(xfer)) {
        byteorder::putTag(buf + len, TAG_SEQUENCE_DELIMITATION, false);
        byteorder::put32(buf + len + 4, 0, false);
        len += 8;
    }
    return 0;
}

int DcElem::frame(unsigned char* buf, unsigned int& len, DICT_UID xfer)
{
    len = 0;
    if (buf == nullptr) {
        logReport(LOG_CHANNEL_1, "DcElem::frame", "Element (%04x,%04x) - Null buffer passed", group, element);
        return ELEM_ERR_NULL_ARG;
    }
    DICT_VR v = effectiveVr();
    if (v == VR_SQ) {
        logReport(LOG_CHANNEL_1, "DcElem::frame", "Element (%04x,%04x) - should be created as SQ, not element", group,
                  element);
        return ELEM_ERR_BAD_VR;
    }
    if (v == VR_RT || v == VR_EX || v == VR_IM || (v >= VR_UNKNOWN && !isNewerVr(v))) {
        logReport(LOG_CHANNEL_1, "DcElem::frame", "Element (%04x,%04x) - Invalid VR '%s'", group, element, vrName(v));
        return ELEM_ERR_BAD_VR;
    }
    if (group == 0)
        xfer = UID_LITTLE_ENDIAN_IMPLICIT;
    bool big;
    if (!bigEndian(xfer, big))
        return ELEM_ERR_XFER_SYNTAX;

    unsigned int n = 0, k = 0;
    frameTag(buf, k, xfer);
    n += k;
    frameVr(buf + n, k, xfer, v);
    n += k;
    unsigned char* lengthField = buf + n;
    frameValueLen(lengthField, k, xfer, v, 0);
    n += k;

    unsigned int valueLen = 0;
    unsigned int fieldValue = 0;
    if (isUnchanged() && asRead->bytes != nullptr) {
        frameAsRead(buf + n, valueLen, big);
        fieldValue = valueLen;
    } else if (isRawVr(v)) {
        if (frameValueOX(buf + n, valueLen, xfer) == 0) {
            bool memory = rawBufList->first() != nullptr && rawBufList->first()->getType() == BUF_MEMORY;
            if (memory && tag == TAG_PIXEL_DATA && isCompressed(xfer)) {
                fieldValue = UNDEFINED_LENGTH;
            } else {
                for (DcBuf* entry = rawBufList->first(); entry != nullptr; entry = entry->next())
                    fieldValue += entry->getLen();
            }
        }
    } else {
        frameValueNonOX(buf + n, valueLen, xfer, v, vrSize);
        fieldValue = valueLen;
    }
    n += valueLen;
    if (isUnchanged() && asRead->undefinedLength && tag != TAG_PIXEL_DATA) {
        // Read with an undefined length: written back the same way.
        fieldValue = UNDEFINED_LENGTH;
        byteorder::putTag(buf + n, TAG_SEQUENCE_DELIMITATION, big);
        byteorder::put32(buf + n + 4, 0, big);
        n += 8;
    }
    len = n;
    return frameValueLen(lengthField, k, xfer, v, fieldValue);
}

// The value bytes as read; binary values change byte order with the syntax.
int DcElem::frameAsRead(unsigned char* buf, unsigned int& len, bool big)
{
    bool readBig = big;
    bigEndian(asRead->xfer, readBig);
    if (group == 0)
        readBig = big = false;
    unsigned int unit = vrSize == VR_SIZE_WORD ? 2 : vrSize == VR_SIZE_DOUBLE ? 8 :
                        vrSize == VR_SIZE_LONG || vrSize == VR_SIZE_FLOAT ? 4 : 1;
    if (readBig == big || unit == 1)
        memcpy(buf, asRead->bytes, asRead->len);
    else
        swapUnits(buf, asRead->bytes, asRead->len, unit);
    len = asRead->len;
    return 0;
}

int DcElem::frame(DcBufList* list, unsigned int& len, DICT_UID xfer)
{
    len = 0;
    if (list == nullptr) {
        logReport(LOG_CHANNEL_1, "DcElem::frame", "Element (%04x,%04x) - Null buffer list passed", group, element);
        return ELEM_ERR_NULL_ARG;
    }
    DcBuf* target = list->last();
    if (target == nullptr || target->getType() != BUF_MEMORY) {
        logReport(LOG_CHANNEL_1, "DcElem::frame", "Element (%04x,%04x), expecting a memory buffer", group, element);
        return ELEM_ERR_NOT_MEMORY_BUF;
    }
    if (target->getBuf() == nullptr)
        return ELEM_ERR_NULL_ARG;
    if (tag == TAG_PIXEL_DATA && isRawVr(effectiveVr()) && rawBufList->first() != nullptr)
        return framePixelData(list, target, len, xfer);

    unsigned int size = 0;
    getBufSize(size, nullptr);
    if (!ensureRoom(target, size))
        return ELEM_ERR_BUF_TOO_SHORT;
    int status = frame(static_cast<unsigned char*>(target->getBuf()) + target->getLen(), len, xfer);
    target->setLen(target->getLen() + len);
    return status;
}

// Pixel Data into a buffer list: the header goes into the memory buffer, the
// pixel buffers themselves join the list (disk extents stay on disk), and a
// fresh memory buffer follows for the elements after it.
int DcElem::framePixelData(DcBufList* list, DcBuf* target, unsigned int& len, DICT_UID xfer)
{
    if (!ensureRoom(target, 12))
        return ELEM_ERR_BUF_TOO_SHORT;
    bool big;
    if (!bigEndian(xfer, big))
        return ELEM_ERR_XFER_SYNTAX;
    DcBuf* entry = rawBufList->first();
    for (int i = 0; i < valueIndex && entry != nullptr; ++i)
        entry = entry->next();
    unsigned int pixelLen = 0;
    for (DcBuf* e = entry; e != nullptr; e = e->next())
        pixelLen += e->getLen();
    bool encapsulated = isCompressed(xfer);

    unsigned char* out = static_cast<unsigned char*>(target->getBuf()) + target->getLen();
    unsigned int n = 0, k = 0;
    frameTag(out, k, xfer);
    n += k;
    frameVr(out + n, k, xfer, vr == VR_IM ? effectiveVr() : vr);
    n += k;
    frameValueLen(out + n, k, xfer, VR_OB, encapsulated ? UNDEFINED_LENGTH : pixelLen);
    n += k;
    target->setLen(target->getLen() + n);

    for (DcBuf* e = entry; e != nullptr; e = e->next()) {
        DcBuf* shared = new DcBuf;
        *shared = *e;
        list->add(shared);
    }
    if (encapsulated) {
        unsigned char* delimiter = static_cast<unsigned char*>(malloc(8));
        byteorder::putTag(delimiter, TAG_SEQUENCE_DELIMITATION, false);
        byteorder::put32(delimiter + 4, 0, false);
        list->add(new DcBuf(delimiter, 8, xfer));
    }
    unsigned int capacity = target->getAllocLen();
    DcBuf* following = new DcBuf(malloc(capacity ? capacity : 1), capacity, xfer);
    following->setLen(0);
    list->add(following);
    len = n + pixelLen;
    return 0;
}

int DcElem::getBufSize(unsigned int& size, int*)
{
    size = 12;
    if (isUnchanged() && asRead->undefinedLength)
        size += 8;
    if (isUnchanged() && asRead->bytes != nullptr) {
        size += asRead->len;
        return 0;
    }
    DICT_VR v = effectiveVr();
    if (isRawVr(v)) {
        for (DcBuf* entry = rawBufList->first(); entry != nullptr; entry = entry->next())
            if (entry->getType() == BUF_MEMORY)
                size += entry->getLen();
        if (tag == TAG_PIXEL_DATA)
            size += 8;
        return 0;
    }
    unsigned int textSize = 0;
    if (isTextVr(v) && pooledTextInPlace())
        textSize = pooledBufSize;
    else if (isTextVr(v))
        for (int i = 0; i < valueCount; ++i) {
            textSize += static_cast<unsigned int>(strlen(static_cast<char*>(values[i])) + 1);
            textSize += textSize % 2;
        }
    // The binary and structured values take at most their VR's longest form.
    unsigned int fixed = 0;
    switch (v) {
    case VR_AS: case VR_AT: case VR_DA: case VR_DT: case VR_FD: case VR_FL: case VR_PN:
    case VR_SL: case VR_SS: case VR_TM: case VR_UL: case VR_US: case VR_XL: case VR_XS:
        fixed = static_cast<unsigned int>(brenik3::vrMaxLength(v));
        break;
    default: break;
    }
    unsigned int fixedSize = fixed * static_cast<unsigned int>(valueCount);
    size += fixedSize > textSize ? fixedSize : textSize;
    return 0;
}

int DcElem::getBufSize(unsigned int& size, int)
{
    return getBufSize(size, nullptr);
}

int DcElem::parseVal(void* buf, unsigned int len, DICT_UID xfer)
{
    DICT_VR v = effectiveVr();
    if (isRawVr(v)) {
        if (buf == nullptr || len == 0)
            return ELEM_ERR_NULL_ARG;
        return addValue(buf, len, xfer);
    }
    bool big = false;
    if (group != 0 && !bigEndian(xfer, big))
        return ELEM_ERR_XFER_SYNTAX;
    deleteAllValues();
    if (buf == nullptr || len == 0)
        return ELEM_ERR_NULL_ARG;
    if (vrSize == VR_SIZE_BYTE || isTextVr(v)) {
        int status = 0;
        if (parseTextPooled(static_cast<const unsigned char*>(buf), len, v, status))
            return status;
        char* text = static_cast<char*>(malloc(len + 1));
        if (text == nullptr)
            return ELEM_ERR_BAD_VALUE;
        memcpy(text, buf, len);
        text[len] = '\0';
        status = addText(text);
        free(text);
        return status;
    }
    if (vrSize >= VR_SIZE_WORD && vrSize <= VR_SIZE_DOUBLE)
        return parseValBinary(static_cast<unsigned char*>(buf), len, big);
    logReport(LOG_CHANNEL_1, "DcElem::parseVal", "Element (%04x,%04x) - invalid VR size", group, element);
    return ELEM_ERR_BAD_VR;
}

// Binary values, converted from the syntax's byte order while they are
// copied, so that the caller's buffer is never touched.
int DcElem::parseValBinary(unsigned char* buf, unsigned int len, bool big)
{
    if (vrLen == 0) {
        logReport(LOG_CHANNEL_1, "DcElem::parseValBinary", "Element (%04x,%04x) - zero vrLen", group, element);
        return ELEM_ERR_BAD_VR;
    }
    DICT_VR v = effectiveVr();
    unsigned int unit = unitOf(v, vrLen);
    unsigned int count = len / unit;
    int limit = valueLimit();
    unsigned int first = limit != 0 && static_cast<unsigned int>(limit) < count ? count - limit : 0;
    if (first == count)
        return 0;
    unsigned char* data = newPool(static_cast<int>(count - first), static_cast<size_t>(count - first) * unit);
    if (data == nullptr)
        return ELEM_ERR_BAD_VALUE;
    for (unsigned int i = first; i < count; ++i, data += unit) {
        copyValue(data, buf + i * unit, unit, vrSize, big);
        values[valueCount++] = data;
    }
    parsedExactly = first == 0 && len % unit == 0 && !isNewerVr(v);
    return 0;
}

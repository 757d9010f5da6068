#include "dataset/utilLocate.h"

#include <cstring>
#include <unistd.h>
#include <vector>

#include "dataset/DcElemCodec.h"
#include "dictionary/DcDict.h"
#include "foundation/ByteOrder.h"
#include "foundation/DcLog.h"
#include "internal/Tag.h"

using namespace elemcodec;

namespace {

const char* const nullArgument = "Null argument passed";

// Encoded data held in memory.
class MemorySource {
public:
    MemorySource(const unsigned char* data, unsigned int size) : data(data), size(size) {}
    unsigned int length() const { return size; }
    // n bytes at pos; the caller keeps pos + n within length().
    const unsigned char* at(unsigned int pos, unsigned int) { return data + pos; }

private:
    const unsigned char* data;
    unsigned int size;
};

// Encoded data read through a file handle in chunks as the scan moves on.
class FileSource {
public:
    enum { CHUNK = 64 * 1024 };

    FileSource(int handle, int offset, unsigned int size, const char* function, const char* seekMessage)
        : handle(handle), offset(offset), size(size), function(function), seekMessage(seekMessage), windowStart(0),
          failed(false)
    {
    }
    unsigned int length() const { return size; }
    bool hasFailed() const { return failed; }
    // Bytes read in from pos on, pos being inside the window.
    unsigned int available(unsigned int pos) const
    {
        return static_cast<unsigned int>(window.size()) - (pos - windowStart);
    }

    const unsigned char* at(unsigned int pos, unsigned int n)
    {
        if (pos >= windowStart && pos + n <= windowStart + window.size())
            return window.data() + (pos - windowStart);
        unsigned int count = size - pos < CHUNK ? size - pos : static_cast<unsigned int>(CHUNK);
        if (count < n)
            count = n;
        window.resize(count);
        windowStart = pos;
        long position = static_cast<long>(offset) + pos;
        if (lseek(handle, position, SEEK_SET) == -1) {
            logReport(LOG_CHANNEL_1, function, seekMessage, static_cast<int>(position));
            return fail();
        }
        unsigned int got = 0;
        while (got < count) {
            ssize_t r = read(handle, window.data() + got, count - got);
            if (r <= 0)
                break;
            got += static_cast<unsigned int>(r);
        }
        if (got < n) {
            logReport(LOG_CHANNEL_1, function, "read error, offset - %d", static_cast<int>(position));
            return fail();
        }
        window.resize(got);
        return window.data();
    }

private:
    int handle;
    int offset;
    unsigned int size;
    const char* function;
    const char* seekMessage;
    std::vector<unsigned char> window;
    unsigned int windowStart;
    bool failed;

    const unsigned char* fail()
    {
        failed = true;
        window.clear();
        return nullptr;
    }
};

bool sourceFailed(MemorySource&) { return false; }
bool sourceFailed(FileSource& source) { return source.hasFailed(); }

// Keeps the handle's position across a file-form call.
class PositionKeeper {
public:
    PositionKeeper(int handle, const char* function) : handle(handle)
    {
        saved = lseek(handle, 0, SEEK_CUR);
        if (saved == -1)
            logReport(LOG_CHANNEL_1, function, "failed to get current file pointer");
    }
    ~PositionKeeper()
    {
        if (saved != -1)
            lseek(handle, saved, SEEK_SET);
    }
    bool ok() const { return saved != -1; }

private:
    int handle;
    off_t saved;
};

// What closes a value of undefined length.
enum Closing { CLOSE_OX, CLOSE_SQ, CLOSE_ITEM };

// Does the header before an undefined length field open something that a
// Sequence Delimitation Item closes (a sequence, encapsulated data)?
bool opensNesting(const unsigned char* header, bool big)
{
    if (header[2] == 0 && header[3] == 0 &&
        (memcmp(header, "SQ", 2) == 0 || memcmp(header, "OB", 2) == 0 || memcmp(header, "OW", 2) == 0 ||
         memcmp(header, "UN", 2) == 0))
        return true;
    DICT_VR vr;
    int tagConst;
    unsigned int tag = byteorder::getTag(header, big);
    return Dict.getTagDef(tag, tagConst) == 0 && Dict.getVrDef(tagConst, vr) == 0 && vr == VR_SQ;
}

// Every header the scan below reacts to has a byte 0xFF in its first two
// bytes (group FFFE) or in its length field (undefined length). Within the
// span of n bytes at p (n >= 8), the first position of p's parity that may
// hold one, or the first whose bytes reach past the span.
unsigned int nextCandidate(const unsigned char* span, unsigned int p, unsigned int n)
{
    if (span[0] == 0xFF || span[1] == 0xFF || span[4] == 0xFF)
        return p;
    const void* hit = memchr(span, 0xFF, n);
    unsigned int q = hit == nullptr ? n : static_cast<unsigned int>(static_cast<const unsigned char*>(hit) - span);
    unsigned int c = q >= 4 ? q - 4 : 0;
    if (c % 2 != 0)
        --c;
    return p + c;
}

unsigned int nextCandidate(MemorySource& source, unsigned int p, unsigned int end)
{
    if (p + 8 > end)
        return p;
    return nextCandidate(source.at(p, end - p), p, end - p);
}

// A file is searched a chunk at a time.
unsigned int nextCandidate(FileSource& source, unsigned int p, unsigned int end)
{
    if (p + 8 > end)
        return p;
    const unsigned char* span = source.at(p, 8);
    if (span == nullptr)
        return p;
    unsigned int n = source.available(p);
    return nextCandidate(span, p, n < end - p ? n : end - p);
}

// Scans the value after a length field in steps of 2 bytes for its closing
// delimiter; gives the distance to it, or false when there is none.
template <typename Source>
bool findClosing(Source& source, unsigned int start, Closing closing, bool big, unsigned int& distance)
{
    unsigned int end = source.length();
    unsigned int closer = closing == CLOSE_ITEM ? TAG_ITEM_DELIMITATION : TAG_SEQUENCE_DELIMITATION;
    int depth = 0;
    for (unsigned int p = start; p + 8 <= end; p += 2) {
        p = nextCandidate(source, p, end);
        if (p + 8 > end)
            break;
        const unsigned char* w = source.at(p, 8);
        if (w == nullptr)
            return false;
        unsigned int tag = byteorder::getTag(w, big);
        unsigned int length = byteorder::get32(w + 4, big);
        if (tag == closer && length == 0) {
            if (depth == 0) {
                distance = p - start;
                return true;
            }
            --depth;
            p += 6;
            continue;
        }
        if (closing == CLOSE_OX || length != UNDEFINED_LENGTH)
            continue;
        if (tag == TAG_ITEM) {
            depth += closing == CLOSE_ITEM;
            p += 6;
        } else if (closing == CLOSE_SQ && opensNesting(w, big)) {
            ++depth;
            p += 6;
        }
    }
    return false;
}

// The first Sequence Delimitation Item at an even distance from start.
bool findDelimiter(MemorySource& source, unsigned int start, bool big, unsigned int& distance)
{
    unsigned char pattern[8] = {0, 0, 0, 0, 0, 0, 0, 0};
    byteorder::putTag(pattern, TAG_SEQUENCE_DELIMITATION, big);
    const unsigned char* data = source.at(0, 0);
    unsigned int end = source.length();
    unsigned int p = start;
    while (p + 8 <= end) {
        const void* hit = memmem(data + p, end - p, pattern, sizeof pattern);
        if (hit == nullptr)
            return false;
        unsigned int at = static_cast<unsigned int>(static_cast<const unsigned char*>(hit) - data);
        if ((at - start) % 2 == 0) {
            distance = at - start;
            return true;
        }
        p = at + 1;
    }
    return false;
}

bool findDelimiter(FileSource& source, unsigned int start, bool big, unsigned int& distance)
{
    return findClosing(source, start, CLOSE_OX, big, distance);
}

// The common part of the length functions.
template <typename Source>
int valueLength(Source& source, DICT_UID xfer, Closing closing, bool allowUnterminated, const char* function,
                const char* missingMessage, unsigned int& valLen, int& extra)
{
    bool big;
    if (!bigEndian(xfer, big))
        return UTIL_ERR_LENGTH;
    unsigned int len = source.length();
    if (len < 4) {
        logReport(LOG_CHANNEL_1, function, "Value length field %d(0x%x) exceeds buffer length %d(0x%x)", 4, 4,
                  static_cast<int>(len), len);
        return UTIL_ERR_LENGTH;
    }
    const unsigned char* field = source.at(0, 4);
    if (field == nullptr)
        return UTIL_ERR_LENGTH;
    unsigned int length = byteorder::get32(field, big);
    if (length != UNDEFINED_LENGTH) {
        if (length > len - 4) {
            logReport(LOG_CHANNEL_1, function, "Value length field %d(0x%x) exceeds buffer length %d(0x%x)",
                      static_cast<int>(length), length, static_cast<int>(len - 4), len - 4);
            return UTIL_ERR_LENGTH;
        }
        valLen = length;
        return 0;
    }
    unsigned int distance = 0;
    bool found = closing == CLOSE_OX ? findDelimiter(source, 4, big, distance)
                                     : findClosing(source, 4, closing, big, distance);
    if (sourceFailed(source))
        return UTIL_ERR_LENGTH;
    if (found) {
        valLen = distance;
        extra = 8;
        return 0;
    }
    if (allowUnterminated) {
        logReport(LOG_CHANNEL_1, function, "Sequence delimiter not found, assuming full buffer as Pixel Data");
        valLen = len - 4;
        return 0;
    }
    logReport(LOG_CHANNEL_1, function, "%s", missingMessage);
    return UTIL_ERR_LENGTH;
}

template <typename Source>
int elemOffset(Source& source, DICT_UID xfer, unsigned short group, unsigned short element, unsigned int& offset)
{
    bool big;
    if (!bigEndian(xfer, big))
        return UTIL_ERR_XFER_SYNTAX;
    unsigned char pattern[4];
    byteorder::putTag(pattern, brenik3::makeTag(group, element), big);
    for (unsigned int p = 0; p + 4 <= source.length(); p += 2) {
        const unsigned char* w = source.at(p, 4);
        if (w == nullptr)
            return UTIL_ERR_LENGTH;
        if (memcmp(w, pattern, 4) == 0) {
            offset = p;
            return 0;
        }
    }
    return UTIL_ERR_NOT_FOUND;
}

}

int utilGetOxValLen(unsigned char* buf, unsigned int len, DICT_UID xfer, unsigned int& valLen, int& extra,
                    int allowUnterminated)
{
    valLen = 0;
    extra = 0;
    if (buf == nullptr) {
        logReport(LOG_CHANNEL_1, "utilGetOxValLen", "%s", nullArgument);
        return UTIL_ERR_LENGTH;
    }
    MemorySource source(buf, len);
    return valueLength(source, xfer, CLOSE_OX, allowUnterminated != 0, "utilGetOxValLen",
                       "Data error, Sequence delimiter not found", valLen, extra);
}

int utilGetSqValLen(unsigned char* buf, unsigned int len, DICT_UID xfer, unsigned int& valLen, int& extra,
                    int allowUnterminated)
{
    valLen = 0;
    extra = 0;
    if (buf == nullptr) {
        logReport(LOG_CHANNEL_1, "utilGetSqValLen", "%s", nullArgument);
        return UTIL_ERR_LENGTH;
    }
    MemorySource source(buf, len);
    return valueLength(source, xfer, CLOSE_SQ, allowUnterminated != 0, "utilGetSqValLen",
                       "Data error, Sequence delimiter not found", valLen, extra);
}

int utilGetSqValLen(int fileHandle, int offset, unsigned int len, DICT_UID xfer, unsigned int& valLen, int& extra,
                    int allowUnterminated)
{
    valLen = 0;
    extra = 0;
    PositionKeeper keeper(fileHandle, "utilGetSqValLen");
    if (!keeper.ok())
        return UTIL_ERR_LENGTH;
    FileSource source(fileHandle, offset, len, "utilGetSqValLen", "lseek error, offset - %d");
    return valueLength(source, xfer, CLOSE_SQ, allowUnterminated != 0, "utilGetSqValLen",
                       "Data error, Sequence delimiter not found", valLen, extra);
}

int utilGetSqItemValLen(unsigned char* buf, unsigned int len, DICT_UID xfer, unsigned int& valLen, int& extra)
{
    valLen = 0;
    extra = 0;
    if (buf == nullptr) {
        logReport(LOG_CHANNEL_1, "utilGetSqItemValLen", "%s", nullArgument);
        return UTIL_ERR_LENGTH;
    }
    MemorySource source(buf, len);
    return valueLength(source, xfer, CLOSE_ITEM, false, "utilGetSqItemValLen",
                       "Data error, Sequence Item delimiter not found", valLen, extra);
}

int utilGetSqItemValLen(int fileHandle, int offset, unsigned int len, DICT_UID xfer, unsigned int& valLen,
                        int& extra)
{
    valLen = 0;
    extra = 0;
    PositionKeeper keeper(fileHandle, "utilGetSqItemValLen");
    if (!keeper.ok())
        return UTIL_ERR_LENGTH;
    FileSource source(fileHandle, offset, len, "utilGetSqItemValLen", "disk buffer lseek error, offset - %d");
    return valueLength(source, xfer, CLOSE_ITEM, false, "utilGetSqItemValLen",
                       "Data error - sequence item delimiter not found", valLen, extra);
}

int utilGetElemOffset(unsigned char* buf, unsigned int len, DICT_UID xfer, unsigned short group,
                      unsigned short element, unsigned int& offset)
{
    offset = 0;
    if (buf == nullptr) {
        logReport(LOG_CHANNEL_1, "utilGetElemOffset", "%s", nullArgument);
        return UTIL_ERR_NULL_ARG;
    }
    MemorySource source(buf, len);
    return elemOffset(source, xfer, group, element, offset);
}

int utilGetElemOffset(unsigned char* buf, unsigned int len, DICT_UID xfer, int tagConst, unsigned int& offset)
{
    unsigned short group, element;
    offset = 0;
    if (Dict.getTag(tagConst, group, element) != 0)
        return UTIL_ERR_NOT_FOUND;
    return utilGetElemOffset(buf, len, xfer, group, element, offset);
}

int utilGetElemOffset(int fileHandle, int start, unsigned int len, DICT_UID xfer, unsigned short group,
                      unsigned short element, unsigned int& offset)
{
    offset = 0;
    PositionKeeper keeper(fileHandle, "utilGetElemOffset");
    if (!keeper.ok())
        return UTIL_ERR_LENGTH;
    FileSource source(fileHandle, start, len, "utilGetElemOffset", "disk buffer lseek error, offset - %d");
    return elemOffset(source, xfer, group, element, offset);
}

int utilGetElemOffset(int fileHandle, int start, unsigned int len, DICT_UID xfer, int tagConst,
                      unsigned int& offset)
{
    unsigned short group, element;
    offset = 0;
    if (Dict.getTag(tagConst, group, element) != 0)
        return UTIL_ERR_NOT_FOUND;
    return utilGetElemOffset(fileHandle, start, len, xfer, group, element, offset);
}

// Reading a file of any size with its Pixel Data value left on disk.
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "dataset/DcElemCodec.h"
#include "dataset/utilLocate.h"
#include "dictionary/DcDict.h"
#include "foundation/ByteOrder.h"
#include "foundation/DcLog.h"
#include "media/dirFile.h"
#include "media/dirFileIo.h"

using namespace elemcodec;

namespace {

const char* const readerName = "dirReadFileHeader";

// Where the top-level Pixel Data lies: its header at start, its value (the
// fragments, for encapsulated data) at value, and the first byte after it
// (after the closing delimiter, if any) at end.
struct PixelExtent {
    unsigned long long start;
    unsigned long long value;
    unsigned long long valueLen;
    unsigned long long end;
    DICT_VR vr;  // as written (OB or OW) in explicit VR syntaxes; VR_IM otherwise
};

bool hasLongLengthField(const unsigned char* letters)
{
    static const char* const names[] = {"OB", "OW", "OF", "OD", "OL", "OV", "SQ", "UT", "UN", "UC", "UR", "SV", "UV"};
    for (const char* name : names)
        if (memcmp(letters, name, 2) == 0)
            return true;
    return false;
}

// The fragments of encapsulated data from value up to the Sequence
// Delimitation Item, walked item by item.
int measureFragments(int handle, unsigned long long value, unsigned long long size, PixelExtent& extent)
{
    unsigned long long pos = value;
    unsigned char header[8];
    while (pos + 8 <= size && dirReadAt(handle, header, 8, static_cast<off_t>(pos)) == 8) {
        unsigned int tag = byteorder::getTag(header, false);
        unsigned int len = byteorder::get32(header + 4, false);
        if (tag == TAG_SEQUENCE_DELIMITATION) {
            extent.valueLen = pos - value;
            extent.end = pos + 8;
            return 0;
        }
        if (tag != TAG_ITEM || len == UNDEFINED_LENGTH)
            break;
        pos += 8ULL + len;
    }
    logReport(LOG_CHANNEL_2, readerName, "Pixel Data fragments at offset %llu not closed by a delimiter", value);
    return DIR_ERR_MALFORMED;
}

// Walks the top-level element headers from offset; found tells whether
// Pixel Data was met before the end of the file.
int locatePixelData(int handle, unsigned long long offset, unsigned long long size, DICT_UID xfer, bool& found,
                    PixelExtent& extent)
{
    found = false;
    bool big;
    if (!bigEndian(xfer, big)) {
        logReport(LOG_CHANNEL_2, readerName, "Unknown transfer syntax");
        return DIR_ERR_INVALID;
    }
    bool explicitVr = isExplicit(xfer);
    unsigned long long pos = offset;
    unsigned char header[12];
    while (pos + 8 <= size) {
        size_t got = dirReadAt(handle, header, sizeof header, static_cast<off_t>(pos));
        unsigned int tag = byteorder::getTag(header, big);
        unsigned int headerLen = 8;
        unsigned int len;
        if (explicitVr && (tag >> 16) != 0xFFFE && (tag >> 16) != 0 && hasLongLengthField(header + 4)) {
            if (got < 12)
                break;
            headerLen = 12;
            len = byteorder::get32(header + 8, big);
        } else if (explicitVr && (tag >> 16) != 0xFFFE && (tag >> 16) != 0) {
            len = byteorder::get16(header + 6, big);
        } else {
            len = byteorder::get32(header + 4, (tag >> 16) != 0 && big);
        }
        unsigned long long value = pos + headerLen;
        if (tag == TAG_PIXEL_DATA) {
            found = true;
            if (headerLen == 12 && memcmp(header + 4, "OB", 2) == 0)
                extent.vr = VR_OB;
            else if (headerLen == 12 && memcmp(header + 4, "OW", 2) == 0)
                extent.vr = VR_OW;
            extent.start = pos;
            extent.value = value;
            if (len == UNDEFINED_LENGTH)
                return measureFragments(handle, value, size, extent);
            extent.valueLen = len;
            extent.end = value + len;
            if (extent.end > size) {
                logReport(LOG_CHANNEL_2, readerName, "Element (7fe0,0010), length %u (0x%x) exceeds file size %llu",
                          len, len, size);
                return DIR_ERR_MALFORMED;
            }
            return 0;
        }
        if (len == UNDEFINED_LENGTH) {
            unsigned int valLen = 0;
            int extra = 0;
            if (utilGetSqValLen(handle, static_cast<int>(value - 4), static_cast<unsigned int>(size - value + 4), xfer,
                                valLen, extra, 0) != 0) {
                logReport(LOG_CHANNEL_2, readerName, "Element (%04x,%04x) at offset %llu - delimiter not found",
                          tag >> 16, tag & 0xFFFF, pos);
                return DIR_ERR_MALFORMED;
            }
            pos = value + valLen + static_cast<unsigned int>(extra);
        } else {
            pos = value + len;
        }
    }
    return 0;
}

// Parses count bytes at offset into list.
int parseRange(int handle, unsigned long long offset, unsigned long long count, DICT_UID xfer, DcElemList& list)
{
    if (count == 0)
        return 0;
    unsigned char* buf = static_cast<unsigned char*>(malloc(static_cast<size_t>(count)));
    if (buf == nullptr || dirReadAt(handle, buf, static_cast<size_t>(count), static_cast<off_t>(offset)) != count) {
        free(buf);
        logReport(LOG_CHANNEL_2, readerName, "Read error");
        return DIR_ERR_IO;
    }
    unsigned int len = static_cast<unsigned int>(count);
    list.parse(buf, len, xfer);
    free(buf);
    if (len != 0) {
        logReport(LOG_CHANNEL_2, readerName, "Data set truncated or damaged, %u bytes not decoded", len);
        return DIR_ERR_MALFORMED;
    }
    return 0;
}

}

int dirReadFileHeader(const char* path, DcDirMetaInfo& info, DcElemList& list)
{
    unsigned int dataOffset = 0;
    int metaStatus = dirReadFileMetaInfo(path, info, dataOffset);
    if (metaStatus != 0 && metaStatus != DIR_ERR_NO_META)
        return metaStatus;
    DICT_UID xfer = metaStatus == 0 ? info.xferSyn : UID_LITTLE_ENDIAN_IMPLICIT;
    int handle = open(path, O_RDONLY);
    if (handle == -1) {
        logReport(LOG_CHANNEL_2, readerName, "Error opening file '%s'", path);
        return DIR_ERR_OPEN;
    }
    struct stat status;
    if (fstat(handle, &status) != 0) {
        close(handle);
        logReport(LOG_CHANNEL_2, readerName, "stat error file '%s'", path);
        return DIR_ERR_STAT;
    }
    unsigned long long size = static_cast<unsigned long long>(status.st_size);
    if (size > 0x7FFFFFFFULL) {
        close(handle);
        logReport(LOG_CHANNEL_2, readerName, "File '%s', size exceeds the 2 Gbyte offset range", path);
        return DIR_ERR_SIZE_LIMIT;
    }
    unsigned long long start = dataOffset < size ? dataOffset : size;
    bool found = false;
    PixelExtent extent{size, size, 0, size, VR_IM};
    int result = locatePixelData(handle, start, size, xfer, found, extent);
    if (result == 0 && (extent.start - start) + (size - extent.end) > DIR_SIZE_LIMIT) {
        logReport(LOG_CHANNEL_2, readerName, "File '%s', size exceeds limit of %d Mbyte", path, DIR_SIZE_LIMIT_MBYTES);
        result = DIR_ERR_SIZE_LIMIT;
    }
    if (result != 0) {
        close(handle);
        return result;
    }

    list.destroyAllNodes();
    result = parseRange(handle, start, extent.start - start, xfer, list);
    if (result == 0 && found) {
        list.addPixelDataOnDisk(handle, static_cast<int>(extent.value), static_cast<unsigned int>(extent.valueLen),
                                xfer, extent.vr);
        result = parseRange(handle, extent.end, size - extent.end, xfer, list);
    }
    close(handle);

    if (metaStatus == DIR_ERR_NO_META)
        dirTakeBareMetaInfo(info, list);
    return result;
}

// Writing a file: meta group, data set, and Pixel Data streamed from disk.
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "dataset/DcElemCodec.h"
#include "dictionary/DcDict.h"
#include "foundation/ByteOrder.h"
#include "foundation/DcLog.h"
#include "media/dirFile.h"
#include "media/dirFileIo.h"

namespace {

const unsigned int PIXEL_CHUNK = 16384;
const unsigned int GROUP_0008 = 0x0008;

// Elements moved out of the caller's list for the time of a write; they go
// back when the writer ends, on every path.
struct SetAside {
    DcElemList& list;
    DcElemList held;
    DcElemList trailing;

    explicit SetAside(DcElemList& owner) : list(owner) {}
    ~SetAside()
    {
        held.moveElem(&list);
        trailing.moveElem(&list);
    }
};

unsigned short groupOf(DcElem* elem)
{
    unsigned short group = 0, element = 0;
    elem->getTag(group, element);
    return group;
}

unsigned int tagOf(DcElem* elem)
{
    unsigned int tag = 0;
    elem->getTag(tag);
    return tag;
}

void addText(DcElemList& meta, int tagConst, const char* text)
{
    if (text[0] != '\0')
        meta.add(new DcElem(tagConst, text));
}

// Where the (7FE0,0000) value lies, counted back from the end of the body
// (just before the Pixel Data header), and its bytes when the pixel value is
// pixelLen bytes long; false when the data set has no such group length.
bool pixelGroupLength(DcElemList& list, unsigned int len, DICT_UID xfer, unsigned int pixelLen, unsigned int& back,
                      unsigned char field[4])
{
    DcElem* groupLength = nullptr;
    DcElem* pixelData = nullptr;
    if (list.getElem(0x7FE00000u, &groupLength) != 0 || list.getElem(0x7FE00010u, &pixelData) != 0 ||
        groupLength == list.first())
        return false;
    if (xfer == UID_LITTLE_ENDIAN_IMPLICIT) {
        back = 12;
        byteorder::put32(field, pixelLen + 8, false);
    } else {
        back = 16;
        bool big = xfer == UID_BIG_ENDIAN_EXPLICIT;
        unsigned int following = elemcodec::isCompressed(xfer) ? 20 : 12;
        byteorder::put32(field, pixelLen + following, big);
    }
    return len >= back;
}

// Rewrites the (7FE0,0000) value in the body to count the pixels held on disk.
void correctPixelGroupLength(DcElemList& list, unsigned char* body, unsigned int len, DICT_UID xfer,
                             unsigned int pixelLen)
{
    unsigned int back = 0;
    unsigned char field[4];
    if (pixelGroupLength(list, len, xfer, pixelLen, back, field))
        memcpy(body + len - back, field, 4);
}

// Copies the disk-held pixel value into the output after the body.
int copyPixels(FILE* out, DcBuf& pixels)
{
    int handle = pixels.getHandle();
    off_t pixelPosition = lseek(handle, 0, SEEK_CUR);
    if (pixelPosition == -1) {
        logReport(LOG_CHANNEL_2, "dirWriteFile", "Failed to get current file pointer in pixel data file");
        return DIR_ERR_FILE_POSITION;
    }
    if (lseek(handle, pixels.getOffset(), SEEK_SET) != pixels.getOffset()) {
        logReport(LOG_CHANNEL_2, "dirWriteFile", "lseek error in pixel data file, offset - %d", pixels.getOffset());
        return DIR_ERR_SEEK;
    }
    unsigned char chunk[PIXEL_CHUNK];
    unsigned int remaining = pixels.getLen();
    while (remaining > 0) {
        unsigned int want = remaining < PIXEL_CHUNK ? remaining : PIXEL_CHUNK;
        ssize_t got = read(handle, chunk, want);
        if (got != static_cast<ssize_t>(want)) {
            logReport(LOG_CHANNEL_2, "dirWriteFile", "Error in reading pixel data");
            return DIR_ERR_IO;
        }
        if (fwrite(chunk, 1, want, out) != want) {
            logReport(LOG_CHANNEL_2, "dirWriteFile", "Write error, disk may be full");
            return DIR_ERR_IO;
        }
        remaining -= want;
    }
    lseek(handle, pixelPosition, SEEK_SET);
    return 0;
}

// Closes encapsulated fragments with their delimiter and gives the Pixel
// Data header, whose value began at valueStart, its undefined length.
int closeFragments(FILE* out, long valueStart)
{
    unsigned char delimiter[8];
    byteorder::putTag(delimiter, elemcodec::TAG_SEQUENCE_DELIMITATION, false);
    byteorder::put32(delimiter + 4, 0, false);
    const unsigned char undefinedLength[4] = {0xFF, 0xFF, 0xFF, 0xFF};
    if (fwrite(delimiter, 1, 8, out) != 8 || fseek(out, valueStart - 4, SEEK_SET) != 0 ||
        fwrite(undefinedLength, 1, 4, out) != 4) {
        logReport(LOG_CHANNEL_2, "dirWriteFile", "Write error, disk may be full");
        return DIR_ERR_IO;
    }
    return 0;
}

// The pixel value after the body: from its disk buffer, or from source.
// A (7FE0,0000) set in the body for the disk buffer's length is rewritten
// when source writes another length.
int writePixels(FILE* out, DcElemList& list, DcBuf& pixels, DICT_UID xfer, unsigned int bodyLen,
                DirPixelSource* source)
{
    long valueStart = ftell(out);
    if (valueStart == -1) {
        logReport(LOG_CHANNEL_2, "dirWriteFile", "Failed to get current file pointer in output file");
        return DIR_ERR_FILE_POSITION;
    }
    unsigned long long written = pixels.getLen();
    int status = source != nullptr ? source->writeValue(out, written) : copyPixels(out, pixels);
    if (status == 0 && elemcodec::isCompressed(xfer))
        status = closeFragments(out, valueStart);
    unsigned int back = 0;
    unsigned char field[4];
    if (status == 0 && written != pixels.getLen() &&
        pixelGroupLength(list, bodyLen, xfer, static_cast<unsigned int>(written), back, field) &&
        (fseek(out, valueStart - static_cast<long>(back), SEEK_SET) != 0 || fwrite(field, 1, 4, out) != 4)) {
        logReport(LOG_CHANNEL_2, "dirWriteFile", "Write error, disk may be full");
        status = DIR_ERR_IO;
    }
    return status;
}

// The elements after Pixel Data, appended at the end of the output.
int appendTrailing(FILE* out, DcElemList& trailing, DICT_UID xfer)
{
    unsigned int size = 0;
    trailing.getBufSize(size);
    if (size >= DIR_SIZE_LIMIT) {
        logReport(LOG_CHANNEL_2, "dirWriteFile", "Data beyond pixels exceeds limit of %d Mbytes, ignored",
                  DIR_SIZE_LIMIT_MBYTES);
        return 0;
    }
    unsigned char* buf = static_cast<unsigned char*>(malloc(size ? size : 1));
    if (buf == nullptr) {
        logReport(LOG_CHANNEL_2, "dirWriteFile", "Write error, disk may be full");
        return DIR_ERR_IO;
    }
    unsigned int len = 0;
    trailing.frame(buf, len, xfer);
    int status = 0;
    if (fseek(out, 0, SEEK_END) != 0 || fwrite(buf, 1, len, out) != len) {
        logReport(LOG_CHANNEL_2, "dirWriteFile", "Write error, disk may be full");
        status = DIR_ERR_IO;
    }
    free(buf);
    return status;
}

// Fills the unset fields of info from the data set and its Pixel Data.
int completeMetaInfo(DcDirMetaInfo& info, DcElemList& list, DcBuf& pixels)
{
    if (info.xferSyn == UID_NONE)
        info.xferSyn = pixels.getXferSyn() != UID_NONE ? pixels.getXferSyn() : UID_LITTLE_ENDIAN_IMPLICIT;
    if (info.sopClassUid == UID_NONE) {
        DICT_UID uid = UID_NONE;
        int status = list.getValue(T_0008_0016_sopClassUid, uid, ELEM_VAL_INDEX_KEEP);
        if (status != 0) {
            logReport(LOG_CHANNEL_2, "dirWriteFile", "Missing or invalid T_0008_0016_sopClassUid in Element List");
            return status;
        }
        info.sopClassUid = uid;
    }
    if (info.sopInstanceUid[0] == '\0') {
        char uid[DIR_UID_MAX + 1];
        int status = list.getValue(T_0008_0018_sopInstanceUid, uid, DIR_UID_MAX, ELEM_VAL_INDEX_KEEP);
        if (status != 0) {
            logReport(LOG_CHANNEL_2, "dirWriteFile", "Missing or invalid T_0008_0018_sopInstanceUid in Element List");
            return status;
        }
        strcpy(info.sopInstanceUid, uid);
    }
    dirFillImplClassUid(info);
    return dirCheckMetaInfo(info);
}

}

int dirCheckMetaInfo(DcDirMetaInfo& info)
{
    if (info.version != 1) {
        logReport(LOG_CHANNEL_2, "dirCheckMetaInfo", "Invalid version number - 0x%04x", info.version);
        return DIR_ERR_INVALID;
    }
    if (info.sopClassUid == UID_NONE) {
        logReport(LOG_CHANNEL_2, "dirCheckMetaInfo", "SOP Class UID not set");
        return DIR_ERR_INVALID;
    }
    if (info.sopInstanceUid[0] == '\0') {
        logReport(LOG_CHANNEL_2, "dirCheckMetaInfo", "SOP Instance UID not set");
        return DIR_ERR_INVALID;
    }
    DICT_UID_TYPE type = UID_TYPE_UNKNOWN;
    if (Dict.getUidType(info.xferSyn, type) != 0 || type != UID_TRANSFER_SYNTAX) {
        char uid[DICT_UID_MAX + 1] = "";
        Dict.getUid(info.xferSyn, uid);
        logReport(LOG_CHANNEL_0, "dirCheckMetaInfo", "'%s' is not a Transfer Syntax UID", uid);
        return DICT_ERR_NOT_XFER_SYNTAX;
    }
    if (info.implClassUid[0] == '\0') {
        logReport(LOG_CHANNEL_2, "dirCheckMetaInfo", "Implementation Class UID not set");
        return DIR_ERR_INVALID;
    }
    if (info.implVerName[0] == '\0')
        strcpy(info.implVerName, DIR_DEFAULT_IMPL_VER_NAME);
    return 0;
}

void dirFrameMetaHeader(DcDirMetaInfo& info, std::vector<unsigned char>& out)
{
    DcElemList meta;
    meta.add(new DcElem(T_0002_0000_groupLength));
    DcElem* version = new DcElem(T_0002_0001_fileMetaInformationVersion);
    unsigned char versionBytes[2] = {static_cast<unsigned char>(info.version >> 8),
                                     static_cast<unsigned char>(info.version)};
    version->addValue(versionBytes, 2, UID_LITTLE_ENDIAN_EXPLICIT);
    meta.add(version);
    meta.add(new DcElem(T_0002_0002_mediaStoredSopClassUid, info.sopClassUid));
    meta.add(new DcElem(T_0002_0003_mediaStoredSopInstanceUid, info.sopInstanceUid));
    meta.add(new DcElem(T_0002_0010_transferSyntaxUid, info.xferSyn));
    meta.add(new DcElem(T_0002_0012_implementationClassUid, info.implClassUid));
    addText(meta, T_0002_0013_implementationVersionName, info.implVerName);
    addText(meta, T_0002_0016_sourceApplicationEntityTitle, info.sourceAeTitle);
    addText(meta, T_0002_0100_privateInformationCreatorUid, info.pvtInfoCreatorUid);
    if (info.pvtInfo != nullptr && info.pvtInfoLen != 0) {
        DcElem* privateInfo = new DcElem(T_0002_0102_privateInformation);
        privateInfo->addValue(info.pvtInfo, info.pvtInfoLen, UID_LITTLE_ENDIAN_EXPLICIT);
        meta.add(privateInfo);
    }
    unsigned int size = 0, len = 0;
    meta.getBufSize(size);
    size_t start = out.size();
    out.resize(start + DIR_PREAMBLE_SIZE + 4 + size);
    memcpy(out.data() + start, info.preamble, DIR_PREAMBLE_SIZE);
    memcpy(out.data() + start + DIR_PREAMBLE_SIZE, "DICM", 4);
    meta.frame(out.data() + start + DIR_PREAMBLE_SIZE + 4, len, UID_LITTLE_ENDIAN_EXPLICIT);
    out.resize(start + DIR_PREAMBLE_SIZE + 4 + len);
}

int dirWriteMetaHeader(FILE* stream, DcDirMetaInfo& info)
{
    std::vector<unsigned char> header;
    dirFrameMetaHeader(info, header);
    return fwrite(header.data(), 1, header.size(), stream) == header.size() ? 0 : DIR_ERR_IO;
}

namespace {

int writeFile(const char* path, DcDirMetaInfo& info, DcElemList& list, DirPixelSource* source)
{
    if (path == nullptr) {
        logReport(LOG_CHANNEL_0, "dirWriteFile", "Null argument passed");
        return DIR_ERR_NULL_ARG;
    }
    DcBuf pixels;
    list.getValue(T_7fe0_0010_pixelData, pixels, ELEM_VAL_INDEX_KEEP);
    int status = completeMetaInfo(info, list, pixels);
    if (status != 0)
        return status;

    SetAside aside(list);
    while (list.first() != nullptr && groupOf(list.first()) < GROUP_0008) {
        DcElem* elem = list.first();
        list.subtract(elem);
        aside.held.add(elem);
    }
    bool diskPixels = pixels.getType() == BUF_DISK;
    if (diskPixels)
        while (list.last() != nullptr && tagOf(list.last()) > elemcodec::TAG_PIXEL_DATA) {
            DcElem* elem = list.last();
            list.subtract(elem);
            aside.trailing.add(elem);
        }

    unsigned int size = 0;
    list.getBufSize(size);
    if (size > DIR_SIZE_LIMIT) {
        logReport(LOG_CHANNEL_2, "dirWriteFile", "File size exceeds limit of %d Mbytes", DIR_SIZE_LIMIT_MBYTES);
        return DIR_ERR_SIZE_LIMIT;
    }
    FILE* out = fopen(path, "wb");
    if (out == nullptr) {
        logReport(LOG_CHANNEL_2, "dirWriteFile", "Error opening file - '%s'", path);
        return DIR_ERR_OPEN;
    }
    dirWriteMetaHeader(out, info);

    unsigned char* body = static_cast<unsigned char*>(malloc(size ? size : 1));
    if (body == nullptr) {
        fclose(out);
        logReport(LOG_CHANNEL_2, "dirWriteFile", "Write error, disk may be full");
        return DIR_ERR_IO;
    }
    unsigned int len = 0;
    list.frame(body, len, info.xferSyn);
    if (diskPixels)
        correctPixelGroupLength(list, body, len, info.xferSyn, pixels.getLen());
    fwrite(body, 1, len, out);
    free(body);

    if (diskPixels) {
        status = writePixels(out, list, pixels, info.xferSyn, len, source);
        if (aside.trailing.first() != nullptr) {
            int trailingStatus = appendTrailing(out, aside.trailing, info.xferSyn);
            if (status == 0)
                status = trailingStatus;
        }
    }
    // A write that failed while the stream buffer was emptied leaves only
    // the stream's error flag behind; fclose alone would not tell.
    bool failed = ferror(out) != 0;
    if ((fclose(out) != 0 || failed) && status == 0) {
        logReport(LOG_CHANNEL_2, "dirWriteFile", "Write error, disk may be full");
        status = DIR_ERR_IO;
    }
    return status;
}

}

int dirWriteFile(const char* path, DcDirMetaInfo& info, DcElemList& list)
{
    return writeFile(path, info, list, nullptr);
}

int dirWriteFileStreamed(const char* path, DcDirMetaInfo& info, DcElemList& list, DirPixelSource& source)
{
    DcBuf pixels;
    list.getValue(T_7fe0_0010_pixelData, pixels, ELEM_VAL_INDEX_KEEP);
    if (pixels.getType() != BUF_DISK) {
        logReport(LOG_CHANNEL_0, "dirWriteFileStreamed", "Pixel Data without a disk buffer to stand for its value");
        return DIR_ERR_INVALID;
    }
    return writeFile(path, info, list, &source);
}

// Reading the meta information and the whole of a file.
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "dictionary/DcDict.h"
#include "foundation/ByteOrder.h"
#include "foundation/DcLog.h"
#include "media/dirFile.h"
#include "media/dirFileIo.h"
#include "internal/Version.h"

namespace {

const unsigned int META_READ_SIZE = 16384;
const unsigned int META_START = 132;
// Zero bytes behind the bytes read, so that the walk, which compares its
// running length (counted from META_START) with the byte count (counted from
// the start of the file), never reads outside the buffer.
const unsigned int META_SLACK = META_START + 16;

void copyText(DcElemList& meta, int tagConst, char* field, int width)
{
    char text[DIR_UID_MAX + 1];
    if (meta.getValue(tagConst, text, width, ELEM_VAL_INDEX_KEEP) == 0)
        strcpy(field, text);
}

void copyUid(DcElemList& meta, int tagConst, DICT_UID& field)
{
    DICT_UID uid;
    if (meta.getValue(tagConst, uid, ELEM_VAL_INDEX_KEEP) == 0)
        field = uid;
}

void readVersion(DcElemList& meta, DcDirMetaInfo& info)
{
    info.version = 0;
    DcBuf value;
    if (meta.getValue(T_0002_0001_fileMetaInformationVersion, value, ELEM_VAL_INDEX_KEEP) != 0) {
        logReport(LOG_CHANNEL_0, "dirReadFileMetaInfo", "T_0002_0001_fileMetaInformationVersion missing");
        return;
    }
    const unsigned char* bytes = static_cast<const unsigned char*>(value.getBuf());
    if (value.getType() == BUF_MEMORY && bytes != nullptr && value.getLen() >= 2)
        info.version = (static_cast<unsigned int>(bytes[0]) << 8) + bytes[1];
    if (info.version != 0x0001 && info.version != 0x0100 && info.version != 0)
        logReport(LOG_CHANNEL_0, "dirReadFileMetaInfo", "Invalid version - 0x%04x", info.version);
}

void readPrivateInfo(DcElemList& meta, DcDirMetaInfo& info)
{
    DcBuf value;
    if (meta.getValue(T_0002_0102_privateInformation, value, ELEM_VAL_INDEX_KEEP) != 0 ||
        value.getType() != BUF_MEMORY || value.getBuf() == nullptr)
        return;
    std::shared_ptr<unsigned char[]> store(new unsigned char[value.getLen() ? value.getLen() : 1]);
    memcpy(store.get(), value.getBuf(), value.getLen());
    info.pvtInfoStore = store;
    info.pvtInfo = store.get();
    info.pvtInfoLen = value.getLen();
}

}

void dirTakeBareMetaInfo(DcDirMetaInfo& info, DcElemList& list)
{
    info.reset();
    info.xferSyn = UID_LITTLE_ENDIAN_IMPLICIT;
    copyUid(list, T_0008_0016_sopClassUid, info.sopClassUid);
    copyText(list, T_0008_0018_sopInstanceUid, info.sopInstanceUid, DIR_UID_MAX);
    strcpy(info.implClassUid, BRENIK3_UID_ROOT);
    list.resetValueCount();
}

int dirReadFileMetaInfo(const char* path, DcDirMetaInfo& info, unsigned int& dataOffset)
{
    dataOffset = 0;
    if (path == nullptr) {
        logReport(LOG_CHANNEL_0, "dirReadFileMetaInfo", "Null argument passed");
        return DIR_ERR_NULL_ARG;
    }
    struct stat status;
    if (stat(path, &status) != 0)
        return DIR_ERR_STAT;
    int handle = open(path, O_RDONLY);
    if (handle == -1) {
        logReport(LOG_CHANNEL_2, "dirReadFileMetaInfo", "Error opening file '%s'", path);
        return DIR_ERR_OPEN;
    }
    static_assert(META_SLACK > META_START, "slack covers the walk");
    unsigned char* buf = static_cast<unsigned char*>(calloc(META_READ_SIZE + META_SLACK, 1));
    if (buf == nullptr) {
        close(handle);
        logReport(LOG_CHANNEL_2, "dirReadFileMetaInfo", "Read error");
        return DIR_ERR_IO;
    }
    unsigned int count = static_cast<unsigned int>(dirReadAt(handle, buf, META_READ_SIZE, 0));
    close(handle);
    if (count < 1) {
        free(buf);
        logReport(LOG_CHANNEL_2, "dirReadFileMetaInfo", "Read error");
        return DIR_ERR_IO;
    }
    if (count < META_START || memcmp(buf + 128, "DICM", 4) != 0) {
        free(buf);
        logReport(LOG_CHANNEL_0, "dirReadFileMetaInfo", "File Meta Information missing");
        return DIR_ERR_NO_META;
    }

    unsigned long long running = 0;
    while (running < count) {
        const unsigned char* at = buf + META_START + running;
        unsigned short group = byteorder::get16(at, false);
        unsigned short element = byteorder::get16(at + 2, false);
        if (group != 0x0002)
            break;
        char letters[3] = {static_cast<char>(at[4]), static_cast<char>(at[5]), '\0'};
        DICT_VR vr = VR_UNKNOWN;
        if (Dict.getVrDef(letters, vr) != 0 || vr == VR_UNKNOWN) {
            free(buf);
            logReport(LOG_CHANNEL_2, "dirReadFileMetaInfo", "Unknown VR for Element (%04x,%04x)", group, element);
            return DIR_ERR_MALFORMED;
        }
        if (vr == VR_OB || vr == VR_OW || vr == VR_SQ)
            running += 12ULL + byteorder::get32(at + 8, false);
        else
            running += 8ULL + byteorder::get16(at + 6, false);
        if (running > count) {
            free(buf);
            logReport(LOG_CHANNEL_2, "dirReadFileMetaInfo", "Element (%04x,%04x), length %d (0x%x) exceeds buffer %d (0x%x)",
                      group, element, static_cast<int>(running), static_cast<unsigned int>(running),
                      static_cast<int>(count), count);
            return DIR_ERR_MALFORMED;
        }
    }
    dataOffset = META_START + static_cast<unsigned int>(running);
    memcpy(info.preamble, buf, DIR_PREAMBLE_SIZE);

    DcElemList meta(buf + META_START, static_cast<unsigned int>(running), UID_LITTLE_ENDIAN_EXPLICIT);
    free(buf);
    readVersion(meta, info);
    copyUid(meta, T_0002_0002_mediaStoredSopClassUid, info.sopClassUid);
    copyText(meta, T_0002_0003_mediaStoredSopInstanceUid, info.sopInstanceUid, DIR_UID_MAX);
    copyUid(meta, T_0002_0010_transferSyntaxUid, info.xferSyn);
    copyText(meta, T_0002_0012_implementationClassUid, info.implClassUid, DIR_UID_MAX);
    copyText(meta, T_0002_0013_implementationVersionName, info.implVerName, DIR_AE_TITLE_MAX);
    copyText(meta, T_0002_0016_sourceApplicationEntityTitle, info.sourceAeTitle, DIR_AE_TITLE_MAX);
    copyText(meta, T_0002_0100_privateInformationCreatorUid, info.pvtInfoCreatorUid, DIR_UID_MAX);
    readPrivateInfo(meta, info);
    return 0;
}

int dirReadFile(const char* path, DcDirMetaInfo& info, DcElemList& list)
{
    unsigned int dataOffset = 0;
    int metaStatus = dirReadFileMetaInfo(path, info, dataOffset);
    if (metaStatus != 0 && metaStatus != DIR_ERR_NO_META)
        return metaStatus;
    struct stat status;
    if (stat(path, &status) != 0) {
        logReport(LOG_CHANNEL_2, "dirReadFile", "stat error file '%s'", path);
        return DIR_ERR_STAT;
    }
    if (status.st_size > DIR_SIZE_LIMIT) {
        logReport(LOG_CHANNEL_2, "dirReadFile", "File '%s', size exceeds limit of %d Mbyte", path,
                  DIR_SIZE_LIMIT_MBYTES);
        return DIR_ERR_SIZE_LIMIT;
    }
    int handle = open(path, O_RDONLY);
    if (handle == -1) {
        logReport(LOG_CHANNEL_2, "dirReadFile", "Error opening file '%s'", path);
        return DIR_ERR_OPEN;
    }
    size_t size = static_cast<size_t>(status.st_size);
    unsigned char* buf = static_cast<unsigned char*>(malloc(size ? size : 1));
    size_t got = buf != nullptr ? dirReadAt(handle, buf, size, 0) : 0;
    close(handle);
    if (buf == nullptr || got != size) {
        free(buf);
        logReport(LOG_CHANNEL_2, "dirReadFile", "Read error");
        return DIR_ERR_IO;
    }

    list.destroyAllNodes();
    if (metaStatus == 0) {
        if (dataOffset < size) {
            unsigned int len = static_cast<unsigned int>(size - dataOffset);
            list.parse(buf + dataOffset, len, info.xferSyn);
        }
    } else {
        unsigned int len = static_cast<unsigned int>(size);
        list.parse(buf, len, UID_LITTLE_ENDIAN_IMPLICIT);
    }
    free(buf);

    if (metaStatus == DIR_ERR_NO_META)
        dirTakeBareMetaInfo(info, list);
    return 0;
}

// The DICOMDIR file set: reading and writing the directory file.
#include "media/DcDirDicomDir.h"

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "dictionary/DcDict.h"
#include "foundation/DcLog.h"
#include "media/DcDirRecWalk.h"
#include "media/dirFile.h"
#include "media/dirFileIo.h"
#include "internal/ByteCursor.h"

namespace {

// The attributes of the DICOMDIR data set that describe the record tree.
const unsigned int dataSetStructureTags[] = {
    0x00040000u, T_0004_1130_fileSetId, T_0004_1200_offsetOfTheFirstDirectoryRecordOfTheRootDirectoryEntity,
    T_0004_1202_offsetOfTheLastDirectoryRecordOfTheRootDirectoryEntity, T_0004_1212_fileSetConsistencyFlag,
    T_0004_1220_directoryRecordSequence};

// Tag, "SQ", two reserved bytes and the 4-byte length.
const unsigned int SEQUENCE_HEADER_SIZE = 12;

void setOffsetValue(DcElemList& list, unsigned int tag, unsigned int value)
{
    DcElem* elem = nullptr;
    if (list.getElem(tag, &elem) == 0) {
        elem->deleteAllValues();
        elem->addValue(value);
    }
}

DcDirRec* findRefFile(DcDirRec* rec, const char* fileId)
{
    for (DcDirRec* child = rec->first(); child != nullptr; child = child->next()) {
        DcDirRecInfo info;
        child->getInfo(info);
        if (strcmp(info.fileId, fileId) == 0)
            return child;
        if (DcDirRec* found = findRefFile(child, fileId))
            return found;
    }
    return nullptr;
}

}

DcDirDicomDir::DcDirDicomDir(const char* rootPath) : DcDirRec(DIR_REC_DICOMDIR), consistencyFlag(0)
{
    fileSetId[0] = '\0';
    snprintf(root, sizeof root, "%s", rootPath != nullptr ? rootPath : "");
    size_t len = strlen(root);
    while (len > 1 && root[len - 1] == '/')
        root[--len] = '\0';
}

DcDirDicomDir::DcDirDicomDir(const DcDirDicomDir& other) : DcDirRec(DIR_REC_DICOMDIR)
{
    *this = other;
}

DcDirDicomDir& DcDirDicomDir::operator=(const DcDirDicomDir& other)
{
    if (this == &other)
        return *this;
    strcpy(root, other.root);
    strcpy(fileSetId, other.fileSetId);
    consistencyFlag = other.consistencyFlag;
    metaInfo = other.metaInfo;
    copyTreeFrom(const_cast<DcDirDicomDir&>(other));
    return *this;
}

DcDirDicomDir::~DcDirDicomDir() = default;

int DcDirDicomDir::setFileSetId(const char* id)
{
    if (id == nullptr) {
        logReport(LOG_CHANNEL_0, "DcDirDicomDir::setFileSetId", "Null argument passed");
        return DICOMDIR_ERR_NULL_ARG;
    }
    if (strlen(id) > DIR_AE_TITLE_MAX) {
        logReport(LOG_CHANNEL_2, "DcDirDicomDir::setFileSetId", "File-set ID exceeds %d char limit",
                  DIR_AE_TITLE_MAX);
        return DICOMDIR_ERR_PATH;
    }
    strcpy(fileSetId, id);
    return 0;
}

DcDirRec* DcDirDicomDir::getRefFileObj(const char* fileId)
{
    if (fileId == nullptr) {
        logReport(LOG_CHANNEL_0, "DcDirDicomDir::getRefFileObj", "Null argument passed");
        return nullptr;
    }
    if (fileId[0] == '\0')
        return nullptr;
    for (DcDirRec* rec = first(); rec != nullptr; rec = rec->next()) {
        DcDirRecInfo info;
        rec->getInfo(info);
        if (rec->getType() == DIR_REC_MRDR && strcmp(info.fileId, fileId) == 0)
            return rec;
    }
    return findRefFile(this, fileId);
}

void DcDirDicomDir::removeDataSetStructure()
{
    for (unsigned int tag : dataSetStructureTags) {
        DcElem* elem = nullptr;
        if (getElem(tag, &elem) == 0) {
            DcElemList::subtract(elem);
            delete elem;
        }
    }
}

void DcDirDicomDir::moveMrdrsLast()
{
    DcDirRec* stop = nullptr;
    for (DcDirRec* rec = first(); rec != nullptr && rec != stop;) {
        DcDirRec* following = rec->next();
        if (rec->getType() == DIR_REC_MRDR) {
            subtract(rec);
            link(rec);
            if (stop == nullptr)
                stop = rec;
        }
        rec = following;
    }
}

int DcDirDicomDir::read()
{
    const char* name = "DcDirDicomDir::read";
    if (root[0] == '\0') {
        logReport(LOG_CHANNEL_2, name, "Root path not set");
        return DICOMDIR_ERR_PATH;
    }
    std::string path = dirFullPath(root, DICOMDIR_FILE_NAME);
    DcDirMetaInfo info;
    unsigned int dataOffset = 0;
    int status = dirReadFileMetaInfo(path.c_str(), info, dataOffset);
    if (status == DIR_ERR_STAT) {
        logReport(LOG_CHANNEL_2, name, "File '%s' not found", path.c_str());
        return status;
    }
    if (status == DIR_ERR_NO_META ||
        (status == 0 && (info.sopClassUid != UID_MEDIA_STORAGE_DIR_STORAGE || info.xferSyn != UID_LITTLE_ENDIAN_EXPLICIT))) {
        logReport(LOG_CHANNEL_2, name, "'%s' is not a DICOMDIR in Explicit VR Little Endian", path.c_str());
        return DICOMDIR_ERR_NOT_DICOMDIR;
    }
    if (status != 0)
        return status;
    struct stat fileStatus;
    if (stat(path.c_str(), &fileStatus) != 0) {
        logReport(LOG_CHANNEL_2, name, "stat error file '%s'", path.c_str());
        return DIR_ERR_STAT;
    }
    if (fileStatus.st_size > DIR_SIZE_LIMIT) {
        logReport(LOG_CHANNEL_2, name, "File '%s', size exceeds limit of %d Mbyte", path.c_str(), DIR_SIZE_LIMIT_MBYTES);
        return DIR_ERR_SIZE_LIMIT;
    }
    unsigned int size = static_cast<unsigned int>(fileStatus.st_size);
    int handle = open(path.c_str(), O_RDONLY);
    if (handle == -1) {
        logReport(LOG_CHANNEL_2, name, "Error opening file '%s'", path.c_str());
        return DIR_ERR_OPEN;
    }
    std::vector<unsigned char> file(size);
    size_t got = dirReadAt(handle, file.data(), size, 0);
    close(handle);
    if (got != size) {
        logReport(LOG_CHANNEL_2, name, "Read error");
        return DIR_ERR_IO;
    }

    clearTree();
    destroyAllNodes();
    if (dataOffset < size) {
        unsigned int len = size - dataOffset;
        DcElemList::parse(file.data() + dataOffset, len, UID_LITTLE_ENDIAN_EXPLICIT);
    }
    char id[DIR_UID_MAX + 1] = "";
    unsigned int firstOffset = 0;
    unsigned short flag = 0;
    getValue(T_0004_1130_fileSetId, id, DIR_UID_MAX, ELEM_VAL_INDEX_KEEP);
    getValue(T_0004_1200_offsetOfTheFirstDirectoryRecordOfTheRootDirectoryEntity, firstOffset, ELEM_VAL_INDEX_KEEP);
    getValue(T_0004_1212_fileSetConsistencyFlag, flag, ELEM_VAL_INDEX_KEEP);
    removeDataSetStructure();
    snprintf(fileSetId, sizeof fileSetId, "%s", id);
    consistencyFlag = flag;
    metaInfo = info;

    DcDirRecWalk walk(file.data(), size);
    if (firstOffset != 0) {
        parseChain(this, walk, firstOffset);
        resolveMrdrs(this, walk);
    }
    return walk.status;
}

int DcDirDicomDir::frameFile(std::vector<unsigned char>& file)
{
    metaInfo.sopClassUid = UID_MEDIA_STORAGE_DIR_STORAGE;
    metaInfo.xferSyn = UID_LITTLE_ENDIAN_EXPLICIT;
    if (metaInfo.sopInstanceUid[0] == '\0')
        Dict.genUid(metaInfo.sopInstanceUid);
    dirFillImplClassUid(metaInfo);
    int status = dirCheckMetaInfo(metaInfo);
    if (status != 0)
        return status;
    dirFrameMetaHeader(metaInfo, file);
    size_t metaSize = file.size();
    moveMrdrsLast();

    removeDataSetStructure();
    DcElemList tail;
    while (DcElemList::last() != nullptr) {
        unsigned int tag = 0;
        DcElemList::last()->getTag(tag);
        if (tag <= T_0004_1220_directoryRecordSequence)
            break;
        DcElem* elem = DcElemList::last();
        DcElemList::subtract(elem);
        tail.add(elem);
    }
    DcElemList::add(fileSetId[0] != '\0' ? new DcElem(T_0004_1130_fileSetId, fileSetId)
                                         : new DcElem(T_0004_1130_fileSetId));
    DcElemList::add(new DcElem(T_0004_1200_offsetOfTheFirstDirectoryRecordOfTheRootDirectoryEntity, 0u));
    DcElemList::add(new DcElem(T_0004_1202_offsetOfTheLastDirectoryRecordOfTheRootDirectoryEntity, 0u));
    DcElemList::add(new DcElem(T_0004_1212_fileSetConsistencyFlag, consistencyFlag));

    unsigned int headBound = 0, recordsBound = 0, tailBound = 0;
    DcElemList::getBufSize(headBound);
    for (DcDirRec* rec = first(); rec != nullptr; rec = rec->next()) {
        unsigned int size = 0;
        rec->getBufSize(size, DIR_CHILD_INCLUDE);
        recordsBound += size;
    }
    tail.getBufSize(tailBound);
    file.resize(metaSize + headBound + SEQUENCE_HEADER_SIZE + recordsBound + tailBound);

    unsigned int headLen = 0;
    DcElemList::frame(file.data() + metaSize, headLen, UID_LITTLE_ENDIAN_EXPLICIT);
    unsigned int base = static_cast<unsigned int>(metaSize) + headLen + SEQUENCE_HEADER_SIZE;
    unsigned int end = base;
    // The first pass gives every record its offset, the second writes the
    // offsets of next siblings and lower levels that the first could not know.
    for (int pass = 0; pass < 2; ++pass) {
        status = 0;
        end = base;
        for (DcDirRec* rec = first(); rec != nullptr; rec = rec->next()) {
            unsigned int len = 0;
            int recStatus = rec->frame(file.data(), end, len, DIR_CHILD_INCLUDE);
            if (status == 0)
                status = recStatus;
            end += len;
        }
    }
    DcDirRec* firstRoot = first();
    DcDirRec* lastRoot = last();
    while (lastRoot != nullptr && lastRoot->getType() == DIR_REC_MRDR)
        lastRoot = lastRoot->previous();
    if (lastRoot == nullptr)
        firstRoot = nullptr;
    setOffsetValue(*this, T_0004_1200_offsetOfTheFirstDirectoryRecordOfTheRootDirectoryEntity,
                   firstRoot != nullptr ? firstRoot->getOffset() : 0);
    setOffsetValue(*this, T_0004_1202_offsetOfTheLastDirectoryRecordOfTheRootDirectoryEntity,
                   lastRoot != nullptr ? lastRoot->getOffset() : 0);
    DcElemList::frame(file.data() + metaSize, headLen, UID_LITTLE_ENDIAN_EXPLICIT);

    unsigned char* sequence = file.data() + base - SEQUENCE_HEADER_SIZE;
    brenik3::ByteWriter head(sequence, SEQUENCE_HEADER_SIZE, false);
    head.tag(T_0004_1220_directoryRecordSequence);
    head.bytes("SQ\0\0", 4);
    head.u32(end - base);
    unsigned int tailLen = 0;
    if (tail.first() != nullptr)
        tail.frame(file.data() + end, tailLen, UID_LITTLE_ENDIAN_EXPLICIT);
    file.resize(end + tailLen);
    removeDataSetStructure();
    tail.moveElem(this);
    return status;
}

int DcDirDicomDir::write()
{
    const char* name = "DcDirDicomDir::write";
    if (root[0] == '\0') {
        logReport(LOG_CHANNEL_2, name, "Root path not set");
        return DICOMDIR_ERR_PATH;
    }
    std::vector<unsigned char> file;
    int status = frameFile(file);
    if (file.empty())
        return status;
    std::string path = dirFullPath(root, DICOMDIR_FILE_NAME);
    FILE* out = fopen(path.c_str(), "wb");
    if (out == nullptr) {
        logReport(LOG_CHANNEL_2, name, "Error opening file - '%s'", path.c_str());
        return DICOMDIR_ERR_WRITE;
    }
    bool written = fwrite(file.data(), 1, file.size(), out) == file.size();
    if (fclose(out) != 0 || !written) {
        logReport(LOG_CHANNEL_2, name, "Write error, disk may be full");
        return DICOMDIR_ERR_WRITE;
    }
    return status;
}

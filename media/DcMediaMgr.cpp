// Media storage services on a DICOMDIR file set.
#include "media/DcMediaMgr.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include "foundation/DcLog.h"
#include "foundation/util.h"
#include "media/dirFile.h"
#include "media/dirFileIo.h"

namespace {

enum { SYSTEM_TEXT_MAX = 120 };

struct Grants {
    bool write, read, remove, inquireFile, inquireFileSet;
};

Grants grantsOf(MEDIA_ROLE role)
{
    switch (static_cast<int>(role)) {
    case 0: return {false, false, false, false, false};
    case 1: return {true, false, false, false, true};
    case 2: return {false, true, false, true, false};
    case 3: return {true, true, false, true, true};
    case 4: case 5: case 6: case 7: return {true, true, true, true, true};
    default: return {false, false, false, false, false};
    }
}

int refuse(const char* function, const char* service)
{
    logReport(LOG_CHANNEL_2, function, "Media Manager does not have %s permission", service);
    return MEDIA_ERR_PERMISSION;
}

void toDateTime(time_t when, DcElemValueDT& value)
{
    struct tm local;
    localtime_r(&when, &local);
    value.year = local.tm_year + 1900;
    value.month = local.tm_mon + 1;
    value.day = local.tm_mday;
    value.hour = local.tm_hour;
    value.minute = local.tm_min;
    value.second = static_cast<double>(local.tm_sec);
}

}

DcMediaMgr::DcMediaMgr(MEDIA_ROLE mediaRole, const char* rootPath) : DcDirDicomDir(rootPath), role(mediaRole) {}

DcMediaMgr::~DcMediaMgr() = default;

int DcMediaMgr::mWrite(DcDirRec* rec, const char* fileId, DcDirMetaInfo& info, DcElemList& list)
{
    const char* name = "DcMediaMgr::mWrite";
    if (rec == nullptr || fileId == nullptr) {
        logReport(LOG_CHANNEL_0, name, "Null argument passed");
        return MEDIA_ERR_NULL_ARG;
    }
    if (!grantsOf(role).write)
        return refuse(name, "M-WRITE");
    char root[DIR_PATH_MAX];
    getRootPath(root);
    int status = dirWriteFile(dirFullPath(root, fileId).c_str(), info, list);
    if (status != 0)
        return status;
    status = rec->setRefFile(fileId);
    if (status != 0)
        return status;
    return write();
}

int DcMediaMgr::mRead(const char* fileId, DcDirMetaInfo& info, DcElemList& list)
{
    const char* name = "DcMediaMgr::mRead";
    if (fileId == nullptr) {
        logReport(LOG_CHANNEL_0, name, "Null argument passed");
        return MEDIA_ERR_NULL_ARG;
    }
    if (!grantsOf(role).read)
        return refuse(name, "M-READ");
    if (getRefFileObj(fileId) == nullptr) {
        logReport(LOG_CHANNEL_2, name, "File ID '%s' not found in DICOMDIR", fileId);
        return MEDIA_ERR_NOT_FOUND;
    }
    char root[DIR_PATH_MAX];
    getRootPath(root);
    return dirReadFile(dirFullPath(root, fileId).c_str(), info, list);
}

int DcMediaMgr::mDelete(const char* fileId)
{
    const char* name = "DcMediaMgr::mDelete";
    if (fileId == nullptr) {
        logReport(LOG_CHANNEL_0, name, "Null argument passed");
        return MEDIA_ERR_NULL_ARG;
    }
    if (!grantsOf(role).remove)
        return refuse(name, "M-DELETE");
    DcDirRec* rec = getRefFileObj(fileId);
    if (rec == nullptr) {
        logReport(LOG_CHANNEL_2, name, "File ID '%s' not found in DICOMDIR", fileId);
        return MEDIA_ERR_NOT_FOUND;
    }
    DcDirRecInfo info;
    rec->getInfo(info);
    if (rec->getType() == DIR_REC_MRDR && info.inUse == DIR_REC_ACTIVE && info.refCount != 0) {
        logReport(LOG_CHANNEL_2, name, "File ID '%s' referred by in-use MRDR", fileId);
        return MEDIA_ERR_MRDR_IN_USE;
    }
    char root[DIR_PATH_MAX];
    getRootPath(root);
    std::string path = dirFullPath(root, fileId);
    if (remove(path.c_str()) != 0) {
        logReport(LOG_CHANNEL_2, name, "Error in removing '%s'", path.c_str());
        return MEDIA_ERR_REMOVE;
    }
    rec->setRefFile("");
    return write();
}

int DcMediaMgr::mInquireFile(const char* fileId, DcElemValueDT& created, DcElemValueDT& modified)
{
    const char* name = "DcMediaMgr::mInquireFile";
    if (!grantsOf(role).inquireFile)
        return refuse(name, "M-INQUIRE FILE");
    if (fileId == nullptr) {
        logReport(LOG_CHANNEL_0, name, "Null argument passed");
        return MEDIA_ERR_NULL_ARG;
    }
    created.reset();
    modified.reset();
    char root[DIR_PATH_MAX];
    getRootPath(root);
    std::string path = dirFullPath(root, fileId);
    struct stat status;
    if (stat(path.c_str(), &status) != 0) {
        logReport(LOG_CHANNEL_2, name, "stat error file '%s'", path.c_str());
        return MEDIA_ERR_STAT;
    }
    // The inode change time stands for the creation time, which POSIX does not keep.
    toDateTime(status.st_ctime, created);
    toDateTime(status.st_mtime, modified);
    return 0;
}

int DcMediaMgr::mInquireFileSet(unsigned int& freeBytes)
{
    const char* name = "DcMediaMgr::mInquireFileSet";
    if (!grantsOf(role).inquireFileSet)
        return refuse(name, "M-INQUIRE FILE-SET");
    char root[DIR_PATH_MAX];
    getRootPath(root);
    struct statvfs volume;
    if (statvfs(root, &volume) != 0) {
        char text[SYSTEM_TEXT_MAX + 1];
        snprintf(text, sizeof text, "%s", strerror(errno));
        utilRemoveSpace(text, UTIL_SPACE_LEADING | UTIL_SPACE_TRAILING);
        logReport(LOG_CHANNEL_2, name, "'%s', %s", root, text);
        freeBytes = 0;
        return MEDIA_ERR_NOT_FOUND;
    }
    unsigned long long available = static_cast<unsigned long long>(volume.f_bavail) * volume.f_frsize;
    freeBytes = static_cast<unsigned int>(available & 0xFFFFFFFFULL);
    return 0;
}

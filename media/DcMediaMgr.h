#ifndef BRENIK3_MEDIA_DCMEDIAMGR_H
#define BRENIK3_MEDIA_DCMEDIAMGR_H

#include "dataset/DcElemList.h"
#include "dataset/DcElemValue.h"
#include "media/DcDirDicomDir.h"
#include "media/DcDirMetaInfo.h"
#include "media/DcDirRec.h"
#include "foundation/Export.h"

// Status codes of the media manager (module 0x5A).
enum {
    MEDIA_ERR_STAT = 0x5A01,          // the file's status could not be obtained
    MEDIA_ERR_MRDR_IN_USE = 0x5A02,   // the file is referred to by an MRDR in use
    MEDIA_ERR_NOT_FOUND = 0x5A03,     // File ID not in the DICOMDIR; free space not obtained
    MEDIA_ERR_NULL_ARG = 0x5A04,
    MEDIA_ERR_REMOVE = 0x5A05,        // the file could not be removed
    MEDIA_ERR_PERMISSION = 0x5A06     // the role does not grant the service
};

// Roles: 1 creates a file set, 2 reads one, 4 updates one; values combine by
// addition. 8 and above grant nothing.
enum MEDIA_ROLE : int {
    MEDIA_ROLE_NONE = 0,
    MEDIA_ROLE_FSC = 1,
    MEDIA_ROLE_FSR = 2,
    MEDIA_ROLE_FSC_FSR = 3,
    MEDIA_ROLE_FSU = 4,
    MEDIA_ROLE_FSU_FSC = 5,
    MEDIA_ROLE_FSU_FSR = 6,
    MEDIA_ROLE_FSU_FSC_FSR = 7
};

// The media storage services on the files of a DICOMDIR file set, each
// granted or refused by the role. Every change of the set rewrites the
// DICOMDIR. Call read() first to work on an existing file set.
class BRENIK3_API DcMediaMgr : public DcDirDicomDir {
public:
    DcMediaMgr(MEDIA_ROLE role, const char* rootPath);
    DcMediaMgr(const DcMediaMgr& other) = default;
    DcMediaMgr& operator=(const DcMediaMgr& other) = default;
    ~DcMediaMgr() override;

    // Writes list as the file fileId and makes rec (a record of this tree)
    // refer to it.
    int mWrite(DcDirRec* rec, const char* fileId, DcDirMetaInfo& info, DcElemList& list);
    int mRead(const char* fileId, DcDirMetaInfo& info, DcElemList& list);
    int mDelete(const char* fileId);
    // Creation and last modification times of a file, in local time.
    int mInquireFile(const char* fileId, DcElemValueDT& created, DcElemValueDT& modified);
    // Free bytes available to the caller on the volume of the root path,
    // modulo 2 to the power 32.
    int mInquireFileSet(unsigned int& freeBytes);

    MEDIA_ROLE getRole() { return role; }

private:
    MEDIA_ROLE role;
};

#endif

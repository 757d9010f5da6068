#ifndef BRENIK3_MEDIA_DCDIRMETAINFO_H
#define BRENIK3_MEDIA_DCDIRMETAINFO_H

#include <cstdio>
#include <memory>

#include "dictionary/DcDictTypes.h"
#include "foundation/Export.h"

// Status codes of the file functions and the directory records (module 0x58).
enum {
    DIR_ERR_MALFORMED = 0x5801,       // meta group malformed; File ID too long
    DIR_ERR_NO_META = 0x5802,         // no "DICM" marker (not fatal to dirReadFile)
    DIR_ERR_BAD_FILE_ID = 0x5803,     // File ID refused
    DIR_ERR_IO = 0x5804,              // read or write error
    DIR_ERR_OPEN = 0x5805,            // file could not be opened
    DIR_ERR_SEEK = 0x5806,            // seek error in the pixel data file
    DIR_ERR_SIZE_LIMIT = 0x5807,      // size limit exceeded
    DIR_ERR_STAT = 0x5808,            // file status not obtained
    DIR_ERR_OFFSET = 0x5809,          // record offset outside the data
    DIR_ERR_HIERARCHY = 0x580A,       // record not allowed at that level
    DIR_ERR_INVALID = 0x580B,         // meta information or record incomplete or invalid
    DIR_ERR_LOOP = 0x580C,            // record offsets form a loop or nest too deep
    DIR_ERR_NULL_ARG = 0x580D,        // null argument
    DIR_ERR_FILE_POSITION = 0x4407    // current file position not obtained
};

enum {
    DIR_UID_MAX = 64,
    DIR_AE_TITLE_MAX = 16,
    DIR_PREAMBLE_SIZE = 128,
    DIR_SIZE_LIMIT = 0x8000000,       // 128 Mbyte
    DIR_SIZE_LIMIT_MBYTES = 128
};

// The implementation version name written by default.
#define DIR_DEFAULT_IMPL_VER_NAME "Dunmarrow Brenik"

// The file meta information of a file (group 0002). A plain record; copies
// share the private information bytes read from a file.
struct BRENIK3_API DcDirMetaInfo {
    unsigned char preamble[DIR_PREAMBLE_SIZE];
    unsigned int version;
    DICT_UID sopClassUid;
    char sopInstanceUid[DIR_UID_MAX + 1];
    DICT_UID xferSyn;
    char implClassUid[DIR_UID_MAX + 1];
    char implVerName[DIR_AE_TITLE_MAX + 1];
    char sourceAeTitle[DIR_AE_TITLE_MAX + 1];
    char pvtInfoCreatorUid[DIR_UID_MAX + 1];
    unsigned char* pvtInfo;
    unsigned int pvtInfoLen;

    DcDirMetaInfo();
    DcDirMetaInfo(const DcDirMetaInfo& other) = default;
    DcDirMetaInfo& operator=(const DcDirMetaInfo& other) = default;

    void reset();
    void printInfo(FILE* stream);

    // Keeps the private information read from a file alive; pvtInfo points
    // into it. A caller's own pvtInfo bytes are never owned or freed.
    std::shared_ptr<unsigned char[]> pvtInfoStore;
};

#endif

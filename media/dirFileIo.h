#ifndef BRENIK3_MEDIA_DIRFILEIO_H
#define BRENIK3_MEDIA_DIRFILEIO_H

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/types.h>
#include <unistd.h>

#include "dataset/DcElemList.h"
#include "media/DcDirMetaInfo.h"
#include "internal/Version.h"

// Helpers shared by the file readers and writers of this folder.

// Reads len bytes at offset of an open file into buf, going on after short
// reads; returns the number of bytes read (less than len at end of file or
// on an error).
inline size_t dirReadAt(int handle, unsigned char* buf, size_t len, off_t offset)
{
    size_t done = 0;
    while (done < len) {
        ssize_t got = pread(handle, buf + done, len - done, offset + static_cast<off_t>(done));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        done += static_cast<size_t>(got);
    }
    return done;
}

// The native path of a file of a file set: the root path, "/", and the File
// ID with its "\" separators turned into "/".
inline std::string dirFullPath(const char* root, const char* fileId)
{
    std::string path = std::string(root) + "/" + fileId;
    for (size_t i = path.size() - strlen(fileId); i < path.size(); ++i)
        if (path[i] == '\\')
            path[i] = '/';
    return path;
}

// The implementation class UID written when the caller sets none.
inline void dirFillImplClassUid(DcDirMetaInfo& info)
{
    if (info.implClassUid[0] == '\0')
        strcpy(info.implClassUid, BRENIK3_IMPL_CLASS_UID);
}

// The record of a file read without meta information: reset, Implicit VR
// Little Endian, SOP class and instance from the data set, the bare UID root
// as implementation class; the list's value counts are reset.
void dirTakeBareMetaInfo(DcDirMetaInfo& info, DcElemList& list);

#endif

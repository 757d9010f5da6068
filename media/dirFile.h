#ifndef BRENIK3_MEDIA_DIRFILE_H
#define BRENIK3_MEDIA_DIRFILE_H

#include <cstdio>
#include <vector>

#include "dataset/DcElemList.h"
#include "media/DcDirMetaInfo.h"
#include "foundation/Export.h"

// Reading and writing single files: a 128-byte preamble, "DICM", the meta
// group 0002 in Explicit VR Little Endian and the data set in the transfer
// syntax the meta group names. Every function returns 0 or a status code
// (DIR_ERR_*, or a dictionary status) after reporting through the log.

// The preamble and meta group of the file at path into info; dataOffset is
// where the data set begins (0 without meta information, DIR_ERR_NO_META).
BRENIK3_API int dirReadFileMetaInfo(const char* path, DcDirMetaInfo& info, unsigned int& dataOffset);

// The whole file: meta information into info, data set into list (whose
// elements are destroyed first). A file without meta information is read as
// Implicit VR Little Endian from its first byte. Files above 128 Mbyte are
// refused (DIR_ERR_SIZE_LIMIT).
BRENIK3_API int dirReadFile(const char* path, DcDirMetaInfo& info, DcElemList& list);

// Like dirReadFile, for files of any size: everything but the value of the
// top-level Pixel Data (7FE0,0010) is read into list, and Pixel Data gets a
// disk buffer on its own handle of the file (offset and length of the value;
// the fragments without their closing delimiter when encapsulated). Writing
// such a list with dirWriteFile streams the pixels from the file. The 128
// Mbyte limit applies to the bytes read into memory; files up to 2 Gbyte
// are taken (disk buffer offsets are ints).
BRENIK3_API int dirReadFileHeader(const char* path, DcDirMetaInfo& info, DcElemList& list);

// Writes list as a file at path, completing unset fields of info from the
// data set; list keeps its elements whatever the outcome. Pixel Data held on
// disk is copied from its file in 16384-byte chunks.
BRENIK3_API int dirWriteFile(const char* path, DcDirMetaInfo& info, DcElemList& list);

// Where dirWriteFileStreamed takes the Pixel Data value from: writeValue
// is called once, with out positioned where the value begins, and writes
// the whole value (for encapsulated syntaxes the offset table item and the
// fragments, without the closing delimiter, which the writer adds). written
// is set to the number of bytes written; the return is 0 or a status, which
// the writer returns in turn.
class BRENIK3_API DirPixelSource {
public:
    virtual ~DirPixelSource() = default;
    virtual int writeValue(FILE* out, unsigned long long& written) = 0;
};

// Like dirWriteFile, with the value of the top-level Pixel Data produced by
// source while the file is written, so that it need never be held whole.
// The list's Pixel Data must hold one disk buffer (DIR_ERR_INVALID
// otherwise); its VR is written, and its length stands for the value's
// (encapsulated values get an undefined length). The buffer's bytes are
// not read. A (7FE0,0000) group length is set from the length written.
BRENIK3_API int dirWriteFileStreamed(const char* path, DcDirMetaInfo& info, DcElemList& list, DirPixelSource& source);

// Checks info before writing and fills the default implementation version name.
BRENIK3_API int dirCheckMetaInfo(DcDirMetaInfo& info);

// The preamble, "DICM" and the meta group of info, appended to out.
BRENIK3_API void dirFrameMetaHeader(DcDirMetaInfo& info, std::vector<unsigned char>& out);

// Writes dirFrameMetaHeader's bytes to stream; DIR_ERR_IO on a short write.
BRENIK3_API int dirWriteMetaHeader(FILE* stream, DcDirMetaInfo& info);

#endif

#ifndef BRENIK3_CODEC_CODECFILE_H
#define BRENIK3_CODEC_CODECFILE_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "codec/CodecTypes.h"

struct DcDirMetaInfo;
class DcElemList;

// Reading and writing files in every transfer syntax the codec library
// knows, Deflated Explicit VR Little Endian included. Both register the
// added syntaxes first and return 0 or a status (DIR_ERR_*, CODEC_ERR_*).

// Like dirReadFile; a deflated data set is inflated first, and a file over
// the in-memory limit is read with its Pixel Data left on disk.
int codecReadFile(const char* path, DcDirMetaInfo& info, DcElemList& list);

// Like codecReadFile, with the value of the top-level Pixel Data left on
// disk whatever the file's size (dirReadFileHeader), so that its frames are
// read one at a time; a deflated data set is still inflated whole.
int codecReadFileHeader(const char* path, DcDirMetaInfo& info, DcElemList& list);

// Like dirWriteFile; when info names the deflated syntax the data set is
// written in Explicit VR Little Endian and compressed.
int codecWriteFile(const char* path, DcDirMetaInfo& info, DcElemList& list);

// Writes list, a data set held in syntax info.xferSyn, at path in syntax
// to, converting its Pixel Data one frame at a time while the file is
// written: each frame is read, decoded, encoded and written before the
// next, so that with the pixels left on disk (codecReadFileHeader) memory
// stays bounded by one frame in, one frame out and the rest of the data
// set. Encapsulated results get one fragment per frame and a filled offset
// table. The attributes change as codecConvert changes them (the list's
// Pixel Data element itself is left as it was) and info takes syntax to.
// The file is written under a temporary name next to path and renamed
// when complete: on failure nothing is left at path. A deflated result is
// built whole in memory. Returns 0, a CODEC_ERR_* status of the
// conversion (CODEC_ERR_LOSSY when lossy and not allowed), or a DIR_ERR_*
// status of writing.
int codecWriteConverted(const char* path, DcDirMetaInfo& info, DcElemList& list, DICT_UID to,
                        const CodecOptions& options, bool allowLossy);

// Raw deflate streams (no zlib header), as the deflated syntax carries them.
// Inflating stops with CODEC_ERR_TOO_LARGE past limit bytes of output.
int codecInflate(const uint8_t* data, size_t size, size_t limit, std::vector<uint8_t>& out);
int codecDeflateBytes(const uint8_t* data, size_t size, std::vector<uint8_t>& out);

#endif

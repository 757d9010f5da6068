#ifndef BRENIK3_CODEC_CODECFILE_H
#define BRENIK3_CODEC_CODECFILE_H

#include <cstddef>
#include <cstdint>
#include <vector>

struct DcDirMetaInfo;
class DcElemList;

// Reading and writing files in every transfer syntax the codec library
// knows, Deflated Explicit VR Little Endian included. Both register the
// added syntaxes first and return 0 or a status (DIR_ERR_*, CODEC_ERR_*).

// Like dirReadFile; a deflated data set is inflated first, and a file over
// the in-memory limit is read with its Pixel Data left on disk.
int codecReadFile(const char* path, DcDirMetaInfo& info, DcElemList& list);

// Like dirWriteFile; when info names the deflated syntax the data set is
// written in Explicit VR Little Endian and compressed.
int codecWriteFile(const char* path, DcDirMetaInfo& info, DcElemList& list);

// Raw deflate streams (no zlib header), as the deflated syntax carries them.
// Inflating stops with CODEC_ERR_TOO_LARGE past limit bytes of output.
int codecInflate(const uint8_t* data, size_t size, size_t limit, std::vector<uint8_t>& out);
int codecDeflateBytes(const uint8_t* data, size_t size, std::vector<uint8_t>& out);

#endif

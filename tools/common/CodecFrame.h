#ifndef BRENIK3_TOOLS_CODECFRAME_H
#define BRENIK3_TOOLS_CODECFRAME_H

#include <string>
#include <vector>

#include <Brenik3.h>

namespace b3tool {

// Native little-endian pixels of frame index (from 0) of a data set held in
// any transfer syntax the codec library decodes. photometric receives the
// decoded photometric interpretation (a colour JPEG comes out as RGB). On
// failure problem says why.
bool decodeFrame(DcElemList& list, DICT_UID xfer, unsigned int index, std::vector<unsigned char>& pixels,
                 std::string& photometric, std::string& problem);

// Reads a file in any syntax the codec library knows (deflated, large).
int readAnyFile(const std::string& path, DcDirMetaInfo& meta, DcElemList& list);

// Which frames of one file decode.
struct FrameReport {
    bool readable = false;  // the file could be read at all
    bool decodable = false;  // every frame decodes (or the file holds no image)
    std::string text;  // "3 of 4 frames decodable; cannot decode frame 2", "no image", ...
};

// Decodes every frame of the file at path, one at a time, and says which
// ones fail.
FrameReport checkFrames(const std::string& path);

// b3-dump --frames: prints "path: " and the report of checkFrames, or an
// error when the file cannot be read. Returns false when the file cannot be
// read or a frame fails.
bool reportFrames(const char* program, const std::string& path);

}

#endif

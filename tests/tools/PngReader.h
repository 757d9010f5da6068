#ifndef BRENIK3_TESTS_TOOLS_PNGREADER_H
#define BRENIK3_TESTS_TOOLS_PNGREADER_H

// A small PNG reader for checking what b3-png writes: checks every chunk's
// CRC, the zlib header and Adler-32, and inflates stored deflate blocks
// (the only kind the writer makes). Filter type 0 (none) only.
#include <cstdint>
#include <string>
#include <vector>

struct PngPicture {
    uint32_t width = 0;
    uint32_t height = 0;
    int bitDepth = 0;
    int colourType = -1;
    std::vector<std::string> chunks;   // chunk types in file order
    std::vector<uint8_t> scanLines;    // inflated IDAT data, filter bytes included

    int channels() const { return colourType == 2 ? 3 : 1; }
    // Sample c of pixel (x, y).
    unsigned int sample(uint32_t x, uint32_t y, int c = 0) const;
};

// Returns "" on success, else what is wrong with the file.
std::string readPng(const std::string& bytes, PngPicture& picture);

#endif

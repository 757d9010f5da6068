#ifndef BRENIK3_TOOLS_PNG_H
#define BRENIK3_TOOLS_PNG_H

#include <cstdint>
#include <string>
#include <vector>

namespace b3tool {

uint32_t crc32(const uint8_t* data, size_t len, uint32_t crc = 0);
uint32_t adler32(const uint8_t* data, size_t len, uint32_t adler = 1);

// A picture to be written as PNG: grey (1 channel) or RGB (3 channels),
// 8 or 16 bits per sample; samples row by row, channels interleaved, 16-bit
// samples as native unsigned values.
struct PngImage {
    unsigned int width = 0;
    unsigned int height = 0;
    int channels = 1;
    int bitDepth = 8;
    std::vector<uint16_t> samples;
};

// Writes the picture as a PNG file (IHDR, one IDAT holding a zlib stream of
// stored deflate blocks, IEND). Returns false with errno set on a write error.
bool writePng(const std::string& path, const PngImage& image);

}

#endif

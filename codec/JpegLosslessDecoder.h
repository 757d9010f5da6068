#ifndef BRENIK3_CODEC_JPEGLOSSLESSDECODER_H
#define BRENIK3_CODEC_JPEGLOSSLESSDECODER_H

#include <cstddef>
#include <cstdint>
#include <vector>

// A decoder of lossless Huffman JPEG (process 14, every predictor, point
// transform, restart intervals, interleaved or separate scans with one
// sample per component and MCU). Used through the JPEG Lossless codec and
// directly by fuzz targets.
struct JpegLosslessImage {
    unsigned width = 0;
    unsigned height = 0;
    unsigned components = 0;
    unsigned precision = 0;
    // Samples, component-interleaved: (y * width + x) * components + c.
    std::vector<uint16_t> samples;
};

// Decodes the codestream; maxSamples bounds width * height * components.
// Returns 0 or a CODEC_ERR code (CODEC_ERR_CORRUPT, CODEC_ERR_UNSUPPORTED,
// CODEC_ERR_TOO_LARGE).
int jpegLosslessDecode(const uint8_t* data, size_t size, size_t maxSamples, JpegLosslessImage& out);

// Encodes samples (component-interleaved, each below 2^precision) with
// predictor 1 and one optimised Huffman table.
int jpegLosslessEncode(const JpegLosslessImage& image, std::vector<uint8_t>& out);

#endif

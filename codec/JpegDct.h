#ifndef BRENIK3_CODEC_JPEGDCT_H
#define BRENIK3_CODEC_JPEGDCT_H

#include <cstddef>
#include <cstdint>
#include <vector>

// Our own coder of sequential DCT JPEG with Huffman coding (baseline and
// extended, 8- and 12-bit samples), for what libjpeg here does not handle:
// 12-bit images above all. Used through the lossy JPEG codec and directly by
// fuzz targets.
struct JpegDctImage {
    unsigned width = 0;
    unsigned height = 0;
    unsigned components = 0;
    unsigned precision = 0;  // 8 or 12
    // Set by the decoder when it turned YCbCr samples into RGB.
    bool convertedToRgb = false;
    // Samples, component-interleaved: (y * width + x) * components + c.
    std::vector<uint16_t> samples;
};

// Decodes the codestream: 1 to 4 components, sampling factors 1 to 4 that
// divide the largest (chroma upsampled by linear interpolation for halved
// components, by replication otherwise), restart intervals, interleaved and
// separate scans. Three YCbCr components are turned into RGB. maxSamples
// bounds width * height * components. Returns 0 or a CODEC_ERR code
// (CODEC_ERR_CORRUPT, CODEC_ERR_UNSUPPORTED for progressive, arithmetic or
// other precisions, CODEC_ERR_TOO_LARGE).
int jpegDctDecode(const uint8_t* data, size_t size, size_t maxSamples, JpegDctImage& out);

// Encodes one greyscale image (samples below 2^precision, precision 8 or 12)
// as extended sequential DCT JPEG: the usual luminance quantisation table
// scaled to quality (1 to 100, 75 the common choice) and Huffman tables
// optimised for the image; a restart marker every restartInterval blocks
// when not 0. Returns 0 or CODEC_ERR_UNSUPPORTED.
int jpegDctEncode(const JpegDctImage& image, int quality, std::vector<uint8_t>& out, unsigned restartInterval = 0);

#endif

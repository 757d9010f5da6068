#ifndef BRENIK3_CODEC_CODECPIXELS_H
#define BRENIK3_CODEC_CODECPIXELS_H

#include <cstdint>
#include <vector>

#include "codec/CodecTypes.h"

// Moving samples between native frames (CodecImage layout) and
// component-interleaved 16-bit sample arrays, for the codecs that work on
// the latter.

// Samples of a native frame, interleaved, masked to bits stored.
void codecLoadSamples(const uint8_t* pixels, const CodecImage& image, std::vector<uint16_t>& samples);

// Interleaved samples into a native frame of image.frameBytes() bytes; signed
// images get the bits above bits stored filled with the sign.
void codecStoreSamples(const uint16_t* samples, const CodecImage& image, std::vector<uint8_t>& pixels);

// Reorders a frame between pixel-interleaved and planar sample order, in
// either direction (toPlanar tells which).
void codecReorderPlanes(std::vector<uint8_t>& pixels, const CodecImage& image, bool toPlanar);

#endif

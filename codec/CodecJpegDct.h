#ifndef BRENIK3_CODEC_CODECJPEGDCT_H
#define BRENIK3_CODEC_CODECJPEGDCT_H

// The lossy JPEG codec's own path, for what libjpeg here cannot do: 12-bit
// images, and 8-bit ones it refuses. Internal to the codec library.
#include <cstddef>
#include <cstdint>

#include "codec/CodecTypes.h"

// The sample precision of the codestream's frame header, 0 when none is found.
int codecJpegPrecision(const uint8_t* data, size_t size);

// Decodes one frame with our own decoder (sizes already checked).
int codecJpegDctDecode(const uint8_t* data, size_t size, const CodecImage& image, CodecFrame& out);

// Encodes one greyscale frame of 9 to 12 bits stored (sizes already checked).
int codecJpegDctEncode(const uint8_t* pixels, const CodecImage& image, const CodecOptions& options,
                       CodecFrame& out);

#endif

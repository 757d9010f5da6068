#ifndef BRENIK3_CODEC_CODECFUZZ_H
#define BRENIK3_CODEC_CODECFUZZ_H

#include <cstddef>
#include <cstdint>

class PixelCodec;

// Entry points for fuzz targets, each taking arbitrary bytes. They return
// the decoder's status; a decoder must never crash, hang or read or write
// outside its buffers, whatever the bytes.

// The first four bytes choose the image layout (rows and columns 1 to 256,
// 1 or 3 samples, 8 or 16 bits allocated with up to that many stored); the
// rest is one frame's codestream for codec.
int codecFuzzDecode(const PixelCodec& codec, const uint8_t* data, size_t size);

// The first byte is a frame count (1 to 16); the rest an encapsulated Pixel
// Data value whose frames are located and read.
int codecFuzzFrames(const uint8_t* data, size_t size);

// A deflated data set, inflated (at most 16 Mbyte) and parsed.
int codecFuzzInflate(const uint8_t* data, size_t size);

// A DICOM JSON document turned into a data set.
int codecFuzzJson(const uint8_t* data, size_t size);

#endif

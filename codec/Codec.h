#ifndef BRENIK3_CODEC_CODEC_H
#define BRENIK3_CODEC_CODEC_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "codec/CodecTypes.h"

// One pixel codec: turns one frame's codestream into native pixels and
// native pixels into one frame's codestream. Native pixels follow the
// layout of CodecImage. Every operation returns 0 or a CODEC_ERR code after
// reporting through the log; bad codestreams never read or write outside
// the buffers given.
class PixelCodec {
public:
    virtual ~PixelCodec() = default;

    // A short name for messages ("RLE", "JPEG-LS", ...).
    virtual const char* name() const = 0;

    // Decodes one frame into out.bytes (exactly image.frameBytes() bytes);
    // out.photometric names the decoded photometric interpretation when it
    // differs from image.photometric (a colour JPEG decoded to RGB).
    virtual int decode(const uint8_t* data, size_t size, const CodecImage& image, CodecFrame& out) const = 0;

    // Encodes one native frame of image.frameBytes() bytes into out.bytes;
    // out.photometric names the photometric interpretation of the result
    // when it differs. CODEC_ERR_UNSUPPORTED for layouts the codec cannot
    // take.
    virtual int encode(const uint8_t* pixels, size_t size, const CodecImage& image, const CodecOptions& options,
                       CodecFrame& out) const = 0;
};

// The codec of a transfer syntax, or null for native and unknown syntaxes.
const PixelCodec* codecFind(DICT_UID xfer);

// Codecs by kind, also usable on their own.
const PixelCodec& codecRle();
// Lossy JPEG, baseline and extended: 8-bit images through libjpeg; 12-bit
// ones (decoded in grey or colour, encoded in grey, unsigned or without
// negative values) and 8-bit ones libjpeg refuses through our own coder.
const PixelCodec& codecJpegBaseline();
const PixelCodec& codecJpegLossless();   // process 14, first-order prediction
const PixelCodec& codecJpegLs();         // CharLS; NEAR from the options
const PixelCodec& codecJ2k(bool lossless);  // OpenJPEG

// Checks a decoder's input and output sizes before it runs: null data,
// unusable attributes or an output size above the limit give a status.
int codecCheckDecode(const char* function, const uint8_t* data, size_t size, const CodecImage& image);
int codecCheckEncode(const char* function, const uint8_t* pixels, size_t size, const CodecImage& image);
// Reports a codestream whose size, components or bits disagree with the
// image attributes; returns CODEC_ERR_WRONG_SIZE.
int codecWrongSize(const char* function, unsigned width, unsigned height, unsigned components, unsigned bits,
                   const CodecImage& image);

// The largest native frame a decoder produces: 1 Gbyte.
const size_t CODEC_MAX_FRAME_BYTES = size_t(1) << 30;

#endif

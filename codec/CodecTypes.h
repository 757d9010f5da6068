#ifndef BRENIK3_CODEC_CODECTYPES_H
#define BRENIK3_CODEC_CODECTYPES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "dictionary/DcDictTypes.h"

// Status codes of the pixel codecs, frame access and syntax conversion
// (module 0x60).
enum {
    CODEC_ERR_NULL_ARG = 0x6001,        // null argument or empty input
    CODEC_ERR_UNSUPPORTED = 0x6002,     // no codec for the transfer syntax or image layout
    CODEC_ERR_NOT_IMAGE = 0x6003,       // rows, columns or bits allocated missing or invalid
    CODEC_ERR_NO_PIXELS = 0x6004,       // no Pixel Data element
    CODEC_ERR_BAD_ITEMS = 0x6005,       // encapsulated items truncated or malformed
    CODEC_ERR_BAD_OFFSETS = 0x6006,     // offset table points outside the fragments
    CODEC_ERR_FRAME_RANGE = 0x6007,     // frame number outside the object
    CODEC_ERR_CORRUPT = 0x6008,         // codestream cannot be decoded
    CODEC_ERR_WRONG_SIZE = 0x6009,      // decoded frame differs from the image attributes
    CODEC_ERR_ENCODE = 0x600A,          // the encoder failed
    CODEC_ERR_IO = 0x600B,              // pixel bytes on disk could not be read
    CODEC_ERR_LOSSY = 0x600C,           // the conversion would be lossy and was not allowed
    CODEC_ERR_TOO_LARGE = 0x600D        // a size limit was exceeded
};

// The image attributes that decide the layout of native pixels. Native
// pixels are little-endian samples of bitsAllocated / 8 bytes (1 bit is not
// handled), pixel-interleaved when planarConfiguration is 0 and one plane
// per sample when it is 1.
struct CodecImage {
    unsigned int rows = 0;
    unsigned int columns = 0;
    unsigned int samplesPerPixel = 1;
    unsigned int bitsAllocated = 0;
    unsigned int bitsStored = 0;
    unsigned int highBit = 0;
    unsigned int pixelRepresentation = 0;  // 1: signed samples
    unsigned int planarConfiguration = 0;
    unsigned int frames = 1;
    std::string photometric;

    // Bytes of one native frame; 0 when the attributes are unusable.
    size_t frameBytes() const;
    size_t bytesPerSample() const { return bitsAllocated / 8; }
};

// What an encoder is asked for.
struct CodecOptions {
    int quality = 90;          // lossy JPEG quality, 1..100
    int nearLossless = 0;      // JPEG-LS NEAR value; 0 is lossless
    double ratio = 10.0;       // lossy JPEG 2000 compression ratio
};

// The result of an encoder: one frame's codestream and the photometric
// interpretation it carries (empty when unchanged).
struct CodecFrame {
    std::vector<uint8_t> bytes;
    std::string photometric;
};

#endif

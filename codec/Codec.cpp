#include "codec/Codec.h"

#include "codec/CodecSyntax.h"
#include "foundation/DcLog.h"

size_t CodecImage::frameBytes() const
{
    if (rows == 0 || columns == 0 || samplesPerPixel == 0 || samplesPerPixel > 4)
        return 0;
    if (bitsAllocated != 8 && bitsAllocated != 16 && bitsAllocated != 32)
        return 0;
    uint64_t bytes = uint64_t(rows) * columns * samplesPerPixel * (bitsAllocated / 8);
    return bytes > CODEC_MAX_FRAME_BYTES ? 0 : static_cast<size_t>(bytes);
}

int codecCheckDecode(const char* function, const uint8_t* data, size_t size, const CodecImage& image)
{
    if (data == nullptr || size == 0) {
        logReport(LOG_CHANNEL_1, function, "Empty codestream");
        return CODEC_ERR_NULL_ARG;
    }
    if (image.frameBytes() == 0) {
        logReport(LOG_CHANNEL_1, function, "Unusable image attributes: %ux%u, %u samples, %u bits allocated",
                  image.columns, image.rows, image.samplesPerPixel, image.bitsAllocated);
        return CODEC_ERR_NOT_IMAGE;
    }
    if (image.bitsStored == 0 || image.bitsStored > image.bitsAllocated) {
        logReport(LOG_CHANNEL_1, function, "Bits stored %u does not fit in %u bits allocated", image.bitsStored,
                  image.bitsAllocated);
        return CODEC_ERR_NOT_IMAGE;
    }
    return 0;
}

int codecWrongSize(const char* function, unsigned width, unsigned height, unsigned components, unsigned bits,
                   const CodecImage& image)
{
    logReport(LOG_CHANNEL_1, function, "Codestream holds %ux%u, %u components, %u bits; the attributes say %ux%u, %u",
              width, height, components, bits, image.columns, image.rows, image.samplesPerPixel);
    return CODEC_ERR_WRONG_SIZE;
}

int codecCheckEncode(const char* function, const uint8_t* pixels, size_t size, const CodecImage& image)
{
    int status = codecCheckDecode(function, pixels, size, image);
    if (status == 0 && size != image.frameBytes()) {
        logReport(LOG_CHANNEL_1, function, "Frame of %zu bytes, the attributes ask for %zu", size, image.frameBytes());
        return CODEC_ERR_WRONG_SIZE;
    }
    return status;
}

const PixelCodec* codecFind(DICT_UID xfer)
{
    switch (xfer) {
    case UID_RLE_LOSSLESS:
        return &codecRle();
    case UID_JPEG_BASELINE:
    case UID_JPEG_EXTENDED:
        return &codecJpegBaseline();
    case UID_JPEG_LOSSLESS_NO_PREDICTION:
    case UID_JPEG_LOSSLESS_FIRST_ORDER_PREDICTION:
        return &codecJpegLossless();
    default:
        break;
    }
    if (xfer == UID_NONE)
        return nullptr;
    if (xfer == codecJpegLsLossless() || xfer == codecJpegLsNearLossless())
        return &codecJpegLs();
    if (xfer == codecJ2kLossless())
        return &codecJ2k(true);
    if (xfer == codecJ2k())
        return &codecJ2k(false);
    return nullptr;
}

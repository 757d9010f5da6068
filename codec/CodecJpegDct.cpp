#include "codec/CodecJpegDct.h"
#include "codec/Codec.h"

#include "codec/CodecPixels.h"
#include "codec/JpegDct.h"
#include "codec/JpegHuffman.h"
#include "foundation/DcLog.h"

int codecJpegPrecision(const uint8_t* data, size_t size)
{
    if (size < 4 || data[0] != 0xFF || data[1] != 0xD8)
        return 0;
    JpegSegments segments{data, size};
    uint8_t marker = 0;
    const uint8_t* body = nullptr;
    size_t length = 0;
    while (segments.next(marker, body, length) > 0) {
        if (marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC)
            return length > 0 ? body[0] : 0;
        if (marker == 0xDA)
            return 0;
    }
    return 0;
}

int codecJpegDctDecode(const uint8_t* data, size_t size, const CodecImage& image, CodecFrame& out)
{
    const char* fn = "JpegCodec::decode";
    JpegDctImage decoded;
    int status = jpegDctDecode(data, size, size_t(image.rows) * image.columns * image.samplesPerPixel, decoded);
    if (status != 0)
        return status;
    if (decoded.width != image.columns || decoded.height != image.rows ||
        decoded.components != image.samplesPerPixel || decoded.precision > image.bitsAllocated) {
        return codecWrongSize(fn, decoded.width, decoded.height, decoded.components, decoded.precision, image);
    }
    out.photometric.clear();
    if (decoded.convertedToRgb && image.photometric.compare(0, 3, "YBR") == 0)
        out.photometric = "RGB";
    codecStoreSamples(decoded.samples.data(), image, out.bytes);
    return 0;
}

int codecJpegDctEncode(const uint8_t* pixels, const CodecImage& image, const CodecOptions& options, CodecFrame& out)
{
    const char* fn = "JpegCodec::encode";
    if (image.samplesPerPixel != 1 || image.bitsStored > 12 || image.bitsAllocated != 16) {
        logReport(LOG_CHANNEL_1, fn, "Lossy JPEG above 8 bits takes greyscale images of at most 12 bits stored");
        return CODEC_ERR_UNSUPPORTED;
    }
    JpegDctImage source;
    source.width = image.columns;
    source.height = image.rows;
    source.components = 1;
    source.precision = 12;
    codecLoadSamples(pixels, image, source.samples);
    // Negative samples would be coded as large ones: the bit patterns of
    // their two's complement, which no lossy coding keeps close.
    if (image.pixelRepresentation == 1)
        for (uint16_t v : source.samples)
            if (v >> (image.bitsStored - 1)) {
                logReport(LOG_CHANNEL_1, fn, "Lossy JPEG does not take negative pixel values");
                return CODEC_ERR_UNSUPPORTED;
            }
    out.photometric.clear();
    int status = jpegDctEncode(source, options.quality, out.bytes);
    if (status != 0)
        logReport(LOG_CHANNEL_1, fn, "Image layout not encodable");
    return status;
}

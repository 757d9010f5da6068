// JPEG Lossless (process 14) with our own coder: libjpeg here has none.
#include "codec/Codec.h"
#include "codec/CodecPixels.h"
#include "codec/JpegLosslessDecoder.h"
#include "foundation/DcLog.h"

namespace {

class JpegLosslessCodec : public PixelCodec {
public:
    const char* name() const override { return "JPEG Lossless"; }

    int decode(const uint8_t* data, size_t size, const CodecImage& image, CodecFrame& out) const override
    {
        const char* fn = "JpegLosslessCodec::decode";
        int status = codecCheckDecode(fn, data, size, image);
        if (status != 0)
            return status;
        JpegLosslessImage decoded;
        status = jpegLosslessDecode(data, size, size_t(image.rows) * image.columns * image.samplesPerPixel, decoded);
        if (status != 0)
            return status;
        if (decoded.width != image.columns || decoded.height != image.rows ||
            decoded.components != image.samplesPerPixel || decoded.precision > image.bitsAllocated) {
            return codecWrongSize(fn, decoded.width, decoded.height, decoded.components, decoded.precision, image);
        }
        out.photometric.clear();
        codecStoreSamples(decoded.samples.data(), image, out.bytes);
        return 0;
    }

    int encode(const uint8_t* pixels, size_t size, const CodecImage& image, const CodecOptions&,
               CodecFrame& out) const override
    {
        const char* fn = "JpegLosslessCodec::encode";
        int status = codecCheckEncode(fn, pixels, size, image);
        if (status != 0)
            return status;
        if (image.bitsAllocated > 16 || image.bitsStored < 2) {
            logReport(LOG_CHANNEL_1, fn, "Lossless JPEG takes 2 to 16 bits stored");
            return CODEC_ERR_UNSUPPORTED;
        }
        JpegLosslessImage source;
        source.width = image.columns;
        source.height = image.rows;
        source.components = image.samplesPerPixel;
        source.precision = image.bitsStored;
        codecLoadSamples(pixels, image, source.samples);
        out.photometric.clear();
        status = jpegLosslessEncode(source, out.bytes);
        if (status != 0)
            logReport(LOG_CHANNEL_1, fn, "Image layout not encodable");
        return status;
    }
};

}

const PixelCodec& codecJpegLossless()
{
    static JpegLosslessCodec codec;
    return codec;
}

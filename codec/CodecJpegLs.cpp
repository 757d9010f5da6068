// JPEG-LS, lossless and near-lossless, through CharLS.
#include <charls/charls.h>

#include "codec/Codec.h"
#include "codec/CodecPixels.h"
#include "foundation/DcLog.h"

namespace {

struct Decoder {
    charls_jpegls_decoder* handle = charls_jpegls_decoder_create();
    ~Decoder() { charls_jpegls_decoder_destroy(handle); }
};

struct Encoder {
    charls_jpegls_encoder* handle = charls_jpegls_encoder_create();
    ~Encoder() { charls_jpegls_encoder_destroy(handle); }
};

class JpegLsCodec : public PixelCodec {
public:
    const char* name() const override { return "JPEG-LS"; }

    int decode(const uint8_t* data, size_t size, const CodecImage& image, CodecFrame& out) const override
    {
        const char* fn = "JpegLsCodec::decode";
        int status = codecCheckDecode(fn, data, size, image);
        if (status != 0)
            return status;
        // A stream cut short makes the library read on through its zero
        // fill for a very long time; an end-of-image marker stops it.
        std::vector<uint8_t> ended;
        if (size < 2 || data[size - 2] != 0xFF || data[size - 1] != 0xD9) {
            ended.assign(data, data + size);
            ended.push_back(0xFF);
            ended.push_back(0xD9);
            data = ended.data();
            size = ended.size();
        }
        Decoder decoder;
        charls_frame_info info{};
        charls_interleave_mode mode = charls::interleave_mode::none;
        size_t needed = 0;
        charls_jpegls_errc error = decoder.handle ? charls_jpegls_decoder_set_source_buffer(decoder.handle, data, size)
                                                  : charls::jpegls_errc::not_enough_memory;
        if (error == charls::jpegls_errc::success)
            error = charls_jpegls_decoder_read_header(decoder.handle);
        if (error == charls::jpegls_errc::success)
            error = charls_jpegls_decoder_get_frame_info(decoder.handle, &info);
        if (error == charls::jpegls_errc::success)
            error = charls_jpegls_decoder_get_interleave_mode(decoder.handle, &mode);
        if (error != charls::jpegls_errc::success) {
            logReport(LOG_CHANNEL_1, fn, "Corrupt JPEG-LS codestream: %s", charls_get_error_message(error));
            return CODEC_ERR_CORRUPT;
        }
        if (info.width != image.columns || info.height != image.rows ||
            info.component_count != static_cast<int32_t>(image.samplesPerPixel) ||
            info.bits_per_sample > static_cast<int32_t>(image.bitsAllocated)) {
            return codecWrongSize(fn, info.width, info.height, info.component_count, info.bits_per_sample, image);
        }
        error = charls_jpegls_decoder_get_destination_size(decoder.handle, 0, &needed);
        size_t width = info.bits_per_sample > 8 ? 2 : 1;
        size_t count = size_t(info.width) * info.height * info.component_count;
        if (error != charls::jpegls_errc::success || needed != count * width) {
            logReport(LOG_CHANNEL_1, fn, "Unexpected JPEG-LS frame size");
            return CODEC_ERR_WRONG_SIZE;
        }
        // One component in samples of the allocated width, nothing to sign
        // extend: the decoded buffer is the native frame itself.
        bool direct = image.samplesPerPixel == 1 && width * 8 == image.bitsAllocated &&
                      !(image.pixelRepresentation == 1 && image.bitsStored < image.bitsAllocated);
        std::vector<uint8_t> raw;
        std::vector<uint8_t>& decoded = direct ? out.bytes : raw;
        decoded.resize(needed);
        error = charls_jpegls_decoder_decode_to_buffer(decoder.handle, decoded.data(), decoded.size(), 0);
        if (error != charls::jpegls_errc::success) {
            logReport(LOG_CHANNEL_1, fn, "Corrupt JPEG-LS codestream: %s", charls_get_error_message(error));
            out.bytes.clear();
            return CODEC_ERR_CORRUPT;
        }
        out.photometric.clear();
        if (direct)
            return 0;
        std::vector<uint16_t> samples(count);
        unsigned spp = image.samplesPerPixel;
        size_t pixels = size_t(info.width) * info.height;
        for (size_t i = 0; i < count; i++) {
            uint16_t v = width == 2 ? static_cast<uint16_t>(raw[2 * i] | (raw[2 * i + 1] << 8)) : raw[i];
            // Planar streams (no interleave) come one component after another.
            size_t target = mode == charls::interleave_mode::none && spp > 1 ? (i % pixels) * spp + i / pixels : i;
            samples[target] = v;
        }
        codecStoreSamples(samples.data(), image, out.bytes);
        return 0;
    }

    int encode(const uint8_t* pixels, size_t size, const CodecImage& image, const CodecOptions& options,
               CodecFrame& out) const override
    {
        const char* fn = "JpegLsCodec::encode";
        int status = codecCheckEncode(fn, pixels, size, image);
        if (status != 0)
            return status;
        if (image.bitsStored < 2 || image.bitsStored > 16 || (image.samplesPerPixel != 1 && image.samplesPerPixel != 3)) {
            logReport(LOG_CHANNEL_1, fn, "JPEG-LS takes 2 to 16 bits and 1 or 3 samples");
            return CODEC_ERR_UNSUPPORTED;
        }
        size_t width = image.bitsStored > 8 ? 2 : 1;
        std::vector<uint8_t> raw;
        const uint8_t* source = pixels;
        if (image.samplesPerPixel == 1 && width * 8 == image.bitsAllocated) {
            // One component at its allocated width: the frame goes in as it
            // is, with any bits above bits stored cleared.
            if (image.bitsStored < image.bitsAllocated) {
                raw.assign(pixels, pixels + size);
                uint8_t top = static_cast<uint8_t>((1u << (image.bitsStored - 8 * (width - 1))) - 1);
                for (size_t i = width - 1; i < raw.size(); i += width)
                    raw[i] &= top;
                source = raw.data();
            }
        } else {
            std::vector<uint16_t> samples;
            codecLoadSamples(pixels, image, samples);
            raw.resize(samples.size() * width);
            for (size_t i = 0; i < samples.size(); i++) {
                if (width == 2) {
                    raw[2 * i] = static_cast<uint8_t>(samples[i]);
                    raw[2 * i + 1] = static_cast<uint8_t>(samples[i] >> 8);
                } else {
                    raw[i] = static_cast<uint8_t>(samples[i]);
                }
            }
            source = raw.data();
            size = raw.size();
        }
        Encoder encoder;
        charls_frame_info info{image.columns, image.rows, static_cast<int32_t>(image.bitsStored),
                               static_cast<int32_t>(image.samplesPerPixel)};
        size_t capacity = 0;
        charls_jpegls_errc error = encoder.handle ? charls_jpegls_encoder_set_frame_info(encoder.handle, &info)
                                                  : charls::jpegls_errc::not_enough_memory;
        if (error == charls::jpegls_errc::success && image.samplesPerPixel == 3)
            error = charls_jpegls_encoder_set_interleave_mode(encoder.handle, charls::interleave_mode::sample);
        if (error == charls::jpegls_errc::success)
            error = charls_jpegls_encoder_set_near_lossless(encoder.handle, options.nearLossless);
        if (error == charls::jpegls_errc::success)
            error = charls_jpegls_encoder_get_estimated_destination_size(encoder.handle, &capacity);
        if (error == charls::jpegls_errc::success) {
            out.bytes.resize(capacity);
            error = charls_jpegls_encoder_set_destination_buffer(encoder.handle, out.bytes.data(), capacity);
        }
        if (error == charls::jpegls_errc::success)
            error = charls_jpegls_encoder_encode_from_buffer(encoder.handle, source, size, 0);
        size_t written = 0;
        if (error == charls::jpegls_errc::success)
            error = charls_jpegls_encoder_get_bytes_written(encoder.handle, &written);
        if (error != charls::jpegls_errc::success) {
            logReport(LOG_CHANNEL_1, fn, "JPEG-LS encoder failed: %s", charls_get_error_message(error));
            out.bytes.clear();
            return CODEC_ERR_ENCODE;
        }
        out.bytes.resize(written);
        out.photometric.clear();
        return 0;
    }
};

}

const PixelCodec& codecJpegLs()
{
    static JpegLsCodec codec;
    return codec;
}

// JPEG 2000, reversible and irreversible, through OpenJPEG.
#include <algorithm>
#include <cstring>

#include <openjpeg.h>

#include "codec/Codec.h"
#include "codec/CodecPixels.h"
#include "foundation/DcLog.h"

namespace {

// A memory stream for OpenJPEG: reads from a span, or writes to a vector.
struct Memory {
    const uint8_t* in = nullptr;
    std::vector<uint8_t>* out = nullptr;
    size_t size = 0;
    size_t pos = 0;
};

OPJ_SIZE_T readBytes(void* buffer, OPJ_SIZE_T count, void* user)
{
    Memory* m = static_cast<Memory*>(user);
    if (m->pos >= m->size)
        return static_cast<OPJ_SIZE_T>(-1);
    size_t n = std::min(count, m->size - m->pos);
    memcpy(buffer, m->in + m->pos, n);
    m->pos += n;
    return n;
}

OPJ_SIZE_T writeBytes(void* buffer, OPJ_SIZE_T count, void* user)
{
    Memory* m = static_cast<Memory*>(user);
    if (m->out->size() < m->pos + count)
        m->out->resize(m->pos + count);
    memcpy(m->out->data() + m->pos, buffer, count);
    m->pos += count;
    m->size = std::max(m->size, m->pos);
    return count;
}

OPJ_OFF_T skipBytes(OPJ_OFF_T count, void* user)
{
    Memory* m = static_cast<Memory*>(user);
    if (count < 0 && size_t(-count) > m->pos)
        return -1;
    if (m->in != nullptr && count > 0 && m->pos + size_t(count) > m->size)
        count = static_cast<OPJ_OFF_T>(m->size - m->pos);
    m->pos += count;
    return count;
}

OPJ_BOOL seekBytes(OPJ_OFF_T to, void* user)
{
    Memory* m = static_cast<Memory*>(user);
    if (to < 0 || (m->in != nullptr && size_t(to) > m->size))
        return OPJ_FALSE;
    m->pos = static_cast<size_t>(to);
    return OPJ_TRUE;
}

opj_stream_t* makeStream(Memory& memory, bool input)
{
    opj_stream_t* stream = opj_stream_create(1 << 16, input ? OPJ_TRUE : OPJ_FALSE);
    if (stream == nullptr)
        return nullptr;
    opj_stream_set_user_data(stream, &memory, nullptr);
    if (input) {
        opj_stream_set_user_data_length(stream, memory.size);
        opj_stream_set_read_function(stream, readBytes);
    } else {
        opj_stream_set_write_function(stream, writeBytes);
    }
    opj_stream_set_skip_function(stream, skipBytes);
    opj_stream_set_seek_function(stream, seekBytes);
    return stream;
}

void onError(const char* message, void* user)
{
    std::string* text = static_cast<std::string*>(user);
    if (text->empty())
        *text = message;
    while (!text->empty() && text->back() == '\n')
        text->pop_back();
}

void onQuiet(const char*, void*) {}

void quiet(opj_codec_t* codec, std::string& error)
{
    opj_set_error_handler(codec, onError, &error);
    opj_set_warning_handler(codec, onQuiet, nullptr);
    opj_set_info_handler(codec, onQuiet, nullptr);
}

class J2kCodec : public PixelCodec {
public:
    explicit J2kCodec(bool reversible) : lossless(reversible) {}

    const char* name() const override { return lossless ? "JPEG 2000 lossless" : "JPEG 2000"; }

    int decode(const uint8_t* data, size_t size, const CodecImage& image, CodecFrame& out) const override
    {
        const char* fn = "J2kCodec::decode";
        int status = codecCheckDecode(fn, data, size, image);
        if (status != 0)
            return status;
        // A JP2 file begins with its signature box; DICOM fragments usually
        // hold the bare codestream.
        bool jp2 = size >= 12 && data[4] == 'j' && data[5] == 'P' && data[6] == ' ' && data[7] == ' ';
        Memory memory;
        memory.in = data;
        memory.size = size;
        opj_stream_t* stream = makeStream(memory, true);
        opj_codec_t* codec = opj_create_decompress(jp2 ? OPJ_CODEC_JP2 : OPJ_CODEC_J2K);
        std::string error;
        opj_image_t* decoded = nullptr;
        opj_dparameters_t parameters;
        opj_set_default_decoder_parameters(&parameters);
        bool ok = stream != nullptr && codec != nullptr;
        if (ok) {
            quiet(codec, error);
            ok = opj_setup_decoder(codec, &parameters) && opj_read_header(stream, codec, &decoded);
        }
        if (ok && decoded != nullptr) {
            ok = decoded->numcomps == image.samplesPerPixel;
            for (unsigned c = 0; ok && c < decoded->numcomps; c++) {
                const opj_image_comp_t& comp = decoded->comps[c];
                ok = comp.w == image.columns && comp.h == image.rows && comp.dx == 1 && comp.dy == 1 &&
                     comp.prec <= image.bitsAllocated;
            }
            if (!ok) {
                status = CODEC_ERR_WRONG_SIZE;
                error = "codestream size, components or precision differ from the image attributes";
            }
        }
        ok = ok && opj_decode(codec, stream, decoded) && opj_end_decompress(codec, stream);
        if (ok) {
            for (unsigned c = 0; ok && c < decoded->numcomps; c++)
                ok = decoded->comps[c].data != nullptr && decoded->comps[c].w == image.columns &&
                     decoded->comps[c].h == image.rows;
        }
        if (ok) {
            unsigned spp = image.samplesPerPixel;
            size_t pixels = size_t(image.rows) * image.columns;
            std::vector<uint16_t> samples(pixels * spp);
            for (unsigned c = 0; c < spp; c++) {
                const OPJ_INT32* plane = decoded->comps[c].data;
                for (size_t p = 0; p < pixels; p++)
                    samples[p * spp + c] = static_cast<uint16_t>(plane[p]);
            }
            codecStoreSamples(samples.data(), image, out.bytes);
            out.photometric.clear();
            if (spp == 3 && (image.photometric == "YBR_RCT" || image.photometric == "YBR_ICT"))
                out.photometric = "RGB";
        }
        if (decoded != nullptr)
            opj_image_destroy(decoded);
        if (codec != nullptr)
            opj_destroy_codec(codec);
        if (stream != nullptr)
            opj_stream_destroy(stream);
        if (!ok) {
            logReport(LOG_CHANNEL_1, fn, "Corrupt JPEG 2000 codestream: %s", error.empty() ? "decoding failed" : error.c_str());
            out.bytes.clear();
            return status != 0 ? status : CODEC_ERR_CORRUPT;
        }
        return 0;
    }

    int encode(const uint8_t* pixels, size_t size, const CodecImage& image, const CodecOptions& options,
               CodecFrame& out) const override
    {
        const char* fn = "J2kCodec::encode";
        int status = codecCheckEncode(fn, pixels, size, image);
        if (status != 0)
            return status;
        unsigned spp = image.samplesPerPixel;
        if (image.bitsStored > 16 || (spp != 1 && spp != 3)) {
            logReport(LOG_CHANNEL_1, fn, "JPEG 2000 takes up to 16 bits and 1 or 3 samples");
            return CODEC_ERR_UNSUPPORTED;
        }
        std::vector<uint16_t> samples;
        codecLoadSamples(pixels, image, samples);
        opj_image_cmptparm_t parts[3];
        memset(parts, 0, sizeof parts);
        for (unsigned c = 0; c < spp; c++) {
            parts[c].dx = parts[c].dy = 1;
            parts[c].w = image.columns;
            parts[c].h = image.rows;
            parts[c].prec = image.bitsStored;
            parts[c].sgnd = image.pixelRepresentation;
        }
        opj_image_t* source = opj_image_create(spp, parts, spp == 3 ? OPJ_CLRSPC_SRGB : OPJ_CLRSPC_GRAY);
        if (source == nullptr)
            return CODEC_ERR_ENCODE;
        source->x1 = image.columns;
        source->y1 = image.rows;
        size_t count = size_t(image.rows) * image.columns;
        unsigned stored = image.bitsStored;
        for (unsigned c = 0; c < spp; c++)
            for (size_t p = 0; p < count; p++) {
                int32_t v = samples[p * spp + c];
                if (image.pixelRepresentation == 1 && (v & (1 << (stored - 1))))
                    v -= 1 << stored;
                source->comps[c].data[p] = v;
            }
        opj_cparameters_t parameters;
        opj_set_default_encoder_parameters(&parameters);
        parameters.tcp_numlayers = 1;
        parameters.cp_disto_alloc = 1;
        parameters.irreversible = lossless ? 0 : 1;
        parameters.tcp_rates[0] = lossless ? 0.0f : static_cast<float>(std::max(1.0, options.ratio));
        parameters.tcp_mct = spp == 3 ? 1 : 0;
        unsigned smallest = std::min(image.rows, image.columns);
        int levels = 1;
        while (levels < 6 && (smallest >> levels) >= 1)
            levels++;
        parameters.numresolution = levels;
        Memory memory;
        out.bytes.clear();
        memory.out = &out.bytes;
        opj_stream_t* stream = makeStream(memory, false);
        opj_codec_t* codec = opj_create_compress(OPJ_CODEC_J2K);
        std::string error;
        bool ok = stream != nullptr && codec != nullptr;
        if (ok) {
            quiet(codec, error);
            ok = opj_setup_encoder(codec, &parameters, source) && opj_start_compress(codec, source, stream) &&
                 opj_encode(codec, stream) && opj_end_compress(codec, stream);
        }
        if (codec != nullptr)
            opj_destroy_codec(codec);
        if (stream != nullptr)
            opj_stream_destroy(stream);
        opj_image_destroy(source);
        if (!ok) {
            logReport(LOG_CHANNEL_1, fn, "JPEG 2000 encoder failed: %s", error.c_str());
            out.bytes.clear();
            return CODEC_ERR_ENCODE;
        }
        out.bytes.resize(memory.size);
        out.photometric.clear();
        if (spp == 3)
            out.photometric = lossless ? "YBR_RCT" : "YBR_ICT";
        return 0;
    }

private:
    bool lossless;
};

}

const PixelCodec& codecJ2k(bool lossless)
{
    static J2kCodec reversible(true);
    static J2kCodec irreversible(false);
    return lossless ? reversible : irreversible;
}

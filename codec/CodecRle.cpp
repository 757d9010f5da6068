// RLE Lossless: one PackBits segment per byte of each sample, most
// significant byte first, after a 64-byte header of segment offsets.
#include <cstring>
#include <vector>

#include "codec/Codec.h"
#include "foundation/ByteOrder.h"
#include "foundation/DcLog.h"

namespace {

const size_t HEADER = 64;
const unsigned MAX_SEGMENTS = 15;

// Unpacks one segment into exactly out.size() bytes; false when the segment
// ends early.
bool unpack(const uint8_t* in, size_t size, uint8_t* out, size_t want)
{
    size_t i = 0, o = 0;
    while (o < want && i < size) {
        int8_t n = static_cast<int8_t>(in[i++]);
        if (n >= 0) {
            size_t count = size_t(n) + 1;
            if (count > size - i || count > want - o)
                return false;
            memcpy(out + o, in + i, count);
            i += count;
            o += count;
        } else if (n != -128) {
            size_t count = size_t(1 - n);
            if (i >= size || count > want - o)
                return false;
            memset(out + o, in[i++], count);
            o += count;
        }
    }
    return o == want;
}

// Packs count bytes into out, which has room for the worst case (2 * count
// + 2 bytes); returns the bytes written.
size_t packBytes(const uint8_t* in, size_t count, uint8_t* out)
{
    uint8_t* o = out;
    size_t i = 0;
    while (i < count) {
        size_t run = 1;
        while (i + run < count && run < 128 && in[i + run] == in[i])
            run++;
        if (run >= 2) {
            *o++ = static_cast<uint8_t>(1 - int(run));
            *o++ = in[i];
            i += run;
            continue;
        }
        size_t start = i;
        size_t literal = 0;
        while (i < count && literal < 128) {
            if (i + 1 < count && in[i] == in[i + 1])
                break;
            i++;
            literal++;
        }
        *o++ = static_cast<uint8_t>(literal - 1);
        memcpy(o, in + start, literal);
        o += literal;
    }
    return static_cast<size_t>(o - out);
}

// Packs one row of bytes taken every stride bytes, gathered into row first.
void pack(const uint8_t* in, size_t count, size_t stride, std::vector<uint8_t>& row, std::vector<uint8_t>& out)
{
    row.resize(count);
    for (size_t k = 0; k < count; k++)
        row[k] = in[k * stride];
    size_t at = out.size();
    out.resize(at + 2 * count + 2);
    out.resize(at + packBytes(row.data(), count, out.data() + at));
}

class RleCodec : public PixelCodec {
public:
    const char* name() const override { return "RLE"; }

    int decode(const uint8_t* data, size_t size, const CodecImage& image, CodecFrame& out) const override
    {
        const char* fn = "RleCodec::decode";
        int status = codecCheckDecode(fn, data, size, image);
        if (status != 0)
            return status;
        unsigned bytes = static_cast<unsigned>(image.bytesPerSample());
        unsigned segments = image.samplesPerPixel * bytes;
        if (segments > MAX_SEGMENTS)
            return CODEC_ERR_UNSUPPORTED;
        if (size < HEADER) {
            logReport(LOG_CHANNEL_1, fn, "Fragment of %zu bytes is shorter than the RLE header", size);
            return CODEC_ERR_CORRUPT;
        }
        uint32_t count = byteorder::get32(data, false);
        if (count != segments) {
            logReport(LOG_CHANNEL_1, fn, "%u segments, the image needs %u", count, segments);
            return CODEC_ERR_CORRUPT;
        }
        size_t pixels = size_t(image.rows) * image.columns;
        out.bytes.assign(image.frameBytes(), 0);
        out.photometric.clear();
        std::vector<uint8_t> plane(pixels);
        for (unsigned s = 0; s < segments; s++) {
            uint32_t begin = byteorder::get32(data + 4 + 4 * s, false);
            uint32_t end = s + 1 < segments ? byteorder::get32(data + 8 + 4 * s, false) : uint32_t(size);
            if (begin < HEADER || begin > end || end > size) {
                logReport(LOG_CHANNEL_1, fn, "Segment %u lies outside the fragment (%u to %u of %zu)", s + 1, begin,
                          end, size);
                return CODEC_ERR_CORRUPT;
            }
            if (!unpack(data + begin, end - begin, plane.data(), pixels)) {
                logReport(LOG_CHANNEL_1, fn, "Segment %u decodes to fewer than %zu bytes", s + 1, pixels);
                return CODEC_ERR_WRONG_SIZE;
            }
            unsigned sample = s / bytes;
            unsigned byte = bytes - 1 - s % bytes;  // little-endian position
            size_t stride, offset;
            layout(image, sample, byte, stride, offset);
            for (size_t p = 0; p < pixels; p++)
                out.bytes[offset + p * stride] = plane[p];
        }
        return 0;
    }

    int encode(const uint8_t* pixels, size_t size, const CodecImage& image, const CodecOptions&,
               CodecFrame& out) const override
    {
        int status = codecCheckEncode("RleCodec::encode", pixels, size, image);
        if (status != 0)
            return status;
        unsigned bytes = static_cast<unsigned>(image.bytesPerSample());
        unsigned segments = image.samplesPerPixel * bytes;
        if (segments > MAX_SEGMENTS)
            return CODEC_ERR_UNSUPPORTED;
        out.bytes.assign(HEADER, 0);
        out.photometric.clear();
        byteorder::put32(out.bytes.data(), segments, false);
        out.bytes.reserve(size + size / 64 + HEADER + segments * 2);
        std::vector<uint8_t> row;
        for (unsigned s = 0; s < segments; s++) {
            byteorder::put32(&out.bytes[4 + 4 * s], static_cast<uint32_t>(out.bytes.size()), false);
            size_t stride, offset;
            layout(image, s / bytes, bytes - 1 - s % bytes, stride, offset);
            for (unsigned r = 0; r < image.rows; r++)
                pack(pixels + offset + size_t(r) * image.columns * stride, image.columns, stride, row, out.bytes);
            if (out.bytes.size() & 1)
                out.bytes.push_back(0);
        }
        return 0;
    }

private:
    // Where byte `byte` of sample `sample` of the first pixel lies, and the
    // distance between pixels.
    static void layout(const CodecImage& image, unsigned sample, unsigned byte, size_t& stride, size_t& offset)
    {
        size_t bytes = image.bytesPerSample();
        if (image.planarConfiguration == 1) {
            stride = bytes;
            offset = sample * size_t(image.rows) * image.columns * bytes + byte;
        } else {
            stride = bytes * image.samplesPerPixel;
            offset = sample * bytes + byte;
        }
    }
};

}

const PixelCodec& codecRle()
{
    static RleCodec codec;
    return codec;
}

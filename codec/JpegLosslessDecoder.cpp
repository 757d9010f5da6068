#include "codec/JpegLosslessDecoder.h"

#include <cstring>

#include "codec/CodecTypes.h"
#include "foundation/DcLog.h"

namespace {

const char* FN = "jpegLosslessDecode";

struct HuffmanTable {
    bool defined = false;
    int maxcode[18];
    int valptr[17];
    int mincode[17];
    uint8_t values[256];
    uint16_t fast[256];  // (length << 8) | value for codes of at most 8 bits; 0 otherwise

    bool build(const uint8_t* counts, const uint8_t* vals, int total)
    {
        memset(fast, 0, sizeof fast);
        memcpy(values, vals, total);
        int code = 0, k = 0;
        for (int l = 1; l <= 16; l++) {
            valptr[l] = k;
            mincode[l] = code;
            for (int i = 0; i < counts[l - 1]; i++, code++, k++) {
                if (code >= (1 << l))
                    return false;
                if (l <= 8)
                    for (int j = code << (8 - l); j < (code + 1) << (8 - l); j++)
                        fast[j] = static_cast<uint16_t>((l << 8) | values[k]);
            }
            maxcode[l] = counts[l - 1] ? code - 1 : -1;
            code <<= 1;
        }
        maxcode[17] = 0x7FFFFFFF;
        defined = true;
        return true;
    }
};

// Entropy-coded bits with byte stuffing; reads zeros past a marker or the end.
struct BitReader {
    const uint8_t* data;
    size_t size;
    size_t pos;
    uint64_t acc = 0;
    int count = 0;
    bool atMarker = false;
    size_t padding = 0;

    void fill()
    {
        while (count <= 56) {
            uint8_t byte = 0;
            if (!atMarker && pos < size) {
                byte = data[pos];
                if (byte == 0xFF) {
                    if (pos + 1 < size && data[pos + 1] == 0x00)
                        pos += 2;
                    else {
                        atMarker = true;
                        byte = 0;
                        padding++;
                    }
                } else {
                    pos++;
                }
            } else {
                padding++;
            }
            acc |= uint64_t(byte) << (56 - count);
            count += 8;
        }
    }
    unsigned peek(int bits)
    {
        if (count < bits)
            fill();
        return static_cast<unsigned>(acc >> (64 - bits));
    }
    void skip(int bits)
    {
        acc <<= bits;
        count -= bits;
    }
    // Bits taken beyond the end of the entropy-coded data.
    long overrun() const { return static_cast<long>(padding) * 8 - count; }
    // Drops the bits left and steps over a restart marker.
    bool restart()
    {
        acc = 0;
        count = 0;
        atMarker = false;
        padding = 0;
        while (pos + 1 < size && data[pos] == 0xFF && data[pos + 1] == 0xFF)
            pos++;
        if (pos + 1 < size && data[pos] == 0xFF && data[pos + 1] >= 0xD0 && data[pos + 1] <= 0xD7) {
            pos += 2;
            return true;
        }
        return false;
    }
};

int decodeSymbol(BitReader& bits, const HuffmanTable& table)
{
    uint16_t hit = table.fast[bits.peek(8)];
    if (hit != 0) {
        bits.skip(hit >> 8);
        return hit & 0xFF;
    }
    for (int l = 9; l <= 16; l++) {
        int code = static_cast<int>(bits.peek(l));
        if (code <= table.maxcode[l]) {
            bits.skip(l);
            int index = table.valptr[l] + code - table.mincode[l];
            return index >= 0 && index < 256 ? table.values[index] : -1;
        }
    }
    return -1;
}

int decodeDiff(BitReader& bits, const HuffmanTable& table)
{
    int s = decodeSymbol(bits, table);
    if (s < 0 || s > 16)
        return 0x7FFFFFFF;
    if (s == 0)
        return 0;
    if (s == 16)
        return 32768;
    int v = static_cast<int>(bits.peek(s));
    bits.skip(s);
    if (v < (1 << (s - 1)))
        v -= (1 << s) - 1;
    return v;
}

struct Component {
    int id;
    int h, v;
};

struct Decoder {
    const uint8_t* data;
    size_t size;
    size_t maxSamples;
    JpegLosslessImage& out;
    HuffmanTable tables[4];
    unsigned restartInterval = 0;
    std::vector<Component> components;
    bool frameSeen = false;

    Decoder(const uint8_t* bytes, size_t length, size_t limit, JpegLosslessImage& image)
        : data(bytes), size(length), maxSamples(limit), out(image)
    {
    }

    int fail(const char* what)
    {
        logReport(LOG_CHANNEL_1, FN, "Corrupt lossless JPEG: %s", what);
        return CODEC_ERR_CORRUPT;
    }

    int readFrame(const uint8_t* p, size_t len, uint8_t marker)
    {
        if (marker != 0xC3)
            return logReport(LOG_CHANNEL_1, FN, "Frame type 0x%02x is not lossless Huffman JPEG", marker),
                   CODEC_ERR_UNSUPPORTED;
        if (frameSeen || len < 6)
            return fail("bad frame header");
        out.precision = p[0];
        out.height = (p[1] << 8) | p[2];
        out.width = (p[3] << 8) | p[4];
        out.components = p[5];
        if (out.precision < 2 || out.precision > 16 || out.width == 0 || out.height == 0 || out.components == 0 ||
            out.components > 4 || len < 6 + 3 * size_t(out.components))
            return fail("bad frame parameters");
        for (unsigned i = 0; i < out.components; i++) {
            Component c{p[6 + 3 * i], p[7 + 3 * i] >> 4, p[7 + 3 * i] & 15};
            if (c.h != 1 || c.v != 1)
                return logReport(LOG_CHANNEL_1, FN, "Sampling factors other than 1 are not handled"),
                       CODEC_ERR_UNSUPPORTED;
            components.push_back(c);
        }
        size_t samples = size_t(out.width) * out.height * out.components;
        if (samples > maxSamples)
            return logReport(LOG_CHANNEL_1, FN, "Image of %zu samples exceeds the limit of %zu", samples, maxSamples),
                   CODEC_ERR_TOO_LARGE;
        out.samples.assign(samples, 0);
        frameSeen = true;
        return 0;
    }

    int readTables(const uint8_t* p, size_t len)
    {
        while (len > 0) {
            if (len < 17)
                return fail("short Huffman table");
            int cls = p[0] >> 4, id = p[0] & 15;
            int total = 0;
            for (int i = 0; i < 16; i++)
                total += p[1 + i];
            if (cls != 0 || id > 3 || total > 256 || len < size_t(17 + total))
                return fail("bad Huffman table");
            if (!tables[id].build(p + 1, p + 17, total))
                return fail("Huffman table with too many codes");
            p += 17 + total;
            len -= 17 + total;
        }
        return 0;
    }

    // Decodes one scan beginning at pos (after its header); pos receives the
    // position after its entropy-coded data.
    int readScan(const uint8_t* p, size_t len, size_t& pos)
    {
        if (!frameSeen || len < 1)
            return fail("scan before frame");
        unsigned ns = p[0];
        if (ns == 0 || ns > out.components || len < 4 + 2 * size_t(ns))
            return fail("bad scan header");
        std::vector<unsigned> index(ns);
        std::vector<const HuffmanTable*> table(ns);
        for (unsigned i = 0; i < ns; i++) {
            unsigned k = 0;
            while (k < components.size() && components[k].id != p[1 + 2 * i])
                k++;
            int td = p[2 + 2 * i] >> 4;
            if (k == components.size() || td > 3 || !tables[td].defined)
                return fail("scan names an unknown component or table");
            index[i] = k;
            table[i] = &tables[td];
        }
        int predictor = p[1 + 2 * ns];
        int pt = p[3 + 2 * ns] & 15;
        if (predictor < 1 || predictor > 7 || pt >= static_cast<int>(out.precision))
            return fail("bad predictor or point transform");
        BitReader bits{data, size, pos};
        const unsigned width = out.width, nc = out.components;
        const int initial = 1 << (out.precision - pt - 1);
        unsigned mcuLeft = restartInterval;
        bool firstLine = true;
        for (unsigned y = 0; y < out.height; y++) {
            uint16_t* row = &out.samples[size_t(y) * width * nc];
            const uint16_t* above = y > 0 ? row - size_t(width) * nc : nullptr;
            for (unsigned x = 0; x < width; x++) {
                bool restartHere = false;
                if (restartInterval != 0) {
                    if (mcuLeft == 0) {
                        if (!bits.restart())
                            return fail("restart marker missing");
                        mcuLeft = restartInterval;
                        restartHere = true;
                    }
                    mcuLeft--;
                }
                if (restartHere && x == 0)
                    firstLine = true;
                for (unsigned i = 0; i < ns; i++) {
                    unsigned c = index[i];
                    int pred;
                    if (restartHere || (y == 0 && x == 0))
                        pred = initial;
                    else if (firstLine)
                        pred = x == 0 ? initial : row[(x - 1) * nc + c];
                    else if (x == 0)
                        pred = above[c];
                    else {
                        int ra = row[(x - 1) * nc + c], rb = above[x * nc + c], rc = above[(x - 1) * nc + c];
                        switch (predictor) {
                        case 1: pred = ra; break;
                        case 2: pred = rb; break;
                        case 3: pred = rc; break;
                        case 4: pred = ra + rb - rc; break;
                        case 5: pred = ra + ((rb - rc) >> 1); break;
                        case 6: pred = rb + ((ra - rc) >> 1); break;
                        default: pred = (ra + rb) >> 1; break;
                        }
                    }
                    int diff = decodeDiff(bits, *table[i]);
                    if (diff == 0x7FFFFFFF)
                        return fail("bad Huffman code");
                    row[x * nc + c] = static_cast<uint16_t>((pred + diff) & 0xFFFF);
                }
                if (bits.overrun() > 16)
                    return fail("entropy-coded data ends early");
            }
            firstLine = false;
        }
        if (pt > 0)
            for (unsigned i = 0; i < ns; i++)
                for (size_t s = index[i]; s < out.samples.size(); s += nc)
                    out.samples[s] = static_cast<uint16_t>(out.samples[s] << pt);
        pos = bits.pos;
        return 0;
    }

    int run()
    {
        if (size < 4 || data[0] != 0xFF || data[1] != 0xD8)
            return fail("no start-of-image marker");
        size_t pos = 2;
        bool scanned = false;
        while (pos < size) {
            if (data[pos] != 0xFF) {
                pos++;  // stray byte between segments
                continue;
            }
            if (pos + 1 >= size)
                break;
            uint8_t marker = data[pos + 1];
            pos += 2;
            if (marker == 0xFF) {
                pos--;
                continue;
            }
            if (marker == 0xD9)
                break;
            if (marker == 0xD8 || marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7))
                continue;
            if (pos + 2 > size)
                return fail("segment length past the end");
            size_t len = (data[pos] << 8) | data[pos + 1];
            if (len < 2 || pos + len > size)
                return fail("segment runs past the end");
            const uint8_t* body = data + pos + 2;
            size_t bodyLen = len - 2;
            pos += len;
            int status = 0;
            if (marker == 0xC4)
                status = readTables(body, bodyLen);
            else if (marker == 0xDD)
                restartInterval = bodyLen >= 2 ? (body[0] << 8) | body[1] : 0;
            else if (marker == 0xDA) {
                status = readScan(body, bodyLen, pos);
                scanned = true;
            } else if (marker >= 0xC0 && marker <= 0xCF && marker != 0xC8 && marker != 0xCC)
                status = readFrame(body, bodyLen, marker);
            if (status != 0)
                return status;
        }
        return scanned ? 0 : fail("no scan");
    }
};

}

int jpegLosslessDecode(const uint8_t* data, size_t size, size_t maxSamples, JpegLosslessImage& out)
{
    out = JpegLosslessImage();
    if (data == nullptr || size == 0)
        return CODEC_ERR_NULL_ARG;
    Decoder decoder(data, size, maxSamples, out);
    int status = decoder.run();
    if (status != 0)
        out.samples.clear();
    return status;
}

#include "codec/JpegLosslessDecoder.h"

#include <cstring>

#include "codec/CodecTypes.h"
#include "codec/JpegHuffman.h"
#include "foundation/DcLog.h"

namespace {

const char* FN = "jpegLosslessDecode";

int decodeDiff(JpegBitReader& bits, const JpegHuffmanTable& table)
{
    int s = jpegDecodeSymbol(bits, table);
    if (s < 0 || s > 16)
        return 0x7FFFFFFF;
    if (s == 0)
        return 0;
    if (s == 16)
        return 32768;
    return jpegExtend(bits.take(s), s);
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
    JpegHuffmanTable tables[4];
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
        return jpegReadHuffmanTables(p, len, tables, nullptr) ? 0 : fail("bad Huffman table");
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
        std::vector<const JpegHuffmanTable*> table(ns);
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
        JpegBitReader bits{data, size, pos};
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
        auto failed = [this](const char* what) { return fail(what); };
        return jpegWalkSegments(data, size, failed, [this](uint8_t marker, const uint8_t* body, size_t bodyLen,
                                                           JpegSegments& segments) {
            if (marker == 0xC4)
                return readTables(body, bodyLen);
            if (marker == 0xDD)
                restartInterval = bodyLen >= 2 ? (body[0] << 8) | body[1] : 0;
            else if (marker == 0xDA)
                return readScan(body, bodyLen, segments.pos);
            else if (marker >= 0xC0 && marker <= 0xCF && marker != 0xC8 && marker != 0xCC)
                return readFrame(body, bodyLen, marker);
            return 0;
        });
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

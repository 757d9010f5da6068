#include "codec/JpegDct.h"

#include <algorithm>
#include <cstring>

#include "codec/CodecTypes.h"
#include "codec/JpegDctTransform.h"
#include "codec/JpegHuffman.h"
#include "foundation/DcLog.h"

namespace {

const char* FN = "jpegDctDecode";

struct Component {
    int id = 0;
    int h = 1, v = 1;  // sampling factors
    int tq = 0;        // quantisation table
    unsigned width = 0, height = 0;  // samples of the component itself
    size_t stride = 0;               // plane row length, whole MCUs wide
    std::vector<uint16_t> plane;
    int dcPred = 0;
};

struct Decoder {
    const uint8_t* data;
    size_t size;
    size_t maxSamples;
    JpegDctImage& out;
    JpegHuffmanTable dcTables[4], acTables[4];
    uint16_t quant[4][64];  // natural order
    bool quantDefined[4] = {false, false, false, false};
    unsigned restartInterval = 0;
    std::vector<Component> components;
    int hMax = 1, vMax = 1;
    unsigned mcusX = 0, mcusY = 0;
    bool frameSeen = false;
    int adobeTransform = -1;  // from an Adobe marker, -1 without one
    bool jfif = false;

    Decoder(const uint8_t* bytes, size_t length, size_t limit, JpegDctImage& image)
        : data(bytes), size(length), maxSamples(limit), out(image)
    {
    }

    int fail(const char* what)
    {
        logReport(LOG_CHANNEL_1, FN, "Corrupt JPEG: %s", what);
        return CODEC_ERR_CORRUPT;
    }

    int unsupported(const char* what)
    {
        logReport(LOG_CHANNEL_1, FN, "JPEG not decoded: %s", what);
        return CODEC_ERR_UNSUPPORTED;
    }

    int readFrame(const uint8_t* p, size_t len, uint8_t marker)
    {
        if (marker != 0xC0 && marker != 0xC1)
            return logReport(LOG_CHANNEL_1, FN, "Frame type 0x%02x is not sequential Huffman DCT JPEG", marker),
                   CODEC_ERR_UNSUPPORTED;
        if (frameSeen || len < 6)
            return fail("bad frame header");
        out.precision = p[0];
        out.height = (p[1] << 8) | p[2];
        out.width = (p[3] << 8) | p[4];
        out.components = p[5];
        if (out.precision != 8 && out.precision != 12)
            return logReport(LOG_CHANNEL_1, FN, "Sample precision %u is neither 8 nor 12 bits", out.precision),
                   CODEC_ERR_UNSUPPORTED;
        if (out.width == 0 || out.height == 0 || out.components == 0 || out.components > 4 ||
            len < 6 + 3 * size_t(out.components))
            return fail("bad frame parameters");
        for (unsigned i = 0; i < out.components; i++) {
            Component c;
            c.id = p[6 + 3 * i];
            c.h = p[7 + 3 * i] >> 4;
            c.v = p[7 + 3 * i] & 15;
            c.tq = p[8 + 3 * i];
            if (c.h < 1 || c.h > 4 || c.v < 1 || c.v > 4 || c.tq > 3)
                return fail("bad component parameters");
            hMax = std::max(hMax, c.h);
            vMax = std::max(vMax, c.v);
            components.push_back(c);
        }
        size_t samples = size_t(out.width) * out.height * out.components;
        if (samples > maxSamples)
            return logReport(LOG_CHANNEL_1, FN, "Image of %zu samples exceeds the limit of %zu", samples, maxSamples),
                   CODEC_ERR_TOO_LARGE;
        mcusX = (out.width + 8 * hMax - 1) / (8 * hMax);
        mcusY = (out.height + 8 * vMax - 1) / (8 * vMax);
        for (Component& c : components) {
            if (hMax % c.h != 0 || vMax % c.v != 0)
                return unsupported("sampling factors that do not divide the largest");
            c.width = (out.width * c.h + hMax - 1) / hMax;
            c.height = (out.height * c.v + vMax - 1) / vMax;
            c.stride = size_t(mcusX) * c.h * 8;
            c.plane.assign(c.stride * mcusY * c.v * 8, 0);
        }
        frameSeen = true;
        return 0;
    }

    int readQuant(const uint8_t* p, size_t len)
    {
        while (len > 0) {
            int pq = p[0] >> 4, tq = p[0] & 15;
            size_t need = 1 + 64 * size_t(pq + 1);
            if (pq > 1 || tq > 3 || len < need)
                return fail("bad quantisation table");
            for (int k = 0; k < 64; k++)
                quant[tq][jpegNaturalOrder[k]] =
                    static_cast<uint16_t>(pq ? (p[1 + 2 * k] << 8) | p[2 + 2 * k] : p[1 + k]);
            quantDefined[tq] = true;
            p += need;
            len -= need;
        }
        return 0;
    }

    void readApp(uint8_t marker, const uint8_t* p, size_t len)
    {
        if (marker == 0xE0 && len >= 5 && memcmp(p, "JFIF\0", 5) == 0)
            jfif = true;
        if (marker == 0xEE && len >= 12 && memcmp(p, "Adobe", 5) == 0)
            adobeTransform = p[11];
    }

    // One block's coefficients (natural order); false for bad codes.
    bool decodeBlock(JpegBitReader& bits, const JpegHuffmanTable& dc, const JpegHuffmanTable& ac, int& pred,
                     int32_t* coef)
    {
        memset(coef, 0, 64 * sizeof(int32_t));
        int s = jpegDecodeSymbol(bits, dc);
        if (s < 0 || s > 15)
            return false;
        if (s > 0)
            pred += jpegExtend(bits.take(s), s);
        // Bounded, so that endless corrupt differences cannot overflow.
        pred = std::max(-65536, std::min(65536, pred));
        coef[0] = pred;
        for (int k = 1; k < 64; k++) {
            int rs = jpegDecodeSymbol(bits, ac);
            if (rs < 0)
                return false;
            int r = rs >> 4;
            s = rs & 15;
            if (s == 0) {
                if (r != 15)
                    break;  // end of block
                k += 15;
                continue;
            }
            k += r;
            if (k > 63)
                return false;
            coef[jpegNaturalOrder[k]] = jpegExtend(bits.take(s), s);
        }
        return true;
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
        std::vector<Component*> scan(ns);
        std::vector<const JpegHuffmanTable*> dc(ns), ac(ns);
        unsigned blocksPerMcu = 0;
        for (unsigned i = 0; i < ns; i++) {
            auto it = std::find_if(components.begin(), components.end(),
                                   [&](const Component& c) { return c.id == p[1 + 2 * i]; });
            int td = p[2 + 2 * i] >> 4, ta = p[2 + 2 * i] & 15;
            if (it == components.end() || td > 3 || ta > 3 || !dcTables[td].defined || !acTables[ta].defined)
                return fail("scan names an unknown component or table");
            if (!quantDefined[it->tq])
                return fail("component without a quantisation table");
            scan[i] = &*it;
            dc[i] = &dcTables[td];
            ac[i] = &acTables[ta];
            blocksPerMcu += ns == 1 ? 1 : it->h * it->v;
        }
        if (blocksPerMcu > 10)
            return fail("more than 10 blocks in an MCU");
        if (p[1 + 2 * ns] != 0 || p[2 + 2 * ns] != 63 || p[3 + 2 * ns] != 0)
            return unsupported("progressive scan parameters");
        // A single-component scan codes the component's own blocks one by
        // one; an interleaved one codes whole MCUs.
        unsigned across = ns == 1 ? (scan[0]->width + 7) / 8 : mcusX;
        unsigned down = ns == 1 ? (scan[0]->height + 7) / 8 : mcusY;
        JpegBitReader bits{data, size, pos};
        for (Component* c : scan)
            c->dcPred = 0;
        unsigned mcuLeft = restartInterval;
        int32_t coef[64];
        for (unsigned my = 0; my < down; my++) {
            for (unsigned mx = 0; mx < across; mx++) {
                if (restartInterval != 0) {
                    if (mcuLeft == 0) {
                        if (!bits.restart())
                            return fail("restart marker missing");
                        mcuLeft = restartInterval;
                        for (Component* c : scan)
                            c->dcPred = 0;
                    }
                    mcuLeft--;
                }
                for (unsigned i = 0; i < ns; i++) {
                    Component& c = *scan[i];
                    int bh = ns == 1 ? 1 : c.h, bv = ns == 1 ? 1 : c.v;
                    for (int v = 0; v < bv; v++)
                        for (int h = 0; h < bh; h++) {
                            if (!decodeBlock(bits, *dc[i], *ac[i], c.dcPred, coef))
                                return fail("bad Huffman code");
                            size_t x = (size_t(mx) * bh + h) * 8, y = (size_t(my) * bv + v) * 8;
                            jpegInverseDct(coef, quant[c.tq], out.precision, &c.plane[y * c.stride + x], c.stride);
                        }
                }
                if (bits.overrun() > 64)
                    return fail("entropy-coded data ends early");
            }
        }
        pos = bits.pos;
        return 0;
    }

    // Widens component c to the image size into channel `channel` of the
    // interleaved output.
    void upsample(const Component& c, unsigned channel)
    {
        const unsigned w = out.width, h = out.height, nc = out.components;
        const int fx = hMax / c.h, fy = vMax / c.v;
        uint16_t* dst = out.samples.data() + channel;
        auto at = [&](unsigned x, unsigned y) { return int(c.plane[size_t(y) * c.stride + x]); };
        if (fx == 1 && fy == 1) {
            for (unsigned y = 0; y < h; y++) {
                const uint16_t* src = &c.plane[size_t(y) * c.stride];
                uint16_t* row = dst + size_t(y) * w * nc;
                for (unsigned x = 0; x < w; x++)
                    row[size_t(x) * nc] = src[x];
            }
        } else if (fx == 2 && fy == 1 && c.width > 2) {
            for (unsigned y = 0; y < h; y++)
                for (unsigned x = 0; x < w; x++) {
                    unsigned i = x / 2;
                    int near = 3 * at(i, y);
                    dst[(size_t(y) * w + x) * nc] = static_cast<uint16_t>(
                        x % 2 == 0 ? (near + at(i > 0 ? i - 1 : 0, y) + 1) >> 2
                                   : (near + at(std::min(i + 1, c.width - 1), y) + 2) >> 2);
                }
        } else if (fx == 2 && fy == 2 && c.width > 2) {
            for (unsigned y = 0; y < h; y++) {
                unsigned row = y / 2;
                unsigned other = y % 2 == 0 ? (row > 0 ? row - 1 : 0) : std::min(row + 1, c.height - 1);
                auto colsum = [&](unsigned i) { return 3 * at(i, row) + at(i, other); };
                for (unsigned x = 0; x < w; x++) {
                    unsigned i = x / 2;
                    int near = 3 * colsum(i);
                    dst[(size_t(y) * w + x) * nc] = static_cast<uint16_t>(
                        x % 2 == 0 ? (near + colsum(i > 0 ? i - 1 : 0) + 8) >> 4
                                   : (near + colsum(std::min(i + 1, c.width - 1)) + 7) >> 4);
                }
            }
        } else {
            for (unsigned y = 0; y < h; y++)
                for (unsigned x = 0; x < w; x++)
                    dst[(size_t(y) * w + x) * nc] = c.plane[size_t(y / fy) * c.stride + x / fx];
        }
    }

    bool isYcc() const
    {
        if (out.components != 3)
            return false;
        if (adobeTransform >= 0)
            return adobeTransform != 0;
        if (jfif)
            return true;
        return !(components[0].id == 'R' && components[1].id == 'G' && components[2].id == 'B');
    }

    void yccToRgb()
    {
        const int center = 1 << (out.precision - 1), top = (1 << out.precision) - 1;
        const int64_t half = 1 << 15;
        auto limit = [top](int64_t v) { return static_cast<uint16_t>(v < 0 ? 0 : v > top ? top : v); };
        for (size_t i = 0; i < out.samples.size(); i += 3) {
            int64_t y = out.samples[i], cb = out.samples[i + 1] - center, cr = out.samples[i + 2] - center;
            // The constants scaled by 2^16, rounded as the common decoders round them.
            out.samples[i] = limit(y + ((91881 * cr + half) >> 16));
            out.samples[i + 1] = limit(y + ((-22554 * cb + half - 46802 * cr) >> 16));
            out.samples[i + 2] = limit(y + ((116130 * cb + half) >> 16));
        }
        out.convertedToRgb = true;
    }

    int run()
    {
        auto failed = [this](const char* what) { return fail(what); };
        int status = jpegWalkSegments(data, size, failed, [this](uint8_t marker, const uint8_t* body, size_t bodyLen,
                                                                 JpegSegments& segments) {
            if (marker == 0xC4)
                return jpegReadHuffmanTables(body, bodyLen, dcTables, acTables) ? 0 : fail("bad Huffman table");
            if (marker == 0xDB)
                return readQuant(body, bodyLen);
            if (marker == 0xDD)
                restartInterval = bodyLen >= 2 ? (body[0] << 8) | body[1] : 0;
            else if (marker >= 0xE0 && marker <= 0xEF)
                readApp(marker, body, bodyLen);
            else if (marker == 0xDA)
                return readScan(body, bodyLen, segments.pos);
            else if (marker >= 0xC0 && marker <= 0xCF && marker != 0xC8 && marker != 0xCC)
                return readFrame(body, bodyLen, marker);
            return 0;
        });
        if (status != 0)
            return status;
        out.samples.assign(size_t(out.width) * out.height * out.components, 0);
        for (unsigned i = 0; i < out.components; i++)
            upsample(components[i], i);
        if (isYcc())
            yccToRgb();
        return 0;
    }
};

}

int jpegDctDecode(const uint8_t* data, size_t size, size_t maxSamples, JpegDctImage& out)
{
    out = JpegDctImage();
    if (data == nullptr || size == 0)
        return CODEC_ERR_NULL_ARG;
    Decoder decoder(data, size, maxSamples, out);
    int status = decoder.run();
    if (status != 0)
        out.samples.clear();
    return status;
}

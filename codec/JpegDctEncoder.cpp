// Greyscale sequential DCT JPEG, 8 or 12 bits, with Huffman tables made for
// each image (two passes: the quantised blocks are kept, counted, then coded).
#include <algorithm>

#include "codec/CodecTypes.h"
#include "codec/JpegDct.h"
#include "codec/JpegDctTransform.h"
#include "codec/JpegHuffman.h"

namespace {

// The usual luminance quantisation table, natural order, for quality 50.
const uint16_t luminance[64] = {
    16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,  14, 13, 16, 24,  40,  57,
    69, 56, 14, 17, 22,  29,  51,  87,  80, 62, 18, 22, 37,  56,  68,  109, 103, 77, 24, 35,  55,  64,
    81, 104, 113, 92, 49, 64, 78,  87,  103, 121, 120, 101, 72, 92, 95, 98,  112, 100, 103, 99,
};

// The table for quality 1 to 100 (50 gives it unchanged, 100 all ones);
// 8-bit images keep every entry within one byte.
void scaledTable(int quality, int precision, uint16_t* table)
{
    quality = std::max(1, std::min(100, quality));
    long scale = quality < 50 ? 5000 / quality : 200 - 2 * quality;
    long top = precision > 8 ? 32767 : 255;
    for (int i = 0; i < 64; i++)
        table[i] = static_cast<uint16_t>(std::max(1L, std::min(top, (luminance[i] * scale + 50) / 100)));
}

// One quantised coefficient (divisor: the table entry times the transform's 8).
int32_t quantise(int32_t value, int32_t divisor)
{
    if (value < 0)
        return -((-value + (divisor >> 1)) / divisor);
    return (value + (divisor >> 1)) / divisor;
}

void put16(std::vector<uint8_t>& out, unsigned v)
{
    out.push_back(static_cast<uint8_t>(v >> 8));
    out.push_back(static_cast<uint8_t>(v));
}

}

int jpegDctEncode(const JpegDctImage& image, int quality, std::vector<uint8_t>& out, unsigned restartInterval)
{
    out.clear();
    const unsigned w = image.width, h = image.height, p = image.precision;
    if (w == 0 || h == 0 || w > 65535 || h > 65535 || image.components != 1 || (p != 8 && p != 12) ||
        image.samples.size() != size_t(w) * h || restartInterval > 65535)
        return CODEC_ERR_UNSUPPORTED;
    uint16_t table[64];
    scaledTable(quality, static_cast<int>(p), table);
    const int center = 1 << (p - 1);
    const unsigned top = (1u << p) - 1;

    // Pass 1: transform and quantise every block (edges repeated into the
    // padding), counting the symbols the coding will use.
    const unsigned across = (w + 7) / 8, down = (h + 7) / 8;
    std::vector<int32_t> blocks(size_t(across) * down * 64);
    long dcFreq[16] = {0}, acFreq[256] = {0};
    int32_t samples[64], coef[64];
    int pred = 0;
    size_t block = 0;
    for (unsigned by = 0; by < down; by++)
        for (unsigned bx = 0; bx < across; bx++, block++) {
            if (restartInterval != 0 && block % restartInterval == 0)
                pred = 0;
            for (unsigned r = 0; r < 8; r++) {
                unsigned y = std::min(by * 8 + r, h - 1);
                for (unsigned c = 0; c < 8; c++) {
                    unsigned x = std::min(bx * 8 + c, w - 1);
                    unsigned v = std::min<unsigned>(image.samples[size_t(y) * w + x], top);
                    samples[8 * r + c] = static_cast<int32_t>(v) - center;
                }
            }
            jpegForwardDct(samples, static_cast<int>(p), coef);
            int32_t* zigzag = &blocks[(size_t(by) * across + bx) * 64];
            for (int k = 0; k < 64; k++) {
                int n = jpegNaturalOrder[k];
                zigzag[k] = quantise(coef[n], int32_t(table[n]) * 8);
            }
            dcFreq[jpegCategory(zigzag[0] - pred)]++;
            pred = zigzag[0];
            int run = 0;
            for (int k = 1; k < 64; k++) {
                if (zigzag[k] == 0) {
                    run++;
                    continue;
                }
                for (; run > 15; run -= 16)
                    acFreq[0xF0]++;
                acFreq[(run << 4) | jpegCategory(zigzag[k])]++;
                run = 0;
            }
            if (run > 0)
                acFreq[0x00]++;
        }

    uint8_t dcCounts[16], acCounts[16];
    std::vector<uint8_t> dcSymbols, acSymbols;
    jpegOptimalTable(dcFreq, 16, dcCounts, dcSymbols);
    jpegOptimalTable(acFreq, 256, acCounts, acSymbols);
    uint32_t dcCode[256], acCode[256];
    int dcLength[256], acLength[256];
    jpegCodeTable(dcCounts, dcSymbols, dcCode, dcLength);
    jpegCodeTable(acCounts, acSymbols, acCode, acLength);

    // Headers: 12-bit images are extended sequential (SOF1), 8-bit ones baseline.
    bool wide = *std::max_element(table, table + 64) > 255;
    out.push_back(0xFF);
    out.push_back(0xD8);
    jpegMarker(out, 0xDB, 3 + 64 * (wide ? 2 : 1));
    out.push_back(wide ? 0x10 : 0x00);
    for (int k = 0; k < 64; k++) {
        uint16_t q = table[jpegNaturalOrder[k]];
        if (wide)
            out.push_back(static_cast<uint8_t>(q >> 8));
        out.push_back(static_cast<uint8_t>(q));
    }
    jpegMarker(out, p > 8 ? 0xC1 : 0xC0, 11);
    out.push_back(static_cast<uint8_t>(p));
    put16(out, h);
    put16(out, w);
    out.push_back(1);
    out.push_back(1);     // component id
    out.push_back(0x11);  // no subsampling
    out.push_back(0);     // quantisation table 0
    jpegWriteHuffmanTable(out, 0, 0, dcCounts, dcSymbols);
    jpegWriteHuffmanTable(out, 1, 0, acCounts, acSymbols);
    if (restartInterval != 0) {
        jpegMarker(out, 0xDD, 4);
        put16(out, restartInterval);
    }
    jpegMarker(out, 0xDA, 8);
    out.push_back(1);
    out.push_back(1);
    out.push_back(0x00);
    out.push_back(0);
    out.push_back(63);
    out.push_back(0);

    // Pass 2: the entropy-coded data.
    JpegBitWriter bits{out};
    pred = 0;
    for (size_t b = 0; b < blocks.size(); b += 64) {
        size_t index = b / 64;
        if (restartInterval != 0 && index != 0 && index % restartInterval == 0) {
            bits.flush();
            jpegMarker(out, static_cast<uint8_t>(0xD0 + (index / restartInterval - 1) % 8), 0);
            pred = 0;
        }
        const int32_t* zigzag = &blocks[b];
        int diff = zigzag[0] - pred;
        pred = zigzag[0];
        int s = jpegCategory(diff);
        bits.put(dcCode[s], dcLength[s]);
        bits.put(static_cast<uint32_t>(diff < 0 ? diff - 1 : diff), s);
        int run = 0;
        for (int k = 1; k < 64; k++) {
            int32_t v = zigzag[k];
            if (v == 0) {
                run++;
                continue;
            }
            for (; run > 15; run -= 16)
                bits.put(acCode[0xF0], acLength[0xF0]);
            s = jpegCategory(v);
            int symbol = (run << 4) | s;
            bits.put(acCode[symbol], acLength[symbol]);
            bits.put(static_cast<uint32_t>(v < 0 ? v - 1 : v), s);
            run = 0;
        }
        if (run > 0)
            bits.put(acCode[0x00], acLength[0x00]);
    }
    bits.flush();
    jpegMarker(out, 0xD9, 0);
    return 0;
}

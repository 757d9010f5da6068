#include <algorithm>
#include <cstring>

#include "codec/CodecTypes.h"
#include "codec/JpegHuffman.h"
#include "codec/JpegLosslessDecoder.h"

int jpegLosslessEncode(const JpegLosslessImage& image, std::vector<uint8_t>& out)
{
    out.clear();
    unsigned w = image.width, h = image.height, nc = image.components, p = image.precision;
    if (w == 0 || h == 0 || w > 65535 || h > 65535 || nc == 0 || nc > 4 || p < 2 || p > 16 ||
        image.samples.size() != size_t(w) * h * nc)
        return CODEC_ERR_UNSUPPORTED;
    const unsigned mask = (1u << p) - 1;
    const int initial = 1 << (p - 1);
    std::vector<int> diffs(image.samples.size());
    long frequencies[17] = {0};
    for (unsigned y = 0; y < h; y++)
        for (unsigned x = 0; x < w; x++)
            for (unsigned c = 0; c < nc; c++) {
                size_t i = (size_t(y) * w + x) * nc + c;
                int pred = y == 0 && x == 0 ? initial
                           : x == 0         ? image.samples[i - size_t(w) * nc] & mask
                                            : image.samples[i - nc] & mask;
                int diff = static_cast<int>(((image.samples[i] & mask) - pred) & 0xFFFF);
                if (diff >= 32768)
                    diff -= 65536;
                diffs[i] = diff;
                frequencies[jpegCategory(diff)]++;
            }
    uint8_t counts[16];
    std::vector<uint8_t> symbols;
    jpegOptimalTable(frequencies, 17, counts, symbols);
    uint32_t code[256];
    int length[256];
    jpegCodeTable(counts, symbols, code, length);

    out.push_back(0xFF);
    out.push_back(0xD8);
    jpegMarker(out, 0xC3, 8 + 3 * nc);
    out.push_back(static_cast<uint8_t>(p));
    out.push_back(static_cast<uint8_t>(h >> 8));
    out.push_back(static_cast<uint8_t>(h));
    out.push_back(static_cast<uint8_t>(w >> 8));
    out.push_back(static_cast<uint8_t>(w));
    out.push_back(static_cast<uint8_t>(nc));
    for (unsigned c = 0; c < nc; c++) {
        out.push_back(static_cast<uint8_t>(c + 1));
        out.push_back(0x11);
        out.push_back(0);
    }
    jpegWriteHuffmanTable(out, 0, 0, counts, symbols);
    jpegMarker(out, 0xDA, 6 + 2 * nc);
    out.push_back(static_cast<uint8_t>(nc));
    for (unsigned c = 0; c < nc; c++) {
        out.push_back(static_cast<uint8_t>(c + 1));
        out.push_back(0x00);
    }
    out.push_back(1);  // predictor: the sample to the left
    out.push_back(0);
    out.push_back(0);
    JpegBitWriter bits{out};
    for (int diff : diffs) {
        int s = jpegCategory(diff);
        bits.put(code[s], length[s]);
        if (s > 0 && s < 16)
            bits.put(static_cast<uint32_t>(diff < 0 ? diff - 1 : diff) & ((1u << s) - 1), s);
    }
    bits.flush();
    jpegMarker(out, 0xD9, 0);
    return 0;
}

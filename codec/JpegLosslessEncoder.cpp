#include <algorithm>
#include <cstring>

#include "codec/CodecTypes.h"
#include "codec/JpegLosslessDecoder.h"

namespace {

int category(int diff)
{
    if (diff == -32768)
        return 16;
    unsigned magnitude = static_cast<unsigned>(diff < 0 ? -diff : diff);
    int bits = 0;
    while (magnitude != 0) {
        bits++;
        magnitude >>= 1;
    }
    return bits;
}

// Code lengths from symbol frequencies, limited to 16 bits; counts[l-1] is
// the number of codes of length l and symbols lists them by length.
void buildTable(const long* frequencies, int symbolCount, uint8_t* counts, std::vector<uint8_t>& symbols)
{
    std::vector<long> freq(frequencies, frequencies + symbolCount);
    freq.push_back(1);  // reserved, keeps any code from being all ones
    int n = symbolCount + 1;
    std::vector<int> size(n, 0), others(n, -1);
    for (;;) {
        int v1 = -1, v2 = -1;
        for (int i = 0; i < n; i++)
            if (freq[i] > 0 && (v1 < 0 || freq[i] <= freq[v1]))
                v1 = i;
        for (int i = 0; i < n; i++)
            if (freq[i] > 0 && i != v1 && (v2 < 0 || freq[i] <= freq[v2]))
                v2 = i;
        if (v2 < 0)
            break;
        freq[v1] += freq[v2];
        freq[v2] = 0;
        for (size[v1]++; others[v1] >= 0; size[v1]++)
            v1 = others[v1];
        others[v1] = v2;
        for (size[v2]++; others[v2] >= 0; size[v2]++)
            v2 = others[v2];
    }
    int bits[64] = {0};
    for (int i = 0; i < n; i++)
        if (size[i] > 0)
            bits[std::min(size[i], 63)]++;
    for (int i = 63; i > 16; i--) {
        while (bits[i] > 0) {
            int j = i - 2;
            while (bits[j] == 0)
                j--;
            bits[i] -= 2;
            bits[i - 1]++;
            bits[j + 1] += 2;
            bits[j]--;
        }
    }
    int longest = 16;
    while (longest > 0 && bits[longest] == 0)
        longest--;
    bits[longest]--;  // drop the reserved code
    for (int l = 1; l <= 16; l++)
        counts[l - 1] = static_cast<uint8_t>(bits[l]);
    symbols.clear();
    for (int l = 1; l <= 63 && symbols.size() < size_t(n); l++)
        for (int i = 0; i < symbolCount; i++)
            if (size[i] == l)
                symbols.push_back(static_cast<uint8_t>(i));
}

struct BitWriter {
    std::vector<uint8_t>& out;
    uint32_t acc = 0;
    int count = 0;

    void put(uint32_t value, int bits)
    {
        while (bits > 0) {
            int take = std::min(bits, 16);
            bits -= take;
            acc = (acc << take) | ((value >> bits) & ((1u << take) - 1));
            count += take;
            while (count >= 8) {
                uint8_t byte = static_cast<uint8_t>(acc >> (count - 8));
                out.push_back(byte);
                if (byte == 0xFF)
                    out.push_back(0);
                count -= 8;
            }
        }
    }
    void flush()
    {
        if (count > 0)
            put((1u << (8 - count)) - 1, 8 - count);
    }
};

void marker(std::vector<uint8_t>& out, uint8_t code, size_t length)
{
    out.push_back(0xFF);
    out.push_back(code);
    if (length > 0) {
        out.push_back(static_cast<uint8_t>(length >> 8));
        out.push_back(static_cast<uint8_t>(length));
    }
}

}

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
                frequencies[category(diff)]++;
            }
    uint8_t counts[16];
    std::vector<uint8_t> symbols;
    buildTable(frequencies, 17, counts, symbols);
    uint32_t code[17] = {0};
    int length[17] = {0};
    uint32_t next = 0;
    size_t k = 0;
    for (int l = 1; l <= 16; l++) {
        for (int i = 0; i < counts[l - 1]; i++, k++) {
            code[symbols[k]] = next++;
            length[symbols[k]] = l;
        }
        next <<= 1;
    }

    out.push_back(0xFF);
    out.push_back(0xD8);
    marker(out, 0xC3, 8 + 3 * nc);
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
    marker(out, 0xC4, 3 + 16 + symbols.size());
    out.push_back(0x00);
    out.insert(out.end(), counts, counts + 16);
    out.insert(out.end(), symbols.begin(), symbols.end());
    marker(out, 0xDA, 6 + 2 * nc);
    out.push_back(static_cast<uint8_t>(nc));
    for (unsigned c = 0; c < nc; c++) {
        out.push_back(static_cast<uint8_t>(c + 1));
        out.push_back(0x00);
    }
    out.push_back(1);  // predictor: the sample to the left
    out.push_back(0);
    out.push_back(0);
    BitWriter bits{out};
    for (int diff : diffs) {
        int s = category(diff);
        bits.put(code[s], length[s]);
        if (s > 0 && s < 16)
            bits.put(static_cast<uint32_t>(diff < 0 ? diff - 1 : diff) & ((1u << s) - 1), s);
    }
    bits.flush();
    marker(out, 0xD9, 0);
    return 0;
}

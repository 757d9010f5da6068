#include "codec/JpegHuffman.h"

#include <algorithm>
#include <cstring>

bool JpegHuffmanTable::build(const uint8_t* counts, const uint8_t* vals, int total)
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

void JpegBitReader::fill()
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

bool JpegBitReader::restart()
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

int jpegDecodeSymbol(JpegBitReader& bits, const JpegHuffmanTable& table)
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

bool jpegReadHuffmanTables(const uint8_t* p, size_t len, JpegHuffmanTable* dc, JpegHuffmanTable* ac)
{
    while (len > 0) {
        if (len < 17)
            return false;
        int cls = p[0] >> 4, id = p[0] & 15;
        int total = 0;
        for (int i = 0; i < 16; i++)
            total += p[1 + i];
        JpegHuffmanTable* set = cls == 0 ? dc : cls == 1 ? ac : nullptr;
        if (set == nullptr || id > 3 || total > 256 || len < size_t(17 + total))
            return false;
        if (!set[id].build(p + 1, p + 17, total))
            return false;
        p += 17 + total;
        len -= 17 + total;
    }
    return true;
}

int JpegSegments::next(uint8_t& marker, const uint8_t*& body, size_t& length)
{
    while (pos < size) {
        if (data[pos] != 0xFF) {
            pos++;  // stray byte between segments
            continue;
        }
        if (pos + 1 >= size)
            return 0;
        marker = data[pos + 1];
        pos += 2;
        if (marker == 0xFF) {
            pos--;
            continue;
        }
        if (marker == 0xD9)
            return 0;
        if (marker == 0xD8 || marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7))
            continue;
        if (pos + 2 > size)
            return -1;
        size_t len = (data[pos] << 8) | data[pos + 1];
        if (len < 2 || pos + len > size)
            return -1;
        body = data + pos + 2;
        length = len - 2;
        pos += len;
        return 1;
    }
    return 0;
}

int jpegCategory(int value)
{
    unsigned magnitude = value < 0 ? 0u - static_cast<unsigned>(value) : static_cast<unsigned>(value);
    int bits = 0;
    while (magnitude != 0) {
        bits++;
        magnitude >>= 1;
    }
    return bits;
}

void jpegOptimalTable(const long* frequencies, int symbolCount, uint8_t* counts, std::vector<uint8_t>& symbols)
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
    int bits[300] = {0};
    for (int i = 0; i < n; i++)
        if (size[i] > 0)
            bits[std::min(size[i], 299)]++;
    for (int i = 299; i > 16; i--) {
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
    // Symbols by their (unlimited) code length, then by value: the order the
    // limited lengths are handed out in keeps the shortest codes for the most
    // frequent symbols.
    symbols.clear();
    for (int l = 1; l < n + 1 && symbols.size() < size_t(symbolCount); l++)
        for (int i = 0; i < symbolCount; i++)
            if (size[i] == l)
                symbols.push_back(static_cast<uint8_t>(i));
}

void jpegCodeTable(const uint8_t* counts, const std::vector<uint8_t>& symbols, uint32_t* code, int* length)
{
    for (int i = 0; i < 256; i++) {
        code[i] = 0;
        length[i] = 0;
    }
    uint32_t next = 0;
    size_t k = 0;
    for (int l = 1; l <= 16; l++) {
        for (int i = 0; i < counts[l - 1] && k < symbols.size(); i++, k++) {
            code[symbols[k]] = next++;
            length[symbols[k]] = l;
        }
        next <<= 1;
    }
}

void jpegMarker(std::vector<uint8_t>& out, uint8_t code, size_t length)
{
    out.push_back(0xFF);
    out.push_back(code);
    if (length > 0) {
        out.push_back(static_cast<uint8_t>(length >> 8));
        out.push_back(static_cast<uint8_t>(length));
    }
}

void jpegWriteHuffmanTable(std::vector<uint8_t>& out, int tableClass, int id, const uint8_t* counts,
                           const std::vector<uint8_t>& symbols)
{
    jpegMarker(out, 0xC4, 3 + 16 + symbols.size());
    out.push_back(static_cast<uint8_t>((tableClass << 4) | id));
    out.insert(out.end(), counts, counts + 16);
    out.insert(out.end(), symbols.begin(), symbols.end());
}

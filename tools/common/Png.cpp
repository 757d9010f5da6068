// A PNG writer without outside libraries: the zlib stream is made of stored
// deflate blocks, which every decoder reads; checksums are computed here.
#include "common/Png.h"

#include <array>
#include <cerrno>
#include <cstdio>

namespace b3tool {

namespace {

const size_t STORED_BLOCK_MAX = 65535;

void put32(std::vector<uint8_t>& out, uint32_t value)
{
    out.push_back(static_cast<uint8_t>(value >> 24));
    out.push_back(static_cast<uint8_t>(value >> 16));
    out.push_back(static_cast<uint8_t>(value >> 8));
    out.push_back(static_cast<uint8_t>(value));
}

void appendChunk(std::vector<uint8_t>& file, const char* type, const std::vector<uint8_t>& data)
{
    put32(file, static_cast<uint32_t>(data.size()));
    size_t start = file.size();
    file.insert(file.end(), type, type + 4);
    file.insert(file.end(), data.begin(), data.end());
    put32(file, crc32(file.data() + start, file.size() - start));
}

// The filtered scan lines: filter type 0 (none) before each row.
std::vector<uint8_t> scanLines(const PngImage& image)
{
    size_t bytesPerSample = image.bitDepth == 16 ? 2 : 1;
    size_t rowSamples = static_cast<size_t>(image.width) * image.channels;
    std::vector<uint8_t> raw;
    raw.reserve(image.height * (1 + rowSamples * bytesPerSample));
    for (unsigned int y = 0; y < image.height; y++) {
        raw.push_back(0);
        const uint16_t* row = image.samples.data() + y * rowSamples;
        for (size_t i = 0; i < rowSamples; i++) {
            if (bytesPerSample == 2)
                raw.push_back(static_cast<uint8_t>(row[i] >> 8));
            raw.push_back(static_cast<uint8_t>(row[i]));
        }
    }
    return raw;
}

std::vector<uint8_t> zlibStored(const std::vector<uint8_t>& raw)
{
    std::vector<uint8_t> out;
    out.reserve(raw.size() + raw.size() / STORED_BLOCK_MAX * 5 + 16);
    out.push_back(0x78);  // deflate, 32K window
    out.push_back(0x01);  // no dictionary, fastest; 0x7801 is a multiple of 31
    size_t pos = 0;
    do {
        size_t len = raw.size() - pos < STORED_BLOCK_MAX ? raw.size() - pos : STORED_BLOCK_MAX;
        bool last = pos + len == raw.size();
        out.push_back(last ? 1 : 0);  // BFINAL, BTYPE 00 (stored)
        out.push_back(static_cast<uint8_t>(len));
        out.push_back(static_cast<uint8_t>(len >> 8));
        out.push_back(static_cast<uint8_t>(~len));
        out.push_back(static_cast<uint8_t>(~len >> 8));
        out.insert(out.end(), raw.begin() + pos, raw.begin() + pos + len);
        pos += len;
    } while (pos < raw.size());
    put32(out, adler32(raw.data(), raw.size()));
    return out;
}

}

uint32_t crc32(const uint8_t* data, size_t len, uint32_t crc)
{
    static const std::array<uint32_t, 256> table = [] {
        std::array<uint32_t, 256> t{};
        for (uint32_t n = 0; n < 256; n++) {
            uint32_t c = n;
            for (int k = 0; k < 8; k++)
                c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            t[n] = c;
        }
        return t;
    }();
    crc = ~crc;
    for (size_t i = 0; i < len; i++)
        crc = table[(crc ^ data[i]) & 0xFF] ^ (crc >> 8);
    return ~crc;
}

uint32_t adler32(const uint8_t* data, size_t len, uint32_t adler)
{
    const uint32_t mod = 65521;
    uint32_t a = adler & 0xFFFF;
    uint32_t b = adler >> 16;
    while (len > 0) {
        // 5552 bytes keep the sums below 2^32 before reducing.
        size_t run = len < 5552 ? len : 5552;
        len -= run;
        while (run-- > 0) {
            a += *data++;
            b += a;
        }
        a %= mod;
        b %= mod;
    }
    return (b << 16) | a;
}

bool writePng(const std::string& path, const PngImage& image)
{
    static const uint8_t signature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    std::vector<uint8_t> file(signature, signature + 8);

    std::vector<uint8_t> header;
    put32(header, image.width);
    put32(header, image.height);
    header.push_back(static_cast<uint8_t>(image.bitDepth));
    header.push_back(image.channels == 3 ? 2 : 0);  // colour type: truecolour or greyscale
    header.push_back(0);                            // compression: deflate
    header.push_back(0);                            // filter method 0
    header.push_back(0);                            // no interlace
    appendChunk(file, "IHDR", header);
    appendChunk(file, "IDAT", zlibStored(scanLines(image)));
    appendChunk(file, "IEND", {});

    FILE* out = fopen(path.c_str(), "wb");
    if (out == nullptr)
        return false;
    bool written = fwrite(file.data(), 1, file.size(), out) == file.size();
    int saved = errno;
    if (fclose(out) != 0 && written) {
        written = false;
        saved = errno;
    }
    errno = saved;
    return written;
}

}

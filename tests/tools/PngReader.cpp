#include "PngReader.h"

namespace {

uint32_t be32(const std::string& b, size_t at)
{
    return (uint32_t(uint8_t(b[at])) << 24) | (uint32_t(uint8_t(b[at + 1])) << 16) |
           (uint32_t(uint8_t(b[at + 2])) << 8) | uint32_t(uint8_t(b[at + 3]));
}

// Bit by bit, independent of the writer's table.
uint32_t slowCrc(const std::string& bytes, size_t from, size_t len)
{
    uint32_t crc = 0xFFFFFFFFu;
    for (size_t i = from; i < from + len; i++) {
        crc ^= uint8_t(bytes[i]);
        for (int k = 0; k < 8; k++)
            crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1)));
    }
    return ~crc;
}

uint32_t slowAdler(const std::vector<uint8_t>& data)
{
    uint32_t a = 1, b = 0;
    for (uint8_t byte : data) {
        a = (a + byte) % 65521;
        b = (b + a) % 65521;
    }
    return (b << 16) | a;
}

}

unsigned int PngPicture::sample(uint32_t x, uint32_t y, int c) const
{
    size_t bytes = bitDepth == 16 ? 2 : 1;
    size_t row = 1 + size_t(width) * channels() * bytes;
    size_t at = y * row + 1 + (size_t(x) * channels() + c) * bytes;
    return bytes == 2 ? (unsigned(scanLines[at]) << 8) | scanLines[at + 1] : scanLines[at];
}

std::string readPng(const std::string& bytes, PngPicture& picture)
{
    static const char signature[] = "\x89PNG\r\n\x1a\n";
    if (bytes.size() < 8 || bytes.compare(0, 8, signature, 8) != 0)
        return "no PNG signature";
    std::string idat;
    size_t pos = 8;
    while (pos + 12 <= bytes.size()) {
        uint32_t len = be32(bytes, pos);
        if (pos + 12 + len > bytes.size())
            return "chunk runs past the end";
        std::string type = bytes.substr(pos + 4, 4);
        if (slowCrc(bytes, pos + 4, 4 + len) != be32(bytes, pos + 8 + len))
            return "bad CRC in " + type;
        picture.chunks.push_back(type);
        if (type == "IHDR") {
            picture.width = be32(bytes, pos + 8);
            picture.height = be32(bytes, pos + 12);
            picture.bitDepth = uint8_t(bytes[pos + 16]);
            picture.colourType = uint8_t(bytes[pos + 17]);
        } else if (type == "IDAT") {
            idat += bytes.substr(pos + 8, len);
        }
        pos += 12 + len;
    }
    if (pos != bytes.size())
        return "trailing bytes after the last chunk";
    if (idat.size() < 6 || ((uint8_t(idat[0]) << 8) | uint8_t(idat[1])) % 31 != 0 || (uint8_t(idat[0]) & 0x0F) != 8)
        return "bad zlib header";
    size_t at = 2;
    bool last = false;
    while (!last) {
        if (at + 5 > idat.size())
            return "deflate stream cut short";
        uint8_t head = uint8_t(idat[at]);
        last = head & 1;
        if ((head >> 1) != 0)
            return "not a stored deflate block";
        unsigned len = uint8_t(idat[at + 1]) | (uint8_t(idat[at + 2]) << 8);
        unsigned nlen = uint8_t(idat[at + 3]) | (uint8_t(idat[at + 4]) << 8);
        if ((len ^ 0xFFFF) != nlen)
            return "stored block length check fails";
        if (at + 5 + len > idat.size())
            return "stored block runs past the end";
        picture.scanLines.insert(picture.scanLines.end(), idat.begin() + at + 5, idat.begin() + at + 5 + len);
        at += 5 + len;
    }
    if (at + 4 != idat.size() || be32(idat, at) != slowAdler(picture.scanLines))
        return "bad Adler-32";
    size_t row = 1 + size_t(picture.width) * picture.channels() * (picture.bitDepth == 16 ? 2 : 1);
    if (picture.scanLines.size() != row * picture.height)
        return "scan lines do not match the header";
    for (uint32_t y = 0; y < picture.height; y++)
        if (picture.scanLines[y * row] != 0)
            return "unexpected filter type";
    return "";
}

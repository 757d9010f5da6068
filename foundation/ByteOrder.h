#ifndef BRENIK3_FOUNDATION_BYTEORDER_H
#define BRENIK3_FOUNDATION_BYTEORDER_H

#include <cstdint>

// Reading and writing 16- and 32-bit numbers in a given byte order, for every
// encoder and decoder of the library.
namespace byteorder {

inline uint16_t get16(const unsigned char* p, bool bigEndian)
{
    return bigEndian ? uint16_t((p[0] << 8) | p[1]) : uint16_t(p[0] | (p[1] << 8));
}

inline uint32_t get32(const unsigned char* p, bool bigEndian)
{
    return bigEndian ? (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3]
                     : uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}

inline void put16(unsigned char* p, uint16_t v, bool bigEndian)
{
    if (bigEndian) {
        p[0] = uint8_t(v >> 8);
        p[1] = uint8_t(v);
    } else {
        p[0] = uint8_t(v);
        p[1] = uint8_t(v >> 8);
    }
}

inline void put32(unsigned char* p, uint32_t v, bool bigEndian)
{
    if (bigEndian) {
        p[0] = uint8_t(v >> 24);
        p[1] = uint8_t(v >> 16);
        p[2] = uint8_t(v >> 8);
        p[3] = uint8_t(v);
    } else {
        p[0] = uint8_t(v);
        p[1] = uint8_t(v >> 8);
        p[2] = uint8_t(v >> 16);
        p[3] = uint8_t(v >> 24);
    }
}

// The tag as group then element, each in the given byte order.
inline uint32_t getTag(const unsigned char* p, bool bigEndian)
{
    return (uint32_t(get16(p, bigEndian)) << 16) | get16(p + 2, bigEndian);
}

inline void putTag(unsigned char* p, uint32_t tag, bool bigEndian)
{
    put16(p, uint16_t(tag >> 16), bigEndian);
    put16(p + 2, uint16_t(tag), bigEndian);
}

}

#endif

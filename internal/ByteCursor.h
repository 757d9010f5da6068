#ifndef BRENIK3_INTERNAL_BYTECURSOR_H
#define BRENIK3_INTERNAL_BYTECURSOR_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "foundation/ByteOrder.h"

// Bounds-checked reading and writing of encoded bytes (PDUs, directory
// records, the meta group), in one byte order per cursor.
namespace brenik3 {

// Reads from [data, data + size). A read that would pass the end reads
// nothing, returns false and marks the reader failed; the position stays.
class ByteReader {
public:
    ByteReader(const unsigned char* data, size_t size, bool bigEndian) : p(data), n(size), big(bigEndian) {}

    size_t pos() const { return at; }
    size_t remaining() const { return n - at; }
    bool failed() const { return bad; }

    bool u8(unsigned int& value)
    {
        if (!fits(1))
            return false;
        value = p[at++];
        return true;
    }
    bool u16(unsigned int& value)
    {
        if (!fits(2))
            return false;
        value = byteorder::get16(p + at, big);
        at += 2;
        return true;
    }
    bool u32(uint32_t& value)
    {
        if (!fits(4))
            return false;
        value = byteorder::get32(p + at, big);
        at += 4;
        return true;
    }
    // A tag: group, then element.
    bool tag(uint32_t& value)
    {
        if (!fits(4))
            return false;
        value = byteorder::getTag(p + at, big);
        at += 4;
        return true;
    }
    // The next len bytes, or null when fewer remain.
    const unsigned char* bytes(size_t len)
    {
        if (!fits(len))
            return nullptr;
        const unsigned char* start = p + at;
        at += len;
        return start;
    }
    bool skip(size_t len) { return bytes(len) != nullptr; }

private:
    const unsigned char* p;
    size_t n;
    size_t at = 0;
    bool big;
    bool bad = false;

    bool fits(size_t len)
    {
        if (bad || len > n - at) {
            bad = true;
            return false;
        }
        return true;
    }
};

// Appends to a buffer of fixed capacity. A write that would pass its end
// writes nothing and marks the writer overflowed; so do later writes.
class ByteWriter {
public:
    ByteWriter(unsigned char* buffer, size_t capacity, bool bigEndian) : buf(buffer), cap(capacity), big(bigEndian) {}

    size_t pos() const { return at; }
    bool overflowed() const { return over; }

    void bytes(const void* data, size_t len)
    {
        if (fits(len)) {
            memcpy(buf + at, data, len);
            at += len;
        }
    }
    void zeros(size_t len)
    {
        if (fits(len)) {
            memset(buf + at, 0, len);
            at += len;
        }
    }
    void u8(unsigned int value)
    {
        if (fits(1))
            buf[at++] = static_cast<unsigned char>(value);
    }
    void u16(unsigned int value)
    {
        if (fits(2)) {
            byteorder::put16(buf + at, static_cast<uint16_t>(value), big);
            at += 2;
        }
    }
    void u32(uint32_t value)
    {
        if (fits(4)) {
            byteorder::put32(buf + at, value, big);
            at += 4;
        }
    }
    void tag(uint32_t value)
    {
        if (fits(4)) {
            byteorder::putTag(buf + at, value, big);
            at += 4;
        }
    }
    // Overwrites a number already written at offset `where`.
    void patch16(size_t where, unsigned int value)
    {
        if (!over && where <= at && at - where >= 2)
            byteorder::put16(buf + where, static_cast<uint16_t>(value), big);
    }
    void patch32(size_t where, uint32_t value)
    {
        if (!over && where <= at && at - where >= 4)
            byteorder::put32(buf + where, value, big);
    }

private:
    unsigned char* buf;
    size_t cap;
    size_t at = 0;
    bool big;
    bool over = false;

    bool fits(size_t len)
    {
        if (over || len > cap - at) {
            over = true;
            return false;
        }
        return true;
    }
};

}

#endif

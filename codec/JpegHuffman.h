#ifndef BRENIK3_CODEC_JPEGHUFFMAN_H
#define BRENIK3_CODEC_JPEGHUFFMAN_H

// The pieces every JPEG coder of ours shares: marker segments, Huffman
// tables, and entropy-coded bits in both directions. Internal to the codec
// library.
#include <cstddef>
#include <cstdint>
#include <vector>

// ---- reading ---------------------------------------------------------------

// One Huffman table for decoding.
struct JpegHuffmanTable {
    bool defined = false;
    int maxcode[18];
    int valptr[17];
    int mincode[17];
    uint8_t values[256];
    uint16_t fast[256];  // (length << 8) | value for codes of at most 8 bits; 0 otherwise

    // Builds the table from the 16 code counts and the symbol values of a
    // DHT segment; false when the counts overflow the code space.
    bool build(const uint8_t* counts, const uint8_t* vals, int total);
};

// Entropy-coded bits with byte stuffing; reads zeros past a marker or the end.
struct JpegBitReader {
    const uint8_t* data;
    size_t size;
    size_t pos;
    uint64_t acc = 0;
    int count = 0;
    bool atMarker = false;
    size_t padding = 0;

    void fill();
    // The next `bits` bits (1 to 16) without taking them.
    unsigned peek(int bits)
    {
        if (count < bits)
            fill();
        return static_cast<unsigned>(acc >> (64 - bits));
    }
    void skip(int bits)
    {
        acc <<= bits;
        count -= bits;
    }
    // Takes `bits` bits (0 to 16).
    unsigned take(int bits)
    {
        if (bits == 0)
            return 0;
        unsigned v = peek(bits);
        skip(bits);
        return v;
    }
    // Bits taken beyond the end of the entropy-coded data.
    long overrun() const { return static_cast<long>(padding) * 8 - count; }
    // Drops the bits left and steps over a restart marker; false when none follows.
    bool restart();
};

// The next Huffman symbol, or -1 for a code the table does not hold.
int jpegDecodeSymbol(JpegBitReader& bits, const JpegHuffmanTable& table);

// The signed value of `s` extra bits (the JPEG EXTEND rule), s from 1 to 16.
inline int jpegExtend(unsigned v, int s)
{
    return v < (1u << (s - 1)) ? static_cast<int>(v) - (1 << s) + 1 : static_cast<int>(v);
}

// Reads the tables of one DHT segment into dc (class 0) and ac (class 1,
// null when the caller takes none); returns false for a malformed segment.
bool jpegReadHuffmanTables(const uint8_t* p, size_t len, JpegHuffmanTable* dc, JpegHuffmanTable* ac);

// Walks the marker segments of a codestream after its start-of-image marker.
struct JpegSegments {
    const uint8_t* data;
    size_t size;
    size_t pos = 2;

    // One segment: 1 with marker, body and length set; 0 at the end-of-image
    // marker or the end of the data; -1 when a segment runs past the end.
    // A scan's entropy-coded data follows its SOS body: its reader sets pos
    // past it before the next call.
    int next(uint8_t& marker, const uint8_t*& body, size_t& length);
};

// Walks a codestream from its start-of-image marker, handing each segment to
// visit(marker, body, length, segments) until visit returns a status; fail
// words what is wrong with the stream itself (no start, a segment past the
// end, no scan) and gives the status for it.
template <typename Visit, typename Fail>
int jpegWalkSegments(const uint8_t* data, size_t size, Fail fail, Visit visit)
{
    if (size < 4 || data[0] != 0xFF || data[1] != 0xD8)
        return fail("no start-of-image marker");
    JpegSegments segments{data, size};
    bool scanned = false;
    uint8_t marker = 0;
    const uint8_t* body = nullptr;
    size_t length = 0;
    int found;
    while ((found = segments.next(marker, body, length)) > 0) {
        scanned = scanned || marker == 0xDA;
        int status = visit(marker, body, length, segments);
        if (status != 0)
            return status;
    }
    if (found < 0)
        return fail("segment runs past the end");
    return scanned ? 0 : fail("no scan");
}

// ---- writing ---------------------------------------------------------------

// The number of bits of a difference's magnitude (its Huffman category).
int jpegCategory(int value);

// An optimal code, at most 16 bits long, for symbols 0 to symbolCount - 1 of
// the given frequencies: counts[l-1] codes of length l, symbols ordered by
// length (the layout of a DHT segment). Symbols of frequency 0 get no code.
void jpegOptimalTable(const long* frequencies, int symbolCount, uint8_t* counts, std::vector<uint8_t>& symbols);

// The code and length of each symbol (0 to 255) of a table in DHT layout.
void jpegCodeTable(const uint8_t* counts, const std::vector<uint8_t>& symbols, uint32_t* code, int* length);

// Entropy-coded bits with byte stuffing.
struct JpegBitWriter {
    std::vector<uint8_t>& out;
    uint64_t acc = 0;
    int count = 0;

    // Appends the low `bits` bits (0 to 32) of value.
    void put(uint32_t value, int bits)
    {
        if (bits == 0)
            return;
        acc = (acc << bits) | (value & (0xFFFFFFFFu >> (32 - bits)));
        count += bits;
        while (count >= 8) {
            uint8_t byte = static_cast<uint8_t>(acc >> (count - 8));
            out.push_back(byte);
            if (byte == 0xFF)
                out.push_back(0);
            count -= 8;
        }
    }
    // Pads the last byte with one bits.
    void flush()
    {
        if (count > 0)
            put((1u << (8 - count)) - 1, 8 - count);
    }
};

// Appends a marker, with a segment length when length is not 0.
void jpegMarker(std::vector<uint8_t>& out, uint8_t code, size_t length);

// Appends a DHT segment holding one table.
void jpegWriteHuffmanTable(std::vector<uint8_t>& out, int tableClass, int id, const uint8_t* counts,
                           const std::vector<uint8_t>& symbols);

#endif

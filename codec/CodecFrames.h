#ifndef BRENIK3_CODEC_CODECFRAMES_H
#define BRENIK3_CODEC_CODECFRAMES_H

#include <cstddef>
#include <cstdint>
#include <vector>

class DcElem;

// The bytes of a Pixel Data value, held in memory or in disk buffers (one
// after another), read piece by piece so that nothing larger than what is
// asked for is ever loaded.
class CodecPixelBytes {
public:
    explicit CodecPixelBytes(DcElem& pixelData);
    // A plain memory span (for decoders called on a buffer of their own).
    CodecPixelBytes(const uint8_t* data, size_t size);

    uint64_t size() const { return total; }
    // Copies len bytes at offset into out; false when past the end or on a
    // read error.
    bool read(uint64_t offset, size_t len, uint8_t* out) const;

private:
    struct Piece {
        const uint8_t* memory;
        int handle;
        int64_t fileOffset;
        uint64_t start;
        uint64_t length;
    };
    std::vector<Piece> pieces;
    uint64_t total = 0;
};

// The frames of encapsulated Pixel Data: the offset table item and the
// fragment items that follow it. Frames are found through the offset table,
// or, when it is empty, one per fragment, or by the fragments that begin a
// codestream (a 0xFF marker byte pair), or as all fragments for one frame.
class CodecFrames {
public:
    // Scans the items' headers; returns 0 or CODEC_ERR_BAD_ITEMS,
    // CODEC_ERR_BAD_OFFSETS.
    int open(const CodecPixelBytes& bytes, unsigned int frames);

    unsigned int count() const { return static_cast<unsigned int>(frameStarts.size()); }
    size_t fragmentCount() const { return fragments.size(); }
    bool hadOffsetTable() const { return offsetTableUsed; }
    // The fragments of frame index (from 0) joined into out.
    int read(unsigned int index, std::vector<uint8_t>& out) const;

private:
    struct Fragment {
        uint64_t offset;  // of the fragment's bytes within the value
        uint32_t length;
        uint32_t itemStart;  // of its item header, from the first fragment item
        bool startsCodestream;
    };
    const CodecPixelBytes* source = nullptr;
    std::vector<Fragment> fragments;
    std::vector<size_t> frameStarts;  // first fragment of each frame
    bool offsetTableUsed = false;
};

// Reads a whole encapsulated value held in memory: a convenience for
// callers (and fuzz targets) that hold the bytes themselves.
int codecSplitFrames(const uint8_t* data, size_t size, unsigned int frames,
                     std::vector<std::vector<uint8_t>>& out);

// The 8-byte header of an item of length bytes, as it precedes the offset
// table and each fragment.
void codecItemHeader(uint32_t length, uint8_t header[8]);

// Builds the encapsulated value (offset table item with the frames'
// offsets, then one fragment per frame, each padded to even length).
std::vector<uint8_t> codecEncapsulate(const std::vector<std::vector<uint8_t>>& frames);

#endif

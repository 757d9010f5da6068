#ifndef BRENIK3_SERVICE_DCMSMRAWPICK_H
#define BRENIK3_SERVICE_DCMSMRAWPICK_H

#include "foundation/Export.h"
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Extension: picks the values of a few top-level elements out of an encoded
// data set that arrives in pieces of any size, without keeping the data set:
// memory stays at a few hundred bytes whatever it holds. Nested sequences and
// encapsulated pixel data are stepped over; only values of up to
// DcMsmRawPick::VALUE_MAX bytes are kept. Used by the bit-preserving store
// and send (DcMsmRawStore.h), and usable on any byte stream of a data set.
class BRENIK3_API DcMsmRawPick {
public:
    enum Encoding { IMPLICIT_LITTLE, EXPLICIT_LITTLE, EXPLICIT_BIG };
    enum { VALUE_MAX = 256, DEPTH_MAX = 64 };

    // Picks the given tags (group << 16 | element); scanning stops at the
    // first top-level element whose tag is stopTag or above.
    DcMsmRawPick(Encoding encoding, std::vector<uint32_t> tags, uint32_t stopTag);

    // The next bytes of the data set.
    void feed(const unsigned char* data, size_t len);

    // The scan reached stopTag (stopOffset is where that element begins).
    bool finished() const { return state == DONE; }
    // The bytes did not read as a data set; values picked before stay.
    bool failed() const { return state == FAILED; }
    uint64_t stopOffset() const { return stopAt; }
    // The value of a picked tag with trailing blanks and NULs removed; empty
    // when it did not occur.
    std::string text(uint32_t tag) const;
    // Whether the tag occurred at top level.
    bool found(uint32_t tag) const;

private:
    enum State { HEADER, VALUE, SKIP, DONE, FAILED };
    struct Picked {
        uint32_t tag;
        bool found;
        std::string value;
    };

    void headerComplete();
    bool implicitHere() const { return levels.empty() ? encoding == IMPLICIT_LITTLE : levels.back(); }

    Encoding encoding;
    uint32_t stopTag;
    std::vector<Picked> picked;
    // One entry per open element of undefined length: whether its content
    // is implicit VR (the content of UN is, whatever the data set's syntax).
    std::vector<bool> levels;
    State state = HEADER;
    unsigned char header[12];
    unsigned int headerHave = 0;
    unsigned int headerNeed = 8;
    uint64_t remaining = 0;  // bytes of the value being kept or skipped
    Picked* target = nullptr;
    uint64_t offset = 0;     // bytes fed so far
    uint64_t elementStart = 0;
    uint64_t stopAt = 0;
};

#endif

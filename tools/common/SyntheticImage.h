#ifndef BRENIK3_TOOLS_SYNTHETICIMAGE_H
#define BRENIK3_TOOLS_SYNTHETICIMAGE_H

#include <cstdint>
#include <string>
#include <vector>

class DcElemList;

namespace b3tool {

// What a synthetic CT slice is made of. Empty UIDs are generated.
struct SyntheticSlice {
    unsigned int size = 256;     // rows and columns
    int instance = 1;            // instance number; moves the slice along the body
    std::string patientName = "Demo^Patient";
    std::string patientId = "B3-0001";
    std::string studyUid;
    std::string seriesUid;
    std::string sopInstanceUid;
    bool bigEndian = false;      // pixel data bytes in big-endian order
};

// A new UID from the dictionary's generator, made unique across processes
// by the process ID (the generator counts within one process only).
std::string newUid();

// The stored values (Hounsfield units + 1024, 12 bits) of a CT-like axial
// slice: air, a body outline with fat, soft tissue, two lungs, heart, spine,
// ribs and the table, with a little deterministic noise.
std::vector<uint16_t> syntheticPixels(unsigned int size, int instance);

// Fills list with a complete CT Image Storage object holding that slice
// (patient, study, series, image plane and pixel modules, window 40/400).
// Returns 0 or the first status a library call gave.
int makeSyntheticSlice(const SyntheticSlice& slice, DcElemList& list);

}

#endif

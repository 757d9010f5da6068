#ifndef BRENIK3_INTERNAL_VRLENGTH_H
#define BRENIK3_INTERNAL_VRLENGTH_H

#include "dictionary/DcDictTypes.h"

namespace brenik3 {

// Longest value of each VR, by DICT_VR value from VR_AE to VR_XS: characters
// for text VRs, bytes of the stored form for the others, 0 where no limit
// applies. The dictionary answers getVrLen from it and the element checks
// take their limits from it.
constexpr int VR_MAX_LENGTH[] = {
    16, 4, 12, 16, 22, 16, 26, 4, 8, 12,            // AE AS AT CS DA DS DT FL FD IS
    64, 10240, 0, 0, 324, 16, 4, 0, 2, 1024,        // LO LT OB OW PN SH SL SQ SS ST
    34, 64, 4, 0, 2, 32768, 0, 0, 0, 0,             // TM UI UL UN US UT RT IM EX SI
    0, 4, 2,                                        // OX XL XS
};

// The limit of vr; 0 for a value outside the table.
constexpr int vrMaxLength(DICT_VR vr)
{
    return vr >= VR_AE && vr <= VR_XS ? VR_MAX_LENGTH[vr] : 0;
}

static_assert(sizeof VR_MAX_LENGTH / sizeof VR_MAX_LENGTH[0] == VR_XS + 1, "one limit per VR");

}

#endif

#ifndef BRENIK3_DATASET_DCELEMCODEC_H
#define BRENIK3_DATASET_DCELEMCODEC_H

#include <cstring>

#include "dictionary/DcDictCurrentUids.h"
#include "dictionary/DcDictTypes.h"

// Facts about value representations and transfer syntaxes shared by the
// element, sequence, data set and locating code.
namespace elemcodec {

enum : unsigned int {
    TAG_PIXEL_DATA = 0x7FE00010,
    TAG_ITEM = 0xFFFEE000,
    TAG_ITEM_DELIMITATION = 0xFFFEE00D,
    TAG_SEQUENCE_DELIMITATION = 0xFFFEE0DD,
    UNDEFINED_LENGTH = 0xFFFFFFFF
};

// Pixel Data is encapsulated in every syntax but the three uncompressed ones
// and the deflated one (whose data set is explicit little endian once inflated).
inline bool isCompressed(DICT_UID xfer)
{
    return (xfer < UID_LITTLE_ENDIAN_IMPLICIT || xfer > UID_BIG_ENDIAN_EXPLICIT) &&
           static_cast<int>(xfer) != UID_XFER_DEFLATED_EXPLICIT_VR_LITTLE_ENDIAN;
}

// The VRs after VR_UNKNOWN: OD, OF, OL, OV, SV, UV, UC, UR.
inline bool isNewerVr(DICT_VR vr)
{
    return vr >= VR_OD && vr <= VR_UR;
}

// The newer VR named by two letters on the wire, or VR_UNKNOWN.
inline DICT_VR newerVrOf(const unsigned char* letters)
{
    static const char names[] = "ODOFOLOVSVUVUCUR";
    for (int i = 0; i < 8; ++i)
        if (memcmp(letters, names + 2 * i, 2) == 0)
            return static_cast<DICT_VR>(VR_OD + i);
    return VR_UNKNOWN;
}

// Bytes swapped as one unit between byte orders for a newer VR (1: none).
inline unsigned int newerVrSwapUnit(DICT_VR vr)
{
    switch (vr) {
    case VR_OD: case VR_OV: case VR_SV: case VR_UV: return 8;
    case VR_OF: case VR_OL: return 4;
    default: return 1;
    }
}

inline bool isExplicit(DICT_UID xfer)
{
    return xfer != UID_LITTLE_ENDIAN_IMPLICIT;
}

// Values kept as raw buffers rather than in the value array.
// The newer VRs are kept the same way, as the bytes that were read.
inline bool isRawVr(DICT_VR vr)
{
    return vr == VR_OB || vr == VR_OW || vr == VR_UN || vr == VR_OX || isNewerVr(vr);
}

// Explicit VR: two reserved bytes follow the VR letters.
inline bool hasReservedBytes(DICT_VR vr)
{
    return vr == VR_OB || vr == VR_OW || vr == VR_UN || vr == VR_UT || vr == VR_OX || vr == VR_SQ ||
           isNewerVr(vr);
}

// Explicit VR: a 4-byte value length field.
inline bool hasLongLength(DICT_VR vr)
{
    return vr == VR_OB || vr == VR_OW || vr == VR_SQ || vr == VR_UN || vr == VR_UT || vr == VR_SI ||
           vr == VR_OX || isNewerVr(vr);
}

// Text VRs whose values are stored as strings.
inline bool isTextVr(DICT_VR vr)
{
    switch (vr) {
    case VR_AE: case VR_AS: case VR_CS: case VR_DA: case VR_DS: case VR_DT: case VR_IS: case VR_LO:
    case VR_LT: case VR_PN: case VR_SH: case VR_ST: case VR_TM: case VR_UI: case VR_UT:
        return true;
    default:
        return false;
    }
}

// The two letters of a VR as written on the wire (OX, XL and XS as OB, UL, US).
const char* wireName(DICT_VR vr);
// The two letters of a VR for messages and prints ("??" when none).
const char* vrName(DICT_VR vr);

// The lossless mode of the data set being parsed on this thread (-1 when
// none is): data sets created meanwhile, the items of its sequences, take it.
int losslessParsing();

// Marks the parse of a data set of the given mode for the time it lives.
class LosslessParseScope {
public:
    explicit LosslessParseScope(bool on);
    ~LosslessParseScope();
    LosslessParseScope(const LosslessParseScope&) = delete;
    LosslessParseScope& operator=(const LosslessParseScope&) = delete;

private:
    int saved;
};

// Byte order of a transfer syntax through the dictionary; false when unknown.
bool bigEndian(DICT_UID xfer, bool& big);

}

#endif

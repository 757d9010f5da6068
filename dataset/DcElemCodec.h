#ifndef BRENIK3_DATASET_DCELEMCODEC_H
#define BRENIK3_DATASET_DCELEMCODEC_H

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

// Pixel Data is encapsulated in every syntax but the three uncompressed ones.
inline bool isCompressed(DICT_UID xfer)
{
    return xfer < UID_LITTLE_ENDIAN_IMPLICIT || xfer > UID_BIG_ENDIAN_EXPLICIT;
}

inline bool isExplicit(DICT_UID xfer)
{
    return xfer != UID_LITTLE_ENDIAN_IMPLICIT;
}

// Values kept as raw buffers rather than in the value array.
inline bool isRawVr(DICT_VR vr)
{
    return vr == VR_OB || vr == VR_OW || vr == VR_UN || vr == VR_OX;
}

// Explicit VR: two reserved bytes follow the VR letters.
inline bool hasReservedBytes(DICT_VR vr)
{
    return vr == VR_OB || vr == VR_OW || vr == VR_UN || vr == VR_UT || vr == VR_OX || vr == VR_SQ;
}

// Explicit VR: a 4-byte value length field.
inline bool hasLongLength(DICT_VR vr)
{
    return vr == VR_OB || vr == VR_OW || vr == VR_SQ || vr == VR_UN || vr == VR_UT || vr == VR_SI ||
           vr == VR_OX;
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

// Byte order of a transfer syntax through the dictionary; false when unknown.
bool bigEndian(DICT_UID xfer, bool& big);

}

#endif

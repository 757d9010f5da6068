#include "dataset/DcElemCodec.h"

#include "dictionary/DcDict.h"

namespace elemcodec {

namespace {
const char* const vrNames[] = {"AE", "AS", "AT", "CS", "DA", "DS", "DT", "FL", "FD", "IS", "LO",
                               "LT", "OB", "OW", "PN", "SH", "SL", "SQ", "SS", "ST", "TM", "UI",
                               "UL", "UN", "US", "UT", "RT", "IM", "EX", "SI", "OX", "XL", "XS", "??",
                               "OD", "OF", "OL", "OV", "SV", "UV", "UC", "UR"};
}

const char* vrName(DICT_VR vr)
{
    return vr >= VR_AE && vr <= VR_UR ? vrNames[vr] : "??";
}

const char* wireName(DICT_VR vr)
{
    switch (vr) {
    case VR_OX: return "OB";
    case VR_XL: return "UL";
    case VR_XS: return "US";
    default: return vrName(vr);
    }
}

namespace {
thread_local int parsingMode = -1;
}

int losslessParsing()
{
    return parsingMode;
}

LosslessParseScope::LosslessParseScope(bool on) : saved(parsingMode)
{
    parsingMode = on ? 1 : 0;
}

LosslessParseScope::~LosslessParseScope()
{
    parsingMode = saved;
}

bool bigEndian(DICT_UID xfer, bool& big)
{
    // The uncompressed syntaxes are built in and cannot be removed.
    if (xfer == UID_LITTLE_ENDIAN_IMPLICIT || xfer == UID_LITTLE_ENDIAN_EXPLICIT || xfer == UID_BIG_ENDIAN_EXPLICIT) {
        big = xfer == UID_BIG_ENDIAN_EXPLICIT;
        return true;
    }
    ARCH_ENDIAN endian;
    if (Dict.getEndian(xfer, endian) != 0)
        return false;
    big = endian == ENDIAN_BIG;
    return true;
}

}

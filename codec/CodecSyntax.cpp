#include "codec/CodecSyntax.h"

#include <mutex>

#include "dictionary/DcDict.h"

namespace {

struct AddedSyntax {
    const char* uid;
    const char* description;
    DICT_UID number;
};

AddedSyntax added[] = {
    {"1.2.840.10008.1.2.4.80", "JPEG-LS Lossless Image Compression", UID_NONE},
    {"1.2.840.10008.1.2.4.81", "JPEG-LS Lossy (Near-Lossless) Image Compression", UID_NONE},
    {"1.2.840.10008.1.2.4.90", "JPEG 2000 Image Compression (Lossless Only)", UID_NONE},
    {"1.2.840.10008.1.2.4.91", "JPEG 2000 Image Compression", UID_NONE},
    {"1.2.840.10008.1.2.1.99", "Deflated Explicit VR Little Endian", UID_NONE},
};

std::once_flag registered;

DICT_UID number(int i)
{
    codecRegisterSyntaxes();
    return added[i].number;
}

}

void codecRegisterSyntaxes()
{
    std::call_once(registered, [] {
        for (AddedSyntax& syntax : added) {
            DICT_UID uid = UID_NONE;
            if (Dict.getUidDef(syntax.uid, uid) != 0)
                Dict.add(syntax.uid, syntax.description, &uid, UID_TRANSFER_SYNTAX);
            syntax.number = uid;
        }
    });
}

DICT_UID codecJpegLsLossless() { return number(0); }
DICT_UID codecJpegLsNearLossless() { return number(1); }
DICT_UID codecJ2kLossless() { return number(2); }
DICT_UID codecJ2k() { return number(3); }
DICT_UID codecDeflate() { return number(4); }

bool codecIsNative(DICT_UID xfer)
{
    return xfer == UID_LITTLE_ENDIAN_IMPLICIT || xfer == UID_LITTLE_ENDIAN_EXPLICIT ||
           xfer == UID_BIG_ENDIAN_EXPLICIT || (xfer != UID_NONE && xfer == codecDeflate());
}

bool codecIsEncapsulated(DICT_UID xfer)
{
    return xfer != UID_NONE && !codecIsNative(xfer);
}

bool codecIsLossy(DICT_UID xfer)
{
    switch (xfer) {
    case UID_JPEG_BASELINE:
    case UID_JPEG_EXTENDED:
    case UID_JPEG_EXTENDED_ARITHMETIC:
    case UID_JPEG_SPECTRAL:
    case UID_JPEG_SPECTRAL_ARITHMETIC:
    case UID_JPEG_FULL:
    case UID_JPEG_FULL_ARITHMETIC:
        return true;
    default:
        return xfer != UID_NONE && (xfer == codecJpegLsNearLossless() || xfer == codecJ2k());
    }
}

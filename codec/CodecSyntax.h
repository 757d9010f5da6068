#ifndef BRENIK3_CODEC_CODECSYNTAX_H
#define BRENIK3_CODEC_CODECSYNTAX_H

#include "dictionary/DcDictTypes.h"

// The transfer syntaxes that the built-in UID table lacks (JPEG-LS, JPEG
// 2000, Deflate) are added to the dictionary by codecRegisterSyntaxes; every
// codec entry point calls it, and so may an application before reading
// files in these syntaxes. Calling it again does nothing.
void codecRegisterSyntaxes();

// The dictionary's number of each added syntax (UID_NONE before registration).
DICT_UID codecJpegLsLossless();
DICT_UID codecJpegLsNearLossless();
DICT_UID codecJ2kLossless();
DICT_UID codecJ2k();
DICT_UID codecDeflate();

// Pixel data of this syntax is held in encapsulated fragments.
bool codecIsEncapsulated(DICT_UID xfer);
// Native (uncompressed) pixel data: implicit, explicit, big endian and deflate.
bool codecIsNative(DICT_UID xfer);
// The syntax may lose information (JPEG baseline and extended, JPEG-LS near
// lossless, JPEG 2000 irreversible).
bool codecIsLossy(DICT_UID xfer);

#endif

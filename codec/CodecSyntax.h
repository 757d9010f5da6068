#ifndef BRENIK3_CODEC_CODECSYNTAX_H
#define BRENIK3_CODEC_CODECSYNTAX_H

#include "dictionary/DcDictTypes.h"

// The transfer syntaxes that the built-in UID table lacks (JPEG-LS, JPEG
// 2000, Deflate). When the application has loaded the current dictionary
// (DcDict::loadCurrent) they are taken from it; otherwise
// codecRegisterSyntaxes adds those still missing, under the same names the
// current dictionary gives them. Every codec entry point calls it, and so may
// an application before reading files in these syntaxes; calling it again,
// or after loadCurrent(), adds nothing. After Dict.reset() the next call adds
// them again.
//
// An application that loads the current dictionary should do so before its
// first use of a codec: entries added earlier keep precedence over the
// current dictionary's own (same UIDs, same names, other DICT_UID values).
void codecRegisterSyntaxes();

// The dictionary's number of each of these syntaxes (registering them first
// when needed).
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

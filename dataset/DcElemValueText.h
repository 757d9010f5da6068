#ifndef BRENIK3_DATASET_DCELEMVALUETEXT_H
#define BRENIK3_DATASET_DCELEMVALUETEXT_H

#include "dataset/DcElemValue.h"
#include "foundation/util.h"
#include "foundation/Export.h"

// Status of the text parsers besides those of foundation/util.h.
enum { UTIL_ERR_BAD_STRING = 0x4402 };

// Parsing of DICOM value text into the typed value records. group and
// element only name the element in the messages. Return 0,
// UTIL_ERR_BAD_STRING for malformed text or UTIL_ERR_NULL_ARG for null text.
BRENIK3_API int utilStrgToValue(const char* text, DcElemValueAS& value, unsigned short group, unsigned short element);
BRENIK3_API int utilStrgToValue(const char* text, DcElemValueAT& value, unsigned short group, unsigned short element);
BRENIK3_API int utilStrgToValue(const char* text, DcElemValueDA& value, unsigned short group, unsigned short element);
BRENIK3_API int utilStrgToValue(const char* text, DcElemValueDT& value, unsigned short group, unsigned short element);
BRENIK3_API int utilStrgToValue(const char* text, DcElemValuePN& value, unsigned short group, unsigned short element);
BRENIK3_API int utilStrgToValue(const char* text, DcElemValueTM& value, unsigned short group, unsigned short element);

// YYYYMMDD (or the old form YYYY.MM.DD).
BRENIK3_API int utilStrgToYMD(const char* text, int& year, int& month, int& day, unsigned short group,
                  unsigned short element);
// HH, HHMM, HHMMSS with an optional fraction (or the old form HH:MM:SS.frac).
BRENIK3_API int utilStrgToHMS(const char* text, int& hour, int& minute, double& second, unsigned short group,
                  unsigned short element);

#endif

#ifndef BRENIK3_FOUNDATION_UTIL_H
#define BRENIK3_FOUNDATION_UTIL_H

#include "foundation/Export.h"

// Status codes of the utilities and the encoded-buffer walkers (module 0x44).
enum {
    UTIL_ERR_NOT_FOUND = 0x4403,
    UTIL_ERR_NULL_ARG = 0x4404,
    UTIL_ERR_LENGTH = 0x4408,
    UTIL_ERR_XFER_SYNTAX = 0x440A
};

// utilRemoveSpace modes (bits).
enum {
    UTIL_SPACE_LEADING = 1,
    UTIL_SPACE_TRAILING = 2,
    UTIL_SPACE_ALL = 4
};

// Byte swapping of value arrays; len is in bytes, trailing bytes that do not
// fill a unit are left as they are.
BRENIK3_API int utilSwab(unsigned short int* data, unsigned int len);
BRENIK3_API int utilSwab(short int* data, unsigned int len);
BRENIK3_API int utilSwab(unsigned int* data, unsigned int len);
BRENIK3_API int utilSwab(int* data, unsigned int len);
BRENIK3_API int utilSwab(float* data, unsigned int len);
BRENIK3_API int utilSwab(double* data, unsigned int len);

// Dates as yyyymmdd and times as hhmmss.ffffff packed into numbers.
BRENIK3_API int utilYMDToLong(int year, int month, int day, long int& value);
BRENIK3_API int utilLongToYMD(long int value, int& year, int& month, int& day);
BRENIK3_API int utilHMSToDouble(int hour, int minute, double second, double& value);
BRENIK3_API int utilDoubleToHMS(double value, int& hour, int& minute, double& second);

// Removes blanks (space and bytes 1 to 13) in place.
BRENIK3_API int utilRemoveSpace(char* strg, int mode);
BRENIK3_API int utilChangeBackslash(char* path);
BRENIK3_API int utilGetVersion(int& major, int& minor, int& release, char* date);

#endif

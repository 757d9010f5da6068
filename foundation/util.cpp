#include "foundation/util.h"

#include <cmath>
#include <cstring>

#include "foundation/DcLog.h"
#include "internal/Text.h"
#include "internal/Version.h"

namespace {

const char* const nullArgument = "Null argument passed";

template <unsigned Unit>
int swapUnits(void* data, unsigned int len)
{
    if (data == nullptr) {
        logReport(LOG_CHANNEL_1, "utilSwab", "%s", nullArgument);
        return UTIL_ERR_NULL_ARG;
    }
    unsigned char* p = static_cast<unsigned char*>(data);
    for (unsigned int n = len / Unit; n > 0; --n, p += Unit)
        for (unsigned i = 0; i < Unit / 2; ++i) {
            unsigned char b = p[i];
            p[i] = p[Unit - 1 - i];
            p[Unit - 1 - i] = b;
        }
    return 0;
}

bool isBlank(char c)
{
    return brenik3::isBlank(static_cast<unsigned char>(c));
}

}

int utilSwab(unsigned short int* data, unsigned int len) { return swapUnits<2>(data, len); }
int utilSwab(short int* data, unsigned int len) { return swapUnits<2>(data, len); }
int utilSwab(unsigned int* data, unsigned int len) { return swapUnits<4>(data, len); }
int utilSwab(int* data, unsigned int len) { return swapUnits<4>(data, len); }
int utilSwab(float* data, unsigned int len) { return swapUnits<4>(data, len); }
int utilSwab(double* data, unsigned int len) { return swapUnits<8>(data, len); }

int utilYMDToLong(int year, int month, int day, long int& value)
{
    value = (static_cast<long int>(year) * 100 + month) * 100 + day;
    return 0;
}

int utilLongToYMD(long int value, int& year, int& month, int& day)
{
    year = static_cast<int>(value / 10000);
    month = static_cast<int>((value / 100) % 100);
    day = static_cast<int>(value % 100);
    return 0;
}

int utilHMSToDouble(int hour, int minute, double second, double& value)
{
    value = hour * 10000.0 + minute * 100.0 + second;
    return 0;
}

int utilDoubleToHMS(double value, int& hour, int& minute, double& second)
{
    // A value beyond the range of whole numbers (or not a number) has no
    // hours and minutes; converting it would be undefined.
    double whole = std::trunc(value);
    long t = (whole > -1e15 && whole < 1e15) ? static_cast<long>(whole) : 0;
    hour = static_cast<int>(t / 10000);
    minute = static_cast<int>((t / 100) % 100);
    second = std::fmod(value, 100.0);
    return 0;
}

int utilRemoveSpace(char* strg, int mode)
{
    if (strg == nullptr) {
        logReport(LOG_CHANNEL_1, "utilStrgToValue", "%s", nullArgument);
        return UTIL_ERR_NULL_ARG;
    }
    if (mode & UTIL_SPACE_ALL) {
        char* out = strg;
        for (char* in = strg; *in; ++in)
            if (!isBlank(*in))
                *out++ = *in;
        *out = '\0';
        return 0;
    }
    if (mode & UTIL_SPACE_TRAILING) {
        size_t n = strlen(strg);
        while (n > 0 && isBlank(strg[n - 1]))
            strg[--n] = '\0';
    }
    if (mode & UTIL_SPACE_LEADING) {
        char* start = strg;
        while (isBlank(*start))
            ++start;
        if (start != strg)
            memmove(strg, start, strlen(start) + 1);
    }
    return 0;
}

int utilChangeBackslash(char* path)
{
    for (; *path; ++path)
        if (*path == '\\')
            *path = '/';
    return 0;
}

int utilGetVersion(int& major, int& minor, int& release, char* date)
{
    major = BRENIK3_VERSION_MAJOR;
    minor = BRENIK3_VERSION_MINOR;
    release = BRENIK3_VERSION_RELEASE;
    if (date == nullptr) {
        logReport(LOG_CHANNEL_1, "utilGetVersion", "%s", nullArgument);
        return UTIL_ERR_NULL_ARG;
    }
    strcpy(date, BRENIK3_RELEASE_DATE);
    return 0;
}

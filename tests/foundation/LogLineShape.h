#ifndef BRENIK3_TESTS_LOGLINESHAPE_H
#define BRENIK3_TESTS_LOGLINESHAPE_H

#include <cctype>
#include <cstring>
#include <string>

// Whether line begins with a log time stamp such as "Jun08 14:03:22"
// (month, two-digit day, blank, hh:mm:ss); the rest is returned in tail.
inline bool splitLogStamp(const std::string& line, std::string& tail)
{
    static const char* const months = "JanFebMarAprMayJunJulAugSepOctNovDec";
    if (line.size() < 14)
        return false;
    bool month = false;
    for (int m = 0; m < 12; ++m)
        month = month || line.compare(0, 3, months + 3 * m, 3) == 0;
    const char* shape = "MMMdd dd:dd:dd";
    for (int i = 3; i < 14; ++i) {
        char c = line[i];
        if (shape[i] == 'd' ? !isdigit(static_cast<unsigned char>(c)) : c != shape[i])
            return false;
    }
    tail = line.substr(14);
    return month;
}

#endif

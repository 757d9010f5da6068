#ifndef BRENIK3_INTERNAL_TEXT_H
#define BRENIK3_INTERNAL_TEXT_H

#include <cstddef>
#include <cstring>

namespace brenik3 {

// Copies at most max characters of text into out (which holds max + 1 bytes)
// and terminates the copy.
inline void copyText(char* out, const char* text, size_t max)
{
    size_t n = strnlen(text, max);
    memcpy(out, text, n);
    out[n] = '\0';
}

// A blank: a space or a control byte from 1 to 13 (tab, line and page breaks
// among them). Bytes from 128 up are never blanks.
inline bool isBlank(unsigned char c)
{
    return c == ' ' || (c >= 1 && c < 14);
}

// Narrows [begin, end) to the part between its leading and trailing blanks.
inline void trimBlanks(const unsigned char*& begin, const unsigned char*& end)
{
    while (begin < end && isBlank(*begin))
        ++begin;
    while (end > begin && isBlank(end[-1]))
        --end;
}

// copyText, then removes the blanks at both ends of the copy.
void copyStripped(char* out, const char* text, size_t max);

}

#endif

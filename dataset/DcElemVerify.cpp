// Checks of text values before an element stores them.
#include <cstring>

#include "dataset/DcElem.h"
#include "foundation/DcLog.h"
#include "foundation/util.h"

namespace {

bool isBlank(unsigned char c)
{
    return c == ' ' || (c >= 1 && c < 14);
}

bool anyVisible(unsigned char c) { return c >= 0x20 && c != 0x7F; }
bool codeString(unsigned char c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == ' ' || c == '_' || c == '*'; }
bool decimalString(unsigned char c) { return (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.' || c == 'e' || c == 'E'; }
bool integerString(unsigned char c) { return (c >= '0' && c <= '9') || c == '+' || c == '-'; }
bool longString(unsigned char c) { return c >= 0x20 && c != 0x7F && c != '\\'; }
// ESC is let through so that texts in extended character sets pass.
bool longText(unsigned char c) { return c >= 0x20 || c == '\n' || c == '\f' || c == '\r' || c == 0x1B; }
bool uidString(unsigned char c) { return (c >= '0' && c <= '9') || c == '.'; }

}

int DcElem::verifyLength(const char* function, const char* text, size_t maxLen)
{
    if (text == nullptr) {
        logReport(LOG_CHANNEL_1, function, "Element (%04x,%04x) - Null argument passed", group, element);
        return ELEM_ERR_NULL_ARG;
    }
    const unsigned char* begin = reinterpret_cast<const unsigned char*>(text);
    const unsigned char* end = begin + strlen(text);
    while (begin < end && isBlank(*begin))
        ++begin;
    while (end > begin && isBlank(end[-1]))
        --end;
    if (begin == end)
        return ELEM_ERR_NO_VALUE;
    if (static_cast<size_t>(end - begin) > maxLen) {
        logReport(LOG_CHANNEL_1, function, "Element (%04x,%04x) - string too long", group, element);
        return ELEM_ERR_TOO_LONG;
    }
    return 0;
}

// Length and character set of a text; white space at both ends is ignored.
int DcElem::verifyText(const char* function, const char* text, size_t maxLen, bool (*allowed)(unsigned char),
                       bool escapeSkipsCheck)
{
    int status = verifyLength(function, text, maxLen);
    if (status != 0)
        return status;
    if (escapeSkipsCheck && strchr(text, 0x1B) != nullptr)
        return 0;
    const unsigned char* begin = reinterpret_cast<const unsigned char*>(text);
    const unsigned char* end = begin + strlen(text);
    while (isBlank(*begin))
        ++begin;
    while (isBlank(end[-1]))
        --end;
    for (const unsigned char* p = begin; p < end; ++p)
        if (!allowed(*p)) {
            logReport(LOG_CHANNEL_1, function, "Element (%04x,%04x) - illegal character '%c' (0x%x) in string",
                      group, element, *p, *p);
            return ELEM_ERR_ILLEGAL_CHAR;
        }
    return 0;
}

int DcElem::verifyValueAE(const char* text) { return verifyText("DcElem::verifyValueAE", text, 16, anyVisible, false); }
int DcElem::verifyValueCS(const char* text) { return verifyText("DcElem::verifyValueCS", text, 16, codeString, true); }
int DcElem::verifyValueDS(const char* text) { return verifyText("DcElem::verifyValueDS", text, 16, decimalString, false); }
int DcElem::verifyValueFX(const char* text) { return verifyText("DcElem::verifyValueFX", text, 16, decimalString, false); }
int DcElem::verifyValueIS(const char* text) { return verifyText("DcElem::verifyValueIS", text, 12, integerString, false); }
int DcElem::verifyValueLO(const char* text) { return verifyText("DcElem::verifyValueLO", text, 64, longString, true); }
int DcElem::verifyValueLT(const char* text) { return verifyText("DcElem::verifyValueLT", text, 10240, longText, false); }
int DcElem::verifyValueSH(const char* text) { return verifyText("DcElem::verifyValueSH", text, 16, longString, true); }
int DcElem::verifyValueUI(const char* text) { return verifyText("DcElem::verifyValueUI", text, 64, uidString, false); }
int DcElem::verifyValueUT(const char* text) { return verifyText("DcElem::verifyValueUT", text, 32768, longText, false); }
int DcElem::verifyValueXL(const char* text) { return verifyText("DcElem::verifyValueXL", text, 12, integerString, false); }

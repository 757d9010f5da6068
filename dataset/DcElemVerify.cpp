// Checks of text values before an element stores them.
#include <cstring>

#include "dataset/DcElem.h"
#include "foundation/DcLog.h"
#include "foundation/util.h"
#include "internal/CharRules.h"
#include "internal/Text.h"
#include "internal/VrLength.h"

using namespace brenik3;

namespace {

// A text's length, and its characters between blanks at both ends.
struct TrimmedText {
    explicit TrimmedText(const char* text)
        : length(strlen(text)), begin(reinterpret_cast<const unsigned char*>(text)), end(begin + length)
    {
        brenik3::trimBlanks(begin, end);
    }
    size_t length;
    const unsigned char* begin;
    const unsigned char* end;
};

}

// Empty or too long once white space at both ends is ignored.
int DcElem::verifyLength(const char* function, const char* text, size_t maxLen)
{
    return verifyText(function, text, maxLen, nullptr, false);
}

// Length and character set of a text (any characters when allowed is null);
// white space at both ends is ignored. The text is measured and trimmed once
// for both checks.
int DcElem::verifyText(const char* function, const char* text, size_t maxLen, bool (*allowed)(unsigned char),
                       bool escapeSkipsCheck)
{
    if (text == nullptr) {
        logReport(LOG_CHANNEL_1, function, "Element (%04x,%04x) - Null argument passed", group, element);
        return ELEM_ERR_NULL_ARG;
    }
    TrimmedText trimmed(text);
    if (trimmed.begin == trimmed.end)
        return ELEM_ERR_NO_VALUE;
    if (static_cast<size_t>(trimmed.end - trimmed.begin) > maxLen) {
        logReport(LOG_CHANNEL_1, function, "Element (%04x,%04x) - string too long", group, element);
        return ELEM_ERR_TOO_LONG;
    }
    if (allowed == nullptr)
        return 0;
    if (escapeSkipsCheck && memchr(text, 0x1B, trimmed.length) != nullptr)
        return 0;
    for (const unsigned char* p = trimmed.begin; p < trimmed.end; ++p)
        if (!allowed(*p)) {
            logReport(LOG_CHANNEL_1, function, "Element (%04x,%04x) - illegal character '%c' (0x%x) in string",
                      group, element, *p, *p);
            return ELEM_ERR_ILLEGAL_CHAR;
        }
    return 0;
}

int DcElem::verifyValueAE(const char* text) { return verifyText("DcElem::verifyValueAE", text, brenik3::vrMaxLength(VR_AE), anyVisible, false); }
int DcElem::verifyValueCS(const char* text) { return verifyText("DcElem::verifyValueCS", text, brenik3::vrMaxLength(VR_CS), codeString, true); }
int DcElem::verifyValueDS(const char* text) { return verifyText("DcElem::verifyValueDS", text, brenik3::vrMaxLength(VR_DS), decimalString, false); }
int DcElem::verifyValueFX(const char* text) { return verifyText("DcElem::verifyValueFX", text, brenik3::vrMaxLength(VR_DS), decimalString, false); }
int DcElem::verifyValueIS(const char* text) { return verifyText("DcElem::verifyValueIS", text, brenik3::vrMaxLength(VR_IS), integerString, false); }
int DcElem::verifyValueLO(const char* text) { return verifyText("DcElem::verifyValueLO", text, brenik3::vrMaxLength(VR_LO), longString, true); }
int DcElem::verifyValueLT(const char* text) { return verifyText("DcElem::verifyValueLT", text, brenik3::vrMaxLength(VR_LT), longText, false); }
int DcElem::verifyValueSH(const char* text) { return verifyText("DcElem::verifyValueSH", text, brenik3::vrMaxLength(VR_SH), longString, true); }
int DcElem::verifyValueUI(const char* text) { return verifyText("DcElem::verifyValueUI", text, brenik3::vrMaxLength(VR_UI), uidString, false); }
int DcElem::verifyValueUT(const char* text) { return verifyText("DcElem::verifyValueUT", text, brenik3::vrMaxLength(VR_UT), longText, false); }
int DcElem::verifyValueXL(const char* text) { return verifyText("DcElem::verifyValueXL", text, brenik3::vrMaxLength(VR_IS), integerString, false); }

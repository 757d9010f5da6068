// Values parsed from data are kept in one block per element instead of one
// block per value: a data set of contours or look-up tables holds hundreds
// of thousands of small values, and allocating each on its own costs more
// than reading them. Whatever changes the values later first gives each a
// block of its own again (unpool), so the rest of the element never needs
// to know.
#include "dataset/DcElem.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "dictionary/DcDict.h"
#include "internal/CharRules.h"
#include "internal/DcElemSlotLimit.h"
#include "internal/Text.h"
#include "internal/VrLength.h"

int DcElem::valueLimit()
{
    int limit = vm;
    if (!DcElemSlotLimitScope::recall(this, limit)) {
        int tagConst;
        if (Dict.getTagDef(dictTag(), tagConst) == 0)
            Dict.getVm(tagConst, limit);
        limit = std::abs(limit);
        DcElemSlotLimitScope::remember(this, limit);
    }
    return limit;
}

void DcElem::unpool()
{
    if (pool == nullptr)
        return;
    void* block = pool;
    void** pooled = values;
    int count = valueCount;
    pool = nullptr;
    values = nullptr;
    valueCount = valueCapacity = 0;
    copyValuesFrom(pooled, count);
    free(block);
}

unsigned char* DcElem::newPool(int slots, size_t dataBytes)
{
    // Two spare slots keep the null entries past the last value that the
    // value by value way keeps too.
    size_t pointerBytes = sizeof(void*) * (static_cast<size_t>(slots) + 2);
    void* block = malloc(pointerBytes + dataBytes + 1);
    if (block == nullptr)
        return nullptr;
    pool = block;
    values = static_cast<void**>(block);
    memset(values, 0, pointerBytes);
    valueCount = 0;
    valueCapacity = slots + 2;
    return static_cast<unsigned char*>(block) + pointerBytes;
}

namespace {

using Verifier = int (DcElem::*)(const char*);

// What a piece of a text VR must be: not longer than maxLen once trimmed,
// made of the characters the table allows. The table leaves out ESC, so
// that texts in other character sets take the exact check.
struct PieceRule {
    size_t maxLen;
    bool allowed[256];
};

PieceRule makeRule(DICT_VR vr, bool (*allowed)(unsigned char))
{
    PieceRule rule{static_cast<size_t>(brenik3::vrMaxLength(vr)), {}};
    for (int c = 1; c < 256; ++c)
        rule.allowed[c] = c != 0x1B && (allowed == nullptr || allowed(static_cast<unsigned char>(c)));
    return rule;
}

// True only when the exact check of the VR would pass the piece [begin, end).
// The trimmed piece is left in [first, last).
bool passesQuickly(const PieceRule& rule, char* begin, char* end, char*& first, char*& last)
{
    first = begin;
    last = end;
    while (first < last && brenik3::isBlank(static_cast<unsigned char>(*first)))
        ++first;
    while (last > first && brenik3::isBlank(static_cast<unsigned char>(last[-1])))
        --last;
    if (first == last || static_cast<size_t>(last - first) > rule.maxLen)
        return false;
    for (const char* p = first; p < last; ++p)
        if (!rule.allowed[static_cast<unsigned char>(*p)])
            return false;
    return true;
}

// The number of backslashes in [bytes, bytes + len), eight bytes at a time:
// each byte equal to the separator becomes a zero byte, and the zero bytes
// of a word are counted exactly.
size_t countSeparators(const unsigned char* bytes, size_t len)
{
    const uint64_t low7 = 0x7F7F7F7F7F7F7F7FULL, separators = 0x5C5C5C5C5C5C5C5CULL;
    size_t count = 0, i = 0;
    for (; i + 8 <= len; i += 8) {
        uint64_t word;
        memcpy(&word, bytes + i, 8);
        uint64_t x = word ^ separators;
        uint64_t zeros = ~(((x & low7) + low7) | x | low7);
        count += static_cast<size_t>(__builtin_popcountll(zeros));
    }
    for (; i < len; ++i)
        count += bytes[i] == '\\';
    return count;
}

}  // namespace

// The same values, checks and messages as addText, piece by piece, with the
// pieces cut in place inside the pool rather than copied out one by one.
// Pieces that pass a quick one-pass check are kept at once; any other piece
// takes the exact check, which words the refusal.
bool DcElem::parseTextPooled(const unsigned char* buf, unsigned int len, DICT_VR v, int& status)
{
    using namespace brenik3;
    static const PieceRule ruleAE = makeRule(VR_AE, anyVisible), ruleCS = makeRule(VR_CS, codeString),
                           ruleDS = makeRule(VR_DS, decimalString), ruleIS = makeRule(VR_IS, integerString),
                           ruleLO = makeRule(VR_LO, longString), ruleSH = makeRule(VR_SH, longString),
                           ruleUI = makeRule(VR_UI, uidString), ruleLT = makeRule(VR_LT, longText),
                           ruleUT = makeRule(VR_UT, longText), ruleST = makeRule(VR_ST, nullptr);
    const PieceRule* rule;
    Verifier verify = nullptr;
    switch (v) {
    case VR_AE: rule = &ruleAE; verify = &DcElem::verifyValueAE; break;
    case VR_CS: rule = &ruleCS; verify = &DcElem::verifyValueCS; break;
    case VR_DS: rule = &ruleDS; verify = &DcElem::verifyValueDS; break;
    case VR_IS: rule = &ruleIS; verify = &DcElem::verifyValueIS; break;
    case VR_LO: rule = &ruleLO; verify = &DcElem::verifyValueLO; break;
    case VR_SH: rule = &ruleSH; verify = &DcElem::verifyValueSH; break;
    case VR_UI: rule = &ruleUI; verify = &DcElem::verifyValueUI; break;
    case VR_LT: rule = &ruleLT; verify = &DcElem::verifyValueLT; break;
    case VR_UT: rule = &ruleUT; verify = &DcElem::verifyValueUT; break;
    case VR_ST: rule = &ruleST; break;
    default: return false;
    }
    const unsigned char* stop = static_cast<const unsigned char*>(memchr(buf, '\0', len));
    size_t textLen = stop != nullptr ? static_cast<size_t>(stop - buf) : len;
    size_t separators = countSeparators(buf, textLen);
    char* text = reinterpret_cast<char*>(newPool(static_cast<int>(separators) + 1, textLen));
    if (text == nullptr) {
        status = ELEM_ERR_BAD_VALUE;
        return true;
    }
    memcpy(text, buf, textLen);
    text[textLen] = '\0';

    bool freeText = v == VR_LT || v == VR_ST || v == VR_UT;
    int limit = valueLimit();
    status = 0;
    // Whether the values joined again give the bytes read: every piece kept
    // whole, right after the separator that ended the one before.
    bool exact = true;
    char* expected = text;
    char* keptEnd = text;
    unsigned int bufSize = 0;
    // Keeps the piece [piece, end), cut at end, after its check. A clean
    // piece (every character allowed) needs only its ends and length seen.
    auto keep = [&](char* piece, char* end, bool clean) {
        char *first = piece, *last = end;
        bool whole = clean && end > piece && static_cast<size_t>(end - piece) <= rule->maxLen &&
                     !isBlank(static_cast<unsigned char>(*piece)) && !isBlank(static_cast<unsigned char>(end[-1]));
        if (!whole && !passesQuickly(*rule, piece, end, first, last)) {
            int checked = verify != nullptr ? (this->*verify)(piece)
                                            : verifyLength("DcElem::verifyValueST", piece, rule->maxLen);
            if (checked == ELEM_ERR_NO_VALUE)
                first = last = piece;
            else if (checked != 0)
                return checked;
        }
        if (freeText)
            first = piece;
        *last = '\0';
        bufSize += static_cast<unsigned int>(last - first) + 1;
        bufSize += bufSize % 2;
        exact = exact && first == expected;
        expected = last + 1;
        keptEnd = last;
        // A tag that allows fewer values keeps the last ones, as adding them
        // one by one would.
        if (limit != 0 && valueCount >= limit) {
            exact = false;
            memmove(values, values + 1, sizeof(void*) * (valueCount - 1));
            values[valueCount - 1] = first;
        } else {
            values[valueCount++] = first;
        }
        return 0;
    };
    // Written again, the joined values are padded to an even length.
    auto finish = [&]() {
        size_t joined = static_cast<size_t>(keptEnd - text);
        char pad = v == VR_UI ? '\0' : ' ';
        parsedExactly = status == 0 && exact &&
                        (joined % 2 == 0 ? joined == len : joined + 1 == len && static_cast<char>(buf[joined]) == pad);
        pooledLen = static_cast<unsigned int>(joined);
        pooledBufSize = bufSize;
    };

    if (freeText || separators == 0) {
        status = keep(text, text + textLen, false);
        finish();
        return true;
    }
    char* begin = text;
    char* end = text + textLen;
    while (end > begin && isBlank(static_cast<unsigned char>(end[-1])))
        --end;
    while (begin < end && isBlank(static_cast<unsigned char>(*begin)))
        ++begin;
    if (end > begin && end[-1] == '\\')
        --end;
    *end = '\0';
    bool escapes = v == VR_CS || v == VR_LO || v == VR_SH;
    char* piece = begin;
    for (;;) {
        bool insideEscape = false;
        bool clean = true;
        char* p = piece;
        if (!escapes) {
            for (; p < end && *p != '\\'; ++p)
                clean &= rule->allowed[static_cast<unsigned char>(*p)];
        } else {
            for (; p < end; ++p) {
                unsigned char c = static_cast<unsigned char>(*p);
                if (c == 0x1B)
                    insideEscape = !insideEscape;
                else if (c == '\\' && !insideEscape)
                    break;
                clean &= rule->allowed[c];
            }
        }
        bool last = p == end;
        *p = '\0';
        if ((status = keep(piece, p, clean)) != 0 || last)
            break;
        piece = p + 1;
    }
    finish();
    return true;
}

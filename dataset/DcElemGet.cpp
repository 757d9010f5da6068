// Reading values of an element, with the conversions among numeric VRs.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "dataset/DcElem.h"
#include "dataset/DcElemCodec.h"
#include "dataset/DcElemValueText.h"
#include "dictionary/DcDict.h"
#include "foundation/DcLog.h"
#include "foundation/util.h"

namespace {

const char* const getValueName = "DcElem::getValue";

// A stored binary value widened to 64 bits (XS and XL read as unsigned).
int64_t integerOf(const void* block, DICT_VR vr)
{
    switch (vr) {
    case VR_SS: { short v; memcpy(&v, block, sizeof v); return v; }
    case VR_US: case VR_XS: { unsigned short v; memcpy(&v, block, sizeof v); return v; }
    case VR_SL: { int v; memcpy(&v, block, sizeof v); return v; }
    case VR_UL: case VR_XL: { unsigned int v; memcpy(&v, block, sizeof v); return v; }
    case VR_IS: return atoi(static_cast<const char*>(block));
    default: return 0;
    }
}

double realOf(const void* block, DICT_VR vr)
{
    switch (vr) {
    case VR_FL: { float v; memcpy(&v, block, sizeof v); return v; }
    case VR_FD: { double v; memcpy(&v, block, sizeof v); return v; }
    case VR_DS: return atof(static_cast<const char*>(block));
    default: return static_cast<double>(integerOf(block, vr));
    }
}

bool isIntegerVr(DICT_VR vr)
{
    return vr == VR_SL || vr == VR_XL || vr == VR_SS || vr == VR_XS || vr == VR_UL || vr == VR_US;
}

bool isShortVr(DICT_VR vr)
{
    return vr == VR_SS || vr == VR_XS || vr == VR_US;
}

bool isLongVr(DICT_VR vr)
{
    return vr == VR_IS || isIntegerVr(vr);
}

bool isFloatVr(DICT_VR vr)
{
    return vr == VR_FL || isIntegerVr(vr);
}

bool isDoubleVr(DICT_VR vr)
{
    return vr == VR_DS || vr == VR_FL || vr == VR_FD || isIntegerVr(vr);
}

template <typename Number>
int toInteger(void* block, DICT_VR vr, Number& value)
{
    value = static_cast<Number>(integerOf(block, vr));
    return 0;
}

template <typename Number>
int toReal(void* block, DICT_VR vr, Number& value)
{
    value = static_cast<Number>(realOf(block, vr));
    return 0;
}

}

int DcElem::refuseRead(const char* what)
{
    logReport(LOG_CHANNEL_1, getValueName, "Element (%04x,%04x) VR=%s, cannot get value as %s", group, element,
              elemcodec::vrName(effectiveVr()), what);
    return ELEM_ERR_BAD_VR;
}

// The value at the value index, or null with the status.
void* DcElem::valueAtIndex(int& status)
{
    if (values == nullptr || valueCount == 0) {
        status = ELEM_ERR_NO_VALUE;
        return nullptr;
    }
    if (valueIndex < 0 || valueIndex >= valueCount) {
        status = ELEM_ERR_INDEX_PAST_END;
        return nullptr;
    }
    status = 0;
    return values[valueIndex];
}

void DcElem::advance(ELEM_VAL_INDEX index)
{
    if (index == ELEM_VAL_INDEX_INCREMENT)
        ++valueIndex;
}

int DcElem::getValue(char* buf, int len, ELEM_VAL_INDEX index)
{
    if (buf == nullptr) {
        logReport(LOG_CHANNEL_1, getValueName, "Null argument passed");
        return ELEM_ERR_NULL_ARG;
    }
    buf[0] = '\0';
    if (len < 0)
        len = 0;
    if (vr == VR_UC || vr == VR_UR)
        return getNewerText(buf, static_cast<unsigned int>(len));
    int status;
    void* value = valueAtIndex(status);
    if (value == nullptr)
        return status;
    DICT_VR v = effectiveVr();
    if (elemcodec::isTextVr(v)) {
        const char* text = static_cast<const char*>(value);
        size_t length = strlen(text);
        size_t copied = length < static_cast<size_t>(len) ? length : static_cast<size_t>(len);
        memcpy(buf, text, copied);
        buf[copied] = '\0';
        if (length > copied) {
            logReport(LOG_CHANNEL_1, getValueName, "Element (%04x,%04x) buffer too short, value truncated", group,
                      element);
            return ELEM_ERR_BUF_TOO_SHORT;
        }
        utilRemoveSpace(buf, UTIL_SPACE_LEADING | UTIL_SPACE_TRAILING);
        advance(index);
        return 0;
    }
    size_t size = static_cast<size_t>(len) + 1;
    if (v == VR_AT) {
        if (len < 12)
            return ELEM_ERR_BUF_TOO_SHORT;
        unsigned short halves[2];
        memcpy(halves, value, sizeof halves);
        snprintf(buf, size, "(%04x,%04x)", halves[0], halves[1]);
    } else if (v == VR_FL || v == VR_FD) {
        if (len < 16)
            return ELEM_ERR_BUF_TOO_SHORT;
        snprintf(buf, size, "%g", realOf(value, v));
    } else if (isIntegerVr(v)) {
        if (len < 12)
            return ELEM_ERR_BUF_TOO_SHORT;
        snprintf(buf, size, "%lld", static_cast<long long>(integerOf(value, v)));
    } else {
        return refuseRead("string");
    }
    advance(index);
    return 0;
}

// Reads the value at the value index through convert(block, vr, value), which
// returns a status, when accepts(vr); advances the index on success.
template <typename Value, typename Accepts, typename Convert>
int DcElem::readConverted(Value& value, ELEM_VAL_INDEX index, const char* what, Accepts accepts, Convert convert)
{
    int status;
    void* block = valueAtIndex(status);
    if (block == nullptr)
        return status;
    DICT_VR v = effectiveVr();
    if (!accepts(v))
        return refuseRead(what);
    status = convert(block, v, value);
    if (status == 0)
        advance(index);
    return status;
}

// The records kept as text are parsed back from it.
template <typename Record>
int DcElem::readRecord(Record& value, ELEM_VAL_INDEX index, DICT_VR recordVr, const char* what)
{
    return readConverted(
        value, index, what, [recordVr](DICT_VR v) { return v == recordVr; },
        [this](void* block, DICT_VR, Record& out) {
            return utilStrgToValue(static_cast<char*>(block), out, group, element);
        });
}

int DcElem::getValue(short& value, ELEM_VAL_INDEX index)
{
    return readConverted(value, index, "signed short", isShortVr, toInteger<short>);
}

int DcElem::getValue(unsigned short& value, ELEM_VAL_INDEX index)
{
    return readConverted(value, index, "unsigned short", isShortVr, toInteger<unsigned short>);
}

int DcElem::getValue(int& value, ELEM_VAL_INDEX index)
{
    return readConverted(value, index, "signed long", isLongVr, toInteger<int>);
}

int DcElem::getValue(unsigned int& value, ELEM_VAL_INDEX index)
{
    if (vr == VR_OL) {
        unsigned char bytes[4];
        int status = newerNumber(bytes, 4, index);
        if (status == 0)
            memcpy(&value, bytes, 4);
        return status;
    }
    return readConverted(value, index, "unsigned long", isIntegerVr, toInteger<unsigned int>);
}

int DcElem::getValue(float& value, ELEM_VAL_INDEX index)
{
    if (vr == VR_OF) {
        unsigned char bytes[4];
        int status = newerNumber(bytes, 4, index);
        if (status == 0)
            memcpy(&value, bytes, 4);
        return status;
    }
    return readConverted(value, index, "float", isFloatVr, toReal<float>);
}

int DcElem::getValue(double& value, ELEM_VAL_INDEX index)
{
    if (vr == VR_OD || vr == VR_OF) {
        unsigned char bytes[8];
        int status = newerNumber(bytes, vr == VR_OD ? 8 : 4, index);
        float single;
        memcpy(&single, bytes, 4);
        if (status == 0)
            memcpy(&value, bytes, 8);
        if (status == 0 && vr == VR_OF)
            value = single;
        return status;
    }
    return readConverted(value, index, "double", isDoubleVr, toReal<double>);
}

int DcElem::getValue(DcElemValueAT& value, ELEM_VAL_INDEX index)
{
    return readConverted(
        value, index, "DcElemValueAT", [](DICT_VR v) { return v == VR_AT; },
        [](void* block, DICT_VR, DcElemValueAT& out) {
            unsigned short halves[2];
            memcpy(halves, block, sizeof halves);
            out.group = halves[0];
            out.element = halves[1];
            return 0;
        });
}

int DcElem::getValue(DcElemValueAS& value, ELEM_VAL_INDEX index)
{
    return readRecord(value, index, VR_AS, "DcElemValueAS");
}

int DcElem::getValue(DcElemValueDA& value, ELEM_VAL_INDEX index)
{
    return readRecord(value, index, VR_DA, "DcElemValueDA");
}

int DcElem::getValue(DcElemValueDT& value, ELEM_VAL_INDEX index)
{
    return readRecord(value, index, VR_DT, "DcElemValueDT");
}

int DcElem::getValue(DcElemValuePN& value, ELEM_VAL_INDEX index)
{
    return readRecord(value, index, VR_PN, "DcElemValuePN");
}

int DcElem::getValue(DcElemValueTM& value, ELEM_VAL_INDEX index)
{
    return readRecord(value, index, VR_TM, "DcElemValueTM");
}

int DcElem::getValue(DICT_UID& value, ELEM_VAL_INDEX index)
{
    return readConverted(
        value, index, "DICT_UID", [](DICT_VR v) { return v == VR_UI; },
        [](void* block, DICT_VR, DICT_UID& out) { return Dict.getUidDef(static_cast<char*>(block), out); });
}

int DcElem::getValue(DcBuf& value, ELEM_VAL_INDEX index)
{
    if (!elemcodec::isRawVr(effectiveVr()))
        return refuseRead("raw buffer");
    DcBuf* entry = rawBufList->first();
    if (entry == nullptr)
        return ELEM_ERR_NO_VALUE;
    for (int i = 0; i < valueIndex && entry != nullptr; ++i)
        entry = entry->next();
    if (entry == nullptr || valueIndex < 0)
        return ELEM_ERR_INDEX_PAST_END;
    value = *entry;
    advance(index);
    return 0;
}

// UC and UR hold their bytes as read: the text is those bytes, without the
// pad spaces at either end.
int DcElem::getNewerText(char* buf, unsigned int len)
{
    unsigned int at = 0;
    bool truncated = false;
    for (DcBuf* entry = rawBufList->first(); entry != nullptr; entry = entry->next()) {
        if (entry->getType() != BUF_MEMORY)
            continue;
        unsigned int n = entry->getLen() < len - at ? entry->getLen() : len - at;
        truncated |= n < entry->getLen();
        memcpy(buf + at, entry->getBuf(), n);
        at += n;
    }
    buf[at] = '\0';
    utilRemoveSpace(buf, UTIL_SPACE_LEADING | UTIL_SPACE_TRAILING);
    if (truncated) {
        logReport(LOG_CHANNEL_1, getValueName, "Element (%04x,%04x) buffer too short, value truncated", group, element);
        return ELEM_ERR_BUF_TOO_SHORT;
    }
    return at == 0 ? ELEM_ERR_NO_VALUE : 0;
}

int DcElem::getValue(long long& value, ELEM_VAL_INDEX index)
{
    if (vr != VR_SV && vr != VR_OV)
        return refuseRead("64-bit signed");
    unsigned char bytes[8];
    int status = newerNumber(bytes, 8, index);
    if (status == 0)
        memcpy(&value, bytes, 8);
    return status;
}

int DcElem::getValue(unsigned long long& value, ELEM_VAL_INDEX index)
{
    if (vr != VR_UV && vr != VR_OV)
        return refuseRead("64-bit unsigned");
    unsigned char bytes[8];
    int status = newerNumber(bytes, 8, index);
    if (status == 0)
        memcpy(&value, bytes, 8);
    return status;
}

// The number at the value index of a newer binary VR, taken from the bytes
// as read and put in this machine's (little endian) order.
int DcElem::newerNumber(unsigned char* out, unsigned int unit, ELEM_VAL_INDEX index)
{
    unsigned long long wanted = static_cast<unsigned long long>(valueIndex) * unit;
    unsigned long long at = 0;
    for (DcBuf* entry = rawBufList->first(); entry != nullptr; entry = entry->next()) {
        if (entry->getType() != BUF_MEMORY || entry->getBuf() == nullptr) {
            at += entry->getLen();
            continue;
        }
        if (wanted >= at && wanted + unit <= at + entry->getLen()) {
            const unsigned char* in = static_cast<const unsigned char*>(entry->getBuf()) + (wanted - at);
            bool big = false;
            elemcodec::bigEndian(entry->getXferSyn(), big);
            for (unsigned int i = 0; i < unit; ++i)
                out[i] = big ? in[unit - 1 - i] : in[i];
            advance(index);
            return 0;
        }
        at += entry->getLen();
    }
    return rawBufList->first() == nullptr ? ELEM_ERR_NO_VALUE : ELEM_ERR_INDEX_PAST_END;
}

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
    int status;
    void* value = valueAtIndex(status);
    if (value == nullptr)
        return status;
    if (len < 0)
        len = 0;
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

int DcElem::getValue(short& value, ELEM_VAL_INDEX index)
{
    int status;
    void* block = valueAtIndex(status);
    if (block == nullptr)
        return status;
    DICT_VR v = effectiveVr();
    if (v != VR_SS && v != VR_XS && v != VR_US)
        return refuseRead("signed short");
    value = static_cast<short>(integerOf(block, v));
    advance(index);
    return 0;
}

int DcElem::getValue(unsigned short& value, ELEM_VAL_INDEX index)
{
    int status;
    void* block = valueAtIndex(status);
    if (block == nullptr)
        return status;
    DICT_VR v = effectiveVr();
    if (v != VR_SS && v != VR_XS && v != VR_US)
        return refuseRead("unsigned short");
    value = static_cast<unsigned short>(integerOf(block, v));
    advance(index);
    return 0;
}

int DcElem::getValue(int& value, ELEM_VAL_INDEX index)
{
    int status;
    void* block = valueAtIndex(status);
    if (block == nullptr)
        return status;
    DICT_VR v = effectiveVr();
    if (v != VR_IS && !isIntegerVr(v))
        return refuseRead("signed long");
    value = static_cast<int>(integerOf(block, v));
    advance(index);
    return 0;
}

int DcElem::getValue(unsigned int& value, ELEM_VAL_INDEX index)
{
    int status;
    void* block = valueAtIndex(status);
    if (block == nullptr)
        return status;
    DICT_VR v = effectiveVr();
    if (!isIntegerVr(v))
        return refuseRead("unsigned long");
    value = static_cast<unsigned int>(integerOf(block, v));
    advance(index);
    return 0;
}

int DcElem::getValue(float& value, ELEM_VAL_INDEX index)
{
    int status;
    void* block = valueAtIndex(status);
    if (block == nullptr)
        return status;
    DICT_VR v = effectiveVr();
    if (v != VR_FL && !isIntegerVr(v))
        return refuseRead("float");
    value = static_cast<float>(realOf(block, v));
    advance(index);
    return 0;
}

int DcElem::getValue(double& value, ELEM_VAL_INDEX index)
{
    int status;
    void* block = valueAtIndex(status);
    if (block == nullptr)
        return status;
    DICT_VR v = effectiveVr();
    if (v != VR_DS && v != VR_FL && v != VR_FD && !isIntegerVr(v))
        return refuseRead("double");
    value = realOf(block, v);
    advance(index);
    return 0;
}

int DcElem::getValue(DcElemValueAT& value, ELEM_VAL_INDEX index)
{
    int status;
    void* block = valueAtIndex(status);
    if (block == nullptr)
        return status;
    if (effectiveVr() != VR_AT)
        return refuseRead("DcElemValueAT");
    unsigned short halves[2];
    memcpy(halves, block, sizeof halves);
    value.group = halves[0];
    value.element = halves[1];
    advance(index);
    return 0;
}

// The records kept as text are parsed back from it.
#define DC_ELEM_GET_RECORD(Type, Vr)                                                \
    int DcElem::getValue(Type& value, ELEM_VAL_INDEX index)                         \
    {                                                                               \
        int status;                                                                 \
        void* block = valueAtIndex(status);                                         \
        if (block == nullptr)                                                       \
            return status;                                                          \
        if (effectiveVr() != Vr)                                                    \
            return refuseRead(#Type);                                               \
        status = utilStrgToValue(static_cast<char*>(block), value, group, element); \
        if (status == 0)                                                            \
            advance(index);                                                         \
        return status;                                                              \
    }

DC_ELEM_GET_RECORD(DcElemValueAS, VR_AS)
DC_ELEM_GET_RECORD(DcElemValueDA, VR_DA)
DC_ELEM_GET_RECORD(DcElemValueDT, VR_DT)
DC_ELEM_GET_RECORD(DcElemValuePN, VR_PN)
DC_ELEM_GET_RECORD(DcElemValueTM, VR_TM)

#undef DC_ELEM_GET_RECORD

int DcElem::getValue(DICT_UID& value, ELEM_VAL_INDEX index)
{
    int status;
    void* block = valueAtIndex(status);
    if (block == nullptr)
        return status;
    if (effectiveVr() != VR_UI)
        return refuseRead("DICT_UID");
    status = Dict.getUidDef(static_cast<char*>(block), value);
    if (status == 0)
        advance(index);
    return status;
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

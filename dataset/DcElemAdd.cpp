// Adding values to an element: the VR acceptance and conversion rules.
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "dataset/DcElem.h"
#include "dataset/DcElemCodec.h"
#include "dataset/DcElemValueText.h"
#include "dictionary/DcDict.h"
#include "foundation/DcLog.h"
#include "foundation/util.h"
#include "internal/DcElemSlotLimit.h"
#include "internal/VrLength.h"

namespace {

const char* const addValueName = "DcElem::addValue";

// Seconds in "SS" or "SS.ffffff" form, rounded to microseconds and never
// reaching 60.
void formatSeconds(char* out, size_t size, double second)
{
    long long micro = std::llround(second * 1e6);
    if (micro >= 60000000LL)
        micro = 59999999LL;
    if (micro % 1000000 == 0)
        snprintf(out, size, "%02d", static_cast<int>(micro / 1000000));
    else
        snprintf(out, size, "%02d.%06d", static_cast<int>(micro / 1000000), static_cast<int>(micro % 1000000));
}

}

int DcElem::refuse(const char* what)
{
    logReport(LOG_CHANNEL_1, addValueName, "Element (%04x,%04x) VR=%s, does not accept %s", group, element,
              elemcodec::vrName(effectiveVr()), what);
    return ELEM_ERR_BAD_VALUE;
}

bool DcElem::isRawVr(DICT_VR v)
{
    return elemcodec::isRawVr(v);
}

int DcElem::addValue(DcElemValueAS& value)
{
    if (effectiveVr() != VR_AS)
        return refuse("DcElemValueAS");
    if (value.age < 0 || value.age > 999) {
        logReport(LOG_CHANNEL_1, addValueName, "Element (%04x,%04x) - age out of range %d", group, element, value.age);
        return ELEM_ERR_BAD_VALUE;
    }
    if (value.unit == '\0' || strchr("DWMY", value.unit) == nullptr) {
        char unit[2] = {value.unit, '\0'};
        logReport(LOG_CHANNEL_1, addValueName, "Element (%04x,%04x) - invalid specifier '%s', should be D,W,M,Y",
                  group, element, unit);
        return ELEM_ERR_BAD_VALUE;
    }
    char text[8];
    snprintf(text, sizeof text, "%03d%c", value.age, value.unit);
    return storeString(text);
}

int DcElem::addValue(DcElemValueAT& value)
{
    if (effectiveVr() != VR_AT)
        return refuse("DcElemValueAT");
    unsigned short halves[2] = {value.group, value.element};
    return storeBinary(halves, sizeof halves);
}

int DcElem::addValue(DcElemValueDA& value)
{
    if (effectiveVr() != VR_DA)
        return refuse("DcElemValueDA");
    char text[32];
    if (value.rangeStart == -1 && value.rangeEnd == -1) {
        if (value.year < 0) {
            logReport(LOG_CHANNEL_1, addValueName, "Element (%04x,%04x) - year out of range %d", group, element,
                      value.year);
            return ELEM_ERR_BAD_VALUE;
        }
        if (value.month < 1 || value.month > 12) {
            logReport(LOG_CHANNEL_1, addValueName, "Element (%04x,%04x) - month out of range %d", group, element,
                      value.month);
            return ELEM_ERR_BAD_VALUE;
        }
        if (value.day < 1 || value.day > 31) {
            logReport(LOG_CHANNEL_1, addValueName, "Element (%04x,%04x) - day out of range %d", group, element,
                      value.day);
            return ELEM_ERR_BAD_VALUE;
        }
        snprintf(text, sizeof text, "%04d%02d%02d", value.year % 10000, value.month, value.day);
        return storeString(text);
    }
    if (value.rangeStart != -1 && (value.rangeStart < 0 || value.rangeStart > 30001231)) {
        logReport(LOG_CHANNEL_1, addValueName, "Element (%04x,%04x) - invalid starting date %d", group, element,
                  static_cast<int>(value.rangeStart));
        return ELEM_ERR_BAD_VALUE;
    }
    if (value.rangeEnd != -1 && (value.rangeEnd < 0 || value.rangeEnd > 30001231)) {
        logReport(LOG_CHANNEL_1, addValueName, "Element (%04x,%04x) - invalid ending date %d", group, element,
                  static_cast<int>(value.rangeEnd));
        return ELEM_ERR_BAD_VALUE;
    }
    char start[12] = "", end[12] = "";
    if (value.rangeStart != -1)
        snprintf(start, sizeof start, "%08ld", value.rangeStart);
    if (value.rangeEnd != -1)
        snprintf(end, sizeof end, "%08ld", value.rangeEnd);
    snprintf(text, sizeof text, "%s-%s", start, end);
    return storeString(text);
}

int DcElem::addValue(DcElemValueTM& value)
{
    if (effectiveVr() != VR_TM)
        return refuse("DcElemValueTM");
    char text[40];
    if (value.rangeStart < 0.0 && value.rangeEnd < 0.0) {
        if (value.hour < 0 || value.hour > 23) {
            logReport(LOG_CHANNEL_1, addValueName, "Element (%04x,%04x) - hour out of range %d", group, element,
                      value.hour);
            return ELEM_ERR_BAD_VALUE;
        }
        if (value.minute < 0 || value.minute > 59) {
            logReport(LOG_CHANNEL_1, addValueName, "Element (%04x,%04x) - minute out of range %d", group, element,
                      value.minute);
            return ELEM_ERR_BAD_VALUE;
        }
        if (!(value.second >= 0.0 && value.second < 60.0)) {
            logReport(LOG_CHANNEL_1, addValueName, "Element (%04x,%04x) - second out of range %d", group, element,
                      static_cast<int>(value.second));
            return ELEM_ERR_BAD_VALUE;
        }
        char seconds[32];
        formatSeconds(seconds, sizeof seconds, value.second);
        snprintf(text, sizeof text, "%02d%02d%s", value.hour, value.minute, seconds);
        return storeString(text);
    }
    if (value.rangeStart != -1.0 && !(value.rangeStart >= 0.0 && value.rangeStart < 240000.0)) {
        logReport(LOG_CHANNEL_1, addValueName, "Element (%04x,%04x) - invalid starting time %d", group, element,
                  static_cast<int>(value.rangeStart));
        return ELEM_ERR_BAD_VALUE;
    }
    if (value.rangeEnd != -1.0 && !(value.rangeEnd >= 0.0 && value.rangeEnd < 240000.0)) {
        logReport(LOG_CHANNEL_1, addValueName, "Element (%04x,%04x) - invalid ending time %d", group, element,
                  static_cast<int>(value.rangeEnd));
        return ELEM_ERR_BAD_VALUE;
    }
    char start[20] = "", end[20] = "";
    if (value.rangeStart >= 0.0)
        snprintf(start, sizeof start, "%013.6lf", value.rangeStart);
    if (value.rangeEnd >= 0.0)
        snprintf(end, sizeof end, "%013.6lf", value.rangeEnd);
    snprintf(text, sizeof text, "%s-%s", start, end);
    return storeString(text);
}

int DcElem::addValue(DcElemValueDT& value)
{
    if (effectiveVr() != VR_DT)
        return refuse("DcElemValueDT");
    char text[64];
    if (value.rangeStart == -1 && value.rangeEnd == -1) {
        const char* problem = nullptr;
        int bad = 0;
        if (value.year < 0 || value.year > 9999)
            problem = "year", bad = value.year;
        else if (value.month < 1 || value.month > 12)
            problem = "month", bad = value.month;
        else if (value.day < 1 || value.day > 31)
            problem = "day", bad = value.day;
        else if (value.hour < 0 || value.hour > 23)
            problem = "hour", bad = value.hour;
        else if (value.minute < 0 || value.minute > 59)
            problem = "minute", bad = value.minute;
        else if (!(value.second >= 0.0 && value.second < 60.0))
            problem = "second", bad = static_cast<int>(value.second);
        else if (value.offsetHour < -12 || value.offsetHour > 14)
            problem = "offsetHour", bad = value.offsetHour;
        else if (value.offsetMinute < -59 || value.offsetMinute > 59)
            problem = "offsetMinute", bad = value.offsetMinute;
        if (problem != nullptr) {
            logReport(LOG_CHANNEL_1, addValueName, "Element (%04x,%04x) - %s out of range %d", group, element, problem,
                      bad);
            return ELEM_ERR_BAD_VALUE;
        }
        char seconds[32];
        formatSeconds(seconds, sizeof seconds, value.second);
        int n = snprintf(text, sizeof text, "%04d%02d%02d%02d%02d%s", value.year, value.month, value.day, value.hour,
                         value.minute, seconds);
        if (value.offsetHour != 0 || value.offsetMinute != 0) {
            char sign = value.offsetHour < 0 || value.offsetMinute < 0 ? '-' : '+';
            snprintf(text + n, sizeof text - n, "%c%02d%02d", sign, std::abs(value.offsetHour),
                     std::abs(value.offsetMinute));
        }
        return storeString(text);
    }
    if (value.rangeStart != -1 && (value.rangeStart < 0 || value.rangeStart > 30001231)) {
        logReport(LOG_CHANNEL_1, addValueName, "Element (%04x,%04x) - invalid starting date %d", group, element,
                  value.rangeStart);
        return ELEM_ERR_BAD_VALUE;
    }
    if (value.rangeEnd != -1 && (value.rangeEnd < 0 || value.rangeEnd > 30001231)) {
        logReport(LOG_CHANNEL_1, addValueName, "Element (%04x,%04x) - invalid ending date %d", group, element,
                  value.rangeEnd);
        return ELEM_ERR_BAD_VALUE;
    }
    if (value.rangeStartTime != -1.0 && !(value.rangeStartTime >= 0.0 && value.rangeStartTime < 240000.0)) {
        logReport(LOG_CHANNEL_1, addValueName, "Element (%04x,%04x) - invalid starting time %d", group, element,
                  static_cast<int>(value.rangeStartTime));
        return ELEM_ERR_BAD_VALUE;
    }
    if (value.rangeEndTime != -1.0 && !(value.rangeEndTime >= 0.0 && value.rangeEndTime < 240000.0)) {
        logReport(LOG_CHANNEL_1, addValueName, "Element (%04x,%04x) - invalid ending time %d", group, element,
                  static_cast<int>(value.rangeEndTime));
        return ELEM_ERR_BAD_VALUE;
    }
    char start[32] = "", end[32] = "";
    if (value.rangeStart != -1) {
        int n = snprintf(start, sizeof start, "%08d", value.rangeStart);
        if (value.rangeStartTime >= 0.0)
            snprintf(start + n, sizeof start - n, "%013.6lf", value.rangeStartTime);
    }
    if (value.rangeEnd != -1) {
        int n = snprintf(end, sizeof end, "%08d", value.rangeEnd);
        if (value.rangeEndTime >= 0.0)
            snprintf(end + n, sizeof end - n, "%013.6lf", value.rangeEndTime);
    }
    snprintf(text, sizeof text, "%s-%s", start, end);
    return storeString(text);
}

// Components joined by carets; empty trailing components are left out.
int DcElem::addValue(DcElemValuePN& value)
{
    if (effectiveVr() != VR_PN)
        return refuse("DcElemValuePN");
    const char* components[] = {value.familyName, value.givenName, value.middleName, value.namePrefix,
                                value.nameSuffix};
    int used = 5;
    while (used > 0 && components[used - 1][0] == '\0')
        --used;
    char text[5 * (PN_COMPONENT_MAX + 1) + 1];
    size_t n = 0;
    for (int i = 0; i < used; ++i) {
        if (i > 0)
            text[n++] = '^';
        size_t len = strnlen(components[i], PN_COMPONENT_MAX);
        memcpy(text + n, components[i], len);
        n += len;
    }
    text[n] = '\0';
    return storeString(text);
}

int DcElem::addValue(DICT_UID value)
{
    if (effectiveVr() != VR_UI)
        return refuse("DICT_UID");
    char text[DICT_UID_MAX + 1];
    if (Dict.getUid(value, text) != 0)
        return ELEM_ERR_BAD_VALUE;
    return storeString(text);
}

int DcElem::addValue(const char* value)
{
    if (value == nullptr) {
        logReport(LOG_CHANNEL_1, addValueName, "Null argument passed");
        return ELEM_ERR_NULL_ARG;
    }
    size_t length = strlen(value);
    char* text = static_cast<char*>(malloc(length + 1));
    if (text == nullptr)
        return ELEM_ERR_BAD_VALUE;
    memcpy(text, value, length + 1);
    int status = addText(text);
    free(text);
    return status;
}

// The values of a text, split at backslashes; text is the caller's copy and
// is cut up in place.
int DcElem::addText(char* text)
{
    DICT_VR v = effectiveVr();
    DcElemSlotLimitScope limitScope(this);
    if (v == VR_LT || v == VR_ST || v == VR_UT || strchr(text, '\\') == nullptr)
        return addPiece(v, text);
    utilRemoveSpace(text, UTIL_SPACE_LEADING | UTIL_SPACE_TRAILING);
    size_t length = strlen(text);
    if (length > 0 && text[length - 1] == '\\')
        text[--length] = '\0';
    bool escapes = v == VR_CS || v == VR_LO || v == VR_PN || v == VR_SH;
    char* piece = text;
    int status = 0;
    for (;;) {
        bool insideEscape = false;
        char* p = piece;
        for (; *p != '\0'; ++p) {
            if (escapes && *p == 0x1B)
                insideEscape = !insideEscape;
            else if (*p == '\\' && !insideEscape)
                break;
        }
        bool last = *p == '\0';
        *p = '\0';
        if ((status = addPiece(v, piece)) != 0 || last)
            break;
        piece = p + 1;
    }
    return status;
}

// One value given as text, converted for the element's VR.
int DcElem::addPiece(DICT_VR v, char* piece)
{
    int status;
    switch (v) {
    case VR_AE: status = verifyValueAE(piece); break;
    case VR_CS: status = verifyValueCS(piece); break;
    case VR_DS: status = verifyValueDS(piece); break;
    case VR_IS: status = verifyValueIS(piece); break;
    case VR_LO: status = verifyValueLO(piece); break;
    case VR_SH: status = verifyValueSH(piece); break;
    case VR_UI: status = verifyValueUI(piece); break;
    case VR_LT: status = verifyValueLT(piece); break;
    case VR_UT: status = verifyValueUT(piece); break;
    case VR_ST: status = verifyLength("DcElem::verifyValueST", piece, brenik3::vrMaxLength(VR_ST)); break;
    case VR_PN: status = verifyLength("DcElem::verifyValuePN", piece, brenik3::vrMaxLength(VR_PN)); break;
    case VR_AS: case VR_AT: case VR_DA: case VR_DT: case VR_TM:
        status = verifyLength("DcElem::addValue", piece, 1024);
        break;
    case VR_FL: case VR_FD: status = verifyValueFX(piece); break;
    case VR_SL: case VR_SS: case VR_UL: case VR_US: case VR_XS: case VR_XL:
        status = verifyValueXL(piece);
        break;
    default:
        return refuse("string");
    }
    bool binary = v == VR_FL || v == VR_FD || v == VR_SL || v == VR_SS || v == VR_UL || v == VR_US ||
                  v == VR_XS || v == VR_XL;
    if (status == ELEM_ERR_NO_VALUE)
        return binary ? 0 : storeString("");
    if (status != 0)
        return status;

    if (v == VR_LT || v == VR_ST || v == VR_UT)
        utilRemoveSpace(piece, UTIL_SPACE_TRAILING);
    else
        utilRemoveSpace(piece, UTIL_SPACE_LEADING | UTIL_SPACE_TRAILING);

    switch (v) {
    case VR_AS: {
        DcElemValueAS value;
        return (status = utilStrgToValue(piece, value, group, element)) != 0 ? status : addValue(value);
    }
    case VR_AT: {
        DcElemValueAT value;
        return (status = utilStrgToValue(piece, value, group, element)) != 0 ? status : addValue(value);
    }
    case VR_DA: {
        DcElemValueDA value;
        return (status = utilStrgToValue(piece, value, group, element)) != 0 ? status : addValue(value);
    }
    case VR_DT: {
        DcElemValueDT value;
        return (status = utilStrgToValue(piece, value, group, element)) != 0 ? status : addValue(value);
    }
    case VR_TM: {
        DcElemValueTM value;
        return (status = utilStrgToValue(piece, value, group, element)) != 0 ? status : addValue(value);
    }
    case VR_PN: {
        DcElemValuePN value;
        return (status = utilStrgToValue(piece, value, group, element)) != 0 ? status : addValue(value);
    }
    case VR_FL: {
        float value = strtof(piece, nullptr);
        return storeBinary(&value, sizeof value);
    }
    case VR_FD: {
        double value = strtod(piece, nullptr);
        return storeBinary(&value, sizeof value);
    }
    case VR_SS: {
        short value = static_cast<short>(strtol(piece, nullptr, 0));
        return storeBinary(&value, sizeof value);
    }
    case VR_US: {
        unsigned short value = static_cast<unsigned short>(strtoul(piece, nullptr, 0));
        return storeBinary(&value, sizeof value);
    }
    case VR_XS: {
        unsigned short value = piece[0] == '-' ? static_cast<unsigned short>(strtol(piece, nullptr, 0))
                                               : static_cast<unsigned short>(strtoul(piece, nullptr, 0));
        return storeBinary(&value, sizeof value);
    }
    case VR_SL: {
        int value = static_cast<int>(strtol(piece, nullptr, 0));
        return storeBinary(&value, sizeof value);
    }
    case VR_UL: {
        unsigned int value = static_cast<unsigned int>(strtoul(piece, nullptr, 0));
        return storeBinary(&value, sizeof value);
    }
    case VR_XL: {
        unsigned int value = piece[0] == '-' ? static_cast<unsigned int>(strtol(piece, nullptr, 0))
                                             : static_cast<unsigned int>(strtoul(piece, nullptr, 0));
        return storeBinary(&value, sizeof value);
    }
    default:
        return storeString(piece);
    }
}

namespace {

// Numbers given for DS and IS are added as their text.
template <typename... Args>
int addAsText(DcElem* elem, const char* format, Args... args)
{
    char text[64];
    snprintf(text, sizeof text, format, args...);
    return elem->addValue(static_cast<const char*>(text));
}

}

int DcElem::addValue(short value)
{
    switch (effectiveVr()) {
    case VR_DS: case VR_IS: return addAsText(this, "%d", value);
    case VR_FL: return addValue(static_cast<float>(value));
    case VR_FD: return addValue(static_cast<double>(value));
    case VR_SL: return addValue(static_cast<int>(value));
    case VR_SS: case VR_XS: return storeBinary(&value, sizeof value);
    case VR_UL: return addValue(static_cast<unsigned int>(value));
    case VR_US: return addValue(static_cast<unsigned short>(value));
    default: return refuse("short");
    }
}

int DcElem::addValue(unsigned short value)
{
    switch (effectiveVr()) {
    case VR_DS: case VR_IS: return addAsText(this, "%d", value);
    case VR_FL: return addValue(static_cast<float>(value));
    case VR_FD: return addValue(static_cast<double>(value));
    case VR_SL: return addValue(static_cast<int>(value));
    case VR_SS: return addValue(static_cast<short>(value));
    case VR_XS: case VR_US: return storeBinary(&value, sizeof value);
    case VR_UL: {
        unsigned int wide = value;
        return storeBinary(&wide, sizeof wide);
    }
    default: return refuse("unsigned short");
    }
}

int DcElem::addValue(int value)
{
    switch (effectiveVr()) {
    case VR_DS: case VR_IS: return addAsText(this, "%d", value);
    case VR_FL: return addValue(static_cast<float>(value));
    case VR_FD: return addValue(static_cast<double>(value));
    case VR_SL: return storeBinary(&value, sizeof value);
    case VR_SS: case VR_XS: return addValue(static_cast<short>(value));
    case VR_UL: return addValue(static_cast<unsigned int>(value));
    case VR_US: return addValue(static_cast<unsigned short>(value));
    default: return refuse("long");
    }
}

int DcElem::addValue(unsigned int value)
{
    switch (effectiveVr()) {
    case VR_DS: case VR_IS: return addAsText(this, "%u", value);
    case VR_FL: return addValue(static_cast<float>(value));
    case VR_FD: return addValue(static_cast<double>(value));
    case VR_SL: return addValue(static_cast<int>(value));
    case VR_SS: return addValue(static_cast<short>(value));
    case VR_XS: case VR_US: return addValue(static_cast<unsigned short>(value));
    case VR_UL: return storeBinary(&value, sizeof value);
    default: return refuse("unsigned long");
    }
}

int DcElem::addValue(float value)
{
    switch (effectiveVr()) {
    case VR_DS: return addAsText(this, "%f", static_cast<double>(value));
    case VR_FL: return storeBinary(&value, sizeof value);
    case VR_FD: return addValue(static_cast<double>(value));
    default: return refuse("float");
    }
}

int DcElem::addValue(double value)
{
    switch (effectiveVr()) {
    case VR_DS: return addAsText(this, "%f", value);
    case VR_FL: return addValue(static_cast<float>(value));
    case VR_FD: return storeBinary(&value, sizeof value);
    default: return refuse("double float");
    }
}

int DcElem::addValue(DcBuf* value)
{
    if (!isRawVr(effectiveVr()))
        return refuse("raw buffers");
    if (value == nullptr) {
        logReport(LOG_CHANNEL_1, addValueName, "Null argument passed");
        return ELEM_ERR_NULL_ARG;
    }
    if (value->getType() == BUF_DISK && tag != elemcodec::TAG_PIXEL_DATA) {
        logReport(LOG_CHANNEL_1, addValueName, "Only Pixel Data (7fe0,0010) accepts disk based raw buffers");
        return ELEM_ERR_BAD_VALUE;
    }
    dropAsRead();
    DcBuf* entry = new DcBuf;
    entry->move(value);
    ownBufList()->add(entry);
    return 0;
}

int DcElem::addValue(void* buf, unsigned int len, DICT_UID xfer)
{
    if (!isRawVr(effectiveVr()))
        return refuse("raw buffers");
    if (buf == nullptr || len == 0)
        return ELEM_ERR_BAD_VALUE;
    bool big;
    if (!elemcodec::bigEndian(xfer, big))
        return ELEM_ERR_XFER_SYNTAX;
    void* block = malloc(len);
    if (block == nullptr)
        return ELEM_ERR_BAD_VALUE;
    memcpy(block, buf, len);
    dropAsRead();
    ownBufList()->add(new DcBuf(block, len, xfer));
    return 0;
}

int DcElem::addValue(int fileHandle, int offset, unsigned int length, DICT_UID xfer)
{
    DICT_VR v = effectiveVr();
    if (v != VR_OB && v != VR_OW && v != VR_OX)
        return refuse("raw buffers");
    if (fileHandle == -1)
        return ELEM_ERR_BAD_VALUE;
    int handle = dup(fileHandle);
    if (handle == -1) {
        if (errno == EBADF)
            logReport(LOG_CHANNEL_1, addValueName, "Invalid file handle '%d' provided for duplication", fileHandle);
        else if (errno == EMFILE)
            logReport(LOG_CHANNEL_1, addValueName, "No more file handles available for duplication");
        else
            logReport(LOG_CHANNEL_1, addValueName, "Unknown error occured while duplicating file handle - %d",
                      fileHandle);
        return ELEM_ERR_BAD_VALUE;
    }
    dropAsRead();
    ownBufList()->add(new DcBuf(handle, offset, length, xfer));
    return 0;
}

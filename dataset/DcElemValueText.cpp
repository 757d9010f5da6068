#include "dataset/DcElemValueText.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/DcLog.h"
#include "internal/Text.h"

namespace {

const size_t TEXT_MAX = 128;

int nullText(const char* function)
{
    logReport(LOG_CHANNEL_1, function, "Null argument passed");
    return UTIL_ERR_NULL_ARG;
}

bool allDigits(const char* p, size_t n)
{
    for (size_t i = 0; i < n; ++i)
        if (!isdigit(static_cast<unsigned char>(p[i])))
            return false;
    return true;
}

int twoDigits(const char* p)
{
    return (p[0] - '0') * 10 + (p[1] - '0');
}

// The '-' that separates the ends of a range, or null. In a date-time a '-'
// followed by four digits that end the text (or an end) is a UTC offset.
const char* findRangeSeparator(const char* text, bool dateTime)
{
    for (const char* p = strchr(text, '-'); p != nullptr; p = strchr(p + 1, '-')) {
        if (dateTime && p != text && allDigits(p + 1, 4) && (p[5] == '\0' || p[5] == '-'))
            continue;
        return p;
    }
    return nullptr;
}

// A date-time without range: YYYYMMDD, then an optional time, then an
// optional offset &HHMM.
int parseDateTime(const char* text, DcElemValueDT& value, unsigned short group, unsigned short element)
{
    char date[9];
    brenik3::copyText(date, text, 8);
    int status = utilStrgToYMD(date, value.year, value.month, value.day, group, element);
    if (status != 0)
        return status;
    char time[TEXT_MAX + 1];
    brenik3::copyText(time, text + 8, TEXT_MAX);
    char* sign = strpbrk(time, "+-");
    if (sign != nullptr) {
        if (strlen(sign) != 5 || !allDigits(sign + 1, 4)) {
            logReport(LOG_CHANNEL_1, "utilStrgToValue", "Element (%04x,%04x) - invalid offset in string '%s'", group,
                      element, text);
            return UTIL_ERR_BAD_STRING;
        }
        int factor = *sign == '-' ? -1 : 1;
        value.offsetHour = factor * twoDigits(sign + 1);
        value.offsetMinute = factor * twoDigits(sign + 3);
        *sign = '\0';
    }
    if (time[0] != '\0')
        return utilStrgToHMS(time, value.hour, value.minute, value.second, group, element);
    return 0;
}

// A DA, TM or DT value: without a range separator the text is one value for
// parseOne(text); otherwise each end that is given goes to
// parseEnd(endText, isStart), the start first.
template <typename ParseOne, typename ParseEnd>
int parseRange(const char* text, bool dateTime, unsigned short group, unsigned short element, ParseOne parseOne,
               ParseEnd parseEnd)
{
    if (text == nullptr)
        return nullText("utilStrgToValue");
    const char* dash = findRangeSeparator(text, dateTime);
    if (dash == nullptr)
        return parseOne(text);
    char start[TEXT_MAX + 1];
    brenik3::copyText(start, text, std::min<size_t>(dash - text, TEXT_MAX));
    const char* end = dash + 1;
    if (start[0] == '\0' && end[0] == '\0') {
        logReport(LOG_CHANNEL_1, "utilStrgToValue", "Element (%04x,%04x) - invalid string '%s', empty range", group,
                  element, text);
        return UTIL_ERR_BAD_STRING;
    }
    int status;
    if (start[0] != '\0' && (status = parseEnd(start, true)) != 0)
        return status;
    if (end[0] != '\0' && (status = parseEnd(end, false)) != 0)
        return status;
    return 0;
}

}

int utilStrgToYMD(const char* text, int& year, int& month, int& day, unsigned short group, unsigned short element)
{
    year = month = day = 0;
    if (text == nullptr)
        return nullText("utilStrgToYMD");
    char digits[TEXT_MAX + 1];
    brenik3::copyText(digits, text, TEXT_MAX);
    if (strchr(digits, '.') != nullptr) {
        bool oldForm = strlen(digits) > 7 && digits[4] == '.' && digits[7] == '.' && strchr(digits + 8, '.') == nullptr;
        if (!oldForm) {
            logReport(LOG_CHANNEL_1, "utilStrgToYMD", "Element (%04x,%04x) - unexpected occurence of '.' in string '%s'",
                      group, element, text);
            return UTIL_ERR_BAD_STRING;
        }
        memmove(digits + 4, digits + 5, 2);
        memmove(digits + 6, digits + 8, strlen(digits + 8) + 1);
    }
    if (strlen(digits) < 8) {
        logReport(LOG_CHANNEL_1, "utilStrgToYMD", "Element (%04x,%04x) - short string '%s', should be 8 digits", group,
                  element, text);
        return UTIL_ERR_BAD_STRING;
    }
    for (int i = 0; i < 8; ++i)
        if (!isdigit(static_cast<unsigned char>(digits[i]))) {
            logReport(LOG_CHANNEL_1, "utilStrgToYMD", "Element (%04x,%04x) - non numeric char '%c' in string '%s'",
                      group, element, digits[i], text);
            return UTIL_ERR_BAD_STRING;
        }
    int y = twoDigits(digits) * 100 + twoDigits(digits + 2);
    int m = twoDigits(digits + 4);
    int d = twoDigits(digits + 6);
    if (m < 1 || m > 12) {
        logReport(LOG_CHANNEL_1, "utilStrgToYMD", "Element (%04x,%04x) - invalid month %d in string '%s'", group,
                  element, m, text);
        return UTIL_ERR_BAD_STRING;
    }
    if (d < 1 || d > 31) {
        logReport(LOG_CHANNEL_1, "utilStrgToYMD", "Element (%04x,%04x) - invalid day %d in string '%s'", group,
                  element, d, text);
        return UTIL_ERR_BAD_STRING;
    }
    year = y;
    month = m;
    day = d;
    return 0;
}

int utilStrgToHMS(const char* text, int& hour, int& minute, double& second, unsigned short group,
                  unsigned short element)
{
    hour = minute = 0;
    second = 0.0;
    if (text == nullptr)
        return nullText("utilStrgToHMS");
    char buf[35];
    brenik3::copyText(buf, text, 34);
    for (char* colon = strchr(buf, ':'); colon != nullptr; colon = strchr(colon + 1, ':'))
        if (colon - buf != 2 && colon - buf != 5) {
            logReport(LOG_CHANNEL_1, "utilStrgToHMS",
                      "Element (%04x,%04x) - unexpected occurence of ':' in string '%s'", group, element, text);
            return UTIL_ERR_BAD_STRING;
        }
    char* out = buf;
    for (const char* in = buf; *in != '\0'; ++in)
        if (*in != ':')
            *out++ = *in;
    *out = '\0';

    size_t whole = strcspn(buf, ".");
    if (whole != 2 && whole != 4 && whole != 6) {
        logReport(LOG_CHANNEL_1, "utilStrgToHMS",
                  "Element (%04x,%04x) - invalid HHMMSS part in string '%s', should be 2, 4 or 6 chars", group,
                  element, text);
        return UTIL_ERR_BAD_STRING;
    }
    for (const char* p = buf; *p != '\0'; ++p)
        if (!isdigit(static_cast<unsigned char>(*p)) && *p != '.') {
            logReport(LOG_CHANNEL_1, "utilStrgToHMS", "Element (%04x,%04x) - non numeric char '%c' in string '%s'",
                      group, element, *p, text);
            return UTIL_ERR_BAD_STRING;
        }
    if (whole < 6 && buf[whole] == '.') {
        logReport(LOG_CHANNEL_1, "utilStrgToHMS",
                  "Element (%04x,%04x) - invalid HHMMSS part in string '%s', should be 2, 4 or 6 chars", group,
                  element, text);
        return UTIL_ERR_BAD_STRING;
    }
    int h = twoDigits(buf);
    int m = whole >= 4 ? twoDigits(buf + 2) : 0;
    double s = whole == 6 ? atof(buf + 4) : 0.0;
    if (h > 23) {
        logReport(LOG_CHANNEL_1, "utilStrgToHMS", "Element (%04x,%04x) - invalid hour %d in string '%s'", group,
                  element, h, text);
        return UTIL_ERR_BAD_STRING;
    }
    if (m > 59) {
        logReport(LOG_CHANNEL_1, "utilStrgToHMS", "Element (%04x,%04x) - invalid minute %d in string '%s'", group,
                  element, m, text);
        return UTIL_ERR_BAD_STRING;
    }
    if (s < 0.0 || s >= 60.0) {
        logReport(LOG_CHANNEL_1, "utilStrgToHMS", "Element (%04x,%04x) - invalid second %d in string '%s'", group,
                  element, static_cast<int>(s), text);
        return UTIL_ERR_BAD_STRING;
    }
    hour = h;
    minute = m;
    second = s;
    return 0;
}

int utilStrgToValue(const char* text, DcElemValueAS& value, unsigned short group, unsigned short element)
{
    value.reset();
    if (text == nullptr)
        return nullText("utilStrgToValue");
    if (strlen(text) != 4) {
        logReport(LOG_CHANNEL_1, "utilStrgToValue",
                  "Element (%04x,%04x) - AS incorrect string length, should be 4 bytes", group, element);
        return UTIL_ERR_BAD_STRING;
    }
    char unit = text[3];
    if (isdigit(static_cast<unsigned char>(unit)) || unit == ' ') {
        logReport(LOG_CHANNEL_1, "utilStrgToValue", "Element (%04x,%04x) - no DMWY specifier", group, element);
        return UTIL_ERR_BAD_STRING;
    }
    if (strchr("DWMY", unit) == nullptr) {
        logReport(LOG_CHANNEL_1, "utilStrgToValue",
                  "Element (%04x,%04x) - invalid DMWY specifier '%c', should be D,W,M,Y", group, element, unit);
        return UTIL_ERR_BAD_STRING;
    }
    if (!allDigits(text, 3)) {
        logReport(LOG_CHANNEL_1, "utilStrgToValue", "Element (%04x,%04x) - invalid age %d", group, element,
                  atoi(text));
        return UTIL_ERR_BAD_STRING;
    }
    value.age = atoi(text);
    value.unit = unit;
    return 0;
}

int utilStrgToValue(const char* text, DcElemValueAT& value, unsigned short group, unsigned short element)
{
    value.reset();
    if (text == nullptr)
        return nullText("utilStrgToValue");
    if (strlen(text) != 11) {
        logReport(LOG_CHANNEL_1, "utilStrgToValue",
                  "Element (%04x,%04x) - AT incorrect string length, should be 11 bytes", group, element);
        return UTIL_ERR_BAD_STRING;
    }
    bool wellFormed = text[0] == '(' && text[5] == ',' && text[10] == ')';
    for (int i : {1, 2, 3, 4, 6, 7, 8, 9})
        wellFormed = wellFormed && isxdigit(static_cast<unsigned char>(text[i]));
    if (!wellFormed) {
        logReport(LOG_CHANNEL_1, "utilStrgToValue", "Element (%04x,%04x) - invalid string '%s', expecting (gggg,eeee)",
                  group, element, text);
        return UTIL_ERR_BAD_STRING;
    }
    char half[5] = {text[1], text[2], text[3], text[4], '\0'};
    value.group = static_cast<unsigned short>(strtoul(half, nullptr, 16));
    memcpy(half, text + 6, 4);
    value.element = static_cast<unsigned short>(strtoul(half, nullptr, 16));
    return 0;
}

int utilStrgToValue(const char* text, DcElemValueDA& value, unsigned short group, unsigned short element)
{
    value.reset();
    return parseRange(
        text, false, group, element,
        [&](const char* one) { return utilStrgToYMD(one, value.year, value.month, value.day, group, element); },
        [&](const char* end, bool isStart) {
            int y, m, d;
            int status = utilStrgToYMD(end, y, m, d, group, element);
            if (status == 0)
                utilYMDToLong(y, m, d, isStart ? value.rangeStart : value.rangeEnd);
            return status;
        });
}

int utilStrgToValue(const char* text, DcElemValueTM& value, unsigned short group, unsigned short element)
{
    value.reset();
    return parseRange(
        text, false, group, element,
        [&](const char* one) { return utilStrgToHMS(one, value.hour, value.minute, value.second, group, element); },
        [&](const char* end, bool isStart) {
            int h, m;
            double s;
            int status = utilStrgToHMS(end, h, m, s, group, element);
            if (status == 0)
                utilHMSToDouble(h, m, s, isStart ? value.rangeStart : value.rangeEnd);
            return status;
        });
}

int utilStrgToValue(const char* text, DcElemValueDT& value, unsigned short group, unsigned short element)
{
    value.reset();
    return parseRange(
        text, true, group, element, [&](const char* one) { return parseDateTime(one, value, group, element); },
        [&](const char* end, bool isStart) {
            DcElemValueDT single;
            int status = parseDateTime(end, single, group, element);
            if (status != 0)
                return status;
            (isStart ? value.rangeStart : value.rangeEnd) = (single.year * 100 + single.month) * 100 + single.day;
            if (strlen(end) > 8 && end[8] != '+' && end[8] != '-')
                utilHMSToDouble(single.hour, single.minute, single.second,
                                isStart ? value.rangeStartTime : value.rangeEndTime);
            return 0;
        });
}

int utilStrgToValue(const char* text, DcElemValuePN& value, unsigned short group, unsigned short element)
{
    value.reset();
    if (text == nullptr)
        return nullText("utilStrgToValue");
    int carets = 0;
    for (const char* p = text; *p != '\0'; ++p)
        carets += *p == '^';
    if (carets > 4) {
        logReport(LOG_CHANNEL_1, "utilStrgToValue", "Element (%04x,%04x) - contains too many delimiters, %d", group,
                  element, carets);
        return UTIL_ERR_BAD_STRING;
    }
    char* components[] = {value.familyName, value.givenName, value.middleName, value.namePrefix, value.nameSuffix};
    const char* p = text;
    for (char* component : components) {
        size_t n = strcspn(p, "^");
        if (n > PN_COMPONENT_MAX) {
            logReport(LOG_CHANNEL_1, "utilStrgToValue", "Element (%04x,%04x) - string too long", group, element);
            value.reset();
            return UTIL_ERR_BAD_STRING;
        }
        memcpy(component, p, n);
        component[n] = '\0';
        p += n;
        if (*p == '\0')
            break;
        ++p;
    }
    return 0;
}

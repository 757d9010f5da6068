// Printing an element: a header line, then one line per value.
#include <cstdlib>
#include <cstring>

#include "dataset/DcElem.h"
#include "dataset/DcElemCodec.h"
#include "dataset/DcElemValueText.h"
#include "dictionary/DcDict.h"
#include "foundation/DcLog.h"

namespace {

const size_t PRINT_TEXT_MAX = 64;

void vmText(int vm, char* out, size_t size)
{
    if (vm == 0)
        snprintf(out, size, "1-n");
    else if (vm < 0)
        snprintf(out, size, "1-%d", -vm);
    else
        snprintf(out, size, "%d", vm);
}

const char* unitWord(char unit)
{
    switch (unit) {
    case 'D': return " Days";
    case 'W': return " Weeks";
    case 'M': return " Months";
    default: return " Years";
    }
}

void printText(FILE* stream, const char* text)
{
    if (strlen(text) > PRINT_TEXT_MAX)
        fprintf(stream, "  %.*s >>>\n", static_cast<int>(PRINT_TEXT_MAX), text);
    else
        fprintf(stream, "  %s\n", text);
}

// One end of a printed range.
void printDate(FILE* stream, long packed)
{
    int y, m, d;
    utilLongToYMD(packed, y, m, d);
    fprintf(stream, " %04d/%02d/%02d", y, m, d);
}

void printTime(FILE* stream, double packed)
{
    int h, m;
    double s;
    utilDoubleToHMS(packed, h, m, s);
    fprintf(stream, " %02d:%02d:%09.6lf", h, m, s);
}

// A date-time range end: its date (-1: open) and its time (negative: none).
void printDateTimeEnd(FILE* stream, int date, double time)
{
    if (date == -1)
        return;
    printDate(stream, date);
    if (time >= 0.0)
        printTime(stream, time);
}

// The dictionary's silent look-ups; the element prints "Unknown" otherwise.
void describe(unsigned int tag, char* desc, int& vm)
{
    int tagConst;
    vm = 1;
    strcpy(desc, "Unknown");
    if (Dict.getTagDef(tag, tagConst) == 0) {
        Dict.getDesc(tagConst, desc);
        Dict.getVm(tagConst, vm);
    }
}

}

void DcElem::printValue(FILE* stream, DICT_VR v, int i)
{
    const void* block = values[i];
    const char* text = static_cast<const char*>(block);
    switch (v) {
    case VR_UI: {
        DICT_UID uid;
        char desc[DICT_NAME_MAX + 1];
        if (Dict.getUidDef(text, uid) == 0 && Dict.getDesc(uid, desc) == 0)
            fprintf(stream, "  %s (%s)\n", text, desc);
        else
            printText(stream, text);
        return;
    }
    case VR_AS: {
        DcElemValueAS value;
        if (text[0] != '\0' && utilStrgToValue(text, value, group, element) == 0) {
            fprintf(stream, "  %d%s\n", value.age, unitWord(value.unit));
            return;
        }
        break;
    }
    case VR_DA: {
        DcElemValueDA value;
        if (text[0] == '\0' || utilStrgToValue(text, value, group, element) != 0)
            break;
        if (value.rangeStart == -1 && value.rangeEnd == -1) {
            fprintf(stream, "  %04d/%02d/%02d\n", value.year, value.month, value.day);
            return;
        }
        fprintf(stream, " ");
        if (value.rangeStart != -1)
            printDate(stream, value.rangeStart);
        fprintf(stream, " -");
        if (value.rangeEnd != -1)
            printDate(stream, value.rangeEnd);
        fprintf(stream, "\n");
        return;
    }
    case VR_TM: {
        DcElemValueTM value;
        if (text[0] == '\0' || utilStrgToValue(text, value, group, element) != 0)
            break;
        if (value.rangeStart < 0.0 && value.rangeEnd < 0.0) {
            fprintf(stream, "  %02d:%02d:%09.6lf\n", value.hour, value.minute, value.second);
            return;
        }
        fprintf(stream, " ");
        if (value.rangeStart >= 0.0)
            printTime(stream, value.rangeStart);
        fprintf(stream, " -");
        if (value.rangeEnd >= 0.0)
            printTime(stream, value.rangeEnd);
        fprintf(stream, "\n");
        return;
    }
    case VR_DT: {
        DcElemValueDT value;
        if (text[0] == '\0' || utilStrgToValue(text, value, group, element) != 0)
            break;
        if (value.rangeStart == -1 && value.rangeEnd == -1) {
            char sign = value.offsetHour < 0 || value.offsetMinute < 0 ? '-' : '+';
            fprintf(stream, "  %04d/%02d/%02d %02d:%02d:%09.6lf %c%02d:%02d\n", value.year, value.month, value.day,
                    value.hour, value.minute, value.second, sign, std::abs(value.offsetHour),
                    std::abs(value.offsetMinute));
            return;
        }
        fprintf(stream, " ");
        printDateTimeEnd(stream, value.rangeStart, value.rangeStartTime);
        fprintf(stream, " -");
        printDateTimeEnd(stream, value.rangeEnd, value.rangeEndTime);
        fprintf(stream, "\n");
        return;
    }
    case VR_AT: {
        unsigned short halves[2];
        memcpy(halves, block, sizeof halves);
        fprintf(stream, "  (%04x,%04x)\n", halves[0], halves[1]);
        return;
    }
    case VR_FL: {
        float value;
        memcpy(&value, block, sizeof value);
        fprintf(stream, "  %f\n", static_cast<double>(value));
        return;
    }
    case VR_FD: {
        double value;
        memcpy(&value, block, sizeof value);
        fprintf(stream, "  %lf\n", value);
        return;
    }
    case VR_SL: case VR_UL: case VR_XL: {
        unsigned int value;
        memcpy(&value, block, sizeof value);
        if (v == VR_SL)
            fprintf(stream, "  0x%08x %d\n", value, static_cast<int>(value));
        else
            fprintf(stream, "  0x%08x %u\n", value, value);
        return;
    }
    case VR_SS: case VR_US: case VR_XS: {
        unsigned short value;
        memcpy(&value, block, sizeof value);
        char desc[DICT_NAME_MAX + 1];
        if (tag == 0x00000100 && Dict.getDesc(static_cast<DICT_MSG>(value), desc) == 0)
            fprintf(stream, "  0x%04x (%s)\n", value, desc);
        else if (v == VR_SS)
            fprintf(stream, "  0x%04x %d\n", value, static_cast<short>(value));
        else
            fprintf(stream, "  0x%04x %d\n", value, value);
        return;
    }
    default:
        break;
    }
    if (elemcodec::isTextVr(v))
        printText(stream, text);
}

void DcElem::printNodeList(FILE* stream)
{
    if (stream == nullptr)
        return;
    DICT_VR v = effectiveVr();
    char desc[DICT_NAME_MAX + 1];
    char multiplicity[16];
    int dictVm;
    describe(dictTag(), desc, dictVm);
    vmText(dictVm, multiplicity, sizeof multiplicity);
    fprintf(stream, "(%04x,%04x)   %s(%s)   %s\n", group, element, elemcodec::vrName(v), multiplicity, desc);
    for (int i = 0; i < valueCount; ++i)
        printValue(stream, v, i);
    if (!elemcodec::isRawVr(v) || rawBufList->first() == nullptr)
        return;
    unsigned int total = 0;
    for (DcBuf* entry = rawBufList->first(); entry != nullptr; entry = entry->next()) {
        if (entry->getType() == BUF_DISK)
            fprintf(stream, "   fh : %d   len : %d (0x%x) bytes\n", entry->getHandle(), entry->getLen(),
                    entry->getLen());
        else
            fprintf(stream, "  buf : %p   len : %d (0x%x) bytes\n", entry->getBuf(), entry->getLen(), entry->getLen());
        total += entry->getLen();
    }
    fprintf(stream, "                 Total : %d (0x%x) bytes\n", total, total);
}

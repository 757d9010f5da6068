#ifndef BRENIK3_DATASET_DCELEMVALUE_H
#define BRENIK3_DATASET_DCELEMVALUE_H

#include "foundation/Export.h"

// Typed values of the structured value representations. An element stores
// them in their DICOM text form and parses them back when they are read.

enum { PN_COMPONENT_MAX = 64 };

// Age string: a number of days, weeks, months or years.
struct BRENIK3_API DcElemValueAS {
    int age;
    char unit;  // 'D', 'W', 'M' or 'Y'

    DcElemValueAS() { reset(); }
    void reset();
};

// Attribute tag.
struct BRENIK3_API DcElemValueAT {
    unsigned short group;
    unsigned short element;

    DcElemValueAT() { reset(); }
    void reset();
};

// Date, or a range of dates (each end as the number YYYYMMDD, -1 when open).
// rangeStart and rangeEnd both -1: a single date in year, month, day.
struct BRENIK3_API DcElemValueDA {
    int year;
    int month;
    int day;
    long rangeStart;
    long rangeEnd;

    DcElemValueDA() { reset(); }
    void reset();
};

// Date and time with an optional UTC offset, or a range (dates as YYYYMMDD,
// times as HHMMSS.ffffff; -1 when an end is open).
struct BRENIK3_API DcElemValueDT {
    int year;
    int month;
    int day;
    int hour;
    int minute;
    double second;
    int offsetHour;
    int offsetMinute;
    int rangeStart;
    int rangeEnd;
    double rangeStartTime;
    double rangeEndTime;

    DcElemValueDT() { reset(); }
    void reset();
};

// Person name: the five caret-separated components.
struct BRENIK3_API DcElemValuePN {
    char familyName[PN_COMPONENT_MAX + 1];
    char givenName[PN_COMPONENT_MAX + 1];
    char middleName[PN_COMPONENT_MAX + 1];
    char namePrefix[PN_COMPONENT_MAX + 1];
    char nameSuffix[PN_COMPONENT_MAX + 1];

    DcElemValuePN() { reset(); }
    void reset();
};

// Time, or a range of times (each end as the number HHMMSS.ffffff, -1.0 when
// open). rangeStart and rangeEnd both -1.0: a single time.
struct BRENIK3_API DcElemValueTM {
    int hour;
    int minute;
    double second;
    double rangeStart;
    double rangeEnd;

    DcElemValueTM() { reset(); }
    void reset();
};

#endif

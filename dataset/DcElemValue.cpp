#include "dataset/DcElemValue.h"

void DcElemValueAS::reset()
{
    age = 0;
    unit = '\0';
}

void DcElemValueAT::reset()
{
    group = 0;
    element = 0;
}

void DcElemValueDA::reset()
{
    year = month = day = 0;
    rangeStart = rangeEnd = -1;
}

void DcElemValueDT::reset()
{
    year = month = day = hour = minute = 0;
    second = 0.0;
    offsetHour = offsetMinute = 0;
    rangeStart = rangeEnd = -1;
    rangeStartTime = rangeEndTime = -1.0;
}

void DcElemValuePN::reset()
{
    familyName[0] = givenName[0] = middleName[0] = namePrefix[0] = nameSuffix[0] = '\0';
}

void DcElemValueTM::reset()
{
    hour = minute = 0;
    second = 0.0;
    rangeStart = rangeEnd = -1.0;
}

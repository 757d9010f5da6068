#include <gtest/gtest.h>

#include <string>

#include "TestSupport.h"
#include "dataset/DcElem.h"
#include "dataset/DcElemValueText.h"

TEST(DateText, AcceptsEightDigitsAndTheOldDottedForm)
{
    int y, m, d;
    EXPECT_EQ(utilStrgToYMD("20100608", y, m, d, 0, 0), 0);
    EXPECT_EQ(y * 10000 + m * 100 + d, 20100608);
    EXPECT_EQ(utilStrgToYMD("1990.05.17", y, m, d, 0, 0), 0);
    EXPECT_EQ(y, 1990);
    EXPECT_EQ(m, 5);
    EXPECT_EQ(d, 17);
}

TEST(DateText, RefusesMalformedDates)
{
    LogCapture log;
    int y, m, d;
    EXPECT_EQ(utilStrgToYMD("1990.5.17", y, m, d, 0x0008, 0x0020), UTIL_ERR_BAD_STRING);
    EXPECT_EQ(utilStrgToYMD("201006", y, m, d, 0x0008, 0x0020), UTIL_ERR_BAD_STRING);
    EXPECT_EQ(utilStrgToYMD("2010O608", y, m, d, 0x0008, 0x0020), UTIL_ERR_BAD_STRING);
    EXPECT_EQ(utilStrgToYMD("20101308", y, m, d, 0x0008, 0x0020), UTIL_ERR_BAD_STRING);
    EXPECT_EQ(utilStrgToYMD("20100632", y, m, d, 0x0008, 0x0020), UTIL_ERR_BAD_STRING);
    EXPECT_EQ(utilStrgToYMD(nullptr, y, m, d, 0, 0), UTIL_ERR_NULL_ARG);
    std::string text = log.text();
    EXPECT_NE(text.find("<utilStrgToYMD> Element (0008,0020) - unexpected occurence of '.' in string '1990.5.17'"),
              std::string::npos);
    EXPECT_NE(text.find("short string '201006', should be 8 digits"), std::string::npos);
    EXPECT_NE(text.find("non numeric char 'O' in string '2010O608'"), std::string::npos);
    EXPECT_NE(text.find("invalid month 13 in string '20101308'"), std::string::npos);
    EXPECT_NE(text.find("invalid day 32 in string '20100632'"), std::string::npos);
}

TEST(TimeText, AcceptsHoursMinutesSecondsAndFractions)
{
    int h, m;
    double s;
    EXPECT_EQ(utilStrgToHMS("12:30:15.5", h, m, s, 0, 0), 0);
    EXPECT_EQ(h, 12);
    EXPECT_EQ(m, 30);
    EXPECT_DOUBLE_EQ(s, 15.5);
    EXPECT_EQ(utilStrgToHMS("07", h, m, s, 0, 0), 0);
    EXPECT_EQ(h, 7);
    EXPECT_EQ(m, 0);
    EXPECT_EQ(utilStrgToHMS("0745", h, m, s, 0, 0), 0);
    EXPECT_EQ(m, 45);
}

TEST(TimeText, RefusesMalformedTimes)
{
    LogCapture log;
    int h, m;
    double s;
    EXPECT_EQ(utilStrgToHMS("1230155", h, m, s, 0, 0), UTIL_ERR_BAD_STRING);
    EXPECT_EQ(utilStrgToHMS("1:30:15", h, m, s, 0, 0), UTIL_ERR_BAD_STRING);
    EXPECT_EQ(utilStrgToHMS("12a0", h, m, s, 0, 0), UTIL_ERR_BAD_STRING);
    EXPECT_EQ(utilStrgToHMS("2400", h, m, s, 0, 0), UTIL_ERR_BAD_STRING);
    EXPECT_EQ(utilStrgToHMS("1260", h, m, s, 0, 0), UTIL_ERR_BAD_STRING);
    EXPECT_EQ(utilStrgToHMS("123060", h, m, s, 0, 0), UTIL_ERR_BAD_STRING);
    EXPECT_EQ(utilStrgToHMS(nullptr, h, m, s, 0, 0), UTIL_ERR_NULL_ARG);
    std::string text = log.text();
    EXPECT_NE(text.find("invalid HHMMSS part in string '1230155', should be 2, 4 or 6 chars"), std::string::npos);
    EXPECT_NE(text.find("unexpected occurence of ':' in string '1:30:15'"), std::string::npos);
    EXPECT_NE(text.find("non numeric char 'a' in string '12a0'"), std::string::npos);
    EXPECT_NE(text.find("invalid hour 24"), std::string::npos);
    EXPECT_NE(text.find("invalid minute 60"), std::string::npos);
    EXPECT_NE(text.find("invalid second 60"), std::string::npos);
}

TEST(ValueText, AgeStrings)
{
    LogCapture log;
    DcElemValueAS age;
    EXPECT_EQ(utilStrgToValue("045Y", age, 0, 0), 0);
    EXPECT_EQ(age.age, 45);
    EXPECT_EQ(age.unit, 'Y');
    EXPECT_EQ(utilStrgToValue("45Y", age, 0, 0), UTIL_ERR_BAD_STRING);
    EXPECT_EQ(utilStrgToValue("0450", age, 0, 0), UTIL_ERR_BAD_STRING);
    EXPECT_EQ(utilStrgToValue("045X", age, 0, 0), UTIL_ERR_BAD_STRING);
    EXPECT_EQ(utilStrgToValue("0a5Y", age, 0, 0), UTIL_ERR_BAD_STRING);
    std::string text = log.text();
    EXPECT_NE(text.find("AS incorrect string length, should be 4 bytes"), std::string::npos);
    EXPECT_NE(text.find("no DMWY specifier"), std::string::npos);
    EXPECT_NE(text.find("invalid DMWY specifier 'X', should be D,W,M,Y"), std::string::npos);
    EXPECT_NE(text.find("invalid age 0"), std::string::npos);
}

TEST(ValueText, AttributeTags)
{
    LogCapture log;
    DcElemValueAT tag;
    EXPECT_EQ(utilStrgToValue("(7fe0,0010)", tag, 0, 0), 0);
    EXPECT_EQ(tag.group, 0x7FE0);
    EXPECT_EQ(tag.element, 0x0010);
    EXPECT_EQ(utilStrgToValue("7fe0,0010", tag, 0, 0), UTIL_ERR_BAD_STRING);
    EXPECT_EQ(utilStrgToValue("(7fe0;0010)", tag, 0, 0), UTIL_ERR_BAD_STRING);
    EXPECT_NE(log.text().find("AT incorrect string length, should be 11 bytes"), std::string::npos);
    EXPECT_NE(log.text().find("invalid string '(7fe0;0010)', expecting (gggg,eeee)"), std::string::npos);
}

TEST(ValueText, PersonNames)
{
    LogCapture log;
    DcElemValuePN name;
    EXPECT_EQ(utilStrgToValue("Doe^John^Q^Dr^Jr", name, 0, 0), 0);
    EXPECT_STREQ(name.familyName, "Doe");
    EXPECT_STREQ(name.givenName, "John");
    EXPECT_STREQ(name.middleName, "Q");
    EXPECT_STREQ(name.namePrefix, "Dr");
    EXPECT_STREQ(name.nameSuffix, "Jr");
    EXPECT_EQ(utilStrgToValue("Doe", name, 0, 0), 0);
    EXPECT_STREQ(name.givenName, "");
    EXPECT_EQ(utilStrgToValue("a^b^c^d^e^f", name, 0x0010, 0x0010), UTIL_ERR_BAD_STRING);
    EXPECT_NE(log.text().find("Element (0010,0010) - contains too many delimiters, 5"), std::string::npos);
}

TEST(ValueText, DateAndTimeRanges)
{
    DcElemValueDA date;
    EXPECT_EQ(utilStrgToValue("20100101-20101231", date, 0, 0), 0);
    EXPECT_EQ(date.rangeStart, 20100101);
    EXPECT_EQ(date.rangeEnd, 20101231);
    EXPECT_EQ(utilStrgToValue("-20101231", date, 0, 0), 0);
    EXPECT_EQ(date.rangeStart, -1);
    EXPECT_EQ(date.rangeEnd, 20101231);

    DcElemValueTM time;
    EXPECT_EQ(utilStrgToValue("0800-1730", time, 0, 0), 0);
    EXPECT_DOUBLE_EQ(time.rangeStart, 80000.0);
    EXPECT_DOUBLE_EQ(time.rangeEnd, 173000.0);

    DcElemValueDT dateTime;
    EXPECT_EQ(utilStrgToValue("20100608-20100609", dateTime, 0, 0), 0);
    EXPECT_EQ(dateTime.rangeStart, 20100608);
    EXPECT_EQ(dateTime.rangeEnd, 20100609);
    EXPECT_EQ(utilStrgToValue("20100608-0500", dateTime, 0, 0), 0);
    EXPECT_EQ(dateTime.rangeStart, -1);
    EXPECT_EQ(dateTime.offsetHour, -5);
}

// Each row: the VR's text check through an element of that VR.
struct TextCheck {
    int tag;
    const char* text;
    int status;
};

class TextChecks : public ::testing::TestWithParam<TextCheck> {};

TEST_P(TextChecks, GiveTheirStatus)
{
    LogCapture log;
    DcElem elem(GetParam().tag);
    EXPECT_EQ(elem.addValue(GetParam().text), GetParam().status) << GetParam().text;
    EXPECT_EQ(elem.getValueCount(), GetParam().status == 0 ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(
    PerVr, TextChecks,
    ::testing::Values(
        TextCheck{T_0008_0055_stationAeTitle, "STORESCP", 0},
        TextCheck{T_0008_0055_stationAeTitle, "AE\x7fTITLE", ELEM_ERR_ILLEGAL_CHAR},
        TextCheck{T_0008_0055_stationAeTitle, "ABCDEFGHIJKLMNOPQ", ELEM_ERR_TOO_LONG},
        TextCheck{T_0008_0052_queryRetrieveLevel, "STUDY", 0},
        TextCheck{T_0008_0052_queryRetrieveLevel, "*", 0},
        TextCheck{T_0008_0052_queryRetrieveLevel, "ABC-1", ELEM_ERR_ILLEGAL_CHAR},
        TextCheck{T_0008_0052_queryRetrieveLevel, "abc\x1b", 0},
        TextCheck{T_0010_1020_patientSize, "-1.5e+3", 0},
        TextCheck{T_0010_1020_patientSize, "1,5", ELEM_ERR_ILLEGAL_CHAR},
        TextCheck{T_0010_1020_patientSize, "12345678901234567", ELEM_ERR_TOO_LONG},
        TextCheck{T_0008_2122_stageNumber, "+12", 0},
        TextCheck{T_0008_2122_stageNumber, "1.0", ELEM_ERR_ILLEGAL_CHAR},
        TextCheck{T_0008_0070_manufacturer, "ACME Imaging", 0},
        TextCheck{T_0008_0070_manufacturer, "tab\there", ELEM_ERR_ILLEGAL_CHAR},
        TextCheck{T_0008_0050_accessionNumber, "12345678901234567", ELEM_ERR_TOO_LONG},
        TextCheck{T_0008_0108_extendedCodeMeaning, "line\r\nbreaks\fok", 0},
        TextCheck{T_0008_0108_extendedCodeMeaning, "be\all", ELEM_ERR_ILLEGAL_CHAR},
        TextCheck{T_0008_0014_instanceCreatorUid, "1.2.840.10008", 0},
        TextCheck{T_0008_0014_instanceCreatorUid, "1.2.a", ELEM_ERR_ILLEGAL_CHAR},
        TextCheck{T_0008_0014_instanceCreatorUid,
                  "1.2.3.4.5.6.7.8.9.10.11.12.13.14.15.16.17.18.19.20.21.22.23.24.2   ", 0},
        TextCheck{T_0008_0014_instanceCreatorUid,
                  "1.2.3.4.5.6.7.8.9.10.11.12.13.14.15.16.17.18.19.20.21.22.23.24.25", ELEM_ERR_TOO_LONG},
        TextCheck{T_0010_9431_examinedBodyThickness, "2.5", 0},
        TextCheck{T_0010_9431_examinedBodyThickness, "2.5mm", ELEM_ERR_ILLEGAL_CHAR},
        TextCheck{T_0028_0010_rows, "512", 0},
        TextCheck{T_0028_0010_rows, "0x200", ELEM_ERR_ILLEGAL_CHAR},
        TextCheck{T_0028_0010_rows, "1234567890123", ELEM_ERR_TOO_LONG},
        TextCheck{T_0010_1010_patientAge, "1000Y", UTIL_ERR_BAD_STRING},
        TextCheck{T_0010_1010_patientAge, "045Y", 0}));

TEST(TextChecks, LongTextLimits)
{
    LogCapture log;
    DcElem st(T_0008_0081_institutionAddress);
    EXPECT_EQ(st.addValue(std::string(1024, 'a').c_str()), 0);
    EXPECT_EQ(st.addValue(std::string(1025, 'a').c_str()), ELEM_ERR_TOO_LONG);
    DcElem pn(T_0010_0010_patientName);
    EXPECT_EQ(pn.addValue(std::string(325, 'a').c_str()), ELEM_ERR_TOO_LONG);
    DcElem lt(T_0008_0108_extendedCodeMeaning);
    EXPECT_EQ(lt.addValue(std::string(10240, 'a').c_str()), 0);
    EXPECT_EQ(lt.addValue(std::string(10241, 'a').c_str()), ELEM_ERR_TOO_LONG);
    DcElem ut(T_0008_030e_privateDataElementDescription);
    EXPECT_EQ(ut.addValue(std::string(32768, 'a').c_str()), 0);
    EXPECT_EQ(ut.addValue(std::string(32769, 'a').c_str()), ELEM_ERR_TOO_LONG);
    EXPECT_NE(log.text().find("<DcElem::verifyValueLT> Element (0008,0108) - string too long"), std::string::npos);
}

TEST(TextChecks, IllegalCharactersAreNamed)
{
    LogCapture log;
    DcElem cs(T_0008_0052_queryRetrieveLevel);
    cs.addValue("ABC-1");
    EXPECT_NE(log.text().find("<DcElem::verifyValueCS> Element (0008,0052) - illegal character '-' (0x2d) in string"),
              std::string::npos);
}

TEST(TextChecks, BlanksAroundAValueAreDropped)
{
    DcElem cs(T_0008_0008_imageType, "  ORIGINAL \\ PRIMARY  ");
    EXPECT_EQ(text(cs), "ORIGINAL");
    EXPECT_EQ(text(cs), "PRIMARY");
    DcElem lo(T_0008_0070_manufacturer, " ACME ");
    EXPECT_EQ(text(lo), "ACME");
}

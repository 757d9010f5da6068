#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "TestSupport.h"
#include "dataset/DcElemValueText.h"

TEST(ValueText, MalformedTextIsRefusedWithItsReason)
{
    int y, mo, d, h, mi;
    double s;
    DcElemValueAS age;
    DcElemValueAT tag;
    DcElemValuePN name;
    struct Case {
        std::function<int()> read;
        const char* reason;
    };
    const Case cases[] = {
        {[&] { return utilStrgToYMD("1990.5.17", y, mo, d, 0x0008, 0x0020); },
         "<utilStrgToYMD> Element (0008,0020) - unexpected occurence of '.' in string '1990.5.17'"},
        {[&] { return utilStrgToYMD("201006", y, mo, d, 0, 0); }, "short string '201006', should be 8 digits"},
        {[&] { return utilStrgToYMD("2010O608", y, mo, d, 0, 0); }, "non numeric char 'O' in string '2010O608'"},
        {[&] { return utilStrgToYMD("20101308", y, mo, d, 0, 0); }, "invalid month 13 in string '20101308'"},
        {[&] { return utilStrgToYMD("20100632", y, mo, d, 0, 0); }, "invalid day 32 in string '20100632'"},
        {[&] { return utilStrgToHMS("1230155", h, mi, s, 0, 0); },
         "invalid HHMMSS part in string '1230155', should be 2, 4 or 6 chars"},
        {[&] { return utilStrgToHMS("1:30:15", h, mi, s, 0, 0); }, "unexpected occurence of ':' in string '1:30:15'"},
        {[&] { return utilStrgToHMS("12a0", h, mi, s, 0, 0); }, "non numeric char 'a' in string '12a0'"},
        {[&] { return utilStrgToHMS("2400", h, mi, s, 0, 0); }, "invalid hour 24"},
        {[&] { return utilStrgToHMS("1260", h, mi, s, 0, 0); }, "invalid minute 60"},
        {[&] { return utilStrgToHMS("123060", h, mi, s, 0, 0); }, "invalid second 60"},
        {[&] { return utilStrgToValue("45Y", age, 0, 0); }, "AS incorrect string length, should be 4 bytes"},
        {[&] { return utilStrgToValue("0450", age, 0, 0); }, "no DMWY specifier"},
        {[&] { return utilStrgToValue("045X", age, 0, 0); }, "invalid DMWY specifier 'X', should be D,W,M,Y"},
        {[&] { return utilStrgToValue("0a5Y", age, 0, 0); }, "invalid age 0"},
        {[&] { return utilStrgToValue("7fe0,0010", tag, 0, 0); }, "AT incorrect string length, should be 11 bytes"},
        {[&] { return utilStrgToValue("(7fe0;0010)", tag, 0, 0); }, "invalid string '(7fe0;0010)', expecting (gggg,eeee)"},
        {[&] { return utilStrgToValue("a^b^c^d^e^f", name, 0x0010, 0x0010); },
         "Element (0010,0010) - contains too many delimiters, 5"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.reason);
        LogCapture log;
        EXPECT_EQ(c.read(), UTIL_ERR_BAD_STRING);
        EXPECT_TRUE(log.has(c.reason));
    }
    EXPECT_EQ(utilStrgToYMD(nullptr, y, mo, d, 0, 0), UTIL_ERR_NULL_ARG);
    EXPECT_EQ(utilStrgToHMS(nullptr, h, mi, s, 0, 0), UTIL_ERR_NULL_ARG);
}

TEST(TextChecks, EachVrAcceptsItsCharactersAndLength)
{
    struct Case {
        int tag;
        std::string text;
        int status;
    };
    const Case cases[] = {
        {T_0008_0055_stationAeTitle, "STORESCP", 0},
        {T_0008_0055_stationAeTitle, "AE\x7fTITLE", ELEM_ERR_ILLEGAL_CHAR},
        {T_0008_0055_stationAeTitle, "ABCDEFGHIJKLMNOPQ", ELEM_ERR_TOO_LONG},
        {T_0008_0052_queryRetrieveLevel, "*", 0},
        {T_0008_0052_queryRetrieveLevel, "ABC-1", ELEM_ERR_ILLEGAL_CHAR},
        {T_0008_0052_queryRetrieveLevel, "abc\x1b", 0},
        {T_0010_1020_patientSize, "-1.5e+3", 0},
        {T_0010_1020_patientSize, "1,5", ELEM_ERR_ILLEGAL_CHAR},
        {T_0010_1020_patientSize, "12345678901234567", ELEM_ERR_TOO_LONG},
        {T_0008_2122_stageNumber, "+12", 0},
        {T_0008_2122_stageNumber, "1.0", ELEM_ERR_ILLEGAL_CHAR},
        {T_0008_0070_manufacturer, "tab\there", ELEM_ERR_ILLEGAL_CHAR},
        {T_0008_0050_accessionNumber, "12345678901234567", ELEM_ERR_TOO_LONG},
        {T_0008_0108_extendedCodeMeaning, "line\r\nbreaks\fok", 0},
        {T_0008_0108_extendedCodeMeaning, "be\all", ELEM_ERR_ILLEGAL_CHAR},
        {T_0008_0014_instanceCreatorUid, "1.2.a", ELEM_ERR_ILLEGAL_CHAR},
        {T_0008_0014_instanceCreatorUid, "1.2.3.4.5.6.7.8.9.10.11.12.13.14.15.16.17.18.19.20.21.22.23.24.2   ", 0},
        {T_0008_0014_instanceCreatorUid, "1.2.3.4.5.6.7.8.9.10.11.12.13.14.15.16.17.18.19.20.21.22.23.24.25",
         ELEM_ERR_TOO_LONG},
        {T_0010_9431_examinedBodyThickness, "2.5mm", ELEM_ERR_ILLEGAL_CHAR},
        {T_0028_0010_rows, "0x200", ELEM_ERR_ILLEGAL_CHAR},
        {T_0028_0010_rows, "1234567890123", ELEM_ERR_TOO_LONG},
        {T_0010_1010_patientAge, "1000Y", UTIL_ERR_BAD_STRING},
        {T_0008_0081_institutionAddress, std::string(1024, 'a'), 0},
        {T_0008_0081_institutionAddress, std::string(1025, 'a'), ELEM_ERR_TOO_LONG},
        {T_0010_0010_patientName, std::string(325, 'a'), ELEM_ERR_TOO_LONG},
        {T_0008_0108_extendedCodeMeaning, std::string(10240, 'a'), 0},
        {T_0008_0108_extendedCodeMeaning, std::string(10241, 'a'), ELEM_ERR_TOO_LONG},
        {T_0008_030e_privateDataElementDescription, std::string(32768, 'a'), 0},
        {T_0008_030e_privateDataElementDescription, std::string(32769, 'a'), ELEM_ERR_TOO_LONG},
    };
    LogCapture log;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text.substr(0, 80));
        DcElem elem(c.tag);
        EXPECT_EQ(elem.addValue(c.text.c_str()), c.status);
        EXPECT_EQ(elem.getValueCount(), c.status == 0 ? 1 : 0);
    }
    EXPECT_TRUE(log.has("<DcElem::verifyValueCS> Element (0008,0052) - illegal character '-' (0x2d) in string"));
    EXPECT_TRUE(log.has("<DcElem::verifyValueLT> Element (0008,0108) - string too long"));
}

TEST(TextChecks, BlanksAroundAValueAreDropped)
{
    DcElem cs(T_0008_0008_imageType, "  ORIGINAL \\ PRIMARY  ");
    EXPECT_EQ(text(cs), "ORIGINAL");
    EXPECT_EQ(text(cs), "PRIMARY");
    DcElem lo(T_0008_0070_manufacturer, " ACME ");
    EXPECT_EQ(text(lo), "ACME");
}

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "foundation/LogCapture.h"
#include "foundation/util.h"

TEST(UtilSwab, SixteenBitUnitsLeaveATrailingByte)
{
    unsigned char bytes[] = {1, 2, 3, 4, 5};
    EXPECT_EQ(utilSwab(reinterpret_cast<unsigned short*>(bytes), 5), 0);
    EXPECT_EQ(std::vector<unsigned char>(bytes, bytes + 5), (std::vector<unsigned char>{2, 1, 4, 3, 5}));
}

TEST(UtilSwab, ThirtyTwoAndSixtyFourBitUnits)
{
    unsigned int words[] = {0x01020304u, 0xA0B0C0D0u};
    utilSwab(words, 8);
    EXPECT_EQ(words[0], 0x04030201u);
    EXPECT_EQ(words[1], 0xD0C0B0A0u);
    float f = 1.5f;
    utilSwab(&f, 4);
    utilSwab(&f, 4);
    EXPECT_EQ(f, 1.5f);
    unsigned long long bits = 0x0102030405060708ull;
    double d;
    memcpy(&d, &bits, 8);
    utilSwab(&d, 8);
    memcpy(&bits, &d, 8);
    EXPECT_EQ(bits, 0x0807060504030201ull);
}

TEST(UtilSwab, LengthBelowTheUnitChangesNothing)
{
    int value = 0x11223344;
    utilSwab(&value, 3);
    EXPECT_EQ(value, 0x11223344);
    short s = 0x1122;
    utilSwab(&s, 1);
    EXPECT_EQ(s, 0x1122);
}

TEST(UtilSwab, NullDataIsReported)
{
    LogCapture log;
    EXPECT_EQ(utilSwab(static_cast<double*>(nullptr), 8), UTIL_ERR_NULL_ARG);
    ASSERT_EQ(log.entries.size(), 1u);
    EXPECT_EQ(log.entries[0].channel, LOG_CHANNEL_1);
    EXPECT_TRUE(log.has("utilSwab", "Null argument passed"));
}

TEST(UtilDates, PackAndUnpack)
{
    long value = 0;
    utilYMDToLong(2010, 6, 8, value);
    EXPECT_EQ(value, 20100608L);
    utilYMDToLong(2010, 13, 40, value);
    EXPECT_EQ(value, 20101340L);
    int year, month, day;
    utilLongToYMD(20100608L, year, month, day);
    EXPECT_EQ(year, 2010);
    EXPECT_EQ(month, 6);
    EXPECT_EQ(day, 8);
}

TEST(UtilTimes, PackAndUnpack)
{
    double value = 0;
    utilHMSToDouble(12, 34, 56.789, value);
    EXPECT_DOUBLE_EQ(value, 123456.789);
    int hour, minute;
    double second;
    utilDoubleToHMS(123456.789, hour, minute, second);
    EXPECT_EQ(hour, 12);
    EXPECT_EQ(minute, 34);
    EXPECT_NEAR(second, 56.789, 1e-9);
}

TEST(UtilTimes, ValueOutOfRangeGivesNoHoursInsteadOfACrash)
{
    int hour = -1, minute = -1;
    double second;
    EXPECT_EQ(utilDoubleToHMS(1e300, hour, minute, second), 0);
    EXPECT_EQ(hour, 0);
    EXPECT_EQ(minute, 0);
}

TEST(UtilRemoveSpace, Modes)
{
    const char* original = "  a b \r\n";
    char text[16];
    strcpy(text, original);
    utilRemoveSpace(text, UTIL_SPACE_LEADING | UTIL_SPACE_TRAILING);
    EXPECT_STREQ(text, "a b");
    strcpy(text, original);
    utilRemoveSpace(text, UTIL_SPACE_ALL | UTIL_SPACE_LEADING);
    EXPECT_STREQ(text, "ab");
    strcpy(text, original);
    utilRemoveSpace(text, 0);
    EXPECT_STREQ(text, original);
    strcpy(text, "\t x ");
    utilRemoveSpace(text, UTIL_SPACE_LEADING);
    EXPECT_STREQ(text, "x ");
    strcpy(text, "\t x \x01");
    utilRemoveSpace(text, UTIL_SPACE_TRAILING);
    EXPECT_STREQ(text, "\t x");
}

TEST(UtilRemoveSpace, HighBytesAreNotBlanks)
{
    char text[] = "\xA0x\xFF";
    utilRemoveSpace(text, UTIL_SPACE_ALL);
    EXPECT_STREQ(text, "\xA0x\xFF");
}

TEST(UtilRemoveSpace, NullIsReportedUnderTheParserName)
{
    LogCapture log;
    EXPECT_EQ(utilRemoveSpace(nullptr, 3), UTIL_ERR_NULL_ARG);
    EXPECT_TRUE(log.has("utilStrgToValue", "Null argument passed"));
}

TEST(UtilPaths, BackslashesBecomeSlashes)
{
    char path[] = "DICOM\\IMG\\0001";
    EXPECT_EQ(utilChangeBackslash(path), 0);
    EXPECT_STREQ(path, "DICOM/IMG/0001");
}

TEST(UtilVersion, NumbersAndBuildDate)
{
    int major = 0, minor = 0, release = 0;
    char date[16];
    EXPECT_EQ(utilGetVersion(major, minor, release, date), 0);
    EXPECT_EQ(major, 4);
    EXPECT_EQ(minor, 3);
    EXPECT_EQ(release, 2);
    EXPECT_STREQ(date, "Jun  8 2010");
}

TEST(UtilVersion, NullDateStillSetsTheNumbers)
{
    LogCapture log;
    int major = 0, minor = 0, release = 0;
    EXPECT_EQ(utilGetVersion(major, minor, release, nullptr), UTIL_ERR_NULL_ARG);
    EXPECT_EQ(major, 4);
    EXPECT_EQ(minor, 3);
    EXPECT_EQ(release, 2);
    EXPECT_TRUE(log.has("utilGetVersion", "Null argument passed"));
}

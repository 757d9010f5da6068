#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "foundation/LogCapture.h"
#include "foundation/util.h"

TEST(UtilSwab, SwapsWholeUnitsAndLeavesTrailingBytes)
{
    unsigned char bytes[] = {1, 2, 3, 4, 5};
    EXPECT_EQ(utilSwab(reinterpret_cast<unsigned short*>(bytes), 5), 0);
    EXPECT_EQ(std::vector<unsigned char>(bytes, bytes + 5), (std::vector<unsigned char>{2, 1, 4, 3, 5}));
    unsigned int words[] = {0x01020304u, 0xA0B0C0D0u};
    utilSwab(words, 8);
    EXPECT_EQ(words[0], 0x04030201u);
    EXPECT_EQ(words[1], 0xD0C0B0A0u);
    unsigned long long bits = 0x0102030405060708ull;
    double d;
    memcpy(&d, &bits, 8);
    utilSwab(&d, 8);
    memcpy(&bits, &d, 8);
    EXPECT_EQ(bits, 0x0807060504030201ull);
    int value = 0x11223344;
    utilSwab(&value, 3);
    EXPECT_EQ(value, 0x11223344);
}

TEST(UtilDateTime, PackAndUnpackWithoutCrashingOnHugeValues)
{
    long date = 0;
    utilYMDToLong(2010, 13, 40, date);
    EXPECT_EQ(date, 20101340L);
    int year, month, day;
    utilLongToYMD(20100608L, year, month, day);
    EXPECT_EQ(year * 10000 + month * 100 + day, 20100608);
    double time = 0;
    utilHMSToDouble(12, 34, 56.789, time);
    EXPECT_DOUBLE_EQ(time, 123456.789);
    int hour, minute;
    double second;
    utilDoubleToHMS(123456.789, hour, minute, second);
    EXPECT_EQ(hour * 100 + minute, 1234);
    EXPECT_NEAR(second, 56.789, 1e-9);
    EXPECT_EQ(utilDoubleToHMS(1e300, hour, minute, second), 0);
    EXPECT_EQ(hour, 0);
    EXPECT_EQ(minute, 0);
}

TEST(UtilStrings, RemoveSpaceModesAndBackslashes)
{
    const struct {
        const char* in;
        int mode;
        const char* out;
    } cases[] = {
        {"  a b \r\n", UTIL_SPACE_LEADING | UTIL_SPACE_TRAILING, "a b"},
        {"  a b \r\n", UTIL_SPACE_ALL | UTIL_SPACE_LEADING, "ab"},
        {"  a b \r\n", 0, "  a b \r\n"},
        {"\t x ", UTIL_SPACE_LEADING, "x "},
        {"\t x \x01", UTIL_SPACE_TRAILING, "\t x"},
        {"\xA0x\xFF", UTIL_SPACE_ALL, "\xA0x\xFF"},  // high bytes are no blanks
    };
    for (const auto& c : cases) {
        char text[16];
        strcpy(text, c.in);
        utilRemoveSpace(text, c.mode);
        EXPECT_STREQ(text, c.out) << c.in << " mode " << c.mode;
    }
    char path[] = "DICOM\\IMG\\0001";
    EXPECT_EQ(utilChangeBackslash(path), 0);
    EXPECT_STREQ(path, "DICOM/IMG/0001");
}

TEST(UtilVersion, NumbersAndBuildDate)
{
    int major = 0, minor = 0, release = 0;
    char date[16];
    EXPECT_EQ(utilGetVersion(major, minor, release, date), 0);
    EXPECT_EQ(major * 100 + minor * 10 + release, 432);
    EXPECT_STREQ(date, "Jun  8 2010");
}

TEST(UtilNullArguments, AreReportedOnChannelOneUnderTheirFunctionName)
{
    LogCapture log;
    EXPECT_EQ(utilSwab(static_cast<double*>(nullptr), 8), UTIL_ERR_NULL_ARG);
    EXPECT_EQ(utilRemoveSpace(nullptr, 3), UTIL_ERR_NULL_ARG);
    int major = 0, minor = 0, release = 0;
    EXPECT_EQ(utilGetVersion(major, minor, release, nullptr), UTIL_ERR_NULL_ARG);
    EXPECT_EQ(major * 100 + minor * 10 + release, 432);  // the numbers are still set
    ASSERT_EQ(log.entries.size(), 3u);
    EXPECT_EQ(log.entries[0].channel, LOG_CHANNEL_1);
    EXPECT_TRUE(log.has("utilSwab", "Null argument passed"));
    EXPECT_TRUE(log.has("utilStrgToValue", "Null argument passed"));
    EXPECT_TRUE(log.has("utilGetVersion", "Null argument passed"));
}

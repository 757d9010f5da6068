#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <type_traits>
#include <unistd.h>
#include <vector>

#include "foundation/LogCapture.h"

namespace {

// The part of a log line after its time stamp ("Jun08 14:03:22"), or
// "no stamp" when the line does not begin with one.
std::string afterStamp(const std::string& line)
{
    static const std::string months = "JanFebMarAprMayJunJulAugSepOctNovDec";
    const char* shape = "MMMdd dd:dd:dd";
    size_t month = line.size() < 14 ? std::string::npos : months.find(line.substr(0, 3));
    if (month == std::string::npos || month % 3 != 0)
        return "no stamp";
    for (int i = 3; i < 14; ++i)
        if (shape[i] == 'd' ? !isdigit(static_cast<unsigned char>(line[i])) : line[i] != shape[i])
            return "no stamp";
    return line.substr(14);
}

class LogFiles : public ::testing::Test {
protected:
    void SetUp() override
    {
        char pattern[] = "/tmp/brenik3-log-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
    }
    void TearDown() override { (void)!system(("rm -rf '" + dir + "'").c_str()); }
    std::vector<std::string> lines(const std::string& name)
    {
        std::ifstream in(dir + "/" + name);
        std::vector<std::string> out;
        for (std::string line; std::getline(in, line);)
            out.push_back(line);
        return out;
    }
    void route(LOG_MSG channel, const std::string& name) { log.setFname(channel, (dir + "/" + name).c_str()); }

    std::string dir;
    DcLog log;
};

}

TEST_F(LogFiles, EachChannelAppendsStampFunctionAndMessageToItsOwnFile)
{
    std::ofstream(dir + "/ch1.log") << "kept\n";
    for (int channel = 0; channel < 4; ++channel)
        route(static_cast<LOG_MSG>(channel), "ch" + std::to_string(channel) + ".log");
    EXPECT_EQ(log.report(LOG_CHANNEL_0, "DcDict::getVrDef", "VR '%s' is not in dictionary", "ae"), 0);
    EXPECT_EQ(log.report(LOG_CHANNEL_1, "f", "one"), 0);
    EXPECT_EQ(log.report(LOG_CHANNEL_1, "f", "two"), 0);
    EXPECT_EQ(log.report(LOG_CHANNEL_3, nullptr, "just %d", 7), 0);
    std::string longText(3000, 'y');  // a direct report is not cut to MsgBuf
    EXPECT_EQ(log.report(LOG_CHANNEL_2, "f", "%s", longText.c_str()), 0);

    std::vector<std::string> ch0 = lines("ch0.log"), ch1 = lines("ch1.log"), ch3 = lines("ch3.log");
    ASSERT_EQ(ch0.size(), 1u);
    EXPECT_EQ(afterStamp(ch0[0]), " <DcDict::getVrDef> VR 'ae' is not in dictionary");
    ASSERT_EQ(ch1.size(), 3u);
    EXPECT_EQ(ch1[0], "kept");
    EXPECT_EQ(afterStamp(ch1[2]), " <f> two");
    ASSERT_EQ(ch3.size(), 1u);
    EXPECT_EQ(afterStamp(ch3[0]), " just 7");
    ASSERT_EQ(lines("ch2.log").size(), 1u);
    EXPECT_EQ(afterStamp(lines("ch2.log")[0]), " <f> " + longText);
}

TEST_F(LogFiles, SwitchedOffChannelWritesNothingUntilSwitchedOn)
{
    route(LOG_CHANNEL_2, "off.log");
    EXPECT_EQ(log.activate(LOG_CHANNEL_2, LOG_OFF), 0);
    EXPECT_EQ(log.report(LOG_CHANNEL_2, "f", "hidden"), LOG_ERR_CHANNEL_OFF);
    EXPECT_TRUE(lines("off.log").empty());
    EXPECT_EQ(log.activate(LOG_CHANNEL_2, LOG_ON), 0);
    EXPECT_EQ(log.report(LOG_CHANNEL_2, "f", "back"), 0);
    EXPECT_EQ(lines("off.log").size(), 1u);
}

TEST_F(LogFiles, UnopenableFileLosesOnlyThatMessage)
{
    route(LOG_CHANNEL_0, "missing/x.log");
    EXPECT_EQ(log.report(LOG_CHANNEL_0, "f", "lost"), LOG_ERR_OPEN_FILE);
    ASSERT_EQ(mkdir((dir + "/missing").c_str(), 0700), 0);
    EXPECT_EQ(log.report(LOG_CHANNEL_0, "f", "found"), 0);
    std::vector<std::string> written = lines("missing/x.log");
    ASSERT_EQ(written.size(), 1u);
    EXPECT_EQ(afterStamp(written[0]), " <f> found");
}

TEST_F(LogFiles, NullFileNameReturnsToStandardOutput)
{
    route(LOG_CHANNEL_0, "back.log");
    EXPECT_EQ(log.setFname(LOG_CHANNEL_0, nullptr), 0);
    ::testing::internal::CaptureStdout();
    log.report(LOG_CHANNEL_0, "f", "to stdout");
    std::string out = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("<f> to stdout\n"), std::string::npos);
    EXPECT_TRUE(lines("back.log").empty());
}

TEST(LogChecks, NullFormatThenChannelOutsideZeroToThreeAreRefused)
{
    DcLog log;
    LOG_MSG four = static_cast<LOG_MSG>(4);
    EXPECT_EQ(log.report(four, "f", nullptr), LOG_ERR_NULL_FORMAT);
    EXPECT_EQ(logReport(LOG_CHANNEL_0, "f", nullptr), LOG_ERR_NULL_FORMAT);
    EXPECT_EQ(log.activate(four, LOG_OFF), LOG_ERR_BAD_CHANNEL);
    EXPECT_EQ(log.setFname(four, "x"), LOG_ERR_BAD_CHANNEL);
    EXPECT_EQ(log.report(four, "f", "m"), LOG_ERR_BAD_CHANNEL);
    EXPECT_EQ(log.report(static_cast<LOG_MSG>(-1), "f", "m"), LOG_ERR_BAD_CHANNEL);
    DcLog* saved = Log;
    Log = &log;  // logReport returns what the log returns
    log.activate(LOG_CHANNEL_3, LOG_OFF);
    EXPECT_EQ(logReport(LOG_CHANNEL_3, "f", "m"), LOG_ERR_CHANNEL_OFF);
    Log = nullptr;
    EXPECT_EQ(logReport(LOG_CHANNEL_0, "f", "nobody listens"), LOG_ERR_NO_LOG);
    Log = saved;
}

// Channels and switches are ints: a number outside the enumerators is an
// answer from the log, not undefined behaviour (the sanitizer build checks).
TEST(LogChecks, AnyNumberIsAValidChannelOrSwitchValue)
{
    EXPECT_TRUE((std::is_same<std::underlying_type<LOG_MSG>::type, int>::value));
    EXPECT_TRUE((std::is_same<std::underlying_type<LOG_ACTIVE>::type, int>::value));
    DcLog log;
    const LOG_ACTIVE two = static_cast<LOG_ACTIVE>(2);
    EXPECT_EQ(log.activate(LOG_CHANNEL_1, two), 0);
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(log.report(LOG_CHANNEL_1, "f", "only 1 silences"), 0);
    EXPECT_NE(::testing::internal::GetCapturedStdout().find("<f> only 1 silences"), std::string::npos);
    for (LOG_MSG channel : {static_cast<LOG_MSG>(7), static_cast<LOG_MSG>(-3)}) {
        EXPECT_EQ(log.activate(channel, two), LOG_ERR_BAD_CHANNEL);
        EXPECT_EQ(log.report(channel, "f", "m"), LOG_ERR_BAD_CHANNEL);
    }
}

namespace {

// An application log written to the documented signature, as applications
// written against it do: no override keyword, non-constant texts.
class ApplicationLog : public DcLog {
public:
    int report(LOG_MSG channel, char* function, char* format, ...)
    {
        char text[1024];
        va_list args;
        va_start(args, format);
        vsnprintf(text, sizeof text, format, args);
        va_end(args);
        received.push_back(std::to_string(channel) + " " + (function ? function : "-") + " " + text);
        return 0;
    }
    std::vector<std::string> received;
};

}

TEST(LogOverride, ALogWrittenToTheDocumentedSignatureReceivesEveryMessage)
{
    ApplicationLog mine;
    DcLog* saved = Log;
    Log = &mine;
    EXPECT_EQ(logReport(LOG_CHANNEL_2, "DcTsm::open", "port %d", 104), 0);
    DcLog* base = &mine;
    EXPECT_EQ(base->report(LOG_CHANNEL_3, "app", "%s and %d%%", "text", 5), 0);
    EXPECT_EQ(base->report(LOG_CHANNEL_0, nullptr, "no name"), 0);
    Log = saved;
    EXPECT_EQ(mine.received, (std::vector<std::string>{"2 DcTsm::open port 104", "3 app text and 5%", "0 - no name"}));
}

// The message is formatted once into MsgBuf and handed on as "%s", so a
// per cent sign in it survives.
TEST(LogReport, FormatsIntoMsgBufCutToItsSizeAndPassesItOn)
{
    LogCapture log;
    EXPECT_EQ(logReport(LOG_CHANNEL_2, "DcTsm::open", "port %d, %s", 104, "a%%%%b"), 0);
    ASSERT_EQ(log.entries.size(), 1u);
    EXPECT_EQ(log.entries[0].message, "port 104, a%%%%b");
    EXPECT_EQ(log.entries[0].function, "DcTsm::open");
    EXPECT_EQ(log.entries[0].channel, LOG_CHANNEL_2);
    EXPECT_STREQ(MsgBuf, "port 104, a%%%%b");
    logReport(LOG_CHANNEL_0, "f", "%s", std::string(2000, 'x').c_str());
    EXPECT_EQ(log.entries[1].message.size(), static_cast<size_t>(MSG_BUF_SIZE - 1));
    EXPECT_EQ(strlen(MsgBuf), static_cast<size_t>(MSG_BUF_SIZE - 1));
}

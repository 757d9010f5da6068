#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "foundation/DcLog.h"
#include "foundation/LogLineShape.h"

namespace {

class LogFiles : public ::testing::Test {
protected:
    void SetUp() override
    {
        char pattern[] = "/tmp/brenik3-log-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
    }
    void TearDown() override
    {
        for (const std::string& file : files)
            unlink(file.c_str());
        rmdir(dir.c_str());
    }
    std::string file(const std::string& name)
    {
        files.push_back(dir + "/" + name);
        return files.back();
    }
    static std::vector<std::string> lines(const std::string& path)
    {
        std::ifstream in(path);
        std::vector<std::string> out;
        for (std::string line; std::getline(in, line);)
            out.push_back(line);
        return out;
    }

    std::string dir;
    std::vector<std::string> files;
};

}

TEST_F(LogFiles, LineIsTimeStampFunctionAndMessage)
{
    DcLog log;
    std::string path = file("channel0.log");
    ASSERT_EQ(log.setFname(LOG_CHANNEL_0, path.c_str()), 0);
    EXPECT_EQ(log.report(LOG_CHANNEL_0, "DcDict::getVrDef", "VR '%s' is not in dictionary", "ae"), 0);
    std::vector<std::string> written = lines(path);
    ASSERT_EQ(written.size(), 1u);
    std::string tail;
    ASSERT_TRUE(splitLogStamp(written[0], tail)) << written[0];
    EXPECT_EQ(tail, " <DcDict::getVrDef> VR 'ae' is not in dictionary");
}

TEST_F(LogFiles, NullFunctionNameLeavesStampAndMessage)
{
    DcLog log;
    std::string path = file("plain.log");
    log.setFname(LOG_CHANNEL_3, path.c_str());
    EXPECT_EQ(log.report(LOG_CHANNEL_3, nullptr, "just %d", 7), 0);
    std::vector<std::string> written = lines(path);
    ASSERT_EQ(written.size(), 1u);
    std::string tail;
    ASSERT_TRUE(splitLogStamp(written[0], tail)) << written[0];
    EXPECT_EQ(tail, " just 7");
}

TEST_F(LogFiles, FileIsAppendedAcrossCalls)
{
    std::string path = file("append.log");
    {
        std::ofstream(path) << "kept\n";
    }
    DcLog log;
    log.setFname(LOG_CHANNEL_1, path.c_str());
    log.report(LOG_CHANNEL_1, "f", "one");
    log.report(LOG_CHANNEL_1, "f", "two");
    std::vector<std::string> written = lines(path);
    ASSERT_EQ(written.size(), 3u);
    EXPECT_EQ(written[0], "kept");
    EXPECT_NE(written[1].find("<f> one"), std::string::npos);
    EXPECT_NE(written[2].find("<f> two"), std::string::npos);
}

TEST_F(LogFiles, EachChannelWritesToItsOwnFile)
{
    DcLog log;
    std::string paths[4];
    for (int channel = 0; channel < 4; ++channel) {
        paths[channel] = file("channel" + std::to_string(channel) + ".log");
        log.setFname(static_cast<LOG_MSG>(channel), paths[channel].c_str());
    }
    for (int channel = 0; channel < 4; ++channel)
        log.report(static_cast<LOG_MSG>(channel), "f", "message %d", channel);
    for (int channel = 0; channel < 4; ++channel) {
        std::vector<std::string> written = lines(paths[channel]);
        ASSERT_EQ(written.size(), 1u);
        EXPECT_NE(written[0].find("message " + std::to_string(channel)), std::string::npos);
    }
}

TEST_F(LogFiles, SwitchedOffChannelWritesNothing)
{
    DcLog log;
    std::string path = file("off.log");
    std::string other = file("other.log");
    log.setFname(LOG_CHANNEL_2, path.c_str());
    log.setFname(LOG_CHANNEL_0, other.c_str());
    EXPECT_EQ(log.activate(LOG_CHANNEL_2, LOG_OFF), 0);
    EXPECT_EQ(log.report(LOG_CHANNEL_2, "f", "hidden"), LOG_ERR_CHANNEL_OFF);
    EXPECT_EQ(log.report(LOG_CHANNEL_0, "f", "shown"), 0);
    EXPECT_TRUE(lines(path).empty());
    EXPECT_EQ(lines(other).size(), 1u);
    EXPECT_EQ(log.activate(LOG_CHANNEL_2, LOG_ON), 0);
    EXPECT_EQ(log.report(LOG_CHANNEL_2, "f", "back"), 0);
    EXPECT_EQ(lines(path).size(), 1u);
}

TEST_F(LogFiles, UnopenableFileLosesOnlyThatMessage)
{
    DcLog log;
    std::string missingDir = dir + "/missing";
    std::string path = missingDir + "/x.log";
    log.setFname(LOG_CHANNEL_0, path.c_str());
    EXPECT_EQ(log.report(LOG_CHANNEL_0, "f", "lost"), LOG_ERR_OPEN_FILE);
    ASSERT_EQ(mkdir(missingDir.c_str(), 0700), 0);
    EXPECT_EQ(log.report(LOG_CHANNEL_0, "f", "found"), 0);
    std::vector<std::string> written = lines(path);
    unlink(path.c_str());
    rmdir(missingDir.c_str());
    ASSERT_EQ(written.size(), 1u);
    EXPECT_NE(written[0].find("found"), std::string::npos);
}

TEST_F(LogFiles, NullFileNameReturnsToStandardOutput)
{
    DcLog log;
    std::string path = file("back.log");
    log.setFname(LOG_CHANNEL_0, path.c_str());
    EXPECT_EQ(log.setFname(LOG_CHANNEL_0, nullptr), 0);
    ::testing::internal::CaptureStdout();
    log.report(LOG_CHANNEL_0, "f", "to stdout");
    std::string out = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("<f> to stdout\n"), std::string::npos);
    EXPECT_TRUE(lines(path).empty());
}

TEST(LogChecks, ChannelOutsideZeroToThreeIsRefused)
{
    DcLog log;
    LOG_MSG four = static_cast<LOG_MSG>(4);
    EXPECT_EQ(log.activate(four, LOG_OFF), LOG_ERR_BAD_CHANNEL);
    EXPECT_EQ(log.setFname(four, "x"), LOG_ERR_BAD_CHANNEL);
    EXPECT_EQ(log.report(four, "f", "m"), LOG_ERR_BAD_CHANNEL);
    EXPECT_EQ(log.report(static_cast<LOG_MSG>(-1), "f", "m"), LOG_ERR_BAD_CHANNEL);
}

TEST(LogChecks, NullFormatIsCheckedFirst)
{
    DcLog log;
    EXPECT_EQ(log.report(static_cast<LOG_MSG>(4), "f", nullptr), LOG_ERR_NULL_FORMAT);
    EXPECT_EQ(logReport(LOG_CHANNEL_0, "f", nullptr), LOG_ERR_NULL_FORMAT);
}

TEST(LogReport, WithoutALogReturnsNoLog)
{
    DcLog* saved = Log;
    Log = nullptr;
    EXPECT_EQ(logReport(LOG_CHANNEL_0, "f", "nobody listens"), LOG_ERR_NO_LOG);
    Log = saved;
}

namespace {

// Keeps the last message handed to it.
class LastMessage : public DcLog {
public:
    __attribute__((format(printf, 4, 5))) int report(LOG_MSG channel, const char* fn, const char* format,
                                                     ...) override
    {
        va_list args;
        va_start(args, format);
        message.assign(va_arg(args, const char*));
        va_end(args);
        function = fn ? fn : "(null)";
        lastChannel = channel;
        formatSeen = format;
        return channel == LOG_CHANNEL_3 ? LOG_ERR_CHANNEL_OFF : 0;
    }
    std::string message;
    std::string function;
    std::string formatSeen;
    LOG_MSG lastChannel = LOG_CHANNEL_0;
};

struct InstalledLog {
    InstalledLog() : saved(Log) { Log = &log; }
    ~InstalledLog() { Log = saved; }
    LastMessage log;
    DcLog* saved;
};

}

TEST(LogReport, FormatsIntoMsgBufAndPassesItOn)
{
    InstalledLog installed;
    EXPECT_EQ(logReport(LOG_CHANNEL_2, "DcTsm::open", "port %d, %s", 104, "busy"), 0);
    EXPECT_EQ(installed.log.message, "port 104, busy");
    EXPECT_EQ(installed.log.formatSeen, "%s");
    EXPECT_EQ(installed.log.function, "DcTsm::open");
    EXPECT_EQ(installed.log.lastChannel, LOG_CHANNEL_2);
    EXPECT_STREQ(MsgBuf, "port 104, busy");
}

TEST(LogReport, ReturnsWhatTheLogReturns)
{
    InstalledLog installed;
    EXPECT_EQ(logReport(LOG_CHANNEL_3, "f", "m"), LOG_ERR_CHANNEL_OFF);
}

TEST(LogReport, OverlongMessageIsCutToTheBuffer)
{
    InstalledLog installed;
    std::string longText(2000, 'x');
    logReport(LOG_CHANNEL_0, "f", "%s", longText.c_str());
    EXPECT_EQ(installed.log.message.size(), static_cast<size_t>(MSG_BUF_SIZE - 1));
    EXPECT_EQ(strlen(MsgBuf), static_cast<size_t>(MSG_BUF_SIZE - 1));
}

TEST_F(LogFiles, DirectReportWritesLongMessagesWhole)
{
    DcLog log;
    std::string path = file("long.log");
    log.setFname(LOG_CHANNEL_0, path.c_str());
    std::string longText(3000, 'y');
    log.report(LOG_CHANNEL_0, "f", "%s", longText.c_str());
    std::vector<std::string> written = lines(path);
    ASSERT_EQ(written.size(), 1u);
    EXPECT_NE(written[0].find(longText), std::string::npos);
}

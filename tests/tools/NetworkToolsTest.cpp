// b3-echo, b3-send and b3-receive against each other on 127.0.0.1.
#include <csignal>
#include <fstream>
#include <map>
#include <memory>
#include <set>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "ToolRun.h"

namespace {

int countOf(const std::string& text, const std::string& what)
{
    int count = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        count++;
    return count;
}

bool hasPartialFiles(const std::string& dir)
{
    for (const std::string& file : filesUnder(dir))
        if (file.find(".part") != std::string::npos || file.find(".b3-pixels") != std::string::npos)
            return true;
    return false;
}

class NetworkTools : public ::testing::Test {
protected:
    void SetUp() override
    {
        for (const char* tool : {"b3-echo", "b3-send", "b3-receive", "b3-mkimage", "b3-dump", "b3-png"})
            if (!toolExists(tool))
                GTEST_SKIP() << tool << " not built";
        dir = scratchDir(::testing::UnitTest::GetInstance()->current_test_info()->name());
        port = freePort();
        address = "127.0.0.1:" + std::to_string(port);
    }

    void startReceiver(const std::vector<std::string>& extra = {})
    {
        std::vector<std::string> argv = {toolPath("b3-receive"), "-p", std::to_string(port), "-o", dir + "/in"};
        argv.insert(argv.end(), extra.begin(), extra.end());
        receiver.reset(new Background(argv, dir + "/receiver.log"));
        ASSERT_TRUE(receiver->waitForOutput("listening on port")) << receiver->output();
    }

    std::string makeSeries(const std::string& name, int count, int size = 64)
    {
        std::string folder = dir + "/" + name;
        RunResult r = run({toolPath("b3-mkimage"), "-n", std::to_string(count), "-s", std::to_string(size), folder});
        EXPECT_EQ(r.status, 0) << r.err;
        return folder;
    }

    std::string png(const std::string& file)
    {
        RunResult r = run({toolPath("b3-png"), file, file + ".png"});
        EXPECT_EQ(r.status, 0) << r.err;
        return readFile(file + ".png");
    }

    std::string dir;
    int port = 0;
    std::string address;
    std::unique_ptr<Background> receiver;
};

}

TEST_F(NetworkTools, EchoReportsEachRoundTrip)
{
    startReceiver();
    RunResult r = run({toolPath("b3-echo"), "-aec", "B3-RECEIVE", "-r", "3", address}, 30);
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(countOf(r.out, "success, round trip"), 3) << r.out;
    EXPECT_NE(r.out.find("C-ECHO 3:"), std::string::npos);
}

TEST_F(NetworkTools, EchoFailsWithoutAPeer)
{
    RunResult r = run({toolPath("b3-echo"), "-p", std::to_string(port), "127.0.0.1"}, 30);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("no association"), std::string::npos) << r.err;
}

TEST_F(NetworkTools, ReceiverRefusesCallingTitlesNotAccepted)
{
    startReceiver({"--accept-calling", "MODALITY"});
    RunResult refused = run({toolPath("b3-echo"), "-aet", "INTRUDER", "-aec", "B3-RECEIVE", address}, 30);
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("association rejected"), std::string::npos) << refused.err;
    RunResult welcome = run({toolPath("b3-echo"), "-aet", "MODALITY", "-aec", "B3-RECEIVE", address}, 30);
    EXPECT_EQ(welcome.status, 0) << welcome.err;
}

TEST_F(NetworkTools, SentSeriesArrivesWholeInOneFolderPerStudy)
{
    startReceiver();
    std::string series = makeSeries("series", 3);
    std::string nested = makeSeries("series/nested", 2);
    RunResult r = run({toolPath("b3-send"), "-aec", "B3-RECEIVE", address, series}, 60);
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_NE(r.out.find("sent 5 of 5 files"), std::string::npos) << r.out;
    EXPECT_EQ(r.out.find("\r"), std::string::npos) << "no progress line when not on a terminal";

    std::vector<std::string> received = filesUnder(dir + "/in");
    ASSERT_EQ(received.size(), 5u);
    std::map<std::string, int> perFolder;
    for (const std::string& file : received)
        perFolder[file.substr(0, file.rfind('/'))]++;
    EXPECT_EQ(perFolder.size(), 2u) << "two studies";
    EXPECT_EQ(countOf(receiver->output(), "] stored "), 5);
    EXPECT_EQ(countOf(receiver->output(), "released: 5 objects stored, 0 failed"), 1) << receiver->output();

    // Each received object holds the same pixels as the file sent.
    std::vector<std::string> sent = filesUnder(series);
    std::set<std::string> sentPictures, receivedPictures;
    for (const std::string& file : sent)
        sentPictures.insert(png(file));
    for (const std::string& file : received)
        receivedPictures.insert(png(file));
    EXPECT_EQ(sentPictures, receivedPictures);
}

TEST_F(NetworkTools, BigEndianFileTravelsAndIsStoredInItsOwnSyntax)
{
    startReceiver();
    std::string file = dir + "/be.dcm";
    ASSERT_EQ(run({toolPath("b3-mkimage"), "-t", "big", "-s", "64", file}).status, 0);
    RunResult r = run({toolPath("b3-send"), "-aec", "B3-RECEIVE", address, file}, 60);
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    std::vector<std::string> received = filesUnder(dir + "/in");
    ASSERT_EQ(received.size(), 1u);
    RunResult d = run({toolPath("b3-dump"), received[0]});
    EXPECT_NE(d.out.find("# Data set, Big Endian Explicit"), std::string::npos) << d.out;
    EXPECT_EQ(png(received[0]), png(file));
}

TEST_F(NetworkTools, SendNamesEachFailureAndFailsTheRun)
{
    startReceiver();
    std::string series = makeSeries("series", 2);
    std::string notes = dir + "/notes.txt";
    std::ofstream(notes) << "not an image\n";
    RunResult r = run({toolPath("b3-send"), "-aec", "B3-RECEIVE", address, series, notes, dir + "/missing.dcm"}, 60);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("FAILED " + notes + ": not a DICOM Part 10 file"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("FAILED " + dir + "/missing.dcm"), std::string::npos) << r.err;
    EXPECT_NE(r.out.find("sent 2 of 2 files"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("2 failed"), std::string::npos) << r.out;
    EXPECT_EQ(filesUnder(dir + "/in").size(), 2u);
}

TEST_F(NetworkTools, ReceiverServesAnotherCallerWhileOneAssociationStaysOpen)
{
    startReceiver();
    // A caller that connects and says nothing keeps its association process busy.
    int idle = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(static_cast<uint16_t>(port));
    ASSERT_EQ(connect(idle, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);

    std::string a = makeSeries("a", 2);
    std::string b = makeSeries("b", 2);
    Background first({toolPath("b3-send"), "-aec", "B3-RECEIVE", address, a}, dir + "/first.log");
    RunResult second = run({toolPath("b3-send"), "-aec", "B3-RECEIVE", address, b}, 60);
    EXPECT_EQ(second.status, 0) << second.err;
    EXPECT_EQ(first.wait(60), 0) << first.output();
    close(idle);
    EXPECT_EQ(filesUnder(dir + "/in").size(), 4u);
}

TEST_F(NetworkTools, ReceiverStopsOnSigtermWithoutLeavingPartialFiles)
{
    startReceiver();
    std::string series = makeSeries("big", 20, 1024);
    Background sender({toolPath("b3-send"), "-aec", "B3-RECEIVE", address, series}, dir + "/send.log");
    ASSERT_TRUE(receiver->waitForOutput("] stored ", 60)) << receiver->output();
    EXPECT_EQ(receiver->stop(SIGTERM, 20), 0);
    EXPECT_NE(receiver->output().find("stopped after"), std::string::npos) << receiver->output();
    sender.stop(SIGTERM, 30);

    EXPECT_FALSE(hasPartialFiles(dir + "/in"));
    // Whatever arrived is complete under its final name.
    for (const std::string& file : filesUnder(dir + "/in")) {
        RunResult d = run({toolPath("b3-dump"), file});
        EXPECT_EQ(d.status, 0) << file;
        EXPECT_NE(d.out.find("pixelData                            2097152 bytes"), std::string::npos) << file;
    }
}

// b3-echo, b3-send and b3-receive against each other on 127.0.0.1.
#include <fstream>
#include <map>
#include <memory>
#include <set>

#include <unistd.h>

#include "ToolRun.h"

namespace {

class NetworkTools : public ToolTest {
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        need({"b3-echo", "b3-send", "b3-receive", "b3-mkimage", "b3-dump", "b3-png"});
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
        return makeImage(name, {"-n", std::to_string(count), "-s", std::to_string(size)});
    }
    std::string png(const std::string& file)
    {
        RunResult r = tool("b3-png", {file, file + ".png"});
        EXPECT_EQ(r.status, 0) << r.err;
        return readFile(file + ".png");
    }

    std::unique_ptr<Background> receiver;
};

}

TEST_F(NetworkTools, EchoReportsEachRoundTripOrWhyItGotNone)
{
    RunResult alone = tool("b3-echo", {"-p", std::to_string(port), "127.0.0.1"}, 30);
    EXPECT_EQ(alone.status, 1);
    EXPECT_NE(alone.err.find("no association"), std::string::npos) << alone.err;
    EXPECT_NE(alone.err.find("connection refused (status 0x"), std::string::npos) << alone.err;
    RunResult nowhere = tool("b3-echo", {"no-such-host.invalid:104"}, 30);
    EXPECT_NE(nowhere.err.find("host unknown (status 0x"), std::string::npos) << nowhere.err;
    startReceiver({"--accept-calling", "MODALITY"});
    RunResult refused = tool("b3-echo", {"-aet", "INTRUDER", "-aec", "B3-RECEIVE", address}, 30);
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("association rejected, permanent, by the service provider (presentation): calling "
                               "AE title not recognized (status 0x"),
              std::string::npos)
        << refused.err;
    RunResult r = tool("b3-echo", {"-aet", "MODALITY", "-aec", "B3-RECEIVE", "-r", "3", address}, 30);
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(countOf(r.out, "success, round trip"), 3) << r.out;
    EXPECT_NE(r.out.find("C-ECHO 3:"), std::string::npos);
}

TEST_F(NetworkTools, SentSeriesArrivesWholeInOneFolderPerStudy)
{
    startReceiver();
    std::string series = makeSeries("series", 3);
    makeSeries("series/nested", 2);
    RunResult r = tool("b3-send", {"-aec", "B3-RECEIVE", address, series});
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
    std::set<std::string> sentPictures, receivedPictures;
    for (const std::string& file : filesUnder(series))
        sentPictures.insert(png(file));
    for (const std::string& file : received)
        receivedPictures.insert(png(file));
    EXPECT_EQ(sentPictures, receivedPictures);
}

// A Big Endian file travels and is stored in its own syntax.
TEST_F(NetworkTools, SendNamesEachFailureAndSendsTheRest)
{
    startReceiver();
    std::string series = makeSeries("series", 2);
    std::string big = makeImage("be.dcm", {"-t", "big", "-s", "64"});
    std::string notes = dir + "/notes.txt";
    std::ofstream(notes) << "not an image\n";
    RunResult r = tool("b3-send", {"-aec", "B3-RECEIVE", address, series, big, notes, dir + "/missing.dcm"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("FAILED " + notes + ": not a DICOM Part 10 file"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("FAILED " + dir + "/missing.dcm"), std::string::npos) << r.err;
    EXPECT_NE(r.out.find("sent 3 of 3 files"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("2 failed"), std::string::npos) << r.out;
    std::vector<std::string> received = filesUnder(dir + "/in");
    ASSERT_EQ(received.size(), 3u);
    int bigStored = 0;
    for (const std::string& file : received) {
        if (tool("b3-dump", {file}).out.find("# Data set, Big Endian Explicit") == std::string::npos)
            continue;
        bigStored++;
        EXPECT_EQ(png(file), png(big));
    }
    EXPECT_EQ(bigStored, 1);
}

TEST_F(NetworkTools, ReceiverServesAnotherCallerWhileOneAssociationStaysOpen)
{
    startReceiver();
    // A caller that connects and says nothing keeps its association process busy.
    int idle = connectTo(port);
    ASSERT_GE(idle, 0);
    std::string a = makeSeries("a", 2);
    std::string b = makeSeries("b", 2);
    Background first({toolPath("b3-send"), "-aec", "B3-RECEIVE", address, a}, dir + "/first.log");
    RunResult second = tool("b3-send", {"-aec", "B3-RECEIVE", address, b});
    EXPECT_EQ(second.status, 0) << second.err;
    EXPECT_EQ(first.wait(60), 0) << first.output();
    close(idle);
    EXPECT_EQ(filesUnder(dir + "/in").size(), 4u);
}

// Whatever arrived is complete under its final name.
TEST_F(NetworkTools, ReceiverStopsOnSigtermWithoutLeavingPartialFiles)
{
    startReceiver();
    std::string series = makeSeries("big", 20, 1024);
    Background sender({toolPath("b3-send"), "-aec", "B3-RECEIVE", address, series}, dir + "/send.log");
    ASSERT_TRUE(receiver->waitForOutput("] stored ", 60)) << receiver->output();
    EXPECT_EQ(receiver->stop(SIGTERM, 20), 0);
    EXPECT_NE(receiver->output().find("stopped after"), std::string::npos) << receiver->output();
    sender.stop(SIGTERM, 30);
    for (const std::string& file : filesUnder(dir + "/in")) {
        EXPECT_EQ(file.find(".part"), std::string::npos) << file;
        EXPECT_EQ(file.find(".b3-pixels"), std::string::npos) << file;
        RunResult d = tool("b3-dump", {file});
        EXPECT_EQ(d.status, 0) << file;
        EXPECT_NE(d.out.find("pixelData                            2097152 bytes"), std::string::npos) << file;
    }
}

// An object the receiver cannot write (here over its file size limit, as on
// a full disk) is refused with "out of resources"; the association goes on
// and the next object is stored.
TEST_F(NetworkTools, ObjectThatCannotBeWrittenFailsAloneAndTheNextIsStored)
{
    std::string big = makeImage("big.dcm", {"-s", "512"});
    std::string small = makeImage("small.dcm", {"-s", "16"});
    // The size limit (128 blocks of 512 bytes) and the ignored signal for
    // exceeding it pass on to the receiver through exec.
    std::string command = "trap '' XFSZ; ulimit -f 128; exec " + toolPath("b3-receive") + " -p " +
                          std::to_string(port) + " -o " + dir + "/in";
    receiver.reset(new Background({"/bin/sh", "-c", command}, dir + "/receiver.log"));
    ASSERT_TRUE(receiver->waitForOutput("listening on port")) << receiver->output();
    RunResult r = tool("b3-send", {"-aec", "B3-RECEIVE", address, big, small}, 60);
    EXPECT_EQ(1, r.status) << r.out << r.err;
    EXPECT_NE(std::string::npos, (r.out + r.err).find("a700")) << r.out << r.err;
    EXPECT_NE(std::string::npos, r.out.find("sent 1 of 2 files")) << r.out;
    ASSERT_TRUE(receiver->waitForOutput("released")) << receiver->output();
    EXPECT_EQ(1, countOf(receiver->output(), "FAILED to store"));
    EXPECT_EQ(1, countOf(receiver->output(), "] stored "));
    for (const std::string& file : filesUnder(dir + "/in"))
        EXPECT_EQ(std::string::npos, file.find("/.")) << file;
}

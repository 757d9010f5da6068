// The network tools against dcmtk's storescu, storescp and echoscu.
#include <csignal>
#include <fstream>
#include <memory>
#include <set>

#include <gtest/gtest.h>

#include "ToolRun.h"

namespace {

std::string dcmdumpValue(const std::string& file, const std::string& tag)
{
    RunResult r = run({"dcmdump", "-Un", "+P", tag, file});
    size_t open = r.out.find('[');
    size_t close = r.out.find(']', open);
    return open == std::string::npos || close == std::string::npos ? "" : r.out.substr(open + 1, close - open - 1);
}

class DcmtkPeer : public ::testing::Test {
protected:
    void SetUp() override
    {
        for (const char* tool : {"b3-echo", "b3-send", "b3-receive", "b3-mkimage", "b3-png"})
            if (!toolExists(tool))
                GTEST_SKIP() << tool << " not built";
        for (const char* program : {"storescu", "storescp", "echoscu", "dcmdump"})
            if (!programOnPath(program))
                GTEST_SKIP() << "dcmtk's " << program << " not installed";
        dir = scratchDir(::testing::UnitTest::GetInstance()->current_test_info()->name());
        port = freePort();
    }

    std::string makeImage(const std::string& name, const std::string& syntax)
    {
        std::string file = dir + "/" + name;
        RunResult r = run({toolPath("b3-mkimage"), "-t", syntax, "-s", "64", "--patient-name", "Peer^Test", file});
        EXPECT_EQ(r.status, 0) << r.err;
        return file;
    }

    void startStorescp()
    {
        storescp.reset(new Background({"storescp", "-od", dir + "/in", std::to_string(port)}, dir + "/storescp.log"));
        ASSERT_TRUE(waitForListener(port)) << storescp->output();
    }

    std::string dir;
    int port = 0;
    std::unique_ptr<Background> storescp;
};

}

TEST_F(DcmtkPeer, EchoToStorescp)
{
    run({"mkdir", "-p", dir + "/in"});
    startStorescp();
    RunResult r = run({toolPath("b3-echo"), "-aec", "STORESCP", "127.0.0.1:" + std::to_string(port)}, 30);
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_NE(r.out.find("C-ECHO 1: success"), std::string::npos);
}

TEST_F(DcmtkPeer, SendToStorescpInEachSyntax)
{
    run({"mkdir", "-p", dir + "/in"});
    startStorescp();
    std::string out = dir + "/out";
    run({"mkdir", "-p", out});
    for (const char* syntax : {"implicit", "explicit", "big"})
        makeImage(std::string("out/") + syntax + ".dcm", syntax);
    RunResult r = run({toolPath("b3-send"), "-aec", "STORESCP", "127.0.0.1:" + std::to_string(port), out}, 60);
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    std::vector<std::string> received = filesUnder(dir + "/in");
    ASSERT_EQ(received.size(), 3u);
    for (const std::string& file : received) {
        EXPECT_EQ(dcmdumpValue(file, "0010,0010"), "Peer^Test") << file;
        RunResult check = run({"dcmdump", "+P", "7fe0,0010", file});
        EXPECT_NE(check.out.find("# 8192,"), std::string::npos) << file << check.out;
    }
}

TEST_F(DcmtkPeer, StorescuToReceiverInEachSyntax)
{
    Background receiver({toolPath("b3-receive"), "-p", std::to_string(port), "-o", dir + "/in"}, dir + "/recv.log");
    ASSERT_TRUE(receiver.waitForOutput("listening on port")) << receiver.output();
    // Each file in its syntax, proposed by storescu with that syntax first.
    struct Case {
        const char* mkimage;
        const char* storescu;
    } cases[] = {{"implicit", "-xi"}, {"explicit", "-xe"}, {"big", "-xb"}};
    for (const Case& c : cases) {
        std::string file = makeImage(std::string(c.mkimage) + ".dcm", c.mkimage);
        RunResult r = run({"storescu", c.storescu, "-aec", "B3-RECEIVE", "127.0.0.1", std::to_string(port), file}, 60);
        EXPECT_EQ(r.status, 0) << c.mkimage << ": " << r.err;
    }
    EXPECT_EQ(receiver.stop(SIGTERM), 0);
    std::vector<std::string> received = filesUnder(dir + "/in");
    ASSERT_EQ(received.size(), 3u) << receiver.output();
    std::multiset<std::string> syntaxes;
    for (const std::string& file : received) {
        EXPECT_EQ(dcmdumpValue(file, "0010,0010"), "Peer^Test") << file;
        syntaxes.insert(dcmdumpValue(file, "0002,0010"));
        RunResult check = run({"dcmdump", "+P", "7fe0,0010", file});
        EXPECT_NE(check.out.find("# 8192,"), std::string::npos) << file << check.out;
    }
    EXPECT_EQ(syntaxes, (std::multiset<std::string>{"1.2.840.10008.1.2", "1.2.840.10008.1.2.1",
                                                    "1.2.840.10008.1.2.2"}));
}

TEST_F(DcmtkPeer, EchoscuToReceiver)
{
    Background receiver({toolPath("b3-receive"), "-p", std::to_string(port), "-o", dir + "/in"}, dir + "/recv.log");
    ASSERT_TRUE(receiver.waitForOutput("listening on port")) << receiver.output();
    RunResult r = run({"echoscu", "127.0.0.1", std::to_string(port)}, 30);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(receiver.stop(SIGTERM), 0);
    EXPECT_NE(receiver.output().find("association from ECHOSCU"), std::string::npos) << receiver.output();
}

TEST_F(DcmtkPeer, ReceiverKeepsCompressedPixelDataAsSent)
{
    for (const char* program : {"dcmcjpeg", "dcmdjpeg"})
        if (!programOnPath(program))
            GTEST_SKIP() << "dcmtk's " << program << " not installed";
    Background receiver({toolPath("b3-receive"), "-p", std::to_string(port), "-o", dir + "/in"}, dir + "/recv.log");
    ASSERT_TRUE(receiver.waitForOutput("listening on port")) << receiver.output();
    std::string original = makeImage("ct.dcm", "explicit");
    std::string lossless = dir + "/jpeg.dcm";
    ASSERT_EQ(run({"dcmcjpeg", "+e1", original, lossless}).status, 0);
    RunResult r = run({"storescu", "-xs", "-aec", "B3-RECEIVE", "127.0.0.1", std::to_string(port), lossless}, 60);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(receiver.stop(SIGTERM), 0);

    std::vector<std::string> received = filesUnder(dir + "/in");
    ASSERT_EQ(received.size(), 1u) << receiver.output();
    EXPECT_EQ(dcmdumpValue(received[0], "0002,0010"), "1.2.840.10008.1.2.4.70");
    std::string decompressed = dir + "/decompressed.dcm";
    RunResult d = run({"dcmdjpeg", received[0], decompressed});
    ASSERT_EQ(d.status, 0) << d.err;
    // Lossless: the pixels are those of the image before compression.
    ASSERT_EQ(run({toolPath("b3-png"), decompressed, dir + "/received.png"}).status, 0);
    ASSERT_EQ(run({toolPath("b3-png"), original, dir + "/original.png"}).status, 0);
    EXPECT_EQ(readFile(dir + "/received.png"), readFile(dir + "/original.png"));
}

TEST_F(DcmtkPeer, SendNamesTheSyntaxAPeerRefusesAndSendsTheRest)
{
    if (!programOnPath("dcmcjpeg"))
        GTEST_SKIP() << "dcmtk's dcmcjpeg not installed";
    run({"mkdir", "-p", dir + "/in"});
    startStorescp();
    std::string plain = makeImage("plain.dcm", "explicit");
    std::string lossless = dir + "/jpeg.dcm";
    ASSERT_EQ(run({"dcmcjpeg", "+e1", plain, lossless}).status, 0);
    RunResult r = run({toolPath("b3-send"), "-aec", "STORESCP", "127.0.0.1:" + std::to_string(port), lossless, plain},
                      60);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("FAILED " + lossless + ": the peer does not accept JPEG Lossless"), std::string::npos)
        << r.err;
    EXPECT_NE(r.out.find("sent 1 of 2 files"), std::string::npos) << r.out;
    EXPECT_EQ(filesUnder(dir + "/in").size(), 1u);
}

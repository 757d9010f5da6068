// The network tools against dcmtk's storescu, storescp and echoscu.
#include <filesystem>
#include <memory>
#include <set>

#include "ToolRun.h"

namespace {

std::string dcmdumpValue(const std::string& file, const std::string& tag)
{
    RunResult r = run({"dcmdump", "-Un", "+P", tag, file});
    size_t open = r.out.find('[');
    size_t close = r.out.find(']', open);
    return open == std::string::npos || close == std::string::npos ? "" : r.out.substr(open + 1, close - open - 1);
}

class DcmtkPeer : public ToolTest {
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        need({"b3-echo", "b3-send", "b3-receive", "b3-mkimage", "b3-png"}, {"storescu", "storescp", "echoscu", "dcmdump"});
    }

    std::string peerImage(const std::string& name, const std::string& syntax)
    {
        return makeImage(name, {"-t", syntax, "-s", "64", "--patient-name", "Peer^Test"});
    }
    void startStorescp()
    {
        std::filesystem::create_directories(dir + "/in");
        storescp.reset(new Background({"storescp", "-od", dir + "/in", std::to_string(port)}, dir + "/storescp.log"));
        ASSERT_TRUE(waitForListener(port)) << storescp->output();
    }
    void startReceiver()
    {
        receiver.reset(new Background({toolPath("b3-receive"), "-p", std::to_string(port), "-o", dir + "/in"},
                                      dir + "/recv.log"));
        ASSERT_TRUE(receiver->waitForOutput("listening on port")) << receiver->output();
    }
    // Every received file holds the test patient and 64 x 64 x 2 bytes of pixels.
    void expectReceived(size_t count)
    {
        std::vector<std::string> received = filesUnder(dir + "/in");
        ASSERT_EQ(received.size(), count);
        for (const std::string& file : received) {
            EXPECT_EQ(dcmdumpValue(file, "0010,0010"), "Peer^Test") << file;
            RunResult check = run({"dcmdump", "+P", "7fe0,0010", file});
            EXPECT_NE(check.out.find("# 8192,"), std::string::npos) << file << check.out;
        }
    }

    std::unique_ptr<Background> storescp;
    std::unique_ptr<Background> receiver;
};

}

TEST_F(DcmtkPeer, EchoAndSendToStorescpInEachSyntax)
{
    startStorescp();
    RunResult echo = tool("b3-echo", {"-aec", "STORESCP", address}, 30);
    EXPECT_EQ(echo.status, 0) << echo.out << echo.err;
    EXPECT_NE(echo.out.find("C-ECHO 1: success"), std::string::npos);
    std::filesystem::create_directories(dir + "/out");
    for (const char* syntax : {"implicit", "explicit", "big"})
        peerImage(std::string("out/") + syntax + ".dcm", syntax);
    RunResult r = tool("b3-send", {"-aec", "STORESCP", address, dir + "/out"});
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    expectReceived(3);
}

// Each file in its syntax, proposed by storescu with that syntax first, is
// stored in that syntax.
TEST_F(DcmtkPeer, EchoscuAndStorescuToReceiverInEachSyntax)
{
    startReceiver();
    RunResult echo = run({"echoscu", "127.0.0.1", std::to_string(port)}, 30);
    EXPECT_EQ(echo.status, 0) << echo.err;
    struct {
        const char* mkimage;
        const char* storescu;
    } cases[] = {{"implicit", "-xi"}, {"explicit", "-xe"}, {"big", "-xb"}};
    for (const auto& c : cases) {
        std::string file = peerImage(std::string(c.mkimage) + ".dcm", c.mkimage);
        RunResult r = run({"storescu", c.storescu, "-aec", "B3-RECEIVE", "127.0.0.1", std::to_string(port), file}, 60);
        EXPECT_EQ(r.status, 0) << c.mkimage << ": " << r.err;
    }
    EXPECT_EQ(receiver->stop(SIGTERM), 0);
    EXPECT_NE(receiver->output().find("association from ECHOSCU"), std::string::npos) << receiver->output();
    expectReceived(3);
    std::multiset<std::string> syntaxes;
    for (const std::string& file : filesUnder(dir + "/in"))
        syntaxes.insert(dcmdumpValue(file, "0002,0010"));
    EXPECT_EQ(syntaxes,
              (std::multiset<std::string>{"1.2.840.10008.1.2", "1.2.840.10008.1.2.1", "1.2.840.10008.1.2.2"}));
}

TEST_F(DcmtkPeer, ReceiverKeepsCompressedPixelDataAsSent)
{
    need({}, {"dcmcjpeg", "dcmdjpeg"});
    startReceiver();
    std::string original = peerImage("ct.dcm", "explicit");
    std::string lossless = dir + "/jpeg.dcm";
    ASSERT_EQ(run({"dcmcjpeg", "+e1", original, lossless}).status, 0);
    RunResult r = run({"storescu", "-xs", "-aec", "B3-RECEIVE", "127.0.0.1", std::to_string(port), lossless}, 60);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(receiver->stop(SIGTERM), 0);

    std::vector<std::string> received = filesUnder(dir + "/in");
    ASSERT_EQ(received.size(), 1u) << receiver->output();
    EXPECT_EQ(dcmdumpValue(received[0], "0002,0010"), "1.2.840.10008.1.2.4.70");
    std::string decompressed = dir + "/decompressed.dcm";
    RunResult d = run({"dcmdjpeg", received[0], decompressed});
    ASSERT_EQ(d.status, 0) << d.err;
    // Lossless: the pixels are those of the image before compression.
    ASSERT_EQ(tool("b3-png", {decompressed, dir + "/received.png"}).status, 0);
    ASSERT_EQ(tool("b3-png", {original, dir + "/original.png"}).status, 0);
    EXPECT_EQ(readFile(dir + "/received.png"), readFile(dir + "/original.png"));
}

TEST_F(DcmtkPeer, SendNamesTheSyntaxAPeerRefusesAndSendsTheRest)
{
    need({}, {"dcmcjpeg"});
    startStorescp();
    std::string plain = peerImage("plain.dcm", "explicit");
    std::string lossless = dir + "/jpeg.dcm";
    ASSERT_EQ(run({"dcmcjpeg", "+e1", plain, lossless}).status, 0);
    RunResult r = tool("b3-send", {"-aec", "STORESCP", address, lossless, plain});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("FAILED " + lossless + ": the peer does not accept JPEG Lossless"), std::string::npos)
        << r.err;
    EXPECT_NE(r.out.find("sent 1 of 2 files"), std::string::npos) << r.out;
    EXPECT_EQ(filesUnder(dir + "/in").size(), 1u);
}

// Objects travel bit for bit: storescu to b3-receive, b3-send to storescp
// and b3-send to b3-receive store exactly the data set bytes that were sent,
// whatever they hold (private and unknown elements, newer VRs, values no
// parser would keep as they are); and every storage class that storescu
// proposes is accepted and stored.
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>

#include "ToolRun.h"

namespace {

const char* const STUDY = "1.2.826.0.1.3680043.2.1.9";
const char* const INSTANCE = "1.2.826.0.1.3680043.2.1.1";

// Private elements with every newer VR, an attribute no dictionary has,
// values kept only if nobody rewrites them, and a sequence of undefined
// length ahead of the study UID.
const char* const DUMP = R"((0008,0016) UI =CTImageStorage
(0008,0018) UI [1.2.826.0.1.3680043.2.1.1]
(0008,0020) DA [1997.04.24]
(0008,0060) CS [CT]
(0008,1140) SQ (Sequence with undefined length)
  (fffe,e000) na (Item with undefined length)
    (0008,1150) UI =CTImageStorage
    (0008,1155) UI [1.2.3.4.5]
  (fffe,e00d) na (ItemDelimitationItem)
(fffe,e0dd) na (SequenceDelimitationItem)
(0009,0010) LO [ACME 1.0]
(0009,1001) LO [private text]
(0009,1002) OD 1.5\2.5
(0009,1003) UC [unlimited characters]
(0009,1004) UR [http://example.com/a]
(0009,1005) OL 1\2
(0009,1006) SV -3
(0009,1007) UV 5
(0009,1008) OV 7
(0010,0010) PN [^^^^]
(0018,9999) LO [not in any dictionary]
(0020,000d) UI [1.2.826.0.1.3680043.2.1.9]
(0020,0013) IS [1A]
(0028,0002) US 1
(0028,0004) CS [MONOCHROME2]
(0028,0010) US 2
(0028,0011) US 2
(0028,0100) US 16
(0028,0101) US 16
(0028,0102) US 15
(0028,0103) US 0
(7fe0,0010) OW 0001\0002\0003\0004
)";

struct Syntax {
    const char* dcmconv;
    const char* storescu;
    const char* uid;
};
const Syntax SYNTAXES[] = {{"+ti", "-xi", "1.2.840.10008.1.2"},
                           {"+te", "-xe", "1.2.840.10008.1.2.1"},
                           {"+tb", "-xb", "1.2.840.10008.1.2.2"}};

// The data set of a Part 10 file: what follows the meta group, whose length
// the group length element gives.
std::string dataSetOf(const std::string& path)
{
    std::string bytes = readFile(path);
    if (bytes.size() < 144 || bytes.compare(128, 4, "DICM") != 0)
        return "<no Part 10 file>";
    const unsigned char* p = reinterpret_cast<const unsigned char*>(bytes.data()) + 140;
    size_t metaLength = p[0] | (p[1] << 8) | (p[2] << 16) | (size_t(p[3]) << 24);
    return 144 + metaLength <= bytes.size() ? bytes.substr(144 + metaLength) : "<short file>";
}

std::string metaSyntax(const std::string& path)
{
    return run({"dcmdump", "-Un", "+P", "0002,0010", path}).out;
}

class BitPreserving : public ToolTest {
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        need({"b3-send", "b3-receive"}, {"dump2dcm", "dcmconv", "storescu", "storescp", "dcmdump"});
        std::ofstream(dir + "/object.dump") << DUMP;
        RunResult made = run({"dump2dcm", "-q", "-e", "+te", dir + "/object.dump", dir + "/object.dcm"});
        ASSERT_EQ(made.status, 0) << made.err;
        std::filesystem::create_directories(dir + "/in");
    }
    // dcmtk's own rewrite of the object into a syntax; undefined keeps the
    // sequence's undefined length (dcmtk's sender sends defined lengths).
    std::string converted(const Syntax& syntax, bool undefined)
    {
        std::string path = dir + "/" + (syntax.storescu + 1) + (undefined ? "-undefined" : "") + ".dcm";
        std::vector<std::string> argv = {"dcmconv", "-q", syntax.dcmconv, dir + "/object.dcm", path};
        if (undefined)
            argv.insert(argv.begin() + 2, "-e");
        EXPECT_EQ(run(argv).status, 0);
        return path;
    }
    void startReceiver(const std::vector<std::string>& extra = {})
    {
        std::vector<std::string> argv = {toolPath("b3-receive"), "-p", std::to_string(port), "-o", dir + "/in"};
        argv.insert(argv.end(), extra.begin(), extra.end());
        receiver.reset(new Background(argv, dir + "/receiver.log"));
        ASSERT_TRUE(receiver->waitForOutput("listening on port")) << receiver->output();
    }
    std::string storedObject() const { return dir + "/in/" + STUDY + "/" + INSTANCE + ".dcm"; }

    std::unique_ptr<Background> receiver;
};

}

TEST_F(BitPreserving, StorescuInEachSyntaxIsStoredByteForByte)
{
    startReceiver();
    for (const Syntax& syntax : SYNTAXES) {
        std::string sent = converted(syntax, false);
        RunResult r = run({"storescu", syntax.storescu, "127.0.0.1", std::to_string(port), sent}, 60);
        ASSERT_EQ(r.status, 0) << syntax.storescu << ": " << r.err;
        ASSERT_TRUE(receiver->waitForOutput(std::string("stored ") + storedObject()));
        EXPECT_EQ(dataSetOf(storedObject()), dataSetOf(sent)) << syntax.storescu;
        EXPECT_NE(metaSyntax(storedObject()).find(syntax.uid), std::string::npos) << syntax.storescu;
        std::filesystem::remove(storedObject());
    }
}

TEST_F(BitPreserving, SendToStorescpArrivesByteForByte)
{
    std::unique_ptr<Background> storescp(
        new Background({"storescp", "-od", dir + "/in", std::to_string(port)}, dir + "/storescp.log"));
    ASSERT_TRUE(waitForListener(port)) << storescp->output();
    for (const Syntax& syntax : SYNTAXES) {
        std::string sent = converted(syntax, false);
        RunResult r = tool("b3-send", {address, sent});
        ASSERT_EQ(r.status, 0) << r.out << r.err;
        std::vector<std::string> stored = filesUnder(dir + "/in");
        ASSERT_EQ(stored.size(), 1u);
        EXPECT_EQ(dataSetOf(stored[0]), dataSetOf(sent)) << syntax.storescu;
        EXPECT_NE(metaSyntax(stored[0]).find(syntax.uid), std::string::npos) << syntax.storescu;
        std::filesystem::remove(stored[0]);
    }
}

// Undefined lengths and all: the receiver finds the study UID behind the
// sequence in every syntax without changing a byte.
TEST_F(BitPreserving, SendToReceiverKeepsUndefinedLengthsAndFindsTheStudy)
{
    startReceiver();
    for (const Syntax& syntax : SYNTAXES) {
        std::string sent = converted(syntax, true);
        RunResult r = tool("b3-send", {address, sent});
        ASSERT_EQ(r.status, 0) << r.out << r.err;
        ASSERT_TRUE(receiver->waitForOutput(std::string("stored ") + storedObject())) << receiver->output();
        EXPECT_EQ(dataSetOf(storedObject()), dataSetOf(sent)) << syntax.storescu;
        std::filesystem::remove(storedObject());
    }
}

// storescu's default proposal names each class; one object of each, made by
// dump2dcm from the class name, goes in one association.
TEST_F(BitPreserving, EveryStorageClassStorescuProposesIsStored)
{
    startReceiver();
    RunResult probe = run({"storescu", "-d", "127.0.0.1", std::to_string(port), dir + "/object.dcm"}, 60);
    ASSERT_EQ(probe.status, 0) << probe.err;
    std::set<std::string> classes;
    for (size_t at = probe.err.find("Abstract Syntax: ="); at != std::string::npos;
         at = probe.err.find("Abstract Syntax: =", at + 1)) {
        size_t from = at + 18;
        classes.insert(probe.err.substr(from, probe.err.find_first_of(" \n", from) - from));
    }
    ASSERT_GE(classes.size(), 50u) << probe.err;
    std::vector<std::string> argv = {"storescu", "127.0.0.1", std::to_string(port)};
    int n = 0;
    for (const std::string& name : classes) {
        std::string base = dir + "/class" + std::to_string(++n);
        std::ofstream(base + ".dump") << "(0008,0016) UI =" << name << "\n(0008,0018) UI [1.2.3.4." << n
                                      << "]\n(0020,000d) UI [1.2.3.99]\n";
        ASSERT_EQ(run({"dump2dcm", "-q", "+te", base + ".dump", base + ".dcm"}).status, 0) << name;
        argv.push_back(base + ".dcm");
    }
    RunResult r = run(argv, 120);
    EXPECT_EQ(r.status, 0) << r.err;
    receiver->stop(SIGTERM);
    EXPECT_EQ(filesUnder(dir + "/in/1.2.3.99").size(), classes.size()) << receiver->output();
    EXPECT_EQ(countOf(receiver->output(), "FAILED"), 0) << receiver->output();
}

// A burst of callers larger than the listen backlog is taken at once.
TEST_F(BitPreserving, ThirtyCallersAtOnceAreAllServed)
{
    need({}, {"echoscu"});
    startReceiver();
    std::vector<std::unique_ptr<Background>> callers;
    for (int i = 0; i < 30; i++)
        callers.emplace_back(new Background({"echoscu", "127.0.0.1", std::to_string(port)},
                                            dir + "/echo" + std::to_string(i) + ".log"));
    int succeeded = 0;
    for (auto& caller : callers)
        succeeded += caller->wait(60) == 0;
    EXPECT_EQ(succeeded, 30);
}

// A class and syntaxes the built-in table lacks travel both ways: a
// multi-frame secondary capture to storescp, and the same object deflated
// to the receiver, which stores the deflated bytes as they came.
TEST_F(BitPreserving, ClassesAndSyntaxesOutsideTheBuiltInTableTravel)
{
    std::ofstream(dir + "/mf.dump") << "(0008,0016) UI =MultiframeGrayscaleWordSecondaryCaptureImageStorage\n"
                                       "(0008,0018) UI [1.2.826.0.1.3680043.2.1.5]\n"
                                       "(0020,000d) UI [1.2.826.0.1.3680043.2.1.9]\n"
                                       "(0028,0008) IS [2]\n"
                                       "(7fe0,0010) OW 0001\\0002\\0003\\0004\n";
    std::string object = dir + "/mf.dcm";
    ASSERT_EQ(run({"dump2dcm", "-q", "+te", dir + "/mf.dump", object}).status, 0);
    std::string deflated = dir + "/mf-deflated.dcm";
    ASSERT_EQ(run({"dcmconv", "-q", "+td", object, deflated}).status, 0);

    std::unique_ptr<Background> storescp(
        new Background({"storescp", "-od", dir + "/in", std::to_string(port)}, dir + "/storescp.log"));
    ASSERT_TRUE(waitForListener(port)) << storescp->output();
    RunResult sent = tool("b3-send", {address, object});
    ASSERT_EQ(sent.status, 0) << sent.out << sent.err;
    std::vector<std::string> stored = filesUnder(dir + "/in");
    ASSERT_EQ(stored.size(), 1u);
    EXPECT_EQ(dataSetOf(stored[0]), dataSetOf(object));
    storescp->stop(SIGTERM);
    std::filesystem::remove(stored[0]);

    startReceiver();
    RunResult r = tool("b3-send", {address, deflated});
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    receiver->stop(SIGTERM);
    stored = filesUnder(dir + "/in");
    ASSERT_EQ(stored.size(), 1u) << receiver->output();
    EXPECT_EQ(dataSetOf(stored[0]), dataSetOf(deflated));
    EXPECT_NE(metaSyntax(stored[0]).find("1.2.840.10008.1.2.1.99"), std::string::npos);
}

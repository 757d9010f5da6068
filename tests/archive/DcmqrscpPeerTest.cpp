// b3-archive beside dcmqrscp loaded with the same objects: the same
// matches for the same queries; and b3-find, b3-move and b3-get served by
// dcmqrscp.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include "tests/tools/ToolRun.h"

namespace fs = std::filesystem;

namespace {

const char* const STUDY = "1.2.826.0.1.3680043.9.7.31";
const char* const SERIES = "1.2.826.0.1.3680043.9.7.31.1";

// The sorted values of one tag in findscu's answers.
std::vector<std::string> valuesIn(const std::string& answers, const std::string& tag)
{
    std::vector<std::string> values;
    std::istringstream lines(answers);
    std::string line;
    while (std::getline(lines, line)) {
        size_t at = line.find(tag);
        size_t open = line.find('[', at);
        if (at == std::string::npos || open == std::string::npos)
            continue;
        std::string value = line.substr(open + 1, line.find(']', open) - open - 1);
        while (!value.empty() && value.back() == ' ')
            value.pop_back();
        values.push_back(value);
    }
    std::sort(values.begin(), values.end());
    return values;
}

class DcmqrscpPeerTest : public ToolTest {
protected:
    // Objects for both: two patients, three studies.
    void makeObjects()
    {
        ASSERT_EQ(tool("b3-mkimage", {"-n", "3", "-s", "16", "--patient-name", "DOE^JOHN", "--patient-id", "P1",
                                      "--study-uid", STUDY, "--series-uid", SERIES, dir + "/in/a"})
                      .status,
                  0);
        ASSERT_EQ(tool("b3-mkimage", {"-n", "2", "-s", "16", "--patient-name", "DOE^JANE", "--patient-id", "P2",
                                      dir + "/in/b"})
                      .status,
                  0);
        ASSERT_EQ(tool("b3-mkimage", {"-n", "1", "-s", "16", "--patient-name", "ROE^RICHARD", "--patient-id", "P3",
                                      dir + "/in/c"})
                      .status,
                  0);
    }

    // dcmqrscp with the objects indexed; receiverPort is a move destination
    // named RECEIVER.
    std::unique_ptr<Background> startDcmqrscp(int qrPort, int receiverPort)
    {
        fs::create_directories(dir + "/qr");
        std::ofstream(dir + "/dcmqrscp.cfg")
            << "NetworkTCPPort = " << qrPort << "\nMaxPDUSize = 16384\nMaxAssociations = 16\n"
            << "HostTable BEGIN\nreceiver = (RECEIVER, 127.0.0.1, " << receiverPort << ")\nHostTable END\n"
            << "VendorTable BEGIN\nVendorTable END\nAETable BEGIN\nQR " << dir << "/qr RW (200, 1024mb) ANY\n"
            << "AETable END\n";
        std::vector<std::string> index = {"dcmqridx", dir + "/qr"};
        for (const std::string& file : filesUnder(dir + "/in"))
            index.push_back(file);
        EXPECT_EQ(run(index).status, 0);
        std::unique_ptr<Background> qr(
            new Background({"dcmqrscp", "-c", dir + "/dcmqrscp.cfg"}, dir + "/dcmqrscp.log"));
        EXPECT_TRUE(waitForListener(qrPort));
        return qr;
    }
};

TEST_F(DcmqrscpPeerTest, FindscuGetsTheSameMatchesFromBoth)
{
    need({"b3-archive", "b3-send", "b3-mkimage"}, {"findscu", "dcmqrscp", "dcmqridx"});
    makeObjects();
    int qrPort = freePort();
    std::unique_ptr<Background> qr = startDcmqrscp(qrPort, freePort());
    Background archive({toolPath("b3-archive"), "-p", std::to_string(port), "-o", dir + "/store"},
                       dir + "/archive.log");
    ASSERT_TRUE(archive.waitForOutput("listening on") && waitForListener(port));
    ASSERT_EQ(tool("b3-send", {address, "-aec", "B3-ARCHIVE", dir + "/in"}).status, 0);

    struct Case {
        std::vector<std::string> keys;
        std::string compared;
    };
    std::vector<Case> cases = {
        {{"QueryRetrieveLevel=STUDY", "PatientName=DOE*", "StudyInstanceUID"}, "(0020,000d)"},
        {{"QueryRetrieveLevel=STUDY", "PatientID=P?", "StudyInstanceUID", "StudyDate"}, "(0020,000d)"},
        {{"QueryRetrieveLevel=SERIES", std::string("StudyInstanceUID=") + STUDY, "SeriesInstanceUID", "Modality"},
         "(0008,0060)"},
        {{"QueryRetrieveLevel=IMAGE", std::string("StudyInstanceUID=") + STUDY, std::string("SeriesInstanceUID=") + SERIES,
          "SOPInstanceUID"},
         "(0008,0018)"},
        {{"QueryRetrieveLevel=STUDY", "StudyDate=20000101-", "PatientID"}, "(0010,0020)"},
    };
    for (const Case& c : cases) {
        std::vector<std::string> answers[2];
        int ports[2] = {qrPort, port};
        const char* titles[2] = {"QR", "B3-ARCHIVE"};
        for (int i = 0; i < 2; i++) {
            std::vector<std::string> argv = {"findscu", "-v", "-S", "-aec", titles[i]};
            for (const std::string& key : c.keys) {
                argv.push_back("-k");
                argv.push_back(key);
            }
            argv.push_back("127.0.0.1");
            argv.push_back(std::to_string(ports[i]));
            RunResult r = run(argv);
            EXPECT_EQ(r.status, 0) << r.err;
            answers[i] = valuesIn(r.out + r.err, c.compared);
        }
        EXPECT_FALSE(answers[0].empty()) << c.keys[1];
        EXPECT_EQ(answers[0], answers[1]) << c.keys[1];
    }
}

TEST_F(DcmqrscpPeerTest, OwnToolsRetrieveFromDcmqrscp)
{
    need({"b3-mkimage", "b3-find", "b3-move", "b3-get"}, {"dcmqrscp", "dcmqridx"});
    makeObjects();
    int receiverPort = freePort();
    std::unique_ptr<Background> qr = startDcmqrscp(port, receiverPort);

    RunResult found = tool("b3-find", {address, "-aec", "QR", "-P", "-L", "PATIENT", "-k", "patientName=DOE*", "-k",
                                       "PatientID"});
    EXPECT_EQ(found.status, 0) << found.err;
    EXPECT_NE(found.out.find("2 matches"), std::string::npos) << found.out;

    RunResult moved = tool("b3-move", {address, "-aec", "QR", "-aet", "RECEIVER", "--port-in",
                                       std::to_string(receiverPort), "-o", dir + "/moved", "-k",
                                       std::string("StudyInstanceUID=") + STUDY});
    EXPECT_EQ(moved.status, 0) << moved.out << moved.err;
    EXPECT_EQ(filesUnder(dir + "/moved/" + STUDY).size(), 3u);

    RunResult got = tool("b3-get", {address, "-aec", "QR", "-k", std::string("StudyInstanceUID=") + STUDY, "-o",
                                    dir + "/got"});
    EXPECT_EQ(got.status, 0) << got.out << got.err << qr->output();
    EXPECT_EQ(filesUnder(dir + "/got/" + STUDY).size(), 3u);
}

}

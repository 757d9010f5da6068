// Long runs against one SCP: associations in a row that leave nothing
// behind, several senders storing at once, and peers that vanish at random
// points of an association. Counts are halved under the address sanitizer,
// which makes every association several times slower.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>

#include "media/dirFile.h"
#include "tests/service/ServiceTestUtil.h"
#include "tests/tools/ToolRun.h"

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool SANITIZED = true;
#else
constexpr bool SANITIZED = false;
#endif
constexpr int WARM_UP = 50;
constexpr int ASSOCIATIONS = SANITIZED ? 500 : 1000;
constexpr int SENDERS = 8;
constexpr int FILES_PER_SENDER = SANITIZED ? 100 : 200;
constexpr int CUTS = SANITIZED ? 40 : 80;

// Open descriptors and resident kilobytes of a process.
int fdCountOf(pid_t pid)
{
    std::error_code ec;
    std::filesystem::directory_iterator fds("/proc/" + std::to_string(pid) + "/fd", ec);
    return static_cast<int>(std::distance(fds, std::filesystem::directory_iterator()));
}

long residentKb(pid_t pid)
{
    long size = 0, resident = 0;
    std::ifstream statm("/proc/" + std::to_string(pid) + "/statm");
    statm >> size >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

// One association: C-ECHO, then release.
void echoAndRelease(int port)
{
    Scu scu(port);
    ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
    std::unique_ptr<DcCmdCEchoRq> rq(echoRequest());
    ASSERT_EQ(0, scu.msm.write(UID_VERIFICATION, rq.get()));
    DcMsg* rsp = nullptr;
    ASSERT_EQ(MSM_READ_MESSAGE, scu.read(&rsp));
    std::unique_ptr<DcMsg> answer(rsp);
    EXPECT_EQ(0, statusOf(rsp));
    scu.msm.releaseAssociation();
    ASSERT_EQ(MSM_READ_RELEASE_RQ, scu.read(nullptr));
}

// Waits until the SCP has seen the callers of that many associations hang
// up after their release, which is when it closes its side.
bool closedAfterRelease(ScpThread& scp, int associations)
{
    auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    for (;;) {
        std::vector<int> seen = scp.outcomesSeen();
        if (std::count(seen.begin(), seen.end(), MSM_READ_CONNECTION_LOST) >= associations)
            return true;
        if (std::chrono::steady_clock::now() > until)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

// The bytes a PDU puts on the wire.
Bytes wireBytes(DcPdu& pdu)
{
    SocketPair pair;
    pdu.attach(pair.lib);
    EXPECT_EQ(0, pdu.write());
    return pair.received();
}

// A whole storage association as the requester sends it, in its three
// phases: the request; one C-STORE of a CT image whose pixel data spans
// several PDUs; the release.
std::vector<Bytes> storeAssociation(const Bytes& pixels)
{
    DcPduAssoRq rq;
    DcPduInfoAcRq info;
    strcpy(info.calledAeTitle, "B3-RECEIVE");
    strcpy(info.callingAeTitle, "CUTOFF");
    strcpy(info.appCtxName, "1.2.840.10008.3.1.1.1");
    info.maxPduLen = 16384;
    rq.setInfo(info);
    DcPduPresCtxItem item;
    item.presCtxId = 1;
    item.abstractSyntax = UID_CT_IMAGE_STORAGE;
    item.xferSyn[0] = UID_LITTLE_ENDIAN_IMPLICIT;
    rq.presCtxItemAdd(item);

    std::unique_ptr<DcCmdCStoreRq> store(storeRequest("1.2.826.0.1.3680043.2.1143.77", pixels));
    DcPduInfoTf tf = tfInfo(16384);
    store->setInfo(tf);
    return {wireBytes(rq), wireBytes(*store), {PDU_RELEASE_RQ, 0, 0, 0, 0, 4, 0, 0, 0, 0}};
}

// The SOP instance UIDs of the complete objects under a folder; a file that
// does not read whole, or a hidden leftover, fails the test.
std::set<std::string> completeObjects(const std::string& folder, size_t pixelLength)
{
    std::set<std::string> instances;
    for (const std::string& path : filesUnder(folder)) {
        std::string name = path.substr(path.rfind('/') + 1);
        EXPECT_NE('.', name[0]) << "left behind: " << path;
        DcDirMetaInfo meta;
        DcElemList list;
        EXPECT_EQ(0, dirReadFile(path.c_str(), meta, list)) << path;
        DcElem* pixels = nullptr;
        EXPECT_EQ(0, list.getElem(static_cast<int>(T_7fe0_0010_pixelData), &pixels)) << path;
        if (pixels != nullptr && pixelLength != 0) {
            DcBuf value;
            list.getValue(static_cast<int>(T_7fe0_0010_pixelData), value, ELEM_VAL_INDEX_KEEP);
            EXPECT_EQ(pixelLength, value.getLen()) << path;
        }
        instances.insert(meta.sopInstanceUid);
    }
    return instances;
}

class Soak : public ListenTableTest {};

class SoakTools : public ToolTest {
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        need({"b3-receive", "b3-send", "b3-mkimage", "b3-echo"});
        receiver.reset(new Background({toolPath("b3-receive"), "-p", std::to_string(port), "-o", dir + "/in"},
                                      dir + "/receiver.log"));
        ASSERT_TRUE(receiver->waitForOutput("listening on port")) << receiver->output();
        fdsBefore = fdCountOf(receiver->pid());
        ASSERT_GT(fdsBefore, 3);  // the standard streams and the listening socket at least
    }
    // The receiver is still running, holds no more descriptors than at the
    // start, serves the next caller, and no association process of it has
    // reported a memory or undefined-behaviour fault.
    void expectReceiverServesOn()
    {
        ASSERT_GT(receiver->pid(), 0) << receiver->output();
        EXPECT_EQ(std::string::npos, receiver->output().find("Sanitizer")) << receiver->output();
        EXPECT_EQ(std::string::npos, receiver->output().find("runtime error")) << receiver->output();
        EXPECT_EQ(fdsBefore, fdCountOf(receiver->pid()));
        RunResult echo = tool("b3-echo", {"-aec", "B3-RECEIVE", address}, 30);
        EXPECT_EQ(0, echo.status) << echo.out << echo.err;
    }
    // Waits until the receiver has logged the end of that many associations.
    bool waitForEndings(int count, int seconds = 60)
    {
        auto until = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
        while (countOf(receiver->output(), " stored, ") < count && std::chrono::steady_clock::now() < until)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        return countOf(receiver->output(), " stored, ") >= count;
    }

    std::unique_ptr<Background> receiver;
    int fdsBefore = 0;
};

}

// Associations one after another against one SCP: after a warm-up, the
// process holds as many descriptors as before, and (unsanitized) its
// resident memory has not grown by a kilobyte per association.
TEST_F(Soak, AssociationsInARowLeaveNoDescriptorOrMemoryBehind)
{
    ScpThread scp;
    scp.start();
    for (int i = 0; i < WARM_UP; i++)
        ASSERT_NO_FATAL_FAILURE(echoAndRelease(scp.port));
    ASSERT_TRUE(closedAfterRelease(scp, WARM_UP));
    int fds = openFdCount();
    long resident = residentKb(getpid());
    for (int i = 0; i < ASSOCIATIONS; i++)
        ASSERT_NO_FATAL_FAILURE(echoAndRelease(scp.port)) << "association " << i;
    ASSERT_TRUE(closedAfterRelease(scp, WARM_UP + ASSOCIATIONS));
    RecordProperty("resident_kb_grown", static_cast<int>(residentKb(getpid()) - resident));
    EXPECT_EQ(fds, openFdCount());
    if (!SANITIZED) {
        EXPECT_LT(residentKb(getpid()) - resident, ASSOCIATIONS) << "kilobytes grown";
    }
    scp.stop();
    std::vector<int> outcomes = scp.outcomesSeen();
    EXPECT_EQ(WARM_UP + ASSOCIATIONS, std::count(outcomes.begin(), outcomes.end(), MSM_READ_RELEASE_RQ));
}

// Eight senders store their series into one receiver at the same time:
// every object arrives whole under its own name.
TEST_F(SoakTools, SendersAtOnceEachStoreEveryFile)
{
    std::vector<std::string> series;
    for (int i = 0; i < SENDERS; i++)
        series.push_back(makeImage("series" + std::to_string(i), {"-n", std::to_string(FILES_PER_SENDER), "-s", "32"}));
    long resident = residentKb(receiver->pid());
    std::vector<std::unique_ptr<Background>> senders;
    for (int i = 0; i < SENDERS; i++)
        senders.emplace_back(new Background({toolPath("b3-send"), "-aec", "B3-RECEIVE", address, series[i]},
                                            dir + "/send" + std::to_string(i) + ".log"));
    for (int i = 0; i < SENDERS; i++)
        EXPECT_EQ(0, senders[i]->wait(120)) << senders[i]->output();
    ASSERT_TRUE(waitForEndings(SENDERS)) << receiver->output();
    EXPECT_EQ(SENDERS * FILES_PER_SENDER, static_cast<int>(completeObjects(dir + "/in", 32 * 32 * 2).size()));
    EXPECT_EQ(SENDERS * FILES_PER_SENDER, countOf(receiver->output(), "] stored "));
    RecordProperty("receiver_resident_kb_grown", static_cast<int>(residentKb(receiver->pid()) - resident));
    if (!SANITIZED) {
        EXPECT_LT(residentKb(receiver->pid()) - resident, 1024);
    }
    expectReceiverServesOn();
}

// Peers that vanish at random points of a storage association (closing or
// resetting the connection, fixed seed): no object is left half-written
// under its final name or as a hidden leftover, and the receiver serves on.
TEST_F(SoakTools, PeersCutOffAtRandomPointsLeaveNoHalfWrittenFile)
{
    const Bytes pixels = pattern(60000, 11);
    const std::vector<Bytes> phases = storeAssociation(pixels);
    const Bytes stream = concat({phases[0], phases[1], phases[2]});
    ASSERT_GT(phases[1].size(), pixels.size());
    // Each cut falls in a phase chosen first, so that set-up and release
    // are cut as often as the long data transfer.
    std::mt19937 random(20261124);
    int whole = 0;
    for (int i = 0; i < CUTS; i++) {
        size_t phase = random() % phases.size();
        size_t cut = random() % phases[phase].size() + 1;
        for (size_t before = 0; before < phase; before++)
            cut += phases[before].size();
        bool reset = random() % 2 == 0;
        whole += cut == stream.size();
        int sock = connectTo(port);
        ASSERT_GE(sock, 0);
        for (size_t done = 0; done < cut;) {
            ssize_t n = ::send(sock, stream.data() + done, cut - done, MSG_NOSIGNAL);
            if (n <= 0)
                break;
            done += static_cast<size_t>(n);
        }
        if (reset) {
            struct linger hard = {1, 0};
            setsockopt(sock, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
        }
        close(sock);
        ASSERT_TRUE(waitForEndings(i + 1, 30)) << receiver->output();
    }
    std::set<std::string> stored = completeObjects(dir + "/in", pixels.size());
    EXPECT_EQ(std::set<std::string>{"1.2.826.0.1.3680043.2.1143.77"}, stored);
    EXPECT_GE(countOf(receiver->output(), "] stored "), whole);
    // A caller that resets at once is still logged with its address.
    EXPECT_EQ(0, countOf(receiver->output(), "CUTOFF () ")) << receiver->output();
    expectReceiverServesOn();
}

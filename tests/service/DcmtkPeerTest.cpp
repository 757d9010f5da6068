#include "tests/service/ServiceTestUtil.h"

#include <algorithm>
#include <filesystem>

#include "media/dirFile.h"

namespace {

// A CT image file in Implicit VR Little Endian with the given pixel data.
std::string writeCtFile(const std::string& dir, const std::string& instance, const std::string& name,
                        const Bytes& pixels)
{
    DcElemList data;
    data.add(new DcElem(static_cast<int>(T_0008_0016_sopClassUid), UID_CT_IMAGE_STORAGE));
    data.add(new DcElem(static_cast<int>(T_0008_0018_sopInstanceUid), instance.c_str()));
    data.add(new DcElem(static_cast<int>(T_0010_0010_patientName), name.c_str()));
    data.add(new DcElem(static_cast<int>(T_0010_0020_patientId), "PID1"));
    data.add(new DcElem(static_cast<int>(T_0020_000d_studyInstanceUid), "1.2.3.100"));
    data.add(new DcElem(static_cast<int>(T_0020_000e_seriesInstanceUid), "1.2.3.101"));
    data.add(bytesElem(static_cast<int>(T_7fe0_0010_pixelData), pixels));
    DcDirMetaInfo info;
    info.xferSyn = UID_LITTLE_ENDIAN_IMPLICIT;
    std::string path = dir + "/" + instance + ".dcm";
    EXPECT_EQ(0, dirWriteFile(path.c_str(), info, data));
    return path;
}

// A file stored by a dcmtk peer, read by the library: its instance UID,
// patient name and pixels.
struct StoredFile {
    explicit StoredFile(const std::string& path)
    {
        DcDirMetaInfo info;
        DcElemList set;
        read = dirReadFile(path.c_str(), info, set) == 0;
        char text[2][65] = {"", ""};
        set.getValue(static_cast<int>(T_0008_0018_sopInstanceUid), text[0], 64, ELEM_VAL_INDEX_KEEP);
        set.getValue(static_cast<int>(T_0010_0010_patientName), text[1], 64, ELEM_VAL_INDEX_KEEP);
        instance = text[0];
        name = text[1];
        DcBuf value;
        if (set.getValue(static_cast<int>(T_7fe0_0010_pixelData), value, ELEM_VAL_INDEX_KEEP) == 0 &&
            value.getType() == BUF_MEMORY)
            pixels.assign(static_cast<unsigned char*>(value.getBuf()),
                          static_cast<unsigned char*>(value.getBuf()) + value.getLen());
    }
    bool read;
    std::string instance, name;
    Bytes pixels;
};

// A scratch folder and the files that peers leave in it, sorted.
struct TempDir {
    TempDir()
    {
        char pattern[] = "/tmp/brenik3-dcmtk-XXXXXX";
        path = mkdtemp(pattern);
    }
    ~TempDir() { std::filesystem::remove_all(path); }
    std::vector<std::string> files()
    {
        std::vector<std::string> out;
        for (const auto& entry : std::filesystem::directory_iterator(path))
            out.push_back(entry.path().string());
        std::sort(out.begin(), out.end());
        return out;
    }
    std::string path;
};

// Waits up to ten seconds until something listens on the port.
bool listening(int port)
{
    for (int i = 0; i < 200; i++) {
        int sock = connectTo(port);
        if (sock >= 0)
            return close(sock) == 0;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
}

class DcmtkPeer : public ListenTableTest {};

}

TEST_F(DcmtkPeer, EchoscuIsAnsweredByTheLibrary)
{
    if (!have("echoscu"))
        GTEST_SKIP() << "dcmtk's echoscu is not installed";
    ScpThread scp;
    std::atomic<int> handed{0};
    scp.handler = [&](DcMsm&, DcMsg*, DICT_UID) { handed++; };
    scp.start();
    PeerProcess echoscu({"echoscu", "-aet", "ECHOSCU", "-aec", "STORESCP", "-to", "10", "127.0.0.1",
                         std::to_string(scp.port)});
    ASSERT_GT(echoscu.pid, 0);
    EXPECT_EQ(0, echoscu.waitExit(20));
    EXPECT_TRUE(scp.waitFor(MSM_READ_RELEASE_RQ));
    scp.stop();
    EXPECT_EQ(0, handed.load());
}

TEST_F(DcmtkPeer, StorescuSendsSeveralFilesAndFiftyMegabytesInOneAssociation)
{
    if (!have("storescu"))
        GTEST_SKIP() << "dcmtk's storescu is not installed";
    TempDir dir;
    std::vector<Bytes> sent = {pattern(1000, 1), pattern(64 * 1024 + 3 * 2, 2), pattern(300000, 3),
                               pattern(50 * 1024 * 1024, 4)};
    std::vector<std::string> args = {"storescu", "-aet", "STORESCU", "-aec", "STORESCP", "-to", "30",
                                     "127.0.0.1"};
    StoreScp scp;
    args.push_back(std::to_string(scp.port));
    for (size_t i = 0; i < sent.size(); i++)
        args.push_back(writeCtFile(dir.path, "1.2.3.4." + std::to_string(i), "Doe^Jane" + std::to_string(i),
                                   sent[i]));
    scp.start();
    PeerProcess storescu(args);
    ASSERT_GT(storescu.pid, 0);
    EXPECT_EQ(0, storescu.waitExit(120));
    EXPECT_TRUE(scp.waitFor(MSM_READ_RELEASE_RQ));
    scp.stop();
    ASSERT_EQ(sent.size(), scp.pixels.size());
    for (size_t i = 0; i < sent.size(); i++) {
        EXPECT_TRUE(scp.pixels[i] == sent[i]) << i;
        EXPECT_EQ("Doe^Jane" + std::to_string(i), scp.names[i]);
        EXPECT_EQ("1.2.3.4." + std::to_string(i), scp.instances[i]);
    }
    std::vector<int> outcomes = scp.outcomesSeen();
    EXPECT_EQ(1, std::count(outcomes.begin(), outcomes.end(), MSM_READ_ASSO_RQ));
}

TEST_F(DcmtkPeer, OurScuStoresIntoStorescp)
{
    if (!have("storescp"))
        GTEST_SKIP() << "dcmtk's storescp is not installed";
    TempDir dir;
    int port = freePort();
    PeerProcess storescp({"storescp", "-aet", "STORESCP", "-od", dir.path, std::to_string(port)});
    ASSERT_GT(storescp.pid, 0);
    ASSERT_TRUE(listening(port));
    Scu scu(port);
    ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
    DcMsg* rsp = nullptr;
    std::vector<Bytes> sent = {pattern(2 * 1024 * 1024, 8), pattern(12, 9)};
    for (size_t i = 0; i < sent.size(); i++) {
        std::string instance = "1.2.3.7." + std::to_string(i);
        std::unique_ptr<DcCmdCStoreRq> rq(storeRequest(instance.c_str(), sent[i]));
        ASSERT_EQ(0, scu.msm.write(UID_CT_IMAGE_STORAGE, rq.get()));
        ASSERT_EQ(MSM_READ_MESSAGE, scu.read(&rsp));
        EXPECT_EQ(MSG_C_STORE_RSP, typeOf(rsp));
        EXPECT_EQ(0, statusOf(rsp));
        delete rsp;
    }
    scu.msm.releaseAssociation();
    EXPECT_EQ(MSM_READ_RELEASE_RQ, scu.read(nullptr));
    std::vector<std::string> files;
    for (int i = 0; i < 100 && files.size() < sent.size(); i++) {
        files = dir.files();
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    ASSERT_EQ(sent.size(), files.size());
    for (size_t i = 0; i < sent.size(); i++) {
        StoredFile file(files[i]);
        ASSERT_TRUE(file.read) << files[i];
        EXPECT_EQ("1.2.3.7." + std::to_string(i), file.instance);
        EXPECT_EQ("Doe^Jane", file.name);
        EXPECT_TRUE(file.pixels == sent[i]) << i;
    }
}

TEST_F(DcmtkPeer, FindscuQueryIsAnsweredByAnScpBuiltOnTheLibrary)
{
    if (!have("findscu"))
        GTEST_SKIP() << "dcmtk's findscu is not installed";
    TempDir dir;
    FindScp scp;
    scp.start();
    PeerProcess findscu({"findscu", "-S", "-aet", "FINDSCU", "-aec", "STORESCP", "-to", "10", "-k",
                         "QueryRetrieveLevel=STUDY", "-k", "PatientName=Doe*", "-X", "-od", dir.path, "127.0.0.1",
                         std::to_string(scp.port)});
    ASSERT_GT(findscu.pid, 0);
    EXPECT_EQ(0, findscu.waitExit(20));
    scp.stop();
    std::vector<std::string> files = dir.files();
    ASSERT_EQ(2u, files.size());
    std::vector<std::string> names;
    for (const std::string& path : files) {
        StoredFile file(path);
        ASSERT_TRUE(file.read) << path;
        names.push_back(file.name);
    }
    EXPECT_EQ((std::vector<std::string>{"Doe^Jane", "Doe^John"}), names);
}

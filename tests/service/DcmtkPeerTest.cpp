#include "tests/service/ServiceTestUtil.h"

#include <fstream>
#include <sys/stat.h>

#include "dictionary/DcDict.h"
#include "message/DcCmdCFind.h"
#include "tests/network/PeerProcess.h"

namespace {

bool have(const char* tool)
{
    return system((std::string("command -v ") + tool + " >/dev/null 2>&1").c_str()) == 0;
}

void put16(Bytes& out, unsigned int v)
{
    out.push_back(static_cast<unsigned char>(v));
    out.push_back(static_cast<unsigned char>(v >> 8));
}

void put32(Bytes& out, unsigned int v)
{
    put16(out, v & 0xFFFF);
    put16(out, v >> 16);
}

std::string padded(std::string text, char pad)
{
    if (text.size() % 2)
        text += pad;
    return text;
}

// Explicit VR Little Endian element with a 2-byte length (file meta information).
void metaElement(Bytes& out, unsigned int element, const char* vr, const std::string& value)
{
    put16(out, 0x0002);
    put16(out, element);
    out.push_back(vr[0]);
    out.push_back(vr[1]);
    if (std::string(vr) == "OB") {
        put16(out, 0);
        put32(out, static_cast<unsigned int>(value.size()));
    } else {
        put16(out, static_cast<unsigned int>(value.size()));
    }
    out.insert(out.end(), value.begin(), value.end());
}

void implicitElement(Bytes& out, unsigned int group, unsigned int element, const std::string& value)
{
    put16(out, group);
    put16(out, element);
    put32(out, static_cast<unsigned int>(value.size()));
    out.insert(out.end(), value.begin(), value.end());
}

// A CT image file in Implicit VR Little Endian with the given pixel data.
std::string writeCtFile(const std::string& dir, const std::string& instance, const std::string& name,
                        const Bytes& pixels)
{
    std::string ct = "1.2.840.10008.5.1.4.1.1.2";
    Bytes meta;
    metaElement(meta, 0x0001, "OB", std::string("\0\1", 2));
    metaElement(meta, 0x0002, "UI", padded(ct, '\0'));
    metaElement(meta, 0x0003, "UI", padded(instance, '\0'));
    metaElement(meta, 0x0010, "UI", padded("1.2.840.10008.1.2", '\0'));
    Bytes file(128, 0);
    file.insert(file.end(), {'D', 'I', 'C', 'M'});
    Bytes groupLength;
    put16(groupLength, 0x0002);
    put16(groupLength, 0x0000);
    groupLength.insert(groupLength.end(), {'U', 'L'});
    put16(groupLength, 4);
    put32(groupLength, static_cast<unsigned int>(meta.size()));
    file.insert(file.end(), groupLength.begin(), groupLength.end());
    file.insert(file.end(), meta.begin(), meta.end());
    Bytes data;
    implicitElement(data, 0x0008, 0x0016, padded(ct, '\0'));
    implicitElement(data, 0x0008, 0x0018, padded(instance, '\0'));
    implicitElement(data, 0x0010, 0x0010, padded(name, ' '));
    implicitElement(data, 0x0010, 0x0020, padded("PID1", ' '));
    implicitElement(data, 0x0020, 0x000D, padded("1.2.3.100", '\0'));
    implicitElement(data, 0x0020, 0x000E, padded("1.2.3.101", '\0'));
    put16(data, 0x7FE0);
    put16(data, 0x0010);
    put32(data, static_cast<unsigned int>(pixels.size()));
    file.insert(file.end(), data.begin(), data.end());
    std::string path = dir + "/" + instance + ".dcm";
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(file.size()));
    out.write(reinterpret_cast<const char*>(pixels.data()), static_cast<std::streamsize>(pixels.size()));
    return path;
}

// Reads a Part 10 file: its data set, decoded in its transfer syntax.
bool readDataSet(const std::string& path, DcElemList& set)
{
    std::ifstream in(path, std::ios::binary);
    Bytes file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (file.size() < 132 || memcmp(file.data() + 128, "DICM", 4) != 0)
        return false;
    size_t at = 132;
    std::string xfer;
    while (at + 8 <= file.size() && file[at] == 0x02 && file[at + 1] == 0x00) {
        unsigned int element = file[at + 2] | (file[at + 3] << 8);
        std::string vr(reinterpret_cast<const char*>(&file[at + 4]), 2);
        size_t len, head;
        if (vr == "OB" || vr == "OW" || vr == "UN" || vr == "SQ" || vr == "UT") {
            len = file[at + 8] | (file[at + 9] << 8) | (file[at + 10] << 16) | (size_t(file[at + 11]) << 24);
            head = 12;
        } else {
            len = file[at + 6] | (file[at + 7] << 8);
            head = 8;
        }
        if (element == 0x0010)
            xfer.assign(reinterpret_cast<const char*>(&file[at + head]), len);
        at += head + len;
    }
    while (!xfer.empty() && xfer.back() == '\0')
        xfer.pop_back();
    DICT_UID syntax = UID_NONE;
    if (Dict.getUidDef(xfer.c_str(), syntax) != 0)
        return false;
    unsigned int left = static_cast<unsigned int>(file.size() - at);
    return set.parse(file.data() + at, left, syntax) == 0;
}

std::string textIn(DcElemList& set, int tag)
{
    char text[128] = "";
    set.getValue(tag, text, 64, ELEM_VAL_INDEX_KEEP);
    return text;
}

Bytes pixelsIn(DcElemList& set)
{
    DcBuf value;
    if (set.getValue(static_cast<int>(T_7fe0_0010_pixelData), value, ELEM_VAL_INDEX_KEEP) != 0 ||
        value.getType() != BUF_MEMORY)
        return {};
    const unsigned char* data = static_cast<const unsigned char*>(value.getBuf());
    return Bytes(data, data + value.getLen());
}

class TempDir {
public:
    TempDir()
    {
        char pattern[] = "/tmp/brenik3-dcmtk-XXXXXX";
        path = mkdtemp(pattern);
    }
    ~TempDir() { system(("rm -rf " + path).c_str()); }
    std::vector<std::string> files()
    {
        std::vector<std::string> out;
        DIR* dir = opendir(path.c_str());
        while (dirent* entry = readdir(dir)) {
            if (entry->d_name[0] != '.')
                out.push_back(path + "/" + entry->d_name);
        }
        closedir(dir);
        std::sort(out.begin(), out.end());
        return out;
    }
    std::string path;
};

// Waits until something listens on the port.
bool listening(int port, int seconds)
{
    for (int i = 0; i < seconds * 20; i++) {
        int sock = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr = {};
        addr.sin_family = AF_INET;
        addr.sin_port = htons(static_cast<uint16_t>(port));
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bool ok = ::connect(sock, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0;
        close(sock);
        if (ok)
            return true;
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
    ASSERT_TRUE(listening(port, 10));
    Scu scu(port);
    ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
    DcCmdCEchoRq echo;
    echo.add(new DcElem(static_cast<int>(T_0000_0002_affectedSopClassUid), UID_VERIFICATION));
    ASSERT_EQ(0, scu.msm.write(UID_VERIFICATION, &echo));
    DcMsg* rsp = nullptr;
    ASSERT_EQ(MSM_READ_MESSAGE, scu.read(&rsp));
    EXPECT_EQ(MSG_C_ECHO_RSP, typeOf(rsp));
    EXPECT_EQ(0, statusOf(rsp));
    delete rsp;
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
        DcElemList set;
        ASSERT_TRUE(readDataSet(files[i], set)) << files[i];
        EXPECT_EQ("1.2.3.7." + std::to_string(i), textIn(set, T_0008_0018_sopInstanceUid));
        EXPECT_EQ("Doe^Jane", textIn(set, T_0010_0010_patientName));
        EXPECT_TRUE(pixelsIn(set) == sent[i]) << i;
    }
}

TEST_F(DcmtkPeer, FindscuQueryIsAnsweredByAnScpBuiltOnTheLibrary)
{
    if (!have("findscu"))
        GTEST_SKIP() << "dcmtk's findscu is not installed";
    TempDir dir;
    ScpThread scp;
    scp.sopXfer.push_back(sopEntry(UID_STUDY_ROOT_Q_R_FIND, {UID_LITTLE_ENDIAN_EXPLICIT, UID_LITTLE_ENDIAN_IMPLICIT}));
    std::vector<std::unique_ptr<DcCmdCFindRsp>> answers;
    scp.handler = [&](DcMsm& msm, DcMsg* msg, DICT_UID sop) {
        if (typeOf(msg) == MSG_C_FIND_RQ) {
            answers.clear();
            for (int i = 0; i < 3; i++) {
                answers.emplace_back(new DcCmdCFindRsp());
                answers.back()->parseRequest(static_cast<DcCmd*>(msg));
            }
            return;
        }
        const char* found[] = {"Doe^Jane", "Doe^John"};
        for (int i = 0; i < 2; i++) {
            answers[i]->add(new DcElem(static_cast<int>(T_0000_0900_status), static_cast<unsigned short>(0xFF00)));
            answers[i]->add(new DcElem(static_cast<int>(T_0008_0052_queryRetrieveLevel), "STUDY"));
            answers[i]->add(new DcElem(static_cast<int>(T_0010_0010_patientName), found[i]));
            msm.write(sop, answers[i].get());
        }
        answers[2]->add(new DcElem(static_cast<int>(T_0000_0900_status), static_cast<unsigned short>(0)));
        msm.write(sop, answers[2].get());
    };
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
    for (const std::string& file : files) {
        DcElemList set;
        ASSERT_TRUE(readDataSet(file, set)) << file;
        names.push_back(textIn(set, T_0010_0010_patientName));
    }
    EXPECT_EQ((std::vector<std::string>{"Doe^Jane", "Doe^John"}), names);
}

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <dirent.h>
#include <sys/resource.h>
#include <fstream>
#include <iterator>
#include <thread>

#include "network/DcPdu.h"
#include "network/DcPduRelease.h"
#include "tests/network/NetTestUtil.h"

namespace {

class PduProbe : public DcPdu {
public:
    PduProbe(int sock, unsigned int readTimeout = 1) : DcPdu(sock, PDU_INVALID)
    {
        DcPduInfo limits;
        limits.readTimeout = readTimeout;
        limits.writeTimeout = 1;
        setInfo(limits);
    }
    using DcPdu::readBody;
    using DcPdu::readBuf;
    unsigned int bodyLength() { return bodyLen; }
};

double secondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}

TEST(PduReadType, TakesTheTypeByteAndIgnoresTheReservedOne)
{
    SocketPair pair;
    pair.send({2, 0x7F});
    PduProbe pdu(pair.lib);
    PDU_TYPE type;
    EXPECT_EQ(0, pdu.readType(type, PDU_WAIT));
    EXPECT_EQ(PDU_ASSO_AC, type);
}

TEST(PduReadType, UnknownTypeByteIsLoggedAndAnsweredWithInvalid)
{
    for (unsigned char byte : {0, 8, 0xFF}) {
        SocketPair pair;
        pair.send({byte, 0});
        PduProbe pdu(pair.lib);
        LogCapture log;
        PDU_TYPE type = PDU_ASSO_RQ;
        EXPECT_EQ(0, pdu.readType(type, PDU_WAIT));
        EXPECT_EQ(PDU_INVALID, type);
        ASSERT_EQ(1u, log.entries.size());
        EXPECT_EQ("DcPdu::readType", log.entries[0].function);
        EXPECT_EQ(LOG_CHANNEL_2, log.entries[0].channel);
        char expected[32];
        snprintf(expected, sizeof expected, "Invalid type 0x%x", byte);
        EXPECT_EQ(expected, log.entries[0].message);
    }
}

TEST(PduReadType, NoWaitWithoutDataTimesOutAtOnce)
{
    SocketPair pair;
    PduProbe pdu(pair.lib, 30);
    PDU_TYPE type = PDU_ABORT;
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(PDU_ERR_TIMEOUT, pdu.readType(type, PDU_NO_WAIT));
    EXPECT_LT(secondsSince(start), 1.0);
    EXPECT_EQ(PDU_INVALID, type);
}

TEST(PduReadType, SilentPeerTimesOutAfterTheReadTimeout)
{
    SocketPair pair;
    PduProbe pdu(pair.lib, 1);
    PDU_TYPE type;
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(PDU_ERR_TIMEOUT, pdu.readType(type, PDU_WAIT));
    double waited = secondsSince(start);
    EXPECT_GE(waited, 0.9);
    EXPECT_LT(waited, 5.0);
}

TEST(PduReadType, UnattachedPduReadsNothing)
{
    PduProbe pdu(0);
    PDU_TYPE type;
    EXPECT_EQ(PDU_ERR_TIMEOUT, pdu.readType(type, PDU_NO_WAIT));
}

TEST(PduReadBuf, ZeroLengthLeavesTheSocketUntouched)
{
    SocketPair pair;
    pair.send({0x42});
    PduProbe pdu(pair.lib);
    unsigned char byte = 0;
    unsigned int len = 0;
    EXPECT_EQ(0, pdu.readBuf(&byte, len, PDU_NO_WAIT));
    EXPECT_EQ(0u, len);
    len = 1;
    EXPECT_EQ(0, pdu.readBuf(&byte, len, PDU_WAIT));
    EXPECT_EQ(0x42, byte);
}

TEST(PduReadBuf, CollectsBytesThatArriveInPieces)
{
    SocketPair pair;
    PduProbe pdu(pair.lib, 5);
    std::thread sender([&] {
        for (unsigned char b = 1; b <= 3; b++) {
            pair.send({b, b});
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    });
    unsigned char buf[6];
    unsigned int len = sizeof buf;
    EXPECT_EQ(0, pdu.readBuf(buf, len, PDU_WAIT));
    sender.join();
    EXPECT_EQ(6u, len);
    EXPECT_EQ((Bytes{1, 1, 2, 2, 3, 3}), Bytes(buf, buf + 6));
}

TEST(PduReadBuf, PeerClosingMidwayReportsWhatArrived)
{
    SocketPair pair;
    pair.send({1, 2, 3});
    pair.closePeer();
    PduProbe pdu(pair.lib);
    unsigned char buf[10];
    unsigned int len = sizeof buf;
    EXPECT_EQ(PDU_ERR_CONNECTION, pdu.readBuf(buf, len, PDU_WAIT));
    EXPECT_EQ(3u, len);
}

TEST(PduReadBuf, SilentPeerMidwayTimesOutWithTheCountSoFar)
{
    SocketPair pair;
    pair.send({1, 2, 3, 4});
    PduProbe pdu(pair.lib, 1);
    unsigned char buf[10];
    unsigned int len = sizeof buf;
    EXPECT_EQ(PDU_ERR_TIMEOUT, pdu.readBuf(buf, len, PDU_WAIT));
    EXPECT_EQ(4u, len);
}

TEST(PduReadBody, EmptyBodyGivesABufferAndLengthSix)
{
    SocketPair pair;
    pair.send({0, 0, 0, 0});
    PduProbe pdu(pair.lib);
    unsigned char* body = pdu.readBody(PDU_WAIT);
    ASSERT_NE(nullptr, body);
    EXPECT_EQ(6, pdu.getLength());
    EXPECT_EQ(0u, pdu.bodyLength());
    free(body);
}

TEST(PduReadBody, ReadsTheBodyThatTheLengthAnnounces)
{
    SocketPair pair;
    pair.send({0, 0, 0, 3, 'a', 'b', 'c', 'd'});
    PduProbe pdu(pair.lib);
    unsigned char* body = pdu.readBody(PDU_WAIT);
    ASSERT_NE(nullptr, body);
    EXPECT_EQ(9, pdu.getLength());
    EXPECT_EQ((Bytes{'a', 'b', 'c'}), Bytes(body, body + 3));
    free(body);
    unsigned char next;
    unsigned int len = 1;
    EXPECT_EQ(0, pdu.readBuf(&next, len, PDU_NO_WAIT));
    EXPECT_EQ('d', next);
}

TEST(PduReadBody, LengthMemberKeepsOnlySixteenBits)
{
    const unsigned int bodySize = 65530 + 100;
    SocketPair pair;
    ByteWriter data;
    data.u32(bodySize).fill(bodySize, 0x5A);
    std::thread sender([&] { pair.send(data.bytes); });
    PduProbe pdu(pair.lib, 5);
    unsigned char* body = pdu.readBody(PDU_WAIT);
    sender.join();
    ASSERT_NE(nullptr, body);
    EXPECT_EQ(bodySize, pdu.bodyLength());
    EXPECT_EQ(static_cast<uint16_t>(6 + bodySize), pdu.getLength());
    EXPECT_EQ(0x5A, body[bodySize - 1]);
    free(body);
}

// A hostile length costs no allocation beyond what arrives: with the address
// space capped far below 4 Gbyte the bytes that did arrive are still read
// (an allocation of the announced size would fail before reading them).
TEST(PduReadBody, HugeLengthWithFewBytesIsReadWithoutAllocatingIt)
{
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the address space cannot be capped under the address sanitizer";
#else
    long pages = 0;
    FILE* statm = fopen("/proc/self/statm", "r");
    ASSERT_NE(nullptr, statm);
    ASSERT_EQ(1, fscanf(statm, "%ld", &pages));
    fclose(statm);
    struct rlimit saved;
    getrlimit(RLIMIT_AS, &saved);
    struct rlimit capped = saved;
    capped.rlim_cur = rlim_t(pages) * sysconf(_SC_PAGESIZE) + (512u << 20);

    SocketPair pair;
    ByteWriter data;
    data.u32(0xFFFFFFFF).fill(200000, 1);
    std::thread sender([&] {
        pair.send(data.bytes);
        pair.closePeer();
    });
    PduProbe pdu(pair.lib, 5);
    ASSERT_EQ(0, setrlimit(RLIMIT_AS, &capped));
    unsigned char* body = pdu.readBody(PDU_WAIT);
    setrlimit(RLIMIT_AS, &saved);
    sender.join();
    EXPECT_EQ(nullptr, body);
    unsigned char rest;
    EXPECT_EQ(0, recv(pair.lib, &rest, 1, MSG_DONTWAIT)) << "bytes left unread";
#endif
}

TEST(PduReadBody, PeerClosingInsideTheBodyGivesNull)
{
    SocketPair pair;
    pair.send({0, 0, 0, 100, 1, 2, 3});
    pair.closePeer();
    PduProbe pdu(pair.lib);
    EXPECT_EQ(nullptr, pdu.readBody(PDU_WAIT));
}

TEST(PduReadBody, TruncatedLengthFieldGivesNull)
{
    SocketPair pair;
    pair.send({0, 0});
    PduProbe pdu(pair.lib, 1);
    EXPECT_EQ(nullptr, pdu.readBody(PDU_WAIT));
}

TEST(PduAttach, KeepsTheFirstSocket)
{
    DcPdu pdu;
    EXPECT_EQ(0, pdu.getSockConv());
    EXPECT_EQ(0, pdu.attach(7));
    EXPECT_EQ(0, pdu.attach(9));
    EXPECT_EQ(7, pdu.getSockConv());
    DcPdu bound(5, PDU_ABORT);
    bound.attach(6);
    EXPECT_EQ(5, bound.getSockConv());
    EXPECT_EQ(PDU_ABORT, bound.getType());
}

TEST(PduWrite, SendToAClosedPeerFails)
{
    SocketPair pair;
    pair.closePeer();
    DcPduReleaseRq pdu(pair.lib);
    EXPECT_EQ(PDU_ERR_CONNECTION, pdu.write());
}

// A failed receive keeps the process-wide lock with the reading thread;
// others go on after their timed wait, so nothing blocks for good.
TEST(PduMutex, FailedReceiveKeepsTheLockButOthersStillProceed)
{
    SocketPair failing;
    failing.closePeer();
    PduProbe reader(failing.lib);
    unsigned char byte;
    unsigned int len = 1;
    ASSERT_EQ(PDU_ERR_CONNECTION, reader.readBuf(&byte, len, PDU_WAIT));

    bool lockFree = true;
    int writeStatus = -1;
    SocketPair other;
    std::thread worker([&] {
        lockFree = DcPduMutex.try_lock();
        if (lockFree)
            DcPduMutex.unlock();
        DcPduReleaseRp pdu(other.lib);
        writeStatus = pdu.write();
    });
    worker.join();
    EXPECT_FALSE(lockFree);
    EXPECT_EQ(0, writeStatus);
    EXPECT_EQ(10u, other.received().size());
}

class PduDump : public ::testing::Test {
protected:
    void SetUp() override
    {
        char pattern[] = "/tmp/brenik3_dumpXXXXXX";
        ASSERT_NE(nullptr, mkdtemp(pattern));
        dir = pattern;
        ASSERT_NE(nullptr, getcwd(savedCwd, sizeof savedCwd));
        ASSERT_EQ(0, chdir(dir.c_str()));
    }
    void TearDown() override
    {
        PduDumpFlag = 0;
        EXPECT_EQ(0, chdir(savedCwd));
        std::string command = "rm -rf " + dir;
        EXPECT_EQ(0, system(command.c_str()));
    }
    std::vector<std::string> files()
    {
        std::vector<std::string> names;
        DIR* d = opendir(dir.c_str());
        while (struct dirent* entry = readdir(d)) {
            if (entry->d_name[0] != '.')
                names.push_back(entry->d_name);
        }
        closedir(d);
        std::sort(names.begin(), names.end());
        return names;
    }
    Bytes contents(const std::string& name)
    {
        std::ifstream in(dir + "/" + name, std::ios::binary);
        return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

    std::string dir;
    char savedCwd[4096];
};

TEST_F(PduDump, ReadAndWrittenPdusShareOneNumberSequence)
{
    PduDumpFlag = PDU_DUMP_READ | PDU_DUMP_WRITE;
    SocketPair pair;
    DcPduReleaseRq request(pair.lib);
    ASSERT_EQ(0, request.write());
    Bytes sent = pair.received();

    const Bytes arriving = {6, 0, 0, 0, 0, 4, 0, 0, 0, 0};
    pair.send(arriving);
    PduProbe reader(pair.lib);
    PDU_TYPE type;
    ASSERT_EQ(0, reader.readType(type, PDU_WAIT));
    unsigned char* body = reader.readBody(PDU_WAIT);
    free(body);

    std::vector<std::string> names = files();
    ASSERT_EQ(2u, names.size());
    int first = atoi(names[0].c_str() + 5);
    char expectWrite[32], expectRead[32];
    snprintf(expectWrite, sizeof expectWrite, "_pdu.%04d.rr.wr", first);
    snprintf(expectRead, sizeof expectRead, "_pdu.%04d.rp.rd", first + 1);
    EXPECT_EQ(expectWrite, names[0]);
    EXPECT_EQ(expectRead, names[1]);
    EXPECT_EQ(sent, contents(names[0]));
    EXPECT_EQ(arriving, contents(names[1]));
}

TEST_F(PduDump, UnknownTypeIsDumpedUnderXx)
{
    PduDumpFlag = PDU_DUMP_READ;
    SocketPair pair;
    pair.send({9, 0});
    PduProbe reader(pair.lib);
    LogCapture log;
    PDU_TYPE type;
    ASSERT_EQ(0, reader.readType(type, PDU_WAIT));
    std::vector<std::string> names = files();
    ASSERT_EQ(1u, names.size());
    EXPECT_EQ(".xx.rd", names[0].substr(9));
    EXPECT_EQ((Bytes{9, 0}), contents(names[0]));
}

TEST_F(PduDump, NothingIsDumpedWhenTheFlagIsOff)
{
    SocketPair pair;
    DcPduReleaseRp response(pair.lib);
    ASSERT_EQ(0, response.write());
    pair.send({5, 0});
    PduProbe reader(pair.lib);
    PDU_TYPE type;
    ASSERT_EQ(0, reader.readType(type, PDU_WAIT));
    EXPECT_TRUE(files().empty());
}

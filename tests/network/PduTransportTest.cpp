#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "network/DcPdu.h"
#include "network/DcPduAssoAcRq.h"
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

TEST(PduReadType, TakesTheTypeByteAndAnswersUnknownOnesWithInvalid)
{
    struct {
        unsigned char byte;
        PDU_TYPE type;
    } cases[] = {{2, PDU_ASSO_AC}, {0, PDU_INVALID}, {8, PDU_INVALID}, {0xFF, PDU_INVALID}};
    for (const auto& c : cases) {
        SCOPED_TRACE(int(c.byte));
        SocketPair pair;
        pair.send({c.byte, 0x7F});
        PduProbe pdu(pair.lib);
        LogCapture log;
        PDU_TYPE type = PDU_ASSO_RQ;
        EXPECT_EQ(0, pdu.readType(type, PDU_WAIT));
        EXPECT_EQ(c.type, type);
        if (c.type != PDU_INVALID) {
            EXPECT_TRUE(log.entries.empty());
            continue;
        }
        char expected[32];
        snprintf(expected, sizeof expected, "Invalid type 0x%x", c.byte);
        const LogCapture::Entry* entry = log.find(expected);
        ASSERT_NE(nullptr, entry);
        EXPECT_EQ(1u, log.entries.size());
        EXPECT_EQ("DcPdu::readType", entry->function);
        EXPECT_EQ(LOG_CHANNEL_2, entry->channel);
    }
}

TEST(PduReadType, NoWaitFailsAtOnceAndSilentPeerTimesOutAfterTheReadTimeout)
{
    SocketPair pair;
    PDU_TYPE type = PDU_ABORT;
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(PDU_ERR_TIMEOUT, PduProbe(pair.lib, 30).readType(type, PDU_NO_WAIT));
    EXPECT_LT(secondsSince(start), 1.0);
    EXPECT_EQ(PDU_INVALID, type);
    EXPECT_EQ(PDU_ERR_TIMEOUT, PduProbe(0).readType(type, PDU_NO_WAIT));
    start = std::chrono::steady_clock::now();
    EXPECT_EQ(PDU_ERR_TIMEOUT, PduProbe(pair.lib, 1).readType(type, PDU_WAIT));
    EXPECT_GE(secondsSince(start), 0.9);
    EXPECT_LT(secondsSince(start), 5.0);
}

TEST(PduReadBuf, ZeroLengthLeavesTheSocketUntouchedAndPiecesAreCollected)
{
    SocketPair pair;
    PduProbe pdu(pair.lib, 5);
    unsigned char buf[6];
    unsigned int len = 0;
    pair.send({0x42});
    EXPECT_EQ(0, pdu.readBuf(buf, len, PDU_NO_WAIT));
    EXPECT_EQ(0u, len);
    std::thread sender([&] {
        for (unsigned char b = 1; b <= 3; b++) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            pair.send({b, b});
        }
    });
    len = sizeof buf;
    EXPECT_EQ(0, pdu.readBuf(buf, len, PDU_WAIT));
    sender.join();
    EXPECT_EQ(6u, len);
    EXPECT_EQ((Bytes{0x42, 1, 1, 2, 2, 3}), Bytes(buf, buf + 6));
}

// Either way the count tells what did arrive.
TEST(PduReadBuf, PeerClosingOrFallingSilentMidwayFails)
{
    unsigned char buf[10];
    for (bool closes : {true, false}) {
        SocketPair pair;
        pair.send({1, 2, 3});
        if (closes)
            pair.closePeer();
        PduProbe pdu(pair.lib, 1);
        unsigned int len = sizeof buf;
        EXPECT_EQ(closes ? PDU_ERR_CONNECTION : PDU_ERR_TIMEOUT, pdu.readBuf(buf, len, PDU_WAIT));
        EXPECT_EQ(3u, len);
    }
}

TEST(PduReadBody, ReadsTheBodyThatTheLengthAnnounces)
{
    SocketPair pair;
    pair.send({0, 0, 0, 0, 0, 0, 0, 3, 'a', 'b', 'c', 'd'});
    PduProbe pdu(pair.lib);
    unsigned char* empty = pdu.readBody(PDU_WAIT);
    ASSERT_NE(nullptr, empty);
    EXPECT_EQ(6, pdu.getLength());
    EXPECT_EQ(0u, pdu.bodyLength());
    free(empty);
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
    Bytes data = ByteWriter().u32(bodySize).fill(bodySize, 0x5A).bytes;
    std::thread sender([&] { pair.send(data); });
    PduProbe pdu(pair.lib, 5);
    unsigned char* body = pdu.readBody(PDU_WAIT);
    sender.join();
    ASSERT_NE(nullptr, body);
    EXPECT_EQ(bodySize, pdu.bodyLength());
    EXPECT_EQ(static_cast<uint16_t>(6 + bodySize), pdu.getLength());
    EXPECT_EQ(0x5A, body[bodySize - 1]);
    free(body);
}

// A hostile length costs no allocation beyond what arrives: the bytes that
// did arrive are still read.
TEST(PduReadBody, HugeLengthWithFewBytesIsReadWithoutAllocatingIt)
{
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the address space cannot be capped under the address sanitizer";
#else
    SocketPair pair;
    Bytes data = ByteWriter().u32(0xFFFFFFFF).fill(200000, 1).bytes;
    std::thread sender([&] {
        pair.send(data);
        pair.closePeer();
    });
    PduProbe pdu(pair.lib, 5);
    unsigned char* body = &data[0];
    withCappedAddressSpace([&] { body = pdu.readBody(PDU_WAIT); });
    sender.join();
    EXPECT_EQ(nullptr, body);
    unsigned char rest;
    EXPECT_EQ(0, recv(pair.lib, &rest, 1, MSG_DONTWAIT)) << "bytes left unread";
#endif
}

TEST(PduReadBody, TruncatedLengthOrBodyGivesNull)
{
    SocketPair shortLength;
    shortLength.send({0, 0});
    EXPECT_EQ(nullptr, PduProbe(shortLength.lib, 1).readBody(PDU_WAIT));
    SocketPair shortBody;
    shortBody.send({0, 0, 0, 100, 1, 2, 3});
    shortBody.closePeer();
    EXPECT_EQ(nullptr, PduProbe(shortBody.lib).readBody(PDU_WAIT));
}

// A failed receive keeps the process-wide lock, yet other connections still
// send: they wait only as many milliseconds as their time-out has seconds.
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
        writeStatus = DcPduReleaseRp(other.lib).write();
    });
    worker.join();
    EXPECT_FALSE(lockFree);
    EXPECT_EQ(0, writeStatus);
    EXPECT_EQ(10u, other.received().size());
}

// A PDU larger than the socket takes at once goes out whole while the peer
// reads; a peer that stops reading makes the write fail instead of letting
// the part that fitted count as sent.
TEST(PduWrite, SendsTheWholePduOrFails)
{
    for (bool peerReads : {true, false}) {
        SCOPED_TRACE(peerReads);
        SocketPair pair;
        int small = 4096;
        setsockopt(pair.lib, SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
        struct timeval sendTimeout = {1, 0};
        setsockopt(pair.lib, SOL_SOCKET, SO_SNDTIMEO, &sendTimeout, sizeof sendTimeout);
        DcPduAssoRq rq(pair.lib);
        DcPduInfo limits;
        limits.writeTimeout = 1;
        rq.setInfo(limits);
        DcPduInfoAcRq info;
        strcpy(info.calledAeTitle, "CALLED");
        strcpy(info.callingAeTitle, "CALLING");
        strcpy(info.appCtxName, "1.2.840.10008.3.1.1.1");
        info.maxPduLen = 16384;
        rq.setInfo(info);
        for (unsigned int id = 1; id < 240; id += 2) {
            DcPduPresCtxItem item;
            item.presCtxId = id;
            item.abstractSyntax = UID_CT_IMAGE_STORAGE;
            for (int i = 0; i < 8; i++)
                item.xferSyn[i] = static_cast<DICT_UID>(UID_JPEG_BASELINE + i);
            ASSERT_EQ(0, rq.presCtxItemAdd(item));
        }
        Bytes got;
        std::thread reader;
        if (peerReads)
            reader = std::thread([&] { got = SocketPair::drain(pair.peer, 2000); });
        int status = rq.write();
        if (!peerReads) {
            EXPECT_EQ(PDU_ERR_CONNECTION, status);
            continue;
        }
        pair.closeLib();
        reader.join();
        EXPECT_EQ(0, status);
        ASSERT_GT(rq.getLength(), 20000);
        ASSERT_EQ(rq.getLength(), got.size());
        EXPECT_EQ(rq.getLength() - 6u, (got[2] << 24u) | (got[3] << 16u) | (got[4] << 8u) | got[5]);
    }
}

namespace fs = std::filesystem;

class PduDump : public ::testing::Test {
protected:
    void SetUp() override
    {
        char pattern[] = "/tmp/brenik3_dumpXXXXXX";
        ASSERT_NE(nullptr, mkdtemp(pattern));
        dir = pattern;
        saved = fs::current_path();
        fs::current_path(dir);
    }
    void TearDown() override
    {
        PduDumpFlag = 0;
        fs::current_path(saved);
        fs::remove_all(dir);
    }
    std::vector<std::string> files()
    {
        std::vector<std::string> names;
        for (const fs::directory_entry& entry : fs::directory_iterator(dir))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }
    Bytes contents(const std::string& name)
    {
        std::ifstream in(dir / name, std::ios::binary);
        return Bytes(std::istreambuf_iterator<char>(in), {});
    }

    fs::path dir;
    fs::path saved;
};

// Nothing is dumped without the flag; with it, read and written PDUs share
// one number sequence and an unknown type is dumped under "xx".
TEST_F(PduDump, ReadAndWrittenPdusShareOneNumberSequence)
{
    SocketPair pair;
    PduProbe reader(pair.lib);
    LogCapture log;
    PDU_TYPE type;
    ASSERT_EQ(0, DcPduReleaseRp(pair.lib).write());
    pair.send({5, 0});
    ASSERT_EQ(0, reader.readType(type, PDU_WAIT));
    EXPECT_TRUE(files().empty());

    PduDumpFlag = PDU_DUMP_READ | PDU_DUMP_WRITE;
    pair.received();
    ASSERT_EQ(0, DcPduReleaseRq(pair.lib).write());
    Bytes sent = pair.received();
    const Bytes arriving = {6, 0, 0, 0, 0, 4, 0, 0, 0, 0};
    pair.send(arriving);
    ASSERT_EQ(0, reader.readType(type, PDU_WAIT));
    free(reader.readBody(PDU_WAIT));
    pair.send({9, 0});
    ASSERT_EQ(0, reader.readType(type, PDU_WAIT));

    std::vector<std::string> names = files();
    ASSERT_EQ(3u, names.size());
    int first = atoi(names[0].c_str() + 5);
    const char* kinds[3] = {"rr.wr", "rp.rd", "xx.rd"};
    const Bytes bytes[3] = {sent, arriving, {9, 0}};
    for (int i = 0; i < 3; i++) {
        char expected[32];
        snprintf(expected, sizeof expected, "_pdu.%04d.%s", first + i, kinds[i]);
        EXPECT_EQ(expected, names[i]);
        EXPECT_EQ(bytes[i], contents(names[i]));
    }
}

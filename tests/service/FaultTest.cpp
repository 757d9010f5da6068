#include "tests/service/ServiceTestUtil.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>

#include "network/DcPduAssoAcRq.h"

namespace {

// A peer that speaks the protocol by hand on a plain TCP socket.
class RawPeer {
public:
    explicit RawPeer(int port)
    {
        sock = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr = {};
        addr.sin_family = AF_INET;
        addr.sin_port = htons(static_cast<uint16_t>(port));
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connected = ::connect(sock, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0;
    }
    ~RawPeer() { close(sock); }

    // Proposes CT Image Storage on context 1 and returns the answer's type.
    int associate()
    {
        DcPduAssoRq rq(sock);
        DcPduInfoAcRq info;
        strcpy(info.calledAeTitle, "STORESCP");
        strcpy(info.callingAeTitle, "RAWPEER");
        strcpy(info.appCtxName, "1.2.840.10008.3.1.1.1");
        info.maxPduLen = 16384;
        rq.setInfo(info);
        DcPduPresCtxItem item;
        item.presCtxId = 1;
        item.abstractSyntax = UID_CT_IMAGE_STORAGE;
        item.xferSyn[0] = UID_LITTLE_ENDIAN_IMPLICIT;
        rq.presCtxItemAdd(item);
        rq.write();
        Bytes answer = readPdu();
        return answer.empty() ? -1 : answer[0];
    }
    bool send(const Bytes& bytes)
    {
        return ::send(sock, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
    }
    // One whole PDU, or nothing within the wait.
    Bytes readPdu(int millis = 3000)
    {
        Bytes head = readExactly(6, millis);
        if (head.size() < 6)
            return {};
        unsigned int len = (head[2] << 24) | (head[3] << 16) | (head[4] << 8) | head[5];
        Bytes body = readExactly(len, millis);
        head.insert(head.end(), body.begin(), body.end());
        return head;
    }
    // True when the other side closes within the wait.
    bool closedWithin(int millis)
    {
        auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(millis);
        unsigned char buf[4096];
        while (std::chrono::steady_clock::now() < until) {
            struct pollfd pfd = {sock, POLLIN, 0};
            if (poll(&pfd, 1, 50) <= 0)
                continue;
            ssize_t n = recv(sock, buf, sizeof buf, 0);
            if (n <= 0)
                return true;
        }
        return false;
    }

    int sock;
    bool connected;

private:
    Bytes readExactly(size_t len, int millis)
    {
        Bytes out;
        unsigned char buf[4096];
        while (out.size() < len) {
            struct pollfd pfd = {sock, POLLIN, 0};
            if (poll(&pfd, 1, millis) <= 0)
                break;
            ssize_t n = recv(sock, buf, std::min(sizeof buf, len - out.size()), 0);
            if (n <= 0)
                break;
            out.insert(out.end(), buf, buf + n);
        }
        return out;
    }
};

// A P-DATA-TF with one PDV.
Bytes pdata(unsigned int presCtxId, unsigned int header, const Bytes& fragment, unsigned int declared = 0)
{
    ByteWriter pdv;
    pdv.u32(static_cast<unsigned int>(fragment.size()) + 2).u8(presCtxId).u8(header).raw(fragment);
    Bytes pdu = ByteWriter::pdu(PDU_DATA_TF, pdv.bytes);
    if (declared != 0) {
        pdu[2] = static_cast<unsigned char>(declared >> 24);
        pdu[3] = static_cast<unsigned char>(declared >> 16);
        pdu[4] = static_cast<unsigned char>(declared >> 8);
        pdu[5] = static_cast<unsigned char>(declared);
    }
    return pdu;
}

// An Implicit VR Little Endian element.
Bytes element(unsigned int group, unsigned int element, const Bytes& value)
{
    Bytes out = {static_cast<unsigned char>(group), static_cast<unsigned char>(group >> 8),
                 static_cast<unsigned char>(element), static_cast<unsigned char>(element >> 8)};
    unsigned int len = static_cast<unsigned int>(value.size());
    for (int i = 0; i < 4; i++)
        out.push_back(static_cast<unsigned char>(len >> (8 * i)));
    out.insert(out.end(), value.begin(), value.end());
    return out;
}

class Faults : public ListenTableTest {
protected:
    void SetUp() override
    {
        ListenTableTest::SetUp();
        fdsBefore = openFdCount();
    }
    // Every socket and file of the test is gone once its objects are.
    void expectNoLeak()
    {
        clearListenTable();
        EXPECT_EQ(fdsBefore, openFdCount());
    }
    int fdsBefore = 0;
};

// The SCP serves a fresh association after the fault.
void expectNextAssociation(ScpThread& scp)
{
    Scu scu(scp.port);
    ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
    scu.msm.releaseAssociation();
    EXPECT_EQ(MSM_READ_RELEASE_RQ, scu.read(nullptr));
}

}

TEST_F(Faults, SilentPeerIsClosedByArtim)
{
    {
        ScpThread scp;
        scp.scp.setArtimTimeout(1);
        scp.start();
        RawPeer peer(scp.port);
        ASSERT_TRUE(peer.connected);
        auto start = std::chrono::steady_clock::now();
        EXPECT_TRUE(peer.closedWithin(4000));
        auto waited = std::chrono::steady_clock::now() - start;
        EXPECT_LT(waited, std::chrono::milliseconds(3000));
        EXPECT_TRUE(scp.waitFor(MSM_READ_NO_CONNECTION));
        expectNextAssociation(scp);
    }
    expectNoLeak();
}

TEST_F(Faults, PeerThatNeverClosesAfterReleaseIsClosedByArtim)
{
    {
        ScpThread scp;
        scp.scp.setArtimTimeout(1);
        scp.start();
        RawPeer peer(scp.port);
        ASSERT_EQ(PDU_ASSO_AC, peer.associate());
        ASSERT_TRUE(peer.send(ByteWriter::pdu(PDU_RELEASE_RQ, {0, 0, 0, 0})));
        Bytes rp = peer.readPdu();
        ASSERT_FALSE(rp.empty());
        EXPECT_EQ(PDU_RELEASE_RP, rp[0]);
        EXPECT_TRUE(peer.closedWithin(4000));
        EXPECT_TRUE(scp.waitFor(MSM_READ_NO_CONNECTION));
        expectNextAssociation(scp);
    }
    expectNoLeak();
}

TEST_F(Faults, UnknownPduTypeAbortsTheAssociation)
{
    {
        ScpThread scp;
        scp.start();
        LogCapture log;
        RawPeer peer(scp.port);
        ASSERT_EQ(PDU_ASSO_AC, peer.associate());
        ASSERT_TRUE(peer.send(ByteWriter::pdu(9, {1, 2, 3, 4})));
        Bytes abort = peer.readPdu();
        ASSERT_EQ(10u, abort.size());
        EXPECT_EQ((Bytes{7, 0, 0, 0, 0, 4, 0, 0, 2, 2}), abort);
        EXPECT_TRUE(scp.waitFor(MSM_READ_ABORT));
        EXPECT_TRUE(log.has("Invalid type 0x9"));
        close(peer.sock);
        peer.sock = -1;
        expectNextAssociation(scp);
    }
    expectNoLeak();
}

TEST_F(Faults, DataOnAContextThatWasNotAcceptedIsRefused)
{
    {
        ScpThread scp;
        scp.start();
        LogCapture log;
        RawPeer peer(scp.port);
        ASSERT_EQ(PDU_ASSO_AC, peer.associate());
        ASSERT_TRUE(peer.send(pdata(3, 3, element(0, 0x0100, {0x30, 0}))));
        EXPECT_TRUE(scp.waitFor(MSM_READ_PROTOCOL_ERROR));
        EXPECT_TRUE(log.has("Invalid Presentation Context ID - 3, association will be closed"));
        EXPECT_TRUE(log.has("Error code 0x4203"));
        close(peer.sock);
        peer.sock = -1;
        expectNextAssociation(scp);
    }
    expectNoLeak();
}

TEST_F(Faults, MessageCutOffByAnotherPduIsOutOfSequence)
{
    {
        ScpThread scp;
        scp.start();
        LogCapture log;
        RawPeer peer(scp.port);
        ASSERT_EQ(PDU_ASSO_AC, peer.associate());
        ASSERT_TRUE(peer.send(pdata(1, 1, element(0, 0x0100, {0x01, 0}))));
        ASSERT_TRUE(peer.send(ByteWriter::pdu(PDU_RELEASE_RQ, {0, 0, 0, 0})));
        EXPECT_TRUE(scp.waitFor(MSM_READ_PROTOCOL_ERROR));
        EXPECT_TRUE(log.has(
            "Out-of-sequence PDU 0x05 received, expecting P-DATA-TF PDU, association will be closed"));
        close(peer.sock);
        peer.sock = -1;
        expectNextAssociation(scp);
    }
    expectNoLeak();
}

TEST_F(Faults, PduCutOffByAClosedConnection)
{
    {
        ScpThread scp;
        scp.start();
        LogCapture log;
        RawPeer peer(scp.port);
        ASSERT_EQ(PDU_ASSO_AC, peer.associate());
        Bytes cut = pdata(1, 2, element(0x0010, 0x0010, Bytes(2000, 'A')), 40000);
        ASSERT_TRUE(peer.send(cut));
        close(peer.sock);
        peer.sock = -1;
        EXPECT_TRUE(scp.waitFor(MSM_READ_CONNECTION_LOST));
        expectNextAssociation(scp);
    }
    expectNoLeak();
}

TEST_F(Faults, ConnectionDroppedBetweenFragmentsOfAMessage)
{
    {
        ScpThread scp;
        scp.start();
        RawPeer peer(scp.port);
        ASSERT_EQ(PDU_ASSO_AC, peer.associate());
        ASSERT_TRUE(peer.send(pdata(1, 0, element(0x0010, 0x0010, Bytes(2000, 'A')))));
        close(peer.sock);
        peer.sock = -1;
        EXPECT_TRUE(scp.waitFor(MSM_READ_CONNECTION_LOST));
        expectNextAssociation(scp);
    }
    expectNoLeak();
}

TEST_F(Faults, ScuSeesTheScpVanishMidTransfer)
{
    {
        int port = freePort();
        auto scp = std::make_unique<DcMsm>("STORESCP", MSM_ROLE_SCP, port);
        std::thread acceptor([&] {
            DcMsmScpInfo info;
            DICT_UID sops[] = {UID_CT_IMAGE_STORAGE, UID_NONE};
            info.sopList = sops;
            info.timeouts = quickTimeouts();
            scp->connect(info);
            DcMsg* msg = nullptr;
            scp->read(nullptr, &msg, MSM_READ_BLOCKING, MSM_CONNECT_BLOCKING);
            scp->closeAssociation();
        });
        Scu scu(port);
        ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
        acceptor.join();
        DcCmdCEchoRq rq;
        rq.add(new DcElem(static_cast<int>(T_0000_0002_affectedSopClassUid), UID_VERIFICATION));
        scu.msm.write(UID_CT_IMAGE_STORAGE, &rq);
        EXPECT_EQ(MSM_READ_CONNECTION_LOST, scu.read(nullptr));
        EXPECT_EQ(MSM_READ_NO_CONNECTION, scu.read(nullptr));
        scp.reset();
    }
    expectNoLeak();
}

#include "tests/service/ServiceTestUtil.h"

namespace {

// A P-DATA-TF with one PDV whose PDU may announce more than it holds.
Bytes pdata(unsigned int presCtxId, unsigned int header, const Bytes& fragment, unsigned int declared = 0)
{
    Bytes pdu = tfPdu(presCtxId, header, fragment);
    if (declared != 0)
        std::copy_n(ByteWriter().u32(declared).bytes.begin(), 4, pdu.begin() + 2);
    return pdu;
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

// A peer misbehaves after an accepted association; the SCP reports the
// outcome and message, answers as it must, and serves the next caller with
// no socket or file left open.
TEST_F(Faults, MisbehavingPeerEndsItsAssociationOnly)
{
    const Bytes releaseRq = ByteWriter::pdu(PDU_RELEASE_RQ, {0, 0, 0, 0});
    const Bytes bigName = implicitElem(0x0010, 0x0010, Bytes(2000, 'A'));
    struct Case {
        const char* name;
        bool associate;
        std::vector<Bytes> send;
        bool hangUp;
        int outcome;
        Bytes answer;
        std::vector<std::string> messages;
    } cases[] = {
        {"silent caller is closed by ARTIM", false, {}, false, MSM_READ_NO_CONNECTION, {}, {}},
        {"caller that never closes after release is closed by ARTIM", true, {releaseRq}, false,
         MSM_READ_NO_CONNECTION, {6, 0, 0, 0, 0, 4, 0, 0, 0, 0}, {}},
        {"unknown PDU type", true, {ByteWriter::pdu(9, {1, 2, 3, 4})}, false, MSM_READ_ABORT,
         {7, 0, 0, 0, 0, 4, 0, 0, 2, 2}, {"Invalid type 0x9"}},
        {"data on a context that was not accepted", true, {pdata(3, 3, implicitElem(0, 0x0100, {0x30, 0}))}, false,
         MSM_READ_PROTOCOL_ERROR, {},
         {"Invalid Presentation Context ID - 3, association will be closed", "Error code 0x4203"}},
        {"message cut off by another PDU", true, {pdata(1, 1, implicitElem(0, 0x0100, {0x01, 0})), releaseRq}, false,
         MSM_READ_PROTOCOL_ERROR, {},
         {"Out-of-sequence PDU 0x05 received, expecting P-DATA-TF PDU, association will be closed"}},
        {"PDU cut off by a closed connection", true, {pdata(1, 2, bigName, 40000)}, true, MSM_READ_CONNECTION_LOST,
         {}, {}},
        {"connection dropped between fragments", true, {pdata(1, 0, bigName)}, true, MSM_READ_CONNECTION_LOST, {},
         {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        {
            ScpThread scp;
            scp.scp.setArtimTimeout(1);
            scp.start();
            LogCapture log;
            RawPeer peer(scp.port);
            ASSERT_GE(peer.sock, 0);
            if (c.associate) {
                ASSERT_EQ(PDU_ASSO_AC, peer.associate().at(0));
            }
            for (const Bytes& pdu : c.send)
                ASSERT_TRUE(peer.send(pdu));
            if (c.hangUp)
                peer.hangUp();
            if (!c.answer.empty()) {
                EXPECT_EQ(c.answer, peer.readPdu());
            }
            if (c.outcome == MSM_READ_NO_CONNECTION) {
                auto start = std::chrono::steady_clock::now();
                EXPECT_TRUE(peer.closedWithin(4000));
                EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(3000));
            }
            EXPECT_TRUE(scp.waitFor(c.outcome));
            for (const std::string& message : c.messages)
                EXPECT_TRUE(log.has(message)) << message;
            peer.hangUp();
            expectNextAssociation(scp);
        }
        expectNoLeak();
    }
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
        std::unique_ptr<DcCmdCEchoRq> rq(echoRequest());
        scu.msm.write(UID_CT_IMAGE_STORAGE, rq.get());
        EXPECT_EQ(MSM_READ_CONNECTION_LOST, scu.read(nullptr));
        EXPECT_EQ(MSM_READ_NO_CONNECTION, scu.read(nullptr));
        scp.reset();
    }
    expectNoLeak();
}

namespace {

// A listener that answers whatever comes first with the bytes given, then
// waits for the caller to hang up.
class FakeAcceptor {
public:
    explicit FakeAcceptor(Bytes answer) : port(freePort())
    {
        listener = socket(AF_INET, SOCK_STREAM, 0);
        int on = 1;
        setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        sockaddr_in addr = loopback(port);
        bind(listener, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
        listen(listener, 1);
        worker = std::thread([this, answer] {
            struct pollfd pfd = {listener, POLLIN, 0};
            if (poll(&pfd, 1, 5000) <= 0)
                return;
            int conv = accept(listener, nullptr, nullptr);
            request = SocketPair::drain(conv, 300);
            ::send(conv, answer.data(), answer.size(), MSG_NOSIGNAL);
            callerClosed = SocketPair::drain(conv, 3000).empty();
            close(conv);
        });
    }
    ~FakeAcceptor()
    {
        if (worker.joinable())
            worker.join();
        close(listener);
    }
    void join() { worker.join(); }

    int port;
    Bytes request;
    bool callerClosed = false;

private:
    int listener;
    std::thread worker;
};

int fullDiskFirst(void* userData, DcElemList&, int& pixelDataHandle, DICT_UID)
{
    int& calls = *static_cast<int*>(userData);
    if (calls++ == 0) {
        pixelDataHandle = open("/dev/full", O_WRONLY);
        return 0;
    }
    char path[] = "/tmp/brenik3-pixels-XXXXXX";
    pixelDataHandle = mkstemp(path);
    unlink(path);
    return 0;
}

}

// A PDU of another type than the one the state expects is never read as
// that one: an A-ASSOCIATE-RQ in answer to ours ends the attempt without
// being taken for a reject or a request, and an A-ASSOCIATE-AC sent to an
// acceptor is answered with an abort, not handed on unread.
TEST_F(Faults, PduOfAnotherTypeIsNeverReadAsTheExpectedOne)
{
    {
        FakeAcceptor peer({0x01, 0x00, 0x00, 0x00, 0x00, 0x04, 0x00, 0x01, 0x02, 0x03});
        LogCapture log;
        Scu scu(peer.port);
        EXPECT_EQ(MSM_READ_PROTOCOL_ERROR, scu.connect());
        EXPECT_TRUE(log.has("PDU type 1 received where an A-ASSOCIATE-RJ PDU was expected"));
        peer.join();
        ASSERT_FALSE(peer.request.empty());
        EXPECT_EQ(PDU_ASSO_RQ, peer.request[0]);
        EXPECT_TRUE(peer.callerClosed);
        EXPECT_EQ(MSM_READ_NO_CONNECTION, scu.read(nullptr));
    }
    {
        ScpThread scp;
        scp.start();
        RawPeer peer(scp.port);
        ASSERT_TRUE(peer.send(ByteWriter::pdu(PDU_ASSO_AC, {})));
        EXPECT_EQ((Bytes{7, 0, 0, 0, 0, 4, 0, 0, 0, 0}), peer.readPdu());
        peer.hangUp();
        EXPECT_TRUE(scp.waitFor(MSM_READ_CONNECTION_LOST));
        std::vector<int> seen = scp.outcomesSeen();
        EXPECT_EQ(seen.end(), std::find(seen.begin(), seen.end(), MSM_READ_REJECTED));
        expectNextAssociation(scp);
    }
    expectNoLeak();
}

// An acceptor that takes its time before the first read still serves a
// request that arrived before ARTIM ran out.
TEST_F(Faults, RequestWaitingWhenArtimRunsOutIsServed)
{
    {
        int port = freePort();
        DcMsm scp("STORESCP", MSM_ROLE_SCP, port);
        ASSERT_EQ(0, scp.setArtimTimeout(1));
        DcMsmScpInfo info;
        DICT_UID sops[] = {UID_VERIFICATION, UID_NONE};
        info.sopList = sops;
        info.timeouts = quickTimeouts();
        int accepted = 0, released = 0;
        std::thread caller([&] {
            Scu scu(port);
            accepted = scu.connect();
            if (accepted != MSM_READ_ACCEPTED)
                return;
            scu.msm.releaseAssociation();
            released = scu.read(nullptr);
        });
        ASSERT_EQ(0, scp.connect(info));
        std::this_thread::sleep_for(std::chrono::milliseconds(1500));
        EXPECT_EQ(MSM_READ_ASSO_RQ, scp.read(nullptr, nullptr, MSM_READ_BLOCKING, MSM_CONNECT_BLOCKING));
        EXPECT_EQ(MSM_READ_RELEASE_RQ, scp.read(nullptr, nullptr, MSM_READ_BLOCKING, MSM_CONNECT_BLOCKING));
        caller.join();
        EXPECT_EQ(MSM_READ_ACCEPTED, accepted);
        EXPECT_EQ(MSM_READ_RELEASE_RQ, released);
    }
    expectNoLeak();
}

// Pixel data that cannot be written (a full disk) fail that one C-STORE
// with "out of resources"; the association goes on and the next object is
// stored whole.
TEST_F(Faults, FullDiskFailsTheStoreAndTheAssociationGoesOn)
{
    int probe = open("/dev/full", O_WRONLY);
    if (probe < 0)
        GTEST_SKIP() << "/dev/full is not available";
    close(probe);
    {
        ScpThread scp;
        int calls = 0;
        scp.scp.registerPixRecvCB(&calls, fullDiskFirst);
        std::unique_ptr<DcCmdCStoreRsp> pending;
        std::vector<Bytes> stored;
        scp.handler = [&](DcMsm& msm, DcMsg* msg, DICT_UID sop) {
            if (msg != nullptr && typeOf(msg) == MSG_C_STORE_RQ) {
                pending.reset(new DcCmdCStoreRsp());
                pending->parseRequest(static_cast<DcCmd*>(msg));
                return;
            }
            if (!pending)
                return;
            unsigned short status = 0xA700;
            if (msg != nullptr) {
                stored.push_back(pixelsOf(msg));
                status = 0;
            }
            msm.setPixelDataHandle(-1);
            pending->add(new DcElem(static_cast<int>(T_0000_0900_status), status));
            msm.write(sop, pending.get());
            pending.reset();
        };
        scp.start();
        Scu scu(scp.port);
        ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
        const Bytes sent[] = {pattern(300000, 3), pattern(70000, 5)};
        const unsigned short expected[] = {0xA700, 0};
        for (int i = 0; i < 2; i++) {
            SCOPED_TRACE(i);
            std::unique_ptr<DcCmdCStoreRq> rq(storeRequest(i == 0 ? "1.2.3.1" : "1.2.3.2", sent[i]));
            ASSERT_EQ(0, scu.msm.write(UID_CT_IMAGE_STORAGE, rq.get()));
            DcMsg* rsp = nullptr;
            ASSERT_EQ(MSM_READ_MESSAGE, scu.read(&rsp));
            std::unique_ptr<DcMsg> answer(rsp);
            EXPECT_EQ(expected[i], statusOf(rsp));
        }
        scu.msm.releaseAssociation();
        EXPECT_EQ(MSM_READ_RELEASE_RQ, scu.read(nullptr));
        ASSERT_TRUE(scp.waitFor(MSM_READ_RELEASE_RQ));
        scp.stop();
        ASSERT_EQ(1u, stored.size());
        EXPECT_TRUE(stored[0] == sent[1]);
    }
    expectNoLeak();
}

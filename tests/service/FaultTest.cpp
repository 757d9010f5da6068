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

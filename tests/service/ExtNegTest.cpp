// SOP class extended negotiation between the library's own SCU and SCP: the
// SCU's sub-items reach the SCP, which answers those of accepted contexts.
#include <algorithm>

#include "tests/service/ServiceTestUtil.h"

namespace {

class ExtNeg : public ListenTableTest {};

const char* const CT_IMAGE = "1.2.840.10008.5.1.4.1.1.2";
const char* const MR_IMAGE = "1.2.840.10008.5.1.4.1.1.4";
const char* const VERIFICATION = "1.2.840.10008.1.1";

DcPduExtNeg extNeg(const char* uid, const Bytes& info)
{
    DcPduExtNeg item;
    strcpy(item.sopClassUid, uid);
    item.infoLen = static_cast<unsigned int>(info.size());
    std::copy(info.begin(), info.end(), item.info);
    return item;
}

Bytes infoOf(const DcPduExtNeg& item)
{
    return Bytes(item.info, item.info + item.infoLen);
}

// What the SCP was asked; it answers CT with the asked bytes inverted and
// declines to answer Verification.
struct Answerer {
    static bool answer(void* self, const DcPduExtNeg& asked, DcPduExtNeg& answer)
    {
        Answerer& me = *static_cast<Answerer*>(self);
        std::lock_guard<std::mutex> hold(me.lock);
        me.asked.push_back(asked.sopClassUid);
        if (strcmp(asked.sopClassUid, VERIFICATION) == 0)
            return false;
        answer.infoLen = asked.infoLen;
        for (unsigned int i = 0; i < asked.infoLen; i++)
            answer.info[i] = asked.info[i] ? 0 : 1;
        return true;
    }
    std::vector<std::string> seen()
    {
        std::lock_guard<std::mutex> hold(lock);
        return asked;
    }
    std::mutex lock;
    std::vector<std::string> asked;
};

}

TEST_F(ExtNeg, AnswersComeOnlyForAcceptedContextsTheScpChoseToAnswer)
{
    Answerer answerer;
    ScpThread scp;
    scp.info.extNegAnswer = Answerer::answer;
    scp.info.extNegUserData = &answerer;
    scp.start();
    Scu scu(scp.port);
    scu.sopXfer.push_back(sopEntry(UID_MR_IMAGE_STORAGE, {UID_LITTLE_ENDIAN_IMPLICIT}));
    DcPduExtNeg proposed[] = {extNeg(CT_IMAGE, {1, 0, 1}), extNeg(MR_IMAGE, {1}), extNeg(VERIFICATION, {1}),
                              DcPduExtNeg()};
    scu.info.extNegList = proposed;
    ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());

    // MR is not accepted, so its sub-item is never put to the callback.
    EXPECT_EQ((std::vector<std::string>{CT_IMAGE, VERIFICATION}), answerer.seen());
    const std::vector<DcPduExtNeg>& answers = scu.msm.getExtNegReceived();
    ASSERT_EQ(1u, answers.size());
    EXPECT_STREQ(CT_IMAGE, answers[0].sopClassUid);
    EXPECT_EQ(Bytes({0, 1, 0}), infoOf(answers[0]));
    scu.msm.releaseAssociation();
    EXPECT_EQ(MSM_READ_RELEASE_RQ, scu.read(nullptr));
    ASSERT_TRUE(scp.waitFor(MSM_READ_RELEASE_RQ));
    scp.stop();
    EXPECT_EQ(3u, scp.scp.getExtNegReceived().size());
}

// Either side without the extension negotiates as if no sub-item existed.
TEST_F(ExtNeg, ASideWithoutItSeesNoneAndAnswersNone)
{
    DcPduExtNeg proposed[] = {extNeg(CT_IMAGE, {1}), DcPduExtNeg()};
    {
        ScpThread scp;
        scp.start();
        Scu scu(scp.port);
        scu.info.extNegList = proposed;
        ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
        EXPECT_TRUE(scu.msm.getExtNegReceived().empty());
        scu.msm.abortAssociation();
        ASSERT_TRUE(scp.waitFor(MSM_READ_ABORT));
        scp.stop();
        EXPECT_TRUE(scp.scp.getExtNegReceived().empty());
    }
    Answerer answerer;
    ScpThread scp;
    scp.info.extNegAnswer = Answerer::answer;
    scp.info.extNegUserData = &answerer;
    scp.start();
    Scu scu(scp.port);
    ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
    EXPECT_TRUE(answerer.seen().empty());
    EXPECT_TRUE(scu.msm.getExtNegReceived().empty());
    scu.msm.abortAssociation();
    ASSERT_TRUE(scp.waitFor(MSM_READ_ABORT));
}

// A sub-item whose UID length runs past its end refuses the request at an
// SCP that reads them, and is passed over by one that does not.
TEST_F(ExtNeg, MalformedSubItemIsRefusedOnlyWhereRead)
{
    SocketPair pair;
    DcPduAssoRq rq(pair.lib);
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
    rq.extNegAdd(extNeg(CT_IMAGE, {1}));
    ASSERT_EQ(0, rq.write());
    Bytes bad = pair.received();
    bad[bad.size() - 1 - strlen(CT_IMAGE) - 1] = 0x7F;  // low byte of the UID length

    for (bool reads : {true, false}) {
        SCOPED_TRACE(reads ? "SCP reading sub-items" : "SCP skipping them");
        Answerer answerer;
        ScpThread scp;
        if (reads) {
            scp.info.extNegAnswer = Answerer::answer;
            scp.info.extNegUserData = &answerer;
        }
        scp.start();
        RawPeer peer(scp.port);
        ASSERT_TRUE(peer.send(bad));
        Bytes answer = peer.readPdu();
        if (reads) {
            EXPECT_TRUE(answer.empty() || answer[0] == PDU_ABORT);
            EXPECT_TRUE(peer.closedWithin(3000));
            EXPECT_TRUE(scp.waitFor(MSM_READ_PROTOCOL_ERROR));
        } else {
            ASSERT_FALSE(answer.empty());
            EXPECT_EQ(PDU_ASSO_AC, answer[0]);
        }
        peer.hangUp();
        EXPECT_TRUE(answerer.seen().empty());
    }
}

// A list the request could not carry fails connect with its own status,
// not with that of the refused connection to a port nobody listens on.
TEST_F(ExtNeg, UnframableListFailsConnectBeforeConnecting)
{
    Scu scu(freePort());
    std::vector<DcPduExtNeg> tooMany(PDU_EXT_NEG_MAX + 1, extNeg(CT_IMAGE, {1}));
    tooMany.push_back(DcPduExtNeg());
    scu.info.extNegList = tooMany.data();
    EXPECT_EQ(ASSO_ERR_FULL, scu.connect());
    DcPduExtNeg tooLong[] = {extNeg(CT_IMAGE, {}), DcPduExtNeg()};
    tooLong[0].infoLen = PDU_EXT_NEG_INFO_MAX + 1;
    scu.info.extNegList = tooLong;
    scu.sopXfer.pop_back();  // the end marker connect added
    EXPECT_EQ(ASSO_ERR_DATA, scu.connect());
}

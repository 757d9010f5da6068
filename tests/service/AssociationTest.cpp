#include "tests/service/ServiceTestUtil.h"

namespace {

class Association : public ListenTableTest {};

// A C-STORE command without its data set, enough to wake the SCP's handler.
DcCmdCStoreRq* storeCommand()
{
    DcCmdCStoreRq* rq = new DcCmdCStoreRq();
    rq->add(new DcElem(static_cast<int>(T_0000_0002_affectedSopClassUid), UID_CT_IMAGE_STORAGE));
    rq->add(new DcElem(static_cast<int>(T_0000_0700_priority), static_cast<unsigned short>(0)));
    rq->add(new DcElem(static_cast<int>(T_0000_1000_affectedSopInstanceUid), "1.2.3.4"));
    rq->add(new DcElem(static_cast<int>(T_0010_0010_patientName), "Doe^John"));
    return rq;
}

}

TEST_F(Association, EchoIsAnsweredByTheLibraryAndNeverReturnedByRead)
{
    ScpThread scp;
    std::atomic<int> handed{0};
    scp.handler = [&](DcMsm&, DcMsg*, DICT_UID) { handed++; };
    scp.start();
    Scu scu(scp.port);
    ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
    for (int i = 0; i < 3; i++) {
        std::unique_ptr<DcCmdCEchoRq> rq(echoRequest());
        ASSERT_EQ(0, scu.msm.write(UID_VERIFICATION, rq.get()));
        DcMsg* rsp = nullptr;
        DICT_UID sop = UID_NONE;
        ASSERT_EQ(MSM_READ_MESSAGE, scu.read(&rsp, &sop));
        std::unique_ptr<DcMsg> owned(rsp);
        EXPECT_EQ(MSG_C_ECHO_RSP, typeOf(rsp));
        EXPECT_EQ(0, statusOf(rsp));
        EXPECT_EQ(UID_VERIFICATION, sop);
    }
    EXPECT_EQ(0, scu.msm.releaseAssociation());
    EXPECT_EQ(MSM_READ_RELEASE_RQ, scu.read(nullptr));
    ASSERT_TRUE(scp.waitFor(MSM_READ_RELEASE_RQ));
    scp.stop();
    EXPECT_EQ(0, handed.load());
    EXPECT_EQ(MSM_READ_ASSO_RQ, scp.outcomesSeen().front());
}

// Proposed Implicit first, Explicit second for CT; the acceptor lists
// Explicit first and wins. The printed record lists every context.
TEST_F(Association, NegotiatedContextsFollowTheAcceptorsPreferenceAndPrint)
{
    ScpThread scp;
    scp.start();
    Scu scu(scp.port);
    scu.sopXfer.push_back(sopEntry(UID_MR_IMAGE_STORAGE, {UID_BIG_ENDIAN_EXPLICIT}));
    ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
    DcMsmAssoInfo info;
    scu.msm.getAssoInfo(info);
    EXPECT_EQ(3, info.assoNum);
    EXPECT_EQ((std::vector<int>{1, 3, 5}), (std::vector<int>{info.presCtxId[0], info.presCtxId[1], info.presCtxId[2]}));
    EXPECT_EQ(PRES_CTX_ACCEPTANCE, info.result[0]);
    EXPECT_EQ(PRES_CTX_ACCEPTANCE, info.result[1]);
    EXPECT_EQ(UID_LITTLE_ENDIAN_EXPLICIT, info.xferSyn[1]);
    EXPECT_EQ(PRES_CTX_ABSTRACT_SYNTAX_NOT_SUPPORTED, info.result[2]);
    EXPECT_EQ(UID_NONE, info.xferSyn[2]);
    EXPECT_STREQ("STORESCU", info.callingAeTitle);
    EXPECT_STREQ("STORESCP", info.calledAeTitle);
    EXPECT_STREQ("127.0.0.1", info.ipAddress);
    EXPECT_STREQ("2.999.7321.4.3.2", info.implClassUid);
    EXPECT_STREQ("Brenik3 4.3.b", info.implVerName);
    EXPECT_EQ(65536u, info.maxPduLen);

    char* text = nullptr;
    size_t size = 0;
    FILE* out = open_memstream(&text, &size);
    scu.msm.printAssoInfo(out);
    fclose(out);
    char expected[2048];
    snprintf(expected, sizeof expected,
             "IP Address     : 127.0.0.1 \nCallingAeTitle : STORESCU\nCalledAeTitle  : STORESCP\n"
             "ImplClassUid   : 2.999.7321.4.3.2\nImplVerName    : Brenik3 4.3.b\nMaxPduLen      : 65536\n"
             "AssoNum        : 3\n\nID     SOP Class                Transfer Syntax       Result   Role\n\n"
             "01. %-24.24s %22.22s   Accept   \n03. %-24.24s %22.22s   Accept   \n"
             "05. %-24.24s %22.22s   SOP rejected\n\n",
             descOf(UID_VERIFICATION).c_str(), descOf(UID_LITTLE_ENDIAN_IMPLICIT).c_str(),
             descOf(UID_CT_IMAGE_STORAGE).c_str(), descOf(UID_LITTLE_ENDIAN_EXPLICIT).c_str(),
             descOf(UID_MR_IMAGE_STORAGE).c_str(), "None");
    EXPECT_EQ(std::string(expected), std::string(text, size));
    free(text);
    scu.msm.abortAssociation();
    ASSERT_TRUE(scp.waitFor(MSM_READ_ABORT));
}

// The SCP releases or aborts on a command; the data set that follows is
// dropped and the SCU reads the outcome. An abort from the SCU reaches the
// SCP, which takes the next caller.
TEST_F(Association, ReleaseOrAbortFromEitherSideEndsTheAssociation)
{
    for (bool release : {true, false}) {
        SCOPED_TRACE(release ? "release" : "abort");
        ScpThread scp;
        scp.handler = [release](DcMsm& msm, DcMsg*, DICT_UID) {
            release ? msm.releaseAssociation() : msm.abortAssociation();
        };
        scp.start();
        Scu scu(scp.port);
        ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
        std::unique_ptr<DcCmdCStoreRq> trigger(storeCommand());
        int written = scu.msm.write(UID_CT_IMAGE_STORAGE, trigger.get());
        EXPECT_TRUE(written == 0 || !release);
        DcMsg* msg = nullptr;
        EXPECT_EQ(release ? MSM_READ_RELEASE_RQ : MSM_READ_ABORT, scu.read(&msg));
        EXPECT_EQ(nullptr, msg);
        if (release)
            ASSERT_TRUE(scp.waitFor(MSM_READ_RELEASE_RQ));
        else
            EXPECT_EQ(TSM_STA1, scu.msm.getState());
    }
    ScpThread scp;
    scp.start();
    Scu scu(scp.port);
    ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
    EXPECT_EQ(0, scu.msm.abortAssociation());
    ASSERT_TRUE(scp.waitFor(MSM_READ_ABORT));
    EXPECT_EQ(0, scu.msm.closeAssociation());
    EXPECT_EQ(TSM_STA1, scu.msm.getState());
    Scu again(scp.port);
    EXPECT_EQ(MSM_READ_ACCEPTED, again.connect());
    again.msm.releaseAssociation();
    EXPECT_EQ(MSM_READ_RELEASE_RQ, again.read(nullptr));
}

// A wrong called title is rejected with reason 7, a calling title outside
// the accept list with reason 3; an empty list switches every check off.
// An accepted even context ID is answered like any other; our SCU learns
// of a rejection.
TEST_F(Association, AeTitleChecksRejectWithTheirReasons)
{
    char first[] = "  WORKSTATION1";
    char second[] = "MODALITY";
    char* accepted[] = {first, second, nullptr};
    char* none[] = {nullptr};
    const Bytes reason7 = {3, 0, 0, 0, 0, 4, 0, 1, 3, 7};
    const Bytes reason3 = {3, 0, 0, 0, 0, 4, 0, 1, 3, 3};
    struct Case {
        char** acceptList;
        const char* called;
        const char* calling;
        Bytes reject;
        const char* message;
    } cases[] = {
        {nullptr, "SOMEONE", "STORESCU", reason7, "Invalid Called AE Title - 'SOMEONE'"},
        {accepted, "STORESCP", "INTRUDER", reason3, "Invalid Calling AE Title - 'INTRUDER'"},
        {accepted, "STORESCP", "WORKSTATION1", {}, nullptr},
        {none, "ANYBODY", "ANYONE", {}, nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.called) + " from " + c.calling);
        ScpThread scp;
        if (c.acceptList != nullptr)
            scp.info.acceptAeTitles = c.acceptList;
        scp.start();
        LogCapture log;
        Bytes answer = RawPeer(scp.port).associate(c.called, c.calling, UID_VERIFICATION, 2);
        if (c.reject.empty()) {
            ASSERT_GT(answer.size(), 80u);
            EXPECT_EQ(PDU_ASSO_AC, answer[0]);
            // The presentation context item follows the application context item.
            size_t item = 74 + 4 + answer[76] * 256 + answer[77];
            ASSERT_LT(item + 8, answer.size());
            EXPECT_EQ((Bytes{0x21, 2, 0}), (Bytes{answer[item], answer[item + 4], answer[item + 6]}));
        } else {
            EXPECT_EQ(c.reject, answer);
        }
        scp.stop();
        EXPECT_TRUE(c.message == nullptr || log.has(c.message));
    }
    ScpThread scp("ELSEWHERE");
    scp.start();
    LogCapture log;
    Scu scu(scp.port);
    EXPECT_EQ(MSM_READ_REJECTED, scu.connect());
    EXPECT_EQ(TSM_STA1, scu.msm.getState());
    int sock = -1;
    scu.msm.getStreamHandle(sock);
    EXPECT_EQ(0, sock);
}

TEST_F(Association, RequestWithoutAcceptableContextIsAcceptedWithResults)
{
    ScpThread scp;
    scp.start();
    LogCapture log;
    Scu scu(scp.port);
    scu.sopXfer.clear();
    scu.sopXfer.push_back(sopEntry(UID_CT_IMAGE_STORAGE, {UID_BIG_ENDIAN_EXPLICIT}));
    scu.sopXfer.push_back(sopEntry(UID_MR_IMAGE_STORAGE, {UID_LITTLE_ENDIAN_IMPLICIT}));
    ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
    DcMsmAssoInfo info;
    scu.msm.getAssoInfo(info);
    EXPECT_EQ(PRES_CTX_XFER_SYNTAXES_NOT_SUPPORTED, info.result[0]);
    EXPECT_EQ(PRES_CTX_ABSTRACT_SYNTAX_NOT_SUPPORTED, info.result[1]);
    std::unique_ptr<DcCmdCEchoRq> rq(echoRequest());
    EXPECT_EQ(MSM_ERR_NOT_NEGOTIATED, scu.msm.write(rq.get()));
    EXPECT_TRUE(log.has("No valid service negotiated"));
    scu.msm.releaseAssociation();
    EXPECT_EQ(MSM_READ_RELEASE_RQ, scu.read(nullptr));
}

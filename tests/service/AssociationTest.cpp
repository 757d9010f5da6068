#include "tests/service/ServiceTestUtil.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include "dictionary/DcDict.h"
#include "network/DcPduAssoAcRq.h"

namespace {

class Association : public ListenTableTest {};

DcCmdCEchoRq* echoRequest()
{
    DcCmdCEchoRq* rq = new DcCmdCEchoRq();
    rq->add(new DcElem(static_cast<int>(T_0000_0002_affectedSopClassUid), UID_VERIFICATION));
    return rq;
}

// Sends an A-ASSOCIATE-RQ from a plain socket and returns the answer's bytes.
Bytes rawRequest(int port, const char* called, const char* calling, DICT_UID sop = UID_VERIFICATION,
                 unsigned int presCtxId = 1, std::vector<DICT_UID> syntaxes = {UID_LITTLE_ENDIAN_IMPLICIT})
{
    int sock = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr = {};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(static_cast<uint16_t>(port));
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(sock, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
        close(sock);
        return {};
    }
    DcPduAssoRq rq(sock);
    DcPduInfoAcRq info;
    strcpy(info.calledAeTitle, called);
    strcpy(info.callingAeTitle, calling);
    strcpy(info.appCtxName, "1.2.840.10008.3.1.1.1");
    info.maxPduLen = 16384;
    rq.setInfo(info);
    DcPduPresCtxItem item;
    item.presCtxId = presCtxId;
    item.abstractSyntax = sop;
    for (size_t i = 0; i < syntaxes.size(); i++)
        item.xferSyn[i] = syntaxes[i];
    rq.presCtxItemAdd(item);
    rq.write();
    Bytes answer = SocketPair::drain(sock, 500);
    close(sock);
    return answer;
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
        ASSERT_NE(nullptr, rsp);
        EXPECT_EQ(MSG_C_ECHO_RSP, typeOf(rsp));
        EXPECT_EQ(0, statusOf(rsp));
        EXPECT_EQ(UID_VERIFICATION, sop);
        delete rsp;
    }
    EXPECT_EQ(0, scu.msm.releaseAssociation());
    EXPECT_EQ(MSM_READ_RELEASE_RQ, scu.read(nullptr));
    ASSERT_TRUE(scp.waitFor(MSM_READ_RELEASE_RQ));
    scp.stop();
    EXPECT_EQ(0, handed.load());
    EXPECT_EQ(MSM_READ_ASSO_RQ, scp.outcomesSeen().front());
}

TEST_F(Association, NegotiatedContextsFollowTheAcceptorsPreference)
{
    ScpThread scp;
    scp.start();
    Scu scu(scp.port);
    scu.sopXfer.push_back(sopEntry(UID_MR_IMAGE_STORAGE, {UID_BIG_ENDIAN_EXPLICIT}));
    ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
    DcMsmAssoInfo info;
    scu.msm.getAssoInfo(info);
    EXPECT_EQ(3, info.assoNum);
    EXPECT_EQ(1, info.presCtxId[0]);
    EXPECT_EQ(3, info.presCtxId[1]);
    EXPECT_EQ(5, info.presCtxId[2]);
    EXPECT_EQ(PRES_CTX_ACCEPTANCE, info.result[0]);
    // Proposed Implicit first, Explicit second; the acceptor lists Explicit first.
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
    scu.msm.abortAssociation();
    ASSERT_TRUE(scp.waitFor(MSM_READ_ABORT));
}

TEST_F(Association, PrintedRecordListsEveryContext)
{
    ScpThread scp;
    scp.start();
    Scu scu(scp.port);
    scu.sopXfer.push_back(sopEntry(UID_MR_IMAGE_STORAGE, {UID_LITTLE_ENDIAN_IMPLICIT}));
    ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
    char* text = nullptr;
    size_t size = 0;
    FILE* out = open_memstream(&text, &size);
    scu.msm.printAssoInfo(out);
    fclose(out);
    char verification[64], ct[64], mr[64], implicit[64], explicitLe[64];
    Dict.getDesc(UID_VERIFICATION, verification);
    Dict.getDesc(UID_CT_IMAGE_STORAGE, ct);
    Dict.getDesc(UID_MR_IMAGE_STORAGE, mr);
    Dict.getDesc(UID_LITTLE_ENDIAN_IMPLICIT, implicit);
    Dict.getDesc(UID_LITTLE_ENDIAN_EXPLICIT, explicitLe);
    char expected[2048];
    snprintf(expected, sizeof expected,
             "IP Address     : 127.0.0.1 \nCallingAeTitle : STORESCU\nCalledAeTitle  : STORESCP\n"
             "ImplClassUid   : 2.999.7321.4.3.2\nImplVerName    : Brenik3 4.3.b\nMaxPduLen      : 65536\n"
             "AssoNum        : 3\n\nID     SOP Class                Transfer Syntax       Result   Role\n\n"
             "01. %-24.24s %22.22s   Accept   \n03. %-24.24s %22.22s   Accept   \n"
             "05. %-24.24s %22.22s   SOP rejected\n\n",
             verification, implicit, ct, explicitLe, mr, "None");
    EXPECT_EQ(std::string(expected), std::string(text, size));
    free(text);
    scu.msm.releaseAssociation();
    EXPECT_EQ(MSM_READ_RELEASE_RQ, scu.read(nullptr));
}

TEST_F(Association, ReleaseRequestedByTheScp)
{
    ScpThread scp;
    scp.handler = [](DcMsm& msm, DcMsg*, DICT_UID) { msm.releaseAssociation(); };
    scp.start();
    Scu scu(scp.port);
    ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
    std::unique_ptr<DcCmdCStoreRq> trigger(new DcCmdCStoreRq());
    trigger->add(new DcElem(static_cast<int>(T_0000_0002_affectedSopClassUid), UID_CT_IMAGE_STORAGE));
    trigger->add(new DcElem(static_cast<int>(T_0000_0700_priority), static_cast<unsigned short>(0)));
    trigger->add(new DcElem(static_cast<int>(T_0000_1000_affectedSopInstanceUid), "1.2.3.4"));
    trigger->add(new DcElem(static_cast<int>(T_0010_0010_patientName), "Doe^John"));
    ASSERT_EQ(0, scu.msm.write(UID_CT_IMAGE_STORAGE, trigger.get()));
    // The SCP releases on the command; the data set that follows is dropped
    // by the acceptor's release.
    DcMsg* msg = nullptr;
    EXPECT_EQ(MSM_READ_RELEASE_RQ, scu.read(&msg));
    EXPECT_EQ(nullptr, msg);
    ASSERT_TRUE(scp.waitFor(MSM_READ_RELEASE_RQ));
}

TEST_F(Association, AbortReachesThePeer)
{
    ScpThread scp;
    scp.start();
    Scu scu(scp.port);
    ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
    EXPECT_EQ(0, scu.msm.abortAssociation());
    ASSERT_TRUE(scp.waitFor(MSM_READ_ABORT));
    EXPECT_EQ(0, scu.msm.closeAssociation());
    EXPECT_EQ(TSM_STA1, scu.msm.getState());
    // The SCP takes the next association.
    Scu again(scp.port);
    EXPECT_EQ(MSM_READ_ACCEPTED, again.connect());
    again.msm.releaseAssociation();
    EXPECT_EQ(MSM_READ_RELEASE_RQ, again.read(nullptr));
}

TEST_F(Association, AbortFromTheScpIsReadByTheScu)
{
    ScpThread scp;
    scp.handler = [](DcMsm& msm, DcMsg*, DICT_UID) { msm.abortAssociation(); };
    scp.start();
    Scu scu(scp.port);
    ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
    std::unique_ptr<DcCmdCStoreRq> trigger(new DcCmdCStoreRq());
    trigger->add(new DcElem(static_cast<int>(T_0000_0002_affectedSopClassUid), UID_CT_IMAGE_STORAGE));
    trigger->add(new DcElem(static_cast<int>(T_0000_0700_priority), static_cast<unsigned short>(0)));
    trigger->add(new DcElem(static_cast<int>(T_0000_1000_affectedSopInstanceUid), "1.2.3.4"));
    trigger->add(new DcElem(static_cast<int>(T_0010_0010_patientName), "Doe^John"));
    scu.msm.write(UID_CT_IMAGE_STORAGE, trigger.get());
    EXPECT_EQ(MSM_READ_ABORT, scu.read(nullptr));
    EXPECT_EQ(TSM_STA1, scu.msm.getState());
}

TEST_F(Association, CalledAeTitleMismatchIsRejectedWithReason7)
{
    ScpThread scp;
    scp.start();
    LogCapture log;
    Bytes answer = rawRequest(scp.port, "SOMEONE", "STORESCU");
    EXPECT_EQ((Bytes{3, 0, 0, 0, 0, 4, 0, 1, 3, 7}), answer);
    scp.stop();
    EXPECT_TRUE(log.has("Invalid Called AE Title - 'SOMEONE'"));
}

TEST_F(Association, CallingAeTitleOutsideTheAcceptListIsRejectedWithReason3)
{
    ScpThread scp;
    char first[] = "  WORKSTATION1";
    char second[] = "MODALITY";
    char* accepted[] = {first, second, nullptr};
    scp.info.acceptAeTitles = accepted;
    scp.start();
    LogCapture log;
    EXPECT_EQ((Bytes{3, 0, 0, 0, 0, 4, 0, 1, 3, 3}), rawRequest(scp.port, "STORESCP", "INTRUDER"));
    Bytes ok = rawRequest(scp.port, "STORESCP", "WORKSTATION1");
    ASSERT_FALSE(ok.empty());
    EXPECT_EQ(PDU_ASSO_AC, ok[0]);
    scp.stop();
    EXPECT_TRUE(log.has("Invalid Calling AE Title - 'INTRUDER'"));
}

TEST_F(Association, ScuLearnsOfTheRejection)
{
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

TEST_F(Association, EmptyAcceptListSwitchesOffEveryCheck)
{
    ScpThread scp;
    char* none[] = {nullptr};
    scp.info.acceptAeTitles = none;
    scp.start();
    Bytes ok = rawRequest(scp.port, "ANYBODY", "ANYONE");
    ASSERT_FALSE(ok.empty());
    EXPECT_EQ(PDU_ASSO_AC, ok[0]);
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

TEST_F(Association, EvenContextIdIsAnsweredLikeAnyOther)
{
    ScpThread scp;
    scp.start();
    Bytes answer = rawRequest(scp.port, "STORESCP", "STORESCU", UID_VERIFICATION, 2);
    ASSERT_GT(answer.size(), 80u);
    EXPECT_EQ(PDU_ASSO_AC, answer[0]);
    // The presentation context item follows the application context item.
    size_t item = 74 + 4 + answer[76] * 256 + answer[77];
    ASSERT_LT(item + 8, answer.size());
    EXPECT_EQ(0x21, answer[item]);
    EXPECT_EQ(2, answer[item + 4]);
    EXPECT_EQ(0, answer[item + 6]);  // acceptance
}

// b3-find against a small C-FIND SCP run by the test itself.
#include <atomic>
#include <thread>

#include <unistd.h>

#include <Brenik3.h>

#include "ToolRun.h"

namespace {

// Answers one association: every C-FIND request with two matches, each
// echoing the patient name key it was given, then success.
class FindScp {
public:
    explicit FindScp(int listenPort) : port(listenPort), msm("FINDSCP", MSM_ROLE_SCP, listenPort)
    {
        for (int channel = LOG_CHANNEL_0; channel <= LOG_CHANNEL_3; channel++)
            Log->activate(static_cast<LOG_MSG>(channel), LOG_OFF);
        worker = std::thread([this] { serve(); });
    }
    ~FindScp()
    {
        // A connection that says nothing ends a wait in accept.
        int sock = finished ? -1 : connectTo(port);
        if (sock >= 0)
            close(sock);
        worker.join();
    }

    std::string patientKey;
    std::string level;
    bool sawStudyUidKey = false;

private:
    int port;
    DcMsm msm;
    std::thread worker;
    std::atomic<bool> finished{false};

    void answer(DcCmdCFindRq& rq, unsigned short status, const char* name, const char* uid)
    {
        DcCmdCFindRsp rsp;
        rsp.parseRequest(&rq);
        rsp.add(new DcElem(T_0000_0900_status, status));
        if (name != nullptr) {
            rsp.add(new DcElem(T_0008_0052_queryRetrieveLevel, "STUDY"));
            rsp.add(new DcElem(T_0010_0010_patientName, name));
            rsp.add(new DcElem(T_0020_000d_studyInstanceUid, uid));
        }
        msm.write(UID_STUDY_ROOT_Q_R_FIND, &rsp);
    }

    void serve()
    {
        DcMsmScpInfo info;
        char* anyTitle[] = {nullptr};
        DICT_UID sops[] = {UID_STUDY_ROOT_Q_R_FIND, UID_NONE};
        info.acceptAeTitles = anyTitle;
        info.sopList = sops;
        info.timeouts.readTimeout = 20;
        DcCmdCFindRq* rq = nullptr;
        if (msm.connect(info) == 0) {
            for (int i = 0; i < 20; i++) {
                DcMsg* msg = nullptr;
                DICT_UID sop;
                int status = msm.read(&sop, &msg, MSM_READ_BLOCKING, MSM_CONNECT_BLOCKING);
                if (status == MSM_READ_ASSO_RQ)
                    continue;
                if (status != MSM_READ_MESSAGE)
                    break;
                MSG_TYPE type = MSG_NONE;
                msg->getType(type);
                if (type == MSG_C_FIND_RQ) {
                    delete rq;
                    rq = static_cast<DcCmdCFindRq*>(msg);
                    continue;
                }
                if (type == MSG_IOD && rq != nullptr) {
                    char text[65] = "";
                    msg->getValue(T_0010_0010_patientName, text, 64, ELEM_VAL_INDEX_KEEP);
                    patientKey = text;
                    text[0] = '\0';
                    msg->getValue(T_0008_0052_queryRetrieveLevel, text, 64, ELEM_VAL_INDEX_KEEP);
                    level = text;
                    sawStudyUidKey = msg->getElem(static_cast<unsigned int>(T_0020_000d_studyInstanceUid),
                                                  static_cast<DcElem**>(nullptr)) == 0;
                    answer(*rq, 0xFF00, "DOE^JOHN", "1.2.3.1");
                    answer(*rq, 0xFF00, "DOE^JANE", "1.2.3.2");
                    answer(*rq, 0x0000, nullptr, nullptr);
                }
                delete msg;
            }
            msm.event13_writeRelRpPdu();
        }
        delete rq;
        msm.closeAssociation();
        finished = true;
    }
};

}

class FindTool : public ToolTest {
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        need({"b3-find"});
    }
};

TEST_F(FindTool, PrintsEachMatchOfTheKeysItSentAndRefusesUnknownKeys)
{
    RunResult unknown = tool("b3-find", {"-k", "noSuchAttribute=1", "127.0.0.1:1"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_NE(unknown.err.find("unknown key 'noSuchAttribute'"), std::string::npos) << unknown.err;
    FindScp scp(port);
    RunResult r = tool("b3-find", {"-aec", "FINDSCP", "-k", "patientName=DOE*", "-k", "0020,000d", address}, 30);
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_NE(r.out.find("# match 1"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("# match 2"), std::string::npos);
    EXPECT_NE(r.out.find("DOE^JOHN"), std::string::npos);
    EXPECT_NE(r.out.find("1.2.3.2"), std::string::npos);
    EXPECT_NE(r.out.find("2 matches"), std::string::npos);
    EXPECT_EQ(scp.patientKey, "DOE*");
    EXPECT_EQ(scp.level, "STUDY");
    EXPECT_TRUE(scp.sawStudyUidKey);
}

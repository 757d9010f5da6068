#include "tests/service/ServiceTestUtil.h"

namespace {

class Config : public ListenTableTest {};

std::string hostName()
{
    char name[TSM_HOST_NAME_LEN + 1] = "";
    gethostname(name, TSM_HOST_NAME_LEN);
    return name;
}

}

TEST_F(Config, AeTitleIsTrimmedAndCutAndABlankOneTakesTheHostName)
{
    DcMsm named("  A_VERY_LONG_AE_TITLE_INDEED ", MSM_ROLE_SCU, freePort());
    EXPECT_STREQ("A_VERY_LONG_AE_T", named.getAeTitle());
    LogCapture log;
    DcMsm msm("   ", MSM_ROLE_SCU, freePort());
    std::string host = hostName();
    EXPECT_EQ(host.substr(0, 16), msm.getAeTitle());
    EXPECT_EQ(host.size() > 16, log.has("Different hostname '" + host + "' and Local AE Title '" +
                                        host.substr(0, 16) + "'"));
}

TEST_F(Config, ConnectRefusesWhatTheRoleDoesNotAllowAndArtimMustBePositive)
{
    DcMsm scuOnly("SCU", MSM_ROLE_SCU, freePort());
    DcMsmScpInfo scpInfo;
    EXPECT_EQ(TUL_ERR_NOT_ACCEPTOR, scuOnly.connect(scpInfo));
    EXPECT_EQ(TUL_ERR_NOT_ACCEPTOR, scuOnly.event04_connectScp());
    DcMsm scpOnly("SCP", MSM_ROLE_SCP, freePort());
    DcMsmScuInfo scuInfo;
    EXPECT_EQ(TUL_ERR_NOT_REQUESTER, scpOnly.connect("127.0.0.1", scuInfo));
    EXPECT_EQ(TUL_ERR_NOT_REQUESTER, scpOnly.event00_connectScu("127.0.0.1", 1));
    DcMsg* msg = nullptr;
    EXPECT_EQ(MSM_READ_NO_CONNECTION, scuOnly.read(nullptr, &msg, MSM_READ_BLOCKING, MSM_CONNECT_BLOCKING));
    EXPECT_EQ(TUL_ERR_DATA, scuOnly.setArtimTimeout(0));
    EXPECT_EQ(0, scuOnly.setArtimTimeout(1));
}

TEST_F(Config, ConnectChecksItsParameters)
{
    DcMsm msm("SCU", MSM_ROLE_SCU, freePort());
    DcMsmScuInfo info;
    LogCapture log;
    EXPECT_EQ(MSM_ERR_NO_XFER_SYN, msm.connect("127.0.0.1", info));
    EXPECT_TRUE(log.has("List of SOPs is absent"));
    DICT_UID sops[] = {UID_VERIFICATION, UID_NONE};
    info.sopList = sops;
    strcpy(info.implVerName, "bad\tname");
    EXPECT_EQ(0x160C, msm.connect("127.0.0.1", info));
    const LogCapture::Entry* entry = log.find("Illegal character '\t' (0x9) in string");
    ASSERT_NE(nullptr, entry);
    EXPECT_EQ("verifyValueAE", entry->function);
    strcpy(info.implVerName, "ok");
    strcpy(info.implClassUid, "1.2.x");
    EXPECT_EQ(0x160C, msm.connect("127.0.0.1", info));
    EXPECT_EQ("verifyValueUI", log.find("Illegal character 'x' (0x78) in string")->function);
}

// A maximum PDU length below 4096 leaves the previous one.
TEST_F(Config, InvalidTableEntriesAndPduLengthAreReportedAndSkipped)
{
    ScpThread scp;
    scp.start();
    Scu scu(scp.port);
    scu.sopXfer.clear();
    scu.sopXfer.push_back(sopEntry(UID_LITTLE_ENDIAN_EXPLICIT, {UID_LITTLE_ENDIAN_IMPLICIT}));
    scu.sopXfer.push_back(sopEntry(UID_CT_IMAGE_STORAGE, {UID_VERIFICATION}));
    scu.sopXfer.push_back(sopEntry(UID_VERIFICATION, {UID_MR_IMAGE_STORAGE, UID_LITTLE_ENDIAN_IMPLICIT}));
    scu.info.maxPduLen = 4095;
    LogCapture log;
    ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
    EXPECT_TRUE(log.has("'" + descOf(UID_LITTLE_ENDIAN_EXPLICIT) + "' is not an SOP Class UID"));
    EXPECT_TRUE(log.has("'" + descOf(UID_VERIFICATION) + "' is not a Transfer Syntax UID"));
    EXPECT_TRUE(log.has("No valid Transfer Syntax provided for SOP Class '" + descOf(UID_CT_IMAGE_STORAGE) + "'"));
    EXPECT_TRUE(log.has("'" + descOf(UID_MR_IMAGE_STORAGE) + "' is not a Transfer Syntax UID"));
    DcMsmAssoInfo info;
    scu.msm.getAssoInfo(info);
    EXPECT_EQ(1, info.assoNum);
    EXPECT_EQ(UID_VERIFICATION, info.sopClass[0]);
    EXPECT_EQ(UID_LITTLE_ENDIAN_IMPLICIT, info.xferSyn[0]);
    ASSERT_TRUE(scp.waitFor(MSM_READ_ASSO_RQ));
    scp.scp.getAssoInfo(info);
    EXPECT_EQ(65536u, info.maxPduLen);
    scu.msm.releaseAssociation();
    EXPECT_EQ(MSM_READ_RELEASE_RQ, scu.read(nullptr));
}

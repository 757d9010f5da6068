#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <cstdlib>
#include <string>

#include "network/DcPduAssoAcRq.h"
#include "tests/network/PeerProcess.h"
#include "tests/network/TsmTestUtil.h"

class EchoscuPeer : public ListenTableTest {};

TEST_F(EchoscuPeer, ItsAssociateRequestIsParsed)
{
    if (system("command -v echoscu >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "dcmtk's echoscu is not installed";

    int port = freePort();
    TestTsm server(TSM_ROLE_ACCEPTOR, port);
    ASSERT_EQ(0, server.getStartupStatus());
    DcTsmTimeoutInfo timeouts;
    timeouts.connectTimeout = 10;
    timeouts.readTimeout = 10;
    server.setTimeoutInfo(timeouts);

    PeerProcess echoscu({"echoscu", "-aet", "ECHOSCU", "-aec", "BRENIK3", "-pdu", "32768", "-pts", "3", "-ppc", "2",
                         "-to", "10", "-ta", "10", "127.0.0.1", std::to_string(port)});
    ASSERT_GT(echoscu.pid, 0);
    ASSERT_EQ(0, server.sockConvOpenServer(TSM_NO_BLOCK));

    PDU_TYPE type;
    ASSERT_EQ(0, server.conversationPdu()->readType(type, PDU_WAIT));
    ASSERT_EQ(PDU_ASSO_RQ, type);
    DcPduAssoRq request(server.conv());
    DcPduInfo limits;
    limits.readTimeout = 10;
    request.setInfo(limits);
    ASSERT_EQ(0, request.read(PDU_WAIT));

    DcPduInfoAcRq info;
    ASSERT_EQ(0, request.getInfo(info));
    EXPECT_STREQ("ECHOSCU         ", info.callingAeTitle);
    EXPECT_STREQ("BRENIK3         ", info.calledAeTitle);
    EXPECT_STREQ("1.2.840.10008.3.1.1.1", info.appCtxName);
    EXPECT_EQ(32768u, info.maxPduLen);
    EXPECT_NE('\0', info.implClassUid[0]);
    EXPECT_EQ(0, strncmp(info.implVerName, "OFFIS_DCMTK", 11)) << info.implVerName;

    DcPduPresCtxItem* items[PDU_PRES_CTX_MAX];
    request.getPresCtxItems(items);
    ASSERT_NE(nullptr, items[0]);
    ASSERT_NE(nullptr, items[1]);
    EXPECT_EQ(nullptr, items[2]);
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(unsigned(PRES_CTX_TYPE_RQ), items[i]->type);
        EXPECT_EQ(unsigned(2 * i + 1), items[i]->presCtxId);
        EXPECT_EQ(UID_VERIFICATION, items[i]->abstractSyntax);
        std::vector<DICT_UID> syntaxes;
        for (int t = 0; items[i]->xferSyn[t] != UID_NONE; t++)
            syntaxes.push_back(items[i]->xferSyn[t]);
        EXPECT_EQ(3u, syntaxes.size());
        EXPECT_NE(syntaxes.end(), std::find(syntaxes.begin(), syntaxes.end(), UID_LITTLE_ENDIAN_IMPLICIT));
        EXPECT_NE(syntaxes.end(), std::find(syntaxes.begin(), syntaxes.end(), UID_LITTLE_ENDIAN_EXPLICIT));
    }
    for (DcPduPresCtxItem* item : items)
        delete item;
}

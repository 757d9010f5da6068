#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "dictionary/DcDict.h"
#include "message/DcCmdCStore.h"
#include "network/DcPduAssoAcRq.h"
#include "network/DcPduRelease.h"
#include "tests/network/NetTestUtil.h"

namespace {

const char* const SC_IMAGE = "1.2.840.10008.5.1.4.1.1.7";

// A small Secondary Capture image written by dcmtk's dump2dcm.
bool makeDicomFile(const std::string& dumpPath, const std::string& dcmPath)
{
    FILE* dump = fopen(dumpPath.c_str(), "w");
    if (dump == nullptr)
        return false;
    fprintf(dump,
            "(0002,0001) OB 00\\01\n(0002,0002) UI [%s]\n(0002,0003) UI [1.2.826.0.1.3680043.2.1143.77]\n"
            "(0002,0010) UI [1.2.840.10008.1.2]\n(0002,0012) UI [1.2.826.0.1.3680043.2.1143]\n"
            "(0008,0016) UI [%s]\n(0008,0018) UI [1.2.826.0.1.3680043.2.1143.77]\n(0008,0064) CS [WSD]\n"
            "(0010,0010) PN [Doe^John]\n(0010,0020) LO [ID42]\n(0020,000d) UI [1.2.826.0.1.3680043.2.1143.78]\n"
            "(0020,000e) UI [1.2.826.0.1.3680043.2.1143.79]\n(0028,0002) US 1\n(0028,0004) CS [MONOCHROME2]\n"
            "(0028,0010) US 4\n(0028,0011) US 4\n(0028,0100) US 8\n(0028,0101) US 8\n(0028,0102) US 7\n"
            "(0028,0103) US 0\n(7fe0,0010) OB 01\\02\\03\\04\\05\\06\\07\\08\\09\\0a\\0b\\0c\\0d\\0e\\0f\\10\n",
            SC_IMAGE, SC_IMAGE);
    fclose(dump);
    return system(("dump2dcm " + dumpPath + " " + dcmPath + " >/dev/null 2>&1").c_str()) == 0;
}

// An acceptor on a free port with time-outs long enough for an outside peer.
class DcmtkPeer : public ListenTableTest {
protected:
    void SetUp() override
    {
        ListenTableTest::SetUp();
        server.reset(new TestTsm(TSM_ROLE_ACCEPTOR, port));
        ASSERT_EQ(0, server->getStartupStatus());
        DcTsmTimeoutInfo timeouts;
        timeouts.connectTimeout = 10;
        timeouts.readTimeout = 10;
        server->setTimeoutInfo(timeouts);
    }
    void TearDown() override
    {
        server.reset();
        ListenTableTest::TearDown();
    }

    // Reads the peer's association request into request.
    void readRequest(DcPduAssoRq& request)
    {
        ASSERT_EQ(0, server->sockConvOpenServer(TSM_NO_BLOCK));
        PDU_TYPE type;
        ASSERT_EQ(0, server->conversationPdu()->readType(type, PDU_WAIT));
        ASSERT_EQ(PDU_ASSO_RQ, type);
        request.attach(server->conv());
        DcPduInfo limits;
        limits.readTimeout = 10;
        request.setInfo(limits);
        ASSERT_EQ(0, request.read(PDU_WAIT));
    }

    // Accepts every context that offers Implicit VR Little Endian, with it.
    void accept(DcPduAssoRq& request)
    {
        DcPduInfoAcRq answer;
        request.getInfo(answer);
        answer.maxPduLen = 16384;
        DcPduAssoAc accept(server->conv());
        accept.setInfo(answer);
        DcPduPresCtxItem* items[PDU_PRES_CTX_MAX];
        request.getPresCtxItems(items);
        for (DcPduPresCtxItem* item : items) {
            if (item == nullptr)
                continue;
            DICT_UID* end = item->xferSyn + PDU_XFER_SYN_MAX;
            DcPduPresCtxItem reply;
            reply.type = PRES_CTX_TYPE_AC;
            reply.presCtxId = item->presCtxId;
            reply.result = std::find(item->xferSyn, end, UID_LITTLE_ENDIAN_IMPLICIT) != end ? 0 : 4;
            reply.xferSyn[0] = UID_LITTLE_ENDIAN_IMPLICIT;
            accept.presCtxItemAdd(reply);
            delete item;
        }
        ASSERT_EQ(0, accept.write());
    }

    // Reads P-DATA-TF PDUs until the data set's last fragment, sorting the
    // fragments into command and data set.
    bool readMessage(DcPduDataTf& command, DcPduDataTf& dataSet)
    {
        for (int pdus = 0; pdus < 1000; pdus++) {
            PDU_TYPE type;
            if (server->conversationPdu()->readType(type, PDU_WAIT) != 0 || type != PDU_DATA_TF)
                return false;
            DcPduDataTf pdu(server->conv());
            DcPduInfo limits;
            limits.readTimeout = 10;
            pdu.setInfo(limits);
            if (pdu.read(-1, PDU_WAIT) != 0)
                return false;
            DcPduInfoTf info;
            pdu.getInfo(info);
            DcPduDataTf& target = (info.msgCtrlHdr & PDV_MCH_COMMAND) ? command : dataSet;
            while (DcBuf* buf = pdu.firstBuf()) {
                pdu.subtract(buf);
                target.add(buf);
            }
            info.maxPduLen = 16384;
            target.setInfo(info);
            if ((info.msgCtrlHdr & (PDV_MCH_COMMAND | PDV_MCH_LAST)) == PDV_MCH_LAST)
                return true;
        }
        return false;
    }

    int port = freePort();
    std::unique_ptr<TestTsm> server;
};

}

TEST_F(DcmtkPeer, EchoscuAssociateRequestIsParsed)
{
    if (!have("echoscu"))
        GTEST_SKIP() << "dcmtk's echoscu is not installed";
    PeerProcess echoscu({"echoscu", "-aet", "ECHOSCU", "-aec", "BRENIK3", "-pdu", "32768", "-pts", "3", "-ppc", "2",
                         "-to", "10", "-ta", "10", "127.0.0.1", std::to_string(port)});
    ASSERT_GT(echoscu.pid, 0);
    DcPduAssoRq request;
    readRequest(request);
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
    ASSERT_TRUE(items[0] && items[1]);
    EXPECT_EQ(nullptr, items[2]);
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(unsigned(PRES_CTX_TYPE_RQ), items[i]->type);
        EXPECT_EQ(unsigned(2 * i + 1), items[i]->presCtxId);
        EXPECT_EQ(UID_VERIFICATION, items[i]->abstractSyntax);
        DICT_UID* end = std::find(items[i]->xferSyn, items[i]->xferSyn + PDU_XFER_SYN_MAX, UID_NONE);
        EXPECT_EQ(3, end - items[i]->xferSyn);
        EXPECT_NE(end, std::find(items[i]->xferSyn, end, UID_LITTLE_ENDIAN_IMPLICIT));
        EXPECT_NE(end, std::find(items[i]->xferSyn, end, UID_LITTLE_ENDIAN_EXPLICIT));
    }
    for (DcPduPresCtxItem* item : items)
        delete item;
}

TEST_F(DcmtkPeer, StorescuStoreRequestAndDataSetAreParsedAndAnswered)
{
    if (!have("storescu") || !have("dump2dcm"))
        GTEST_SKIP() << "dcmtk's storescu or dump2dcm is not installed";
    std::string base = "/tmp/brenik3_store_" + std::to_string(getpid());
    ASSERT_TRUE(makeDicomFile(base + ".txt", base + ".dcm"));
    PeerProcess storescu({"storescu", "-aet", "STORESCU", "-aec", "BRENIK3", "-xi", "-pdu", "4096", "-to", "10",
                          "-ta", "10", "-td", "10", "127.0.0.1", std::to_string(port), base + ".dcm"});
    ASSERT_GT(storescu.pid, 0);
    DcPduAssoRq association;
    readRequest(association);
    DcPduInfoAcRq peer;
    association.getInfo(peer);
    EXPECT_EQ(4096u, peer.maxPduLen);
    accept(association);

    DcPduDataTf command, dataSet;
    ASSERT_TRUE(readMessage(command, dataSet));
    ASSERT_EQ(0, command.parse(UID_LITTLE_ENDIAN_IMPLICIT));
    ASSERT_EQ(0, dataSet.parse(UID_LITTLE_ENDIAN_IMPLICIT));
    DcCmdCStoreRq request;
    while (DcElem* elem = request.firstElem())
        request.subtract(elem), delete elem;
    command.moveElem(&request);
    ASSERT_EQ(0, request.parseType());
    MSG_TYPE type;
    request.getType(type);
    EXPECT_EQ(MSG_C_STORE_RQ, type);
    char uid[65] = "";
    EXPECT_EQ(0, request.getValue(T_0000_0002_affectedSopClassUid, uid, 64));
    EXPECT_STREQ(SC_IMAGE, uid);
    EXPECT_EQ(0, request.getValue(T_0000_1000_affectedSopInstanceUid, uid, 64));
    EXPECT_STREQ("1.2.826.0.1.3680043.2.1143.77", uid);
    unsigned short dataSetType = 0;
    EXPECT_EQ(0, request.getValue(T_0000_0800_commandDataSetType, dataSetType));
    EXPECT_NE(0x0101, dataSetType);
    char id[65] = "";
    EXPECT_EQ(0, dataSet.getValue(T_0010_0020_patientId, id, 64));
    EXPECT_STREQ("ID42", id);
    DcBuf pixels;
    ASSERT_EQ(0, dataSet.getValue(T_7fe0_0010_pixelData, pixels));
    ASSERT_EQ(16u, pixels.getLen());
    EXPECT_EQ(0x10, static_cast<unsigned char*>(pixels.getBuf())[15]);

    // Our answer ends storescu's work successfully.
    DcPduInfoTf requestInfo;
    command.getInfo(requestInfo);
    DcPduInfoTf answerInfo = tfInfo(peer.maxPduLen, UID_LITTLE_ENDIAN_IMPLICIT, requestInfo.presCtxId);
    request.setInfo(answerInfo);
    DcCmdCStoreRsp response;
    ASSERT_EQ(0, response.parseRequest(&request));
    response.add(new DcElem(T_0000_0900_status, static_cast<unsigned short>(0)));
    response.attach(server->conv());
    response.setInfo(answerInfo);
    ASSERT_EQ(0, response.write());
    PDU_TYPE next;
    ASSERT_EQ(0, server->conversationPdu()->readType(next, PDU_WAIT));
    EXPECT_EQ(PDU_RELEASE_RQ, next);
    DcPduReleaseRq(server->conv()).read(PDU_WAIT);
    EXPECT_EQ(0, DcPduReleaseRp(server->conv()).write());
    EXPECT_EQ(0, storescu.waitExit(10));
    unlink((base + ".txt").c_str());
    unlink((base + ".dcm").c_str());
}

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <unistd.h>

#include "message/DcCmdCStore.h"
#include "network/DcPduAssoAcRq.h"
#include "network/DcPduRelease.h"
#include "tests/network/DataTfTestUtil.h"
#include "tests/network/PeerProcess.h"
#include "tests/network/TsmTestUtil.h"

namespace {

const char* const SC_IMAGE = "1.2.840.10008.5.1.4.1.1.7";

// A small Secondary Capture image written by dcmtk's dump2dcm.
bool makeDicomFile(const std::string& dumpPath, const std::string& dcmPath)
{
    FILE* dump = fopen(dumpPath.c_str(), "w");
    if (dump == nullptr)
        return false;
    fprintf(dump,
            "(0002,0001) OB 00\\01\n"
            "(0002,0002) UI [%s]\n"
            "(0002,0003) UI [1.2.826.0.1.3680043.2.1143.77]\n"
            "(0002,0010) UI [1.2.840.10008.1.2]\n"
            "(0002,0012) UI [1.2.826.0.1.3680043.2.1143]\n"
            "(0008,0016) UI [%s]\n"
            "(0008,0018) UI [1.2.826.0.1.3680043.2.1143.77]\n"
            "(0008,0064) CS [WSD]\n"
            "(0010,0010) PN [Doe^John]\n"
            "(0010,0020) LO [ID42]\n"
            "(0020,000d) UI [1.2.826.0.1.3680043.2.1143.78]\n"
            "(0020,000e) UI [1.2.826.0.1.3680043.2.1143.79]\n"
            "(0028,0002) US 1\n"
            "(0028,0004) CS [MONOCHROME2]\n"
            "(0028,0010) US 4\n"
            "(0028,0011) US 4\n"
            "(0028,0100) US 8\n"
            "(0028,0101) US 8\n"
            "(0028,0102) US 7\n"
            "(0028,0103) US 0\n"
            "(7fe0,0010) OB 01\\02\\03\\04\\05\\06\\07\\08\\09\\0a\\0b\\0c\\0d\\0e\\0f\\10\n",
            SC_IMAGE, SC_IMAGE);
    fclose(dump);
    std::string command = "dump2dcm " + dumpPath + " " + dcmPath + " >/dev/null 2>&1";
    return system(command.c_str()) == 0;
}

// Answers an association request: every context that offers Implicit VR
// Little Endian is accepted with it, the others are refused.
bool acceptAssociation(TestTsm& server, unsigned int& peerMaxPdu)
{
    PDU_TYPE type;
    if (server.conversationPdu()->readType(type, PDU_WAIT) != 0 || type != PDU_ASSO_RQ)
        return false;
    DcPduAssoRq request(server.conv());
    DcPduInfo limits;
    limits.readTimeout = 10;
    request.setInfo(limits);
    if (request.read(PDU_WAIT) != 0)
        return false;
    DcPduInfoAcRq info;
    request.getInfo(info);
    peerMaxPdu = info.maxPduLen;
    DcPduPresCtxItem* items[PDU_PRES_CTX_MAX];
    request.getPresCtxItems(items);

    DcPduAssoAc accept(server.conv());
    DcPduInfoAcRq answer = info;
    answer.maxPduLen = 16384;
    accept.setInfo(answer);
    for (DcPduPresCtxItem* item : items) {
        if (item == nullptr)
            continue;
        bool implicit = false;
        for (int t = 0; item->xferSyn[t] != UID_NONE; t++)
            implicit = implicit || item->xferSyn[t] == UID_LITTLE_ENDIAN_IMPLICIT;
        DcPduPresCtxItem reply;
        reply.type = PRES_CTX_TYPE_AC;
        reply.presCtxId = item->presCtxId;
        reply.result = implicit ? 0 : 4;
        reply.xferSyn[0] = UID_LITTLE_ENDIAN_IMPLICIT;
        accept.presCtxItemAdd(reply);
        delete item;
    }
    return accept.write() == 0;
}

// Reads P-DATA-TF PDUs until the data set's last fragment, sorting the
// fragments into command and data set.
bool readMessage(TestTsm& server, DcPduDataTf& command, DcPduDataTf& dataSet, int& pdus)
{
    bool dataDone = false;
    pdus = 0;
    while (!dataDone && pdus < 1000) {
        PDU_TYPE type;
        if (server.conversationPdu()->readType(type, PDU_WAIT) != 0 || type != PDU_DATA_TF)
            return false;
        DcPduDataTf pdu(server.conv());
        DcPduInfo limits;
        limits.readTimeout = 10;
        pdu.setInfo(limits);
        if (pdu.read(-1, PDU_WAIT) != 0)
            return false;
        pdus++;
        DcPduInfoTf info;
        pdu.getInfo(info);
        DcPduDataTf& target = (info.msgCtrlHdr & PDV_MCH_COMMAND) ? command : dataSet;
        while (DcBuf* buf = pdu.firstBuf()) {
            pdu.subtract(buf);
            target.add(buf);
        }
        info.maxPduLen = 16384;
        target.setInfo(info);
        dataDone = (info.msgCtrlHdr & (PDV_MCH_COMMAND | PDV_MCH_LAST)) == PDV_MCH_LAST;
    }
    return dataDone;
}

}

class StorescuPeer : public ListenTableTest {};

TEST_F(StorescuPeer, ItsStoreRequestAndDataSetAreParsed)
{
    if (system("command -v storescu >/dev/null 2>&1") != 0 || system("command -v dump2dcm >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "dcmtk's storescu or dump2dcm is not installed";
    std::string base = "/tmp/brenik3_store_" + std::to_string(getpid());
    ASSERT_TRUE(makeDicomFile(base + ".txt", base + ".dcm"));

    int port = freePort();
    TestTsm server(TSM_ROLE_ACCEPTOR, port);
    ASSERT_EQ(0, server.getStartupStatus());
    DcTsmTimeoutInfo timeouts;
    timeouts.connectTimeout = 10;
    timeouts.readTimeout = 10;
    server.setTimeoutInfo(timeouts);

    PeerProcess storescu({"storescu", "-aet", "STORESCU", "-aec", "BRENIK3", "-xi", "-pdu", "4096", "-to", "10",
                          "-ta", "10", "-td", "10", "127.0.0.1", std::to_string(port), base + ".dcm"});
    ASSERT_GT(storescu.pid, 0);
    ASSERT_EQ(0, server.sockConvOpenServer(TSM_NO_BLOCK));
    unsigned int peerMaxPdu = 0;
    ASSERT_TRUE(acceptAssociation(server, peerMaxPdu));
    EXPECT_EQ(4096u, peerMaxPdu);

    DcPduDataTf command, dataSet;
    int pdus = 0;
    ASSERT_TRUE(readMessage(server, command, dataSet, pdus));
    ASSERT_EQ(0, command.parse(UID_LITTLE_ENDIAN_IMPLICIT));
    ASSERT_EQ(0, dataSet.parse(UID_LITTLE_ENDIAN_IMPLICIT));

    DcCmdCStoreRq request;
    while (DcElem* elem = request.firstElem()) {
        request.subtract(elem);
        delete elem;
    }
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
    DcPduInfoTf answerInfo = tfInfo(peerMaxPdu, UID_LITTLE_ENDIAN_IMPLICIT, requestInfo.presCtxId);
    request.setInfo(answerInfo);
    DcCmdCStoreRsp response;
    ASSERT_EQ(0, response.parseRequest(&request));
    response.add(new DcElem(T_0000_0900_status, static_cast<unsigned short>(0)));
    response.attach(server.conv());
    response.setInfo(answerInfo);
    ASSERT_EQ(0, response.write());

    PDU_TYPE next;
    ASSERT_EQ(0, server.conversationPdu()->readType(next, PDU_WAIT));
    EXPECT_EQ(PDU_RELEASE_RQ, next);
    DcPduReleaseRq release(server.conv());
    release.read(PDU_WAIT);
    DcPduReleaseRp reply(server.conv());
    EXPECT_EQ(0, reply.write());
    EXPECT_EQ(0, storescu.waitExit(10));

    unlink((base + ".txt").c_str());
    unlink((base + ".dcm").c_str());
}

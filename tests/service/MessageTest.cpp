#include "tests/service/ServiceTestUtil.h"

#include <fcntl.h>

#include "message/DcCmdCCancel.h"
#include "message/DcCmdCGet.h"
#include "message/DcCmdCMove.h"
#include "message/DcCmdNAction.h"
#include "message/DcCmdNCreate.h"
#include "message/DcCmdNDelete.h"
#include "message/DcCmdNEvent.h"
#include "message/DcCmdNGet.h"
#include "message/DcCmdNSet.h"

namespace {

class Messages : public ListenTableTest {};

void storeAndConfirm(Scu& scu, DcCmdCStoreRq* rq, const char* instance)
{
    std::unique_ptr<DcCmdCStoreRq> owned(rq);
    ASSERT_EQ(0, scu.msm.write(UID_CT_IMAGE_STORAGE, rq));
    DcMsg* rsp = nullptr;
    ASSERT_EQ(MSM_READ_MESSAGE, scu.read(&rsp));
    std::unique_ptr<DcMsg> answer(rsp);
    EXPECT_EQ(MSG_C_STORE_RSP, typeOf(rsp));
    EXPECT_EQ(0, statusOf(rsp));
    EXPECT_EQ(instance, textOf(rsp, T_0000_1000_affectedSopInstanceUid));
}

int pixelFileCallback(void* userData, DcElemList& header, int& pixelDataHandle, DICT_UID)
{
    auto* seen = static_cast<std::vector<std::string>*>(userData);
    char name[64] = "";
    header.getValue(static_cast<int>(T_0010_0010_patientName), name, 63, ELEM_VAL_INDEX_KEEP);
    seen->push_back(name);
    char path[] = "/tmp/brenik3-pixels-XXXXXX";
    pixelDataHandle = mkstemp(path);
    unlink(path);
    return 0;
}

}

// Pixel data sent from memory or streamed from disk arrive whole; with a
// pixel callback they go straight to the file it gives, seen on disk.
TEST_F(Messages, StoredPixelDataArriveWhole)
{
    for (int way = 0; way < 3; way++) {
        SCOPED_TRACE(way);
        bool fromDisk = way == 1, callback = way == 2;
        StoreScp scp;
        std::vector<std::string> headers;
        if (callback)
            scp.scp.registerPixRecvCB(&headers, pixelFileCallback);
        scp.start();
        Scu scu(scp.port);
        ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
        std::vector<Bytes> sent = {pattern(fromDisk ? 3 * 65536 + 17 : 700000, 7), pattern(10, 9)};
        char path[] = "/tmp/brenik3-send-XXXXXX";
        int fd = mkstemp(path);
        unlink(path);
        ASSERT_EQ(static_cast<ssize_t>(sent[0].size()), ::write(fd, sent[0].data(), sent[0].size()));
        storeAndConfirm(scu, storeRequest("1.2.3.1", sent[0], fromDisk ? fd : -1), "1.2.3.1");
        storeAndConfirm(scu, storeRequest("1.2.3.2", sent[1]), "1.2.3.2");
        close(fd);
        scu.msm.releaseAssociation();
        EXPECT_EQ(MSM_READ_RELEASE_RQ, scu.read(nullptr));
        ASSERT_TRUE(scp.waitFor(MSM_READ_RELEASE_RQ));
        scp.stop();
        ASSERT_EQ(2u, scp.pixels.size());
        EXPECT_TRUE(scp.pixels == sent);
        EXPECT_EQ("Doe^Jane", scp.names[0]);
        EXPECT_EQ(callback, bool(scp.onDisk[0]));
        if (!callback)
            continue;
        EXPECT_EQ((std::vector<std::string>{"Doe^Jane", "Doe^Jane"}), headers);
        int pixelFile = -1;
        scp.scp.getPixelDataHandle(pixelFile);
        ASSERT_GE(pixelFile, 0);
        EXPECT_EQ(static_cast<off_t>(sent[1].size()), lseek(pixelFile, 0, SEEK_END));
    }
}

TEST_F(Messages, FindResponsesComeBackInOrder)
{
    FindScp scp;
    scp.start();
    Scu scu(scp.port);
    scu.sopXfer.push_back(sopEntry(UID_STUDY_ROOT_Q_R_FIND, {UID_LITTLE_ENDIAN_IMPLICIT}));
    ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
    DcCmdCFindRq rq;
    rq.add(new DcElem(static_cast<int>(T_0000_0002_affectedSopClassUid), UID_STUDY_ROOT_Q_R_FIND));
    rq.add(new DcElem(static_cast<int>(T_0000_0700_priority), static_cast<unsigned short>(0)));
    rq.add(new DcElem(static_cast<int>(T_0008_0052_queryRetrieveLevel), "STUDY"));
    rq.add(new DcElem(static_cast<int>(T_0010_0010_patientName), "Doe*"));
    ASSERT_EQ(0, scu.msm.write(UID_STUDY_ROOT_Q_R_FIND, &rq));
    std::vector<std::string> names;
    for (;;) {
        DcMsg* msg = nullptr;
        ASSERT_EQ(MSM_READ_MESSAGE, scu.read(&msg));
        std::unique_ptr<DcMsg> owned(msg);
        if (typeOf(msg) == MSG_IOD) {
            names.push_back(textOf(msg, T_0010_0010_patientName));
            continue;
        }
        ASSERT_EQ(MSG_C_FIND_RSP, typeOf(msg));
        if (statusOf(msg) == 0)
            break;
        EXPECT_EQ(0xFF00, statusOf(msg));
    }
    EXPECT_EQ((std::vector<std::string>{"Doe^Jane", "Doe^John"}), names);
    scu.msm.releaseAssociation();
    EXPECT_EQ(MSM_READ_RELEASE_RQ, scu.read(nullptr));
    scp.stop();
    EXPECT_EQ("Doe*", scp.key);
}

namespace {

// A request of each kind with the elements that it must carry.
DcCmd* filledRequest(DcCmd* rq)
{
    rq->add(new DcElem(static_cast<int>(T_0000_0002_affectedSopClassUid), UID_CT_IMAGE_STORAGE));
    rq->add(new DcElem(static_cast<int>(T_0000_0003_requestedSopClassUid), UID_CT_IMAGE_STORAGE));
    rq->add(new DcElem(static_cast<int>(T_0000_0110_messageId), static_cast<unsigned short>(77)));
    rq->add(new DcElem(static_cast<int>(T_0000_0600_moveDestination), "ARCHIVE"));
    rq->add(new DcElem(static_cast<int>(T_0000_0700_priority), static_cast<unsigned short>(0)));
    rq->add(new DcElem(static_cast<int>(T_0000_1000_affectedSopInstanceUid), "1.2.3.9"));
    rq->add(new DcElem(static_cast<int>(T_0000_1001_requestedSopInstanceUid), "1.2.3.9"));
    rq->add(new DcElem(static_cast<int>(T_0000_1002_eventTypeId), static_cast<unsigned short>(1)));
    rq->add(new DcElem(static_cast<int>(T_0000_1008_actionTypeId), static_cast<unsigned short>(1)));
    CMD_TYPE type;
    rq->getType(type);
    if (type != CMD_N_GET_RQ && type != CMD_N_DELETE_RQ && type != CMD_C_CANCEL_RQ)
        rq->add(new DcElem(static_cast<int>(T_0010_0010_patientName), "Doe^Jane"));
    return rq;
}

template <typename T>
DcCmd* make()
{
    return new T();
}

// The response to a request, built from it.
template <typename Rsp>
DcCmd* answer(DcCmd* rq)
{
    Rsp* rsp = new Rsp();
    rsp->parseRequest(rq);
    return rsp;
}

struct ServicePair {
    DcCmd* (*request)();
    DcCmd* (*response)(DcCmd*);
    MSG_TYPE requestType;
    MSG_TYPE responseType;
};

const ServicePair SERVICES[] = {
    {make<DcCmdCGetRq>, answer<DcCmdCGetRsp>, MSG_C_GET_RQ, MSG_C_GET_RSP},
    {make<DcCmdCMoveRq>, answer<DcCmdCMoveRsp>, MSG_C_MOVE_RQ, MSG_C_MOVE_RSP},
    {make<DcCmdNEventRq>, answer<DcCmdNEventRsp>, MSG_N_EVENT_REPORT_RQ, MSG_N_EVENT_REPORT_RSP},
    {make<DcCmdNGetRq>, answer<DcCmdNGetRsp>, MSG_N_GET_RQ, MSG_N_GET_RSP},
    {make<DcCmdNSetRq>, answer<DcCmdNSetRsp>, MSG_N_SET_RQ, MSG_N_SET_RSP},
    {make<DcCmdNActionRq>, answer<DcCmdNActionRsp>, MSG_N_ACTION_RQ, MSG_N_ACTION_RSP},
    {make<DcCmdNCreateRq>, answer<DcCmdNCreateRsp>, MSG_N_CREATE_RQ, MSG_N_CREATE_RSP},
    {make<DcCmdNDeleteRq>, answer<DcCmdNDeleteRsp>, MSG_N_DELETE_RQ, MSG_N_DELETE_RSP},
};

}

TEST_F(Messages, RequestsOfEveryServiceReachTheApplicationAndAreAnswered)
{
    ScpThread scp;
    std::vector<MSG_TYPE> requests;
    scp.handler = [&](DcMsm& msm, DcMsg* msg, DICT_UID sop) {
        if (typeOf(msg) == MSG_IOD)
            return;
        requests.push_back(typeOf(msg));
        for (const ServicePair& service : SERVICES) {
            if (service.requestType != typeOf(msg))
                continue;
            std::unique_ptr<DcCmd> rsp(service.response(static_cast<DcCmd*>(msg)));
            rsp->add(new DcElem(static_cast<int>(T_0000_0900_status), static_cast<unsigned short>(0)));
            msm.write(sop, rsp.get());
        }
    };
    scp.start();
    Scu scu(scp.port);
    ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
    LogCapture log;
    std::vector<MSG_TYPE> expected;
    for (const ServicePair& service : SERVICES) {
        SCOPED_TRACE(service.requestType);
        expected.push_back(service.requestType);
        std::unique_ptr<DcCmd> rq(filledRequest(service.request()));
        ASSERT_EQ(0, scu.msm.write(UID_CT_IMAGE_STORAGE, rq.get()));
        DcMsg* rsp = nullptr;
        ASSERT_EQ(MSM_READ_MESSAGE, scu.read(&rsp));
        std::unique_ptr<DcMsg> owned(rsp);
        EXPECT_EQ(service.responseType, typeOf(rsp));
        unsigned short id = 0;
        rsp->getValue(static_cast<int>(T_0000_0120_messageIdBeingRespondedTo), id, ELEM_VAL_INDEX_KEEP);
        EXPECT_EQ(77, id);
    }
    std::unique_ptr<DcCmd> cancel(filledRequest(new DcCmdCCancelRq()));
    ASSERT_EQ(0, scu.msm.write(UID_CT_IMAGE_STORAGE, cancel.get()));
    expected.push_back(MSG_C_CANCEL_RQ);
    scu.msm.releaseAssociation();
    EXPECT_EQ(MSM_READ_RELEASE_RQ, scu.read(nullptr));
    ASSERT_TRUE(scp.waitFor(MSM_READ_RELEASE_RQ));
    scp.stop();
    EXPECT_EQ(expected, requests);
}

TEST_F(Messages, WriteChoosesTheContextOrSaysWhyNot)
{
    ScpThread scp;
    scp.start();
    Scu scu(scp.port);
    ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
    LogCapture log;
    std::unique_ptr<DcCmdCEchoRq> echo(echoRequest());
    DcCmdCEchoRq& rq = *echo;
    EXPECT_EQ(MSM_ERR_NO_PRES_CTX, scu.msm.write(static_cast<unsigned char>(9), &rq));
    EXPECT_TRUE(log.has("Invalid presentation context"));
    EXPECT_EQ(MSM_ERR_NO_PRES_CTX, scu.msm.write(UID_MR_IMAGE_STORAGE, &rq));
    EXPECT_TRUE(log.has("Abstract syntax '1.2.840.10008.5.1.4.1.1.4' is not part of the association"));
    // Slot order: the first accepted context is Verification.
    ASSERT_EQ(0, scu.msm.write(&rq));
    DcMsg* rsp = nullptr;
    ASSERT_EQ(MSM_READ_MESSAGE, scu.read(&rsp));
    EXPECT_EQ(MSG_C_ECHO_RSP, typeOf(rsp));
    delete rsp;
    scu.msm.releaseAssociation();
    EXPECT_EQ(MSM_READ_RELEASE_RQ, scu.read(nullptr));
    EXPECT_EQ(MSM_ERR_NOT_NEGOTIATED, scu.msm.write(&rq));
}

TEST_F(Messages, ReadWithoutMessageWantedDropsData)
{
    ScpThread scp;
    scp.handler = [](DcMsm& msm, DcMsg* msg, DICT_UID sop) {
        if (typeOf(msg) != MSG_C_STORE_RQ)
            return;
        DcCmdCStoreRsp rsp;
        rsp.parseRequest(static_cast<DcCmd*>(msg));
        rsp.add(new DcElem(static_cast<int>(T_0000_0900_status), static_cast<unsigned short>(0)));
        msm.write(sop, &rsp);
        msm.releaseAssociation();
    };
    scp.start();
    Scu scu(scp.port);
    ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
    std::unique_ptr<DcCmdCStoreRq> rq(storeRequest("1.2.3.5", pattern(100, 1)));
    ASSERT_EQ(0, scu.msm.write(UID_CT_IMAGE_STORAGE, rq.get()));
    EXPECT_EQ(MSM_READ_RELEASE_RQ, scu.read(nullptr));
}

TEST_F(Messages, PixelDataHandleIsADuplicateReplacedOnTheNextSet)
{
    DcMsm msm("HANDLES", MSM_ROLE_SCU, freePort());
    char path[] = "/tmp/brenik3-handle-XXXXXX";
    int fd = mkstemp(path);
    unlink(path);
    int open = openFdCount();
    ASSERT_EQ(0, msm.setPixelDataHandle(fd));
    int first = -1;
    msm.getPixelDataHandle(first);
    EXPECT_NE(fd, first);
    ASSERT_EQ(0, msm.setPixelDataHandle(fd));
    EXPECT_EQ(open + 1, openFdCount());  // the first duplicate is closed
    EXPECT_EQ(MSM_ERR_PIXEL_HANDLE, msm.setPixelDataHandle(-1));
    int none = 0;
    msm.getPixelDataHandle(none);
    EXPECT_EQ(-1, none);
    close(fd);
}

namespace {

int countingCallback(void* userData, DcElemList&, int&, DICT_UID)
{
    (*static_cast<int*>(userData))++;
    return 0;
}

}

TEST_F(Messages, HeaderAboveTwoMegabytesIsNotGivenToTheCallback)
{
    ScpThread scp;
    int calls = 0;
    scp.scp.registerPixRecvCB(&calls, countingCallback);
    scp.start();
    Scu scu(scp.port);
    ASSERT_EQ(MSM_READ_ACCEPTED, scu.connect());
    LogCapture log;
    std::unique_ptr<DcCmdCStoreRq> rq(storeRequest("1.2.3.6", pattern(64, 2)));
    rq->add(bytesElem(static_cast<int>(T_0028_1201_redPaletteColorLookupTableData),
                      pattern(TUL_PIX_HEADER_LIMIT + 2, 4)));
    ASSERT_EQ(0, scu.msm.write(UID_CT_IMAGE_STORAGE, rq.get()));
    ASSERT_TRUE(scp.waitFor(MSM_READ_PROTOCOL_ERROR));
    EXPECT_EQ(0, calls);
    bool reported = false;
    for (const LogCapture::Entry& entry : log.entries)
        reported = reported || (entry.message.rfind("Incoming data size ", 0) == 0 &&
                                entry.message.find(" exceeds limit of 2097152, callback ignored") != std::string::npos);
    EXPECT_TRUE(reported);
    scu.msm.abortAssociation();
}

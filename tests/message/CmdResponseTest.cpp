#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "dictionary/DcDict.h"
#include "message/DcCmdCEcho.h"
#include "message/DcCmdCFind.h"
#include "message/DcCmdCGet.h"
#include "message/DcCmdCMove.h"
#include "message/DcCmdCStore.h"
#include "message/DcCmdNAction.h"
#include "message/DcCmdNCreate.h"
#include "message/DcCmdNDelete.h"
#include "message/DcCmdNEvent.h"
#include "message/DcCmdNGet.h"
#include "message/DcCmdNSet.h"
#include "tests/foundation/LogCapture.h"

namespace {

// A response class with the request it answers and the outcome codes.
struct RspClass {
    const char* name;
    std::function<DcCmd*()> makeRequest;
    std::function<DcCmd*()> makeResponse;
    std::function<int(DcCmd*, DcCmd*)> parse;
    int nullArg;
    int incompatible;
    int missing;
    int missingChannel;
    const char* requestName;
    // Request elements that must be there, in the order they are taken.
    std::vector<std::pair<int, const char*>> required;
};

template <typename T>
std::function<DcCmd*()> maker()
{
    return [] { return new T; };
}

// The response class's own parseRequest, called on a response made by maker.
template <typename Rsp>
std::function<int(DcCmd*, DcCmd*)> parser()
{
    return [](DcCmd* rsp, DcCmd* rq) { return static_cast<Rsp*>(rsp)->parseRequest(rq); };
}

const std::pair<int, const char*> SOP_CLASS{T_0000_0002_affectedSopClassUid, "T_0000_0002_affectedSopClassUid"};
const std::pair<int, const char*> MSG_ID{T_0000_0110_messageId, "T_0000_0110_messageId"};
const std::pair<int, const char*> SOP_INST{T_0000_1000_affectedSopInstanceUid, "T_0000_1000_affectedSopInstanceUid"};
const std::pair<int, const char*> EVENT{T_0000_1002_eventTypeId, "T_0000_1002_eventTypeId"};
const std::pair<int, const char*> ACTION{T_0000_1008_actionTypeId, "T_0000_1008_actionTypeId"};

std::vector<RspClass> allResponses()
{
    return {
        {"CEchoRsp", maker<DcCmdCEchoRq>(), maker<DcCmdCEchoRsp>(), parser<DcCmdCEchoRsp>(), 0x0803, 0x0804, 0x0801, 1, "C-ECHO-RQ",
         {SOP_CLASS, MSG_ID}},
        {"CFindRsp", maker<DcCmdCFindRq>(), maker<DcCmdCFindRsp>(), parser<DcCmdCFindRsp>(), 0x0A02, 0x0A04, 0x0A03, 2, "C-FIND-RQ",
         {SOP_CLASS, MSG_ID}},
        {"CGetRsp", maker<DcCmdCGetRq>(), maker<DcCmdCGetRsp>(), parser<DcCmdCGetRsp>(), 0x0C02, 0x0C04, 0x0C03, 2, "C-GET-RQ",
         {SOP_CLASS, MSG_ID}},
        {"CMoveRsp", maker<DcCmdCMoveRq>(), maker<DcCmdCMoveRsp>(), parser<DcCmdCMoveRsp>(), 0x1003, 0x1004, 0x1001, 2, "C-MOVE-RQ",
         {SOP_CLASS, MSG_ID}},
        {"CStoreRsp", maker<DcCmdCStoreRq>(), maker<DcCmdCStoreRsp>(), parser<DcCmdCStoreRsp>(), 0x1203, 0x1204, 0x1201, 2, "C-STORE-RQ",
         {SOP_CLASS, MSG_ID, SOP_INST}},
        {"NEventRsp", maker<DcCmdNEventRq>(), maker<DcCmdNEventRsp>(), parser<DcCmdNEventRsp>(), 0x3403, 0x3404, 0x3401, 2, "N-EVENT-RQ",
         {SOP_CLASS, MSG_ID, SOP_INST, EVENT}},
        {"NGetRsp", maker<DcCmdNGetRq>(), maker<DcCmdNGetRsp>(), parser<DcCmdNGetRsp>(), 0x3603, 0x3604, 0x3601, 2, "N-GET-RQ", {MSG_ID}},
        {"NSetRsp", maker<DcCmdNSetRq>(), maker<DcCmdNSetRsp>(), parser<DcCmdNSetRsp>(), 0x3803, 0x3804, 0x3801, 2, "N-SET-RQ", {MSG_ID}},
        {"NActionRsp", maker<DcCmdNActionRq>(), maker<DcCmdNActionRsp>(), parser<DcCmdNActionRsp>(), 0x2E03, 0x2E04, 0x2E01, 2,
         "N-ACTION-RQ", {MSG_ID, ACTION}},
        {"NCreateRsp", maker<DcCmdNCreateRq>(), maker<DcCmdNCreateRsp>(), parser<DcCmdNCreateRsp>(), 0x3003, 0x3004, 0x3001, 2,
         "N-CREATE-RQ", {MSG_ID}},
        {"NDeleteRsp", maker<DcCmdNDeleteRq>(), maker<DcCmdNDeleteRsp>(), parser<DcCmdNDeleteRsp>(), 0x3203, 0x3204, 0x3201, 2,
         "N-DELETE-RQ", {MSG_ID}},
    };
}

void addRequired(DcCmd* rq, int tag)
{
    if (tag == T_0000_0002_affectedSopClassUid)
        rq->add(new DcElem(tag, "1.2.840.10008.5.1.4.1.1.7"));
    else if (tag == T_0000_1000_affectedSopInstanceUid)
        rq->add(new DcElem(tag, "1.2.3.4"));
    else
        rq->add(new DcElem(tag, static_cast<unsigned short>(tag == T_0000_0110_messageId ? 41 : 5)));
}

}

TEST(CmdParseRequest, NullOrOtherRequestTypeIsRefusedWithItsReport)
{
    for (const RspClass& c : allResponses()) {
        SCOPED_TRACE(c.name);
        std::unique_ptr<DcCmd> rsp(c.makeResponse());
        LogCapture log;
        EXPECT_EQ(c.nullArg, c.parse(rsp.get(), nullptr));
        ASSERT_EQ(1u, log.entries.size());
        EXPECT_EQ("Null argument passed", log.entries[0].message);
        EXPECT_EQ(std::string("DcCmd") + c.name + "::parseRequest", log.entries[0].function);

        DcCmdCEchoRq echo;
        DcCmdCStoreRq store;
        bool echoAnswers = std::string(c.name) == "CEchoRsp";
        EXPECT_EQ(c.incompatible, c.parse(rsp.get(), echoAnswers ? static_cast<DcCmd*>(&store) : &echo));
        ASSERT_EQ(2u, log.entries.size());
        EXPECT_EQ(echoAnswers ? "Incompatible RQ command - 'C-STORE Request'" : "Incompatible RQ command - 'C-ECHO Request'",
                  log.entries[1].message);
        EXPECT_EQ(LOG_CHANNEL_1, log.entries[1].channel);
    }
}

TEST(CmdParseRequest, CompleteRequestFillsTheResponse)
{
    for (const RspClass& c : allResponses()) {
        std::unique_ptr<DcCmd> rq(c.makeRequest());
        for (const auto& element : c.required)
            addRequired(rq.get(), element.first);
        DcPduInfoTf info;
        info.presCtxId = 7;
        info.xferSyn = UID_LITTLE_ENDIAN_EXPLICIT;
        info.maxPduLen = 1000;
        rq->setInfo(info);
        std::unique_ptr<DcCmd> rsp(c.makeResponse());
        LogCapture log;
        ASSERT_EQ(0, c.parse(rsp.get(), rq.get())) << c.name;
        EXPECT_TRUE(log.entries.empty()) << c.name;

        unsigned short responded = 0;
        EXPECT_EQ(0, rsp->getValue(T_0000_0120_messageIdBeingRespondedTo, responded)) << c.name;
        EXPECT_EQ(41, responded) << c.name;
        for (const auto& element : c.required) {
            if (element.first != T_0000_0110_messageId) {
                EXPECT_EQ(0, rsp->getElem(element.first, static_cast<DcElem**>(nullptr))) << c.name;
            }
        }
        EXPECT_NE(0, rsp->getElem(T_0000_0900_status, static_cast<DcElem**>(nullptr))) << c.name;
        DcPduInfoTf taken;
        rsp->getInfo(taken);
        EXPECT_EQ(7, taken.presCtxId) << c.name;
        EXPECT_EQ(UID_LITTLE_ENDIAN_EXPLICIT, taken.xferSyn) << c.name;
    }
}

// Each required element left out in turn stops the parsing with its
// message, keeping what was added before it.
TEST(CmdParseRequest, MissingRequiredElementStopsWithItsMessage)
{
    for (const RspClass& c : allResponses())
        for (size_t gap = 0; gap < c.required.size(); gap++) {
            std::unique_ptr<DcCmd> rq(c.makeRequest());
            for (size_t i = 0; i < c.required.size(); i++)
                if (i != gap)
                    addRequired(rq.get(), c.required[i].first);
            std::unique_ptr<DcCmd> rsp(c.makeResponse());
            LogCapture log;
            EXPECT_EQ(c.missing, c.parse(rsp.get(), rq.get())) << c.name << " " << gap;
            ASSERT_EQ(1u, log.entries.size()) << c.name;
            EXPECT_EQ(std::string(c.required[gap].second) + " missing in " + c.requestName, log.entries[0].message);
            EXPECT_EQ(c.missingChannel, log.entries[0].channel) << c.name;
            size_t count = 0;
            for (DcElem* e = rsp->firstElem(); e != nullptr; e = e->next())
                count++;
            EXPECT_EQ(2 + gap, count) << c.name << " " << gap;  // group length, command field, those before
        }
}

// C-STORE swaps initiator and receiver; N-SET takes the requested UIDs as
// the affected ones; N-CREATE copies its optional UIDs when present.
TEST(CmdParseRequest, ClassSpecificElementsAreCarriedOver)
{
    DcCmdCStoreRq store;
    for (int tag : {int(T_0000_0002_affectedSopClassUid), int(T_0000_0110_messageId),
                    int(T_0000_1000_affectedSopInstanceUid)})
        addRequired(&store, tag);
    store.add(new DcElem(T_0000_0200_initiator, "MODALITY"));
    DcCmdCStoreRsp storeRsp;
    ASSERT_EQ(0, storeRsp.parseRequest(&store));
    char text[65] = "";
    EXPECT_EQ(0, storeRsp.getValue(T_0000_0300_receiver, text, 16));
    EXPECT_STREQ("MODALITY", text);
    EXPECT_NE(0, storeRsp.getElem(T_0000_0200_initiator, static_cast<DcElem**>(nullptr)));

    DcCmdNSetRq set;
    addRequired(&set, T_0000_0110_messageId);
    set.add(new DcElem(T_0000_0003_requestedSopClassUid, "1.2.840.10008.5.1.1.1"));
    set.add(new DcElem(T_0000_1001_requestedSopInstanceUid, "1.2.3.9"));
    DcCmdNSetRsp setRsp;
    ASSERT_EQ(0, setRsp.parseRequest(&set));
    EXPECT_EQ(0, setRsp.getValue(T_0000_0002_affectedSopClassUid, text, 64));
    EXPECT_STREQ("1.2.840.10008.5.1.1.1", text);
    EXPECT_EQ(0, setRsp.getValue(T_0000_1000_affectedSopInstanceUid, text, 64));
    EXPECT_STREQ("1.2.3.9", text);

    DcCmdNCreateRq bare;
    addRequired(&bare, T_0000_0110_messageId);
    DcCmdNCreateRsp bareRsp;
    ASSERT_EQ(0, bareRsp.parseRequest(&bare));
    EXPECT_NE(0, bareRsp.getElem(T_0000_0002_affectedSopClassUid, static_cast<DcElem**>(nullptr)));
    addRequired(&bare, T_0000_0002_affectedSopClassUid);
    addRequired(&bare, T_0000_1000_affectedSopInstanceUid);
    DcCmdNCreateRsp fullRsp;
    ASSERT_EQ(0, fullRsp.parseRequest(&bare));
    EXPECT_EQ(0, fullRsp.getElem(T_0000_0002_affectedSopClassUid, static_cast<DcElem**>(nullptr)));
    EXPECT_EQ(0, fullRsp.getElem(T_0000_1000_affectedSopInstanceUid, static_cast<DcElem**>(nullptr)));
}

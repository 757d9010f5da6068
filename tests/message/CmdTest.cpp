#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "dictionary/DcDict.h"
#include "message/DcCmdCCancel.h"
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

// One command class: how to make it, its command field, its data set rule
// and the required elements a new instance lacks (the message ID aside,
// which verification creates; the data set type, which write adds).
struct CmdClass {
    const char* name;
    std::function<DcCmd*()> make;
    unsigned short field;
    CMD_DATASET rule;
    std::vector<std::string> missing;
};

template <typename T>
std::function<DcCmd*()> maker()
{
    return [] { return new T; };
}

const std::string SOP_CLASS = "Element (0000,0002) missing from command";
const std::string REQ_SOP_CLASS = "Element (0000,0003) missing from command";
const std::string MOVE_DEST = "Element (0000,0600) missing from command";
const std::string PRIORITY = "Element (0000,0700) missing from command";
const std::string DATA_SET_TYPE = "Element (0000,0800) missing from command";
const std::string STATUS = "Element (0000,0900) missing from command";
const std::string SOP_INST = "Element (0000,1000) missing from command";
const std::string REQ_SOP_INST = "Element (0000,1001) missing from command";
const std::string EVENT = "Element (0000,1002) missing from command";
const std::string ACTION = "Element (0000,1008) missing from command";
const std::string RESPONDED = "Element (0000,0120) missing from command";

std::vector<CmdClass> allClasses()
{
    return {
        {"CStoreRq", maker<DcCmdCStoreRq>(), 0x0001, CMD_DATASET_PRESENT,
         {SOP_CLASS, PRIORITY, DATA_SET_TYPE, SOP_INST}},
        {"CStoreRsp", maker<DcCmdCStoreRsp>(), 0x8001, CMD_DATASET_ABSENT, {RESPONDED, DATA_SET_TYPE, STATUS}},
        {"CGetRq", maker<DcCmdCGetRq>(), 0x0010, CMD_DATASET_PRESENT, {SOP_CLASS, PRIORITY, DATA_SET_TYPE}},
        {"CGetRsp", maker<DcCmdCGetRsp>(), 0x8010, CMD_DATASET_OPTIONAL, {RESPONDED, DATA_SET_TYPE, STATUS}},
        {"CFindRq", maker<DcCmdCFindRq>(), 0x0020, CMD_DATASET_PRESENT, {SOP_CLASS, PRIORITY, DATA_SET_TYPE}},
        {"CFindRsp", maker<DcCmdCFindRsp>(), 0x8020, CMD_DATASET_OPTIONAL, {RESPONDED, DATA_SET_TYPE, STATUS}},
        {"CMoveRq", maker<DcCmdCMoveRq>(), 0x0021, CMD_DATASET_PRESENT,
         {SOP_CLASS, MOVE_DEST, PRIORITY, DATA_SET_TYPE}},
        {"CMoveRsp", maker<DcCmdCMoveRsp>(), 0x8021, CMD_DATASET_OPTIONAL, {RESPONDED, DATA_SET_TYPE, STATUS}},
        {"CEchoRq", maker<DcCmdCEchoRq>(), 0x0030, CMD_DATASET_ABSENT, {SOP_CLASS, DATA_SET_TYPE}},
        {"CEchoRsp", maker<DcCmdCEchoRsp>(), 0x8030, CMD_DATASET_ABSENT, {RESPONDED, DATA_SET_TYPE, STATUS}},
        {"CCancelRq", maker<DcCmdCCancelRq>(), 0x0FFF, CMD_DATASET_ABSENT, {DATA_SET_TYPE}},
        {"NEventRq", maker<DcCmdNEventRq>(), 0x0100, CMD_DATASET_OPTIONAL,
         {SOP_CLASS, DATA_SET_TYPE, SOP_INST, EVENT}},
        {"NEventRsp", maker<DcCmdNEventRsp>(), 0x8100, CMD_DATASET_OPTIONAL, {RESPONDED, DATA_SET_TYPE, STATUS}},
        {"NGetRq", maker<DcCmdNGetRq>(), 0x0110, CMD_DATASET_ABSENT, {REQ_SOP_CLASS, DATA_SET_TYPE, REQ_SOP_INST}},
        {"NGetRsp", maker<DcCmdNGetRsp>(), 0x8110, CMD_DATASET_OPTIONAL, {RESPONDED, DATA_SET_TYPE, STATUS}},
        {"NSetRq", maker<DcCmdNSetRq>(), 0x0120, CMD_DATASET_PRESENT, {REQ_SOP_CLASS, DATA_SET_TYPE, REQ_SOP_INST}},
        {"NSetRsp", maker<DcCmdNSetRsp>(), 0x8120, CMD_DATASET_OPTIONAL, {RESPONDED, DATA_SET_TYPE, STATUS}},
        {"NActionRq", maker<DcCmdNActionRq>(), 0x0130, CMD_DATASET_OPTIONAL,
         {REQ_SOP_CLASS, DATA_SET_TYPE, REQ_SOP_INST, ACTION}},
        {"NActionRsp", maker<DcCmdNActionRsp>(), 0x8130, CMD_DATASET_OPTIONAL, {RESPONDED, DATA_SET_TYPE, STATUS}},
        {"NCreateRq", maker<DcCmdNCreateRq>(), 0x0140, CMD_DATASET_PRESENT, {SOP_CLASS, DATA_SET_TYPE}},
        {"NCreateRsp", maker<DcCmdNCreateRsp>(), 0x8140, CMD_DATASET_OPTIONAL, {RESPONDED, DATA_SET_TYPE, STATUS}},
        {"NDeleteRq", maker<DcCmdNDeleteRq>(), 0x0150, CMD_DATASET_ABSENT,
         {REQ_SOP_CLASS, DATA_SET_TYPE, REQ_SOP_INST}},
        {"NDeleteRsp", maker<DcCmdNDeleteRsp>(), 0x8150, CMD_DATASET_ABSENT, {RESPONDED, DATA_SET_TYPE, STATUS}},
    };
}

bool isRequest(unsigned short field)
{
    return (field & 0x8000) == 0;
}

}

// A new command holds a zero group length and its command field. Given a
// data set where its rule asks for one, verification reports exactly the
// required elements it lacks and gives requests a message ID; without one,
// commands that need a data set say so first. Commands without a data set
// refuse data set elements.
TEST(CmdClasses, NewCommandsFollowTheirParameterListAndDataSetRule)
{
    for (const CmdClass& c : allClasses()) {
        SCOPED_TRACE(c.name);
        std::unique_ptr<DcCmd> cmd(c.make());
        CMD_TYPE type;
        cmd->getType(type);
        EXPECT_EQ(c.field, type);
        DcElem* first = cmd->firstElem();
        ASSERT_NE(nullptr, first);
        unsigned int tag = 1, length = 1;
        first->getTag(tag);
        first->getValue(length);
        EXPECT_EQ(0u, tag);
        EXPECT_EQ(0u, length);
        unsigned short field = 0;
        EXPECT_EQ(0, cmd->getValue(T_0000_0100_command, field));
        EXPECT_EQ(c.field, field);
        ASSERT_NE(nullptr, first->next());
        EXPECT_EQ(nullptr, first->next()->next());

        LogCapture log;
        int added = 0;
        if (c.rule == CMD_DATASET_PRESENT) {
            std::unique_ptr<DcCmd> bare(c.make());
            EXPECT_EQ(CMD_ERR_DATASET, bare->elemListVerify(added));
            EXPECT_EQ(std::vector<std::string>{"Dataset absent in Command"}, log.messages());
            log.entries.clear();
        }
        DcElem* data = cmd->add(new DcElem(T_0010_0020_patientId, "P"));
        EXPECT_EQ(c.rule == CMD_DATASET_ABSENT, data == nullptr);
        log.entries.clear();
        EXPECT_EQ(CMD_ERR_MISSING, cmd->elemListVerify(added));
        EXPECT_EQ(c.missing, log.messages());
        EXPECT_EQ(isRequest(c.field) ? 1 : 0, added);
    }
}

TEST(CmdAdd, NullOrDataSetElementForCommandWithoutDataSetIsRefused)
{
    DcCmdCEchoRq echo;
    LogCapture log;
    EXPECT_EQ(nullptr, echo.add(new DcElem(T_0008_0018_sopInstanceUid, "1.2.3")));
    EXPECT_TRUE(log.has("DcCmd::add", "Dataset not allowed for this command"));
    EXPECT_NE(0, echo.getElem(T_0008_0018_sopInstanceUid, static_cast<DcElem**>(nullptr)));
    EXPECT_EQ(nullptr, echo.add(static_cast<DcElem*>(nullptr)));
    EXPECT_EQ("Null argument passed for element", log.entries.back().message);
    EXPECT_EQ(nullptr, echo.add(static_cast<DcElemList*>(nullptr)));
    EXPECT_EQ("Null argument passed for element list", log.entries.back().message);
    EXPECT_EQ(3u, log.entries.size());
}

TEST(CmdAdd, ListIsMovedInElementByElementAndSameTagReplaces)
{
    DcCmdCEchoRq echo;
    DcElemList* list = new DcElemList;
    list->add(new DcElem(T_0000_0002_affectedSopClassUid, "1.2.840.10008.1.1"));
    list->add(new DcElem(T_0010_0020_patientId, "P"));
    LogCapture log;
    EXPECT_EQ(list, echo.add(list));
    EXPECT_EQ(std::vector<std::string>{"Dataset not allowed for this command"}, log.messages());
    EXPECT_EQ(0, echo.getElem(T_0000_0002_affectedSopClassUid, static_cast<DcElem**>(nullptr)));

    DcCmdCStoreRq store;
    store + new DcElem(T_0000_0700_priority, static_cast<unsigned short>(1));
    store + new DcElem(T_0000_0700_priority, static_cast<unsigned short>(2));
    unsigned short priority = 0;
    store.getValue(T_0000_0700_priority, priority);
    EXPECT_EQ(2, priority);
}

TEST(CmdVerify, MissingMessageIdIsCreatedAfresh)
{
    unsigned short ids[2] = {0, 0};
    for (unsigned short& id : ids) {
        DcCmdCEchoRq echo;
        echo.add(new DcElem(T_0000_0002_affectedSopClassUid, "1.2.840.10008.1.1"));
        echo.add(new DcElem(T_0000_0800_commandDataSetType, static_cast<unsigned short>(0x0101)));
        int added = 5;
        EXPECT_EQ(0, echo.elemListVerify(added));
        EXPECT_EQ(6, added);
        EXPECT_EQ(0, echo.getValue(T_0000_0110_messageId, id));
    }
    EXPECT_NE(ids[0], ids[1]);
}

TEST(CmdVerify, ResponsesWithOptionalDataSetNeedStatusButNoSubOperationCounts)
{
    for (bool withData : {false, true}) {
        DcCmdCGetRsp rsp;
        rsp.add(new DcElem(T_0000_0120_messageIdBeingRespondedTo, static_cast<unsigned short>(3)));
        rsp.add(new DcElem(T_0000_0800_commandDataSetType, static_cast<unsigned short>(0x0101)));
        if (withData)
            rsp.add(new DcElem(T_0010_0020_patientId, "P"));
        LogCapture log;
        int added = 0;
        EXPECT_EQ(CMD_ERR_MISSING, rsp.elemListVerify(added));
        EXPECT_EQ(std::vector<std::string>{"Element (0000,0900) missing from command"}, log.messages());
        rsp.add(new DcElem(T_0000_0900_status, static_cast<unsigned short>(0xFF00)));
        EXPECT_EQ(0, rsp.elemListVerify(added)) << withData;
    }
}

TEST(CmdFrame, NullBufferIsRefusedAndFramingReportsDoNotChangeTheResult)
{
    DcCmdCEchoRq echo;
    LogCapture log;
    unsigned int len = 0;
    EXPECT_EQ(CMD_ERR_NULL_ARG, echo.frame(nullptr, len, UID_LITTLE_ENDIAN_IMPLICIT));
    EXPECT_EQ("DcCmd::frame", log.entries.at(0).function);
    unsigned char buf[256];
    EXPECT_EQ(0, echo.frame(buf, len, UID_VERIFICATION));
    EXPECT_GT(log.entries.size(), 1u);
    EXPECT_EQ(0, echo.frame(buf, len, UID_LITTLE_ENDIAN_IMPLICIT));
    // Group length (12 bytes) then the command field, its value counted in the group length.
    ASSERT_EQ(22u, len);
    EXPECT_EQ(10, buf[8]);
    EXPECT_EQ(0x30, buf[20]);
}

// A copy of a command keeps a parameter list of its own and checks its
// elements against it; a copy's elements start empty, an assigned command
// keeps its own. Each list is freed once (the address sanitizer checks) and
// the copies outlive their original.
TEST(CmdCopies, KeepTheirOwnParameterList)
{
    DcCmdCGetRsp* original = new DcCmdCGetRsp;
    DcCmdCGetRsp copy(*original);
    DcCmdCGetRsp assigned;
    assigned = *original;
    delete original;
    const std::vector<std::string> missingStatus = {"Element (0000,0900) missing from command"};
    const std::vector<std::string> missingAll = {"Element (0000,0000) missing from command",
                                                 "Element (0000,0100) missing from command", missingStatus[0]};
    for (DcCmdCGetRsp* rsp : {&copy, &assigned}) {
        rsp->add(new DcElem(T_0000_0120_messageIdBeingRespondedTo, static_cast<unsigned short>(3)));
        rsp->add(new DcElem(T_0000_0800_commandDataSetType, static_cast<unsigned short>(0x0101)));
        LogCapture log;
        int added = 0;
        EXPECT_EQ(CMD_ERR_MISSING, rsp->elemListVerify(added));
        EXPECT_EQ(rsp == &copy ? missingAll : missingStatus, log.messages());
    }
}

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "dictionary/DcDict.h"
#include "dictionary/DcDictTables.h"
#include "foundation/LogCapture.h"

namespace {

class Extend : public ::testing::Test {
protected:
    void SetUp() override
    {
        Dict.reset();
        log.entries.clear();
    }
    void TearDown() override { Dict.reset(); }
    LogCapture log;
};

const int firstAddedConst = 0x7FE00011;

std::string descOf(int tagConst)
{
    char desc[61] = "";
    Dict.getDesc(tagConst, desc);
    return desc;
}

}

TEST_F(Extend, AddedTagsTakeConstantsAfterPixelDataAndAnswerUnderEveryCreatorBlock)
{
    int tagConst = 0;
    EXPECT_EQ(Dict.add(0x00091010u, VR_LO, 1, nullptr, &tagConst), 0);
    EXPECT_EQ(tagConst, firstAddedConst);
    EXPECT_EQ(descOf(tagConst), "T_0009_ff10");
    unsigned int tag;
    EXPECT_EQ(Dict.getTag(tagConst, tag), 0);
    EXPECT_EQ(tag, 0x0009FF10u);
    int found = 0;
    EXPECT_EQ(Dict.getTagDef(0x00093410u, found), 0);
    EXPECT_EQ(found, tagConst);
    EXPECT_EQ(Dict.add(0x0011, 0x0020, VR_US, 2, "T_0011_0020_myCounter", &tagConst), 0);
    EXPECT_EQ(tagConst, firstAddedConst + 1);
    EXPECT_EQ(descOf(tagConst), "T_0011_0020_myCounter");
    int vm;
    EXPECT_EQ(Dict.getVm(0x0011, 0x0077, vm), 0);
    EXPECT_EQ(vm, 2);
    std::string name(80, 'n');
    ASSERT_EQ(Dict.add(0x00130010u, VR_LO, 1, name.c_str(), &tagConst), 0);
    EXPECT_EQ(descOf(tagConst), name.substr(0, 60));
    EXPECT_TRUE(log.entries.empty());
}

// (Additions, removals and resets at large are checked in test_index.cpp.)
TEST_F(Extend, KnownTagIsRefusedWithItsConstantAndMissingOneCannotBeRemoved)
{
    int tagConst = 0;
    Dict.add(0x00091010u, VR_LO, 1, nullptr, &tagConst);
    int again = 0;
    EXPECT_EQ(Dict.add(0x00092010u, VR_SH, 1, nullptr, &again), DICT_ERR_EXISTS);
    EXPECT_EQ(again, tagConst);
    EXPECT_TRUE(log.has("DcDict::add", "Tag 0x00092010 already exists in dictionary"));
    EXPECT_EQ(Dict.add(0x00100010u, VR_PN, 1, nullptr, &again), DICT_ERR_EXISTS);
    EXPECT_EQ(again, T_0010_0010_patientName);
    EXPECT_EQ(Dict.add(0x00100010u, VR_PN, 1, nullptr, nullptr), DICT_ERR_EXISTS);
    EXPECT_EQ(Dict.subtract(0x0010, 0x0010), 0);
    EXPECT_EQ(Dict.subtract(0x00100010u), DICT_ERR_NOT_FOUND);
    EXPECT_TRUE(log.has("DcDict::subtract", "Tag 0x00100010 is not in dictionary"));
}

TEST_F(Extend, ExactlyThreeHundredEightyThreeAdditionsFillTheTable)
{
    int tagConst = 0;
    for (unsigned int i = 0; i < 383; ++i)
        ASSERT_EQ(Dict.add(0x70000000u + 0x0100u + i, VR_LO, 1, nullptr, &tagConst), 0) << i;
    EXPECT_EQ(tagConst, firstAddedConst + 382);
    EXPECT_TRUE(log.entries.empty());
    EXPECT_EQ(Dict.add(0x70020100u, VR_LO, 1, nullptr, &tagConst), DICT_ERR_FULL);
    EXPECT_TRUE(log.has("DcDict::add", "Dictionary element limit reached"));
    EXPECT_EQ(Dict.subtract(0x70000100u), 0);  // a removal frees one slot again
    EXPECT_EQ(Dict.add(0x70020100u, VR_LO, 1, nullptr, &tagConst), 0);
    EXPECT_EQ(tagConst, firstAddedConst + 383);
}

TEST_F(Extend, UidIsTrimmedAndNumberedAfterTheBuiltIns)
{
    DICT_UID uid = UID_NONE;
    EXPECT_EQ(Dict.add(" 1.2.3 ", nullptr, &uid, UID_SOP_CLASS), 0);
    EXPECT_EQ(uid, 120);
    char text[65];
    EXPECT_EQ(Dict.getUid(uid, text), 0);
    EXPECT_STREQ(text, "1.2.3");
    EXPECT_EQ(Dict.getDesc(uid, text), 0);
    EXPECT_STREQ(text, "Private UID");
    std::string longDesc(70, 'd');
    EXPECT_EQ(Dict.add("1.2.4", longDesc.c_str(), &uid, UID_TRANSFER_SYNTAX), 0);
    EXPECT_EQ(uid, 121);
    Dict.getDesc(uid, text);
    EXPECT_EQ(std::string(text), longDesc.substr(0, 60));
    ARCH_ENDIAN endian;
    EXPECT_EQ(Dict.getEndian(uid, endian), 0);
    EXPECT_EQ(endian, ENDIAN_LITTLE);
}

TEST_F(Extend, UidFailuresAndTheLimitOfTwoHundredFiftySix)
{
    DICT_UID uid = UID_VERIFICATION;
    EXPECT_EQ(Dict.add(nullptr, nullptr, &uid, UID_SOP_CLASS), DICT_ERR_NULL_ARG);
    EXPECT_EQ(uid, UID_NONE);
    EXPECT_EQ(Dict.add("1.2.a", nullptr, &uid, UID_SOP_CLASS), DICT_ERR_NOT_XFER_SYNTAX);
    EXPECT_TRUE(log.has("DcDict::add", "Invalid character 'a' in UID string 1.2.a"));
    EXPECT_EQ(Dict.add("1.2.840.10008.1.1", nullptr, &uid, UID_SOP_CLASS), DICT_ERR_EXISTS);
    EXPECT_EQ(uid, UID_VERIFICATION);
    EXPECT_TRUE(log.has("DcDict::add", "UID '1.2.840.10008.1.1' already exists in dictionary"));
    EXPECT_EQ(Dict.add("1.2.840.10008.1.1", nullptr, nullptr, UID_SOP_CLASS), DICT_ERR_EXISTS);
    EXPECT_EQ(Dict.subtract(static_cast<const char*>(nullptr)), DICT_ERR_NULL_ARG);
    char text[32];
    for (int i = 0; i < 256 - 119; ++i) {
        snprintf(text, sizeof text, "1.2.99.%d", i);
        ASSERT_EQ(Dict.add(text, nullptr, &uid, UID_SOP_CLASS), 0);
    }
    EXPECT_EQ(uid, 256);
    EXPECT_EQ(Dict.add("1.2.99.999", nullptr, &uid, UID_SOP_CLASS), DICT_ERR_FULL);
    EXPECT_TRUE(log.has("DcDict::add", "Dictionary UID limit of 256 reached"));
}

TEST_F(Extend, SequenceMemberListLookupsAndFailures)
{
    unsigned int members[DICT_SQ_MEMBER_LIMIT];
    int count = 0;
    EXPECT_EQ(Dict.getSqTagList(0x0008, 0x1140, members, count), 0);
    ASSERT_GE(count, 2);
    EXPECT_EQ(members[0], 0x00081150u);
    EXPECT_EQ(members[1], 0x00081155u);
    EXPECT_EQ(Dict.getSqTagList(0x50022600u, members, count), 0);  // repeating group
    EXPECT_TRUE(log.entries.empty());
    count = 7;
    EXPECT_EQ(Dict.getSqTagList(0x00100010u, members, count), DICT_ERR_NOT_SQ);
    EXPECT_EQ(count, 0);
    EXPECT_TRUE(log.has("DcDict::getSqTagList", "Element (0010,0010) is not of type SQ"));
    EXPECT_EQ(Dict.getSqTagList(0x00100215u, members, count), DICT_ERR_NOT_FOUND);
    EXPECT_TRUE(log.has("DcDict::getSqTagList", "(0010,0215), member tag list missing"));
    EXPECT_EQ(Dict.getSqTagList(0x00091001u, members, count), DICT_ERR_NOT_FOUND);
    EXPECT_EQ(Dict.getSqTagList(0x00081140u, nullptr, count), DICT_ERR_NULL_ARG);
}

TEST_F(Extend, NewSequenceWithMembers)
{
    const unsigned int memberTags[] = {0x00100010u, 0x00100020u, 0x00191001u};
    int tagConst = 0;
    // (0019,1001) is the sequence itself: a sequence may nest in its own items.
    EXPECT_EQ(Dict.add(0x00191001u, 1, "T_0019_xx01_mySequence", &tagConst, memberTags, 3), 0);
    unsigned int members[DICT_SQ_MEMBER_LIMIT];
    int count = 0;
    EXPECT_EQ(Dict.getSqTagList(tagConst, members, count), 0);
    ASSERT_EQ(count, 3);
    EXPECT_EQ(members[2], 0x00191001u);
    EXPECT_EQ(Dict.getSqTagList(0x00192001u, members, count), 0);
    EXPECT_TRUE(log.entries.empty());
    EXPECT_EQ(Dict.subtract(0x00191001u), 0);
    EXPECT_EQ(Dict.getSqTagList(0x00191001u, members, count), DICT_ERR_NOT_FOUND);
    // Added again, it starts without a stale list.
    EXPECT_EQ(Dict.add(0x00191001u, 1, nullptr, &tagConst, memberTags, 1), 0);
    EXPECT_EQ(Dict.getSqTagList(0x00191001u, members, count), 0);
    EXPECT_EQ(count, 1);
    // A known sequence without a list takes one, but only once.
    EXPECT_EQ(Dict.add(0x00100216u, 1, nullptr, &tagConst, memberTags, 1), 0);
    EXPECT_EQ(tagConst, T_0010_0216_strainStockSequence);
    EXPECT_EQ(Dict.getSqTagList(T_0010_0216_strainStockSequence, members, count), 0);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(Dict.add(0x00100216u, 1, nullptr, &tagConst, memberTags, 1), DICT_ERR_EXISTS);
    EXPECT_EQ(Dict.add(0x00100010u, 1, nullptr, &tagConst, memberTags, 1), DICT_ERR_EXISTS);
}

TEST_F(Extend, BadMemberListAddsNothing)
{
    const unsigned int unknownMember[] = {0x00100010u, 0x00771234u};
    int tagConst = 0;
    int check = 0;
    EXPECT_EQ(Dict.add(0x00190010u, 1, nullptr, &tagConst, unknownMember, 2), DICT_ERR_SQ_UNKNOWN_MEMBER);
    EXPECT_TRUE(log.has("DcDict::add", "Unknown element 0x00771234 added to SQ 0x001900ff"));
    unsigned int tooMany[DICT_SQ_MEMBER_LIMIT + 1];
    for (unsigned int& tag : tooMany)
        tag = 0x00100010u;
    EXPECT_EQ(Dict.add(0x00190010u, 1, nullptr, &tagConst, tooMany, DICT_SQ_MEMBER_LIMIT + 1),
              DICT_ERR_SQ_MEMBER_LIMIT);
    EXPECT_TRUE(log.has("DcDict::add", "Number of element exceeds limit for SQ tag 0x001900ff"));
    EXPECT_EQ(Dict.add(0x00190010u, 1, nullptr, &tagConst, tooMany, -1), DICT_ERR_SQ_MEMBER_LIMIT);
    EXPECT_EQ(Dict.add(0x00190010u, 1, nullptr, &tagConst, nullptr, 2), DICT_ERR_NULL_ARG);
    EXPECT_EQ(Dict.getTagDef(0x00190010u, check), DICT_ERR_NOT_FOUND);
    EXPECT_EQ(Dict.add(0x00190010u, 1, nullptr, &tagConst, tooMany, DICT_SQ_MEMBER_LIMIT), 0);
}

TEST_F(Extend, SequenceTableHoldsOneHundredSixtyLists)
{
    const unsigned int memberTags[] = {0x00100010u};
    int added = 0;
    int status = 0;
    for (unsigned int element = 0x1000; element < 0x1100 && status == 0; ++element) {
        int tagConst;
        status = Dict.add(0x00450000u | element, 1, nullptr, &tagConst, memberTags, 1);
        added += status == 0;
    }
    EXPECT_EQ(status, DICT_ERR_FULL);
    EXPECT_TRUE(log.has("DcDict::add", "Dictionary sequence limit reached"));
    int builtIn = 0;
    for (int g = 0; g < DcDictBuiltinSqGroupCount; ++g)
        builtIn += DcDictBuiltinSqGroups[g].count;
    EXPECT_EQ(added + builtIn, DICT_SQ_SLOTS);
}

TEST_F(Extend, GeneratedUidsCarryDateTimeAndCounter)
{
    char first[65], second[65];
    EXPECT_EQ(Dict.genUid(first), 0);
    EXPECT_EQ(Dict.genUid(second), 0);
    std::vector<long> a, b;
    std::stringstream inA(first), inB(second);
    for (std::string field; std::getline(inA, field, '.');)
        a.push_back(field.find_first_not_of("0123456789") == std::string::npos ? std::stol(field) : -1);
    for (std::string field; std::getline(inB, field, '.');)
        b.push_back(std::stol(field));
    ASSERT_EQ(a.size(), 10u) << first;
    ASSERT_EQ(b.size(), 10u) << second;
    EXPECT_EQ(std::string(first, 11), "2.999.7321.");
    EXPECT_GE(a[3], 2020);
    EXPECT_TRUE(a[4] >= 1 && a[4] <= 12 && a[5] >= 1 && a[5] <= 31) << first;
    EXPECT_TRUE(a[6] >= 0 && a[6] <= 23 && a[7] >= 0 && a[7] <= 59 && a[8] >= 0 && a[8] <= 60) << first;
    EXPECT_EQ(a[9], 1);
    EXPECT_EQ(b[9], 2);
    EXPECT_EQ(Dict.genUid(nullptr), DICT_ERR_NULL_ARG);
    EXPECT_TRUE(log.has("DcDict::genUid", "Null argument passed"));
    Dict.reset();
    Dict.genUid(first);
    EXPECT_EQ(std::string(first).substr(std::string(first).rfind('.')), ".1");
}

TEST_F(Extend, MessageIdsAreOddAndRepeatAfterOneHundredTwentyEight)
{
    unsigned short id = 0;
    for (int call = 1; call <= 128; ++call) {
        Dict.genMsgId(id);
        EXPECT_EQ(id, 2 * call - 1);
    }
    Dict.genMsgId(id);
    EXPECT_EQ(id, 1);
    Dict.reset();
    Dict.genMsgId(id);
    EXPECT_EQ(id, 1);
}

TEST_F(Extend, PresentationContextIdsTurnEvenAfterTwoHundredFiftyThree)
{
    std::vector<int> ids;
    for (int call = 0; call < 256; ++call) {
        unsigned char id = 0;
        Dict.genPresCtxId(id);
        ids.push_back(id);
    }
    for (int call = 0; call < 127; ++call)
        EXPECT_EQ(ids[call], 2 * call + 1);
    EXPECT_EQ(ids[127], 0);
    EXPECT_EQ(ids[128], 2);
    EXPECT_EQ(ids[254], 254);
    EXPECT_EQ(ids[255], 0);
}

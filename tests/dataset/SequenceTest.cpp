#include <gtest/gtest.h>

#include "TestSupport.h"
#include "dataset/DcElemSq.h"
#include "dataset/DcElemSqItem.h"
#include "foundation/util.h"

namespace {

DcElemSqItem* referenceItem(const char* classUid, const char* instanceUid = nullptr)
{
    DcElemSqItem* item = new DcElemSqItem;
    item->add(new DcElem(T_0008_1150_referencedSopClassUid, classUid));
    if (instanceUid != nullptr)
        item->add(new DcElem(T_0008_1155_referencedSopInstanceUid, instanceUid));
    return item;
}

}

TEST(SequenceWriting, ItemsHaveDefinedLengthsInEachSyntax)
{
    DcElemSq sq(T_0008_1140_referencedImageSequence);
    EXPECT_EQ(encode(sq, UID_LITTLE_ENDIAN_EXPLICIT),
              (Bytes{0x08, 0x00, 0x40, 0x11, 'S', 'Q', 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}));
    unsigned int size;
    sq.getBufSize(size, 0);
    EXPECT_EQ(size, 20u);

    ASSERT_NE(sq.add(referenceItem("1.2")), nullptr);
    ASSERT_NE(sq + referenceItem("5.6", "7.8"), nullptr);
    Bytes expected = {0x08, 0x00, 0x40, 0x11, 'S', 'Q', 0x00, 0x00, 0x34, 0x00, 0x00, 0x00,
                      0xFE, 0xFF, 0x00, 0xE0, 0x0C, 0x00, 0x00, 0x00,
                      0x08, 0x00, 0x50, 0x11, 'U', 'I', 0x04, 0x00, '1', '.', '2', 0,
                      0xFE, 0xFF, 0x00, 0xE0, 0x18, 0x00, 0x00, 0x00,
                      0x08, 0x00, 0x50, 0x11, 'U', 'I', 0x04, 0x00, '5', '.', '6', 0,
                      0x08, 0x00, 0x55, 0x11, 'U', 'I', 0x04, 0x00, '7', '.', '8', 0};
    EXPECT_EQ(encode(sq, UID_LITTLE_ENDIAN_EXPLICIT), expected);
}

TEST(SequenceItems, NeedAMemberListForTheSequenceTag)
{
    unsigned int tag = privateTag(VR_SQ);
    LogCapture log(LOG_CHANNEL_0);
    DcElemSq sq(groupOf(tag), elementOf(tag));
    EXPECT_EQ(sq.add(new DcElemSqItem), nullptr);
    EXPECT_EQ(sq.first(), nullptr);
    EXPECT_TRUE(log.has("(0009,1045), member tag list missing"));
}

TEST(SequenceReading, NestedSequencesOfUndefinedLength)
{
    // Outer sequence, one item holding an inner sequence (implicit, known SQ
    // tag) whose item holds a UI; every length undefined.
    Bytes bytes = {0x08, 0x00, 0x40, 0x11, 0xFF, 0xFF, 0xFF, 0xFF,
                   0xFE, 0xFF, 0x00, 0xE0, 0xFF, 0xFF, 0xFF, 0xFF,
                   0x40, 0x00, 0x75, 0x02, 0xFF, 0xFF, 0xFF, 0xFF,
                   0xFE, 0xFF, 0x00, 0xE0, 0xFF, 0xFF, 0xFF, 0xFF,
                   0x08, 0x00, 0x50, 0x11, 0x04, 0x00, 0x00, 0x00, '5', '.', '6', 0,
                   0xFE, 0xFF, 0x0D, 0xE0, 0, 0, 0, 0,
                   0xFE, 0xFF, 0xDD, 0xE0, 0, 0, 0, 0,
                   0xFE, 0xFF, 0x0D, 0xE0, 0, 0, 0, 0,
                   0xFE, 0xFF, 0xDD, 0xE0, 0, 0, 0, 0,
                   0x10, 0x00, 0x10, 0x00, 0x04, 0x00, 0x00, 0x00, 'D', 'o', 'e', ' '};
    DcElemList list;
    unsigned int left = 99;
    EXPECT_EQ(parse(list, bytes, UID_LITTLE_ENDIAN_IMPLICIT, &left), 0);
    EXPECT_EQ(left, 0u);
    ASSERT_EQ(list.count(), 2);
    DcElemSq* outer = nullptr;
    ASSERT_EQ(list.getElem(T_0008_1140_referencedImageSequence, &outer), 0);
    ASSERT_EQ(outer->count(), 1);
    DcElemSq* inner = nullptr;
    ASSERT_EQ(outer->first()->getElem(T_0040_0275_requestAttributesSequence, &inner), 0);
    ASSERT_EQ(inner->count(), 1);
    char uid[65];
    EXPECT_EQ(inner->first()->getValue(T_0008_1150_referencedSopClassUid, uid, 64), 0);
    EXPECT_STREQ(uid, "5.6");

    Bytes written = encode(list, UID_LITTLE_ENDIAN_IMPLICIT);
    EXPECT_EQ(written.size(), bytes.size() - 4 * 8);  // the four delimiters are gone
    DcElemList again;
    EXPECT_EQ(parse(again, written, UID_LITTLE_ENDIAN_IMPLICIT), 0);
    EXPECT_EQ(encode(again, UID_LITTLE_ENDIAN_IMPLICIT), written);
}

TEST(SequenceReading, MalformedItemsFailWithADataError)
{
    LogCapture log;
    Bytes notAnItem = {0x08, 0x00, 0x50, 0x11, 'U', 'I', 0x04, 0x00, '1', '.', '2', 0};
    DcElemSq sq(T_0008_1140_referencedImageSequence);
    EXPECT_EQ(sq.parseVal(notAnItem.data(), 12, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_ERR_BAD_VALUE);
    EXPECT_EQ(sq.count(), 0);
    EXPECT_TRUE(log.has("Element (0008,1140) - Data error, did not find the expected sequence item tag"));

    Bytes tooLong = {0xFE, 0xFF, 0x00, 0xE0, 0x00, 0x00, 0x00, 0x00,
                     0xFE, 0xFF, 0x00, 0xE0, 0x40, 0x00, 0x00, 0x00, 0x08, 0x00};
    EXPECT_EQ(sq.parseVal(tooLong.data(), 18, UID_LITTLE_ENDIAN_EXPLICIT), UTIL_ERR_LENGTH);
    EXPECT_EQ(sq.count(), 1);  // the empty first item stays
    EXPECT_TRUE(log.has("SQ item length invalid for element (0008,1140)"));

    Bytes unterminated = {0xFE, 0xFF, 0x00, 0xE0, 0xFF, 0xFF, 0xFF, 0xFF, 0x08, 0x00, 0x50, 0x11};
    DcElemSq other(T_0008_1140_referencedImageSequence);
    EXPECT_EQ(other.parseVal(unterminated.data(), 12, UID_LITTLE_ENDIAN_EXPLICIT), UTIL_ERR_LENGTH);
    EXPECT_TRUE(log.has("Data error, Sequence Item delimiter not found"));
    EXPECT_EQ(other.parseVal(unterminated.data(), 0xFFFFFFFF, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_ERR_BAD_VALUE);
    EXPECT_TRUE(log.has("Element (0008,1140) - Data error, undefined length encountered"));
    EXPECT_EQ(other.parseVal(nullptr, 4, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_ERR_NULL_ARG);

    unsigned int len;
    EXPECT_EQ(sq.frame(static_cast<unsigned char*>(nullptr), len, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_ERR_NULL_ARG);
    DcElemSqItem item;
    EXPECT_EQ(item.frame(static_cast<unsigned char*>(nullptr), len, UID_LITTLE_ENDIAN_EXPLICIT),
              ELEM_SQ_ITEM_ERR_NULL_BUF);
    EXPECT_TRUE(log.has("<DcElemSqItem::frame> Null argument passed"));
}

TEST(SequencePrinting, FramesEachItem)
{
    DcElemSq sq(T_0008_1140_referencedImageSequence);
    sq.add(referenceItem("1.2"));
    EXPECT_EQ(printed([&](FILE* f) { sq.printNodeList(f); }),
              "   *** SQ (0008,1140)  T_0008_1140_referencedImageSequence begin ***\n"
              "     * SQ item (0008,1140) begin *\n"
              "(0008,1150)   UI(1)   T_0008_1150_referencedSopClassUid\n"
              "  1.2\n"
              "     * SQ item (0008,1140) end *\n"
              "   *** SQ (0008,1140)  T_0008_1140_referencedImageSequence end ***\n");
}

TEST(SequenceValues, ResetReachesNestedElements)
{
    DcElemSq sq(T_0008_1140_referencedImageSequence);
    DcElemSqItem* item = sq.add(referenceItem("1.2", "3.4"));
    char uid[65];
    EXPECT_EQ(item->getValue(T_0008_1150_referencedSopClassUid, uid, 64), 0);
    EXPECT_EQ(item->getValue(T_0008_1150_referencedSopClassUid, uid, 64), ELEM_ERR_INDEX_PAST_END);
    sq.resetValueCount();
    EXPECT_EQ(item->getValue(T_0008_1150_referencedSopClassUid, uid, 64), 0);
}

// Copies of data sets, sequences and items show what their original holds;
// only the original destroys it, once, and assigning over one destroys what
// it owned before. Meant for the address sanitizer as much as for the checks.
TEST(SequenceCopies, DataSetsSequencesAndItemsLeaveTheirContentsToTheOriginal)
{
    DcElemList* set = new DcElemList;
    DcElemSq* sq = new DcElemSq(T_0008_1140_referencedImageSequence);
    DcElemSqItem* item = referenceItem("1.2", "3.4");
    sq->add(item);
    set->add(sq);
    set->add(new DcBuf(malloc(8), 8, UID_LITTLE_ENDIAN_IMPLICIT));
    Bytes before = encode(*set, UID_LITTLE_ENDIAN_EXPLICIT);
    {
        DcElemList setCopy(*set);
        DcElemSq sqCopy(*sq);
        DcElemSqItem itemCopy(*item);
        EXPECT_EQ(encode(setCopy, UID_LITTLE_ENDIAN_EXPLICIT), before);
        EXPECT_EQ(setCopy.getBufList()->first(), set->getBufList()->first());
        EXPECT_EQ(sqCopy.first(), item);
        char uid[65];
        EXPECT_EQ(itemCopy.getValue(T_0008_1155_referencedSopInstanceUid, uid, 64, ELEM_VAL_INDEX_KEEP), 0);
        EXPECT_STREQ(uid, "3.4");

        DcElemList assigned;
        assigned.add(new DcElem(T_0010_0010_patientName, "Replaced"));
        assigned = *set;
        EXPECT_EQ(assigned.count(), 1);
        DcElemSqItem itemAssigned;
        itemAssigned.add(new DcElem(T_0008_1150_referencedSopClassUid, "9.9"));
        itemAssigned = *item;
        EXPECT_EQ(itemAssigned.getValue(T_0008_1155_referencedSopInstanceUid, uid, 64, ELEM_VAL_INDEX_KEEP), 0);
    }
    EXPECT_EQ(encode(*set, UID_LITTLE_ENDIAN_EXPLICIT), before);
    DcElemList outlives(*set);
    delete set;
}

#include <gtest/gtest.h>

#include <cstring>

#include "TestSupport.h"
#include "dataset/DcElemList.h"
#include "dataset/DcElemSq.h"
#include "dataset/DcElemSqItem.h"
#include "dictionary/DcDict.h"
#include "foundation/util.h"

namespace {

DcElemSqItem* referenceItem(const char* classUid, const char* instanceUid)
{
    DcElemSqItem* item = new DcElemSqItem;
    item->add(new DcElem(T_0008_1150_referencedSopClassUid, classUid));
    item->add(new DcElem(T_0008_1155_referencedSopInstanceUid, instanceUid));
    return item;
}

}

TEST(SequenceWriting, ItemsHaveDefinedLengths)
{
    DcElemSq sq(T_0008_1140_referencedImageSequence);
    ASSERT_NE(sq.add(referenceItem("1.2", "3.4")), nullptr);
    ASSERT_NE(sq + referenceItem("5.6", "7.8"), nullptr);
    Bytes item1 = {0xFE, 0xFF, 0x00, 0xE0, 0x18, 0x00, 0x00, 0x00,
                   0x08, 0x00, 0x50, 0x11, 'U', 'I', 0x04, 0x00, '1', '.', '2', 0,
                   0x08, 0x00, 0x55, 0x11, 'U', 'I', 0x04, 0x00, '3', '.', '4', 0};
    Bytes item2 = {0xFE, 0xFF, 0x00, 0xE0, 0x18, 0x00, 0x00, 0x00,
                   0x08, 0x00, 0x50, 0x11, 'U', 'I', 0x04, 0x00, '5', '.', '6', 0,
                   0x08, 0x00, 0x55, 0x11, 'U', 'I', 0x04, 0x00, '7', '.', '8', 0};
    Bytes expected = {0x08, 0x00, 0x40, 0x11, 'S', 'Q', 0x00, 0x00, 0x40, 0x00, 0x00, 0x00};
    expected.insert(expected.end(), item1.begin(), item1.end());
    expected.insert(expected.end(), item2.begin(), item2.end());
    EXPECT_EQ(encode(sq, UID_LITTLE_ENDIAN_EXPLICIT), expected);
    unsigned int size;
    sq.getBufSize(size, 0);
    EXPECT_GE(size, expected.size());
}

TEST(SequenceWriting, ImplicitAndBigEndianForms)
{
    DcElemSq sq(T_0008_1140_referencedImageSequence);
    DcElemSqItem* item = new DcElemSqItem;
    item->add(new DcElem(T_0008_1150_referencedSopClassUid, "1.2"));
    sq.add(item);
    EXPECT_EQ(encode(sq, UID_LITTLE_ENDIAN_IMPLICIT),
              (Bytes{0x08, 0x00, 0x40, 0x11, 0x14, 0x00, 0x00, 0x00, 0xFE, 0xFF, 0x00, 0xE0, 0x0C, 0x00, 0x00, 0x00,
                     0x08, 0x00, 0x50, 0x11, 0x04, 0x00, 0x00, 0x00, '1', '.', '2', 0}));
    EXPECT_EQ(encode(sq, UID_BIG_ENDIAN_EXPLICIT),
              (Bytes{0x00, 0x08, 0x11, 0x40, 'S', 'Q', 0x00, 0x00, 0x00, 0x00, 0x00, 0x14, 0xFF, 0xFE, 0xE0, 0x00,
                     0x00, 0x00, 0x00, 0x0C, 0x00, 0x08, 0x11, 0x50, 'U', 'I', 0x00, 0x04, '1', '.', '2', 0}));
}

TEST(SequenceWriting, AnEmptySequenceHasLengthZero)
{
    DcElemSq sq(T_0008_1140_referencedImageSequence);
    EXPECT_EQ(encode(sq, UID_LITTLE_ENDIAN_EXPLICIT),
              (Bytes{0x08, 0x00, 0x40, 0x11, 'S', 'Q', 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}));
    unsigned int size;
    sq.getBufSize(size, 0);
    EXPECT_EQ(size, 20u);
}

TEST(SequenceWriting, RefusesANullBuffer)
{
    LogCapture log;
    DcElemSq sq(T_0008_1140_referencedImageSequence);
    unsigned int len;
    EXPECT_EQ(sq.frame(static_cast<unsigned char*>(nullptr), len, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_ERR_NULL_ARG);
    DcElemSqItem item;
    EXPECT_EQ(item.frame(static_cast<unsigned char*>(nullptr), len, UID_LITTLE_ENDIAN_EXPLICIT),
              ELEM_SQ_ITEM_ERR_NULL_BUF);
    EXPECT_NE(log.text().find("<DcElemSqItem::frame> Null argument passed"), std::string::npos);
}

TEST(SequenceItems, NeedAMemberListForTheSequenceTag)
{
    unsigned int tag = privateTag(VR_SQ);
    LogCapture log(LOG_CHANNEL_0);
    DcElemSq sq(groupOf(tag), elementOf(tag));
    EXPECT_EQ(sq.add(new DcElemSqItem), nullptr);
    EXPECT_EQ(sq.first(), nullptr);
    EXPECT_NE(log.text().find("(0009,1045), member tag list missing"), std::string::npos);
}

TEST(SequenceItems, AreWalkedAndUnlinked)
{
    DcElemSq sq(T_0008_1140_referencedImageSequence);
    DcElemSqItem* a = sq.add(referenceItem("1", "2"));
    DcElemSqItem* b = sq.add(referenceItem("3", "4"));
    EXPECT_EQ(sq.first(), a);
    EXPECT_EQ(sq.last(), b);
    EXPECT_EQ(a->next(), b);
    EXPECT_EQ(b->previous(), a);
    EXPECT_EQ(sq.subtract(a), b);
    EXPECT_EQ(sq.first(), b);
    delete a;
    char uid[65];
    EXPECT_EQ(b->getValue(T_0008_1155_referencedSopInstanceUid, uid, 64), 0);
    EXPECT_STREQ(uid, "4");
    DcElem* elem = nullptr;
    EXPECT_EQ(b->getElem(static_cast<unsigned short>(0x0008), static_cast<unsigned short>(0x1150), &elem), 0);
    EXPECT_EQ(b->first(), elem);
    EXPECT_EQ(b->index(T_0008_1155_referencedSopInstanceUid), 0);
}

TEST(SequenceReading, ItemsOfUndefinedLengthEndAtTheirDelimiter)
{
    Bytes value = {0xFE, 0xFF, 0x00, 0xE0, 0xFF, 0xFF, 0xFF, 0xFF,
                   0x08, 0x00, 0x50, 0x11, 'U', 'I', 0x04, 0x00, '1', '.', '2', 0,
                   0xFE, 0xFF, 0x0D, 0xE0, 0, 0, 0, 0,
                   0xFE, 0xFF, 0x00, 0xE0, 0x0C, 0x00, 0x00, 0x00,
                   0x08, 0x00, 0x50, 0x11, 'U', 'I', 0x04, 0x00, '3', '.', '4', 0};
    DcElemSq sq(T_0008_1140_referencedImageSequence, value.data(), static_cast<unsigned int>(value.size()),
                UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(sq.count(), 2);
    char uid[65];
    EXPECT_EQ(sq.last()->getValue(T_0008_1150_referencedSopClassUid, uid, 64), 0);
    EXPECT_STREQ(uid, "3.4");
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
    unsigned int len = static_cast<unsigned int>(bytes.size());
    EXPECT_EQ(list.parse(bytes.data(), len, UID_LITTLE_ENDIAN_IMPLICIT), 0);
    EXPECT_EQ(len, 0u);
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
    DcElemList again(written.data(), static_cast<unsigned int>(written.size()), UID_LITTLE_ENDIAN_IMPLICIT);
    EXPECT_EQ(encode(again, UID_LITTLE_ENDIAN_IMPLICIT), written);
    EXPECT_EQ(written.size(), bytes.size() - 4 * 8);  // the four delimiters are gone
}

TEST(SequenceReading, BytesThatAreNotAnItemFailWithADataError)
{
    LogCapture log;
    Bytes value = {0x08, 0x00, 0x50, 0x11, 'U', 'I', 0x04, 0x00, '1', '.', '2', 0};
    DcElemSq sq(T_0008_1140_referencedImageSequence);
    EXPECT_EQ(sq.parseVal(value.data(), static_cast<unsigned int>(value.size()), UID_LITTLE_ENDIAN_EXPLICIT),
              ELEM_ERR_BAD_VALUE);
    EXPECT_EQ(sq.count(), 0);
    EXPECT_NE(log.text().find("Element (0008,1140) - Data error, did not find the expected sequence item tag"),
              std::string::npos);
}

TEST(SequenceReading, MalformedItemsStopTheRead)
{
    LogCapture log;
    Bytes tooLong = {0xFE, 0xFF, 0x00, 0xE0, 0x00, 0x00, 0x00, 0x00,
                     0xFE, 0xFF, 0x00, 0xE0, 0x40, 0x00, 0x00, 0x00, 0x08, 0x00};
    DcElemSq sq(T_0008_1140_referencedImageSequence);
    EXPECT_EQ(sq.parseVal(tooLong.data(), static_cast<unsigned int>(tooLong.size()), UID_LITTLE_ENDIAN_EXPLICIT),
              UTIL_ERR_LENGTH);
    EXPECT_EQ(sq.count(), 1);  // the empty first item stays
    EXPECT_NE(log.text().find("SQ item length invalid for element (0008,1140)"), std::string::npos);

    Bytes unterminated = {0xFE, 0xFF, 0x00, 0xE0, 0xFF, 0xFF, 0xFF, 0xFF, 0x08, 0x00, 0x50, 0x11};
    DcElemSq other(T_0008_1140_referencedImageSequence);
    EXPECT_EQ(other.parseVal(unterminated.data(), static_cast<unsigned int>(unterminated.size()),
                             UID_LITTLE_ENDIAN_EXPLICIT),
              UTIL_ERR_LENGTH);
    EXPECT_NE(log.text().find("Data error, Sequence Item delimiter not found"), std::string::npos);

    EXPECT_EQ(other.parseVal(unterminated.data(), 0xFFFFFFFF, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_ERR_BAD_VALUE);
    EXPECT_NE(log.text().find("Element (0008,1140) - Data error, undefined length encountered"), std::string::npos);
    EXPECT_EQ(other.parseVal(nullptr, 4, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_ERR_NULL_ARG);
}

TEST(SequenceReading, TruncatedNestedDataNeverCrashes)
{
    LogCapture log1(LOG_CHANNEL_1);
    LogCapture log0(LOG_CHANNEL_0);
    DcElemList list;
    DcElemSq* sq = new DcElemSq(T_0008_1140_referencedImageSequence);
    sq->add(referenceItem("1.2.3", "4.5.6"));
    sq->add(referenceItem("7.8", "9"));
    list.add(sq);
    list.add(new DcElem(T_0010_0010_patientName, "Doe"));
    for (DICT_UID xfer : {UID_LITTLE_ENDIAN_IMPLICIT, UID_BIG_ENDIAN_EXPLICIT}) {
        Bytes whole = encode(list, xfer);
        for (size_t cut = 1; cut < whole.size(); ++cut) {
            Bytes part(whole.begin(), whole.begin() + cut);
            DcElemList back;
            unsigned int len = static_cast<unsigned int>(cut);
            back.parse(part.data(), len, xfer);
            EXPECT_LE(len, cut);
        }
    }
}

TEST(SequencePrinting, FramesEachItem)
{
    DcElemSq sq(T_0008_1140_referencedImageSequence);
    DcElemSqItem* item = new DcElemSqItem;
    item->add(new DcElem(T_0008_1150_referencedSopClassUid, "1.2"));
    sq.add(item);
    std::string out = printed([&](FILE* f) { sq.printNodeList(f); });
    EXPECT_EQ(out,
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

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "TestSupport.h"
#include "dataset/DcElemSq.h"
#include "foundation/util.h"

namespace {

// A small image data set in one syntax.
Bytes sampleImage(DICT_UID xfer)
{
    DcElemList list;
    list.add(new DcElem(T_0008_0000_groupLength));
    list.add(new DcElem(T_0008_0008_imageType, "ORIGINAL\\PRIMARY"));
    list.add(new DcElem(T_0008_0016_sopClassUid, UID_CT_IMAGE_STORAGE));
    list.add(new DcElem(T_0010_0010_patientName, "Doe^John"));
    list.add(new DcElem(T_0020_0037_imageOrientation, "1\\0\\0\\0\\1\\0"));
    list.add(new DcElem(T_0028_0010_rows, 2));
    list.add(new DcElem(T_0028_0011_columns, 2));
    list.add(new DcElem(T_0028_0100_bitsAllocated, 16));
    DcElem* pixels = new DcElem(T_7fe0_0010_pixelData);
    unsigned char data[8] = {1, 0, 2, 0, 3, 0, 4, 0};
    pixels->addValue(data, 8, xfer);
    list.add(pixels);
    return encode(list, xfer);
}

}

TEST(DataSetOrder, ElementsAreKeptInTagOrderAndASecondOfATagReplacesTheFirst)
{
    LogCapture log;
    DcElemList list;
    list.add(new DcElem(T_0028_0010_rows, 1));
    list.add(new DcElem(T_0010_0010_patientName, "First"));
    list.add(new DcElem(T_0008_0060_modality, "CT"));
    DcElem* second = new DcElem(T_0010_0010_patientName, "Second");
    EXPECT_EQ(list + second, second);
    EXPECT_EQ(list.add(second), second);  // already listed: nothing happens
    EXPECT_EQ(list.add(static_cast<DcElem*>(nullptr)), nullptr);
    EXPECT_EQ(list.count(), 3);
    std::string order;
    for (DcElem* elem = list.first(); elem != nullptr; elem = elem->next())
        order += text(*elem) + " ";
    EXPECT_EQ(order, "CT Second 1 ");
    EXPECT_TRUE(log.has("<DcElemList::add> Element (0010,0010) added again, previous instance deleted"));
}

TEST(DataSetWriting, FillsInTheLengthOfEachGroup)
{
    DcElemList list;
    list.add(new DcElem(T_0010_0010_patientName, "Doe"));
    list.add(new DcElem(T_0008_0060_modality, "CT"));
    list.add(new DcElem(T_0008_0000_groupLength));
    Bytes expected = {0x08, 0x00, 0x00, 0x00, 'U', 'L', 0x04, 0x00, 0x0A, 0x00, 0x00, 0x00,
                      0x08, 0x00, 0x60, 0x00, 'C', 'S', 0x02, 0x00, 'C',  'T',
                      0x10, 0x00, 0x10, 0x00, 'P', 'N', 0x04, 0x00, 'D',  'o',  'e', ' '};
    EXPECT_EQ(encode(list, UID_LITTLE_ENDIAN_EXPLICIT), expected);
    unsigned int length = 0;
    list.getValue(T_0008_0000_groupLength, length);
    EXPECT_EQ(length, 10u);
    EXPECT_EQ(encode(list, UID_LITTLE_ENDIAN_IMPLICIT)[8], 0x0A);  // header sizes are the same in both forms
    Bytes big = encode(list, UID_BIG_ENDIAN_EXPLICIT);
    EXPECT_EQ(Bytes(big.begin(), big.begin() + 12),
              (Bytes{0x00, 0x08, 0x00, 0x00, 'U', 'L', 0x00, 0x04, 0x00, 0x00, 0x00, 0x0A}));

    list.add(new DcElem(T_7fe0_0000_groupLength));
    DcElem* pixels = new DcElem(T_7fe0_0010_pixelData);
    unsigned char data[6] = {0};
    pixels->addValue(data, 6, UID_LITTLE_ENDIAN_IMPLICIT);
    list.add(pixels);
    encode(list, UID_LITTLE_ENDIAN_IMPLICIT);
    list.getValue(T_7fe0_0000_groupLength, length);
    EXPECT_EQ(length, 14u);
}

// A group length read with another VR is written back as UL in the 12 bytes
// the set counted for it, in every syntax: an empty one (FF16,0000) IS made
// the group's size wrap below zero and ran 10 bytes past the buffer.
TEST(DataSetWriting, GroupLengthOfAnyVrIsWrittenAsUlWithinTheCountedSize)
{
    const Bytes emptyIsLittle = {0x16, 0xFF, 0x00, 0x00, 'I', 'S', 0x00, 0x00};
    const Bytes emptyIsBig = {0xFF, 0x16, 0x00, 0x00, 'I', 'S', 0x00, 0x00};
    const Bytes textGroup = {0x08, 0x00, 0x00, 0x00, 'I', 'S', 0x02, 0x00, '4', ' ',
                             0x08, 0x00, 0x60, 0x00, 'C', 'S', 0x02, 0x00, 'C', 'T'};
    const struct {
        Bytes input;
        DICT_UID from;
        unsigned int tag;
        unsigned int groupLength;
    } cases[] = {{emptyIsLittle, UID_LITTLE_ENDIAN_EXPLICIT, 0xFF160000, 0},
                 {emptyIsBig, UID_BIG_ENDIAN_EXPLICIT, 0xFF160000, 0},
                 {textGroup, UID_LITTLE_ENDIAN_EXPLICIT, 0x00080000, 10}};
    for (const auto& c : cases) {
        DcElemList list;
        Bytes input = c.input;
        ASSERT_EQ(parse(list, input, c.from), 0);
        for (DICT_UID to : {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT, UID_BIG_ENDIAN_EXPLICIT}) {
            SCOPED_TRACE(std::to_string(c.tag) + " into syntax " + std::to_string(to));
            unsigned int size = 0, len = 0;
            list.getBufSize(size);
            Bytes out(size + 16, 0xCC);
            EXPECT_EQ(list.frame(out.data(), len, to), 0);
            EXPECT_LE(len, size);
            EXPECT_EQ(Bytes(out.begin() + size, out.end()), Bytes(16, 0xCC));
            ASSERT_GE(len, 12u);
            bool big = to == UID_BIG_ENDIAN_EXPLICIT;
            unsigned int length = big ? out[8] << 24 | out[9] << 16 | out[10] << 8 | out[11]
                                      : out[11] << 24 | out[10] << 16 | out[9] << 8 | out[8];
            EXPECT_EQ(length, c.groupLength);
            Bytes header = to == UID_LITTLE_ENDIAN_IMPLICIT ? Bytes{4, 0, 0, 0}
                           : big                            ? Bytes{'U', 'L', 0, 4}
                                                            : Bytes{'U', 'L', 4, 0};
            EXPECT_EQ(Bytes(out.begin() + 4, out.begin() + 8), header);
        }
    }
}

TEST(DataSetWriting, ChoosesThePixelDataVr)
{
    DcElemList list;
    DcElem* bits = list.add(new DcElem(T_0028_0100_bitsAllocated, 16));
    DcElem* pixels = new DcElem(T_7fe0_0010_pixelData);
    unsigned char data[4] = {1, 2, 3, 4};
    pixels->addValue(data, 4, UID_LITTLE_ENDIAN_EXPLICIT);
    list.add(pixels);
    DICT_VR vr;
    Bytes bytes = encode(list, UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(std::string(bytes.begin() + 14, bytes.begin() + 16), "OW");
    pixels->getVr(vr);
    EXPECT_EQ(vr, VR_OW);
    unsigned short value;
    EXPECT_EQ(bits->getValue(value), 0);  // the rule read Bits Allocated without advancing it

    bits->deleteAllValues();
    bits->addValue(8);
    bytes = encode(list, UID_BIG_ENDIAN_EXPLICIT);
    EXPECT_EQ(bytes[15], 'B');
    bits->deleteAllValues();
    bits->addValue(16);
    encode(list, UID_JPEG_BASELINE);
    pixels->getVr(vr);
    EXPECT_EQ(vr, VR_OB);
    encode(list, UID_LITTLE_ENDIAN_IMPLICIT);
    pixels->getVr(vr);
    EXPECT_EQ(vr, VR_OB);  // left as it stood
}

TEST(DataSetWriting, RefusesANullBufferAndNonTransferSyntaxes)
{
    LogCapture log;
    DcElemList list;
    list.add(new DcElem(T_0010_0010_patientName, "A"));
    unsigned int len = 7;
    EXPECT_EQ(list.frame(static_cast<unsigned char*>(nullptr), len, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_ERR_NULL_ARG);
    unsigned char buf[64];
    LogCapture dictLog(LOG_CHANNEL_0);
    EXPECT_EQ(list.frame(buf, len, UID_CT_IMAGE_STORAGE), ELEM_ERR_XFER_SYNTAX);
    EXPECT_TRUE(log.has("'1.2.840.10008.5.1.4.1.1.2' is not a Transfer Syntax UID"));
}

TEST(DataSetWriting, SizeCanLeaveOutTags)
{
    DcElemList list;
    list.add(new DcElem(T_0010_0010_patientName, "A"));
    list.add(new DcElem(T_0028_0010_rows, 1));
    unsigned int all, some;
    list.getBufSize(all);
    int exclude[] = {static_cast<int>(0x00100010), -1};
    list.getBufSize(some, exclude);
    EXPECT_EQ(all - some, 12u + 324u);
}

TEST(DataSetBufferLists, AreWrittenIntoAndReadFromPiecewise)
{
    Bytes whole = sampleImage(UID_LITTLE_ENDIAN_EXPLICIT);
    DcBufList pieces;
    size_t half = whole.size() / 2 + 1;
    void* a = malloc(half);
    memcpy(a, whole.data(), half);
    void* b = malloc(whole.size() - half);
    memcpy(b, whole.data() + half, whole.size() - half);
    pieces.add(new DcBuf(a, static_cast<unsigned int>(half), UID_LITTLE_ENDIAN_EXPLICIT));
    pieces.add(new DcBuf(b, static_cast<unsigned int>(whole.size() - half), UID_LITTLE_ENDIAN_EXPLICIT));
    DcElemList list;
    EXPECT_EQ(list.parse(&pieces), 0);
    EXPECT_EQ(list.count(), 9);

    DcBufList out;
    out.add(new DcBuf(malloc(4), 4, UID_LITTLE_ENDIAN_EXPLICIT));  // grown as needed
    out.last()->setLen(0);
    unsigned int len = 0;
    EXPECT_EQ(list.frame(&out, len, UID_LITTLE_ENDIAN_EXPLICIT), 0);
    EXPECT_EQ(len, whole.size());
    Bytes joined;
    for (DcBuf* buf = out.first(); buf != nullptr; buf = buf->next())
        joined.insert(joined.end(), static_cast<unsigned char*>(buf->getBuf()),
                      static_cast<unsigned char*>(buf->getBuf()) + buf->getLen());
    EXPECT_EQ(joined, whole);
}

TEST(DataSetParsing, CommandGroupIsImplicitWhateverTheSyntax)
{
    Bytes bytes = {0x00, 0x00, 0x00, 0x01, 0x02, 0x00, 0x00, 0x00, 0x30, 0x00,
                   0x00, 0x08, 0x00, 0x60, 'C', 'S', 0x00, 0x02, 'C', 'T'};
    DcElemList list(bytes.data(), static_cast<unsigned int>(bytes.size()), UID_BIG_ENDIAN_EXPLICIT);
    unsigned short command = 0;
    EXPECT_EQ(list.getValue(T_0000_0100_command, command), 0);
    EXPECT_EQ(command, 0x0030);
    char modality[17];
    EXPECT_EQ(list.getValue(T_0008_0060_modality, modality, 16), 0);
    EXPECT_STREQ(modality, "CT");
}

TEST(DataSetParsing, UnknownPrivateElementsDependOnTheSyntax)
{
    Bytes explicitLo = {0x13, 0x00, 0x10, 0x10, 'L', 'O', 0x04, 0x00, 'A', 'B', 'C', 'D'};
    DcElemList list(explicitLo.data(), static_cast<unsigned int>(explicitLo.size()), UID_LITTLE_ENDIAN_EXPLICIT);
    char value[65];
    EXPECT_EQ(list.getValue(0x00131010u, value, 64), 0);
    EXPECT_STREQ(value, "ABCD");
    DICT_VR vr;
    EXPECT_EQ(Dict.getVrDef(0x00131010u, vr), 0);
    EXPECT_EQ(vr, VR_LO);

    LogCapture log(LOG_CHANNEL_0);
    Bytes implicitUnknown = {0x15, 0x00, 0x10, 0x10, 0x02, 0x00, 0x00, 0x00, 'A', 'B',
                             0x10, 0x00, 0x10, 0x00, 0x02, 0x00, 0x00, 0x00, 'A', ' '};
    DcElemList other;
    EXPECT_EQ(parse(other, implicitUnknown, UID_LITTLE_ENDIAN_IMPLICIT), 0);
    EXPECT_EQ(other.count(), 1);
    EXPECT_EQ(other.getElem(0x00100010u, static_cast<DcElem**>(nullptr)), 0);
    EXPECT_TRUE(log.has("<DcElemList::parseElem> Ignored unknown element (0015,1010)"));
}

TEST(DataSetParsing, EncapsulatedPixelDataIsMeasuredToItsDelimiter)
{
    Bytes bytes = {0x28, 0x00, 0x10, 0x00, 'U', 'S', 0x02, 0x00, 0x02, 0x00,
                   0xE0, 0x7F, 0x10, 0x00, 'O', 'B', 0, 0, 0xFF, 0xFF, 0xFF, 0xFF,
                   0xFE, 0xFF, 0x00, 0xE0, 0, 0, 0, 0,
                   0xFE, 0xFF, 0x00, 0xE0, 0x02, 0, 0, 0, 0xAA, 0xBB,
                   0xFE, 0xFF, 0xDD, 0xE0, 0, 0, 0, 0};
    DcElemList list;
    unsigned int left = 99;
    EXPECT_EQ(parse(list, bytes, UID_JPEG_BASELINE, &left), 0);
    EXPECT_EQ(left, 0u);
    DcBuf pixels;
    ASSERT_EQ(list.getValue(T_7fe0_0010_pixelData, pixels), 0);
    EXPECT_EQ(pixels.getLen(), 18u);
    EXPECT_EQ(encode(list, UID_JPEG_BASELINE), bytes);
}

TEST(DataSetParsing, OddLengthsOnWordVrsIgnoreTheLastByte)
{
    Bytes bytes = {0x28, 0x00, 0x10, 0x00, 'U', 'S', 0x03, 0x00, 0x02, 0x00, 0x07};
    DcElemList list(bytes.data(), static_cast<unsigned int>(bytes.size()), UID_LITTLE_ENDIAN_EXPLICIT);
    unsigned short rows = 0;
    EXPECT_EQ(list.getValue(T_0028_0010_rows, rows), 0);
    EXPECT_EQ(rows, 2);
}

TEST(DataSetParsing, StopsAtAValuePastTheEndOrWithoutItsDelimiter)
{
    LogCapture log;
    Bytes pastEnd = {0x08, 0x00, 0x60, 0x00, 'C', 'S', 0x02, 0x00, 'C', 'T',
                     0x10, 0x00, 0x10, 0x00, 'P', 'N', 0x20, 0x00, 'D', 'o'};
    DcElemList list;
    unsigned int left = 0;
    EXPECT_EQ(parse(list, pastEnd, UID_LITTLE_ENDIAN_EXPLICIT, &left), ELEM_ERR_PAST_END);
    EXPECT_EQ(left, 10u);
    EXPECT_EQ(list.count(), 1);
    EXPECT_TRUE(log.has("Element (0010,0010) - value length 32(0x20) exceeds buffer length 2(0x2)"));

    Bytes undelimited = {0x08, 0x00, 0x0E, 0x03, 'U', 'T', 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 'A', 'B'};
    DcElemList other;
    EXPECT_EQ(parse(other, undelimited, UID_LITTLE_ENDIAN_EXPLICIT), UTIL_ERR_LENGTH);
    EXPECT_EQ(other.count(), 0);
    EXPECT_TRUE(log.has("Data error, Sequence delimiter not found"));

    unsigned int len = 0;
    unsigned char byte = 0;
    EXPECT_EQ(other.parse(&byte, len, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_ERR_NULL_ARG);
    len = 4;
    EXPECT_EQ(other.parse(nullptr, len, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_ERR_NULL_ARG);
    EXPECT_EQ(other.parse(), 0);
}

TEST(DataSetLookup, FindsElementsByEveryTagForm)
{
    DcElemList list;
    DcElem* name = list.add(new DcElem(T_0010_0010_patientName, "A"));
    DcElem* found = nullptr;
    EXPECT_EQ(list.getElem(static_cast<unsigned short>(0x0010), static_cast<unsigned short>(0x0010), &found), 0);
    EXPECT_EQ(found, name);
    EXPECT_EQ(list.getElem(T_0010_0020_patientId, &found), ELEMLIST_ERR_NOT_FOUND);
    EXPECT_EQ(found, nullptr);
    DcElemSq* sq = reinterpret_cast<DcElemSq*>(1);
    EXPECT_EQ(list.getElem(T_0010_0010_patientName, &sq), ELEMLIST_ERR_NOT_FOUND);
    EXPECT_EQ(sq, nullptr);
    EXPECT_EQ(list.index(T_0010_0010_patientName), 0);
    EXPECT_EQ(list.getCursor(), name);
    EXPECT_EQ(list.index(T_0010_0020_patientId), ELEMLIST_ERR_NOT_FOUND);
    EXPECT_EQ(list.getCursor(), name);
}

TEST(DataSetLookup, MovesAndDeepCopiesElementsIntoAnotherSet)
{
    DcElemList from, to;
    from.add(new DcElem(T_0010_0010_patientName, "New"));
    from.add(new DcElem(T_0028_0010_rows, 5));
    to.add(new DcElem(T_0010_0010_patientName, "Old"));
    LogCapture log;
    EXPECT_EQ(from.moveElem(&to), 0);
    EXPECT_EQ(from.count(), 0);
    EXPECT_EQ(to.count(), 2);
    char name[65];
    to.getValue(T_0010_0010_patientName, name, 64);
    EXPECT_STREQ(name, "New");
    EXPECT_EQ(from.moveElem(nullptr), ELEMLIST_ERR_NULL_ARG);

    DcElem* pixels = new DcElem(T_7fe0_0010_pixelData);
    unsigned char data[2] = {1, 2};
    pixels->addValue(data, 2, UID_LITTLE_ENDIAN_IMPLICIT);
    to.add(pixels);
    DcElemList copy;
    copy.add(new DcElem(T_0008_0060_modality, "CT"));
    EXPECT_EQ(to.duplicate(&copy), 0);
    EXPECT_EQ(to.count(), 3);
    EXPECT_EQ(copy.count(), 2);
    DcElem* original = nullptr;
    DcElem* duplicate = nullptr;
    to.getElem(T_0010_0010_patientName, &original);
    copy.getElem(T_0010_0010_patientName, &duplicate);
    EXPECT_NE(original, duplicate);
    duplicate->deleteAllValues();
    EXPECT_EQ(original->getValueCount(), 1);

    unsigned int tags[] = {0x00280010, 0xFFFFFFFF};
    DcElemList some;
    EXPECT_EQ(to.duplicate(&some, tags), 0);
    EXPECT_EQ(some.count(), 1);
    EXPECT_EQ(to.duplicate(nullptr), ELEMLIST_ERR_NULL_ARG);
}

TEST(DataSetPrinting, ListsEveryElementWithItsValues)
{
    DcElemList list;
    list.add(new DcElem(T_0008_0016_sopClassUid, UID_CT_IMAGE_STORAGE));
    list.add(new DcElem(T_0010_0010_patientName, "Doe^John"));
    list.add(new DcElem(T_0028_0010_rows, 512));
    list.add(new DcElem(T_0000_0100_command, static_cast<unsigned short>(0x0030)));
    EXPECT_EQ(printed([&](FILE* f) { list.printNodeList(f); }),
              "(0000,0100)   US(1)   T_0000_0100_command\n"
              "  0x0030 (C-ECHO Request)\n"
              "(0008,0016)   UI(1)   T_0008_0016_sopClassUid\n"
              "  1.2.840.10008.5.1.4.1.1.2 (CT Image Storage)\n"
              "(0010,0010)   PN(1)   T_0010_0010_patientName\n"
              "  Doe^John\n"
              "(0028,0010)   US(1)   T_0028_0010_rows\n"
              "  0x0200 512\n");
    EXPECT_EQ(printed([&](FILE*) { list.printNodeList(nullptr); }), "");
}

TEST(DataSetPrinting, TreeModeIndentsSequenceItems)
{
    Bytes bytes = {0x08, 0x00, 0x40, 0x11, 'S', 'Q', 0, 0, 0x10, 0, 0, 0,
                   0xFE, 0xFF, 0x00, 0xE0, 0x08, 0, 0, 0,
                   0x08, 0x00, 0x50, 0x11, 'U', 'I', 0x00, 0x00,
                   0x28, 0x00, 0x10, 0x00, 'U', 'S', 0x02, 0x00, 0x00, 0x02};
    DcElemList list(bytes.data(), static_cast<unsigned int>(bytes.size()), UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(printed([&](FILE* f) { list.printNodeList(f, PRINT_NODE_TREE); }),
              "(0008,1140) referencedImageSequence                  (SQ) \n"
              "|   |-----------------------\n"
              "|   (0008,1150) referencedSopClassUid                    (UI) \n"
              "|   |-----------------------\n"
              "(0028,0010) rows                                     (US) 0x0200 \n");
}

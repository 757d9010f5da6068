#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <unistd.h>

#include "TestSupport.h"

namespace {

Bytes concat(std::initializer_list<Bytes> parts)
{
    Bytes out;
    for (const Bytes& part : parts)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

Bytes chars(const char* text, size_t len)
{
    return Bytes(text, text + len);
}

std::unique_ptr<DcElem> withRaw(unsigned int tag, Bytes data, DICT_UID xfer)
{
    std::unique_ptr<DcElem> elem(new DcElem(groupOf(tag), elementOf(tag)));
    elem->addValue(data.data(), static_cast<unsigned int>(data.size()), xfer);
    return elem;
}

const Bytes fragments = {0xFE, 0xFF, 0x00, 0xE0, 0x00, 0x00, 0x00, 0x00,
                         0xFE, 0xFF, 0x00, 0xE0, 0x02, 0x00, 0x00, 0x00, 0xAA, 0xBB};

}

TEST(ElementEncoding, MatchesTheWireFormatOfEachSyntax)
{
    const DICT_UID LEI = UID_LITTLE_ENDIAN_IMPLICIT, LEE = UID_LITTLE_ENDIAN_EXPLICIT, BEE = UID_BIG_ENDIAN_EXPLICIT;
    unsigned int atTag = privateTag(VR_AT, 0);
    struct Case {
        const char* what;
        std::function<std::unique_ptr<DcElem>()> make;
        DICT_UID xfer;
        Bytes expected;
    };
    auto uid = [] { return std::unique_ptr<DcElem>(new DcElem(T_0008_0014_instanceCreatorUid, "1.2.3")); };
    auto lut = [] {
        std::unique_ptr<DcElem> elem(new DcElem(T_0028_1101_redLutDescriptor));
        for (unsigned short v : {0x0102, 0x0304, 0x0506})
            elem->addValue(v);
        return elem;
    };
    auto at = [atTag] {
        std::unique_ptr<DcElem> elem(new DcElem(groupOf(atTag), elementOf(atTag)));
        elem->addValue("(0010,0020)\\(7fe0,0010)");
        return elem;
    };
    auto pixels = [] { return withRaw(0x7FE00010, fragments, UID_JPEG_BASELINE); };
    const Case cases[] = {
        {"UI explicit", uid, LEE, concat({{0x08, 0x00, 0x14, 0x00, 'U', 'I', 0x06, 0x00}, chars("1.2.3\0", 6)})},
        {"CS padded with a space", [] { return std::unique_ptr<DcElem>(new DcElem(T_0008_0008_imageType, "ABC")); },
         LEE, concat({{0x08, 0x00, 0x08, 0x00, 'C', 'S', 0x04, 0x00}, chars("ABC ", 4)})},
        {"XS big endian", lut, BEE, {0x00, 0x28, 0x11, 0x01, 'U', 'S', 0x00, 0x06, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06}},
        {"AT four bytes a tag", at, LEE,
         {0x09, 0x00, 0x08, 0x10, 'A', 'T', 0x08, 0x00, 0x10, 0x00, 0x20, 0x00, 0xE0, 0x7F, 0x10, 0x00}},
        {"command group always implicit little endian",
         [] { return std::unique_ptr<DcElem>(new DcElem(T_0000_0100_command, static_cast<unsigned short>(0x30))); },
         BEE, {0x00, 0x00, 0x00, 0x01, 0x02, 0x00, 0x00, 0x00, 0x30, 0x00}},
        {"file meta group in the syntax asked for",
         [] { return std::unique_ptr<DcElem>(new DcElem(T_0002_0010_transferSyntaxUid, UID_BIG_ENDIAN_EXPLICIT)); },
         BEE, concat({{0x00, 0x02, 0x00, 0x10, 'U', 'I', 0x00, 0x14}, chars("1.2.840.10008.1.2.2\0", 20)})},
        {"OX of two buffers as OB",
         [] {
             std::unique_ptr<DcElem> ox = withRaw(0x54000110, {1, 2}, LEE);
             unsigned char third = 3;
             ox->addValue(&third, 1, LEE);
             return ox;
         },
         BEE, {0x54, 0x00, 0x01, 0x10, 'O', 'B', 0, 0, 0x00, 0x00, 0x00, 0x03, 1, 2, 3}},
        {"pixel data encapsulated", pixels, UID_JPEG_BASELINE,
         concat({{0xE0, 0x7F, 0x10, 0x00, 'O', 'B', 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}, fragments,
                 {0xFE, 0xFF, 0xDD, 0xE0, 0, 0, 0, 0}})},
        {"pixel data plain", pixels, LEE, concat({{0xE0, 0x7F, 0x10, 0x00, 'O', 'B', 0, 0, 18, 0, 0, 0}, fragments})},
        {"no value", [] { return std::unique_ptr<DcElem>(new DcElem(T_0010_0010_patientName)); }, LEE,
         {0x10, 0x00, 0x10, 0x00, 'P', 'N', 0, 0}},
        {"an empty value", [] { return std::unique_ptr<DcElem>(new DcElem(T_0010_0010_patientName, "")); }, LEI,
         {0x10, 0x00, 0x10, 0x00, 0, 0, 0, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::unique_ptr<DcElem> elem = c.make();
        int status = -1;
        EXPECT_EQ(encode(*elem, c.xfer, &status), c.expected);
        EXPECT_EQ(status, 0);
    }
}

TEST(ElementEncoding, RefusesWhatItCannotWrite)
{
    LogCapture log;
    DcElem name(T_0010_0010_patientName, "A");
    unsigned int len = 99;
    EXPECT_EQ(name.frame(static_cast<unsigned char*>(nullptr), len, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_ERR_NULL_ARG);
    EXPECT_EQ(len, 0u);
    unsigned char buf[64];
    DcElem sq(T_0008_1140_referencedImageSequence);
    EXPECT_EQ(sq.frame(buf, len, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_ERR_BAD_VR);
    DcElem unknown(static_cast<unsigned short>(0x0011), static_cast<unsigned short>(0x1234));
    EXPECT_EQ(unknown.frame(buf, len, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_ERR_BAD_VR);
    {
        LogCapture dictLog(LOG_CHANNEL_0);
        EXPECT_EQ(name.frame(buf, len, UID_CT_IMAGE_STORAGE), ELEM_ERR_XFER_SYNTAX);
    }
    EXPECT_TRUE(log.has("Element (0010,0010) - Null buffer passed"));
    EXPECT_TRUE(log.has("Element (0008,1140) - should be created as SQ, not element"));
    EXPECT_TRUE(log.has("Element (0011,1234) - Invalid VR '?\?'"));

    DcElem lo(T_0018_1020_softwareVersions);  // too long for a 16-bit length field
    for (int i = 0; i < 7000; ++i)
        lo.addValue("ABCDEFGHIJ");
    int status = 0;
    encode(lo, UID_LITTLE_ENDIAN_EXPLICIT, &status);
    EXPECT_EQ(status, ELEM_ERR_BAD_VALUE);
    Bytes implicit = encode(lo, UID_LITTLE_ENDIAN_IMPLICIT, &status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(implicit.size(), 8u + 7000 * 11);
}

TEST(ElementDecoding, BinaryValuesKeepTheLastOnesAllowedAndLeaveTheInput)
{
    DcElem rows(T_0028_0010_rows);  // VM 1
    unsigned char six[6] = {1, 0, 2, 0, 3, 0};
    rows.parseVal(six, 6, UID_LITTLE_ENDIAN_IMPLICIT);
    EXPECT_EQ(rows.getValueCount(), 1);
    EXPECT_EQ(text(rows), "3");
    unsigned int tag = privateTag(VR_US, 0);
    DcElem many(groupOf(tag), elementOf(tag));
    EXPECT_EQ(many.parseVal(six, 5, UID_LITTLE_ENDIAN_IMPLICIT), 0);
    EXPECT_EQ(many.getValueCount(), 2);

    tag = privateTag(VR_UL, 0);
    DcElem ul(groupOf(tag), elementOf(tag));
    unsigned char data[8] = {0x12, 0x34, 0x56, 0x78, 0, 0, 0, 1};
    EXPECT_EQ(ul.parseVal(data, 8, UID_BIG_ENDIAN_EXPLICIT), 0);
    EXPECT_EQ(data[0], 0x12);  // not swapped in place
    EXPECT_EQ(data[3], 0x78);
    unsigned int value;
    ul.getValue(value);
    EXPECT_EQ(value, 0x12345678u);
    ul.getValue(value);
    EXPECT_EQ(value, 1u);
}

TEST(ElementDecoding, ReplacesTextValuesButAppendsRawBuffers)
{
    DcElem cs(T_0008_0008_imageType, "A\\B");
    EXPECT_EQ(cs.parseVal(nullptr, 0, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_ERR_NULL_ARG);
    EXPECT_EQ(cs.getValueCount(), 0);
    EXPECT_EQ(cs.parseVal(const_cast<char*>("C "), 2, UID_LITTLE_ENDIAN_EXPLICIT), 0);
    EXPECT_EQ(cs.getValueCount(), 1);

    DcElem ob(T_0028_2000_iccProfile);
    unsigned char data[4] = {1, 2, 3, 4};
    EXPECT_EQ(ob.parseVal(data, 4, UID_BIG_ENDIAN_EXPLICIT), 0);
    EXPECT_EQ(ob.parseVal(data, 2, UID_BIG_ENDIAN_EXPLICIT), 0);
    DcBuf first, second;
    ob.getValue(first);
    ob.getValue(second);
    EXPECT_EQ(first.getLen(), 4u);
    EXPECT_EQ(second.getLen(), 2u);
    EXPECT_EQ(second.getXferSyn(), UID_BIG_ENDIAN_EXPLICIT);
}

namespace {

// A buffer list ending in an empty memory buffer of the given size.
void startList(DcBufList& list, unsigned int size, DICT_UID xfer)
{
    list.add(new DcBuf(malloc(size), size, xfer));
    list.last()->setLen(0);
}

}

TEST(ElementBufferList, PixelDataJoinsTheListAsItsOwnEntries)
{
    DcBufList list;
    startList(list, 64, UID_JPEG_BASELINE);
    DcElem pixels(T_7fe0_0010_pixelData);
    unsigned char data[10] = {0xFE, 0xFF, 0x00, 0xE0, 0x02, 0x00, 0x00, 0x00, 0xAA, 0xBB};
    pixels.addValue(data, 10, UID_JPEG_BASELINE);
    unsigned int len = 0;
    EXPECT_EQ(pixels.frame(&list, len, UID_JPEG_BASELINE), 0);
    EXPECT_EQ(len, 22u);
    ASSERT_EQ(list.count(), 4);
    DcBuf* header = list.first();
    EXPECT_EQ(header->getLen(), 12u);
    EXPECT_EQ(memcmp(header->getBuf(), "\xe0\x7f\x10\x00OB\0\0\xff\xff\xff\xff", 12), 0);
    DcBuf* value = header->next();
    EXPECT_EQ(value->getLen(), 10u);
    EXPECT_EQ(memcmp(value->getBuf(), data, 10), 0);
    DcBuf* delimiter = value->next();
    EXPECT_EQ(delimiter->getLen(), 8u);
    EXPECT_EQ(memcmp(delimiter->getBuf(), "\xfe\xff\xdd\xe0\0\0\0\0", 8), 0);
    EXPECT_EQ(list.last()->getType(), BUF_MEMORY);
    EXPECT_EQ(list.last()->getLen(), 0u);
    EXPECT_EQ(list.last()->getAllocLen(), 64u);
}

TEST(ElementBufferList, DiskPixelDataStaysOnDisk)
{
    int fd = fileWith(Bytes(1128, 0));
    ASSERT_NE(fd, -1);
    DcElem pixels(T_7fe0_0010_pixelData, fd, 128, 1000, UID_LITTLE_ENDIAN_EXPLICIT);
    close(fd);
    DcBufList list;
    startList(list, 32, UID_LITTLE_ENDIAN_EXPLICIT);
    unsigned int len = 0;
    EXPECT_EQ(pixels.frame(&list, len, UID_LITTLE_ENDIAN_EXPLICIT), 0);
    EXPECT_EQ(len, 1012u);
    ASSERT_EQ(list.count(), 3);
    EXPECT_EQ(memcmp(list.first()->getBuf(), "\xe0\x7f\x10\x00OB\0\0\xe8\x03\0\0", 12), 0);
    DcBuf* extent = list.first()->next();
    EXPECT_EQ(extent->getType(), BUF_DISK);
    EXPECT_EQ(extent->getOffset(), 128);
    EXPECT_EQ(extent->getLen(), 1000u);
}

TEST(ElementBufferList, RefusesAListWithoutAMemoryBufferAndMixedBuffers)
{
    LogCapture log;
    DcElem uid(T_0008_0014_instanceCreatorUid, "1.2.3");
    unsigned int len;
    EXPECT_EQ(uid.frame(static_cast<DcBufList*>(nullptr), len, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_ERR_NULL_ARG);
    DcBufList empty;
    EXPECT_EQ(uid.frame(&empty, len, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_ERR_NOT_MEMORY_BUF);
    DcBufList disk;
    disk.add(new DcBuf(-1, 0, 10, UID_LITTLE_ENDIAN_EXPLICIT));
    EXPECT_EQ(uid.frame(&disk, len, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_ERR_NOT_MEMORY_BUF);
    EXPECT_TRUE(log.has("Element (0008,0014), expecting a memory buffer"));

    int fd = fileWith(Bytes(4, 0));
    ASSERT_NE(fd, -1);
    DcElem pixels(T_7fe0_0010_pixelData, fd, 0, 4, UID_LITTLE_ENDIAN_EXPLICIT);
    close(fd);
    unsigned char data[2] = {1, 2};
    pixels.addValue(data, 2, UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(encode(pixels, UID_LITTLE_ENDIAN_EXPLICIT), (Bytes{0xE0, 0x7F, 0x10, 0x00, 'O', 'B', 0, 0, 0, 0, 0, 0}));
    EXPECT_TRUE(log.has("Element (7fe0,0010) - mixed memory/disk buffers, not processed"));
}

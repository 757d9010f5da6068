#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "TestSupport.h"
#include "dataset/DcElem.h"
#include "dictionary/DcDict.h"

namespace {

Bytes bytesOf(const char* text, size_t len)
{
    return Bytes(text, text + len);
}

Bytes concat(std::initializer_list<Bytes> parts)
{
    Bytes out;
    for (const Bytes& part : parts)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

DcElem* privateElem(DICT_VR vr, int vm = 1)
{
    unsigned int tag = privateTag(vr, vm);
    return new DcElem(groupOf(tag), elementOf(tag));
}

}

TEST(ElementEncoding, UidInTheThreeUncompressedSyntaxes)
{
    DcElem uid(T_0008_0014_instanceCreatorUid, "1.2.3");
    EXPECT_EQ(encode(uid, UID_LITTLE_ENDIAN_IMPLICIT),
              concat({{0x08, 0x00, 0x14, 0x00, 0x06, 0x00, 0x00, 0x00}, bytesOf("1.2.3\0", 6)}));
    EXPECT_EQ(encode(uid, UID_LITTLE_ENDIAN_EXPLICIT),
              concat({{0x08, 0x00, 0x14, 0x00, 'U', 'I', 0x06, 0x00}, bytesOf("1.2.3\0", 6)}));
    EXPECT_EQ(encode(uid, UID_BIG_ENDIAN_EXPLICIT),
              concat({{0x00, 0x08, 0x00, 0x14, 'U', 'I', 0x00, 0x06}, bytesOf("1.2.3\0", 6)}));
}

TEST(ElementEncoding, TextIsJoinedByBackslashesAndPaddedWithASpace)
{
    DcElem two(T_0008_0008_imageType, "AB\\C");
    EXPECT_EQ(encode(two, UID_LITTLE_ENDIAN_EXPLICIT),
              concat({{0x08, 0x00, 0x08, 0x00, 'C', 'S', 0x04, 0x00}, bytesOf("AB\\C", 4)}));
    DcElem one(T_0008_0008_imageType, "ABC");
    EXPECT_EQ(encode(one, UID_LITTLE_ENDIAN_EXPLICIT),
              concat({{0x08, 0x00, 0x08, 0x00, 'C', 'S', 0x04, 0x00}, bytesOf("ABC ", 4)}));
}

TEST(ElementEncoding, BinaryValuesFollowTheSyntaxByteOrder)
{
    DcElem xs(T_0028_1101_redLutDescriptor);
    for (unsigned short v : {0x0102, 0x0304, 0x0506})
        xs.addValue(v);
    EXPECT_EQ(encode(xs, UID_LITTLE_ENDIAN_EXPLICIT),
              (Bytes{0x28, 0x00, 0x01, 0x11, 'U', 'S', 0x06, 0x00, 0x02, 0x01, 0x04, 0x03, 0x06, 0x05}));
    EXPECT_EQ(encode(xs, UID_BIG_ENDIAN_EXPLICIT),
              (Bytes{0x00, 0x28, 0x11, 0x01, 'U', 'S', 0x00, 0x06, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06}));
    EXPECT_EQ(encode(xs, UID_LITTLE_ENDIAN_IMPLICIT),
              (Bytes{0x28, 0x00, 0x01, 0x11, 0x06, 0x00, 0x00, 0x00, 0x02, 0x01, 0x04, 0x03, 0x06, 0x05}));

    DcElem ul(T_0008_0000_groupLength);
    ul.deleteAllValues();
    ul.addValue(0x12345678u);
    EXPECT_EQ(encode(ul, UID_BIG_ENDIAN_EXPLICIT),
              (Bytes{0x00, 0x08, 0x00, 0x00, 'U', 'L', 0x00, 0x04, 0x12, 0x34, 0x56, 0x78}));

    DcElem fd(T_0008_2134_eventTimeOffset, 1.0);
    EXPECT_EQ(encode(fd, UID_BIG_ENDIAN_EXPLICIT),
              (Bytes{0x00, 0x08, 0x21, 0x34, 'F', 'D', 0x00, 0x08, 0x3F, 0xF0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(encode(fd, UID_LITTLE_ENDIAN_EXPLICIT),
              (Bytes{0x08, 0x00, 0x34, 0x21, 'F', 'D', 0x08, 0x00, 0, 0, 0, 0, 0, 0, 0xF0, 0x3F}));
}

TEST(ElementEncoding, AttributeTagsAreFourBytesEach)
{
    DcElem* at = privateElem(VR_AT, 0);
    at->addValue("(0010,0020)\\(7fe0,0010)");
    EXPECT_EQ(encode(*at, UID_LITTLE_ENDIAN_EXPLICIT),
              (Bytes{0x09, 0x00, 0x08, 0x10, 'A', 'T', 0x08, 0x00, 0x10, 0x00, 0x20, 0x00, 0xE0, 0x7F, 0x10, 0x00}));
    EXPECT_EQ(encode(*at, UID_BIG_ENDIAN_EXPLICIT),
              (Bytes{0x00, 0x09, 0x10, 0x08, 'A', 'T', 0x00, 0x08, 0x00, 0x10, 0x00, 0x20, 0x7F, 0xE0, 0x00, 0x10}));
    delete at;
}

TEST(ElementEncoding, CommandElementsAreAlwaysImplicitLittleEndian)
{
    DcElem command(T_0000_0100_command, static_cast<unsigned short>(0x0030));
    EXPECT_EQ(encode(command, UID_BIG_ENDIAN_EXPLICIT),
              (Bytes{0x00, 0x00, 0x00, 0x01, 0x02, 0x00, 0x00, 0x00, 0x30, 0x00}));
    DcElem syntax(T_0002_0010_transferSyntaxUid, UID_BIG_ENDIAN_EXPLICIT);
    EXPECT_EQ(encode(syntax, UID_BIG_ENDIAN_EXPLICIT),
              concat({{0x00, 0x02, 0x00, 0x10, 'U', 'I', 0x00, 0x14}, bytesOf("1.2.840.10008.1.2.2\0", 20)}));
}

TEST(ElementEncoding, RawValuesHaveReservedBytesAndALongLength)
{
    DcElem ob(T_0028_2000_iccProfile);
    unsigned char data[3] = {1, 2, 3};
    ob.addValue(data, 3, UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(encode(ob, UID_LITTLE_ENDIAN_EXPLICIT),
              (Bytes{0x28, 0x00, 0x00, 0x20, 'O', 'B', 0, 0, 0x03, 0x00, 0x00, 0x00, 1, 2, 3}));

    DcElem ox(static_cast<unsigned short>(0x5400), static_cast<unsigned short>(0x0110));  // OX
    ox.addValue(data, 2, UID_LITTLE_ENDIAN_EXPLICIT);
    ox.addValue(data + 2, 1, UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(encode(ox, UID_BIG_ENDIAN_EXPLICIT),
              (Bytes{0x54, 0x00, 0x01, 0x10, 'O', 'B', 0, 0, 0x00, 0x00, 0x00, 0x03, 1, 2, 3}));

    DcElem ut(T_0008_030e_privateDataElementDescription, "AB");
    EXPECT_EQ(encode(ut, UID_LITTLE_ENDIAN_EXPLICIT),
              (Bytes{0x08, 0x00, 0x0E, 0x03, 'U', 'T', 0, 0, 0x02, 0x00, 0x00, 0x00, 'A', 'B'}));
}

TEST(ElementEncoding, PixelDataIsEncapsulatedInCompressedSyntaxes)
{
    DcElem pixels(T_7fe0_0010_pixelData);
    Bytes fragment = {0xFE, 0xFF, 0x00, 0xE0, 0x00, 0x00, 0x00, 0x00, 0xFE, 0xFF, 0x00, 0xE0, 0x02, 0x00, 0x00, 0x00, 0xAA, 0xBB};
    pixels.addValue(fragment.data(), static_cast<unsigned int>(fragment.size()), UID_JPEG_BASELINE);
    Bytes expected = concat({{0xE0, 0x7F, 0x10, 0x00, 'O', 'B', 0, 0, 0xFF, 0xFF, 0xFF, 0xFF},
                             fragment,
                             {0xFE, 0xFF, 0xDD, 0xE0, 0, 0, 0, 0}});
    EXPECT_EQ(encode(pixels, UID_JPEG_BASELINE), expected);

    Bytes plain = encode(pixels, UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(plain, concat({{0xE0, 0x7F, 0x10, 0x00, 'O', 'B', 0, 0, 18, 0, 0, 0}, fragment}));
}

TEST(ElementEncoding, AnEmptyElementHasLengthZero)
{
    DcElem name(T_0010_0010_patientName);
    EXPECT_EQ(encode(name, UID_LITTLE_ENDIAN_EXPLICIT), (Bytes{0x10, 0x00, 0x10, 0x00, 'P', 'N', 0, 0}));
    DcElem empty(T_0010_0010_patientName, "");
    EXPECT_EQ(encode(empty, UID_LITTLE_ENDIAN_IMPLICIT), (Bytes{0x10, 0x00, 0x10, 0x00, 0, 0, 0, 0}));
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
    LogCapture dictLog(LOG_CHANNEL_0);
    EXPECT_EQ(name.frame(buf, len, UID_CT_IMAGE_STORAGE), ELEM_ERR_XFER_SYNTAX);
    std::string text = log.text();
    EXPECT_NE(text.find("Element (0010,0010) - Null buffer passed"), std::string::npos);
    EXPECT_NE(text.find("Element (0008,1140) - should be created as SQ, not element"), std::string::npos);
    EXPECT_NE(text.find("Element (0011,1234) - Invalid VR '?\?'"), std::string::npos);
}

TEST(ElementEncoding, ValuesTooLongForAShortLengthFieldAreReported)
{
    LogCapture log;
    DcElem lo(T_0018_1020_softwareVersions);
    for (int i = 0; i < 7000; ++i)
        lo.addValue("ABCDEFGHIJ");
    int status = 0;
    encode(lo, UID_LITTLE_ENDIAN_EXPLICIT, &status);
    EXPECT_EQ(status, ELEM_ERR_BAD_VALUE);
    Bytes implicit = encode(lo, UID_LITTLE_ENDIAN_IMPLICIT, &status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(implicit.size(), 8u + 7000 * 11 - 1 + 1);
}

TEST(ElementSize, IsAnUpperBoundOfTheEncoding)
{
    unsigned int size = 0;
    DcElem xs(T_0028_1101_redLutDescriptor, "1\\2\\3");
    xs.getBufSize(size, 0);
    EXPECT_EQ(size, 18u);
    DcElem uid(T_0008_0014_instanceCreatorUid, "1.2.3");
    uid.getBufSize(size, 0);
    EXPECT_EQ(size, 18u);
    DcElem pn(T_0010_0010_patientName, "A^B");
    pn.getBufSize(size, 0);
    EXPECT_EQ(size, 12u + 324u);

    unsigned int tag = privateTag(VR_DT, 0);
    DcElem dt(groupOf(tag), elementOf(tag));
    dt.addValue("20100101120000.000000-20100102120000.000000\\20100608140322.500000-0500");
    dt.getBufSize(size, 0);
    EXPECT_GE(size, static_cast<unsigned int>(encode(dt, UID_LITTLE_ENDIAN_EXPLICIT).size()));
}

TEST(ElementDecoding, BinaryValuesKeepTheLastOnesAllowed)
{
    DcElem rows(T_0028_0010_rows);  // VM 1
    unsigned char six[6] = {1, 0, 2, 0, 3, 0};
    rows.parseVal(six, 6, UID_LITTLE_ENDIAN_IMPLICIT);
    EXPECT_EQ(rows.getValueCount(), 1);
    unsigned short value;
    rows.getValue(value);
    EXPECT_EQ(value, 3);

    DcElem* many = privateElem(VR_US, 0);
    EXPECT_EQ(many->parseVal(six, 5, UID_LITTLE_ENDIAN_IMPLICIT), 0);
    EXPECT_EQ(many->getValueCount(), 2);
    delete many;
}

TEST(ElementDecoding, BigEndianInputIsLeftAsItWas)
{
    DcElem* ul = privateElem(VR_UL, 0);
    unsigned char data[8] = {0x12, 0x34, 0x56, 0x78, 0, 0, 0, 1};
    unsigned char copy[8];
    memcpy(copy, data, 8);
    EXPECT_EQ(ul->parseVal(data, 8, UID_BIG_ENDIAN_EXPLICIT), 0);
    EXPECT_EQ(memcmp(data, copy, 8), 0);
    unsigned int value;
    ul->getValue(value);
    EXPECT_EQ(value, 0x12345678u);
    ul->getValue(value);
    EXPECT_EQ(value, 1u);
    delete ul;
}

TEST(ElementDecoding, TextLosesItsPadding)
{
    DcElem cs(T_0008_0008_imageType);
    EXPECT_EQ(cs.parseVal(const_cast<char*>("ORIGINAL\\PRIMARY "), 17, UID_LITTLE_ENDIAN_EXPLICIT), 0);
    EXPECT_EQ(cs.getValueCount(), 2);
    EXPECT_EQ(text(cs), "ORIGINAL");
    EXPECT_EQ(text(cs), "PRIMARY");
    DcElem uid(T_0008_0014_instanceCreatorUid);
    uid.parseVal(const_cast<char*>("1.2.3\0"), 6, UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(text(uid), "1.2.3");
    unsigned int size;
    uid.getBufSize(size, 0);
    EXPECT_EQ(size, 18u);
}

TEST(ElementDecoding, ReplacesValuesAndClearsOnAnEmptyBuffer)
{
    DcElem cs(T_0008_0008_imageType, "A\\B");
    EXPECT_EQ(cs.parseVal(nullptr, 0, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_ERR_NULL_ARG);
    EXPECT_EQ(cs.getValueCount(), 0);
    EXPECT_EQ(cs.parseVal(const_cast<char*>("C "), 2, UID_LITTLE_ENDIAN_EXPLICIT), 0);
    EXPECT_EQ(cs.getValueCount(), 1);
}

TEST(ElementDecoding, RawValuesAreAppended)
{
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
    EXPECT_EQ(static_cast<unsigned char*>(first.getBuf())[0], 1);
}

TEST(ElementBufferList, AppendsToTheLastMemoryBuffer)
{
    DcBufList list;
    list.add(new DcBuf(malloc(16), 16, UID_LITTLE_ENDIAN_EXPLICIT));
    list.last()->setLen(0);
    DcElem uid(T_0008_0014_instanceCreatorUid, "1.2.3");
    unsigned int len = 0;
    EXPECT_EQ(uid.frame(&list, len, UID_LITTLE_ENDIAN_EXPLICIT), 0);
    EXPECT_EQ(len, 14u);
    EXPECT_EQ(list.last()->getLen(), 14u);
    DcElem more(T_0008_0014_instanceCreatorUid, "1.2.3.4.5.6.7.8");
    EXPECT_EQ(more.frame(&list, len, UID_LITTLE_ENDIAN_EXPLICIT), 0);
    EXPECT_EQ(list.count(), 1);
    EXPECT_EQ(list.last()->getLen(), 14u + len);
    const unsigned char* bytes = static_cast<unsigned char*>(list.last()->getBuf());
    EXPECT_EQ(memcmp(bytes + 8, "1.2.3\0", 6), 0);
    EXPECT_EQ(memcmp(bytes + 22, "1.2.3.4.5.6.7.8\0", 16), 0);
}

TEST(ElementBufferList, PixelDataJoinsTheListAsItsOwnEntries)
{
    DcBufList list;
    list.add(new DcBuf(malloc(64), 64, UID_JPEG_BASELINE));
    list.last()->setLen(0);
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
    char name[] = "/tmp/brenik3_pixXXXXXX";
    int fd = mkstemp(name);
    ASSERT_NE(fd, -1);
    unlink(name);
    DcElem pixels(T_7fe0_0010_pixelData, fd, 128, 1000, UID_LITTLE_ENDIAN_EXPLICIT);
    close(fd);
    DcBufList list;
    list.add(new DcBuf(malloc(32), 32, UID_LITTLE_ENDIAN_EXPLICIT));
    list.last()->setLen(0);
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

TEST(ElementBufferList, NeedsAMemoryBufferAtItsEnd)
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
    EXPECT_NE(log.text().find("Element (0008,0014), expecting a memory buffer"), std::string::npos);
}

TEST(ElementBufferList, MixedMemoryAndDiskBuffersAreNotWritten)
{
    char name[] = "/tmp/brenik3_mixXXXXXX";
    int fd = mkstemp(name);
    ASSERT_NE(fd, -1);
    unlink(name);
    LogCapture log;
    DcElem pixels(T_7fe0_0010_pixelData, fd, 0, 4, UID_LITTLE_ENDIAN_EXPLICIT);
    close(fd);
    unsigned char data[2] = {1, 2};
    pixels.addValue(data, 2, UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(encode(pixels, UID_LITTLE_ENDIAN_EXPLICIT),
              (Bytes{0xE0, 0x7F, 0x10, 0x00, 'O', 'B', 0, 0, 0, 0, 0, 0}));
    EXPECT_NE(log.text().find("Element (7fe0,0010) - mixed memory/disk buffers, not processed"), std::string::npos);
}

#include <gtest/gtest.h>

#include <unistd.h>

#include "TestSupport.h"
#include "dataset/utilLocate.h"

namespace {

// Length field, then: a sequence of undefined length with an item holding a
// nested explicit sequence of undefined length, then the outer delimiter.
const Bytes nestedSequence = {0xFF, 0xFF, 0xFF, 0xFF,
                              0xFE, 0xFF, 0x00, 0xE0, 0xFF, 0xFF, 0xFF, 0xFF,
                              0x40, 0x00, 0x75, 0x02, 'S', 'Q', 0, 0, 0xFF, 0xFF, 0xFF, 0xFF,
                              0xFE, 0xFF, 0x00, 0xE0, 0x00, 0x00, 0x00, 0x00,
                              0xFE, 0xFF, 0xDD, 0xE0, 0, 0, 0, 0,
                              0xFE, 0xFF, 0x0D, 0xE0, 0, 0, 0, 0,
                              0xFE, 0xFF, 0xDD, 0xE0, 0, 0, 0, 0,
                              0x10, 0x00, 0x10, 0x00};

unsigned int sizeOf(const Bytes& bytes)
{
    return static_cast<unsigned int>(bytes.size());
}

}

TEST(ValueLength, DefinedLengthsMustFitTheData)
{
    LogCapture log;
    Bytes data = {0x04, 0x00, 0x00, 0x00, 1, 2, 3, 4};
    unsigned int valLen = 99;
    int extra = 99;
    EXPECT_EQ(utilGetOxValLen(data.data(), 8, UID_LITTLE_ENDIAN_EXPLICIT, valLen, extra, 1), 0);
    EXPECT_EQ(valLen, 4u);
    EXPECT_EQ(extra, 0);
    EXPECT_EQ(utilGetOxValLen(data.data(), 7, UID_LITTLE_ENDIAN_EXPLICIT, valLen, extra, 1), UTIL_ERR_LENGTH);
    EXPECT_TRUE(log.has("Value length field 4(0x4) exceeds buffer length 3(0x3)"));
    EXPECT_EQ(utilGetOxValLen(data.data(), 3, UID_LITTLE_ENDIAN_EXPLICIT, valLen, extra, 1), UTIL_ERR_LENGTH);
    EXPECT_EQ(utilGetOxValLen(nullptr, 8, UID_LITTLE_ENDIAN_EXPLICIT, valLen, extra, 1), UTIL_ERR_LENGTH);
    LogCapture dictLog(LOG_CHANNEL_0);
    EXPECT_EQ(utilGetOxValLen(data.data(), 8, UID_CT_IMAGE_STORAGE, valLen, extra, 1), UTIL_ERR_LENGTH);
}

TEST(ValueLength, EncapsulatedDataEndsAtTheFirstSequenceDelimiter)
{
    LogCapture log;
    Bytes data = {0xFF, 0xFF, 0xFF, 0xFF, 0xFE, 0xFF, 0x00, 0xE0, 0x02, 0, 0, 0, 0xAA, 0xBB,
                  0xFE, 0xFF, 0xDD, 0xE0, 0, 0, 0, 0, 0x77};
    unsigned int valLen;
    int extra;
    EXPECT_EQ(utilGetOxValLen(data.data(), 14, UID_JPEG_BASELINE, valLen, extra, 1), 0);
    EXPECT_EQ(valLen, 10u);
    EXPECT_EQ(extra, 0);
    EXPECT_TRUE(log.has("Sequence delimiter not found, assuming full buffer as Pixel Data"));
    EXPECT_EQ(utilGetOxValLen(data.data(), 14, UID_LITTLE_ENDIAN_EXPLICIT, valLen, extra, 0), UTIL_ERR_LENGTH);
    EXPECT_EQ(valLen, 0u);
    EXPECT_TRUE(log.has("Data error, Sequence delimiter not found"));
}

TEST(ValueLength, FileFormsReadTheSameBytesAndKeepThePosition)
{
    Bytes bytes = {0xAB, 0xCD};
    bytes.insert(bytes.end(), nestedSequence.begin(), nestedSequence.end());
    int fd = fileWith(bytes);
    ASSERT_NE(fd, -1);
    lseek(fd, 1, SEEK_SET);
    unsigned int valLen;
    int extra;
    EXPECT_EQ(utilGetSqValLen(fd, 2, sizeOf(nestedSequence), UID_LITTLE_ENDIAN_EXPLICIT, valLen, extra, 0), 0);
    EXPECT_EQ(valLen, 44u);
    EXPECT_EQ(extra, 8);
    EXPECT_EQ(lseek(fd, 0, SEEK_CUR), 1);
    EXPECT_EQ(utilGetSqItemValLen(fd, 2 + 4 + 4, 40, UID_LITTLE_ENDIAN_EXPLICIT, valLen, extra), 0);
    EXPECT_EQ(valLen, 28u);

    LogCapture log;
    EXPECT_EQ(utilGetSqItemValLen(fd, 2 + 4 + 4, 28, UID_LITTLE_ENDIAN_EXPLICIT, valLen, extra), UTIL_ERR_LENGTH);
    EXPECT_TRUE(log.has("Data error - sequence item delimiter not found"));
    EXPECT_EQ(utilGetSqItemValLen(fd, 2, 1000, UID_LITTLE_ENDIAN_EXPLICIT, valLen, extra), UTIL_ERR_LENGTH);
    EXPECT_TRUE(log.has("read error, offset - "));
    close(fd);
    EXPECT_EQ(utilGetSqValLen(fd, 0, 10, UID_LITTLE_ENDIAN_EXPLICIT, valLen, extra, 0), UTIL_ERR_LENGTH);
    EXPECT_TRUE(log.has("failed to get current file pointer"));

    Bytes longItem = {0xFF, 0xFF, 0xFF, 0xFF};  // scanned across read chunks
    longItem.resize(4 + 200000, 0x11);
    longItem.insert(longItem.end(), {0xFE, 0xFF, 0x0D, 0xE0, 0, 0, 0, 0});
    fd = fileWith(longItem);
    ASSERT_NE(fd, -1);
    EXPECT_EQ(utilGetSqItemValLen(fd, 0, sizeOf(longItem), UID_LITTLE_ENDIAN_EXPLICIT, valLen, extra), 0);
    EXPECT_EQ(valLen, 200000u);
    close(fd);
}

// The memory forms skip ahead over bytes that cannot start a delimiter or a
// nesting; the file forms look at every even position. Both must agree on
// values that hold stray 0xFF bytes and delimiter look-alikes anywhere.
TEST(ValueLength, MemoryAndFileFormsAgreeWhateverTheValuesHold)
{
    const unsigned char alphabet[] = {0x00, 0xFF, 0xFE, 0xE0, 0xDD, 0x0D, 'A'};
    unsigned int seed = 12345;
    auto next = [&seed]() { return (seed = seed * 1103515245u + 12345u) >> 16; };
    for (int round = 0; round < 300; ++round) {
        unsigned int fill = 2 * (next() % 12);
        Bytes bytes = {0xFF, 0xFF, 0xFF, 0xFF, 0xFE, 0xFF, 0x00, 0xE0, 0xFF, 0xFF, 0xFF, 0xFF,
                       0x09, 0x00, 0x10, 0x00, 'O', 'B', 0, 0, static_cast<unsigned char>(fill), 0, 0, 0};
        for (unsigned int i = 0; i < fill; ++i)
            bytes.push_back(alphabet[next() % sizeof alphabet]);
        bytes.insert(bytes.end(), nestedSequence.begin() + 12, nestedSequence.end());
        int fd = fileWith(bytes);
        ASSERT_NE(fd, -1);
        for (DICT_UID xfer : {UID_LITTLE_ENDIAN_EXPLICIT, UID_BIG_ENDIAN_EXPLICIT}) {
            unsigned int memLen = 1, fileLen = 2;
            int memExtra = 3, fileExtra = 4;
            LogCapture log;
            EXPECT_EQ(utilGetSqValLen(bytes.data(), sizeOf(bytes), xfer, memLen, memExtra, 0),
                      utilGetSqValLen(fd, 0, sizeOf(bytes), xfer, fileLen, fileExtra, 0));
            EXPECT_EQ(memLen, fileLen) << "round " << round;
            EXPECT_EQ(memExtra, fileExtra);
            EXPECT_EQ(utilGetSqItemValLen(bytes.data() + 8, sizeOf(bytes) - 8, xfer, memLen, memExtra),
                      utilGetSqItemValLen(fd, 8, sizeOf(bytes) - 8, xfer, fileLen, fileExtra));
            EXPECT_EQ(memLen, fileLen) << "round " << round;
            EXPECT_EQ(memExtra, fileExtra);
        }
        close(fd);
    }
}

TEST(ElementOffset, FindsTheFirstEvenPlaceOfTheTag)
{
    Bytes data = {0x10, 0x00, 0x10, 0x00, 0x06, 0x00, 0x00, 0x00, 0x00, 0xE0, 0x7F, 0x10, 0x00, 0x00,
                  0xE0, 0x7F, 0x10, 0x00, 0x00, 0x00, 0x00, 0x00};
    unsigned int offset = 99;
    EXPECT_EQ(utilGetElemOffset(data.data(), sizeOf(data), UID_LITTLE_ENDIAN_IMPLICIT,
                                static_cast<unsigned short>(0x7FE0), static_cast<unsigned short>(0x0010), offset),
              0);
    EXPECT_EQ(offset, 14u);  // the odd place inside the value does not count
    data[8] = 0xE0;
    data[9] = 0x7F;
    data[10] = 0x10;
    data[11] = 0x00;
    EXPECT_EQ(utilGetElemOffset(data.data(), sizeOf(data), UID_LITTLE_ENDIAN_IMPLICIT, T_7fe0_0010_pixelData, offset),
              0);
    EXPECT_EQ(offset, 8u);  // an even place inside a value matches first

    Bytes big = {0x00, 0x10, 0x00, 0x20};
    EXPECT_EQ(utilGetElemOffset(big.data(), 4, UID_BIG_ENDIAN_EXPLICIT, T_0010_0020_patientId, offset), 0);
    EXPECT_EQ(offset, 0u);
    EXPECT_EQ(utilGetElemOffset(big.data(), 4, UID_LITTLE_ENDIAN_EXPLICIT, T_0010_0020_patientId, offset),
              UTIL_ERR_NOT_FOUND);
    LogCapture log;
    EXPECT_EQ(utilGetElemOffset(nullptr, 4, UID_LITTLE_ENDIAN_EXPLICIT, T_0010_0020_patientId, offset),
              UTIL_ERR_NULL_ARG);
    EXPECT_TRUE(log.has("<utilGetElemOffset> Null argument passed"));
    LogCapture dictLog(LOG_CHANNEL_0);
    EXPECT_EQ(utilGetElemOffset(big.data(), 4, UID_CT_IMAGE_STORAGE, T_0010_0020_patientId, offset),
              UTIL_ERR_XFER_SYNTAX);
}

TEST(ElementOffset, FileFormSearchesFromTheStart)
{
    Bytes bytes(70000, 0x00);
    bytes[65534] = 0xE0;
    bytes[65535] = 0x7F;
    bytes[65536] = 0x10;
    int fd = fileWith(bytes);
    ASSERT_NE(fd, -1);
    unsigned int offset = 0;
    EXPECT_EQ(utilGetElemOffset(fd, 2, sizeOf(bytes) - 2, UID_LITTLE_ENDIAN_EXPLICIT, T_7fe0_0010_pixelData, offset),
              0);
    EXPECT_EQ(offset, 65532u);
    EXPECT_EQ(utilGetElemOffset(fd, 0, 1000, UID_LITTLE_ENDIAN_EXPLICIT, T_7fe0_0010_pixelData, offset),
              UTIL_ERR_NOT_FOUND);
    close(fd);
}

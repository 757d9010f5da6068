// The bounds-checked cursors under the PDU, directory record and meta group
// coders: nothing is read or written outside the buffer they are given.
#include <gtest/gtest.h>

#include "internal/ByteCursor.h"

using brenik3::ByteReader;
using brenik3::ByteWriter;

TEST(ByteReader, ReadsInItsByteOrderAndStopsAtTheEnd)
{
    const unsigned char data[] = {0x08, 0x00, 0x18, 0x00, 0x01, 0x02, 0x03};
    ByteReader little(data, sizeof data, false);
    uint32_t tag = 0;
    ASSERT_TRUE(little.tag(tag));
    EXPECT_EQ(0x00080018u, tag);
    unsigned int word = 0;
    ASSERT_TRUE(little.u16(word));
    EXPECT_EQ(0x0201u, word);

    // One byte left: a 32-bit read fails, keeps the position, and so does
    // every read after it, even one that would fit.
    uint32_t value = 0xDEADBEEF;
    EXPECT_FALSE(little.u32(value));
    EXPECT_EQ(0xDEADBEEFu, value);
    EXPECT_EQ(6u, little.pos());
    EXPECT_TRUE(little.failed());
    EXPECT_FALSE(little.u8(word));

    ByteReader big(data, sizeof data, true);
    ASSERT_TRUE(big.u16(word));
    EXPECT_EQ(0x0800u, word);
    EXPECT_EQ(nullptr, big.bytes(6));
    EXPECT_EQ(2u, big.pos());
}

TEST(ByteWriter, NeverWritesPastItsCapacity)
{
    unsigned char buf[8];
    memset(buf, 0xAA, sizeof buf);
    ByteWriter out(buf, 6, true);
    out.u16(0x0102);
    out.u32(0x03040506);
    EXPECT_FALSE(out.overflowed());
    out.u8(0x07);  // the seventh byte does not fit
    EXPECT_TRUE(out.overflowed());
    out.zeros(0);
    EXPECT_EQ(6u, out.pos());
    EXPECT_EQ(0xAA, buf[6]);
    EXPECT_EQ(0xAA, buf[7]);
    const unsigned char expected[] = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06};
    EXPECT_EQ(0, memcmp(expected, buf, sizeof expected));
}

TEST(ByteWriter, PatchesOnlyWhatItHasWritten)
{
    unsigned char buf[8] = {};
    ByteWriter out(buf, sizeof buf, false);
    out.u32(0);
    out.u16(0);
    out.patch32(0, 0x11223344);
    out.patch32(4, 0x55667788);  // only two bytes written there: ignored
    out.patch16(4, 0x99AA);
    const unsigned char expected[] = {0x44, 0x33, 0x22, 0x11, 0xAA, 0x99, 0, 0};
    EXPECT_EQ(0, memcmp(expected, buf, sizeof expected));
}

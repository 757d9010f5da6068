#include <gtest/gtest.h>

#include <cstring>
#include <fcntl.h>

#include "MediaTestUtil.h"
#include "media/dirFile.h"

namespace {

unsigned int get32At(const Bytes& bytes, size_t at)
{
    return bytes[at] | (bytes[at + 1] << 8) | (bytes[at + 2] << 16) | (static_cast<unsigned int>(bytes[at + 3]) << 24);
}

// Offset of the first occurrence of the four tag bytes (little endian) at or after from.
size_t findTag(const Bytes& bytes, unsigned int tag, size_t from = 132)
{
    unsigned char pattern[4] = {static_cast<unsigned char>(tag >> 16), static_cast<unsigned char>(tag >> 24),
                                static_cast<unsigned char>(tag), static_cast<unsigned char>(tag >> 8)};
    for (size_t i = from; i + 4 <= bytes.size(); ++i)
        if (memcmp(bytes.data() + i, pattern, 4) == 0)
            return i;
    return std::string::npos;
}

}

TEST(FileWrite, LaysOutPreambleMarkerAndMetaGroupInTagOrder)
{
    TempDir dir;
    DcElemList list;
    buildImage(list, "2.999.7321.9.1");
    DcDirMetaInfo info;
    info.preamble[0] = 'P';
    ASSERT_EQ(dirWriteFile((dir / "a.dcm").c_str(), info, list), 0);
    Bytes bytes = readBytes(dir / "a.dcm");
    ASSERT_GT(bytes.size(), 144u);
    EXPECT_EQ(bytes[0], 'P');
    EXPECT_EQ(memcmp(bytes.data() + 128, "DICM", 4), 0);
    EXPECT_EQ(memcmp(bytes.data() + 132, "\x02\x00\x00\x00UL\x04\x00", 8), 0);
    unsigned int groupLen = get32At(bytes, 140);
    EXPECT_EQ(memcmp(bytes.data() + 144, "\x02\x00\x01\x00OB\x00\x00\x02\x00\x00\x00\x00\x01", 14), 0);
    size_t bodyStart = 144 + groupLen;
    EXPECT_EQ(bytes[bodyStart], 0x08);
    EXPECT_EQ(bytes[bodyStart + 1], 0x00);

    unsigned int dataOffset = 0;
    DcDirMetaInfo back;
    ASSERT_EQ(dirReadFileMetaInfo((dir / "a.dcm").c_str(), back, dataOffset), 0);
    EXPECT_EQ(dataOffset, bodyStart);
    EXPECT_EQ(back.version, 1u);
    EXPECT_EQ(back.sopClassUid, UID_SC_IMAGE_STORAGE);
    EXPECT_STREQ(back.sopInstanceUid, "2.999.7321.9.1");
    EXPECT_EQ(back.xferSyn, UID_LITTLE_ENDIAN_EXPLICIT);  // taken from the pixels
    EXPECT_STREQ(back.implClassUid, "2.999.7321.4.3.2");
    EXPECT_STREQ(back.implVerName, "Dunmarrow Brenik");
}

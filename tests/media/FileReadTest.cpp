#include <gtest/gtest.h>

#include <cstring>

#include "MediaTestUtil.h"

namespace {

// A meta group with the given elements after the group length.
Bytes metaFile(const Bytes& elements)
{
    Bytes out(128, 0);
    out.insert(out.end(), {'D', 'I', 'C', 'M'});
    put16(out, 0x0002);
    put16(out, 0x0000);
    out.insert(out.end(), {'U', 'L', 4, 0});
    put32(out, static_cast<unsigned int>(elements.size()));
    out.insert(out.end(), elements.begin(), elements.end());
    return out;
}

Bytes versionElement(unsigned char first, unsigned char second)
{
    Bytes out;
    put16(out, 0x0002);
    put16(out, 0x0001);
    out.insert(out.end(), {'O', 'B', 0, 0});
    put32(out, 2);
    out.push_back(first);
    out.push_back(second);
    return out;
}

// A bare Implicit VR Little Endian data set with a SOP class and instance.
Bytes bareDataSet()
{
    Bytes out;
    const std::string values[2] = {std::string("1.2.840.10008.5.1.4.1.1.7") + '\0', "2.999.7321.5.5"};
    for (int i = 0; i < 2; ++i) {
        put16(out, 0x0008);
        put16(out, 0x0016 + 2 * i);
        put32(out, static_cast<unsigned int>(values[i].size()));
        out.insert(out.end(), values[i].begin(), values[i].end());
    }
    return out;
}

}

class FileRead : public ::testing::Test {
protected:
    TempDir dir;
    LogCapture log;
    DcDirMetaInfo info;
    DcElemList list;
    unsigned int dataOffset = 7;
};

TEST_F(FileRead, MissingFileAndDirectoryGiveStatusesNotCrashes)
{
    EXPECT_EQ(dirReadFileMetaInfo((dir / "none.dcm").c_str(), info, dataOffset), DIR_ERR_STAT);
    EXPECT_EQ(dataOffset, 0u);
    EXPECT_EQ(dirReadFile((dir / "none.dcm").c_str(), info, list), DIR_ERR_STAT);
    EXPECT_EQ(dirReadFile(dir.path.c_str(), info, list), DIR_ERR_IO);
    EXPECT_TRUE(log.has("Read error"));
    EXPECT_EQ(dirReadFile(nullptr, info, list), DIR_ERR_NULL_ARG);
    EXPECT_EQ(dirReadFileHeader(dir.path.c_str(), info, list), DIR_ERR_IO);
    writeBytes(dir / "empty.dcm", Bytes());
    EXPECT_EQ(dirReadFile((dir / "empty.dcm").c_str(), info, list), DIR_ERR_IO);
}

TEST_F(FileRead, FileWithoutMarkerIsReadAsBareImplicitDataSet)
{
    Bytes shortFile = bareDataSet();
    ASSERT_LT(shortFile.size(), 132u);
    writeBytes(dir / "short.dcm", shortFile);
    strcpy(info.sourceAeTitle, "STALE");
    list.add(new DcElem(T_0010_0010_patientName, "Old^Element"));
    ASSERT_EQ(dirReadFile((dir / "short.dcm").c_str(), info, list), 0);
    EXPECT_TRUE(log.has("File Meta Information missing"));
    EXPECT_EQ(list.count(), 2);
    EXPECT_EQ(info.xferSyn, UID_LITTLE_ENDIAN_IMPLICIT);
    EXPECT_EQ(info.sopClassUid, UID_SC_IMAGE_STORAGE);
    EXPECT_STREQ(info.sopInstanceUid, "2.999.7321.5.5");
    EXPECT_STREQ(info.implClassUid, "2.999.7321");
    EXPECT_STREQ(info.sourceAeTitle, "");

    Bytes longFile = bareDataSet();
    longFile.resize(200, 0);
    writeBytes(dir / "long.dcm", longFile);
    EXPECT_EQ(dirReadFileMetaInfo((dir / "long.dcm").c_str(), info, dataOffset), DIR_ERR_NO_META);
}

TEST_F(FileRead, VersionBytesAreReadHighByteFirstAndUtElementsHaveShortLengths)
{
    writeBytes(dir / "v.dcm", metaFile(versionElement(1, 0)));
    ASSERT_EQ(dirReadFileMetaInfo((dir / "v.dcm").c_str(), info, dataOffset), 0);
    EXPECT_EQ(info.version, 0x0100u);
    EXPECT_TRUE(log.entries.empty());
    EXPECT_EQ(dataOffset, 132u + 12 + 14);

    Bytes elements = versionElement(0, 1);
    putShortElem(elements, 0x00020013, "UT", "ABCD");
    putShortElem(elements, 0x00020016, "AE", "SRCAE ");
    writeBytes(dir / "v.dcm", metaFile(elements));
    ASSERT_EQ(dirReadFileMetaInfo((dir / "v.dcm").c_str(), info, dataOffset), 0);
    EXPECT_EQ(dataOffset, 132u + 12 + 14 + 12 + 14);

    writeBytes(dir / "v.dcm", metaFile(versionElement(2, 3)));
    ASSERT_EQ(dirReadFileMetaInfo((dir / "v.dcm").c_str(), info, dataOffset), 0);
    EXPECT_EQ(info.version, 0x0203u);
    EXPECT_TRUE(log.has("Invalid version - 0x0203"));

    writeBytes(dir / "v.dcm", metaFile(Bytes()));
    ASSERT_EQ(dirReadFileMetaInfo((dir / "v.dcm").c_str(), info, dataOffset), 0);
    EXPECT_EQ(info.version, 0u);
    EXPECT_TRUE(log.has("T_0002_0001_fileMetaInformationVersion missing"));
}

TEST_F(FileRead, MalformedMetaGroupsAreRefused)
{

    Bytes unknownVr = versionElement(0, 1);
    putShortElem(unknownVr, 0x00020003, "ZZ", "12");
    writeBytes(dir / "vr.dcm", metaFile(unknownVr));
    EXPECT_EQ(dirReadFileMetaInfo((dir / "vr.dcm").c_str(), info, dataOffset), DIR_ERR_MALFORMED);
    EXPECT_TRUE(log.has("Unknown VR for Element (0002,0003)"));

    // An OB length that runs far past the end of the file.
    Bytes pastEnd = versionElement(0, 1);
    pastEnd[8] = 0x00;
    pastEnd[9] = 0x10;
    writeBytes(dir / "end.dcm", metaFile(pastEnd));
    EXPECT_EQ(dirReadFile((dir / "end.dcm").c_str(), info, list), DIR_ERR_MALFORMED);
    EXPECT_TRUE(log.has("Element (0002,0001), length 4120 (0x1018) exceeds buffer 158 (0x9e)"));

    // A meta group that goes on beyond the first 16384 bytes.
    Bytes huge = versionElement(0, 1);
    Bytes big;
    put16(big, 0x0002);
    put16(big, 0x0102);
    big.insert(big.end(), {'O', 'B', 0, 0});
    put32(big, 20000);
    big.resize(big.size() + 20000, 0x11);
    huge.insert(huge.end(), big.begin(), big.end());
    writeBytes(dir / "huge.dcm", metaFile(huge));
    EXPECT_EQ(dirReadFileMetaInfo((dir / "huge.dcm").c_str(), info, dataOffset), DIR_ERR_MALFORMED);
    EXPECT_EQ(dataOffset, 0u);
}

TEST_F(FileRead, ElementRunningPastTheEndStopsTheDataSetQuietly)
{
    buildImage(list, "2.999.7321.5.6");
    info.xferSyn = UID_LITTLE_ENDIAN_EXPLICIT;
    ASSERT_EQ(dirWriteFile((dir / "t.dcm").c_str(), info, list), 0);
    Bytes bytes = readBytes(dir / "t.dcm");
    bytes.resize(bytes.size() - 5);
    writeBytes(dir / "t.dcm", bytes);
    DcElemList back;
    EXPECT_EQ(dirReadFile((dir / "t.dcm").c_str(), info, back), 0);
    EXPECT_EQ(textOf(back, T_0010_0010_patientName), "Doe^Jane");
    EXPECT_NE(back.getElem(T_7fe0_0010_pixelData, static_cast<DcElem**>(nullptr)), 0);
    DcElemList header;
    EXPECT_EQ(dirReadFileHeader((dir / "t.dcm").c_str(), info, header), DIR_ERR_MALFORMED);
}

TEST_F(FileRead, PrivateInformationOutlivesTheMetaGroup)
{
    buildImage(list, "2.999.7321.5.7");
    unsigned char secret[4] = {'S', 'E', 'C', 'R'};
    info.pvtInfo = secret;
    info.pvtInfoLen = 4;
    strcpy(info.pvtInfoCreatorUid, "2.999.7321.77");
    ASSERT_EQ(dirWriteFile((dir / "p.dcm").c_str(), info, list), 0);
    DcDirMetaInfo copy;
    {
        DcDirMetaInfo back;
        ASSERT_EQ(dirReadFileMetaInfo((dir / "p.dcm").c_str(), back, dataOffset), 0);
        copy = back;
    }
    ASSERT_EQ(copy.pvtInfoLen, 4u);
    EXPECT_EQ(memcmp(copy.pvtInfo, "SECR", 4), 0);
    EXPECT_STREQ(copy.pvtInfoCreatorUid, "2.999.7321.77");
}

TEST_F(FileRead, SizeLimitIsExactly128Mbyte)
{
    // Meta group, then one OB element filling the file up to the limit.
    Bytes head = metaFile(versionElement(0, 1));
    std::string ts = "1.2.840.10008.1.2.1";
    putShortElem(head, 0x00020010, "UI", ts + '\0');
    head[140] = static_cast<unsigned char>(head.size() - 144);
    put16(head, 0x0009);
    put16(head, 0x1010);
    head.insert(head.end(), {'O', 'B', 0, 0});
    put32(head, static_cast<unsigned int>(DIR_SIZE_LIMIT - head.size() - 4));
    std::string path = dir / "limit.dcm";
    writeBytes(path, head);
    ASSERT_EQ(truncate(path.c_str(), DIR_SIZE_LIMIT + 1), 0);
    EXPECT_EQ(dirReadFile(path.c_str(), info, list), DIR_ERR_SIZE_LIMIT);
    EXPECT_TRUE(log.has("File '" + path + "', size exceeds limit of 128 Mbyte"));

    ASSERT_EQ(truncate(path.c_str(), DIR_SIZE_LIMIT), 0);
    EXPECT_EQ(dirReadFile(path.c_str(), info, list), 0);
    EXPECT_EQ(info.xferSyn, UID_LITTLE_ENDIAN_EXPLICIT);
    DcBuf value;
    ASSERT_EQ(list.getValue(0x00091010u, value, ELEM_VAL_INDEX_KEEP), 0);
    EXPECT_EQ(value.getLen(), DIR_SIZE_LIMIT - head.size());
}

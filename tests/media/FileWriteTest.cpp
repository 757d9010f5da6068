#include <gtest/gtest.h>

#include <cstring>

#include "MediaTestUtil.h"

namespace {

unsigned int get32At(const Bytes& bytes, size_t at)
{
    return bytes[at] | (bytes[at + 1] << 8) | (bytes[at + 2] << 16) | (static_cast<unsigned int>(bytes[at + 3]) << 24);
}

// Offset of the first occurrence of the tag (little endian) at or after from.
size_t findTag(const Bytes& bytes, unsigned int tag, size_t from = 132)
{
    unsigned char pattern[4] = {static_cast<unsigned char>(tag >> 16), static_cast<unsigned char>(tag >> 24),
                                static_cast<unsigned char>(tag), static_cast<unsigned char>(tag >> 8)};
    for (size_t i = from; i + 4 <= bytes.size(); ++i)
        if (memcmp(bytes.data() + i, pattern, 4) == 0)
            return i;
    return std::string::npos;
}

// Bytes with a recognisable pattern.
Bytes pattern(unsigned int len)
{
    Bytes out(len);
    for (unsigned int i = 0; i < len; ++i)
        out[i] = static_cast<unsigned char>(i * 13 + 5);
    return out;
}

// One empty offset table item and one fragment of the given bytes.
Bytes fragmentsOf(const Bytes& fragment)
{
    Bytes out = {0xFE, 0xFF, 0x00, 0xE0, 0, 0, 0, 0, 0xFE, 0xFF, 0x00, 0xE0};
    put32(out, static_cast<unsigned int>(fragment.size()));
    out.insert(out.end(), fragment.begin(), fragment.end());
    return out;
}

DcElem* padding(DICT_UID xfer)
{
    DcElem* padding = new DcElem(T_fffc_fffc_datasetPadding);
    unsigned char pad[2] = {9, 9};
    padding->addValue(pad, sizeof pad, xfer);
    return padding;
}

Bytes pixelsOf(DcElemList& list)
{
    DcBuf value;
    list.getValue(T_7fe0_0010_pixelData, value, ELEM_VAL_INDEX_KEEP);
    if (value.getType() != BUF_MEMORY || value.getBuf() == nullptr)
        return Bytes();
    const unsigned char* p = static_cast<const unsigned char*>(value.getBuf());
    return Bytes(p, p + value.getLen());
}

}

// The caller's record is completed with the defaults and the data set's
// identity, and the file read back gives the same.
TEST(FileWrite, LaysOutPreambleMarkerAndMetaGroupInTagOrder)
{
    TempDir dir;
    DcElemList list;
    buildImage(list, "2.999.7321.9.1");
    DcDirMetaInfo info;
    info.preamble[0] = 'P';
    info.implVerName[0] = '\0';
    ASSERT_EQ(dirWriteFile((dir / "a.dcm").c_str(), info, list), 0);
    EXPECT_STREQ(info.implClassUid, "2.999.7321.4.3.2");
    EXPECT_STREQ(info.implVerName, "Dunmarrow Brenik");
    EXPECT_STREQ(info.sopInstanceUid, "2.999.7321.9.1");
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
}

// A group length that arrived with another VR (an empty IS here, after the
// pixels) is written back as UL inside the room counted for it, also when a
// file read back is written again, as a storage SCP does with what it got.
TEST(FileWrite, GroupLengthReadWithAnotherVrIsWrittenBackWithinItsRoom)
{
    TempDir dir;
    DcElemList list;
    buildImage(list, "2.999.7321.9.4");
    Bytes odd = {0x16, 0xFF, 0x00, 0x00, 'I', 'S', 0x00, 0x00, 0x16, 0xFF, 0x10, 0x00, 'L', 'O', 0x02, 0x00, 'A', 'B'};
    unsigned int left = static_cast<unsigned int>(odd.size());
    ASSERT_EQ(list.parse(odd.data(), left, UID_LITTLE_ENDIAN_EXPLICIT), 0);
    DcDirMetaInfo info;
    info.xferSyn = UID_LITTLE_ENDIAN_EXPLICIT;
    ASSERT_EQ(dirWriteFile((dir / "first.dcm").c_str(), info, list), 0);

    DcDirMetaInfo readInfo;
    DcElemList read;
    ASSERT_EQ(dirReadFile((dir / "first.dcm").c_str(), readInfo, read), 0);
    ASSERT_EQ(dirWriteFile((dir / "second.dcm").c_str(), readInfo, read), 0);
    Bytes bytes = readBytes(dir / "second.dcm");
    size_t at = findTag(bytes, 0xFF160000);
    ASSERT_NE(at, std::string::npos);
    EXPECT_EQ(Bytes(bytes.begin() + at + 4, bytes.begin() + at + 12), (Bytes{'U', 'L', 4, 0, 10, 0, 0, 0}));
    EXPECT_EQ(bytes.size(), at + 22);
}

TEST(FileWrite, KeepsMetaGroupElementsOfTheListOutOfTheBodyButInTheList)
{
    TempDir dir;
    DcElemList list;
    buildImage(list, "2.999.7321.9.3");
    list.add(new DcElem(T_0002_0016_sourceApplicationEntityTitle, "FROMLIST"));
    int before = list.count();
    DcDirMetaInfo info;
    ASSERT_EQ(dirWriteFile((dir / "c.dcm").c_str(), info, list), 0);
    EXPECT_EQ(list.count(), before);
    EXPECT_EQ(textOf(list, T_0002_0016_sourceApplicationEntityTitle), "FROMLIST");
    Bytes bytes = readBytes(dir / "c.dcm");
    std::string text(bytes.begin(), bytes.end());
    EXPECT_EQ(text.find("FROMLIST"), std::string::npos);
}

TEST(FileWrite, RefusesIncompleteRecordsAndUnwritableOutputWithoutHarm)
{
    TempDir dir;
    LogCapture log;
    DcElemList empty;
    DcDirMetaInfo info;
    EXPECT_NE(dirWriteFile((dir / "d.dcm").c_str(), info, empty), 0);
    EXPECT_TRUE(log.has("Missing or invalid T_0008_0016_sopClassUid in Element List"));

    DcElemList list;
    buildImage(list, "2.999.7321.9.5");
    info.reset();
    info.version = 0x0100;
    EXPECT_EQ(dirWriteFile((dir / "d.dcm").c_str(), info, list), DIR_ERR_INVALID);
    EXPECT_TRUE(log.has("Invalid version number - 0x0100"));

    info.reset();
    info.xferSyn = UID_CT_IMAGE_STORAGE;
    EXPECT_EQ(dirWriteFile((dir / "d.dcm").c_str(), info, list), DICT_ERR_NOT_XFER_SYNTAX);
    EXPECT_TRUE(log.has("'1.2.840.10008.5.1.4.1.1.2' is not a Transfer Syntax UID"));
    EXPECT_NE(access((dir / "d.dcm").c_str(), F_OK), 0);
    EXPECT_EQ(dirWriteFile(nullptr, info, list), DIR_ERR_NULL_ARG);

    info.reset();
    list.add(new DcElem(T_0002_0016_sourceApplicationEntityTitle, "X"));
    int before = list.count();
    EXPECT_EQ(dirWriteFile((dir / "missing/e.dcm").c_str(), info, list), DIR_ERR_OPEN);
    EXPECT_TRUE(log.has("Error opening file - '" + (dir / "missing/e.dcm") + "'"));
    EXPECT_EQ(list.count(), before);
    // A full disk refuses a write that fills the stream buffer, long before
    // the file is closed.
    if (access("/dev/full", W_OK) == 0) {
        EXPECT_EQ(dirWriteFile("/dev/full", info, list), DIR_ERR_IO);
        EXPECT_TRUE(log.has("Write error, disk may be full"));
    }

    DcElemList shortPixels;
    buildImage(shortPixels, "2.999.7321.9.8", 4, 4, 8, false);
    shortPixels.add(diskPixelData(dir / "pixels.raw", pattern(100), UID_LITTLE_ENDIAN_EXPLICIT, 100, 40000));
    EXPECT_EQ(dirWriteFile((dir / "h.dcm").c_str(), info, shortPixels), DIR_ERR_IO);
    EXPECT_TRUE(log.has("Error in reading pixel data"));
}

TEST(FileWrite, StreamsDiskPixelsWithCorrectedGroupLengthAndTrailingElements)
{
    for (DICT_UID xfer : {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT, UID_BIG_ENDIAN_EXPLICIT}) {
        SCOPED_TRACE(xfer);
        TempDir dir;
        Bytes pixels = pattern(64 * 64);
        DcElemList list;
        buildImage(list, "2.999.7321.9.4", 64, 64, 8, false);
        list.add(new DcElem(T_7fe0_0000_groupLength, 0u));
        list.add(diskPixelData(dir / "pixels.raw", pixels, xfer, 100));
        list.add(padding(xfer));
        DcDirMetaInfo info;
        info.xferSyn = xfer;
        ASSERT_EQ(dirWriteFile((dir / "f.dcm").c_str(), info, list), 0);

        DcElemList back;
        DcDirMetaInfo backInfo;
        ASSERT_EQ(dirReadFile((dir / "f.dcm").c_str(), backInfo, back), 0);
        EXPECT_EQ(backInfo.xferSyn, xfer);
        EXPECT_EQ(pixelsOf(back), pixels);
        unsigned int groupLength = 0;
        ASSERT_EQ(back.getValue(T_7fe0_0000_groupLength, groupLength, ELEM_VAL_INDEX_KEEP), 0);
        EXPECT_EQ(groupLength, pixels.size() + (xfer == UID_LITTLE_ENDIAN_IMPLICIT ? 8 : 12));
        DcBuf pad;
        ASSERT_EQ(back.getValue(T_fffc_fffc_datasetPadding, pad, ELEM_VAL_INDEX_KEEP), 0);
        EXPECT_EQ(pad.getLen(), 2u);
        EXPECT_EQ(textOf(back, T_0010_0010_patientName), "Doe^Jane");
    }
}

TEST(FileWrite, DiskHeldEncapsulatedPixelsGetUndefinedLengthAndDelimiter)
{
    TempDir dir;
    Bytes fragments = fragmentsOf(pattern(8));
    DcElemList list;
    buildImage(list, "2.999.7321.9.7", 4, 4, 8, false);
    list.add(diskPixelData(dir / "frag.raw", fragments, UID_JPEG_BASELINE));
    list.add(padding(UID_JPEG_BASELINE));
    DcDirMetaInfo info;
    ASSERT_EQ(dirWriteFile((dir / "g.dcm").c_str(), info, list), 0);
    EXPECT_EQ(info.xferSyn, UID_JPEG_BASELINE);

    Bytes bytes = readBytes(dir / "g.dcm");
    size_t at = findTag(bytes, 0x7FE00010, 300);
    ASSERT_NE(at, std::string::npos);
    EXPECT_EQ(memcmp(bytes.data() + at + 4, "OB\0\0\xFF\xFF\xFF\xFF", 8), 0);
    EXPECT_EQ(Bytes(bytes.begin() + at + 12, bytes.begin() + at + 12 + fragments.size()), fragments);
    size_t delimiter = at + 12 + fragments.size();
    EXPECT_EQ(memcmp(bytes.data() + delimiter, "\xFE\xFF\xDD\xE0\0\0\0\0", 8), 0);
    EXPECT_EQ(memcmp(bytes.data() + delimiter + 8, "\xFC\xFF\xFC\xFF", 4), 0);
    EXPECT_EQ(bytes.size(), delimiter + 8 + 12 + 2);
}

TEST(FileWrite, HeaderReaderLeavesPixelsOnDiskAndWritesThemBack)
{
    for (DICT_UID xfer : {UID_LITTLE_ENDIAN_IMPLICIT, UID_BIG_ENDIAN_EXPLICIT, UID_JPEG_BASELINE}) {
        SCOPED_TRACE(xfer);
        TempDir dir;
        DcElemList list;
        buildImage(list, "2.999.7321.9.9", 16, 16, 8, xfer != UID_JPEG_BASELINE);
        if (xfer == UID_JPEG_BASELINE)
            list.add(diskPixelData(dir / "frag.raw", fragmentsOf({1, 2, 3, 4}), xfer));
        list.add(padding(xfer));
        DcDirMetaInfo info;
        info.xferSyn = xfer;
        ASSERT_EQ(dirWriteFile((dir / "in.dcm").c_str(), info, list), 0);

        DcElemList header;
        DcDirMetaInfo headerInfo;
        ASSERT_EQ(dirReadFileHeader((dir / "in.dcm").c_str(), headerInfo, header), 0);
        DcBuf pixels;
        ASSERT_EQ(header.getValue(T_7fe0_0010_pixelData, pixels, ELEM_VAL_INDEX_KEEP), 0);
        EXPECT_EQ(pixels.getType(), BUF_DISK);
        EXPECT_EQ(header.getElem(T_fffc_fffc_datasetPadding, static_cast<DcElem**>(nullptr)), 0);
        ASSERT_EQ(dirWriteFile((dir / "out.dcm").c_str(), headerInfo, header), 0);
        EXPECT_EQ(readBytes(dir / "out.dcm"), readBytes(dir / "in.dcm"));
    }
}

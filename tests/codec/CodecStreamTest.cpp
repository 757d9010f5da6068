// Files converted while they are written, one frame at a time, from a data
// set whose pixels stay on disk: the same bytes as the conversion held in
// memory, and nothing left behind when a conversion fails.
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "Brenik3.h"
#include "Brenik3Codec.h"
#include "tests/codec/CodecTestImage.h"

namespace {

std::string contents(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool exists(const std::string& path)
{
    return access(path.c_str(), F_OK) == 0;
}

// A native multi-frame data set whose frames differ; with trailing set, an
// element follows Pixel Data.
void buildDataSet(DcElemList& list, const CodecImage& image, bool trailing)
{
    list.add(new DcElem(T_0008_0016_sopClassUid, "1.2.840.10008.5.1.4.1.1.7"));
    list.add(new DcElem(T_0008_0018_sopInstanceUid, "2.999.7321.99.2"));
    list.add(new DcElem(T_0010_0010_patientName, "Stream^Test"));
    list.add(new DcElem(T_0028_0002_samplesPerPixel, static_cast<unsigned short>(image.samplesPerPixel)));
    list.add(new DcElem(T_0028_0004_photometricInterpretation, image.photometric.c_str()));
    if (image.samplesPerPixel > 1)
        list.add(new DcElem(T_0028_0006_planarConfiguration, static_cast<unsigned short>(0)));
    list.add(new DcElem(T_0028_0008_numberOfFrames, std::to_string(image.frames).c_str()));
    list.add(new DcElem(T_0028_0010_rows, static_cast<unsigned short>(image.rows)));
    list.add(new DcElem(T_0028_0011_columns, static_cast<unsigned short>(image.columns)));
    list.add(new DcElem(T_0028_0100_bitsAllocated, static_cast<unsigned short>(image.bitsAllocated)));
    list.add(new DcElem(T_0028_0101_bitsStored, static_cast<unsigned short>(image.bitsStored)));
    list.add(new DcElem(T_0028_0102_highBit, static_cast<unsigned short>(image.bitsStored - 1)));
    list.add(new DcElem(T_0028_0103_pixelRepresentation, static_cast<unsigned short>(0)));
    std::vector<uint8_t> all;
    for (unsigned f = 0; f < image.frames; f++) {
        std::vector<uint8_t> frame = testPixels(image, f + 1);
        all.insert(all.end(), frame.begin(), frame.end());
    }
    DcElem* pixels = new DcElem(static_cast<unsigned short>(0x7FE0), static_cast<unsigned short>(0x0010), nullptr, 0,
                                UID_LITTLE_ENDIAN_EXPLICIT, image.bitsAllocated > 8 ? VR_OW : VR_OB);
    pixels->addValue(all.data(), static_cast<unsigned int>(all.size()), UID_LITTLE_ENDIAN_EXPLICIT);
    list.add(pixels);
    if (trailing) {
        unsigned char pad[6] = {0};
        DcElem* padding = new DcElem(static_cast<unsigned short>(0xFFFC), static_cast<unsigned short>(0xFFFC),
                                     nullptr, 0, UID_LITTLE_ENDIAN_EXPLICIT, VR_OB);
        padding->addValue(pad, sizeof pad, UID_LITTLE_ENDIAN_EXPLICIT);
        list.add(padding);
    }
}

struct Target {
    const char* name;
    DICT_UID (*uid)();
    bool lossy;
};

void PrintTo(const Target& target, std::ostream* out)
{
    *out << target.name;
}

const Target targets[] = {
    {"rle", [] { return UID_RLE_LOSSLESS; }, false},
    {"jpegLossless", [] { return UID_JPEG_LOSSLESS_FIRST_ORDER_PREDICTION; }, false},
    {"jpegLs", [] { return codecJpegLsLossless(); }, false},
    {"j2kLossless", [] { return codecJ2kLossless(); }, false},
    {"jpegBaseline", [] { return UID_JPEG_BASELINE; }, true},
    {"j2k", [] { return codecJ2k(); }, true},
    {"big", [] { return UID_BIG_ENDIAN_EXPLICIT; }, false},
    {"implicit", [] { return UID_LITTLE_ENDIAN_IMPLICIT; }, false},
    {"deflate", [] { return codecDeflate(); }, false},
};

class StreamedConversion : public ::testing::TestWithParam<Target> {
protected:
    void SetUp() override
    {
        codecRegisterSyntaxes();
        base = testing::TempDir() + "codec-stream-" + std::to_string(getpid()) + "-" + GetParam().name;
    }
    void TearDown() override
    {
        for (const char* suffix : {"-native.dcm", "-memory.dcm", "-streamed.dcm", "-back.dcm", "-again.dcm"})
            unlink((base + suffix).c_str());
    }

    // The native file, and the same data set converted in memory and
    // written whole.
    void writeReference(const CodecImage& image, bool trailing, DICT_UID to)
    {
        DcElemList list;
        buildDataSet(list, image, trailing);
        DcDirMetaInfo meta;
        meta.xferSyn = UID_LITTLE_ENDIAN_EXPLICIT;
        ASSERT_EQ(0, codecWriteFile((base + "-native.dcm").c_str(), meta, list));
        ASSERT_EQ(0, codecConvert(list, UID_LITTLE_ENDIAN_EXPLICIT, to, CodecOptions(), GetParam().lossy));
        meta.xferSyn = to;
        ASSERT_EQ(0, codecWriteFile((base + "-memory.dcm").c_str(), meta, list));
    }

    // Reads from with its pixels on disk and writes it at to in syntax xfer.
    int convertFile(const std::string& from, const std::string& to, DICT_UID xfer)
    {
        DcDirMetaInfo meta;
        DcElemList list;
        int status = codecReadFileHeader(from.c_str(), meta, list);
        return status != 0 ? status : codecWriteConverted(to.c_str(), meta, list, xfer, CodecOptions(), true);
    }

    std::string base;
};

TEST_P(StreamedConversion, WritesTheBytesOfTheConversionHeldInMemory)
{
    DICT_UID to = GetParam().uid();
    for (bool trailing : {false, true}) {
        SCOPED_TRACE(trailing ? "with an element after Pixel Data" : "Pixel Data last");
        CodecImage image = testImage(24, 20, GetParam().lossy ? 3 : 1, GetParam().lossy ? 8 : 16,
                                     GetParam().lossy ? 8 : 12, 3);
        writeReference(image, trailing, to);
        ASSERT_EQ(0, convertFile(base + "-native.dcm", base + "-streamed.dcm", to));
        EXPECT_TRUE(contents(base + "-memory.dcm") == contents(base + "-streamed.dcm"));
        EXPECT_FALSE(exists(base + "-streamed.dcm.b3part"));
    }
}

class StreamedLosslessConversion : public StreamedConversion {};

TEST_P(StreamedLosslessConversion, ComesBackToTheOriginalFile)
{
    CodecImage image = testImage(17, 33, 1, 16, 16, 4);
    writeReference(image, false, GetParam().uid());
    ASSERT_EQ(0, convertFile(base + "-native.dcm", base + "-streamed.dcm", GetParam().uid()));
    ASSERT_EQ(0, convertFile(base + "-streamed.dcm", base + "-back.dcm", UID_LITTLE_ENDIAN_EXPLICIT));
    // Written back by the same writer from the original, the native file is
    // the same again.
    ASSERT_EQ(0, convertFile(base + "-native.dcm", base + "-again.dcm", UID_LITTLE_ENDIAN_EXPLICIT));
    EXPECT_TRUE(contents(base + "-back.dcm") == contents(base + "-again.dcm"));
}

std::string targetName(const testing::TestParamInfo<Target>& info)
{
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Targets, StreamedConversion, ::testing::ValuesIn(targets), targetName);

std::vector<Target> losslessTargets()
{
    std::vector<Target> lossless;
    for (const Target& target : targets)
        if (!target.lossy)
            lossless.push_back(target);
    return lossless;
}

INSTANTIATE_TEST_SUITE_P(Targets, StreamedLosslessConversion, ::testing::ValuesIn(losslessTargets()), targetName);

class FailedConversion : public ::testing::Test {
protected:
    void SetUp() override
    {
        codecRegisterSyntaxes();
        input = testing::TempDir() + "codec-stream-bad-" + std::to_string(getpid()) + ".dcm";
        output = input + ".out";
    }
    void TearDown() override
    {
        unlink(input.c_str());
        unlink(output.c_str());
    }

    // A native file that claims frames frames, its Pixel Data holding held.
    void writeShortPixels(unsigned frames, unsigned short held)
    {
        DcElemList shortList;
        buildDataSet(shortList, testImage(16, 16, 1, 16, 16, held), false);
        shortList.add(new DcElem(T_0028_0008_numberOfFrames, std::to_string(frames).c_str()));
        DcDirMetaInfo meta;
        meta.xferSyn = UID_LITTLE_ENDIAN_EXPLICIT;
        ASSERT_EQ(0, codecWriteFile(input.c_str(), meta, shortList));
    }

    int convert(DICT_UID to)
    {
        DcDirMetaInfo meta;
        DcElemList list;
        int status = codecReadFileHeader(input.c_str(), meta, list);
        return status != 0 ? status : codecWriteConverted(output.c_str(), meta, list, to, CodecOptions(), false);
    }

    std::string input, output;
};

TEST_F(FailedConversion, AShortLastFrameLeavesNoOutputAndKeepsAnOldOne)
{
    writeShortPixels(4, 3);
    for (DICT_UID to : {UID_RLE_LOSSLESS, UID_BIG_ENDIAN_EXPLICIT, codecJpegLsLossless()}) {
        SCOPED_TRACE(to);
        EXPECT_EQ(CODEC_ERR_WRONG_SIZE, convert(to));
        EXPECT_FALSE(exists(output));
        EXPECT_FALSE(exists(output + ".b3part"));
    }
    FILE* old = fopen(output.c_str(), "wb");
    fputs("an earlier result", old);
    fclose(old);
    EXPECT_EQ(CODEC_ERR_WRONG_SIZE, convert(UID_RLE_LOSSLESS));
    EXPECT_EQ("an earlier result", contents(output));
}

TEST_F(FailedConversion, FragmentsMissingOrDamagedGiveAStatusAndNoOutput)
{
    CodecImage image = testImage(16, 16, 1, 16, 16, 3);
    DcElemList list;
    buildDataSet(list, image, false);
    ASSERT_EQ(0, codecConvert(list, UID_LITTLE_ENDIAN_EXPLICIT, UID_RLE_LOSSLESS, CodecOptions(), false));
    DcDirMetaInfo meta;
    meta.xferSyn = UID_RLE_LOSSLESS;

    // More frames than the offset table and fragments hold.
    list.add(new DcElem(T_0028_0008_numberOfFrames, "4"));
    ASSERT_EQ(0, codecWriteFile(input.c_str(), meta, list));
    EXPECT_EQ(CODEC_ERR_BAD_OFFSETS, convert(UID_LITTLE_ENDIAN_EXPLICIT));
    EXPECT_FALSE(exists(output));

    // The last fragment's RLE header names more segments than there are:
    // the failure comes after two frames were written.
    list.add(new DcElem(T_0028_0008_numberOfFrames, "3"));
    ASSERT_EQ(0, codecWriteFile(input.c_str(), meta, list));
    std::string bytes = contents(input);
    size_t last = bytes.rfind(std::string("\xfe\xff\x00\xe0", 4));
    ASSERT_NE(std::string::npos, last);
    bytes[last + 8] = 15;  // segment count
    std::ofstream(input, std::ios::binary | std::ios::trunc) << bytes;
    EXPECT_EQ(CODEC_ERR_CORRUPT, convert(UID_LITTLE_ENDIAN_EXPLICIT));
    EXPECT_FALSE(exists(output));
    EXPECT_FALSE(exists(output + ".b3part"));
}

}

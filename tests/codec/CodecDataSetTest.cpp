// Whole data sets: conversion between syntaxes frame by frame, the
// attributes that go with it, and files in every syntax.
#include <cstdio>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "Brenik3.h"
#include "Brenik3Codec.h"
#include "tests/codec/CodecTestImage.h"

namespace {

const unsigned int PIXEL_DATA = 0x7FE00010u;

// A multi-frame image data set whose frames differ, in native little endian.
void buildDataSet(DcElemList& list, const CodecImage& image, std::vector<uint8_t>& all)
{
    list.add(new DcElem(T_0008_0016_sopClassUid, "1.2.840.10008.5.1.4.1.1.7"));
    list.add(new DcElem(T_0008_0018_sopInstanceUid, "2.999.7321.99.1"));
    list.add(new DcElem(T_0010_0010_patientName, "Codec^Test"));
    list.add(new DcElem(T_0028_0002_samplesPerPixel, static_cast<unsigned short>(image.samplesPerPixel)));
    list.add(new DcElem(T_0028_0004_photometricInterpretation, image.photometric.c_str()));
    if (image.samplesPerPixel > 1)
        list.add(new DcElem(T_0028_0006_planarConfiguration, static_cast<unsigned short>(image.planarConfiguration)));
    list.add(new DcElem(T_0028_0008_numberOfFrames, std::to_string(image.frames).c_str()));
    list.add(new DcElem(T_0028_0010_rows, static_cast<unsigned short>(image.rows)));
    list.add(new DcElem(T_0028_0011_columns, static_cast<unsigned short>(image.columns)));
    list.add(new DcElem(T_0028_0100_bitsAllocated, static_cast<unsigned short>(image.bitsAllocated)));
    list.add(new DcElem(T_0028_0101_bitsStored, static_cast<unsigned short>(image.bitsStored)));
    list.add(new DcElem(T_0028_0102_highBit, static_cast<unsigned short>(image.bitsStored - 1)));
    list.add(new DcElem(T_0028_0103_pixelRepresentation, static_cast<unsigned short>(0)));
    all.clear();
    for (unsigned f = 0; f < image.frames; f++) {
        std::vector<uint8_t> frame = testPixels(image, f + 1);
        all.insert(all.end(), frame.begin(), frame.end());
    }
    DcElem* pixels = new DcElem(static_cast<unsigned short>(0x7FE0), static_cast<unsigned short>(0x0010), nullptr, 0,
                                UID_LITTLE_ENDIAN_EXPLICIT, image.bitsAllocated > 8 ? VR_OW : VR_OB);
    pixels->addValue(all.data(), static_cast<unsigned int>(all.size()), UID_LITTLE_ENDIAN_EXPLICIT);
    list.add(pixels);
}

std::vector<uint8_t> decodeAll(DcElemList& list, DICT_UID xfer)
{
    CodecFrameReader reader;
    EXPECT_EQ(0, reader.open(list, xfer));
    std::vector<uint8_t> all;
    CodecFrame frame;
    for (unsigned i = 0; i < reader.frameCount(); i++) {
        EXPECT_EQ(0, reader.decode(i, frame)) << "frame " << i + 1;
        all.insert(all.end(), frame.bytes.begin(), frame.bytes.end());
    }
    return all;
}

std::string text(DcElemList& list, int tag)
{
    char value[128] = "";
    list.getValue(tag, value, sizeof value - 1, ELEM_VAL_INDEX_KEEP);
    return value;
}

struct Syntax {
    const char* name;
    DICT_UID (*uid)();
};

const Syntax losslessSyntaxes[] = {
    {"rle", [] { return UID_RLE_LOSSLESS; }},
    {"jpegLossless", [] { return UID_JPEG_LOSSLESS_FIRST_ORDER_PREDICTION; }},
    {"jpegLs", [] { return codecJpegLsLossless(); }},
    {"j2kLossless", [] { return codecJ2kLossless(); }},
    {"big", [] { return UID_BIG_ENDIAN_EXPLICIT; }},
};

class LosslessConversion : public ::testing::TestWithParam<Syntax> {};

TEST_P(LosslessConversion, MultiFrameGoesThereAndBackUnchanged)
{
    DICT_UID target = GetParam().uid();
    CodecImage image = testImage(40, 36, 1, 16, 12, 3);
    DcElemList list;
    std::vector<uint8_t> original;
    buildDataSet(list, image, original);

    ASSERT_EQ(0, codecConvert(list, UID_LITTLE_ENDIAN_EXPLICIT, target, CodecOptions(), false));
    if (codecIsEncapsulated(target)) {
        CodecFrameReader reader;
        ASSERT_EQ(0, reader.open(list, target));
        EXPECT_EQ(3u, reader.frameCount());
    }
    EXPECT_EQ(original, decodeAll(list, target));
    ASSERT_EQ(0, codecConvert(list, target, UID_LITTLE_ENDIAN_IMPLICIT, CodecOptions(), false));
    DcBuf value;
    DcElem* pixels = nullptr;
    ASSERT_EQ(0, list.getElem(PIXEL_DATA, &pixels));
    ASSERT_EQ(0, pixels->getValue(value, ELEM_VAL_INDEX_KEEP));
    ASSERT_EQ(original.size(), value.getLen());
    EXPECT_EQ(0, memcmp(original.data(), value.getBuf(), original.size()));
    EXPECT_EQ("Codec^Test", text(list, T_0010_0010_patientName));
    EXPECT_EQ("", text(list, T_0028_2110_lossyImageCompression));
}

INSTANTIATE_TEST_SUITE_P(Syntaxes, LosslessConversion, ::testing::ValuesIn(losslessSyntaxes),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(LossyConversion, IsRefusedUnlessAllowedAndThenMarked)
{
    CodecImage image = testImage(32, 32, 3, 8, 8, 2);
    DcElemList list;
    std::vector<uint8_t> original;
    buildDataSet(list, image, original);
    EXPECT_EQ(CODEC_ERR_LOSSY, codecConvert(list, UID_LITTLE_ENDIAN_EXPLICIT, UID_JPEG_BASELINE, CodecOptions(), false));
    EXPECT_EQ(CODEC_ERR_LOSSY, codecConvert(list, UID_LITTLE_ENDIAN_EXPLICIT, codecJ2k(), CodecOptions(), false));

    ASSERT_EQ(0, codecConvert(list, UID_LITTLE_ENDIAN_EXPLICIT, UID_JPEG_BASELINE, CodecOptions(), true));
    EXPECT_EQ("01", text(list, T_0028_2110_lossyImageCompression));
    EXPECT_EQ("ISO_10918_1", text(list, T_0028_2114_lossyImageCompressionMethod));
    EXPECT_GT(atof(text(list, T_0028_2112_lossyImageCompressionRatio).c_str()), 1.0);
    EXPECT_EQ("YBR_FULL_422", text(list, T_0028_0004_photometricInterpretation));

    // Decoded back to native, the colour model is RGB again and close to the original.
    ASSERT_EQ(0, codecConvert(list, UID_JPEG_BASELINE, UID_LITTLE_ENDIAN_EXPLICIT, CodecOptions(), false));
    EXPECT_EQ("RGB", text(list, T_0028_0004_photometricInterpretation));
    EXPECT_EQ(original.size(), decodeAll(list, UID_LITTLE_ENDIAN_EXPLICIT).size());
    EXPECT_LE(maxError(image, original, decodeAll(list, UID_LITTLE_ENDIAN_EXPLICIT)), 64);
}

class FileRoundTrip : public ::testing::Test {
protected:
    void SetUp() override
    {
        path = testing::TempDir() + "codec-file-" + std::to_string(getpid()) + ".dcm";
    }
    void TearDown() override { unlink(path.c_str()); }
    std::string path;
};

TEST_F(FileRoundTrip, EverySyntaxIsWrittenAndReadBack)
{
    std::vector<DICT_UID> syntaxes = {codecDeflate(), UID_RLE_LOSSLESS, codecJpegLsLossless(), codecJ2kLossless(),
                                      UID_JPEG_LOSSLESS_FIRST_ORDER_PREDICTION};
    for (DICT_UID xfer : syntaxes) {
        SCOPED_TRACE(xfer);
        CodecImage image = testImage(16, 24, 1, 8, 8, 2);
        DcElemList list;
        std::vector<uint8_t> original;
        buildDataSet(list, image, original);
        ASSERT_EQ(0, codecConvert(list, UID_LITTLE_ENDIAN_EXPLICIT, xfer, CodecOptions(), false));
        DcDirMetaInfo meta;
        meta.xferSyn = xfer;
        ASSERT_EQ(0, codecWriteFile(path.c_str(), meta, list));

        DcDirMetaInfo readMeta;
        DcElemList read;
        ASSERT_EQ(0, codecReadFile(path.c_str(), readMeta, read));
        EXPECT_EQ(xfer, readMeta.xferSyn);
        EXPECT_EQ("Codec^Test", text(read, T_0010_0010_patientName));
        EXPECT_EQ(original, decodeAll(read, xfer));
    }
}

TEST_F(FileRoundTrip, TruncatedDeflateStreamIsACorruptFile)
{
    CodecImage image = testImage(16, 16, 1, 8, 8, 1);
    DcElemList list;
    std::vector<uint8_t> original;
    buildDataSet(list, image, original);
    DcDirMetaInfo meta;
    meta.xferSyn = codecDeflate();
    ASSERT_EQ(0, codecWriteFile(path.c_str(), meta, list));
    FILE* file = fopen(path.c_str(), "rb");
    fseek(file, 0, SEEK_END);
    long size = ftell(file);
    fclose(file);
    ASSERT_EQ(0, truncate(path.c_str(), size - 40));
    DcElemList read;
    EXPECT_EQ(CODEC_ERR_CORRUPT, codecReadFile(path.c_str(), meta, read));
}

}

// Each codec encodes and decodes test pictures of several layouts: the
// lossless ones bit for bit, the lossy ones within a small error.
#include <gtest/gtest.h>

#include "Brenik3Codec.h"
#include "tests/codec/CodecTestImage.h"

namespace {

struct Layout {
    const char* name;
    unsigned rows, columns, samples, bitsAllocated, bitsStored, planar;
};

const Layout layouts[] = {
    {"grey8", 64, 80, 1, 8, 8, 0},          {"grey12in16", 61, 47, 1, 16, 12, 0},
    {"grey16", 32, 33, 1, 16, 16, 0},       {"rgb8", 40, 50, 3, 8, 8, 0},
    {"rgb8planar", 24, 30, 3, 8, 8, 1},     {"onepixel", 1, 1, 1, 16, 16, 0},
};

struct Case {
    const char* codec;
    const PixelCodec* (*get)();
    int tolerance;  // -1: lossless
};

const Case cases[] = {
    {"rle", [] { return &codecRle(); }, -1},
    {"jpegLossless", [] { return &codecJpegLossless(); }, -1},
    {"jpegLs", [] { return &codecJpegLs(); }, -1},
    {"j2kLossless", [] { return &codecJ2k(true); }, -1},
};

class LosslessRoundTrip : public ::testing::TestWithParam<std::tuple<Case, Layout>> {};

TEST_P(LosslessRoundTrip, DecodesBitForBit)
{
    const Case& c = std::get<0>(GetParam());
    const Layout& l = std::get<1>(GetParam());
    CodecImage image = testImage(l.rows, l.columns, l.samples, l.bitsAllocated, l.bitsStored);
    image.planarConfiguration = l.planar;
    std::vector<uint8_t> pixels = testPixels(image);
    CodecFrame encoded, decoded;
    ASSERT_EQ(0, c.get()->encode(pixels.data(), pixels.size(), image, CodecOptions(), encoded));
    ASSERT_FALSE(encoded.bytes.empty());
    CodecImage stored = image;
    if (!encoded.photometric.empty())
        stored.photometric = encoded.photometric;
    ASSERT_EQ(0, c.get()->decode(encoded.bytes.data(), encoded.bytes.size(), stored, decoded));
    EXPECT_EQ(pixels, decoded.bytes);
}

INSTANTIATE_TEST_SUITE_P(Codecs, LosslessRoundTrip, ::testing::Combine(::testing::ValuesIn(cases), ::testing::ValuesIn(layouts)),
                         [](const auto& info) {
                             return std::string(std::get<0>(info.param).codec) + "_" + std::get<1>(info.param).name;
                         });

TEST(LossyRoundTrip, StaysWithinTheExpectedError)
{
    CodecImage grey = testImage(64, 64, 1, 8, 8);
    CodecImage rgb = testImage(48, 64, 3, 8, 8);
    CodecImage deep = testImage(64, 64, 1, 16, 12);
    CodecOptions near;
    near.nearLossless = 3;
    struct {
        const PixelCodec& codec;
        CodecImage image;
        CodecOptions options;
        int tolerance;
    } runs[] = {
        {codecJpegBaseline(), grey, CodecOptions(), 24},
        {codecJpegBaseline(), rgb, CodecOptions(), 64},
        {codecJpegLs(), deep, near, 3},
        {codecJ2k(false), deep, CodecOptions(), 200},
    };
    for (auto& run : runs) {
        SCOPED_TRACE(run.codec.name());
        std::vector<uint8_t> pixels = testPixels(run.image);
        CodecFrame encoded, decoded;
        ASSERT_EQ(0, run.codec.encode(pixels.data(), pixels.size(), run.image, run.options, encoded));
        EXPECT_LT(encoded.bytes.size(), pixels.size());
        CodecImage stored = run.image;
        if (!encoded.photometric.empty())
            stored.photometric = encoded.photometric;
        ASSERT_EQ(0, run.codec.decode(encoded.bytes.data(), encoded.bytes.size(), stored, decoded));
        ASSERT_EQ(pixels.size(), decoded.bytes.size());
        EXPECT_LE(maxError(run.image, pixels, decoded.bytes), run.tolerance);
    }
}

TEST(SignedPixels, KeepTheirSignBitsThroughLosslessCoders)
{
    CodecImage image = testImage(20, 20, 1, 16, 12);
    image.pixelRepresentation = 1;
    std::vector<uint8_t> pixels = testPixels(image);
    // Sign-extend the 12-bit samples, as native signed data holds them.
    for (size_t i = 0; i < pixels.size(); i += 2) {
        int v = pixels[i] | (pixels[i + 1] << 8);
        if (v & 0x800)
            pixels[i + 1] |= 0xF0;
    }
    for (const PixelCodec* codec : {&codecRle(), &codecJpegLossless(), &codecJpegLs(), &codecJ2k(true)}) {
        SCOPED_TRACE(codec->name());
        CodecFrame encoded, decoded;
        ASSERT_EQ(0, codec->encode(pixels.data(), pixels.size(), image, CodecOptions(), encoded));
        ASSERT_EQ(0, codec->decode(encoded.bytes.data(), encoded.bytes.size(), image, decoded));
        EXPECT_EQ(pixels, decoded.bytes);
    }
}

}

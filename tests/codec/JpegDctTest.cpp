// Our own lossy JPEG coder (12-bit and 8-bit sequential DCT): its round
// trips, its agreement with libjpeg on 8-bit colour, its place behind the
// lossy JPEG codec, and what it makes of damaged codestreams.
#include <gtest/gtest.h>

#include <cstdlib>

#include "Brenik3Codec.h"
#include "codec/JpegDct.h"
#include "foundation/LogCapture.h"
#include "tests/codec/CodecTestImage.h"

namespace {

JpegDctImage greyImage(unsigned width, unsigned height, unsigned precision)
{
    CodecImage layout = testImage(height, width, 1, precision > 8 ? 16 : 8, precision);
    std::vector<uint8_t> pixels = testPixels(layout);
    JpegDctImage image;
    image.width = width;
    image.height = height;
    image.components = 1;
    image.precision = precision;
    for (size_t i = 0; i < size_t(width) * height; i++)
        image.samples.push_back(precision > 8 ? pixels[2 * i] | (pixels[2 * i + 1] << 8) : pixels[i]);
    return image;
}

struct Error {
    int worst = 0;
    double mean = 0;
};

Error errorOf(const std::vector<uint16_t>& a, const std::vector<uint16_t>& b)
{
    Error e;
    if (a.size() != b.size() || a.empty())
        return {1 << 20, 1e9};
    for (size_t i = 0; i < a.size(); i++) {
        int d = std::abs(int(a[i]) - int(b[i]));
        e.worst = std::max(e.worst, d);
        e.mean += d;
    }
    e.mean /= double(a.size());
    return e;
}

std::vector<uint8_t> encoded12(unsigned width = 61, unsigned height = 47, int quality = 90)
{
    std::vector<uint8_t> out;
    EXPECT_EQ(0, jpegDctEncode(greyImage(width, height, 12), quality, out));
    return out;
}

// The offset of the first marker `code` in a codestream.
size_t find(const std::vector<uint8_t>& data, uint8_t code)
{
    for (size_t i = 0; i + 1 < data.size(); i++)
        if (data[i] == 0xFF && data[i + 1] == code)
            return i;
    ADD_FAILURE() << "no marker " << int(code);
    return 0;
}

}

// ---- round trips -----------------------------------------------------------

TEST(JpegDctRoundTrip, TwelveBitImagesOfAnySizeComeBackCloseToTheOriginal)
{
    for (auto [w, h] : {std::pair<unsigned, unsigned>{64, 64}, {61, 47}, {1, 1}, {9, 300}}) {
        JpegDctImage source = greyImage(w, h, 12);
        std::vector<uint8_t> coded;
        ASSERT_EQ(0, jpegDctEncode(source, 90, coded));
        JpegDctImage decoded;
        ASSERT_EQ(0, jpegDctDecode(coded.data(), coded.size(), 1 << 20, decoded)) << w << "x" << h;
        EXPECT_EQ(w, decoded.width);
        EXPECT_EQ(h, decoded.height);
        EXPECT_EQ(12u, decoded.precision);
        Error e = errorOf(source.samples, decoded.samples);
        EXPECT_LT(e.mean, 8.0) << w << "x" << h;  // of 4096 grey levels
        EXPECT_LT(e.worst, 200) << w << "x" << h;
    }
}

TEST(JpegDctRoundTrip, HigherQualityGivesSmallerErrorsAndLargerCodestreams)
{
    JpegDctImage source = greyImage(64, 64, 12);
    std::vector<uint8_t> low, high;
    ASSERT_EQ(0, jpegDctEncode(source, 30, low));
    ASSERT_EQ(0, jpegDctEncode(source, 100, high));
    JpegDctImage fromLow, fromHigh;
    ASSERT_EQ(0, jpegDctDecode(low.data(), low.size(), 1 << 20, fromLow));
    ASSERT_EQ(0, jpegDctDecode(high.data(), high.size(), 1 << 20, fromHigh));
    EXPECT_LT(low.size(), high.size());
    EXPECT_LT(errorOf(source.samples, fromHigh.samples).mean, errorOf(source.samples, fromLow.samples).mean);
    EXPECT_LE(errorOf(source.samples, fromHigh.samples).worst, 16);
}

TEST(JpegDctRoundTrip, RestartIntervalsChangeTheCodingNotThePicture)
{
    JpegDctImage source = greyImage(45, 30, 12);
    std::vector<uint8_t> plain;
    ASSERT_EQ(0, jpegDctEncode(source, 80, plain));
    JpegDctImage expected;
    ASSERT_EQ(0, jpegDctDecode(plain.data(), plain.size(), 1 << 20, expected));
    for (unsigned interval : {1u, 5u, 23u}) {
        std::vector<uint8_t> restarted;
        ASSERT_EQ(0, jpegDctEncode(source, 80, restarted, interval));
        EXPECT_NE(plain, restarted);
        JpegDctImage decoded;
        ASSERT_EQ(0, jpegDctDecode(restarted.data(), restarted.size(), 1 << 20, decoded)) << interval;
        EXPECT_EQ(expected.samples, decoded.samples) << interval;
    }
}

TEST(JpegDctRoundTrip, EightBitGreyDecodesAlikeThroughLibjpegAndOurs)
{
    JpegDctImage source = greyImage(40, 24, 8);
    std::vector<uint8_t> coded;
    ASSERT_EQ(0, jpegDctEncode(source, 75, coded));
    CodecImage image = testImage(24, 40, 1, 8, 8);
    CodecFrame theirs;
    ASSERT_EQ(0, codecJpegBaseline().decode(coded.data(), coded.size(), image, theirs));
    JpegDctImage ours;
    ASSERT_EQ(0, jpegDctDecode(coded.data(), coded.size(), 1 << 20, ours));
    EXPECT_EQ(std::vector<uint16_t>(theirs.bytes.begin(), theirs.bytes.end()), ours.samples);
}

TEST(JpegDctRoundTrip, SubsampledColourFromLibjpegDecodesToTheSameRgb)
{
    // libjpeg's encoding halves the chroma horizontally: upsampling and the
    // colour transform must match its own decoding.
    CodecImage image = testImage(37, 53, 3, 8, 8);
    std::vector<uint8_t> pixels = testPixels(image);
    CodecFrame coded, theirs;
    ASSERT_EQ(0, codecJpegBaseline().encode(pixels.data(), pixels.size(), image, CodecOptions(), coded));
    image.photometric = coded.photometric;
    ASSERT_EQ(0, codecJpegBaseline().decode(coded.bytes.data(), coded.bytes.size(), image, theirs));
    JpegDctImage ours;
    ASSERT_EQ(0, jpegDctDecode(coded.bytes.data(), coded.bytes.size(), 1 << 20, ours));
    EXPECT_TRUE(ours.convertedToRgb);
    EXPECT_LE(errorOf(std::vector<uint16_t>(theirs.bytes.begin(), theirs.bytes.end()), ours.samples).worst, 1);
}

// ---- behind the lossy JPEG codec -------------------------------------------

TEST(JpegDctCodec, TwelveBitFramesAreEncodedAndDecodedThroughTheLossyJpegCodec)
{
    CodecImage image = testImage(30, 20, 1, 16, 12);
    std::vector<uint8_t> pixels = testPixels(image);
    CodecFrame coded, decoded;
    ASSERT_EQ(0, codecJpegBaseline().encode(pixels.data(), pixels.size(), image, CodecOptions(), coded));
    EXPECT_EQ(12, coded.bytes[find(coded.bytes, 0xC1) + 4]);  // an extended frame of 12 bits
    ASSERT_EQ(0, codecJpegBaseline().decode(coded.bytes.data(), coded.bytes.size(), image, decoded));
    EXPECT_LT(maxError(image, pixels, decoded.bytes), 64);
    EXPECT_TRUE(decoded.photometric.empty());
}

TEST(JpegDctCodec, EightBitExtendedFramesUsingTablesThreeDecodeAlikeThroughLibjpegAndOurs)
{
    // Extended frames may use Huffman and quantisation tables 2 and 3,
    // which baseline ones may not.
    JpegDctImage source = greyImage(40, 24, 8);
    std::vector<uint8_t> data;
    ASSERT_EQ(0, jpegDctEncode(source, 75, data));
    size_t frame = find(data, 0xC0), scan = find(data, 0xDA);
    data[frame + 1] = 0xC1;
    data[frame + 12] = 3;              // quantisation table 3
    data[find(data, 0xDB) + 4] = 0x03;
    data[scan + 6] = 0x33;             // Huffman tables 3
    for (size_t i = 0; i + 4 < scan; i++)
        if (data[i] == 0xFF && data[i + 1] == 0xC4)
            data[i + 4] |= 0x03;  // each segment holds one table
    CodecImage image = testImage(24, 40, 1, 8, 8);
    CodecFrame decoded;
    ASSERT_EQ(0, codecJpegBaseline().decode(data.data(), data.size(), image, decoded));
    JpegDctImage ours;
    ASSERT_EQ(0, jpegDctDecode(data.data(), data.size(), 1 << 20, ours));
    EXPECT_EQ(std::vector<uint16_t>(decoded.bytes.begin(), decoded.bytes.end()), ours.samples);
}

TEST(JpegDctCodec, SignedFramesAreTakenOnlyWithoutNegativeValues)
{
    LogCapture log;
    CodecImage image = testImage(16, 16, 1, 16, 12);
    image.pixelRepresentation = 1;
    std::vector<uint8_t> pixels(image.frameBytes(), 0);
    for (size_t i = 0; i < pixels.size(); i += 2)
        pixels[i] = static_cast<uint8_t>(i);  // 0 to 254
    CodecFrame coded;
    EXPECT_EQ(0, codecJpegBaseline().encode(pixels.data(), pixels.size(), image, CodecOptions(), coded));
    pixels[10] = 0xFF;
    pixels[11] = 0xFF;  // -1
    EXPECT_EQ(CODEC_ERR_UNSUPPORTED,
              codecJpegBaseline().encode(pixels.data(), pixels.size(), image, CodecOptions(), coded));
}

TEST(JpegDctCodec, ColourAndWiderSamplesAreRefusedByTheEncoder)
{
    LogCapture log;
    for (CodecImage image : {testImage(8, 8, 3, 16, 12), testImage(8, 8, 1, 16, 16)}) {
        std::vector<uint8_t> pixels = testPixels(image);
        CodecFrame coded;
        EXPECT_EQ(CODEC_ERR_UNSUPPORTED,
                  codecJpegBaseline().encode(pixels.data(), pixels.size(), image, CodecOptions(), coded));
    }
}

// ---- damaged and unsupported codestreams -----------------------------------

struct Damage {
    const char* name;
    void (*apply)(std::vector<uint8_t>&);
    int status;
};

const Damage damages[] = {
    {"truncatedScan", [](std::vector<uint8_t>& d) { d.resize(find(d, 0xDA) + 60); }, CODEC_ERR_CORRUPT},
    {"noScan", [](std::vector<uint8_t>& d) { d.resize(find(d, 0xDA)); }, CODEC_ERR_CORRUPT},
    {"huffmanCountsOverflow",
     [](std::vector<uint8_t>& d) { d[find(d, 0xC4) + 5] = 3; },  // three codes of length 1
     CODEC_ERR_CORRUPT},
    {"huffmanTableRunsPastItsSegment", [](std::vector<uint8_t>& d) { d[find(d, 0xC4) + 20] = 200; },
     CODEC_ERR_CORRUPT},
    {"precision16", [](std::vector<uint8_t>& d) { d[find(d, 0xC1) + 4] = 16; }, CODEC_ERR_UNSUPPORTED},
    {"progressive", [](std::vector<uint8_t>& d) { d[find(d, 0xC1) + 1] = 0xC2; }, CODEC_ERR_UNSUPPORTED},
    {"arithmetic", [](std::vector<uint8_t>& d) { d[find(d, 0xC1) + 1] = 0xC9; }, CODEC_ERR_UNSUPPORTED},
    {"zeroWidth",
     [](std::vector<uint8_t>& d) {
         size_t f = find(d, 0xC1);
         d[f + 7] = 0;
         d[f + 8] = 0;
     },
     CODEC_ERR_CORRUPT},
    {"scanOfAnUnknownComponent", [](std::vector<uint8_t>& d) { d[find(d, 0xDA) + 5] = 9; }, CODEC_ERR_CORRUPT},
    {"noQuantisationTable", [](std::vector<uint8_t>& d) { d[find(d, 0xDB) + 1] = 0xFE; }, CODEC_ERR_CORRUPT},
    {"restartMarkerMissing",
     [](std::vector<uint8_t>& d) {
         // A restart interval of one block, where the data has no markers.
         size_t at = find(d, 0xDA);
         d.insert(d.begin() + at, {0xFF, 0xDD, 0x00, 0x04, 0x00, 0x01});
     },
     CODEC_ERR_CORRUPT},
    {"garbageForData",
     [](std::vector<uint8_t>& d) {
         for (size_t i = find(d, 0xDA) + 10; i + 2 < d.size(); i++)
             d[i] = 0xFE;
     },
     CODEC_ERR_CORRUPT},
};

class JpegDctDamage : public ::testing::TestWithParam<Damage> {};

TEST_P(JpegDctDamage, GivesAClearStatusAndNoSamples)
{
    LogCapture log;
    std::vector<uint8_t> data = encoded12();
    GetParam().apply(data);
    JpegDctImage out;
    EXPECT_EQ(GetParam().status, jpegDctDecode(data.data(), data.size(), 1 << 20, out));
    EXPECT_TRUE(out.samples.empty());
    EXPECT_FALSE(log.entries.empty());
}

INSTANTIATE_TEST_SUITE_P(Codestreams, JpegDctDamage, ::testing::ValuesIn(damages),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(JpegDctLimits, ImagesAboveTheSampleLimitAreRefusedBeforeDecoding)
{
    LogCapture log;
    std::vector<uint8_t> data = encoded12(61, 47);
    JpegDctImage out;
    EXPECT_EQ(CODEC_ERR_TOO_LARGE, jpegDctDecode(data.data(), data.size(), 61 * 47 - 1, out));
}

TEST(JpegDctLimits, AFrameOfAnotherSizeThanTheAttributesSayIsRefused)
{
    LogCapture log;
    std::vector<uint8_t> data = encoded12(61, 47);
    CodecImage image = testImage(47, 62, 1, 16, 12);
    CodecFrame out;
    EXPECT_EQ(CODEC_ERR_WRONG_SIZE, codecJpegBaseline().decode(data.data(), data.size(), image, out));
    image = testImage(47, 61, 1, 8, 8);  // 12-bit samples in 8 bits allocated
    EXPECT_EQ(CODEC_ERR_WRONG_SIZE, codecJpegBaseline().decode(data.data(), data.size(), image, out));
}

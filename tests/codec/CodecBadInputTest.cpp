// Damaged codestreams: every decoder answers with a status and stays inside
// its buffers (the sanitizer build checks the latter).
#include <gtest/gtest.h>

#include "Brenik3Codec.h"
#include "tests/codec/CodecTestImage.h"

namespace {

struct Decoder {
    const char* name;
    const PixelCodec& codec;
};

std::vector<Decoder> decoders()
{
    return {{"rle", codecRle()}, {"jpegLossless", codecJpegLossless()}, {"jpegLs", codecJpegLs()},
            {"j2k", codecJ2k(true)}, {"jpeg", codecJpegBaseline()}};
}

TEST(BadCodestreams, TruncatedOrFlippedStreamsGiveAStatusOrTheRightSize)
{
    CodecImage image = testImage(24, 20, 1, 8, 8);
    std::vector<uint8_t> pixels = testPixels(image);
    for (const Decoder& d : decoders()) {
        SCOPED_TRACE(d.name);
        CodecFrame encoded;
        CodecOptions options;
        ASSERT_EQ(0, d.codec.encode(pixels.data(), pixels.size(), image, options, encoded));
        std::vector<uint8_t> stream = encoded.bytes;
        for (size_t cut = 0; cut < stream.size(); cut += 1 + stream.size() / 40) {
            CodecFrame out;
            std::vector<uint8_t> part(stream.begin(), stream.begin() + cut);
            int status = d.codec.decode(part.data(), part.size(), image, out);
            if (status == 0) {
                EXPECT_EQ(image.frameBytes(), out.bytes.size());
            }
        }
        uint32_t noise = 12345;
        for (int round = 0; round < 60; round++) {
            std::vector<uint8_t> damaged = stream;
            for (int k = 0; k < 3; k++) {
                noise = noise * 1103515245 + 12345;
                damaged[(noise >> 8) % damaged.size()] ^= static_cast<uint8_t>(1 + (noise >> 24) % 255);
            }
            CodecFrame out;
            int status = d.codec.decode(damaged.data(), damaged.size(), image, out);
            if (status == 0) {
                EXPECT_EQ(image.frameBytes(), out.bytes.size());
            }
        }
    }
}

TEST(BadCodestreams, StreamsOfAnotherSizeThanTheAttributesAreRefused)
{
    CodecImage small = testImage(8, 8, 1, 8, 8);
    CodecImage large = testImage(16, 8, 1, 8, 8);
    std::vector<uint8_t> pixels = testPixels(small);
    for (const Decoder& d : decoders()) {
        SCOPED_TRACE(d.name);
        CodecFrame encoded, out;
        ASSERT_EQ(0, d.codec.encode(pixels.data(), pixels.size(), small, CodecOptions(), encoded));
        int status = d.codec.decode(encoded.bytes.data(), encoded.bytes.size(), large, out);
        EXPECT_TRUE(status == CODEC_ERR_WRONG_SIZE || status == CODEC_ERR_CORRUPT) << std::hex << status;
    }
}

TEST(BadCodestreams, UnusableAttributesAndEmptyInputAreRefusedFirst)
{
    CodecImage noImage;
    CodecImage image = testImage(8, 8, 1, 8, 8);
    CodecImage tooDeep = testImage(8, 8, 1, 8, 8);
    tooDeep.bitsStored = 12;
    uint8_t byte = 0;
    for (const Decoder& d : decoders()) {
        SCOPED_TRACE(d.name);
        CodecFrame out;
        EXPECT_EQ(CODEC_ERR_NULL_ARG, d.codec.decode(nullptr, 0, image, out));
        EXPECT_EQ(CODEC_ERR_NOT_IMAGE, d.codec.decode(&byte, 1, noImage, out));
        EXPECT_EQ(CODEC_ERR_NOT_IMAGE, d.codec.decode(&byte, 1, tooDeep, out));
        std::vector<uint8_t> shortFrame(10);
        EXPECT_EQ(CODEC_ERR_WRONG_SIZE, d.codec.encode(shortFrame.data(), shortFrame.size(), image, CodecOptions(), out));
    }
}

TEST(BadCodestreams, RleSegmentsOutsideTheFragmentAreCaught)
{
    CodecImage image = testImage(4, 4, 1, 8, 8);
    std::vector<uint8_t> header(64, 0);
    header[0] = 1;   // one segment
    header[4] = 200; // starting past the end
    CodecFrame out;
    EXPECT_EQ(CODEC_ERR_CORRUPT, codecRle().decode(header.data(), header.size(), image, out));
    header[4] = 64;
    header.push_back(0x81);  // a run of 128 into a 16-byte plane
    header.push_back(7);
    EXPECT_EQ(CODEC_ERR_WRONG_SIZE, codecRle().decode(header.data(), header.size(), image, out));
}

TEST(BadCodestreams, LosslessJpegHeaderLimitsAreEnforced)
{
    CodecImage image = testImage(64, 64, 1, 16, 16);
    std::vector<uint8_t> pixels = testPixels(image);
    CodecFrame encoded;
    ASSERT_EQ(0, codecJpegLossless().encode(pixels.data(), pixels.size(), image, CodecOptions(), encoded));
    JpegLosslessImage out;
    EXPECT_EQ(CODEC_ERR_TOO_LARGE, jpegLosslessDecode(encoded.bytes.data(), encoded.bytes.size(), 100, out));
    EXPECT_EQ(0, jpegLosslessDecode(encoded.bytes.data(), encoded.bytes.size(), 64 * 64, out));
    // A baseline frame header is not lossless JPEG.
    std::vector<uint8_t> baseline = encoded.bytes;
    baseline[3] = 0xC0;
    EXPECT_EQ(CODEC_ERR_UNSUPPORTED, jpegLosslessDecode(baseline.data(), baseline.size(), 1 << 20, out));
}

}

namespace {

// The fuzz entry points run over a small corpus of damaged inputs.
TEST(FuzzEntryPoints, TakeArbitraryBytes)
{
    CodecImage image = testImage(16, 16, 1, 16, 12);
    std::vector<uint8_t> pixels = testPixels(image);
    std::vector<std::vector<uint8_t>> inputs;
    for (const PixelCodec* codec : {&codecRle(), &codecJpegLossless(), &codecJpegLs(), &codecJ2k(true)}) {
        CodecFrame encoded;
        ASSERT_EQ(0, codec->encode(pixels.data(), pixels.size(), image, CodecOptions(), encoded));
        std::vector<uint8_t> input = {15, 15, 0, 0x8B};
        input.insert(input.end(), encoded.bytes.begin(), encoded.bytes.end());
        EXPECT_EQ(0, codecFuzzDecode(*codec, input.data(), input.size())) << codec->name();
        input[0] = 200;  // another size than the codestream's
        EXPECT_NE(0, codecFuzzDecode(*codec, input.data(), input.size())) << codec->name();
        inputs.push_back(input);
    }
    for (const auto& input : inputs) {
        EXPECT_NE(0, codecFuzzFrames(input.data(), input.size()));
        EXPECT_NE(0, codecFuzzInflate(input.data(), input.size()));
        EXPECT_NE(0, codecFuzzJson(input.data(), input.size()));
    }
}

}

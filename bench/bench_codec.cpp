// Decode and encode throughput of each pixel codec, in megabytes of native
// pixels per second, on a 512x512 16-bit CT-like slice and on a 32-frame
// object decoded one frame at a time through the frame reader.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "Brenik3.h"
#include "Brenik3Codec.h"

namespace {

CodecImage slice()
{
    CodecImage image;
    image.rows = image.columns = 512;
    image.bitsAllocated = 16;
    image.bitsStored = 12;
    image.highBit = 11;
    image.photometric = "MONOCHROME2";
    return image;
}

// Air around a water-like body with a bone ring and detector noise.
std::vector<uint8_t> ctPixels(const CodecImage& image, unsigned seed)
{
    std::vector<uint8_t> out(image.frameBytes());
    uint32_t noise = 0x9E3779B9u ^ seed;
    for (unsigned y = 0; y < image.rows; y++)
        for (unsigned x = 0; x < image.columns; x++) {
            double dx = (x - 256.0) / 200.0, dy = (y - 256.0 - seed % 7) / 160.0;
            double r = std::sqrt(dx * dx + dy * dy);
            noise ^= noise << 13;
            noise ^= noise >> 17;
            noise ^= noise << 5;
            int v = r > 1.0 ? 0 : r > 0.9 ? 1800 : 1024 + static_cast<int>(40 * std::sin(x * 0.07) * std::cos(y * 0.05));
            if (v > 0)
                v += static_cast<int>(noise % 24) - 12;
            size_t i = 2 * (size_t(y) * image.columns + x);
            out[i] = static_cast<uint8_t>(v);
            out[i + 1] = static_cast<uint8_t>(v >> 8);
        }
    return out;
}

const PixelCodec* byIndex(int index)
{
    switch (index) {
    case 0: return &codecRle();
    case 1: return &codecJpegLossless();
    case 2: return &codecJpegLs();
    default: return &codecJ2k(true);
    }
}

void BM_Encode(benchmark::State& state)
{
    const PixelCodec* codec = byIndex(static_cast<int>(state.range(0)));
    state.SetLabel(codec->name());
    CodecImage image = slice();
    std::vector<uint8_t> pixels = ctPixels(image, 1);
    CodecFrame out;
    for (auto _ : state) {
        codec->encode(pixels.data(), pixels.size(), image, CodecOptions(), out);
        benchmark::DoNotOptimize(out.bytes.data());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(pixels.size()));
    state.counters["ratio"] = double(pixels.size()) / double(out.bytes.size());
}

void BM_Decode(benchmark::State& state)
{
    const PixelCodec* codec = byIndex(static_cast<int>(state.range(0)));
    state.SetLabel(codec->name());
    CodecImage image = slice();
    std::vector<uint8_t> pixels = ctPixels(image, 1);
    CodecFrame encoded, out;
    codec->encode(pixels.data(), pixels.size(), image, CodecOptions(), encoded);
    for (auto _ : state) {
        codec->decode(encoded.bytes.data(), encoded.bytes.size(), image, out);
        benchmark::DoNotOptimize(out.bytes.data());
    }
    if (out.bytes != pixels)
        state.SkipWithError("decoded pixels differ");
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(pixels.size()));
}

// A 32-frame object in a data set, decoded frame by frame.
void BM_MultiFrameDecode(benchmark::State& state)
{
    const PixelCodec* codec = byIndex(static_cast<int>(state.range(0)));
    state.SetLabel(codec->name());
    CodecImage image = slice();
    const unsigned frames = 32;
    std::vector<std::vector<uint8_t>> encoded;
    for (unsigned f = 0; f < frames; f++) {
        std::vector<uint8_t> pixels = ctPixels(image, f);
        CodecFrame out;
        codec->encode(pixels.data(), pixels.size(), image, CodecOptions(), out);
        encoded.push_back(out.bytes);
    }
    std::vector<uint8_t> value = codecEncapsulate(encoded);
    DcElemList list;
    list.add(new DcElem(T_0028_0008_numberOfFrames, "32"));
    list.add(new DcElem(T_0028_0010_rows, static_cast<unsigned short>(512)));
    list.add(new DcElem(T_0028_0011_columns, static_cast<unsigned short>(512)));
    list.add(new DcElem(T_0028_0100_bitsAllocated, static_cast<unsigned short>(16)));
    list.add(new DcElem(T_0028_0101_bitsStored, static_cast<unsigned short>(12)));
    list.add(new DcElem(T_0028_0004_photometricInterpretation, "MONOCHROME2"));
    DcElem* pixelData = new DcElem(static_cast<unsigned short>(0x7FE0), static_cast<unsigned short>(0x0010), nullptr,
                                   0, UID_RLE_LOSSLESS, VR_OB);
    pixelData->addValue(value.data(), static_cast<unsigned int>(value.size()), UID_RLE_LOSSLESS);
    list.add(pixelData);
    DICT_UID xfer = state.range(0) == 0   ? UID_RLE_LOSSLESS
                    : state.range(0) == 1 ? UID_JPEG_LOSSLESS_FIRST_ORDER_PREDICTION
                    : state.range(0) == 2 ? codecJpegLsLossless()
                                          : codecJ2kLossless();
    CodecFrameReader reader;
    if (reader.open(list, xfer) != 0) {
        state.SkipWithError("frames not found");
        return;
    }
    CodecFrame out;
    for (auto _ : state)
        for (unsigned f = 0; f < frames; f++)
            reader.decode(f, out);
    state.SetBytesProcessed(int64_t(state.iterations()) * frames * int64_t(image.frameBytes()));
}

}

BENCHMARK(BM_Encode)->DenseRange(0, 3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Decode)->DenseRange(0, 3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MultiFrameDecode)->DenseRange(0, 3)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();

// Seeds of the codec target (fuzzCodec): small images encoded by the
// library's own encoders in each layout the codec takes, encapsulated
// values with and without an offset table, a deflated data set and a JSON
// document. Each seed starts with the decoder byte, then the layout bytes
// of codecFuzzDecode where a pixel decoder reads it.
#include <sys/stat.h>

#include <cstdio>
#include <string>
#include <vector>

#include "codec/Codec.h"
#include "codec/CodecFile.h"
#include "codec/CodecFrames.h"
#include "codec/DicomJson.h"
#include "codec/JpegDct.h"
#include "tests/media/MediaTestUtil.h"

namespace {

struct Layout {
    const char* name;
    unsigned int rows, columns, samples, bits, stored;
};

const Layout layouts[] = {
    {"mono8", 8, 8, 1, 8, 8},
    {"mono12", 16, 12, 1, 16, 12},
    {"mono16", 6, 10, 1, 16, 16},
    {"rgb8", 5, 7, 3, 8, 8},
};

CodecImage imageOf(const Layout& l)
{
    CodecImage image;
    image.rows = l.rows;
    image.columns = l.columns;
    image.samplesPerPixel = l.samples;
    image.bitsAllocated = l.bits;
    image.bitsStored = l.stored;
    image.highBit = l.stored - 1;
    image.photometric = l.samples == 3 ? "RGB" : "MONOCHROME2";
    return image;
}

// A smooth gradient with some noise, inside the stored bits.
std::vector<uint8_t> pixelsOf(const CodecImage& image)
{
    std::vector<uint8_t> pixels(image.frameBytes());
    unsigned int max = (1u << image.bitsStored) - 1;
    size_t samples = pixels.size() / image.bytesPerSample();
    for (size_t i = 0; i < samples; i++) {
        unsigned int v = static_cast<unsigned int>((i * 37 + (i * i) % 11) % (max + 1));
        if (image.bytesPerSample() == 2) {
            pixels[2 * i] = static_cast<uint8_t>(v);
            pixels[2 * i + 1] = static_cast<uint8_t>(v >> 8);
        } else {
            pixels[i] = static_cast<uint8_t>(v);
        }
    }
    return pixels;
}

// The selector and layout bytes codecFuzzDecode reads before the codestream.
std::vector<uint8_t> decodePrefix(uint8_t selector, const CodecImage& image)
{
    return {selector, static_cast<uint8_t>(image.rows - 1), static_cast<uint8_t>(image.columns - 1),
            static_cast<uint8_t>(image.samplesPerPixel == 3 ? 1 : 0),
            static_cast<uint8_t>((image.bitsAllocated == 16 ? 0x80 : 0) | (image.bitsStored - 1))};
}

int failures = 0;

void save(const std::string& dir, const std::string& name, std::vector<uint8_t> prefix,
          const std::vector<uint8_t>& body)
{
    prefix.insert(prefix.end(), body.begin(), body.end());
    writeBytes(dir + "/" + name, Bytes(prefix.begin(), prefix.end()));
}

void codestreamSeeds(const std::string& dir, std::vector<std::vector<uint8_t>>& someFrames)
{
    struct Entry {
        uint8_t selector;
        const char* name;
        const PixelCodec& codec;
    };
    const Entry codecs[] = {{0, "rle", codecRle()},           {1, "jpeg", codecJpegBaseline()},
                            {2, "jpeg-lossless", codecJpegLossless()}, {3, "jpls", codecJpegLs()},
                            {4, "j2k-lossless", codecJ2k(true)},  {5, "j2k", codecJ2k(false)}};
    for (const Entry& entry : codecs) {
        for (const Layout& layout : layouts) {
            CodecImage image = imageOf(layout);
            std::vector<uint8_t> pixels = pixelsOf(image);
            CodecFrame frame;
            int status = entry.codec.encode(pixels.data(), pixels.size(), image, CodecOptions(), frame);
            if (status == CODEC_ERR_UNSUPPORTED)
                continue;  // 12- and 16-bit samples in baseline JPEG
            if (status != 0) {
                fprintf(stderr, "make_seeds: %s encode of %s failed with 0x%04x\n", entry.name, layout.name,
                        static_cast<unsigned int>(status));
                failures++;
                continue;
            }
            save(dir, std::string(entry.name) + "-" + layout.name, decodePrefix(entry.selector, image), frame.bytes);
            if (someFrames.size() < 3)
                someFrames.push_back(frame.bytes);
        }
    }
}

// A 12-bit JPEG with a restart marker every two blocks, for our own DCT
// decoder behind the lossy JPEG codec.
void restartSeed(const std::string& dir)
{
    CodecImage image = imageOf(layouts[1]);
    std::vector<uint8_t> pixels = pixelsOf(image);
    JpegDctImage source;
    source.width = image.columns;
    source.height = image.rows;
    source.components = 1;
    source.precision = 12;
    for (size_t i = 0; i + 1 < pixels.size(); i += 2)
        source.samples.push_back(static_cast<uint16_t>(pixels[i] | (pixels[i + 1] << 8)));
    std::vector<uint8_t> coded;
    if (jpegDctEncode(source, 75, coded, 2) != 0)
        failures++;
    else
        save(dir, "jpeg-mono12-restart", decodePrefix(1, image), coded);
}

void frameSeeds(const std::string& dir, const std::vector<std::vector<uint8_t>>& frames)
{
    uint8_t count = static_cast<uint8_t>(frames.size() - 1);
    save(dir, "frames-offsets", {6, count}, codecEncapsulate(frames));
    // The same fragments behind an empty offset table, and one frame split
    // over two fragments.
    std::vector<uint8_t> empty = {0xFE, 0xFF, 0x00, 0xE0, 0, 0, 0, 0};
    for (const std::vector<uint8_t>& f : frames) {
        std::vector<uint8_t> padded = f;
        if (padded.size() % 2)
            padded.push_back(0);
        uint32_t len = static_cast<uint32_t>(padded.size());
        empty.insert(empty.end(), {0xFE, 0xFF, 0x00, 0xE0, uint8_t(len), uint8_t(len >> 8), uint8_t(len >> 16),
                                   uint8_t(len >> 24)});
        empty.insert(empty.end(), padded.begin(), padded.end());
    }
    save(dir, "frames-no-offsets", {6, count}, empty);
    save(dir, "frames-split", {6, 0}, empty);
}

void dataSetSeeds(const std::string& dir)
{
    DcElemList list;
    buildImage(list, "2.999.7321.9.2", 4, 4, 16);
    unsigned int size = 0;
    list.getBufSize(size);
    std::vector<uint8_t> encoded(size);
    unsigned int len = 0;
    if (list.frame(encoded.data(), len, UID_LITTLE_ENDIAN_EXPLICIT) != 0) {
        failures++;
        return;
    }
    encoded.resize(len);
    std::vector<uint8_t> deflated;
    if (codecDeflateBytes(encoded.data(), encoded.size(), deflated) != 0)
        failures++;
    else
        save(dir, "inflate", {7}, deflated);

    std::string json;
    if (jsonFromDataSet(list, UID_LITTLE_ENDIAN_EXPLICIT, nullptr, JsonWriteOptions(), json) != 0)
        failures++;
    else
        save(dir, "json", {8}, std::vector<uint8_t>(json.begin(), json.end()));
}

}

int codecSeeds(const std::string& dir)
{
    mkdir(dir.c_str(), 0755);
    std::vector<std::vector<uint8_t>> frames;
    codestreamSeeds(dir, frames);
    restartSeed(dir);
    if (!frames.empty())
        frameSeeds(dir, frames);
    dataSetSeeds(dir);
    return failures;
}

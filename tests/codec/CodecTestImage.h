#ifndef BRENIK3_TESTS_CODEC_CODECTESTIMAGE_H
#define BRENIK3_TESTS_CODEC_CODECTESTIMAGE_H

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "codec/CodecTypes.h"

// A deterministic test picture: smooth gradients, a hard edge, flat runs
// and a little noise, so that every coder meets runs, literals and jumps.
inline CodecImage testImage(unsigned rows, unsigned columns, unsigned samples, unsigned bitsAllocated,
                            unsigned bitsStored, unsigned frames = 1)
{
    CodecImage image;
    image.rows = rows;
    image.columns = columns;
    image.samplesPerPixel = samples;
    image.bitsAllocated = bitsAllocated;
    image.bitsStored = bitsStored;
    image.highBit = bitsStored - 1;
    image.frames = frames;
    image.photometric = samples == 3 ? "RGB" : "MONOCHROME2";
    return image;
}

inline std::vector<uint8_t> testPixels(const CodecImage& image, unsigned seed = 1)
{
    std::vector<uint8_t> pixels(image.frameBytes());
    uint32_t noise = 2463534242u + seed;
    unsigned top = (1u << image.bitsStored) - 1;
    size_t i = 0;
    for (unsigned s = 0; s < (image.planarConfiguration ? image.samplesPerPixel : 1); s++)
        for (unsigned y = 0; y < image.rows; y++)
            for (unsigned x = 0; x < image.columns; x++)
                for (unsigned c = 0; c < (image.planarConfiguration ? 1 : image.samplesPerPixel); c++) {
                    unsigned channel = image.planarConfiguration ? s : c;
                    noise ^= noise << 13;
                    noise ^= noise >> 17;
                    noise ^= noise << 5;
                    double v = 0.5 + 0.4 * std::sin((x + seed * 7) * 0.05 + channel) * std::cos(y * 0.03);
                    if (x > image.columns / 2 && y < image.rows / 3)
                        v = 0.9;  // a flat block with a hard edge
                    unsigned value = static_cast<unsigned>(v * top);
                    if (x % 17 == 3)
                        value = (value + (noise & 7)) & top;  // some noise
                    if (image.bitsAllocated == 16) {
                        pixels[i++] = static_cast<uint8_t>(value);
                        pixels[i++] = static_cast<uint8_t>(value >> 8);
                    } else {
                        pixels[i++] = static_cast<uint8_t>(value);
                    }
                }
    return pixels;
}

// Largest absolute difference between two native frames of the image.
inline int maxError(const CodecImage& image, const std::vector<uint8_t>& a, const std::vector<uint8_t>& b)
{
    int worst = 0;
    size_t step = image.bytesPerSample();
    for (size_t i = 0; i + step <= a.size() && i + step <= b.size(); i += step) {
        int va = step == 2 ? a[i] | (a[i + 1] << 8) : a[i];
        int vb = step == 2 ? b[i] | (b[i + 1] << 8) : b[i];
        worst = std::max(worst, std::abs(va - vb));
    }
    return worst;
}

#endif

#include "codec/CodecPixels.h"

namespace {

size_t sampleIndex(const CodecImage& image, size_t pixel, unsigned sample)
{
    if (image.planarConfiguration == 1)
        return sample * size_t(image.rows) * image.columns + pixel;
    return pixel * image.samplesPerPixel + sample;
}

}

void codecLoadSamples(const uint8_t* pixels, const CodecImage& image, std::vector<uint16_t>& samples)
{
    size_t count = size_t(image.rows) * image.columns;
    unsigned spp = image.samplesPerPixel;
    samples.resize(count * spp);
    uint32_t mask = image.bitsStored >= 16 ? 0xFFFF : (1u << image.bitsStored) - 1;
    bool wide = image.bitsAllocated == 16;
    for (size_t p = 0; p < count; p++)
        for (unsigned s = 0; s < spp; s++) {
            size_t i = sampleIndex(image, p, s);
            uint32_t v = wide ? pixels[2 * i] | (pixels[2 * i + 1] << 8) : pixels[i];
            samples[p * spp + s] = static_cast<uint16_t>(v & mask);
        }
}

void codecStoreSamples(const uint16_t* samples, const CodecImage& image, std::vector<uint8_t>& pixels)
{
    size_t count = size_t(image.rows) * image.columns;
    unsigned spp = image.samplesPerPixel;
    pixels.assign(image.frameBytes(), 0);
    bool wide = image.bitsAllocated == 16;
    unsigned stored = image.bitsStored;
    bool extend = image.pixelRepresentation == 1 && stored < image.bitsAllocated && stored > 0;
    uint32_t sign = extend ? 1u << (stored - 1) : 0;
    uint32_t fill = extend ? ~((1u << stored) - 1) : 0;
    for (size_t p = 0; p < count; p++)
        for (unsigned s = 0; s < spp; s++) {
            uint32_t v = samples[p * spp + s];
            if (extend && (v & sign))
                v |= fill;
            size_t i = sampleIndex(image, p, s);
            if (wide) {
                pixels[2 * i] = static_cast<uint8_t>(v);
                pixels[2 * i + 1] = static_cast<uint8_t>(v >> 8);
            } else {
                pixels[i] = static_cast<uint8_t>(v);
            }
        }
}

void codecReorderPlanes(std::vector<uint8_t>& pixels, const CodecImage& image, bool toPlanar)
{
    unsigned spp = image.samplesPerPixel;
    if (spp < 2)
        return;
    size_t count = size_t(image.rows) * image.columns;
    size_t bytes = image.bytesPerSample();
    std::vector<uint8_t> copy(pixels);
    for (size_t p = 0; p < count; p++)
        for (unsigned s = 0; s < spp; s++) {
            size_t interleaved = (p * spp + s) * bytes;
            size_t planar = (s * count + p) * bytes;
            for (size_t b = 0; b < bytes; b++) {
                if (toPlanar)
                    pixels[planar + b] = copy[interleaved + b];
                else
                    pixels[interleaved + b] = copy[planar + b];
            }
        }
}

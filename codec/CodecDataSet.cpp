#include "codec/CodecDataSet.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "codec/CodecConversion.h"
#include "codec/CodecSyntax.h"
#include "dataset/DcElemList.h"
#include "dictionary/DcDict.h"
#include "foundation/DcLog.h"

namespace {

const unsigned int PIXEL_DATA = 0x7FE00010u;

std::string text(DcElemList& list, int tag)
{
    char value[256] = "";
    if (list.getValue(tag, value, sizeof value - 1, ELEM_VAL_INDEX_KEEP) != 0)
        return "";
    return value;
}

unsigned int number(DcElemList& list, int tag, unsigned int fallback)
{
    unsigned short value = 0;
    return list.getValue(tag, value, ELEM_VAL_INDEX_KEEP) == 0 ? value : fallback;
}

}

int codecReadImage(DcElemList& list, CodecImage& image)
{
    image = CodecImage();
    image.rows = number(list, T_0028_0010_rows, 0);
    image.columns = number(list, T_0028_0011_columns, 0);
    image.bitsAllocated = number(list, T_0028_0100_bitsAllocated, 0);
    image.bitsStored = number(list, T_0028_0101_bitsStored, image.bitsAllocated);
    image.highBit = number(list, T_0028_0102_highBit, image.bitsStored ? image.bitsStored - 1 : 0);
    image.samplesPerPixel = number(list, T_0028_0002_samplesPerPixel, 1);
    image.pixelRepresentation = number(list, T_0028_0103_pixelRepresentation, 0);
    image.planarConfiguration = number(list, T_0028_0006_planarConfiguration, 0);
    image.photometric = text(list, T_0028_0004_photometricInterpretation);
    std::string frames = text(list, T_0028_0008_numberOfFrames);
    long count = frames.empty() ? 1 : strtol(frames.c_str(), nullptr, 10);
    image.frames = count < 1 ? 1 : count > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<unsigned int>(count);
    if (image.frameBytes() == 0 || image.bitsStored == 0 || image.bitsStored > image.bitsAllocated) {
        logReport(LOG_CHANNEL_1, "codecReadImage",
                  "Not a usable image: %ux%u, %u samples, %u bits allocated, %u stored", image.columns, image.rows,
                  image.samplesPerPixel, image.bitsAllocated, image.bitsStored);
        return CODEC_ERR_NOT_IMAGE;
    }
    return 0;
}

void codecWriteImage(DcElemList& list, const CodecImage& image)
{
    if (!image.photometric.empty())
        codecReplaceElem(list, new DcElem(T_0028_0004_photometricInterpretation, image.photometric.c_str()));
    if (image.samplesPerPixel > 1)
        codecReplaceElem(list, new DcElem(T_0028_0006_planarConfiguration,
                                 static_cast<unsigned short>(image.planarConfiguration)));
}

int CodecFrameReader::open(DcElemList& list, DICT_UID xfer)
{
    codecRegisterSyntaxes();
    bytes.reset();
    int status = codecReadImage(list, attributes);
    if (status != 0)
        return status;
    DcElem* pixelData = nullptr;
    if (list.getElem(PIXEL_DATA, &pixelData) != 0 || pixelData == nullptr) {
        logReport(LOG_CHANNEL_1, "CodecFrameReader::open", "No Pixel Data");
        return CODEC_ERR_NO_PIXELS;
    }
    syntax = xfer;
    bytes.reset(new CodecPixelBytes(*pixelData));
    if (codecIsNative(xfer)) {
        codec = nullptr;
        return 0;
    }
    codec = codecFind(xfer);
    if (codec == nullptr) {
        char uid[DICT_UID_MAX + 1] = "";
        Dict.getUid(xfer, uid);
        logReport(LOG_CHANNEL_1, "CodecFrameReader::open", "No codec for transfer syntax '%s'", uid);
        return CODEC_ERR_UNSUPPORTED;
    }
    return frames.open(*bytes, attributes.frames);
}

unsigned int CodecFrameReader::frameCount() const
{
    if (!bytes)
        return 0;
    return codec == nullptr ? attributes.frames : frames.count();
}

int CodecFrameReader::encoded(unsigned int index, std::vector<uint8_t>& out)
{
    if (!bytes || codec == nullptr)
        return CODEC_ERR_UNSUPPORTED;
    return frames.read(index, out);
}

int CodecFrameReader::decode(unsigned int index, CodecFrame& out)
{
    const char* fn = "CodecFrameReader::decode";
    out.bytes.clear();
    out.photometric.clear();
    if (!bytes)
        return CODEC_ERR_NO_PIXELS;
    if (index >= frameCount()) {
        logReport(LOG_CHANNEL_1, fn, "Frame %u of %u requested", index + 1, frameCount());
        return CODEC_ERR_FRAME_RANGE;
    }
    if (codec != nullptr) {
        int status = frames.read(index, scratch);
        if (status == 0)
            status = codec->decode(scratch.data(), scratch.size(), attributes, out);
        if (status == 0 && out.bytes.size() != attributes.frameBytes()) {
            logReport(LOG_CHANNEL_1, fn, "Frame %u decoded to %zu bytes, not %zu", index + 1, out.bytes.size(),
                      attributes.frameBytes());
            status = CODEC_ERR_WRONG_SIZE;
        }
        return status;
    }
    size_t size = attributes.frameBytes();
    out.bytes.resize(size);
    if (!bytes->read(uint64_t(index) * size, size, out.bytes.data())) {
        logReport(LOG_CHANNEL_1, fn, "Pixel Data too short for frame %u of %zu bytes", index + 1, size);
        out.bytes.clear();
        return CODEC_ERR_WRONG_SIZE;
    }
    if (syntax == UID_BIG_ENDIAN_EXPLICIT && attributes.bitsAllocated == 16)
        for (size_t i = 0; i + 1 < size; i += 2)
            std::swap(out.bytes[i], out.bytes[i + 1]);
    return 0;
}

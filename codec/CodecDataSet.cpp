#include "codec/CodecDataSet.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

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

void replace(DcElemList& list, DcElem* elem)
{
    DcElem* old = nullptr;
    unsigned int tag = 0;
    elem->getTag(tag);
    if (list.getElem(tag, &old) == 0 && old != nullptr) {
        list.subtract(old);
        delete old;
    }
    list.add(elem);
}

void setText(DcElemList& list, int tag, const std::string& value)
{
    replace(list, new DcElem(tag, value.c_str()));
}

const char* lossyMethod(DICT_UID xfer)
{
    if (xfer == UID_JPEG_BASELINE || xfer == UID_JPEG_EXTENDED)
        return "ISO_10918_1";
    if (xfer == codecJpegLsNearLossless())
        return "ISO_14495_1";
    return "ISO_15444_1";
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
        setText(list, T_0028_0004_photometricInterpretation, image.photometric);
    if (image.samplesPerPixel > 1)
        replace(list, new DcElem(T_0028_0006_planarConfiguration,
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

int codecConvert(DcElemList& list, DICT_UID from, DICT_UID to, const CodecOptions& options, bool allowLossy)
{
    const char* fn = "codecConvert";
    codecRegisterSyntaxes();
    DcElem* pixelData = nullptr;
    if (list.getElem(PIXEL_DATA, &pixelData) != 0 || pixelData == nullptr)
        return 0;
    bool fromNative = codecIsNative(from), toNative = codecIsNative(to);
    bool fromBig = from == UID_BIG_ENDIAN_EXPLICIT, toBig = to == UID_BIG_ENDIAN_EXPLICIT;
    if (from == to || (fromNative && toNative && fromBig == toBig))
        return 0;
    if (codecIsLossy(to) && !allowLossy) {
        logReport(LOG_CHANNEL_1, fn, "The target syntax is lossy and lossy results were not allowed");
        return CODEC_ERR_LOSSY;
    }
    const PixelCodec* encoder = toNative ? nullptr : codecFind(to);
    if (!toNative && encoder == nullptr) {
        logReport(LOG_CHANNEL_1, fn, "No encoder for the target syntax");
        return CODEC_ERR_UNSUPPORTED;
    }
    CodecFrameReader reader;
    int status = reader.open(list, from);
    if (status != 0)
        return status;
    CodecImage image = reader.image();
    std::vector<std::vector<uint8_t>> encodedFrames;
    std::vector<uint8_t> native;
    size_t nativeBytes = 0;
    CodecFrame frame, result;
    std::string photometric;
    if (toNative && image.frameBytes() != 0 && reader.frameCount() <= 0xFFFFFFF0u / image.frameBytes())
        native.reserve(image.frameBytes() * reader.frameCount());
    for (unsigned int i = 0; i < reader.frameCount(); i++) {
        if ((status = reader.decode(i, frame)) != 0)
            return status;
        CodecImage current = image;
        if (!frame.photometric.empty())
            current.photometric = frame.photometric;
        nativeBytes += frame.bytes.size();
        if (toNative) {
            if (toBig && image.bitsAllocated == 16)
                for (size_t b = 0; b + 1 < frame.bytes.size(); b += 2)
                    std::swap(frame.bytes[b], frame.bytes[b + 1]);
            native.insert(native.end(), frame.bytes.begin(), frame.bytes.end());
            photometric = current.photometric;
            continue;
        }
        if ((status = encoder->encode(frame.bytes.data(), frame.bytes.size(), current, options, result)) != 0)
            return status;
        photometric = result.photometric.empty() ? current.photometric : result.photometric;
        encodedFrames.push_back(std::move(result.bytes));
    }
    std::vector<uint8_t> value = toNative ? std::move(native) : codecEncapsulate(encodedFrames);
    std::vector<std::vector<uint8_t>>().swap(encodedFrames);
    if (value.size() & 1)
        value.push_back(0);
    if (value.size() > 0xFFFFFFF0u) {
        logReport(LOG_CHANNEL_1, fn, "Pixel Data of %zu bytes is too large", value.size());
        return CODEC_ERR_TOO_LARGE;
    }
    void* block = malloc(value.size());
    if (block == nullptr)
        return CODEC_ERR_TOO_LARGE;
    memcpy(block, value.data(), value.size());
    size_t valueBytes = value.size();
    std::vector<uint8_t>().swap(value);  // one copy of the pixels at a time
    DcElem* elem = new DcElem(static_cast<unsigned short>(0x7FE0), static_cast<unsigned short>(0x0010), nullptr, 0,
                              to, toNative && image.bitsAllocated > 8 ? VR_OW : VR_OB);
    DcBuf buf(block, static_cast<unsigned int>(valueBytes), to);
    elem->addValue(&buf);
    replace(list, elem);

    image.photometric = photometric;
    if (!toNative)
        image.planarConfiguration = 0;
    codecWriteImage(list, image);
    if (codecIsLossy(to)) {
        setText(list, T_0028_2110_lossyImageCompression, "01");
        size_t packed = valueBytes ? valueBytes : 1;
        char ratio[32];
        snprintf(ratio, sizeof ratio, "%.2f", double(nativeBytes) / double(packed));
        setText(list, T_0028_2112_lossyImageCompressionRatio, ratio);
        setText(list, T_0028_2114_lossyImageCompressionMethod, lossyMethod(to));
    }
    return 0;
}

#include "codec/CodecConversion.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "codec/CodecSyntax.h"
#include "dataset/DcElemList.h"
#include "foundation/DcLog.h"

namespace {

const unsigned int PIXEL_DATA = 0x7FE00010u;

void setText(DcElemList& list, int tag, const char* value)
{
    codecReplaceElem(list, new DcElem(tag, value));
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

void codecReplaceElem(DcElemList& list, DcElem* elem)
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

int CodecConversion::open(DcElemList& list, DICT_UID from, DICT_UID to, const CodecOptions& opts, bool allowLossy)
{
    const char* fn = "codecConvert";
    codecRegisterSyntaxes();
    active = false;
    encoder = nullptr;
    options = opts;
    target = to;
    resultPhotometric.clear();
    decodedBytes = 0;
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
    encoder = toNative ? nullptr : codecFind(to);
    if (!toNative && encoder == nullptr) {
        logReport(LOG_CHANNEL_1, fn, "No encoder for the target syntax");
        return CODEC_ERR_UNSUPPORTED;
    }
    int status = reader.open(list, from);
    if (status != 0)
        return status;
    swap = toBig && reader.image().bitsAllocated == 16;
    active = true;
    return 0;
}

int CodecConversion::convert(unsigned int index, std::vector<uint8_t>& out)
{
    int status = reader.decode(index, frame);
    if (status != 0)
        return status;
    decodedBytes += frame.bytes.size();
    CodecImage current = reader.image();
    if (!frame.photometric.empty())
        current.photometric = frame.photometric;
    if (encoder == nullptr) {
        if (swap)
            for (size_t b = 0; b + 1 < frame.bytes.size(); b += 2)
                std::swap(frame.bytes[b], frame.bytes[b + 1]);
        if (resultPhotometric.empty())
            resultPhotometric = current.photometric;
        out.swap(frame.bytes);
        return 0;
    }
    if ((status = encoder->encode(frame.bytes.data(), frame.bytes.size(), current, options, result)) != 0)
        return status;
    if (resultPhotometric.empty())
        resultPhotometric = result.photometric.empty() ? current.photometric : result.photometric;
    out.swap(result.bytes);
    return 0;
}

int CodecConversion::nativeValueLength(uint32_t& length) const
{
    uint64_t total = uint64_t(reader.image().frameBytes()) * frameCount();
    total += total & 1;
    if (total > 0xFFFFFFF0u) {
        logReport(LOG_CHANNEL_1, "codecConvert", "Pixel Data of %llu bytes is too large",
                  static_cast<unsigned long long>(total));
        return CODEC_ERR_TOO_LARGE;
    }
    length = static_cast<uint32_t>(total);
    return 0;
}

DcElem* CodecConversion::newPixelData() const
{
    bool wordSamples = toNative() && reader.image().bitsAllocated > 8;
    return new DcElem(static_cast<unsigned short>(0x7FE0), static_cast<unsigned short>(0x0010), nullptr, 0, target,
                      wordSamples ? VR_OW : VR_OB);
}

void CodecConversion::finish(DcElemList& list, uint64_t valueBytes) const
{
    CodecImage image = reader.image();
    image.photometric = resultPhotometric;
    if (!toNative())
        image.planarConfiguration = 0;
    codecWriteImage(list, image);
    if (codecIsLossy(target)) {
        setText(list, T_0028_2110_lossyImageCompression, "01");
        uint64_t packed = valueBytes ? valueBytes : 1;
        char ratio[32];
        snprintf(ratio, sizeof ratio, "%.2f", double(decodedBytes) / double(packed));
        setText(list, T_0028_2112_lossyImageCompressionRatio, ratio);
        setText(list, T_0028_2114_lossyImageCompressionMethod, lossyMethod(target));
    }
}

int codecConvert(DcElemList& list, DICT_UID from, DICT_UID to, const CodecOptions& options, bool allowLossy)
{
    CodecConversion conversion;
    int status = conversion.open(list, from, to, options, allowLossy);
    if (status != 0 || !conversion.needed())
        return status;
    std::vector<std::vector<uint8_t>> encodedFrames;
    std::vector<uint8_t> value, converted;
    if (conversion.toNative()) {
        uint32_t length = 0;
        if ((status = conversion.nativeValueLength(length)) != 0)
            return status;
        value.reserve(length);
    }
    for (unsigned int i = 0; i < conversion.frameCount(); i++) {
        if ((status = conversion.convert(i, converted)) != 0)
            return status;
        if (conversion.toNative())
            value.insert(value.end(), converted.begin(), converted.end());
        else
            encodedFrames.push_back(std::move(converted));
    }
    if (!conversion.toNative()) {
        value = codecEncapsulate(encodedFrames);
        std::vector<std::vector<uint8_t>>().swap(encodedFrames);
    }
    if (value.size() & 1)
        value.push_back(0);
    if (value.size() > 0xFFFFFFF0u) {
        logReport(LOG_CHANNEL_1, "codecConvert", "Pixel Data of %zu bytes is too large", value.size());
        return CODEC_ERR_TOO_LARGE;
    }
    void* block = malloc(value.size());
    if (block == nullptr)
        return CODEC_ERR_TOO_LARGE;
    memcpy(block, value.data(), value.size());
    size_t valueBytes = value.size();
    std::vector<uint8_t>().swap(value);  // one copy of the pixels at a time
    DcElem* elem = conversion.newPixelData();
    DcBuf buf(block, static_cast<unsigned int>(valueBytes), to);
    elem->addValue(&buf);
    codecReplaceElem(list, elem);
    conversion.finish(list, valueBytes);
    return 0;
}

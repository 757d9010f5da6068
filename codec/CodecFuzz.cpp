#include "codec/CodecFuzz.h"

#include <string>
#include <vector>

#include "codec/Codec.h"
#include "codec/CodecFile.h"
#include "codec/CodecFrames.h"
#include "codec/DicomJson.h"
#include "dataset/DcElemList.h"

int codecFuzzDecode(const PixelCodec& codec, const uint8_t* data, size_t size)
{
    if (size < 4)
        return CODEC_ERR_NULL_ARG;
    CodecImage image;
    image.rows = 1 + data[0];
    image.columns = 1 + data[1];
    image.samplesPerPixel = (data[2] & 1) ? 3 : 1;
    image.planarConfiguration = (data[2] >> 1) & 1;
    image.bitsAllocated = (data[3] & 0x80) ? 16 : 8;
    image.bitsStored = 1 + (data[3] & 0x0F) % image.bitsAllocated;
    image.pixelRepresentation = (data[3] >> 6) & 1;
    image.photometric = image.samplesPerPixel == 3 ? "RGB" : "MONOCHROME2";
    CodecFrame out;
    return codec.decode(data + 4, size - 4, image, out);
}

int codecFuzzFrames(const uint8_t* data, size_t size)
{
    if (size < 1)
        return CODEC_ERR_NULL_ARG;
    std::vector<std::vector<uint8_t>> frames;
    return codecSplitFrames(data + 1, size - 1, 1 + data[0] % 16, frames);
}

int codecFuzzInflate(const uint8_t* data, size_t size)
{
    std::vector<uint8_t> body;
    int status = codecInflate(data, size, size_t(16) << 20, body);
    if (status == 0 && !body.empty()) {
        DcElemList list;
        unsigned int left = static_cast<unsigned int>(body.size());
        list.parse(body.data(), left, UID_LITTLE_ENDIAN_EXPLICIT);
    }
    return status;
}

int codecFuzzJson(const uint8_t* data, size_t size)
{
    DcElemList list;
    return jsonToDataSet(std::string(reinterpret_cast<const char*>(data), size), "/nonexistent", list, nullptr);
}

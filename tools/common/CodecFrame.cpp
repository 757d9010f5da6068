#include "common/CodecFrame.h"

#include <Brenik3Codec.h>

#include "common/CommandLine.h"

namespace b3tool {

bool decodeFrame(DcElemList& list, DICT_UID xfer, unsigned int index, std::vector<unsigned char>& pixels,
                 std::string& photometric, std::string& problem)
{
    CodecFrameReader reader;
    int status = reader.open(list, xfer == UID_NONE ? UID_LITTLE_ENDIAN_IMPLICIT : xfer);
    CodecFrame frame;
    if (status == 0)
        status = reader.decode(index, frame);
    if (status != 0) {
        problem = status == CODEC_ERR_UNSUPPORTED ? "no decoder for this transfer syntax or image layout"
                                                  : "frame " + std::to_string(index + 1) +
                                                        " cannot be decoded (status " + hexStatus(status) + ")";
        return false;
    }
    pixels = std::move(frame.bytes);
    photometric = frame.photometric.empty() ? reader.image().photometric : frame.photometric;
    return true;
}

int readAnyFile(const std::string& path, DcDirMetaInfo& meta, DcElemList& list)
{
    return codecReadFile(path.c_str(), meta, list);
}

bool reportFrames(const char* program, const std::string& path)
{
    DcDirMetaInfo meta;
    DcElemList list;
    int status = codecReadFile(path.c_str(), meta, list);
    if (status != 0) {
        fail(program, "cannot read %s (status %s)", path.c_str(), hexStatus(status).c_str());
        return false;
    }
    DICT_UID xfer = meta.xferSyn == UID_NONE ? UID_LITTLE_ENDIAN_IMPLICIT : meta.xferSyn;
    CodecFrameReader reader;
    status = reader.open(list, xfer);
    if (status == CODEC_ERR_NO_PIXELS || status == CODEC_ERR_NOT_IMAGE) {
        printf("%s: no image\n", path.c_str());
        return true;
    }
    if (status != 0) {
        printf("%s: frames cannot be decoded (status %s)\n", path.c_str(), hexStatus(status).c_str());
        return false;
    }
    std::string failed;
    unsigned int bad = 0;
    CodecFrame frame;
    for (unsigned int i = 0; i < reader.frameCount(); i++)
        if (reader.decode(i, frame) != 0) {
            failed += (bad++ ? "," : " ") + std::to_string(i + 1);
        }
    printf("%s: %u of %u frames decodable", path.c_str(), reader.frameCount() - bad, reader.frameCount());
    if (bad)
        printf("; cannot decode frame%s%s", bad == 1 ? "" : "s", failed.c_str());
    printf("\n");
    return bad == 0;
}

}

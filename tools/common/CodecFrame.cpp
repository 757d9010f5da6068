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

}

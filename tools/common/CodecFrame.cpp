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
    return codecReadFileHeader(path.c_str(), meta, list);
}

FrameReport checkFrames(const std::string& path)
{
    FrameReport report;
    DcDirMetaInfo meta;
    DcElemList list;
    int status = codecReadFileHeader(path.c_str(), meta, list);
    if (status != 0) {
        report.text = "cannot read (status " + hexStatus(status) + ")";
        return report;
    }
    report.readable = true;
    DICT_UID xfer = meta.xferSyn == UID_NONE ? UID_LITTLE_ENDIAN_IMPLICIT : meta.xferSyn;
    CodecFrameReader reader;
    status = reader.open(list, xfer);
    if (status == CODEC_ERR_NO_PIXELS || status == CODEC_ERR_NOT_IMAGE) {
        report.decodable = true;
        report.text = "no image";
        return report;
    }
    if (status != 0) {
        report.text = "frames cannot be decoded (status " + hexStatus(status) + ")";
        return report;
    }
    std::string failed;
    unsigned int bad = 0;
    CodecFrame frame;
    for (unsigned int i = 0; i < reader.frameCount(); i++)
        if (reader.decode(i, frame) != 0)
            failed += (bad++ ? "," : " ") + std::to_string(i + 1);
    report.decodable = bad == 0;
    report.text = std::to_string(reader.frameCount() - bad) + " of " + std::to_string(reader.frameCount()) +
                  " frames decodable";
    if (bad)
        report.text += std::string("; cannot decode frame") + (bad == 1 ? "" : "s") + failed;
    return report;
}

bool reportFrames(const char* program, const std::string& path)
{
    FrameReport report = checkFrames(path);
    if (!report.readable) {
        fail(program, "%s: %s", path.c_str(), report.text.c_str());
        return false;
    }
    printf("%s: %s\n", path.c_str(), report.text.c_str());
    return report.decodable;
}

}

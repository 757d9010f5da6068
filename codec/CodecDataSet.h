#ifndef BRENIK3_CODEC_CODECDATASET_H
#define BRENIK3_CODEC_CODECDATASET_H

#include <memory>
#include <vector>

#include "codec/Codec.h"
#include "codec/CodecFrames.h"
#include "codec/CodecTypes.h"

class DcElem;
class DcElemList;

// The image attributes of a data set (rows, columns, samples, bits, pixel
// representation, planar configuration, number of frames, photometric
// interpretation). Returns 0 or CODEC_ERR_NOT_IMAGE.
int codecReadImage(DcElemList& list, CodecImage& image);

// Writes the attributes that a conversion may change (photometric
// interpretation, planar configuration) back into the data set.
void codecWriteImage(DcElemList& list, const CodecImage& image);

// The frames of a data set's Pixel Data, decoded one at a time: memory in
// use stays bounded by one encoded and one decoded frame, whether the
// pixels are held in memory or on disk.
class CodecFrameReader {
public:
    // Prepares the data set's Pixel Data in transfer syntax xfer. Returns 0,
    // CODEC_ERR_NOT_IMAGE, CODEC_ERR_NO_PIXELS, CODEC_ERR_UNSUPPORTED (no
    // codec for the syntax) or the status of locating the frames.
    int open(DcElemList& list, DICT_UID xfer);

    const CodecImage& image() const { return attributes; }
    unsigned int frameCount() const;
    // Native pixels of frame index (from 0) into out.
    int decode(unsigned int index, CodecFrame& out);
    // The codestream of frame index as stored (encapsulated syntaxes only).
    int encoded(unsigned int index, std::vector<uint8_t>& out);

private:
    CodecImage attributes;
    DICT_UID syntax = UID_NONE;
    const PixelCodec* codec = nullptr;
    std::unique_ptr<CodecPixelBytes> bytes;
    CodecFrames frames;
    std::vector<uint8_t> scratch;
};

// Rewrites the data set's Pixel Data from syntax from into syntax to,
// frame by frame, and updates the attributes that go with it (photometric
// interpretation, planar configuration and, for lossy results, Lossy Image
// Compression, its ratio and method). A conversion into a lossy syntax is
// refused with CODEC_ERR_LOSSY unless allowLossy is set. A data set without
// Pixel Data needs no change and gives 0.
int codecConvert(DcElemList& list, DICT_UID from, DICT_UID to, const CodecOptions& options, bool allowLossy);

#endif

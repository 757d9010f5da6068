#ifndef BRENIK3_CODEC_CODECCONVERSION_H
#define BRENIK3_CODEC_CODECCONVERSION_H

#include <cstdint>
#include <string>
#include <vector>

#include "codec/CodecDataSet.h"

class DcElem;
class DcElemList;

// One conversion of a data set's Pixel Data between two transfer syntaxes,
// taken one frame at a time, shared by the in-memory conversion and the
// file writer that streams frames into its output. Internal to the codec
// library.
class CodecConversion {
public:
    // Prepares the conversion of list's Pixel Data from syntax from into
    // syntax to. Returns 0 (see needed()), CODEC_ERR_LOSSY, CODEC_ERR_UNSUPPORTED
    // or the status of opening the frames.
    int open(DcElemList& list, DICT_UID from, DICT_UID to, const CodecOptions& options, bool allowLossy);

    // False when the Pixel Data stays as it is (no Pixel Data, same syntax,
    // or native syntaxes of the same byte order).
    bool needed() const { return active; }
    bool toNative() const { return encoder == nullptr; }
    unsigned int frameCount() const { return reader.frameCount(); }
    const CodecImage& image() const { return reader.image(); }

    // Frame index (from 0) in the target syntax: native pixels in its byte
    // order, or one codestream.
    int convert(unsigned int index, std::vector<uint8_t>& out);

    // The photometric interpretation of the converted frames (that of the
    // first one converted), and the native bytes decoded so far.
    const std::string& photometric() const { return resultPhotometric; }
    uint64_t nativeBytes() const { return decodedBytes; }

    // The length of the native value in the target syntax, padded to even;
    // CODEC_ERR_TOO_LARGE when it does not fit a 32-bit length.
    int nativeValueLength(uint32_t& length) const;

    // A new Pixel Data element of the target syntax's VR, without a value.
    DcElem* newPixelData() const;

    // Updates the attributes that go with the converted pixels (photometric
    // interpretation, planar configuration and, for lossy targets, Lossy
    // Image Compression, its ratio from valueBytes, and its method).
    void finish(DcElemList& list, uint64_t valueBytes) const;

private:
    CodecFrameReader reader;
    const PixelCodec* encoder = nullptr;
    CodecOptions options;
    DICT_UID target = UID_NONE;
    bool active = false;
    bool swap = false;
    std::string resultPhotometric;
    uint64_t decodedBytes = 0;
    CodecFrame frame, result;
};

// Replaces the element of elem's tag in list by elem.
void codecReplaceElem(DcElemList& list, DcElem* elem);

#endif

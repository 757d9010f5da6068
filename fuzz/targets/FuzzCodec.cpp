// The codec library's decoders, frame location, inflation and the JSON
// reader. Byte 0 picks one of them; the rest goes to its entry point.
#include "FuzzTargets.h"

#include "FuzzSupport.h"

#include "codec/Codec.h"
#include "codec/CodecFuzz.h"

int fuzzCodec(const uint8_t* data, size_t size)
{
    fuzzPrepare();
    if (size < 1)
        return 0;
    int openBefore = fuzzOpenDescriptors();
    const uint8_t* rest = data + 1;
    size_t left = size - 1;
    switch (data[0] % 9) {
    case 0: codecFuzzDecode(codecRle(), rest, left); break;
    case 1: codecFuzzDecode(codecJpegBaseline(), rest, left); break;
    case 2: codecFuzzDecode(codecJpegLossless(), rest, left); break;
    case 3: codecFuzzDecode(codecJpegLs(), rest, left); break;
    case 4: codecFuzzDecode(codecJ2k(true), rest, left); break;
    case 5: codecFuzzDecode(codecJ2k(false), rest, left); break;
    case 6: codecFuzzFrames(rest, left); break;
    case 7: codecFuzzInflate(rest, left); break;
    default: codecFuzzJson(rest, left); break;
    }
    FUZZ_CHECK(fuzzOpenDescriptors() == openBefore, "a decoder left a descriptor open");
    return 0;
}

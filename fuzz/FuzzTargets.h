#ifndef BRENIK3_FUZZ_FUZZTARGETS_H
#define BRENIK3_FUZZ_FUZZTARGETS_H
// The fuzz targets, one per parser family. Each takes one input and returns 0;
// a broken promise of the library (a frame larger than its own size bound,
// a sanitizer report) ends the process. entry.cpp turns one of them into a
// libFuzzer program; tests/fuzz replays the committed inputs through all.
#include <cstddef>
#include <cstdint>

// Byte 0 picks the syntax to parse in and the syntax to write back in; the
// rest is an encoded data set.
int fuzzDataSet(const uint8_t* data, size_t size);
// Byte 0 picks the reader (whole file, meta information only, header with
// pixels on disk); the rest is the file.
int fuzzFile(const uint8_t* data, size_t size);
// Byte 0 picks the route: a DICOMDIR file read from a file set, or one
// directory record parsed at an offset of the input; the rest is the data.
int fuzzDicomDir(const uint8_t* data, size_t size);
// The input is a PDU as it arrives on a connection; its type byte picks the
// PDU class that reads it.
int fuzzPdu(const uint8_t* data, size_t size);
// Byte 0 picks the role (requester or acceptor) and what the endpoint does
// after set-up, byte 1 a state to force on the machine (0: none); the rest
// is what the peer sends over the connection.
int fuzzAssociation(const uint8_t* data, size_t size);
// Byte 0 picks the decoder (RLE, JPEG baseline, JPEG lossless, JPEG-LS,
// JPEG 2000 lossless and lossy, frame location in encapsulated pixel data,
// inflation of a deflated data set, the JSON reader); the rest is its input,
// laid out as codec/CodecFuzz.h describes.
int fuzzCodec(const uint8_t* data, size_t size);

#endif

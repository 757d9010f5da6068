#ifndef BRENIK3_BRENIK3CODEC_H
#define BRENIK3_BRENIK3CODEC_H

// The optional codec library (Brenik3::Codec): compressed pixel data,
// transfer syntax conversion, deflated files and the DICOM JSON model.
#include "Brenik3.h"
#include "codec/Codec.h"
#include "codec/CodecDataSet.h"
#include "codec/CodecFile.h"
#include "codec/CodecFrames.h"
#include "codec/CodecFuzz.h"
#include "codec/CodecSyntax.h"
#include "codec/CodecTypes.h"
#include "codec/DicomJson.h"
#include "codec/JpegDct.h"
#include "codec/JpegLosslessDecoder.h"

#endif

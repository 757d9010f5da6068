#ifndef BRENIK3_CODEC_JPEGDCTTRANSFORM_H
#define BRENIK3_CODEC_JPEGDCTTRANSFORM_H

// The 8x8 discrete cosine transforms of lossy JPEG, in integers (the
// accurate "slow" factorisation, 13-bit constants), as most decoders compute
// them, so that our results agree with theirs to the grey level. Internal to
// the codec library.
#include <cstddef>
#include <cstdint>

// The zigzag position of each coefficient: natural index of zigzag entry k.
extern const uint8_t jpegNaturalOrder[64];

// Dequantises 64 coefficients (natural order) with quant, transforms them
// and writes 8 rows of 8 samples (0 to 2^precision - 1) at out, rows
// `stride` samples apart. precision is 8 or 12; any coefficients and
// quantisers are safe (extreme ones give clamped samples).
void jpegInverseDct(const int32_t* coefficients, const uint16_t* quant, int precision, uint16_t* out,
                    size_t stride);

// Transforms 8 rows of 8 samples (already centred on zero) into 64
// coefficients in natural order, scaled up by 8.
void jpegForwardDct(const int32_t* samples, int precision, int32_t* coefficients);

#endif

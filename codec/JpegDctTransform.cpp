#include "codec/JpegDctTransform.h"

const uint8_t jpegNaturalOrder[64] = {
    0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
    41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
    30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63,
};

namespace {

// Products in 64 bits: corrupt coefficients times 16-bit quantisers would
// overflow 32, and 64-bit multiplies cost the same here.
using Wide = int64_t;

const int CONST_BITS = 13;

// The cosine constants, scaled by 2^13.
const Wide FIX_0_298631336 = 2446;
const Wide FIX_0_390180644 = 3196;
const Wide FIX_0_541196100 = 4433;
const Wide FIX_0_765366865 = 6270;
const Wide FIX_0_899976223 = 7373;
const Wide FIX_1_175875602 = 9633;
const Wide FIX_1_501321110 = 12299;
const Wide FIX_1_847759065 = 15137;
const Wide FIX_1_961570560 = 16069;
const Wide FIX_2_053119869 = 16819;
const Wide FIX_2_562915447 = 20995;
const Wide FIX_3_072711026 = 25172;

inline Wide descale(Wide x, int n)
{
    return (x + (Wide(1) << (n - 1))) >> n;
}

// Extra bits kept between the passes: fewer for 12-bit samples, whose
// intermediate values are larger.
inline int pass1Bits(int precision)
{
    return precision > 8 ? 1 : 2;
}

// The odd part shared by all four passes: inputs at positions 7, 5, 3, 1 in,
// the four odd outputs out (tmp0 to tmp3 in the usual naming).
inline void oddPart(Wide t0, Wide t1, Wide t2, Wide t3, Wide out[4])
{
    Wide z1 = t0 + t3, z2 = t1 + t2, z3 = t0 + t2, z4 = t1 + t3;
    Wide z5 = (z3 + z4) * FIX_1_175875602;
    t0 *= FIX_0_298631336;
    t1 *= FIX_2_053119869;
    t2 *= FIX_3_072711026;
    t3 *= FIX_1_501321110;
    z1 *= -FIX_0_899976223;
    z2 *= -FIX_2_562915447;
    z3 = z3 * -FIX_1_961570560 + z5;
    z4 = z4 * -FIX_0_390180644 + z5;
    out[0] = t0 + z1 + z3;
    out[1] = t1 + z2 + z4;
    out[2] = t2 + z2 + z3;
    out[3] = t3 + z1 + z4;
}

}

void jpegInverseDct(const int32_t* in, const uint16_t* quant, int precision, uint16_t* out, size_t stride)
{
    const int p1 = pass1Bits(precision);
    const Wide center = Wide(1) << (precision - 1);
    const Wide top = (Wide(1) << precision) - 1;
    Wide work[64];
    // Pass 1: columns, into work scaled up by 2^p1.
    for (int c = 0; c < 8; c++) {
        const int32_t* col = in + c;
        const uint16_t* q = quant + c;
        Wide* w = work + c;
        if (col[8] == 0 && col[16] == 0 && col[24] == 0 && col[32] == 0 && col[40] == 0 && col[48] == 0 &&
            col[56] == 0) {
            Wide dc = (Wide(col[0]) * q[0]) * (Wide(1) << p1);
            for (int r = 0; r < 8; r++)
                w[8 * r] = dc;
            continue;
        }
        Wide z2 = Wide(col[16]) * q[16], z3 = Wide(col[48]) * q[48];
        Wide z1 = (z2 + z3) * FIX_0_541196100;
        Wide tmp2 = z1 + z3 * -FIX_1_847759065;
        Wide tmp3 = z1 + z2 * FIX_0_765366865;
        z2 = Wide(col[0]) * q[0];
        z3 = Wide(col[32]) * q[32];
        Wide tmp0 = (z2 + z3) * (Wide(1) << CONST_BITS);
        Wide tmp1 = (z2 - z3) * (Wide(1) << CONST_BITS);
        Wide t10 = tmp0 + tmp3, t13 = tmp0 - tmp3, t11 = tmp1 + tmp2, t12 = tmp1 - tmp2;
        Wide odd[4];
        oddPart(Wide(col[56]) * q[56], Wide(col[40]) * q[40], Wide(col[24]) * q[24], Wide(col[8]) * q[8], odd);
        const int n = CONST_BITS - p1;
        w[0] = descale(t10 + odd[3], n);
        w[56] = descale(t10 - odd[3], n);
        w[8] = descale(t11 + odd[2], n);
        w[48] = descale(t11 - odd[2], n);
        w[16] = descale(t12 + odd[1], n);
        w[40] = descale(t12 - odd[1], n);
        w[24] = descale(t13 + odd[0], n);
        w[32] = descale(t13 - odd[0], n);
    }
    // Pass 2: rows, descaled by 2^p1 and 8, centred and clamped.
    auto limit = [center, top](Wide v) {
        v += center;
        return static_cast<uint16_t>(v < 0 ? 0 : v > top ? top : v);
    };
    for (int r = 0; r < 8; r++, out += stride) {
        const Wide* w = work + 8 * r;
        if (w[1] == 0 && w[2] == 0 && w[3] == 0 && w[4] == 0 && w[5] == 0 && w[6] == 0 && w[7] == 0) {
            uint16_t v = limit(descale(w[0], p1 + 3));
            for (int c = 0; c < 8; c++)
                out[c] = v;
            continue;
        }
        Wide z1 = (w[2] + w[6]) * FIX_0_541196100;
        Wide tmp2 = z1 + w[6] * -FIX_1_847759065;
        Wide tmp3 = z1 + w[2] * FIX_0_765366865;
        Wide tmp0 = (w[0] + w[4]) * (Wide(1) << CONST_BITS);
        Wide tmp1 = (w[0] - w[4]) * (Wide(1) << CONST_BITS);
        Wide t10 = tmp0 + tmp3, t13 = tmp0 - tmp3, t11 = tmp1 + tmp2, t12 = tmp1 - tmp2;
        Wide odd[4];
        oddPart(w[7], w[5], w[3], w[1], odd);
        const int n = CONST_BITS + p1 + 3;
        out[0] = limit(descale(t10 + odd[3], n));
        out[7] = limit(descale(t10 - odd[3], n));
        out[1] = limit(descale(t11 + odd[2], n));
        out[6] = limit(descale(t11 - odd[2], n));
        out[2] = limit(descale(t12 + odd[1], n));
        out[5] = limit(descale(t12 - odd[1], n));
        out[3] = limit(descale(t13 + odd[0], n));
        out[4] = limit(descale(t13 - odd[0], n));
    }
}

void jpegForwardDct(const int32_t* in, int precision, int32_t* out)
{
    const int p1 = pass1Bits(precision);
    Wide work[64];
    // Pass 1: rows, scaled up by 2^p1.
    for (int r = 0; r < 8; r++) {
        const int32_t* d = in + 8 * r;
        Wide* w = work + 8 * r;
        Wide tmp0 = d[0] + d[7], tmp7 = d[0] - d[7];
        Wide tmp1 = d[1] + d[6], tmp6 = d[1] - d[6];
        Wide tmp2 = d[2] + d[5], tmp5 = d[2] - d[5];
        Wide tmp3 = d[3] + d[4], tmp4 = d[3] - d[4];
        Wide t10 = tmp0 + tmp3, t13 = tmp0 - tmp3, t11 = tmp1 + tmp2, t12 = tmp1 - tmp2;
        w[0] = (t10 + t11) * (Wide(1) << p1);
        w[4] = (t10 - t11) * (Wide(1) << p1);
        Wide z1 = (t12 + t13) * FIX_0_541196100;
        w[2] = descale(z1 + t13 * FIX_0_765366865, CONST_BITS - p1);
        w[6] = descale(z1 + t12 * -FIX_1_847759065, CONST_BITS - p1);
        Wide odd[4];
        oddPart(tmp4, tmp5, tmp6, tmp7, odd);
        w[7] = descale(odd[0], CONST_BITS - p1);
        w[5] = descale(odd[1], CONST_BITS - p1);
        w[3] = descale(odd[2], CONST_BITS - p1);
        w[1] = descale(odd[3], CONST_BITS - p1);
    }
    // Pass 2: columns, descaled by 2^p1 (leaving the factor 8).
    for (int c = 0; c < 8; c++) {
        const Wide* w = work + c;
        int32_t* o = out + c;
        Wide tmp0 = w[0] + w[56], tmp7 = w[0] - w[56];
        Wide tmp1 = w[8] + w[48], tmp6 = w[8] - w[48];
        Wide tmp2 = w[16] + w[40], tmp5 = w[16] - w[40];
        Wide tmp3 = w[24] + w[32], tmp4 = w[24] - w[32];
        Wide t10 = tmp0 + tmp3, t13 = tmp0 - tmp3, t11 = tmp1 + tmp2, t12 = tmp1 - tmp2;
        o[0] = static_cast<int32_t>(descale(t10 + t11, p1));
        o[32] = static_cast<int32_t>(descale(t10 - t11, p1));
        Wide z1 = (t12 + t13) * FIX_0_541196100;
        const int n = CONST_BITS + p1;
        o[16] = static_cast<int32_t>(descale(z1 + t13 * FIX_0_765366865, n));
        o[48] = static_cast<int32_t>(descale(z1 + t12 * -FIX_1_847759065, n));
        Wide odd[4];
        oddPart(tmp4, tmp5, tmp6, tmp7, odd);
        o[56] = static_cast<int32_t>(descale(odd[0], n));
        o[40] = static_cast<int32_t>(descale(odd[1], n));
        o[24] = static_cast<int32_t>(descale(odd[2], n));
        o[8] = static_cast<int32_t>(descale(odd[3], n));
    }
}

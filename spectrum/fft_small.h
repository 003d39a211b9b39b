// Transforms of 4, 8 and 16 points as straight-line code: all points are in registers, from the
// first load to the last store, so in and out may be one array. The order of sums and products is
// that of spectrum/fft_passes.h.
#pragma once

#include "spectrum/fft_passes.h"

inline namespace OMBRINE_SIMD_FORM
{

inline void Load_All(const float* in, C4* z, int count)
{
    for (int k = 0; k < count; k++) {
        z[k] = C4_Load(in + 8 * k);
    }
}

inline void Store_All(float* out, const C4* z, int count)
{
    for (int k = 0; k < count; k++) {
        C4_Store(out + 8 * k, z[k]);
    }
}

// Four points, one at a time: nothing to turn.
template <bool Back> inline void Transform_4(const float* in, float* out)
{
    const float sum_re = in[0] + in[4];
    const float sum_im = in[1] + in[5];
    const float difference_re = in[0] - in[4];
    const float difference_im = in[1] - in[5];
    const float far_sum_re = in[2] + in[6];
    const float far_sum_im = in[3] + in[7];
    const float far_difference_re = in[2] - in[6];
    const float far_difference_im = in[3] - in[7];
    // Here all of in has been read.
    float* second = Back ? out + 6 : out + 2;
    float* fourth = Back ? out + 2 : out + 6;
    out[0] = sum_re + far_sum_re;
    out[1] = sum_im + far_sum_im;
    out[4] = sum_re - far_sum_re;
    out[5] = sum_im - far_sum_im;
    second[0] = difference_re + far_difference_im;
    second[1] = difference_im - far_difference_re;
    fourth[0] = difference_re - far_difference_im;
    fourth[1] = difference_im + far_difference_re;
}

// Eight points: a radix-2 stage, then one radix-4 block whose quarters are half registers.
template <bool Back> inline void Transform_8(C4* z, const float* table)
{
    const C4 sum = C4_Add(z[0], z[1]);
    const C4 difference = C4_Sub(z[0], z[1]);
    C4 even; // quarters 0 and 2
    C4 odd;  // quarters 1 and 3
    C4_Zip(sum, difference, &even, &odd);
    odd = C4_Turn(odd, W4_Of<Back>(C4_Load_Halves(table + 8, table)));
    even = C4_Join(even, C4_Turn(even, W4_Of<Back>(C4_Load_Twice(table + 4))));
    C4 near;
    C4 far;
    C4_Halves(C4_Add(even, odd), C4_Sub(even, odd), &near, &far);
    far = C4_Join(far, Back ? C4_Swap(C4_Conj(far)) : C4_Conj(C4_Swap(far)));
    z[0] = C4_Add(near, far);
    z[1] = C4_Sub(near, far);
}

// Sixteen points: both radix-4 stages, exchanged between by a transpose.
template <bool Back> inline void Transform_16(C4* z, const float* table)
{
    C4 a = z[0];
    C4 b = z[2];
    C4 c = z[1];
    C4 d = z[3];
    Butterfly<Back>(a, b, c, d);
    C4_Transpose(a, b, c, d);
    Turn_Butterfly(a, c, b, d, Load_Factors<Back>(table));
    z[0] = a;
    z[1] = c;
    z[2] = b;
    z[3] = d;
}

} // namespace OMBRINE_SIMD_FORM

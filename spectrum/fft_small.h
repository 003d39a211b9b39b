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

// Times -i, or i with Back.
template <bool Back> inline C4 Quarter_Turn(C4 a)
{
    return Back ? C4_Swap(C4_Conj(a)) : C4_Conj(C4_Swap(a));
}

// Four points: one butterfly, nothing to turn.
template <bool Back> inline C4 Transform_4(C4 z)
{
    C4 low;
    C4 high;
    C4_Halves(z, z, &low, &high);
    const C4 sum = C4_Add(low, high);
    const C4 difference = C4_Sub(low, high);
    const C4 near = C4_Even(sum, difference);
    const C4 far = C4_Odd(sum, Quarter_Turn<Back>(difference));
    return C4_Join(C4_Add(near, far), C4_Sub(near, far));
}

// Eight points: a radix-2 stage, then one radix-4 block whose quarters are half registers.
template <bool Back> inline void Transform_8(C4* z, const float* table)
{
    const C4 sum = C4_Add(z[0], z[1]);
    const C4 difference = C4_Sub(z[0], z[1]);
    C4 even; // quarters 0 and 2
    C4 odd;  // quarters 1 and 3
    C4_Halves(C4_Even(sum, difference), C4_Odd(sum, difference), &even, &odd);
    odd = C4_Turn(odd, W4_Of<Back>(C4_Load_Halves(table + 8, table)));
    even = C4_Join(even, C4_Turn(even, W4_Of<Back>(C4_Load_Twice(table + 4))));
    C4 near;
    C4 far;
    C4_Halves(C4_Add(even, odd), C4_Sub(even, odd), &near, &far);
    far = C4_Join(far, Quarter_Turn<Back>(far));
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

// The loops of the operations on packed spectra, written once. An operation computes bins as
// points; dc and ny are formed before the loop and stored behind it, so that the loop can begin at
// slot 0: what it leaves in the outer slots is overwritten, and the bins of a power-of-two length
// are whole groups.
#pragma once

#include "vector/simd_parts.h"
#include "vector/simd_points.h"

#include <cstdint>

// op(width, k): bins k to k + F_Lanes of the width - 1, upward from bin 0.
template <class Op> inline void Run_Bins(uint32_t N, Op op)
{
    const uint64_t bins = N / 2;
    uint64_t k = 0;
    for (; k + 8 <= bins; k += 8) {
        op(F8(), k);
    }
    if ((bins & 4) != 0) {
        op(F4(), k);
        k += 4;
    }
    for (; k < bins; k++) {
        op(0.0f, k);
    }
}

// The same with four(k) for bins k to k + 3, which works on points in a C4, and one(k).
template <class Four, class One> inline void Run_Fours(uint32_t N, Four four, One one)
{
    const uint64_t bins = N / 2;
    uint64_t k = 0;
    for (; k + 4 <= bins; k += 4) {
        four(k);
    }
    for (; k < bins; k++) {
        one(k);
    }
}

// re^2 + im^2, the second product fused.
template <class F> inline F Power(const Parts<F>& a)
{
    return F_MulAdd(a.im, a.im, F_Mul(a.re, a.re));
}

// The real part of conj(a) * b, the second product fused.
template <class F> inline F Cross(const Parts<F>& a, const Parts<F>& b)
{
    return F_MulAdd(a.im, b.im, F_Mul(a.re, b.re));
}

template <class F> inline F Recip(F a)
{
    return F_Div(F_Set<F>(1.0f), a);
}

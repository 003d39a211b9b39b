// The part of the SIMD layer for complex points whose real and imaginary parts are worked on apart:
// Parts<F> holds as many points as F has lanes, for the float arithmetic of vector/simd_float.h.
//
// In memory a point is its real part followed by its imaginary part. Which lane holds which point
// is the form's own affair; the operations below agree on it, so no arithmetic lane by lane lets it
// be seen. All four move bits and need no alignment.
#pragma once

#include "vector/simd_float.h"

inline namespace OMBRINE_SIMD_FORM
{

template <class F> struct Parts {
    F re, im;
};

// F_Load_Parts<F>, F_Store_Parts: points in order, two floats each.
// F_Load_Reals<F>, F_Store_Reals: one float for each point, in order.
template <class F> Parts<F> F_Load_Parts(const float* from);
template <class F> F F_Load_Reals(const float* from);

template <> inline Parts<float> F_Load_Parts<float>(const float* from)
{
    return {from[0], from[1]};
}

template <> inline Parts<F4> F_Load_Parts<F4>(const float* from)
{
#if defined(__aarch64__) && !defined(OMBRINE_PLAIN_SIMD)
    const float32x4x2_t parts = vld2q_f32(from);
    return {{parts.val[0]}, {parts.val[1]}};
#else
    Parts<F4> out;
    F4_Unzip(F4_Load(from), F4_Load(from + 4), &out.re, &out.im);
    return out;
#endif
}

// On x86 both halves of the registers are taken apart by themselves: points 0, 1, 4, 5, 2, 3, 6, 7.
template <> inline Parts<F8> F_Load_Parts<F8>(const float* from)
{
#if defined(OMBRINE_F8_PAIR)
    const Parts<F4> low = F_Load_Parts<F4>(from);
    const Parts<F4> high = F_Load_Parts<F4>(from + 8);
    return {{low.re, high.re}, {low.im, high.im}};
#else
    const __m256 first = _mm256_loadu_ps(from);
    const __m256 second = _mm256_loadu_ps(from + 8);
    return {{_mm256_shuffle_ps(first, second, 0x88)}, {_mm256_shuffle_ps(first, second, 0xDD)}};
#endif
}

inline void F_Store_Parts(float* to, Parts<float> a)
{
    to[0] = a.re;
    to[1] = a.im;
}

inline void F_Store_Parts(float* to, Parts<F4> a)
{
#if defined(__aarch64__) && !defined(OMBRINE_PLAIN_SIMD)
    vst2q_f32(to, {{a.re.v, a.im.v}});
#else
    F4 first;
    F4 second;
    F4_Zip(a.re, a.im, &first, &second);
    F4_Store(to, first);
    F4_Store(to + 4, second);
#endif
}

inline void F_Store_Parts(float* to, Parts<F8> a)
{
#if defined(OMBRINE_F8_PAIR)
    F_Store_Parts(to, Parts<F4>{a.re.low, a.im.low});
    F_Store_Parts(to + 8, Parts<F4>{a.re.high, a.im.high});
#else
    _mm256_storeu_ps(to, _mm256_unpacklo_ps(a.re.v, a.im.v));
    _mm256_storeu_ps(to + 8, _mm256_unpackhi_ps(a.re.v, a.im.v));
#endif
}

template <> inline float F_Load_Reals<float>(const float* from)
{
    return *from;
}

template <> inline F4 F_Load_Reals<F4>(const float* from)
{
    return F4_Load(from);
}

template <> inline F8 F_Load_Reals<F8>(const float* from)
{
#if defined(OMBRINE_F8_PAIR)
    return F_Load<F8>(from);
#else
    const __m256d in_order = _mm256_castps_pd(_mm256_loadu_ps(from));
    return {_mm256_castpd_ps(_mm256_permute4x64_pd(in_order, 0xD8))};
#endif
}

inline void F_Store_Reals(float* to, float a)
{
    *to = a;
}

inline void F_Store_Reals(float* to, F4 a)
{
    F4_Store(to, a);
}

inline void F_Store_Reals(float* to, F8 a)
{
#if defined(OMBRINE_F8_PAIR)
    F_Store(to, a);
#else
    const __m256d in_order = _mm256_permute4x64_pd(_mm256_castps_pd(a.v), 0xD8);
    _mm256_storeu_ps(to, _mm256_castpd_ps(in_order));
#endif
}

} // namespace OMBRINE_SIMD_FORM

// The part of the SIMD layer for complex points: eight lanes that hold four points. In memory a
// point is its real part followed by its imaginary part. In registers the forms differ: NEON keeps
// four real and four imaginary parts in two registers, as its loads and stores take them apart and
// put them together; x86 keeps the order of memory. No operation lets that be seen.
//
// As in vector/simd.h the plain form is the definition, and the others give the same bits, those of
// zeros included. "Rounded" products stand alone; "fused" ones share one rounding with the sum.
#pragma once

#include "vector/simd.h"

#include <cmath>

inline namespace OMBRINE_SIMD_FORM
{

// C4: four complex points. W4: four factors made ready for C4_Turn; with Back the points turn by
// the factor itself, without by its conjugate.
#if defined(OMBRINE_PLAIN_SIMD)

struct C4 {
    float re[4], im[4];
};
template <bool Back> struct W4 {
    float re[4], im[4];
};

#elif defined(__aarch64__)

struct C4 {
    float32x4_t re, im;
};
template <bool Back> struct W4 {
    float32x4_t re, im;
};

#else

struct C4 {
    __m256 v;
};
template <bool Back> struct W4 {
    __m256 re, im; // each part on both lanes of a point, im with the signs of the fused products
};

// Two points in one register, and the same with other lanes, for C4 operations.
inline __m256 C4_Swap_Lanes(__m256 v)
{
    return _mm256_permute_ps(v, 0xB1);
}

inline __m256 C4_Signs(float even, float odd)
{
    return _mm256_setr_ps(even, odd, even, odd, even, odd, even, odd);
}

#endif

// ---- Memory ----

// C4_Load, C4_Store: four points in order.
inline C4 C4_Load(const float* from)
{
#if defined(OMBRINE_PLAIN_SIMD)
    C4 out;
    for (int k = 0; k < 4; k++) {
        out.re[k] = from[2 * k];
        out.im[k] = from[2 * k + 1];
    }
    return out;
#elif defined(__aarch64__)
    const float32x4x2_t parts = vld2q_f32(from);
    return {parts.val[0], parts.val[1]};
#else
    return {_mm256_loadu_ps(from)};
#endif
}

inline void C4_Store(float* to, C4 a)
{
#if defined(OMBRINE_PLAIN_SIMD)
    for (int k = 0; k < 4; k++) {
        to[2 * k] = a.re[k];
        to[2 * k + 1] = a.im[k];
    }
#elif defined(__aarch64__)
    vst2q_f32(to, {{a.re, a.im}});
#else
    _mm256_storeu_ps(to, a.v);
#endif
}

// C4_Load_Halves: points 0 and 1 from low, points 2 and 3 from high.
inline C4 C4_Load_Halves(const float* low, const float* high)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return {{low[0], low[2], high[0], high[2]}, {low[1], low[3], high[1], high[3]}};
#elif defined(__aarch64__)
    const float32x4_t a = vld1q_f32(low);
    const float32x4_t b = vld1q_f32(high);
    return {vuzp1q_f32(a, b), vuzp2q_f32(a, b)};
#else
    return {_mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(low)), _mm_loadu_ps(high), 1)};
#endif
}

// C4_Load_Twice: one pair of points in points 0 and 1, and again in points 2 and 3.
inline C4 C4_Load_Twice(const float* from)
{
#if defined(OMBRINE_PLAIN_SIMD) || defined(__aarch64__)
    return C4_Load_Halves(from, from);
#else
    return {_mm256_broadcast_ps(reinterpret_cast<const __m128*>(from))};
#endif
}

// C4_Load_Same: one point in all four places.
inline C4 C4_Load_Same(const float* from)
{
#if defined(OMBRINE_PLAIN_SIMD)
    const float re = from[0];
    const float im = from[1];
    return {{re, re, re, re}, {im, im, im, im}};
#elif defined(__aarch64__)
    const float32x4x2_t parts = vld2q_dup_f32(from);
    return {parts.val[0], parts.val[1]};
#else
    double point;
    memcpy(&point, from, sizeof point);
    return {_mm256_castpd_ps(_mm256_set1_pd(point))};
#endif
}

// ---- Sums ----

inline C4 C4_Add(C4 a, C4 b)
{
#if defined(OMBRINE_PLAIN_SIMD)
    C4 out;
    for (int k = 0; k < 4; k++) {
        out.re[k] = a.re[k] + b.re[k];
        out.im[k] = a.im[k] + b.im[k];
    }
    return out;
#elif defined(__aarch64__)
    return {vaddq_f32(a.re, b.re), vaddq_f32(a.im, b.im)};
#else
    return {_mm256_add_ps(a.v, b.v)};
#endif
}

inline C4 C4_Sub(C4 a, C4 b)
{
#if defined(OMBRINE_PLAIN_SIMD)
    C4 out;
    for (int k = 0; k < 4; k++) {
        out.re[k] = a.re[k] - b.re[k];
        out.im[k] = a.im[k] - b.im[k];
    }
    return out;
#elif defined(__aarch64__)
    return {vsubq_f32(a.re, b.re), vsubq_f32(a.im, b.im)};
#else
    return {_mm256_sub_ps(a.v, b.v)};
#endif
}

// C4_Sub_Add: (a.re - b.re, a.im + b.im). C4_Add_Sub: (a.re + b.re, a.im - b.im).
inline C4 C4_Sub_Add(C4 a, C4 b)
{
#if defined(OMBRINE_PLAIN_SIMD)
    C4 out;
    for (int k = 0; k < 4; k++) {
        out.re[k] = a.re[k] - b.re[k];
        out.im[k] = a.im[k] + b.im[k];
    }
    return out;
#elif defined(__aarch64__)
    return {vsubq_f32(a.re, b.re), vaddq_f32(a.im, b.im)};
#else
    return {_mm256_addsub_ps(a.v, b.v)};
#endif
}

inline C4 C4_Add_Sub(C4 a, C4 b)
{
#if defined(OMBRINE_PLAIN_SIMD)
    C4 out;
    for (int k = 0; k < 4; k++) {
        out.re[k] = a.re[k] + b.re[k];
        out.im[k] = a.im[k] - b.im[k];
    }
    return out;
#elif defined(__aarch64__)
    return {vaddq_f32(a.re, b.re), vsubq_f32(a.im, b.im)};
#else
    return {_mm256_fmsubadd_ps(a.v, _mm256_set1_ps(1.0f), b.v)}; // a times 1 is exact
#endif
}

// C4_Sum_Difference: (a.re + a.im, a.re - a.im).
inline C4 C4_Sum_Difference(C4 a)
{
#if defined(OMBRINE_PLAIN_SIMD)
    C4 out;
    for (int k = 0; k < 4; k++) {
        out.re[k] = a.re[k] + a.im[k];
        out.im[k] = a.re[k] - a.im[k];
    }
    return out;
#elif defined(__aarch64__)
    return {vaddq_f32(a.re, a.im), vsubq_f32(a.re, a.im)};
#else
    const __m256 im = _mm256_movehdup_ps(a.v);
    return {_mm256_fmsubadd_ps(_mm256_moveldup_ps(a.v), _mm256_set1_ps(1.0f), im)};
#endif
}

// C4_Swap: (a.im, a.re).
inline C4 C4_Swap(C4 a)
{
#if defined(OMBRINE_PLAIN_SIMD)
    C4 out;
    for (int k = 0; k < 4; k++) {
        out.re[k] = a.im[k];
        out.im[k] = a.re[k];
    }
    return out;
#elif defined(__aarch64__)
    return {a.im, a.re};
#else
    return {C4_Swap_Lanes(a.v)};
#endif
}

// C4_Conj: (a.re, -a.im).
inline C4 C4_Conj(C4 a)
{
#if defined(OMBRINE_PLAIN_SIMD)
    C4 out = a;
    for (int k = 0; k < 4; k++) {
        out.im[k] = -a.im[k];
    }
    return out;
#elif defined(__aarch64__)
    return {a.re, vnegq_f32(a.im)};
#else
    return {_mm256_xor_ps(a.v, C4_Signs(0.0f, -0.0f))};
#endif
}

// C4_Mix: (a.re, b.im).
inline C4 C4_Mix(C4 a, C4 b)
{
#if defined(OMBRINE_PLAIN_SIMD)
    C4 out = a;
    for (int k = 0; k < 4; k++) {
        out.im[k] = b.im[k];
    }
    return out;
#elif defined(__aarch64__)
    return {a.re, b.im};
#else
    return {_mm256_blend_ps(a.v, b.v, 0xAA)};
#endif
}

// ---- Products ----

// C4_Scale: both parts times s, each rounded.
inline C4 C4_Scale(C4 a, float s)
{
#if defined(OMBRINE_PLAIN_SIMD)
    C4 out;
    for (int k = 0; k < 4; k++) {
        out.re[k] = a.re[k] * s;
        out.im[k] = a.im[k] * s;
    }
    return out;
#elif defined(__aarch64__)
    return {vmulq_n_f32(a.re, s), vmulq_n_f32(a.im, s)};
#else
    return {_mm256_mul_ps(a.v, _mm256_set1_ps(s))};
#endif
}

// W4_Of: the points as factors.
template <bool Back> inline W4<Back> W4_Of(C4 a)
{
#if defined(OMBRINE_PLAIN_SIMD)
    W4<Back> out;
    for (int k = 0; k < 4; k++) {
        out.re[k] = a.re[k];
        out.im[k] = a.im[k];
    }
    return out;
#elif defined(__aarch64__)
    return {a.re, a.im};
#else
    const __m256 signs = Back ? C4_Signs(-0.0f, 0.0f) : C4_Signs(0.0f, -0.0f);
    return {_mm256_moveldup_ps(a.v), _mm256_xor_ps(_mm256_movehdup_ps(a.v), signs)};
#endif
}

// C4_Turn: a times w: (a.re w.re - a.im w.im, a.im w.re + a.re w.im), or without Back a times the
// conjugate: (a.re w.re + a.im w.im, a.im w.re - a.re w.im). The first products are rounded, the
// second ones fused.
template <bool Back> inline C4 C4_Turn(C4 a, const W4<Back>& w)
{
#if defined(OMBRINE_PLAIN_SIMD)
    C4 out;
    for (int k = 0; k < 4; k++) {
        const float im = Back ? w.im[k] : -w.im[k];
        out.re[k] = std::fma(-a.im[k], im, a.re[k] * w.re[k]);
        out.im[k] = std::fma(a.re[k], im, a.im[k] * w.re[k]);
    }
    return out;
#elif defined(__aarch64__)
    const float32x4_t re = vmulq_f32(a.re, w.re);
    const float32x4_t im = vmulq_f32(a.im, w.re);
    if constexpr (Back) {
        return {vfmsq_f32(re, a.im, w.im), vfmaq_f32(im, a.re, w.im)};
    } else {
        return {vfmaq_f32(re, a.im, w.im), vfmsq_f32(im, a.re, w.im)};
    }
#else
    return {_mm256_fmadd_ps(C4_Swap_Lanes(a.v), w.im, _mm256_mul_ps(a.v, w.re))};
#endif
}

// C4_Cross: (a.im w.re - b.re w.im, a.im w.im + b.re w.re), the products of a rounded, those of b
// fused.
inline C4 C4_Cross(C4 a, C4 b, C4 w)
{
#if defined(OMBRINE_PLAIN_SIMD)
    C4 out;
    for (int k = 0; k < 4; k++) {
        out.re[k] = std::fma(-b.re[k], w.im[k], a.im[k] * w.re[k]);
        out.im[k] = std::fma(b.re[k], w.re[k], a.im[k] * w.im[k]);
    }
    return out;
#elif defined(__aarch64__)
    return {vfmsq_f32(vmulq_f32(a.im, w.re), b.re, w.im),
            vfmaq_f32(vmulq_f32(a.im, w.im), b.re, w.re)};
#else
    const __m256 turned = _mm256_xor_ps(C4_Swap_Lanes(w.v), C4_Signs(-0.0f, 0.0f));
    return {_mm256_fmadd_ps(_mm256_moveldup_ps(b.v), turned,
                            _mm256_mul_ps(_mm256_movehdup_ps(a.v), w.v))};
#endif
}

// ---- Places ----

// C4_Reverse: the points in the opposite order.
inline C4 C4_Reverse(C4 a)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return {{a.re[3], a.re[2], a.re[1], a.re[0]}, {a.im[3], a.im[2], a.im[1], a.im[0]}};
#elif defined(__aarch64__)
    const float32x4_t re = vrev64q_f32(a.re);
    const float32x4_t im = vrev64q_f32(a.im);
    return {vextq_f32(re, re, 2), vextq_f32(im, im, 2)};
#else
    return {_mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(a.v), 0x1B))};
#endif
}

// C4_Rotate: points (a[3], a[0], a[1], a[2]).
inline C4 C4_Rotate(C4 a)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return {{a.re[3], a.re[0], a.re[1], a.re[2]}, {a.im[3], a.im[0], a.im[1], a.im[2]}};
#elif defined(__aarch64__)
    return {vextq_f32(a.re, a.re, 3), vextq_f32(a.im, a.im, 3)};
#else
    return {_mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(a.v), 0x93))};
#endif
}

// C4_Shift: points (a[1], a[2], a[3], b[0]). C4_Unshift: points (a[3], b[0], b[1], b[2]).
inline C4 C4_Shift(C4 a, C4 b)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return {{a.re[1], a.re[2], a.re[3], b.re[0]}, {a.im[1], a.im[2], a.im[3], b.im[0]}};
#elif defined(__aarch64__)
    return {vextq_f32(a.re, b.re, 1), vextq_f32(a.im, b.im, 1)};
#else
    const __m256d middle = _mm256_castps_pd(_mm256_permute2f128_ps(a.v, b.v, 0x21));
    return {_mm256_castpd_ps(_mm256_shuffle_pd(_mm256_castps_pd(a.v), middle, 0x5))};
#endif
}

inline C4 C4_Unshift(C4 a, C4 b)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return {{a.re[3], b.re[0], b.re[1], b.re[2]}, {a.im[3], b.im[0], b.im[1], b.im[2]}};
#elif defined(__aarch64__)
    return {vextq_f32(a.re, b.re, 3), vextq_f32(a.im, b.im, 3)};
#else
    const __m256d middle = _mm256_castps_pd(_mm256_permute2f128_ps(a.v, b.v, 0x21));
    return {_mm256_castpd_ps(_mm256_shuffle_pd(middle, _mm256_castps_pd(b.v), 0x5))};
#endif
}

// C4_First: point 0 of first, points 1 to 3 of rest.
inline C4 C4_First(C4 first, C4 rest)
{
#if defined(OMBRINE_PLAIN_SIMD)
    rest.re[0] = first.re[0];
    rest.im[0] = first.im[0];
    return rest;
#elif defined(__aarch64__)
    return {vcopyq_laneq_f32(rest.re, 0, first.re, 0), vcopyq_laneq_f32(rest.im, 0, first.im, 0)};
#else
    return {_mm256_blend_ps(rest.v, first.v, 0x03)};
#endif
}

// C4_Halves: the first halves of a and b, and the second halves.
inline void C4_Halves(C4 a, C4 b, C4* low, C4* high)
{
#if defined(OMBRINE_PLAIN_SIMD)
    *low = {{a.re[0], a.re[1], b.re[0], b.re[1]}, {a.im[0], a.im[1], b.im[0], b.im[1]}};
    *high = {{a.re[2], a.re[3], b.re[2], b.re[3]}, {a.im[2], a.im[3], b.im[2], b.im[3]}};
#elif defined(__aarch64__)
    *low = {vcombine_f32(vget_low_f32(a.re), vget_low_f32(b.re)),
            vcombine_f32(vget_low_f32(a.im), vget_low_f32(b.im))};
    *high = {vcombine_f32(vget_high_f32(a.re), vget_high_f32(b.re)),
             vcombine_f32(vget_high_f32(a.im), vget_high_f32(b.im))};
#else
    *low = {_mm256_permute2f128_ps(a.v, b.v, 0x20)};
    *high = {_mm256_permute2f128_ps(a.v, b.v, 0x31)};
#endif
}

// C4_Join: the first half of a and the second half of b.
inline C4 C4_Join(C4 a, C4 b)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return {{a.re[0], a.re[1], b.re[2], b.re[3]}, {a.im[0], a.im[1], b.im[2], b.im[3]}};
#elif defined(__aarch64__)
    return {vcombine_f32(vget_low_f32(a.re), vget_high_f32(b.re)),
            vcombine_f32(vget_low_f32(a.im), vget_high_f32(b.im))};
#else
    return {_mm256_blend_ps(a.v, b.v, 0xF0)};
#endif
}

// C4_Even: points (a[0], b[0], a[2], b[2]). C4_Odd: points (a[1], b[1], a[3], b[3]).
inline C4 C4_Even(C4 a, C4 b)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return {{a.re[0], b.re[0], a.re[2], b.re[2]}, {a.im[0], b.im[0], a.im[2], b.im[2]}};
#elif defined(__aarch64__)
    return {vtrn1q_f32(a.re, b.re), vtrn1q_f32(a.im, b.im)};
#else
    return {_mm256_castpd_ps(_mm256_unpacklo_pd(_mm256_castps_pd(a.v), _mm256_castps_pd(b.v)))};
#endif
}

inline C4 C4_Odd(C4 a, C4 b)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return {{a.re[1], b.re[1], a.re[3], b.re[3]}, {a.im[1], b.im[1], a.im[3], b.im[3]}};
#elif defined(__aarch64__)
    return {vtrn2q_f32(a.re, b.re), vtrn2q_f32(a.im, b.im)};
#else
    return {_mm256_castpd_ps(_mm256_unpackhi_pd(_mm256_castps_pd(a.v), _mm256_castps_pd(b.v)))};
#endif
}

// C4_Transpose: rows a, b, c, d become columns.
inline void C4_Transpose(C4& a, C4& b, C4& c, C4& d)
{
    const C4 even_ab = C4_Even(a, b);
    const C4 odd_ab = C4_Odd(a, b);
    const C4 even_cd = C4_Even(c, d);
    const C4 odd_cd = C4_Odd(c, d);
    C4_Halves(even_ab, even_cd, &a, &c);
    C4_Halves(odd_ab, odd_cd, &b, &d);
}

} // namespace OMBRINE_SIMD_FORM

// The part of the SIMD layer for pairs of float lanes: a complex number is an even lane, its real
// part, and the odd lane behind it. Moves and signs only, at widths F4 and F8; all act on bits.
#pragma once

#include "vector/simd_float.h"

inline namespace OMBRINE_SIMD_FORM
{

// F_Dup_Even, F_Dup_Odd: each pair's even, or odd, lane in both places; bits.
inline F4 F_Dup_Even(F4 a)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return {{a.v[0], a.v[0], a.v[2], a.v[2]}};
#elif defined(__aarch64__)
    return {vtrn1q_f32(a.v, a.v)};
#else
    return {_mm_moveldup_ps(a.v)};
#endif
}

inline F8 F_Dup_Even(F8 a)
{
#if defined(OMBRINE_F8_PAIR)
    return {F_Dup_Even(a.low), F_Dup_Even(a.high)};
#else
    return {_mm256_moveldup_ps(a.v)};
#endif
}

inline F4 F_Dup_Odd(F4 a)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return {{a.v[1], a.v[1], a.v[3], a.v[3]}};
#elif defined(__aarch64__)
    return {vtrn2q_f32(a.v, a.v)};
#else
    return {_mm_movehdup_ps(a.v)};
#endif
}

inline F8 F_Dup_Odd(F8 a)
{
#if defined(OMBRINE_F8_PAIR)
    return {F_Dup_Odd(a.low), F_Dup_Odd(a.high)};
#else
    return {_mm256_movehdup_ps(a.v)};
#endif
}

// F_Swap: the lanes of each pair exchanged; bits.
inline F4 F_Swap(F4 a)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return {{a.v[1], a.v[0], a.v[3], a.v[2]}};
#elif defined(__aarch64__)
    return {vrev64q_f32(a.v)};
#else
    return {_mm_permute_ps(a.v, 0xB1)};
#endif
}

inline F8 F_Swap(F8 a)
{
#if defined(OMBRINE_F8_PAIR)
    return {F_Swap(a.low), F_Swap(a.high)};
#else
    return {_mm256_permute_ps(a.v, 0xB1)};
#endif
}

// F_Neg_Even, F_Neg_Odd: the sign turned in the even, or odd, lanes; bits.
inline F4 F_Neg_Even(F4 a)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return {{F_Neg(a.v[0]), a.v[1], F_Neg(a.v[2]), a.v[3]}};
#elif defined(__aarch64__)
    const uint32x4_t signs = vreinterpretq_u32_u64(vdupq_n_u64(0x0000000080000000));
    return {vreinterpretq_f32_u32(veorq_u32(vreinterpretq_u32_f32(a.v), signs))};
#else
    return {_mm_xor_ps(a.v, _mm_setr_ps(-0.0f, 0.0f, -0.0f, 0.0f))};
#endif
}

inline F8 F_Neg_Even(F8 a)
{
#if defined(OMBRINE_F8_PAIR)
    return {F_Neg_Even(a.low), F_Neg_Even(a.high)};
#else
    return {_mm256_xor_ps(
        a.v, _mm256_castpd_ps(_mm256_castsi256_pd(_mm256_set1_epi64x(0x0000000080000000))))};
#endif
}

inline F4 F_Neg_Odd(F4 a)
{
    return F_Neg(F_Neg_Even(a));
}

inline F8 F_Neg_Odd(F8 a)
{
#if defined(OMBRINE_F8_PAIR)
    return {F_Neg_Odd(a.low), F_Neg_Odd(a.high)};
#else
    return {_mm256_xor_ps(a.v, _mm256_castpd_ps(_mm256_set1_pd(-0.0)))};
#endif
}

// F_Blend: the even lanes of even and the odd lanes of odd; bits.
inline F4 F_Blend(F4 even, F4 odd)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return {{even.v[0], odd.v[1], even.v[2], odd.v[3]}};
#elif defined(__aarch64__)
    const uint32x4_t low = vreinterpretq_u32_u64(vdupq_n_u64(0x00000000FFFFFFFF));
    return {vbslq_f32(low, even.v, odd.v)};
#else
    return {_mm_blend_ps(even.v, odd.v, 0xA)};
#endif
}

inline F8 F_Blend(F8 even, F8 odd)
{
#if defined(OMBRINE_F8_PAIR)
    return {F_Blend(even.low, odd.low), F_Blend(even.high, odd.high)};
#else
    return {_mm256_blend_ps(even.v, odd.v, 0xAA)};
#endif
}

// F4_Halves: lanes 0 and 1 of low, lanes 2 and 3 of high; bits.
inline F4 F4_Halves(F4 low, F4 high)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return {{low.v[0], low.v[1], high.v[2], high.v[3]}};
#elif defined(__aarch64__)
    return {vcombine_f32(vget_low_f32(low.v), vget_high_f32(high.v))};
#else
    return {_mm_blend_ps(low.v, high.v, 0xC)};
#endif
}

// F_Load_Twice<F>: half as many floats as lanes, each in both places of a pair; bits.
template <class F> F F_Load_Twice(const float* from);

template <> inline F4 F_Load_Twice<F4>(const float* from)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return {{from[0], from[0], from[1], from[1]}};
#elif defined(__aarch64__)
    const float32x2_t pair = vld1_f32(from);
    return {vcombine_f32(vdup_lane_f32(pair, 0), vdup_lane_f32(pair, 1))};
#else
    const __m128 pair = _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(from)));
    return {_mm_unpacklo_ps(pair, pair)};
#endif
}

template <> inline F8 F_Load_Twice<F8>(const float* from)
{
    const F4 four = F4_Load(from);
    F4 low;
    F4 high;
    F4_Zip(four, four, &low, &high);
    return F8_Join(low, high);
}

// F_Store_Even: the even lanes of two registers, those of a first; half as many floats as lanes of
// both; bits.
inline void F_Store_Even(float* to, F8 a, F8 b)
{
#if defined(OMBRINE_F8_PAIR)
    F4 even;
    F4 odd;
    F4_Unzip(a.low, a.high, &even, &odd);
    F4_Store(to, even);
    F4_Unzip(b.low, b.high, &even, &odd);
    F4_Store(to + 4, even);
#else
    const __m256d even = _mm256_castps_pd(_mm256_shuffle_ps(a.v, b.v, 0x88));
    _mm256_storeu_ps(to, _mm256_castpd_ps(_mm256_permute4x64_pd(even, 0xD8)));
#endif
}

} // namespace OMBRINE_SIMD_FORM

// The part of the SIMD layer for float arithmetic, at three widths: float, F4 and F8. An operation
// has one name at all widths and acts on each lane by itself, so that a kernel is written once.
//
// The float form is the definition; it is plain code in every build. The lanes give the same bits,
// except that which NaN comes out is the processor's choice. "Rounded" means each operation rounds
// once, "fused" that a product and a sum share one rounding. Everything but the operations marked
// "bits" runs under flush-to-zero: a subnormal operand counts as the zero of its sign.
//
// F8 is one register on x86 and a pair of F4 elsewhere.
#pragma once

#include "vector/simd.h"

#include <bit>
#include <cmath>

inline namespace OMBRINE_SIMD_FORM
{

#if defined(OMBRINE_PLAIN_SIMD) || defined(__aarch64__)
#define OMBRINE_F8_PAIR
struct F8 {
    F4 low, high;
};
#else
struct F8 {
    __m256 v;
};
#endif

// ---- The float form ----

inline float F_Add(float a, float b)
{
    return a + b;
}

inline float F_Sub(float a, float b)
{
    return a - b;
}

inline float F_Mul(float a, float b)
{
    return a * b;
}

inline float F_Div(float a, float b)
{
    return a / b;
}

inline float F_MulAdd(float a, float b, float c)
{
    return std::fma(a, b, c);
}

inline float F_NegMulAdd(float a, float b, float c)
{
    return std::fma(-a, b, c);
}

inline float F_Sqrt(float a)
{
    return std::sqrt(a);
}

inline float F_Neg(float a)
{
    return std::bit_cast<float>(std::bit_cast<uint32_t>(a) ^ 0x80000000);
}

inline float F_Abs(float a)
{
    return std::bit_cast<float>(std::bit_cast<uint32_t>(a) & 0x7FFFFFFF);
}

// The bits of a as arithmetic takes them: a subnormal as the zero of its sign.
inline uint32_t F_Flushed_Bits(float a)
{
    const uint32_t bits = std::bit_cast<uint32_t>(a);
    return (bits & 0x7F800000) == 0 ? bits & 0x80000000 : bits;
}

// Selections of whole values, so that the compiler can run these at full width.
inline float F_Max(float a, float b)
{
    const uint32_t x = F_Flushed_Bits(a);
    const uint32_t y = F_Flushed_Bits(b);
    uint32_t larger = a > b ? x : y;
    larger = a == b ? x & y : larger;
    larger = a != a || b != b ? 0x7FC00000 : larger;
    return std::bit_cast<float>(larger);
}

inline float F_Min(float a, float b)
{
    const uint32_t x = F_Flushed_Bits(a);
    const uint32_t y = F_Flushed_Bits(b);
    uint32_t smaller = a < b ? x : y;
    smaller = a == b ? x | y : smaller;
    smaller = a != a || b != b ? 0x7FC00000 : smaller;
    return std::bit_cast<float>(smaller);
}

inline bool F_Is_Signalling(float a)
{
    const uint32_t bits = std::bit_cast<uint32_t>(a) & 0x7FFFFFFF;
    return bits > 0x7F800000 && bits < 0x7FC00000;
}

// F_Max_Number, F_Min_Number (float only): maxNum and minNum of IEEE 754-2008. A quiet NaN loses to
// a number, a signalling NaN makes a NaN; +0 is above -0.
inline float F_Max_Number(float a, float b)
{
    const uint32_t x = F_Flushed_Bits(a);
    const uint32_t y = F_Flushed_Bits(b);
    uint32_t larger = a > b ? x : y;
    larger = a == b ? x & y : larger;
    larger = b != b ? x : larger;
    larger = F_Is_Signalling(a) || F_Is_Signalling(b) ? 0x7FC00000 : larger;
    return std::bit_cast<float>(larger);
}

inline float F_Min_Number(float a, float b)
{
    const uint32_t x = F_Flushed_Bits(a);
    const uint32_t y = F_Flushed_Bits(b);
    uint32_t smaller = a < b ? x : y;
    smaller = a == b ? x | y : smaller;
    smaller = b != b ? x : smaller;
    smaller = F_Is_Signalling(a) || F_Is_Signalling(b) ? 0x7FC00000 : smaller;
    return std::bit_cast<float>(smaller);
}

// The FRECPE estimate under flush-to-zero. The first nine bits of the significand, with one half
// added in the tenth place, are inverted to nine bits. From 2^126 on the result would be subnormal
// and so is a zero.
inline float F_Recip_Estimate(float a)
{
    const uint32_t bits = std::bit_cast<uint32_t>(a);
    const uint32_t sign = bits & 0x80000000;
    const uint32_t magnitude = bits & 0x7FFFFFFF;
    const int32_t odd = (bits >> 14 & 0x1FE) | 0x201; // 2 * significand + 1, 513 to 1023
    // The quotient is never whole and below 1024, so rounding it does not change its whole part.
    const int32_t quotient = static_cast<int32_t>(0x1p19f / static_cast<float>(odd));
    const uint32_t inverse = static_cast<uint32_t>(quotient + 1) >> 1;
    const uint32_t exponent = (253u << 23) - (magnitude & 0x7F800000);
    uint32_t estimate = sign | (exponent + ((inverse & 0xFF) << 15));
    estimate = magnitude < 0x00800000 ? sign | 0x7F800000 : estimate;
    estimate = magnitude >= 0x7E800000 ? sign : estimate;
    estimate = magnitude > 0x7F800000 ? bits | 0x00400000 : estimate;
    return std::bit_cast<float>(estimate);
}

// ---- Helpers of the plain and the paired forms ----

#if defined(OMBRINE_PLAIN_SIMD)
template <float (*One)(float)> inline F4 F4_Each(F4 a)
{
    return {{One(a.v[0]), One(a.v[1]), One(a.v[2]), One(a.v[3])}};
}

template <float (*One)(float, float)> inline F4 F4_Each(F4 a, F4 b)
{
    return {{One(a.v[0], b.v[0]), One(a.v[1], b.v[1]), One(a.v[2], b.v[2]), One(a.v[3], b.v[3])}};
}

template <float (*One)(float, float, float)> inline F4 F4_Each(F4 a, F4 b, F4 c)
{
    return {{One(a.v[0], b.v[0], c.v[0]), One(a.v[1], b.v[1], c.v[1]), One(a.v[2], b.v[2], c.v[2]),
             One(a.v[3], b.v[3], c.v[3])}};
}
#endif

// ---- Loads, stores, constants ----

// F_Set<F>: all lanes value. F_Load<F>, F_Store: lane 0 first, no alignment needed; bits.
// F_Lanes<F>: the number of lanes.
template <class F> constexpr unsigned F_Lanes = sizeof(F) / sizeof(float);

template <class F> F F_Set(float value);
template <class F> F F_Load(const float* from);

template <> inline float F_Set<float>(float value)
{
    return value;
}

template <> inline F4 F_Set<F4>(float value)
{
    return F4_Set(value);
}

template <> inline F8 F_Set<F8>(float value)
{
#if defined(OMBRINE_F8_PAIR)
    return {F4_Set(value), F4_Set(value)};
#else
    return {_mm256_set1_ps(value)};
#endif
}

template <> inline float F_Load<float>(const float* from)
{
    return *from;
}

template <> inline F4 F_Load<F4>(const float* from)
{
    return F4_Load(from);
}

template <> inline F8 F_Load<F8>(const float* from)
{
#if defined(OMBRINE_F8_PAIR)
    return {F4_Load(from), F4_Load(from + 4)};
#else
    return {_mm256_loadu_ps(from)};
#endif
}

inline void F_Store(float* to, float a)
{
    *to = a;
}

inline void F_Store(float* to, F4 a)
{
    F4_Store(to, a);
}

inline void F_Store(float* to, F8 a)
{
#if defined(OMBRINE_F8_PAIR)
    F4_Store(to, a.low);
    F4_Store(to + 4, a.high);
#else
    _mm256_storeu_ps(to, a.v);
#endif
}

// F8_Join, F8_Low, F8_High: lanes 0 to 3 and 4 to 7; bits.
inline F8 F8_Join(F4 low, F4 high)
{
#if defined(OMBRINE_F8_PAIR)
    return {low, high};
#else
    return {_mm256_set_m128(high.v, low.v)};
#endif
}

inline F4 F8_Low(F8 a)
{
#if defined(OMBRINE_F8_PAIR)
    return a.low;
#else
    return {_mm256_castps256_ps128(a.v)};
#endif
}

inline F4 F8_High(F8 a)
{
#if defined(OMBRINE_F8_PAIR)
    return a.high;
#else
    return {_mm256_extractf128_ps(a.v, 1)};
#endif
}

// ---- Arithmetic ----

// F_Add: a + b, rounded.
inline F4 F_Add(F4 a, F4 b)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return F4_Each<F_Add>(a, b);
#elif defined(__aarch64__)
    return {vaddq_f32(a.v, b.v)};
#else
    return {_mm_add_ps(a.v, b.v)};
#endif
}

inline F8 F_Add(F8 a, F8 b)
{
#if defined(OMBRINE_F8_PAIR)
    return {F_Add(a.low, b.low), F_Add(a.high, b.high)};
#else
    return {_mm256_add_ps(a.v, b.v)};
#endif
}

// F_Sub: a - b, rounded.
inline F4 F_Sub(F4 a, F4 b)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return F4_Each<F_Sub>(a, b);
#elif defined(__aarch64__)
    return {vsubq_f32(a.v, b.v)};
#else
    return {_mm_sub_ps(a.v, b.v)};
#endif
}

inline F8 F_Sub(F8 a, F8 b)
{
#if defined(OMBRINE_F8_PAIR)
    return {F_Sub(a.low, b.low), F_Sub(a.high, b.high)};
#else
    return {_mm256_sub_ps(a.v, b.v)};
#endif
}

// F_Mul: a * b, rounded.
inline F4 F_Mul(F4 a, F4 b)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return F4_Each<F_Mul>(a, b);
#elif defined(__aarch64__)
    return {vmulq_f32(a.v, b.v)};
#else
    return {_mm_mul_ps(a.v, b.v)};
#endif
}

inline F8 F_Mul(F8 a, F8 b)
{
#if defined(OMBRINE_F8_PAIR)
    return {F_Mul(a.low, b.low), F_Mul(a.high, b.high)};
#else
    return {_mm256_mul_ps(a.v, b.v)};
#endif
}

// F_Div: a / b, a true division, rounded.
inline F4 F_Div(F4 a, F4 b)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return F4_Each<F_Div>(a, b);
#elif defined(__aarch64__)
    return {vdivq_f32(a.v, b.v)};
#else
    return {_mm_div_ps(a.v, b.v)};
#endif
}

inline F8 F_Div(F8 a, F8 b)
{
#if defined(OMBRINE_F8_PAIR)
    return {F_Div(a.low, b.low), F_Div(a.high, b.high)};
#else
    return {_mm256_div_ps(a.v, b.v)};
#endif
}

// F_MulAdd: a * b + c, fused.
inline F4 F_MulAdd(F4 a, F4 b, F4 c)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return F4_Each<F_MulAdd>(a, b, c);
#elif defined(__aarch64__)
    return {vfmaq_f32(c.v, a.v, b.v)};
#else
    return {_mm_fmadd_ps(a.v, b.v, c.v)};
#endif
}

inline F8 F_MulAdd(F8 a, F8 b, F8 c)
{
#if defined(OMBRINE_F8_PAIR)
    return {F_MulAdd(a.low, b.low, c.low), F_MulAdd(a.high, b.high, c.high)};
#else
    return {_mm256_fmadd_ps(a.v, b.v, c.v)};
#endif
}

// F_NegMulAdd: c - a * b, fused.
inline F4 F_NegMulAdd(F4 a, F4 b, F4 c)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return F4_Each<F_NegMulAdd>(a, b, c);
#elif defined(__aarch64__)
    return {vfmsq_f32(c.v, a.v, b.v)};
#else
    return {_mm_fnmadd_ps(a.v, b.v, c.v)};
#endif
}

inline F8 F_NegMulAdd(F8 a, F8 b, F8 c)
{
#if defined(OMBRINE_F8_PAIR)
    return {F_NegMulAdd(a.low, b.low, c.low), F_NegMulAdd(a.high, b.high, c.high)};
#else
    return {_mm256_fnmadd_ps(a.v, b.v, c.v)};
#endif
}

// F_Sqrt: the square root, rounded; NaN below zero, -0 for -0.
inline F4 F_Sqrt(F4 a)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return F4_Each<F_Sqrt>(a);
#elif defined(__aarch64__)
    return {vsqrtq_f32(a.v)};
#else
    return {_mm_sqrt_ps(a.v)};
#endif
}

inline F8 F_Sqrt(F8 a)
{
#if defined(OMBRINE_F8_PAIR)
    return {F_Sqrt(a.low), F_Sqrt(a.high)};
#else
    return {_mm256_sqrt_ps(a.v)};
#endif
}

// F_Neg: the sign turned, NaN and zero included; bits.
inline F4 F_Neg(F4 a)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return F4_Each<F_Neg>(a);
#elif defined(__aarch64__)
    return {vnegq_f32(a.v)};
#else
    return {_mm_xor_ps(a.v, _mm_set1_ps(-0.0f))};
#endif
}

inline F8 F_Neg(F8 a)
{
#if defined(OMBRINE_F8_PAIR)
    return {F_Neg(a.low), F_Neg(a.high)};
#else
    return {_mm256_xor_ps(a.v, _mm256_set1_ps(-0.0f))};
#endif
}

// F_Abs: the sign cleared, NaN and zero included; bits.
inline F4 F_Abs(F4 a)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return F4_Each<F_Abs>(a);
#elif defined(__aarch64__)
    return {vabsq_f32(a.v)};
#else
    return {_mm_andnot_ps(_mm_set1_ps(-0.0f), a.v)};
#endif
}

inline F8 F_Abs(F8 a)
{
#if defined(OMBRINE_F8_PAIR)
    return {F_Abs(a.low), F_Abs(a.high)};
#else
    return {_mm256_andnot_ps(_mm256_set1_ps(-0.0f), a.v)};
#endif
}

// F_Max: the larger; NaN if either operand is one; +0 is above -0.
// On x86 the instruction gives its second operand for two zeros and for a NaN. Both orders together
// leave the sign bit only if both zeros have it.
inline F4 F_Max(F4 a, F4 b)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return F4_Each<F_Max>(a, b);
#elif defined(__aarch64__)
    return {vmaxq_f32(a.v, b.v)};
#else
    const __m128 larger = _mm_and_ps(_mm_max_ps(a.v, b.v), _mm_max_ps(b.v, a.v));
    return {_mm_or_ps(larger, _mm_cmpunord_ps(a.v, b.v))};
#endif
}

inline F8 F_Max(F8 a, F8 b)
{
#if defined(OMBRINE_F8_PAIR)
    return {F_Max(a.low, b.low), F_Max(a.high, b.high)};
#else
    const __m256 larger = _mm256_and_ps(_mm256_max_ps(a.v, b.v), _mm256_max_ps(b.v, a.v));
    return {_mm256_or_ps(larger, _mm256_cmp_ps(a.v, b.v, _CMP_UNORD_Q))};
#endif
}

// F_Min: the smaller; NaN if either operand is one; -0 is below +0.
// On x86 one of the two orders gives the NaN, and its bits with any others set are a NaN still.
inline F4 F_Min(F4 a, F4 b)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return F4_Each<F_Min>(a, b);
#elif defined(__aarch64__)
    return {vminq_f32(a.v, b.v)};
#else
    return {_mm_or_ps(_mm_min_ps(a.v, b.v), _mm_min_ps(b.v, a.v))};
#endif
}

inline F8 F_Min(F8 a, F8 b)
{
#if defined(OMBRINE_F8_PAIR)
    return {F_Min(a.low, b.low), F_Min(a.high, b.high)};
#else
    return {_mm256_or_ps(_mm256_min_ps(a.v, b.v), _mm256_min_ps(b.v, a.v))};
#endif
}

// F_Recip_Estimate: the FRECPE estimate of 1 / a, about eight bits; a subnormal gives an infinity,
// 2^126 and above a zero, each with the sign; a NaN stays, made quiet. All bits are defined.
inline F8 F_Recip_Estimate(F8 a)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return {F4_Each<F_Recip_Estimate>(a.low), F4_Each<F_Recip_Estimate>(a.high)};
#elif defined(__aarch64__)
    return {{vrecpeq_f32(a.low.v)}, {vrecpeq_f32(a.high.v)}};
#else
    const __m256i bits = _mm256_castps_si256(a.v);
    const __m256i magnitude = _mm256_and_si256(bits, _mm256_set1_epi32(0x7FFFFFFF));
    const __m256i sign = _mm256_xor_si256(bits, magnitude);
    const __m256i odd =
        _mm256_or_si256(_mm256_and_si256(_mm256_srli_epi32(bits, 14), _mm256_set1_epi32(0x1FE)),
                        _mm256_set1_epi32(0x201));
    const __m256 quotient = _mm256_div_ps(_mm256_set1_ps(0x1p19f), _mm256_cvtepi32_ps(odd));
    const __m256i inverse =
        _mm256_srli_epi32(_mm256_add_epi32(_mm256_cvttps_epi32(quotient), _mm256_set1_epi32(1)), 1);
    const __m256i exponent = _mm256_sub_epi32(
        _mm256_set1_epi32(253 << 23), _mm256_and_si256(magnitude, _mm256_set1_epi32(0x7F800000)));
    const __m256i fraction =
        _mm256_slli_epi32(_mm256_and_si256(inverse, _mm256_set1_epi32(0xFF)), 15);
    const __m256i tiny = _mm256_cmpgt_epi32(_mm256_set1_epi32(0x00800000), magnitude);
    const __m256i huge = _mm256_cmpgt_epi32(magnitude, _mm256_set1_epi32(0x7E7FFFFF));
    const __m256i is_nan = _mm256_cmpgt_epi32(magnitude, _mm256_set1_epi32(0x7F800000));
    __m256i estimate = _mm256_add_epi32(exponent, fraction);
    estimate = _mm256_blendv_epi8(estimate, _mm256_set1_epi32(0x7F800000), tiny);
    estimate = _mm256_or_si256(_mm256_andnot_si256(huge, estimate), sign);
    estimate =
        _mm256_blendv_epi8(estimate, _mm256_or_si256(bits, _mm256_set1_epi32(0x00400000)), is_nan);
    return {_mm256_castsi256_ps(estimate)};
#endif
}

inline F4 F_Recip_Estimate(F4 a)
{
    return F8_Low(F_Recip_Estimate(F8_Join(a, a)));
}

// ---- Pairs of lanes: a complex number is an even lane, its real part, and the odd lane behind
// ----

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

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

// Most operations are one instruction on each processor. These write the F4 and the F8 form from
// the instruction's NEON name and its x86 name, which is the same at both widths. NEON takes the
// addend of a fused operation first.
#if defined(OMBRINE_PLAIN_SIMD)
#define OMBRINE_LANES_1(name, neon, x86, a) F4_Each<name>(a)
#define OMBRINE_LANES_2(name, neon, x86, a, b) F4_Each<name>(a, b)
#define OMBRINE_LANES_3(name, neon, x86, a, b, c) F4_Each<name>(a, b, c)
#elif defined(__aarch64__)
inline F4 F4_Of(float32x4_t v)
{
    return {v};
}
#define OMBRINE_LANES_1(name, neon, x86, a) F4_Of(neon(a.v))
#define OMBRINE_LANES_2(name, neon, x86, a, b) F4_Of(neon(a.v, b.v))
#define OMBRINE_LANES_3(name, neon, x86, a, b, c) F4_Of(neon(c.v, a.v, b.v))
#endif
#if defined(OMBRINE_F8_PAIR)
#define OMBRINE_UNARY(name, neon, x86)                                                             \
    inline F4 name(F4 a)                                                                           \
    {                                                                                              \
        return OMBRINE_LANES_1(name, neon, x86, a);                                                \
    }                                                                                              \
    inline F8 name(F8 a)                                                                           \
    {                                                                                              \
        return {name(a.low), name(a.high)};                                                        \
    }
#define OMBRINE_BINARY(name, neon, x86)                                                            \
    inline F4 name(F4 a, F4 b)                                                                     \
    {                                                                                              \
        return OMBRINE_LANES_2(name, neon, x86, a, b);                                             \
    }                                                                                              \
    inline F8 name(F8 a, F8 b)                                                                     \
    {                                                                                              \
        return {name(a.low, b.low), name(a.high, b.high)};                                         \
    }
#define OMBRINE_FUSED(name, neon, x86)                                                             \
    inline F4 name(F4 a, F4 b, F4 c)                                                               \
    {                                                                                              \
        return OMBRINE_LANES_3(name, neon, x86, a, b, c);                                          \
    }                                                                                              \
    inline F8 name(F8 a, F8 b, F8 c)                                                               \
    {                                                                                              \
        return {name(a.low, b.low, c.low), name(a.high, b.high, c.high)};                          \
    }
#else
#define OMBRINE_UNARY(name, neon, x86)                                                             \
    inline F4 name(F4 a)                                                                           \
    {                                                                                              \
        return {_mm_##x86(a.v)};                                                                   \
    }                                                                                              \
    inline F8 name(F8 a)                                                                           \
    {                                                                                              \
        return {_mm256_##x86(a.v)};                                                                \
    }
#define OMBRINE_BINARY(name, neon, x86)                                                            \
    inline F4 name(F4 a, F4 b)                                                                     \
    {                                                                                              \
        return {_mm_##x86(a.v, b.v)};                                                              \
    }                                                                                              \
    inline F8 name(F8 a, F8 b)                                                                     \
    {                                                                                              \
        return {_mm256_##x86(a.v, b.v)};                                                           \
    }
#define OMBRINE_FUSED(name, neon, x86)                                                             \
    inline F4 name(F4 a, F4 b, F4 c)                                                               \
    {                                                                                              \
        return {_mm_##x86(a.v, b.v, c.v)};                                                         \
    }                                                                                              \
    inline F8 name(F8 a, F8 b, F8 c)                                                               \
    {                                                                                              \
        return {_mm256_##x86(a.v, b.v, c.v)};                                                      \
    }
#endif

// F_Add: a + b, rounded.
OMBRINE_BINARY(F_Add, vaddq_f32, add_ps)

// F_Sub: a - b, rounded.
OMBRINE_BINARY(F_Sub, vsubq_f32, sub_ps)

// F_Mul: a * b, rounded.
OMBRINE_BINARY(F_Mul, vmulq_f32, mul_ps)

// F_Div: a / b, a true division, rounded.
OMBRINE_BINARY(F_Div, vdivq_f32, div_ps)

// F_MulAdd: a * b + c, fused.
OMBRINE_FUSED(F_MulAdd, vfmaq_f32, fmadd_ps)

// F_NegMulAdd: c - a * b, fused.
OMBRINE_FUSED(F_NegMulAdd, vfmsq_f32, fnmadd_ps)

// F_Sqrt: the square root, rounded; NaN below zero, -0 for -0.
OMBRINE_UNARY(F_Sqrt, vsqrtq_f32, sqrt_ps)

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

} // namespace OMBRINE_SIMD_FORM

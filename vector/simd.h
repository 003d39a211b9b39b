// The one SIMD layer. Each operation has one written meaning that holds in every build: NEON on
// 64-bit Arm, SSE and AVX2 with FMA on x86-64, and plain lanes where OMBRINE_PLAIN_SIMD asks for
// them. The plain form is the definition; the others give the same bits. No other file but its
// parts simd_float.h, simd_pairs.h, simd_points.h and simd_parts.h names a processor or an
// intrinsic.
//
// Types: B16 sixteen bytes, I4 four signed 32-bit integers, F4 four floats, D4 four doubles. Lane 0
// comes first in memory. "Word" is a signed 64-bit integer in memory. Loads and stores need no
// alignment. Everything runs under flush-to-zero (frame/float_mode.cpp).
#pragma once

#include <cstdint>
#include <cstring>

#if defined(OMBRINE_PLAIN_SIMD)
#define OMBRINE_SIMD_FORM simd_plain
#elif defined(__aarch64__)
#define OMBRINE_SIMD_FORM simd_neon
#include <arm_neon.h>
#elif defined(__AVX2__) && defined(__FMA__)
#define OMBRINE_SIMD_FORM simd_x86
#include <immintrin.h>
#else
#error "neither NEON nor AVX2 with FMA; OMBRINE_PLAIN_SIMD selects the plain form"
#endif

// The forms are told apart by namespace, so that objects of two builds can be linked together.
inline namespace OMBRINE_SIMD_FORM
{

// In a B16_Shuffle order: this byte is zero.
constexpr uint8_t B16_Zero = 0x80;

#if defined(OMBRINE_PLAIN_SIMD)

struct B16 {
    uint8_t v[16];
};
struct I4 {
    int32_t v[4];
};
struct F4 {
    float v[4];
};
struct D4 {
    double v[4];
};

#elif defined(__aarch64__)

struct B16 {
    uint8x16_t v;
};
struct I4 {
    int32x4_t v;
};
struct F4 {
    float32x4_t v;
};
struct D4 {
    float64x2_t low, high;
};

#else

struct B16 {
    __m128i v;
};
struct I4 {
    __m128i v;
};
struct F4 {
    __m128 v;
};
struct D4 {
    __m256d v;
};

#endif

// ---- Bytes ----

// B16_Load_Part: the first Bytes (4, 8, 12 or 16) bytes from memory, the others zero.
template <unsigned Bytes> inline B16 B16_Load_Part(const void* from)
{
    static_assert(Bytes == 4 || Bytes == 8 || Bytes == 12 || Bytes == 16);
    const uint8_t* bytes = static_cast<const uint8_t*>(from);
#if defined(OMBRINE_PLAIN_SIMD)
    B16 out = {};
    memcpy(out.v, bytes, Bytes);
    return out;
#elif defined(__aarch64__)
    if constexpr (Bytes == 16) {
        return {vld1q_u8(bytes)};
    } else {
        uint64_t low = 0;
        uint32_t high = 0;
        memcpy(&low, bytes, Bytes < 8 ? Bytes : 8);
        if constexpr (Bytes == 12) {
            memcpy(&high, bytes + 8, 4);
        }
        return {vcombine_u8(vcreate_u8(low), vcreate_u8(high))};
    }
#else
    if constexpr (Bytes == 16) {
        return {_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes))};
    } else if constexpr (Bytes == 4) {
        return {_mm_loadu_si32(bytes)};
    } else {
        const __m128i low = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes));
        int high = 0;
        memcpy(&high, bytes + 8, Bytes - 8);
        return {Bytes == 8 ? low : _mm_insert_epi32(low, high, 2)};
    }
#endif
}

// B16_Store_Part: the first Bytes (4, 8, 12 or 16) bytes to memory, nothing behind them.
template <unsigned Bytes> inline void B16_Store_Part(void* to, B16 bytes)
{
    static_assert(Bytes == 4 || Bytes == 8 || Bytes == 12 || Bytes == 16);
    memcpy(to, &bytes, Bytes);
}

// B16_Shuffle: byte k is bytes[order[k]]; zero where order[k] is B16_Zero. Other values of 16 and
// more must not occur.
inline B16 B16_Shuffle(B16 bytes, B16 order)
{
#if defined(OMBRINE_PLAIN_SIMD)
    B16 out;
    for (int k = 0; k < 16; k++) {
        out.v[k] = order.v[k] == B16_Zero ? 0 : bytes.v[order.v[k]];
    }
    return out;
#elif defined(__aarch64__)
    return {vqtbl1q_u8(bytes.v, order.v)};
#else
    return {_mm_shuffle_epi8(bytes.v, order.v)};
#endif
}

// The same sixteen bytes as lanes, lowest byte first, and back.
inline I4 I4_From_Bytes(B16 bytes)
{
    I4 out;
    memcpy(&out, &bytes, 16);
    return out;
}

inline B16 B16_From_I4(I4 a)
{
    B16 out;
    memcpy(&out, &a, 16);
    return out;
}

inline F4 F4_From_Bytes(B16 bytes)
{
    F4 out;
    memcpy(&out, &bytes, 16);
    return out;
}

inline B16 B16_From_F4(F4 a)
{
    B16 out;
    memcpy(&out, &a, 16);
    return out;
}

// ---- Four integers ----

// I4_Set: all lanes value.
inline I4 I4_Set(int32_t value)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return {{value, value, value, value}};
#elif defined(__aarch64__)
    return {vdupq_n_s32(value)};
#else
    return {_mm_set1_epi32(value)};
#endif
}

// I4_Load_Low, I4_Load_High: the low or high halves of four words.
inline I4 I4_Load_Low(const int64_t* words)
{
#if defined(OMBRINE_PLAIN_SIMD)
    I4 out;
    for (int k = 0; k < 4; k++) {
        out.v[k] = static_cast<int32_t>(words[k]);
    }
    return out;
#elif defined(__aarch64__)
    return {vuzp1q_s32(vreinterpretq_s32_s64(vld1q_s64(words)),
                       vreinterpretq_s32_s64(vld1q_s64(words + 2)))};
#else
    const __m128 first = _mm_castsi128_ps(_mm_loadu_si128(reinterpret_cast<const __m128i*>(words)));
    const __m128 second =
        _mm_castsi128_ps(_mm_loadu_si128(reinterpret_cast<const __m128i*>(words + 2)));
    return {_mm_castps_si128(_mm_shuffle_ps(first, second, 0x88))};
#endif
}

inline I4 I4_Load_High(const int64_t* words)
{
#if defined(OMBRINE_PLAIN_SIMD)
    I4 out;
    for (int k = 0; k < 4; k++) {
        out.v[k] = static_cast<int32_t>(words[k] >> 32);
    }
    return out;
#elif defined(__aarch64__)
    return {vuzp2q_s32(vreinterpretq_s32_s64(vld1q_s64(words)),
                       vreinterpretq_s32_s64(vld1q_s64(words + 2)))};
#else
    const __m128 first = _mm_castsi128_ps(_mm_loadu_si128(reinterpret_cast<const __m128i*>(words)));
    const __m128 second =
        _mm_castsi128_ps(_mm_loadu_si128(reinterpret_cast<const __m128i*>(words + 2)));
    return {_mm_castps_si128(_mm_shuffle_ps(first, second, 0xDD))};
#endif
}

// I4_Store_Words: four words, each lane sign extended.
inline void I4_Store_Words(int64_t* words, I4 a)
{
#if defined(OMBRINE_PLAIN_SIMD)
    for (int k = 0; k < 4; k++) {
        words[k] = a.v[k];
    }
#elif defined(__aarch64__)
    vst1q_s64(words, vmovl_s32(vget_low_s32(a.v)));
    vst1q_s64(words + 2, vmovl_high_s32(a.v));
#else
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(words), _mm256_cvtepi32_epi64(a.v));
#endif
}

// I4_Shift_Right: each lane by Bits (0 to 31) places; the sign stays.
template <int Bits> inline I4 I4_Shift_Right(I4 a)
{
    if constexpr (Bits == 0) {
        return a;
    } else {
#if defined(OMBRINE_PLAIN_SIMD)
        I4 out;
        for (int k = 0; k < 4; k++) {
            out.v[k] = a.v[k] >> Bits;
        }
        return out;
#elif defined(__aarch64__)
        return {vshrq_n_s32(a.v, Bits)};
#else
        return {_mm_srai_epi32(a.v, Bits)};
#endif
    }
}

// I4_Xor: bit by bit.
inline I4 I4_Xor(I4 a, I4 b)
{
#if defined(OMBRINE_PLAIN_SIMD)
    I4 out;
    for (int k = 0; k < 4; k++) {
        out.v[k] = a.v[k] ^ b.v[k];
    }
    return out;
#elif defined(__aarch64__)
    return {veorq_s32(a.v, b.v)};
#else
    return {_mm_xor_si128(a.v, b.v)};
#endif
}

// I4_Any: true if any bit of any lane is set.
inline bool I4_Any(I4 a)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return (a.v[0] | a.v[1] | a.v[2] | a.v[3]) != 0;
#elif defined(__aarch64__)
    return vmaxvq_u32(vreinterpretq_u32_s32(a.v)) != 0;
#else
    return !_mm_testz_si128(a.v, a.v);
#endif
}

// ---- Four floats ----

// F4_Set: all lanes value.
inline F4 F4_Set(float value)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return {{value, value, value, value}};
#elif defined(__aarch64__)
    return {vdupq_n_f32(value)};
#else
    return {_mm_set1_ps(value)};
#endif
}

inline F4 F4_Load(const float* from)
{
#if defined(OMBRINE_PLAIN_SIMD)
    F4 out;
    memcpy(out.v, from, sizeof out.v);
    return out;
#elif defined(__aarch64__)
    return {vld1q_f32(from)};
#else
    return {_mm_loadu_ps(from)};
#endif
}

inline void F4_Store(float* to, F4 a)
{
#if defined(OMBRINE_PLAIN_SIMD)
    memcpy(to, a.v, sizeof a.v);
#elif defined(__aarch64__)
    vst1q_f32(to, a.v);
#else
    _mm_storeu_ps(to, a.v);
#endif
}

// F4_Mul: a * b, rounded once.
inline F4 F4_Mul(F4 a, F4 b)
{
#if defined(OMBRINE_PLAIN_SIMD)
    F4 out;
    for (int k = 0; k < 4; k++) {
        out.v[k] = a.v[k] * b.v[k];
    }
    return out;
#elif defined(__aarch64__)
    return {vmulq_f32(a.v, b.v)};
#else
    return {_mm_mul_ps(a.v, b.v)};
#endif
}

// F4_All_Magnitudes_Below: true if |a| < limit in every lane; a NaN makes it false.
inline bool F4_All_Magnitudes_Below(F4 a, F4 limit)
{
#if defined(OMBRINE_PLAIN_SIMD)
    bool all = true;
    for (int k = 0; k < 4; k++) {
        all = all && a.v[k] < limit.v[k] && a.v[k] > -limit.v[k];
    }
    return all;
#elif defined(__aarch64__)
    return vminvq_u32(vcaltq_f32(a.v, limit.v)) != 0;
#else
    const __m128 magnitude = _mm_andnot_ps(_mm_set1_ps(-0.0f), a.v);
    return _mm_movemask_ps(_mm_cmplt_ps(magnitude, limit.v)) == 15;
#endif
}

// F4_From_I4: each lane to nearest, ties to even.
inline F4 F4_From_I4(I4 a)
{
#if defined(OMBRINE_PLAIN_SIMD)
    F4 out;
    for (int k = 0; k < 4; k++) {
        out.v[k] = static_cast<float>(a.v[k]);
    }
    return out;
#elif defined(__aarch64__)
    return {vcvtq_f32_s32(a.v)};
#else
    return {_mm_cvtepi32_ps(a.v)};
#endif
}

// F4_From_Words: four words to nearest, ties to even. Words that fit in 32 bits take the short
// road, which rounds the same.
inline F4 F4_From_Words(const int64_t* words)
{
    const I4 low = I4_Load_Low(words);
    if (I4_Any(I4_Xor(I4_Shift_Right<31>(low), I4_Load_High(words)))) {
        float wide[4];
        for (int k = 0; k < 4; k++) {
            wide[k] = static_cast<float>(words[k]);
        }
        return F4_Load(wide);
    }
    return F4_From_I4(low);
}

// I4_Truncate: each lane cut toward zero; every |a| must be below 2^31.
inline I4 I4_Truncate(F4 a)
{
#if defined(OMBRINE_PLAIN_SIMD)
    I4 out;
    for (int k = 0; k < 4; k++) {
        out.v[k] = static_cast<int32_t>(a.v[k]);
    }
    return out;
#elif defined(__aarch64__)
    return {vcvtq_s32_f32(a.v)};
#else
    return {_mm_cvttps_epi32(a.v)};
#endif
}

// F4_Unzip: the even and the odd lanes of a followed by b.
inline void F4_Unzip(F4 a, F4 b, F4* even, F4* odd)
{
#if defined(OMBRINE_PLAIN_SIMD)
    *even = {{a.v[0], a.v[2], b.v[0], b.v[2]}};
    *odd = {{a.v[1], a.v[3], b.v[1], b.v[3]}};
#elif defined(__aarch64__)
    *even = {vuzp1q_f32(a.v, b.v)};
    *odd = {vuzp2q_f32(a.v, b.v)};
#else
    *even = {_mm_shuffle_ps(a.v, b.v, 0x88)};
    *odd = {_mm_shuffle_ps(a.v, b.v, 0xDD)};
#endif
}

// F4_Zip: the lanes of a and b in turn, a first; the first four of the eight, then the rest.
inline void F4_Zip(F4 a, F4 b, F4* first, F4* second)
{
#if defined(OMBRINE_PLAIN_SIMD)
    *first = {{a.v[0], b.v[0], a.v[1], b.v[1]}};
    *second = {{a.v[2], b.v[2], a.v[3], b.v[3]}};
#elif defined(__aarch64__)
    *first = {vzip1q_f32(a.v, b.v)};
    *second = {vzip2q_f32(a.v, b.v)};
#else
    *first = {_mm_unpacklo_ps(a.v, b.v)};
    *second = {_mm_unpackhi_ps(a.v, b.v)};
#endif
}

// F4_Transpose: rows a, b, c, d become columns.
inline void F4_Transpose(F4& a, F4& b, F4& c, F4& d)
{
#if defined(OMBRINE_PLAIN_SIMD)
    const F4 rows[4] = {a, b, c, d};
    F4* columns[4] = {&a, &b, &c, &d};
    for (int i = 0; i < 4; i++) {
        for (int k = 0; k < 4; k++) {
            columns[i]->v[k] = rows[k].v[i];
        }
    }
#elif defined(__aarch64__)
    const float32x4x2_t ab = vtrnq_f32(a.v, b.v);
    const float32x4x2_t cd = vtrnq_f32(c.v, d.v);
    a.v = vcombine_f32(vget_low_f32(ab.val[0]), vget_low_f32(cd.val[0]));
    b.v = vcombine_f32(vget_low_f32(ab.val[1]), vget_low_f32(cd.val[1]));
    c.v = vcombine_f32(vget_high_f32(ab.val[0]), vget_high_f32(cd.val[0]));
    d.v = vcombine_f32(vget_high_f32(ab.val[1]), vget_high_f32(cd.val[1]));
#else
    _MM_TRANSPOSE4_PS(a.v, b.v, c.v, d.v);
#endif
}

// ---- Four doubles ----

// D4_Set: all lanes value.
inline D4 D4_Set(double value)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return {{value, value, value, value}};
#elif defined(__aarch64__)
    return {vdupq_n_f64(value), vdupq_n_f64(value)};
#else
    return {_mm256_set1_pd(value)};
#endif
}

// D4_From_F4: each lane widened, exactly.
inline D4 D4_From_F4(F4 a)
{
#if defined(OMBRINE_PLAIN_SIMD)
    return {{a.v[0], a.v[1], a.v[2], a.v[3]}};
#elif defined(__aarch64__)
    return {vcvt_f64_f32(vget_low_f32(a.v)), vcvt_high_f64_f32(a.v)};
#else
    return {_mm256_cvtps_pd(a.v)};
#endif
}

// D4_Mul: a * b, rounded once.
inline D4 D4_Mul(D4 a, D4 b)
{
#if defined(OMBRINE_PLAIN_SIMD)
    D4 out;
    for (int k = 0; k < 4; k++) {
        out.v[k] = a.v[k] * b.v[k];
    }
    return out;
#elif defined(__aarch64__)
    return {vmulq_f64(a.low, b.low), vmulq_f64(a.high, b.high)};
#else
    return {_mm256_mul_pd(a.v, b.v)};
#endif
}

// D4_All_Within: true if low <= a <= high in every lane; a NaN makes it false.
inline bool D4_All_Within(D4 a, D4 low, D4 high)
{
#if defined(OMBRINE_PLAIN_SIMD)
    bool all = true;
    for (int k = 0; k < 4; k++) {
        all = all && a.v[k] >= low.v[k] && a.v[k] <= high.v[k];
    }
    return all;
#elif defined(__aarch64__)
    const uint64x2_t first = vandq_u64(vcgeq_f64(a.low, low.low), vcleq_f64(a.low, high.low));
    const uint64x2_t second = vandq_u64(vcgeq_f64(a.high, low.high), vcleq_f64(a.high, high.high));
    return vminvq_u32(vreinterpretq_u32_u64(vandq_u64(first, second))) != 0;
#else
    const __m256d from = _mm256_cmp_pd(a.v, low.v, _CMP_GE_OQ);
    const __m256d to = _mm256_cmp_pd(a.v, high.v, _CMP_LE_OQ);
    return _mm256_movemask_pd(_mm256_and_pd(from, to)) == 15;
#endif
}

// I4_Round_Away: each lane plus one half with the lane's sign, rounded once, then cut toward zero:
// nearest, halves away from zero. The sum must lie within 32 bits.
inline I4 I4_Round_Away(D4 a)
{
#if defined(OMBRINE_PLAIN_SIMD)
    I4 out;
    for (int k = 0; k < 4; k++) {
        out.v[k] = static_cast<int32_t>(a.v[k] >= 0.0 ? a.v[k] + 0.5 : a.v[k] - 0.5);
    }
    return out;
#elif defined(__aarch64__)
    const uint64x2_t sign = vdupq_n_u64(0x8000000000000000);
    const float64x2_t half = vdupq_n_f64(0.5);
    const int64x2_t low = vcvtq_s64_f64(vaddq_f64(a.low, vbslq_f64(sign, a.low, half)));
    const int64x2_t high = vcvtq_s64_f64(vaddq_f64(a.high, vbslq_f64(sign, a.high, half)));
    return {vcombine_s32(vmovn_s64(low), vmovn_s64(high))};
#else
    const __m256d sign = _mm256_and_pd(a.v, _mm256_set1_pd(-0.0));
    const __m256d half = _mm256_or_pd(_mm256_set1_pd(0.5), sign);
    return {_mm256_cvttpd_epi32(_mm256_add_pd(a.v, half))};
#endif
}

} // namespace OMBRINE_SIMD_FORM

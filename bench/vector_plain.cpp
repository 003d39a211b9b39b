#include "bench/vector_plain.h"

#include "vector/simd_float.h"

#include <cstring>

static constexpr float S = 0.7f;

template <class Op>
static inline void Two(uint32_t n, const float* a, const float* b, float* dst, Op op)
{
    for (uint32_t i = 0; i < n; i++) {
        dst[i] = op(a[i], b[i]);
    }
}

template <class Op> static inline void One(uint32_t n, const float* a, float* dst, Op op)
{
    for (uint32_t i = 0; i < n; i++) {
        dst[i] = op(a[i]);
    }
}

void Plain_Add(uint32_t n, const float* a, const float* b, float* dst)
{
    Two(n, a, b, dst, [](float x, float y) { return x + y; });
}

void Plain_Sub(uint32_t n, const float* a, const float* b, float* dst)
{
    Two(n, a, b, dst, [](float x, float y) { return x - y; });
}

void Plain_Mul(uint32_t n, const float* a, const float* b, float* dst)
{
    Two(n, a, b, dst, [](float x, float y) { return x * y; });
}

void Plain_Max(uint32_t n, const float* a, const float* b, float* dst)
{
    Two(n, a, b, dst, [](float x, float y) { return x > y ? x : y; });
}

void Plain_Min(uint32_t n, const float* a, const float* b, float* dst)
{
    Two(n, a, b, dst, [](float x, float y) { return x < y ? x : y; });
}

void Plain_Scale_Div(uint32_t n, const float* a, const float* b, float* dst)
{
    Two(n, a, b, dst, [](float x, float y) { return x * S / y; });
}

void Plain_MulAcc(uint32_t n, const float* a, const float* b, float* dst)
{
    for (uint32_t i = 0; i < n; i++) {
        dst[i] = std::fma(a[i], b[i], dst[i]);
    }
}

void Plain_Scale(uint32_t n, const float* a, float* dst)
{
    One(n, a, dst, [](float x) { return x * S; });
}

void Plain_Add_Scalar(uint32_t n, const float* a, float* dst)
{
    One(n, a, dst, [](float x) { return x + S; });
}

void Plain_Sqrt(uint32_t n, const float* a, float* dst)
{
    One(n, a, dst, [](float x) { return std::sqrt(x); });
}

void Plain_Recip(uint32_t n, const float* a, float* dst)
{
    One(n, a, dst, [](float x) { return 1.0f / x; });
}

void Plain_Clamp(uint32_t n, const float* a, float* dst)
{
    One(n, a, dst, [](float x) { return x < -S ? -S : x > S ? S : x; });
}

void Plain_Copy(uint32_t n, const float* a, float* dst)
{
    memcpy(dst, a, n * sizeof(float));
}

void Plain_Zero(uint32_t n, float* dst)
{
    memset(dst, 0, n * sizeof(float));
}

void Plain_FV_Mul(uint32_t n, const float* a, const float* b, float* dst)
{
    dst[0] = a[0] * b[0];
    dst[1] = a[1] * b[1];
    for (uint32_t i = 2; i < n; i += 2) {
        const float re = std::fma(-a[i + 1], b[i + 1], a[i] * b[i]);
        const float im = std::fma(a[i + 1], b[i], a[i] * b[i + 1]);
        dst[i] = re;
        dst[i + 1] = im;
    }
}

float Plain_Sum(uint32_t n, const float* a)
{
    float sum = 0.0f;
    for (uint32_t i = 0; i < n; i++) {
        sum += a[i];
    }
    return sum;
}

float Plain_SumSquares(uint32_t n, const float* a)
{
    return Plain_Dot(n, a, a);
}

float Plain_Dot(uint32_t n, const float* a, const float* b)
{
    float sum = 0.0f;
    for (uint32_t i = 0; i < n; i++) {
        sum = std::fma(a[i], b[i], sum);
    }
    return sum;
}

float Plain_Max_Value(uint32_t n, const float* a)
{
    float max = a[0];
    for (uint32_t i = 1; i < n; i++) {
        max = a[i] > max ? a[i] : max;
    }
    return max;
}

void Plain_Interpolate(uint32_t n, int32_t L, const float* taps, const float* src, float* dst)
{
    const int32_t reach = 4 * L - 1;
    const int32_t outputs = static_cast<int32_t>(n) * L;
    memset(dst, 0, static_cast<size_t>(outputs) * sizeof(float));
    for (int32_t k = 0; k < static_cast<int32_t>(n); k++) {
        const int32_t centre = L * k;
        const int32_t end = centre + reach < outputs - 1 ? centre + reach : outputs - 1;
        for (int32_t j = centre > reach ? centre - reach : 0; j <= end; j++) {
            dst[j] = std::fma(taps[j - centre + reach], src[k], dst[j]);
        }
    }
}

// The steps are kept apart from what the compiler knows of their operands.
void Plain_Addition_Chain(uint32_t n, const float* start, float* out)
{
    F4 sum = F4_Set(start[0]);
    const F4 step = F4_Set(start[1]);
    for (uint32_t i = 0; i < n; i += 16) {
        sum = F_Add(F_Add(F_Add(F_Add(sum, step), step), step), step);
    }
    F4_Store(out, sum);
}

void Plain_Fused_Chain(uint32_t n, const float* start, float* out)
{
    F4 sum = F4_Set(start[0]);
    const F4 step = F4_Set(start[1]);
    for (uint32_t i = 0; i < n; i += 16) {
        sum = F_MulAdd(step, step, sum);
        sum = F_MulAdd(step, step, sum);
        sum = F_MulAdd(step, step, sum);
        sum = F_MulAdd(step, step, sum);
    }
    F4_Store(out, sum);
}

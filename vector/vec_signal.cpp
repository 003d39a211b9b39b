// The signal operations behind vector/vec.h.
#include "vector/vec.h"

#include "frame/size.h"
#include "vector/kern.h"
#include "vector/simd_float.h"

#include <algorithm>
#include <cstring>

// ---- Interpolation ----

// Output L * m + p is the sum of tap[L * d + p + 4L - 1] * src[m - d] for d from Reach down to
// -Reach - 1, that is from its earliest input on. Phase 0 has no tap for the last of these steps.
static constexpr int32_t Reach = 3;
static constexpr int32_t Steps = 2 * Reach + 2;

static void Fill_Sinc_Taps(int32_t L, float* taps)
{
    const float w1 = 3.1415927f / static_cast<float>(L);
    const float w2 = 6.2831855f / static_cast<float>(8 * L);
    for (int32_t t = 1; t < 8 * L; t++) {
        const float x = static_cast<float>(t - 4 * L) * w1;
        const float s = F_Abs(x) < 1e-9f ? 0.5f : sinf(x) / x * 0.5f;
        taps[t - 1] = (1.0f - cosf(static_cast<float>(t) * w2)) * s;
    }
}

struct Interpolation {
    int32_t n, L;
    const float* taps;
    const float* src;
    float* dst;
};

// The tap of phase p at the first step; one step on it is L taps before.
static inline const float* First_Tap(const Interpolation& job, int32_t p)
{
    return job.taps + (Reach * job.L + p + 4 * job.L - 1);
}

// All phases around input m, with the steps that fall outside the input left out.
static void Interpolate_One(const Interpolation& job, int32_t m)
{
    for (int32_t p = 0; p < job.L; p++) {
        const int32_t steps = p == 0 ? Steps - 1 : Steps;
        const int32_t first = std::max(0, Reach - m);
        const int32_t end = std::min(steps, job.n - m + Reach);
        const float* tap = First_Tap(job, p);
        const float* input = job.src + (m - Reach);
        float sum = 0.0f;
        for (int32_t step = first; step < end; step++) {
            sum = F_MulAdd(tap[-step * job.L], input[step], sum);
        }
        job.dst[job.L * m + p] = sum;
    }
}

// Phase p around inputs m to m + 7, all of whose steps fall inside. input[k] holds inputs from
// m - Reach + k on.
static inline F8 Interpolate_Eight(const Interpolation& job, int32_t p, const F8 (&input)[Steps])
{
    const float* tap = First_Tap(job, p);
    F8 sum = F_Set<F8>(0.0f);
    for (int32_t step = 0; step < Steps - 1; step++) {
        sum = F_MulAdd(F_Set<F8>(tap[-step * job.L]), input[step], sum);
    }
    if (p != 0) {
        sum = F_MulAdd(F_Set<F8>(tap[-(Steps - 1) * job.L]), input[Steps - 1], sum);
    }
    return sum;
}

// Four phases of eight inputs into the output's order.
static inline void Store_Four_Phases(float* to, int32_t L, F8 a, F8 b, F8 c, F8 d)
{
    F4 low[4] = {F8_Low(a), F8_Low(b), F8_Low(c), F8_Low(d)};
    F4 high[4] = {F8_High(a), F8_High(b), F8_High(c), F8_High(d)};
    F4_Transpose(low[0], low[1], low[2], low[3]);
    F4_Transpose(high[0], high[1], high[2], high[3]);
    for (int32_t k = 0; k < 4; k++) {
        F4_Store(to + k * L, low[k]);
        F4_Store(to + (k + 4) * L, high[k]);
    }
}

static void Interpolate_Block(const Interpolation& job, int32_t m)
{
    F8 input[Steps];
    for (int32_t step = 0; step < Steps; step++) {
        input[step] = F_Load<F8>(job.src + (m - Reach) + step);
    }
    float* to = job.dst + job.L * m;
    int32_t p = 0;
    for (; p + 4 <= job.L; p += 4) {
        Store_Four_Phases(
            to + p, job.L, Interpolate_Eight(job, p, input), Interpolate_Eight(job, p + 1, input),
            Interpolate_Eight(job, p + 2, input), Interpolate_Eight(job, p + 3, input));
    }
    for (; p < job.L; p++) {
        float eight[8];
        F_Store(eight, Interpolate_Eight(job, p, input));
        for (int32_t k = 0; k < 8; k++) {
            to[k * job.L + p] = eight[k];
        }
    }
}

void VEC_Interpolate_Sinc(ObjectHeader* object, uint64_t n, int32_t L, const float* src, float* dst)
{
    const uint64_t tap_bytes = (uint64_t{8} * static_cast<uint32_t>(L) - 1) * sizeof(float);
    float* taps = static_cast<float*>(OBJ_Malloc_T(object, tap_bytes));
    Fill_Sinc_Taps(L, taps);
    const Interpolation job = {static_cast<int32_t>(n), L, taps, src, dst};
    int32_t m = 0;
    for (; m < std::min(Reach, job.n); m++) {
        Interpolate_One(job, m);
    }
    for (; m + 8 + Reach + 1 <= job.n; m += 8) {
        Interpolate_Block(job, m);
    }
    for (; m < job.n; m++) {
        Interpolate_One(job, m);
    }
    OBJ_Free_T(object, taps);
}

// ---- Order ----

void VEC_Rotate(ObjectHeader* object, uint64_t n, int32_t shift, float* v)
{
    if (shift == 0 || n == 0) {
        return;
    }
    // The last `up` elements change places with those before them. Only one side is saved.
    const int64_t length = static_cast<int64_t>(n);
    const uint64_t up = static_cast<uint64_t>((shift % length + length) % length);
    const uint64_t rest = n - up;
    const uint64_t saved = shift > 0 ? up : rest;
    float* scratch = static_cast<float*>(OBJ_Malloc_T(object, saved * sizeof(float)));
    if (shift > 0) {
        memcpy(scratch, v + rest, up * sizeof(float));
        memmove(v + up, v, rest * sizeof(float));
        memcpy(v, scratch, up * sizeof(float));
    } else {
        memcpy(scratch, v, rest * sizeof(float));
        memmove(v, v + rest, up * sizeof(float));
        memcpy(v + up, scratch, rest * sizeof(float));
    }
    OBJ_Free_T(object, scratch);
}

void VEC_Reverse_InPlace(ObjectHeader* object, uint64_t n, float* v)
{
    VEC_Reverse(object, n, v, v);
}

void VEC_Reverse(ObjectHeader*, uint64_t n, const float* src, float* dst)
{
    for (uint64_t i = 0; i < n / 2; i++) {
        const float first = src[i];
        dst[i] = src[n - 1 - i];
        dst[n - 1 - i] = first;
    }
    if (n % 2 != 0) {
        dst[n / 2] = src[n / 2];
    }
}

// ---- Correlation ----

// src less its mean, scaled to energy 1; a vector without energy stays all zero.
static void Normalise(ObjectHeader* object, uint64_t n, const float* src, float* dst)
{
    float mean;
    VEC_Mean(object, n, src, &mean);
    for (uint64_t i = 0; i < n; i++) {
        dst[i] = F_Sub(src[i], mean);
    }
    const uint32_t count = static_cast<uint32_t>(n);
    float energy;
    KERN_SumSquares(object, count, dst, &energy);
    KERN_Scale_InPlace(object, count, dst, energy == 0.0f ? 1.0f : F_Div(1.0f, F_Sqrt(energy)));
}

void VEC_Correlation(ObjectHeader* object, uint64_t n, const float* p, const float* q, float* out)
{
    const uint64_t bytes = Size_Product(n, sizeof(float));
    float* first = static_cast<float*>(OBJ_Malloc_T(object, bytes));
    float* second = static_cast<float*>(OBJ_Malloc_T(object, bytes));
    Normalise(object, n, p, first);
    Normalise(object, n, q, second);
    KERN_Dot(object, static_cast<uint32_t>(n), first, second, out);
    OBJ_Free_T(object, second);
    OBJ_Free_T(object, first);
}

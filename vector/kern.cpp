// The element-wise kernels behind vector/kern.h: an operation each for the loops of
// vector/kern_loops.h. Scalars are spread over the lanes before the loop.
#include "vector/kern.h"

#include "vector/kern_loops.h"

// ---- Filling and copying ----

// 32 floats a step, then 16, 8 and 4 once each at most, then single elements.
static inline void Run_Fill(uint64_t n, float* dst, float value)
{
    uint64_t i = 0;
    if (All_Aligned(dst)) {
        const F8 eight = F_Set<F8>(value);
        for (; i + 32 <= n; i += 32) {
            F_Store(dst + i, eight);
            F_Store(dst + i + 8, eight);
            F_Store(dst + i + 16, eight);
            F_Store(dst + i + 24, eight);
        }
        if ((n & 16) != 0) {
            F_Store(dst + i, eight);
            F_Store(dst + i + 8, eight);
            i += 16;
        }
        if ((n & 8) != 0) {
            F_Store(dst + i, eight);
            i += 8;
        }
        if ((n & 4) != 0) {
            F_Store(dst + i, F_Set<F4>(value));
            i += 4;
        }
    }
    for (; i < n; i++) {
        dst[i] = value;
    }
}

void KERN_Zero(ObjectHeader*, uint32_t n, float* dst)
{
    Run_Fill(n, dst, 0.0f);
}

void KERN_Fill(ObjectHeader*, uint32_t n, float* dst, float value)
{
    Run_Fill(n, dst, value);
}

void KERN_Copy(ObjectHeader*, uint32_t n, const float* src, float* dst)
{
    Run_Each(
        n, dst, [](auto x) { return x; }, src);
}

// ---- Two arrays ----

void KERN_Add(ObjectHeader*, uint32_t n, const float* a, const float* b, float* dst)
{
    Run_Each(
        n, dst, [](auto x, auto y) { return F_Add(x, y); }, a, b);
}

void KERN_Add_InPlace(ObjectHeader* object, uint32_t n, const float* a, float* b)
{
    KERN_Add(object, n, a, b, b);
}

void KERN_Sub(ObjectHeader*, uint32_t n, const float* a, const float* b, float* dst)
{
    Run_Each(
        n, dst, [](auto x, auto y) { return F_Sub(x, y); }, a, b);
}

void KERN_Sub_InPlace(ObjectHeader* object, uint32_t n, const float* a, float* b)
{
    KERN_Sub(object, n, b, a, b);
}

void KERN_Mul(ObjectHeader*, uint32_t n, const float* a, const float* b, float* dst)
{
    Run_Each(
        n, dst, [](auto x, auto y) { return F_Mul(x, y); }, a, b);
}

void KERN_Mul_InPlace(ObjectHeader* object, uint32_t n, const float* a, float* b)
{
    KERN_Mul(object, n, a, b, b);
}

void KERN_Max(ObjectHeader*, uint32_t n, const float* a, const float* b, float* dst)
{
    Run_Each(
        n, dst, [](auto x, auto y) { return F_Max(x, y); }, a, b);
}

void KERN_Min(ObjectHeader*, uint32_t n, const float* a, const float* b, float* dst)
{
    Run_Each(
        n, dst, [](auto x, auto y) { return F_Min(x, y); }, a, b);
}

void KERN_Scale_Div(ObjectHeader*, uint32_t n, const float* a, const float* b, float* dst, float s)
{
    const auto op = [s](auto x, auto y) { return F_Div(F_Mul(x, F_Set<decltype(x)>(s)), y); };
    Run_Each(n, dst, op, a, b);
}

// ---- One array and scalars ----

void KERN_Neg(ObjectHeader*, uint32_t n, const float* src, float* dst)
{
    Run_Each(
        n, dst, [](auto x) { return F_Neg(x); }, src);
}

void KERN_Add_Scalar(ObjectHeader*, uint32_t n, const float* src, float* dst, float s)
{
    Run_Each(
        n, dst, [s](auto x) { return F_Add(x, F_Set<decltype(x)>(s)); }, src);
}

void KERN_Scale(ObjectHeader*, uint32_t n, const float* src, float* dst, float s)
{
    Run_Each(
        n, dst, [s](auto x) { return F_Mul(x, F_Set<decltype(x)>(s)); }, src);
}

void KERN_Scale_InPlace(ObjectHeader* object, uint32_t n, float* x, float s)
{
    KERN_Scale(object, n, x, x, s);
}

void KERN_Max_Scalar(ObjectHeader*, uint32_t n, const float* src, float* dst, float s)
{
    Run_Each(
        n, dst, [s](auto x) { return F_Max(x, F_Set<decltype(x)>(s)); }, src);
}

void KERN_Min_Scalar(ObjectHeader*, uint32_t n, const float* src, float* dst, float s)
{
    Run_Each(
        n, dst, [s](auto x) { return F_Min(x, F_Set<decltype(x)>(s)); }, src);
}

// The two kernels in one pass; no element sees another, so the bits are those of two passes.
void KERN_Clamp(ObjectHeader*, uint32_t n, const float* src, float* dst, float limit,
                uint64_t* flag)
{
    const auto op = [limit](auto x) {
        using F = decltype(x);
        return F_Min(F_Max(x, F_Set<F>(F_Neg(limit))), F_Set<F>(limit));
    };
    Run_Each(n, dst, op, src);
    if (flag != nullptr) {
        *flag = 0;
    }
}

// ---- Accumulating ----

void KERN_MulAcc(ObjectHeader*, uint32_t n, const float* a, const float* b, float* acc)
{
    const auto op = [](auto x, auto y, auto sum) { return F_MulAdd(x, y, sum); };
    Run_Each(n, acc, op, a, b, acc);
}

void KERN_Scale_Acc(ObjectHeader*, uint32_t n, const float* src, float* dst, float s)
{
    const auto op = [s](auto x, auto sum) { return F_MulAdd(x, F_Set<decltype(x)>(s), sum); };
    Run_Each(n, dst, op, src, dst);
}

void KERN_Mix(ObjectHeader*, uint32_t n, const float* src, float* dst, float a, float b)
{
    const auto op = [a, b](auto x, auto y) {
        using F = decltype(x);
        return F_MulAdd(y, F_Set<F>(b), F_Mul(x, F_Set<F>(a)));
    };
    Run_Each(n, dst, op, src, dst);
}

// ---- Estimates and roots ----

void KERN_Recip_Estimate(ObjectHeader*, uint32_t n, const float* src, float* dst)
{
    Run_Each(
        n, dst, [](auto x) { return F_Recip_Estimate(x); }, src);
}

void KERN_Sqrt(uint32_t n, const float* src, float* dst)
{
    Run_Each(
        n, dst, [](auto x) { return F_Sqrt(x); }, src);
}

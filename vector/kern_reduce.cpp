// The reductions behind vector/kern.h. The order of a sum is part of its result, so sums keep four
// partial sums in one register, on every processor. Extrema do not depend on the order and take all
// the width there is.
#include "vector/kern.h"

#include "vector/kern_loops.h"

static inline float Fold_Sum(F4 partial)
{
    float p[4];
    F4_Store(p, partial);
    return (p[0] + p[1]) + (p[2] + p[3]);
}

// add(sum, sources[i]...) over all i, in the order of vector/kern.h. Each step waits for the one
// before it; the loop has to keep nothing but that addition busy.
template <class Op, class... Sources>
static inline float Run_Sum(uint64_t n, Op add, const Sources*... sources)
{
    float sum = 0.0f;
    uint64_t i = 0;
    if (n >= 4 && All_Aligned(sources...)) {
        F4 partial = F4_Set(0.0f);
        for (; i + 16 <= n; i += 16) {
            partial = add(partial, F4_Load(sources + i)...);
            partial = add(partial, F4_Load(sources + i + 4)...);
            partial = add(partial, F4_Load(sources + i + 8)...);
            partial = add(partial, F4_Load(sources + i + 12)...);
        }
        for (; i + 4 <= n; i += 4) {
            partial = add(partial, F4_Load(sources + i)...);
        }
        sum = Fold_Sum(partial);
    }
    for (; i < n; i++) {
        sum = add(sum, sources[i]...);
    }
    return sum;
}

void KERN_Sum(ObjectHeader*, uint32_t n, const float* src, float* out)
{
    *out = Run_Sum(
        n, [](auto sum, auto x) { return F_Add(sum, x); }, src);
}

void KERN_SumSquares(ObjectHeader*, uint32_t n, const float* src, float* out)
{
    *out = Run_Sum(
        n, [](auto sum, auto x) { return F_MulAdd(x, x, sum); }, src);
}

void KERN_SumSquares_Range(ObjectHeader* object, uint32_t n, const float* src, uint32_t start,
                           float* out)
{
    KERN_SumSquares(object, n, src + start, out);
}

void KERN_Dot(ObjectHeader*, uint32_t n, const float* a, const float* b, float* out)
{
    *out = Run_Sum(
        n, [](auto sum, auto x, auto y) { return F_MulAdd(x, y, sum); }, a, b);
}

// pick keeps one of two values. The first element stands in all lanes at the start, as a value that
// is there may be met any number of times.
template <class Op> static inline float Run_Extreme(uint64_t n, const float* src, Op pick)
{
    constexpr unsigned Registers = 4;
    uint64_t i = 0;
    F8 best[Registers];
    for (F8& lanes : best) {
        lanes = F_Set<F8>(src[0]);
    }
    for (; i + Registers * 8 <= n; i += Registers * 8) {
        for (unsigned k = 0; k < Registers; k++) {
            best[k] = pick(best[k], F_Load<F8>(src + i + k * 8));
        }
    }
    for (; i + 8 <= n; i += 8) {
        best[0] = pick(best[0], F_Load<F8>(src + i));
    }
    const F8 eight = pick(pick(best[0], best[1]), pick(best[2], best[3]));
    float four[4];
    F4_Store(four, pick(F8_Low(eight), F8_High(eight)));
    float value = pick(pick(four[0], four[1]), pick(four[2], four[3]));
    for (; i < n; i++) {
        value = pick(value, src[i]);
    }
    return value;
}

void KERN_Min_Value(ObjectHeader*, uint32_t n, const float* src, float* out)
{
    *out = Run_Extreme(n, src, [](auto x, auto y) { return F_Min(x, y); });
}

void KERN_Max_Value(ObjectHeader*, uint32_t n, const float* src, float* out)
{
    *out = Run_Extreme(n, src, [](auto x, auto y) { return F_Max(x, y); });
}

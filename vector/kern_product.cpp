// The spectrum kernels behind vector/kern.h that multiply or divide bin by bin. The lengths are
// laid out so that behind the first four slots, with dc, ny and bin 1, only whole groups follow.
#include "vector/kern.h"

#include "vector/simd_pairs.h"

// ---- Complex products ----

// Pairs of a times pairs of b, on F4 or F8.
template <bool Conjugate, class F> static inline F Pair_Mul(F a, F b)
{
    const F first = F_Mul(F_Dup_Even(a), b);
    const F imaginary = F_Dup_Odd(a);
    return F_MulAdd(Conjugate ? F_Neg_Odd(imaginary) : F_Neg_Even(imaginary), F_Swap(b), first);
}

// op over slots first to n - 1, whole groups of four, the wide ones last.
template <class Op> static inline void Run_Groups(uint32_t first, uint32_t n, Op op)
{
    uint32_t i = first;
    if (((n - first) & 4) != 0) {
        op(F4(), i);
        i += 4;
    }
    for (; i < n; i += 8) {
        op(F8(), i);
    }
}

// The first four slots hold dc and ny, which are multiplied as they stand, and bin 1.
template <bool Conjugate>
static inline void Run_Mul(uint32_t n, const float* a, const float* b, float* dst)
{
    const F4 first_a = F4_Load(a);
    const F4 first_b = F4_Load(b);
    F4_Store(dst, F4_Halves(F_Mul(first_a, first_b), Pair_Mul<Conjugate>(first_a, first_b)));
    Run_Groups(4, n, [=](auto width, uint32_t i) {
        using F = decltype(width);
        F_Store(dst + i, Pair_Mul<Conjugate>(F_Load<F>(a + i), F_Load<F>(b + i)));
    });
}

void KERN_FV_Mul(uint32_t n, const float* a, const float* b, float* dst)
{
    Run_Mul<false>(n, a, b, dst);
}

void KERN_FV_Mul_Conj(uint32_t n, const float* a, const float* b, float* dst)
{
    Run_Mul<true>(n, a, b, dst);
}

void KERN_FV_Mul_HFV(uint32_t n, const float* a, const float* h, float* dst)
{
    dst[0] = F_Mul(a[0], h[0]);
    dst[1] = F_Mul(a[1], h[n / 2]);
    dst[2] = F_Mul(a[2], h[1]);
    dst[3] = F_Mul(a[3], h[1]);
    Run_Groups(4, n, [=](auto width, uint32_t i) {
        using F = decltype(width);
        F_Store(dst + i, F_Mul(F_Load<F>(a + i), F_Load_Twice<F>(h + i / 2)));
    });
}

template <bool Conjugate> static inline void Run_MulAcc(uint32_t first, uint32_t n, const float* a,
                                                        const float* b, float* acc)
{
    Run_Groups(first, n, [=](auto width, uint32_t i) {
        using F = decltype(width);
        const F product = Pair_Mul<Conjugate>(F_Load<F>(a + i), F_Load<F>(b + i));
        F_Store(acc + i, F_Add(F_Load<F>(acc + i), product));
    });
}

template <bool Conjugate>
static inline void Run_FV_MulAcc(uint32_t n, const float* a, const float* b, float* acc)
{
    const F4 first_a = F4_Load(a);
    const F4 first_b = F4_Load(b);
    const F4 sum = F4_Load(acc);
    const F4 outer = F_MulAdd(first_a, first_b, sum);
    const F4 bin = F_Add(sum, Pair_Mul<Conjugate>(first_a, first_b));
    F4_Store(acc, F4_Halves(outer, bin));
    Run_MulAcc<Conjugate>(4, n, a, b, acc);
}

void KERN_FV_MulAcc(uint32_t n, const float* a, const float* b, float* acc)
{
    Run_FV_MulAcc<false>(n, a, b, acc);
}

void KERN_FV_MulAcc_Conj(uint32_t n, const float* a, const float* b, float* acc)
{
    Run_FV_MulAcc<true>(n, a, b, acc);
}

void KERN_Complex_MulAcc(uint32_t n, const float* a, const float* b, float* acc)
{
    if (n == 2) {
        const float re = F_NegMulAdd(a[1], b[1], F_Mul(a[0], b[0]));
        const float im = F_MulAdd(a[1], b[0], F_Mul(a[0], b[1]));
        acc[0] = F_Add(acc[0], re);
        acc[1] = F_Add(acc[1], im);
        return;
    }
    Run_MulAcc<false>(0, n, a, b, acc);
}

void KERN_Add_Block(uint32_t n, const float* a, const float* b, float* dst)
{
    Run_Groups(0, n, [=](auto width, uint32_t i) {
        using F = decltype(width);
        F_Store(dst + i, F_Add(F_Load<F>(a + i), F_Load<F>(b + i)));
    });
}

// ---- Divisions by an HFV ----

static inline float Scale_Div(float a, float s, float h)
{
    return F_Div(F_Mul(a, s), h);
}

void KERN_FV_Scale_Div_HFV(uint32_t n, const float* a, const float* h, float* dst, const float* s)
{
    const float scale = *s;
    dst[0] = Scale_Div(a[0], scale, h[0]);
    dst[1] = Scale_Div(a[1], scale, h[n / 2]);
    dst[2] = Scale_Div(a[2], scale, h[1]);
    dst[3] = Scale_Div(a[3], scale, h[1]);
    Run_Groups(4, n, [=](auto width, uint32_t i) {
        using F = decltype(width);
        const F factor = F_Div(F_Set<F>(scale), F_Load_Twice<F>(h + i / 2));
        F_Store(dst + i, F_Mul(F_Load<F>(a + i), factor));
    });
}

void KERN_FV_Conj_Scale_Div_HFV(uint32_t n, const float* a, const float* h, float* dst,
                                const float* s)
{
    const float scale = *s;
    dst[0] = Scale_Div(a[0], scale, h[0]);
    dst[1] = Scale_Div(a[1], scale, h[n / 2]);
    dst[2] = Scale_Div(a[2], scale, h[1]);
    dst[3] = Scale_Div(a[3], F_Neg(scale), h[1]);
    Run_Groups(4, n, [=](auto width, uint32_t i) {
        using F = decltype(width);
        const F product = F_Mul(F_Load<F>(a + i), F_Neg_Odd(F_Set<F>(scale)));
        F_Store(dst + i, F_Div(product, F_Load_Twice<F>(h + i / 2)));
    });
}

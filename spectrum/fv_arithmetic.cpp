// Complex arithmetic on packed spectra behind spectrum/fv.h.
#include "spectrum/fv.h"

#include "spectrum/fv_loops.h"
#include "vector/kern.h"

#include <algorithm>
#include <cmath>

// ---- All slots alike ----

void FV_Sub(ObjectHeader* object, uint32_t N, const float* a, const float* b, float* dst)
{
    KERN_Sub(object, N, a, b, dst);
}

void FV_Sub_InPlace(ObjectHeader* object, uint32_t N, const float* a, float* b)
{
    KERN_Sub_InPlace(object, N, a, b);
}

void FV_Scale(ObjectHeader* object, uint32_t N, float* x, float s)
{
    KERN_Scale_InPlace(object, N, x, s);
}

void FV_Neg(ObjectHeader*, uint32_t N, const float* src, float* dst)
{
    for (uint64_t slot = 0; slot < N; slot++) {
        dst[slot] = F_Neg(src[slot]);
    }
}

// ---- Products ----

template <bool Conjugate> static inline void Run_Mul(uint32_t N, const float* a, float* b)
{
    const float dc = F_Mul(a[0], b[0]);
    const float ny = F_Mul(a[1], b[1]);
    Run_Fours(
        N,
        [=](uint64_t k) {
            const W4<!Conjugate> factors = W4_Of<!Conjugate>(C4_Load(a + 2 * k));
            C4_Store(b + 2 * k, C4_Turn(C4_Load(b + 2 * k), factors));
        },
        [=](uint64_t k) {
            const float re = a[2 * k];
            const float im = Conjugate ? F_Neg(a[2 * k + 1]) : a[2 * k + 1];
            const Parts<float> x = F_Load_Parts<float>(b + 2 * k);
            b[2 * k] = F_NegMulAdd(im, x.im, F_Mul(re, x.re));
            b[2 * k + 1] = F_MulAdd(im, x.re, F_Mul(re, x.im));
        });
    b[0] = dc;
    b[1] = ny;
}

void FV_Mul(ObjectHeader*, uint32_t N, const float* a, float* b)
{
    Run_Mul<false>(N, a, b);
}

void FV_Mul_Conj(ObjectHeader*, uint32_t N, const float* a, float* b)
{
    Run_Mul<true>(N, a, b);
}

void FV_Mul_HFV(ObjectHeader*, uint32_t N, const float* h, float* b)
{
    const float dc = F_Mul(b[0], h[0]);
    const float ny = F_Mul(b[1], h[N / 2]);
    Run_Bins(N, [=](auto width, uint64_t k) {
        using F = decltype(width);
        const F factor = F_Load_Reals<F>(h + k);
        const Parts<F> x = F_Load_Parts<F>(b + 2 * k);
        F_Store_Parts(b + 2 * k, Parts<F>{F_Mul(x.re, factor), F_Mul(x.im, factor)});
    });
    b[0] = dc;
    b[1] = ny;
}

void FV_MulAcc_HFV(ObjectHeader*, uint32_t N, const float* a, const float* h, float* acc)
{
    const float dc = F_MulAdd(a[0], h[0], acc[0]);
    const float ny = F_MulAdd(a[1], h[N / 2], acc[1]);
    Run_Bins(N, [=](auto width, uint64_t k) {
        using F = decltype(width);
        const F factor = F_Load_Reals<F>(h + k);
        const Parts<F> x = F_Load_Parts<F>(a + 2 * k);
        const Parts<F> sum = F_Load_Parts<F>(acc + 2 * k);
        F_Store_Parts(acc + 2 * k,
                      Parts<F>{F_MulAdd(x.re, factor, sum.re), F_MulAdd(x.im, factor, sum.im)});
    });
    acc[0] = dc;
    acc[1] = ny;
}

void FV_MulAcc_Range(uint32_t N, const float* a, const float* b, uint32_t k0, uint32_t k1,
                     float* acc)
{
    if (k0 == 0) {
        acc[0] = F_MulAdd(a[0], b[0], acc[0]);
    }
    if (k1 == N / 2 + 1) {
        acc[1] = F_MulAdd(a[1], b[1], acc[1]);
    }
    // The kernel takes powers of two: the set bits of the length, from the lowest up.
    uint64_t slot = std::max(uint64_t{2} * k0, uint64_t{2});
    const uint64_t end = std::min(uint64_t{2} * k1, uint64_t{N});
    uint32_t left = end > slot ? static_cast<uint32_t>(end - slot) : 0;
    while (left != 0) {
        const uint32_t block = left & (~left + 1);
        KERN_Complex_MulAcc(block, a + slot, b + slot, acc + slot);
        slot += block;
        left -= block;
    }
}

// ---- Quotients ----

void FV_Div(ObjectHeader*, uint32_t N, const float* a, const float* b, float* dst)
{
    const float dc = F_Div(a[0], b[0]);
    const float ny = F_Div(a[1], b[1]);
    Run_Bins(N, [=](auto width, uint64_t k) {
        using F = decltype(width);
        const Parts<F> x = F_Load_Parts<F>(a + 2 * k);
        const Parts<F> y = F_Load_Parts<F>(b + 2 * k);
        const F t = Recip(Power(y));
        const F im = F_NegMulAdd(x.re, y.im, F_Mul(x.im, y.re));
        F_Store_Parts(dst + 2 * k, Parts<F>{F_Mul(Cross(x, y), t), F_Mul(im, t)});
    });
    dst[0] = dc;
    dst[1] = ny;
}

void FV_Div_HFV(ObjectHeader*, uint32_t N, const float* a, const float* h, float* dst)
{
    const float dc = F_Div(a[0], h[0]);
    const float ny = F_Div(a[1], h[N / 2]);
    Run_Bins(N, [=](auto width, uint64_t k) {
        using F = decltype(width);
        const F t = Recip(F_Load_Reals<F>(h + k));
        const Parts<F> x = F_Load_Parts<F>(a + 2 * k);
        F_Store_Parts(dst + 2 * k, Parts<F>{F_Mul(x.re, t), F_Mul(x.im, t)});
    });
    dst[0] = dc;
    dst[1] = ny;
}

void FV_Div_HFV_Floor(ObjectHeader*, uint32_t N, const float* a, const float* h, const float* floor,
                      float* dst)
{
    dst[0] = F_Div(a[0], F_Max_Number(floor[0], h[0]));
    dst[1] = F_Div(a[1], F_Max_Number(floor[N / 2], h[N / 2]));
    for (uint64_t k = 1; k < N / 2; k++) {
        const float t = Recip(F_Max_Number(floor[k], h[k]));
        dst[2 * k] = F_Mul(a[2 * k], t);
        dst[2 * k + 1] = F_Mul(a[2 * k + 1], t);
    }
}

void FV_Recip(ObjectHeader*, uint32_t N, const float* a, float* dst)
{
    const float dc = Recip(a[0]);
    const float ny = Recip(a[1]);
    Run_Bins(N, [=](auto width, uint64_t k) {
        using F = decltype(width);
        const Parts<F> x = F_Load_Parts<F>(a + 2 * k);
        const F t = Recip(Power(x));
        F_Store_Parts(dst + 2 * k, Parts<F>{F_Mul(x.re, t), F_Mul(F_Neg(x.im), t)});
    });
    dst[0] = dc;
    dst[1] = ny;
}

// ---- Angles ----

void FV_Exp(ObjectHeader*, uint32_t N, const float* a, float* dst)
{
    dst[0] = expf(a[0]);
    dst[1] = expf(a[1]);
    for (uint64_t slot = 2; slot < N; slot += 2) {
        const float size = expf(a[slot]);
        float sine;
        float cosine;
        sincosf(a[slot + 1], &sine, &cosine);
        dst[slot] = F_Mul(size, cosine);
        dst[slot + 1] = F_Mul(size, sine);
    }
}

void FV_Conj(ObjectHeader*, uint32_t N, float* x)
{
    for (uint64_t slot = 3; slot < N; slot += 2) {
        x[slot] = F_Neg(x[slot]);
    }
}

void FV_Rotate(ObjectHeader*, uint32_t N, float* x, float c, float s)
{
    const float dc = F_Mul(x[0], c);
    const float ny = F_Mul(x[1], c);
    Run_Bins(N, [=](auto width, uint64_t k) {
        using F = decltype(width);
        const F cosine = F_Set<F>(c);
        const F sine = F_Set<F>(s);
        const Parts<F> old = F_Load_Parts<F>(x + 2 * k);
        F_Store_Parts(x + 2 * k, Parts<F>{F_NegMulAdd(sine, old.im, F_Mul(cosine, old.re)),
                                          F_MulAdd(sine, old.re, F_Mul(cosine, old.im))});
    });
    x[0] = dc;
    x[1] = ny;
}

void FV_Delay(ObjectHeader*, uint32_t N, const float* src, float* dst, float d)
{
    constexpr double Pi = 3.141592653589793;
    const double length = static_cast<double>(static_cast<float>(N));
    const float step = static_cast<float>(static_cast<double>(d + d) * Pi / length);
    const float ny = static_cast<float>(cos(static_cast<double>(d) * Pi));
    dst[0] = src == nullptr ? 1.0f : src[0];
    dst[1] = src == nullptr ? ny : F_Mul(src[1], ny);
    for (uint64_t k = 1; k < N / 2; k++) {
        float sine;
        float cosine;
        sincosf(static_cast<float>(k) * step, &sine, &cosine);
        if (src == nullptr) {
            dst[2 * k] = cosine;
            dst[2 * k + 1] = -sine;
        } else {
            const Parts<float> x = F_Load_Parts<float>(src + 2 * k);
            dst[2 * k] = F_MulAdd(sine, x.im, F_Mul(cosine, x.re));
            dst[2 * k + 1] = F_NegMulAdd(sine, x.re, F_Mul(cosine, x.im));
        }
    }
}

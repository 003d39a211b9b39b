// Magnitudes, powers and energies of packed spectra behind spectrum/fv.h.
#include "spectrum/fv.h"

#include "spectrum/fv_loops.h"

#include <algorithm>

// ---- From FV to HFV ----

// dst[k] = level of bin k, upward, so that dst may be src.
template <class Level>
static inline void Run_Levels(uint32_t N, const float* src, float* dst, Level level)
{
    const float dc = F_Abs(src[0]);
    const float ny = F_Abs(src[1]);
    Run_Bins(N, [=](auto width, uint64_t k) {
        using F = decltype(width);
        F_Store_Reals(dst + k, level(F_Load_Parts<F>(src + 2 * k)));
    });
    dst[0] = dc;
    dst[N / 2] = ny;
}

void FV_Abs(ObjectHeader*, uint32_t N, const float* src, float* dst)
{
    Run_Levels(N, src, dst, [](const auto& x) { return F_Sqrt(Power(x)); });
}

void FV_Abs_L1(ObjectHeader*, uint32_t N, const float* src, float* dst)
{
    Run_Levels(N, src, dst, [](const auto& x) { return F_Add(F_Abs(x.re), F_Abs(x.im)); });
}

void FV_Abs_Fast(ObjectHeader*, uint32_t N, const float* src, float* dst)
{
    Run_Levels(N, src, dst, [](const auto& x) {
        const auto re = F_Abs(x.re);
        const auto im = F_Abs(x.im);
        using F = std::remove_const_t<decltype(re)>;
        return F_MulAdd(F_Set<F>(0.375f), F_Min(re, im), F_Mul(F_Set<F>(0.96875f), F_Max(re, im)));
    });
}

void FV_Cross_Real(ObjectHeader*, uint32_t N, const float* a, const float* b, float* dst)
{
    const float dc = F_Mul(a[0], b[0]);
    const float ny = F_Mul(a[1], b[1]);
    Run_Bins(N, [=](auto width, uint64_t k) {
        using F = decltype(width);
        F_Store_Reals(dst + k, Cross(F_Load_Parts<F>(a + 2 * k), F_Load_Parts<F>(b + 2 * k)));
    });
    dst[0] = dc;
    dst[N / 2] = ny;
}

void FV_CrossAcc_Real(ObjectHeader*, uint32_t N, const float* a, const float* b, float* acc)
{
    const float dc = F_MulAdd(a[0], b[0], acc[0]);
    const float ny = F_MulAdd(a[1], b[1], acc[N / 2]);
    Run_Bins(N, [=](auto width, uint64_t k) {
        using F = decltype(width);
        const F cross = Cross(F_Load_Parts<F>(a + 2 * k), F_Load_Parts<F>(b + 2 * k));
        F_Store_Reals(acc + k, F_Add(F_Load_Reals<F>(acc + k), cross));
    });
    acc[0] = dc;
    acc[N / 2] = ny;
}

// ---- To one number ----

void FV_Max_Power(ObjectHeader*, uint32_t N, const float* src, float* out)
{
    float largest = F_Max_Number(F_Mul(src[0], src[0]), F_Mul(src[1], src[1]));
    for (uint64_t k = 1; k < N / 2; k++) {
        largest = F_Max_Number(largest, Power(F_Load_Parts<float>(src + 2 * k)));
    }
    *out = largest;
}

void FV_Energy_Range(ObjectHeader*, uint32_t N, const float* src, uint32_t k0, uint32_t k1,
                     float* out)
{
    const uint64_t end = std::min(k1, N / 2);
    float sum = 0.0f;
    for (uint64_t k = std::max(k0, 1u); k < end; k++) {
        sum = F_Add(sum, Power(F_Load_Parts<float>(src + 2 * k)));
    }
    float energy = F_Add(sum, sum);
    if (k0 == 0) {
        energy = F_MulAdd(src[0], src[0], energy);
    }
    if (k1 == N / 2 + 1) {
        energy = F_MulAdd(src[1], src[1], energy);
    }
    *out = energy;
}

void FV_Inner(ObjectHeader*, uint32_t N, const float* a, const float* b, float* out)
{
    float sum = 0.0f;
    for (uint64_t k = 1; k < N / 2; k++) {
        sum = F_Add(sum, Cross(F_Load_Parts<float>(a + 2 * k), F_Load_Parts<float>(b + 2 * k)));
    }
    *out = F_MulAdd(a[1], b[1], F_MulAdd(a[0], b[0], F_Add(sum, sum)));
}

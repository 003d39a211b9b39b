// The operations on HFV behind spectrum/fv.h: members of the vector layer over N / 2 + 1 values,
// and the ways between lengths.
#include "spectrum/fv.h"

#include "vector/kern.h"
#include "vector/vec.h"

// ---- Vector members ----

void HFV_Zero(ObjectHeader* object, uint32_t N, float* dst)
{
    KERN_Zero(object, N / 2 + 1, dst);
}

void HFV_Fill(ObjectHeader* object, uint32_t N, float* dst, float value)
{
    KERN_Fill(object, N / 2 + 1, dst, value);
}

void HFV_Copy(ObjectHeader* object, uint32_t N, const float* src, float* dst)
{
    KERN_Copy(object, N / 2 + 1, src, dst);
}

void HFV_Add(ObjectHeader* object, uint32_t N, const float* a, const float* b, float* dst)
{
    KERN_Add(object, N / 2 + 1, a, b, dst);
}

void HFV_Add_InPlace(ObjectHeader* object, uint32_t N, const float* a, float* b)
{
    KERN_Add_InPlace(object, N / 2 + 1, a, b);
}

void HFV_Sub(ObjectHeader* object, uint32_t N, const float* a, const float* b, float* dst)
{
    KERN_Sub(object, N / 2 + 1, a, b, dst);
}

void HFV_Sub_InPlace(ObjectHeader* object, uint32_t N, const float* a, float* b)
{
    KERN_Sub_InPlace(object, N / 2 + 1, a, b);
}

void HFV_Mul(ObjectHeader* object, uint32_t N, const float* a, const float* b, float* dst)
{
    KERN_Mul(object, N / 2 + 1, a, b, dst);
}

void HFV_Mul_InPlace(ObjectHeader* object, uint32_t N, const float* a, float* b)
{
    KERN_Mul_InPlace(object, N / 2 + 1, a, b);
}

void HFV_MulAcc(ObjectHeader* object, uint32_t N, const float* a, const float* b, float* acc)
{
    KERN_MulAcc(object, N / 2 + 1, a, b, acc);
}

void HFV_Div(ObjectHeader* object, uint32_t N, const float* a, const float* b, float* dst)
{
    VEC_Div(object, N / 2 + 1, a, b, dst);
}

void HFV_Scale(ObjectHeader* object, uint32_t N, float* x, float s)
{
    KERN_Scale_InPlace(object, N / 2 + 1, x, s);
}

void HFV_Recip_Estimate(ObjectHeader* object, uint32_t N, const float* src, float* dst)
{
    KERN_Recip_Estimate(object, N / 2 + 1, src, dst);
}

void HFV_Square(ObjectHeader* object, uint32_t N, const float* src, float* dst)
{
    VEC_Square(object, N / 2 + 1, src, dst);
}

void HFV_Sqrt(ObjectHeader* object, uint32_t N, const float* src, float* dst)
{
    VEC_Sqrt(object, N / 2 + 1, src, dst);
}

void HFV_InvSqrt(ObjectHeader* object, uint32_t N, const float* src, float* dst)
{
    VEC_InvSqrt(object, N / 2 + 1, src, dst);
}

void HFV_PowerToDb(ObjectHeader* object, uint32_t N, float* x, float floor)
{
    VEC_PowerToDb(object, N / 2 + 1, x, x, floor);
}

void HFV_AmplitudeToDb(ObjectHeader* object, uint32_t N, float* x, float floor)
{
    VEC_AmplitudeToDb(object, N / 2 + 1, x, x, floor);
}

void HFV_Pow10(ObjectHeader* object, uint32_t N, float* x)
{
    VEC_Pow10(object, N / 2 + 1, x, x);
}

// ---- Between lengths ----

// Upward: band j reads from place j on at the earliest, so dst may be src.
void HFV_Reduce(ObjectHeader*, uint32_t N, uint32_t N2, const float* src, float* dst)
{
    const uint64_t ratio = N / N2;
    const uint64_t first = ratio - ratio / 2;
    const float weight = 1.0f / static_cast<float>(ratio + 1);
    dst[0] = src[0];
    for (uint64_t j = 1; j < N2 / 2; j++) {
        const float* band = src + first + (j - 1) * ratio;
        float sum = 0.0f;
        for (uint64_t i = 0; i <= ratio; i++) {
            sum += band[i];
        }
        dst[j] = sum * weight;
    }
    dst[N2 / 2] = src[N / 2];
}

// Downward: the values from place i on land at place i or above, so dst may be src.
void HFV_Expand(ObjectHeader*, uint32_t N, uint32_t N2, const float* src, float* dst)
{
    const uint64_t ratio = N2 / N;
    const float weight = 1.0f / static_cast<float>(ratio);
    float above = src[N / 2];
    dst[N2 / 2] = above;
    for (uint64_t i = N / 2; i-- > 0;) {
        const float here = src[i];
        const float slope = (above - here) * weight;
        float value = here;
        for (uint64_t j = i * ratio; j < (i + 1) * ratio; j++) {
            dst[j] = value;
            value += slope;
        }
        above = here;
    }
}

void HFV_Copy_Distinct(ObjectHeader* object, uint32_t N, uint32_t ignored, const float* src,
                       float* dst)
{
    VEC_Copy_Distinct(object, N, ignored, src, dst);
}

void HFV_Set_Dc(ObjectHeader*, uint32_t, uint32_t, uint32_t, const float* src, float* dst)
{
    dst[0] = src[0];
    dst[1] = 0.0f;
}

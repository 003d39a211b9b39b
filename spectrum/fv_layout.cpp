// The operations behind spectrum/fv.h that move values and compute none: conversions between the
// layouts, filling and access.
#include "spectrum/fv.h"

#include "vector/kern.h"

#include <algorithm>

// ---- Conversions ----

// ny is read first and written last, so that one array may be both.
void FV_From_Pairs(ObjectHeader* object, uint32_t N, const float* src, float* dst)
{
    const float ny = src[N];
    dst[0] = src[0];
    KERN_Copy(object, N - 2, src + 2, dst + 2);
    dst[1] = ny;
}

void FV_From_Pairs_D(ObjectHeader*, uint32_t N, const double* src, float* dst)
{
    dst[0] = static_cast<float>(src[0]);
    dst[1] = static_cast<float>(src[N]);
    for (uint64_t slot = 2; slot < N; slot++) {
        dst[slot] = static_cast<float>(src[slot]);
    }
}

void FV_To_Pairs(ObjectHeader* object, uint32_t N, const float* src, float* dst)
{
    const float ny = src[1];
    const uint64_t top = N;
    dst[0] = src[0];
    dst[1] = 0.0f;
    KERN_Copy(object, N - 2, src + 2, dst + 2);
    dst[top] = ny;
    dst[top + 1] = 0.0f;
}

void FV_To_Pairs_D(ObjectHeader*, uint32_t N, const float* src, double* dst)
{
    const uint64_t top = N;
    dst[0] = static_cast<double>(src[0]);
    dst[1] = 0.0;
    for (uint64_t slot = 2; slot < top; slot++) {
        dst[slot] = static_cast<double>(src[slot]);
    }
    dst[top] = static_cast<double>(src[1]);
    dst[top + 1] = 0.0;
}

// A bin's two slots lie at or above its place in src, and all bins above are done.
void FV_From_HFV(ObjectHeader*, uint32_t N, const float* src, float* dst)
{
    const float ny = src[N / 2];
    for (uint64_t k = N / 2 - 1; k > 0; k--) {
        dst[2 * k] = src[k];
        dst[2 * k + 1] = 0.0f;
    }
    dst[0] = src[0];
    dst[1] = ny;
}

void FV_Real_To_HFV(ObjectHeader*, uint32_t N, const float* src, float* dst)
{
    const float ny = src[1];
    dst[0] = src[0];
    for (uint64_t k = 1; k < N / 2; k++) {
        dst[k] = src[2 * k];
    }
    dst[N / 2] = ny;
}

// ---- Filling and access ----

void FV_Zero(ObjectHeader* object, uint32_t N, float* dst)
{
    KERN_Zero(object, N, dst);
}

void FV_Copy(ObjectHeader* object, uint32_t N, const float* src, float* dst)
{
    KERN_Copy(object, N, src, dst);
}

void FV_Fill(ObjectHeader*, uint32_t N, float* dst, float re, float im)
{
    dst[0] = re;
    dst[1] = re;
    for (uint64_t slot = 2; slot < N; slot += 2) {
        dst[slot] = re;
        dst[slot + 1] = im;
    }
}

void FV_Fill_Imag(ObjectHeader*, uint32_t N, float* dst, float value)
{
    for (uint64_t slot = 3; slot < N; slot += 2) {
        dst[slot] = value;
    }
}

void FV_Get_Bin(ObjectHeader*, uint32_t N, uint32_t k, const float* src, float* re, float* im)
{
    if (k == 0) {
        *re = src[0];
    } else if (k == N / 2) {
        *re = src[1];
    } else {
        *re = src[uint64_t{2} * k];
        *im = src[uint64_t{2} * k + 1];
    }
}

void FV_Set_Bin(ObjectHeader*, uint32_t N, uint32_t k, float* dst, float re, float im)
{
    if (k == 0) {
        dst[0] = re;
    } else if (k == N / 2) {
        dst[1] = re;
    } else {
        dst[uint64_t{2} * k] = re;
        dst[uint64_t{2} * k + 1] = im;
    }
}

void FV_Copy_Range(ObjectHeader* object, uint32_t N, const float* src, uint32_t k0, uint32_t k1,
                   uint32_t, uint32_t j0, uint32_t, float* dst)
{
    if (k0 == 0 || j0 == 0) {
        dst[0] = src[0];
    }
    if (k1 == N / 2 + 1) {
        dst[1] = src[1];
    }
    const uint64_t from = std::max(uint64_t{2} * k0, uint64_t{2});
    const uint64_t to = std::max(uint64_t{2} * j0, uint64_t{2});
    const uint64_t end = uint64_t{2} * std::min(N / 2, k1);
    if (end > from) {
        KERN_Copy(object, static_cast<uint32_t>(end - from), src + from, dst + to);
    }
}

// Copies, fills and element-wise operations behind vector/vec.h. Plain loops: the compiler runs
// them at full width, as no element depends on another.
#include "vector/vec.h"

#include "vector/kern.h"
#include "vector/simd_float.h"

#include <cstring>

// ---- Copying and conversion ----

template <class From, class To> static inline void Convert(uint64_t n, const From* src, To* dst)
{
    for (uint64_t i = 0; i < n; i++) {
        dst[i] = static_cast<To>(src[i]);
    }
}

// An empty copy may come with null pointers.
static inline void Copy_Bytes(uint64_t bytes, const void* src, void* dst)
{
    if (bytes != 0) {
        memcpy(dst, src, bytes);
    }
}

static inline void Zero_Bytes(uint64_t bytes, void* dst)
{
    if (bytes != 0) {
        memset(dst, 0, bytes);
    }
}

void VEC_Copy(ObjectHeader*, uint64_t n, const float* src, float* dst)
{
    Convert(n, src, dst);
}

void VEC_Convert_FF(ObjectHeader*, uint64_t n, const float* src, float* dst)
{
    Convert(n, src, dst);
}

void VEC_Convert_DF(ObjectHeader*, uint64_t n, const double* src, float* dst)
{
    Convert(n, src, dst);
}

void VEC_Convert_FD(ObjectHeader*, uint64_t n, const float* src, double* dst)
{
    Convert(n, src, dst);
}

void VEC_Convert_DD(ObjectHeader*, uint64_t n, const double* src, double* dst)
{
    Convert(n, src, dst);
}

void VEC_Copy_16(ObjectHeader*, uint64_t n, const void* src, void* dst)
{
    Copy_Bytes(n * 2, src, dst);
}

void VEC_Copy_32(ObjectHeader*, uint64_t n, const void* src, void* dst)
{
    Copy_Bytes(n * 4, src, dst);
}

void VEC_Copy_64(ObjectHeader*, uint64_t n, const void* src, void* dst)
{
    Copy_Bytes(n * 8, src, dst);
}

void VEC_Copy_Range(ObjectHeader*, uint64_t n, const float* src, uint64_t src_offset, float* dst,
                    uint64_t dst_offset)
{
    Copy_Bytes(n * sizeof(float), src + src_offset, dst + dst_offset);
}

void VEC_Move_Range(ObjectHeader*, uint64_t n, float* v, uint64_t from, uint64_t to)
{
    if (n != 0) {
        memmove(v + to, v + from, n * sizeof(float));
    }
}

void VEC_Copy_Distinct(ObjectHeader* object, uint64_t n, uint64_t, const float* src, float* dst)
{
    if (src != dst) {
        KERN_Copy(object, static_cast<uint32_t>(n), src, dst);
    }
}

// ---- Filling and element access ----

template <class Element> static inline void Fill(uint64_t n, Element value, void* dst)
{
    Element* elements = static_cast<Element*>(dst);
    for (uint64_t i = 0; i < n; i++) {
        elements[i] = value;
    }
}

void VEC_Fill_32(ObjectHeader*, uint64_t n, uint32_t value, void* dst)
{
    Fill(n, value, dst);
}

void VEC_Fill_64(ObjectHeader*, uint64_t n, uint64_t value, void* dst)
{
    Fill(n, value, dst);
}

void VEC_Fill_Range(ObjectHeader*, uint64_t n, float* v, uint64_t offset, float value)
{
    Fill(n, value, v + offset);
}

void VEC_Zero_32(ObjectHeader*, uint64_t n, void* dst)
{
    Zero_Bytes(n * 4, dst);
}

void VEC_Zero_64(ObjectHeader*, uint64_t n, void* dst)
{
    Zero_Bytes(n * 8, dst);
}

void VEC_Zero_Range(ObjectHeader*, uint64_t n, float* v, uint64_t offset)
{
    Zero_Bytes(n * sizeof(float), v + offset);
}

void VEC_Get(ObjectHeader*, uint64_t, uint64_t index, const float* v, float* out)
{
    *out = v[index];
}

void VEC_Set(ObjectHeader*, uint64_t, uint64_t index, float* v, float value)
{
    v[index] = value;
}

// ---- Element-wise arithmetic ----

void VEC_Scale_Add(ObjectHeader*, uint64_t n, const float* src, float* dst, float a)
{
    for (uint64_t i = 0; i < n; i++) {
        dst[i] = F_MulAdd(dst[i], a, src[i]);
    }
}

void VEC_Smooth_Asym(ObjectHeader*, uint64_t n, const float* x, float* y, float a, float b)
{
    for (uint64_t i = 0; i < n; i++) {
        const float difference = x[i] - y[i];
        const float coefficient = x[i] < y[i] ? a : b;
        y[i] = F_MulAdd(coefficient, difference, y[i]);
    }
}

void VEC_Smooth_Limited(ObjectHeader*, uint64_t n, const float* x, float* y, float a, float b)
{
    for (uint64_t i = 0; i < n; i++) {
        const float limit = F_MulAdd(y[i], b, 1.0f);
        y[i] = F_MulAdd(F_Min_Number(x[i] - y[i], limit), a, y[i]);
    }
}

void VEC_Sub_D(ObjectHeader*, uint64_t n, const double* p, const double* q, double* out)
{
    for (uint64_t i = 0; i < n; i++) {
        out[i] = p[i] - q[i];
    }
}

void VEC_Div(ObjectHeader*, uint64_t n, const float* p, const float* q, float* out)
{
    for (uint64_t i = 0; i < n; i++) {
        out[i] = F_Div(p[i], q[i]);
    }
}

void VEC_Mul_Reversed(ObjectHeader*, uint64_t n, const float* p, const float* q, float* out)
{
    for (uint64_t i = 0; i < n; i++) {
        out[i] = F_Mul(p[n - 1 - i], q[i]);
    }
}

void VEC_Scale_D(ObjectHeader*, uint64_t n, double* v, double a)
{
    for (uint64_t i = 0; i < n; i++) {
        v[i] = v[i] * a;
    }
}

void VEC_Square(ObjectHeader*, uint64_t n, const float* src, float* dst)
{
    for (uint64_t i = 0; i < n; i++) {
        dst[i] = F_Mul(src[i], src[i]);
    }
}

void VEC_Sqrt(ObjectHeader*, uint64_t n, const float* src, float* dst)
{
    for (uint64_t i = 0; i < n; i++) {
        dst[i] = F_Sqrt(src[i]);
    }
}

void VEC_InvSqrt(ObjectHeader*, uint64_t n, const float* src, float* dst)
{
    for (uint64_t i = 0; i < n; i++) {
        dst[i] = F_Div(1.0f, F_Sqrt(src[i]));
    }
}

void VEC_Abs(ObjectHeader*, uint64_t n, const float* src, float* dst)
{
    for (uint64_t i = 0; i < n; i++) {
        dst[i] = F_Abs(src[i]);
    }
}

// ---- Level conversions ----

template <class Op> static inline void Each_Level(uint64_t n, const float* src, float* dst, Op op)
{
    for (uint64_t i = 0; i < n; i++) {
        dst[i] = op(src[i]);
    }
}

void VEC_PowerToDb(ObjectHeader*, uint64_t n, const float* src, float* dst, float floor)
{
    Each_Level(n, src, dst,
               [floor](float power) { return 10.0f * log10f(F_Max_Number(floor, power)); });
}

void VEC_AmplitudeToDb(ObjectHeader*, uint64_t n, const float* src, float* dst, float floor)
{
    Each_Level(n, src, dst,
               [floor](float amplitude) { return 20.0f * log10f(F_Max_Number(floor, amplitude)); });
}

void VEC_Pow10(ObjectHeader*, uint64_t n, const float* src, float* dst)
{
    constexpr double Log_Of_10 = 2.302585092994046;
    Each_Level(n, src, dst, [](float exponent) {
        return static_cast<float>(exp(static_cast<double>(exponent) * Log_Of_10));
    });
}

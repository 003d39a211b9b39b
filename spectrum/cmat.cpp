// The complex inversion behind spectrum/cmat.h.
#include "spectrum/cmat.h"

#include "vector/simd_pairs.h"
#include "vector/simd_points.h"

#include <cstring>

// ---- A factor times points: four, two or one ----

struct Factor {
    W4<true> four;
    F4 re, im; // for two, im with the signs of the fused products
    float one_re, one_im;
};

static inline Factor Make_Factor(float re, float im)
{
    const float pairs[8] = {re, im, re, im, re, im, re, im};
    return {W4_Of<true>(C4_Load(pairs)), F4_Set(re), F_Neg_Even(F4_Set(im)), re, im};
}

static inline F4 Two_Points(const Factor& f, F4 x)
{
    return F_MulAdd(f.im, F_Swap(x), F_Mul(f.re, x));
}

struct Point {
    float re, im;
};

static inline Point One_Point(const Factor& f, const float* x)
{
    return {F_NegMulAdd(f.one_im, x[1], F_Mul(f.one_re, x[0])),
            F_MulAdd(f.one_im, x[0], F_Mul(f.one_re, x[1]))};
}

// ---- Rows of n points ----

static inline void Scale_Row(int64_t n, const Factor& v, float* row)
{
    const float* const end = row + 2 * n;
    for (; row + 8 <= end; row += 8) {
        C4_Store(row, C4_Turn(C4_Load(row), v.four));
    }
    if ((n & 2) != 0) {
        F4_Store(row, Two_Points(v, F4_Load(row)));
        row += 4;
    }
    if ((n & 1) != 0) {
        const Point product = One_Point(v, row);
        row[0] = product.re;
        row[1] = product.im;
    }
}

static inline void Subtract_Row(int64_t n, const Factor& f, const float* pivot, float* row)
{
    const float* const end = row + 2 * n;
    for (; row + 8 <= end; row += 8, pivot += 8) {
        C4_Store(row, C4_Sub(C4_Load(row), C4_Turn(C4_Load(pivot), f.four)));
    }
    if ((n & 2) != 0) {
        F4_Store(row, F_Sub(F4_Load(row), Two_Points(f, F4_Load(pivot))));
        row += 4;
        pivot += 4;
    }
    if ((n & 1) != 0) {
        const Point product = One_Point(f, pivot);
        row[0] = F_Sub(row[0], product.re);
        row[1] = F_Sub(row[1], product.im);
    }
}

// ---- Elimination ----

void CMAT_Invert(int32_t n, float* A)
{
    const int64_t size = n;
    const int64_t stride = 4 * size;
    for (int64_t i = 0; i < size; i++) {
        float* right = A + i * stride + 2 * size;
        memset(right, 0, static_cast<uint64_t>(size) * 2 * sizeof(float));
        right[2 * i] = 1.0f;
    }
    for (int64_t k = 0; k < size; k++) {
        float* const pivot = A + k * stride + 2 * k;
        const float t = F_Div(1.0f, F_MulAdd(pivot[1], pivot[1], F_Mul(pivot[0], pivot[0])));
        Scale_Row(size, Make_Factor(F_Mul(pivot[0], t), F_Neg(F_Mul(pivot[1], t))), pivot + 2);
        for (int64_t i = 1; i < size; i++) {
            const int64_t r = k + i < size ? k + i : k + i - size;
            float* const row = A + r * stride + 2 * k;
            Subtract_Row(size, Make_Factor(row[0], row[1]), pivot + 2, row + 2);
        }
    }
}

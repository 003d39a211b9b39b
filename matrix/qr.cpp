// Householder QR and least squares behind matrix/mat.h. A reflection takes one sum down each
// column; columns lie in the lanes. For q, whose rows are reflected, the transpose is kept until
// the end.
#include "matrix/direct.h"
#include "matrix/mat.h"

#include "frame/size.h"
#include "vector/simd_float.h"

// ---- One reflection ----

struct Reflection {
    uint64_t k, rows; // acts on rows k to rows - 1
    const float* v;   // v[k] is 1.0
    float beta;
};

// r = r - v * (v' * (beta * r)) in W registers of columns from j on.
template <class F, unsigned W>
static inline void Reflect_R(const Reflection& by, float* const* r, uint64_t j)
{
    const F beta = F_Set<F>(by.beta);
    F sum[W];
    for (unsigned w = 0; w < W; w++) {
        sum[w] = F_Set<F>(0.0f);
    }
    for (uint64_t i = by.k; i < by.rows; i++) {
        const F v = F_Set<F>(by.v[i]);
        for (unsigned w = 0; w < W; w++) {
            const F value = F_Load<F>(r[i] + j + w * F_Lanes<F>);
            sum[w] = F_MulAdd(v, F_Mul(beta, value), sum[w]);
        }
    }
    for (uint64_t i = by.k; i < by.rows; i++) {
        const F v = F_Set<F>(by.v[i]);
        for (unsigned w = 0; w < W; w++) {
            float* at = r[i] + j + w * F_Lanes<F>;
            F_Store(at, F_NegMulAdd(v, sum[w], F_Load<F>(at)));
        }
    }
}

// t = t - v * (beta * (v' * t)), t the transpose of q.
template <class F, unsigned W>
static inline void Reflect_Q(const Reflection& by, float* const* t, uint64_t j)
{
    F sum[W];
    for (unsigned w = 0; w < W; w++) {
        sum[w] = F_Set<F>(0.0f);
    }
    for (uint64_t i = by.k; i < by.rows; i++) {
        const F v = F_Set<F>(by.v[i]);
        for (unsigned w = 0; w < W; w++) {
            sum[w] = F_MulAdd(F_Load<F>(t[i] + j + w * F_Lanes<F>), v, sum[w]);
        }
    }
    for (unsigned w = 0; w < W; w++) {
        sum[w] = F_Mul(sum[w], F_Set<F>(by.beta));
    }
    for (uint64_t i = by.k; i < by.rows; i++) {
        const F v = F_Set<F>(by.v[i]);
        for (unsigned w = 0; w < W; w++) {
            float* at = t[i] + j + w * F_Lanes<F>;
            F_Store(at, F_NegMulAdd(sum[w], v, F_Load<F>(at)));
        }
    }
}

template <bool Of_Q, class F, unsigned W>
static inline void Reflect(const Reflection& by, float* const* m, uint64_t j)
{
    if constexpr (Of_Q) {
        Reflect_Q<F, W>(by, m, j);
    } else {
        Reflect_R<F, W>(by, m, j);
    }
}

// All columns. A sum waits for itself at every row, so several registers go side by side.
template <bool Of_Q>
static inline void Reflect_All(const Reflection& by, float* const* m, uint64_t columns)
{
    uint64_t j = 0;
    for (; j + 64 <= columns; j += 64) {
        Reflect<Of_Q, F8, 8>(by, m, j);
    }
    if (j + 32 <= columns) {
        Reflect<Of_Q, F8, 4>(by, m, j);
        j += 32;
    }
    if (j + 16 <= columns) {
        Reflect<Of_Q, F8, 2>(by, m, j);
        j += 16;
    }
    if (j + 8 <= columns) {
        Reflect<Of_Q, F8, 1>(by, m, j);
        j += 8;
    }
    if (j + 4 <= columns) {
        Reflect<Of_Q, F4, 1>(by, m, j);
        j += 4;
    }
    for (; j < columns; j++) {
        Reflect<Of_Q, float, 1>(by, m, j);
    }
}

// The reflection that turns column k of r from row k on into one element; false if there is nothing
// to turn.
static inline bool Make_Reflection(uint64_t k, uint64_t rows, float* const* r, float* v,
                                   Reflection* out)
{
    float square = 0.0f;
    for (uint64_t i = k; i < rows; i++) {
        square = F_MulAdd(r[i][k], r[i][k], square);
    }
    const float norm = F_Sqrt(square);
    if (norm == 0.0f) {
        return false;
    }
    const float alpha = r[k][k];
    float u = norm;
    float w = norm;
    if (alpha > 0.0f) {
        u = F_Add(alpha, norm);
        w = u;
    } else if (alpha < 0.0f) {
        u = F_Sub(alpha, norm);
        w = F_Sub(norm, alpha);
    }
    const float reciprocal = F_Div(1.0f, u);
    v[k] = 1.0f;
    for (uint64_t i = k + 1; i < rows; i++) {
        v[i] = F_Mul(r[i][k], reciprocal);
    }
    *out = {k, rows, v, F_Div(w, norm)};
    return true;
}

// ---- The decomposition ----

static inline void Turn_Round(uint64_t n, float** q)
{
    for (uint64_t i = 0; i < n; i++) {
        for (uint64_t j = 0; j < i; j++) {
            const float upper = q[j][i];
            q[j][i] = q[i][j];
            q[i][j] = upper;
        }
    }
}

void Direct_QR(uint64_t rows, uint64_t cols, const float* const* a, float** q, float** r, float* v)
{
    MAT_Copy(nullptr, rows, cols, a, r);
    MAT_Identity(nullptr, rows, q);
    const uint64_t reflections = rows < cols ? rows : cols;
    for (uint64_t k = 0; k < reflections; k++) {
        Reflection by;
        if (Make_Reflection(k, rows, r, v, &by)) {
            Reflect_All<false>(by, r, cols);
            Reflect_All<true>(by, q, rows);
        }
    }
    Turn_Round(rows, q);
}

void MAT_QR(ObjectHeader* object, uint64_t rows, uint64_t cols, const float* const* a, float** q,
            float** r)
{
    float* v = static_cast<float*>(OBJ_Malloc_T(object, Size_Product(rows, sizeof(float))));
    Direct_QR(rows, cols, a, q, r, v);
    OBJ_Free_T(object, v);
}

// ---- Least squares ----

LeastSquaresScratch LeastSquares_Lay_Out(Scratch* scratch, uint64_t rows, uint64_t cols)
{
    LeastSquaresScratch out;
    out.q = Scratch_Matrix(scratch, rows, rows);
    out.r = Scratch_Matrix(scratch, rows, cols);
    out.c = Scratch_Column(scratch, rows);
    out.v = Scratch_Floats(scratch, rows);
    return out;
}

void Direct_LeastSquares(uint64_t rows, uint64_t cols, const float* const* a, const float* const* b,
                         float** x, const LeastSquaresScratch& scratch)
{
    Direct_QR(rows, cols, a, scratch.q, scratch.r, scratch.v);
    MAT_TransMul(nullptr, rows, rows, 1, scratch.q, b, scratch.c.m);
    for (uint64_t i = cols; i-- > 0;) {
        const float* row = scratch.r[i];
        if (row[i] == 0.0f) {
            x[i][0] = 0.0f;
            continue;
        }
        float sum = 0.0f;
        for (uint64_t j = cols; j-- > i + 1;) {
            sum = F_MulAdd(x[j][0], row[j], sum);
        }
        x[i][0] = F_Div(F_Sub(scratch.c.v[i], sum), row[i]);
    }
}

void MAT_LeastSquares(ObjectHeader* object, uint64_t rows, uint64_t cols, const float* const* a,
                      const float* const* b, float** x)
{
    Scratch measured = {};
    LeastSquares_Lay_Out(&measured, rows, cols);
    Scratch scratch = Scratch_Allocate(object, measured);
    Direct_LeastSquares(rows, cols, a, b, x, LeastSquares_Lay_Out(&scratch, rows, cols));
    OBJ_Free_T(object, scratch.block);
}

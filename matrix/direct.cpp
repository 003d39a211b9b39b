// Elimination without pivoting behind matrix/mat.h. Whole rows lie in the lanes; every element sees
// its own operations in the order of the textbook loops.
#include "matrix/mat.h"

#include "vector/simd_float.h"

// op(width, j) over columns from to end - 1, in the widest lanes that fit.
template <class Op> static inline void Each_Group(uint64_t from, uint64_t end, Op op)
{
    uint64_t j = from;
    for (; j + 8 <= end; j += 8) {
        op(F8(), j);
    }
    if (j + 4 <= end) {
        op(F4(), j);
        j += 4;
    }
    for (; j < end; j++) {
        op(float(), j);
    }
}

// ---- Inverse ----

// S pivots, k to k + S - 1, in one go over both matrices. Until the end of the go the pivot columns
// of a keep what each row is multiplied by: a[i][k + s] is row i's factor at pivot s, with the
// reciprocal of the pivot on the diagonal.
template <unsigned S> static inline void Eliminate_Panel(uint64_t n, uint64_t k, float** a)
{
    for (unsigned s = 0; s < S; s++) {
        float* pivot_row = a[k + s] + k;
        const float q = F_Div(1.0f, pivot_row[s]);
        pivot_row[s] = q;
        for (unsigned j = s + 1; j < S; j++) {
            pivot_row[j] = F_Mul(pivot_row[j], q);
        }
        for (uint64_t i = 0; i < n; i++) {
            if (i != k + s) {
                float* row = a[i] + k;
                for (unsigned j = s + 1; j < S; j++) {
                    row[j] = F_NegMulAdd(pivot_row[j], row[s], row[j]);
                }
            }
        }
    }
}

// The same for W registers of columns of m, which is a behind the panel, or b.
template <unsigned S, class F, unsigned W>
static inline void Eliminate_Group(uint64_t n, uint64_t k, float* const* a, float** m, uint64_t j)
{
    F source[S][W]; // the pivot rows, each as it is subtracted from the others at its own pivot
    for (unsigned w = 0; w < W; w++) {
        const uint64_t column = j + w * F_Lanes<F>;
        F row[S];
        for (unsigned s = 0; s < S; s++) {
            row[s] = F_Load<F>(m[k + s] + column);
        }
        for (unsigned s = 0; s < S; s++) {
            source[s][w] = F_Mul(row[s], F_Set<F>(a[k + s][k + s]));
            row[s] = source[s][w];
            for (unsigned i = 0; i < S; i++) {
                if (i != s) {
                    row[i] = F_NegMulAdd(row[s], F_Set<F>(a[k + i][k + s]), row[i]);
                }
            }
        }
        for (unsigned s = 0; s < S; s++) {
            F_Store(m[k + s] + column, row[s]);
        }
    }
    const auto subtract = [&](uint64_t from, uint64_t end) {
        for (uint64_t i = from; i < end; i++) {
            const float* factors = a[i] + k;
            float* at = m[i] + j;
            F value[W];
            for (unsigned w = 0; w < W; w++) {
                value[w] = F_Load<F>(at + w * F_Lanes<F>);
            }
            for (unsigned s = 0; s < S; s++) {
                const F factor = F_Set<F>(factors[s]);
                for (unsigned w = 0; w < W; w++) {
                    value[w] = F_NegMulAdd(source[s][w], factor, value[w]);
                }
            }
            for (unsigned w = 0; w < W; w++) {
                F_Store(at + w * F_Lanes<F>, value[w]);
            }
        }
    };
    subtract(0, k);
    subtract(k + S, n);
}

template <unsigned S> static inline void Eliminate_Columns(uint64_t n, uint64_t k, float* const* a,
                                                           float** m, uint64_t from)
{
    uint64_t j = from;
    for (; j + 16 <= n; j += 16) {
        Eliminate_Group<S, F8, 2>(n, k, a, m, j);
    }
    Each_Group(j, n, [=](auto width, uint64_t group) {
        Eliminate_Group<S, decltype(width), 1>(n, k, a, m, group);
    });
}

template <unsigned S> static void Eliminate(uint64_t n, uint64_t k, float** a, float** b)
{
    Eliminate_Panel<S>(n, k, a);
    Eliminate_Columns<S>(n, k, a, a, k + S);
    Eliminate_Columns<S>(n, k, a, b, 0);
    for (uint64_t i = 0; i < n; i++) {
        for (unsigned s = 0; s < S; s++) {
            a[i][k + s] = i == k + s ? 1.0f : 0.0f;
        }
    }
}

void MAT_Invert(ObjectHeader* object, uint64_t n, float** a, float** b)
{
    MAT_Identity(object, n, b);
    uint64_t k = 0;
    for (; k + 4 <= n; k += 4) {
        Eliminate<4>(n, k, a, b);
    }
    for (; k < n; k++) {
        Eliminate<1>(n, k, a, b);
    }
}

// ---- One square system ----

void MAT_Solve_Gauss(ObjectHeader*, uint64_t n, float** m)
{
    for (uint64_t k = 0; k < n; k++) {
        float* pivot_row = m[k];
        const float q = F_Div(1.0f, pivot_row[k]);
        Each_Group(k + 1, n + 1, [=](auto width, uint64_t j) {
            using F = decltype(width);
            F_Store(pivot_row + j, F_Mul(F_Load<F>(pivot_row + j), F_Set<F>(q)));
        });
        for (uint64_t i = k + 1; i < n; i++) {
            float* row = m[i];
            const float t = row[k];
            Each_Group(k + 1, n + 1, [=](auto width, uint64_t j) {
                using F = decltype(width);
                const F source = F_Load<F>(pivot_row + j);
                F_Store(row + j, F_NegMulAdd(source, F_Set<F>(t), F_Load<F>(row + j)));
            });
        }
    }
    for (uint64_t k = n; k-- > 1;) {
        for (uint64_t i = k; i-- > 0;) {
            m[i][n] = F_NegMulAdd(m[i][k], m[k][n], m[i][n]);
        }
    }
}

// Products behind matrix/mat.h. The columns of the result lie in the lanes, so that every element
// keeps its own sum from k = 0 upward; a tile of rows and columns stays in registers meanwhile.
#include "matrix/mat.h"

#include "vector/simd_float.h"

// ---- Tiles ----

// c[i][j] = sum over k of left(i, k) * right(b[k][j]).
template <class Left, class Right> struct Factors {
    uint64_t rows, inner, cols;
    Left left;
    Right right;
    const float* const* b;
    float* const* c;
};
template <class Left, class Right>
Factors(uint64_t, uint64_t, uint64_t, Left, Right, const float* const*, float* const*)
    -> Factors<Left, Right>; // clang 14 does not find it by itself

// M rows by W registers of F from row i and column j on.
template <class F, unsigned W, unsigned M, class Work>
static inline void Tile(const Work& work, uint64_t i, uint64_t j)
{
    F sum[M][W];
    for (unsigned m = 0; m < M; m++) {
        for (unsigned w = 0; w < W; w++) {
            sum[m][w] = F_Set<F>(0.0f);
        }
    }
    for (uint64_t k = 0; k < work.inner; k++) {
        F right[W];
        for (unsigned w = 0; w < W; w++) {
            right[w] = work.right(F_Load<F>(work.b[k] + j + w * F_Lanes<F>));
        }
        for (unsigned m = 0; m < M; m++) {
            const F left = F_Set<F>(work.left(i + m, k));
            for (unsigned w = 0; w < W; w++) {
                sum[m][w] = F_MulAdd(left, right[w], sum[m][w]);
            }
        }
    }
    for (unsigned m = 0; m < M; m++) {
        for (unsigned w = 0; w < W; w++) {
            F_Store(work.c[i + m] + j + w * F_Lanes<F>, sum[m][w]);
        }
    }
}

// All rows of W registers of columns, M rows a tile and fewer at the end.
template <class F, unsigned W, unsigned M, class Work>
static inline void Strip(const Work& work, uint64_t i, uint64_t j)
{
    for (; i + M <= work.rows; i += M) {
        Tile<F, W, M>(work, i, j);
    }
    if constexpr (M > 1) {
        if (i < work.rows) {
            Strip<F, W, M / 2>(work, i, j);
        }
    }
}

// The columns from j on in strips of F and narrower; returns the first column that is left over
// when a strip of Least lanes does not fit.
template <unsigned Least, class Work> static inline uint64_t Strips(const Work& work)
{
    uint64_t j = 0;
    for (; j + 16 <= work.cols; j += 16) {
        Strip<F8, 2, 4>(work, 0, j);
    }
    if (j + 8 <= work.cols) {
        Strip<F8, 1, 8>(work, 0, j);
        j += 8;
    }
    if (j + 4 <= work.cols) {
        Strip<F4, 1, 8>(work, 0, j);
        j += 4;
    }
    if constexpr (Least == 1) {
        for (; j < work.cols; j++) {
            Strip<float, 1, 8>(work, 0, j);
        }
    }
    return j;
}

static constexpr auto As_It_Is = [](auto x) { return x; };
static constexpr auto Magnitude = [](auto x) { return F_Abs(x); };

// ---- Matrix times matrix ----

void MAT_Mul(ObjectHeader*, uint64_t rows, uint64_t inner, uint64_t cols, const float* const* a,
             const float* const* b, float** c)
{
    const auto left = [a](uint64_t i, uint64_t k) { return a[i][k]; };
    Strips<1>(Factors{rows, inner, cols, left, As_It_Is, b, c});
}

void MAT_Mul_D(ObjectHeader*, uint64_t rows, uint64_t inner, uint64_t cols, const double* const* a,
               const double* const* b, double** c)
{
    for (uint64_t i = 0; i < rows; i++) {
        double* sum = c[i];
        for (uint64_t j = 0; j < cols; j++) {
            sum[j] = 0.0;
        }
        for (uint64_t k = 0; k < inner; k++) {
            const double left = a[i][k];
            const double* right = b[k];
            for (uint64_t j = 0; j < cols; j++) {
                sum[j] = std::fma(left, right[j], sum[j]);
            }
        }
    }
}

// Every sum runs along two rows, so there is nothing to put into lanes: some sums go side by side.
void MAT_Mul_Trans(ObjectHeader*, uint64_t rows, uint64_t inner, uint64_t cols,
                   const float* const* a, const float* const* b, float** c)
{
    constexpr unsigned Side = 4;
    for (uint64_t j = 0; j < cols; j++) {
        uint64_t i = 0;
        for (; i + Side <= rows; i += Side) {
            float sum[Side] = {};
            for (uint64_t k = 0; k < inner; k++) {
                for (unsigned m = 0; m < Side; m++) {
                    sum[m] = F_MulAdd(a[i + m][k], b[j][k], sum[m]);
                }
            }
            for (unsigned m = 0; m < Side; m++) {
                c[j][i + m] = sum[m];
            }
        }
        for (; i < rows; i++) {
            float sum = 0.0f;
            for (uint64_t k = 0; k < inner; k++) {
                sum = F_MulAdd(a[i][k], b[j][k], sum);
            }
            c[j][i] = sum;
        }
    }
}

// Lanes of rows of the result in one column: rows i to i + F_Lanes<F> - 1 of column j.
template <class F> static inline void Column_Tile(uint64_t rows, uint64_t i, uint64_t j,
                                                  const float* const* a, const float* const* b,
                                                  float* const* c)
{
    F sum = F_Set<F>(0.0f);
    for (uint64_t k = 0; k < rows; k++) {
        sum = F_MulAdd(F_Load<F>(a[k] + i), F_Set<F>(b[k][j]), sum);
    }
    float each[F_Lanes<F>];
    F_Store(each, sum);
    for (unsigned m = 0; m < F_Lanes<F>; m++) {
        c[i + m][j] = each[m];
    }
}

void MAT_TransMul(ObjectHeader*, uint64_t rows, uint64_t ca, uint64_t cb, const float* const* a,
                  const float* const* b, float** c)
{
    const auto left = [a](uint64_t i, uint64_t k) { return a[k][i]; };
    uint64_t j = Strips<4>(Factors{ca, rows, cb, left, As_It_Is, b, c});
    for (; j < cb; j++) {
        uint64_t i = 0;
        for (; i + 8 <= ca; i += 8) {
            Column_Tile<F8>(rows, i, j, a, b, c);
        }
        for (; i + 4 <= ca; i += 4) {
            Column_Tile<F4>(rows, i, j, a, b, c);
        }
        for (; i < ca; i++) {
            Column_Tile<float>(rows, i, j, a, b, c);
        }
    }
}

// ---- Row vector times matrix ----

void MAT_VecMul(ObjectHeader*, uint64_t n, uint64_t k, const float* v, const float* const* m,
                float* out)
{
    const auto left = [v](uint64_t, uint64_t r) { return v[r]; };
    Strips<1>(Factors{1, k, n, left, As_It_Is, m, &out});
}

void MAT_VecMul_Abs(ObjectHeader*, uint64_t n, uint64_t k, const float* v, const float* const* m,
                    float* out)
{
    const auto left = [v](uint64_t, uint64_t r) { return v[r]; };
    Strips<1>(Factors{1, k, n, left, Magnitude, m, &out});
}

// ---- Peak ----

// Down the columns: after a signalling NaN the result depends on the order.
void MAT_Peak(ObjectHeader*, uint64_t cols, uint64_t rows, const float* const* m, float* out)
{
    float high = 0.0f;
    float low = 0.0f;
    for (uint64_t j = 0; j < cols; j++) {
        for (uint64_t i = 0; i < rows; i++) {
            high = F_Max_Number(high, m[i][j]);
            low = F_Min_Number(low, m[i][j]);
        }
        *out = high + low > 0.0f ? high : low;
    }
}

// The direct solvers: by bits against the loops that define them, and by what they promise.
#include "tests/matrix_fixture.h"

static ObjectHeader Object = Make_Object();

static const uint64_t Sizes[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 12, 13, 16, 17, 21, 33, 40};

// ---- The loops ----

static Matrix Identity(uint64_t n)
{
    Matrix one(n, n);
    for (uint64_t i = 0; i < n; i++) {
        one.each[i]->Fill(std::vector<float>(n));
        one.m[i][i] = 1.0f;
    }
    return one;
}

// to -= t * from in the columns from first on.
static void Take(const float* from, float t, uint64_t first, uint64_t columns, float* to)
{
    for (uint64_t j = first; j < columns; j++) {
        to[j] = std::fma(-from[j], t, to[j]);
    }
}

static void Plain_Invert(uint64_t n, float** a, float** b)
{
    for (uint64_t k = 0; k < n; k++) {
        const float q = 1.0f / a[k][k];
        a[k][k] = 1.0f;
        for (uint64_t j = k + 1; j < n; j++) {
            a[k][j] = a[k][j] * q;
        }
        for (uint64_t j = 0; j < n; j++) {
            b[k][j] = b[k][j] * q;
        }
        for (uint64_t i = 0; i < n; i++) {
            if (i != k) {
                Take(b[k], a[i][k], 0, n, b[i]);
                Take(a[k], a[i][k], k + 1, n, a[i]);
                a[i][k] = 0.0f;
            }
        }
    }
}

static void Plain_Solve_Gauss(uint64_t n, float** m)
{
    for (uint64_t k = 0; k < n; k++) {
        const float q = 1.0f / m[k][k];
        for (uint64_t j = k + 1; j <= n; j++) {
            m[k][j] = m[k][j] * q;
        }
        for (uint64_t i = k + 1; i < n; i++) {
            Take(m[k], m[i][k], k + 1, n + 1, m[i]);
        }
    }
    for (uint64_t k = n; k-- > 1;) {
        for (uint64_t i = 0; i < k; i++) {
            m[i][n] = std::fma(-m[i][k], m[k][n], m[i][n]);
        }
    }
}

// r is the matrix at first, q the identity.
static void Plain_QR(uint64_t rows, uint64_t cols, float** q, float** r)
{
    std::vector<float> v(rows);
    for (uint64_t k = 0; k < std::min(rows, cols); k++) {
        float norm = 0.0f;
        for (uint64_t i = k; i < rows; i++) {
            norm = std::fma(r[i][k], r[i][k], norm);
        }
        norm = std::sqrt(norm);
        if (norm == 0.0f) {
            continue;
        }
        const float alpha = r[k][k];
        const float u = alpha < 0.0f ? alpha - norm : alpha + norm;
        const float w = alpha < 0.0f ? norm - alpha : alpha + norm;
        for (uint64_t i = k + 1; i < rows; i++) {
            v[i] = r[i][k] * (1.0f / u);
        }
        v[k] = 1.0f;
        const float beta = w / norm;
        for (uint64_t j = 0; j < cols; j++) {
            float s = 0.0f;
            for (uint64_t i = k; i < rows; i++) {
                s = std::fma(v[i], beta * r[i][j], s);
            }
            for (uint64_t i = k; i < rows; i++) {
                r[i][j] = std::fma(-v[i], s, r[i][j]);
            }
        }
        for (uint64_t e = 0; e < rows; e++) {
            float s = 0.0f;
            for (uint64_t i = k; i < rows; i++) {
                s = std::fma(q[e][i], v[i], s);
            }
            s = s * beta;
            for (uint64_t i = k; i < rows; i++) {
                q[e][i] = std::fma(-s, v[i], q[e][i]);
            }
        }
    }
}

// ---- By bits ----

TEST(MatDirect, InverseAndGaussAreThePlainLoops)
{
    Random random = {4};
    for (const uint64_t n : Sizes) {
        for (const Content content : {Ordinary, Ordinary, Special}) {
            SCOPED_TRACE(n);
            Matrix a(n, n, 4);
            a.Fill(&random, content);
            Matrix expected_a(a);
            Matrix expected_b = Identity(n);
            Matrix b(n, n, 8);
            Plain_Invert(n, expected_a.m.data(), expected_b.m.data());
            MAT_Invert(&Object, n, a.m.data(), b.m.data());
            EXPECT_TRUE(Same_Matrix(expected_a, a));
            EXPECT_TRUE(Same_Matrix(expected_b, b));

            Matrix system(n, n + 1);
            system.Fill(&random, content);
            Matrix expected(system);
            Plain_Solve_Gauss(n, expected.m.data());
            MAT_Solve_Gauss(&Object, n, system.m.data());
            EXPECT_TRUE(Same_Matrix(expected, system));
        }
    }
}

// A random matrix with some elements, rows or columns of zeros, as constraint rows have them.
static Matrix With_Zeros(Random* random, uint64_t rows, uint64_t cols)
{
    Matrix a(rows, cols);
    a.Fill(random, Ordinary);
    const uint64_t kind = Random_Word(random) % 4;
    for (uint64_t i = 0; i < rows; i++) {
        for (uint64_t j = 0; j < cols; j++) {
            const bool zero = (kind == 1 && Random_Word(random) % 2 == 0) ||
                              (kind == 2 && j % 3 == 1) || (kind == 3 && i != j + 1);
            a.m[i][j] = zero ? 0.0f : a.m[i][j];
        }
    }
    return a;
}

static Matrix Product(const Matrix& a, const Matrix& b)
{
    Matrix c(a.rows, b.columns);
    MAT_Mul(&Object, a.rows, a.columns, b.columns, a.m.data(), b.m.data(), c.m.data());
    return c;
}

TEST(MatQR, IsThePlainLoopsAndOrthogonal)
{
    Random random = {5};
    for (int turn = 0; turn < 500; turn++) {
        const uint64_t rows = Sizes[Random_Word(&random) % std::size(Sizes)];
        const uint64_t cols = Sizes[Random_Word(&random) % std::size(Sizes)];
        SCOPED_TRACE(testing::Message() << turn << ": " << rows << " by " << cols);
        const Matrix a = With_Zeros(&random, rows, cols);
        const Matrix before(a);
        Matrix expected_q = Identity(rows);
        Matrix expected_r(a);
        Matrix q(rows, rows, 4);
        Matrix r(rows, cols, 8);
        Plain_QR(rows, cols, expected_q.m.data(), expected_r.m.data());
        MAT_QR(&Object, rows, cols, a.m.data(), q.m.data(), r.m.data());
        EXPECT_TRUE(Same_Matrix(expected_q, q));
        EXPECT_TRUE(Same_Matrix(expected_r, r));
        EXPECT_TRUE(Same_Matrix(before, a));

        Matrix turned(rows, rows);
        MAT_Transpose(&Object, rows, rows, q.m.data(), turned.m.data());
        EXPECT_TRUE(Near_Matrix(Identity(rows), Product(turned, q), 2e-6));
        EXPECT_TRUE(Near_Matrix(a, Product(q, r), 2e-5));
        for (uint64_t i = 0; i < rows; i++) {
            for (uint64_t j = 0; j < std::min(i, cols); j++) {
                EXPECT_NEAR(r.m[i][j], 0.0f, 1e-5) << i << " " << j;
            }
        }
    }
}

TEST(MatQR, KnownAnswers)
{
    const struct {
        Matrix a, q, r;
    } cases[] = {
        {{{2}}, {{-1}}, {{-2}}},
        // A column whose squares flush to zero has no direction.
        {{{1e-25f}}, {{1}}, {{1e-25f}}},
        // A zero pivot counts as positive, so the diagonal comes out negative.
        {{{0}, {3}}, {{0, -1}, {-1, 0}}, {{-3}, {0}}},
    };
    for (const auto& c : cases) {
        Matrix q(c.a.rows, c.a.rows);
        Matrix r(c.a.rows, 1);
        MAT_QR(&Object, c.a.rows, 1, c.a.m.data(), q.m.data(), r.m.data());
        EXPECT_TRUE(Same_Matrix(c.q, q));
        EXPECT_TRUE(Same_Matrix(c.r, r));
    }
}

// ---- By what they promise ----

TEST(MatDirect, InverseOfWellConditionedMatrices)
{
    Random random = {6};
    for (const uint64_t n : Sizes) {
        Matrix a(n, n);
        a.Fill(&random, Ordinary);
        for (uint64_t i = 0; i < n; i++) {
            a.m[i][i] += 4.0f * static_cast<float>(n);
        }
        const Matrix before(a);
        Matrix b(n, n);
        const Matrix one = Identity(n);
        MAT_Invert(&Object, n, a.m.data(), b.m.data());
        EXPECT_TRUE(Near_Matrix(one, Product(before, b), 1e-5));
        EXPECT_TRUE(Same_Matrix(one, a));
    }
    Matrix swapped{{0, 1}, {1, 0}};
    Matrix b(2, 2);
    MAT_Invert(&Object, 2, swapped.m.data(), b.m.data());
    EXPECT_FALSE(std::isfinite(b.m[0][0]));
    Matrix one_equation{{4, 10}};
    MAT_Solve_Gauss(&Object, 1, one_equation.m.data());
    EXPECT_TRUE(Same_Matrix({{4, 2.5f}}, one_equation));
}

TEST(MatLeastSquares, ResidualIsOrthogonalToTheColumns)
{
    Random random = {7};
    for (const uint64_t rows : Sizes) {
        for (const uint64_t cols : Sizes) {
            if (cols > rows) {
                continue;
            }
            SCOPED_TRACE(testing::Message() << rows << " by " << cols);
            Matrix a(rows, cols);
            Matrix b(rows, 1);
            a.Fill(&random, Ordinary);
            b.Fill(&random, Ordinary);
            for (uint64_t i = 0; i < cols; i++) {
                a.m[i][i] += 12.0f;
            }
            const Matrix before_a(a);
            const Matrix before_b(b);
            Matrix x(cols, 1);
            MAT_LeastSquares(&Object, rows, cols, a.m.data(), b.m.data(), x.m.data());
            Matrix residual = Product(a, x);
            MAT_Sub_InPlace(&Object, rows, 1, b.m.data(), residual.m.data());
            Matrix against(cols, 1);
            MAT_TransMul(&Object, rows, cols, 1, a.m.data(), residual.m.data(), against.m.data());
            Matrix zero(cols, 1);
            MAT_Zero(&Object, cols, 1, zero.m.data());
            EXPECT_TRUE(Near_Matrix(zero, against, 5e-4));
            EXPECT_TRUE(Same_Matrix(before_a, a));
            EXPECT_TRUE(Same_Matrix(before_b, b));
            EXPECT_TRUE(x.Guards_Whole());
        }
    }
}

// A diagonal of exactly 0.0 gives 0.0, a small one whatever the division gives.
TEST(MatLeastSquares, ZeroDiagonal)
{
    const Matrix a{{2, 1, 0}, {0, 0, 0}, {0, 0, 4}};
    const Matrix b{{6}, {5}, {8}};
    Matrix x(3, 1);
    MAT_LeastSquares(&Object, 3, 3, a.m.data(), b.m.data(), x.m.data());
    EXPECT_TRUE(Same_Matrix({{3}, {0}, {2}}, x));
}

// The matrix operations' lines of the digest.
#include "tests/digest.h"

#include "matrix/mat.h"

#include <algorithm>
#include <vector>

static ObjectHeader Object = OBJ_Template;

struct Square {
    static constexpr size_t Stride = 44;
    std::vector<float> storage;
    std::vector<float*> rows;
    float** m;

    Square(Random* random, uint64_t n, bool special)
        : storage((n + 1) * Stride), rows(n + 1), m(rows.data())
    {
        for (float& value : storage) {
            const bool any = special && Random_Word(random) % 16 == 0;
            value = any ? Random_Bits(random) : Random_Float(random, 4.0f);
        }
        for (uint64_t i = 0; i <= n; i++) {
            rows[i] = storage.data() + i * Stride + i % 2;
        }
    }
};

// run(n, a, b, c) for many sizes and contents; digests the n by n matrices b and c behind it.
template <class Run> static uint64_t Digest_Squares(Run run)
{
    Digest digest;
    Random random = {1};
    for (uint64_t n = 0; n <= 41; n++) {
        for (const bool special : {false, true}) {
            Square a(&random, n, special);
            Square b(&random, n, special);
            Square c(&random, n, special);
            run(n, a.m, b.m, c.m);
            for (uint64_t i = 0; i < n; i++) {
                Digest_Floats(&digest, b.m[i], n);
                Digest_Floats(&digest, c.m[i], n);
            }
        }
    }
    return digest.hash;
}

static uint64_t Products()
{
    return Digest_Squares([](uint64_t n, float** a, float** b, float** c) {
        MAT_Mul(&Object, n, n, n, a, b, c);
        MAT_Mul_Trans(&Object, n, n, n, a, c, b);
        MAT_TransMul(&Object, n, n, n, a, b, c);
        MAT_VecMul(&Object, n, n, a[0], c, b[0]);
        MAT_VecMul_Abs(&Object, n, n, b[0], a, c[0]);
    });
}

static uint64_t Decompositions()
{
    return Digest_Squares(
        [](uint64_t n, float** a, float** b, float** c) { MAT_QR(&Object, n, n, a, b, c); });
}

static uint64_t Solutions()
{
    return Digest_Squares([](uint64_t n, float** a, float** b, float** c) {
        MAT_LeastSquares(&Object, n, n / 2, a, b, c);
        MAT_Solve_Gauss(&Object, n, a);
        MAT_Copy(&Object, n, n, a, c);
        MAT_Invert(&Object, n, a, b);
    });
}

// Problems of small whole numbers meet ties and degenerate corners, others the general case.
static float Number(Random* random, bool whole, float limit)
{
    const float value = Random_Float(random, limit);
    return whole ? static_cast<float>(static_cast<int32_t>(value)) : value;
}

static uint64_t Constrained()
{
    Digest digest;
    Random random = {1};
    for (unsigned turn = 0; turn < 3000; turn++) {
        const uint64_t n = 1 + turn % 7;
        const bool least_squares = turn % 2 != 0;
        const bool whole = turn % 3 == 0;
        const uint64_t m = least_squares ? n + turn % 3 : n;
        const uint64_t meq = Random_Word(&random) % 3 % n;
        const uint64_t nc = meq + Random_Word(&random) % (n + 3);
        Square H(&random, 9, false);
        Square A(&random, 12, false);
        float f[9], b[12], lb[7], ub[7], x[7];
        for (uint64_t i = 0; i < 9; i++) {
            f[i] = Number(&random, whole, 6.0f);
            H.m[i][n - 1] = turn % 11 == 0 ? H.m[i][0] : H.m[i][n - 1]; // without full rank
        }
        std::fill_n(lb, n, -2.0f);
        std::fill_n(ub, n, 2.0f);
        std::generate_n(x, n, [&] { return Number(&random, whole, 3.0f); });
        for (uint64_t i = 0; i < nc; i++) {
            b[i] = 1.0f;
            for (uint64_t j = 0; j < n; j++) {
                A.m[i][j] = Number(&random, whole, 2.5f);
                b[i] += i < meq ? A.m[i][j] * x[j] : 0.0f;
            }
            b[i] -= i < meq ? 1.0f : 0.0f;
        }
        const bool bounds = turn % 5 != 0;
        MAT_Solve_Constrained(&Object, m, least_squares ? n : 0, least_squares ? H.m : nullptr, f,
                              nc, n, A.m, b, bounds ? lb : nullptr, bounds ? ub : nullptr, meq,
                              least_squares ? 1 : 0, x);
        Digest_Floats(&digest, x, n);
    }
    return digest.hash;
}

static const DigestLine Lines[] = {
    {"matrix products", Products},
    {"matrix decompositions", Decompositions},
    {"matrix solutions", Solutions},
    {"matrix constrained", Constrained},
};
const DigestTable Digest_Matrix = {Lines, std::size(Lines)};

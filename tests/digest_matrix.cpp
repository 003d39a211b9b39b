// The matrix operations' lines of the digest.
#include "tests/digest.h"

#include "matrix/mat.h"

#include <vector>

static ObjectHeader Object = OBJ_Template;

struct Square {
    static constexpr size_t Stride = 44;
    std::vector<float> storage;
    std::vector<float*> rows;

    Square(Random* random, uint64_t n, bool special) : storage((n + 1) * Stride), rows(n + 1)
    {
        for (float& value : storage) {
            const bool any = special && Random_Word(random) % 16 == 0;
            value = any ? Random_Bits(random) : Random_Float(random, 4.0f);
        }
        for (uint64_t i = 0; i <= n; i++) {
            rows[i] = storage.data() + i * Stride + i % 2;
        }
    }
    float** m()
    {
        return rows.data();
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
            run(n, a.m(), b.m(), c.m());
            for (uint64_t i = 0; i < n; i++) {
                Digest_Floats(&digest, b.m()[i], n);
                Digest_Floats(&digest, c.m()[i], n);
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

static const DigestLine Lines[] = {
    {"matrix products", Products},
    {"matrix decompositions", Decompositions},
    {"matrix solutions", Solutions},
};
const DigestTable Digest_Matrix = {Lines, std::size(Lines)};

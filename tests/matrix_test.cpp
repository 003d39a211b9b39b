// Matrix storage, row-wise operations and products: against the plain loops that define them, by
// bits.
#include "tests/engine_fixture.h"
#include "tests/matrix_fixture.h"

#include <malloc.h>

static ObjectHeader Object = Make_Object();

// ---- Storage ----

// The sanitizer build sees a block that is too small, freed twice or not at all.
template <class Element> static void Check_Storage(const char* name, auto alloc, auto release)
{
    for (const uint64_t rows : {0, 1, 7}) {
        SCOPED_TRACE(name);
        Element** m = nullptr;
        alloc(&Object, rows, 13, &m);
        ASSERT_NE(m, nullptr);
        for (uint64_t i = 0; i < rows; i++) {
            EXPECT_EQ(reinterpret_cast<uintptr_t>(m[i]) % 16, 0u);
            EXPECT_GE(malloc_usable_size(m[i]), 13 * sizeof(Element));
            memset(m[i], 0x55, 13 * sizeof(Element));
        }
        release(&Object, rows, m);
    }
}

TEST(MatStorage, RowsAreAlignedWholeAndGivenBack)
{
    Check_Storage<float>("C", MAT_Alloc_C, MAT_Free_C);
    Check_Storage<double>("C_D", MAT_Alloc_C_D, MAT_Free_C_D);
    Check_Storage<int64_t>("C_64", MAT_Alloc_C_64, MAT_Free_C_64);
    Check_Storage<int32_t>("C_32", MAT_Alloc_C_32, MAT_Free_C_32);
    Check_Storage<int16_t>("C_16", MAT_Alloc_C_16, MAT_Free_C_16);
    Check_Storage<float>("T", MAT_Alloc_T, MAT_Free_T);
    Check_Storage<double>("T_D", MAT_Alloc_T_D, MAT_Free_T_D);
    Check_Storage<int64_t>("T_64", MAT_Alloc_T_64, MAT_Free_T_64);
    Check_Storage<int32_t>("T_32", MAT_Alloc_T_32, MAT_Free_T_32);
    Check_Storage<int16_t>("T_16", MAT_Alloc_T_16, MAT_Free_T_16);
}

struct OversizeRow {
    const char* name;
    void (*run)(ObjectHeader* object);
    const char* report = "3,2: OBJ_Malloc_T: Out of temp. memory";
};

static float **Out, *Pair[2], Floats[2];

static const OversizeRow Oversize_Rows[] = {
    {"rows, persistent", [](auto* o) { MAT_Alloc_C(o, UINT64_MAX / 8 + 2, 1, &Out); },
     "3,10: OBJ_Malloc_C: Out of Memory"},
    {"columns, persistent", [](auto* o) { MAT_Alloc_C(o, 1, UINT64_MAX / 4 + 2, &Out); },
     "3,10: OBJ_Malloc_C: Out of Memory"},
    {"rows, temporary", [](auto* o) { MAT_Alloc_T(o, UINT64_MAX / 8 + 2, 1, &Out); }},
    {"columns, temporary", [](auto* o) { MAT_Alloc_T(o, 1, UINT64_MAX / 4 + 2, &Out); }},
    {"work vector", [](auto* o) { MAT_QR(o, uint64_t{1} << 62, 1, Pair, Pair, Pair); }},
    {"scratch matrix",
     [](auto* o) { MAT_LeastSquares(o, uint64_t{1} << 62, 1, Pair, Pair, Pair); }},
    {"stride of a row",
     [](auto* o) {
         MAT_LeastSquares_Constrained(o, 2, UINT64_MAX, Pair, Floats, 1, Pair, Floats, 0, nullptr,
                                      nullptr, nullptr, nullptr, Floats);
     }},
    {"rows of a stride",
     [](auto* o) {
         MAT_LeastSquares_Constrained(o, 2, uint64_t{1} << 62, Pair, Floats, 4, Pair, Floats, 0,
                                      nullptr, nullptr, nullptr, nullptr, Floats);
     }},
    {"rows with one set of bounds",
     [](auto* o) {
         MAT_Solve_Constrained(o, 2, 2, Pair, Floats, UINT64_MAX, 2, Pair, Floats, Floats, nullptr,
                               0, 1, Floats);
     }},
    {"rows with both",
     [](auto* o) {
         MAT_Solve_Constrained(o, 2, 2, Pair, Floats, UINT64_MAX - 1, 2, Pair, Floats, Floats,
                               Floats, 0, 1, Floats);
     }},
    {"equalities and inequalities",
     [](auto* o) {
         MAT_LeastSquares_Constrained(o, 2, 2, Pair, Floats, uint64_t{1} << 63, Pair, Floats,
                                      uint64_t{1} << 63, Pair, Floats, nullptr, nullptr, Floats);
     }},
};

TEST(MatStorage, SizesBeyond64BitsAreExhaustedMemory)
{
    for (const OversizeRow& row : Oversize_Rows) {
        SCOPED_TRACE(row.name);
        RecordingObject object;
        Make_Recorder(&object);
        EXPECT_TRUE(Stops_For_Good(&object, [&] { row.run(&object.header); }));
        EXPECT_EQ(object.reports, std::vector<std::string>{row.report});
    }
}

// ---- Row by row ----

// Each element of c becomes element(a, b, c).
static void Check_Rows(const char* name, auto run, float (*element)(float a, float b, float c))
{
    SCOPED_TRACE(name);
    static Random random = {1};
    static const uint64_t sizes[][2] = {{0, 3}, {3, 0}, {1, 1}, {3, 37}, {5, 8}};
    for (const uint64_t(&size)[2] : sizes) {
        const uint64_t rows = size[0];
        const uint64_t columns = size[1];
        Matrix a(rows, columns);
        Matrix b(rows, columns, 4);
        Matrix c(rows, columns);
        for (Matrix* m : {&a, &b, &c}) {
            m->Fill(&random, Ordinary);
        }
        Matrix expected(c);
        for (uint64_t i = 0; i < rows; i++) {
            for (uint64_t j = 0; j < columns; j++) {
                expected.m[i][j] = element(a.m[i][j], b.m[i][j], c.m[i][j]);
            }
        }
        if constexpr (requires { run(&Object, rows, columns, c.m.data()); }) {
            run(&Object, rows, columns, c.m.data());
        } else if constexpr (requires { run(&Object, rows, columns, a.m.data(), c.m.data()); }) {
            run(&Object, rows, columns, a.m.data(), c.m.data());
        } else {
            run(&Object, rows, columns, a.m.data(), b.m.data(), c.m.data());
        }
        EXPECT_TRUE(Same_Matrix(expected, c));
    }
}

TEST(MatRows, EachElementOnItsOwn)
{
    using Size = uint64_t;
    const auto fill = [](auto* o, Size m, Size n, float** c) { MAT_Fill(o, m, n, c, 2.5f); };
    const auto fill_32 = [](auto* o, Size m, Size n, float** c) {
        MAT_Fill_32(o, m, n, 0x40200000, c);
    };
    const auto scale = [](auto* o, Size m, Size n, float** c) { MAT_Scale(o, m, n, c, 0.7f); };
    Check_Rows("Copy", MAT_Copy, [](float a, float, float) { return a; });
    Check_Rows("Copy_32", MAT_Copy_32, [](float a, float, float) { return a; });
    Check_Rows("Zero", MAT_Zero, [](float, float, float) { return 0.0f; });
    Check_Rows("Zero_32", MAT_Zero_32, [](float, float, float) { return 0.0f; });
    Check_Rows("Fill", fill, [](float, float, float) { return 2.5f; });
    Check_Rows("Fill_32", fill_32, [](float, float, float) { return 2.5f; });
    Check_Rows("Scale", scale, [](float, float, float c) { return c * 0.7f; });
    Check_Rows("Add", MAT_Add, [](float a, float b, float) { return a + b; });
    Check_Rows("Add_InPlace", MAT_Add_InPlace, [](float a, float, float c) { return a + c; });
    Check_Rows("Sub", MAT_Sub, [](float a, float b, float) { return a - b; });
    Check_Rows("Sub_InPlace", MAT_Sub_InPlace, [](float a, float, float c) { return c - a; });
}

TEST(MatRows, WideElements)
{
    double rows[4][3] = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {10, 11, 12}};
    double* a[2] = {rows[0], rows[1]};
    double* b[2] = {rows[2], rows[3]};
    MAT_Sub_D(&Object, 2, 3, a, b, b);
    EXPECT_EQ(rows[2][0], -6.0);
    EXPECT_EQ(rows[3][2], -6.0);
    MAT_Copy_64(&Object, 2, 3, a, b);
    EXPECT_EQ(rows[3][1], 5.0);
    MAT_Fill_64(&Object, 2, 2, 0x3FF8000000000000, a);
    EXPECT_EQ(rows[0][1], 1.5);
    EXPECT_EQ(rows[1][2], 6.0);
    MAT_Zero_64(&Object, 2, 1, a);
    EXPECT_EQ(rows[1][0], 0.0);
    EXPECT_EQ(rows[1][1], 1.5);
    double turned[3][2];
    double* t[3] = {turned[0], turned[1], turned[2]};
    MAT_Transpose_64(&Object, 2, 3, b, t);
    EXPECT_EQ(turned[2][1], 6.0);
    EXPECT_EQ(turned[0][1], 4.0);
}

TEST(MatSpecial, EveryElementIsWritten)
{
    Matrix m(3, 3);
    MAT_Identity(&Object, 3, m.m.data());
    EXPECT_TRUE(Same_Matrix({{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, m));
    const float v[] = {2, 0, -5};
    MAT_Diagonal(&Object, 3, v, m.m.data());
    EXPECT_TRUE(Same_Matrix({{2, 0, 0}, {0, 0, 0}, {0, 0, -5}}, m));
    MAT_Identity_Scaled(&Object, 3, m.m.data(), -2.0f);
    EXPECT_TRUE(Same_Matrix({{-2, 0, 0}, {0, -2, 0}, {0, 0, -2}}, m));
}

TEST(MatRearranged, TransposeAndFlatten)
{
    Random random = {2};
    for (const uint64_t rows : {0, 1, 4, 17, 33}) {
        for (const uint64_t cols : {0, 1, 5, 16, 40}) {
            Matrix a(rows, cols);
            a.Fill(&random, Any_Bits);
            Matrix turned(cols, rows);
            Guarded flat(rows * cols, 0);
            MAT_Transpose(&Object, rows, cols, a.m.data(), turned.m.data());
            MAT_Flatten(&Object, rows, cols, a.m.data(), flat.data);
            for (uint64_t i = 0; i < rows; i++) {
                for (uint64_t j = 0; j < cols; j++) {
                    ASSERT_EQ(Bits(turned.m[j][i]), Bits(a.m[i][j]));
                    ASSERT_EQ(Bits(flat.data[i * cols + j]), Bits(a.m[i][j]));
                }
            }
            EXPECT_TRUE(turned.Guards_Whole() && flat.Guards_Whole());
        }
    }
}

TEST(MatPeak, KnownAnswers)
{
    struct Case {
        const char* name;
        Matrix m;
        float peak;
    };
    const Case cases[] = {
        {"of +a and -a the negative one", {{3, -3}}, -3},
        {"positive", {{3}, {-2}}, 3},
        {"negative", {{1, 2}, {-9, 3}}, -9},
        {"all zero", {{0, 0}}, 0},
        {"below zero", {{-1, -2}}, -2},
        {"NaN is passed over", {{NAN, 2}}, 2},
    };
    for (const Case& c : cases) {
        float peak = 99;
        MAT_Peak(&Object, c.m.columns, c.m.rows, c.m.m.data(), &peak);
        EXPECT_EQ(peak, c.peak) << c.name;
    }
    float peak = 99;
    MAT_Peak(&Object, 0, 3, nullptr, &peak);
    EXPECT_EQ(peak, 99);
    MAT_Peak(&Object, 3, 0, nullptr, &peak);
    EXPECT_EQ(peak, 0);
}

// ---- Products ----

// The sums over k of a[i][k] * b[k][j], upward; of b the elements or their magnitudes.
static Matrix Multiply(const Matrix& a, const Matrix& b, bool magnitudes)
{
    Matrix product(a.rows, b.columns);
    for (uint64_t i = 0; i < a.rows; i++) {
        for (uint64_t j = 0; j < b.columns; j++) {
            float sum = 0.0f;
            for (uint64_t k = 0; k < a.columns; k++) {
                sum = std::fma(a.m[i][k], magnitudes ? std::fabs(b.m[k][j]) : b.m[k][j], sum);
            }
            product.m[i][j] = sum;
        }
    }
    return product;
}

TEST(MatProducts, AreThePlainSums)
{
    Random random = {3};
    const uint64_t sizes[] = {0, 1, 2, 3, 4, 5, 8, 9, 15, 16, 23, 40};
    for (int turn = 0; turn < 600; turn++) {
        const uint64_t rows = sizes[Random_Word(&random) % 12];
        const uint64_t inner = sizes[Random_Word(&random) % 12];
        const uint64_t cols = sizes[Random_Word(&random) % 12];
        SCOPED_TRACE(testing::Message() << rows << " " << inner << " " << cols);
        const Content content = turn % 3 == 0 ? Special : Ordinary;
        Matrix a(rows, inner);
        Matrix b(inner, cols, 4);
        Matrix turned_a(inner, rows, 8);
        Matrix turned_b(cols, inner);
        a.Fill(&random, content);
        b.Fill(&random, content);
        MAT_Transpose(&Object, rows, inner, a.m.data(), turned_a.m.data());
        MAT_Transpose(&Object, inner, cols, b.m.data(), turned_b.m.data());
        const Matrix expected = Multiply(a, b, false);
        Matrix c(rows, cols, 4);
        Matrix d(rows, cols);
        Matrix e(rows, cols);
        MAT_Mul(&Object, rows, inner, cols, a.m.data(), b.m.data(), c.m.data());
        MAT_TransMul(&Object, inner, rows, cols, turned_a.m.data(), b.m.data(), d.m.data());
        MAT_Mul_Trans(&Object, cols, inner, rows, turned_b.m.data(), a.m.data(), e.m.data());
        for (const Matrix* m : {&c, &d, &e}) {
            EXPECT_TRUE(Same_Matrix(expected, *m));
        }
        if (rows != 0) {
            Matrix f(1, cols);
            MAT_VecMul(&Object, cols, inner, a.m[0], b.m.data(), f.m[0]);
            EXPECT_TRUE(Same_Floats(expected.m[0], f.m[0], cols) && f.Guards_Whole());
            MAT_VecMul_Abs(&Object, cols, inner, a.m[0], b.m.data(), f.m[0]);
            const Matrix of_magnitudes = Multiply(a, b, true);
            EXPECT_TRUE(Same_Floats(of_magnitudes.m[0], f.m[0], cols) && f.Guards_Whole());
        }
    }
}

TEST(MatProducts, InDoubles)
{
    double rows[6][2] = {{1, 2}, {3, 4}, {0x1p-60, 1}, {5, 6}, {7, 8}, {9, 9}};
    double* a[3] = {rows[0], rows[1], rows[2]};
    double* b[2] = {rows[3], rows[4]};
    double results[3][2];
    double* c[3] = {results[0], results[1], results[2]};
    MAT_Mul_D(&Object, 3, 2, 2, a, b, c);
    const double expected[3][2] = {{19, 22}, {43, 50}, {7, 8}};
    EXPECT_EQ(memcmp(results, expected, sizeof results), 0);
    MAT_Mul_D(&Object, 3, 0, 2, a, b, c);
    EXPECT_EQ(results[2][1], 0.0);
}

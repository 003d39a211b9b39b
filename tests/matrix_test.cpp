// Matrix storage, row-wise operations and products: against the plain loops that define them, by
// bits.
#include "tests/engine_fixture.h"
#include "tests/matrix_fixture.h"

#include <malloc.h>

static ObjectHeader Object = Make_Object();

// ---- Storage ----

struct StorageCase {
    const char* name;
    void (*alloc)(uint64_t rows, uint64_t columns, void*** out);
    void (*release)(uint64_t rows, void** m);
    size_t width;
};
template <auto Alloc, class Element> static void Take(uint64_t rows, uint64_t columns, void*** out)
{
    Element** m;
    Alloc(&Object, rows, columns, &m);
    *out = reinterpret_cast<void**>(m);
}
template <auto Free, class Element> static void Give_Back(uint64_t rows, void** m)
{
    Free(&Object, rows, reinterpret_cast<Element**>(m));
}
static const StorageCase Storage_Cases[] = {
    {"C", Take<MAT_Alloc_C, float>, Give_Back<MAT_Free_C, float>, 4},
    {"C_D", Take<MAT_Alloc_C_D, double>, Give_Back<MAT_Free_C_D, double>, 8},
    {"C_64", Take<MAT_Alloc_C_64, int64_t>, Give_Back<MAT_Free_C_64, int64_t>, 8},
    {"C_32", Take<MAT_Alloc_C_32, int32_t>, Give_Back<MAT_Free_C_32, int32_t>, 4},
    {"C_16", Take<MAT_Alloc_C_16, int16_t>, Give_Back<MAT_Free_C_16, int16_t>, 2},
    {"T", Take<MAT_Alloc_T, float>, Give_Back<MAT_Free_T, float>, 4},
    {"T_D", Take<MAT_Alloc_T_D, double>, Give_Back<MAT_Free_T_D, double>, 8},
    {"T_64", Take<MAT_Alloc_T_64, int64_t>, Give_Back<MAT_Free_T_64, int64_t>, 8},
    {"T_32", Take<MAT_Alloc_T_32, int32_t>, Give_Back<MAT_Free_T_32, int32_t>, 4},
    {"T_16", Take<MAT_Alloc_T_16, int16_t>, Give_Back<MAT_Free_T_16, int16_t>, 2},
};

// The sanitizer build sees a block that is too small, freed twice or not at all.
TEST(MatStorage, RowsAreAlignedWholeAndGivenBack)
{
    for (const StorageCase& c : Storage_Cases) {
        SCOPED_TRACE(c.name);
        for (const uint64_t rows : {0, 1, 7}) {
            void** m = nullptr;
            c.alloc(rows, 13, &m);
            ASSERT_NE(m, nullptr);
            for (uint64_t i = 0; i < rows; i++) {
                EXPECT_EQ(reinterpret_cast<uintptr_t>(m[i]) % 16, 0u);
                EXPECT_GE(malloc_usable_size(m[i]), 13 * c.width);
                memset(m[i], 0x55, 13 * c.width);
            }
            c.release(rows, m);
        }
    }
}

TEST(MatStorage, SizesBeyond64BitsAreExhaustedMemory)
{
    struct Case {
        uint64_t rows, columns;
        bool persistent;
        const char* report;
    };
    static const Case cases[] = {
        {UINT64_MAX / 8 + 2, 1, true, "3,10: OBJ_Malloc_C: Out of Memory"},
        {UINT64_MAX / 8 + 2, 1, false, "3,2: OBJ_Malloc_T: Out of temp. memory"},
        {1, UINT64_MAX / 4 + 2, true, "3,10: OBJ_Malloc_C: Out of Memory"},
        {1, UINT64_MAX / 4 + 2, false, "3,2: OBJ_Malloc_T: Out of temp. memory"},
    };
    for (const Case& c : cases) {
        RecordingObject object;
        Make_Recorder(&object);
        float** m = nullptr;
        EXPECT_TRUE(Stops(&object, [&] {
            (c.persistent ? MAT_Alloc_C : MAT_Alloc_T)(&object.header, c.rows, c.columns, &m);
        }));
        EXPECT_EQ(object.reports, std::vector<std::string>{c.report});
        free(m);
    }
}

// ---- Row by row ----

TEST(MatRows, EachElementOnItsOwn)
{
    struct Case {
        const char* name;
        void (*run)(const Matrix& a, const Matrix& b, Matrix& c);
        float (*element)(float a, float b, float c);
    };
#define SIZES &Object, c.rows, c.columns
    static const Case cases[] = {
        {"Copy", [](auto& a, auto&, auto& c) { MAT_Copy(SIZES, a.m.data(), c.m.data()); },
         [](float a, float, float) { return a; }},
        {"Copy_32", [](auto& a, auto&, auto& c) { MAT_Copy_32(SIZES, a.m.data(), c.m.data()); },
         [](float a, float, float) { return a; }},
        {"Zero", [](auto&, auto&, auto& c) { MAT_Zero(SIZES, c.m.data()); },
         [](float, float, float) { return 0.0f; }},
        {"Zero_32", [](auto&, auto&, auto& c) { MAT_Zero_32(SIZES, c.m.data()); },
         [](float, float, float) { return 0.0f; }},
        {"Fill", [](auto&, auto&, auto& c) { MAT_Fill(SIZES, c.m.data(), 2.5f); },
         [](float, float, float) { return 2.5f; }},
        {"Fill_32", [](auto&, auto&, auto& c) { MAT_Fill_32(SIZES, 0x40200000, c.m.data()); },
         [](float, float, float) { return 2.5f; }},
        {"Scale", [](auto&, auto&, auto& c) { MAT_Scale(SIZES, c.m.data(), 0.7f); },
         [](float, float, float c) { return c * 0.7f; }},
        {"Add",
         [](auto& a, auto& b, auto& c) { MAT_Add(SIZES, a.m.data(), b.m.data(), c.m.data()); },
         [](float a, float b, float) { return a + b; }},
        {"Add_InPlace",
         [](auto& a, auto&, auto& c) { MAT_Add_InPlace(SIZES, a.m.data(), c.m.data()); },
         [](float a, float, float c) { return a + c; }},
        {"Sub",
         [](auto& a, auto& b, auto& c) { MAT_Sub(SIZES, a.m.data(), b.m.data(), c.m.data()); },
         [](float a, float b, float) { return a - b; }},
        {"Sub_InPlace",
         [](auto& a, auto&, auto& c) { MAT_Sub_InPlace(SIZES, a.m.data(), c.m.data()); },
         [](float a, float, float c) { return c - a; }},
    };
#undef SIZES
    Random random = {1};
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        for (const auto& [rows, columns] :
             std::vector<std::pair<uint64_t, uint64_t>>{{0, 3}, {3, 0}, {1, 1}, {3, 37}, {5, 8}}) {
            Matrix a(rows, columns);
            Matrix b(rows, columns, 4);
            Matrix c(rows, columns);
            for (Matrix* m : {&a, &b, &c}) {
                m->Fill(&random, Ordinary);
            }
            Matrix expected(c);
            for (uint64_t i = 0; i < rows; i++) {
                for (uint64_t j = 0; j < columns; j++) {
                    expected.m[i][j] = test.element(a.m[i][j], b.m[i][j], c.m[i][j]);
                }
            }
            test.run(a, b, c);
            EXPECT_TRUE(Same_Matrix(expected, c));
        }
    }
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
    const float nan = NAN;
    const Case cases[] = {
        {"of +a and -a the negative one", {{3, -3}}, -3},
        {"positive", {{3}, {-2}}, 3},
        {"negative", {{1, 2}, {-9, 3}}, -9},
        {"all zero", {{0, 0}}, 0},
        {"below zero", {{-1, -2}}, -2},
        {"NaN is passed over", {{nan, 2}}, 2},
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

// expected[i][j] = the sum over k of left(i, k) * right(k, j), upward.
template <class Left, class Right>
static void Multiply(Matrix* expected, uint64_t inner, Left left, Right right)
{
    for (uint64_t i = 0; i < expected->rows; i++) {
        for (uint64_t j = 0; j < expected->columns; j++) {
            float sum = 0.0f;
            for (uint64_t k = 0; k < inner; k++) {
                sum = std::fma(left(i, k), right(k, j), sum);
            }
            expected->m[i][j] = sum;
        }
    }
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
        Matrix expected(rows, cols);
        Multiply(
            &expected, inner, [&](uint64_t i, uint64_t k) { return a.m[i][k]; },
            [&](uint64_t k, uint64_t j) { return b.m[k][j]; });

        Matrix c(rows, cols, 4);
        MAT_Mul(&Object, rows, inner, cols, a.m.data(), b.m.data(), c.m.data());
        EXPECT_TRUE(Same_Matrix(expected, c));
        Matrix d(rows, cols);
        MAT_TransMul(&Object, inner, rows, cols, turned_a.m.data(), b.m.data(), d.m.data());
        EXPECT_TRUE(Same_Matrix(expected, d));
        Matrix e(rows, cols);
        MAT_Mul_Trans(&Object, cols, inner, rows, turned_b.m.data(), a.m.data(), e.m.data());
        EXPECT_TRUE(Same_Matrix(expected, e));
        if (rows != 0) {
            Matrix f(1, cols);
            MAT_VecMul(&Object, cols, inner, a.m[0], b.m.data(), f.m[0]);
            EXPECT_TRUE(Same_Floats(expected.m[0], f.m[0], cols) && f.Guards_Whole());
            MAT_VecMul_Abs(&Object, cols, inner, a.m[0], b.m.data(), f.m[0]);
            Multiply(
                &expected, inner, [&](uint64_t i, uint64_t k) { return a.m[i][k]; },
                [&](uint64_t k, uint64_t j) { return std::fabs(b.m[k][j]); });
            EXPECT_TRUE(Same_Floats(expected.m[0], f.m[0], cols) && f.Guards_Whole());
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

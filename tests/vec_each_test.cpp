// The copies, fills, element-wise operations and level conversions of the VEC family.
#include "vector/vec.h"

#include "tests/vector_fixture.h"

static ObjectHeader Object = Make_Object();

using namespace Plain;

static std::vector<float> List(const float* values, size_t n)
{
    return {values, values + n};
}

// ---- Element by element ----

static const EachCase Each_Cases[] = {
    {"Copy", Run_Each<VEC_Copy>, [](EachInput x) { return x.a; }},
    {"Convert_FF", Run_Each<VEC_Convert_FF>, [](EachInput x) { return x.a; }},
    {"Scale_Add", Run_Each<VEC_Scale_Add>, [](EachInput x) { return std::fma(x.dst, x.s, x.a); }},
    {"Smooth_Asym", Run_Each<VEC_Smooth_Asym>,
     [](EachInput x) { return std::fma(x.a < x.dst ? x.s : x.t, x.a - x.dst, x.dst); }},
    {"Smooth_Limited", Run_Each<VEC_Smooth_Limited>,
     [](EachInput x) {
         return std::fma(Smaller_Number(x.a - x.dst, std::fma(x.dst, x.t, 1.0f)), x.s, x.dst);
     }},
    {"Div", Run_Each<VEC_Div>, [](EachInput x) { return x.a / x.b; }},
    {"Square", Run_Each<VEC_Square>, [](EachInput x) { return x.a * x.a; }},
    {"Sqrt", Run_Each<VEC_Sqrt>, [](EachInput x) { return std::sqrt(x.a); }},
    {"InvSqrt", Run_Each<VEC_InvSqrt>, [](EachInput x) { return 1.0f / std::sqrt(x.a); }},
    {"Abs", Run_Each<VEC_Abs>, [](EachInput x) { return From_Bits(Bits(x.a) & INT32_MAX); }},
};

TEST(VecEach, EqualsThePlainLoop)
{
    for (const EachCase& c : Each_Cases) {
        Check_Each(c, 0.7f, 0.3f, 21);
    }
}

TEST(VecSmooth, TakesTheFirstCoefficientDownwardOnly)
{
    const float x[4] = {0.0f, 2.0f, 1.0f, NaN};
    float y[4] = {1.0f, 1.0f, 1.0f, 1.0f};
    VEC_Smooth_Asym(&Object, 4, x, y, 0.25f, 0.5f);
    EXPECT_EQ(List(y, 3), (std::vector<float>{0.75f, 1.5f, 1.0f}));
    EXPECT_NE(y[3], y[3]);
}

TEST(VecSmooth, LimitsTheStepUpwardOnly)
{
    const float x[3] = {100.0f, -100.0f, 5.5f};
    float y[3] = {4.0f, 4.0f, 4.0f};
    VEC_Smooth_Limited(&Object, 3, x, y, 0.5f, 0.25f); // the limit is 4 * 0.25 + 1
    EXPECT_EQ(List(y, 3), (std::vector<float>{5.0f, -48.0f, 4.75f}));
}

TEST(VecMulReversed, ReadsTheFirstBackward)
{
    for (const uint64_t n : {1u, 4u, 13u, 64u}) {
        std::vector<float> p(n);
        std::vector<float> q(n);
        std::vector<float> expected(n);
        for (uint64_t i = 0; i < n; i++) {
            p[i] = static_cast<float>(i + 1);
            q[i] = static_cast<float>(10 * i + 3);
            expected[i] = static_cast<float>(n - i) * q[i];
        }
        VEC_Mul_Reversed(&Object, n, p.data(), q.data(), q.data());
        EXPECT_EQ(q, expected);
    }
}

// ---- Doubles ----

TEST(VecDoubles, ConvertAndCalculate)
{
    const double wide[3] = {1.0 + 0x1p-24 + 0x1p-50, -0.1, 1e300};
    float narrow[4] = {0, 0, 0, 9};
    VEC_Convert_DF(&Object, 3, wide, narrow);
    EXPECT_EQ(List(narrow, 4), (std::vector<float>{1.0f + 0x1p-23f, -0.1f, Inf, 9.0f}));
    double back[4] = {0, 0, 0, 9};
    VEC_Convert_FD(&Object, 3, narrow, back);
    EXPECT_EQ(back[1], static_cast<double>(-0.1f));
    EXPECT_EQ(back[3], 9.0);
    VEC_Convert_DD(&Object, 3, wide, back);
    EXPECT_EQ(memcmp(back, wide, sizeof wide), 0);
    std::vector<double> difference(3);
    const double q[3] = {1.0, 0.1, -1e300};
    VEC_Sub_D(&Object, 3, wide, q, difference.data());
    EXPECT_EQ(difference, (std::vector<double>{0x1p-24 + 0x1p-50, -0.2, 2e300}));
    VEC_Scale_D(&Object, 2, difference.data(), 3.0);
    EXPECT_EQ(difference[1], -0.2 * 3.0);
    EXPECT_EQ(difference[2], 2e300) << "beyond n";
}

// ---- Blocks ----

TEST(VecBlocks, CopyTheWidthOfTheirName)
{
    const uint64_t src[3] = {0x0123456789ABCDEF, 0x7FF0000000000001, 0x1111111111111111};
    const auto check = [&](auto copy, size_t bytes) {
        SCOPED_TRACE(bytes);
        uint64_t dst[3] = {};
        copy(&Object, 2, src, dst);
        EXPECT_EQ(memcmp(dst, src, 2 * bytes), 0);
        EXPECT_EQ(reinterpret_cast<uint8_t*>(dst)[2 * bytes], 0) << "copied too much";
        copy(&Object, 0, nullptr, nullptr);
    };
    check(VEC_Copy_16, 2);
    check(VEC_Copy_32, 4);
    check(VEC_Copy_64, 8);
}

TEST(VecBlocks, FillAndZeroTheWidthOfTheirName)
{
    using Words = std::vector<uint64_t>;
    const uint64_t pattern = 0x0123456789ABCDEF;
    Words words = {7, 7, 7};
    VEC_Fill_64(&Object, 2, pattern, words.data());
    EXPECT_EQ(words, (Words{pattern, pattern, 7}));
    VEC_Fill_32(&Object, 3, 0x89ABCDEF, words.data());
    EXPECT_EQ(words, (Words{0x89ABCDEF89ABCDEF, pattern, 7}));
    VEC_Zero_32(&Object, 1, words.data());
    EXPECT_EQ(words[0], 0x89ABCDEF00000000u);
    VEC_Zero_64(&Object, 2, words.data());
    EXPECT_EQ(words, (Words{0, 0, 7}));
}

TEST(VecRanges, KeepToTheirOffsets)
{
    float v[6] = {1, 2, 3, 4, 5, 6};
    VEC_Move_Range(&Object, 4, v, 0, 1);
    EXPECT_EQ(List(v, 6), (std::vector<float>{1, 1, 2, 3, 4, 6}));
    VEC_Move_Range(&Object, 3, v, 2, 0);
    EXPECT_EQ(List(v, 6), (std::vector<float>{2, 3, 4, 3, 4, 6}));
    const float src[4] = {10, 20, 30, 40};
    VEC_Copy_Range(&Object, 2, src, 1, v, 3);
    EXPECT_EQ(List(v, 6), (std::vector<float>{2, 3, 4, 20, 30, 6}));
    VEC_Fill_Range(&Object, 2, v, 1, 9.0f);
    VEC_Zero_Range(&Object, 1, v, 4);
    EXPECT_EQ(List(v, 6), (std::vector<float>{2, 9, 9, 20, 0, 6}));
    float out = 0.0f;
    VEC_Get(&Object, 0, 3, v, &out);
    EXPECT_EQ(out, 20.0f);
    VEC_Set(&Object, 0, 5, v, -1.0f);
    EXPECT_EQ(v[5], -1.0f);
}

TEST(VecCopyDistinct, LeavesAnArrayToItself)
{
    const float src[5] = {1, 2, 3, 4, 5};
    float dst[5] = {};
    VEC_Copy_Distinct(&Object, 4, 99, src, dst);
    EXPECT_EQ(List(dst, 5), (std::vector<float>{1, 2, 3, 4, 0}));
    // Only the low 32 bits of n count.
    VEC_Copy_Distinct(&Object, (uint64_t{1} << 32) + 1, 0, src + 4, dst);
    EXPECT_EQ(dst[0], 5.0f);
    // The same address is not touched, not even for reading.
    VEC_Copy_Distinct(&Object, 4, 0, nullptr, nullptr);
}

// ---- Levels ----

TEST(VecLevels, KnownAnswers)
{
    const auto check = [](const char* name, float value, float floor, float power,
                          float amplitude) {
        float db[3] = {77.0f, 77.0f, 77.0f};
        VEC_AmplitudeToDb(&Object, 1, &value, &db[1], floor);
        VEC_PowerToDb(&Object, 1, &value, db, floor);
        EXPECT_FLOAT_EQ(db[0], power) << name; // the platform's logarithm
        EXPECT_FLOAT_EQ(db[1], amplitude) << name;
        EXPECT_EQ(db[2], 77.0f) << name;
    };
    check("unity", 1.0f, 1e-10f, 0.0f, 0.0f);
    check("hundred", 100.0f, 1e-10f, 20.0f, 40.0f);
    check("below the floor", 0.001f, 0.1f, -10.0f, -20.0f);
    check("zero", 0.0f, 0.1f, -10.0f, -20.0f);
    check("negative", -5.0f, 0.1f, -10.0f, -20.0f);
    check("NaN", NaN, 0.1f, -10.0f, -20.0f);
    check("infinity", Inf, 0.1f, Inf, Inf);
    check("zero over a zero floor", 0.0f, 0.0f, -Inf, -Inf);
}

TEST(VecPow10, TakesTheExponentAsItComes)
{
    const float exponents[5] = {0.0f, 2.0f, -3.0f, 0.5f, 40.0f};
    float out[5];
    VEC_Pow10(&Object, 5, exponents, out);
    EXPECT_EQ(List(out, 5), (std::vector<float>{1.0f, 100.0f, 0.001f, 3.16227766f, Inf}));
}

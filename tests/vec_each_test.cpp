// The copies, fills, element-wise operations and level conversions of the VEC family.
#include "vector/vec.h"

#include "tests/vector_fixture.h"

static ObjectHeader Object = Make_Object();
static float A;
static float B;

// ---- Element by element ----

static float Smaller_Number(float a, float b)
{
    if (a != a || b != b) {
        return a != a ? b : a; // no signalling NaN comes this far
    }
    return a < b || (a == b && std::signbit(a)) ? a : b;
}

struct VecCase {
    const char* name;
    void (*run)(uint64_t n, const float* p, const float* q, float* dst);
    float (*one)(float p, float q, float dst);
};

static const VecCase Vec_Cases[] = {
    {"Copy",
     [](uint64_t n, const float* p, const float*, float* dst) { VEC_Copy(&Object, n, p, dst); },
     [](float p, float, float) { return p; }},
    {"Convert_FF",
     [](uint64_t n, const float* p, const float*, float* dst) {
         VEC_Convert_FF(&Object, n, p, dst);
     },
     [](float p, float, float) { return p; }},
    {"Scale_Add",
     [](uint64_t n, const float* p, const float*, float* dst) {
         VEC_Scale_Add(&Object, n, p, dst, A);
     },
     [](float p, float, float dst) { return std::fma(dst, A, p); }},
    {"Smooth_Asym",
     [](uint64_t n, const float* p, const float*, float* dst) {
         VEC_Smooth_Asym(&Object, n, p, dst, A, B);
     },
     [](float p, float, float dst) { return std::fma(p < dst ? A : B, p - dst, dst); }},
    {"Smooth_Limited",
     [](uint64_t n, const float* p, const float*, float* dst) {
         VEC_Smooth_Limited(&Object, n, p, dst, A, B);
     },
     [](float p, float, float dst) {
         return std::fma(Smaller_Number(p - dst, std::fma(dst, B, 1.0f)), A, dst);
     }},
    {"Div",
     [](uint64_t n, const float* p, const float* q, float* dst) { VEC_Div(&Object, n, p, q, dst); },
     [](float p, float q, float) { return p / q; }},
    {"Square",
     [](uint64_t n, const float* p, const float*, float* dst) { VEC_Square(&Object, n, p, dst); },
     [](float p, float, float) { return p * p; }},
    {"Sqrt",
     [](uint64_t n, const float* p, const float*, float* dst) { VEC_Sqrt(&Object, n, p, dst); },
     [](float p, float, float) { return std::sqrt(p); }},
    {"InvSqrt",
     [](uint64_t n, const float* p, const float*, float* dst) { VEC_InvSqrt(&Object, n, p, dst); },
     [](float p, float, float) { return 1.0f / std::sqrt(p); }},
    {"Abs",
     [](uint64_t n, const float* p, const float*, float* dst) { VEC_Abs(&Object, n, p, dst); },
     [](float p, float, float) { return From_Bits(Bits(p) & 0x7FFFFFFF); }},
};

static void PrintTo(const VecCase& c, std::ostream* stream)
{
    *stream << c.name;
}

class VecEach : public testing::TestWithParam<VecCase>
{
};

INSTANTIATE_TEST_SUITE_P(, VecEach, testing::ValuesIn(Vec_Cases),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(VecEach, EqualsThePlainLoop)
{
    const VecCase& c = GetParam();
    Random random = {21};
    A = 0.7f;
    B = 0.3f;
    for (const uint32_t n : Lengths) {
        for (const unsigned off : {0u, 4u}) {
            for (const bool in_place : {false, true}) {
                for (const Content content : {Ordinary, Special, Any_Bits}) {
                    SCOPED_TRACE(testing::Message()
                                 << "n " << n << ", bytes off " << off << ", in place " << in_place
                                 << ", content " << content);
                    Guarded p(n, off);
                    Guarded q(n, 0);
                    Guarded dst(n, off);
                    p.Fill(Make_Floats(&random, n, content));
                    q.Fill(Make_Floats(&random, n, content));
                    dst.Fill(Make_Floats(&random, n, content));
                    float* const to = in_place ? p.data : dst.data;
                    std::vector<float> expected(n);
                    for (uint32_t i = 0; i < n; i++) {
                        expected[i] = c.one(p.data[i], q.data[i], to[i]);
                    }
                    c.run(n, p.data, q.data, to);
                    EXPECT_TRUE(Same_Floats(expected.data(), to, n));
                    EXPECT_TRUE(p.Guards_Whole() && q.Guards_Whole() && dst.Guards_Whole());
                }
            }
        }
    }
}

TEST(VecSmooth, TakesTheFirstCoefficientDownwardOnly)
{
    const float x[4] = {0.0f, 2.0f, 1.0f, std::numeric_limits<float>::quiet_NaN()};
    float y[4] = {1.0f, 1.0f, 1.0f, 1.0f};
    VEC_Smooth_Asym(&Object, 4, x, y, 0.25f, 0.5f);
    EXPECT_EQ(y[0], 0.75f);
    EXPECT_EQ(y[1], 1.5f);
    EXPECT_EQ(y[2], 1.0f);
    EXPECT_NE(y[3], y[3]);
}

TEST(VecSmooth, LimitsTheStepUpwardOnly)
{
    const float x[3] = {100.0f, -100.0f, 5.5f};
    float y[3] = {4.0f, 4.0f, 4.0f};
    VEC_Smooth_Limited(&Object, 3, x, y, 0.5f, 0.25f); // the limit is 4 * 0.25 + 1
    EXPECT_EQ(y[0], 5.0f);
    EXPECT_EQ(y[1], -48.0f);
    EXPECT_EQ(y[2], 4.75f);
}

TEST(VecMulReversed, ReadsTheFirstBackward)
{
    for (const uint64_t n : {1u, 4u, 13u, 64u}) {
        std::vector<float> p(n);
        std::vector<float> q(n);
        for (uint64_t i = 0; i < n; i++) {
            p[i] = static_cast<float>(i + 1);
            q[i] = static_cast<float>(10 * i + 3);
        }
        const std::vector<float> old = q;
        VEC_Mul_Reversed(&Object, n, p.data(), q.data(), q.data());
        for (uint64_t i = 0; i < n; i++) {
            EXPECT_EQ(q[i], p[n - 1 - i] * old[i]);
        }
    }
}

// ---- Doubles ----

TEST(VecDoubles, ConvertAndCalculate)
{
    const double wide[3] = {1.0 + 0x1p-24 + 0x1p-50, -0.1, 1e300};
    float narrow[4] = {0, 0, 0, 9};
    VEC_Convert_DF(&Object, 3, wide, narrow);
    EXPECT_EQ(narrow[0], 1.0f + 0x1p-23f);
    EXPECT_EQ(narrow[1], -0.1f);
    EXPECT_EQ(narrow[2], std::numeric_limits<float>::infinity());
    EXPECT_EQ(narrow[3], 9.0f);
    double back[4] = {0, 0, 0, 9};
    VEC_Convert_FD(&Object, 3, narrow, back);
    EXPECT_EQ(back[1], static_cast<double>(-0.1f));
    EXPECT_EQ(back[3], 9.0);
    VEC_Convert_DD(&Object, 3, wide, back);
    EXPECT_EQ(memcmp(back, wide, sizeof wide), 0);
    double difference[3];
    const double q[3] = {1.0, 0.1, -1e300};
    VEC_Sub_D(&Object, 3, wide, q, difference);
    EXPECT_EQ(difference[0], 0x1p-24 + 0x1p-50);
    EXPECT_EQ(difference[1], -0.2);
    EXPECT_EQ(difference[2], 2e300);
    VEC_Scale_D(&Object, 2, difference, 3.0);
    EXPECT_EQ(difference[1], -0.2 * 3.0);
    EXPECT_EQ(difference[2], 2e300) << "beyond n";
}

// ---- Blocks ----

TEST(VecBlocks, CopyTheWidthOfTheirName)
{
    const uint64_t src[3] = {0x0123456789ABCDEF, 0x7FF0000000000001, 0x1111111111111111};
    struct WidthCase {
        const char* name;
        void (*copy)(ObjectHeader*, uint64_t, const void*, void*);
        size_t bytes;
    };
    for (const WidthCase& c : {WidthCase{"16", VEC_Copy_16, 2}, WidthCase{"32", VEC_Copy_32, 4},
                               WidthCase{"64", VEC_Copy_64, 8}}) {
        SCOPED_TRACE(c.name);
        uint64_t dst[3] = {};
        c.copy(&Object, 2, src, dst);
        EXPECT_EQ(memcmp(dst, src, 2 * c.bytes), 0);
        EXPECT_EQ(reinterpret_cast<uint8_t*>(dst)[2 * c.bytes], 0) << "copied too much";
        c.copy(&Object, 0, nullptr, nullptr);
    }
}

TEST(VecBlocks, FillAndZeroTheWidthOfTheirName)
{
    uint64_t words[3] = {7, 7, 7};
    VEC_Fill_64(&Object, 2, 0x0123456789ABCDEF, words);
    EXPECT_EQ(words[1], 0x0123456789ABCDEFu);
    EXPECT_EQ(words[2], 7u);
    VEC_Fill_32(&Object, 3, 0x89ABCDEF, words);
    EXPECT_EQ(words[0], 0x89ABCDEF89ABCDEFu);
    EXPECT_EQ(words[1], 0x0123456789ABCDEFu);
    VEC_Zero_32(&Object, 1, words);
    EXPECT_EQ(words[0], 0x89ABCDEF00000000u);
    VEC_Zero_64(&Object, 2, words);
    EXPECT_EQ(words[0], 0u);
    EXPECT_EQ(words[1], 0u);
    EXPECT_EQ(words[2], 7u);
}

TEST(VecRanges, KeepToTheirOffsets)
{
    float v[6] = {1, 2, 3, 4, 5, 6};
    VEC_Move_Range(&Object, 4, v, 0, 1);
    EXPECT_EQ(std::vector<float>(v, v + 6), (std::vector<float>{1, 1, 2, 3, 4, 6}));
    VEC_Move_Range(&Object, 3, v, 2, 0);
    EXPECT_EQ(std::vector<float>(v, v + 6), (std::vector<float>{2, 3, 4, 3, 4, 6}));
    const float src[4] = {10, 20, 30, 40};
    VEC_Copy_Range(&Object, 2, src, 1, v, 3);
    EXPECT_EQ(std::vector<float>(v, v + 6), (std::vector<float>{2, 3, 4, 20, 30, 6}));
    VEC_Fill_Range(&Object, 2, v, 1, 9.0f);
    VEC_Zero_Range(&Object, 1, v, 4);
    EXPECT_EQ(std::vector<float>(v, v + 6), (std::vector<float>{2, 9, 9, 20, 0, 6}));
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
    EXPECT_EQ(std::vector<float>(dst, dst + 5), (std::vector<float>{1, 2, 3, 4, 0}));
    // Only the low 32 bits of n count.
    VEC_Copy_Distinct(&Object, (uint64_t{1} << 32) + 1, 0, src + 4, dst);
    EXPECT_EQ(dst[0], 5.0f);
    // The same address is not touched, not even for reading.
    VEC_Copy_Distinct(&Object, 4, 0, nullptr, nullptr);
}

// ---- Levels ----

struct LevelCase {
    const char* name;
    float value, floor, power_db, amplitude_db;
};
static const LevelCase Level_Cases[] = {
    {"unity", 1.0f, 1e-10f, 0.0f, 0.0f},
    {"hundred", 100.0f, 1e-10f, 20.0f, 40.0f},
    {"below the floor", 0.001f, 0.1f, -10.0f, -20.0f},
    {"zero", 0.0f, 0.1f, -10.0f, -20.0f},
    {"negative", -5.0f, 0.1f, -10.0f, -20.0f},
    {"NaN", std::numeric_limits<float>::quiet_NaN(), 0.1f, -10.0f, -20.0f},
    {"infinity", std::numeric_limits<float>::infinity(), 0.1f,
     std::numeric_limits<float>::infinity(), std::numeric_limits<float>::infinity()},
    {"zero over a zero floor", 0.0f, 0.0f, -std::numeric_limits<float>::infinity(),
     -std::numeric_limits<float>::infinity()},
};

TEST(VecLevels, KnownAnswers)
{
    for (const LevelCase& c : Level_Cases) {
        SCOPED_TRACE(c.name);
        float db[2] = {0.0f, 77.0f};
        VEC_PowerToDb(&Object, 1, &c.value, db, c.floor);
        EXPECT_FLOAT_EQ(db[0], c.power_db); // the platform's logarithm
        VEC_AmplitudeToDb(&Object, 1, &c.value, db, c.floor);
        EXPECT_FLOAT_EQ(db[0], c.amplitude_db);
        EXPECT_EQ(db[1], 77.0f);
    }
}

TEST(VecPow10, TakesTheExponentAsItComes)
{
    const float exponents[5] = {0.0f, 2.0f, -3.0f, 0.5f, 40.0f};
    float out[5];
    VEC_Pow10(&Object, 5, exponents, out);
    EXPECT_EQ(out[0], 1.0f);
    EXPECT_EQ(out[1], 100.0f);
    EXPECT_EQ(out[2], 0.001f);
    EXPECT_EQ(out[3], 3.16227766f);
    EXPECT_EQ(out[4], std::numeric_limits<float>::infinity());
}

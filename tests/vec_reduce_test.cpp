// The reductions and extrema of the VEC family.
#include "vector/vec.h"

#include "tests/vector_fixture.h"

#include <cfloat>

static ObjectHeader Object = Make_Object();
static constexpr float NaN = std::numeric_limits<float>::quiet_NaN();

// ---- Sums ----

TEST(VecSums, RunFromFirstToLast)
{
    Random random = {31};
    for (const uint32_t n : Lengths) {
        for (const Content content : {Ordinary, Special, Any_Bits}) {
            SCOPED_TRACE(testing::Message() << "n " << n << ", content " << content);
            const std::vector<float> p = Make_Floats(&random, n + 3, content);
            const std::vector<float> q = Make_Floats(&random, n + 3, content);
            float sum = 0.0f;
            float magnitudes = 0.0f;
            float dot = 0.0f;
            for (uint32_t i = 0; i < n; i++) {
                sum += p[i + 3];
                magnitudes += std::fabs(p[i]);
                dot = std::fma(p[i + 3], q[i + 3], dot);
            }
            float out = 99.0f;
            VEC_Sum_Range(&Object, n, p.data(), 3, &out);
            EXPECT_TRUE(Same(sum, out)) << sum << " and " << out;
            out = 99.0f;
            VEC_SumAbs(&Object, n, p.data(), &out);
            EXPECT_TRUE(Same(magnitudes, out)) << magnitudes << " and " << out;
            out = 99.0f;
            VEC_Dot_Range(&Object, n, p.data(), q.data(), 3, &out);
            EXPECT_TRUE(Same(dot, out)) << dot << " and " << out;
        }
    }
}

TEST(VecSums, SquaresOfDoublesAreFused)
{
    const double v[2] = {1.0 + 0x1p-40, 1.0};
    double out = 99.0;
    VEC_SumSquares_D(&Object, 2, v, &out);
    EXPECT_EQ(out, std::fma(1.0, 1.0, (1.0 + 0x1p-40) * (1.0 + 0x1p-40)));
    const double reversed[2] = {0x1p30, 1.0 + 0x1p-30}; // 2^60 + 1 + 2^-29 rounded once
    VEC_SumSquares_D(&Object, 2, reversed, &out);
    EXPECT_EQ(out, std::fma(1.0 + 0x1p-30, 1.0 + 0x1p-30, 0x1p60));
    const double thirds[3] = {1.0 / 3, 1.0 / 3, 1.0 / 3};
    VEC_SumSquares_D(&Object, 3, thirds, &out);
    EXPECT_EQ(out, std::fma(1.0 / 3, 1.0 / 3, std::fma(1.0 / 3, 1.0 / 3, 1.0 / 3 * (1.0 / 3))));
    VEC_SumSquares_D(&Object, 0, nullptr, &out);
    EXPECT_EQ(out, 0.0);
}

TEST(VecMeans, TakeTheKernelsOrder)
{
    alignas(16) const float values[5] = {1e8f, 1.0f, -1e8f, 1.0f, 1.0f};
    alignas(16) float moved[6];
    memcpy(moved + 1, values, sizeof values);
    float out = 99.0f;
    VEC_Mean(&Object, 5, values, &out);
    EXPECT_EQ(out, 0.2f);
    VEC_Mean(&Object, 5, moved + 1, &out);
    EXPECT_EQ(out, 0.4f);
    alignas(16) const float small[4] = {1.0f, 2.0f, 3.0f, 4.0f};
    VEC_MeanSquare(&Object, 4, small, &out);
    EXPECT_EQ(out, 7.5f);
}

TEST(VecMeans, OfNothingAreNaN)
{
    float out = 0.0f;
    VEC_Mean(&Object, 0, nullptr, &out);
    EXPECT_NE(out, out);
    out = 0.0f;
    VEC_MeanSquare(&Object, 0, nullptr, &out);
    EXPECT_NE(out, out);
}

// ---- Extrema with an index ----

struct IndexCase {
    const char* name;
    std::vector<float> values;
    float max;
    uint64_t max_index;
    float min;
    uint64_t min_index;
};
static const IndexCase Index_Cases[] = {
    {"first of two maxima", {2, 5, 5, 1}, 5, 1, 1, 3},
    {"first of two minima", {3, 1, 1}, 3, 0, 1, 1},
    {"one", {-7}, -7, 0, -7, 0},
    {"a NaN in front stays", {NaN, 9, -9}, NaN, 0, NaN, 0},
    {"a NaN behind is passed over", {1, NaN, 9, -9}, 9, 2, -9, 3},
    {"zeros are equal, minus first", {-0.0f, 0.0f}, -0.0f, 0, -0.0f, 0},
    {"zeros are equal, plus first", {0.0f, -0.0f}, 0.0f, 0, 0.0f, 0},
    {"a subnormal keeps its bits", {From_Bits(1), -1, -2}, From_Bits(1), 0, -2, 2},
};

TEST(VecIndex, KnownAnswers)
{
    for (const IndexCase& c : Index_Cases) {
        SCOPED_TRACE(c.name);
        const uint64_t n = c.values.size();
        float out = 99.0f;
        uint64_t index = 99;
        VEC_Max_Index(&Object, n, c.values.data(), &out, &index);
        EXPECT_TRUE(Same(c.max, out)) << out;
        EXPECT_EQ(index, c.max_index);
        VEC_Min_Index(&Object, n, c.values.data(), &out, &index);
        EXPECT_TRUE(Same(c.min, out)) << out;
        EXPECT_EQ(index, c.min_index);
        std::vector<float> shifted = {100.0f, 200.0f};
        shifted.insert(shifted.end(), c.values.begin(), c.values.end());
        shifted.push_back(300.0f);
        VEC_Max_Index_Range(&Object, n, shifted.data(), 2, &out, &index);
        EXPECT_TRUE(Same(c.max, out)) << out;
        EXPECT_EQ(index, c.max_index + 2);
        out = 99.0f;
        VEC_Max_Range(&Object, n, shifted.data(), 2, &out);
        EXPECT_TRUE(Same(c.max, out)) << out;
    }
}

TEST(VecIndex, ReadsTheFirstElementWhateverNIs)
{
    const float v[3] = {4.0f, 5.0f, 6.0f};
    float out = 0.0f;
    uint64_t index = 99;
    VEC_Max_Index(&Object, 0, v, &out, &index);
    EXPECT_EQ(out, 4.0f);
    EXPECT_EQ(index, 0u);
    VEC_Min_Index(&Object, 0, v + 1, &out, &index);
    EXPECT_EQ(out, 5.0f);
    EXPECT_EQ(index, 0u);
    VEC_Max_Index_Range(&Object, 0, v, 2, &out, &index);
    EXPECT_EQ(out, 6.0f);
    EXPECT_EQ(index, 2u);
    VEC_Max_Range(&Object, 0, v, 1, &out);
    EXPECT_EQ(out, 5.0f);
}

TEST(VecIndex, OfIntegers)
{
    const int32_t v[6] = {3, INT32_MIN, INT32_MAX, INT32_MAX, INT32_MIN, 0};
    int32_t out = 0;
    uint64_t index = 99;
    VEC_Max_Index_I(&Object, 6, v, &out, &index);
    EXPECT_EQ(out, INT32_MAX);
    EXPECT_EQ(index, 2u);
    VEC_Min_Index_I(&Object, 6, v, &out, &index);
    EXPECT_EQ(out, INT32_MIN);
    EXPECT_EQ(index, 1u);
    VEC_Max_Index_I(&Object, 0, v, &out, &index);
    EXPECT_EQ(out, 3);
    EXPECT_EQ(index, 0u);
}

// ---- Peak, minimum and maximum ----

struct PeakCase {
    const char* name;
    std::vector<float> values;
    float peak;
};
static const PeakCase Peak_Cases[] = {
    {"a tie is negative", {3, -3}, -3},
    {"positive", {3, -2}, 3},
    {"all positive", {1, 2}, 2},
    {"all negative", {-1, -2}, -2},
    {"nothing", {}, 0},
    {"zeros", {0, 0}, 0},
    {"NaN passed over", {NaN, 2, NaN, -1}, 2},
    {"only NaN", {NaN}, 0},
    {"a signalling NaN is not", {From_Bits(0x7F800001)}, NaN},
};

TEST(VecPeak, KnownAnswers)
{
    for (const PeakCase& c : Peak_Cases) {
        SCOPED_TRACE(c.name);
        float out = 99.0f;
        VEC_Peak(&Object, c.values.size(), c.values.data(), &out);
        EXPECT_TRUE(Same(c.peak, out)) << out;
    }
}

struct MinMaxCase {
    const char* name;
    std::vector<float> values;
    float min, max;
};
static const MinMaxCase Min_Max_Cases[] = {
    {"nothing", {}, FLT_MAX, -FLT_MAX},
    {"one", {-4}, -4, -4},
    {"a rising pair", {1, 2}, 1, 2},
    {"a falling pair", {2, 1}, 1, 2},
    {"odd, first lowest", {-9, 1, 2, 4, 3}, -9, 4},
    {"odd, first highest", {9, 1, 2, -4, 3}, -4, 9},
    {"beside a NaN in front only to the minimum", {NaN, 9, 6, 7}, 6, 7},
    {"before a NaN only to the maximum", {-9, NaN, 6, 7}, 6, 7},
    {"an infinite pair",
     {std::numeric_limits<float>::infinity(), 1},
     1,
     std::numeric_limits<float>::infinity()},
    {"zeros", {0.0f, -0.0f}, -0.0f, 0.0f},
};

TEST(VecMinMax, KnownAnswers)
{
    for (const MinMaxCase& c : Min_Max_Cases) {
        SCOPED_TRACE(c.name);
        float min = 99.0f;
        float max = 99.0f;
        VEC_MinMax(&Object, c.values.size(), c.values.data(), &min, &max);
        EXPECT_TRUE(Same(c.min, min)) << min;
        EXPECT_TRUE(Same(c.max, max)) << max;
    }
}

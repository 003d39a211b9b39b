// The reductions and extrema of the VEC family.
#include "vector/vec.h"

#include "tests/vector_fixture.h"

#include <cfloat>

static ObjectHeader Object = Make_Object();

using namespace Plain;

// ---- Sums ----

TEST(VecSums, RunFromFirstToLast)
{
    Each_Content(Lengths, 31, [](uint32_t n, auto make) {
        const std::vector<float> p = make(n + 3);
        const std::vector<float> q = make(n + 3);
        const float expected[3] = {
            Add_Up(n, false, [&](float s, size_t i) { return s + p[i + 3]; }),
            Add_Up(n, false, [&](float s, size_t i) { return s + std::fabs(p[i]); }),
            Add_Up(n, false, [&](float s, size_t i) { return std::fma(p[i + 3], q[i + 3], s); })};
        float out[3] = {99.0f, 99.0f, 99.0f};
        VEC_Sum_Range(&Object, n, p.data(), 3, &out[0]);
        VEC_SumAbs(&Object, n, p.data(), &out[1]);
        VEC_Dot_Range(&Object, n, p.data(), q.data(), 3, &out[2]);
        EXPECT_TRUE(Same_Floats(expected, out, 3));
    });
}

TEST(VecSums, SquaresOfDoublesAreFused)
{
    const auto check = [](const std::vector<double>& v, double expected) {
        double out = 99.0;
        VEC_SumSquares_D(&Object, v.size(), v.data(), &out);
        EXPECT_EQ(out, expected) << v.size() << " elements";
    };
    const double third = 1.0 / 3;
    check({1.0 + 0x1p-40, 1.0}, std::fma(1.0, 1.0, (1.0 + 0x1p-40) * (1.0 + 0x1p-40)));
    // 2^60 + 1 + 2^-29 rounded once
    check({0x1p30, 1.0 + 0x1p-30}, std::fma(1.0 + 0x1p-30, 1.0 + 0x1p-30, 0x1p60));
    check({third, third, third}, std::fma(third, third, std::fma(third, third, third * third)));
    check({}, 0.0);
}

TEST(VecMeans, TakeTheKernelsOrder)
{
    const std::vector<float> values = {1e8f, 1.0f, -1e8f, 1.0f, 1.0f};
    float out = 99.0f;
    VEC_Mean(&Object, 5, Guarded(values, 0).data, &out);
    EXPECT_EQ(out, 0.2f);
    VEC_Mean(&Object, 5, Guarded(values, 4).data, &out);
    EXPECT_EQ(out, 0.4f);
    VEC_MeanSquare(&Object, 4, Guarded({1.0f, 2.0f, 3.0f, 4.0f}, 0).data, &out);
    EXPECT_EQ(out, 7.5f);
}

TEST(VecMeans, OfNothingAreNaN)
{
    float out[2] = {};
    VEC_Mean(&Object, 0, nullptr, &out[0]);
    VEC_MeanSquare(&Object, 0, nullptr, &out[1]);
    EXPECT_NE(out[0], out[0]);
    EXPECT_NE(out[1], out[1]);
}

// ---- Extrema with an index ----

static bool Same(int32_t a, int32_t b)
{
    return a == b;
}

template <class Find, class T>
static void Check_Index(Find find, uint64_t n, const T* v, T value, uint64_t index)
{
    T found = 99;
    uint64_t found_index = 99;
    find(&Object, n, v, &found, &found_index);
    EXPECT_TRUE(Same(value, found)) << found << " instead of " << value;
    EXPECT_EQ(found_index, index);
}

// VEC_Max_Index_Range and VEC_Max_Range two elements into an array.
static void Max_In_Range(ObjectHeader* object, uint64_t n, const float* v, float* out,
                         uint64_t* index)
{
    float alone = 99.0f;
    VEC_Max_Range(object, n, v, 2, &alone);
    VEC_Max_Index_Range(object, n, v, 2, out, index);
    EXPECT_TRUE(Same(*out, alone)) << alone;
}

TEST(VecIndex, KnownAnswers)
{
    const auto check = [](const char* name, const std::vector<float>& v, float max,
                          uint64_t max_index, float min, uint64_t min_index) {
        SCOPED_TRACE(name);
        Check_Index(VEC_Max_Index, v.size(), v.data(), max, max_index);
        Check_Index(VEC_Min_Index, v.size(), v.data(), min, min_index);
        std::vector<float> shifted = {100.0f, 200.0f};
        shifted.insert(shifted.end(), v.begin(), v.end());
        shifted.push_back(300.0f);
        Check_Index(Max_In_Range, v.size(), shifted.data(), max, max_index + 2);
    };
    check("first of two maxima", {2, 5, 5, 1}, 5, 1, 1, 3);
    check("first of two minima", {3, 1, 1}, 3, 0, 1, 1);
    check("one", {-7}, -7, 0, -7, 0);
    check("a NaN in front stays", {NaN, 9, -9}, NaN, 0, NaN, 0);
    check("a NaN behind is passed over", {1, NaN, 9, -9}, 9, 2, -9, 3);
    check("zeros are equal, minus first", {-0.0f, 0.0f}, -0.0f, 0, -0.0f, 0);
    check("zeros are equal, plus first", {0.0f, -0.0f}, 0.0f, 0, 0.0f, 0);
    check("a subnormal keeps its bits", {From_Bits(1), -1, -2}, From_Bits(1), 0, -2, 2);
}

TEST(VecIndex, ReadsTheFirstElementWhateverNIs)
{
    const float v[3] = {4.0f, 5.0f, 6.0f};
    Check_Index(VEC_Max_Index, 0, v, 4.0f, 0);
    Check_Index(VEC_Min_Index, 0, v + 1, 5.0f, 0);
    Check_Index(Max_In_Range, 0, v, 6.0f, 2);
    float out = 0.0f;
    VEC_Max_Range(&Object, 0, v, 1, &out);
    EXPECT_EQ(out, 5.0f);
}

TEST(VecIndex, OfIntegers)
{
    const int32_t v[6] = {3, INT32_MIN, INT32_MAX, INT32_MAX, INT32_MIN, 0};
    Check_Index(VEC_Max_Index_I, 6, v, INT32_MAX, 2);
    Check_Index(VEC_Min_Index_I, 6, v, INT32_MIN, 1);
    Check_Index(VEC_Max_Index_I, 0, v, 3, 0);
}

// ---- Peak, minimum and maximum ----

TEST(VecPeak, KnownAnswers)
{
    const auto check = [](const char* name, const std::vector<float>& v, float peak) {
        float out = 99.0f;
        VEC_Peak(&Object, v.size(), v.data(), &out);
        EXPECT_TRUE(Same(peak, out)) << name << ": " << out;
    };
    check("a tie is negative", {3, -3}, -3);
    check("positive", {3, -2}, 3);
    check("all positive", {1, 2}, 2);
    check("all negative", {-1, -2}, -2);
    check("nothing", {}, 0);
    check("zeros", {0, 0}, 0);
    check("NaN passed over", {NaN, 2, NaN, -1}, 2);
    check("only NaN", {NaN}, 0);
    check("a signalling NaN is not", {From_Bits(0x7F800001)}, NaN);
}

TEST(VecMinMax, KnownAnswers)
{
    const auto check = [](const char* name, const std::vector<float>& v, float min, float max) {
        float out[2] = {99.0f, 99.0f};
        VEC_MinMax(&Object, v.size(), v.data(), &out[0], &out[1]);
        EXPECT_TRUE(Same(min, out[0])) << name << ": " << out[0];
        EXPECT_TRUE(Same(max, out[1])) << name << ": " << out[1];
    };
    check("nothing", {}, FLT_MAX, -FLT_MAX);
    check("one", {-4}, -4, -4);
    check("a rising pair", {1, 2}, 1, 2);
    check("a falling pair", {2, 1}, 1, 2);
    check("odd, first lowest", {-9, 1, 2, 4, 3}, -9, 4);
    check("odd, first highest", {9, 1, 2, -4, 3}, -4, 9);
    check("beside a NaN in front only to the minimum", {NaN, 9, 6, 7}, 6, 7);
    check("before a NaN only to the maximum", {-9, NaN, 6, 7}, 6, 7);
    check("an infinite pair", {Inf, 1}, 1, Inf);
    check("zeros", {0.0f, -0.0f}, -0.0f, 0.0f);
}

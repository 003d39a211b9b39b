// The reductions: their order against a loop that is written in that order, known answers that
// differ between orders, and the extrema's rules for NaN and zero.
#include "vector/kern.h"

#include "tests/vector_fixture.h"

static ObjectHeader Object = Make_Object();

// ---- Sums ----

struct SumCase {
    const char* name;
    void (*run)(uint32_t n, const float* a, const float* b, float* out);
    float (*add)(float sum, float a, float b);
    bool two_sources;
};

static const SumCase Sum_Cases[] = {
    {"Sum",
     [](uint32_t n, const float* a, const float*, float* out) { KERN_Sum(&Object, n, a, out); },
     [](float sum, float a, float) { return sum + a; }, false},
    {"SumSquares",
     [](uint32_t n, const float* a, const float*, float* out) {
         KERN_SumSquares(&Object, n, a, out);
     },
     [](float sum, float a, float) { return std::fma(a, a, sum); }, false},
    {"SumSquares_Range",
     [](uint32_t n, const float* a, const float*, float* out) {
         KERN_SumSquares_Range(&Object, n, a - 7, 7, out);
     },
     [](float sum, float a, float) { return std::fma(a, a, sum); }, false},
    {"Dot",
     [](uint32_t n, const float* a, const float* b, float* out) {
         KERN_Dot(&Object, n, a, b, out);
     },
     [](float sum, float a, float b) { return std::fma(a, b, sum); }, true},
};

static float Add_Up(const SumCase& c, bool aligned, const Guarded& a, const Guarded& b)
{
    float sum = 0.0f;
    size_t i = 0;
    if (aligned && a.n >= 4) {
        float p[4] = {};
        for (; i < a.n / 4 * 4; i++) {
            p[i % 4] = c.add(p[i % 4], a.data[i], b.data[i]);
        }
        sum = (p[0] + p[1]) + (p[2] + p[3]);
    }
    for (; i < a.n; i++) {
        sum = c.add(sum, a.data[i], b.data[i]);
    }
    return sum;
}

static void PrintTo(const SumCase& c, std::ostream* stream)
{
    *stream << c.name;
}

class KernSums : public testing::TestWithParam<SumCase>
{
};

INSTANTIATE_TEST_SUITE_P(, KernSums, testing::ValuesIn(Sum_Cases),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(KernSums, KeepTheirOrder)
{
    const SumCase& c = GetParam();
    Random random = {3};
    for (const uint32_t n : Lengths) {
        for (const unsigned off_a : {0u, 4u}) {
            for (const unsigned off_b : {0u, 4u}) {
                for (const Content content : {Ordinary, Special, Any_Bits}) {
                    SCOPED_TRACE(testing::Message() << "n " << n << ", bytes off " << off_a << ", "
                                                    << off_b << ", content " << content);
                    Guarded a(n, off_a);
                    Guarded b(n, off_b);
                    a.Fill(Make_Floats(&random, n, content));
                    b.Fill(Make_Floats(&random, n, content));
                    const bool aligned = off_a == 0 && (off_b == 0 || !c.two_sources);
                    const float expected = Add_Up(c, aligned, a, b);
                    float out = 99.0f;
                    c.run(n, a.data, b.data, &out);
                    EXPECT_TRUE(Same(expected, out)) << expected << " and " << out;
                    EXPECT_TRUE(a.Guards_Whole() && b.Guards_Whole());
                }
            }
        }
    }
}

struct OrderCase {
    const char* name;
    std::vector<float> values;
    float aligned, off;
};
static const OrderCase Order_Cases[] = {
    {"cancelling", {1e8f, 1.0f, -1e8f, 1.0f, 1.0f}, 1.0f, 2.0f},
    {"three elements go one by one", {1e8f, 1.0f, -1e8f}, 0.0f, 0.0f},
    {"four elements do not", {1e8f, 1.0f, 1.0f, -1e8f}, 0.0f, 0.0f},
    {"small ones in pairs", {1.0f, 0x1p-24f, 0x1p-24f, 0x1p-24f}, 1.0f + 0x1p-23f, 1.0f},
    {"nothing but minus zeros", {-0.0f, -0.0f, -0.0f, -0.0f, -0.0f}, 0.0f, 0.0f},
};

TEST(KernSum, KnownAnswersOnAndOffTheBoundary)
{
    for (const OrderCase& c : Order_Cases) {
        SCOPED_TRACE(c.name);
        Guarded aligned(c.values.size(), 0);
        Guarded off(c.values.size(), 4);
        aligned.Fill(c.values);
        off.Fill(c.values);
        float out = 99.0f;
        KERN_Sum(&Object, static_cast<uint32_t>(aligned.n), aligned.data, &out);
        EXPECT_EQ(Bits(out), Bits(c.aligned)) << "aligned " << out;
        KERN_Sum(&Object, static_cast<uint32_t>(off.n), off.data, &out);
        EXPECT_EQ(Bits(out), Bits(c.off)) << "off " << out;
    }
}

TEST(KernSumsOfNothing, AreZeroAndReadNothing)
{
    float out = 99.0f;
    KERN_Sum(&Object, 0, nullptr, &out);
    EXPECT_EQ(Bits(out), 0u);
    out = 99.0f;
    KERN_SumSquares(&Object, 0, nullptr, &out);
    EXPECT_EQ(Bits(out), 0u);
    out = 99.0f;
    KERN_Dot(&Object, 0, nullptr, nullptr, &out);
    EXPECT_EQ(Bits(out), 0u);
}

// ---- Extrema ----

struct ExtremeCase {
    const char* name;
    float ground;               // in all other places
    std::vector<float> planted; // in places far from one another
    float min, max;
};
static constexpr float Inf = std::numeric_limits<float>::infinity();
static constexpr float NaN = std::numeric_limits<float>::quiet_NaN();
static const ExtremeCase Extreme_Cases[] = {
    {"one high", 1.0f, {7.0f}, 1.0f, 7.0f},
    {"one low", 1.0f, {-7.0f}, -7.0f, 1.0f},
    {"a NaN", 1.0f, {NaN}, NaN, NaN},
    {"a NaN before both extremes", 1.0f, {NaN, -7.0f, 7.0f}, NaN, NaN},
    {"a NaN behind both extremes", 1.0f, {-7.0f, 7.0f, NaN}, NaN, NaN},
    {"a signalling NaN", 1.0f, {From_Bits(0x7F800001)}, NaN, NaN},
    {"plus zero among minus zeros", -0.0f, {0.0f}, -0.0f, 0.0f},
    {"minus zero among plus zeros", 0.0f, {-0.0f}, -0.0f, 0.0f},
    {"infinities", 1.0f, {Inf, -Inf}, -Inf, Inf},
    {"subnormals count as zeros", From_Bits(0x80000001), {From_Bits(0x00000001)}, -0.0f, 0.0f},
    {"all alike", -3.0f, {-3.0f}, -3.0f, -3.0f},
};

static void Check_Extremes(const ExtremeCase& c, size_t n, size_t first, size_t stride,
                           unsigned off)
{
    Guarded v(n, off);
    std::vector<float> values(n, c.ground);
    for (size_t k = 0; k < c.planted.size(); k++) {
        values[(first + k * stride) % n] = c.planted[k];
    }
    v.Fill(values);
    float out = 99.0f;
    KERN_Min_Value(&Object, static_cast<uint32_t>(n), v.data, &out);
    EXPECT_TRUE(Same(c.min, out)) << "min " << out;
    KERN_Max_Value(&Object, static_cast<uint32_t>(n), v.data, &out);
    EXPECT_TRUE(Same(c.max, out)) << "max " << out;
}

TEST(KernExtremes, FindTheElementInEveryPlace)
{
    for (const ExtremeCase& c : Extreme_Cases) {
        for (const size_t n : {4u, 5u, 8u, 9u, 15u, 31u, 32u, 33u, 40u, 71u}) {
            for (size_t first = 0; first < n; first++) {
                for (const unsigned off : {0u, 4u}) {
                    SCOPED_TRACE(testing::Message() << c.name << ", n " << n << ", first in place "
                                                    << first << ", bytes off " << off);
                    Check_Extremes(c, n, first, 1, off);
                    Check_Extremes(c, n, first, n / 3, off);
                    if (HasFailure()) {
                        return;
                    }
                }
            }
        }
    }
}

TEST(KernExtremes, OfOneElementAreThatElement)
{
    for (const float value : {2.5f, -0.0f, 0.0f, Inf, NaN}) {
        float out = 99.0f;
        KERN_Min_Value(&Object, 1, &value, &out);
        EXPECT_TRUE(Same(value, out)) << value;
        KERN_Max_Value(&Object, 1, &value, &out);
        EXPECT_TRUE(Same(value, out)) << value;
    }
}

// The reductions: their order against a loop that is written in that order, known answers that
// differ between orders, and the extrema's rules for NaN and zero.
#include "vector/kern.h"

#include "tests/vector_fixture.h"

using namespace Plain;

static ObjectHeader Object = Make_Object();

// ---- Sums ----

using Floats = const float*;

struct SumCase {
    const char* name;
    bool two_sources;
    void (*run)(uint32_t n, Floats a, Floats b, float* out);
    float (*add)(float sum, float a, float b);
};

static constexpr auto Plus = [](float s, float a, float) { return s + a; };
static constexpr auto Plus_Square = [](float s, float a, float) { return std::fma(a, a, s); };
static constexpr auto Plus_Product = [](float s, float a, float b) { return std::fma(a, b, s); };

static const SumCase Sum_Cases[] = {
    {"Sum", false, [](uint32_t n, Floats a, Floats, float* out) { KERN_Sum(&Object, n, a, out); },
     Plus},
    {"SumSquares", false,
     [](uint32_t n, Floats a, Floats, float* out) { KERN_SumSquares(&Object, n, a, out); },
     Plus_Square},
    {"SumSquares_Range", false,
     [](uint32_t n, Floats a, Floats, float* out) { // from a on
         KERN_SumSquares_Range(&Object, n, a - 7, 7, out);
     },
     Plus_Square},
    {"Dot", true,
     [](uint32_t n, Floats a, Floats b, float* out) { KERN_Dot(&Object, n, a, b, out); },
     Plus_Product},
};

TEST(KernSums, KeepTheirOrder)
{
    for (const SumCase& c : Sum_Cases) {
        for (const unsigned off_a : {0u, 4u}) {
            for (const unsigned off_b : {0u, 4u}) {
                SCOPED_TRACE(testing::Message() << c.name << ", off " << off_a << ", " << off_b);
                Each_Content(Lengths, 3, [&](uint32_t n, auto make) {
                    const Guarded a(make(n), off_a);
                    const Guarded b(make(n), off_b);
                    const bool aligned = off_a == 0 && (off_b == 0 || !c.two_sources);
                    const float expected = Add_Up(n, aligned, [&](float sum, size_t i) {
                        return c.add(sum, a.data[i], b.data[i]);
                    });
                    float out = 99.0f;
                    c.run(n, a.data, b.data, &out);
                    EXPECT_TRUE(Same(expected, out)) << expected << " and " << out;
                    EXPECT_TRUE(a.Guards_Whole() && b.Guards_Whole());
                });
            }
        }
    }
}

TEST(KernSum, KnownAnswersOnAndOffTheBoundary)
{
    const auto check = [](const char* name, const std::vector<float>& values, float on, float off) {
        float out[2] = {99.0f, 99.0f};
        KERN_Sum(&Object, static_cast<uint32_t>(values.size()), Guarded(values, 0).data, &out[0]);
        KERN_Sum(&Object, static_cast<uint32_t>(values.size()), Guarded(values, 4).data, &out[1]);
        EXPECT_EQ(Bits(out[0]), Bits(on)) << name << ": " << out[0];
        EXPECT_EQ(Bits(out[1]), Bits(off)) << name << ": " << out[1];
    };
    check("cancelling", {1e8f, 1.0f, -1e8f, 1.0f, 1.0f}, 1.0f, 2.0f);
    check("three elements go one by one", {1e8f, 1.0f, -1e8f}, 0.0f, 0.0f);
    check("four elements do not", {1e8f, 1.0f, 1.0f, -1e8f}, 0.0f, 0.0f);
    check("small ones in pairs", {1.0f, 0x1p-24f, 0x1p-24f, 0x1p-24f}, 1.0f + 0x1p-23f, 1.0f);
    check("nothing but minus zeros", {-0.0f, -0.0f, -0.0f, -0.0f, -0.0f}, 0.0f, 0.0f);
}

TEST(KernSumsOfNothing, AreZeroAndReadNothing)
{
    float out[3] = {99.0f, 99.0f, 99.0f};
    KERN_Sum(&Object, 0, nullptr, &out[0]);
    KERN_SumSquares(&Object, 0, nullptr, &out[1]);
    KERN_Dot(&Object, 0, nullptr, nullptr, &out[2]);
    for (const float sum : out) {
        EXPECT_EQ(Bits(sum), 0u);
    }
}

// ---- Extrema ----

static void Check_Extremes(const std::vector<float>& values, unsigned off, float min, float max)
{
    const Guarded v(values, off);
    float out = 99.0f;
    KERN_Min_Value(&Object, static_cast<uint32_t>(v.n), v.data, &out);
    EXPECT_TRUE(Same(min, out)) << "min " << out << " instead of " << min;
    KERN_Max_Value(&Object, static_cast<uint32_t>(v.n), v.data, &out);
    EXPECT_TRUE(Same(max, out)) << "max " << out << " instead of " << max;
}

TEST(KernExtremes, FindTheElementInEveryPlace)
{
    const auto check = [](const char* name, float ground, const std::vector<float>& planted,
                          float min, float max) {
        for (const size_t n : {4u, 5u, 8u, 9u, 15u, 31u, 32u, 33u, 40u, 71u}) {
            for (size_t k = 0; k < n * 2 && !HasFailure(); k++) {
                const size_t first = k / 2;
                const size_t stride = k % 2 == 0 ? 1 : n / 3;
                SCOPED_TRACE(testing::Message() << name << ", n " << n << ", first in place "
                                                << first << ", stride " << stride);
                std::vector<float> values(n, ground);
                for (size_t i = 0; i < planted.size(); i++) {
                    values[(first + i * stride) % n] = planted[i];
                }
                Check_Extremes(values, 0, min, max);
                Check_Extremes(values, 4, min, max);
            }
        }
    };
    check("one high", 1.0f, {7.0f}, 1.0f, 7.0f);
    check("one low", 1.0f, {-7.0f}, -7.0f, 1.0f);
    check("a NaN", 1.0f, {NaN}, NaN, NaN);
    check("a NaN before both extremes", 1.0f, {NaN, -7.0f, 7.0f}, NaN, NaN);
    check("a NaN behind both extremes", 1.0f, {-7.0f, 7.0f, NaN}, NaN, NaN);
    check("a signalling NaN", 1.0f, {From_Bits(0x7F800001)}, NaN, NaN);
    check("plus zero among minus zeros", -0.0f, {0.0f}, -0.0f, 0.0f);
    check("minus zero among plus zeros", 0.0f, {-0.0f}, -0.0f, 0.0f);
    check("infinities", 1.0f, {Inf, -Inf}, -Inf, Inf);
    check("subnormals are zeros", From_Bits(0x80000001), {From_Bits(0x00000001)}, -0.0f, 0.0f);
    check("all alike", -3.0f, {-3.0f}, -3.0f, -3.0f);
}

TEST(KernExtremes, OfOneElementAreThatElement)
{
    for (const float value : {2.5f, -0.0f, 0.0f, Inf, NaN}) {
        Check_Extremes({value}, 4, value, value);
    }
}

// The signal operations of the VEC family.
#include "vector/vec.h"

#include "tests/vector_fixture.h"

static ObjectHeader Object = Make_Object();

using namespace Plain;

// ---- Interpolation ----

// Input by input into a cleared output, as the operation is told.
static std::vector<float> Interpolate(int n, int L, const float* src)
{
    std::vector<float> taps(8 * L);
    for (int t = 1; t < 8 * L; t++) {
        const float x = static_cast<float>(t - 4 * L) * (3.1415927f / static_cast<float>(L));
        const float s = std::fabs(x) < 1e-9f ? 0.5f : (sinf(x) / x) * 0.5f;
        taps[t] =
            (1.0f - cosf(static_cast<float>(t) * (6.2831855f / static_cast<float>(8 * L)))) * s;
    }
    std::vector<float> dst(n * L, 0.0f);
    for (int k = 0; k < n; k++) {
        for (int t = 1; t < 8 * L; t++) {
            const int j = L * k + t - 4 * L;
            if (j >= 0 && j < n * L) {
                dst[j] = std::fma(taps[t], src[k], dst[j]);
            }
        }
    }
    return dst;
}

TEST(VecInterpolate, EqualsTheLiteralLoop)
{
    const std::vector<uint32_t> lengths = {0,  1,  2,  3,  4,  5,  7,  8,  10,
                                           11, 12, 14, 15, 16, 19, 20, 31, 100};
    for (const int L : {1, 2, 3, 4, 5, 7, 8, 13}) {
        SCOPED_TRACE(L);
        Each_Content(lengths, 41 + L, [L](uint32_t n, auto make) {
            const Guarded src(make(n), 4);
            Guarded dst(n * L, 4);
            const std::vector<float> expected = Interpolate(static_cast<int>(n), L, src.data);
            VEC_Interpolate_Sinc(&Object, n, L, src.data, dst.data);
            EXPECT_TRUE(Same_Floats(expected.data(), dst.data, dst.n));
            EXPECT_TRUE(dst.Guards_Whole());
        });
    }
}

TEST(VecInterpolate, KeepsTheInputsAndInterpolatesBetween)
{
    constexpr int n = 64;
    float src[n];
    for (int i = 0; i < n; i++) {
        src[i] = std::sin(0.3f * static_cast<float>(i));
    }
    float same[n];
    VEC_Interpolate_Sinc(&Object, n, 1, src, same);
    float twice[2 * n];
    VEC_Interpolate_Sinc(&Object, n, 2, src, twice);
    for (int i = 0; i < n; i++) {
        // sin near multiples of pi is 1e-7 or less, in float.
        EXPECT_NEAR(same[i], src[i], 1e-6f);
        EXPECT_NEAR(twice[2 * i], src[i], 1e-6f);
    }
    for (int i = 8; i < n - 8; i++) {
        // The window leaves a ripple of some thousandths.
        EXPECT_NEAR(twice[2 * i + 1], std::sin(0.3f * (static_cast<float>(i) + 0.5f)), 5e-3f);
    }
}

// ---- Order ----

TEST(VecRotate, KnownAnswers)
{
    const auto check = [](const char* name, int32_t shift, const std::vector<float>& result) {
        const Guarded v({1, 2, 3, 4, 5}, 0);
        VEC_Rotate(&Object, 5, shift, v.data);
        EXPECT_EQ(v.Values(), result) << name;
        EXPECT_TRUE(v.Guards_Whole()) << name;
    };
    check("up", 2, {4, 5, 1, 2, 3});
    check("down", -2, {3, 4, 5, 1, 2});
    check("up by more than n", 7, {4, 5, 1, 2, 3});
    check("up by n", 5, {1, 2, 3, 4, 5});
    check("down by n", -5, {1, 2, 3, 4, 5});
    check("down by more than n", -7, {3, 4, 5, 1, 2});
    check("nothing", 0, {1, 2, 3, 4, 5});
    check("up by one", 1, {5, 1, 2, 3, 4});
    check("down by one", -1, {2, 3, 4, 5, 1});
    VEC_Rotate(nullptr, 0, 0, nullptr); // takes no memory
    VEC_Rotate(nullptr, 0, 3, nullptr);
}

TEST(VecReverse, KnownAnswers)
{
    for (const std::vector<float>& values :
         {std::vector<float>{}, {1}, {1, 2}, {1, 2, 3}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}}) {
        const size_t n = values.size();
        SCOPED_TRACE(n);
        const std::vector<float> expected(values.rbegin(), values.rend());
        Guarded dst(n, 0);
        VEC_Reverse(&Object, n, values.data(), dst.data);
        EXPECT_EQ(dst.Values(), expected);
        const Guarded v(values, 0);
        VEC_Reverse(&Object, n, v.data, v.data);
        EXPECT_EQ(v.Values(), expected) << "one array";
        VEC_Reverse_InPlace(&Object, n, v.data);
        EXPECT_EQ(v.Values(), values);
        EXPECT_TRUE(v.Guards_Whole() && dst.Guards_Whole());
    }
}

// ---- Correlation ----

TEST(VecCorrelation, KnownAnswers)
{
    Random random = {43};
    for (const size_t n : {2u, 5u, 64u, 1000u}) {
        SCOPED_TRACE(n);
        const std::vector<float> p = Make_Floats(&random, n, Ordinary);
        std::vector<float> minus = p;
        for (float& value : minus) {
            value = -2.0f * value + 1.0f;
        }
        float out[3] = {99.0f, 99.0f, 99.0f};
        VEC_Correlation(&Object, n, p.data(), p.data(), &out[0]);
        VEC_Correlation(&Object, n, p.data(), minus.data(), &out[1]);
        VEC_Correlation(&Object, n, p.data(), std::vector<float>(n, 3.0f).data(), &out[2]);
        EXPECT_NEAR(out[0], 1.0f, 1e-6f); // a few float roundings
        EXPECT_NEAR(out[1], -1.0f, 1e-6f);
        EXPECT_EQ(out[2], 0.0f);
    }
    float out = 99.0f;
    VEC_Correlation(&Object, 0, nullptr, nullptr, &out);
    EXPECT_EQ(out, 0.0f);
}

static float Dot(const std::vector<float>& a, const std::vector<float>& b)
{
    return Add_Up(a.size(), true, [&](float s, size_t i) { return std::fma(a[i], b[i], s); });
}

// Less its mean, whose sum may be split, and scaled to energy 1.
static std::vector<float> Unit(std::vector<float> v, bool split)
{
    const float sum = Add_Up(v.size(), split, [&](float s, size_t i) { return s + v[i]; });
    const float mean = sum / static_cast<float>(v.size());
    for (float& value : v) {
        value -= mean;
    }
    const float scale = 1.0f / std::sqrt(Dot(v, v));
    for (float& value : v) {
        value *= scale;
    }
    return v;
}

TEST(VecCorrelation, KeepsItsSteps)
{
    Random random = {44};
    for (const size_t n : {3u, 4u, 37u, 256u}) {
        SCOPED_TRACE(n);
        const Guarded p(Make_Floats(&random, n, Ordinary), 0);
        const Guarded q(Make_Floats(&random, n, Ordinary), 4); // its mean runs in order
        const float expected = Dot(Unit(p.Values(), true), Unit(q.Values(), false));
        float out = 99.0f;
        VEC_Correlation(&Object, n, p.data, q.data, &out);
        EXPECT_EQ(Bits(out), Bits(expected)) << out << " and " << expected;
    }
}

// ---- Memory ----

TEST(VecMemoryDeathTest, ExhaustedScratchStops)
{
    EXPECT_EXIT(
        {
            float v = 0.0f;
            VEC_Correlation(&Object, uint64_t{1} << 60, &v, &v, &v);
        },
        testing::ExitedWithCode(1), "ERROR - OBJ_Malloc_T: Out of temp. memory \\(2\\)");
}

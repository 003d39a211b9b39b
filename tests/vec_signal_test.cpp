// The signal operations of the VEC family.
#include "vector/vec.h"

#include "tests/vector_fixture.h"

static ObjectHeader Object = Make_Object();

// ---- Interpolation ----

// Input by input into a cleared output, as the operation is told.
static std::vector<float> Interpolate(int n, int L, const float* src)
{
    const int H = 4 * L - 1;
    const int M = n * L;
    std::vector<float> taps(static_cast<size_t>(8 * L - 1));
    const float w1 = 3.1415927f / static_cast<float>(L);
    const float w2 = 6.2831855f / static_cast<float>(8 * L);
    for (int t = 1; t < 8 * L; t++) {
        const float x = static_cast<float>(t - 4 * L) * w1;
        const float s = std::fabs(x) < 1e-9f ? 0.5f : (sinf(x) / x) * 0.5f;
        taps[static_cast<size_t>(t - 1)] = (1.0f - cosf(static_cast<float>(t) * w2)) * s;
    }
    std::vector<float> dst(static_cast<size_t>(M), 0.0f);
    for (int k = 0; k < n; k++) {
        const int c = L * k;
        for (int j = std::max(c - H, 0); j <= std::min(c + H, M - 1); j++) {
            const size_t at = static_cast<size_t>(j);
            dst[at] = std::fma(taps[static_cast<size_t>(j - c + H)], src[k], dst[at]);
        }
    }
    return dst;
}

TEST(VecInterpolate, EqualsTheLiteralLoop)
{
    Random random = {41};
    for (const int L : {1, 2, 3, 4, 5, 7, 8, 13}) {
        for (const int n : {0, 1, 2, 3, 4, 5, 7, 8, 10, 11, 12, 14, 15, 16, 19, 20, 31, 100}) {
            for (const Content content : {Ordinary, Special, Any_Bits}) {
                SCOPED_TRACE(testing::Message()
                             << "L " << L << ", n " << n << ", content " << content);
                Guarded src(static_cast<size_t>(n), 4);
                Guarded dst(static_cast<size_t>(n * L), 4);
                src.Fill(Make_Floats(&random, src.n, content));
                const std::vector<float> expected = Interpolate(n, L, src.data);
                VEC_Interpolate_Sinc(&Object, src.n, L, src.data, dst.data);
                EXPECT_TRUE(Same_Floats(expected.data(), dst.data, dst.n));
                EXPECT_TRUE(dst.Guards_Whole());
            }
        }
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

struct RotateCase {
    const char* name;
    int32_t shift;
    std::vector<float> result;
};
static const RotateCase Rotate_Cases[] = {
    {"up", 2, {4, 5, 1, 2, 3}},
    {"down", -2, {3, 4, 5, 1, 2}},
    {"up by more than n", 7, {4, 5, 1, 2, 3}},
    {"up by n", 5, {1, 2, 3, 4, 5}},
    {"down by n", -5, {1, 2, 3, 4, 5}},
    {"down by more than n", -7, {3, 4, 5, 1, 2}},
    {"nothing", 0, {1, 2, 3, 4, 5}},
    {"up by one", 1, {5, 1, 2, 3, 4}},
    {"down by one", -1, {2, 3, 4, 5, 1}},
};

TEST(VecRotate, KnownAnswers)
{
    for (const RotateCase& c : Rotate_Cases) {
        SCOPED_TRACE(c.name);
        Guarded v(5, 0);
        v.Fill({1, 2, 3, 4, 5});
        VEC_Rotate(&Object, 5, c.shift, v.data);
        EXPECT_EQ(v.Values(), c.result);
        EXPECT_TRUE(v.Guards_Whole());
    }
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
        Guarded v(n, 0);
        v.Fill(values);
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
        const std::vector<float> constant(n, 3.0f);
        float out = 99.0f;
        VEC_Correlation(&Object, n, p.data(), p.data(), &out);
        EXPECT_NEAR(out, 1.0f, 1e-6f); // a few float roundings
        VEC_Correlation(&Object, n, p.data(), minus.data(), &out);
        EXPECT_NEAR(out, -1.0f, 1e-6f);
        VEC_Correlation(&Object, n, p.data(), constant.data(), &out);
        EXPECT_EQ(out, 0.0f);
    }
    float out = 99.0f;
    VEC_Correlation(&Object, 0, nullptr, nullptr, &out);
    EXPECT_EQ(out, 0.0f);
}

TEST(VecCorrelation, KeepsItsSteps)
{
    Random random = {44};
    for (const size_t n : {3u, 4u, 37u, 256u}) {
        SCOPED_TRACE(n);
        Guarded p(n, 0);
        Guarded q(n, 4); // its mean runs in order, what is made from it in four sums
        p.Fill(Make_Floats(&random, n, Ordinary));
        q.Fill(Make_Floats(&random, n, Ordinary));
        std::vector<float> unit[2];
        for (int side = 0; side < 2; side++) {
            const Guarded& from = side == 0 ? p : q;
            float sums[4] = {};
            const size_t whole = side == 0 ? n / 4 * 4 : 0;
            for (size_t i = 0; i < whole; i++) {
                sums[i % 4] += from.data[i];
            }
            float sum = (sums[0] + sums[1]) + (sums[2] + sums[3]);
            for (size_t i = whole; i < n; i++) {
                sum += from.data[i];
            }
            const float mean = sum / static_cast<float>(n);
            float squares[4] = {};
            unit[side].resize(n);
            for (size_t i = 0; i < n; i++) {
                unit[side][i] = from.data[i] - mean;
            }
            for (size_t i = 0; i < n / 4 * 4; i++) {
                squares[i % 4] = std::fma(unit[side][i], unit[side][i], squares[i % 4]);
            }
            float energy = (squares[0] + squares[1]) + (squares[2] + squares[3]);
            for (size_t i = n / 4 * 4; i < n; i++) {
                energy = std::fma(unit[side][i], unit[side][i], energy);
            }
            const float scale = 1.0f / std::sqrt(energy);
            for (float& value : unit[side]) {
                value *= scale;
            }
        }
        float products[4] = {};
        for (size_t i = 0; i < n / 4 * 4; i++) {
            products[i % 4] = std::fma(unit[0][i], unit[1][i], products[i % 4]);
        }
        float expected = (products[0] + products[1]) + (products[2] + products[3]);
        for (size_t i = n / 4 * 4; i < n; i++) {
            expected = std::fma(unit[0][i], unit[1][i], expected);
        }
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

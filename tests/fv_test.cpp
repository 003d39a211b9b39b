// Packed spectra: where each value lives, ranges, sums, and what the transforms promise of them.
#include "spectrum/fft.h"
#include "spectrum/fv.h"

#include "tests/vector_fixture.h"

#include <complex>

using Floats = std::vector<float>;

static ObjectHeader Object = Make_Object();

// ---- Layouts ----

struct LayoutRow {
    const char* name;
    uint32_t N;
    Floats fv, pairs, hfv, from_hfv, reals;
};

// Imaginary parts of the outer bins are there in the pairs that are read, and 0 in those written.
static const LayoutRow Layout_Rows[] = {
    {"outer bins alone", 2, {1, 2}, {1, 0, 2, 0}, {7, 8}, {7, 8}, {1, 2}},
    {"one bin", 4, {1, 2, 3, 4}, {1, 0, 3, 4, 2, 0}, {7, 8, 9}, {7, 9, 8, 0}, {1, 3, 2}},
    {"three bins",
     8,
     {1, 2, 3, 4, 5, 6, 7, 8},
     {1, 0, 3, 4, 5, 6, 7, 8, 2, 0},
     {1, 2, 3, 4, 5},
     {1, 5, 2, 0, 3, 0, 4, 0},
     {1, 3, 5, 7, 2}},
};

// From source to a place of its own and in place; the last argument is the length of the result.
template <class From, class To>
static void Expect_Both_Ways(void (*convert)(ObjectHeader*, uint32_t, const From*, To*), uint32_t N,
                             const std::vector<From>& source, const std::vector<To>& expected)
{
    std::vector<To> apart(expected.size() + 1, To{99});
    convert(&Object, N, source.data(), apart.data());
    EXPECT_EQ(apart.back(), To{99});
    apart.pop_back();
    EXPECT_EQ(apart, expected);
    if constexpr (std::is_same_v<From, To>) {
        std::vector<To> within(source.begin(), source.end());
        within.resize(std::max(source.size(), expected.size()));
        convert(&Object, N, within.data(), within.data());
        within.resize(expected.size());
        EXPECT_EQ(within, expected) << "in place";
    }
}

TEST(FvLayout, ConversionsPutEachValueInItsSlot)
{
    for (const LayoutRow& row : Layout_Rows) {
        SCOPED_TRACE(row.name);
        const std::vector<double> wide(row.pairs.begin(), row.pairs.end());
        Floats dirty = row.pairs;
        dirty[1] = dirty.back() = NAN;
        const std::vector<double> dirty_wide(dirty.begin(), dirty.end());
        Expect_Both_Ways(FV_To_Pairs, row.N, row.fv, row.pairs);
        Expect_Both_Ways(FV_To_Pairs_D, row.N, row.fv, wide);
        Expect_Both_Ways(FV_From_Pairs, row.N, dirty, row.fv);
        Expect_Both_Ways(FV_From_Pairs_D, row.N, dirty_wide, row.fv);
        Expect_Both_Ways(FV_From_HFV, row.N, row.hfv, row.from_hfv);
        Expect_Both_Ways(FV_Real_To_HFV, row.N, row.fv, row.reals);
    }
}

TEST(FvLayout, FillsAndAccessesBins)
{
    for (const uint32_t N : {2u, 4u, 10u}) {
        SCOPED_TRACE(N);
        Floats x(N, 9);
        FV_Fill(&Object, N, x.data(), 3, 4);
        for (uint32_t slot = 0; slot < N; slot++) {
            EXPECT_EQ(x[slot], slot > 1 && slot % 2 == 1 ? 4 : 3) << slot;
        }
        for (uint32_t k = 0; k <= N / 2; k++) {
            const bool outer = k == 0 || k == N / 2;
            Floats expected(N, 9);
            expected[k == 0 ? 0 : k == N / 2 ? 1 : 2 * k] = 5;
            if (!outer) {
                expected[2 * k + 1] = 6;
            }
            Floats got(N, 9);
            FV_Set_Bin(&Object, N, k, got.data(), 5, 6);
            EXPECT_EQ(got, expected) << "bin " << k;
            float re = -1;
            float im = -1;
            FV_Get_Bin(&Object, N, k, got.data(), &re, &im);
            EXPECT_EQ(re, 5) << "bin " << k;
            EXPECT_EQ(im, outer ? -1 : 6) << "bin " << k;
        }
        Floats copy(N + 1, 1);
        FV_Copy(&Object, N, x.data(), copy.data());
        EXPECT_TRUE(std::equal(x.begin(), x.end(), copy.begin()));
        FV_Zero(&Object, N, copy.data());
        EXPECT_EQ(copy, (N == 2 ? Floats{0, 0, 1} : [&] {
                      Floats zeros(N + 1);
                      zeros[N] = 1;
                      return zeros;
                  }()));
    }
}

// N = 16: dc 0, ny 1, bin k at slots 2k and 2k + 1. A result of -1 is a slot left alone.
struct RangeRow {
    const char* name;
    uint32_t k0, k1, j0;
    Floats expected;
};

static const RangeRow Copy_Rows[] = {
    {"all", 0, 9, 0, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}},
    {"dc alone", 0, 1, 0, {0, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1}},
    {"ny alone", 8, 9, 8, {-1, 1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1}},
    {"bins to their place", 3, 5, 3, {-1, -1, -1, -1, -1, -1, 6, 7, 8, 9, -1, -1, -1, -1, -1, -1}},
    {"to the bottom, dc as well",
     5,
     7,
     0,
     {0, -1, 10, 11, 12, 13, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1}},
    {"from dc upward", 0, 3, 2, {0, -1, -1, -1, 2, 3, 4, 5, -1, -1, -1, -1, -1, -1, -1, -1}},
    {"with ny", 7, 9, 6, {-1, 1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 14, 15, -1, -1}},
    {"no bins", 3, 3, 3, {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1}},
};

TEST(FvRange, CopiesItsBins)
{
    Floats src(16);
    for (uint32_t slot = 0; slot < 16; slot++) {
        src[slot] = static_cast<float>(slot);
    }
    for (const RangeRow& row : Copy_Rows) {
        Floats dst(16, -1);
        FV_Copy_Range(&Object, 16, src.data(), row.k0, row.k1, 77, row.j0, 88, dst.data());
        EXPECT_EQ(dst, row.expected) << row.name;
    }
}

// ---- To one number ----

TEST(FvRange, EnergyTakesTheOuterBinsOnce)
{
    Random random = {3};
    for (uint32_t N = 2; N <= 60; N += 2) {
        const Floats x = Make_Floats(&random, N, Ordinary);
        for (uint32_t k0 = 0; k0 <= N / 2 + 1; k0++) {
            for (uint32_t k1 = k0; k1 <= N / 2 + 1; k1++) {
                float sum = 0.0f;
                for (uint32_t k = std::max(k0, 1u); k < std::min(k1, N / 2); k++) {
                    sum += std::fma(x[2 * k + 1], x[2 * k + 1], x[2 * k] * x[2 * k]);
                }
                float expected = 2.0f * sum;
                expected = k0 == 0 ? std::fma(x[0], x[0], expected) : expected;
                expected = k1 == N / 2 + 1 ? std::fma(x[1], x[1], expected) : expected;
                float got = -1.0f;
                FV_Energy_Range(&Object, N, x.data(), k0, k1, &got);
                EXPECT_EQ(Bits(expected), Bits(got)) << "N " << N << ", " << k0 << " to " << k1;
            }
        }
        float energy = 0.0f;
        float inner = 0.0f;
        FV_Energy_Range(&Object, N, x.data(), 0, N / 2 + 1, &energy);
        FV_Inner(&Object, N, x.data(), x.data(), &inner);
        EXPECT_EQ(Bits(energy), Bits(inner));
    }
}

struct NumberRow {
    const char* name;
    Floats a, b;
    float max_power, inner;
};

static const NumberRow Number_Rows[] = {
    {"outer bins", {3, -4}, {2, 5}, 16, -14},
    {"one bin counts twice", {3, 4, 1, 2}, {1, 1, 5, -1}, 16, 3 + 4 + 2 * (5 - 2)},
    {"the bin is the largest", {3, 4, -5, 1}, {0, 0, 0, 1}, 26, 2},
    {"a NaN loses", {NAN, 4, NAN, 1}, {0, 0, 0, 0}, 16, NAN},
    {"all NaN", {NAN, NAN}, {1, 1}, NAN, NAN},
};

TEST(FvNumber, KnownValues)
{
    for (const NumberRow& row : Number_Rows) {
        const uint32_t N = static_cast<uint32_t>(row.a.size());
        float got = -1;
        FV_Max_Power(&Object, N, row.a.data(), &got);
        EXPECT_TRUE(Same(row.max_power, got)) << row.name << ": " << got;
        FV_Inner(&Object, N, row.a.data(), row.b.data(), &got);
        EXPECT_TRUE(Same(row.inner, got)) << row.name << ": " << got;
    }
}

// ---- Between lengths ----

struct LengthRow {
    const char* name;
    void (*run)(ObjectHeader*, uint32_t, uint32_t, const float*, float*);
    uint32_t N, N2;
    Floats src, expected;
};

static const LengthRow Length_Rows[] = {
    {"same length averages two", HFV_Reduce, 8, 8, {1, 2, 4, 8, 16}, {1, 3, 6, 12, 16}},
    {"half averages three", HFV_Reduce, 8, 4, {1, 2, 4, 9, 16}, {1, 5, 16}},
    {"a third, odd ratio", HFV_Reduce, 12, 4, {1, 2, 4, 8, 16, 32, 64}, {1, 15, 64}},
    {"to the outer bins", HFV_Reduce, 8, 2, {1, 2, 4, 8, 16}, {1, 16}},
    {"same length", HFV_Expand, 4, 4, {1, 5, 3}, {1, 5, 3}},
    {"twice", HFV_Expand, 4, 8, {1, 5, 3}, {1, 3, 5, 4, 3}},
    {"four times", HFV_Expand, 2, 8, {1, 5}, {1, 2, 3, 4, 5}},
};

TEST(HfvLength, AveragesAndInterpolates)
{
    for (const LengthRow& row : Length_Rows) {
        SCOPED_TRACE(row.name);
        Floats apart(row.expected.size() + 1, 99);
        row.run(&Object, row.N, row.N2, row.src.data(), apart.data());
        EXPECT_EQ(apart.back(), 99);
        apart.pop_back();
        EXPECT_EQ(apart, row.expected);
        Floats within = row.src;
        within.resize(std::max(row.src.size(), row.expected.size()));
        row.run(&Object, row.N, row.N2, within.data(), within.data());
        within.resize(row.expected.size());
        EXPECT_EQ(within, row.expected) << "in place";
    }
}

// Each later value is the one before it plus the slope, not a product of its own.
TEST(HfvLength, ExpandsByARunningSum)
{
    const Floats src = {0, 1};
    Floats dst(12);
    HFV_Expand(&Object, 2, 22, src.data(), dst.data());
    float value = 0.0f;
    for (size_t i = 0; i < 11; i++, value += 1.0f / 11.0f) {
        EXPECT_EQ(Bits(dst[i]), Bits(value)) << i;
    }
}

TEST(HfvLength, CopiesDistinctArraysAndSetsDc)
{
    const Floats src = {1, 2, 3, 4};
    Floats dst(5, 9);
    HFV_Copy_Distinct(&Object, 4, 77, src.data(), dst.data());
    EXPECT_EQ(dst, (Floats{1, 2, 3, 4, 9}));
    HFV_Copy_Distinct(&Object, 4, 77, dst.data(), dst.data());
    EXPECT_EQ(dst, (Floats{1, 2, 3, 4, 9}));
    HFV_Set_Dc(&Object, 1000, 77, 88, src.data() + 1, dst.data());
    EXPECT_EQ(dst, (Floats{2, 0, 3, 4, 9}));
}

// ---- With the transforms ----

class FvTransform : public testing::TestWithParam<uint32_t>
{
  protected:
    const uint32_t N = GetParam();
    std::vector<uint64_t> memory = std::vector<uint64_t>(FFT_RealPlan_Size(N) / 8 + 1);
    FftRealPlan* plan = reinterpret_cast<FftRealPlan*>(memory.data());
    Random random = {N};
    Floats x = Make_Floats(&random, N, Ordinary);
    Floats y = Make_Floats(&random, N, Ordinary);

    FvTransform()
    {
        FFT_RealPlan_Init(N, plan);
    }
    // Without the factor of 2 in every slot.
    Floats Spectrum(const Floats& signal) const
    {
        Floats spectrum(N);
        FFT_Real_Forward(plan, N, signal.data(), spectrum.data());
        FV_Scale(&Object, N, spectrum.data(), 0.5f);
        return spectrum;
    }
    void Expect_Near(const Floats& expected, const Floats& got, double tolerance) const
    {
        for (uint32_t i = 0; i < N; i++) {
            ASSERT_NEAR(expected[i], got[i], tolerance) << i << " of " << N;
        }
    }
};

TEST_P(FvTransform, ProductsAreCircularConvolutionAndCorrelation)
{
    Floats convolved(N);
    Floats correlated(N);
    for (uint32_t i = 0; i < N; i++) {
        double sum = 0.0;
        double product = 0.0;
        for (uint32_t j = 0; j < N; j++) {
            sum += double{x[j]} * double{y[(i + N - j) % N]};
            product += double{x[j]} * double{y[(i + j) % N]};
        }
        convolved[i] = static_cast<float>(sum);
        correlated[i] = static_cast<float>(product);
    }
    const double tolerance = 1e-5 * N;
    const Floats X = Spectrum(x);
    Floats Y = Spectrum(y);
    FV_Mul(&Object, N, X.data(), Y.data());
    Expect_Near(Spectrum(convolved), Y, tolerance);
    Y = Spectrum(y);
    FV_Mul_Conj(&Object, N, X.data(), Y.data());
    Expect_Near(Spectrum(correlated), Y, tolerance);
}

TEST_P(FvTransform, DelayShiftsAndRotationTurns)
{
    for (const uint32_t d : {0u, 1u, 3u, N - 1}) {
        Floats shifted(N);
        for (uint32_t i = 0; i < N; i++) {
            shifted[(i + d) % N] = x[i];
        }
        Floats X = Spectrum(x);
        Floats factor(N);
        FV_Delay(&Object, N, nullptr, factor.data(), static_cast<float>(d));
        FV_Mul(&Object, N, X.data(), factor.data());
        FV_Delay(&Object, N, X.data(), X.data(), static_cast<float>(d));
        Expect_Near(Spectrum(shifted), X, 2e-5 * N);
        Expect_Near(X, factor, 1e-5 * N);
    }
    // exp(a) is a turn where a has no real part: bin by bin what a rotation by one angle does.
    Floats turn(N);
    FV_Fill(&Object, N, turn.data(), 0.0f, 0.5f);
    FV_Exp(&Object, N, turn.data(), turn.data());
    Floats X = Spectrum(x);
    FV_Mul(&Object, N, X.data(), turn.data());
    FV_Rotate(&Object, N, X.data(), cosf(0.5f), sinf(0.5f));
    X[0] = turn[0];
    X[1] = turn[1];
    Expect_Near(X, turn, 1e-5 * N);
}

TEST_P(FvTransform, QuotientsUndoProducts)
{
    const Floats X = Spectrum(x);
    const Floats Y = Spectrum(y);
    Floats product = Y;
    FV_Mul(&Object, N, X.data(), product.data());
    FV_Div(&Object, N, product.data(), Y.data(), product.data());
    Expect_Near(X, product, 1e-5 * N);
    Floats inverse(N);
    FV_Recip(&Object, N, Y.data(), inverse.data());
    FV_Mul(&Object, N, Y.data(), inverse.data());
    Floats one(N);
    FV_Fill(&Object, N, one.data(), 1.0f, 0.0f);
    Expect_Near(one, inverse, 1e-5);
}

TEST_P(FvTransform, EnergyIsThatOfTheSignal)
{
    double expected = 0.0;
    for (const float value : x) {
        expected += double{value} * double{value} * N;
    }
    float got = 0.0f;
    FV_Energy_Range(&Object, N, Spectrum(x).data(), 0, N / 2 + 1, &got);
    EXPECT_NEAR(got, expected, 1e-5 * expected);
}

INSTANTIATE_TEST_SUITE_P(, FvTransform, testing::Values(8, 64, 512));

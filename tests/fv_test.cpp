// Packed spectra: where each value lives, ranges, sums, and what the transforms promise of them.
#include "spectrum/fv.h"

#include "tests/fft_reference.h"

static ObjectHeader Object = Make_Object();

// One value for each hexadecimal digit, -1 for a point.
static Floats Digits(const std::string& text)
{
    Floats values;
    for (const char c : text) {
        values.push_back(static_cast<float>(c == '.' ? -1 : c <= '9' ? c - '0' : c - 'a' + 10));
    }
    return values;
}

// From source to a place of its own and in place.
template <class From, class To>
static void Expect_Both_Ways(auto convert, const std::vector<From>& source,
                             const std::vector<To>& expected, auto... N)
{
    std::vector<To> apart(expected.size() + 1, To{99});
    convert(&Object, N..., source.data(), apart.data());
    EXPECT_EQ(apart.back(), To{99});
    apart.pop_back();
    EXPECT_EQ(apart, expected);
    if constexpr (std::is_same_v<From, To>) {
        std::vector<To> within = source;
        within.resize(std::max(source.size(), expected.size()));
        convert(&Object, N..., within.data(), within.data());
        within.resize(expected.size());
        EXPECT_EQ(within, expected) << "in place";
    }
}

// ---- Layouts ----

TEST(FvLayout, ConversionsPutEachValueInItsSlot)
{
    // Imaginary parts of the outer bins are there in the pairs that are read, and 0 in those
    // written.
    const struct {
        uint32_t N;
        const char *fv, *pairs, *hfv, *from_hfv, *reals;
    } rows[] = {
        {2, "12", "1020", "78", "78", "12"},
        {4, "1234", "103420", "789", "7980", "132"},
        {8, "12345678", "1034567820", "12345", "15203040", "13572"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.N);
        const Floats fv = Digits(row.fv);
        const Floats pairs = Digits(row.pairs);
        const std::vector<double> wide(pairs.begin(), pairs.end());
        Floats dirty = pairs;
        dirty[1] = dirty.back() = NAN;
        const std::vector<double> dirty_wide(dirty.begin(), dirty.end());
        Expect_Both_Ways(FV_To_Pairs, fv, pairs, row.N);
        Expect_Both_Ways(FV_To_Pairs_D, fv, wide, row.N);
        Expect_Both_Ways(FV_From_Pairs, dirty, fv, row.N);
        Expect_Both_Ways(FV_From_Pairs_D, dirty_wide, fv, row.N);
        Expect_Both_Ways(FV_From_HFV, Digits(row.hfv), Digits(row.from_hfv), row.N);
        Expect_Both_Ways(FV_Real_To_HFV, fv, Digits(row.reals), row.N);
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
            const uint32_t slot = k == 0 ? 0 : outer ? 1 : 2 * k;
            Floats expected(N, 9);
            expected[slot] = 5;
            expected[outer ? slot : slot + 1] = outer ? 5 : 6;
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
        Floats zeros(N, 0);
        zeros.push_back(1);
        EXPECT_EQ(copy, zeros);
    }
}

TEST(FvRange, CopiesItsBins)
{
    // N = 16: dc 0, ny 1, bin k at slots 2k and 2k + 1. A point is a slot left alone.
    const struct {
        const char* name;
        uint32_t k0, k1, j0;
        const char* expected;
    } rows[] = {
        {"all", 0, 9, 0, "0123456789abcdef"},
        {"dc alone", 0, 1, 0, "0..............."},
        {"ny alone", 8, 9, 8, ".1.............."},
        {"bins to their place", 3, 5, 3, "......6789......"},
        {"to the bottom, dc as well", 5, 7, 0, "0.abcd.........."},
        {"from dc upward", 0, 3, 2, "0...2345........"},
        {"with ny", 7, 9, 6, ".1..........ef.."},
        {"no bins", 3, 3, 3, "................"},
    };
    const Floats src = Digits("0123456789abcdef");
    for (const auto& row : rows) {
        Floats dst(16, -1);
        FV_Copy_Range(&Object, 16, src.data(), row.k0, row.k1, 77, row.j0, 88, dst.data());
        EXPECT_EQ(dst, Digits(row.expected)) << row.name;
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
                const float below = k0 == 0 ? std::fma(x[0], x[0], 2.0f * sum) : 2.0f * sum;
                const float expected = k1 == N / 2 + 1 ? std::fma(x[1], x[1], below) : below;
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

TEST(FvNumber, KnownValues)
{
    const struct {
        const char* name;
        Floats a, b;
        float max_power, inner;
    } rows[] = {
        {"outer bins", {3, -4}, {2, 5}, 16, -14},
        {"one bin counts twice", {3, 4, 1, 2}, {1, 1, 5, -1}, 16, 3 + 4 + 2 * (5 - 2)},
        {"the bin is the largest", {3, 4, -5, 1}, {0, 0, 0, 1}, 26, 2},
        {"a NaN loses", {NAN, 4, NAN, 1}, {0, 0, 0, 0}, 16, NAN},
        {"all NaN", {NAN, NAN}, {1, 1}, NAN, NAN},
    };
    for (const auto& row : rows) {
        const uint32_t N = static_cast<uint32_t>(row.a.size());
        float got = -1;
        FV_Max_Power(&Object, N, row.a.data(), &got);
        EXPECT_TRUE(Same(row.max_power, got)) << row.name << ": " << got;
        FV_Inner(&Object, N, row.a.data(), row.b.data(), &got);
        EXPECT_TRUE(Same(row.inner, got)) << row.name << ": " << got;
    }
}

// ---- Between lengths ----

TEST(HfvLength, AveragesAndInterpolates)
{
    const struct {
        const char* name;
        void (*run)(ObjectHeader*, uint32_t, uint32_t, const float*, float*);
        uint32_t N, N2;
        Floats src, expected;
    } rows[] = {
        {"same length averages two", HFV_Reduce, 8, 8, {1, 2, 4, 8, 16}, {1, 3, 6, 12, 16}},
        {"half averages three", HFV_Reduce, 8, 4, {1, 2, 4, 9, 16}, {1, 5, 16}},
        {"a third, odd ratio", HFV_Reduce, 12, 4, {1, 2, 4, 8, 16, 32, 64}, {1, 15, 64}},
        {"to the outer bins", HFV_Reduce, 8, 2, {1, 2, 4, 8, 16}, {1, 16}},
        {"same length", HFV_Expand, 4, 4, {1, 5, 3}, {1, 5, 3}},
        {"twice", HFV_Expand, 4, 8, {1, 5, 3}, {1, 3, 5, 4, 3}},
        {"four times", HFV_Expand, 2, 8, {1, 5}, {1, 2, 3, 4, 5}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Expect_Both_Ways(row.run, row.src, row.expected, row.N, row.N2);
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

struct FvTransform : testing::TestWithParam<uint32_t> {
    const uint32_t N = GetParam();
    const RealPlan plan = Make_Real_Plan(N);
    Random random = {N};
    const Floats x = Make_Floats(&random, N, Ordinary);
    const Floats y = Make_Floats(&random, N, Ordinary);

    // Without the factor of 2 in every slot.
    Floats Spectrum(const Floats& signal) const
    {
        Floats spectrum(N);
        FFT_Real_Forward(plan.get(), N, signal.data(), spectrum.data());
        FV_Scale(&Object, N, spectrum.data(), 0.5f);
        return spectrum;
    }
};

static void Expect_Near(const Floats& expected, const Floats& got, double tolerance)
{
    for (size_t i = 0; i < expected.size(); i++) {
        ASSERT_NEAR(expected[i], got[i], tolerance) << i << " of " << expected.size();
    }
}

TEST_P(FvTransform, ProductsAreCircularConvolutionAndCorrelation)
{
    Floats convolved(N);
    Floats correlated(N);
    for (uint32_t i = 0; i < N; i++) {
        double sum = 0.0, product = 0.0;
        for (uint32_t j = 0; j < N; j++) {
            sum += double{x[j]} * double{y[(i + N - j) % N]};
            product += double{x[j]} * double{y[(i + j) % N]};
        }
        convolved[i] = static_cast<float>(sum);
        correlated[i] = static_cast<float>(product);
    }
    const Floats X = Spectrum(x);
    Floats Y = Spectrum(y);
    FV_Mul(&Object, N, X.data(), Y.data());
    Expect_Near(Spectrum(convolved), Y, 1e-5 * N);
    Y = Spectrum(y);
    FV_Mul_Conj(&Object, N, X.data(), Y.data());
    Expect_Near(Spectrum(correlated), Y, 1e-5 * N);
}

TEST_P(FvTransform, DelayShiftsAndRotationTurns)
{
    for (const uint32_t d : {0u, 1u, 3u, N - 1}) {
        Floats shifted = x;
        std::rotate(shifted.begin(), shifted.end() - d, shifted.end());
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

// The spectrum kernels against plain loops over the bins, by bits, at all their kinds of lengths,
// on any address, and in place.
#include "vector/kern.h"

#include "tests/vector_fixture.h"

using namespace Plain;

// ---- Bins against plain loops ----

struct Bin {
    float re, im = 0.0f;
};

static constexpr auto Mul = [](Bin a, Bin b) {
    return Bin{std::fma(-a.im, b.im, a.re * b.re), std::fma(a.im, b.re, a.re * b.im)};
};
static constexpr auto Mul_Conj = [](Bin a, Bin b) {
    return Bin{std::fma(a.im, b.im, a.re * b.re), std::fma(-a.im, b.re, a.re * b.im)};
};
static constexpr auto Add = [](Bin a, Bin b) { return Bin{a.re + b.re, a.im + b.im}; };
static constexpr auto Scale = [](Bin a, float s) { return Bin{a.re * s, a.im * s}; };
static constexpr auto Divide = [](Bin a, float h) { return Bin{a.re / h, a.im / h}; };
static constexpr auto Conj = [](Bin a) { return Bin{a.re, -a.im}; };

// What the reference of a kernel sees of one bin, or of dc and ny with imaginary parts left at 0.
struct Input {
    Bin a, b, dst; // an HFV has b.re only
    float s;
    bool is_first; // bin 1
};

struct BinCase {
    const char* name;
    bool b_is_hfv;
    std::vector<uint32_t> lengths;
    void (*run)(uint32_t n, const float* a, const float* b, float* dst, const float* s);
    Bin (*bin)(Input x);
    float (*outer)(Input x);
};

template <auto Kernel>
static void Run(uint32_t n, const float* a, const float* b, float* dst, const float* s)
{
    if constexpr (requires { Kernel(n, a, b, dst); }) {
        Kernel(n, a, b, dst);
    } else {
        Kernel(n, a, b, dst, s);
    }
}

static constexpr auto Sum = [](Input x) { return x.a.re + x.b.re; };
static constexpr auto Times = [](Input x) { return x.a.re * x.b.re; };
static constexpr auto Fused = [](Input x) { return std::fma(x.a.re, x.b.re, x.dst.re); };
static constexpr auto Ratio = [](Input x) { return x.a.re * x.s / x.b.re; };

// Beyond 16, multiples of that number.
static const std::vector<uint32_t> By_32 = {4, 8, 16, 32, 64, 96, 256, 1024};
static const std::vector<uint32_t> By_16 = {4, 8, 16, 32, 64, 96, 256, 1024, 48, 80};
static const std::vector<uint32_t> By_4 = {4,  8,  16, 32, 64, 96, 256, 1024,
                                           48, 80, 12, 20, 28, 36, 1020};

static const BinCase Bin_Cases[] = {
    {"Mul", false, By_16, Run<KERN_FV_Mul>, [](Input x) { return Mul(x.a, x.b); }, Times},
    {"Mul_Conj", false, By_16, Run<KERN_FV_Mul_Conj>, [](Input x) { return Mul_Conj(x.a, x.b); },
     Times},
    {"Mul_HFV", true, By_16, Run<KERN_FV_Mul_HFV>, [](Input x) { return Scale(x.a, x.b.re); },
     Times},
    {"MulAcc", false, By_32, Run<KERN_FV_MulAcc>, [](Input x) { return Add(x.dst, Mul(x.a, x.b)); },
     Fused},
    {"MulAcc_Conj", false, By_32, Run<KERN_FV_MulAcc_Conj>,
     [](Input x) { return Add(x.dst, Mul_Conj(x.a, x.b)); }, Fused},
    {"Add_Block", false, By_32, Run<KERN_Add_Block>, [](Input x) { return Add(x.a, x.b); }, Sum},
    {"Scale_Div_HFV", true, By_4, Run<KERN_FV_Scale_Div_HFV>,
     [](Input x) {
         return x.is_first ? Divide(Scale(x.a, x.s), x.b.re) : Scale(x.a, x.s / x.b.re);
     },
     Ratio},
    {"Conj_Scale_Div_HFV", true, By_4, Run<KERN_FV_Conj_Scale_Div_HFV>,
     [](Input x) { return Divide(Scale(Conj(x.a), x.s), x.b.re); }, Ratio},
};

static std::vector<float> Expected_Bins(const BinCase& c, uint32_t n, const float* a,
                                        const float* b, const float* dst, float s)
{
    std::vector<float> expected(n);
    expected[0] = c.outer({{a[0]}, {b[0]}, {dst[0]}, s, false});
    expected[1] = c.outer({{a[1]}, {b[c.b_is_hfv ? n / 2 : 1]}, {dst[1]}, s, false});
    for (uint32_t i = 2; i < n; i += 2) {
        const Bin second = c.b_is_hfv ? Bin{b[i / 2], 0.0f} : Bin{b[i], b[i + 1]};
        const Bin bin = c.bin({{a[i], a[i + 1]}, second, {dst[i], dst[i + 1]}, s, i == 2});
        expected[i] = bin.re;
        expected[i + 1] = bin.im;
    }
    return expected;
}

static void Check_Bins(const BinCase& c, unsigned off, int place)
{
    SCOPED_TRACE(testing::Message() << c.name << ", off " << off << ", place " << place);
    Each_Content(c.lengths, 5, [&](uint32_t n, auto make) {
        const Guarded a(make(n), off);
        const Guarded b(make(c.b_is_hfv ? n / 2 + 1 : n), off);
        const Guarded dst(make(n), off);
        const float s = -0.7f;
        float* const to = place == 0 ? dst.data : place == 1 ? a.data : b.data;
        const std::vector<float> expected = Expected_Bins(c, n, a.data, b.data, to, s);
        c.run(n, a.data, b.data, to, &s);
        EXPECT_TRUE(Same_Floats(expected.data(), to, n));
        EXPECT_TRUE(a.Guards_Whole() && b.Guards_Whole() && dst.Guards_Whole());
    });
}

TEST(KernBins, EqualThePlainLoop)
{
    for (const BinCase& c : Bin_Cases) {
        for (const unsigned off : {0u, 4u, 8u}) {
            for (int place = 0; place < (c.b_is_hfv ? 2 : 3); place++) { // apart, a, b
                Check_Bins(c, off, place);
            }
        }
    }
}

TEST(KernComplexMulAcc, EqualsThePlainLoop)
{
    for (const unsigned off : {0u, 8u}) {
        Each_Content({2, 4, 8, 16, 32, 64, 96, 512}, 6, [off](uint32_t n, auto make) {
            const Guarded a(make(n), off);
            const Guarded b(make(n), off);
            const Guarded acc(make(n), off);
            std::vector<float> expected = acc.Values();
            for (uint32_t i = 0; i < n; i += 2) {
                const Bin product = Mul({a.data[i], a.data[i + 1]}, {b.data[i], b.data[i + 1]});
                expected[i] += product.re;
                expected[i + 1] += product.im;
            }
            KERN_Complex_MulAcc(n, a.data, b.data, acc.data);
            EXPECT_TRUE(Same_Floats(expected.data(), acc.data, n));
            EXPECT_TRUE(acc.Guards_Whole());
        });
    }
}

// ---- Powers ----

static float Power(const float* x, uint32_t k)
{
    return std::fma(x[2 * k + 1], x[2 * k + 1], x[2 * k] * x[2 * k]);
}

static const std::vector<uint32_t> Fours = {4, 8, 12, 16, 20, 24, 28, 32, 36, 40, 64, 100, 1024};

TEST(KernPower, EqualsThePlainLoop)
{
    Each_Content(Fours, 8, [](uint32_t n, auto make) {
        const uint32_t top = n / 2;
        const Guarded x(make(n), 4);
        const Guarded dst(top + 1, 4);
        const Guarded acc(make(top + 1), 0);
        std::vector<float> powers(top + 1);
        std::vector<float> sums(top + 1);
        for (uint32_t k = 0; k <= top; k++) {
            const float outer = x.data[k == 0 ? 0 : 1];
            const bool is_outer = k == 0 || k == top;
            powers[k] = is_outer ? outer * outer : Power(x.data, k);
            sums[k] = is_outer ? std::fma(outer, outer, acc.data[k]) : acc.data[k] + powers[k];
        }
        KERN_FV_Power(n, x.data, dst.data);
        EXPECT_TRUE(Same_Floats(powers.data(), dst.data, powers.size()));
        KERN_FV_PowerAcc(n, x.data, acc.data);
        EXPECT_TRUE(Same_Floats(sums.data(), acc.data, sums.size()));
        EXPECT_TRUE(dst.Guards_Whole() && acc.Guards_Whole());
        KERN_FV_Power(n, x.data, x.data);
        EXPECT_TRUE(Same_Floats(powers.data(), x.data, powers.size())) << "in place";
        EXPECT_TRUE(x.Guards_Whole());
    });
}

TEST(KernEnergy, KeepsItsOrder)
{
    Each_Content(Fours, 9, [](uint32_t n, auto make) {
        const std::vector<float> x = make(n);
        const auto add = [&](float s, size_t i) { return std::fma(x[i + 4], x[i + 4], s); };
        const float first = Power(x.data(), 1);
        const float t = n == 4 ? first : first + Add_Up(n - 4, true, add);
        const float expected = std::fma(x[1], x[1], x[0] * x[0]) + (t + t);
        EXPECT_TRUE(Same(expected, KERN_FV_Energy(n, x.data())));
    });
}

TEST(KernEnergy, CountsBinsTwice)
{
    const float x[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(KERN_FV_Energy(4, x), 1.0f + 4.0f + 2.0f * (9.0f + 16.0f));
    EXPECT_EQ(KERN_FV_Energy(8, x), 5.0f + 2.0f * (25.0f + 61.0f + 113.0f));
}

// ---- Neighbouring bins ----

TEST(KernRaisedSine, EqualsThePlainLoop)
{
    std::vector<uint32_t> lengths(Fours.begin() + 1, Fours.end());
    lengths.push_back(44);
    Each_Content(lengths, 10, [](uint32_t n, auto make) {
        const Guarded x(make(n), 4);
        const uint32_t top = n / 2;
        std::vector<Bin> old(top + 1);
        for (uint32_t k = 1; k < top; k++) {
            old[k] = {x.data[2 * k], x.data[2 * k + 1]};
        }
        old[0] = {x.data[0], 0.0f};
        old[top] = {x.data[1], 0.0f};
        std::vector<float> expected(n);
        expected[0] = 2.0f * (old[0].re - old[1].im);
        expected[1] = 2.0f * (old[top].re + old[top - 1].im);
        for (uint32_t k = 1; k < top; k++) {
            expected[2 * k] = std::fma(2.0f, old[k].re, old[k - 1].im) - old[k + 1].im;
            expected[2 * k + 1] = std::fma(2.0f, old[k].im, old[k + 1].re) - old[k - 1].re;
        }
        KERN_FV_RaisedSine(n, x.data);
        EXPECT_TRUE(Same_Floats(expected.data(), x.data, n));
        EXPECT_TRUE(x.Guards_Whole());
    });
}

TEST(KernRaisedSine, OfDcAlone)
{
    std::vector<float> x(16);
    x[0] = 1.0f;
    KERN_FV_RaisedSine(16, x.data());
    EXPECT_EQ(x, (std::vector<float>{2, 0, 0, -1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

// The meaning: sample m times 2 + 2 sin(2 pi m / n), on a spectrum made by a plain transform.
TEST(KernRaisedSine, WeighsTheSignal)
{
    constexpr int n = 32;
    constexpr double step = 2.0 * 3.14159265358979323846 / n;
    float plain[n] = {};
    float weighted[n] = {};
    Random random = {11};
    for (int m = 0; m < n; m++) {
        const double sample = Random_Float(&random, 1.0f);
        const double heavy = sample * (2.0 + 2.0 * std::sin(step * m));
        for (int slot = 0; slot < n; slot++) {
            const int k = slot == 1 ? n / 2 : slot / 2;
            const bool is_im = slot % 2 != 0 && slot != 1;
            const double wave = is_im ? -std::sin(step * k * m) : std::cos(step * k * m);
            plain[slot] += static_cast<float>(sample * wave);
            weighted[slot] += static_cast<float>(heavy * wave);
        }
    }
    KERN_FV_RaisedSine(n, plain);
    for (int i = 0; i < n; i++) {
        EXPECT_NEAR(plain[i], weighted[i], 1e-4) << "slot " << i; // 32 float additions each
    }
}

TEST(KernSmooth, EqualsThePlainLoop)
{
    Each_Content({4, 8, 16, 24, 32, 40, 48, 56, 64, 128, 1000}, 12, [](uint32_t n, auto make) {
        const uint32_t top = n / 2;
        const Guarded h(make(top + 1), 4);
        const std::vector<float> old = h.Values();
        std::vector<float> expected(top + 1);
        expected[0] = 2.0f * (old[0] + old[1]);
        expected[top] = 2.0f * (old[top - 1] + old[top]);
        for (uint32_t j = 1; j < top; j++) {
            expected[j] = (old[j - 1] + old[j]) + (old[j] + old[j + 1]);
        }
        KERN_HFV_Smooth(n, h.data);
        EXPECT_TRUE(Same_Floats(expected.data(), h.data, top + 1));
        EXPECT_TRUE(h.Guards_Whole());
    });
}

TEST(KernSmooth, OfOnesGivesFours)
{
    std::vector<float> h(33, 1.0f);
    KERN_HFV_Smooth(64, h.data());
    EXPECT_EQ(h, std::vector<float>(33, 4.0f));
}

// The spectrum kernels against plain loops over the bins, by bits, at all their kinds of lengths,
// on any address, and in place.
#include "vector/kern.h"

#include "tests/vector_fixture.h"

// ---- Plain loops ----

struct Bin {
    float re, im;
};

static Bin Mul(Bin a, Bin b)
{
    return {std::fma(-a.im, b.im, a.re * b.re), std::fma(a.im, b.re, a.re * b.im)};
}

static Bin Mul_Conj(Bin a, Bin b)
{
    return {std::fma(a.im, b.im, a.re * b.re), std::fma(-a.im, b.re, a.re * b.im)};
}

static Bin Add(Bin a, Bin b)
{
    return {a.re + b.re, a.im + b.im};
}

// What the reference of a kernel sees of one bin, or of dc and ny with imaginary parts left at 0.
struct BinInput {
    Bin a, b, dst;
    float h, s;
    bool is_first; // bin 1
};

struct BinCase {
    const char* name;
    bool b_is_hfv;
    unsigned step; // beyond 16, legal lengths are its multiples
    void (*run)(uint32_t n, const float* a, const float* b, float* dst, const float* s);
    Bin (*bin)(const BinInput& in);
    float (*outer)(float a, float b, float dst, float s);
};

static const BinCase Bin_Cases[] = {
    {"FV_Mul", false, 16,
     [](uint32_t n, const float* a, const float* b, float* dst, const float*) {
         KERN_FV_Mul(n, a, b, dst);
     },
     [](const BinInput& in) { return Mul(in.a, in.b); },
     [](float a, float b, float, float) { return a * b; }},
    {"FV_Mul_Conj", false, 16,
     [](uint32_t n, const float* a, const float* b, float* dst, const float*) {
         KERN_FV_Mul_Conj(n, a, b, dst);
     },
     [](const BinInput& in) { return Mul_Conj(in.a, in.b); },
     [](float a, float b, float, float) { return a * b; }},
    {"FV_Mul_HFV", true, 16,
     [](uint32_t n, const float* a, const float* h, float* dst, const float*) {
         KERN_FV_Mul_HFV(n, a, h, dst);
     },
     [](const BinInput& in) {
         return Bin{in.a.re * in.h, in.a.im * in.h};
     },
     [](float a, float h, float, float) { return a * h; }},
    {"FV_MulAcc", false, 32,
     [](uint32_t n, const float* a, const float* b, float* dst, const float*) {
         KERN_FV_MulAcc(n, a, b, dst);
     },
     [](const BinInput& in) { return Add(in.dst, Mul(in.a, in.b)); },
     [](float a, float b, float dst, float) { return std::fma(a, b, dst); }},
    {"FV_MulAcc_Conj", false, 32,
     [](uint32_t n, const float* a, const float* b, float* dst, const float*) {
         KERN_FV_MulAcc_Conj(n, a, b, dst);
     },
     [](const BinInput& in) { return Add(in.dst, Mul_Conj(in.a, in.b)); },
     [](float a, float b, float dst, float) { return std::fma(a, b, dst); }},
    {"Add_Block", false, 32,
     [](uint32_t n, const float* a, const float* b, float* dst, const float*) {
         KERN_Add_Block(n, a, b, dst);
     },
     [](const BinInput& in) { return Add(in.a, in.b); },
     [](float a, float b, float, float) { return a + b; }},
    {"FV_Scale_Div_HFV", true, 4,
     [](uint32_t n, const float* a, const float* h, float* dst, const float* s) {
         KERN_FV_Scale_Div_HFV(n, a, h, dst, s);
     },
     [](const BinInput& in) {
         const float t = in.s / in.h;
         return in.is_first ? Bin{in.a.re * in.s / in.h, in.a.im * in.s / in.h}
                            : Bin{in.a.re * t, in.a.im * t};
     },
     [](float a, float h, float, float s) { return a * s / h; }},
    {"FV_Conj_Scale_Div_HFV", true, 4,
     [](uint32_t n, const float* a, const float* h, float* dst, const float* s) {
         KERN_FV_Conj_Scale_Div_HFV(n, a, h, dst, s);
     },
     [](const BinInput& in) {
         return Bin{in.a.re * in.s / in.h, in.a.im * -in.s / in.h};
     },
     [](float a, float h, float, float s) { return a * s / h; }},
};

static std::vector<uint32_t> Legal_Lengths(unsigned step)
{
    std::vector<uint32_t> lengths = {4, 8, 16, 32, 64, 96, 256, 1024};
    if (step <= 16) {
        lengths.insert(lengths.end(), {48, 80});
    }
    if (step <= 4) {
        lengths.insert(lengths.end(), {12, 20, 28, 36, 1020});
    }
    return lengths;
}

static std::vector<float> Expected_Bins(const BinCase& c, uint32_t n, const float* a,
                                        const float* b, const float* dst, float s)
{
    std::vector<float> expected(n);
    expected[0] = c.outer(a[0], b[0], dst[0], s);
    expected[1] = c.outer(a[1], c.b_is_hfv ? b[n / 2] : b[1], dst[1], s);
    for (uint32_t k = 1; k < n / 2; k++) {
        BinInput in = {};
        in.a = {a[2 * k], a[2 * k + 1]};
        in.dst = {dst[2 * k], dst[2 * k + 1]};
        in.s = s;
        in.is_first = k == 1;
        if (c.b_is_hfv) {
            in.h = b[k];
        } else {
            in.b = {b[2 * k], b[2 * k + 1]};
        }
        const Bin bin = c.bin(in);
        expected[2 * k] = bin.re;
        expected[2 * k + 1] = bin.im;
    }
    return expected;
}

static void PrintTo(const BinCase& c, std::ostream* stream)
{
    *stream << c.name;
}

class KernBins : public testing::TestWithParam<BinCase>
{
};

INSTANTIATE_TEST_SUITE_P(, KernBins, testing::ValuesIn(Bin_Cases),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(KernBins, EqualThePlainLoop)
{
    const BinCase& c = GetParam();
    Random random = {5};
    for (const uint32_t n : Legal_Lengths(c.step)) {
        for (const unsigned off : {0u, 4u, 8u}) {
            for (const int place : {0, 1, 2}) { // dst apart, dst is a, dst is b
                if (place == 2 && c.b_is_hfv) {
                    continue;
                }
                for (const Content content : {Ordinary, Special, Any_Bits}) {
                    SCOPED_TRACE(testing::Message()
                                 << "n " << n << ", bytes off " << off << ", place " << place
                                 << ", content " << content);
                    Guarded a(n, off);
                    Guarded b(c.b_is_hfv ? n / 2 + 1 : n, off);
                    Guarded dst(n, off);
                    a.Fill(Make_Floats(&random, a.n, content));
                    b.Fill(Make_Floats(&random, b.n, content));
                    dst.Fill(Make_Floats(&random, dst.n, content));
                    const float s = -0.7f;
                    float* const to = place == 0 ? dst.data : place == 1 ? a.data : b.data;
                    const std::vector<float> expected = Expected_Bins(c, n, a.data, b.data, to, s);
                    c.run(n, a.data, b.data, to, &s);
                    EXPECT_TRUE(Same_Floats(expected.data(), to, n));
                    EXPECT_TRUE(a.Guards_Whole() && b.Guards_Whole() && dst.Guards_Whole());
                }
            }
        }
    }
}

TEST(KernComplexMulAcc, EqualsThePlainLoop)
{
    Random random = {6};
    for (const uint32_t n : {2u, 4u, 8u, 16u, 32u, 64u, 96u, 512u}) {
        for (const unsigned off : {0u, 8u}) {
            for (const Content content : {Ordinary, Special, Any_Bits}) {
                SCOPED_TRACE(testing::Message() << "n " << n << ", content " << content);
                Guarded a(n, off);
                Guarded b(n, off);
                Guarded acc(n, off);
                a.Fill(Make_Floats(&random, n, content));
                b.Fill(Make_Floats(&random, n, content));
                acc.Fill(Make_Floats(&random, n, content));
                std::vector<float> expected(n);
                for (uint32_t i = 0; i < n; i += 2) {
                    const Bin product = Mul({a.data[i], a.data[i + 1]}, {b.data[i], b.data[i + 1]});
                    expected[i] = acc.data[i] + product.re;
                    expected[i + 1] = acc.data[i + 1] + product.im;
                }
                KERN_Complex_MulAcc(n, a.data, b.data, acc.data);
                EXPECT_TRUE(Same_Floats(expected.data(), acc.data, n));
                EXPECT_TRUE(acc.Guards_Whole());
            }
        }
    }
}

// ---- Powers ----

static float Power(const float* x, uint32_t k)
{
    return std::fma(x[2 * k + 1], x[2 * k + 1], x[2 * k] * x[2 * k]);
}

static const uint32_t Fours[] = {4, 8, 12, 16, 20, 24, 28, 32, 36, 40, 64, 100, 1024};

TEST(KernPower, EqualsThePlainLoop)
{
    Random random = {8};
    for (const uint32_t n : Fours) {
        for (const Content content : {Ordinary, Special, Any_Bits}) {
            SCOPED_TRACE(testing::Message() << "n " << n << ", content " << content);
            Guarded x(n, 4);
            Guarded dst(n / 2 + 1, 4);
            Guarded acc(n / 2 + 1, 0);
            x.Fill(Make_Floats(&random, n, content));
            acc.Fill(Make_Floats(&random, acc.n, content));
            std::vector<float> powers(n / 2 + 1);
            std::vector<float> sums(n / 2 + 1);
            for (uint32_t k = 0; k <= n / 2; k++) {
                const float outer = x.data[k == 0 ? 0 : 1];
                const bool is_outer = k == 0 || k == n / 2;
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
        }
    }
}

TEST(KernEnergy, KeepsItsOrder)
{
    Random random = {9};
    for (const uint32_t n : Fours) {
        for (const Content content : {Ordinary, Special, Any_Bits}) {
            SCOPED_TRACE(testing::Message() << "n " << n << ", content " << content);
            const std::vector<float> x = Make_Floats(&random, n, content);
            float p[4] = {};
            for (uint32_t i = 4; i < n; i++) {
                p[i % 4] = std::fma(x[i], x[i], p[i % 4]);
            }
            const float first = Power(x.data(), 1);
            const float t = n == 4 ? first : first + ((p[0] + p[1]) + (p[2] + p[3]));
            const float expected = std::fma(x[1], x[1], x[0] * x[0]) + (t + t);
            EXPECT_TRUE(Same(expected, KERN_FV_Energy(n, x.data())));
        }
    }
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
    Random random = {10};
    for (const uint32_t n : {8u, 12u, 16u, 20u, 24u, 28u, 32u, 36u, 40u, 44u, 64u, 100u, 1024u}) {
        for (const Content content : {Ordinary, Special, Any_Bits}) {
            SCOPED_TRACE(testing::Message() << "n " << n << ", content " << content);
            Guarded x(n, 4);
            x.Fill(Make_Floats(&random, n, content));
            const uint32_t top = n / 2;
            std::vector<Bin> old(top + 1);
            old[0] = {x.data[0], 0.0f};
            old[top] = {x.data[1], 0.0f};
            for (uint32_t k = 1; k < top; k++) {
                old[k] = {x.data[2 * k], x.data[2 * k + 1]};
            }
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
        }
    }
}

TEST(KernRaisedSine, OfDcAlone)
{
    float x[16] = {1.0f};
    KERN_FV_RaisedSine(16, x);
    EXPECT_EQ(x[0], 2.0f);
    for (int i = 1; i < 16; i++) {
        EXPECT_EQ(x[i], i == 3 ? -1.0f : 0.0f) << "slot " << i;
    }
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
        for (int k = 0; k <= n / 2; k++) {
            const double c = std::cos(step * k * m);
            const double s = -std::sin(step * k * m);
            const int slot = k == 0 ? 0 : k == n / 2 ? 1 : 2 * k;
            plain[slot] += static_cast<float>(sample * c);
            weighted[slot] += static_cast<float>(heavy * c);
            if (slot > 1) {
                plain[slot + 1] += static_cast<float>(sample * s);
                weighted[slot + 1] += static_cast<float>(heavy * s);
            }
        }
    }
    KERN_FV_RaisedSine(n, plain);
    for (int i = 0; i < n; i++) {
        EXPECT_NEAR(plain[i], weighted[i], 1e-4) << "slot " << i; // 32 float additions each
    }
}

TEST(KernSmooth, EqualsThePlainLoop)
{
    Random random = {12};
    for (const uint32_t n : {4u, 8u, 16u, 24u, 32u, 40u, 48u, 56u, 64u, 128u, 1000u}) {
        for (const Content content : {Ordinary, Special, Any_Bits}) {
            SCOPED_TRACE(testing::Message() << "n " << n << ", content " << content);
            const uint32_t top = n / 2;
            Guarded h(top + 1, 4);
            h.Fill(Make_Floats(&random, top + 1, content));
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
        }
    }
}

TEST(KernSmooth, OfOnesGivesFours)
{
    std::vector<float> h(33, 1.0f);
    KERN_HFV_Smooth(64, h.data());
    EXPECT_EQ(h, std::vector<float>(33, 4.0f));
}

// The float operations of the SIMD layer, one by one: each width of the build's form against a
// plain definition written here, over all combinations of special values and over random bits.
#include "vector/simd_pairs.h"
#include "vector/simd_parts.h"

#include "tests/vector_fixture.h"

// ---- Definitions, after the arithmetic of 64-bit Arm under flush-to-zero ----

static float Flush(float a)
{
    return std::fpclassify(a) == FP_SUBNORMAL || (Bits(a) & 0x7F800000) == 0
               ? From_Bits(Bits(a) & 0x80000000)
               : a;
}

static constexpr float Quiet = std::numeric_limits<float>::quiet_NaN();

static bool Is_Signalling(float a)
{
    return a != a && (Bits(a) & 0x00400000) == 0;
}

static float Larger(float a, float b)
{
    if (a != a || b != b) {
        return Quiet;
    }
    a = Flush(a);
    b = Flush(b);
    if (a == 0.0f && b == 0.0f) {
        return std::signbit(a) && std::signbit(b) ? -0.0f : 0.0f;
    }
    if (a > b) {
        return a;
    }
    return b;
}

static float Smaller(float a, float b)
{
    if (a != a || b != b) {
        return Quiet;
    }
    a = Flush(a);
    b = Flush(b);
    if (a == 0.0f && b == 0.0f) {
        return std::signbit(a) || std::signbit(b) ? -0.0f : 0.0f;
    }
    if (a < b) {
        return a;
    }
    return b;
}

static float Larger_Number(float a, float b)
{
    if (Is_Signalling(a) || Is_Signalling(b) || (a != a && b != b)) {
        return Quiet;
    }
    return a != a ? Flush(b) : b != b ? Flush(a) : Larger(a, b);
}

static float Smaller_Number(float a, float b)
{
    if (Is_Signalling(a) || Is_Signalling(b) || (a != a && b != b)) {
        return Quiet;
    }
    return a != a ? Flush(b) : b != b ? Flush(a) : Smaller(a, b);
}

// FPRecipEstimate of the Arm architecture for a 32-bit operand with FPCR.FZ set.
static float Recip_Estimate(float operand)
{
    const uint32_t bits = Bits(operand);
    const uint32_t sign = bits >> 31;
    const uint32_t exponent = bits >> 23 & 0xFF;
    const uint32_t fraction = bits & 0x7FFFFF;
    if (exponent == 0xFF && fraction != 0) {
        return From_Bits(bits | 0x00400000);
    }
    if (exponent == 0xFF) {
        return From_Bits(sign << 31);
    }
    if (exponent == 0) {
        return From_Bits(sign << 31 | 0x7F800000);
    }
    if (exponent >= 253) { // 2^126 and above
        return From_Bits(sign << 31);
    }
    const uint32_t scaled = 256 + (fraction >> 15);
    const uint32_t inverse = ((1u << 19) / (scaled * 2 + 1) + 1) / 2;
    return From_Bits(sign << 31 | (253 - exponent) << 23 | (inverse & 0xFF) << 15);
}

// ---- All lanes ----

template <class F, class Op, class... Sources>
static void Run_Lanes(Op op, float* out, Sources... in)
{
    F_Store(out, op(F_Load<F>(in)...));
}

// op at the three widths on the n operands of each source, n a multiple of 8.
template <class Op, class Reference, class... Sources> static void
Check(const char* name, bool bits, Op op, Reference reference, const Sources&... sources)
{
    SCOPED_TRACE(name);
    const size_t n = std::min({sources.size()...}) / 8 * 8;
    ASSERT_GE(n, 8u);
    std::vector<float> expected(n);
    std::vector<float> got[3] = {expected, expected, expected};
    for (size_t i = 0; i < n; i++) {
        expected[i] = reference(sources[i]...);
        Run_Lanes<float>(op, &got[0][i], &sources[i]...);
    }
    for (size_t i = 0; i < n; i += 4) {
        Run_Lanes<F4>(op, &got[1][i], &sources[i]...);
    }
    for (size_t i = 0; i < n; i += 8) {
        Run_Lanes<F8>(op, &got[2][i], &sources[i]...);
    }
    for (int width = 0; width < 3; width++) {
        SCOPED_TRACE(width == 0 ? "float" : width == 1 ? "F4" : "F8");
        EXPECT_TRUE(Same_Floats(expected.data(), got[width].data(), n));
        if (bits) {
            EXPECT_EQ(memcmp(expected.data(), got[width].data(), n * sizeof(float)), 0);
        }
    }
}

struct Operands {
    std::vector<float> a, b, c;
};

static Operands All_Combinations(bool with_third)
{
    const std::vector<float> special = Special_Values();
    Operands all;
    for (const float a : special) {
        for (const float b : special) {
            for (const float c : with_third ? special : std::vector<float>{1.0f}) {
                all.a.push_back(a);
                all.b.push_back(b);
                all.c.push_back(c);
            }
        }
    }
    return all;
}

static Operands Random_Operands(Content content)
{
    Random random = {content};
    const size_t n = 1 << 16;
    return {Make_Floats(&random, n, content), Make_Floats(&random, n, content),
            Make_Floats(&random, n, content)};
}

class SimdFloat : public testing::TestWithParam<int>
{
  protected:
    const Operands in = GetParam() == 0   ? All_Combinations(false)
                        : GetParam() == 1 ? Random_Operands(Any_Bits)
                                          : Random_Operands(Ordinary);
};

static std::string Operands_Name(const testing::TestParamInfo<int>& test)
{
    const char* const names[] = {"Special", "AnyBits", "Ordinary"};
    return names[test.param];
}

INSTANTIATE_TEST_SUITE_P(, SimdFloat, testing::Values(0, 1, 2), Operands_Name);

TEST_P(SimdFloat, SumsAndProducts)
{
    // In double each is exact or keeps far more than twice the bits; one rounding follows.
    const auto once = [](double value) { return Flush(static_cast<float>(value)); };
    Check(
        "Add", false, [](auto a, auto b) { return F_Add(a, b); },
        [&](float a, float b) { return a + b; }, in.a, in.b);
    Check(
        "Sub", false, [](auto a, auto b) { return F_Sub(a, b); },
        [&](float a, float b) { return a - b; }, in.a, in.b);
    Check(
        "Mul", false, [](auto a, auto b) { return F_Mul(a, b); },
        [&](float a, float b) { return once(double{Flush(a)} * double{Flush(b)}); }, in.a, in.b);
    Check(
        "Div", false, [](auto a, auto b) { return F_Div(a, b); },
        [&](float a, float b) { return once(double{Flush(a)} / double{Flush(b)}); }, in.a, in.b);
    Check(
        "Sqrt", false, [](auto a) { return F_Sqrt(a); },
        [&](float a) { return once(std::sqrt(double{Flush(a)})); }, in.a);
}

TEST_P(SimdFloat, FusedProducts)
{
    const Operands all = GetParam() == 0 ? All_Combinations(true) : in;
    Check(
        "MulAdd", false, [](auto a, auto b, auto c) { return F_MulAdd(a, b, c); },
        [](float a, float b, float c) { return std::fma(a, b, c); }, all.a, all.b, all.c);
    Check(
        "NegMulAdd", false, [](auto a, auto b, auto c) { return F_NegMulAdd(a, b, c); },
        [](float a, float b, float c) { return std::fma(-a, b, c); }, all.a, all.b, all.c);
}

TEST_P(SimdFloat, Extremes)
{
    Check(
        "Max", false, [](auto a, auto b) { return F_Max(a, b); }, Larger, in.a, in.b);
    Check(
        "Min", false, [](auto a, auto b) { return F_Min(a, b); }, Smaller, in.a, in.b);
}

TEST_P(SimdFloat, ExtremesOfNumbers)
{
    for (size_t i = 0; i < in.a.size(); i++) {
        const float a = in.a[i];
        const float b = in.b[i];
        ASSERT_TRUE(Same(Larger_Number(a, b), F_Max_Number(a, b))) << a << " " << b;
        ASSERT_TRUE(Same(Smaller_Number(a, b), F_Min_Number(a, b))) << a << " " << b;
    }
}

TEST_P(SimdFloat, Signs)
{
    Check(
        "Neg", true, [](auto a) { return F_Neg(a); },
        [](float a) { return From_Bits(Bits(a) ^ 0x80000000); }, in.a);
    Check(
        "Abs", true, [](auto a) { return F_Abs(a); },
        [](float a) { return From_Bits(Bits(a) & 0x7FFFFFFF); }, in.a);
}

TEST_P(SimdFloat, ReciprocalEstimate)
{
    Check(
        "Recip_Estimate", true, [](auto a) { return F_Recip_Estimate(a); }, Recip_Estimate, in.a);
}

// Every exponent and sign with every value of the bits that count, and the ends of those that do
// not. On 64-bit Arm the lanes are the processor's instruction.
TEST(SimdEstimate, IsThePublishedRuleInAllStrata)
{
    std::vector<float> operands;
    for (uint32_t top = 0; top < 1 << 17; top++) {
        for (const uint32_t rest : {0x0000u, 0x0001u, 0x4000u, 0x7FFFu}) {
            operands.push_back(From_Bits(top << 15 | rest));
        }
    }
    Check(
        "Recip_Estimate", true, [](auto a) { return F_Recip_Estimate(a); }, Recip_Estimate,
        operands);
}

// ---- Lanes moved about ----

template <class F> static std::vector<float> Lanes_Of(F a)
{
    std::vector<float> lanes(F_Lanes<F>);
    F_Store(lanes.data(), a);
    return lanes;
}

// Numbers 1 to 16, so that a lane tells where it came from.
struct Counted {
    float data[17];
    Counted()
    {
        for (int i = 0; i < 17; i++) {
            data[i] = static_cast<float>(i + 1);
        }
    }
};

template <class F> static void Check_Lanes()
{
    const Counted count;
    const F a = F_Load<F>(count.data);
    const F b = F_Load<F>(count.data + 8);
    struct LaneCase {
        const char* name;
        std::vector<float> got;
        float (*expected)(int lane);
    };
    const LaneCase cases[] = {
        {"Set", Lanes_Of(F_Set<F>(3.0f)), [](int) { return 3.0f; }},
        {"Load off the boundary", Lanes_Of(F_Load<F>(count.data + 1)),
         [](int k) { return static_cast<float>(k + 2); }},
        {"Dup_Even", Lanes_Of(F_Dup_Even(a)),
         [](int k) { return static_cast<float>(k / 2 * 2 + 1); }},
        {"Dup_Odd", Lanes_Of(F_Dup_Odd(a)),
         [](int k) { return static_cast<float>(k / 2 * 2 + 2); }},
        {"Swap", Lanes_Of(F_Swap(a)), [](int k) { return static_cast<float>((k ^ 1) + 1); }},
        {"Neg_Even", Lanes_Of(F_Neg_Even(a)),
         [](int k) { return static_cast<float>(k % 2 == 0 ? -(k + 1) : k + 1); }},
        {"Neg_Odd", Lanes_Of(F_Neg_Odd(a)),
         [](int k) { return static_cast<float>(k % 2 != 0 ? -(k + 1) : k + 1); }},
        {"Blend", Lanes_Of(F_Blend(a, b)),
         [](int k) { return static_cast<float>(k % 2 == 0 ? k + 1 : k + 9); }},
        {"Load_Twice", Lanes_Of(F_Load_Twice<F>(count.data)),
         [](int k) { return static_cast<float>(k / 2 + 1); }},
    };
    for (const LaneCase& c : cases) {
        SCOPED_TRACE(c.name);
        for (int k = 0; k < static_cast<int>(F_Lanes<F>); k++) {
            EXPECT_EQ(c.got[static_cast<size_t>(k)], c.expected(k)) << "lane " << k;
        }
    }
}

TEST(SimdLanes, FourMoveAsNamed)
{
    Check_Lanes<F4>();
    const Counted count;
    EXPECT_EQ(Lanes_Of(F4_Halves(F4_Load(count.data), F4_Load(count.data + 8))),
              (std::vector<float>{1, 2, 11, 12}));
}

TEST(SimdLanes, EightMoveAsNamed)
{
    Check_Lanes<F8>();
    const Counted count;
    const F8 a = F_Load<F8>(count.data);
    EXPECT_EQ(Lanes_Of(F8_Low(a)), (std::vector<float>{1, 2, 3, 4}));
    EXPECT_EQ(Lanes_Of(F8_High(a)), (std::vector<float>{5, 6, 7, 8}));
    EXPECT_EQ(Lanes_Of(F8_Join(F8_High(a), F8_Low(a))),
              (std::vector<float>{5, 6, 7, 8, 1, 2, 3, 4}));
    float even[9] = {0, 0, 0, 0, 0, 0, 0, 0, -1};
    F_Store_Even(even, a, F_Load<F8>(count.data + 8));
    for (int k = 0; k < 8; k++) {
        EXPECT_EQ(even[k], static_cast<float>(2 * k + 1));
    }
    EXPECT_EQ(even[8], -1.0f);
}

// Whichever lane holds which point: in order in memory before and after.
template <class F> static void Check_Parts()
{
    constexpr int Points = static_cast<int>(F_Lanes<F>);
    Guarded to(2 * Points, 4);
    const Counted count;
    const Parts<F> parts = F_Load_Parts<F>(count.data + 1);
    F_Store_Parts(to.data, Parts<F>{parts.im, parts.re});
    for (int k = 0; k < 2 * Points; k++) {
        EXPECT_EQ(to.data[k], static_cast<float>((k ^ 1) + 2)) << "float " << k;
    }
    F_Store_Parts(to.data, Parts<F>{parts.re, F_Load_Reals<F>(count.data + 1)});
    for (int k = 0; k < 2 * Points; k++) {
        EXPECT_EQ(to.data[k], static_cast<float>(k % 2 == 0 ? k + 2 : k / 2 + 2)) << "float " << k;
    }
    Guarded reals(Points, 4);
    F_Store_Reals(reals.data, parts.im);
    for (int k = 0; k < Points; k++) {
        EXPECT_EQ(reals.data[k], static_cast<float>(2 * k + 3)) << "point " << k;
    }
    EXPECT_TRUE(to.Guards_Whole() && reals.Guards_Whole());
}

TEST(SimdLanes, PartsOfPointsStayInOrder)
{
    Check_Parts<float>();
    Check_Parts<F4>();
    Check_Parts<F8>();
}

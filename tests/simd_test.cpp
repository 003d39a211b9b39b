// The float operations of the SIMD layer, one by one: each width of the build's form against a
// plain definition written here, over all combinations of special values and over random bits.
#include "vector/simd_pairs.h"
#include "vector/simd_parts.h"

#include "tests/vector_fixture.h"

using namespace Plain;

// ---- Definitions ----

// In double each is exact or keeps far more than twice the bits; one rounding follows.
static constexpr auto Once = [](double value) { return Flush(static_cast<float>(value)); };
static constexpr auto Wide = [](float a) { return double{Flush(a)}; };

static constexpr auto Add = [](float a, float b) { return a + b; };
static constexpr auto Sub = [](float a, float b) { return a - b; };
static constexpr auto Mul = [](float a, float b) { return Once(Wide(a) * Wide(b)); };
static constexpr auto Div = [](float a, float b) { return Once(Wide(a) / Wide(b)); };
static constexpr auto Sqrt = [](float a) { return Once(std::sqrt(Wide(a))); };
static constexpr auto MulAdd = [](float a, float b, float c) { return std::fma(a, b, c); };
static constexpr auto NegMulAdd = [](float a, float b, float c) { return std::fma(-a, b, c); };
static constexpr auto Neg = [](float a) { return From_Bits(Bits(a) ^ 0x80000000); };
static constexpr auto Abs = [](float a) { return From_Bits(Bits(a) & 0x7FFFFFFF); };

// ---- All lanes ----

struct Operands {
    std::vector<float> a, b, c;
};

// As many of the operands as the function takes.
template <class Function, class F> static auto Apply(Function function, F a, F b, F c)
{
    if constexpr (requires { function(a, b, c); }) {
        return function(a, b, c);
    } else if constexpr (requires { function(a, b); }) {
        return function(a, b);
    } else {
        return function(a);
    }
}

// op lane by lane against the reference, on as many operands as fill all lanes.
template <class F, class Reference, class Op>
static void Check_Width(bool bits, const Operands& in, Reference reference, Op op)
{
    SCOPED_TRACE(testing::Message() << F_Lanes<F> << " lanes");
    const size_t n = in.a.size() / 8 * 8;
    ASSERT_GE(n, 8u);
    std::vector<float> expected(n);
    std::vector<float> got(n);
    for (size_t i = 0; i < n; i++) {
        expected[i] = Apply(reference, in.a[i], in.b[i], in.c[i]);
    }
    for (size_t i = 0; i < n; i += F_Lanes<F>) {
        F_Store(&got[i], Apply(op, F_Load<F>(&in.a[i]), F_Load<F>(&in.b[i]), F_Load<F>(&in.c[i])));
    }
    EXPECT_TRUE(Same_Floats(expected.data(), got.data(), n));
    if (bits) {
        EXPECT_EQ(memcmp(expected.data(), got.data(), n * sizeof(float)), 0);
    }
}

template <class Reference, class Op>
static void Check(const char* name, bool bits, const Operands& in, Reference reference, Op op)
{
    SCOPED_TRACE(name);
    Check_Width<float>(bits, in, reference, op);
    Check_Width<F4>(bits, in, reference, op);
    Check_Width<F8>(bits, in, reference, op);
}

static Operands All_Combinations(bool with_third)
{
    Operands all;
    for (const float a : Special_Values()) {
        for (const float b : Special_Values()) {
            for (const float c : with_third ? Special_Values() : std::vector<float>{1.0f}) {
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
    const auto make = [&] { return Make_Floats(&random, 1 << 16, content); };
    return {make(), make(), make()};
}

class SimdFloat : public testing::TestWithParam<Content>
{
  protected:
    const Operands in =
        GetParam() == Special ? All_Combinations(false) : Random_Operands(GetParam());
};

INSTANTIATE_TEST_SUITE_P(, SimdFloat, testing::Values(Special, Any_Bits, Ordinary));

TEST_P(SimdFloat, EqualsThePlainOperation)
{
    Check("Add", false, in, Add, [](auto a, auto b) { return F_Add(a, b); });
    Check("Sub", false, in, Sub, [](auto a, auto b) { return F_Sub(a, b); });
    Check("Mul", false, in, Mul, [](auto a, auto b) { return F_Mul(a, b); });
    Check("Div", false, in, Div, [](auto a, auto b) { return F_Div(a, b); });
    Check("Sqrt", false, in, Sqrt, [](auto a) { return F_Sqrt(a); });
    Check("Max", false, in, Larger, [](auto a, auto b) { return F_Max(a, b); });
    Check("Min", false, in, Smaller, [](auto a, auto b) { return F_Min(a, b); });
    Check("Neg", true, in, Neg, [](auto a) { return F_Neg(a); });
    Check("Abs", true, in, Abs, [](auto a) { return F_Abs(a); });
    Check("Recip", true, in, Recip_Estimate, [](auto a) { return F_Recip_Estimate(a); });
    const Operands all = GetParam() == Special ? All_Combinations(true) : in;
    Check("MulAdd", false, all, MulAdd, [](auto a, auto b, auto c) { return F_MulAdd(a, b, c); });
    Check("NegMulAdd", false, all, NegMulAdd,
          [](auto a, auto b, auto c) { return F_NegMulAdd(a, b, c); });
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

// Every exponent and sign with every value of the bits that count, and the ends of those that do
// not. On 64-bit Arm the lanes are the processor's instruction.
TEST(SimdEstimate, IsThePublishedRuleInAllStrata)
{
    std::vector<float> all;
    for (uint32_t top = 0; top < 1 << 17; top++) {
        for (const uint32_t rest : {0x0000u, 0x0001u, 0x4000u, 0x7FFFu}) {
            all.push_back(From_Bits(top << 15 | rest));
        }
    }
    Check("Recip", true, {all, all, all}, Recip_Estimate,
          [](auto a) { return F_Recip_Estimate(a); });
}

// ---- Lanes moved about ----

template <class F> static std::vector<float> Lanes_Of(F a)
{
    std::vector<float> lanes(F_Lanes<F>);
    F_Store(lanes.data(), a);
    return lanes;
}

template <class Value> static std::vector<float> Made(size_t n, Value value)
{
    std::vector<float> made(n);
    for (size_t k = 0; k < n; k++) {
        made[k] = static_cast<float>(value(static_cast<int>(k)));
    }
    return made;
}

// Numbers 1 to 17, so that a lane tells where it came from.
static const std::vector<float> Counted = Made(17, [](int k) { return k + 1; });
static const float* const Count = Counted.data();

template <class F, class Value> static void Check_Lanes(const char* name, F got, Value value)
{
    EXPECT_EQ(Lanes_Of(got), Made(F_Lanes<F>, value)) << name;
}

template <class F> static void Check_Moves()
{
    const F a = F_Load<F>(Count);
    const F b = F_Load<F>(Count + 8);
    Check_Lanes("Set", F_Set<F>(3.0f), [](int) { return 3; });
    Check_Lanes("Load off the boundary", F_Load<F>(Count + 1), [](int k) { return k + 2; });
    Check_Lanes("Dup_Even", F_Dup_Even(a), [](int k) { return k / 2 * 2 + 1; });
    Check_Lanes("Dup_Odd", F_Dup_Odd(a), [](int k) { return k / 2 * 2 + 2; });
    Check_Lanes("Swap", F_Swap(a), [](int k) { return (k ^ 1) + 1; });
    Check_Lanes("Neg_Even", F_Neg_Even(a), [](int k) { return k % 2 == 0 ? -(k + 1) : k + 1; });
    Check_Lanes("Neg_Odd", F_Neg_Odd(a), [](int k) { return k % 2 != 0 ? -(k + 1) : k + 1; });
    Check_Lanes("Blend", F_Blend(a, b), [](int k) { return k % 2 == 0 ? k + 1 : k + 9; });
    Check_Lanes("Load_Twice", F_Load_Twice<F>(Count), [](int k) { return k / 2 + 1; });
}

TEST(SimdLanes, MoveAsNamed)
{
    Check_Moves<F4>();
    Check_Moves<F8>();
    const F8 a = F_Load<F8>(Count);
    const F4 halves = F4_Halves(F4_Load(Count), F4_Load(Count + 8));
    EXPECT_EQ(Lanes_Of(halves), (std::vector<float>{1, 2, 11, 12}));
    EXPECT_EQ(Lanes_Of(F8_Low(a)), (std::vector<float>{1, 2, 3, 4}));
    EXPECT_EQ(Lanes_Of(F8_High(a)), (std::vector<float>{5, 6, 7, 8}));
    const F8 joined = F8_Join(F8_High(a), F8_Low(a));
    EXPECT_EQ(Lanes_Of(joined), (std::vector<float>{5, 6, 7, 8, 1, 2, 3, 4}));
    std::vector<float> even = {0, 0, 0, 0, 0, 0, 0, 0, -1};
    F_Store_Even(even.data(), a, F_Load<F8>(Count + 8));
    EXPECT_EQ(even, (std::vector<float>{1, 3, 5, 7, 9, 11, 13, 15, -1}));
}

// Whichever lane holds which point: in order in memory before and after.
template <class F> static void Check_Parts()
{
    constexpr size_t Points = F_Lanes<F>;
    Guarded to(2 * Points, 4);
    const Parts<F> parts = F_Load_Parts<F>(Count + 1);
    F_Store_Parts(to.data, Parts<F>{parts.im, parts.re});
    EXPECT_EQ(to.Values(), Made(to.n, [](int k) { return (k ^ 1) + 2; }));
    F_Store_Parts(to.data, Parts<F>{parts.re, F_Load_Reals<F>(Count + 1)});
    EXPECT_EQ(to.Values(), Made(to.n, [](int k) { return k % 2 == 0 ? k + 2 : k / 2 + 2; }));
    Guarded reals(Points, 4);
    F_Store_Reals(reals.data, parts.im);
    EXPECT_EQ(reals.Values(), Made(Points, [](int k) { return 2 * k + 3; }));
    EXPECT_TRUE(to.Guards_Whole() && reals.Guards_Whole());
}

TEST(SimdLanes, PartsOfPointsStayInOrder)
{
    Check_Parts<float>();
    Check_Parts<F4>();
    Check_Parts<F8>();
}

// Every element-wise kernel against a plain loop: lengths around the step borders, each pointer on
// and off the 16-byte boundary, in place where that is legal, ordinary and special values, and
// nothing written outside the destination.
#include "vector/kern.h"

#include "tests/vector_fixture.h"

static ObjectHeader Object = Make_Object();

using namespace Plain;

static const EachCase Each_Cases[] = {
    {"Zero", Run_Each<KERN_Zero>, [](EachInput) { return 0.0f; }},
    {"Fill", Run_Each<KERN_Fill>, [](EachInput x) { return x.s; }},
    {"Copy", Run_Each<KERN_Copy>, [](EachInput x) { return x.a; }},
    {"Add", Run_Each<KERN_Add>, [](EachInput x) { return x.a + x.b; }},
    {"Add_InPlace", Run_Each<KERN_Add_InPlace>, [](EachInput x) { return x.a + x.dst; }},
    {"Sub", Run_Each<KERN_Sub>, [](EachInput x) { return x.a - x.b; }},
    {"Sub_InPlace", Run_Each<KERN_Sub_InPlace>, [](EachInput x) { return x.dst - x.a; }},
    {"Mul", Run_Each<KERN_Mul>, [](EachInput x) { return x.a * x.b; }},
    {"Mul_InPlace", Run_Each<KERN_Mul_InPlace>, [](EachInput x) { return x.a * x.dst; }},
    {"Max", Run_Each<KERN_Max>, [](EachInput x) { return Larger(x.a, x.b); }},
    {"Min", Run_Each<KERN_Min>, [](EachInput x) { return Smaller(x.a, x.b); }},
    {"Neg", Run_Each<KERN_Neg>, [](EachInput x) { return From_Bits(Bits(x.a) ^ 1u << 31); }},
    {"Add_Scalar", Run_Each<KERN_Add_Scalar>, [](EachInput x) { return x.a + x.s; }},
    {"Scale", Run_Each<KERN_Scale>, [](EachInput x) { return x.a * x.s; }},
    {"Scale_InPlace", Run_Each<KERN_Scale_InPlace>, [](EachInput x) { return x.dst * x.s; }},
    {"Max_Scalar", Run_Each<KERN_Max_Scalar>, [](EachInput x) { return Larger(x.a, x.s); }},
    {"Min_Scalar", Run_Each<KERN_Min_Scalar>, [](EachInput x) { return Smaller(x.a, x.s); }},
    {"Clamp", Run_Each<KERN_Clamp>, [](EachInput x) { return Smaller(Larger(x.a, -x.s), x.s); }},
    {"Scale_Div", Run_Each<KERN_Scale_Div>, [](EachInput x) { return (x.a * x.s) / x.b; }},
    {"MulAcc", Run_Each<KERN_MulAcc>, [](EachInput x) { return std::fma(x.a, x.b, x.dst); }},
    {"Scale_Acc", Run_Each<KERN_Scale_Acc>, [](EachInput x) { return std::fma(x.a, x.s, x.dst); }},
    {"Mix", Run_Each<KERN_Mix>, [](EachInput x) { return std::fma(x.dst, x.t, x.a * x.s); }},
    {"Recip_Estimate", Run_Each<KERN_Recip_Estimate>,
     [](EachInput x) { return Recip_Estimate(x.a); }},
    {"Sqrt", Run_Each<KERN_Sqrt>, [](EachInput x) { return std::sqrt(x.a); }},
};

TEST(KernEach, EqualsThePlainLoop)
{
    const float pairs[][2] = {
        {0.7f, -1.3f}, {-0.0f, 0.0f}, {NaN, 1.0f}, {Inf, -2.0f}, {From_Bits(0x80000001), 3.0f}};
    for (const EachCase& c : Each_Cases) {
        for (const auto& [s, t] : pairs) {
            Check_Each(c, s, t, 7);
        }
    }
}

TEST(KernCopy, KeepsTheBitsOfEveryNaN)
{
    for (const unsigned off : {0u, 4u}) {
        const Guarded src(Special_Values(), off);
        Guarded dst(src.n, off);
        KERN_Copy(&Object, static_cast<uint32_t>(src.n), src.data, dst.data);
        EXPECT_EQ(memcmp(src.data, dst.data, src.n * sizeof(float)), 0);
    }
}

TEST(KernClamp, StoresZeroThroughItsFlag)
{
    const std::vector<float> src = {-5.0f, 0.25f, 5.0f};
    std::vector<float> dst(3);
    const auto check = [&](uint32_t n, float limit, const std::vector<float>& expected) {
        uint64_t flag = 99;
        KERN_Clamp(&Object, n, src.data(), dst.data(), limit, &flag);
        EXPECT_EQ(flag, 0u) << n << " elements, limit " << limit;
        EXPECT_EQ(dst, expected);
    };
    check(3, 10.0f, src);
    check(3, 1.0f, {-1.0f, 0.25f, 1.0f});
    check(0, 1.0f, {-1.0f, 0.25f, 1.0f});
}

TEST(KernRecipEstimate, KnownAnswers)
{
    const auto check = [](const char* name, uint32_t operand, uint32_t estimate) {
        for (const unsigned off : {0u, 4u}) {
            const Guarded src(std::vector<float>(9, From_Bits(operand)), off);
            Guarded dst(9, off);
            KERN_Recip_Estimate(&Object, 9, src.data, dst.data);
            for (int i = 0; i < 9; i++) {
                EXPECT_EQ(Bits(dst.data[i]), estimate) << name << ", element " << i;
            }
        }
    };
    check("1.0", 0x3F800000, 0x3F7F8000); // 0.998046875
    check("zero", 0x00000000, 0x7F800000);
    check("minus zero", 0x80000000, 0xFF800000);
    check("largest subnormal", 0x007FFFFF, 0x7F800000);
    check("smallest normal", 0x00800000, 0x7E7F8000);
    check("just below 2^126", 0x7E7FFFFF, 0x00800000);
    check("2^126", 0x7E800000, 0x00000000);
    check("minus the largest", 0xFF7FFFFF, 0x80000000);
    check("minus infinity", 0xFF800000, 0x80000000);
    check("quiet NaN", 0x7FC12345, 0x7FC12345);
    check("signalling NaN", 0xFF812345, 0xFFC12345);
}

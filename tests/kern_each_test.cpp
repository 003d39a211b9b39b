// Every element-wise kernel against a plain loop: lengths around the step borders, each pointer on
// and off the 16-byte boundary, in place where that is legal, ordinary and special values, and
// nothing written outside the destination.
#include "vector/kern.h"

#include "tests/vector_fixture.h"

static ObjectHeader Object = Make_Object();

// The scalars of the row that runs.
static float S;
static float T;

static float Flush(float a)
{
    return (Bits(a) & 0x7F800000) == 0 ? From_Bits(Bits(a) & 0x80000000) : a;
}

static float Larger(float a, float b)
{
    if (a != a || b != b) {
        return a + b;
    }
    return Flush(a > b || (a == b && !std::signbit(a)) ? a : b);
}

static float Smaller(float a, float b)
{
    if (a != a || b != b) {
        return a + b;
    }
    return Flush(a < b || (a == b && std::signbit(a)) ? a : b);
}

static float Estimate(float a)
{
    const uint32_t bits = Bits(a);
    const uint32_t sign = bits & 0x80000000;
    const uint32_t exponent = bits >> 23 & 0xFF;
    if (a != a) {
        return a;
    }
    if (exponent == 0 || exponent >= 253) {
        return From_Bits(exponent == 0 ? sign | 0x7F800000 : sign);
    }
    const uint32_t inverse = (524288 / (513 + (bits >> 15 & 0xFF) * 2) + 1) / 2;
    return From_Bits(sign | (253 - exponent) << 23 | (inverse & 0xFF) << 15);
}

enum Use : unsigned { Reads_A = 1, Reads_B = 2, Reads_Dst = 4, Has_Scalars = 8 };

struct EachCase {
    const char* name;
    unsigned use;
    void (*run)(uint32_t n, const float* a, const float* b, float* dst);
    float (*one)(float a, float b, float dst);
};

static const EachCase Each_Cases[] = {
    {"Zero", 0,
     [](uint32_t n, const float*, const float*, float* dst) { KERN_Zero(&Object, n, dst); },
     [](float, float, float) { return 0.0f; }},
    {"Fill", Has_Scalars,
     [](uint32_t n, const float*, const float*, float* dst) { KERN_Fill(&Object, n, dst, S); },
     [](float, float, float) { return S; }},
    {"Copy", Reads_A,
     [](uint32_t n, const float* a, const float*, float* dst) { KERN_Copy(&Object, n, a, dst); },
     [](float a, float, float) { return a; }},
    {"Add", Reads_A | Reads_B,
     [](uint32_t n, const float* a, const float* b, float* dst) {
         KERN_Add(&Object, n, a, b, dst);
     },
     [](float a, float b, float) { return a + b; }},
    {"Add_InPlace", Reads_A | Reads_Dst,
     [](uint32_t n, const float* a, const float*, float* dst) {
         KERN_Add_InPlace(&Object, n, a, dst);
     },
     [](float a, float, float dst) { return a + dst; }},
    {"Sub", Reads_A | Reads_B,
     [](uint32_t n, const float* a, const float* b, float* dst) {
         KERN_Sub(&Object, n, a, b, dst);
     },
     [](float a, float b, float) { return a - b; }},
    {"Sub_InPlace", Reads_A | Reads_Dst,
     [](uint32_t n, const float* a, const float*, float* dst) {
         KERN_Sub_InPlace(&Object, n, a, dst);
     },
     [](float a, float, float dst) { return dst - a; }},
    {"Mul", Reads_A | Reads_B,
     [](uint32_t n, const float* a, const float* b, float* dst) {
         KERN_Mul(&Object, n, a, b, dst);
     },
     [](float a, float b, float) { return a * b; }},
    {"Mul_InPlace", Reads_A | Reads_Dst,
     [](uint32_t n, const float* a, const float*, float* dst) {
         KERN_Mul_InPlace(&Object, n, a, dst);
     },
     [](float a, float, float dst) { return a * dst; }},
    {"Max", Reads_A | Reads_B,
     [](uint32_t n, const float* a, const float* b, float* dst) {
         KERN_Max(&Object, n, a, b, dst);
     },
     [](float a, float b, float) { return Larger(a, b); }},
    {"Min", Reads_A | Reads_B,
     [](uint32_t n, const float* a, const float* b, float* dst) {
         KERN_Min(&Object, n, a, b, dst);
     },
     [](float a, float b, float) { return Smaller(a, b); }},
    {"Neg", Reads_A,
     [](uint32_t n, const float* a, const float*, float* dst) { KERN_Neg(&Object, n, a, dst); },
     [](float a, float, float) { return From_Bits(Bits(a) ^ 0x80000000); }},
    {"Add_Scalar", Reads_A | Has_Scalars,
     [](uint32_t n, const float* a, const float*, float* dst) {
         KERN_Add_Scalar(&Object, n, a, dst, S);
     },
     [](float a, float, float) { return a + S; }},
    {"Scale", Reads_A | Has_Scalars,
     [](uint32_t n, const float* a, const float*, float* dst) {
         KERN_Scale(&Object, n, a, dst, S);
     },
     [](float a, float, float) { return a * S; }},
    {"Scale_InPlace", Reads_Dst | Has_Scalars,
     [](uint32_t n, const float*, const float*, float* dst) {
         KERN_Scale_InPlace(&Object, n, dst, S);
     },
     [](float, float, float dst) { return dst * S; }},
    {"Max_Scalar", Reads_A | Has_Scalars,
     [](uint32_t n, const float* a, const float*, float* dst) {
         KERN_Max_Scalar(&Object, n, a, dst, S);
     },
     [](float a, float, float) { return Larger(a, S); }},
    {"Min_Scalar", Reads_A | Has_Scalars,
     [](uint32_t n, const float* a, const float*, float* dst) {
         KERN_Min_Scalar(&Object, n, a, dst, S);
     },
     [](float a, float, float) { return Smaller(a, S); }},
    {"Clamp", Reads_A | Has_Scalars,
     [](uint32_t n, const float* a, const float*, float* dst) {
         KERN_Clamp(&Object, n, a, dst, S, nullptr);
     },
     [](float a, float, float) { return Smaller(Larger(a, -S), S); }},
    {"Scale_Div", Reads_A | Reads_B | Has_Scalars,
     [](uint32_t n, const float* a, const float* b, float* dst) {
         KERN_Scale_Div(&Object, n, a, b, dst, S);
     },
     [](float a, float b, float) { return (a * S) / b; }},
    {"MulAcc", Reads_A | Reads_B | Reads_Dst,
     [](uint32_t n, const float* a, const float* b, float* dst) {
         KERN_MulAcc(&Object, n, a, b, dst);
     },
     [](float a, float b, float dst) { return std::fma(a, b, dst); }},
    {"Scale_Acc", Reads_A | Reads_Dst | Has_Scalars,
     [](uint32_t n, const float* a, const float*, float* dst) {
         KERN_Scale_Acc(&Object, n, a, dst, S);
     },
     [](float a, float, float dst) { return std::fma(a, S, dst); }},
    {"Mix", Reads_A | Reads_Dst | Has_Scalars,
     [](uint32_t n, const float* a, const float*, float* dst) {
         KERN_Mix(&Object, n, a, dst, S, T);
     },
     [](float a, float, float dst) { return std::fma(dst, T, a * S); }},
    {"Recip_Estimate", Reads_A,
     [](uint32_t n, const float* a, const float*, float* dst) {
         KERN_Recip_Estimate(&Object, n, a, dst);
     },
     [](float a, float, float) { return Estimate(a); }},
    {"Sqrt", Reads_A,
     [](uint32_t n, const float* a, const float*, float* dst) { KERN_Sqrt(n, a, dst); },
     [](float a, float, float) { return std::sqrt(a); }},
};

// One array may stand in two places; a name for each way.
enum Place { All_Apart, Dst_Is_A, Dst_Is_B, A_Is_B };

struct Offsets {
    const char* name;
    unsigned a, b, dst; // bytes off the boundary
};
static const Offsets Offset_Cases[] = {{"aligned", 0, 0, 0},
                                       {"a 4 bytes off", 4, 0, 0},
                                       {"b 12 bytes off", 0, 12, 0},
                                       {"dst 8 bytes off", 0, 0, 8},
                                       {"all off alike", 4, 4, 4}};

static void Check_Run(const EachCase& c, uint32_t n, const Offsets& offsets, Place place,
                      Content content, Random* random)
{
    Guarded a(n, offsets.a);
    Guarded b(n, offsets.b);
    Guarded dst(n, offsets.dst);
    a.Fill(Make_Floats(random, n, content));
    b.Fill(Make_Floats(random, n, content));
    dst.Fill(Make_Floats(random, n, content));
    float* const to = place == Dst_Is_A ? a.data : place == Dst_Is_B ? b.data : dst.data;
    const float* const second = place == A_Is_B ? a.data : b.data;
    std::vector<float> expected(n);
    for (uint32_t i = 0; i < n; i++) {
        expected[i] = c.one(a.data[i], second[i], to[i]);
    }
    const std::vector<float> old_a = a.Values();
    c.run(n, a.data, second, to);
    EXPECT_TRUE(Same_Floats(expected.data(), to, n));
    if (to != a.data && n != 0) {
        EXPECT_EQ(memcmp(old_a.data(), a.data, n * sizeof(float)), 0) << "source changed";
    }
    EXPECT_TRUE(a.Guards_Whole() && b.Guards_Whole() && dst.Guards_Whole()) << "wrote outside";
}

static void PrintTo(const EachCase& c, std::ostream* stream)
{
    *stream << c.name;
}

class KernEach : public testing::TestWithParam<EachCase>
{
};

INSTANTIATE_TEST_SUITE_P(, KernEach, testing::ValuesIn(Each_Cases),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(KernEach, EqualsThePlainLoop)
{
    const EachCase& c = GetParam();
    const float pairs[][2] = {{0.7f, -1.3f},
                              {-0.0f, 0.0f},
                              {std::numeric_limits<float>::quiet_NaN(), 1.0f},
                              {std::numeric_limits<float>::infinity(), -2.0f},
                              {From_Bits(0x80000001), 3.0f}};
    Random random = {7};
    for (const auto& pair : pairs) {
        S = pair[0];
        T = pair[1];
        for (const uint32_t n : Lengths) {
            for (const Offsets& offsets : Offset_Cases) {
                for (const Place place : {All_Apart, Dst_Is_A, Dst_Is_B, A_Is_B}) {
                    for (const Content content : {Ordinary, Special, Any_Bits}) {
                        SCOPED_TRACE(testing::Message()
                                     << "n " << n << ", " << offsets.name << ", place " << place
                                     << ", content " << content << ", s " << S);
                        Check_Run(c, n, offsets, place, content, &random);
                        if (HasFailure()) {
                            return;
                        }
                    }
                }
            }
        }
        if ((c.use & Has_Scalars) == 0) {
            return;
        }
    }
}

TEST(KernCopy, KeepsTheBitsOfEveryNaN)
{
    std::vector<float> values = Special_Values();
    for (const unsigned off : {0u, 4u}) {
        Guarded src(values.size(), off);
        Guarded dst(values.size(), off);
        src.Fill(values);
        KERN_Copy(&Object, static_cast<uint32_t>(values.size()), src.data, dst.data);
        EXPECT_EQ(memcmp(src.data, dst.data, values.size() * sizeof(float)), 0);
    }
}

TEST(KernClamp, StoresZeroThroughItsFlag)
{
    const float src[3] = {-5.0f, 0.25f, 5.0f};
    float dst[3] = {};
    uint64_t flag = 99;
    KERN_Clamp(&Object, 3, src, dst, 10.0f, &flag);
    EXPECT_EQ(flag, 0u) << "nothing limited";
    EXPECT_EQ(dst[0], -5.0f);
    flag = 99;
    KERN_Clamp(&Object, 3, src, dst, 1.0f, &flag);
    EXPECT_EQ(flag, 0u) << "two limited";
    EXPECT_EQ(dst[0], -1.0f);
    EXPECT_EQ(dst[1], 0.25f);
    EXPECT_EQ(dst[2], 1.0f);
    flag = 99;
    KERN_Clamp(&Object, 0, src, dst, 1.0f, &flag);
    EXPECT_EQ(flag, 0u) << "no elements";
}

struct EstimateCase {
    const char* name;
    uint32_t operand, estimate;
};
static const EstimateCase Estimate_Cases[] = {
    {"1.0", 0x3F800000, 0x3F7F8000}, // 0.998046875
    {"zero", 0x00000000, 0x7F800000},
    {"minus zero", 0x80000000, 0xFF800000},
    {"largest subnormal", 0x007FFFFF, 0x7F800000},
    {"smallest normal", 0x00800000, 0x7E7F8000},
    {"just below 2^126", 0x7E7FFFFF, 0x00800000},
    {"2^126", 0x7E800000, 0x00000000},
    {"minus the largest", 0xFF7FFFFF, 0x80000000},
    {"minus infinity", 0xFF800000, 0x80000000},
    {"quiet NaN", 0x7FC12345, 0x7FC12345},
    {"signalling NaN", 0xFF812345, 0xFFC12345},
};

TEST(KernRecipEstimate, KnownAnswers)
{
    for (const EstimateCase& c : Estimate_Cases) {
        SCOPED_TRACE(c.name);
        for (const unsigned off : {0u, 4u}) {
            Guarded src(9, off);
            Guarded dst(9, off);
            src.Fill(std::vector<float>(9, From_Bits(c.operand)));
            KERN_Recip_Estimate(&Object, 9, src.data, dst.data);
            for (int i = 0; i < 9; i++) {
                EXPECT_EQ(Bits(dst.data[i]), c.estimate) << "element " << i;
            }
        }
    }
}

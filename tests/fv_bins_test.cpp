// Every operation on packed spectra that works bin by bin, by bits against one bin at a time: all
// small lengths, any address, special values, in place, and nothing touched around the arrays.
#include "spectrum/fv.h"

#include "tests/vector_fixture.h"

#include <complex>
#include <string_view>
#include <variant>

using Bin = std::complex<float>;
using Floats = std::vector<float>;
using std::fabs;
using std::fma;

static ObjectHeader Object = Make_Object();
static constexpr float S = 0.7f;
static constexpr float C = -1.3f;

// An operation: its sources, where the result goes, its numbers.
using Operation = std::variant<
    void (*)(ObjectHeader*, uint32_t, float*), void (*)(ObjectHeader*, uint32_t, float*, float),
    void (*)(ObjectHeader*, uint32_t, float*, float, float),
    void (*)(ObjectHeader*, uint32_t, const float*, float*),
    void (*)(ObjectHeader*, uint32_t, const float*, const float*, float*),
    void (*)(ObjectHeader*, uint32_t, const float*, const float*, const float*, float*)>;

static void Apply(Operation operation, uint32_t N, const float* const* in, float* dst, float s)
{
    const auto run = [=](auto call) {
        if constexpr (requires { call(&Object, N, dst); }) {
            call(&Object, N, dst);
        } else if constexpr (requires { call(&Object, N, dst, s); }) {
            call(&Object, N, dst, s);
        } else if constexpr (requires { call(&Object, N, dst, C, s); }) {
            call(&Object, N, dst, C, s);
        } else if constexpr (requires { call(&Object, N, in[0], dst); }) {
            call(&Object, N, in[0], dst);
        } else if constexpr (requires { call(&Object, N, in[0], in[1], dst); }) {
            call(&Object, N, in[0], in[1], dst);
        } else {
            call(&Object, N, in[0], in[1], in[2], dst);
        }
    };
    std::visit(run, operation);
}

// What one bin of the result may depend on; of dc and ny the imaginary parts are 0.
struct Input {
    Bin a, b, old;
    float h, floor;
    bool outer;
};
using In = const Input&;

// What becomes of dst; Old_ tells that its values are read, so it cannot be a source as well.
enum Result { To_FV, To_HFV, Old_FV, Old_HFV };

struct BinCase {
    const char* name;
    Result result;
    const char* sources; // letters of Sources
    Operation operation;
    Bin (*bin)(In in);
};

// a and b are FV, h and the floor f are HFV.
static constexpr std::string_view Sources = "abhf";

static Bin Times(Bin a, Bin b)
{
    return {fma(-a.imag(), b.imag(), a.real() * b.real()),
            fma(a.imag(), b.real(), a.real() * b.imag())};
}

static const auto Power = [](Bin x) { return fma(x.imag(), x.imag(), x.real() * x.real()); };
static const auto Cross = [](Bin a, Bin b) { return fma(a.imag(), b.imag(), a.real() * b.real()); };
static const auto By_Real = [](In in, float h) {
    return in.outer ? in.a.real() / h : in.a * (1.0f / h);
};
static const auto Product = [](In in, Bin a, Bin b) {
    return in.outer ? a.real() * b.real() : Times(a, b);
};
static const auto Weighted = [](float larger, float smaller) {
    return fma(0.375f, smaller, 0.96875f * larger);
};

static float Larger_Number(float a, float b)
{
    if (a == b) {
        return std::signbit(a) ? b : a; // of zeros the positive one
    }
    return a != a ? b : b != b ? a : a > b ? a : b;
}

static Bin Exponential(In in)
{
    float sine;
    float cosine;
    sincosf(in.a.imag(), &sine, &cosine);
    return in.outer ? expf(in.a.real()) : expf(in.a.real()) * Bin(cosine, sine);
}

static const BinCase Bin_Cases[] = {
    {"Sub", To_FV, "ab", FV_Sub, [](In in) { return in.a - in.b; }},
    {"Sub_InPlace", Old_FV, "a", FV_Sub_InPlace, [](In in) { return in.old - in.a; }},
    {"Scale", Old_FV, "", FV_Scale, [](In in) { return in.old * S; }},
    {"Neg", To_FV, "a", FV_Neg, [](In in) { return -in.a; }},
    {"Conj", Old_FV, "", FV_Conj, [](In in) { return conj(in.old); }},
    {"Fill_Imag", Old_FV, "", FV_Fill_Imag, [](In in) { return Bin(in.old.real(), S); }},
    {"Mul", Old_FV, "a", FV_Mul, [](In in) { return Product(in, in.a, in.old); }},
    {"Mul_Conj", Old_FV, "a", FV_Mul_Conj, [](In in) { return Product(in, conj(in.a), in.old); }},
    {"Mul_HFV", Old_FV, "h", FV_Mul_HFV, [](In in) { return in.old * in.h; }},
    {"MulAcc_HFV", Old_FV, "ah", FV_MulAcc_HFV,
     [](In in) {
         return Bin(fma(in.a.real(), in.h, in.old.real()), fma(in.a.imag(), in.h, in.old.imag()));
     }},
    {"Div", To_FV, "ab", FV_Div,
     [](In in) {
         const float im = fma(-in.a.real(), in.b.imag(), in.a.imag() * in.b.real());
         return in.outer ? in.a.real() / in.b.real()
                         : Bin(Cross(in.a, in.b), im) * (1.0f / Power(in.b));
     }},
    {"Div_HFV", To_FV, "ah", FV_Div_HFV, [](In in) { return By_Real(in, in.h); }},
    {"Div_HFV_Floor", To_FV, "ahf", FV_Div_HFV_Floor,
     [](In in) { return By_Real(in, Larger_Number(in.floor, in.h)); }},
    {"Recip", To_FV, "a", FV_Recip,
     [](In in) { return in.outer ? 1.0f / in.a.real() : conj(in.a) * (1.0f / Power(in.a)); }},
    {"Rotate", Old_FV, "", FV_Rotate, [](In in) { return Product(in, Bin(C, S), in.old); }},
    {"Exp", To_FV, "a", FV_Exp, Exponential},
    {"From_HFV", To_FV, "h", FV_From_HFV, [](In in) { return Bin(in.h); }},
    {"Real_To_HFV", To_HFV, "a", FV_Real_To_HFV, [](In in) { return in.a; }},
    {"Abs", To_HFV, "a", FV_Abs,
     [](In in) { return Bin(in.outer ? fabs(in.a.real()) : std::sqrt(Power(in.a))); }},
    {"Abs_L1", To_HFV, "a", FV_Abs_L1,
     [](In in) {
         const float x = fabs(in.a.real());
         return Bin(in.outer ? x : x + fabs(in.a.imag()));
     }},
    {"Abs_Fast", To_HFV, "a", FV_Abs_Fast,
     [](In in) {
         const float x = fabs(in.a.real());
         const float y = fabs(in.a.imag());
         return Bin(in.outer ? x : x > y ? Weighted(x, y) : Weighted(y, x));
     }},
    {"Cross_Real", To_HFV, "ab", FV_Cross_Real,
     [](In in) { return Product(in, conj(in.a), in.b); }},
    {"CrossAcc_Real", Old_HFV, "ab", FV_CrossAcc_Real,
     [](In in) {
         return Bin(in.outer ? fma(in.a.real(), in.b.real(), in.old.real())
                             : in.old.real() + Cross(in.a, in.b));
     }},
};

static Bin Bin_Of(const Floats& fv, uint32_t k)
{
    return k == 0 ? fv[0] : k == fv.size() / 2 ? fv[1] : Bin(fv[2 * k], fv[2 * k + 1]);
}

static constexpr uint32_t FV_Lengths[] = {2,  4,  6,  8,  10, 12, 14, 16, 18,  20,
                                          24, 30, 32, 34, 40, 46, 64, 66, 128, 1002};

// x holds the values of the sources in their order.
static Floats Expected(const BinCase& c, uint32_t N, const Floats (&x)[4], const Floats& old)
{
    Floats expected(old.size());
    const bool real = c.result == To_HFV || c.result == Old_HFV;
    for (uint32_t k = 0; k <= N / 2; k++) {
        const bool outer = k == 0 || k == N / 2;
        const Bin old_bin = real ? old[k] : Bin_Of(old, k);
        const Bin bin = c.bin({Bin_Of(x[0], k), Bin_Of(x[1], k), old_bin, x[2][k], x[3][k], outer});
        expected[real ? k : outer ? k / (N / 2) : 2 * k] = bin.real();
        if (!real && !outer) {
            expected[2 * k + 1] = bin.imag();
        }
    }
    return expected;
}

static void Check(const BinCase& c, uint32_t N, const Floats (&x)[4], const Floats& old,
                  unsigned off, bool in_place)
{
    SCOPED_TRACE(testing::Message()
                 << "N " << N << ", " << off << " bytes off" << (in_place ? ", in place" : ""));
    const Floats expected = Expected(c, N, x, old);
    const size_t half = N / 2 + 1;
    Guarded memory[] = {{N, off}, {N, off}, {half, off}, {half, off}, {old.size(), off}};
    for (size_t i = 0; i < 4; i++) {
        memory[i].Fill(x[i]);
    }
    memory[4].Fill(old);
    float* dst = memory[4].data;
    const float* in[3] = {};
    for (size_t i = 0; c.sources[i] != 0; i++) {
        in[i] = memory[Sources.find(c.sources[i])].data;
    }
    if (in_place && in[0] == memory[2].data) { // too short for the result
        std::copy(x[2].begin(), x[2].end(), dst);
        in[0] = dst;
    } else if (in_place) {
        dst = memory[0].data;
    }
    Apply(c.operation, N, in, dst, S);
    EXPECT_TRUE(Same_Floats(expected.data(), dst, expected.size()));
    for (const Guarded& array : memory) {
        EXPECT_TRUE(array.Guards_Whole());
    }
    EXPECT_EQ(memcmp(memory[1].data, x[1].data(), N * sizeof(float)), 0) << "a source changed";
}

using FvBins = testing::TestWithParam<BinCase>;

TEST_P(FvBins, AreTheSameOneByOne)
{
    const BinCase& c = GetParam();
    Random random = {6};
    for (const uint32_t N : FV_Lengths) {
        for (const Content content : {Ordinary, Special, Any_Bits}) {
            const auto make = [&](size_t n) { return Make_Floats(&random, n, content); };
            const size_t half = N / 2 + 1;
            Floats x[] = {make(N), make(N), make(half), make(half)};
            const Floats old = make(c.result == To_HFV || c.result == Old_HFV ? half : N);
            for (Floats* values : {&x[2], &x[3]}) {
                for (float& value : *values) { // a signalling NaN may or may not win
                    value = value != value ? From_Bits(0x7FC00000) : value;
                }
            }
            Check(c, N, x, old, 0, false);
            Check(c, N, x, old, 4, false);
            if (c.result == To_FV || c.result == To_HFV) {
                Check(c, N, x, old, 8, true);
            }
            if (testing::Test::HasFailure()) {
                return;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(, FvBins, testing::ValuesIn(Bin_Cases),
                         [](const auto& test) { return std::string(test.param.name); });

// ---- HFV: the member and the count ----

struct HfvCase {
    const char* name;
    Operation operation; // its sources are a and b
    float (*value)(float a, float b, float old);
    float s = S;
};

static const HfvCase Hfv_Cases[] = {
    {"Zero", HFV_Zero, [](float, float, float) { return 0.0f; }},
    {"Fill", HFV_Fill, [](float, float, float) { return S; }},
    {"Copy", HFV_Copy, [](float a, float, float) { return a; }},
    {"Add", HFV_Add, [](float a, float b, float) { return a + b; }},
    {"Add_InPlace", HFV_Add_InPlace, [](float a, float, float old) { return a + old; }},
    {"Sub", HFV_Sub, [](float a, float b, float) { return a - b; }},
    {"Sub_InPlace", HFV_Sub_InPlace, [](float a, float, float old) { return old - a; }},
    {"Mul", HFV_Mul, [](float a, float b, float) { return a * b; }},
    {"Mul_InPlace", HFV_Mul_InPlace, [](float a, float, float old) { return a * old; }},
    {"MulAcc", HFV_MulAcc, [](float a, float b, float old) { return fma(a, b, old); }},
    {"Div", HFV_Div, [](float a, float b, float) { return a / b; }},
    {"Scale", HFV_Scale, [](float, float, float old) { return old * S; }},
    {"Square", HFV_Square, [](float a, float, float) { return a * a; }},
    {"Sqrt", HFV_Sqrt, [](float a, float, float) { return std::sqrt(a); }},
    {"InvSqrt", HFV_InvSqrt, [](float a, float, float) { return 1.0f / std::sqrt(a); }},
    {"PowerToDb", HFV_PowerToDb,
     [](float, float, float old) { return 10.0f * log10f(std::fmax(0.5f, old)); }, 0.5f},
    {"AmplitudeToDb", HFV_AmplitudeToDb,
     [](float, float, float old) { return 20.0f * log10f(std::fmax(0.5f, old)); }, 0.5f},
    {"Pow10", HFV_Pow10,
     [](float, float, float old) { return static_cast<float>(exp(old * 2.302585092994046)); }},
};

TEST(Hfv, MembersTakeAllValuesAndNoMore)
{
    Random random = {7};
    for (const HfvCase& c : Hfv_Cases) {
        for (const uint32_t N : {2u, 4u, 16u, 62u}) {
            SCOPED_TRACE(testing::Message() << c.name << ", N " << N);
            const size_t n = N / 2 + 1;
            const auto make = [&] { return Make_Floats(&random, n, Ordinary); };
            const Floats x[] = {make(), make(), make()};
            Guarded dst(n, 0);
            dst.Fill(x[2]);
            const float* const in[] = {x[0].data(), x[1].data(), nullptr};
            Apply(c.operation, N, in, dst.data, c.s);
            for (size_t k = 0; k < n; k++) {
                EXPECT_TRUE(Same(c.value(x[0][k], x[1][k], x[2][k]), dst.data[k])) << "value " << k;
            }
            EXPECT_TRUE(dst.Guards_Whole());
        }
    }
    Guarded estimate(2, 0);
    HFV_Recip_Estimate(&Object, 2, Floats{1.0f, 2.0f}.data(), estimate.data);
    EXPECT_EQ(estimate.Values(), (Floats{0.998046875f, 0.4990234375f}));
    EXPECT_TRUE(estimate.Guards_Whole());
}

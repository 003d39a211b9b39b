// Every operation on packed spectra that works bin by bin, by bits against one bin at a time: all
// small lengths, any address, special values, in place, and nothing touched around the arrays.
#include "spectrum/fv.h"

#include "tests/vector_fixture.h"

static ObjectHeader Object = Make_Object();

struct Bin {
    float re, im;
};

// What one bin of the result may depend on; of dc and ny the imaginary parts are 0.
struct Input {
    Bin a, b, old;
    float h, floor, old_h;
    bool outer;
};

// The arrays of a call: a, b and dst are FV, h and floor HFV; dst is either.
struct Call {
    uint32_t N;
    const float *a, *b, *h, *floor;
    float* dst;
};

enum Shape { To_FV, To_HFV };

struct BinCase {
    const char* name;
    Shape shape;
    bool reads_dst; // so dst cannot be a as well
    void (*run)(const Call& c);
    Bin (*bin)(const Input& in);
};

static float Power(Bin x)
{
    return std::fma(x.im, x.im, x.re * x.re);
}

static float Cross(Bin a, Bin b)
{
    return std::fma(a.im, b.im, a.re * b.re);
}

static float Larger_Number(float a, float b)
{
    if (a == b) {
        return std::signbit(a) ? b : a; // of zeros the positive one
    }
    return a != a ? b : b != b ? a : a > b ? a : b;
}

static constexpr float S = 0.7f;
static constexpr float C = -1.3f;

static const BinCase Bin_Cases[] = {
    {"Sub", To_FV, false, [](const Call& c) { FV_Sub(&Object, c.N, c.a, c.b, c.dst); },
     [](const Input& in) {
         return Bin{in.a.re - in.b.re, in.a.im - in.b.im};
     }},
    {"Sub_InPlace", To_FV, true, [](const Call& c) { FV_Sub_InPlace(&Object, c.N, c.a, c.dst); },
     [](const Input& in) {
         return Bin{in.old.re - in.a.re, in.old.im - in.a.im};
     }},
    {"Scale", To_FV, true, [](const Call& c) { FV_Scale(&Object, c.N, c.dst, S); },
     [](const Input& in) {
         return Bin{in.old.re * S, in.old.im * S};
     }},
    {"Neg", To_FV, false, [](const Call& c) { FV_Neg(&Object, c.N, c.a, c.dst); },
     [](const Input& in) {
         return Bin{-in.a.re, -in.a.im};
     }},
    {"Conj", To_FV, true, [](const Call& c) { FV_Conj(&Object, c.N, c.dst); },
     [](const Input& in) {
         return Bin{in.old.re, -in.old.im};
     }},
    {"Fill_Imag", To_FV, true, [](const Call& c) { FV_Fill_Imag(&Object, c.N, c.dst, S); },
     [](const Input& in) {
         return Bin{in.old.re, S};
     }},
    {"Mul", To_FV, true, [](const Call& c) { FV_Mul(&Object, c.N, c.a, c.dst); },
     [](const Input& in) {
         if (in.outer) {
             return Bin{in.a.re * in.old.re, 0};
         }
         return Bin{std::fma(-in.a.im, in.old.im, in.a.re * in.old.re),
                    std::fma(in.a.im, in.old.re, in.a.re * in.old.im)};
     }},
    {"Mul_Conj", To_FV, true, [](const Call& c) { FV_Mul_Conj(&Object, c.N, c.a, c.dst); },
     [](const Input& in) {
         if (in.outer) {
             return Bin{in.a.re * in.old.re, 0};
         }
         return Bin{std::fma(in.a.im, in.old.im, in.a.re * in.old.re),
                    std::fma(-in.a.im, in.old.re, in.a.re * in.old.im)};
     }},
    {"Mul_HFV", To_FV, true, [](const Call& c) { FV_Mul_HFV(&Object, c.N, c.h, c.dst); },
     [](const Input& in) {
         return Bin{in.old.re * in.h, in.old.im * in.h};
     }},
    {"MulAcc_HFV", To_FV, true, [](const Call& c) { FV_MulAcc_HFV(&Object, c.N, c.a, c.h, c.dst); },
     [](const Input& in) {
         return Bin{std::fma(in.a.re, in.h, in.old.re), std::fma(in.a.im, in.h, in.old.im)};
     }},
    {"Div", To_FV, false, [](const Call& c) { FV_Div(&Object, c.N, c.a, c.b, c.dst); },
     [](const Input& in) {
         if (in.outer) {
             return Bin{in.a.re / in.b.re, 0};
         }
         const float t = 1.0f / Power(in.b);
         return Bin{Cross(in.a, in.b) * t, std::fma(-in.a.re, in.b.im, in.a.im * in.b.re) * t};
     }},
    {"Div_HFV", To_FV, false, [](const Call& c) { FV_Div_HFV(&Object, c.N, c.a, c.h, c.dst); },
     [](const Input& in) {
         const float t = 1.0f / in.h;
         return in.outer ? Bin{in.a.re / in.h, 0} : Bin{in.a.re * t, in.a.im * t};
     }},
    {"Div_HFV_Floor", To_FV, false,
     [](const Call& c) { FV_Div_HFV_Floor(&Object, c.N, c.a, c.h, c.floor, c.dst); },
     [](const Input& in) {
         const float h = Larger_Number(in.floor, in.h);
         const float t = 1.0f / h;
         return in.outer ? Bin{in.a.re / h, 0} : Bin{in.a.re * t, in.a.im * t};
     }},
    {"Recip", To_FV, false, [](const Call& c) { FV_Recip(&Object, c.N, c.a, c.dst); },
     [](const Input& in) {
         const float t = 1.0f / Power(in.a);
         return in.outer ? Bin{1.0f / in.a.re, 0} : Bin{in.a.re * t, -in.a.im * t};
     }},
    {"Rotate", To_FV, true, [](const Call& c) { FV_Rotate(&Object, c.N, c.dst, C, S); },
     [](const Input& in) {
         if (in.outer) {
             return Bin{in.old.re * C, 0};
         }
         return Bin{std::fma(-S, in.old.im, C * in.old.re), std::fma(S, in.old.re, C * in.old.im)};
     }},
    {"Exp", To_FV, false, [](const Call& c) { FV_Exp(&Object, c.N, c.a, c.dst); },
     [](const Input& in) {
         const float size = expf(in.a.re);
         if (in.outer) {
             return Bin{size, 0};
         }
         float sine;
         float cosine;
         sincosf(in.a.im, &sine, &cosine);
         return Bin{size * cosine, size * sine};
     }},
    {"From_HFV", To_FV, false, [](const Call& c) { FV_From_HFV(&Object, c.N, c.h, c.dst); },
     [](const Input& in) {
         return Bin{in.h, 0.0f};
     }},
    {"Real_To_HFV", To_HFV, false, [](const Call& c) { FV_Real_To_HFV(&Object, c.N, c.a, c.dst); },
     [](const Input& in) {
         return Bin{in.a.re, 0};
     }},
    {"Abs", To_HFV, false, [](const Call& c) { FV_Abs(&Object, c.N, c.a, c.dst); },
     [](const Input& in) {
         return Bin{in.outer ? std::fabs(in.a.re) : std::sqrt(Power(in.a)), 0};
     }},
    {"Abs_L1", To_HFV, false, [](const Call& c) { FV_Abs_L1(&Object, c.N, c.a, c.dst); },
     [](const Input& in) {
         const float re = std::fabs(in.a.re);
         return Bin{in.outer ? re : re + std::fabs(in.a.im), 0};
     }},
    {"Abs_Fast", To_HFV, false, [](const Call& c) { FV_Abs_Fast(&Object, c.N, c.a, c.dst); },
     [](const Input& in) {
         const float x = std::fabs(in.a.re);
         const float y = std::fabs(in.a.im);
         if (in.outer) {
             return Bin{x, 0};
         }
         return Bin{x > y ? std::fma(0.375f, y, 0.96875f * x) : std::fma(0.375f, x, 0.96875f * y),
                    0};
     }},
    {"Cross_Real", To_HFV, false,
     [](const Call& c) { FV_Cross_Real(&Object, c.N, c.a, c.b, c.dst); },
     [](const Input& in) {
         return Bin{in.outer ? in.a.re * in.b.re : Cross(in.a, in.b), 0};
     }},
    {"CrossAcc_Real", To_HFV, true,
     [](const Call& c) { FV_CrossAcc_Real(&Object, c.N, c.a, c.b, c.dst); },
     [](const Input& in) {
         return Bin{in.outer ? std::fma(in.a.re, in.b.re, in.old_h) : in.old_h + Cross(in.a, in.b),
                    0};
     }},
};

static Bin Bin_Of(const std::vector<float>& fv, uint32_t k)
{
    const size_t top = fv.size() / 2;
    return k == 0 ? Bin{fv[0], 0} : k == top ? Bin{fv[1], 0} : Bin{fv[2 * k], fv[2 * k + 1]};
}

static constexpr uint32_t FV_Lengths[] = {2,  4,  6,  8,  10, 12, 14, 16, 18,  20,
                                          24, 30, 32, 34, 40, 46, 64, 66, 128, 1002};

class FvBins : public testing::TestWithParam<BinCase>
{
  protected:
    const BinCase& c = GetParam();
    std::vector<float> a, b, h, floor, old;

    std::vector<float> Expected(uint32_t N) const
    {
        std::vector<float> expected(c.shape == To_HFV ? N / 2 + 1 : N);
        for (uint32_t k = 0; k <= N / 2; k++) {
            const bool outer = k == 0 || k == N / 2;
            Input in = {Bin_Of(a, k), Bin_Of(b, k), {}, h[k], floor[k], 0, outer};
            if (c.shape == To_HFV) {
                in.old_h = old[k];
                expected[k] = c.bin(in).re;
                continue;
            }
            in.old = Bin_Of(old, k);
            const Bin bin = c.bin(in);
            expected[outer ? k / (N / 2) : 2 * k] = bin.re;
            if (!outer) {
                expected[2 * k + 1] = bin.im;
            }
        }
        return expected;
    }

    void Check(uint32_t N, unsigned off, bool in_place)
    {
        SCOPED_TRACE(testing::Message()
                     << "N " << N << ", " << off << " bytes off" << (in_place ? ", in place" : ""));
        const std::vector<float> expected = Expected(N);
        Guarded mem_a(N, off);
        Guarded mem_b(N, off);
        Guarded mem_h(N / 2 + 1, off);
        Guarded mem_floor(N / 2 + 1, off);
        Guarded mem_dst(expected.size(), off);
        mem_a.Fill(a);
        mem_b.Fill(b);
        mem_h.Fill(h);
        mem_floor.Fill(floor);
        mem_dst.Fill(old);
        Call call = {N, mem_a.data, mem_b.data, mem_h.data, mem_floor.data, mem_dst.data};
        if (in_place) {
            call.dst = mem_a.data;
            if (std::string(c.name) == "From_HFV") { // the one that reads no FV
                std::copy(h.begin(), h.end(), mem_dst.data);
                call.h = call.dst = mem_dst.data;
            }
        }
        c.run(call);
        EXPECT_TRUE(Same_Floats(expected.data(), call.dst, expected.size()));
        for (const Guarded* memory : {&mem_a, &mem_b, &mem_h, &mem_floor, &mem_dst}) {
            EXPECT_TRUE(memory->Guards_Whole());
        }
        EXPECT_EQ(memcmp(mem_b.data, b.data(), N * sizeof(float)), 0) << "a source changed";
    }
};

TEST_P(FvBins, AreTheSameOneByOne)
{
    Random random = {6};
    for (const uint32_t N : FV_Lengths) {
        for (const Content content : {Ordinary, Special, Any_Bits}) {
            a = Make_Floats(&random, N, content);
            b = Make_Floats(&random, N, content);
            h = Make_Floats(&random, N / 2 + 1, content);
            floor = Make_Floats(&random, N / 2 + 1, content);
            old = Make_Floats(&random, c.shape == To_HFV ? N / 2 + 1 : N, content);
            for (float& value : floor) { // a signalling one makes a NaN; so does its absence here
                value = value != value ? From_Bits(0x7FC00000) : value;
            }
            for (float& value : h) {
                value = value != value ? From_Bits(0x7FC00000) : value;
            }
            Check(N, 0, false);
            Check(N, 4, false);
            if (!c.reads_dst) {
                Check(N, 8, true);
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
    void (*run)(uint32_t N, const float* a, const float* b, float* dst);
    float (*value)(float a, float b, float old);
};

static const HfvCase Hfv_Cases[] = {
    {"Zero", [](uint32_t N, const float*, const float*, float* d) { HFV_Zero(&Object, N, d); },
     [](float, float, float) { return 0.0f; }},
    {"Fill", [](uint32_t N, const float*, const float*, float* d) { HFV_Fill(&Object, N, d, S); },
     [](float, float, float) { return S; }},
    {"Copy", [](uint32_t N, const float* a, const float*, float* d) { HFV_Copy(&Object, N, a, d); },
     [](float a, float, float) { return a; }},
    {"Add",
     [](uint32_t N, const float* a, const float* b, float* d) { HFV_Add(&Object, N, a, b, d); },
     [](float a, float b, float) { return a + b; }},
    {"Add_InPlace",
     [](uint32_t N, const float* a, const float*, float* d) { HFV_Add_InPlace(&Object, N, a, d); },
     [](float a, float, float old) { return a + old; }},
    {"Sub",
     [](uint32_t N, const float* a, const float* b, float* d) { HFV_Sub(&Object, N, a, b, d); },
     [](float a, float b, float) { return a - b; }},
    {"Sub_InPlace",
     [](uint32_t N, const float* a, const float*, float* d) { HFV_Sub_InPlace(&Object, N, a, d); },
     [](float a, float, float old) { return old - a; }},
    {"Mul",
     [](uint32_t N, const float* a, const float* b, float* d) { HFV_Mul(&Object, N, a, b, d); },
     [](float a, float b, float) { return a * b; }},
    {"Mul_InPlace",
     [](uint32_t N, const float* a, const float*, float* d) { HFV_Mul_InPlace(&Object, N, a, d); },
     [](float a, float, float old) { return a * old; }},
    {"MulAcc",
     [](uint32_t N, const float* a, const float* b, float* d) { HFV_MulAcc(&Object, N, a, b, d); },
     [](float a, float b, float old) { return std::fma(a, b, old); }},
    {"Div",
     [](uint32_t N, const float* a, const float* b, float* d) { HFV_Div(&Object, N, a, b, d); },
     [](float a, float b, float) { return a / b; }},
    {"Scale", [](uint32_t N, const float*, const float*, float* d) { HFV_Scale(&Object, N, d, S); },
     [](float, float, float old) { return old * S; }},
    {"Square",
     [](uint32_t N, const float* a, const float*, float* d) { HFV_Square(&Object, N, a, d); },
     [](float a, float, float) { return a * a; }},
    {"Sqrt", [](uint32_t N, const float* a, const float*, float* d) { HFV_Sqrt(&Object, N, a, d); },
     [](float a, float, float) { return std::sqrt(a); }},
    {"InvSqrt",
     [](uint32_t N, const float* a, const float*, float* d) { HFV_InvSqrt(&Object, N, a, d); },
     [](float a, float, float) { return 1.0f / std::sqrt(a); }},
    {"PowerToDb",
     [](uint32_t N, const float*, const float*, float* d) { HFV_PowerToDb(&Object, N, d, 0.5f); },
     [](float, float, float old) { return 10.0f * log10f(std::fmax(0.5f, old)); }},
    {"AmplitudeToDb",
     [](uint32_t N, const float*, const float*, float* d) {
         HFV_AmplitudeToDb(&Object, N, d, 0.5f);
     },
     [](float, float, float old) { return 20.0f * log10f(std::fmax(0.5f, old)); }},
    {"Pow10", [](uint32_t N, const float*, const float*, float* d) { HFV_Pow10(&Object, N, d); },
     [](float, float, float old) { return static_cast<float>(exp(old * 2.302585092994046)); }},
};

TEST(Hfv, MembersTakeAllValuesAndNoMore)
{
    Random random = {7};
    for (const HfvCase& c : Hfv_Cases) {
        for (const uint32_t N : {2u, 4u, 16u, 62u}) {
            SCOPED_TRACE(testing::Message() << c.name << ", N " << N);
            const size_t n = N / 2 + 1;
            const std::vector<float> a = Make_Floats(&random, n, Ordinary);
            const std::vector<float> b = Make_Floats(&random, n, Ordinary);
            Guarded dst(n, 0);
            const std::vector<float> old = Make_Floats(&random, n, Ordinary);
            dst.Fill(old);
            c.run(N, a.data(), b.data(), dst.data);
            for (size_t k = 0; k < n; k++) {
                EXPECT_TRUE(Same(c.value(a[k], b[k], old[k]), dst.data[k])) << "value " << k;
            }
            EXPECT_TRUE(dst.Guards_Whole());
        }
    }
    Guarded estimate(2, 0);
    HFV_Recip_Estimate(&Object, 2, std::vector<float>{1.0f, 2.0f}.data(), estimate.data);
    EXPECT_EQ(estimate.Values(), (std::vector<float>{0.998046875f, 0.4990234375f}));
    EXPECT_TRUE(estimate.Guards_Whole());
}

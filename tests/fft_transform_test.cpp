// The transforms against the one-point-at-a-time definition, bit for bit, in both forms of the SIMD
// layer, and against what a Fourier transform is: known spectra, linearity, shift, the way back.
#include "tests/fft_reference.h"

#include <gtest/gtest.h>

#include <limits>

// The library's transforms compiled a second time, in the plain form.
void Plain_FFT_Complex_Forward(const FftComplexPlan*, uint32_t, const float*, float*);
void Plain_FFT_Complex_Inverse(const FftComplexPlan*, uint32_t, const float*, float*);
void Plain_FFT_Real_Forward(const FftRealPlan*, uint32_t, const float*, float*);
void Plain_FFT_Real_Inverse(const FftRealPlan*, uint32_t, const float*, float*);
void Plain_FFT_Real_Post(uint32_t, const FftPair*, float*);
void Plain_FFT_Real_Pre(uint32_t, const FftPair*, const float*, float*, float);

namespace
{

struct Form {
    const char* name;
    void (*complex[2])(const FftComplexPlan*, uint32_t, const float*, float*); // forward, inverse
    void (*real[2])(const FftRealPlan*, uint32_t, const float*, float*);
    void (*post)(uint32_t, const FftPair*, float*);
    void (*pre)(uint32_t, const FftPair*, const float*, float*, float);
};

const Form Forms[] = {{"library",
                       {FFT_Complex_Forward, FFT_Complex_Inverse},
                       {FFT_Real_Forward, FFT_Real_Inverse},
                       FFT_Real_Post,
                       FFT_Real_Pre},
                      {"plain",
                       {Plain_FFT_Complex_Forward, Plain_FFT_Complex_Inverse},
                       {Plain_FFT_Real_Forward, Plain_FFT_Real_Inverse},
                       Plain_FFT_Real_Post,
                       Plain_FFT_Real_Pre}};

std::string Name(const Form& form, uint32_t n, bool inverse)
{
    return std::string(form.name) + ", n " + std::to_string(n) + (inverse ? ", inverse" : "");
}

// ---- Bits ----

template <class Plan, class Transform> void Expect_Bits(const Plan* plan, Transform transform,
                                                        uint32_t n, const Floats& in,
                                                        const Floats& expected)
{
    Guarded from(in);
    Guarded to(Floats(in.size(), 3.0f));
    transform(plan, n, from.data(), to.data());
    EXPECT_EQ(First_Difference(to.content(), expected), -1) << "out of place";
    EXPECT_EQ(First_Difference(from.content(), in), -1) << "in changed";
    EXPECT_TRUE(from.zones_untouched() && to.zones_untouched());
    transform(plan, n, from.data(), from.data());
    EXPECT_EQ(First_Difference(from.content(), expected), -1) << "in place";
    EXPECT_TRUE(from.zones_untouched());
}

struct InputCase {
    const char* name;
    Floats (*make)(size_t count, uint32_t seed);
};

// Zeros of both signs, which show a sum formed the other way round.
Floats Signed_Zeros(size_t count, uint32_t seed)
{
    Floats out = Random_Floats(count, seed);
    for (float& x : out) {
        x = x > 0.6f ? 1.0f : x > 0.0f ? 0.0f : x > -0.6f ? -0.0f : -1.0f;
    }
    return out;
}

Floats Negative_Zeros(size_t count, uint32_t)
{
    return Floats(count, -0.0f);
}

// Magnitudes from the smallest normal numbers to 2^60.
Floats All_Magnitudes(size_t count, uint32_t seed)
{
    Floats out = Random_Floats(count, seed);
    for (size_t k = 0; k < count; k++) {
        out[k] = std::ldexp(out[k], static_cast<int>(k * 7 % 180) - 120);
    }
    return out;
}

const InputCase Input_Cases[] = {{"random", Random_Floats},
                                 {"signed zeros", Signed_Zeros},
                                 {"negative zeros", Negative_Zeros},
                                 {"all magnitudes", All_Magnitudes}};

constexpr uint32_t Largest = 65536;

TEST(Transform, GivesTheBitsOfTheDefinition)
{
    // The plan is larger than most transforms need; the expected values use fitting plans.
    const RealPlan shared = Make_Real_Plan(Largest);
    for (uint32_t N = 8; N <= Largest; N *= 2) {
        const RealPlan fitting = Make_Real_Plan(N);
        for (const InputCase& input : Input_Cases) {
            for (const bool inverse : {false, true}) {
                const Floats in = input.make(N, N + inverse);
                const Floats real = Reference_Real(fitting.get(), N, in, inverse);
                const Floats complex = Reference_Complex(fitting->complexPlan, N / 2, in, inverse);
                for (const Form& form : Forms) {
                    SCOPED_TRACE(std::string(input.name) + ", " + Name(form, N, inverse));
                    Expect_Bits(shared.get(), form.real[inverse], N, in, real);
                    Expect_Bits(shared->complexPlan, form.complex[inverse], N / 2, in, complex);
                    Expect_Bits(fitting.get(), form.real[inverse], N, in, real);
                }
            }
        }
    }
}

// The table's small cosine decides a bit only beside large numbers; here every pair of bins meets
// every place of a register.
TEST(Transform, GivesTheBitsOfTheDefinitionForManyInputs)
{
    for (const uint32_t N : {8, 16, 32, 64, 128}) {
        const RealPlan plan = Make_Real_Plan(N);
        for (uint32_t seed = 0; seed < 200; seed++) {
            const Floats in = All_Magnitudes(N, seed);
            for (const bool inverse : {false, true}) {
                const Floats expected = Reference_Real(plan.get(), N, in, inverse);
                for (const Form& form : Forms) {
                    Floats out(N);
                    form.real[inverse](plan.get(), N, in.data(), out.data());
                    ASSERT_EQ(First_Difference(out, expected), -1)
                        << Name(form, N, inverse) << ", seed " << seed;
                }
            }
        }
    }
}

// One number for all results of a size, so that two processors can be compared. The samples come
// from integers alone.
TEST(Transform, GivesTheSameBitsOnEveryProcessor)
{
    struct Row {
        uint32_t N;
        uint64_t forward;
        uint64_t inverse;
    };
    const Row Rows[] = {{8, 0x5b3a89dac2582c8c, 0xd28383d473f8125c},
                        {16, 0xf251613d580a974d, 0x2f96f378d13445d6},
                        {32, 0x0a927318ec522fb7, 0x8574898e07ca740e},
                        {64, 0xcd3deb9cdad3c376, 0x7bbf2cca2cb6d2da},
                        {128, 0xaf06b3f890fea3a7, 0x2df5523334fa56f4},
                        {1024, 0x94926445b8ce602a, 0x21f5fc2a6006fd99},
                        {4096, 0x7a74c3523cc2ea75, 0x5f8c87975bee49a5},
                        {32768, 0xe03e43c4839e9b54, 0x97fe458e3459af15},
                        {65536, 0xa694ffe361e476e9, 0xc716e65242d09575}};
    const RealPlan plan = Make_Real_Plan(Largest);
    for (const Row& row : Rows) {
        Floats in(row.N);
        uint32_t state = row.N;
        for (float& x : in) {
            state = state * 1664525u + 1013904223u;
            x = static_cast<float>(static_cast<int32_t>(state)) * 0x1p-31f;
        }
        for (const bool inverse : {false, true}) {
            for (const Form& form : Forms) {
                Floats out(row.N);
                form.real[inverse](plan.get(), row.N, in.data(), out.data());
                uint64_t digest = 14695981039346656037u; // FNV-1a over the floats' bits
                for (const float& x : out) {
                    uint32_t bits = 0;
                    memcpy(&bits, &x, sizeof bits);
                    digest = (digest ^ bits) * 1099511628211u;
                }
                EXPECT_EQ(digest, inverse ? row.inverse : row.forward)
                    << Name(form, row.N, inverse);
            }
        }
    }
}

TEST(Transform, TwoPointsOutOfPlace)
{
    const ComplexPlan plan = Make_Complex_Plan(2);
    for (const Form& form : Forms) {
        for (const bool inverse : {false, true}) {
            SCOPED_TRACE(Name(form, 2, inverse));
            const Floats in = {1.0f, 2.0f, 10.0f, 30.0f};
            Guarded out(Floats(4, 5.0f));
            form.complex[inverse](plan.get(), 2, in.data(), out.data());
            EXPECT_EQ(out.content(), (Floats{11.0f, 32.0f, -9.0f, -28.0f}));
            EXPECT_TRUE(out.zones_untouched());
        }
    }
}

// ---- The two halves of the real transforms by themselves ----

TEST(RealPost, UntanglesInPlace)
{
    const RealPlan plan = Make_Real_Plan(Largest);
    for (const InputCase& input : Input_Cases) {
        for (uint32_t N = 8; N <= 4096; N *= 2) {
            const Floats in = input.make(N, N);
            Floats expected = in;
            Reference_Post(N, Stage_Table(plan.get(), N), &expected);
            for (const Form& form : Forms) {
                SCOPED_TRACE(std::string(input.name) + ", " + Name(form, N, false));
                Guarded buffer(in);
                form.post(N, Stage_Table(plan.get(), N), buffer.data());
                EXPECT_EQ(First_Difference(buffer.content(), expected), -1);
                EXPECT_TRUE(buffer.zones_untouched());
            }
        }
    }
}

TEST(RealPre, TanglesAndLeavesTheFirstTwoSlots)
{
    const RealPlan plan = Make_Real_Plan(Largest);
    for (const InputCase& input : Input_Cases) {
        for (uint32_t N = 8; N <= 4096; N *= 2) {
            Floats in = input.make(N, N);
            in[0] = in[1] = std::numeric_limits<float>::quiet_NaN(); // would spread if it were read
            Floats expected(N, 9.0f);
            Reference_Pre(N, Stage_Table(plan.get(), N), in, &expected, 0.37f);
            Floats in_place = expected;
            in_place[0] = in[0];
            in_place[1] = in[1];
            for (const Form& form : Forms) {
                SCOPED_TRACE(std::string(input.name) + ", " + Name(form, N, true));
                Guarded from(in);
                Guarded to(Floats(N, 9.0f));
                form.pre(N, Stage_Table(plan.get(), N), from.data(), to.data(), 0.37f);
                EXPECT_EQ(First_Difference(to.content(), expected), -1);
                EXPECT_EQ(First_Difference(from.content(), in), -1) << "in changed";
                EXPECT_TRUE(from.zones_untouched() && to.zones_untouched());
                form.pre(N, Stage_Table(plan.get(), N), from.data(), from.data(), 0.37f);
                EXPECT_EQ(First_Difference(from.content(), in_place), -1) << "in place";
            }
        }
    }
}

// ---- Known spectra ----

constexpr double Pi = 3.14159265358979323846;

struct Statement {
    const char* name;
    float (*sample)(uint32_t m, uint32_t N);
    float (*slot)(uint32_t k, uint32_t N); // of the packed spectrum
    double rounding;                       // of the largest slot
};

const Statement Statements[] = {
    {"impulse", [](uint32_t m, uint32_t) { return m == 0 ? 1.0f : 0.0f; },
     [](uint32_t k, uint32_t) { return k == 1 || k % 2 == 0 ? 2.0f : 0.0f; }, 0.0},
    {"ones", [](uint32_t, uint32_t) { return 1.0f; },
     [](uint32_t k, uint32_t N) { return k == 0 ? 2.0f * static_cast<float>(N) : 0.0f; }, 0.0},
    {"alternating", [](uint32_t m, uint32_t) { return m % 2 == 0 ? 1.0f : -1.0f; },
     [](uint32_t k, uint32_t N) { return k == 1 ? 2.0f * static_cast<float>(N) : 0.0f; }, 0.0},
    {"cosine of bin N/8 + 1",
     [](uint32_t m, uint32_t N) {
         return static_cast<float>(std::cos(2 * Pi * (N / 8 + 1) * m / N));
     },
     [](uint32_t k, uint32_t N) { return k == 2 * (N / 8 + 1) ? static_cast<float>(N) : 0.0f; },
     3e-7},
    {"sine of bin N/8 + 1",
     [](uint32_t m, uint32_t N) {
         return static_cast<float>(std::sin(2 * Pi * (N / 8 + 1) * m / N));
     },
     [](uint32_t k, uint32_t N) {
         return k == 2 * (N / 8 + 1) + 1 ? -static_cast<float>(N) : 0.0f;
     },
     3e-7}};

TEST(RealForward, GivesTheKnownSpectra)
{
    const RealPlan plan = Make_Real_Plan(Largest);
    for (const Statement& s : Statements) {
        for (uint32_t N = 8; N <= Largest; N *= 2) {
            SCOPED_TRACE(std::string(s.name) + ", N " + std::to_string(N));
            Floats in(N);
            for (uint32_t m = 0; m < N; m++) {
                in[m] = s.sample(m, N);
            }
            Floats out(N);
            FFT_Real_Forward(plan.get(), N, in.data(), out.data());
            uint32_t wrong = 0;
            for (uint32_t k = 0; k < N; k++) {
                wrong += !(std::fabs(out[k] - s.slot(k, N)) <= s.rounding * 2.0 * N);
            }
            EXPECT_EQ(wrong, 0u);
        }
    }
}

TEST(ComplexForward, FourPointsOfAnImpulse)
{
    const ComplexPlan plan = Make_Complex_Plan(4);
    const Floats in = {1.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f};
    Floats out(8);
    FFT_Complex_Forward(plan.get(), 4, in.data(), out.data());
    EXPECT_EQ(out, (Floats{1.0f, 0.0f, 1.0f, 0.0f, 1.0f, 0.0f, 1.0f, 0.0f}));
}

// ---- Properties on random input ----

double Relative_Error(const Floats& a, const Floats& b)
{
    double error = 0.0;
    double power = 0.0;
    for (size_t k = 0; k < a.size(); k++) {
        const double difference = double{a[k]} - b[k];
        error += difference * difference;
        power += double{b[k]} * b[k];
    }
    return std::sqrt(error / power);
}

// Each transform's own rounding stays below this; see the accuracy test.
double Rounding_Of(uint32_t n)
{
    return 1e-7 * std::sqrt(std::log2(n));
}

TEST(Transform, IsLinear)
{
    const RealPlan plan = Make_Real_Plan(Largest);
    for (uint32_t N = 8; N <= Largest; N *= 2) {
        SCOPED_TRACE(N);
        const Floats a = Random_Floats(N, 1);
        const Floats b = Random_Floats(N, 2);
        Floats mixed(N);
        for (uint32_t m = 0; m < N; m++) {
            mixed[m] = a[m] - 0.75f * b[m];
        }
        Floats of_a(N), of_b(N), of_mixed(N), expected(N);
        FFT_Real_Forward(plan.get(), N, a.data(), of_a.data());
        FFT_Real_Forward(plan.get(), N, b.data(), of_b.data());
        FFT_Real_Forward(plan.get(), N, mixed.data(), of_mixed.data());
        for (uint32_t k = 0; k < N; k++) {
            expected[k] = of_a[k] - 0.75f * of_b[k];
        }
        EXPECT_LT(Relative_Error(of_mixed, expected), 3 * Rounding_Of(N));
    }
}

TEST(Transform, ShiftTurnsEveryBin)
{
    const ComplexPlan plan = Make_Complex_Plan(Largest);
    for (uint32_t n = 4; n <= Largest; n *= 2) {
        SCOPED_TRACE(n);
        const uint32_t shift = n / 4 + 1;
        const Floats in = Random_Floats(2 * size_t{n}, n);
        Floats shifted(in.size());
        for (uint32_t m = 0; m < n; m++) {
            const uint32_t to = (m + shift) % n;
            shifted[2 * to] = in[2 * m];
            shifted[2 * to + 1] = in[2 * m + 1];
        }
        Floats out(in.size()), of_shifted(in.size()), expected(in.size());
        FFT_Complex_Forward(plan.get(), n, in.data(), out.data());
        FFT_Complex_Forward(plan.get(), n, shifted.data(), of_shifted.data());
        for (uint32_t k = 0; k < n; k++) {
            const double angle = -2 * Pi * static_cast<double>(uint64_t{k} * shift % n) / n;
            const double re = out[2 * k];
            const double im = out[2 * k + 1];
            expected[2 * k] = static_cast<float>(re * std::cos(angle) - im * std::sin(angle));
            expected[2 * k + 1] = static_cast<float>(re * std::sin(angle) + im * std::cos(angle));
        }
        EXPECT_LT(Relative_Error(of_shifted, expected), 3 * Rounding_Of(n));
    }
}

TEST(Transform, InverseGoesTheWayBack)
{
    const RealPlan plan = Make_Real_Plan(Largest);
    for (uint32_t N = 8; N <= Largest; N *= 2) {
        SCOPED_TRACE(N);
        const Floats in = Random_Floats(N, N);
        Floats spectrum(N), back(N);
        FFT_Real_Forward(plan.get(), N, in.data(), spectrum.data());
        FFT_Real_Inverse(plan.get(), N, spectrum.data(), back.data());
        EXPECT_LT(Relative_Error(back, in), 2 * Rounding_Of(N));

        FFT_Complex_Forward(plan->complexPlan, N / 2, in.data(), spectrum.data());
        FFT_Complex_Inverse(plan->complexPlan, N / 2, spectrum.data(), back.data());
        for (float& x : back) {
            x /= static_cast<float>(N / 2);
        }
        EXPECT_LT(Relative_Error(back, in), 2 * Rounding_Of(N));
    }
}

} // namespace

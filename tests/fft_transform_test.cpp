// The transforms against the one-point-at-a-time definition, bit for bit, in both forms of the SIMD
// layer, and against what a Fourier transform is: known spectra, linearity, shift, the way back.
#include "tests/fft_reference.h"

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

Floats Transformed(auto transform, const auto* plan, uint32_t n, const Floats& in)
{
    Floats out(in.size());
    transform(plan, n, in.data(), out.data());
    return out;
}

// ---- Bits ----

void Expect_Bits(auto plan, auto transform, uint32_t n, const Floats& in, const Floats& expected)
{
    Guarded from(in.size(), 4);
    Guarded to(in.size(), 4);
    from.Fill(in);
    transform(plan, n, from.data, to.data);
    EXPECT_EQ(First_Difference(to.Values(), expected), -1) << "out of place";
    EXPECT_EQ(First_Difference(from.Values(), in), -1) << "in changed";
    EXPECT_TRUE(from.Guards_Whole() && to.Guards_Whole());
    transform(plan, n, from.data, from.data);
    EXPECT_EQ(First_Difference(from.Values(), expected), -1) << "in place";
    EXPECT_TRUE(from.Guards_Whole());
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

// Magnitudes from the smallest normal numbers to 2^60.
Floats All_Magnitudes(size_t count, uint32_t seed)
{
    Floats out = Random_Floats(count, seed);
    for (size_t k = 0; k < count; k++) {
        out[k] = std::ldexp(out[k], static_cast<int>(k * 7 % 180) - 120);
    }
    return out;
}

const InputCase Input_Cases[] = {
    {"random", Random_Floats},
    {"signed zeros", Signed_Zeros},
    {"negative zeros", [](size_t count, uint32_t) { return Floats(count, -0.0f); }},
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
                    const Floats out = Transformed(form.real[inverse], plan.get(), N, in);
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
    const struct {
        uint32_t N;
        uint64_t digests[2]; // forward, inverse
    } rows[] = {{8, {0x5b3a89dac2582c8c, 0xd28383d473f8125c}},
                {16, {0xf251613d580a974d, 0x2f96f378d13445d6}},
                {32, {0x0a927318ec522fb7, 0x8574898e07ca740e}},
                {64, {0xcd3deb9cdad3c376, 0x7bbf2cca2cb6d2da}},
                {128, {0xaf06b3f890fea3a7, 0x2df5523334fa56f4}},
                {1024, {0x94926445b8ce602a, 0x21f5fc2a6006fd99}},
                {4096, {0x7a74c3523cc2ea75, 0x5f8c87975bee49a5}},
                {32768, {0xe03e43c4839e9b54, 0x97fe458e3459af15}},
                {65536, {0xa694ffe361e476e9, 0xc716e65242d09575}}};
    const RealPlan plan = Make_Real_Plan(Largest);
    for (const auto& row : rows) {
        Floats in(row.N);
        uint32_t state = row.N;
        for (float& x : in) {
            state = state * 1664525u + 1013904223u;
            x = static_cast<float>(static_cast<int32_t>(state)) * 0x1p-31f;
        }
        for (const bool inverse : {false, true}) {
            for (const Form& form : Forms) {
                uint64_t digest = 14695981039346656037u; // FNV-1a over the floats' bits
                for (const float x : Transformed(form.real[inverse], plan.get(), row.N, in)) {
                    digest = (digest ^ Bits(x)) * 1099511628211u;
                }
                EXPECT_EQ(digest, row.digests[inverse]) << Name(form, row.N, inverse);
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
            Guarded out(4, 4);
            form.complex[inverse](plan.get(), 2, in.data(), out.data);
            EXPECT_EQ(out.Values(), (Floats{11.0f, 32.0f, -9.0f, -28.0f}));
            EXPECT_TRUE(out.Guards_Whole());
        }
    }
}

// ---- The two halves of the real transforms by themselves ----

TEST(RealHalves, UntangleAndTangle)
{
    const RealPlan plan = Make_Real_Plan(Largest);
    for (const InputCase& input : Input_Cases) {
        for (uint32_t N = 8; N <= 4096; N *= 2) {
            const FftPair* const table = Stage_Table(plan.get(), N);
            Floats in = input.make(N, N);
            Floats post = in;
            Reference_Post(N, table, &post);
            Guarded from(N, 4);
            for (const Form& form : Forms) {
                SCOPED_TRACE(std::string(input.name) + ", " + Name(form, N, false));
                from.Fill(in);
                form.post(N, table, from.data);
                EXPECT_EQ(First_Difference(from.Values(), post), -1);
                EXPECT_TRUE(from.Guards_Whole());
            }
            in[0] = in[1] = std::numeric_limits<float>::quiet_NaN(); // would spread if it were read
            Floats apart(N, 9.0f);
            Floats in_place = in;
            Reference_Pre(N, table, in, &apart, 0.37f);
            Reference_Pre(N, table, in, &in_place, 0.37f);
            for (const Form& form : Forms) {
                SCOPED_TRACE(std::string(input.name) + ", " + Name(form, N, true));
                Guarded to(N, 4);
                from.Fill(in);
                to.Fill(Floats(N, 9.0f));
                form.pre(N, table, from.data, to.data, 0.37f);
                EXPECT_EQ(First_Difference(to.Values(), apart), -1);
                EXPECT_EQ(First_Difference(from.Values(), in), -1) << "in changed";
                EXPECT_TRUE(from.Guards_Whole() && to.Guards_Whole());
                form.pre(N, table, from.data, from.data, 0.37f);
                EXPECT_EQ(First_Difference(from.Values(), in_place), -1) << "in place";
            }
        }
    }
}

// ---- Known spectra ----

constexpr double Pi = 3.14159265358979323846;

TEST(RealForward, GivesTheKnownSpectra)
{
    const RealPlan plan = Make_Real_Plan(Largest);
    for (uint32_t N = 8; N <= Largest; N *= 2) {
        const uint32_t bin = N / 8 + 1;
        const auto only = [=](uint32_t slot, float value) {
            Floats spectrum(N);
            spectrum[slot] = value * static_cast<float>(N);
            return spectrum;
        };
        Floats level(N);
        for (uint32_t k = 0; k < N; k++) {
            level[k] = k == 1 || k % 2 == 0 ? 2.0f : 0.0f;
        }
        const struct {
            const char* name;
            double (*sample)(uint32_t m, double angle);
            Floats spectrum;
            double rounding; // of the largest slot
        } rows[] = {{"impulse", [](uint32_t m, double) { return m == 0 ? 1.0 : 0.0; }, level, 0.0},
                    {"ones", [](uint32_t, double) { return 1.0; }, only(0, 2), 0.0},
                    {"alternating", [](uint32_t m, double) { return m % 2 == 0 ? 1.0 : -1.0; },
                     only(1, 2), 0.0},
                    {"cosine", [](uint32_t, double angle) { return std::cos(angle); },
                     only(2 * bin, 1), 3e-7},
                    {"sine", [](uint32_t, double angle) { return std::sin(angle); },
                     only(2 * bin + 1, -1), 3e-7}};
        for (const auto& row : rows) {
            Floats in(N);
            for (uint32_t m = 0; m < N; m++) {
                in[m] = static_cast<float>(row.sample(m, 2 * Pi * bin * m / N));
            }
            const Floats out = Transformed(FFT_Real_Forward, plan.get(), N, in);
            for (uint32_t k = 0; k < N; k++) {
                ASSERT_LE(std::fabs(out[k] - row.spectrum[k]), row.rounding * 2.0 * N)
                    << row.name << ", N " << N << ", slot " << k;
            }
        }
    }
}

TEST(ComplexForward, FourPointsOfAnImpulse)
{
    const ComplexPlan plan = Make_Complex_Plan(4);
    const Floats out = Transformed(FFT_Complex_Forward, plan.get(), 4, {1, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(out, (Floats{1, 0, 1, 0, 1, 0, 1, 0}));
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
    const auto mix = [](Floats a, const Floats& b) {
        for (size_t k = 0; k < a.size(); k++) {
            a[k] -= 0.75f * b[k];
        }
        return a;
    };
    for (uint32_t N = 8; N <= Largest; N *= 2) {
        const auto forward = [&](const Floats& in) {
            return Transformed(FFT_Real_Forward, plan.get(), N, in);
        };
        const Floats a = Random_Floats(N, 1);
        const Floats b = Random_Floats(N, 2);
        EXPECT_LT(Relative_Error(forward(mix(a, b)), mix(forward(a), forward(b))),
                  3 * Rounding_Of(N))
            << N;
    }
}

TEST(Transform, ShiftTurnsEveryBin)
{
    const ComplexPlan plan = Make_Complex_Plan(Largest);
    for (uint32_t n = 4; n <= Largest; n *= 2) {
        const uint32_t shift = n / 4 + 1;
        const Floats in = Random_Floats(2 * size_t{n}, n);
        Floats shifted = in;
        std::rotate(shifted.begin(), shifted.end() - 2 * shift, shifted.end());
        Floats turned = Transformed(FFT_Complex_Forward, plan.get(), n, in);
        for (uint32_t k = 0; k < n; k++) {
            const double angle = -2 * Pi * static_cast<double>(uint64_t{k} * shift % n) / n;
            const std::complex<double> bin(turned[2 * k], turned[2 * k + 1]);
            const Point expected(bin * std::polar(1.0, angle));
            turned[2 * k] = expected.real();
            turned[2 * k + 1] = expected.imag();
        }
        const Floats of_shifted = Transformed(FFT_Complex_Forward, plan.get(), n, shifted);
        EXPECT_LT(Relative_Error(of_shifted, turned), 3 * Rounding_Of(n)) << n;
    }
}

TEST(Transform, InverseGoesTheWayBack)
{
    const RealPlan plan = Make_Real_Plan(Largest);
    for (uint32_t N = 8; N <= Largest; N *= 2) {
        const Floats in = Random_Floats(N, N);
        const Floats bins = Transformed(FFT_Real_Forward, plan.get(), N, in);
        const Floats real = Transformed(FFT_Real_Inverse, plan.get(), N, bins);
        EXPECT_LT(Relative_Error(real, in), 2 * Rounding_Of(N)) << N;

        const FftComplexPlan* const half = plan->complexPlan;
        const Floats points = Transformed(FFT_Complex_Forward, half, N / 2, in);
        Floats back = Transformed(FFT_Complex_Inverse, half, N / 2, points);
        for (float& x : back) {
            x /= static_cast<float>(N / 2);
        }
        EXPECT_LT(Relative_Error(back, in), 2 * Rounding_Of(N)) << N;
    }
}

} // namespace

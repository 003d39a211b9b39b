// How far the forward transform is from the exact one, on random samples.
#include "tests/fft_long_double.h"
#include "tests/fft_reference.h"

namespace
{

// The measure itself: the recursive transform against the sum.
TEST(LongTransform, IsTheSum)
{
    for (uint32_t N = 2; N <= 256; N *= 2) {
        const Floats samples = Random_Floats(N, N);
        const LongPoints in(samples.begin(), samples.end());
        const LongPoints sum = Long_Sum(in);
        const LongPoints fast = Long_Transform(in);
        EXPECT_LT(Relative_Rms(sum, N, 1.0L, [&](uint64_t k) { return fast[k]; }), 1e-17L) << N;
    }
}

TEST(Accuracy, ForwardErrorGrowsWithTheRootOfTheStages)
{
    const RealPlan plan = Make_Real_Plan(65536);
    printf("     N   relative RMS error   limit\n");
    for (uint32_t N = 8; N <= 65536; N *= 2) {
        const Floats in = Random_Floats(N, N);
        Floats spectrum(N);
        FFT_Real_Forward(plan.get(), N, in.data(), spectrum.data());
        const LongPoints exact = Long_Transform(LongPoints(in.begin(), in.end()));
        const double error = static_cast<double>(
            Relative_Rms(exact, N, 2.0L, [&](uint64_t k) { return Packed_Bin(spectrum, k); }));
        const double limit = 1.0e-7 * std::sqrt(std::log2(N));
        printf("%6u   %.3e            %.3e\n", N, error, limit);
        EXPECT_LE(error, limit) << N;
    }
}

} // namespace

// How far the forward transform is from the exact one, on random samples.
#include "tests/fft_long_double.h"
#include "tests/fft_reference.h"

#include <gtest/gtest.h>

namespace
{

LongPoints Long_Samples(const Floats& in)
{
    return LongPoints(in.begin(), in.end());
}

// The measure itself: the recursive transform against the sum.
TEST(LongTransform, IsTheSum)
{
    for (uint32_t N = 2; N <= 256; N *= 2) {
        const LongPoints in = Long_Samples(Random_Floats(N, N));
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
        const long double error = Relative_Rms(Long_Transform(Long_Samples(in)), N, 2.0L,
                                               [&](uint64_t k) { return Packed_Bin(spectrum, k); });
        const double limit = 1.0e-7 * std::sqrt(std::log2(N));
        printf("%6u   %.3e            %.3e\n", N, static_cast<double>(error), limit);
        EXPECT_LE(error, limit) << N;
    }
}

} // namespace

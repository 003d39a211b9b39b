// The error of the forward transform beside that of FFTW in single precision, on the same samples.
#include "tests/fft_long_double.h"
#include "tests/fft_reference.h"

#include <fftw3.h>

namespace
{

struct Errors {
    double ours = 0.0;
    double theirs = 0.0;
};

// The mean over a few inputs: at small sizes one input says little.
Errors Mean_Errors(const FftRealPlan* plan, uint32_t N, int inputs)
{
    Errors mean;
    Floats in(N), ours(N), theirs(N + 2);
    fftwf_plan peer = fftwf_plan_dft_r2c_1d(static_cast<int>(N), in.data(),
                                            reinterpret_cast<fftwf_complex*>(theirs.data()),
                                            FFTW_ESTIMATE | FFTW_PRESERVE_INPUT);
    const auto our_bin = [&](uint64_t bin) { return Packed_Bin(ours, bin); };
    const auto their_bin = [&](uint64_t bin) {
        return std::complex<long double>(theirs[2 * bin], theirs[2 * bin + 1]);
    };
    for (int k = 0; k < inputs; k++) {
        const Floats samples = Random_Floats(N, N + static_cast<uint32_t>(k));
        std::copy(samples.begin(), samples.end(), in.begin());
        const LongPoints exact = Long_Transform(LongPoints(in.begin(), in.end()));
        FFT_Real_Forward(plan, N, in.data(), ours.data());
        fftwf_execute(peer);
        mean.ours += static_cast<double>(Relative_Rms(exact, N, 2.0L, our_bin)) / inputs;
        mean.theirs += static_cast<double>(Relative_Rms(exact, N, 1.0L, their_bin)) / inputs;
    }
    fftwf_destroy_plan(peer);
    return mean;
}

TEST(Accuracy, IsThatOfFftw)
{
    const RealPlan plan = Make_Real_Plan(65536);
    printf("     N   ours        FFTW        ours / FFTW\n");
    for (uint32_t N = 8; N <= 65536; N *= 2) {
        const int inputs = N <= 256 ? 64 : N <= 4096 ? 8 : 2;
        const Errors errors = Mean_Errors(plan.get(), N, inputs);
        printf("%6u   %.3e   %.3e   %.2f\n", N, errors.ours, errors.theirs,
               errors.ours / errors.theirs);
        EXPECT_LE(errors.ours, 1.25 * errors.theirs) << N;
    }
}

} // namespace

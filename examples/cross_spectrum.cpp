// Averages the cross spectrum of the first two channels of a file and prints what the second is to
// the first: gain and delay, by frequency. Built on the runtime (target Ombrine::Runtime).
//     cross_spectrum FILE
#include "audiofile/audiofile.h"
#include "spectrum/fft.h"
#include "spectrum/fv.h"
#include "vector/kern.h"

#include <cmath>
#include <cstdio>
#include <vector>

constexpr uint32_t N = 1024;

int main(int argc, char** argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: cross_spectrum FILE\n");
        return 2;
    }
    ObjectHeader object = OBJ_Template; // reports to standard error, ends the process on a failure
    OBJ_Set_Name(&object, "cross_spectrum");
    AudiofileHandle* file =
        static_cast<AudiofileHandle*>(OBJ_Malloc_C(&object, sizeof(AudiofileHandle)));
    uint64_t samples;
    uint64_t channels;
    double rate;
    Audiofile_Open_Read(&object, argv[1], &samples, &channels, &rate, file);
    if (channels < 2) {
        fprintf(stderr, "%s: fewer than two channels\n", argv[1]);
        return 1;
    }

    std::vector<uint64_t> memory(FFT_RealPlan_Size(N) / sizeof(uint64_t) + 1);
    FftRealPlan* plan = reinterpret_cast<FftRealPlan*>(memory.data());
    FFT_RealPlan_Init(N, plan);
    std::vector<float> window(N);
    for (uint32_t i = 0; i < N; i++) {
        window[i] = static_cast<float>(0.5 - 0.5 * std::cos(2.0 * M_PI * i / N));
    }

    std::vector<float> values(channels * N);
    std::vector<float*> buffers(channels);
    for (uint64_t c = 0; c < channels; c++) {
        buffers[c] = values.data() + c * N;
    }
    std::vector<float> X(N);
    std::vector<float> Y(N);
    std::vector<float> cross(N);         // FV: the sum of conj(X) Y
    std::vector<float> power(N / 2 + 1); // HFV: the sum of |X|^2
    unsigned blocks = 0;
    for (uint64_t frames = N;; blocks++) {
        Audiofile_RdMatrix_FLOAT(&object, file, buffers.data(), N, &frames, 1.0f);
        if (frames < N) {
            break;
        }
        for (float* channel : {buffers[0], buffers[1]}) {
            KERN_Mul_InPlace(&object, N, window.data(), channel);
        }
        FFT_Real_Forward(plan, N, buffers[0], X.data());
        FFT_Real_Forward(plan, N, buffers[1], Y.data());
        FV_CrossAcc_Real(&object, N, X.data(), X.data(), power.data());
        FV_Mul_Conj(&object, N, X.data(), Y.data());
        KERN_Add_InPlace(&object, N, Y.data(), cross.data());
    }
    Audiofile_Close_Read(&object, file);
    OBJ_Free_C(&object, file);

    FV_Div_HFV(&object, N, cross.data(), power.data(), cross.data());
    printf("%u blocks of %u samples\n", blocks, N);
    for (uint32_t k = N / 128; k < N / 2; k *= 4) {
        float re;
        float im;
        FV_Get_Bin(&object, N, k, cross.data(), &re, &im);
        const double angle = 2.0 * M_PI * k / N; // a sample
        printf("%7.0f Hz: gain %.3f, delay %.2f samples\n", k * rate / N,
               std::hypot(static_cast<double>(re), static_cast<double>(im)),
               -std::atan2(static_cast<double>(im), static_cast<double>(re)) / angle);
    }
    return 0;
}

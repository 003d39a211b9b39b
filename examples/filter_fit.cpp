// Fits a low-pass filter of linear phase by constrained least squares: 25 taps, as near as can be
// to 1 up to 0.15 and to 0 from 0.25 of the sampling rate on, exactly 1 at 0, and nowhere in the
// stop band above 0.01. Built on the runtime (target Ombrine::Runtime).
//     filter_fit
#include "matrix/mat.h"

#include <cmath>
#include <cstdio>
#include <vector>

constexpr uint64_t Unknowns = 13; // A(w) = x[0] + x[1] cos w + ... + x[12] cos 12 w
constexpr uint64_t Points = 64;   // of the grid in each band
constexpr double Pass_End = 0.15;
constexpr double Stop_Begin = 0.25;
constexpr double Stop_Level = 0.01;

static void Fill_Row(double frequency, double sign, float* row)
{
    for (uint64_t k = 0; k < Unknowns; k++) {
        row[k] =
            static_cast<float>(sign * std::cos(2.0 * M_PI * frequency * static_cast<double>(k)));
    }
}

static double Response(const std::vector<float>& x, double frequency)
{
    double sum = 0.0;
    for (uint64_t k = 0; k < Unknowns; k++) {
        sum +=
            static_cast<double>(x[k]) * std::cos(2.0 * M_PI * frequency * static_cast<double>(k));
    }
    return sum;
}

int main()
{
    ObjectHeader object = OBJ_Template;
    OBJ_Set_Name(&object, "filter_fit");
    float** H;    // both bands
    float** stop; // A(w) and -A(w) in the stop band
    float** zero; // A(0)
    MAT_Alloc_C(&object, 2 * Points, Unknowns, &H);
    MAT_Alloc_C(&object, 2 * Points, Unknowns, &stop);
    MAT_Alloc_C(&object, 1, Unknowns, &zero);
    std::vector<float> wanted(2 * Points);
    const std::vector<float> limits(2 * Points, static_cast<float>(Stop_Level));
    const float one = 1.0f;
    for (uint64_t i = 0; i < Points; i++) {
        const double part = static_cast<double>(i) / (Points - 1);
        const double in_stop = Stop_Begin + part * (0.5 - Stop_Begin);
        Fill_Row(part * Pass_End, 1.0, H[i]);
        Fill_Row(in_stop, 1.0, H[Points + i]);
        Fill_Row(in_stop, 1.0, stop[i]);
        Fill_Row(in_stop, -1.0, stop[Points + i]);
        wanted[i] = 1.0f;
    }
    Fill_Row(0.0, 1.0, zero[0]);

    std::vector<float> x(Unknowns);
    MAT_LeastSquares_Constrained(&object, 2 * Points, Unknowns, H, wanted.data(), 2 * Points, stop,
                                 limits.data(), 1, zero, &one, nullptr, nullptr, x.data());
    MAT_Free_C(&object, 1, zero);
    MAT_Free_C(&object, 2 * Points, stop);
    MAT_Free_C(&object, 2 * Points, H);

    // The solver tells nothing, so look at what came out.
    double ripple = 0.0;
    double leak = 0.0;
    for (int i = 0; i <= 500; i++) {
        const double part = i / 500.0;
        ripple = std::fmax(ripple, std::fabs(Response(x, part * Pass_End) - 1.0));
        leak = std::fmax(leak, std::fabs(Response(x, Stop_Begin + part * (0.5 - Stop_Begin))));
    }
    printf("gain at 0: %.5f\npass band within %.4f\nstop band below %.4f\n", Response(x, 0.0),
           ripple, leak);
    const bool good =
        std::fabs(Response(x, 0.0) - 1.0) < 1e-4 && ripple < 0.05 && leak < 1.05 * Stop_Level;
    return good ? 0 : 1;
}

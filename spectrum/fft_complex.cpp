// The complex transforms: which passes a size takes. Out of place the first two stages gather their
// points straight from in; in place the first stage exchanges the points of the buffer on its way.

#include "spectrum/fft_small.h"

template <bool Back>
static void Transform(const FftComplexPlan* plan, uint32_t n, const float* in, float* out)
{
    const float* even = Table_Floats(plan->evenTables);
    const float* odd = Table_Floats(plan->oddTables);
    C4 z[4];
    switch (n) {
    case 2: {
        const float a[4] = {in[0], in[1], in[2], in[3]};
        out[0] = a[0] + a[2];
        out[1] = a[1] + a[3];
        out[2] = a[0] - a[2];
        out[3] = a[1] - a[3];
        return;
    }
    case 4:
        Transform_4<Back>(in, out);
        return;
    case 8:
        Load_All(in, z, 2);
        Transform_8<Back>(z, odd);
        Store_All(out, z, 2);
        return;
    case 16:
        Load_All(in, z, 4);
        Transform_16<Back>(z, even);
        Store_All(out, z, 4);
        return;
    default:
        break;
    }
    const bool in_place = in == out;
    if (Is_Radix_4_First(n)) {
        if (in_place) {
            First_In_Place<Back, true>(n, out);
            Later_Stages<Back>(out, n, 4, even);
        } else {
            First_Radix_4<Back>(n, InputRows{in, n / 8}, out, even);
            Later_Stages<Back>(out, n, 16, even + 24);
        }
    } else {
        if (in_place) {
            First_In_Place<Back, false>(n, out);
            Stage_Of_Eight<Back>(n, out, odd);
        } else {
            First_Radix_2<Back>(n, InputRows{in, n / 4}, out, odd);
        }
        Later_Stages<Back>(out, n, 8, odd + 12);
    }
}

void FFT_Complex_Forward(const FftComplexPlan* plan, uint32_t n, const float* in, float* out)
{
    Transform<false>(plan, n, in, out);
}

void FFT_Complex_Inverse(const FftComplexPlan* plan, uint32_t n, const float* in, float* out)
{
    Transform<true>(plan, n, in, out);
}

// The complex transforms: which passes a size takes. Out of place the first two stages gather their
// points straight from in; in place the first stage exchanges the points of the buffer on its way.

#include "spectrum/fft_small.h"

template <bool Back>
static void Transform_Any(const FftComplexPlan* plan, uint32_t n, const float* in, float* out)
{
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
        C4_Store(out, Transform_4<Back>(C4_Load(in)));
        return;
    case 8:
        Load_All(in, z, 2);
        Transform_8<Back>(z, Table_Floats(plan->oddTables));
        Store_All(out, z, 2);
        return;
    case 16:
        Load_All(in, z, 4);
        Transform_16<Back>(z, Table_Floats(plan->evenTables));
        Store_All(out, z, 4);
        return;
    default:
        Transform<Back>(plan, n, in, out);
    }
}

void FFT_Complex_Forward(const FftComplexPlan* plan, uint32_t n, const float* in, float* out)
{
    Transform_Any<false>(plan, n, in, out);
}

void FFT_Complex_Inverse(const FftComplexPlan* plan, uint32_t n, const float* in, float* out)
{
    Transform_Any<true>(plan, n, in, out);
}

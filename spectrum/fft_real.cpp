// The real transforms: a complex transform of the sample pairs, untangled behind it or tangled
// before it. Both passes go inward from both ends, four bins of each end a step; bins of the upper
// end lie in the opposite order. Bin 0 and the Nyquist bin, which share the first point, stand
// apart.
#include "spectrum/fft_small.h"

// Four bins k of the lower end in a, M - k of the upper end in b; table is at k.
static inline void Post_Step(C4& a, C4& b, const float* table)
{
    const C4 sum = C4_Add(a, b);
    const C4 difference = C4_Sub(a, b);
    const C4 even = C4_Mix(sum, difference);
    const C4 odd = C4_Cross(sum, difference, C4_Load(table));
    a = C4_Sub_Add(even, odd);
    b = C4_Add_Sub(odd, even);
}

static inline void Pre_Step(C4& a, C4& b, const float* table, float scale)
{
    const C4 sum = C4_Scale(C4_Add(a, b), scale);
    const C4 difference = C4_Scale(C4_Sub(a, b), scale);
    const C4 even = C4_Mix(sum, difference);
    const C4 odd = C4_Swap(C4_Turn(C4_Mix(difference, sum), W4_Of<true>(C4_Load(table))));
    a = C4_Add_Sub(even, odd);
    b = C4_Sub(C4_Conj(even), odd);
}

// ---- Whole buffers ----

// One bin of each end, for the smallest size.
static void Post_8(const float* table, float* z)
{
    const float a = z[0];
    const float b = z[1];
    z[0] = (a + b) + (a + b);
    z[1] = (a - b) + (a - b);
    for (int k = 1; k <= 2; k++, table += 2) {
        float* low = z + 2 * k;
        float* high = z + 8 - 2 * k;
        const float e = low[0] + high[0];
        const float d = low[1] - high[1];
        const float p = low[0] - high[0];
        const float q = low[1] + high[1];
        const float u = __builtin_fmaf(-p, table[1], q * table[0]);
        const float w = __builtin_fmaf(p, table[0], q * table[1]);
        low[0] = e - u;
        low[1] = w + d;
        high[0] = e + u;
        high[1] = w - d;
    }
}

static void Pre_8(const float* table, const float* in, float* out, float scale)
{
    for (int k = 1; k <= 2; k++, table += 2) {
        const float* low = in + 2 * k;
        const float* high = in + 8 - 2 * k;
        const float e = scale * (low[0] + high[0]);
        const float d = scale * (low[1] - high[1]);
        const float p = scale * (low[0] - high[0]);
        const float q = scale * (low[1] + high[1]);
        const float u = -__builtin_fmaf(-table[1], q, table[0] * p);
        const float w = __builtin_fmaf(table[1], p, table[0] * q);
        out[2 * k] = e + w;
        out[2 * k + 1] = d + u;
        out[8 - 2 * k] = e - w;
        out[9 - 2 * k] = u - d;
    }
}

static inline void Post(uint32_t N, const float* table, float* z)
{
    const float a = z[0];
    const float b = z[1];
    z[0] = (a + b) + (a + b);
    z[1] = (a - b) + (a - b);
    float* high = z + N - 8;
    for (float* low = z + 2; low < high; low += 8, high -= 8, table += 8) {
        C4 lower = C4_Load(low);
        C4 upper = C4_Reverse(C4_Load(high));
        Post_Step(lower, upper, table);
        // The middle bin is in both, and that of the upper end stands.
        C4_Store(low, lower);
        C4_Store(high, C4_Reverse(upper));
    }
}

void FFT_Real_Post(uint32_t N, const FftPair* table, float* buffer)
{
    if (N == 8) {
        Post_8(Table_Floats(table), buffer);
    } else {
        Post(N, Table_Floats(table), buffer);
    }
}

void FFT_Real_Pre(uint32_t N, const FftPair* stage_table, const float* in, float* out, float scale)
{
    const float* table = Table_Floats(stage_table);
    if (N == 8) {
        Pre_8(table, in, out, scale);
        return;
    }
    size_t high = N - 8;
    for (size_t low = 2; low < high; low += 8, high -= 8, table += 8) {
        C4 lower = C4_Load(in + low);
        C4 upper = C4_Reverse(C4_Load(in + high));
        Pre_Step(lower, upper, table, scale);
        C4_Store(out + low, lower);
        C4_Store(out + high, C4_Reverse(upper));
    }
}

// ---- Drivers ----

void FFT_Real_Forward(const FftRealPlan* plan, uint32_t N, const float* in, float* out)
{
    FFT_Complex_Forward(plan->complexPlan, N / 2, in, out);
    FFT_Real_Post(N, plan->stageTables + N / 4 - 2, out);
}

void FFT_Real_Inverse(const FftRealPlan* plan, uint32_t N, const float* in, float* out)
{
    const float scale = 0.5f / static_cast<float>(N);
    const float first[2] = {(in[0] + in[1]) * scale, (in[0] - in[1]) * scale};
    FFT_Real_Pre(N, plan->stageTables + N / 4 - 2, in, out, scale);
    out[0] = first[0];
    out[1] = first[1];
    FFT_Complex_Inverse(plan->complexPlan, N / 2, out, out);
}

// The real transforms: a complex transform of the sample pairs, untangled behind it or tangled
// before it. Both passes go inward from both ends, four bins of each end a step; bins of the upper
// end lie in the opposite order. Bin 0 and the Nyquist bin, which share the first point, stand
// apart.
#include "spectrum/fft_small.h"

// Four bins k of the lower end in a, M - k of the upper end in b.
static inline void Post_Step(C4& a, C4& b, C4 pairs)
{
    const C4 sum = C4_Add(a, b);
    const C4 difference = C4_Sub(a, b);
    const C4 even = C4_Mix(sum, difference);
    const C4 odd = C4_Cross(sum, difference, pairs);
    a = C4_Sub_Add(even, odd);
    b = C4_Add_Sub(odd, even);
}

static inline void Pre_Step(C4& a, C4& b, C4 pairs, float scale)
{
    const C4 sum = C4_Scale(C4_Add(a, b), scale);
    const C4 difference = C4_Scale(C4_Sub(a, b), scale);
    const C4 even = C4_Mix(sum, difference);
    // (w, c p - s q): the product with the pair, its parts exchanged.
    const C4 odd = C4_Turn(C4_Swap(C4_Mix(difference, sum)), W4_Of<false>(pairs));
    a = C4_Add_Sub(even, odd);
    b = C4_Sub(C4_Conj(even), odd);
}

// ---- Whole buffers ----

// The smallest size: two bins of each end in one register, the middle one in both.
static inline C4 Post_4(C4 z, const float* table)
{
    const C4 first = C4_Sum_Difference(z);
    C4 lower = C4_Shift(z, z);
    C4 upper = C4_Reverse(z);
    Post_Step(lower, upper, C4_Load_Twice(table));
    return C4_Join(C4_First(C4_Add(first, first), C4_Rotate(lower)), C4_Reverse(upper));
}

// Bin 0 is left as it is.
static inline C4 Pre_4(C4 z, const float* table, float scale)
{
    C4 lower = C4_Shift(z, z);
    C4 upper = C4_Reverse(z);
    Pre_Step(lower, upper, C4_Load_Twice(table), scale);
    return C4_Join(C4_First(z, C4_Rotate(lower)), C4_Reverse(upper));
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
        Post_Step(lower, upper, C4_Load(table));
        // The middle bin is in both, and that of the upper end stands.
        C4_Store(low, lower);
        C4_Store(high, C4_Reverse(upper));
    }
}

static inline void Pre(uint32_t N, const float* table, const float* in, float* out, float scale)
{
    size_t high = N - 8;
    for (size_t low = 2; low < high; low += 8, high -= 8, table += 8) {
        C4 lower = C4_Load(in + low);
        C4 upper = C4_Reverse(C4_Load(in + high));
        Pre_Step(lower, upper, C4_Load(table), scale);
        C4_Store(out + low, lower);
        C4_Store(out + high, C4_Reverse(upper));
    }
}

void FFT_Real_Post(uint32_t N, const FftPair* table, float* buffer)
{
    if (N == 8) {
        C4_Store(buffer, Post_4(C4_Load(buffer), Table_Floats(table)));
    } else {
        Post(N, Table_Floats(table), buffer);
    }
}

void FFT_Real_Pre(uint32_t N, const FftPair* table, const float* in, float* out, float scale)
{
    if (N == 8) {
        const float first[2] = {out[0], out[1]};
        C4_Store(out, Pre_4(C4_Load(in), Table_Floats(table), scale));
        out[0] = first[0];
        out[1] = first[1];
    } else {
        Pre(N, Table_Floats(table), in, out, scale);
    }
}

// ---- Drivers ----

static const float* Stage_Table(const FftRealPlan* plan, uint32_t N)
{
    return Table_Floats(plan->stageTables + N / 4 - 2);
}

// For 8 and 16 points, 2 and 4 registers: the passes of whole buffers on what the registers hold.
template <int Count> static inline void Post_Registers(C4* z, const float* table, float* out)
{
    const C4 first = C4_Sum_Difference(z[0]);
    C4 lower[Count / 2];
    C4 upper[Count / 2];
    for (int k = 0; k < Count / 2; k++) {
        lower[k] = C4_Shift(z[k], z[k + 1]);
        upper[k] = C4_Reverse(z[Count - 1 - k]);
        Post_Step(lower[k], upper[k], C4_Load(table + 8 * k));
    }
    C4_Store(out, C4_First(C4_Add(first, first), C4_Rotate(lower[0])));
    for (int k = 1; k < Count / 2; k++) {
        C4_Store(out + 8 * k, C4_Unshift(lower[k - 1], lower[k]));
    }
    for (int k = 0; k < Count / 2; k++) {
        C4_Store(out + 8 * (Count - 1 - k), C4_Reverse(upper[k]));
    }
}

template <int Count>
static inline void Pre_Registers(const float* in, const float* table, float scale, C4* z)
{
    Load_All(in, z, Count);
    const C4 first = C4_Scale(C4_Sum_Difference(z[0]), scale);
    C4 lower[Count / 2];
    C4 upper[Count / 2];
    for (int k = 0; k < Count / 2; k++) {
        lower[k] = C4_Shift(z[k], z[k + 1]);
        upper[k] = C4_Reverse(z[Count - 1 - k]);
        Pre_Step(lower[k], upper[k], C4_Load(table + 8 * k), scale);
    }
    z[0] = C4_First(first, C4_Rotate(lower[0]));
    for (int k = 1; k < Count / 2; k++) {
        z[k] = C4_Unshift(lower[k - 1], lower[k]);
    }
    for (int k = 0; k < Count / 2; k++) {
        z[Count - 1 - k] = C4_Reverse(upper[k]);
    }
}

// Sizes from 64 on, apart from the small ones, which need none of their registers saved.
__attribute__((noinline)) static void Forward(const FftComplexPlan* points, const float* table,
                                              uint32_t N, const float* in, float* out)
{
    Transform<false>(points, N / 2, in, out);
    Post(N, table, out);
}

// Tangled into out, then in place: that beats tangling on the way into the first pass, which leaves
// too much to be done between its loads and its stores.
__attribute__((noinline)) static void Inverse(const FftComplexPlan* points, const float* table,
                                              uint32_t N, const float* in, float* out, float scale)
{
    const float sum = (in[0] + in[1]) * scale;
    const float difference = (in[0] - in[1]) * scale;
    out[0] = sum;
    out[1] = difference;
    Pre(N, table, in, out, scale);
    Transform<true>(points, N / 2, out, out);
}

void FFT_Real_Forward(const FftRealPlan* plan, uint32_t N, const float* in, float* out)
{
    const FftComplexPlan* points = plan->complexPlan;
    const float* table = Stage_Table(plan, N);
    C4 z[4];
    if (N > 32) {
        Forward(points, table, N, in, out);
    } else if (N == 32) {
        Load_All(in, z, 4);
        Transform_16<false>(z, Table_Floats(points->evenTables));
        Post_Registers<4>(z, table, out);
    } else if (N == 16) {
        Load_All(in, z, 2);
        Transform_8<false>(z, Table_Floats(points->oddTables));
        Post_Registers<2>(z, table, out);
    } else {
        C4_Store(out, Post_4(Transform_4<false>(C4_Load(in)), table));
    }
}

void FFT_Real_Inverse(const FftRealPlan* plan, uint32_t N, const float* in, float* out)
{
    const FftComplexPlan* points = plan->complexPlan;
    const float* table = Stage_Table(plan, N);
    const float scale = 0.5f / static_cast<float>(N);
    C4 z[4];
    if (N > 32) {
        Inverse(points, table, N, in, out, scale);
    } else if (N == 32) {
        Pre_Registers<4>(in, table, scale, z);
        Transform_16<true>(z, Table_Floats(points->evenTables));
        Store_All(out, z, 4);
    } else if (N == 16) {
        Pre_Registers<2>(in, table, scale, z);
        Transform_8<true>(z, Table_Floats(points->oddTables));
        Store_All(out, z, 2);
    } else {
        const C4 bins = C4_Load(in);
        const C4 first = C4_Scale(C4_Sum_Difference(bins), scale);
        C4_Store(out, Transform_4<true>(C4_First(first, Pre_4(bins, table, scale))));
    }
}

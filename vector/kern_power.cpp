// The spectrum kernels behind vector/kern.h that make powers or mix neighbouring bins.
#include "vector/kern.h"

#include "vector/simd_pairs.h"

// ---- Powers ----

static inline float Bin_Power(const float* x)
{
    return F_MulAdd(x[1], x[1], F_Mul(x[0], x[0]));
}

// The power of each pair in its even lane.
template <class F> static inline F Pair_Power(F x)
{
    const F im = F_Swap(x);
    return F_MulAdd(im, im, F_Mul(x, x));
}

float KERN_FV_Energy(uint32_t n, const float* x)
{
    const float outer = F_MulAdd(x[1], x[1], F_Mul(x[0], x[0]));
    float bins = Bin_Power(x + 2);
    if (n > 4) {
        F4 partial = F4_Set(0.0f);
        for (uint32_t i = 4; i < n; i += 4) {
            const F4 four = F4_Load(x + i);
            partial = F_MulAdd(four, four, partial);
        }
        float p[4];
        F4_Store(p, partial);
        bins = bins + ((p[0] + p[1]) + (p[2] + p[3]));
    }
    return outer + (bins + bins);
}

// put(k, power) for dc, ny and the bins but for blocks of eight of them, which go to
// put_eight(k, x, y): bins k to k + 7, their powers in the even lanes of x and y. Ascending, ny
// last, so that the powers may overwrite the spectrum.
template <class Put, class PutEight>
static inline void Run_Powers(uint32_t n, const float* x, Put put, PutEight put_eight)
{
    const uint32_t top = n / 2;
    uint32_t k = 1;
    for (; k + 8 <= top; k += 8) {
        const F8 low = Pair_Power(F_Load<F8>(x + 2 * k));
        const F8 high = Pair_Power(F_Load<F8>(x + 2 * k + 8));
        put_eight(k, low, high);
    }
    for (; k < top; k++) {
        put(k, Bin_Power(x + 2 * k));
    }
}

void KERN_FV_Power(uint32_t n, const float* x, float* dst)
{
    const float dc = x[0];
    const float ny = x[1];
    Run_Powers(
        n, x, [=](uint32_t k, float power) { dst[k] = power; },
        [=](uint32_t k, F8 low, F8 high) { F_Store_Even(dst + k, low, high); });
    dst[0] = F_Mul(dc, dc);
    dst[n / 2] = F_Mul(ny, ny);
}

void KERN_FV_PowerAcc(uint32_t n, const float* x, float* acc)
{
    Run_Powers(
        n, x, [=](uint32_t k, float power) { acc[k] = F_Add(acc[k], power); },
        [=](uint32_t k, F8 low, F8 high) {
            float power[8];
            F_Store_Even(power, low, high);
            F_Store(acc + k, F_Add(F_Load<F8>(acc + k), F_Load<F8>(power)));
        });
    acc[0] = F_MulAdd(x[0], x[0], acc[0]);
    acc[n / 2] = F_MulAdd(x[1], x[1], acc[n / 2]);
}

// ---- Neighbouring bins ----

// 2 * here plus the turned difference of the neighbours.
template <class F> static inline F Sine_Bin(F before, F here, F behind)
{
    const F lower = F_Swap(before); // (im, re) of the bin below
    const F upper = F_Swap(behind);
    return F_Sub(F_MulAdd(F_Set<F>(2.0f), here, F_Blend(lower, upper)), F_Blend(upper, lower));
}

// Upward in place. What a block overwrites and the next one needs is loaded before it is stored;
// bins 1 and M - 1 border on the real bins and stand alone.
void KERN_FV_RaisedSine(uint32_t n, float* x)
{
    const uint32_t last = n - 2; // slot of bin M - 1
    const float dc = x[0];
    const float ny = x[1];
    const float new_dc = 2.0f * (dc - x[3]);
    const float new_ny = 2.0f * (ny + x[last + 1]);
    const float last_re = F_MulAdd(2.0f, x[last], x[last - 1]) - 0.0f;
    const float last_im = F_MulAdd(2.0f, x[last + 1], ny) - x[last - 2];

    float below[2] = {x[2], x[3]}; // the old bin 1
    const float first_re = F_MulAdd(2.0f, x[2], 0.0f) - x[5];
    const float first_im = F_MulAdd(2.0f, x[3], x[4]) - dc;

    uint32_t slot = 4;
    F8 before = F_Set<F8>(0.0f);
    if (slot + 8 <= last) {
        before = F_Load<F8>(x + slot - 2);
        // The load ahead for the next block reaches eight slots beyond this one's last pair.
        for (; slot + 14 <= n; slot += 8) {
            const F8 next_before = F_Load<F8>(x + slot + 6);
            const F8 result = Sine_Bin(before, F_Load<F8>(x + slot), F_Load<F8>(x + slot + 2));
            below[0] = x[slot + 6];
            below[1] = x[slot + 7];
            F_Store(x + slot, result);
            before = next_before;
        }
    }
    for (; slot < last; slot += 2) {
        const float re = x[slot];
        const float im = x[slot + 1];
        x[slot] = F_MulAdd(2.0f, re, below[1]) - x[slot + 3];
        x[slot + 1] = F_MulAdd(2.0f, im, x[slot + 2]) - below[0];
        below[0] = re;
        below[1] = im;
    }
    x[0] = new_dc;
    x[1] = new_ny;
    x[2] = first_re;
    x[3] = first_im;
    x[last] = last_re;
    x[last + 1] = last_im;
}

// Upward in place, as above.
void KERN_HFV_Smooth(uint32_t n, float* h)
{
    const uint32_t top = n / 2;
    const float new_first = 2.0f * (h[0] + h[1]);
    const float new_last = 2.0f * (h[top - 1] + h[top]);
    uint32_t j = 1;
    F8 before = F_Set<F8>(0.0f);
    float below = h[0];
    if (j + 15 <= top + 1) {
        before = F_Load<F8>(h + j - 1);
        for (; j + 15 <= top + 1; j += 8) {
            const F8 next_before = F_Load<F8>(h + j + 7);
            const F8 here = F_Load<F8>(h + j);
            const F8 behind = F_Load<F8>(h + j + 1);
            below = h[j + 7];
            F_Store(h + j, F_Add(F_Add(before, here), F_Add(here, behind)));
            before = next_before;
        }
    }
    for (; j < top; j++) {
        const float here = h[j];
        h[j] = (below + here) + (here + h[j + 1]);
        below = here;
    }
    h[0] = new_first;
    h[top] = new_last;
}

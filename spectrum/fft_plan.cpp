// The plan of a transform: how large it is, what lies where in it, and the value of every table
// entry. Angles and functions are double, and each value is rounded to float once, so the tables do
// not depend on the processor. The sine is taken of the angle plus a whole turn: index 0 then
// stores the small number that the sine of the double 2 pi is, not 0.
#include "spectrum/fft.h"

#include <cmath>

static constexpr double Two_Pi = 6.283185307179586;
static constexpr uint64_t Head_Pairs = 4; // a head counts as four pairs
static_assert(sizeof(FftComplexPlan) == Head_Pairs * sizeof(FftPair));
static_assert(sizeof(FftRealPlan) == Head_Pairs * sizeof(FftPair));

// The sizes v run in 64 bits, so that the walk ends for every 32-bit size.
static uint64_t Chain_Pairs(uint64_t first, uint32_t n)
{
    uint64_t pairs = 0;
    for (uint64_t v = first; v <= n; v *= 4) {
        pairs += v / 2 + v / 4;
    }
    return pairs;
}

uint64_t FFT_ComplexPlan_Size(uint32_t n)
{
    return (Chain_Pairs(16, n) + Chain_Pairs(8, n) + Head_Pairs) * sizeof(FftPair);
}

uint64_t FFT_RealPlan_Size(uint32_t N)
{
    uint64_t pairs = Head_Pairs;
    for (uint64_t v = 8; v <= N; v *= 2) {
        pairs += v / 4;
    }
    return FFT_ComplexPlan_Size(N / 2) + pairs * sizeof(FftPair);
}

// ---- Entries ----

static FftPair Pair_Of(double index, double step)
{
    const double x = index * step;
    return {static_cast<float>(cos(x)), static_cast<float>(sin(x + Two_Pi))};
}

// One real stage table; returns the first place behind it.
static FftPair* Write_Stage(FftPair* to, uint64_t v)
{
    const double step = Two_Pi / static_cast<double>(v);
    for (uint64_t k = 1; k <= v / 4; k++) {
        const FftPair pair = Pair_Of(static_cast<double>(k), step);
        *to++ = {-pair.cosine, -pair.sine};
    }
    return to;
}

// The radix-4 tables of one chain, a group for the fourth, the third and the second quarter;
// returns the first place behind them.
static FftPair* Write_Chain(FftPair* to, uint64_t first, uint32_t n)
{
    constexpr uint64_t Factors[] = {3, 1, 2};
    for (uint64_t v = first; v <= n; v *= 4) {
        const double step = Two_Pi / static_cast<double>(v);
        for (uint64_t j = 0; j < v / 4; j += 2) {
            for (const uint64_t factor : Factors) {
                *to++ = Pair_Of(static_cast<double>(factor * j), step);
                *to++ = Pair_Of(static_cast<double>(factor * (j + 1)), step);
            }
        }
    }
    return to;
}

void FFT_ComplexPlan_Init(uint32_t n, void* block)
{
    FftComplexPlan* plan = static_cast<FftComplexPlan*>(block);
    FftPair* even = reinterpret_cast<FftPair*>(plan + 1);
    FftPair* odd = Write_Chain(even, 16, n);
    Write_Chain(odd, 8, n);
    plan->size = n;
    plan->evenTables = even;
    plan->oddTables = odd;
    plan->unused = 0;
}

void FFT_RealPlan_Init(uint32_t N, void* block)
{
    FftRealPlan* plan = static_cast<FftRealPlan*>(block);
    FftPair* to = reinterpret_cast<FftPair*>(plan + 1);
    plan->size = N;
    plan->stageTables = to;
    for (uint64_t v = 8; v <= N; v *= 2) {
        to = Write_Stage(to, v);
    }
    plan->complexPlan = reinterpret_cast<FftComplexPlan*>(to);
    plan->unused = 0;
    FFT_ComplexPlan_Init(N / 2, plan->complexPlan);
}

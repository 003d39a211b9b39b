// Fourier transforms of power-of-two sizes on 32-bit floats: a plan of tables in the caller's
// memory, complex transforms, and real transforms with a packed spectrum. The same input gives the
// same bits on every processor, in place and out of place, and with every plan that is large
// enough.
//
//   uint64_t bytes = FFT_RealPlan_Size(1024);      // once
//   FftRealPlan* plan = memory of that many bytes, on the boundary of a pointer
//   FFT_RealPlan_Init(1024, plan);
//   FFT_Real_Forward(plan, 1024, samples, spectrum);   // any number of times, also for 8 to 512
//   FFT_Real_Inverse(plan, 1024, spectrum, samples);   // gives the samples back
//
// Threads: nothing here keeps state. A plan is written by its init only and then read-only, so any
// number of threads may share one. Calls on different buffers may run at the same time.
// Errors: nothing is tested and nothing is reported. A size that is not told to be legal, a plan
// made for a smaller size and buffers that overlap in part are the caller's fault.
// Alignment: a plan needs the boundary of a pointer, a buffer that of a float.
// Floats: subnormal values count as zero under the setting of frame/float_mode.cpp.
#pragma once

#include <cstdint>

// One factor: cosine and sine of an angle.
struct FftPair {
    float cosine;
    float sine;
};

// The head of a complex plan; its tables lie behind it in the same block. Both chains of radix-4
// tables, for v points a block, hold v/8 groups of six pairs (cos x, sin x), one group for every
// even j below v/4, with the angles 3j, 3(j+1), j, j+1, 2j, 2(j+1) times 2 pi / v.
struct FftComplexPlan {
    uint32_t size;             // the n given to the init; no transform reads it
    const FftPair* evenTables; // tables of v = 16, 64, 256, ... up to n, directly behind this head
    const FftPair* oddTables;  // tables of v = 8, 32, 128, ... up to n, directly behind those
    uint64_t unused;           // zero; a head takes 32 bytes
};

// The head of a real plan. A stage table for v holds v/4 pairs (-cos x, -sin x) with x = k 2 pi / v
// for k = 1 to v/4; that of size S begins S/4 - 2 pairs behind stageTables.
struct FftRealPlan {
    uint32_t size;               // the N given to the init; no transform reads it
    const FftPair* stageTables;  // tables of v = 8, 16, 32, ... up to N, directly behind this head
    FftComplexPlan* complexPlan; // for N/2 points, directly behind those
    uint64_t unused;             // zero; a head takes 32 bytes
};

// FFT_RealPlan_Size, FFT_ComplexPlan_Size: the bytes of a plan, heads and tables.
//   N, n    any number; one that is no power of two gets the tables of the largest one below it
// Result: 10 N for a power of two N from 8 on, 12 n - 16 for a power of two n from 8 on.
uint64_t FFT_RealPlan_Size(uint32_t N);
uint64_t FFT_ComplexPlan_Size(uint32_t n);

// FFT_RealPlan_Init, FFT_ComplexPlan_Init: write the heads and every table entry.
//   N, n    as given to the size
//   block   memory of that many bytes, which becomes the plan; it need not be cleared, and nothing
//           needs tearing down
// All sines and cosines are computed here, in double, and rounded to float once.
void FFT_RealPlan_Init(uint32_t N, void* block);
void FFT_ComplexPlan_Init(uint32_t n, void* block);

// FFT_Complex_Forward: out[k] = sum of in[m] exp(-2 pi i m k / n), FFT_Complex_Inverse: the same
// with +2 pi i. Neither scales, so the inverse of the forward gives n times the input.
//   plan     made for n or a larger size
//   n        points: a power of two from 4 on; 2 also, with two buffers
//   in, out  2n floats, real and imaginary part of each point side by side, both in natural order.
//            One and the same pointer, or no overlap at all; then in is left unchanged.
// Memory: none but in, out and the plan.
// Source: decimation in time, Cooley and Tukey, Math. Comp. 19 (1965); one radix-2 or radix-4 first
// stage on the bit-reversed points, then radix-4 stages (Oppenheim and Schafer, Discrete-Time
// Signal Processing, ch. 9).
void FFT_Complex_Forward(const FftComplexPlan* plan, uint32_t n, const float* in, float* out);
void FFT_Complex_Inverse(const FftComplexPlan* plan, uint32_t n, const float* in, float* out);

// FFT_Real_Forward: twice the discrete Fourier transform X[k] = sum of in[m] exp(-2 pi i m k / N).
// FFT_Real_Inverse: the samples whose FFT_Real_Forward is in; the factor 0.5 / N is applied inside.
//   plan     made for N or a larger size
//   N        samples: a power of two from 8 on
//   in, out  N floats each: samples on one side, on the other the packed spectrum
//                slot 0: 2 X[0]    slot 1: 2 X[N/2]    slots 2k, 2k+1: 2 X[k], k = 1 to N/2 - 1
//            One and the same pointer, or no overlap at all; then in is left unchanged.
// Memory: none but in, out and the plan.
// Source: the real transform from a complex one of half the size, Brigham, The Fast Fourier
// Transform and Its Applications, sec. 9.3.
void FFT_Real_Forward(const FftRealPlan* plan, uint32_t N, const float* in, float* out);
void FFT_Real_Inverse(const FftRealPlan* plan, uint32_t N, const float* in, float* out);

// FFT_Real_Post: untangles, in place, the N/2-point transform of the sample pairs into the packed
// spectrum: the second half of FFT_Real_Forward.
//   N       a power of two from 8 on
//   table   the stage table of size N
//   buffer  N floats
void FFT_Real_Post(uint32_t N, const FftPair* table, float* buffer);

// FFT_Real_Pre: tangles a packed spectrum, times scale, into the points whose inverse transform is
// the samples: the first half of FFT_Real_Inverse. Slots 0 and 1 are neither read nor written.
//   N        a power of two from 8 on
//   table    the stage table of size N
//   in, out  N floats; one and the same pointer, or no overlap at all
//   scale    0.5 / N undoes FFT_Real_Forward
void FFT_Real_Pre(uint32_t N, const FftPair* table, const float* in, float* out, float scale);

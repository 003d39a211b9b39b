// The inner loops under all numeric layers: one family of small kernels on arrays of 32-bit floats,
// and the spectrum kernels on packed spectra.
//
// The family, from KERN_Zero to KERN_Sqrt:
//   object   ignored
//   n        floats in each array, below 2^32; 0 touches no memory
//   arrays   the caller's; an array may be the destination as well; overlap at an offset is not
//            supported, since groups are loaded ahead of the stores
//   aligned  means that every array of the call starts on a 16-byte boundary. If one does not, the
//            whole length runs element by element. An element-wise result does not depend on it.
//   larger, smaller   give NaN if either operand is one; +0 is larger than -0
//   errors   nothing is tested; NaN, infinity and division by zero pass into the data
// Rounded: each operation rounds once. Fused: a product and a sum share one rounding. Subnormal
// operands and results count as zero (frame/float_mode.cpp). No kernel allocates or holds state.
#pragma once

#include "frame/object.h"

#include <cstdint>

// ---- Filling and copying ----

void KERN_Zero(ObjectHeader* object, uint32_t n, float* dst);
void KERN_Fill(ObjectHeader* object, uint32_t n, float* dst, float value);
// All bits of the elements, those of a NaN or a subnormal included.
void KERN_Copy(ObjectHeader* object, uint32_t n, const float* src, float* dst);

// ---- Two arrays, rounded ----

void KERN_Add(ObjectHeader* object, uint32_t n, const float* a, const float* b, float* dst);
void KERN_Add_InPlace(ObjectHeader* object, uint32_t n, const float* a, float* b); // b = a + b
void KERN_Sub(ObjectHeader* object, uint32_t n, const float* a, const float* b, float* dst);
void KERN_Sub_InPlace(ObjectHeader* object, uint32_t n, const float* a, float* b); // b = b - a
void KERN_Mul(ObjectHeader* object, uint32_t n, const float* a, const float* b, float* dst);
void KERN_Mul_InPlace(ObjectHeader* object, uint32_t n, const float* a, float* b); // b = a * b
void KERN_Max(ObjectHeader* object, uint32_t n, const float* a, const float* b, float* dst);
void KERN_Min(ObjectHeader* object, uint32_t n, const float* a, const float* b, float* dst);
// (a * s) / b: a rounded product, then a true division.
void KERN_Scale_Div(ObjectHeader* object, uint32_t n, const float* a, const float* b, float* dst,
                    float s);

// ---- One array and scalars, rounded ----

void KERN_Neg(ObjectHeader* object, uint32_t n, const float* src, float* dst);
void KERN_Add_Scalar(ObjectHeader* object, uint32_t n, const float* src, float* dst, float s);
void KERN_Scale(ObjectHeader* object, uint32_t n, const float* src, float* dst, float s);
void KERN_Scale_InPlace(ObjectHeader* object, uint32_t n, float* x, float s);
void KERN_Max_Scalar(ObjectHeader* object, uint32_t n, const float* src, float* dst, float s);
void KERN_Min_Scalar(ObjectHeader* object, uint32_t n, const float* src, float* dst, float s);
// The smaller of limit and (the larger of -limit and src). A flag that is not null receives 0,
// whether or not an element was limited, also for n = 0.
void KERN_Clamp(ObjectHeader* object, uint32_t n, const float* src, float* dst, float limit,
                uint64_t* flag);

// ---- Accumulating, fused ----

void KERN_MulAcc(ObjectHeader* object, uint32_t n, const float* a, const float* b, float* acc);
void KERN_Scale_Acc(ObjectHeader* object, uint32_t n, const float* src, float* dst, float s);
// src * a rounded, then dst * b fused with the sum.
void KERN_Mix(ObjectHeader* object, uint32_t n, const float* src, float* dst, float a, float b);

// ---- Reductions ----

// KERN_Sum, KERN_SumSquares, KERN_Dot: the sum of the elements, of their squares, of a[i] * b[i],
// squares and products fused with their addition.
//   out   one float, written last; 0 for n = 0
// Order: aligned and with n of 4 or more, element i goes to partial sum i mod 4, then
// (p0 + p1) + (p2 + p3), then the n mod 4 elements left one by one. Else one by one from 0. So the
// last bits depend on where the data lies.
// Source: split summation, Higham, Accuracy and Stability of Numerical Algorithms, 2nd ed., ch. 4.
void KERN_Sum(ObjectHeader* object, uint32_t n, const float* src, float* out);
void KERN_SumSquares(ObjectHeader* object, uint32_t n, const float* src, float* out);
void KERN_Dot(ObjectHeader* object, uint32_t n, const float* a, const float* b, float* out);
// KERN_SumSquares of the n elements from src[start] on; aligned if that element is.
void KERN_SumSquares_Range(ObjectHeader* object, uint32_t n, const float* src, uint32_t start,
                           float* out);
// The smallest and the largest element; n must be at least 1.
void KERN_Min_Value(ObjectHeader* object, uint32_t n, const float* src, float* out);
void KERN_Max_Value(ObjectHeader* object, uint32_t n, const float* src, float* out);

// ---- Estimates and roots ----

// The FRECPE estimate of 64-bit Arm under flush-to-zero, about eight bits, on every processor: 1.0
// gives 0.998046875; a zero or subnormal an infinity of its sign; 2^126 and above, infinities
// included, a zero of their sign; a NaN itself, made quiet.
void KERN_Recip_Estimate(ObjectHeader* object, uint32_t n, const float* src, float* dst);
// The rounded square root. It takes no object, like the spectrum kernels.
void KERN_Sqrt(uint32_t n, const float* src, float* dst);

// ---- Spectrum kernels ----

// n is the length of the FV in floats; with M = n / 2:
//   FV    n floats      dc, ny, re[1], im[1], ..., re[M-1], im[M-1]
//   HFV   M + 1 floats  h[0] for dc, ..., h[M] for ny
// No alignment is asked for or tested. An array may be the destination as well; else arrays must
// not overlap. Only the lengths told work, and none is tested. dc and ny are real and stand alone.
// A complex product rounds its first product, and fuses the second one:
//   a * b         re = fma(-a.im, b.im, a.re * b.re)   im = fma( a.im, b.re, a.re * b.im)
//   conj(a) * b   re = fma( a.im, b.im, a.re * b.re)   im = fma(-a.im, b.re, a.re * b.im)
// A power is re^2 rounded with im^2 fused to it.

// n: 4, 8, 16, or a multiple of 16 from 32 on.
void KERN_FV_Mul(uint32_t n, const float* a, const float* b, float* dst);
void KERN_FV_Mul_Conj(uint32_t n, const float* a, const float* b, float* dst);
void KERN_FV_Mul_HFV(uint32_t n, const float* a, const float* h, float* dst);

// n: 4, 8, 16, or a multiple of 32. A bin's product is added to acc by a rounded addition; dc and
// ny are fused.
void KERN_FV_MulAcc(uint32_t n, const float* a, const float* b, float* acc);
void KERN_FV_MulAcc_Conj(uint32_t n, const float* a, const float* b, float* acc);

// n: 2, 4, 8, 16, or a multiple of 32 floats, all of them re, im pairs, with no dc and ny. Each
// product is added to acc by a rounded addition.
void KERN_Complex_MulAcc(uint32_t n, const float* a, const float* b, float* acc);

// n: 4, 8, 16, or a multiple of 32 floats of any content.
void KERN_Add_Block(uint32_t n, const float* a, const float* b, float* dst);

// n: a multiple of 4. dst = a * s / h; dc, ny and bin 1 as (a * s) / h, every later bin as a * t
// with t = s / h.
void KERN_FV_Scale_Div_HFV(uint32_t n, const float* a, const float* h, float* dst, const float* s);
// n: a multiple of 4. dst = conj(a) * s / h: (a * s) / h, and (a * -s) / h for imaginary parts.
void KERN_FV_Conj_Scale_Div_HFV(uint32_t n, const float* a, const float* h, float* dst,
                                const float* s);

// n: a multiple of 4. dc^2 + ny^2 + 2 * (the sum of all bins' powers): four partial sums take the
// squares of slots 4 and up, fused, slot i to partial sum i mod 4; with b the power of bin 1,
// t = b + ((p0 + p1) + (p2 + p3)), and the result is fma(ny, ny, dc * dc) + (t + t).
float KERN_FV_Energy(uint32_t n, const float* x);

// n: a multiple of 4. dst, an HFV: the powers, dc * dc in slot 0 and ny * ny in slot M. dst may be
// the array of x.
void KERN_FV_Power(uint32_t n, const float* x, float* dst);
// acc, an HFV: adds the powers, rounded; dc and ny are fused.
void KERN_FV_PowerAcc(uint32_t n, const float* x, float* acc);

// n: a multiple of 4 from 8 on. In place: the spectrum of the signal times 2 + 2 sin(2 pi m / n).
// With bin 0 as (dc, 0), bin M as (ny, 0) and all values the old ones:
//   re[k] = fma(2, re[k], im[k-1]) - im[k+1]     im[k] = fma(2, im[k], re[k+1]) - re[k-1]
//   dc = 2 * (dc - im[1])                        ny = 2 * (ny + im[M-1])
void KERN_FV_RaisedSine(uint32_t n, float* x);

// n: 4, or a multiple of 8. In place on an HFV, mirrored at both ends:
//   h[j] = (h[j-1] + h[j]) + (h[j] + h[j+1])
//   h[0] = 2 * (h[0] + h[1])                     h[M] = 2 * (h[M-1] + h[M])
// The gain is 4.
void KERN_HFV_Smooth(uint32_t n, float* h);

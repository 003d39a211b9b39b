// Packed spectra: conversions, arithmetic, levels and band averages on the spectrum of N real
// samples, in the layout that FFT_Real_Forward gives.
//
//   N       the transform length: even, at least 2; also for the operations on HFV
//   FV      N floats        dc, ny, re[1], im[1], re[2], im[2], ..., re[M-1], im[M-1]   M = N / 2
//   HFV     M + 1 floats    h[0] for dc, h[1], ..., h[M] for ny: one real value a bin
//   pairs   N + 2 floats    re[0], 0, re[1], im[1], ..., re[M], 0: bin 0 is dc, bin M is ny
// An FV or HFV is a plain array of the caller's. dc and ny are real, and stand alone: below, a line
// with [k] tells bins 1 to M - 1 and what follows the semicolon tells dc and ny, each by itself.
// The factor of 2 that FFT_Real_Forward puts into every slot is not known here.
//   object   ignored
//   order    N, the sources, the destination, scalars; a number goes to the out pointer, last
//   arrays   dst may be any source FV, also where it is an HFV, unless told otherwise; no other
//            overlap
//   errors   nothing is tested; NaN, infinity and division by zero pass into the data
// Rounding: each operation rounds once. A product next to a sum shares one rounding with it. Of a
// sum of two products the first as written is rounded and the second fused with the sum, so:
//   re^2 + im^2   is fma(im, im, re * re), the power of a bin
//   a * b         re = fma(-a.im, b.im, a.re * b.re)   im = fma( a.im, b.re, a.re * b.im)
//   conj(a) * b   re = fma( a.im, b.im, a.re * b.re)   im = fma(-a.im, b.re, a.re * b.im)
// Threads: no state. Nothing here allocates.
#pragma once

#include "frame/object.h"

#include <cstdint>

// ---- Conversions ----

// Slots 2 to N - 1 copied; the imaginary parts of both outer bins are dropped unread, or 0. _D: the
// pairs are doubles, rounded to float or widened, and the arrays must not overlap.
void FV_From_Pairs(ObjectHeader* object, uint32_t N, const float* src, float* dst);
void FV_From_Pairs_D(ObjectHeader* object, uint32_t N, const double* src, float* dst);
void FV_To_Pairs(ObjectHeader* object, uint32_t N, const float* src, float* dst);
void FV_To_Pairs_D(ObjectHeader* object, uint32_t N, const float* src, double* dst);
// dst[k] = (src[k], 0). Runs downward, so that dst may be src.
void FV_From_HFV(ObjectHeader* object, uint32_t N, const float* src, float* dst);
// dst[k] = src.re[k]; dc and ny copied. Runs upward, so that dst may be src.
void FV_Real_To_HFV(ObjectHeader* object, uint32_t N, const float* src, float* dst);

// ---- Filling and access ----

void FV_Zero(ObjectHeader* object, uint32_t N, float* dst);
void FV_Copy(ObjectHeader* object, uint32_t N, const float* src, float* dst);
// dst[k] = (re, im); re.
void FV_Fill(ObjectHeader* object, uint32_t N, float* dst, float re, float im);
// dst.im[k] = value; unchanged, like all real parts.
void FV_Fill_Imag(ObjectHeader* object, uint32_t N, float* dst, float value);
// Bin k, 0 to M. For the outer two *im is left alone, or im ignored.
void FV_Get_Bin(ObjectHeader* object, uint32_t N, uint32_t k, const float* src, float* re,
                float* im);
void FV_Set_Bin(ObjectHeader* object, uint32_t N, uint32_t k, float* dst, float re, float im);
// FV_Copy_Range: bins k0 to k1 - 1 of src to bin j0 of dst and up.
//   k0, k1   2 min(M, k1) is at least max(2 k0, 2), and k1 at most M + 1
//   dst      not src, unless j0 is k0
// dc is copied if k0 or j0 is 0, ny if k1 is M + 1; the slots between go from max(2 k0, 2) on to
// max(2 j0, 2) on. So with k0 = 5, j0 = 0 bin 5 lands at bin 1; with k0 = 0, j0 = 2 bin 1 at bin 2.
void FV_Copy_Range(ObjectHeader* object, uint32_t N, const float* src, uint32_t k0, uint32_t k1,
                   uint32_t ignored_k, uint32_t j0, uint32_t ignored_j, float* dst);

// ---- Complex arithmetic ----

void FV_Sub(ObjectHeader* object, uint32_t N, const float* a, const float* b, float* dst); // a - b
void FV_Sub_InPlace(ObjectHeader* object, uint32_t N, const float* a, float* b);           // b -= a
void FV_Scale(ObjectHeader* object, uint32_t N, float* x, float s);                        // x *= s
// The sign of every slot turned, zeros and NaNs included.
void FV_Neg(ObjectHeader* object, uint32_t N, const float* src, float* dst);
// b[k] = a[k] * b[k]; a * b. Rounded products: a.re * b.re, a.re * b.im; those of a.im are fused.
void FV_Mul(ObjectHeader* object, uint32_t N, const float* a, float* b);
// b[k] = conj(a[k]) * b[k]; a * b. Rounded and fused as in FV_Mul.
void FV_Mul_Conj(ObjectHeader* object, uint32_t N, const float* a, float* b);
// b[k] *= h[k]; b.dc * h[0], b.ny * h[M].
void FV_Mul_HFV(ObjectHeader* object, uint32_t N, const float* h, float* b);
// acc[k] += a[k] * h[k], both parts fused; acc.dc += a.dc * h[0], acc.ny += a.ny * h[M], fused.
void FV_MulAcc_HFV(ObjectHeader* object, uint32_t N, const float* a, const float* h, float* acc);
// dst[k] = a[k] * conj(b[k]) * t, with t = 1 / the power of b[k]; a / b.
// re = fma(a.im, b.im, a.re * b.re) * t, im = fma(-a.re, b.im, a.im * b.re) * t.
void FV_Div(ObjectHeader* object, uint32_t N, const float* a, const float* b, float* dst);
// dst[k] = (a.re[k] * t, a.im[k] * t), with t = 1 / h[k]; a.dc / h[0], a.ny / h[M].
void FV_Div_HFV(ObjectHeader* object, uint32_t N, const float* a, const float* h, float* dst);
// FV_Div_HFV by max(floor, h), bin by bin and for dc and ny; floor is an HFV. Of the maximum see
// FV_Max_Power.
void FV_Div_HFV_Floor(ObjectHeader* object, uint32_t N, const float* a, const float* h,
                      const float* floor, float* dst);
// dst[k] = (a.re[k] * t, -a.im[k] * t), with t = 1 / the power of a[k]; 1 / a.
void FV_Recip(ObjectHeader* object, uint32_t N, const float* a, float* dst);
// dst[k] = (e * cos(a.im[k]), e * sin(a.im[k])), with e = expf(a.re[k]); expf(a).
void FV_Exp(ObjectHeader* object, uint32_t N, const float* a, float* dst);
// x.im[k] = -x.im[k]; unchanged.
void FV_Conj(ObjectHeader* object, uint32_t N, float* x);
// x[k] *= c + i s: re = fma(-s, im, c * re), im = fma(s, re, c * im); x * c.
void FV_Rotate(ObjectHeader* object, uint32_t N, float* x, float c, float s);
// FV_Delay: the spectrum of the signal d samples later; d may have a fraction.
//   src   null gives the delay's own spectrum: dc 1, ny the factor below, dst[k] = (cos, -sin)
// dst[k] = src[k] * (cos - i sin) of the angle k * phi, one float product each, with phi = 2 d pi /
// N in double, rounded to float: re = fma(sin, im, cos * re), im = fma(-sin, re, cos * im). dc
// stays; ny is multiplied by cos(d pi), in double, rounded to float.
void FV_Delay(ObjectHeader* object, uint32_t N, const float* src, float* dst, float d);
// FV_MulAcc_Range: acc[k] += a[k] * b[k] for bins k0 to k1 - 1. It takes no object.
//   k0, k1   k1 is at least 1 and at most M + 1; 2 min(M, k1) is at least max(2 k0, 2)
// A product is that of FV_Mul, added to acc by a rounded addition (KERN_Complex_MulAcc). dc, if k0
// is 0, and ny, if k1 is M + 1, are fused.
void FV_MulAcc_Range(uint32_t N, const float* a, const float* b, uint32_t k0, uint32_t k1,
                     float* acc);

// ---- From FV to HFV ----

// dst[k] = the rounded root of the rounded power; |dc|, |ny|. A power beyond the largest float
// gives infinity, one below the smallest normal float 0.
void FV_Abs(ObjectHeader* object, uint32_t N, const float* src, float* dst);
// dst[k] = |re| + |im|; |dc|, |ny|.
void FV_Abs_L1(ObjectHeader* object, uint32_t N, const float* src, float* dst);
// An estimate within 5 percent: dst[k] = fma(0.375, the smaller of |re| and |im|, 0.96875 * the
// larger); |dc|, |ny|, exact.
void FV_Abs_Fast(ObjectHeader* object, uint32_t N, const float* src, float* dst);
// dst[k] = the real part of conj(a[k]) * b[k], fma(a.im, b.im, a.re * b.re); a * b.
void FV_Cross_Real(ObjectHeader* object, uint32_t N, const float* a, const float* b, float* dst);
// acc, an HFV: adds the same, rounded; a * b, fused.
void FV_CrossAcc_Real(ObjectHeader* object, uint32_t N, const float* a, const float* b, float* acc);

// ---- To one number ----

// The largest of dc^2, ny^2 and the powers of the bins. A quiet NaN loses to a number.
void FV_Max_Power(ObjectHeader* object, uint32_t N, const float* src, float* out);
// FV_Energy_Range: twice the sum of the powers of bins k0 to k1 - 1, plus dc^2 if k0 is 0, plus
// ny^2 if k1 is M + 1, these two fused.
//   k0, k1   k1 is at most M + 1; a range without bins gives the outer terms that it holds, or 0
// Order: powers are added from bin max(k0, 1) upward to one accumulator, begun at 0.
void FV_Energy_Range(ObjectHeader* object, uint32_t N, const float* src, uint32_t k0, uint32_t k1,
                     float* out);
// Twice the sum of fma(a.im, b.im, a.re * b.re) over the bins, upward from 0, plus a.dc * b.dc,
// plus a.ny * b.ny, these two fused. Of a with itself it is the energy of the full range.
void FV_Inner(ObjectHeader* object, uint32_t N, const float* a, const float* b, float* out);

// ---- On HFV: a member of vector/kern.h or vector/vec.h over its N / 2 + 1 values ----

void HFV_Zero(ObjectHeader* object, uint32_t N, float* dst);
void HFV_Fill(ObjectHeader* object, uint32_t N, float* dst, float value);
void HFV_Copy(ObjectHeader* object, uint32_t N, const float* src, float* dst);
void HFV_Add(ObjectHeader* object, uint32_t N, const float* a, const float* b, float* dst);
void HFV_Add_InPlace(ObjectHeader* object, uint32_t N, const float* a, float* b); // b = a + b
void HFV_Sub(ObjectHeader* object, uint32_t N, const float* a, const float* b, float* dst);
void HFV_Sub_InPlace(ObjectHeader* object, uint32_t N, const float* a, float* b); // b = b - a
void HFV_Mul(ObjectHeader* object, uint32_t N, const float* a, const float* b, float* dst);
void HFV_Mul_InPlace(ObjectHeader* object, uint32_t N, const float* a, float* b); // b = a * b
void HFV_MulAcc(ObjectHeader* object, uint32_t N, const float* a, const float* b, float* acc);
void HFV_Div(ObjectHeader* object, uint32_t N, const float* a, const float* b, float* dst);
void HFV_Scale(ObjectHeader* object, uint32_t N, float* x, float s);
// KERN_Recip_Estimate, about eight bits; no division.
void HFV_Recip_Estimate(ObjectHeader* object, uint32_t N, const float* src, float* dst);
void HFV_Square(ObjectHeader* object, uint32_t N, const float* src, float* dst);
void HFV_Sqrt(ObjectHeader* object, uint32_t N, const float* src, float* dst);
void HFV_InvSqrt(ObjectHeader* object, uint32_t N, const float* src, float* dst);
// In place, of the larger of x and floor.
void HFV_PowerToDb(ObjectHeader* object, uint32_t N, float* x, float floor);
void HFV_AmplitudeToDb(ObjectHeader* object, uint32_t N, float* x, float floor);
void HFV_Pow10(ObjectHeader* object, uint32_t N, float* x); // in place

// ---- Between lengths ----

// HFV_Reduce: band averages, from length N to N2, at most N.
//   src, dst   N / 2 + 1 and N2 / 2 + 1 floats
// With R = N / N2, cut to an integer, and c = R - R / 2: dst[j] is the sum of the R + 1 values from
// src[c + (j - 1) R] on, upward from 0, times the rounded 1 / (R + 1). Neighbouring bands share a
// value. The first and the last value are copied. R of 1 still averages two values.
void HFV_Reduce(ObjectHeader* object, uint32_t N, uint32_t N2, const float* src, float* dst);
// HFV_Expand: straight lines, from length N to N2, at least N.
//   src, dst   N / 2 + 1 and N2 / 2 + 1 floats
// With R = N2 / N, cut to an integer: from dst[i R] on R values, src[i] first and each later one
// the one before it plus ((src[i + 1] - src[i]) times the rounded 1 / R). The last value is copied.
void HFV_Expand(ObjectHeader* object, uint32_t N, uint32_t N2, const float* src, float* dst);
// Copies N floats, not N / 2 + 1; nothing if src is dst.
void HFV_Copy_Distinct(ObjectHeader* object, uint32_t N, uint32_t ignored, const float* src,
                       float* dst);
// dst[0] = src[0], dst[1] = 0; N is ignored as well.
void HFV_Set_Dc(ObjectHeader* object, uint32_t N, uint32_t ignored_a, uint32_t ignored_b,
                const float* src, float* dst);

// Plain operations on real vectors: copies, fills, element-wise arithmetic, reductions, extrema,
// level conversions, and a few signal operations.
//
//   object   used only by the members that take scratch memory: VEC_Interpolate_Sinc, VEC_Rotate
//            and VEC_Correlation, through OBJ_Malloc_T. Exhausted memory is their only failure.
//   n        elements; 0 touches nothing, and a reduction stores what is told beside it
//   order    n, the sources, the destination, scalars; an offset counts elements and stands behind
//            its array; results go to the out pointers, last among the pointers
//   arrays   the caller's. Element-wise members take one array as source and destination; overlap
//            at an offset is not supported.
// Names: _D 64-bit floats, _16, _32 and _64 elements of that many bits of any kind, _I signed
// 32-bit integers; else 32-bit floats. Fused: a product and a sum share one rounding. Sums run from
// the first element to the last in one accumulator, unless they are a kernel's. The maximum and
// minimum of two floats are maxNum and minNum of IEEE 754-2008: a quiet NaN loses to a number, +0
// is above -0. Errors of arithmetic are not reported: infinities and NaNs stand in the data.
#pragma once

#include "frame/object.h"

#include <cstdint>

// ---- Copying and conversion ----

void VEC_Copy(ObjectHeader* object, uint64_t n, const float* src, float* dst);
void VEC_Convert_FF(ObjectHeader* object, uint64_t n, const float* src, float* dst); // = VEC_Copy
void VEC_Convert_DF(ObjectHeader* object, uint64_t n, const double* src, float* dst);
void VEC_Convert_FD(ObjectHeader* object, uint64_t n, const float* src, double* dst);
void VEC_Convert_DD(ObjectHeader* object, uint64_t n, const double* src, double* dst);
// Block copies; the arrays must not overlap.
void VEC_Copy_16(ObjectHeader* object, uint64_t n, const void* src, void* dst);
void VEC_Copy_32(ObjectHeader* object, uint64_t n, const void* src, void* dst);
void VEC_Copy_64(ObjectHeader* object, uint64_t n, const void* src, void* dst);
void VEC_Copy_Range(ObjectHeader* object, uint64_t n, const float* src, uint64_t src_offset,
                    float* dst, uint64_t dst_offset);
// n floats of v from offset from to offset to; the ranges may overlap.
void VEC_Move_Range(ObjectHeader* object, uint64_t n, float* v, uint64_t from, uint64_t to);
// KERN_Copy of the low 32 bits of n; nothing if src is dst.
void VEC_Copy_Distinct(ObjectHeader* object, uint64_t n, uint64_t ignored, const float* src,
                       float* dst);

// ---- Filling and element access ----

void VEC_Fill_32(ObjectHeader* object, uint64_t n, uint32_t value, void* dst);
void VEC_Fill_64(ObjectHeader* object, uint64_t n, uint64_t value, void* dst);
void VEC_Fill_Range(ObjectHeader* object, uint64_t n, float* v, uint64_t offset, float value);
void VEC_Zero_32(ObjectHeader* object, uint64_t n, void* dst);
void VEC_Zero_64(ObjectHeader* object, uint64_t n, void* dst);
void VEC_Zero_Range(ObjectHeader* object, uint64_t n, float* v, uint64_t offset);
// n is not used.
void VEC_Get(ObjectHeader* object, uint64_t n, uint64_t index, const float* v, float* out);
void VEC_Set(ObjectHeader* object, uint64_t n, uint64_t index, float* v, float value);

// ---- Element-wise arithmetic ----

void VEC_Scale_Add(ObjectHeader* object, uint64_t n, const float* src, float* dst,
                   float a); // dst * a + src, fused
// A first-order tracker: y = c * (x - y) + y, the last two fused, where c is a for x < y and b
// otherwise, also for a NaN.
void VEC_Smooth_Asym(ObjectHeader* object, uint64_t n, const float* x, float* y, float a, float b);
// A tracker with a step capped relative to the level: y = m * a + y, fused, where m is the minimum
// of x - y and of y * b + 1, fused.
void VEC_Smooth_Limited(ObjectHeader* object, uint64_t n, const float* x, float* y, float a,
                        float b);
void VEC_Sub_D(ObjectHeader* object, uint64_t n, const double* p, const double* q, double* out);
void VEC_Div(ObjectHeader* object, uint64_t n, const float* p, const float* q, float* out);
// p[n - 1 - i] * q[i]; out must not be p.
void VEC_Mul_Reversed(ObjectHeader* object, uint64_t n, const float* p, const float* q, float* out);
void VEC_Scale_D(ObjectHeader* object, uint64_t n, double* v, double a);
void VEC_Square(ObjectHeader* object, uint64_t n, const float* src, float* dst);
void VEC_Sqrt(ObjectHeader* object, uint64_t n, const float* src, float* dst);
// A rounded root, then a rounded division; no estimate.
void VEC_InvSqrt(ObjectHeader* object, uint64_t n, const float* src, float* dst);
void VEC_Abs(ObjectHeader* object, uint64_t n, const float* src, float* dst);

// ---- Reductions: 0 for n = 0, but for the means, whose 0 / 0 is a NaN ----

void VEC_Sum_Range(ObjectHeader* object, uint64_t n, const float* v, uint64_t offset, float* out);
void VEC_SumAbs(ObjectHeader* object, uint64_t n, const float* v, float* out);
void VEC_SumSquares_D(ObjectHeader* object, uint64_t n, const double* v, double* out); // fused
void VEC_Dot_Range(ObjectHeader* object, uint64_t n, const float* p, const float* q,
                   uint64_t offset, float* out); // fused
// KERN_Sum or KERN_SumSquares, in their order, divided by n as a float; n below 2^32.
void VEC_Mean(ObjectHeader* object, uint64_t n, const float* v, float* out);
void VEC_MeanSquare(ObjectHeader* object, uint64_t n, const float* v, float* out);

// ---- Extrema ----

// The first element, until a later one is strictly greater (or less): of equal values the first
// index wins, and a NaN in the first place stays. The first element is read whatever n is. The
// index of VEC_Max_Index_Range counts from the start of v.
void VEC_Max_Range(ObjectHeader* object, uint64_t n, const float* v, uint64_t offset, float* out);
void VEC_Max_Index(ObjectHeader* object, uint64_t n, const float* v, float* out, uint64_t* index);
void VEC_Max_Index_Range(ObjectHeader* object, uint64_t n, const float* v, uint64_t offset,
                         float* out, uint64_t* index);
void VEC_Min_Index(ObjectHeader* object, uint64_t n, const float* v, float* out, uint64_t* index);
void VEC_Max_Index_I(ObjectHeader* object, uint64_t n, const int32_t* v, int32_t* out,
                     uint64_t* index);
void VEC_Min_Index_I(ObjectHeader* object, uint64_t n, const int32_t* v, int32_t* out,
                     uint64_t* index);
// The signed value of largest magnitude: of the maximum and the minimum, both begun at 0, the
// maximum if their sum is above 0, else the minimum; so -3 for 3, -3.
void VEC_Peak(ObjectHeader* object, uint64_t n, const float* v, float* out);
// Both extremes, three comparisons for two elements. An odd n begins with the first element, an
// even one with the largest finite floats, minimum above maximum. Of a pair p, q with p < q, p goes
// to the minimum and q to the maximum; else the other way round.
void VEC_MinMax(ObjectHeader* object, uint64_t n, const float* v, float* min, float* max);

// ---- Level conversions ----

// 10 or 20 times log10f of the maximum of floor and src. A NaN in src gives the floor's level.
void VEC_PowerToDb(ObjectHeader* object, uint64_t n, const float* src, float* dst, float floor);
void VEC_AmplitudeToDb(ObjectHeader* object, uint64_t n, const float* src, float* dst, float floor);
// 10 to the power src, by way of the double exponential. No division by 10 or 20.
void VEC_Pow10(ObjectHeader* object, uint64_t n, const float* src, float* dst);

// ---- Signal operations ----

// VEC_Interpolate_Sinc: raises the rate by the factor L, at least 1, with a Hann-windowed sinc of
// 8L - 1 taps, four input samples to each side.
//   dst   n * L floats, below 2^31; must not overlap src
// Output j is the sum of tap[j - L * k + 4L - 1] * src[k] over the k within the taps and the input,
// upward from 0.0, each product fused. No normalisation, no reflection at the ends.
// Source: interpolation by a windowed sinc, Crochiere, Rabiner, Multirate Digital Signal
// Processing.
void VEC_Interpolate_Sinc(ObjectHeader* object, uint64_t n, int32_t L, const float* src,
                          float* dst);
// A circular shift in place by any number of places, positive toward higher indices.
void VEC_Rotate(ObjectHeader* object, uint64_t n, int32_t shift, float* v);
void VEC_Reverse_InPlace(ObjectHeader* object, uint64_t n, float* v);
// dst may be src.
void VEC_Reverse(ObjectHeader* object, uint64_t n, const float* src, float* dst);
// The correlation coefficient: each vector less its mean and scaled to energy 1 (or left alone with
// no energy), then KERN_Dot. n below 2^32.
void VEC_Correlation(ObjectHeader* object, uint64_t n, const float* p, const float* q, float* out);

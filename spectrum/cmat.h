// Inversion of a small complex matrix in place.
#pragma once

#include <cstdint>

// CMAT_Invert: Gauss-Jordan elimination without row exchanges.
//   n   rows, at least 1
//   A   4 n^2 floats: n rows of 2 n complex values, each its real part and its imaginary part
//           columns 0 to n - 1      the matrix; the elimination leaves its remains there
//           columns n to 2 n - 1    cleared first; receive the inverse
// Stage k, for k = 0 to n - 1, works on columns k + 1 to k + n; what lies beyond them is zero:
//   v = the reciprocal of the pivot p = A[k][k]: t = 1 / fma(p.im, p.im, p.re * p.re), then
//       (p.re * t, -(p.im * t)); row k is multiplied by v
//   of every other row r, f times row k is subtracted, with f = A[r][k]: the product is rounded,
//       the difference rounded again
// A product of v or f and x: re = fma(-v.im, x.im, v.re * x.re), im = fma(v.im, x.re, v.re * x.im).
// Errors: nothing is tested. A pivot of zero gives infinities and NaNs, also where an exchange of
// rows would have helped. No memory, no state; no alignment is asked for.
// Source: Gauss-Jordan inversion, Higham, Accuracy and Stability of Numerical Algorithms, 2nd ed.,
// sec. 14.4.
void CMAT_Invert(int32_t n, float* A);

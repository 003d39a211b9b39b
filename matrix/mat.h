// Dense matrices as arrays of row pointers: storage, plain arithmetic, direct solvers and the
// constrained solver.
//
// The family:
//   object   used for memory alone
//   matrix   an array of row pointers, each row a block of its own. No size is stored: rows and
//            columns travel as arguments. Element (i, j) is m[i][j]. A column matrix has one
//            column.
//   element  32-bit float without a suffix; _D 64-bit float; _64, _32 and _16 any element of that
//            many bits. Matrices of these three kinds come as untyped pointers, so that any element
//            type fits: an out argument is the address of the caller's matrix variable.
//   order    object, sizes, sources, destination; a float scalar stands last, a 32-bit or 64-bit
//            fill value before its matrix
//   sizes    with 0 rows or 0 columns no element is touched
//   errors   exhausted memory ends in the report and the stop of OBJ_Malloc_C or OBJ_Malloc_T, as
//            does a size in bytes beyond 64 bits. No size, null or shape is tested. NaN, infinity
//            and division by zero pass into the result.
// Rounded: each operation rounds once. Fused: a product and a sum share one rounding. Every sum
// starts at 0.0 and takes its products upward, fused. Subnormals count as zero
// (frame/float_mode.cpp).
#pragma once

#include "frame/object.h"

#include <cstdint>

// ---- Storage ----

// MAT_Alloc_C (persistent memory) and MAT_Alloc_T (scratch): first the array of row pointers, then
// the rows one by one, each on a 16-byte boundary, not cleared. With 0 rows there is only the
// array.
void MAT_Alloc_C(ObjectHeader* object, uint64_t rows, uint64_t columns, float*** out);
void MAT_Alloc_C_D(ObjectHeader* object, uint64_t rows, uint64_t columns, double*** out);
void MAT_Alloc_C_64(ObjectHeader* object, uint64_t rows, uint64_t columns, void* out);
void MAT_Alloc_C_32(ObjectHeader* object, uint64_t rows, uint64_t columns, void* out);
void MAT_Alloc_C_16(ObjectHeader* object, uint64_t rows, uint64_t columns, void* out);
void MAT_Alloc_T(ObjectHeader* object, uint64_t rows, uint64_t columns, float*** out);
void MAT_Alloc_T_D(ObjectHeader* object, uint64_t rows, uint64_t columns, double*** out);
void MAT_Alloc_T_64(ObjectHeader* object, uint64_t rows, uint64_t columns, void* out);
void MAT_Alloc_T_32(ObjectHeader* object, uint64_t rows, uint64_t columns, void* out);
void MAT_Alloc_T_16(ObjectHeader* object, uint64_t rows, uint64_t columns, void* out);

// The release of the same memory class, with the rows of the allocation: the last row first, then
// the array.
void MAT_Free_C(ObjectHeader* object, uint64_t rows, float** m);
void MAT_Free_C_D(ObjectHeader* object, uint64_t rows, double** m);
void MAT_Free_C_64(ObjectHeader* object, uint64_t rows, void* m);
void MAT_Free_C_32(ObjectHeader* object, uint64_t rows, void* m);
void MAT_Free_C_16(ObjectHeader* object, uint64_t rows, void* m);
void MAT_Free_T(ObjectHeader* object, uint64_t rows, float** m);
void MAT_Free_T_D(ObjectHeader* object, uint64_t rows, double** m);
void MAT_Free_T_64(ObjectHeader* object, uint64_t rows, void* m);
void MAT_Free_T_32(ObjectHeader* object, uint64_t rows, void* m);
void MAT_Free_T_16(ObjectHeader* object, uint64_t rows, void* m);

// ---- Row by row ----

// Copies; rows must not overlap.
void MAT_Copy(ObjectHeader* object, uint64_t rows, uint64_t columns, const float* const* src,
              float** dst);
void MAT_Copy_64(ObjectHeader* object, uint64_t rows, uint64_t columns, const void* src, void* dst);
void MAT_Copy_32(ObjectHeader* object, uint64_t rows, uint64_t columns, const void* src, void* dst);

void MAT_Zero(ObjectHeader* object, uint64_t rows, uint64_t columns, float** m);
void MAT_Zero_64(ObjectHeader* object, uint64_t rows, uint64_t columns, void* m);
void MAT_Zero_32(ObjectHeader* object, uint64_t rows, uint64_t columns, void* m);
void MAT_Fill(ObjectHeader* object, uint64_t rows, uint64_t columns, float** m, float value);
void MAT_Fill_64(ObjectHeader* object, uint64_t rows, uint64_t columns, uint64_t value, void* m);
void MAT_Fill_32(ObjectHeader* object, uint64_t rows, uint64_t columns, uint32_t value, void* m);

// m = m * s.
void MAT_Scale(ObjectHeader* object, uint64_t rows, uint64_t columns, float** m, float s);
// c = a + b, b = a + b, c = a - b, b = b - a; rounded.
void MAT_Add(ObjectHeader* object, uint64_t rows, uint64_t columns, const float* const* a,
             const float* const* b, float** c);
void MAT_Add_InPlace(ObjectHeader* object, uint64_t rows, uint64_t columns, const float* const* a,
                     float** b);
void MAT_Sub(ObjectHeader* object, uint64_t rows, uint64_t columns, const float* const* a,
             const float* const* b, float** c);
void MAT_Sub_InPlace(ObjectHeader* object, uint64_t rows, uint64_t columns, const float* const* a,
                     float** b);
void MAT_Sub_D(ObjectHeader* object, uint64_t rows, uint64_t columns, const double* const* a,
               const double* const* b, double** c);

// ---- Special matrices, n by n; every element is written ----

void MAT_Identity(ObjectHeader* object, uint64_t n, float** m);
// s on the diagonal.
void MAT_Identity_Scaled(ObjectHeader* object, uint64_t n, float** m, float s);
// v[i] on the diagonal.
void MAT_Diagonal(ObjectHeader* object, uint64_t n, const float* v, float** m);

// ---- Products; the result must not share rows with a factor ----

// c (rows by cols) = a (rows by inner) times b (inner by cols).
void MAT_Mul(ObjectHeader* object, uint64_t rows, uint64_t inner, uint64_t cols,
             const float* const* a, const float* const* b, float** c);
void MAT_Mul_D(ObjectHeader* object, uint64_t rows, uint64_t inner, uint64_t cols,
               const double* const* a, const double* const* b, double** c);
// c (cols by rows) = b (cols by inner) times the transpose of a (rows by inner).
void MAT_Mul_Trans(ObjectHeader* object, uint64_t rows, uint64_t inner, uint64_t cols,
                   const float* const* a, const float* const* b, float** c);
// c (ca by cb) = the transpose of a (rows by ca) times b (rows by cb). The object is not used.
void MAT_TransMul(ObjectHeader* object, uint64_t rows, uint64_t ca, uint64_t cb,
                  const float* const* a, const float* const* b, float** c);

// out[c] = the sum over r of v[r] * m[r][c], or of v[r] * |m[r][c]|: v has k floats, m k rows of n
// floats or more, out n floats.
void MAT_VecMul(ObjectHeader* object, uint64_t n, uint64_t k, const float* v, const float* const* m,
                float* out);
void MAT_VecMul_Abs(ObjectHeader* object, uint64_t n, uint64_t k, const float* v,
                    const float* const* m, float* out);

// The element of largest magnitude with its sign; of +a and -a the negative one. 0.0 counts along.
// A quiet NaN is passed over. With 0 columns out is left alone. Columns come before rows here.
void MAT_Peak(ObjectHeader* object, uint64_t cols, uint64_t rows, const float* const* m,
              float* out);

// dst[j][i] = src[i][j]: dst has cols rows. Two different matrices of 32-bit or 64-bit elements.
void MAT_Transpose(ObjectHeader* object, uint64_t rows, uint64_t cols, const void* src, void* dst);
void MAT_Transpose_64(ObjectHeader* object, uint64_t rows, uint64_t cols, const void* src,
                      void* dst);
// Row i to the cols floats of out from i * cols on.
void MAT_Flatten(ObjectHeader* object, uint64_t rows, uint64_t cols, const float* const* m,
                 float* out);

// ---- Direct solvers: no pivoting, no tolerance ----

// b = the inverse of a, n by n, by Gauss-Jordan elimination with the pivots in diagonal order. a
// ends as the identity. A zero pivot, also of a regular matrix, gives infinities and NaNs. Source:
// Golub, Van Loan, Matrix Computations.
void MAT_Invert(ObjectHeader* object, uint64_t n, float** a, float** b);

// Solves the square system in the first n columns of m (n rows of n + 1 floats) for the right side
// in its last column; the solution ends there. The other columns hold what the elimination left.
void MAT_Solve_Gauss(ObjectHeader* object, uint64_t n, float** m);

// a (rows by cols) = q (rows by rows, orthogonal) times r (rows by cols), by Householder
// reflections. a is not changed. A positive pivot gives a negative diagonal element of r; below the
// diagonal r holds rounding errors. A pivot of 0.0 counts as positive, and a column whose squares
// are all zero as reflected already. q is finite and orthogonal for finite a that does not
// overflow, as long as what is left of each column when its turn comes is longer than about 1e-16
// or nothing at all. A shorter rest loses squares that count as zero: the transpose of q times q is
// off by 1e-4 at a length of 1e-17, by 4e-2 at 1e-18, by anything from there to 1e-19. Scale such
// columns. Source: Golub, Van Loan, Matrix Computations.
void MAT_QR(ObjectHeader* object, uint64_t rows, uint64_t cols, const float* const* a, float** q,
            float** r);

// x (cols by 1) makes a x - b shortest: a is rows by cols, b rows by 1, cols not above rows. By
// MAT_QR and back substitution. A variable whose diagonal element is exactly 0.0 becomes 0.0; there
// is no tolerance. a and b are not changed.
void MAT_LeastSquares(ObjectHeader* object, uint64_t rows, uint64_t cols, const float* const* a,
                      const float* const* b, float** x);

// ---- Constrained solver ----

// Brings x, from its start, to the minimum of an objective under S x = s for the first meq rows of
// A, S x <= s for the others, and lb <= x <= ub.
//   kinds    mode 1: least squares, |H x - f| shortest; p = n and m at least n.
//            Other modes: linear programme, f . x smallest; p = 0, H null, m = n. The start must
//            satisfy the equalities.
//   H        m by p
//   f        m floats
//   A        nc by n, equalities first
//   b        nc floats; with nc of 0 A and b are not looked at and may be null
//   lb, ub   n floats, or null for no bounds; an infinite bound is none
//   x        n floats: the start, then the result. A start that breaks an inequality is repaired
//            first.
//   errors   Exhausted memory. Nothing else is reported: without a feasible point, without a
//            minimum, or after 200 passes, x holds the last iterate. Test x against the constraints
//            where it matters. Calls outside these sizes, with rows told but null, and mode 1 with
//            a p other than n or another mode with p above 0, leave x as it came.
// Everything but x is left alone. All is in 32-bit floats with fixed tolerances, so it has limits:
//   - Scale a problem to numbers near 1: constraints count as satisfied within 1.2e-7, absolutely.
//     With larger numbers rounding alone breaks them, and a start may seem infeasible.
//   - On degenerate sets (more rows through one point than variables) a row can block below float
//     rounding again and again, and the call ends at its limit of passes short of the optimum.
//   - Equalities must be linearly independent: one that follows from others gives a wrong x (in all
//     of 400 random problems).
//   - No row may stand twice, also not as a bound and as a row: by rounding such twins block each
//     other, and from a start that breaks them the call may end as without a feasible point, with
//     an x that breaks constraints. Remove one of the two, or loosen it by 1e-5: of 400 random
//     least-squares problems with every inequality twice 344 reached the optimum, with every bound
//     also as a row 223, and with either remedy all.
//   - A rank-deficient H is stepped on through the inverse of a squared matrix that is not tested
//     for being singular; x may end short of the optimum or as NaN, unless rows hold it: of 400
//     random problems with rows and bounds 396 reached the optimum, of 400 without any 10. Append
//     1e-3 times the identity to H and n zeros to f: so did all of both.
//   - A linear programme ends as soon as its last variable comes below 2.4e-7, optimal or not: keep
//     that one positive, or add one that is. And it takes an objective that falls by less than
//     0.012 a unit of way for level: scale f so that such slopes do not matter.
// Source: the active-set method with a null-space basis, Gill, Murray, Wright, Practical
// Optimization.
void MAT_Solve_Constrained(ObjectHeader* object, uint64_t m, uint64_t p, const float* const* H,
                           const float* f, uint64_t nc, uint64_t n, const float* const* A,
                           const float* b, const float* lb, const float* ub, uint64_t meq,
                           int32_t mode, float* x);

// |H x - f| shortest under Ain x <= bin (ni rows), Aeq x = beq (ne rows) and lb <= x <= ub: the
// rows are stacked and go to MAT_Solve_Constrained, with all that is told there. H is m by n, m at
// least n. With ni or ne of 0 their pointers are not looked at; lb and ub may be null.
void MAT_LeastSquares_Constrained(ObjectHeader* object, uint64_t m, uint64_t n,
                                  const float* const* H, const float* f, uint64_t ni,
                                  const float* const* Ain, const float* bin, uint64_t ne,
                                  const float* const* Aeq, const float* beq, const float* lb,
                                  const float* ub, float* x);

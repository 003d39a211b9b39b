// The parts of the direct solvers that take their scratch from the caller.
#pragma once

#include "matrix/scratch.h"

// MAT_QR with the reflector's vector in v, rows floats.
void Direct_QR(uint64_t rows, uint64_t cols, const float* const* a, float** q, float** r, float* v);

// Room for MAT_LeastSquares of up to rows by cols.
struct LeastSquaresScratch {
    float** q; // rows by rows
    float** r; // rows by cols
    Column c;  // rows
    float* v;  // rows
};
LeastSquaresScratch LeastSquares_Lay_Out(Scratch* scratch, uint64_t rows, uint64_t cols);
void Direct_LeastSquares(uint64_t rows, uint64_t cols, const float* const* a, const float* const* b,
                         float** x, const LeastSquaresScratch& scratch);

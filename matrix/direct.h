// The parts of the direct solvers that take their scratch from the caller.
#pragma once

#include <cstdint>

// MAT_QR with the reflector's vector in v, rows floats.
void Direct_QR(uint64_t rows, uint64_t cols, const float* const* a, float** q, float** r, float* v);

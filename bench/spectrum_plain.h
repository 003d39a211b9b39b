// The operations of spectrum/fv.h as plain loops, in a file of their own so that nothing is
// inlined.
#pragma once

#include <cstdint>

void Plain_Mul(uint32_t N, const float* a, float* b);
void Plain_Div(uint32_t N, const float* a, const float* b, float* dst);
void Plain_Abs(uint32_t N, const float* a, float* dst);
void Plain_MulAcc_HFV(uint32_t N, const float* a, const float* h, float* acc);
float Plain_Energy(uint32_t N, const float* a);

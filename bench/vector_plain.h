// Plain loops beside the kernels, at the compiler's -O3 and the library's flags.
#pragma once

#include <cstdint>

void Plain_Add(uint32_t n, const float* a, const float* b, float* dst);
void Plain_Sub(uint32_t n, const float* a, const float* b, float* dst);
void Plain_Mul(uint32_t n, const float* a, const float* b, float* dst);
void Plain_Max(uint32_t n, const float* a, const float* b, float* dst);
void Plain_Min(uint32_t n, const float* a, const float* b, float* dst);
void Plain_Scale_Div(uint32_t n, const float* a, const float* b, float* dst);
void Plain_MulAcc(uint32_t n, const float* a, const float* b, float* dst);
void Plain_Scale(uint32_t n, const float* a, float* dst);
void Plain_Add_Scalar(uint32_t n, const float* a, float* dst);
void Plain_Sqrt(uint32_t n, const float* a, float* dst);
void Plain_Recip(uint32_t n, const float* a, float* dst);
void Plain_Clamp(uint32_t n, const float* a, float* dst);
void Plain_Copy(uint32_t n, const float* a, float* dst);
void Plain_Zero(uint32_t n, float* dst);
void Plain_FV_Mul(uint32_t n, const float* a, const float* b, float* dst);
float Plain_Sum(uint32_t n, const float* a);
float Plain_SumSquares(uint32_t n, const float* a);
float Plain_Dot(uint32_t n, const float* a, const float* b);
float Plain_Max_Value(uint32_t n, const float* a);
// The sinc interpolation as it is told: input by input into a cleared output.
void Plain_Interpolate(uint32_t n, int32_t L, const float* taps, const float* src, float* dst);

// The dependent steps of a sum over n elements and nothing else: n / 4 additions, or fused
// products, of four lanes, each waiting for the one before it.
void Plain_Addition_Chain(uint32_t n, const float* start, float* out);
void Plain_Fused_Chain(uint32_t n, const float* start, float* out);

#include "bench/spectrum_plain.h"

#include <cmath>

void Plain_Mul(uint32_t N, const float* a, float* b)
{
    b[0] *= a[0];
    b[1] *= a[1];
    for (uint32_t i = 2; i < N; i += 2) {
        const float re = std::fma(-a[i + 1], b[i + 1], a[i] * b[i]);
        b[i + 1] = std::fma(a[i + 1], b[i], a[i] * b[i + 1]);
        b[i] = re;
    }
}

void Plain_Div(uint32_t N, const float* a, const float* b, float* dst)
{
    dst[0] = a[0] / b[0];
    dst[1] = a[1] / b[1];
    for (uint32_t i = 2; i < N; i += 2) {
        const float t = 1.0f / std::fma(b[i + 1], b[i + 1], b[i] * b[i]);
        const float re = std::fma(a[i + 1], b[i + 1], a[i] * b[i]) * t;
        dst[i + 1] = std::fma(-a[i], b[i + 1], a[i + 1] * b[i]) * t;
        dst[i] = re;
    }
}

void Plain_Abs(uint32_t N, const float* a, float* dst)
{
    dst[0] = std::fabs(a[0]);
    for (uint32_t k = 1; k < N / 2; k++) {
        dst[k] = std::sqrt(std::fma(a[2 * k + 1], a[2 * k + 1], a[2 * k] * a[2 * k]));
    }
    dst[N / 2] = std::fabs(a[1]);
}

void Plain_MulAcc_HFV(uint32_t N, const float* a, const float* h, float* acc)
{
    acc[0] = std::fma(a[0], h[0], acc[0]);
    acc[1] = std::fma(a[1], h[N / 2], acc[1]);
    for (uint32_t k = 1; k < N / 2; k++) {
        acc[2 * k] = std::fma(a[2 * k], h[k], acc[2 * k]);
        acc[2 * k + 1] = std::fma(a[2 * k + 1], h[k], acc[2 * k + 1]);
    }
}

float Plain_Energy(uint32_t N, const float* a)
{
    float sum = 0.0f;
    for (uint32_t i = 2; i < N; i += 2) {
        sum += std::fma(a[i + 1], a[i + 1], a[i] * a[i]);
    }
    return std::fma(a[1], a[1], std::fma(a[0], a[0], sum + sum));
}

// Sums and products of what callers tell: counts of rows and elements, sizes in bytes. One that
// does not fit 64 bits becomes the largest integer instead of wrapping. No allocation grants that,
// so such a call ends in the report of exhausted memory.
#pragma once

#include <cstdint>

inline uint64_t Size_Sum(uint64_t a, uint64_t b)
{
    uint64_t sum = 0;
    return __builtin_add_overflow(a, b, &sum) ? UINT64_MAX : sum;
}

inline uint64_t Size_Product(uint64_t a, uint64_t b)
{
    uint64_t product = 0;
    return __builtin_mul_overflow(a, b, &product) ? UINT64_MAX : product;
}

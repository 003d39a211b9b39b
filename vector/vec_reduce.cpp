// Reductions and extrema behind vector/vec.h.
#include "vector/vec.h"

#include "vector/kern.h"
#include "vector/simd_float.h"

#include <cfloat>

// ---- Reductions ----

void VEC_Sum_Range(ObjectHeader*, uint64_t n, const float* v, uint64_t offset, float* out)
{
    float sum = 0.0f;
    for (uint64_t i = 0; i < n; i++) {
        sum = F_Add(sum, v[offset + i]);
    }
    *out = sum;
}

void VEC_SumAbs(ObjectHeader*, uint64_t n, const float* v, float* out)
{
    float sum = 0.0f;
    for (uint64_t i = 0; i < n; i++) {
        sum = F_Add(sum, F_Abs(v[i]));
    }
    *out = sum;
}

void VEC_SumSquares_D(ObjectHeader*, uint64_t n, const double* v, double* out)
{
    double sum = 0.0;
    for (uint64_t i = 0; i < n; i++) {
        sum = std::fma(v[i], v[i], sum);
    }
    *out = sum;
}

void VEC_Dot_Range(ObjectHeader*, uint64_t n, const float* p, const float* q, uint64_t offset,
                   float* out)
{
    float sum = 0.0f;
    for (uint64_t i = 0; i < n; i++) {
        sum = F_MulAdd(p[offset + i], q[offset + i], sum);
    }
    *out = sum;
}

void VEC_Mean(ObjectHeader* object, uint64_t n, const float* v, float* out)
{
    float sum;
    KERN_Sum(object, static_cast<uint32_t>(n), v, &sum);
    *out = sum / static_cast<float>(n);
}

void VEC_MeanSquare(ObjectHeader* object, uint64_t n, const float* v, float* out)
{
    float sum;
    KERN_SumSquares(object, static_cast<uint32_t>(n), v, &sum);
    *out = sum / static_cast<float>(n);
}

// ---- Extrema ----

// The place of the first element that no later one betters. Out of line, so that the element is
// loaded again by its place and keeps all its bits: kept in a register, a compiler may take it
// through a maximum instruction, which makes a subnormal zero.
template <class Element, class Better>
[[gnu::noinline]] static uint64_t Best_Place(uint64_t n, const Element* v, Better better)
{
    uint64_t place = 0;
    for (uint64_t i = 1; i < n; i++) {
        if (better(v[i], v[place])) {
            place = i;
        }
    }
    return place;
}

template <class Element>
static inline void Store_Greatest(uint64_t n, const Element* v, Element* out, uint64_t* index)
{
    *index = Best_Place(n, v, [](Element a, Element b) { return a > b; });
    *out = v[*index];
}

template <class Element>
static inline void Store_Least(uint64_t n, const Element* v, Element* out, uint64_t* index)
{
    *index = Best_Place(n, v, [](Element a, Element b) { return a < b; });
    *out = v[*index];
}

void VEC_Max_Range(ObjectHeader*, uint64_t n, const float* v, uint64_t offset, float* out)
{
    uint64_t index;
    Store_Greatest(n, v + offset, out, &index);
}

void VEC_Max_Index(ObjectHeader*, uint64_t n, const float* v, float* out, uint64_t* index)
{
    Store_Greatest(n, v, out, index);
}

void VEC_Max_Index_Range(ObjectHeader*, uint64_t n, const float* v, uint64_t offset, float* out,
                         uint64_t* index)
{
    Store_Greatest(n, v + offset, out, index);
    *index += offset;
}

void VEC_Min_Index(ObjectHeader*, uint64_t n, const float* v, float* out, uint64_t* index)
{
    Store_Least(n, v, out, index);
}

void VEC_Max_Index_I(ObjectHeader*, uint64_t n, const int32_t* v, int32_t* out, uint64_t* index)
{
    Store_Greatest(n, v, out, index);
}

void VEC_Min_Index_I(ObjectHeader*, uint64_t n, const int32_t* v, int32_t* out, uint64_t* index)
{
    Store_Least(n, v, out, index);
}

void VEC_Peak(ObjectHeader*, uint64_t n, const float* v, float* out)
{
    float max = 0.0f;
    float min = 0.0f;
    for (uint64_t i = 0; i < n; i++) {
        max = F_Max_Number(max, v[i]);
        min = F_Min_Number(min, v[i]);
    }
    *out = max + min > 0.0f ? max : min;
}

void VEC_MinMax(ObjectHeader*, uint64_t n, const float* v, float* min, float* max)
{
    float least = FLT_MAX;
    float greatest = -FLT_MAX;
    uint64_t i = 0;
    if (n % 2 != 0) {
        least = v[0];
        greatest = v[0];
        i = 1;
    }
    for (; i < n; i += 2) {
        const bool rising = v[i] < v[i + 1];
        const float lower = rising ? v[i] : v[i + 1];
        const float upper = rising ? v[i + 1] : v[i];
        least = F_Min_Number(least, lower);
        greatest = F_Max_Number(greatest, upper);
    }
    *min = least;
    *max = greatest;
}

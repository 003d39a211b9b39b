// The block of filter sections behind spectrum/filter_sections.h.
#include "spectrum/filter_sections.h"

#include "frame/size.h"

#include <cstring>

static_assert(sizeof(FilterSections) == 24);

// Pairs of floats in the coefficient store and floats in a set of state, below 2^35.
static inline uint64_t Coefficient_Bytes(uint32_t S, uint32_t F)
{
    return 8 * (2 * uint64_t{S} + F);
}

static inline uint64_t Set_Bytes(uint32_t S, uint32_t F)
{
    return 4 * (3 * uint64_t{S} + 2 * uint64_t{F});
}

uint64_t FilterSections_Size(uint32_t S, uint32_t F, uint32_t G)
{
    return Size_Sum(Size_Product(Set_Bytes(S, F), G),
                    sizeof(FilterSections) + Coefficient_Bytes(S, F));
}

void FilterSections_Init(uint32_t S, uint32_t F, uint32_t G, void* block)
{
    FilterSections* record = static_cast<FilterSections*>(block);
    const uint64_t coefficient_bytes = Coefficient_Bytes(S, F);
    record->secondOrderCount = S;
    record->firstOrderCount = F;
    record->coefficients = reinterpret_cast<float*>(record + 1);
    memset(record->coefficients, 0, coefficient_bytes);
    record->state = record->coefficients + coefficient_bytes / sizeof(float);
    memset(record->state, 0, Set_Bytes(S, F) * G);
}

// The first half of each row as it is, the second half negated: those values feed back.
static float* Store_Rows(uint32_t count, uint32_t half, const float* const* rows, float* to)
{
    for (uint32_t i = 0; i < count; i++) {
        for (uint32_t k = 0; k < half; k++) {
            to[k] = rows[i][k];
            to[half + k] = -rows[i][half + k];
        }
        to += 2 * half;
    }
    return to;
}

void FilterSections_Load(const float* const* second, const float* const* first,
                         FilterSections* record)
{
    float* behind = Store_Rows(record->secondOrderCount, 2, second, record->coefficients);
    Store_Rows(record->firstOrderCount, 1, first, behind);
}

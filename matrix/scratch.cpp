#include "matrix/scratch.h"

void* Scratch_Take(Scratch* scratch, uint64_t count, uint64_t width)
{
    void* place = scratch->block == nullptr ? nullptr : scratch->block + scratch->used;
    uint64_t bytes;
    const bool overflow = __builtin_mul_overflow(count, width, &bytes) ||
                          __builtin_add_overflow(bytes, uint64_t{15}, &bytes) ||
                          __builtin_add_overflow(scratch->used, bytes / 16 * 16, &scratch->used);
    scratch->too_large = scratch->too_large || overflow;
    return place;
}

float* Scratch_Floats(Scratch* scratch, uint64_t count)
{
    return static_cast<float*>(Scratch_Take(scratch, count, sizeof(float)));
}

float** Scratch_Matrix(Scratch* scratch, uint64_t rows, uint64_t columns)
{
    // Every row has its own 16-byte boundary.
    const uint64_t stride = columns > UINT64_MAX - 3 ? columns : (columns + 3) / 4 * 4;
    uint64_t floats = 0;
    scratch->too_large = scratch->too_large || __builtin_mul_overflow(rows, stride, &floats);
    float** m = static_cast<float**>(Scratch_Take(scratch, rows, sizeof(float*)));
    float* first = Scratch_Floats(scratch, floats);
    if (m != nullptr) {
        for (uint64_t i = 0; i < rows; i++) {
            m[i] = first + i * stride;
        }
    }
    return m;
}

Column Scratch_Column(Scratch* scratch, uint64_t rows)
{
    float** m = static_cast<float**>(Scratch_Take(scratch, rows, sizeof(float*)));
    float* v = Scratch_Floats(scratch, rows);
    if (m != nullptr) {
        for (uint64_t i = 0; i < rows; i++) {
            m[i] = v + i;
        }
    }
    return {v, m};
}

Scratch Scratch_Allocate(ObjectHeader* object, const Scratch& measured)
{
    const uint64_t bytes = measured.too_large ? UINT64_MAX : measured.used;
    return {static_cast<char*>(OBJ_Malloc_T(object, bytes)), 0, false};
}

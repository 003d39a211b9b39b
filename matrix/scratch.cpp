#include "matrix/scratch.h"

#include "frame/size.h"

void* Scratch_Take(Scratch* scratch, uint64_t count, uint64_t width)
{
    void* place = scratch->block == nullptr ? nullptr : scratch->block + scratch->used;
    const uint64_t bytes = Size_Sum(Size_Product(count, width), 15) / 16 * 16;
    scratch->used = Size_Sum(scratch->used, bytes);
    return place;
}

float* Scratch_Floats(Scratch* scratch, uint64_t count)
{
    return static_cast<float*>(Scratch_Take(scratch, count, sizeof(float)));
}

float** Scratch_Matrix(Scratch* scratch, uint64_t rows, uint64_t columns)
{
    // Every row has its own 16-byte boundary.
    const uint64_t stride = Size_Sum(columns, 3) / 4 * 4;
    float** m = static_cast<float**>(Scratch_Take(scratch, rows, sizeof(float*)));
    float* first = Scratch_Floats(scratch, Size_Product(rows, stride));
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
    return {static_cast<char*>(OBJ_Malloc_T(object, measured.used)), 0};
}

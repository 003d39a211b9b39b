// Scratch matrices of one operation in one block of temporary memory. The layout is written once
// and run twice: without a block it measures, with one it hands out the places.
#pragma once

#include "frame/object.h"

#include <cstdint>

struct Scratch {
    char* block; // null while measuring
    uint64_t used;
};

// A column matrix whose elements lie side by side.
struct Column {
    float* v;
    float** m; // m[i] is v + i
};

// Bytes on a 16-byte boundary; null while measuring.
void* Scratch_Take(Scratch* scratch, uint64_t count, uint64_t width);
float* Scratch_Floats(Scratch* scratch, uint64_t count);
float** Scratch_Matrix(Scratch* scratch, uint64_t rows, uint64_t columns);
Column Scratch_Column(Scratch* scratch, uint64_t rows);

// A block for what was measured, back through OBJ_Free_T.
Scratch Scratch_Allocate(ObjectHeader* object, const Scratch& measured);

// The store of a cascade of recursive filter sections: coefficients and cleared state, in one block
// of the caller's memory.
//
//   uint64_t bytes = FilterSections_Size(S, F, G);
//   FilterSections* sections = memory of that many bytes, on the boundary of a pointer
//   FilterSections_Init(S, F, G, sections);
//   FilterSections_Load(second, first, sections);     // any number of times
//
// With S second-order sections, F first-order sections and G sets of state, the block holds
//   head           24 bytes
//   coefficients   4 S + 2 F floats: four for each second-order section, then two for each
//                  first-order section
//   state          G sets of 3 S + 2 F floats: three for each second-order section and two for each
//                  first-order section, that is order + 1 values
// What runs the sections over samples is not here.
// Errors: nothing is tested. Threads: no state but the block.
#pragma once

#include <cstdint>

struct FilterSections {
    uint32_t secondOrderCount; // S
    uint32_t firstOrderCount;  // F
    float* coefficients;       // directly behind this head
    float* state;              // directly behind the coefficients; the block does not keep G
};

// The bytes of the block. More than 64 bits can tell is 2^64 - 1, which no allocation grants.
uint64_t FilterSections_Size(uint32_t S, uint32_t F, uint32_t G);

// Fills the head and clears both stores. The block need not be cleared before.
void FilterSections_Init(uint32_t S, uint32_t F, uint32_t G, void* block);

// FilterSections_Load: fills the coefficient store; the state keeps its values.
//   second   S rows of four floats, each stored as r[0], r[1], -r[2], -r[3]
//   first    F rows of two floats, each stored as r[0], -r[1]
//   record   made by FilterSections_Init, which tells S and F
// A row array without rows may be null.
void FilterSections_Load(const float* const* second, const float* const* first,
                         FilterSections* record);

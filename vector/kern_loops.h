// The loops of the kernels, written once: the alignment rule, the wide steps and what is left. A
// kernel gives its operation as a lambda on any width of vector/simd_float.h.
#pragma once

#include "vector/simd_float.h"

#include <cstdint>

constexpr uintptr_t Group_Bytes = 16;

template <class... Pointers> inline bool All_Aligned(Pointers... pointers)
{
    return ((reinterpret_cast<uintptr_t>(pointers) | ...) & (Group_Bytes - 1)) == 0;
}

// The single-element loop. The compiler may widen it, as no element depends on another. Out of
// line, so that the aligned road stays short.
template <class Op, class... Sources>
[[gnu::noinline]] void Run_Single(uint64_t n, float* dst, Op op, const Sources*... sources)
{
    for (uint64_t i = 0; i < n; i++) {
        dst[i] = op(sources[i]...);
    }
}

// One step: all of Count registers are loaded before the first is stored.
template <class F, unsigned Count, class Op, class... Sources>
inline void Run_Step(float* dst, Op op, const Sources*... sources)
{
    F result[Count];
    for (unsigned k = 0; k < Count; k++) {
        result[k] = op(F_Load<F>(sources + k * F_Lanes<F>)...);
    }
    for (unsigned k = 0; k < Count; k++) {
        F_Store(dst + k * F_Lanes<F>, result[k]);
    }
}

// dst[i] = op(sources[i]...). The wide steps need no boundary of 32 bytes; that all arrays start on
// one of 16 keeps most of the accesses within a cache line.
template <class Op, class... Sources>
inline void Run_Each(uint64_t n, float* dst, Op op, const Sources*... sources)
{
    uint64_t i = 0;
    if (All_Aligned(dst, sources...)) {
        for (; i + 16 <= n; i += 16) {
            Run_Step<F8, 2>(dst + i, op, sources + i...);
        }
        if ((n & 8) != 0) {
            Run_Step<F8, 1>(dst + i, op, sources + i...);
            i += 8;
        }
        if ((n & 4) != 0) {
            Run_Step<F4, 1>(dst + i, op, sources + i...);
            i += 4;
        }
    }
    if (i < n) {
        Run_Single(n - i, dst + i, op, sources + i...);
    }
}

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

template <class F, class Op, class... Sources>
inline void Run_Step(float* dst, Op op, const Sources*... sources)
{
    F_Store(dst, op(F_Load<F>(sources)...));
}

// The single-element loop of a misaligned call and of what is left. No element depends on another,
// so eight at a time give the same bits; compilers find that out for the simple operations only.
// Out of line, so that the aligned road stays short.
template <class Op, class... Sources>
[[gnu::noinline]] void Run_Single(uint64_t n, float* dst, Op op, const Sources*... sources)
{
    uint64_t i = 0;
    for (; i + 8 <= n; i += 8) {
        Run_Step<F8>(dst + i, op, sources + i...);
    }
    for (; i < n; i++) {
        Run_Step<float>(dst + i, op, sources + i...);
    }
}

// dst[i] = op(sources[i]...). The wide steps ask for no more than the 16-byte boundary. Each is
// stored before the next is loaded: with both loaded first the compilers store them backward, which
// takes a quarter longer in the first-level cache.
template <class Op, class... Sources>
inline void Run_Each(uint64_t n, float* dst, Op op, const Sources*... sources)
{
    uint64_t i = 0;
    if (All_Aligned(dst, sources...)) {
        for (; i + 16 <= n; i += 16) {
            Run_Step<F8>(dst + i, op, sources + i...);
            Run_Step<F8>(dst + i + 8, op, sources + (i + 8)...);
        }
        if ((n & 8) != 0) {
            Run_Step<F8>(dst + i, op, sources + i...);
            i += 8;
        }
        if ((n & 4) != 0) {
            Run_Step<F4>(dst + i, op, sources + i...);
            i += 4;
        }
    }
    if (i < n) {
        Run_Single(n - i, dst + i, op, sources + i...);
    }
}

// Storage and row-wise operations behind matrix/mat.h.
#include "matrix/mat.h"

#include "frame/size.h"
#include "vector/kern.h"
#include "vector/vec.h"

#include <cstring>

// ---- Allocation and release ----

struct MemoryClass {
    void* (*take)(ObjectHeader* object, uint64_t size);
    void (*give_back)(ObjectHeader* object, void* block);
};
static constexpr MemoryClass Persistent = {OBJ_Malloc_C, OBJ_Free_C};
static constexpr MemoryClass Temporary = {OBJ_Malloc_T, OBJ_Free_T};

// out and the rows are written as plain pointers of any type.
static void Allocate(const MemoryClass& memory, ObjectHeader* object, uint64_t rows,
                     uint64_t columns, uint64_t width, void* out)
{
    void** array = static_cast<void**>(memory.take(object, Size_Product(rows, sizeof(void*))));
    memcpy(out, &array, sizeof array);
    for (uint64_t i = 0; i < rows; i++) {
        array[i] = memory.take(object, Size_Product(columns, width));
    }
}

static void Release(const MemoryClass& memory, ObjectHeader* object, uint64_t rows, void* m)
{
    void** array = static_cast<void**>(m);
    for (uint64_t i = rows; i > 0; i--) {
        memory.give_back(object, array[i - 1]);
    }
    memory.give_back(object, array);
}

void MAT_Alloc_C(ObjectHeader* object, uint64_t rows, uint64_t columns, float*** out)
{
    Allocate(Persistent, object, rows, columns, 4, out);
}

void MAT_Alloc_C_D(ObjectHeader* object, uint64_t rows, uint64_t columns, double*** out)
{
    Allocate(Persistent, object, rows, columns, 8, out);
}

void MAT_Alloc_C_64(ObjectHeader* object, uint64_t rows, uint64_t columns, void* out)
{
    Allocate(Persistent, object, rows, columns, 8, out);
}

void MAT_Alloc_C_32(ObjectHeader* object, uint64_t rows, uint64_t columns, void* out)
{
    Allocate(Persistent, object, rows, columns, 4, out);
}

void MAT_Alloc_C_16(ObjectHeader* object, uint64_t rows, uint64_t columns, void* out)
{
    Allocate(Persistent, object, rows, columns, 2, out);
}

void MAT_Alloc_T(ObjectHeader* object, uint64_t rows, uint64_t columns, float*** out)
{
    Allocate(Temporary, object, rows, columns, 4, out);
}

void MAT_Alloc_T_D(ObjectHeader* object, uint64_t rows, uint64_t columns, double*** out)
{
    Allocate(Temporary, object, rows, columns, 8, out);
}

void MAT_Alloc_T_64(ObjectHeader* object, uint64_t rows, uint64_t columns, void* out)
{
    Allocate(Temporary, object, rows, columns, 8, out);
}

void MAT_Alloc_T_32(ObjectHeader* object, uint64_t rows, uint64_t columns, void* out)
{
    Allocate(Temporary, object, rows, columns, 4, out);
}

void MAT_Alloc_T_16(ObjectHeader* object, uint64_t rows, uint64_t columns, void* out)
{
    Allocate(Temporary, object, rows, columns, 2, out);
}

void MAT_Free_C(ObjectHeader* object, uint64_t rows, float** m)
{
    Release(Persistent, object, rows, m);
}

void MAT_Free_C_D(ObjectHeader* object, uint64_t rows, double** m)
{
    Release(Persistent, object, rows, m);
}

void MAT_Free_C_64(ObjectHeader* object, uint64_t rows, void* m)
{
    Release(Persistent, object, rows, m);
}

void MAT_Free_C_32(ObjectHeader* object, uint64_t rows, void* m)
{
    Release(Persistent, object, rows, m);
}

void MAT_Free_C_16(ObjectHeader* object, uint64_t rows, void* m)
{
    Release(Persistent, object, rows, m);
}

void MAT_Free_T(ObjectHeader* object, uint64_t rows, float** m)
{
    Release(Temporary, object, rows, m);
}

void MAT_Free_T_D(ObjectHeader* object, uint64_t rows, double** m)
{
    Release(Temporary, object, rows, m);
}

void MAT_Free_T_64(ObjectHeader* object, uint64_t rows, void* m)
{
    Release(Temporary, object, rows, m);
}

void MAT_Free_T_32(ObjectHeader* object, uint64_t rows, void* m)
{
    Release(Temporary, object, rows, m);
}

void MAT_Free_T_16(ObjectHeader* object, uint64_t rows, void* m)
{
    Release(Temporary, object, rows, m);
}

// ---- Row by row ----

// op(from, count) over the parts of a row that a kernel's 32-bit count can take.
template <class Op> static inline void Each_Part(uint64_t columns, Op op)
{
    constexpr uint64_t Largest = uint64_t{1} << 31;
    for (uint64_t from = 0; from < columns; from += Largest) {
        op(from, static_cast<uint32_t>(columns - from < Largest ? columns - from : Largest));
    }
}

// Row i of a matrix of any element.
static inline void* Row(const void* m, uint64_t i)
{
    void* row;
    memcpy(&row, static_cast<const char*>(m) + i * sizeof row, sizeof row);
    return row;
}

void MAT_Copy(ObjectHeader* object, uint64_t rows, uint64_t columns, const float* const* src,
              float** dst)
{
    for (uint64_t i = 0; i < rows; i++) {
        Each_Part(columns, [&](uint64_t from, uint32_t count) {
            KERN_Copy(object, count, src[i] + from, dst[i] + from);
        });
    }
}

void MAT_Copy_64(ObjectHeader* object, uint64_t rows, uint64_t columns, const void* src, void* dst)
{
    for (uint64_t i = 0; i < rows; i++) {
        VEC_Copy_64(object, columns, Row(src, i), Row(dst, i));
    }
}

void MAT_Copy_32(ObjectHeader* object, uint64_t rows, uint64_t columns, const void* src, void* dst)
{
    for (uint64_t i = 0; i < rows; i++) {
        VEC_Copy_32(object, columns, Row(src, i), Row(dst, i));
    }
}

void MAT_Zero(ObjectHeader* object, uint64_t rows, uint64_t columns, float** m)
{
    for (uint64_t i = 0; i < rows; i++) {
        Each_Part(columns,
                  [&](uint64_t from, uint32_t count) { KERN_Zero(object, count, m[i] + from); });
    }
}

void MAT_Zero_64(ObjectHeader* object, uint64_t rows, uint64_t columns, void* m)
{
    for (uint64_t i = 0; i < rows; i++) {
        VEC_Zero_64(object, columns, Row(m, i));
    }
}

void MAT_Zero_32(ObjectHeader* object, uint64_t rows, uint64_t columns, void* m)
{
    for (uint64_t i = 0; i < rows; i++) {
        VEC_Zero_32(object, columns, Row(m, i));
    }
}

void MAT_Fill(ObjectHeader* object, uint64_t rows, uint64_t columns, float** m, float value)
{
    for (uint64_t i = 0; i < rows; i++) {
        Each_Part(columns, [&](uint64_t from, uint32_t count) {
            KERN_Fill(object, count, m[i] + from, value);
        });
    }
}

void MAT_Fill_64(ObjectHeader* object, uint64_t rows, uint64_t columns, uint64_t value, void* m)
{
    for (uint64_t i = 0; i < rows; i++) {
        VEC_Fill_64(object, columns, value, Row(m, i));
    }
}

void MAT_Fill_32(ObjectHeader* object, uint64_t rows, uint64_t columns, uint32_t value, void* m)
{
    for (uint64_t i = 0; i < rows; i++) {
        VEC_Fill_32(object, columns, value, Row(m, i));
    }
}

void MAT_Scale(ObjectHeader* object, uint64_t rows, uint64_t columns, float** m, float s)
{
    for (uint64_t i = 0; i < rows; i++) {
        Each_Part(columns, [&](uint64_t from, uint32_t count) {
            KERN_Scale_InPlace(object, count, m[i] + from, s);
        });
    }
}

void MAT_Add(ObjectHeader* object, uint64_t rows, uint64_t columns, const float* const* a,
             const float* const* b, float** c)
{
    for (uint64_t i = 0; i < rows; i++) {
        Each_Part(columns, [&](uint64_t from, uint32_t count) {
            KERN_Add(object, count, a[i] + from, b[i] + from, c[i] + from);
        });
    }
}

void MAT_Add_InPlace(ObjectHeader* object, uint64_t rows, uint64_t columns, const float* const* a,
                     float** b)
{
    MAT_Add(object, rows, columns, a, b, b);
}

void MAT_Sub(ObjectHeader* object, uint64_t rows, uint64_t columns, const float* const* a,
             const float* const* b, float** c)
{
    for (uint64_t i = 0; i < rows; i++) {
        Each_Part(columns, [&](uint64_t from, uint32_t count) {
            KERN_Sub(object, count, a[i] + from, b[i] + from, c[i] + from);
        });
    }
}

void MAT_Sub_InPlace(ObjectHeader* object, uint64_t rows, uint64_t columns, const float* const* a,
                     float** b)
{
    MAT_Sub(object, rows, columns, b, a, b);
}

void MAT_Sub_D(ObjectHeader* object, uint64_t rows, uint64_t columns, const double* const* a,
               const double* const* b, double** c)
{
    for (uint64_t i = 0; i < rows; i++) {
        VEC_Sub_D(object, columns, a[i], b[i], c[i]);
    }
}

// ---- Special matrices ----

// The square with value(i) on the diagonal.
template <class Value>
static inline void Fill_Diagonal(ObjectHeader* object, uint64_t n, float** m, Value value)
{
    MAT_Zero(object, n, n, m);
    for (uint64_t i = 0; i < n; i++) {
        m[i][i] = value(i);
    }
}

void MAT_Identity(ObjectHeader* object, uint64_t n, float** m)
{
    MAT_Identity_Scaled(object, n, m, 1.0f);
}

void MAT_Identity_Scaled(ObjectHeader* object, uint64_t n, float** m, float s)
{
    Fill_Diagonal(object, n, m, [s](uint64_t) { return s; });
}

void MAT_Diagonal(ObjectHeader* object, uint64_t n, const float* v, float** m)
{
    Fill_Diagonal(object, n, m, [v](uint64_t i) { return v[i]; });
}

// ---- Rearrangements ----

// Squares of Side by Side elements, so that both matrices are walked within a few cache lines.
template <uint64_t Width>
static inline void Transpose(uint64_t rows, uint64_t cols, const void* src, void* dst)
{
    constexpr uint64_t Side = 16;
    for (uint64_t i0 = 0; i0 < rows; i0 += Side) {
        const uint64_t i_end = rows - i0 < Side ? rows : i0 + Side;
        for (uint64_t j0 = 0; j0 < cols; j0 += Side) {
            const uint64_t j_end = cols - j0 < Side ? cols : j0 + Side;
            for (uint64_t j = j0; j < j_end; j++) {
                char* to = static_cast<char*>(Row(dst, j));
                for (uint64_t i = i0; i < i_end; i++) {
                    memcpy(to + i * Width, static_cast<const char*>(Row(src, i)) + j * Width,
                           Width);
                }
            }
        }
    }
}

void MAT_Transpose(ObjectHeader*, uint64_t rows, uint64_t cols, const void* src, void* dst)
{
    Transpose<4>(rows, cols, src, dst);
}

void MAT_Transpose_64(ObjectHeader*, uint64_t rows, uint64_t cols, const void* src, void* dst)
{
    Transpose<8>(rows, cols, src, dst);
}

void MAT_Flatten(ObjectHeader* object, uint64_t rows, uint64_t cols, const float* const* m,
                 float* out)
{
    for (uint64_t i = 0; i < rows; i++) {
        Each_Part(cols, [&](uint64_t from, uint32_t count) {
            KERN_Copy(object, count, m[i] + from, out + i * cols + from);
        });
    }
}

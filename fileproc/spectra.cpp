// Triangular matrices of spectra in text files.
#include "fileproc/tables.h"

#include "spectrum/fv.h"
#include "vector/vec.h"

// Room for one spectrum as pairs. A length that no packed spectrum has ends here.
static float* Pair_Scratch(ObjectHeader* object, uint64_t n, const char* format_error,
                           const char* path)
{
    if (n < 2 || n % 2 != 0 || n > UINT32_MAX) {
        FileProc_Refuse(object, FileProc_Open_Failed, format_error, path);
    }
    return Table_Scratch(object, n + 2);
}

void FileProc_WrMatrixHFV(ObjectHeader* object, uint64_t N, uint64_t n,
                          const float* const* const* m, const char* path)
{
    float* scratch = Pair_Scratch(object, n, "FileProc_WrMatrixHFV: format error", path);
    FILE* stream = Table_Open(object, path, "w", "FileProc_WrMatrixHFV: Problem opening ");
    for (uint64_t i = 0; i < N; i++) {
        VEC_Copy(object, n / 2 + 1, m[i][i], scratch);
        for (uint64_t k = 0; k <= n / 2; k++) {
            fprintf(stream, "%e\t%e\t", static_cast<double>(scratch[k]), 0.0);
        }
        putc('\n', stream);
        for (uint64_t j = 0; j < i; j++) {
            FV_To_Pairs(object, static_cast<uint32_t>(n), m[i][j], scratch);
            for (uint64_t slot = 0; slot < n + 2; slot++) {
                fprintf(stream, "%e\t", static_cast<double>(scratch[slot]));
            }
            putc('\n', stream);
        }
    }
    Table_Close(object, stream, "FileProc_WrMatrixHFV: Problem closing ", path);
    OBJ_Free_T(object, scratch);
}

static float Read_Number(ObjectHeader* object, FILE* stream, const char* path)
{
    float value;
    if (Table_Scanned(stream, fscanf(stream, "%f", &value)) != 1) {
        FileProc_Refuse(object, FileProc_Open_Failed, "FileProc_RdMatrixHFV: error", path);
    }
    return value;
}

void FileProc_RdMatrixHFV(ObjectHeader* object, uint64_t N, uint64_t n, float*** m,
                          const char* path)
{
    static const char Format_Error[] = "FileProc_RdMatrixHFV: format error";
    float* scratch = Pair_Scratch(object, n, Format_Error, path);
    FILE* stream = Table_Open(object, path, "r", "FileProc_RdMatrixHFV: Problem opening ");
    for (uint64_t i = 0; i < N; i++) {
        for (uint64_t k = 0; k <= n / 2; k++) {
            scratch[k] = Read_Number(object, stream, path);
            if (!(Read_Number(object, stream, path) == 0.0f)) {
                FileProc_Refuse(object, FileProc_Open_Failed, Format_Error, path);
            }
        }
        VEC_Copy(object, n / 2 + 1, scratch, m[i][i]);
        for (uint64_t j = 0; j < i; j++) {
            for (uint64_t slot = 0; slot < n + 2; slot++) {
                scratch[slot] = Read_Number(object, stream, path);
            }
            FV_From_Pairs(object, static_cast<uint32_t>(n), scratch, m[i][j]);
        }
    }
    Table_Close(object, stream, "FileProc_RdMatrixHFV: Problem closing ", path);
    OBJ_Free_T(object, scratch);
}

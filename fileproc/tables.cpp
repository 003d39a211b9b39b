// Coefficients and matrices of numbers, whole files at once.
#include "fileproc/tables.h"

#include "frame/open_stream.h"
#include "frame/size.h"
#include "matrix/mat.h"
#include "vector/vec.h"

#include <cstring>

// ---- Files and scratch ----

FILE* Table_Open(ObjectHeader* object, const char* path, const char* mode, const char* text)
{
    FILE* stream = OBJ_Open_Stream(path, mode);
    if (stream == nullptr) {
        FileProc_Refuse(object, FileProc_Open_Failed, text, path);
    }
    return stream;
}

void Table_Close(ObjectHeader* object, FILE* stream, const char* text, const char* path)
{
    const bool broken = ferror(stream) != 0; // a later print may have gone well
    if (fclose(stream) != 0 || broken) {
        FileProc_Refuse(object, FileProc_Close_Failed, text, path);
    }
}

float* Table_Scratch(ObjectHeader* object, uint64_t count)
{
    return static_cast<float*>(OBJ_Malloc_T(object, Size_Product(count, sizeof(float))));
}

// ---- Coefficients ----

void FileProc_RdCoef(ObjectHeader* object, uint64_t count, const char* path, float* values)
{
    float* scratch = Table_Scratch(object, count);
    FILE* stream = Table_Open(object, path, "r", "FileProc_RdCoef: Problem opening ");
    for (uint64_t i = 0; i < count; i++) {
        const int result = Table_Scanned(stream, fscanf(stream, "%f", &scratch[i]));
        if (result == EOF && ferror(stream) == 0) {
            FileProc_Warn(object, "FileProc_RdCoef: Too few values in ", path);
            memset(scratch + i, 0, (count - i) * sizeof(float));
            break;
        }
        if (result != 1) {
            FileProc_Refuse(object, FileProc_Read_Failed, "FileProc_RdCoef: error parsing ", path);
        }
    }
    VEC_Copy(object, count, scratch, values);
    Table_Close(object, stream, "FileProc_RdCoef: Problem closing ", path);
    OBJ_Free_T(object, scratch);
}

void FileProc_WrCoef(ObjectHeader* object, uint64_t count, const char* path, const float* values)
{
    float* scratch = Table_Scratch(object, count);
    FILE* stream = Table_Open(object, path, "w", "FileProc_WrCoef: Problem opening ");
    VEC_Copy(object, count, values, scratch);
    for (uint64_t i = 0; i < count; i++) {
        fprintf(stream, "%e\n", static_cast<double>(scratch[i]));
    }
    Table_Close(object, stream, "FileProc_WrCoef: Problem closing %s", path);
    OBJ_Free_T(object, scratch);
}

// ---- Writing matrices ----

void FileProc_WrMatrixF(ObjectHeader* object, uint64_t rows, uint64_t columns,
                        const float* const* m, const char* path)
{
    float* scratch = Table_Scratch(object, columns);
    FILE* stream = Table_Open(object, path, "w", "FileProc_WrMatrixF: Problem opening ");
    for (uint64_t i = 0; i < rows; i++) {
        VEC_Copy(object, columns, m[i], scratch);
        for (uint64_t j = 0; j < columns; j++) {
            fprintf(stream, "%e\t", static_cast<double>(scratch[j]));
        }
        putc('\n', stream);
    }
    Table_Close(object, stream, "FileProc_WrMatrixF: Problem closing ", path);
    OBJ_Free_T(object, scratch);
}

void FileProc_WrMatrixI(ObjectHeader* object, uint64_t rows, uint64_t columns,
                        const int32_t* const* m, const char* path)
{
    FILE* stream = Table_Open(object, path, "w", "FileProc_WrMatrixI: Problem opening ");
    for (uint64_t i = 0; i < rows; i++) {
        for (uint64_t j = 0; j < columns; j++) {
            fprintf(stream, "%i ", m[i][j]);
        }
        putc('\n', stream);
    }
    Table_Close(object, stream, "FileProc_WrMatrixI: Problem closing ", path);
}

// ---- Reading matrices: no other thread has the stream, so single characters need no lock ----

static bool Is_Blank(int c)
{
    return c == ' ' || c == '\t';
}

static bool Ends_Line(int c)
{
    return c == '\n' || c == EOF;
}

// The first character behind blanks and tabs.
static int Next_Visible(FILE* stream)
{
    int c;
    do {
        c = getc_unlocked(stream);
    } while (Is_Blank(c));
    return c;
}

// Up to and with the line feed; true if more than white space went.
static bool Drop_Line(FILE* stream)
{
    bool dropped = false;
    for (int c = getc_unlocked(stream); !Ends_Line(c); c = getc_unlocked(stream)) {
        dropped = dropped || !(Is_Blank(c) || c == '\r');
    }
    return dropped;
}

void FileProc_RdMatrixF(ObjectHeader* object, uint64_t rows, uint64_t columns, float** m,
                        const char* path)
{
    float* scratch = Table_Scratch(object, columns);
    FILE* stream = Table_Open(object, path, "r", "FileProc_RdMatrixF: Problem opening ");
    MAT_Zero(object, rows, columns, m);
    uint64_t row = 0;
    uint64_t column = 0;
    bool too_few = false;
    bool too_many = false;
    int result = EOF;
    float value;
    while (columns != 0 && (result = Table_Scanned(stream, fscanf(stream, "%f", &value))) != EOF &&
           row < rows) {
        if (result != 1) {
            FileProc_Refuse(object, FileProc_Read_Failed, "FileProc_RdMatrixF: error parsing ",
                            path);
        }
        scratch[column++] = value;
        const int next = Next_Visible(stream);
        ungetc(next, stream);
        if (next == '\r') {
            FileProc_Refuse(object, FileProc_Open_Failed, "FileProc_RdMatrixF: DOS file? ", path);
        }
        if (Ends_Line(next) || column == columns) {
            too_few = too_few || column < columns;
            VEC_Copy(object, column, scratch, m[row]);
            too_many = Drop_Line(stream) || too_many;
            row++;
            column = 0;
        }
    }
    // Behind a read error the close reports; what is missing may well be in the file.
    if (ferror(stream) == 0) {
        if (too_few) {
            FileProc_Warn(object, "FileProc_RdMatrixF: Too few columns in ", path);
        }
        if (too_many) {
            FileProc_Warn(object, "FileProc_RdMatrixF: Too many columns in ", path);
        }
        if (row < rows && columns != 0) {
            FileProc_Warn(object, "FileProc_RdMatrixF: Too few rows in ", path);
        }
        if (result != EOF) {
            FileProc_Warn(object, "FileProc_RdMatrixF: Too many rows in ", path);
        }
    }
    Table_Close(object, stream, "FileProc_RdMatrixF: Problem closing ", path);
    OBJ_Free_T(object, scratch);
}

void FileProc_RdMatrixI(ObjectHeader* object, uint64_t rows, uint64_t columns, int32_t** m,
                        const char* path)
{
    FILE* stream = Table_Open(object, path, "r", "FileProc_RdMatrixI: Problem opening ");
    uint64_t row = 0;
    uint64_t column = 0;
    bool too_few = false;
    int result = EOF;
    int32_t value;
    while (columns != 0 && (result = Table_Scanned(stream, fscanf(stream, "%i", &value))) != EOF &&
           row < rows) {
        if (result != 1) {
            FileProc_Refuse(object, FileProc_Read_Failed, "FileProc_RdMatrixI: error parsing ",
                            path);
        }
        m[row][column++] = value;
        int next = getc_unlocked(stream);
        if (column == columns) {
            if (!Ends_Line(next)) {
                Drop_Line(stream);
            }
            row++;
            column = 0;
            continue;
        }
        if (Is_Blank(next)) {
            next = Next_Visible(stream);
        }
        if (Ends_Line(next)) {
            too_few = true;
            memset(m[row] + column, 0, (columns - column) * sizeof(int32_t));
            row++;
            column = 0;
        } else {
            ungetc(next, stream); // a carriage return too: the row goes on in the next line
        }
    }
    if (ferror(stream) == 0) { // else the close reports
        if (too_few) {
            FileProc_Warn(object, "FileProc_RdMatrixI: Too few columns in ", path);
        }
        if (row < rows && columns != 0) {
            FileProc_Warn(object, "FileProc_RdMatrixI: Too few rows in ", path);
            for (uint64_t i = row; i < rows; i++) {
                memset(m[i], 0, columns * sizeof(int32_t));
            }
        }
        if (row == rows && result == 1) {
            FileProc_Warn(object, "FileProc_RdMatrixI: Too many rows in ", path);
        }
    }
    Table_Close(object, stream, "FileProc_RdMatrixI: Problem closing ", path);
}

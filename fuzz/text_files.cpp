// The fuzz target for the text files. The first three bytes of an input choose the operation and
// its sizes, the rest is the file. Every call must return or stop with a whole report, stay inside
// its arrays, which are exactly as large as told, and do the same twice, whatever memory held
// before.
#include "fileproc/fileproc.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size);

static void Require(bool holds, const char* what)
{
    if (!holds) {
        fprintf(stderr, "text_files: broken promise: %s\n", what);
        abort();
    }
}

// ---- A call, and what a stop leaves ----

struct Sandbox {
    bool inside;
    jmp_buf stop;
    std::string reports;
    int32_t severity; // of the last report
    FILE* stream;
    void* block;
    uint8_t fill; // what new memory holds
};

static Sandbox Box;

static void Take_Report(ObjectHeader*, int32_t severity, int32_t code, const char* text)
{
    Require(Box.severity != OBJ_ERROR || severity == OBJ_ERROR, "no warning behind an error");
    Require(severity == OBJ_WARN || severity == OBJ_ERROR, "a known severity");
    Require(code == 2 || code == 10 || (code >= 14 && code <= 17), "a known code");
    Box.severity = severity;
    Box.reports += std::to_string(severity) + "," + std::to_string(code) + ": " + text + "\n";
}

static void Take_Stop(ObjectHeader*)
{
    Require(Box.severity == OBJ_ERROR, "a report before a stop");
    longjmp(Box.stop, 1);
}

static ObjectHeader Object = {"FUZZ", Take_Report, Take_Stop};

extern "C" {
FILE* __real_fopen(const char* path, const char* mode);
int __real_fclose(FILE* stream);
void* __real_memalign(size_t alignment, size_t size);
void __real_free(void* block);

FILE* __wrap_fopen(const char* path, const char* mode)
{
    FILE* stream = __real_fopen(path, mode);
    if (Box.inside) {
        Require(Box.stream == nullptr, "one stream at a time");
        Box.stream = stream;
    }
    return stream;
}

int __wrap_fclose(FILE* stream)
{
    Box.stream = stream == Box.stream ? nullptr : Box.stream;
    return __real_fclose(stream);
}

void* __wrap_memalign(size_t alignment, size_t size)
{
    void* block = __real_memalign(alignment, size);
    if (Box.inside) {
        Require(Box.block == nullptr, "one block at a time");
        Box.block = block;
        memset(block, Box.fill, size);
    }
    return block;
}

void __wrap_free(void* block)
{
    Box.block = block == Box.block ? nullptr : Box.block;
    __real_free(block);
}
}

template <class Call> static void Run(Call call)
{
    Box.severity = 0;
    Box.inside = true;
    if (setjmp(Box.stop) == 0) {
        call();
        Require(Box.stream == nullptr && Box.block == nullptr, "a return leaves nothing");
    }
    Box.inside = false;
    if (Box.stream != nullptr) {
        fclose(Box.stream);
    }
    if (Box.block != nullptr) {
        free(Box.block);
    }
    Box.stream = nullptr;
    Box.block = nullptr;
}

// ---- The file and the arrays ----

static std::string Set_File(const uint8_t* bytes, size_t size)
{
    static const int file = memfd_create("text", 0);
    Require(ftruncate(file, 0) == 0 && pwrite(file, bytes, size, 0) == static_cast<ssize_t>(size),
            "the file can be written");
    return "/proc/self/fd/" + std::to_string(file);
}

// Rows of their own, so that a sanitizer sees a step beyond one.
template <class Value> struct Table {
    uint64_t columns;
    std::vector<std::unique_ptr<Value[]>> each;
    std::vector<Value*> rows;

    Table(uint64_t count, uint64_t columns_) : columns(columns_), rows(count + 1)
    {
        for (uint64_t i = 0; i < count; i++) {
            each.push_back(std::make_unique<Value[]>(columns));
            rows[i] = each.back().get();
        }
    }
    void Show(std::string* out) const
    {
        for (const auto& row : each) {
            out->append(reinterpret_cast<const char*>(row.get()), columns * sizeof(Value));
        }
    }
};

// ---- Operations ----

static void Read_Fields(const char* path, uint64_t seed, std::string* out)
{
    Run([=] {
        FILE* stream = nullptr;
        FileProc_OpenPARFILE(&Object, path, &stream);
        uint64_t dice = seed;
        for (int field = 0; field < 12; field++) {
            int32_t ints[5] = {};
            float floats[5] = {};
            int64_t word = 0;
            double wide = 0.0;
            uint64_t found = 0;
            char name[8] = {};
            const uint64_t count = dice >> 8 & 3;
            switch (dice % 8) {
            case 0:
                FileProc_Rdint(&Object, stream, "%i", ints);
                break;
            case 1:
                FileProc_Rdlong(&Object, stream, "%ld", &word);
                break;
            case 2:
                FileProc_Rdflt(&Object, stream, "%f", floats);
                break;
            case 3:
                FileProc_RdDbl(&Object, stream, "%lf", &wide);
                break;
            case 4:
                FileProc_Rdszt(&Object, stream, "%i", &found);
                break;
            case 5:
                FileProc_Rdnme(&Object, stream, "%7s", name);
                break;
            case 6:
                FileProc_RdFloatString(&Object, stream, "a=b=", count, &found, floats);
                Require(found <= count, "not more numbers than asked for");
                break;
            default:
                FileProc_RdIntString(&Object, stream, "tag: ", count, &found, ints);
                Require(found <= count, "not more numbers than asked for");
            }
            out->append(reinterpret_cast<const char*>(ints), sizeof ints);
            out->append(reinterpret_cast<const char*>(floats), sizeof floats);
            *out += std::to_string(word) + " " + std::to_string(wide) + " " + std::to_string(found);
            *out += name;
            dice = dice * 6364136223846793005 + 1442695040888963407;
            dice ^= dice >> 29;
        }
        FileProc_ClosePARFILE(&Object, stream);
    });
}

static void Read_Spectra(const char* path, uint64_t N, uint64_t n, std::string* out)
{
    Table<float> below(N * N, n);
    Table<float> diagonal(N, n / 2 + 1);
    std::vector<std::vector<float*>> pointers(N, std::vector<float*>(N));
    std::vector<float**> rows(N + 1);
    for (uint64_t i = 0; i < N; i++) {
        for (uint64_t j = 0; j < i; j++) {
            pointers[i][j] = below.rows[i * N + j];
        }
        pointers[i][i] = diagonal.rows[i];
        rows[i] = pointers[i].data();
    }
    float*** const m = rows.data();
    Run([=] { FileProc_RdMatrixHFV(&Object, N, n, m, path); });
    below.Show(out);
    diagonal.Show(out);
}

static void Read_File(const char* path, const uint8_t* head, std::string* out)
{
    const uint64_t rows = head[1] % 6;
    const uint64_t columns = head[2] % 6;
    Table<float> floats(rows, columns);
    Table<int32_t> ints(rows, columns);
    float** const f = floats.rows.data();
    int32_t** const i = ints.rows.data();
    switch (head[0] % 5) {
    case 0:
        Run([=] { FileProc_RdMatrixF(&Object, rows, columns, f, path); });
        break;
    case 1:
        Run([=] { FileProc_RdMatrixI(&Object, rows, columns, i, path); });
        break;
    case 2:
        if (rows != 0) {
            Run([=] { FileProc_RdCoef(&Object, columns, path, f[0]); });
        }
        break;
    case 3:
        Read_Spectra(path, rows, columns * 2, out);
        break;
    default:
        Read_Fields(path, head[1] + 256u * head[2], out);
    }
    floats.Show(out);
    ints.Show(out);
    *out += Box.reports;
}

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    if (size < 3) {
        return 0;
    }
    const std::string path = Set_File(bytes + 3, size - 3);
    std::string once;
    std::string again;
    Box.fill = 0xC5;
    Box.reports.clear();
    Read_File(path.c_str(), bytes, &once);
    Box.fill = 0x3A;
    Box.reports.clear();
    Read_File(path.c_str(), bytes, &again);
    Require(once == again, "a call does the same twice");
    return 0;
}

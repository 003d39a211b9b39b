// A float matrix of 1000 x 1000 as a text file: written and read by the library, by the bare loop
// of fprintf or fscanf, the limit that the platform's number notation sets, and by numpy
// (python3-numpy). Turn and turn about in one run; prints medians in milliseconds and ratios. The
// one argument is the number of turns, 9 if there is none.
#include "fileproc/fileproc.h"
#include "matrix/mat.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

static constexpr uint64_t Size = 1000;

static ObjectHeader Object = OBJ_Template;
static float** M;
static float** Back;

static void Write_Bare(const char* path)
{
    FILE* stream = fopen(path, "w");
    for (uint64_t i = 0; i < Size; i++) {
        for (uint64_t j = 0; j < Size; j++) {
            fprintf(stream, "%e\t", static_cast<double>(M[i][j]));
        }
        putc('\n', stream);
    }
    fclose(stream);
}

static void Read_Bare(const char* path)
{
    FILE* stream = fopen(path, "r");
    for (uint64_t i = 0; i < Size; i++) {
        for (uint64_t j = 0; j < Size; j++) {
            if (fscanf(stream, "%f", &Back[i][j]) != 1) {
                abort();
            }
        }
    }
    fclose(stream);
}

template <class Side> static double Milliseconds(Side side)
{
    const auto start = std::chrono::steady_clock::now();
    side();
    const std::chrono::duration<double, std::milli> taken =
        std::chrono::steady_clock::now() - start;
    return taken.count();
}

// numpy's own time, without the start of the interpreter; 0 where numpy is missing.
static void Time_Numpy(const std::string& path, double* writing, double* reading)
{
    const std::string command =
        "/usr/bin/python3 -c 'import numpy, sys, time\n"
        "m = numpy.loadtxt(sys.argv[1], numpy.float32)\n"
        "t = time.perf_counter(); numpy.savetxt(sys.argv[1], m, \"%e\", \"\\t\")\n"
        "w = time.perf_counter(); numpy.loadtxt(sys.argv[1], numpy.float32)\n"
        "print(1e3 * (w - t), 1e3 * (time.perf_counter() - w))' " +
        path + " 2>/dev/null";
    FILE* pipe = popen(command.c_str(), "r");
    if (fscanf(pipe, "%lf %lf", writing, reading) != 2) {
        *writing = *reading = 0.0;
    }
    pclose(pipe);
}

static double Median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

int main(int count, char** arguments)
{
    const int turns = count > 1 ? atoi(arguments[1]) : 9;
    MAT_Alloc_C(&Object, Size, Size, &M);
    MAT_Alloc_C(&Object, Size, Size, &Back);
    std::mt19937 engine(1);
    std::normal_distribution<float> spread(0.0f, 1.0f);
    for (uint64_t i = 0; i < Size * Size; i++) {
        M[i / Size][i % Size] = spread(engine);
    }
    char directory[] = "/tmp/textfiles-XXXXXX";
    if (mkdtemp(directory) == nullptr) {
        perror(directory);
        return 1;
    }
    const std::string path = std::string(directory) + "/m.txt";
    std::vector<double> times[6];
    for (int turn = 0; turn < turns; turn++) {
        times[0].push_back(
            Milliseconds([&] { FileProc_WrMatrixF(&Object, Size, Size, M, path.c_str()); }));
        times[1].push_back(Milliseconds([&] { Write_Bare(path.c_str()); }));
        times[2].push_back(
            Milliseconds([&] { FileProc_RdMatrixF(&Object, Size, Size, Back, path.c_str()); }));
        times[3].push_back(Milliseconds([&] { Read_Bare(path.c_str()); }));
        double writing = 0.0;
        double reading = 0.0;
        Time_Numpy(path, &writing, &reading);
        times[4].push_back(writing);
        times[5].push_back(reading);
    }
    remove(path.c_str());
    remove(directory);
    const char* const names[] = {"write", "read"};
    for (int k = 0; k < 2; k++) {
        const double ours = Median(times[2 * k]);
        const double bare = Median(times[2 * k + 1]);
        const double numpy = Median(times[4 + k]);
        printf("%-5s  ours %7.1f ms  bare loop %7.1f ms  numpy %7.1f ms  ours/bare %.3f", names[k],
               ours, bare, numpy, ours / bare);
        printf(numpy > 0.0 ? "  ours/numpy %.3f\n" : "  (numpy is missing)\n", ours / numpy);
    }
    return 0;
}

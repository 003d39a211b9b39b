// Times of the real transforms, forward and inverse, out of place and in place, beside other
// libraries on the same buffers. All contenders of one case run in turn within a round, so that a
// change of the machine's clock meets all of them; ratios are taken from one run only.
//
//   bench_fft [--csv FILE] [--rounds R] [--only N] [--ring K]
//
// In place the result of one transform is the input of the next on that buffer. So that small sizes
// are not measured as the time from one result to the next, they go round a ring of buffers; the
// option --ring 1 asks for a single one.
//
// The CSV has a row for each contender and case: the least and the median time of one transform
// over the rounds. Each library computes its own scaling and its own packing of the spectrum.
#include "spectrum/fft.h"

#include <fftw3.h>
#if defined(HAVE_KISSFFT)
#include <kissfft/kiss_fftr.h>
#endif
#if defined(HAVE_AVUTIL)
extern "C" {
#include <libavutil/tx.h>
}
#endif

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace
{

struct Case {
    uint32_t n;
    bool inverse;
    bool in_place;
    uint32_t ring; // pairs of buffers; one pair out of place
};

struct Contender {
    std::string name;
    std::function<void(uint32_t)> run; // so many transforms
    std::vector<double> nanoseconds;
};

// Copies of N/2 + 1 points, each on a cache line of its own, from the boundary of a page on.
struct Buffer {
    float* data;
    size_t stride; // floats

    explicit Buffer(uint32_t n, uint32_t copies = 1)
        : data(nullptr), stride((size_t{n} + 2 + 15) & ~size_t{15})
    {
        const size_t bytes = (copies * stride * sizeof(float) + 4095) & ~size_t{4095};
        data = static_cast<float*>(aligned_alloc(4096, bytes));
        memset(data, 0, bytes);
    }
    ~Buffer()
    {
        free(data);
    }
    Buffer(const Buffer&) = delete;
};

double Now()
{
    using namespace std::chrono;
    return static_cast<double>(
        duration_cast<nanoseconds>(steady_clock::now().time_since_epoch()).count());
}

void Fill_Random(float* data, uint32_t n)
{
    std::mt19937 generator(n);
    std::uniform_real_distribution<float> value(-1.0f, 1.0f);
    for (uint32_t k = 0; k < n; k++) {
        data[k] = value(generator);
    }
}

// ---- Contenders ----

void Add_Ours(std::vector<Contender>* list, const Case& c, const FftRealPlan* plan, float* in,
              float* out, size_t stride)
{
    const auto transform = c.inverse ? FFT_Real_Inverse : FFT_Real_Forward;
    list->push_back({"ours",
                     [=](uint32_t times) {
                         for (size_t k = 0; times-- > 0; k = (k + 1) & (c.ring - 1)) {
                             transform(plan, c.n, in + k * stride, out + k * stride);
                         }
                     },
                     {}});
}

void Add_Fftw(std::vector<Contender>* list, const Case& c, unsigned flag, const char* name,
              float* in, float* out, size_t stride)
{
    const int n = static_cast<int>(c.n);
    fftwf_plan plan =
        c.inverse ? fftwf_plan_dft_c2r_1d(n, reinterpret_cast<fftwf_complex*>(in), out, flag)
                  : fftwf_plan_dft_r2c_1d(n, in, reinterpret_cast<fftwf_complex*>(out), flag);
    if (c.ring == 1) {
        list->push_back({name,
                         [=](uint32_t times) {
                             while (times-- > 0) {
                                 fftwf_execute(plan);
                             }
                         },
                         {}});
        return;
    }
    list->push_back(
        {name,
         [=](uint32_t times) {
             for (size_t k = 0; times-- > 0; k = (k + 1) & (c.ring - 1)) {
                 float* a = in + k * stride;
                 float* b = out + k * stride;
                 if (c.inverse) {
                     fftwf_execute_dft_c2r(plan, reinterpret_cast<fftwf_complex*>(a), b);
                 } else {
                     fftwf_execute_dft_r2c(plan, a, reinterpret_cast<fftwf_complex*>(b));
                 }
             }
         },
         {}});
}

#if defined(HAVE_KISSFFT)
void Add_Kiss(std::vector<Contender>* list, const Case& c, float* in, float* out)
{
    if (c.in_place) {
        return; // not offered
    }
    kiss_fftr_cfg plan = kiss_fftr_alloc(static_cast<int>(c.n), c.inverse, nullptr, nullptr);
    list->push_back({"kissfft",
                     [=](uint32_t times) {
                         while (times-- > 0) {
                             if (c.inverse) {
                                 kiss_fftri(plan, reinterpret_cast<kiss_fft_cpx*>(in), out);
                             } else {
                                 kiss_fftr(plan, in, reinterpret_cast<kiss_fft_cpx*>(out));
                             }
                         }
                     },
                     {}});
}
#endif

#if defined(HAVE_AVUTIL)
void Add_Avutil(std::vector<Contender>* list, const Case& c, float* in, float* out)
{
    if (c.in_place) {
        return;
    }
    AVTXContext* context = nullptr;
    av_tx_fn transform = nullptr;
    const float scale = 1.0f;
    if (av_tx_init(&context, &transform, AV_TX_FLOAT_RDFT, c.inverse, static_cast<int>(c.n), &scale,
                   0) < 0) {
        return;
    }
    const ptrdiff_t stride = c.inverse ? 2 * sizeof(float) : sizeof(float);
    list->push_back({"libavutil",
                     [=](uint32_t times) {
                         while (times-- > 0) {
                             transform(context, out, in, stride);
                         }
                     },
                     {}});
}
#endif

// ---- Measuring ----

void Measure(std::vector<Contender>* list, int rounds, const std::function<void()>& refill)
{
    const double Slice = 200e3; // nanoseconds a turn
    std::vector<uint32_t> times;
    for (Contender& c : *list) {
        uint32_t count = 1;
        for (;;) {
            const double start = Now();
            c.run(count);
            const double taken = Now() - start;
            if (taken > Slice / 4) {
                count = static_cast<uint32_t>(std::max(1.0, count * Slice / taken));
                break;
            }
            count *= 2;
        }
        times.push_back(count);
    }
    for (int round = 0; round < rounds; round++) {
        for (size_t k = 0; k < list->size(); k++) {
            Contender& c = (*list)[k];
            refill();
            c.run(1);
            const double start = Now();
            c.run(times[k]);
            c.nanoseconds.push_back((Now() - start) / times[k]);
        }
    }
}

struct Times {
    double least;
    double median;
};

Times Times_Of(const Contender& c)
{
    std::vector<double> sorted = c.nanoseconds;
    std::sort(sorted.begin(), sorted.end());
    return {sorted.front(), sorted[sorted.size() / 2]};
}

// The same answer from the peer, before anything is timed.
bool Agrees(const FftRealPlan* plan, uint32_t n)
{
    Buffer in(n);
    Buffer ours(n);
    Buffer theirs(n);
    fftwf_plan peer = fftwf_plan_dft_r2c_1d(
        static_cast<int>(n), in.data, reinterpret_cast<fftwf_complex*>(theirs.data), FFTW_ESTIMATE);
    Fill_Random(in.data, n);
    FFT_Real_Forward(plan, n, in.data, ours.data);
    fftwf_execute(peer);
    fftwf_destroy_plan(peer);
    const double limit = 1e-5 * n;
    bool same = std::fabs(ours.data[1] - 2 * theirs.data[n]) < limit;
    for (uint32_t k = 0; k < n; k++) {
        same = same && (k == 1 || std::fabs(ours.data[k] - 2 * theirs.data[k]) < limit);
    }
    return same;
}

} // namespace

int main(int argc, char** argv)
{
    const char* csv_name = nullptr;
    int rounds = 51;
    uint32_t only = 0;
    uint32_t most_buffers = 16;
    for (int k = 1; k + 1 < argc; k += 2) {
        const std::string option = argv[k];
        if (option == "--csv") {
            csv_name = argv[k + 1];
        } else if (option == "--rounds") {
            rounds = atoi(argv[k + 1]);
        } else if (option == "--only") {
            only = static_cast<uint32_t>(atoi(argv[k + 1]));
        } else if (option == "--ring") {
            most_buffers = static_cast<uint32_t>(atoi(argv[k + 1])); // a power of two
        } else {
            fprintf(stderr, "usage: bench_fft [--csv FILE] [--rounds R] [--only N] [--ring K]\n");
            return 1;
        }
    }
    constexpr uint32_t Largest = 65536;
    FftRealPlan* plan = static_cast<FftRealPlan*>(aligned_alloc(64, FFT_RealPlan_Size(Largest)));
    FFT_RealPlan_Init(Largest, plan);
    FILE* csv = csv_name != nullptr ? fopen(csv_name, "w") : nullptr;
    if (csv != nullptr) {
        fprintf(csv, "n,direction,placement,library,min_ns,median_ns,min_ratio,median_ratio\n");
    }
    for (const bool in_place : {false, true}) {
        for (const bool inverse : {false, true}) {
            printf("%s, %s: least nanoseconds (times of ours / theirs, least and median)\n",
                   inverse ? "inverse" : "forward", in_place ? "in place" : "out of place");
            for (uint32_t n = 8; n <= Largest; n *= 2) {
                if (only != 0 && n != only) {
                    continue;
                }
                if (!Agrees(plan, n)) {
                    fprintf(stderr, "results differ at %u\n", n);
                    return 1;
                }
                const uint32_t fitting = std::max(1u, std::min(most_buffers, 1024 / n));
                const Case c = {n, inverse, in_place, in_place ? fitting : 1};
                Buffer in(n, c.ring);
                Buffer second(n);
                float* out = in_place ? in.data : second.data;
                std::vector<Contender> list;
                Add_Ours(&list, c, plan, in.data, out, in.stride);
                Add_Fftw(&list, c, FFTW_MEASURE, "fftw measure", in.data, out, in.stride);
                Add_Fftw(&list, c, FFTW_ESTIMATE, "fftw estimate", in.data, out, in.stride);
#if defined(HAVE_KISSFFT)
                Add_Kiss(&list, c, in.data, out);
#endif
#if defined(HAVE_AVUTIL)
                Add_Avutil(&list, c, in.data, out);
#endif
                // In place the result is the next input: zeros, which do not grow.
                Measure(&list, rounds, [&] {
                    if (in_place) {
                        memset(in.data, 0, c.ring * in.stride * sizeof(float));
                    } else {
                        Fill_Random(in.data, n);
                        in.data[n] = 0.0f;
                        in.data[n + 1] = 0.0f;
                    }
                });
                const Times ours = Times_Of(list[0]);
                printf("%6u", n);
                for (const Contender& contender : list) {
                    const Times t = Times_Of(contender);
                    printf("  %s %.1f", contender.name.c_str(), t.least);
                    if (&contender != &list[0]) {
                        printf(" (%.2f %.2f)", ours.least / t.least, ours.median / t.median);
                    }
                    if (csv != nullptr) {
                        fprintf(csv, "%u,%s,%s,%s,%.2f,%.2f,%.3f,%.3f\n", n,
                                inverse ? "inverse" : "forward", in_place ? "in" : "out",
                                contender.name.c_str(), t.least, t.median, ours.least / t.least,
                                ours.median / t.median);
                    }
                }
                printf("\n");
                fflush(stdout);
            }
        }
    }
    if (csv != nullptr) {
        fclose(csv);
    }
    free(plan);
    return 0;
}

// The vector kernels against VOLK and against plain loops, in one process and turn and turn about,
// so that what else the machine does falls on all sides. A turn is as many calls on the same arrays
// as take some tens of microseconds. The limits are measured too: memory bandwidth for arrays
// beyond the caches, and for sums the chain of dependent steps that their order asks for.
#include "bench/vector_plain.h"
#include "vector/kern.h"
#include "vector/vec.h"

#include <CLI/CLI.hpp>
#include <volk/constants.h>
#include <volk/volk.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <random>
#include <regex>
#include <string>
#include <vector>

using Clock = std::chrono::steady_clock;

static ObjectHeader Object;
static constexpr float S = 0.7f;
static constexpr uint32_t Largest = 4u << 20;
static const uint32_t Sizes[] = {16, 64, 256, 1024, 4096, 16384, 65536, 1u << 20, Largest};

// What a call works on. The result of a reduction goes to dst[0].
struct Call {
    uint32_t n;
    const float *a, *b;
    float* dst;
};
using Side = void(const Call&);

enum Chain { No_Chain, Additions, Fused_Steps };

struct Kernel {
    const char* name;
    const char* peer_name;       // as in volk_<name>, or empty
    unsigned streams;            // arrays that move through memory
    double small, middle, large; // targets of ours over the peer's time; 0 for none
    Side *ours, *peer, *plain;
    Chain chain;
    bool same_result; // by a tolerance, with the peer
};

static const Kernel Kernels[] = {
    {"Add", "32f_x2_add_32f", 3, 0.8, 1.3, 1.05,
     [](const Call& c) { KERN_Add(&Object, c.n, c.a, c.b, c.dst); },
     [](const Call& c) { volk_32f_x2_add_32f(c.dst, c.a, c.b, c.n); },
     [](const Call& c) { Plain_Add(c.n, c.a, c.b, c.dst); }, No_Chain, true},
    {"Sub", "32f_x2_subtract_32f", 3, 0.8, 1.3, 1.05,
     [](const Call& c) { KERN_Sub(&Object, c.n, c.a, c.b, c.dst); },
     [](const Call& c) { volk_32f_x2_subtract_32f(c.dst, c.a, c.b, c.n); },
     [](const Call& c) { Plain_Sub(c.n, c.a, c.b, c.dst); }, No_Chain, true},
    {"Mul", "32f_x2_multiply_32f", 3, 0.8, 1.3, 1.05,
     [](const Call& c) { KERN_Mul(&Object, c.n, c.a, c.b, c.dst); },
     [](const Call& c) { volk_32f_x2_multiply_32f(c.dst, c.a, c.b, c.n); },
     [](const Call& c) { Plain_Mul(c.n, c.a, c.b, c.dst); }, No_Chain, true},
    {"Scale_Div", "32f_x2_divide_32f", 3, 0, 0, 1.05, // the peer divides only
     [](const Call& c) { KERN_Scale_Div(&Object, c.n, c.a, c.b, c.dst, S); },
     [](const Call& c) { volk_32f_x2_divide_32f(c.dst, c.a, c.b, c.n); },
     [](const Call& c) { Plain_Scale_Div(c.n, c.a, c.b, c.dst); }, No_Chain, false},
    {"Scale", "32f_s32f_multiply_32f", 2, 0.8, 1.3, 1.05,
     [](const Call& c) { KERN_Scale(&Object, c.n, c.a, c.dst, S); },
     [](const Call& c) { volk_32f_s32f_multiply_32f(c.dst, c.a, S, c.n); },
     [](const Call& c) { Plain_Scale(c.n, c.a, c.dst); }, No_Chain, true},
    {"Add_Scalar", "32f_s32f_add_32f", 2, 0.8, 1.3, 1.05,
     [](const Call& c) { KERN_Add_Scalar(&Object, c.n, c.a, c.dst, S); },
     [](const Call& c) { volk_32f_s32f_add_32f(c.dst, c.a, S, c.n); },
     [](const Call& c) { Plain_Add_Scalar(c.n, c.a, c.dst); }, No_Chain, true},
    {"Sqrt", "32f_sqrt_32f", 2, 0.8, 1.3, 1.05, [](const Call& c) { KERN_Sqrt(c.n, c.a, c.dst); },
     [](const Call& c) { volk_32f_sqrt_32f(c.dst, c.a, c.n); },
     [](const Call& c) { Plain_Sqrt(c.n, c.a, c.dst); }, No_Chain, true},
    {"Max", "32f_x2_max_32f", 3, 2.5, 2.5, 1.05,
     [](const Call& c) { KERN_Max(&Object, c.n, c.a, c.b, c.dst); },
     [](const Call& c) { volk_32f_x2_max_32f(c.dst, c.a, c.b, c.n); },
     [](const Call& c) { Plain_Max(c.n, c.a, c.b, c.dst); }, No_Chain, true},
    {"Min", "32f_x2_min_32f", 3, 2.5, 2.5, 1.05,
     [](const Call& c) { KERN_Min(&Object, c.n, c.a, c.b, c.dst); },
     [](const Call& c) { volk_32f_x2_min_32f(c.dst, c.a, c.b, c.n); },
     [](const Call& c) { Plain_Min(c.n, c.a, c.b, c.dst); }, No_Chain, true},
    {"Max_Value", "32f_index_max_32u", 1, 2.5, 2.5, 1.05,
     [](const Call& c) { KERN_Max_Value(&Object, c.n, c.a, c.dst); },
     [](const Call& c) {
         uint32_t index;
         volk_32f_index_max_32u(&index, c.a, c.n);
         c.dst[0] = c.a[index];
     },
     [](const Call& c) { c.dst[0] = Plain_Max_Value(c.n, c.a); }, No_Chain, true},
    {"FV_Mul", "32fc_x2_multiply_32fc", 3, 0.8, 1.3, 1.05,
     [](const Call& c) { KERN_FV_Mul(c.n, c.a, c.b, c.dst); },
     [](const Call& c) {
         volk_32fc_x2_multiply_32fc(reinterpret_cast<lv_32fc_t*>(c.dst),
                                    reinterpret_cast<const lv_32fc_t*>(c.a),
                                    reinterpret_cast<const lv_32fc_t*>(c.b), c.n / 2);
     },
     [](const Call& c) { Plain_FV_Mul(c.n, c.a, c.b, c.dst); }, No_Chain, false},
    {"MulAcc", "", 4, 0, 0, 0, [](const Call& c) { KERN_MulAcc(&Object, c.n, c.a, c.b, c.dst); },
     nullptr, [](const Call& c) { Plain_MulAcc(c.n, c.a, c.b, c.dst); }, No_Chain, false},
    {"Clamp", "", 2, 0, 0, 0,
     [](const Call& c) { KERN_Clamp(&Object, c.n, c.a, c.dst, S, nullptr); }, nullptr,
     [](const Call& c) { Plain_Clamp(c.n, c.a, c.dst); }, No_Chain, false},
    {"Recip_Estimate", "", 2, 0, 0, 0,
     [](const Call& c) { KERN_Recip_Estimate(&Object, c.n, c.a, c.dst); }, nullptr,
     [](const Call& c) { Plain_Recip(c.n, c.a, c.dst); }, No_Chain, false},
    {"Copy", "", 2, 0, 0, 0, [](const Call& c) { KERN_Copy(&Object, c.n, c.a, c.dst); }, nullptr,
     [](const Call& c) { Plain_Copy(c.n, c.a, c.dst); }, No_Chain, false},
    {"Zero", "", 1, 0, 0, 0, [](const Call& c) { KERN_Zero(&Object, c.n, c.dst); }, nullptr,
     [](const Call& c) { Plain_Zero(c.n, c.dst); }, No_Chain, false},
    {"Sum", "32f_accumulator_s32f", 1, 0, 0, 0,
     [](const Call& c) { KERN_Sum(&Object, c.n, c.a, c.dst); },
     [](const Call& c) { volk_32f_accumulator_s32f(c.dst, c.a, c.n); },
     [](const Call& c) { c.dst[0] = Plain_Sum(c.n, c.a); }, Additions, true},
    {"SumSquares", "", 1, 0, 0, 0, [](const Call& c) { KERN_SumSquares(&Object, c.n, c.a, c.dst); },
     nullptr, [](const Call& c) { c.dst[0] = Plain_SumSquares(c.n, c.a); }, Fused_Steps, false},
    {"Dot", "32f_x2_dot_prod_32f", 2, 0, 0, 0,
     [](const Call& c) { KERN_Dot(&Object, c.n, c.a, c.b, c.dst); },
     [](const Call& c) { volk_32f_x2_dot_prod_32f(c.dst, c.a, c.b, c.n); },
     [](const Call& c) { c.dst[0] = Plain_Dot(c.n, c.a, c.b); }, Fused_Steps, true},
};

// ---- Turns ----

struct Range {
    double median, low, high;
};

static Range Range_Of(std::vector<double> series)
{
    if (series.empty()) {
        return {};
    }
    std::sort(series.begin(), series.end());
    return {series[series.size() / 2], series.front(), series.back()};
}

static double Time_Turn(Side* side, const Call& call, uint64_t calls)
{
    const Clock::time_point start = Clock::now();
    for (uint64_t i = 0; i < calls; i++) {
        side(call);
        __asm__ volatile("" ::: "memory");
    }
    const double ns = std::chrono::duration<double, std::nano>(Clock::now() - start).count();
    return ns / static_cast<double>(calls);
}

// Medians of ns a call, and of ours over the other's, turn by turn. The first changes from one
// round to the next.
struct Sides {
    std::vector<Side*> side;
    std::vector<double> ns;
    std::vector<Range> ratio; // of the first over each
};

static Sides Take_Turns(std::vector<Side*> side, const Call& call, uint64_t rounds, double turn_ns)
{
    const double once = std::max(Time_Turn(side[0], call, 3), 1.0);
    const uint64_t calls = static_cast<uint64_t>(std::max(1.0, turn_ns / once));
    const size_t count = side.size();
    std::vector<std::vector<double>> ns(count);
    std::vector<std::vector<double>> ratios(count);
    for (Side* s : side) {
        Time_Turn(s, call, calls);
    }
    for (uint64_t round = 0; round < rounds; round++) {
        std::vector<double> now(count);
        for (size_t k = 0; k < count; k++) {
            const size_t who = (round + k) % count;
            now[who] = Time_Turn(side[who], call, calls);
        }
        for (size_t who = 0; who < count; who++) {
            ns[who].push_back(now[who]);
            ratios[who].push_back(now[0] / now[who]);
        }
    }
    Sides result = {side, {}, {}};
    for (size_t who = 0; who < count; who++) {
        result.ns.push_back(Range_Of(ns[who]).median);
        result.ratio.push_back(Range_Of(ratios[who]));
    }
    return result;
}

// ---- Memory ----

struct Memory {
    std::vector<float> storage;
    float* array[3];

    // 64-byte boundaries, as the peer wants them; the arrays a page and some lines apart.
    explicit Memory(uint32_t n)
    {
        const size_t stride = n + 1024 + 272;
        storage.resize(3 * stride + 32);
        std::mt19937 random(1);
        std::uniform_real_distribution<float> noise(0.5f, 1.5f);
        for (float& value : storage) {
            value = noise(random);
        }
        const uintptr_t start = reinterpret_cast<uintptr_t>(storage.data());
        for (size_t k = 0; k < 3; k++) {
            array[k] = storage.data() + (64 - start % 64) % 64 / sizeof(float) + k * stride;
        }
    }

    Call Make_Call(uint32_t n, bool aligned) const
    {
        const size_t off = aligned ? 0 : 1;
        return {n, array[0] + off, array[1] + off, array[2] + off};
    }
};

// ---- Rows ----

struct Setting {
    uint64_t rounds = 21;
    double turn_ns = 60000.0;
    double bandwidth[5] = {}; // bytes per ns for each number of streams
};

struct Result {
    const Kernel* kernel;
    uint32_t n;
    bool aligned;
    double ours_ns;
    Range to_peer, to_plain, to_chain;
    double of_bandwidth;
};

static std::string Row_Name(const Kernel& kernel, uint32_t n, bool aligned)
{
    return std::string(kernel.name) + " " + std::to_string(n) + (aligned ? " aligned" : " off");
}

static bool Agrees(const Kernel& kernel, const Call& call)
{
    if (!kernel.same_result || kernel.peer == nullptr) {
        return true;
    }
    const bool one_number = kernel.chain != No_Chain || std::string(kernel.name) == "Max_Value";
    const uint32_t results = one_number ? 1 : call.n;
    kernel.ours(call);
    const std::vector<float> ours(call.dst, call.dst + results);
    kernel.peer(call);
    for (uint32_t i = 0; i < results; i++) {
        // Sums of n terms in another order; the rest rounds alike.
        const float tolerance = one_number ? 1e-3f : 1e-6f;
        if (!(std::fabs(ours[i] - call.dst[i]) <= tolerance * std::fabs(ours[i]))) {
            fprintf(stderr, "%s n %u, element %u: %.9g and %.9g\n", kernel.name, call.n, i,
                    static_cast<double>(ours[i]), static_cast<double>(call.dst[i]));
            return false;
        }
    }
    return true;
}

static double Target(const Result& r)
{
    if (!r.aligned) {
        return 0.0;
    }
    return r.n <= 64        ? r.kernel->small
           : r.n <= 65536   ? r.kernel->middle
           : r.n == Largest ? r.kernel->large
                            : 0.0;
}

static Result Measure(const Setting& setting, const Kernel& kernel, const Call& call, bool aligned)
{
    std::vector<Side*> side = {kernel.ours, kernel.plain};
    if (kernel.peer != nullptr) {
        side.push_back(kernel.peer);
    }
    if (kernel.chain == Additions) {
        side.push_back([](const Call& c) { Plain_Addition_Chain(c.n, c.a, c.dst); });
    } else if (kernel.chain == Fused_Steps) {
        side.push_back([](const Call& c) { Plain_Fused_Chain(c.n, c.a, c.dst); });
    }
    const Sides sides = Take_Turns(side, call, setting.rounds, setting.turn_ns);
    Result result = {&kernel, call.n, aligned, sides.ns[0], {}, sides.ratio[1], {}, 0.0};
    if (kernel.peer != nullptr) {
        result.to_peer = sides.ratio[2];
    }
    if (kernel.chain != No_Chain) {
        result.to_chain = sides.ratio.back();
    }
    if (call.n == Largest) {
        const double bytes = 4.0 * static_cast<double>(call.n) * kernel.streams;
        result.of_bandwidth = bytes / sides.ns[0] / setting.bandwidth[kernel.streams];
    }
    return result;
}

static void Print_Result(const Result& r)
{
    printf("%-28s %10.4f ", Row_Name(*r.kernel, r.n, r.aligned).c_str(),
           r.ours_ns / static_cast<double>(r.n));
    const auto print = [](const Range& range) {
        if (range.median == 0.0) {
            printf(" %-20s", "-");
        } else {
            printf(" %5.2f (%4.2f to %5.2f)", range.median, range.low, range.high);
        }
    };
    print(r.to_peer);
    print(r.to_plain);
    print(r.to_chain);
    if (r.of_bandwidth != 0.0) {
        printf("  %3.0f%% of bandwidth", 100.0 * r.of_bandwidth);
    }
    const double target = Target(r);
    if (target != 0.0) {
        printf("  target %.2f%s", target, r.to_peer.median <= target ? "" : " MISSED");
    }
    printf("\n");
    fflush(stdout);
}

// The highest bandwidth of any loop here with so many streams: bytes asked for, not counting the
// lines that a store reads first.
static void Measure_Bandwidth(Setting* setting, const Memory& memory)
{
    struct Stream {
        unsigned streams;
        Side* side;
    };
    const Stream Streams[] = {
        {1, [](const Call& c) { KERN_Max_Value(&Object, c.n, c.a, c.dst); }},
        {1, [](const Call& c) { Plain_Zero(c.n, c.dst); }},
        {2, [](const Call& c) { Plain_Scale(c.n, c.a, c.dst); }},
        {2, [](const Call& c) { Plain_Copy(c.n, c.a, c.dst); }},
        {3, [](const Call& c) { Plain_Add(c.n, c.a, c.b, c.dst); }},
        {4, [](const Call& c) { Plain_MulAcc(c.n, c.a, c.b, c.dst); }},
    };
    const Call call = memory.Make_Call(Largest, true);
    for (const Stream& s : Streams) {
        const Sides sides = Take_Turns({s.side}, call, setting->rounds, setting->turn_ns);
        const double bytes = 4.0 * Largest * s.streams;
        double* best = &setting->bandwidth[s.streams];
        *best = std::max(*best, bytes / sides.ns[0]);
    }
    printf("bandwidth  %.1f GB/s for one stream, %.1f for two, %.1f for three, %.1f for four, at "
           "%u floats each\n\n",
           setting->bandwidth[1], setting->bandwidth[2], setting->bandwidth[3],
           setting->bandwidth[4], Largest);
}

// ---- Interpolation ----

static std::vector<float> Interpolation_Taps;
static constexpr int32_t Factor = 4;

static bool Measure_Interpolation(const Setting& setting)
{
    constexpr uint32_t n = 48000;
    // An impulse at an input gives back the taps around it.
    std::vector<float> impulse(9, 0.0f);
    std::vector<float> response(impulse.size() * Factor);
    impulse[4] = 1.0f;
    VEC_Interpolate_Sinc(&Object, impulse.size(), Factor, impulse.data(), response.data());
    Interpolation_Taps.assign(response.begin() + 1, response.begin() + 8 * Factor);
    const Memory memory(n * Factor);
    const Call call = memory.Make_Call(n, true);
    Side* const ours = [](const Call& c) {
        VEC_Interpolate_Sinc(&Object, c.n, Factor, c.a, c.dst);
    };
    Side* const literal = [](const Call& c) {
        Plain_Interpolate(c.n, Factor, Interpolation_Taps.data(), c.a, c.dst);
    };
    ours(call);
    const std::vector<float> result(call.dst, call.dst + n * Factor);
    literal(call);
    if (memcmp(result.data(), call.dst, result.size() * sizeof(float)) != 0) {
        fprintf(stderr, "the interpolation and its literal loop differ\n");
        return false;
    }
    const Sides sides = Take_Turns({ours, literal}, call, setting.rounds, setting.turn_ns);
    printf("\nVEC_Interpolate_Sinc, L 4, n 48000: %.0f us, %.1f times as fast as the literal loop "
           "(%.1f to %.1f), target 4%s\n",
           sides.ns[0] * 1e-3, 1.0 / sides.ratio[1].median, 1.0 / sides.ratio[1].high,
           1.0 / sides.ratio[1].low, sides.ratio[1].median <= 0.25 ? "" : " MISSED");
    return true;
}

// ---- Targets ----

struct TargetGroup {
    const char* what;
    double target;
    uint32_t from, to;
    bool wants_chain;
};
static const TargetGroup Target_Groups[] = {
    {"element-wise, 16 and 64, to VOLK", 0.8, 16, 64, false},
    {"element-wise, 256 to 65536, to VOLK", 1.3, 256, 65536, false},
    {"element-wise and extrema, 4M, to VOLK", 1.05, Largest, Largest, false},
    {"minima and maxima, 16 to 65536, to VOLK", 2.5, 16, 65536, false},
    {"sums, 4096 to 65536, to their order's chain", 1.15, 4096, 65536, true},
};

// Medians and worst rows over what each target names, aligned calls.
static void Print_Targets(const std::vector<Result>& results)
{
    printf("\nMedians over the rows of a target\n");
    for (const TargetGroup& group : Target_Groups) {
        std::vector<double> ratios;
        for (const Result& r : results) {
            const bool inside = r.aligned && r.n >= group.from && r.n <= group.to;
            if (inside &&
                (group.wants_chain ? r.to_chain.median != 0.0 : Target(r) == group.target)) {
                ratios.push_back(group.wants_chain ? r.to_chain.median : r.to_peer.median);
            }
        }
        if (!ratios.empty()) {
            const Range range = Range_Of(ratios);
            printf("%-44s %3zu rows  %.2f, target %.2f, %s; worst row %.2f\n", group.what,
                   ratios.size(), range.median, group.target,
                   range.median <= group.target ? "met" : "MISSED", range.high);
        }
    }
}

// ---- The program ----

static void Print_Setting(const Setting& setting)
{
    std::ifstream info("/proc/cpuinfo");
    std::string line;
    while (std::getline(info, line) && !line.starts_with("model name")) {
    }
    printf("processor  %s\n", line.empty() ? "unknown" : line.substr(line.find(':') + 2).c_str());
#if defined(__clang__)
    printf("compiler   clang %s\n", __clang_version__);
#else
    printf("compiler   g++ %s\n", __VERSION__);
#endif
    printf("flags      %s\n", OMBRINE_BENCH_FLAGS);
    printf("peer       VOLK %s, machine %s\n", volk_version(), volk_get_machine());
    printf("turns      %llu of each, one after the other; medians, with lowest and highest\n",
           static_cast<unsigned long long>(setting.rounds));
}

static bool Write_Csv(const std::string& path, const std::vector<Result>& results)
{
    std::ofstream csv(path);
    csv << "kernel,n,aligned,ours_ns_per_float,ours_per_peer,ours_per_peer_low,ours_per_peer_high,"
           "ours_per_plain,ours_per_chain,of_bandwidth,target\n";
    for (const Result& r : results) {
        csv << r.kernel->name << ',' << r.n << ',' << r.aligned << ','
            << r.ours_ns / static_cast<double>(r.n) << ',' << r.to_peer.median << ','
            << r.to_peer.low << ',' << r.to_peer.high << ',' << r.to_plain.median << ','
            << r.to_chain.median << ',' << r.of_bandwidth << ',' << Target(r) << '\n';
    }
    csv.flush();
    return csv.good();
}

int main(int argc, char** argv)
{
    Setting setting;
    bool quick = false;
    std::string filter;
    std::string csv;
    CLI::App app{"Times the vector kernels against VOLK and plain loops"};
    app.add_flag("--quick", quick, "few and short turns, to see that it runs");
    app.add_option("--filter", filter, "only rows whose name this regular expression finds");
    app.add_option("--csv", csv, "write the results to this file as well");
    app.add_option("--pairs", setting.rounds, "turns of each side")->check(CLI::Range(1, 1000));
    CLI11_PARSE(app, argc, argv);
    if (quick) {
        setting.rounds = 3;
        setting.turn_ns = 5000.0;
    }
    Object = OBJ_Template;
    OBJ_Set_Name(&Object, "BENCH");

    Print_Setting(setting);
    const Memory large(Largest);
    Measure_Bandwidth(&setting, large);
    printf("%-28s %10s  %-20s %-20s %-20s\n%-28s %10s  %-20s %-20s %-20s\n", "", "ours",
           "ours / VOLK", "ours / plain loop", "ours / order's chain", "kernel, n", "ns/float",
           "(below 1 is faster)", "(below 1 is faster)", "(1 is the best)");
    std::vector<Result> results;
    bool good = true;
    for (const Kernel& kernel : Kernels) {
        for (const uint32_t n : Sizes) {
            const Memory memory(n);
            for (const bool aligned : {true, false}) {
                if (!std::regex_search(Row_Name(kernel, n, aligned), std::regex(filter))) {
                    continue;
                }
                const Call call = memory.Make_Call(n, aligned);
                if (!Agrees(kernel, call)) {
                    good = false;
                    continue;
                }
                results.push_back(Measure(setting, kernel, call, aligned));
                Print_Result(results.back());
            }
        }
    }
    Print_Targets(results);
    if (std::regex_search("Interpolate_Sinc", std::regex(filter))) {
        good = Measure_Interpolation(setting) && good;
    }
    if (!csv.empty() && !Write_Csv(csv, results)) {
        fprintf(stderr, "cannot write %s\n", csv.c_str());
        good = false;
    }
    return good ? 0 : 1;
}

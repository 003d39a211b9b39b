#include "bench/audio_io_report.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sndfile.h>
#include <sys/utsname.h>

static const char* Format_Name(DataFormat format)
{
    static const char* const Names[] = {"UINT8",   "INT8",    "INT16",  "INT24", "INT32",
                                        "FLOAT32", "FLOAT64", "MULAW8", "ALAW8"};
    return Names[format];
}

static const char* Container_Name(FileType type)
{
    return type == FT_WAVE ? "WAVE" : "AIFF";
}

static std::string Block_Name(uint64_t block_frames)
{
    return block_frames == 0 ? "whole" : std::to_string(block_frames);
}

std::string Row_Name(const Row& row)
{
    return std::string(row.reading ? "read " : "write ") + Container_Name(row.container) + " " +
           Format_Name(row.format) + " " + std::to_string(row.channels) + "ch " +
           Block_Name(row.block_frames);
}

Range Range_Of(std::vector<double> series)
{
    std::sort(series.begin(), series.end());
    const size_t half = series.size() / 2;
    const double middle =
        series.size() % 2 != 0 ? series[half] : (series[half - 1] + series[half]) / 2.0;
    return {middle, series.front(), series.back()};
}

static std::string Processor()
{
    std::ifstream info("/proc/cpuinfo");
    std::string line;
    while (std::getline(info, line)) {
        if (line.starts_with("model name") && line.find(": ") != std::string::npos) {
            return line.substr(line.find(": ") + 2);
        }
    }
    utsname system = {};
    uname(&system);
    return system.machine;
}

void Print_Setting(uint64_t values, uint64_t pairs, const std::string& directory, bool cpu_time)
{
    printf("processor  %s\n", Processor().c_str());
#if defined(__clang__)
    printf("compiler   clang %s\n", __clang_version__);
#else
    printf("compiler   g++ %s\n", __VERSION__);
#endif
    printf("flags      %s\n", OMBRINE_BENCH_FLAGS);
    printf("peer       %s\n", sf_version_string());
    printf("files      %llu sample values each, in %s\n", static_cast<unsigned long long>(values),
           directory.c_str());
    printf("time       %s\n", cpu_time ? "of this process alone" : "on the clock");
    printf("turns      %llu of each, one after the other; medians, with lowest and highest\n\n",
           static_cast<unsigned long long>(pairs));
}

void Print_Heading()
{
    printf("%-29s %8s %8s %8s   %-21s %s\n", "", "ours", "peer", "limit", "ours / peer",
           "ours / limit");
    printf("%-29s %8s %8s %8s   %-21s %s\n", "row, block in frames", "ns/value", "ns/value",
           "ns/value", "(below 1 is faster)", "(1 is the best there is)");
}

void Print_Result(const Result& r)
{
    printf("%-29s %8.3f %8.3f %8.3f   %.3f (%.3f to %.3f) %.2f (%.2f to %.2f)\n",
           Row_Name(r.row).c_str(), r.ours_ns, r.peer_ns, r.limit_ns, r.to_peer.median,
           r.to_peer.low, r.to_peer.high, r.to_limit.median, r.to_limit.low, r.to_limit.high);
    fflush(stdout);
}

// ---- Targets ----

struct Target {
    const char* what;
    bool reading;
    bool integers;
    bool floats;
    uint64_t block_frames;
    double to_peer; // 0 for none
};

static const Target Targets[] = {
    {"read integers", true, true, false, 256, 0.30},
    {"read integers", true, true, false, 1024, 0.45},
    {"read integers", true, true, false, 16384, 0.60},
    {"read integers", true, true, false, 0, 0.65},
    {"read floats", true, false, true, 256, 0.35},
    {"read floats", true, false, true, 1024, 0.90},
    {"read floats", true, false, true, 16384, 1.70},
    {"read floats", true, false, true, 0, 1.60},
    {"write", false, true, true, 256, 0.25},
    {"write", false, true, true, 1024, 0.42},
    {"write", false, true, true, 16384, 0.55},
    {"write", false, true, true, 0, 0.0},
    {"write integers", false, true, false, 256, 0.0},
    {"write integers", false, true, false, 1024, 0.0},
    {"write integers", false, true, false, 16384, 0.0},
};

// Of the limit, for blocks of a size; a whole file has none.
static constexpr double Limit_Target = 2.0;

static bool Belongs(const Row& row, const Target& target)
{
    return row.reading == target.reading && row.block_frames == target.block_frames &&
           (row.format == FLOAT32 ? target.floats : target.integers);
}

static std::string Verdict(double value, double target)
{
    if (target == 0.0) {
        return "no target";
    }
    char text[64];
    snprintf(text, sizeof text, "target %.2f, %s", target, value <= target ? "met" : "MISSED");
    return text;
}

void Print_Targets(const std::vector<Result>& results)
{
    printf("\nMedians over the rows of a target\n%-14s %6s %5s   %-31s %s\n", "", "block", "rows",
           "ours / peer", "ours / limit");
    for (const Target& target : Targets) {
        std::vector<double> to_peer;
        std::vector<double> to_limit;
        for (const Result& r : results) {
            if (Belongs(r.row, target)) {
                to_peer.push_back(r.to_peer.median);
                to_limit.push_back(r.to_limit.median);
            }
        }
        if (to_peer.empty()) {
            continue;
        }
        const Range peer = Range_Of(to_peer);
        const Range limit = Range_Of(to_limit);
        const double limit_target = target.block_frames != 0 ? Limit_Target : 0.0;
        printf("%-14s %6s %5zu   %5.3f  %-24s %5.2f  %s; worst row %.2f\n", target.what,
               Block_Name(target.block_frames).c_str(), to_peer.size(), peer.median,
               Verdict(peer.median, target.to_peer).c_str(), limit.median,
               Verdict(limit.median, limit_target).c_str(), limit.high);
    }
}

bool Write_Csv(const std::string& path, const std::vector<Result>& results)
{
    std::ofstream csv(path);
    csv << "direction,container,format,channels,block_frames,ours_ns_per_value,peer_ns_per_value,"
           "limit_ns_per_value,ours_per_peer,ours_per_peer_low,ours_per_peer_high,ours_per_limit,"
           "ours_per_limit_low,ours_per_limit_high\n";
    for (const Result& r : results) {
        csv << (r.row.reading ? "read" : "write") << ',' << Container_Name(r.row.container) << ','
            << Format_Name(r.row.format) << ',' << r.row.channels << ','
            << Block_Name(r.row.block_frames) << ',' << r.ours_ns << ',' << r.peer_ns << ','
            << r.limit_ns << ',' << r.to_peer.median << ',' << r.to_peer.low << ','
            << r.to_peer.high << ',' << r.to_limit.median << ',' << r.to_limit.low << ','
            << r.to_limit.high << '\n';
    }
    csv.flush();
    return csv.good();
}

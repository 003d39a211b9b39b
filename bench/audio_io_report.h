// The rows of the audio file benchmark and how they are shown.
#pragma once

#include "audiofile/audiofile.h"

#include <string>
#include <vector>

struct Row {
    bool reading;
    FileType container;
    DataFormat format;
    uint64_t channels;
    uint64_t block_frames; // 0 for the whole file in one call
};

struct Range {
    double median;
    double low;
    double high;
};

struct Result {
    Row row;
    double ours_ns; // per sample value, medians
    double peer_ns;
    double limit_ns;
    Range to_peer;  // our time over the peer's, pair by pair
    Range to_limit; // our time over the limit's, pair by pair
};

// For instance "read WAVE INT16 2ch 256"; what --filter looks into.
std::string Row_Name(const Row& row);

void Print_Setting(uint64_t values, uint64_t pairs, const std::string& directory, bool cpu_time);
void Print_Heading();
void Print_Result(const Result& result);

// The medians over the formats that each target names, beside the target.
void Print_Targets(const std::vector<Result>& results);

// One line a row, with a heading line. False if the file cannot be written.
bool Write_Csv(const std::string& path, const std::vector<Result>& results);

// Lowest, middle and highest of a series that is not empty.
Range Range_Of(std::vector<double> series);

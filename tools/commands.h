// The commands of the tool, and how it speaks. The library ends the process with status 1 on
// its own failures; what the tool itself finds wrong ends it through Tool_Stop.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

constexpr int Tool_Failed = 1;
constexpr int Tool_Wrong_Usage = 2;

// Tool_Note: "ombrine: ", text and a newline on standard error; always one line.
// Tool_Stop: the same, then the end of the process with status.
void Tool_Note(const std::string& text);
[[noreturn]] void Tool_Stop(int status, const std::string& text);

// Tool_Print: text on standard output, at once. If it cannot be written the process ends.
void Tool_Print(const std::string& text);

// Tool_Info: a table with one line for each file, in order, each as soon as its file is read: name,
// channels, rate in hertz, frames, duration, then peak and RMS level of each channel in dBFS, where
// 0 dBFS is the value 1.0. The frames are those that are there, which may be fewer than stated.
void Tool_Info(const std::vector<std::string>& paths);

// Tool_Convert: source, raised by gain_db, into a 16-bit WAVE file at target. A target that is the
// source is wrong usage. An existing target stays as it is until the first block of the source has
// been read; a target that could not be finished is removed.
void Tool_Convert(const std::string& source, const std::string& target, double gain_db);

struct SpectrumOptions {
    std::string path;
    std::string output; // empty: the file's name with .png for its suffix, in the present directory
    uint64_t channel;   // from 1 on; 0 takes the mean power of all
    uint32_t size;      // samples a spectrum, a power of two from 8 to 65536
    bool average;       // one curve of the whole file instead of levels over time
};

// Tool_Spectrum: levels of a file over frequency, where 0 dB is a sine at full scale, as a PNG
// picture. A picture that could not be finished leaves none.
void Tool_Spectrum(const SpectrumOptions& options);

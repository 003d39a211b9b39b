// What the tests of the tool share: files made of given values, and programs started in a directory
// of their own, judged by their exit status, their two streams and the files they leave.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

using Arguments = std::vector<std::string>;

// Format tags of a WAVE file.
constexpr unsigned PCM = 1;
constexpr unsigned Float = 3;
constexpr unsigned MuLaw = 7;

// Integers of width bytes in either order.
std::string Little(unsigned width, uint64_t value);
std::string Big(unsigned width, uint64_t value);
std::string Big_Values(unsigned width, const std::vector<int>& values);
std::string Little_16(const std::vector<int>& values);

// A WAVE file; the one whose header states stated_bytes of samples, whatever data holds; and the
// plain one of 16 bits and 8000 Hz.
std::string Wave(unsigned tag, unsigned channels, unsigned rate, unsigned bits,
                 const std::string& data);
std::string Wave_Stating(unsigned tag, unsigned channels, unsigned rate, unsigned bits,
                         uint64_t stated_bytes, const std::string& data);
std::string Wave_16(unsigned channels, const std::vector<int>& values);

// An AIFF file of 8000 Hz, or of the rate whose 80-bit float has these two fields.
std::string Aiff(unsigned channels, unsigned bits, const std::string& data);
std::string Aiff_At(uint64_t exponent, uint64_t mantissa, unsigned channels, unsigned bits,
                    const std::string& data);

// The three lines of a failure.
std::string Library_Report(int code, const std::string& text, const std::string& name);

struct Result {
    int status; // -1 if a signal ended the program
    std::string out;
    std::string err;
    int64_t peak_kib; // largest resident memory
};

// A new directory for each test, where its relative names are meant.
struct Tool : testing::Test {
    std::string directory;

    void SetUp() override;
    void TearDown() override;
    std::string Path(const std::string& name) const;
    void Put(const std::string& name, const std::string& bytes) const;
    std::string Get(const std::string& name) const;
    // A 16-bit WAVE file whose samples are a hole, so that it takes no room however long it is.
    void Put_Zeros(const std::string& name, unsigned channels, uint64_t data_bytes) const;

    // prepare runs in the new process, its streams already directed into files.
    pid_t Start(
        const std::string& program, const Arguments& arguments,
        const std::function<void()>& prepare = [] {}) const;
    Result Finish(pid_t process) const;
    Result Run_Tool(
        const Arguments& arguments, const std::function<void()>& prepare = [] {}) const;
};

// What the tests of the tool share: files made of given values, and programs started in a directory
// of their own, judged by their exit status, their two streams and the files they leave.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

using Arguments = std::vector<std::string>;
using Prepare = std::function<void()>;

// Format tags of a WAVE file.
constexpr unsigned PCM = 1;
constexpr unsigned Float = 3;
constexpr unsigned MuLaw = 7;

std::string Little_16(const std::vector<int>& values);
std::string Floats(const std::vector<float>& values);

// A WAVE file, whose header may state other bytes than data has; and one of 16 bits at 8000 Hz.
std::string Wave(unsigned tag, unsigned bits, const std::string& data, unsigned channels = 1,
                 unsigned rate = 8000, std::optional<uint64_t> stated_bytes = {});
std::string Wave_16(unsigned channels, const std::vector<int>& values);

// An AIFF file. exponent and mantissa are the fields of the rate's 80-bit float, 8000 Hz.
std::string Aiff(unsigned bits, const std::vector<int>& values, unsigned channels = 1,
                 uint64_t exponent = 0x400B, uint64_t mantissa = 0xFA00000000000000);

// The three lines of a failure.
std::string Library_Report(int code, const std::string& text, const std::string& name);

struct Result {
    int status; // -1 if a signal ended the program
    std::string out, err;
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
    pid_t Start(const std::string& program, const Arguments& arguments,
                const Prepare& prepare = {}) const;
    Result Finish(pid_t process) const;
    Result Run_Tool(const Arguments& arguments, const Prepare& prepare = {}) const;
    Result Expect_Run(const Arguments& arguments, int status, const std::string& err,
                      const Prepare& prepare = {}) const;
};

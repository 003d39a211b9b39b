// Files made and read by programs that nobody here wrote: libsndfile in the process, sox beside it.
// All values travel as signed 32-bit integers with the file's code at the top, which both take and
// give without rounding.
#pragma once

#include "tests/engine_fixture.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <sndfile.h>
#include <sys/wait.h>

// ---- libsndfile ----

// Sets texts in front of the samples and behind them, which become chunks that a reader must skip.
struct PeerShape {
    uint64_t channels;
    double rate;
    uint64_t frames;
    bool texts = false;
};

template <class Value> void Make_With_Sndfile(const std::string& path, int format,
                                              const PeerShape& shape,
                                              const std::vector<Value>& values)
{
    SF_INFO info = {};
    info.channels = static_cast<int>(shape.channels);
    info.samplerate = static_cast<int>(shape.rate);
    info.format = format;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr) << sf_strerror(nullptr);
    if (shape.texts) {
        sf_set_string(file, SF_STR_TITLE, "odd");
    }
    const sf_count_t count = static_cast<sf_count_t>(values.size());
    if constexpr (std::is_same_v<Value, float>) {
        EXPECT_EQ(sf_write_float(file, values.data(), count), count);
    } else {
        EXPECT_EQ(sf_write_int(file, values.data(), count), count);
    }
    if (shape.texts) {
        sf_set_string(file, SF_STR_COMMENT, "a comment behind the samples");
    }
    EXPECT_EQ(sf_close(file), 0);
}

struct PeerContent {
    SF_INFO info;
    std::vector<int32_t> tops;
    std::vector<float> floats; // of a float file
};

inline PeerContent Read_With_Sndfile(const std::string& path)
{
    PeerContent content = {};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &content.info);
    EXPECT_NE(file, nullptr) << sf_strerror(nullptr);
    if (file == nullptr) {
        return content;
    }
    const sf_count_t count = content.info.frames * content.info.channels;
    if ((content.info.format & SF_FORMAT_SUBMASK) == SF_FORMAT_FLOAT) {
        content.floats.resize(static_cast<size_t>(count));
        EXPECT_EQ(sf_read_float(file, content.floats.data(), count), count);
    } else {
        content.tops.resize(static_cast<size_t>(count));
        EXPECT_EQ(sf_read_int(file, content.tops.data(), count), count);
    }
    EXPECT_EQ(sf_close(file), 0);
    return content;
}

// ---- sox ----

struct Output {
    int status;
    Bytes bytes;
    std::string errors;
};

inline Output Run_Command(const std::string& command)
{
    const std::string errors = Scratch_Path("errors");
    FILE* pipe = popen(("LC_ALL=C " + command + " 2>'" + errors + "'").c_str(), "r");
    if (pipe == nullptr) {
        return {-1, {}, "no pipe"};
    }
    Output output = {};
    uint8_t piece[4096];
    for (size_t got; (got = fread(piece, 1, sizeof piece, pipe)) != 0;) {
        output.bytes.insert(output.bytes.end(), piece, piece + got);
    }
    const int status = pclose(pipe);
    output.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    const Bytes text = Read_File(errors);
    output.errors.assign(text.begin(), text.end());
    return output;
}

// Expects that the command went well, with this complaint alone. A missing program fails here.
inline Bytes Run_Well(const std::string& command, const std::string& complaint)
{
    const Output output = Run_Command(command);
    EXPECT_EQ(output.status, 0) << command << '\n' << output.errors;
    EXPECT_EQ(output.errors, complaint) << command;
    return output.bytes;
}

// options are sox's for the new file.
inline void Make_With_Sox(const std::string& path, const std::string& options, uint64_t channels,
                          const std::string& rate, const std::vector<int32_t>& tops)
{
    Bytes raw(tops.size() * sizeof(int32_t));
    if (!raw.empty()) {
        memcpy(raw.data(), tops.data(), raw.size());
    }
    const std::string raw_path = Scratch_Path("sox-input.raw");
    Write_File(raw_path, raw);
    Run_Well("sox -D -t raw -e signed-integer -b 32 -r " + rate + " -c " +
                 std::to_string(channels) + " '" + raw_path + "' " + options + " '" + path + "'",
             "");
}

inline std::vector<int32_t> Read_With_Sox(const std::string& path,
                                          const std::string& complaint = "")
{
    const Bytes raw = Run_Well("sox -D '" + path + "' -t raw -e signed-integer -b 32 -", complaint);
    EXPECT_EQ(raw.size() % sizeof(int32_t), 0u);
    std::vector<int32_t> tops(raw.size() / sizeof(int32_t));
    if (!tops.empty()) {
        memcpy(tops.data(), raw.data(), tops.size() * sizeof(int32_t));
    }
    return tops;
}

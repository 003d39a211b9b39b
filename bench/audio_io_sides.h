// The three sides of the audio file benchmark, ours, the peer and the limit, each as one pass over
// a file that returns its time.
#pragma once

#include "bench/audio_io_report.h"

#include <cstdio>
#include <sndfile.h>
#include <string>
#include <vector>

constexpr uint64_t Max_Channels = 8;
constexpr double Sample_Rate = 48000.0;

struct FormatInfo {
    DataFormat format;
    int subtype; // the peer's
    uint64_t bytes;
    float read_factor;
    double write_gain;
};
const FormatInfo& Info(DataFormat format);

// All memory of the turns, taken and touched once. The three sides use the same channel buffers.
struct Memory {
    std::vector<float> signal[Max_Channels]; // what is written
    std::vector<float> buffer[Max_Channels]; // what is read
    std::vector<float> interleaved;          // the peer's
    std::vector<uint8_t> bytes;              // the limit's
};
Memory Make_Memory(uint64_t values);

// A pass over a file of values sample values. With keep, the blocks follow one another in the
// channel buffers, else each takes the place of the one before it, as in a program that works block
// by block.
struct Pass {
    Row row;
    uint64_t values;
    bool keep;
    bool mono_direct; // the peer needs no copy for one channel
    bool cpu_time;    // count the time of this process alone
};

// One file open on all three sides.
struct Readers {
    ObjectHeader object;
    AudiofileHandle ours;
    SNDFILE* peer;
    FILE* limit;
    std::vector<char> limit_stream_buffer;
};
void Open_Readers(Readers* readers, const std::string& path);
void Close_Readers(Readers* readers);

// From the first frame to the last; nanoseconds.
using ReadSide = double(Readers& readers, Memory& memory, const Pass& pass);
ReadSide Read_Ours, Read_Peer, Read_Limit;

// Makes the file at path anew; opening and closing it stand outside the time. The limit's file has
// no header.
using WriteSide = double(const std::string& path, Memory& memory, const Pass& pass);
WriteSide Write_Ours, Write_Peer, Write_Limit;

// The peer reads with sf_readf_float and takes the channels apart in a plain loop; it puts them
// together in the same way and writes with sf_writef_float, with clipping on and without the PEAK
// chunk, which the engine does not write either.
#include "bench/audio_io_sides.h"

#include "bench/conversion_limit.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <random>
#include <stdexcept>
#include <stdio_ext.h>

static const FormatInfo Formats[] = {
    {INT16, SF_FORMAT_PCM_16, 2, 1.0f / 32767.0f, 32767.0},
    {INT24, SF_FORMAT_PCM_24, 3, 1.0f / 8388607.0f, 8388607.0},
    {INT32, SF_FORMAT_PCM_32, 4, 0x1p-31f, 2147483647.0},
    {FLOAT32, SF_FORMAT_FLOAT, 4, 1.0f, 1.0},
};

const FormatInfo& Info(DataFormat format)
{
    for (const FormatInfo& info : Formats) {
        if (info.format == format) {
            return info;
        }
    }
    throw std::logic_error("format without a benchmark");
}

Memory Make_Memory(uint64_t values)
{
    Memory memory;
    std::mt19937 random(1);
    std::uniform_real_distribution<float> noise(-0.1f, 0.1f);
    memory.interleaved.resize(values);
    memory.bytes.resize(values * 4 + Limit_Slack_Bytes);
    for (uint64_t c = 0; c < Max_Channels; c++) {
        const uint64_t most_frames = c == 0 ? values : c == 1 ? values / 2 : values / Max_Channels;
        memory.buffer[c].resize(most_frames);
        memory.signal[c].resize(most_frames);
        const double step = 0.01 * static_cast<double>(c + 1);
        for (uint64_t f = 0; f < most_frames; f++) {
            const float tone = static_cast<float>(0.4 * std::sin(step * static_cast<double>(f)));
            memory.signal[c][f] = tone + noise(random);
        }
    }
    return memory;
}

static double Now(const Pass& pass)
{
    timespec now = {};
    clock_gettime(pass.cpu_time ? CLOCK_PROCESS_CPUTIME_ID : CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

template <class Block> static double Time_Blocks(const Pass& pass, Block block)
{
    const uint64_t frames = pass.values / pass.row.channels;
    const uint64_t size = pass.row.block_frames != 0 ? pass.row.block_frames : frames;
    const double start = Now(pass);
    for (uint64_t done = 0; done < frames; done += size) {
        block(pass.keep ? done : 0, std::min(size, frames - done));
    }
    return Now(pass) - start;
}

// The channel buffers from frame first on.
struct Places {
    float* place[Max_Channels];

    Places(std::vector<float>* buffers, uint64_t channels, uint64_t first)
    {
        for (uint64_t c = 0; c < channels; c++) {
            place[c] = buffers[c].data() + first;
        }
    }
};

// The stream of the limit: a buffer as large as the engine's, and no lock at all.
static void Set_Stream(FILE* stream, std::vector<char>* buffer)
{
    buffer->resize(65536);
    setvbuf(stream, buffer->data(), _IOFBF, buffer->size());
    __fsetlocking(stream, FSETLOCKING_BYCALLER);
}

// ---- Reading ----

void Open_Readers(Readers* readers, const std::string& path)
{
    readers->object = OBJ_Template;
    uint64_t samples = 0;
    uint64_t channels = 0;
    double rate = 0.0;
    Audiofile_Open_Read(&readers->object, path.c_str(), &samples, &channels, &rate, &readers->ours);
    SF_INFO info = {};
    readers->peer = sf_open(path.c_str(), SFM_READ, &info);
    readers->limit = fopen(path.c_str(), "rb");
    if (readers->peer == nullptr || readers->limit == nullptr) {
        throw std::runtime_error("cannot open " + path);
    }
    Set_Stream(readers->limit, &readers->limit_stream_buffer);
}

void Close_Readers(Readers* readers)
{
    Audiofile_Close_Read(&readers->object, &readers->ours);
    sf_close(readers->peer);
    fclose(readers->limit);
}

double Read_Ours(Readers& readers, Memory& memory, const Pass& pass)
{
    Audiofile_Rewind(&readers.object, &readers.ours);
    return Time_Blocks(pass, [&](uint64_t first, uint64_t frames) {
        const Places to(memory.buffer, pass.row.channels, first);
        uint64_t got = 0;
        Audiofile_RdMatrix_FLOAT(&readers.object, &readers.ours, to.place, frames, &got, 1.0f);
    });
}

double Read_Peer(Readers& readers, Memory& memory, const Pass& pass)
{
    const uint64_t channels = pass.row.channels;
    sf_seek(readers.peer, 0, SEEK_SET);
    return Time_Blocks(pass, [&](uint64_t first, uint64_t frames) {
        const Places to(memory.buffer, channels, first);
        if (pass.mono_direct && channels == 1) {
            sf_readf_float(readers.peer, to.place[0], static_cast<sf_count_t>(frames));
            return;
        }
        const float* from = memory.interleaved.data();
        sf_readf_float(readers.peer, memory.interleaved.data(), static_cast<sf_count_t>(frames));
        for (uint64_t f = 0; f < frames; f++) {
            for (uint64_t c = 0; c < channels; c++) {
                to.place[c][f] = from[f * channels + c];
            }
        }
    });
}

double Read_Limit(Readers& readers, Memory& memory, const Pass& pass)
{
    const uint64_t channels = pass.row.channels;
    const FormatInfo& info = Info(pass.row.format);
    LimitSpread* spread = Limit_Find_Spread(pass.row.format, pass.row.container == FT_WAVE);
    fseek(readers.limit, static_cast<long>(readers.ours.data_start), SEEK_SET);
    return Time_Blocks(pass, [&](uint64_t first, uint64_t frames) {
        const Places to(memory.buffer, channels, first);
        if (fread(memory.bytes.data(), channels * info.bytes, frames, readers.limit) != frames) {
            throw std::runtime_error("the limit's file is short");
        }
        spread(memory.bytes.data(), frames, channels, to.place, info.read_factor);
    });
}

// ---- Writing ----

double Write_Ours(const std::string& path, Memory& memory, const Pass& pass)
{
    ObjectHeader object = OBJ_Template;
    AudiofileHandle handle;
    Audiofile_Open_Write(&object, path.c_str(), FT_WAVE, pass.row.format, pass.row.channels,
                         &handle, Sample_Rate);
    const double start = Now(pass);
    Time_Blocks(pass, [&](uint64_t first, uint64_t frames) {
        const Places from(memory.signal, pass.row.channels, first);
        uint64_t put = 0;
        Audiofile_WrMatrix_FLOAT(&object, &handle, from.place, frames, &put, 1.0f);
    });
    fflush(handle.stream);
    const double time = Now(pass) - start;
    Audiofile_Close_Write(&object, &handle);
    return time;
}

double Write_Peer(const std::string& path, Memory& memory, const Pass& pass)
{
    const uint64_t channels = pass.row.channels;
    SF_INFO info = {};
    info.channels = static_cast<int>(channels);
    info.samplerate = static_cast<int>(Sample_Rate);
    info.format = SF_FORMAT_WAV | Info(pass.row.format).subtype;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (file == nullptr) {
        throw std::runtime_error(sf_strerror(nullptr));
    }
    sf_command(file, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    sf_command(file, SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
    const double time = Time_Blocks(pass, [&](uint64_t first, uint64_t frames) {
        const Places from(memory.signal, channels, first);
        if (pass.mono_direct && channels == 1) {
            sf_writef_float(file, from.place[0], static_cast<sf_count_t>(frames));
            return;
        }
        float* to = memory.interleaved.data();
        for (uint64_t f = 0; f < frames; f++) {
            for (uint64_t c = 0; c < channels; c++) {
                to[f * channels + c] = from.place[c][f];
            }
        }
        sf_writef_float(file, memory.interleaved.data(), static_cast<sf_count_t>(frames));
    });
    sf_close(file);
    return time;
}

double Write_Limit(const std::string& path, Memory& memory, const Pass& pass)
{
    const uint64_t channels = pass.row.channels;
    const FormatInfo& info = Info(pass.row.format);
    LimitGather* gather = Limit_Find_Gather(pass.row.format);
    std::vector<char> stream_buffer;
    FILE* file = fopen(path.c_str(), "wb");
    if (file == nullptr) {
        throw std::runtime_error("cannot create a file");
    }
    Set_Stream(file, &stream_buffer);
    const double start = Now(pass);
    Time_Blocks(pass, [&](uint64_t first, uint64_t frames) {
        const Places from(memory.signal, channels, first);
        gather(from.place, frames, channels, memory.bytes.data(), info.write_gain);
        fwrite(memory.bytes.data(), channels * info.bytes, frames, file);
    });
    fflush(file);
    const double time = Now(pass) - start;
    fclose(file);
    return time;
}

// Reading and writing sound files against libsndfile, in one process and turn and turn about, so
// that what else the machine does falls on both. A turn moves one whole file, block by block, on a
// RAM disk; the opens and closes stand outside the time. A third turn measures the limit: one
// stream call a block and one vectorised conversion.
//
// The peer reads with sf_readf_float and takes the channels apart in a plain loop; it puts them
// together in the same way and writes with sf_writef_float, with clipping on and without the PEAK
// chunk, which the engine does not write either.
#include "bench/audio_io_report.h"
#include "bench/conversion_limit.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <random>
#include <regex>
#include <sndfile.h>
#include <stdio_ext.h>

using Clock = std::chrono::steady_clock;

static constexpr uint64_t Max_Channels = 8;
static constexpr double Sample_Rate = 48000.0;
static constexpr float Read_Tolerance = 2.0f / 32768.0f; // full scale is 2^n - 1 here, 2^n there
static constexpr int64_t Write_Tolerance = 1;            // code values; the peer cuts, we round
static constexpr float Peak = 0.5f; // within it cutting and rounding differ by one at most

struct Setting {
    uint64_t values = 8000000;
    uint64_t pairs = 11;
    bool mono_direct = false;
    std::string parent = "/dev/shm";
    std::string directory;
};

struct FormatInfo {
    DataFormat format;
    int subtype; // the peer's
    uint64_t bytes;
    float read_factor;
    double write_gain;
};
static const FormatInfo Formats[] = {
    {INT16, SF_FORMAT_PCM_16, 2, 1.0f / 32767.0f, 32767.0},
    {INT24, SF_FORMAT_PCM_24, 3, 1.0f / 8388607.0f, 8388607.0},
    {INT32, SF_FORMAT_PCM_32, 4, 0x1p-31f, 2147483647.0},
    {FLOAT32, SF_FORMAT_FLOAT, 4, 1.0f, 1.0},
};

static const FormatInfo& Info(DataFormat format)
{
    for (const FormatInfo& info : Formats) {
        if (info.format == format) {
            return info;
        }
    }
    throw std::logic_error("format without a benchmark");
}

// All memory of the turns, taken and touched once. The three sides use the same channel buffers.
struct Memory {
    std::vector<float> signal[Max_Channels]; // what is written
    std::vector<float> buffer[Max_Channels]; // what is read
    std::vector<float> interleaved;          // the peer's
    std::vector<uint8_t> bytes;              // the limit's
};

static Memory Make_Memory(uint64_t values)
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
            memory.signal[c][f] = (tone + noise(random)) * (Peak / 0.5f);
        }
    }
    return memory;
}

static uint64_t Block_Of(const Row& row, uint64_t values)
{
    return row.block_frames != 0 ? row.block_frames : values / row.channels;
}

// ---- The three sides of reading ----

struct Readers {
    ObjectHeader object = OBJ_Template;
    AudiofileHandle ours = {};
    SNDFILE* peer = nullptr;
    FILE* limit = nullptr;
    std::vector<char> limit_stream_buffer = std::vector<char>(65536);
};

// A pass over the file. With keep, the blocks follow one another in the channel buffers, else each
// takes the place of the one before it, as in a program that works block by block.
struct Pass {
    Row row;
    uint64_t values;
    bool keep;
    bool mono_direct;
};

static double Nanoseconds_Since(Clock::time_point start)
{
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count();
}

template <class Block> static double Time_Blocks(const Pass& pass, Block block)
{
    const uint64_t frames = pass.values / pass.row.channels;
    const uint64_t size = Block_Of(pass.row, pass.values);
    const Clock::time_point start = Clock::now();
    for (uint64_t done = 0; done < frames; done += size) {
        block(pass.keep ? done : 0, std::min(size, frames - done));
    }
    return Nanoseconds_Since(start);
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

static double Read_Ours(Readers& readers, Memory& memory, const Pass& pass)
{
    Audiofile_Rewind(&readers.object, &readers.ours);
    return Time_Blocks(pass, [&](uint64_t first, uint64_t frames) {
        const Places to(memory.buffer, pass.row.channels, first);
        uint64_t got = 0;
        Audiofile_RdMatrix_FLOAT(&readers.object, &readers.ours, to.place, frames, &got, 1.0f);
    });
}

static double Read_Peer(Readers& readers, Memory& memory, const Pass& pass)
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

static double Read_Limit(Readers& readers, Memory& memory, const Pass& pass)
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

// ---- The three sides of writing: each turn makes its file anew ----

static std::string Written_Path(const Setting& setting, const char* side)
{
    return setting.directory + "/written-by-" + side;
}

static double Write_Ours(const Setting& setting, Memory& memory, const Pass& pass)
{
    ObjectHeader object = OBJ_Template;
    AudiofileHandle handle;
    Audiofile_Open_Write(&object, Written_Path(setting, "ours").c_str(), FT_WAVE, pass.row.format,
                         pass.row.channels, &handle, Sample_Rate);
    const Clock::time_point start = Clock::now();
    Time_Blocks(pass, [&](uint64_t first, uint64_t frames) {
        const Places from(memory.signal, pass.row.channels, first);
        uint64_t put = 0;
        Audiofile_WrMatrix_FLOAT(&object, &handle, from.place, frames, &put, 1.0f);
    });
    fflush(handle.stream);
    const double time = Nanoseconds_Since(start);
    Audiofile_Close_Write(&object, &handle);
    return time;
}

static double Write_Peer(const Setting& setting, Memory& memory, const Pass& pass)
{
    const uint64_t channels = pass.row.channels;
    SF_INFO info = {};
    info.channels = static_cast<int>(channels);
    info.samplerate = static_cast<int>(Sample_Rate);
    info.format = SF_FORMAT_WAV | Info(pass.row.format).subtype;
    SNDFILE* file = sf_open(Written_Path(setting, "peer").c_str(), SFM_WRITE, &info);
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

static double Write_Limit(const Setting& setting, Memory& memory, const Pass& pass)
{
    const uint64_t channels = pass.row.channels;
    const FormatInfo& info = Info(pass.row.format);
    LimitGather* gather = Limit_Find_Gather(pass.row.format);
    std::vector<char> stream_buffer(65536);
    FILE* file = fopen(Written_Path(setting, "limit").c_str(), "wb");
    if (file == nullptr) {
        throw std::runtime_error("cannot create a file");
    }
    setvbuf(file, stream_buffer.data(), _IOFBF, stream_buffer.size());
    __fsetlocking(file, FSETLOCKING_BYCALLER);
    const Clock::time_point start = Clock::now();
    Time_Blocks(pass, [&](uint64_t first, uint64_t frames) {
        const Places from(memory.signal, channels, first);
        gather(from.place, frames, channels, memory.bytes.data(), info.write_gain);
        fwrite(memory.bytes.data(), channels * info.bytes, frames, file);
    });
    fflush(file);
    const double time = Nanoseconds_Since(start);
    fclose(file);
    return time;
}

// ---- The same answer ----

static bool Complain(const Row& row, const char* what, uint64_t channel, uint64_t frame, double a,
                     double b)
{
    fprintf(stderr, "%s: %s, channel %llu frame %llu: %.9g and %.9g\n", Row_Name(row).c_str(), what,
            static_cast<unsigned long long>(channel), static_cast<unsigned long long>(frame), a, b);
    return false;
}

static bool Reads_Agree(Readers& readers, Memory& memory, Pass pass)
{
    pass.keep = true;
    using Side = double(Readers&, Memory&, const Pass&);
    Side* const others[] = {Read_Peer, Read_Limit};
    const char* const texts[] = {"ours and the peer's read", "ours and the limit's read"};
    const float tolerances[] = {Read_Tolerance, 0x1p-23f};
    const uint64_t frames = pass.values / pass.row.channels;
    Read_Ours(readers, memory, pass);
    std::vector<std::vector<float>> ours;
    for (uint64_t c = 0; c < pass.row.channels; c++) {
        ours.emplace_back(memory.buffer[c].begin(),
                          memory.buffer[c].begin() + static_cast<int64_t>(frames));
    }
    for (int k = 0; k < 2; k++) {
        for (uint64_t c = 0; c < pass.row.channels; c++) {
            std::fill(memory.buffer[c].begin(), memory.buffer[c].end(), 2.0f);
        }
        others[k](readers, memory, pass);
        for (uint64_t c = 0; c < pass.row.channels; c++) {
            for (uint64_t f = 0; f < frames; f++) {
                if (!(std::fabs(ours[c][f] - memory.buffer[c][f]) <= tolerances[k])) {
                    return Complain(pass.row, texts[k], c, f, ours[c][f], memory.buffer[c][f]);
                }
            }
        }
    }
    return true;
}

// All sample values of a written file as code values; floats in units of 2^-23.
static std::vector<int64_t> Read_Back(const std::string& path, const Row& row, bool with_header,
                                      uint64_t values)
{
    const FormatInfo& format = Info(row.format);
    SF_INFO info = {};
    if (!with_header) {
        info.channels = static_cast<int>(row.channels);
        info.samplerate = static_cast<int>(Sample_Rate);
        info.format = SF_FORMAT_RAW | SF_ENDIAN_LITTLE | format.subtype;
    }
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (file == nullptr) {
        throw std::runtime_error(sf_strerror(nullptr));
    }
    std::vector<int64_t> codes;
    sf_count_t got = 0;
    if (row.format == FLOAT32) {
        std::vector<float> floats(values + row.channels);
        got = sf_read_float(file, floats.data(), static_cast<sf_count_t>(floats.size()));
        for (sf_count_t i = 0; i < got; i++) {
            codes.push_back(std::lrint(std::ldexp(floats[static_cast<size_t>(i)], 23)));
        }
    } else {
        std::vector<int> words(values + row.channels);
        got = sf_read_int(file, words.data(), static_cast<sf_count_t>(words.size()));
        for (sf_count_t i = 0; i < got; i++) {
            codes.push_back(words[static_cast<size_t>(i)] >> (32 - 8 * format.bytes));
        }
    }
    sf_close(file);
    return codes;
}

static bool Writes_Agree(const Setting& setting, Memory& memory, Pass pass)
{
    pass.keep = true;
    Write_Ours(setting, memory, pass);
    Write_Peer(setting, memory, pass);
    Write_Limit(setting, memory, pass);
    const Row& row = pass.row;
    const auto ours = Read_Back(Written_Path(setting, "ours"), row, true, pass.values);
    const auto peer = Read_Back(Written_Path(setting, "peer"), row, true, pass.values);
    const auto limit = Read_Back(Written_Path(setting, "limit"), row, false, pass.values);
    if (ours.size() != pass.values || peer.size() != pass.values || limit.size() != pass.values) {
        return Complain(row, "sample values written", 0, 0, static_cast<double>(ours.size()),
                        static_cast<double>(peer.size()));
    }
    for (uint64_t i = 0; i < pass.values; i++) {
        if (std::abs(ours[i] - peer[i]) > Write_Tolerance) {
            return Complain(row, "ours and the peer's file", i % row.channels, i / row.channels,
                            static_cast<double>(ours[i]), static_cast<double>(peer[i]));
        }
        if (std::abs(ours[i] - limit[i]) > (row.format == FLOAT32 ? 1 : 0)) {
            return Complain(row, "ours and the limit's file", i % row.channels, i / row.channels,
                            static_cast<double>(ours[i]), static_cast<double>(limit[i]));
        }
    }
    return true;
}

// ---- Turn and turn about ----

// The first in the turn changes from one round to the next.
template <class Side> static Result Take_Turns(const Setting& setting, const Row& row, Side side)
{
    std::vector<double> ns[3];
    std::vector<double> to_peer;
    std::vector<double> to_limit;
    for (uint64_t round = 0; round < setting.pairs; round++) {
        double now[3] = {};
        for (uint64_t k = 0; k < 3; k++) {
            const uint64_t who = (round + k) % 3;
            now[who] = side(who) / static_cast<double>(setting.values);
            ns[who].push_back(now[who]);
        }
        to_peer.push_back(now[0] / now[1]);
        to_limit.push_back(now[0] / now[2]);
    }
    return {row,
            Range_Of(ns[0]).median,
            Range_Of(ns[1]).median,
            Range_Of(ns[2]).median,
            Range_Of(to_peer),
            Range_Of(to_limit)};
}

static std::string Make_Source(const Setting& setting, const Memory& memory, const Row& row)
{
    const std::string path = setting.directory + "/source";
    SF_INFO info = {};
    info.channels = static_cast<int>(row.channels);
    info.samplerate = static_cast<int>(Sample_Rate);
    info.format =
        (row.container == FT_WAVE ? SF_FORMAT_WAV : SF_FORMAT_AIFF) | Info(row.format).subtype;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (file == nullptr) {
        throw std::runtime_error(sf_strerror(nullptr));
    }
    std::vector<float> all(setting.values);
    for (uint64_t i = 0; i < setting.values; i++) {
        all[i] = memory.signal[i % row.channels][i / row.channels];
    }
    sf_write_float(file, all.data(), static_cast<sf_count_t>(setting.values));
    sf_close(file);
    return path;
}

static bool Measure_Read(const Setting& setting, Memory& memory, const Row& row, Result* result)
{
    const std::string path = Make_Source(setting, memory, row);
    Readers readers;
    uint64_t samples = 0;
    uint64_t channels = 0;
    double rate = 0.0;
    Audiofile_Open_Read(&readers.object, path.c_str(), &samples, &channels, &rate, &readers.ours);
    SF_INFO info = {};
    readers.peer = sf_open(path.c_str(), SFM_READ, &info);
    readers.limit = fopen(path.c_str(), "rb");
    if (readers.peer == nullptr || readers.limit == nullptr) {
        throw std::runtime_error("cannot open " + path);
    }
    setvbuf(readers.limit, readers.limit_stream_buffer.data(), _IOFBF,
            readers.limit_stream_buffer.size());
    __fsetlocking(readers.limit, FSETLOCKING_BYCALLER);

    const Pass pass = {row, setting.values, row.block_frames == 0, setting.mono_direct};
    const bool agree = Reads_Agree(readers, memory, pass);
    if (agree) {
        using Side = double(Readers&, Memory&, const Pass&);
        static Side* const Sides[] = {Read_Ours, Read_Peer, Read_Limit};
        *result = Take_Turns(setting, row,
                             [&](uint64_t who) { return Sides[who](readers, memory, pass); });
    }
    Audiofile_Close_Read(&readers.object, &readers.ours);
    sf_close(readers.peer);
    fclose(readers.limit);
    return agree;
}

static bool Measure_Write(const Setting& setting, Memory& memory, const Row& row, Result* result)
{
    const Pass pass = {row, setting.values, row.block_frames == 0, setting.mono_direct};
    if (!Writes_Agree(setting, memory, pass)) {
        return false;
    }
    using Side = double(const Setting&, Memory&, const Pass&);
    static Side* const Sides[] = {Write_Ours, Write_Peer, Write_Limit};
    *result =
        Take_Turns(setting, row, [&](uint64_t who) { return Sides[who](setting, memory, pass); });
    return true;
}

static std::vector<Row> All_Rows()
{
    struct Kind {
        bool reading;
        FileType container;
        DataFormat format;
    };
    static const Kind Kinds[] = {
        {true, FT_WAVE, INT16},    {true, FT_WAVE, INT24},  {true, FT_WAVE, INT32},
        {true, FT_AIFF, INT16},    {true, FT_AIFF, INT24},  {true, FT_WAVE, FLOAT32},
        {false, FT_WAVE, INT16},   {false, FT_WAVE, INT24}, {false, FT_WAVE, INT32},
        {false, FT_WAVE, FLOAT32},
    };
    std::vector<Row> rows;
    for (const Kind& kind : Kinds) {
        for (const uint64_t channels : {1, 2, 8}) {
            for (const uint64_t block : {256, 1024, 16384, 0}) {
                rows.push_back({kind.reading, kind.container, kind.format, channels, block});
            }
        }
    }
    return rows;
}

int main(int argc, char** argv)
{
    Setting setting;
    bool quick = false;
    std::string filter;
    std::string csv;
    CLI::App app{"Times reading and writing of sound files against libsndfile"};
    app.add_flag("--quick", quick, "small files and few turns, to see that it runs");
    app.add_option("--filter", filter, "only rows whose name this regular expression finds");
    app.add_option("--csv", csv, "write the results to this file as well");
    app.add_option("--pairs", setting.pairs, "turns of each side")->check(CLI::Range(1, 1000));
    app.add_option("--dir", setting.parent, "where the files go; a RAM disk");
    app.add_flag("--mono-direct", setting.mono_direct,
                 "let the peer use a single channel's buffer without a copy");
    CLI11_PARSE(app, argc, argv);
    if (quick) {
        setting.values = 800000;
        setting.pairs = 3;
    }

    std::string name = setting.parent + "/bench-audio-io-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        perror(name.c_str());
        return 1;
    }
    setting.directory = name;
    Print_Setting(setting.values, setting.pairs, setting.parent);
    Print_Heading();
    const Clock::time_point start = Clock::now();
    Memory memory = Make_Memory(setting.values);
    std::vector<Result> results;
    bool good = true;
    for (const Row& row : All_Rows()) {
        if (!std::regex_search(Row_Name(row), std::regex(filter))) {
            continue;
        }
        Result result = {};
        if (row.reading ? Measure_Read(setting, memory, row, &result)
                        : Measure_Write(setting, memory, row, &result)) {
            Print_Result(result);
            results.push_back(result);
        } else {
            good = false;
        }
    }
    std::filesystem::remove_all(setting.directory);
    Print_Targets(results);
    printf("\n%.0f seconds in all\n", Nanoseconds_Since(start) * 1e-9);
    if (results.empty()) {
        fprintf(stderr, "no row measured\n");
        good = false;
    }
    if (!csv.empty() && !Write_Csv(csv, results)) {
        fprintf(stderr, "cannot write %s\n", csv.c_str());
        good = false;
    }
    return good ? 0 : 1;
}

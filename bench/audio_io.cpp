// Reading and writing sound files against libsndfile, in one process and turn and turn about, so
// that what else the machine does falls on both. A turn moves one whole file, block by block, on a
// RAM disk; the opens and closes stand outside the time. A third turn measures the limit: one
// stream call a block and one vectorised conversion. A written file is made anew in each turn, as
// in real use, so the time holds what the system takes for new pages, the same on every side.
#include "bench/audio_io_sides.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <regex>

static constexpr float Read_Tolerance = 2.0f / 32768.0f; // full scale is 2^n - 1 here, 2^n there

// Code values: the peer cuts where we round. It holds for a signal of half of full scale, as
// Make_Memory makes it, beyond which the two may differ by two.
static constexpr int64_t Write_Tolerance = 1;

struct Setting {
    uint64_t values = 8000000;
    uint64_t pairs = 11;
    bool mono_direct = false;
    bool cpu_time = false;
    std::string parent = "/dev/shm";
    std::string directory;
};

static ReadSide* const Read_Sides[] = {Read_Ours, Read_Peer, Read_Limit};
static WriteSide* const Write_Sides[] = {Write_Ours, Write_Peer, Write_Limit};
static const char* const Side_Names[] = {"ours", "peer", "limit"};

static std::string Written_Path(const Setting& setting, uint64_t who)
{
    return setting.directory + "/written-by-" + Side_Names[who];
}

static Pass Pass_Of(const Setting& setting, const Row& row, bool keep)
{
    return {row, setting.values, keep || row.block_frames == 0, setting.mono_direct,
            setting.cpu_time};
}

// ---- The same answer ----

static bool Complain(const Row& row, const char* side, uint64_t channel, uint64_t frame, double a,
                     double b)
{
    fprintf(stderr, "%s: channel %llu frame %llu: %.9g here, %.9g from %s\n", Row_Name(row).c_str(),
            static_cast<unsigned long long>(channel), static_cast<unsigned long long>(frame), a, b,
            side);
    return false;
}

static bool Reads_Agree(Readers& readers, Memory& memory, const Pass& pass)
{
    const float tolerances[] = {0.0f, Read_Tolerance, pass.row.format == FLOAT32 ? 0x1p-23f : 0.0f};
    const uint64_t frames = pass.values / pass.row.channels;
    std::vector<float> ours[Max_Channels];
    for (uint64_t who = 0; who < 3; who++) {
        for (uint64_t c = 0; c < pass.row.channels; c++) {
            std::fill(memory.buffer[c].begin(), memory.buffer[c].end(), 2.0f);
        }
        Read_Sides[who](readers, memory, pass);
        for (uint64_t c = 0; c < pass.row.channels; c++) {
            if (who == 0) {
                ours[c] = memory.buffer[c];
            }
            for (uint64_t f = 0; f < frames; f++) {
                if (!(std::fabs(ours[c][f] - memory.buffer[c][f]) <= tolerances[who])) {
                    return Complain(pass.row, Side_Names[who], c, f, ours[c][f],
                                    memory.buffer[c][f]);
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

static bool Writes_Agree(const Setting& setting, Memory& memory, const Pass& pass)
{
    const Row& row = pass.row;
    const int64_t tolerances[] = {0, Write_Tolerance, row.format == FLOAT32 ? 1 : 0};
    std::vector<int64_t> ours;
    for (uint64_t who = 0; who < 3; who++) {
        const std::string path = Written_Path(setting, who);
        Write_Sides[who](path, memory, pass);
        const std::vector<int64_t> codes = Read_Back(path, row, who != 2, pass.values);
        if (codes.size() != pass.values) {
            return Complain(row, Side_Names[who], 0, 0, static_cast<double>(pass.values),
                            static_cast<double>(codes.size()));
        }
        if (who == 0) {
            ours = codes;
        }
        for (uint64_t i = 0; i < pass.values; i++) {
            if (std::abs(ours[i] - codes[i]) > tolerances[who]) {
                return Complain(row, Side_Names[who], i % row.channels, i / row.channels,
                                static_cast<double>(ours[i]), static_cast<double>(codes[i]));
            }
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
    Readers readers;
    Open_Readers(&readers, Make_Source(setting, memory, row));
    const bool agree = Reads_Agree(readers, memory, Pass_Of(setting, row, true));
    if (agree) {
        const Pass pass = Pass_Of(setting, row, false);
        *result = Take_Turns(setting, row,
                             [&](uint64_t who) { return Read_Sides[who](readers, memory, pass); });
    }
    Close_Readers(&readers);
    return agree;
}

static bool Measure_Write(const Setting& setting, Memory& memory, const Row& row, Result* result)
{
    if (!Writes_Agree(setting, memory, Pass_Of(setting, row, true))) {
        return false;
    }
    const Pass pass = Pass_Of(setting, row, false);
    *result = Take_Turns(setting, row, [&](uint64_t who) {
        return Write_Sides[who](Written_Path(setting, who), memory, pass);
    });
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

// False if a row gave two answers.
static bool Measure_All(const Setting& setting, const std::regex& filter,
                        std::vector<Result>* results)
{
    Memory memory = Make_Memory(setting.values);
    bool good = true;
    for (const Row& row : All_Rows()) {
        if (!std::regex_search(Row_Name(row), filter)) {
            continue;
        }
        Result result = {};
        if (row.reading ? Measure_Read(setting, memory, row, &result)
                        : Measure_Write(setting, memory, row, &result)) {
            Print_Result(result);
            results->push_back(result);
        } else {
            good = false;
        }
    }
    return good;
}

// Removed at the end of the process, also when the library ends it.
struct ScratchDirectory {
    std::string path;

    explicit ScratchDirectory(const std::string& parent) : path(parent + "/bench-audio-io-XXXXXX")
    {
        if (mkdtemp(path.data()) == nullptr) {
            perror(path.c_str());
            exit(1);
        }
    }
    ~ScratchDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
};

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
    CLI::Option* pairs = app.add_option("--pairs", setting.pairs, "turns of each side");
    pairs->check(CLI::Range(1, 1000));
    app.add_option("--dir", setting.parent, "where the files go; a RAM disk");
    app.add_flag("--cpu-time", setting.cpu_time,
                 "count this process's own time, for a machine that has other work");
    app.add_flag("--mono-direct", setting.mono_direct,
                 "let the peer use a single channel's buffer without a copy");
    CLI11_PARSE(app, argc, argv);
    if (quick) {
        setting.values = 800000;
        setting.pairs = pairs->count() != 0 ? setting.pairs : 3;
    }

    static ScratchDirectory scratch(setting.parent);
    setting.directory = scratch.path;
    Print_Setting(setting.values, setting.pairs, setting.parent, setting.cpu_time);
    Print_Heading();
    const time_t start = time(nullptr);
    std::vector<Result> results;
    bool good = true;
    try {
        good = Measure_All(setting, std::regex(filter), &results);
    } catch (const std::exception& trouble) {
        fprintf(stderr, "%s\n", trouble.what());
        good = false;
    }
    Print_Targets(results);
    printf("\n%.0f seconds in all\n", difftime(time(nullptr), start));
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

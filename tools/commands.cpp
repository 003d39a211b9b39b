// info and convert.
#include "tools/commands.h"
#include "tools/source.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

static constexpr uint64_t Largest_WAVE_Data = (uint64_t{1} << 32) - 37; // bytes, by the size fields
static constexpr uint64_t Written_Bytes_Per_Value = 2;
static constexpr double First_Rate_Beyond_WAVE = 4294967296.0;

// ---- info ----

struct Level {
    float peak;
    double square_sum;
};

static std::vector<Level> Measure(Source* source)
{
    std::vector<Level> levels(source->channels);
    uint64_t frames = 0;
    do {
        frames = Source_Read(source);
        for (uint64_t c = 0; c < source->channels; c++) {
            Level level = levels[c];
            for (uint64_t f = 0; f < frames; f++) {
                const float value = source->buffers[c][f];
                level.peak = std::max(level.peak, std::fabs(value));
                level.square_sum += static_cast<double>(value) * static_cast<double>(value);
            }
            levels[c] = level;
        }
    } while (frames == source->block_frames);
    return levels;
}

static std::string Decibels(double level)
{
    if (level <= 0.0) {
        return "-inf";
    }
    const double hundredths = std::round(2000.0 * std::log10(level));
    return Format("%.2f", hundredths / 100.0 + 0.0); // the sum makes a zero positive
}

static std::string Duration(uint64_t frames, double rate)
{
    const double milliseconds = std::round(static_cast<double>(frames) / rate * 1000.0);
    if (!(milliseconds >= 0.0 && milliseconds < 1e15)) {
        return "-";
    }
    const auto whole = static_cast<unsigned long long>(milliseconds);
    return Format("%llu:%02llu:%02llu.%03llu", whole / 3600000, whole / 60000 % 60,
                  whole / 1000 % 60, whole % 1000);
}

static std::string Padded(const Shown& name, size_t columns)
{
    return name.text + std::string(columns - std::min(columns, name.columns), ' ');
}

static std::string Table_Row(Source* source, size_t name_columns)
{
    const std::vector<Level> levels = Measure(source);
    const uint64_t frames = source->frames_read;
    std::string row = Padded(Show(source->path), name_columns);
    row += Format("  %8llu  %9.10g  %10llu  %12s",
                  static_cast<unsigned long long>(source->channels), source->rate,
                  static_cast<unsigned long long>(frames), Duration(frames, source->rate).c_str());
    for (const Level& level : levels) {
        const double mean = frames != 0 ? level.square_sum / static_cast<double>(frames) : 0.0;
        row += Format("  %7s  %7s", Decibels(static_cast<double>(level.peak)).c_str(),
                      Decibels(std::sqrt(mean)).c_str());
    }
    return row + "\n";
}

void Tool_Info(const std::vector<std::string>& paths)
{
    const Shown title = {"file", 4};
    size_t name_columns = title.columns;
    for (const std::string& path : paths) {
        name_columns = std::max(name_columns, Show(path).columns);
    }
    std::string head = Padded(title, name_columns) +
                       Format("  %8s  %9s  %10s  %12s  %7s  %7s  %s\n", "channels", "rate/Hz",
                              "frames", "duration", "peak", "RMS", "(dBFS, for each channel)");
    for (const std::string& path : paths) {
        Source source = Source_Open(path);
        // Not before a file is open: no head stands above nothing.
        Tool_Print(head + Table_Row(&source, name_columns));
        head.clear();
        Source_Close(&source);
    }
}

// ---- convert ----

// The output while it is incomplete. Its header states an empty file until the close, so what a
// stop leaves behind would look finished. Devices and links are left alone.
static const char* Unfinished_Output = nullptr;

static void Remove_Unfinished_Output()
{
    struct stat status = {};
    if (Unfinished_Output != nullptr && lstat(Unfinished_Output, &status) == 0 &&
        S_ISREG(status.st_mode)) {
        unlink(Unfinished_Output);
    }
}

static bool Is_Same_File(const std::string& a, const std::string& b)
{
    struct stat first = {};
    struct stat second = {};
    return stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

static void Check_Writable(const Source& source)
{
    if (source.channels == 0) {
        Tool_Stop(Tool_Failed, source.path + ": it has no channels, there is nothing to convert");
    }
    if (!(source.rate >= 0.0 && source.rate < First_Rate_Beyond_WAVE)) {
        Tool_Stop(Tool_Failed,
                  source.path + Format(": a WAVE file cannot hold its rate of %g Hz", source.rate));
    }
    if (source.rate != std::floor(source.rate)) {
        Tool_Note(source.path + Format(": its rate of %.10g Hz is written as %.0f Hz", source.rate,
                                       std::floor(source.rate)));
    }
}

void Tool_Convert(const std::string& source_path, const std::string& target_path, double gain_db)
{
    if (Is_Same_File(source_path, target_path)) {
        Tool_Stop(Tool_Wrong_Usage, target_path + ": the output is the input file");
    }
    Source source = Source_Open(source_path);
    uint64_t frames = Source_Read(&source);
    Check_Writable(source);

    // The level at which the writer sees full scale: lower by the gain.
    const float scale = static_cast<float>(std::pow(10.0, -gain_db / 20.0));
    AudiofileHandle* target = nullptr;
    Ombrine_Audiofile_Open_Write(target_path.c_str(), source.channels, &target, source.rate);
    Unfinished_Output = target_path.c_str();
    atexit(Remove_Unfinished_Output);
    Bar bar = Bar_Start(source);
    for (;;) {
        if (source.frames_read * source.channels > Largest_WAVE_Data / Written_Bytes_Per_Value) {
            Bar_End(bar);
            Tool_Stop(Tool_Failed, target_path + ": a WAVE file cannot hold that many samples");
        }
        uint64_t written = 0;
        Ombrine_Audiofile_Write(target, source.buffers.data(), frames, &written, scale);
        Bar_Draw(&bar, source.frames_read);
        if (frames < source.block_frames) {
            break;
        }
        frames = Source_Read(&source);
    }
    Bar_End(bar);
    Ombrine_Audiofile_Close_Write(target);
    Unfinished_Output = nullptr;
    Source_Close(&source);
}

// Both commands read their files block by block. A block holds a fixed number of values of all
// channels together, so that memory stays bounded whatever a header states.
#include "tools/commands.h"

#include "frame/ombrine_audiofile.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <sys/stat.h>
#include <unistd.h>

static constexpr uint64_t Block_Values = 65536;                 // a file has at most 65535 channels
static constexpr uint64_t Long_File_Values = uint64_t{1} << 24; // from here on a bar is shown
static constexpr int Bar_Columns = 50;

static constexpr uint64_t Largest_WAVE_Data = (uint64_t{1} << 32) - 37; // bytes, by the size fields
static constexpr uint64_t Written_Bytes_Per_Value = 2;
static constexpr double First_Rate_Beyond_WAVE = 4294967296.0;

// ---- Text ----

__attribute__((format(printf, 1, 2))) static std::string Format(const char* format, ...)
{
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

// A text as a terminal shows it: a character may take two columns or none. What cannot be shown,
// such as the newline in a file's name, becomes a question mark.
struct Shown {
    std::string text;
    size_t columns;
};

static Shown Show(const std::string& text)
{
    Shown shown = {"", 0};
    mbstate_t state = {};
    for (size_t i = 0; i < text.size();) {
        wchar_t character = 0;
        size_t bytes = mbrtowc(&character, text.data() + i, text.size() - i, &state);
        int columns = -1;
        if (bytes == 0 || bytes > text.size() - i) { // not a character
            bytes = 1;
            state = {};
        } else {
            columns = wcwidth(character);
        }
        shown.text += columns < 0 ? "?" : text.substr(i, bytes);
        shown.columns += columns < 0 ? 1 : static_cast<size_t>(columns);
        i += bytes;
    }
    return shown;
}

void Tool_Note(const std::string& text)
{
    fprintf(stderr, "ombrine: %s\n", Show(text).text.c_str());
}

void Tool_Stop(int status, const std::string& text)
{
    Tool_Note(text);
    exit(status);
}

void Tool_Print(const std::string& text)
{
    if (fwrite(text.data(), 1, text.size(), stdout) != text.size() || fflush(stdout) != 0) {
        Tool_Stop(Tool_Failed, Format("standard output: %s", strerror(errno)));
    }
}

// ---- A file being read ----

struct Source {
    std::string path;
    AudiofileHandle* handle;
    uint64_t channels;
    uint64_t frames_stated;
    uint64_t frames_read;
    uint64_t block_frames;
    double rate;
    std::vector<float> values;
    std::vector<float*> buffers; // one for each channel, to block_frames floats
};

static Source Source_Open(const std::string& path)
{
    Source source = {};
    source.path = path;
    uint64_t samples = 0;
    Ombrine_Audiofile_Open_Read(path.c_str(), &samples, &source.channels, &source.rate,
                                &source.handle);
    const uint64_t channels = std::max<uint64_t>(source.channels, 1);
    source.frames_stated = source.channels != 0 ? samples / channels : 0;
    source.block_frames = std::max<uint64_t>(Block_Values / channels, 1);
    source.values.resize(source.channels * source.block_frames);
    for (uint64_t c = 0; c < source.channels; c++) {
        source.buffers.push_back(source.values.data() + c * source.block_frames);
    }
    return source;
}

// The next block: its number of frames, fewer than block_frames only at the end of the file.
static uint64_t Source_Read(Source* source)
{
    uint64_t frames = 0;
    Ombrine_Audiofile_Read(source->handle, source->buffers.data(), source->block_frames, &frames,
                           1.0f);
    source->frames_read += frames;
    return frames;
}

static void Source_Close(Source* source)
{
    Ombrine_Audiofile_Close_Read(source->handle);
    if (source->frames_read < source->frames_stated) {
        Tool_Note(source->path + Format(": the header states %llu frames, the file holds %llu",
                                        static_cast<unsigned long long>(source->frames_stated),
                                        static_cast<unsigned long long>(source->frames_read)));
    }
}

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

// Drawn with the cursor left at the start of the line, so that a report of the library covers it.
struct Bar {
    bool shown;
    uint64_t frames;
    int percent;
};

static Bar Bar_Start(const Source& source)
{
    const bool is_long = source.frames_stated >= Long_File_Values / source.channels;
    return {is_long && isatty(STDERR_FILENO) != 0, source.frames_stated, -1};
}

static void Bar_Draw(Bar* bar, uint64_t frames_done)
{
    if (!bar->shown) {
        return;
    }
    const int percent = static_cast<int>(frames_done * 100 / bar->frames);
    if (percent == bar->percent) {
        return;
    }
    bar->percent = percent;
    const auto filled = static_cast<size_t>(percent * Bar_Columns / 100);
    fprintf(stderr, "\r[%-*s] %3d%%\r", Bar_Columns, std::string(filled, '#').c_str(), percent);
}

static void Bar_End(const Bar& bar)
{
    if (bar.shown) {
        fprintf(stderr, "\r%*s\r", Bar_Columns + 7, "");
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

#include "tools/source.h"

#include "tools/commands.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <unistd.h>

static constexpr uint64_t Block_Values = 65536;                 // a file has at most 65535 channels
static constexpr uint64_t Long_File_Values = uint64_t{1} << 24; // from here on a bar is shown
static constexpr int Bar_Columns = 50;

// ---- Text ----

std::string Format(const char* format, ...)
{
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

Shown Show(const std::string& text)
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

Source Source_Open(const std::string& path)
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

uint64_t Source_Read(Source* source)
{
    uint64_t frames = 0;
    Ombrine_Audiofile_Read(source->handle, source->buffers.data(), source->block_frames, &frames,
                           1.0f);
    source->frames_read += frames;
    return frames;
}

void Source_Close(Source* source)
{
    Ombrine_Audiofile_Close_Read(source->handle);
    if (source->frames_read < source->frames_stated) {
        Tool_Note(source->path + Format(": the header states %llu frames, the file holds %llu",
                                        static_cast<unsigned long long>(source->frames_stated),
                                        static_cast<unsigned long long>(source->frames_read)));
    }
}

// ---- Progress ----

Bar Bar_Start(const Source& source)
{
    const bool is_long = source.frames_stated >= Long_File_Values / source.channels;
    return {is_long && isatty(STDERR_FILENO) != 0, source.frames_stated, -1};
}

void Bar_Draw(Bar* bar, uint64_t frames_done)
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

void Bar_End(const Bar& bar)
{
    if (bar.shown) {
        fprintf(stderr, "\r%*s\r", Bar_Columns + 7, "");
    }
}

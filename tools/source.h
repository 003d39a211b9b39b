// What the commands share: text, a file read block by block, and the progress bar. A block holds a
// fixed number of values of all channels together, so that memory stays bounded whatever a header
// states.
#pragma once

#include "frame/ombrine_audiofile.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// ---- Text ----

__attribute__((format(printf, 1, 2))) std::string Format(const char* format, ...);

// A text as a terminal shows it: a character may take two columns or none. What cannot be shown,
// such as the newline in a file's name, becomes a question mark.
struct Shown {
    std::string text;
    size_t columns;
};

Shown Show(const std::string& text);

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

Source Source_Open(const std::string& path);

// The next block: its number of frames, fewer than block_frames only at the end of the file.
uint64_t Source_Read(Source* source);

// Notes a file that holds fewer frames than it states.
void Source_Close(Source* source);

// ---- Progress ----

// Drawn with the cursor left at the start of the line, so that a report of the library covers it.
// Shown only for a long file, and only on a terminal.
struct Bar {
    bool shown;
    uint64_t frames;
    int percent;
};

Bar Bar_Start(const Source& source);
void Bar_Draw(Bar* bar, uint64_t frames_done);
void Bar_End(const Bar& bar);

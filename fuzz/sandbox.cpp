// The known reports, the callbacks that check against them, and the wrapped platform calls.
#include "fuzz/sandbox.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#if defined(__has_feature)
#if __has_feature(memory_sanitizer)
#define OMBRINE_MEMORY_SANITIZER
#endif
#endif

// ---- Reports ----

enum StreamState { Stream_Open, Stream_Closed };

struct KnownReport {
    int32_t severity;
    int32_t code;
    const char* text;
    bool named;         // a second call with the file's name follows
    StreamState stream; // when the report comes
};

// What the content of a file can bring about, a seek that goes too far among it. Other reports of
// the platform's failures are missing on purpose: the files lie in memory, so such a report is a
// fault.
static const KnownReport Known_Reports[] = {
    {2, 14, "Audiofile_Open_Read: Inconsistent parameters in WAVE file ", true, Stream_Open},
    {2, 16, "Audiofile_Open_Read: incorrect data chunck length in header", true, Stream_Open},
    {2, 16, "Audiofile_Open_Read: incorrect data chunk length in header", true, Stream_Open},

    {3, 14, "Audiofile_Open_Read: Unsupported file type ", true, Stream_Closed},
    {3, 14, "Audiofile_Open_Read_Write: Unsupported file type ", true, Stream_Closed},
    {3, 16, "Audiofile_Open_Read: Error reading header from file ", true, Stream_Closed},
    {3, 14, "Audiofile_Open_Read: invalid cbSize in WAVE file", true, Stream_Closed},
    {3, 14, "Audiofile_Open_Read: sanitycheck failed in WAVE file", true, Stream_Closed},
    {3, 14, "Audiofile_Open_Read: invalid #bits per sample in WAVE file", true, Stream_Closed},
    {3, 14, "Audiofile_Open_Read: invalid #bits for IEEE_FLOAT in WAV file", true, Stream_Closed},
    {3, 14, "Audiofile_Open_Read: invalid #bits for a-law in WAVE file", true, Stream_Closed},
    {3, 14, "Audiofile_Open_Read: invalid #bits for mu-law in WAVE file", true, Stream_Closed},
    {3, 14, "Audiofile_Open_Read: extensible format should have been converted", true,
     Stream_Closed},
    {3, 14, "Audiofile_Open_Read: Unsupported format in WAVE file ", true, Stream_Closed},
    {3, 16, "Audiofile_ReadChunk2_AIFF: second FORM chunck in header of ", true, Stream_Closed},
    {3, 16, "Audiofile_Open_Read: Unknown AIFF version in file ", true, Stream_Closed},
    {3, 17, "LF_ReadHeader_AIFF: Unsupported dataformat in ", true, Stream_Closed},
    {3, 17, "LF_ReadHeader_AIFF: Unsupported samplewidth in ", true, Stream_Closed},
    {3, 16, "FileAccess_Get_String: EOF on file ", true, Stream_Open},
    {3, 16, "FileAccess_Skip_Data: Error reading header from file ", true, Stream_Closed},

    {3, 16, "FileAccess_FSEEK: Error Seeking file", true, Stream_Closed},

    {3, 10, "FileDRDW_DR_UINT8: Data type not supported yet in file ", true, Stream_Open},
    {3, 10, "FileDRDW_DR_FLOAT32: Data type not supported yet in file ", true, Stream_Open},
    {3, 10, "FileDRDW_DR_FLOAT64: Data type not supported yet in file ", true, Stream_Open},
    {3, 10, "FileDRDW_DR_MULAW8: Data type not supported yet in file ", true, Stream_Open},
    {3, 10, "FileDRDW_DR_ALAW8: Data type not supported yet in file ", true, Stream_Open},
    {3, 10, "FileDRDW_DW_FLOAT32: Data type not supported yet in file ", true, Stream_Open},
    {3, 10, "Audiofile_Read_WRITE: Previous block must have been written ", true, Stream_Open},
    {3, 15, "Audiofile_Forward: File is not opened for reading ", true, Stream_Open},
    {3, 15, "Audiofile_Write_LONG: File not openend for write ", true, Stream_Open},
    {3, 15, "Audiofile_Read_Write_LONG: File block has to be read first! ", true, Stream_Open},
    {3, 10, "Audiofile_WrMatrix_FLOAT: data format not yet implemented", false, Stream_Open},
    {3, 15, "Audiofile_Close_Write: File not openend for write ", true, Stream_Open},
    {3, 15, "Audiofile_Close_Read: File not openend for read ", true, Stream_Closed},
    {3, 10, "OBJ_Malloc_C: Out of Memory", false, Stream_Open},
    {3, 2, "OBJ_Malloc_T: Out of temp. memory", false, Stream_Open},
};

// ---- State ----

constexpr int Most_Blocks = 8;

struct Block {
    void* start;
    uint64_t bytes;
};

struct Sandbox {
    bool inside; // a call of the engine is running
    jmp_buf stop;
    const char* path;
    const KnownReport* report; // the last one
    bool name_due;             // its second call has not come yet
    uint64_t warnings;         // of the last run
    FILE* stream;              // null while none is open
    Block blocks[Most_Blocks]; // a null start stands for a free place
    uint64_t bytes;            // in all of them
    uint64_t first_bytes;      // of them found by the last run
    uint64_t peak_bytes;
    uint64_t failing_allocation; // counts down to the one that fails; 0 for none
};

static Sandbox The_Sandbox;

void Require(bool holds, const char* what)
{
    if (!holds) {
        The_Sandbox.inside = false;
        fprintf(stderr, "open_read: broken promise: %s\n", what);
        if (The_Sandbox.report != nullptr) {
            fprintf(stderr, "open_read: last report: %s\n", The_Sandbox.report->text);
        }
        abort();
    }
}

// ---- The callbacks ----

static const KnownReport* Find_Report(int32_t severity, int32_t code, const char* text)
{
    for (const KnownReport& known : Known_Reports) {
        if (known.severity == severity && known.code == code && strcmp(known.text, text) == 0) {
            return &known;
        }
    }
    return nullptr;
}

static void Take_Report(ObjectHeader*, int32_t severity, int32_t code, const char* text)
{
    Sandbox& box = The_Sandbox;
    if (box.name_due) {
        Require(severity == box.report->severity && code == box.report->code,
                "the name has its report's severity and code");
        Require(strcmp(text, box.path) == 0, "the name is the file's path");
        box.name_due = false;
        return;
    }
    Require(box.report == nullptr || box.report->severity == OBJ_WARN, "one report before a stop");
    const KnownReport* known = Find_Report(severity, code, text);
    if (known == nullptr) {
        fprintf(stderr, "open_read: unknown report %d,%d: %s\n", severity, code, text);
    }
    Require(known != nullptr, "the report is a known one");
    Require((box.stream != nullptr) == (known->stream == Stream_Open),
            "the stream is open or closed as the report says");
    box.report = known;
    box.name_due = known->named;
    box.warnings += severity == OBJ_WARN;
}

static void Take_Stop(ObjectHeader*)
{
    Sandbox& box = The_Sandbox;
    Require(box.report != nullptr && box.report->severity == OBJ_ERROR && !box.name_due,
            "a whole error report before the stop");
    longjmp(box.stop, 1);
}

ObjectHeader Sandbox_Object = {"FUZZ", Take_Report, Take_Stop};

// ---- The wrapped calls ----

extern "C" {
FILE* __real_fopen(const char* path, const char* mode);
int __real_fclose(FILE* stream);
int __real_fseek(FILE* stream, long offset, int origin);
void* __real_memalign(size_t alignment, size_t size);
void __real_free(void* block);

FILE* __wrap_fopen(const char* path, const char* mode)
{
    FILE* stream = __real_fopen(path, mode);
    if (The_Sandbox.inside) {
        Require(The_Sandbox.stream == nullptr, "one stream at a time");
        The_Sandbox.stream = stream;
    }
    return stream;
}

int __wrap_fclose(FILE* stream)
{
    if (The_Sandbox.inside) {
        Require(stream != nullptr && stream == The_Sandbox.stream, "only an open stream is closed");
        The_Sandbox.stream = nullptr;
    }
    return __real_fclose(stream);
}

int __wrap_fseek(FILE* stream, long offset, int origin)
{
    if (The_Sandbox.inside) {
        Require(stream != nullptr && stream == The_Sandbox.stream, "only an open stream is moved");
        if (origin == SEEK_SET && offset > Sandbox_Farthest_Place) {
            errno = EINVAL;
            return -1;
        }
    }
    return __real_fseek(stream, offset, origin);
}

void* __wrap_memalign(size_t alignment, size_t size)
{
    Sandbox& box = The_Sandbox;
    if (!box.inside) {
        return __real_memalign(alignment, size);
    }
    Require(alignment == 16, "blocks lie on 16 bytes");
    if (box.failing_allocation != 0) {
        box.failing_allocation--;
        if (box.failing_allocation == 0) {
            return nullptr;
        }
    }
    if (size > Sandbox_Largest_Block) {
        return nullptr;
    }
    void* start = __real_memalign(alignment, size);
    if (start == nullptr) {
        return nullptr;
    }
#if !defined(OMBRINE_MEMORY_SANITIZER)
    // Nothing may depend on what a block held before.
    memset(start, 0xC5, size < 4096 ? size : 4096);
#endif
    for (Block& block : box.blocks) {
        if (block.start == nullptr) {
            block = {start, size};
            box.bytes += size;
            if (box.bytes > box.first_bytes + box.peak_bytes) {
                box.peak_bytes = box.bytes - box.first_bytes;
            }
            return start;
        }
    }
    Require(false, "few blocks at a time");
    return nullptr;
}

void __wrap_free(void* start)
{
    if (start != nullptr) {
        for (Block& block : The_Sandbox.blocks) {
            if (block.start == start) {
                The_Sandbox.bytes -= block.bytes;
                block = {nullptr, 0};
                break;
            }
        }
    }
    __real_free(start);
}
}

// ---- Entries ----

void Sandbox_Expect_Path(const char* path)
{
    The_Sandbox.path = path;
}

void Sandbox_Fail_Allocation(uint64_t number)
{
    The_Sandbox.failing_allocation = number;
}

// The stream goes first: it may still use its buffer.
static void Take_Away_Leavings()
{
    Sandbox& box = The_Sandbox;
    if (box.stream != nullptr) {
        __real_fclose(box.stream);
        box.stream = nullptr;
    }
    for (Block& block : box.blocks) {
        if (block.start != nullptr) {
            __wrap_free(block.start);
        }
    }
}

const char* Sandbox_Run(void (*call)(void* context), void* context)
{
    Sandbox& box = The_Sandbox;
    box.report = nullptr;
    box.name_due = false;
    box.warnings = 0;
    box.first_bytes = box.bytes;
    box.peak_bytes = 0;
    if (setjmp(box.stop) != 0) {
        box.inside = false;
        Take_Away_Leavings();
        return box.report->text;
    }
    box.inside = true;
    call(context);
    box.inside = false;
    Require(!box.name_due, "the last report came whole");
    Require(box.report == nullptr || box.report->severity == OBJ_WARN, "an error report, no stop");
    return nullptr;
}

uint64_t Sandbox_Peak_Bytes()
{
    return The_Sandbox.peak_bytes;
}

uint64_t Sandbox_Warnings()
{
    return The_Sandbox.warnings;
}

bool Sandbox_Empty()
{
    for (const Block& block : The_Sandbox.blocks) {
        if (block.start != nullptr) {
            return false;
        }
    }
    return The_Sandbox.stream == nullptr;
}

// The exported functions, linked from the archive: the whole road of a file, the shared object and
// its count behind them, what they print, and how they end the process.
#include "frame/exports.h"
#include "frame/ombrine_audiofile.h"
#include "tests/plain_formats.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/resource.h>

using testing::EndsWith;
using testing::Eq;
using testing::ExitedWithCode;

// ---- Memory that runs out when a test says so; a sanitizer brings its own allocator ----

#if defined(__SANITIZE_ADDRESS__)
#define OMBRINE_OWN_ALLOCATOR 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define OMBRINE_OWN_ALLOCATOR 0
#endif
#endif
#ifndef OMBRINE_OWN_ALLOCATOR
#define OMBRINE_OWN_ALLOCATOR 1

static bool Malloc_Fails = false;
static size_t Memalign_Fails_From = SIZE_MAX; // bytes

extern "C" void* __libc_malloc(size_t size);
extern "C" void* __libc_memalign(size_t alignment, size_t size);

extern "C" void* malloc(size_t size)
{
    return Malloc_Fails ? nullptr : __libc_malloc(size);
}

extern "C" void* memalign(size_t alignment, size_t size)
{
    return size >= Memalign_Fails_From ? nullptr : __libc_memalign(alignment, size);
}
#endif

namespace
{

// ---- What is printed ----

std::string Line(const std::string& numbers, const std::string& text)
{
    return "OmbrineAudiofile: " + numbers + ": " + text + "\n";
}

const std::string Exception = "OmbrineAudiofile: Exception\n";

std::string Stop(const std::string& numbers, const std::string& text)
{
    return Line(numbers, text) + Exception;
}

std::string Stop(const std::string& numbers, const std::string& text, const std::string& path)
{
    return Line(numbers, text) + Line(numbers, path) + Exception;
}

std::string Warning(const std::string& numbers, const std::string& text, const std::string& path)
{
    return Line(numbers, text) + Line(numbers, path);
}

// ---- Short forms ----

struct Opened {
    uint64_t samples = 0;
    uint64_t channels = 0;
    double sample_rate = 0.0;
    AudiofileHandle* handle = nullptr;
};

Opened Open_Read(const std::string& path)
{
    Opened opened;
    Ombrine_Audiofile_Open_Read(path.c_str(), &opened.samples, &opened.channels,
                                &opened.sample_rate, &opened.handle);
    return opened;
}

AudiofileHandle* Open_Write(const std::string& path, uint64_t channels = 1)
{
    AudiofileHandle* handle = nullptr;
    Ombrine_Audiofile_Open_Write(path.c_str(), channels, &handle, 8000.0);
    return handle;
}

// One channel of the same value.
void Write(AudiofileHandle* handle, uint64_t frames, float value)
{
    const std::vector<float> values(frames, value);
    const float* row = values.data();
    uint64_t written = 0;
    Ombrine_Audiofile_Write(handle, &row, frames, &written, 1.0f);
}

void Read(AudiofileHandle* handle, uint64_t frames)
{
    float values[16];
    float* row = values;
    uint64_t read = 0;
    Ombrine_Audiofile_Read(handle, &row, frames, &read, 1.0f);
}

// A good file that can be read.
std::string Good_File()
{
    const std::string path = Scratch_Path("good.wav");
    Write_File(path, Wave_Bytes(1, 16, 1, Bytes(8, 0), 8));
    return path;
}

// ---- The whole road ----

TEST(Exports, WriteThenRead)
{
    const std::string path = Scratch_Path("road.wav");
    constexpr uint64_t Frames = 5000;
    std::vector<std::vector<float>> in(3, std::vector<float>(Frames));
    Words words;
    for (uint64_t f = 0; f < Frames; f++) {
        for (uint64_t c = 0; c < 3; c++) {
            words.push_back(static_cast<int64_t>(f * 13 % 65535) * (c == 1 ? -1 : 1) / 2);
            in[c][f] = static_cast<float>(4.0 * static_cast<double>(words.back()) / 32767.0);
        }
    }

    AudiofileHandle* handle = nullptr;
    Ombrine_Audiofile_Open_Write(path.c_str(), 3, &handle, 8000.0);
    for (uint64_t done = 0; done < Frames; done += 700) {
        const float* rows[3] = {&in[0][done], &in[1][done], &in[2][done]};
        const uint64_t frames = std::min<uint64_t>(700, Frames - done);
        uint64_t written = 77;
        Ombrine_Audiofile_Write(handle, rows, frames, &written, 4.0f);
        EXPECT_EQ(written, frames);
    }
    Ombrine_Audiofile_Close_Write(handle);
    EXPECT_EQ(Read_File(path),
              Join({Wave_Header(1, 2, 3, 6 * Frames), Plain_Encode(INT16, true, words)}));

    const Opened opened = Open_Read(path);
    EXPECT_EQ(opened.samples, 3 * Frames);
    EXPECT_EQ(opened.channels, 3u);
    EXPECT_EQ(opened.sample_rate, 8000.0);
    std::vector<std::vector<float>> out(3, std::vector<float>(Frames + 100, 99.0f));
    for (uint64_t done = 0; done < Frames + 100; done += 1020) {
        float* rows[3] = {&out[0][done], &out[1][done], &out[2][done]};
        uint64_t read = 77;
        Ombrine_Audiofile_Read(opened.handle, rows, 1020, &read, 2.0f);
        EXPECT_EQ(read, std::min<uint64_t>(1020, Frames - done));
    }
    Ombrine_Audiofile_Close_Read(opened.handle);
    const float factor = Float_From_Bits(0x38000100) * 2.0f;
    for (uint64_t f = 0; f < Frames + 100; f++) {
        for (uint64_t c = 0; c < 3; c++) {
            const float expected =
                f < Frames ? static_cast<float>(words[3 * f + c]) * factor : 0.0f;
            ASSERT_EQ(Bits_Of(out[c][f]), Bits_Of(expected)) << "channel " << c << ", frame " << f;
        }
    }
}

// ---- The shared object and its count ----

TEST(Exports, TheObjectLivesFromTheFirstOpenToTheLastClose)
{
    const std::string good = Good_File();
    const std::string path = Scratch_Path("second.wav");
    for (int turn = 0; turn < 2; turn++) {
        SCOPED_TRACE(turn);
        EXPECT_EQ(Export_Use_Count, 0u);
        EXPECT_EQ(Export_Object, nullptr);
        const Opened first = Open_Read(good);
        const ObjectHeader* object = Export_Object;
        ASSERT_NE(object, nullptr);
        EXPECT_EQ(Export_Use_Count, 1u);
        AudiofileHandle* second = Open_Write(path);
        EXPECT_EQ(Export_Use_Count, 2u);
        EXPECT_EQ(Export_Object, object);
        Read(first.handle, 2);
        Write(second, 3, 2.0f); // clips
        EXPECT_EQ(Export_Use_Count, 2u);

        Ombrine_Audiofile_Close_Read(first.handle);
        EXPECT_EQ(Export_Use_Count, 1u);
        EXPECT_EQ(Export_Object, object);
        // The other one still reports as before.
        testing::internal::CaptureStderr();
        Ombrine_Audiofile_Close_Write(second);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  Warning("2,0", "Audiofile: clipped samples during writing", path));
    }
    EXPECT_EQ(Export_Use_Count, 0u);
    EXPECT_EQ(Export_Object, nullptr);
}

// ---- Warnings ----

TEST(Exports, WarningsPrintAndTheCallGoesOn)
{
    struct WarningCase {
        const char* name;
        Bytes file;
        const char* numbers;
        const char* text;
    };
    Bytes other_rate = Wave_Bytes(1, 16, 1, Bytes(8, 0), 8);
    other_rate[28]++;
    const WarningCase cases[] = {
        {"byte rate", other_rate, "2,14",
         "Audiofile_Open_Read: Inconsistent parameters in WAVE file "},
        {"data beyond the container", Wave_Bytes(1, 16, 1, Bytes(8, 0), 10), "2,16",
         "Audiofile_Open_Read: incorrect data chunck length in header"},
    };
    for (const WarningCase& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = Scratch_Path("warns.wav");
        Write_File(path, c.file);
        testing::internal::CaptureStderr();
        const Opened opened = Open_Read(path);
        Read(opened.handle, 4);
        Ombrine_Audiofile_Close_Read(opened.handle);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), Warning(c.numbers, c.text, path));
        EXPECT_EQ(opened.channels, 1u);
    }
}

// ---- Failures: the exact lines, then status 1 ----

struct FileCase {
    const char* name;
    Bytes content; // empty: no file is made
    void (*run)(const std::string& path);
    const char* numbers;
    const char* text;
};
void Just_Open(const std::string& path)
{
    Open_Read(path);
}
void Open_And_Read(const std::string& path)
{
    Read(Open_Read(path).handle, 0);
}
void Create(const std::string& path)
{
    Open_Write(path);
}

TEST(ExportsDeathTest, FileFailuresPrintThreeLines)
{
    const FileCase cases[] = {
        {"missing", {}, Just_Open, "3,14", "Audiofile_Open_Read: Error opening "},
        {"short", Text("RIFF"), Just_Open, "3,16", "FileAccess_Get_String: EOF on file "},
        {"no audio", Text("not an audio file"), Just_Open, "3,14",
         "Audiofile_Open_Read: Unsupported file type "},
        {"no_data",
         Join({Text("RIFF"), Little(4, 36), Text("WAVEnone"), Little(4, 28), Bytes(28, 0)}),
         Just_Open, "3,16", "Audiofile_Open_Read: Error reading header from file "},
        {"8_bit", Wave_Bytes(1, 8, 1, Bytes(8, 0), 8), Open_And_Read, "3,10",
         "FileDRDW_DR_UINT8: Data type not supported yet in file "},
        {"no_directory/file", {}, Create, "3,14", "Audiofile_Open_Write: Error creating "},
        {"read_to_write", Wave_Bytes(1, 16, 1, Bytes(8, 0), 8),
         [](const std::string& path) { Write(Open_Read(path).handle, 1, 0.0f); }, "3,15",
         "Audiofile_Write_LONG: File not openend for write "},
        {"write_to_read",
         {},
         [](const std::string& path) { Read(Open_Write(path), 1); },
         "3,10",
         "Audiofile_Read: File not open for read "},
        {"close_read_of_written",
         {},
         [](const std::string& path) { Ombrine_Audiofile_Close_Read(Open_Write(path)); },
         "3,15",
         "Audiofile_Close_Read: File not openend for read "},
        {"close_write_of_read", Wave_Bytes(1, 16, 1, Bytes(8, 0), 8),
         [](const std::string& path) { Ombrine_Audiofile_Close_Write(Open_Read(path).handle); },
         "3,15", "Audiofile_Close_Write: File not openend for write "},
        {"disk_fills",
         {},
         [](const std::string& path) {
             const rlimit limit = {100000, 100000};
             signal(SIGXFSZ, SIG_IGN);
             setrlimit(RLIMIT_FSIZE, &limit);
             Write(Open_Write(path), 100000, 0.5f);
         },
         "3,16",
         "FileAccess_Put_String: Error writing string into file "},
    };
    for (const FileCase& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = Scratch_Path(c.name);
        if (!c.content.empty()) {
            Write_File(path, c.content);
        }
        EXPECT_EXIT(c.run(path), ExitedWithCode(1), Eq(Stop(c.numbers, c.text, path)));
    }
    EXPECT_EXIT(Open_Write("/dev/full"), ExitedWithCode(1),
                Eq(Stop("3,16", "FileAccess_FSEEK: Error Seeking file", "/dev/full")));
    EXPECT_EXIT(Open_Read("/"), ExitedWithCode(1),
                Eq(Stop("3,16", "FileAccess_Get_String: Error reading string from file ", "/")));
}

struct HandleCase {
    const char* name;
    void (*call)(AudiofileHandle* handle);
    const char* numbers;
    const char* text;
};
const HandleCase Handle_Cases[] = {
    {"read", [](AudiofileHandle* handle) { Read(handle, 1); }, "3,10",
     "Audiofile_Read: File not open for read "},
    {"read of none", [](AudiofileHandle* handle) { Read(handle, 0); }, "3,10",
     "Audiofile_Read: File not open for read "},
    {"write", [](AudiofileHandle* handle) { Write(handle, 1, 0.0f); }, "3,15",
     "Audiofile_Write_LONG: File not openend for write "},
    {"close after reading", Ombrine_Audiofile_Close_Read, "3,15",
     "Audiofile_Close_Read: File not openend for read "},
    {"close after writing", Ombrine_Audiofile_Close_Write, "3,15",
     "Audiofile_Close_Write: File not openend for write "},
};

AudiofileHandle* Kept = nullptr; // so that its memory is not lost

TEST(ExportsDeathTest, CallsWithoutAnOpenFileAreRefused)
{
    const std::string good = Good_File();
    const Opened closed = Open_Read(good);
    Ombrine_Audiofile_Close_Read(closed.handle);
    for (const HandleCase& c : Handle_Cases) {
        SCOPED_TRACE(c.name);
        const std::string expected = Stop(c.numbers, c.text);
        EXPECT_EXIT(c.call(nullptr), ExitedWithCode(1), Eq(expected)) << "null, nothing open";
        EXPECT_EXIT(c.call(closed.handle), ExitedWithCode(1), Eq(expected)) << "closed long ago";
        EXPECT_EXIT(
            {
                Kept = Open_Read(good).handle;
                c.call(nullptr);
            },
            ExitedWithCode(1), Eq(expected))
            << "null beside an open file";
    }
}

// The caller has its handle, and the open counts, before the file is touched.
AudiofileHandle* Early_Handle = nullptr;
void Tell_State()
{
    fprintf(stderr, "%s, count %u\n", Early_Handle != nullptr ? "handle" : "no handle",
            static_cast<unsigned>(Export_Use_Count));
}

TEST(ExportsDeathTest, TheHandleIsThereBeforeTheFileIsTouched)
{
    const std::string path = Scratch_Path("none/there.wav");
    uint64_t number = 0;
    double rate = 0.0;
    EXPECT_EXIT(
        {
            atexit(Tell_State);
            Ombrine_Audiofile_Open_Read(path.c_str(), &number, &number, &rate, &Early_Handle);
        },
        ExitedWithCode(1),
        Eq(Stop("3,14", "Audiofile_Open_Read: Error opening ", path) + "handle, count 1\n"));
    EXPECT_EXIT(
        {
            atexit(Tell_State);
            Ombrine_Audiofile_Open_Write(path.c_str(), 1, &Early_Handle, 8000.0);
        },
        ExitedWithCode(1),
        Eq(Stop("3,14", "Audiofile_Open_Write: Error creating ", path) + "handle, count 1\n"));
}

void Write_Far_Too_Much(uint64_t frames)
{
    const float* rows[2] = {nullptr, nullptr};
    uint64_t written = 0;
    AudiofileHandle* handle = Open_Write(Scratch_Path("large.wav"), 2);
    Ombrine_Audiofile_Write(handle, rows, frames, &written, 1.0f);
}

TEST(ExportsDeathTest, CountsBeyondAllMemory)
{
    const std::string good = Good_File();
    // A sanitizer's allocator says so, too, in lines before these.
    const auto expected = EndsWith(Stop("3,2", "OBJ_Malloc_T: Out of temp. memory"));
    for (const uint64_t frames : {UINT64_MAX, uint64_t{1} << 63, uint64_t{1} << 61}) {
        SCOPED_TRACE(frames);
        EXPECT_EXIT(Read(Open_Read(good).handle, frames), ExitedWithCode(1), expected);
        EXPECT_EXIT(Write_Far_Too_Much(frames), ExitedWithCode(1), expected);
    }
}

#if OMBRINE_OWN_ALLOCATOR
TEST(ExportsDeathTest, MemoryRunsOut)
{
    const std::string good = Good_File();
    const std::string path = Scratch_Path("memory.wav");
    for (const bool writing : {false, true}) {
        SCOPED_TRACE(writing ? "writing" : "reading");
        auto open = [&] { return writing ? Open_Write(path) : Open_Read(good).handle; };
        // Nothing to report through without the shared object.
        EXPECT_EXIT(
            {
                Malloc_Fails = true;
                open();
            },
            ExitedWithCode(1), Eq(""));
        EXPECT_EXIT(
            {
                Memalign_Fails_From = 0;
                open();
            },
            ExitedWithCode(1), Eq(Stop("3,10", "OBJ_Malloc_C: Out of Memory")));
        EXPECT_EXIT(
            {
                AudiofileHandle* handle = open();
                Memalign_Fails_From = 0;
                writing ? Write(handle, 1, 0.0f) : Read(handle, 1);
            },
            ExitedWithCode(1), Eq(Stop("3,2", "OBJ_Malloc_T: Out of temp. memory")));
    }
}
#endif

} // namespace

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

// ---- Memory that runs out when a test says so; a sanitizer brings its own allocator ----

#ifndef __has_feature
#define __has_feature(name) 0
#endif
#if !defined(__SANITIZE_ADDRESS__) && !__has_feature(address_sanitizer)
#define OMBRINE_OWN_ALLOCATOR

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

struct Message {
    const char *numbers, *text;
};
constexpr Message Error_Opening = {"3,14", "Audiofile_Open_Read: Error opening "};
constexpr Message Error_Creating = {"3,14", "Audiofile_Open_Write: Error creating "};
constexpr Message Not_To_Read = {"3,10", "Audiofile_Read: File not open for read "};
constexpr Message Not_To_Write = {"3,15", "Audiofile_Write_LONG: File not openend for write "};
constexpr Message Not_Read = {"3,15", "Audiofile_Close_Read: File not openend for read "};
constexpr Message Not_Written = {"3,15", "Audiofile_Close_Write: File not openend for write "};
constexpr Message No_Temporary = {"3,2", "OBJ_Malloc_T: Out of temp. memory"};

std::string Report(const Message& message, const std::string& path)
{
    const std::string head = std::string("OmbrineAudiofile: ") + message.numbers + ": ";
    return head + message.text + "\n" + (path.empty() ? "" : head + path + "\n");
}

std::string Stop(const Message& message, const std::string& path = "")
{
    return Report(message, path) + "OmbrineAudiofile: Exception\n";
}

void Expect_Exit(const std::function<void()>& run, const testing::Matcher<const std::string&>& err)
{
    EXPECT_EXIT(run(), testing::ExitedWithCode(1), err);
}

// What the last open told. It keeps the handle, so that its memory is not lost.
struct {
    uint64_t samples, channels;
    double sample_rate;
    AudiofileHandle* handle;
} Told;

AudiofileHandle* Open(const std::string& path, OpenMode mode = OM_READ, uint64_t channels = 1)
{
    Told = {};
    if (mode == OM_WRITE) {
        Ombrine_Audiofile_Open_Write(path.c_str(), channels, &Told.handle, 8000.0);
    } else {
        Ombrine_Audiofile_Open_Read(path.c_str(), &Told.samples, &Told.channels, &Told.sample_rate,
                                    &Told.handle);
    }
    return Told.handle;
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

const Bytes Good = Wave_Bytes(1, 16, 1, Bytes(8, 0), 8);

std::string Make_File(const std::string& name, const Bytes& bytes = Good)
{
    Write_File(Scratch_Path(name), bytes);
    return Scratch_Path(name);
}

TEST(Exports, WriteThenRead)
{
    const std::string path = Scratch_Path("road.wav");
    constexpr uint64_t Frames = 5000;
    std::vector<std::vector<float>> in(3, std::vector<float>(Frames));
    Words words;
    for (uint64_t i = 0; i < 3 * Frames; i++) {
        words.push_back(static_cast<int64_t>(i / 3 * 13 % 65535) * (i % 3 == 1 ? -1 : 1) / 2);
        in[i % 3][i / 3] = static_cast<float>(4.0 * static_cast<double>(words.back()) / 32767.0);
    }

    AudiofileHandle* handle = Open(path, OM_WRITE, 3);
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

    handle = Open(path);
    EXPECT_EQ(Told.samples, 3 * Frames);
    EXPECT_EQ(Told.channels, 3u);
    EXPECT_EQ(Told.sample_rate, 8000.0);
    std::vector<std::vector<float>> out(3, std::vector<float>(Frames + 100, 99.0f));
    for (uint64_t done = 0; done < Frames + 100; done += 1020) {
        float* rows[3] = {&out[0][done], &out[1][done], &out[2][done]};
        uint64_t read = 77;
        Ombrine_Audiofile_Read(handle, rows, 1020, &read, 2.0f);
        EXPECT_EQ(read, std::min<uint64_t>(1020, Frames - done));
    }
    Ombrine_Audiofile_Close_Read(handle);
    const float factor = Float_From_Bits(0x38000100) * 2.0f;
    for (uint64_t i = 0; i < 3 * (Frames + 100); i++) {
        const float expected = i < 3 * Frames ? static_cast<float>(words[i]) * factor : 0.0f;
        ASSERT_EQ(Bits_Of(out[i % 3][i / 3]), Bits_Of(expected)) << "sample " << i;
    }
}

TEST(Exports, NoFramesNeedNoBuffers)
{
    const std::string path = Scratch_Path("no_frames.wav");
    for (const unsigned channels : {1, 2, 3, 4, 8}) {
        uint64_t moved = 77;
        Ombrine_Audiofile_Write(Open(path, OM_WRITE, channels), nullptr, 0, &moved, 1.0f);
        EXPECT_EQ(moved, 0u);
        Ombrine_Audiofile_Close_Write(Told.handle);
        Write_File(path, Wave_Bytes(1, 16, channels, Bytes(80, 1), 80));
        moved = 77;
        Ombrine_Audiofile_Read(Open(path), nullptr, 0, &moved, 1.0f);
        EXPECT_EQ(moved, 0u);
        Ombrine_Audiofile_Close_Read(Told.handle);
    }
}

TEST(Exports, TheObjectLivesFromTheFirstOpenToTheLastClose)
{
    const std::string good = Make_File("good.wav");
    const std::string path = Scratch_Path("second.wav");
    for (int turn = 0; turn < 2; turn++) {
        SCOPED_TRACE(turn);
        EXPECT_EQ(Export_Use_Count, 0u);
        EXPECT_EQ(Export_Object, nullptr);
        AudiofileHandle* first = Open(good);
        const ObjectHeader* object = Export_Object;
        ASSERT_NE(object, nullptr);
        EXPECT_EQ(Export_Use_Count, 1u);
        AudiofileHandle* second = Open(path, OM_WRITE);
        EXPECT_EQ(Export_Use_Count, 2u);
        EXPECT_EQ(Export_Object, object);
        Read(first, 2);
        Write(second, 3, 2.0f); // clips
        EXPECT_EQ(Export_Use_Count, 2u);

        Ombrine_Audiofile_Close_Read(first);
        EXPECT_EQ(Export_Use_Count, 1u);
        EXPECT_EQ(Export_Object, object);
        // The other one still reports as before.
        testing::internal::CaptureStderr();
        Ombrine_Audiofile_Close_Write(second);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  Report({"2,0", "Audiofile: clipped samples during writing"}, path));
    }
    EXPECT_EQ(Export_Use_Count, 0u);
    EXPECT_EQ(Export_Object, nullptr);
}

TEST(Exports, WarningsPrintAndTheCallGoesOn)
{
    Bytes other_rate = Good;
    other_rate[28]++;
    const Bytes too_long = Wave_Bytes(1, 16, 1, Bytes(8, 0), 10);
    const std::pair<Bytes, Message> cases[] = {
        {other_rate, {"2,14", "Audiofile_Open_Read: Inconsistent parameters in WAVE file "}},
        {too_long, {"2,16", "Audiofile_Open_Read: incorrect data chunck length in header"}},
    };
    for (const auto& [bytes, message] : cases) {
        const std::string path = Make_File("warns.wav", bytes);
        testing::internal::CaptureStderr();
        AudiofileHandle* handle = Open(path);
        Read(handle, 4);
        Ombrine_Audiofile_Close_Read(handle);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), Report(message, path));
        EXPECT_EQ(Told.channels, 1u) << message.text;
    }
}

// ---- Failures: the exact lines, then status 1 ----

using Call = void(AudiofileHandle* handle);
const auto Only_Open = [](AudiofileHandle*) {};
const auto Read_None = [](AudiofileHandle* handle) { Read(handle, 0); };
const auto Read_One = [](AudiofileHandle* handle) { Read(handle, 1); };
const auto Write_One = [](AudiofileHandle* handle) { Write(handle, 1, 0.0f); };
const auto Fill_Disk = [](AudiofileHandle* handle) {
    const rlimit limit = {100000, 100000};
    signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &limit);
    Write(handle, 100000, 0.5f);
};

struct FileCase {
    const char* name; // of the file, too
    Bytes content;    // empty: no file is made
    OpenMode mode;
    Call* run;
    Message message;
};

TEST(ExportsDeathTest, FileFailuresPrintThreeLines)
{
    const Bytes no_data =
        Join({Text("RIFF"), Little(4, 36), Text("WAVEnone"), Little(4, 28), Bytes(28, 0)});
    const Message end_of_file = {"3,16", "FileAccess_Get_String: EOF on file "};
    const Message no_type = {"3,14", "Audiofile_Open_Read: Unsupported file type "};
    const Message no_header = {"3,16", "Audiofile_Open_Read: Error reading header from file "};
    const Message no_8_bit = {"3,10", "FileDRDW_DR_UINT8: Data type not supported yet in file "};
    const Message full = {"3,16", "FileAccess_Put_String: Error writing string into file "};
    const Message no_get = {"3,16", "FileAccess_Get_String: Error reading string from file "};
    const FileCase cases[] = {
        {"missing", {}, OM_READ, Only_Open, Error_Opening},
        {"short", Text("RIFF"), OM_READ, Only_Open, end_of_file},
        {"no audio", Text("not an audio file"), OM_READ, Only_Open, no_type},
        {"no_data", no_data, OM_READ, Only_Open, no_header},
        {"8_bit", Wave_Bytes(1, 8, 1, Bytes(8, 0), 8), OM_READ, Read_None, no_8_bit},
        {"no_directory/file", {}, OM_WRITE, Only_Open, Error_Creating},
        {"read_to_write", Good, OM_READ, Write_One, Not_To_Write},
        {"write_to_read", {}, OM_WRITE, Read_One, Not_To_Read},
        {"close_read_of_written", {}, OM_WRITE, Ombrine_Audiofile_Close_Read, Not_Read},
        {"close_write_of_read", Good, OM_READ, Ombrine_Audiofile_Close_Write, Not_Written},
        {"disk_fills", {}, OM_WRITE, Fill_Disk, full},
        {"/dev/full", {}, OM_WRITE, Only_Open, {"3,16", "FileAccess_FSEEK: Error Seeking file"}},
        {"/", {}, OM_READ, Only_Open, no_get},
    };
    for (const FileCase& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = c.name[0] == '/' ? c.name : Scratch_Path(c.name);
        if (!c.content.empty()) {
            Write_File(path, c.content);
        }
        Expect_Exit([&] { c.run(Open(path, c.mode)); }, Stop(c.message, path));
    }
}

TEST(ExportsDeathTest, CallsWithoutAnOpenFileAreRefused)
{
    const std::string good = Make_File("good.wav");
    AudiofileHandle* closed = Open(good);
    Ombrine_Audiofile_Close_Read(closed);
    const std::pair<Call*, Message> cases[] = {
        {Read_One, Not_To_Read},
        {Read_None, Not_To_Read},
        {Write_One, Not_To_Write},
        {Ombrine_Audiofile_Close_Read, Not_Read},
        {Ombrine_Audiofile_Close_Write, Not_Written},
    };
    for (const auto& c : cases) {
        const std::string expected = Stop(c.second);
        const auto beside_an_open_file = [&] {
            Open(good);
            c.first(nullptr);
        };
        Expect_Exit([&] { c.first(nullptr); }, expected);
        Expect_Exit([&] { c.first(closed); }, expected);
        Expect_Exit(beside_an_open_file, expected);
    }
}

// The caller has its handle, and the open counts, before the file is touched.
TEST(ExportsDeathTest, TheHandleIsThereBeforeTheFileIsTouched)
{
    const std::string path = Scratch_Path("none/there.wav");
    const auto tell_state = [] {
        fprintf(stderr, "%s, count %u\n", Told.handle != nullptr ? "handle" : "no handle",
                static_cast<unsigned>(Export_Use_Count));
    };
    for (const OpenMode mode : {OM_READ, OM_WRITE}) {
        const auto run = [&] {
            atexit(tell_state);
            Open(path, mode);
        };
        const Message& message = mode == OM_WRITE ? Error_Creating : Error_Opening;
        Expect_Exit(run, Stop(message, path) + "handle, count 1\n");
    }
}

TEST(ExportsDeathTest, CountsBeyondAllMemory)
{
    const std::string good = Make_File("good.wav");
    const std::string path = Scratch_Path("large.wav");
    // A sanitizer's allocator says so, too, in lines before these.
    const auto expected = testing::EndsWith(Stop(No_Temporary));
    for (const uint64_t frames : {UINT64_MAX, uint64_t{1} << 63, uint64_t{1} << 61}) {
        SCOPED_TRACE(frames);
        Expect_Exit([&] { Read(Open(good), frames); }, expected);
        const auto write = [&] {
            const float* rows[2] = {nullptr, nullptr};
            uint64_t written = 0;
            Ombrine_Audiofile_Write(Open(path, OM_WRITE, 2), rows, frames, &written, 1.0f);
        };
        Expect_Exit(write, expected);
    }
}

#ifdef OMBRINE_OWN_ALLOCATOR
TEST(ExportsDeathTest, MemoryRunsOut)
{
    const std::string good = Make_File("good.wav");
    for (const OpenMode mode : {OM_READ, OM_WRITE}) {
        SCOPED_TRACE(mode);
        const std::string path = mode == OM_READ ? good : Scratch_Path("memory.wav");
        const auto without_malloc = [&] {
            Malloc_Fails = true;
            Open(path, mode);
        };
        const auto without_memalign = [&] {
            Memalign_Fails_From = 0;
            Open(path, mode);
        };
        const auto once_open = [&] {
            AudiofileHandle* handle = Open(path, mode);
            Memalign_Fails_From = 0;
            mode == OM_WRITE ? Write_One(handle) : Read_One(handle);
        };
        Expect_Exit(without_malloc, ""); // nothing to report through without the shared object
        Expect_Exit(without_memalign, Stop({"3,10", "OBJ_Malloc_C: Out of Memory"}));
        Expect_Exit(once_open, Stop(No_Temporary));
    }
}
#endif

} // namespace

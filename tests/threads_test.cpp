// What the headers promise to programs with threads. Built with the thread sanitizer as well.
#include "frame/ombrine_audiofile.h"
#include "spectrum/fft.h"
#include "tests/plain_formats.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cfloat>
#include <chrono>
#include <fcntl.h>
#include <thread>
#include <unistd.h>

namespace
{

using Threads = std::vector<std::jthread>;
using Clock = std::chrono::steady_clock;

constexpr uint64_t Frames = 50000;

struct Opened {
    AudiofileHandle* handle = nullptr;
    uint64_t samples, channels;
    double rate;

    Opened(const std::string& path, bool to_write)
    {
        if (to_write) {
            Ombrine_Audiofile_Open_Write(path.c_str(), 1, &handle, 8000.0);
        } else {
            Ombrine_Audiofile_Open_Read(path.c_str(), &samples, &channels, &rate, &handle);
        }
    }
};

float Value_At(uint64_t frame)
{
    return static_cast<float>(frame * 7919 % 65535) / 32767.0f - 1.0f;
}

// Blocks of changing sizes, so that no pass and no buffer ends with one.
template <class Block> void For_Blocks(uint64_t first, uint64_t end, Block block)
{
    for (uint64_t done = first, frames = 1; done < end; done += frames) {
        frames = std::min(end - done, frames * 5 % 1499 + 1);
        block(done, frames);
    }
}

void Write_Frames(AudiofileHandle* handle, uint64_t first, uint64_t end)
{
    For_Blocks(first, end, [&](uint64_t done, uint64_t frames) {
        std::vector<float> values(frames);
        for (uint64_t f = 0; f < frames; f++) {
            values[f] = Value_At(done + f);
        }
        const float* row = values.data();
        uint64_t written = 0;
        Ombrine_Audiofile_Write(handle, &row, frames, &written, 1.0f);
    });
}

// The frames that come back wrong.
uint64_t Wrong_Frames(AudiofileHandle* handle, uint64_t first, uint64_t end)
{
    uint64_t wrong = 0;
    For_Blocks(first, end, [&](uint64_t done, uint64_t frames) {
        std::vector<float> values(frames, 9.0f);
        float* row = values.data();
        uint64_t read = 0;
        Ombrine_Audiofile_Read(handle, &row, frames, &read, 1.0f);
        for (uint64_t f = 0; f < frames; f++) {
            wrong += !(std::fabs(values[f] - Value_At(done + f)) < 1.0f / 32767.0f);
        }
    });
    return wrong;
}

std::string Make_File(const std::string& name)
{
    const std::string path = Scratch_Path(name);
    const Opened file(path, true);
    Write_Frames(file.handle, 0, Frames);
    Ombrine_Audiofile_Close_Write(file.handle);
    return path;
}

TEST(Threads, ReadsAndWritesRunBesideOpensAndCloses)
{
    const std::string whole = Make_File("whole.wav");
    std::vector<Opened> files;
    std::atomic<int> running = 4;
    std::atomic<uint64_t> wrong = 0;
    Threads threads;
    for (int k = 0; k < 4; k++) {
        files.emplace_back(k < 2 ? Scratch_Path(std::to_string(k)) : whole, k < 2);
        threads.emplace_back([&, k, handle = files[k].handle] {
            if (k < 2) {
                Write_Frames(handle, 0, Frames);
            } else {
                wrong += Wrong_Frames(handle, 0, Frames);
            }
            running--;
        });
    }
    while (running != 0) {
        Ombrine_Audiofile_Close_Write(Opened(Scratch_Path("other.wav"), true).handle);
        Ombrine_Audiofile_Close_Read(Opened(whole, false).handle);
    }
    for (int k = 0; k < 4; k++) {
        (k < 2 ? Ombrine_Audiofile_Close_Write : Ombrine_Audiofile_Close_Read)(files[k].handle);
    }
    EXPECT_EQ(wrong, 0u);
    for (const char* written : {"0", "1"}) {
        EXPECT_EQ(Read_File(Scratch_Path(written)), Read_File(whole));
    }
}

TEST(Threads, AHandleMayGoFromOneToTheNext)
{
    const std::string whole = Make_File("whole.wav");
    const std::string path = Scratch_Path("handed_on.wav");
    const Opened written(path, true);
    std::thread(Write_Frames, written.handle, 0, Frames / 2).join();
    std::thread(Write_Frames, written.handle, Frames / 2, Frames).join();
    std::thread(Ombrine_Audiofile_Close_Write, written.handle).join();
    EXPECT_EQ(Read_File(path), Read_File(whole));
}

// ---- Another thread may flush all streams of the process at any time ----

void Change_In_Place(const std::string& path)
{
    RecordingObject object;
    Make_Recorder(&object);
    AudiofileHandle* handle = Make_Handle(&object);
    uint64_t samples, channels;
    double rate;
    Audiofile_Open_Read_Write(&object.header, path.c_str(), &samples, &channels, &rate, handle);
    for (int block = 0; block < 30; block++) {
        if (block % 2 == 0) {
            Audiofile_Rewind(&object.header, handle);
        }
        Words words(Frames / 2);
        uint64_t moved = 0;
        Audiofile_Read(&object.header, handle, words.data(), words.size(), &moved);
        std::ranges::reverse(words);
        Audiofile_Write_LONG(&object.header, handle, words.data(), words.size(), &moved);
    }
    Audiofile_Close_Read_Write(&object.header, handle);
    Drop_Handle(handle, false);
}

struct Job {
    const char* name;
    Bytes (*run)(); // the file that it leaves
};
const Job Jobs[] = {
    {"write", [] { return Read_File(Make_File("flushed.wav")); }},
    {"read",
     [] {
         const Opened file(Scratch_Path("whole.wav"), false);
         EXPECT_EQ(Wrong_Frames(file.handle, 0, Frames), 0u);
         Ombrine_Audiofile_Close_Read(file.handle);
         return Bytes();
     }},
    {"change in place",
     [] {
         const std::string path = Scratch_Path("changed.wav");
         Write_File(path, Read_File(Scratch_Path("whole.wav")));
         Change_In_Place(path);
         return Read_File(path);
     }},
};

// With streams that take no lock eight of eight runs were red, by 4 files and more of 200.
constexpr int Turns = 200;
constexpr std::chrono::milliseconds Longest_Turns(1500); // for slow builds

TEST(Threads, StreamsMayBeFlushedAtAnyTime)
{
    Make_File("whole.wav");
    for (const Job& job : Jobs) {
        SCOPED_TRACE(job.name);
        const Bytes alone = job.run();
        std::jthread flusher([](std::stop_token stop) {
            while (!stop.stop_requested()) {
                fflush(nullptr);
            }
        });
        const auto end = Clock::now() + Longest_Turns;
        uint64_t changed = 0;
        for (int turn = 0; turn < Turns && Clock::now() < end; turn++) {
            changed += job.run() != alone;
        }
        EXPECT_EQ(changed, 0u) << "files of " << Turns;
    }
}

// ---- A failure in one thread ends the process in which others write and flush ----

using Fail = void(AudiofileHandle* handle);
struct FailureCase {
    const char* name; // of the file, too
    Bytes content;    // none: a file to write
    Fail* fail;
    const char* report;
};
const FailureCase Failure_Cases[] = {
    {"8_bit", Wave_Bytes(1, 8, 1, Bytes(8, 0), 8),
     [](AudiofileHandle* handle) { Wrong_Frames(handle, 0, 1); },
     "3,10: FileDRDW_DR_UINT8: Data type not supported yet in file "},
    {"directory", Wave_Bytes(1, 16, 1, Bytes(200000, 0), 200000),
     [](AudiofileHandle* handle) {
         dup2(open("/", O_RDONLY), fileno(handle->stream));
         Wrong_Frames(handle, 0, 100000);
     },
     "3,16: FileAccess_GetNoError_UString: Error reading string from file"},
    {"full",
     {},
     [](AudiofileHandle* handle) {
         dup2(open("/dev/full", O_WRONLY), fileno(handle->stream));
         Write_Frames(handle, 0, 100000);
     },
     "3,16: FileAccess_Put_String: Error writing string into file "},
};

void Fail_Beside_Others(const FailureCase& c, const std::string& path)
{
    alarm(60); // rather than wait for ever
    const Opened failing(path, c.content.empty());
    const Opened good(Scratch_Path("good.wav"), true);
    std::atomic<int> ready = 0;
    std::thread([&] {
        for (ready++;; fflush(nullptr)) {
        }
    }).detach();
    std::thread([&] {
        ready++;
        for (int turn = 0; turn < 1000; turn++) { // 100 MB where the process does not end
            Write_Frames(good.handle, 0, Frames);
        }
    }).detach();
    while (ready != 2) {
    }
    std::thread(c.fail, failing.handle).join();
}

TEST(ThreadsDeathTest, AFailureEndsTheProcess)
{
    for (const FailureCase& c : Failure_Cases) {
        SCOPED_TRACE(c.name);
        const std::string path = Scratch_Path(c.name);
        Write_File(path, c.content);
        const std::string report = c.report;
        const std::string expected = "OmbrineAudiofile: " + report + "\nOmbrineAudiofile: " +
                                     report.substr(0, report.find(": ") + 2) + path +
                                     "\nOmbrineAudiofile: Exception\n";
        for (int turn = 0; turn < 5; turn++) {
            EXPECT_EXIT(Fail_Beside_Others(c, path), testing::ExitedWithCode(1),
                        testing::Eq(expected));
        }
    }
}

// ---- Numbers ----

TEST(Threads, InheritTheFloatingPointSetting)
{
    volatile float smallest = FLT_MIN;
    float half = 1.0f;
    std::thread([&] { half = smallest * 0.5f; }).join();
    EXPECT_EQ(half, 0.0f);
}

TEST(Threads, ShareAPlan)
{
    constexpr uint32_t N = 1024;
    std::vector<uint64_t> block(FFT_RealPlan_Size(N) / sizeof(uint64_t));
    FFT_RealPlan_Init(N, block.data());
    const auto* plan = reinterpret_cast<const FftRealPlan*>(block.data());
    std::vector<float> in(N), out[3];
    std::generate(in.begin(), in.end(), [f = uint64_t{0}]() mutable { return Value_At(f++); });
    {
        Threads threads;
        for (std::vector<float>& spectrum : out) {
            spectrum.resize(N);
            threads.emplace_back(FFT_Real_Forward, plan, N, in.data(), spectrum.data());
        }
    }
    EXPECT_EQ(out[1], out[0]);
    EXPECT_EQ(out[2], out[0]);
}

} // namespace

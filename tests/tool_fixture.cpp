#include "tests/tool_fixture.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

// ---- Files ----

static std::string Little(unsigned width, uint64_t value)
{
    std::string bytes;
    for (unsigned k = 0; k < width; k++) {
        bytes += static_cast<char>(value >> 8 * k);
    }
    return bytes;
}

static std::string Big(unsigned width, uint64_t value)
{
    const std::string bytes = Little(width, value);
    return {bytes.rbegin(), bytes.rend()};
}

std::string Little_16(const std::vector<int>& values)
{
    std::string bytes;
    for (const int value : values) {
        bytes += Little(2, static_cast<uint64_t>(value));
    }
    return bytes;
}

std::string Floats(const std::vector<float>& values)
{
    return {reinterpret_cast<const char*>(values.data()), values.size() * sizeof values[0]};
}

std::string Wave(unsigned tag, unsigned bits, const std::string& data, unsigned channels,
                 unsigned rate, std::optional<uint64_t> stated_bytes)
{
    const unsigned frame_bytes = channels * bits / 8;
    const uint64_t stated = stated_bytes.value_or(data.size());
    return "RIFF" + Little(4, 36 + stated) + "WAVEfmt " + Little(4, 16) + Little(2, tag) +
           Little(2, channels) + Little(4, rate) + Little(4, uint64_t{frame_bytes} * rate) +
           Little(2, frame_bytes) + Little(2, bits) + "data" + Little(4, stated) + data;
}

std::string Wave_16(unsigned channels, const std::vector<int>& values)
{
    return Wave(PCM, 16, Little_16(values), channels);
}

std::string Aiff(unsigned bits, const std::vector<int>& values, unsigned channels,
                 uint64_t exponent, uint64_t mantissa)
{
    std::string data;
    for (const int value : values) {
        data += Big(bits / 8, static_cast<uint64_t>(value));
    }
    return "FORM" + Big(4, 46 + data.size()) + "AIFFCOMM" + Big(4, 18) + Big(2, channels) +
           Big(4, values.size() / channels) + Big(2, bits) + Big(2, exponent) + Big(8, mantissa) +
           "SSND" + Big(4, 8 + data.size()) + Big(8, 0) + data;
}

std::string Library_Report(int code, const std::string& text, const std::string& name)
{
    const std::string head = "OmbrineAudiofile: 3," + std::to_string(code) + ": ";
    return head + text + "\n" + head + name + "\nOmbrineAudiofile: Exception\n";
}

// ---- The directory ----

void Tool::SetUp()
{
    directory = fs::temp_directory_path() / "ombrine-tool-XXXXXX";
    ASSERT_NE(mkdtemp(directory.data()), nullptr);
}

void Tool::TearDown()
{
    fs::remove_all(directory);
}

std::string Tool::Path(const std::string& name) const
{
    return fs::path(directory) / name;
}

void Tool::Put(const std::string& name, const std::string& bytes) const
{
    std::ofstream(Path(name), std::ios::binary) << bytes;
}

std::string Tool::Get(const std::string& name) const
{
    std::ifstream file(Path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void Tool::Put_Zeros(const std::string& name, unsigned channels, uint64_t data_bytes) const
{
    const std::string head = Wave(PCM, 16, "", channels, 8000, data_bytes);
    Put(name, head);
    fs::resize_file(Path(name), head.size() + data_bytes);
}

// ---- Programs ----

pid_t Tool::Start(const std::string& program, const Arguments& arguments,
                  const Prepare& prepare) const
{
    std::istringstream emulator(OMBRINE_EMULATOR);
    std::vector<std::string> words{std::istream_iterator<std::string>(emulator), {}};
    words.push_back(program);
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers(words.size() + 1);
    std::transform(words.begin(), words.end(), pointers.begin(),
                   [](std::string& word) { return word.data(); });

    const pid_t process = fork();
    if (process != 0) {
        return process;
    }
    dup2(creat(Path(".out").c_str(), 0600), STDOUT_FILENO);
    dup2(creat(Path(".err").c_str(), 0600), STDERR_FILENO);
    if (chdir(directory.c_str()) == 0) {
        if (prepare) {
            prepare();
        }
        execvp(pointers[0], pointers.data());
    }
    _exit(127);
}

Result Tool::Finish(pid_t process) const
{
    int status = 0;
    struct rusage usage = {};
    EXPECT_EQ(wait4(process, &status, 0, &usage), process);
    EXPECT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Get(".out"), Get(".err"),
            usage.ru_maxrss};
}

Result Tool::Run_Tool(const Arguments& arguments, const Prepare& prepare) const
{
    return Finish(Start(OMBRINE_TOOL, arguments, prepare));
}

Result Tool::Expect_Run(const Arguments& arguments, int status, const std::string& err,
                        const Prepare& prepare) const
{
    const Result result = Run_Tool(arguments, prepare);
    EXPECT_EQ(result.status, status) << testing::PrintToString(arguments);
    EXPECT_EQ(result.err, err) << testing::PrintToString(arguments);
    return result;
}

#include "tests/tool_fixture.h"

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

std::string Little(unsigned width, uint64_t value)
{
    std::string bytes;
    for (unsigned k = 0; k < width; k++) {
        bytes += static_cast<char>(value >> 8 * k);
    }
    return bytes;
}

std::string Big(unsigned width, uint64_t value)
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

std::string Big_Values(unsigned width, const std::vector<int>& values)
{
    std::string bytes;
    for (const int value : values) {
        bytes += Big(width, static_cast<uint64_t>(value));
    }
    return bytes;
}

// A WAVE file whose header states stated_bytes of samples.
std::string Wave_Stating(unsigned tag, unsigned channels, unsigned rate, unsigned bits,
                         uint64_t stated_bytes, const std::string& data)
{
    const unsigned frame_bytes = channels * bits / 8;
    return "RIFF" + Little(4, 36 + stated_bytes) + "WAVEfmt " + Little(4, 16) + Little(2, tag) +
           Little(2, channels) + Little(4, rate) + Little(4, uint64_t{frame_bytes} * rate) +
           Little(2, frame_bytes) + Little(2, bits) + "data" + Little(4, stated_bytes) + data;
}

std::string Wave(unsigned tag, unsigned channels, unsigned rate, unsigned bits,
                 const std::string& data)
{
    return Wave_Stating(tag, channels, rate, bits, data.size(), data);
}

std::string Wave_16(unsigned channels, const std::vector<int>& values)
{
    return Wave(PCM, channels, 8000, 16, Little_16(values));
}

// exponent and mantissa are the fields of the rate's 80-bit float.
std::string Aiff_At(uint64_t exponent, uint64_t mantissa, unsigned channels, unsigned bits,
                    const std::string& data)
{
    const uint64_t frames = data.size() / (bits / 8) / channels;
    return "FORM" + Big(4, 46 + data.size()) + "AIFFCOMM" + Big(4, 18) + Big(2, channels) +
           Big(4, frames) + Big(2, bits) + Big(2, exponent) + Big(8, mantissa) + "SSND" +
           Big(4, 8 + data.size()) + Big(8, 0) + data;
}

std::string Aiff(unsigned channels, unsigned bits, const std::string& data)
{
    return Aiff_At(0x400B, 0xFA00000000000000, channels, bits, data); // 8000 Hz
}

std::string Library_Report(int code, const std::string& text, const std::string& name)
{
    const std::string head = "OmbrineAudiofile: 3," + std::to_string(code) + ": ";
    return head + text + "\n" + head + name + "\nOmbrineAudiofile: Exception\n";
}

// ---- The directory ----

void Tool::SetUp()
{
    std::string pattern = (fs::temp_directory_path() / "ombrine-tool-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    directory = pattern;
}

void Tool::TearDown()
{
    fs::remove_all(directory);
}

std::string Tool::Path(const std::string& name) const
{
    return directory + "/" + name;
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
    const std::string head = Wave_Stating(PCM, channels, 8000, 16, data_bytes, "");
    Put(name, head);
    fs::resize_file(Path(name), head.size() + data_bytes);
}

// ---- Programs ----

pid_t Tool::Start(const std::string& program, const Arguments& arguments,
                  const std::function<void()>& prepare) const
{
    std::vector<std::string> words;
    std::istringstream emulator(OMBRINE_EMULATOR);
    for (std::string word; emulator >> word;) {
        words.push_back(word);
    }
    words.push_back(program);
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    const std::string out = Path(".out");
    const std::string err = Path(".err");

    const pid_t process = fork();
    if (process != 0) {
        return process;
    }
    dup2(open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
    dup2(open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
    if (chdir(directory.c_str()) == 0) {
        prepare();
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

Result Tool::Run_Tool(const Arguments& arguments, const std::function<void()>& prepare) const
{
    return Finish(Start(OMBRINE_TOOL, arguments, prepare));
}

// The command-line tool as a user meets it: usage, the table of info, standard output that fails,
// long files. And the README's example.
#include "tests/tool_fixture.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <unistd.h>

namespace fs = std::filesystem;

// ---- Usage ----

TEST_F(Tool, WrongUsageIsOneLineAndStatus2)
{
    struct UsageCase {
        const char* name;
        Arguments arguments;
        const char* reason; // how the line goes on behind "ombrine: "
    };
    const UsageCase cases[] = {
        {"nothing", {}, "A subcommand is required"},
        {"unknown command", {"play"}, "A subcommand is required"},
        {"info without file", {"info"}, "FILE is required"},
        {"info with unknown option", {"info", "--long", "in.wav"}, "The following argument"},
        {"convert without files", {"convert"}, "IN is required"},
        {"convert without output", {"convert", "in.wav"}, "OUT.wav is required"},
        {"convert with three files", {"convert", "in.wav", "b", "c"}, "The following argument"},
        {"newline in an argument", {"convert", "in.wav", "b", "c\nd"}, "The following argument"},
        {"gain without value", {"convert", "in.wav", "out.wav", "--gain"}, "--gain: 1 required"},
        {"gain not a number", {"convert", "in.wav", "out.wav", "--gain", "x"}, "Could not convert"},
        {"gain with a unit", {"convert", "in.wav", "out.wav", "--gain", "3dB"}, "Could not conv"},
        {"gain twice", {"convert", "in.wav", "out.wav", "--gain", "1", "--gain", "2"}, "--gain"},
        {"gain NaN", {"convert", "in.wav", "out.wav", "--gain", "nan"}, "--gain"},
        {"gain infinite", {"convert", "in.wav", "out.wav", "--gain", "inf"}, "--gain"},
        {"gain infinite, down", {"convert", "in.wav", "out.wav", "--gain", "-inf"}, "--gain"},
        {"gain beyond a double", {"convert", "in.wav", "out.wav", "--gain", "1e400"}, "--gain"},
        {"gain beyond sense", {"convert", "in.wav", "out.wav", "--gain", "201"}, "--gain"},
    };
    Put("in.wav", Wave_16(1, {1, 2, 3}));
    for (const UsageCase& c : cases) {
        SCOPED_TRACE(c.name);
        const Result result = Run_Tool(c.arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err.rfind("ombrine: " + std::string(c.reason), 0), 0u) << result.err;
        EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
        EXPECT_FALSE(fs::exists(Path("out.wav")));
    }
}

TEST_F(Tool, HelpAndVersionSucceed)
{
    struct HelpCase {
        const char* name;
        Arguments arguments;
        const char* part;
    };
    const HelpCase cases[] = {
        {"version", {"--version"}, "ombrine "},
        {"help", {"--help"}, "Usage: ombrine [OPTIONS] SUBCOMMAND\n"},
        {"help of info", {"info", "--help"}, "Usage: ombrine info [OPTIONS] FILE...\n"},
        {"help of convert", {"convert", "--help"}, "Usage: ombrine convert [OPTIONS] IN OUT.wav\n"},
    };
    for (const HelpCase& c : cases) {
        SCOPED_TRACE(c.name);
        const Result result = Run_Tool(c.arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_NE(result.out.find(c.part), std::string::npos) << result.out;
        EXPECT_EQ(result.err, "");
    }
}

// ---- info ----

TEST_F(Tool, InfoPrintsOneAlignedTable)
{
    Put("square.wav", Wave_16(2, {16384, 0, -16384, 0, 16384, 0, -16384, 0}));
    Put("two words.aiff", Aiff(1, 24, Big_Values(3, {8388600, 0, 0, 0})));
    Put("日本.wav", Wave(PCM, 1, 1, 16, std::string(7322, '\0')));
    Put("new\nline.wav", Wave(Float, 1, 44100, 32, Little(4, 0x40000000) + Little(4, 0xC0000000)));
    Put("none.wav", Wave(PCM, 0, 8000, 16, "four"));
    Put("empty.wav", Wave(PCM, 2, 0, 16, ""));
    const Result result = Run_Tool({"info", "square.wav", "two words.aiff", "日本.wav",
                                    "new\nline.wav", "none.wav", "empty.wav"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out,
              "file            channels    rate/Hz      frames      duration     peak      RMS  "
              "(dBFS, for each channel)\n"
              "square.wav             2       8000           4   0:00:00.001    -6.02    -6.02     "
              "-inf     -inf\n"
              "two words.aiff         1       8000           4   0:00:00.001     0.00    -6.02\n"
              "日本.wav               1          1        3661   1:01:01.000     -inf     -inf\n"
              "new?line.wav           1      44100           2   0:00:00.000     6.02     6.02\n"
              "none.wav               0       8000           0   0:00:00.000\n"
              "empty.wav              2          0           0             -     -inf     -inf     "
              "-inf     -inf\n");
    EXPECT_EQ(result.err, "");
}

TEST_F(Tool, InfoMeasuresAcrossBlocks)
{
    // The loudest value in the last frame; one value in 400 gives the mean.
    std::vector<int> values(400000, 0);
    values.back() = -32767;
    for (size_t i = 0; i < values.size(); i += 400) {
        values[i] = 3277;
    }
    Put("long.wav", Wave_16(2, values));
    const Result result = Run_Tool({"info", "long.wav"});
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.out.find("long.wav         2       8000      200000   0:00:25.000   -20.00   "
                              "-43.01     0.00   -53.01\n"),
              std::string::npos)
        << result.out;
}

TEST_F(Tool, InfoShowsTheFilesBeforeTheOneThatStopsIt)
{
    Put("good.wav", Wave_16(1, {1}));
    const Result result = Run_Tool({"info", "good.wav", "missing.wav", "good.wav"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.out.find("\ngood.wav "), std::string::npos) << result.out;
    EXPECT_EQ(result.err, Library_Report(14, "Audiofile_Open_Read: Error opening ", "missing.wav"));
}

TEST_F(Tool, UnwritableStandardOutputIsStatus1)
{
    struct OutputCase {
        const char* name;
        std::function<void()> prepare;
        const char* reason;
    };
    const OutputCase cases[] = {
        {"full device", [] { dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO); },
         "ombrine: standard output: No space left on device\n"},
        {"closed", [] { close(STDOUT_FILENO); }, "ombrine: standard output: Bad file descriptor\n"},
        {"pipe without reader",
         [] {
             int ends[2] = {-1, -1};
             if (pipe(ends) == 0) {
                 dup2(ends[1], STDOUT_FILENO);
                 close(ends[0]);
             }
         },
         "ombrine: standard output: Broken pipe\n"},
    };
    Put("in.wav", Wave_16(1, {1, 2, 3}));
    for (const OutputCase& c : cases) {
        for (const Arguments& arguments : {Arguments{"info", "in.wav"}, Arguments{"--help"}}) {
            SCOPED_TRACE(testing::Message() << c.name << ", " << arguments[0]);
            const Result result = Run_Tool(arguments, c.prepare);
            EXPECT_EQ(result.status, 1);
            EXPECT_EQ(result.err, c.reason);
        }
    }
}

// ---- Long files ----

TEST_F(Tool, ProgressShowsOnATerminalForALongFile)
{
    struct ProgressCase {
        const char* name;
        uint64_t data_bytes;
        bool shown;
    };
    const ProgressCase cases[] = {{"long", 40000000, true}, {"short", 400000, false}};
    for (const ProgressCase& c : cases) {
        SCOPED_TRACE(c.name);
        Put_Zeros("in.wav", 2, c.data_bytes);
        const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
        ASSERT_GE(terminal, 0);
        ASSERT_EQ(grantpt(terminal), 0);
        ASSERT_EQ(unlockpt(terminal), 0);
        const std::string name = ptsname(terminal);
        const int other_end = open(name.c_str(), O_RDWR | O_NOCTTY);
        ASSERT_GE(other_end, 0);
        const pid_t process = Start(OMBRINE_TOOL, {"convert", "in.wav", "out.wav"},
                                    [=] { dup2(other_end, STDERR_FILENO); });
        close(other_end);
        std::string shown;
        char part[512];
        for (ssize_t got = 0; (got = read(terminal, part, sizeof part)) > 0;) {
            shown.append(part, static_cast<size_t>(got));
        }
        close(terminal);
        EXPECT_EQ(Finish(process).status, 0);
        for (const size_t filled : {size_t{25}, size_t{50}}) {
            std::string bar = "\r[";
            bar.append(filled, '#').append(50 - filled, ' ');
            bar += filled == 25 ? "]  50%\r" : "] 100%\r";
            EXPECT_EQ(shown.find(bar) != std::string::npos, c.shown) << bar << shown;
        }
        EXPECT_EQ(shown.find('\n'), std::string::npos);

        EXPECT_EQ(Run_Tool({"convert", "in.wav", "out.wav"}).err, "") << "not a terminal";
    }
}

TEST_F(Tool, MemoryDoesNotGrowWithTheFile)
{
    // Sanitizers and emulators take memory of their own: no more for a long file than for a short.
    const bool alone = !OMBRINE_SANITIZED && *OMBRINE_EMULATOR == '\0';
    const auto no_quarantine = [] { setenv("ASAN_OPTIONS", "quarantine_size_mb=0", 1); };
    struct MemoryCase {
        const char* name;
        unsigned channels;
    };
    const MemoryCase cases[] = {{"mono", 1}, {"most channels", 65535}};
    for (const MemoryCase& c : cases) {
        SCOPED_TRACE(c.name);
        Put_Zeros("short.wav", c.channels, uint64_t{65535} * 160);
        Put_Zeros("long.wav", c.channels, uint64_t{65535} * 1600);
        for (const char* command : {"info", "convert"}) {
            Arguments arguments = {command, "short.wav"};
            if (arguments[0] == "convert") {
                arguments.push_back("out.wav");
            }
            const Result least = Run_Tool(arguments, no_quarantine);
            arguments[1] = "long.wav";
            const Result result = Run_Tool(arguments, no_quarantine);
            EXPECT_EQ(result.status, 0) << result.err;
            EXPECT_LT(result.peak_kib, alone ? 32 * 1024 : least.peak_kib + 8 * 1024) << command;
        }
        EXPECT_EQ(fs::file_size(Path("out.wav")), fs::file_size(Path("long.wav")));
    }
}

// ---- The README's example ----

struct Example : Tool {
};

TEST_F(Example, StandsInTheReadmeAsItIs)
{
    std::ifstream readme(OMBRINE_README);
    ASSERT_TRUE(readme.is_open()) << OMBRINE_README;
    std::string block;
    bool inside = false;
    for (std::string line; std::getline(readme, line);) {
        if (inside && line == "```") {
            break;
        }
        if (inside) {
            block += line + "\n";
        }
        inside = inside || line == "```c";
    }
    std::ifstream file(OMBRINE_EXAMPLE_SOURCE);
    const std::string source{std::istreambuf_iterator<char>(file), {}};
    EXPECT_NE(source, "");
    EXPECT_EQ(block, source);
}

TEST_F(Example, ReadsTheFirstFrames)
{
    std::vector<int> values(3000, 100);
    values.front() = -16384;
    Put("in.wav", Wave_16(2, values));
    const Result result = Finish(Start(OMBRINE_EXAMPLE, {"in.wav"}));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "2 channels, 8000 Hz, 1500 frames read, the first holds -0.5000\n");
    EXPECT_EQ(result.err, "");

    const Result missing = Finish(Start(OMBRINE_EXAMPLE, {"no.wav"}));
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.err, Library_Report(14, "Audiofile_Open_Read: Error opening ", "no.wav"));
}

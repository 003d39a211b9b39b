// The command-line tool as a user meets it: usage, the table of info, standard output that fails,
// long files. And the README's example.
#include "tests/tool_fixture.h"

#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

namespace fs = std::filesystem;

static const char Missing[] = "Audiofile_Open_Read: Error opening ";

// ---- Usage ----

TEST_F(Tool, WrongUsageIsOneLineAndStatus2)
{
    // How the line goes on behind "ombrine: ".
    const std::pair<Arguments, std::string> cases[] = {
        {{}, "A subcommand is required"},
        {{"play"}, "A subcommand is required"},
        {{"info"}, "FILE is required"},
        {{"info", "--long", "in.wav"}, "The following argument"},
        {{"convert"}, "IN is required"},
        {{"convert", "in.wav"}, "OUT.wav is required"},
        {{"convert", "in.wav", "b", "c"}, "The following argument"},
        {{"convert", "in.wav", "b", "c\nd"}, "The following argument"},
        {{"convert", "in.wav", "out.wav", "--gain"}, "--gain: 1 required"},
        {{"convert", "in.wav", "out.wav", "--gain", "x"}, "Could not convert"},
        {{"convert", "in.wav", "out.wav", "--gain", "3dB"}, "Could not conv"},
        {{"convert", "in.wav", "out.wav", "--gain", "1", "--gain", "2"}, "--gain"},
        {{"convert", "in.wav", "out.wav", "--gain", "nan"}, "--gain"},
        {{"convert", "in.wav", "out.wav", "--gain", "inf"}, "--gain"},
        {{"convert", "in.wav", "out.wav", "--gain", "-inf"}, "--gain"},
        {{"convert", "in.wav", "out.wav", "--gain", "1e400"}, "--gain"}, // beyond a double
        {{"convert", "in.wav", "out.wav", "--gain", "201"}, "--gain"},
    };
    Put("in.wav", Wave_16(1, {1, 2, 3}));
    for (const auto& [arguments, reason] : cases) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const Result result = Run_Tool(arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err.rfind("ombrine: " + reason, 0), 0u) << result.err;
        EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
        EXPECT_FALSE(fs::exists(Path("out.wav")));
    }
}

TEST_F(Tool, HelpAndVersionSucceed)
{
    const std::pair<Arguments, std::string> cases[] = {
        {{"--version"}, "ombrine "},
        {{"--help"}, "Usage: ombrine [OPTIONS] SUBCOMMAND\n"},
        {{"info", "--help"}, "Usage: ombrine info [OPTIONS] FILE...\n"},
        {{"convert", "--help"}, "Usage: ombrine convert [OPTIONS] IN OUT.wav\n"},
    };
    for (const auto& [arguments, part] : cases) {
        const Result result = Expect_Run(arguments, 0, "");
        EXPECT_NE(result.out.find(part), std::string::npos) << result.out;
    }
}

// ---- info ----

TEST_F(Tool, InfoPrintsOneAlignedTable)
{
    Put("square.wav", Wave_16(2, {16384, 0, -16384, 0, 16384, 0, -16384, 0}));
    Put("two words.aiff", Aiff(24, {8388600, 0, 0, 0}));
    Put("日本.wav", Wave(PCM, 16, std::string(7322, '\0'), 1, 1));
    Put("new\nline.wav", Wave(Float, 32, Floats({2, -2}), 1, 44100));
    Put("none.wav", Wave(PCM, 16, "four", 0));
    Put("empty.wav", Wave(PCM, 16, "", 2, 0));
    const Result result = Expect_Run({"info", "square.wav", "two words.aiff", "日本.wav",
                                      "new\nline.wav", "none.wav", "empty.wav"},
                                     0, "");
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
    const Result result = Expect_Run({"info", "long.wav"}, 0, "");
    EXPECT_NE(result.out.find("long.wav         2       8000      200000   0:00:25.000   -20.00   "
                              "-43.01     0.00   -53.01\n"),
              std::string::npos)
        << result.out;
}

TEST_F(Tool, InfoShowsTheFilesBeforeTheOneThatStopsIt)
{
    Put("good.wav", Wave_16(1, {1}));
    const Result result = Expect_Run({"info", "good.wav", "missing.wav", "good.wav"}, 1,
                                     Library_Report(14, Missing, "missing.wav"));
    EXPECT_NE(result.out.find("\ngood.wav "), std::string::npos) << result.out;
}

TEST_F(Tool, UnwritableStandardOutputIsStatus1)
{
    const auto pipe_without_reader = [] {
        int ends[2] = {-1, -1};
        if (pipe(ends) == 0) {
            dup2(ends[1], STDOUT_FILENO);
            close(ends[0]);
        }
    };
    const std::pair<Prepare, std::string> cases[] = {
        {[] { dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO); }, "No space left on device"},
        {[] { close(STDOUT_FILENO); }, "Bad file descriptor"},
        {pipe_without_reader, "Broken pipe"},
    };
    Put("in.wav", Wave_16(1, {1, 2, 3}));
    for (const auto& [prepare, reason] : cases) {
        for (const Arguments& arguments : {Arguments{"info", "in.wav"}, Arguments{"--help"}}) {
            Expect_Run(arguments, 1, "ombrine: standard output: " + reason + "\n", prepare);
        }
    }
}

// ---- Long files ----

TEST_F(Tool, ProgressShowsOnATerminalForALongFile)
{
    for (const bool is_long : {true, false}) {
        SCOPED_TRACE(is_long);
        Put_Zeros("in.wav", 2, is_long ? 40000000 : 400000);
        const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
        ASSERT_GE(terminal, 0);
        ASSERT_EQ(grantpt(terminal), 0);
        ASSERT_EQ(unlockpt(terminal), 0);
        const int other_end = open(ptsname(terminal), O_RDWR | O_NOCTTY);
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
        const std::string half(25, '#');
        for (const std::string& bar :
             {"\r[" + half + std::string(25, ' ') + "]  50%\r", "\r[" + half + half + "] 100%\r"}) {
            EXPECT_EQ(shown.find(bar) != std::string::npos, is_long) << bar << shown;
        }
        EXPECT_EQ(shown.find('\n'), std::string::npos);

        Expect_Run({"convert", "in.wav", "out.wav"}, 0, ""); // not a terminal
    }
}

TEST_F(Tool, MemoryDoesNotGrowWithTheFile)
{
    // Sanitizers and emulators take memory of their own: no more for a long file than for a short.
    const bool alone = !OMBRINE_SANITIZED && *OMBRINE_EMULATOR == '\0';
    const auto no_quarantine = [] { setenv("ASAN_OPTIONS", "quarantine_size_mb=0", 1); };
    for (const unsigned channels : {1u, 65535u}) {
        Put_Zeros("short.wav", channels, uint64_t{65535} * 160);
        Put_Zeros("long.wav", channels, uint64_t{65535} * 1600);
        for (Arguments arguments : {Arguments{"info", ""}, Arguments{"convert", "", "out.wav"}}) {
            arguments[1] = "short.wav";
            const Result least = Run_Tool(arguments, no_quarantine);
            arguments[1] = "long.wav";
            const Result result = Run_Tool(arguments, no_quarantine);
            EXPECT_EQ(result.status, 0) << result.err;
            EXPECT_LT(result.peak_kib, alone ? 32 * 1024 : least.peak_kib + 8 * 1024)
                << arguments[0] << ", channels: " << channels;
        }
        EXPECT_EQ(fs::file_size(Path("out.wav")), fs::file_size(Path("long.wav")));
    }
}

// ---- The README's example ----

TEST_F(Tool, ExampleStandsInTheReadmeAsItIs)
{
    const std::string readme = Get(OMBRINE_README);
    const std::string source = Get(OMBRINE_EXAMPLE_SOURCE);
    const size_t fence = readme.find("\n```c\n");
    ASSERT_NE(fence, std::string::npos) << OMBRINE_README;
    EXPECT_NE(source, "");
    EXPECT_EQ(readme.substr(fence + 6, readme.find("\n```\n", fence) - fence - 5), source);
}

TEST_F(Tool, ExampleReadsTheFirstFrames)
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
    EXPECT_EQ(missing.err, Library_Report(14, Missing, "no.wav"));
}

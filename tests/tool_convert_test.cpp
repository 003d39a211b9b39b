// ombrine convert: the bytes it writes, what it refuses, and what a stop leaves on disk.
#include "tests/tool_fixture.h"

#include <csignal>
#include <filesystem>
#include <sys/resource.h>
#include <unistd.h>

namespace fs = std::filesystem;

TEST_F(Tool, ConvertWritesTheseBytes)
{
    const std::string clips = "OmbrineAudiofile: 2,0: Audiofile: clipped samples during writing\n"
                              "OmbrineAudiofile: 2,0: target.wav\n";
    struct ConvertCase {
        std::string source;
        std::string target;
        Arguments options = {};
        std::string err = {};
    };
    const std::string steps = Wave_16(1, {0, 2, -2, 1000, -1000, 32766, -32766});
    const std::string halves = Wave_16(1, {0, 1, -1, 500, -500, 16383, -16383});
    const std::string tens = Wave_16(1, {0, 20, -20, 10000, -10000, 32767, -32768});
    const std::string limits = Wave_16(1, {0, 32767, -32768, 32767, -32768, 32767, -32768});
    const std::string wide = Aiff(24, {8388607, -8388608, 256, 128, 129, -257});
    const std::string floats = Wave(Float, 32, Floats({1, 0.5f, -0.5f, 0x1p-149f}));
    const std::string loud = Wave(Float, 32, Floats({2, -2}), 2);
    const ConvertCase cases[] = {
        {Aiff(16, {1, -2, 32767, -32768}, 2), Wave_16(2, {1, -2, 32767, -32768})},
        {Aiff(8, {127, 1, 0, -127}), Wave_16(1, {32767, 258, 0, -32767})},
        {Aiff(8, {-128, 0}, 2), Wave_16(2, {-32768, 0}), {}, clips},
        {wide, Wave_16(1, {32767, -32767, 1, 0, 1, -1})},
        {floats, Wave_16(1, {32767, 16384, -16384, 0})},
        {loud, Wave_16(2, {32767, -32768}), {}, clips},
        {Wave_16(3, {}), Wave_16(3, {})},
        {steps, steps, {"--gain", "0"}},
        {steps, halves, {"--gain", "-6.0206"}},
        {steps, tens, {"--gain=20"}, clips},
        {steps, Wave_16(1, {0, 0, 0, 0, 0, 0, 0}), {"--gain", "-200"}},
        {steps, limits, {"--gain", "200"}, clips},
    };
    for (const ConvertCase& c : cases) {
        SCOPED_TRACE(&c - cases);
        Put("source", c.source);
        Put("target.wav", "what stood there before, and was longer than what comes now, by far");
        Arguments arguments = {"convert", "source", "target.wav"};
        arguments.insert(arguments.end(), c.options.begin(), c.options.end());
        EXPECT_EQ(Expect_Run(arguments, 0, c.err).out, "");
        EXPECT_TRUE(Get("target.wav") == c.target) << testing::PrintToString(Get("target.wav"));
    }
}

TEST_F(Tool, ConvertKeepsEveryCodeOf16Bits)
{
    // Three channels, several blocks and a part of one.
    std::vector<int> values(196617);
    for (size_t i = 0; i < values.size(); i++) {
        values[i] = static_cast<int>(i * 5 % 65536) - 32768;
    }
    Put("source.aiff", Aiff(16, values, 3));
    EXPECT_EQ(Run_Tool({"convert", "source.aiff", "target.wav"}).status, 0);
    EXPECT_TRUE(Get("target.wav") == Wave_16(3, values));
}

TEST_F(Tool, ConvertRefusesItsOwnInput)
{
    const std::string bytes = Aiff(16, {1, 2, 3});
    Put("in.aiff", bytes);
    fs::create_directory(Path("sub"));
    fs::create_symlink(Path("in.aiff"), Path("symbolic.wav"));
    fs::create_hard_link(Path("in.aiff"), Path("hard.wav"));
    const std::pair<std::string, std::string> cases[] = {
        {"in.aiff", "in.aiff"},      {"in.aiff", "./sub/../in.aiff"}, {"in.aiff", Path("in.aiff")},
        {"in.aiff", "symbolic.wav"}, {"in.aiff", "hard.wav"},         {"symbolic.wav", "in.aiff"},
    };
    for (const auto& [source, target] : cases) {
        Expect_Run({"convert", source, target}, 2,
                   "ombrine: " + target + ": the output is the input file\n");
        EXPECT_TRUE(Get("in.aiff") == bytes) << target;
    }
}

TEST_F(Tool, UnreadableInputLeavesTheOutputAlone)
{
    const auto stop = [](int code, const std::string& text) {
        return Library_Report(code, text, "in");
    };
    const std::string no_type = ": Data type not supported yet in file ";
    const std::string no_rate = "ombrine: in: a WAVE file cannot hold its rate of ";
    const std::string no_channels =
        "ombrine: in: it has no channels, there is nothing to convert\n";
    const std::pair<std::string, std::string> cases[] = {
        {"twelve bytes and more", stop(14, "Audiofile_Open_Read: Unsupported file type ")},
        {Wave_16(1, {1}).substr(0, 30), stop(16, "FileAccess_Get_String: EOF on file ")},
        {Wave(PCM, 8, "abcd"), stop(10, "FileDRDW_DR_UINT8" + no_type)}, // by the first read
        {Wave(MuLaw, 8, "abcd"), stop(10, "FileDRDW_DR_MULAW8" + no_type)},
        {Wave(PCM, 16, "abcd", 0), no_channels},
        {Aiff(16, {0x6162}, 1, 0xC00B), no_rate + "-8000 Hz\n"},
        {Aiff(16, {0x6162}, 1, 0x401F, 0x8000000000000000), no_rate + "4.29497e+09 Hz\n"},
    };
    for (const auto& [bytes, err] : cases) {
        Put("in", bytes);
        Put("out.wav", "precious");
        Expect_Run({"convert", "in", "out.wav"}, 1, err);
        EXPECT_EQ(Get("out.wav"), "precious");
        fs::remove(Path("out.wav"));
        Expect_Run({"convert", "in", "out.wav"}, 1, err);
        EXPECT_FALSE(fs::exists(Path("out.wav")));
    }
}

TEST_F(Tool, FractionOfTheRateIsCutAndTold)
{
    Put("in.aiff", Aiff(16, {5}, 1, 0x400B, 0xFA02000000000000));
    Expect_Run({"convert", "in.aiff", "out.wav"}, 0,
               "ombrine: in.aiff: its rate of 8000.25 Hz is written as 8000 Hz\n");
    EXPECT_TRUE(Get("out.wav") == Wave_16(1, {5}));
}

TEST_F(Tool, ShortFileGivesWhatIsThere)
{
    const std::string note =
        "ombrine: in.wav: the header states 500000000 frames, the file holds 3\n";
    Put("in.wav", Wave(PCM, 16, Little_16({1, 2, 3, 4, 5, 6}), 2, 8000, 2000000000));
    Expect_Run({"convert", "in.wav", "out.wav"}, 0, note);
    EXPECT_TRUE(Get("out.wav") == Wave_16(2, {1, 2, 3, 4, 5, 6}));
    const std::string out = Expect_Run({"info", "in.wav"}, 0, note).out;
    EXPECT_NE(out.find("in.wav         2       8000           3 "), std::string::npos) << out;
}

TEST_F(Tool, FailedOutputStopsWithTheLibrarysReport)
{
    Put("in.wav", Wave_16(1, std::vector<int>(200000, 7)));
    fs::create_directory(Path("sub"));
    Expect_Run({"convert", "in.wav", "/dev/full"}, 1,
               Library_Report(16, "FileAccess_FSEEK: Error Seeking file", "/dev/full"));
    for (const std::string& target :
         {std::string("sub"), std::string("no/out.wav"), std::string(300, 'x')}) {
        Expect_Run({"convert", "in.wav", target}, 1,
                   Library_Report(14, "Audiofile_Open_Write: Error creating ", target));
    }
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST_F(Tool, UnfinishedOutputIsRemoved)
{
    Put("in.wav", Wave_16(1, std::vector<int>(200000, 7)));
    const auto limit_files = [] {
        const struct rlimit limit = {100000, 100000};
        signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &limit);
    };
    const char full[] = "FileAccess_Put_String: Error writing string into file ";
    Expect_Run({"convert", "in.wav", "out.wav"}, 1, Library_Report(16, full, "out.wav"),
               limit_files);
    EXPECT_FALSE(fs::exists(Path("out.wav")));

    fs::create_symlink(Path("elsewhere.wav"), Path("link.wav"));
    EXPECT_EQ(Run_Tool({"convert", "in.wav", "link.wav"}, limit_files).status, 1);
    EXPECT_TRUE(fs::is_symlink(Path("link.wav"))) << "only a plain file is removed";
}

TEST_F(Tool, ReportsStayOutOfTheOutputWithStandardErrorClosed)
{
    // With these two closed the input takes the first and the output the second.
    const auto close_two = [] {
        close(STDIN_FILENO);
        close(STDERR_FILENO);
    };
    Put("in.wav", Wave(Float, 32, Floats({2})));
    EXPECT_EQ(Run_Tool({"convert", "in.wav", "out.wav"}, close_two).status, 0);
    EXPECT_TRUE(Get("out.wav") == Wave_16(1, {32767}));
}

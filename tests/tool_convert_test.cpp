// ombrine convert: the bytes it writes, what it refuses, and what a stop leaves on disk.
#include "tests/tool_fixture.h"

#include <csignal>
#include <filesystem>
#include <sys/resource.h>
#include <unistd.h>

namespace fs = std::filesystem;

static std::string Clip_Warning(const std::string& name)
{
    return "OmbrineAudiofile: 2,0: Audiofile: clipped samples during writing\n"
           "OmbrineAudiofile: 2,0: " +
           name + "\n";
}

TEST_F(Tool, ConvertWritesTheseBytes)
{
    struct ConvertCase {
        const char* name;
        std::string source;
        Arguments options;
        std::string target;
        bool clips;
    };
    const std::string steps = Wave_16(1, {0, 2, -2, 1000, -1000, 32766, -32766});
    const ConvertCase cases[] = {
        {"AIFF 16 bits, stereo",
         Aiff(2, 16, Big_Values(2, {1, -2, 32767, -32768})),
         {},
         Wave_16(2, {1, -2, 32767, -32768}),
         false},
        {"AIFF 8 bits",
         Aiff(1, 8, Big_Values(1, {127, 1, 0, -127})),
         {},
         Wave_16(1, {32767, 258, 0, -32767}),
         false},
        {"AIFF 8 bits, lowest",
         Aiff(2, 8, Big_Values(1, {-128, 0})),
         {},
         Wave_16(2, {-32768, 0}),
         true},
        {"AIFF 24 bits",
         Aiff(1, 24, Big_Values(3, {8388607, -8388608, 256, 128, 129, -257})),
         {},
         Wave_16(1, {32767, -32767, 1, 0, 1, -1}),
         false},
        {"WAVE float",
         Wave(Float, 1, 8000, 32,
              Little(4, 0x3F800000) + Little(4, 0x3F000000) + Little(4, 0xBF000000) +
                  Little(4, 0x00000001)),
         {},
         Wave_16(1, {32767, 16384, -16384, 0}),
         false},
        {"WAVE float beyond full scale",
         Wave(Float, 2, 8000, 32, Little(4, 0x40000000) + Little(4, 0xC0000000)),
         {},
         Wave_16(2, {32767, -32768}),
         true},
        {"no frames", Wave_16(3, {}), {}, Wave_16(3, {}), false},
        {"no gain", steps, {"--gain", "0"}, steps, false},
        {"halved",
         steps,
         {"--gain", "-6.0206"},
         Wave_16(1, {0, 1, -1, 500, -500, 16383, -16383}),
         false},
        {"ten times",
         steps,
         {"--gain=20"},
         Wave_16(1, {0, 20, -20, 10000, -10000, 32767, -32768}),
         true},
        {"down to nothing", steps, {"--gain", "-200"}, Wave_16(1, {0, 0, 0, 0, 0, 0, 0}), false},
        {"up to everything",
         steps,
         {"--gain", "200"},
         Wave_16(1, {0, 32767, -32768, 32767, -32768, 32767, -32768}),
         true},
    };
    for (const ConvertCase& c : cases) {
        SCOPED_TRACE(c.name);
        Put("source", c.source);
        Put("target.wav", "what stood there before, and was longer than what comes now, by far");
        Arguments arguments = {"convert", "source", "target.wav"};
        arguments.insert(arguments.end(), c.options.begin(), c.options.end());
        const Result result = Run_Tool(arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, c.clips ? Clip_Warning("target.wav") : "");
        EXPECT_TRUE(Get("target.wav") == c.target) << testing::PrintToString(Get("target.wav"));
    }
}

TEST_F(Tool, ConvertKeepsEveryCodeOf16Bits)
{
    // Three channels, several blocks and a part of one.
    std::vector<int> values(196617);
    int code = 0;
    for (int& value : values) {
        value = code - 32768;
        code = (code + 5) % 65536;
    }
    Put("source.aiff", Aiff(3, 16, Big_Values(2, values)));
    EXPECT_EQ(Run_Tool({"convert", "source.aiff", "target.wav"}).status, 0);
    EXPECT_TRUE(Get("target.wav") == Wave_16(3, values));
}

TEST_F(Tool, ConvertRefusesItsOwnInput)
{
    const std::string bytes = Aiff(1, 16, Big_Values(2, {1, 2, 3}));
    Put("in.aiff", bytes);
    fs::create_directory(Path("sub"));
    fs::create_symlink(Path("in.aiff"), Path("symbolic.wav"));
    fs::create_hard_link(Path("in.aiff"), Path("hard.wav"));
    const Arguments targets = {"in.aiff", "./sub/../in.aiff", Path("in.aiff"), "symbolic.wav",
                               "hard.wav"};
    for (const std::string& target : targets) {
        SCOPED_TRACE(target);
        const Result result = Run_Tool({"convert", "in.aiff", target});
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.err, "ombrine: " + target + ": the output is the input file\n");
        EXPECT_TRUE(Get("in.aiff") == bytes);
    }
    // The link is the input here.
    EXPECT_EQ(Run_Tool({"convert", "symbolic.wav", "in.aiff"}).status, 2);
    EXPECT_TRUE(Get("in.aiff") == bytes);
}

TEST_F(Tool, UnreadableInputLeavesTheOutputAlone)
{
    struct InputCase {
        const char* name;
        std::string bytes;
        std::string err;
    };
    const InputCase cases[] = {
        {"not audio", "twelve bytes and more",
         Library_Report(14, "Audiofile_Open_Read: Unsupported file type ", "in")},
        {"cut in the header", Wave_16(1, {1}).substr(0, 30),
         Library_Report(16, "FileAccess_Get_String: EOF on file ", "in")},
        {"8-bit WAVE, whose first read is refused", Wave(PCM, 1, 8000, 8, "abcd"),
         Library_Report(10, "FileDRDW_DR_UINT8: Data type not supported yet in file ", "in")},
        {"mu-law", Wave(MuLaw, 1, 8000, 8, "abcd"),
         Library_Report(10, "FileDRDW_DR_MULAW8: Data type not supported yet in file ", "in")},
        {"no channels", Wave(PCM, 0, 8000, 16, "abcd"),
         "ombrine: in: it has no channels, there is nothing to convert\n"},
        {"negative rate", Aiff_At(0xC00B, 0xFA00000000000000, 1, 16, "ab"),
         "ombrine: in: a WAVE file cannot hold its rate of -8000 Hz\n"},
        {"rate of 2^32", Aiff_At(0x401F, 0x8000000000000000, 1, 16, "ab"),
         "ombrine: in: a WAVE file cannot hold its rate of 4.29497e+09 Hz\n"},
    };
    for (const InputCase& c : cases) {
        SCOPED_TRACE(c.name);
        Put("in", c.bytes);
        Put("out.wav", "precious");
        const Result result = Run_Tool({"convert", "in", "out.wav"});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err, c.err);
        EXPECT_EQ(Get("out.wav"), "precious");
        fs::remove(Path("out.wav"));
        EXPECT_EQ(Run_Tool({"convert", "in", "out.wav"}).status, 1);
        EXPECT_FALSE(fs::exists(Path("out.wav")));
    }
}

TEST_F(Tool, FractionOfTheRateIsCutAndTold)
{
    Put("in.aiff", Aiff_At(0x400B, 0xFA02000000000000, 1, 16, Big_Values(2, {5})));
    const Result result = Run_Tool({"convert", "in.aiff", "out.wav"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "ombrine: in.aiff: its rate of 8000.25 Hz is written as 8000 Hz\n");
    EXPECT_TRUE(Get("out.wav") == Wave_16(1, {5}));
}

TEST_F(Tool, ShortFileGivesWhatIsThere)
{
    const std::string note =
        "ombrine: in.wav: the header states 500000000 frames, the file holds 3\n";
    Put("in.wav", Wave_Stating(PCM, 2, 8000, 16, 2000000000, Little_16({1, 2, 3, 4, 5, 6})));
    const Result converted = Run_Tool({"convert", "in.wav", "out.wav"});
    EXPECT_EQ(converted.status, 0);
    EXPECT_EQ(converted.err, note);
    EXPECT_TRUE(Get("out.wav") == Wave_16(2, {1, 2, 3, 4, 5, 6}));

    const Result shown = Run_Tool({"info", "in.wav"});
    EXPECT_EQ(shown.status, 0);
    EXPECT_EQ(shown.err, note);
    EXPECT_NE(shown.out.find("in.wav         2       8000           3 "), std::string::npos)
        << shown.out;
}

TEST_F(Tool, FailedOutputStopsWithTheLibrarysReport)
{
    Put("in.wav", Wave_16(1, std::vector<int>(200000, 7)));
    fs::create_directory(Path("sub"));
    struct OutputCase {
        const char* name;
        std::string target;
        int code;
        const char* report;
    };
    const OutputCase cases[] = {
        {"full device", "/dev/full", 16, "FileAccess_FSEEK: Error Seeking file"},
        {"directory", "sub", 14, "Audiofile_Open_Write: Error creating "},
        {"no such directory", "no/out.wav", 14, "Audiofile_Open_Write: Error creating "},
        {"name too long", std::string(300, 'x'), 14, "Audiofile_Open_Write: Error creating "},
    };
    for (const OutputCase& c : cases) {
        SCOPED_TRACE(c.name);
        const Result result = Run_Tool({"convert", "in.wav", c.target});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err, Library_Report(c.code, c.report, c.target));
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
    const Result result = Run_Tool({"convert", "in.wav", "out.wav"}, limit_files);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(
        result.err,
        Library_Report(16, "FileAccess_Put_String: Error writing string into file ", "out.wav"));
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
    Put("in.wav", Wave(Float, 1, 8000, 32, Little(4, 0x40000000)));
    EXPECT_EQ(Run_Tool({"convert", "in.wav", "out.wav"}, close_two).status, 0);
    EXPECT_TRUE(Get("out.wav") == Wave_16(1, {32767}));
}

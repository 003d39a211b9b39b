// Byte access: what arrives, what a failure reports, and whether the stream is closed before the
// report.
#include "audiofile/file_access.h"
#include "tests/plain_formats.h"

#include <gtest/gtest.h>

#include <cwchar>
#include <fcntl.h>
#include <unistd.h>

using Texts = std::vector<std::string>;

static const Bytes Ten_Bytes = {10, 11, 12, 13, 14, 15, 16, 17, 18, 19};

// A file to open, and what is done to its stream before the test.
struct Source {
    const char* path;
    const char* mode;
    void (*prepare)(FILE* stream) = [](FILE*) {};
};

static void Make_Pipe(FILE* stream)
{
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    dup2(ends[0], fileno(stream));
    close(ends[0]);
    close(ends[1]);
}

static constexpr Source For_Reading = {"ten", "rb"};
static constexpr Source For_Writing = {"written", "wb"};
static constexpr Source At_End = {"ten", "rb", [](FILE* stream) { fseek(stream, 0, SEEK_END); }};
// Reads go on as before, but ferror is true.
static constexpr Source Read_Error_Flag = {"ten", "rb", [](FILE* stream) { fputc(0, stream); }};
static constexpr Source Write_Error_Flag = {"written", "wb", [](FILE* stream) { fgetc(stream); }};
// The platform refuses byte reads on a wide stream and sets neither flag.
static constexpr Source Wide = {"ten", "rb", [](FILE* stream) { fwide(stream, 1); }};
static constexpr Source Full_Device = {"/dev/full", "wb",
                                       [](FILE* stream) { setbuf(stream, nullptr); }};
static constexpr Source Pipe = {"ten", "rb", Make_Pipe};

// A handle whose stream a test has made by hand.
struct Stream {
    RecordingObject object;
    AudiofileHandle* handle;
    int descriptors = Open_Descriptors(); // before the stream

    explicit Stream(const Source& source)
    {
        Make_Recorder(&object);
        handle = Make_Handle(&object);
        Write_File(Scratch_Path("ten"), Ten_Bytes);
        handle->stream = fopen(Scratch_Path(source.path).c_str(), source.mode);
        handle->stream_buffer = nullptr;
        handle->little_endian = 0;
        snprintf(handle->name, sizeof handle->name, "the name");
        source.prepare(handle->stream);
    }
    ~Stream()
    {
        Drop_Handle(handle, Open_Descriptors() > descriptors);
    }
    bool Call(const std::function<void(ObjectHeader*, AudiofileHandle*)>& call)
    {
        return Stops(&object, [&] { call(&object.header, handle); });
    }
};

// The calls, made alike.
static void Get(ObjectHeader* object, AudiofileHandle* handle, int64_t count)
{
    uint8_t bytes[16];
    FileAccess_Get_String(object, handle, count, bytes);
}
static void Get_Up_To(ObjectHeader* object, AudiofileHandle* handle, int64_t count)
{
    uint8_t bytes[16];
    uint64_t got = 99;
    FileAccess_GetNoError_UString(object, handle, count, &got, bytes);
}
static void Put(ObjectHeader* object, AudiofileHandle* handle, int64_t count)
{
    FileAccess_Put_String(object, handle, count, "abcd");
}
static void Put_Integer(ObjectHeader* object, AudiofileHandle* handle, int64_t width)
{
    FileAccess_Put_Integer(object, handle, width, 1);
}
static void Tell(ObjectHeader* object, AudiofileHandle* handle, int64_t)
{
    uint64_t position = 0;
    FileAccess_FTELL(object, handle, &position);
}
constexpr auto Skip = FileAccess_Skip_Data;
constexpr auto Seek = FileAccess_FSEEK;

static const char Get_End[] = "FileAccess_Get_String: EOF on file ";
static const char Get_Error[] = "FileAccess_Get_String: Error reading string from file ";
static const char Up_To_Error[] = "FileAccess_GetNoError_UString: Error reading string from file";
static const char Up_To_Neither[] = "FileAccess_GetNoError_UString: Read too few yet no errors?";
static const char Put_Error[] = "FileAccess_Put_String: Error writing string into file ";
static const char Skip_Error[] = "FileAccess_Skip_Data: Error reading header from file ";
static const char Seek_Error[] = "FileAccess_FSEEK: Error Seeking file";
static const char Tell_Error[] = "FileAccess_FTELL: Error Determining position in file ";

struct FailureCase {
    const char* name;
    Source source;
    void (*call)(ObjectHeader* object, AudiofileHandle* handle, int64_t argument);
    int64_t argument;
    const char* text;
    bool closes_first = true;
};
static const FailureCase Failure_Cases[] = {
    {"exact read, one byte missing", For_Reading, Get, 11, Get_End, false},
    {"exact read at the end", At_End, Get, 1, Get_End, false},
    {"exact read, stream for writing", For_Writing, Get, 1, Get_Error, false},
    {"exact read, neither flag", Wide, Get, 1, Get_Error, false},
    {"exact read, all there but error flag", Read_Error_Flag, Get, 10, Get_Error, false},
    {"exact read, missing and error flag", Read_Error_Flag, Get, 11, Get_End, false},
    {"read up to, stream for writing", For_Writing, Get_Up_To, 10, Up_To_Error, false},
    {"read up to, neither flag", Wide, Get_Up_To, 10, Up_To_Neither, false},
    {"write, stream for reading", For_Reading, Put, 4, Put_Error},
    {"write, full device", Full_Device, Put, 4, Put_Error},
    {"write, all taken but error flag", Write_Error_Flag, Put, 4, Put_Error},
    {"integer, stream for reading", For_Reading, Put_Integer, 4, Put_Error},
    {"skip just too far", For_Reading, Skip, 2147483648, Skip_Error},
    {"skip furthest", For_Reading, Skip, INT64_MAX, Skip_Error},
    {"skip back over the start", For_Reading, Skip, -1, Skip_Error},
    {"skip back furthest", For_Reading, Skip, INT64_MIN, Skip_Error},
    {"skip in a pipe", Pipe, Skip, 1, Skip_Error},
    {"seek before the start", For_Reading, Seek, -1, Seek_Error},
    {"seek in a pipe", Pipe, Seek, 0, Seek_Error},
    {"tell in a pipe", Pipe, Tell, 0, Tell_Error},
};

TEST(FileAccess, FailuresReportAndStop)
{
    for (const FailureCase& c : Failure_Cases) {
        SCOPED_TRACE(c.name);
        Stream stream(c.source);
        ASSERT_NE(stream.handle->stream, nullptr);
        EXPECT_TRUE(stream.Call([&](auto... record) { c.call(record..., c.argument); }));
        EXPECT_EQ(stream.object.reports, With_Name({std::string("3,16: ") + c.text}, "the name"));
        const int open = stream.descriptors + (c.closes_first ? 0 : 1);
        EXPECT_EQ(stream.object.descriptors, std::vector<int>(2, open));
    }
}

struct UpToCase {
    const char* name;
    Source source;
    long start;
    uint64_t count;
    uint64_t got;
};
static const UpToCase Up_To_Cases[] = {
    {"all", For_Reading, 0, 10, 10},
    {"inside", For_Reading, 2, 3, 3},
    {"four left", For_Reading, 6, 10, 4},
    {"none left", For_Reading, 10, 10, 0},
    {"none asked for", For_Reading, 3, 0, 0},
    {"the error flag does not matter to a full count", Read_Error_Flag, 0, 10, 10},
};

TEST(FileAccess, ReadUpToTakesAShortCountAtTheEnd)
{
    for (const UpToCase& c : Up_To_Cases) {
        SCOPED_TRACE(c.name);
        Stream stream(c.source);
        fseek(stream.handle->stream, c.start, SEEK_SET);
        Bytes bytes(16, 0xEE);
        uint64_t got = 99;
        uint64_t got_next = 99;
        EXPECT_FALSE(stream.Call([&](ObjectHeader* object, AudiofileHandle* handle) {
            FileAccess_GetNoError_UString(object, handle, c.count, &got, bytes.data());
            if (got < c.count) {
                uint8_t more[4];
                FileAccess_GetNoError_UString(object, handle, 4, &got_next, more);
            }
        }));
        EXPECT_EQ(got, c.got);
        EXPECT_EQ(got_next, c.got < c.count ? 0u : 99u) << "the call after a short one";
        Bytes expected(16, 0xEE);
        std::copy_n(Ten_Bytes.begin() + c.start, c.got, expected.begin());
        EXPECT_EQ(bytes, expected);
        EXPECT_EQ(stream.object.reports, Texts{});
    }
}

TEST(FileAccess, ExactReadTakesConsecutiveBytes)
{
    Stream stream(For_Reading);
    uint8_t bytes[10] = {};
    EXPECT_FALSE(stream.Call([&](ObjectHeader* object, AudiofileHandle* handle) {
        FileAccess_Get_String(object, handle, 4, bytes);
        FileAccess_Get_String(object, handle, 0, bytes + 4);
        FileAccess_Get_String(object, handle, 6, bytes + 4);
    }));
    EXPECT_EQ(Bytes(bytes, bytes + 10), Ten_Bytes);
}

struct MoveCase {
    const char* name;
    int64_t start;
    int64_t skip;
    uint64_t place;
};
static const MoveCase Move_Cases[] = {
    {"nowhere", 5, 0, 5},
    {"forward", 2, 3, 5},
    {"behind the end", 10, 1000, 1010},
    {"back", 9, -9, 0},
    {"furthest forward", 0, 2147483647, 2147483647},
    {"furthest forward twice", 2147483647, 2147483647, 4294967294},
    {"back further than the furthest forward", 5000000000, -4999999999, 1},
};

TEST(FileAccess, MovesAndTellsThePlace)
{
    for (const MoveCase& c : Move_Cases) {
        SCOPED_TRACE(c.name);
        Stream stream(For_Reading);
        uint64_t start = 99;
        uint64_t place = 99;
        EXPECT_FALSE(stream.Call([&](ObjectHeader* object, AudiofileHandle* handle) {
            FileAccess_FSEEK(object, handle, c.start);
            FileAccess_FTELL(object, handle, &start);
            FileAccess_Skip_Data(object, handle, c.skip);
            FileAccess_FTELL(object, handle, &place);
        }));
        EXPECT_EQ(start, static_cast<uint64_t>(c.start));
        EXPECT_EQ(place, c.place);
        EXPECT_EQ(stream.object.reports, Texts{});
    }
}

struct IntegerCase {
    uint64_t width;
    uint64_t value;
    Bytes big;
    uint64_t decoded; // what the width holds of value
};
static const IntegerCase Integer_Cases[] = {
    {1, 0xAB, {0xAB}, 0xAB},
    {1, 0x1FF, {0xFF}, 0xFF},
    {2, 258, {1, 2}, 258},
    {2, 65537, {0, 1}, 1},
    {3, 0xFF010203, {1, 2, 3}, 0x010203},
    {4, 4294967295, {255, 255, 255, 255}, 4294967295},
    {4, 0x180402010, {0x80, 0x40, 0x20, 0x10}, 0x80402010},
    {8, 0xF1F2F3F4F5F6F7F8, {0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8}, 0xF1F2F3F4F5F6F7F8},
};

TEST(FileAccess, IntegersInBothOrders)
{
    for (const IntegerCase& c : Integer_Cases) {
        for (const uint32_t little_endian : {0u, 1u, 2u}) { // any value but 0 is little
            SCOPED_TRACE(testing::Message()
                         << c.width << " bytes of " << c.value << ", flag " << little_endian);
            const Bytes little(c.big.rbegin(), c.big.rend());
            const Bytes& expected = little_endian != 0 ? little : c.big;
            Stream stream(For_Writing);
            stream.handle->little_endian = little_endian;
            EXPECT_FALSE(stream.Call([&](ObjectHeader* object, AudiofileHandle* handle) {
                FileAccess_Put_Integer(object, handle, c.width, c.value);
                FileAccess_Put_String(object, handle, 1, "|");
            }));
            fflush(stream.handle->stream);
            EXPECT_EQ(Read_File(Scratch_Path("written")), Join({expected, Text("|")}));
            uint64_t value = 99;
            FileAccess_Decode_Integer(little_endian, c.width, expected.data(), &value);
            EXPECT_EQ(value, c.decoded);
        }
    }
}

// The path of a scratch file, of exactly this many characters.
static std::string Path_Of(size_t characters, const std::string& name)
{
    const std::string directory = Scratch_Path("");
    return directory + std::string(characters - directory.size() - name.size(), '/') + name;
}

TEST(Name, IsThePathCutTo255Characters)
{
    for (const size_t characters : {100, 254, 255, 256, 257, 1000}) {
        SCOPED_TRACE(characters);
        const std::string path = Path_Of(characters, "named.wav");
        ASSERT_EQ(path.size(), characters);
        const std::string name = path.substr(0, 255);

        Write_File(path, Wave_Bytes(1, 16, 1, Bytes(4, 0), 4));
        for (const OpenMode mode : Reading_Modes) {
            const OpenedFile file(path, mode);
            EXPECT_FALSE(file.stopped);
            EXPECT_EQ(file.handle->name, name);
        }
        Write_File(path, Text("not audio at all"));
        const OpenedFile refused(path, OM_READ);
        EXPECT_EQ(refused.object.reports,
                  With_Name({"3,14: Audiofile_Open_Read: Unsupported file type "}, name));
        // With no file there is no name in the record yet: the report has the whole path.
        const std::string missing = Path_Of(characters, "missing");
        EXPECT_EQ(OpenedFile(missing, OM_READ).object.reports,
                  With_Name({"3,14: Audiofile_Open_Read: Error opening "}, missing));
    }
}

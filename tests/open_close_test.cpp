// What the opens for reading do before a header reader takes over, and the closes of what they
// opened.
#include "tests/engine_fixture.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using Texts = std::vector<std::string>;

struct OpenEntry {
    const char* name;
    OpenMode mode;
};
static const OpenEntry Open_Entries[] = {{"Audiofile_Open_Read", OM_READ},
                                         {"Audiofile_Open_Read_Write", OM_READ_WRITE}};

struct HeadCase {
    const char* name;
    Bytes bytes;
};
static const Bytes Size = Little(4, 0x24000000); // 36 in big-endian

// Forty zeros behind each, so that only the head can be at fault.
static const HeadCase Unknown_Heads[] = {
    {"twelve zeros", Bytes(12, 0)},
    {"RIFF of another type", Join({Text("RIFF"), Size, Text("AVI ")})},
    {"RIFF of AIFF", Join({Text("RIFF"), Size, Text("AIFF")})},
    {"FORM of WAVE", Join({Text("FORM"), Size, Text("WAVE")})},
    {"FORM of another type", Join({Text("FORM"), Size, Text("8SVX")})},
    {"RIFX", Join({Text("RIFX"), Size, Text("WAVE")})},
    {"RF64", Join({Text("RF64"), Size, Text("WAVE")})},
    {"small container id", Join({Text("riff"), Size, Text("WAVE")})},
    {"small type", Join({Text("RIFF"), Size, Text("wave")})},
    {"AIFC in mixed case", Join({Text("FORM"), Size, Text("AIFc")})},
    {"one byte too early", Join({Text("RIFF"), Bytes(3, 0), Text("WAVE "), Bytes(1, 0)})},
};

TEST(OpenRead, RefusesAnUnknownHead)
{
    for (const OpenEntry& entry : Open_Entries) {
        for (const HeadCase& c : Unknown_Heads) {
            SCOPED_TRACE(testing::Message() << entry.name << ", " << c.name);
            const OpenedFile file(Join({c.bytes, Bytes(40, 0)}), entry.mode);
            Expect_Refused(file, {std::string("3,14: ") + entry.name + ": Unsupported file type "},
                           true);
            EXPECT_EQ(file.handle->file_type, FT_UNKNOWN);
        }
    }
}

TEST(OpenRead, FileOfFewerThanTwelveBytesEndsTooEarly)
{
    const Bytes whole = Join({Text("RIFF"), Size, Text("WAVE")});
    for (const OpenEntry& entry : Open_Entries) {
        for (const long length : {0, 4, 11}) {
            SCOPED_TRACE(testing::Message() << entry.name << ", " << length << " bytes");
            const OpenedFile file(Bytes(whole.begin(), whole.begin() + length), entry.mode);
            Expect_Refused(file, {"3,16: FileAccess_Get_String: EOF on file "}, false);
        }
    }
}

TEST(OpenRead, RefusesWhatCannotBeOpened)
{
    const std::string directory = Scratch_Path("directory");
    mkdir(directory.c_str(), 0700);
    const std::string paths[] = {Scratch_Path("missing.wav"), directory + "/none/x.wav", "",
                                 Scratch_Path(std::string(300, 'n'))};
    for (const OpenEntry& entry : Open_Entries) {
        for (const std::string& path : paths) {
            SCOPED_TRACE(testing::Message() << entry.name << ", '" << path << "'");
            const OpenedFile file(path, entry.mode);
            Expect_Refused(file, {std::string("3,14: ") + entry.name + ": Error opening "}, true);
        }
    }
    // A directory opens for reading alone, and then it is the read that fails.
    Expect_Refused(OpenedFile(directory, OM_READ),
                   {"3,16: FileAccess_Get_String: Error reading string from file "}, false);
    Expect_Refused(OpenedFile(directory, OM_READ_WRITE),
                   {"3,14: Audiofile_Open_Read_Write: Error opening "}, true);
}

static const Bytes Small_Wave =
    Join({Text("RIFF"), Little(4, 40), Text("WAVEfmt "), Little(4, 16), Little(2, 1), Little(2, 1),
          Little(4, 8000), Little(4, 16000), Little(2, 2), Little(2, 16), Text("data"),
          Little(4, 4), Little(4, 0)});

struct CloseEntry {
    const char* name;
    void (*close)(ObjectHeader* object, AudiofileHandle* handle);
};
static const CloseEntry Close_Entries[] = {
    {"Audiofile_Close_Read", Audiofile_Close_Read},
    {"Audiofile_Close_Read_Write", Audiofile_Close_Read_Write},
};
static const char Not_Open[] = "3,15: Audiofile_Close_Read: File not openend for read ";

TEST(CloseRead, ClosesEitherModeOnce)
{
    for (const CloseEntry& entry : Close_Entries) {
        for (const OpenMode mode : {OM_READ, OM_READ_WRITE}) {
            SCOPED_TRACE(testing::Message() << entry.name << ", mode " << mode);
            OpenedFile file(Small_Wave, mode);
            const auto close = [&] { entry.close(&file.object.header, file.handle); };
            EXPECT_FALSE(Stops(&file.object, close));
            EXPECT_EQ(file.object.reports, Texts{});
            EXPECT_EQ(file.handle->mode, OM_CLOSED);
            EXPECT_EQ(Open_Descriptors(), file.descriptors);
            EXPECT_EQ(Read_File(file.path), Small_Wave);

            EXPECT_TRUE(Stops(&file.object, close));
            EXPECT_EQ(file.object.reports, With_Name({Not_Open}, file.path));
        }
    }
}

TEST(CloseRead, RefusesAHandleThatIsNotOpenForReading)
{
    for (const CloseEntry& entry : Close_Entries) {
        for (const uint32_t mode : {uint32_t{OM_CLOSED}, uint32_t{OM_WRITE}, 4u}) {
            SCOPED_TRACE(testing::Message() << entry.name << ", mode " << mode);
            OpenedFile file(Small_Wave, OM_READ);
            file.handle->mode = mode;
            EXPECT_TRUE(
                Stops(&file.object, [&] { entry.close(&file.object.header, file.handle); }));
            EXPECT_EQ(file.object.reports, With_Name({Not_Open}, file.path));
            EXPECT_EQ(Open_Descriptors(), file.descriptors + 1) << "closed the stream";
        }
        SCOPED_TRACE(entry.name);
        OpenedFile file(Small_Wave, OM_READ);
        FILE* stream = file.handle->stream;
        file.handle->stream = nullptr;
        EXPECT_TRUE(Stops(&file.object, [&] { entry.close(&file.object.header, file.handle); }));
        file.handle->stream = stream;
        EXPECT_EQ(file.object.reports, With_Name({Not_Open}, file.path));

        RecordingObject object;
        Make_Recorder(&object);
        EXPECT_TRUE(Stops(&object, [&] { entry.close(&object.header, nullptr); }));
        EXPECT_EQ(object.reports, Texts{Not_Open}) << "no handle, no name";
    }
}

TEST(CloseRead, ReportsAFailedCloseWithoutTheName)
{
    for (const CloseEntry& entry : Close_Entries) {
        SCOPED_TRACE(entry.name);
        OpenedFile file(Small_Wave, OM_READ);
        close(fileno(file.handle->stream));
        EXPECT_TRUE(Stops(&file.object, [&] { entry.close(&file.object.header, file.handle); }));
        EXPECT_EQ(file.object.reports, Texts{"3,15: Audiofile_Close_Read: Error closing file."});
    }
}

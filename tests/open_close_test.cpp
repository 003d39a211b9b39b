// What the opens for reading do before a header reader takes over, and the closes of what they
// opened.
#include "fileproc/fileproc.h"
#include "tests/plain_formats.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using Texts = std::vector<std::string>;

static std::string Open_Report(OpenMode mode, const char* text)
{
    const char* open = mode == OM_READ ? "Audiofile_Open_Read: " : "Audiofile_Open_Read_Write: ";
    return std::string("3,14: ") + open + text;
}

static Bytes Head(const char* container, const char* type)
{
    return Join({Text(container), Little(4, 0x24000000), Text(type)}); // 36 in big-endian
}

struct HeadCase {
    const char* name;
    Bytes bytes;
};
// Forty zeros behind each, so that only the head can be at fault.
static const HeadCase Unknown_Heads[] = {
    {"twelve zeros", Bytes(12, 0)},
    {"RIFF of another type", Head("RIFF", "AVI ")},
    {"RIFF of AIFF", Head("RIFF", "AIFF")},
    {"FORM of WAVE", Head("FORM", "WAVE")},
    {"FORM of another type", Head("FORM", "8SVX")},
    {"RIFX", Head("RIFX", "WAVE")},
    {"RF64", Head("RF64", "WAVE")},
    {"small container id", Head("riff", "WAVE")},
    {"small type", Head("RIFF", "wave")},
    {"AIFC in mixed case", Head("FORM", "AIFc")},
    {"one byte too early", Join({Text("RIFF"), Bytes(3, 0), Text("WAVE "), Bytes(1, 0)})},
};

TEST(OpenRead, RefusesAnUnknownHead)
{
    for (const OpenMode mode : Reading_Modes) {
        for (const HeadCase& c : Unknown_Heads) {
            SCOPED_TRACE(testing::Message() << c.name << ", mode " << mode);
            const OpenedFile file(Join({c.bytes, Bytes(40, 0)}), mode);
            Expect_Refused(file, {Open_Report(mode, "Unsupported file type ")}, true);
            EXPECT_EQ(file.handle->file_type, FT_UNKNOWN);
        }
    }
}

TEST(OpenRead, FileOfFewerThanTwelveBytesEndsTooEarly)
{
    const Bytes whole = Head("RIFF", "WAVE");
    const char* too_short = "3,16: FileAccess_Get_String: EOF on file ";
    const HeaderRefusal cases[] = {
        {"no bytes", {}, false, {too_short}},
        {"4 bytes", Bytes(whole.begin(), whole.begin() + 4), false, {too_short}},
        {"11 bytes", Bytes(whole.begin(), whole.begin() + 11), false, {too_short}},
    };
    Expect_All_Refused(cases);
}

TEST(OpenRead, RefusesWhatCannotBeOpened)
{
    const std::string directory = Scratch_Path("directory");
    mkdir(directory.c_str(), 0700);
    const std::string paths[] = {Scratch_Path("missing.wav"), directory + "/none/x.wav", "",
                                 Scratch_Path(std::string(300, 'n'))};
    for (const OpenMode mode : Reading_Modes) {
        for (const std::string& path : paths) {
            SCOPED_TRACE(testing::Message() << "'" << path << "', mode " << mode);
            Expect_Refused(OpenedFile(path, mode), {Open_Report(mode, "Error opening ")}, true);
        }
    }
    // A directory opens for reading alone, and then it is the read that fails.
    Expect_Refused(OpenedFile(directory, OM_READ),
                   {"3,16: FileAccess_Get_String: Error reading string from file "}, false);
    Expect_Refused(OpenedFile(directory, OM_READ_WRITE),
                   {Open_Report(OM_READ_WRITE, "Error opening ")}, true);
}

TEST(Open, FilesStayClosedInProgramsThatTheCallerStarts)
{
    RecordingObject object;
    Make_Recorder(&object);
    AudiofileHandle* handle = Make_Handle(&object);
    const std::string path = Scratch_Path("private");
    FILE* streams[2];
    Audiofile_Open_Write(&object.header, path.c_str(), FT_WAVE, INT16, 1, handle, 8000.0);
    FileProc_OpenPARFILE(&object.header, path.c_str(), &streams[0]);
    FileProc_OpenPARFILE_Wr(&object.header, Scratch_Path("text").c_str(), &streams[1]);
    const OpenedFile to_read(Wave_Bytes(1, 16, 1, Bytes(4, 0), 4), OM_READ);
    const OpenedFile in_place(to_read.path, OM_READ_WRITE);
    for (FILE* stream : {handle->stream, streams[0], streams[1], to_read.handle->stream,
                         in_place.handle->stream}) {
        EXPECT_EQ(fcntl(fileno(stream), F_GETFD), FD_CLOEXEC);
    }
    fclose(streams[0]);
    fclose(streams[1]);
    Drop_Handle(handle, true);
}

static const Bytes Small_Wave = Wave_Bytes(1, 16, 1, Bytes(4, 0), 4);
static const char Not_Open[] = "3,15: Audiofile_Close_Read: File not openend for read ";

// Whether the close that goes with a mode stops.
static bool Close_Stops(OpenMode mode, RecordingObject* object, AudiofileHandle* handle)
{
    const auto close = mode == OM_READ ? Audiofile_Close_Read : Audiofile_Close_Read_Write;
    return Stops(object, [&] { close(&object->header, handle); });
}

TEST(CloseRead, ClosesEitherModeOnce)
{
    for (const OpenMode close_mode : Reading_Modes) {
        for (const OpenMode mode : Reading_Modes) {
            SCOPED_TRACE(testing::Message() << "close of mode " << close_mode << ", mode " << mode);
            OpenedFile file(Small_Wave, mode);
            EXPECT_FALSE(Close_Stops(close_mode, &file.object, file.handle));
            EXPECT_EQ(file.object.reports, Texts{});
            EXPECT_EQ(file.handle->mode, OM_CLOSED);
            EXPECT_EQ(Open_Descriptors(), file.descriptors);
            EXPECT_EQ(Read_File(file.path), Small_Wave);

            EXPECT_TRUE(Close_Stops(close_mode, &file.object, file.handle));
            EXPECT_EQ(file.object.reports, With_Name({Not_Open}, file.path));
        }
    }
}

TEST(CloseRead, RefusesAHandleThatIsNotOpenForReading)
{
    struct NotOpenCase {
        uint32_t mode;
        bool has_stream;
    };
    for (const OpenMode close_mode : Reading_Modes) {
        for (const NotOpenCase& c : {NotOpenCase{OM_CLOSED, true}, NotOpenCase{OM_WRITE, true},
                                     NotOpenCase{4, true}, NotOpenCase{OM_READ, false}}) {
            SCOPED_TRACE(testing::Message() << "close of mode " << close_mode << ", " << c.mode);
            OpenedFile file(Small_Wave, OM_READ);
            FILE* stream = file.handle->stream;
            file.handle->mode = c.mode;
            file.handle->stream = c.has_stream ? stream : nullptr;
            EXPECT_TRUE(Close_Stops(close_mode, &file.object, file.handle));
            file.handle->stream = stream;
            EXPECT_EQ(file.object.reports, With_Name({Not_Open}, file.path));
            EXPECT_EQ(Open_Descriptors(), file.descriptors + 1) << "closed the stream";
        }
        RecordingObject object;
        Make_Recorder(&object);
        EXPECT_TRUE(Close_Stops(close_mode, &object, nullptr));
        EXPECT_EQ(object.reports, Texts{Not_Open}) << "no handle, no name";
    }
}

TEST(CloseRead, ReportsAFailedCloseWithoutTheName)
{
    for (const OpenMode close_mode : Reading_Modes) {
        SCOPED_TRACE(close_mode);
        OpenedFile file(Small_Wave, OM_READ);
        close(fileno(file.handle->stream));
        EXPECT_TRUE(Close_Stops(close_mode, &file.object, file.handle));
        EXPECT_EQ(file.object.reports, Texts{"3,15: Audiofile_Close_Read: Error closing file."});
    }
}

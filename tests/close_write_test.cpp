// Finishing a written file: the pad byte, the sizes in the header, the close and its warning.
#include "tests/codec_file.h"
#include "tests/transfer_file.h"

#include <gtest/gtest.h>

namespace
{

bool Close_Stops(TransferFile* file)
{
    file->still_open = false;
    return Stops(&file->object, [&] { Audiofile_Close_Write(&file->object.header, file->handle); });
}

struct FinishCase {
    const char* name;
    FileType file_type;
    DataFormat format;
    uint64_t channels;
    Words words;
    Bytes header; // of the finished file
    Bytes data;
};
const FinishCase Finish_Cases[] = {
    {"WAVE without data", FT_WAVE, INT16, 2, {}, Wave_Header(1, 2, 2, 0), {}},
    {"AIFC without data", FT_AIFC, INT16, 2, {}, Aifc_Header(2, 2, 0, 0), {}},
    {"WAVE, even", FT_WAVE, INT16, 1, {1, 2}, Wave_Header(1, 2, 1, 4), {1, 0, 2, 0}},
    {"WAVE, odd", FT_WAVE, INT24, 1, {1}, Wave_Header(1, 3, 1, 4), {1, 0, 0, 0}},
    {"floats", FT_WAVE, FLOAT32, 1, {8388608}, Wave_Header(3, 4, 1, 4), {0, 0, 0x80, 0x3F}},
    {"AIFC", FT_AIFC, INT16, 2, {1, 2, 3, 4}, Aifc_Header(2, 2, 2, 8), {0, 1, 0, 2, 0, 3, 0, 4}},
    {"AIFC, odd", FT_AIFC, INT8, 1, {1, 2, 3}, Aifc_Header(1, 1, 3, 4), {1, 2, 3, 0}},
    {"AIFC asked for as AIFF, odd",
     FT_AIFF,
     INT24,
     3,
     {1, 2, 3},
     Aifc_Header(3, 3, 1, 10),
     {0, 0, 1, 0, 0, 2, 0, 0, 3, 0}},
    {"part of a frame", FT_AIFC, INT16, 2, {1, 2, 3}, Aifc_Header(2, 2, 1, 6), {0, 1, 0, 2, 0, 3}},
    {"AIFC without channels", FT_AIFC, INT16, 0, {7}, Aifc_Header(2, 0, 0, 2), {0, 7}},
};

TEST(CloseWrite, PadsPatchesAndCloses)
{
    for (const FinishCase& c : Finish_Cases) {
        SCOPED_TRACE(c.name);
        const int descriptors = Open_Descriptors();
        TransferFile file("finished", c.file_type, c.format, c.channels);
        file.Write(c.words);
        EXPECT_FALSE(Close_Stops(&file));
        EXPECT_EQ(Read_File(file.path), Join({c.header, c.data}));
        EXPECT_EQ(file.handle->mode, OM_CLOSED);
        EXPECT_EQ(file.handle->samples, c.words.size()) << "the pad byte is no sample";
        EXPECT_EQ(file.handle->data_bytes, c.data.size());
        EXPECT_EQ(Open_Descriptors(), descriptors);
        EXPECT_EQ(file.object.reports, Reports());
    }
}

void Patch(TransferFile* file, bool wave)
{
    (wave ? Audiofile_Patch_WAVE_Header : Audiofile_Patch_AIFC_Header)(&file->object.header,
                                                                       file->handle);
}

TEST(Patch, WritesTheSameAgainAndStaysInPlace)
{
    for (const bool wave : {true, false}) {
        SCOPED_TRACE(wave ? "WAVE" : "AIFC");
        TransferFile file("patched", wave ? FT_WAVE : FT_AIFC, INT16, 2);
        Words words;
        for (int64_t turn = 1; turn <= 3; turn++) {
            file.Write({turn, -turn});
            words.insert(words.end(), {turn, -turn});
            const long place = ftell(file.handle->stream);
            const Bytes header = wave ? Wave_Header(1, 2, 2, 2 * words.size())
                                      : Aifc_Header(2, 2, words.size() / 2, 2 * words.size());
            for (int again = 0; again < 2; again++) {
                Patch(&file, wave);
                EXPECT_EQ(ftell(file.handle->stream), place);
                EXPECT_EQ(Read_File(file.path), Join({header, Plain_Encode(INT16, wave, words)}));
            }
        }
    }
}

TEST(Patch, SizesBeyond32BitsLoseTheirHighBits)
{
    for (const bool wave : {true, false}) {
        TransferFile file("large", wave ? FT_WAVE : FT_AIFC, INT16, 2);
        file.handle->samples = 0x7100000000 + 10;
        file.handle->data_bytes = 0xE0FFFFFFF0;
        Patch(&file, wave);
        EXPECT_EQ(Read_File(file.path), wave ? Wave_Header(1, 2, 2, 0xFFFFFFF0)
                                             : Aifc_Header(2, 2, 0x80000005, 0xFFFFFFF0));
    }
}

TEST(CloseWrite, WarnsOfClippedSamplesOnceTheFileIsClosed)
{
    const int descriptors = Open_Descriptors();
    TransferFile file("clipped", FT_WAVE, INT16, 1);
    file.Write({40000, 5});
    EXPECT_FALSE(Close_Stops(&file));
    EXPECT_EQ(file.object.reports,
              With_Name({"2,0: Audiofile: clipped samples during writing"}, file.path));
    EXPECT_EQ(file.object.descriptors, std::vector<int>(2, descriptors));
    EXPECT_EQ(file.handle->mode, OM_CLOSED);
    EXPECT_EQ(Read_File(file.path), Join({Wave_Header(1, 2, 1, 4), {0xFF, 0x7F, 5, 0}}));
}

TEST(CloseWrite, LeavesAReadWriteFileAsItIs)
{
    const Bytes bytes = Aiff_Bytes(8, 1, {1, 2, 3, 4}, 3); // three samples of four
    const int descriptors = Open_Descriptors();
    TransferFile file("in_place", bytes, OM_READ_WRITE);
    file.Read(1);
    file.Write({500});
    file.handle->data_bytes = 3; // odd, and yet nothing is padded
    EXPECT_FALSE(Close_Stops(&file));
    EXPECT_EQ(file.handle->mode, OM_CLOSED);
    EXPECT_EQ(Open_Descriptors(), descriptors);
    EXPECT_EQ(file.object.reports, Reports());
    EXPECT_EQ(Read_File(file.path), Aiff_Bytes(8, 1, {127, 2, 3, 4}, 3));
}

// ---- Refused closes ----

const std::string Not_Open = "3,15: Audiofile_Close_Write: File not openend for write ";
const std::string Bad_Type = "3,10: Audiofile_Close_Write: invalid file type for ";

struct CloseCase {
    const char* name;
    uint32_t mode;
    uint32_t file_type;
    bool stream;
    std::string report;
};
const CloseCase Close_Cases[] = {
    {"closed", OM_CLOSED, FT_WAVE, true, Not_Open},
    {"open for reading", OM_READ, FT_WAVE, true, Not_Open},
    {"no stream", OM_WRITE, FT_WAVE, false, Not_Open},
    {"read-write, no stream", OM_READ_WRITE, FT_WAVE, false, Not_Open},
    {"unknown type", OM_WRITE, FT_UNKNOWN, true, Bad_Type},
    {"type beyond the table", OM_WRITE, 77, true, Bad_Type},
};

TEST(CloseWrite, RefusesWithoutClosing)
{
    for (const CloseCase& c : Close_Cases) {
        SCOPED_TRACE(c.name);
        TransferFile file("refused", FT_WAVE, INT16, 1);
        const int descriptors = Open_Descriptors();
        FILE* stream = file.handle->stream;
        file.handle->mode = c.mode;
        file.handle->file_type = c.file_type;
        file.handle->stream = c.stream ? stream : nullptr;
        EXPECT_TRUE(Close_Stops(&file));
        EXPECT_EQ(file.object.reports, With_Name({c.report}, file.path));
        EXPECT_EQ(Open_Descriptors(), descriptors);
        file.handle->stream = stream;
        file.still_open = true;
    }
    RecordingObject object;
    Make_Recorder(&object);
    EXPECT_TRUE(Stops(&object, [&] { Audiofile_Close_Write(&object.header, nullptr); }));
    EXPECT_EQ(object.reports, Reports{Not_Open}) << "null handle";
}

// A stream that fails at the close, or before it, in place of the file's own.
TEST(CloseWrite, ReportsAStreamThatFails)
{
    for (const bool broken : {false, true}) {
        SCOPED_TRACE(broken ? "the patch fails" : "the close fails");
        TransferFile file("fails", FT_WAVE, INT16, 1);
        fclose(file.handle->stream);
        MemoryStream stream;
        stream.broken = broken;
        stream.close_fails = true;
        file.handle->stream = Open_Memory(&stream, "w");
        EXPECT_TRUE(Close_Stops(&file));
        const Reports failed_patch =
            With_Name({"3,16: FileAccess_Put_String: Error writing string into file "}, file.path);
        const Reports failed_close = {"3,15: Audiofile_Close_Write: Error closing file."};
        EXPECT_EQ(file.object.reports, broken ? failed_patch : failed_close);
    }
}

} // namespace

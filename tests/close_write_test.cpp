// Finishing a written file: the pad byte, the sizes in the header, the close and its warning.
#include "tests/codec_file.h"
#include "tests/transfer_file.h"

#include <gtest/gtest.h>

namespace
{

struct FinishCase {
    const char* name;
    FileType file_type;
    DataFormat format;
    uint64_t channels;
    Words words;
    Bytes file; // the whole finished file
};
const FinishCase Finish_Cases[] = {
    {"WAVE without data", FT_WAVE, INT16, 2, {}, Wave_Header(1, 2, 2, 0)},
    {"AIFC without data", FT_AIFC, INT16, 2, {}, Aifc_Header(2, 2, 0, 0)},
    {"WAVE, even", FT_WAVE, INT16, 1, {1, 2}, Join({Wave_Header(1, 2, 1, 4), {1, 0, 2, 0}})},
    {"WAVE, odd", FT_WAVE, INT24, 1, {1}, Join({Wave_Header(1, 3, 1, 4), {1, 0, 0, 0}})},
    {"WAVE floats",
     FT_WAVE,
     FLOAT32,
     1,
     {8388608},
     Join({Wave_Header(3, 4, 1, 4), {0, 0, 0x80, 0x3F}})},
    {"AIFC, even",
     FT_AIFC,
     INT16,
     2,
     {1, 2, 3, 4},
     Join({Aifc_Header(2, 2, 2, 8), {0, 1, 0, 2, 0, 3, 0, 4}})},
    {"AIFC, odd", FT_AIFC, INT8, 1, {1, 2, 3}, Join({Aifc_Header(1, 1, 3, 4), {1, 2, 3, 0}})},
    {"AIFC asked for as AIFF, odd",
     FT_AIFF,
     INT24,
     3,
     {1, 2, 3},
     Join({Aifc_Header(3, 3, 1, 10), {0, 0, 1, 0, 0, 2, 0, 0, 3, 0}})},
    {"AIFC with part of a frame",
     FT_AIFC,
     INT16,
     2,
     {1, 2, 3},
     Join({Aifc_Header(2, 2, 1, 6), {0, 1, 0, 2, 0, 3}})},
    {"AIFC without channels", FT_AIFC, INT16, 0, {7}, Join({Aifc_Header(2, 0, 0, 2), {0, 7}})},
};

TEST(CloseWrite, PadsPatchesAndCloses)
{
    for (const FinishCase& c : Finish_Cases) {
        SCOPED_TRACE(c.name);
        const int descriptors = Open_Descriptors();
        TransferFile file("finished", c.file_type, c.format, c.channels);
        file.Write(c.words);
        Audiofile_Close_Write(&file.object.header, file.handle);
        file.still_open = false;
        EXPECT_EQ(Read_File(file.path), c.file);
        EXPECT_EQ(file.handle->mode, OM_CLOSED);
        EXPECT_EQ(file.handle->samples, c.words.size()) << "the pad byte is no sample";
        EXPECT_EQ(file.handle->data_bytes, c.file.size() - (c.file_type == FT_WAVE ? 44 : 86));
        EXPECT_EQ(Open_Descriptors(), descriptors);
        EXPECT_EQ(file.object.reports, Reports());
    }
}

TEST(Patch, WritesTheSameAgainAndStaysInPlace)
{
    for (const FileType file_type : {FT_WAVE, FT_AIFC}) {
        SCOPED_TRACE(file_type);
        TransferFile file("patched", file_type, INT16, 2);
        auto* patch =
            file_type == FT_WAVE ? Audiofile_Patch_WAVE_Header : Audiofile_Patch_AIFC_Header;
        const bool wave = file_type == FT_WAVE;
        Words words;
        for (int64_t turn = 1; turn <= 3; turn++) {
            file.Write({turn, -turn});
            words.insert(words.end(), {turn, -turn});
            const long place = ftell(file.handle->stream);
            const Bytes header = wave ? Wave_Header(1, 2, 2, 2 * words.size())
                                      : Aifc_Header(2, 2, words.size() / 2, 2 * words.size());
            for (int again = 0; again < 2; again++) {
                patch(&file.object.header, file.handle);
                EXPECT_EQ(ftell(file.handle->stream), place);
                EXPECT_EQ(Read_File(file.path), Join({header, Plain_Encode(INT16, wave, words)}));
            }
        }
    }
}

TEST(Patch, SizesBeyond32BitsLoseTheirHighBits)
{
    for (const FileType file_type : {FT_WAVE, FT_AIFC}) {
        TransferFile file("large", file_type, INT16, 2);
        file.handle->samples = 0x7100000000 + 10;
        file.handle->data_bytes = 0xE0FFFFFFF0;
        if (file_type == FT_WAVE) {
            Audiofile_Patch_WAVE_Header(&file.object.header, file.handle);
            EXPECT_EQ(Read_File(file.path), Wave_Header(1, 2, 2, 0xFFFFFFF0));
        } else {
            Audiofile_Patch_AIFC_Header(&file.object.header, file.handle);
            EXPECT_EQ(Read_File(file.path), Aifc_Header(2, 2, 0x80000005, 0xFFFFFFF0));
        }
    }
}

TEST(CloseWrite, WarnsOfClippedSamplesOnceTheFileIsClosed)
{
    const int descriptors = Open_Descriptors();
    TransferFile file("clipped", FT_WAVE, INT16, 1);
    file.Write({40000, 5});
    Audiofile_Close_Write(&file.object.header, file.handle);
    file.still_open = false;
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
    Audiofile_Close_Write(&file.object.header, file.handle);
    file.still_open = false;
    EXPECT_EQ(file.handle->mode, OM_CLOSED);
    EXPECT_EQ(Open_Descriptors(), descriptors);
    EXPECT_EQ(file.object.reports, Reports());
    EXPECT_EQ(Read_File(file.path), Aiff_Bytes(8, 1, {127, 2, 3, 4}, 3));
}

// ---- Refused closes ----

struct CloseCase {
    const char* name;
    uint32_t mode;
    uint32_t file_type;
    bool stream;
    const char* report;
};
#define NOT_OPEN "3,15: Audiofile_Close_Write: File not openend for write "
#define INVALID_TYPE "3,10: Audiofile_Close_Write: invalid file type for "
const CloseCase Close_Cases[] = {
    {"closed", OM_CLOSED, FT_WAVE, true, NOT_OPEN},
    {"open for reading", OM_READ, FT_WAVE, true, NOT_OPEN},
    {"no stream", OM_WRITE, FT_WAVE, false, NOT_OPEN},
    {"read-write, no stream", OM_READ_WRITE, FT_WAVE, false, NOT_OPEN},
    {"unknown type", OM_WRITE, FT_UNKNOWN, true, INVALID_TYPE},
    {"type beyond the table", OM_WRITE, 77, true, INVALID_TYPE},
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
        EXPECT_TRUE(
            Stops(&file.object, [&] { Audiofile_Close_Write(&file.object.header, file.handle); }));
        EXPECT_EQ(file.object.reports, With_Name({c.report}, file.path));
        EXPECT_EQ(Open_Descriptors(), descriptors);
        file.handle->stream = stream;
    }
    RecordingObject object;
    Make_Recorder(&object);
    EXPECT_TRUE(Stops(&object, [&] { Audiofile_Close_Write(&object.header, nullptr); }));
    EXPECT_EQ(object.reports, Reports{NOT_OPEN}) << "null handle";
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
        file.still_open = false;
        EXPECT_TRUE(
            Stops(&file.object, [&] { Audiofile_Close_Write(&file.object.header, file.handle); }));
        EXPECT_EQ(file.object.reports,
                  broken
                      ? With_Name({"3,16: FileAccess_Put_String: Error writing string into file "},
                                  file.path)
                      : Reports{"3,15: Audiofile_Close_Write: Error closing file."});
    }
}

} // namespace

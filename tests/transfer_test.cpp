// Flat transfer of sample words, the place in the file, and the two enquiries. Sample i of a test
// file has the value 100 + i.
#include "tests/transfer_file.h"

#include <gtest/gtest.h>

namespace
{

Words File_Words(uint64_t first, uint64_t count)
{
    return Counting_Words(static_cast<int64_t>(100 + first), count);
}

Bytes Counting_Data(DataFormat format, bool little, uint64_t samples)
{
    return Plain_Encode(format, little, File_Words(0, samples));
}

// An INT16 WAVE file: the header states samples, of which stored are there. A chunk follows.
Bytes Short_Wave(unsigned channels, uint64_t samples, uint64_t stored)
{
    return Wave_Bytes(1, 16, channels, Counting_Data(INT16, true, stored), 2 * samples,
                      samples == stored ? Join({Text("LIST"), Little(4, 2), Text("??")}) : Bytes());
}

// ---- Reading: bounds ----

struct BoundCase {
    const char* name;
    Bytes file;
    std::vector<uint64_t> asked; // call by call
    std::vector<uint64_t> got;
};

TEST(AudiofileRead, StaysWithinTheHeadersTotalAndTheFile)
{
    const Bytes ten = Short_Wave(1, 10, 10);
    const Bytes ten_of_24_bits = Counting_Data(INT24, false, 10);
    const BoundCase cases[] = {
        {"in one call", ten, {10, 1}, {10, 0}},
        {"in pieces", ten, {4, 4, 4, 4}, {4, 4, 2, 0}},
        {"none", ten, {0, 3, 0}, {0, 3, 0}},
        {"the largest count", Short_Wave(2, 10, 10), {1, UINT64_MAX, UINT64_MAX}, {1, 9, 0}},
        {"header claims more", Short_Wave(1, 30, 10), {8, 8, 8}, {8, 2, 0}},
        {"empty", Short_Wave(1, 0, 0), {5}, {0}},
        {"COMM states fewer", Aiff_Bytes(24, 2, ten_of_24_bits, 3), {4, 4}, {4, 2}},
        {"COMM states more", Aiff_Bytes(24, 2, ten_of_24_bits, 30), {64}, {10}},
    };
    for (const BoundCase& c : cases) {
        SCOPED_TRACE(c.name);
        TransferFile file("bounds", c.file, OM_READ);
        uint64_t place = 0;
        for (size_t k = 0; k < c.asked.size(); k++) {
            EXPECT_EQ(file.Read(c.asked[k]), File_Words(place, c.got[k])) << "call " << k;
            place += c.got[k];
            EXPECT_EQ(file.handle->position, place) << "call " << k;
        }
        EXPECT_TRUE(file.object.reports.empty());
    }
}

TEST(AudiofileRead, ASampleThatEndOfFileCutsIsDelivered)
{
    Bytes bytes = Short_Wave(1, 30, 10);
    bytes.back() = 0; // sample 109 is 0x006D: cut behind its first byte it stays the same
    bytes.pop_back();
    TransferFile file("cut", bytes, OM_READ);
    EXPECT_EQ(file.Read(30), File_Words(0, 10));
    EXPECT_EQ(file.handle->position, 10u);
}

// ---- Rewind and forward ----

// Forth and back, up to the end and beyond it. Of the large ones the first two have an offset
// beyond 63 bits and one that wraps to the start, and the others have no position that fits.
TEST(AudiofileForward, GoesToAnAbsoluteFrameAndNeverWraps)
{
    constexpr uint64_t Large = uint64_t{1} << 61;
    TransferFile file("forward", Short_Wave(2, 20, 20), OM_READ);
    for (const uint64_t frames :
         std::vector<uint64_t>{0, 2, 2, 1, 9, 10, 11, 12, 1000000, Large, 2 * Large, 4 * Large,
                               4 * Large + 1, UINT64_MAX, 3}) {
        SCOPED_TRACE(frames);
        Audiofile_Forward(&file.object.header, file.handle, frames);
        if (frames <= 2 * Large) {
            EXPECT_EQ(file.handle->position, 2 * frames);
        }
        const uint64_t delivered = frames < 10 ? std::min<uint64_t>(5, 20 - 2 * frames) : 0;
        EXPECT_EQ(file.Read(5), File_Words(2 * frames, delivered));
        EXPECT_EQ(file.Read(0), Words());
    }
    EXPECT_TRUE(file.object.reports.empty());
}

TEST(AudiofileRewind, GoesBackToTheFirstSampleFromAnywhere)
{
    for (const Bytes& bytes :
         {Short_Wave(2, 20, 20), Aiff_Bytes(16, 2, Counting_Data(INT16, false, 20), 10)}) {
        TransferFile file("rewind", bytes, OM_READ);
        for (const uint64_t frames : {uint64_t{0}, uint64_t{7}, uint64_t{10}, uint64_t{1} << 63}) {
            Audiofile_Forward(&file.object.header, file.handle, frames);
            file.Read(3);
            Audiofile_Rewind(&file.object.header, file.handle);
            EXPECT_EQ(file.handle->position, 0u);
            EXPECT_EQ(file.Read(50), File_Words(0, 20)) << frames;
        }
    }
}

// ---- Writing ----

TEST(AudiofileWrite, CountsSamplesAndBytesAndLeavesTheHeaderAlone)
{
    TransferFile file("write", FT_WAVE, INT16, 1);
    const Bytes header = Read_File(file.path);
    Words words = {1, 40000, -40000};
    uint64_t put = 77;
    Audiofile_Write_LONG(&file.object.header, file.handle, words.data(), 3, &put);
    EXPECT_EQ(put, 3u);
    EXPECT_EQ(words, (Words{1, 32767, -32768}));
    EXPECT_EQ(file.handle->clipped, 2u);
    EXPECT_EQ(file.Write({}), 0u);
    EXPECT_EQ(file.Write({-2}), 1u);
    EXPECT_EQ(file.handle->samples, 4u);
    EXPECT_EQ(file.handle->data_bytes, 8u);
    fflush(file.handle->stream);
    EXPECT_EQ(Read_File(file.path),
              Join({header, {0x01, 0x00, 0xFF, 0x7F, 0x00, 0x80, 0xFE, 0xFF}}));
}

// ---- Refusals by state ----

struct StateCase {
    char step;
    std::vector<uint32_t> accepted; // modes
    const char* report;
};
const StateCase State_Cases[] = {
    {'R', {OM_READ, OM_READ_WRITE}, "3,10: Audiofile_Read: File not open for read "},
    {'W', {OM_WRITE, OM_READ_WRITE}, "3,15: Audiofile_Write_LONG: File not openend for write "},
    {'B', {OM_READ, OM_READ_WRITE}, "3,15: Audiofile_Rewind: File is not opened for reading "},
    {'F', {OM_READ}, "3,15: Audiofile_Forward: File is not opened for reading "},
};

TEST(AudiofileState, RefusesHandlesInTheWrongState)
{
    for (const StateCase& c : State_Cases) {
        TransferFile file("state", Short_Wave(1, 10, 10), OM_READ_WRITE);
        const int descriptors = Open_Descriptors();
        FILE* stream = file.handle->stream;
        SCOPED_TRACE(c.report);
        auto stops = [&](AudiofileHandle* handle) {
            file.object.reports.clear();
            return Stops(&file.object, [&] { Take_Step(&file.object, handle, c.step, 1); });
        };

        EXPECT_TRUE(stops(nullptr));
        EXPECT_EQ(file.object.reports, Reports{c.report}) << "null handle";

        for (const uint32_t mode : {OM_CLOSED, OM_READ, OM_WRITE, OM_READ_WRITE}) {
            SCOPED_TRACE(mode);
            file.handle->mode = mode;
            file.handle->block_pending = c.report[2] == '1' && c.report[3] == '5';
            const bool good = std::ranges::count(c.accepted, mode) != 0;
            EXPECT_EQ(stops(file.handle), !good);
            EXPECT_EQ(file.object.reports, good ? Reports{} : With_Name({c.report}, file.path));

            file.handle->stream = nullptr;
            EXPECT_TRUE(stops(file.handle));
            EXPECT_EQ(file.object.reports, With_Name({c.report}, file.path)) << "no stream";
            file.handle->stream = stream;
        }
        EXPECT_EQ(Open_Descriptors(), descriptors) << "closed the stream";
    }
}

// ---- Enquiries ----

TEST(AudiofileGetFormat, TellsContainerAndEncoding)
{
    struct FormatCase {
        Bytes file;
        FileType file_type;
        DataFormat format;
    };
    const FormatCase cases[] = {
        {Wave_Bytes(1, 8, 1, Bytes(4, 0), 4), FT_WAVE, UINT8},
        {Wave_Bytes(3, 64, 1, Bytes(8, 0), 8), FT_WAVE, FLOAT64},
        {Wave_Bytes(7, 8, 1, Bytes(4, 0), 4), FT_WAVE, MULAW8},
        {Wave_Bytes(6, 8, 1, Bytes(4, 0), 4), FT_WAVE, ALAW8},
        {Aiff_Bytes(24, 1, Bytes(6, 0), 2), FT_AIFF, INT24},
    };
    for (const FormatCase& c : cases) {
        SCOPED_TRACE(c.format);
        TransferFile file("format", c.file, OM_READ);
        uint32_t file_type = 77;
        uint32_t format = 77;
        Audiofile_Get_Format(nullptr, file.handle, &file_type, &format);
        EXPECT_EQ(file_type, c.file_type);
        EXPECT_EQ(format, c.format);
    }
}

TEST(AudiofileFileTypeFromName, LooksAtTheTextBehindTheLastDot)
{
    const std::pair<FileType, std::vector<const char*>> cases[] = {
        {FT_WAVE, {"speech.wav", ".wav", "dir.d/speech.wav", "..wav"}},
        {FT_AIFF, {"speech.aiff", "a.wav.aiff"}},
        {FT_AIFC, {"speech.aifc", "a.b.aifc"}},
        {FT_UNKNOWN,
         {"speech.WAV", "speech.Wav", "speech.aif", "speech.wave", "speech.wa", "speech.wav ",
          "speech.", "speech.wav.", "wav", "", ".", "dir.wav/speech"}},
    };
    for (const auto& [expected, paths] : cases) {
        for (const char* path : paths) {
            uint32_t file_type = 77;
            Audiofile_FileType_From_Name(nullptr, path, &file_type);
            EXPECT_EQ(file_type, expected) << "'" << path << "'";
        }
    }
}

} // namespace

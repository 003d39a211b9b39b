// Flat transfer of sample words, the place in the file, and the two enquiries. Sample i of a test
// file has the value 100 + i.
#include "tests/transfer_file.h"

#include <gtest/gtest.h>
#include <numeric>

namespace
{

Words Counting_Words(uint64_t first, uint64_t count)
{
    Words words(count);
    std::iota(words.begin(), words.end(), static_cast<int64_t>(100 + first));
    return words;
}

Bytes Counting_Data(DataFormat format, bool little, uint64_t samples)
{
    return Plain_Encode(format, little, Counting_Words(0, samples));
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
    const BoundCase cases[] = {
        {"in one call", Short_Wave(1, 10, 10), {10, 1}, {10, 0}},
        {"in pieces", Short_Wave(1, 10, 10), {4, 4, 4, 4}, {4, 4, 2, 0}},
        {"none", Short_Wave(1, 10, 10), {0, 3, 0}, {0, 3, 0}},
        {"the largest count", Short_Wave(2, 10, 10), {1, UINT64_MAX, UINT64_MAX}, {1, 9, 0}},
        {"header claims more", Short_Wave(1, 30, 10), {8, 8, 8}, {8, 2, 0}},
        {"empty", Short_Wave(1, 0, 0), {5}, {0}},
        {"COMM states fewer than there are",
         Aiff_Bytes(24, 2, Counting_Data(INT24, false, 10), 3),
         {4, 4},
         {4, 2}},
        {"COMM states more than there are",
         Aiff_Bytes(24, 2, Counting_Data(INT24, false, 10), 30),
         {64},
         {10}},
    };
    for (const BoundCase& c : cases) {
        SCOPED_TRACE(c.name);
        TransferFile file("bounds", c.file, OM_READ);
        uint64_t place = 0;
        for (size_t k = 0; k < c.asked.size(); k++) {
            EXPECT_EQ(file.Read(c.asked[k]), Counting_Words(place, c.got[k])) << "call " << k;
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
    EXPECT_EQ(file.Read(30), Counting_Words(0, 10));
    EXPECT_EQ(file.handle->position, 10u);
}

// ---- Rewind and forward ----

struct PlaceCase {
    const char* name;
    uint64_t frames;
    uint64_t position; // UINT64_MAX: any place that delivers nothing
    uint64_t delivered;
};
const PlaceCase Place_Cases[] = {
    {"first frame", 0, 0, 5},
    {"third frame", 2, 4, 5},
    {"third frame again", 2, 4, 5},
    {"back", 1, 2, 5},
    {"near the end", 9, 18, 2},
    {"the end", 10, 20, 0},
    {"one beyond the end", 11, 22, 0},
    {"in the chunk behind the data", 12, 24, 0},
    {"far beyond", 1000000, 2000000, 0},
    {"offset beyond 63 bits", 1ULL << 61, 1ULL << 62, 0},
    {"offset wraps to the start", 1ULL << 62, 1ULL << 63, 0},
    {"position wraps to the start", 1ULL << 63, UINT64_MAX, 0},
    {"position wraps to the second frame", (1ULL << 63) + 1, UINT64_MAX, 0},
    {"the largest frame", UINT64_MAX, UINT64_MAX, 0},
    {"and back", 3, 6, 5},
};

TEST(AudiofileForward, GoesToAnAbsoluteFrameAndNeverWraps)
{
    TransferFile file("forward", Short_Wave(2, 20, 20), OM_READ);
    for (const PlaceCase& c : Place_Cases) {
        SCOPED_TRACE(c.name);
        Audiofile_Forward(&file.object.header, file.handle, c.frames);
        if (c.position != UINT64_MAX) {
            EXPECT_EQ(file.handle->position, c.position);
        }
        EXPECT_EQ(file.Read(5), Counting_Words(2 * c.frames, c.delivered));
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
            EXPECT_EQ(file.Read(50), Counting_Words(0, 20)) << frames;
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
    const char* name;
    std::vector<uint32_t> accepted; // modes
    const char* report;
    void (*call)(ObjectHeader*, AudiofileHandle*);
};
const StateCase State_Cases[] = {
    {"read",
     {OM_READ, OM_READ_WRITE},
     "3,10: Audiofile_Read: File not open for read ",
     [](ObjectHeader* object, AudiofileHandle* handle) {
         int64_t word = 0;
         uint64_t got = 0;
         Audiofile_Read(object, handle, &word, 1, &got);
     }},
    {"write",
     {OM_WRITE, OM_READ_WRITE},
     "3,15: Audiofile_Write_LONG: File not openend for write ",
     [](ObjectHeader* object, AudiofileHandle* handle) {
         int64_t word = 0;
         uint64_t put = 0;
         Audiofile_Write_LONG(object, handle, &word, 1, &put);
     }},
    {"rewind",
     {OM_READ, OM_READ_WRITE},
     "3,15: Audiofile_Rewind: File is not opened for reading ",
     Audiofile_Rewind},
    {"forward",
     {OM_READ},
     "3,15: Audiofile_Forward: File is not opened for reading ",
     [](ObjectHeader* object, AudiofileHandle* handle) { Audiofile_Forward(object, handle, 0); }},
};

TEST(AudiofileState, RefusesHandlesInTheWrongState)
{
    for (const StateCase& c : State_Cases) {
        TransferFile file("state", Short_Wave(1, 10, 10), OM_READ_WRITE);
        const int descriptors = Open_Descriptors();
        FILE* stream = file.handle->stream;
        auto stops = [&](AudiofileHandle* handle) {
            file.object.reports.clear();
            return Stops(&file.object, [&] { c.call(&file.object.header, handle); });
        };

        EXPECT_TRUE(stops(nullptr)) << c.name;
        EXPECT_EQ(file.object.reports, Reports{c.report}) << c.name << ", null handle";

        for (const uint32_t mode : {OM_CLOSED, OM_READ, OM_WRITE, OM_READ_WRITE}) {
            SCOPED_TRACE(testing::Message() << c.name << ", mode " << mode);
            file.handle->mode = mode;
            file.handle->block_pending = c.report[2] == '1' && c.report[3] == '5';
            const bool good =
                std::find(c.accepted.begin(), c.accepted.end(), mode) != c.accepted.end();
            EXPECT_EQ(stops(file.handle), !good);
            EXPECT_EQ(file.object.reports, good ? Reports{} : With_Name({c.report}, file.path));

            file.handle->stream = nullptr;
            EXPECT_TRUE(stops(file.handle));
            EXPECT_EQ(file.object.reports, With_Name({c.report}, file.path)) << "no stream";
            file.handle->stream = stream;
        }
        EXPECT_EQ(Open_Descriptors(), descriptors) << c.name << " closed the stream";
    }
}

// ---- Enquiries ----

TEST(AudiofileGetFormat, TellsContainerAndEncoding)
{
    struct FormatCase {
        const char* name;
        Bytes file;
        FileType file_type;
        DataFormat format;
    };
    const FormatCase cases[] = {
        {"8-bit WAVE", Wave_Bytes(1, 8, 1, Bytes(4, 0), 4), FT_WAVE, UINT8},
        {"FLOAT64 WAVE", Wave_Bytes(3, 64, 1, Bytes(8, 0), 8), FT_WAVE, FLOAT64},
        {"mu-law WAVE", Wave_Bytes(7, 8, 1, Bytes(4, 0), 4), FT_WAVE, MULAW8},
        {"A-law WAVE", Wave_Bytes(6, 8, 1, Bytes(4, 0), 4), FT_WAVE, ALAW8},
        {"24-bit AIFF", Aiff_Bytes(24, 1, Bytes(6, 0), 2), FT_AIFF, INT24},
    };
    for (const FormatCase& c : cases) {
        SCOPED_TRACE(c.name);
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
    struct NameCase {
        const char* path;
        FileType file_type;
    };
    const NameCase cases[] = {
        {"speech.wav", FT_WAVE},
        {"speech.aiff", FT_AIFF},
        {"speech.aifc", FT_AIFC},
        {".wav", FT_WAVE},
        {"a.b.aifc", FT_AIFC},
        {"a.wav.aiff", FT_AIFF},
        {"dir.d/speech.wav", FT_WAVE},
        {"..wav", FT_WAVE},
        {"speech.WAV", FT_UNKNOWN},
        {"speech.Wav", FT_UNKNOWN},
        {"speech.aif", FT_UNKNOWN},
        {"speech.wave", FT_UNKNOWN},
        {"speech.wa", FT_UNKNOWN},
        {"speech.wav ", FT_UNKNOWN},
        {"speech.", FT_UNKNOWN},
        {"speech.wav.", FT_UNKNOWN},
        {"wav", FT_UNKNOWN},
        {"", FT_UNKNOWN},
        {".", FT_UNKNOWN},
        {"dir.wav/speech", FT_UNKNOWN},
    };
    for (const NameCase& c : cases) {
        uint32_t file_type = 77;
        Audiofile_FileType_From_Name(nullptr, c.path, &file_type);
        EXPECT_EQ(file_type, c.file_type) << "'" << c.path << "'";
    }
}

} // namespace

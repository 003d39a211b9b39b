// Float matrices, reading: every value against a plain conversion of the file's own bytes, by bits.
#include "tests/codec_file.h"
#include "tests/matrix_file.h"

#include <gtest/gtest.h>

namespace
{

using testing::Message;

// One call; returns the frames it says it read.
uint64_t Read_Matrix(TransferFile* file, const ChannelBuffers& buffers, float scale)
{
    uint64_t frames_read = 77;
    Audiofile_RdMatrix_FLOAT(&file->object.header, file->handle, buffers.rows.data(),
                             buffers.frames, &frames_read, scale);
    return frames_read;
}

bool Read_Stops(TransferFile* file, const ChannelBuffers& buffers)
{
    return Stops_For_Good(&file->object, [&] { Read_Matrix(file, buffers, 1.0f); });
}

// One call for frames from frame first on, of which there are read.
void Expect_Read(TransferFile* file, const PlainMatrix& format, const Bytes& data,
                 uint64_t channels, uint64_t first, uint64_t read, uint64_t frames, float scale)
{
    ChannelBuffers buffers(channels, frames);
    ChannelBuffers expected(channels, frames);
    EXPECT_EQ(Read_Matrix(file, buffers, scale), read);
    for (uint64_t c = 0; c < channels; c++) {
        std::fill_n(expected.rows[c], frames, 0.0f);
        for (uint64_t f = 0; f < read; f++) {
            const int64_t word = Word_At(format, data, (first + f) * channels + c);
            expected.rows[c][f] = Plain_Read(format, word, scale);
        }
        EXPECT_EQ(buffers.Bits(c), expected.Bits(c)) << "channel " << c;
    }
    EXPECT_TRUE(file->object.reports.empty());
}

TEST(RdMatrix, EveryLengthAndChannelCount)
{
    for (const PlainMatrix& format : Plain_Matrices) {
        for (const uint64_t channels : {1, 2, 3, 4, 5, 8, 100}) {
            for (const uint64_t frames : Test_Lengths(channels)) {
                // A file with more frames than asked for, and one with fewer.
                for (const uint64_t held : {frames + 3, frames - frames / 3}) {
                    SCOPED_TRACE(Message() << format.name << ", channels " << channels
                                           << ", frames " << frames << " of " << held);
                    const Bytes data = Matrix_Data(format, held * channels, frames + channels);
                    TransferFile file("lengths", Matrix_File(format, channels, data), OM_READ);
                    const uint64_t read = std::min(held, frames);
                    Expect_Read(&file, format, data, channels, 0, read, frames, 1.0f);
                    EXPECT_EQ(file.handle->position, read * channels);
                }
            }
        }
    }
}

TEST(RdMatrix, EveryScale)
{
    for (const PlainMatrix& format : Plain_Matrices) {
        for (const float scale : Test_Scales) {
            for (const uint64_t channels : {1, 2, 3, 5}) {
                SCOPED_TRACE(Message() << format.name << ", scale " << scale << ", " << channels);
                Bytes data = Matrix_Data(format, 50 * channels, channels);
                std::fill(data.begin(), data.begin() + 12, 0); // zeros meet infinity, too
                TransferFile file("scales", Matrix_File(format, channels, data), OM_READ);
                Expect_Read(&file, format, data, channels, 0, 50, 50, scale);
            }
        }
    }
}

// Blocks that are no multiple of a pass, one after another to beyond the end.
TEST(RdMatrix, CallAfterCallGoesOnWhereTheLastOneEnded)
{
    for (const PlainMatrix& format : Plain_Matrices) {
        for (const uint64_t channels : {1, 2, 3, 7}) {
            constexpr uint64_t Held = 3001;
            const Bytes data = Matrix_Data(format, Held * channels, channels);
            TransferFile file("blocks", Matrix_File(format, channels, data), OM_READ);
            uint64_t place = 0;
            for (const uint64_t frames : {5, 256, 1, 0, 1023, 1100, 700, 10}) {
                SCOPED_TRACE(Message() << format.name << ", channels " << channels << ", " << frames
                                       << " from " << place);
                const uint64_t read = std::min(frames, Held - place);
                Expect_Read(&file, format, data, channels, place, read, frames, 0.5f);
                place += read;
                EXPECT_EQ(file.handle->position, place * channels);
            }
        }
    }
}

// However the scratch memory is used, the file sees the passes of one transfer.
TEST(RdMatrix, AsksForWholePasses)
{
    for (const PlainMatrix& format : Plain_Matrices) {
        for (const uint64_t channels : {1, 2, 3, 5, 31, 100}) {
            SCOPED_TRACE(Message() << format.name << ", channels " << channels);
            const uint64_t frames = 9001 / channels;
            const Bytes data = Matrix_Data(format, frames * channels, 1);
            TransferFile file("passes", Matrix_File(format, channels, data), OM_READ);
            Asked_Bytes.clear();
            Read_Matrix(&file, ChannelBuffers(channels, frames), 1.0f);
            EXPECT_EQ(Asked_Bytes, Pass_Calls(Plain_Of(format.format), frames * channels));
        }
    }
}

// A file that is shorter than its header says, and a call for more than either.
TEST(RdMatrix, AsksForNoMoreThanTheHeaderTells)
{
    constexpr uint64_t Told = 5056, Held = 3000;
    const Bytes data = Matrix_Data(Plain_Matrices[1], Held, 1);
    TransferFile file("short", Wave_Bytes(1, 16, 1, data, 2 * Told), OM_READ);
    Asked_Bytes.clear();
    Expect_Read(&file, Plain_Matrices[1], data, 1, 0, Held, 100000, 1.0f);
    EXPECT_GE(Asked_Bytes.size(), Pass_Calls(Plain_Of(INT16), Held).size());
    EXPECT_LE(Asked_Bytes.size(), Pass_Calls(Plain_Of(INT16), Told).size());
}

struct ValueCases {
    DataFormat format;
    float scale;
    std::vector<std::pair<int64_t, uint32_t>> words; // and the bits of their floats
};
// The limits; ties of words of 25 bits, one to even and one up; words beyond 32 bits; minus zero;
// and a scale, a product and a result that are subnormal and count as zero.
const ValueCases Value_Cases[] = {
    {INT8, 1.0f, {{127, 0x3F800000}, {-128, 0xBF810204}}},
    {INT16, 1.0f, {{32767, 0x3F800000}, {-32768, 0xBF800100}, {1, 0x38000100}}},
    {INT16, 2.0f, {{32767, 0x40000000}}},
    {INT24, 1.0f, {{8388607, 0x3F800000}, {-8388608, 0xBF800001}}},
    {INT32, 1.0f, {{2147483647, 0x3F800000}, {-2147483648, 0xBF800000}, {16777217, 0x3C000000}}},
    {INT32, 1.0f, {{16777219, 0x3C000002}}},
    {FLOAT32, 1.0f, {{8388608, 0x3F800000}, {2147483648, 0x43800000}}},
    {FLOAT32, 0.0f, {{-8388608, 0x80000000}}},
    {INT16, 0x1p-127f, {{32767, 0x00000000}}},
    {INT16, 0x1p-126f, {{-3, 0x80000000}}},
    {FLOAT32, 0x1p-104f, {{1, 0x00000000}}},
    {FLOAT32, 0x1p-103f, {{1, 0x00800000}}},
};

TEST(RdMatrix, GivenValues)
{
    for (const ValueCases& c : Value_Cases) {
        const PlainMatrix& format =
            *std::ranges::find(Plain_Matrices, c.format, &PlainMatrix::format);
        for (const auto& [word, bits] : c.words) {
            SCOPED_TRACE(Message() << format.name << ", " << word << " at scale " << c.scale);
            const Bytes data = Plain_Encode(c.format, format.file_type == FT_WAVE, Words(5, word));
            TransferFile file("values", Matrix_File(format, 1, data), OM_READ);
            ChannelBuffers buffers(1, 5);
            Read_Matrix(&file, buffers, c.scale);
            for (uint64_t f = 0; f < 5; f++) {
                EXPECT_EQ(Bits_Of(buffers.rows[0][f]), bits) << "frame " << f;
            }
        }
    }
}

// ---- Files that do not hold whole frames ----

struct RemainderCase {
    unsigned channels;
    uint64_t samples; // the header's
    uint64_t bytes;   // there
    uint64_t frames;  // asked for
    uint64_t read;
    uint64_t position;
};
// A single sample behind the frames, two of three channels, a single one behind many frames; a part
// of one frame, headers that claim more, the last by two tiles; the very end, an end inside the
// last sample, no channels; no frames.
const RemainderCase Remainder_Cases[] = {
    {2, 9, 18, 10, 4, 9}, {3, 5, 10, 10, 1, 5},      {2, 6001, 12002, 5000, 3000, 6001},
    {8, 7, 14, 3, 0, 7},  {2, 400, 81, 100, 20, 41}, {2, 9000, 9001, 4500, 2250, 4501},
    {2, 0, 0, 10, 0, 0},  {1, 10, 19, 10, 10, 10},   {0, 10, 20, 10, 0, 0},
    {2, 10, 20, 0, 0, 0},
};

TEST(RdMatrix, DropsWhatIsNoWholeFrame)
{
    const PlainMatrix& format = Plain_Matrices[1]; // INT16 WAVE
    for (const RemainderCase& c : Remainder_Cases) {
        SCOPED_TRACE(Message() << c.channels << " channels, " << c.samples << " samples");
        Bytes data = Random_Bytes(c.bytes, 5);
        TransferFile file("remainder", Wave_Bytes(1, 16, c.channels, data, 2 * c.samples), OM_READ);
        data.push_back(0);
        Expect_Read(&file, format, data, c.channels, 0, c.read, c.frames, 1.0f);
        EXPECT_EQ(file.handle->position, c.position);
        EXPECT_EQ(Read_Matrix(&file, ChannelBuffers(c.channels, 3), 1.0f), c.frames == 0 ? 3u : 0u);
        EXPECT_TRUE(file.object.reports.empty());
    }
}

TEST(RdMatrix, FromAPlaceBeyondTheEndAllZeros)
{
    TransferFile file("beyond", Wave_Bytes(1, 16, 2, Random_Bytes(4000, 1), 4000), OM_READ);
    for (const uint64_t frames : {uint64_t{1000}, uint64_t{5000}, uint64_t{1} << 63}) {
        Audiofile_Forward(&file.object.header, file.handle, frames);
        SCOPED_TRACE(frames);
        Expect_Read(&file, Plain_Matrices[1], {}, 2, 0, 0, 3000, 1.0f);
    }
}

// ---- In place: one call is one block, however long ----

TEST(RdMatrix, InReadWriteModeACallIsOneBlockOfTheAlternation)
{
    constexpr uint64_t Held = 18000;
    for (const PlainMatrix& format : Plain_Matrices) {
        for (const uint64_t frames : {uint64_t{0}, uint64_t{1}, uint64_t{700}, uint64_t{4000}}) {
            SCOPED_TRACE(Message() << format.name << ", frames " << frames);
            const unsigned bytes = Plain_Of(format.format).bytes;
            Words words(Held);
            for (uint64_t i = 0; i < Held; i++) {
                words[i] = static_cast<int64_t>(i % 101);
            }
            Bytes data = Plain_Encode(format.format, format.file_type == FT_WAVE, words);
            const Bytes before = Matrix_File(format, 2, data);
            TransferFile file("in_place", before, OM_READ_WRITE);
            ChannelBuffers buffers(2, frames);
            for (int turn = 0; turn < 2; turn++) {
                EXPECT_EQ(Read_Matrix(&file, buffers, 1.0f), frames);
                EXPECT_EQ(file.handle->block_pending, 1u);
                for (float* row : buffers.rows) {
                    std::fill_n(row, frames, 0.0f);
                }
                uint64_t written = 77;
                Audiofile_WrMatrix_FLOAT(&file.object.header, file.handle, buffers.rows.data(),
                                         frames, &written, 1.0f);
                EXPECT_EQ(written, frames);
                EXPECT_EQ(file.handle->block_pending, 0u);
                EXPECT_EQ(file.handle->position, (turn + 1) * 2 * frames);
            }
            std::fill(data.begin(), data.begin() + static_cast<ptrdiff_t>(4 * frames * bytes), 0);
            EXPECT_EQ(Read_File(file.path), Matrix_File(format, 2, data));
            EXPECT_EQ(file.handle->samples, Held);
        }
    }
}

// ---- Refusals ----

struct StopCase {
    Bytes file;
    OpenMode opened;
    uint32_t mode; // set behind the open
    std::string report;
};
const char* const Not_For_Read = "3,10: Audiofile_Read: File not open for read ";

TEST(RdMatrix, RefusesWhatTheReadRefuses)
{
    const Bytes good = Wave_Bytes(1, 16, 1, Bytes(4, 0), 4);
    const Bytes a_law = Wave_Bytes(6, 8, 1, Bytes(4, 0), 4);
    const StopCase cases[] = {
        {Wave_Bytes(1, 8, 1, Bytes(4, 0), 4), OM_READ, OM_READ, No_Codec("DR", UINT8)},
        {Wave_Bytes(3, 64, 1, Bytes(8, 0), 8), OM_READ, OM_READ, No_Codec("DR", FLOAT64)},
        {Wave_Bytes(7, 8, 1, Bytes(4, 0), 4), OM_READ, OM_READ, No_Codec("DR", MULAW8)},
        {a_law, OM_READ_WRITE, OM_READ_WRITE, No_Codec("DR", ALAW8)},
        {good, OM_READ, OM_WRITE, Not_For_Read},
        {good, OM_READ, OM_CLOSED, Not_For_Read},
    };
    for (const StopCase& c : cases) {
        for (const uint64_t frames : {0, 2}) {
            SCOPED_TRACE(Message() << c.report << c.mode << ", frames " << frames);
            TransferFile file("stops", c.file, c.opened);
            file.handle->mode = c.mode;
            EXPECT_TRUE(Read_Stops(&file, ChannelBuffers(1, frames)));
            EXPECT_EQ(file.object.reports, With_Name({c.report}, file.path));
        }
    }
}

TEST(RdMatrix, RefusesANullHandleInOneCall)
{
    RecordingObject object;
    Make_Recorder(&object);
    uint64_t read = 0;
    EXPECT_TRUE(Stops_For_Good(&object, [&] {
        Audiofile_RdMatrix_FLOAT(&object.header, nullptr, nullptr, 1, &read, 1.0f);
    }));
    EXPECT_EQ(object.reports, Reports{Not_For_Read});
}

TEST(RdMatrix, ACountWhoseBytesDoNotFitIsExhaustedMemory)
{
    for (const unsigned channels : {1, 2, 3}) {
        for (const uint64_t frames : Too_Many_Frames) {
            SCOPED_TRACE(Message() << channels << " channels, " << frames << " frames");
            TransferFile file("overflow", Wave_Bytes(1, 16, channels, Bytes(12, 1), 12), OM_READ);
            ChannelBuffers buffers(channels, 4);
            buffers.frames = frames;
            EXPECT_TRUE(Read_Stops(&file, buffers));
            EXPECT_EQ(file.object.reports, Reports{"3,2: OBJ_Malloc_T: Out of temp. memory"});
            buffers.frames = 4;
            for (uint64_t c = 0; c < channels; c++) {
                EXPECT_EQ(buffers.Bits(c), ChannelBuffers(channels, 4).Bits(c)) << "channel " << c;
            }
            EXPECT_EQ(file.handle->position, 0u);
        }
    }
}

} // namespace

// Float matrices, reading: every value against a plain conversion of the file's own bytes, by bits.
#include "tests/codec_file.h"
#include "tests/matrix_file.h"

#include <gtest/gtest.h>

namespace
{

// One call; returns the frames it says it read.
uint64_t Read_Matrix(TransferFile* file, const ChannelBuffers& buffers, float scale)
{
    uint64_t frames_read = 77;
    Audiofile_RdMatrix_FLOAT(&file->object.header, file->handle, buffers.rows.data(),
                             buffers.frames, &frames_read, scale);
    return frames_read;
}

// Buffers as a read of frames from frame first on must leave them.
ChannelBuffers Expected_Buffers(const PlainMatrix& format, const Bytes& data, uint64_t channels,
                                uint64_t first, uint64_t read, uint64_t frames, float scale)
{
    ChannelBuffers buffers(channels, frames);
    for (uint64_t c = 0; c < channels; c++) {
        for (uint64_t f = 0; f < frames; f++) {
            buffers.rows[c][f] =
                f < read
                    ? Plain_Read(format, Word_At(format, data, (first + f) * channels + c), scale)
                    : 0.0f;
        }
    }
    return buffers;
}

void Expect_Same(const ChannelBuffers& buffers, const ChannelBuffers& expected)
{
    for (uint64_t c = 0; c < expected.rows.size(); c++) {
        EXPECT_EQ(buffers.Bits(c), expected.Bits(c)) << "channel " << c;
    }
}

TEST(RdMatrix, EveryLengthAndChannelCount)
{
    for (const PlainMatrix& format : Plain_Matrices) {
        for (const uint64_t channels : {1, 2, 3, 4, 5, 8, 100}) {
            for (const uint64_t frames : Test_Lengths(channels)) {
                // A file with more frames than asked for, and one with fewer.
                for (const uint64_t held : {frames + 3, frames - frames / 3}) {
                    SCOPED_TRACE(testing::Message() << format.name << ", channels " << channels
                                                    << ", frames " << frames << " of " << held);
                    const Bytes data = Matrix_Data(format, held * channels, frames + channels);
                    TransferFile file("lengths",
                                      Matrix_File(format, static_cast<unsigned>(channels), data),
                                      OM_READ);
                    const uint64_t read = std::min(held, frames);
                    ChannelBuffers buffers(channels, frames);
                    EXPECT_EQ(Read_Matrix(&file, buffers, 1.0f), read);
                    EXPECT_EQ(file.handle->position, read * channels);
                    Expect_Same(buffers,
                                Expected_Buffers(format, data, channels, 0, read, frames, 1.0f));
                    EXPECT_TRUE(file.object.reports.empty());
                }
            }
        }
    }
}

TEST(RdMatrix, EveryScale)
{
    for (const PlainMatrix& format : Plain_Matrices) {
        for (const NamedScale& scale : Test_Scales) {
            for (const uint64_t channels : {1, 2, 3, 5}) {
                SCOPED_TRACE(testing::Message()
                             << format.name << ", scale " << scale.name << ", " << channels);
                Bytes data = Matrix_Data(format, 50 * channels, channels);
                std::fill(data.begin(), data.begin() + 12, 0); // zeros meet infinity, too
                TransferFile file(
                    "scales", Matrix_File(format, static_cast<unsigned>(channels), data), OM_READ);
                ChannelBuffers buffers(channels, 50);
                EXPECT_EQ(Read_Matrix(&file, buffers, scale.scale), 50u);
                Expect_Same(buffers,
                            Expected_Buffers(format, data, channels, 0, 50, 50, scale.scale));
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
            TransferFile file("blocks", Matrix_File(format, static_cast<unsigned>(channels), data),
                              OM_READ);
            uint64_t place = 0;
            for (const uint64_t frames : {5, 256, 1, 0, 1023, 1100, 700, 10}) {
                SCOPED_TRACE(testing::Message() << format.name << ", channels " << channels << ", "
                                                << frames << " from " << place);
                const uint64_t read = std::min(frames, Held - place);
                ChannelBuffers buffers(channels, frames);
                EXPECT_EQ(Read_Matrix(&file, buffers, 0.5f), read);
                Expect_Same(buffers,
                            Expected_Buffers(format, data, channels, place, read, frames, 0.5f));
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
            SCOPED_TRACE(testing::Message() << format.name << ", channels " << channels);
            const uint64_t frames = 9001 / channels;
            const Bytes data = Matrix_Data(format, frames * channels, 1);
            TransferFile file("passes", Matrix_File(format, static_cast<unsigned>(channels), data),
                              OM_READ);
            Asked_Bytes.clear();
            Read_Matrix(&file, ChannelBuffers(channels, frames), 1.0f);
            EXPECT_EQ(Asked_Bytes, Pass_Calls(Plain_Of(format.format), frames * channels));
        }
    }
}

struct ValueCase {
    const char* name;
    DataFormat format;
    int64_t word;
    float scale;
    uint32_t bits;
};
const ValueCase Value_Cases[] = {
    {"INT8 full scale", INT8, 127, 1.0f, 0x3F800000},
    {"INT8 lowest is a little below -1", INT8, -128, 1.0f, 0xBF810204},
    {"INT16 full scale", INT16, 32767, 1.0f, 0x3F800000},
    {"INT16 lowest", INT16, -32768, 1.0f, 0xBF800100},
    {"INT16 one, rounded factor", INT16, 1, 1.0f, 0x38000100},
    {"INT16 full scale at scale 2", INT16, 32767, 2.0f, 0x40000000},
    {"INT24 full scale", INT24, 8388607, 1.0f, 0x3F800000},
    {"INT24 lowest", INT24, -8388608, 1.0f, 0xBF800001},
    {"INT32 full scale", INT32, 2147483647, 1.0f, 0x3F800000},
    {"INT32 lowest", INT32, -2147483648, 1.0f, 0xBF800000},
    {"INT32 odd word of 25 bits, a tie to even", INT32, 16777217, 1.0f, 0x3C000000},
    {"INT32 odd word of 25 bits, a tie up", INT32, 16777219, 1.0f, 0x3C000002},
    {"FLOAT32 one", FLOAT32, 8388608, 1.0f, 0x3F800000},
    {"FLOAT32 256 is beyond 32 bits", FLOAT32, 2147483648, 1.0f, 0x43800000},
    {"FLOAT32 -1 at scale 0 is minus zero", FLOAT32, -8388608, 0.0f, 0x80000000},
    {"INT16 subnormal scale counts as zero", INT16, 32767, 0x1p-127f, 0x00000000},
    {"INT16 subnormal product counts as zero", INT16, -3, 0x1p-126f, 0x80000000},
    {"FLOAT32 subnormal result counts as zero", FLOAT32, 1, 0x1p-104f, 0x00000000},
    {"FLOAT32 smallest normal result", FLOAT32, 1, 0x1p-103f, 0x00800000},
};

TEST(RdMatrix, GivenValues)
{
    for (const ValueCase& c : Value_Cases) {
        SCOPED_TRACE(c.name);
        const PlainMatrix& format =
            *std::find_if(std::begin(Plain_Matrices), std::end(Plain_Matrices),
                          [&](const PlainMatrix& m) { return m.format == c.format; });
        const Bytes data = Plain_Encode(c.format, format.file_type == FT_WAVE, Words(5, c.word));
        TransferFile file("values", Matrix_File(format, 1, data), OM_READ);
        ChannelBuffers buffers(1, 5);
        Read_Matrix(&file, buffers, c.scale);
        for (uint64_t f = 0; f < 5; f++) {
            EXPECT_EQ(Bits_Of(buffers.rows[0][f]), c.bits) << "frame " << f;
        }
    }
}

// ---- Files that do not hold whole frames ----

struct RemainderCase {
    const char* name;
    unsigned channels;
    uint64_t samples; // the header's
    uint64_t bytes;   // there
    uint64_t frames;  // asked for
    uint64_t read;
    uint64_t position;
};
const RemainderCase Remainder_Cases[] = {
    {"a single sample behind the frames", 2, 9, 18, 10, 4, 9},
    {"a single sample behind many frames", 2, 6001, 12002, 5000, 3000, 6001},
    {"two of three channels", 3, 5, 10, 10, 1, 5},
    {"only a part of a frame", 8, 7, 14, 3, 0, 7},
    {"at the very end", 2, 0, 0, 10, 0, 0},
    {"header claims more", 2, 400, 81, 100, 20, 41},
    {"header claims more than two tiles", 2, 9000, 9001, 4500, 2250, 4501},
    {"file ends inside the last sample", 1, 10, 19, 10, 10, 10},
    {"no channels", 0, 10, 20, 10, 0, 0},
    {"no frames asked for", 2, 10, 20, 0, 0, 0},
};

TEST(RdMatrix, DropsWhatIsNoWholeFrame)
{
    const PlainMatrix& format = Plain_Matrices[1]; // INT16 WAVE
    for (const RemainderCase& c : Remainder_Cases) {
        SCOPED_TRACE(c.name);
        Bytes data = Random_Bytes(c.bytes, 5);
        TransferFile file("remainder", Wave_Bytes(1, 16, c.channels, data, 2 * c.samples), OM_READ);
        ChannelBuffers buffers(c.channels, c.frames);
        EXPECT_EQ(Read_Matrix(&file, buffers, 1.0f), c.read);
        EXPECT_EQ(file.handle->position, c.position);
        data.push_back(0);
        Expect_Same(buffers, Expected_Buffers(format, data, c.channels, 0, c.read, c.frames, 1.0f));
        EXPECT_EQ(Read_Matrix(&file, ChannelBuffers(c.channels, 3), 1.0f), c.frames == 0 ? 3u : 0u);
        EXPECT_TRUE(file.object.reports.empty());
    }
}

TEST(RdMatrix, FromAPlaceBeyondTheEndAllZeros)
{
    TransferFile file("beyond", Wave_Bytes(1, 16, 2, Random_Bytes(4000, 1), 4000), OM_READ);
    for (const uint64_t frames : {uint64_t{1000}, uint64_t{5000}, uint64_t{1} << 63}) {
        Audiofile_Forward(&file.object.header, file.handle, frames);
        ChannelBuffers buffers(2, 3000);
        EXPECT_EQ(Read_Matrix(&file, buffers, 1.0f), 0u) << frames;
        Expect_Same(buffers, Expected_Buffers(Plain_Matrices[1], {}, 2, 0, 0, 3000, 1.0f));
    }
}

// ---- In place: one call is one block, however long ----

TEST(RdMatrix, InReadWriteModeACallIsOneBlockOfTheAlternation)
{
    constexpr uint64_t Held = 18000;
    for (const PlainMatrix& format : Plain_Matrices) {
        for (const uint64_t frames : {uint64_t{0}, uint64_t{1}, uint64_t{700}, uint64_t{4000}}) {
            SCOPED_TRACE(testing::Message() << format.name << ", frames " << frames);
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
                    std::fill(row, row + frames, 0.0f);
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
    const char* name;
    Bytes file;
    OpenMode opened;
    uint32_t mode; // set behind the open
    const char* report;
};

TEST(RdMatrix, RefusesWhatTheReadRefuses)
{
    const StopCase cases[] = {
        {"UINT8", Wave_Bytes(1, 8, 1, Bytes(4, 0), 4), OM_READ, OM_READ,
         "3,10: FileDRDW_DR_UINT8: Data type not supported yet in file "},
        {"FLOAT64", Wave_Bytes(3, 64, 1, Bytes(8, 0), 8), OM_READ, OM_READ,
         "3,10: FileDRDW_DR_FLOAT64: Data type not supported yet in file "},
        {"MULAW8", Wave_Bytes(7, 8, 1, Bytes(4, 0), 4), OM_READ, OM_READ,
         "3,10: FileDRDW_DR_MULAW8: Data type not supported yet in file "},
        {"ALAW8", Wave_Bytes(6, 8, 1, Bytes(4, 0), 4), OM_READ_WRITE, OM_READ_WRITE,
         "3,10: FileDRDW_DR_ALAW8: Data type not supported yet in file "},
        {"open for writing", Wave_Bytes(1, 16, 1, Bytes(4, 0), 4), OM_READ, OM_WRITE,
         "3,10: Audiofile_Read: File not open for read "},
        {"closed", Wave_Bytes(1, 16, 1, Bytes(4, 0), 4), OM_READ, OM_CLOSED,
         "3,10: Audiofile_Read: File not open for read "},
    };
    for (const StopCase& c : cases) {
        for (const uint64_t frames : {0, 2}) {
            SCOPED_TRACE(testing::Message() << c.name << ", frames " << frames);
            TransferFile file("stops", c.file, c.opened);
            file.handle->mode = c.mode;
            ChannelBuffers buffers(1, frames);
            EXPECT_TRUE(Stops_For_Good(&file.object, [&] { Read_Matrix(&file, buffers, 1.0f); }));
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
    EXPECT_EQ(object.reports, Reports{"3,10: Audiofile_Read: File not open for read "});
}

TEST(RdMatrix, ACountWhoseBytesDoNotFitIsExhaustedMemory)
{
    for (const uint64_t channels : {1, 2, 3}) {
        // Some of these wrap to a few words or bytes when multiplied out.
        for (const uint64_t frames : {UINT64_MAX, uint64_t{1} << 63, uint64_t{1} << 61,
                                      uint64_t{1} << 60, 0x5555555555555556u}) {
            SCOPED_TRACE(testing::Message() << channels << " channels, " << frames << " frames");
            TransferFile file("overflow",
                              Wave_Bytes(1, 16, static_cast<unsigned>(channels), Bytes(12, 1), 12),
                              OM_READ);
            ChannelBuffers buffers(channels, 4);
            buffers.frames = frames;
            EXPECT_TRUE(Stops_For_Good(&file.object, [&] { Read_Matrix(&file, buffers, 1.0f); }));
            EXPECT_EQ(file.object.reports, Reports{"3,2: OBJ_Malloc_T: Out of temp. memory"});
            buffers.frames = 4;
            Expect_Same(buffers, ChannelBuffers(channels, 4));
            EXPECT_EQ(file.handle->position, 0u);
        }
    }
}

} // namespace

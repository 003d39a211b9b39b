// Float matrices, writing: every byte on disk and every clip against a plain conversion.
#include "tests/codec_file.h"
#include "tests/matrix_file.h"

#include <gtest/gtest.h>

namespace
{

using testing::Message;

// Writes the buffers; returns the frames it says it wrote.
uint64_t Write_Matrix(TransferFile* file, const ChannelBuffers& buffers, float scale)
{
    uint64_t written = 77;
    Audiofile_WrMatrix_FLOAT(&file->object.header, file->handle, buffers.rows.data(),
                             buffers.frames, &written, scale);
    return written;
}

bool Write_Stops(TransferFile* file, const ChannelBuffers& buffers)
{
    return Stops_For_Good(&file->object, [&] { Write_Matrix(file, buffers, 1.0f); });
}

// The sample bytes of the file that is being written.
Bytes Written_Data(TransferFile* file)
{
    fflush(file->handle->stream);
    Bytes bytes = Read_File(file->path);
    bytes.erase(bytes.begin(), bytes.begin() + (file->handle->file_type == FT_WAVE ? 44 : 86));
    return bytes;
}

struct Expected {
    Bytes data;
    uint64_t clips = 0;
};

// What these frames must become: the matrix limits first, the integer codecs what is left.
Expected Expected_Data(const PlainMatrix& format, const ChannelBuffers& buffers, float scale)
{
    Expected expected;
    for (uint64_t f = 0; f < buffers.frames; f++) {
        for (const float* row : buffers.rows) {
            const int64_t word = Plain_Write(format, row[f], scale, &expected.clips);
            expected.clips += Plain_Limit(format.format, word) != word;
            Plain_Append(format.format, format.file_type == FT_WAVE, word, &expected.data);
        }
    }
    return expected;
}

// Values around scale. Long stretches stay within it, others meet every special value.
void Fill(ChannelBuffers* buffers, float scale, uint64_t seed)
{
    const float specials[] = {0.0f,      -0.0f,           NAN,     INFINITY,       -INFINITY, scale,
                              -scale,    1.5f * scale,    1.0f,    -1.0f,          0.5f,      -0.5f,
                              0x1p-127f, 0x1.FFFFFEp127f, 0x1p31f, 1.0001f * scale};
    std::mt19937_64 random(seed);
    for (float* row : buffers->rows) {
        for (uint64_t f = 0; f < buffers->frames; f++) {
            const double unit = static_cast<double>(random() % 2000001) / 1e6 - 1.0;
            row[f] = static_cast<float>(0.9999 * unit * static_cast<double>(scale));
            if (f / 32 % 3 == 1 && random() % 4 == 0) {
                row[f] = specials[random() % std::size(specials)];
            }
        }
    }
}

void Expect_Written(const PlainMatrix& format, uint64_t channels, uint64_t frames, float scale)
{
    TransferFile file("written", format.file_type, format.format, channels);
    ChannelBuffers buffers(channels, frames);
    Fill(&buffers, scale, frames + channels);
    const Expected expected = Expected_Data(format, buffers, scale);
    EXPECT_EQ(Write_Matrix(&file, buffers, scale), frames);
    EXPECT_EQ(Written_Data(&file), expected.data);
    EXPECT_EQ(file.handle->clipped, expected.clips);
    EXPECT_EQ(file.handle->samples, frames * channels);
    EXPECT_EQ(file.handle->data_bytes, expected.data.size());
    EXPECT_TRUE(file.object.reports.empty());
}

TEST(WrMatrix, EveryLengthAndChannelCount)
{
    for (const PlainMatrix& format : Plain_Matrices) {
        for (const uint64_t channels : {1, 2, 3, 4, 5, 8, 100}) {
            for (const uint64_t frames : Test_Lengths(channels)) {
                SCOPED_TRACE(Message()
                             << format.name << ", channels " << channels << ", frames " << frames);
                Expect_Written(format, channels, frames, 1.0f);
            }
        }
    }
}

TEST(WrMatrix, EveryScale)
{
    for (const PlainMatrix& format : Plain_Matrices) {
        for (const float scale : Test_Scales) {
            for (const uint64_t channels : {1, 2, 3, 5}) {
                SCOPED_TRACE(Message() << format.name << ", scale " << scale << ", " << channels);
                Expect_Written(format, channels, 203, scale);
            }
        }
    }
}

struct ValueCase {
    float value;
    uint32_t code;
    uint64_t clips = 0;
};
struct ValueCases {
    DataFormat format;
    float scale;
    std::vector<ValueCase> values;
};
const float Just_Under_Half = Float_From_Bits(0x37A10000); // times 32767 / scale
const float Scale_For_It = Float_From_Bits(0x3FA0FEBE); // one double below half, rounded in the sum
// The limits and beyond; halves, which go away from zero, also at the edges; 32-bit formats, floats
// limited as integers are; then values and scales that are no number, infinite, zero or subnormal.
const ValueCases Value_Cases[] = {
    {INT16, 1.0f, {{1.0f, 0x7FFF}, {-1.0f, 0x8001}, {-32768.0f / 32767.0f, 0x8000}}},
    {INT16, 1.0f, {{1.00002f, 0x7FFF, 1}, {1.00001f, 0x7FFF}, {-1.00005f, 0x8000, 1}}},
    {INT16, 2.0f, {{1.0f, 0x4000}}},
    {INT16, 32767.0f, {{0.5f, 0x0001}, {-0.5f, 0xFFFF}, {2.5f, 0x0003}, {-2.5f, 0xFFFD}}},
    {INT16, 32767.0f, {{0.49999997f, 0x0000}}},
    {INT16, Scale_For_It, {{Just_Under_Half, 0x0001}}},
    {INT16, 32767.0f, {{32767.5f, 0x7FFF, 1}, {32767.498f, 0x7FFF}, {32767.502f, 0x7FFF, 1}}},
    {INT16, 32767.0f, {{-32768.5f, 0x8000, 1}, {-32768.496f, 0x8000}, {-32768.504f, 0x8000, 1}}},
    {INT8, 127.0f, {{127.5f, 0x7F, 1}, {127.49999f, 0x7F}}},
    {INT24, 1.0f, {{1.0f, 0x7FFFFF}}},
    {INT24, 8388607.0f, {{8388607.5f, 0x7FFFFF, 1}}},
    {INT32, 1.0f, {{1.0f, 0x7FFFFFFF}, {-1.0f, 0x80000001}, {1.0000001f, 0x7FFFFFFF, 1}}},
    {INT32, 1.0f, {{-1.0000001f, 0x80000000, 1}}},
    {FLOAT32, 1.0f, {{100.5f, 0x42C90000}, {0x1.8p-23f, 0x34800000}, {256.0f, 0x43800000, 1}}},
    {FLOAT32, 1.0f, {{1e30f, 0x43800000, 1}, {-256.0f, 0xC3800000}, {-256.1f, 0xC3800000, 1}}},
    {INT16, 1.0f, {{NAN, 0x0000}, {INFINITY, 0x7FFF, 1}, {-INFINITY, 0x8000, 1}}},
    {INT16, 0.0f, {{1e-30f, 0x7FFF, 1}, {-1e-30f, 0x8000, 1}, {0.0f, 0x0000}}},
    {INT16, INFINITY, {{1e30f, 0x0000}, {INFINITY, 0x0000}}},
    {INT16, NAN, {{1.0f, 0x0000}}},
    {INT16, 0x1p-126f, {{0x1p-127f, 0x0000}}},
    {INT16, 0x1p-127f, {{0x1p-126f, 0x7FFF, 1}, {0x1p-127f, 0x0000}}},
};

// Each value at each of six places, so that a group of four and the rest behind it see it.
TEST(WrMatrix, GivenValues)
{
    for (const ValueCases& c : Value_Cases) {
        const bool wave = c.format != INT8;
        const unsigned bytes = Plain_Of(c.format).bytes;
        for (const ValueCase& v : c.values) {
            for (uint64_t place = 0; place < 6; place++) {
                SCOPED_TRACE(Message() << bytes << " bytes, " << v.value << " at scale " << c.scale
                                       << ", place " << place);
                TransferFile file("values", wave ? FT_WAVE : FT_AIFC, c.format, 1);
                ChannelBuffers buffers(1, 6);
                std::fill_n(buffers.rows[0], 6, 0.0f);
                buffers.rows[0][place] = v.value;
                Write_Matrix(&file, buffers, c.scale);
                std::vector<Bytes> parts(6, Bytes(bytes, 0));
                parts[place] = wave ? Little(bytes, v.code) : Big(bytes, v.code);
                EXPECT_EQ(Written_Data(&file), Join(parts));
                EXPECT_EQ(file.handle->clipped, v.clips);
            }
        }
    }
}

TEST(WrMatrix, CallAfterCallAppendsAndGoesOnCounting)
{
    const PlainMatrix& format = Plain_Matrices[3]; // INT24 WAVE
    TransferFile file("calls", format.file_type, format.format, 3);
    Bytes data;
    uint64_t clips = 0;
    for (const uint64_t frames : {5, 1000, 0, 1, 43}) {
        ChannelBuffers buffers(3, frames);
        Fill(&buffers, 1.0f, frames);
        const Expected expected = Expected_Data(format, buffers, 1.0f);
        data.insert(data.end(), expected.data.begin(), expected.data.end());
        clips += expected.clips;
        EXPECT_EQ(Write_Matrix(&file, buffers, 1.0f), frames);
    }
    EXPECT_GT(clips, 0u);
    EXPECT_EQ(file.handle->clipped, clips);
    EXPECT_EQ(Written_Data(&file), data);
}

// However the scratch memory is used, the file sees the passes of one transfer.
TEST(WrMatrix, HandsOverWholePasses)
{
    for (const PlainMatrix& format : Plain_Matrices) {
        for (const uint64_t channels : {1, 2, 3, 5, 31, 100}) {
            SCOPED_TRACE(Message() << format.name << ", channels " << channels);
            MemoryStream stream;
            TransferFile file("passes", format.file_type, format.format, channels);
            fclose(file.handle->stream);
            file.handle->stream = Open_Memory(&stream, "w");
            ChannelBuffers buffers(channels, 9001 / channels);
            Write_Matrix(&file, buffers, 1000.0f);
            EXPECT_EQ(stream.written,
                      Pass_Calls(Plain_Of(format.format), buffers.frames * channels));
        }
    }
}

TEST(WrMatrix, NoChannelsWriteNothing)
{
    TransferFile file("none", FT_WAVE, INT16, 0);
    EXPECT_EQ(Write_Matrix(&file, ChannelBuffers(0, 10), 1.0f), 0u);
    EXPECT_EQ(Written_Data(&file), Bytes());
    EXPECT_EQ(file.handle->samples, 0u);
}

// ---- Refusals ----

TEST(WrMatrix, RefusesFormatsWithoutARow)
{
    for (const DataFormat format : {UINT8, FLOAT64, MULAW8, ALAW8}) {
        for (const uint64_t frames : {0, 2}) {
            SCOPED_TRACE(Message() << "format " << format << ", frames " << frames);
            TransferFile file("refused", FT_WAVE, format, 1);
            ChannelBuffers buffers(1, frames);
            EXPECT_TRUE(Write_Stops(&file, buffers));
            EXPECT_EQ(file.object.reports,
                      Reports{"3,10: Audiofile_WrMatrix_FLOAT: data format not yet implemented"});
            EXPECT_EQ(Written_Data(&file), Bytes());
        }
    }
}

TEST(WrMatrix, BigEndianFloatsStopInTheCodec)
{
    TransferFile file("float", FT_AIFC, FLOAT32, 1);
    EXPECT_EQ(Write_Matrix(&file, ChannelBuffers(1, 0), 1.0f), 0u);
    EXPECT_TRUE(Write_Stops(&file, ChannelBuffers(1, 1)));
    EXPECT_EQ(file.object.reports, With_Name({No_Codec("DW", FLOAT32)}, file.path));
}

TEST(WrMatrix, RefusesTheWrongState)
{
    const char* report = "3,15: Audiofile_Write_LONG: File not openend for write ";
    for (const uint32_t mode : {OM_CLOSED, OM_READ}) {
        TransferFile file("state", FT_WAVE, INT16, 1);
        file.handle->mode = mode;
        EXPECT_TRUE(Write_Stops(&file, ChannelBuffers(1, 1)));
        EXPECT_EQ(file.object.reports, With_Name({report}, file.path)) << "mode " << mode;
    }
    RecordingObject object;
    Make_Recorder(&object);
    uint64_t written = 0;
    EXPECT_TRUE(Stops_For_Good(&object, [&] {
        Audiofile_WrMatrix_FLOAT(&object.header, nullptr, nullptr, 1, &written, 1.0f);
    }));
    EXPECT_EQ(object.reports, Reports{report}) << "null handle";
}

TEST(WrMatrix, ACountWhoseBytesDoNotFitIsExhaustedMemory)
{
    for (const uint64_t channels : {1, 2, 3}) {
        for (const uint64_t frames : Too_Many_Frames) {
            SCOPED_TRACE(Message() << channels << " channels, " << frames << " frames");
            TransferFile file("overflow", FT_WAVE, INT16, channels);
            ChannelBuffers buffers(channels, 4);
            buffers.frames = frames;
            EXPECT_TRUE(Write_Stops(&file, buffers));
            EXPECT_EQ(file.object.reports, Reports{"3,2: OBJ_Malloc_T: Out of temp. memory"});
            EXPECT_EQ(Written_Data(&file), Bytes());
        }
    }
}

} // namespace

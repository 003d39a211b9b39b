// Float matrices, writing: every byte on disk and every clip against a plain conversion.
#include "tests/codec_file.h"
#include "tests/matrix_file.h"

#include <gtest/gtest.h>

namespace
{

// Writes the buffers; returns the frames it says it wrote.
uint64_t Write_Matrix(TransferFile* file, const ChannelBuffers& buffers, float scale)
{
    uint64_t written = 77;
    Audiofile_WrMatrix_FLOAT(&file->object.header, file->handle, buffers.rows.data(),
                             buffers.frames, &written, scale);
    return written;
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
                SCOPED_TRACE(testing::Message()
                             << format.name << ", channels " << channels << ", frames " << frames);
                Expect_Written(format, channels, frames, 1.0f);
            }
        }
    }
}

TEST(WrMatrix, EveryScale)
{
    for (const PlainMatrix& format : Plain_Matrices) {
        for (const NamedScale& scale : Test_Scales) {
            for (const uint64_t channels : {1, 2, 3, 5}) {
                SCOPED_TRACE(testing::Message()
                             << format.name << ", scale " << scale.name << ", " << channels);
                Expect_Written(format, channels, 203, scale.scale);
            }
        }
    }
}

struct ValueCase {
    const char* name;
    DataFormat format;
    float scale;
    float value;
    Bytes stored; // highest first
    uint64_t clips;
};
const float Just_Under_Half = Float_From_Bits(0x37A10000); // times 32767 / scale
const float Scale_For_It = Float_From_Bits(0x3FA0FEBE);
const ValueCase Value_Cases[] = {
    {"full scale", INT16, 1.0f, 1.0f, {0x7F, 0xFF}, 0},
    {"minus full scale", INT16, 1.0f, -1.0f, {0x80, 0x01}, 0},
    {"the lowest code", INT16, 1.0f, -32768.0f / 32767.0f, {0x80, 0x00}, 0},
    {"above the limit", INT16, 1.0f, 1.00002f, {0x7F, 0xFF}, 1},
    {"rounds to the limit", INT16, 1.0f, 1.00001f, {0x7F, 0xFF}, 0},
    {"below the limit", INT16, 1.0f, -1.00005f, {0x80, 0x00}, 1},
    {"scale 2", INT16, 2.0f, 1.0f, {0x40, 0x00}, 0},
    {"half up", INT16, 32767.0f, 0.5f, {0x00, 0x01}, 0},
    {"half away, negative", INT16, 32767.0f, -0.5f, {0xFF, 0xFF}, 0},
    {"half away from even", INT16, 32767.0f, 2.5f, {0x00, 0x03}, 0},
    {"half away from even, negative", INT16, 32767.0f, -2.5f, {0xFF, 0xFD}, 0},
    {"below half", INT16, 32767.0f, 0.49999997f, {0x00, 0x00}, 0},
    {"one double below half, rounded in the sum", INT16, Scale_For_It, Just_Under_Half, {0, 1}, 0},
    {"at the upper edge, once", INT16, 32767.0f, 32767.5f, {0x7F, 0xFF}, 1},
    {"below the upper edge", INT16, 32767.0f, 32767.498f, {0x7F, 0xFF}, 0},
    {"above the upper edge, once", INT16, 32767.0f, 32767.502f, {0x7F, 0xFF}, 1},
    {"at the lower edge, once", INT16, 32767.0f, -32768.5f, {0x80, 0x00}, 1},
    {"above the lower edge", INT16, 32767.0f, -32768.496f, {0x80, 0x00}, 0},
    {"below the lower edge, once", INT16, 32767.0f, -32768.504f, {0x80, 0x00}, 1},
    {"INT8 at the upper edge", INT8, 127.0f, 127.5f, {0x7F}, 1},
    {"INT8 below the upper edge", INT8, 127.0f, 127.49999f, {0x7F}, 0},
    {"INT24 full scale", INT24, 1.0f, 1.0f, {0x7F, 0xFF, 0xFF}, 0},
    {"INT24 at the upper edge", INT24, 8388607.0f, 8388607.5f, {0x7F, 0xFF, 0xFF}, 1},
    {"INT32 full scale", INT32, 1.0f, 1.0f, {0x7F, 0xFF, 0xFF, 0xFF}, 0},
    {"INT32 minus full scale", INT32, 1.0f, -1.0f, {0x80, 0x00, 0x00, 0x01}, 0},
    {"INT32 above", INT32, 1.0f, 1.0000001f, {0x7F, 0xFF, 0xFF, 0xFF}, 1},
    {"INT32 below", INT32, 1.0f, -1.0000001f, {0x80, 0x00, 0x00, 0x00}, 1},
    {"FLOAT32 above 1 is not limited", FLOAT32, 1.0f, 100.5f, {0x42, 0xC9, 0, 0}, 0},
    {"FLOAT32 to a step of 2^-23", FLOAT32, 1.0f, 0x1.8p-23f, {0x34, 0x80, 0, 0}, 0},
    {"FLOAT32 limited like a 32-bit integer", FLOAT32, 1.0f, 256.0f, {0x43, 0x80, 0, 0}, 1},
    {"FLOAT32 far above", FLOAT32, 1.0f, 1e30f, {0x43, 0x80, 0, 0}, 1},
    {"FLOAT32 -256 is its lowest", FLOAT32, 1.0f, -256.0f, {0xC3, 0x80, 0, 0}, 0},
    {"FLOAT32 below -256", FLOAT32, 1.0f, -256.1f, {0xC3, 0x80, 0, 0}, 1},
    {"NaN", INT16, 1.0f, NAN, {0, 0}, 0},
    {"infinity", INT16, 1.0f, INFINITY, {0x7F, 0xFF}, 1},
    {"minus infinity", INT16, 1.0f, -INFINITY, {0x80, 0x00}, 1},
    {"scale 0", INT16, 0.0f, 1e-30f, {0x7F, 0xFF}, 1},
    {"scale 0, negative", INT16, 0.0f, -1e-30f, {0x80, 0x00}, 1},
    {"scale 0 of zero", INT16, 0.0f, 0.0f, {0, 0}, 0},
    {"scale infinity", INT16, INFINITY, 1e30f, {0, 0}, 0},
    {"scale infinity of infinity", INT16, INFINITY, INFINITY, {0, 0}, 0},
    {"scale NaN", INT16, NAN, 1.0f, {0, 0}, 0},
    {"subnormal input counts as zero", INT16, 0x1p-126f, 0x1p-127f, {0, 0}, 0},
    {"subnormal scale counts as zero", INT16, 0x1p-127f, 0x1p-126f, {0x7F, 0xFF}, 1},
    {"both subnormal, no number", INT16, 0x1p-127f, 0x1p-127f, {0, 0}, 0},
};

// Each value at each of six places, so that a group of four and the rest behind it see it.
TEST(WrMatrix, GivenValues)
{
    for (const ValueCase& c : Value_Cases) {
        for (uint64_t place = 0; place < 6; place++) {
            SCOPED_TRACE(testing::Message() << c.name << ", place " << place);
            const bool wave = c.format != INT8;
            TransferFile file("values", wave ? FT_WAVE : FT_AIFC, c.format, 1);
            ChannelBuffers buffers(1, 6);
            std::fill(buffers.rows[0], buffers.rows[0] + 6, 0.0f);
            buffers.rows[0][place] = c.value;
            Write_Matrix(&file, buffers, c.scale);
            std::vector<Bytes> parts(6, Bytes(c.stored.size(), 0));
            parts[place] = c.stored;
            if (wave) {
                std::reverse(parts[place].begin(), parts[place].end());
            }
            EXPECT_EQ(Written_Data(&file), Join(parts));
            EXPECT_EQ(file.handle->clipped, c.clips);
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
            SCOPED_TRACE(testing::Message() << format.name << ", channels " << channels);
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
            SCOPED_TRACE(testing::Message() << "format " << format << ", frames " << frames);
            TransferFile file("refused", FT_WAVE, format, 1);
            ChannelBuffers buffers(1, frames);
            EXPECT_TRUE(Stops_For_Good(&file.object, [&] { Write_Matrix(&file, buffers, 1.0f); }));
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
    EXPECT_TRUE(
        Stops_For_Good(&file.object, [&] { Write_Matrix(&file, ChannelBuffers(1, 1), 1.0f); }));
    EXPECT_EQ(
        file.object.reports,
        With_Name({"3,10: FileDRDW_DW_FLOAT32: Data type not supported yet in file "}, file.path));
}

TEST(WrMatrix, RefusesTheWrongState)
{
    const char* report = "3,15: Audiofile_Write_LONG: File not openend for write ";
    for (const uint32_t mode : {OM_CLOSED, OM_READ}) {
        TransferFile file("state", FT_WAVE, INT16, 1);
        file.handle->mode = mode;
        EXPECT_TRUE(
            Stops_For_Good(&file.object, [&] { Write_Matrix(&file, ChannelBuffers(1, 1), 1.0f); }));
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
        for (const uint64_t frames : {UINT64_MAX, uint64_t{1} << 63, uint64_t{1} << 61,
                                      uint64_t{1} << 60, 0x5555555555555556u}) {
            SCOPED_TRACE(testing::Message() << channels << " channels, " << frames << " frames");
            TransferFile file("overflow", FT_WAVE, INT16, channels);
            ChannelBuffers buffers(channels, 4);
            buffers.frames = frames;
            EXPECT_TRUE(Stops_For_Good(&file.object, [&] { Write_Matrix(&file, buffers, 1.0f); }));
            EXPECT_EQ(file.object.reports, Reports{"3,2: OBJ_Malloc_T: Out of temp. memory"});
            EXPECT_EQ(Written_Data(&file), Bytes());
        }
    }
}

} // namespace

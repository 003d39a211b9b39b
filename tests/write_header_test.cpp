// Creating a file and its header, byte by byte.
#include "tests/transfer_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace
{

// ---- Headers of empty files ----

struct FormatCase {
    const char* name;
    FileType file_type;
    DataFormat format;
    uint64_t bytes;
    uint64_t tag; // WAVE only
};
const FormatCase Format_Cases[] = {
    {"UINT8 WAVE", FT_WAVE, UINT8, 1, 1},     {"INT16 WAVE", FT_WAVE, INT16, 2, 1},
    {"INT24 WAVE", FT_WAVE, INT24, 3, 1},     {"INT32 WAVE", FT_WAVE, INT32, 4, 1},
    {"FLOAT32 WAVE", FT_WAVE, FLOAT32, 4, 3}, {"FLOAT64 WAVE", FT_WAVE, FLOAT64, 8, 3},
    {"MULAW8 WAVE", FT_WAVE, MULAW8, 1, 7},   {"ALAW8 WAVE", FT_WAVE, ALAW8, 1, 6},
    {"INT8 AIFC", FT_AIFC, INT8, 1, 0},       {"INT16 AIFC", FT_AIFC, INT16, 2, 0},
    {"INT24 AIFC", FT_AIFC, INT24, 3, 0},     {"INT32 AIFC", FT_AIFC, INT32, 4, 0},
    {"FLOAT32 AIFC", FT_AIFC, FLOAT32, 4, 0}, {"FLOAT64 AIFC", FT_AIFC, FLOAT64, 8, 0},
    {"MULAW8 AIFC", FT_AIFC, MULAW8, 1, 0},   {"ALAW8 AIFC", FT_AIFC, ALAW8, 1, 0},
    {"INT16 AIFF", FT_AIFF, INT16, 2, 0},     {"INT8 AIFF", FT_AIFF, INT8, 1, 0},
};

// More than 65535 channels keep their low 16 bits in the header and all of them in the record.
TEST(OpenWrite, HeaderAndRecordOfAnEmptyFile)
{
    for (const FormatCase& c : Format_Cases) {
        for (const uint64_t channels : {0, 1, 2, 6, 65535, 65537, 70000}) {
            SCOPED_TRACE(testing::Message() << c.name << ", channels " << channels);
            TransferFile file("empty", c.file_type, c.format, channels);
            const AudiofileHandle& handle = *file.handle;
            const bool wave = c.file_type == FT_WAVE;
            // Complete on disk as soon as the open returns.
            EXPECT_EQ(Read_File(file.path), wave ? Wave_Header(c.tag, c.bytes, channels, 0)
                                                 : Aifc_Header(c.bytes, channels, 0, 0));
            EXPECT_EQ(ftell(handle.stream), wave ? 44 : 86);
            EXPECT_EQ(handle.mode, OM_WRITE);
            EXPECT_EQ(handle.format, c.format);
            EXPECT_EQ(handle.file_type, c.file_type);
            EXPECT_EQ(handle.little_endian, wave ? 1u : 0u);
            EXPECT_EQ(handle.bytes_per_sample, c.bytes);
            EXPECT_EQ(handle.bits_per_sample, 8 * c.bytes);
            EXPECT_EQ(handle.channels, channels);
            EXPECT_EQ(handle.sample_rate, 8000.0);
            EXPECT_EQ(handle.samples, 0u);
            EXPECT_EQ(handle.data_bytes, 0u);
            EXPECT_EQ(handle.clipped, 0u);
            EXPECT_EQ(handle.form_size_pos, 4u);
            EXPECT_EQ(handle.data_size_pos, wave ? 40u : 74u);
            if (!wave) {
                EXPECT_EQ(handle.frames_pos, 34u);
                EXPECT_EQ(handle.data_start, 86u);
            }
            EXPECT_EQ(handle.name, file.path);
        }
    }
}

TEST(OpenWrite, StereoAt44100ByteByByte)
{
    TransferFile file("literal", FT_WAVE, INT16, 2, 44100.0);
    EXPECT_EQ(Read_File(file.path),
              (Bytes{'R', 'I', 'F', 'F', 36, 0, 0,   0,   'W', 'A',  'V',  'E', 'f', 'm',  't',
                     ' ', 16,  0,   0,   0,  1, 0,   2,   0,   0x44, 0xAC, 0,   0,   0x10, 0xB1,
                     2,   0,   4,   0,   16, 0, 'd', 'a', 't', 'a',  0,    0,   0,   0}));
}

struct WaveRateCase {
    const char* name;
    double rate;
    uint32_t samples_per_second;
    uint32_t bytes_per_second; // times 4: two channels of INT16
};
const WaveRateCase Wave_Rate_Cases[] = {
    {"whole", 44100.0, 44100, 176400},
    {"fraction is cut", 44100.9, 44100, 176400},
    {"below one", 0.99, 0, 0},
    {"zero", 0.0, 0, 0},
    {"negative", -44100.0, 0, 0},
    {"negative fraction", -0.5, 0, 0},
    {"largest of 32 bits", 4294967295.0, 0xFFFFFFFF, 0xFFFFFFFC},
    {"one more loses its high bits", 4294967296.0, 0, 0},
    {"and one more", 4294967297.0, 1, 4},
    {"2^63 is no negative number", 0x1p63 + 0x1p12, 0x1000, 0x4000},
    {"beyond 64 bits", 1e30, 0xFFFFFFFF, 0xFFFFFFFC},
    {"infinity", INFINITY, 0xFFFFFFFF, 0xFFFFFFFC},
    {"minus infinity", -INFINITY, 0, 0},
    {"NaN", NAN, 0, 0},
};

TEST(OpenWrite, RateInAWaveHeader)
{
    for (const WaveRateCase& c : Wave_Rate_Cases) {
        SCOPED_TRACE(c.name);
        TransferFile file("rate", FT_WAVE, INT16, 2, c.rate);
        Bytes expected = Wave_Header(1, 2, 2, 0);
        const Bytes rates = Join({Little(4, c.samples_per_second), Little(4, c.bytes_per_second)});
        std::copy(rates.begin(), rates.end(), expected.begin() + 24);
        EXPECT_EQ(Read_File(file.path), expected);
    }
}

struct AifcRateCase {
    const char* name;
    double rate;
    Bytes field;
};
const AifcRateCase Aifc_Rate_Cases[] = {
    {"44100", 44100.0, {0x40, 0x0E, 0xAC, 0x44, 0, 0, 0, 0, 0, 0}},
    {"negative", -44100.0, {0xC0, 0x0E, 0xAC, 0x44, 0, 0, 0, 0, 0, 0}},
    {"fraction", 44100.9, {0x40, 0x0E, 0xAC, 0x44, 0xE6, 0x66, 0x66, 0x66, 0x68, 0}},
    {"negative fraction", -8000.25, {0xC0, 0x0B, 0xFA, 0x02, 0, 0, 0, 0, 0, 0}},
    {"one", 1.0, {0x3F, 0xFF, 0x80, 0, 0, 0, 0, 0, 0, 0}},
    {"two", 2.0, {0x40, 0x00, 0x80, 0, 0, 0, 0, 0, 0, 0}},
    {"one third", 1.0 / 3, {0x3F, 0xFD, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xA8, 0}},
    {"zero", 0.0, {0x3F, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0}},
    {"minus zero", -0.0, {0x3F, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0}},
    {"1e-20", 1e-20, {0x3F, 0xBC, 0xBC, 0xE5, 0x08, 0x64, 0x92, 0x11, 0x18, 0}},
    {"below 1e-20", 0x1.79CA10C924222p-67, {0x3F, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0}},
    {"tiny and negative", -1e-30, {0xBF, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0}},
    {"largest", 0x1.FFFFFFFFFFFFFp1023, {0x43, 0xFE, 255, 255, 255, 255, 255, 255, 0xF8, 0}},
    {"infinity", INFINITY, {0x7F, 0xFF, 0x80, 0, 0, 0, 0, 0, 0, 0}},
    {"minus infinity", -INFINITY, {0xFF, 0xFF, 0x80, 0, 0, 0, 0, 0, 0, 0}},
    {"NaN", NAN, {0x7F, 0xFF, 0xC0, 0, 0, 0, 0, 0, 0, 0}},
};

TEST(OpenWrite, RateInAnAifcHeader)
{
    for (const AifcRateCase& c : Aifc_Rate_Cases) {
        SCOPED_TRACE(c.name);
        TransferFile file("rate", FT_AIFC, INT16, 2, c.rate);
        Bytes expected = Aifc_Header(2, 2, 0, 0);
        std::copy(c.field.begin(), c.field.end(), expected.begin() + 40);
        EXPECT_EQ(Read_File(file.path), expected);
    }
}

// ---- Refused opens ----

struct RefusalCase {
    const char* name;
    uint32_t file_type;
    uint32_t format;
    const char* report;
};
#define BAD_TYPE "3,14: Audiofile_Open_Write: Unsupported file type for file "
#define BAD_FORMAT "3,14: Audiofile_Open_Write: Unsupported data format for file "
const RefusalCase Refusal_Cases[] = {
    {"unknown type", FT_UNKNOWN, INT16, BAD_TYPE},
    {"type beyond the table", 77, INT16, BAD_TYPE},
    {"neither type nor format", FT_UNKNOWN, 99, BAD_TYPE},
    {"INT8 in WAVE", FT_WAVE, INT8, BAD_FORMAT},
    {"UINT8 in AIFC", FT_AIFC, UINT8, BAD_FORMAT},
    {"UINT8 in AIFF", FT_AIFF, UINT8, BAD_FORMAT},
    {"format behind the last, WAVE", FT_WAVE, 9, BAD_FORMAT},
    {"format behind the last, AIFC", FT_AIFC, 9, BAD_FORMAT},
    {"largest format", FT_WAVE, UINT32_MAX, BAD_FORMAT},
};

struct Creation {
    RecordingObject object;
    AudiofileHandle* handle;
    bool stopped;
    int descriptors = Open_Descriptors(); // before

    Creation(const std::string& path, uint32_t file_type, uint32_t format)
    {
        Make_Recorder(&object);
        handle = Make_Handle(&object);
        stopped = Stops(&object, [&] {
            Audiofile_Open_Write(&object.header, path.c_str(), static_cast<FileType>(file_type),
                                 static_cast<DataFormat>(format), 1, handle, 8000.0);
        });
    }
    ~Creation()
    {
        Drop_Handle(handle, !stopped);
    }
};

TEST(OpenWrite, RefusesTypesAndFormatsOnceTheFileIsCut)
{
    for (const RefusalCase& c : Refusal_Cases) {
        SCOPED_TRACE(c.name);
        const std::string path = Scratch_Path("refused");
        Write_File(path, Text("what was here before"));
        Creation creation(path, c.file_type, c.format);
        EXPECT_TRUE(creation.stopped);
        EXPECT_EQ(creation.object.reports, With_Name({c.report}, path));
        EXPECT_EQ(creation.object.descriptors, std::vector<int>(2, creation.descriptors));
        EXPECT_EQ(Read_File(path), Bytes());
        EXPECT_EQ(Open_Descriptors(), creation.descriptors);
    }
}

TEST(OpenWrite, RefusesWhatCannotBeCreated)
{
    struct PathCase {
        const char* name;
        std::string path;
        const char* report;
    };
    const char* creating = "3,14: Audiofile_Open_Write: Error creating ";
    const PathCase cases[] = {
        {"no such directory", Scratch_Path("none/file.wav"), creating},
        {"a directory", Scratch_Path("."), creating},
        {"an empty path", "", creating},
        {"a name too long, told whole", Scratch_Path(std::string(300, 'n')), creating},
        {"a full disk", "/dev/full", "3,16: FileAccess_FSEEK: Error Seeking file"},
    };
    for (const PathCase& c : cases) {
        for (const FileType file_type : {FT_WAVE, FT_AIFC}) {
            SCOPED_TRACE(testing::Message() << c.name << ", type " << file_type);
            Creation creation(c.path, file_type, INT16);
            EXPECT_TRUE(creation.stopped);
            EXPECT_EQ(creation.object.reports, With_Name({c.report}, c.path));
            EXPECT_EQ(creation.object.descriptors, std::vector<int>(2, creation.descriptors));
        }
    }
}

TEST(OpenWrite, LongPathsAreCutInMessagesAlone)
{
    const std::string directory = Scratch_Path("long_path");
    mkdir(directory.c_str(), 0777);
    for (const size_t length : {254, 255, 256, 270}) {
        SCOPED_TRACE(length);
        const std::string path = directory + "/" + std::string(length - directory.size() - 1, 'p');
        Creation good(path, FT_WAVE, INT16);
        EXPECT_FALSE(good.stopped);
        EXPECT_EQ(good.handle->name, path.substr(0, 255));
        EXPECT_EQ(Read_File(path).size(), 44u);
        Creation bad(path, FT_WAVE, INT8);
        EXPECT_EQ(bad.object.reports, With_Name({BAD_FORMAT}, path.substr(0, 255)));
    }
}

} // namespace

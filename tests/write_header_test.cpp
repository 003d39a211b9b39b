// Creating a file and its header, byte by byte.
#include "tests/transfer_file.h"

#include <cfloat>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace
{

// ---- Headers of empty files ----

struct FormatCase {
    FileType file_type;
    DataFormat format;
    uint64_t bytes;
    uint64_t tag = 0; // WAVE only
};
const FormatCase Format_Cases[] = {
    {FT_WAVE, UINT8, 1, 1},  {FT_WAVE, INT16, 2, 1},   {FT_WAVE, INT24, 3, 1},
    {FT_WAVE, INT32, 4, 1},  {FT_WAVE, FLOAT32, 4, 3}, {FT_WAVE, FLOAT64, 8, 3},
    {FT_WAVE, MULAW8, 1, 7}, {FT_WAVE, ALAW8, 1, 6},   {FT_AIFC, INT8, 1},
    {FT_AIFC, INT16, 2},     {FT_AIFC, INT24, 3},      {FT_AIFC, INT32, 4},
    {FT_AIFC, FLOAT32, 4},   {FT_AIFC, FLOAT64, 8},    {FT_AIFC, MULAW8, 1},
    {FT_AIFC, ALAW8, 1},     {FT_AIFF, INT16, 2},      {FT_AIFF, INT8, 1},
};

// More than 65535 channels keep their low 16 bits in the header and all of them in the record.
TEST(OpenWrite, HeaderAndRecordOfAnEmptyFile)
{
    for (const FormatCase& c : Format_Cases) {
        for (const uint64_t channels : {0, 1, 2, 6, 65535, 65537, 70000}) {
            SCOPED_TRACE(testing::Message() << "type " << c.file_type << ", format " << c.format
                                            << ", channels " << channels);
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

struct RateCase {
    double rate;
    uint64_t first;  // WAVE: samples per second; AIFC: sign and exponent
    uint64_t second; // WAVE: bytes per second, for two channels of INT16; AIFC: mantissa
};
// Fractions are cut. From 2^32 to 2^64 the high bits are lost, and 2^63 is no negative number.
const double Rates_Of_Zero[] = {0.99, 0.0, -44100.0, -0.5, 4294967296.0, -INFINITY, NAN};
const RateCase Wave_Rates[] = {
    {44100.0, 44100, 176400},
    {44100.9, 44100, 176400},
    {4294967295.0, 0xFFFFFFFF, 0xFFFFFFFC},
    {4294967297.0, 1, 4},
    {0x1p63 + 0x1p12, 0x1000, 0x4000},
    {1e30, 0xFFFFFFFF, 0xFFFFFFFC},
    {INFINITY, 0xFFFFFFFF, 0xFFFFFFFC},
};
constexpr double Below_1e_20 = 0x1.79CA10C924222p-67; // counts as zero
const RateCase Aifc_Rates[] = {
    {44100.0, 0x400E, 0xAC44000000000000},  {-44100.0, 0xC00E, 0xAC44000000000000},
    {44100.9, 0x400E, 0xAC44E66666666800},  {-8000.25, 0xC00B, 0xFA02000000000000},
    {1.0, 0x3FFF, 0x8000000000000000},      {2.0, 0x4000, 0x8000000000000000},
    {1.0 / 3, 0x3FFD, 0xAAAAAAAAAAAAA800},  {DBL_MAX, 0x43FE, 0xFFFFFFFFFFFFF800},
    {0.0, 0x3FFF, 0x0000000000000000},      {-0.0, 0x3FFF, 0x0000000000000000},
    {1e-20, 0x3FBC, 0xBCE5086492111800},    {Below_1e_20, 0x3FFF, 0x0000000000000000},
    {-1e-30, 0xBFFF, 0x0000000000000000},   {NAN, 0x7FFF, 0xC000000000000000},
    {INFINITY, 0x7FFF, 0x8000000000000000}, {-INFINITY, 0xFFFF, 0x8000000000000000},
};

void Expect_Rate(FileType file_type, double rate, Bytes header, size_t place, const Bytes& field)
{
    SCOPED_TRACE(testing::Message() << rate << ", type " << file_type);
    std::copy(field.begin(), field.end(), header.begin() + place);
    EXPECT_EQ(Read_File(TransferFile("rate", file_type, INT16, 2, rate).path), header);
}

TEST(OpenWrite, RateInTheHeader)
{
    for (const double rate : Rates_Of_Zero) {
        Expect_Rate(FT_WAVE, rate, Wave_Header(1, 2, 2, 0), 24, Bytes(8, 0));
    }
    for (const RateCase& c : Wave_Rates) {
        const Bytes field = Join({Little(4, c.first), Little(4, c.second)});
        Expect_Rate(FT_WAVE, c.rate, Wave_Header(1, 2, 2, 0), 24, field);
    }
    for (const RateCase& c : Aifc_Rates) {
        const Bytes field = Join({Big(2, c.first), Big(8, c.second)});
        Expect_Rate(FT_AIFC, c.rate, Aifc_Header(2, 2, 0, 0), 40, field);
    }
}

// ---- Refused opens ----

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

void Expect_Refused(const std::string& path, uint32_t file_type, uint32_t format,
                    const std::string& report)
{
    const Creation creation(path, file_type, format);
    EXPECT_TRUE(creation.stopped);
    EXPECT_EQ(creation.object.reports, With_Name({report}, path));
    EXPECT_EQ(creation.object.descriptors, std::vector<int>(2, creation.descriptors));
    EXPECT_EQ(Open_Descriptors(), creation.descriptors);
}

const std::string Bad_Type = "3,14: Audiofile_Open_Write: Unsupported file type for file ";
const std::string Bad_Format = "3,14: Audiofile_Open_Write: Unsupported data format for file ";
const std::string Creating = "3,14: Audiofile_Open_Write: Error creating ";

struct RefusalCase {
    uint32_t file_type;
    uint32_t format;
    std::string report;
};
const RefusalCase Refusal_Cases[] = {
    {FT_UNKNOWN, INT16, Bad_Type}, {77, INT16, Bad_Type},        {FT_UNKNOWN, 99, Bad_Type},
    {FT_WAVE, INT8, Bad_Format},   {FT_AIFC, UINT8, Bad_Format}, {FT_AIFF, UINT8, Bad_Format},
    {FT_WAVE, 9, Bad_Format},      {FT_AIFC, 9, Bad_Format},     {FT_WAVE, UINT32_MAX, Bad_Format},
};

TEST(OpenWrite, RefusesTypesAndFormatsOnceTheFileIsCut)
{
    for (const RefusalCase& c : Refusal_Cases) {
        SCOPED_TRACE(testing::Message() << "type " << c.file_type << ", format " << c.format);
        const std::string path = Scratch_Path("refused");
        Write_File(path, Text("what was here before"));
        Expect_Refused(path, c.file_type, c.format, c.report);
        EXPECT_EQ(Read_File(path), Bytes());
    }
}

TEST(OpenWrite, RefusesWhatCannotBeCreated)
{
    for (const FileType file_type : {FT_WAVE, FT_AIFC}) {
        SCOPED_TRACE(file_type);
        Expect_Refused(Scratch_Path("none/file.wav"), file_type, INT16, Creating);
        Expect_Refused(Scratch_Path("."), file_type, INT16, Creating);
        Expect_Refused("", file_type, INT16, Creating);
        Expect_Refused(Scratch_Path(std::string(300, 'n')), file_type, INT16, Creating); // whole
        Expect_Refused("/dev/full", file_type, INT16, "3,16: FileAccess_FSEEK: Error Seeking file");
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
        EXPECT_EQ(bad.object.reports, With_Name({Bad_Format}, path.substr(0, 255)));
    }
}

} // namespace

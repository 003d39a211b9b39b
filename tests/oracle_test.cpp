// The engine against libsndfile and sox: what they write is read here, what is written here is read
// by them, and every sample value has to be the same.
#include "frame/ombrine_audiofile.h"
#include "tests/oracle_peers.h"
#include "tests/oracle_values.h"

#include <algorithm>
#include <cmath>

// Where the samples of a file are an odd number of bytes the peers count the pad byte as samples,
// libsndfile even in the header of an AIFF file. It shows only where a frame is one byte.
static uint64_t With_Pad(uint64_t count, uint64_t frame_bytes)
{
    return frame_bytes == 1 ? count + count % 2 : count;
}

static std::vector<int64_t> Padded(std::vector<int64_t> codes, uint64_t frame_bytes)
{
    codes.resize(With_Pad(codes.size(), frame_bytes));
    return codes;
}

// ---- Reading what the peers wrote ----

struct ReadableFile {
    std::string path;
    FileType file_type;
    DataFormat format;
    uint64_t channels;
    double rate;
    std::vector<int64_t> words = {};
    std::vector<std::string> warnings = {};
};

static void Expect_Properties(const ReadableFile& file)
{
    OpenedFile opened(file.path, OM_READ);
    ASSERT_FALSE(opened.stopped);
    EXPECT_EQ(opened.object.reports, With_Name(file.warnings, file.path));
    EXPECT_EQ(opened.samples, file.words.size());
    EXPECT_EQ(opened.channels, file.channels);
    EXPECT_EQ(opened.sample_rate, file.rate);
    uint32_t file_type = 77;
    uint32_t format = 77;
    Audiofile_Get_Format(&opened.object.header, opened.handle, &file_type, &format);
    EXPECT_EQ(file_type, static_cast<uint32_t>(file.file_type));
    EXPECT_EQ(format, static_cast<uint32_t>(file.format));
}

// In pieces that meet no border of the codecs, and one more at the end.
static void Expect_Words(const ReadableFile& file)
{
    OpenedFile opened(file.path, OM_READ);
    ASSERT_FALSE(opened.stopped);
    static const uint64_t Pieces[] = {1, 41, 64, 2050, 7};
    std::vector<int64_t> words;
    for (uint64_t k = 0; words.size() < file.words.size(); k++) {
        std::vector<int64_t> piece(Pieces[k % 5]);
        uint64_t got = 0;
        Audiofile_Read(&opened.object.header, opened.handle, piece.data(), piece.size(), &got);
        ASSERT_EQ(got, std::min(piece.size(), file.words.size() - words.size()));
        words.insert(words.end(), piece.begin(), piece.begin() + static_cast<int64_t>(got));
    }
    Expect_Same(file.words, words, "words");
    uint64_t got = 77;
    int64_t more[3];
    Audiofile_Read(&opened.object.header, opened.handle, more, 3, &got);
    EXPECT_EQ(got, 0u);
}

// Through the exports, in blocks of which the last finds less than it asks for.
static void Expect_Floats(const ReadableFile& file, uint64_t block_frames, float scale)
{
    uint64_t samples = 0;
    uint64_t channels = 0;
    double rate = 0.0;
    AudiofileHandle* handle = nullptr;
    testing::internal::CaptureStderr();
    Ombrine_Audiofile_Open_Read(file.path.c_str(), &samples, &channels, &rate, &handle);
    std::string warnings;
    for (const std::string& line : With_Name(file.warnings, file.path)) {
        warnings += "OmbrineAudiofile: " + line + "\n";
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), warnings);
    ASSERT_EQ(samples, file.words.size());
    ASSERT_EQ(channels, file.channels);
    EXPECT_EQ(rate, file.rate);
    const uint64_t frames = file.words.size() / channels;
    std::vector<float> expected;
    std::vector<float> actual;
    for (uint64_t first = 0; first <= frames; first += block_frames) {
        std::vector<std::vector<float>> buffers(channels, std::vector<float>(block_frames, 9.0f));
        std::vector<float*> rows;
        for (std::vector<float>& buffer : buffers) {
            rows.push_back(buffer.data());
        }
        uint64_t got = 77;
        Ombrine_Audiofile_Read(handle, rows.data(), block_frames, &got, scale);
        ASSERT_EQ(got, std::min(block_frames, frames - first));
        for (uint64_t c = 0; c < channels; c++) {
            for (uint64_t f = 0; f < block_frames; f++) {
                const uint64_t place = (first + f) * channels + c;
                expected.push_back(f < got ? Float_Of(file.words[place], file.format, scale)
                                           : 0.0f);
                actual.push_back(buffers[c][f]);
            }
        }
    }
    Ombrine_Audiofile_Close_Read(handle);
    Expect_Same(expected, actual, "floats");
}

static void Expect_Read(const ReadableFile& file)
{
    Expect_Properties(file);
    Expect_Words(file);
    if (testing::Test::HasFailure()) {
        return; // the exports would end the process
    }
    Expect_Floats(file, 1000, 1.0f);
    Expect_Floats(file, 333, 32768.0f);
}

struct SndfileKind {
    const char* name;
    int format;
    FileType file_type;
    DataFormat data_format;
};

static const SndfileKind Sndfile_Kinds[] = {
    {"WAVE 16 bits", SF_FORMAT_WAV | SF_FORMAT_PCM_16, FT_WAVE, INT16},
    {"WAVE 24 bits", SF_FORMAT_WAV | SF_FORMAT_PCM_24, FT_WAVE, INT24},
    {"WAVE 32 bits", SF_FORMAT_WAV | SF_FORMAT_PCM_32, FT_WAVE, INT32},
    {"WAVE floats", SF_FORMAT_WAV | SF_FORMAT_FLOAT, FT_WAVE, FLOAT32},
    {"WAVE extensible 16 bits", SF_FORMAT_WAVEX | SF_FORMAT_PCM_16, FT_WAVE, INT16},
    {"WAVE extensible 24 bits", SF_FORMAT_WAVEX | SF_FORMAT_PCM_24, FT_WAVE, INT24},
    {"WAVE extensible 32 bits", SF_FORMAT_WAVEX | SF_FORMAT_PCM_32, FT_WAVE, INT32},
    {"WAVE extensible floats", SF_FORMAT_WAVEX | SF_FORMAT_FLOAT, FT_WAVE, FLOAT32},
    {"AIFF 8 bits", SF_FORMAT_AIFF | SF_FORMAT_PCM_S8, FT_AIFF, INT8},
    {"AIFF 16 bits", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, FT_AIFF, INT16},
    {"AIFF 24 bits", SF_FORMAT_AIFF | SF_FORMAT_PCM_24, FT_AIFF, INT24},
    {"AIFF 32 bits", SF_FORMAT_AIFF | SF_FORMAT_PCM_32, FT_AIFF, INT32},
};

static const PeerShape Peer_Shapes[] = {
    {1, 44100, 1, false},  {1, 8000, 1001, false},  {2, 44100, 4999, false},
    {2, 48000, 0, false},  {2, 22050, 1000, true},  {3, 96000, 777, false},
    {5, 11025, 258, true}, {8, 192000, 333, false},
};

static std::string Shape_Name(const PeerShape& shape)
{
    return std::to_string(shape.channels) + " channels, " + std::to_string(shape.rate) + " Hz, " +
           std::to_string(shape.frames) + " frames" + (shape.texts ? ", texts" : "");
}

TEST(Oracle, ReadsWhatLibsndfileWrote)
{
    const std::string path = Scratch_Path("libsndfile");
    for (const SndfileKind& kind : Sndfile_Kinds) {
        for (const PeerShape& shape : Peer_Shapes) {
            SCOPED_TRACE(std::string(kind.name) + ", " + Shape_Name(shape));
            const uint64_t count = shape.frames * static_cast<uint64_t>(shape.channels);
            ReadableFile file = {path, kind.file_type, kind.data_format,
                                 static_cast<uint64_t>(shape.channels),
                                 static_cast<double>(shape.rate)};
            if (kind.data_format == FLOAT32) {
                const std::vector<float> floats = Make_Floats(count);
                Make_With_Sndfile(path, kind.format, shape, floats);
                Expect_Same(floats, Read_With_Sndfile(path).floats, "libsndfile's own floats");
                for (const float sample : floats) {
                    file.words.push_back(Word_Of(sample));
                }
            } else {
                const unsigned bits = Code_Bits(kind.data_format);
                file.words = Make_Codes(count, bits);
                Make_With_Sndfile(path, kind.format, shape, Tops_Of(file.words, bits));
                file.words = Padded(file.words, bits / 8 * file.channels);
                Expect_Same(file.words, Codes_Of(Read_With_Sndfile(path).tops, bits),
                            "libsndfile's own codes");
            }
            Expect_Read(file);
        }
    }
}

TEST(Oracle, SoxIsThere)
{
    const Output output = Run_Command("sox --version");
    ASSERT_EQ(output.status, 0) << "the tests need sox: " << output.errors;
}

struct SoxKind {
    const char* name;
    const char* options;
    FileType file_type;
    DataFormat format;
};

static const SoxKind Sox_Kinds[] = {
    {"WAVE 16 bits", "-t wav -e signed-integer -b 16", FT_WAVE, INT16},
    {"WAVE 24 bits", "-t wav -e signed-integer -b 24", FT_WAVE, INT24},
    {"WAVE 32 bits", "-t wav -e signed-integer -b 32", FT_WAVE, INT32},
    {"WAVE floats", "-t wav -e floating-point -b 32", FT_WAVE, FLOAT32},
    {"plain WAVE 24 bits", "-t wavpcm -e signed-integer -b 24", FT_WAVE, INT24},
    {"AIFF 8 bits", "-t aiff -e signed-integer -b 8", FT_AIFF, INT8},
    {"AIFF 16 bits", "-t aiff -e signed-integer -b 16", FT_AIFF, INT16},
    {"AIFF 24 bits", "-t aiff -e signed-integer -b 24", FT_AIFF, INT24},
    {"AIFF 32 bits", "-t aiff -e signed-integer -b 32", FT_AIFF, INT32},
    {"AIFC 8 bits", "-t aifc -e signed-integer -b 8", FT_AIFC, INT8},
    {"AIFC 16 bits", "-t aifc -e signed-integer -b 16", FT_AIFC, INT16},
    {"AIFC 24 bits", "-t aifc -e signed-integer -b 24", FT_AIFC, INT24},
    {"AIFC 32 bits", "-t aifc -e signed-integer -b 32", FT_AIFC, INT32},
};

struct SoxShape {
    uint64_t channels;
    const char* rate;
    uint64_t frames;
    const char* comment; // an option
};

static const SoxShape Sox_Shapes[] = {
    {1, "8000", 1, ""},
    {1, "44100", 1235, "--comment 'odd'"},
    {2, "44100", 3001, "--comment ''"},
    {2, "48000", 500, "--comment 'Title=even ones'"},
    {3, "96000", 777, ""},
    {8, "11025", 129, ""},
};

TEST(Oracle, ReadsWhatSoxWrote)
{
    const std::string path = Scratch_Path("sox");
    for (const SoxKind& kind : Sox_Kinds) {
        for (const SoxShape& shape : Sox_Shapes) {
            SCOPED_TRACE(std::string(kind.name) + ", " + std::to_string(shape.channels) +
                         " channels, " + shape.rate + " Hz, " + std::to_string(shape.frames) +
                         " frames, " + shape.comment);
            const unsigned bits = Code_Bits(kind.format);
            ReadableFile file = {
                path,           kind.file_type,   kind.format,
                shape.channels, atof(shape.rate), Make_Codes(shape.frames * shape.channels, bits)};
            // sox leaves out the pad byte behind the samples of an AIFF file.
            if (kind.file_type != FT_WAVE && file.words.size() * (bits / 8) % 2 != 0) {
                file.warnings = {
                    "2,16: Audiofile_Open_Read: incorrect data chunk length in header"};
            }
            Make_With_Sox(path, std::string(kind.options) + " " + shape.comment, shape.channels,
                          shape.rate, Tops_Of(file.words, bits));
            Expect_Same(file.words, Codes_Of(Read_With_Sox(path), bits), "sox's own codes");
            Expect_Read(file);
        }
    }
}

// ---- Formats without a codec: they open, and the first read is refused ----

struct ClosedKind {
    const char* name;
    int format;
    FileType file_type;
    DataFormat data_format;
};

static const ClosedKind Closed_Kinds[] = {
    {"WAVE 8 bits", SF_FORMAT_WAV | SF_FORMAT_PCM_U8, FT_WAVE, UINT8},
    {"WAVE doubles", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, FT_WAVE, FLOAT64},
    {"WAVE mu-law", SF_FORMAT_WAV | SF_FORMAT_ULAW, FT_WAVE, MULAW8},
    {"WAVE A-law", SF_FORMAT_WAV | SF_FORMAT_ALAW, FT_WAVE, ALAW8},
    {"WAVE extensible 8 bits", SF_FORMAT_WAVEX | SF_FORMAT_PCM_U8, FT_WAVE, UINT8},
    {"WAVE extensible doubles", SF_FORMAT_WAVEX | SF_FORMAT_DOUBLE, FT_WAVE, FLOAT64},
    {"WAVE extensible mu-law", SF_FORMAT_WAVEX | SF_FORMAT_ULAW, FT_WAVE, MULAW8},
    {"WAVE extensible A-law", SF_FORMAT_WAVEX | SF_FORMAT_ALAW, FT_WAVE, ALAW8},
    {"AIFC mu-law", SF_FORMAT_AIFF | SF_FORMAT_ULAW, FT_AIFC, MULAW8},
    {"AIFC A-law", SF_FORMAT_AIFF | SF_FORMAT_ALAW, FT_AIFC, ALAW8},
    {"AIFC floats", SF_FORMAT_AIFF | SF_FORMAT_FLOAT, FT_AIFC, FLOAT32},
    {"AIFC doubles", SF_FORMAT_AIFF | SF_FORMAT_DOUBLE, FT_AIFC, FLOAT64},
};

TEST(Oracle, OpensWhatItCannotRead)
{
    const std::string path = Scratch_Path("closed");
    static const PeerShape Shapes[] = {{1, 8000, 501, false}, {2, 44100, 100, true}};
    for (const ClosedKind& kind : Closed_Kinds) {
        for (const PeerShape& shape : Shapes) {
            SCOPED_TRACE(std::string(kind.name) + ", " + Shape_Name(shape));
            const uint64_t count = shape.frames * static_cast<uint64_t>(shape.channels);
            Make_With_Sndfile(path, kind.format, shape, std::vector<float>(count, 0.25f));
            const bool one_byte = kind.data_format != FLOAT64 && kind.data_format != FLOAT32;
            Expect_Properties(
                {path, kind.file_type, kind.data_format, static_cast<uint64_t>(shape.channels),
                 static_cast<double>(shape.rate),
                 std::vector<int64_t>(
                     With_Pad(count, one_byte ? static_cast<uint64_t>(shape.channels) : 0))});
            OpenedFile file(path, OM_READ);
            ASSERT_FALSE(file.stopped);
            int64_t words[4];
            uint64_t got = 0;
            EXPECT_TRUE(Stops_For_Good(&file.object, [&] {
                Audiofile_Read(&file.object.header, file.handle, words, 4, &got);
            }));
            EXPECT_EQ(file.object.reports,
                      With_Name({"3,10: FileDRDW_DR_" + Format_Name(kind.data_format) +
                                 ": Data type not supported yet in file "},
                                path));
        }
    }
}

struct UnknownKind {
    const char* name;
    int format;
    const char* report;
};

static const UnknownKind Unknown_Kinds[] = {
    {"AIFC with the bytes swapped", SF_FORMAT_AIFF | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE,
     "3,17: LF_ReadHeader_AIFF: Unsupported dataformat in "},
    {"WAVE ADPCM", SF_FORMAT_WAV | SF_FORMAT_IMA_ADPCM,
     "3,14: Audiofile_Open_Read: Unsupported format in WAVE file "},
    {"WAVE with the bytes swapped", SF_FORMAT_WAV | SF_FORMAT_PCM_16 | SF_ENDIAN_BIG,
     "3,14: Audiofile_Open_Read: Unsupported file type "},
    {"RF64", SF_FORMAT_RF64 | SF_FORMAT_PCM_16,
     "3,14: Audiofile_Open_Read: Unsupported file type "},
    {"AU", SF_FORMAT_AU | SF_FORMAT_PCM_16, "3,14: Audiofile_Open_Read: Unsupported file type "},
};

TEST(Oracle, RefusesOtherContainersAndEncodings)
{
    const std::string path = Scratch_Path("unknown");
    for (const UnknownKind& kind : Unknown_Kinds) {
        SCOPED_TRACE(kind.name);
        Make_With_Sndfile(path, kind.format, {2, 44100, 1010, false},
                          std::vector<int32_t>(2020, 1 << 24));
        const OpenedFile file(path, OM_READ);
        Expect_Refused(file, {kind.report}, true);
    }
}

// ---- What is written here, read by the peers ----

static void Expect_Peer_Info(const SF_INFO& info, int format, uint64_t channels, double rate,
                             uint64_t frames)
{
    EXPECT_EQ(info.format & ~SF_FORMAT_ENDMASK, format);
    EXPECT_EQ(static_cast<uint64_t>(info.channels), channels);
    EXPECT_EQ(info.samplerate, static_cast<int>(rate));
    EXPECT_EQ(static_cast<uint64_t>(info.frames), frames);
}

struct ExportCase {
    const char* name;
    uint64_t channels;
    double rate;
    uint64_t frames;
    uint64_t block_frames;
    float scale;
};

static const ExportCase Export_Cases[] = {
    {"no frames", 2, 44100.0, 0, 100, 1.0f},
    {"one value", 1, 8000.0, 1, 1, 1.0f},
    {"mono in odd blocks", 1, 44100.0, 4999, 333, 1.0f},
    {"stereo at once", 2, 48000.0, 5000, 5000, 1.0f},
    {"stereo, scale of the code values", 2, 44100.0, 3001, 256, 32767.0f},
    {"three channels", 3, 96000.0, 1001, 100, 0.3f},
    {"eight channels", 8, 192000.0, 777, 512, 2.0f},
};

TEST(Oracle, PeersReadWhatTheExportsWrote)
{
    const std::string path = Scratch_Path("exported.wav");
    for (const ExportCase& c : Export_Cases) {
        SCOPED_TRACE(c.name);
        const std::vector<float> inputs = Make_Inputs(c.frames * c.channels, c.scale);
        std::vector<int64_t> codes;
        bool limited = false;
        for (const float input : inputs) {
            codes.push_back(Code_Of(input, c.scale, &limited));
        }

        AudiofileHandle* handle = nullptr;
        Ombrine_Audiofile_Open_Write(path.c_str(), c.channels, &handle, c.rate);
        for (uint64_t first = 0; first < c.frames; first += c.block_frames) {
            const uint64_t frames = std::min(c.block_frames, c.frames - first);
            std::vector<std::vector<float>> buffers(c.channels);
            std::vector<const float*> rows;
            for (uint64_t channel = 0; channel < c.channels; channel++) {
                for (uint64_t f = 0; f < frames; f++) {
                    buffers[channel].push_back(inputs[(first + f) * c.channels + channel]);
                }
                rows.push_back(buffers[channel].data());
            }
            uint64_t written = 77;
            Ombrine_Audiofile_Write(handle, rows.data(), frames, &written, c.scale);
            EXPECT_EQ(written, frames);
        }
        testing::internal::CaptureStderr();
        Ombrine_Audiofile_Close_Write(handle);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  limited ? "OmbrineAudiofile: 2,0: Audiofile: clipped samples during writing\n"
                            "OmbrineAudiofile: 2,0: " +
                                path + "\n"
                          : "");

        const PeerContent content = Read_With_Sndfile(path);
        Expect_Peer_Info(content.info, SF_FORMAT_WAV | SF_FORMAT_PCM_16, c.channels, c.rate,
                         c.frames);
        Expect_Same(codes, Codes_Of(content.tops, 16), "libsndfile's codes");
        Expect_Same(codes, Codes_Of(Read_With_Sox(path), 16), "sox's codes");
    }
}

struct WrittenKind {
    const char* name;
    FileType file_type;
    DataFormat format;
    int peer_format;
    const char* sox_complaint;
};

static const WrittenKind Written_Kinds[] = {
    {"WAVE 16 bits", FT_WAVE, INT16, SF_FORMAT_WAV | SF_FORMAT_PCM_16, ""},
    {"WAVE 24 bits", FT_WAVE, INT24, SF_FORMAT_WAV | SF_FORMAT_PCM_24, ""},
    {"WAVE 32 bits", FT_WAVE, INT32, SF_FORMAT_WAV | SF_FORMAT_PCM_32, ""},
    {"WAVE floats", FT_WAVE, FLOAT32, SF_FORMAT_WAV | SF_FORMAT_FLOAT,
     "sox WARN wav: wave header missing extended part of fmt chunk\n"},
    {"AIFC 8 bits", FT_AIFC, INT8, SF_FORMAT_AIFF | SF_FORMAT_PCM_S8, ""},
    {"AIFC 16 bits", FT_AIFC, INT16, SF_FORMAT_AIFF | SF_FORMAT_PCM_16, ""},
    {"AIFC 24 bits", FT_AIFC, INT24, SF_FORMAT_AIFF | SF_FORMAT_PCM_24, ""},
    {"AIFC 32 bits", FT_AIFC, INT32, SF_FORMAT_AIFF | SF_FORMAT_PCM_32, ""},
    {"AIFF asked for, AIFC written", FT_AIFF, INT24, SF_FORMAT_AIFF | SF_FORMAT_PCM_24, ""},
};

struct WrittenShape {
    uint64_t channels;
    double rate;
    uint64_t frames;
};

static const WrittenShape Written_Shapes[] = {
    {1, 8000.0, 1}, {1, 44100.0, 1001}, {2, 48000.0, 2500}, {3, 96000.0, 777}, {8, 11025.0, 130},
};

// Pieces that meet no border of the codecs.
static void Write_Words(const std::string& path, const WrittenKind& kind, const WrittenShape& shape,
                        std::vector<int64_t> words)
{
    RecordingObject object;
    Make_Recorder(&object);
    AudiofileHandle* handle = Make_Handle(&object);
    Audiofile_Open_Write(&object.header, path.c_str(), kind.file_type, kind.format, shape.channels,
                         handle, shape.rate);
    static const uint64_t Pieces[] = {3, 65, 1000};
    uint64_t done = 0;
    for (uint64_t k = 0; done < words.size(); k++) {
        const uint64_t count = std::min(Pieces[k % 3], words.size() - done);
        uint64_t put = 77;
        Audiofile_Write_LONG(&object.header, handle, words.data() + done, count, &put);
        EXPECT_EQ(put, count);
        done += count;
    }
    Audiofile_Close_Write(&object.header, handle);
    EXPECT_TRUE(object.reports.empty()) << object.reports[0];
    OBJ_Free_C(nullptr, handle);
}

TEST(Oracle, PeersReadWhatTheEngineWrote)
{
    const std::string path = Scratch_Path("written");
    for (const WrittenKind& kind : Written_Kinds) {
        for (const WrittenShape& shape : Written_Shapes) {
            SCOPED_TRACE(std::string(kind.name) + ", " + std::to_string(shape.channels) +
                         " channels, " + std::to_string(shape.frames) + " frames");
            const unsigned bits = Code_Bits(kind.format);
            const std::vector<int64_t> codes = Make_Codes(shape.frames * shape.channels, bits);
            Write_Words(path, kind, shape, codes);
            const std::vector<int64_t> padded = Padded(codes, bits / 8 * shape.channels);

            const PeerContent content = Read_With_Sndfile(path);
            Expect_Peer_Info(content.info, kind.peer_format, shape.channels, shape.rate,
                             padded.size() / shape.channels);
            if (kind.format == FLOAT32) {
                std::vector<float> floats;
                for (const int64_t code : codes) {
                    floats.push_back(std::ldexp(static_cast<float>(code), -23));
                }
                Expect_Same(floats, content.floats, "libsndfile's floats");
            } else {
                Expect_Same(padded, Codes_Of(content.tops, bits), "libsndfile's codes");
            }
            const char* type = kind.file_type == FT_WAVE ? "wav" : "aifc";
            const std::string named = Scratch_Path(std::string("written.") + type);
            rename(path.c_str(), named.c_str());
            Expect_Same(padded, Codes_Of(Read_With_Sox(named, kind.sox_complaint), bits),
                        "sox's codes");
        }
    }
}

// ---- The 80-bit rate of AIFF and AIFC, both ways ----

static const char* const Rates[] = {"1",     "8000",  "11025",    "22254.5454",
                                    "44100", "96000", "44099.99", "768000"};

static Bytes Rate_Field(const std::string& path)
{
    const Bytes file = Read_File(path);
    const Bytes id = Text("COMM");
    const auto common = std::search(file.begin(), file.end(), id.begin(), id.end());
    const int64_t offset = 16; // id, size, channels, frames, sample size
    if (file.end() - common < offset + 10) {
        return {};
    }
    return Bytes(common + offset, common + offset + 10);
}

TEST(Oracle, RatesAreTheBytesThatSoxWrites)
{
    const std::string theirs = Scratch_Path("rate.aifc");
    const std::string ours = Scratch_Path("our-rate");
    for (const char* rate : Rates) {
        SCOPED_TRACE(rate);
        Make_With_Sox(theirs, "-t aifc -e signed-integer -b 16", 1, rate, {0, 1 << 16});
        if (HasFailure()) {
            return;
        }
        const WrittenKind kind = {"", FT_AIFC, INT16, 0, ""};
        Write_Words(ours, kind, {1, atof(rate), 2}, {0, 1});
        const Bytes field = Rate_Field(theirs);
        ASSERT_EQ(field.size(), 10u);
        EXPECT_EQ(Rate_Field(ours), field);
        EXPECT_EQ(OpenedFile(theirs, OM_READ).sample_rate, atof(rate));
    }
}

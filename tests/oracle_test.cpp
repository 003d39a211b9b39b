// The engine against libsndfile and sox: what they write is read here, what is written here is read
// by them, and every sample value has to be the same.
#include "frame/ombrine_audiofile.h"
#include "tests/oracle_peers.h"
#include "tests/oracle_values.h"

// Where the samples of a file are an odd number of bytes the peers count the pad byte as samples,
// libsndfile even in the header of an AIFF file. It shows only where a frame is one byte.
static uint64_t With_Pad(uint64_t count, uint64_t frame_bytes)
{
    return frame_bytes == 1 ? count + count % 2 : count;
}

static Words Padded(Words codes, uint64_t frame_bytes)
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
    Words words = {};
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
    Words words;
    for (uint64_t k = 0; words.size() < file.words.size(); k++) {
        Words piece(Pieces[k % 5]);
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
    Floats expected;
    Floats actual;
    for (uint64_t first = 0; first <= frames; first += block_frames) {
        std::vector<Floats> buffers(channels, Floats(block_frames, 9.0f));
        std::vector<float*> rows;
        for (Floats& buffer : buffers) {
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

constexpr int Wave = SF_FORMAT_WAV;
constexpr int Wavex = SF_FORMAT_WAVEX;
constexpr int Aiff = SF_FORMAT_AIFF;

struct SndfileKind {
    int peer_format;
    FileType file_type;
    DataFormat format;
    const char* sox_complaint = "";
};

static const SndfileKind Sndfile_Kinds[] = {
    {Wave | SF_FORMAT_PCM_16, FT_WAVE, INT16},  {Wave | SF_FORMAT_PCM_24, FT_WAVE, INT24},
    {Wave | SF_FORMAT_PCM_32, FT_WAVE, INT32},  {Wave | SF_FORMAT_FLOAT, FT_WAVE, FLOAT32},
    {Wavex | SF_FORMAT_PCM_16, FT_WAVE, INT16}, {Wavex | SF_FORMAT_PCM_24, FT_WAVE, INT24},
    {Wavex | SF_FORMAT_PCM_32, FT_WAVE, INT32}, {Wavex | SF_FORMAT_FLOAT, FT_WAVE, FLOAT32},
    {Aiff | SF_FORMAT_PCM_S8, FT_AIFF, INT8},   {Aiff | SF_FORMAT_PCM_16, FT_AIFF, INT16},
    {Aiff | SF_FORMAT_PCM_24, FT_AIFF, INT24},  {Aiff | SF_FORMAT_PCM_32, FT_AIFF, INT32},
};

static const PeerShape Peer_Shapes[] = {
    {1, 44100, 1},          {1, 8000, 1001}, {2, 44100, 4999},      {2, 48000, 0},
    {2, 22050, 1000, true}, {3, 96000, 777}, {5, 11025, 258, true}, {8, 192000, 333},
};

static std::string Trace(int kind, const PeerShape& shape)
{
    return (testing::Message() << "kind " << std::hex << kind << std::dec << ", " << shape.channels
                               << " channels, " << shape.rate << " Hz, " << shape.frames
                               << " frames" << (shape.texts ? ", texts" : ""))
        .GetString();
}

TEST(Oracle, ReadsWhatLibsndfileWrote)
{
    const std::string path = Scratch_Path("libsndfile");
    for (const SndfileKind& kind : Sndfile_Kinds) {
        for (const PeerShape& shape : Peer_Shapes) {
            SCOPED_TRACE(Trace(kind.peer_format, shape));
            const uint64_t count = shape.frames * shape.channels;
            ReadableFile file = {path, kind.file_type, kind.format, shape.channels, shape.rate};
            if (kind.format == FLOAT32) {
                const Floats floats = Make_Floats(count);
                Make_With_Sndfile(path, kind.peer_format, shape, floats);
                Expect_Same(floats, Read_With_Sndfile(path).floats, "libsndfile's own floats");
                for (const float sample : floats) {
                    file.words.push_back(Word_Of(sample));
                }
            } else {
                const unsigned bits = Code_Bits(kind.format);
                file.words = Make_Codes(count, bits);
                Make_With_Sndfile(path, kind.peer_format, shape, Tops_Of(file.words, bits));
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
    std::string type;
    FileType file_type;
    DataFormat format;
};

static const SoxKind Sox_Kinds[] = {
    {"wav", FT_WAVE, INT16},   {"wav", FT_WAVE, INT24},    {"wav", FT_WAVE, INT32},
    {"wav", FT_WAVE, FLOAT32}, {"wavpcm", FT_WAVE, INT24}, {"aiff", FT_AIFF, INT8},
    {"aiff", FT_AIFF, INT16},  {"aiff", FT_AIFF, INT24},   {"aiff", FT_AIFF, INT32},
    {"aifc", FT_AIFC, INT8},   {"aifc", FT_AIFC, INT16},   {"aifc", FT_AIFC, INT24},
    {"aifc", FT_AIFC, INT32},
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
            const unsigned bits = Code_Bits(kind.format);
            const std::string options =
                "-t " + kind.type +
                (kind.format == FLOAT32 ? " -e floating-point -b 32 "
                                        : " -e signed-integer -b " + std::to_string(bits) + " ") +
                shape.comment;
            SCOPED_TRACE(options);
            SCOPED_TRACE(Trace(0, {shape.channels, atof(shape.rate), shape.frames}));
            ReadableFile file = {
                path,           kind.file_type,   kind.format,
                shape.channels, atof(shape.rate), Make_Codes(shape.frames * shape.channels, bits)};
            // sox leaves out the pad byte behind the samples of an AIFF file.
            if (kind.file_type != FT_WAVE && file.words.size() * (bits / 8) % 2 != 0) {
                file.warnings = {
                    "2,16: Audiofile_Open_Read: incorrect data chunk length in header"};
            }
            Make_With_Sox(path, options, shape.channels, shape.rate, Tops_Of(file.words, bits));
            Expect_Same(file.words, Codes_Of(Read_With_Sox(path), bits), "sox's own codes");
            Expect_Read(file);
        }
    }
}

// ---- Formats without a codec: they open, and the first read is refused ----

static const SndfileKind Closed_Kinds[] = {
    {Wave | SF_FORMAT_PCM_U8, FT_WAVE, UINT8},  {Wave | SF_FORMAT_DOUBLE, FT_WAVE, FLOAT64},
    {Wave | SF_FORMAT_ULAW, FT_WAVE, MULAW8},   {Wave | SF_FORMAT_ALAW, FT_WAVE, ALAW8},
    {Wavex | SF_FORMAT_PCM_U8, FT_WAVE, UINT8}, {Wavex | SF_FORMAT_DOUBLE, FT_WAVE, FLOAT64},
    {Wavex | SF_FORMAT_ULAW, FT_WAVE, MULAW8},  {Wavex | SF_FORMAT_ALAW, FT_WAVE, ALAW8},
    {Aiff | SF_FORMAT_ULAW, FT_AIFC, MULAW8},   {Aiff | SF_FORMAT_ALAW, FT_AIFC, ALAW8},
    {Aiff | SF_FORMAT_FLOAT, FT_AIFC, FLOAT32}, {Aiff | SF_FORMAT_DOUBLE, FT_AIFC, FLOAT64},
};

TEST(Oracle, OpensWhatItCannotRead)
{
    const std::string path = Scratch_Path("closed");
    static const PeerShape Shapes[] = {{1, 8000, 501}, {2, 44100, 100, true}};
    for (const SndfileKind& kind : Closed_Kinds) {
        for (const PeerShape& shape : Shapes) {
            SCOPED_TRACE(Trace(kind.peer_format, shape));
            const uint64_t count = shape.frames * shape.channels;
            Make_With_Sndfile(path, kind.peer_format, shape, Floats(count, 0.25f));
            const bool one_byte = kind.format != FLOAT64 && kind.format != FLOAT32;
            const uint64_t values = With_Pad(count, one_byte ? shape.channels : 0);
            Expect_Properties(
                {path, kind.file_type, kind.format, shape.channels, shape.rate, Words(values)});
            OpenedFile file(path, OM_READ);
            ASSERT_FALSE(file.stopped);
            int64_t words[4];
            uint64_t got = 0;
            EXPECT_TRUE(Stops_For_Good(&file.object, [&] {
                Audiofile_Read(&file.object.header, file.handle, words, 4, &got);
            }));
            EXPECT_EQ(file.object.reports, With_Name({No_Codec("DR", kind.format)}, path));
        }
    }
}

static const char* const Not_A_Type = "3,14: Audiofile_Open_Read: Unsupported file type ";
static const std::pair<int, const char*> Unknown_Kinds[] = {
    {Aiff | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE,
     "3,17: LF_ReadHeader_AIFF: Unsupported dataformat in "},
    {Wave | SF_FORMAT_IMA_ADPCM, "3,14: Audiofile_Open_Read: Unsupported format in WAVE file "},
    {Wave | SF_FORMAT_PCM_16 | SF_ENDIAN_BIG, Not_A_Type},
    {SF_FORMAT_RF64 | SF_FORMAT_PCM_16, Not_A_Type},
    {SF_FORMAT_AU | SF_FORMAT_PCM_16, Not_A_Type},
};

TEST(Oracle, RefusesOtherContainersAndEncodings)
{
    const std::string path = Scratch_Path("unknown");
    for (const auto& [format, report] : Unknown_Kinds) {
        SCOPED_TRACE(format);
        Make_With_Sndfile(path, format, {2, 44100, 1010}, std::vector<int32_t>(2020, 1 << 24));
        Expect_Refused(OpenedFile(path, OM_READ), {report}, true);
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
    uint64_t channels;
    double rate;
    uint64_t frames;
    uint64_t block_frames;
    float scale;
};

static const ExportCase Export_Cases[] = {
    {2, 44100.0, 0, 100, 1.0f},        {1, 8000.0, 1, 1, 1.0f},
    {1, 44100.0, 4999, 333, 1.0f},     {2, 48000.0, 5000, 5000, 1.0f},
    {2, 44100.0, 3001, 256, 32767.0f}, {3, 96000.0, 1001, 100, 0.3f},
    {8, 192000.0, 777, 512, 2.0f},
};

TEST(Oracle, PeersReadWhatTheExportsWrote)
{
    const std::string path = Scratch_Path("exported.wav");
    for (const ExportCase& c : Export_Cases) {
        SCOPED_TRACE(Trace(Wave, {c.channels, c.rate, c.frames}));
        const Floats inputs = Make_Inputs(c.frames * c.channels, c.scale);
        Words codes;
        bool limited = false;
        for (const float input : inputs) {
            codes.push_back(Code_Of(input, c.scale, &limited));
        }

        AudiofileHandle* handle = nullptr;
        Ombrine_Audiofile_Open_Write(path.c_str(), c.channels, &handle, c.rate);
        for (uint64_t first = 0; first < c.frames; first += c.block_frames) {
            const uint64_t frames = std::min(c.block_frames, c.frames - first);
            std::vector<Floats> buffers(c.channels);
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
        Expect_Peer_Info(content.info, Wave | SF_FORMAT_PCM_16, c.channels, c.rate, c.frames);
        Expect_Same(codes, Codes_Of(content.tops, 16), "libsndfile's codes");
        Expect_Same(codes, Codes_Of(Read_With_Sox(path), 16), "sox's codes");
    }
}

static const char* const Warning = "sox WARN wav: wave header missing extended part of fmt chunk\n";
// The last is asked for as AIFF and written as AIFC.
static const SndfileKind Written_Kinds[] = {
    {Wave | SF_FORMAT_PCM_16, FT_WAVE, INT16}, {Wave | SF_FORMAT_PCM_24, FT_WAVE, INT24},
    {Wave | SF_FORMAT_PCM_32, FT_WAVE, INT32}, {Wave | SF_FORMAT_FLOAT, FT_WAVE, FLOAT32, Warning},
    {Aiff | SF_FORMAT_PCM_S8, FT_AIFC, INT8},  {Aiff | SF_FORMAT_PCM_16, FT_AIFC, INT16},
    {Aiff | SF_FORMAT_PCM_24, FT_AIFC, INT24}, {Aiff | SF_FORMAT_PCM_32, FT_AIFC, INT32},
    {Aiff | SF_FORMAT_PCM_24, FT_AIFF, INT24},
};

static const PeerShape Written_Shapes[] = {
    {1, 8000, 1}, {1, 44100, 1001}, {2, 48000, 2500}, {3, 96000, 777}, {8, 11025, 130},
};

// Pieces that meet no border of the codecs.
static void Write_Words(const std::string& path, const SndfileKind& kind, const PeerShape& shape,
                        Words words)
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
    for (const SndfileKind& kind : Written_Kinds) {
        for (const PeerShape& shape : Written_Shapes) {
            SCOPED_TRACE(Trace(kind.peer_format, shape));
            const unsigned bits = Code_Bits(kind.format);
            const Words codes = Make_Codes(shape.frames * shape.channels, bits);
            Write_Words(path, kind, shape, codes);
            const Words padded = Padded(codes, bits / 8 * shape.channels);

            const PeerContent content = Read_With_Sndfile(path);
            Expect_Peer_Info(content.info, kind.peer_format, shape.channels, shape.rate,
                             padded.size() / shape.channels);
            if (kind.format == FLOAT32) {
                Floats floats;
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
        Write_Words(ours, {0, FT_AIFC, INT16}, {1, atof(rate), 2}, {0, 1});
        const Bytes field = Rate_Field(theirs);
        ASSERT_EQ(field.size(), 10u);
        EXPECT_EQ(Rate_Field(ours), field);
        EXPECT_EQ(OpenedFile(theirs, OM_READ).sample_rate, atof(rate));
    }
}

// What the opens make of a WAVE header: every file stands here as bytes and is opened both for
// reading and for reading and writing.
#include "tests/engine_fixture.h"

#include <gtest/gtest.h>

using Texts = std::vector<std::string>;

// What comes before a chunk's body.
static Bytes Head(const char* id, uint64_t size)
{
    return Join({Text(id), Little(4, size)});
}

// A chunk as it should be: an odd body is followed by a pad byte.
static Bytes Chunk(const char* id, const Bytes& body)
{
    return Join({Head(id, body.size()), body, Bytes(body.size() % 2, 0)});
}

static Bytes Riff_Of_Size(uint64_t size, const std::vector<Bytes>& chunks)
{
    return Join({Head("RIFF", size), Text("WAVE"), Join(chunks)});
}

static Bytes Riff(const std::vector<Bytes>& chunks)
{
    return Riff_Of_Size(4 + Join(chunks).size(), chunks);
}

static Bytes Format_Body(unsigned tag, unsigned channels, uint64_t rate, uint64_t byte_rate,
                         unsigned bits)
{
    return Join({Little(2, tag), Little(2, channels), Little(4, rate), Little(4, byte_rate),
                 Little(2, 0xBEEF), Little(2, bits)}); // nothing depends on the block align
}

// One channel at 8000 hertz, its byte rate as it should be.
static Bytes Format(unsigned tag, unsigned bits, const Bytes& extension = {})
{
    const Bytes body = Format_Body(tag, 1, 8000, (bits + 7) / 8 * 8000, bits);
    return Chunk("fmt ", Join({body, extension}));
}

static Bytes Guid(unsigned tag, unsigned tag_high = 0, unsigned second = 0, unsigned third = 16,
                  uint64_t fourth = 0xAA000080, uint64_t fifth = 0x719B3800)
{
    return Join({Little(2, tag), Little(2, tag_high), Little(2, second), Little(2, third),
                 Little(4, fourth), Little(4, fifth)});
}

// The extension is cbSize, valid bits, channel mask, GUID.
static Bytes Extensible(unsigned bits, const Bytes& guid, unsigned extension_bytes = 22)
{
    return Format(0xFFFE, bits,
                  Join({Little(2, extension_bytes), Little(2, 7), Little(4, 0x12345678), guid}));
}

static constexpr uint32_t Most = 0xFFFFFFFF;
static const Bytes Mono_16 = Format(1, 16);
static const Bytes Four_Bytes = Chunk("data", {1, 2, 3, 4});
static const Bytes No_Data = Chunk("data", {});

static Bytes With(const Bytes& format)
{
    return Riff({format, Four_Bytes});
}

static Bytes With_Pcm(unsigned channels, uint64_t rate, uint64_t byte_rate, unsigned bits)
{
    return With(Chunk("fmt ", Format_Body(1, channels, rate, byte_rate, bits)));
}

static const Bytes Canonical = {'R', 'I', 'F',  'F',  44, 0, 0, 0, 'W', 'A', 'V', 'E',  'f',
                                'm', 't', ' ',  16,   0,  0, 0, 1, 0,   2,   0,   0x44, 0xAC,
                                0,   0,   0x10, 0xB1, 2,  0, 4, 0, 16,  0,   'd', 'a',  't',
                                'a', 8,   0,    0,    0,  1, 0, 2, 0,   3,   0,   4,    0};

static const char Length[] = "2,16: Audiofile_Open_Read: incorrect data chunck length in header";
static const char Rate[] = "2,14: Audiofile_Open_Read: Inconsistent parameters in WAVE file ";

static constexpr HeaderFields Mono(DataFormat format, uint64_t bytes_per_sample, uint64_t samples,
                                   uint64_t data_start = 44, uint64_t data_bytes = 4)
{
    return {format, bytes_per_sample, 1, 8000.0, data_start, data_bytes, samples};
}
static constexpr HeaderFields Starting_At(uint64_t data_start)
{
    return Mono(INT16, 2, 2, data_start);
}
static const HeaderFields Plain = Starting_At(44);

struct OpenCase {
    const char* name;
    Bytes bytes;
    HeaderFields fields;
    Texts warnings = {};
};

static const OpenCase Open_Cases[] = {
    {"canonical", Canonical, {INT16, 2, 2, 44100.0, 44, 8, 4}},
    {"format block of 18 bytes", With(Format(1, 16, {0, 0})), Starting_At(46)},
    {"format block of 17 bytes and its pad byte", With(Format(1, 16, {0})), Starting_At(46)},
    {"longer, cbSize of no meaning", With(Format(1, 16, Bytes(24, 0xFF))), Starting_At(68)},
    {"extensible PCM", With(Extensible(16, Guid(1))), Starting_At(68)},
    {"extensible float", With(Extensible(32, Guid(3))), Mono(FLOAT32, 4, 1, 68)},
    {"extensible A-law", With(Extensible(8, Guid(6))), Mono(ALAW8, 1, 4, 68)},
    {"second GUID field of no meaning", With(Extensible(16, Guid(1, 0, 0xFFFF))), Starting_At(68)},
    {"extensible, longer", With(Extensible(16, Join({Guid(1), Bytes(5, 9)}))), Starting_At(74)},
    // The extension is read out of the chunk behind, which is then read as a chunk of its own.
    {"extensible in 16 bytes",
     Riff({Format(0xFFFE, 16), {22, 0, 'z', 'z'}, Little(4, 16), Guid(1), Four_Bytes}),
     Starting_At(68)},
    {"PCM 1 bit", With(Format(1, 1)), Mono(UINT8, 1, 4)},
    {"PCM 8 bits", With(Format(1, 8)), Mono(UINT8, 1, 4)},
    {"PCM 9 bits", With(Format(1, 9)), Plain},
    {"PCM 12 bits", With(Format(1, 12)), Plain},
    {"PCM 17 bits, part of a sample left over", With(Format(1, 17)), Mono(INT24, 3, 1)},
    {"PCM 24 bits", With(Format(1, 24)), Mono(INT24, 3, 1)},
    {"PCM 25 bits", With(Format(1, 25)), Mono(INT32, 4, 1)},
    {"PCM 32 bits", With(Format(1, 32)), Mono(INT32, 4, 1)},
    {"float 32 bits", With(Format(3, 32)), Mono(FLOAT32, 4, 1)},
    {"float 64 bits, no whole sample", With(Format(3, 64)), Mono(FLOAT64, 8, 0)},
    {"A-law", With(Format(6, 8)), Mono(ALAW8, 1, 4)},
    {"mu-law", With(Format(7, 8)), Mono(MULAW8, 1, 4)},
    {"other chunks on every side, odd and even",
     Riff({Chunk("LIST", {1, 2, 3}), Mono_16, Chunk("fact", Bytes(4, 9)), Four_Bytes,
           Chunk("Data", {5}), Chunk("tail", {})}),
     Starting_At(68)},
    {"data before the format", Riff({Four_Bytes, Mono_16, Chunk("tail", {1, 2})}), Starting_At(20)},
    {"of two formats the later", Riff({Mono_16, Four_Bytes, Format(1, 32), Chunk("tail", {})}),
     Mono(INT32, 4, 1)},
    {"of two data the later", Riff({Mono_16, Four_Bytes, Chunk("data", Bytes(6, 1))}),
     Mono(INT16, 2, 3, 56, 6)},
    {"pad byte counts", Riff({Format(1, 8), Chunk("data", {1, 2, 3})}), Mono(UINT8, 1, 4)},
    {"no samples, container ends at 44", Riff({Mono_16, No_Data}), Mono(INT16, 2, 0, 44, 0)},
    {"size rounded up to 44", Riff_Of_Size(35, {Mono_16, No_Data}), Mono(INT16, 2, 0, 44, 0)},
    {"bytes behind the container", Join({With(Mono_16), Text("fmt \1")}), Plain},
    {"no channels, no byte rate", With_Pcm(0, 8000, 0, 16), {INT16, 2, 0, 8000.0, 44, 4, 2}},
    {"no channels", With_Pcm(0, 8000, 16000, 16), {INT16, 2, 0, 8000.0, 44, 4, 2}, {Rate}},
    {"rate 0", With_Pcm(1, 0, 0, 16), {INT16, 2, 1, 0.0, 44, 4, 2}},
    {"highest", With_Pcm(65535, Most, Most, 32), {INT32, 4, 65535, Most, 44, 4, 1}, {Rate}},
    // 4 x 0x80000001 x 1 is 4 in 32 bits.
    {"high bits", With_Pcm(1, 0x80000001, 4, 32), {INT32, 4, 1, 0x80000001, 44, 4, 1}, {Rate}},
    {"byte rate off by one", With_Pcm(1, 8000, 16001, 16), Plain, {Rate}},
    {"byte rate of 12 bits counts whole bytes", With_Pcm(1, 8000, 12000, 12), Plain, {Rate}},
    {"data up to the end of the container", Riff_Of_Size(40, {Mono_16, Four_Bytes}), Plain},
    {"data beyond the end", Riff_Of_Size(38, {Mono_16, Four_Bytes}), Plain, {Length}},
    {"data size far beyond the file",
     Riff_Of_Size(40, {Mono_16, Head("data", 1000001), Bytes(4, 0)}),
     Mono(INT16, 2, 500001, 44, 1000002),
     {Length}},
    {"both warnings, in the order of the chunks",
     Riff_Of_Size(38, {Chunk("fmt ", Format_Body(1, 2, 8000, 16000, 16)), Four_Bytes}),
     {INT16, 2, 2, 8000.0, 44, 4, 2},
     {Rate, Length}},
    {"longest data", Riff_Of_Size(2147483682, {Mono_16, Head("data", 2147483645)}),
     Mono(INT16, 2, 1073741823, 44, 2147483646)},
};

TEST(OpenWave, FillsTheRecordAndStandsAtTheFirstSample)
{
    for (const OpenCase& c : Open_Cases) {
        for (const OpenMode mode : Reading_Modes) {
            SCOPED_TRACE(testing::Message() << c.name << ", mode " << mode);
            Expect_Opened(OpenedFile(c.bytes, mode), mode, FT_WAVE, c.fields, c.warnings);
        }
    }
}

static const char Damaged[] = "3,16: Audiofile_Open_Read: Error reading header from file ";
static const char Too_Short[] = "3,16: FileAccess_Get_String: EOF on file ";
static const char No_Skip[] = "3,16: FileAccess_Skip_Data: Error reading header from file ";
static const char Bad_Size[] = "3,14: Audiofile_Open_Read: invalid cbSize in WAVE file";
static const char Bad_Guid[] = "3,14: Audiofile_Open_Read: sanitycheck failed in WAVE file";
static const char Bad_Width[] = "3,14: Audiofile_Open_Read: invalid #bits per sample in WAVE file";
static const char Bad_Float[] =
    "3,14: Audiofile_Open_Read: invalid #bits for IEEE_FLOAT in WAV file";
static const char Bad_A_Law[] = "3,14: Audiofile_Open_Read: invalid #bits for a-law in WAVE file";
static const char Bad_Mu_Law[] = "3,14: Audiofile_Open_Read: invalid #bits for mu-law in WAVE file";
static const char Twice[] = "3,14: Audiofile_Open_Read: extensible format should have been "
                            "converted";
static const char Bad_Tag[] = "3,14: Audiofile_Open_Read: Unsupported format in WAVE file ";

// Mono_16, then the rest, in a container of a stated size.
static Bytes Sized(uint64_t size, const std::vector<Bytes>& rest)
{
    return Riff_Of_Size(size, {Mono_16, Join(rest)});
}

static const HeaderRefusal Refusal_Cases[] = {
    {"container ends at 42", Sized(34, {No_Data}), true, {Damaged}},
    {"container of no size", Sized(0, {No_Data}), true, {Damaged}},
    {"format beyond", Riff_Of_Size(36, {Chunk("LIST", Bytes(12, 0)), Mono_16}), true, {Damaged}},
    {"other chunk beyond", Sized(48, {Four_Bytes, Chunk("LIST", {1, 2})}), true, {Damaged}},
    {"pad byte beyond", Sized(48, {Four_Bytes, Head("LIST", 1), {1}}), true, {Damaged}},
    {"largest other chunk", Sized(48, {Four_Bytes, Head("LIST", Most)}), true, {Damaged}},
    {"no format block", Riff({Four_Bytes, Chunk("LIST", Bytes(20, 0))}), true, {Damaged}},
    {"no data chunk", Riff({Mono_16, Chunk("LIST", Bytes(20, 0))}), true, {Damaged}},
    {"neither", Riff({Chunk("LIST", Bytes(40, 0))}), true, {Damaged}},
    {"case", Riff({Chunk("FMT ", Bytes(16, 0)), Chunk("DATA", Bytes(4, 0))}), true, {Damaged}},
    {"format at the end", Riff({Four_Bytes, Chunk("LIST", {}), Mono_16}), false, {Too_Short}},
    {"container larger than the file", Sized(42, {Four_Bytes}), false, {Too_Short}},
    {"largest container", Sized(Most, {Four_Bytes}), false, {Too_Short}},
    {"extension cut", Riff({Four_Bytes, Format(0xFFFE, 16, {22, 0})}), false, {Too_Short}},
    {"data just too long", Sized(0xFFFFFFF0, {Head("data", 2147483647)}), true, {No_Skip}},
    {"and beyond the end", Sized(40, {Head("data", Most)}), true, {Length, No_Skip}},
    {"other chunk too long", Sized(0xFFFFFFF0, {Head("LIST", 2147483648)}), true, {No_Skip}},
    {"cbSize 21", With(Extensible(16, Guid(1), 21)), true, {Bad_Size}},
    {"cbSize 0", With(Extensible(16, Guid(1), 0)), true, {Bad_Size}},
    {"GUID, high half of the first word", With(Extensible(16, Guid(1, 1))), true, {Bad_Guid}},
    {"GUID, third field", With(Extensible(16, Guid(1, 0, 0, 17))), true, {Bad_Guid}},
    {"GUID, fourth", With(Extensible(16, Guid(1, 0, 0, 16, 0xAA000081))), true, {Bad_Guid}},
    {"GUID, end",
     With(Extensible(16, Guid(1, 0, 0, 16, 0xAA000080, 0x719B3801))),
     true,
     {Bad_Guid}},
    {"GUID of no known family or tag", With(Extensible(16, Guid(0x55, 1))), true, {Bad_Guid}},
    {"PCM 0 bits", With(Format(1, 0)), true, {Bad_Width}},
    {"PCM 33 bits", With(Format(1, 33)), true, {Bad_Width}},
    {"PCM 65535 bits", With(Format(1, 65535)), true, {Bad_Width}},
    {"extensible PCM 33 bits", With(Extensible(33, Guid(1))), true, {Bad_Width}},
    {"float 16 bits", With(Format(3, 16)), true, {Bad_Float}},
    {"float 33 bits", With(Format(3, 33)), true, {Bad_Float}},
    {"A-law 7 bits", With(Format(6, 7)), true, {Bad_A_Law}},
    {"A-law 16 bits", With(Format(6, 16)), true, {Bad_A_Law}},
    {"mu-law 7 bits", With(Format(7, 7)), true, {Bad_Mu_Law}},
    {"mu-law 16 bits", With(Format(7, 16)), true, {Bad_Mu_Law}},
    {"extensible within extensible", With(Extensible(16, Guid(0xFFFE))), true, {Twice}},
    {"tag 0", With(Format(0, 16)), true, {Bad_Tag}},
    {"tag 2", With(Format(2, 16)), true, {Bad_Tag}},
    {"tag 0xFFFF", With(Format(0xFFFF, 16)), true, {Bad_Tag}},
    {"extensible, tag 0x55", With(Extensible(16, Guid(0x55))), true, {Bad_Tag}},
    {"width tested before the byte rate", With_Pcm(1, 8000, 1, 40), true, {Bad_Width}},
    {"warning first", Riff_Of_Size(38, {Head("data", 31), Bytes(32, 0)}), true, {Length, Damaged}},
};

TEST(OpenWave, Refuses)
{
    Expect_All_Refused(Refusal_Cases);
}

// A container's size is even, so only a caller of the reader can state an odd end.
TEST(OpenWave, SmallestEnd)
{
    for (const uint64_t end : {0, 43, 44}) {
        SCOPED_TRACE(end);
        OpenedFile file(Riff({Mono_16, No_Data}), OM_READ);
        fseek(file.handle->stream, 12, SEEK_SET);
        const bool stopped =
            Stops(&file.object, [&] { LF_ReadHeader_WAVE(&file.object.header, file.handle, end); });
        EXPECT_EQ(stopped, end < 44);
        EXPECT_EQ(file.object.reports, With_Name(end < 44 ? Texts{Damaged} : Texts{}, file.path));
    }
}

struct CutCase {
    const char* name;
    Bytes bytes;
    size_t needed; // bytes up to the last one that the walk reads
};
static const CutCase Cut_Cases[] = {
    {"canonical", Canonical, 44},
    {"data last, extensible", Riff({Chunk("LIST", {1, 2, 3}), Extensible(16, Guid(1)), Four_Bytes}),
     80},
    {"data first, format block of 18 bytes", Riff({Four_Bytes, Format(1, 16, {0, 0})}), 50},
    {"chunk behind the data", Riff({Mono_16, Four_Bytes, Chunk("LIST", Bytes(9, 1))}), 56},
};

TEST(OpenWave, CutAnywhereOpensOrEndsTooEarly)
{
    for (const CutCase& c : Cut_Cases) {
        for (size_t length = 0; length <= c.bytes.size(); length++) {
            SCOPED_TRACE(testing::Message() << c.name << ", " << length << " bytes");
            const OpenedFile file(Bytes(c.bytes.begin(), c.bytes.begin() + length), OM_READ);
            if (length < c.needed) {
                Expect_Refused(file, {Too_Short}, false);
            } else {
                EXPECT_FALSE(file.stopped);
                EXPECT_EQ(file.object.reports, Texts{});
                EXPECT_EQ(file.samples, file.handle->data_bytes / 2);
                EXPECT_EQ(ftell(file.handle->stream), static_cast<long>(file.handle->data_start));
            }
        }
    }
}

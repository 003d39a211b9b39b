// What the opens make of a WAVE header: every file stands here as bytes and is opened both for
// reading and for reading and writing.
#include "tests/engine_fixture.h"

#include <gtest/gtest.h>

using Texts = std::vector<std::string>;

// A chunk as it should be: an odd body is followed by a pad byte.
static Bytes Chunk(const char* id, const Bytes& body)
{
    const Bytes pad(body.size() % 2, 0);
    return Join({Text(id), Little(4, body.size()), body, pad});
}

static Bytes Riff_Of_Size(uint64_t size, const std::vector<Bytes>& chunks)
{
    return Join({Text("RIFF"), Little(4, size), Text("WAVE"), Join(chunks)});
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
static Bytes Format(unsigned tag, unsigned bits)
{
    return Chunk("fmt ", Format_Body(tag, 1, 8000, (bits + 7) / 8 * 8000, bits));
}

// The extension behind the 16 bytes of a mono format block: cbSize, valid bits, channel mask, GUID.
static Bytes Extension(unsigned extension_bytes, unsigned tag, unsigned tag_high = 0,
                       unsigned second = 0, unsigned third = 16, uint64_t fourth = 0xAA000080,
                       uint64_t fifth = 0x719B3800)
{
    return Join({Little(2, extension_bytes), Little(2, 7), Little(4, 0x12345678), Little(2, tag),
                 Little(2, tag_high), Little(2, second), Little(2, third), Little(4, fourth),
                 Little(4, fifth)});
}

static Bytes Extensible(unsigned bits, const Bytes& extension)
{
    const Bytes body = Format_Body(0xFFFE, 1, 8000, (bits + 7) / 8 * 8000, bits);
    return Chunk("fmt ", Join({body, extension}));
}

static const Bytes Mono_16 = Format(1, 16);
static const Bytes Four_Bytes = Chunk("data", {1, 2, 3, 4});
static const Bytes No_Data = Chunk("data", {});

static const Bytes Canonical = {'R', 'I', 'F',  'F',  44, 0, 0, 0, 'W', 'A', 'V', 'E',  'f',
                                'm', 't', ' ',  16,   0,  0, 0, 1, 0,   2,   0,   0x44, 0xAC,
                                0,   0,   0x10, 0xB1, 2,  0, 4, 0, 16,  0,   'd', 'a',  't',
                                'a', 8,   0,    0,    0,  1, 0, 2, 0,   3,   0,   4,    0};

static const char Length_Warning[] = "2,16: Audiofile_Open_Read: incorrect data chunck length in "
                                     "header";
static const char Rate_Warning[] = "2,14: Audiofile_Open_Read: Inconsistent parameters in WAVE "
                                   "file ";

static const HeaderFields Plain = {INT16, 2, 1, 8000.0, 44, 4, 2};
static constexpr HeaderFields Starting_At(uint64_t data_start)
{
    return {INT16, 2, 1, 8000.0, data_start, 4, 2};
}
static constexpr HeaderFields Of_Format(DataFormat format, uint64_t bytes_per_sample,
                                        uint64_t samples)
{
    return {format, bytes_per_sample, 1, 8000.0, 44, 4, samples};
}

struct OpenCase {
    const char* name;
    Bytes bytes;
    HeaderFields fields;
    Texts warnings = {};
};

static const OpenCase Open_Cases[] = {
    {"canonical", Canonical, {INT16, 2, 2, 44100.0, 44, 8, 4}},
    {"format block of 18 bytes",
     Riff({Chunk("fmt ", Join({Format_Body(1, 1, 8000, 16000, 16), Little(2, 0)})), Four_Bytes}),
     Starting_At(46)},
    {"format block of 17 bytes and its pad byte",
     Riff({Chunk("fmt ", Join({Format_Body(1, 1, 8000, 16000, 16), {0}})), Four_Bytes}),
     Starting_At(46)},
    {"longer format block, cbSize of no meaning",
     Riff({Chunk("fmt ", Join({Format_Body(1, 1, 8000, 16000, 16), Bytes(24, 0xFF)})), Four_Bytes}),
     Starting_At(68)},
    {"extensible PCM", Riff({Extensible(16, Extension(22, 1)), Four_Bytes}), Starting_At(68)},
    {"extensible float",
     Riff({Extensible(32, Extension(22, 3)), Four_Bytes}),
     {FLOAT32, 4, 1, 8000.0, 68, 4, 1}},
    {"extensible A-law",
     Riff({Extensible(8, Extension(22, 6)), Four_Bytes}),
     {ALAW8, 1, 1, 8000.0, 68, 4, 4}},
    {"extensible, second GUID field of no meaning",
     Riff({Extensible(16, Extension(22, 1, 0, 0xFFFF)), Four_Bytes}), Starting_At(68)},
    {"extensible, longer",
     Riff({Extensible(16, Join({Extension(22, 1), Bytes(5, 9)})), Four_Bytes}), Starting_At(74)},
    // The extension is read out of the chunk behind, which is then read as a chunk of its own.
    {"extensible in 16 bytes",
     Riff({Extensible(16, {}), Join({{22, 0, 'z', 'z'}, Little(4, 16)}), Little(2, 1), Little(2, 0),
           Little(2, 0), Little(2, 16), Little(4, 0xAA000080), Little(4, 0x719B3800), Four_Bytes}),
     Starting_At(68)},
    {"PCM 1 bit", Riff({Format(1, 1), Four_Bytes}), Of_Format(UINT8, 1, 4)},
    {"PCM 8 bits", Riff({Format(1, 8), Four_Bytes}), Of_Format(UINT8, 1, 4)},
    {"PCM 9 bits", Riff({Format(1, 9), Four_Bytes}), Plain},
    {"PCM 12 bits", Riff({Format(1, 12), Four_Bytes}), Plain},
    {"PCM 17 bits, part of a sample left over", Riff({Format(1, 17), Four_Bytes}),
     Of_Format(INT24, 3, 1)},
    {"PCM 24 bits", Riff({Format(1, 24), Four_Bytes}), Of_Format(INT24, 3, 1)},
    {"PCM 25 bits", Riff({Format(1, 25), Four_Bytes}), Of_Format(INT32, 4, 1)},
    {"PCM 32 bits", Riff({Format(1, 32), Four_Bytes}), Of_Format(INT32, 4, 1)},
    {"float 32 bits", Riff({Format(3, 32), Four_Bytes}), Of_Format(FLOAT32, 4, 1)},
    {"float 64 bits, no whole sample", Riff({Format(3, 64), Four_Bytes}), Of_Format(FLOAT64, 8, 0)},
    {"A-law", Riff({Format(6, 8), Four_Bytes}), Of_Format(ALAW8, 1, 4)},
    {"mu-law", Riff({Format(7, 8), Four_Bytes}), Of_Format(MULAW8, 1, 4)},
    {"other chunks on every side, odd and even",
     Riff({Chunk("LIST", {1, 2, 3}), Mono_16, Chunk("fact", Bytes(4, 9)), Four_Bytes,
           Chunk("Data", {5}), Chunk("tail", {})}),
     Starting_At(68)},
    {"data before the format", Riff({Four_Bytes, Mono_16, Chunk("tail", {1, 2})}), Starting_At(20)},
    {"of two format blocks the later",
     Riff({Mono_16, Four_Bytes, Format(1, 32), Chunk("tail", {})}), Of_Format(INT32, 4, 1)},
    {"of two data chunks the later",
     Riff({Mono_16, Four_Bytes, Chunk("data", Bytes(6, 1))}),
     {INT16, 2, 1, 8000.0, 56, 6, 3}},
    {"odd data, 8 bits: the pad byte counts", Riff({Format(1, 8), Chunk("data", {1, 2, 3})}),
     Of_Format(UINT8, 1, 4)},
    {"no samples, container ends at 44", Riff({Mono_16, No_Data}), {INT16, 2, 1, 8000.0, 44, 0, 0}},
    {"container size rounded up to 44",
     Riff_Of_Size(35, {Mono_16, No_Data}),
     {INT16, 2, 1, 8000.0, 44, 0, 0}},
    {"bytes behind the container", Join({Riff({Mono_16, Four_Bytes}), Text("fmt \1")}), Plain},
    {"no channels, no byte rate",
     Riff({Chunk("fmt ", Format_Body(1, 0, 8000, 0, 16)), Four_Bytes}),
     {INT16, 2, 0, 8000.0, 44, 4, 2}},
    {"no channels but a byte rate",
     Riff({Chunk("fmt ", Format_Body(1, 0, 8000, 16000, 16)), Four_Bytes}),
     {INT16, 2, 0, 8000.0, 44, 4, 2},
     {Rate_Warning}},
    {"rate 0",
     Riff({Chunk("fmt ", Format_Body(1, 1, 0, 0, 16)), Four_Bytes}),
     {INT16, 2, 1, 0.0, 44, 4, 2}},
    {"highest rate and channels; the byte rate does not fit",
     Riff({Chunk("fmt ", Format_Body(1, 65535, 0xFFFFFFFF, 0xFFFFFFFF, 32)), Four_Bytes}),
     {INT32, 4, 65535, 4294967295.0, 44, 4, 1},
     {Rate_Warning}},
    // 4 x 0x80000001 x 1 is 4 in 32 bits.
    {"byte rate right but for the high bits",
     Riff({Chunk("fmt ", Format_Body(1, 1, 0x80000001, 4, 32)), Four_Bytes}),
     {INT32, 4, 1, 2147483649.0, 44, 4, 1},
     {Rate_Warning}},
    {"byte rate off by one",
     Riff({Chunk("fmt ", Format_Body(1, 1, 8000, 16001, 16)), Four_Bytes}),
     Plain,
     {Rate_Warning}},
    {"byte rate of 12 bits counts whole bytes",
     Riff({Chunk("fmt ", Format_Body(1, 1, 8000, 12000, 12)), Four_Bytes}),
     Plain,
     {Rate_Warning}},
    {"data up to the end of the container", Riff_Of_Size(40, {Mono_16, Four_Bytes}), Plain},
    {"data beyond the end of the container",
     Riff_Of_Size(38, {Mono_16, Four_Bytes}),
     Plain,
     {Length_Warning}},
    {"data size far beyond the file",
     Riff_Of_Size(40, {Mono_16, Text("data"), Little(4, 1000001), Little(4, 0)}),
     {INT16, 2, 1, 8000.0, 44, 1000002, 500001},
     {Length_Warning}},
    {"both warnings, in the order of the chunks",
     Riff_Of_Size(38, {Chunk("fmt ", Format_Body(1, 2, 8000, 16000, 16)), Four_Bytes}),
     {INT16, 2, 2, 8000.0, 44, 4, 2},
     {Rate_Warning, Length_Warning}},
    {"data as long as can be skipped",
     Riff_Of_Size(2147483682, {Mono_16, Text("data"), Little(4, 2147483645)}),
     {INT16, 2, 1, 8000.0, 44, 2147483646, 1073741823}},
};

TEST(OpenWave, FillsTheRecordAndStandsAtTheFirstSample)
{
    for (const OpenCase& c : Open_Cases) {
        for (const OpenMode mode : Reading_Modes) {
            SCOPED_TRACE(testing::Message() << c.name << ", mode " << mode);
            const OpenedFile file(c.bytes, mode);
            Expect_Opened(file, mode, FT_WAVE, c.fields, c.warnings);
        }
    }
}

static const char Damaged[] = "3,16: Audiofile_Open_Read: Error reading header from file ";
static const char Too_Short[] = "3,16: FileAccess_Get_String: EOF on file ";
static const char Skip_Failed[] = "3,16: FileAccess_Skip_Data: Error reading header from file ";
static const char Bad_Extension[] = "3,14: Audiofile_Open_Read: invalid cbSize in WAVE file";
static const char Bad_Guid[] = "3,14: Audiofile_Open_Read: sanitycheck failed in WAVE file";
static const char Bad_Width[] = "3,14: Audiofile_Open_Read: invalid #bits per sample in WAVE file";
static const char Bad_Float[] = "3,14: Audiofile_Open_Read: invalid #bits for IEEE_FLOAT in WAV "
                                "file";
static const char Bad_ALaw[] = "3,14: Audiofile_Open_Read: invalid #bits for a-law in WAVE file";
static const char Bad_MuLaw[] = "3,14: Audiofile_Open_Read: invalid #bits for mu-law in WAVE file";
static const char Twice_Extensible[] = "3,14: Audiofile_Open_Read: extensible format should have "
                                       "been converted";
static const char Bad_Tag[] = "3,14: Audiofile_Open_Read: Unsupported format in WAVE file ";

static Bytes With_Format(const Bytes& format)
{
    return Riff({format, Four_Bytes});
}

static const HeaderRefusal Refusal_Cases[] = {
    {"container ends at 42", Riff_Of_Size(34, {Mono_16, No_Data}), true, {Damaged}},
    {"container of no size", Riff_Of_Size(0, {Mono_16, No_Data}), true, {Damaged}},
    {"format block beyond the end",
     Riff_Of_Size(36, {Chunk("LIST", Bytes(12, 0)), Mono_16}),
     true,
     {Damaged}},
    {"other chunk beyond the end",
     Riff_Of_Size(48, {Mono_16, Four_Bytes, Chunk("LIST", {1, 2})}),
     true,
     {Damaged}},
    {"pad byte beyond the end",
     Riff_Of_Size(48, {Mono_16, Four_Bytes, Text("LIST"), Little(4, 1), {1}}),
     true,
     {Damaged}},
    {"other chunk of the largest size",
     Riff_Of_Size(48, {Mono_16, Four_Bytes, Text("LIST"), Little(4, 0xFFFFFFFF)}),
     true,
     {Damaged}},
    {"no format block", Riff({Four_Bytes, Chunk("LIST", Bytes(20, 0))}), true, {Damaged}},
    {"no data chunk", Riff({Mono_16, Chunk("LIST", Bytes(20, 0))}), true, {Damaged}},
    {"neither", Riff({Chunk("LIST", Bytes(40, 0))}), true, {Damaged}},
    {"ids differ in case",
     Riff({Chunk("FMT ", Bytes(16, 0)), Chunk("DATA", Bytes(4, 0))}),
     true,
     {Damaged}},
    {"16-byte format block at the end of the file",
     Riff({Four_Bytes, Chunk("LIST", {}), Mono_16}),
     false,
     {Too_Short}},
    {"container larger than the file", Riff_Of_Size(42, {Mono_16, Four_Bytes}), false, {Too_Short}},
    {"largest container", Riff_Of_Size(0xFFFFFFFF, {Mono_16, Four_Bytes}), false, {Too_Short}},
    {"extension cut off", Riff({Four_Bytes, Extensible(16, Little(2, 22))}), false, {Too_Short}},
    {"data one byte too long to skip",
     Riff_Of_Size(0xFFFFFFF0, {Mono_16, Text("data"), Little(4, 2147483647)}),
     true,
     {Skip_Failed}},
    {"data too long to skip and beyond the end",
     Riff_Of_Size(40, {Mono_16, Text("data"), Little(4, 0xFFFFFFFF)}),
     true,
     {Length_Warning, Skip_Failed}},
    {"other chunk too long to skip",
     Riff_Of_Size(0xFFFFFFF0, {Mono_16, Text("LIST"), Little(4, 2147483648)}),
     true,
     {Skip_Failed}},
    {"cbSize 21", With_Format(Extensible(16, Extension(21, 1))), true, {Bad_Extension}},
    {"cbSize 0", With_Format(Extensible(16, Extension(0, 1))), true, {Bad_Extension}},
    {"GUID, high half of the first word",
     With_Format(Extensible(16, Extension(22, 1, 1))),
     true,
     {Bad_Guid}},
    {"GUID, third field",
     With_Format(Extensible(16, Extension(22, 1, 0, 0, 17))),
     true,
     {Bad_Guid}},
    {"GUID, first half of the last field",
     With_Format(Extensible(16, Extension(22, 1, 0, 0, 16, 0xAA000081))),
     true,
     {Bad_Guid}},
    {"GUID, second half of the last field",
     With_Format(Extensible(16, Extension(22, 1, 0, 0, 16, 0xAA000080, 0x719B3801))),
     true,
     {Bad_Guid}},
    {"GUID of no known family and no known tag",
     With_Format(Extensible(16, Extension(22, 0x55, 1))),
     true,
     {Bad_Guid}},
    {"PCM 0 bits", With_Format(Format(1, 0)), true, {Bad_Width}},
    {"PCM 33 bits", With_Format(Format(1, 33)), true, {Bad_Width}},
    {"PCM 65535 bits", With_Format(Format(1, 65535)), true, {Bad_Width}},
    {"extensible PCM 33 bits", With_Format(Extensible(33, Extension(22, 1))), true, {Bad_Width}},
    {"float 16 bits", With_Format(Format(3, 16)), true, {Bad_Float}},
    {"float 33 bits", With_Format(Format(3, 33)), true, {Bad_Float}},
    {"A-law 7 bits", With_Format(Format(6, 7)), true, {Bad_ALaw}},
    {"A-law 16 bits", With_Format(Format(6, 16)), true, {Bad_ALaw}},
    {"mu-law 7 bits", With_Format(Format(7, 7)), true, {Bad_MuLaw}},
    {"mu-law 16 bits", With_Format(Format(7, 16)), true, {Bad_MuLaw}},
    {"extensible within extensible",
     With_Format(Extensible(16, Extension(22, 0xFFFE))),
     true,
     {Twice_Extensible}},
    {"tag 0", With_Format(Format(0, 16)), true, {Bad_Tag}},
    {"tag 2", With_Format(Format(2, 16)), true, {Bad_Tag}},
    {"tag 0xFFFF", With_Format(Format(0xFFFF, 16)), true, {Bad_Tag}},
    {"extensible, tag 0x55", With_Format(Extensible(16, Extension(22, 0x55))), true, {Bad_Tag}},
    {"width tested before the byte rate",
     With_Format(Chunk("fmt ", Format_Body(1, 1, 8000, 1, 40))),
     true,
     {Bad_Width}},
    {"data warning before a later refusal",
     Riff_Of_Size(38, {Text("data"), Little(4, 31), Bytes(32, 0)}),
     true,
     {Length_Warning, Damaged}},
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
    {"data last, extensible",
     Riff({Chunk("LIST", {1, 2, 3}), Extensible(16, Extension(22, 1)), Four_Bytes}), 80},
    {"data first, format block of 18 bytes",
     Riff({Four_Bytes, Chunk("fmt ", Join({Format_Body(1, 1, 8000, 16000, 16), Little(2, 0)}))}),
     50},
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

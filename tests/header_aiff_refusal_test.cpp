// AIFF and AIFC files that the opens refuse, and files that are cut short: the exact reports, and
// whether the file is closed before them.
#include "tests/aiff_bytes.h"

#include <gtest/gtest.h>

using Texts = std::vector<std::string>;

static const char Damaged[] = "3,16: Audiofile_Open_Read: Error reading header from file ";
static const char Second[] = "3,16: Audiofile_ReadChunk2_AIFF: second FORM chunck in header of ";
static const char Bad_Version[] = "3,16: Audiofile_Open_Read: Unknown AIFF version in file ";
static const char Bad_Type[] = "3,17: LF_ReadHeader_AIFF: Unsupported dataformat in ";
static const char Bad_Width[] = "3,17: LF_ReadHeader_AIFF: Unsupported samplewidth in ";
static const char No_Skip[] = "3,16: FileAccess_Skip_Data: Error reading header from file ";

static const Bytes Long_Comm = Head("COMM", 0x90000000);
static constexpr uint64_t Large = 0xFFFFFFF0;

static const HeaderRefusal Refusal_Cases[] = {
    {"container ends at 12", Sized(4, {Mono_16, Four_Bytes}), true, {Damaged}},
    {"container ends at 8", Sized(0, {Mono_16, Four_Bytes}, "AIFC"), true, {Damaged}},
    {"nothing but the head", Aiff({}), true, {Damaged}},
    {"container ends at 13", Sized(5, {Mono_16, Four_Bytes}), true, {Damaged}},
    {"no COMM", Aiff({Four_Bytes}), true, {Damaged}},
    {"COMM of another case", With(Chunk("comm", Layout(1, 2, 16))), true, {Damaged}},
    {"frames but no SSND", Aiff({Comm(16, 1)}), true, {Damaged}},
    {"frames but no SSND, AIFC", Aifc({Version, Comm_Of_Type("NONE", 16)}), true, {Damaged}},
    {"frames of no channels but no SSND", Aiff({Chunk("COMM", Layout(0, 2, 16))}), true, {Damaged}},
    {"COMM beyond the end", Sized(28, {Mono_16, Four_Bytes}), true, {Damaged}},
    {"other beyond", Sized(56, {Mono_16, Four_Bytes, Chunk("NAME", {1, 2})}), true, {Damaged}},
    {"pad beyond", Sized(55, {Mono_16, Four_Bytes, Head("NAME", 1), {1}}), true, {Damaged}},
    {"two containers", Aiff({Mono_16, Four_Bytes, Chunk("FORM", Text("AIFF"))}), true, {Second}},
    {"second beyond the end", Sized(60, {Mono_16, Four_Bytes, Head("FORM", 20)}), true, {Damaged}},
    {"another version",
     Aifc({Chunk("FVER", Big(4, 0xA2805141)), Comm_Of_Type("NONE", 16)}),
     true,
     {Bad_Version}},
    {"in AIFF", Aiff({Mono_16, Four_Bytes, Chunk("FVER", Big(4, 0))}), true, {Bad_Version}},
    {"other byte order", Aifc({Chunk("FVER", Little(4, 0xA2805140))}), true, {Bad_Version}},
    {"version cut", Sized(16, {Head("FVER", 4), {0xA2, 0x80, 0x51}}, "AIFC"), false, {Too_Short}},
    {"none", Typed("none", 16), true, {Bad_Type}},
    {"Alaw", Typed("Alaw", 8), true, {Bad_Type}},
    {"uLAW", Typed("uLAW", 8), true, {Bad_Type}},
    {"Fl32", Typed("Fl32", 32), true, {Bad_Type}},
    {"fL64", Typed("fL64", 64), true, {Bad_Type}},
    {"sowt", Typed("sowt", 16, "\4NONE"), true, {Bad_Type}},
    {"compression type looked at before the width", Typed("ima4", 0), true, {Bad_Type}},
    {"compression type looked at before the skip",
     Sized(Large, {Long_Comm, Layout(1, 2, 16), Text("ima4")}, "AIFC"),
     true,
     {Bad_Type}},
    {"COMM too long to skip", Sized(Large, {Long_Comm, Layout(1, 2, 0)}), true, {No_Skip}},
    {"AIFF 0 bits", With(Comm(0)), true, {Bad_Width}},
    {"AIFF 33 bits", With(Comm(33)), true, {Bad_Width}},
    {"AIFF 65535 bits", With(Comm(65535)), true, {Bad_Width}},
    {"AIFC 0 bits", Typed("NONE", 0), true, {Bad_Width}},
    {"AIFC 33 bits", Typed("NONE", 33), true, {Bad_Width}},
    {"container larger than the file", Sized(52, {Mono_16, Four_Bytes}), false, {Too_Short}},
    {"largest container", Sized(0xFFFFFFFF, {Mono_16, Four_Bytes}), false, {Too_Short}},
    {"offset too long to skip", Aiff({Mono_16, Sound(2147483648, {1, 2})}), true, {No_Skip}},
    {"sound too long to skip",
     Sized(Large, {Mono_16, Head("SSND", 2147483655), Sound_Body(0)}),
     true,
     {No_Skip}},
    {"sound too long to skip and beyond the end",
     Sized(46, {Mono_16, Head("SSND", 0xFFFFFFFF), Sound_Body(0)}),
     true,
     {Length, No_Skip}},
    {"other chunk too long to skip", Sized(Large, {Head("NAME", 2147483648)}), true, {No_Skip}},
    {"warning before a later refusal", Sized(19, {Four_Bytes, Mono_16}), true, {Length, Damaged}},
};

TEST(OpenAiff, Refuses)
{
    Expect_All_Refused(Refusal_Cases);
}

TEST(OpenAiff, NoFramesNeedNoSound)
{
    // None at all, and none in the later COMM.
    for (const Bytes& bytes :
         {Aiff({Comm(16, 0)}), Aiff({Comm(16, 7), Comm(24, 0), Chunk("NAME", {1})})}) {
        for (const OpenMode mode : Reading_Modes) {
            const OpenedFile file(bytes, mode);
            EXPECT_EQ(file.object.reports, Texts{});
            EXPECT_FALSE(file.stopped);
            EXPECT_EQ(file.samples, 0u);
            EXPECT_EQ(file.channels, 1u);
            EXPECT_EQ(file.sample_rate, 8000.0);
            EXPECT_EQ(file.handle->data_bytes, 0u);
        }
    }
}

struct CutCase {
    const char* name;
    Bytes bytes;
    size_t needed; // bytes up to the last one that the walk reads
};
static const CutCase Cut_Cases[] = {
    {"AIFF, needs the sound's offset", Plain_Aiff, 50},
    {"AIFC, needs the sound's offset", Plain_Aifc, 82},
    {"sound first, needs the compression type",
     Aifc({Sound(3, Bytes(8, 1)), Version, Comm_Of_Type("FL32", 16, "name")}), 78},
    {"chunk behind the sound", Aiff({Mono_16, Four_Bytes, Chunk("NAME", Bytes(9, 1))}), 66},
};

TEST(OpenAiff, CutAnywhereOpensOrEndsTooEarly)
{
    for (const CutCase& c : Cut_Cases) {
        const OpenedFile whole(c.bytes, OM_READ);
        for (size_t length = 0; length <= c.bytes.size(); length++) {
            SCOPED_TRACE(testing::Message() << c.name << ", " << length << " bytes");
            const OpenedFile file(Bytes(c.bytes.begin(), c.bytes.begin() + length), OM_READ);
            if (length < c.needed) {
                Expect_Refused(file, {Too_Short}, false);
            } else {
                EXPECT_FALSE(file.stopped);
                EXPECT_EQ(file.object.reports, Texts{});
                EXPECT_EQ(file.samples, whole.samples);
                EXPECT_EQ(ftell(file.handle->stream), ftell(whole.handle->stream));
            }
        }
    }
}

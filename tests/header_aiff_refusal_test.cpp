// AIFF and AIFC files that the opens refuse, and files that are cut short: the exact reports, and
// whether the file is closed before them.
#include "tests/aiff_bytes.h"

#include <gtest/gtest.h>

using Texts = std::vector<std::string>;

static const char Length_Warning[] = "2,16: Audiofile_Open_Read: incorrect data chunk length in "
                                     "header";

static const char Damaged[] = "3,16: Audiofile_Open_Read: Error reading header from file ";
static const char Second_Form[] = "3,16: Audiofile_ReadChunk2_AIFF: second FORM chunck in header "
                                  "of ";
static const char Bad_Version[] = "3,16: Audiofile_Open_Read: Unknown AIFF version in file ";
static const char Bad_Compression[] = "3,17: LF_ReadHeader_AIFF: Unsupported dataformat in ";
static const char Bad_Width[] = "3,17: LF_ReadHeader_AIFF: Unsupported samplewidth in ";
static const char Too_Short[] = "3,16: FileAccess_Get_String: EOF on file ";
static const char Skip_Failed[] = "3,16: FileAccess_Skip_Data: Error reading header from file ";

static const HeaderRefusal Refusal_Cases[] = {
    {"container ends at 12", Form_Of_Size("AIFF", 4, {Mono_16, Four_Bytes}), true, {Damaged}},
    {"container ends at 8", Form_Of_Size("AIFC", 0, {Mono_16, Four_Bytes}), true, {Damaged}},
    {"nothing but the head", Aiff({}), true, {Damaged}},
    {"container ends at 13", Form_Of_Size("AIFF", 5, {Mono_16, Four_Bytes}), true, {Damaged}},
    {"no COMM", Aiff({Four_Bytes}), true, {Damaged}},
    {"no COMM but one of another case",
     Aiff({Chunk("comm", Layout(1, 2, 16)), Four_Bytes}),
     true,
     {Damaged}},
    {"frames but no SSND", Aiff({Comm(16, 1)}), true, {Damaged}},
    {"frames but no SSND, AIFC", Aifc({Version, Comm_Of_Type("NONE", 16)}), true, {Damaged}},
    {"frames of no channels but no SSND", Aiff({Chunk("COMM", Layout(0, 2, 16))}), true, {Damaged}},
    {"COMM beyond the end", Form_Of_Size("AIFF", 28, {Mono_16, Four_Bytes}), true, {Damaged}},
    {"other chunk beyond the end",
     Form_Of_Size("AIFF", 56, {Mono_16, Four_Bytes, Chunk("NAME", {1, 2})}),
     true,
     {Damaged}},
    {"pad byte beyond the end",
     Form_Of_Size("AIFF", 55, {Mono_16, Four_Bytes, Text("NAME"), Big(4, 1), {1}}),
     true,
     {Damaged}},
    {"second container",
     Aiff({Mono_16, Four_Bytes, Chunk("FORM", Text("AIFF"))}),
     true,
     {Second_Form}},
    {"second container beyond the end",
     Form_Of_Size("AIFF", 60, {Mono_16, Four_Bytes, Text("FORM"), Big(4, 20)}),
     true,
     {Damaged}},
    {"another version",
     Aifc({Chunk("FVER", Big(4, 0xA2805141)), Comm_Of_Type("NONE", 16)}),
     true,
     {Bad_Version}},
    {"another version in AIFF",
     Aiff({Mono_16, Four_Bytes, Chunk("FVER", Big(4, 0))}),
     true,
     {Bad_Version}},
    {"version in the other byte order",
     Aifc({Chunk("FVER", Little(4, 0xA2805140))}),
     true,
     {Bad_Version}},
    {"version cut off",
     Form_Of_Size("AIFC", 16, {Text("FVER"), Big(4, 4), {0xA2, 0x80, 0x51}}),
     false,
     {Too_Short}},
    {"none", Aifc({Comm_Of_Type("none", 16), Four_Bytes}), true, {Bad_Compression}},
    {"Alaw", Aifc({Comm_Of_Type("Alaw", 8), Four_Bytes}), true, {Bad_Compression}},
    {"uLAW", Aifc({Comm_Of_Type("uLAW", 8), Four_Bytes}), true, {Bad_Compression}},
    {"Fl32", Aifc({Comm_Of_Type("Fl32", 32), Four_Bytes}), true, {Bad_Compression}},
    {"fL64", Aifc({Comm_Of_Type("fL64", 64), Four_Bytes}), true, {Bad_Compression}},
    {"sowt", Aifc({Comm_Of_Type("sowt", 16, "NONE"), Four_Bytes}), true, {Bad_Compression}},
    {"compression type looked at before the width",
     Aifc({Comm_Of_Type("ima4", 0), Four_Bytes}),
     true,
     {Bad_Compression}},
    {"compression type looked at before the skip",
     Form_Of_Size("AIFC", 0xFFFFFFF0,
                  {Text("COMM"), Big(4, 0x90000000), Layout(1, 2, 16), Text("ima4")}),
     true,
     {Bad_Compression}},
    {"COMM too long to skip",
     Form_Of_Size("AIFF", 0xFFFFFFF0, {Text("COMM"), Big(4, 0x90000000), Layout(1, 2, 0)}),
     true,
     {Skip_Failed}},
    {"AIFF 0 bits", Aiff({Comm(0), Four_Bytes}), true, {Bad_Width}},
    {"AIFF 33 bits", Aiff({Comm(33), Four_Bytes}), true, {Bad_Width}},
    {"AIFF 65535 bits", Aiff({Comm(65535), Four_Bytes}), true, {Bad_Width}},
    {"AIFC 0 bits", Aifc({Comm_Of_Type("NONE", 0), Four_Bytes}), true, {Bad_Width}},
    {"AIFC 33 bits", Aifc({Comm_Of_Type("NONE", 33), Four_Bytes}), true, {Bad_Width}},
    {"container larger than the file",
     Form_Of_Size("AIFF", 52, {Mono_16, Four_Bytes}),
     false,
     {Too_Short}},
    {"largest container",
     Form_Of_Size("AIFF", 0xFFFFFFFF, {Mono_16, Four_Bytes}),
     false,
     {Too_Short}},
    {"offset too long to skip", Aiff({Mono_16, Sound(2147483648, {1, 2})}), true, {Skip_Failed}},
    {"sound too long to skip",
     Form_Of_Size("AIFF", 0xFFFFFFF0,
                  {Mono_16, Text("SSND"), Big(4, 2147483655), Sound_Body(0, {})}),
     true,
     {Skip_Failed}},
    {"sound too long to skip and beyond the end",
     Form_Of_Size("AIFF", 46, {Mono_16, Text("SSND"), Big(4, 0xFFFFFFFF), Sound_Body(0, {})}),
     true,
     {Length_Warning, Skip_Failed}},
    {"other chunk too long to skip",
     Form_Of_Size("AIFF", 0xFFFFFFF0, {Text("NAME"), Big(4, 2147483648)}),
     true,
     {Skip_Failed}},
    {"sound warning before a later refusal",
     Form_Of_Size("AIFF", 19, {Four_Bytes, Mono_16}),
     true,
     {Length_Warning, Damaged}},
};

TEST(OpenAiff, Refuses)
{
    Expect_All_Refused(Refusal_Cases);
}

TEST(OpenAiff, NoFramesNeedNoSound)
{
    const Bytes none_at_all = Aiff({Comm(16, 0)});
    const Bytes none_in_the_later = Aiff({Comm(16, 7), Comm(24, 0), Chunk("NAME", {1})});
    for (const Bytes& bytes : {none_at_all, none_in_the_later}) {
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

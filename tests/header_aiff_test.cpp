// What the opens take from an AIFF or AIFC header: every file stands here as bytes and is opened
// both for reading and for reading and writing.
#include "tests/aiff_bytes.h"

#include <gtest/gtest.h>

#include <bit>

using Texts = std::vector<std::string>;

static constexpr HeaderFields Of_Format(DataFormat format, uint64_t bytes_per_sample,
                                        uint64_t data_start, uint64_t data_bytes = 4)
{
    return {format, bytes_per_sample, 1, 8000.0, data_start, data_bytes, 2};
}
static constexpr HeaderFields Starting_At(uint64_t data_start, uint64_t data_bytes = 4)
{
    return Of_Format(INT16, 2, data_start, data_bytes);
}

struct OpenCase {
    const char* name;
    Bytes bytes;
    HeaderFields fields;
    uint64_t bits_per_sample = 16;
    Texts warnings = {};
};

static const OpenCase Open_Cases[] = {
    {"AIFF", Plain_Aiff, {INT16, 2, 2, 44100.0, 54, 8, 4}},
    {"AIFC with a compression name", Plain_Aifc, {INT16, 2, 2, 44100.0, 86, 8, 4}},
    {"AIFF 1 bit", With(Comm(1)), Of_Format(INT8, 1, 54), 1},
    {"AIFF 8 bits", With(Comm(8)), Of_Format(INT8, 1, 54), 8},
    {"AIFF 9 bits", With(Comm(9)), Of_Format(INT16, 2, 54), 9},
    {"AIFF 17 bits", With(Comm(17)), Of_Format(INT24, 3, 54), 17},
    {"AIFF 24 bits", With(Comm(24)), Of_Format(INT24, 3, 54), 24},
    {"AIFF 25 bits", With(Comm(25)), Of_Format(INT32, 4, 54), 25},
    {"AIFF 32 bits", With(Comm(32)), Of_Format(INT32, 4, 54), 32},
    {"AIFC 8 bits", Typed("NONE", 8), Of_Format(INT8, 1, 58), 8},
    {"AIFC 32 bits", Typed("NONE", 32), Of_Format(INT32, 4, 58), 32},
    {"alaw", Typed("alaw", 8), Of_Format(ALAW8, 1, 58), 8},
    {"ALAW", Typed("ALAW", 8), Of_Format(ALAW8, 1, 58), 8},
    {"ulaw keeps the stated width", Typed("ulaw", 16), Of_Format(MULAW8, 2, 58)},
    {"ULAW of no width", Typed("ULAW", 0), Of_Format(MULAW8, 0, 58), 0},
    {"fl32", Typed("fl32", 32), Of_Format(FLOAT32, 4, 58), 32},
    {"FL32 of 33 bits", Typed("FL32", 33), Of_Format(FLOAT32, 5, 58), 33},
    {"fl64", Typed("fl64", 64), Of_Format(FLOAT64, 8, 58), 64},
    {"FL64 of the largest width", Typed("FL64", 65535), Of_Format(FLOAT64, 8192, 58), 65535},
    {"odd compression name", Typed("NONE", 16, "\4name"), Starting_At(64)},
    {"longer COMM", With(Chunk("COMM", Join({Layout(1, 2, 16), Text("alaw")}))), Starting_At(58)},
    // The rate is read out of the chunk behind, which is then read as a chunk of its own.
    {"COMM of 8 bytes",
     With(Join({Head("COMM", 8),
                Layout(1, 2, 16, {0x40, 0x0B, 0xFA, 0}),
                Bytes(6, 0),
                {'z', 'z'},
                Big(4, 0)})),
     Starting_At(60)},
    {"AIFF with a version", Aiff({Version, Mono_16, Four_Bytes}), Starting_At(66)},
    {"longer version chunk",
     Aifc({Chunk("FVER", {0xA2, 0x80, 0x51, 0x40, 1, 2, 3}), Comm_Of_Type("NONE", 16), Four_Bytes}),
     Starting_At(74)},
    {"empty version chunk, the stamp is the id behind it",
     Aiff({Chunk("FVER", {}), Big(4, 0xA2805140), Big(4, 0), Mono_16, Four_Bytes}),
     Starting_At(70)},
    {"other chunks on every side, odd and even",
     Aiff({Chunk("NAME", {1, 2, 3}), Mono_16, Chunk("ssnd", {9}), Four_Bytes, Chunk("Comm", {})}),
     Starting_At(76)},
    {"sound before COMM", Aiff({Four_Bytes, Mono_16}), Starting_At(28)},
    {"of two COMM the later", Aiff({Comm(32), Four_Bytes, Mono_16}), Starting_At(54)},
    {"later SSND", Aiff({Mono_16, Four_Bytes, Sound(0, Bytes(6, 1))}), Starting_At(74, 6)},
    {"offset 4", Aiff({Mono_16, Sound(4, Bytes(10, 1))}), Starting_At(58, 6)},
    {"offset up to the end", Aiff({Mono_16, Sound(4, Bytes(4, 1))}), Starting_At(58, 0)},
    {"beyond", Aiff({Mono_16, Sound(5, Bytes(4, 1)), Chunk("NAME", {})}), Starting_At(59, 0)},
    {"furthest", Aiff({Mono_16, Sound(2147483647, {}), Chunk("NAME", {})}),
     Starting_At(2147483701, 0)},
    {"odd sound: the pad byte counts", Aiff({Mono_16, Sound(0, {1, 2, 3})}), Starting_At(54)},
    {"fewer samples than bytes",
     Aiff({Comm(16, 1), Sound(0, Bytes(40, 0))}),
     {INT16, 2, 1, 8000.0, 54, 40, 1}},
    {"most samples that can be stated",
     With(Chunk("COMM", Layout(65535, 0xFFFFFFFF, 16))),
     {INT16, 2, 65535, 8000.0, 54, 4, 281470681677825}},
    {"no channels", With(Chunk("COMM", Layout(0, 2, 16))), {INT16, 2, 0, 8000.0, 54, 4, 0}},
    {"sound beyond the end", Sized(49, {Mono_16, Four_Bytes}), Starting_At(54), 16, {Length}},
    {"sound size far beyond the file",
     Sized(50, {Mono_16, Head("SSND", 1000007), Sound_Body(0)}),
     Starting_At(54, 1000000),
     16,
     {Length}},
    // The container's size is taken as it is, so an odd one leaves the pad byte outside.
    {"pad byte beyond", Sized(49, {Mono_16, Sound(0, {1, 2, 3})}), Starting_At(54), 16, {Length}},
    {"bytes behind the container", Join({With(Mono_16), Text("FORM")}), Starting_At(54)},
    {"sound as long as can be skipped",
     Sized(2147483692, {Mono_16, Head("SSND", 2147483653), Sound_Body(0)}),
     Starting_At(54, 2147483646)},
};

TEST(OpenAiff, FillsTheRecordAndStandsAtTheFirstSample)
{
    for (const OpenCase& c : Open_Cases) {
        for (const OpenMode mode : Reading_Modes) {
            SCOPED_TRACE(testing::Message() << c.name << ", mode " << mode);
            const OpenedFile file(c.bytes, mode);
            Expect_Opened(file, mode, c.bytes[11] == 'C' ? FT_AIFC : FT_AIFF, c.fields, c.warnings);
            if (!file.stopped) {
                EXPECT_EQ(file.handle->bits_per_sample, c.bits_per_sample);
            }
        }
    }
}

// The opens set the position as well, so only a caller of the reader can see this.
TEST(OpenAiff, CommSetsThePositionToTheStart)
{
    OpenedFile file(Plain_Aiff, OM_READ);
    ASSERT_FALSE(file.stopped);
    fseek(file.handle->stream, 12, SEEK_SET);
    file.handle->position = 3;
    EXPECT_FALSE(Stops(&file.object, [&] {
        LF_ReadHeader_AIFF(&file.object.header, file.handle, Plain_Aiff.size());
    }));
    EXPECT_EQ(file.handle->position, 0u);
    EXPECT_EQ(ftell(file.handle->stream), 54);
}

struct RateCase {
    const char* name;
    uint64_t sign_and_exponent;
    uint64_t mantissa;
    uint64_t bits; // of the double
};
static const RateCase Rate_Cases[] = {
    {"44100", 0x400E, 0xAC44000000000000, 0x40E5888000000000},
    {"negative", 0xC00E, 0xAC44000000000000, 0xC0E5888000000000},
    {"0 as it is written here", 0x3FFF, 0, 0},
    {"0", 0, 0, 0},
    {"negative 0", 0x8000, 0, 0x8000000000000000},
    {"1", 0x3FFF, 0x8000000000000000, 0x3FF0000000000000},
    {"one half", 0x3FFE, 0x8000000000000000, 0x3FE0000000000000},
    {"64, exponent just negative", 0x4005, 0x8000000000000000, 0x4050000000000000},
    {"128, no exponent left", 0x4006, 0x8000000000000000, 0x4060000000000000},
    {"256, exponent just positive", 0x4007, 0x8000000000000000, 0x4070000000000000},
    {"leading zeros", 0x400E, 0x00FF000000000000, 0x406FE00000000000},
    {"22254 6/11", 0x400D, 0xADDD1745D1745D17, 0x40D5BBA2E8BA2E8C},
    {"rounds up to a power of two", 0x400E, 0xFFFFFFFFFFFFFFFF, 0x40F0000000000000},
    // Each byte that is added rounds: rounding once would end in 5 and in 5.
    {"bytes round one by one, up", 0x400E, 0xCF7CEB5FE8ACABFF, 0x40E9EF9D6BFD1596},
    {"bytes round one by one, down", 0x400E, 0x969158161C002403, 0x40E2D22B02C38004},
    {"largest double", 0x43FE, 0xFFFFFFFFFFFFF800, 0x7FEFFFFFFFFFFFFF},
    {"above the largest double", 0x43FF, 0x8000000000000000, 0x7FF0000000000000},
    {"largest exponent", 0x7FFF, 0x8000000000000000, 0x7FF0000000000000},
    {"largest negative", 0xFFFF, 0xFFFFFFFFFFFFFFFF, 0xFFF0000000000000},
    {"largest exponent of 0", 0x7FFF, 0, 0},
    {"smallest normal double", 0x3C01, 0x8000000000000000, 0x0010000000000000},
    {"below it counts as 0", 0x3C00, 0xFFFF000000000000, 0},
    {"smallest exponent", 0, 0x8000000000000000, 0},
};

TEST(OpenAiff, DecodesTheRateByBits)
{
    for (const RateCase& c : Rate_Cases) {
        SCOPED_TRACE(c.name);
        const Bytes rate = Join({Big(2, c.sign_and_exponent), Big(8, c.mantissa)});
        const OpenedFile file(With(Chunk("COMM", Layout(1, 2, 16, rate))), OM_READ);
        EXPECT_EQ(file.object.reports, Texts{});
        EXPECT_EQ(std::bit_cast<uint64_t>(file.sample_rate), c.bits) << file.sample_rate;
    }
}

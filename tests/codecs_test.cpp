// The sample codecs, each row held against values that stand in the test, and whole calls against a
// plain loop that says what the formats mean. The streams are in memory and unbuffered, so that a
// test sees every single call that a codec makes.
#include "tests/codec_file.h"

#include <gtest/gtest.h>

namespace
{

using testing::Message;

// Words of every size, from one bit to all of them, of either sign.
Words Random_Words(uint64_t count, uint64_t seed, uint64_t limit_bits)
{
    std::mt19937_64 random(seed);
    Words words(count);
    for (int64_t& word : words) {
        const uint64_t drop = 64 - random() % limit_bits - 1;
        word = static_cast<int64_t>(random()) >> drop;
    }
    return words;
}

// Little-endian or not.
std::vector<bool> Orders(DataFormat format)
{
    return format == FLOAT32 ? std::vector<bool>{true} : std::vector<bool>{false, true};
}

// Nothing but the count of clips may change.
void Expect_Clips(CodecFile* file, uint64_t clips)
{
    EXPECT_EQ(file->handle.clipped, file->before.clipped + clips);
    file->before.clipped = file->handle.clipped;
    EXPECT_EQ(memcmp(&file->before, &file->handle, sizeof file->handle), 0);
    file->before.clipped -= clips;
}

// The words that a read of so many finds in content. The words behind them stay.
void Expect_Read(DataFormat format, bool little, const Bytes& content, uint64_t asked, Words words)
{
    CodecFile file(false, little, content, Words(asked + 8, Guard));
    Asked_Bytes.clear();
    Move(&file, format, asked);
    EXPECT_EQ(file.moved, words.size());
    words.resize(asked + 8, Guard);
    EXPECT_EQ(file.words, words);
    EXPECT_EQ(file.stream.place, std::min(content.size(), asked * Plain_Of(format).bytes));
    Expect_Clips(&file, 0);
    EXPECT_TRUE(file.object.reports.empty());
}

void Expect_Write(DataFormat format, bool little, const Words& words, const Words& limited,
                  uint64_t clips, const Bytes& content)
{
    CodecFile file(true, little, {}, words);
    Move(&file, format, words.size());
    EXPECT_EQ(file.moved, words.size());
    EXPECT_EQ(file.words, limited);
    EXPECT_EQ(file.stream.content, content);
    EXPECT_EQ(file.stream.written, Pass_Calls(Plain_Of(format), words.size()));
    Expect_Clips(&file, clips);

    // What was limited is in range now: the same array again counts nothing more.
    Move(&file, format, words.size());
    Expect_Clips(&file, clips);
}

// ---- Code values ----

// Each value stands at each of six places, so that a group of four and the rest behind it see it.
// Floats are read alone.
void Expect_Code(DataFormat format, bool little, uint64_t code, int64_t word)
{
    const bool real = format == FLOAT32;
    const unsigned width = Plain_Of(format).bytes;
    auto* bytes = little ? Little : Big;
    for (size_t place = 0; place < 6; place++) {
        SCOPED_TRACE(Message() << code << (little ? ", little, at " : ", big, at ") << place);
        std::vector<Bytes> parts(6, bytes(width, real ? Bits_Of(0.25f) : 0));
        parts[place] = bytes(width, code);
        Words words(6, real ? 2097152 : 0);
        words[place] = word;
        Expect_Read(format, little, Join(parts), 6, words);
        if (!real) {
            Expect_Write(format, little, words, words, 0, Join(parts));
        }
    }
}

struct CodeCases {
    DataFormat format;
    std::vector<std::pair<uint64_t, int64_t>> codes; // and their words
};
const CodeCases Code_Cases[] = {
    {INT8, {{0x00, 0}, {0x7F, 127}, {0x80, -128}, {0xFF, -1}}},
    {INT16, {{0x00FF, 255}, {0x0100, 256}, {0x7FFF, 32767}, {0x8000, -32768}, {0xFFFF, -1}}},
    {INT16, {{0x07FF, 2047}}}, // 12 bits are not shifted
    {INT24, {{0x123456, 0x123456}, {0x7FFFFF, 8388607}, {0x800000, -8388608}, {0xFFFFFE, -2}}},
    {INT32, {{0x12345678, 0x12345678}, {0x7FFFFFFF, 2147483647}}},
    {INT32, {{0x80000000, -2147483648}, {0xFFFFFF00, -256}}},
};

TEST(FileDRDW, IntegerCodeValuesBothWaysInBothOrders)
{
    for (const CodeCases& c : Code_Cases) {
        for (const auto& [code, word] : c.codes) {
            SCOPED_TRACE(Plain_Of(c.format).name);
            Expect_Code(c.format, false, code, word);
            Expect_Code(c.format, true, code, word);
        }
    }
}

struct FloatCases {
    const char* name;
    std::vector<std::pair<float, int64_t>> values; // and their words
};
const FloatCases Float_Read_Cases[] = {
    {"zeros and a subnormal", {{0.0f, 0}, {-0.0f, 0}, {0x1p-149f, 0}}},
    {"not limited", {{0.5f, 4194304}, {1.0f, 8388608}, {2.0f, 16777216}, {0x1p-23f, 1}}},
    {"cut to zero", {{0x1.FFFFFEp-24f, 0}, {-0x1.FFFFFEp-24f, 0}}},
    {"one and a half steps", {{0x1.8p-23f, 1}, {-0x1.8p-23f, -1}}},
    {"up to 256", {{0x1.FFFFFEp7f, 2147483520}, {256.0f, 2147483648}}},
    {"from -256", {{-256.0f, -2147483648}, {-0x1.000002p8f, -2147483904}}},
    {"the word's limit", {{0x1.FFFFFEp39f, 0x7FFFFF8000000000}, {0x1p40f, INT64_MAX}}},
    {"the word's lower limit", {{-0x1p40f, INT64_MIN}, {-0x1.000002p40f, INT64_MIN}}},
    {"farthest", {{0x1.FFFFFEp127f, INT64_MAX}, {-0x1.FFFFFEp127f, INT64_MIN}}},
    {"infinities", {{INFINITY, INT64_MAX}, {-INFINITY, INT64_MIN}}},
};

TEST(FileDRDW, FloatCodeValuesRead)
{
    for (const FloatCases& c : Float_Read_Cases) {
        for (const auto& [value, word] : c.values) {
            SCOPED_TRACE(c.name);
            Expect_Code(FLOAT32, true, Bits_Of(value), word);
        }
    }
    for (const uint32_t not_a_number : {0x7FC00000u, 0xFFC12345u, 0x7F800001u}) {
        Expect_Code(FLOAT32, true, not_a_number, 0);
    }
}

const FloatCases Float_Write_Cases[] = {
    {"exact", {{0.0f, 0}, {0x1p-23f, 1}, {0.5f, 4194304}, {256.0f, 2147483648}}},
    {"ties go to even", {{2.0f, 16777217}, {0x1.000004p1f, 16777219}}},
    {"-2^31 - 129 rounds away", {{-0x1.000002p8f, -2147483777}}},
    {"just above a tie of 61 bits", {{0x1.000002p37f, (1LL << 60) + (1LL << 36) + 1}}},
    {"limits", {{0x1p40f, INT64_MAX}, {-0x1p40f, INT64_MIN}}},
};

TEST(FileDRDW, FloatCodeValuesWrittenWithoutClipping)
{
    for (const FloatCases& c : Float_Write_Cases) {
        for (const auto& [value, word] : c.values) {
            SCOPED_TRACE(c.name);
            const std::vector<Bytes> parts(6, Little(4, Bits_Of(value)));
            Expect_Write(FLOAT32, true, Words(6, word), Words(6, word), 0, Join(parts));
        }
    }
}

// ---- Whole calls: pass borders, guards, calls of the stream ----

// Runs check for each format and order, and each count around one, two and three passes.
template <class Check> void For_Pass_Borders(Check check)
{
    for (const PlainFormat& codec : Plain_Formats) {
        const uint64_t pass = codec.pass;
        for (const bool little : Orders(codec.format)) {
            for (const uint64_t count :
                 std::vector<uint64_t>{0, 1, 3, 4, 5, pass - 1, pass, pass + 1, 2 * pass - 1,
                                       2 * pass, 2 * pass + 1, 3 * pass + 7}) {
                SCOPED_TRACE(Message()
                             << codec.name << (little ? ", little, " : ", big, ") << count);
                check(codec, little, count);
            }
        }
    }
}

Words Plain_Words(const PlainFormat& codec, bool little, const Bytes& content, uint64_t count)
{
    Words words;
    for (uint64_t i = 0; i < count; i++) {
        words.push_back(Plain_Decode(codec.format, little, &content[i * codec.bytes]));
    }
    return words;
}

TEST(FileDRDW, ReadsWholePassesAndNoByteMore)
{
    For_Pass_Borders([](const PlainFormat& codec, bool little, uint64_t count) {
        Bytes content = Random_Bytes(count * codec.bytes + 9, count + codec.format);
        for (uint64_t i = 0; i < count && codec.format == FLOAT32; i++) {
            content[4 * i + 3] &= i % 7 == 3 ? 0xFF : 0xBF; // most of them below 2.0
        }
        Expect_Read(codec.format, little, content, count,
                    Plain_Words(codec, little, content, count));
        EXPECT_EQ(Asked_Bytes, Pass_Calls(codec, count));
    });
}

TEST(FileDRDW, WritesWholePassesOfRandomWordsLimitsAndCounts)
{
    For_Pass_Borders([](const PlainFormat& codec, bool little, uint64_t count) {
        // Words that all fit, words with a few beyond the format, and words of any size.
        for (const unsigned bits : {8 * codec.bytes, 8 * codec.bytes + 1, 64u}) {
            const Words words = Random_Words(count, count + 100 * codec.format, bits);
            Words limited = words;
            uint64_t clips = 0;
            for (int64_t& word : limited) {
                clips += Plain_Limit(codec.format, word) != word;
                word = Plain_Limit(codec.format, word);
            }
            Expect_Write(codec.format, little, words, limited, clips,
                         Plain_Encode(codec.format, little, words));
        }
    });
}

TEST(FileDRDW, LimitsExactlyBeyondTheFormat)
{
    constexpr int64_t Two_32 = int64_t{1} << 32;
    for (const PlainFormat& codec : std::span(Plain_Formats).first<4>()) {
        const int64_t maximum = codec.maximum;
        const int64_t minimum = codec.minimum;
        // The last few look like small words in their low half.
        for (const int64_t word : {maximum + 1, minimum - 1, INT64_MAX, INT64_MIN, Two_32, -Two_32,
                                   Two_32 + 5, -Two_32 + 5, Two_32 - 1, int64_t{1} << 40}) {
            for (size_t place = 0; place < 6; place++) {
                SCOPED_TRACE(Message() << codec.name << " " << word << " at " << place);
                Words limited = {maximum, minimum, maximum, minimum, 1, -1};
                Words words = limited;
                words[place] = word;
                limited[place] = word > 0 ? maximum : minimum;
                Expect_Write(codec.format, true, words, limited, 1,
                             Plain_Encode(codec.format, true, limited));
            }
        }
    }
}

// ---- End of file ----

struct ShortCase {
    DataFormat format;
    uint64_t available; // bytes
    uint64_t asked;     // samples
    uint64_t got;
};
// Nothing left, half, one sample cut, at a pass border and behind it; then each cut of each width,
// also in the last place of a group and behind a full pass.
const ShortCase Short_Cases[] = {
    {INT16, 0, 100, 0},    {INT16, 100, 100, 50},   {INT16, 101, 100, 51}, {INT16, 128, 200, 64},
    {INT16, 129, 200, 65}, {INT8, 5, 300, 5},       {INT24, 13, 50, 5},    {INT24, 14, 50, 5},
    {INT24, 11, 50, 4},    {INT24, 127, 100, 43},   {INT32, 129, 100, 33}, {INT32, 130, 100, 33},
    {INT32, 15, 100, 4},   {FLOAT32, 131, 100, 33},
};

// Missing bytes count as zero, also where an earlier pass has left others in their place.
TEST(FileDRDW, EndOfFileDeliversWhatIsThere)
{
    for (const ShortCase& c : Short_Cases) {
        for (const bool little : Orders(c.format)) {
            SCOPED_TRACE(Message()
                         << c.format << (little ? ", little, " : ", big, ") << c.available);
            const PlainFormat& codec = Plain_Of(c.format);
            const Bytes content(c.available, 0x41);
            Bytes whole = content;
            whole.resize(c.got * codec.bytes, 0);
            Expect_Read(c.format, little, content, c.asked,
                        Plain_Words(codec, little, whole, c.got));
        }
    }
}

// ---- Refusals and stream errors ----

struct RefusalCase {
    DataFormat format;
    bool little;
    uint64_t count;
    uint64_t available;     // bytes, for reading
    bool read_stops = true; // or returns, with an out-count of 0
    bool write_stops = true;
};
const RefusalCase Refusal_Cases[] = {
    {UINT8, true, 5, 9},     {UINT8, true, 0, 0},
    {FLOAT64, true, 5, 99},  {FLOAT64, false, 0, 0},
    {MULAW8, false, 5, 9},   {MULAW8, true, 0, 0},
    {ALAW8, false, 5, 9},    {ALAW8, true, 0, 0},
    {FLOAT32, false, 5, 20}, {FLOAT32, false, 50, 0, false, true},
    {FLOAT32, false, 1, 1},  {FLOAT32, false, 0, 20, false, false},
};

TEST(FileDRDW, RefusesFormatsWithoutCodec)
{
    for (const RefusalCase& c : Refusal_Cases) {
        for (const bool writing : {false, true}) {
            const std::string report = No_Codec(writing ? "DW" : "DR", c.format);
            SCOPED_TRACE(Message() << report << c.little << ", count " << c.count);
            CodecFile file(writing, c.little, Bytes(writing ? 0 : c.available, 1), Words(50));
            const bool stops = writing ? c.write_stops : c.read_stops;
            EXPECT_EQ(Stops_For_Good(&file.object, [&] { Move(&file, c.format, c.count); }), stops);
            EXPECT_TRUE(stops || file.moved == 0);
            EXPECT_EQ(file.object.reports,
                      stops ? With_Name({report}, "some file") : std::vector<std::string>());
            EXPECT_TRUE(!writing || file.stream.content.empty());
            EXPECT_TRUE(Is_Unlocked(file.handle.stream));
            Expect_Clips(&file, 0);
        }
    }
}

TEST(FileDRDW, StreamErrorsStop)
{
    for (const PlainFormat& codec : Plain_Formats) {
        for (const bool writing : {false, true}) {
            SCOPED_TRACE(Message() << codec.name << (writing ? " write" : " read"));
            CodecFile file(writing, true, Bytes(20, 1), Words(5));
            file.stream.broken = true;
            file.owned = !writing;
            EXPECT_TRUE(Stops_For_Good(&file.object, [&] { Move(&file, codec.format, 5); }));
            const char* text =
                writing ? "3,16: FileAccess_Put_String: Error writing string into file "
                        : "3,16: FileAccess_GetNoError_UString: Error reading string from file";
            EXPECT_EQ(file.object.reports, With_Name({text}, "some file"));
            EXPECT_EQ(file.moved, 0u);
            EXPECT_TRUE(writing || Is_Unlocked(file.handle.stream));
        }
    }
}

} // namespace

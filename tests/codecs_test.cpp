// The sample codecs, each row held against values that stand in the test, and whole calls against a
// plain loop that says what the formats mean. The streams are in memory and unbuffered, so that a
// test sees every single call that a codec makes.
#include "tests/codec_file.h"
#include "tests/plain_formats.h"

#include <gtest/gtest.h>

namespace
{

// Words of every size, from one bit to all of them, of either sign.
Words Random_Words(uint64_t count, uint64_t seed, int64_t limit_bits)
{
    std::mt19937_64 random(seed);
    Words words(count);
    for (int64_t& word : words) {
        const uint64_t drop = 64 - random() % static_cast<uint64_t>(limit_bits) - 1;
        word = static_cast<int64_t>(random()) >> drop;
    }
    return words;
}

// ---- Code values ----

struct CodeCase {
    const char* name;
    DataFormat format;
    Bytes bytes; // highest first
    int64_t word;
};
const CodeCase Code_Cases[] = {
    {"INT8 zero", INT8, {0x00}, 0},
    {"INT8 highest", INT8, {0x7F}, 127},
    {"INT8 lowest", INT8, {0x80}, -128},
    {"INT8 minus one", INT8, {0xFF}, -1},
    {"INT16 low byte", INT16, {0x00, 0xFF}, 255},
    {"INT16 high byte", INT16, {0x01, 0x00}, 256},
    {"INT16 highest", INT16, {0x7F, 0xFF}, 32767},
    {"INT16 lowest", INT16, {0x80, 0x00}, -32768},
    {"INT16 minus one", INT16, {0xFF, 0xFF}, -1},
    {"INT16 holding 12 bits is not shifted", INT16, {0x07, 0xFF}, 2047},
    {"INT24 each byte", INT24, {0x12, 0x34, 0x56}, 0x123456},
    {"INT24 highest", INT24, {0x7F, 0xFF, 0xFF}, 8388607},
    {"INT24 lowest", INT24, {0x80, 0x00, 0x00}, -8388608},
    {"INT24 minus two", INT24, {0xFF, 0xFF, 0xFE}, -2},
    {"INT32 each byte", INT32, {0x12, 0x34, 0x56, 0x78}, 0x12345678},
    {"INT32 highest", INT32, {0x7F, 0xFF, 0xFF, 0xFF}, 2147483647},
    {"INT32 lowest", INT32, {0x80, 0x00, 0x00, 0x00}, -2147483648},
    {"INT32 minus 256", INT32, {0xFF, 0xFF, 0xFF, 0x00}, -256},
};

// Each value stands at each of six places, so that a group of four and the rest behind it see it.
TEST(FileDRDW, IntegerCodeValuesBothWaysInBothOrders)
{
    for (const CodeCase& c : Code_Cases) {
        for (const bool little : {false, true}) {
            for (size_t place = 0; place < 6; place++) {
                SCOPED_TRACE(testing::Message()
                             << c.name << (little ? ", little" : ", big") << ", place " << place);
                Bytes one = c.bytes;
                if (little) {
                    std::reverse(one.begin(), one.end());
                }
                Bytes content(6 * one.size(), 0);
                std::copy(one.begin(), one.end(), content.begin() + place * one.size());
                Words expected(6, 0);
                expected[place] = c.word;

                CodecFile in("r", little, content);
                Words read = Read_All(&in, c.format, 6).words;
                read.resize(6);
                EXPECT_EQ(read, expected);

                CodecFile out("w", little, {});
                Write_All(&out, c.format, expected);
                EXPECT_EQ(out.stream.content, content);
                EXPECT_EQ(out.Clipped(), 0u);
            }
        }
    }
}

struct FloatCase {
    const char* name;
    uint32_t bits;
    int64_t word;
};
const FloatCase Float_Read_Cases[] = {
    {"zero", 0x00000000, 0},
    {"minus zero", 0x80000000, 0},
    {"one half", 0x3F000000, 4194304},
    {"one", 0x3F800000, 8388608},
    {"two is not limited", 0x40000000, 16777216},
    {"smallest step", 0x34000000, 1},
    {"just below it is cut", 0x33FFFFFF, 0},
    {"just below it, negative, is cut", 0xB3FFFFFF, 0},
    {"one and a half steps", 0x34400000, 1},
    {"minus one and a half steps", 0xB4400000, -1},
    {"subnormal", 0x00000001, 0},
    {"largest below 256", 0x437FFFFF, 2147483520},
    {"256", 0x43800000, 2147483648},
    {"minus 256", 0xC3800000, -2147483648},
    {"next below minus 256", 0xC3800001, -2147483904},
    {"largest below the word's limit", 0x537FFFFF, 0x7FFFFF8000000000},
    {"at the word's limit", 0x53800000, INT64_MAX},
    {"at the word's lower limit", 0xD3800000, INT64_MIN},
    {"beyond the lower limit", 0xD3800001, INT64_MIN},
    {"largest float", 0x7F7FFFFF, INT64_MAX},
    {"lowest float", 0xFF7FFFFF, INT64_MIN},
    {"infinity", 0x7F800000, INT64_MAX},
    {"minus infinity", 0xFF800000, INT64_MIN},
    {"NaN", 0x7FC00000, 0},
    {"negative NaN", 0xFFC12345, 0},
    {"signalling NaN", 0x7F800001, 0},
};

TEST(FileDRDW, FloatCodeValuesRead)
{
    for (const FloatCase& c : Float_Read_Cases) {
        for (size_t place = 0; place < 6; place++) {
            SCOPED_TRACE(testing::Message() << c.name << ", place " << place);
            std::vector<Bytes> parts(6, Little(4, 0x3E800000)); // 0.25
            parts[place] = Little(4, c.bits);
            Words expected(6, 2097152);
            expected[place] = c.word;
            CodecFile file("r", true, Join(parts));
            Words read = Read_All(&file, FLOAT32, 6).words;
            read.resize(6);
            EXPECT_EQ(read, expected);
        }
    }
}

const FloatCase Float_Write_Cases[] = {
    {"zero", 0x00000000, 0},
    {"one step", 0x34000000, 1},
    {"one half", 0x3F000000, 4194304},
    {"a tie goes down to even", 0x40000000, 16777217},
    {"a tie goes up to even", 0x40000002, 16777219},
    {"2^31", 0x43800000, 2147483648},
    {"-2^31 - 129 rounds away", 0xC3800001, -2147483777},
    {"just above a tie of a 61-bit word", 0x52000001, (1LL << 60) + (1LL << 36) + 1},
    {"highest word", 0x53800000, INT64_MAX},
    {"lowest word", 0xD3800000, INT64_MIN},
};

TEST(FileDRDW, FloatCodeValuesWrittenWithoutClipping)
{
    for (const FloatCase& c : Float_Write_Cases) {
        SCOPED_TRACE(c.name);
        const Words words(6, c.word);
        CodecFile file("w", true, {});
        const Outcome out = Write_All(&file, FLOAT32, words);
        EXPECT_EQ(file.stream.content, Join(std::vector<Bytes>(6, Little(4, c.bits))));
        EXPECT_EQ(out.words, words);
        EXPECT_EQ(file.Clipped(), 0u);
    }
}

// ---- Whole calls: pass borders, guards, calls of the stream ----

// Runs check for each format and order, and each count around one, two and three passes.
template <class Check> void For_Pass_Borders(Check check)
{
    for (const PlainFormat& codec : Plain_Formats) {
        const uint64_t pass = codec.pass;
        for (const bool little : {false, true}) {
            if (codec.format == FLOAT32 && !little) {
                continue;
            }
            for (const uint64_t count :
                 {uint64_t{0}, uint64_t{1}, uint64_t{3}, uint64_t{4}, uint64_t{5}, pass - 1, pass,
                  pass + 1, 2 * pass - 1, 2 * pass, 2 * pass + 1, 3 * pass + 7}) {
                SCOPED_TRACE(testing::Message()
                             << codec.name << (little ? ", little, " : ", big, ") << count);
                check(codec, little, count);
            }
        }
    }
}

TEST(FileDRDW, ReadsWholePassesAndNoByteMore)
{
    For_Pass_Borders([](const PlainFormat& codec, bool little, uint64_t count) {
        Bytes content = Random_Bytes(count * codec.bytes + 9, count + codec.format);
        for (uint64_t i = 0; i < count && codec.format == FLOAT32; i++) {
            content[4 * i + 3] &= i % 7 == 3 ? 0xFF : 0xBF; // most of them below 2.0
        }
        CodecFile file("r", little, content);
        Asked_Bytes.clear();
        const Outcome out = Read_All(&file, codec.format, count);
        EXPECT_EQ(out.moved, count);
        Words expected(count + 8, Guard);
        for (uint64_t i = 0; i < count; i++) {
            expected[i] = Plain_Decode(codec.format, little, &content[i * codec.bytes]);
        }
        EXPECT_EQ(out.words, expected);
        EXPECT_EQ(file.stream.place, count * codec.bytes);
        EXPECT_EQ(Asked_Bytes, Pass_Calls(codec, count));
        EXPECT_TRUE(file.Only_Clipped_Changed());
        EXPECT_EQ(file.Clipped(), 0u);
    });
}

TEST(FileDRDW, WritesWholePassesOfRandomWordsLimitsAndCounts)
{
    For_Pass_Borders([](const PlainFormat& codec, bool little, uint64_t count) {
        // Words that all fit, words with a few beyond the format, and words of any size.
        const int64_t width = static_cast<int64_t>(8 * codec.bytes);
        for (const int64_t bits : {width, width + 1, int64_t{64}}) {
            const Words words = Random_Words(count, count + 100 * codec.format, bits);
            Words limited = words;
            const Bytes bytes = Plain_Encode(codec.format, little, words);
            uint64_t clipped = 0;
            for (int64_t& word : limited) {
                clipped += Plain_Limit(codec.format, word) != word;
                word = Plain_Limit(codec.format, word);
            }
            CodecFile file("w", little, {});
            const Outcome out = Write_All(&file, codec.format, words);
            EXPECT_EQ(out.moved, count);
            EXPECT_EQ(out.words, limited);
            EXPECT_EQ(file.stream.content, bytes);
            EXPECT_EQ(file.stream.written, Pass_Calls(codec, count));
            EXPECT_TRUE(file.Only_Clipped_Changed());
            EXPECT_EQ(file.Clipped(), clipped);

            // What was limited is in range now: the same array again counts nothing more.
            Write_All(&file, codec.format, out.words);
            EXPECT_EQ(file.Clipped(), clipped);
        }
    });
}

TEST(FileDRDW, LimitsExactlyBeyondTheFormat)
{
    constexpr int64_t Two_32 = int64_t{1} << 32;
    for (const PlainFormat& codec : Plain_Formats) {
        if (codec.format == FLOAT32) {
            continue;
        }
        // The last few look like small words in their low half.
        const Words beyond = {
            codec.maximum + 1, codec.minimum - 1, INT64_MAX,   INT64_MIN,  Two_32,
            -Two_32,           Two_32 + 5,        -Two_32 + 5, Two_32 - 1, 1LL << 40};
        for (const int64_t word : beyond) {
            for (size_t place = 0; place < 6; place++) {
                SCOPED_TRACE(testing::Message() << codec.name << " " << word << " at " << place);
                Words words = {codec.maximum, codec.minimum, codec.maximum, codec.minimum, 1, -1};
                words[place] = word;
                Words limited = words;
                limited[place] = word > 0 ? codec.maximum : codec.minimum;
                CodecFile file("w", true, {});
                EXPECT_EQ(Write_All(&file, codec.format, words).words, limited);
                EXPECT_EQ(file.Clipped(), 1u);
            }
        }
    }
}

// ---- End of file ----

struct ShortCase {
    const char* name;
    DataFormat format;
    uint64_t available; // bytes
    uint64_t asked;     // samples
    uint64_t got;
};
const ShortCase Short_Cases[] = {
    {"nothing left", INT16, 0, 100, 0},
    {"half of it", INT16, 100, 100, 50},
    {"one INT16 cut", INT16, 101, 100, 51},
    {"ends with the first pass", INT16, 128, 200, 64},
    {"one byte into the second pass", INT16, 129, 200, 65},
    {"INT8 never cut", INT8, 5, 300, 5},
    {"INT24 with one byte", INT24, 13, 50, 5},
    {"INT24 with two bytes", INT24, 14, 50, 5},
    {"INT24 cut in the last place of a group", INT24, 11, 50, 4},
    {"INT24 cut behind a full pass", INT24, 127, 100, 43},
    {"INT32 with one byte", INT32, 129, 100, 33},
    {"INT32 with two bytes", INT32, 130, 100, 33},
    {"INT32 with three bytes", INT32, 15, 100, 4},
    {"FLOAT32 with three bytes", FLOAT32, 131, 100, 33},
};

// Missing bytes count as zero, also where an earlier pass has left others in their place.
TEST(FileDRDW, EndOfFileDeliversWhatIsThere)
{
    for (const ShortCase& c : Short_Cases) {
        for (const bool little : {false, true}) {
            if (c.format == FLOAT32 && !little) {
                continue;
            }
            SCOPED_TRACE(testing::Message() << c.name << (little ? ", little" : ", big"));
            const unsigned width = Plain_Of(c.format).bytes;
            Bytes content(c.available, 0x41);
            CodecFile file("r", little, content);
            const Outcome out = Read_All(&file, c.format, c.asked);
            EXPECT_EQ(out.moved, c.got);
            content.resize(c.got * width, 0);
            Words expected(c.asked + 8, Guard);
            for (uint64_t i = 0; i < c.got; i++) {
                expected[i] = Plain_Decode(c.format, little, &content[i * width]);
            }
            EXPECT_EQ(out.words, expected);
            EXPECT_TRUE(file.object.reports.empty());
        }
    }
}

// ---- Refusals and stream errors ----

struct RefusalCase {
    const char* name;
    DataFormat format;
    bool little;
    uint64_t count;
    uint64_t available;     // bytes, for reading
    const char* read_stops; // null: returns, with an out-count of 0
    const char* write_stops;
};
#define REFUSES(NAME) "FileDRDW_DR_" NAME, "FileDRDW_DW_" NAME
const RefusalCase Refusal_Cases[] = {
    {"UINT8", UINT8, true, 5, 9, REFUSES("UINT8")},
    {"UINT8, count 0", UINT8, true, 0, 0, REFUSES("UINT8")},
    {"FLOAT64", FLOAT64, true, 5, 99, REFUSES("FLOAT64")},
    {"FLOAT64, big-endian, count 0", FLOAT64, false, 0, 0, REFUSES("FLOAT64")},
    {"MULAW8", MULAW8, false, 5, 9, REFUSES("MULAW8")},
    {"MULAW8, count 0", MULAW8, true, 0, 0, REFUSES("MULAW8")},
    {"ALAW8", ALAW8, false, 5, 9, REFUSES("ALAW8")},
    {"ALAW8, count 0", ALAW8, true, 0, 0, REFUSES("ALAW8")},
    {"big-endian FLOAT32", FLOAT32, false, 5, 20, REFUSES("FLOAT32")},
    {"big-endian FLOAT32, one byte there", FLOAT32, false, 1, 1, REFUSES("FLOAT32")},
    {"big-endian FLOAT32, nothing there", FLOAT32, false, 50, 0, nullptr, "FileDRDW_DW_FLOAT32"},
    {"big-endian FLOAT32, count 0", FLOAT32, false, 0, 20, nullptr, nullptr},
};

TEST(FileDRDW, RefusesFormatsWithoutCodec)
{
    for (const RefusalCase& c : Refusal_Cases) {
        for (const bool writing : {false, true}) {
            SCOPED_TRACE(testing::Message() << c.name << (writing ? ", write" : ", read"));
            CodecFile file(writing ? "w" : "r", c.little, Bytes(writing ? 0 : c.available, 1));
            auto* entry = writing ? FileDRDW_Write_Table[c.format] : FileDRDW_Read_Table[c.format];
            const char* stops = writing ? c.write_stops : c.read_stops;
            int64_t words[50] = {};
            uint64_t moved = 77;
            EXPECT_EQ(Stops_For_Good(&file.object,
                                     [&] {
                                         entry(&file.object.header, &file.handle, words, c.count,
                                               &moved);
                                     }),
                      stops != nullptr);
            std::vector<std::string> reports;
            if (stops != nullptr) {
                reports = {std::string("3,10: ") + stops + ": Data type not supported yet in file ",
                           "3,10: some file"};
            } else {
                EXPECT_EQ(moved, 0u);
            }
            EXPECT_EQ(file.object.reports, reports);
            EXPECT_TRUE(!writing || file.stream.content.empty());
            EXPECT_TRUE(file.Only_Clipped_Changed());
        }
    }
}

TEST(FileDRDW, StreamErrorsStop)
{
    for (const PlainFormat& codec : Plain_Formats) {
        for (const bool writing : {false, true}) {
            SCOPED_TRACE(testing::Message() << codec.name << (writing ? " write" : " read"));
            CodecFile file(writing ? "w" : "r", true, Bytes(20, 1));
            file.stream.broken = true;
            file.owned = !writing;
            int64_t words[5] = {};
            uint64_t moved = 77;
            EXPECT_TRUE(Stops_For_Good(&file.object, [&] {
                auto* entry = writing ? FileDRDW_Write_Table[codec.format]
                                      : FileDRDW_Read_Table[codec.format];
                entry(&file.object.header, &file.handle, words, 5, &moved);
            }));
            const char* text =
                writing ? "3,16: FileAccess_Put_String: Error writing string into file "
                        : "3,16: FileAccess_GetNoError_UString: Error reading string from file";
            EXPECT_EQ(file.object.reports, (std::vector<std::string>{text, "3,16: some file"}));
            EXPECT_EQ(moved, 0u);
        }
    }
}

} // namespace

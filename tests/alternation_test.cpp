// Changing a file in place: reads and writes take turns, and a write lands on the block just read.
// The file's ten samples have the values 100 to 109 at the start.
#include "tests/transfer_file.h"

#include <gtest/gtest.h>

namespace
{

// What a step does to the file and to the state. Data is the file's ten samples after it, less 100.
struct Step {
    char kind; // 'R' read count values, 'W' write count values, 'B' rewind
    uint64_t count;
    Words values; // read, or to write
    uint64_t position;
    uint32_t pending;
    Words data;
};
struct AlternationCase {
    const char* name;
    std::vector<Step> steps;
};
const Words Untouched = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
const AlternationCase Alternation_Cases[] = {
    {"block by block to the end",
     {{'R', 4, {0, 1, 2, 3}, 4, 1, Untouched},
      {'W', 4, {50, 51, 52, 53}, 4, 0, {50, 51, 52, 53, 4, 5, 6, 7, 8, 9}},
      {'R', 5, {4, 5, 6, 7, 8}, 9, 1, {50, 51, 52, 53, 4, 5, 6, 7, 8, 9}},
      {'W', 5, {60, 61, 62, 63, 64}, 9, 0, {50, 51, 52, 53, 60, 61, 62, 63, 64, 9}},
      {'R', 5, {9}, 10, 1, {50, 51, 52, 53, 60, 61, 62, 63, 64, 9}},
      {'W', 1, {70}, 10, 0, {50, 51, 52, 53, 60, 61, 62, 63, 64, 70}},
      {'R', 5, {}, 10, 1, {50, 51, 52, 53, 60, 61, 62, 63, 64, 70}},
      {'W', 0, {}, 10, 0, {50, 51, 52, 53, 60, 61, 62, 63, 64, 70}}}},
    {"rewind before a read",
     {{'R', 2, {0, 1}, 2, 1, Untouched},
      {'W', 2, {20, 21}, 2, 0, {20, 21, 2, 3, 4, 5, 6, 7, 8, 9}},
      {'B', 0, {}, 0, 0, {20, 21, 2, 3, 4, 5, 6, 7, 8, 9}},
      {'R', 3, {20, 21, 2}, 3, 1, {20, 21, 2, 3, 4, 5, 6, 7, 8, 9}}}},
    {"rewind before a write takes the write along",
     {{'R', 2, {0, 1}, 2, 1, Untouched},
      {'W', 2, {0, 1}, 2, 0, Untouched},
      {'R', 2, {2, 3}, 4, 1, Untouched},
      {'B', 0, {}, 0, 1, Untouched},
      {'W', 2, {32, 33}, 0, 0, {32, 33, 2, 3, 4, 5, 6, 7, 8, 9}}}},
    {"a shorter write leaves the stream behind itself",
     {{'R', 4, {0, 1, 2, 3}, 4, 1, Untouched},
      {'W', 2, {40, 41}, 4, 0, {40, 41, 2, 3, 4, 5, 6, 7, 8, 9}},
      {'R', 2, {2, 3}, 6, 1, {40, 41, 2, 3, 4, 5, 6, 7, 8, 9}},
      {'W', 2, {48, 49}, 6, 0, {40, 41, 2, 3, 48, 49, 6, 7, 8, 9}}}},
    {"a longer write runs on",
     {{'R', 1, {0}, 1, 1, Untouched},
      {'W', 3, {10, 11, 12}, 1, 0, {10, 11, 12, 3, 4, 5, 6, 7, 8, 9}}}},
};

struct PlaceFormat {
    const char* name;
    DataFormat format;
    bool little;
};
const PlaceFormat Place_Formats[] = {{"INT16 WAVE", INT16, true},
                                     {"INT24 WAVE", INT24, true},
                                     {"FLOAT32 WAVE", FLOAT32, true},
                                     {"INT8 AIFF", INT8, false},
                                     {"INT32 AIFF", INT32, false}};

Words Plus_100(Words words)
{
    for (int64_t& word : words) {
        word += 100;
    }
    return words;
}

Bytes In_Place_File(const PlaceFormat& format, const Words& data)
{
    const unsigned bits = 8 * Plain_Of(format.format).bytes;
    const Bytes bytes = Plain_Encode(format.format, format.little, data);
    return format.little ? Wave_Bytes(format.format == FLOAT32 ? 3 : 1, bits, 2, bytes,
                                      bytes.size(), Join({Text("LIST"), Little(4, 0)}))
                         : Aiff_Bytes(bits, 2, bytes, data.size() / 2);
}

// The bytes on disk are looked at after every step: a write is there when it returns.
TEST(AudiofileReadWrite, ReadsAndWritesAlternate)
{
    for (const PlaceFormat& format : Place_Formats) {
        for (const AlternationCase& c : Alternation_Cases) {
            TransferFile file("in_place", In_Place_File(format, Plus_100(Untouched)),
                              OM_READ_WRITE);
            const uint64_t data_bytes = file.handle->data_bytes;
            for (size_t k = 0; k < c.steps.size(); k++) {
                const Step& step = c.steps[k];
                SCOPED_TRACE(testing::Message() << format.name << ", " << c.name << ", step " << k);
                const Words values = Plus_100(step.values);
                if (step.kind == 'R') {
                    EXPECT_EQ(file.Read(step.count), values);
                } else if (step.kind == 'W') {
                    EXPECT_EQ(file.Write(values), step.count);
                } else {
                    Audiofile_Rewind(&file.object.header, file.handle);
                }
                EXPECT_EQ(file.handle->position, step.position);
                EXPECT_EQ(file.handle->block_pending, step.pending);
                EXPECT_EQ(Read_File(file.path), In_Place_File(format, Plus_100(step.data)));
            }
            EXPECT_EQ(file.handle->samples, 10u);
            EXPECT_EQ(file.handle->data_bytes, data_bytes);
            EXPECT_TRUE(file.object.reports.empty());
        }
    }
}

struct OrderCase {
    const char* name;
    const char* done; // steps before, of two values each
    char refused;
    const char* report;
};
const OrderCase Order_Cases[] = {
    {"write first", "", 'W', "3,15: Audiofile_Read_Write_LONG: File block has to be read first! "},
    {"two reads", "R", 'R', "3,10: Audiofile_Read_WRITE: Previous block must have been written "},
    {"two writes", "RW", 'W', "3,15: Audiofile_Read_Write_LONG: File block has to be read first! "},
    {"read, rewind, read", "RB", 'R',
     "3,10: Audiofile_Read_WRITE: Previous block must have been written "},
    {"rewind, write", "B", 'W',
     "3,15: Audiofile_Read_Write_LONG: File block has to be read first! "},
    {"forward", "", 'F', "3,15: Audiofile_Forward: File is not opened for reading "},
};

TEST(AudiofileReadWrite, RefusesEveryOtherOrder)
{
    for (const OrderCase& c : Order_Cases) {
        SCOPED_TRACE(c.name);
        TransferFile file("order", In_Place_File(Place_Formats[0], Untouched), OM_READ_WRITE);
        auto take_step = [&](char kind) {
            int64_t words[2] = {7, 7};
            uint64_t moved = 0;
            if (kind == 'R') {
                Audiofile_Read(&file.object.header, file.handle, words, 2, &moved);
            } else if (kind == 'W') {
                Audiofile_Write_LONG(&file.object.header, file.handle, words, 2, &moved);
            } else if (kind == 'B') {
                Audiofile_Rewind(&file.object.header, file.handle);
            } else {
                Audiofile_Forward(&file.object.header, file.handle, 1);
            }
        };
        for (const char* step = c.done; *step != '\0'; step++) {
            take_step(*step);
        }
        const Bytes before = Read_File(file.path);
        EXPECT_TRUE(Stops(&file.object, [&] { take_step(c.refused); }));
        EXPECT_EQ(file.object.reports, With_Name({c.report}, file.path));
        EXPECT_EQ(Read_File(file.path), before);
    }
}

} // namespace

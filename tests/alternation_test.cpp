// Changing a file in place: reads and writes take turns, and a write lands on the block just read.
// The file's ten samples have the values 100 to 109 at the start.
#include "tests/transfer_file.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

struct Step {
    char kind; // 'R' read count values, 'W' write count values, 'B' rewind
    uint64_t count;
    ptrdiff_t place;   // of the values in the data, which is right after the step alone
    uint64_t position; // after it
    uint32_t pending;
    int64_t first; // value to write; the others count on from it
};

Step Reading(uint64_t count, ptrdiff_t place, uint64_t position)
{
    return {'R', count, place, position, 1, 0};
}

Step Writing(uint64_t count, ptrdiff_t place, uint64_t position, int64_t first)
{
    return {'W', count, place, position, 0, first};
}

Step Rewinding(uint32_t pending)
{
    return {'B', 0, 0, 0, pending, 0};
}

struct AlternationCase {
    const char* name;
    std::vector<Step> steps;
};
const AlternationCase Alternation_Cases[] = {
    {"block by block to the end",
     {Reading(4, 0, 4), Writing(4, 0, 4, 150), Reading(5, 4, 9), Writing(5, 4, 9, 160),
      Reading(5, 9, 10), Writing(1, 9, 10, 170), Reading(5, 10, 10), Writing(0, 10, 10, 0)}},
    {"rewind before a read",
     {Reading(2, 0, 2), Writing(2, 0, 2, 120), Rewinding(0), Reading(3, 0, 3)}},
    {"rewind before a write takes the write along",
     {Reading(2, 0, 2), Writing(2, 0, 2, 100), Reading(2, 2, 4), Rewinding(1),
      Writing(2, 0, 0, 132)}},
    {"a shorter write leaves the stream behind itself",
     {Reading(4, 0, 4), Writing(2, 0, 4, 140), Reading(2, 2, 6), Writing(2, 4, 6, 148)}},
    {"a longer write runs on", {Reading(1, 0, 1), Writing(3, 0, 1, 110)}},
};

Bytes In_Place_File(DataFormat format, const Words& data)
{
    const bool little = format != INT8 && format != INT32;
    return Sample_File(format, little, 2, Plain_Encode(format, little, data),
                       Join({Text("LIST"), Little(4, 0)}));
}

// The bytes on disk are looked at after every step: a write is there when it returns.
TEST(AudiofileReadWrite, ReadsAndWritesAlternate)
{
    for (const DataFormat format : {INT16, INT24, FLOAT32, INT8, INT32}) {
        for (const AlternationCase& c : Alternation_Cases) {
            Words data = Counting_Words(100, 10);
            TransferFile file("in_place", In_Place_File(format, data), OM_READ_WRITE);
            const uint64_t data_bytes = file.handle->data_bytes;
            for (const Step& step : c.steps) {
                SCOPED_TRACE(testing::Message() << Plain_Of(format).name << ", " << c.name
                                                << ", step " << &step - c.steps.data());
                const auto place = data.begin() + step.place;
                if (step.kind == 'R') {
                    const Words held(place, data.end());
                    Words expected = held;
                    expected.resize(std::min(step.count, held.size()));
                    EXPECT_EQ(file.Read(step.count), expected);
                } else if (step.kind == 'W') {
                    const Words values = Counting_Words(step.first, step.count);
                    std::ranges::copy(values, place);
                    EXPECT_EQ(file.Write(values), step.count);
                } else {
                    Audiofile_Rewind(&file.object.header, file.handle);
                }
                EXPECT_EQ(file.handle->position, step.position);
                EXPECT_EQ(file.handle->block_pending, step.pending);
                EXPECT_EQ(Read_File(file.path), In_Place_File(format, data));
            }
            EXPECT_EQ(file.handle->samples, 10u);
            EXPECT_EQ(file.handle->data_bytes, data_bytes);
            EXPECT_TRUE(file.object.reports.empty());
        }
    }
}

TEST(AudiofileReadWrite, AWriteThatIsLostShowsAtTheClose)
{
    for (auto* close_file : {Audiofile_Close_Read_Write, Audiofile_Close_Write}) {
        TransferFile file("lost", In_Place_File(INT16, Counting_Words(0, 10)), OM_READ_WRITE);
        file.Read(4);
        const int full = open("/dev/full", O_RDWR);
        dup2(full, fileno(file.handle->stream));
        close(full);
        EXPECT_EQ(file.Write({1, 2, 3, 4}), 4u);
        EXPECT_TRUE(file.object.reports.empty());
        file.still_open = false;
        EXPECT_TRUE(Stops(&file.object, [&] { close_file(&file.object.header, file.handle); }));
        EXPECT_EQ(file.object.reports, Reports{"3,15: Audiofile_Close_Read: Error closing file."});
    }
}

// Every change of direction fills the buffer again.
TEST(AudiofileReadWrite, KeepsTheBufferOfThePlatform)
{
    TransferFile file("buffer", In_Place_File(INT16, Counting_Words(0, 10)), OM_READ_WRITE);
    struct stat about = {};
    fstat(fileno(file.handle->stream), &about);
    EXPECT_EQ(__fbufsize(file.handle->stream), static_cast<size_t>(about.st_blksize));
}

struct OrderCase {
    const char* done; // steps before, of two values each
    char refused;
    const char* report;
};
const char* const Not_Read = "3,15: Audiofile_Read_Write_LONG: File block has to be read first! ";
const char* const Not_Written =
    "3,10: Audiofile_Read_WRITE: Previous block must have been written ";
const char* const Not_For_Read = "3,15: Audiofile_Forward: File is not opened for reading ";
const OrderCase Order_Cases[] = {
    {"", 'W', Not_Read},      {"R", 'R', Not_Written}, {"RW", 'W', Not_Read},
    {"RB", 'R', Not_Written}, {"B", 'W', Not_Read},    {"", 'F', Not_For_Read},
};

TEST(AudiofileReadWrite, RefusesEveryOtherOrder)
{
    for (const OrderCase& c : Order_Cases) {
        SCOPED_TRACE(testing::Message() << c.done << ", then " << c.refused);
        TransferFile file("order", In_Place_File(INT16, Counting_Words(0, 10)), OM_READ_WRITE);
        for (const char* step = c.done; *step != '\0'; step++) {
            Take_Step(&file.object, file.handle, *step, 2);
        }
        const Bytes before = Read_File(file.path);
        EXPECT_TRUE(
            Stops(&file.object, [&] { Take_Step(&file.object, file.handle, c.refused, 2); }));
        EXPECT_EQ(file.object.reports, With_Name({c.report}, file.path));
        EXPECT_EQ(Read_File(file.path), before);
    }
}

} // namespace

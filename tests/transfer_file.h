// A file that one test moves samples to or from: of given bytes, or new.
#pragma once

#include "tests/plain_formats.h"

#include <gtest/gtest.h>
#include <numeric>

using Reports = std::vector<std::string>;

inline Words Counting_Words(int64_t first, uint64_t count)
{
    Words words(count);
    std::iota(words.begin(), words.end(), first);
    return words;
}

// A file opened for one test. The record comes uncleared.
struct TransferFile {
    RecordingObject object;
    AudiofileHandle* handle;
    std::string path;
    bool still_open = true;

    TransferFile(const std::string& name, const Bytes& bytes, OpenMode mode)
        : path(Scratch_Path(name))
    {
        Make_Recorder(&object);
        handle = Make_Handle(&object);
        uint64_t samples = 0;
        uint64_t channels = 0;
        double rate = 0;
        Write_File(path, bytes);
        auto* open = mode == OM_READ ? Audiofile_Open_Read : Audiofile_Open_Read_Write;
        open(&object.header, path.c_str(), &samples, &channels, &rate, handle);
        object.reports.clear();
    }
    TransferFile(const std::string& name, FileType file_type, DataFormat format, uint64_t channels,
                 double sample_rate = 8000.0)
        : path(Scratch_Path(name))
    {
        Make_Recorder(&object);
        handle = Make_Handle(&object);
        Audiofile_Open_Write(&object.header, path.c_str(), file_type, format, channels, handle,
                             sample_rate);
    }
    ~TransferFile()
    {
        Drop_Handle(handle, still_open);
        remove(path.c_str()); // some file systems take long to cut a file and fill it again
    }
    // What a read of count values delivers; checks that nothing behind them is touched.
    Words Read(uint64_t count)
    {
        Words words(64, Guard);
        uint64_t got = 77;
        Audiofile_Read(&object.header, handle, words.data(), count, &got);
        EXPECT_LE(got, count);
        got = std::min<uint64_t>(got, 64);
        EXPECT_EQ(Words(words.begin() + static_cast<ptrdiff_t>(got), words.end()),
                  Words(64 - got, Guard));
        words.resize(got);
        return words;
    }
    uint64_t Write(Words words)
    {
        uint64_t put = 77;
        Audiofile_Write_LONG(&object.header, handle, words.data(), words.size(), &put);
        return put;
    }
};

// One call: 'R' reads count values, 'W' writes as many, 'B' rewinds, 'F' forwards to the last of
// count frames.
inline void Take_Step(RecordingObject* object, AudiofileHandle* handle, char step, uint64_t count)
{
    int64_t words[2] = {7, 7};
    uint64_t moved = 0;
    if (step == 'R') {
        Audiofile_Read(&object->header, handle, words, count, &moved);
    } else if (step == 'W') {
        Audiofile_Write_LONG(&object->header, handle, words, count, &moved);
    } else if (step == 'B') {
        Audiofile_Rewind(&object->header, handle);
    } else {
        Audiofile_Forward(&object->header, handle, count - 1);
    }
}

// A stream in memory and without a buffer of its own, whose calls can be made to fail, and a handle
// on it for the codecs.
#pragma once

#include "audiofile/codecs.h"
#include "tests/plain_formats.h"

#include <cstdio>
#include <thread>

// The sizes that a transfer asks fread_unlocked for. This takes the place of the C library's, so
// one source of a program may include it.
static std::vector<uint64_t> Asked_Bytes;

extern "C" size_t fread_unlocked(void* to, size_t size, size_t count, FILE* stream)
{
    Asked_Bytes.push_back(size * count);
    return fread(to, size, count, stream);
}

// Bytes of one pass after another, as a codec is to move them.
inline std::vector<uint64_t> Pass_Calls(const PlainFormat& codec, uint64_t count)
{
    std::vector<uint64_t> calls;
    for (uint64_t done = 0; done < count; done += codec.pass) {
        calls.push_back(codec.bytes * std::min(codec.pass, count - done));
    }
    return calls;
}

struct MemoryStream {
    Bytes content;
    size_t place = 0;              // of the next read; writes go to the end
    std::vector<uint64_t> written; // bytes of each write
    bool broken = false;           // reads and writes fail
    bool close_fails = false;
};

inline ssize_t Memory_Read(void* cookie, char* to, size_t count)
{
    MemoryStream* stream = static_cast<MemoryStream*>(cookie);
    if (stream->broken) {
        return -1;
    }
    const size_t moved = std::min(count, stream->content.size() - stream->place);
    std::copy_n(stream->content.data() + stream->place, moved, to);
    stream->place += moved;
    return static_cast<ssize_t>(moved);
}

inline ssize_t Memory_Write(void* cookie, const char* from, size_t count)
{
    MemoryStream* stream = static_cast<MemoryStream*>(cookie);
    if (stream->broken) {
        return 0;
    }
    stream->written.push_back(count);
    stream->content.insert(stream->content.end(), from, from + count);
    return static_cast<ssize_t>(count);
}

inline int Memory_Close(void* cookie)
{
    return static_cast<MemoryStream*>(cookie)->close_fails ? -1 : 0;
}

// Any place is a good one to seek: the tests look at the content alone.
inline FILE* Open_Memory(MemoryStream* stream, const char* mode)
{
    auto seek = [](void*, off64_t*, int) { return 0; };
    FILE* file = fopencookie(stream, mode, {Memory_Read, Memory_Write, seek, Memory_Close});
    setvbuf(file, nullptr, _IONBF, 0);
    return file;
}

// Whether another thread could use the stream. One that flushes all streams, as the end of the
// process does, would wait for ever.
inline bool Is_Unlocked(FILE* stream)
{
    bool unlocked = false;
    std::thread([&] {
        unlocked = ftrylockfile(stream) == 0;
        if (unlocked) {
            funlockfile(stream);
        }
    }).join();
    return unlocked;
}

// One call of a codec, on a handle of which only the fields that it may use mean something.
struct CodecFile {
    RecordingObject object;
    AudiofileHandle handle;
    AudiofileHandle before;
    MemoryStream stream;
    bool writing;
    Words words;
    uint64_t moved = 77;
    bool owned = true; // false once a failed write has closed the stream

    CodecFile(bool to_write, bool little, const Bytes& content, const Words& given)
        : writing(to_write), words(given)
    {
        Make_Recorder(&object);
        stream.content = content;
        memset(static_cast<void*>(&handle), 0xA5, sizeof handle);
        handle.stream = Open_Memory(&stream, writing ? "w" : "r");
        handle.little_endian = little;
        handle.clipped = 41;
        strcpy(handle.name, "some file");
        memcpy(static_cast<void*>(&before), &handle, sizeof handle);
    }
    ~CodecFile()
    {
        if (owned) {
            fclose(handle.stream);
        }
    }
};

inline void Move(CodecFile* file, DataFormat format, uint64_t count)
{
    auto* codec = file->writing ? FileDRDW_Write_Table[format] : FileDRDW_Read_Table[format];
    codec(&file->object.header, &file->handle, file->words.data(), count, &file->moved);
}

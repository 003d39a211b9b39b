// What the engine's tests share: files made of given bytes, and an object that records the reports
// and takes the place of the process's end by a jump back into the test.
#pragma once

#include "audiofile/audiofile.h"

#include <csetjmp>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

using Bytes = std::vector<uint8_t>;

// The header comes first, so that the callbacks can come back to the record from it.
struct RecordingObject {
    ObjectHeader header;
    std::vector<std::string> reports; // "severity,code: text", in order
    std::vector<int> descriptors;     // Open_Descriptors() at each of these reports
    bool inside;                      // within Stops
    jmp_buf stop;
};

void Make_Recorder(RecordingObject* object);

// Runs call; true if it ended in OBJ_Fatal_Stop. call must not own anything that a jump would leak.
// A stop outside of this aborts.
bool Stops(RecordingObject* object, const std::function<void()>& call);

// The same for a call that owns what a jump leaks, or whose stop is told to leave files open and
// memory taken, as the end of the process gives them back: the leak checker passes over it.
bool Stops_For_Good(RecordingObject* object, const std::function<void()>& call);

// A record as the exports take it: from OBJ_Malloc_C, not cleared, so that a memory checker sees a
// field that is used unset. Drop_Handle gives it back with all that a stop left behind: the stream,
// if still_open says that the stop left it open, and the stream's buffer.
AudiofileHandle* Make_Handle(RecordingObject* object);
void Drop_Handle(AudiofileHandle* handle, bool still_open);

// A path in a directory of this process, removed with all its files at the process's end.
std::string Scratch_Path(const std::string& name);
void Write_File(const std::string& path, const Bytes& bytes);
Bytes Read_File(const std::string& path);

// Descriptors this process has open, to see whether a refusal closed its file.
int Open_Descriptors();

// A file of these bytes opened by Audiofile_Open_Read or, for OM_READ_WRITE, by
// Audiofile_Open_Read_Write. It ends with all that the open left behind given back.
struct OpenedFile {
    RecordingObject object;
    std::string path;
    AudiofileHandle* handle;
    int descriptors; // open before
    bool stopped;
    uint64_t samples; // what the open told, 77 where it told nothing
    uint64_t channels;
    double sample_rate;

    OpenedFile(const Bytes& bytes, OpenMode mode);
    OpenedFile(const std::string& existing_path, OpenMode mode);
    ~OpenedFile();
    OpenedFile(const OpenedFile&) = delete;
    OpenedFile& operator=(const OpenedFile&) = delete;
};

// Reports about a file: each of these texts followed by path under the same severity and code.
std::vector<std::string> With_Name(const std::vector<std::string>& texts, const std::string& path);

// What a header tells.
struct HeaderFields {
    DataFormat format;
    uint64_t bytes_per_sample;
    uint64_t channels;
    double sample_rate;
    uint64_t data_start;
    uint64_t data_bytes;
    uint64_t samples;
};

// Expects that the open went well: with these warnings alone, with these fields in the record and
// told to the caller, and with the stream at the first sample.
void Expect_Opened(const OpenedFile& file, OpenMode mode, FileType file_type,
                   const HeaderFields& fields, const std::vector<std::string>& warnings);

// Expects that the open was refused: the last of texts is the refusal, the others are warnings
// before it. The stream was closed before the refusal's two reports, or not at all. The caller was
// told nothing.
void Expect_Refused(const OpenedFile& file, const std::vector<std::string>& texts,
                    bool closes_first);

// The opens that look at a header, and a file that both of them refuse.
constexpr OpenMode Reading_Modes[] = {OM_READ, OM_READ_WRITE};

struct HeaderRefusal {
    const char* name;
    Bytes bytes;
    bool closes_first;
    std::vector<std::string> texts; // the last is the refusal
};

void Expect_All_Refused(std::span<const HeaderRefusal> cases);

// Byte strings of a header: text, then integers of a width in either order.
Bytes Text(const std::string& text);
Bytes Little(unsigned width, uint64_t value);
Bytes Big(unsigned width, uint64_t value);
Bytes Join(const std::vector<Bytes>& parts);

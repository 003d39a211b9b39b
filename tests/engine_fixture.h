// What the engine's tests share: files made of given bytes, and an object that records the reports
// and takes the place of the process's end by a jump back into the test.
#pragma once

#include "audiofile/audiofile.h"

#include <csetjmp>
#include <cstdint>
#include <string>
#include <vector>

using Bytes = std::vector<uint8_t>;

// The header comes first, so that the callbacks can come back to the record from it.
struct RecordingObject {
    ObjectHeader header;
    std::vector<std::string> reports; // "severity,code: text", in order
    jmp_buf stop;
};

void Make_Recorder(RecordingObject* object);

// Runs call; true if it ended in OBJ_Fatal_Stop. call must not own anything that a jump would leak.
template <class Call> bool Stops(RecordingObject* object, Call call)
{
    if (setjmp(object->stop) != 0) {
        return true;
    }
    call();
    return false;
}

// A new directory for a test's files, removed at the end of the process.
std::string Scratch_Path(const std::string& name);
void Write_File(const std::string& path, const Bytes& bytes);
Bytes Read_File(const std::string& path);

// Descriptors this process has open, to see whether a refusal closed its file.
int Open_Descriptors();

// Byte strings of a header: text, then integers of a width in either order.
Bytes Text(const std::string& text);
Bytes Little(unsigned width, uint64_t value);
Bytes Big(unsigned width, uint64_t value);
Bytes Join(const std::vector<Bytes>& parts);

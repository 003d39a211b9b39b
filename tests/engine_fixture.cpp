// The recorder, the scratch files and the byte strings behind tests/engine_fixture.h.
#include "tests/engine_fixture.h"

#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <filesystem>
#include <unistd.h>

static RecordingObject* Record_Of(ObjectHeader* object)
{
    return reinterpret_cast<RecordingObject*>(object);
}

static void Record_Message(ObjectHeader* object, int32_t severity, int32_t code, const char* text)
{
    RecordingObject* record = Record_Of(object);
    record->reports.push_back(std::to_string(severity) + "," + std::to_string(code) + ": " + text);
    record->descriptors.push_back(Open_Descriptors());
}

static void Jump_Back(ObjectHeader* object)
{
    RecordingObject* record = Record_Of(object);
    if (!record->inside) {
        for (const std::string& report : record->reports) {
            fprintf(stderr, "%s\n", report.c_str());
        }
        fputs("fatal stop where the test expected none\n", stderr);
        abort();
    }
    longjmp(record->stop, 1);
}

void Make_Recorder(RecordingObject* object)
{
    object->header = {"TEST", Record_Message, Jump_Back};
    object->reports.clear();
    object->descriptors.clear();
    object->inside = false;
}

// Here and nowhere else, so that no variable of a test is in the frame that the jump comes back to.
bool Stops(RecordingObject* object, const std::function<void()>& call)
{
    object->inside = true;
    if (setjmp(object->stop) != 0) {
        object->inside = false;
        return true;
    }
    call();
    object->inside = false;
    return false;
}

AudiofileHandle* Make_Handle(RecordingObject* object)
{
    return static_cast<AudiofileHandle*>(OBJ_Malloc_C(&object->header, sizeof(AudiofileHandle)));
}

// Every open sets the stream, to null if there is none, and gives a stream its buffer.
void Drop_Handle(AudiofileHandle* handle, bool still_open)
{
    if (handle->stream != nullptr) {
        if (still_open) {
            fclose(handle->stream);
        }
        OBJ_Free_C(nullptr, handle->stream_buffer);
    }
    OBJ_Free_C(nullptr, handle);
}

// The child of a death test leaves through exit as well and must not take the files away.
struct ScratchDirectory {
    std::filesystem::path path;
    pid_t owner;

    ScratchDirectory() : owner(getpid())
    {
        std::string name = (std::filesystem::temp_directory_path() / "audiofile-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            perror(name.c_str());
            abort();
        }
        path = name;
    }
    ~ScratchDirectory()
    {
        if (getpid() == owner) {
            std::error_code ignored;
            std::filesystem::remove_all(path, ignored);
        }
    }
};

std::string Scratch_Path(const std::string& name)
{
    static const ScratchDirectory directory;
    return (directory.path / name).string();
}

void Write_File(const std::string& path, const Bytes& bytes)
{
    FILE* file = fopen(path.c_str(), "wb");
    if (file == nullptr || fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size() ||
        fclose(file) != 0) {
        perror(path.c_str());
        abort();
    }
}

Bytes Read_File(const std::string& path)
{
    FILE* file = fopen(path.c_str(), "rb");
    if (file == nullptr) {
        perror(path.c_str());
        abort();
    }
    Bytes bytes;
    uint8_t piece[4096];
    for (size_t got; (got = fread(piece, 1, sizeof piece, file)) != 0;) {
        bytes.insert(bytes.end(), piece, piece + got);
    }
    fclose(file);
    return bytes;
}

int Open_Descriptors()
{
    DIR* directory = opendir("/proc/self/fd");
    if (directory == nullptr) {
        perror("/proc/self/fd");
        abort();
    }
    int count = -1; // the directory itself
    while (const dirent* entry = readdir(directory)) {
        count += entry->d_name[0] != '.';
    }
    closedir(directory);
    return count;
}

Bytes Text(const std::string& text)
{
    return Bytes(text.begin(), text.end());
}

Bytes Little(unsigned width, uint64_t value)
{
    Bytes bytes;
    for (unsigned k = 0; k < width; k++) {
        bytes.push_back(static_cast<uint8_t>(value >> 8 * k));
    }
    return bytes;
}

Bytes Big(unsigned width, uint64_t value)
{
    const Bytes little = Little(width, value);
    return Bytes(little.rbegin(), little.rend());
}

Bytes Join(const std::vector<Bytes>& parts)
{
    Bytes whole;
    for (const Bytes& part : parts) {
        whole.insert(whole.end(), part.begin(), part.end());
    }
    return whole;
}

// The recorder, the scratch files and the byte strings behind tests/engine_fixture.h.
#include "tests/engine_fixture.h"

#include <gtest/gtest.h>

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

// Of the leak checker's run-time library, where that is there.
extern "C" [[gnu::weak]] void __lsan_disable();
extern "C" [[gnu::weak]] void __lsan_enable();

bool Stops_For_Good(RecordingObject* object, const std::function<void()>& call)
{
    if (__lsan_disable != nullptr) {
        __lsan_disable();
    }
    const bool stopped = Stops(object, call);
    if (__lsan_enable != nullptr) {
        __lsan_enable();
    }
    return stopped;
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
    unlink(path.c_str()); // some file systems are slow to cut a file to nothing
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

static void Open_Path(OpenedFile* file, OpenMode mode)
{
    Make_Recorder(&file->object);
    file->handle = Make_Handle(&file->object);
    file->samples = file->channels = 77;
    file->sample_rate = 77.0;
    file->descriptors = Open_Descriptors();
    const auto open = mode == OM_READ_WRITE ? Audiofile_Open_Read_Write : Audiofile_Open_Read;
    file->stopped = Stops(&file->object, [&] {
        open(&file->object.header, file->path.c_str(), &file->samples, &file->channels,
             &file->sample_rate, file->handle);
    });
}

OpenedFile::OpenedFile(const Bytes& bytes, OpenMode mode) : path(Scratch_Path("opened"))
{
    Write_File(path, bytes);
    Open_Path(this, mode);
}

OpenedFile::OpenedFile(const std::string& existing_path, OpenMode mode) : path(existing_path)
{
    Open_Path(this, mode);
}

OpenedFile::~OpenedFile()
{
    Drop_Handle(handle, Open_Descriptors() > descriptors);
}

std::vector<std::string> With_Name(const std::vector<std::string>& texts, const std::string& path)
{
    std::vector<std::string> reports;
    for (const std::string& text : texts) {
        reports.push_back(text);
        reports.push_back(text.substr(0, text.find(": ") + 2) + path);
    }
    return reports;
}

void Expect_Opened(const OpenedFile& file, OpenMode mode, FileType file_type,
                   const HeaderFields& fields, const std::vector<std::string>& warnings)
{
    const AudiofileHandle* handle = file.handle;
    EXPECT_EQ(file.object.reports, With_Name(warnings, file.path));
    ASSERT_FALSE(file.stopped);
    EXPECT_EQ(Open_Descriptors(), file.descriptors + 1);
    EXPECT_EQ(handle->format, fields.format);
    EXPECT_EQ(handle->bytes_per_sample, fields.bytes_per_sample);
    EXPECT_EQ(handle->channels, fields.channels);
    EXPECT_EQ(handle->sample_rate, fields.sample_rate);
    EXPECT_EQ(handle->data_start, fields.data_start);
    EXPECT_EQ(handle->data_bytes, fields.data_bytes);
    EXPECT_EQ(handle->samples, fields.samples);
    EXPECT_EQ(handle->file_type, file_type);
    EXPECT_EQ(handle->little_endian, file_type == FT_WAVE ? 1u : 0u);
    EXPECT_EQ(handle->mode, mode);
    EXPECT_EQ(handle->position, 0u);
    EXPECT_EQ(handle->name, file.path);
    if (mode == OM_READ_WRITE) {
        EXPECT_EQ(handle->clipped, 0u);
        EXPECT_EQ(handle->block_pending, 0u);
    }
    EXPECT_EQ(ftell(handle->stream), static_cast<long>(fields.data_start));
    EXPECT_EQ(file.samples, fields.samples);
    EXPECT_EQ(file.channels, fields.channels);
    EXPECT_EQ(file.sample_rate, fields.sample_rate);
}

void Expect_Refused(const OpenedFile& file, const std::vector<std::string>& texts,
                    bool closes_first)
{
    EXPECT_TRUE(file.stopped);
    EXPECT_EQ(file.object.reports, With_Name(texts, file.path));
    std::vector<int> descriptors(2 * texts.size(), file.descriptors + 1);
    if (closes_first) {
        descriptors.back() = descriptors.end()[-2] = file.descriptors;
    }
    EXPECT_EQ(file.object.descriptors, descriptors);
    EXPECT_EQ(file.samples, 77u);
    EXPECT_EQ(file.channels, 77u);
    EXPECT_EQ(file.sample_rate, 77.0);
}

void Expect_All_Refused(std::span<const HeaderRefusal> cases)
{
    for (const HeaderRefusal& c : cases) {
        for (const OpenMode mode : Reading_Modes) {
            SCOPED_TRACE(testing::Message() << c.name << ", mode " << mode);
            Expect_Refused(OpenedFile(c.bytes, mode), c.texts, c.closes_first);
        }
    }
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

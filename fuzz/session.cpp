// The file in memory and the checked calls on it.
#include "fuzz/session.h"

#include "fuzz/sandbox.h"

#include <bit>
#include <cstdio>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

#if defined(__has_feature)
#if __has_feature(memory_sanitizer)
#include <sanitizer/msan_interface.h>
#define OMBRINE_MEMORY_SANITIZER
#endif
#endif

constexpr int64_t Guard_Word = 0x7172737475767778;
constexpr uint32_t Guard_Float = 0xC5C5C5C5; // bits that memset can store

AudiofileHandle Session_Handle;
std::vector<int64_t> Session_Words;
Matrix Session_Buffers;

// ---- The file in memory ----

static int Memory_File = -1;
static char Memory_Path[64];

void Session_Set_File(const uint8_t* bytes, size_t size)
{
    if (Memory_File < 0) {
        Memory_File = memfd_create("open_read", MFD_CLOEXEC);
        Require(Memory_File >= 0, "a file in memory");
        snprintf(Memory_Path, sizeof Memory_Path, "/proc/self/fd/%d", Memory_File);
        Sandbox_Expect_Path(Memory_Path);
    }
    Require(ftruncate(Memory_File, static_cast<off_t>(size)) == 0, "the file's size can be set");
    Require(pwrite(Memory_File, bytes, size, 0) == static_cast<ssize_t>(size),
            "the file can be filled");
}

std::vector<uint8_t> Session_Get_File()
{
    const off_t size = lseek(Memory_File, 0, SEEK_END);
    Require(size >= 0 && size < 1 << 24, "the file stays small");
    std::vector<uint8_t> bytes(static_cast<size_t>(size));
    Require(pread(Memory_File, bytes.data(), bytes.size(), 0) == size, "the file can be read back");
    return bytes;
}

// ---- Opening and closing ----

// True if the call went through; otherwise it stopped, as it had to.
static bool Ended_As(const char* stop, const char* expected, const char* what)
{
    const bool same =
        stop == nullptr || expected == nullptr ? stop == expected : strcmp(stop, expected) == 0;
    if (!same) {
        fprintf(stderr, "open_read: stop \"%s\", expected \"%s\"\n", stop ? stop : "none",
                expected ? expected : "none");
    }
    Require(same, what);
    return stop == nullptr;
}

bool Session_Open(OpenMode mode, uint8_t fill, const HeaderModel& expected)
{
    memset(&Session_Handle, fill, sizeof Session_Handle);
#if defined(OMBRINE_MEMORY_SANITIZER)
    __msan_allocated_memory(&Session_Handle, sizeof Session_Handle);
#endif
    double rate = -77.0;
    Properties told = {};
    const char* stop = Sandbox_Run([&told, &rate, mode] {
        (mode == OM_READ ? Audiofile_Open_Read : Audiofile_Open_Read_Write)(
            &Sandbox_Object, Memory_Path, &told.samples, &told.channels, &rate, &Session_Handle);
    });
    Require(Sandbox_Warnings() == expected.warnings,
            "the warnings are those that the header earns");
    if (!Ended_As(stop, expected.stop, "an open ends as the header says")) {
        Require(Sandbox_Empty(), "nothing is left after a stop");
        return false;
    }
    told.rate_bits = std::bit_cast<uint64_t>(rate);
    told.format = Session_Handle.format;
    told.file_type = Session_Handle.file_type;
    told.little_endian = Session_Handle.little_endian;
    told.bytes_per_sample = Session_Handle.bytes_per_sample;
    told.data_start = Session_Handle.data_start;
    told.data_bytes = Session_Handle.data_bytes;
    Require(told == expected.properties, "an open tells what the header says");
    Require(Session_Handle.samples == told.samples && Session_Handle.channels == told.channels &&
                std::bit_cast<uint64_t>(Session_Handle.sample_rate) == told.rate_bits,
            "what is told is what the record holds");
    Require(Session_Handle.mode == mode && Session_Handle.position == 0 &&
                ftell(Session_Handle.stream) == static_cast<int64_t>(Session_Handle.data_start),
            "the file stands at its first sample");
    Require(strcmp(Session_Handle.name, Memory_Path) == 0, "the record holds the path");
    Require(mode == OM_READ || (Session_Handle.clipped == 0 && Session_Handle.block_pending == 0),
            "changing in place starts with a read");
    return true;
}

Session Session_Start(const Properties& properties, const std::vector<uint8_t>& file)
{
    return {{file, properties.format, properties.little_endian != 0, properties.data_start,
             properties.samples, properties.bytes_per_sample},
            0,
            0,
            0};
}

// ---- Transfers and moves ----

static void Note_Read(Session* session, uint64_t got)
{
    const bool in_place = Session_Handle.mode == OM_READ_WRITE;
    session->offset = in_place ? session->position * session->model.bytes_per_sample
                               : session->offset + got * Model_Width(session->model);
    session->position += got;
    Require(Session_Handle.position == session->position, "the position counts what was read");
    Require(!in_place || Session_Handle.block_pending == 1, "a block is pending");
}

bool Session_Read_Words(Session* session, uint64_t count, uint64_t* got)
{
    const Model& model = session->model;
    session->asked += count;
    const uint64_t arriving = Model_Arriving(model, session->position, session->offset, count);
    Session_Words.assign(count + 1, Guard_Word);
    *got = UINT64_MAX;
    const char* stop = Sandbox_Run([count, got] {
        Audiofile_Read(&Sandbox_Object, &Session_Handle, Session_Words.data(), count, got);
    });
    if (!Ended_As(stop, Model_Read_Stop(model, arriving != 0), "a read ends as its format says")) {
        return false;
    }
    Require(*got == arriving, "a read delivers what is there");
    const uint64_t width = Model_Width(model);
    for (uint64_t k = 0; k <= count; k++) {
        Require(Session_Words[k] ==
                    (k < arriving ? Model_Word(model, session->offset + k * width) : Guard_Word),
                "the words are those of the file, and nothing behind them changes");
    }
    Require(Sandbox_Peak_Bytes() <= 128, "a read takes 128 bytes");
    Note_Read(session, arriving);
    return true;
}

void Session_Shape_Buffers(uint64_t channels, uint64_t frames)
{
    Session_Buffers.frames = frames;
    Session_Buffers.values.resize(channels * (frames + 1) + 1);
    Session_Buffers.rows.resize(channels + 1);
    memset(Session_Buffers.values.data(), 0xC5, Session_Buffers.values.size() * sizeof(float));
    for (uint64_t c = 0; c < channels; c++) {
        Session_Buffers.rows[c] = Session_Buffers.values.data() + c * (frames + 1);
    }
}

bool Session_Read_Matrix(Session* session, uint64_t frames, float scale, uint64_t* frames_read)
{
    const Model& model = session->model;
    const uint64_t channels = Session_Handle.channels;
    const uint64_t count = channels * frames;
    session->asked += count;
    const uint64_t arriving = Model_Arriving(model, session->position, session->offset, count);
    Session_Shape_Buffers(channels, frames);
    *frames_read = UINT64_MAX;
    const char* stop = Sandbox_Run([frames, scale, frames_read] {
        Audiofile_RdMatrix_FLOAT(&Sandbox_Object, &Session_Handle, Session_Buffers.rows.data(),
                                 frames, frames_read, scale);
    });
    if (!Ended_As(stop, Model_Read_Stop(model, arriving != 0), "a read ends as its format says")) {
        return false;
    }
    Require(*frames_read == (channels != 0 ? arriving / channels : 0),
            "a read delivers the whole frames that are there");
    const uint64_t width = Model_Width(model);
    for (uint64_t c = 0; c < channels; c++) {
        for (uint64_t f = 0; f < frames; f++) {
            const uint64_t offset = session->offset + (f * channels + c) * width;
            const float expected =
                f < *frames_read ? Model_Float(model, Model_Word(model, offset), scale) : 0.0f;
            Require(std::bit_cast<uint32_t>(Session_Buffers.rows[c][f]) ==
                        std::bit_cast<uint32_t>(expected),
                    "the floats are those of the file, and zeros behind them");
        }
        Require(std::bit_cast<uint32_t>(Session_Buffers.rows[c][frames]) == Guard_Float,
                "nothing behind a buffer changes");
    }
    Require(Sandbox_Peak_Bytes() <= 8 * count + 128, "a read takes 8 bytes a value and 128");
    Note_Read(session, arriving);
    return true;
}

bool Session_Write_Words(Session* session, uint64_t count)
{
    uint64_t clipped = Session_Handle.clipped;
    const char* expected = Model_Write_Stop(session->model, count != 0);
    const uint64_t width = Model_Width(session->model);
    if (expected == nullptr) {
        for (uint64_t k = 0; k < count; k++) {
            clipped += Model_Write(&session->model, session->offset + k * width, Session_Words[k]);
        }
    }
    uint64_t put = UINT64_MAX;
    const char* stop = Sandbox_Run([count, &put] {
        Audiofile_Write_LONG(&Sandbox_Object, &Session_Handle, Session_Words.data(), count, &put);
    });
    if (!Ended_As(stop, expected, "a write ends as its format says")) {
        return false;
    }
    session->offset += count * width;
    Require(put == count && Session_Handle.clipped == clipped, "a write counts what it did");
    Require(Session_Handle.block_pending == 0 && Session_Handle.position == session->position,
            "a write in place moves no position");
    Require(Session_Get_File() == session->model.file,
            "a write changes its block and nothing else");
    return true;
}

bool Session_Write_Matrix(Session* session, uint64_t frames, float scale)
{
    Model* model = &session->model;
    const uint64_t channels = Session_Handle.channels;
    const uint64_t count = channels * frames;
    const uint64_t clipped = Session_Handle.clipped;
    uint64_t written = UINT64_MAX;
    const char* stop = Sandbox_Run([frames, scale, &written] {
        Audiofile_WrMatrix_FLOAT(&Sandbox_Object, &Session_Handle, Session_Buffers.rows.data(),
                                 frames, &written, scale);
    });
    if (!Ended_As(stop, Model_Write_Matrix_Stop(*model, count != 0),
                  "a write ends as its format says")) {
        return false;
    }
    Require(written == (channels != 0 ? frames : 0), "all frames are written");
    Require(Session_Handle.clipped >= clipped && Session_Handle.clipped - clipped <= count,
            "a value is clipped at most once");
    Require(Sandbox_Peak_Bytes() <= 8 * count + 128, "a write takes 8 bytes a value and 128");
    // Rounding is not modelled here: the block is taken as it is.
    const std::vector<uint8_t> now = Session_Get_File();
    const uint64_t bytes = count * Model_Width(*model);
    const uint64_t start = model->data_start + session->offset;
    const uint64_t end = start + bytes;
    std::vector<uint8_t> expected = model->file;
    Model_Extend(&expected, count != 0 ? end : 0);
    Require(now.size() == expected.size(), "a write makes the file no longer than its block");
    for (uint64_t k = start; k < end; k++) {
        expected[k] = now[k];
    }
    Require(now == expected, "a write changes its block and nothing else");
    model->file = now;
    session->offset += bytes;
    return true;
}

void Session_Rewind(Session* session)
{
    const char* stop = Sandbox_Run([] { Audiofile_Rewind(&Sandbox_Object, &Session_Handle); });
    Ended_As(stop, nullptr, "a rewind succeeds");
    session->position = 0;
    session->offset = 0;
    Require(Session_Handle.position == 0, "a rewind goes to the first sample");
}

bool Session_Forward(Session* session, uint64_t frames)
{
    const uint64_t channels = Session_Handle.channels;
    session->position =
        channels != 0 && frames > UINT64_MAX / channels ? UINT64_MAX : channels * frames;
    // Beyond the header's total nothing is read, wherever the stream stands.
    session->offset = session->position < session->model.samples
                          ? session->position * session->model.bytes_per_sample
                          : 0;
    const bool too_far = session->model.data_start + session->offset > Sandbox_Farthest_Place;
    const char* stop =
        Sandbox_Run([frames] { Audiofile_Forward(&Sandbox_Object, &Session_Handle, frames); });
    if (!Ended_As(stop, too_far ? "FileAccess_FSEEK: Error Seeking file" : nullptr,
                  "a place is gone to unless no file can have it")) {
        return false;
    }
    Require(Session_Handle.position == session->position, "the place is frames times channels");
    return true;
}

void Session_Must_Stop(const char* expected, void (*call)(void* context), void* context)
{
    Ended_As(Sandbox_Run(call, context), expected, "a call in the wrong state is refused");
    Require(Sandbox_Empty(), "nothing is left after a stop");
}

void Session_Close(uint64_t way)
{
    const bool in_place = Session_Handle.mode == OM_READ_WRITE;
    const char* stop = Sandbox_Run([way, in_place] {
        if (!in_place || way == 0) {
            Audiofile_Close_Read(&Sandbox_Object, &Session_Handle);
        } else if (way == 1) {
            Audiofile_Close_Read_Write(&Sandbox_Object, &Session_Handle);
        } else {
            Audiofile_Close_Write(&Sandbox_Object, &Session_Handle);
        }
    });
    Ended_As(stop, nullptr, "an open file can be closed");
    Require(Session_Handle.mode == OM_CLOSED && Sandbox_Empty(), "a closed file leaves nothing");
    if (way == 0) {
        Session_Must_Stop("Audiofile_Close_Read: File not openend for read ",
                          [] { Audiofile_Close_Read(&Sandbox_Object, &Session_Handle); });
    }
}

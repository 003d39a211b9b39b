// The fuzz target's file and its calls of the engine, each held against the models: what a call
// tells, what it leaves in the record and in the file, which report stops it, how much memory it
// takes. A broken promise aborts. There is one file and one record in the process.
#pragma once

#include "fuzz/header_model.h"
#include "fuzz/model.h"

struct Matrix {
    uint64_t frames;
    std::vector<float> values; // of each channel frames and one for guard
    std::vector<float*> rows;
};

// An open file, the next sample by the count of what was read, and where the stream stands, in
// bytes from the first sample on. The two drift apart in read-write mode.
struct Session {
    Model model;
    uint64_t position;
    uint64_t offset;
    uint64_t asked; // sample values so far
};

extern AudiofileHandle Session_Handle;
extern std::vector<int64_t> Session_Words; // of the last read or for the next write
extern Matrix Session_Buffers;             // likewise

// The content of the file; its path stays the same.
void Session_Set_File(const uint8_t* bytes, size_t size);
std::vector<uint8_t> Session_Get_File();

// Shapes the buffers for frames frames and fills them with the guard's bits.
void Session_Shape_Buffers(uint64_t channels, uint64_t frames);

// Opens the file; false if it was refused, as expected says. The record holds fill before, as an
// allocator might give it.
bool Session_Open(OpenMode mode, uint8_t fill, const HeaderModel& expected);

// The session of a file just opened.
Session Session_Start(const Properties& properties, const std::vector<uint8_t>& file);

// The transfers, false if they were stopped, which their format may bring about. The writes take
// what the last read of their kind delivered; count words must be there.
bool Session_Read_Words(Session* session, uint64_t count, uint64_t* got);
bool Session_Read_Matrix(Session* session, uint64_t frames, float scale, uint64_t* frames_read);
bool Session_Write_Words(Session* session, uint64_t count);
bool Session_Write_Matrix(Session* session, uint64_t frames, float scale);

// The moves. A place that no file can have stops a forward.
void Session_Rewind(Session* session);
bool Session_Forward(Session* session, uint64_t frames);

// Closes the file, a read-write one by any of three closes.
void Session_Close(uint64_t way);

// Makes a call that must be stopped by the report expected.
void Session_Must_Stop(const char* expected, void (*call)(void* context), void* context);

template <class Call> void Session_Must_Stop(const char* expected, Call call)
{
    Session_Must_Stop(
        expected, [](void* context) { (*static_cast<Call*>(context))(); }, &call);
}

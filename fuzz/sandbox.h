// A sandbox for calls of the audio file engine. A stop of the engine comes back to the caller
// instead of ending the process, and what the stop left behind is taken away, so that millions of
// calls fit in one process. On the way the sandbox holds the engine to what it promises: every
// report is a known one with its severity and code, comes whole and under the file's name, the
// stream is open or closed as the report says, and no block is larger than the call may take.
//
// The platform's fopen, fclose, fseek, memalign and free are wrapped at link time
// (fuzz/CMakeLists.txt). There is one sandbox in the process, for one open file at a time.
#pragma once

#include "audiofile/audiofile.h"

#include <csetjmp>
#include <cstddef>
#include <cstdint>

// The object that goes with every call of the engine.
extern ObjectHeader Sandbox_Object;

// Larger blocks are refused, as an exhausted heap would.
constexpr uint64_t Sandbox_Largest_Block = uint64_t{1} << 26;

// No stream goes farther: common file systems end here, those in memory do not.
constexpr int64_t Sandbox_Farthest_Place = int64_t{1} << 44;

// Sets the path that reports must name.
void Sandbox_Expect_Path(const char* path);

// Lets the allocation with this number, counted from now, fail; 0 lets none fail.
void Sandbox_Fail_Allocation(uint64_t number);

// Runs call(context). Null if it returned; if it ended in a stop the text of its report, after
// everything that the stop left has been taken away. What call owns itself is lost by a stop.
const char* Sandbox_Run(void (*call)(void* context), void* context);

template <class Call> const char* Sandbox_Run(Call call)
{
    return Sandbox_Run([](void* context) { (*static_cast<Call*>(context))(); }, &call);
}

// The most bytes that the last run held at one time beyond those that it found.
uint64_t Sandbox_Peak_Bytes();

// Warnings of the last run.
uint64_t Sandbox_Warnings();

// True if no stream and no block of the engine is left.
bool Sandbox_Empty();

// Prints what and aborts unless holds.
void Require(bool holds, const char* what);

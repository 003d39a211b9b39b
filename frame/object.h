// The object frame: a record with a name and two callbacks that every layer works against, and the
// few operations on it. It sets the failure model of the whole library: no operation returns an
// error. A failure is one or two calls of the message callback and then OBJ_Fatal_Stop, which ends
// the process with status 1. Nothing is unwound and nothing is freed on the way.
#pragma once

#include <cstdint>

struct ObjectHeader;

// Receives every report. Severity is an index into OBJ_Severity_Names, code tells the kind of
// trouble. A report about a file comes as two calls: the text, then the file's name alone.
using MessageCallback = void(ObjectHeader* object, int32_t severity, int32_t code,
                             const char* text);
using FatalCallback = void(ObjectHeader* object);

struct ObjectHeader {
    const char* name;                  // not owned, not copied; set before the first report
    MessageCallback* message_callback; // never null
    FatalCallback* fatal_callback;     // may be null; it may leave by longjmp, nothing is unwound
};

constexpr int32_t OBJ_WARN = 2;  // the operation goes on
constexpr int32_t OBJ_ERROR = 3; // OBJ_Fatal_Stop follows

// "DEBUG", "INFO", "WARN", "ERROR", "FATAL", "ASSERT", indexed by the severity.
extern const char* const OBJ_Severity_Names[6];

// A null name, OBJ_Default_Message and OBJ_Default_Fatal. Copy it to make an object, then replace
// what should differ.
extern const ObjectHeader OBJ_Template;

// OBJ_Malloc_C: size bytes on a 16-byte boundary, for memory that outlives the operation; back
// through OBJ_Free_C. Not cleared. Size 0 gives what memalign gives for it.
// Out of memory: message (3, 10, "OBJ_Malloc_C: Out of Memory"), then OBJ_Fatal_Stop.
void* OBJ_Malloc_C(ObjectHeader* object, uint64_t size);

// OBJ_Malloc_T: size bytes of scratch on a 16-byte boundary, back through OBJ_Free_T before the
// operation that took them returns. Not cleared.
// Out of memory: message (3, 2, "OBJ_Malloc_T: Out of temp. memory"), then OBJ_Fatal_Stop.
void* OBJ_Malloc_T(ObjectHeader* object, uint64_t size);

// The object is not touched; a null block is no fault.
void OBJ_Free_C(ObjectHeader* object, void* block);
void OBJ_Free_T(ObjectHeader* object, void* block);

// OBJ_Fatal_Stop: runs the fatal callback, if there is an object with one, then exit(1).
[[noreturn]] void OBJ_Fatal_Stop(ObjectHeader* object);

// OBJ_Set_Name: stores the pointer, which must stay valid as long as the object.
void OBJ_Set_Name(ObjectHeader* object, const char* name);

// OBJ_Default_Message: prints "[name] SEVERITY - text (code)" on standard error. Severity is 0 to
// 5, not tested.
void OBJ_Default_Message(ObjectHeader* object, int32_t severity, int32_t code, const char* text);

// OBJ_Default_Fatal: does nothing, so that the stop is a plain exit(1).
void OBJ_Default_Fatal(ObjectHeader* object);

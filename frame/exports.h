// The object shared by all open files of the exported interface, and its use count. Internal: the
// exports themselves are in frame/ombrine_audiofile.h.
#pragma once

#include "frame/object.h"

// Plain variables: the application serialises the open and close exports.
extern ObjectHeader* Export_Object; // null while no file is open
extern uint64_t Export_Use_Count;   // opens not yet closed
extern const char* const Export_Revision_Table[3];

// Export_Create_Object: makes Export_Object, named "AUDIOFILE", reporting through Export_Message
// and Export_Fatal. No memory for it: exit with status 1, nothing printed.
void Export_Create_Object();

// Export_Release_Object: counts one use down, unless the count is 0 already, and frees the object
// once none is left.
void Export_Release_Object();

// Export_Message: prints "OmbrineAudiofile: severity,code: text" on standard error.
void Export_Message(ObjectHeader* object, int32_t severity, int32_t code, const char* text);

// Export_Fatal: prints "OmbrineAudiofile: Exception" on standard error and exits with status 1.
[[noreturn]] void Export_Fatal(ObjectHeader* object);

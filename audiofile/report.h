// The two shapes that every report of the audio file engine has.
#pragma once

#include "audiofile/audiofile.h"

// A warning: the text, then the file's name; the operation goes on.
void LF_Warn(ObjectHeader* object, int32_t code, const char* text, const char* name);

// A refusal: the text, then the file's name unless that is null, then OBJ_Fatal_Stop.
[[noreturn]] void LF_Refuse(ObjectHeader* object, int32_t code, const char* text, const char* name);

// Closes the stream, whatever comes of it, and refuses under the handle's name.
[[noreturn]] void LF_Close_And_Refuse(ObjectHeader* object, AudiofileHandle* handle, int32_t code,
                                      const char* text);

// Refuses a handle that is in the wrong state; a null one has no name to tell.
[[noreturn]] void LF_Refuse_Handle(ObjectHeader* object, const AudiofileHandle* handle,
                                   int32_t code, const char* text);

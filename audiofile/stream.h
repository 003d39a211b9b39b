// What every open and close does with the stream of a handle, whatever the mode.
#pragma once

#include "audiofile/audiofile.h"

// Opens path as mode says and fills stream, name and stream_buffer. A file that cannot be opened is
// refused with code 14, text and path.
void LF_Open_Stream(ObjectHeader* object, AudiofileHandle* handle, const char* path, OpenMode mode,
                    const char* text);

// Closes the stream, sets OM_CLOSED and gives the stream's buffer back. A failing fclose is refused
// with code 15 and text alone, and so is a stream open for writing that is in error.
void LF_Close_Stream(ObjectHeader* object, AudiofileHandle* handle, const char* text);

// True if the handle is there, has a stream and is in one of the two modes.
bool LF_Is_Open(const AudiofileHandle* handle, OpenMode mode, OpenMode other_mode);

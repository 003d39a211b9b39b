// Byte access to an audio file: the platform's buffered stream calls, with the report and the stop
// that a failed one means. All work at the stream's current position, except the two seeks. Every
// failure is two messages of severity 3 and code 16, the text and the file's name, then
// OBJ_Fatal_Stop. The two reads leave the stream open on failure, the others close it first.
#pragma once

#include "audiofile/audiofile.h"

// FileAccess_Get_String: exactly count bytes into buffer; end of file before them is a failure.
void FileAccess_Get_String(ObjectHeader* object, AudiofileHandle* handle, uint64_t count,
                           void* buffer);

// FileAccess_GetNoError_UString: up to count bytes into buffer; got (out) of them arrived. Fewer at
// end of file is no failure, any other shortfall is.
void FileAccess_GetNoError_UString(ObjectHeader* object, AudiofileHandle* handle, uint64_t count,
                                   uint64_t* got, void* buffer);

// FileAccess_Put_String: exactly count bytes from buffer.
void FileAccess_Put_String(ObjectHeader* object, AudiofileHandle* handle, uint64_t count,
                           const void* buffer);

// The same two for a transfer of many pieces, which takes the stream's lock once, by flockfile, and
// holds it here: another thread may flush all streams of the process at any time. A failure gives
// the lock back before it closes or reports.
void FileAccess_GetNoError_UString_Locked(ObjectHeader* object, AudiofileHandle* handle,
                                          uint64_t count, uint64_t* got, void* buffer);
void FileAccess_Put_String_Locked(ObjectHeader* object, AudiofileHandle* handle, uint64_t count,
                                  const void* buffer);

// FileAccess_Skip_Data: moves by offset bytes from here, back if negative. Above 2147483647
// refused.
void FileAccess_Skip_Data(ObjectHeader* object, AudiofileHandle* handle, int64_t offset);

// FileAccess_FSEEK: moves to offset from the start of the file.
void FileAccess_FSEEK(ObjectHeader* object, AudiofileHandle* handle, int64_t offset);

// FileAccess_FTELL: the current offset from the start of the file.
void FileAccess_FTELL(ObjectHeader* object, AudiofileHandle* handle, uint64_t* position);

// FileAccess_Put_Integer: the low width bytes (1 to 8) of value, in the handle's byte order.
void FileAccess_Put_Integer(ObjectHeader* object, AudiofileHandle* handle, uint64_t width,
                            uint64_t value);

// FileAccess_Decode_Integer: value (out) from width bytes (1 to 8); little_endian 0 puts the first
// byte highest. Cannot fail.
void FileAccess_Decode_Integer(uint32_t little_endian, uint64_t width, const void* bytes,
                               uint64_t* value);

// The thin layer over the platform's buffered streams through which all bytes of an audio file
// pass.
#include "audiofile/file_access.h"

#include "audiofile/report.h"

static constexpr int32_t Transfer_Code = 16;
static constexpr int64_t Longest_Skip = 2147483647;

void FileAccess_Get_String(ObjectHeader* object, AudiofileHandle* handle, uint64_t count,
                           void* buffer)
{
    const uint64_t got = fread(buffer, 1, count, handle->stream);
    if (got == count && !ferror(handle->stream)) {
        return;
    }
    LF_Refuse(object, Transfer_Code,
              feof(handle->stream) ? "FileAccess_Get_String: EOF on file "
                                   : "FileAccess_Get_String: Error reading string from file ",
              handle->name);
}

void FileAccess_GetNoError_UString_Locked(ObjectHeader* object, AudiofileHandle* handle,
                                          uint64_t count, uint64_t* got, void* buffer)
{
    *got = fread_unlocked(buffer, 1, count, handle->stream);
    if (*got == count || feof_unlocked(handle->stream)) {
        return;
    }
    const bool error = ferror_unlocked(handle->stream) != 0;
    funlockfile(handle->stream);
    LF_Refuse(object, Transfer_Code,
              error ? "FileAccess_GetNoError_UString: Error reading string from file"
                    : "FileAccess_GetNoError_UString: Read too few yet no errors?",
              handle->name);
}

void FileAccess_GetNoError_UString(ObjectHeader* object, AudiofileHandle* handle, uint64_t count,
                                   uint64_t* got, void* buffer)
{
    flockfile(handle->stream);
    FileAccess_GetNoError_UString_Locked(object, handle, count, got, buffer);
    funlockfile(handle->stream);
}

void FileAccess_Put_String_Locked(ObjectHeader* object, AudiofileHandle* handle, uint64_t count,
                                  const void* buffer)
{
    const uint64_t put = fwrite_unlocked(buffer, 1, count, handle->stream);
    if (put != count || ferror_unlocked(handle->stream)) {
        funlockfile(handle->stream);
        LF_Close_And_Refuse(object, handle, Transfer_Code,
                            "FileAccess_Put_String: Error writing string into file ");
    }
}

void FileAccess_Put_String(ObjectHeader* object, AudiofileHandle* handle, uint64_t count,
                           const void* buffer)
{
    flockfile(handle->stream);
    FileAccess_Put_String_Locked(object, handle, count, buffer);
    funlockfile(handle->stream);
}

void FileAccess_Skip_Data(ObjectHeader* object, AudiofileHandle* handle, int64_t offset)
{
    if (offset > Longest_Skip || fseek(handle->stream, offset, SEEK_CUR) != 0) {
        LF_Close_And_Refuse(object, handle, Transfer_Code,
                            "FileAccess_Skip_Data: Error reading header from file ");
    }
}

void FileAccess_FSEEK(ObjectHeader* object, AudiofileHandle* handle, int64_t offset)
{
    if (fseek(handle->stream, offset, SEEK_SET) != 0) {
        LF_Close_And_Refuse(object, handle, Transfer_Code, "FileAccess_FSEEK: Error Seeking file");
    }
}

void FileAccess_FTELL(ObjectHeader* object, AudiofileHandle* handle, uint64_t* position)
{
    const int64_t place = ftell(handle->stream);
    if (place < 0) {
        LF_Close_And_Refuse(object, handle, Transfer_Code,
                            "FileAccess_FTELL: Error Determining position in file ");
    }
    *position = static_cast<uint64_t>(place);
}

void FileAccess_Put_Integer(ObjectHeader* object, AudiofileHandle* handle, uint64_t width,
                            uint64_t value)
{
    uint8_t bytes[8];
    for (uint64_t k = 0; k < width; k++) {
        bytes[handle->little_endian != 0 ? k : width - 1 - k] =
            static_cast<uint8_t>(value >> 8 * k);
    }
    FileAccess_Put_String(object, handle, width, bytes);
}

void FileAccess_Decode_Integer(uint32_t little_endian, uint64_t width, const void* bytes,
                               uint64_t* value)
{
    const uint8_t* byte = static_cast<const uint8_t*>(bytes);
    uint64_t sum = 0;
    for (uint64_t k = 0; k < width; k++) {
        sum = sum << 8 | byte[little_endian != 0 ? width - 1 - k : k];
    }
    *value = sum;
}

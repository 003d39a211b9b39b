// Opening and closing the stream of a handle. The stream gets a larger buffer than the platform's,
// since the codecs move 128 bytes a call and the kernel's share of that would be most of the time.
// Read-write mode keeps the platform's: each change of direction fills the buffer again. All keep
// the platform's lock: another thread may flush every stream of the process.
#include "audiofile/stream.h"

#include "audiofile/report.h"
#include "frame/open_stream.h"

#include <cstring>

static constexpr int32_t Open_Code = 14;
static constexpr int32_t Close_Code = 15;
static constexpr uint64_t Stream_Buffer_Bytes = 65536;

void LF_Open_Stream(ObjectHeader* object, AudiofileHandle* handle, const char* path, OpenMode mode,
                    const char* text)
{
    static const char* const Stream_Modes[] = {"", "rb", "wb", "rb+"}; // OpenMode order
    handle->stream = OBJ_Open_Stream(path, Stream_Modes[mode]);
    if (handle->stream == nullptr) {
        LF_Refuse(object, Open_Code, text, path);
    }
    strncpy(handle->name, path, Audiofile_Name_Size);
    handle->name[Audiofile_Name_Size - 1] = '\0';
    handle->stream_buffer = nullptr;
    if (mode != OM_READ_WRITE) {
        handle->stream_buffer = OBJ_Malloc_C(object, Stream_Buffer_Bytes);
        setvbuf(handle->stream, static_cast<char*>(handle->stream_buffer), _IOFBF,
                Stream_Buffer_Bytes);
    }
}

void LF_Close_Stream(ObjectHeader* object, AudiofileHandle* handle, const char* text)
{
    // What an earlier flush could not write is gone from the buffer, and fclose does not miss it.
    const bool lost = handle->mode != OM_READ && ferror(handle->stream) != 0;
    if (fclose(handle->stream) != 0 || lost) {
        LF_Refuse(object, Close_Code, text, nullptr);
    }
    handle->mode = OM_CLOSED;
    OBJ_Free_C(object, handle->stream_buffer);
    handle->stream_buffer = nullptr;
}

bool LF_Is_Open(const AudiofileHandle* handle, OpenMode mode, OpenMode other_mode)
{
    return handle != nullptr && handle->stream != nullptr &&
           (handle->mode == mode || handle->mode == other_mode);
}

// Flat transfer of sample words, the place in the file, and the rule for changing a file in place:
// in read-write mode reads and writes alternate, and a write lands on the block just read.
#include "audiofile/codecs.h"
#include "audiofile/file_access.h"
#include "audiofile/report.h"
#include "audiofile/stream.h"
#include "frame/size.h"

#include <cstring>

// Every file system takes an offset up to here.
static constexpr uint64_t Farthest_Idle_Place = 0x7FFFFFFF;

void Audiofile_Read(ObjectHeader* object, AudiofileHandle* handle, int64_t* samples, uint64_t count,
                    uint64_t* got)
{
    if (!LF_Is_Open(handle, OM_READ, OM_READ_WRITE)) {
        LF_Refuse_Handle(object, handle, 10, "Audiofile_Read: File not open for read ");
    }
    if (handle->mode == OM_READ_WRITE && handle->block_pending == 1) {
        LF_Refuse_Handle(object, handle, 10,
                         "Audiofile_Read_WRITE: Previous block must have been written ");
    }
    const uint64_t left =
        handle->position < handle->samples ? handle->samples - handle->position : 0;
    uint64_t arrived = 0;
    FileDRDW_Read_Table[handle->format](object, handle, samples, count < left ? count : left,
                                        &arrived);
    const uint64_t block_start = handle->position;
    handle->position += arrived;
    *got = arrived;
    if (handle->mode == OM_READ_WRITE) {
        handle->block_pending = 1;
        const uint64_t place = handle->data_start + block_start * handle->bytes_per_sample;
        FileAccess_FSEEK(object, handle, static_cast<int64_t>(place));
    }
}

void Audiofile_Write_LONG(ObjectHeader* object, AudiofileHandle* handle, int64_t* samples,
                          uint64_t count, uint64_t* put)
{
    if (!LF_Is_Open(handle, OM_WRITE, OM_READ_WRITE)) {
        LF_Refuse_Handle(object, handle, 15, "Audiofile_Write_LONG: File not openend for write ");
    }
    if (handle->mode == OM_READ_WRITE && handle->block_pending == 0) {
        LF_Refuse_Handle(object, handle, 15,
                         "Audiofile_Read_Write_LONG: File block has to be read first! ");
    }
    uint64_t written = 0;
    FileDRDW_Write_Table[handle->format](object, handle, samples, count, &written);
    if (handle->mode == OM_READ_WRITE) {
        handle->block_pending = 0;
        fflush(handle->stream);
    } else {
        handle->samples += written;
        handle->data_bytes += written * handle->bytes_per_sample;
    }
    *put = written;
}

void Audiofile_Rewind(ObjectHeader* object, AudiofileHandle* handle)
{
    if (!LF_Is_Open(handle, OM_READ, OM_READ_WRITE)) {
        LF_Refuse_Handle(object, handle, 15, "Audiofile_Rewind: File is not opened for reading ");
    }
    handle->position = 0;
    FileAccess_FSEEK(object, handle, static_cast<int64_t>(handle->data_start));
}

void Audiofile_Forward(ObjectHeader* object, AudiofileHandle* handle, uint64_t frames)
{
    if (!LF_Is_Open(handle, OM_READ, OM_READ)) {
        LF_Refuse_Handle(object, handle, 15, "Audiofile_Forward: File is not opened for reading ");
    }
    const uint64_t place = Size_Product(handle->channels, frames);
    handle->position = place;
    uint64_t offset = Size_Product(place, handle->bytes_per_sample);
    // Nothing is read from beyond the end, so the stream need not go where no file system can.
    if (place >= handle->samples && offset > Farthest_Idle_Place) {
        offset = 0;
    }
    FileAccess_FSEEK(object, handle, static_cast<int64_t>(handle->data_start + offset));
}

void Audiofile_Get_Format(ObjectHeader*, const AudiofileHandle* handle, uint32_t* file_type,
                          uint32_t* format)
{
    *file_type = handle->file_type;
    *format = handle->format;
}

void Audiofile_FileType_From_Name(ObjectHeader*, const char* path, uint32_t* file_type)
{
    struct Extension {
        const char* text;
        FileType file_type;
    };
    static const Extension Extensions[] = {{"wav", FT_WAVE}, {"aiff", FT_AIFF}, {"aifc", FT_AIFC}};

    *file_type = FT_UNKNOWN;
    const char* dot = strrchr(path, '.');
    if (dot == nullptr) {
        return;
    }
    for (const Extension& known : Extensions) {
        if (strcmp(dot + 1, known.text) == 0) {
            *file_type = known.file_type;
        }
    }
}

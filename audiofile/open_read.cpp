// Opening an existing file for reading, or for reading and writing in place, and closing it again.
// The first twelve bytes decide the container.
#include "audiofile/file_access.h"
#include "audiofile/report.h"
#include "audiofile/stream.h"

#include <cstring>

static constexpr uint64_t File_Head_Bytes = 12;

struct ContainerHead {
    const char* container_id; // bytes 0 to 3
    const char* form_type;    // bytes 8 to 11
    FileType file_type;
    uint32_t little_endian;
    bool even_size; // the container's size is rounded up to even
    void (*read_header)(ObjectHeader* object, AudiofileHandle* handle, uint64_t end);
};

static const ContainerHead Container_Heads[] = {
    {"FORM", "AIFF", FT_AIFF, 0, false, LF_ReadHeader_AIFF},
    {"FORM", "AIFC", FT_AIFC, 0, false, LF_ReadHeader_AIFF},
    {"RIFF", "WAVE", FT_WAVE, 1, true, LF_ReadHeader_WAVE},
};

struct OpenTexts {
    const char* cannot_open;
    const char* unsupported;
};

static const OpenTexts Read_Texts = {"Audiofile_Open_Read: Error opening ",
                                     "Audiofile_Open_Read: Unsupported file type "};
static const OpenTexts Read_Write_Texts = {"Audiofile_Open_Read_Write: Error opening ",
                                           "Audiofile_Open_Read_Write: Unsupported file type "};

static void Read_Header(ObjectHeader* object, AudiofileHandle* handle, const char* unsupported)
{
    uint8_t head[File_Head_Bytes];
    FileAccess_Get_String(object, handle, sizeof head, head);
    handle->file_type = FT_UNKNOWN;
    for (const ContainerHead& known : Container_Heads) {
        if (memcmp(head, known.container_id, 4) != 0 || memcmp(head + 8, known.form_type, 4) != 0) {
            continue;
        }
        handle->file_type = known.file_type;
        handle->little_endian = known.little_endian;
        uint64_t size = 0;
        FileAccess_Decode_Integer(known.little_endian, 4, head + 4, &size);
        if (known.even_size) {
            size += size & 1;
        }
        known.read_header(object, handle, size + 8);
        return;
    }
    LF_Close_And_Refuse(object, handle, 14, unsupported);
}

static void Open_Existing(ObjectHeader* object, const char* path, OpenMode mode,
                          const OpenTexts& texts, AudiofileHandle* handle)
{
    LF_Open_Stream(object, handle, path, mode, texts.cannot_open);
    handle->position = 0;
    handle->mode = mode;
    Read_Header(object, handle, texts.unsupported);
}

static void Tell_Properties(const AudiofileHandle* handle, uint64_t* samples, uint64_t* channels,
                            double* sample_rate)
{
    *samples = handle->samples;
    *channels = handle->channels;
    *sample_rate = handle->sample_rate;
}

void Audiofile_Open_Read(ObjectHeader* object, const char* path, uint64_t* samples,
                         uint64_t* channels, double* sample_rate, AudiofileHandle* handle)
{
    Open_Existing(object, path, OM_READ, Read_Texts, handle);
    Tell_Properties(handle, samples, channels, sample_rate);
}

void Audiofile_Open_Read_Write(ObjectHeader* object, const char* path, uint64_t* samples,
                               uint64_t* channels, double* sample_rate, AudiofileHandle* handle)
{
    handle->clipped = 0;
    Open_Existing(object, path, OM_READ_WRITE, Read_Write_Texts, handle);
    Tell_Properties(handle, samples, channels, sample_rate);
    handle->block_pending = 0;
    fflush(handle->stream);
}

void Audiofile_Close_Read(ObjectHeader* object, AudiofileHandle* handle)
{
    if (!LF_Is_Open(handle, OM_READ, OM_READ_WRITE)) {
        LF_Refuse_Handle(object, handle, 15, "Audiofile_Close_Read: File not openend for read ");
    }
    LF_Close_Stream(object, handle, "Audiofile_Close_Read: Error closing file.");
}

void Audiofile_Close_Read_Write(ObjectHeader* object, AudiofileHandle* handle)
{
    Audiofile_Close_Read(object, handle);
}

// Creating a file, the two headers, and finishing a file. Either header is complete from the start:
// it states an empty file until the close patches the sizes.
#include "audiofile/file_access.h"
#include "audiofile/report.h"
#include "audiofile/stream.h"

#include <cmath>

static constexpr uint64_t AIFC_Version_Stamp = 0xA2805140;
static constexpr uint64_t AIFC_Header_Bytes = 86;
static constexpr int32_t Open_Code = 14;

// How a format is written; no bytes stands for a format that the container does not take.
struct WrittenFormat {
    uint64_t bytes;
    uint64_t tag; // WAVE only
};
static constexpr uint32_t Format_Count = 9;
static const WrittenFormat AIFC_Formats[Format_Count] = {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0},
                                                         {4, 0}, {8, 0}, {1, 0}, {1, 0}};
static const WrittenFormat WAVE_Formats[Format_Count] = {{1, 1}, {0, 0}, {2, 1}, {3, 1}, {4, 1},
                                                         {4, 3}, {8, 3}, {1, 7}, {1, 6}};

static const WrittenFormat& Select_Format(ObjectHeader* object, AudiofileHandle* handle,
                                          const WrittenFormat* formats)
{
    if (handle->format >= Format_Count || formats[handle->format].bytes == 0) {
        LF_Close_And_Refuse(object, handle, Open_Code,
                            "Audiofile_Open_Write: Unsupported data format for file ");
    }
    const WrittenFormat& format = formats[handle->format];
    handle->bytes_per_sample = format.bytes;
    handle->bits_per_sample = 8 * format.bytes;
    return format;
}

static void Put_Id(ObjectHeader* object, AudiofileHandle* handle, const char* id)
{
    FileAccess_Put_String(object, handle, 4, id);
}

// The rate as an 80-bit extended float, ten bytes, highest first. Infinity and NaN have no leading
// one to look for and get the exponent field that stands for them.
static void Put_Extended_Rate(ObjectHeader* object, AudiofileHandle* handle)
{
    const double rate = handle->sample_rate;
    double a = fabs(rate);
    uint32_t exponent_field = 16383;
    double mantissa = 0.0;
    if (!std::isfinite(rate)) {
        exponent_field = 0x7FFF;
        mantissa = std::isnan(rate) ? 192.0 : 128.0;
    } else if (a >= 1e-20) {
        while (a >= 2.0) {
            a *= 0.5;
            exponent_field++;
        }
        while (a < 1.0) {
            a *= 2.0;
            exponent_field--;
        }
        mantissa = a * 128.0;
    }
    uint8_t bytes[10];
    bytes[0] = static_cast<uint8_t>((exponent_field >> 8) + (rate < 0.0 ? 0x80 : 0));
    bytes[1] = static_cast<uint8_t>(exponent_field);
    for (int k = 2; k < 10; k++) {
        bytes[k] = static_cast<uint8_t>(mantissa);
        mantissa = (mantissa - bytes[k]) * 256.0;
    }
    FileAccess_Put_String(object, handle, sizeof bytes, bytes);
}

static void Write_AIFC_Header(ObjectHeader* object, AudiofileHandle* handle)
{
    handle->little_endian = 0;
    Select_Format(object, handle, AIFC_Formats);
    Put_Id(object, handle, "FORM");
    FileAccess_FTELL(object, handle, &handle->form_size_pos);
    FileAccess_Put_Integer(object, handle, 4, 0);
    Put_Id(object, handle, "AIFC");
    Put_Id(object, handle, "FVER");
    FileAccess_Put_Integer(object, handle, 4, 4);
    FileAccess_Put_Integer(object, handle, 4, AIFC_Version_Stamp);
    Put_Id(object, handle, "COMM");
    FileAccess_Put_Integer(object, handle, 4, 38);
    FileAccess_Put_Integer(object, handle, 2, handle->channels);
    FileAccess_FTELL(object, handle, &handle->frames_pos);
    FileAccess_Put_Integer(object, handle, 4, 0);
    FileAccess_Put_Integer(object, handle, 2, handle->bits_per_sample);
    Put_Extended_Rate(object, handle);
    Put_Id(object, handle, "NONE");
    static const char Compression_Name[] = "not compressed"; // written with its terminating zero
    FileAccess_Put_Integer(object, handle, 1, sizeof Compression_Name - 1);
    FileAccess_Put_String(object, handle, sizeof Compression_Name, Compression_Name);
    Put_Id(object, handle, "SSND");
    FileAccess_FTELL(object, handle, &handle->data_size_pos);
    FileAccess_Put_Integer(object, handle, 4, 0);
    FileAccess_Put_Integer(object, handle, 4, 0);
    FileAccess_Put_Integer(object, handle, 4, 0);
    handle->data_start = AIFC_Header_Bytes;
    Audiofile_Patch_AIFC_Header(object, handle);
}

// The integer part, 0 for a negative rate and for NaN, the largest integer for what is beyond it.
static uint64_t Whole_Rate(double rate)
{
    if (rate >= 18446744073709551616.0) {
        return UINT64_MAX;
    }
    return rate > 0.0 ? static_cast<uint64_t>(rate) : 0;
}

static void Write_WAVE_Header(ObjectHeader* object, AudiofileHandle* handle)
{
    handle->little_endian = 1;
    const WrittenFormat& format = Select_Format(object, handle, WAVE_Formats);
    const uint64_t rate = Whole_Rate(handle->sample_rate);
    const uint64_t frame_bytes = handle->channels * handle->bytes_per_sample;
    Put_Id(object, handle, "RIFF");
    FileAccess_FTELL(object, handle, &handle->form_size_pos);
    FileAccess_Put_Integer(object, handle, 4, 0);
    Put_Id(object, handle, "WAVE");
    Put_Id(object, handle, "fmt ");
    FileAccess_Put_Integer(object, handle, 4, 16);
    FileAccess_Put_Integer(object, handle, 2, format.tag);
    FileAccess_Put_Integer(object, handle, 2, handle->channels);
    FileAccess_Put_Integer(object, handle, 4, rate);
    FileAccess_Put_Integer(object, handle, 4, frame_bytes * rate);
    FileAccess_Put_Integer(object, handle, 2, frame_bytes);
    FileAccess_Put_Integer(object, handle, 2, handle->bits_per_sample);
    Put_Id(object, handle, "data");
    FileAccess_FTELL(object, handle, &handle->data_size_pos);
    FileAccess_Put_Integer(object, handle, 4, 0);
    Audiofile_Patch_WAVE_Header(object, handle);
}

void Audiofile_Open_Write(ObjectHeader* object, const char* path, FileType file_type,
                          DataFormat format, uint64_t channels, AudiofileHandle* handle,
                          double sample_rate)
{
    handle->clipped = 0;
    handle->samples = 0;
    handle->mode = OM_WRITE;
    handle->format = format;
    handle->file_type = file_type;
    handle->channels = channels;
    handle->data_bytes = 0;
    handle->sample_rate = sample_rate;
    LF_Open_Stream(object, handle, path, OM_WRITE, "Audiofile_Open_Write: Error creating ");
    switch (file_type) {
    case FT_AIFF:
    case FT_AIFC:
        Write_AIFC_Header(object, handle);
        break;
    case FT_WAVE:
        Write_WAVE_Header(object, handle);
        break;
    default:
        LF_Close_And_Refuse(object, handle, Open_Code,
                            "Audiofile_Open_Write: Unsupported file type for file ");
    }
}

static void Patch(ObjectHeader* object, AudiofileHandle* handle, uint64_t place, uint64_t value)
{
    FileAccess_FSEEK(object, handle, static_cast<int64_t>(place));
    FileAccess_Put_Integer(object, handle, 4, value);
}

void Audiofile_Patch_AIFC_Header(ObjectHeader* object, AudiofileHandle* handle)
{
    uint64_t here = 0;
    FileAccess_FTELL(object, handle, &here);
    Patch(object, handle, handle->form_size_pos, handle->data_bytes + 4 + handle->data_size_pos);
    Patch(object, handle, handle->frames_pos,
          handle->channels != 0 ? handle->samples / handle->channels : 0);
    Patch(object, handle, handle->data_size_pos, handle->data_bytes + 8);
    FileAccess_FSEEK(object, handle, static_cast<int64_t>(here));
}

void Audiofile_Patch_WAVE_Header(ObjectHeader* object, AudiofileHandle* handle)
{
    uint64_t here = 0;
    FileAccess_FTELL(object, handle, &here);
    Patch(object, handle, handle->form_size_pos, handle->data_bytes - 4 + handle->data_size_pos);
    Patch(object, handle, handle->data_size_pos, handle->data_bytes);
    FileAccess_FSEEK(object, handle, static_cast<int64_t>(here));
}

void Audiofile_Close_Write(ObjectHeader* object, AudiofileHandle* handle)
{
    if (!LF_Is_Open(handle, OM_WRITE, OM_READ_WRITE)) {
        LF_Refuse_Handle(object, handle, 15, "Audiofile_Close_Write: File not openend for write ");
    }
    if (handle->mode == OM_READ_WRITE) {
        // Its header was not written here and its size has not changed.
        Audiofile_Close_Read_Write(object, handle);
        return;
    }
    if (handle->data_bytes % 2 != 0) {
        FileAccess_Put_Integer(object, handle, 1, 0);
        handle->data_bytes++;
    }
    switch (handle->file_type) {
    case FT_AIFF:
    case FT_AIFC:
        Audiofile_Patch_AIFC_Header(object, handle);
        break;
    case FT_WAVE:
        Audiofile_Patch_WAVE_Header(object, handle);
        break;
    default:
        LF_Refuse(object, 10, "Audiofile_Close_Write: invalid file type for ", handle->name);
    }
    LF_Close_Stream(object, handle, "Audiofile_Close_Write: Error closing file.");
    if (handle->clipped != 0) {
        LF_Warn(object, 0, "Audiofile: clipped samples during writing", handle->name);
    }
}

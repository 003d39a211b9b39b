// The AIFF and AIFC header reader: the sample layout from COMM, the place of the samples from SSND,
// the version from FVER; every other chunk is skipped unread. The forms differ only in the
// compression type behind the rate, which AIFC alone has. Chunk sizes are rounded up to even as
// soon as they are read.
#include "audiofile/file_access.h"
#include "audiofile/report.h"

#include <cstring>

static constexpr int32_t Structure_Code = 16;
static constexpr int32_t Value_Code = 17;
static constexpr uint64_t AIFC_Version_Stamp = 0xA2805140;

static constexpr int64_t Layout_Bytes = 8; // channels, frames, sample size
static constexpr int64_t Rate_Bytes = 10;
static constexpr int64_t Compression_Bytes = 4;
static constexpr uint64_t Sound_Head_Bytes = 8; // offset and block size in front of the samples

struct Compression {
    const char* small;
    const char* capital;
    DataFormat format;
};
static const Compression Compressions[] = {
    {"alaw", "ALAW", ALAW8},
    {"ulaw", "ULAW", MULAW8},
    {"fl32", "FL32", FLOAT32},
    {"fl64", "FL64", FLOAT64},
};

static uint64_t Read_Field(ObjectHeader* object, AudiofileHandle* handle, uint64_t width)
{
    uint8_t bytes[8];
    FileAccess_Get_String(object, handle, width, bytes);
    uint64_t value = 0;
    FileAccess_Decode_Integer(handle->little_endian, width, bytes, &value);
    return value;
}

// The 80-bit extended float of the rate field: the mantissa's bytes are summed from the last to the
// first, so that b2 ends up as the integer part, hence the 7 beside the exponent's bias.
static double Decode_Rate(const uint8_t* bytes)
{
    double rate = 0.0;
    for (int k = 9; k >= 2; k--) {
        rate = rate * 0.00390625 + bytes[k];
    }
    int exponent = (bytes[0] & 0x7F) * 256 + bytes[1] - (16383 + 7);
    for (; exponent > 0; exponent--) {
        rate *= 2.0;
    }
    for (; exponent < 0; exponent++) {
        rate *= 0.5;
    }
    return (bytes[0] & 0x80) != 0 ? -rate : rate;
}

static void Select_Integer_Format(ObjectHeader* object, AudiofileHandle* handle)
{
    static const DataFormat Integer_Formats[] = {INT8, INT16, INT24, INT32};
    const uint64_t bits = handle->bits_per_sample;
    if (bits < 1 || bits > 32) {
        LF_Close_And_Refuse(object, handle, Value_Code,
                            "LF_ReadHeader_AIFF: Unsupported samplewidth in ");
    }
    handle->format = Integer_Formats[(bits - 1) / 8];
}

static void Read_Compression(ObjectHeader* object, AudiofileHandle* handle, int64_t size)
{
    const int64_t rest = size - (Layout_Bytes + Rate_Bytes + Compression_Bytes);
    char type[Compression_Bytes];
    FileAccess_Get_String(object, handle, sizeof type, type);
    if (memcmp(type, "NONE", sizeof type) == 0) {
        FileAccess_Skip_Data(object, handle, rest);
        Select_Integer_Format(object, handle);
        return;
    }
    for (const Compression& known : Compressions) {
        if (memcmp(type, known.small, sizeof type) == 0 ||
            memcmp(type, known.capital, sizeof type) == 0) {
            FileAccess_Skip_Data(object, handle, rest);
            handle->format = known.format;
            return;
        }
    }
    LF_Close_And_Refuse(object, handle, Value_Code,
                        "LF_ReadHeader_AIFF: Unsupported dataformat in ");
}

// Returns the number of frames.
static uint64_t Read_Common(ObjectHeader* object, AudiofileHandle* handle, int64_t size)
{
    uint8_t layout[Layout_Bytes];
    FileAccess_Get_String(object, handle, sizeof layout, layout);
    uint64_t frames = 0;
    FileAccess_Decode_Integer(handle->little_endian, 2, layout, &handle->channels);
    FileAccess_Decode_Integer(handle->little_endian, 4, layout + 2, &frames);
    FileAccess_Decode_Integer(handle->little_endian, 2, layout + 6, &handle->bits_per_sample);
    handle->samples = handle->channels * frames;
    handle->bytes_per_sample = (handle->bits_per_sample + 7) / 8;

    uint8_t rate[Rate_Bytes];
    FileAccess_Get_String(object, handle, sizeof rate, rate);
    handle->sample_rate = Decode_Rate(rate);

    if (handle->file_type == FT_AIFC) {
        Read_Compression(object, handle, size);
    } else {
        FileAccess_Skip_Data(object, handle, size - (Layout_Bytes + Rate_Bytes));
        Select_Integer_Format(object, handle);
    }
    handle->position = 0;
    return frames;
}

static void Read_Sound_Data(ObjectHeader* object, AudiofileHandle* handle, uint64_t body,
                            uint64_t size)
{
    const uint64_t offset = Read_Field(object, handle, 4);
    const uint64_t before = Sound_Head_Bytes + offset;
    FileAccess_Skip_Data(object, handle, 4);
    FileAccess_Skip_Data(object, handle, static_cast<int64_t>(offset));
    handle->data_start = body + before;
    // A chunk too short for its own offset holds no samples; the walk goes on behind the chunk.
    handle->data_bytes = size > before ? size - before : 0;
    FileAccess_Skip_Data(object, handle, static_cast<int64_t>(size) - static_cast<int64_t>(before));
}

static void Read_Version(ObjectHeader* object, AudiofileHandle* handle, int64_t size)
{
    if (Read_Field(object, handle, 4) != AIFC_Version_Stamp) {
        LF_Close_And_Refuse(object, handle, Structure_Code,
                            "Audiofile_Open_Read: Unknown AIFF version in file ");
    }
    FileAccess_Skip_Data(object, handle, size - 4);
}

[[noreturn]] static void Refuse_Header(ObjectHeader* object, AudiofileHandle* handle)
{
    LF_Close_And_Refuse(object, handle, Structure_Code,
                        "Audiofile_Open_Read: Error reading header from file ");
}

void LF_ReadHeader_AIFF(ObjectHeader* object, AudiofileHandle* handle, uint64_t end)
{
    bool common_seen = false;
    bool sound_seen = false;
    uint64_t frames = 0;
    uint64_t place = 12;
    while (place < end) {
        uint8_t head[8];
        FileAccess_Get_String(object, handle, sizeof head, head);
        uint64_t size = 0;
        FileAccess_Decode_Integer(handle->little_endian, 4, head + 4, &size);
        size += size & 1;
        place += 8;
        const bool is_sound = memcmp(head, "SSND", 4) == 0;
        if (place + size > end) {
            if (!is_sound) {
                Refuse_Header(object, handle);
            }
            LF_Warn(object, Structure_Code,
                    "Audiofile_Open_Read: incorrect data chunk length in header", handle->name);
        }
        if (is_sound) {
            Read_Sound_Data(object, handle, place, size);
            sound_seen = true;
        } else if (memcmp(head, "COMM", 4) == 0) {
            frames = Read_Common(object, handle, static_cast<int64_t>(size));
            common_seen = true;
        } else if (memcmp(head, "FVER", 4) == 0) {
            Read_Version(object, handle, static_cast<int64_t>(size));
        } else if (memcmp(head, "FORM", 4) == 0) {
            LF_Close_And_Refuse(object, handle, Structure_Code,
                                "Audiofile_ReadChunk2_AIFF: second FORM chunck in header of ");
        } else {
            FileAccess_Skip_Data(object, handle, static_cast<int64_t>(size));
        }
        place += size;
    }

    // Only a file that states no frames can do without a sound chunk.
    if (!common_seen || (!sound_seen && frames != 0)) {
        Refuse_Header(object, handle);
    }
    if (!sound_seen) {
        handle->data_start = place;
        handle->data_bytes = 0;
    }
    FileAccess_FSEEK(object, handle, static_cast<int64_t>(handle->data_start));
}

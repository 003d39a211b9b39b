// The WAVE header reader. It is strict about the format block, apart from the byte rate, tolerant
// about the length of the data chunk, and skips every other chunk unread. Chunk sizes are rounded
// up to even as soon as they are read, so an odd data chunk counts its pad byte as sample data.
#include "audiofile/file_access.h"
#include "audiofile/report.h"

#include <cstring>

static constexpr int32_t Format_Code = 14;
static constexpr int32_t Structure_Code = 16;
static constexpr uint64_t Smallest_Container_End = 44;

static constexpr uint64_t Format_Bytes =
    18; // always read, the last two may belong to the next chunk
static constexpr uint64_t Extension_Bytes = 22; // behind them in an extensible format block

static constexpr uint64_t Tag_PCM = 1;
static constexpr uint64_t Tag_Float = 3;
static constexpr uint64_t Tag_ALaw = 6;
static constexpr uint64_t Tag_MuLaw = 7;
static constexpr uint64_t Tag_Extensible = 0xFFFE;

// The fixed words of the GUID family whose first word is a plain format tag. Offsets count within
// the extension bytes.
struct GuidWord {
    uint64_t offset;
    uint64_t bytes;
    uint64_t value;
};
static const GuidWord Guid_Words[] = {
    {8, 2, 0},
    {12, 2, 16},
    {14, 4, 0xAA000080},
    {18, 4, 0x719B3800},
};

struct FormatBlock {
    uint64_t tag;
    uint64_t channels;
    uint64_t rate;
    uint64_t byte_rate;
    uint64_t bits;
};

static uint64_t Field(const AudiofileHandle* handle, const uint8_t* bytes, uint64_t width)
{
    uint64_t value = 0;
    FileAccess_Decode_Integer(handle->little_endian, width, bytes, &value);
    return value;
}

static void Set_Format(AudiofileHandle* handle, DataFormat format, uint64_t bytes_per_sample)
{
    handle->format = format;
    handle->bytes_per_sample = bytes_per_sample;
}

static void Select_Format(ObjectHeader* object, AudiofileHandle* handle, const FormatBlock& block)
{
    static const DataFormat Integer_Formats[] = {UINT8, INT16, INT24, INT32};
    switch (block.tag) {
    case Tag_PCM:
        if (block.bits < 1 || block.bits > 32) {
            LF_Close_And_Refuse(object, handle, Format_Code,
                                "Audiofile_Open_Read: invalid #bits per sample in WAVE file");
        }
        Set_Format(handle, Integer_Formats[(block.bits - 1) / 8], (block.bits + 7) / 8);
        return;
    case Tag_Float:
        if (block.bits != 32 && block.bits != 64) {
            LF_Close_And_Refuse(object, handle, Format_Code,
                                "Audiofile_Open_Read: invalid #bits for IEEE_FLOAT in WAV file");
        }
        Set_Format(handle, block.bits == 32 ? FLOAT32 : FLOAT64, block.bits / 8);
        return;
    case Tag_ALaw:
        if (block.bits != 8) {
            LF_Close_And_Refuse(object, handle, Format_Code,
                                "Audiofile_Open_Read: invalid #bits for a-law in WAVE file");
        }
        Set_Format(handle, ALAW8, 1);
        return;
    case Tag_MuLaw:
        if (block.bits != 8) {
            LF_Close_And_Refuse(object, handle, Format_Code,
                                "Audiofile_Open_Read: invalid #bits for mu-law in WAVE file");
        }
        Set_Format(handle, MULAW8, 1);
        return;
    case Tag_Extensible:
        LF_Close_And_Refuse(object, handle, Format_Code,
                            "Audiofile_Open_Read: extensible format should have been converted");
    default:
        LF_Close_And_Refuse(object, handle, Format_Code,
                            "Audiofile_Open_Read: Unsupported format in WAVE file ");
    }
}

// Reads the extension block, whose GUID takes the place of the format tag.
static uint64_t Read_Extension_Tag(ObjectHeader* object, AudiofileHandle* handle,
                                   uint64_t extension_bytes)
{
    if (extension_bytes != Extension_Bytes) {
        LF_Close_And_Refuse(object, handle, Format_Code,
                            "Audiofile_Open_Read: invalid cbSize in WAVE file");
    }
    uint8_t bytes[Extension_Bytes];
    FileAccess_Get_String(object, handle, sizeof bytes, bytes);
    for (const GuidWord& word : Guid_Words) {
        if (Field(handle, bytes + word.offset, word.bytes) != word.value) {
            LF_Close_And_Refuse(object, handle, Format_Code,
                                "Audiofile_Open_Read: sanitycheck failed in WAVE file");
        }
    }
    return Field(handle, bytes + 6, 2);
}

static void Read_Format(ObjectHeader* object, AudiofileHandle* handle, uint64_t size)
{
    uint8_t bytes[Format_Bytes];
    FileAccess_Get_String(object, handle, sizeof bytes, bytes);
    FormatBlock block = {Field(handle, bytes, 2), Field(handle, bytes + 2, 2),
                         Field(handle, bytes + 4, 4), Field(handle, bytes + 8, 4),
                         Field(handle, bytes + 14, 2)};
    uint64_t taken = Format_Bytes;
    if (block.tag == Tag_Extensible) {
        block.tag = Read_Extension_Tag(object, handle, Field(handle, bytes + 16, 2));
        taken += Extension_Bytes;
    }
    // A 16-byte block steps back here over the start of the next chunk's head.
    FileAccess_Skip_Data(object, handle, static_cast<int64_t>(size) - static_cast<int64_t>(taken));
    Select_Format(object, handle, block);
    if ((block.bits + 7) / 8 * block.rate * block.channels != block.byte_rate) {
        LF_Warn(object, Format_Code, "Audiofile_Open_Read: Inconsistent parameters in WAVE file ",
                handle->name);
    }
    handle->channels = block.channels;
    handle->sample_rate = static_cast<double>(block.rate);
}

[[noreturn]] static void Refuse_Header(ObjectHeader* object, AudiofileHandle* handle)
{
    LF_Close_And_Refuse(object, handle, Structure_Code,
                        "Audiofile_Open_Read: Error reading header from file ");
}

void LF_ReadHeader_WAVE(ObjectHeader* object, AudiofileHandle* handle, uint64_t end)
{
    if (end < Smallest_Container_End) {
        Refuse_Header(object, handle);
    }
    bool format_seen = false;
    bool data_seen = false;
    uint64_t place = 12;
    do {
        uint8_t head[8];
        FileAccess_Get_String(object, handle, sizeof head, head);
        uint64_t size = Field(handle, head + 4, 4);
        size += size & 1;
        place += 8;
        const bool is_data = memcmp(head, "data", 4) == 0;
        if (place + size > end) {
            if (!is_data) {
                Refuse_Header(object, handle);
            }
            LF_Warn(object, Structure_Code,
                    "Audiofile_Open_Read: incorrect data chunck length in header", handle->name);
        }
        if (memcmp(head, "fmt ", 4) == 0) {
            Read_Format(object, handle, size);
            format_seen = true;
        } else {
            if (is_data) {
                handle->data_start = place;
                handle->data_bytes = size;
                data_seen = true;
            }
            FileAccess_Skip_Data(object, handle, static_cast<int64_t>(size));
        }
        place += size;
    } while (place < end);

    if (!format_seen || !data_seen) {
        Refuse_Header(object, handle);
    }
    FileAccess_FSEEK(object, handle, static_cast<int64_t>(handle->data_start));
    handle->samples = handle->data_bytes / handle->bytes_per_sample;
}

// The header readers on bytes in memory. A cursor takes the stream's place; the first refusal
// sticks to it, and everything after that does nothing.
#include "fuzz/header_model.h"

#include <bit>
#include <cfloat>
#include <cmath>
#include <cstring>

static const char Damaged[] = "Audiofile_Open_Read: Error reading header from file ";

struct Cursor {
    const std::vector<uint8_t>& file;
    bool little_endian;
    uint64_t place;
    uint64_t warnings;
    const char* stop;
};

static void Stop(Cursor* cursor, const char* text)
{
    if (cursor->stop == nullptr) {
        cursor->stop = text;
    }
}

// The next count bytes; zeros if they are not there.
static std::vector<uint8_t> Take(Cursor* cursor, uint64_t count)
{
    std::vector<uint8_t> bytes(count);
    if (cursor->stop != nullptr) {
        return bytes;
    }
    if (cursor->place > cursor->file.size() || cursor->file.size() - cursor->place < count) {
        Stop(cursor, "FileAccess_Get_String: EOF on file ");
        return bytes;
    }
    memcpy(bytes.data(), cursor->file.data() + cursor->place, count);
    cursor->place += count;
    return bytes;
}

static uint64_t Number(const Cursor& cursor, const std::vector<uint8_t>& bytes, uint64_t start,
                       uint64_t width)
{
    uint64_t value = 0;
    for (uint64_t k = 0; k < width; k++) {
        value |= uint64_t{bytes[start + k]} << 8 * (cursor.little_endian ? k : width - 1 - k);
    }
    return value;
}

// To a place counted from the start of the file, by one skip from here.
static void Go_To(Cursor* cursor, uint64_t place)
{
    if (place > cursor->place && place - cursor->place > 0x7FFFFFFF) {
        Stop(cursor, "FileAccess_Skip_Data: Error reading header from file ");
    }
    if (cursor->stop == nullptr) {
        cursor->place = place;
    }
}

static bool Is(const std::vector<uint8_t>& bytes, uint64_t start, const char* id)
{
    return memcmp(bytes.data() + start, id, 4) == 0;
}

struct ChunkHead {
    std::vector<uint8_t> id;
    uint64_t body;
    uint64_t end;
};

// The head at place, checked against the container; only the chunk of samples may run over its end.
static ChunkHead Take_Head(Cursor* cursor, uint64_t place, uint64_t container_end,
                           const char* samples_id)
{
    const std::vector<uint8_t> bytes = Take(cursor, 8);
    uint64_t size = Number(*cursor, bytes, 4, 4);
    size += size % 2;
    const ChunkHead head = {bytes, place + 8, place + 8 + size};
    if (cursor->stop == nullptr && head.end > container_end) {
        if (Is(bytes, 0, samples_id)) {
            cursor->warnings++;
        } else {
            Stop(cursor, Damaged);
        }
    }
    return head;
}

// ---- WAVE ----

static const char* Select_Tag(uint64_t tag, uint64_t bits, Properties* told)
{
    static const uint32_t By_Bytes[] = {UINT8, UINT8, INT16, INT24, INT32};
    told->bytes_per_sample = (bits + 7) / 8;
    switch (tag) {
    case 1:
        if (bits == 0 || bits > 32) {
            return "Audiofile_Open_Read: invalid #bits per sample in WAVE file";
        }
        told->format = By_Bytes[told->bytes_per_sample];
        return nullptr;
    case 3:
        told->format = bits == 32 ? FLOAT32 : FLOAT64;
        return bits == 32 || bits == 64
                   ? nullptr
                   : "Audiofile_Open_Read: invalid #bits for IEEE_FLOAT in WAV file";
    case 6:
        told->format = ALAW8;
        return bits == 8 ? nullptr : "Audiofile_Open_Read: invalid #bits for a-law in WAVE file";
    case 7:
        told->format = MULAW8;
        return bits == 8 ? nullptr : "Audiofile_Open_Read: invalid #bits for mu-law in WAVE file";
    case 0xFFFE:
        return "Audiofile_Open_Read: extensible format should have been converted";
    default:
        return "Audiofile_Open_Read: Unsupported format in WAVE file ";
    }
}

static void Take_Format(Cursor* cursor, const ChunkHead& head, Properties* told)
{
    const std::vector<uint8_t> bytes = Take(cursor, 18);
    uint64_t tag = Number(*cursor, bytes, 0, 2);
    if (tag == 0xFFFE) {
        if (Number(*cursor, bytes, 16, 2) != 22) {
            Stop(cursor, "Audiofile_Open_Read: invalid cbSize in WAVE file");
        }
        const std::vector<uint8_t> more = Take(cursor, 22);
        if (Number(*cursor, more, 8, 2) != 0 || Number(*cursor, more, 12, 2) != 16 ||
            Number(*cursor, more, 14, 4) != 0xAA000080 ||
            Number(*cursor, more, 18, 4) != 0x719B3800) {
            Stop(cursor, "Audiofile_Open_Read: sanitycheck failed in WAVE file");
        }
        tag = Number(*cursor, more, 6, 2);
    }
    Go_To(cursor, head.end);
    const uint64_t bits = Number(*cursor, bytes, 14, 2);
    const char* refusal = Select_Tag(tag, bits, told);
    if (refusal != nullptr) {
        Stop(cursor, refusal);
    }
    if (cursor->stop != nullptr) {
        return;
    }
    told->channels = Number(*cursor, bytes, 2, 2);
    const uint64_t rate = Number(*cursor, bytes, 4, 4);
    told->rate_bits = std::bit_cast<uint64_t>(static_cast<double>(rate));
    if ((bits + 7) / 8 * rate * told->channels != Number(*cursor, bytes, 8, 4)) {
        cursor->warnings++;
    }
}

static void Take_WAVE(Cursor* cursor, uint64_t container_end, Properties* told)
{
    bool format_seen = false;
    bool data_seen = false;
    if (container_end < 44) {
        Stop(cursor, Damaged);
    }
    uint64_t place = 12;
    do {
        const ChunkHead head = Take_Head(cursor, place, container_end, "data");
        if (cursor->stop != nullptr) {
            return;
        }
        if (Is(head.id, 0, "fmt ")) {
            Take_Format(cursor, head, told);
            format_seen = true;
        } else if (Is(head.id, 0, "data")) {
            told->data_start = head.body;
            told->data_bytes = head.end - head.body;
            data_seen = true;
        }
        Go_To(cursor, head.end);
        place = head.end;
    } while (cursor->stop == nullptr && place < container_end);

    if (!format_seen || !data_seen) {
        Stop(cursor, Damaged);
    }
    if (cursor->stop == nullptr) {
        told->samples = told->data_bytes / told->bytes_per_sample;
    }
}

// ---- AIFF and AIFC ----

// The mantissa's value is rounded byte by byte, from the last one on; then the exponent comes, with
// flush to zero.
static double Rate(const std::vector<uint8_t>& bytes)
{
    double value = 0.0;
    for (int k = 9; k >= 2; k--) {
        value = value / 256.0 + bytes[k];
    }
    const int exponent = bytes[0] % 128 * 256 + bytes[1] - 16390;
    int own_exponent = 0;
    frexp(value, &own_exponent);
    if (own_exponent + exponent > DBL_MAX_EXP) {
        value = value == 0.0 ? 0.0 : HUGE_VAL;
    } else {
        value = own_exponent + exponent < DBL_MIN_EXP ? 0.0 : ldexp(value, exponent);
    }
    return bytes[0] < 128 ? value : -value;
}

constexpr uint32_t By_Width = 100; // the format follows from the sample size
constexpr uint32_t No_Format = 101;

static uint32_t Select_Compression(const std::vector<uint8_t>& type)
{
    static const struct {
        const char* small;
        const char* capital;
        uint32_t format;
    } Types[] = {{"NONE", "NONE", By_Width},
                 {"alaw", "ALAW", ALAW8},
                 {"ulaw", "ULAW", MULAW8},
                 {"fl32", "FL32", FLOAT32},
                 {"fl64", "FL64", FLOAT64}};
    for (const auto& known : Types) {
        if (Is(type, 0, known.small) || Is(type, 0, known.capital)) {
            return known.format;
        }
    }
    return No_Format;
}

static void Take_Common(Cursor* cursor, const ChunkHead& head, Properties* told, uint64_t* frames)
{
    static const uint32_t By_Bytes[] = {INT8, INT8, INT16, INT24, INT32};
    const std::vector<uint8_t> bytes = Take(cursor, 8);
    const std::vector<uint8_t> rate = Take(cursor, 10);
    told->channels = Number(*cursor, bytes, 0, 2);
    *frames = Number(*cursor, bytes, 2, 4);
    const uint64_t bits = Number(*cursor, bytes, 6, 2);
    told->samples = told->channels * *frames;
    told->bytes_per_sample = (bits + 7) / 8;
    told->rate_bits = std::bit_cast<uint64_t>(Rate(rate));
    told->format = By_Width;
    if (told->file_type == FT_AIFC) {
        told->format = Select_Compression(Take(cursor, 4));
        if (told->format == No_Format) {
            Stop(cursor, "LF_ReadHeader_AIFF: Unsupported dataformat in ");
        }
    }
    Go_To(cursor, head.end);
    if (told->format == By_Width && (bits == 0 || bits > 32)) {
        Stop(cursor, "LF_ReadHeader_AIFF: Unsupported samplewidth in ");
    } else if (told->format == By_Width) {
        told->format = By_Bytes[told->bytes_per_sample];
    }
}

static void Take_AIFF(Cursor* cursor, uint64_t container_end, Properties* told)
{
    bool common_seen = false;
    bool sound_seen = false;
    uint64_t frames = 0;
    uint64_t place = 12;
    while (place < container_end && cursor->stop == nullptr) {
        const ChunkHead head = Take_Head(cursor, place, container_end, "SSND");
        if (cursor->stop != nullptr) {
            return;
        }
        if (Is(head.id, 0, "FORM")) {
            Stop(cursor, "Audiofile_ReadChunk2_AIFF: second FORM chunck in header of ");
        } else if (Is(head.id, 0, "FVER")) {
            if (Number(*cursor, Take(cursor, 4), 0, 4) != 0xA2805140) {
                Stop(cursor, "Audiofile_Open_Read: Unknown AIFF version in file ");
            }
        } else if (Is(head.id, 0, "COMM")) {
            Take_Common(cursor, head, told, &frames);
            common_seen = true;
        } else if (Is(head.id, 0, "SSND")) {
            const uint64_t offset = Number(*cursor, Take(cursor, 4), 0, 4);
            Go_To(cursor, head.body + 8);
            Go_To(cursor, head.body + 8 + offset);
            told->data_start = head.body + 8 + offset;
            told->data_bytes = head.end > told->data_start ? head.end - told->data_start : 0;
            sound_seen = true;
        }
        Go_To(cursor, head.end);
        place = head.end;
    }
    if (!common_seen || (!sound_seen && frames != 0)) {
        Stop(cursor, Damaged);
    }
    if (!sound_seen) {
        told->data_start = place;
    }
}

HeaderModel Model_Open(const std::vector<uint8_t>& file, const char* unsupported_stop)
{
    Cursor cursor = {file, false, 0, 0, nullptr};
    Properties told = {};
    const std::vector<uint8_t> head = Take(&cursor, 12);
    if (cursor.stop == nullptr) {
        const bool is_form = Is(head, 0, "FORM");
        cursor.little_endian = !is_form;
        told.little_endian = !is_form;
        const uint64_t size = Number(cursor, head, 4, 4);
        if (is_form && (Is(head, 8, "AIFF") || Is(head, 8, "AIFC"))) {
            told.file_type = Is(head, 8, "AIFF") ? FT_AIFF : FT_AIFC;
            Take_AIFF(&cursor, size + 8, &told);
        } else if (Is(head, 0, "RIFF") && Is(head, 8, "WAVE")) {
            told.file_type = FT_WAVE;
            Take_WAVE(&cursor, size + size % 2 + 8, &told);
        } else {
            Stop(&cursor, unsupported_stop);
        }
    }
    return {cursor.stop, cursor.warnings, told};
}

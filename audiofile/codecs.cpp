// The two codec families: one read skeleton, one write skeleton, and a conversion of one pass for
// the integer widths and for floats. The plain loop behind each vector loop is its definition; the
// vector loop only takes the samples that come four at a time.
#include "audiofile/codecs.h"

#include "audiofile/file_access.h"
#include "audiofile/report.h"
#include "vector/simd.h"

#include <cstring>

static constexpr uint64_t Block_Bytes = 128;
static constexpr float Float_Scale = 8388608.0f;           // 2^23
static constexpr float Float_Inverse = 1.0f / Float_Scale; // exact
static constexpr float Word_Limit_32 = 2147483648.0f;      // 2^31
static constexpr float Word_Limit_64 = 9223372036854775808.0f;

[[noreturn]] static void Refuse(ObjectHeader* object, const AudiofileHandle* handle,
                                const char* text)
{
    LF_Refuse(object, 10, text, handle->name);
}

// ---- Integer samples of Width bytes ----

// Where each byte of four lanes comes from. Decoding moves a sample to the top of its lane, for an
// arithmetic shift to bring it down again; encoding takes it from the bottom.
struct ByteOrder {
    uint8_t index[16];
};

template <unsigned Width> static constexpr ByteOrder Decode_Order(bool little)
{
    ByteOrder order = {};
    for (unsigned k = 0; k < 16; k++) {
        const unsigned lane = k / 4;
        const unsigned below_top = 3 - k % 4;
        order.index[k] =
            below_top >= Width
                ? B16_Zero
                : static_cast<uint8_t>(lane * Width + (little ? Width - 1 - below_top : below_top));
    }
    return order;
}

template <unsigned Width> static constexpr ByteOrder Encode_Order(bool little)
{
    ByteOrder order = {};
    for (unsigned k = 0; k < 16; k++) {
        const unsigned lane = k / Width;
        const unsigned byte = k % Width;
        order.index[k] = lane >= 4
                             ? B16_Zero
                             : static_cast<uint8_t>(lane * 4 + (little ? byte : Width - 1 - byte));
    }
    return order;
}

template <unsigned Width> struct IntegerFormat {
    static constexpr uint64_t Sample_Bytes = Width;
    static constexpr uint64_t Pass_Samples = Block_Bytes / Width;
    static constexpr int64_t Maximum = (int64_t{1} << (8 * Width - 1)) - 1;
    static constexpr int64_t Minimum = -Maximum - 1;
    static constexpr ByteOrder Decoding[2] = {Decode_Order<Width>(false),
                                              Decode_Order<Width>(true)};
    static constexpr ByteOrder Encoding[2] = {Encode_Order<Width>(false),
                                              Encode_Order<Width>(true)};

    static int64_t Decode_One(const uint8_t* bytes, bool little)
    {
        uint64_t value = 0;
        for (unsigned k = 0; k < Width; k++) {
            value = value << 8 | bytes[little ? Width - 1 - k : k];
        }
        return static_cast<int64_t>(value << (64 - 8 * Width)) >> (64 - 8 * Width);
    }

    static void Decode(ObjectHeader*, const AudiofileHandle* handle, const uint8_t* bytes,
                       uint64_t count, int64_t* samples)
    {
        const bool little = handle->little_endian != 0;
        const B16 order = B16_Load_Part<16>(Decoding[little].index);
        uint64_t i = 0;
        for (; i + 4 <= count; i += 4) {
            const B16 top = B16_Shuffle(B16_Load_Part<4 * Width>(bytes + Width * i), order);
            I4_Store_Words(samples + i, I4_Shift_Right<32 - 8 * Width>(I4_From_Bytes(top)));
        }
        for (; i < count; i++) {
            samples[i] = Decode_One(bytes + Width * i, little);
        }
    }

    static void Encode_One(int64_t word, uint8_t* bytes, bool little)
    {
        for (unsigned k = 0; k < Width; k++) {
            bytes[little ? k : Width - 1 - k] = static_cast<uint8_t>(word >> 8 * k);
        }
    }

    static uint64_t Limit(int64_t* samples, uint64_t count)
    {
        uint64_t clipped = 0;
        for (uint64_t i = 0; i < count; i++) {
            if (samples[i] > Maximum) {
                samples[i] = Maximum;
                clipped++;
            } else if (samples[i] < Minimum) {
                samples[i] = Minimum;
                clipped++;
            }
        }
        return clipped;
    }

    static void Encode(ObjectHeader*, AudiofileHandle* handle, int64_t* samples, uint64_t count,
                       uint8_t* bytes)
    {
        if (!All_Fit(samples, count)) {
            handle->clipped += Limit(samples, count);
        }
        const bool little = handle->little_endian != 0;
        const B16 order = B16_Load_Part<16>(Encoding[little].index);
        uint64_t i = 0;
        for (; i + 4 <= count; i += 4) {
            const B16 low = B16_From_I4(I4_Load_Low(samples + i));
            B16_Store_Part<4 * Width>(bytes + Width * i, B16_Shuffle(low, order));
        }
        for (; i < count; i++) {
            Encode_One(samples[i], bytes + Width * i, little);
        }
    }

    // True if no word would change by cutting it to Width bytes. Counted from the minimum, a word
    // in range has no bit above them.
    static bool All_Fit(const int64_t* samples, uint64_t count)
    {
        uint64_t bits = 0;
        for (uint64_t i = 0; i < count; i++) {
            bits |= static_cast<uint64_t>(samples[i]) - static_cast<uint64_t>(Minimum);
        }
        return bits >> 8 * Width == 0;
    }
};

// ---- 32-bit floats, little-endian only ----

struct FloatFormat {
    static constexpr uint64_t Sample_Bytes = 4;
    static constexpr uint64_t Pass_Samples = Block_Bytes / 4;

    // Truncates toward zero, saturates, and takes a NaN as 0, whatever the processor's own
    // conversion does with those.
    static int64_t Decode_One(const uint8_t* bytes)
    {
        float value;
        memcpy(&value, bytes, sizeof value);
        value *= Float_Scale;
        if (value >= Word_Limit_64) {
            return INT64_MAX;
        }
        if (value < -Word_Limit_64) {
            return INT64_MIN;
        }
        return value == value ? static_cast<int64_t>(value) : 0;
    }

    static void Decode(ObjectHeader* object, const AudiofileHandle* handle, const uint8_t* bytes,
                       uint64_t count, int64_t* samples)
    {
        if (handle->little_endian == 0) {
            funlockfile(handle->stream);
            Refuse(object, handle, "FileDRDW_DR_FLOAT32: Data type not supported yet in file ");
        }
        const F4 scale = F4_Set(Float_Scale);
        const F4 limit = F4_Set(Word_Limit_32);
        uint64_t i = 0;
        for (; i + 4 <= count; i += 4) {
            const F4 value = F4_Mul(F4_From_Bytes(B16_Load_Part<16>(bytes + 4 * i)), scale);
            if (F4_All_Magnitudes_Below(value, limit)) {
                I4_Store_Words(samples + i, I4_Truncate(value));
            } else {
                for (uint64_t k = i; k < i + 4; k++) {
                    samples[k] = Decode_One(bytes + 4 * k);
                }
            }
        }
        for (; i < count; i++) {
            samples[i] = Decode_One(bytes + 4 * i);
        }
    }

    static void Encode(ObjectHeader* object, AudiofileHandle* handle, int64_t* samples,
                       uint64_t count, uint8_t* bytes)
    {
        if (handle->little_endian == 0) {
            funlockfile(handle->stream);
            Refuse(object, handle, "FileDRDW_DW_FLOAT32: Data type not supported yet in file ");
        }
        const F4 inverse = F4_Set(Float_Inverse);
        uint64_t i = 0;
        for (; i + 4 <= count; i += 4) {
            const F4 value = F4_Mul(F4_From_Words(samples + i), inverse);
            B16_Store_Part<16>(bytes + 4 * i, B16_From_F4(value));
        }
        for (; i < count; i++) {
            const float value = static_cast<float>(samples[i]) * Float_Inverse;
            memcpy(bytes + 4 * i, &value, sizeof value);
        }
    }
};

// ---- The skeletons: they hold the stream's lock, which a refusal on the way gives back ----

template <class Format> static void Read_Passes(ObjectHeader* object, AudiofileHandle* handle,
                                                int64_t* samples, uint64_t count, uint64_t* got)
{
    constexpr uint64_t Width = Format::Sample_Bytes;
    constexpr uint64_t Pass = Format::Pass_Samples;
    *got = 0;
    uint8_t* block = static_cast<uint8_t*>(OBJ_Malloc_T(object, Block_Bytes));
    flockfile(handle->stream);
    // A short pass does not end the loop: at end of file the later ones deliver nothing.
    for (uint64_t done = 0; done < count; done += Pass) {
        const uint64_t wanted = Width * (count - done < Pass ? count - done : Pass);
        uint64_t bytes = 0;
        FileAccess_GetNoError_UString_Locked(object, handle, wanted, &bytes, block);
        if (bytes != 0) {
            const uint64_t whole = (bytes + Width - 1) / Width;
            memset(block + bytes, 0, whole * Width - bytes);
            Format::Decode(object, handle, block, whole, samples + done);
            *got += whole;
        }
        if (count - done <= Pass) {
            break;
        }
    }
    funlockfile(handle->stream);
    OBJ_Free_T(object, block);
}

template <class Format> static void Write_Passes(ObjectHeader* object, AudiofileHandle* handle,
                                                 int64_t* samples, uint64_t count, uint64_t* put)
{
    constexpr uint64_t Width = Format::Sample_Bytes;
    constexpr uint64_t Pass = Format::Pass_Samples;
    *put = 0;
    uint8_t* block = static_cast<uint8_t*>(OBJ_Malloc_T(object, Block_Bytes));
    flockfile(handle->stream);
    for (uint64_t done = 0; done < count; done += Pass) {
        const uint64_t now = count - done < Pass ? count - done : Pass;
        Format::Encode(object, handle, samples + done, now, block);
        FileAccess_Put_String_Locked(object, handle, Width * now, block);
        if (now < Pass) {
            break;
        }
    }
    funlockfile(handle->stream);
    OBJ_Free_T(object, block);
    *put = count;
}

// ---- The entries ----

#define FILEDRDW_ENTRIES(NAME, FORMAT)                                                             \
    void FileDRDW_DR_##NAME(ObjectHeader* object, AudiofileHandle* handle, int64_t* samples,       \
                            uint64_t count, uint64_t* got)                                         \
    {                                                                                              \
        Read_Passes<FORMAT>(object, handle, samples, count, got);                                  \
    }                                                                                              \
    void FileDRDW_DW_##NAME(ObjectHeader* object, AudiofileHandle* handle, int64_t* samples,       \
                            uint64_t count, uint64_t* put)                                         \
    {                                                                                              \
        Write_Passes<FORMAT>(object, handle, samples, count, put);                                 \
    }

#define FILEDRDW_REFUSALS(NAME)                                                                    \
    void FileDRDW_DR_##NAME(ObjectHeader* object, AudiofileHandle* handle, int64_t*, uint64_t,     \
                            uint64_t*)                                                             \
    {                                                                                              \
        Refuse(object, handle, "FileDRDW_DR_" #NAME ": Data type not supported yet in file ");     \
    }                                                                                              \
    void FileDRDW_DW_##NAME(ObjectHeader* object, AudiofileHandle* handle, int64_t*, uint64_t,     \
                            uint64_t*)                                                             \
    {                                                                                              \
        Refuse(object, handle, "FileDRDW_DW_" #NAME ": Data type not supported yet in file ");     \
    }

FILEDRDW_REFUSALS(UINT8)
FILEDRDW_ENTRIES(INT8, IntegerFormat<1>)
FILEDRDW_ENTRIES(INT16, IntegerFormat<2>)
FILEDRDW_ENTRIES(INT24, IntegerFormat<3>)
FILEDRDW_ENTRIES(INT32, IntegerFormat<4>)
FILEDRDW_ENTRIES(FLOAT32, FloatFormat)
FILEDRDW_REFUSALS(FLOAT64)
FILEDRDW_REFUSALS(MULAW8)
FILEDRDW_REFUSALS(ALAW8)

ReadCodec* const FileDRDW_Read_Table[FileDRDW_Formats] = {
    FileDRDW_DR_UINT8,   FileDRDW_DR_INT8,   FileDRDW_DR_INT16,
    FileDRDW_DR_INT24,   FileDRDW_DR_INT32,  FileDRDW_DR_FLOAT32,
    FileDRDW_DR_FLOAT64, FileDRDW_DR_MULAW8, FileDRDW_DR_ALAW8,
};

WriteCodec* const FileDRDW_Write_Table[FileDRDW_Formats] = {
    FileDRDW_DW_UINT8,   FileDRDW_DW_INT8,   FileDRDW_DW_INT16,
    FileDRDW_DW_INT24,   FileDRDW_DW_INT32,  FileDRDW_DW_FLOAT32,
    FileDRDW_DW_FLOAT64, FileDRDW_DW_MULAW8, FileDRDW_DW_ALAW8,
};

uint64_t FileDRDW_Pass_Samples(uint32_t format)
{
    static const uint64_t Pass_Samples[FileDRDW_Formats] = {
        0,
        IntegerFormat<1>::Pass_Samples,
        IntegerFormat<2>::Pass_Samples,
        IntegerFormat<3>::Pass_Samples,
        IntegerFormat<4>::Pass_Samples,
        FloatFormat::Pass_Samples,
        0,
        0,
        0,
    };
    return format < FileDRDW_Formats ? Pass_Samples[format] : 0;
}

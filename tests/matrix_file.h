// Float matrices for the tests: the constants of each format, channel buffers with guards, and the
// two conversions, one value at a time and in the plainest way.
#pragma once

#include "tests/transfer_file.h"

struct PlainMatrix {
    const char* name;
    DataFormat format;
    FileType file_type;
    uint32_t factor_bits; // reading, at scale 1.0
    double numerator;     // writing
    double maximum;
    double minimum;
};
inline const PlainMatrix Plain_Matrices[] = {
    {"INT8 big-endian", INT8, FT_AIFC, 0x3C010204, 127.0, 127.0, -128.0},
    {"INT16 little-endian", INT16, FT_WAVE, 0x38000100, 32767.0, 32767.0, -32768.0},
    {"INT16 big-endian", INT16, FT_AIFC, 0x38000100, 32767.0, 32767.0, -32768.0},
    {"INT24 little-endian", INT24, FT_WAVE, 0x34000001, 8388607.0, 8388607.0, -8388608.0},
    {"INT24 big-endian", INT24, FT_AIFC, 0x34000001, 8388607.0, 8388607.0, -8388608.0},
    {"INT32 little-endian", INT32, FT_WAVE, 0x30000000, 2147483647.0, 2147483647.0, -2147483648.0},
    {"INT32 big-endian", INT32, FT_AIFC, 0x30000000, 2147483647.0, 2147483647.0, -2147483648.0},
    {"FLOAT32 little-endian", FLOAT32, FT_WAVE, 0x34000000, 8388608.0, 2147483647.0, -2147483648.0},
};

// Subnormals count as zero, on the way in and on the way out.
inline float Flush(float value)
{
    return std::fabs(value) < 0x1p-126f ? std::copysign(0.0f, value) : value;
}

inline float Plain_Read(const PlainMatrix& format, int64_t word, float scale)
{
    const float factor = Flush(Float_From_Bits(format.factor_bits) * Flush(scale));
    return Flush(static_cast<float>(word) * factor);
}

// The word that goes to the codec; adds what was limited to clips.
inline int64_t Plain_Write(const PlainMatrix& format, float value, float scale, uint64_t* clips)
{
    const double gain = format.numerator / static_cast<double>(Flush(scale));
    const double x = static_cast<double>(Flush(value)) * gain;
    if (x < format.minimum - 0.5) {
        ++*clips;
        return static_cast<int64_t>(format.minimum);
    }
    if (x > format.maximum + 0.5) {
        ++*clips;
        return static_cast<int64_t>(format.maximum);
    }
    if (std::isnan(x)) {
        return 0;
    }
    return static_cast<int64_t>(x >= 0.0 ? x + 0.5 : x - 0.5);
}

// One buffer per channel, each on another boundary and with guards behind it.
struct ChannelBuffers {
    static constexpr uint32_t Guard_Bits = 0x42F6E979;

    uint64_t frames;
    std::vector<std::vector<float>> storage;
    std::vector<float*> rows;

    ChannelBuffers(uint64_t channels, uint64_t frame_count)
        : frames(frame_count),
          storage(channels, std::vector<float>(frame_count + 12, Float_From_Bits(Guard_Bits)))
    {
        for (uint64_t c = 0; c < channels; c++) {
            rows.push_back(storage[c].data() + c % 4);
        }
    }
    // The bits of one buffer, all NaNs as one, and of the guards behind it.
    std::vector<uint32_t> Bits(uint64_t channel) const
    {
        std::vector<uint32_t> bits;
        for (uint64_t f = 0; f < frames + 8; f++) {
            const float value = rows[channel][f];
            bits.push_back(std::isnan(value) ? 0x7FC00000 : Bits_Of(value));
        }
        return bits;
    }
};

inline Bytes Matrix_File(const PlainMatrix& format, uint64_t channels, const Bytes& data)
{
    return Sample_File(format.format, format.file_type == FT_WAVE, static_cast<unsigned>(channels),
                       data);
}

// Sample bytes for reading: any at all, but floats mostly below 2.0.
inline Bytes Matrix_Data(const PlainMatrix& format, uint64_t samples, uint64_t seed)
{
    Bytes data = Random_Bytes(samples * Plain_Of(format.format).bytes, seed);
    for (uint64_t i = 0; i < samples && format.format == FLOAT32; i++) {
        data[4 * i + 3] &= i % 23 == 5 ? 0xFF : 0xBF;
    }
    return data;
}

inline int64_t Word_At(const PlainMatrix& format, const Bytes& data, uint64_t index)
{
    return Plain_Decode(format.format, format.file_type == FT_WAVE,
                        &data[index * Plain_Of(format.format).bytes]);
}

// Frame counts around the groups of four, and around one and two scratch tiles of 2048 words.
inline std::vector<uint64_t> Test_Lengths(uint64_t channels)
{
    std::vector<uint64_t> lengths = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 41, 42, 43};
    for (const uint64_t words : {uint64_t{2048}, uint64_t{4096}}) {
        for (uint64_t more = 0; more < 5; more++) {
            lengths.push_back(words / channels + more - 2);
        }
    }
    lengths.push_back(5000 / channels + 77);
    return lengths;
}

inline const float Test_Scales[] = {1.0f,
                                    2.0f,
                                    1.0f / 3.0f,
                                    -1.0f,
                                    32767.0f,
                                    0.0f,
                                    -0.0f,
                                    INFINITY,
                                    -INFINITY,
                                    NAN,
                                    0x1.FFFFFEp127f,
                                    0x1p-126f,
                                    0x1p-110f,
                                    Float_From_Bits(0x00400000)};

// Frame counts whose bytes do not fit. Some wrap to a few words or bytes when multiplied out.
constexpr uint64_t Too_Many_Frames[] = {UINT64_MAX, uint64_t{1} << 63, uint64_t{1} << 61,
                                        uint64_t{1} << 60, 0x5555555555555556};

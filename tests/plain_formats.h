// What the sample formats mean, one value at a time and in the plainest way, and whole files made
// of given sample bytes. The tests hold the library against this; it shares nothing with it.
#pragma once

#include "tests/engine_fixture.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <random>

using Words = std::vector<int64_t>;

constexpr int64_t Guard = 0x5A5A5A5A5A5A5A5A; // in words that must stay untouched

struct PlainFormat {
    const char* name;
    DataFormat format;
    unsigned bytes;
    uint64_t pass; // samples that a codec moves a stream call
    int64_t maximum;
    int64_t minimum;
};
inline const PlainFormat Plain_Formats[] = {
    {"INT8", INT8, 1, 128, 127, -128},
    {"INT16", INT16, 2, 64, 32767, -32768},
    {"INT24", INT24, 3, 42, 8388607, -8388608},
    {"INT32", INT32, 4, 32, 2147483647, -2147483648},
    {"FLOAT32", FLOAT32, 4, 32, INT64_MAX, INT64_MIN},
};

inline const PlainFormat& Plain_Of(DataFormat format)
{
    return *std::find_if(std::begin(Plain_Formats), std::end(Plain_Formats) - 1,
                         [=](const PlainFormat& plain) { return plain.format == format; });
}

// The refusal of a transfer, "DR" or "DW", in a format without a codec.
inline std::string No_Codec(const std::string& transfer, DataFormat format)
{
    static const char* const Names[] = {"UINT8",   "INT8",    "INT16",  "INT24", "INT32",
                                        "FLOAT32", "FLOAT64", "MULAW8", "ALAW8"};
    return "3,10: FileDRDW_" + transfer + "_" + Names[format] +
           ": Data type not supported yet in file ";
}

inline float Float_From_Bits(uint32_t bits)
{
    float value;
    memcpy(&value, &bits, sizeof value);
    return value;
}

inline uint32_t Bits_Of(float value)
{
    uint32_t bits;
    memcpy(&bits, &value, sizeof bits);
    return bits;
}

// The word of one sample's bytes.
inline int64_t Plain_Decode(DataFormat format, bool little, const uint8_t* bytes)
{
    const unsigned width = Plain_Of(format).bytes;
    int64_t value = 0;
    for (unsigned k = 0; k < width; k++) {
        const int64_t byte = bytes[little ? width - 1 - k : k];
        value = k == 0 && byte >= 128 ? byte - 256 : value * 256 + byte;
    }
    if (format != FLOAT32) {
        return value;
    }
    const double scaled =
        static_cast<double>(Float_From_Bits(static_cast<uint32_t>(value))) * 0x1p23;
    if (std::isnan(scaled)) {
        return 0;
    }
    return scaled >= 0x1p63    ? INT64_MAX
           : scaled <= -0x1p63 ? INT64_MIN
                               : static_cast<int64_t>(scaled);
}

inline int64_t Plain_Limit(DataFormat format, int64_t word)
{
    return std::clamp(word, Plain_Of(format).minimum, Plain_Of(format).maximum);
}

// Appends the bytes of one word, limited.
inline void Plain_Append(DataFormat format, bool little, int64_t word, Bytes* bytes)
{
    const unsigned width = Plain_Of(format).bytes;
    const uint64_t bits = format == FLOAT32 ? Bits_Of(static_cast<float>(word) * 0x1p-23f)
                                            : static_cast<uint64_t>(Plain_Limit(format, word));
    for (unsigned k = 0; k < width; k++) {
        bytes->push_back(static_cast<uint8_t>(bits >> 8 * (little ? k : width - 1 - k)));
    }
}

inline Bytes Plain_Encode(DataFormat format, bool little, const Words& words)
{
    Bytes bytes;
    for (const int64_t word : words) {
        Plain_Append(format, little, word, &bytes);
    }
    return bytes;
}

inline Bytes Random_Bytes(uint64_t count, uint64_t seed)
{
    std::mt19937_64 random(seed);
    Bytes bytes(count);
    for (uint8_t& byte : bytes) {
        byte = static_cast<uint8_t>(random());
    }
    return bytes;
}

// 8000.0 as an 80-bit float.
inline const Bytes Rate_8000 = {0x40, 0x0B, 0xFA, 0, 0, 0, 0, 0, 0, 0};

// A WAVE file; data_size is what its header says of the data. trailer comes behind the data.
inline Bytes Wave_Bytes(unsigned tag, unsigned bits, unsigned channels, const Bytes& data,
                        uint64_t data_size, const Bytes& trailer = {})
{
    const unsigned frame = channels * bits / 8;
    return Join({Text("RIFF"), Little(4, 36 + data.size() + trailer.size()), Text("WAVEfmt "),
                 Little(4, 16), Little(2, tag), Little(2, channels), Little(4, 8000),
                 Little(4, 8000 * frame), Little(2, frame), Little(2, bits), Text("data"),
                 Little(4, data_size), data, trailer});
}

// An AIFF file whose COMM chunk states frames.
inline Bytes Aiff_Bytes(unsigned bits, unsigned channels, const Bytes& data, uint64_t frames)
{
    return Join({Text("FORM"), Big(4, 46 + data.size() + data.size() % 2), Text("AIFFCOMM"),
                 Big(4, 18), Big(2, channels), Big(4, frames), Big(2, bits), Rate_8000,
                 Text("SSND"), Big(4, data.size() + 8), Big(8, 0), data,
                 Bytes(data.size() % 2, 0)});
}

// A file of data, WAVE if little-endian and else AIFF. Any channel count is good.
inline Bytes Sample_File(DataFormat format, bool little, unsigned channels, const Bytes& data,
                         const Bytes& wave_trailer = {})
{
    const unsigned bytes = Plain_Of(format).bytes;
    return little ? Wave_Bytes(format == FLOAT32 ? 3 : 1, 8 * bytes, channels, data, data.size(),
                               wave_trailer)
                  : Aiff_Bytes(8 * bytes, channels, data,
                               data.size() / bytes / std::max(channels, 1u));
}

// The headers that the library writes, at 8000 Hz: data_bytes of samples of so many bytes each.
inline Bytes Wave_Header(uint64_t tag, uint64_t bytes, uint64_t channels, uint64_t data_bytes)
{
    return Join({Text("RIFF"), Little(4, data_bytes + 36), Text("WAVEfmt "), Little(4, 16),
                 Little(2, tag), Little(2, channels), Little(4, 8000),
                 Little(4, channels * bytes * 8000), Little(2, channels * bytes),
                 Little(2, 8 * bytes), Text("data"), Little(4, data_bytes)});
}

inline Bytes Aifc_Header(uint64_t bytes, uint64_t channels, uint64_t frames, uint64_t data_bytes)
{
    return Join({Text("FORM"), Big(4, data_bytes + 78), Text("AIFCFVER"), Big(4, 4),
                 Big(4, 0xA2805140), Text("COMM"), Big(4, 38), Big(2, channels), Big(4, frames),
                 Big(2, 8 * bytes), Rate_8000, Text("NONE\x0Enot compressed"), Big(1, 0),
                 Text("SSND"), Big(4, data_bytes + 8), Big(4, 0), Big(4, 0)});
}

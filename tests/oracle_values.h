// Sample values for the comparison with other programs, and what the engine has to make of them,
// worked out in another way than its own.
#pragma once

#include "tests/plain_formats.h"

#include <gtest/gtest.h>

using Floats = std::vector<float>;

// ---- Samples in a file ----

inline unsigned Code_Bits(DataFormat format)
{
    return format == FLOAT32 ? 24 : 8 * (format - INT8 + 1);
}

// Code values over the whole range of a width, the limits first.
inline Words Make_Codes(uint64_t count, unsigned bits)
{
    const int64_t maximum = (int64_t{1} << (bits - 1)) - 1;
    Words codes = {maximum, -maximum - 1, 0, -1, 1, -maximum, maximum - 1};
    std::mt19937_64 random(count + bits);
    std::uniform_int_distribution<int64_t> any(-maximum - 1, maximum);
    while (codes.size() < count) {
        codes.push_back(any(random));
    }
    codes.resize(count);
    return codes;
}

inline std::vector<int32_t> Tops_Of(const Words& codes, unsigned bits)
{
    std::vector<int32_t> tops;
    for (const int64_t code : codes) {
        tops.push_back(static_cast<int32_t>(static_cast<uint32_t>(code) << (32 - bits)));
    }
    return tops;
}

inline Words Codes_Of(const std::vector<int32_t>& tops, unsigned bits)
{
    Words codes;
    for (const int32_t top : tops) {
        codes.push_back(top >> (32 - bits));
    }
    return codes;
}

// Floats on both sides of every border that a float sample can meet on its way into a word.
inline Floats Make_Floats(uint64_t count)
{
    const float infinity = INFINITY;
    Floats floats = {0.0f,       -0.0f,       1.0f,       -1.0f,     0.5f,      0x1p-23f,
                     0x1.8p-23f, -0x1.fp-23f, 0x1.fp-24f, 0x1p-149f, 1.0f / 3,  0x1.fffffep+7f,
                     256.0f,     -256.0f,     300.7f,     -1.0e6f,   0x1p+39f,  0x1p+40f,
                     -0x1p+40f,  1.0e20f,     -1.0e20f,   infinity,  -infinity, NAN};
    std::mt19937 random(static_cast<unsigned>(count));
    std::uniform_real_distribution<float> any(-1.0f, 1.0f);
    while (floats.size() < count) {
        floats.push_back(any(random));
    }
    floats.resize(count);
    return floats;
}

// A float sample's word: times 2^23, cut toward zero, limited to 64 bits; NaN is 0.
inline int64_t Word_Of(float sample)
{
    const double x = static_cast<double>(sample) * 8388608.0;
    if (std::isnan(x)) {
        return 0;
    }
    return x >= 0x1p63 ? INT64_MAX : x < -0x1p63 ? INT64_MIN : static_cast<int64_t>(x);
}

// A word's float in a channel buffer.
inline float Float_Of(int64_t word, DataFormat format, float scale)
{
    static const uint32_t Factor_Bits[] = {0,          0x3C010204, 0x38000100,
                                           0x34000001, 0x30000000, 0x34000000};
    const float factor = Float_From_Bits(Factor_Bits[format]) * scale;
    return static_cast<float>(word) * factor;
}

// ---- Inputs of a write ----

// Values over more than the range, and those that lie on its borders and between two codes.
inline Floats Make_Inputs(uint64_t count, float scale)
{
    Floats inputs = {
        1.0f,      -1.0f, 0.0f, -0.0f, 1.00001f, 1.00002f,  -1.00002f, -1.00005f,          INFINITY,
        -INFINITY, NAN,   0.5f, -0.5f, 0x1p-16f, -0x1p-16f, 1.0e-40f,  32767.5f / 32767.0f};
    std::mt19937 random(static_cast<unsigned>(count));
    std::uniform_real_distribution<float> any(-1.1f, 1.1f);
    std::uniform_int_distribution<int> code(-32768, 32767);
    while (inputs.size() < count) {
        inputs.push_back(any(random));
        inputs.push_back((static_cast<float>(code(random)) + 0.5f) / 32767.0f);
    }
    inputs.resize(count);
    for (float& input : inputs) {
        input *= scale;
    }
    return inputs;
}

// The code of an input: to nearest, halves away from zero, limited.
inline int64_t Code_Of(float input, float scale, bool* limited)
{
    const double x = static_cast<double>(input) * (32767.0 / static_cast<double>(scale));
    if (std::isnan(x)) {
        return 0;
    }
    const double code = std::trunc(x < 0.0 ? x - 0.5 : x + 0.5);
    *limited = *limited || code > 32767.0 || code < -32768.0;
    return static_cast<int64_t>(std::clamp(code, -32768.0, 32767.0));
}

// ---- The comparison ----

// Tells the first difference alone; floats by their bits.
template <class Value> void Expect_Same(const std::vector<Value>& expected,
                                        const std::vector<Value>& actual, const char* what)
{
    ASSERT_EQ(expected.size(), actual.size()) << what;
    for (size_t i = 0; i < expected.size(); i++) {
        if (memcmp(&expected[i], &actual[i], sizeof(Value)) != 0) {
            ADD_FAILURE() << what << ": value " << i << " is " << actual[i] << ", not "
                          << expected[i];
            return;
        }
    }
}

// What the tests of the vector kernels share: special values, comparison by bits, and arrays with
// guards around them at a chosen distance from a 16-byte boundary.
#pragma once

#include "frame/object.h"
#include "tests/digest.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

inline float From_Bits(uint32_t bits)
{
    return std::bit_cast<float>(bits);
}

inline uint32_t Bits(float value)
{
    return std::bit_cast<uint32_t>(value);
}

// Of each value its negative as well: zero, subnormals, the ends of the normal range, neighbours of
// one, the ends of the reciprocal's range, infinity, quiet and signalling NaNs.
inline std::vector<float> Special_Values()
{
    std::vector<float> values;
    for (const uint32_t bits :
         {0x00000000u, 0x00000001u, 0x00400000u, 0x007FFFFFu, 0x00800000u, 0x00800001u,
          0x00FFFFFFu, 0x1E3CE508u, 0x3EAAAAABu, 0x3F7FFFFFu, 0x3F800000u, 0x3F800001u,
          0x40400000u, 0x4B7FFFFFu, 0x7E7FFFFFu, 0x7E800000u, 0x7E800001u, 0x7F000000u,
          0x7F7FFFFFu, 0x7F800000u, 0x7F800001u, 0x7FBFFFFFu, 0x7FC00000u, 0x7FC12345u}) {
        values.push_back(From_Bits(bits));
        values.push_back(From_Bits(bits | 0x80000000));
    }
    return values;
}

// Equal by bits; any NaN equals any other, since processors make different ones.
inline bool Same(float a, float b)
{
    return a != a ? b != b : Bits(a) == Bits(b);
}

inline testing::AssertionResult Same_Floats(const float* expected, const float* got, size_t n)
{
    for (size_t i = 0; i < n; i++) {
        if (!Same(expected[i], got[i])) {
            return testing::AssertionFailure()
                   << std::hex << "element " << std::dec << i << " of " << n << ": " << got[i]
                   << std::hex << " (" << Bits(got[i]) << ") instead of " << expected[i] << " ("
                   << Bits(expected[i]) << ")";
        }
    }
    return testing::AssertionSuccess();
}

// An array of floats between guards. With off_bytes of 0 it starts on a 16-byte boundary; 4 and 8
// put it that far behind one.
struct Guarded {
    static constexpr size_t Guard_Floats = 40;
    static constexpr uint32_t Guard_Bits = 0x7FC0DEAD;

    std::vector<float> storage;
    float* data;
    size_t n;

    Guarded(size_t n_, unsigned off_bytes)
        : storage(n_ + 2 * Guard_Floats + 8, From_Bits(Guard_Bits)), n(n_)
    {
        const uintptr_t start = reinterpret_cast<uintptr_t>(storage.data() + Guard_Floats);
        data = storage.data() + Guard_Floats + ((16 - start % 16) % 16 + off_bytes) / sizeof(float);
    }
    Guarded(const Guarded&) = delete;

    void Fill(const std::vector<float>& values)
    {
        if (n != 0) {
            memcpy(data, values.data(), n * sizeof(float));
        }
    }

    std::vector<float> Values() const
    {
        std::vector<float> values(n);
        if (n != 0) {
            memcpy(values.data(), data, n * sizeof(float));
        }
        return values;
    }

    bool Guards_Whole() const
    {
        const float* end = storage.data() + storage.size();
        for (const float* p = storage.data(); p < end; p++) {
            if ((p < data || p >= data + n) && Bits(*p) != Guard_Bits) {
                return false;
            }
        }
        return true;
    }
};

enum Content { Ordinary, Special, Any_Bits };

inline std::vector<float> Make_Floats(Random* random, size_t n, Content content)
{
    static const std::vector<float> special = Special_Values();
    std::vector<float> values(n);
    for (float& value : values) {
        if (content == Ordinary) {
            value = Random_Float(random, 4.0f);
        } else if (content == Special) {
            value = special[Random_Word(random) % special.size()];
        } else {
            value = Random_Bits(random);
        }
    }
    return values;
}

// Around all step borders of the kernels, and some longer.
inline const std::vector<uint32_t> Lengths = {0,  1,  2,  3,  4,  5,  7,  8,  9,  11,  12,  13,
                                              15, 16, 17, 20, 23, 24, 28, 31, 32, 33,  35,  37,
                                              47, 48, 63, 64, 65, 79, 95, 96, 97, 127, 1000};

inline ObjectHeader Make_Object()
{
    ObjectHeader object = OBJ_Template;
    object.name = "VECTOR";
    return object;
}

// Digests of results that must come out the same to the last bit in every build: on both
// processors, in the plain and the vector form of vector/simd.h, under both compilers. Each line of
// a table runs one family of operations on pseudo-random input and special values and hashes all
// that comes out. tests/digest.txt holds the expected lines; nothing in a table may call the
// platform's libm.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

struct DigestLine {
    const char* name;
    uint64_t (*run)();
};

struct DigestTable {
    const DigestLine* lines;
    size_t count;
};

extern const DigestTable Digest_Audio;
extern const DigestTable Digest_Vector;
extern const DigestTable Digest_Matrix;
extern const DigestTable Digest_Spectrum;

// FNV-1a over 64-bit words of bytes.
struct Digest {
    uint64_t hash = 0xCBF29CE484222325;
};

inline void Digest_Bytes(Digest* digest, const void* bytes, size_t count)
{
    const uint8_t* byte = static_cast<const uint8_t*>(bytes);
    for (size_t i = 0; i < count; i++) {
        digest->hash = (digest->hash ^ byte[i]) * 0x100000001B3;
    }
}

// Floats by their bits; every NaN counts as one, since processors make different ones.
inline void Digest_Floats(Digest* digest, const float* floats, size_t count)
{
    for (size_t i = 0; i < count; i++) {
        const float value = floats[i] == floats[i] ? floats[i] : 0x1p127f;
        Digest_Bytes(digest, &value, sizeof value);
        const uint8_t is_nan = floats[i] != floats[i];
        Digest_Bytes(digest, &is_nan, 1);
    }
}

// SplitMix64: Steele, Lea, Flood, Fast splittable pseudorandom number generators, OOPSLA 2014.
struct Random {
    uint64_t state;
};

inline uint64_t Random_Word(Random* random)
{
    uint64_t z = random->state += 0x9E3779B97F4A7C15;
    z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9;
    z = (z ^ z >> 27) * 0x94D049BB133111EB;
    return z ^ z >> 31;
}

// A float of any bits: all exponents, subnormals, infinities and NaNs.
inline float Random_Bits(Random* random)
{
    const uint32_t bits = static_cast<uint32_t>(Random_Word(random));
    float value;
    memcpy(&value, &bits, sizeof value);
    return value;
}

// A float in -limit to limit.
inline float Random_Float(Random* random, float limit)
{
    const int32_t step = static_cast<int32_t>(Random_Word(random) >> 40) - (1 << 23);
    return static_cast<float>(step) * 0x1p-23f * limit;
}

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
    static constexpr uint32_t Guard_Bits = 0x7FA0DEAD; // a signalling NaN: arithmetic on it shows

    std::vector<float> storage;
    float* data;
    size_t n;

    Guarded(size_t n_, unsigned off_bytes)
        : storage(n_ + 2 * Guard_Floats + 8, From_Bits(Guard_Bits)), n(n_)
    {
        const uintptr_t start = reinterpret_cast<uintptr_t>(storage.data() + Guard_Floats);
        data = storage.data() + Guard_Floats + ((16 - start % 16) % 16 + off_bytes) / sizeof(float);
    }
    Guarded(const std::vector<float>& values, unsigned off_bytes)
        : Guarded(values.size(), off_bytes)
    {
        Fill(values);
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

// check(n, make) at each length and content; make(count) gives random floats of that content.
template <class Check>
void Each_Content(const std::vector<uint32_t>& lengths, uint64_t seed, Check check)
{
    Random random = {seed};
    for (const uint32_t n : lengths) {
        for (const Content content : {Ordinary, Special, Any_Bits}) {
            SCOPED_TRACE(testing::Message() << "n " << n << ", content " << content);
            check(n, [&](size_t count) { return Make_Floats(&random, count, content); });
        }
    }
}

// Plain definitions, after the arithmetic of 64-bit Arm under flush-to-zero.
namespace Plain
{
inline constexpr float Inf = std::numeric_limits<float>::infinity();
inline constexpr float NaN = std::numeric_limits<float>::quiet_NaN();

inline float Flush(float a)
{
    return (Bits(a) & 0x7F800000) == 0 ? From_Bits(Bits(a) & 0x80000000) : a;
}

inline float Larger(float a, float b)
{
    if (a != a || b != b) {
        return NaN;
    }
    a = Flush(a);
    b = Flush(b);
    return a > b || (a == b && !std::signbit(a)) ? a : b;
}

inline float Smaller(float a, float b)
{
    return -Larger(-a, -b);
}

// A quiet NaN loses to a number.
inline float Larger_Number(float a, float b)
{
    const auto is_signalling = [](float x) { return x != x && (Bits(x) & 0x00400000) == 0; };
    if (is_signalling(a) || is_signalling(b) || (a != a && b != b)) {
        return NaN;
    }
    return a != a ? Flush(b) : b != b ? Flush(a) : Larger(a, b);
}

inline float Smaller_Number(float a, float b)
{
    return -Larger_Number(-a, -b);
}

// FPRecipEstimate of the Arm architecture for a 32-bit operand with FPCR.FZ set.
inline float Recip_Estimate(float a)
{
    const uint32_t sign = Bits(a) & 0x80000000;
    const uint32_t exponent = Bits(a) >> 23 & 0xFF;
    if (a != a) {
        return From_Bits(Bits(a) | 0x00400000);
    }
    if (exponent == 0 || exponent >= 253) { // 253: 2^126 and above
        return From_Bits(exponent == 0 ? sign | 0x7F800000 : sign);
    }
    const uint32_t scaled = 256 + (Bits(a) >> 15 & 0xFF);
    const uint32_t inverse = ((1u << 19) / (scaled * 2 + 1) + 1) / 2;
    return From_Bits(sign | (253 - exponent) << 23 | (inverse & 0xFF) << 15);
}

// add(sum, i) for each i below n: one by one, or split into four sums and the rest one by one.
template <class Add> float Add_Up(size_t n, bool split, Add add)
{
    const size_t whole = split ? n / 4 * 4 : 0;
    float p[4] = {};
    for (size_t i = 0; i < whole; i++) {
        p[i % 4] = add(p[i % 4], i);
    }
    float sum = (p[0] + p[1]) + (p[2] + p[3]);
    for (size_t i = whole; i < n; i++) {
        sum = add(sum, i);
    }
    return sum;
}
} // namespace Plain

// ---- Element-wise functions against a plain loop ----

struct EachInput {
    float a, b, dst, s, t;
};

struct EachCase {
    const char* name;
    void (*run)(uint32_t n, const float* a, const float* b, float* dst, float s, float t);
    float (*one)(EachInput x);
};

// Calls with those arguments that the function takes.
template <auto Function>
void Run_Each(uint32_t n, const float* a, const float* b, float* dst, float s, float t)
{
    static ObjectHeader object = Make_Object();
    if constexpr (requires { Function(n, a, dst); }) {
        Function(n, a, dst);
    } else if constexpr (requires { Function(&object, n, dst); }) {
        Function(&object, n, dst);
    } else if constexpr (requires { Function(&object, n, dst, s); }) {
        Function(&object, n, dst, s);
    } else if constexpr (requires { Function(&object, n, a, dst); }) {
        Function(&object, n, a, dst);
    } else if constexpr (requires { Function(&object, n, a, dst, s); }) {
        Function(&object, n, a, dst, s);
    } else if constexpr (requires { Function(&object, n, a, dst, s, t); }) {
        Function(&object, n, a, dst, s, t);
    } else if constexpr (requires { Function(&object, n, a, dst, s, nullptr); }) {
        Function(&object, n, a, dst, s, nullptr);
    } else if constexpr (requires { Function(&object, n, a, b, dst); }) {
        Function(&object, n, a, b, dst);
    } else {
        Function(&object, n, a, b, dst, s);
    }
}

// Arrays at several bytes off the boundary; one array may stand in two places. The sources stay as
// they are, and nothing is written outside the destination.
inline void Check_Each(const EachCase& c, float s, float t, uint64_t seed)
{
    enum Place { All_Apart, Dst_Is_A, Dst_Is_B, A_Is_B };
    const unsigned offs[][3] = {{0, 0, 0}, {4, 0, 0}, {0, 12, 0}, {0, 0, 8}, {4, 0, 4}, {4, 4, 4}};
    for (size_t k = 0; k < std::size(offs) * 4 && !testing::Test::HasFailure(); k++) {
        const unsigned* off = offs[k / 4];
        const Place place = static_cast<Place>(k % 4);
        SCOPED_TRACE(testing::Message() << c.name << ", bytes off " << off[0] << " " << off[1]
                                        << " " << off[2] << ", place " << place << ", s " << s);
        Each_Content(Lengths, seed + k, [&](uint32_t n, auto make) {
            Guarded a(make(n), off[0]);
            Guarded b(make(n), off[1]);
            Guarded dst(make(n), off[2]);
            float* const to = place == Dst_Is_A ? a.data : place == Dst_Is_B ? b.data : dst.data;
            const float* const second = place == A_Is_B ? a.data : b.data;
            std::vector<float> expected(n);
            for (uint32_t i = 0; i < n; i++) {
                expected[i] = c.one({a.data[i], second[i], to[i], s, t});
            }
            const std::vector<float> old_a = a.Values();
            c.run(n, a.data, second, to, s, t);
            EXPECT_TRUE(Same_Floats(expected.data(), to, n));
            if (to != a.data && n != 0) {
                EXPECT_EQ(memcmp(old_a.data(), a.data, n * sizeof(float)), 0) << "source changed";
            }
            EXPECT_TRUE(a.Guards_Whole() && b.Guards_Whole() && dst.Guards_Whole());
        });
    }
}

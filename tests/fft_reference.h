// What the tests of the transforms share: the transform one point at a time, the definition that
// every fast pass must match bit for bit; plans and buffers with guards; random input; and the
// forms of the library under test.
#pragma once

#include "spectrum/fft.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

using Floats = std::vector<float>;

struct Point {
    float re;
    float im;
};

inline Point Plus(Point a, Point b)
{
    return {a.re + b.re, a.im + b.im};
}

inline Point Minus(Point a, Point b)
{
    return {a.re - b.re, a.im - b.im};
}

// i * a and -i * a.
inline Point Left(Point a)
{
    return {-a.im, a.re};
}

inline Point Right(Point a)
{
    return {a.im, -a.re};
}

// a times w, or times its conjugate: products with the cosine rounded, those with the sine fused.
inline Point Turned(Point a, FftPair w, bool inverse)
{
    const float sine = inverse ? w.sine : -w.sine;
    return {std::fma(-a.im, sine, a.re * w.cosine), std::fma(a.re, sine, a.im * w.cosine)};
}

inline uint32_t Reversed(uint32_t i, uint32_t n)
{
    uint32_t r = 0;
    for (uint32_t bit = 1; bit < n; bit *= 2) {
        r = r * 2 + (i / bit) % 2;
    }
    return r;
}

// The butterfly of a radix-4 stage, in place.
inline void Butterfly(Point* q0, Point* q1, Point* q2, Point* q3, bool inverse)
{
    const Point sum = Plus(*q0, *q1);
    const Point difference = Minus(*q0, *q1);
    const Point far_sum = Plus(*q2, *q3);
    const Point far_difference = Minus(*q2, *q3);
    *q0 = Plus(sum, far_sum);
    *q2 = Minus(sum, far_sum);
    *q1 = Plus(difference, inverse ? Left(far_difference) : Right(far_difference));
    *q3 = Plus(difference, inverse ? Right(far_difference) : Left(far_difference));
}

inline Floats Reference_Complex(const FftComplexPlan* plan, uint32_t n, const Floats& in,
                                bool inverse)
{
    std::vector<Point> z(n);
    for (uint32_t i = 0; i < n; i++) {
        z[i] = {in[2 * Reversed(i, n)], in[2 * Reversed(i, n) + 1]};
    }
    uint32_t log2 = 0;
    while (1u << log2 < n) {
        log2++;
    }
    uint32_t quarter = 0;
    const FftPair* table = nullptr;
    if (log2 % 2 == 0) {
        for (uint32_t i = 0; i < n; i += 4) {
            Butterfly(&z[i], &z[i + 1], &z[i + 2], &z[i + 3], inverse);
        }
        quarter = 4;
        table = plan->evenTables;
    } else {
        for (uint32_t i = 0; i < n; i += 2) {
            const Point a = z[i];
            z[i] = Plus(a, z[i + 1]);
            z[i + 1] = Minus(a, z[i + 1]);
        }
        quarter = 2;
        table = plan->oddTables;
    }
    for (uint32_t blocks = n / (4 * quarter); blocks > 0; blocks /= 4, quarter *= 4) {
        for (uint32_t block = 0; block < blocks; block++) {
            Point* q = &z[block * 4 * quarter];
            for (uint32_t j = 0; j < quarter; j++) {
                const FftPair* group = table + 6 * (j / 2) + j % 2;
                Point* place = q + j;
                place[quarter] = Turned(place[quarter], group[4], inverse);
                place[2 * quarter] = Turned(place[2 * quarter], group[2], inverse);
                place[3 * quarter] = Turned(place[3 * quarter], group[0], inverse);
                Butterfly(place, place + quarter, place + 2 * quarter, place + 3 * quarter,
                          inverse);
            }
        }
        table += 3 * quarter;
    }
    Floats out(2 * n);
    for (uint32_t i = 0; i < n; i++) {
        out[2 * i] = z[i].re;
        out[2 * i + 1] = z[i].im;
    }
    return out;
}

inline void Reference_Post(uint32_t N, const FftPair* table, Floats* buffer)
{
    Floats& z = *buffer;
    const uint32_t M = N / 2;
    const float a = z[0];
    const float b = z[1];
    z[0] = (a + b) + (a + b);
    z[1] = (a - b) + (a - b);
    for (uint32_t k = 1; k <= M / 2; k++) {
        const Point A = {z[2 * k], z[2 * k + 1]};
        const Point B = {z[2 * (M - k)], z[2 * (M - k) + 1]};
        const float c = table[k - 1].cosine;
        const float s = table[k - 1].sine;
        const float e = A.re + B.re;
        const float d = A.im - B.im;
        const float p = A.re - B.re;
        const float q = A.im + B.im;
        const float u = std::fma(-p, s, q * c);
        const float w = std::fma(p, c, q * s);
        z[2 * k] = e - u;
        z[2 * k + 1] = w + d;
        z[2 * (M - k)] = e + u;
        z[2 * (M - k) + 1] = w - d;
    }
}

inline void Reference_Pre(uint32_t N, const FftPair* table, const Floats& in, Floats* out,
                          float scale)
{
    const uint32_t M = N / 2;
    for (uint32_t k = 1; k <= M / 2; k++) {
        const Point A = {in[2 * k], in[2 * k + 1]};
        const Point B = {in[2 * (M - k)], in[2 * (M - k) + 1]};
        const float c = table[k - 1].cosine;
        const float s = table[k - 1].sine;
        const float e = scale * (A.re + B.re);
        const float d = scale * (A.im - B.im);
        const float p = scale * (A.re - B.re);
        const float q = scale * (A.im + B.im);
        const float u = -std::fma(-s, q, c * p);
        const float w = std::fma(s, p, c * q);
        (*out)[2 * k] = e + w;
        (*out)[2 * k + 1] = d + u;
        (*out)[2 * (M - k)] = e - w;
        (*out)[2 * (M - k) + 1] = u - d;
    }
}

inline const FftPair* Stage_Table(const FftRealPlan* plan, uint32_t N)
{
    return plan->stageTables + N / 4 - 2;
}

inline Floats Reference_Real(const FftRealPlan* plan, uint32_t N, const Floats& in, bool inverse)
{
    if (!inverse) {
        Floats out = Reference_Complex(plan->complexPlan, N / 2, in, false);
        Reference_Post(N, Stage_Table(plan, N), &out);
        return out;
    }
    const float scale = 0.5f / static_cast<float>(N);
    Floats points(N);
    Reference_Pre(N, Stage_Table(plan, N), in, &points, scale);
    points[0] = (in[0] + in[1]) * scale;
    points[1] = (in[0] - in[1]) * scale;
    return Reference_Complex(plan->complexPlan, N / 2, points, true);
}

// ---- Plans, buffers, input ----

struct BlockFree {
    void operator()(void* block) const
    {
        free(block);
    }
};
using RealPlan = std::unique_ptr<FftRealPlan, BlockFree>;
using ComplexPlan = std::unique_ptr<FftComplexPlan, BlockFree>;

inline RealPlan Make_Real_Plan(uint32_t N)
{
    RealPlan plan(static_cast<FftRealPlan*>(malloc(FFT_RealPlan_Size(N))));
    FFT_RealPlan_Init(N, plan.get());
    return plan;
}

inline ComplexPlan Make_Complex_Plan(uint32_t n)
{
    ComplexPlan plan(static_cast<FftComplexPlan*>(malloc(FFT_ComplexPlan_Size(n))));
    FFT_ComplexPlan_Init(n, plan.get());
    return plan;
}

// Floats between two zones of a value that no transform makes, an odd number of floats off the
// block's own boundary.
struct Guarded {
    static constexpr size_t Zone = 37;
    static constexpr float Mark = -7777.25f;
    Floats block;
    size_t count;

    explicit Guarded(const Floats& content)
        : block(content.size() + 2 * Zone, Mark), count(content.size())
    {
        memcpy(data(), content.data(), count * sizeof(float));
    }
    float* data()
    {
        return block.data() + Zone;
    }
    Floats content()
    {
        return Floats(data(), data() + count);
    }
    bool zones_untouched() const
    {
        for (size_t k = 0; k < Zone; k++) {
            if (block[k] != Mark || block[Zone + count + k] != Mark) {
                return false;
            }
        }
        return true;
    }
};

inline Floats Random_Floats(size_t count, uint32_t seed)
{
    std::mt19937 generator(seed);
    std::uniform_real_distribution<float> value(-1.0f, 1.0f);
    Floats out(count);
    for (float& x : out) {
        x = value(generator);
    }
    return out;
}

// The index of the first float whose bits differ, or -1.
inline int64_t First_Difference(const Floats& a, const Floats& b)
{
    for (size_t k = 0; k < a.size(); k++) {
        if (memcmp(&a[k], &b[k], sizeof(float)) != 0) {
            return static_cast<int64_t>(k);
        }
    }
    return a.size() == b.size() ? -1 : static_cast<int64_t>(a.size());
}

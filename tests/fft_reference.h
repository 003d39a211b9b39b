// What the tests of the transforms share: the transform one point at a time, the definition that
// every fast pass must match bit for bit; plans and random input.
#pragma once

#include "spectrum/fft.h"
#include "tests/vector_fixture.h"

#include <algorithm>
#include <bit>
#include <complex>
#include <memory>
#include <random>
#include <string>

using Floats = std::vector<float>;
using Point = std::complex<float>;

// a times w, or times its conjugate: products with the cosine rounded, those with the sine fused.
inline Point Turned(Point a, FftPair w, bool inverse)
{
    const float sine = inverse ? w.sine : -w.sine;
    return {std::fma(-a.imag(), sine, a.real() * w.cosine),
            std::fma(a.real(), sine, a.imag() * w.cosine)};
}

inline uint32_t Reversed(uint32_t i, uint32_t n)
{
    uint32_t r = 0;
    for (uint32_t bit = 1; bit < n; bit *= 2) {
        r = r * 2 + (i / bit) % 2;
    }
    return r;
}

// The butterfly of a radix-4 stage, in place on four points a step apart.
inline void Butterfly(Point* q, uint32_t step, bool inverse)
{
    const Point sum = q[0] + q[step];
    const Point difference = q[0] - q[step];
    const Point far_sum = q[2 * step] + q[3 * step];
    const Point far = q[2 * step] - q[3 * step];
    const Point turned = inverse ? Point(-far.imag(), far.real()) : Point(far.imag(), -far.real());
    q[0] = sum + far_sum;
    q[step] = difference + turned;
    q[2 * step] = sum - far_sum;
    q[3 * step] = difference - turned;
}

inline Floats Reference_Complex(const FftComplexPlan* plan, uint32_t n, const Floats& in,
                                bool inverse)
{
    std::vector<Point> z(n);
    for (uint32_t i = 0; i < n; i++) {
        z[i] = {in[2 * Reversed(i, n)], in[2 * Reversed(i, n) + 1]};
    }
    const bool even = std::countr_zero(n) % 2 == 0;
    const FftPair* table = even ? plan->evenTables : plan->oddTables;
    uint32_t quarter = even ? 4 : 2;
    for (uint32_t i = 0; i < n; i += quarter) {
        if (even) {
            Butterfly(&z[i], 1, inverse);
        } else {
            const Point first = z[i];
            z[i] += z[i + 1];
            z[i + 1] = first - z[i + 1];
        }
    }
    for (; 4 * quarter <= n; quarter *= 4) {
        for (uint32_t i = 0; i < n; i++) {
            const uint32_t j = i % (4 * quarter);
            if (j < quarter) {
                for (uint32_t k = 1; k < 4; k++) {
                    const FftPair w = table[6 * (j / 2) + j % 2 + 2 * (3 - k)];
                    z[i + k * quarter] = Turned(z[i + k * quarter], w, inverse);
                }
                Butterfly(&z[i], quarter, inverse);
            }
        }
        table += 3 * quarter;
    }
    const float* floats = reinterpret_cast<const float*>(z.data());
    return Floats(floats, floats + 2 * n);
}

// Sums and differences of the bins k and M - k, and the factor that belongs to them.
struct BinPair {
    float c, s, e, d, p, q;
};

inline BinPair Bin_Pair(const Floats& z, uint32_t k, const FftPair* table, float scale)
{
    const Point A = {z[2 * k], z[2 * k + 1]};
    const Point B = {z[z.size() - 2 * k], z[z.size() - 2 * k + 1]};
    return {table[k - 1].cosine,           table[k - 1].sine,
            scale * (A.real() + B.real()), scale * (A.imag() - B.imag()),
            scale * (A.real() - B.real()), scale * (A.imag() + B.imag())};
}

inline void Set_Bin(Floats* z, size_t k, float re, float im)
{
    (*z)[2 * k] = re;
    (*z)[2 * k + 1] = im;
}

inline void Reference_Post(uint32_t N, const FftPair* table, Floats* z)
{
    const float a = (*z)[0];
    const float b = (*z)[1];
    Set_Bin(z, 0, (a + b) + (a + b), (a - b) + (a - b));
    for (uint32_t k = 1; k <= N / 4; k++) {
        const auto [c, s, e, d, p, q] = Bin_Pair(*z, k, table, 1.0f);
        const float u = std::fma(-p, s, q * c);
        const float w = std::fma(p, c, q * s);
        Set_Bin(z, k, e - u, w + d);
        Set_Bin(z, N / 2 - k, e + u, w - d);
    }
}

inline void Reference_Pre(uint32_t N, const FftPair* table, const Floats& in, Floats* out,
                          float scale)
{
    for (uint32_t k = 1; k <= N / 4; k++) {
        const auto [c, s, e, d, p, q] = Bin_Pair(in, k, table, scale);
        const float u = -std::fma(-s, q, c * p);
        const float w = std::fma(s, p, c * q);
        Set_Bin(out, k, e + w, d + u);
        Set_Bin(out, N / 2 - k, e - w, u - d);
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
    Floats points = {(in[0] + in[1]) * scale, (in[0] - in[1]) * scale};
    points.resize(N);
    Reference_Pre(N, Stage_Table(plan, N), in, &points, scale);
    return Reference_Complex(plan->complexPlan, N / 2, points, true);
}

// ---- Plans, input ----

using RealPlan = std::shared_ptr<FftRealPlan>;
using ComplexPlan = std::shared_ptr<FftComplexPlan>;

inline RealPlan Make_Real_Plan(uint32_t N)
{
    void* const block = malloc(FFT_RealPlan_Size(N));
    FFT_RealPlan_Init(N, block);
    return RealPlan(static_cast<FftRealPlan*>(block), free);
}

inline ComplexPlan Make_Complex_Plan(uint32_t n)
{
    void* const block = malloc(FFT_ComplexPlan_Size(n));
    FFT_ComplexPlan_Init(n, block);
    return ComplexPlan(static_cast<FftComplexPlan*>(block), free);
}

inline Floats Random_Floats(size_t count, uint32_t seed)
{
    std::mt19937 generator(seed);
    std::uniform_real_distribution<float> value(-1.0f, 1.0f);
    Floats out(count);
    std::generate(out.begin(), out.end(), [&] { return value(generator); });
    return out;
}

// The index of the first float whose bits differ, or -1.
inline int64_t First_Difference(const Floats& a, const Floats& b)
{
    const auto same = [](float x, float y) { return Bits(x) == Bits(y); };
    const auto at = std::mismatch(a.begin(), a.end(), b.begin(), b.end(), same).first;
    return at == a.end() && a.size() == b.size() ? -1 : at - a.begin();
}

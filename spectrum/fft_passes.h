// The passes of the transforms, shared by the complex and the real drivers. All work on four points
// a step; a point is two floats in memory, so places in buffers are in floats and sizes in points.
//
// Back is the direction: false turns points by the conjugate factors (forward), true by the factors
// themselves (inverse). Which points are added first, and which products are rounded, is the same
// in every pass that computes the same stage, so all roads through a transform give the same bits.
#pragma once

#include "spectrum/fft.h"
#include "vector/simd_points.h"

#include <cstddef>

inline namespace OMBRINE_SIMD_FORM
{

// Above this many points two buffers, or one, no longer fit in a first-level cache, and the first
// pass goes in another order.
constexpr uint32_t Runs_Above = 4096;
constexpr uint32_t Squares_Above = 8192;

inline const float* Table_Floats(const FftPair* table)
{
    return &table->cosine;
}

// True if log2 n is even, and the first stage radix 4; else it is radix 2.
inline bool Is_Radix_4_First(uint32_t n)
{
    return __builtin_clz(n) % 2 == 1;
}

// The radix-4 butterfly on points that have been turned already.
template <bool Back> inline void Butterfly(C4& q0, C4& q1, C4& q2, C4& q3)
{
    const C4 sum = C4_Add(q0, q1);
    const C4 difference = C4_Sub(q0, q1);
    const C4 far_sum = C4_Add(q2, q3);
    const C4 far_turned = C4_Swap(C4_Sub(q2, q3));
    q0 = C4_Add(sum, far_sum);
    q1 = Back ? C4_Sub_Add(difference, far_turned) : C4_Add_Sub(difference, far_turned);
    q2 = C4_Sub(sum, far_sum);
    q3 = Back ? C4_Add_Sub(difference, far_turned) : C4_Sub_Add(difference, far_turned);
}

// The factors of one step of a stage: those of the second, third and fourth quarter.
template <bool Back> struct Factors {
    W4<Back> second, third, fourth;
};

// For four neighbouring samples: two groups of the table.
template <bool Back> inline Factors<Back> Load_Factors(const float* groups)
{
    Factors<Back> factors;
    factors.fourth = W4_Of<Back>(C4_Load_Halves(groups, groups + 12));
    factors.third = W4_Of<Back>(C4_Load_Halves(groups + 4, groups + 16));
    factors.second = W4_Of<Back>(C4_Load_Halves(groups + 8, groups + 20));
    return factors;
}

// The same sample, 0 or 1 of a group, in all places.
template <bool Back> inline Factors<Back> Spread_Factors(const float* group, int sample)
{
    Factors<Back> factors;
    factors.fourth = W4_Of<Back>(C4_Load_Same(group + 2 * sample));
    factors.third = W4_Of<Back>(C4_Load_Same(group + 4 + 2 * sample));
    factors.second = W4_Of<Back>(C4_Load_Same(group + 8 + 2 * sample));
    return factors;
}

template <bool Back>
inline void Turn_Butterfly(C4& q0, C4& q1, C4& q2, C4& q3, const Factors<Back>& factors)
{
    q1 = C4_Turn(q1, factors.second);
    q2 = C4_Turn(q2, factors.third);
    q3 = C4_Turn(q3, factors.fourth);
    Butterfly<Back>(q0, q1, q2, q3);
}

// One step of a stage in memory; quarter is in floats.
template <bool Back> inline void Stage_Step(float* at, size_t quarter, const Factors<Back>& factors)
{
    C4 q0 = C4_Load(at);
    C4 q1 = C4_Load(at + quarter);
    C4 q2 = C4_Load(at + 2 * quarter);
    C4 q3 = C4_Load(at + 3 * quarter);
    Turn_Butterfly(q0, q1, q2, q3, factors);
    C4_Store(at, q0);
    C4_Store(at + quarter, q1);
    C4_Store(at + 2 * quarter, q2);
    C4_Store(at + 3 * quarter, q3);
}

// The next value of a counter with its bits in the opposite order, which runs through 0 to count -
// 1; count itself after the last.
inline uint32_t Next_Reversed(uint32_t r, uint32_t count)
{
    uint32_t t = count - 1 - r;
    if (t == 0) {
        return count;
    }
    return t ^ ((0x80000000u >> __builtin_clz(t)) - 1);
}

// ---- First stages ----

// Calls visit(i, i reversed) for all i below count. With Runs the order is made for the caches: two
// neighbours, which share a cache line of the source, then sixteen places whose reverses are
// neighbours, so that the result is written in longer runs. In plain order every store of a large
// transform meets another cache line and another page.
template <bool Runs, class Visit> inline void For_Each_Reversed(uint32_t count, Visit visit)
{
    constexpr uint32_t Near = Runs ? 2 : 1;
    constexpr uint32_t Far = Runs ? 16 : 1;
    const uint32_t middles = count / (Near * Far);
    uint32_t reversed = 0;
    for (uint32_t middle = 0; middle < middles; middle++) {
        uint32_t step = 0;
        for (uint32_t k = 0; k < Far; k++) {
            for (uint32_t next = 0; next < Near; next++) {
                visit((step * middles + middle) * Near + next,
                      reversed * Far + k + next * (count / 2));
            }
            step = Next_Reversed(step, Far);
        }
        reversed = Next_Reversed(reversed, middles);
    }
}

// The first two stages of odd log2 n, from 32 on, out of place: a radix-2 stage and the radix-4
// stage of blocks of eight, four blocks at a time.
template <bool Back, bool Runs>
inline void First_Radix_2(uint32_t n, const float* in, float* out, const float* table)
{
    const uint32_t blocks = n / 8;
    const Factors<Back> even = Spread_Factors<Back>(table, 0);
    const Factors<Back> odd = Spread_Factors<Back>(table, 1);
    For_Each_Reversed<Runs>(
        blocks / 4, [&](uint32_t quad, uint32_t block) __attribute__((always_inline)) {
            const uint32_t first = 4 * quad;
            C4 sums[4];
            C4 differences[4];
            for (size_t m = 0; m < 4; m++) {
                const size_t row = (m & 1) * 2 + m / 2;
                const size_t i = row * blocks + first;
                const C4 a = C4_Load(in + 2 * i);
                const C4 b = C4_Load(in + 2 * i + n);
                sums[m] = C4_Add(a, b);
                differences[m] = C4_Sub(a, b);
            }
            Turn_Butterfly(sums[0], sums[1], sums[2], sums[3], even);
            Turn_Butterfly(differences[0], differences[1], differences[2], differences[3], odd);
            C4_Transpose(sums[0], differences[0], sums[1], differences[1]);
            C4_Transpose(sums[2], differences[2], sums[3], differences[3]);
            const C4 low[4] = {sums[0], differences[0], sums[1], differences[1]};
            const C4 high[4] = {sums[2], differences[2], sums[3], differences[3]};
            for (size_t k = 0; k < 4; k++) {
                float* to = out + 16 * size_t{block + ((k & 1) * 2 + k / 2) * (blocks / 4)};
                C4_Store(to, low[k]);
                C4_Store(to + 8, high[k]);
            }
        });
}

// A square of four rows n/4 points apart and four points in each, through the first stage and with
// rows and columns exchanged: each register then holds four neighbours in the reversed order.
template <bool Back, bool Radix4> struct Square {
    C4 x[4]; // rows, later columns

    void load(const float* at, size_t row)
    {
        for (size_t k = 0; k < 4; k++) {
            x[k] = C4_Load(at + k * row);
        }
    }
    void transform()
    {
        if constexpr (Radix4) {
            Butterfly<Back>(x[0], x[2], x[1], x[3]);
            C4_Transpose(x[0], x[2], x[1], x[3]);
        } else {
            C4 sum = C4_Add(x[0], x[2]);
            C4 difference = C4_Sub(x[0], x[2]);
            C4 far_sum = C4_Add(x[1], x[3]);
            C4 far_difference = C4_Sub(x[1], x[3]);
            C4_Transpose(sum, difference, far_sum, far_difference);
            x[0] = sum;
            x[2] = difference;
            x[1] = far_sum;
            x[3] = far_difference;
        }
    }
    void store(float* at, size_t row) const
    {
        for (size_t k = 0; k < 4; k++) {
            C4_Store(at + k * row, x[k]);
        }
    }
};

// The first stage in place, n from 16 on. The square at the points i and the one at the points with
// i reversed change places, so that reordering costs no pass of its own.
// row is in floats.
template <bool Back, bool Radix4> inline void Turn_Square(float* at, size_t row)
{
    Square<Back, Radix4> a;
    a.load(at, row);
    a.transform();
    a.store(at, row);
}

template <bool Back, bool Radix4> inline void Exchange_Squares(float* at, float* other, size_t row)
{
    Square<Back, Radix4> a;
    Square<Back, Radix4> b;
    a.load(at, row);
    b.load(other, row);
    a.transform();
    b.transform();
    a.store(other, row);
    b.store(at, row);
}

// All squares with the middle bits of one place, against those with these bits reversed: Side times
// Side squares, which fill whole cache lines on both sides.
template <bool Back, bool Radix4, uint32_t Side> inline void Exchange_All(uint32_t n, float* data)
{
    const size_t row = n / 2;
    const uint32_t squares = n / 16;
    const uint32_t middles = squares / (Side * Side);
    uint32_t reversed = 0;
    for (uint32_t middle = 0; middle < middles; middle++) {
        if (middle <= reversed) {
            uint32_t k_reversed = 0;
            for (uint32_t k = 0; k < Side; k++) {
                uint32_t m_reversed = 0;
                for (uint32_t m = 0; m < Side; m++) {
                    const uint32_t i = (m * middles + middle) * Side + k;
                    const uint32_t other = (k_reversed * middles + reversed) * Side + m_reversed;
                    if (middle < reversed || i < other) {
                        Exchange_Squares<Back, Radix4>(data + 8 * size_t{i},
                                                       data + 8 * size_t{other}, row);
                    } else if (i == other) {
                        Turn_Square<Back, Radix4>(data + 8 * size_t{i}, row);
                    }
                    m_reversed = Next_Reversed(m_reversed, Side);
                }
                k_reversed = Next_Reversed(k_reversed, Side);
            }
        }
        reversed = Next_Reversed(reversed, middles);
    }
}

template <bool Back, bool Radix4> inline void First_In_Place(uint32_t n, float* data)
{
    if (n > Squares_Above) {
        Exchange_All<Back, Radix4, 4>(n, data);
    } else {
        Exchange_All<Back, Radix4, 1>(n, data);
    }
}

// The first radix-4 stage alone, out of place.
template <bool Back, bool Runs> inline void First_Radix_4(uint32_t n, const float* in, float* out)
{
    const size_t row = n / 2;
    For_Each_Reversed<Runs>(
        n / 16, [&](uint32_t i, uint32_t reversed) __attribute__((always_inline)) {
            Square<Back, true> a;
            a.load(in + 8 * size_t{i}, row);
            a.transform();
            a.store(out + 8 * size_t{reversed}, row);
        });
}

// The radix-4 stage of blocks of eight by itself, two blocks at a time, n from 16 on: a quarter is
// half a register.
template <bool Back> inline void Stage_Of_Eight(uint32_t n, float* data, const float* table)
{
    Factors<Back> factors;
    factors.fourth = W4_Of<Back>(C4_Load_Twice(table));
    factors.third = W4_Of<Back>(C4_Load_Twice(table + 4));
    factors.second = W4_Of<Back>(C4_Load_Twice(table + 8));
    for (float* at = data; at < data + 2 * size_t{n}; at += 32) {
        C4 q0 = C4_Load_Halves(at, at + 16);
        C4 q1 = C4_Load_Halves(at + 4, at + 20);
        C4 q2 = C4_Load_Halves(at + 8, at + 24);
        C4 q3 = C4_Load_Halves(at + 12, at + 28);
        Turn_Butterfly(q0, q1, q2, q3, factors);
        C4 a, b, c, d;
        C4_Halves(q0, q1, &a, &c);
        C4_Halves(q2, q3, &b, &d);
        C4_Store(at, a);
        C4_Store(at + 8, b);
        C4_Store(at + 16, c);
        C4_Store(at + 24, d);
    }
}

// ---- Later stages ----

// One stage with quarters of at least four points; every block reads the same table. The factors
// are made ready once for the blocks that lie in the cache together. A function of its own, so that
// its loop has all registers.
template <bool Back>
__attribute__((noinline)) void Stage(float* data, size_t points, size_t quarter, const float* table)
{
    const size_t block = 8 * quarter; // floats
    float* end = data + 2 * points;
    for (size_t j = 0; j < quarter; j += 4) {
        const Factors<Back> factors = Load_Factors<Back>(table + 6 * j);
        for (float* at = data + 2 * j; at < end; at += block) {
            Stage_Step(at, 2 * quarter, factors);
        }
    }
}

// All stages from quarter (4 or 8 points) on. A part that fits in the first-level cache goes
// through all of its stages before the next one is touched; blocks do not meet before a later
// stage, so the order does not show in the result.
template <bool Back>
inline void Later_Stages(float* data, size_t n, size_t quarter, const float* table)
{
    constexpr size_t Most = 2048; // points of a part
    size_t part = 4 * quarter;
    while (4 * part <= n && 4 * part <= Most) {
        part *= 4;
    }
    const float* next = table;
    for (size_t at = 0; at < n; at += part) {
        next = table;
        for (size_t q = quarter; q < part; q *= 4) {
            Stage<Back>(data + 2 * at, part, q, next);
            next += 6 * q;
        }
    }
    for (size_t q = part; q < n; q *= 4) {
        for (size_t at = 0; at < n; at += 4 * q) {
            Stage<Back>(data + 2 * at, 4 * q, q, next);
        }
        next += 6 * q;
    }
}

// The complex transform, n from 32 on.

template <bool Back>
inline void Transform(const FftComplexPlan* plan, uint32_t n, const float* in, float* out)
{
    const float* table;
    uint32_t quarter;
    if (Is_Radix_4_First(n)) {
        table = Table_Floats(plan->evenTables);
        quarter = 4;
        if (in == out) {
            First_In_Place<Back, true>(n, out);
        } else {
            (n > Runs_Above ? First_Radix_4<Back, true> : First_Radix_4<Back, false>)(n, in, out);
        }
    } else {
        table = Table_Floats(plan->oddTables);
        quarter = 8;
        if (in == out) {
            First_In_Place<Back, false>(n, out);
            Stage_Of_Eight<Back>(n, out, table);
        } else {
            (n > Runs_Above ? First_Radix_2<Back, true> : First_Radix_2<Back, false>)(n, in, out,
                                                                                      table);
        }
        table += 12;
    }
    Later_Stages<Back>(out, n, quarter, table);
}

} // namespace OMBRINE_SIMD_FORM

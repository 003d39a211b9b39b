#include "bench/conversion_limit.h"

#include "vector/simd.h"

#include <cmath>

// ---- Bytes to floats ----

struct ByteOrder {
    uint8_t index[16];
};

// Every sample to the top of its lane.
template <unsigned Width> static constexpr ByteOrder Top_Order(bool little)
{
    ByteOrder order = {};
    for (unsigned k = 0; k < 16; k++) {
        const unsigned below_top = 3 - k % 4;
        const unsigned from = little ? Width - 1 - below_top : below_top;
        order.index[k] = below_top >= Width ? B16_Zero : static_cast<uint8_t>(k / 4 * Width + from);
    }
    return order;
}

template <unsigned Width, bool Little> struct IntegerSource {
    static constexpr uint64_t Bytes = Width;

    static F4 Load(const uint8_t* bytes)
    {
        static constexpr ByteOrder Order = Top_Order<Width>(Little);
        const B16 top = B16_Shuffle(B16_Load_Part<16>(bytes), B16_Load_Part<16>(Order.index));
        return F4_From_I4(I4_Shift_Right<32 - 8 * Width>(I4_From_Bytes(top)));
    }
};

struct FloatSource {
    static constexpr uint64_t Bytes = 4;

    static F4 Load(const uint8_t* bytes)
    {
        return F4_From_Bytes(B16_Load_Part<16>(bytes));
    }
};

template <class Source> static void Spread(const uint8_t* bytes, uint64_t frames, uint64_t channels,
                                           float* const* buffers, float factor)
{
    const F4 factors = F4_Set(factor);
    const uint64_t frame_bytes = channels * Source::Bytes;
    if (channels == 1) {
        for (uint64_t f = 0; f < frames; f += 4) {
            F4_Store(buffers[0] + f, F4_Mul(Source::Load(bytes + f * Source::Bytes), factors));
        }
        return;
    }
    if (channels == 2) {
        for (uint64_t f = 0; f < frames; f += 4) {
            const uint8_t* from = bytes + f * frame_bytes;
            F4 left;
            F4 right;
            F4_Unzip(F4_Mul(Source::Load(from), factors),
                     F4_Mul(Source::Load(from + 4 * Source::Bytes), factors), &left, &right);
            F4_Store(buffers[0] + f, left);
            F4_Store(buffers[1] + f, right);
        }
        return;
    }
    for (uint64_t f = 0; f < frames; f += 4) {
        for (uint64_t c = 0; c < channels; c += 4) {
            const uint8_t* from = bytes + f * frame_bytes + c * Source::Bytes;
            F4 rows[4];
            for (uint64_t k = 0; k < 4; k++) {
                rows[k] = F4_Mul(Source::Load(from + k * frame_bytes), factors);
            }
            F4_Transpose(rows[0], rows[1], rows[2], rows[3]);
            for (uint64_t k = 0; k < 4; k++) {
                F4_Store(buffers[c + k] + f, rows[k]);
            }
        }
    }
}

// ---- Floats to bytes, lowest first ----

template <unsigned Width> static constexpr ByteOrder Packed_Order()
{
    ByteOrder order = {};
    for (unsigned k = 0; k < 16; k++) {
        order.index[k] =
            k / Width >= 4 ? B16_Zero : static_cast<uint8_t>(k / Width * 4 + k % Width);
    }
    return order;
}

template <unsigned Width> struct IntegerTarget {
    static constexpr uint64_t Bytes = Width;
    static constexpr double Maximum = static_cast<double>((int64_t{1} << (8 * Width - 1)) - 1);
    static constexpr double Minimum = -Maximum - 1.0;

    static I4 Round_Limited(F4 values, double gain)
    {
        float lanes[4];
        int32_t codes[4];
        F4_Store(lanes, values);
        for (int k = 0; k < 4; k++) {
            const double x = std::round(lanes[k] * gain);
            codes[k] = static_cast<int32_t>(x > Maximum ? Maximum : x < Minimum ? Minimum : x);
        }
        I4 out;
        memcpy(&out, codes, sizeof codes);
        return out;
    }

    static void Store(uint8_t* bytes, F4 values, double gain)
    {
        static constexpr ByteOrder Order = Packed_Order<Width>();
        const D4 x = D4_Mul(D4_From_F4(values), D4_Set(gain));
        const bool fits = D4_All_Within(x, D4_Set(Minimum), D4_Set(Maximum));
        const I4 codes = fits ? I4_Round_Away(x) : Round_Limited(values, gain);
        B16_Store_Part<4 * Width>(bytes,
                                  B16_Shuffle(B16_From_I4(codes), B16_Load_Part<16>(Order.index)));
    }
};

struct FloatTarget {
    static constexpr uint64_t Bytes = 4;

    static void Store(uint8_t* bytes, F4 values, double)
    {
        float lanes[4];
        F4_Store(lanes, values);
        memcpy(bytes, lanes, sizeof lanes);
    }
};

template <class Target> static void Gather(const float* const* buffers, uint64_t frames,
                                           uint64_t channels, uint8_t* bytes, double gain)
{
    const uint64_t frame_bytes = channels * Target::Bytes;
    if (channels == 1) {
        for (uint64_t f = 0; f < frames; f += 4) {
            Target::Store(bytes + f * Target::Bytes, F4_Load(buffers[0] + f), gain);
        }
        return;
    }
    if (channels == 2) {
        for (uint64_t f = 0; f < frames; f += 4) {
            F4 first;
            F4 second;
            F4_Zip(F4_Load(buffers[0] + f), F4_Load(buffers[1] + f), &first, &second);
            Target::Store(bytes + f * frame_bytes, first, gain);
            Target::Store(bytes + f * frame_bytes + 4 * Target::Bytes, second, gain);
        }
        return;
    }
    for (uint64_t f = 0; f < frames; f += 4) {
        for (uint64_t c = 0; c < channels; c += 4) {
            F4 rows[4];
            for (uint64_t k = 0; k < 4; k++) {
                rows[k] = F4_Load(buffers[c + k] + f);
            }
            F4_Transpose(rows[0], rows[1], rows[2], rows[3]);
            for (uint64_t k = 0; k < 4; k++) {
                Target::Store(bytes + (f + k) * frame_bytes + c * Target::Bytes, rows[k], gain);
            }
        }
    }
}

LimitSpread* Limit_Find_Spread(DataFormat format, bool little)
{
    switch (format) {
    case INT16:
        return little ? Spread<IntegerSource<2, true>> : Spread<IntegerSource<2, false>>;
    case INT24:
        return little ? Spread<IntegerSource<3, true>> : Spread<IntegerSource<3, false>>;
    case INT32:
        return little ? Spread<IntegerSource<4, true>> : Spread<IntegerSource<4, false>>;
    case FLOAT32:
        return little ? Spread<FloatSource> : nullptr;
    default:
        return nullptr;
    }
}

LimitGather* Limit_Find_Gather(DataFormat format)
{
    switch (format) {
    case INT16:
        return Gather<IntegerTarget<2>>;
    case INT24:
        return Gather<IntegerTarget<3>>;
    case INT32:
        return Gather<IntegerTarget<4>>;
    case FLOAT32:
        return Gather<FloatTarget>;
    default:
        return nullptr;
    }
}

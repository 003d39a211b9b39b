// Words to floats and back, with the channels taken apart and put together on the way. Both go
// frame block by frame block, four frames at a time, so that memory is walked once and in order: a
// stride of all channels would touch a new cache line for every value. The plain loop for one value
// is the definition; groups that need its wide arithmetic go through it.
#include "audiofile/matrix_convert.h"

#include "vector/simd.h"

// ---- Words to floats ----

static float Float_Of(int64_t word, float factor)
{
    return static_cast<float>(word) * factor;
}

// Four neighbouring words. Where they all fit in 32 bits converting the low halves rounds the same;
// Narrow says that they do, as those of every integer format.
template <bool Narrow> static F4 Four_Floats(const int64_t* words, F4 factor)
{
    const I4 low = I4_Load_Low(words);
    if (!Narrow && I4_Any(I4_Xor(I4_Shift_Right<31>(low), I4_Load_High(words)))) {
        float wide[4];
        for (int k = 0; k < 4; k++) {
            wide[k] = static_cast<float>(words[k]);
        }
        return F4_Mul(F4_Load(wide), factor);
    }
    return F4_Mul(F4_From_I4(low), factor);
}

template <bool Narrow>
static uint64_t Spread_1(const int64_t* words, uint64_t frames, float* out, F4 factor)
{
    uint64_t f = 0;
    for (; f + 4 <= frames; f += 4) {
        F4_Store(out + f, Four_Floats<Narrow>(words + f, factor));
    }
    return f;
}

template <bool Narrow> static uint64_t Spread_2(const int64_t* words, uint64_t frames, float* left,
                                                float* right, F4 factor)
{
    uint64_t f = 0;
    for (; f + 4 <= frames; f += 4) {
        F4 even;
        F4 odd;
        F4_Unzip(Four_Floats<Narrow>(words + 2 * f, factor),
                 Four_Floats<Narrow>(words + 2 * f + 4, factor), &even, &odd);
        F4_Store(left + f, even);
        F4_Store(right + f, odd);
    }
    return f;
}

// Four or more channels in squares of four frames by four channels. The last square of a row may
// overlap the one before it and stores the same values again.
template <bool Narrow> static uint64_t Spread_Squares(const int64_t* words, uint64_t frames,
                                                      uint64_t channels, float* const* buffers,
                                                      uint64_t first, F4 factor)
{
    uint64_t f = 0;
    for (; f + 4 <= frames; f += 4) {
        const int64_t* frame = words + f * channels;
        for (uint64_t next = 0; next < channels; next += 4) {
            const uint64_t c = next + 4 <= channels ? next : channels - 4;
            F4 a = Four_Floats<Narrow>(frame + c, factor);
            F4 b = Four_Floats<Narrow>(frame + channels + c, factor);
            F4 d = Four_Floats<Narrow>(frame + 2 * channels + c, factor);
            F4 e = Four_Floats<Narrow>(frame + 3 * channels + c, factor);
            F4_Transpose(a, b, d, e);
            F4_Store(buffers[c] + first + f, a);
            F4_Store(buffers[c + 1] + first + f, b);
            F4_Store(buffers[c + 2] + first + f, d);
            F4_Store(buffers[c + 3] + first + f, e);
        }
    }
    return f;
}

template <bool Narrow> static void Spread(const int64_t* words, uint64_t frames, uint64_t channels,
                                          float* const* channel_buffers, uint64_t first,
                                          float factor)
{
    const F4 factors = F4_Set(factor);
    uint64_t f = 0;
    if (channels == 1) {
        f = Spread_1<Narrow>(words, frames, channel_buffers[0] + first, factors);
    } else if (channels == 2) {
        f = Spread_2<Narrow>(words, frames, channel_buffers[0] + first, channel_buffers[1] + first,
                             factors);
    } else if (channels >= 4) {
        f = Spread_Squares<Narrow>(words, frames, channels, channel_buffers, first, factors);
    }
    for (; f < frames; f++) {
        for (uint64_t c = 0; c < channels; c++) {
            channel_buffers[c][first + f] = Float_Of(words[f * channels + c], factor);
        }
    }
}

void Matrix_Spread_Words(const int64_t* words, bool narrow, uint64_t frames, uint64_t channels,
                         float* const* channel_buffers, uint64_t first, float factor)
{
    if (narrow) {
        Spread<true>(words, frames, channels, channel_buffers, first, factor);
    } else {
        Spread<false>(words, frames, channels, channel_buffers, first, factor);
    }
}

// ---- Floats to words ----

struct Rounding {
    double gain;
    double above; // beyond these two the value is limited
    double below;
    int64_t maximum;
    int64_t minimum;
    double fast_high; // within these two the rounded value fits in 32 bits and is not limited
    double fast_low;
};

static Rounding Make_Rounding(const WordRange& range, double gain)
{
    constexpr double Fast_Limit = 2147483646.0;
    Rounding r = {};
    r.gain = gain;
    r.above = static_cast<double>(range.maximum) + 0.5;
    r.below = static_cast<double>(range.minimum) - 0.5;
    r.maximum = range.maximum;
    r.minimum = range.minimum;
    r.fast_high = r.above < Fast_Limit ? r.above : Fast_Limit;
    r.fast_low = r.below > -Fast_Limit ? r.below : -Fast_Limit;
    return r;
}

static int64_t Word_Of(float value, const Rounding& r, uint64_t* clipped)
{
    const double x = static_cast<double>(value) * r.gain;
    if (x < r.below) {
        ++*clipped;
        return r.minimum;
    }
    if (x > r.above) {
        ++*clipped;
        return r.maximum;
    }
    if (x != x) {
        return 0;
    }
    return static_cast<int64_t>(x >= 0.0 ? x + 0.5 : x - 0.5);
}

// True if the four values need no limiting and no wide word; then *words holds them.
static bool Four_Words(F4 values, const Rounding& r, I4* words)
{
    const D4 x = D4_Mul(D4_From_F4(values), D4_Set(r.gain));
    if (!D4_All_Within(x, D4_Set(r.fast_low), D4_Set(r.fast_high))) {
        return false;
    }
    *words = I4_Round_Away(x);
    return true;
}

// Four frames of up to four channels, to words of channels words a frame, one value at a time.
static uint64_t Gather_Plain(const float* const* buffers, uint64_t first, uint64_t frames,
                             uint64_t channel, uint64_t channel_count, uint64_t channels,
                             int64_t* words, const Rounding& r)
{
    uint64_t clipped = 0;
    for (uint64_t f = 0; f < frames; f++) {
        for (uint64_t c = channel; c < channel + channel_count; c++) {
            words[f * channels + c] = Word_Of(buffers[c][first + f], r, &clipped);
        }
    }
    return clipped;
}

static bool Gather_1(const float* const* buffers, uint64_t place, int64_t* words, const Rounding& r)
{
    I4 four;
    if (!Four_Words(F4_Load(buffers[0] + place), r, &four)) {
        return false;
    }
    I4_Store_Words(words, four);
    return true;
}

static bool Gather_2(const float* const* buffers, uint64_t place, int64_t* words, const Rounding& r)
{
    F4 first;
    F4 second;
    F4_Zip(F4_Load(buffers[0] + place), F4_Load(buffers[1] + place), &first, &second);
    I4 low;
    I4 high;
    if (!Four_Words(first, r, &low) || !Four_Words(second, r, &high)) {
        return false;
    }
    I4_Store_Words(words, low);
    I4_Store_Words(words + 4, high);
    return true;
}

static bool Gather_Square(const float* const* buffers, uint64_t place, uint64_t channels,
                          int64_t* words, const Rounding& r)
{
    F4 rows[4];
    for (int k = 0; k < 4; k++) {
        rows[k] = F4_Load(buffers[k] + place);
    }
    F4_Transpose(rows[0], rows[1], rows[2], rows[3]);
    I4 four[4];
    for (int k = 0; k < 4; k++) {
        if (!Four_Words(rows[k], r, &four[k])) {
            return false;
        }
    }
    for (uint64_t k = 0; k < 4; k++) {
        I4_Store_Words(words + k * channels, four[k]);
    }
    return true;
}

uint64_t Matrix_Gather_Words(const float* const* channel_buffers, uint64_t first, uint64_t frames,
                             uint64_t channels, int64_t* words, const WordRange& range, double gain)
{
    const Rounding r = Make_Rounding(range, gain);
    uint64_t clipped = 0;
    uint64_t f = 0;
    for (; f + 4 <= frames; f += 4) {
        int64_t* block = words + f * channels;
        const uint64_t place = first + f;
        uint64_t c = 0;
        while (c < channels) {
            uint64_t taken = channels - c < 4 ? channels - c : 4;
            bool fast = false;
            if (channels == 1) {
                fast = Gather_1(channel_buffers, place, block, r);
            } else if (channels == 2) {
                fast = Gather_2(channel_buffers, place, block, r);
            } else if (taken == 4) {
                fast = Gather_Square(channel_buffers + c, place, channels, block + c, r);
            }
            if (!fast) {
                clipped += Gather_Plain(channel_buffers, place, 4, c, taken, channels, block, r);
            }
            c += taken;
        }
    }
    return clipped + Gather_Plain(channel_buffers, first + f, frames - f, 0, channels, channels,
                                  words + f * channels, r);
}

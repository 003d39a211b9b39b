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

// Four neighbouring words. Narrow says that they fit in 32 bits, as those of every integer format;
// then converting the low halves rounds the same.
template <bool Narrow> static F4 Four_Floats(const int64_t* words, F4 factor)
{
    return F4_Mul(Narrow ? F4_From_I4(I4_Load_Low(words)) : F4_From_Words(words), factor);
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
    if (frames == 0) {
        return;
    }
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

// The same for four lanes, kept in registers over a loop.
struct RoundingLanes {
    D4 gain;
    D4 fast_high;
    D4 fast_low;
};

static D4 Scaled(F4 values, const RoundingLanes& lanes)
{
    return D4_Mul(D4_From_F4(values), lanes.gain);
}

static bool Is_Fast(D4 x, const RoundingLanes& lanes)
{
    return D4_All_Within(x, lanes.fast_low, lanes.fast_high);
}

// frames frames of channel_count channels from channel on, one value at a time.
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

// The whole blocks of four frames, one loop for each shape, so that each keeps its constants in
// registers.
static uint64_t Gather_1(const float* const* buffers, uint64_t first, uint64_t frames,
                         int64_t* words, const Rounding& r, RoundingLanes lanes)
{
    uint64_t clipped = 0;
    const float* in = buffers[0] + first;
    for (uint64_t f = 0; f + 4 <= frames; f += 4) {
        const D4 x = Scaled(F4_Load(in + f), lanes);
        if (Is_Fast(x, lanes)) {
            I4_Store_Words(words + f, I4_Round_Away(x));
        } else {
            clipped += Gather_Plain(buffers, first + f, 4, 0, 1, 1, words + f, r);
        }
    }
    return clipped;
}

static uint64_t Gather_2(const float* const* buffers, uint64_t first, uint64_t frames,
                         int64_t* words, const Rounding& r, RoundingLanes lanes)
{
    uint64_t clipped = 0;
    const float* left = buffers[0] + first;
    const float* right = buffers[1] + first;
    for (uint64_t f = 0; f + 4 <= frames; f += 4) {
        F4 early;
        F4 late;
        F4_Zip(F4_Load(left + f), F4_Load(right + f), &early, &late);
        const D4 x = Scaled(early, lanes);
        const D4 y = Scaled(late, lanes);
        if (Is_Fast(x, lanes) && Is_Fast(y, lanes)) {
            I4_Store_Words(words + 2 * f, I4_Round_Away(x));
            I4_Store_Words(words + 2 * f + 4, I4_Round_Away(y));
        } else {
            clipped += Gather_Plain(buffers, first + f, 4, 0, 2, 2, words + 2 * f, r);
        }
    }
    return clipped;
}

// Four frames of four channels; false if a value needs the plain road.
static bool Gather_Square(const float* const* buffers, uint64_t place, uint64_t channels,
                          int64_t* words, RoundingLanes lanes)
{
    F4 rows[4];
    for (int k = 0; k < 4; k++) {
        rows[k] = F4_Load(buffers[k] + place);
    }
    F4_Transpose(rows[0], rows[1], rows[2], rows[3]);
    D4 x[4];
    bool fast = true;
    for (int k = 0; k < 4; k++) {
        x[k] = Scaled(rows[k], lanes);
        fast = fast && Is_Fast(x[k], lanes);
    }
    if (!fast) {
        return false;
    }
    for (uint64_t k = 0; k < 4; k++) {
        I4_Store_Words(words + k * channels, I4_Round_Away(x[k]));
    }
    return true;
}

static uint64_t Gather_Squares(const float* const* buffers, uint64_t first, uint64_t frames,
                               uint64_t channels, int64_t* words, const Rounding& r,
                               RoundingLanes lanes)
{
    uint64_t clipped = 0;
    for (uint64_t f = 0; f + 4 <= frames; f += 4) {
        int64_t* block = words + f * channels;
        uint64_t c = 0;
        for (; c + 4 <= channels; c += 4) {
            if (!Gather_Square(buffers + c, first + f, channels, block + c, lanes)) {
                clipped += Gather_Plain(buffers, first + f, 4, c, 4, channels, block, r);
            }
        }
        clipped += Gather_Plain(buffers, first + f, 4, c, channels - c, channels, block, r);
    }
    return clipped;
}

uint64_t Matrix_Gather_Words(const float* const* channel_buffers, uint64_t first, uint64_t frames,
                             uint64_t channels, int64_t* words, const WordRange& range, double gain)
{
    if (frames == 0) {
        return 0;
    }
    const Rounding r = Make_Rounding(range, gain);
    const RoundingLanes lanes = {D4_Set(r.gain), D4_Set(r.fast_high), D4_Set(r.fast_low)};
    uint64_t clipped = 0;
    if (channels == 1) {
        clipped = Gather_1(channel_buffers, first, frames, words, r, lanes);
    } else if (channels == 2) {
        clipped = Gather_2(channel_buffers, first, frames, words, r, lanes);
    } else {
        clipped = Gather_Squares(channel_buffers, first, frames, channels, words, r, lanes);
    }
    const uint64_t done = frames / 4 * 4;
    return clipped + Gather_Plain(channel_buffers, first + done, frames - done, 0, channels,
                                  channels, words + done * channels, r);
}

// The two conversions of the float matrices, on words in memory. Buffers and words may lie on any
// boundary and must not overlap. With 0 frames nothing is looked at.
#pragma once

#include <cstdint>

// What a sample word of a format may hold. full_scale input times numerator / scale is the largest.
struct WordRange {
    double numerator;
    int64_t maximum;
    int64_t minimum;
};

// Matrix_Spread_Words: frames frames of interleaved words to element first and on of each channel's
// buffer, as floats: the word to nearest, then times factor. narrow says that every word fits in 32
// bits.
void Matrix_Spread_Words(const int64_t* words, bool narrow, uint64_t frames, uint64_t channels,
                         float* const* channel_buffers, uint64_t first, float factor);

// Matrix_Gather_Words: element first and on of each channel's buffer to frames frames of
// interleaved words: the float times gain in double precision, to nearest, halves away from zero;
// beyond the range by more than one half the limit. NaN gives 0. Returns how many were limited.
uint64_t Matrix_Gather_Words(const float* const* channel_buffers, uint64_t first, uint64_t frames,
                             uint64_t channels, int64_t* words, const WordRange& range,
                             double gain);

// The least that a transfer of a block can cost beside the stream call: one vectorised loop
// straight between the bytes of the file and the channel buffers, with no sample words in between.
// It is what the engine's times are held against, not a second engine: 1, 2 or a multiple of 4
// channels, a multiple of 4 frames.
#pragma once

#include "audiofile/audiofile.h"

// Bytes that may be read, but not used, behind the last sample.
constexpr uint64_t Limit_Slack_Bytes = 16;

// Interleaved samples to channel buffers: the code value, or the float, times factor.
using LimitSpread = void(const uint8_t* bytes, uint64_t frames, uint64_t channels,
                         float* const* buffers, float factor);

// Channel buffers to interleaved samples: the float times gain in double precision, to nearest,
// halves away from zero, limited. FLOAT32 is the float itself.
using LimitGather = void(const float* const* buffers, uint64_t frames, uint64_t channels,
                         uint8_t* bytes, double gain);

// Null for a format that the benchmark has no use for.
LimitSpread* Limit_Find_Spread(DataFormat format, bool little);
LimitGather* Limit_Find_Gather(DataFormat format);

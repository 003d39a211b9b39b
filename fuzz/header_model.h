// What an open makes of a file: a second reading of the container headers, from the bytes in
// memory, with no stream. The fuzz target holds the engine's header readers against it.
#pragma once

#include "audiofile/audiofile.h"

#include <cstdint>
#include <vector>

// What an open tells and leaves in the record.
struct Properties {
    uint64_t samples, channels, rate_bits; // the rate as the bits of the double
    uint32_t format, file_type, little_endian;
    uint64_t bytes_per_sample, data_start, data_bytes;

    bool operator==(const Properties&) const = default;
};

struct HeaderModel {
    const char* stop; // the report that refuses the file, null if it opens
    uint64_t warnings;
    Properties properties;
};

// unsupported_stop is the report for an unknown container, which differs between the opens.
HeaderModel Model_Open(const std::vector<uint8_t>& file, const char* unsupported_stop);

// The audio engine's lines of the digest: both codec families, both matrix transfers, the rate
// field.
#include "tests/digest.h"

#include "audiofile/codecs.h"

#include <cmath>
#include <cstdio>
#include <vector>

static ObjectHeader Make_Object()
{
    ObjectHeader object = OBJ_Template;
    object.name = "DIGEST";
    return object;
}

static AudiofileHandle Open_Temporary(DataFormat format, uint32_t little_endian, uint64_t channels,
                                      OpenMode mode)
{
    static const uint64_t Sample_Bytes[] = {1, 1, 2, 3, 4, 4, 8, 1, 1};
    AudiofileHandle handle = {};
    handle.stream = tmpfile();
    handle.mode = mode;
    handle.format = format;
    handle.little_endian = little_endian;
    handle.bytes_per_sample = Sample_Bytes[format];
    handle.channels = channels;
    return handle;
}

// Any bytes as samples of a format, read as words or as floats.
static AudiofileHandle Open_Noise(DataFormat format, uint32_t little_endian, uint64_t channels,
                                  uint64_t bytes)
{
    AudiofileHandle handle = Open_Temporary(format, little_endian, channels, OM_READ);
    Random random = {format * 2 + little_endian};
    for (uint64_t i = 0; i < bytes; i++) {
        fputc(static_cast<int>(Random_Word(&random) & 0xFF), handle.stream);
    }
    rewind(handle.stream);
    handle.samples = (bytes + handle.bytes_per_sample - 1) / handle.bytes_per_sample;
    return handle;
}

struct CodecCase {
    DataFormat format;
    uint32_t little_endian;
};
static const CodecCase Codec_Cases[] = {{INT8, 0},  {INT8, 1},  {INT16, 0}, {INT16, 1},  {INT24, 0},
                                        {INT24, 1}, {INT32, 0}, {INT32, 1}, {FLOAT32, 1}};
static const uint64_t Channel_Counts[] = {1, 2, 3, 4, 5, 7, 8, 19};

static uint64_t Decode_Words()
{
    Digest digest;
    for (const CodecCase& c : Codec_Cases) {
        AudiofileHandle handle = Open_Noise(c.format, c.little_endian, 1, 40001);
        ObjectHeader object = Make_Object();
        std::vector<int64_t> words(handle.samples);
        uint64_t got = 0;
        Audiofile_Read(&object, &handle, words.data(), words.size(), &got);
        Digest_Bytes(&digest, words.data(), got * sizeof words[0]);
        fclose(handle.stream);
    }
    return digest.hash;
}

static uint64_t Encode_Words()
{
    Digest digest;
    for (const CodecCase& c : Codec_Cases) {
        AudiofileHandle handle = Open_Temporary(c.format, c.little_endian, 1, OM_WRITE);
        ObjectHeader object = Make_Object();
        Random random = {c.format};
        std::vector<int64_t> words(10007);
        for (int64_t& word : words) {
            // All magnitudes, most of them in range, in stretches with none to limit.
            word = static_cast<int64_t>(Random_Word(&random)) >> (Random_Word(&random) % 64);
        }
        uint64_t put = 0;
        Audiofile_Write_LONG(&object, &handle, words.data(), words.size(), &put);
        Digest_Bytes(&digest, words.data(), words.size() * sizeof words[0]);
        Digest_Bytes(&digest, &handle.clipped, sizeof handle.clipped);
        rewind(handle.stream);
        for (int byte = fgetc(handle.stream); byte != EOF; byte = fgetc(handle.stream)) {
            Digest_Bytes(&digest, &byte, 1);
        }
        fclose(handle.stream);
    }
    return digest.hash;
}

template <class Float> struct Buffers {
    std::vector<std::vector<float>> storage;
    std::vector<Float*> rows;

    Buffers(uint64_t channels, uint64_t frames)
        : storage(channels, std::vector<float>(frames)), rows(channels)
    {
        for (uint64_t c = 0; c < channels; c++) {
            rows[c] = storage[c].data();
        }
    }
};

static uint64_t Read_Matrix()
{
    Digest digest;
    for (const CodecCase& c : Codec_Cases) {
        for (const uint64_t channels : Channel_Counts) {
            AudiofileHandle handle = Open_Noise(c.format, c.little_endian, channels, 60007);
            ObjectHeader object = Make_Object();
            for (const uint64_t frames : {1u, 63u, 1000u, 3001u}) {
                Buffers<float> buffers(channels, frames);
                uint64_t got = 0;
                Audiofile_RdMatrix_FLOAT(&object, &handle, buffers.rows.data(), frames, &got, 0.7f);
                Digest_Bytes(&digest, &got, sizeof got);
                for (const std::vector<float>& row : buffers.storage) {
                    Digest_Floats(&digest, row.data(), row.size());
                }
            }
            fclose(handle.stream);
        }
    }
    return digest.hash;
}

static uint64_t Write_Matrix()
{
    Digest digest;
    for (const CodecCase& c : Codec_Cases) {
        for (const uint64_t channels : Channel_Counts) {
            AudiofileHandle handle = Open_Temporary(c.format, c.little_endian, channels, OM_WRITE);
            ObjectHeader object = Make_Object();
            Random random = {channels};
            for (const uint64_t frames : {1u, 63u, 1000u, 3001u}) {
                Buffers<const float> buffers(channels, frames);
                for (std::vector<float>& row : buffers.storage) {
                    for (float& value : row) {
                        const bool any = Random_Word(&random) % 16 == 0;
                        value = any ? Random_Bits(&random) : Random_Float(&random, 1.05f);
                    }
                }
                uint64_t put = 0;
                Audiofile_WrMatrix_FLOAT(&object, &handle, buffers.rows.data(), frames, &put, 1.0f);
            }
            Digest_Bytes(&digest, &handle.clipped, sizeof handle.clipped);
            rewind(handle.stream);
            for (int byte = fgetc(handle.stream); byte != EOF; byte = fgetc(handle.stream)) {
                Digest_Bytes(&digest, &byte, 1);
            }
            fclose(handle.stream);
        }
    }
    return digest.hash;
}

static const DigestLine Lines[] = {
    {"audio decode words", Decode_Words},
    {"audio encode words", Encode_Words},
    {"audio read matrix", Read_Matrix},
    {"audio write matrix", Write_Matrix},
};

const DigestTable Digest_Audio = {Lines, sizeof Lines / sizeof Lines[0]};

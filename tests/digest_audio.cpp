// The audio engine's lines of the digest: both codec families, both matrix transfers, the rate
// field.
#include "tests/digest.h"

#include "audiofile/codecs.h"

#include <algorithm>
#include <cstdio>
#include <vector>

static ObjectHeader Object = OBJ_Template;

static const struct {
    DataFormat format;
    uint32_t little_endian;
    uint64_t sample_bytes;
} Codecs[] = {{INT8, 0, 1},  {INT8, 1, 1},  {INT16, 0, 2}, {INT16, 1, 2},  {INT24, 0, 3},
              {INT24, 1, 3}, {INT32, 0, 4}, {INT32, 1, 4}, {FLOAT32, 1, 4}};
static const std::vector<uint64_t> Channel_Counts = {1, 2, 3, 4, 5, 7, 8, 19};
static const uint64_t Frame_Counts[] = {1, 63, 1000, 3001};

// run(&handle, &digest) for a file of every codec and number of channels: one to read of so many
// bytes, any ones, or for none one to write, which is digested behind it.
template <class Run>
static uint64_t Digest_Files(const std::vector<uint64_t>& channel_counts, uint64_t bytes, Run run)
{
    Digest digest;
    for (const auto& c : Codecs) {
        for (const uint64_t channels : channel_counts) {
            AudiofileHandle handle = {};
            handle.stream = tmpfile();
            handle.mode = bytes != 0 ? OM_READ : OM_WRITE;
            handle.format = c.format;
            handle.little_endian = c.little_endian;
            handle.bytes_per_sample = c.sample_bytes;
            handle.channels = channels;
            handle.samples = (bytes + c.sample_bytes - 1) / c.sample_bytes;
            Random random = {c.format * 2 + c.little_endian};
            for (uint64_t i = 0; i < bytes; i++) {
                fputc(static_cast<int>(Random_Word(&random) & 0xFF), handle.stream);
            }
            rewind(handle.stream);
            run(&handle, &digest);
            if (bytes == 0) {
                Digest_Bytes(&digest, &handle.clipped, sizeof handle.clipped);
                rewind(handle.stream);
                for (int byte = fgetc(handle.stream); byte != EOF; byte = fgetc(handle.stream)) {
                    Digest_Bytes(&digest, &byte, 1);
                }
            }
            fclose(handle.stream);
        }
    }
    return digest.hash;
}

static uint64_t Decode_Words()
{
    return Digest_Files({1}, 40001, [](AudiofileHandle* handle, Digest* digest) {
        std::vector<int64_t> words(handle->samples);
        uint64_t got = 0;
        Audiofile_Read(&Object, handle, words.data(), words.size(), &got);
        Digest_Bytes(digest, words.data(), got * sizeof words[0]);
    });
}

static uint64_t Encode_Words()
{
    return Digest_Files({1}, 0, [](AudiofileHandle* handle, Digest* digest) {
        Random random = {handle->format};
        std::vector<int64_t> words(10007);
        for (int64_t& word : words) {
            // All magnitudes, most of them in range, in stretches with none to limit.
            word = static_cast<int64_t>(Random_Word(&random)) >> (Random_Word(&random) % 64);
        }
        uint64_t put = 0;
        Audiofile_Write_LONG(&Object, handle, words.data(), words.size(), &put);
        Digest_Bytes(digest, words.data(), words.size() * sizeof words[0]);
    });
}

static std::vector<float*> Rows(std::vector<float>* values, uint64_t frames)
{
    std::vector<float*> rows;
    for (uint64_t start = 0; start < values->size(); start += frames) {
        rows.push_back(values->data() + start);
    }
    return rows;
}

static uint64_t Read_Matrix()
{
    return Digest_Files(Channel_Counts, 60007, [](AudiofileHandle* handle, Digest* digest) {
        for (const uint64_t frames : Frame_Counts) {
            std::vector<float> values(handle->channels * frames);
            uint64_t got = 0;
            Audiofile_RdMatrix_FLOAT(&Object, handle, Rows(&values, frames).data(), frames, &got,
                                     0.7f);
            Digest_Bytes(digest, &got, sizeof got);
            Digest_Floats(digest, values.data(), values.size());
        }
    });
}

static uint64_t Write_Matrix()
{
    return Digest_Files(Channel_Counts, 0, [](AudiofileHandle* handle, Digest*) {
        Random random = {handle->channels};
        for (const uint64_t frames : Frame_Counts) {
            std::vector<float> values(handle->channels * frames);
            std::generate(values.begin(), values.end(), [&] {
                const bool any = Random_Word(&random) % 16 == 0;
                return any ? Random_Bits(&random) : Random_Float(&random, 1.05f);
            });
            uint64_t put = 0;
            Audiofile_WrMatrix_FLOAT(&Object, handle, Rows(&values, frames).data(), frames, &put,
                                     1.0f);
        }
    });
}

static const DigestLine Lines[] = {
    {"audio decode words", Decode_Words},
    {"audio encode words", Encode_Words},
    {"audio read matrix", Read_Matrix},
    {"audio write matrix", Write_Matrix},
};
const DigestTable Digest_Audio = {Lines, std::size(Lines)};

// Float matrices: one buffer per channel on the caller's side, interleaved sample words on the
// file's. The scratch block for a call's words is taken whole, so that memory runs out before
// anything moves; it is then filled and converted in tiles at its start that stay in the
// processor's cache, and its far pages are never touched. In read-write mode a call is one block of
// the alternation, so there it is one transfer.
#include "audiofile/codecs.h"
#include "audiofile/matrix_convert.h"
#include "audiofile/report.h"
#include "frame/size.h"

#include <cstring>
#include <numeric>

// Words of a tile: 16 KiB, half of a small first-level cache.
static constexpr uint64_t Tile_Words = 2048;

struct MatrixFormat {
    float read_factor;
    WordRange write;
};

static const MatrixFormat* Find_Format(uint32_t format)
{
    static const MatrixFormat Formats[] = {
        {1.0f / 127.0f, {127.0, 127, -128}},
        {1.0f / 32767.0f, {32767.0, 32767, -32768}},
        {1.0f / 8388607.0f, {8388607.0, 8388607, -8388608}},
        {0x1p-31f, {2147483647.0, 2147483647, -2147483648}},
        {0x1p-23f, {8388608.0, 2147483647, -2147483648}},
    };
    return format >= INT8 && format <= FLOAT32 ? &Formats[format - INT8] : nullptr;
}

static int64_t* Take_Words(ObjectHeader* object, uint64_t count)
{
    return static_cast<int64_t*>(OBJ_Malloc_T(object, Size_Product(count, sizeof(int64_t))));
}

// Words of one tile of a transfer of count words: whole passes of the codec and whole frames, so
// that the stream sees the same calls as for one transfer, and at least one call for a count of 0.
static uint64_t Tile_Size(const AudiofileHandle* handle, uint64_t count)
{
    if (count <= Tile_Words / 2) {
        return count; // less than any tile
    }
    const uint64_t pass = FileDRDW_Pass_Samples(handle->format);
    if (handle->mode == OM_READ_WRITE || pass == 0 || handle->channels == 0) {
        return count;
    }
    const uint64_t unit = Size_Product(pass, handle->channels / std::gcd(pass, handle->channels));
    const uint64_t tile = unit < Tile_Words ? Tile_Words / unit * unit : unit;
    return tile < count ? tile : count;
}

void Audiofile_RdMatrix_FLOAT(ObjectHeader* object, AudiofileHandle* handle,
                              float* const* channel_buffers, uint64_t frames, uint64_t* frames_read,
                              float scale)
{
    if (handle == nullptr) {
        uint64_t none = 0;
        Audiofile_Read(object, handle, nullptr, 0, &none); // refuses
        return;
    }
    const uint64_t channels = handle->channels;
    const uint64_t count = Size_Product(channels, frames);
    int64_t* words = Take_Words(object, count);
    const MatrixFormat* format = Find_Format(handle->format);
    const float factor = format != nullptr ? format->read_factor * scale : 0.0f;

    const uint64_t tile = Tile_Size(handle, count);
    uint64_t asked = 0;
    uint64_t done = 0; // frames converted
    uint64_t wanted = 0;
    uint64_t got = 0;
    do {
        wanted = count - asked < tile ? count - asked : tile;
        Audiofile_Read(object, handle, words, wanted, &got);
        if (format != nullptr && channels != 0) {
            Matrix_Spread_Words(words, handle->format != FLOAT32, got / channels, channels,
                                channel_buffers, done, factor);
            done += got / channels;
        }
        asked += wanted;
    } while (asked < count && got == wanted); // a short tile is the last: behind it is no data

    *frames_read = done;
    for (uint64_t c = 0; c < channels; c++) {
        if (done < frames) {
            memset(channel_buffers[c] + done, 0, (frames - done) * sizeof(float));
        }
    }
    if (format == nullptr) {
        LF_Refuse(object, 10, "Audiofile_RdMatrix_FLOAT: data format not yet implemented", nullptr);
    }
    OBJ_Free_T(object, words);
}

void Audiofile_WrMatrix_FLOAT(ObjectHeader* object, AudiofileHandle* handle,
                              const float* const* channel_buffers, uint64_t frames,
                              uint64_t* frames_written, float scale)
{
    if (handle == nullptr) {
        uint64_t none = 0;
        Audiofile_Write_LONG(object, handle, nullptr, 0, &none); // refuses
        return;
    }
    const uint64_t channels = handle->channels;
    const uint64_t count = Size_Product(channels, frames);
    int64_t* words = Take_Words(object, count);
    const MatrixFormat* format = Find_Format(handle->format);
    if (format == nullptr) {
        LF_Refuse(object, 10, "Audiofile_WrMatrix_FLOAT: data format not yet implemented", nullptr);
    }
    const double gain = format->write.numerator / static_cast<double>(scale);

    const uint64_t tile = Tile_Size(handle, count);
    uint64_t asked = 0;
    uint64_t written = 0;
    do {
        const uint64_t wanted = count - asked < tile ? count - asked : tile;
        const uint64_t clipped =
            channels != 0
                ? Matrix_Gather_Words(channel_buffers, asked / channels, wanted / channels,
                                      channels, words, format->write, gain)
                : 0;
        if (clipped != 0) {
            handle->clipped += clipped;
        }
        uint64_t put = 0;
        Audiofile_Write_LONG(object, handle, words, wanted, &put);
        written += put;
        asked += wanted;
    } while (asked < count);

    *frames_written = channels != 0 ? written / channels : 0;
    OBJ_Free_T(object, words);
}

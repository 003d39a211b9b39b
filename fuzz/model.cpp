// The samples of a file by plain arithmetic, one byte and one value at a time.
#include "fuzz/model.h"

#include <cmath>
#include <cstring>

struct ModelFormat {
    uint64_t width;
    float factor;
    const char* read_refusal; // at once; the big-endian float refusals are apart
};

static const ModelFormat Formats[9] = {
    {0, 0.0f, "FileDRDW_DR_UINT8: Data type not supported yet in file "},
    {1, 1.0f / 127.0f, nullptr},
    {2, 1.0f / 32767.0f, nullptr},
    {3, 1.0f / 8388607.0f, nullptr},
    {4, 1.0f / 2147483647.0f, nullptr},
    {4, 1.0f / 8388608.0f, nullptr},
    {0, 0.0f, "FileDRDW_DR_FLOAT64: Data type not supported yet in file "},
    {0, 0.0f, "FileDRDW_DR_MULAW8: Data type not supported yet in file "},
    {0, 0.0f, "FileDRDW_DR_ALAW8: Data type not supported yet in file "},
};

uint64_t Model_Width(const Model& model)
{
    return Formats[model.format].width;
}

uint64_t Model_Arriving(const Model& model, uint64_t position, uint64_t offset, uint64_t count)
{
    const uint64_t width = Model_Width(model);
    const uint64_t start = model.data_start + offset;
    if (width == 0 || position >= model.samples || start >= model.file.size()) {
        return 0;
    }
    const uint64_t stated = model.samples - position;
    const uint64_t there = (model.file.size() - start + width - 1) / width;
    const uint64_t wanted = count < stated ? count : stated;
    return wanted < there ? wanted : there;
}

int64_t Model_Word(const Model& model, uint64_t offset)
{
    const uint64_t width = Model_Width(model);
    const uint64_t start = model.data_start + offset;
    uint32_t value = 0;
    for (uint64_t k = 0; k < width; k++) {
        const uint32_t byte = start + k < model.file.size() ? model.file[start + k] : 0;
        value |= byte << 8 * (model.little_endian ? k : width - 1 - k);
    }
    if (model.format != FLOAT32) {
        const int64_t half = int64_t{1} << (8 * width - 1);
        return value >= half ? value - 2 * half : value;
    }
    float number;
    memcpy(&number, &value, sizeof number);
    const double scaled = static_cast<double>(number) * 8388608.0;
    if (std::isnan(scaled)) {
        return 0;
    }
    if (scaled >= 9223372036854775808.0) {
        return INT64_MAX;
    }
    return scaled <= -9223372036854775808.0 ? INT64_MIN : static_cast<int64_t>(scaled);
}

float Model_Float(const Model& model, int64_t word, float scale)
{
    const float factor = Formats[model.format].factor * scale;
    return static_cast<float>(word) * factor;
}

// Not by resize: libFuzzer brings a copy of that for bytes in which MemorySanitizer sees no stores.
void Model_Extend(std::vector<uint8_t>* file, uint64_t size)
{
    if (file->size() < size) {
        std::vector<uint8_t> longer(size);
        memcpy(longer.data(), file->data(), file->size());
        file->swap(longer);
    }
}

bool Model_Write(Model* model, uint64_t offset, int64_t word)
{
    const uint64_t width = Model_Width(*model);
    uint64_t value = 0;
    bool limited = false;
    if (model->format == FLOAT32) {
        const float number = static_cast<float>(word) / 8388608.0f;
        uint32_t bits;
        memcpy(&bits, &number, sizeof bits);
        value = bits;
    } else {
        const int64_t half = int64_t{1} << (8 * width - 1);
        limited = word >= half || word < -half;
        value = static_cast<uint64_t>(word >= half ? half - 1 : word < -half ? -half : word);
    }
    const uint64_t start = model->data_start + offset;
    Model_Extend(&model->file, start + width);
    for (uint64_t k = 0; k < width; k++) {
        model->file[start + (model->little_endian ? k : width - 1 - k)] =
            static_cast<uint8_t>(value >> 8 * k);
    }
    return limited;
}

static bool Big_Endian_Float(const Model& model)
{
    return model.format == FLOAT32 && !model.little_endian;
}

const char* Model_Read_Stop(const Model& model, bool moving)
{
    if (moving && Big_Endian_Float(model)) {
        return "FileDRDW_DR_FLOAT32: Data type not supported yet in file ";
    }
    return Formats[model.format].read_refusal;
}

const char* Model_Write_Stop(const Model& model, bool moving)
{
    return moving && Big_Endian_Float(model)
               ? "FileDRDW_DW_FLOAT32: Data type not supported yet in file "
               : nullptr;
}

const char* Model_Write_Matrix_Stop(const Model& model, bool moving)
{
    return Model_Width(model) == 0 ? "Audiofile_WrMatrix_FLOAT: data format not yet implemented"
                                   : Model_Write_Stop(model, moving);
}

// What the samples of an open file are, worked out value by value from the file's bytes. The fuzz
// target holds the engine's transfers against it.
#pragma once

#include "audiofile/audiofile.h"

#include <cstdint>
#include <vector>

struct Model {
    std::vector<uint8_t> file; // the whole file
    uint32_t format;
    bool little_endian;
    uint64_t data_start;
    uint64_t samples;          // as the header states them
    uint64_t bytes_per_sample; // likewise; the width that seeks count with
};

// Bytes of one sample value in the file; 0 for a format without codec.
uint64_t Model_Width(const Model& model);

// An offset counts bytes from data_start on.

// Values that a read of count brings that the header bounds from position on, with the stream at
// offset; the last may be cut.
uint64_t Model_Arriving(const Model& model, uint64_t position, uint64_t offset, uint64_t count);

// The sample word at offset; bytes that the file lacks count as zero.
int64_t Model_Word(const Model& model, uint64_t offset);

// What the float matrices make of a word.
float Model_Float(const Model& model, int64_t word, float scale);

// Writes word at offset, limited to the format; true if it was limited.
bool Model_Write(Model* model, uint64_t offset, int64_t word);

// Makes file at least size bytes long, with zeros.
void Model_Extend(std::vector<uint8_t>* file, uint64_t size);

// The report that stops a transfer of a format, null for none. moving: there is a value to convert.
const char* Model_Read_Stop(const Model& model, bool moving);
const char* Model_Write_Stop(const Model& model, bool moving);
const char* Model_Write_Matrix_Stop(const Model& model, bool moving);

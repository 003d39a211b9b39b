// The sample codecs: eighteen entries of one shape that convert between the bytes at the stream's
// place and sample words (audiofile/audiofile.h). A codec knows nothing of channels, headers or the
// position in the file; it counts sample values.
//
// UINT8, FLOAT64, MULAW8 and ALAW8 are refused on both sides, at once and for any count; FLOAT32 is
// refused in a big-endian file as soon as there is a sample to convert. A refusal is message (3,
// 10) with a text of the form "NAME: Data type not supported yet in file ", the file's name, and
// the stop.
//
// Each call takes 128 bytes of scratch and moves the data in passes that fit it, one stream call a
// pass, and holds the stream's lock meanwhile.
#pragma once

#include "audiofile/audiofile.h"

// Reads up to count sample values into samples; got (out) of them arrived. Fewer at end of file; of
// a last value that end of file cuts off, the missing bytes count as zero. Words from got on stay
// as they were.
using ReadCodec = void(ObjectHeader* object, AudiofileHandle* handle, int64_t* samples,
                       uint64_t count, uint64_t* got);

// Writes count sample values from samples; put (out) is 0 while it runs and count at its return.
// The integer codecs replace a value that does not fit by its limit, in samples too, and add 1 to
// handle->clipped for it.
using WriteCodec = void(ObjectHeader* object, AudiofileHandle* handle, int64_t* samples,
                        uint64_t count, uint64_t* put);

ReadCodec FileDRDW_DR_UINT8, FileDRDW_DR_INT8, FileDRDW_DR_INT16, FileDRDW_DR_INT24,
    FileDRDW_DR_INT32, FileDRDW_DR_FLOAT32, FileDRDW_DR_FLOAT64, FileDRDW_DR_MULAW8,
    FileDRDW_DR_ALAW8;

WriteCodec FileDRDW_DW_UINT8, FileDRDW_DW_INT8, FileDRDW_DW_INT16, FileDRDW_DW_INT24,
    FileDRDW_DW_INT32, FileDRDW_DW_FLOAT32, FileDRDW_DW_FLOAT64, FileDRDW_DW_MULAW8,
    FileDRDW_DW_ALAW8;

constexpr uint64_t FileDRDW_Formats = 9;

// Indexed by the DataFormat code.
extern ReadCodec* const FileDRDW_Read_Table[FileDRDW_Formats];
extern WriteCodec* const FileDRDW_Write_Table[FileDRDW_Formats];

// Sample values that the codec of a format moves in one pass; 0 for a format without codec.
uint64_t FileDRDW_Pass_Samples(uint32_t format);

// The audio file engine: the record of one open file, the opens and closes, the container headers
// and the transfer of samples. Every operation takes the object that reports, and returns nothing:
// a failure is reported through the object's message callback and stops the process
// (frame/object.h).
//
// Sample word: a signed 64-bit integer that holds one sample value. Integer formats hold the file's
// code value, sign extended and unscaled; FLOAT32 holds the float value times 2^23.
// A sample count covers the values of all channels, a frame count one value per channel. Frame f of
// channel c has index f * channels + c in an array of words.
#pragma once

#include "frame/object.h"

#include <cstdint>
#include <cstdio>

// Sample encodings; the code indexes the codec tables. A header that gives the same global names to
// types or macros, as some system headers do, clashes with this one. Where a source needs both:
//     #define INT16 Other_INT16
//     #include <the other header>
//     #undef INT16
enum DataFormat : uint32_t {
    UINT8 = 0,
    INT8 = 1,
    INT16 = 2,
    INT24 = 3,
    INT32 = 4,
    FLOAT32 = 5,
    FLOAT64 = 6,
    MULAW8 = 7,
    ALAW8 = 8,
};

enum FileType : uint32_t {
    FT_AIFF = 0,
    FT_AIFC = 1,
    FT_WAVE = 2,
    FT_UNKNOWN = 3,
};

enum OpenMode : uint32_t {
    OM_CLOSED = 0,
    OM_READ = 1,
    OM_WRITE = 2,
    OM_READ_WRITE = 3,
};

constexpr uint64_t Audiofile_Name_Size = 256;

// One open file. The caller of an open provides the memory, which need not be cleared: a field
// means something only once the operation that sets it has run.
struct AudiofileHandle {
    FILE* stream;              // not reset at closing
    uint32_t mode;             // OpenMode
    uint64_t position;         // next sample to read, all channels, from the first sample
    uint64_t clipped;          // samples limited during writing
    uint64_t samples;          // sample values in the file, all channels
    uint32_t format;           // DataFormat
    uint32_t little_endian;    // 0 for AIFF and AIFC, 1 for WAVE
    uint32_t file_type;        // FileType
    uint64_t bytes_per_sample; // one sample value in the file
    uint64_t channels;
    uint64_t bits_per_sample;       // as the header states it; not set by the WAVE reader
    double sample_rate;             // frames per second
    uint64_t data_start;            // file offset of the first sample
    uint64_t data_bytes;            // length of the sample data
    uint64_t form_size_pos;         // written files: offset of the container's size field
    uint64_t frames_pos;            // written AIFC files: offset of the frame count in COMM
    uint64_t data_size_pos;         // written files: offset of the data or SSND size field
    char name[Audiofile_Name_Size]; // path for messages, cut to 255 characters
    uint32_t block_pending;         // read-write: 1 when a block has been read and its write is due
    void* stream_buffer; // the stream's own, given back at the close; null in read-write mode
};

// Audiofile_Open_Read: opens the file at path, whose first twelve bytes decide the container.
//   samples, channels, sample_rate  out, as the header states them
//   handle                          filled; the stream stands at the first sample
// Refused, each with its report: a file that cannot be opened, an unknown container, a damaged
// header, a WAVE file without "fmt " or "data", an AIFF or AIFC file without COMM, or with frames
// but without SSND. A file in a format without codec opens; its first transfer is refused.
void Audiofile_Open_Read(ObjectHeader* object, const char* path, uint64_t* samples,
                         uint64_t* channels, double* sample_rate, AudiofileHandle* handle);

// Audiofile_Open_Read_Write: the same for changing samples in place. Reads and writes alternate,
// each write replacing the block just read. Closed with Audiofile_Close_Read_Write.
void Audiofile_Open_Read_Write(ObjectHeader* object, const char* path, uint64_t* samples,
                               uint64_t* channels, double* sample_rate, AudiofileHandle* handle);

// Audiofile_Open_Write: creates the file, or cuts it to nothing, and writes the header of an empty
// file: 44 bytes of WAVE for FT_WAVE, 86 bytes of AIFC for FT_AIFC and FT_AIFF.
//   sample_rate  hertz; WAVE holds the integer part, AIFC all of it
// INT8 cannot go into WAVE nor UINT8 into AIFC; that and an unknown type or format is refused after
// the file has been created.
void Audiofile_Open_Write(ObjectHeader* object, const char* path, FileType file_type,
                          DataFormat format, uint64_t channels, AudiofileHandle* handle,
                          double sample_rate);

// The closes refuse a handle that is null or in another mode. The record stays the caller's.
// Audiofile_Close_Write finishes the file first: a pad byte behind an odd number of data bytes,
// then the sizes in the header; it warns if samples were clipped. A read-write handle it closes as
// Audiofile_Close_Read_Write does. A block changed in place that could not be written fails
// here at the latest, as the close does.
void Audiofile_Close_Read(ObjectHeader* object, AudiofileHandle* handle);
void Audiofile_Close_Read_Write(ObjectHeader* object, AudiofileHandle* handle);
void Audiofile_Close_Write(ObjectHeader* object, AudiofileHandle* handle);

// Audiofile_Read: up to count sample values into samples; got (out) of them arrived. Never more
// than the header's total, fewer if the file is shorter. In read-write mode the stream goes back to
// the start of the block, where the write that must follow puts it.
void Audiofile_Read(ObjectHeader* object, AudiofileHandle* handle, int64_t* samples, uint64_t count,
                    uint64_t* got);

// Audiofile_Write_LONG: count sample values from samples; put (out) is count. The integer codecs
// replace a value that does not fit by its limit, in samples too, and count it in clipped.
void Audiofile_Write_LONG(ObjectHeader* object, AudiofileHandle* handle, int64_t* samples,
                          uint64_t count, uint64_t* put);

// Audiofile_Rewind: back to the first sample.
void Audiofile_Rewind(ObjectHeader* object, AudiofileHandle* handle);

// Audiofile_Forward: to frame number frames, counted from the first, OM_READ only. A place beyond
// the end is legal; reads from there deliver nothing.
void Audiofile_Forward(ObjectHeader* object, AudiofileHandle* handle, uint64_t frames);

// Audiofile_RdMatrix_FLOAT: up to frames frames into one buffer per channel.
//   channel_buffers  handle->channels pointers, each to room for frames floats; written whole, 0.0
//                    from frames_read on
//   frames_read      out
//   scale            the float value of positive full scale
// Takes 8 bytes of scratch per sample value asked for, plus the codec's 128.
void Audiofile_RdMatrix_FLOAT(ObjectHeader* object, AudiofileHandle* handle,
                              float* const* channel_buffers, uint64_t frames, uint64_t* frames_read,
                              float scale);

// Audiofile_WrMatrix_FLOAT: frames frames from one buffer per channel, divided by scale, rounded to
// nearest (halves away from zero) and limited; what was limited is counted in clipped. A NaN writes
// 0. Scratch as for reading.
void Audiofile_WrMatrix_FLOAT(ObjectHeader* object, AudiofileHandle* handle,
                              const float* const* channel_buffers, uint64_t frames,
                              uint64_t* frames_written, float scale);

// Audiofile_Get_Format: the FileType and DataFormat codes of an open file. Cannot fail.
void Audiofile_Get_Format(ObjectHeader* object, const AudiofileHandle* handle, uint32_t* file_type,
                          uint32_t* format);

// Audiofile_FileType_From_Name: the FileType that path's extension, "wav", "aiff" or "aifc" in
// small letters, suggests; FT_UNKNOWN for any other. No file is touched. Cannot fail.
void Audiofile_FileType_From_Name(ObjectHeader* object, const char* path, uint32_t* file_type);

// The header readers. The stream stands at offset 12, file_type and little_endian are set; end is
// the file offset behind the container as its head states it. They fill the record and leave the
// stream at the first sample. Chunks may come in any order; of two with one id the later wins.
void LF_ReadHeader_WAVE(ObjectHeader* object, AudiofileHandle* handle, uint64_t end);
void LF_ReadHeader_AIFF(ObjectHeader* object, AudiofileHandle* handle, uint64_t end);

// The patches write the current sizes into the header of a file that Audiofile_Open_Write made, and
// leave the stream where it was.
void Audiofile_Patch_AIFC_Header(ObjectHeader* object, AudiofileHandle* handle);
void Audiofile_Patch_WAVE_Header(ObjectHeader* object, AudiofileHandle* handle);

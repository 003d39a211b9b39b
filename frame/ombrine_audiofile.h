/* libOmbrineAudiofile: reads WAVE, AIFF and AIFC files into one float buffer per channel and writes
 * 16-bit WAVE files.
 *
 * Failures. No function returns an error. On any failure (a missing file, a damaged header, a full
 * disk, no memory) the report goes to standard error as lines of the form
 *     OmbrineAudiofile: 3,14: Audiofile_Open_Read: Error opening
 *     OmbrineAudiofile: 3,14: missing.wav
 *     OmbrineAudiofile: Exception
 * (severity, code, text; then the path; then the stop) and the process ends with exit status 1, by
 * exit(). Severity 2 is a warning: two such lines, and the call goes on. The path is cut to its
 * first 255 characters, except where the file could not be opened or created. The manual page tells
 * what the codes stand for.
 *
 * Floating point. Loading the library sets flush-to-zero, denormals-are-zero and rounding to
 * nearest on the loading thread, and threads that are started from it afterwards inherit that.
 * Under this setting the same call gives the same bits on every processor. The library does not set
 * it again: where another library has set other rounding on the calling thread, last bits differ.
 *
 * Threads. The library starts none. Calls of the four open and close functions must not overlap one
 * another: serialise them. Reads and writes on different handles may run side by side, also beside
 * an open or a close of another handle; one handle belongs to one thread at a time. Any thread may
 * call fflush(NULL) at any time. A failure in one thread ends the process with all others.
 *
 * Order of calls. Open, any number of reads or writes, close. A closed handle is invalid.
 *
 * Programs that the process starts do not get the open files.
 *
 * Counts. A frame is one value per channel; samples count the values of all channels together.
 */
#ifndef OMBRINE_AUDIOFILE_H
#define OMBRINE_AUDIOFILE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One open file. Opaque. */
typedef struct AudiofileHandle AudiofileHandle;

/* Opens a WAVE, AIFF or AIFC file for reading; the content decides which, not the name.
 *   path         the file; it must be seekable, so no pipe
 *   samples      out: sample values in the file, frames times channels, as the header states them
 *   channels     out: number of channels
 *   sample_rate  out: frames per second, in hertz, as the header states it
 *   handle       out: the open file, for Ombrine_Audiofile_Read and Ombrine_Audiofile_Close_Read
 * Integer samples of 1 to 32 bits and 32-bit floats (WAVE) can be read. A file in 8-bit WAVE,
 * 64-bit float, mu-law, A-law, or big-endian float opens as well, and its first read fails. The
 * open itself fails for other encodings, AIFC with "sowt" (little-endian) among them, for RF64, for
 * more than 2147483646 bytes of sample data (2 GiB), which Ombrine_Audiofile_Write can exceed, and
 * where both sizes in the header are 0xFFFFFFFF or 0, as recorders write them that do not know the
 * length yet. */
void Ombrine_Audiofile_Open_Read(const char* path, uint64_t* samples, uint64_t* channels,
                                 double* sample_rate, AudiofileHandle** handle);

/* Closes a handle of Ombrine_Audiofile_Open_Read and frees it. */
void Ombrine_Audiofile_Close_Read(AudiofileHandle* handle);

/* Reads the next frames into one buffer per channel.
 *   handle           from Ombrine_Audiofile_Open_Read
 *   channel_buffers  as many pointers as the file has channels, each to room for frames floats;
 *                    with 0 frames not looked at
 *   frames           frames wanted
 *   frames_read      out: frames delivered, fewer than asked for at the end of the file
 *   scale            the value of positive full scale: a sample at the format's maximum reads as
 *                    scale, a float sample of 1.0 as well. 1.0 gives -1.0 to 1.0.
 * All buffers are always written whole: elements from frames_read on are 0.0. A file shorter than
 * its header says just delivers fewer frames. Takes 8 bytes of memory per sample value asked for
 * while it runs, so read a long file in blocks. */
void Ombrine_Audiofile_Read(AudiofileHandle* handle, float* const* channel_buffers, uint64_t frames,
                            uint64_t* frames_read, float scale);

/* Creates a 16-bit WAVE file, or cuts an existing file to nothing, and writes its header.
 *   path         the file; it must be seekable, so no pipe
 *   channels     number of channels, 1 to 65535 for a file that others can read
 *   handle       out: the open file, for Ombrine_Audiofile_Write and Ombrine_Audiofile_Close_Write
 *   sample_rate  frames per second, in hertz; the header holds its integer part
 * Until the close the header states an empty file. A file may hold 4 GiB less 37 bytes of samples:
 * beyond that the sizes in the header lose their high bits. From 2 GiB of samples on other programs
 * can read it, Ombrine_Audiofile_Open_Read cannot. */
void Ombrine_Audiofile_Open_Write(const char* path, uint64_t channels, AudiofileHandle** handle,
                                  double sample_rate);

/* Appends frames from one buffer per channel.
 *   handle           from Ombrine_Audiofile_Open_Write
 *   channel_buffers  as many pointers as the file has channels, each to frames floats; with 0
 *                    frames not looked at. C, unlike C++, wants a cast for an array of float*:
 *                    (const float* const*)buffers
 *   frames           frames to write
 *   frames_written   out: frames written, always all of them
 *   scale            the value of positive full scale: an input of scale writes 32767
 * Values round to nearest, halves away from zero, without dither. What does not fit 16 bits is
 * limited and counted, and the close warns of it; a NaN writes 0. Takes 8 bytes of memory per
 * sample value while it runs. */
void Ombrine_Audiofile_Write(AudiofileHandle* handle, const float* const* channel_buffers,
                             uint64_t frames, uint64_t* frames_written, float scale);

/* Finishes a handle of Ombrine_Audiofile_Open_Write: writes the final sizes into the header, closes
 * the file and frees the handle. If samples were limited it prints the warning "Audiofile: clipped
 * samples during writing" (2,0) and the path. */
void Ombrine_Audiofile_Close_Write(AudiofileHandle* handle);

/* The revision of the library: a table of three texts, constant and valid for as long as the
 * library is loaded. May be called before any open. */
const char* const* Ombrine_Audiofile_Get_Revision(void);

#ifdef __cplusplus
}
#endif

#endif

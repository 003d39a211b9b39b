// Text files of people's editors and other programs: parameter files taken field by field, and
// coefficients and matrices read or written whole.
//
//   object   first in every operation; its callbacks take the reports
//   errors   no operation returns an error. A failure is a report of severity 3, mostly two
//            calls of the message callback with one severity and code: the text, then what is told
//            there. OBJ_Fatal_Stop follows. A warning is the same with severity 2, and the
//            operation goes on. On a failure nothing is closed or freed, and out arguments are as
//            they were, unless told otherwise.
//   streams  a read error, also that of a directory, is no end of the file: it fails like a value
//            or a number that cannot be read, in FileProc_RdMatrixF and FileProc_RdMatrixI like a
//            close. A print that failed shows at the close at the latest, also behind later ones
//            that went well.
//   numbers  in the notation of the platform's formatted input and output, of its locale. Integers
//            of "%i" beyond 32 bits wrap without a report: 4294967297 is read as 1. "%e" writes
//            seven digits, so a float comes back to within 5e-7 of its size; FileProc_Wrflt with
//            "%.9g" keeps all of it.
//   threads  no state; a stream or a file belongs to one call at a time
#pragma once

#include "frame/object.h"

#include <cstdint>
#include <cstdio>

// ---- Parameter files ----
//
// A line that begins with #, % or a blank is a comment; it and empty lines are skipped before every
// field, so a value may not be indented with a blank. A tab is no comment. Behind a value come the
// end of the line (a line feed, a carriage return or the end of the file) or a blank or tab and any
// text. An operation begins with the stream at the start of a line.
//
// Formats are the caller's, with one conversion that fits the out argument, and literal text and a
// width where wanted. They must come from the program, never from a file.

// Open for reading ("r") and writing ("w"), and close.
//   stream   out: the open stream
// Fails with code 14, "FileProc_OpenPARFILE: Error opening " or "FileProc_OpenPARFILE_Wr: ...", and
// the path; a close with code 15 and one text.
void FileProc_OpenPARFILE(ObjectHeader* object, const char* path, FILE** stream);
void FileProc_OpenPARFILE_Wr(ObjectHeader* object, const char* path, FILE** stream);
void FileProc_ClosePARFILE(ObjectHeader* object, FILE* stream);
void FileProc_ClosePARFILE_Wr(ObjectHeader* object, FILE* stream);

// One value on a line. FileProc_Rdszt reads a signed 32-bit integer ("%i") and refuses one below 0.
//   out   written only if all went well
// Fails with code 17, "<name>: Problem reading from file with " or "FileProc_Rdszt: Negative value
// read; ", and the format: no value, something right behind it, such as a letter or a #, or a read
// error.
void FileProc_Rdint(ObjectHeader* object, FILE* stream, const char* format, int32_t* out);
void FileProc_Rdlong(ObjectHeader* object, FILE* stream, const char* format, int64_t* out);
void FileProc_Rdflt(ObjectHeader* object, FILE* stream, const char* format, float* out);
void FileProc_RdDbl(ObjectHeader* object, FILE* stream, const char* format, double* out);
void FileProc_Rdszt(ObjectHeader* object, FILE* stream, const char* format, uint64_t* out);

// A name or another text. What follows it on its line is dropped.
//   format   with a width that fits the buffer, such as "%31s" for 32 bytes
//   buffer   may be written in part on a failure
// Fails like FileProc_Rdint.
void FileProc_Rdnme(ObjectHeader* object, FILE* stream, const char* format, char* buffer);

// Print one value, which comes by pointer; line ends are the format's. FileProc_Wrflt prints a
// double. Fails with code 16, "<name>: Problem writing to file with ", and the format.
void FileProc_Wrint(ObjectHeader* object, FILE* stream, const char* format, const int32_t* value);
void FileProc_Wrflt(ObjectHeader* object, FILE* stream, const char* format, const float* value);
void FileProc_Wrnme(ObjectHeader* object, FILE* stream, const char* format, const char* text);

// A tagged list, such as "gains: 1 2 3", up to count numbers, which may run over several lines.
//   tag     its last character that is no blank marks the start of the list, and the n-th of them
//           where it occurs n times in tag; the rest of tag is not compared. So with "gains:" any
//           text up to the first colon of the line will do.
//   found   out: the numbers read
//   values  room for count; those behind the numbers read stay as they were
// Fails with code 10, "<name>: str must not be empty.", where tag has nothing before that
// character; with code 17, "<name>: Problem reading from file with ", and the tag where the line
// lacks it or a read fails.
//
// FileProc_RdFloatString reads decimals ("%f"). With all count read it drops the rest of the line.
// With fewer it leaves the stream where the numbers end, and for one number and more it warns (17,
// "FileProc_RdFloatString: Fewer values read from file than requested at", and the tag). Takes 4
// bytes of memory a value while it runs; without them the report and stop of OBJ_Malloc_T.
//
// FileProc_RdIntString reads integers ("%i": decimal, octal behind 0, hexadecimal behind 0x). The
// list must end as a value does, or it fails like a missing tag, with found and values written. A
// short list that does is no fault.
void FileProc_RdFloatString(ObjectHeader* object, FILE* stream, const char* tag, uint64_t count,
                            uint64_t* found, float* values);
void FileProc_RdIntString(ObjectHeader* object, FILE* stream, const char* tag, uint64_t count,
                          uint64_t* found, int32_t* values);

// ---- Coefficients and matrices ----
//
// Files without comments. All failures and warnings are two calls, with the path second: code 14
// "<name>: Problem opening ", 15 "<name>: Problem closing ", and those told below. On a failure
// a matrix may be read in part. A matrix is an array of row pointers (matrix/mat.h).

// One value a line, "%e\n". Reading takes any list between white space: too few values give the
// warning (17, "FileProc_RdCoef: Too few values in ") and zeros, a word fails (17,
// "FileProc_RdCoef: error parsing "), more values are not looked at.
void FileProc_RdCoef(ObjectHeader* object, uint64_t count, const char* path, float* values);
void FileProc_WrCoef(ObjectHeader* object, uint64_t count, const char* path, const float* values);

// One row a line, "%e\t" or "%i " an element, also the last, as numpy.loadtxt and spreadsheets read
// them.
void FileProc_WrMatrixF(ObjectHeader* object, uint64_t rows, uint64_t columns,
                        const float* const* m, const char* path);
void FileProc_WrMatrixI(ObjectHeader* object, uint64_t rows, uint64_t columns,
                        const int32_t* const* m, const char* path);

// One row a line; empty lines are passed over. Where the file has fewer rows or columns, the matrix
// gets zeros. Warnings (17), each once a file and in this order:
//   "<name>: Too few columns in "
//   "FileProc_RdMatrixF: Too many columns in "   the surplus is dropped, by integers silently
//   "<name>: Too few rows in "
//   "<name>: Too many rows in "                  integers: for a number behind the last row alone
// A word fails (17, "<name>: error parsing "). A carriage return behind a float fails (14,
// "FileProc_RdMatrixF: DOS file? "). Integers pass over it as white space: full rows read well, a
// short one goes on with the numbers of the next line. With 0 columns nothing is read.
void FileProc_RdMatrixF(ObjectHeader* object, uint64_t rows, uint64_t columns, float** m,
                        const char* path);
void FileProc_RdMatrixI(ObjectHeader* object, uint64_t rows, uint64_t columns, int32_t** m,
                        const char* path);

// The lower triangle of a matrix of spectra, N channels, transform length n: even, 2 to 2^32 - 2.
//   m   N rows; row i has i + 1 spectra: (i, i) an HFV of n / 2 + 1 floats, those before it FVs
//       of n floats (spectrum/fv.h)
// A line for (i, i), then one for each (i, j) with j from 0 to i - 1: the n / 2 + 1 bins as pairs
// of real and imaginary part, "%e\t" a number. Reading takes numbers between any white space and
// looks at nothing behind the last. It fails with code 14, "FileProc_RdMatrixHFV: error", where a
// number is missing, and "FileProc_RdMatrixHFV: format error" where an imaginary part on the
// diagonal is not 0; those of the outer bins of the others are dropped. A length that cannot be
// fails as the latter, in both directions under the operation's own name.
void FileProc_WrMatrixHFV(ObjectHeader* object, uint64_t N, uint64_t n,
                          const float* const* const* m, const char* path);
void FileProc_RdMatrixHFV(ObjectHeader* object, uint64_t N, uint64_t n, float*** m,
                          const char* path);

// What the readers and writers of whole files share.
#pragma once

#include "fileproc/fileproc.h"
#include "fileproc/report.h"

FILE* Table_Open(ObjectHeader* object, const char* path, const char* mode, const char* text);
// Also fails where an earlier read or print did.
void Table_Close(ObjectHeader* object, FILE* stream, const char* text, const char* path);

// What the result of an fscanf is worth: EOF behind a read error, which looks like the end of the
// file and may have cut the number off.
inline int Table_Scanned(FILE* stream, int result)
{
    return ferror(stream) != 0 ? EOF : result;
}

// Temporary memory for count floats, back through OBJ_Free_T.
float* Table_Scratch(ObjectHeader* object, uint64_t count);

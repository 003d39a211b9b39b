// What the readers and writers of whole files share.
#pragma once

#include "fileproc/fileproc.h"
#include "fileproc/report.h"

FILE* Table_Open(ObjectHeader* object, const char* path, const char* mode, const char* text);
void Table_Close(ObjectHeader* object, FILE* stream, const char* text, const char* path);

// Temporary memory for count floats, back through OBJ_Free_T.
float* Table_Scratch(ObjectHeader* object, uint64_t count);

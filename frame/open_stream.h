// Opening a file of the library's own, whatever layer it is for.
#pragma once

#include <cstdio>

// OBJ_Open_Stream: fopen with a mode of at most three letters, for a file that programs which the
// caller starts meanwhile do not get: they could hold on to it when it is long deleted, and would
// share the place in it. Every C library of Linux knows the letter for that; elsewhere the mode
// stays as it is.
inline FILE* OBJ_Open_Stream(const char* path, const char* mode)
{
#if defined(__linux__)
    static const char Close_On_Exec[] = "e";
#else
    static const char Close_On_Exec[] = "";
#endif
    char whole_mode[8];
    snprintf(whole_mode, sizeof whole_mode, "%s%s", mode, Close_On_Exec);
    return fopen(path, whole_mode);
}

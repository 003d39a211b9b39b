// How the text files report.
#pragma once

#include "frame/object.h"

constexpr int32_t FileProc_No_Memory = 2;
constexpr int32_t FileProc_Empty_Tag = 10;
constexpr int32_t FileProc_Open_Failed = 14;
constexpr int32_t FileProc_Close_Failed = 15;
constexpr int32_t FileProc_Write_Failed = 16;
constexpr int32_t FileProc_Read_Failed = 17;

// Text, then detail, unless that is null.
inline void FileProc_Report(ObjectHeader* object, int32_t severity, int32_t code, const char* text,
                            const char* detail)
{
    object->message_callback(object, severity, code, text);
    if (detail != nullptr) {
        object->message_callback(object, severity, code, detail);
    }
}

inline void FileProc_Warn(ObjectHeader* object, const char* text, const char* detail)
{
    FileProc_Report(object, OBJ_WARN, FileProc_Read_Failed, text, detail);
}

[[noreturn]] inline void FileProc_Refuse(ObjectHeader* object, int32_t code, const char* text,
                                         const char* detail)
{
    FileProc_Report(object, OBJ_ERROR, code, text, detail);
    OBJ_Fatal_Stop(object);
}

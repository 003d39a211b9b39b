// Reports about a file: two calls of the message callback with one severity and code, no format.
#include "audiofile/report.h"

void LF_Warn(ObjectHeader* object, int32_t code, const char* text, const char* name)
{
    object->message_callback(object, OBJ_WARN, code, text);
    object->message_callback(object, OBJ_WARN, code, name);
}

void LF_Refuse(ObjectHeader* object, int32_t code, const char* text, const char* name)
{
    object->message_callback(object, OBJ_ERROR, code, text);
    if (name != nullptr) {
        object->message_callback(object, OBJ_ERROR, code, name);
    }
    OBJ_Fatal_Stop(object);
}

void LF_Close_And_Refuse(ObjectHeader* object, AudiofileHandle* handle, int32_t code,
                         const char* text)
{
    fclose(handle->stream);
    LF_Refuse(object, code, text, handle->name);
}

void LF_Refuse_Handle(ObjectHeader* object, const AudiofileHandle* handle, int32_t code,
                      const char* text)
{
    LF_Refuse(object, code, text, handle != nullptr ? handle->name : nullptr);
}

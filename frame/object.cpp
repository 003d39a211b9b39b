// Messages, aligned memory and the fatal stop behind frame/object.h.
#include "frame/object.h"

#include <cstdio>
#include <cstdlib>
#include <malloc.h>

static constexpr uint64_t Block_Alignment = 16;

const char* const OBJ_Severity_Names[6] = {"DEBUG", "INFO", "WARN", "ERROR", "FATAL", "ASSERT"};

const ObjectHeader OBJ_Template = {nullptr, OBJ_Default_Message, OBJ_Default_Fatal};

static void* Allocate(ObjectHeader* object, uint64_t size, int32_t code, const char* exhausted)
{
    void* block = memalign(Block_Alignment, size);
    if (block == nullptr) {
        object->message_callback(object, OBJ_ERROR, code, exhausted);
        OBJ_Fatal_Stop(object);
    }
    return block;
}

void* OBJ_Malloc_C(ObjectHeader* object, uint64_t size)
{
    return Allocate(object, size, 10, "OBJ_Malloc_C: Out of Memory");
}

void* OBJ_Malloc_T(ObjectHeader* object, uint64_t size)
{
    return Allocate(object, size, 2, "OBJ_Malloc_T: Out of temp. memory");
}

void OBJ_Free_C(ObjectHeader*, void* block)
{
    free(block);
}

void OBJ_Free_T(ObjectHeader*, void* block)
{
    free(block);
}

void OBJ_Fatal_Stop(ObjectHeader* object)
{
    if (object != nullptr && object->fatal_callback != nullptr) {
        object->fatal_callback(object);
    }
    exit(1);
}

void OBJ_Set_Name(ObjectHeader* object, const char* name)
{
    object->name = name;
}

void OBJ_Default_Message(ObjectHeader* object, int32_t severity, int32_t code, const char* text)
{
    fprintf(stderr, "[%s] %s - %s (%u)\n", object->name, OBJ_Severity_Names[severity], text,
            static_cast<unsigned>(code));
}

void OBJ_Default_Fatal(ObjectHeader*)
{
}

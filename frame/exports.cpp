// The seven exported functions: they keep the shared object and its use count, and hand every call
// on to the audio file engine.
#include "frame/exports.h"

#include "audiofile/audiofile.h"

#include <cstdio>
#include <cstdlib>

// Everything else is hidden.
#pragma GCC visibility push(default)
#include "frame/ombrine_audiofile.h"
#pragma GCC visibility pop

ObjectHeader* Export_Object = nullptr;
uint64_t Export_Use_Count = 0;
const char* const Export_Revision_Table[3] = {"3972", "18314", "401"};

void Export_Message(ObjectHeader*, int32_t severity, int32_t code, const char* text)
{
    fprintf(stderr, "OmbrineAudiofile: %i,%i: %s\n", severity, code, text);
}

void Export_Fatal(ObjectHeader*)
{
    fputs("OmbrineAudiofile: Exception\n", stderr);
    exit(1);
}

void Export_Create_Object()
{
    Export_Object = static_cast<ObjectHeader*>(malloc(sizeof(ObjectHeader)));
    if (Export_Object == nullptr) {
        OBJ_Fatal_Stop(nullptr);
    }
    *Export_Object = OBJ_Template;
    OBJ_Set_Name(Export_Object, "AUDIOFILE");
    Export_Object->message_callback = Export_Message;
    Export_Object->fatal_callback = Export_Fatal;
}

void Export_Release_Object()
{
    if (Export_Use_Count != 0) {
        Export_Use_Count--;
        if (Export_Use_Count != 0) {
            return;
        }
    }
    free(Export_Object);
    Export_Object = nullptr;
}

// The count goes up before anything can fail, and the caller holds the handle before the file is
// touched.
static AudiofileHandle* Start_Open(AudiofileHandle** handle)
{
    Export_Use_Count++;
    if (Export_Object == nullptr) {
        Export_Create_Object();
    }
    *handle = static_cast<AudiofileHandle*>(OBJ_Malloc_C(Export_Object, sizeof(AudiofileHandle)));
    return *handle;
}

// With nothing open there is no shared object, and every handle is stale and must not be looked at.
// The engine refuses a null handle with the report that fits the call. The count would tell the
// same, but an open in another thread may be writing it; the object changes only while no handle
// is good.
static AudiofileHandle* Known_Handle(AudiofileHandle* handle)
{
    return Export_Object != nullptr ? handle : nullptr;
}

static ObjectHeader* Known_Object()
{
    static ObjectHeader Idle_Object = {"AUDIOFILE", Export_Message, Export_Fatal};
    return Export_Object != nullptr ? Export_Object : &Idle_Object;
}

static void End_Close(AudiofileHandle* handle)
{
    OBJ_Free_C(Export_Object, handle);
    Export_Release_Object();
}

void Ombrine_Audiofile_Open_Read(const char* path, uint64_t* samples, uint64_t* channels,
                                 double* sample_rate, AudiofileHandle** handle)
{
    AudiofileHandle* file = Start_Open(handle);
    Audiofile_Open_Read(Export_Object, path, samples, channels, sample_rate, file);
}

void Ombrine_Audiofile_Close_Read(AudiofileHandle* handle)
{
    Audiofile_Close_Read(Known_Object(), Known_Handle(handle));
    End_Close(handle);
}

void Ombrine_Audiofile_Read(AudiofileHandle* handle, float* const* channel_buffers, uint64_t frames,
                            uint64_t* frames_read, float scale)
{
    Audiofile_RdMatrix_FLOAT(Known_Object(), Known_Handle(handle), channel_buffers, frames,
                             frames_read, scale);
}

void Ombrine_Audiofile_Open_Write(const char* path, uint64_t channels, AudiofileHandle** handle,
                                  double sample_rate)
{
    AudiofileHandle* file = Start_Open(handle);
    Audiofile_Open_Write(Export_Object, path, FT_WAVE, INT16, channels, file, sample_rate);
}

void Ombrine_Audiofile_Write(AudiofileHandle* handle, const float* const* channel_buffers,
                             uint64_t frames, uint64_t* frames_written, float scale)
{
    Audiofile_WrMatrix_FLOAT(Known_Object(), Known_Handle(handle), channel_buffers, frames,
                             frames_written, scale);
}

void Ombrine_Audiofile_Close_Write(AudiofileHandle* handle)
{
    Audiofile_Close_Write(Known_Object(), Known_Handle(handle));
    End_Close(handle);
}

const char* const* Ombrine_Audiofile_Get_Revision(void)
{
    return Export_Revision_Table;
}

/* Writes one second of two channels: noise, and the same at half its level three samples later.
 *     write FILE.wav */
#include "frame/ombrine_audiofile.h"

#include <stdio.h>

enum { Rate = 48000, Delay = 3 };

int main(int argc, char** argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: write FILE.wav\n");
        return 2;
    }
    static float noise[Rate], echo[Rate];
    uint32_t state = 1;
    for (int i = 0; i < Rate; i++) {
        state = state * 1664525 + 1013904223;
        noise[i] = (float)(int32_t)state / 4294967296.0f;
        echo[i] = i < Delay ? 0.0f : 0.5f * noise[i - Delay];
    }
    const float* buffers[2] = {noise, echo};
    uint64_t written;
    AudiofileHandle* file;
    Ombrine_Audiofile_Open_Write(argv[1], 2, &file, Rate);
    Ombrine_Audiofile_Write(file, buffers, Rate, &written, 1.0f);
    Ombrine_Audiofile_Close_Write(file); /* the header has its sizes only now */
    printf("%llu frames written\n", (unsigned long long)written);
    return 0;
}

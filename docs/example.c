#include "frame/ombrine_audiofile.h"
#include <stdio.h>

int main(int argc, char** argv)
{
    static float left[48000], right[48000];
    float* buffers[2] = {left, right};
    uint64_t samples, channels, frames = 0;
    double rate;
    AudiofileHandle* file;
    Ombrine_Audiofile_Open_Read(argc > 1 ? argv[1] : "in.wav", &samples, &channels, &rate, &file);
    if (channels <= 2) {
        Ombrine_Audiofile_Read(file, buffers, 48000, &frames, 1.0f);
    }
    Ombrine_Audiofile_Close_Read(file);
    printf("%d channels, %g Hz, %d frames read, the first holds %.4f\n", (int)channels, rate,
           (int)frames, left[0]);
    return 0;
}

/* Reads a file of any length in blocks and prints the peak of each channel.
 *     read FILE */
#include "frame/ombrine_audiofile.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>

enum { Block_Frames = 4096 };

int main(int argc, char** argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: read FILE\n");
        return 2;
    }
    uint64_t samples, channels, frames;
    double rate;
    AudiofileHandle* file;
    Ombrine_Audiofile_Open_Read(argv[1], &samples, &channels, &rate, &file);
    printf("%llu channels, %g Hz\n", (unsigned long long)channels, rate);

    float* values = malloc(channels * Block_Frames * sizeof *values);
    float** buffers = malloc(channels * sizeof *buffers);
    float* peaks = calloc(channels, sizeof *peaks);
    if (values == NULL || buffers == NULL || peaks == NULL) {
        fprintf(stderr, "no memory\n");
        return 1;
    }
    for (uint64_t c = 0; c < channels; c++) {
        buffers[c] = values + c * Block_Frames;
    }
    do {
        Ombrine_Audiofile_Read(file, buffers, Block_Frames, &frames, 1.0f);
        for (uint64_t c = 0; c < channels; c++) {
            for (uint64_t i = 0; i < frames; i++) {
                peaks[c] = fmaxf(peaks[c], fabsf(buffers[c][i]));
            }
        }
    } while (frames == Block_Frames);
    Ombrine_Audiofile_Close_Read(file);

    for (uint64_t c = 0; c < channels; c++) {
        printf("channel %llu: peak %.4f\n", (unsigned long long)(c + 1), (double)peaks[c]);
    }
    free(peaks);
    free(buffers);
    free(values);
    return 0;
}

// In place of spectrum.cpp where there is no libpng.
#include "tools/commands.h"

void Tool_Spectrum(const SpectrumOptions&)
{
    Tool_Stop(Tool_Failed, "this build has no pictures, as libpng was missing");
}

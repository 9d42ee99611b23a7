// RIFF "PAL " files from arbitrary bytes (the checks are in palette_fuzz.h);
// the reader also clears every entry's flags byte.
#include "palette_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    qgdi::fuzz::CheckPaletteFile("riff", data, size, &OpenMSPalFile, &SaveDIBMSPal, {102, 202, 312, 528},
                                 [](const RGBQUAD* entries) {
                                     for (int i = 0; i < 256; ++i)
                                         if (entries[i].rgbReserved != 0) std::abort();
                                 });
    return 0;
}

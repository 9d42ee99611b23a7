// Text palette files from arbitrary bytes (the checks are in palette_fuzz.h).
#include "palette_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    qgdi::fuzz::CheckPaletteFile("pal", data, size, &OpenPalFile, &SaveDIBPal, {202, 312, 528, 529},
                                 [](const RGBQUAD*) {});
    return 0;
}

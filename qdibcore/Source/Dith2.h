#pragma once
// Two-level error diffusion: any image to a 1-bit black and white image.
#include <cstdint>

#include "qdibcore/Source/RowIteratorBands.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"

class CStatusControl;

// Kernels of Dither2 (other values: plain threshold).
enum EDither2Kernel : uint8_t {
    keDither2Threshold = 0,
    keDither2FloydSteinberg = 1,
    keDither2Burkes = 2,
    keDither2Stucki = 3,
};

// Grey modes: 0 luminance; 1, 2, 3 the red, green or blue channel of a colour
// source (a paletted source is read by its red byte in modes 1 to 3).
enum EDither2Grey : uint8_t {
    keDither2GreyLuminance = 0,
    keDither2GreyRed = 1,
    keDither2GreyGreen = 2,
    keDither2GreyBlue = 3,
};

// Diffuses `src` into `dst`, which is created as a 1-bit image of the same
// size when detached (an attached one must be a 1-bit image of that size with
// its first pixel on a byte boundary: 120 otherwise). The palette of `dst`
// becomes black, white. With `tone` the greys pass through a fixed tone curve
// that keeps a little grain at both ends. 110 when `src` is not attached, 100
// when cancelled through `status`.
QGDI_API CErrorAutoThrow Dither2(CStatusControl* status, const CRowIterator& src, CRowIterator& dst, uint8_t kernel,
                                 uint8_t greyMode, uint8_t tone);

// The tone curve of the tone flag, 256 entries.
QGDI_API const uint8_t* Dither2ToneTable() noexcept;

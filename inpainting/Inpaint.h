#pragma once
// Content-aware fill: the pixels under a mask are replaced by content
// synthesised from the rest of the image, patch by patch, so that texture and
// straight structures continue into the hole.
#include <cstdint>

#include "qdibcore/Source/RowIteratorBands.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"

class CStatusControl;

struct SQInpaintOptions {
    // Side of the square patches compared, odd, 3 to 31. Larger patches keep
    // larger structures together; smaller ones follow fine texture.
    int nPatchSize = 9;
    // Where content may be taken from: an 8-bit mask of the image's size, a
    // value of 128 or more allowing the pixel. Null: everywhere outside the hole.
    const CRowIterator* pSource = nullptr;
    // Width in pixels of a band outside the hole over which the fill fades into
    // the original, 0 to 64; 0 changes the hole's pixels only.
    int nFeather = 0;
    // The same seed gives the same fill, whatever the number of threads.
    uint32_t nSeed = 0;
    // Worker threads; 0 uses every processor.
    int nThreads = 0;
};

// Fills the pixels of `image` where `mask` (8-bit, the image's size; other
// formats are read as grey) is 128 or more. Several separate holes are filled
// each from its own surroundings. Returns 0; 100 when cancelled through
// `status` (the image is then unchanged); 101 for a mask of another size, a
// mask that selects nothing or everything, bad options or no usable source;
// 102 when memory is short; 162 when the image's format has no inpainting
// image type (1- and 4-bit indexed and float formats).
QGDI_API CErrorAutoThrow QGDI_Inpaint(CRowIterator& image, const CRowIterator& mask,
                                      const SQInpaintOptions& options = SQInpaintOptions(),
                                      CStatusControl* status = nullptr);

#pragma once
// Colour dithering to a palette: error diffusion (serpentine, four kernels),
// the fast cube dither to the Quick8 palette, and ordered dithering with
// Bayer matrices or blue noise.
#include <cstdint>

#include "qdibcore/Source/RowIteratorBands.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"

class CStatusControl;

enum EDitherKernel : int32_t {
    keDitherNone = 0,  // nearest colour only
    keDitherFloydSteinberg = 1,
    keDitherBurkes = 2,
    keDitherStucki = 3,
    keDitherSierra = 4,
};

enum EOrderedMatrix : int32_t {
    keOrderedBayer2 = 0,
    keOrderedBayer4 = 1,
    keOrderedBayer8 = 2,
    keOrderedBlueNoise = 3,  // 32 x 32 void-and-cluster thresholds
};

// Maps `src` onto `palette` (1..256 entries) with error diffusion through the
// nearest-colour cache. `dst` is created as Index8 (Index8A for sources with
// alpha, which is copied) when detached; an attached one must be Index8 or
// Index8A of the same size (120 otherwise) and receives the palette. Pixels
// whose colour is in the palette keep it and pass no error on, so images and
// flat areas already in palette colours stay clean.
QGDI_API CErrorAutoThrow DitherDIB(CStatusControl* status, const CRowIterator& src, CRowIterator& dst,
                                   const RGBQUAD* palette, int count, EDitherKernel kernel = keDitherFloydSteinberg);
// Floyd-Steinberg to the Quick8 palette, whose index follows from the colour.
QGDI_API CErrorAutoThrow DitherDIBQuick8(CStatusControl* status, const CRowIterator& src, CRowIterator& dst);
// Ordered dithering to `palette`: each pixel is offset by its threshold,
// scaled to the typical spacing of the palette's colours, then mapped.
QGDI_API CErrorAutoThrow Odither(CStatusControl* status, const CRowIterator& src, CRowIterator& dst,
                                 const RGBQUAD* palette, int count, EOrderedMatrix matrix = keOrderedBayer8);
// The threshold matrix (side x side ranks 0 .. side²-1, row by row).
QGDI_API const uint16_t* OrderedDitherMatrix(EOrderedMatrix matrix, int& side) noexcept;

#pragma once
// Image distortion: every destination pixel is the source resampled at the
// position a coordinate map gives for it (inverse mapping), so the output
// has no holes whatever the map does. Rows are independent and run in
// parallel strips.
#include <cstdint>

#include "QuorRender/EdgeMode.h"
#include "QuorRender/SeqOpResample.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"

class CCoordinator;
class CStatusControl;

// Realises `map` for the source's size and fills `destination` (created at
// the map's destination size and the source's format when detached; an
// attached one must have that size and format) through a CPixelResampler in
// `mode` with `edge` (and `edgeColour`, red in the low byte, for the
// constant mode). `threads` 0 uses every processor. 110 for a detached
// source, 101 for a map that cannot be realised, an unknown mode or edge, or
// a destination of another size or format, 120 for formats the resampler
// does not read, 102 when memory is short, 100 when cancelled.
QGDI_API CErrorAutoThrow QGDI_DistortImage(const CRowIterator& source, CCoordinator& map, CRowIterator& destination,
                                           EQResampleMode mode = keResampleBilinear, EEdgeMode edge = keEdgeClamp,
                                           uint32_t edgeColour = 0, CStatusControl* status = nullptr,
                                           int threads = 0);

#pragma once
// Optimal palettes of N colours for an image: a colour histogram, split by
// variance into N boxes, whose means are then refined by k-means.
#include <cstdint>

#include "qdibcore/Source/RowIteratorBands.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"
#include "qmm/qmm.h"

class CQPalette;
class CStatusControl;

// At most `maxColors` (1..256) entries into `palette`; `count` receives how
// many (fewer when the image has fewer colours, which are then kept exactly).
// Pixels of formats with alpha count by their coverage: nearly transparent
// ones take no entry. 110 not attached, 101 bad count or null palette, 100 cancelled.
QGDI_API CErrorAutoThrow MakePalFromDIB(const CRowIterator& image, RGBQUAD* palette, int maxColors, int& count,
                                        CStatusControl* status = nullptr);
QGDI_API CErrorAutoThrow MakeCPalFromDIB(const CRowIterator& image, CQPalette& palette, int maxColors,
                                         CStatusControl* status = nullptr);
// A logical palette (16-bit version 0x0300, 16-bit count, then red, green,
// blue, flags per entry) in a new memory-manager block owned by the caller.
QGDI_API CErrorAutoThrow MakeLPPalFromDIB(const CRowIterator& image, QMMHANDLE& logPalette, int maxColors,
                                          CStatusControl* status = nullptr);

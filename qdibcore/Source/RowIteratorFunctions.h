#pragma once
// Whole-image operations over row iterators: copies of rectangles and
// channels, alpha premultiplication, tiling. Each works on the iterators'
// presented formats and returns 110 for a detached iterator, 101 for bad
// rectangles or sizes, 120 for a format the operation cannot handle and 100
// when the status asks to stop.
#include "qdibcore/Source/RowIteratorBands.h"

class CStatusControl;

// Copies `sourceRect` of `source` (null: all of it; in its rectangle's
// coordinates) to `destination` (in the destination rectangle's coordinates),
// converting formats. The part that falls outside either image is skipped.
QGDI_API CErrorAutoThrow RowIterator_CopyRect(CRowIterator& dst, POINT destination, const CRowIterator& src,
                                              const RECT* sourceRect = nullptr, CStatusControl* status = nullptr);
// The colour of every pixel of `src` into `dst` (same size), alpha of `dst` kept.
QGDI_API CErrorAutoThrow RowIterator_CopyColor(CRowIterator& dst, const CRowIterator& src,
                                               CStatusControl* status = nullptr);
// The alpha of `src` (its grey level when it has no alpha) into the alpha of `dst`.
QGDI_API CErrorAutoThrow RowIterator_CopyAlpha(CRowIterator& dst, const CRowIterator& src,
                                               CStatusControl* status = nullptr);
// Channel `srcChannel` of `src` into channel `dstChannel` of `dst`; both must
// have the same bits per channel (120 otherwise). keChannelGrey reads the grey
// level of a colour image and writes all three colour channels of one.
QGDI_API CErrorAutoThrow RowIterator_CopyChannel(CRowIterator& dst, EQChannel dstChannel, const CRowIterator& src,
                                                 EQChannel srcChannel, CStatusControl* status = nullptr);
// The same between any channel depths, rescaling the values.
QGDI_API CErrorAutoThrow RowIterator_CopyChannel_Conv(CRowIterator& dst, EQChannel dstChannel, const CRowIterator& src,
                                                      EQChannel srcChannel, CStatusControl* status = nullptr);
// Colour channels to zero, alpha kept.
QGDI_API CErrorAutoThrow RowIterator_ClearRGB(CRowIterator& it, CStatusControl* status = nullptr);
// Multiplies colour by alpha in place; BGRA formats become their premultiplied
// forms, grey-alpha formats keep their format with premultiplied grey.
QGDI_API CErrorAutoThrow RowIterator_PreMultiply(CRowIterator& it, CStatusControl* status = nullptr);
// The inverse: premultiplied formats become straight.
QGDI_API CErrorAutoThrow RowIterator_UnMultiply(CRowIterator& it, CStatusControl* status = nullptr);
// Fills `dst` with `tile` repeated; pixel (x, y) is tile pixel
// ((x + phase.x) mod tile width, (y + phase.y) mod tile height).
QGDI_API CErrorAutoThrow RowIterator_Tile(CRowIterator& dst, const CRowIterator& tile, POINT phase = {0, 0},
                                          CStatusControl* status = nullptr);
// `dst` (detached) becomes a copy of `rect` of `src`, in `format` (None: src's).
QGDI_API CErrorAutoThrow RowIterator_GetRect(const CRowIterator& src, const RECT& rect, CRowIterator& dst,
                                             EQPixelFormat format = keFormatNone);

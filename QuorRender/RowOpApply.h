#pragma once
// Applying a row operation to every row of a rectangle of an image.
#include "QuorRender/RowOp.h"
#include "qdibcore/Source/RowIteratorBands.h"

class CStatusControl;

// Binds `def` once for the iterator's format and runs it on every row of
// `rect` (in the iterator's coordinates; null for the whole image), top to
// bottom, in parallel when the iterator hands out its rows directly. Progress
// goes to a status nested in `status`. False when cancelled; rows that cannot
// be taken are skipped. When scratch memory for a converted row runs out the
// rows from there on are left as they were, the log says so, and the result
// is still true: the ...Checked forms below report it as 102.
QGDI_API bool PixelIterator_ApplyRowOp(const CRowOpDef& def, CRowIterator& iterator, const RECT* rect = nullptr,
                                       CStatusControl* status = nullptr);

// The same with a source row: row r of `sourceRect` (its top-left corner; null
// for the source's origin) is the source of row r of `destRect`. Only the part
// both images cover is processed.
QGDI_API bool PixelIterator_ApplyRowOp(const CRowOpDef& def, CRowIterator& destination, const CRowIterator& source,
                                       const RECT* destRect = nullptr, const RECT* sourceRect = nullptr,
                                       CStatusControl* status = nullptr);

// The same, the source rows taken for writing (a source that is also modified
// elsewhere, or that is the destination itself).
QGDI_API bool PixelIterator_ApplyRowOp_NonConst(const CRowOpDef& def, CRowIterator& destination, CRowIterator& source,
                                                const RECT* destRect = nullptr, const RECT* sourceRect = nullptr,
                                                CStatusControl* status = nullptr);

// With an optional source and an 8-bit grey mask whose bytes weigh the result
// against the original pixels. A mask in another format leaves the image
// untouched (and says so in the log).
QGDI_API bool PixelIterator_ApplyRowOp(const CRowOpDef& def, CRowIterator& destination, const CRowIterator* source,
                                       const CRowIterator* mask, const RECT* destRect = nullptr,
                                       const RECT* sourceRect = nullptr, const RECT* maskRect = nullptr,
                                       CStatusControl* status = nullptr);

// The forms above with their outcome as a result: 100 when cancelled, 102
// when scratch memory ran out (the log names the operation; rows from the
// failing one on are left as they were), 0 otherwise. The bool forms are these
// with every code but 100 read as true.
QGDI_API CErrorAutoThrow PixelIterator_ApplyRowOpChecked(const CRowOpDef& def, CRowIterator& iterator,
                                                         const RECT* rect = nullptr, CStatusControl* status = nullptr);
QGDI_API CErrorAutoThrow PixelIterator_ApplyRowOpChecked(const CRowOpDef& def, CRowIterator& destination,
                                                         const CRowIterator& source, const RECT* destRect = nullptr,
                                                         const RECT* sourceRect = nullptr,
                                                         CStatusControl* status = nullptr);
QGDI_API CErrorAutoThrow PixelIterator_ApplyRowOpChecked_NonConst(const CRowOpDef& def, CRowIterator& destination,
                                                                  CRowIterator& source, const RECT* destRect = nullptr,
                                                                  const RECT* sourceRect = nullptr,
                                                                  CStatusControl* status = nullptr);
QGDI_API CErrorAutoThrow PixelIterator_ApplyRowOpChecked(const CRowOpDef& def, CRowIterator& destination,
                                                         const CRowIterator* source, const CRowIterator* mask,
                                                         const RECT* destRect = nullptr,
                                                         const RECT* sourceRect = nullptr,
                                                         const RECT* maskRect = nullptr,
                                                         CStatusControl* status = nullptr);

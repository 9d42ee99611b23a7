#pragma once
// Whole image to whole image resizing, in parallel: the output is cut into
// horizontal strips, and each task runs a chain of its own (adapter,
// resampling, conversion back) positioned at its strip's first source row.
// The kernel arrays are made once and shared read-only, so strips give
// exactly the rows one chain would.
#include <cstdint>

#include "QuorRender/SeqOpResample.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"

class CStatusControl;

class QGDI_API CImageResize {
public:
    explicit CImageResize(EQResampleMode mode = keResampleBilinear) noexcept : m_eMode(mode) {}

    void SetMode(EQResampleMode mode) noexcept { m_eMode = mode; }
    EQResampleMode GetMode() const noexcept { return m_eMode; }
    // Worker threads; 0 (the default) uses every processor.
    void SetThreadCount(int threads) noexcept { m_nThreads = threads; }
    int GetThreadCount() const noexcept { return m_nThreads; }
    // Resamples light rather than encoded values: sRGB samples are decoded to
    // 16-bit linear light, resampled and encoded again. Off by default.
    void SetLinearLight(bool on) noexcept { m_bLinearLight = on; }
    bool GetLinearLight() const noexcept { return m_bLinearLight; }
    // Output rows per strip (0: chosen from the size and the threads); for tests.
    void SetStripRows(int rows) noexcept { m_nStripRows = rows; }

    // Resizes all of `source` into all of `destination`, which is attached at
    // the target size; rows are converted to its presented format. 101 for
    // sizes below 1 or rows too large for 32-bit byte counts, 120 for formats
    // that cannot be resampled, 102 when memory is short, 100 when cancelled
    // (every destination row is then either resized or untouched).
    CErrorAutoThrow Resize(const CRowIterator& source, CRowIterator& destination,
                           CStatusControl* status = nullptr) const;
    // Creates `destination` (detached) at width x height in the format a
    // resize of the source delivers, then resizes into it.
    CErrorAutoThrow Resize(const CRowIterator& source, int width, int height, CRowIterator& destination,
                           CStatusControl* status = nullptr) const;

private:
    EQResampleMode m_eMode;
    int m_nThreads = 0;
    int m_nStripRows = 0;
    bool m_bLinearLight = false;
};

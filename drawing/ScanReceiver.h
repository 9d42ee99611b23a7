#pragma once
// The consumer side of scan conversion: runs of 8-bit coverage (255 = fully
// inside) along device rows. A receiver returns false to stop its producer.
#include <cstdint>

#include "qgdi_export.h"

class QGDI_API VScanReceiver {
public:
    VScanReceiver() noexcept = default;
    virtual ~VScanReceiver();

    // Slot order matters to binary callers: do not reorder the virtuals.
    // `length` pixels from (x, y) rightwards, all at `coverage`.
    virtual bool AddScan(int x, int y, int coverage, int length) = 0;
    // One AddScan per row; nothing for a height of 0 or less.
    virtual bool AddScanRect(int x, int y, int width, int height, int coverage);
    // One AddScan per maximal stretch of equal non-zero bytes of `mask`.
    virtual bool AddScanMask(int x, int y, const uint8_t* mask, int length);
};

#pragma once
// Regions: shapes kept ready to be filled many times. A rectangle with
// fractional edges is its own region kind, filled with exact anti-aliased
// coverage without going through the scan converter.
#include "drawing/RasterProps.h"
#include "drawing/Refed.h"
#include "drawing/ScanReceiver.h"
#include "geometry/QRect.h"
#include "platform/windef.h"
#include "qgdi_export.h"

class QGDI_API VQRegion : public VQGDIRefed {
public:
    // Sends the region's coverage runs, rows top to bottom.
    virtual bool Fill(VScanReceiver* receiver, EAntialiasingFilter filter = keAAFilterBox) const = 0;
    // The device pixels the region touches; false when it touches none.
    virtual bool GetBBox(RECT& box) const = 0;
    // Whether the region covers any part of the device rectangle.
    virtual bool Intersects(const RECT& rect) const = 0;
};

class QGDI_API CQRegionRect : public VQRegion {
public:
    explicit CQRegionRect(const SQRECT& rect) noexcept : m_rect(rect) {}

    // Edge pixels get the share of them the rectangle covers, times 255,
    // rounded to even; filter 0 snaps the edges to whole pixels first.
    bool Fill(VScanReceiver* receiver, EAntialiasingFilter filter = keAAFilterBox) const override;
    bool GetBBox(RECT& box) const override;
    bool Intersects(const RECT& rect) const override;
    void Translate(double dx, double dy) noexcept;
    const SQRECT& GetRect() const noexcept { return m_rect; }

private:
    SQRECT m_rect;
};

// Null for an inverted or non-finite rectangle, or on allocation failure.
QGDI_API CQRegionRect* QGDI_RegionCreateRect(const SQRECT& rect);
// Both return the count after the change (0: the region is gone); 0 for null.
QGDI_API long QGDI_RegionReference(VQRegion* region) noexcept;
QGDI_API long QGDI_RegionUnreference(VQRegion* region) noexcept;

#pragma once
// Double-precision rectangles: left, top, right, bottom; right and bottom are
// exclusive edges as in the platform's RECT.
#include "geometry/QPoint.h"
#include "geometry/QSize.h"
#include "platform/afxgeom.h"
#include "qgdi_export.h"

struct QGDI_API SQRECT {
    double left;
    double top;
    double right;
    double bottom;
};

class QGDI_API CQRect : public SQRECT {
public:
    constexpr CQRect() noexcept : SQRECT{0.0, 0.0, 0.0, 0.0} {}
    constexpr CQRect(double l, double t, double r, double b) noexcept : SQRECT{l, t, r, b} {}
    constexpr CQRect(const SQRECT& rc) noexcept : SQRECT(rc) {}
    constexpr CQRect(const RECT& rc) noexcept
        : SQRECT{double(rc.left), double(rc.top), double(rc.right), double(rc.bottom)} {}
    constexpr CQRect(const SQPOINT& tl, const SQPOINT& br) noexcept : SQRECT{tl.x, tl.y, br.x, br.y} {}
    CQRect(const SQPOINT& tl, const CQSize& sz) noexcept : SQRECT{tl.x, tl.y, tl.x + sz.cx, tl.y + sz.cy} {}

    CQRect& operator=(const RECT& rc) noexcept {
        *this = CQRect(rc);
        return *this;
    }

    void SetRect(double l, double t, double r, double b) noexcept {
        left = l;
        top = t;
        right = r;
        bottom = b;
    }
    void SetRectEmpty() noexcept { SetRect(0.0, 0.0, 0.0, 0.0); }

    double Width() const noexcept { return right - left; }
    double Height() const noexcept { return bottom - top; }
    CQPoint TopLeft() const noexcept { return CQPoint(left, top); }
    CQPoint BottomRight() const noexcept { return CQPoint(right, bottom); }
    CQPoint CenterPoint() const noexcept { return CQPoint((left + right) * 0.5, (top + bottom) * 0.5); }
    CQSize Size() const noexcept { return CQSize(Width(), Height()); }

    // Width or height below the tolerance in absolute value.
    bool IsRectEmpty() const noexcept { return QGDI_IsZero(Width()) || QGDI_IsZero(Height()); }
    // All four edges at zero.
    bool IsRectNull() const noexcept;
    // Swaps left with right and top with bottom where the first is greater.
    void Normalize() noexcept;
    bool IsNormalized() const noexcept { return left <= right && top <= bottom; }

    void InflateRect(double dx, double dy) noexcept { InflateRect(dx, dy, dx, dy); }
    void InflateRect(double l, double t, double r, double b) noexcept;
    void DeflateRect(double dx, double dy) noexcept { InflateRect(-dx, -dy, -dx, -dy); }
    void OffsetRect(double dx, double dy) noexcept;
    void OffsetRect(const SQPOINT& d) noexcept { OffsetRect(d.x, d.y); }
    CQRect& operator+=(const SQPOINT& d) noexcept {
        OffsetRect(d.x, d.y);
        return *this;
    }
    CQRect& operator-=(const SQPOINT& d) noexcept {
        OffsetRect(-d.x, -d.y);
        return *this;
    }

    // As the platform's functions: an empty intersection leaves this empty and
    // returns false; empty operands do not take part in a union.
    bool IntersectRect(const SQRECT& a, const SQRECT& b) noexcept;
    bool UnionRect(const SQRECT& a, const SQRECT& b) noexcept;
    // Left and top edges inclusive, right and bottom exclusive.
    bool PtInRect(const SQPOINT& p) const noexcept;
    // Grows this to contain the point (edges inclusive).
    void IncludePoint(const SQPOINT& p) noexcept;

    CQRect& operator&=(const SQRECT& o) noexcept {
        IntersectRect(*this, o);
        return *this;
    }
    CQRect& operator|=(const SQRECT& o) noexcept {
        UnionRect(*this, o);
        return *this;
    }
    CQRect operator&(const SQRECT& o) const noexcept {
        CQRect r;
        r.IntersectRect(*this, o);
        return r;
    }
    CQRect operator|(const SQRECT& o) const noexcept {
        CQRect r;
        r.UnionRect(*this, o);
        return r;
    }

    // Lexicographic over left, top, right, bottom with the geometry tolerance: -1, 0 or +1.
    int Compare(const SQRECT& o) const noexcept;
    bool operator==(const SQRECT& o) const noexcept { return Compare(o) == 0; }
    bool operator!=(const SQRECT& o) const noexcept { return Compare(o) != 0; }
    // An exact match, so that C++20's reversed candidates of the comparison
    // above do not make comparing two CQRect ambiguous.
    bool operator==(const CQRect& o) const noexcept { return Compare(o) == 0; }
    bool operator!=(const CQRect& o) const noexcept { return Compare(o) != 0; }

    // Each edge truncated toward zero.
    void CastRect(CRect& out) const noexcept;
    // The smallest integer rectangle that covers this one (floor of left and
    // top, ceiling of right and bottom), for pixel loops over a mapped area.
    void GetBoundingRect(CRect& out) const noexcept;
    CRect CastRect() const noexcept {
        CRect r;
        CastRect(r);
        return r;
    }
};

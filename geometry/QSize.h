#pragma once
// Double-precision extents (width and height).
#include "geometry/QPoint.h"
#include "platform/afxgeom.h"
#include "qgdi_export.h"

class QGDI_API CQSize {
public:
    double cx;
    double cy;

    constexpr CQSize() noexcept : cx(0.0), cy(0.0) {}
    constexpr CQSize(double w, double h) noexcept : cx(w), cy(h) {}
    constexpr CQSize(const SIZE& s) noexcept : cx(s.cx), cy(s.cy) {}
    constexpr explicit CQSize(const SQPOINT& p) noexcept : cx(p.x), cy(p.y) {}
    CQSize(const CQSize&) = default;
    CQSize& operator=(const CQSize&) = default;
    virtual ~CQSize() = default;

    void Set(double w, double h) noexcept {
        cx = w;
        cy = h;
    }
    void Get(double& w, double& h) const noexcept {
        w = cx;
        h = cy;
    }

    CQSize operator+(const CQSize& o) const noexcept { return CQSize(cx + o.cx, cy + o.cy); }
    CQSize operator-(const CQSize& o) const noexcept { return CQSize(cx - o.cx, cy - o.cy); }
    CQSize operator+(const SIZE& o) const noexcept { return CQSize(cx + o.cx, cy + o.cy); }
    CQSize operator-(const SIZE& o) const noexcept { return CQSize(cx - o.cx, cy - o.cy); }
    CQSize operator-() const noexcept { return CQSize(-cx, -cy); }
    CQSize operator*(double k) const noexcept { return CQSize(cx * k, cy * k); }
    CQSize& operator+=(const CQSize& o) noexcept {
        cx += o.cx;
        cy += o.cy;
        return *this;
    }
    CQSize& operator-=(const CQSize& o) noexcept {
        cx -= o.cx;
        cy -= o.cy;
        return *this;
    }
    CQSize& operator+=(const SIZE& o) noexcept {
        cx += o.cx;
        cy += o.cy;
        return *this;
    }
    CQSize& operator-=(const SIZE& o) noexcept {
        cx -= o.cx;
        cy -= o.cy;
        return *this;
    }

    // Per component.
    CQSize Min(const CQSize& o) const noexcept { return CQSize(cx < o.cx ? cx : o.cx, cy < o.cy ? cy : o.cy); }
    CQSize Max(const CQSize& o) const noexcept { return CQSize(cx > o.cx ? cx : o.cx, cy > o.cy ? cy : o.cy); }

    // Nearest integers, ties to even (0.5 -> 0, 1.5 -> 2, 2.5 -> 2).
    void Round(CSize& out) const noexcept;
    CSize Round() const noexcept {
        CSize s;
        Round(s);
        return s;
    }
    LONG RoundX() const noexcept;
    LONG RoundY() const noexcept;

    bool IsEmpty() const noexcept { return QGDI_IsZero(cx) || QGDI_IsZero(cy); }
    // Within the geometry tolerance.
    bool operator==(const CQSize& o) const noexcept { return QGDI_IsEqual(cx, o.cx) && QGDI_IsEqual(cy, o.cy); }
    bool operator!=(const CQSize& o) const noexcept { return !(*this == o); }
    bool operator==(const SIZE& o) const noexcept { return *this == CQSize(o); }
    bool operator!=(const SIZE& o) const noexcept { return !(*this == o); }
};

#pragma once
// Double-precision points.
#include <cmath>

#include "geometry/GeomConstants.h"
#include "platform/afxgeom.h"
#include "qgdi_export.h"

struct QGDI_API SQPOINT {
    double x;
    double y;
};

// A point with value semantics and arithmetic; equality uses the geometry tolerance.
class QGDI_API CQPoint : public SQPOINT {
public:
    constexpr CQPoint() noexcept : SQPOINT{0.0, 0.0} {}
    constexpr CQPoint(double x0, double y0) noexcept : SQPOINT{x0, y0} {}
    constexpr CQPoint(const SQPOINT& p) noexcept : SQPOINT(p) {}
    constexpr explicit CQPoint(const POINT& p) noexcept : SQPOINT{double(p.x), double(p.y)} {}
    constexpr explicit CQPoint(const SIZE& s) noexcept : SQPOINT{double(s.cx), double(s.cy)} {}

    void Set(double x0, double y0) noexcept {
        x = x0;
        y = y0;
    }
    void Get(double& x0, double& y0) const noexcept {
        x0 = x;
        y0 = y;
    }
    void Offset(double dx, double dy) noexcept {
        x += dx;
        y += dy;
    }
    void Offset(const SQPOINT& d) noexcept {
        x += d.x;
        y += d.y;
    }

    CQPoint operator+(const SQPOINT& o) const noexcept { return CQPoint(x + o.x, y + o.y); }
    CQPoint operator-(const SQPOINT& o) const noexcept { return CQPoint(x - o.x, y - o.y); }
    CQPoint operator-() const noexcept { return CQPoint(-x, -y); }
    CQPoint operator*(double k) const noexcept { return CQPoint(x * k, y * k); }
    CQPoint operator/(double k) const noexcept { return CQPoint(x / k, y / k); }
    CQPoint& operator+=(const SQPOINT& o) noexcept {
        x += o.x;
        y += o.y;
        return *this;
    }
    CQPoint& operator-=(const SQPOINT& o) noexcept {
        x -= o.x;
        y -= o.y;
        return *this;
    }
    CQPoint& operator+=(const POINT& o) noexcept {
        x += o.x;
        y += o.y;
        return *this;
    }
    CQPoint& operator-=(const POINT& o) noexcept {
        x -= o.x;
        y -= o.y;
        return *this;
    }
    CQPoint& operator*=(double k) noexcept {
        x *= k;
        y *= k;
        return *this;
    }
    CQPoint& operator/=(double k) noexcept {
        x /= k;
        y /= k;
        return *this;
    }

    bool operator==(const SQPOINT& o) const noexcept { return QGDI_IsEqual(x, o.x) && QGDI_IsEqual(y, o.y); }
    bool operator!=(const SQPOINT& o) const noexcept { return !(*this == o); }
    // An exact match, so that C++20's reversed candidates of the comparison
    // above do not make comparing two CQPoint ambiguous.
    bool operator==(const CQPoint& o) const noexcept { return *this == static_cast<const SQPOINT&>(o); }
    bool operator!=(const CQPoint& o) const noexcept { return !(*this == o); }

    double Length() const noexcept { return std::hypot(x, y); }
    double Distance(const SQPOINT& o) const noexcept { return std::hypot(x - o.x, y - o.y); }
    double Dot(const SQPOINT& o) const noexcept { return x * o.x + y * o.y; }
    // z of the 3D cross product: positive when o lies counter-clockwise in a y-up frame.
    double Cross(const SQPOINT& o) const noexcept { return x * o.y - y * o.x; }
    // Scales to unit length; a zero vector stays zero and yields false.
    bool Normalize() noexcept;

    // Nearest integer point, ties to even.
    void Round(CPoint& out) const noexcept;
    // Truncated toward zero.
    void CastPoint(CPoint& out) const noexcept;
    CPoint Round() const noexcept {
        CPoint p;
        Round(p);
        return p;
    }
};

// Both coordinates equal within the geometry tolerance.
QGDI_API bool QGDI_IsSamePoint(const SQPOINT& a, const SQPOINT& b) noexcept;

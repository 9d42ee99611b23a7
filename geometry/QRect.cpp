#include "geometry/QRect.h"

#include <algorithm>
#include <cmath>

#include "geometry/internal/IntConvert.h"

bool CQRect::IsRectNull() const noexcept {
    return QGDI_IsZero(left) && QGDI_IsZero(top) && QGDI_IsZero(right) && QGDI_IsZero(bottom);
}

void CQRect::Normalize() noexcept {
    if (left > right) std::swap(left, right);
    if (top > bottom) std::swap(top, bottom);
}

void CQRect::InflateRect(double l, double t, double r, double b) noexcept {
    left -= l;
    top -= t;
    right += r;
    bottom += b;
}

void CQRect::OffsetRect(double dx, double dy) noexcept {
    left += dx;
    right += dx;
    top += dy;
    bottom += dy;
}

bool CQRect::IntersectRect(const SQRECT& a, const SQRECT& b) noexcept {
    const CQRect r(std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
                   std::min(a.bottom, b.bottom));
    if (r.IsRectEmpty() || r.left > r.right || r.top > r.bottom) {
        SetRectEmpty();
        return false;
    }
    *this = r;
    return true;
}

bool CQRect::UnionRect(const SQRECT& a, const SQRECT& b) noexcept {
    const bool emptyA = CQRect(a).IsRectEmpty();
    const bool emptyB = CQRect(b).IsRectEmpty();
    if (emptyA && emptyB) {
        SetRectEmpty();
        return false;
    }
    if (emptyA) {
        *this = b;
        return true;
    }
    if (emptyB) {
        *this = a;
        return true;
    }
    *this = CQRect(std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right),
                   std::max(a.bottom, b.bottom));
    return true;
}

bool CQRect::PtInRect(const SQPOINT& p) const noexcept {
    return p.x >= left && p.x < right && p.y >= top && p.y < bottom;
}

void CQRect::IncludePoint(const SQPOINT& p) noexcept {
    left = std::min(left, p.x);
    top = std::min(top, p.y);
    right = std::max(right, p.x);
    bottom = std::max(bottom, p.y);
}

int CQRect::Compare(const SQRECT& o) const noexcept {
    const double a[4] = {left, top, right, bottom};
    const double b[4] = {o.left, o.top, o.right, o.bottom};
    for (int i = 0; i < 4; ++i) {
        if (QGDI_IsEqual(a[i], b[i])) continue;
        return a[i] < b[i] ? -1 : 1;
    }
    return 0;
}

void CQRect::CastRect(CRect& out) const noexcept {
    out.SetRect(qgdi::geom::TruncToLong(left), qgdi::geom::TruncToLong(top), qgdi::geom::TruncToLong(right),
                qgdi::geom::TruncToLong(bottom));
}

void CQRect::GetBoundingRect(CRect& out) const noexcept {
    out.SetRect(qgdi::geom::SaturateToLong(std::floor(left)), qgdi::geom::SaturateToLong(std::floor(top)),
                qgdi::geom::SaturateToLong(std::ceil(right)), qgdi::geom::SaturateToLong(std::ceil(bottom)));
}

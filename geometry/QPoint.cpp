#include "geometry/QPoint.h"

#include "geometry/internal/IntConvert.h"

bool QGDI_IsSamePoint(const SQPOINT& a, const SQPOINT& b) noexcept {
    return QGDI_IsEqual(a.x, b.x) && QGDI_IsEqual(a.y, b.y);
}

bool CQPoint::Normalize() noexcept {
    const double len = Length();
    if (!(len > 0.0)) return false;
    x /= len;
    y /= len;
    return true;
}

void CQPoint::Round(CPoint& out) const noexcept {
    out.x = qgdi::geom::RoundEvenToLong(x);
    out.y = qgdi::geom::RoundEvenToLong(y);
}

void CQPoint::CastPoint(CPoint& out) const noexcept {
    out.x = qgdi::geom::TruncToLong(x);
    out.y = qgdi::geom::TruncToLong(y);
}

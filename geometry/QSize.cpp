#include "geometry/QSize.h"

#include "geometry/internal/IntConvert.h"

void CQSize::Round(CSize& out) const noexcept {
    out.cx = RoundX();
    out.cy = RoundY();
}

LONG CQSize::RoundX() const noexcept { return qgdi::geom::RoundEvenToLong(cx); }
LONG CQSize::RoundY() const noexcept { return qgdi::geom::RoundEvenToLong(cy); }

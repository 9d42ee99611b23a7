#include "drawing/RegionRect.h"

#include <cmath>
#include <new>

namespace {

constexpr double kTolerance = 1e-6;

// One axis of the rectangle as at most three pixel segments: a partial first
// pixel, whole pixels, a partial last pixel, each with the share covered.
struct SSegment {
    long start;
    long count;
    double share;
};

int Segments(double lo, double hi, SSegment out[3]) {
    const double fl = std::floor(lo), fh = std::floor(hi);
    if (fl == fh) {
        // Both edges inside one pixel: what lies between them.
        if (hi - lo < kTolerance) return 0;
        out[0] = {long(fl), 1, hi - lo};
        return 1;
    }
    int k = 0;
    const double first = 1.0 - (lo - fl), last = hi - fh;
    if (std::fabs(first - 1.0) >= kTolerance) out[k++] = {long(fl), 1, first};
    const long whole = long(fh) - long(std::ceil(lo));
    if (whole > 0) out[k++] = {long(std::ceil(lo)), whole, 1.0};
    if (last >= kTolerance) out[k++] = {long(fh), 1, last};
    return k;
}

int Coverage(double share) { return int(std::nearbyint(share * 255.0)); }  // ties to even

}  // namespace

bool CQRegionRect::Fill(VScanReceiver* receiver, EAntialiasingFilter filter) const {
    if (!receiver) return false;
    SQRECT r = m_rect;
    if (filter == keAAFilterNone)
        r = SQRECT{std::nearbyint(r.left), std::nearbyint(r.top), std::nearbyint(r.right), std::nearbyint(r.bottom)};
    SSegment rows[3], cols[3];
    const int nr = Segments(r.top, r.bottom, rows), nc = Segments(r.left, r.right, cols);
    for (int i = 0; i < nr; ++i)
        for (long y = rows[i].start; y < rows[i].start + rows[i].count; ++y)
            for (int j = 0; j < nc; ++j)
                if (!receiver->AddScan(int(cols[j].start), int(y), Coverage(rows[i].share * cols[j].share),
                                       int(cols[j].count)))
                    return false;
    return true;
}

bool CQRegionRect::GetBBox(RECT& box) const {
    SSegment rows[3], cols[3];
    const int nr = Segments(m_rect.top, m_rect.bottom, rows), nc = Segments(m_rect.left, m_rect.right, cols);
    if (nr == 0 || nc == 0) return false;
    box = RECT{LONG(cols[0].start), LONG(rows[0].start), LONG(cols[nc - 1].start + cols[nc - 1].count),
               LONG(rows[nr - 1].start + rows[nr - 1].count)};
    return true;
}

bool CQRegionRect::Intersects(const RECT& rect) const {
    RECT b;
    if (!GetBBox(b)) return false;
    return rect.left < b.right && b.left < rect.right && rect.top < b.bottom && b.top < rect.bottom;
}

void CQRegionRect::Translate(double dx, double dy) noexcept {
    m_rect.left += dx;
    m_rect.right += dx;
    m_rect.top += dy;
    m_rect.bottom += dy;
}

CQRegionRect* QGDI_RegionCreateRect(const SQRECT& rect) {
    // Beyond 2^30 pixel numbers no longer fit the receivers' int coordinates.
    constexpr double kLimit = double(1 << 30);
    for (double v : {rect.left, rect.top, rect.right, rect.bottom})
        if (!std::isfinite(v) || std::fabs(v) > kLimit) return nullptr;
    if (rect.right < rect.left || rect.bottom < rect.top) return nullptr;
    return new (std::nothrow) CQRegionRect(rect);
}

long QGDI_RegionReference(VQRegion* region) noexcept { return region ? region->Reference() : 0; }
long QGDI_RegionUnreference(VQRegion* region) noexcept { return region ? region->Unreference() : 0; }

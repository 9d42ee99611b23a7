#include "deformation/Coordinator.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "geometry/GeomConstants.h"

CCoordinator::~CCoordinator() = default;

bool CCoordinator::Realize(int width, int height) {
    m_nWidth = width;
    m_nHeight = height;
    return width > 0 && height > 0;
}

void CCoordinator::GetCoordinates(POINT* out, const RECT& rect, RECT* bbox) {
    const int w = rect.right - rect.left, h = rect.bottom - rect.top;
    if (!out || w <= 0 || h <= 0) {
        if (bbox) SetRectEmpty(bbox);
        return;
    }
    for (int y = rect.top; y < rect.bottom; ++y)
        GetCoordinates(out + static_cast<size_t>(y - rect.top) * w, y, rect.left, w);
    if (!bbox || GetBBox(bbox, rect)) return;
    // The perimeter of the grid: first and last rows, first and last columns.
    RECT box{INT_MAX, INT_MAX, INT_MIN, INT_MIN};
    auto include = [&](const POINT& p) {
        box.left = std::min(box.left, p.x);
        box.top = std::min(box.top, p.y);
        box.right = std::max(box.right, p.x);
        box.bottom = std::max(box.bottom, p.y);
    };
    const POINT* last = out + static_cast<size_t>(h - 1) * w;
    for (int i = 0; i < w; ++i) {
        include(out[i]);
        include(last[i]);
    }
    for (int j = 0; j < h; ++j) {
        include(out[static_cast<size_t>(j) * w]);
        include(out[static_cast<size_t>(j) * w + w - 1]);
    }
    *bbox = RECT{box.left, box.top, box.right == INT_MAX ? INT_MAX : box.right + 1,
                 box.bottom == INT_MAX ? INT_MAX : box.bottom + 1};
}

bool CCoordinator::GetBBox(RECT* /*bbox*/, const RECT& /*rect*/) { return false; }

void CCoordinator::GetResultRect(const RECT& in, RECT& out) {
    const int w = GetWidth(), h = GetHeight();
    const int inW = in.right - in.left, inH = in.bottom - in.top;
    if (w == inW && h == inH) {
        out = in;
        return;
    }
    out.left = in.left + (inW - w) / 2;
    out.top = in.top + (inH - h) / 2;
    out.right = out.left + w;
    out.bottom = out.top + h;
}

void QGDI_CastRect(const SQRECT& rc, RECT& out) noexcept {
    // Saturate so that huge or non-finite edges cannot overflow the conversion.
    auto toInt = [](double v) {
        v = v > double(INT_MIN) ? v : double(INT_MIN);
        v = v < double(INT_MAX) ? v : double(INT_MAX);
        return static_cast<LONG>(v);
    };
    out.left = toInt(std::floor(rc.left + kQGeomTolerance));
    out.top = toInt(std::floor(rc.top + kQGeomTolerance));
    out.right = toInt(std::ceil(rc.right - kQGeomTolerance));
    out.bottom = toInt(std::ceil(rc.bottom - kQGeomTolerance));
}

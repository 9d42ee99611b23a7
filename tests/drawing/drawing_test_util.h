#pragma once
// Helpers shared by the drawing tests: outlines read back as point lists and
// filled into coverage images.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "drawing/drawing.h"

namespace drawtest {

using Contour = std::vector<SQPOINT>;

inline std::vector<Contour> ReadContours(VPathIteratorRefed* it) {
    std::vector<Contour> out;
    SQPATHCMD c;
    it->Reset();
    while (it->Next(c)) {
        if (c.command == keCmdMoveTo) out.emplace_back();
        if (c.command != keCmdClosePath && !out.empty()) out.back().push_back(c.end);
    }
    return out;
}

inline std::vector<Contour> StrokeOf(const CQPath& path, const SStrokeProps& props, const double* m = nullptr,
                                     double flatness = 0.01) {
    VPathIteratorRefed* it = QGDI_PathIteratorCreateStroke(path.GetPath(), keQPathStroke, props, m, flatness, 0, false);
    if (!it) return {};
    std::vector<Contour> out = ReadContours(it);
    it->Unreference();
    return out;
}

inline SQRECT Box(const std::vector<Contour>& cs) {
    SQRECT r{1e300, 1e300, -1e300, -1e300};
    for (const auto& c : cs)
        for (const SQPOINT& p : c) {
            r.left = std::min(r.left, p.x);
            r.top = std::min(r.top, p.y);
            r.right = std::max(r.right, p.x);
            r.bottom = std::max(r.bottom, p.y);
        }
    return r;
}

inline bool HasPoint(const std::vector<Contour>& cs, double x, double y, double tol = 1e-9) {
    for (const auto& c : cs)
        for (const SQPOINT& p : c)
            if (std::fabs(p.x - x) <= tol && std::fabs(p.y - y) <= tol) return true;
    return false;
}

// Coverage of contours filled with the non-zero rule at scale s.
struct Coverage : public VScanReceiver {
    Coverage(int w, int h) : width(w), height(h), px(size_t(w) * size_t(h), 0) {}
    bool AddScan(int x, int y, int coverage, int length) override {
        for (int i = 0; i < length; ++i)
            if (x + i >= 0 && x + i < width && y >= 0 && y < height) px[size_t(y) * size_t(width) + size_t(x + i)] = uint8_t(coverage);
        return true;
    }
    int At(int x, int y) const { return px[size_t(y) * size_t(width) + size_t(x)]; }
    int width, height;
    std::vector<uint8_t> px;
};

inline Coverage Fill(const std::vector<Contour>& cs, int w, int h, int scale = 8) {
    Coverage out(w, h);
    SQPolygon* poly = QGDI_PolygonCreate(RECT{0, 0, w, h}, kePolyFillNonZero, scale, kePolygonTableAuto, keQPathStroke);
    CPolygonPathReceiver rx(poly);
    for (const auto& c : cs) {
        rx.MoveTo(c[0], nullptr);
        for (size_t i = 1; i < c.size(); ++i) rx.LineTo(c[i], nullptr);
        rx.ClosePath(nullptr);
    }
    rx.EndPath();
    poly->Fill(&out);
    poly->Unreference();
    return out;
}

// Distance from p to the segment ab.
inline double SegDist(const SQPOINT& p, const SQPOINT& a, const SQPOINT& b) {
    const double dx = b.x - a.x, dy = b.y - a.y, l2 = dx * dx + dy * dy;
    double t = l2 > 0 ? ((p.x - a.x) * dx + (p.y - a.y) * dy) / l2 : 0.0;
    t = std::clamp(t, 0.0, 1.0);
    return std::hypot(p.x - (a.x + t * dx), p.y - (a.y + t * dy));
}

}  // namespace drawtest

#pragma once
// The frame shared by the non-linear coordinate maps: a map object computes the
// source position of one destination pixel in doubles, and the coordinator
// around it converts to 1/256 units, folds by the edge mode and tracks the
// bounding box. Each map is a small struct with
//   void Prepare(const SMapFrame&);             once per Realize
//   void Map(int x, int y, double& sx, double& sy) const;
// and, optionally, bool GetBBox(RECT*, const RECT&, const SMapFrame&) const.
// The template lets the compiler inline Map into the row loop.
#include <algorithm>
#include <climits>
#include <cmath>
#include <new>
#include <utility>

#include "QuorRender/EdgeMode.h"
#include "deformation/Coordinator.h"
#include "deformation/internal/Fixed256.h"
#include "geometry/GeomConstants.h"

namespace qgdi::deform {

// Source size and the usual reference points of a map.
struct SMapFrame {
    int width = 0, height = 0;
    double cx = 0.0, cy = 0.0;  // centre pixel position, ((W − 1)/2, (H − 1)/2)
    double ax = 0.5, ay = 0.5;  // half extents, at least 1/2 so that ratios stay finite
    double inner = 0.5;         // radius of the inscribed circle, min(ax, ay)
    double outer = 0.5;         // distance from the centre to a corner
};

inline SMapFrame MakeFrame(int width, int height) noexcept {
    SMapFrame f;
    f.width = width;
    f.height = height;
    f.cx = (width - 1) * 0.5;
    f.cy = (height - 1) * 0.5;
    f.ax = std::max(0.5, f.cx);
    f.ay = std::max(0.5, f.cy);
    f.inner = std::min(f.ax, f.ay);
    f.outer = std::hypot(f.ax, f.ay);
    return f;
}

// Folds a source position into 0..size − 1 by the edge mode; the constant
// mode leaves it outside for the resampler's edge colour.
inline double FoldEdge(double v, int size, EEdgeMode edge) noexcept {
    if (edge == keEdgeClamp) return std::clamp(v, 0.0, size - 1.0);
    if (edge == keEdgeWrap) return v - size * std::floor(v / size);
    return v;
}

template <class TMap>
class TCoordinatorMap final : public CCoordinator {
public:
    template <class... TArgs>
    explicit TCoordinatorMap(EEdgeMode edge, TArgs&&... args) : m_map{std::forward<TArgs>(args)...}, m_edge(edge) {}

    bool Realize(int width, int height) override {
        if (!CCoordinator::Realize(width, height)) return false;
        m_frame = MakeFrame(width, height);
        // Maps with tables allocate here; without memory the map stays unrealised.
        try {
            m_map.Prepare(m_frame);
        } catch (const std::bad_alloc&) {
            m_frame = SMapFrame{};
            return false;
        }
        return true;
    }

    using CCoordinator::GetCoordinates;

    void GetCoordinates(POINT* out, int y, int x, int count) override {
        if (!out) return;
        if (m_edge == keEdgeWrap || m_edge == keEdgeClamp)
            Row(out, y, x, count, [this](double& sx, double& sy) {
                sx = FoldEdge(sx, m_frame.width, m_edge);
                sy = FoldEdge(sy, m_frame.height, m_edge);
            });
        else Row(out, y, x, count, [](double&, double&) {});
    }

    // Every point is at hand here, so the box is exact rather than the perimeter's.
    void GetCoordinates(POINT* out, const RECT& rect, RECT* bbox) override {
        const int w = rect.right - rect.left, h = rect.bottom - rect.top;
        if (!out || w <= 0 || h <= 0) {
            if (bbox) SetRectEmpty(bbox);
            return;
        }
        LONG l = INT_MAX, t = INT_MAX, r = INT_MIN, b = INT_MIN;
        const bool parallel = static_cast<int64_t>(w) * h >= (1 << 14);
#pragma omp parallel for schedule(static) if (parallel) reduction(min : l, t) reduction(max : r, b)
        for (int j = 0; j < h; ++j) {
            POINT* row = out + static_cast<size_t>(j) * w;
            GetCoordinates(row, rect.top + j, rect.left, w);
            for (int i = 0; i < w; ++i) {
                l = std::min(l, row[i].x);
                r = std::max(r, row[i].x);
                t = std::min(t, row[i].y);
                b = std::max(b, row[i].y);
            }
        }
        if (bbox) *bbox = RECT{l, t, r == INT_MAX ? r : r + 1, b == INT_MAX ? b : b + 1};
    }

    bool GetBBox(RECT* bbox, const RECT& rect) override {
        if constexpr (requires { m_map.GetBBox(bbox, rect, m_frame); })
            return bbox && m_frame.width > 0 && m_map.GetBBox(bbox, rect, m_frame);
        return false;
    }

    const TMap& GetMap() const noexcept { return m_map; }

private:
    template <class TFold>
    void Row(POINT* out, int y, int x, int count, TFold fold) const {
        for (int i = 0; i < count; ++i) {
            double sx, sy;
            m_map.Map(x + i, y, sx, sy);
            fold(sx, sy);
            out[i] = POINT{ToFixed256(sx), ToFixed256(sy)};
        }
    }

    TMap m_map;
    EEdgeMode m_edge;
    SMapFrame m_frame;
};

// Allocates a map coordinator; null when memory runs out.
template <class TMap, class... TArgs>
CCoordinator* NewMap(EEdgeMode edge, TArgs&&... args) noexcept {
    try {
        return new TCoordinatorMap<TMap>(edge, std::forward<TArgs>(args)...);
    } catch (...) {
        return nullptr;
    }
}

// The profile of a sphere seen from the front, on r in [−1, 1]:
// r + k((2/π)asin r − r) for k ≥ 0 (bulge), r + |k|(sin(πr/2) − r) for k < 0 (pinch).
inline double SphereProfile(double r, double k) noexcept {
    return k >= 0.0 ? r + k * (std::asin(r) * (2.0 / kQPiFull) - r) : r - k * (std::sin(r * kQPiFull * 0.5) - r);
}

// Turns (dx, dy) by −theta about (cx, cy): the content at angle φ appears at φ + theta.
inline void TurnBack(double cx, double cy, double dx, double dy, double theta, double& sx, double& sy) noexcept {
    const double c = std::cos(theta), s = std::sin(theta);
    sx = cx + c * dx + s * dy;
    sy = cy - s * dx + c * dy;
}

}  // namespace qgdi::deform

#include "deformation/WarpMesh.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "deformation/Coordinator.h"
#include "diagnostics/Profile.h"

namespace {

constexpr double kPi = 3.14159265358979;

double Falloff(EWarpFalloff kind, double t) noexcept {
    switch (kind) {
    case keWarpFalloffLinear: return 1 - t;
    case keWarpFalloffGaussian: {
        static const double rim = std::exp(-4.5);
        return (std::exp(-4.5 * t * t) - rim) / (1 - rim);
    }
    case keWarpFalloffHard: return 1;
    default: {
        const double u = 1 - t * t;
        return u * u;
    }
    }
}

RECT Union(const RECT& a, const RECT& b) noexcept {
    if (a.right <= a.left || a.bottom <= a.top) return b;
    if (b.right <= b.left || b.bottom <= b.top) return a;
    return RECT{std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right),
                std::max(a.bottom, b.bottom)};
}

// The warp served as a coordinate map over the image it was made for.
class CCoordinatorWarpMesh : public CCoordinator {
public:
    explicit CCoordinatorWarpMesh(const CWarpMesh& mesh) : m_mesh(mesh) {}
    bool Realize(int width, int height) override {
        if (width != m_mesh.GetWidth() || height != m_mesh.GetHeight()) return false;
        m_nWidth = width;
        m_nHeight = height;
        return true;
    }
    void GetCoordinates(POINT* out, int y, int x, int count) override {
        constexpr int kChunk = 256;
        float ox[kChunk], oy[kChunk];
        for (int n = 0; n < count; n += kChunk) {
            const int m = std::min(kChunk, count - n);
            m_mesh.RowOffsets(y, x + n, 1, m, ox, oy);
            for (int k = 0; k < m; ++k) {
                out[n + k].x = static_cast<LONG>(std::lrint((static_cast<float>(x + n + k) + ox[k]) * 256.0f));
                out[n + k].y = static_cast<LONG>(std::lrint((static_cast<float>(y) + oy[k]) * 256.0f));
            }
        }
    }
    using CCoordinator::GetCoordinates;

private:
    CWarpMesh m_mesh;
};

}  // namespace

CErrorAutoThrow CWarpMesh::Create(int width, int height, int cell) {
    if (width < 1 || height < 1 || cell < 2 || cell > 256) return QERR(keQuorErrFailed);
    const int cols = std::max(2, (width - 1 + cell - 1) / cell + 1), rows = std::max(2, (height - 1 + cell - 1) / cell + 1);
    try {
        m_aNodes.assign(static_cast<size_t>(cols) * static_cast<size_t>(rows) * 2, 0.0f);
        m_aScratch.clear();
    } catch (const std::bad_alloc&) {
        *this = CWarpMesh();
        return QERR(keQuorErrOutOfMemory);
    }
    m_nWidth = width;
    m_nHeight = height;
    m_nCell = cell;
    m_nCols = cols;
    m_nRows = rows;
    return CErrorAutoThrow();
}

void CWarpMesh::Reset() noexcept { std::fill(m_aNodes.begin(), m_aNodes.end(), 0.0f); }

double CWarpMesh::MaxDisplacement() const noexcept {
    double m = 0;
    for (size_t k = 0; k + 1 < m_aNodes.size(); k += 2) m = std::max(m, static_cast<double>(std::hypot(m_aNodes[k], m_aNodes[k + 1])));
    return m;
}

void CWarpMesh::Sample(const float* nodes, double x, double y, double& ox, double& oy) const noexcept {
    const double cell = m_nCell;
    x = std::clamp(x / cell, 0.0, double(m_nCols - 1));
    y = std::clamp(y / cell, 0.0, double(m_nRows - 1));
    const int i = std::min(static_cast<int>(x), m_nCols - 2), j = std::min(static_cast<int>(y), m_nRows - 2);
    const double fx = x - i, fy = y - j;
    const float* a = nodes + (static_cast<size_t>(j) * m_nCols + i) * 2;
    const float* b = a + static_cast<size_t>(m_nCols) * 2;
    ox = (a[0] * (1 - fx) + a[2] * fx) * (1 - fy) + (b[0] * (1 - fx) + b[2] * fx) * fy;
    oy = (a[1] * (1 - fx) + a[3] * fx) * (1 - fy) + (b[1] * (1 - fx) + b[3] * fx) * fy;
}

void CWarpMesh::Map(double x, double y, double& sx, double& sy) const noexcept {
    if (IsEmpty()) {
        sx = x;
        sy = y;
        return;
    }
    double ox, oy;
    Sample(m_aNodes.data(), x, y, ox, oy);
    sx = x + ox;
    sy = y + oy;
}

RECT CWarpMesh::DirtyRect(int i0, int j0, int i1, int j1) const noexcept {
    if (i1 < i0 || j1 < j0) return RECT{0, 0, 0, 0};
    // A node shapes the cells on both sides of it.
    RECT r{std::max(0, (i0 - 1) * m_nCell + 1), std::max(0, (j0 - 1) * m_nCell + 1),
           std::min(m_nWidth, (i1 + 1) * m_nCell), std::min(m_nHeight, (j1 + 1) * m_nCell)};
    if (r.right <= r.left || r.bottom <= r.top) return RECT{0, 0, 0, 0};
    return r;
}

RECT CWarpMesh::Dab(const SWarpBrush& brush, double x, double y, double dx, double dy) {
    QGDI_PROFILE_SCOPE("warp dab");
    const RECT none{0, 0, 0, 0};
    const double radius = brush.fRadius;
    const double amount = std::clamp(brush.fStrength, 0.0, 1.0) * std::clamp(brush.fPressure, 0.0, 1.0);
    if (IsEmpty() || !(radius > 0) || !(amount > 0) || !std::isfinite(x) || !std::isfinite(y) ||
        !std::isfinite(radius) || !std::isfinite(dx) || !std::isfinite(dy))
        return none;
    const double cell = m_nCell;
    const double fi0 = std::ceil((x - radius) / cell), fi1 = std::floor((x + radius) / cell);
    const double fj0 = std::ceil((y - radius) / cell), fj1 = std::floor((y + radius) / cell);
    if (fi1 < 0 || fj1 < 0 || fi0 > m_nCols - 1 || fj0 > m_nRows - 1) return none;
    const int i0 = static_cast<int>(std::max(fi0, 0.0)), i1 = static_cast<int>(std::min(fi1, m_nCols - 1.0));
    const int j0 = static_cast<int>(std::max(fj0, 0.0)), j1 = static_cast<int>(std::min(fj1, m_nRows - 1.0));
    try {
        m_aScratch = m_aNodes;
    } catch (const std::bad_alloc&) {
        return none;
    }
    const float* old = m_aScratch.data();
    const double twirl = std::clamp(brush.fTwirlDegrees, -360.0, 360.0) * kPi / 180 *
                         (brush.eTool == keWarpTwirlCounterClockwise ? -1 : 1);
    const double rate = std::clamp(brush.fScaleRate, 0.0, brush.eTool == keWarpBloat ? 0.5 : 4.0);
    int ci0 = m_nCols, cj0 = m_nRows, ci1 = -1, cj1 = -1;
    for (int j = j0; j <= j1; ++j) {
        for (int i = i0; i <= i1; ++i) {
            const double px = i * cell, py = j * cell;
            const double d = std::hypot(px - x, py - y);
            if (d > radius) continue;
            const double f = amount * Falloff(brush.eFalloff, std::min(d / radius, 1.0));
            if (!(f > 0)) continue;
            float* node = m_aNodes.data() + (static_cast<size_t>(j) * m_nCols + i) * 2;
            double qx = px, qy = py;
            switch (brush.eTool) {
            case keWarpPush:
                qx = px - f * dx;
                qy = py - f * dy;
                break;
            case keWarpTwirlClockwise:
            case keWarpTwirlCounterClockwise: {
                // The destination looks back by the turn the pixels made.
                const double a = -twirl * f, c = std::cos(a), s = std::sin(a);
                qx = x + (px - x) * c - (py - y) * s;
                qy = y + (px - x) * s + (py - y) * c;
                break;
            }
            case keWarpPinch:
            case keWarpBloat: {
                const double k = brush.eTool == keWarpPinch ? 1 + rate * f : 1 - rate * f;
                qx = x + (px - x) * k;
                qy = y + (py - y) * k;
                break;
            }
            case keWarpReconstruct: {
                const float keep = static_cast<float>(1 - std::min(f, 1.0));
                node[0] *= keep;
                node[1] *= keep;
                break;
            }
            default: return none;
            }
            if (brush.eTool != keWarpReconstruct) {
                double ox, oy;
                Sample(old, qx, qy, ox, oy);
                node[0] = static_cast<float>(qx + ox - px);
                node[1] = static_cast<float>(qy + oy - py);
            }
            const float* was = old + (node - m_aNodes.data());
            if (node[0] != was[0] || node[1] != was[1]) {
                ci0 = std::min(ci0, i);
                ci1 = std::max(ci1, i);
                cj0 = std::min(cj0, j);
                cj1 = std::max(cj1, j);
            }
        }
    }
    return DirtyRect(ci0, cj0, ci1, cj1);
}

RECT CWarpMesh::Stroke(const SWarpBrush& brush, double x0, double y0, double x1, double y1) {
    RECT dirty{0, 0, 0, 0};
    const double length = std::hypot(x1 - x0, y1 - y0);
    if (!std::isfinite(length) || !(brush.fRadius > 0)) return dirty;
    const double spacing = std::max(brush.fRadius / 4, 0.5);
    const int steps = static_cast<int>(std::min(std::ceil(length / spacing), 100000.0));
    if (steps == 0) return Dab(brush, x0, y0);
    const double sx = (x1 - x0) / steps, sy = (y1 - y0) / steps;
    for (int k = 1; k <= steps; ++k) {
        // Push drags from the previous dab's centre to this one's.
        dirty = Union(dirty, Dab(brush, x0 + sx * (k - 1), y0 + sy * (k - 1), sx, sy));
    }
    return dirty;
}

bool CWarpMesh::ApplyCoordinator(CCoordinator& map) {
    if (IsEmpty() || !map.Realize(m_nWidth, m_nHeight)) return false;
    const int offX = (map.GetWidth() - m_nWidth) / 2, offY = (map.GetHeight() - m_nHeight) / 2;
    try {
        m_aScratch = m_aNodes;
    } catch (const std::bad_alloc&) {
        return false;
    }
    std::vector<POINT> row(static_cast<size_t>(m_nCols));
    for (int j = 0; j < m_nRows; ++j) {
        // One call per node: the maps step along rows, and nodes are a cell apart.
        for (int i = 0; i < m_nCols; ++i) map.GetCoordinates(&row[static_cast<size_t>(i)], j * m_nCell + offY, i * m_nCell + offX, 1);
        for (int i = 0; i < m_nCols; ++i) {
            const double qx = row[static_cast<size_t>(i)].x / 256.0, qy = row[static_cast<size_t>(i)].y / 256.0;
            double ox, oy;
            Sample(m_aScratch.data(), qx, qy, ox, oy);
            float* node = m_aNodes.data() + (static_cast<size_t>(j) * m_nCols + i) * 2;
            node[0] = static_cast<float>(qx + ox - i * m_nCell);
            node[1] = static_cast<float>(qy + oy - j * m_nCell);
        }
    }
    return true;
}

void CWarpMesh::RowOffsets(int y, int x0, int step, int count, float* __restrict__ ox, float* __restrict__ oy) const noexcept {
    if (IsEmpty()) {
        std::fill(ox, ox + count, 0.0f);
        std::fill(oy, oy + count, 0.0f);
        return;
    }
    const int cell = m_nCell;
    const int j = std::clamp(y / cell, 0, m_nRows - 2);
    const float fy = static_cast<float>(y - j * cell) / static_cast<float>(cell);
    const float* a = m_aNodes.data() + static_cast<size_t>(j) * m_nCols * 2;
    const float* b = a + static_cast<size_t>(m_nCols) * 2;
    const float inv = 1.0f / static_cast<float>(cell);
    int n = 0;
    while (n < count) {
        const int x = x0 + n * step;
        const int i = std::clamp(x >= 0 ? x / cell : -((-x + cell - 1) / cell), 0, m_nCols - 2);
        // Pixels left in this cell (the last cell and the outside take the rest).
        int run = count - n;
        if (i < m_nCols - 2 && x >= 0) run = std::min(run, ((i + 1) * cell - x + step - 1) / step);
        const float* pa = a + i * 2;
        const float* pb = b + i * 2;
        const float lx0 = pa[0] + (pb[0] - pa[0]) * fy, ly0 = pa[1] + (pb[1] - pa[1]) * fy;
        const float lx1 = pa[2] + (pb[2] - pa[2]) * fy, ly1 = pa[3] + (pb[3] - pa[3]) * fy;
        const float gx = (lx1 - lx0) * inv, gy = (ly1 - ly0) * inv;
        const float base = static_cast<float>(x - i * cell), stepf = static_cast<float>(step);
        float* __restrict__ rx = ox + n;
        float* __restrict__ ry = oy + n;
        for (int k = 0; k < run; ++k) {
            const float t = base + stepf * static_cast<float>(k);
            rx[k] = lx0 + gx * t;
            ry[k] = ly0 + gy * t;
        }
        n += run;
    }
}

CCoordinator* CWarpMesh::CreateCoordinator() const {
    if (IsEmpty()) return nullptr;
    return new (std::nothrow) CCoordinatorWarpMesh(*this);
}

bool CWarpMesh::RestoreState(const std::vector<float>& state) {
    if (state.size() != m_aNodes.size()) return false;
    m_aNodes = state;
    return true;
}

void CWarpHistory::Record(const CWarpMesh& mesh) {
    m_aUndo.push_back(mesh.SaveState());
    if (m_aUndo.size() > m_nDepth) m_aUndo.erase(m_aUndo.begin());
    m_aRedo.clear();
}

bool CWarpHistory::Undo(CWarpMesh& mesh) {
    if (m_aUndo.empty() || m_aUndo.back().size() != mesh.SaveState().size()) return false;
    m_aRedo.push_back(mesh.SaveState());
    mesh.RestoreState(m_aUndo.back());
    m_aUndo.pop_back();
    return true;
}

bool CWarpHistory::Redo(CWarpMesh& mesh) {
    if (m_aRedo.empty() || m_aRedo.back().size() != mesh.SaveState().size()) return false;
    m_aUndo.push_back(mesh.SaveState());
    mesh.RestoreState(m_aRedo.back());
    m_aRedo.pop_back();
    return true;
}

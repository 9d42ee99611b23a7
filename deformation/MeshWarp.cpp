#include "deformation/MeshWarp.h"

#include <algorithm>
#include <cmath>
#include <deque>

#include "diagnostics/Profile.h"

namespace {

inline double CatmullRom(double p0, double p1, double p2, double p3, double t) noexcept {
    return p1 + 0.5 * t * (p2 - p0 + t * (2 * p0 - 5 * p1 + 4 * p2 - p3 + t * (3 * (p1 - p2) + p3 - p0)));
}

}  // namespace

CErrorAutoThrow CMeshWarp::Create(int width, int height, int cols, int rows) {
    if (width < 2 || height < 2 || cols < 2 || rows < 2 || cols > 64 || rows > 64) return QERR(keQuorErrFailed);
    m_nWidth = width;
    m_nHeight = height;
    m_nCols = cols;
    m_nRows = rows;
    m_aPoints.resize(static_cast<size_t>(cols) * rows);
    Reset();
    return CErrorAutoThrow();
}

SQPOINT CMeshWarp::GetRestPoint(int i, int j) const noexcept {
    if (m_nCols < 2) return SQPOINT{0, 0};
    return SQPOINT{i * double(m_nWidth - 1) / (m_nCols - 1), j * double(m_nHeight - 1) / (m_nRows - 1)};
}

SQPOINT CMeshWarp::GetPoint(int i, int j) const noexcept {
    if (i < 0 || j < 0 || i >= m_nCols || j >= m_nRows) return SQPOINT{0, 0};
    return m_aPoints[static_cast<size_t>(j) * m_nCols + i];
}

bool CMeshWarp::SetPoint(int i, int j, double x, double y) noexcept {
    if (i < 0 || j < 0 || i >= m_nCols || j >= m_nRows || !std::isfinite(x) || !std::isfinite(y) ||
        std::fabs(x) > 1e7 || std::fabs(y) > 1e7)
        return false;
    m_aPoints[static_cast<size_t>(j) * m_nCols + i] = SQPOINT{x, y};
    return true;
}

void CMeshWarp::Reset() noexcept {
    for (int j = 0; j < m_nRows; ++j)
        for (int i = 0; i < m_nCols; ++i) m_aPoints[static_cast<size_t>(j) * m_nCols + i] = GetRestPoint(i, j);
}

bool CMeshWarp::IsIdentity() const noexcept {
    for (int j = 0; j < m_nRows; ++j)
        for (int i = 0; i < m_nCols; ++i) {
            const SQPOINT p = GetPoint(i, j), r = GetRestPoint(i, j);
            if (p.x != r.x || p.y != r.y) return false;
        }
    return true;
}

bool CMeshWarp::RestoreState(const std::vector<SQPOINT>& state) {
    if (state.size() != m_aPoints.size()) return false;
    m_aPoints = state;
    return true;
}

// Outside the grid the points go on in straight lines, first across, then down.
SQPOINT CMeshWarp::Control(int i, int j) const noexcept {
    const auto across = [&](int jj) {
        const int last = m_nCols - 1;
        if (i >= 0 && i <= last) return GetPoint(i, jj);
        const int a = i < 0 ? 0 : last, b = i < 0 ? 1 : last - 1;
        const SQPOINT pa = GetPoint(a, jj), pb = GetPoint(b, jj);
        const double k = std::abs(i - a);
        return SQPOINT{pa.x + k * (pa.x - pb.x), pa.y + k * (pa.y - pb.y)};
    };
    const int last = m_nRows - 1;
    if (j >= 0 && j <= last) return across(j);
    const int a = j < 0 ? 0 : last, b = j < 0 ? 1 : last - 1;
    const SQPOINT pa = across(a), pb = across(b);
    const double k = std::abs(j - a);
    return SQPOINT{pa.x + k * (pa.x - pb.x), pa.y + k * (pa.y - pb.y)};
}

SQPOINT CMeshWarp::Evaluate(double u, double v) const noexcept {
    if (m_nCols < 2) return SQPOINT{u, v};
    const int i = std::clamp(static_cast<int>(std::floor(u)), -1, m_nCols - 1);
    const int j = std::clamp(static_cast<int>(std::floor(v)), -1, m_nRows - 1);
    const double s = u - i, t = v - j;
    double rx[4], ry[4];
    for (int r = 0; r < 4; ++r) {
        const SQPOINT p0 = Control(i - 1, j - 1 + r), p1 = Control(i, j - 1 + r), p2 = Control(i + 1, j - 1 + r),
                      p3 = Control(i + 2, j - 1 + r);
        rx[r] = CatmullRom(p0.x, p1.x, p2.x, p3.x, s);
        ry[r] = CatmullRom(p0.y, p1.y, p2.y, p3.y, s);
    }
    return SQPOINT{CatmullRom(rx[0], rx[1], rx[2], rx[3], t), CatmullRom(ry[0], ry[1], ry[2], ry[3], t)};
}

CErrorAutoThrow CMeshWarp::ToWarpMesh(CWarpMesh& mesh, int subdivisions) const {
    QGDI_PROFILE_SCOPE("mesh warp");
    if (m_nCols < 2 || mesh.GetWidth() != m_nWidth || mesh.GetHeight() != m_nHeight || subdivisions < 1 ||
        subdivisions > 64)
        return QERR(keQuorErrFailed);
    const int cols = mesh.GetCols(), rows = mesh.GetRows(), cell = mesh.GetCell();
    float* nodes = mesh.GetNodes();
    std::vector<char> covered(static_cast<size_t>(cols) * rows, 0);
    // The surface sampled one patch beyond the grid on every side, so that
    // the image's edge stays covered when an outer point moves inward.
    const int S = subdivisions, nu = S * (m_nCols + 1) + 1, nv = S * (m_nRows + 1) + 1;
    std::vector<SQPOINT> moved(static_cast<size_t>(nu) * nv), rest(moved.size());
    const double sx = double(m_nWidth - 1) / (m_nCols - 1), sy = double(m_nHeight - 1) / (m_nRows - 1);
    for (int b = 0; b < nv; ++b)
        for (int a = 0; a < nu; ++a) {
            const double u = -1 + double(a) / S, v = -1 + double(b) / S;
            moved[static_cast<size_t>(b) * nu + a] = Evaluate(u, v);
            rest[static_cast<size_t>(b) * nu + a] = SQPOINT{u * sx, v * sy};
        }
    const auto triangle = [&](size_t k0, size_t k1, size_t k2) {
        const SQPOINT p0 = moved[k0], p1 = moved[k1], p2 = moved[k2];
        const double area = (p1.x - p0.x) * (p2.y - p0.y) - (p2.x - p0.x) * (p1.y - p0.y);
        if (!(std::fabs(area) > 1e-12)) return;
        const double lo = -1e-9;
        const int i0 = std::max(0, static_cast<int>(std::ceil(std::min({p0.x, p1.x, p2.x}) / cell)));
        const int i1 = std::min(cols - 1, static_cast<int>(std::floor(std::max({p0.x, p1.x, p2.x}) / cell)));
        const int j0 = std::max(0, static_cast<int>(std::ceil(std::min({p0.y, p1.y, p2.y}) / cell)));
        const int j1 = std::min(rows - 1, static_cast<int>(std::floor(std::max({p0.y, p1.y, p2.y}) / cell)));
        for (int j = j0; j <= j1; ++j)
            for (int i = i0; i <= i1; ++i) {
                const double x = double(i) * cell, y = double(j) * cell;
                const double w1 = ((x - p0.x) * (p2.y - p0.y) - (p2.x - p0.x) * (y - p0.y)) / area;
                const double w2 = ((p1.x - p0.x) * (y - p0.y) - (x - p0.x) * (p1.y - p0.y)) / area;
                const double w0 = 1 - w1 - w2;
                if (w0 < lo || w1 < lo || w2 < lo) continue;
                const size_t n = static_cast<size_t>(j) * cols + i;
                nodes[2 * n] = static_cast<float>(w0 * rest[k0].x + w1 * rest[k1].x + w2 * rest[k2].x - x);
                nodes[2 * n + 1] = static_cast<float>(w0 * rest[k0].y + w1 * rest[k1].y + w2 * rest[k2].y - y);
                covered[n] = 1;
            }
    };
    for (int b = 0; b + 1 < nv; ++b)
        for (int a = 0; a + 1 < nu; ++a) {
            const size_t k = static_cast<size_t>(b) * nu + a;
            triangle(k, k + 1, k + nu);
            triangle(k + 1, k + nu + 1, k + nu);
        }
    // Uncovered nodes (far outside, or in a fold's shadow) take a covered
    // neighbour's offset, nearest first.
    std::deque<size_t> queue;
    for (size_t n = 0; n < covered.size(); ++n)
        if (covered[n]) queue.push_back(n);
    if (queue.empty()) {
        mesh.Reset();
        return CErrorAutoThrow();
    }
    while (!queue.empty()) {
        const size_t n = queue.front();
        queue.pop_front();
        const int i = static_cast<int>(n % cols), j = static_cast<int>(n / cols);
        const int di[4] = {-1, 1, 0, 0}, dj[4] = {0, 0, -1, 1};
        for (int d = 0; d < 4; ++d) {
            const int ii = i + di[d], jj = j + dj[d];
            if (ii < 0 || jj < 0 || ii >= cols || jj >= rows) continue;
            const size_t m = static_cast<size_t>(jj) * cols + ii;
            if (covered[m]) continue;
            covered[m] = 1;
            nodes[2 * m] = nodes[2 * n];
            nodes[2 * m + 1] = nodes[2 * n + 1];
            queue.push_back(m);
        }
    }
    return CErrorAutoThrow();
}

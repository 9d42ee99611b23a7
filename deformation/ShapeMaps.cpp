// Maps that reshape the frame or move rows and columns: offset, thinify,
// cylinders, wave, curlicues, polar coordinates, circle and pentagon.
#include <algorithm>
#include <cmath>
#include <vector>

#include "deformation/CoordinatorFactory.h"
#include "deformation/internal/PointMap.h"

namespace {

using namespace qgdi::deform;

inline int64_t PositiveMod(int64_t a, int64_t n) noexcept { return ((a % n) + n) % n; }

// The 1/256 span covered by (v − shift) mod size for v in [first, first + count).
inline void WrappedSpan(int first, int count, int shift, int size, LONG& lo, LONG& hi) noexcept {
    const int64_t a = PositiveMod(int64_t{first} - shift, size);
    if (count >= size || a + count - 1 >= size) {
        lo = 0;
        hi = (size - 1) * 256 + 1;
    } else {
        lo = static_cast<LONG>(a * 256);
        hi = static_cast<LONG>((a + count - 1) * 256 + 1);
    }
}

struct SOffset {
    int dx = 0, dy = 0;
    int width = 1, height = 1;

    void Prepare(const SMapFrame& f) noexcept {
        width = f.width;
        height = f.height;
    }
    void Map(int x, int y, double& sx, double& sy) const noexcept {
        sx = static_cast<double>(PositiveMod(int64_t{x} - dx, width));
        sy = static_cast<double>(PositiveMod(int64_t{y} - dy, height));
    }
    bool GetBBox(RECT* bbox, const RECT& rc, const SMapFrame&) const noexcept {
        const int w = rc.right - rc.left, h = rc.bottom - rc.top;
        if (w <= 0 || h <= 0) {
            SetRectEmpty(bbox);
            return true;
        }
        WrappedSpan(rc.left, w, dx, width, bbox->left, bbox->right);
        WrappedSpan(rc.top, h, dy, height, bbox->top, bbox->bottom);
        return true;
    }
};

// u' = u + a·u·(1 − |u|) on one normalised axis, the identity beyond |u| = 1.
inline double ThinAxis(double u, double a) noexcept {
    return std::fabs(u) <= 1.0 ? u + a * u * (1.0 - std::fabs(u)) : u;
}

struct SThinify {
    double ax = 0.0, ay = 0.0;
    SMapFrame f{};

    void Prepare(const SMapFrame& frame) noexcept { f = frame; }
    void Map(int x, int y, double& sx, double& sy) const noexcept {
        sx = f.cx + ThinAxis((x - f.cx) / f.ax, ax) * f.ax;
        sy = f.cy + ThinAxis((y - f.cy) / f.ay, ay) * f.ay;
    }
};

// A cylinder is the sphere's profile along one axis; beyond |u| = 1 nothing moves.
inline double CylinderAxis(double u, double k) noexcept { return std::fabs(u) > 1.0 ? u : SphereProfile(u, k); }

struct SCylinder {
    double k = 0.0;
    bool bHorizontal = true;
    SMapFrame f{};

    void Prepare(const SMapFrame& frame) noexcept { f = frame; }
    void Map(int x, int y, double& sx, double& sy) const noexcept {
        sx = bHorizontal ? f.cx + CylinderAxis((x - f.cx) / f.ax, k) * f.ax : x;
        sy = bHorizontal ? y : f.cy + CylinderAxis((y - f.cy) / f.ay, k) * f.ay;
    }
};

struct SWave {
    double amplitudeX = 0.0, wavelengthX = 1.0, amplitudeY = 0.0, wavelengthY = 1.0;
    // Horizontal shift of each row and vertical shift of each column, once per Realize.
    std::vector<double> rowShift{}, columnShift{};

    double RowShift(int y) const noexcept { return amplitudeX * std::sin(2.0 * kQPiFull * y / wavelengthX); }
    double ColumnShift(int x) const noexcept { return amplitudeY * std::sin(2.0 * kQPiFull * x / wavelengthY); }

    void Prepare(const SMapFrame& f) {
        rowShift.resize(static_cast<size_t>(f.height));
        columnShift.resize(static_cast<size_t>(f.width));
        for (int y = 0; y < f.height; ++y) rowShift[static_cast<size_t>(y)] = RowShift(y);
        for (int x = 0; x < f.width; ++x) columnShift[static_cast<size_t>(x)] = ColumnShift(x);
    }
    // sx = x + Ax·sin(2πy/λx), sy = y + Ay·sin(2πx/λy)
    void Map(int x, int y, double& sx, double& sy) const noexcept {
        const bool rowIn = y >= 0 && static_cast<size_t>(y) < rowShift.size();
        const bool colIn = x >= 0 && static_cast<size_t>(x) < columnShift.size();
        sx = x + (rowIn ? rowShift[static_cast<size_t>(y)] : RowShift(y));
        sy = y + (colIn ? columnShift[static_cast<size_t>(x)] : ColumnShift(x));
    }
};

struct SCurlicues {
    double side = 2.0, radians = 0.0, ox = 0.0, oy = 0.0;
    bool bAlternate = false;

    void Prepare(const SMapFrame&) noexcept {}
    void Map(int x, int y, double& sx, double& sy) const noexcept {
        const double fi = std::floor((x - ox) / side), fj = std::floor((y - oy) / side);
        const double ccx = ox + (fi + 0.5) * side, ccy = oy + (fj + 0.5) * side;
        const double dx = x - ccx, dy = y - ccy, half = side * 0.5, r2 = dx * dx + dy * dy;
        sx = x;
        sy = y;
        if (r2 >= half * half) return;
        // θ = ±angle·(1 − r/(side/2))², the sign alternating chequerwise
        const double t = 1.0 - std::sqrt(r2) / half;
        const bool odd = bAlternate && std::fmod(std::fabs(fi + fj), 2.0) == 1.0;
        TurnBack(ccx, ccy, dx, dy, (odd ? -radians : radians) * t * t, sx, sy);
    }
};

struct SPolar {
    bool bToPolar = true;
    SMapFrame f{};

    void Prepare(const SMapFrame& frame) noexcept { f = frame; }
    void Map(int x, int y, double& sx, double& sy) const noexcept {
        const double rows = std::max(1, f.height - 1);
        if (bToPolar) {
            // θ clockwise from the top in [0, 2π); sx = θ/2π·W − 1/2, sy = r/R·(H − 1)
            const double dx = x - f.cx, dy = y - f.cy;
            double theta = std::atan2(dx, -dy);
            if (theta < 0.0) theta += 2.0 * kQPiFull;
            sx = theta / (2.0 * kQPiFull) * f.width - 0.5;
            sy = std::hypot(dx, dy) / f.inner * rows;
        } else {
            // The inverse: θ = (x + 1/2)/W·2π, r = y/(H − 1)·R
            const double theta = (x + 0.5) / f.width * 2.0 * kQPiFull;
            const double r = y / rows * f.inner;
            sx = f.cx + r * std::sin(theta);
            sy = f.cy - r * std::cos(theta);
        }
    }
};

// The whole source squeezed into a shape inscribed in the frame's ellipse: a
// destination point at direction φ and normalised radius ρ samples the point
// of the same direction at radius ρ·σ(φ)/ρshape(φ), σ the square's boundary.
struct SShape {
    int sides = 0;  // 0 for the ellipse itself
    SMapFrame f{};

    void Prepare(const SMapFrame& frame) noexcept { f = frame; }
    // Boundary distance of the shape in direction phi (y down, a vertex at the top).
    double ShapeRadius(double phi) const noexcept {
        if (sides < 3) return 1.0;
        const double sector = 2.0 * kQPiFull / sides;
        double a = std::fmod(phi + kQPiFull * 0.5, sector);
        if (a < 0.0) a += sector;
        // Apothem cos(π/n) over the cosine of the angle from the edge's normal.
        return std::cos(kQPiFull / sides) / std::cos(a - sector * 0.5);
    }
    void Map(int x, int y, double& sx, double& sy) const noexcept {
        const double u = (x - f.cx) / f.ax, v = (y - f.cy) / f.ay;
        const double m = std::max(std::fabs(u), std::fabs(v));
        sx = x;
        sy = y;
        if (m < 1e-12) return;
        const double rho = std::hypot(u, v);
        // (u, v)·σ(φ)/ρshape(φ), with σ(φ) = 1/max(|cos φ|, |sin φ|) = ρ/max(|u|, |v|)
        const double s = rho / m / ShapeRadius(std::atan2(v, u));
        sx = f.cx + u * s * f.ax;
        sy = f.cy + v * s * f.ay;
    }
};

}  // namespace

CCoordinator* Create_CCoordinatorOffset(int dx, int dy) { return NewMap<SOffset>(keEdgeConstant, dx, dy); }

CCoordinator* Create_CCoordinatorThinify(double amountX, double amountY) {
    return NewMap<SThinify>(keEdgeConstant, std::clamp(amountX, -0.95, 0.95), std::clamp(amountY, -0.95, 0.95));
}

CCoordinator* Create_CCoordinatorHCylinder(double amount) {
    return NewMap<SCylinder>(keEdgeConstant, std::clamp(amount, -1.0, 1.0), true);
}

CCoordinator* Create_CCoordinatorVCylinder(double amount) {
    return NewMap<SCylinder>(keEdgeConstant, std::clamp(amount, -1.0, 1.0), false);
}

CCoordinator* Create_CCoordinatorWave(double amplitudeX, double wavelengthX, double amplitudeY, double wavelengthY) {
    return NewMap<SWave>(keEdgeConstant, amplitudeX, std::max(1.0, wavelengthX), amplitudeY,
                         std::max(1.0, wavelengthY));
}

CCoordinator* Create_CCoordinatorCurlicues(double cellSize, double degrees, double offsetX, double offsetY,
                                           bool bAlternate) {
    return NewMap<SCurlicues>(keEdgeConstant, std::max(2.0, cellSize), degrees * kQDegToRad, offsetX, offsetY,
                              bAlternate);
}

CCoordinator* Create_CCoordinatorPolar(bool bToPolar) { return NewMap<SPolar>(keEdgeConstant, bToPolar); }

CCoordinator* Create_CCoordinatorCircle() { return NewMap<SShape>(keEdgeConstant, 0); }

CCoordinator* Create_CCoordinatorPentagon() { return NewMap<SShape>(keEdgeConstant, 5); }

// Maps that move points along rays from a centre or turn them about it:
// twirl, ripple, local warp, spherize, barrel and pincushion, fisheye, glasses.
#include <algorithm>
#include <cmath>

#include "deformation/CoordinatorFactory.h"
#include "deformation/internal/PointMap.h"

namespace {

using namespace qgdi::deform;

// Centre given in percent of the source size.
inline void PercentCentre(const SMapFrame& f, double px, double py, double& cx, double& cy) noexcept {
    cx = px / 100.0 * (f.width - 1);
    cy = py / 100.0 * (f.height - 1);
}

// Distance from (cx, cy) to the farthest corner of the source, at least 1/2.
inline double FarthestCorner(const SMapFrame& f, double cx, double cy) noexcept {
    const double dx = std::max(cx, f.width - 1 - cx), dy = std::max(cy, f.height - 1 - cy);
    return std::max(0.5, std::hypot(dx, dy));
}

struct STwirl {
    double radians = 0.0;
    double cx = 0.0, cy = 0.0, radius = 1.0;

    void Prepare(const SMapFrame& f) noexcept {
        cx = f.cx;
        cy = f.cy;
        radius = f.inner;
    }
    void Map(int x, int y, double& sx, double& sy) const noexcept {
        const double dx = x - cx, dy = y - cy, r2 = dx * dx + dy * dy;
        sx = x;
        sy = y;
        if (r2 >= radius * radius) return;
        // θ = angle·(1 − r/R)²
        const double t = 1.0 - std::sqrt(r2) / radius;
        TurnBack(cx, cy, dx, dy, radians * t * t, sx, sy);
    }
};

struct SRipple {
    double amplitude = 0.0, wavelength = 1.0, phase = 0.0, damping = 0.0;
    double cx = 0.0, cy = 0.0, reach = 1.0;

    void Prepare(const SMapFrame& f) noexcept {
        cx = f.cx;
        cy = f.cy;
        reach = f.outer;
    }
    void Map(int x, int y, double& sx, double& sy) const noexcept {
        const double dx = x - cx, dy = y - cy, r = std::hypot(dx, dy);
        sx = x;
        sy = y;
        if (r < 1e-12) return;
        // Δ = A·sin(2πr/λ − φ)·exp(−damping·r/Rc)·min(1, r), along the ray
        const double d = amplitude * std::sin(2.0 * kQPiFull * r / wavelength - phase) *
                         std::exp(-damping * r / reach) * std::min(1.0, r);
        sx += dx / r * d;
        sy += dy / r * d;
    }
};

struct SWarp {
    double fx = 0.5, fy = 0.5, fr = 0.5, amount = 0.0;
    double cx = 0.0, cy = 0.0, radius = 1.0;

    void Prepare(const SMapFrame& f) noexcept {
        cx = fx * (f.width - 1);
        cy = fy * (f.height - 1);
        radius = std::max(0.5, fr * std::min(f.width, f.height) * 0.5);
    }
    void Map(int x, int y, double& sx, double& sy) const noexcept {
        const double dx = x - cx, dy = y - cy, r2 = dx * dx + dy * dy;
        sx = x;
        sy = y;
        if (r2 >= radius * radius) return;
        // s = 1 − a·(1 − r/R)²: a > 0 samples nearer the centre, magnifying it
        const double t = 1.0 - std::sqrt(r2) / radius;
        const double s = 1.0 - amount * t * t;
        sx = cx + dx * s;
        sy = cy + dy * s;
    }
};

struct SSpherize {
    double k = 0.0;
    TYPEeSpherizeShape shape = keSpherizeNormal;
    SMapFrame f{};

    void Prepare(const SMapFrame& frame) noexcept { f = frame; }
    void Map(int x, int y, double& sx, double& sy) const noexcept {
        const double u = (x - f.cx) / f.ax, v = (y - f.cy) / f.ay, r2 = u * u + v * v;
        sx = x;
        sy = y;
        if (r2 >= 1.0) return;
        const double r = std::sqrt(r2);
        // s = r'/r, with its limit 1 + k(2/π − 1) or 1 + |k|(π/2 − 1) at the centre
        const double atCentre = k >= 0.0 ? 1.0 + k * (2.0 / kQPiFull - 1.0) : 1.0 - k * (kQPiFull * 0.5 - 1.0);
        const double s = r > 1e-12 ? SphereProfile(r, k) / r : atCentre;
        if (shape != keSpherizeVertical) sx = f.cx + u * s * f.ax;
        if (shape != keSpherizeHorizontal) sy = f.cy + v * s * f.ay;
    }
};

// Barrel and pincushion: s = (1 + k)/(1 + k·r²) along the enabled axes, r
// normalised by the farthest corner; k < 0 is barrel, k > 0 pincushion.
struct SRadialLens {
    double k = 0.0;
    bool bHorizontal = true, bVertical = true;
    double px = 50.0, py = 50.0;
    double cx = 0.0, cy = 0.0, norm2 = 1.0;

    void Prepare(const SMapFrame& f) noexcept {
        PercentCentre(f, px, py, cx, cy);
        const double n = FarthestCorner(f, cx, cy);
        norm2 = n * n;
    }
    void Map(int x, int y, double& sx, double& sy) const noexcept {
        const double dx = x - cx, dy = y - cy;
        const double s = (1.0 + k) / (1.0 + k * (dx * dx + dy * dy) / norm2);
        sx = bHorizontal ? cx + dx * s : x;
        sy = bVertical ? cy + dy * s : y;
    }
};

struct SFishEye {
    double amount = 0.0;  // −1..1
    bool bHorizontal = true, bVertical = true, bCircle = false;
    double px = 50.0, py = 50.0;
    double cx = 0.0, cy = 0.0, norm = 1.0, field = 0.0, tanField = 0.0;

    void Prepare(const SMapFrame& f) noexcept {
        PercentCentre(f, px, py, cx, cy);
        norm = bCircle ? f.inner : FarthestCorner(f, cx, cy);
        field = std::fabs(amount) * 85.0 * kQDegToRad;
        tanField = std::tan(field);
    }
    // r'/r of the lens (amount > 0) or of its inverse (amount < 0).
    double Scale(double r) const noexcept {
        // Below this field the lens differs from the identity by less than 1e-12.
        if (field < 1e-6) return 1.0;
        if (r < 1e-12) return amount > 0.0 ? field / tanField : tanField / field;
        return amount > 0.0 ? std::tan(r * field) / tanField / r : std::atan(r * tanField) / field / r;
    }
    void Map(int x, int y, double& sx, double& sy) const noexcept {
        const double dx = x - cx, dy = y - cy, r = std::hypot(dx, dy) / norm;
        sx = x;
        sy = y;
        if (bCircle && r >= 1.0) return;
        const double s = Scale(r);
        if (bHorizontal) sx = cx + dx * s;
        if (bVertical) sy = cy + dy * s;
    }
};

struct SGlasses {
    int centreX = 0, centreY = 0;
    double radius = 1.0, separation = 0.0, magnification = 1.0, radians = 0.0;
    double lx[2] = {0, 0}, ly[2] = {0, 0}, a = 1.0;

    void Prepare(const SMapFrame&) noexcept {
        const double hx = 0.5 * separation * std::cos(radians), hy = 0.5 * separation * std::sin(radians);
        lx[0] = centreX - hx, ly[0] = centreY - hy;
        lx[1] = centreX + hx, ly[1] = centreY + hy;
        a = 1.0 / magnification;
    }
    void Map(int x, int y, double& sx, double& sy) const noexcept {
        const double d0 = (x - lx[0]) * (x - lx[0]) + (y - ly[0]) * (y - ly[0]);
        const double d1 = (x - lx[1]) * (x - lx[1]) + (y - ly[1]) * (y - ly[1]);
        const int i = d1 < d0 ? 1 : 0;
        const double d2 = std::min(d0, d1);
        sx = x;
        sy = y;
        if (d2 >= radius * radius) return;
        // s = 1/m + (1 − 1/m)·(r/R)²
        const double s = a + (1.0 - a) * d2 / (radius * radius);
        sx = lx[i] + (x - lx[i]) * s;
        sy = ly[i] + (y - ly[i]) * s;
    }
};

}  // namespace

CCoordinator* Create_CCoordinatorTwirl(double degrees) {
    return NewMap<STwirl>(keEdgeConstant, std::isfinite(degrees) ? degrees * kQDegToRad : 0.0);
}

CCoordinator* Create_CCoordinatorRipple(double amplitude, double wavelength, double phaseDegrees, double damping) {
    return NewMap<SRipple>(keEdgeConstant, amplitude, std::max(1.0, wavelength), phaseDegrees * kQDegToRad,
                           std::max(0.0, damping));
}

CCoordinator* Create_CCoordinatorWarp(double centreX, double centreY, double radius, double amount) {
    return NewMap<SWarp>(keEdgeConstant, centreX, centreY, std::max(0.0, radius), std::clamp(amount, -1.0, 1.0));
}

CCoordinator* Create_CCoordinatorSpherize(int amount, TYPEeSpherizeShape shape) {
    const auto s = shape == keSpherizeHorizontal || shape == keSpherizeVertical ? shape : keSpherizeNormal;
    return NewMap<SSpherize>(keEdgeConstant, std::clamp(amount, -100, 100) / 100.0, s);
}

CCoordinator* Create_CCoordinatorBarrel(int amount, bool bHorizontal, bool bVertical, int centreX, int centreY,
                                        EEdgeMode edge) {
    return NewMap<SRadialLens>(edge, -std::clamp(amount / 100.0, -0.99, 0.99), bHorizontal, bVertical, double(centreX),
                               double(centreY));
}

CCoordinator* Create_CCoordinatorPincushion(int amount, bool bHorizontal, bool bVertical, int centreX, int centreY) {
    return NewMap<SRadialLens>(keEdgeConstant, std::clamp(amount / 100.0, -0.99, 0.99), bHorizontal, bVertical,
                               double(centreX), double(centreY));
}

CCoordinator* Create_CCoordinatorFishEye(int amount, bool bHorizontal, bool bVertical, bool bCircle, int centreX,
                                         int centreY, EEdgeMode edge) {
    return NewMap<SFishEye>(edge, std::clamp(amount, -100, 100) / 100.0, bHorizontal, bVertical, bCircle,
                            double(centreX), double(centreY));
}

CCoordinator* Create_CCoordinatorGlasses(int centreX, int centreY, double radius, double separation,
                                         double magnification, double degrees) {
    return NewMap<SGlasses>(keEdgeConstant, centreX, centreY, std::max(1.0, radius), std::max(0.0, separation),
                            std::clamp(magnification, 0.7, 20.0), degrees * kQDegToRad);
}

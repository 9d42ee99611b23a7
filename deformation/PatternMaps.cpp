// Maps that repeat or fold parts of the source: kaleidoscope, mosaic tiles,
// rays, reflections, ornaments and the rectangular lens.
#include <algorithm>
#include <cmath>

#include "deformation/CoordinatorFactory.h"
#include "deformation/internal/PointMap.h"

namespace {

using namespace qgdi::deform;

struct SKaleidoscope {
    int segments = 1;
    bool bMirror = false;
    double fx = 0.5, fy = 0.5, turn = 0.0, sourceTurn = 0.0, zoom = 1.0;
    double cx = 0.0, cy = 0.0, wedge = 2.0 * kQPiFull;

    void Prepare(const SMapFrame& f) noexcept {
        cx = fx * (f.width - 1);
        cy = fy * (f.height - 1);
        wedge = 2.0 * kQPiFull / segments;
    }
    void Map(int x, int y, double& sx, double& sy) const noexcept {
        const double dx = x - cx, dy = y - cy;
        // θ measured from the pattern's turn; k = wedge index, φ = angle inside the wedge
        double theta = std::atan2(dy, dx) - turn;
        theta -= 2.0 * kQPiFull * std::floor(theta / (2.0 * kQPiFull));
        const double k = std::floor(theta / wedge);
        double phi = theta - k * wedge;
        if (bMirror && std::fmod(k, 2.0) == 1.0) phi = wedge - phi;
        const double r = std::hypot(dx, dy) / zoom;
        sx = cx + r * std::cos(sourceTurn + phi);
        sy = cy + r * std::sin(sourceTurn + phi);
    }
};

struct SMosaic {
    double tw = 1.0, th = 1.0, radians = 0.0, zoom = 1.0, brick = 0.0;
    double cx = 0.0, cy = 0.0, c = 1.0, s = 0.0, inv = 1.0;

    void Prepare(const SMapFrame& f) noexcept {
        cx = f.cx;
        cy = f.cy;
        c = std::cos(radians);
        s = std::sin(radians);
        inv = 1.0 / zoom;
    }
    void Map(int x, int y, double& sx, double& sy) const noexcept {
        // Into grid space: g = R(−α)(p − c)
        const double dx = x - cx, dy = y - cy;
        const double gx = c * dx + s * dy, gy = -s * dx + c * dy;
        const double row = std::floor(gy / th);
        const double shift = std::fmod(std::fabs(row), 2.0) == 1.0 ? brick * tw : 0.0;
        const double col = std::floor((gx - shift) / tw);
        const double tcx = (col + 0.5) * tw + shift, tcy = (row + 0.5) * th;
        // g' = tc + (g − tc)/zoom, back through R(α)
        const double hx = tcx + (gx - tcx) * inv, hy = tcy + (gy - tcy) * inv;
        sx = cx + c * hx - s * hy;
        sy = cy + s * hx + c * hy;
    }
};

struct SRays {
    int rays = 1, profile = 0;
    double strength = 0.0, phase = 0.0, falloff = 0.0;
    double cx = 0.0, cy = 0.0, reach = 1.0;

    void Prepare(const SMapFrame& f) noexcept {
        cx = f.cx;
        cy = f.cy;
        reach = f.outer;
    }
    // 1 on a ray's axis, 0 midway between rays.
    double Weight(double theta) const noexcept {
        if (profile == 0) return 0.5 + 0.5 * std::cos(rays * theta);
        const double t = rays * theta / (2.0 * kQPiFull);
        return std::fabs(1.0 - 2.0 * (t - std::floor(t)));
    }
    void Map(int x, int y, double& sx, double& sy) const noexcept {
        const double dx = x - cx, dy = y - cy;
        const double r = std::hypot(dx, dy) / reach;
        // pull = strength·w(θ)·(r/Rc)^falloff; s = c + (p − c)(1 − pull)
        const double pull = strength * Weight(std::atan2(dy, dx) - phase) * std::pow(r, falloff);
        sx = cx + dx * (1.0 - pull);
        sy = cy + dy * (1.0 - pull);
    }
};

struct SReflections {
    int axis = 0, position = 0, side = 0;
    double wavelength = 1.0, amplitude = 0.0;

    void Prepare(const SMapFrame&) noexcept {}
    void Map(int x, int y, double& sx, double& sy) const noexcept {
        // Along the mirror (a) and across it (b), so that both axes share one rule.
        const int a = axis == 0 ? x : y, b = axis == 0 ? y : x;
        const int d = side == 0 ? b - position : position - b;
        double sa = a, sb = b;
        if (d > 0) {
            // Mirrored across the line, swaying along it: sb = line ∓ d, sa = a + A·sin(2πd/λ)
            sb = side == 0 ? position - d : position + d;
            sa = a + amplitude * std::sin(2.0 * kQPiFull * d / wavelength);
        }
        sx = axis == 0 ? sa : sb;
        sy = axis == 0 ? sb : sa;
    }
};

struct SOrnament {
    double tw = 1.0, th = 1.0;
    int symmetry = keOrnamentTranslate;
    bool bCentred = false;
    double radians = 0.0, zoom = 1.0, ox = 0.0, oy = 0.0;
    double anchorX = 0.0, anchorY = 0.0, c = 1.0, s = 0.0;

    void Prepare(const SMapFrame& f) noexcept {
        // Anchored at the top-left pixel, or with one tile centred on the centre pixel.
        anchorX = bCentred ? f.cx - (tw - 1.0) * 0.5 : 0.0;
        anchorY = bCentred ? f.cy - (th - 1.0) * 0.5 : 0.0;
        c = std::cos(radians);
        s = std::sin(radians);
    }
    void Map(int x, int y, double& sx, double& sy) const noexcept {
        // Tile space: turned by −α about the anchor.
        const double dx = x - anchorX, dy = y - anchorY;
        const double gx = c * dx + s * dy, gy = -s * dx + c * dy;
        const double i = std::floor(gx / tw), j = std::floor(gy / th);
        double fx = gx - i * tw, fy = gy - j * th;
        const bool oddI = std::fmod(std::fabs(i), 2.0) == 1.0, oddJ = std::fmod(std::fabs(j), 2.0) == 1.0;
        // Pixel-exact mirrors within a tile: f → size − 1 − f.
        switch (symmetry) {
        case keOrnamentMirror:
            if (oddI) fx = tw - 1.0 - fx;
            break;
        case keOrnamentMirror2:
            if (oddI) fx = tw - 1.0 - fx;
            if (oddJ) fy = th - 1.0 - fy;
            break;
        case keOrnamentHalfTurn:
            if (oddI != oddJ) fx = tw - 1.0 - fx, fy = th - 1.0 - fy;
            break;
        case keOrnamentQuarterTurn: {
            // Quarter turns 0, 1, 2, 3 around a 2 x 2 block, on cell centres (f + 1/2)/size.
            const int q = oddJ ? (oddI ? 2 : 3) : (oddI ? 1 : 0);
            const double a = (fx + 0.5) / tw, b = (fy + 0.5) / th;
            const double ra[4] = {a, b, 1.0 - a, 1.0 - b}, rb[4] = {b, 1.0 - a, 1.0 - b, a};
            fx = ra[q] * tw - 0.5;
            fy = rb[q] * th - 0.5;
            break;
        }
        default: break;
        }
        // s = offset + f·zoom
        sx = ox + fx * zoom;
        sy = oy + fy * zoom;
    }
};

struct SRectLens {
    double magnification = 1.0;
    double rect[4] = {0.0, 0.0, 1.0, 1.0};
    double softness = 0.0;
    double lcx = 0.0, lcy = 0.0, hx = 0.5, hy = 0.5, inner = 1.0, a = 1.0;

    void Prepare(const SMapFrame& f) noexcept {
        const double l = std::min(rect[0], rect[2]) * (f.width - 1), r = std::max(rect[0], rect[2]) * (f.width - 1);
        const double t = std::min(rect[1], rect[3]) * (f.height - 1), b = std::max(rect[1], rect[3]) * (f.height - 1);
        lcx = (l + r) * 0.5;
        lcy = (t + b) * 0.5;
        hx = std::max(0.5, (r - l) * 0.5);
        hy = std::max(0.5, (b - t) * 0.5);
        inner = 1.0 - softness;
        a = 1.0 / magnification;
    }
    void Map(int x, int y, double& sx, double& sy) const noexcept {
        const double dx = x - lcx, dy = y - lcy;
        const double t = std::max(std::fabs(dx) / hx, std::fabs(dy) / hy);
        sx = x;
        sy = y;
        if (t >= 1.0) return;
        // g = 1/m inside, smoothstep up to 1 across the soft rim
        double g = a;
        if (t > inner) {
            const double u = (t - inner) / softness;
            g = a + (1.0 - a) * u * u * (3.0 - 2.0 * u);
        }
        sx = lcx + dx * g;
        sy = lcy + dy * g;
    }
};

}  // namespace

CCoordinator* Create_CCoordinatorKaleidoscope(int nSegments, int bMirror, double centreX, double centreY,
                                              double degrees, double sourceDegrees, double zoom) {
    return NewMap<SKaleidoscope>(keEdgeConstant, std::clamp(nSegments, 1, 360), bMirror != 0, centreX, centreY,
                                 degrees * kQDegToRad, sourceDegrees * kQDegToRad, std::clamp(zoom, 0.01, 100.0));
}

CCoordinator* Create_CCoordinatorMosaicAdvanced(int tileWidth, int tileHeight, double degrees, double zoom,
                                                double brick) {
    return NewMap<SMosaic>(keEdgeConstant, double(std::max(1, tileWidth)), double(std::max(1, tileHeight)),
                           degrees * kQDegToRad, std::clamp(zoom, 0.01, 100.0), brick);
}

CCoordinator* Create_CCoordinatorRays(int nRays, int profile, double strength, double phaseDegrees, double falloff) {
    return NewMap<SRays>(keEdgeConstant, std::clamp(nRays, 1, 360), profile == 1 ? 1 : 0,
                         std::clamp(strength, 0.0, 1.0), phaseDegrees * kQDegToRad, std::max(0.0, falloff));
}

CCoordinator* Create_CCoordinatorReflections(int axis, int position, int side, int wavelength, double amplitude) {
    return NewMap<SReflections>(keEdgeConstant, axis == 1 ? 1 : 0, position, side == 1 ? 1 : 0,
                                double(std::max(1, wavelength)), amplitude);
}

CCoordinator* Create_CCoordinatorOrnament(int tileWidth, int tileHeight, int symmetry, int bCentred, double degrees,
                                          double zoom, double offsetX, double offsetY) {
    const int sym = symmetry >= keOrnamentTranslate && symmetry <= keOrnamentQuarterTurn ? symmetry
                                                                                         : keOrnamentTranslate;
    return NewMap<SOrnament>(keEdgeConstant, double(std::max(1, tileWidth)), double(std::max(1, tileHeight)), sym,
                             bCentred != 0, degrees * kQDegToRad, std::clamp(zoom, 0.01, 100.0), offsetX, offsetY);
}

CCoordinator* Create_CCoordinatorRectangularLens4(double magnification, const double* rect, double softness) {
    SRectLens lens;
    lens.magnification = std::clamp(magnification, 0.05, 50.0);
    if (rect) std::copy(rect, rect + 4, lens.rect);
    lens.softness = std::clamp(softness, 0.0, 1.0);
    return NewMap<SRectLens>(keEdgeConstant, lens);
}

// Distortions that are one matrix from destination to source. Most depend on
// the source size, so the matrix is built when the map is realised: a forward
// (source to destination) matrix from the size, moved so that the image of
// the source starts at (0, 0), then inverted.
#include <algorithm>
#include <cmath>
#include <functional>

#include "deformation/CoordinatorFactory.h"
#include "deformation/CoordinatorMatrix.h"
#include "deformation/internal/PointMap.h"
#include "geometry/GeomConstants.h"
#include "geometry/MatrixBuild.h"
#include "geometry/MatrixFunctions.h"

namespace {

// Builds the forward matrix for a source of w x h; false when the map is degenerate.
using FForward = std::function<bool(int w, int h, double* forward)>;

class CCoordinatorFitted final : public CCoordinatorMatrix {
public:
    CCoordinatorFitted(FForward forward, bool bFit) : m_forward(std::move(forward)), m_bFit(bFit) {}

    bool Realize(int width, int height) override {
        double f[9];
        QGDI_MatrixIdentity(f);
        if (width <= 0 || height <= 0 || !m_forward(width, height, f)) {
            m_nWidth = m_nHeight = 0;
            return false;
        }
        if (m_bFit) {
            SQRECT box{0.0, 0.0, width - 1.0, height - 1.0};
            QGDI_MatrixTransform(f, box);
            QGDI_MatrixTranslate(f, -box.left, -box.top);
        }
        double inv[9];
        if (!QGDI_MatrixGetInverse(f, inv)) {
            m_nWidth = m_nHeight = 0;
            return false;
        }
        SetMatrix(inv);
        return CCoordinatorMatrix::Realize(width, height);
    }

private:
    FForward m_forward;
    bool m_bFit;
};

CCoordinator* NewFitted(FForward forward, bool bFit = true) noexcept {
    try {
        return new CCoordinatorFitted(std::move(forward), bFit);
    } catch (...) {
        return nullptr;
    }
}

// The linear matrix [a b 0; c d 0; 0 0 1].
FForward Linear(double a, double b, double c, double d) {
    return [=](int, int, double* f) {
        const double m[9] = {a, b, 0.0, c, d, 0.0, 0.0, 0.0, 1.0};
        std::copy(m, m + 9, f);
        return true;
    };
}

// Source corners (clockwise from the top-left) onto the given quadrilateral.
bool QuadForward(int w, int h, const SQPOINT quad[4], double* f) {
    const SQRECT src{0.0, 0.0, std::max(1.0, w - 1.0), std::max(1.0, h - 1.0)};
    return QGDI_MatrixFromRectAnd4Points(f, src, quad);
}

// The trapezoid of a one-edge perspective taper, in units of the source size.
FForward Taper(double amount, bool bHorizontal) {
    const double a = std::clamp(amount, -0.99, 0.99);
    return [=](int w, int h, double* f) {
        const double W = std::max(1.0, w - 1.0), H = std::max(1.0, h - 1.0);
        // The shrunk edge keeps its centre: inset = |a|/2 of the edge at each end.
        const double in = std::fabs(a) * 0.5;
        SQPOINT q[4] = {{0, 0}, {W, 0}, {W, H}, {0, H}};
        if (bHorizontal && a > 0) q[1].y = in * H, q[2].y = (1 - in) * H;
        if (bHorizontal && a < 0) q[0].y = in * H, q[3].y = (1 - in) * H;
        if (!bHorizontal && a > 0) q[3].x = in * W, q[2].x = (1 - in) * W;
        if (!bHorizontal && a < 0) q[0].x = in * W, q[1].x = (1 - in) * W;
        return QuadForward(w, h, q, f);
    };
}

}  // namespace

CCoordinator* Create_CCoordinatorMatrix(const double* m) {
    try {
        return new CCoordinatorMatrix(m);
    } catch (...) {
        return nullptr;
    }
}

CCoordinator* Create_CCoordinatorMatrix(const CQMatrix3x3& m) { return Create_CCoordinatorMatrix(m.Data()); }

CCoordinator* Create_CCoordinatorMatrixPerspective(const CQPoint* corners, CSize size, bool bFit) {
    SQPOINT quad[4] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
    if (corners) std::copy(corners, corners + 4, quad);
    const int cw = size.cx, ch = size.cy;
    return NewFitted(
        [=](int w, int h, double* f) {
            // Quadrilateral of a cw x ch source; a source of another size is first scaled to it.
            if (!QuadForward(cw, ch, quad, f)) return false;
            const double sx = std::max(1.0, cw - 1.0) / std::max(1.0, w - 1.0);
            const double sy = std::max(1.0, ch - 1.0) / std::max(1.0, h - 1.0);
            const double scale[9] = {sx, 0, 0, 0, sy, 0, 0, 0, 1};
            QGDI_MatrixMultiply(f, f, scale);
            return corners != nullptr;
        },
        bFit);
}

CCoordinator* Create_CCoordinatorFlip() { return NewFitted(Linear(1, 0, 0, -1)); }

CCoordinator* Create_CCoordinatorMirror() { return NewFitted(Linear(-1, 0, 0, 1)); }

CCoordinator* Create_CCoordinatorRotate(double degrees) {
    // [cos −sin; sin cos] turns +x toward +y, clockwise on screen.
    const double t = degrees * kQDegToRad;
    return NewFitted(Linear(std::cos(t), -std::sin(t), std::sin(t), std::cos(t)));
}

CCoordinator* Create_CCoordinatorScale(double sx, double sy) {
    auto limit = [](double s) { return std::fabs(s) >= 1e-3 ? s : (s < 0 ? -1e-3 : 1e-3); };
    return NewFitted(Linear(limit(sx), 0, 0, limit(sy)));
}

CCoordinator* Create_CCoordinatorSkew(double degreesX, double degreesY) {
    const double kx = std::tan(std::clamp(degreesX, -85.0, 85.0) * kQDegToRad);
    const double ky = std::tan(std::clamp(degreesY, -85.0, 85.0) * kQDegToRad);
    return NewFitted(Linear(1, kx, ky, 1));
}

CCoordinator* Create_CCoordinatorHPerspective(double amount) { return NewFitted(Taper(amount, true)); }

CCoordinator* Create_CCoordinatorVPerspective(double amount) { return NewFitted(Taper(amount, false)); }

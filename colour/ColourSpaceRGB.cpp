#include "colour/ColourSpaceRGB.h"

#include <atomic>

#include "colour/internal/Matrix3.h"

namespace {
std::atomic<const SColorSpecRGB*> g_spec{nullptr};
}

void QGDI_Vantor_SetColorSpec(const SColorSpecRGB* cs) noexcept { g_spec.store(cs, std::memory_order_release); }

const SColorSpecRGB* QGDI_Vantor_GetColorSpec() noexcept {
    const SColorSpecRGB* cs = g_spec.load(std::memory_order_acquire);
    return cs ? cs : &kColorSpecSRGB;
}

bool QGDI_MakeColorSpec(double xr, double yr, double xg, double yg, double xb, double yb, double Xw, double Yw,
                        double Zw, uint32_t gammaType, double gamma, SColorSpecRGB& cs) noexcept {
    if (!(yr != 0 && yg != 0 && yb != 0)) return false;
    // Unscaled primary columns (x/y, 1, (1-x-y)/y), laid out row-major for the solve.
    const double p[9] = {xr / yr,           xg / yg, xb / yb, 1, 1, 1, (1 - xr - yr) / yr, (1 - xg - yg) / yg,
                         (1 - xb - yb) / yb};
    double pinv[9];
    if (!qgdi::colour::Invert3x3(p, pinv)) return false;
    // Column scales S solve P.S = white, so that linear (1, 1, 1) maps to the white.
    const double w[3] = {Xw, Yw, Zw};
    double s[3];
    qgdi::colour::Mul3x3(pinv, w, s);
    const double m[9] = {p[0] * s[0], p[1] * s[1], p[2] * s[2], p[3] * s[0], p[4] * s[1],
                         p[5] * s[2], p[6] * s[0], p[7] * s[1], p[8] * s[2]};
    double minv[9];
    if (!qgdi::colour::Invert3x3(m, minv)) return false;
    cs.nGammaType = gammaType;
    cs.dGamma = gamma;
    // Row-major M to the column-by-column storage of the record.
    for (int row = 0; row < 3; ++row)
        for (int col = 0; col < 3; ++col) {
            cs.mRGBtoXYZ[col * 3 + row] = m[row * 3 + col];
            cs.mXYZtoRGB[col * 3 + row] = minv[row * 3 + col];
        }
    return true;
}

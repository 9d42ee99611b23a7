#pragma once
// The curve formulas, shared by the scalar API and the table builders of the
// pixel functors so that both compute bit-identical values.
#include <cmath>

#include "colour/ColourSpaceRGB.h"

namespace qgdi::colour {

// CIE constants: epsilon = 216/24389, kappa = 24389/27.
inline constexpr double kLabEpsilon = 0.008856451679035631;
inline constexpr double kLabKappa = 903.2962962962963;

enum class ECurve { Power, SRGB, LStar, Rec709 };

// Kind 0 with a positive exponent is a power law; kind 0 without one, kind 1
// and every unknown kind fall back to sRGB.
inline ECurve ResolveCurve(const SColorSpecRGB& cs) noexcept {
    switch (cs.nGammaType) {
    case keGammaPower: return cs.dGamma > 0 ? ECurve::Power : ECurve::SRGB;
    case keGammaLStar: return ECurve::LStar;
    case keGammaRec709: return ECurve::Rec709;
    default: return ECurve::SRGB;
    }
}

// Decode of |x| (x >= 0).
inline double DecodeMagnitude(double x, ECurve curve, double gamma) noexcept {
    switch (curve) {
    case ECurve::Power: return std::pow(x, gamma);
    case ECurve::SRGB: return x <= 0.04045 ? x / 12.92 : std::pow((x + 0.055) / 1.055, 2.4);
    case ECurve::LStar: {
        // t = 100x; (t + 16)^3 / 116^3 expanded in Horner form, linear below t = 8.
        const double t = 100.0 * x;
        return t <= 8.0 ? t * 27.0 / 24389.0 : (((t + 48.0) * t + 768.0) * t + 4096.0) / 1560896.0;
    }
    case ECurve::Rec709: return x <= 0.081 ? x / 4.5 : std::pow((x + 0.099) / 1.099, 1.0 / 0.45);
    }
    return x;
}

// Encode of |y| (y >= 0).
inline double EncodeMagnitude(double y, ECurve curve, double gamma) noexcept {
    switch (curve) {
    case ECurve::Power: return std::pow(y, 1.0 / gamma);
    case ECurve::SRGB: return y <= 0.0031308 ? 12.92 * y : 1.055 * std::pow(y, 1.0 / 2.4) - 0.055;
    case ECurve::LStar: return y <= kLabEpsilon ? y * 24389.0 / 27.0 / 100.0 : (116.0 * std::cbrt(y) - 16.0) / 100.0;
    case ECurve::Rec709: return y <= 0.018 ? 4.5 * y : 1.099 * std::pow(y, 0.45) - 0.099;
    }
    return y;
}

// Every curve is odd: the sign is taken off and put back.
inline double Decode(double x, ECurve curve, double gamma) noexcept {
    return x < 0 ? -DecodeMagnitude(-x, curve, gamma) : DecodeMagnitude(x, curve, gamma);
}
inline double Encode(double y, ECurve curve, double gamma) noexcept {
    return y < 0 ? -EncodeMagnitude(-y, curve, gamma) : EncodeMagnitude(y, curve, gamma);
}

// The shared YtoL table: 8192 entries, entry i = L* encode of i/8191. Built by
// the first caller; callers arriving during the build sleep until it is ready.
inline constexpr int kYtoLTableSize = 8192;
const double* YtoLTable() noexcept;
// How many times the table was filled since start (or since the last reset).
int YtoLTableBuildCount() noexcept;
// Forgets the table so that a test can watch the first build again. Only for
// tests, while no other thread uses YtoL.
void YtoLTableResetForTest() noexcept;

}  // namespace qgdi::colour

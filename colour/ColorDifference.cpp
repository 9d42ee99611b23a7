#include "colour/ColorDifference.h"

#include <cmath>

#include "colour/CIEConversions.h"

namespace {

// The hue and angle scales shared with the LCh conversion.
constexpr double kAtanToHue = 7.818590349124534e-05;
constexpr double kHueToAngle = 57.29577951308232;

double Sq(double v) noexcept { return v * v; }

double HueOf(double b, double a) noexcept {
    double h = std::atan2(b, a) * kAtanToHue;
    if (h < 0) h += 360.0;
    return h;
}

double CosDeg(double h) noexcept { return std::cos(h * kHueToAngle); }
double SinDeg(double h) noexcept { return std::sin(h * kHueToAngle); }

struct SDiff {
    double dL, dC, dH, C1;
};

// dL = L1 - L2, dC = C1 - C2, dH = sqrt(da^2 + db^2 - dC^2), 0 when not positive.
SDiff Differences(double L1, double a1, double b1, double L2, double a2, double b2) noexcept {
    const double C1 = std::sqrt(a1 * a1 + b1 * b1), C2 = std::sqrt(a2 * a2 + b2 * b2);
    const double dC = C1 - C2;
    const double rad = Sq(a1 - a2) + Sq(b1 - b2) - dC * dC;
    return {L1 - L2, dC, rad > 0 ? std::sqrt(rad) : 0.0, C1};
}

double DeltaECMC(double L1, double a1, double b1, double L2, double a2, double b2) noexcept {
    const SDiff d = Differences(L1, a1, b1, L2, a2, b2);
    const double h1 = HueOf(b1, a1);
    const double C1 = d.C1;
    const double SL = L1 < 16.0 ? 0.511 : 0.040975 * L1 / (1.0 + 0.01765 * L1);
    const double SC = 0.0638 * C1 / (1.0 + 0.0131 * C1) + 0.638;
    const double C14 = Sq(Sq(C1));
    const double F = std::sqrt(C14 / (C14 + 1900.0));
    const double T = (h1 >= 164.0 && h1 <= 345.0) ? 0.56 + std::fabs(0.2 * CosDeg(h1 + 168.0))
                                                  : 0.36 + std::fabs(0.4 * CosDeg(h1 + 35.0));
    const double SH = SC * (F * T + 1.0 - F);
    return std::sqrt(Sq(d.dL / SL) + Sq(d.dC / SC) + Sq(d.dH / SH));
}

double DeltaECIE1994(double L1, double a1, double b1, double L2, double a2, double b2) noexcept {
    const SDiff d = Differences(L1, a1, b1, L2, a2, b2);
    const double SC = 1.0 + 0.045 * d.C1, SH = 1.0 + 0.015 * d.C1;
    return std::sqrt(Sq(d.dL) + Sq(d.dC / SC) + Sq(d.dH / SH));
}

double DeltaECIEDE2000(double L1, double a1, double b1, double L2, double a2, double b2) noexcept {
    constexpr double k25Pow7 = 6103515625.0;
    const double C1 = std::sqrt(a1 * a1 + b1 * b1), C2 = std::sqrt(a2 * a2 + b2 * b2);
    const double Cm7 = std::pow((C1 + C2) * 0.5, 7.0);
    // a' = (1 + G) a with G = (1 - sqrt(Cm^7/(Cm^7 + 25^7)))/2
    const double G = 0.5 * (1.0 - std::sqrt(Cm7 / (Cm7 + k25Pow7)));
    const double a1p = (1.0 + G) * a1, a2p = (1.0 + G) * a2;
    const double C1p = std::sqrt(a1p * a1p + b1 * b1), C2p = std::sqrt(a2p * a2p + b2 * b2);
    const double h1p = (a1p == 0 && b1 == 0) ? 0.0 : HueOf(b1, a1p);
    const double h2p = (a2p == 0 && b2 == 0) ? 0.0 : HueOf(b2, a2p);
    const double CC = C1p * C2p;

    const double dLp = L2 - L1, dCp = C2p - C1p;
    double dhp = 0.0;
    if (CC != 0) {
        dhp = h2p - h1p;
        if (dhp > 180.0) dhp -= 360.0;
        else if (dhp < -180.0) dhp += 360.0;
    }
    const double dHp = 2.0 * std::sqrt(CC) * SinDeg(dhp * 0.5);

    const double Lm = (L1 + L2) * 0.5, Cmp = (C1p + C2p) * 0.5;
    double hm = h1p + h2p;
    if (CC != 0) {
        if (std::fabs(h1p - h2p) <= 180.0) hm *= 0.5;
        else hm = hm < 360.0 ? (hm + 360.0) * 0.5 : (hm - 360.0) * 0.5;
    }
    const double T = 1.0 - 0.17 * CosDeg(hm - 30.0) + 0.24 * CosDeg(2.0 * hm) + 0.32 * CosDeg(3.0 * hm + 6.0) -
                     0.20 * CosDeg(4.0 * hm - 63.0);
    const double dTheta = 30.0 * std::exp(-Sq((hm - 275.0) / 25.0));
    const double Cmp7 = std::pow(Cmp, 7.0);
    const double RC = 2.0 * std::sqrt(Cmp7 / (Cmp7 + k25Pow7));
    const double SL = 1.0 + 0.015 * Sq(Lm - 50.0) / std::sqrt(20.0 + Sq(Lm - 50.0));
    const double SC = 1.0 + 0.045 * Cmp;
    const double SH = 1.0 + 0.015 * Cmp * T;
    const double RT = -SinDeg(2.0 * dTheta) * RC;
    const double tL = dLp / SL, tC = dCp / SC, tH = dHp / SH;
    const double sum = tL * tL + tC * tC + tH * tH + RT * tC * tH;
    return std::sqrt(sum > 0 ? sum : 0.0);
}

}  // namespace

double DeltaE(double L1, double a1, double b1, double L2, double a2, double b2, EDeltaEType type) noexcept {
    switch (type) {
    case keDeltaECMC: return DeltaECMC(L1, a1, b1, L2, a2, b2);
    case keDeltaECIE1994: return DeltaECIE1994(L1, a1, b1, L2, a2, b2);
    case keDeltaECIEDE2000: return DeltaECIEDE2000(L1, a1, b1, L2, a2, b2);
    default: return std::sqrt(Sq(L1 - L2) + Sq(a1 - a2) + Sq(b1 - b2));
    }
}

double DeltaE(double R1, double G1, double B1, double R2, double G2, double B2, const SColorSpecRGB& cs,
              EDeltaEType type) noexcept {
    double L1, a1, b1, L2, a2, b2;
    RGBDtoLab(R1, G1, B1, L1, a1, b1, cs);
    RGBDtoLab(R2, G2, B2, L2, a2, b2, cs);
    return DeltaE(L1, a1, b1, L2, a2, b2, type);
}

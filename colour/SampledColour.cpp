#include "colour/SampledColour.h"

#include <algorithm>
#include <cmath>

#include "colour/internal/Matrix3.h"

namespace {

constexpr int kN = CSpectralColor::kSampleCount;

// CIE 1931 2-degree standard observer, 400..700 nm every 10 nm (CIE 15:2004 Table T.4).
constexpr double kCmf[kN][3] = {
    {0.01431, 0.000396, 0.06785}, {0.04351, 0.00121, 0.2074},  {0.13438, 0.004, 0.6456},    {0.2839, 0.0116, 1.3856},
    {0.34828, 0.023, 1.74706},    {0.3362, 0.038, 1.77211},    {0.2908, 0.06, 1.6692},      {0.19536, 0.09098, 1.28764},
    {0.09564, 0.13902, 0.81295},  {0.03201, 0.20802, 0.46518}, {0.0049, 0.323, 0.272},      {0.0093, 0.503, 0.1582},
    {0.06327, 0.71, 0.07825},     {0.1655, 0.862, 0.04216},    {0.2904, 0.954, 0.0203},     {0.43345, 0.99495, 0.00875},
    {0.5945, 0.995, 0.0039},      {0.7621, 0.952, 0.0021},     {0.9163, 0.87, 0.00165},     {1.0263, 0.757, 0.0011},
    {1.0622, 0.631, 0.0008},      {1.0026, 0.503, 0.00034},    {0.85445, 0.381, 0.00019},   {0.6424, 0.265, 0.00005},
    {0.4479, 0.175, 0.00002},     {0.2835, 0.107, 0.0},        {0.1649, 0.061, 0.0},        {0.0874, 0.032, 0.0},
    {0.04677, 0.017, 0.0},        {0.0227, 0.00821, 0.0},      {0.01135916, 0.004102, 0.0},
};

double Wavelength(int i) noexcept { return 400.0 + 10.0 * i; }

// Relative spectral power of a Planckian radiator, normalised to 1 at 560 nm:
// (560/l)^5 (exp(c2/(560 T)) - 1)/(exp(c2/(l T)) - 1), l in nm, c2 in nm K.
double Planck(double nm, double T, double c2) noexcept {
    return std::pow(560.0 / nm, 5.0) * std::expm1(c2 / (560.0 * T)) / std::expm1(c2 / (nm * T));
}

}  // namespace

CSpectralColor::CSpectralColor() noexcept { m_s.fill(0.0); }

CSpectralColor::CSpectralColor(double value) noexcept { m_s.fill(value); }

CSpectralColor::CSpectralColor(const double (&samples)[kSampleCount]) noexcept {
    std::copy(samples, samples + kSampleCount, m_s.begin());
}

bool CSpectralColor::IsLegalWavelength(double nm) noexcept {
    return nm >= 400.0 && nm <= 700.0 && std::fmod(nm - 400.0, 10.0) == 0.0;
}

int CSpectralColor::WavelengthToSampleIndex(double nm) noexcept {
    const double i = std::trunc((nm - 400.0) / 10.0);
    if (!(i > 0)) return 0;
    return i >= kSampleCount - 1 ? kSampleCount - 1 : int(i);
}

int CSpectralColor::SampleIndexToWavelength(int index) noexcept {
    if (index < 0) return 400;
    return (std::min(index, kSampleCount - 1) + 40) * 10;
}

double CSpectralColor::GetSample(int index) const noexcept { return m_s[size_t(ClampIndex(index))]; }

void CSpectralColor::SetSample(int index, double value) noexcept { m_s[size_t(ClampIndex(index))] = value; }

bool CSpectralColor::Initialize(ESpectrumType type, double parameter) noexcept {
    switch (type) {
    case keSpectrumZero: m_s.fill(0.0); return true;
    case keSpectrumFlat: m_s.fill(parameter); return true;
    case keSpectrumMonochromatic:
        if (!(parameter >= 400.0 && parameter <= 700.0)) return false;
        m_s.fill(0.0);
        // The nearest sample takes the whole line.
        m_s[size_t(WavelengthToSampleIndex(parameter + 5.0))] = 1.0;
        return true;
    case keSpectrumBlackbody:
        if (!(parameter > 0) || std::isinf(parameter)) return false;
        // c2 = 1.4388e-2 m K (ITS-90)
        for (int i = 0; i < kN; ++i) m_s[size_t(i)] = Planck(Wavelength(i), parameter, 1.4388e7);
        return true;
    case keSpectrumIlluminantA:
        // Illuminant A is defined with the older c2 = 1.435e-2 m K at 2848 K.
        for (int i = 0; i < kN; ++i) m_s[size_t(i)] = Planck(Wavelength(i), 2848.0, 1.435e7);
        return true;
    }
    return false;
}

void CSpectralColor::XYZ(double& X, double& Y, double& Z) const noexcept { XYZ(CSpectralColor(1.0), X, Y, Z); }

void CSpectralColor::XYZ(const CSpectralColor& illuminant, double& X, double& Y, double& Z) const noexcept {
    double sx = 0, sy = 0, sz = 0, norm = 0;
    for (int i = 0; i < kN; ++i) {
        const double p = m_s[size_t(i)] * illuminant.m_s[size_t(i)];
        sx += p * kCmf[i][0];
        sy += p * kCmf[i][1];
        sz += p * kCmf[i][2];
        norm += illuminant.m_s[size_t(i)] * kCmf[i][1];
    }
    // X = sum(s I xbar)/sum(I ybar)
    if (norm == 0) {
        X = Y = Z = 0.0;
        return;
    }
    X = sx / norm;
    Y = sy / norm;
    Z = sz / norm;
}

double CSpectralColor::Integrate(double k) const noexcept {
    double s = 0;
    for (double v : m_s) s += v;
    return k * s / kN;
}

double CSpectralColor::Integrate(const CSpectralColor& a, const CSpectralColor& b, double k) noexcept {
    return (a * b).Integrate(k);
}

double CSpectralColor::Integrate(const CSpectralColor& a, const CSpectralColor& b, const CSpectralColor& c,
                                 double k) noexcept {
    return (a * b * c).Integrate(k);
}

CSpectralColor CSpectralColor::Bouguer(const CSpectralColor& s, double d) noexcept {
    d = std::max(d, 0.0);
    if (d == 1.0) return s;
    CSpectralColor out;
    // t^d computed as 10^(d log10 t), with t kept in 1e-10..1
    for (int i = 0; i < kN; ++i)
        out.m_s[size_t(i)] = std::pow(10.0, d * std::log10(std::clamp(s.m_s[size_t(i)], 1e-10, 1.0)));
    return out;
}

CSpectralColor CSpectralColor::LinearCombination(double a, const CSpectralColor& s1, double b,
                                                 const CSpectralColor& s2) noexcept {
    return s1 * a + s2 * b;
}

CSpectralColor CSpectralColor::LinearCombination(double a, const CSpectralColor& s1, double b, const CSpectralColor& s2,
                                                 double c, const CSpectralColor& s3) noexcept {
    return s1 * a + s2 * b + s3 * c;
}

double CSpectralColor::CalcError(double X, double Y, double Z) const noexcept {
    double x, y, z;
    XYZ(x, y, z);
    return std::sqrt((x - X) * (x - X) + (y - Y) * (y - Y) + (z - Z) * (z - Z));
}

double CSpectralColor::AdjustSpectralPrimary(double X, double Y, double Z, int maxIterations,
                                             double tolerance) noexcept {
    // With the equal-energy normalisation XYZ = A s, A_ki = cmf_k(i)/sum(ybar).
    double norm = 0;
    for (int i = 0; i < kN; ++i) norm += kCmf[i][1];
    // Gram matrix G = A A^T, row-major, and its inverse.
    double gram[9] = {};
    for (int i = 0; i < kN; ++i)
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 3; ++c) gram[r * 3 + c] += kCmf[i][r] * kCmf[i][c] / (norm * norm);
    double gramInv[9];
    if (!qgdi::colour::Invert3x3(gram, gramInv)) return CalcError(X, Y, Z);

    const double target[3] = {X, Y, Z};
    double err = CalcError(X, Y, Z);
    for (int it = 0; it < maxIterations && err > tolerance; ++it) {
        double cur[3];
        XYZ(cur[0], cur[1], cur[2]);
        const double res[3] = {target[0] - cur[0], target[1] - cur[1], target[2] - cur[2]};
        // Smallest correction onto the target plane: s += A^T G^-1 (t - A s).
        double lambda[3];
        qgdi::colour::Mul3x3(gramInv, res, lambda);
        for (int i = 0; i < kN; ++i) {
            const double ds = (lambda[0] * kCmf[i][0] + lambda[1] * kCmf[i][1] + lambda[2] * kCmf[i][2]) / norm;
            m_s[size_t(i)] = std::clamp(m_s[size_t(i)] + ds, 0.0, 1.0);
        }
        err = CalcError(X, Y, Z);
    }
    return err;
}

bool CSpectralColor::BuildSpectralPrimaries(const SColorSpecRGB& cs, CSpectralColor primaries[3],
                                            double tolerance) noexcept {
    if (!primaries) return false;
    bool ok = true;
    for (int k = 0; k < 3; ++k) {
        const double* col = cs.mRGBtoXYZ + 3 * k;
        // Start from a mid grey so that the corrections can go both ways.
        primaries[k] = CSpectralColor(0.5);
        const double err = primaries[k].AdjustSpectralPrimary(col[0], col[1], col[2], 20000, tolerance * 0.1);
        ok = ok && err <= tolerance;
    }
    return ok;
}

CSpectralColor& CSpectralColor::operator+=(const CSpectralColor& o) noexcept {
    for (int i = 0; i < kN; ++i) m_s[size_t(i)] += o.m_s[size_t(i)];
    return *this;
}

CSpectralColor& CSpectralColor::operator-=(const CSpectralColor& o) noexcept {
    for (int i = 0; i < kN; ++i) m_s[size_t(i)] -= o.m_s[size_t(i)];
    return *this;
}

CSpectralColor& CSpectralColor::operator*=(const CSpectralColor& o) noexcept {
    for (int i = 0; i < kN; ++i) m_s[size_t(i)] *= o.m_s[size_t(i)];
    return *this;
}

CSpectralColor& CSpectralColor::operator*=(double k) noexcept {
    for (double& v : m_s) v *= k;
    return *this;
}

CSpectralColor& CSpectralColor::operator/=(double k) noexcept {
    for (double& v : m_s) v /= k;
    return *this;
}

#include "effects/IoLighting.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "effects/internal/EffectPixels.h"
#include "qdibcore/Source/internal/ResultTry.h"

using namespace qgdi::effects;

namespace {
constexpr double kPi = 3.14159265358979;
double Finite(double v, double otherwise = 0) noexcept { return std::isfinite(v) ? std::clamp(v, -1e9, 1e9) : otherwise; }
void SetColour(double out[3], const CColorRef& c) noexcept {
    out[0] = c.GetRed8() / 255.0, out[1] = c.GetGreen8() / 255.0, out[2] = c.GetBlue8() / 255.0;
}
void Normalise(double v[3]) noexcept {
    const double n = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    if (n > 0) v[0] /= n, v[1] /= n, v[2] /= n;
}
}  // namespace

CIoLight CIoLight::Distant(const CColorRef& colour, double azimuth, double elevation) noexcept {
    CIoLight l;
    l.m_eType = keLightDistant;
    SetColour(l.m_colour, colour);
    const double az = Finite(azimuth) * kPi / 180, el = Finite(elevation) * kPi / 180;
    l.m_a = std::cos(az) * std::cos(el), l.m_b = std::sin(az) * std::cos(el), l.m_c = std::sin(el);
    return l;
}

CIoLight CIoLight::Point(const CColorRef& colour, double x, double y, double z) noexcept {
    CIoLight l;
    l.m_eType = keLightPoint;
    SetColour(l.m_colour, colour);
    l.m_a = Finite(x), l.m_b = Finite(y), l.m_c = Finite(z);
    return l;
}

CIoLight CIoLight::Spot(const CColorRef& colour, double x, double y, double z, double tx, double ty, double tz,
                        double exponent, double coneAngle) noexcept {
    CIoLight l = Point(colour, x, y, z);
    l.m_eType = keLightSpot;
    l.m_t[0] = Finite(tx) - l.m_a, l.m_t[1] = Finite(ty) - l.m_b, l.m_t[2] = Finite(tz) - l.m_c;
    Normalise(l.m_t);
    l.m_dExponent = std::clamp(Finite(exponent, 1), -128.0, 128.0);
    const double cone = std::fabs(Finite(coneAngle));
    l.m_dCosCone = cone > 0 && cone < 90 ? std::cos(cone * kPi / 180) : -2;
    return l;
}

void CIoLight::At(double x, double y, double z, double v[3], double colour[3]) const noexcept {
    colour[0] = m_colour[0], colour[1] = m_colour[1], colour[2] = m_colour[2];
    if (m_eType == keLightDistant) {
        v[0] = m_a, v[1] = m_b, v[2] = m_c;
        return;
    }
    v[0] = m_a - x, v[1] = m_b - y, v[2] = m_c - z;
    Normalise(v);
    if (m_eType != keLightSpot) return;
    const double along = -(v[0] * m_t[0] + v[1] * m_t[1] + v[2] * m_t[2]);
    const double k = along <= 0 || along < m_dCosCone ? 0.0 : std::pow(along, m_dExponent);
    for (int c = 0; c < 3; ++c) colour[c] *= k;
}

CIoLighting::CIoLighting(const CIoLight& light, bool specular, double exponent) noexcept
    : CImageOp(keIoLighting), m_light(light), m_bSpecular(specular),
      m_dExponent(std::clamp(Finite(exponent, 1), 1.0, 128.0)) {}

void CIoLighting::SetSurface(double surfaceScale, double constant) noexcept {
    m_dSurfaceScale = Finite(surfaceScale, 1);
    m_dConstant = std::max(0.0, Finite(constant, 1));
}

double CIoLighting::GetTime(int width, int height) const { return 25.0 * width * height; }

CIoDiffuseLighting::CIoDiffuseLighting(const CIoLight& light, double surfaceScale, double kd) noexcept
    : CIoLighting(light, false, 1) {
    SetSurface(surfaceScale, kd);
}

CIoSpecularLighting::CIoSpecularLighting(const CIoLight& light, double exponent, double surfaceScale,
                                         double ks) noexcept
    : CIoLighting(light, true, exponent) {
    SetSurface(surfaceScale, ks);
}

CErrorAutoThrow CIoLighting::Execute(const CIoData& data) {
    RECT rc;
    QGDI_TRY(DestinationRect(data, rc));
    SPixels in;
    QGDI_TRY(ReadInput(data, 0, in));
    const int w = rc.right - rc.left, h = rc.bottom - rc.top;
    // Heights of the node's rectangle; its border is the surface's edge,
    // where the gradient takes the one-sided forms.
    std::vector<float> a;
    try {
        a.resize(static_cast<size_t>(w) * static_cast<size_t>(h));
    } catch (const std::bad_alloc&) {
        return QERR(keQuorErrOutOfMemory);
    }
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            a[static_cast<size_t>(y) * w + x] = in.Row(y + rc.top)[4 * (x + rc.left) + 3] / 255.0f;
    const auto A = [&](int x, int y) { return static_cast<double>(a[static_cast<size_t>(y) * w + x]); };
    const double ss = m_dSurfaceScale;
    const bool done = ForRows(0, h, data.pStatus, [&](int y) {
        uint8_t* row = in.Row(y + rc.top) + 4 * rc.left;
        for (int x = 0; x < w; ++x) {
            // Sobel over the available neighbours: columns and rows that fall
            // outside are dropped and the weight scaled up to match.
            const int x0 = x > 0 ? x - 1 : x, x1 = x < w - 1 ? x + 1 : x;
            const int y0 = y > 0 ? y - 1 : y, y1 = y < h - 1 ? y + 1 : y;
            double nx = 0, ny = 0;
            if (x1 != x0) {
                double sum = 0, weight = 0;
                for (int j = y0; j <= y1; ++j) {
                    const double k = j == y ? 2 : 1;
                    sum += k * (A(x1, j) - A(x0, j));
                    weight += k;
                }
                nx = 2 * sum / (weight * (x1 - x0));
            }
            if (y1 != y0) {
                double sum = 0, weight = 0;
                for (int i = x0; i <= x1; ++i) {
                    const double k = i == x ? 2 : 1;
                    sum += k * (A(i, y1) - A(i, y0));
                    weight += k;
                }
                ny = 2 * sum / (weight * (y1 - y0));
            }
            double n[3] = {-ss * nx, -ss * ny, 1};
            Normalise(n);
            double l[3], colour[3];
            m_light.At(x + rc.left - data.ptOrigin.x, y + rc.top - data.ptOrigin.y, ss * A(x, y), l, colour);
            double factor;
            if (m_bSpecular) {
                double hv[3] = {l[0], l[1], l[2] + 1};
                Normalise(hv);
                const double nh = n[0] * hv[0] + n[1] * hv[1] + n[2] * hv[2];
                factor = m_dConstant * (nh > 0 ? std::pow(nh, m_dExponent) : 0.0);
            } else {
                factor = m_dConstant * (n[0] * l[0] + n[1] * l[1] + n[2] * l[2]);
            }
            double out[3];
            for (int c = 0; c < 3; ++c) out[c] = std::clamp(factor * colour[c], 0.0, 1.0);
            const double alpha = m_bSpecular ? std::max({out[0], out[1], out[2]}) : 1.0;
            // Premultiplied: the specular colour is already at most its alpha.
            uint8_t* d = row + 4 * x;
            d[0] = static_cast<uint8_t>(out[2] * 255 + 0.5);
            d[1] = static_cast<uint8_t>(out[1] * 255 + 0.5);
            d[2] = static_cast<uint8_t>(out[0] * 255 + 0.5);
            d[3] = static_cast<uint8_t>(alpha * 255 + 0.5);
        }
    });
    return Finish(done, data, rc, in);
}

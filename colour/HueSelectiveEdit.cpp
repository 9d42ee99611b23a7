#include "colour/HueSelectiveEdit.h"

#include <algorithm>
#include <cmath>

#include "colour/CIEConversions.h"
#include "colour/ChannelMeasures.h"
#include "colour/ToneCurves.h"

CHueSelectiveEdit::CHueSelectiveEdit(int nPoints, const SColorSpecRGB& cs) : m_spec(cs) {
    const int n = std::max(nPoints, 0);
    m_points.resize(size_t(n));
    for (int i = 0; i < n; ++i) {
        const double h = i * 360.0 / n;
        m_points[size_t(i)] = {h, h, 0.5, 0.5, 0.5};
    }
}

CHueSelectiveEdit::~CHueSelectiveEdit() = default;

void CHueSelectiveEdit::SetHueData(int index, const SHueData& data) {
    if (index < 0 || index >= GetPointCount()) return;
    m_points[size_t(index)] = data;
    // Bubble sort: stable, and the list is nearly sorted after one change.
    for (size_t pass = m_points.size(); pass > 1; --pass) {
        bool swapped = false;
        for (size_t i = 0; i + 1 < pass; ++i)
            if (m_points[i].dHueSrc > m_points[i + 1].dHueSrc) {
                std::swap(m_points[i], m_points[i + 1]);
                swapped = true;
            }
        if (!swapped) break;
    }
}

bool CHueSelectiveEdit::GetInterpolatedHueData(double h, SHueData& data, double& f) const noexcept {
    const size_t n = m_points.size();
    f = 0.0;
    data = {h, h, 0.5, 0.5, 0.5};
    for (size_t i = 0; i < n; ++i) {
        const SHueData& a = m_points[i];
        const SHueData& b = m_points[(i + 1) % n];
        double hh = h, next = b.dHueSrc;
        if (a.dHueSrc >= b.dHueSrc) {
            // The segment wraps past 360.
            if (h <= b.dHueSrc) hh = h + 360.0;
            next += 360.0;
        }
        if (!(a.dHueSrc <= hh && hh <= next)) continue;
        f = std::fabs(next - a.dHueSrc) < 1e-10 ? 0.5 : (hh - a.dHueSrc) / (next - a.dHueSrc);
        const double dstNext = a.dHueDst >= b.dHueDst ? b.dHueDst + 360.0 : b.dHueDst;
        double dst = a.dHueDst + (dstNext - a.dHueDst) * f;
        dst -= 360.0 * std::floor(dst / 360.0);
        if (dst >= 360.0) dst = 0.0;
        data.dHueSrc = hh;
        data.dHueDst = dst;
        data.dBrightness = a.dBrightness + (b.dBrightness - a.dBrightness) * f;
        data.dContrast = a.dContrast + (b.dContrast - a.dContrast) * f;
        data.dSaturation = a.dSaturation + (b.dSaturation - a.dSaturation) * f;
        return true;
    }
    return false;
}

namespace {

// The conversions and measures of one encoding; the edit itself is written once.
struct SEncodingOps {
    double (*getSR)(double, double, double, const SColorSpecRGB&) noexcept;
    double (*getSA)(double, double, double, const SColorSpecRGB&) noexcept;
    double (*getL)(double, double, double, const SColorSpecRGB&) noexcept;
    void (*toLCH)(double, double, double, double&, double&, double&, const SColorSpecRGB&) noexcept;
    void (*fromLCH)(double, double, double, double&, double&, double&, const SColorSpecRGB&) noexcept;
    void (*setSR)(double&, double&, double&, const SColorSpecRGB&, double) noexcept;
    void (*setL)(double&, double&, double&, const SColorSpecRGB&, double, double) noexcept;
};

constexpr SEncodingOps kOpsD = {RGBDGetSR, RGBDGetSA, RGBDGetL, RGBDtoLCHab, LCHabtoRGBD, RGBDSetSR, RGBDSetL};
constexpr SEncodingOps kOpsL = {RGBLGetSR, RGBLGetSA, RGBLGetL, RGBLtoLCHab, LCHabtoRGBL, RGBLSetSR, RGBLSetL};
constexpr SEncodingOps kOpsY = {RGBYGetSR, RGBYGetSA, RGBYGetL, RGBYtoLCHab, LCHabtoRGBY, RGBYSetSR, RGBYSetL};

void Edit(const CHueSelectiveEdit& edit, const SEncodingOps& ops, double& r, double& g, double& b) {
    const SColorSpecRGB& cs = edit.GetColorSpec();
    const double sr0 = ops.getSR(r, g, b, cs);
    double L, C, h;
    ops.toLCH(r, g, b, L, C, h, cs);
    SHueData d;
    double f;
    edit.GetInterpolatedHueData(h, d, f);
    ops.fromLCH(L, C, d.dHueDst, r, g, b, cs);
    ops.setSR(r, g, b, cs, sr0);

    // Grey-ish colours take little of the lightness edit: full weight from an
    // absolute saturation of 0.4 (scaled by 2/sqrt 3), smoothstep below it.
    const double s = std::clamp(ops.getSA(r, g, b, cs) * 2.0 / 1.7320508075688772, 0.0, 1.0);
    const double t = s / 0.4;
    const double w = s >= 0.4 ? 1.0 : t * t * (3.0 - 2.0 * t);
    const double target = Contrast(Brightness(L * 0.01, d.dBrightness), d.dContrast);
    const double current = ops.getL(r, g, b, cs);
    ops.setL(r, g, b, cs, current + (target - current) * w, -1.0);

    const double sr = ops.getSR(r, g, b, cs);
    ops.setSR(r, g, b, cs, d.dSaturation > 0.5 ? Brightness(sr, d.dSaturation) : 2.0 * d.dSaturation * sr);
}

}  // namespace

void CHueSelectiveEdit::RGBD(double& r, double& g, double& b) const { Edit(*this, kOpsD, r, g, b); }
void CHueSelectiveEdit::RGBL(double& r, double& g, double& b) const { Edit(*this, kOpsL, r, g, b); }
void CHueSelectiveEdit::RGBY(double& r, double& g, double& b) const { Edit(*this, kOpsY, r, g, b); }

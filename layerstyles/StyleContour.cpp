#include <algorithm>
#include <cmath>

#include "layerstyles/LayerStyle.h"

namespace {

constexpr double kPi = 3.14159265358979;

double Preset(EStyleContour kind, double x) noexcept {
    switch (kind) {
    case keContourCone: return x < 0.5 ? 2 * x : 2 - 2 * x;
    case keContourConeInverted: return std::fabs(2 * x - 1);
    case keContourGaussian: return 0.5 - 0.5 * std::cos(kPi * x);
    case keContourHalfRound: return std::sqrt(std::max(0.0, 1 - (1 - x) * (1 - x)));
    case keContourRing: return std::exp(-std::pow((x - 0.5) / 0.18, 2));
    case keContourRingDouble:
        return std::max(std::exp(-std::pow((x - 0.3) / 0.1, 2)), std::exp(-std::pow((x - 0.75) / 0.1, 2)));
    case keContourSawtooth: return x >= 1 ? 1 : std::fmod(2 * x, 1.0);
    case keContourCoveDeep: return 1 - std::sqrt(std::max(0.0, 1 - x * x));
    case keContourRollingSlope: return std::clamp(x + 0.12 * std::sin(4 * kPi * x), 0.0, 1.0);
    default: return x;
    }
}

double Custom(const std::vector<SQPOINT>& p, double x) noexcept {
    if (x <= p.front().x) return p.front().y;
    for (size_t k = 1; k < p.size(); ++k) {
        if (x <= p[k].x) {
            const double span = p[k].x - p[k - 1].x;
            const double t = span > 0 ? (x - p[k - 1].x) / span : 1;
            return p[k - 1].y + (p[k].y - p[k - 1].y) * t;
        }
    }
    return p.back().y;
}

}  // namespace

void QGDI_StyleContourTable(const SStyleContour& contour, float table[256]) noexcept {
    bool custom = contour.aPoints.size() >= 2;
    for (size_t k = 1; custom && k < contour.aPoints.size(); ++k)
        custom = contour.aPoints[k].x >= contour.aPoints[k - 1].x;
    for (int i = 0; i < 256; ++i) {
        const double x = i / 255.0;
        const double y = custom ? Custom(contour.aPoints, x) : Preset(contour.ePreset, x);
        table[i] = static_cast<float>(std::isfinite(y) ? std::clamp(y, 0.0, 1.0) : 0.0);
    }
    if (contour.bAntiAliased) {
        float smoothed[256];
        for (int i = 0; i < 256; ++i)
            smoothed[i] = 0.25f * table[std::max(i - 1, 0)] + 0.5f * table[i] + 0.25f * table[std::min(i + 1, 255)];
        std::copy(smoothed, smoothed + 256, table);
    }
}

void QGDI_StyleGradientTable(const SStyleGradient& gradient, uint32_t table[256]) noexcept {
    std::vector<SStyleGradientStop> stops;
    for (const SStyleGradientStop& s : gradient.aStops)
        if (std::isfinite(s.fPosition) && std::isfinite(s.fOpacity)) stops.push_back(s);
    if (stops.empty()) stops = {{0, 0x000000, 1}, {1, 0xFFFFFF, 1}};
    std::stable_sort(stops.begin(), stops.end(),
                     [](const SStyleGradientStop& a, const SStyleGradientStop& b) { return a.fPosition < b.fPosition; });
    for (int i = 0; i < 256; ++i) {
        const double t = i / 255.0;
        size_t k = 0;
        while (k < stops.size() && stops[k].fPosition < t) ++k;
        const SStyleGradientStop& b = stops[std::min(k, stops.size() - 1)];
        const SStyleGradientStop& a = stops[k == 0 ? 0 : k - 1];
        const double span = b.fPosition - a.fPosition;
        const double f = k == 0 || k == stops.size() || span <= 0 ? (k == 0 ? 0.0 : 1.0) : (t - a.fPosition) / span;
        const SStyleGradientStop& lo = k == stops.size() ? b : a;
        const SStyleGradientStop& hi = b;
        uint32_t v = 0;
        for (int c = 0; c < 3; ++c) {
            const double x = ((lo.nColour >> (8 * c)) & 255) * (1 - f) + ((hi.nColour >> (8 * c)) & 255) * f;
            v |= static_cast<uint32_t>(std::lrint(x)) << (8 * c);
        }
        const double alpha = std::clamp(lo.fOpacity * (1 - f) + hi.fOpacity * f, 0.0, 1.0);
        table[i] = v | static_cast<uint32_t>(std::lrint(alpha * 255)) << 24;
    }
}

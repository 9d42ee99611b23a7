#include "drawing/Stops.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

CQStopsMOX::~CQStopsMOX() { Destroy(); }

void CQStopsMOX::Destroy() noexcept {
    delete[] m_pColours;
    delete[] m_pOpacities;
    m_pColours = nullptr;
    m_pOpacities = nullptr;
    m_nColours = m_nOpacities = 0;
}

bool CQStopsMOX::Create(int colourCount, int opacityCount) {
    Destroy();
    if (colourCount < 0 || opacityCount < 0) return false;
    m_pColours = new (std::nothrow) SMoxColourStop[size_t(std::max(colourCount, 1))];
    m_pOpacities = new (std::nothrow) SMoxOpacityStop[size_t(std::max(opacityCount, 1))];
    if (!m_pColours || !m_pOpacities) {
        Destroy();
        return false;
    }
    std::fill_n(m_pColours, colourCount, SMoxColourStop{0.0, 0u, 0.5});
    std::fill_n(m_pOpacities, opacityCount, SMoxOpacityStop{0.0, 1.0, 0.5});
    m_nColours = colourCount;
    m_nOpacities = opacityCount;
    return true;
}

CQStopsSVG::~CQStopsSVG() { Free(); }

void CQStopsSVG::Free() noexcept {
    delete[] m_pOffsets;
    delete[] m_pColours;
    m_pOffsets = nullptr;
    m_pColours = nullptr;
    m_nCount = 0;
    m_bAllocated = false;
}

bool CQStopsSVG::Create(int count) {
    Free();
    if (count < 0) return false;
    m_pOffsets = new (std::nothrow) double[size_t(std::max(count, 1))];
    m_pColours = new (std::nothrow) uint32_t[size_t(std::max(count, 1))];
    if (!m_pOffsets || !m_pColours) {
        Free();
        return false;
    }
    std::fill_n(m_pOffsets, count, 0.0);
    std::fill_n(m_pColours, count, 0u);
    m_nCount = count;
    m_bAllocated = true;
    return true;
}

namespace {

// Stops of one list sorted by location, with a value of any number of channels.
struct SKey {
    double location, midpoint;
    double value[4];
};

// The blend weight at fraction u of a segment whose half point sits at m:
// straight from 0 to 1/2 over [0, m] and from 1/2 to 1 over [m, 1].
double Bend(double u, double m) noexcept {
    m = std::clamp(m, 0.001, 0.999);
    return u <= m ? 0.5 * u / m : 0.5 + 0.5 * (u - m) / (1 - m);
}

void Evaluate(const std::vector<SKey>& keys, double at, int channels, double* out) {
    if (at <= keys.front().location) {
        std::copy_n(keys.front().value, channels, out);
        return;
    }
    for (size_t i = 0; i + 1 < keys.size(); ++i) {
        const SKey &a = keys[i], &b = keys[i + 1];
        if (at > b.location) continue;
        const double span = b.location - a.location;
        const double w = span > 1e-12 ? Bend((at - a.location) / span, a.midpoint) : 1.0;
        for (int c = 0; c < channels; ++c) out[c] = a.value[c] + (b.value[c] - a.value[c]) * w;
        return;
    }
    std::copy_n(keys.back().value, channels, out);
}

void AddLocations(const std::vector<SKey>& keys, std::vector<double>& at) {
    for (size_t i = 0; i < keys.size(); ++i) {
        at.push_back(keys[i].location);
        if (i + 1 < keys.size() && std::fabs(keys[i].midpoint - 0.5) > 1e-9)
            at.push_back(keys[i].location +
                         std::clamp(keys[i].midpoint, 0.0, 1.0) * (keys[i + 1].location - keys[i].location));
    }
}

double Unit(double v) noexcept { return std::isfinite(v) ? std::clamp(v, 0.0, 1.0) : 0.0; }

}  // namespace

bool CQStopsSVG::Create(const CQStopsMOX& mox) {
    Free();
    if (mox.m_nColours <= 0 || !mox.m_pColours) return false;
    try {
        std::vector<SKey> colours, opacities;
        for (int i = 0; i < mox.m_nColours; ++i) {
            const SMoxColourStop& s = mox.m_pColours[i];
            colours.push_back({Unit(s.location),
                               Unit(s.midpoint),
                               {double(s.rgb & 0xFF), double((s.rgb >> 8) & 0xFF), double((s.rgb >> 16) & 0xFF), 0}});
        }
        for (int i = 0; i < mox.m_nOpacities && mox.m_pOpacities; ++i) {
            const SMoxOpacityStop& s = mox.m_pOpacities[i];
            opacities.push_back({Unit(s.location), Unit(s.midpoint), {Unit(s.opacity) * 255.0, 0, 0, 0}});
        }
        if (opacities.empty()) opacities.push_back({0.0, 0.5, {255.0, 0, 0, 0}});
        auto byLocation = [](const SKey& a, const SKey& b) { return a.location < b.location; };
        std::stable_sort(colours.begin(), colours.end(), byLocation);
        std::stable_sort(opacities.begin(), opacities.end(), byLocation);
        std::vector<double> at;
        AddLocations(colours, at);
        AddLocations(opacities, at);
        std::sort(at.begin(), at.end());
        at.erase(std::unique(at.begin(), at.end(), [](double a, double b) { return std::fabs(a - b) < 1e-9; }),
                 at.end());
        if (!Create(int(at.size()))) return false;
        for (size_t i = 0; i < at.size(); ++i) {
            double rgb[3], alpha;
            Evaluate(colours, at[i], 3, rgb);
            Evaluate(opacities, at[i], 1, &alpha);
            auto byte = [](double v) { return uint32_t(std::clamp(std::nearbyint(v), 0.0, 255.0)); };
            m_pOffsets[i] = at[i];
            m_pColours[i] = byte(rgb[0]) | byte(rgb[1]) << 8 | byte(rgb[2]) << 16 | byte(alpha) << 24;
        }
    } catch (const std::bad_alloc&) {
        Free();
        return false;
    }
    return true;
}

#include "effects/IoDeformation.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <new>
#include <vector>

#include "deformation/CoordinatorFactory.h"
#include "effects/internal/EffectPixels.h"
#include "qdibcore/Source/internal/ResultTry.h"

using namespace qgdi::effects;

namespace {

// Bilinear sample at (x256, y256) in 1/256 pixel, premultiplied, transparent outside.
inline void Bilinear(const SPixels& in, int32_t x256, int32_t y256, uint8_t* out) noexcept {
    const int x = x256 >> 8, y = y256 >> 8;
    const uint32_t fx = static_cast<uint32_t>(x256 & 255), fy = static_cast<uint32_t>(y256 & 255);
    const uint32_t p[4] = {in.At(x, y), in.At(x + 1, y), in.At(x, y + 1), in.At(x + 1, y + 1)};
    const uint32_t w[4] = {(256 - fx) * (256 - fy), fx * (256 - fy), (256 - fx) * fy, fx * fy};
    for (int c = 0; c < 4; ++c) {
        uint32_t acc = 32768;
        for (int k = 0; k < 4; ++k) acc += w[k] * ((p[k] >> (8 * c)) & 255);
        out[c] = static_cast<uint8_t>(acc >> 16);
    }
}

int32_t To256(double v) noexcept { return static_cast<int32_t>(std::floor(std::clamp(v, -4e6, 4e6) * 256 + 0.5)); }

}  // namespace

CIoDeformation::CIoDeformation(EDeformationType type, const double* parameters, int count) noexcept
    : CImageOp(keIoDeformation), m_eType(type) {
    if (type == keDeformMatrix) m_p[0] = m_p[4] = m_p[8] = 1;
    if (type == keDeformWave) m_p[1] = m_p[3] = 1;
    if (!parameters) return;
    double p[9];
    count = std::clamp(count, 0, 9);
    for (int i = 0; i < count; ++i)
        if (!std::isfinite(p[i] = parameters[i])) return;
    std::copy(p, p + count, m_p);
}

CIoDeformation::~CIoDeformation() = default;

CIoDeformation* CIoDeformation::CreateOffset(double dx, double dy) {
    const double p[2] = {dx, dy};
    return new (std::nothrow) CIoDeformation(keDeformOffset, p, 2);
}

RECT CIoDeformation::CalculateRectangle(const RECT& input, POINT origin) const {
    if (m_eType != keDeformOffset) return CImageOp::CalculateRectangle(input, origin);
    RECT moved = input;
    ::OffsetRect(&moved, static_cast<int>(std::floor(m_p[0])), static_cast<int>(std::floor(m_p[1])));
    if (m_p[0] != std::floor(m_p[0])) ++moved.right;
    if (m_p[1] != std::floor(m_p[1])) ++moved.bottom;
    return CImageOp::CalculateRectangle(moved, origin);
}

CCoordinator* CIoDeformation::MakeMap() const {
    switch (m_eType) {
        case keDeformRotate: return Create_CCoordinatorRotate(m_p[0]);
        case keDeformTwirl: return Create_CCoordinatorTwirl(m_p[0]);
        case keDeformHPerspective: return Create_CCoordinatorHPerspective(m_p[0]);
        case keDeformVPerspective: return Create_CCoordinatorVPerspective(m_p[0]);
        case keDeformWave: return Create_CCoordinatorWave(m_p[0], m_p[1], m_p[2], m_p[3]);
        case keDeformCircle: return Create_CCoordinatorCircle();
        case keDeformPentagon: return Create_CCoordinatorPentagon();
        default: return nullptr;
    }
}

CErrorAutoThrow CIoDeformation::Execute(const CIoData& data) {
    RECT rc;
    QGDI_TRY(DestinationRect(data, rc));
    SPixels in, out;
    QGDI_TRY(ReadInput(data, 0, in));
    QGDI_TRY(ReadPixels(nullptr, in.width, in.height, out));
    if (m_eType == keDeformOffset || m_eType == keDeformMatrix) {
        // Destination to source: the inverse of the matrix, in source
        // coordinates, with the node's image offset by the run's origin.
        double m[9];
        if (m_eType == keDeformOffset) {
            const double t[9] = {1, 0, -m_p[0], 0, 1, -m_p[1], 0, 0, 1};
            std::copy(t, t + 9, m);
        } else {
            const double* a = m_p;
            const double det = a[0] * (a[4] * a[8] - a[5] * a[7]) - a[1] * (a[3] * a[8] - a[5] * a[6]) +
                               a[2] * (a[3] * a[7] - a[4] * a[6]);
            if (!(std::fabs(det) >= 1e-32)) return QERR(keQuorErrFailed);
            const double inv[9] = {(a[4] * a[8] - a[5] * a[7]) / det, (a[2] * a[7] - a[1] * a[8]) / det,
                                   (a[1] * a[5] - a[2] * a[4]) / det, (a[5] * a[6] - a[3] * a[8]) / det,
                                   (a[0] * a[8] - a[2] * a[6]) / det, (a[2] * a[3] - a[0] * a[5]) / det,
                                   (a[3] * a[7] - a[4] * a[6]) / det, (a[1] * a[6] - a[0] * a[7]) / det,
                                   (a[0] * a[4] - a[1] * a[3]) / det};
            std::copy(inv, inv + 9, m);
        }
        const double ox = data.ptOrigin.x, oy = data.ptOrigin.y;
        const bool done = ForRows(rc.top, rc.bottom, data.pStatus, [&](int y) {
            uint8_t* row = out.Row(y);
            for (int x = rc.left; x < rc.right; ++x) {
                const double u = x - ox, v = y - oy;
                const double wz = m[6] * u + m[7] * v + m[8];
                if (!(std::fabs(wz) > 1e-12)) continue;
                const double sx = (m[0] * u + m[1] * v + m[2]) / wz + ox, sy = (m[3] * u + m[4] * v + m[5]) / wz + oy;
                Bilinear(in, To256(sx), To256(sy), row + 4 * x);
            }
        });
        return Finish(done, data, rc, out);
    }
    std::unique_ptr<CCoordinator> map(MakeMap());
    if (!map) return QERR(keQuorErrOutOfMemory);
    if (!map->Realize(in.width, in.height)) return QERR(keQuorErrFailed);
    RECT placed;
    map->GetResultRect({0, 0, in.width, in.height}, placed);
    const int mw = map->GetWidth(), mh = map->GetHeight();
    const int x0 = std::max<int>(rc.left, placed.left), x1 = std::min<int>(rc.right, placed.left + mw);
    if (x1 <= x0) return Finish(true, data, rc, out);
    const bool done = ForRows(std::max<int>(rc.top, placed.top), std::min<int>(rc.bottom, placed.top + mh),
                              data.pStatus, [&](int y) {
                                  std::vector<POINT> at(static_cast<size_t>(x1 - x0));
                                  map->GetCoordinates(at.data(), y - placed.top, x0 - placed.left, x1 - x0);
                                  uint8_t* row = out.Row(y);
                                  for (int x = x0; x < x1; ++x) {
                                      const POINT p = at[static_cast<size_t>(x - x0)];
                                      Bilinear(in, p.x, p.y, row + 4 * x);
                                  }
                              });
    return Finish(done, data, rc, out);
}

CIoWind::CIoWind(int strength, EWindDirection direction, uint32_t seed) noexcept
    : CImageOp(keIoWind), m_nStrength(std::clamp(strength, 1, 1000)), m_eDirection(direction), m_nSeed(seed) {}

CErrorAutoThrow CIoWind::Execute(const CIoData& data) {
    RECT rc;
    QGDI_TRY(DestinationRect(data, rc));
    SPixels px;
    QGDI_TRY(ReadInput(data, 0, px));
    const bool fromRight = m_eDirection == keWindFromRight;
    const bool done = ForRows(rc.top, rc.bottom, data.pStatus, [&](int y) {
        // Rows fade at rates between 1/2 and 3/2 of the mean, from a hash of the row and seed.
        uint32_t h = static_cast<uint32_t>(y - data.ptOrigin.y) * 0x9E3779B1u ^ m_nSeed * 0x85EBCA6Bu;
        h ^= h >> 15, h *= 0x2C1B3C6Du, h ^= h >> 12;
        const int fade = std::max(1, static_cast<int>((256u * 255u / static_cast<uint32_t>(m_nStrength)) *
                                                      (128u + (h & 255u)) / 256u));
        int trail[4] = {0, 0, 0, 0};  // in 1/256
        uint8_t* row = px.Row(y);
        const int n = rc.right - rc.left;
        for (int i = 0; i < n; ++i) {
            uint8_t* p = row + 4 * (fromRight ? rc.right - 1 - i : rc.left + i);
            for (int c = 0; c < 4; ++c) {
                trail[c] = std::max(trail[c] - fade, p[c] << 8);
                p[c] = static_cast<uint8_t>(trail[c] >> 8);
            }
            // Premultiplied colour never exceeds its alpha.
            for (int c = 0; c < 3; ++c) p[c] = std::min(p[c], p[3]);
        }
    });
    return Finish(done, data, rc, px);
}

#include "effects/IoRelief.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

#include "effects/internal/EffectPixels.h"
#include "qdibcore/Source/internal/ResultTry.h"

using namespace qgdi::effects;

namespace {

constexpr double kPi = 3.14159265358979;
double Finite(double v, double otherwise) noexcept { return std::isfinite(v) ? std::clamp(v, -1e6, 1e6) : otherwise; }

// Shades premultiplied pixels of rc by the slope of a height field given per
// pixel of rc: shade(x, y) in -1..1 moves the colour towards white (> 0) or
// black (< 0) by that share.
template <class Height>
bool Shade(SPixels& px, const RECT& rc, CStatusControl* status, double azimuth, double elevation, double depth,
           Height&& height) {
    const double az = azimuth * kPi / 180, el = elevation * kPi / 180;
    const double l[3] = {std::cos(az) * std::cos(el), std::sin(az) * std::cos(el), std::sin(el)};
    return ForRows(rc.top, rc.bottom, status, [&](int y) {
        uint8_t* row = px.Row(y);
        for (int x = rc.left; x < rc.right; ++x) {
            const int xl = std::max<int>(x - 1, rc.left), xr = std::min<int>(x + 1, rc.right - 1);
            const int yu = std::max<int>(y - 1, rc.top), yd = std::min<int>(y + 1, rc.bottom - 1);
            const double gx = xr > xl ? (height(xr, y) - height(xl, y)) / (xr - xl) : 0.0;
            const double gy = yd > yu ? (height(x, yd) - height(x, yu)) / (yd - yu) : 0.0;
            double n[3] = {-depth * gx, -depth * gy, 1};
            const double len = std::sqrt(n[0] * n[0] + n[1] * n[1] + 1);
            // Relative to a flat surface, which the light leaves as it is.
            const double s = std::clamp((n[0] * l[0] + n[1] * l[1] + n[2] * l[2]) / len - l[2], -1.0, 1.0);
            uint8_t* p = row + 4 * x;
            for (int c = 0; c < 3; ++c) {
                const double v = s > 0 ? p[c] + s * (p[3] - p[c]) : p[c] * (1 + s);
                p[c] = static_cast<uint8_t>(std::clamp(v + 0.5, 0.0, static_cast<double>(p[3])));
            }
        }
    });
}

double Luminance(const uint8_t* p) noexcept {
    // Of the straight colour, so that a faint pixel is not a low one.
    if (p[3] == 0) return 0;
    return (0.2126 * p[2] + 0.7152 * p[1] + 0.0722 * p[0]) / p[3];
}

}  // namespace

CIoBevelEffect::CIoBevelEffect(int width, double depth, double azimuth) noexcept
    : CImageOp(keIoRelief), m_nWidth(std::clamp(width, 0, 4096)), m_dDepth(Finite(depth, 1)),
      m_dAzimuth(Finite(azimuth, 135)) {}

CErrorAutoThrow CIoBevelEffect::Execute(const CIoData& data) {
    RECT rc;
    QGDI_TRY(DestinationRect(data, rc));
    SPixels px;
    QGDI_TRY(ReadInput(data, 0, px));
    if (m_nWidth == 0) return Finish(true, data, rc, px);
    const int w = rc.right - rc.left, h = rc.bottom - rc.top;
    // Chamfer distance (3-4) from the outside of the shape, in thirds of a pixel.
    std::vector<int32_t> d;
    try {
        d.assign(static_cast<size_t>(w) * static_cast<size_t>(h), 0);
    } catch (const std::bad_alloc&) {
        return QERR(keQuorErrOutOfMemory);
    }
    const int32_t far = 3 * (m_nWidth + 1);
    const auto at = [&](int x, int y) -> int32_t& { return d[static_cast<size_t>(y) * w + x]; };
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) at(x, y) = px.Row(y + rc.top)[4 * (x + rc.left) + 3] >= 128 ? far : 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            int32_t& v = at(x, y);
            if (!v) continue;
            v = std::min({v, x > 0 ? at(x - 1, y) + 3 : 3, y > 0 ? at(x, y - 1) + 3 : 3,
                          x > 0 && y > 0 ? at(x - 1, y - 1) + 4 : 4, x < w - 1 && y > 0 ? at(x + 1, y - 1) + 4 : 4});
        }
    for (int y = h - 1; y >= 0; --y)
        for (int x = w - 1; x >= 0; --x) {
            int32_t& v = at(x, y);
            if (!v) continue;
            v = std::min({v, x < w - 1 ? at(x + 1, y) + 3 : 3, y < h - 1 ? at(x, y + 1) + 3 : 3,
                          x < w - 1 && y < h - 1 ? at(x + 1, y + 1) + 4 : 4, x > 0 && y < h - 1 ? at(x - 1, y + 1) + 4 : 4});
        }
    // A rounded profile: the height rises as a quarter sine over the width.
    const double width3 = 3.0 * m_nWidth;
    const auto height = [&](int x, int y) {
        const double t = std::min(1.0, at(x - rc.left, y - rc.top) / width3);
        return m_nWidth * std::sin(t * kPi / 2);
    };
    const bool done = Shade(px, rc, data.pStatus, m_dAzimuth, 30, m_dDepth, height);
    return Finish(done, data, rc, px);
}

CIoBumpMapEffect::CIoBumpMapEffect(double depth, double azimuth, double elevation) noexcept
    : CImageOp(keIoRelief), m_dDepth(Finite(depth, 1)), m_dAzimuth(Finite(azimuth, 135)),
      m_dElevation(std::clamp(Finite(elevation, 45), 0.0, 90.0)) {}

CErrorAutoThrow CIoBumpMapEffect::Execute(const CIoData& data) {
    RECT rc;
    QGDI_TRY(DestinationRect(data, rc));
    SPixels px, bumps;
    QGDI_TRY(ReadInput(data, 0, px));
    const bool own = !data.GetInput(1);
    if (!own) QGDI_TRY(ReadInput(data, 1, bumps));
    const SPixels& map = own ? px : bumps;
    if (m_dDepth == 0) return Finish(true, data, rc, px);
    // Heights first: shading writes px, which may be the map.
    std::vector<float> hgt;
    try {
        hgt.resize(static_cast<size_t>(map.width) * static_cast<size_t>(map.height));
    } catch (const std::bad_alloc&) {
        return QERR(keQuorErrOutOfMemory);
    }
    for (int y = rc.top; y < rc.bottom; ++y)
        for (int x = rc.left; x < rc.right; ++x)
            hgt[static_cast<size_t>(y) * map.width + x] = static_cast<float>(Luminance(map.Row(y) + 4 * x));
    const auto height = [&](int x, int y) { return 255.0 * hgt[static_cast<size_t>(y) * map.width + x] / 16; };
    const bool done = Shade(px, rc, data.pStatus, m_dAzimuth, m_dElevation, m_dDepth, height);
    return Finish(done, data, rc, px);
}

CIoSculptureEffect::CIoSculptureEffect(double depth, double azimuth) noexcept
    : CImageOp(keIoRelief), m_dDepth(Finite(depth, 1)), m_dAzimuth(Finite(azimuth, 135)) {}

CErrorAutoThrow CIoSculptureEffect::Execute(const CIoData& data) {
    RECT rc;
    QGDI_TRY(DestinationRect(data, rc));
    SPixels in, out;
    QGDI_TRY(ReadInput(data, 0, in));
    QGDI_TRY(ReadPixels(nullptr, in.width, in.height, out));
    const double az = m_dAzimuth * kPi / 180, lx = std::cos(az), ly = std::sin(az);
    const bool done = ForRows(rc.top, rc.bottom, data.pStatus, [&](int y) {
        for (int x = rc.left; x < rc.right; ++x) {
            const int xl = std::max<int>(x - 1, rc.left), xr = std::min<int>(x + 1, rc.right - 1);
            const int yu = std::max<int>(y - 1, rc.top), yd = std::min<int>(y + 1, rc.bottom - 1);
            const auto L = [&](int i, int j) { return 255.0 * Luminance(in.Row(j) + 4 * i); };
            const double gx = (L(xr, y) - L(xl, y)) / 2, gy = (L(x, yd) - L(x, yu)) / 2;
            const uint8_t a = in.Row(y)[4 * x + 3];
            const double v = std::clamp(128 + m_dDepth * (gx * lx + gy * ly), 0.0, 255.0);
            uint8_t* o = out.Row(y) + 4 * x;
            o[0] = o[1] = o[2] = Premultiply(static_cast<uint8_t>(v + 0.5), a);
            o[3] = a;
        }
    });
    return Finish(done, data, rc, out);
}

CIoTilesEffect::CIoTilesEffect(int size, int shift, uint32_t seed) noexcept
    : CImageOp(keIoRelief), m_nSize(std::clamp(size, 2, 1 << 20)), m_nShift(std::clamp(shift, 0, m_nSize)),
      m_nSeed(seed) {}

CErrorAutoThrow CIoTilesEffect::Execute(const CIoData& data) {
    RECT rc;
    QGDI_TRY(DestinationRect(data, rc));
    SPixels in, out;
    QGDI_TRY(ReadInput(data, 0, in));
    QGDI_TRY(ReadPixels(nullptr, in.width, in.height, out));
    const int s = m_nSize;
    const auto hash = [&](int64_t tx, int64_t ty, uint32_t k) {
        uint32_t h = static_cast<uint32_t>(tx) * 0x9E3779B1u ^ static_cast<uint32_t>(ty) * 0x85EBCA6Bu ^ (m_nSeed + k) * 0xC2B2AE35u;
        h ^= h >> 16, h *= 0x7FEB352Du, h ^= h >> 15, h *= 0x846CA68Bu, h ^= h >> 16;
        return static_cast<int>(h % static_cast<uint32_t>(2 * m_nShift + 1)) - m_nShift;
    };
    const int64_t ox = data.ptOrigin.x, oy = data.ptOrigin.y;
    // Each destination pixel looks for the tile covering it among the
    // neighbouring tiles after their shifts; tiles further along win.
    const int reach = (m_nShift + s - 1) / s;
    const bool done = ForRows(rc.top, rc.bottom, data.pStatus, [&](int y) {
        uint8_t* row = out.Row(y);
        const int64_t sy = y - oy;
        for (int x = rc.left; x < rc.right; ++x) {
            const int64_t sx = x - ox;
            const int64_t tx0 = (sx >= 0 ? sx : sx - s + 1) / s, ty0 = (sy >= 0 ? sy : sy - s + 1) / s;
            for (int64_t ty = ty0 - reach; ty <= ty0 + reach; ++ty)
                for (int64_t tx = tx0 - reach; tx <= tx0 + reach; ++tx) {
                    const int64_t lx = sx - tx * s - hash(tx, ty, 0), ly = sy - ty * s - hash(tx, ty, 1);
                    if (lx < 0 || ly < 0 || lx >= s || ly >= s) continue;
                    uint32_t p = in.At(static_cast<int>(tx * s + lx + ox), static_cast<int>(ty * s + ly + oy));
                    uint8_t* o = row + 4 * x;
                    const uint8_t a = static_cast<uint8_t>(p >> 24);
                    for (int c = 0; c < 3; ++c) {
                        int v = static_cast<int>((p >> (8 * c)) & 255);
                        if (lx == 0 || ly == 0) v += (a - v) / 2;   // lit rim
                        if (lx == s - 1 || ly == s - 1) v /= 2;     // shaded rim
                        o[c] = static_cast<uint8_t>(v);
                    }
                    o[3] = a;
                }
        }
    });
    return Finish(done, data, rc, out);
}

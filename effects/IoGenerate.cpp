#include "effects/IoGenerate.h"

#include <algorithm>
#include <cmath>

#include "QuorRender/RowOpApply.h"
#include "effects/internal/EffectPixels.h"
#include "qdibcore/Source/RowIteratorFunctions.h"
#include "qdibcore/Source/internal/ResultTry.h"

using namespace qgdi::effects;

namespace {
double Frequency(double f) noexcept { return std::isfinite(f) ? std::clamp(f, 0.0, 1e6) : 0.0; }
int32_t Seed(long seed) noexcept { return static_cast<int32_t>(std::clamp<long>(seed, INT32_MIN, INT32_MAX)); }
double Tile(double t) noexcept { return std::isfinite(t) && t > 0 ? std::min(t, 1e9) : 0.0; }
}  // namespace

CIoTurbulence::CIoTurbulence(double baseFrequencyX, double baseFrequencyY, int octaves, bool fractalNoise, long seed,
                             double stitchTile)
    : CImageOp(keIoTurbulence),
      m_def(Frequency(baseFrequencyX), Frequency(baseFrequencyY), std::clamp(octaves, 0, 32), Seed(seed),
            fractalNoise, Tile(stitchTile) > 0, 0, 0, Tile(stitchTile), Tile(stitchTile)),
      m_nOctaves(std::clamp(octaves, 0, 32)) {}

double CIoTurbulence::GetTime(int width, int height) const { return 20.0 * (m_nOctaves + 1) * width * height; }

CErrorAutoThrow CIoTurbulence::Execute(const CIoData& data) {
    RECT rc;
    QGDI_TRY(DestinationRect(data, rc));
    SPixels out;
    QGDI_TRY(ReadPixels(nullptr, data.pDst->GetWidth(), data.pDst->GetHeight(), out));
    static constexpr int kSlot[4] = {2, 1, 0, 3};  // red, green, blue, alpha -> storage
    const bool done = ForRows(rc.top, rc.bottom, data.pStatus, [&](int y) {
        uint8_t* row = out.Row(y);
        const double py = y - data.ptOrigin.y;
        for (int x = rc.left; x < rc.right; ++x) {
            const double px = x - data.ptOrigin.x;
            uint8_t s[4];
            for (int c = 0; c < 4; ++c) {
                const double v = m_def.Evaluate(c, px, py) * 255.0 + 0.5;
                s[kSlot[c]] = static_cast<uint8_t>(v > 0 ? (v < 255 ? v : 255) : 0);
            }
            uint8_t* d = row + 4 * x;
            d[0] = Premultiply(s[0], s[3]), d[1] = Premultiply(s[1], s[3]), d[2] = Premultiply(s[2], s[3]);
            d[3] = s[3];
        }
    });
    return Finish(done, data, rc, out);
}

CIoNoise::CIoNoise(int amount, bool monochrome, uint32_t seed) noexcept
    : CImageOp(keIoNoise), m_def(std::clamp(amount, 0, 100) / 100.0, monochrome, false, seed) {}

CErrorAutoThrow CIoNoise::Execute(const CIoData& data) {
    RECT rc;
    QGDI_TRY(DestinationRect(data, rc));
    SPixels in;
    QGDI_TRY(ReadInput(data, 0, in));
    QGDI_TRY(WritePixels(*data.pDst, rc, in));
    return PixelIterator_ApplyRowOpChecked(m_def, *data.pDst, &rc, data.pStatus);
}

// Perlin turbulence and fractal noise, following the feTurbulence filter of
// SVG so that images match other renderers of the same filter.
#include <cmath>

#include "QuorRender/RowOpNoise.h"
#include "QuorRender/internal/RowOpDict.h"
#include "QuorRender/internal/RowSpans.h"
#include "geometry/Random.h"
#include "platform/TargetPass.h"

namespace qgdi::QGDI_TARGET_NS {
namespace {

using namespace qgdi::px;
using qgdi::rowop::ForSpans;

inline constexpr SQFormatPair kTurbulencePairs[] = {{keFormatBGRA, keFormatNone}};
static_assert(std::size(kTurbulencePairs) == 1);

template <EQPixelFormat D, EQPixelFormat S>
struct TRowTurbulence {
    static void Run(const CRowOpDef& def, CRowOpData& data) {
        const auto& op = static_cast<const CRowOpDefRowTurbulence&>(def);
        ForSpans<D, S>(data, [&](uint8_t* dst, const uint8_t*, int x, int n) {
            const double y = data.y;
            for (int i = 0; i < n; ++i) {
                uint8_t* d = dst + 4 * i;
                // channel 0..3 is red, green, blue, alpha; stored blue first
                static constexpr int kSlot[4] = {2, 1, 0, 3};
                for (int ch = 0; ch < 4; ++ch) {
                    const double v = op.Evaluate(ch, x + i, y) * 255.0;
                    d[kSlot[ch]] = static_cast<uint8_t>(v > 0 ? (v < 255 ? v : 255) : 0);
                }
            }
        });
    }
};

}  // namespace

const SRowOpDictEntry* GetRowTurbulenceDict() noexcept {
    return qgdi::rowop::kDict<kTurbulencePairs, TRowTurbulence>.data();
}

}  // namespace qgdi::QGDI_TARGET_NS

#if QGDI_BASELINE_PASS

// The noise itself is the definition's own (it is evaluated in double and
// per point, so every target shares this one compilation).
namespace {

// Offset that keeps lattice coordinates positive.
constexpr int kPerlinOffset = 4096;
constexpr int kLatticeMask = 255;

inline double SCurve(double t) noexcept { return t * t * (3.0 - 2.0 * t); }
inline double Lerp(double t, double a, double b) noexcept { return a + t * (b - a); }

// The frequency nearest to f for which a whole number of periods fits the tile.
double StitchFrequency(double f, double tile) noexcept {
    if (f == 0 || tile <= 0) return f;
    const double lo = std::floor(tile * f) / tile, hi = std::ceil(tile * f) / tile;
    return f / lo < hi / f ? lo : hi;
}

}  // namespace

CRowOpDefRowTurbulence::CRowOpDefRowTurbulence(double baseFrequencyX, double baseFrequencyY, int octaves, int32_t seed,
                                               bool fractalNoise, bool stitchTiles, double tileX, double tileY,
                                               double tileWidth, double tileHeight)
    : TRowOpDefKind(keRoRowTurbulence),
      m_dFrequencyX(std::max(0.0, baseFrequencyX)),
      m_dFrequencyY(std::max(0.0, baseFrequencyY)),
      m_nOctaves(std::clamp(octaves, 0, 32)),
      m_bFractalNoise(fractalNoise),
      m_bStitch(stitchTiles && tileWidth > 0 && tileHeight > 0) {
    // Seeds outside 1..2^31 - 2 are folded into it the way the filter defines.
    constexpr int32_t kModulus = CRandomMinStd::kModulus;
    if (seed <= 0) seed = -(seed % (kModulus - 1)) + 1;
    if (seed > kModulus - 1) seed = kModulus - 1;
    CRandomMinStd rng(seed);
    for (auto& gradients : m_gradient) {
        for (int i = 0; i < kLattice; ++i) {
            m_lattice[i] = i;
            double* g = gradients[i];
            for (int j = 0; j < 2; ++j)
                g[j] = static_cast<double>(rng.Get() % (kLattice + kLattice) - kLattice) / kLattice;
            const double len = std::sqrt(g[0] * g[0] + g[1] * g[1]);
            if (len > 0) g[0] /= len, g[1] /= len;
        }
    }
    for (int i = kLattice - 1; i > 0; --i) std::swap(m_lattice[i], m_lattice[rng.Get() % kLattice]);
    for (int i = 0; i < kLattice + 2; ++i) {
        m_lattice[kLattice + i] = m_lattice[i];
        for (auto& gradients : m_gradient)
            gradients[kLattice + i][0] = gradients[i][0], gradients[kLattice + i][1] = gradients[i][1];
    }
    if (m_bStitch) {
        m_dFrequencyX = StitchFrequency(m_dFrequencyX, tileWidth);
        m_dFrequencyY = StitchFrequency(m_dFrequencyY, tileHeight);
        m_stitch.width = static_cast<int>(tileWidth * m_dFrequencyX + 0.5);
        m_stitch.height = static_cast<int>(tileHeight * m_dFrequencyY + 0.5);
        m_stitch.wrapX = static_cast<int>(tileX * m_dFrequencyX + kPerlinOffset + m_stitch.width);
        m_stitch.wrapY = static_cast<int>(tileY * m_dFrequencyY + kPerlinOffset + m_stitch.height);
    }
}

double CRowOpDefRowTurbulence::Noise2(int channel, double x, double y, const SStitch* stitch) const noexcept {
    double tx = x + kPerlinOffset, ty = y + kPerlinOffset;
    if (!std::isfinite(tx) || !std::isfinite(ty)) return 0;
    // The lattice repeats every 256 cells, so coordinates too large for an int
    // are brought back by whole periods (a far-off stitch tile cannot be met there).
    constexpr double kLimit = 1 << 30;
    if (std::fabs(tx) >= kLimit) tx = std::fmod(tx, 256.0) + kPerlinOffset;
    if (std::fabs(ty) >= kLimit) ty = std::fmod(ty, 256.0) + kPerlinOffset;
    int bx0 = static_cast<int>(tx), by0 = static_cast<int>(ty);
    int bx1 = bx0 + 1, by1 = by0 + 1;
    const double rx0 = tx - static_cast<int>(tx), ry0 = ty - static_cast<int>(ty);
    const double rx1 = rx0 - 1.0, ry1 = ry0 - 1.0;
    // Lattice points past the tile wrap to its start, so opposite edges meet.
    if (stitch) {
        if (bx0 >= stitch->wrapX) bx0 -= stitch->width;
        if (bx1 >= stitch->wrapX) bx1 -= stitch->width;
        if (by0 >= stitch->wrapY) by0 -= stitch->height;
        if (by1 >= stitch->wrapY) by1 -= stitch->height;
    }
    bx0 &= kLatticeMask, bx1 &= kLatticeMask, by0 &= kLatticeMask, by1 &= kLatticeMask;
    const int i = m_lattice[bx0], j = m_lattice[bx1];
    const double(*g)[2] = m_gradient[channel];
    const double* q00 = g[m_lattice[i + by0]];
    const double* q10 = g[m_lattice[j + by0]];
    const double* q01 = g[m_lattice[i + by1]];
    const double* q11 = g[m_lattice[j + by1]];
    const double sx = SCurve(rx0), sy = SCurve(ry0);
    // gradients dotted with the offsets to the four corners, blended by the s-curve
    const double a = Lerp(sx, rx0 * q00[0] + ry0 * q00[1], rx1 * q10[0] + ry0 * q10[1]);
    const double b = Lerp(sx, rx0 * q01[0] + ry1 * q01[1], rx1 * q11[0] + ry1 * q11[1]);
    return Lerp(sy, a, b);
}

double CRowOpDefRowTurbulence::Evaluate(int channel, double x, double y) const noexcept {
    if (channel < 0 || channel > 3) return 0;
    SStitch stitch = m_stitch;
    double vx = x * m_dFrequencyX, vy = y * m_dFrequencyY;
    double sum = 0, ratio = 1;
    for (int octave = 0; octave < m_nOctaves; ++octave) {
        const double n = Noise2(channel, vx, vy, m_bStitch ? &stitch : nullptr);
        sum += (m_bFractalNoise ? n : std::fabs(n)) / ratio;
        vx *= 2, vy *= 2, ratio *= 2;
        if (m_bStitch) {
            stitch.width *= 2, stitch.wrapX = 2 * stitch.wrapX - kPerlinOffset;
            stitch.height *= 2, stitch.wrapY = 2 * stitch.wrapY - kPerlinOffset;
        }
    }
    return m_bFractalNoise ? (sum + 1) / 2 : sum;
}

QGDI_DISPATCHED_DICT(GetRowTurbulenceDict)
#endif  // QGDI_BASELINE_PASS

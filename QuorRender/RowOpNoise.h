#pragma once
// Noise and Perlin turbulence: kernels that depend on the pixel's position.
#include "QuorRender/RowOp.h"

QGDI_API const SRowOpDictEntry* GetRowNoiseDict() noexcept;
QGDI_API const SRowOpDictEntry* GetRowTurbulenceDict() noexcept;

// c' = clamp(c + amount x n) on the colour channels, n in [-1, 1] drawn from
// CRandom per pixel (one draw for all three channels when monochrome) and
// roughly Gaussian when asked (the mean of three draws). The draws depend only
// on the seed and the pixel's position, so a result repeats however the image
// is split into spans, rows or threads. Alpha is kept.
class QGDI_API CRowOpDefRowNoise : public TRowOpDefKind<CRowOpDefRowNoise, GetRowNoiseDict> {
public:
    explicit CRowOpDefRowNoise(double amount = 0.1, bool monochrome = false, bool gaussian = false,
                               uint32_t seed = 1) noexcept
        : TRowOpDefKind(keRoRowNoise),
          m_dAmount(amount),
          m_bMonochrome(monochrome),
          m_bGaussian(gaussian),
          m_nSeed(seed) {}

    double GetAmount() const noexcept { return m_dAmount; }
    bool IsMonochrome() const noexcept { return m_bMonochrome; }
    bool IsGaussian() const noexcept { return m_bGaussian; }
    uint32_t GetSeed() const noexcept { return m_nSeed; }

private:
    double m_dAmount;  // 0..1 of full scale
    bool m_bMonochrome;
    bool m_bGaussian;
    uint32_t m_nSeed;
};

// Perlin noise summed over octaves, the feTurbulence filter of SVG: each of
// red, green, blue and alpha is its own noise field, written as straight colour.
// turbulence: c = sum |noise(2^k f p)| / 2^k; fractal noise: c = (sum noise(2^k f p) / 2^k + 1) / 2.
class QGDI_API CRowOpDefRowTurbulence : public TRowOpDefKind<CRowOpDefRowTurbulence, GetRowTurbulenceDict> {
public:
    // The stitch tile (tileX, tileY, tileWidth, tileHeight) is only read when stitching.
    CRowOpDefRowTurbulence(double baseFrequencyX = 0.05, double baseFrequencyY = 0.05, int octaves = 1,
                           int32_t seed = 0, bool fractalNoise = false, bool stitchTiles = false, double tileX = 0,
                           double tileY = 0, double tileWidth = 0, double tileHeight = 0);

    // Value of one channel (0 red, 1 green, 2 blue, 3 alpha) at a point, in 0..1.
    double Evaluate(int channel, double x, double y) const noexcept;

private:
    static constexpr int kLattice = 256;
    struct SStitch {
        int width, height, wrapX, wrapY;
    };
    double Noise2(int channel, double x, double y, const SStitch* stitch) const noexcept;

    double m_dFrequencyX, m_dFrequencyY;
    int m_nOctaves;
    bool m_bFractalNoise;
    bool m_bStitch;
    SStitch m_stitch{};
    int m_lattice[kLattice + kLattice + 2];
    double m_gradient[4][kLattice + kLattice + 2][2];
};

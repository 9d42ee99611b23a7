#pragma once
// Operations that make pixels from a seed: Perlin turbulence and fractal
// noise, and random noise added to an input.
#include <cstdint>

#include "QuorRender/IoSeqOp.h"
#include "QuorRender/RowOpNoise.h"
#include "qgdi_export.h"

// Perlin noise per channel at the pixel's position in source coordinates,
// so a tile of a run matches the whole. stitchTile > 0 makes the noise
// repeat seamlessly every stitchTile pixels (frequencies adjusted to fit).
class QGDI_API CIoTurbulence : public CImageOp {
public:
    CIoTurbulence(double baseFrequencyX, double baseFrequencyY, int octaves, bool fractalNoise, long seed,
                  double stitchTile = 0);
    CErrorAutoThrow Execute(const CIoData& data) override;
    double GetTime(int width, int height) const override;

private:
    CRowOpDefRowTurbulence m_def;
    int m_nOctaves;
};

// Uniform noise of amount percent (0..100) added to the colour of input 0,
// the same for a seed wherever the run is cut.
class QGDI_API CIoNoise : public CImageOp {
public:
    explicit CIoNoise(int amount, bool monochrome = false, uint32_t seed = 1) noexcept;
    int GetSourceCount() const noexcept override { return 1; }
    CErrorAutoThrow Execute(const CIoData& data) override;

private:
    CRowOpDefRowNoise m_def;
};

#pragma once
// Relief effects: a surface made from the image (its alpha, its luminance or
// a second image) lit by a distant light.
#include <cstdint>

#include "QuorRender/IoSeqOp.h"
#include "qgdi_export.h"

// The edges of input 0's shape (alpha at least half) rise over `width`
// pixels to `depth`; lit from `azimuth` degrees (30 degrees up), the slopes
// lighten and darken the colour. Width 0 leaves the input as it is.
class QGDI_API CIoBevelEffect : public CImageOp {
public:
    CIoBevelEffect(int width, double depth, double azimuth = 135) noexcept;
    int GetSourceCount() const noexcept override { return 1; }
    CErrorAutoThrow Execute(const CIoData& data) override;

private:
    int m_nWidth;
    double m_dDepth, m_dAzimuth;
};

// Input 0 shaded by the surface whose height is the luminance of input 1
// (of input 0 when unconnected) times depth. Depth 0 leaves the input as it is.
class QGDI_API CIoBumpMapEffect : public CImageOp {
public:
    CIoBumpMapEffect(double depth, double azimuth = 135, double elevation = 45) noexcept;
    int GetSourceCount() const noexcept override { return 2; }
    CErrorAutoThrow Execute(const CIoData& data) override;

private:
    double m_dDepth, m_dAzimuth, m_dElevation;
};

// A grey relief: mid grey plus depth times the slope of the luminance along
// the light's direction, alpha kept.
class QGDI_API CIoSculptureEffect : public CImageOp {
public:
    explicit CIoSculptureEffect(double depth, double azimuth = 135) noexcept;
    int GetSourceCount() const noexcept override { return 1; }
    CErrorAutoThrow Execute(const CIoData& data) override;

private:
    double m_dDepth, m_dAzimuth;
};

// The image cut into square tiles of `size` pixels, each moved by up to
// `shift` pixels (at most the size; from the seed), with a one-pixel light and dark rim; the
// gaps are transparent.
class QGDI_API CIoTilesEffect : public CImageOp {
public:
    CIoTilesEffect(int size, int shift, uint32_t seed = 1) noexcept;
    int GetSourceCount() const noexcept override { return 1; }
    CErrorAutoThrow Execute(const CIoData& data) override;

private:
    int m_nSize, m_nShift;
    uint32_t m_nSeed;
};

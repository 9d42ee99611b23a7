#pragma once
// Geometric effects: every destination pixel is resampled (bilinear, over
// premultiplied colour, transparent outside) from where a coordinate map
// says it comes from; and wind, which smears light pixels along rows.
#include <cstdint>

#include "QuorRender/IoSeqOp.h"
#include "qgdi_export.h"

class CCoordinator;

enum EDeformationType : int32_t {
    keDeformOffset = 0,
    keDeformRotate = 1,
    keDeformTwirl = 2,
    keDeformHPerspective = 3,
    keDeformVPerspective = 4,
    keDeformWave = 5,
    keDeformCircle = 6,
    keDeformPentagon = 7,
    keDeformMatrix = 8,
};

class QGDI_API CIoDeformation : public CImageOp {
public:
    // Parameters by type: offset (dx, dy); rotate and twirl (degrees);
    // perspectives (amount in -1..1); wave (x amplitude, x wavelength,
    // y amplitude, y wavelength); circle and pentagon none; matrix the nine
    // entries of a source-to-destination matrix, row by row. Missing or
    // non-finite parameters are the neutral ones.
    CIoDeformation(EDeformationType type, const double* parameters, int count) noexcept;
    ~CIoDeformation() override;
    static CIoDeformation* CreateOffset(double dx, double dy);

    int GetSourceCount() const noexcept override { return 1; }
    CErrorAutoThrow Execute(const CIoData& data) override;
    RECT CalculateRectangle(const RECT& input, POINT origin) const override;
    EDeformationType GetDeformationType() const noexcept { return m_eType; }

private:
    CCoordinator* MakeMap() const;
    EDeformationType m_eType;
    double m_p[9] = {};
};

enum EWindDirection : int32_t {
    keWindFromLeft = 0,
    keWindFromRight = 1,
};

// Light pixels trail downwind: along each row a trail keeps the brightest
// colour seen and fades by 1/strength of full scale per pixel (the fade of
// each row varied by the seed), never darkening a pixel.
class QGDI_API CIoWind : public CImageOp {
public:
    CIoWind(int strength, EWindDirection direction, uint32_t seed = 1) noexcept;
    int GetSourceCount() const noexcept override { return 1; }
    CErrorAutoThrow Execute(const CIoData& data) override;

private:
    int m_nStrength;
    EWindDirection m_eDirection;
    uint32_t m_nSeed;
};

#pragma once
// Hue-selective edit: control points around the hue circle, each moving its
// hue to another and bending brightness, contrast and saturation of the
// colours near it; colours between two points get the interpolated edit.
#include <cstddef>
#include <vector>

#include "colour/ColourSpaceRGB.h"

struct SHueData {
    double dHueSrc;      // degrees
    double dHueDst;      // degrees
    double dBrightness;  // 0.5 is neutral for these three
    double dContrast;
    double dSaturation;
};

class QGDI_API CHueSelectiveEdit {
public:
    // N points spread evenly (source = destination = i x 360/N), all neutral.
    CHueSelectiveEdit(int nPoints, const SColorSpecRGB& cs);
    virtual ~CHueSelectiveEdit();

    // Ignores an index outside 0..N-1; keeps the points sorted by source hue
    // (stable, so equal source hues keep their order).
    virtual void SetHueData(int index, const SHueData& data);
    // Edit one colour in place, in the named encoding.
    virtual void RGBD(double& r, double& g, double& b) const;
    virtual void RGBL(double& r, double& g, double& b) const;
    virtual void RGBY(double& r, double& g, double& b) const;

    int GetPointCount() const noexcept { return int(m_points.size()); }
    const SHueData& GetHueData(int index) const { return m_points.at(std::size_t(index)); }
    const SColorSpecRGB& GetColorSpec() const noexcept { return m_spec; }

    // The edit at hue h (degrees, 0..360): dHueSrc receives h, shifted by 360
    // when it fell in the segment that wraps past 360; dHueDst is interpolated
    // around the circle and wrapped into [0, 360); the other three are linear.
    // f receives the position between the two enclosing points. With no points
    // the result is neutral (destination = h) with f = 0, and false is returned.
    bool GetInterpolatedHueData(double h, SHueData& data, double& f) const noexcept;

private:
    std::vector<SHueData> m_points;
    SColorSpecRGB m_spec;
};

#pragma once
// Bringing colours into the unit RGB cube, and pushing them to its surface,
// along the straight line through a grey (c, c, c) with c = clamp(grey, 0, 1).
#include "qgdi_export.h"

// Each channel clamped to 0..1 on its own (hue and saturation may change).
QGDI_API void ClampRGBColor1D(double r, double g, double b, double& rOut, double& gOut, double& bOut) noexcept;
// A colour inside the cube is returned unchanged; otherwise it is moved toward
// the grey until the last channel enters the cube (keeps hue, and keeps the
// luminance when the grey has the colour's luminance).
QGDI_API void ClampRGBColor3D(double r, double g, double b, double& rOut, double& gOut, double& bOut,
                              double grey) noexcept;
// Moves the colour away from the grey until its first channel touches 0 or 1;
// the grey itself is returned unchanged.
QGDI_API void ExpandRGBColor3D(double r, double g, double b, double& rOut, double& gOut, double& bOut,
                               double grey) noexcept;

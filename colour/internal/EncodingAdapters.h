#pragma once
// The device (D) and lightness-encoded (L) forms of every linear-light
// conversion are the same conversion after decoding, or before encoding:
// written once here, instantiated per function.
#include "colour/ColourSpaceRGB.h"
#include "colour/TransferCurves.h"

namespace qgdi::colour {

// YFn(decoded r, g, b, out..., space, extra...) for device input.
template <auto YFn, class... Extra>
inline void FromDevice(double r, double g, double b, double& o1, double& o2, double& o3, const SColorSpecRGB& cs,
                       Extra... extra) noexcept {
    RGBDtoRGBY(r, g, b, r, g, b, cs);
    YFn(r, g, b, o1, o2, o3, cs, extra...);
}

template <auto YFn, class... Extra>
inline void FromLightness(double r, double g, double b, double& o1, double& o2, double& o3, const SColorSpecRGB& cs,
                          Extra... extra) noexcept {
    RGBLtoRGBY(r, g, b, r, g, b);
    YFn(r, g, b, o1, o2, o3, cs, extra...);
}

// YFn(in..., linear r, g, b, space, extra...), then encoded for the device.
template <auto YFn, class... Extra>
inline void ToDevice(double a, double b, double c, double& r, double& g, double& bl, const SColorSpecRGB& cs,
                     Extra... extra) noexcept {
    YFn(a, b, c, r, g, bl, cs, extra...);
    RGBYtoRGBD(r, g, bl, r, g, bl, cs);
}

template <auto YFn, class... Extra>
inline void ToLightness(double a, double b, double c, double& r, double& g, double& bl, const SColorSpecRGB& cs,
                        Extra... extra) noexcept {
    YFn(a, b, c, r, g, bl, cs, extra...);
    RGBYtoRGBL(r, g, bl, r, g, bl);
}

}  // namespace qgdi::colour

#pragma once
// RGB to and from CIE XYZ, L*a*b* and LCh(ab), and the 8- and 16-bit packing
// of Lab pixels. RGB functions take the colour space last; the Lab ones use its white
// (the column sums of the matrix). Nothing here clamps.
#include <cstdint>

#include "colour/ColourSpaceRGB.h"

QGDI_API void RGBYtoXYZ(double r, double g, double b, double& X, double& Y, double& Z,
                        const SColorSpecRGB& cs) noexcept;
QGDI_API void RGBDtoXYZ(double r, double g, double b, double& X, double& Y, double& Z,
                        const SColorSpecRGB& cs) noexcept;
QGDI_API void RGBLtoXYZ(double r, double g, double b, double& X, double& Y, double& Z,
                        const SColorSpecRGB& cs) noexcept;
QGDI_API void XYZtoRGBY(double X, double Y, double Z, double& r, double& g, double& b,
                        const SColorSpecRGB& cs) noexcept;
QGDI_API void XYZtoRGBD(double X, double Y, double Z, double& r, double& g, double& b,
                        const SColorSpecRGB& cs) noexcept;
QGDI_API void XYZtoRGBL(double X, double Y, double Z, double& r, double& g, double& b,
                        const SColorSpecRGB& cs) noexcept;

QGDI_API void XYZtoLab(double X, double Y, double Z, double& L, double& a, double& b, double Xw, double Yw,
                       double Zw) noexcept;
QGDI_API void LabtoXYZ(double L, double a, double b, double& X, double& Y, double& Z, double Xw, double Yw,
                       double Zw) noexcept;
QGDI_API void RGBDtoLab(double r, double g, double b, double& L, double& A, double& B,
                        const SColorSpecRGB& cs) noexcept;
QGDI_API void RGBLtoLab(double r, double g, double b, double& L, double& A, double& B,
                        const SColorSpecRGB& cs) noexcept;
QGDI_API void RGBYtoLab(double r, double g, double b, double& L, double& A, double& B,
                        const SColorSpecRGB& cs) noexcept;
QGDI_API void LabtoRGBD(double L, double A, double B, double& r, double& g, double& b,
                        const SColorSpecRGB& cs) noexcept;
QGDI_API void LabtoRGBL(double L, double A, double B, double& r, double& g, double& b,
                        const SColorSpecRGB& cs) noexcept;
QGDI_API void LabtoRGBY(double L, double A, double B, double& r, double& g, double& b,
                        const SColorSpecRGB& cs) noexcept;

// The hue is atan2(b, a) x 7.818590349124534e-05 and the inverse takes tangents
// of h x 57.29577951308232: both constants are part of the interface, so the
// pair is not a mutual inverse and results must be used as produced.
QGDI_API void LabtoLCHab(double L, double a, double b, double& Lout, double& C, double& h) noexcept;
QGDI_API void LCHabtoLab(double L, double C, double h, double& Lout, double& a, double& b) noexcept;
QGDI_API void RGBDtoLCHab(double r, double g, double b, double& L, double& C, double& h,
                          const SColorSpecRGB& cs) noexcept;
QGDI_API void RGBLtoLCHab(double r, double g, double b, double& L, double& C, double& h,
                          const SColorSpecRGB& cs) noexcept;
QGDI_API void RGBYtoLCHab(double r, double g, double b, double& L, double& C, double& h,
                          const SColorSpecRGB& cs) noexcept;
QGDI_API void LCHabtoRGBD(double L, double C, double h, double& r, double& g, double& b,
                          const SColorSpecRGB& cs) noexcept;
QGDI_API void LCHabtoRGBL(double L, double C, double h, double& r, double& g, double& b,
                          const SColorSpecRGB& cs) noexcept;
QGDI_API void LCHabtoRGBY(double L, double C, double h, double& r, double& g, double& b,
                          const SColorSpecRGB& cs) noexcept;

// Lab packing. bL100: the L byte or word spans L = 0..100; otherwise 0..255
// (8-bit) or 0..255.996 (16-bit), i.e. one L unit per byte step. a and b are
// offset by 128. Values are truncated and clamped, never wrapped.
QGDI_API void EncodeLab(double L, double a, double b, uint8_t& L8, uint8_t& a8, uint8_t& b8, bool bL100) noexcept;
QGDI_API void EncodeLab(double L, double a, double b, uint16_t& L16, uint16_t& a16, uint16_t& b16, bool bL100) noexcept;
QGDI_API void DecodeLab(uint8_t L8, uint8_t a8, uint8_t b8, double& L, double& a, double& b, bool bL100) noexcept;
QGDI_API void DecodeLab(uint16_t L16, uint16_t a16, uint16_t b16, double& L, double& a, double& b, bool bL100) noexcept;

#pragma once
// The per-pixel rules of the colour functors in plain double precision, for
// 8- and 16-bit channels. The 16-bit functors run these directly; the 8-bit
// table-driven kernels must reproduce them byte for byte (and fall back to
// them where a fast approximation is too close to a rounding edge).
#include <cstdint>
#include <type_traits>

#include "colour/CIEConversions.h"
#include "colour/ChannelMeasures.h"
#include "colour/ToneCurves.h"
#include "colour/TransferCurves.h"
#include "colour/internal/ColourScalar.h"

namespace qgdi::colour {

template <class T>
inline constexpr int kChannelMax = std::is_same_v<T, uint8_t> ? 255 : 65535;

template <class T>
inline double ToUnit(T v) noexcept {
    return v / double(kChannelMax<T>);
}

// v x (max + 0.9999), truncated and clamped.
template <class T>
inline T Quantise(double v) noexcept {
    return T(TruncClamp(v * (kChannelMax<T> + 0.9999), kChannelMax<T>));
}

// Weighted linear sum wR DtoY(R) + wG DtoY(G) + wB DtoY(B) of a BGR pixel.
template <class T>
inline double LinearLuminance(const T* src, const SColorSpecRGB& cs) noexcept {
    const double* m = cs.mRGBtoXYZ;
    return m[1] * DtoY(ToUnit(src[2]), cs) + m[4] * DtoY(ToUnit(src[1]), cs) + m[7] * DtoY(ToUnit(src[0]), cs);
}

template <class T>
inline void RefRGBtoGrey(const T* src, T* dst, const SColorSpecRGB& cs) noexcept {
    dst[0] = Quantise<T>(YtoD(LinearLuminance(src, cs), cs));
}

template <class T>
inline void RefRGBtoL(const T* src, T* dst, const SColorSpecRGB& cs) noexcept {
    dst[0] = Quantise<T>(YtoL(LinearLuminance(src, cs)));
}

template <class T>
inline void RefGreyToL(const T* src, T* dst, const SColorSpecRGB& cs) noexcept {
    dst[0] = Quantise<T>(YtoL(DtoY(ToUnit(src[0]), cs)));
}

template <class T>
inline void RefRGBDtoLab(const T* src, T* dst, const SColorSpecRGB& cs, bool bL100) noexcept {
    double L, a, b;
    RGBDtoLab(ToUnit(src[2]), ToUnit(src[1]), ToUnit(src[0]), L, a, b, cs);
    EncodeLab(L, a, b, dst[0], dst[1], dst[2], bL100);
}

template <class T>
inline void RefLabtoRGBD(const T* src, T* dst, const SColorSpecRGB& cs, bool bL100) noexcept {
    double L, a, b, r, g, bl;
    DecodeLab(src[0], src[1], src[2], L, a, b, bL100);
    LabtoRGBY(L, a, b, r, g, bl, cs);
    dst[2] = Quantise<T>(YtoD(r, cs));
    dst[1] = Quantise<T>(YtoD(g, cs));
    dst[0] = Quantise<T>(YtoD(bl, cs));
}

// Relative saturation moved by `amount` (-100..100), weighted toward the
// highlights (smootherstep of the lightness) or the shadows (its complement).
template <class T>
inline void RefRelSaturation(const T* src, T* dst, const SColorSpecRGB& cs, double amount, bool highlights) noexcept {
    const double r = ToUnit(src[2]), g = ToUnit(src[1]), b = ToUnit(src[0]);
    if (amount == 0) {
        dst[0] = src[0], dst[1] = src[1], dst[2] = src[2];
        return;
    }
    const double sr = RGBDGetSR(r, g, b, cs);
    const double L = RGBDGetL(r, g, b, cs);
    const double target = amount > 0 ? Brightness(sr, (amount + 100.0) * 0.005) : (amount + 100.0) * 0.01 * sr;
    double r2 = r, g2 = g, b2 = b;
    RGBDSetSR(r2, g2, b2, cs, target);
    // w = 6L^5 - 15L^4 + 10L^3
    const double smooth = L * L * L * (L * (L * 6.0 - 15.0) + 10.0);
    const double w = highlights ? smooth : 1.0 - smooth;
    dst[2] = Quantise<T>(r + (r2 - r) * w);
    dst[1] = Quantise<T>(g + (g2 - g) * w);
    dst[0] = Quantise<T>(b + (b2 - b) * w);
}

}  // namespace qgdi::colour

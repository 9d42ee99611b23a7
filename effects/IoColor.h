#pragma once
// Per-pixel colour effects on straight colour: a 5 x 4 colour matrix and
// per-channel transfer tables.
#include <array>
#include <cstdint>

#include "QuorRender/IoSeqOp.h"
#include "qdibcore/Source/ColorRef.h"
#include "qdibcore/Source/PixelFormat.h"
#include "qgdi_export.h"

enum EColorMatrixType : int32_t {
    keColorMatrixMatrix = 0,
    keColorMatrixSaturate = 1,
    keColorMatrixHueRotate = 2,
    keColorMatrixLuminanceToAlpha = 3,
    keColorMatrixGreyscale = 4,
    keColorMatrixChannelConstant = 5,
    keColorMatrixColorize = 6,
};

// [R' G' B' A'] = M [R G B A 1] with channels in 0..1, rows of M in the order
// red, green, blue, alpha, five entries each; results clamp to 0..1.
class QGDI_API CIoColorMatrix : public CImageOp {
public:
    // 20 entries, row by row; null or non-finite entries give the identity.
    explicit CIoColorMatrix(const double* matrix20) noexcept;
    static CIoColorMatrix* CreateSaturate(double s);
    static CIoColorMatrix* CreateHueRotate(double degrees);
    static CIoColorMatrix* CreateLuminanceToAlpha();
    static CIoColorMatrix* CreateGreyscale();
    // The channel (blue, green, red or alpha) set to value (0..1).
    static CIoColorMatrix* CreateChannelConstant(EQChannel channel, double value);
    // Luminance tinted towards the hue (degrees) by saturation (0..1), luminance kept.
    static CIoColorMatrix* CreateColorize(double hueDegrees, double saturation);

    int GetSourceCount() const noexcept override { return 1; }
    CErrorAutoThrow Execute(const CIoData& data) override;
    EColorMatrixType GetMatrixType() const noexcept { return m_eType; }
    const std::array<double, 20>& GetMatrix() const noexcept { return m_m; }

private:
    std::array<double, 20> m_m{};
    EColorMatrixType m_eType = keColorMatrixMatrix;
};

// Straight channel values through 256-entry tables.
class QGDI_API CIoComponentTransfer : public CImageOp {
public:
    // Tables for red, green, blue and alpha; a null table is the identity.
    CIoComponentTransfer(const uint8_t* red, const uint8_t* green, const uint8_t* blue, const uint8_t* alpha) noexcept;
    // One channel (blue, green, red or alpha) through table, the others kept.
    CIoComponentTransfer(EQChannel channel, const uint8_t* table) noexcept;
    // amplitude x C^exponent + offset on the colour channels.
    static CIoComponentTransfer* CreateGamma(double amplitude, double exponent, double offset);
    static CIoComponentTransfer* CreateInvert();
    // A metallic ramp: each colour channel goes through `periods` waves of
    // (1 - cos) / 2 of the luminance, tinted by colour.
    static CIoComponentTransfer* CreateChrome(const CColorRef& colour, double periods);

    int GetSourceCount() const noexcept override { return 1; }
    CErrorAutoThrow Execute(const CIoData& data) override;
    // Table of a channel in storage order (0 blue, 1 green, 2 red, 3 alpha).
    const uint8_t* GetTable(int channel) const noexcept { return m_t[channel & 3].data(); }

private:
    CIoComponentTransfer() noexcept;
    std::array<std::array<uint8_t, 256>, 4> m_t{};  // blue, green, red, alpha
    bool m_bLuminance = false;                       // colour tables read the luminance
};

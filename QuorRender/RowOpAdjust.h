#pragma once
// Colour adjustments of a row in place: invert, per-channel gain and offset,
// a lith-film threshold, colour replacement, and the hue-saturation-lightness
// adjustments.
#include "QuorRender/RowOp.h"

QGDI_API const SRowOpDictEntry* GetRowInvertDict() noexcept;
QGDI_API const SRowOpDictEntry* GetRowRGBAdjustDict() noexcept;
QGDI_API const SRowOpDictEntry* GetRowKodalithDict() noexcept;
QGDI_API const SRowOpDictEntry* GetRowReplaceColorDict() noexcept;
QGDI_API const SRowOpDictEntry* GetRowHSLAdjustDict() noexcept;
QGDI_API const SRowOpDictEntry* GetRowHSLCopyChannelDict() noexcept;

// c' = full - c on the colour channels, alpha kept (premultiplied: c' = a - c).
class QGDI_API CRowOpDefRowInvert : public TRowOpDefKind<CRowOpDefRowInvert, GetRowInvertDict> {
public:
    CRowOpDefRowInvert() noexcept : TRowOpDefKind(keRoRowInvert) {}
};

// c' = clamp(gain[c] c + offset[c] full) for red, green and blue (index 0, 1, 2),
// on straight colour; gains limited to 0..64, offsets to -1..1.
class QGDI_API CRowOpDefRowRGBAdjust : public TRowOpDefKind<CRowOpDefRowRGBAdjust, GetRowRGBAdjustDict> {
public:
    CRowOpDefRowRGBAdjust() noexcept : TRowOpDefKind(keRoRowRGBAdjust) { BuildByteTables(); }
    CRowOpDefRowRGBAdjust(const double gain[3], const double offset[3]) noexcept;
    double GetGain(int channel) const noexcept { return channel >= 0 && channel < 3 ? m_dGain[channel] : 1; }
    double GetOffset(int channel) const noexcept { return channel >= 0 && channel < 3 ? m_dOffset[channel] : 0; }
    // The rule on 8-bit channels, c' for c = 0..255, tabulated once for every row.
    const uint8_t* GetByteTable(int channel) const noexcept {
        return m_byteTable[channel >= 0 && channel < 3 ? channel : 0];
    }

private:
    void BuildByteTables() noexcept;

    double m_dGain[3] = {1, 1, 1};
    double m_dOffset[3] = {0, 0, 0};
    uint8_t m_byteTable[3][256] = {};
};

// Lith film: every colour channel becomes full when the luminance reaches the
// threshold (0..255 of full scale) and 0 below it; alpha kept.
class QGDI_API CRowOpDefRowKodalith : public TRowOpDefKind<CRowOpDefRowKodalith, GetRowKodalithDict> {
public:
    explicit CRowOpDefRowKodalith(uint8_t threshold = 128) noexcept
        : TRowOpDefKind(keRoRowAdjustMox), m_nThreshold(threshold) {}
    uint8_t GetThreshold() const noexcept { return m_nThreshold; }

private:
    uint8_t m_nThreshold;
};

// Pixels whose colour lies within `tolerance` (0..255, per channel) of `from`
// take the colour `to`; alpha kept. Colours have red in the low byte.
class QGDI_API CRowOpDefRowReplaceColor : public TRowOpDefKind<CRowOpDefRowReplaceColor, GetRowReplaceColorDict> {
public:
    CRowOpDefRowReplaceColor(uint32_t from = 0, uint32_t to = 0, uint8_t tolerance = 0) noexcept
        : TRowOpDefKind(keRoRowReplaceColor), m_nFrom(from), m_nTo(to), m_nTolerance(tolerance) {}
    uint32_t GetFrom() const noexcept { return m_nFrom; }
    uint32_t GetTo() const noexcept { return m_nTo; }
    uint8_t GetTolerance() const noexcept { return m_nTolerance; }

private:
    uint32_t m_nFrom, m_nTo;
    uint8_t m_nTolerance;
};

// In hue, saturation, lightness: h' = h + hue (degrees); s' and l' move towards
// 1 by the fraction saturation (or lightness) when it is positive and towards
// 0 when negative (both -1..1). Alpha kept.
class QGDI_API CRowOpDefRowHSLAdjust : public TRowOpDefKind<CRowOpDefRowHSLAdjust, GetRowHSLAdjustDict> {
public:
    CRowOpDefRowHSLAdjust(double hue = 0, double saturation = 0, double lightness = 0) noexcept
        : TRowOpDefKind(keRoRowHSLAdjust), m_dHue(hue), m_dSaturation(saturation), m_dLightness(lightness) {}
    double GetHue() const noexcept { return m_dHue; }
    double GetSaturation() const noexcept { return m_dSaturation; }
    double GetLightness() const noexcept { return m_dLightness; }

private:
    double m_dHue, m_dSaturation, m_dLightness;
};

enum EQHSLChannel : int32_t {
    keHSLHue = 0,
    keHSLSaturation = 1,
    keHSLLightness = 2,
};

// The destination takes one of hue, saturation or lightness from the source
// and keeps the other two; alpha kept.
class QGDI_API CRowOpDefRowHSLCopyChannel : public TRowOpDefKind<CRowOpDefRowHSLCopyChannel, GetRowHSLCopyChannelDict> {
public:
    explicit CRowOpDefRowHSLCopyChannel(EQHSLChannel channel = keHSLHue) noexcept
        : TRowOpDefKind(keRoRowHSLCopyChannel), m_eChannel(channel) {}
    EQHSLChannel GetChannel() const noexcept { return m_eChannel; }

private:
    EQHSLChannel m_eChannel;
};

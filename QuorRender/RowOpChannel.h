#pragma once
// Operations on single channels: reading one out as grey, writing grey into
// one, setting channels to a constant, and a linear map of channels.
#include "QuorRender/RowOp.h"

QGDI_API const SRowOpDictEntry* GetChannelGetDict() noexcept;
QGDI_API const SRowOpDictEntry* GetChannelSetDict() noexcept;
QGDI_API const SRowOpDictEntry* GetChannelConstantDict() noexcept;
QGDI_API const SRowOpDictEntry* GetChannelLinearDict() noexcept;

// Grey d = s[channel] of the straight source colour; the grey channel of a
// colour source is its luminance, a missing alpha reads opaque.
class QGDI_API CRowOpDefChannelGet : public TRowOpDefKind<CRowOpDefChannelGet, GetChannelGetDict> {
public:
    explicit CRowOpDefChannelGet(EQChannel channel = keChannelGrey) noexcept
        : TRowOpDefKind(keRoChannelGet), m_eChannel(channel) {}
    EQChannel GetChannel() const noexcept { return m_eChannel; }

private:
    EQChannel m_eChannel;
};

// d[channel] = grey s; writing the grey channel of a colour row sets blue,
// green and red alike. A channel the destination lacks leaves it unchanged.
class QGDI_API CRowOpDefChannelSet : public TRowOpDefKind<CRowOpDefChannelSet, GetChannelSetDict> {
public:
    explicit CRowOpDefChannelSet(EQChannel channel = keChannelGrey) noexcept
        : TRowOpDefKind(keRoChannelSet), m_eChannel(channel) {}
    EQChannel GetChannel() const noexcept { return m_eChannel; }

private:
    EQChannel m_eChannel;
};

// d[c] = k for every stored channel c in the set; k in 0..1 of full scale.
class QGDI_API CRowOpDefChannelConstant : public TRowOpDefKind<CRowOpDefChannelConstant, GetChannelConstantDict> {
public:
    CRowOpDefChannelConstant(EQChannelSet channels = keChannelSetAlpha, double value = 1.0) noexcept
        : TRowOpDefKind(keRoChannelConstant), m_eChannels(channels), m_dValue(value) {}
    EQChannelSet GetChannels() const noexcept { return m_eChannels; }
    double GetValue() const noexcept { return m_dValue; }
    // The channels the set names in the row's format and the constant in its scale, once per binding.
    std::shared_ptr<const CRowOpPrepared> Prepare(EQPixelFormat dst, EQPixelFormat src) const override;

private:
    EQChannelSet m_eChannels;
    double m_dValue;
};

// d[c] = clamp(scale d[c] + offset) for every stored channel c in the set;
// offset in units of full scale. Scale is limited to +-64 and offset to +-64.
class QGDI_API CRowOpDefChannelLinear : public TRowOpDefKind<CRowOpDefChannelLinear, GetChannelLinearDict> {
public:
    CRowOpDefChannelLinear(EQChannelSet channels = keChannelSetAllButAlpha, double scale = 1.0,
                           double offset = 0.0) noexcept
        : TRowOpDefKind(keRoChannelLinear), m_eChannels(channels), m_dScale(scale), m_dOffset(offset) {}
    EQChannelSet GetChannels() const noexcept { return m_eChannels; }
    double GetScale() const noexcept { return m_dScale; }
    double GetOffset() const noexcept { return m_dOffset; }
    // The channels the set names and the fixed-point or float coefficients, once per binding.
    std::shared_ptr<const CRowOpPrepared> Prepare(EQPixelFormat dst, EQPixelFormat src) const override;

private:
    EQChannelSet m_eChannels;
    double m_dScale;
    double m_dOffset;
};

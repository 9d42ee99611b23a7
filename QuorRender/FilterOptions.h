#pragma once
// The settings the whole-image filters share: the edge rule with its colour
// (red in the low byte, then green, blue, alpha) and the channels changed
// (the others keep the source's values).
#include <cstdint>

#include "QuorRender/EdgeMode.h"
#include "qdibcore/Source/PixelFormat.h"
#include "qgdi_export.h"

class QGDI_API CImageFilterOptions {
public:
    void SetEdgeMode(EEdgeMode mode, uint32_t edgeColour = 0) noexcept {
        m_eEdge = mode;
        m_nEdgeColour = edgeColour;
    }
    void SetChannels(EQChannelSet channels) noexcept { m_eChannels = channels; }
    EEdgeMode GetEdgeMode() const noexcept { return m_eEdge; }
    EQChannelSet GetChannels() const noexcept { return m_eChannels; }

protected:
    explicit CImageFilterOptions(EQChannelSet channels = keChannelSetAll) noexcept : m_eChannels(channels) {}
    bool EdgeIsValid() const noexcept { return m_eEdge >= keEdgeWrap && m_eEdge <= keEdgeConstant; }

    EEdgeMode m_eEdge = keEdgeClamp;
    uint32_t m_nEdgeColour = 0;
    EQChannelSet m_eChannels;
};

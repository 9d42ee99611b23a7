#pragma once
// Displacement: each output pixel is the image (source 0) read at its own
// position moved by two channels of a map (source 1, same size):
//   P'(x, y) = P(x + scale (X(x, y) / max - 1/2), y + scale (Y(x, y) / max - 1/2)).
// A shift can reach at most scale / 2 pixels, so the image is read through a
// window of that many rows on each side and the chain stays sequential.
// The image is sampled bilinearly (1/256 pixel), or with the SVG rule
// (option): the nearest pixel, the map's colours taken unpremultiplied.
#include <cstdint>
#include <memory>
#include <vector>

#include "QuorRender/EdgeMode.h"
#include "QuorRender/KernelSource.h"
#include "QuorRender/SeqOpRowMaker.h"
#include "qgdi_export.h"

namespace qgdi::filter {
inline constexpr double kfMaxDisplaceScale = 4000.0;
}

class QGDI_API CSeqOpDisplace : public CSeqOpRowMaker {
public:
    // Reset fails for a scale that is not finite or beyond kfMaxDisplaceScale
    // in size, for channels the map lacks and for sources of different sizes.
    CSeqOpDisplace(EQChannel xChannel, EQChannel yChannel, double scale, bool svg = false,
                   EEdgeMode edge = keEdgeClamp, uint32_t edgeColour = 0);
    ~CSeqOpDisplace() override;

    bool Reset() override;

private:
    bool MakeRow() override;

    EQChannel m_eX, m_eY;
    double m_fScale;
    bool m_bSvg;
    EEdgeMode m_eEdge;
    uint32_t m_nEdgeColour;
    std::unique_ptr<CKernelSource> m_pWindow;
    int32_t m_nRow = 0, m_nWidth = 0, m_nChannels = 0, m_nSampleBytes = 1, m_nReach = 1;
    // The map: bytes per sample and pixel, the two channels' and its alpha's sample index.
    int32_t m_nMapSampleBytes = 1, m_nMapPixelSamples = 1, m_nMapX = 0, m_nMapY = 0, m_nMapAlpha = -1;
    double m_fMapMax = 255;
    std::vector<int32_t> m_aCol, m_aSlot, m_aFx, m_aFy;  // per output pixel
    std::vector<int32_t> m_aOut;
};

#pragma once
// One output pixel at a fractional source position: what coordinate maps,
// patterns and image drawing sample an image through. The filter's weights
// are tabulated once for 256 sub-pixel phases in fixed point; positions are
// in 1/256 pixel, pixel centres at whole numbers.
#include <cstdint>
#include <vector>

#include "QuorRender/EdgeMode.h"
#include "QuorRender/SeqOpResample.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"

class QGDI_API CPixelResampler {
public:
    static constexpr int kPhases = 256;
    static constexpr int kWeightBits = 14;

    // Area average has no meaning at a point and samples as bilinear.
    // `edgeColour` (red in the low byte, then green, blue, alpha) is what the
    // constant edge mode sees outside the image.
    explicit CPixelResampler(EQResampleMode mode = keResampleBilinear, EEdgeMode edge = keEdgeClamp,
                             uint32_t edgeColour = 0);
    ~CPixelResampler();
    CPixelResampler(const CPixelResampler&) = delete;
    CPixelResampler& operator=(const CPixelResampler&) = delete;

    // 8-bit, 16-bit and float formats with whole-byte pixels (120 otherwise);
    // 110 for an image that is not attached. The image must outlive the
    // resampler and is read from any number of threads at once.
    CErrorAutoThrow Attach(const CRowIterator* image);
    void Detach() noexcept;
    bool IsAttached() const noexcept { return m_pImage != nullptr; }
    EQResampleMode GetMode() const noexcept { return m_eMode; }
    int GetTaps() const noexcept { return m_nTaps; }
    // Weight of tap k at sub-pixel phase p, in units of 2^kWeightBits.
    int32_t GetWeight(int phase, int k) const noexcept { return m_aWeights[static_cast<size_t>(phase * m_nTaps + k)]; }

    // One pixel of the image's format at (x, y) in 1/256 pixel into `pixel`;
    // false when detached or a row cannot be read.
    bool SampleFixed(int32_t x256, int32_t y256, void* pixel) const;
    bool Sample(double x, double y, void* pixel) const;
    // `count` pixels from (x, y) in steps of (dx, dy), all in 1/256 pixel.
    bool SampleSpan(int32_t x256, int32_t y256, int32_t dx256, int32_t dy256, int count, void* dst) const;

private:
    EQResampleMode m_eMode;
    EEdgeMode m_eEdge;
    uint32_t m_nEdgeColour;
    int m_nTaps = 1;
    int m_nOffset = 0;  // taps before the sample's own
    std::vector<int32_t> m_aWeights;
    const CRowIterator* m_pImage = nullptr;
    EQPixelFormat m_eFormat = keFormatNone;
    int m_nChannels = 0;
    int m_nAlpha = -1;  // element of a straight alpha to weigh the colours by, or -1
    double m_aEdge[4] = {};
};

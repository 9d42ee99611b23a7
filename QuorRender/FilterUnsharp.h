#pragma once
// Unsharp masking: the image plus `amount` times its difference from a
// Gaussian blur of it, where that difference reaches the threshold.
#include <cstdint>

#include "QuorRender/EdgeMode.h"
#include "QuorRender/FilterOptions.h"
#include "QuorRender/SeqOp.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"

class CStatusControl;

// Source 0 the image, source 1 its blur (same format and width), pulled in
// step: o + amount (o - b) where |o - b| >= threshold, else o.
class QGDI_API CSeqOpUnsharp : public CSeqOp {
public:
    // `threshold` in 8-bit levels (scaled by 257 for 16-bit samples).
    CSeqOpUnsharp(double amount, double threshold) noexcept : m_fAmount(amount), m_fThreshold(threshold) {}
    bool Reset() override;
    bool GetNextRow(void* dst, int x, int count) override;

private:
    double m_fAmount, m_fThreshold;
    int32_t m_nAmount = 0, m_nThreshold = 0, m_nMax = 255, m_nSamples = 0, m_nSampleBytes = 1;
};

class QGDI_API CImageUnsharp : public CImageFilterOptions {
public:
    static constexpr double kfMaxAmount = 100.0;

    // amount: 1 adds the difference once (0 leaves the image alone); radius:
    // the blur's deviation in pixels; threshold: in 8-bit levels.
    CImageUnsharp(double amount, double radius, double threshold = 0) noexcept
        : CImageFilterOptions(keChannelSetAllButAlpha), m_fAmount(amount), m_fRadius(radius), m_fThreshold(threshold) {}
    // Colour channels by default: sharpening alpha rings the outline.

    // As CImageBlur::Blur; 101 for an amount outside 0..kfMaxAmount, a radius
    // the blur refuses or a negative threshold.
    CErrorAutoThrow Apply(const CRowIterator& source, CRowIterator& destination,
                          CStatusControl* status = nullptr) const;

private:
    double m_fAmount, m_fRadius, m_fThreshold;
};

QGDI_API CErrorAutoThrow QGDI_UnsharpMask(const CRowIterator& source, CRowIterator& destination, double amount,
                                          double radius, double threshold = 0, CStatusControl* status = nullptr);

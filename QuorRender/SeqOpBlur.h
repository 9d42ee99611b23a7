#pragma once
// Blurs as stages. A blur is a list of one-dimensional passes across and
// down; each pass is either an explicit integer kernel (weights adding up to
// 2^14 exactly, so a flat row stays flat) or an extended box: a box of
// radius r with the two samples just outside it weighted by a fraction, the
// fraction making the variance exactly what is asked for. A box pass keeps
// running sums, so its cost does not depend on its radius; a few of them in
// a row are a close Gaussian at any deviation.
#include <cstdint>
#include <vector>

#include "QuorRender/EdgeMode.h"
#include "QuorRender/KernelSource.h"
#include "QuorRender/SeqOpRowMaker.h"
#include "qgdi_export.h"

struct QGDI_API SBlurPass {
    static constexpr int kiWeightBits = 14;
    // Explicit kernel, centred, odd length, adding up to 1 << kiWeightBits;
    // empty for an extended box.
    std::vector<int32_t> aWeights;
    int32_t nRadius = 0;     // box: the inner radius
    float fInner = 0.f;      // box: weight of each of the 2r + 1 inner samples
    float fRing = 0.f;       // box: weight of each of the two samples at r + 1
    bool IsBox() const noexcept { return aWeights.empty(); }
    // Samples the pass reads around the output one, on each side.
    int32_t Reach() const noexcept {
        return IsBox() ? nRadius + 1 : static_cast<int32_t>(aWeights.size() / 2);
    }
};

namespace qgdi::filter {
// Deviations below this get an explicit sampled Gaussian; from it on,
// kiGaussianBoxPasses extended boxes. Measured against the sampled
// Gaussian, the largest difference is 6 % of its peak with three boxes and
// under 4 % with four (the variance is exact either way); the explicit
// kernels stay under 0.6 %.
inline constexpr double kfExplicitGaussianLimit = 3.0;
inline constexpr int kiGaussianBoxPasses = 4;
// Largest deviation and box radius accepted (a window row per sample of reach).
inline constexpr double kfMaxSigma = 2000.0;
inline constexpr int kiMaxBoxRadius = 6000;
// The passes of a Gaussian of deviation `sigma` along one axis (none for 0);
// false for a negative, non-finite or too large deviation.
QGDI_API bool PlanGaussian(double sigma, std::vector<SBlurPass>& passes);
// One extended box of variance `variance` (at least 0).
QGDI_API SBlurPass ExtendedBox(double variance);
// A plain box of 2 * radius + 1 samples (radius 0: none); false when out of range.
QGDI_API bool PlanBox(int radius, std::vector<SBlurPass>& passes);
// The integer weights of a sampled Gaussian reaching ceil(4 sigma) each side.
QGDI_API SBlurPass SampledGaussian(double sigma);
}  // namespace qgdi::filter

namespace qgdi::filter {
// Samples all `passes` read on each side, one after the other.
inline int32_t TotalReach(const std::vector<SBlurPass>& passes) noexcept {
    int32_t r = 0;
    for (const SBlurPass& p : passes) r += p.Reach();
    return r;
}
}  // namespace qgdi::filter

// Blur passes over source 0. Across, any number of passes run in one stage:
// the row is split into channel planes once, padded by the reach of all of
// them, and each pass shortens the planes by its own reach, so the border
// is treated as one kernel made of all the passes would treat it. Down, one
// pass per stage (each needs its own window of rows). 8- and 16-bit
// formats; every channel is filtered as it comes, so straight alpha must be
// premultiplied before (the whole-image blur does it).
class QGDI_API CSeqOpBlurPass : public CSeqOpRowMaker {
public:
    CSeqOpBlurPass(bool vertical, const SBlurPass& pass, EEdgeMode edge = keEdgeClamp, uint32_t edgeColour = 0);
    // Across only: `passes` in order (Reset fails when empty).
    explicit CSeqOpBlurPass(const std::vector<SBlurPass>& passes, EEdgeMode edge = keEdgeClamp,
                            uint32_t edgeColour = 0);
    ~CSeqOpBlurPass() override;

    bool Reset() override;

private:
    bool MakeRow() override;
    void Horizontal(int channel, int32_t* out) noexcept;
    void Vertical(int channel, int32_t* out) noexcept;

    bool m_bVertical;
    std::vector<SBlurPass> m_aPasses;
    CKernelSource m_oWindow;
    int32_t m_nRow = 0;
    int32_t m_nWidth = 0;
    int32_t m_nChannels = 0;
    int32_t m_nSampleBytes = 1;
    std::vector<int32_t> m_aColumnSums;  // vertical box: the inner sum per column and channel
    std::vector<int32_t> m_aScratch;     // across: two planes between passes
    std::vector<int32_t> m_aPrefix;      // across: the prefix sums of a box pass
    std::vector<int32_t> m_aOut;
};

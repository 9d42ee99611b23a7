#include "effects/IoFilters.h"

#include <algorithm>
#include <cmath>

#include "QuorRender/FilterConvolve.h"
#include "QuorRender/FilterDisplace.h"
#include "QuorRender/FilterMorphology.h"
#include "QuorRender/SeqOpDisplace.h"
#include "effects/internal/EffectPixels.h"
#include "qdibcore/Source/internal/ResultTry.h"

using namespace qgdi::effects;

namespace {

// Premultiplied pixels as an image of the given format (the bytes as they are).
CErrorAutoThrow AsImage(const SPixels& px, EQPixelFormat format, CRowIterator& out) {
    QGDI_TRY(out.Create(px.width, px.height, keFormatBGRxA));
    QGDI_TRY(WritePixels(out, {0, 0, px.width, px.height}, px));
    if (format != keFormatBGRxA) QGDI_TRY(out.OverridePixelFormat(format));
    return {};
}

// The filtered image's bytes back into premultiplied pixels.
CErrorAutoThrow FromImage(CRowIterator& image, SPixels& px) {
    if (image.GetPixelFormat() != keFormatBGRxA) QGDI_TRY(image.OverridePixelFormat(keFormatBGRxA));
    return ReadPixels(&image, px.width, px.height, px);
}

}  // namespace

CIoConvolveMatrix::CIoConvolveMatrix(const double* matrix, double divisor, EEdgeMode edge, EQChannelSet channels,
                                     int columns, int rows)
    : CImageOp(keIoConvolveMatrix), m_eEdge(edge), m_eChannels(channels) {
    if (!matrix || columns <= 0 || rows <= 0 || columns > SConvolveKernel::kiMaxSize ||
        rows > SConvolveKernel::kiMaxSize)
        return;  // an empty kernel: Execute fails with 101
    m_oKernel.nColumns = columns;
    m_oKernel.nRows = rows;
    m_oKernel.aValues.assign(matrix, matrix + static_cast<size_t>(columns) * static_cast<size_t>(rows));
    double sum = 0;
    for (double v : m_oKernel.aValues) sum += v;
    m_oKernel.fDivisor = divisor != 0 ? divisor : (sum != 0 ? sum : 1.0);
}

CIoConvolveMatrix::CIoConvolveMatrix(EQFilterMatrix which, EEdgeMode edge, EQChannelSet channels)
    : CImageOp(keIoConvolveMatrix), m_eEdge(edge), m_eChannels(channels) {
    if (!QGDI_GetFilterMatrix(which, m_oKernel)) m_oKernel = SConvolveKernel();
}

void CIoConvolveMatrix::SetBias(double bias) noexcept { m_oKernel.fBias = std::isfinite(bias) ? bias * 255.0 : 1e9; }

RECT CIoConvolveMatrix::GetReach() const noexcept {
    const int ax = m_oKernel.AnchorX(), ay = m_oKernel.AnchorY();
    return {ax, ay, std::max(0, m_oKernel.nColumns - 1 - ax), std::max(0, m_oKernel.nRows - 1 - ay)};
}

CErrorAutoThrow CIoConvolveMatrix::Execute(const CIoData& data) {
    RECT rc;
    QGDI_TRY(DestinationRect(data, rc));
    if (!m_oKernel.IsValid()) return QERR(keQuorErrFailed);
    // The filter correlates: turn the kernel and its anchor half a turn.
    SConvolveKernel turned = m_oKernel;
    std::reverse(turned.aValues.begin(), turned.aValues.end());
    turned.nAnchorX = m_oKernel.nColumns - 1 - m_oKernel.AnchorX();
    turned.nAnchorY = m_oKernel.nRows - 1 - m_oKernel.AnchorY();
    SPixels px;
    QGDI_TRY(ReadInput(data, 0, px));
    const bool preserveAlpha = m_eChannels != keChannelSetAll && m_eChannels != keChannelSetAlpha;
    if (preserveAlpha) {
        // Colour filtered straight: the bytes are given as they would be stored.
        for (size_t i = 0; i < px.bytes.size(); i += 4)
            for (int c = 0; c < 3; ++c) px.bytes[i + c] = Unpremultiply(px.bytes[i + c], px.bytes[i + 3]);
    }
    CRowIterator in, out;
    QGDI_TRY(AsImage(px, keFormatBGRxA, in));
    CImageConvolve convolve(turned);
    convolve.SetEdgeMode(m_eEdge, 0);
    convolve.SetChannels(m_eChannels);
    QGDI_TRY(convolve.Convolve(in, out, data.pStatus));
    QGDI_TRY(FromImage(out, px));
    if (preserveAlpha) {
        for (size_t i = 0; i < px.bytes.size(); i += 4)
            for (int c = 0; c < 3; ++c) px.bytes[i + c] = Premultiply(px.bytes[i + c], px.bytes[i + 3]);
    } else {
        for (size_t i = 0; i < px.bytes.size(); i += 4)
            for (int c = 0; c < 3; ++c) px.bytes[i + c] = std::min(px.bytes[i + c], px.bytes[i + 3]);
    }
    return Finish(true, data, rc, px);
}

CIoMorphology::CIoMorphology(bool dilate, EShape shape, int rx, int ry) noexcept
    : CImageOp(keIoMorphology), m_bDilate(dilate), m_eShape(shape), m_nRx(std::max(rx, 0)), m_nRy(std::max(ry, 0)) {}

CErrorAutoThrow CIoMorphology::Execute(const CIoData& data) {
    RECT rc;
    QGDI_TRY(DestinationRect(data, rc));
    if (m_nRx > qgdi::filter::kiMaxMorphRadius || m_nRy > qgdi::filter::kiMaxMorphRadius)
        return QERR(keQuorErrFailed);
    SPixels px;
    QGDI_TRY(ReadInput(data, 0, px));
    if (m_nRx == 0 && m_nRy == 0) return Finish(true, data, rc, px);
    CRowIterator in, out;
    QGDI_TRY(AsImage(px, keFormatBGRxA, in));
    // Outside the image is transparent: erosion near the border reaches it.
    CImageMorphology morph(m_bDilate, m_eShape == keShapeRound ? keMorphRound : keMorphSquare, m_nRx, m_nRy);
    morph.SetEdgeMode(keEdgeConstant, 0);
    QGDI_TRY(morph.Apply(in, out, data.pStatus));
    QGDI_TRY(FromImage(out, px));
    return Finish(true, data, rc, px);
}

CIoDisplacementMap::CIoDisplacementMap(EQChannel xChannel, EQChannel yChannel, double scale) noexcept
    : CImageOp(keIoDisplacementMap), m_eX(xChannel), m_eY(yChannel), m_dScale(std::isfinite(scale) ? scale : 0) {}

RECT CIoDisplacementMap::GetReach() const noexcept {
    const int r = static_cast<int>(std::ceil(std::min(std::fabs(m_dScale), 1e6) / 2));
    return {r, r, r, r};
}

CErrorAutoThrow CIoDisplacementMap::Execute(const CIoData& data) {
    RECT rc;
    QGDI_TRY(DestinationRect(data, rc));
    const auto colour = [](EQChannel c) { return c >= keChannelBlue && c <= keChannelAlpha; };
    if (!colour(m_eX) || !colour(m_eY) || std::fabs(m_dScale) > qgdi::filter::kfMaxDisplaceScale)
        return QERR(keQuorErrFailed);
    SPixels src, map;
    QGDI_TRY(ReadInput(data, 0, src));
    QGDI_TRY(ReadInput(data, 1, map));
    if (m_dScale == 0) return Finish(true, data, rc, src);
    // The map is read straight; the source is sampled bilinearly between
    // premultiplied pixels, transparent outside.
    for (size_t i = 0; i < map.bytes.size(); i += 4)
        for (int c = 0; c < 3; ++c) map.bytes[i + c] = Unpremultiply(map.bytes[i + c], map.bytes[i + 3]);
    CRowIterator in, mapImage, out;
    QGDI_TRY(AsImage(src, keFormatBGRxA, in));
    QGDI_TRY(AsImage(map, keFormatBGRxA, mapImage));
    CImageDisplacement displace(m_eX, m_eY, m_dScale);
    displace.SetEdgeMode(keEdgeConstant, 0);
    QGDI_TRY(displace.Apply(in, mapImage, out, data.pStatus));
    QGDI_TRY(FromImage(out, src));
    return Finish(true, data, rc, src);
}

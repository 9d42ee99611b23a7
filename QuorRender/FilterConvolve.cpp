#include "QuorRender/FilterConvolve.h"

#include <cmath>

#include "QuorRender/internal/FilterChain.h"

CErrorAutoThrow CImageConvolve::Convolve(const CRowIterator& source, CRowIterator& destination,
                                         CStatusControl* status) const {
    if (!m_oKernel.IsValid() || !EdgeIsValid()) return QERR(keQuorErrFailed);
    qgdi::filter::SChainOptions options;
    options.eChannels = m_eChannels;
    // With alpha kept as it is, colours are filtered as stored (straight),
    // as SVG's preserved alpha does; a bias then lifts every pixel alike
    // instead of pushing premultiplied colours past their alpha.
    options.bPremultiply = QGDI_ChannelIsMember(m_eChannels, keChannelAlpha);
    return qgdi::filter::RunChain(
        source, destination, options,
        [this](VSeqOp* tail, const qgdi::filter::SChainContext&) {
            return qgdi::filter::Append(tail, new CSeqOpConvolve(m_oKernel, m_eEdge, m_nEdgeColour));
        },
        status);
}

CErrorAutoThrow QGDI_ConvolveMatrix(const CRowIterator& source, CRowIterator& destination, EQFilterMatrix which,
                                    EEdgeMode edge, EQChannelSet channels, CStatusControl* status) {
    CImageConvolve convolve;
    if (!convolve.SetMatrix(which)) return QERR(keQuorErrFailed);
    convolve.SetEdgeMode(edge);
    convolve.SetChannels(channels);
    return convolve.Convolve(source, destination, status);
}

namespace qgdi::filter {

bool MotionKernel(double degrees, double distance, SConvolveKernel& kernel) {
    if (!std::isfinite(degrees) || !(distance >= 0 && distance <= kfMaxMotionDistance)) return false;
    const double a = degrees * 3.14159265358979 / 180.0, dx = std::cos(a), dy = -std::sin(a);
    const int reach = static_cast<int>(std::ceil(distance / 2)) + 1, size = 2 * reach + 1;
    std::vector<double> grid(static_cast<size_t>(size) * size, 0.0);
    // Points at the middles of four pieces per pixel along the line (so the
    // segment's variance is d^2 / 12), each spread over its four
    // neighbouring kernel cells.
    const int samples = std::max(1, static_cast<int>(std::ceil(distance * 4)));
    for (int i = 0; i < samples; ++i) {
        const double t = ((i + 0.5) / samples - 0.5) * distance;
        const double x = reach + t * dx, y = reach + t * dy;
        const int x0 = static_cast<int>(std::floor(x)), y0 = static_cast<int>(std::floor(y));
        const double fx = x - x0, fy = y - y0;
        const auto add = [&](int cx, int cy, double wgt) {
            if (wgt > 1e-12 && cx >= 0 && cy >= 0 && cx < size && cy < size) grid[static_cast<size_t>(cy) * size + cx] += wgt;
        };
        add(x0, y0, (1 - fx) * (1 - fy)), add(x0 + 1, y0, fx * (1 - fy));
        add(x0, y0 + 1, (1 - fx) * fy), add(x0 + 1, y0 + 1, fx * fy);
    }
    // Trim empty borders in pairs, so that the centre stays the anchor.
    const auto rowEmpty = [&](int r) {
        for (int c = 0; c < size; ++c)
            if (grid[static_cast<size_t>(r) * size + c] != 0) return false;
        return true;
    };
    const auto colEmpty = [&](int c) {
        for (int r = 0; r < size; ++r)
            if (grid[static_cast<size_t>(r) * size + c] != 0) return false;
        return true;
    };
    int ry = reach, rx = reach;
    while (ry > 0 && rowEmpty(reach - ry) && rowEmpty(reach + ry)) --ry;
    while (rx > 0 && colEmpty(reach - rx) && colEmpty(reach + rx)) --rx;
    kernel = SConvolveKernel();
    kernel.nColumns = 2 * rx + 1;
    kernel.nRows = 2 * ry + 1;
    double total = 0;
    for (int r = reach - ry; r <= reach + ry; ++r)
        for (int c = reach - rx; c <= reach + rx; ++c) {
            kernel.aValues.push_back(grid[static_cast<size_t>(r) * size + c]);
            total += kernel.aValues.back();
        }
    kernel.fDivisor = total;
    return true;
}

}  // namespace qgdi::filter

CErrorAutoThrow QGDI_MotionBlur(const CRowIterator& source, CRowIterator& destination, double degrees, double distance,
                                EEdgeMode edge, CStatusControl* status) {
    SConvolveKernel kernel;
    if (!qgdi::filter::MotionKernel(degrees, distance, kernel)) return QERR(keQuorErrFailed);
    CImageConvolve convolve(kernel);
    convolve.SetEdgeMode(edge);
    return convolve.Convolve(source, destination, status);
}

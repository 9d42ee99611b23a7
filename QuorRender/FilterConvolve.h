#pragma once
// Whole-image convolution: a kernel (or a stock matrix) run over an image,
// limited to a channel set. The kernel is laid on the image as it stands,
// out(x, y) = sum k(i, j) in(x + i - anchor x, y + j - anchor y), as a
// correlation; SVG's convolve matrix is this with the kernel turned by half
// a turn (and its target mirrored to match).
#include <cstdint>

#include "QuorRender/EdgeMode.h"
#include "QuorRender/FilterOptions.h"
#include "QuorRender/SeqOpConvolve.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"

class CStatusControl;

class QGDI_API CImageConvolve : public CImageFilterOptions {
public:
    CImageConvolve() noexcept = default;
    explicit CImageConvolve(const SConvolveKernel& kernel) : m_oKernel(kernel) {}
    void SetKernel(const SConvolveKernel& kernel) { m_oKernel = kernel; }
    // False for values outside EQFilterMatrix.
    bool SetMatrix(EQFilterMatrix which) { return QGDI_GetFilterMatrix(which, m_oKernel); }
    const SConvolveKernel& GetKernel() const noexcept { return m_oKernel; }
    // Straight alpha is premultiplied around the filter when alpha is in the
    // channel set, and the colours are filtered as stored when it is not.

    // Convolves all of `source` into `destination` (created at the source's
    // size and format when detached; an attached one must have the source's
    // size). 101 for a kernel that is not valid (empty, a zero divisor, the
    // anchor outside) or too large in its weights, or a size mismatch; 120
    // for formats other than 8- and 16-bit grey and colour; 102 when memory
    // is short; 100 when cancelled (the rows before are written).
    CErrorAutoThrow Convolve(const CRowIterator& source, CRowIterator& destination,
                             CStatusControl* status = nullptr) const;

private:
    SConvolveKernel m_oKernel;
};

// A stock matrix over an image.
QGDI_API CErrorAutoThrow QGDI_ConvolveMatrix(const CRowIterator& source, CRowIterator& destination,
                                             EQFilterMatrix which, EEdgeMode edge = keEdgeClamp,
                                             EQChannelSet channels = keChannelSetAll,
                                             CStatusControl* status = nullptr);

namespace qgdi::filter {
inline constexpr double kfMaxMotionDistance = 250.0;
// The kernel of a motion blur: a line of `distance` pixels through the
// centre at `degrees` (0 across, positive turning counter-clockwise on
// screen), sampled with bilinear weights and normalised. False for a
// distance outside 0..kfMaxMotionDistance or a non-finite angle.
QGDI_API bool MotionKernel(double degrees, double distance, SConvolveKernel& kernel);
}  // namespace qgdi::filter

// A motion blur: the image smeared along a line (a convolution with MotionKernel).
QGDI_API CErrorAutoThrow QGDI_MotionBlur(const CRowIterator& source, CRowIterator& destination, double degrees,
                                         double distance, EEdgeMode edge = keEdgeClamp,
                                         CStatusControl* status = nullptr);

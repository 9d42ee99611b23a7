#pragma once
// Whole-image blurs: a chain of blur passes between premultiplication and
// its undoing, written into a destination with progress and cancellation.
#include <cstdint>

#include "QuorRender/EdgeMode.h"
#include "QuorRender/SeqOpBlur.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"

class CStatusControl;

class QGDI_API CImageBlur {
public:
    CImageBlur() noexcept = default;
    // Gaussian of deviations sx across and sy down (0: that axis untouched).
    void SetGaussian(double sx, double sy) noexcept;
    // Box of (2 rx + 1) x (2 ry + 1) pixels.
    void SetBox(int rx, int ry) noexcept;
    void SetEdgeMode(EEdgeMode mode, uint32_t edgeColour = 0) noexcept {
        m_eEdge = mode;
        m_nEdgeColour = edgeColour;
    }

    // Blurs all of `source` into `destination`: a detached destination is
    // created at the source's size and format, an attached one must have the
    // source's size (rows are converted to its format). 101 for a bad
    // deviation or radius or a size mismatch, 120 for formats other than 8-
    // and 16-bit grey and colour, 102 when memory is short, 100 when
    // cancelled (the rows before are written).
    CErrorAutoThrow Blur(const CRowIterator& source, CRowIterator& destination,
                         CStatusControl* status = nullptr) const;

private:
    bool m_bBox = false;
    double m_fSx = 0, m_fSy = 0;
    int m_nRx = 0, m_nRy = 0;
    EEdgeMode m_eEdge = keEdgeClamp;
    uint32_t m_nEdgeColour = 0;
};

// Shorthands over CImageBlur.
QGDI_API CErrorAutoThrow QGDI_GaussianBlur(const CRowIterator& source, CRowIterator& destination, double sx,
                                           double sy, EEdgeMode edge = keEdgeClamp,
                                           CStatusControl* status = nullptr);
QGDI_API CErrorAutoThrow QGDI_BoxBlur(const CRowIterator& source, CRowIterator& destination, int rx, int ry,
                                      EEdgeMode edge = keEdgeClamp, CStatusControl* status = nullptr);

#pragma once
// Whole-image dilation and erosion, square or round, on every channel of a
// set (grey images: the grey channel).
#include <cstdint>

#include "QuorRender/EdgeMode.h"
#include "QuorRender/FilterOptions.h"
#include "QuorRender/SeqOpMorphology.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"

class CStatusControl;

class QGDI_API CImageMorphology : public CImageFilterOptions {
public:
    CImageMorphology(bool dilate, EQMorphShape shape, int rx, int ry) noexcept
        : m_bDilate(dilate), m_eShape(shape), m_nRx(rx), m_nRy(ry) {}

    // As CImageConvolve::Convolve; 101 for radii outside 0..kiMaxMorphRadius
    // or an unknown shape. Straight alpha is filtered as it is stored (a
    // maximum of colours needs no weighting).
    CErrorAutoThrow Apply(const CRowIterator& source, CRowIterator& destination,
                          CStatusControl* status = nullptr) const;

private:
    bool m_bDilate;
    EQMorphShape m_eShape;
    int m_nRx, m_nRy;
};

// The four morphology primitives of the effects.
QGDI_API CErrorAutoThrow QGDI_Dilate(const CRowIterator& source, CRowIterator& destination, EQMorphShape shape,
                                     int rx, int ry, EQChannelSet channels = keChannelSetAll,
                                     CStatusControl* status = nullptr);
QGDI_API CErrorAutoThrow QGDI_Erode(const CRowIterator& source, CRowIterator& destination, EQMorphShape shape,
                                    int rx, int ry, EQChannelSet channels = keChannelSetAll,
                                    CStatusControl* status = nullptr);

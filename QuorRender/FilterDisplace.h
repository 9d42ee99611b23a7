#pragma once
// Whole-image displacement by a map image of the same size.
#include <cstdint>

#include "QuorRender/EdgeMode.h"
#include "QuorRender/FilterOptions.h"
#include "QuorRender/SeqOpDisplace.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"

class CStatusControl;

class QGDI_API CImageDisplacement : public CImageFilterOptions {
public:
    CImageDisplacement(EQChannel xChannel, EQChannel yChannel, double scale) noexcept
        : m_eX(xChannel), m_eY(yChannel), m_fScale(scale) {}
    // The SVG rule: nearest pixel, the map unpremultiplied, transparent
    // black outside the image (the edge mode is then ignored).
    void SetSvg(bool svg) noexcept { m_bSvg = svg; }

    // As CImageConvolve::Convolve; 101 also for a map of another size, a map
    // without the named channels, or a scale beyond kfMaxDisplaceScale.
    CErrorAutoThrow Apply(const CRowIterator& source, const CRowIterator& map, CRowIterator& destination,
                          CStatusControl* status = nullptr) const;

private:
    EQChannel m_eX, m_eY;
    double m_fScale;
    bool m_bSvg = false;
};

QGDI_API CErrorAutoThrow QGDI_DisplacementMap(const CRowIterator& source, const CRowIterator& map,
                                              CRowIterator& destination, EQChannel xChannel, EQChannel yChannel,
                                              double scale, bool svg = false, CStatusControl* status = nullptr);

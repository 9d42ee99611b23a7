#pragma once
// The record of one free-transform command: what the user set in the dialog,
// kept as parameters so that it can be edited, stored and replayed, and turned
// into a matrix only when rendered.
#include "geometry/QMatrix3x3.h"
#include "geometry/QSize.h"
#include "platform/windef.h"
#include "qgdi_export.h"

enum EQTransformResample : int {
    keTransformNearest = 0,
    keTransformBilinear = 1,
    keTransformBicubic = 2,
};

class QGDI_API CQTransformOp {
public:
    double m_dScaleX = 1.0;
    double m_dScaleY = 1.0;
    double m_dRotation = 0.0;  // degrees, turning +x toward +y
    double m_dShearX = 0.0;    // degrees; x moves in proportion to y
    double m_dShearY = 0.0;    // degrees; y moves in proportion to x
    bool m_bFlipHorizontal = false;
    bool m_bFlipVertical = false;
    double m_dOffsetX = 0.0;  // canvas pixels, after centring
    double m_dOffsetY = 0.0;
    CQSize m_canvas;  // destination size; empty means "fit the result"
    EQTransformResample m_eResample = keTransformBilinear;
    RGBQUAD m_background = {0, 0, 0, 0};

    void Reset() noexcept { *this = CQTransformOp(); }
    // True when rendering would copy the source unchanged (canvas aside).
    bool IsIdentity() const noexcept;

    // The map from source pixel coordinates of a `source`-sized image to canvas
    // coordinates. Points are taken about the source centre and go through, in
    // order, the flips, the scale, the x shear, the y shear and the rotation; the
    // centre then lands on the canvas centre moved by the offset.
    void GetMatrix(const CQSize& source, CQMatrix3x3& out) const;
    // m_canvas when it is set, otherwise the bounding box of the transformed
    // source, each side rounded up to whole pixels.
    CQSize GetCanvasSize(const CQSize& source) const;

private:
    void GetLinearAboutOrigin(const CQSize& source, CQMatrix3x3& out) const;
};

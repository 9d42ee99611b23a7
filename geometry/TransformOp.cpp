#include "geometry/TransformOp.h"

#include <cmath>

#include "geometry/GeomConstants.h"

bool CQTransformOp::IsIdentity() const noexcept {
    return QGDI_IsEqual(m_dScaleX, 1.0) && QGDI_IsEqual(m_dScaleY, 1.0) && QGDI_IsZero(m_dRotation) &&
           QGDI_IsZero(m_dShearX) && QGDI_IsZero(m_dShearY) && !m_bFlipHorizontal && !m_bFlipVertical &&
           QGDI_IsZero(m_dOffsetX) && QGDI_IsZero(m_dOffsetY);
}

void CQTransformOp::GetLinearAboutOrigin(const CQSize& source, CQMatrix3x3& out) const {
    // Post-multiplied steps act on points in reverse order of the calls:
    // R x ShY x ShX x S x F x T(-centre).
    out.Identity();
    out.RotateAngle(m_dRotation);
    out.ShearAngleY(m_dShearY);
    out.ShearAngleX(m_dShearX);
    out.Scale(m_bFlipHorizontal ? -m_dScaleX : m_dScaleX, m_bFlipVertical ? -m_dScaleY : m_dScaleY);
    out.Translate(-0.5 * source.cx, -0.5 * source.cy);
}

CQSize CQTransformOp::GetCanvasSize(const CQSize& source) const {
    if (!m_canvas.IsEmpty()) return m_canvas;
    CQMatrix3x3 m;
    GetLinearAboutOrigin(source, m);
    CQRect rc(0, 0, source.cx, source.cy);
    m.Transform(rc);
    // A hair of slack so that 100.0000000001 does not become 101 pixels.
    return CQSize(std::ceil(rc.Width() - 1e-9), std::ceil(rc.Height() - 1e-9));
}

void CQTransformOp::GetMatrix(const CQSize& source, CQMatrix3x3& out) const {
    const CQSize canvas = GetCanvasSize(source);
    CQMatrix3x3 linear;
    GetLinearAboutOrigin(source, linear);
    out.Identity();
    out.Translate(0.5 * canvas.cx + m_dOffsetX, 0.5 * canvas.cy + m_dOffsetY);
    out *= linear;
}

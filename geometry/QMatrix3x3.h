#pragma once
// The 3x3 projective matrix with its cached classification word.
//
// Composing members post-multiply (This = This x Op): with column vectors the new
// operation acts on points before the transform already held, as an object-space
// step. The QGDI_Matrix... free functions compose in the opposite order.
#include <cstdint>

#include "diagnostics/QgdiLog.h"
#include "geometry/MatrixBuild.h"
#include "geometry/MatrixFunctions.h"
#include "geometry/QRect.h"
#include "platform/afxgeom.h"
#include "qgdi_export.h"

class QGDI_API CQMatrix3x3 {
public:
    CQMatrix3x3() noexcept { Identity(); }
    // Row by row; the flags are computed on first use.
    CQMatrix3x3(double m0, double m1, double m2, double m3, double m4, double m5, double m6 = 0.0, double m7 = 0.0,
                double m8 = 1.0) noexcept;
    explicit CQMatrix3x3(const double* m) noexcept { *this = m; }
    CQMatrix3x3(const CQMatrix3x3&) = default;
    CQMatrix3x3& operator=(const CQMatrix3x3&) = default;

    // Null copies the identity.
    CQMatrix3x3& operator=(const double* m) noexcept;
    CQMatrix3x3& operator=(const double (&m)[3][3]) noexcept { return *this = &m[0][0]; }

    void Identity() noexcept;

    CQMatrix3x3& operator*=(const CQMatrix3x3& other) noexcept;
    CQMatrix3x3 operator*(const CQMatrix3x3& other) const noexcept {
        CQMatrix3x3 r(*this);
        r *= other;
        return r;
    }
    void Rotate(double radians) noexcept;
    // Degrees, brought into [0, 2 pi] before the rotation.
    void RotateAngle(double degrees) noexcept;
    void Scale(double sx, double sy) noexcept;
    void Translate(double tx, double ty) noexcept;
    void ShearX(double k) noexcept;
    void ShearY(double k) noexcept;
    // Shears by the tangent of an angle in degrees.
    void ShearAngleX(double degrees) noexcept;
    void ShearAngleY(double degrees) noexcept;
    void PerspectiveX(double k) noexcept;
    void PerspectiveY(double k) noexcept;
    // Upside down within a band of the given height: y -> height - y, applied before this transform.
    void FlipY(double height = 0.0) noexcept;
    // Left to right within a band of the given width: x -> width - x, applied before this transform.
    void Mirror(double width = 0.0) noexcept;

    // Box-to-box maps, applied before this transform (post-multiplied).
    // Maps `from` onto `to` with independent x and y scales; false when `from` is empty.
    bool Stretch(const SQRECT& from, const SQRECT& to) noexcept;
    // Maps `from` into `to` with one scale that fits it whole, centred in `to`.
    bool Stretch1(const SQRECT& from, const SQRECT& to) noexcept;
    // Rotates `box` by `degrees` about its centre and moves the rotated box's
    // bounding rectangle so that its top-left corner is the box's top-left
    // corner; that bounding rectangle is returned through `bounds`.
    void RotateBox(const SQRECT& box, double degrees, SQRECT* bounds = nullptr) noexcept;

    // Replace this with the projective map of the rectangle's corners (top-left,
    // top-right, bottom-right, bottom-left) onto the four points; false, with this
    // unchanged, for a degenerate rectangle or quadrilateral.
    bool FromPoints(const SQRECT& rc, const SQPOINT points[4]) noexcept;
    // The same, and the scale, rotation, shear, offset and perspective that rebuild it.
    bool FromPoints(const SQRECT& rc, const SQPOINT points[4], SQMatrixParams& params) noexcept;

    double GetDeterminant() const noexcept { return QGDI_MatrixGetDeterminant(m_d); }
    void GetAdjoint(CQMatrix3x3& out) const noexcept;
    void GetTranspose(CQMatrix3x3& out) const noexcept;
    // 1 and the inverse in `out`, or 0 with `out` untouched when |det| < 1e-32.
    int GetInverse(CQMatrix3x3& out) const noexcept;

    void Transform(double& x, double& y) const noexcept;
    void Transform(SQPOINT& p) const noexcept { Transform(p.x, p.y); }
    void Transform(SQPOINT* points, int count) const noexcept;
    void Transform(double* xy, int count) const noexcept;
    void Transform(SQRECT& rc) const noexcept;
    // Integer points: truncated toward zero, except that a translate-only matrix
    // adds its translation rounded half away from zero.
    void Transform(POINT& p) const noexcept;
    void Transform(POINT* points, int count) const noexcept;
    void Transform(RECT& rc) const noexcept;

    // Through the inverse; false, with the input untouched, for a singular matrix.
    bool InverseTransform(double& x, double& y) const noexcept;
    bool InverseTransform(SQPOINT& p) const noexcept { return InverseTransform(p.x, p.y); }
    bool InverseTransform(SQPOINT* points, int count) const noexcept;
    bool InverseTransform(double* xy, int count) const noexcept;
    bool InverseTransform(SQRECT& rc) const noexcept;
    bool InverseTransform(POINT& p) const noexcept;
    bool InverseTransform(RECT& rc) const noexcept;

    // Vectors (differences of points): the translation is not applied.
    void DistanceTransform(SQPOINT& v) const noexcept;
    bool InverseDistanceTransform(SQPOINT& v) const noexcept;

    // View and document coordinates: this matrix maps document to view.
    bool TransformToDoc(SQPOINT& p) const noexcept { return InverseTransform(p); }
    bool TransformToDoc(SQRECT& rc) const noexcept { return InverseTransform(rc); }
    void TransformToView(SQPOINT& p) const noexcept { Transform(p); }
    void TransformToView(SQRECT& rc) const noexcept { Transform(rc); }

    uint32_t GetFlags() const noexcept;
    bool IsIdentity() const noexcept { return GetFlags() == 0; }
    // An actual translation and nothing else: false for the identity.
    bool IsTranslate() const noexcept { return QGDI_MatrixFlagIsSetExclusively(GetFlags(), keMatrixFlagTranslate); }
    bool IsScaleTranslate() const noexcept;

    // Row by row, last differing row wins (see the implementation): -1, 0 or +1.
    int Compare(const CQMatrix3x3& other) const noexcept;
    bool operator==(const CQMatrix3x3& o) const noexcept { return Compare(o) == 0; }
    bool operator!=(const CQMatrix3x3& o) const noexcept { return Compare(o) != 0; }
    bool operator<(const CQMatrix3x3& o) const noexcept { return Compare(o) == -1; }
    bool operator>(const CQMatrix3x3& o) const noexcept { return Compare(o) == 1; }

    double GetCell(int row, int col) const noexcept;
    // Out-of-range cells are ignored.
    void SetCell(int row, int col, double value) noexcept;
    double operator[](int i) const noexcept { return m_d[i]; }
    // The nine elements, for the QGDI_Matrix... functions.
    const double* Data() const noexcept { return m_d; }
    // Writable elements: the cached flags are invalidated first.
    double* DataForWrite() noexcept {
        m_nFlags = keMatrixFlagsUnknown;
        return m_d;
    }
    double GetScaleY() const noexcept { return m_d[4]; }
    void GetTranslate(SQPOINT& p) const noexcept {
        p.x = m_d[2];
        p.y = m_d[5];
    }

    void Dump(const char* label, EQLogLevel level = keLogDebug) const;

private:
    void Compose(const double* op) noexcept;
    // Applies the matching Transform overload through the inverse; false when singular.
    template <class... A>
    bool ThroughInverse(A&... args) const noexcept;
    void Refresh() noexcept { m_nFlags = QGDI_MatrixFlagGet(m_d); }

    double m_d[9];
    alignas(4) mutable uint32_t m_nFlags;
};

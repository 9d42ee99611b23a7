#include "drawing/QPath.h"

#include <utility>

#include "drawing/Curve.h"

CQPath::CQPath() : m_path(QGDI_PathCreate()) {}
CQPath::~CQPath() {
    if (m_path) m_path->Unreference();
}
CQPath::CQPath(SQPATH* adopt) noexcept : m_path(adopt ? adopt : QGDI_PathCreate()) {}
CQPath::CQPath(const CQPath& other) : m_path(QGDI_PathCopy(other.m_path)) {}
CQPath::CQPath(CQPath&& other) noexcept : m_path(std::exchange(other.m_path, nullptr)) {}

CQPath& CQPath::operator=(const CQPath& other) {
    if (this != &other) Copy(other);
    return *this;
}

CQPath& CQPath::operator=(CQPath&& other) noexcept {
    std::swap(m_path, other.m_path);
    return *this;
}

bool CQPath::BeginPath() {
    if (!m_path) m_path = QGDI_PathCreate();
    if (!m_path) return false;
    m_path->Clear();
    return true;
}

bool CQPath::MoveTo(const SQPOINT& p) { return m_path && m_path->MoveTo(p, nullptr); }
bool CQPath::LineTo(const SQPOINT& p) { return m_path && m_path->LineTo(p, nullptr); }
bool CQPath::QuadraticCurveTo(const SQPOINT& c, const SQPOINT& e) {
    return m_path && m_path->QuadraticCurveTo(c, e, nullptr);
}
bool CQPath::CubicCurveTo(const SQPOINT& c1, const SQPOINT& c2, const SQPOINT& e) {
    return m_path && m_path->CubicCurveTo(c1, c2, e, nullptr);
}
bool CQPath::ArcTo(const SQPOINT& radii, double rotation, bool largeArc, bool sweep, const SQPOINT& end) {
    return m_path && m_path->ArcTo(radii, rotation, largeArc, sweep, end, nullptr);
}
bool CQPath::ClosePath() { return m_path && m_path->ClosePath(nullptr); }

namespace {
bool Replace(SQPATH*& mine, SQPATH* made) {
    if (!made) return false;
    if (mine) mine->Unreference();
    mine = made;
    return true;
}
}  // namespace

bool CQPath::CreateRect(const SQRECT& r) { return Replace(m_path, QGDI_PathCreateRect(r)); }
bool CQPath::CreateRoundRect(const SQRECT& r, double rx, double ry) {
    return Replace(m_path, QGDI_PathCreateRoundRect(r, rx, ry));
}
bool CQPath::CreateEllipse(const SQRECT& r) { return Replace(m_path, QGDI_PathCreateEllipse(r)); }
bool CQPath::CreatePolygon(const SQPOINT* points, int count, bool closed) {
    return Replace(m_path, QGDI_PathCreatePolygon(points, count, closed));
}
bool CQPath::CreateSpiral(const SQPOINT& centre, double r0, double r1, double turns, double startAngle,
                          EQSpiralType type) {
    return Replace(m_path, QGDI_PathCreateSpiral(centre, r0, r1, turns, startAngle, type));
}

bool CQPath::Copy(const CQPath& src) {
    if (this == &src) return true;
    return Replace(m_path, QGDI_PathCopy(src.m_path));
}

bool CQPath::Transform(const double* m) { return QGDI_PathTransform(m_path, m); }
void CQPath::ReversePath() { QGDI_PathReverseDirection(m_path); }
bool CQPath::ConvertToCubics() { return QGDI_PathConvertToCubics(m_path); }
bool CQPath::GetBBox(SQRECT& box) const { return QGDI_PathGetBBox(m_path, box); }
bool CQPath::GetLooseBBox(SQRECT& box) const { return QGDI_PathGetLooseBBox(m_path, box); }
int CQPath::GetContourCount() const { return QGDI_PathGetContourCount(m_path); }
int CQPath::GetVertices(SQPOINT* out, int max) const { return QGDI_PathGetVertices(m_path, out, max); }
bool CQPath::ContourIsClockwise(int contour) const {
    return QGDI_ContourIsClockwise(QGDI_PathGetContour(m_path, contour));
}
SQPOINT CQPath::ContourGetCenterOfMass(int contour) const {
    return QGDI_ContourGetCenterOfMass(QGDI_PathGetContour(m_path, contour));
}
bool CQPath::IsEmpty() const {
    if (!m_path) return true;
    for (const SQCONTOUR* c = m_path->first; c; c = c->next)
        if (c->first) return false;
    return true;
}
bool CQPath::AsCurve(CQCurve& curve) const { return curve.Create(m_path); }
bool CQPath::Send(VPathReceiver* receiver, const double* matrix, bool noHooks) const {
    return QGDI_PathSend(m_path, receiver, matrix, noHooks);
}

#include "geometry/QMatrix3x3.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>

#include "geometry/GeomConstants.h"
#include "geometry/internal/BoundCorners.h"
#include "geometry/internal/IntConvert.h"

static_assert(sizeof(CQMatrix3x3) == 9 * sizeof(double) + 8, "nine doubles and the flag word");

namespace {

constexpr double kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};

inline bool TranslateOnly(uint32_t flags) noexcept {
    return QGDI_MatrixFlagIsClear(flags, ~uint32_t(keMatrixFlagTranslate));
}

}  // namespace

CQMatrix3x3::CQMatrix3x3(double m0, double m1, double m2, double m3, double m4, double m5, double m6, double m7,
                         double m8) noexcept
    : m_d{m0, m1, m2, m3, m4, m5, m6, m7, m8}, m_nFlags(keMatrixFlagsUnknown) {}

CQMatrix3x3& CQMatrix3x3::operator=(const double* m) noexcept {
    if (!m) {
        Identity();
        return *this;
    }
    std::memmove(m_d, m, sizeof(m_d));
    m_nFlags = keMatrixFlagsUnknown;
    return *this;
}

void CQMatrix3x3::Identity() noexcept {
    std::memcpy(m_d, kIdentity, sizeof(m_d));
    m_nFlags = 0;
}

uint32_t CQMatrix3x3::GetFlags() const noexcept {
    // Row loops on several threads may share one const matrix whose word is not
    // computed yet; they all store the same value, but through an atomic so the
    // store is not a data race.
    std::atomic_ref<uint32_t> flags(m_nFlags);
    uint32_t f = flags.load(std::memory_order_relaxed);
    if (f == keMatrixFlagsUnknown) {
        f = QGDI_MatrixFlagGet(m_d);
        flags.store(f, std::memory_order_relaxed);
    }
    return f;
}

void CQMatrix3x3::Compose(const double* op) noexcept {
    if (GetFlags() == 0) {
        std::memcpy(m_d, op, sizeof(m_d));
    } else {
        QGDI_MatrixMultiply(m_d, m_d, op);
    }
    Refresh();
}

CQMatrix3x3& CQMatrix3x3::operator*=(const CQMatrix3x3& other) noexcept {
    const uint32_t f = GetFlags();
    const uint32_t g = other.GetFlags();
    if (f == 0) {
        *this = other;
        return *this;
    }
    if (g == 0) return *this;
    if (QGDI_MatrixFlagIsSetExclusively(f, keMatrixFlagTranslate) &&
        QGDI_MatrixFlagIsSetExclusively(g, keMatrixFlagTranslate)) {
        // Two translations add; the word stays translate-only, gaining the other's axes.
        m_d[2] += other.m_d[2];
        m_d[5] += other.m_d[5];
        m_nFlags = f | g;
        return *this;
    }
    QGDI_MatrixMultiply(m_d, m_d, other.m_d);
    Refresh();
    return *this;
}

void CQMatrix3x3::Rotate(double radians) noexcept {
    const double c = std::cos(radians), s = std::sin(radians);
    const double op[9] = {c, -s, 0, s, c, 0, 0, 0, 1};
    Compose(op);
}

void CQMatrix3x3::RotateAngle(double degrees) noexcept {
    double a = degrees * kQPiFull / 180.0;
    // Stepwise reduction keeps results identical to earlier versions; the fmod
    // only guards against angles so large that stepping would never finish.
    if (std::fabs(a) > 1e6) a = std::fmod(a, kQ2PiFull);
    while (a > kQ2PiFull) a -= kQ2PiFull;
    while (a < 0.0) a += kQ2PiFull;
    Rotate(a);
}

void CQMatrix3x3::Scale(double sx, double sy) noexcept {
    // This x diag(sx, sy, 1) scales the first two columns.
    for (int r = 0; r < 3; ++r) {
        m_d[r * 3] *= sx;
        m_d[r * 3 + 1] *= sy;
    }
    Refresh();
}

void CQMatrix3x3::Translate(double tx, double ty) noexcept {
    // This x T adds tx times column 0 and ty times column 1 to column 2.
    for (int r = 0; r < 3; ++r) m_d[r * 3 + 2] += tx * m_d[r * 3] + ty * m_d[r * 3 + 1];
    Refresh();
}

void CQMatrix3x3::ShearX(double k) noexcept {
    const double op[9] = {1, k, 0, 0, 1, 0, 0, 0, 1};
    Compose(op);
}

void CQMatrix3x3::ShearY(double k) noexcept {
    const double op[9] = {1, 0, 0, k, 1, 0, 0, 0, 1};
    Compose(op);
}

void CQMatrix3x3::ShearAngleX(double degrees) noexcept { ShearX(std::tan(degrees * kQPiFull / 180.0)); }
void CQMatrix3x3::ShearAngleY(double degrees) noexcept { ShearY(std::tan(degrees * kQPiFull / 180.0)); }

void CQMatrix3x3::PerspectiveX(double k) noexcept {
    const double op[9] = {1, 0, 0, 0, 1, 0, k, 0, 1};
    Compose(op);
}

void CQMatrix3x3::PerspectiveY(double k) noexcept {
    const double op[9] = {1, 0, 0, 0, 1, 0, 0, k, 1};
    Compose(op);
}

void CQMatrix3x3::FlipY(double height) noexcept {
    const double op[9] = {1, 0, 0, 0, -1, height, 0, 0, 1};
    Compose(op);
}

void CQMatrix3x3::Mirror(double width) noexcept {
    const double op[9] = {-1, 0, width, 0, 1, 0, 0, 0, 1};
    Compose(op);
}

bool CQMatrix3x3::Stretch(const SQRECT& from, const SQRECT& to) noexcept {
    double op[9];
    if (!QGDI_MatrixGetSpaceMap(op, from, to, keSpaceMapStretch)) return false;
    Compose(op);
    return true;
}

bool CQMatrix3x3::Stretch1(const SQRECT& from, const SQRECT& to) noexcept {
    double op[9];
    if (!QGDI_MatrixGetSpaceMap(op, from, to, keSpaceMapFit)) return false;
    Compose(op);
    return true;
}

void CQMatrix3x3::RotateBox(const SQRECT& box, double degrees, SQRECT* bounds) noexcept {
    const double cx = (box.left + box.right) * 0.5, cy = (box.top + box.bottom) * 0.5;
    // About the centre: T(c) x R x T(-c).
    CQMatrix3x3 op;
    op.Translate(cx, cy);
    op.RotateAngle(degrees);
    op.Translate(-cx, -cy);
    CQRect rotated(box);
    op.Transform(rotated);
    double shift[9];
    QGDI_MatrixIdentity(shift);
    QGDI_MatrixTranslate(shift, box.left - rotated.left, box.top - rotated.top);
    QGDI_MatrixMulEquals(op.m_d, shift);
    if (bounds) {
        rotated.OffsetRect(box.left - rotated.left, box.top - rotated.top);
        *bounds = rotated;
    }
    Compose(op.m_d);
}

bool CQMatrix3x3::FromPoints(const SQRECT& rc, const SQPOINT points[4]) noexcept {
    double m[9];
    if (!QGDI_MatrixFromRectAnd4Points(m, rc, points)) return false;
    *this = m;
    return true;
}

bool CQMatrix3x3::FromPoints(const SQRECT& rc, const SQPOINT points[4], SQMatrixParams& params) noexcept {
    double m[9];
    if (!QGDI_MatrixFromRectAnd4Points(m, rc, points) || !QGDI_MatrixToParameters(m, params)) return false;
    *this = m;
    return true;
}

void CQMatrix3x3::GetAdjoint(CQMatrix3x3& out) const noexcept {
    QGDI_MatrixGetAdjoint(m_d, out.m_d);
    out.m_nFlags = keMatrixFlagsUnknown;
}

void CQMatrix3x3::GetTranspose(CQMatrix3x3& out) const noexcept {
    QGDI_MatrixGetTranspose(m_d, out.m_d);
    out.m_nFlags = keMatrixFlagsUnknown;
}

int CQMatrix3x3::GetInverse(CQMatrix3x3& out) const noexcept {
    double inv[9];
    if (!QGDI_MatrixGetInverse(m_d, inv)) return 0;
    out = inv;
    return 1;
}

void CQMatrix3x3::Transform(double& x, double& y) const noexcept {
    const uint32_t f = GetFlags();
    if (f == 0) return;
    if (TranslateOnly(f)) {
        x += m_d[2];
        y += m_d[5];
        return;
    }
    const double rw = 1.0 / (m_d[6] * x + m_d[7] * y + m_d[8]);
    const double nx = (m_d[0] * x + m_d[1] * y + m_d[2]) * rw;
    y = (m_d[3] * x + m_d[4] * y + m_d[5]) * rw;
    x = nx;
}

void CQMatrix3x3::Transform(double* xy, int count) const noexcept {
    if (!xy || count <= 0) return;
    const uint32_t f = GetFlags();
    if (f == 0) return;
    if (TranslateOnly(f)) {
        // Locals, because xy could alias the elements and force a reload per point.
        const double tx = m_d[2], ty = m_d[5];
        for (int i = 0; i < count; ++i) {
            xy[2 * i] += tx;
            xy[2 * i + 1] += ty;
        }
        return;
    }
    QGDI_MatrixTransform(m_d, xy, count);
}

void CQMatrix3x3::Transform(SQPOINT* points, int count) const noexcept {
    Transform(reinterpret_cast<double*>(points), count);
}

void CQMatrix3x3::Transform(SQRECT& rc) const noexcept {
    const uint32_t f = GetFlags();
    if (f == 0) return;
    if (TranslateOnly(f)) {
        rc.left += m_d[2];
        rc.right += m_d[2];
        rc.top += m_d[5];
        rc.bottom += m_d[5];
        return;
    }
    QGDI_MatrixTransform(m_d, rc);
}

void CQMatrix3x3::Transform(POINT& p) const noexcept {
    const uint32_t f = GetFlags();
    if (f == 0) return;
    if (TranslateOnly(f)) {
        p.x = qgdi::geom::SaturateToLong(double(p.x) + qgdi::geom::RoundHalfAwayToLong(m_d[2]));
        p.y = qgdi::geom::SaturateToLong(double(p.y) + qgdi::geom::RoundHalfAwayToLong(m_d[5]));
        return;
    }
    double x = p.x, y = p.y;
    Transform(x, y);
    p.x = qgdi::geom::TruncToLong(x);
    p.y = qgdi::geom::TruncToLong(y);
}

void CQMatrix3x3::Transform(POINT* points, int count) const noexcept {
    if (!points) return;
    for (int i = 0; i < count; ++i) Transform(points[i]);
}

void CQMatrix3x3::Transform(RECT& rc) const noexcept {
    if (GetFlags() == 0) return;
    POINT c[4] = {{rc.left, rc.top}, {rc.right, rc.top}, {rc.right, rc.bottom}, {rc.left, rc.bottom}};
    Transform(c, 4);
    qgdi::geom::BoundCorners(c, rc);
}

template <class... A>
bool CQMatrix3x3::ThroughInverse(A&... args) const noexcept {
    CQMatrix3x3 inv;
    if (!GetInverse(inv)) return false;
    inv.Transform(args...);
    return true;
}

bool CQMatrix3x3::InverseTransform(double& x, double& y) const noexcept { return ThroughInverse(x, y); }
bool CQMatrix3x3::InverseTransform(SQPOINT* points, int count) const noexcept { return ThroughInverse(points, count); }
bool CQMatrix3x3::InverseTransform(double* xy, int count) const noexcept { return ThroughInverse(xy, count); }
bool CQMatrix3x3::InverseTransform(SQRECT& rc) const noexcept { return ThroughInverse(rc); }
bool CQMatrix3x3::InverseTransform(POINT& p) const noexcept { return ThroughInverse(p); }
bool CQMatrix3x3::InverseTransform(RECT& rc) const noexcept { return ThroughInverse(rc); }

void CQMatrix3x3::DistanceTransform(SQPOINT& v) const noexcept {
    if (TranslateOnly(GetFlags())) return;
    // The image of the vector is the difference of the images of v and of the origin.
    SQPOINT o{0.0, 0.0};
    Transform(o);
    Transform(v);
    v.x -= o.x;
    v.y -= o.y;
}

bool CQMatrix3x3::InverseDistanceTransform(SQPOINT& v) const noexcept {
    CQMatrix3x3 inv;
    if (!GetInverse(inv)) return false;
    inv.DistanceTransform(v);
    return true;
}

bool CQMatrix3x3::IsScaleTranslate() const noexcept {
    if (IsTranslate()) return true;
    // Exact zeros: a rotation by a tiny angle is not a scale.
    return m_d[1] == 0.0 && m_d[3] == 0.0;
}

int CQMatrix3x3::Compare(const CQMatrix3x3& other) const noexcept {
    // Each row gives the verdict of its first differing column; a later row's
    // verdict replaces an earlier one. Stored documents were ordered by this rule,
    // so it stays even though it is not lexicographic.
    int verdict = 0;
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) {
            const double a = m_d[r * 3 + c], b = other.m_d[r * 3 + c];
            if (std::fabs(a - b) > kQGeomTolerance) {
                verdict = a < b ? -1 : 1;
                break;
            }
        }
    }
    return verdict;
}

double CQMatrix3x3::GetCell(int row, int col) const noexcept {
    if (row < 0 || row > 2 || col < 0 || col > 2) return 0.0;
    return m_d[row * 3 + col];
}

void CQMatrix3x3::SetCell(int row, int col, double value) noexcept {
    if (row < 0 || row > 2 || col < 0 || col > 2) return;
    m_d[row * 3 + col] = value;
    m_nFlags = keMatrixFlagsUnknown;
}

void CQMatrix3x3::Dump(const char* label, EQLogLevel level) const {
    QGDI_Log(level, "%s\t[%.10g %.10g %.10g; %.10g %.10g %.10g; %.10g %.10g %.10g]\tflags %u", label ? label : "matrix",
             m_d[0], m_d[1], m_d[2], m_d[3], m_d[4], m_d[5], m_d[6], m_d[7], m_d[8], GetFlags());
}

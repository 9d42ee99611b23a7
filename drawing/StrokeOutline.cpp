#include "drawing/StrokeOutline.h"

#include <algorithm>
#include <cmath>

namespace qgdi::drawing {
namespace {

constexpr double kPi = 3.14159265358979;
// Points closer than this are one point: a segment shorter has no direction.
constexpr double kSamePoint = 1e-9;

inline SQPOINT Add(const SQPOINT& a, const SQPOINT& b, double k) noexcept { return {a.x + b.x * k, a.y + b.y * k}; }
inline SQPOINT Left(const SQPOINT& d) noexcept { return {-d.y, d.x}; }

// Unit direction and length of a -> b; the points are distinct after cleaning.
inline SQPOINT Dir(const SQPOINT& a, const SQPOINT& b, double& len) noexcept {
    const double dx = b.x - a.x, dy = b.y - a.y;
    len = std::hypot(dx, dy);
    return {dx / len, dy / len};
}

}  // namespace

CStrokeOutliner::CStrokeOutliner(const SStrokeProps& props, double halfWidth, double tolerance) noexcept
    : m_hw(halfWidth), m_tol(tolerance), m_join(props.lineJoin), m_miterLimit(props.miterLimit) {
    for (int i = 0; i < keLineCapPosCount; ++i) {
        m_caps[i] = props.caps[i];
        // Negative or non-finite scales collapse the cap rather than turn it inside out.
        if (!(m_caps[i].xScale >= 0.0) || !std::isfinite(m_caps[i].xScale)) m_caps[i].xScale = 0.0;
        if (!(m_caps[i].yScale >= 0.0) || !std::isfinite(m_caps[i].yScale)) m_caps[i].yScale = 0.0;
    }
    if (!(m_tol > 0.0)) m_tol = 0.25;
}

void CStrokeOutliner::Arc(const SQPOINT& c, const SQPOINT& a, const SQPOINT& b, double sweep, double radius,
                          std::vector<SQPOINT>& o) const {
    // The chord of an arc step deviates from the circle by r·(1 − cos(step/2)).
    double step = kPi / 2;
    if (radius > m_tol) step = std::min(step, 2.0 * std::acos(1.0 - m_tol / radius));
    // An even count puts a point at the middle of the sweep: a cap's tip.
    const int n = 2 * std::max(1, int(std::ceil(0.5 * std::fabs(sweep) / step)));
    for (int k = 0; k <= n; ++k) {
        const double t = sweep * k / n;
        const double ct = std::cos(t), st = std::sin(t);
        o.push_back({c.x + a.x * ct + b.x * st, c.y + a.y * ct + b.y * st});
    }
}

void CStrokeOutliner::Join(const SQPOINT& v, const SQPOINT& d0, const SQPOINT& d1, double len0, double len1,
                           std::vector<SQPOINT>& o) const {
    const double cross = d0.x * d1.y - d0.y * d1.x;
    const double dot = d0.x * d1.x + d0.y * d1.y;
    const SQPOINT n0 = Left(d0), n1 = Left(d1);
    const SQPOINT a = Add(v, n0, m_hw), b = Add(v, n1, m_hw);
    // The turn angle; an exact reversal counts as a turn to the right, so the
    // left side draws the outer join in front of the cusp.
    const double turn = (cross == 0.0 && dot < 0.0) ? -kPi : std::atan2(cross, dot);
    if (std::fabs(turn) * m_hw < 0.1 * m_tol) {
        // Straight on within the tolerance: the two offsets meet halfway.
        o.push_back(SQPOINT{0.5 * (a.x + b.x), 0.5 * (a.y + b.y)});
        return;
    }
    if (turn > 0.0) {
        // Inner side. Where the offsets cross within both segments their
        // crossing is the outline; otherwise the outline runs through the
        // vertex, which keeps the non-zero fill free of notches and spurs.
        const double overshoot = m_hw * std::tan(0.5 * turn);
        if (overshoot <= std::min(len0, len1)) {
            o.push_back(Add(v, SQPOINT{n0.x + n1.x, n0.y + n1.y}, m_hw / (1.0 + dot)));
        } else {
            o.push_back(a);
            o.push_back(v);
            o.push_back(b);
        }
        return;
    }
    o.push_back(a);
    switch (m_join) {
        case keLineJoinRound:
            Arc(v, SQPOINT{n0.x * m_hw, n0.y * m_hw}, SQPOINT{-d0.x * m_hw, -d0.y * m_hw}, turn, m_hw, o);
            break;
        case keLineJoinMiter: {
            // The miter's length over the width is 1/sin(θ/2), θ the corner's inner angle.
            const double sinHalf = std::sqrt(std::max(0.0, 0.5 * (1.0 + dot)));
            SQPOINT m;
            if (sinHalf * m_miterLimit >= 1.0 && sinHalf > 0.0 &&
                QGDI_GetMiterVector(m, m_hw / sinHalf, SQPOINT{v.x - d0.x, v.y - d0.y}, v,
                                    SQPOINT{v.x + d1.x, v.y + d1.y}))
                o.push_back(Add(v, m, 1.0));
            break;
        }
        default:
            break;
    }
    o.push_back(b);
}

void CStrokeOutliner::Side(const std::vector<SQPOINT>& p, bool closed, std::vector<SQPOINT>& o) const {
    const size_t n = p.size();
    const size_t segs = closed ? n : n - 1;
    double lenPrev = 0.0, len = 0.0;
    SQPOINT dPrev = closed ? Dir(p[n - 1], p[0], lenPrev) : SQPOINT{0, 0};
    for (size_t i = 0; i < segs; ++i) {
        const SQPOINT d = Dir(p[i], p[(i + 1) % n], len);
        if (i == 0 && !closed) o.push_back(Add(p[0], Left(d), m_hw));
        else Join(p[i], dPrev, d, lenPrev, len, o);
        dPrev = d;
        lenPrev = len;
    }
    if (!closed) o.push_back(Add(p[n - 1], Left(dPrev), m_hw));
}

void CStrokeOutliner::Cap(const SQPOINT& e, const SQPOINT& d, const SLineCapProps& cap, std::vector<SQPOINT>& o) const {
    const SQPOINT n = Left(d);
    const double l = cap.xScale * m_hw, h = cap.yScale * m_hw;
    o.push_back(Add(e, n, m_hw));
    switch (cap.type) {
        case keLineCapRound:
            Arc(e, SQPOINT{n.x * h, n.y * h}, SQPOINT{d.x * l, d.y * l}, kPi, std::max(l, h), o);
            break;
        case keLineCapSquare:
            o.push_back(Add(e, n, h));
            o.push_back(Add(Add(e, n, h), d, l));
            o.push_back(Add(Add(e, n, -h), d, l));
            o.push_back(Add(e, n, -h));
            break;
        case keLineCapTriangle:
            o.push_back(Add(e, n, h));
            o.push_back(Add(e, d, l));
            o.push_back(Add(e, n, -h));
            break;
        case keLineCapArrow:
            o.push_back(Add(e, n, 2.0 * h));
            o.push_back(Add(e, d, 4.0 * l));
            o.push_back(Add(e, n, -2.0 * h));
            break;
        default:
            break;
    }
    o.push_back(Add(e, n, -m_hw));
}

void CStrokeOutliner::Stroke(const std::vector<SQPOINT>& points, bool closed, ELineCapPos startCap,
                             ELineCapPos endCap, std::vector<std::vector<SQPOINT>>& out) {
    if (points.empty()) return;
    m_clean.clear();
    for (const SQPOINT& q : points) {
        if (!std::isfinite(q.x) || !std::isfinite(q.y)) return;
        if (m_clean.empty() || std::fabs(q.x - m_clean.back().x) > kSamePoint ||
            std::fabs(q.y - m_clean.back().y) > kSamePoint)
            m_clean.push_back(q);
    }
    if (closed && m_clean.size() > 1 && std::fabs(m_clean.front().x - m_clean.back().x) <= kSamePoint &&
        std::fabs(m_clean.front().y - m_clean.back().y) <= kSamePoint)
        m_clean.pop_back();

    const SLineCapProps& cs = m_caps[startCap];
    const SLineCapProps& ce = m_caps[endCap];
    if (m_clean.size() == 1) {
        if (cs.type == keLineCapButt && ce.type == keLineCapButt) return;
        out.emplace_back();
        Cap(m_clean[0], SQPOINT{1, 0}, ce, out.back());
        Cap(m_clean[0], SQPOINT{-1, 0}, cs, out.back());
        return;
    }
    m_reverse.assign(m_clean.rbegin(), m_clean.rend());
    if (closed) {
        out.emplace_back();
        Side(m_clean, true, out.back());
        out.emplace_back();
        Side(m_reverse, true, out.back());
        return;
    }
    out.emplace_back();
    std::vector<SQPOINT>& o = out.back();
    Side(m_clean, false, o);
    double len = 0.0;
    const size_t n = m_clean.size();
    Cap(m_clean[n - 1], Dir(m_clean[n - 2], m_clean[n - 1], len), ce, o);
    Side(m_reverse, false, o);
    Cap(m_clean[0], Dir(m_clean[1], m_clean[0], len), cs, o);
}

}  // namespace qgdi::drawing

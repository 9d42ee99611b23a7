#pragma once
// A receiver that records every call, and small geometry helpers for the tests.
#include <cmath>
#include <string>
#include <vector>

#include "drawing/drawing.h"

namespace pathtest {

struct Call {
    char op;  // M L Q C A Z B E
    SQPOINT p;
    const double* matrix;
};

class CRecorder : public VPathReceiver {
public:
    std::vector<Call> calls;
    int refuseAfter = -1;  // LineTo calls allowed before refusing; -1 never
    double flatness = -1.0;

    bool LineTo(const SQPOINT& p, const double* m) override {
        if (refuseAfter >= 0 && Count('L') >= refuseAfter) return false;
        calls.push_back({'L', p, m});
        m_current = p;
        return true;
    }
    bool MoveTo(const SQPOINT& p, const double* m) override {
        calls.push_back({'M', p, m});
        return VPathReceiver::MoveTo(p, m);
    }
    bool BeginPath() override {
        calls.push_back({'B', {0, 0}, nullptr});
        return true;
    }
    bool EndPath() override {
        calls.push_back({'E', {0, 0}, nullptr});
        return true;
    }
    double GetFlatness() override { return flatness >= 0.0 ? flatness : VPathReceiver::GetFlatness(); }
    int Count(char op) const {
        int n = 0;
        for (const Call& c : calls) n += c.op == op;
        return n;
    }
    std::string Ops() const {
        std::string s;
        for (const Call& c : calls) s += c.op;
        return s;
    }
};

inline double Dist(const SQPOINT& a, const SQPOINT& b) { return std::hypot(a.x - b.x, a.y - b.y); }

inline double SegDist(const SQPOINT& p, const SQPOINT& a, const SQPOINT& b) {
    const double dx = b.x - a.x, dy = b.y - a.y, l2 = dx * dx + dy * dy;
    double t = l2 > 0 ? ((p.x - a.x) * dx + (p.y - a.y) * dy) / l2 : 0.0;
    t = std::fmax(0.0, std::fmin(1.0, t));
    return std::hypot(a.x + dx * t - p.x, a.y + dy * t - p.y);
}

// Signed area of a ring (positive counter-clockwise in a y-up frame).
inline double RingArea(const std::vector<SQPOINT>& r) {
    double a = 0;
    for (size_t i = 0; i < r.size(); ++i) {
        const SQPOINT &p = r[i], &q = r[(i + 1) % r.size()];
        a += p.x * q.y - q.x * p.y;
    }
    return 0.5 * a;
}

inline double PolyArea(const CQPathBoolean::Polygon& poly) {
    double a = 0;
    for (const auto& r : poly) a += RingArea(r);
    return a;
}

// Winding number of a point (crossing rule, y-up counter-clockwise positive).
inline int Winding(const CQPathBoolean::Polygon& poly, const SQPOINT& p) {
    int w = 0;
    for (const auto& r : poly)
        for (size_t i = 0; i < r.size(); ++i) {
            const SQPOINT &a = r[i], &b = r[(i + 1) % r.size()];
            const double c = (b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x);
            if (a.y <= p.y && b.y > p.y && c > 0) ++w;
            else if (a.y > p.y && b.y <= p.y && c < 0) --w;
        }
    return w;
}

// Minimum distance from p to any edge of the polygon.
inline double EdgeDist(const CQPathBoolean::Polygon& poly, const SQPOINT& p) {
    double d = INFINITY;
    for (const auto& r : poly)
        for (size_t i = 0; i < r.size(); ++i) d = std::fmin(d, SegDist(p, r[i], r[(i + 1) % r.size()]));
    return d;
}

}  // namespace pathtest

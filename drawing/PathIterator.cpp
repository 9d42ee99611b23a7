#include "drawing/PathIterator.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

#include "drawing/Bezier.h"
#include "drawing/Curve.h"
#include "drawing/QPath.h"
#include "geometry/MatrixFunctions.h"

VPathIteratorRefed::~VPathIteratorRefed() = default;

namespace {

// Every stream is built whole when created: creation does the work once and
// Next is a copy, so consumers that replay a path (fill, then stroke) pay once.
class CCommandList final : public VPathIteratorRefed {
public:
    std::vector<SQPATHCMD> cmds;
    size_t pos = 0;

    bool Next(SQPATHCMD& cmd) override {
        if (pos >= cmds.size()) return false;
        cmd = cmds[pos++];
        return true;
    }
    void Reset() override { pos = 0; }
    int GetContourCount() const override { return cmds.empty() ? 0 : cmds.back().contour + 1; }
    bool IsContourClosed(int contour) const override {
        for (const SQPATHCMD& c : cmds)
            if (c.contour == contour && c.command == keCmdClosePath) return true;
        return false;
    }

    SQPATHCMD& Push(int32_t command, const SQPOINT& end, int32_t contour) {
        cmds.emplace_back();
        SQPATHCMD& c = cmds.back();
        c = SQPATHCMD{};
        c.command = command;
        c.end = end;
        c.contour = contour;
        return c;
    }
};

// Collects the flattened path as MoveTo / LineTo / ClosePath in device space.
class CFlatCollector final : public VPathReceiver {
public:
    CFlatCollector(CCommandList* out, double flatness, const double* m) : m_out(out), m_flatness(flatness) {
        const uint32_t flags = QGDI_MatrixFlagGet(m);
        m_kind = flags == 0 ? 0 : (flags & keMatrixFlagProjective) ? 2 : 1;
        m_m = m;
    }
    bool LineTo(const SQPOINT& p, const double* m) override {
        m_current = p;
        m_out->Push(keCmdLineTo, Map(p, m), m_contour);
        return true;
    }
    bool MoveTo(const SQPOINT& p, const double* m) override {
        m_start = m_current = p;
        ++m_contour;
        m_out->Push(keCmdMoveTo, Map(p, m), m_contour);
        return true;
    }
    bool ClosePath(const double* m) override {
        m_out->Push(keCmdClosePath, Map(m_start, m), m_contour);
        m_current = m_start;
        return true;
    }
    double GetFlatness() override { return m_flatness; }

private:
    SQPOINT Map(const SQPOINT& p, const double* m) const noexcept {
        // Arcs arrive already in device space with a null matrix.
        if (!m) return p;
        if (m_kind == 1 && m == m_m) return SQPOINT{m[0] * p.x + m[1] * p.y + m[2], m[3] * p.x + m[4] * p.y + m[5]};
        SQPOINT q = p;
        QGDI_MatrixTransform(m, q);
        return q;
    }
    CCommandList* m_out;
    double m_flatness;
    const double* m_m = nullptr;
    int m_kind = 0;
    int m_contour = -1;
};

bool Flatten(const SQPATH* path, double flatness, const double* matrix, CCommandList& out) {
    if (!(flatness > 0.0)) flatness = QGDI_GetFlatnessFactor();
    CFlatCollector rec(&out, flatness, QGDI_MatrixFlagGet(matrix) ? matrix : nullptr);
    return QGDI_PathSend(path, &rec, QGDI_MatrixFlagGet(matrix) ? matrix : nullptr, true);
}

template <class Fn>
VPathIteratorRefed* Build(Fn&& fn) {
    CCommandList* it = new (std::nothrow) CCommandList();
    if (!it) return nullptr;
    bool ok = false;
    try {
        ok = fn(*it);
    } catch (const std::bad_alloc&) {
        ok = false;
    }
    if (!ok) {
        it->Unreference();
        return nullptr;
    }
    return it;
}

struct Polyline {
    std::vector<SQPOINT> pts;
    bool closed = false;
};

std::vector<Polyline> Polylines(const CCommandList& flat) {
    std::vector<Polyline> polys;
    for (const SQPATHCMD& c : flat.cmds) {
        if (c.command == keCmdMoveTo) {
            polys.emplace_back();
            polys.back().pts.push_back(c.end);
        } else if (!polys.empty()) {
            Polyline& p = polys.back();
            if (c.command == keCmdClosePath) {
                p.closed = true;
                if (p.pts.back().x != c.end.x || p.pts.back().y != c.end.y) p.pts.push_back(c.end);
            } else if (p.pts.back().x != c.end.x || p.pts.back().y != c.end.y) {
                // The repeated end point after each flattened curve carries no length.
                p.pts.push_back(c.end);
            }
        }
    }
    return polys;
}

bool Dash(const SQPATH* path, const SQDASH& dash, double flatness, const double* matrix, CCommandList& out) {
    if (dash.count < 0 || (dash.count > 0 && !dash.lengths) || !std::isfinite(dash.offset)) return false;
    std::vector<double> lengths(dash.lengths, dash.lengths + dash.count);
    double sum = 0.0;
    for (double l : lengths) {
        if (!std::isfinite(l) || l < 0.0) return false;
        sum += l;
    }
    CCommandList flat;
    if (!Flatten(path, flatness, matrix, flat)) return false;
    if (!(sum > 0.0) || !std::isfinite(sum)) {
        out.cmds.swap(flat.cmds);
        return true;
    }
    if (lengths.size() % 2) lengths.insert(lengths.end(), lengths.begin(), lengths.end());
    const std::vector<Polyline> polys = Polylines(flat);
    // Tiny patterns along long outlines would make unbounded output.
    double total = 0.0;
    for (const Polyline& p : polys)
        for (size_t i = 1; i < p.pts.size(); ++i)
            total += std::hypot(p.pts[i].x - p.pts[i - 1].x, p.pts[i].y - p.pts[i - 1].y);
    if (!std::isfinite(total) || total / sum * double(lengths.size()) > 4e6) return false;

    double start = std::fmod(dash.offset, sum);
    if (start < 0.0) start += sum;
    size_t first = 0;
    while (start >= lengths[first] && start > 0.0) {
        start -= lengths[first];
        first = (first + 1) % lengths.size();
    }
    int contour = 0;
    for (const Polyline& poly : polys) {
        if (poly.pts.size() < 2) continue;
        std::vector<std::vector<SQPOINT>> dashes;
        size_t idx = first;
        double left = lengths[idx] - start;
        bool on = (idx % 2) == 0;
        const bool onAtStart = on;
        if (on) dashes.push_back({poly.pts[0]});
        bool switched = false;
        for (size_t i = 1; i < poly.pts.size(); ++i) {
            const SQPOINT a = poly.pts[i - 1], b = poly.pts[i];
            const double d = std::hypot(b.x - a.x, b.y - a.y);
            double pos = 0.0;
            while (d - pos > left) {
                pos += left;
                const double t = pos / d;
                const SQPOINT p{a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t};
                if (on) dashes.back().push_back(p);
                else dashes.push_back({p});
                idx = (idx + 1) % lengths.size();
                left = lengths[idx];
                on = !on;
                switched = true;
            }
            left -= d - pos;
            if (on) dashes.back().push_back(b);
        }
        if (poly.closed && !switched && on) {
            // Never switched off: the whole closed outline stays closed.
            out.Push(keCmdMoveTo, poly.pts[0], contour);
            for (size_t i = 1; i < poly.pts.size(); ++i) out.Push(keCmdLineTo, poly.pts[i], contour);
            out.Push(keCmdClosePath, poly.pts[0], contour);
            ++contour;
            continue;
        }
        if (poly.closed && on && onAtStart && dashes.size() > 1) {
            // The dash running over the start point is one dash.
            std::vector<SQPOINT>& last = dashes.back();
            last.insert(last.end(), dashes.front().begin() + 1, dashes.front().end());
            dashes.erase(dashes.begin());
        }
        for (const auto& d : dashes) {
            out.Push(keCmdMoveTo, d[0], contour);
            for (size_t i = 1; i < d.size(); ++i) out.Push(keCmdLineTo, d[i], contour);
            // A dash of zero length keeps its one point twice: caps still draw a dot.
            if (d.size() == 1) out.Push(keCmdLineTo, d[0], contour);
            ++contour;
        }
    }
    return true;
}

void GrowBox(SQRECT& box, const SQPOINT& p, bool& has) noexcept {
    if (!has) {
        box = SQRECT{p.x, p.y, p.x, p.y};
        has = true;
        return;
    }
    box.left = std::min(box.left, p.x);
    box.right = std::max(box.right, p.x);
    box.top = std::min(box.top, p.y);
    box.bottom = std::max(box.bottom, p.y);
}

}  // namespace

VPathIteratorRefed* QGDI_PathIteratorCreate(const SQPATH* path) {
    if (!path) return nullptr;
    return Build([&](CCommandList& out) {
        int contour = -1;
        for (const SQCONTOUR* c = path->first; c; c = c->next) {
            if (!c->first) continue;
            ++contour;
            out.Push(keCmdMoveTo, c->first->start, contour);
            for (const SQEDGE* e = c->first; e; e = e->next) {
                SQPATHCMD& cmd = out.Push(keCmdLineTo, e->end, contour);
                switch (e->type) {
                case keEdgeQuadratic:
                    cmd.command = keCmdQuadraticCurveTo;
                    cmd.a = e->c1;
                    break;
                case keEdgeCubic:
                    cmd.command = keCmdCubicCurveTo;
                    cmd.a = e->c1;
                    cmd.b = e->c2;
                    break;
                case keEdgeArc:
                    cmd.command = keCmdArcTo;
                    cmd.a = e->c1;
                    cmd.arc = e->arc;
                    break;
                default: break;
                }
            }
            if (c->closed) out.Push(keCmdClosePath, c->first->start, contour);
        }
        return true;
    });
}

VPathIteratorRefed* QGDI_PathIteratorCreateFlat(const SQPATH* path, double flatness, const double* matrix) {
    if (!path) return nullptr;
    return Build([&](CCommandList& out) { return Flatten(path, flatness, matrix, out); });
}

VPathIteratorRefed* QGDI_PathIteratorCreateDash(const SQPATH* path, const SQDASH* dash, double flatness,
                                                const double* matrix) {
    if (!path || !dash) return nullptr;
    return Build([&](CCommandList& out) { return Dash(path, *dash, flatness, matrix, out); });
}

VPathIteratorRefed* QGDI_PathIteratorCreateCubics(const SQPATH* path) {
    if (!path) return nullptr;
    return Build([&](CCommandList& out) {
        int contour = -1;
        for (const SQCONTOUR* c = path->first; c; c = c->next) {
            if (!c->first) continue;
            ++contour;
            out.Push(keCmdMoveTo, c->first->start, contour);
            for (const SQEDGE* e = c->first; e; e = e->next) {
                SQPOINT pts[16];
                const int n = QGDI_EdgeToCubics(e, pts);
                for (int i = 0; i < n; ++i) {
                    SQPATHCMD& cmd = out.Push(keCmdCubicCurveTo, pts[4 * i + 3], contour);
                    cmd.a = pts[4 * i + 1];
                    cmd.b = pts[4 * i + 2];
                }
            }
            if (c->closed) out.Push(keCmdClosePath, c->first->start, contour);
        }
        return true;
    });
}

void QGDI_PathIteratorUnreference(VPathIteratorRefed* it) {
    if (it) it->Unreference();
}

bool QGDI_PathIteratorGetBBox(VPathIterator* it, SQRECT& box, bool loose) {
    if (!it) return false;
    bool has = false;
    SQPOINT cur{0.0, 0.0};
    it->Reset();
    SQPATHCMD c;
    while (it->Next(c)) {
        switch (c.command) {
        case keCmdQuadraticCurveTo:
        case keCmdCubicCurveTo:
        case keCmdArcTo: {
            SQEDGE e{};
            QGDI_EdgeFromPathCmd(&e, cur, c);
            SQRECT r;
            if (loose) {
                SQPOINT pts[16];
                const int n = QGDI_EdgeToCubics(&e, pts);
                for (int i = 0; i < 4 * n; ++i) GrowBox(box, pts[i], has);
                if (c.command == keCmdQuadraticCurveTo) GrowBox(box, c.a, has);
            } else if (QGDI_EdgeGetBBox(&e, r)) {
                GrowBox(box, SQPOINT{r.left, r.top}, has);
                GrowBox(box, SQPOINT{r.right, r.bottom}, has);
            }
            break;
        }
        default: GrowBox(box, c.end, has); break;
        }
        cur = c.end;
    }
    it->Reset();
    return has;
}

CQPathIterator::~CQPathIterator() { Release(); }

CQPathIterator::CQPathIterator(const CQPathIterator& other) noexcept : m_it(other.m_it) {
    if (m_it) m_it->Reference();
}

CQPathIterator& CQPathIterator::operator=(const CQPathIterator& other) noexcept {
    if (other.m_it) other.m_it->Reference();
    Release();
    m_it = other.m_it;
    return *this;
}

void CQPathIterator::Release() noexcept {
    if (m_it) m_it->Unreference();
    m_it = nullptr;
}

bool CQPathIterator::Attach(VPathIteratorRefed* it) noexcept {
    m_it = it;
    return it != nullptr;
}

bool CQPathIterator::Create(const CQPath& path) {
    Release();
    return Attach(QGDI_PathIteratorCreate(path.GetPath()));
}

bool CQPathIterator::CreateFlat(const CQPath& path, double flatness, const double* matrix) {
    Release();
    return Attach(QGDI_PathIteratorCreateFlat(path.GetPath(), flatness, matrix));
}

bool CQPathIterator::CreateDashed(const CQPath& path, const SQDASH& dash, double flatness, const double* matrix) {
    Release();
    return Attach(QGDI_PathIteratorCreateDash(path.GetPath(), &dash, flatness, matrix));
}

bool CQPathIterator::CreateCubics(const CQPath& path) {
    Release();
    return Attach(QGDI_PathIteratorCreateCubics(path.GetPath()));
}

bool CQPathIterator::Next(SQPATHCMD& cmd) { return m_it && m_it->Next(cmd); }

void CQPathIterator::Reset() {
    if (m_it) m_it->Reset();
}

bool CQPathIterator::Send(VPathReceiver* receiver, bool noHooks, const double* matrix) {
    if (!m_it) {
        if (!receiver) return false;
        if (!noHooks) {
            receiver->BeginPath();
            receiver->EndPath();
        }
        return true;
    }
    return QGDI_PathIteratorSend(m_it, receiver, noHooks, matrix);
}

bool CQPathIterator::GetBBox(SQRECT& box) { return QGDI_PathIteratorGetBBox(m_it, box, false); }
bool CQPathIterator::GetLooseBBox(SQRECT& box) { return QGDI_PathIteratorGetBBox(m_it, box, true); }

bool CQPathIterator::AsCurve(CQCurve& curve) {
    curve.Clear();
    if (!m_it) return false;
    SQPATH* path = QGDI_PathCreate();
    if (!path) return false;
    const bool ok = QGDI_PathIteratorSend(m_it, path, true) && curve.Create(path);
    path->Unreference();
    return ok;
}

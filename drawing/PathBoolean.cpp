#include "drawing/PathBoolean.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>

#include "drawing/PathIterator.h"
#include "qdibcore/Source/internal/ResultTry.h"

namespace qgdi::drawing {
namespace {

using i64 = int64_t;
using i128 = __int128;

struct IPt {
    i64 x, y;
    bool operator==(const IPt& o) const noexcept { return x == o.x && y == o.y; }
    bool operator<(const IPt& o) const noexcept { return x < o.x || (x == o.x && y < o.y); }
};

inline i128 Orient(const IPt& a, const IPt& b, const IPt& c) noexcept {
    return i128(b.x - a.x) * (c.y - a.y) - i128(b.y - a.y) * (c.x - a.x);
}
inline int Sign(i128 v) noexcept { return v > 0 ? 1 : (v < 0 ? -1 : 0); }

struct Seg {
    IPt a, b;
    int owner;  // 0 for A, 1 for B
};

// c on the closed segment ab, given that the three are collinear.
inline bool Within(const IPt& a, const IPt& b, const IPt& c) noexcept {
    return std::min(a.x, b.x) <= c.x && c.x <= std::max(a.x, b.x) && std::min(a.y, b.y) <= c.y &&
           c.y <= std::max(a.y, b.y);
}

// Finds where segments meet and records split points on both. Returns
// whether anything would split a segment in its interior.
bool FindSplits(const std::vector<Seg>& segs, std::vector<std::vector<IPt>>& splits) {
    const size_t n = segs.size();
    std::vector<uint32_t> order(n);
    for (size_t i = 0; i < n; ++i) order[i] = uint32_t(i);
    auto minx = [&](uint32_t i) { return std::min(segs[i].a.x, segs[i].b.x); };
    auto maxx = [&](uint32_t i) { return std::max(segs[i].a.x, segs[i].b.x); };
    std::sort(order.begin(), order.end(), [&](uint32_t i, uint32_t j) { return minx(i) < minx(j); });
    std::vector<uint32_t> active;
    bool any = false;
    auto addSplit = [&](size_t s, const IPt& p) {
        const Seg& g = segs[s];
        if (p == g.a || p == g.b) return;
        splits[s].push_back(p);
        any = true;
    };
    for (uint32_t i : order) {
        const i64 x0 = minx(i);
        size_t keep = 0;
        for (uint32_t j : active)
            if (maxx(j) >= x0) active[keep++] = j;
        active.resize(keep);
        const Seg& s = segs[i];
        const i64 sy0 = std::min(s.a.y, s.b.y), sy1 = std::max(s.a.y, s.b.y);
        for (uint32_t j : active) {
            const Seg& t = segs[j];
            if (std::max(t.a.y, t.b.y) < sy0 || std::min(t.a.y, t.b.y) > sy1) continue;
            const int o1 = Sign(Orient(s.a, s.b, t.a)), o2 = Sign(Orient(s.a, s.b, t.b));
            if (o1 && o1 == o2) continue;
            const int o3 = Sign(Orient(t.a, t.b, s.a)), o4 = Sign(Orient(t.a, t.b, s.b));
            if (o3 && o3 == o4) continue;
            if (o1 && o2 && o3 && o4) {
                // A proper crossing: the point is rounded to the grid.
                const double dx = double(s.b.x - s.a.x), dy = double(s.b.y - s.a.y);
                const double num = double(Orient(t.a, t.b, s.a));
                const double den = num - double(Orient(t.a, t.b, s.b));
                const double u = num / den;
                const IPt p{s.a.x + i64(std::llround(dx * u)), s.a.y + i64(std::llround(dy * u))};
                addSplit(i, p);
                addSplit(j, p);
                continue;
            }
            // Touching or overlapping: end points lying on the other segment split it.
            if (!o1 && Within(s.a, s.b, t.a)) addSplit(i, t.a);
            if (!o2 && Within(s.a, s.b, t.b)) addSplit(i, t.b);
            if (!o3 && Within(t.a, t.b, s.a)) addSplit(j, s.a);
            if (!o4 && Within(t.a, t.b, s.b)) addSplit(j, s.b);
        }
        active.push_back(i);
    }
    return any;
}

std::vector<Seg> ApplySplits(const std::vector<Seg>& segs, std::vector<std::vector<IPt>>& splits) {
    std::vector<Seg> out;
    out.reserve(segs.size() * 2);
    for (size_t i = 0; i < segs.size(); ++i) {
        const Seg& s = segs[i];
        auto& sp = splits[i];
        if (sp.empty()) {
            out.push_back(s);
            continue;
        }
        const double dx = double(s.b.x - s.a.x), dy = double(s.b.y - s.a.y);
        auto key = [&](const IPt& p) { return double(p.x - s.a.x) * dx + double(p.y - s.a.y) * dy; };
        std::sort(sp.begin(), sp.end(), [&](const IPt& p, const IPt& q) { return key(p) < key(q); });
        IPt prev = s.a;
        for (const IPt& p : sp) {
            if (p == prev) continue;
            out.push_back(Seg{prev, p, s.owner});
            prev = p;
        }
        if (!(prev == s.b)) out.push_back(Seg{prev, s.b, s.owner});
        sp.clear();
    }
    return out;
}

// Upper half-plane first, then counter-clockwise (y up) within each half.
inline bool AngleLess(const IPt& u, const IPt& v) noexcept {
    const bool hu = u.y > 0 || (u.y == 0 && u.x > 0), hv = v.y > 0 || (v.y == 0 && v.x > 0);
    if (hu != hv) return hu;
    return i128(u.x) * v.y - i128(u.y) * v.x > 0;
}

bool Inside(int w, EQPathFillRule rule) noexcept { return rule == kePathFillNonZero ? w != 0 : (w & 1) != 0; }

bool Op(EQPathBoolOp op, bool a, bool b) noexcept {
    switch (op) {
    case keBoolUnion: return a || b;
    case keBoolIntersection: return a && b;
    case keBoolDifference: return a && !b;
    default: return a != b;
    }
}

struct Graph {
    std::vector<IPt> verts;
    std::vector<uint32_t> eu, ev;     // edge e joins eu < ev
    std::vector<int> ma, mb;          // signed multiplicity of A and B along eu -> ev
    std::vector<uint32_t> outStart;   // CSR of outgoing half-edges per vertex, sorted by angle
    std::vector<uint32_t> outList;
    std::vector<uint32_t> posOf;      // index of half-edge within its origin's list

    uint32_t From(uint32_t h) const { return (h & 1) ? ev[h >> 1] : eu[h >> 1]; }
    uint32_t To(uint32_t h) const { return (h & 1) ? eu[h >> 1] : ev[h >> 1]; }
    // The next half-edge around the face on the left of h.
    uint32_t NextLeft(uint32_t h) const {
        const uint32_t v = To(h), tw = h ^ 1u;
        const uint32_t s = outStart[v], deg = outStart[v + 1] - s;
        return outList[s + (posOf[tw] + deg - 1) % deg];
    }
};

void Build(std::vector<Seg>& segs, Graph& g) {
    std::vector<IPt>& v = g.verts;
    v.clear();
    v.reserve(segs.size() * 2);
    for (const Seg& s : segs) {
        v.push_back(s.a);
        v.push_back(s.b);
    }
    std::sort(v.begin(), v.end());
    v.erase(std::unique(v.begin(), v.end()), v.end());
    auto id = [&](const IPt& p) { return uint32_t(std::lower_bound(v.begin(), v.end(), p) - v.begin()); };
    struct E {
        uint32_t u, w;
        int a, b;
    };
    std::vector<E> es;
    es.reserve(segs.size());
    for (const Seg& s : segs) {
        uint32_t u = id(s.a), w = id(s.b);
        if (u == w) continue;
        int d = 1;
        if (u > w) {
            std::swap(u, w);
            d = -1;
        }
        es.push_back(E{u, w, s.owner == 0 ? d : 0, s.owner == 1 ? d : 0});
    }
    std::sort(es.begin(), es.end(), [](const E& p, const E& q) { return p.u < q.u || (p.u == q.u && p.w < q.w); });
    g.eu.clear();
    g.ev.clear();
    g.ma.clear();
    g.mb.clear();
    for (size_t i = 0; i < es.size();) {
        E m = es[i];
        size_t j = i + 1;
        for (; j < es.size() && es[j].u == m.u && es[j].w == m.w; ++j) {
            m.a += es[j].a;
            m.b += es[j].b;
        }
        i = j;
        // Pieces whose windings cancel separate nothing.
        if (m.a == 0 && m.b == 0) continue;
        g.eu.push_back(m.u);
        g.ev.push_back(m.w);
        g.ma.push_back(m.a);
        g.mb.push_back(m.b);
    }
    const size_t ne = g.eu.size(), nv = v.size();
    g.outStart.assign(nv + 1, 0);
    for (size_t e = 0; e < ne; ++e) {
        ++g.outStart[g.eu[e] + 1];
        ++g.outStart[g.ev[e] + 1];
    }
    for (size_t i = 0; i < nv; ++i) g.outStart[i + 1] += g.outStart[i];
    g.outList.assign(2 * ne, 0);
    std::vector<uint32_t> fill(g.outStart.begin(), g.outStart.end() - 1);
    for (uint32_t h = 0; h < 2 * ne; ++h) g.outList[fill[g.From(h)]++] = h;
    g.posOf.assign(2 * ne, 0);
    for (size_t i = 0; i < nv; ++i) {
        const IPt o = v[i];
        auto dir = [&](uint32_t h) {
            const IPt t = v[g.To(h)];
            return IPt{t.x - o.x, t.y - o.y};
        };
        std::sort(g.outList.begin() + g.outStart[i], g.outList.begin() + g.outStart[i + 1],
                  [&](uint32_t a, uint32_t b) { return AngleLess(dir(a), dir(b)); });
        for (uint32_t k = g.outStart[i]; k < g.outStart[i + 1]; ++k) g.posOf[g.outList[k]] = k - g.outStart[i];
    }
}

// Winding numbers of A and B at a point just left of vertex v, counting the
// edges of other components only (v is the leftmost vertex of its own).
void RayWinding(const Graph& g, const std::vector<uint32_t>& comp, uint32_t v, int& wa, int& wb) {
    wa = wb = 0;
    const IPt p = g.verts[v];
    for (size_t e = 0; e < g.eu.size(); ++e) {
        if (comp[g.eu[e]] == comp[v]) continue;
        const IPt a = g.verts[g.eu[e]], b = g.verts[g.ev[e]];
        if ((a.y > p.y) == (b.y > p.y)) continue;
        const i128 o = Orient(a, b, p);
        // The crossing is left of p when p is right of the edge as it runs upward.
        const bool up = b.y > a.y;
        if (up ? o < 0 : o > 0) {
            const int s = up ? -1 : 1;
            wa += s * g.ma[e];
            wb += s * g.mb[e];
        }
    }
}

}  // namespace
}  // namespace qgdi::drawing

using namespace qgdi::drawing;

bool CQPathBoolean::ToPolygon(const SQPATH* path, double flatness, Polygon& out) {
    out.clear();
    if (!path) return true;
    VPathIteratorRefed* it = QGDI_PathIteratorCreateFlat(path, flatness, nullptr);
    if (!it) return false;
    SQPATHCMD c;
    while (it->Next(c)) {
        if (c.command == keCmdMoveTo) out.emplace_back();
        if (out.empty() || c.command == keCmdClosePath) continue;
        auto& ring = out.back();
        if (ring.empty() || ring.back().x != c.end.x || ring.back().y != c.end.y) ring.push_back(c.end);
    }
    it->Unreference();
    return true;
}

CErrorAutoThrow CQPathBoolean::SetPaths(const CQPath& a, const CQPath& b, double flatness) {
    return qgdi::result::FromExceptions([&]() -> CErrorAutoThrow {
        if (!ToPolygon(a.GetPath(), flatness, m_a) || !ToPolygon(b.GetPath(), flatness, m_b))
            return QERR(keQuorErrOutOfMemory);
        return CErrorAutoThrow();
    });
}

CErrorAutoThrow CQPathBoolean::GetPath(CQPath& out, EQPathBoolOp op, EQPathFillRule rule) const {
    return qgdi::result::FromExceptions([&]() -> CErrorAutoThrow {
        Polygon res;
        QGDI_TRY(Combine(m_a, m_b, op, rule, res));
        if (!out.BeginPath()) return QERR(keQuorErrOutOfMemory);
        for (const auto& ring : res) {
            if (!out.MoveTo(ring[0])) return QERR(keQuorErrOutOfMemory);
            for (size_t i = 1; i < ring.size(); ++i)
                if (!out.LineTo(ring[i])) return QERR(keQuorErrOutOfMemory);
            if (!out.ClosePath()) return QERR(keQuorErrOutOfMemory);
        }
        return CErrorAutoThrow();
    });
}

CErrorAutoThrow CQPathBoolean::Combine(const Polygon& a, const Polygon& b, EQPathBoolOp op, EQPathFillRule rule,
                                       Polygon& out) {
    out.clear();
    if (op < keBoolUnion || op > keBoolXor || (rule != kePathFillEvenOdd && rule != kePathFillNonZero))
        return QERR(keQuorErrFailed);
    return qgdi::result::FromExceptions([&]() -> CErrorAutoThrow {
        // The grid: the operands' box centred and scaled by a power of two
        // (exact) so that coordinates fit in 31 bits and orientation tests in 128.
        double x0 = INFINITY, y0 = INFINITY, x1 = -INFINITY, y1 = -INFINITY;
        for (const Polygon* p : {&a, &b})
            for (const auto& ring : *p)
                for (const SQPOINT& q : ring) {
                    if (!std::isfinite(q.x) || !std::isfinite(q.y)) return QERR(keQuorErrFailed);
                    x0 = std::min(x0, q.x);
                    x1 = std::max(x1, q.x);
                    y0 = std::min(y0, q.y);
                    y1 = std::max(y1, q.y);
                }
        if (!(x0 <= x1)) return CErrorAutoThrow();
        const double cx = 0.5 * (x0 + x1), cy = 0.5 * (y0 + y1);
        const double half = std::max({x1 - cx, y1 - cy, 1e-300});
        if (!std::isfinite(half) || !std::isfinite(cx) || !std::isfinite(cy)) return QERR(keQuorErrFailed);
        const double scale = std::ldexp(1.0, std::ilogb(double(1 << 30) / half));
        std::vector<Seg> segs;
        for (int owner = 0; owner < 2; ++owner)
            for (const auto& ring : owner ? b : a) {
                const size_t n = ring.size();
                if (n < 2) continue;
                auto grid = [&](const SQPOINT& q) {
                    return IPt{i64(std::llround((q.x - cx) * scale)), i64(std::llround((q.y - cy) * scale))};
                };
                IPt first = grid(ring[0]), prev = first;
                for (size_t i = 1; i <= n; ++i) {
                    const IPt p = i == n ? first : grid(ring[i]);
                    if (!(p == prev)) segs.push_back(Seg{prev, p, owner});
                    prev = p;
                }
            }
        // Rounded crossings can create new ones nearby; a few passes settle them.
        for (int pass = 0; pass < 8; ++pass) {
            std::vector<std::vector<IPt>> splits(segs.size());
            if (!FindSplits(segs, splits)) break;
            segs = ApplySplits(segs, splits);
        }
        Graph g;
        Build(segs, g);
        const size_t nv = g.verts.size(), nh = g.eu.size() * 2;
        if (nh == 0) return CErrorAutoThrow();

        // Components, by flooding vertices along edges.
        std::vector<uint32_t> comp(nv, UINT32_MAX);
        std::vector<uint32_t> stack;
        uint32_t ncomp = 0;
        std::vector<uint32_t> compMin;
        for (uint32_t s = 0; s < nv; ++s) {
            if (comp[s] != UINT32_MAX || g.outStart[s] == g.outStart[s + 1]) continue;
            comp[s] = ncomp;
            compMin.push_back(s);  // vertices are sorted by x then y: the first seen is leftmost
            stack.push_back(s);
            while (!stack.empty()) {
                const uint32_t v = stack.back();
                stack.pop_back();
                for (uint32_t k = g.outStart[v]; k < g.outStart[v + 1]; ++k) {
                    const uint32_t w = g.To(g.outList[k]);
                    if (comp[w] == UINT32_MAX) {
                        comp[w] = ncomp;
                        stack.push_back(w);
                    }
                }
            }
            ++ncomp;
        }
        // Faces: the cycles of NextLeft.
        std::vector<uint32_t> face(nh, UINT32_MAX), faceFirst;
        for (uint32_t h = 0; h < nh; ++h) {
            if (face[h] != UINT32_MAX) continue;
            const uint32_t f = uint32_t(faceFirst.size());
            faceFirst.push_back(h);
            uint32_t k = h;
            size_t guard = 0;
            do {
                face[k] = f;
                k = g.NextLeft(k);
            } while (k != h && ++guard <= nh);
        }
        const size_t nf = faceFirst.size();
        std::vector<int> wa(nf, 0), wb(nf, 0);
        std::vector<char> known(nf, 0);
        std::vector<uint32_t> queue;
        for (uint32_t c = 0; c < ncomp; ++c) {
            const uint32_t v = compMin[c];
            // The face around the leftmost vertex's left side.
            uint32_t outer = g.outList[g.outStart[v + 1] - 1];
            for (uint32_t k = g.outStart[v]; k < g.outStart[v + 1]; ++k) {
                const uint32_t h = g.outList[k];
                const IPt t = g.verts[g.To(h)], o = g.verts[v];
                if (t.y - o.y > 0 || (t.y == o.y && t.x > o.x)) outer = h;
            }
            const uint32_t f = face[outer];
            if (known[f]) continue;
            RayWinding(g, comp, v, wa[f], wb[f]);
            known[f] = 1;
            queue.push_back(f);
            while (!queue.empty()) {
                const uint32_t cur = queue.back();
                queue.pop_back();
                uint32_t h = faceFirst[cur];
                size_t guard = 0;
                do {
                    const uint32_t e = h >> 1;
                    const int sa = (h & 1) ? -g.ma[e] : g.ma[e], sb = (h & 1) ? -g.mb[e] : g.mb[e];
                    const uint32_t other = face[h ^ 1u];
                    if (!known[other]) {
                        // Crossing to the right of h leaves its windings behind.
                        wa[other] = wa[cur] - sa;
                        wb[other] = wb[cur] - sb;
                        known[other] = 1;
                        queue.push_back(other);
                    }
                    h = g.NextLeft(h);
                } while (h != faceFirst[cur] && ++guard <= nh);
            }
        }
        // Keep half-edges with the result inside on their left and outside on their right.
        std::vector<char> kept(nh, 0);
        for (uint32_t h = 0; h < nh; ++h) {
            const uint32_t l = face[h], r = face[h ^ 1u];
            const bool inL = Op(op, Inside(wa[l], rule), Inside(wb[l], rule));
            const bool inR = Op(op, Inside(wa[r], rule), Inside(wb[r], rule));
            kept[h] = inL && !inR;
        }
        std::vector<char> used(nh, 0);
        const double inv = 1.0 / scale;
        for (uint32_t h0 = 0; h0 < nh; ++h0) {
            if (!kept[h0] || used[h0]) continue;
            std::vector<IPt> ring;
            uint32_t h = h0;
            size_t guard = 0;
            while (!used[h] && ++guard <= nh) {
                used[h] = 1;
                ring.push_back(g.verts[g.From(h)]);
                // Clockwise from the way back: the first kept edge bounds the same region.
                const uint32_t v = g.To(h), s = g.outStart[v], deg = g.outStart[v + 1] - s;
                uint32_t p = g.posOf[h ^ 1u], next = UINT32_MAX;
                for (uint32_t k = 1; k <= deg; ++k) {
                    const uint32_t cand = g.outList[s + (p + deg - k) % deg];
                    if (kept[cand]) {
                        next = cand;
                        break;
                    }
                }
                // Back at a used edge: the ring is closed.
                if (next == UINT32_MAX || used[next]) break;
                h = next;
            }
            // Drop vertices where the outline goes straight on.
            std::vector<IPt> clean;
            const size_t n = ring.size();
            for (size_t i = 0; i < n; ++i) {
                const IPt& pv = ring[(i + n - 1) % n];
                const IPt& cu = ring[i];
                const IPt& nx = ring[(i + 1) % n];
                if (Orient(pv, cu, nx) != 0) clean.push_back(cu);
            }
            if (clean.size() < 3) continue;
            std::vector<SQPOINT> outRing(clean.size());
            for (size_t i = 0; i < clean.size(); ++i)
                outRing[i] = SQPOINT{double(clean[i].x) * inv + cx, double(clean[i].y) * inv + cy};
            out.push_back(std::move(outRing));
        }
        return CErrorAutoThrow();
    });
}

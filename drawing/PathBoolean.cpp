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

// The sign of Orient, from doubles where they are sure: coordinates below 2^31
// make each product exact to 2^9 and the difference to under 2^11, so beyond
// 4096 the double has the exact sign; closer calls take the 128-bit product.
// value gets the orientation as a double either way.
inline int OrientSign(const IPt& a, const IPt& b, const IPt& c, double& value) noexcept {
    value = double(b.x - a.x) * double(c.y - a.y) - double(b.y - a.y) * double(c.x - a.x);
    if (value > 4096.0) return 1;
    if (value < -4096.0) return -1;
    const i128 exact = Orient(a, b, c);
    value = double(exact);
    return Sign(exact);
}

struct Seg {
    IPt a, b;
    int owner;  // 0 for A, 1 for B
};

// c on the closed segment ab, given that the three are collinear.
inline bool Within(const IPt& a, const IPt& b, const IPt& c) noexcept {
    return std::min(a.x, b.x) <= c.x && c.x <= std::max(a.x, b.x) && std::min(a.y, b.y) <= c.y &&
           c.y <= std::max(a.y, b.y);
}

// Boxes within the rounding slack of each other.
inline bool BoxesMeet(const Seg& s, const Seg& t) noexcept {
    constexpr i64 kSlack = 2;
    return !(std::max(s.a.x, s.b.x) + kSlack < std::min(t.a.x, t.b.x) ||
             std::max(t.a.x, t.b.x) + kSlack < std::min(s.a.x, s.b.x) ||
             std::max(s.a.y, s.b.y) + kSlack < std::min(t.a.y, t.b.y) ||
             std::max(t.a.y, t.b.y) + kSlack < std::min(s.a.y, s.b.y));
}

struct Pair {
    uint32_t i, j;
};

// One pass of intersection finding. Every meeting of two segments records
// split points on both; pairs that meet or pass within a few grid units are
// kept as "near": only their pieces can meet anew once split points are
// rounded (a piece lies within 0.71 units of its parent), so the next pass
// tests only those.
class CSplitter {
public:
    CSplitter(const std::vector<Seg>& segs, std::vector<std::vector<IPt>>& splits, std::vector<Pair>& near)
        : m_segs(segs), m_splits(splits), m_near(near) {}

    bool any = false;

    void Test(uint32_t i, uint32_t j) {
        const Seg& s = m_segs[i];
        const Seg& t = m_segs[j];
        // Boxes apart by more than the rounding can move a piece: nothing to do.
        if (!BoxesMeet(s, t)) return;
        double v1, v2, v3, v4;
        const int o1 = OrientSign(s.a, s.b, t.a, v1), o2 = OrientSign(s.a, s.b, t.b, v2);
        if (o1 && o1 == o2) {
            if (Close(s, v1, v2)) m_near.push_back(Pair{i, j});
            return;
        }
        const int o3 = OrientSign(t.a, t.b, s.a, v3), o4 = OrientSign(t.a, t.b, s.b, v4);
        if (o3 && o3 == o4) {
            if (Close(t, v3, v4)) m_near.push_back(Pair{i, j});
            return;
        }
        m_near.push_back(Pair{i, j});
        if (o1 && o2 && o3 && o4) {
            // A proper crossing: the point is rounded to the grid.
            const double dx = double(s.b.x - s.a.x), dy = double(s.b.y - s.a.y);
            const double k = v3 / (v3 - v4);
            const IPt p{s.a.x + i64(std::llround(dx * k)), s.a.y + i64(std::llround(dy * k))};
            Add(i, p);
            Add(j, p);
            return;
        }
        // Touching or overlapping: end points lying on the other segment split it.
        if (!o1 && Within(s.a, s.b, t.a)) Add(i, t.a);
        if (!o2 && Within(s.a, s.b, t.b)) Add(i, t.b);
        if (!o3 && Within(t.a, t.b, s.a)) Add(j, s.a);
        if (!o4 && Within(t.a, t.b, s.b)) Add(j, s.b);
    }

private:
    // Some end point within 3 grid units of the other segment's line.
    static bool Close(const Seg& s, double va, double vb) {
        const double dx = double(s.b.x - s.a.x), dy = double(s.b.y - s.a.y);
        const double m = std::min(std::fabs(va), std::fabs(vb));
        return m * m < 9.0 * (dx * dx + dy * dy);
    }
    void Add(size_t s, const IPt& p) {
        const Seg& g = m_segs[s];
        if (p == g.a || p == g.b) return;
        m_splits[s].push_back(p);
        any = true;
    }
    const std::vector<Seg>& m_segs;
    std::vector<std::vector<IPt>>& m_splits;
    std::vector<Pair>& m_near;
};

// Candidate pairs from a uniform grid of the segments' boxes; each pair is
// tested once, in the cell holding the low corner of the two boxes' overlap.
void GridPass(const std::vector<Seg>& segs, CSplitter& splitter) {
    const size_t n = segs.size();
    if (n < 2) return;
    i64 x0 = INT64_MAX, y0 = INT64_MAX, x1 = INT64_MIN, y1 = INT64_MIN;
    for (const Seg& s : segs) {
        x0 = std::min({x0, s.a.x, s.b.x});
        y0 = std::min({y0, s.a.y, s.b.y});
        x1 = std::max({x1, s.a.x, s.b.x});
        y1 = std::max({y1, s.a.y, s.b.y});
    }
    const i64 g = std::clamp<i64>(i64(std::sqrt(double(n))), 1, 1024);
    const i64 cw = std::max<i64>(1, (x1 - x0) / g + 1), ch = std::max<i64>(1, (y1 - y0) / g + 1);
    auto cellX = [&](i64 x) { return std::min<i64>((x - x0) / cw, g - 1); };
    auto cellY = [&](i64 y) { return std::min<i64>((y - y0) / ch, g - 1); };
    // Each segment's box and first cell, computed once: the cell of the low
    // corner of two boxes' overlap is the larger of their first cells.
    struct SBox {
        i64 x0, y0, x1, y1;
        int32_t cx0, cy0, cx1, cy1;
    };
    std::vector<SBox> box(n);
    for (size_t i = 0; i < n; ++i) {
        const Seg& s = segs[i];
        SBox& b = box[i];
        b.x0 = std::min(s.a.x, s.b.x);
        b.x1 = std::max(s.a.x, s.b.x);
        b.y0 = std::min(s.a.y, s.b.y);
        b.y1 = std::max(s.a.y, s.b.y);
        b.cx0 = int32_t(cellX(b.x0));
        b.cx1 = int32_t(cellX(b.x1));
        b.cy0 = int32_t(cellY(b.y0));
        b.cy1 = int32_t(cellY(b.y1));
    }
    std::vector<uint32_t> start(size_t(g * g) + 1, 0);
    auto forCells = [&](const SBox& b, auto&& fn) {
        for (i64 y = b.cy0; y <= b.cy1; ++y)
            for (i64 x = b.cx0; x <= b.cx1; ++x) fn(size_t(y * g + x));
    };
    for (const SBox& b : box) forCells(b, [&](size_t c) { ++start[c + 1]; });
    for (size_t c = 0; c + 1 < start.size(); ++c) start[c + 1] += start[c];
    std::vector<uint32_t> items(start.back()), fill(start.begin(), start.end() - 1);
    for (size_t i = 0; i < n; ++i) forCells(box[i], [&](size_t c) { items[fill[c]++] = uint32_t(i); });
    for (size_t c = 0; c + 1 < start.size(); ++c) {
        const int32_t cx = int32_t(c % size_t(g)), cy = int32_t(c / size_t(g));
        for (uint32_t u = start[c]; u < start[c + 1]; ++u) {
            const uint32_t i = items[u];
            const SBox& sb = box[i];
            for (uint32_t w = u + 1; w < start[c + 1]; ++w) {
                const uint32_t j = items[w];
                const SBox& tb = box[j];
                if (tb.x1 < sb.x0 || tb.x0 > sb.x1 || tb.y1 < sb.y0 || tb.y0 > sb.y1) continue;
                if (std::max(sb.cx0, tb.cx0) != cx || std::max(sb.cy0, tb.cy0) != cy) continue;
                splitter.Test(i, j);
            }
        }
    }
}

// Cuts every segment at its split points; pieces[i] .. pieces[i + 1] are
// the pieces of segment i.
std::vector<Seg> ApplySplits(const std::vector<Seg>& segs, std::vector<std::vector<IPt>>& splits,
                             std::vector<uint32_t>& pieces) {
    std::vector<Seg> out;
    out.reserve(segs.size() * 2);
    pieces.assign(segs.size() + 1, 0);
    for (size_t i = 0; i < segs.size(); ++i) {
        const Seg& s = segs[i];
        auto& sp = splits[i];
        pieces[i] = uint32_t(out.size());
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
    pieces[segs.size()] = uint32_t(out.size());
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
    std::vector<uint32_t> eu, ev;    // edge e joins eu < ev
    std::vector<int> ma, mb;         // signed multiplicity of A and B along eu -> ev
    std::vector<uint32_t> outStart;  // CSR of outgoing half-edges per vertex, sorted by angle
    std::vector<uint32_t> outList;
    std::vector<uint32_t> posOf;  // index of half-edge within its origin's list

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
    // Vertex ids from one sort of all end points (2k + 0 is segment k's start, 2k + 1 its end).
    const size_t ns = segs.size();
    auto end = [&](uint32_t k) -> const IPt& { return (k & 1) ? segs[k >> 1].b : segs[k >> 1].a; };
    std::vector<uint32_t> order(2 * ns), ids(2 * ns);
    for (uint32_t k = 0; k < 2 * ns; ++k) order[k] = k;
    std::sort(order.begin(), order.end(), [&](uint32_t p, uint32_t q) { return end(p) < end(q); });
    std::vector<IPt>& v = g.verts;
    v.clear();
    for (uint32_t k : order) {
        if (v.empty() || !(v.back() == end(k))) v.push_back(end(k));
        ids[k] = uint32_t(v.size() - 1);
    }
    struct E {
        uint64_t key;  // u << 32 | w, u < w
        int a, b;
    };
    std::vector<E> es;
    es.reserve(ns);
    for (size_t i = 0; i < ns; ++i) {
        const Seg& s = segs[i];
        uint32_t u = ids[2 * i], w = ids[2 * i + 1];
        if (u == w) continue;
        int d = 1;
        if (u > w) {
            std::swap(u, w);
            d = -1;
        }
        es.push_back(E{uint64_t(u) << 32 | w, s.owner == 0 ? d : 0, s.owner == 1 ? d : 0});
    }
    std::sort(es.begin(), es.end(), [](const E& p, const E& q) { return p.key < q.key; });
    g.eu.clear();
    g.ev.clear();
    g.ma.clear();
    g.mb.clear();
    for (size_t i = 0; i < es.size();) {
        E m = es[i];
        size_t j = i + 1;
        for (; j < es.size() && es[j].key == m.key; ++j) {
            m.a += es[j].a;
            m.b += es[j].b;
        }
        i = j;
        // Pieces whose windings cancel separate nothing.
        if (m.a == 0 && m.b == 0) continue;
        g.eu.push_back(uint32_t(m.key >> 32));
        g.ev.push_back(uint32_t(m.key));
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

// Winding numbers of A and B at a point just left of a component's leftmost
// vertex, counting the edges of other components only. Edges are filed in
// horizontal bands so that each query reads the edges of one band: outlines
// made of thousands of separate pieces (text, scattered shapes) stay linear.
class CRayCaster {
public:
    CRayCaster(const Graph& g, const std::vector<uint32_t>& comp) : m_g(g), m_comp(comp) {
        const size_t ne = g.eu.size();
        if (g.verts.empty()) return;
        m_y0 = g.verts.front().y;
        i64 y1 = m_y0;
        for (const IPt& p : g.verts) {
            m_y0 = std::min(m_y0, p.y);
            y1 = std::max(y1, p.y);
        }
        m_bands = std::clamp<i64>(i64(std::sqrt(double(ne))), 1, 4096);
        m_h = std::max<i64>(1, (y1 - m_y0) / m_bands + 1);
        m_start.assign(size_t(m_bands) + 1, 0);
        auto forBands = [&](size_t e, auto&& fn) {
            const i64 ya = g.verts[g.eu[e]].y, yb = g.verts[g.ev[e]].y;
            if (ya == yb) return;  // a horizontal edge never crosses a horizontal ray
            for (i64 k = Band(std::min(ya, yb)); k <= Band(std::max(ya, yb)); ++k) fn(size_t(k));
        };
        for (size_t e = 0; e < ne; ++e) forBands(e, [&](size_t k) { ++m_start[k + 1]; });
        for (size_t k = 0; k + 1 < m_start.size(); ++k) m_start[k + 1] += m_start[k];
        m_items.resize(m_start.back());
        std::vector<uint32_t> fill(m_start.begin(), m_start.end() - 1);
        for (size_t e = 0; e < ne; ++e) forBands(e, [&](size_t k) { m_items[fill[k]++] = uint32_t(e); });
    }

    void Winding(uint32_t v, int& wa, int& wb) const {
        wa = wb = 0;
        if (m_start.empty()) return;
        const IPt p = m_g.verts[v];
        const size_t k = size_t(Band(p.y));
        for (uint32_t i = m_start[k]; i < m_start[k + 1]; ++i) {
            const uint32_t e = m_items[i];
            if (m_comp[m_g.eu[e]] == m_comp[v]) continue;
            const IPt a = m_g.verts[m_g.eu[e]], b = m_g.verts[m_g.ev[e]];
            if ((a.y > p.y) == (b.y > p.y)) continue;
            const i128 o = Orient(a, b, p);
            // The crossing is left of p when p is right of the edge as it runs upward.
            const bool up = b.y > a.y;
            if (up ? o < 0 : o > 0) {
                const int s = up ? -1 : 1;
                wa += s * m_g.ma[e];
                wb += s * m_g.mb[e];
            }
        }
    }

private:
    i64 Band(i64 y) const { return std::min<i64>((y - m_y0) / m_h, m_bands - 1); }

    const Graph& m_g;
    const std::vector<uint32_t>& m_comp;
    i64 m_y0 = 0, m_h = 1, m_bands = 1;
    std::vector<uint32_t> m_start, m_items;
};

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
        // Rounded crossings can create new ones nearby; a few passes over the
        // pieces of near pairs settle them.
        std::vector<Pair> near, next;
        std::vector<Seg> prev;
        std::vector<uint32_t> pieces;
        for (int pass = 0; pass < 8; ++pass) {
            std::vector<std::vector<IPt>> splits(segs.size());
            next.clear();
            CSplitter splitter(segs, splits, next);
            if (pass == 0) {
                GridPass(segs, splitter);
            } else {
                std::vector<uint32_t> la, lb;
                for (const Pair& p : near) {
                    // Only pieces reaching the other segment's box can meet its pieces.
                    const Seg &ps = prev[p.i], &pt = prev[p.j];
                    la.clear();
                    lb.clear();
                    for (uint32_t a = pieces[p.i]; a < pieces[p.i + 1]; ++a)
                        if (BoxesMeet(segs[a], pt)) la.push_back(a);
                    for (uint32_t b = pieces[p.j]; b < pieces[p.j + 1]; ++b)
                        if (BoxesMeet(segs[b], ps)) lb.push_back(b);
                    for (uint32_t a : la)
                        for (uint32_t b : lb) splitter.Test(a, b);
                }
                // Pieces of one segment can meet each other where split points crowd.
                for (size_t s0 = 0; s0 + 1 < pieces.size(); ++s0)
                    for (uint32_t a = pieces[s0]; a + 2 < pieces[s0 + 1]; ++a)
                        for (uint32_t b = a + 2; b < pieces[s0 + 1]; ++b) splitter.Test(a, b);
            }
            if (!splitter.any) break;
            prev = segs;
            segs = ApplySplits(segs, splits, pieces);
            near.swap(next);
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
        const CRayCaster rays(g, comp);
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
            rays.Winding(v, wa[f], wb[f]);
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

// Baselines for text set inside a shape: the chords of the filled shape at
// one line's spacing, joined into one curve so that text runs from line to line.
#include <algorithm>
#include <cmath>

#include "drawing/Curve.h"
#include "drawing/PathIterator.h"
#include "drawing/QPath.h"

bool CQCurve::MakeTextInShapeCurve(const CQPath& shape, double lineHeight, double firstBaseline, double flatness) {
    Clear();
    if (!(lineHeight > 0.0) || !std::isfinite(lineHeight) || !std::isfinite(firstBaseline)) return false;
    VPathIteratorRefed* flat = QGDI_PathIteratorCreateFlat(shape.GetPath(), flatness, nullptr);
    if (!flat) return false;
    // Edges of the flattened outline, every contour closed.
    struct SEdge {
        SQPOINT a, b;
    };
    std::vector<SEdge> edges;
    SQPOINT start{0, 0}, cur{0, 0};
    bool open = false;
    double top = 0.0, bottom = 0.0;
    bool has = false;
    SQPATHCMD c;
    auto closeContour = [&] {
        if (open && (cur.x != start.x || cur.y != start.y)) edges.push_back({cur, start});
        open = false;
    };
    while (flat->Next(c)) {
        if (!std::isfinite(c.end.x) || !std::isfinite(c.end.y)) continue;
        top = has ? std::min(top, c.end.y) : c.end.y;
        bottom = has ? std::max(bottom, c.end.y) : c.end.y;
        has = true;
        if (c.command == keCmdMoveTo) {
            closeContour();
            start = cur = c.end;
            open = true;
        } else if (c.command == keCmdClosePath) {
            closeContour();
            cur = start;
        } else {
            edges.push_back({cur, c.end});
            cur = c.end;
        }
    }
    closeContour();
    flat->Unreference();
    if (!has) return false;
    // Too many lines for the shape's height would make an unbounded curve.
    if ((bottom - top) / lineHeight > 1e6) return false;

    std::vector<std::pair<double, int>> crossings;
    for (double y = top + firstBaseline; y < bottom; y += lineHeight) {
        crossings.clear();
        for (const SEdge& e : edges) {
            // Half-open in y, so a vertex on the line counts once.
            if ((e.a.y <= y) == (e.b.y <= y)) continue;
            const double t = (y - e.a.y) / (e.b.y - e.a.y);
            crossings.emplace_back(e.a.x + t * (e.b.x - e.a.x), e.b.y > e.a.y ? 1 : -1);
        }
        std::sort(crossings.begin(), crossings.end());
        int winding = 0;
        double from = 0.0;
        for (const auto& [x, dir] : crossings) {
            const int before = winding;
            winding += dir;
            if (before == 0 && winding != 0) from = x;
            if (before != 0 && winding == 0 && x > from) Add(QCubicCurve::Line({from, y}, {x, y}));
        }
    }
    return GetSegmentCount() > 0;
}

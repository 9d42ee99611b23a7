#include <gtest/gtest.h>

#include <random>

#include "path_test_util.h"

using namespace pathtest;

namespace {

struct PathRef {
    SQPATH* p = QGDI_PathCreate();
    ~PathRef() {
        if (p) p->Unreference();
    }
};

TEST(LinkedPath, MovesReuseAnEmptyContourAndCloseAddsWhatIsMissing) {
    PathRef path;
    SQPATH* p = path.p;
    ASSERT_TRUE(p->MoveTo({1, 1}, nullptr));
    ASSERT_TRUE(p->MoveTo({2, 2}, nullptr));  // replaces the first
    EXPECT_EQ(QGDI_PathGetContourCount(p), 1);
    ASSERT_TRUE(p->LineTo({5, 2}, nullptr));
    ASSERT_TRUE(p->LineTo({5, 5}, nullptr));
    ASSERT_TRUE(p->ClosePath(nullptr));  // adds the edge back to (2, 2)
    SQCONTOUR* c = QGDI_PathGetContour(p, 0);
    EXPECT_EQ(c->edgeCount, 3);
    EXPECT_EQ(c->first->start.x, 2.0);
    EXPECT_TRUE(QGDI_ContourIsClosed(c));
    EXPECT_EQ(c->vertexCount, 3);
    EXPECT_EQ(c->number, 0);

    // Within 1e-6 of the start: closed without a new edge.
    ASSERT_TRUE(p->MoveTo({10, 10}, nullptr));
    ASSERT_TRUE(p->LineTo({20, 10}, nullptr));
    ASSERT_TRUE(p->LineTo({10 + 5e-7, 10 - 5e-7}, nullptr));
    ASSERT_TRUE(p->ClosePath(nullptr));
    SQCONTOUR* d = QGDI_PathGetContour(p, 1);
    EXPECT_EQ(d->edgeCount, 2);
    EXPECT_TRUE(d->closed);
    EXPECT_EQ(d->number, 1);
    EXPECT_EQ(p->GetCurrentPoint().x, 10.0);
    EXPECT_TRUE(QGDI_PathIsClosed(p));

    // Edges without a MoveTo open contour number n.
    PathRef q;
    ASSERT_TRUE(q.p->LineTo({3, 4}, nullptr));
    EXPECT_EQ(QGDI_PathGetContourCount(q.p), 1);
    EXPECT_EQ(q.p->first->first->start.x, 0.0);
    EXPECT_FALSE(QGDI_PathIsClosed(q.p));
}

TEST(LinkedPath, EdgeBookkeeping) {
    SQCONTOUR* c = QGDI_ContourCreate(7);
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(c->modified, 1);
    c->modified = 0;
    ASSERT_TRUE(QGDI_ContourAddEdge(c, QGDI_EdgeCreateLine({0, 0}, {1, 0})));
    EXPECT_EQ(c->vertexCount, 1);
    EXPECT_EQ(c->modified, 1);
    SQEDGE* a = QGDI_EdgeCreateLine({1, 0}, {1, 1});
    SQEDGE* b = QGDI_EdgeCreateLine({1, 1}, {0, 1});
    a->next = b;
    b->prev = a;
    ASSERT_TRUE(QGDI_ContourAddEdge(c, a));  // a chain counts 3
    EXPECT_EQ(c->vertexCount, 4);
    EXPECT_EQ(c->last, b);
    EXPECT_EQ(c->first->next, a);
    QGDI_ContourDestroy(c);

    SQEDGE e{};
    SQPATHCMD cmd{};
    cmd.command = keCmdMoveTo;
    EXPECT_FALSE(QGDI_EdgeFromPathCmd(&e, {0, 0}, cmd));
    cmd.command = keCmdClosePath;
    EXPECT_FALSE(QGDI_EdgeFromPathCmd(&e, {0, 0}, cmd));
    cmd.command = keCmdArcTo;
    cmd.a = {3, 4};
    cmd.arc = {30, 1, 0};
    cmd.end = {9, 9};
    ASSERT_TRUE(QGDI_EdgeFromPathCmd(&e, {1, 2}, cmd));
    EXPECT_EQ(e.type, keEdgeArc);
    EXPECT_EQ(e.arc.rotation, 30);
    EXPECT_EQ(e.arc.sweep, 1);
    EXPECT_EQ(e.start.y, 2.0);
    EXPECT_EQ(e.end.x, 9.0);
}

TEST(LinkedPath, OrientationAndCentre) {
    struct {
        std::vector<SQPOINT> pts;
        bool clockwise;
    } cases[] = {
        {{{0, 0}, {10, 0}, {10, 10}, {0, 10}}, true},  // clockwise on a y-down screen
        {{{0, 0}, {0, 10}, {10, 10}, {10, 0}}, false}, {{{0, 0}, {10, 5}, {0, 10}}, true},
        {{{5, 0}, {10, 10}, {0, 10}, {4, 5}}, true},   {{{0, 0}, {10, 0}}, false},  // fewer than 3 vertices
    };
    for (const auto& c : cases) {
        SQPATH* p = QGDI_PathCreatePolygon(c.pts.data(), int(c.pts.size()), true);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(QGDI_ContourIsClockwise(p->first), c.clockwise) << c.pts.size();
        QGDI_PathReverseDirection(p);
        if (c.pts.size() >= 3) {
            EXPECT_NE(QGDI_ContourIsClockwise(p->first), c.clockwise);
        }
        p->Unreference();
    }
    CQPath sq;
    ASSERT_TRUE(sq.CreateRect({2, 4, 6, 8}));
    const SQPOINT m = sq.ContourGetCenterOfMass(0);
    EXPECT_DOUBLE_EQ(m.x, 4.0);
    EXPECT_DOUBLE_EQ(m.y, 6.0);
    EXPECT_TRUE(sq.ContourIsClockwise(0));
    const SQPOINT none = QGDI_ContourGetCenterOfMass(nullptr);
    EXPECT_EQ(none.x, 0.0);
}

TEST(LinkedPath, BoxesTightAndLoose) {
    PathRef p;
    p.p->MoveTo({0, 0}, nullptr);
    p.p->CubicCurveTo({0, 1}, {1, 1}, {1, 0}, nullptr);
    SQRECT tight, loose;
    ASSERT_TRUE(QGDI_PathGetBBox(p.p, tight));
    ASSERT_TRUE(QGDI_PathGetLooseBBox(p.p, loose));
    EXPECT_NEAR(tight.bottom, 0.75, 1e-12);  // the curve's highest point
    EXPECT_EQ(loose.bottom, 1.0);
    EXPECT_EQ(tight.left, 0.0);
    EXPECT_EQ(tight.right, 1.0);
    // A half circle arc: the box reaches the radius exactly (within the cubic fit).
    PathRef a;
    a.p->MoveTo({0, 0}, nullptr);
    ASSERT_TRUE(a.p->ArcTo({5, 5}, 0, false, true, {10, 0}, nullptr));
    ASSERT_TRUE(QGDI_PathGetBBox(a.p, tight));
    // The positive sweep runs through increasing angles: up to y = -5.
    EXPECT_NEAR(tight.top, -5.0, 1e-9);
    EXPECT_NEAR(tight.bottom, 0.0, 1e-12);
    PathRef empty;
    EXPECT_FALSE(QGDI_PathGetBBox(empty.p, tight));
}

TEST(LinkedPath, LengthsAgainstClosedForms) {
    struct {
        const char* name;
        SQEDGE* edge;
        double length, tol;
    } cases[] = {
        {"line", QGDI_EdgeCreateLine({1, 1}, {4, 5}), 5.0, 1e-15},
        {"straight cubic, uneven speed", QGDI_EdgeCreateCubicCurve({0, 0}, {1, 0}, {2, 0}, {10, 0}), 10.0, 1e-9},
        // y = x^2 on [0, 1]: sqrt(5)/2 + asinh(2)/4
        {"parabola", QGDI_EdgeCreateQuadraticCurve({0, 0}, {0.5, 0}, {1, 1}), 1.4789428575445975, 1e-12},
        {"half circle arc r=5", QGDI_EdgeCreateArc({5, 5}, 0, false, true, {0, 0}, {10, 0}), 5 * M_PI, 5e-4},
        {"quarter ellipse arc", QGDI_EdgeCreateArc({3, 3}, 45, false, false, {0, 0}, {3, 3}), 1.5 * M_PI, 3e-4},
    };
    for (auto& c : cases) {
        const double len = QGDI_EdgeGetLength(c.edge);
        EXPECT_NEAR(len, c.length, c.tol * c.length) << c.name;
        // Seeking half the length lands on a point whose prefix is half.
        SQPOINT mid, tan;
        ASSERT_TRUE(QGDI_EdgeSeekDistance(c.edge, len / 2, mid, &tan)) << c.name;
        EXPECT_NEAR(std::hypot(tan.x, tan.y), 1.0, 1e-9);
        QGDI_EdgeDestroy(c.edge);
    }
    SQEDGE* s = QGDI_EdgeCreateCubicCurve({0, 0}, {1, 0}, {2, 0}, {10, 0});
    SQPOINT at;
    ASSERT_TRUE(QGDI_EdgeSeekDistance(s, 7.25, at));
    EXPECT_NEAR(at.x, 7.25, 1e-9);
    EXPECT_FALSE(QGDI_EdgeSeekDistance(s, NAN, at));
    QGDI_EdgeDestroy(s);
}

TEST(LinkedPath, TransformKeepsArcsOnTheMappedEllipse) {
    std::mt19937 rng(3);
    std::uniform_real_distribution<double> u(-2, 2);
    for (int k = 0; k < 50; ++k) {
        const double m[9] = {u(rng), u(rng), u(rng) * 10, u(rng), u(rng), u(rng) * 10, 0, 0, 1};
        if (std::fabs(m[0] * m[4] - m[1] * m[3]) < 0.1) continue;
        SQEDGE* e = QGDI_EdgeCreateArc({7, 3}, 25, k & 1, k & 2, {0, 0}, {6, 4});
        SQPOINT before[16], after[16];
        const int n = QGDI_EdgeToCubics(e, before);
        ASSERT_TRUE(QGDI_EdgeTransform(e, m));
        const int n2 = QGDI_EdgeToCubics(e, after);
        // The same curve: sampled points of the mapped original lie on the new arc.
        for (int i = 0; i < n; ++i)
            for (double t : {0.1, 0.5, 0.9}) {
                SQPOINT q = QGDI_CubicBezierPoint(before + 4 * i, t);
                QGDI_MatrixTransform(m, q);
                double best = INFINITY;
                for (int j = 0; j < n2; ++j) {
                    double tt;
                    best = std::fmin(best, QGDI_CubicBezierNearestPoint(after + 4 * j, q, tt));
                }
                EXPECT_LT(best, 2e-3) << k;
            }
        QGDI_EdgeDestroy(e);
    }
    const double persp[9] = {1, 0, 0, 0, 1, 0, 0.01, 0, 1};
    SQEDGE* e = QGDI_EdgeCreateArc({5, 5}, 0, false, true, {0, 0}, {10, 0});
    EXPECT_FALSE(QGDI_EdgeTransform(e, persp));
    QGDI_EdgeDestroy(e);
    // A contour turns such arcs into cubics instead.
    PathRef p;
    p.p->MoveTo({0, 0}, nullptr);
    p.p->ArcTo({5, 5}, 0, false, true, {10, 0}, nullptr);
    ASSERT_TRUE(QGDI_PathTransform(p.p, persp));
    EXPECT_EQ(p.p->first->first->type, keEdgeCubic);
    EXPECT_EQ(p.p->first->edgeCount, 2);
}

TEST(LinkedPath, IntersectionsOfEdges) {
    SQEDGE* a = QGDI_EdgeCreateLine({0, 0}, {10, 10});
    SQEDGE* b = QGDI_EdgeCreateLine({0, 10}, {10, 0});
    SQPOINT pts[8];
    ASSERT_EQ(QGDI_EdgeIntersection(a, b, pts, 8), 1);
    EXPECT_NEAR(pts[0].x, 5, 1e-9);
    EXPECT_NEAR(pts[0].y, 5, 1e-9);
    // A horizontal line through a half circle of radius 5 about (5, 0) at y = -3: x = 5 -+ 4.
    SQEDGE* arc = QGDI_EdgeCreateArc({5, 5}, 0, false, true, {0, 0}, {10, 0});
    SQEDGE* h = QGDI_EdgeCreateLine({-1, -3}, {11, -3});
    const int n = QGDI_EdgeIntersection(arc, h, pts, 8);
    ASSERT_EQ(n, 2);
    const double x0 = std::fmin(pts[0].x, pts[1].x), x1 = std::fmax(pts[0].x, pts[1].x);
    EXPECT_NEAR(x0, 1.0, 2e-3);
    EXPECT_NEAR(x1, 9.0, 2e-3);
    SQEDGE* far = QGDI_EdgeCreateLine({100, 100}, {200, 100});
    EXPECT_EQ(QGDI_EdgeIntersection(arc, far, pts, 8), 0);
    // A curve against itself overlaps everywhere: the answer is bounded, not endless.
    SQEDGE* big = QGDI_EdgeCreateCubicCurve({0, 0}, {0, 1000}, {1000, 1000}, {1000, 0});
    EXPECT_LE(QGDI_EdgeIntersection(big, big, pts, 8), 8);
    for (SQEDGE* e : {a, b, arc, h, far, big}) QGDI_EdgeDestroy(e);
}

TEST(LinkedPath, ShapesHaveTheirAreas) {
    struct {
        const char* name;
        SQPATH* path;
        double area, tol;
        bool convex;
    } cases[] = {
        {"rect", QGDI_PathCreateRect({0, 0, 4, 3}), 12.0, 1e-12, true},
        {"ellipse", QGDI_PathCreateEllipse({0, 0, 20, 10}), M_PI * 50, 1e-3, true},
        {"round rect", QGDI_PathCreateRoundRect({0, 0, 20, 10}, 3, 2), 200 - (4 - M_PI) * 6, 1e-3, true},
        {"round rect clamped to an ellipse", QGDI_PathCreateRoundRect({0, 0, 20, 10}, 50, 50), M_PI * 50, 1e-3, true},
        {"zero radius is a rect", QGDI_PathCreateRoundRect({0, 0, 20, 10}, 0, 5), 200, 1e-12, true},
    };
    for (auto& c : cases) {
        ASSERT_NE(c.path, nullptr) << c.name;
        EXPECT_NEAR(std::fabs(QGDI_ContourGetArea(c.path->first)), c.area, c.tol * c.area) << c.name;
        EXPECT_EQ(QGDI_ContourIsConvex(c.path->first), c.convex) << c.name;
        EXPECT_TRUE(QGDI_ContourIsClockwise(c.path->first)) << c.name;
        c.path->Unreference();
    }
    const SQPOINT star[] = {{0, -10}, {3, 9}, {-9, -3}, {9, -3}, {-3, 9}};
    SQPATH* s = QGDI_PathCreatePolygon(star, 5, true);
    EXPECT_FALSE(QGDI_ContourIsConvex(s->first));
    SQPOINT v[8];
    EXPECT_EQ(QGDI_PathGetVertices(s, v, 8), 6);  // the start, then five edge ends
    EXPECT_EQ(v[5].y, -10.0);
    s->Unreference();
    EXPECT_EQ(QGDI_PathCreatePolygon(nullptr, 3, true), nullptr);
}

TEST(LinkedPath, CopyReverseAndCubics) {
    CQPath p;
    p.MoveTo(0, 0);
    p.LineTo(10, 0);
    p.QuadraticCurveTo({15, 5}, {10, 10});
    p.ArcTo({5, 5}, 0, false, true, {0, 10});
    p.ClosePath();
    CQPath copy(p);
    copy.ReversePath();
    ASSERT_TRUE(copy.ConvertToCubics());
    SQRECT a, b;
    ASSERT_TRUE(p.GetBBox(a));
    ASSERT_TRUE(copy.GetBBox(b));
    EXPECT_NEAR(a.left, b.left, 1e-9);
    EXPECT_NEAR(a.right, b.right, 1e-9);
    EXPECT_NEAR(a.top, b.top, 1e-9);
    EXPECT_NEAR(a.bottom, b.bottom, 1e-9);
    EXPECT_NEAR(QGDI_ContourGetLength(p.GetPath()->first), QGDI_ContourGetLength(copy.GetPath()->first), 1e-9);
    EXPECT_NE(p.ContourIsClockwise(0), copy.ContourIsClockwise(0));
    for (const SQEDGE* e = copy.GetPath()->first->first; e; e = e->next) EXPECT_EQ(e->type, keEdgeCubic);
    EXPECT_EQ(p.GetPath()->GetRefCount(), 1);
}

}  // namespace

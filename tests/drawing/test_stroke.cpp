// Stroke outlines: offsets against exact distances, joins and caps on
// hand-worked corners, dashes, degenerate input.
#include <gtest/gtest.h>

#include <random>

#include "drawing_test_util.h"

using namespace drawtest;

namespace {

CQPath Polyline(std::initializer_list<SQPOINT> pts, bool closed = false) {
    CQPath p;
    bool first = true;
    for (const SQPOINT& q : pts) {
        if (first) p.MoveTo(q);
        else p.LineTo(q);
        first = false;
    }
    if (closed) p.ClosePath();
    return p;
}

SStrokeProps Pen(double width, ELineJoin join = keLineJoinMiter, ELineCap cap = keLineCapButt) {
    SStrokeProps s;
    s.width = width;
    s.lineJoin = join;
    for (auto& c : s.caps) c.type = cap;
    return s;
}

}  // namespace

TEST(StrokeProps, DefaultsAndEqualityTolerances) {
    SStrokeProps a;
    EXPECT_EQ(a.lineJoin, keLineJoinMiter);
    EXPECT_EQ(a.width, 1.0);
    EXPECT_EQ(a.miterLimit, 8.0);
    EXPECT_EQ(a.dashCount, 0);
    for (const auto& c : a.caps) EXPECT_EQ(c, (SLineCapProps{keLineCapButt, 1.0, 1.0}));

    struct Case {
        const char* name;
        void (*change)(SStrokeProps&);
        bool equal;
    } cases[] = {
        {"width within 1e-6", [](SStrokeProps& s) { s.width += 5e-7; }, true},
        {"width beyond", [](SStrokeProps& s) { s.width += 2e-6; }, false},
        {"miter limit", [](SStrokeProps& s) { s.miterLimit = 4; }, false},
        {"join", [](SStrokeProps& s) { s.lineJoin = keLineJoinRound; }, false},
        {"width flag", [](SStrokeProps& s) { s.widthFlag = 1; }, false},
        {"cap scale within", [](SStrokeProps& s) { s.caps[3].yScale += 9e-7; }, true},
        {"cap scale beyond", [](SStrokeProps& s) { s.caps[3].yScale += 2e-6; }, false},
        {"cap type", [](SStrokeProps& s) { s.caps[2].type = keLineCapRound; }, false},
        {"dash count", [](SStrokeProps& s) { const double d[] = {1, 2, 3}; s.SetDash(d, 3, 0.0); }, false},
        {"dash length within", [](SStrokeProps& s) { const double d[] = {1, 2 + 5e-7}; s.SetDash(d, 2, 0.5); }, true},
        {"dash length beyond", [](SStrokeProps& s) { const double d[] = {1, 2.001}; s.SetDash(d, 2, 0.5); }, false},
        {"dash offset", [](SStrokeProps& s) { const double d[] = {1, 2}; s.SetDash(d, 2, 0.6); }, false},
    };
    const double base[] = {1, 2};
    for (const Case& c : cases) {
        SStrokeProps x, y;
        x.SetDash(base, 2, 0.5);
        y = x;
        c.change(y);
        EXPECT_EQ(x == y, c.equal) << c.name;
        SStrokeProps copy(y);
        EXPECT_TRUE(copy == y) << c.name;
    }
    SStrokeProps z;
    EXPECT_TRUE(z.SetDash(nullptr, 5, 2.0));
    EXPECT_EQ(z.dashCount, 0);
    EXPECT_EQ(z.dashOffset, 2.0);
}

TEST(StrokeGeometry, MiterVectorAndLineDrawRules) {
    SQPOINT m;
    ASSERT_TRUE(QGDI_GetMiterVector(m, std::sqrt(2.0), {0, 0}, {10, 0}, {10, 10}));
    EXPECT_NEAR(m.x, 1.0, 1e-12);
    EXPECT_NEAR(m.y, -1.0, 1e-12);
    EXPECT_FALSE(QGDI_GetMiterVector(m, 1, {0, 0}, {10, 0}, {20, 0}));  // straight on
    EXPECT_FALSE(QGDI_GetMiterVector(m, 1, {10, 0}, {10, 0}, {20, 5}));  // no first segment

    const double scale2[9] = {2, 0, 0, 0, 2, 0, 0, 0, 1};
    const double shift[9] = {1, 0, 5, 0, 1, 7, 0, 0, 1};
    struct Case {
        const char* name;
        void (*change)(SStrokeProps&, SRasterProps&);
        const double* m;
        bool use;
    } cases[] = {
        {"thin at level 1", [](SStrokeProps&, SRasterProps&) {}, shift, true},
        {"switch off", [](SStrokeProps&, SRasterProps& r) { r.lineDraw = 0; }, nullptr, false},
        {"level 2", [](SStrokeProps&, SRasterProps& r) { r.antialiasingLevel = 2; }, nullptr, false},
        {"wide", [](SStrokeProps& s, SRasterProps&) { s.width = 1.5; }, nullptr, false},
        {"dashed", [](SStrokeProps& s, SRasterProps&) { const double d[] = {1, 1}; s.SetDash(d, 2, 0); }, nullptr, false},
        {"scaled", [](SStrokeProps&, SRasterProps&) {}, scale2, false},
        {"scaled, device width", [](SStrokeProps& s, SRasterProps&) { s.widthFlag = 1; }, scale2, true},
        {"round caps", [](SStrokeProps& s, SRasterProps&) { s.caps[1].type = keLineCapRound; }, nullptr, true},
        {"arrow cap", [](SStrokeProps& s, SRasterProps&) { s.caps[3].type = keLineCapArrow; }, nullptr, false},
    };
    for (const Case& c : cases) {
        SStrokeProps s;
        SRasterProps r;
        r.antialiasingLevel = 1;
        c.change(s, r);
        EXPECT_EQ(QGDI_ShouldUseLineDraw(s, r, c.m), c.use) << c.name;
    }
}

// Every outline vertex of a stroked circle lies at half the width from the
// circle, within the flattening tolerance, on both sides.
TEST(StrokeOutline, OffsetsOfCurvesStayAtHalfTheWidth) {
    for (ELineJoin join : {keLineJoinMiter, keLineJoinRound, keLineJoinBevel})
        for (double width : {1.0, 6.0, 30.0}) {
            CQPath circle;
            circle.CreateEllipse({10, 10, 90, 90});
            const double flat = 0.01;
            const auto cs = StrokeOf(circle, Pen(width, join), nullptr, flat);
            ASSERT_EQ(cs.size(), 2u);
            for (const auto& c : cs)
                for (const SQPOINT& p : c) {
                    const double off = std::fabs(std::hypot(p.x - 50, p.y - 50) - 40);
                    EXPECT_NEAR(off, width / 2, 2 * std::sqrt(flat)) << width << " join " << join;
                }
        }
    // An open arc with butt caps: the same, and its ends square to the centre line.
    CQPath arc;
    arc.MoveTo(90, 50);
    arc.ArcTo({40, 40}, 0, false, true, {10, 50});
    const auto cs = StrokeOf(arc, Pen(8, keLineJoinRound));
    ASSERT_EQ(cs.size(), 1u);
    for (const SQPOINT& p : cs[0]) EXPECT_NEAR(std::fabs(std::hypot(p.x - 50, p.y - 50) - 40), 4.0, 0.25);
    // The butt ends are square to the first chord of the flattened arc.
    EXPECT_TRUE(HasPoint(cs, 94, 50, 0.3));
    EXPECT_TRUE(HasPoint(cs, 86, 50, 0.3));
}

TEST(StrokeOutline, JoinsOnARightAngle) {
    // (0,0) -> (10,0) -> (10,10), width 2: the outer corner is at (11,-1).
    const CQPath corner = Polyline({{0, 0}, {10, 0}, {10, 10}});
    struct Case {
        ELineJoin join;
        double limit;
        bool miterTip;
    } cases[] = {{keLineJoinMiter, 8, true}, {keLineJoinMiter, 1.41, false}, {keLineJoinMiter, 1.42, true},
                 {keLineJoinBevel, 8, false}, {keLineJoinRound, 8, false}};
    for (const Case& c : cases) {
        SStrokeProps s = Pen(2, c.join);
        s.miterLimit = c.limit;
        const auto cs = StrokeOf(corner, s);
        ASSERT_EQ(cs.size(), 1u);
        EXPECT_EQ(HasPoint(cs, 11, -1), c.miterTip) << c.join << " " << c.limit;
        EXPECT_TRUE(HasPoint(cs, 10, -1));
        EXPECT_TRUE(HasPoint(cs, 11, 0));
        EXPECT_TRUE(HasPoint(cs, 9, 1));  // the inner corner: the offsets meet
        const SQRECT b = Box(cs);
        EXPECT_DOUBLE_EQ(b.top, -1);
        EXPECT_DOUBLE_EQ(b.right, 11);
        if (c.join == keLineJoinRound)
            for (const SQPOINT& p : cs[0])
                if (p.x > 10 && p.y < 0) {
                    EXPECT_NEAR(std::hypot(p.x - 10, p.y), 1.0, 1e-9);
                }
    }
}

TEST(StrokeOutline, BoundsGrowWithTheMiterLimit) {
    const CQPath spike = Polyline({{0, 50}, {100, 45}, {0, 40}});
    double last = 0;
    for (double limit : {1.0, 4.0, 10.0, 30.0}) {
        SStrokeProps s = Pen(4);
        s.miterLimit = limit;
        const double right = Box(StrokeOf(spike, s)).right;
        EXPECT_GE(right, last);
        last = right;
    }
    // Half-angle of the spike: 1/sin(θ/2) ≈ 20.02, so the limit of 30 admits the miter.
    EXPECT_GT(last, 100 + 2 * 19.9);
}

TEST(StrokeOutline, CapsOfAHorizontalLine) {
    struct Case {
        ELineCap cap;
        double sx, sy;
        SQRECT box;
    } cases[] = {
        {keLineCapButt, 1, 1, {10, 9, 30, 11}},     {keLineCapSquare, 1, 1, {9, 9, 31, 11}},
        {keLineCapRound, 1, 1, {9, 9, 31, 11}},     {keLineCapTriangle, 1, 1, {9, 9, 31, 11}},
        {keLineCapSquare, 2, 3, {8, 7, 32, 13}},    {keLineCapRound, 3, 1, {7, 9, 33, 11}},
        {keLineCapArrow, 1, 1, {6, 8, 34, 12}},
    };
    const CQPath line = Polyline({{10, 10}, {30, 10}});
    for (const Case& c : cases) {
        SStrokeProps s = Pen(2, keLineJoinMiter, c.cap);
        for (auto& k : s.caps) k.xScale = c.sx, k.yScale = c.sy;
        const auto cs = StrokeOf(line, s);
        ASSERT_EQ(cs.size(), 1u) << c.cap;
        const SQRECT b = Box(cs);
        EXPECT_NEAR(b.left, c.box.left, 1e-9) << c.cap;
        EXPECT_NEAR(b.top, c.box.top, 1e-9) << c.cap;
        EXPECT_NEAR(b.right, c.box.right, 1e-9) << c.cap;
        EXPECT_NEAR(b.bottom, c.box.bottom, 1e-9) << c.cap;
    }
    // Start and end caps follow their own positions.
    SStrokeProps s = Pen(2);
    s.caps[keLineCapPosEnd].type = keLineCapSquare;
    const SQRECT b = Box(StrokeOf(line, s));
    EXPECT_DOUBLE_EQ(b.left, 10);
    EXPECT_DOUBLE_EQ(b.right, 31);
}

TEST(StrokeOutline, ZeroLengthSubpathsStillGetCaps) {
    CQPath dot;
    dot.MoveTo(20, 20);
    dot.LineTo(20, 20);
    CQPath bare;
    bare.MoveTo(20, 20);
    for (const CQPath* p : {&dot}) {
        EXPECT_TRUE(StrokeOf(*p, Pen(4)).empty());
        const SQRECT r = Box(StrokeOf(*p, Pen(4, keLineJoinMiter, keLineCapRound)));
        EXPECT_NEAR(r.left, 18, 1e-9);
        EXPECT_NEAR(r.right, 22, 1e-9);
        EXPECT_NEAR(r.top, 18, 1e-9);
        EXPECT_NEAR(r.bottom, 22, 1e-9);
        EXPECT_EQ(Box(StrokeOf(*p, Pen(4, keLineJoinMiter, keLineCapSquare))).left, 18);
    }
    EXPECT_TRUE(StrokeOf(bare, Pen(4, keLineJoinMiter, keLineCapRound)).empty());
}

TEST(StrokeOutline, DashesOfASquare) {
    CQPath square;
    square.CreateRect({10, 10, 50, 50});
    SStrokeProps s = Pen(2);
    const double d[] = {20, 20};
    s.SetDash(d, 2, 0);
    const auto cs = StrokeOf(square, s);
    ASSERT_EQ(cs.size(), 4u);  // one dash on the first half of each side
    const Coverage cov = Fill(cs, 60, 60);
    // Top side runs left to right: dash on x 10..30, gap on 30..50.
    EXPECT_EQ(cov.At(15, 10), 255);
    EXPECT_EQ(cov.At(35, 10), 0);
    EXPECT_EQ(cov.At(50, 15), 255);  // right side, downwards
    EXPECT_EQ(cov.At(50, 35), 0);
    EXPECT_EQ(cov.At(45, 50), 255);  // bottom, right to left
    EXPECT_EQ(cov.At(25, 50), 0);
    EXPECT_EQ(cov.At(10, 45), 255);  // left, upwards
    EXPECT_EQ(cov.At(10, 25), 0);

    // Dash caps differ from the contour's own caps: the line's two ends keep butt.
    const CQPath line = Polyline({{10, 30}, {50, 30}});
    SStrokeProps t = Pen(2);
    t.caps[keLineCapPosDashStart].type = keLineCapSquare;
    t.caps[keLineCapPosDashEnd].type = keLineCapSquare;
    t.SetDash(d, 2, 0);
    const SQRECT b = Box(StrokeOf(line, t));
    EXPECT_DOUBLE_EQ(b.left, 10);
    EXPECT_DOUBLE_EQ(b.right, 31);  // the dash 10..30 ends inside the line: a dash cap

    // Zero-length dashes with round caps: dots every 10 units.
    SStrokeProps u = Pen(4, keLineJoinMiter, keLineCapRound);
    const double dots[] = {0, 10};
    u.SetDash(dots, 2, 0);
    EXPECT_EQ(StrokeOf(Polyline({{10, 30}, {45, 30}}), u).size(), 4u);
}

// With round joins and caps the stroke is exactly the set of points within
// half the width of the centre line: pixels clearly inside must be full,
// clearly outside empty (within the converter's error of one grid row), whatever the turns (no notches at inner joins, no
// spurs of reversed offsets on short segments).
TEST(StrokeOutline, RoundStrokeOfAJaggedLineIsTheExactNeighbourhood) {
    std::mt19937 rng(16);
    std::uniform_real_distribution<double> u(-1, 1);
    for (int trial = 0; trial < 6; ++trial) {
        std::vector<SQPOINT> pts{{40, 60}};
        for (int i = 0; i < 40; ++i) {
            // Steps that would leave the box turn back instead.
            double x = pts.back().x + 12 * u(rng), y = pts.back().y + 12 * u(rng);
            if (x < 20 || x > 100) x = 2 * pts.back().x - x;
            if (y < 20 || y > 100) y = 2 * pts.back().y - y;
            pts.push_back({x, y});
        }
        CQPath p;
        p.CreatePolygon(pts.data(), int(pts.size()), false);
        const double width = 4 + 4 * trial;
        const Coverage cov = Fill(StrokeOf(p, Pen(width, keLineJoinRound, keLineCapRound)), 120, 120);
        int bad = 0;
        for (int y = 0; y < 120; ++y)
            for (int x = 0; x < 120; ++x) {
                double d = 1e9;
                const SQPOINT c{x + 0.5, y + 0.5};
                for (size_t i = 1; i < pts.size(); ++i) d = std::min(d, SegDist(c, pts[i - 1], pts[i]));
                // One grid row (32) is the scan converter's own error where an
                // outline vertex shares a cell with another edge; a notch or
                // a spur of the outline would be whole pixels.
                if (d < width / 2 - 1.0 && cov.At(x, y) < 255 - 32) ++bad;
                if (d > width / 2 + 1.0 && cov.At(x, y) > 32) ++bad;
            }
        EXPECT_EQ(bad, 0) << "trial " << trial;
    }
}

TEST(StrokeOutline, MatricesScaleThePenUnlessTheWidthIsOnTheDevice) {
    const CQPath line = Polyline({{10, 10}, {30, 10}});
    const double m[9] = {1, 0, 0, 0, 4, 0, 0, 0, 1};
    SStrokeProps s = Pen(2);
    SQRECT b = Box(StrokeOf(line, s, m));
    EXPECT_NEAR(b.bottom - b.top, 8, 1e-9);
    s.widthFlag = 1;
    b = Box(StrokeOf(line, s, m));
    EXPECT_NEAR(b.bottom - b.top, 2, 1e-9);
    const double singular[9] = {1, 0, 0, 0, 0, 0, 0, 0, 1};
    EXPECT_TRUE(StrokeOf(line, Pen(2), singular).empty());
}

TEST(StrokeOutline, DegenerateInputGivesFiniteOrEmptyOutlines) {
    CQPath cusp;
    cusp.MoveTo(0, 0);
    cusp.CubicCurveTo({60, 60}, {0, 60}, {60, 0});
    CQPath coincident;
    coincident.MoveTo(10, 10);
    coincident.CubicCurveTo({10, 10}, {50, 50}, {50, 50});
    CQPath back;  // a segment that reverses on itself
    back.MoveTo(10, 10);
    back.LineTo(50, 10);
    back.LineTo(20, 10);
    for (const CQPath* p : {&cusp, &coincident, &back})
        for (ELineJoin j : {keLineJoinMiter, keLineJoinRound, keLineJoinBevel}) {
            const auto cs = StrokeOf(*p, Pen(10, j, keLineCapRound));
            ASSERT_FALSE(cs.empty());
            for (const auto& c : cs)
                for (const SQPOINT& q : c) ASSERT_TRUE(std::isfinite(q.x) && std::isfinite(q.y));
        }
    for (double w : {0.0, -3.0, double(NAN)}) EXPECT_TRUE(StrokeOf(back, Pen(w)).empty());
    // A reversal's tip is capped by the join on both sides: the outline reaches past x = 50.
    EXPECT_GT(Box(StrokeOf(back, Pen(10, keLineJoinRound))).right, 54.9);

    // Very thin strokes over many cubics finish and stay bounded.
    CQPath many;
    many.MoveTo(0, 0);
    for (int i = 0; i < 2000; ++i) many.CubicCurveTo({i + 0.3, 5.0}, {i + 0.6, -5.0}, {i + 1.0, 0.0});
    const auto thin = StrokeOf(many, Pen(1e-7), nullptr, 0.05);
    ASSERT_EQ(thin.size(), 1u);
    EXPECT_LT(thin[0].size(), 400000u);

    SStrokeProps s = Pen(1);
    EXPECT_EQ(QGDI_PathIteratorCreateStroke(nullptr, keQPathStroke, s, nullptr, 0, 0, false), nullptr);
    // Hairlines are the flattened centre line itself.
    VPathIteratorRefed* it = QGDI_PathIteratorCreateStroke(back.GetPath(), keQPathHairline, s, nullptr, 0, 0, false);
    ASSERT_NE(it, nullptr);
    EXPECT_EQ(ReadContours(it).size(), 1u);
    it->Unreference();
}

TEST(StrokeOutline, PolylineIteratorMatchesThePathStroke) {
    const SQPOINT pts[] = {{10, 10}, {40, 12}, {25, 40}, {60, 50}};
    CQPath p;
    p.CreatePolygon(pts, 4, false);
    for (bool closed : {false, true}) {
        if (closed) p.CreatePolygon(pts, 4, true);
        SStrokeProps s = Pen(5, keLineJoinRound, keLineCapSquare);
        VPathIteratorRefed* it = QGDI_PolylineIteratorCreateStroke(pts, 4, closed, s, nullptr, 0.01, 0);
        ASSERT_NE(it, nullptr);
        const auto a = ReadContours(it);
        it->Unreference();
        const auto b = StrokeOf(p, s);
        ASSERT_EQ(a.size(), b.size());
        for (size_t i = 0; i < a.size(); ++i) EXPECT_EQ(a[i].size(), b[i].size());
    }
}

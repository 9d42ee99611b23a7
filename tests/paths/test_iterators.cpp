#include <gtest/gtest.h>

#include "path_test_util.h"

using namespace pathtest;

namespace {

TEST(PathBuffer, FixedCapacityAndRecords) {
    CQPathBuffer buf;
    ASSERT_TRUE(buf.Create(2));
    buf.SetContour(4);
    EXPECT_TRUE(buf.MoveTo({1, 2}, nullptr));
    EXPECT_TRUE(buf.ArcTo({3, 4}, 30, true, false, {5, 6}, nullptr));
    EXPECT_FALSE(buf.LineTo({7, 8}, nullptr));  // full: refused, nothing written
    EXPECT_EQ(buf.GetCount(), 2);
    const SQPATHCMD* c = buf.GetCommands();
    EXPECT_EQ(c[0].command, keCmdMoveTo);
    EXPECT_EQ(c[0].contour, 4);
    EXPECT_EQ(c[0].a.x, 0.0);  // zero-filled
    EXPECT_EQ(c[1].command, keCmdArcTo);
    EXPECT_EQ(c[1].arc.rotation, 30.0);
    EXPECT_EQ(c[1].arc.sweep, 0);
    EXPECT_EQ(c[1].arc.largeArc, 1);
    EXPECT_EQ(buf.GetContourCount(), 5);
    buf.SetContour(2);  // lower numbers leave the mark
    EXPECT_EQ(buf.GetContourCount(), 5);

    SQPATHCMD cmd;
    ASSERT_TRUE(buf.Next(cmd));
    ASSERT_TRUE(buf.Next(cmd));
    EXPECT_FALSE(buf.Next(cmd));
    buf.SetClosed(true);
    EXPECT_TRUE(buf.IsContourClosed());
    buf.Reset();
    EXPECT_FALSE(buf.IsContourClosed());
    ASSERT_TRUE(buf.Next(cmd));
    EXPECT_EQ(cmd.end.x, 1.0);

    for (int cap : {0, -5}) {
        ASSERT_TRUE(buf.Create(cap));
        EXPECT_FALSE(buf.MoveTo({0, 0}, nullptr));
        EXPECT_FALSE(buf.Add(SQPATHCMD{}));
        EXPECT_FALSE(buf.Next(cmd));
    }
}

TEST(PathBuffer, MeasureReceiver) {
    CMeasurePathReceiver m;
    EXPECT_FALSE(m.HasPoints());
    const double shift[9] = {1, 0, 100, 0, 1, 200, 0, 0, 1};
    m.LineTo({1, 2}, shift);
    EXPECT_TRUE(m.HasPoints());
    EXPECT_EQ(m.GetRect().left, 101.0);
    EXPECT_EQ(m.GetRect().bottom, 202.0);
    m.AddPoint({-5, 300});
    EXPECT_EQ(m.GetRect().left, -5.0);
    EXPECT_EQ(m.GetRect().right, 101.0);
    EXPECT_EQ(m.GetRect().bottom, 300.0);
    EXPECT_EQ(m.GetCurrentPoint().x, 1.0);  // kept unmapped
    m.Reset();
    EXPECT_FALSE(m.HasPoints());
    // Through the protocol a curve grows it by its flattened points.
    m.MoveTo({0, 0}, nullptr);
    m.CubicCurveTo({0, 1}, {1, 1}, {1, 0}, nullptr);
    EXPECT_NEAR(m.GetRect().bottom, 0.75, 0.05);
}

TEST(PathIterator, SendHooksAndEmptyIterator) {
    CQPath path;
    path.CreateRect({0, 0, 2, 2});
    CQPathIterator it;
    CRecorder r;
    EXPECT_TRUE(it.Send(&r));  // nothing attached: just the hooks
    EXPECT_EQ(r.Ops(), "BE");
    r.calls.clear();
    EXPECT_TRUE(it.Send(&r, true));
    EXPECT_EQ(r.Ops(), "");
    ASSERT_TRUE(it.Create(path));
    ASSERT_TRUE(it.Send(&r));
    EXPECT_EQ(r.Ops(), "BMLLLLLE");  // the close arrives as a line back to the start
    r.calls.clear();
    ASSERT_TRUE(QGDI_PathIteratorSend(it.GetIterator(), &r, true));
    EXPECT_EQ(r.Ops(), "MLLLLL");
    EXPECT_EQ(it.GetPathInfo()->GetContourCount(), 1);
    EXPECT_TRUE(it.GetPathInfo()->IsContourClosed(0));
    EXPECT_FALSE(QGDI_PathIteratorSend(it.GetIterator(), nullptr, false));
}

TEST(PathIterator, ReferenceCountsAreShared) {
    CQPath path;
    path.CreateEllipse({0, 0, 10, 10});
    CQPathIterator a;
    ASSERT_TRUE(a.CreateFlat(path));
    VPathIteratorRefed* raw = a.GetIterator();
    EXPECT_EQ(raw->GetRefCount(), 1);
    {
        CQPathIterator b(a);
        EXPECT_EQ(raw->GetRefCount(), 2);
        CQPathIterator c;
        c = b;
        EXPECT_EQ(raw->GetRefCount(), 3);
    }
    EXPECT_EQ(raw->GetRefCount(), 1);
    raw->Reference();
    ASSERT_TRUE(a.CreateCubics(path));  // releases the old one first
    EXPECT_EQ(raw->GetRefCount(), 1);
    QGDI_PathIteratorUnreference(raw);
    QGDI_PathIteratorUnreference(nullptr);
    EXPECT_EQ(QGDI_PathIteratorCreateFlat(nullptr, 0.05, nullptr), nullptr);
}

TEST(PathIterator, FlatStreamIsLinesWithinTheFlatness) {
    CQPath path;
    path.CreateEllipse({-40, -20, 40, 20});
    const double m[9] = {2, 0, 0, 0, 2, 0, 0, 0, 1};
    for (double f : {0.05, 0.5}) {
        CQPathIterator it;
        ASSERT_TRUE(it.CreateFlat(path, f, m));
        SQPATHCMD c;
        int lines = 0;
        while (it.Next(c)) {
            ASSERT_TRUE(c.command == keCmdMoveTo || c.command == keCmdLineTo || c.command == keCmdClosePath);
            // Device points on the doubled ellipse.
            EXPECT_NEAR(std::hypot(c.end.x / 80, c.end.y / 40), 1.0, 3e-4);
            lines += c.command == keCmdLineTo;
        }
        EXPECT_GT(lines, 8);
        SQRECT box;
        ASSERT_TRUE(it.GetBBox(box));
        EXPECT_NEAR(box.right, 80, 1e-9);
        EXPECT_NEAR(box.top, -40, 1e-9);
    }
}

// Total length of the dashes and their count.
std::pair<double, int> Measure(CQPathIterator& it) {
    double len = 0;
    int n = 0;
    SQPOINT prev{0, 0}, start{0, 0};
    SQPATHCMD c;
    it.Reset();
    while (it.Next(c)) {
        if (c.command == keCmdMoveTo) {
            ++n;
            start = c.end;
        } else if (c.command == keCmdLineTo) {
            len += Dist(prev, c.end);
        } else if (c.command == keCmdClosePath) {
            len += Dist(prev, start);
        }
        prev = c.end;
    }
    return {len, n};
}

TEST(Dash, ClosedSquareSumsToThePattern) {
    CQPath sq;
    sq.CreateRect({0, 0, 10, 10});  // perimeter 40
    struct {
        std::vector<double> pattern;
        double offset;
        double on;
        int dashes;
    } cases[] = {
        {{3, 2}, 0, 24, 8},   // eight whole periods
        {{3, 2}, 1, 24, 8},   // the dash over the start is one dash
        {{3, 2}, -4, 24, 8},  // negative offsets wrap
        {{3}, 0, 21, 7},      // odd lists repeat: 3 on 3 off, 40 = 6*6 + 4 and the last 3 on join the first
        {{0, 0}, 0, 40, 1},   // all zero: the outline itself
        {{0, 5}, 0, 0, 8},    // zero-length dashes stay as dots
        {{4, 1, 2, 3}, 2, 24, 8},
    };
    for (const auto& c : cases) {
        CQPathIterator it;
        const SQDASH dash{c.pattern.data(), int(c.pattern.size()), c.offset};
        ASSERT_TRUE(it.CreateDashed(sq, dash)) << c.pattern.size();
        const auto [len, n] = Measure(it);
        EXPECT_NEAR(len, c.on, 1e-9) << c.pattern[0] << " offset " << c.offset;
        EXPECT_EQ(n, c.dashes) << c.pattern[0] << " offset " << c.offset;
    }
}

TEST(Dash, OpenPathsAndBadPatterns) {
    CQPath line;
    line.MoveTo(0, 0);
    line.LineTo(10, 0);
    const double p[] = {3, 2};
    CQPathIterator it;
    ASSERT_TRUE(it.CreateDashed(line, SQDASH{p, 2, 0}));
    const auto [len, n] = Measure(it);
    EXPECT_NEAR(len, 6, 1e-12);  // 0-3, 5-8
    EXPECT_EQ(n, 2);
    const double neg[] = {3, -1};
    EXPECT_FALSE(it.CreateDashed(line, SQDASH{neg, 2, 0}));
    const double nan[] = {NAN, 1};
    EXPECT_FALSE(it.CreateDashed(line, SQDASH{nan, 2, 0}));
    EXPECT_FALSE(it.CreateDashed(line, SQDASH{nullptr, 2, 0}));
    EXPECT_FALSE(it.CreateDashed(line, SQDASH{p, 2, INFINITY}));
    // Far too many dashes for the outline: refused rather than unbounded.
    CQPath huge;
    huge.CreateRect({0, 0, 1e9, 1e9});
    const double tiny[] = {1e-3, 1e-3};
    EXPECT_FALSE(it.CreateDashed(huge, SQDASH{tiny, 2, 0}));
    EXPECT_TRUE(it.IsEmpty());
}

TEST(PathIterator, CubicStreamKeepsTheGeometry) {
    CQPath p;
    p.MoveTo(0, 0);
    p.LineTo(10, 0);
    p.QuadraticCurveTo({20, 0}, {20, 10});
    p.ArcTo({10, 10}, 0, false, true, {0, 10});
    p.ClosePath();
    CQPathIterator it;
    ASSERT_TRUE(it.CreateCubics(p));
    SQPATHCMD c;
    SQPOINT cur{0, 0};
    double len = 0;
    while (it.Next(c)) {
        ASSERT_NE(c.command, keCmdLineTo);
        ASSERT_NE(c.command, keCmdArcTo);
        if (c.command == keCmdCubicCurveTo) {
            const SQPOINT q[4] = {cur, c.a, c.b, c.end};
            len += QGDI_CubicBezierGetLength(q);
        }
        cur = c.end;
    }
    EXPECT_NEAR(len, QGDI_ContourGetLength(p.GetPath()->first), 1e-9);
    SQRECT tight, loose;
    ASSERT_TRUE(it.GetBBox(tight));
    ASSERT_TRUE(it.GetLooseBBox(loose));
    EXPECT_LE(loose.left, tight.left);
    EXPECT_GE(loose.right, tight.right);
    // The stream read back as a curve measures the same.
    CQCurve curve;
    ASSERT_TRUE(it.AsCurve(curve));
    EXPECT_NEAR(curve.GetLength(), len, 1e-9);
    EXPECT_TRUE(curve.GetClosed());
    CQPathIterator none;
    EXPECT_FALSE(none.AsCurve(curve));
}

}  // namespace

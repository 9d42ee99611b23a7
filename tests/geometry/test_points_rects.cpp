#include <gtest/gtest.h>

#include "geometry/geometry.h"

namespace {

TEST(QSize, RoundsTiesToEven) {
    struct {
        double v;
        LONG r;
    } cases[] = {{0.5, 0},    {1.5, 2},   {2.5, 2},          {-0.5, 0},         {-1.5, -2},
                 {2.4999, 2}, {-2.6, -3}, {1e20, INT32_MAX}, {-1e20, INT32_MIN}};
    for (const auto& c : cases) {
        CQSize s(c.v, -c.v);
        CSize out;
        s.Round(out);
        EXPECT_EQ(out.cx, c.r) << c.v;
        EXPECT_EQ(s.RoundX(), c.r);
        EXPECT_EQ(s.RoundY(), c.r == INT32_MIN ? INT32_MAX : (c.r == INT32_MAX ? INT32_MIN : -c.r));
    }
}

TEST(QRect, EmptinessAndNormalisation) {
    struct {
        CQRect rc;
        bool empty, null;
    } cases[] = {{{0, 0, 0, 0}, true, true},
                 {{0, 0, 5e-7, 10}, true, false},
                 {{0, 0, 1e-6, 1e-6}, false, false},
                 {{5, 5, 1, 1}, false, false},
                 {{1e-7, 0, 0, 0}, true, true}};
    for (const auto& c : cases) {
        EXPECT_EQ(c.rc.IsRectEmpty(), c.empty);
        EXPECT_EQ(c.rc.IsRectNull(), c.null);
    }
    CQRect r(5, 8, 1, 2);
    r.Normalize();
    EXPECT_TRUE(r == CQRect(1, 2, 5, 8));
    EXPECT_DOUBLE_EQ(r.Width(), 4);
    EXPECT_TRUE(r.CenterPoint() == CQPoint(3, 5));
}

TEST(QRect, IntersectionAndUnion) {
    const CQRect a(0, 0, 10, 10), b(5, 5, 15, 15), far(20, 20, 30, 30), empty(3, 3, 3, 9);
    EXPECT_TRUE((a & b) == CQRect(5, 5, 10, 10));
    EXPECT_TRUE((a | b) == CQRect(0, 0, 15, 15));
    CQRect r;
    EXPECT_FALSE(r.IntersectRect(a, far));
    EXPECT_TRUE(r.IsRectNull());
    EXPECT_TRUE(r.UnionRect(a, empty));
    EXPECT_TRUE(r == a);
    EXPECT_TRUE(r.UnionRect(empty, b));
    EXPECT_TRUE(r == b);
    CQRect c = a;
    c &= b;
    c |= far;
    EXPECT_TRUE(c == CQRect(5, 5, 30, 30));
}

TEST(QRect, PointsOffsetsAndConversions) {
    const CQRect a(0, 0, 10, 10);
    struct {
        SQPOINT p;
        bool in;
    } cases[] = {{{0, 0}, true}, {{9.999, 5}, true}, {{10, 5}, false}, {{5, -0.001}, false}};
    for (const auto& c : cases) EXPECT_EQ(a.PtInRect(c.p), c.in);

    CQRect r = a;
    r += SQPOINT{1, 2};
    r.InflateRect(1, 2, 3, 4);
    EXPECT_TRUE(r == CQRect(0, 0, 14, 16));
    r -= SQPOINT{1, 1};
    EXPECT_TRUE(r.TopLeft() == CQPoint(-1, -1));

    const CQRect d(-1.5, -0.5, 2.5, 3.7);
    CRect cast, bound;
    d.CastRect(cast);
    d.GetBoundingRect(bound);
    EXPECT_EQ(cast, CRect(-1, 0, 2, 3));
    EXPECT_EQ(bound, CRect(-2, -1, 3, 4));
    CQRect fromInt(RECT{1, 2, 3, 4});
    EXPECT_TRUE(fromInt == CQRect(1, 2, 3, 4));
}

TEST(QRect, CompareIsLexicographicWithTolerance) {
    const CQRect base(1, 2, 3, 4);
    struct {
        CQRect other;
        int expected;
    } cases[] = {
        {{1, 2, 3, 4}, 0}, {{1 + 5e-7, 2, 3, 4}, 0}, {{0, 9, 9, 9}, 1}, {{1, 3, 0, 0}, -1}, {{1, 2, 3, 5}, -1}};
    for (const auto& c : cases) EXPECT_EQ(base.Compare(c.other), c.expected);
}

TEST(QPoint, RoundingAndArithmetic) {
    CPoint p;
    CQPoint(2.5, -3.5).Round(p);
    EXPECT_EQ(p, CPoint(2, -4));
    CQPoint(2.9, -3.9).CastPoint(p);
    EXPECT_EQ(p, CPoint(2, -3));
    CQPoint z;
    EXPECT_FALSE(z.Normalize());
}

}  // namespace

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <memory>
#include <tuple>
#include <utility>
#include <vector>

#include "box_util.h"
#include "deformation/deformation.h"
#include "geometry/Random.h"

namespace {

using Map = std::unique_ptr<CCoordinator>;

std::vector<POINT> Row(CCoordinator& m, int y, int x, int count) {
    std::vector<POINT> out(static_cast<size_t>(count));
    m.GetCoordinates(out.data(), y, x, count);
    return out;
}

TEST(CCoordinatorMatrix, IdentityRealisesTheSourceSizeAndExactRows) {
    CCoordinatorMatrix m;
    ASSERT_TRUE(m.Realize(100, 50));
    EXPECT_EQ(std::pair(m.GetWidth(), m.GetHeight()), std::pair(100, 50));
    const auto row = Row(m, 7, 3, 2);
    EXPECT_EQ(std::tuple(row[0].x, row[0].y, row[1].x, row[1].y), std::tuple(768, 1792, 1024, 1792));
}

struct RealiseCase {
    const char* name;
    double m[9];
    int srcW, srcH, dstW, dstH;
};

class MatrixRealise : public ::testing::TestWithParam<RealiseCase> {};

TEST_P(MatrixRealise, DestinationSize) {
    const RealiseCase& c = GetParam();
    CCoordinatorMatrix m(c.m);
    ASSERT_TRUE(m.Realize(c.srcW, c.srcH));
    EXPECT_EQ(std::pair(m.GetWidth(), m.GetHeight()), std::pair(c.dstW, c.dstH));
}

INSTANTIATE_TEST_SUITE_P(
    Matrices, MatrixRealise,
    ::testing::Values(
        // Source corner 99 lands at 49.5, widened to 50.5 before the outward conversion.
        RealiseCase{"HalfSize", {2, 0, 0, 0, 2, 0, 0, 0, 1}, 100, 100, 51, 51},
        RealiseCase{"DoubleSize", {0.5, 0, 0, 0, 0.5, 0, 0, 0, 1}, 100, 40, 199, 79},
        // Translation moves the box but not its size; a fraction widens it by one.
        RealiseCase{"Shift", {1, 0, 10, 0, 1, -3, 0, 0, 1}, 30, 20, 30, 20},
        RealiseCase{"HalfPixelShift", {1, 0, 0.5, 0, 1, 0, 0, 0, 1}, 30, 20, 31, 20},
        // Rounding noise of a quarter turn stays inside the tolerance.
        RealiseCase{
            "QuarterTurn", {6.123233995736766e-17, 1, 0, -1, 6.123233995736766e-17, 99, 0, 0, 1}, 100, 50, 50, 100},
        // Homogeneous scale 2 halves the image like the linear one.
        RealiseCase{"Homogeneous", {1, 0, 0, 0, 1, 0, 0, 0, 0.5}, 100, 100, 51, 51}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(CCoordinatorMatrix, DegenerateMatricesDoNotRealise) {
    const double singular[9] = {1, 2, 0, 2, 4, 0, 0, 0, 1};
    CCoordinatorMatrix a(singular);
    EXPECT_FALSE(a.Realize(10, 10));
    EXPECT_EQ(a.GetWidth(), 0);
    // The source-to-destination w = 1 − x/5 is 0 on the column x = 5: a corner beyond the horizon.
    const double horizon[9] = {1, 0, 0, 0, 1, 0, -0.2, 0, 1};
    double inv[9];
    ASSERT_TRUE(QGDI_MatrixGetInverse(horizon, inv));
    CCoordinatorMatrix b(inv);
    EXPECT_FALSE(b.Realize(10, 10));
    CCoordinatorMatrix c;
    EXPECT_FALSE(c.Realize(0, 10));
}

TEST(CCoordinator, ResultRectIsCentred) {
    CCoordinatorMatrix m;
    ASSERT_TRUE(m.Realize(50, 50));
    RECT out;
    // Larger than the frame (the last case): negative offsets truncate toward zero.
    const RECT frames[3][2] = {
        {{0, 0, 101, 101}, {25, 25, 75, 75}}, {{10, 20, 60, 70}, {10, 20, 60, 70}}, {{0, 0, 47, 47}, {-1, -1, 49, 49}}};
    for (const auto& f : frames) {
        m.GetResultRect(f[0], out);
        EXPECT_TRUE(EqualRect(&out, &f[1])) << out.left << "," << out.top << "," << out.right << "," << out.bottom;
    }
}

TEST(QGDI_ResampleGetCoordinates256, TiesRoundToEven) {
    // Translations by k/512 pixel land exactly on halves of 1/256.
    struct Case {
        double shift;
        int expected[3];
    };
    for (auto c : {Case{0.5 / 256, {0, 256, 512}}, Case{1.5 / 256, {2, 258, 514}}, Case{2.5 / 256, {2, 258, 514}},
                   Case{-0.5 / 256, {0, 256, 512}}, Case{-1.5 / 256, {-2, 254, 510}}}) {
        const double m[9] = {1, 0, c.shift, 0, 1, 0, 0, 0, 1};
        POINT out[3];
        QGDI_ResampleGetCoordinates256(out, 3, 0, 0, m);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(out[i].x, c.expected[i]) << c.shift << " #" << i;
    }
}

TEST(QGDI_ResampleGetCoordinates256, HandComputedPerspectiveRow) {
    // w = 1 + x/1000: the pixel (1000, 10) samples (500, 5).
    const double m[9] = {1, 0, 0, 0, 1, 0, 0.001, 0, 1};
    POINT out[2];
    QGDI_ResampleGetCoordinates256(out, 2, 1000, 10, m);
    // The second pixel: (1001·256/2.001, 2560/2.001) rounded.
    EXPECT_EQ(std::tuple(out[0].x, out[0].y, out[1].x, out[1].y),
              std::tuple(128000, 1280, std::lround(1001 * 256 / 2.001), std::lround(2560 / 2.001)));
}

// The stepped rows agree with the plain scalar recurrence bit for bit, and with
// a direct evaluation per pixel to within one unit.
TEST(QGDI_ResampleGetCoordinates256, MatchesScalarRecurrenceAndDirectEvaluation) {
    CRandom rnd(77);
    auto r = [&](double lo, double hi) { return lo + rnd.GetDecimal() * (hi - lo); };
    for (int trial = 0; trial < 60; ++trial) {
        const bool perspective = trial % 2 == 1;
        const double m[9] = {r(-2, 2),
                             r(-2, 2),
                             r(-500, 500),
                             r(-2, 2),
                             r(-2, 2),
                             r(-500, 500),
                             perspective ? r(-1e-4, 1e-4) : 0.0,
                             perspective ? r(-1e-4, 1e-4) : 0.0,
                             perspective ? r(0.8, 1.2) : 1.0};
        const int x = static_cast<int>(r(-100, 100)), y = static_cast<int>(r(-100, 100)), count = 1 + trial * 37;
        std::vector<POINT> out(static_cast<size_t>(count));
        QGDI_ResampleGetCoordinates256(out.data(), count, x, y, m);
        double X = (m[0] * x + m[1] * y + m[2]) * 256, Y = (m[3] * x + m[4] * y + m[5]) * 256,
               W = m[6] * x + m[7] * y + m[8];
        for (int i = 0; i < count; ++i) {
            const double ex = perspective ? X / W : X, ey = perspective ? Y / W : Y;
            ASSERT_EQ(out[static_cast<size_t>(i)].x, static_cast<LONG>(std::nearbyint(ex))) << trial << " #" << i;
            ASSERT_EQ(out[static_cast<size_t>(i)].y, static_cast<LONG>(std::nearbyint(ey))) << trial << " #" << i;
            X += m[0] * 256;
            Y += m[3] * 256;
            W += m[6];
            const long double px = x + i, py = y;
            const long double w = perspective ? m[6] * px + m[7] * py + m[8] : 1.0L;
            EXPECT_LE(std::fabs(out[static_cast<size_t>(i)].x - (m[0] * px + m[1] * py + m[2]) * 256 / w), 1.0L);
            EXPECT_LE(std::fabs(out[static_cast<size_t>(i)].y - (m[3] * px + m[4] * py + m[5]) * 256 / w), 1.0L);
        }
    }
}

TEST(QGDI_ResampleGetCoordinates256, UnrepresentablePositionsAreFarOutside) {
    const double m[9] = {1e12, 0, 0, 0, 1, 0, 0, 0, 1};
    POINT out[2];
    QGDI_ResampleGetCoordinates256(out, 2, 1, 0, m);
    EXPECT_EQ(out[0].x, INT_MIN);
    QGDI_ResampleGetCoordinates256(nullptr, 2, 0, 0, m);
    QGDI_ResampleGetCoordinates256(out, 0, 0, 0, m);
}

TEST(CCoordinatorMatrix, RectangleCoordinatesAndCornerBox) {
    // A turn by 30° and a perspective: the corner box equals the box of all points.
    CQMatrix3x3 turn;
    turn.RotateAngle(30);
    turn.Translate(5, -7);
    CQMatrix3x3 persp(1, 0.1, 3, -0.2, 1, 4, 0.0005, 0.0003, 1);
    for (const CQMatrix3x3* mat : {&turn, &persp}) {
        CCoordinatorMatrix m(*mat);
        const RECT rc{-5, 3, 40, 31};
        std::vector<POINT> pts(45 * 28);
        RECT box{}, shortcut{};
        m.GetCoordinates(pts.data(), rc, &box);
        ASSERT_TRUE(m.GetBBox(&shortcut, rc));
        const RECT all = BoxOfPoints(pts);
        EXPECT_TRUE(EqualRect(&box, &all));
        EXPECT_TRUE(EqualRect(&shortcut, &all));
        // Row by row through the public row function.
        for (int j = 0; j < 28; ++j) {
            const auto row = Row(m, rc.top + j, rc.left, 45);
            ASSERT_TRUE(std::equal(row.begin(), row.end(), pts.begin() + j * 45,
                                   [](const POINT& a, const POINT& b) { return a.x == b.x && a.y == b.y; }));
        }
    }
}

TEST(CCoordinatorMatrix, EmptyRectangleWritesNothing) {
    CCoordinatorMatrix m;
    POINT guard{12345, 678};
    RECT box{1, 2, 3, 4};
    m.GetCoordinates(&guard, RECT{5, 5, 5, 9}, &box);
    EXPECT_EQ(guard.x, 12345);
    EXPECT_TRUE(::IsRectEmpty(&box));
}

// A minimal map to reach the base behaviour: sx = x², sy = y.
class CSquareMap : public CCoordinator {
public:
    using CCoordinator::GetCoordinates;
    void GetCoordinates(POINT* out, int y, int x, int count) override {
        for (int i = 0; i < count; ++i) out[i] = POINT{(x + i) * (x + i) * 256, y * 256};
    }
};

TEST(CCoordinator, BaseBoxComesFromThePerimeter) {
    CSquareMap m;
    ASSERT_TRUE(m.Realize(7, 3));
    EXPECT_EQ(m.GetWidth(), 7);
    // Over x = −3..2 the interior column x = 0 holds the minimum 0, which the
    // perimeter (x = −3 and x = 2 at the ends of each row, all of the first and
    // last rows) still contains because rows run across the whole width.
    std::vector<POINT> pts(6 * 3);
    RECT box;
    m.GetCoordinates(pts.data(), RECT{-3, 1, 3, 4}, &box);
    const RECT want{0, 256, 9 * 256 + 1, 3 * 256 + 1};
    EXPECT_TRUE(EqualRect(&box, &want)) << box.left << "," << box.top << "," << box.right << "," << box.bottom;
    EXPECT_FALSE(m.GetBBox(&box, RECT{0, 0, 1, 1}));
}

struct FactoryCase {
    const char* name;
    std::function<CCoordinator*()> make;
    int srcW, srcH, dstW, dstH;
    // Destination pixels and the source pixels they must sample.
    std::vector<std::array<double, 4>> points;
};

class MatrixFactories : public ::testing::TestWithParam<FactoryCase> {};

TEST_P(MatrixFactories, SizesAndPoints) {
    const FactoryCase& c = GetParam();
    Map m(c.make());
    ASSERT_TRUE(m);
    ASSERT_TRUE(m->Realize(c.srcW, c.srcH));
    EXPECT_EQ(std::pair(m->GetWidth(), m->GetHeight()), std::pair(c.dstW, c.dstH));
    for (const auto& p : c.points) {
        POINT out;
        m->GetCoordinates(&out, static_cast<int>(p[1]), static_cast<int>(p[0]), 1);
        EXPECT_TRUE(std::fabs(out.x / 256.0 - p[2]) <= 1.0 / 256 && std::fabs(out.y / 256.0 - p[3]) <= 1.0 / 256)
            << p[0] << "," << p[1] << " -> " << out.x / 256.0 << "," << out.y / 256.0;
    }
}

const CQPoint kSquashed[4] = {{10, 0}, {90, 0}, {100, 50}, {0, 50}};

INSTANTIATE_TEST_SUITE_P(
    Factories, MatrixFactories,
    ::testing::Values(
        FactoryCase{
            "Flip", [] { return Create_CCoordinatorFlip(); }, 40, 30, 40, 30, {{{0, 0, 0, 29}}, {{5, 29, 5, 0}}}},
        FactoryCase{
            "Mirror", [] { return Create_CCoordinatorMirror(); }, 40, 30, 40, 30, {{{0, 0, 39, 0}}, {{39, 7, 0, 7}}}},
        // Clockwise: the bottom-left corner of the source comes to the top-left.
        FactoryCase{"Rotate90",
                    [] { return Create_CCoordinatorRotate(90); },
                    100,
                    50,
                    50,
                    100,
                    {{{0, 0, 0, 49}}, {{49, 0, 0, 0}}, {{0, 99, 99, 49}}}},
        FactoryCase{"Rotate0", [] { return Create_CCoordinatorRotate(0); }, 64, 48, 64, 48, {{{17, 9, 17, 9}}}},
        FactoryCase{"Scale",
                    [] { return Create_CCoordinatorScale(2, 0.5); },
                    100,
                    50,
                    199,
                    26,
                    {{{10, 10, 5, 20}}, {{198, 24, 99, 48}}}},
        FactoryCase{"ScaleMirrors", [] { return Create_CCoordinatorScale(-1, 1); }, 20, 10, 20, 10, {{{0, 3, 19, 3}}}},
        FactoryCase{"Skew",
                    [] { return Create_CCoordinatorSkew(45, 0); },
                    11,
                    11,
                    21,
                    11,
                    {{{15, 5, 10, 5}}, {{10, 10, 0, 10}}}},
        // The right edge shrinks to half the height about its middle.
        FactoryCase{"HPerspective",
                    [] { return Create_CCoordinatorHPerspective(0.5); },
                    101,
                    101,
                    101,
                    101,
                    {{{100, 25, 100, 0}}, {{100, 50, 100, 50}}, {{100, 10, 100, -30}}, {{0, 77, 0, 77}}}},
        FactoryCase{"VPerspective",
                    [] { return Create_CCoordinatorVPerspective(-0.5); },
                    101,
                    101,
                    101,
                    101,
                    {{{25, 0, 0, 0}}, {{50, 0, 50, 0}}, {{13, 100, 13, 100}}}},
        FactoryCase{"Quadrilateral",
                    [] { return Create_CCoordinatorMatrixPerspective(kSquashed, CSize(101, 51), false); },
                    101,
                    51,
                    101,
                    51,
                    {{{10, 0, 0, 0}}, {{90, 0, 100, 0}}, {{0, 50, 0, 50}}, {{50, 0, 50, 0}}}},
        // A source realised at twice the size is stretched onto the same quadrilateral.
        FactoryCase{"QuadrilateralRescaled",
                    [] { return Create_CCoordinatorMatrixPerspective(kSquashed, CSize(101, 51), true); },
                    201,
                    101,
                    101,
                    51,
                    {{{90, 0, 200, 0}}, {{0, 50, 0, 100}}}}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace

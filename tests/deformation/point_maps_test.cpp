#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "box_util.h"
#include "deformation/deformation.h"

namespace {

using Map = std::unique_ptr<CCoordinator>;

constexpr double kUnit = 1.0 / 256;

// Source positions in pixels of a whole W x H destination.
std::vector<POINT> Grid(CCoordinator& m, int w, int h) {
    std::vector<POINT> out(static_cast<size_t>(w) * h);
    RECT box;
    m.GetCoordinates(out.data(), RECT{0, 0, w, h}, &box);
    return out;
}

void ExpectPoint(CCoordinator& m, double x, double y, double sx, double sy, double tol = kUnit) {
    POINT p;
    m.GetCoordinates(&p, static_cast<int>(y), static_cast<int>(x), 1);
    EXPECT_NEAR(p.x / 256.0, sx, tol) << "at " << x << "," << y;
    EXPECT_NEAR(p.y / 256.0, sy, tol) << "at " << x << "," << y;
}

// ---- Hand-computed points.

struct PointCase {
    const char* name;
    std::function<CCoordinator*()> make;
    int w, h;
    std::vector<std::array<double, 4>> points;  // x, y → sx, sy
};

class PointMaps : public ::testing::TestWithParam<PointCase> {};

TEST_P(PointMaps, HandComputedPoints) {
    const PointCase& c = GetParam();
    Map m(c.make());
    ASSERT_TRUE(m);
    ASSERT_TRUE(m->Realize(c.w, c.h));
    EXPECT_EQ(std::pair(m->GetWidth(), m->GetHeight()), std::pair(c.w, c.h));
    for (const auto& p : c.points) ExpectPoint(*m, p[0], p[1], p[2], p[3]);
}

const double kLens[4] = {0.25, 0.25, 0.75, 0.75};

INSTANTIATE_TEST_SUITE_P(
    Maps, PointMaps,
    ::testing::Values(
        // θ = 90°·(1 − 25/50)² = 22.5°: the point above the centre samples the
        // source 22.5° further anticlockwise.
        PointCase{"Twirl",
                  [] { return Create_CCoordinatorTwirl(90); },
                  101,
                  101,
                  {{{50, 25, 40.43291419, 26.90301169}}, {{50, 50, 50, 50}}, {{0, 0, 0, 0}}}},
        // r = 0.5: bulge r' = (2/π)·asin 0.5 = 1/3, pinch r' = sin(π/4).
        PointCase{"SpherizeBulge",
                  [] { return Create_CCoordinatorSpherize(100, keSpherizeNormal); },
                  101,
                  101,
                  {{{75, 50, 50 + 50.0 / 3, 50}}, {{50, 50, 50, 50}}, {{100, 100, 100, 100}}}},
        PointCase{"SpherizePinch",
                  [] { return Create_CCoordinatorSpherize(-100, keSpherizeNormal); },
                  101,
                  101,
                  {{{75, 50, 50 + 50 * std::sqrt(0.5), 50}}}},
        PointCase{"SpherizeHorizontal",
                  [] { return Create_CCoordinatorSpherize(100, keSpherizeHorizontal); },
                  101,
                  101,
                  {{{50, 75, 50, 75}}, {{75, 50, 50 + 50.0 / 3, 50}}}},
        PointCase{"Wave",
                  [] { return Create_CCoordinatorWave(5, 40, 3, 20); },
                  50,
                  50,
                  {{{10, 10, 15, 10}}, {{5, 20, 5, 23}}, {{0, 0, 0, 0}}}},
        // r² = 2500/5000: barrel s = 0.5/0.75, pincushion s = 1.5/1.25.
        PointCase{"Barrel",
                  [] { return Create_CCoordinatorBarrel(50, true, true, 50, 50, keEdgeConstant); },
                  101,
                  101,
                  {{{100, 50, 50 + 100.0 / 3, 50}}, {{100, 100, 100, 100}}}},
        PointCase{"BarrelHorizontalOnly",
                  [] { return Create_CCoordinatorBarrel(50, true, false, 50, 50, keEdgeConstant); },
                  101,
                  101,
                  {{{50, 100, 50, 100}}}},
        PointCase{"Pincushion",
                  [] { return Create_CCoordinatorPincushion(50, true, true, 50, 50); },
                  101,
                  101,
                  {{{100, 50, 110, 50}}}},
        PointCase{"PincushionClamped",
                  [] { return Create_CCoordinatorBarrel(-50, true, true, 50, 50, keEdgeClamp); },
                  101,
                  101,
                  {{{100, 50, 100, 50}}, {{80, 50, 50 + 30 * 1.5 / (1 + 0.5 * 0.18), 50}}}},
        PointCase{"PincushionWrapped",
                  [] { return Create_CCoordinatorBarrel(-50, true, true, 50, 50, keEdgeWrap); },
                  101,
                  101,
                  {{{100, 50, 9, 50}}}},
        // tan(0.5·85°)/tan 85°/0.5 at r = 0.5.
        PointCase{"FishEye",
                  [] { return Create_CCoordinatorFishEye(100, true, true, false, 50, 50, keEdgeConstant); },
                  101,
                  101,
                  {{{75, 75, 54.00842949, 54.00842949}}, {{100, 100, 100, 100}}}},
        PointCase{"FishEyeCircle",
                  [] { return Create_CCoordinatorFishEye(100, true, true, true, 50, 50, keEdgeConstant); },
                  101,
                  101,
                  {{{100, 100, 100, 100}}, {{100, 50, 100, 50}}}},
        PointCase{
            "Offset", [] { return Create_CCoordinatorOffset(10, -3); }, 100, 50, {{{5, 1, 95, 4}}, {{10, 47, 0, 0}}}},
        PointCase{"ToPolar",
                  [] { return Create_CCoordinatorPolar(true); },
                  101,
                  101,
                  {{{50, 0, -0.5, 100}}, {{100, 50, 24.75, 100}}, {{50, 75, 50, 50}}}},
        PointCase{"FromPolar",
                  [] { return Create_CCoordinatorPolar(false); },
                  101,
                  101,
                  {{{0, 100, 51.55499311, 0.02418589}}, {{30, 0, 50, 50}}}},
        PointCase{"Circle",
                  [] { return Create_CCoordinatorCircle(); },
                  101,
                  101,
                  {{{100, 50, 100, 50}},
                   {{75, 75, 50 + 25 * std::sqrt(2.0), 50 + 25 * std::sqrt(2.0)}},
                   {{100, 100, 50 + 50 * std::sqrt(2.0), 50 + 50 * std::sqrt(2.0)}}}},
        // The top vertex stays; the right-hand point of the pentagon's boundary
        // lies at cos 36°/cos 18° of the radius and goes to the square's edge.
        PointCase{"Pentagon",
                  [] { return Create_CCoordinatorPentagon(); },
                  101,
                  101,
                  {{{50, 0, 50, 0}}, {{100, 50, 108.77852523, 50}}}},
        PointCase{"Thinify",
                  [] { return Create_CCoordinatorThinify(0.5, 0); },
                  101,
                  101,
                  {{{75, 50, 81.25, 50}}, {{100, 9, 100, 9}}}},
        PointCase{
            "HCylinder", [] { return Create_CCoordinatorHCylinder(1); }, 101, 101, {{{75, 50, 50 + 50.0 / 3, 50}}}},
        PointCase{"VCylinderConcave",
                  [] { return Create_CCoordinatorVCylinder(-1); },
                  101,
                  101,
                  {{{50, 75, 50, 50 + 50 * std::sqrt(0.5)}}}},
        // Wedges of 90° mirrored in turn: left and right of the downward axis sample the same point.
        PointCase{"Kaleidoscope",
                  [] { return Create_CCoordinatorKaleidoscope(4, 1, 0.5, 0.5, 0, 0, 1); },
                  101,
                  101,
                  {{{60, 80, 60, 80}}, {{40, 80, 60, 80}}}},
        PointCase{"Mosaic",
                  [] { return Create_CCoordinatorMosaicAdvanced(10, 10, 0, 2, 0); },
                  100,
                  100,
                  {{{49, 49, 46.75, 46.75}}}},
        PointCase{"Rays",
                  [] { return Create_CCoordinatorRays(4, 0, 0.5, 0, 0); },
                  101,
                  101,
                  {{{100, 50, 75, 50}}, {{75, 25, 75, 25}}}},
        PointCase{"Reflections",
                  [] { return Create_CCoordinatorReflections(0, 20, 0, 10, 2); },
                  50,
                  40,
                  {{{5, 25, 5, 15}}, {{5, 22, 6.90211303, 18}}, {{5, 10, 5, 10}}}},
        PointCase{"ReflectionsVertical",
                  [] { return Create_CCoordinatorReflections(1, 20, 1, 10, 0); },
                  50,
                  40,
                  {{{15, 3, 25, 3}}, {{30, 3, 30, 3}}}},
        PointCase{"OrnamentMirror",
                  [] { return Create_CCoordinatorOrnament(10, 10, keOrnamentMirror, 0, 0, 1, 0, 0); },
                  50,
                  50,
                  {{{13, 4, 6, 4}}, {{23, 4, 3, 4}}}},
        PointCase{"OrnamentQuarterTurn",
                  [] { return Create_CCoordinatorOrnament(10, 10, keOrnamentQuarterTurn, 0, 0, 1, 0, 0); },
                  50,
                  50,
                  {{{13, 4, 4, 6}}, {{3, 4, 3, 4}}, {{13, 14, 6, 5}}}},
        PointCase{"RectangularLens",
                  [] { return Create_CCoordinatorRectangularLens4(2, kLens, 0); },
                  101,
                  101,
                  {{{60, 50, 55, 50}}, {{80, 50, 80, 50}}}},
        PointCase{"Glasses",
                  [] { return Create_CCoordinatorGlasses(50, 50, 20, 40, 2, 0); },
                  101,
                  101,
                  {{{75, 50, 72.65625, 50}}, {{30, 50, 30, 50}}, {{50, 90, 50, 90}}}},
        PointCase{
            "Warp", [] { return Create_CCoordinatorWarp(0.5, 0.5, 1, 1); }, 101, 101, {{{60, 50, 53.56827762, 50}}}},
        PointCase{"Ripple",
                  [] { return Create_CCoordinatorRipple(5, 20, 0, 0); },
                  101,
                  101,
                  {{{55, 50, 60, 50}}, {{60, 50, 60, 50}}, {{50, 50, 50, 50}}}},
        PointCase{"Curlicues",
                  [] { return Create_CCoordinatorCurlicues(20, 90, 0, 0, false); },
                  40,
                  40,
                  {{{10, 5, 8.08658284, 5.38060234}}, {{30, 25, 28.08658284, 25.38060234}}}}),
    [](const auto& info) { return std::string(info.param.name); });

// ---- Neutral settings and continuity, over every map with a continuous parameter.

constexpr int kW = 61, kH = 47;

struct ContinuityCase {
    const char* name;
    std::function<CCoordinator*(double)> make;
    double neutral;       // parameter of the identity, NaN when the map has none
    double lo, hi, step;  // sampled parameters and the small change
    double maxMove;       // largest move in pixels allowed for that change
    double share;         // share of points that must obey it (tiles and seams jump)
};

// Only positions on or next to the source matter: beyond a perspective's horizon
// or a strong minification they race away without being sampled.
bool NearSource(const POINT& p) { return p.x >= -256 && p.y >= -256 && p.x <= kW * 256 && p.y <= kH * 256; }

const double kNone = std::nan("");
const double kWholeLens[4] = {0.1, 0.2, 0.8, 0.9};

// clang-format off
const ContinuityCase kContinuity[] = {
    {"Matrix", [](double t) { CQMatrix3x3 m; m.RotateAngle(t); m.Scale(1 + t / 100, 1); return Create_CCoordinatorMatrix(m); }, 0, -30, 30, 1e-4, 0.01, 1},
    {"Rotate", [](double t) { return Create_CCoordinatorRotate(t); }, 0, -170, 170, 1e-4, 0.01, 1},
    {"Scale", [](double t) { return Create_CCoordinatorScale(1 + t, 1 - t / 2); }, 0, -0.5, 0.5, 1e-5, 0.01, 1},
    {"Skew", [](double t) { return Create_CCoordinatorSkew(t, -t / 2); }, 0, -40, 40, 1e-4, 0.01, 1},
    {"HPerspective", [](double t) { return Create_CCoordinatorHPerspective(t); }, 0, -0.9, 0.9, 1e-5, 0.01, 1},
    {"VPerspective", [](double t) { return Create_CCoordinatorVPerspective(t); }, 0, -0.9, 0.9, 1e-5, 0.01, 1},
    {"Quadrilateral", [](double t) {
         const CQPoint q[4] = {{t, 0}, {60, t / 2}, {60 - t, 46}, {0, 46 + t}};
         return Create_CCoordinatorMatrixPerspective(q, CSize(kW, kH), false); }, 0, -10, 10, 1e-4, 0.01, 1},
    {"Offset", [](double t) { return Create_CCoordinatorOffset(static_cast<int>(std::lround(t)), -static_cast<int>(std::lround(t))); }, 0, -4.2, 4.2, 1e-4, 0.01, 1},
    {"Thinify", [](double t) { return Create_CCoordinatorThinify(t, -t); }, 0, -0.9, 0.9, 1e-5, 0.01, 1},
    {"HCylinder", [](double t) { return Create_CCoordinatorHCylinder(t); }, 0, -1, 1, 1e-5, 0.01, 1},
    {"VCylinder", [](double t) { return Create_CCoordinatorVCylinder(t); }, 0, -1, 1, 1e-5, 0.01, 1},
    {"Twirl", [](double t) { return Create_CCoordinatorTwirl(t); }, 0, -720, 720, 1e-3, 0.01, 1},
    {"Ripple", [](double t) { return Create_CCoordinatorRipple(t, 12, 40, 0.5); }, 0, -8, 8, 1e-4, 0.01, 1},
    {"Warp", [](double t) { return Create_CCoordinatorWarp(0.4, 0.6, 0.7, t); }, 0, -1, 1, 1e-5, 0.01, 1},
    {"Wave", [](double t) { return Create_CCoordinatorWave(t, 17, -t, 23); }, 0, -6, 6, 1e-4, 0.01, 1},
    {"Curlicues", [](double t) { return Create_CCoordinatorCurlicues(16, t, 3, 5, true); }, 0, -360, 360, 1e-3, 0.01, 1},
    {"CurlicuesGrid", [](double t) { return Create_CCoordinatorCurlicues(16, 200, t, -t, false); }, kNone, -8, 8, 1e-4, 0.05, 1},
    // Integer amounts: one step of the percentage moves points by at most a few pixels.
    {"Barrel", [](double t) { return Create_CCoordinatorBarrel(static_cast<int>(t), true, true, 40, 55, keEdgeConstant); }, 0, -90, 90, 1, 1.5, 1},
    {"Pincushion", [](double t) { return Create_CCoordinatorPincushion(static_cast<int>(t), true, false, 50, 50); }, 0, -90, 90, 1, 1.5, 1},
    {"FishEye", [](double t) { return Create_CCoordinatorFishEye(static_cast<int>(t), true, true, false, 50, 50, keEdgeConstant); }, 0, -95, 95, 1, 1.5, 1},
    {"FishEyeCircle", [](double t) { return Create_CCoordinatorFishEye(static_cast<int>(t), true, true, true, 50, 50, keEdgeConstant); }, 0, -95, 95, 1, 1.5, 1},
    {"Spherize", [](double t) { return Create_CCoordinatorSpherize(static_cast<int>(t), keSpherizeNormal); }, 0, -100, 99, 1, 1.0, 1},
    {"SpherizeVertical", [](double t) { return Create_CCoordinatorSpherize(static_cast<int>(t), keSpherizeVertical); }, 0, -100, 99, 1, 1.0, 1},
    {"Glasses", [](double t) { return Create_CCoordinatorGlasses(30, 20, 12, 26, 1 + t, 20); }, 0, -0.25, 5, 1e-4, 0.01, 0.99},
    {"Kaleidoscope", [](double t) { return Create_CCoordinatorKaleidoscope(1, 0, 0.45, 0.55, 30 + t, 30, 1 + t / 100); }, 0, -40, 40, 1e-4, 0.01, 1},
    {"KaleidoscopeWedges", [](double t) { return Create_CCoordinatorKaleidoscope(6, 1, 0.5, 0.5, t, 10, 1.5); }, kNone, -40, 40, 1e-4, 0.01, 0.98},
    {"Mosaic", [](double t) { return Create_CCoordinatorMosaicAdvanced(9, 7, 25, 1 + t, 0.5); }, 0, -0.5, 2, 1e-5, 0.01, 1},
    {"MosaicGrid", [](double t) { return Create_CCoordinatorMosaicAdvanced(9, 7, t, 1.7, 0.3); }, kNone, -29, 31, 1e-4, 0.01, 0.97},
    {"Rays", [](double t) { return Create_CCoordinatorRays(7, 1, t, 15, 1.5); }, 0, 0, 1, 1e-5, 0.01, 1},
    {"Reflections", [](double t) { return Create_CCoordinatorReflections(0, 30, 0, 9, t); }, kNone, -5, 5, 1e-4, 0.01, 1},
    {"Ornament", [](double t) { return Create_CCoordinatorOrnament(kW, kH, keOrnamentTranslate, 0, t, 1 + t / 100, t, -t); }, 0, -0.45, 0.55, 1e-5, 0.01, 0.98},
    {"OrnamentTiles", [](double t) { return Create_CCoordinatorOrnament(12, 10, keOrnamentMirror2, 1, 15, 1 + t, 4, 6); }, kNone, -0.5, 1, 1e-5, 0.01, 0.97},
    {"RectangularLens", [](double t) { return Create_CCoordinatorRectangularLens4(1 + t, kWholeLens, 0.4); }, 0, -0.5, 8, 1e-5, 0.01, 1},
};
// clang-format on

class Continuity : public ::testing::TestWithParam<ContinuityCase> {};

TEST_P(Continuity, NeutralSettingIsTheIdentity) {
    const ContinuityCase& c = GetParam();
    if (std::isnan(c.neutral)) GTEST_SKIP() << "no neutral setting";
    Map m(c.make(c.neutral));
    ASSERT_TRUE(m && m->Realize(kW, kH));
    EXPECT_EQ(std::pair(m->GetWidth(), m->GetHeight()), std::pair(kW, kH));
    const auto pts = Grid(*m, kW, kH);
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) {
            const POINT& p = pts[static_cast<size_t>(y) * kW + x];
            ASSERT_LE(std::abs(p.x - x * 256), 1) << x << "," << y;
            ASSERT_LE(std::abs(p.y - y * 256), 1) << x << "," << y;
        }
}

TEST_P(Continuity, SmallParameterChangeMovesLittle) {
    const ContinuityCase& c = GetParam();
    for (int k = 0; k <= 8; ++k) {
        const double t = c.lo + (c.hi - c.lo) * k / 8;
        Map a(c.make(t)), b(c.make(t + c.step));
        ASSERT_TRUE(a && b && a->Realize(kW, kH) && b->Realize(kW, kH));
        // Rows and columns of the destination common to both realisations.
        const int w = std::min(a->GetWidth(), b->GetWidth()), h = std::min(a->GetHeight(), b->GetHeight());
        std::vector<POINT> pa(static_cast<size_t>(w) * h), pb(pa.size());
        a->GetCoordinates(pa.data(), RECT{0, 0, w, h}, nullptr);
        b->GetCoordinates(pb.data(), RECT{0, 0, w, h}, nullptr);
        size_t good = 0, counted = 0;
        for (size_t i = 0; i < pa.size(); ++i) {
            if (!NearSource(pa[i])) continue;
            ++counted;
            if (std::abs(double(pa[i].x) - pb[i].x) <= c.maxMove * 256 &&
                std::abs(double(pa[i].y) - pb[i].y) <= c.maxMove * 256)
                ++good;
        }
        EXPECT_GT(counted, pa.size() / 4) << "at t = " << t;
        EXPECT_GE(double(good), c.share * counted) << "at t = " << t;
    }
}

INSTANTIATE_TEST_SUITE_P(AllMaps, Continuity, ::testing::ValuesIn(kContinuity),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- Bounding boxes: exact for point maps, from the shortcut where there is one.

TEST(PointMapBox, RectangleBoxCoversExactlyTheWrittenPoints) {
    const RECT rects[] = {{0, 0, kW, kH}, {5, 7, 20, 9}, {-4, -3, 3, 2}, {40, 30, 70, 60}};
    std::vector<Map> maps;
    maps.emplace_back(Create_CCoordinatorTwirl(200));
    maps.emplace_back(Create_CCoordinatorOffset(17, -9));
    maps.emplace_back(Create_CCoordinatorWave(4, 13, 2, 9));
    maps.emplace_back(Create_CCoordinatorFishEye(80, true, true, false, 30, 60, keEdgeWrap));
    for (auto& m : maps) {
        ASSERT_TRUE(m->Realize(kW, kH));
        for (const RECT& rc : rects) {
            const int w = rc.right - rc.left, h = rc.bottom - rc.top;
            std::vector<POINT> pts(static_cast<size_t>(w) * h);
            RECT box;
            m->GetCoordinates(pts.data(), rc, &box);
            const RECT all = BoxOfPoints(pts);
            EXPECT_TRUE(EqualRect(&box, &all));
            RECT shortcut;
            if (m->GetBBox(&shortcut, rc)) {
                EXPECT_TRUE(EqualRect(&shortcut, &all));
            }
        }
    }
}

TEST(PointMapBox, WrappedAndClampedPositionsStayInTheSource) {
    for (EEdgeMode edge : {keEdgeWrap, keEdgeClamp}) {
        Map m(Create_CCoordinatorBarrel(-90, true, true, 0, 100, edge));
        ASSERT_TRUE(m->Realize(kW, kH));
        RECT box;
        std::vector<POINT> pts(static_cast<size_t>(kW) * kH);
        m->GetCoordinates(pts.data(), RECT{0, 0, kW, kH}, &box);
        EXPECT_GE(box.left, 0);
        EXPECT_GE(box.top, 0);
        EXPECT_LE(box.right, (kW - 1) * 256 + 1 + (edge == keEdgeWrap ? 256 : 0));
        EXPECT_LE(box.bottom, (kH - 1) * 256 + 1 + (edge == keEdgeWrap ? 256 : 0));
    }
}

TEST(PointMaps, UnrealisedOrEmptySourcesAreRefused) {
    Map m(Create_CCoordinatorTwirl(30));
    EXPECT_FALSE(m->Realize(0, 5));
    EXPECT_FALSE(m->Realize(5, -1));
    RECT box;
    EXPECT_FALSE(m->GetBBox(&box, RECT{0, 0, 2, 2}));
    Map huge(Create_CCoordinatorWave(1, 1, 1, 1));
    EXPECT_TRUE(huge->Realize(1, 1));
    ExpectPoint(*huge, 0, 0, 0, 0);
}

}  // namespace

// Anti-aliased rectangles: coverage of each pixel is the covered share times
// 255 rounded to even, computed here from the area directly.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "scan_test_util.h"

using namespace qgdi::scantest;

TEST(RegionRect, HandWorkedCoverage) {
    struct Case {
        const char* name;
        SQRECT rect;
        std::vector<ScanRun> runs;
    } const cases[] = {
        {"half-pixel-edges",
         {0.5, 0.5, 2.5, 2.5},
         {{0, 0, 64, 1}, {1, 0, 128, 1}, {2, 0, 64, 1},  // 63.75; 127.5 ties to 128
          {0, 1, 128, 1}, {1, 1, 255, 1}, {2, 1, 128, 1},
          {0, 2, 64, 1}, {1, 2, 128, 1}, {2, 2, 64, 1}}},
        {"integer-edges", {2, 1, 5, 3}, {{2, 1, 255, 3}, {2, 2, 255, 3}}},
        {"left-and-bottom-only", {0.25, 0, 2, 1.1}, {{0, 0, 191, 1}, {1, 0, 255, 1}, {0, 1, 19, 1}, {1, 1, 26, 1}}},
        {"inside-one-pixel", {3.25, 4.5, 3.75, 4.75}, {{3, 4, 32, 1}}},
        {"empty", {1, 1, 1, 4}, {}},
    };
    for (const Case& c : cases) {
        CQRegionRect* r = QGDI_RegionCreateRect(c.rect);
        ASSERT_NE(r, nullptr) << c.name;
        CRecorder rec;
        EXPECT_TRUE(r->Fill(&rec));
        EXPECT_EQ(rec.runs, c.runs) << c.name;
        EXPECT_EQ(QGDI_RegionUnreference(r), 0);
    }
}

TEST(RegionRect, RandomRectanglesMatchTheirPixelAreas) {
    std::mt19937 rng(3);
    std::uniform_real_distribution<double> u(0, 12);
    for (int trial = 0; trial < 200; ++trial) {
        double l = u(rng), r = u(rng), t = u(rng), b = u(rng);
        if (r < l) std::swap(l, r);
        if (b < t) std::swap(t, b);
        CQRegionRect* region = QGDI_RegionCreateRect({l, t, r, b});
        CCoverage cov(14, 14);
        region->Fill(&cov);
        for (int y = 0; y < 14; ++y)
            for (int x = 0; x < 14; ++x) {
                const double w = std::max(0.0, std::min(r, x + 1.0) - std::max(l, double(x)));
                const double h = std::max(0.0, std::min(b, y + 1.0) - std::max(t, double(y)));
                ASSERT_NEAR(cov.At(x, y), w * h * 255, 0.5 + 1e-6) << trial << " " << x << "," << y;
            }
        RECT box;
        if (region->GetBBox(box)) {
            EXPECT_EQ(box.left, long(std::floor(l)));
            EXPECT_EQ(box.bottom, long(std::ceil(b - 1e-6)));
        }
        region->Unreference();
    }
}

TEST(RegionRect, BoundsIntersectionTranslationAndBadInput) {
    CQRegionRect* r = QGDI_RegionCreateRect({1.5, 2, 4, 3.25});
    RECT box;
    ASSERT_TRUE(r->GetBBox(box));
    EXPECT_EQ(std::make_tuple(box.left, box.top, box.right, box.bottom), std::make_tuple(1, 2, 4, 4));
    EXPECT_TRUE(r->Intersects(RECT{3, 3, 9, 9}));
    EXPECT_FALSE(r->Intersects(RECT{4, 0, 9, 9}));
    EXPECT_FALSE(r->Intersects(RECT{0, 4, 9, 9}));
    r->Translate(10, -2);
    ASSERT_TRUE(r->GetBBox(box));
    EXPECT_EQ(std::make_tuple(box.left, box.top, box.right, box.bottom), std::make_tuple(11, 0, 14, 2));
    CRecorder snapped;
    r->Fill(&snapped, keAAFilterNone);  // 11.5..14 x 0..1.25 snaps to 12..14 x 0..1
    EXPECT_EQ(snapped.runs, (std::vector<ScanRun>{{12, 0, 255, 2}}));
    EXPECT_EQ(QGDI_RegionReference(r), 2);
    EXPECT_EQ(QGDI_RegionUnreference(r), 1);
    EXPECT_EQ(QGDI_RegionUnreference(r), 0);
    EXPECT_EQ(QGDI_RegionUnreference(nullptr), 0);

    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (SQRECT bad : {SQRECT{3, 0, 1, 2}, SQRECT{0, 3, 1, 2}, SQRECT{nan, 0, 1, 1}, SQRECT{0, 0, 1e300, 1}})
        EXPECT_EQ(QGDI_RegionCreateRect(bad), nullptr);
}

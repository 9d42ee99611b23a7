// General regions: built from paths, rectangles, images and receivers, in both
// forms, against exact areas and the rectangle's own coverage.
#include <gtest/gtest.h>

#include "qdibcore/Source/DibIterator.h"
#include "scan_test_util.h"

using namespace qgdi::scantest;

namespace {

CCoverage Paint(const VQRegion& region, int w, int h) {
    CCoverage out(w, h);
    EXPECT_TRUE(region.Fill(&out));
    return out;
}

double Sum(const CCoverage& c) {
    double s = 0;
    for (uint8_t v : c.pixels) s += v;
    return s / 255.0;
}

}  // namespace

// Both forms answer alike: same runs, same hits, same bounds.
TEST(Region, FromRectMatchesRectRegionInBothForms) {
    const SQRECT rects[] = {{0.5, 0.5, 2.5, 2.5}, {1, 1, 7, 4}, {3.25, 0.75, 9.5, 6.125}};
    for (const SQRECT& r : rects) {
        CQRegion* region = new CQRegion;
        ASSERT_TRUE(region->CreateFromRect(r));
        const CCoverage want = Paint(CQRegionRect(r), 12, 8);
        for (bool compress : {false, true}) {
            if (compress) {
                const size_t before = region->GetDataSize();
                ASSERT_TRUE(region->Compress());
                EXPECT_TRUE(region->IsCompressed());
                EXPECT_LT(region->GetDataSize(), before);
            }
            EXPECT_EQ(Paint(*region, 12, 8).pixels, want.pixels);
            for (int y = 0; y < 8; ++y)
                for (int x = 0; x < 12; ++x) {
                    int c = -1;
                    EXPECT_EQ(region->PtInRegion(x, y, &c), want.At(x, y) != 0);
                    EXPECT_EQ(c, want.At(x, y));
                }
            RECT box;
            ASSERT_TRUE(region->GetBBox(box));
            EXPECT_EQ(box.left, int(std::floor(r.left)));
            EXPECT_EQ(box.right, int(std::ceil(r.right)));
            EXPECT_TRUE(region->Intersects(RECT{box.left, box.top, box.left + 1, box.top + 1}));
            EXPECT_FALSE(region->Intersects(RECT{box.right, box.top, box.right + 5, box.bottom}));
            EXPECT_FALSE(region->Intersects(RECT{box.left, box.top, box.left, box.bottom}));  // empty
        }
        QGDI_RegionUnreference(region);
    }
}

// A path region's area is the shape's area within the converter's 1/s^2 steps.
TEST(Region, FromPathAreas) {
    struct Case {
        const char* name;
        CQPath path;
        double area;
    };
    std::vector<Case> cases;
    cases.push_back({"rect", {}, 12.5 * 7.25});
    cases.back().path.CreateRect(SQRECT{2.25, 3.5, 14.75, 10.75});
    cases.push_back({"ellipse", {}, 3.14159265358979 * 9 * 5});
    cases.back().path.CreateEllipse(SQRECT{1, 1, 19, 11});
    cases.push_back({"triangle", {}, 0.5 * 16 * 10});
    const SQPOINT tri[] = {{2, 1}, {18, 1}, {2, 11}};
    cases.back().path.CreatePolygon(tri, 3);
    SRasterProps props;
    for (const Case& c : cases) {
        CQRegion* region = QGDI_RegionCreateFromPath(c.path, nullptr, props, RECT{0, 0, 20, 12});
        ASSERT_NE(region, nullptr) << c.name;
        EXPECT_NEAR(Sum(Paint(*region, 20, 12)), c.area, c.area * 0.01 + 0.5) << c.name;
        ASSERT_TRUE(region->Compress());
        EXPECT_NEAR(Sum(Paint(*region, 20, 12)), c.area, c.area * 0.01 + 0.5) << c.name;
        QGDI_RegionUnreference(region);
    }
    // Bad input: an empty clip, a NaN path.
    EXPECT_EQ(QGDI_RegionCreateFromPath(cases[0].path, nullptr, props, RECT{5, 5, 5, 9}), nullptr);
    CQPath bad;
    bad.MoveTo(0, 0);
    bad.LineTo(std::nan(""), 4);
    bad.LineTo(4, 4);
    bad.ClosePath();
    CQRegion* r = QGDI_RegionCreateFromPath(bad, nullptr, props, RECT{0, 0, 10, 10});
    if (r) QGDI_RegionUnreference(r);
}

TEST(Region, FromImageAndReceiver) {
    CDibIterator mask;
    ASSERT_FALSE(mask.Create(6, 3, keFormatGrey).IsError());
    const uint8_t rows[3][6] = {{0, 7, 7, 0, 9, 9}, {255, 255, 255, 255, 255, 255}, {0, 0, 0, 0, 0, 1}};
    for (int y = 0; y < 3; ++y) {
        uint8_t* row = nullptr;
        ASSERT_FALSE(mask.GetRow(row, y).IsError());
        std::memcpy(row, rows[y], 6);
        mask.ReleaseRow(y).Ignore();
    }
    CQRegion region;
    ASSERT_TRUE(region.CreateFromImage(mask, POINT{10, 20}));
    CRecorder rec;
    ASSERT_TRUE(region.Fill(&rec));
    const std::vector<ScanRun> want = {{11, 20, 7, 2}, {14, 20, 9, 2}, {10, 21, 255, 6}, {15, 22, 1, 1}};
    EXPECT_EQ(rec.runs, want);
    // The receiver hands the same runs over, in row order whatever the order sent.
    CRegionReceiver receiver;
    for (auto it = want.rbegin(); it != want.rend(); ++it) receiver.AddScan(it->x, it->y, it->coverage, it->length);
    CQRegion* grabbed = receiver.GrabRegion();
    ASSERT_NE(grabbed, nullptr);
    CRecorder again;
    grabbed->Fill(&again);
    EXPECT_EQ(again.runs, want);
    QGDI_RegionUnreference(grabbed);
    // A palette image has no coverage.
    CDibIterator indexed;
    ASSERT_FALSE(indexed.Create(2, 2, keFormatIndex8).IsError());
    EXPECT_FALSE(region.CreateFromImage(indexed));
    EXPECT_TRUE(region.IsEmpty());
}

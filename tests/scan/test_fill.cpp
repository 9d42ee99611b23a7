// Fills end to end: coverage from the converter through a fill and its
// composite operation into real images.
#include <gtest/gtest.h>

#include <cstring>

#include "QuorRender/RowOpBlend.h"
#include "qdibcore/Source/DibIterator.h"
#include "scan_test_util.h"

using namespace qgdi::scantest;

namespace {

uint32_t PixelBGRA(const CDibIterator& image, int x, int y) {
    const uint8_t* row = nullptr;
    image.GetRow(row, y).Ignore();
    uint32_t p;
    std::memcpy(&p, row + 4 * x, 4);
    image.ReleaseRow(y).Ignore();
    return p;
}

// Fills the polygon through `fill` into `image`.
void FillPath(VQFILL* fill, CDibIterator& image, const std::vector<Pt>& contour, int scale = 4) {
    ASSERT_FALSE(fill->Attach(&image).IsError());
    SQPolygon* poly = QGDI_PolygonCreate(RECT{0, 0, image.GetWidth(), image.GetHeight()}, kePolyFillNonZero, scale,
                                         kePolygonTableAuto, keQPathFill);
    CPolygonPathReceiver rx(poly);
    rx.MoveTo(SQPOINT{contour[0].x, contour[0].y}, nullptr);
    for (size_t i = 1; i < contour.size(); ++i) rx.LineTo(SQPOINT{contour[i].x, contour[i].y}, nullptr);
    rx.ClosePath(nullptr);
    EXPECT_TRUE(poly->Fill(fill->GetScanReceiver()));
    poly->Unreference();
    fill->Detach();
    EXPECT_TRUE(fill->IsOk());
}

}  // namespace

// A half-covered column composites at half weight; opacity multiplies in.
TEST(Fill, SolidThroughConverter) {
    struct Case {
        uint32_t rgba;
        uint8_t opacity;
        uint32_t inside, half;  // expected BGRA over opaque black
    } cases[] = {
        {0xFF0000FFu, 255, 0xFFFF0000u, 0xFF800000u},  // opaque red: 255 x 128/255 = 128
        {0xFF0000FFu, 128, 0xFF800000u, 0xFF400000u},  // opacity 128
        {0x80FF0000u, 255, 0xFF000080u, 0xFF000040u},  // half-transparent blue
    };
    for (const Case& c : cases) {
        CDibIterator image;
        const CColorRef black(0, 0, 0, 255);
        ASSERT_FALSE(image.Create(8, 4, keFormatBGRA, &black).IsError());
        VQFILL* fill = QGDI_FillCreateRGBA(c.rgba);
        ASSERT_NE(fill, nullptr);
        EXPECT_EQ(fill->GetType(), keFillSolid);
        fill->SetOpacity(c.opacity);
        FillPath(fill, image, {{1, 0}, {4.5, 0}, {4.5, 4}, {1, 4}});
        fill->Unreference();
        for (int y = 0; y < 4; ++y) {
            EXPECT_EQ(PixelBGRA(image, 0, y), 0xFF000000u);
            EXPECT_EQ(PixelBGRA(image, 2, y), c.inside) << std::hex << c.rgba;
            EXPECT_NEAR(int(PixelBGRA(image, 4, y) >> 16 & 0xFF), int(c.half >> 16 & 0xFF), 1);
            EXPECT_NEAR(int(PixelBGRA(image, 4, y) & 0xFF), int(c.half & 0xFF), 1);
            EXPECT_EQ(PixelBGRA(image, 5, y), 0xFF000000u);
        }
    }
}

// A composite operation other than source-over goes through the colour row:
// "copy" replaces the destination, alpha included.
TEST(Fill, CompositeOpReplacesDestination) {
    CDibIterator image;
    const CColorRef white(255, 255, 255, 255);
    ASSERT_FALSE(image.Create(4, 2, keFormatBGRA, &white).IsError());
    VQFILL* fill = QGDI_FillCreateRGBA(0x4000FF00u);
    const CRowOpDefRowBlend copy(keCompositeSource);
    ASSERT_TRUE(fill->SetCompositeOp(&copy));
    FillPath(fill, image, {{0, 0}, {2, 0}, {2, 2}, {0, 2}});
    EXPECT_EQ(PixelBGRA(image, 1, 1), 0x4000FF00u);
    EXPECT_EQ(PixelBGRA(image, 2, 1), 0xFFFFFFFFu);
    VQFILL* clone = fill->Clone();
    ASSERT_NE(clone, nullptr);
    EXPECT_NE(clone->GetCompositeOp(), nullptr);
    clone->Unreference();
    fill->Unreference();
}

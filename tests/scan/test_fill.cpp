// Fills end to end: coverage from the converter through a fill and its
// composite operation into real images.
#include <gtest/gtest.h>

#include <cmath>
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

namespace {

// A small drawing through `fill`: a triangle over an image of `format`
// that starts as `background` (RGBA).
CDibIterator Draw(VQFILL* fill, EQPixelFormat format, uint32_t background, int w = 40, int h = 24) {
    CDibIterator image;
    const CColorRef bg = CColorRef::FromRGBA(background);
    EXPECT_FALSE(image.Create(w, h, format, &bg).IsError());
    FillPath(fill, image, {{1, 1}, {38, 3}, {12, 23}});
    return image;
}

int MaxDifferenceBGRA(const CDibIterator& a, const CDibIterator& b) {
    CDibIterator ca, cb;
    EXPECT_FALSE(ca.CreateFromCopy(a, nullptr, keFormatBGRA).IsError());
    EXPECT_FALSE(cb.CreateFromCopy(b, nullptr, keFormatBGRA).IsError());
    int worst = 0;
    for (int y = 0; y < a.GetHeight(); ++y)
        for (int x = 0; x < a.GetWidth(); ++x) {
            const uint32_t p = PixelBGRA(ca, x, y), q = PixelBGRA(cb, x, y);
            for (int s = 0; s < 32; s += 8) worst = std::max(worst, std::abs(int(p >> s & 0xFF) - int(q >> s & 0xFF)));
        }
    return worst;
}

}  // namespace

// Filling any 8- or 16-bit format gives what filling BGRA and converting gives.
TEST(Fill, EveryFormatAgreesWithBGRA) {
    uint32_t colours[] = {0xFF2080F0u, 0x8040C020u};
    const double offsets[] = {0, 1};
    const EQPixelFormat formats[] = {keFormatGrey,     keFormatGreyA,    keFormatBGR,       keFormatBGRA,
                                     keFormatBGRxA,    keFormatGrey_u16, keFormatGreyA_u16, keFormatBGR_u16,
                                     keFormatBGRA_u16, keFormatBGRxA_u16};
    // Opaque stops take the straight copy at full coverage, translucent ones the blend.
    for (const uint32_t second : {0x8040C020u, 0xFF40C020u})
        for (const uint32_t background : {0xFF806040u, 0x80306090u})
            for (EQPixelFormat format : formats) {
                colours[1] = second;
                // A translucent background exists only where there is alpha to hold it.
                if ((background >> 24) != 0xFF && !CQPixelFormat(format).IsAlphaChannelPresent()) continue;
                VQFILL* fill = QGDI_FillCreateLinearGradient(SQRECT{}, {0, 0}, {40, 10}, 0, colours, offsets, 2,
                                                             keSpreadReflect, nullptr);
                ASSERT_NE(fill, nullptr);
                fill->SetOpacity(200);
                const CDibIterator reference = Draw(fill, keFormatBGRA, background);
                CDibIterator expected;
                ASSERT_FALSE(expected.CreateFromCopy(reference, nullptr, format).IsError());
                const CDibIterator got = Draw(fill, format, background);
                // Grey rounds the colours before compositing, BGRA after.
                EXPECT_LE(MaxDifferenceBGRA(got, expected), CQPixelFormat(format).IsGreyscale() ? 3 : 2)
                    << CQPixelFormat(format).GetChannelCount() << " " << std::hex << background << " " << std::dec
                    << int(format);
                fill->Unreference();
            }
}

// Each kind over a known background at a fully covered pixel and outside.
TEST(Fill, KindsEndToEnd) {
    CDibIterator tile;
    const CColorRef tileColour(10, 200, 30, 255);
    ASSERT_FALSE(tile.Create(4, 4, keFormatBGR, &tileColour).IsError());
    const double half[9] = {0.5, 0, 0, 0, 0.5, 0, 0, 0, 1};
    struct Case {
        const char* name;
        VQFILL* fill;
        EQFillType type;
        uint32_t background;  // RGBA
        uint32_t inside;      // BGRA at (12, 8)
    } cases[] = {
        {"checker", QGDI_FillCreateCheckerBoard(4, 0xFFFFFFFFu, 0xFF000000u), keFillCheckerBoard, 0xFF0000FFu,
         0xFFFFFFFFu},  // (12 / 4 + 8 / 4) = 5: odd... see below
        {"pattern", QGDI_FillCreatePattern(&tile, half, keResampleNearestNeighbor), keFillPattern, 0xFF000000u,
         0xFF0AC81Eu},
        {"eraser", QGDI_FillCreateEraser(), keFillEraser, 0xFF336699u, 0x00996633u},
        {"uneraser", QGDI_FillCreateUneraser(), keFillUneraser, 0x10336699u, 0xFF996633u},
    };
    cases[0].inside = 0xFF000000u;  // cell (3, 2) is odd: the second colour
    for (Case& c : cases) {
        ASSERT_NE(c.fill, nullptr) << c.name;
        EXPECT_EQ(QGDI_FillGetType(c.fill), c.type);
        const CDibIterator image = Draw(c.fill, keFormatBGRA, c.background);
        EXPECT_EQ(PixelBGRA(image, 12, 8), c.inside) << c.name;
        EXPECT_EQ(PixelBGRA(image, 39, 23), QGDI_RGBAtoBGRA(c.background)) << c.name;
        VQFILL* clone = c.fill->Clone();
        ASSERT_NE(clone, nullptr);
        EXPECT_EQ(clone->GetType(), c.type);
        clone->Unreference();
        c.fill->Unreference();
    }
    EXPECT_EQ(QGDI_FillCreateCheckerBoard(0, 0, 0), nullptr);
    EXPECT_EQ(QGDI_FillCreatePattern(nullptr, nullptr), nullptr);
    const double singular[9] = {0, 0, 0, 0, 0, 0, 0, 0, 1};
    EXPECT_EQ(QGDI_FillCreatePattern(&tile, singular), nullptr);
}

// The eraser at half opacity halves alpha; a texture multiplies the colours.
TEST(Fill, OpacityAndTexture) {
    VQFILL* eraser = QGDI_FillCreateEraser();
    eraser->SetOpacity(128);
    EXPECT_EQ(PixelBGRA(Draw(eraser, keFormatBGRA, 0xFF336699u), 12, 8) >> 24, 127u);
    eraser->Unreference();

    CDibIterator texture;
    const CColorRef grey(128, 128, 128, 255);
    ASSERT_FALSE(texture.Create(3, 3, keFormatBGRA, &grey).IsError());
    CQFill fill;
    ASSERT_TRUE(fill.CreateSolidRGBA(0xFFFFFFFFu));
    ASSERT_FALSE(fill.SetTexture(&texture).IsError());
    EXPECT_EQ(fill.GetFillType(), keFillSolid);
    EXPECT_EQ(PixelBGRA(Draw(fill.GetFill(), keFormatBGRA, 0xFF000000u), 12, 8), 0xFF808080u);
    // A fill not attached refuses runs; one attached to nothing fails with 110.
    EXPECT_FALSE(fill.GetFill()->AddScan(0, 0, 255, 4));
    EXPECT_EQ(fill.GetFill()->Attach(nullptr).Ignore(), keQuorErrIteratorState);
    CDibIterator indexed;
    ASSERT_FALSE(indexed.Create(4, 4, keFormatIndex8).IsError());
    EXPECT_EQ(fill.GetFill()->Attach(&indexed).Ignore(), keQuorErrFormatNotSupported);
}

TEST(Fill, StopsFromEditorForm) {
    CQStopsSVG svg;
    EXPECT_FALSE(svg.Create(-1));
    EXPECT_EQ(svg.m_pOffsets, nullptr);
    ASSERT_TRUE(svg.Create(3));
    EXPECT_EQ(svg.m_nCount, 3);
    CQStopsMOX mox;
    EXPECT_FALSE(mox.Create(-2, 1));
    ASSERT_TRUE(mox.Create(2, 2));
    mox.m_pColours[0] = {0.0, 0x0000FFu, 0.25};  // red, half blend at a quarter of the way
    mox.m_pColours[1] = {1.0, 0xFF0000u, 0.5};   // blue
    mox.m_pOpacities[0] = {0.0, 1.0, 0.5};
    mox.m_pOpacities[1] = {0.5, 0.0, 0.5};
    ASSERT_TRUE(svg.Create(mox));
    // Stops at 0, 0.25 (the midpoint), 0.5 (the opacity stop) and 1.
    const double offsets[] = {0, 0.25, 0.5, 1};
    ASSERT_EQ(svg.m_nCount, 4);
    for (int i = 0; i < 4; ++i) EXPECT_DOUBLE_EQ(svg.m_pOffsets[i], offsets[i]);
    EXPECT_EQ(svg.m_pColours[0], 0xFF0000FFu);
    EXPECT_EQ(svg.m_pColours[1], 0x80800080u);  // half red, half blue; alpha 127.5 -> 128
    EXPECT_EQ(svg.m_pColours[2] >> 24, 0u);
    EXPECT_EQ(svg.m_pColours[3], 0x00FF0000u);
    CQStopsMOX none;
    EXPECT_FALSE(svg.Create(none));
}

// The uneraser and the eraser in every depth with alpha, through runs of
// every kind the receiver protocol has.
TEST(Fill, AlphaFillsInEveryDepth) {
    const EQPixelFormat formats[] = {keFormatGreyA,     keFormatBGRA,     keFormatGreyA_u16,
                                     keFormatBGRA_u16,  keFormatGreyA_f32, keFormatBGRA_f32};
    for (EQPixelFormat format : formats)
        for (bool unerase : {false, true}) {
            CDibIterator image;
            const CColorRef start(200, 100, 50, 64);
            ASSERT_FALSE(image.Create(10, 3, format, &start).IsError());
            VQFILL* fill = unerase ? QGDI_FillCreateUneraser() : QGDI_FillCreateEraser();
            ASSERT_FALSE(fill->Attach(&image).IsError());
            const SScanRLE rle[] = {{2, 255}, {3, 0}, {2, 128}};
            EXPECT_TRUE(fill->AddScanRLE(0, 0, rle, 3));
            EXPECT_TRUE(fill->AddScanRect(0, 1, 10, 2, 255));
            fill->Detach();
            fill->Unreference();
            CDibIterator bgra;
            ASSERT_FALSE(bgra.CreateFromCopy(image, nullptr, keFormatBGRA).IsError());
            const int full = unerase ? 255 : 0;
            const int half = unerase ? 64 + (191 * 128 + 127) / 255 : 64 - (64 * 128 + 127) / 255;
            EXPECT_NEAR(int(PixelBGRA(bgra, 0, 0) >> 24), full, 1) << int(format);
            EXPECT_NEAR(int(PixelBGRA(bgra, 3, 0) >> 24), 64, 1) << int(format);
            EXPECT_NEAR(int(PixelBGRA(bgra, 6, 0) >> 24), half, 1) << int(format);
            EXPECT_NEAR(int(PixelBGRA(bgra, 9, 2) >> 24), full, 1) << int(format);
        }
}

TEST(Fill, CheckerBoardAcrossTheOrigin) {
    CQFillSrc* src = QGDI_FillSrcCheckerboard_Create(3, 0xFFFFFFFFu, 0xFF000000u);
    std::vector<uint32_t> row(12);
    for (int y : {-4, -1, 0, 5}) {
        src->GetSpan(-6, y, 12, row.data());
        for (int i = 0; i < 12; ++i) {
            const int cx = int(std::floor((i - 6) / 3.0)), cy = int(std::floor(y / 3.0));
            EXPECT_EQ(row[size_t(i)], ((cx + cy) & 1) ? 0xFF000000u : 0xFFFFFFFFu) << i << " " << y;
        }
    }
    src->Unreference();
}

// The drawing context: defaults, setter rules, the state stack, and what
// drawing calls leave in the pixels.
#include <gtest/gtest.h>

#include <cstring>

#include "QuorRender/RowOpFill.h"
#include "drawing/QDC.h"
#include "drawing_test_util.h"

namespace {

// A w x h BGRA image (straight alpha) filled with one colour.
struct Canvas {
    CRowIterator it;
    Canvas(int w, int h, uint32_t bgra = 0xFF000000u, EQPixelFormat f = keFormatBGRA) {
        const CColorRef c = CColorRef::FromBGRA(bgra);
        EXPECT_FALSE(it.Create(w, h, f, &c).IsError());
    }
    uint32_t At(int x, int y) const {
        const uint8_t* row = nullptr;
        EXPECT_FALSE(it.GetRow(row, y).IsError());
        uint32_t v;
        std::memcpy(&v, row + 4 * x, 4);
        it.ReleaseRow(y).Ignore();
        return v;
    }
    int Red(int x, int y) const { return int((At(x, y) >> 16) & 0xFF); }
    int Alpha(int x, int y) const { return int(At(x, y) >> 24); }
    // Box of the pixels whose red channel differs from `background`.
    RECT Changed(int background) const {
        RECT r{1 << 30, 1 << 30, -1, -1};
        for (int y = 0; y < it.GetHeight(); ++y)
            for (int x = 0; x < it.GetWidth(); ++x)
                if (Red(x, y) != background) {
                    r.left = std::min<LONG>(r.left, x);
                    r.top = std::min<LONG>(r.top, y);
                    r.right = std::max<LONG>(r.right, x + 1);
                    r.bottom = std::max<LONG>(r.bottom, y + 1);
                }
        return r;
    }
};

CQPath Square(double x0, double y0, double x1, double y1) {
    CQPath p;
    p.CreateRect({x0, y0, x1, y1});
    return p;
}

}  // namespace

TEST(DrawingContext, DefaultsOfANewContext) {
    CQDC dc;
    QDCBASIC& b = *dc.GetQDC();
    EXPECT_TRUE(b.IsFillOpaque());
    EXPECT_TRUE(b.IsStrokeFillOpaque());
    EXPECT_EQ(b.GetFillOpacity(), 255);
    EXPECT_EQ(b.GetStrokeWidth(), 1.0);
    EXPECT_EQ(b.GetStrokeProps().miterLimit, 8.0);
    EXPECT_EQ(b.GetStrokeProps().lineJoin, keLineJoinMiter);
    for (const auto& c : b.GetStrokeProps().caps) EXPECT_EQ(c.type, keLineCapButt);
    EXPECT_TRUE(QGDI_MatrixIsIdentity(b.GetCurrentMatrix()));
    EXPECT_EQ(b.GetAntialiasingLevel(), QGDI_GetAntialiasingLevel());
    EXPECT_EQ(b.GetPolyFillMode(), QGDI_GetPolyFillMode());
    EXPECT_FALSE(b.Pop());
    EXPECT_TRUE(b.IsThereStrokeToRender());
    EXPECT_FALSE(b.SupportsGlyphMasks());

    // A new context draws opaque white.
    Canvas c(8, 8);
    ASSERT_FALSE(dc.AttachIter(&c.it).IsError());
    ASSERT_FALSE(dc.FillRect({2, 2, 6, 6}).IsError());
    EXPECT_EQ(c.At(3, 3), 0xFFFFFFFFu);
    EXPECT_EQ(c.At(1, 1), 0xFF000000u);
}

TEST(DrawingContext, SetterReturnRules) {
    QDCBASIC b;
    struct Cap {
        int cap, position, returns;
        int after[4];
    } caps[] = {
        {keLineCapRound, 1, keLineCapButt, {0, 1, 0, 0}},
        {keLineCapSquare, -2, -1, {2, 2, 2, 2}},
        {keLineCapRound, 4, -1, {2, 2, 2, 2}},
        {keLineCapRound, -1, -1, {2, 2, 2, 2}},
        {keLineCapTriangle, 3, keLineCapSquare, {2, 2, 2, 3}},
    };
    for (const Cap& c : caps) {
        EXPECT_EQ(b.SetStrokeLineCap(c.cap, c.position), c.returns) << c.position;
        for (int i = 0; i < 4; ++i) EXPECT_EQ(b.GetStrokeProps().caps[i].type, c.after[i]) << c.position;
    }
    SQPOINT prev = b.SetStrokeLineCapScale(2, 3, 0);
    EXPECT_EQ(prev.x, 1.0);
    EXPECT_EQ(prev.y, 1.0);
    prev = b.SetStrokeLineCapScale(4, 5, -2);
    EXPECT_EQ(prev.x, 0.0);
    EXPECT_EQ(b.GetStrokeProps().caps[3].yScale, 5.0);
    prev = b.SetStrokeLineCapScale(9, 9, 7);
    EXPECT_EQ(prev.y, 0.0);
    EXPECT_EQ(b.GetStrokeProps().caps[2].xScale, 4.0);

    const double d[] = {3, 1};
    EXPECT_TRUE(b.SetStrokeDash(d, 2, 0.5));
    EXPECT_EQ(b.GetStrokeProps().dashCount, 2);
    EXPECT_TRUE(b.SetStrokeDash(nullptr, 5, 2.0));
    EXPECT_EQ(b.GetStrokeProps().dashCount, 0);
    EXPECT_EQ(b.GetStrokeProps().dash, nullptr);
    EXPECT_EQ(b.GetStrokeProps().dashOffset, 2.0);
    EXPECT_TRUE(b.SetStrokeDash(d, -1, 1.0));
    EXPECT_EQ(b.GetStrokeProps().dashCount, 0);

    EXPECT_EQ(b.SetStrokeWidth(3, 1), 1.0);
    EXPECT_EQ(b.GetStrokeProps().widthFlag, 1);
    EXPECT_EQ(b.SetAntialiasingLevel(0), QGDI_GetAntialiasingLevel());
    EXPECT_EQ(b.SetAntialiasingLevel(12), 1);
    EXPECT_EQ(b.GetAntialiasingLevel(), 8);
    EXPECT_EQ(b.SetFillOpacity(100), 255);
    EXPECT_EQ(b.GetFill()->GetOpacity(), 100);
    EXPECT_FALSE(b.IsFillOpaque());
    EXPECT_FALSE(b.SetFill(nullptr));
    b.SetStrokeWidth(0);
    EXPECT_FALSE(b.IsThereStrokeToRender());
}

TEST(DrawingContext, PushAndPopRestoreEveryKindOfState) {
    struct Case {
        const char* name;
        void (*change)(QDCBASIC&);
        bool (*same)(const QDCBASIC&, const QDCBASIC&);
    } cases[] = {
        {"stroke width", [](QDCBASIC& b) { b.SetStrokeWidth(7); },
         [](const QDCBASIC& a, const QDCBASIC& b) { return a.GetStrokeWidth() == b.GetStrokeWidth(); }},
        {"stroke props", [](QDCBASIC& b) { const double d[] = {1, 2}; b.SetStrokeDash(d, 2, 1); b.SetStrokeLineJoin(keLineJoinRound); },
         [](const QDCBASIC& a, const QDCBASIC& b) { return a.GetStrokeProps() == b.GetStrokeProps(); }},
        {"matrix", [](QDCBASIC& b) { const double m[9] = {2, 0, 5, 0, 2, 5, 0, 0, 1}; b.SetCurrentMatrix(m); },
         [](const QDCBASIC& a, const QDCBASIC& b) { return QGDI_MatrixIsEqual(a.GetDeviceMatrix(), b.GetDeviceMatrix()); }},
        {"fill opacity", [](QDCBASIC& b) { b.SetFillOpacity(10); },
         [](const QDCBASIC& a, const QDCBASIC& b) { return a.GetFill()->GetOpacity() == b.GetFill()->GetOpacity() && a.GetFillOpacity() == b.GetFillOpacity(); }},
        {"fill", [](QDCBASIC& b) { VQFILL* f = QGDI_FillCreateRGBA(0x80102030u); b.SetFill(f); f->Unreference(); },
         [](const QDCBASIC& a, const QDCBASIC& b) { return a.IsFillOpaque() == b.IsFillOpaque(); }},
        {"raster", [](QDCBASIC& b) { b.SetAntialiasingLevel(2); b.SetPolyFillMode(kePolyFillEvenOdd); b.SetPathFlatness(1); },
         [](const QDCBASIC& a, const QDCBASIC& b) { return a.GetAntialiasingLevel() == b.GetAntialiasingLevel() && a.GetPolyFillMode() == b.GetPolyFillMode() && a.GetRasterProps().pathFlatness == b.GetRasterProps().pathFlatness; }},
        {"clip and viewport", [](QDCBASIC& b) { b.SetDeviceClipRect({1, 1, 2, 2}); b.SetViewPortDC({3, 3, 9, 9}); },
         [](const QDCBASIC& a, const QDCBASIC& b) {
             const RECT c1 = a.GetDeviceClipRect(), c2 = b.GetDeviceClipRect(), v1 = a.GetViewPortDC(), v2 = b.GetViewPortDC();
             return EqualRect(&c1, &c2) && EqualRect(&v1, &v2);
         }},
        {"text", [](QDCBASIC& b) { b.SetTextCP({4, 4}); b.SetTextKerning(false); },
         [](const QDCBASIC& a, const QDCBASIC& b) { return a.GetTextCP().x == b.GetTextCP().x && a.GetTextProps().kerning == b.GetTextProps().kerning; }},
    };
    for (const Case& c : cases) {
        QDCBASIC ref, dc;
        ASSERT_TRUE(dc.Push());
        c.change(dc);
        EXPECT_FALSE(c.same(ref, dc)) << c.name << " did not change";
        ASSERT_TRUE(dc.Pop());
        EXPECT_TRUE(c.same(ref, dc)) << c.name;
        EXPECT_FALSE(dc.Pop());
    }
    // Nested pushes come back in order; PopAll empties the stack.
    QDCBASIC b;
    for (int i = 1; i <= 5; ++i) {
        ASSERT_TRUE(b.Push());
        b.SetStrokeWidth(i);
    }
    EXPECT_EQ(b.GetStackDepth(), 5);
    ASSERT_TRUE(b.Pop());
    EXPECT_EQ(b.GetStrokeWidth(), 4.0);
    b.PopAll();
    EXPECT_EQ(b.GetStackDepth(), 0);
    EXPECT_EQ(b.GetStrokeWidth(), 1.0);
}

TEST(DrawingContext, FillsAndStrokesLandWhereTheMatrixAndClipSay) {
    Canvas c(40, 40);
    CQDC dc;
    ASSERT_FALSE(dc.AttachIter(&c.it).IsError());
    dc.SetFillColorRGB(255, 0, 0);
    // Translate + scale: the square (1,1)-(3,3) lands on (10,10)-(20,20).
    const double m[9] = {5, 0, 5, 0, 5, 5, 0, 0, 1};
    dc->SetCurrentMatrix(m);
    ASSERT_FALSE(dc.FillPath(Square(1, 1, 3, 3)).IsError());
    // Whole pixels 10..19 are full; the converter fills the outline's own
    // bottom grid row, one eighth of the row below.
    for (int i = 10; i < 20; ++i) {
        EXPECT_EQ(c.Red(i, 10), 255);
        EXPECT_EQ(c.Red(i, 19), 255);
        EXPECT_EQ(c.Red(10, i), 255);
        EXPECT_EQ(c.Red(19, i), 255);
        EXPECT_EQ(c.Red(i, 9), 0);
        EXPECT_EQ(c.Red(9, i), 0);
        EXPECT_EQ(c.Red(20, i), 0);
        EXPECT_LE(c.Red(i, 20), 32);
    }

    // A clip keeps a stroke inside it; the stroke covers width x length.
    Canvas s(40, 40);
    CQDC sdc;
    ASSERT_FALSE(sdc.AttachIter(&s.it).IsError());
    sdc.SetStrokeColorRGB(255, 0, 0);
    sdc->SetStrokeWidth(4);
    sdc.SetDeviceClipRect({0, 0, 20, 40});
    ASSERT_FALSE(sdc.Line({5, 20}, {35, 20}).IsError());
    const RECT sr = s.Changed(0);
    EXPECT_EQ(sr.left, 5);
    EXPECT_EQ(sr.right, 20);
    EXPECT_EQ(sr.top, 18);
    EXPECT_EQ(s.Red(10, 18), 255);
    EXPECT_EQ(s.Red(10, 21), 255);
    EXPECT_LE(s.Red(10, 22), 32);

    // The device origin moves drawing in the image.
    Canvas o(40, 40);
    CQDC odc;
    ASSERT_FALSE(odc.AttachIter(&o.it).IsError());
    odc.SetFillColorRGB(255, 0, 0);
    odc.SetDeviceOrg({10, 0});
    odc.SetDeviceClipRect({-100, -100, 100, 100});
    ASSERT_FALSE(odc.FillRect({12, 2, 14, 4}).IsError());
    EXPECT_EQ(o.Red(2, 2), 255);
    SQPOINT p{12, 2};
    odc->DCtoIC(p);
    EXPECT_EQ(p.x, 2);
    odc->ICtoDC(p);
    EXPECT_EQ(p.x, 12);
    RECT on;
    ASSERT_TRUE(odc->RectOnDevice({12.5, 2.5, 14.5, 3}, on));
    EXPECT_EQ(on.left, 2);
    EXPECT_EQ(on.right, 5);
}

TEST(DrawingContext, ThinStrokesAtLevelOneAreOnePixelLines) {
    Canvas c(20, 20);
    CQDC dc;
    ASSERT_FALSE(dc.AttachIter(&c.it).IsError());
    dc.SetStrokeColorRGB(255, 0, 0);
    dc->SetAntialiasingLevel(1);
    ASSERT_TRUE(QGDI_ShouldUseLineDraw(dc->GetStrokeProps(), dc->GetRasterProps(), dc->GetDeviceMatrix()));
    ASSERT_FALSE(dc.Line({2.2, 5.5}, {12.7, 5.5}).IsError());
    const RECT r = c.Changed(0);
    EXPECT_EQ(r.top, 5);
    EXPECT_EQ(r.bottom, 6);
    EXPECT_EQ(r.left, 2);
    EXPECT_GE(r.right, 13);  // at scale 1 a span's end column is itself covered
    EXPECT_LE(r.right, 14);
    for (int x = 2; x <= 12; ++x) EXPECT_EQ(c.Red(x, 5), 255);
    // A diagonal: one pixel per row, no closing line back to the start.
    Canvas d(20, 20);
    CQDC ddc;
    ASSERT_FALSE(ddc.AttachIter(&d.it).IsError());
    ddc.SetStrokeColorRGB(255, 0, 0);
    ddc->SetAntialiasingLevel(1);
    const SQPOINT pts[] = {{1.5, 1.5}, {10.5, 10.5}, {18.5, 2.5}};
    ASSERT_FALSE(ddc.Polyline(pts, 3).IsError());
    for (int y = 3; y < 10; ++y) {
        int n = 0;
        for (int x = 0; x < 20; ++x) n += d.Red(x, y) != 0;
        EXPECT_LE(n, 4) << y;  // the two arms, no third edge
    }
}

TEST(DrawingContext, OpacityMaskLayersAndRegions) {
    // Half opacity over black gives half red.
    Canvas c(20, 20);
    CQDC dc;
    ASSERT_FALSE(dc.AttachIter(&c.it).IsError());
    dc.SetFillColorRGB(255, 0, 0);
    dc->SetFillOpacity(128);
    ASSERT_FALSE(dc.FillRect({0, 0, 10, 10}).IsError());
    EXPECT_NEAR(c.Red(5, 5), 128, 1);

    // A mask weighs the fill: a grey ramp makes a red ramp.
    CRowIterator mask;
    ASSERT_FALSE(mask.Create(20, 1, keFormatGrey).IsError());
    uint8_t* row = nullptr;
    ASSERT_FALSE(mask.GetRow(row, 0).IsError());
    for (int x = 0; x < 20; ++x) row[x] = uint8_t(x * 13);
    mask.ReleaseRow(0).Ignore();
    dc->SetFillOpacity(255);
    ASSERT_TRUE(dc->SetMask(&mask, {0, 15}));
    ASSERT_FALSE(dc.FillCanvas().IsError());
    EXPECT_EQ(c.Red(0, 15), 0);
    EXPECT_NEAR(c.Red(10, 15), 130, 1);
    EXPECT_EQ(c.Red(10, 14), 0);  // outside the mask: nothing
    dc->SetMask(nullptr);

    // A layer drawn opaque and composited at half opacity.
    Canvas l(20, 20);
    CQDC ldc;
    ASSERT_FALSE(ldc.AttachIter(&l.it).IsError());
    ldc.SetFillColorRGB(255, 0, 0);
    ASSERT_FALSE(ldc.BeginLayer(128).IsError());
    EXPECT_EQ(ldc->GetLayerDepth(), 1);
    EXPECT_EQ(ldc.GetUnderlayerCanvasImage(), &l.it);
    ASSERT_FALSE(ldc.FillRect({0, 0, 10, 10}).IsError());
    ASSERT_FALSE(ldc.FillRect({5, 5, 15, 15}).IsError());  // overlap stays one coat inside the layer
    EXPECT_EQ(l.Red(7, 7), 0);                          // nothing reaches the image yet
    ASSERT_FALSE(ldc.EndLayer().IsError());
    EXPECT_NEAR(l.Red(7, 7), 128, 2);
    EXPECT_NEAR(l.Red(2, 2), 128, 2);
    EXPECT_EQ(l.Red(17, 17), 0);
    EXPECT_TRUE(ldc.EndLayer().IsError());

    // A region keeps the coverage and fills it later, as often as wanted.
    Canvas g(20, 20);
    CQDC gdc;
    ASSERT_FALSE(gdc.AttachIter(&g.it).IsError());
    CQPath tri;
    tri.MoveTo(2, 2);
    tri.LineTo(18, 2);
    tri.LineTo(2, 18);
    tri.ClosePath();
    VPathIteratorRefed* it = QGDI_PathIteratorCreate(tri.GetPath());
    VQRegion* region = gdc->CreateFillRegion(it);
    ASSERT_NE(region, nullptr);
    EXPECT_EQ(g.Changed(0).right, -1);  // nothing drawn yet
    gdc.SetFillColorRGB(255, 0, 0);
    ASSERT_FALSE(gdc.FillFillRegion(region).IsError());
    Canvas direct(20, 20);
    CQDC ddc;
    ASSERT_FALSE(ddc.AttachIter(&direct.it).IsError());
    ddc.SetFillColorRGB(255, 0, 0);
    ASSERT_FALSE(ddc->FillPath(it).IsError());
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 20; ++x) ASSERT_EQ(g.At(x, y), direct.At(x, y)) << x << "," << y;
    region->Unreference();
    it->Unreference();
}

TEST(DrawingContext, ImagesScrollingCheckerboardAndRowOperations) {
    // An image drawn at identity lands pixel for pixel.
    Canvas src(4, 4, 0xFF0000FFu);
    Canvas c(10, 10);
    CQDC dc;
    ASSERT_FALSE(dc.AttachIter(&c.it).IsError());
    const double at[9] = {1, 0, 3, 0, 1, 2, 0, 0, 1};
    ASSERT_FALSE(dc.DrawImageWC(&src.it, at, keResampleNearestNeighbor).IsError());
    EXPECT_EQ(c.At(3, 2), 0xFF0000FFu);
    EXPECT_EQ(c.At(6, 5), 0xFF0000FFu);
    EXPECT_EQ(c.At(7, 5), 0xFF000000u);
    EXPECT_EQ(c.At(2, 2), 0xFF000000u);

    // Scrolling by (2, 1) moves that block.
    ASSERT_FALSE(dc.Scroll(2, 1).IsError());
    EXPECT_EQ(c.At(5, 3), 0xFF0000FFu);
    EXPECT_EQ(c.At(8, 6), 0xFF0000FFu);

    // Transparent pixels over the checkerboard become its colours.
    Canvas t(16, 16, 0x00000000u);
    CQDC tdc;
    ASSERT_FALSE(tdc.AttachIter(&t.it).IsError());
    ASSERT_FALSE(tdc->BlendOverCheckboard(nullptr, 8, 0xFFFFFFFFu, 0xFF808080u).IsError());
    EXPECT_EQ(t.At(0, 0), 0xFFFFFFFFu);
    EXPECT_EQ(t.At(8, 0), 0xFF808080u);
    EXPECT_EQ(t.At(8, 8), 0xFFFFFFFFu);

    // A row operation on a device rectangle and under a world rectangle.
    CRowOpDefRowFill red(0xFF0000FFu);
    ASSERT_FALSE(tdc.ExecuteOpDC(red, {0, 0, 4, 4}).IsError());
    EXPECT_EQ(t.At(3, 3), 0xFFFF0000u);
    EXPECT_EQ(t.At(4, 4), 0xFFFFFFFFu);
    ASSERT_FALSE(tdc.ExecuteOpWC(red, {8, 8, 10.5, 10}).IsError());
    EXPECT_EQ(t.At(9, 9), 0xFFFF0000u);
    EXPECT_NEAR(double(t.At(10, 9) & 0xFF), 128, 1);  // half covered: half way to red
    EXPECT_EQ(t.At(11, 9), 0xFFFFFFFFu);
}

TEST(DrawingContext, TextMeasurementMatchesTheDrawnGlyphs) {
    Canvas c(200, 60);
    CQDC dc;
    ASSERT_FALSE(dc.AttachIter(&c.it).IsError());
    ASSERT_TRUE(dc->SetFont("DejaVu Sans", keTextStyleRegular, 32));
    dc.SetFillColorRGB(255, 0, 0);
    STextMetrics m;
    ASSERT_FALSE(dc->MeasureText("Quirky", -1, m).IsError());
    const SQPOINT origin{10, 40};
    ASSERT_FALSE(dc->QDrawText("Quirky", -1, &origin).IsError());
    const RECT drawn = c.Changed(0);
    EXPECT_NEAR(drawn.left, std::floor(origin.x + m.ink.left), 1);
    EXPECT_NEAR(drawn.right, std::ceil(origin.x + m.ink.right), 1);
    EXPECT_NEAR(drawn.top, std::floor(origin.y + m.ink.top), 1);
    EXPECT_NEAR(drawn.bottom, std::ceil(origin.y + m.ink.bottom), 1);
    EXPECT_GT(m.advance, m.ink.right - m.ink.left - 4);

    // Drawing without an origin moves the text position by the advance.
    dc->SetTextCP({0, 20});
    ASSERT_FALSE(dc->QDrawText("ab", 2).IsError());
    STextMetrics ab;
    ASSERT_FALSE(dc->MeasureText("ab", 2, ab).IsError());
    EXPECT_NEAR(dc->GetTextCP().x, ab.advance, 1e-9);

    // A missing family falls back and still draws.
    ASSERT_TRUE(dc->SetFont("No Such Family", 0, 20));
    EXPECT_FALSE(dc->QDrawText("x", 1, &origin).IsError());

    // The glyph-bounds receiver sees the outlines in device space.
    CMeasurePathReceiver bounds;
    dc->SetGlyphsBoundPathReceiver(&bounds);
    ASSERT_TRUE(dc->SetFont("DejaVu Sans", 0, 32));
    ASSERT_FALSE(dc->QDrawText("Quirky", -1, &origin).IsError());
    ASSERT_TRUE(bounds.HasPoints());
    EXPECT_NEAR(bounds.GetRect().left, origin.x + m.ink.left, 1.0);
}

TEST(DrawingContext, BadInputGivesCodesNotCrashes) {
    CQDC dc;
    VPathIteratorRefed* it = nullptr;
    EXPECT_EQ(dc->FillPath(it).Ignore(), keQuorErrIteratorState);
    CRowIterator detached;
    EXPECT_EQ(dc.AttachIter(&detached).Ignore(), keQuorErrIteratorState);
    Canvas c(10, 10);
    ASSERT_FALSE(dc.AttachIter(&c.it).IsError());
    EXPECT_EQ(dc->FillPath(it).Ignore(), keQuorErrFailed);
    // Singular and non-finite matrices draw nothing.
    const double flat[9] = {1, 0, 0, 0, 0, 0, 0, 0, 1};
    dc->SetCurrentMatrix(flat);
    EXPECT_FALSE(dc.Rectangle({1, 1, 5, 5}).IsError());
    const double bad[9] = {NAN, 0, 0, 0, 1, 0, 0, 0, 1};
    dc->SetCurrentMatrix(bad);
    EXPECT_FALSE(dc.Rectangle({1, 1, 5, 5}).IsError());
    EXPECT_EQ(c.Changed(0).right, -1);
    dc->SetCurrentMatrix(nullptr);
    dc->SetStrokeWidth(-2);
    EXPECT_FALSE(dc.Line({0, 0}, {9, 9}).IsError());
    EXPECT_EQ(c.Changed(0).right, -1);
    // Unbalanced stacks: extra pops fail, leftovers go with PopAll or the destructor.
    EXPECT_FALSE(dc.Pop());
    dc.Push();
    dc.Push();
}

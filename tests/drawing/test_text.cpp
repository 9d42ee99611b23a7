// Text: fonts found and faulted back, shaping with and without kerning,
// layout along baselines and curves, text inside shapes, the font cache.
#include <gtest/gtest.h>

#include <cstring>

#include "drawing/Curve.h"
#include "drawing/Text.h"
#include "drawing_test_util.h"

namespace {

struct SBoxes : public VGlyphPathReceiver {
    std::vector<SQRECT> boxes;
    std::vector<int> clusters;
    bool ReceiveGlyph(const CQPath& glyph, int cluster) override {
        SQRECT b;
        if (glyph.GetBBox(b)) boxes.push_back(b);
        clusters.push_back(cluster);
        return true;
    }
};

std::shared_ptr<CQFont> Sans() {
    auto f = CQFont::Find("DejaVu Sans", keTextStyleRegular);
    EXPECT_NE(f, nullptr);
    return f;
}

}  // namespace

TEST(Fonts, FamiliesFilesAndFallbacks) {
    bool fallback = true;
    auto sans = CQFont::Find("DejaVu Sans", keTextStyleRegular, &fallback);
    ASSERT_NE(sans, nullptr);
    EXPECT_FALSE(fallback);
    EXPECT_EQ(sans->GetFamily(), "DejaVu Sans");
    EXPECT_EQ(sans->GetUnitsPerEm(), 2048);
    EXPECT_EQ(CQFont::Find("dejavu sans", 0), sans);  // one shared face

    auto bold = CQFont::Find("DejaVu Sans", keTextStyleBold);
    ASSERT_NE(bold, nullptr);
    EXPECT_EQ(bold->GetStyle() & keTextStyleBold, keTextStyleBold);

    auto missing = CQFont::Find("No Such Family Anywhere", 0, &fallback);
    ASSERT_NE(missing, nullptr);
    EXPECT_TRUE(fallback);
    auto file = CQFont::Find(sans->GetFile().c_str(), 0, &fallback);
    EXPECT_EQ(file, sans);
    EXPECT_FALSE(fallback);
    EXPECT_NE(CQFont::Find("/no/such/font.ttf", 0, &fallback), nullptr);
    EXPECT_TRUE(fallback);
    EXPECT_EQ(CQFont::FromFile("/etc/hostname"), nullptr);
}

TEST(TextLayout, KerningAlignmentAndSpacing) {
    auto f = Sans();
    STextProps p;
    p.size = 100;
    STextMetrics kerned, plain, spaced, single;
    ASSERT_TRUE(QGDI_TextLayout(*f, p, "AVAV", -1, {0, 0}, nullptr, nullptr, &kerned));
    p.kerning = false;
    ASSERT_TRUE(QGDI_TextLayout(*f, p, "AVAV", -1, {0, 0}, nullptr, nullptr, &plain));
    ASSERT_TRUE(QGDI_TextLayout(*f, p, "A", -1, {0, 0}, nullptr, nullptr, &single));
    EXPECT_LT(kerned.advance, plain.advance - 1.0);  // A and V tuck under each other
    EXPECT_EQ(kerned.glyphs, 4);
    p.letterSpacing = 5;
    ASSERT_TRUE(QGDI_TextLayout(*f, p, "AVAV", -1, {0, 0}, nullptr, nullptr, &spaced));
    EXPECT_NEAR(spaced.advance, plain.advance + 20, 1e-9);
    // Ascent and descent of the em, within the usual proportions.
    EXPECT_GT(plain.ascent, 70);
    EXPECT_LT(plain.ascent, 100);
    EXPECT_GT(plain.descent, 15);

    for (ETextAlign a : {keTextAlignStart, keTextAlignMiddle, keTextAlignEnd}) {
        STextProps q;
        q.size = 40;
        q.align = a;
        STextMetrics m;
        ASSERT_TRUE(QGDI_TextLayout(*f, q, "Hello", 5, {200, 100}, nullptr, nullptr, &m));
        const double expectLeft = a == keTextAlignStart ? 0 : a == keTextAlignMiddle ? -m.advance / 2 : -m.advance;
        EXPECT_NEAR(m.ink.left, expectLeft, 5.0) << a;  // "H" has a small left bearing
        EXPECT_LT(m.ink.top, -25);                     // caps rise above the baseline
        EXPECT_NEAR(m.ink.bottom, 0, 1.0);  // round letters overshoot the baseline a little
    }
    STextMetrics empty;
    ASSERT_TRUE(QGDI_TextLayout(*f, p, "", 0, {0, 0}, nullptr, nullptr, &empty));
    EXPECT_EQ(empty.glyphs, 0);
    EXPECT_EQ(empty.advance, 0);
}

TEST(TextLayout, GlyphsAlongAStraightCurveSitWhereTheBaselinePutsThem) {
    auto f = Sans();
    STextProps p;
    p.size = 30;
    SBoxes flat, onPath;
    STextMetrics m;
    ASSERT_TRUE(QGDI_TextLayout(*f, p, "Wave", -1, {10, 50}, nullptr, &flat, &m));
    CQPath line;
    line.MoveTo(10, 50);
    line.LineTo(400, 50);
    CQCurve c;
    ASSERT_TRUE(c.Create(line));
    ASSERT_TRUE(QGDI_TextLayout(*f, p, "Wave", -1, {0, 0}, &c, &onPath, nullptr));
    ASSERT_EQ(flat.boxes.size(), 4u);
    ASSERT_EQ(onPath.boxes.size(), 4u);
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_NEAR(flat.boxes[i].left, onPath.boxes[i].left, 1e-6);
        EXPECT_NEAR(flat.boxes[i].bottom, onPath.boxes[i].bottom, 1e-6);
    }
    EXPECT_EQ(flat.clusters, (std::vector<int>{0, 1, 2, 3}));

    // Down a vertical line the glyphs turn a quarter: taller than wide.
    CQPath down;
    down.MoveTo(100, 0);
    down.LineTo(100, 400);
    ASSERT_TRUE(c.Create(down));
    SBoxes turned;
    ASSERT_TRUE(QGDI_TextLayout(*f, p, "----", -1, {0, 0}, &c, &turned, nullptr));
    ASSERT_EQ(turned.boxes.size(), 4u);
    for (const SQRECT& b : turned.boxes) EXPECT_GT(b.bottom - b.top, b.right - b.left);
    // Glyphs past the end of an open curve are left out.
    CQPath shortLine;
    shortLine.MoveTo(0, 0);
    shortLine.LineTo(20, 0);
    ASSERT_TRUE(c.Create(shortLine));
    SBoxes cut;
    ASSERT_TRUE(QGDI_TextLayout(*f, p, "MMMMMM", -1, {0, 0}, &c, &cut, nullptr));
    EXPECT_EQ(cut.boxes.size(), 1u);
}

TEST(TextLayout, TextInShapeFollowsTheChordsOfACircle) {
    CQPath disc;
    disc.CreateEllipse({0, 0, 100, 100});
    CQCurve c;
    ASSERT_TRUE(c.MakeTextInShapeCurve(disc, 10, 5, 0.0001));
    ASSERT_EQ(c.GetSegmentCount(), 10);
    double total = 0;
    for (int i = 0; i < 10; ++i) {
        SQCURVESEGMENT s;
        ASSERT_TRUE(c.GetSegmentInfo(i, s));
        const double y = 5 + 10 * i - 50;
        EXPECT_NEAR(s.length, 2 * std::sqrt(2500 - y * y), 0.05) << i;
        EXPECT_NEAR(s.cubic.p[0].y, 5 + 10 * i, 1e-9);
        total += s.length;
    }
    EXPECT_NEAR(c.GetLength(), total, 1e-6);
    EXPECT_FALSE(c.MakeTextInShapeCurve(disc, 0, 5));
    EXPECT_FALSE(c.MakeTextInShapeCurve(CQPath(), 10, 5));
}

TEST(FontCache, ShutdownClosesFacesStillHeld) {
    ASSERT_TRUE(QGDI_FontCacheStartup());
    auto f = CQFont::Find("DejaVu Sans", 0);
    ASSERT_NE(f, nullptr);
    EXPECT_GE(QGDI_FontCacheSize(), 1);
    QGDI_FontCacheShutdown();
    EXPECT_EQ(QGDI_FontCacheSize(), 0);
    std::vector<CQFont::SGlyph> g;
    EXPECT_FALSE(f->Shape("x", 1, true, g));  // closed: nothing, and no crash
    f.reset();
    ASSERT_TRUE(QGDI_FontCacheStartup());
    EXPECT_NE(CQFont::Find("DejaVu Sans", 0), nullptr);
}

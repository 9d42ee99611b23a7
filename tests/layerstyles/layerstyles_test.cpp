#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

#include "QuorRender/FilterBlur.h"
#include "layerstyles/LayerStyle.h"
#include "layerstyles/StyleRender.h"

namespace {

constexpr double kPi = 3.14159265358979;

// A grey disc of radius r at the centre of a size x size layer, its edge
// anti-aliased by 8 x 8 supersampling.
void Disc(CRowIterator& layer, int size, double r, uint8_t grey = 128) {
    ASSERT_FALSE(layer.Create(size, size, keFormatBGRA).IsError());
    const double c = size / 2.0;
    for (int y = 0; y < size; ++y) {
        uint8_t* row = nullptr;
        ASSERT_FALSE(layer.GetRow(row, y).IsError());
        for (int x = 0; x < size; ++x) {
            int inside = 0;
            for (int j = 0; j < 8; ++j)
                for (int i = 0; i < 8; ++i) inside += std::hypot(x + (i + 0.5) / 8 - c, y + (j + 0.5) / 8 - c) < r;
            row[4 * x] = row[4 * x + 1] = row[4 * x + 2] = grey;
            row[4 * x + 3] = static_cast<uint8_t>(std::lrint(inside * 255.0 / 64));
        }
        ASSERT_FALSE(layer.ReleaseRow(y).IsError());
    }
}

// A destination of w x h, transparent or an opaque pattern.
void Canvas(CRowIterator& dst, int w, int h, bool opaque) {
    ASSERT_FALSE(dst.Create(w, h, keFormatBGRA).IsError());
    for (int y = 0; y < h; ++y) {
        uint8_t* row = nullptr;
        ASSERT_FALSE(dst.GetRow(row, y).IsError());
        for (int x = 0; x < w; ++x) {
            row[4 * x] = opaque ? static_cast<uint8_t>(60 + (x * 3 + y) % 120) : 0;
            row[4 * x + 1] = opaque ? static_cast<uint8_t>(90 + (x ^ y) % 100) : 0;
            row[4 * x + 2] = opaque ? static_cast<uint8_t>(70 + (y * 5) % 110) : 0;
            row[4 * x + 3] = opaque ? 255 : 0;
        }
        ASSERT_FALSE(dst.ReleaseRow(y).IsError());
    }
}

std::vector<uint8_t> Bytes(const CRowIterator& image) {
    const int w = image.GetWidth(), bpp = image.GetBPP() / 8;
    std::vector<uint8_t> out(static_cast<size_t>(w) * bpp * image.GetHeight());
    for (int y = 0; y < image.GetHeight(); ++y)
        EXPECT_FALSE(image.GetAndCopyRow(&out[static_cast<size_t>(y) * w * bpp], y, 0, w, static_cast<size_t>(w) * bpp).IsError());
    return out;
}

std::vector<uint8_t> Render(const SLayerStyles& s, const CRowIterator& layer, POINT at, int w, int h, bool opaque) {
    CRowIterator dst;
    Canvas(dst, w, h, opaque);
    EXPECT_FALSE(QGDI_RenderLayerStyles(s, layer, at, dst).IsError());
    return Bytes(dst);
}

// Each effect enabled in a setting that must leave the picture as the bare layer draws it.
TEST(LayerStyles, NeutralSettingsDrawNothing) {
    CRowIterator layer;
    Disc(layer, 60, 22);
    const std::vector<std::function<void(SLayerStyles&)>> neutral = {
        [](SLayerStyles& s) { s.dropShadow.bEnabled = true; s.dropShadow.fOpacity = 0; },
        [](SLayerStyles& s) { s.innerShadow.bEnabled = true; s.innerShadow.fOpacity = 0; },
        [](SLayerStyles& s) { s.outerGlow.bEnabled = true; s.outerGlow.fOpacity = 0; },
        [](SLayerStyles& s) { s.innerGlow.bEnabled = true; s.innerGlow.eTechnique = keGlowPrecise; s.innerGlow.fOpacity = 0; },
        [](SLayerStyles& s) { s.bevel.bEnabled = true; s.bevel.fHighlightOpacity = s.bevel.fShadowOpacity = 0; },
        [](SLayerStyles& s) { s.bevel.bEnabled = true; s.bevel.eStyle = keBevelStrokeEmboss; },  // no stroke to shape
        [](SLayerStyles& s) { s.satin.bEnabled = true; s.satin.fDistance = 0; s.satin.bInvert = false; },
        [](SLayerStyles& s) { s.colourOverlay.bEnabled = true; s.colourOverlay.fOpacity = 0; },
        [](SLayerStyles& s) { s.gradientOverlay.bEnabled = true; s.gradientOverlay.fOpacity = 0; },
        [](SLayerStyles& s) { s.patternOverlay.bEnabled = true; },  // no pattern image
        [](SLayerStyles& s) { s.stroke.bEnabled = true; s.stroke.fSize = 0; },
        [](SLayerStyles& s) { s.stroke.bEnabled = true; s.stroke.fOpacity = 0; s.stroke.ePosition = keStrokeCentre; },
    };
    for (bool opaque : {false, true}) {
        const auto bare = Render(SLayerStyles(), layer, POINT{30, 20}, 130, 100, opaque);
        for (size_t k = 0; k < neutral.size(); ++k) {
            SLayerStyles s;
            neutral[k](s);
            EXPECT_EQ(Render(s, layer, POINT{30, 20}, 130, 100, opaque), bare) << "case " << k;
        }
    }
}

// A layer without alpha is an opaque rectangle: its drop shadow alone (fill
// hidden, no knock-out) is the square blurred by the image blur, moved.
TEST(LayerStyles, DropShadowOfAnOpaqueSquareIsTheBlurredSquareAtTheOffset) {
    CRowIterator square;
    ASSERT_FALSE(square.Create(40, 40, keFormatBGR).IsError());
    for (const auto& [angle, size, dx, dy] : {std::tuple{180.0, 8.0, 10, 0}, std::tuple{90.0, 4.0, 0, 10},
                                              std::tuple{120.0, 12.0, 6, 10}, std::tuple{0.0, 3.0, -12, 0}}) {
        SLayerStyles s;
        s.fFillOpacity = 0;
        s.light.fAngle = angle;
        s.dropShadow.bEnabled = true;
        s.dropShadow.eMode = keBlendMoxNormal;
        s.dropShadow.fOpacity = 1;
        s.dropShadow.fDistance = std::hypot(dx, dy);
        s.dropShadow.fSize = size;
        s.dropShadow.bLayerKnocksOut = false;
        const auto got = Render(s, square, POINT{40, 40}, 120, 120, false);
        CRowIterator mask, blurred;
        const CColorRef black(0, 0, 0);
        ASSERT_FALSE(mask.CreateGreyscale(120, 120, &black).IsError());
        for (int y = 40 + dy; y < 80 + dy; ++y)
            for (int x = 40 + dx; x < 80 + dx; ++x) mask.GetRow(y, 0, 120)[x] = 255, mask.ReleaseRow(y).Ignore();
        ASSERT_FALSE(QGDI_GaussianBlur(mask, blurred, size / 2, size / 2, keEdgeConstant).IsError());
        const auto want = Bytes(blurred);
        int worst = 0;
        for (size_t i = 0; i < want.size(); ++i) {
            worst = std::max(worst, std::abs(int(got[4 * i + 3]) - int(want[i])));
            if (got[4 * i + 3]) {
                ASSERT_EQ(got[4 * i] | got[4 * i + 1] | got[4 * i + 2], 0);  // black
            }
        }
        EXPECT_LE(worst, 2) << angle << " " << size;
    }
}

// Ring areas and the width along a radius, for every position.
TEST(LayerStyles, StrokeWidthsMeasuredOnADisc) {
    const double R = 30;
    CRowIterator layer;
    Disc(layer, 100, R);
    for (EStyleStrokePosition pos : {keStrokeOutside, keStrokeInside, keStrokeCentre}) {
        for (double w : {1.0, 3.0, 6.5, 12.0}) {
            SLayerStyles s;
            s.fFillOpacity = 0;
            s.stroke.bEnabled = true;
            s.stroke.fSize = w;
            s.stroke.ePosition = pos;
            const auto got = Render(s, layer, POINT{10, 10}, 120, 120, false);
            const double inner = pos == keStrokeOutside ? R : pos == keStrokeInside ? R - w : R - w / 2;
            const double outer = inner + w;
            double area = 0, along = 0;
            for (int y = 0; y < 120; ++y)
                for (int x = 0; x < 120; ++x) area += got[(static_cast<size_t>(y) * 120 + x) * 4 + 3] / 255.0;
            for (int x = 60; x < 120; ++x) along += got[(static_cast<size_t>(60) * 120 + x) * 4 + 3] / 255.0;
            const double want = kPi * (outer * outer - inner * inner);
            EXPECT_NEAR(area, want, 0.02 * want + 0.15 * 2 * kPi * R) << pos << " w " << w;
            EXPECT_NEAR(along, w, 0.35) << pos << " w " << w;
        }
    }
}

// Every effect moved around: nothing changes outside the computed rectangle,
// and only the outward ones reach beyond the layer's shape.
TEST(LayerStyles, ExtentsContainEveryChangedPixel) {
    CRowIterator layer, pattern;
    Disc(layer, 50, 15, 200);
    Canvas(pattern, 7, 5, true);
    struct SCase {
        bool outward;
        std::function<void(SLayerStyles&)> set;
    };
    const std::vector<SCase> cases = {
        {true, [](SLayerStyles& s) { s.dropShadow.bEnabled = true; s.dropShadow.fDistance = 14; s.dropShadow.fSize = 9; s.dropShadow.fSpread = 0.3; s.dropShadow.fNoise = 0.5; }},
        {true, [](SLayerStyles& s) { s.outerGlow.bEnabled = true; s.outerGlow.fSize = 15; s.outerGlow.eMode = keBlendMoxNormal; }},
        {true, [](SLayerStyles& s) { s.outerGlow.bEnabled = true; s.outerGlow.eTechnique = keGlowPrecise; s.outerGlow.fSize = 9; s.outerGlow.fSpread = 0.4; s.outerGlow.bUseGradient = true; s.outerGlow.eMode = keBlendMoxNormal; }},
        {true, [](SLayerStyles& s) { s.bevel.bEnabled = true; s.bevel.eStyle = keBevelOuter; s.bevel.fSize = 8; }},
        {true, [](SLayerStyles& s) { s.bevel.bEnabled = true; s.bevel.eStyle = keBevelEmboss; s.bevel.eTechnique = keBevelChiselHard; s.bevel.fSize = 10; s.bevel.fSoften = 2; }},
        {true, [](SLayerStyles& s) { s.bevel.bEnabled = true; s.bevel.eStyle = keBevelPillow; s.bevel.eTechnique = keBevelChiselSoft; s.bevel.fSize = 6; s.bevel.bDown = true; }},
        {true, [](SLayerStyles& s) { s.stroke.bEnabled = true; s.stroke.fSize = 5; s.bevel.bEnabled = true; s.bevel.eStyle = keBevelStrokeEmboss; }},
        {true, [&](SLayerStyles& s) { s.stroke.bEnabled = true; s.stroke.fSize = 4; s.stroke.ePosition = keStrokeCentre; s.stroke.eFill = keStyleFillPattern; s.stroke.pattern.pImage = &pattern; }},
        {true, [](SLayerStyles& s) { s.stroke.bEnabled = true; s.stroke.fSize = 6; s.stroke.eFill = keStyleFillGradient; s.stroke.gradient.eType = keStyleGradientAngle; }},
        {false, [](SLayerStyles& s) { s.innerShadow.bEnabled = true; s.innerShadow.fSize = 6; s.innerShadow.fSpread = 0.2; }},
        {false, [](SLayerStyles& s) { s.innerGlow.bEnabled = true; s.innerGlow.eSource = keGlowCentre; s.innerGlow.eMode = keBlendMoxNormal; }},
        {false, [](SLayerStyles& s) { s.satin.bEnabled = true; }},
        {false, [](SLayerStyles& s) { s.bevel.bEnabled = true; s.bevel.eTechnique = keBevelChiselHard; s.bevel.gloss.ePreset = keContourRing; }},
        {false, [](SLayerStyles& s) { s.gradientOverlay.bEnabled = true; s.gradientOverlay.gradient.eType = keStyleGradientRadial; s.colourOverlay.bEnabled = true; s.colourOverlay.eMode = keBlendMoxMultiply; }},
        {false, [&](SLayerStyles& s) { s.patternOverlay.bEnabled = true; s.patternOverlay.pattern.pImage = &pattern; s.patternOverlay.pattern.fScale = 1.5; }},
    };
    const POINT at{70, 45};
    const RECT layerRect{70, 45, 120, 95};
    for (bool opaque : {false, true}) {
        const auto bare = Render(SLayerStyles(), layer, at, 200, 160, opaque);
        for (size_t k = 0; k < cases.size(); ++k) {
            SLayerStyles s;
            s.fOpacity = 0.9;
            cases[k].set(s);
            const RECT extent = QGDI_CalculateStyleRectangle(s, layerRect);
            const auto got = Render(s, layer, at, 200, 160, opaque);
            int outside = 0, beyondLayer = 0, changed = 0;
            for (int y = 0; y < 160; ++y)
                for (int x = 0; x < 200; ++x) {
                    const size_t i = (static_cast<size_t>(y) * 200 + x) * 4;
                    if (got[i] == bare[i] && got[i + 1] == bare[i + 1] && got[i + 2] == bare[i + 2] && got[i + 3] == bare[i + 3]) continue;
                    ++changed;
                    outside += x < extent.left || x >= extent.right || y < extent.top || y >= extent.bottom;
                    beyondLayer += std::hypot(x + 0.5 - (at.x + 25), y + 0.5 - (at.y + 25)) > 16;  // off the disc
                }
            EXPECT_GT(changed, 0) << "case " << k;
            EXPECT_EQ(outside, 0) << "case " << k;
            if (cases[k].outward) EXPECT_GT(beyondLayer, 0) << "case " << k;
            else EXPECT_EQ(beyondLayer, 0) << "case " << k;
        }
    }
}

// Fill opacity hides only the layer's pixels; opacity hides everything.
TEST(LayerStyles, FillOpacityAndOpacity) {
    CRowIterator layer;
    Disc(layer, 40, 15);
    SLayerStyles s;
    s.colourOverlay.bEnabled = true;
    s.colourOverlay.nColour = 0x2040F0;
    s.fFillOpacity = 0;
    const auto overlay = Render(s, layer, POINT{0, 0}, 40, 40, false);
    EXPECT_EQ(overlay[(20 * 40 + 20) * 4 + 0], 0xF0);
    EXPECT_EQ(overlay[(20 * 40 + 20) * 4 + 2], 0x20);
    EXPECT_EQ(overlay[(20 * 40 + 20) * 4 + 3], 255);
    s.fOpacity = 0;
    CRowIterator blank;
    Canvas(blank, 40, 40, true);
    EXPECT_EQ(Render(s, layer, POINT{0, 0}, 40, 40, true), Bytes(blank));
}

// Light from the upper left: the inner bevel lights the upper-left rim and
// darkens the lower-right one; pressed down, the other way round.
TEST(LayerStyles, BevelShadesTowardTheLight) {
    CRowIterator square;
    const CColorRef grey(128, 128, 128);
    ASSERT_FALSE(square.CreateRGB(60, 60, &grey).IsError());
    for (EStyleBevelTechnique t : {keBevelSmooth, keBevelChiselHard, keBevelChiselSoft})
        for (bool down : {false, true}) {
            SLayerStyles s;
            s.light.fAngle = 135;
            s.bevel.bEnabled = true;
            s.bevel.eTechnique = t;
            s.bevel.fSize = 8;
            s.bevel.bDown = down;
            const auto got = Render(s, square, POINT{10, 10}, 80, 80, true);
            const auto at = [&](int x, int y) { return int(got[(static_cast<size_t>(y) * 80 + x) * 4 + 1]); };
            const int topLeft = at(12, 40), bottomRight = at(67, 40), middle = at(40, 40);
            EXPECT_EQ(middle, 128);
            if (!down) {
                EXPECT_GT(topLeft, 150) << t;
                EXPECT_LT(bottomRight, 110) << t;
            } else {
                EXPECT_LT(topLeft, 110) << t;
                EXPECT_GT(bottomRight, 150) << t;
            }
        }
}

TEST(LayerStyles, BadInputIsRefusedOrHarmless) {
    CRowIterator layer, detached, dst;
    Disc(layer, 20, 8);
    Canvas(dst, 50, 50, true);
    SLayerStyles s;
    s.dropShadow.bEnabled = s.outerGlow.bEnabled = s.bevel.bEnabled = s.stroke.bEnabled = true;
    EXPECT_EQ(QGDI_RenderLayerStyles(s, detached, POINT{0, 0}, dst), keQuorErrIteratorState);
    EXPECT_EQ(QGDI_RenderLayerStyles(s, layer, POINT{0, 0}, detached), keQuorErrIteratorState);
    const auto before = Bytes(dst);
    EXPECT_FALSE(QGDI_RenderLayerStyles(s, layer, POINT{5000, -9000}, dst).IsError());
    EXPECT_EQ(Bytes(dst), before);
    // Absurd numbers are clamped or ignored.
    s.dropShadow.fSize = 1e12;
    s.dropShadow.fDistance = NAN;
    s.outerGlow.fSpread = -4;
    s.bevel.fDepth = INFINITY;
    s.bevel.fSoften = 1e9;
    s.stroke.fSize = 1e9;
    s.light.fAngle = NAN;
    s.fOpacity = NAN;
    EXPECT_FALSE(QGDI_RenderLayerStyles(s, layer, POINT{-10, 40}, dst).IsError());
    const RECT r = QGDI_CalculateStyleRectangle(s, RECT{0, 0, 20, 20});
    EXPECT_LE(r.right - r.left, 20 + 2 * 800);
}

}  // namespace

namespace {

// Contour presets and custom curves at points whose values are known.
TEST(StyleTables, ContoursAndGradients) {
    const struct {
        EStyleContour preset;
        int at;
        float want;
    } points[] = {{keContourLinear, 0, 0},     {keContourLinear, 255, 1},        {keContourLinear, 51, 0.2f},
                  {keContourCone, 0, 0},       {keContourCone, 255, 0},          {keContourConeInverted, 0, 1},
                  {keContourGaussian, 0, 0},   {keContourGaussian, 255, 1},      {keContourHalfRound, 255, 1},
                  {keContourSawtooth, 0, 0},   {keContourCoveDeep, 255, 1},      {keContourRollingSlope, 255, 1}};
    for (const auto& p : points) {
        SStyleContour c;
        c.ePreset = p.preset;
        float t[256];
        QGDI_StyleContourTable(c, t);
        EXPECT_NEAR(t[p.at], p.want, 1e-3) << p.preset << " at " << p.at;
        for (float v : t) EXPECT_TRUE(v >= 0 && v <= 1);
    }
    SStyleContour custom;
    custom.aPoints = {{0, 1}, {0.5, 0}, {1, 1}};
    float t[256];
    QGDI_StyleContourTable(custom, t);
    EXPECT_NEAR(t[0], 1, 1e-6);
    EXPECT_NEAR(t[64], 1 - 64 / 127.5, 1e-3);
    EXPECT_NEAR(t[255], 1, 1e-6);
    custom.aPoints = {{0.8, 0}, {0.2, 1}};  // not rising: the preset serves
    QGDI_StyleContourTable(custom, t);
    EXPECT_NEAR(t[51], 0.2f, 1e-3);

    SStyleGradient g;
    g.aStops = {{1, 0x0000FF, 1}, {0, 0xFF0000, 0}, {0.5, 0x00FF00, 0.5}};  // out of order on purpose
    uint32_t table[256];
    QGDI_StyleGradientTable(g, table);
    EXPECT_EQ(table[0], 0x00FF0000u);
    EXPECT_EQ(table[255], 0xFF0000FFu);
    EXPECT_EQ(table[255] >> 24, 255u);
    EXPECT_NEAR(double((table[128] >> 8) & 255), 255 * (1 - 0.5 / 127.5), 2.0);  // green near its stop
    EXPECT_NEAR(double(table[128] >> 24), 128, 2.0);
    SStyleGradient empty;
    QGDI_StyleGradientTable(empty, table);
    EXPECT_EQ(table[0], 0xFF000000u);
    EXPECT_EQ(table[255], 0xFFFFFFFFu);
}

// A precise outer glow fades linearly over its size from the edge of a
// square; a hard inner shadow of an opaque square is the outside shifted in.
TEST(LayerStyles, PreciseGlowAndInnerShadowFollowTheirClosedForms) {
    CRowIterator square;
    ASSERT_FALSE(square.Create(20, 20, keFormatBGR).IsError());
    SLayerStyles glow;
    glow.fFillOpacity = 0;
    glow.outerGlow.bEnabled = true;
    glow.outerGlow.eTechnique = keGlowPrecise;
    glow.outerGlow.eMode = keBlendMoxNormal;
    glow.outerGlow.fOpacity = 1;
    glow.outerGlow.fSize = 10;
    const auto g = Render(glow, square, POINT{20, 20}, 60, 60, false);
    for (int d = 0; d < 10; ++d) {
        // Pixel centres d + 0.5 from the square's right edge.
        const double want = std::clamp(1 - (d + 0.5) / 10, 0.0, 1.0) * 255;
        EXPECT_NEAR(g[(30 * 60 + 40 + d) * 4 + 3], want, 1.5) << d;
    }
    EXPECT_EQ(g[(30 * 60 + 51) * 4 + 3], 0);

    SLayerStyles inner;
    inner.fFillOpacity = 0;
    inner.innerShadow.bEnabled = true;
    inner.innerShadow.eMode = keBlendMoxNormal;
    inner.innerShadow.fOpacity = 1;
    inner.innerShadow.fSize = 0;
    inner.innerShadow.fDistance = 4;
    inner.light.fAngle = 180;  // the shadow falls 4 pixels to the right
    const auto s = Render(inner, square, POINT{20, 20}, 60, 60, false);
    for (int x = 20; x < 40; ++x) EXPECT_EQ(s[(30 * 60 + x) * 4 + 3], x < 24 ? 255 : 0) << x;
    EXPECT_EQ(s[(30 * 60 + 19) * 4 + 3], 0);  // nothing outside the layer
}

// Overlays cover the layer's shape: a horizontal gradient runs from its left
// edge to its right, a pattern repeats from the layer's corner.
TEST(LayerStyles, GradientAndPatternOverlays) {
    CRowIterator square, pattern;
    ASSERT_FALSE(square.Create(64, 32, keFormatBGR).IsError());
    Canvas(pattern, 5, 3, true);
    SLayerStyles s;
    s.gradientOverlay.bEnabled = true;
    s.gradientOverlay.gradient.fAngle = 0;
    const auto g = Render(s, square, POINT{8, 8}, 80, 48, false);
    const auto grey = [&](int x) { return int(g[(20 * 80 + x) * 4 + 1]); };
    EXPECT_LE(grey(8), 6);
    EXPECT_GE(grey(71), 249);
    EXPECT_NEAR(grey(40), 128, 6);
    for (int x = 9; x < 72; ++x) EXPECT_GE(grey(x), grey(x - 1));
    s.gradientOverlay.gradient.bReverse = true;
    EXPECT_GE(Render(s, square, POINT{8, 8}, 80, 48, false)[(20 * 80 + 8) * 4 + 1], 249);

    SLayerStyles p;
    p.patternOverlay.bEnabled = true;
    p.patternOverlay.pattern.pImage = &pattern;
    const auto got = Render(p, square, POINT{8, 8}, 80, 48, false);
    const auto tile = Bytes(pattern);
    for (int y = 8; y < 40; y += 7)
        for (int x = 8; x < 72; x += 3)
            for (int c = 0; c < 4; ++c)
                EXPECT_EQ(got[(static_cast<size_t>(y) * 80 + x) * 4 + c], tile[(static_cast<size_t>((y - 8) % 3) * 5 + (x - 8) % 5) * 4 + c]);
}

}  // namespace

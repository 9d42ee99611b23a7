// Morphology and displacement: brute-force maxima and minima over the
// rectangle and the ellipse at every border, flat regions restored by dilate
// then erode, the ellipse's rows, displacement by constant and neutral maps,
// the SVG rule, bad input.
#include <gtest/gtest.h>

#include <random>

#include "QuorRender/FilterDisplace.h"
#include "QuorRender/FilterMorphology.h"
#include "filter_test_util.h"

using namespace qgdi::test;

namespace {

::testing::Environment* const kEnv = ::testing::AddGlobalTestEnvironment(new CPipelineEnvironment);

double BruteForce(const CRowIterator& img, bool dilate, EQMorphShape shape, int rx, int ry, int x, int y, int c,
                  EEdgeMode edge, double outside) {
    double best = dilate ? -1 : 1e9;
    for (int dy = -ry; dy <= ry; ++dy)
        for (int dx = -rx; dx <= rx; ++dx) {
            // The ellipse by its own inequality, independent of the row table.
            if (shape == keMorphRound && ry > 0 && rx > 0 &&
                double(dx) * dx / (double(rx) * rx) + double(dy) * dy / (double(ry) * ry) > 1 + 1e-12)
                continue;
            const double v = AtEdge(img, x + dx, y + dy, c, edge, outside);
            best = dilate ? std::max(best, v) : std::min(best, v);
        }
    return best;
}

TEST(Morphology, MatchesBruteForceEverywhere) {
    std::mt19937 rng(5);
    const struct {
        EQMorphShape shape;
        int rx, ry;
    } cases[] = {{keMorphSquare, 1, 1}, {keMorphSquare, 3, 0},  {keMorphSquare, 0, 4}, {keMorphSquare, 5, 2},
                 {keMorphSquare, 9, 9}, {keMorphRound, 2, 2},   {keMorphRound, 4, 2},  {keMorphRound, 1, 5},
                 {keMorphRound, 6, 6},  {keMorphRound, 3, 0}};
    for (const EQPixelFormat f : {keFormatGrey, keFormatBGRA, keFormatGreyA_u16}) {
        auto src = MakeImage(23, 17, f, [&](int, int, int) {
            return static_cast<double>(rng() % (CQPixelFormat(f).Is8bit() ? 256 : 65536));
        });
        const double outside = CQPixelFormat(f).Is8bit() ? 0x40 : 0x40 * 257;
        for (const auto& k : cases)
            for (const bool dilate : {true, false})
                for (const EEdgeMode edge : {keEdgeWrap, keEdgeClamp, keEdgeConstant}) {
                    CImageMorphology op(dilate, k.shape, k.rx, k.ry);
                    op.SetEdgeMode(edge, 0x40404040u);
                    CRowIterator dst;
                    ASSERT_FALSE(op.Apply(*src, dst).IsError());
                    int wrong = 0;
                    for (int y = 0; y < 17; ++y)
                        for (int x = 0; x < 23; ++x)
                            for (int c = 0; c < CQPixelFormat(f).GetChannelCount(); ++c)
                                wrong += At(dst, x, y, c) !=
                                         BruteForce(*src, dilate, k.shape, k.rx, k.ry, x, y, c, edge, outside);
                    EXPECT_EQ(wrong, 0) << "format " << f << " shape " << k.shape << " " << k.rx << "x" << k.ry
                                        << (dilate ? " dilate" : " erode") << " edge " << edge;
                }
    }
}

TEST(Morphology, EllipseRowsAndClosingOfAFlatRegion) {
    EXPECT_EQ(qgdi::filter::EllipseHalfWidths(3, 3), (std::vector<int>{0, 2, 2, 3, 2, 2, 0}));
    EXPECT_EQ(qgdi::filter::EllipseHalfWidths(4, 0), (std::vector<int>{4}));
    // A bright square on black: dilating then eroding restores it exactly
    // away from the image border, for both shapes.
    auto src = MakeImage(40, 40, keFormatGrey, [](int x, int y, int) { return x >= 12 && x < 28 && y >= 15 && y < 25 ? 200 : 30; });
    for (const EQMorphShape shape : {keMorphSquare, keMorphRound}) {
        CRowIterator grown, back;
        ASSERT_FALSE(QGDI_Dilate(*src, grown, shape, 4, 3).IsError());
        ASSERT_FALSE(QGDI_Erode(grown, back, shape, 4, 3).IsError());
        EXPECT_EQ(ImageBytes(back), ImageBytes(*src)) << shape;
    }
}

TEST(Morphology, ChannelSetAndBadInput) {
    auto src = MakeImage(12, 9, keFormatBGRA, [](int x, int y, int c) { return (x * 20 + y * 7 + c * 60) % 256; });
    CRowIterator dst;
    ASSERT_FALSE(QGDI_Dilate(*src, dst, keMorphSquare, 2, 2, keChannelSetAlpha).IsError());
    for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 12; ++x)
            for (int c = 0; c < 3; ++c) EXPECT_EQ(At(dst, x, y, c), At(*src, x, y, c));
    for (const auto& r : {std::pair{-1, 1}, std::pair{1, -3}, std::pair{2000, 1}}) {
        CRowIterator out;
        EXPECT_EQ(QGDI_Erode(*src, out, keMorphRound, r.first, r.second).Ignore(), keQuorErrFailed);
    }
    CRowIterator out;
    EXPECT_EQ(QGDI_Erode(*src, out, static_cast<EQMorphShape>(7), 1, 1).Ignore(), keQuorErrFailed);
    // Radii far past the image are windows of edge pixels: a full-image extreme.
    ASSERT_FALSE(QGDI_Dilate(*src, out, keMorphSquare, 300, 300, keChannelSetRed).IsError());
    double top = 0;
    for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 12; ++x) top = std::max(top, At(*src, x, y, 2));
    for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 12; ++x) EXPECT_EQ(At(out, x, y, 2), top);
}

// A map whose two channels hold vx and vy everywhere.
std::unique_ptr<CRowIterator> Map(int w, int h, EQPixelFormat f, double vx, double vy) {
    return MakeImage(w, h, f, [=](int, int, int c) { return c == 2 ? vx : c == 1 ? vy : 255; });
}

TEST(Displacement, ConstantMapsShiftByTheirOffset) {
    auto src = MakeImage(25, 20, keFormatBGR, [](int x, int y, int c) { return (x * 9 + y * 5 + c * 31) % 256; });
    const struct {
        double vx, vy, scale;
        int sx, sy;  // the whole-pixel shift they give
    } cases[] = {{255, 255, 8, 4, 4}, {0, 255, 6, -3, 3}, {0, 0, -4, 2, 2}, {255, 0, 20, 10, -10}};
    for (const auto& c : cases)
        for (const bool svg : {false, true}) {
            auto map = Map(25, 20, keFormatBGRA, c.vx, c.vy);
            // 255 / 255 - 1/2 is an exact half: the shift is whole in both rules.
            CImageDisplacement op(keChannelRed, keChannelGreen, c.scale);
            op.SetSvg(svg);
            CRowIterator dst;
            ASSERT_FALSE(op.Apply(*src, *map, dst).IsError());
            for (int y = 0; y < 20; ++y)
                for (int x = 0; x < 25; ++x)
                    for (int ch = 0; ch < 3; ++ch) {
                        const int px = x + c.sx, py = y + c.sy;
                        const bool inside = px >= 0 && px < 25 && py >= 0 && py < 20;
                        // Outside: clamped, or transparent black under the SVG rule.
                        const double want = inside || !svg ? AtEdge(*src, px, py, ch, keEdgeClamp, 0) : 0;
                        ASSERT_EQ(At(dst, x, y, ch), want) << x << "," << y << " svg " << svg;
                    }
        }
}

TEST(Displacement, BilinearHalfPixelAndSvgUnpremultipliedMap) {
    // A column ramp moved by half a pixel across averages neighbours.
    auto src = MakeImage(16, 4, keFormatGrey, [](int x, int, int) { return x * 10; });
    auto map = MakeImage(16, 4, keFormatBGR, [](int, int, int c) { return c == 2 ? 255 : 127.5; });
    CRowIterator dst;
    // Red 255 with scale 1 gives +0.5 pixel; green 127 (of 255) gives about -0.002.
    ASSERT_FALSE(QGDI_DisplacementMap(*src, *map, dst, keChannelRed, keChannelGreen, 1.0).IsError());
    for (int x = 0; x < 15; ++x) EXPECT_NEAR(At(dst, x, 1, 0), x * 10 + 5, 1) << x;
    // A premultiplied map at half alpha: SVG reads its colour divided back,
    // 64 of 128 is 0.5 -> no shift; taken as stored it would shift.
    auto pm = MakeImage(16, 4, keFormatBGRxA, [](int, int, int c) { return c == 3 ? 128 : c == 2 ? 64 : 64; });
    CRowIterator a;
    ASSERT_FALSE(QGDI_DisplacementMap(*src, *pm, a, keChannelRed, keChannelGreen, 10.0, true).IsError());
    for (int x = 0; x < 16; ++x) EXPECT_EQ(At(a, x, 1, 0), x * 10) << x;
}

TEST(Displacement, NeutralMapIsTheIdentityAndBadInputGetsACode) {
    auto src = MakeImage(14, 10, keFormatBGRA_u16, [](int x, int y, int c) { return c == 3 ? 65535 : x * 3000 + y * 100 + c; });
    auto map = Map(14, 10, keFormatBGR, 10, 200);
    CRowIterator dst;
    ASSERT_FALSE(QGDI_DisplacementMap(*src, *map, dst, keChannelRed, keChannelGreen, 0).IsError());
    EXPECT_EQ(ImageBytes(dst), ImageBytes(*src));
    auto small = Map(13, 10, keFormatBGR, 0, 0);
    auto grey = MakeImage(14, 10, keFormatGrey, [](int, int, int) { return 1; });
    auto floats = MakeImage(14, 10, keFormatBGR_f32, [](int, int, int) { return 0.5; });
    CRowIterator out, none;
    EXPECT_EQ(QGDI_DisplacementMap(*src, *small, out, keChannelRed, keChannelGreen, 3).Ignore(), keQuorErrFailed);
    EXPECT_EQ(QGDI_DisplacementMap(*src, *grey, out, keChannelRed, keChannelGreen, 3).Ignore(), keQuorErrFailed);
    EXPECT_EQ(QGDI_DisplacementMap(*src, *map, out, keChannelRed, keChannelGreen, NAN).Ignore(), keQuorErrFailed);
    EXPECT_EQ(QGDI_DisplacementMap(*src, *map, out, keChannelRed, keChannelGreen, 1e9).Ignore(), keQuorErrFailed);
    EXPECT_EQ(QGDI_DisplacementMap(*src, *floats, out, keChannelRed, keChannelGreen, 1).Ignore(),
              keQuorErrFormatNotSupported);
    EXPECT_EQ(QGDI_DisplacementMap(*src, none, out, keChannelRed, keChannelGreen, 1).Ignore(), keQuorErrIteratorState);
}

}  // namespace

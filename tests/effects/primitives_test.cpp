// Each primitive at its neutral setting, under absurd parameters, and the
// properties that define it where no reference rendering exists.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "effect_test_util.h"

using namespace effects_test;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

std::unique_ptr<CRowIterator> Photo(int w = 32, int h = 24, bool translucent = false) {
    return MakeBGRA(w, h, [=](int x, int y) {
        const uint32_t a = translucent ? uint32_t(60 + 6 * x) : 255u;
        return a << 24 | uint32_t((x * 7 + y * 3) & 255) << 16 | uint32_t((y * 11) & 255) << 8 | uint32_t((x * y) & 255);
    });
}

using Build = std::function<void(CIoEffectBuilder&)>;

CErrorAutoThrow RunBuilt(const Build& build, const CRowIterator& src, CRowIterator& out) {
    CIoEffect fx;
    CIoEffectBuilder b(fx);
    build(b);
    return RunEffect(fx, src, out, &src);
}

struct SNeutral {
    const char* name;
    Build build;
};

const double kIdentity20[20] = {1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0};
const double kIdentity9[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};

const SNeutral kNeutral[] = {
    {"ColorMatrix", [](CIoEffectBuilder& b) { b(1, -1).ColorMatrix(kIdentity20); }},
    {"Saturate1", [](CIoEffectBuilder& b) { b(1, -1).ColorSaturate(1); }},
    {"HueRotate0", [](CIoEffectBuilder& b) { b(1, -1).ColorHueRotate(0); }},
    {"Transfer", [](CIoEffectBuilder& b) { b(1, -1).ComponentTransfer(nullptr, nullptr, nullptr, nullptr); }},
    {"Gamma", [](CIoEffectBuilder& b) { b(1, -1).Gamma(1, 1, 0); }},
    {"Blur0", [](CIoEffectBuilder& b) { b(1, -1).GaussianBlur(0, 0); }},
    {"Offset0", [](CIoEffectBuilder& b) { b(1, -1).Offset(0, 0); }},
    {"Matrix", [](CIoEffectBuilder& b) { b(1, -1).TransformationMatrix(kIdentity9); }},
    {"Rotate0", [](CIoEffectBuilder& b) { b(1, -1).Rotate(0); }},
    {"Twirl0", [](CIoEffectBuilder& b) { b(1, -1).Twirl(0); }},
    {"Wave0", [](CIoEffectBuilder& b) { b(1, -1).Wave(0, 10, 0, 10); }},
    {"Perspective0", [](CIoEffectBuilder& b) { b(1, -1).HPerspective(0); }},
    {"Tile", [](CIoEffectBuilder& b) { b(1, -1).Tile(1); }},
    {"Noise0", [](CIoEffectBuilder& b) { b(1, -1).Noise(0); }},
    {"Arithmetic", [](CIoEffectBuilder& b) { b(1, -1, -3).Arithmetic(0, 1, 0, 0); }},
    {"CompositeSource", [](CIoEffectBuilder& b) { b(1, -1, -3).Composite(keCompositeSource); }},
    {"Bevel0", [](CIoEffectBuilder& b) { b(1, -1).Bevel(0, 3); }},
    {"ConvolveIdentity", [](CIoEffectBuilder& b) {
         const double k[9] = {0, 0, 0, 0, 1, 0, 0, 0, 0};
         b(1, -1).ConvolveMatrix(k, 1, keEdgeClamp, keChannelSetAll, 3, 3);
     }},
    {"Dilate0", [](CIoEffectBuilder& b) { b(1, -1).DilateSquare(0, 0); }},
    {"Erode0", [](CIoEffectBuilder& b) { b(1, -1).ErodeRound(0, 0); }},
    {"Displacement0", [](CIoEffectBuilder& b) { b(1, -1, -3).DisplacementMap(keChannelRed, keChannelGreen, 0); }},
    {"BumpMap0", [](CIoEffectBuilder& b) { b(1, -1).BumpMap(0); }},
};

class Neutral : public ::testing::TestWithParam<SNeutral> {};

TEST_P(Neutral, LeavesTheInputUnchanged) {
    for (const bool translucent : {false, true}) {
        const auto src = Photo(32, 24, translucent);
        CRowIterator out;
        ASSERT_EQ(RunBuilt(GetParam().build, *src, out).Ignore(), keQuorErrSuccess);
        // Straight colour survives the operations' premultiplied 8-bit form
        // only to within half a level of the premultiplied value.
        const auto d = MeanPremultipliedDifference(out, *src);
        for (int c = 0; c < 4; ++c) EXPECT_LE(d[size_t(c)], translucent ? 0.25 : 0.0) << GetParam().name << " " << c;
    }
}

INSTANTIATE_TEST_SUITE_P(Effects, Neutral, ::testing::ValuesIn(kNeutral),
                         [](const auto& info) { return std::string(info.param.name); });

// Absurd parameters: a defined code (0 or 101) and never a crash or hang.
TEST(Primitives, AbsurdParametersGiveACodeNotACrash) {
    const auto src = Photo(20, 14);
    const double nan20[20] = {kNaN, kInf};
    const double singular[9] = {0, 0, 0, 0, 0, 0, 0, 0, 0};
    const Build cases[] = {
        [](CIoEffectBuilder& b) { b(1, -1).GaussianBlur(1e12, 0); },
        [](CIoEffectBuilder& b) { b(1, -1).GaussianBlur(kNaN, kNaN); },
        [](CIoEffectBuilder& b) { b(1, -1).GaussianBlur(-5, 0); },
        [&](CIoEffectBuilder& b) { b(1, -1).ColorMatrix(nan20); },
        [](CIoEffectBuilder& b) { b(1, -1).ColorMatrix(nullptr); },
        [](CIoEffectBuilder& b) { b(1, -1).ColorSaturate(kInf); },
        [](CIoEffectBuilder& b) { b(1, -1).ColorHueRotate(kNaN); },
        [](CIoEffectBuilder& b) { b(1, -1).Gamma(kNaN, 1e300, -kInf); },
        [](CIoEffectBuilder& b) { b(1, -1).Chrome(CColorRef(1, 2, 3), 1e30); },
        [](CIoEffectBuilder& b) { b(1, -1).Colorize(kNaN, 9); },
        [](CIoEffectBuilder& b) { b(1, -1).ColorChannelConstant(EQChannel(77), 0.5); },
        [](CIoEffectBuilder& b) { b(1, -1).Offset(kNaN, 1e300); },
        [](CIoEffectBuilder& b) { b(1, -1).Offset(1e9, -1e9); },
        [&](CIoEffectBuilder& b) { b(1, -1).TransformationMatrix(singular); },
        [](CIoEffectBuilder& b) { b(1, -1).Rotate(kInf); },
        [](CIoEffectBuilder& b) { b(1, -1).Twirl(1e300); },
        [](CIoEffectBuilder& b) { b(1, -1).Wave(1e9, 0, kNaN, -4); },
        [](CIoEffectBuilder& b) { b(1, -1).HPerspective(-7); },
        [](CIoEffectBuilder& b) { b(1, -1).Tile(0); },
        [](CIoEffectBuilder& b) { b(1, -1).Tile(kNaN); },
        [](CIoEffectBuilder& b) { b(1).Turbulence(kNaN, 1e300, 1000, true, -123456789012L, kInf); },
        [](CIoEffectBuilder& b) { b(1).Turbulence(0, 0, -4, false, 0, -1); },
        [](CIoEffectBuilder& b) { b(1, -1).Noise(-50); },
        [](CIoEffectBuilder& b) { b(1, -1).LightDiffuseDistant(CColorRef(), kNaN, kInf, kNaN, -kInf); },
        [](CIoEffectBuilder& b) { b(1, -1).LightSpecularSpot(CColorRef(), 0, 0, 0, 0, 0, 0, kNaN, 1e9, 0, kNaN, 1e300); },
        [](CIoEffectBuilder& b) { b(1, -1).LightSpecularPoint(CColorRef(), 1e300, -1e300, kNaN, 1e9); },
        [](CIoEffectBuilder& b) { b(1, -1).Wind(-3, EWindDirection(9)); },
        [](CIoEffectBuilder& b) { b(1, -1).Bevel(1 << 30, kNaN, kInf); },
        [](CIoEffectBuilder& b) { b(1, -1).BumpMap(kInf, kNaN, -1e9); },
        [](CIoEffectBuilder& b) { b(1, -1).Sculpture(kNaN); },
        [](CIoEffectBuilder& b) { b(1, -1).Tiles(0, 1 << 30); },
        [](CIoEffectBuilder& b) { b(1, -1).Image(nullptr, keResampleBilinear); },
        [](CIoEffectBuilder& b) { b(1, -1).Composite(EQCompositeOp(99)); },
        [](CIoEffectBuilder& b) { b(1, -1).Arithmetic(kNaN, kInf, -kInf, 1e300); },
        [&](CIoEffectBuilder& b) { b(1, -1).ConvolveMatrix(nan20, 0, keEdgeWrap, keChannelSetAll, 4, 5); },
        [&](CIoEffectBuilder& b) { b(1, -1).ConvolveMatrix(nan20, 1, keEdgeWrap, keChannelSetAll, 100000, 1); },
        [&](CIoEffectBuilder& b) { b(1, -1).ConvolveMatrix(nullptr, 1, keEdgeClamp, keChannelSetAll, 3, 3); },
        [](CIoEffectBuilder& b) { b(1, -1).ConvolveMatrix(EQFilterMatrix(99), keEdgeClamp, keChannelSetAll); },
        [](CIoEffectBuilder& b) { b(1, -1).DilateSquare(1 << 30, -5); },
        [](CIoEffectBuilder& b) { b(1, -1).ErodeRound(5000, 5000); },
        [](CIoEffectBuilder& b) { b(1, -1, -1).DisplacementMap(EQChannel(9), keChannelRed, 5); },
        [](CIoEffectBuilder& b) { b(1, -1, -1).DisplacementMap(keChannelRed, keChannelRed, kNaN); },
        [](CIoEffectBuilder& b) { b(1, -1, -1).DisplacementMap(keChannelRed, keChannelRed, 1e12); },
    };
    int index = 0;
    for (const Build& build : cases) {
        CRowIterator out;
        const QuorErrorCode code = RunBuilt(build, *src, out).Ignore();
        EXPECT_TRUE(code == keQuorErrSuccess || code == keQuorErrFailed) << "case " << index << " code " << code;
        ++index;
    }
}

TEST(Primitives, TurbulenceDependsOnlyOnTheSourcePosition) {
    // The same noise whether the run covers the whole image or a part placed elsewhere.
    const auto src = Photo(40, 30);
    CIoEffect fx;
    CIoEffectBuilder{fx}(1).Turbulence(0.07, 0.05, 3, true, 11, 0);
    CRowIterator whole;
    ASSERT_EQ(RunEffect(fx, *src, whole).Ignore(), keQuorErrSuccess);
    CIoEffect part;
    CIoEffectBuilder{part}(1).Turbulence(0.07, 0.05, 3, true, 11, 0);
    CRowIterator dst;
    const CColorRef clear(0, 0, 0, 0);
    ASSERT_FALSE(dst.Create(60, 50, keFormatBGRA, &clear).IsError());
    CIoData d;
    d.pDst = &dst;
    d.pSrc = src.get();
    d.ptOrigin = {10, 8};
    d.rcDst = {15, 12, 45, 35};  // source pixels (5, 4) to (35, 27)
    ASSERT_EQ(part.Run(d).Ignore(), keQuorErrSuccess);
    for (const auto& [x, y] : {std::pair{5, 4}, {20, 13}, {34, 26}})
        EXPECT_EQ(Pixel(dst, x + 10, y + 8), Pixel(whole, x, y)) << x << "," << y;
}

TEST(Primitives, BlurHasTheDeviationItNames) {
    // A line blurred across: its profile's variance is sigma^2, exactly for
    // the kernel below 2 and within the three boxes' whole sizes above.
    for (const double sigma : {0.8, 1.5, 2.5, 4.0, 7.0}) {
        const auto line = MakeBGRA(81, 61, [](int x, int) { return x == 40 ? 0xffffffffu : 0u; });
        CRowIterator out;
        ASSERT_EQ(RunBuilt([=](CIoEffectBuilder& b) { b(1, -1).GaussianBlur(sigma, 0); }, *line, out).Ignore(),
                  keQuorErrSuccess);
        double sum = 0, moment = 0;
        for (int x = 0; x < 81; ++x) {
            const double a = Pixel(out, x, 30) >> 24;
            sum += a;
            moment += a * (x - 40) * (x - 40);
        }
        EXPECT_NEAR(std::sqrt(moment / sum), sigma, sigma < 2 ? 0.03 : 0.08 * sigma) << sigma;
        EXPECT_NEAR(sum, 255, 255 * 0.04) << sigma;
    }
}

TEST(Primitives, ColourMatricesOfTheirClosedForms) {
    const auto src = MakeBGRA(4, 1, [](int x, int) { return 0xff000000u | uint32_t(40 * x + 30) << 16 | 0x8000u | 0x20u; });
    struct SCase {
        Build build;
        std::function<uint32_t(int r, int g, int b)> expect;
    };
    const SCase cases[] = {
        {[](CIoEffectBuilder& b) { b(1, -1).Greyscale(); },
         [](int r, int g, int b) {
             const uint32_t l = uint32_t(std::lround(0.213 * r + 0.715 * g + 0.072 * b));
             return 0xff000000u | l << 16 | l << 8 | l;
         }},
        {[](CIoEffectBuilder& b) { b(1, -1).ColorChannelConstant(keChannelGreen, 0.5); },
         [](int r, int, int b) { return 0xff000000u | uint32_t(r) << 16 | 128u << 8 | uint32_t(b); }},
        {[](CIoEffectBuilder& b) { b(1, -1).Invert(); },
         [](int r, int g, int b) { return 0xff000000u | uint32_t(255 - r) << 16 | uint32_t(255 - g) << 8 | uint32_t(255 - b); }},
    };
    for (const SCase& c : cases) {
        CRowIterator out;
        ASSERT_EQ(RunBuilt(c.build, *src, out).Ignore(), keQuorErrSuccess);
        for (int x = 0; x < 4; ++x) {
            const uint32_t s = Pixel(*src, x, 0), want = c.expect(int(s >> 16 & 255), int(s >> 8 & 255), int(s & 255));
            const uint32_t got = Pixel(out, x, 0);
            for (int ch = 0; ch < 4; ++ch)
                EXPECT_NEAR(int(got >> (8 * ch) & 255), int(want >> (8 * ch) & 255), 1) << x << " " << ch;
        }
    }
}

TEST(Primitives, DeformationsMoveWhatTheirMapsSay) {
    const auto src = Photo(30, 30);
    // A quarter turn of a square about its centre is exact on whole pixels.
    CRowIterator out;
    ASSERT_EQ(RunBuilt([](CIoEffectBuilder& b) { b(1, -1).Rotate(90); }, *src, out).Ignore(), keQuorErrSuccess);
    int same = 0;
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 30; ++x) same += Pixel(out, x, y) == Pixel(*src, y, 29 - x) || Pixel(out, x, y) == Pixel(*src, 29 - y, x);
    EXPECT_GT(same, 30 * 30 * 9 / 10);
    // An offset moves pixels and leaves transparency behind.
    CRowIterator moved;
    ASSERT_EQ(RunBuilt([](CIoEffectBuilder& b) { b(1, -1).Offset(4, -2); }, *src, moved).Ignore(), keQuorErrSuccess);
    EXPECT_EQ(Pixel(moved, 10, 10), Pixel(*src, 6, 12));
    EXPECT_EQ(Pixel(moved, 2, 5), 0u);
    for (const Build& build : {Build([](CIoEffectBuilder& b) { b(1, -1).Circle(); }),
                               Build([](CIoEffectBuilder& b) { b(1, -1).Pentagon(); }),
                               Build([](CIoEffectBuilder& b) { b(1, -1).Twirl(90); }),
                               Build([](CIoEffectBuilder& b) { b(1, -1).Wave(3, 8, 2, 6); }),
                               Build([](CIoEffectBuilder& b) { b(1, -1).VPerspective(0.4); })}) {
        CRowIterator d;
        ASSERT_EQ(RunBuilt(build, *src, d).Ignore(), keQuorErrSuccess);
        EXPECT_GT(MeanPremultipliedDifference(d, *src)[1], 0.5);  // something moved
    }
}

TEST(Primitives, ReliefAndWindKeepTheShapeAndChangeTheShading) {
    const auto src = MakeBGRA(40, 40, [](int x, int y) {
        const bool inside = (x - 20) * (x - 20) + (y - 20) * (y - 20) < 15 * 15;
        return inside ? 0xff808080u : 0u;
    });
    const Build cases[] = {
        [](CIoEffectBuilder& b) { b(1, -1).Bevel(5, 2); },
        [](CIoEffectBuilder& b) { b(1, -1, -2).BumpMap(3); },
        [](CIoEffectBuilder& b) { b(1, -1).Sculpture(2); },
        [](CIoEffectBuilder& b) { b(1, -1).Chrome(CColorRef(255, 220, 180), 2); },
    };
    for (const Build& build : cases) {
        CRowIterator out;
        ASSERT_EQ(RunBuilt(build, *src, out).Ignore(), keQuorErrSuccess);
        EXPECT_EQ(MeanPremultipliedDifference(out, *src)[3], 0.0);  // alpha kept
    }
    // A bevel lit from the top left: the top-left rim lighter than the bottom-right one.
    CRowIterator bevel;
    ASSERT_EQ(RunBuilt([](CIoEffectBuilder& b) { b(1, -1).Bevel(5, 2, 225); }, *src, bevel).Ignore(), keQuorErrSuccess);
    EXPECT_GT(Pixel(bevel, 11, 11) & 255, Pixel(bevel, 29, 29) & 255);
    // Wind from the left drags the grey disc's right edge out.
    CRowIterator wind;
    ASSERT_EQ(RunBuilt([](CIoEffectBuilder& b) { b(1, -1).Wind(20, keWindFromLeft); }, *src, wind).Ignore(), keQuorErrSuccess);
    EXPECT_GT(Pixel(wind, 36, 20) >> 24, 0u);
    EXPECT_EQ(Pixel(wind, 3, 20), 0u);
}

TEST(Primitives, TilesAndImagePlaceTheirPixels) {
    const auto src = Photo(32, 32);
    CRowIterator tiles;
    ASSERT_EQ(RunBuilt([](CIoEffectBuilder& b) { b(1, -1).Tiles(8, 0); }, *src, tiles).Ignore(), keQuorErrSuccess);
    EXPECT_EQ(Pixel(tiles, 3, 3), Pixel(*src, 3, 3));  // inside a tile, away from its rim
    const auto small = Photo(8, 4);
    CRowIterator placed;
    ASSERT_EQ(RunBuilt([&](CIoEffectBuilder& b) { b(1).Image(small.get(), keResampleNearestNeighbor); }, *src, placed).Ignore(),
              keQuorErrSuccess);
    // 8 x 4 fitted into 32 x 32: scaled by 4, centred vertically (rows 8 to 23).
    EXPECT_EQ(Pixel(placed, 5, 7), 0u);
    EXPECT_EQ(Pixel(placed, 5, 9), Pixel(*small, 1, 0));
}

}  // namespace

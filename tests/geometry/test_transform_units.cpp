#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "geometry/geometry.h"

namespace {

// ---- transform command ----

struct TransformCase {
    const char* name;
    CQTransformOp op;
    CQSize canvas;
    SQPOINT topLeftGoesTo;
};

CQTransformOp Op(double sx, double sy, double rot, bool flipH, double ox = 0, CQSize canvas = CQSize()) {
    CQTransformOp op;
    op.m_dScaleX = sx;
    op.m_dScaleY = sy;
    op.m_dRotation = rot;
    op.m_bFlipHorizontal = flipH;
    op.m_dOffsetX = ox;
    op.m_canvas = canvas;
    return op;
}

TEST(TransformOp, MatricesAndCanvases) {
    const CQSize src(100, 50);
    const TransformCase cases[] = {
        {"identity", Op(1, 1, 0, false), {100, 50}, {0, 0}},
        {"quarter turn", Op(1, 1, 90, false), {50, 100}, {50, 0}},
        {"mirror", Op(1, 1, 0, true), {100, 50}, {100, 0}},
        {"double width", Op(2, 1, 0, false), {200, 50}, {0, 0}},
        {"fixed canvas with offset", Op(1, 1, 0, false, 10, CQSize(200, 200)), {200, 200}, {60, 75}},
    };
    for (const TransformCase& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_TRUE(c.op.GetCanvasSize(src) == c.canvas);
        CQMatrix3x3 m;
        c.op.GetMatrix(src, m);
        SQPOINT p{0, 0};
        m.Transform(p);
        EXPECT_TRUE(std::hypot(p.x - c.topLeftGoesTo.x, p.y - c.topLeftGoesTo.y) < 1e-9) << p.x << "," << p.y;
        if (c.op.m_canvas.IsEmpty()) {
            // A fitted canvas holds the transformed source exactly.
            CQRect rc(0, 0, src.cx, src.cy);
            m.Transform(rc);
            EXPECT_TRUE(rc == CQRect(0, 0, c.canvas.cx, c.canvas.cy));
        }
    }
    EXPECT_TRUE(Op(1, 1, 0, false).IsIdentity());
    EXPECT_FALSE(Op(1, 1, 0, true).IsIdentity());
}

TEST(TransformOp, ShearAndRotationCompose) {
    CQTransformOp op;
    op.m_dShearX = 45;
    op.m_dRotation = 30;
    CQMatrix3x3 m;
    op.GetMatrix(CQSize(10, 10), m);
    // The linear part is R(30) x ShX(tan 45).
    CQMatrix3x3 expected;
    expected.RotateAngle(30);
    expected.ShearX(1);
    for (int r = 0; r < 2; ++r)
        for (int c = 0; c < 2; ++c) EXPECT_NEAR(m.GetCell(r, c), expected.GetCell(r, c), 1e-12);
}

// ---- lengths ----

TEST(QLength, ConversionsToPixels) {
    struct {
        CQLength len;
        double dpi, ref, px;
    } cases[] = {
        {{1, keUnitInches}, 300, 0, 300},       {{25.4, keUnitMillimeters}, 300, 0, 300},
        {{2.54, keUnitCentimeters}, 96, 0, 96}, {{72, keUnitPoints}, 150, 0, 150},
        {{6, keUnitPicas}, 72, 0, 72},          {{50, keUnitPercent}, 300, 400, 200},
        {{17, keUnitPixels}, 300, 0, 17},       {{1, keUnitInches}, -5, 0, 72},
    };
    for (const auto& c : cases) {
        EXPECT_NEAR(c.len.ToPixels(c.dpi, c.ref), c.px, 1e-12);
        const CQLength back = CQLength::FromPixels(c.px, c.len.GetUnit(), c.dpi, c.ref);
        EXPECT_TRUE(back == c.len) << back.Format(6);
    }
    EXPECT_NEAR(CQLength(3, keUnitCentimeters).ConvertTo(keUnitMillimeters, 0).GetValue(), 30, 1e-12);
    EXPECT_NEAR(CQLength(150, keUnitPixels).ConvertTo(keUnitInches, 300).GetValue(), 0.5, 1e-12);
    EXPECT_EQ(CQLength::FromPixels(10, keUnitPercent, 72, 0).GetValue(), 0);
}

TEST(QLength, ParseAndFormat) {
    struct {
        const char* text;
        bool ok;
        double value;
        EQLengthUnit unit;
    } cases[] = {{"12.5 mm", true, 12.5, keUnitMillimeters},
                 {" 3in ", true, 3, keUnitInches},
                 {"2\"", true, 2, keUnitInches},
                 {"50 %", true, 50, keUnitPercent},
                 {"7", true, 7, keUnitPoints},
                 {"1e2PX", true, 100, keUnitPixels},
                 {"-4 Pc", true, -4, keUnitPicas},
                 {"abc", false, 0, keUnitPixels},
                 {"5 furlongs", false, 0, keUnitPixels},
                 {"", false, 0, keUnitPixels},
                 {nullptr, false, 0, keUnitPixels}};
    for (const auto& c : cases) {
        CQLength len(99, keUnitCentimeters);
        EXPECT_EQ(CQLength::Parse(c.text, len, keUnitPoints), c.ok) << (c.text ? c.text : "null");
        if (c.ok) {
            EXPECT_EQ(len.GetUnit(), c.unit);
            EXPECT_DOUBLE_EQ(len.GetValue(), c.value);
        } else {
            EXPECT_TRUE(len == CQLength(99, keUnitCentimeters));
        }
    }
    EXPECT_EQ(CQLength(12.5, keUnitMillimeters).Format(), "12.5 mm");
    EXPECT_EQ(CQLength(2.0 / 3, keUnitInches).Format(), "0.67 in");
    EXPECT_EQ(CQLength(50, keUnitPercent).Format(), "50%");
    EXPECT_EQ(CQLength(-0.001, keUnitPoints).Format(), "0 pt");
    // Found by fuzzing: fixed notation of a huge value once overran a short
    // buffer and printed a different number.
    for (double v : {1e300, -1.7976931348623157e308, 123456789012345678901234567890.0}) {
        CQLength back;
        ASSERT_TRUE(CQLength::Parse(CQLength(v, keUnitMillimeters).Format(12).c_str(), back));
        EXPECT_EQ(back.GetValue(), v);
    }
}

// ---- tabulated functions ----

TEST(FastFnI, TableMatchesTheFunctionAndClamps) {
    CFastFnI gamma;
    ASSERT_TRUE(gamma.Init([](int v) { return 255.0 * std::pow(v / 255.0, 1 / 2.2); }, 0, 255));
    for (int v = 0; v < 256; ++v) EXPECT_EQ(gamma(v), std::lround(255.0 * std::pow(v / 255.0, 1 / 2.2)));
    EXPECT_EQ(gamma(-10), 0);
    EXPECT_EQ(gamma(1000), 255);

    CFastFnI wild;
    ASSERT_TRUE(wild.Init([](int v) { return v * 2.0 - 100.0; }, -10, 300));
    // -100 and -20 saturate at 0, 410 at 255; 65535 is clamped to the last argument, 300.
    const uint8_t in8[4] = {0, 40, 120, 255};
    uint8_t out8[4];
    wild.Apply(in8, out8, 4);
    EXPECT_EQ(std::vector<uint8_t>(out8, out8 + 4), (std::vector<uint8_t>{0, 0, 140, 255}));
    const uint16_t in16[2] = {5, 65535};
    uint16_t out16[2];
    wild.Apply(in16, out16, 2);
    EXPECT_TRUE(out16[0] == 0 && out16[1] == 500) << out16[0] << " " << out16[1];

    CFastFnI bad;
    EXPECT_FALSE(bad.Init([](int) { return 0.0; }, 5, 4));
    EXPECT_FALSE(bad.IsValid());
    EXPECT_EQ(bad(3), 0);
    EXPECT_TRUE(bad.Init([](int) { return 1e300; }, INT32_MAX - 1, INT32_MAX));
    EXPECT_EQ(bad(INT32_MAX), INT32_MAX);
}

TEST(FastFnR, InterpolationErrorWithinTheBound) {
    CFastFnR f;
    ASSERT_TRUE(f.Init([](double x) { return std::sin(x); }, 0, kQPiFull, 1025));
    // |error| <= h^2 / 8 max|sin''| with h = pi / 1024.
    const double bound = (kQPiFull / 1024) * (kQPiFull / 1024) / 8;
    std::mt19937 rng(2);
    std::uniform_real_distribution<double> u(0, kQPiFull);
    for (int i = 0; i < 1000; ++i) {
        const double x = u(rng);
        EXPECT_NEAR(f(x), std::sin(x), bound + 1e-15);
    }
    for (int i = 0; i < 1025; i += 64) EXPECT_DOUBLE_EQ(f(f.SampleAt(i)), std::sin(f.SampleAt(i)));
    EXPECT_DOUBLE_EQ(f(-1), 0.0);
    EXPECT_NEAR(f(10), std::sin(kQPiFull), 1e-15);
    EXPECT_DOUBLE_EQ(f(NAN), 0.0);
    double xs[3] = {0, kQPiFull / 2, kQPiFull}, ys[3];
    f.Eval(xs, ys, 3);
    EXPECT_NEAR(ys[1], 1, 1e-15);

    CFastFnR bad;
    EXPECT_FALSE(bad.Init([](double) { return 0.0; }, 1, 1, 10));
    EXPECT_FALSE(bad.Init([](double) { return 0.0; }, 0, 1, 1));
    EXPECT_EQ(bad(0.5), 0.0);
}

}  // namespace

// Gradient tables, spreads and the four gradient kinds against closed forms.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "drawing/drawing.h"

namespace {

constexpr uint32_t kRed = 0xFF0000FFu, kBlue = 0xFFFF0000u;  // RGBA words
constexpr double kPi = 3.14159265358979;

std::vector<uint32_t> Table(std::vector<double> offsets, std::vector<uint32_t> colours, bool* ok = nullptr) {
    std::vector<uint32_t> lut(kGradientLUTSize, 0xDEADBEEFu);
    const bool built = QGDI_CalculateGradientLUT1024(lut.data(), offsets.data(), colours.data(), int(colours.size()));
    if (ok) *ok = built;
    return lut;
}

uint32_t Channel(uint32_t bgra, int shift) { return (bgra >> shift) & 0xFF; }

}  // namespace

TEST(Gradient, CleanUpUsesRawPreviousOffset) {
    struct Case {
        std::vector<double> in, out;
    } cases[] = {
        {{0.5, 0.2, 0.1}, {0.5, 0.5, 0.2}},
        {{-0.5, 0.3, 1.5}, {0.0, 0.3, 1.0}},
        {{1.5, 0.2}, {1.0, 1.5}},  // raw 1.5 copied unclamped
        {{0.0, 0.25, 0.25, 1.0}, {0.0, 0.25, 0.25, 1.0}},
    };
    for (const Case& c : cases) {
        double* out = nullptr;
        ASSERT_TRUE(QGDI_CleanUpGradient(c.in.data(), out, int(c.in.size())));
        for (size_t i = 0; i < c.in.size(); ++i) EXPECT_DOUBLE_EQ(out[i], c.out[i]) << i;
        delete[] out;
    }
}

TEST(Gradient, TableEntries) {
    // Red to blue: 512 is halfway, 127.5 rounds to even 128.
    std::vector<uint32_t> lut = Table({0, 1}, {kRed, kBlue});
    EXPECT_EQ(lut[0], QGDI_RGBAtoBGRA(kRed));
    EXPECT_EQ(lut[1024], QGDI_RGBAtoBGRA(kBlue));
    EXPECT_EQ(Channel(lut[512], 16), 128u);  // red
    EXPECT_EQ(Channel(lut[512], 0), 128u);   // blue
    EXPECT_EQ(Channel(lut[512], 24), 255u);
    // Inner stops: flat ends.
    lut = Table({0.25, 0.75}, {kRed, kBlue});
    for (int i : {0, 100, 256}) EXPECT_EQ(lut[size_t(i)], QGDI_RGBAtoBGRA(kRed)) << i;
    for (int i : {768, 900, 1024}) EXPECT_EQ(lut[size_t(i)], QGDI_RGBAtoBGRA(kBlue)) << i;
    // One stop, or coinciding ends: one colour.
    for (const std::vector<double>& offs : {std::vector<double>{0.3}, std::vector<double>{0.4, 0.4}}) {
        std::vector<uint32_t> colours(offs.size(), 0x80112233u);
        colours.back() = offs.size() > 1 ? kBlue : colours.back();
        lut = Table(offs, colours);
        for (int i : {0, 512, 1024}) EXPECT_EQ(lut[size_t(i)], QGDI_RGBAtoBGRA(0x80112233u));
    }
    // Alpha interpolates straight.
    lut = Table({0, 1}, {0x00000000u, 0xFF0000FFu});
    EXPECT_EQ(Channel(lut[256], 24), 64u);  // 63.75
    EXPECT_EQ(Channel(lut[256], 16), 64u);
    // An offset that escaped cleaning fails.
    bool ok = true;
    Table({0, 1.5}, {kRed, kBlue}, &ok);
    EXPECT_FALSE(ok);
    Table({-0.5, 1}, {kRed, kBlue}, &ok);
    EXPECT_FALSE(ok);
}

TEST(Gradient, SpreadIndex) {
    struct Case {
        double t;
        ESpreadMethod spread;
        int index;
    } cases[] = {
        {-0.25, keSpreadPad, 0},    {1.25, keSpreadPad, 1024},    {0.5, keSpreadPad, 512},
        {-0.25, keSpreadRepeat, 768}, {1.0, keSpreadRepeat, 1024}, {2.0, keSpreadRepeat, 0},
        {1.25, keSpreadRepeat, 256},  {-1.0, keSpreadRepeat, 1024}, {1.25, keSpreadReflect, 768},
        {-0.25, keSpreadReflect, 256}, {2.0, keSpreadReflect, 0},   {3.0, keSpreadReflect, 1024},
        {0.5 / 1024, keSpreadPad, 0},  {1.5 / 1024, keSpreadPad, 2}, {std::nan(""), keSpreadPad, 0},
    };
    for (const Case& c : cases) EXPECT_EQ(QGDI_GradientSpreadIndex(c.t, c.spread), c.index) << c.t << " " << c.spread;
}

// Every kind at hand-computed pixels, and its span kernel against the scalar
// parameter through the scalar spread over whole rows.
TEST(Gradient, KindsAtKnownPixels) {
    const uint32_t colours[] = {0xFF000000u, 0xFFFFFFFFu};  // black to white: grey = t
    const double offsets[] = {0, 1};
    const SQRECT box{0, 0, 100, 100};
    struct Case {
        const char* name;
        CQFillSrc* src;
        int x, y;  // a device pixel (its centre is at +0.5)
        double t;  // its parameter, by hand
    };
    auto lin = [&](ESpreadMethod s) {
        return QGDI_FillSrcLinearGradient_Create(box, {0, 0}, {100, 0}, keGradientUserSpace, colours, offsets, 2, s,
                                                 nullptr);
    };
    const double scale2[9] = {2, 0, 0, 0, 2, 0, 0, 0, 1};
    Case cases[] = {
        {"linear", lin(keSpreadPad), 24, 7, 0.245},
        {"linear scaled", QGDI_FillSrcLinearGradient_Create(box, {0, 0}, {50, 0}, 0, colours, offsets, 2,
                                                            keSpreadPad, scale2),
         24, 0, 0.245},
        {"linear box units", QGDI_FillSrcLinearGradient_Create(SQRECT{10, 0, 50, 10}, {0, 0}, {1, 0},
                                                               keGradientBoundingBox, colours, offsets, 2,
                                                               keSpreadRepeat, nullptr),
         19, 3, 9.5 / 40},
        {"radial centred", QGDI_FillSrcRadialGradient_Create(box, {50, 50}, 40, {50, 50}, 0, colours, offsets, 2,
                                                              keSpreadPad, nullptr),
         79, 49, std::hypot(29.5, 0.5) / 40},
        // Focal 20 left of the centre: along the axis to the right the ray
        // meets the circle 60 from the focal point.
        {"radial focal", QGDI_FillSrcRadialGradient_Create(box, {50, 49.5}, 40, {30, 49.5}, 0, colours, offsets, 2,
                                                            keSpreadReflect, nullptr),
         59, 49, 29.5 / 60},
        {"angular", QGDI_FillSrcAngularGradient_Create(box, {49.5, 49.5}, 0, 0, colours, offsets, 2, keSpreadPad,
                                                       nullptr),
         49, 59, 0.25},
        {"angular rotated", QGDI_FillSrcAngularGradient_Create(box, {49.5, 49.5}, kPi / 2, 0, colours, offsets, 2,
                                                               keSpreadRepeat, nullptr),
         39, 49, 0.25},
        {"rectangular", QGDI_FillSrcRectangularGradient_Create(box, {10, 30}, {90, 70}, 0, colours, offsets, 2,
                                                               keSpreadPad, nullptr),
         49, 59, 9.5 / 20},
    };
    for (Case& c : cases) {
        ASSERT_NE(c.src, nullptr) << c.name;
        auto* g = static_cast<CFillSrcGradient*>(c.src);
        EXPECT_NEAR(g->GetParameter(c.x, c.y), c.t, 1e-9) << c.name;
        // Span kernel: the pixel's grey is the parameter.
        uint32_t px = 0;
        c.src->GetSpan(c.x, c.y, 1, &px);
        EXPECT_NEAR(double(Channel(px, 0)), c.t * 255, 1.0) << c.name;
        // Whole rows against the scalar path, every spread.
        for (int y : {0, 37, 99}) {
            std::vector<uint32_t> row(300);
            c.src->GetSpan(-100, y, 300, row.data());
            int off = 0;
            for (int i = 0; i < 300; ++i) {
                const double t = g->GetParameter(i - 100, y);
                const uint32_t want = g->GetLUT()[QGDI_GradientSpreadIndex(t, g->GetSpread())];
                off += std::abs(int(Channel(row[size_t(i)], 0)) - int(Channel(want, 0))) > 1;
            }
            EXPECT_EQ(off, 0) << c.name << " row " << y;
        }
        c.src->Unreference();
    }
}

TEST(Gradient, LinearSpreadsMatchScalarOverLongRows) {
    const uint32_t colours[] = {0xFF0000FFu, 0xFF00FF00u, 0x80FF0000u};
    const double offsets[] = {0, 0.3, 1};
    for (ESpreadMethod spread : {keSpreadPad, keSpreadRepeat, keSpreadReflect})
        for (double length : {3.0, 97.0, 1e5, -61.0}) {
            CQFillSrc* src = QGDI_FillSrcLinearGradient_Create(SQRECT{}, {5, 0}, {5 + length, length / 3}, 0, colours,
                                                               offsets, 3, spread, nullptr);
            ASSERT_NE(src, nullptr);
            auto* g = static_cast<CFillSrcGradient*>(src);
            std::vector<uint32_t> row(5000);
            src->GetSpan(-2000, 11, 5000, row.data());
            int off = 0;
            for (int i = 0; i < 5000; ++i) {
                const double t = g->GetParameter(i - 2000, 11);
                const int want = QGDI_GradientSpreadIndex(t, spread);
                // A position within a hundredth of an entry of a rounding tie may go either way.
                const double s = t * 1024;
                const bool tie = std::fabs(s - std::floor(s) - 0.5) < 0.01;
                off += !tie && row[size_t(i)] != g->GetLUT()[want];
            }
            EXPECT_EQ(off, 0) << spread << " " << length;
            src->Unreference();
        }
}

TEST(Gradient, BadInputGivesNull) {
    const uint32_t colours[] = {kRed, kBlue};
    const double offsets[] = {0, 1};
    const SQRECT box{0, 0, 10, 10};
    const double singular[9] = {0, 0, 0, 0, 0, 0, 0, 0, 1};
    const double nan = std::nan("");
    EXPECT_EQ(QGDI_FillCreateLinearGradient(box, {1, 1}, {1, 1}, 0, colours, offsets, 2, keSpreadPad, nullptr), nullptr);
    EXPECT_EQ(QGDI_FillCreateLinearGradient(box, {0, 0}, {1, 1}, 0, colours, offsets, 0, keSpreadPad, nullptr), nullptr);
    EXPECT_EQ(QGDI_FillCreateLinearGradient(box, {0, 0}, {1, 1}, 0, colours, offsets, -3, keSpreadPad, nullptr), nullptr);
    EXPECT_EQ(QGDI_FillCreateLinearGradient(box, {0, 0}, {1, 1}, 0, nullptr, offsets, 2, keSpreadPad, nullptr), nullptr);
    EXPECT_EQ(QGDI_FillCreateLinearGradient(box, {0, 0}, {nan, 1}, 0, colours, offsets, 2, keSpreadPad, nullptr),
              nullptr);
    EXPECT_EQ(QGDI_FillCreateLinearGradient(box, {0, 0}, {1, 1}, 0, colours, offsets, 2, keSpreadPad, singular),
              nullptr);
    EXPECT_EQ(QGDI_FillCreateLinearGradient(SQRECT{3, 3, 3, 9}, {0, 0}, {1, 1}, keGradientBoundingBox, colours, offsets,
                                            2, keSpreadPad, nullptr),
              nullptr);
    EXPECT_EQ(QGDI_FillCreateRadialGradient(box, {5, 5}, 0, {5, 5}, 0, colours, offsets, 2, keSpreadPad, nullptr),
              nullptr);
    EXPECT_EQ(QGDI_FillCreateRadialGradient(box, {5, 5}, -2, {5, 5}, 0, colours, offsets, 2, keSpreadPad, nullptr),
              nullptr);
    EXPECT_EQ(QGDI_FillCreateRectangularGradient(box, {5, 5}, {5, 9}, 0, colours, offsets, 2, keSpreadPad, nullptr),
              nullptr);
    EXPECT_EQ(QGDI_FillCreateAngularGradient(box, {5, 5}, nan, 0, colours, offsets, 2, keSpreadPad, nullptr), nullptr);
    // A focal point outside the circle is pulled in, and the gradient still fills.
    VQFILL* f = QGDI_FillCreateRadialGradient(box, {5, 5}, 2, {50, 5}, 0, colours, offsets, 2, keSpreadPad, nullptr);
    ASSERT_NE(f, nullptr);
    f->Unreference();
}

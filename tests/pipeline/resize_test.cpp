// Resizing: flat images stay flat, smooth images survive a round trip,
// tiny images in both directions, alpha without fringes, strips that equal
// one chain bit for bit, cancellation and bad sizes.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <tuple>

#include "pipeline_test_util.h"

using namespace qgdi::test;

namespace {

const EQResampleMode kModes[] = {keResampleNearestNeighbor, keResampleBilinear, keResampleBicubic,
                                 keResampleAreaAverage,     keResampleLanczos3, keResampleMitchell};

std::unique_ptr<CRowIterator> Resized(const CRowIterator& src, int w, int h, EQResampleMode mode, int threads = 1,
                                      int stripRows = 0, bool linear = false) {
    CImageResize resize(mode);
    resize.SetLinearLight(linear);
    resize.SetThreadCount(threads);
    resize.SetStripRows(stripRows);
    auto out = std::make_unique<CRowIterator>();
    const CErrorAutoThrow r = resize.Resize(src, w, h, *out);
    if (r.IsError()) return nullptr;
    return out;
}

double Sample(const CRowIterator& img, int x, int y, int c) {
    const CQPixelFormat f(img.GetPixelFormat());
    const uint8_t* row = img.GetRow(y, 0, img.GetWidth());
    const size_t i = static_cast<size_t>(x) * f.GetChannelCount() + c;
    const double v = f.Is8bit()    ? row[i]
                     : f.Is16bit() ? reinterpret_cast<const uint16_t*>(row)[i]
                                   : reinterpret_cast<const float*>(row)[i];
    img.ReleaseRow(y).Ignore();
    return v;
}

using FlatCase = std::tuple<EQResampleMode, EQPixelFormat>;
class FlatStaysFlat : public ::testing::TestWithParam<FlatCase> {};
INSTANTIATE_TEST_SUITE_P(AllModes, FlatStaysFlat,
                         ::testing::Combine(::testing::ValuesIn(kModes),
                                            ::testing::Values(keFormatGrey, keFormatBGR, keFormatBGRA, keFormatBGRxA,
                                                              keFormatGreyA, keFormatBGR_u16, keFormatBGRA_u16,
                                                              keFormatBGR_f32)));

TEST_P(FlatStaysFlat, ThroughEveryScale) {
    const auto [mode, format] = GetParam();
    const CQPixelFormat f(format);
    const double full = f.Is8bit() ? 255 : f.Is16bit() ? 65535 : 1;
    // Opaque: premultiplied storage of a partial alpha rounds colours (see below).
    const double colour[4] = {0.2, 0.6, 1.0, 1.0};
    auto src = MakeImage(37, 23, format, [&](int, int, int c) {
        const bool alpha = f.IsAlphaChannelPresent() && c == f.GetChannelCount() - 1;
        const double v = (alpha ? 1.0 : colour[c]) * full;
        return f.IsFloat() ? v : std::floor(v);
    });
    ASSERT_TRUE(src);
    for (const auto& [w, h] : {std::pair{37, 23}, {100, 71}, {12, 5}, {1, 1}, {200, 3}, {5, 140}}) {
        auto out = Resized(*src, w, h, mode);
        ASSERT_TRUE(out) << w << "x" << h;
        ASSERT_EQ(out->GetPixelFormat(), format);
        for (int y = 0; y < h; y += std::max(1, h / 7))
            for (int x = 0; x < w; x += std::max(1, w / 9))
                for (int c = 0; c < f.GetChannelCount(); ++c) {
                    const double want = Sample(*src, 0, 0, c);
                    // Float sums are exact only to the last place.
                    ASSERT_NEAR(Sample(*out, x, y, c), want, f.IsFloat() ? 1e-6 : 0.0)
                        << w << "x" << h << " at " << x << "," << y;
                }
    }
}

// A colour under partial alpha is stored premultiplied while it is
// resampled: it comes back within the rounding of that storage.
TEST(Resize, FlatColourUnderPartialAlphaMovesAtMostOneLevel) {
    auto src = MakeImage(17, 9, keFormatBGRA, [](int, int, int c) { return c == 3 ? 153 : 51 + 40 * c; });
    for (const EQResampleMode mode : kModes)
        for (const auto& [w, h] : {std::pair{40, 30}, {5, 4}}) {
            auto out = Resized(*src, w, h, mode);
            ASSERT_TRUE(out);
            for (int c = 0; c < 4; ++c) EXPECT_NEAR(Sample(*out, w / 2, h / 2, c), Sample(*src, 0, 0, c), 1);
        }
}

// A smooth image enlarged then reduced back (and the other way) comes back
// within a few levels.
TEST(Resize, RoundTripsOfASmoothImage) {
    auto src = MakeImage(64, 48, keFormatBGR, [](int x, int y, int c) {
        return 128 + 100 * std::sin(x * 0.11 + c) * std::cos(y * 0.09 - c);
    });
    for (const EQResampleMode mode :
         {keResampleBilinear, keResampleBicubic, keResampleAreaAverage, keResampleLanczos3, keResampleMitchell}) {
        for (const bool upFirst : {true, false}) {
            const int w = upFirst ? 157 : 40, h = upFirst ? 131 : 30;
            auto mid = Resized(*src, w, h, mode);
            ASSERT_TRUE(mid);
            auto back = Resized(*mid, 64, 48, mode);
            ASSERT_TRUE(back);
            double worst = 0, total = 0;
            for (int y = 2; y < 46; ++y)
                for (int x = 2; x < 62; ++x)
                    for (int c = 0; c < 3; ++c) {
                        const double d = std::fabs(Sample(*back, x, y, c) - Sample(*src, x, y, c));
                        worst = std::max(worst, d);
                        total += d;
                    }
            const double mean = total / (44 * 60 * 3);
            EXPECT_LT(mean, upFirst ? 2.0 : 6.0) << QGDI_GetResampleModeName(mode) << " up first " << upFirst;
            EXPECT_LT(worst, upFirst ? 8.0 : 24.0) << QGDI_GetResampleModeName(mode) << " up first " << upFirst;
        }
    }
}

TEST(Resize, TinyImagesInBothDirections) {
    auto one = MakeImage(1, 1, keFormatBGRA, [](int, int, int c) { return 40 + 50 * c; });
    auto column = MakeImage(1, 5, keFormatGrey, [](int, int y, int) { return 50 * y; });
    for (const EQResampleMode mode : kModes) {
        const char* name = QGDI_GetResampleModeName(mode);
        auto big = Resized(*one, 9, 4, mode);
        ASSERT_TRUE(big) << name;
        for (int c = 0; c < 4; ++c) EXPECT_EQ(Sample(*big, 8, 3, c), 40 + 50 * c) << name;
        auto wide = Resized(*column, 6, 5, mode);  // the columns repeat, the rows keep their values
        ASSERT_TRUE(wide) << name;
        // Mitchell's kernel does not interpolate: it softens the ramp's ends.
        const double tol = mode == keResampleMitchell ? 8 : 0;
        for (int y = 0; y < 5; ++y) EXPECT_NEAR(Sample(*wide, 5, y, 0), 50 * y, tol) << name;
        auto back = Resized(*wide, 1, 5, mode);
        ASSERT_TRUE(back) << name;
        for (int y = 0; y < 5; ++y) EXPECT_NEAR(Sample(*back, 0, y, 0), 50 * y, tol) << name;
        auto dot = Resized(*column, 1, 1, mode);
        ASSERT_TRUE(dot) << name;
        EXPECT_NEAR(Sample(*dot, 0, 0, 0), 100, mode == keResampleNearestNeighbor ? 0 : 1) << name;
    }
}

// Transparent pixels are red; the opaque ones blue. Resampled straight, the
// red would leak into the edge; premultiplied, no output pixel has any red.
TEST(Resize, TransparentPixelsDoNotFringe) {
    auto src = MakeImage(20, 20, keFormatBGRA, [](int x, int, int c) {
        const bool opaque = x >= 10;
        const double bgra[4] = {opaque ? 255.0 : 0.0, 0, opaque ? 0.0 : 255.0, opaque ? 255.0 : 0.0};
        return bgra[c];
    });
    for (const EQResampleMode mode : kModes)
        for (const int w : {13, 47}) {
            auto out = Resized(*src, w, 20, mode);
            ASSERT_TRUE(out);
            for (int x = 0; x < w; ++x) {
                const double a = Sample(*out, x, 10, 3);
                if (a > 0) {
                    EXPECT_LE(Sample(*out, x, 10, 2), 1) << QGDI_GetResampleModeName(mode) << " x " << x;
                }
            }
        }
}

// Strips over threads equal one chain over the whole image, bit for bit, and
// both equal the stage that a chain of the caller's own would use, in linear
// light too.
TEST(Resize, StripsEqualOneChain) {
    std::mt19937 rng(5);
    auto src = MakeImage(131, 97, keFormatBGRA, [&](int, int, int) { return rng() % 256; });
    for (const bool linear : {false, true})
        for (const EQResampleMode mode : kModes)
            for (const auto& [w, h] : {std::pair{300, 211}, {45, 38}}) {
                auto one = Resized(*src, w, h, mode, 1, 0, linear);
                auto many = Resized(*src, w, h, mode, 4, 7, linear);
                ASSERT_TRUE(one && many);
                const std::string what = std::string(QGDI_GetResampleModeName(mode)) + " " + std::to_string(w) +
                                         (linear ? " linear" : "");
                EXPECT_EQ(ImageBytes(*one), ImageBytes(*many)) << what;
                CSeqOpRowIterator head(src.get());
                CSeqOpResample stage(w, h, mode);
                stage.SetLinearLight(linear);
                stage.SetSrc(&head, 0, false);
                ASSERT_TRUE(stage.Reset());
                EXPECT_EQ(PullAll(stage), ImageBytes(*one)) << what;
            }
}

struct SCancelAt {
    static uint64_t at;
    static int Check(CStatusControl* s) { return s->GetProgress() >= at; }
};
uint64_t SCancelAt::at = 0;

TEST(Resize, CancellationLeavesEveryRowWholeOrUntouched) {
    auto src = MakeImage(80, 60, keFormatBGR, [](int x, int y, int c) { return (x * 3 + y * 5 + c) % 256; });
    auto full = Resized(*src, 160, 120, keResampleBicubic);
    ASSERT_TRUE(full);
    const Bytes expected = ImageBytes(*full);
    for (const int threads : {1, 2}) {
        CRowIterator dst;
        const CColorRef sentinel(1, 2, 3);
        ASSERT_FALSE(dst.Create(160, 120, keFormatBGR, &sentinel).IsError());
        CStatusControl status;
        SCancelAt::at = 40;
        status.SetAbortCheckCallback(&SCancelAt::Check);
        CImageResize resize(keResampleBicubic);
        resize.SetThreadCount(threads);
        resize.SetStripRows(8);
        EXPECT_EQ(resize.Resize(*src, dst, &status).Ignore(), keQuorErrCancelled);
        const Bytes got = ImageBytes(dst);
        int resized = 0;
        for (int y = 0; y < 120; ++y) {
            const uint8_t* row = got.data() + 480 * y;
            const bool whole = std::equal(row, row + 480, expected.data() + 480 * y);
            const bool untouched = std::all_of(row, row + 480, [&](uint8_t) { return row[0] == 3 && row[1] == 2; });
            EXPECT_TRUE(whole || untouched) << "row " << y;
            resized += whole;
        }
        EXPECT_GE(resized, 40);
        EXPECT_LT(resized, 120);
    }
}

TEST(Resize, BadSizesAndFormatsGiveCodes) {
    auto src = MakeImage(8, 8, keFormatBGR, [](int, int, int) { return 7; });
    CImageResize resize;
    for (const auto& [w, h] : {std::pair{0, 5}, {5, 0}, {-3, 4}, {1 << 30, 2}}) {
        CRowIterator out;
        EXPECT_EQ(resize.Resize(*src, w, h, out).Ignore(), keQuorErrFailed) << w << "x" << h;
        EXPECT_FALSE(out.IsAttached());
    }
    CRowIterator detached, out;
    EXPECT_EQ(resize.Resize(detached, 4, 4, out).Ignore(), keQuorErrIteratorState);
    CSeqOpResample orphan(4, 4);
    EXPECT_FALSE(orphan.Reset());  // a chain without a source
    CSeqOpRowIterator head(src.get());
    CSeqOpResample empty(0, 4);
    empty.SetSrc(&head, 0, false);
    EXPECT_FALSE(empty.Reset());
}

TEST(ResampleModes, NamesRoundTrip) {
    for (const EQResampleMode mode : kModes) EXPECT_EQ(QGDI_ParseResampleMode(QGDI_GetResampleModeName(mode)), mode);
    EXPECT_EQ(QGDI_GetResampleModeName(6), nullptr);
    EXPECT_EQ(QGDI_ParseResampleMode("sinc"), -1);
}

}  // namespace

namespace {

// Opaque rows leave as the source's own memory; the others equal a plain
// conversion.
TEST(SeqOpAlphaForm, PassesOpaqueRowsAndConvertsTheRest) {
    auto img = MakeImage(9, 4, keFormatBGRA,
                         [](int x, int y, int c) { return c == 3 ? (y == 2 && x == 5 ? 90 : 255) : 30 * c + x; });
    CSeqOpRowIterator head(img.get()), head2(img.get());
    CSeqOpAlphaForm form(keFormatBGRxA);
    CSeqOpConvert plain(keFormatBGRxA);
    form.SetSrc(&head, 0, false);
    plain.SetSrc(&head2, 0, false);
    ASSERT_TRUE(form.Reset());
    ASSERT_TRUE(plain.Reset());
    for (int y = 0; y < 4; ++y) {
        const auto* a = static_cast<const uint8_t*>(form.GetNextRow(0, 9));
        const auto* b = static_cast<const uint8_t*>(plain.GetNextRow(0, 9));
        ASSERT_TRUE(a && b);
        EXPECT_EQ(0, std::memcmp(a, b, 36)) << "row " << y;
        if (y != 2) {
            EXPECT_EQ(a, img->GetRow(y, 0, 9)) << "row " << y << " was copied";
            img->ReleaseRow(y).Ignore();
        }
    }
    EXPECT_EQ(form.GetOpaqueRows(), 3);
    const float opaque[8] = {0.5f, 0.5f, 0.5f, 1.0f, 0.1f, 0.2f, 0.3f, 1.0f};
    EXPECT_TRUE(qgdi::resample::RowIsOpaque(opaque, 2, keFormatBGRA_f32));
    const uint16_t half[4] = {1, 2, 3, 0x7FFF};
    EXPECT_FALSE(qgdi::resample::RowIsOpaque(half, 1, keFormatBGRA_u16));
    EXPECT_FALSE(qgdi::resample::RowIsOpaque(half, 1, keFormatBGR_u16));
}

}  // namespace

namespace {

// Black and white pixels average to half the light, which sRGB encodes as
// 188, not 128; and every 8-bit level survives the trip through 16-bit linear.
TEST(Resize, LinearLightAveragesLight) {
    auto checker = MakeImage(8, 8, keFormatBGRA, [](int x, int y, int c) { return c == 3 || (x + y) % 2 ? 255 : 0; });
    for (const bool linear : {false, true}) {
        CImageResize resize(keResampleAreaAverage);
        resize.SetLinearLight(linear);
        CRowIterator out;
        ASSERT_FALSE(resize.Resize(*checker, 2, 2, out).IsError());
        EXPECT_EQ(out.GetPixelFormat(), keFormatBGRA);
        EXPECT_NEAR(Sample(out, 1, 1, 1), linear ? 188 : 127.5, 1) << linear;
        EXPECT_EQ(Sample(out, 1, 1, 3), 255);
    }
    auto ramp = MakeImage(256, 3, keFormatBGR, [](int x, int, int) { return x; });
    CImageResize same(keResampleBilinear);
    same.SetLinearLight(true);
    CRowIterator out;
    ASSERT_FALSE(same.Resize(*ramp, 256, 3, out).IsError());
    EXPECT_EQ(ImageBytes(out), ImageBytes(*ramp));
}

}  // namespace

namespace {

// Each channel of a colour resize equals the same resize of that channel
// alone: the three- and four-channel loops against the one-channel loop.
TEST(Resize, ChannelsResizeIndependently) {
    std::mt19937 rng(9);
    Bytes noise(61 * 45 * 4);
    for (auto& b : noise) b = static_cast<uint8_t>(rng());
    for (const EQPixelFormat f : {keFormatBGR, keFormatBGRxA})
        for (const EQResampleMode mode :
             {keResampleBilinear, keResampleBicubic, keResampleAreaAverage, keResampleLanczos3})
            for (const auto& [w, h] : {std::pair{150, 97}, {23, 17}, {61, 45}}) {
                const int n = CQPixelFormat(f).GetChannelCount();
                auto colour = MakeImage(61, 45, f, [&](int x, int y, int c) { return noise[(y * 61 + x) * 4 + c]; });
                auto out = Resized(*colour, w, h, mode);
                ASSERT_TRUE(out);
                for (int c = 0; c < n; ++c) {
                    auto grey = MakeImage(61, 45, keFormatGrey,
                                          [&](int x, int y, int) { return noise[(y * 61 + x) * 4 + c]; });
                    auto one = Resized(*grey, w, h, mode);
                    ASSERT_TRUE(one);
                    for (int y = 0; y < h; ++y)
                        for (int x = 0; x < w; ++x)
                            ASSERT_EQ(Sample(*out, x, y, c), Sample(*one, x, y, 0))
                                << QGDI_GetResampleModeName(mode) << " " << f << " channel " << c << " at " << x << ","
                                << y;
                }
            }
}

}  // namespace

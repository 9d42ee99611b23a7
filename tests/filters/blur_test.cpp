// Blurs: flat images stay flat, means survive, the impulse response against
// the exact Gaussian, a brute-force reference at the four borders in every
// edge mode, premultiplied alpha without colour bleeding, bad input, cancellation.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "filter_test_util.h"
#include "QuorRender/FilterBlur.h"
#include "qdibcore/Source/StatusControl.h"

using namespace qgdi::test;

namespace {

::testing::Environment* const kEnv = ::testing::AddGlobalTestEnvironment(new CPipelineEnvironment);

struct SBlurCase {
    bool box;
    double a, b;  // deviations, or radii
};
const SBlurCase kBlurs[] = {{false, 0.6, 0.6}, {false, 2.5, 1.0}, {false, 3.0, 3.0}, {false, 7.5, 0.0},
                            {false, 20.0, 12.0}, {true, 1, 1}, {true, 4, 0}, {true, 9, 30}};

CErrorAutoThrow BlurWith(const CRowIterator& src, CRowIterator& dst, const SBlurCase& k, EEdgeMode edge,
                    uint32_t colour = 0) {
    CImageBlur blur;
    if (k.box) blur.SetBox(static_cast<int>(k.a), static_cast<int>(k.b));
    else blur.SetGaussian(k.a, k.b);
    blur.SetEdgeMode(edge, colour);
    return blur.Blur(src, dst);
}

class BlurFlat : public ::testing::TestWithParam<EQPixelFormat> {};

TEST_P(BlurFlat, FlatStaysFlatInEveryModeAndFormat) {
    const EQPixelFormat f = GetParam();
    const CQPixelFormat pf(f);
    const double full = pf.Is8bit() ? 255 : 65535;
    const double level = pf.Is8bit() ? 77 : 40000;
    const int channels = pf.GetChannelCount();
    const bool alpha = channels == 2 || channels == 4;
    auto src = MakeImage(37, 29, f, [&](int, int, int c) { return alpha && c == channels - 1 ? full : level; });
    const uint32_t grey77 = 0xFF4D4D4Du;  // the constant colour equal to the image (8-bit case)
    for (const SBlurCase& k : kBlurs)
        for (const EEdgeMode edge : {keEdgeWrap, keEdgeClamp, keEdgeConstant}) {
            if (edge == keEdgeConstant && !pf.Is8bit()) continue;  // no 16-bit edge colour equals 40000
            CRowIterator dst;
            ASSERT_FALSE(BlurWith(*src, dst, k, edge, grey77).IsError());
            EXPECT_EQ(ImageBytes(dst), ImageBytes(*src)) << k.box << " " << k.a << " " << k.b << " edge " << edge;
        }
}

INSTANTIATE_TEST_SUITE_P(Formats, BlurFlat,
                         ::testing::Values(keFormatGrey, keFormatGreyA, keFormatBGR, keFormatBGRA, keFormatBGRxA,
                                           keFormatGrey_u16, keFormatGreyA_u16, keFormatBGR_u16, keFormatBGRA_u16));

class Blur : public ::testing::Test {};

TEST_F(Blur, RowMeansSurviveWhenColumnsWrap) {
    std::mt19937 rng(7);
    auto src = MakeImage(97, 9, keFormatBGR, [&](int, int, int) { return static_cast<double>(rng() % 256); });
    for (const SBlurCase& k : kBlurs) {
        CRowIterator dst;
        ASSERT_FALSE(BlurWith(*src, dst, {k.box, k.a, 0}, keEdgeWrap).IsError());
        for (int y = 0; y < 9; ++y)
            for (int c = 0; c < 3; ++c) {
                double in = 0, out = 0;
                for (int x = 0; x < 97; ++x) in += At(*src, x, y, c), out += At(dst, x, y, c);
                // Each pass rounds every sample once: the mean moves by far less than a level.
                EXPECT_NEAR(out / 97, in / 97, 0.35) << k.box << " " << k.a << " row " << y;
            }
    }
}

// The response to one bright 16-bit sample, against the sampled exact
// Gaussian: the stated accuracy is 0.6 % of the peak for the explicit
// kernels and 4 % for the extended boxes, the variance within 1 %.
TEST_F(Blur, ImpulseResponseMatchesTheGaussian) {
    const int w = 1601, mid = w / 2;
    auto src = MakeImage(w, 1, keFormatGrey_u16, [&](int x, int, int) { return x == mid ? 65535.0 : 0.0; });
    for (const double sigma : {0.7, 1.0, 2.0, 2.9, 3.0, 5.0, 10.0, 30.0, 100.0}) {
        CRowIterator dst;
        ASSERT_FALSE(QGDI_GaussianBlur(*src, dst, sigma, 0, keEdgeConstant).IsError());
        double sum = 0, var = 0, worst = 0;
        const double peak = 1 / (std::sqrt(2 * M_PI) * sigma);
        double norm = 0;
        for (int x = 0; x < w; ++x) norm += std::exp(-0.5 * (x - mid) * (x - mid) / (sigma * sigma));
        for (int x = 0; x < w; ++x) {
            const double got = At(dst, x, 0, 0) / 65535.0, d = x - mid;
            sum += got;
            var += got * d * d;
            worst = std::max(worst, std::fabs(got - std::exp(-0.5 * d * d / (sigma * sigma)) / norm));
        }
        EXPECT_NEAR(sum, 1.0, 0.01) << sigma;
        EXPECT_NEAR(var / sum, sigma * sigma, 0.01 * sigma * sigma + 0.02) << sigma;
        EXPECT_LT(worst / peak, sigma < qgdi::filter::kfExplicitGaussianLimit ? 0.006 : 0.04) << sigma;
    }
}

// A direct sum over the kernel with the borders folded as the stage folds
// them: columns by the mode, rows by clamping (a sequential source repeats
// its first and last rows in wrap mode) except in constant mode.
double Reference(const CRowIterator& img, const std::vector<double>& kx, const std::vector<double>& ky, int x,
                 int y, EEdgeMode edge, double constant) {
    const int rx = static_cast<int>(kx.size() / 2), ry = static_cast<int>(ky.size() / 2);
    double acc = 0;
    for (int j = -ry; j <= ry; ++j)
        for (int i = -rx; i <= rx; ++i) {
            const int mx = qgdi::edge::MapIndex(x + i, img.GetWidth(), edge);
            const int my = qgdi::edge::MapIndex(y + j, img.GetHeight(), edge == keEdgeWrap ? keEdgeClamp : edge);
            const double v = mx < 0 || my < 0 ? constant : At(img, mx, my, 0);
            acc += kx[static_cast<size_t>(i + rx)] * ky[static_cast<size_t>(j + ry)] * v;
        }
    return acc;
}

std::vector<double> Taps(const SBlurPass& p);

// The single kernel that all passes of one axis make together.
std::vector<double> Composite(const std::vector<SBlurPass>& passes) {
    std::vector<double> k{1.0};
    for (const SBlurPass& p : passes) {
        const std::vector<double> t = Taps(p);
        std::vector<double> next(k.size() + t.size() - 1, 0.0);
        for (size_t i = 0; i < k.size(); ++i)
            for (size_t j = 0; j < t.size(); ++j) next[i + j] += k[i] * t[j];
        k = next;
    }
    return k;
}

std::vector<double> Taps(const SBlurPass& p) {
    std::vector<double> out;
    if (p.IsBox()) {
        out.assign(static_cast<size_t>(2 * p.nRadius + 3), p.fInner);
        out.front() = out.back() = p.fRing;
    } else {
        for (const int32_t w : p.aWeights) out.push_back(w / 16384.0);
    }
    return out;
}

TEST_F(Blur, FourBordersInEveryEdgeModeMatchADirectSum) {
    auto src = MakeImage(23, 17, keFormatGrey, [](int x, int y, int) { return (x * 37 + y * 71) % 256; });
    // The Gaussian of deviation 4 is four box passes across in one stage:
    // the border sees the kernel they make together.
    for (const SBlurCase& k : {SBlurCase{false, 1.2, 0.8}, SBlurCase{true, 3, 2}, SBlurCase{false, 4.0, 0.0}})
        for (const EEdgeMode edge : {keEdgeWrap, keEdgeClamp, keEdgeConstant}) {
            std::vector<SBlurPass> px, py;
            if (k.box) ASSERT_TRUE(qgdi::filter::PlanBox(int(k.a), px) && qgdi::filter::PlanBox(int(k.b), py));
            else ASSERT_TRUE(qgdi::filter::PlanGaussian(k.a, px) && qgdi::filter::PlanGaussian(k.b, py));
            CRowIterator dst;
            ASSERT_FALSE(BlurWith(*src, dst, k, edge, 0xFFC8C8C8u).IsError());
            for (int y = 0; y < 17; ++y)
                for (int x = 0; x < 23; ++x) {
                    // Borders and one pixel inside them.
                    if (x > 1 && x < 21 && y > 1 && y < 15) continue;
                    const double want = Reference(*src, Composite(px), Composite(py), x, y, edge, 200);
                    // Each pass rounds once.
                    EXPECT_NEAR(At(dst, x, y, 0), want, 0.51 * static_cast<double>(px.size() + py.size())) << "edge " << edge << " at " << x << "," << y;
                }
        }
}

TEST_F(Blur, TransparentPixelsLendNoColour) {
    // Left half: fully transparent red; right half: opaque green.
    for (const EQPixelFormat f : {keFormatBGRA, keFormatBGRA_u16, keFormatGreyA}) {
        const bool grey = f == keFormatGreyA;
        const double full = f == keFormatBGRA_u16 ? 65535 : 255;
        auto src = MakeImage(40, 6, f, [&](int x, int, int c) {
            if (grey) return c == 1 ? (x < 20 ? 0.0 : full) : (x < 20 ? full : 0.0);
            if (c == 3) return x < 20 ? 0.0 : full;
            return c == 2 ? (x < 20 ? full : 0.0) : c == 1 ? (x < 20 ? 0.0 : full) : 0.0;
        });
        for (const SBlurCase& k : {SBlurCase{false, 2.0, 2.0}, SBlurCase{false, 6.0, 1.0}, SBlurCase{true, 5, 1}}) {
            CRowIterator dst;
            ASSERT_FALSE(BlurWith(*src, dst, k, keEdgeClamp).IsError());
            for (int x = 0; x < 40; ++x) {
                const int alphaChannel = grey ? 1 : 3;
                if (At(dst, x, 3, alphaChannel) == 0) continue;
                // Red (or the grey level of the transparent side) never comes through.
                EXPECT_EQ(At(dst, x, 3, grey ? 0 : 2), 0) << f << " x " << x;
                if (!grey) {
                    EXPECT_EQ(At(dst, x, 3, 1), full) << f << " x " << x;
                }
            }
        }
    }
}

TEST_F(Blur, BadInputGetsACode) {
    auto src = MakeImage(8, 8, keFormatBGR, [](int, int, int) { return 9; });
    auto floats = MakeImage(8, 8, keFormatBGR_f32, [](int, int, int) { return 0.5; });
    const struct {
        bool box;
        double a, b;
        int code;
    } cases[] = {{false, -1, 1, keQuorErrFailed},          {false, NAN, 1, keQuorErrFailed},
                 {false, 1, INFINITY, keQuorErrFailed},    {false, 1e9, 1, keQuorErrFailed},
                 {true, -2, 1, keQuorErrFailed},           {true, 1, 1e7, keQuorErrFailed}};
    for (const auto& c : cases) {
        CRowIterator dst;
        EXPECT_EQ(BlurWith(*src, dst, {c.box, c.a, c.b}, keEdgeClamp).Ignore(), c.code) << c.a << " " << c.b;
    }
    CRowIterator small;
    ASSERT_FALSE(small.Create(4, 8, keFormatBGR).IsError());
    EXPECT_EQ(QGDI_GaussianBlur(*src, small, 1, 1).Ignore(), keQuorErrFailed);
    CRowIterator dst;
    EXPECT_EQ(QGDI_GaussianBlur(*floats, dst, 1, 1).Ignore(), keQuorErrFormatNotSupported);
    CRowIterator none, out;
    EXPECT_EQ(QGDI_BoxBlur(none, out, 1, 1).Ignore(), keQuorErrIteratorState);
    // A huge radius on a tiny image is still only a window: it completes.
    EXPECT_FALSE(QGDI_BoxBlur(*src, out, 5000, 5000).IsError());
    EXPECT_EQ(ImageBytes(out), ImageBytes(*src));
}

struct SCancelAt {
    static int Check(CStatusControl* s) { return s->GetProgress() >= 10; }
};

TEST_F(Blur, CancellationStopsWithCode100) {
    auto src = MakeImage(50, 40, keFormatBGRA, [](int x, int y, int c) { return (x + y + c * 50) % 256; });
    CRowIterator full, dst;
    ASSERT_FALSE(QGDI_GaussianBlur(*src, full, 4, 4).IsError());
    CStatusControl status;
    status.SetAbortCheckCallback(&SCancelAt::Check);
    ASSERT_FALSE(dst.Create(50, 40, keFormatBGRA).IsError());
    EXPECT_EQ(QGDI_GaussianBlur(*src, dst, 4, 4, keEdgeClamp, &status).Ignore(), keQuorErrCancelled);
    // The rows written before the stop are the finished ones.
    const Bytes a = ImageBytes(full), b = ImageBytes(dst);
    EXPECT_TRUE(std::equal(a.begin(), a.begin() + 200 * 5, b.begin()));
}

}  // namespace

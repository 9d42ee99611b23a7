// Convolution: a direct sum over random kernels and images at every border
// and edge mode, separable kernels found, stock matrices on a hand-computed
// neighbourhood, channel sets, premultiplied alpha, bad input.
#include <gtest/gtest.h>

#include <random>

#include "QuorRender/FilterConvolve.h"
#include "filter_test_util.h"
#include "qdibcore/Source/StatusControl.h"

using namespace qgdi::test;

namespace {

::testing::Environment* const kEnv = ::testing::AddGlobalTestEnvironment(new CPipelineEnvironment);

SConvolveKernel Kernel(int m, int n, std::vector<double> v, double divisor = 1, double bias = 0, int ax = -1,
                       int ay = -1) {
    SConvolveKernel k;
    k.nColumns = m, k.nRows = n, k.aValues = std::move(v), k.fDivisor = divisor, k.fBias = bias;
    k.nAnchorX = ax, k.nAnchorY = ay;
    return k;
}

SConvolveKernel Outer(const std::vector<double>& col, const std::vector<double>& row, double divisor = 1) {
    std::vector<double> v;
    for (double c : col)
        for (double r : row) v.push_back(c * r);
    return Kernel(static_cast<int>(row.size()), static_cast<int>(col.size()), v, divisor);
}

double DirectSum(const CRowIterator& img, const SConvolveKernel& k, int x, int y, int c, EEdgeMode edge,
                 double outside, double full) {
    double s = 0;
    for (int r = 0; r < k.nRows; ++r)
        for (int q = 0; q < k.nColumns; ++q)
            s += k.At(q, r) * AtEdge(img, x + q - k.AnchorX(), y + r - k.AnchorY(), c, edge, outside);
    const double v = s / k.fDivisor + k.fBias * (full > 255 ? 257 : 1);
    return std::min(std::max(std::floor(v + 0.5), 0.0), full);
}

struct SKernelCase {
    const char* name;
    SConvolveKernel kernel;
    bool separable;
};

std::vector<SKernelCase> Kernels() {
    return {
        {"one", Kernel(1, 1, {1}), false},
        {"binomial 5x5", Outer({1, 4, 6, 4, 1}, {1, 4, 6, 4, 1}, 256), true},
        {"signed separable 3x5", Outer({-1, 2, 3, 2, -1}, {1, 0, -1}, 2), true},
        {"wide row 9x1", Kernel(9, 1, {1, 1, 1, 1, 1, 1, 1, 1, 1}, 9), false},
        {"random 3x3 with bias", Kernel(3, 3, {0.5, -1, 0.25, 2, 3, -0.75, 0, 1, -1}, 3, 20), false},
        {"off-centre 4x2", Kernel(4, 2, {1, 2, 3, 4, 5, 6, 7, 8}, 36, 0, 0, 1), false},
        {"anchored 3x3 separable", Outer({1, 2, 1}, {1, 1, 1}, 12), true},
    };
}

TEST(Convolve, MatchesADirectSumEverywhereInEveryMode) {
    std::mt19937 rng(11);
    for (const EQPixelFormat f : {keFormatGrey, keFormatBGR, keFormatGrey_u16}) {
        const double full = f == keFormatGrey_u16 ? 65535 : 255;
        auto src = MakeImage(19, 13, f, [&](int, int, int) { return static_cast<double>(rng() % (int(full) + 1)); });
        for (const SKernelCase& kc : Kernels())
            for (const EEdgeMode edge : {keEdgeWrap, keEdgeClamp, keEdgeConstant}) {
                std::vector<double> col, row;
                EXPECT_EQ(qgdi::filter::SplitKernel(kc.kernel, col, row), kc.separable || kc.kernel.nRows == 1)
                    << kc.name;
                CImageConvolve op(kc.kernel);
                op.SetEdgeMode(edge, 0xFF101010u);
                CRowIterator dst;
                ASSERT_FALSE(op.Convolve(*src, dst).IsError()) << kc.name;
                const double outside = full > 255 ? 0x10 * 257 : 0x10;
                double worst = 0;
                for (int y = 0; y < 13; ++y)
                    for (int x = 0; x < 19; ++x)
                        for (int c = 0; c < CQPixelFormat(f).GetChannelCount(); ++c)
                            worst = std::max(worst, std::fabs(At(dst, x, y, c) -
                                                              DirectSum(*src, kc.kernel, x, y, c, edge, outside, full)));
                // Fixed-point weights: within one level; 16-bit sums in single precision: also one.
                EXPECT_LE(worst, 1.0) << kc.name << " format " << f << " edge " << edge;
            }
    }
}

TEST(Convolve, DeltaGivesBackTheKernelTurnedByHalfATurn) {
    const SConvolveKernel k = Kernel(3, 2, {10, 20, 30, 40, 50, 60}, 1, 0, 1, 0);
    auto src = MakeImage(7, 6, keFormatGrey, [](int x, int y, int) { return x == 3 && y == 2 ? 1 : 0; });
    CRowIterator dst;
    ASSERT_FALSE(CImageConvolve(k).Convolve(*src, dst).IsError());
    // out(x, y) = k(3 - x + 1, 2 - y): the kernel read backwards around the anchor.
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 7; ++x) {
            const int q = 3 - x + 1, r = 2 - y;
            const double want = q >= 0 && q < 3 && r >= 0 && r < 2 ? k.At(q, r) : 0;
            EXPECT_EQ(At(dst, x, y, 0), want) << x << "," << y;
        }
}

TEST(Convolve, StockMatricesOnAHandComputedNeighbourhood) {
    // Centre of [100 104 110; 96 100 108; 90 98 102]: the sum, divided, plus the bias, rounded and clamped.
    const double n[3][3] = {{100, 104, 110}, {96, 100, 108}, {90, 98, 102}};
    const struct {
        EQFilterMatrix m;
        double centre;
    } cases[] = {{keFilterMatrixBlur, 101},     {keFilterMatrixSharpen, 94},    {keFilterMatrixSharpenMore, 92},
                 {keFilterMatrixEdgeDetect, 0}, {keFilterMatrixEmboss, 136},    {keFilterMatrixLaplacian, 134},
                 {keFilterMatrixSobelX, 174},   {keFilterMatrixSobelY, 98},     {keFilterMatrixPrewittX, 162},
                 {keFilterMatrixPrewittY, 104}, {keFilterMatrixHighPass, 127}};
    auto src = MakeImage(3, 3, keFormatGrey, [&](int x, int y, int) { return n[y][x]; });
    for (const auto& c : cases) {
        CRowIterator dst;
        ASSERT_FALSE(QGDI_ConvolveMatrix(*src, dst, c.m).IsError());
        EXPECT_EQ(At(dst, 1, 1, 0), c.centre) << QGDI_GetFilterMatrixName(c.m);
        EXPECT_EQ(QGDI_ParseFilterMatrix(QGDI_GetFilterMatrixName(c.m)), c.m);
    }
    EXPECT_EQ(QGDI_GetFilterMatrixName(keFilterMatrixCount), nullptr);
    EXPECT_EQ(QGDI_ParseFilterMatrix("unsharp"), -1);
}

TEST(Convolve, FlatStaysFlatAndUnselectedChannelsStayPut) {
    auto src = MakeImage(21, 11, keFormatBGRA, [](int x, int, int c) { return c == 3 ? 255 : c == 2 ? x * 10 : 77; });
    for (const SKernelCase& kc : Kernels()) {
        // Normalised kernels keep the flat blue and green planes flat.
        double total = 0;
        for (double v : kc.kernel.aValues) total += v;
        if (std::fabs(total / kc.kernel.fDivisor - 1) > 1e-12 || kc.kernel.fBias != 0) continue;
        CImageConvolve op(kc.kernel);
        op.SetChannels(keChannelSetBlue);
        CRowIterator dst;
        ASSERT_FALSE(op.Convolve(*src, dst).IsError());
        for (int y = 0; y < 11; ++y)
            for (int x = 0; x < 21; ++x) {
                EXPECT_EQ(At(dst, x, y, 0), 77);
                EXPECT_EQ(At(dst, x, y, 2), x * 10) << kc.name;  // red is not in the set
            }
    }
}

TEST(Convolve, TransparentPixelsLendNoColour) {
    // Transparent red beside opaque green: the blur must not turn green red.
    auto src = MakeImage(30, 5, keFormatBGRA, [](int x, int, int c) {
        if (c == 3) return x < 15 ? 0.0 : 255.0;
        return c == 2 ? (x < 15 ? 255.0 : 0.0) : c == 1 ? (x < 15 ? 0.0 : 255.0) : 0.0;
    });
    CRowIterator dst;
    ASSERT_FALSE(CImageConvolve(Outer({1, 4, 6, 4, 1}, {1, 4, 6, 4, 1}, 256)).Convolve(*src, dst).IsError());
    for (int x = 0; x < 30; ++x)
        if (At(dst, x, 2, 3) > 0) {
            EXPECT_EQ(At(dst, x, 2, 2), 0) << x;
        }
}

TEST(Convolve, BadKernelsGetACode) {
    auto src = MakeImage(8, 8, keFormatBGR, [](int, int, int) { return 9; });
    const SConvolveKernel bad[] = {
        Kernel(0, 0, {}),                      Kernel(3, 3, {1, 1, 1}),           Kernel(1, 1, {1}, 0),
        Kernel(1, 1, {NAN}),                   Kernel(1, 1, {1}, INFINITY),       Kernel(3, 1, {1, 1, 1}, 1, 0, 3, 0),
        Kernel(1, 1, {1e12}),                  Kernel(300, 1, std::vector<double>(300, 1.0)),
    };
    for (const SConvolveKernel& k : bad) {
        CRowIterator dst;
        EXPECT_EQ(CImageConvolve(k).Convolve(*src, dst).Ignore(), keQuorErrFailed) << k.nColumns;
    }
    CRowIterator dst, small, none;
    EXPECT_EQ(QGDI_ConvolveMatrix(*src, dst, static_cast<EQFilterMatrix>(99)).Ignore(), keQuorErrFailed);
    ASSERT_FALSE(small.Create(3, 8, keFormatBGR).IsError());
    EXPECT_EQ(QGDI_ConvolveMatrix(*src, small, keFilterMatrixBlur).Ignore(), keQuorErrFailed);
    EXPECT_EQ(QGDI_ConvolveMatrix(none, dst, keFilterMatrixBlur).Ignore(), keQuorErrIteratorState);
    auto floats = MakeImage(4, 4, keFormatBGR_f32, [](int, int, int) { return 0.5; });
    EXPECT_EQ(QGDI_ConvolveMatrix(*floats, dst, keFilterMatrixBlur).Ignore(), keQuorErrFormatNotSupported);
    // A kernel far larger than the image is only a wide window.
    SConvolveKernel wide = Kernel(201, 1, std::vector<double>(201, 1.0), 201);
    CRowIterator out;
    EXPECT_FALSE(CImageConvolve(wide).Convolve(*src, out).IsError());
    EXPECT_EQ(ImageBytes(out), ImageBytes(*src));
}

struct SCancelAt {
    static int Check(CStatusControl* s) { return s->GetProgress() >= 10; }
};

TEST(Convolve, CancellationStopsWithCode100) {
    auto src = MakeImage(50, 40, keFormatBGRA, [](int x, int y, int c) { return (x + y + c * 50) % 256; });
    CStatusControl status;
    status.SetAbortCheckCallback(&SCancelAt::Check);
    CRowIterator dst;
    EXPECT_EQ(QGDI_ConvolveMatrix(*src, dst, keFilterMatrixSharpen, keEdgeClamp, keChannelSetAll, &status).Ignore(),
              keQuorErrCancelled);
}

}  // namespace

// Unsharp mask against a direct Gaussian, motion-blur kernels, the median
// against sorting, and image distortion: every coordinate map at its
// neutral setting is the identity on a real image, continuous maps give
// continuous output, threads do not change a pixel.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <random>

#include "QuorRender/FilterConvolve.h"
#include "QuorRender/FilterDistort.h"
#include "QuorRender/FilterMedian.h"
#include "QuorRender/FilterDisplace.h"
#include "QuorRender/FilterMorphology.h"
#include "QuorRender/FilterUnsharp.h"
#include "deformation/CoordinatorFactory.h"
#include "filter_test_util.h"
#include "qdibcore/Source/BmpFile.h"
#include "qdibcore/Source/DibIterator.h"
#include "qdibcore/Source/StatusControl.h"

using namespace qgdi::test;

namespace {

::testing::Environment* const kEnv = ::testing::AddGlobalTestEnvironment(new CPipelineEnvironment);

TEST(Unsharp, MatchesTheDirectFormulaAndLeavesFlatAndAlphaAlone) {
    // Rows hold a step; the blur reference is a direct sum of the sampled Gaussian.
    auto src = MakeImage(40, 5, keFormatBGRA, [](int x, int, int c) { return c == 3 ? 200 : x < 20 ? 60 : 180; });
    const double sigma = 1.5, amount = 0.8;
    CRowIterator dst;
    ASSERT_FALSE(QGDI_UnsharpMask(*src, dst, amount, sigma).IsError());
    for (int x = 0; x < 40; ++x) {
        double num = 0, den = 0;
        for (int k = -8; k <= 8; ++k) {
            const double w = std::exp(-0.5 * k * k / (sigma * sigma));
            num += w * At(*src, std::clamp(x + k, 0, 39), 2, 0), den += w;
        }
        const double o = At(*src, x, 2, 0), want = std::clamp(o + amount * (o - num / den), 0.0, 255.0);
        // The blur rounds once per pass and premultiplication once each way.
        EXPECT_NEAR(At(dst, x, 2, 0), want, 2.5) << x;
        EXPECT_EQ(At(dst, x, 2, 3), 200);  // alpha is not sharpened
    }
    // A threshold above every difference, or no amount, changes nothing.
    for (const auto& p : {std::pair{1.0, 200.0}, std::pair{0.0, 0.0}}) {
        CRowIterator same;
        ASSERT_FALSE(QGDI_UnsharpMask(*src, same, p.first, 2.0, p.second).IsError());
        EXPECT_EQ(ImageBytes(same), ImageBytes(*src));
    }
    CRowIterator bad;
    EXPECT_EQ(QGDI_UnsharpMask(*src, bad, -1, 2).Ignore(), keQuorErrFailed);
    EXPECT_EQ(QGDI_UnsharpMask(*src, bad, 1, -2).Ignore(), keQuorErrFailed);
    EXPECT_EQ(QGDI_UnsharpMask(*src, bad, 1, 2, -1).Ignore(), keQuorErrFailed);
}

TEST(MotionBlur, KernelsLieAlongTheirLineWithTheRightSpread) {
    for (const double degrees : {0.0, 30.0, 90.0, 135.0})
        for (const double distance : {0.0, 5.0, 12.0}) {
            SConvolveKernel k;
            ASSERT_TRUE(qgdi::filter::MotionKernel(degrees, distance, k));
            const double a = degrees * M_PI / 180, ux = std::cos(a), uy = -std::sin(a);
            double total = 0, along = 0, across = 0;
            for (int r = 0; r < k.nRows; ++r)
                for (int c = 0; c < k.nColumns; ++c) {
                    const double w = k.At(c, r) / k.fDivisor, x = c - k.AnchorX(), y = r - k.AnchorY();
                    total += w;
                    along += w * (x * ux + y * uy) * (x * ux + y * uy);
                    across += w * (x * uy - y * ux) * (x * uy - y * ux);
                }
            EXPECT_NEAR(total, 1.0, 1e-12);
            // A uniform segment of length d has variance d^2 / 12; bilinear
            // spreading adds at most 1/4 on each axis.
            EXPECT_NEAR(along, distance * distance / 12, 0.26) << degrees << " " << distance;
            EXPECT_LE(across, 0.26) << degrees << " " << distance;
        }
    SConvolveKernel k;
    EXPECT_FALSE(qgdi::filter::MotionKernel(0, -1, k));
    EXPECT_FALSE(qgdi::filter::MotionKernel(NAN, 3, k));
    auto flat = MakeImage(20, 20, keFormatBGR, [](int, int, int c) { return 50 + c; });
    CRowIterator dst;
    ASSERT_FALSE(QGDI_MotionBlur(*flat, dst, 20, 9).IsError());
    EXPECT_EQ(ImageBytes(dst), ImageBytes(*flat));
}

TEST(Median, MatchesSortingEverywhereInEveryMode) {
    std::mt19937 rng(3);
    for (const EQPixelFormat f : {keFormatGrey, keFormatBGRA}) {
        auto src = MakeImage(21, 15, f, [&](int, int, int) { return static_cast<double>(rng() % 256); });
        for (const int r : {0, 1, 2, 5})
            for (const EEdgeMode edge : {keEdgeWrap, keEdgeClamp, keEdgeConstant}) {
                CImageMedian op(r);
                op.SetEdgeMode(edge, 0x20202020u);
                CRowIterator dst;
                ASSERT_FALSE(op.Apply(*src, dst).IsError());
                int wrong = 0;
                for (int y = 0; y < 15; ++y)
                    for (int x = 0; x < 21; ++x)
                        for (int c = 0; c < CQPixelFormat(f).GetChannelCount(); ++c) {
                            std::vector<double> v;
                            for (int dy = -r; dy <= r; ++dy)
                                for (int dx = -r; dx <= r; ++dx) v.push_back(AtEdge(*src, x + dx, y + dy, c, edge, 0x20));
                            std::nth_element(v.begin(), v.begin() + v.size() / 2, v.end());
                            wrong += At(dst, x, y, c) != v[v.size() / 2];
                        }
                EXPECT_EQ(wrong, 0) << "format " << f << " radius " << r << " edge " << edge;
            }
    }
    auto wide = MakeImage(4, 4, keFormatGrey_u16, [](int, int, int) { return 1; });
    CRowIterator dst;
    EXPECT_EQ(QGDI_Median(*wide, dst, 1).Ignore(), keQuorErrFormatNotSupported);
    EXPECT_EQ(QGDI_Median(*MakeImage(4, 4, keFormatGrey, [](int, int, int) { return 1; }), dst, 128).Ignore(),
              keQuorErrFailed);
}

// Read by each test: an image kept in a static would outlive the memory
// manager's per-thread statistics at exit. Null when the shared test data is
// not beside the project (the tests then skip).
constexpr const char* kPhotoFile = QGDI_TESTDATA_DIR "/bmpsuite/g/rgb24.bmp";
std::unique_ptr<CDibIterator> Photo() {
    if (!std::filesystem::exists(kPhotoFile)) return nullptr;
    auto image = std::make_unique<CDibIterator>();
    EXPECT_FALSE(QGDI_ReadBmpFile(kPhotoFile, *image).IsError());
    return image;
}

struct SNeutral {
    const char* name;
    std::function<CCoordinator*(int w, int h)> make;
};

std::vector<SNeutral> NeutralMaps() {
    const double lens[4] = {0.25, 0.25, 0.75, 0.75};
    return {
        {"rotate", [](int, int) { return Create_CCoordinatorRotate(0); }},
        {"scale", [](int, int) { return Create_CCoordinatorScale(1, 1); }},
        {"skew", [](int, int) { return Create_CCoordinatorSkew(0, 0); }},
        {"h-perspective", [](int, int) { return Create_CCoordinatorHPerspective(0); }},
        {"v-perspective", [](int, int) { return Create_CCoordinatorVPerspective(0); }},
        {"offset", [](int, int) { return Create_CCoordinatorOffset(0, 0); }},
        {"thinify", [](int, int) { return Create_CCoordinatorThinify(0, 0); }},
        {"h-cylinder", [](int, int) { return Create_CCoordinatorHCylinder(0); }},
        {"v-cylinder", [](int, int) { return Create_CCoordinatorVCylinder(0); }},
        {"twirl", [](int, int) { return Create_CCoordinatorTwirl(0); }},
        {"ripple", [](int, int) { return Create_CCoordinatorRipple(0, 20, 0, 0); }},
        {"warp", [](int, int) { return Create_CCoordinatorWarp(0.5, 0.5, 1, 0); }},
        {"wave", [](int, int) { return Create_CCoordinatorWave(0, 40, 0, 40); }},
        {"curlicues", [](int, int) { return Create_CCoordinatorCurlicues(64, 0, 0, 0, true); }},
        {"barrel", [](int, int) { return Create_CCoordinatorBarrel(0, true, true, 50, 50, keEdgeClamp); }},
        {"pincushion", [](int, int) { return Create_CCoordinatorPincushion(0, true, true, 50, 50); }},
        {"fisheye", [](int, int) { return Create_CCoordinatorFishEye(0, true, true, false, 50, 50, keEdgeClamp); }},
        {"spherize", [](int, int) { return Create_CCoordinatorSpherize(0, keSpherizeNormal); }},
        {"glasses", [](int w, int h) { return Create_CCoordinatorGlasses(w / 2, h / 2, h / 5.0, h / 2.0, 1, 0); }},
        {"kaleidoscope", [](int, int) { return Create_CCoordinatorKaleidoscope(1, 0, 0.5, 0.5, 0, 0, 1); }},
        {"mosaic", [](int, int) { return Create_CCoordinatorMosaicAdvanced(32, 32, 0, 1, 0); }},
        {"rays", [](int, int) { return Create_CCoordinatorRays(8, 0, 0, 0, 1); }},
        {"reflections", [](int, int h) { return Create_CCoordinatorReflections(0, h - 1, 0, 20, 0); }},
        {"ornament", [](int w, int h) { return Create_CCoordinatorOrnament(w, h, 0, 0, 0, 1, 0, 0); }},
        {"lens", [lens](int, int) { return Create_CCoordinatorRectangularLens4(1, lens, 0.3); }},
    };
}

TEST(Distort, EveryMapAtItsNeutralSettingIsTheIdentity) {
    const auto photoImage = Photo();
    if (!photoImage) GTEST_SKIP() << kPhotoFile << " not found";
    const CRowIterator& photo = *photoImage;
    ASSERT_TRUE(photo.IsAttached());
    const int w = photo.GetWidth(), h = photo.GetHeight();
    for (const SNeutral& m : NeutralMaps())
        for (const EQResampleMode mode : {keResampleNearestNeighbor, keResampleBilinear, keResampleBicubic}) {
            std::unique_ptr<CCoordinator> map(m.make(w, h));
            ASSERT_TRUE(map);
            CRowIterator dst;
            ASSERT_FALSE(QGDI_DistortImage(photo, *map, dst, mode).IsError()) << m.name;
            EXPECT_EQ(ImageBytes(dst), ImageBytes(photo)) << m.name << " mode " << mode;
        }
}

TEST(Distort, MirrorsAreExactAndContinuousMapsGiveContinuousImages) {
    const auto photoImage = Photo();
    if (!photoImage) GTEST_SKIP() << kPhotoFile << " not found";
    const CRowIterator& photo = *photoImage;
    const int w = photo.GetWidth(), h = photo.GetHeight();
    std::unique_ptr<CCoordinator> mirror(Create_CCoordinatorMirror());
    CRowIterator m;
    ASSERT_FALSE(QGDI_DistortImage(photo, *mirror, m, keResampleBicubic).IsError());
    for (int y = 0; y < h; y += 7)
        for (int x = 0; x < w; ++x) ASSERT_EQ(At(m, x, y, 1), At(photo, w - 1 - x, y, 1));
    // A smooth ramp through smooth maps: neighbouring outputs differ by no
    // more than the ramp's slope times the map's local stretch allows.
    auto ramp = MakeImage(96, 80, keFormatGrey, [](int x, int y, int) { return x + y; });
    const std::function<CCoordinator*()> maps[] = {
        [] { return Create_CCoordinatorRotate(30); },
        [] { return Create_CCoordinatorTwirl(120); },
        [] { return Create_CCoordinatorWave(4, 40, 4, 40); },
        [] { return Create_CCoordinatorSpherize(60, keSpherizeNormal); },
        [] { return Create_CCoordinatorBarrel(40, true, true, 50, 50, keEdgeClamp); },
        [] { return Create_CCoordinatorRipple(3, 25, 0, 0); },
        [] { return Create_CCoordinatorHCylinder(0.5); },
    };
    for (size_t i = 0; i < std::size(maps); ++i) {
        std::unique_ptr<CCoordinator> map(maps[i]());
        CRowIterator dst;
        ASSERT_FALSE(QGDI_DistortImage(*ramp, *map, dst, keResampleBilinear).IsError());
        double jump = 0;
        for (int y = 0; y + 1 < dst.GetHeight(); ++y)
            for (int x = 0; x + 1 < dst.GetWidth(); ++x)
                jump = std::max({jump, std::fabs(At(dst, x + 1, y, 0) - At(dst, x, y, 0)),
                                 std::fabs(At(dst, x, y + 1, 0) - At(dst, x, y, 0))});
        EXPECT_LE(jump, 8) << "map " << i;
    }
}

TEST(Distort, ThreadsChangeNothingAndBadInputGetsACode) {
    const auto photoImage = Photo();
    if (!photoImage) GTEST_SKIP() << kPhotoFile << " not found";
    const CRowIterator& photo = *photoImage;
    std::unique_ptr<CCoordinator> map(Create_CCoordinatorTwirl(200));
    CRowIterator one, all;
    ASSERT_FALSE(QGDI_DistortImage(photo, *map, one, keResampleBicubic, keEdgeClamp, 0, nullptr, 1).IsError());
    ASSERT_FALSE(QGDI_DistortImage(photo, *map, all, keResampleBicubic, keEdgeClamp, 0, nullptr, 0).IsError());
    EXPECT_EQ(ImageBytes(one), ImageBytes(all));
    CRowIterator none, dst, small;
    EXPECT_EQ(QGDI_DistortImage(none, *map, dst).Ignore(), keQuorErrIteratorState);
    EXPECT_EQ(QGDI_DistortImage(photo, *map, dst, static_cast<EQResampleMode>(17)).Ignore(), keQuorErrFailed);
    EXPECT_EQ(QGDI_DistortImage(photo, *map, dst, keResampleBilinear, static_cast<EEdgeMode>(5)).Ignore(),
              keQuorErrFailed);
    ASSERT_FALSE(small.Create(5, 5, photo.GetPixelFormat()).IsError());
    EXPECT_EQ(QGDI_DistortImage(photo, *map, small).Ignore(), keQuorErrFailed);
    const double singular[9] = {0, 0, 0, 0, 0, 0, 0, 0, 1};
    std::unique_ptr<CCoordinator> flat(Create_CCoordinatorMatrix(singular));
    EXPECT_EQ(QGDI_DistortImage(photo, *flat, dst).Ignore(), keQuorErrFailed);
    struct SStop {
        static int Check(CStatusControl* s) { return s->GetProgress() > 0; }
    };
    CStatusControl status;
    status.SetAbortCheckCallback(&SStop::Check);
    CRowIterator cancelled;
    EXPECT_EQ(QGDI_DistortImage(photo, *map, cancelled, keResampleBilinear, keEdgeClamp, 0, &status).Ignore(),
              keQuorErrCancelled);
}

}  // namespace

namespace {

// Every filter stage, used directly in a chain as the effect graph does:
// a reset rewinds it to the same rows, and its rows are the whole-image
// function's (for a format without alpha, where no premultiplication runs).
TEST(FilterStages, RewindToTheSameRowsAsTheWholeImageFunctions) {
    auto src = MakeImage(33, 21, keFormatBGR, [](int x, int y, int c) { return (x * 17 + y * 29 + c * 70) % 256; });
    auto map = MakeImage(33, 21, keFormatBGR, [](int x, int y, int c) { return (x * 40 + y * 3 + c * 9) % 256; });
    SConvolveKernel sharpen;
    ASSERT_TRUE(QGDI_GetFilterMatrix(keFilterMatrixSharpen, sharpen));
    const struct {
        const char* name;
        std::function<VSeqOp*()> stage;
        std::function<CErrorAutoThrow(CRowIterator&)> whole;
    } cases[] = {
        {"convolve", [&] { return new CSeqOpConvolve(sharpen); },
         [&](CRowIterator& d) { return CImageConvolve(sharpen).Convolve(*src, d); }},
        {"dilate", [] { return new CSeqOpMorphology(keMorphSquare, true, 3, 2); },
         [&](CRowIterator& d) { return QGDI_Dilate(*src, d, keMorphSquare, 3, 2); }},
        {"erode", [] { return new CSeqOpMorphology(keMorphRound, false, 2, 4); },
         [&](CRowIterator& d) { return QGDI_Erode(*src, d, keMorphRound, 2, 4); }},
        {"median", [] { return new CSeqOpMedian(2); }, [&](CRowIterator& d) { return QGDI_Median(*src, d, 2); }},
        {"displace",
         [&] {
             auto* s = new CSeqOpDisplace(keChannelRed, keChannelGreen, 6.0);
             s->SetSrc(new CSeqOpRowIterator(map.get()), 1, true);
             return s;
         },
         [&](CRowIterator& d) { return QGDI_DisplacementMap(*src, *map, d, keChannelRed, keChannelGreen, 6.0); }},
    };
    for (const auto& c : cases) {
        CSeqOpRowIterator head(src.get());
        std::unique_ptr<VSeqOp> stage(c.stage());
        stage->SetSrc(&head, 0, false);
        ASSERT_TRUE(stage->Reset()) << c.name;
        const Bytes first = PullAll(*stage);
        ASSERT_TRUE(stage->Reset()) << c.name;
        EXPECT_EQ(PullAll(*stage), first) << c.name;
        CRowIterator whole;
        ASSERT_FALSE(c.whole(whole).IsError()) << c.name;
        EXPECT_EQ(ImageBytes(whole), first) << c.name;
    }
}

TEST(SixteenBit, UnsharpAndDistortionFollowTheirEightBitCounterparts) {
    // The same picture at both depths (x 257): results agree within a level of 8 bits.
    const auto value = [](int x, int y, int c) { return (x * 11 + y * 7 + c * 50) % 256; };
    auto narrow = MakeImage(30, 24, keFormatBGR, value);
    auto wide = MakeImage(30, 24, keFormatBGR_u16, [&](int x, int y, int c) { return value(x, y, c) * 257.0; });
    std::unique_ptr<CCoordinator> twirl(Create_CCoordinatorTwirl(90));
    const std::function<CErrorAutoThrow(const CRowIterator&, CRowIterator&)> ops[] = {
        [](const CRowIterator& s, CRowIterator& d) { return QGDI_UnsharpMask(s, d, 1.5, 1.2, 2); },
        [&](const CRowIterator& s, CRowIterator& d) { return QGDI_DistortImage(s, *twirl, d, keResampleBicubic); },
    };
    for (size_t i = 0; i < std::size(ops); ++i) {
        CRowIterator a, b;
        ASSERT_FALSE(ops[i](*narrow, a).IsError());
        ASSERT_FALSE(ops[i](*wide, b).IsError());
        double worst = 0;
        for (int y = 0; y < 24; ++y)
            for (int x = 0; x < 30; ++x)
                for (int c = 0; c < 3; ++c) worst = std::max(worst, std::fabs(At(a, x, y, c) - At(b, x, y, c) / 257.0));
        // Rounding at 8 bits, and the threshold's cut falling on either side of a level.
        EXPECT_LE(worst, i == 0 ? 4.0 : 1.0) << "op " << i;
    }
}

}  // namespace

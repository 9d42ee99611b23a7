// Kernel windows over stages and images, and single-pixel sampling.
#include <gtest/gtest.h>

#include "pipeline_test_util.h"

using namespace qgdi::test;

namespace {

// 4 x 3 Grey image, pixel (x, y) = 10 y + x + 1.
std::unique_ptr<CRowIterator> Small() {
    return MakeImage(4, 3, keFormatGrey, [](int x, int y, int) { return 10 * y + x + 1; });
}

std::vector<int> WindowRow(const CKernelWindow& k, int r, int n) {
    const int32_t* p = k.Row<int32_t>(r);
    return std::vector<int>(p, p + n);
}

TEST(KernelSource, EdgeModesOfAThreeByThreeKernel) {
    auto img = Small();
    struct SCase {
        EEdgeMode mode;
        std::vector<int> top, middle;  // window rows 0 and 1 at output row 0
    } cases[] = {
        {keEdgeConstant, {77, 77, 77, 77, 77, 77, 77}, {77, 1, 2, 3, 4, 77, 77}},
        {keEdgeClamp, {1, 1, 2, 3, 4, 4, 0}, {1, 1, 2, 3, 4, 4, 0}},
        {keEdgeWrap, {4, 1, 2, 3, 4, 1, 0}, {4, 1, 2, 3, 4, 1, 0}},  // rows repeat, columns wrap
    };
    for (const SCase& c : cases) {
        CSeqOpRowIterator head(img.get());
        const uint32_t grey77 = 0x4D4D4D;
        CKernelSource k(quor::keTypeInt32, 3, 3, 1, 1, c.mode, grey77);
        ASSERT_TRUE(k.Attach(&head, keChannelSetAll)) << c.mode;
        EXPECT_EQ(k.GetChannelCount(), 1);
        EXPECT_EQ(k.GetCurrentChannel(), keChannelGrey);
        // The padded row is width + M = 7 long; the last column is never written.
        auto top = WindowRow(k, 0, 6), mid = WindowRow(k, 1, 6);
        EXPECT_EQ(top, std::vector<int>(c.top.begin(), c.top.begin() + 6)) << c.mode;
        EXPECT_EQ(mid, std::vector<int>(c.middle.begin(), c.middle.begin() + 6)) << c.mode;
        ASSERT_TRUE(k.Next());
        EXPECT_EQ(*static_cast<int32_t*>(k(1, 0)), 1);  // slots rotated: row 0 is on top now
        EXPECT_EQ(*static_cast<int32_t*>(k(1, 2)), 21);
        ASSERT_TRUE(k.Next());
        EXPECT_EQ(*static_cast<int32_t*>(k(1, 2)), c.mode == keEdgeConstant ? 77 : 21);  // below the image
        EXPECT_FALSE(k.Next());
    }
}

TEST(KernelSource, ChannelsAndElementTypes) {
    auto img = MakeImage(3, 2, keFormatBGRA, [](int x, int, int c) { return 10 * c + x; });
    CSeqOpRowIterator head(img.get());
    CKernelSource k(quor::keTypeReal32, 1, 1, 0, 0, keEdgeClamp);
    ASSERT_TRUE(k.Attach(&head, keChannelSetAllButAlpha));
    ASSERT_EQ(k.GetChannelCount(), 3);
    k.SetChannel(2);
    EXPECT_EQ(k.GetCurrentChannel(), keChannelRed);
    EXPECT_EQ(*static_cast<float*>(k(1, 0)), 21.0f);
    k.SetChannel(5);  // out of range: ignored
    EXPECT_EQ(k.GetCurrentChannel(), keChannelRed);
    CKernelSource bad(quor::keTypeUInt08, 3, 3, 1, 1, keEdgeClamp);
    EXPECT_FALSE(bad.Attach(&head, keChannelSetAll));  // not a window element type
    CKernelSource none(quor::keTypeInt16, 3, 3, 1, 1, keEdgeClamp);
    EXPECT_FALSE(none.Attach(&head, keChannelSetGrey));  // selects nothing
    auto packed = MakeImage(8, 2, keFormatIndex4, [](int, int, int) { return 0; });
    CSeqOpRowIterator packedHead(packed.get());
    EXPECT_FALSE(none.Attach(&packedHead, keChannelSetAll));  // no whole bytes per pixel
    EXPECT_FALSE(none.IsAttached());
}

TEST(KernelSourceIterator, WrapsRowsToo) {
    auto img = Small();
    CKernelSourceIterator k(quor::keTypeInt16, 3, 3, 1, 1, keEdgeWrap);
    ASSERT_TRUE(k.Attach(img.get(), keChannelSetAll));
    const int16_t* top = k.Row<int16_t>(0);
    EXPECT_EQ(top[1], 21);  // row -1 is the last row
    EXPECT_EQ(top[0], 24);
    ASSERT_TRUE(k.Next());
    ASSERT_TRUE(k.Next());
    EXPECT_EQ(k.Row<int16_t>(2)[1], 1);  // row 3 is the first
    k.Detach();
    EXPECT_FALSE(k.Next());
}

TEST(PixelResampler, WholePositionsGiveThePixelAndHalvesTheMean) {
    auto img = MakeImage(6, 5, keFormatBGR, [](int x, int y, int c) { return 20 * x + 7 * y + c; });
    for (const EQResampleMode mode :
         {keResampleNearestNeighbor, keResampleBilinear, keResampleBicubic, keResampleLanczos3, keResampleMitchell}) {
        CPixelResampler r(mode, keEdgeClamp);
        ASSERT_FALSE(r.Attach(img.get()).IsError());
        uint8_t px[3];
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 6; ++x) {
                ASSERT_TRUE(r.Sample(x, y, px));
                // Mitchell blurs even on whole positions; the others interpolate.
                const int tol = mode == keResampleMitchell ? 6 : 0;
                EXPECT_NEAR(px[0], 20 * x + 7 * y, tol) << QGDI_GetResampleModeName(mode) << " " << x << "," << y;
            }
    }
    CPixelResampler bilinear(keResampleBilinear, keEdgeConstant, 0);
    ASSERT_FALSE(bilinear.Attach(img.get()).IsError());
    uint8_t px[3];
    ASSERT_TRUE(bilinear.Sample(2.5, 1.5, px));
    EXPECT_EQ(px[0], 61);  // mean of 47, 67, 54 and 74, rounded
    ASSERT_TRUE(bilinear.Sample(-0.5, 0, px));
    EXPECT_EQ(px[0], 0);  // half the edge colour (0) and half of pixel 0 (0)
    uint8_t span[9];
    ASSERT_TRUE(bilinear.SampleSpan(0, 0, 256, 256, 3, span));
    EXPECT_EQ(span[3], 27);
    CPixelResampler detached;
    EXPECT_FALSE(detached.Sample(0, 0, px));
    auto indexed = MakeImage(4, 4, keFormatIndex8, [](int, int, int) { return 0; });
    EXPECT_EQ(detached.Attach(indexed.get()).Ignore(), keQuorErrFormatNotSupported);
}

}  // namespace

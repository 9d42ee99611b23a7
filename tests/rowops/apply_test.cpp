// Applying row operations over iterators: rectangles, a source image, a mask,
// cancellation from worker threads, rows that cannot be taken, sub-byte
// spans, and parallel results equal to the serial ones.
#include <gtest/gtest.h>

#include <atomic>
#include <utility>

#include "rowops_test_util.h"

namespace {

using namespace qgdi::test;

// Byte `c` of pixel (x, y) of an 8-bit image.
uint8_t At(const CRowIterator& it, int x, int y, int c = 0) {
    const uint8_t* row = nullptr;
    EXPECT_FALSE(it.GetRow(row, y).IsError());
    const uint8_t v = row[x * (it.GetBPP() / 8) + c];
    it.ReleaseRow(y).Ignore();
    return v;
}

void Pattern(CRowIterator& it, int seed) {
    for (int y = 0; y < it.GetHeight(); ++y) {
        uint8_t* row = nullptr;
        ASSERT_FALSE(it.GetRow(row, y).IsError());
        for (int i = 0; i < it.GetBytesPerRow(); ++i) row[i] = static_cast<uint8_t>(i * 7 + y * 13 + seed);
        it.ReleaseRow(y).Ignore();
    }
}

struct RectCase {
    RECT request;
    RECT touched;  // what ends up filled
};

class ApplyRect : public testing::TestWithParam<RectCase> {};

TEST_P(ApplyRect, FillsExactlyTheClippedRectangle) {
    const RectCase& c = GetParam();
    CRowIterator img;
    ASSERT_FALSE(img.Create(37, 23, keFormatBGRA).IsError());
    CRowOpDefRowFill fill(0xFF0000FFu);
    EXPECT_TRUE(PixelIterator_ApplyRowOp(fill, img, &c.request));
    for (int y = 0; y < 23; ++y)
        for (int x = 0; x < 37; ++x) {
            const POINT p{x, y};
            ASSERT_EQ(At(img, x, y, 2), PtInRect(&c.touched, p) ? 255 : 0) << x << "," << y;
        }
}

INSTANTIATE_TEST_SUITE_P(Rects, ApplyRect,
                         testing::Values(RectCase{{5, 3, 20, 11}, {5, 3, 20, 11}},
                                         RectCase{{-4, 20, 50, 40}, {0, 20, 37, 23}},
                                         RectCase{{0, 0, 37, 23}, {0, 0, 37, 23}},
                                         RectCase{{40, 0, 50, 5}, {0, 0, 0, 0}},
                                         RectCase{{9, 9, 9, 15}, {0, 0, 0, 0}}));

TEST(Apply, NullRectangleMeansTheWholeImage) {
    CRowIterator img;
    ASSERT_FALSE(img.Create(5, 4, keFormatGrey).IsError());
    CRowOpDefRowFill fill(0xFFFFFFFFu);
    EXPECT_TRUE(PixelIterator_ApplyRowOp(fill, img));
    EXPECT_EQ(At(img, 0, 0), 255);
    EXPECT_EQ(At(img, 4, 3), 255);
}

TEST(Apply, SourceRowsFollowTheSourceRectangle) {
    CRowIterator dst, src;
    ASSERT_FALSE(dst.Create(30, 20, keFormatGrey).IsError());
    ASSERT_FALSE(src.Create(40, 30, keFormatBGR).IsError());
    Pattern(src, 1);
    CRowOpDefRowCopy copy;
    const RECT d{2, 2, 12, 7}, s{5, 4, 40, 30};
    EXPECT_TRUE(PixelIterator_ApplyRowOp(copy, dst, src, &d, &s));
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 30; ++x) {
            uint8_t expected = 0;
            if (x >= 2 && x < 12 && y >= 2 && y < 7) {
                const int sx = x - 2 + 5, sy = y - 2 + 4;
                expected = static_cast<uint8_t>(
                    (77 * At(src, sx, sy, 2) + 151 * At(src, sx, sy, 1) + 28 * At(src, sx, sy, 0)) >> 8);
            }
            ASSERT_EQ(At(dst, x, y), expected) << x << "," << y;
        }
}

TEST(Apply, SourceSmallerThanTheRectangleLimitsIt) {
    CRowIterator dst, src;
    ASSERT_FALSE(dst.Create(10, 10, keFormatGrey).IsError());
    ASSERT_FALSE(src.Create(3, 2, keFormatGrey, nullptr).IsError());
    Pattern(src, 50);
    CRowOpDefRowCopy copy;
    EXPECT_TRUE(PixelIterator_ApplyRowOp(copy, dst, src));
    EXPECT_EQ(At(dst, 2, 1), At(src, 2, 1));
    EXPECT_EQ(At(dst, 3, 1), 0);
    EXPECT_EQ(At(dst, 0, 2), 0);
}

TEST(Apply, MaskWeighsEachPixel) {
    CRowIterator img, mask;
    ASSERT_FALSE(img.Create(64, 3, keFormatBGR).IsError());
    ASSERT_FALSE(mask.Create(70, 5, keFormatGrey).IsError());
    for (int y = 0; y < 5; ++y) {
        uint8_t* row = nullptr;
        ASSERT_FALSE(mask.GetRow(row, y).IsError());
        for (int x = 0; x < 70; ++x) row[x] = static_cast<uint8_t>(x * 4 + y);
        mask.ReleaseRow(y).Ignore();
    }
    CRowOpDefRowFill white(0xFFFFFFFFu);
    const RECT maskRect{3, 1, 70, 5};
    EXPECT_TRUE(PixelIterator_ApplyRowOp(white, img, nullptr, &mask, nullptr, nullptr, &maskRect));
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 64; ++x) ASSERT_EQ(At(img, x, y, 1), At(mask, x + 3, y + 1)) << x << "," << y;
}

TEST(Apply, MaskOfAnotherFormatLeavesTheImage) {
    CRowIterator img, mask;
    ASSERT_FALSE(img.Create(4, 4, keFormatGrey).IsError());
    ASSERT_FALSE(mask.Create(4, 4, keFormatBGR).IsError());
    CRowOpDefRowFill white(0xFFFFFFFFu);
    EXPECT_TRUE(PixelIterator_ApplyRowOp(white, img, nullptr, &mask));
    EXPECT_EQ(At(img, 1, 1), 0);
}

std::atomic<int> g_checks{0};
int CancelAfterTen(CStatusControl*) { return ++g_checks > 10 ? 1 : 0; }

TEST(Apply, CancellationFromAnyThreadStopsWithinAFewRows) {
    CRowIterator img;
    ASSERT_FALSE(img.Create(16, 4000, keFormatGrey).IsError());
    CStatusControl status;
    status.SetAbortCheckCallback(CancelAfterTen);
    g_checks = 0;
    CRowOpDefRowFill fill(0xFFFFFFFFu);
    EXPECT_FALSE(PixelIterator_ApplyRowOp(fill, img, nullptr, &status));
    int filled = 0;
    for (int y = 0; y < 4000; ++y) filled += At(img, 0, y) == 255;
    EXPECT_GE(filled, 1);
    EXPECT_LE(filled, 10 + 8);  // at most a row or two more per thread
    EXPECT_TRUE(status.IsAborted());
}

TEST(Apply, RowsThatCannotBeTakenAreSkipped) {
    CRowIterator img;
    ASSERT_FALSE(img.Create(8, 6, keFormatBGR).IsError());
    ASSERT_FALSE(img.SetPixelFormat(keFormatBGRA).IsError());  // converted rows
    // Row 3 is held with another span, so taking it whole fails.
    uint8_t* held = nullptr;
    ASSERT_FALSE(img.GetRow(held, 3, 0, 2).IsError());
    CRowOpDefRowFill fill(0xFF00FF00u);
    EXPECT_TRUE(PixelIterator_ApplyRowOp(fill, img));
    ASSERT_FALSE(img.ReleaseRow(3).IsError());
    ASSERT_FALSE(img.SetPixelFormat(keFormatBGR).IsError());
    for (int y = 0; y < 6; ++y) EXPECT_EQ(At(img, 5, y, 1), y == 3 ? 0 : 255) << y;
}

TEST(Apply, SubByteSpansKeepTheirNeighbours) {
    const RGBQUAD grey[16] = {};
    CRowIterator dst, src;
    ASSERT_FALSE(dst.CreateIndexed(9, 2, 4, grey, 16).IsError());
    ASSERT_FALSE(src.CreateIndexed(9, 2, 4, grey, 16).IsError());
    for (int y = 0; y < 2; ++y) {
        uint8_t* row = nullptr;
        ASSERT_FALSE(src.GetRow(row, y).IsError());
        for (int i = 0; i < 5; ++i) row[i] = static_cast<uint8_t>(0x12 * (i + 1) + y);  // nibbles 1,2,2,4,3,6,...
        src.ReleaseRow(y).Ignore();
    }
    auto nibble = [](const CRowIterator& it, int x, int y) {
        const uint8_t* row = nullptr;
        EXPECT_FALSE(it.GetRow(row, y).IsError());
        const int v = (row[x / 2] >> ((x & 1) ? 0 : 4)) & 15;
        it.ReleaseRow(y).Ignore();
        return v;
    };
    CRowOpDefRowCopyIndexed copy;
    const RECT d{3, 0, 8, 2}, s{2, 0, 9, 2};
    EXPECT_TRUE(PixelIterator_ApplyRowOp(copy, dst, src, &d, &s));
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 9; ++x)
            ASSERT_EQ(nibble(dst, x, y), x >= 3 && x < 8 ? nibble(src, x - 1, y) : 0) << x << "," << y;
}

TEST(Apply, ParallelRowsMatchTheKernelRowByRow) {
    CRowIterator img, ref;
    ASSERT_FALSE(img.Create(123, 301, keFormatBGRA).IsError());
    ASSERT_FALSE(ref.Create(123, 301, keFormatBGRA).IsError());
    Pattern(img, 3);
    Pattern(ref, 3);
    CRowOpDefRowNoise noise(0.3, false, true, 77);
    const RECT r{10, 0, 123, 301};
    EXPECT_TRUE(PixelIterator_ApplyRowOp(noise, img, &r));
    // The same kernel on spans split at another column gives the same pixels.
    CRowOpData data;
    data.eDstFormat = keFormatBGRA;
    CRowOp op(&noise, data);
    for (int y = 0; y < 301; ++y) {
        uint8_t* row = nullptr;
        ASSERT_FALSE(ref.GetRow(row, y).IsError());
        for (auto [x0, x1] : {std::pair{10, 50}, std::pair{50, 123}}) {
            data.pDst = row + 4 * x0;
            data.x = x0;
            data.y = y;
            data.nCount = x1 - x0;
            op(data);
        }
        ref.ReleaseRow(y).Ignore();
    }
    for (int y = 0; y < 301; ++y)
        for (int x = 0; x < 123; ++x)
            for (int c = 0; c < 4; ++c) ASSERT_EQ(At(img, x, y, c), At(ref, x, y, c)) << x << "," << y;
}

TEST(Apply, NonConstSourceMayBeTheDestination) {
    CRowIterator img;
    ASSERT_FALSE(img.Create(6, 5, keFormatGrey).IsError());
    Pattern(img, 0);
    const uint8_t before = At(img, 3, 2);
    CRowOpDefRowPlusEqual plus;
    EXPECT_TRUE(PixelIterator_ApplyRowOp_NonConst(plus, img, img));
    EXPECT_EQ(At(img, 3, 2), std::min(255, 2 * before));
}

TEST(Apply, DetachedImagesAreLeftAlone) {
    CRowIterator none, src;
    CRowOpDefRowFill fill;
    EXPECT_TRUE(PixelIterator_ApplyRowOp(fill, none));
    ASSERT_FALSE(src.Create(2, 2, keFormatGrey).IsError());
    EXPECT_TRUE(PixelIterator_ApplyRowOp(fill, none, src));
}

}  // namespace

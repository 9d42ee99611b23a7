// The stages of a chain: sources and ownership, the image adapter, row
// operations and conversions, tiling, and the node that runs a chain.
#include <gtest/gtest.h>

#include "pipeline_test_util.h"

using namespace qgdi::test;

namespace {

::testing::Environment* const kEnv = ::testing::AddGlobalTestEnvironment(new CPipelineEnvironment);

// Reports its own destruction.
class CDyingSource : public CCountingSource {
public:
    explicit CDyingSource(int* deaths) : CCountingSource(4, 4), m_deaths(deaths) {}
    ~CDyingSource() override { ++*m_deaths; }

private:
    int* m_deaths;
};

TEST(SeqOpSources, OwnershipAndCount) {
    int deaths = 0;
    CSeqOpConvert op(keFormatNone);
    auto* owned = new CDyingSource(&deaths);
    CDyingSource kept(&deaths);
    op.SetSrc(owned, 0, true);
    op.SetSrc(&kept, 1, false);
    EXPECT_EQ(op.GetSrcCount(), 2);
    EXPECT_EQ(op.GetSrc(0), owned);
    EXPECT_EQ(op.GetSrc(2), nullptr);
    EXPECT_EQ(op.GetSrc(-1), nullptr);
    op.SetSrc(owned, 2, true);  // an invalid slot changes nothing but the count
    EXPECT_EQ(op.GetSrcCount(), 2);
    EXPECT_EQ(deaths, 0);
    op.SetSrc(nullptr, 0, false);  // destroys the owned stage
    EXPECT_EQ(deaths, 1);
    EXPECT_EQ(op.GetSrcCount(), 1);
    op.SetSrc(nullptr, 1, false);  // only referenced: survives
    EXPECT_EQ(deaths, 1);
    EXPECT_EQ(op.GetSrcCount(), 0);
    EXPECT_EQ(op.GetWidth(), 0);
    EXPECT_EQ(op.GetPixelFormat(), keFormatNone);
    EXPECT_EQ(op.GetPalette().pEntries, nullptr);
    EXPECT_FALSE(op.Reset());  // no source: no format
}

TEST(SeqOpSources, OwnedChainDiesWithItsLastStage) {
    int deaths = 0;
    {
        CSeqOpConvert last(keFormatNone);
        auto* middle = new CSeqOpConvert(keFormatNone);
        middle->SetSrc(new CDyingSource(&deaths), 0, true);
        last.SetSrc(middle, 0, true);
    }
    EXPECT_EQ(deaths, 1);
}

TEST(SeqOpBase, SeekSkipsToTheRowAndRowIteratorSeeksOneFurther) {
    auto img = MakeImage(5, 6, keFormatGrey, [](int x, int y, int) { return 10 * y + x; });
    // Base rule (a convert stage in front): after Seek(3) row 3 comes next.
    CSeqOpRowIterator head(img.get());
    CSeqOpConvert convert(keFormatGrey);
    convert.SetSrc(&head, 0, false);
    ASSERT_TRUE(convert.Reset());
    ASSERT_TRUE(convert.Seek(3));
    auto* row = static_cast<const uint8_t*>(convert.GetNextRow(0, 5));
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row[0], 30);
    // The adapter's own rule: row 3 is the last delivered, row 4 comes next.
    ASSERT_TRUE(head.Reset());
    ASSERT_TRUE(head.Seek(3));
    row = static_cast<const uint8_t*>(head.GetNextRow(0, 5));
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row[0], 40);
    EXPECT_TRUE(head.Seek(6));
    EXPECT_EQ(head.GetNextRow(0, 5), nullptr);
    EXPECT_FALSE(head.Seek(7));
    EXPECT_FALSE(head.Seek(-1));
}

TEST(SeqOpRowIterator, DeliversTheImageRowsWithoutCopying) {
    auto img = MakeImage(7, 3, keFormatBGR, [](int x, int y, int c) { return x * 3 + y * 50 + c; });
    CSeqOpRowIterator head(img.get());
    EXPECT_EQ(head.GetSrcCount(), 0);
    head.SetSrc(&head, 0, false);
    EXPECT_EQ(head.GetSrc(0), nullptr);
    ASSERT_TRUE(head.Reset());
    EXPECT_EQ(head.GetPixelFormat(), keFormatBGR);
    for (int y = 0; y < 3; ++y) {
        const void* row = head.GetNextRow(0, 7);
        const uint8_t* direct = img->GetRow(y, 0, 7);
        EXPECT_EQ(row, direct) << "row " << y << " was copied";
        img->ReleaseRow(y).Ignore();
    }
    EXPECT_EQ(head.GetNextRow(0, 7), nullptr);
}

TEST(SeqOpRowIterator, CopyingRowsChecksTheSpan) {
    auto img = MakeImage(16, 2, keFormatIndex1, [](int x, int, int) { return x % 2 ? 0x80 : 0; });
    CSeqOpRowIterator head(img.get());
    ASSERT_TRUE(head.Reset());
    uint8_t out[4] = {0xAA, 0xAA, 0xAA, 0xAA};
    EXPECT_TRUE(head.GetNextRow(out, 4, 8));  // nibble-aligned: one byte copied
    EXPECT_EQ(out[1], 0xAA);
    EXPECT_FALSE(head.GetNextRow(out, 2, 8));  // two bits into a byte
    ASSERT_TRUE(head.Reset());
    EXPECT_FALSE(head.GetNextRow(out, -1, 4));
    EXPECT_FALSE(head.GetNextRow(out, 10, 8));
    CSeqOpRowIterator none;
    EXPECT_FALSE(none.Reset());
    EXPECT_FALSE(none.GetNextRow(out, 0, 1));
    CSeqOpRowIterator formatOnly(nullptr, keFormatBGR);
    EXPECT_TRUE(formatOnly.Reset());
    EXPECT_EQ(formatOnly.GetNextRow(0, 1), nullptr);
}

// Conversion on the way in, a conversion stage and a row operation: the same
// as converting and operating on the whole image.
TEST(SeqOpChain, EqualsTheSameStepsImageToImage) {
    auto img = MakeImage(33, 9, keFormatBGRA, [](int x, int y, int c) { return (x * 37 + y * 11 + c * 71) % 256; });
    CSeqOpRowIterator head(img.get(), keFormatBGR);
    CRowOpDefRowInvert invert;
    CSeqOpRowOp op(invert);
    op.SetSrc(&head, 0, false);
    CSeqOpConvert back(keFormatBGRA);
    back.SetSrc(&op, 0, false);
    ASSERT_TRUE(back.Reset());
    const Bytes chain = PullAll(back);

    CRowIterator expected;
    ASSERT_FALSE(expected.CreateFromCopy(*img, nullptr, keFormatBGR).IsError());
    ASSERT_TRUE(PixelIterator_ApplyRowOp(invert, expected));
    CRowIterator again;
    ASSERT_FALSE(again.CreateFromCopy(expected, nullptr, keFormatBGRA).IsError());
    EXPECT_EQ(chain, ImageBytes(again));
}

TEST(SeqOpConvert, PassesRowsThroughWhenFormatsAgree) {
    auto img = MakeImage(4, 2, keFormatGrey, [](int x, int, int) { return x; });
    CSeqOpRowIterator head(img.get());
    CSeqOpConvert same(keFormatGrey), other(keFormatBGR);
    same.SetSrc(&head, 0, false);
    ASSERT_TRUE(same.Reset());
    EXPECT_TRUE(same.IsPassThrough());
    const void* row = same.GetNextRow(0, 4);
    EXPECT_EQ(row, img->GetRow(0, 0, 4));
    img->ReleaseRow(0).Ignore();
    other.SetSrc(&head, 0, false);
    ASSERT_TRUE(other.Reset());
    EXPECT_FALSE(other.IsPassThrough());
    auto* bgr = static_cast<const uint8_t*>(other.GetNextRow(0, 4));
    ASSERT_NE(bgr, nullptr);
    EXPECT_EQ(bgr[9], 3);
    EXPECT_EQ(bgr[11], 3);
}

TEST(SeqOpRowOp, WithoutDefinitionOrSourceFailsReset) {
    CSeqOpRowOp none;
    CCountingSource src(3, 3);
    none.SetSrc(&src, 0, false);
    EXPECT_FALSE(none.Reset());
    CRowOpDefRowInvert invert;
    CSeqOpRowOp orphan(invert);
    EXPECT_FALSE(orphan.Reset());
}

TEST(SeqOpTile, RepeatsAcrossAndDownAndNeverStops) {
    CCountingSource src(3, 2);
    CSeqOpTile tile;
    tile.nOutWidth = 8;
    tile.nOutHeight = 3;
    tile.SetSrc(&src, 0, false);
    ASSERT_TRUE(tile.Reset());
    EXPECT_EQ(tile.GetWidth(), 8);
    EXPECT_EQ(tile.GetPixelFormat(), keFormatGrey);
    const Bytes rows = PullAll(tile, 5);  // two rows past its height
    ASSERT_EQ(rows.size(), 40u);
    const uint8_t row0[8] = {0, 1, 2, 0, 1, 2, 0, 1}, row1[8] = {1, 2, 3, 1, 2, 3, 1, 2};
    for (int y = 0; y < 5; ++y) EXPECT_EQ(0, std::memcmp(rows.data() + 8 * y, y % 2 ? row1 : row0, 8)) << "row " << y;
}

// ---- the effect node --------------------------------------------------------

// Cancels once progress reaches `limit` rows.
struct SCancelAfter {
    static int limit;
    static int Check(CStatusControl* s) { return s->GetProgress() >= static_cast<uint64_t>(limit); }
};
int SCancelAfter::limit = 0;

TEST(IoSeqOp, WritesTheRectangleAndStopsWhenCancelled) {
    auto in = MakeImage(6, 5, keFormatGrey, [](int x, int y, int) { return 100 + 10 * y + x; });
    for (const int limit : {-1, 0, 3}) {
        CRowIterator dst;
        const CColorRef black(0, 0, 0);
        ASSERT_FALSE(dst.Create(6, 5, keFormatGrey, &black).IsError());
        CIoSeqOp node(new CSeqOpConvert(keFormatGrey));
        CIoData data;
        data.pDst = &dst;
        data.rcDst = {0, 0, 6, 5};
        data.SetInput(0, in.get());
        CStatusControl status;
        SCancelAfter::limit = limit;
        if (limit >= 0) {
            status.SetAbortCheckCallback(&SCancelAfter::Check);
            data.pStatus = &status;
        }
        const CErrorAutoThrow r = node.Execute(data);
        EXPECT_EQ(r.Ignore(), limit < 0 ? keQuorErrSuccess : keQuorErrCancelled);
        const int written = limit < 0 ? 5 : limit;
        const Bytes out = ImageBytes(dst);
        for (int y = 0; y < 5; ++y)
            EXPECT_EQ(out[static_cast<size_t>(6 * y + 2)], y < written ? 100 + 10 * y + 2 : 0) << limit << " " << y;
        EXPECT_EQ(node.GetChain()->GetSrc(0), nullptr);  // the adapters are gone with the call
    }
}

TEST(IoSeqOp, ChainThatCannotResetWritesNothing) {
    CRowIterator dst;
    const CColorRef grey(9, 9, 9);
    ASSERT_FALSE(dst.Create(3, 3, keFormatGrey, &grey).IsError());
    CIoSeqOp node(new CSeqOpConvert(keFormatGrey));  // no input: no source
    CIoData data;
    data.pDst = &dst;
    data.rcDst = {0, 0, 3, 3};
    EXPECT_EQ(node.Execute(data).Ignore(), keQuorErrFailed);
    for (uint8_t b : ImageBytes(dst)) EXPECT_EQ(b, 9);
}

}  // namespace

namespace {

TEST(SeqOpClipboard, RunsTheChainOntoTheClipboardAsRGB) {
    auto img = MakeImage(5, 4, keFormatBGRA, [](int x, int y, int c) { return c == 3 ? 255 : 40 * c + 9 * x + y; });
    CSeqOpRowIterator head(img.get());
    CSeqOpConvert convert(keFormatBGRA);
    convert.SetSrc(&head, 0, false);
    ASSERT_EQ(SeqOp_CopyRGBtoClipboard(&convert), keQuorErrSuccess);
    CRowIterator back;
    ASSERT_FALSE(back.CreateFromClipboard().IsError());
    EXPECT_EQ(back.GetPixelFormat(), keFormatBGR);
    CRowIterator expected;
    ASSERT_FALSE(expected.CreateFromCopy(*img, nullptr, keFormatBGR).IsError());
    EXPECT_EQ(ImageBytes(back), ImageBytes(expected));
    EXPECT_EQ(SeqOp_CopyRGBtoClipboard(nullptr), keQuorErrFailed);
}

}  // namespace

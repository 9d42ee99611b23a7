// Whole-image functions, the life cycle, and the platform services.
#include <gtest/gtest.h>

#include "iterator_test_util.h"

namespace {

uint32_t PixelRGBA(const CRowIterator& it, int x, int y) {
    CColorRef c;
    it.GetPixel(x, y, c).Ignore();
    return c.GetRGBA();
}

TEST(Functions, CopyRectClipsAndConverts) {
    CRowIterator src, dst;
    qgdi::test::MakeRandomImage(src, keFormatBGR, 10, 10, 1);
    const CColorRef white(255, 255, 255);
    ASSERT_FALSE(dst.Create(6, 6, keFormatBGRA_u16, &white).IsError());
    const RECT from{4, 4, 10, 10};
    // Destination (3, 3): only the 3 x 3 top-left of the source rectangle fits.
    ASSERT_FALSE(RowIterator_CopyRect(dst, POINT{3, 3}, src, &from).IsError());
    EXPECT_EQ(PixelRGBA(dst, 3, 3), PixelRGBA(src, 4, 4));
    EXPECT_EQ(PixelRGBA(dst, 5, 5), PixelRGBA(src, 6, 6));
    EXPECT_EQ(PixelRGBA(dst, 2, 3), 0xFFFFFFFFu);
    // Negative destinations clip the source's other end.
    ASSERT_FALSE(RowIterator_CopyRect(dst, POINT{-2, -1}, src).IsError());
    EXPECT_EQ(PixelRGBA(dst, 0, 0), PixelRGBA(src, 2, 1));
    CRowIterator detached;
    EXPECT_EQ(RowIterator_CopyRect(detached, POINT{0, 0}, src).Ignore(), keQuorErrIteratorState);
}

TEST(Functions, ChannelCopies) {
    CRowIterator colour, target, grey;
    qgdi::test::MakeRandomImage(colour, keFormatBGRA, 5, 4, 2);
    qgdi::test::MakeRandomImage(target, keFormatBGRA, 5, 4, 3);
    qgdi::test::MakeRandomImage(grey, keFormatGrey, 5, 4, 4);
    const uint32_t before = PixelRGBA(target, 1, 1);
    ASSERT_FALSE(RowIterator_CopyColor(target, colour).IsError());
    EXPECT_EQ(PixelRGBA(target, 1, 1), (PixelRGBA(colour, 1, 1) & 0x00FFFFFFu) | (before & 0xFF000000u));
    ASSERT_FALSE(RowIterator_CopyAlpha(target, grey).IsError());
    CColorRef g;
    grey.GetPixel(2, 3, g).Ignore();
    EXPECT_EQ(PixelRGBA(target, 2, 3) >> 24, g.GetGrey8());
    ASSERT_FALSE(RowIterator_CopyChannel(target, keChannelBlue, colour, keChannelRed).IsError());
    EXPECT_EQ((PixelRGBA(target, 4, 0) >> 16) & 0xFF, PixelRGBA(colour, 4, 0) & 0xFF);

    CRowIterator wide;
    ASSERT_FALSE(wide.Create(5, 4, keFormatGrey_u16).IsError());
    EXPECT_EQ(RowIterator_CopyChannel(wide, keChannelGrey, colour, keChannelGreen).Ignore(),
              keQuorErrFormatNotSupported);
    ASSERT_FALSE(RowIterator_CopyChannel_Conv(wide, keChannelGrey, colour, keChannelGreen).IsError());
    const uint8_t* row = nullptr;
    ASSERT_FALSE(wide.GetRow(row, 0).IsError());
    uint16_t v;
    std::memcpy(&v, row, 2);
    wide.ReleaseRow(0).Ignore();
    EXPECT_EQ(v, ((PixelRGBA(colour, 0, 0) >> 8) & 0xFF) * 257);
    EXPECT_EQ(RowIterator_CopyAlpha(grey, colour).Ignore(), keQuorErrFormatNotSupported);

    ASSERT_FALSE(RowIterator_ClearRGB(target).IsError());
    EXPECT_EQ(PixelRGBA(target, 2, 3), uint32_t(g.GetGrey8()) << 24);
}

TEST(Functions, PremultiplyFollowsTheByteRule) {
    CRowIterator it;
    qgdi::test::MakeRandomImage(it, keFormatBGRA, 7, 3, 9);
    std::vector<uint32_t> straight;
    for (int x = 0; x < 7; ++x) straight.push_back(PixelRGBA(it, x, 1));
    ASSERT_FALSE(RowIterator_PreMultiply(it).IsError());
    EXPECT_EQ(it.GetPixelFormat(), keFormatBGRxA);
    const std::vector<uint8_t> row = qgdi::test::PackedRow(it, 1);
    for (int x = 0; x < 7; ++x) {
        const uint32_t pm = QGDI_RGBAtoRGBxA(straight[size_t(x)]);
        EXPECT_EQ(row[size_t(4 * x + 2)], pm & 0xFF) << x;
        EXPECT_EQ(row[size_t(4 * x)], (pm >> 16) & 0xFF) << x;
    }
    ASSERT_FALSE(RowIterator_PreMultiply(it).IsError());  // already premultiplied
    ASSERT_FALSE(RowIterator_UnMultiply(it).IsError());
    EXPECT_EQ(it.GetPixelFormat(), keFormatBGRA);
    CRowIterator indexed;
    qgdi::test::MakeRandomImage(indexed, keFormatIndex8, 2, 2, 1);
    EXPECT_EQ(RowIterator_PreMultiply(indexed).Ignore(), keQuorErrFormatNotSupported);
}

TEST(Functions, TileRepeatsWithPhase) {
    CRowIterator tile, out;
    qgdi::test::MakeRandomImage(tile, keFormatIndex4, 3, 2, 5);
    ASSERT_FALSE(out.Create(8, 5, keFormatBGR).IsError());
    ASSERT_FALSE(RowIterator_Tile(out, tile, POINT{1, -1}).IsError());
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 8; ++x)
            EXPECT_EQ(PixelRGBA(out, x, y), PixelRGBA(tile, (x + 1) % 3, (y + 1) % 2)) << x << "," << y;
    CRowIterator tiled;
    ASSERT_FALSE(tiled.CreateTiled(tile, 7, 3).IsError());
    EXPECT_EQ(tiled.GetPixelFormat(), keFormatIndex4);
    EXPECT_EQ(PixelRGBA(tiled, 6, 2), PixelRGBA(tile, 0, 0));
    CRowIterator part;
    ASSERT_FALSE(RowIterator_GetRect(tiled, RECT{1, 1, 4, 3}, part, keFormatBGRA).IsError());
    EXPECT_EQ(PixelRGBA(part, 0, 0), PixelRGBA(tiled, 1, 1));
}

TEST(LifeCycle, CreateCopyConsumeAndShare) {
    CRowIterator a;
    const CColorRef red(255, 0, 0);
    ASSERT_FALSE(a.CreateRGB(4, 3, &red).IsError());
    EXPECT_TRUE(a.IsSolidColor());
    EXPECT_EQ(a.GetSolidColor(), red);
    EXPECT_TRUE(a.IsCreatedAs(4, 3, keFormatBGR));
    CRowIterator shared;
    ASSERT_FALSE(shared.Attach(a).IsError());
    ASSERT_FALSE(shared.SetPixel(0, 0, CColorRef(0, 0, 255)).IsError());
    EXPECT_EQ(PixelRGBA(a, 0, 0), 0xFFFF0000u);  // shared pixels
    EXPECT_FALSE(a.IsSolidColor() && shared.IsSolidColor());
    ASSERT_FALSE(shared.OwnCopy().IsError());
    ASSERT_FALSE(shared.SetPixel(1, 0, CColorRef(0, 0, 255)).IsError());
    EXPECT_EQ(PixelRGBA(a, 1, 0), 0xFF0000FFu);  // no longer shared

    CRowIterator b;
    ASSERT_FALSE(b.Consume(a).IsError());
    EXPECT_FALSE(a.IsAttached());
    EXPECT_TRUE(b.IsCreatedAs(4, 3, keFormatBGR));
    CRowIterator c;
    ASSERT_FALSE(c.CreateCompatible(b, 2).IsError());
    EXPECT_TRUE(c.IsCreatedAs(2, 3, keFormatBGR));
    EXPECT_EQ(c.Copy(b).Ignore(), keQuorErrFailed);  // sizes differ
    CRowIterator d;
    ASSERT_FALSE(d.Copy(b).IsError());
    EXPECT_TRUE(d.IsEquivalent(b));
    ASSERT_FALSE(d.Destroy().IsError());
    EXPECT_EQ(d.Destroy().Ignore(), keQuorErrIteratorState);

    auto* heap = new CDibIterator;
    EXPECT_EQ(heap->AddRef(), 2u);
    EXPECT_EQ(heap->Release(), 1u);
    EXPECT_EQ(heap->Release(), 0u);  // deleted

    EXPECT_EQ(CRowIterator().Create(0, 3, keFormatBGR).Ignore(), keQuorErrFailed);
    EXPECT_EQ(CRowIterator().Create(3, 3, keFormatNone).Ignore(), keQuorErrFailed);
    EXPECT_EQ(CRowIterator().Create(1 << 30, 1 << 30, keFormatBGRA_f32).Ignore(), keQuorErrOutOfMemory);
}

TEST(LifeCycle, PalettesOfPackedBitmapsLiveInTheBlock) {
    CDibIterator it;
    const std::vector<RGBQUAD> palette = qgdi::test::RandomPalette(16, 3);
    ASSERT_FALSE(it.CreateIndexed(5, 2, 4, palette.data(), 16).IsError());
    EXPECT_TRUE(it.HasWritablePalette());
    RGBQUAD changed = {1, 2, 3, 0};
    std::vector<RGBQUAD> next = palette;
    next[7] = changed;
    ASSERT_FALSE(it.SetPalette(next.data(), 16).IsError());
    const auto* header = it.GetBitmapInfoHeader();
    const auto* inBlock = reinterpret_cast<const RGBQUAD*>(header + 1);
    EXPECT_EQ(inBlock[7].rgbRed, 3);
    EXPECT_EQ(it.SetPalette(next.data(), 17).Ignore(), keQuorErrFailed);  // the block holds 16
    ASSERT_FALSE(it.SetPaletteCount(8).IsError());
    EXPECT_EQ(it.GetPaletteCount(), 8);
    CRowIterator grey;
    ASSERT_FALSE(grey.CreateGreyscale(2, 2).IsError());
    EXPECT_EQ(grey.SetPalette(next.data(), 16).Ignore(), keQuorErrFormatNotSupported);
}

class CRecordingClipboard final : public VQClipboard {
public:
    bool SetImage(const void* packed, size_t bytes) override {
        data.assign(static_cast<const uint8_t*>(packed), static_cast<const uint8_t*>(packed) + bytes);
        return true;
    }
    bool GetImage(std::vector<uint8_t>& packed) override {
        packed = data;
        return !data.empty();
    }
    bool HasImage() override { return !data.empty(); }
    void Clear() override { data.clear(); }
    std::vector<uint8_t> data;
};

TEST(Platform, ClipboardAndDrawing) {
    CRowIterator image;
    qgdi::test::MakeRandomImage(image, keFormatBGRA, 6, 4, 7);
    ASSERT_FALSE(image.CopyToClipboard().IsError());
    CRowIterator pasted;
    ASSERT_FALSE(pasted.CreateFromClipboard().IsError());
    EXPECT_TRUE(pasted.IsEquivalent(image));

    CRecordingClipboard recorder;
    EXPECT_EQ(QPlatform_SetClipboard(&recorder), nullptr);
    ASSERT_FALSE(image.CopyToClipboard(true).IsError());
    ASSERT_GE(recorder.data.size(), 40u);
    BITMAPINFOHEADER h;
    std::memcpy(&h, recorder.data.data(), 40);
    EXPECT_EQ(h.biBitCount, 24);
    EXPECT_EQ(QPlatform_SetClipboard(nullptr), &recorder);

    const RECT where{0, 0, 6, 4};
    EXPECT_EQ(image.DrawImage(nullptr, &where).Ignore(), keQuorErrFormatNotSupported);
    static int drawn;
    drawn = 0;
    QPlatform_SetDrawDIBHook(
        [](void*, const RECT&, const BITMAPINFOHEADER* dib, const RECT& source, void*) {
            drawn = dib->biWidth * 100 + source.right;
            return true;
        },
        nullptr);
    CRowIterator wide;
    qgdi::test::MakeRandomImage(wide, keFormatBGR_f32, 6, 4, 1);
    EXPECT_FALSE(wide.DrawImage(nullptr, &where).IsError());
    EXPECT_EQ(drawn, 606);
    QPlatform_SetDrawDIBHook(nullptr, nullptr);
}

}  // namespace

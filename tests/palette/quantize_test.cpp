// Colour reduction on real photographs and on images of few colours.
#include <cmath>
#include <cstring>

#include "PaletteTestUtil.h"

using namespace palette_test;

namespace {

// PSNR of an indexed image against its BGR original.
double Psnr(const CRowIterator& original, const CRowIterator& indexed) {
    CRowIterator a, b;
    EXPECT_FALSE(a.CreateFromCopy(original, nullptr, keFormatBGR).IsError());
    EXPECT_FALSE(b.CreateFromCopy(indexed, nullptr, keFormatBGR).IsError());
    double sse = 0;
    for (int y = 0; y < a.GetHeight(); ++y) {
        const uint8_t* p = QGDI_GetPixelRow(&a, y);
        const uint8_t* q = QGDI_GetPixelRow(&b, y);
        for (int x = 0; x < 3 * a.GetWidth(); ++x) sse += double(p[x] - q[x]) * (p[x] - q[x]);
        QGDI_ReleasePixelRow(&a, y);
        QGDI_ReleasePixelRow(&b, y);
    }
    const double mse = sse / (3.0 * a.GetWidth() * a.GetHeight());
    return 10 * std::log10(255.0 * 255.0 / std::max(mse, 1e-12));
}

// A smooth synthetic "photograph": gradients in all three channels with a
// soft disc, every 24-bit colour distinct enough to need real reduction.
CRowIterator Smooth(int w, int h) {
    CRowIterator it;
    EXPECT_FALSE(it.CreateRGB(w, h).IsError());
    for (int y = 0; y < h; ++y) {
        uint8_t* row = nullptr;
        EXPECT_FALSE(it.GetRow(row, y).IsError());
        for (int x = 0; x < w; ++x) {
            const double d = std::hypot(x - w / 2.0, y - h / 2.0) / (w / 2.0);
            row[3 * x] = uint8_t(255 * x / (w - 1));
            row[3 * x + 1] = uint8_t(255 * y / (h - 1));
            row[3 * x + 2] = uint8_t(std::clamp(255 * (1 - d), 0.0, 255.0));
        }
        it.ReleaseRow(y).Ignore();
    }
    return it;
}

// More colours give a closer image, and the greedy split plus k-means stays
// near what a 256-colour cube would give at 16 colours.
TEST(Quantise, QualityGrowsWithColours) {
    const CRowIterator image = Smooth(200, 150);
    double previous = 0;
    for (int colours : {2, 16, 64, 256}) {
        RGBQUAD pal[256];
        int count = 0;
        ASSERT_FALSE(MakePalFromDIB(image, pal, colours, count).IsError());
        EXPECT_EQ(count, colours);
        CRowIterator mapped;
        ASSERT_FALSE(DitherDIB(nullptr, image, mapped, pal, count, keDitherNone).IsError());
        const double psnr = Psnr(image, mapped);
        EXPECT_GT(psnr, previous + 2) << colours;
        previous = psnr;
    }
    EXPECT_GT(previous, 32.0) << "256 colours on smooth gradients";
    // The fixed 6x6x6 cube with its 216 colours does worse than 64 adaptive ones.
    CRowIterator cube;
    ASSERT_FALSE(DitherDIB(nullptr, image, cube, QPalette_PaletteGetQuick8(), 216, keDitherNone).IsError());
    RGBQUAD pal[256];
    int count = 0;
    ASSERT_FALSE(MakePalFromDIB(image, pal, 64, count).IsError());
    CRowIterator adaptive;
    ASSERT_FALSE(DitherDIB(nullptr, image, adaptive, pal, count, keDitherNone).IsError());
    EXPECT_GT(Psnr(image, adaptive), Psnr(image, cube));
}

// An image of fewer colours than asked keeps them exactly, so mapping it back is lossless.
TEST(Quantise, FewColoursAreExact) {
    int n = 0;
    const RGBQUAD* vga = QPalette_PaletteGetVGA16(&n);
    CRowIterator src;
    ASSERT_FALSE(src.CreateRGB(16, 4).IsError());
    for (int y = 0; y < 4; ++y) {
        uint8_t* row = nullptr;
        ASSERT_FALSE(src.GetRow(row, y).IsError());
        for (int x = 0; x < 16; ++x) {
            const RGBQUAD& c = vga[(x + y) % 12];
            row[3 * x] = c.rgbBlue;
            row[3 * x + 1] = c.rgbGreen;
            row[3 * x + 2] = c.rgbRed;
        }
        src.ReleaseRow(y).Ignore();
    }
    for (int colours : {12, 16, 256}) {
        CQPalette pal;
        ASSERT_FALSE(MakeCPalFromDIB(src, pal, colours).IsError());
        ASSERT_EQ(pal.GetCount(), 12);
        for (int i = 0; i < 12; ++i) EXPECT_GE(pal.FindExact(vga[i].rgbRed, vga[i].rgbGreen, vga[i].rgbBlue), 0);
        CRowIterator mapped;
        ASSERT_FALSE(DitherDIB(nullptr, src, mapped, pal.GetEntries(), pal.GetCount()).IsError());
        EXPECT_GT(Psnr(src, mapped), 100.0);
        int used = 0;
        ASSERT_FALSE(CountColorsUsed(mapped, used).IsError());
        EXPECT_EQ(used, 12);
    }
    int colours = 0;
    ASSERT_FALSE(CountColorsUsed(src, colours).IsError());
    EXPECT_EQ(colours, 12);

    QMMHANDLE logical = QMM_NULL;
    ASSERT_FALSE(MakeLPPalFromDIB(src, logical, 8).IsError());
    ASSERT_EQ(QMM_GlobalSize(logical), size_t(4 + 4 * 8));
    const auto* lp = static_cast<const uint8_t*>(QMM_GlobalLock(logical));
    EXPECT_EQ(lp[0] | lp[1] << 8, 0x0300);
    EXPECT_EQ(lp[2] | lp[3] << 8, 8);
    QMM_GlobalUnlock(logical);
    QMM_GlobalFree(logical);
}

// Nearly transparent pixels take no entry: the palette goes to what is seen.
TEST(Quantise, AlphaWeighsCoverage) {
    CRowIterator src;
    ASSERT_FALSE(src.CreateRGBA(64, 64).IsError());
    for (int y = 0; y < 64; ++y) {
        uint8_t* row = nullptr;
        ASSERT_FALSE(src.GetRow(row, y).IsError());
        for (int x = 0; x < 64; ++x) {
            const bool seen = x < 8;
            row[4 * x] = seen ? uint8_t(x * 30) : uint8_t(200);
            row[4 * x + 1] = seen ? uint8_t(x * 30) : uint8_t(x);
            row[4 * x + 2] = seen ? uint8_t(x * 30) : uint8_t(y);
            row[4 * x + 3] = seen ? 255 : 0;
        }
        src.ReleaseRow(y).Ignore();
    }
    RGBQUAD pal[256];
    int count = 0;
    ASSERT_FALSE(MakePalFromDIB(src, pal, 8, count).IsError());
    EXPECT_EQ(count, 8);
    for (int i = 0; i < count; ++i) EXPECT_TRUE(pal[i].rgbRed == pal[i].rgbBlue) << "only the greys that are seen";
}

TEST(Quantise, RefusalsAndWidening) {
    CRowIterator detached, rgb;
    ASSERT_FALSE(rgb.CreateRGB(4, 4).IsError());
    RGBQUAD pal[256];
    int count = 0;
    EXPECT_EQ(MakePalFromDIB(detached, pal, 16, count), keQuorErrIteratorState);
    EXPECT_EQ(MakePalFromDIB(rgb, pal, 0, count), keQuorErrFailed);
    EXPECT_EQ(MakePalFromDIB(rgb, pal, 257, count), keQuorErrFailed);
    EXPECT_EQ(MakePalFromDIB(rgb, nullptr, 16, count), keQuorErrFailed);
    EXPECT_EQ(IncreaseMaxColors(rgb, 16), keQuorErrFailed);

    // A 1-bit image widened to 16 colours keeps its indices.
    CRowIterator bits;
    ASSERT_FALSE(bits.CreateIndexed(9, 2, 1, QPalette_PaletteGetBW(), 2).IsError());
    uint8_t* row = nullptr;
    ASSERT_FALSE(bits.GetRow(row, 1).IsError());
    row[0] = 0xA5;
    row[1] = 0x80;
    bits.ReleaseRow(1).Ignore();
    ASSERT_FALSE(IncreaseMaxColors(bits, 16).IsError());
    EXPECT_EQ(bits.GetNativeFormat(), keFormatIndex4);
    EXPECT_EQ(bits.GetPaletteCount(), 16);
    EXPECT_TRUE(SameRgb(bits.GetPalette()[1], RGBQUAD{255, 255, 255, 0}));
    const uint8_t* packed = QGDI_GetPixelRow(&bits, 1);
    EXPECT_EQ(packed[0], 0x10);
    EXPECT_EQ(packed[1], 0x10);
    EXPECT_EQ(packed[4], 0x10) << "pixel 8 set";
    QGDI_ReleasePixelRow(&bits, 1);
    EXPECT_EQ(IncreaseMaxColors(bits, 300), keQuorErrFailed);
}

}  // namespace

// The colour value: precisions, pixels of every format, palettes.
#include <gtest/gtest.h>

#include "iterator_test_util.h"

namespace {

TEST(ColorRef, PrecisionConversions) {
    const CColorRef c(10, 128, 255, 1);
    EXPECT_EQ(c.GetRed16(), 10 * 257);
    EXPECT_EQ(c.To16().To8(), c);
    EXPECT_EQ(c.ToFloat().To8(), c);
    EXPECT_EQ(c.To16(), c);  // equal at the finer precision
    EXPECT_NE(CColorRef::From16(10 * 257 + 1, 128 * 257, 255 * 257, 257), c);
    // Float to 8 bits truncates v x 255.9999 after clamping.
    const CColorRef f = CColorRef::FromFloat(0.5f, 1.5f, -0.25f, 0.999f);
    EXPECT_EQ(f.GetRGBA(), 0xFF00FF7Fu);
    EXPECT_EQ(f.GetRed16(), 32767);
    // 16 to 8 bits rounds.
    EXPECT_EQ(CColorRef::From16(0x1280, 0x1281, 0, 0).GetRed8(), 0x12);
    EXPECT_EQ(CColorRef(30, 20, 10).GetGrey8(), 21);
    EXPECT_EQ(CColorRef::FromRGBA(0x80C86432u).GetBlue8(), 200);
    EXPECT_EQ(CColorRef(50, 100, 200, 128).GetBGRA(), 0x803264C8u);
    EXPECT_EQ(CColorRef::FromCOLORREF(RGB(1, 2, 3)).GetCOLORREF(), RGB(1, 2, 3));
    EXPECT_TRUE(CColorRef::FromGrey16(7).IsGrey());
    EXPECT_TRUE(CColorRef(0, 0, 0, 0).IsTransparent());
    EXPECT_EQ(CColorRef(300, -5, 7).GetRed8(), 255);
}

TEST(ColorRef, PixelsOfEveryFormatRoundTrip) {
    const RGBQUAD palette[3] = {{0, 0, 0, 0}, {40, 80, 160, 0}, {255, 255, 255, 0}};
    for (EQPixelFormat f : qgdi::test::AllFormats()) {
        const CQPixelFormat pf(f);
        // Colours each format holds exactly.
        CColorRef c = pf.IsIndexedColor() ? CColorRef::FromRGBQUAD(palette[1], pf.IsAlphaChannelPresent() ? 77 : 255)
                      : pf.IsGreyscale()  ? CColorRef::FromGrey8(90, pf.IsAlphaChannelPresent() ? 200 : 255)
                                          : CColorRef(12, 34, 56, pf.IsAlphaChannelPresent() ? 255 : 255);
        uint8_t pixel[16] = {};
        ASSERT_TRUE(c.ToPixel(pixel, f, palette, 3)) << qgdi::test::FormatName(f);
        EXPECT_EQ(CColorRef::FromPixel(pixel, f, palette, 3), c) << qgdi::test::FormatName(f);
    }
    // Premultiplied pixels hold straight colours within rounding.
    uint8_t px[4];
    ASSERT_TRUE(CColorRef(200, 100, 50, 128).ToPixel(px, keFormatBGRxA));
    EXPECT_EQ(px[2], 100);
    const CColorRef back = CColorRef::FromPixel(px, keFormatBGRxA);
    EXPECT_NEAR(back.GetRed8(), 200, 1);
    EXPECT_FALSE(CColorRef().ToPixel(px, keFormatIndex8));  // no palette
    EXPECT_FALSE(CColorRef().ToPixel(px, keFormatNone));
}

TEST(ColorRef, NearestPaletteEntryAndPackedSpans) {
    const RGBQUAD palette[4] = {{0, 0, 0, 0}, {0, 0, 255, 0}, {0, 255, 0, 0}, {255, 255, 255, 0}};
    EXPECT_EQ(CColorRef(200, 30, 30).FindNearestIndex(palette, 4), 1);
    EXPECT_EQ(CColorRef(250, 250, 240).FindNearestIndex(palette, 4), 3);
    EXPECT_EQ(CColorRef().FindNearestIndex(palette, 0), -1);
    // A span of a 1-bit row from pixel 3 leaves the bits around it alone.
    uint8_t row[2] = {0x00, 0xFF};
    ASSERT_TRUE(CColorRef(255, 255, 255).FillPixels(row, 7, keFormatIndex1, palette, 4, 3));
    EXPECT_TRUE(row[0] == 0x1F && row[1] == 0xFF) << int(row[0]) << " " << int(row[1]);
    ASSERT_TRUE(CColorRef(0, 0, 0).FillPixels(row + 1, 1, keFormatIndex1, palette, 4, 7));
    EXPECT_EQ(row[1], 0xFE);
    uint8_t nibbles[2] = {0xAB, 0xCD};
    ASSERT_TRUE(CColorRef(0, 255, 0).FillPixels(nibbles, 2, keFormatIndex4, palette, 4, 1));
    EXPECT_TRUE(nibbles[0] == 0xA2 && nibbles[1] == 0x2D) << int(nibbles[0]) << " " << int(nibbles[1]);
    // Byte formats replicate the first pixel.
    uint16_t wide[12];
    ASSERT_TRUE(CColorRef(1, 2, 3).FillPixels(wide, 4, keFormatBGR_u16));
    EXPECT_TRUE(wide[9] == 3 * 257 && wide[11] == 1 * 257);
}

}  // namespace

// The tool's PNG, JPEG and BMP files: every format goes out and comes back.
#include <gtest/gtest.h>

#include <random>

#include "tools/qgdi/image_io.h"
#include "tools/qgdi/sample_image.h"

namespace {

void FillPixels(CRowIterator& it, uint32_t seed) {
    std::mt19937 rng(seed);
    for (int y = 0; y < it.GetHeight(); ++y)
        for (int x = 0; x < it.GetWidth(); ++x) {
            const int index = it.GetPaletteCount() ? static_cast<int>(rng() % uint32_t(it.GetPaletteCount())) : 0;
            const CColorRef c = CQPixelFormat(it.GetPixelFormat()).IsIndexedColor()
                                    ? it.GetIndexedColor(index)
                                    : CColorRef::From16(uint16_t(rng()), uint16_t(rng()), uint16_t(rng()),
                                                        uint16_t(rng()));
            it.SetPixel(x, y, c).Ignore();
        }
}

class PngFormats : public ::testing::TestWithParam<EQPixelFormat> {};

TEST_P(PngFormats, RoundTripInTheStoredFormat) {
    const EQPixelFormat f = GetParam();
    RGBQUAD palette[16];
    for (int i = 0; i < 16; ++i) palette[i] = RGBQUAD{BYTE(i * 16), BYTE(255 - i * 9), BYTE(i * 5), 0};
    CRowIterator image;
    ASSERT_FALSE(image.Create(21, 9, f, nullptr, palette, f == keFormatIndex1 ? 2 : 16).IsError());
    FillPixels(image, 7 + f);
    // What the file holds: the image converted to the PNG form of its format.
    CRowIterator expected;
    ASSERT_FALSE(expected.CreateFromCopy(image, nullptr, QgdiPngFormatFor(f)).IsError());
    std::vector<uint8_t> file;
    std::string error;
    ASSERT_TRUE(QgdiWritePng(expected, file, error)) << error;
    std::unique_ptr<CRowIterator> back = QgdiReadPng(file.data(), file.size(), error);
    ASSERT_TRUE(back) << error;
    EXPECT_EQ(back->GetPixelFormat(), expected.GetPixelFormat());
    EXPECT_TRUE(back->IsEquivalent(expected));
}

INSTANTIATE_TEST_SUITE_P(Formats, PngFormats,
                         ::testing::Range(keFormatIndex1, static_cast<EQPixelFormat>(keFormatLast + 1)),
                         [](const ::testing::TestParamInfo<EQPixelFormat>& i) {
                             return std::string(QGDI_FindPixelFormatTraits(i.param)->shortName);
                         });

TEST(ToolFiles, SampleThroughEveryFileType) {
    CRowIterator sample;
    ASSERT_FALSE(QgdiMakeSampleImage(sample, 64, 40).IsError());
    const std::string dir = ::testing::TempDir();
    for (const char* name : {"s.png", "s.bmp", "s.jpg"}) {
        std::string error, note;
        ASSERT_TRUE(QgdiWriteImage(dir + name, sample, error, note)) << error;
        std::unique_ptr<CRowIterator> back = QgdiReadImage(dir + name, error);
        ASSERT_TRUE(back) << error;
        ASSERT_TRUE(back->IsSameSizeAs(sample));
        if (std::string(name) != "s.jpg") {
            EXPECT_TRUE(back->IsEquivalent(sample)) << name;
            continue;
        }
        // JPEG is lossy: colours stay close.
        CColorRef a, b;
        sample.GetPixel(10, 10, a).Ignore();
        back->GetPixel(10, 10, b).Ignore();
        EXPECT_NEAR(a.GetRed8(), b.GetRed8(), 12);
        EXPECT_EQ(back->GetPixelFormat(), keFormatBGR);
    }
    std::string error;
    EXPECT_FALSE(QgdiReadImage(dir + "missing.png", error));
    const uint8_t junk[16] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n', 1, 2, 3};
    EXPECT_FALSE(QgdiReadPng(junk, sizeof junk, error));
    const uint8_t notJpeg[8] = {0xFF, 0xD8, 0xFF, 0, 0, 0, 0, 0};
    EXPECT_FALSE(QgdiReadJpeg(notJpeg, sizeof notJpeg, error));
    EXPECT_EQ(QgdiParseFormat("greya_u16"), keFormatGreyA_u16);
    EXPECT_EQ(QgdiParseFormat("keFormatBGRxA"), keFormatBGRxA);
    EXPECT_EQ(QgdiParseFormat("nonsense"), keFormatNone);
}

}  // namespace

// Found by fuzzing: a few bytes of a JPEG claiming a huge size were decoded
// whole as grey padding; a file that ends early is now refused at any size.
TEST(ToolFiles, TruncatedJpegIsRefused) {
    CRowIterator sample, bgr;
    ASSERT_FALSE(QgdiMakeSampleImage(sample, 64, 40).IsError());
    ASSERT_FALSE(bgr.CreateFromCopy(sample, nullptr, keFormatBGR).IsError());
    std::vector<uint8_t> file;
    std::string error;
    ASSERT_TRUE(QgdiWriteJpeg(bgr, file, 90, error)) << error;
    ASSERT_TRUE(QgdiReadJpeg(file.data(), file.size(), error));
    for (size_t keep : {file.size() / 2, file.size() - 2}) {
        error.clear();
        EXPECT_FALSE(QgdiReadJpeg(file.data(), keep, error)) << keep;
        EXPECT_NE(error.find("JPEG: "), std::string::npos) << error;
    }
}

// Content-aware fill: what must hold for any fill (pixels outside the hole,
// formats, codes, cancellation, repeatability) and what a good fill gives on
// images whose right answer is known (constants, periodic textures).
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <vector>

#include "inpainting/InpaintConvert.h"
#include "inpainting/InpaintImage.h"
#include "inpainting/inpainting.h"
#include "qdibcore/Source/StatusControl.h"

namespace {

using qgdi::inpaint::TImage;
using Bytes = std::vector<uint8_t>;
// Value of channel c at (x, y), 0..1.
using Pattern = std::function<double(int x, int y, int c)>;

Bytes ImageBytes(const CRowIterator& image) {
    Bytes out;
    for (int y = 0; y < image.GetHeight(); ++y) {
        const uint8_t* row = nullptr;
        EXPECT_FALSE(image.GetRow(row, y, 0, image.GetWidth()).IsError());
        out.insert(out.end(), row, row + image.GetBytesPerRow());
        image.ReleaseRow(y).Ignore();
    }
    return out;
}

// Writes the pattern into every channel of every pixel, whatever the format.
void Paint(CRowIterator& image, const Pattern& pattern) {
    const CQPixelFormat format(image.GetPixelFormat());
    const int channels = std::max(1, format.GetChannelCount()), bits = format.GetBitsPerChannel();
    for (int y = 0; y < image.GetHeight(); ++y) {
        uint8_t* row = nullptr;
        ASSERT_FALSE(image.GetRow(row, y, 0, image.GetWidth()).IsError());
        for (int x = 0; x < image.GetWidth(); ++x) {
            if (format.IsIndexedColor()) {
                const int index = static_cast<int>(pattern(x, y, 0) * (std::max(image.GetPaletteCount(), 1) - 1) + 0.5);
                if (bits == 8) row[x * (channels == 4 ? 2 : 1)] = static_cast<uint8_t>(index);
                else if (bits == 4) row[x / 2] = static_cast<uint8_t>((row[x / 2] & (x & 1 ? 0xF0 : 0x0F)) | ((index & 15) << (x & 1 ? 0 : 4)));
                else row[x / 8] = static_cast<uint8_t>(row[x / 8] | ((index & 1) << (7 - x % 8)));
                if (channels == 4 && bits == 8) row[x * 2 + 1] = 255;
                continue;
            }
            for (int c = 0; c < channels; ++c) {
                const double v = pattern(x, y, c);
                const size_t at = static_cast<size_t>(x) * channels + c;
                if (bits == 8) row[at] = static_cast<uint8_t>(v * 255.0 + 0.5);
                else if (bits == 16) {
                    const uint16_t w = static_cast<uint16_t>(v * 65535.0 + 0.5);
                    std::memcpy(row + at * 2, &w, 2);
                } else {
                    const float f = static_cast<float>(v);
                    std::memcpy(row + at * 4, &f, 4);
                }
            }
        }
        image.ReleaseRow(y).Ignore();
    }
}

std::unique_ptr<CRowIterator> MakeImage(int w, int h, EQPixelFormat format, const Pattern& pattern) {
    auto image = std::make_unique<CRowIterator>();
    EXPECT_FALSE(image->Create(w, h, format).IsError());
    Paint(*image, pattern);
    return image;
}

// An 8-bit grey mask, 255 where `inside` holds.
std::unique_ptr<CRowIterator> MakeMask(int w, int h, const std::function<bool(int, int)>& inside) {
    return MakeImage(w, h, keFormatGrey, [&](int x, int y, int) { return inside(x, y) ? 1.0 : 0.0; });
}

std::function<bool(int, int)> Disc(double cx, double cy, double r) {
    return [=](int x, int y) { return (x - cx) * (x - cx) + (y - cy) * (y - cy) <= r * r; };
}

// Per-channel values of an 8- or 16-bit image as 0..1, through the inpainting reader.
std::vector<double> Values(const CRowIterator& image) {
    std::vector<double> out;
    qgdi::inpaint::VisitImageType(image.GetPixelFormat(), [&](auto tag, auto channels) -> CErrorAutoThrow {
        using T = typename decltype(tag)::type;
        constexpr int C = decltype(channels)::value;
        TImage<T, C> copy;
        EXPECT_TRUE(copy.Create(image.GetWidth(), image.GetHeight()));
        EXPECT_FALSE((qgdi::inpaint::ReadImage<T, C>(image, 0, 0, copy.View())).IsError());
        for (int y = 0; y < copy.Height(); ++y)
            for (int i = 0; i < copy.Width() * C; ++i)
                out.push_back(copy.Row(y)[i] / static_cast<double>(std::numeric_limits<T>::max()));
        return {};
    }).Ignore();
    return out;
}

// Mean absolute difference over the pixels where `inside` holds.
double HoleError(const CRowIterator& a, const CRowIterator& b, const std::function<bool(int, int)>& inside) {
    const std::vector<double> va = Values(a), vb = Values(b);
    const size_t channels = va.size() / (static_cast<size_t>(a.GetWidth()) * a.GetHeight());
    double sum = 0;
    size_t n = 0;
    for (int y = 0; y < a.GetHeight(); ++y)
        for (int x = 0; x < a.GetWidth(); ++x) {
            if (!inside(x, y)) continue;
            for (size_t c = 0; c < channels; ++c) {
                const size_t i = (static_cast<size_t>(y) * a.GetWidth() + x) * channels + c;
                sum += std::fabs(va[i] - vb[i]);
                ++n;
            }
        }
    return n ? sum / n : 0.0;
}

// True when every pixel where `inside` is false has the same bytes in both.
bool SameOutside(const CRowIterator& a, const CRowIterator& b, const std::function<bool(int, int)>& inside) {
    const Bytes ba = ImageBytes(a), bb = ImageBytes(b);
    if (a.GetBPP() < 8) return ba == bb;  // formats that are never filled
    const int bpp = a.GetBPP() / 8;
    const size_t stride = static_cast<size_t>(a.GetBytesPerRow());
    for (int y = 0; y < a.GetHeight(); ++y)
        for (int x = 0; x < a.GetWidth(); ++x)
            if (!inside(x, y) &&
                std::memcmp(&ba[y * stride + static_cast<size_t>(x) * bpp], &bb[y * stride + static_cast<size_t>(x) * bpp], bpp))
                return false;
    return true;
}

double Stripes(int x, int y, int c) { return 0.5 + 0.4 * std::sin((x + 2 * y) * 0.785398 + c); }
double Checker(int x, int y, int c) { return ((x / 4 + y / 4) & 1) ? 0.8 - 0.1 * c : 0.2 + 0.1 * c; }

// ---- Image type and conversion ---------------------------------------------

TEST(InpaintImage, ViewsSharePixelsAndPyramidsHalve) {
    TImage<uint16_t, 3> image;
    ASSERT_TRUE(image.Create(9, 7, 100));
    auto sub = image.View().Sub(2, 3, 4, 10);  // cut to the image
    EXPECT_EQ(sub.Width(), 4);
    EXPECT_EQ(sub.Height(), 4);
    sub.At(1, 1)[2] = 7;
    EXPECT_EQ(image.At(3, 4)[2], 7);
    image.At(3, 4)[2] = 100;
    qgdi::inpaint::TPyramid<uint16_t, 3> pyramid;
    ASSERT_TRUE(pyramid.Build(image.View(), 4));
    const int sizes[][2] = {{9, 7}, {5, 4}, {3, 2}, {2, 1}};
    for (int k = 0; k < 4; ++k) {
        EXPECT_EQ(pyramid.Level(k).Width(), sizes[k][0]);
        EXPECT_EQ(pyramid.Level(k).Height(), sizes[k][1]);
        // A constant stays the constant at every level, edges included.
        for (int y = 0; y < sizes[k][1]; ++y)
            for (int i = 0; i < sizes[k][0] * 3; ++i) EXPECT_EQ(pyramid.Level(k).Row(y)[i], 100);
    }
}

TEST(InpaintConvert, EveryFormatRoundTripsOr162) {
    const RGBQUAD palette[4] = {{0, 0, 0, 0}, {255, 0, 0, 0}, {0, 200, 0, 0}, {10, 20, 250, 0}};
    for (int f = keFormatFirst; f <= keFormatLast; ++f) {
        SCOPED_TRACE(f);
        const auto format = static_cast<EQPixelFormat>(f);
        CRowIterator image;
        if (image.Create(13, 5, format, nullptr, palette, 4).IsError()) continue;
        Paint(image, [](int x, int y, int c) { return ((x * 3 + y * 5 + c) % 4) / 3.0; });
        const Bytes before = ImageBytes(image);
        const bool convertible = CQPixelFormat(format).GetBitsPerChannel() == 8 || CQPixelFormat(format).GetBitsPerChannel() == 16;
        const CErrorAutoThrow code = qgdi::inpaint::VisitImageType(format, [&](auto tag, auto channels) -> CErrorAutoThrow {
            using T = typename decltype(tag)::type;
            constexpr int C = decltype(channels)::value;
            TImage<T, C> copy;
            TImage<uint8_t, 1> all;
            EXPECT_TRUE(copy.Create(13, 5) && all.Create(13, 5, 1));
            EXPECT_FALSE((qgdi::inpaint::ReadImage<T, C>(image, 0, 0, copy.View())).IsError());
            image.Fill(CColorRef()).Ignore();
            return qgdi::inpaint::WriteImage<T, C>(copy.View(), all.View(), image, 0, 0);
        });
        EXPECT_EQ(code.PeekCode(), convertible ? keQuorErrSuccess : keQuorErrInpaintFormat);
        code.Ignore();
        if (convertible) {
            EXPECT_EQ(ImageBytes(image), before);
        }
    }
}

// ---- The fill ----------------------------------------------------------------

TEST(Inpaint, EveryFormatFillsOrGives162AndKeepsTheRest) {
    const auto hole = Disc(20, 14, 6);
    for (int f = keFormatFirst; f <= keFormatLast; ++f) {
        SCOPED_TRACE(f);
        const auto format = static_cast<EQPixelFormat>(f);
        CRowIterator image;
        if (image.Create(40, 30, format).IsError()) continue;
        Paint(image, Checker);
        CRowIterator original;
        ASSERT_FALSE(original.CreateFromCopy(image).IsError());
        const auto mask = MakeMask(40, 30, hole);
        const QuorErrorCode code = QGDI_Inpaint(image, *mask).Ignore();
        const int bits = CQPixelFormat(format).GetBitsPerChannel();
        EXPECT_EQ(code, bits == 8 || bits == 16 ? keQuorErrSuccess : keQuorErrInpaintFormat);
        EXPECT_TRUE(SameOutside(image, original, hole));
        if (code == keQuorErrSuccess && !CQPixelFormat(format).IsIndexedColor()) {
            EXPECT_LT(HoleError(image, original, hole), 0.15);
        }
    }
}

struct SConstantCase {
    EQPixelFormat format;
    double value;
    int w, h;
    std::function<bool(int, int)> hole;
};

TEST(Inpaint, ConstantImageFillsWithTheConstant) {
    const SConstantCase cases[] = {
        {keFormatGrey, 0.5, 60, 50, Disc(30, 25, 10)},
        {keFormatBGR, 0.3, 64, 64, [](int x, int y) { return x >= 20 && x < 44 && y >= 10 && y < 50; }},
        {keFormatBGRA_u16, 0.7, 50, 40, [](int x, int) { return x < 3; }},  // a strip along the border
        {keFormatGreyA_u16, 0.9, 1, 20, [](int, int y) { return y == 7; }},  // one column
        {keFormatBGRxA, 0.4, 30, 30, [](int x, int y) { return x + y < 25; }},  // the corner
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.format);
        auto image = MakeImage(test.w, test.h, test.format, [&](int, int, int) { return test.value; });
        CRowIterator original;
        ASSERT_FALSE(original.CreateFromCopy(*image).IsError());
        // Scribble into the hole so that a fill that keeps it shows.
        Paint(*image, [&](int x, int y, int) { return test.hole(x, y) ? 0.0 : test.value; });
        ASSERT_FALSE(QGDI_Inpaint(*image, *MakeMask(test.w, test.h, test.hole)).IsError());
        EXPECT_EQ(ImageBytes(*image), ImageBytes(original));
    }
}

struct STextureCase {
    const char* name;
    Pattern texture;
    std::function<bool(int, int)> hole;
    double bound;  // mean absolute error inside the hole, 0..1
};

TEST(Inpaint, PeriodicTexturesAreContinuedIntoTheHole) {
    const STextureCase cases[] = {
        {"stripes, disc", Stripes, Disc(48, 48, 12), 0.03},
        {"checker, disc", Checker, Disc(40, 50, 10), 0.03},
        {"checker, corner", Checker, [](int x, int y) { return x < 14 && y < 14; }, 0.03},
        {"stripes, bottom edge", Stripes, [](int x, int y) { return y >= 88 && x > 30 && x < 60; }, 0.03},
        {"checker, three holes", Checker,
         [](int x, int y) { return Disc(20, 20, 6)(x, y) || Disc(70, 30, 5)(x, y) || Disc(40, 75, 7)(x, y); }, 0.03},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        auto image = MakeImage(96, 96, keFormatBGR, test.texture);
        CRowIterator original;
        ASSERT_FALSE(original.CreateFromCopy(*image).IsError());
        Paint(*image, [&](int x, int y, int c) { return test.hole(x, y) ? 1.0 : test.texture(x, y, c); });
        ASSERT_FALSE(QGDI_Inpaint(*image, *MakeMask(96, 96, test.hole)).IsError());
        EXPECT_TRUE(SameOutside(*image, original, test.hole));
        EXPECT_LT(HoleError(*image, original, test.hole), test.bound);
    }
}

TEST(Inpaint, SameSeedSameFillForAnyThreadCount) {
    const auto hole = Disc(50, 40, 15);
    const auto noisy = [](int x, int y, int c) { return ((x * 7919 + y * 104729 + c * 31) % 97) / 96.0; };
    Bytes first;
    for (int threads : {1, 2, 4}) {
        auto image = MakeImage(100, 80, keFormatBGRA, noisy);
        SQInpaintOptions options;
        options.nSeed = 42;
        options.nThreads = threads;
        ASSERT_FALSE(QGDI_Inpaint(*image, *MakeMask(100, 80, hole), options).IsError());
        if (first.empty()) first = ImageBytes(*image);
        else EXPECT_EQ(ImageBytes(*image), first) << threads << " threads";
    }
}

struct SCancelAt {
    static int Now(CStatusControl*) { return 1; }
    static int Halfway(CStatusControl* s) { return s->GetProgress() >= 400; }
};

TEST(Inpaint, CancellationLeavesTheImageUnchanged) {
    for (auto check : {&SCancelAt::Now, &SCancelAt::Halfway}) {
        auto image = MakeImage(120, 90, keFormatBGR, Stripes);
        const Bytes before = ImageBytes(*image);
        CStatusControl status;
        status.SetAbortCheckCallback(check);
        EXPECT_EQ(QGDI_Inpaint(*image, *MakeMask(120, 90, Disc(60, 45, 25)), SQInpaintOptions(), &status).Ignore(),
                  keQuorErrCancelled);
        EXPECT_EQ(ImageBytes(*image), before);
    }
}

TEST(Inpaint, SourceRegionLimitsWhereContentComesFrom) {
    // Left half a checker, right half flat; the hole is in the flat half. Only
    // the checker may serve, so the hole must get its texture.
    const auto halves = [](int x, int y, int c) { return x < 40 ? Checker(x, y, c) : 0.5; };
    const auto hole = Disc(62, 30, 7);
    for (const bool restrict : {false, true}) {
        auto image = MakeImage(80, 60, keFormatGrey, halves);
        auto source = MakeMask(80, 60, [](int x, int) { return x < 40; });
        SQInpaintOptions options;
        options.pSource = restrict ? source.get() : nullptr;
        ASSERT_FALSE(QGDI_Inpaint(*image, *MakeMask(80, 60, hole), options).IsError());
        const std::vector<double> v = Values(*image);
        double lo = 1, hi = 0;
        for (int y = 25; y <= 35; ++y)
            for (int x = 57; x <= 67; ++x) lo = std::min(lo, v[y * 80 + x]), hi = std::max(hi, v[y * 80 + x]);
        if (restrict) EXPECT_GT(hi - lo, 0.3);
        else EXPECT_LT(hi - lo, 0.01);
    }
}

TEST(Inpaint, FeatherChangesOnlyTheBandAroundTheHole) {
    const auto hole = Disc(40, 30, 8);
    const auto band = Disc(40, 30, 8 + 4 * 1.5);
    auto image = MakeImage(80, 60, keFormatBGR, Checker);
    CRowIterator original;
    ASSERT_FALSE(original.CreateFromCopy(*image).IsError());
    SQInpaintOptions options;
    options.nFeather = 4;
    ASSERT_FALSE(QGDI_Inpaint(*image, *MakeMask(80, 60, hole), options).IsError());
    EXPECT_TRUE(SameOutside(*image, original, band));
}

TEST(Inpaint, BadArgumentsGiveTheirCodes) {
    auto image = MakeImage(30, 20, keFormatBGR, Checker);
    const Bytes before = ImageBytes(*image);
    const auto some = MakeMask(30, 20, Disc(10, 10, 3));
    SQInpaintOptions even, huge, feather;
    even.nPatchSize = 6;
    huge.nPatchSize = 33;
    feather.nFeather = -1;
    CRowIterator detached;
    auto tiny = MakeImage(1, 1, keFormatBGR, Checker);
    const auto wide = MakeMask(31, 20, Disc(10, 10, 3));
    const auto none = MakeMask(30, 20, [](int, int) { return false; });
    const auto all = MakeMask(30, 20, [](int, int) { return true; });
    const auto one = MakeMask(1, 1, [](int, int) { return true; });
    const auto zero = MakeMask(1, 1, [](int, int) { return false; });
    struct {
        const char* what;
        CRowIterator& image;
        const CRowIterator& mask;
        SQInpaintOptions options;
        QuorErrorCode code;
    } cases[] = {
        {"mask of another size", *image, *wide, {}, keQuorErrFailed},
        {"empty mask", *image, *none, {}, keQuorErrFailed},
        {"full mask", *image, *all, {}, keQuorErrFailed},
        {"one pixel, full", *tiny, *one, {}, keQuorErrFailed},
        {"one pixel, empty", *tiny, *zero, {}, keQuorErrFailed},
        {"even patch", *image, *some, even, keQuorErrFailed},
        {"patch too large", *image, *some, huge, keQuorErrFailed},
        {"negative feather", *image, *some, feather, keQuorErrFailed},
        {"detached mask", *image, detached, {}, keQuorErrFailed},
    };
    for (auto& test : cases) {
        EXPECT_EQ(QGDI_Inpaint(test.image, test.mask, test.options).Ignore(), test.code) << test.what;
    }
    EXPECT_EQ(ImageBytes(*image), before);
    // A mask in a colour format is read as grey.
    auto colourMask = MakeImage(30, 20, keFormatBGR, [](int x, int y, int) { return Disc(10, 10, 3)(x, y) ? 1.0 : 0.0; });
    EXPECT_FALSE(QGDI_Inpaint(*image, *colourMask).IsError());
}

}  // namespace

// Bilevel diffusion and colour dithering.
#include <cstring>
#include <random>

#include "PaletteTestUtil.h"

using namespace palette_test;

namespace {

CRowIterator GreyImage(int w, int h, int (*value)(int x, int y)) {
    CRowIterator it;
    EXPECT_FALSE(it.CreateGreyscale(w, h).IsError());
    for (int y = 0; y < h; ++y) {
        uint8_t* row = nullptr;
        EXPECT_FALSE(it.GetRow(row, y).IsError());
        for (int x = 0; x < w; ++x) row[x] = uint8_t(value(x, y));
        it.ReleaseRow(y).Ignore();
    }
    return it;
}

std::vector<std::string> Bits(const CRowIterator& it) {
    std::vector<std::string> rows;
    for (int y = 0; y < it.GetHeight(); ++y) {
        const uint8_t* row = nullptr;
        EXPECT_FALSE(it.GetRow(row, y).IsError());
        std::string s;
        for (int x = 0; x < it.GetWidth(); ++x) s += char('0' + ((row[x >> 3] >> (7 - (x & 7))) & 1));
        it.ReleaseRow(y).Ignore();
        rows.push_back(s);
    }
    return rows;
}

// Worked by hand from the rules (rows from the last up, clamps after every
// share, the kernels' one-sided edges), on a smooth 10 x 4 ramp where every
// kernel gives a different pattern.
TEST(Dither2, HandWorkedKernels) {
    const auto ramp = [](int x, int y) { return 96 + (x * 7 + y * 11 + x * y * 3) % 64; };
    struct SCase {
        int kernel;
        std::vector<std::string> rows;
    };
    const SCase cases[] = {
        {0, {"0000011111", "0001110001", "0111001110", "1100110011"}},
        {1, {"0101010101", "0101010101", "0101010101", "1010101010"}},
        {2, {"1001001101", "0010110011", "0111001100", "1001010011"}},
        {3, {"0100101101", "0010110011", "0111001100", "1001010011"}},
        {9, {"0000011111", "0001110001", "0111001110", "1100110011"}},
    };
    const CRowIterator src = GreyImage(10, 4, ramp);
    for (const SCase& c : cases) {
        CRowIterator dst;
        ASSERT_FALSE(Dither2(nullptr, src, dst, uint8_t(c.kernel), 0, 0).IsError());
        EXPECT_EQ(dst.GetPixelFormat(), keFormatIndex1);
        EXPECT_EQ(Bits(dst), c.rows) << "kernel " << c.kernel;
        ASSERT_EQ(dst.GetPaletteCount(), 2);
        EXPECT_TRUE(SameRgb(dst.GetPalette()[0], RGBQUAD{0, 0, 0, 0}));
        EXPECT_TRUE(SameRgb(dst.GetPalette()[1], RGBQUAD{255, 255, 255, 0}));
    }
    // 3 x 2, Floyd-Steinberg, worked through in full: bottom row 100 100 100
    // gives 0 1 0 and leaves the top row 210 30 128, which gives 1 0 1.
    const CRowIterator small = GreyImage(3, 2, [](int x, int y) { return y ? 100 : (int[]){200, 50, 120}[x]; });
    CRowIterator dst;
    ASSERT_FALSE(Dither2(nullptr, small, dst, 1, 0, 0).IsError());
    EXPECT_EQ(Bits(dst), (std::vector<std::string>{"101", "010"}));
}

// An independent whole-image Floyd-Steinberg (rows up, clamped shares) on
// random images of awkward widths: the register-carried row loop must agree.
TEST(Dither2, FloydSteinbergMatchesPlainLoop) {
    std::mt19937 rng(5);
    for (int w : {1, 2, 7, 9, 33}) {
        const int h = 5;
        std::vector<int> v(size_t(w * h));
        for (int& p : v) p = int(rng() % 256);
        CRowIterator src;
        ASSERT_FALSE(src.CreateGreyscale(w, h).IsError());
        for (int y = 0; y < h; ++y) {
            uint8_t* row = nullptr;
            ASSERT_FALSE(src.GetRow(row, y).IsError());
            for (int x = 0; x < w; ++x) row[x] = uint8_t(v[size_t(y * w + x)]);
            src.ReleaseRow(y).Ignore();
        }
        std::vector<std::string> want(size_t(h), std::string(size_t(w), '0'));
        const auto add = [&](int x, int y, int s) {
            if (x >= 0 && x < w && y >= 0) v[size_t(y * w + x)] = std::clamp(v[size_t(y * w + x)] + s, 0, 255);
        };
        for (int y = h - 1; y >= 0; --y)
            for (int x = 0; x < w; ++x) {
                const int p = v[size_t(y * w + x)];
                const int e = p > 127 ? p - 255 : p;
                want[size_t(y)][size_t(x)] = p > 127 ? '1' : '0';
                add(x + 1, y, e * 7 / 16);
                add(x, y - 1, e * 5 / 16);
                add(x + 1, y - 1, e / 16);
                add(x - 1, y - 1, e * 3 / 16);
            }
        CRowIterator dst;
        ASSERT_FALSE(Dither2(nullptr, src, dst, 1, 0, 0).IsError());
        EXPECT_EQ(Bits(dst), want) << "width " << w;
    }
}

// A flat grey diffuses to a pattern whose mean follows the grey. Each share
// is truncated on its own, so up to a few levels of every error are lost and
// the mean drifts toward the middle by a few levels (the same drift a plain
// transcription of the rules shows); colour dithering, which carries the
// remainders, holds the mean within one level (DitherDIB tests below).
TEST(Dither2, FlatGreyKeepsItsMean) {
    for (int kernel : {1, 2, 3})
        for (int grey : {1, 37, 100, 128, 200, 254}) {
            CRowIterator flat;
            ASSERT_FALSE(flat.CreateGreyscale(64, 64).IsError());
            for (int y = 0; y < 64; ++y) {
                uint8_t* row = nullptr;
                ASSERT_FALSE(flat.GetRow(row, y).IsError());
                std::memset(row, grey, 64);
                flat.ReleaseRow(y).Ignore();
            }
            CRowIterator dst;
            ASSERT_FALSE(Dither2(nullptr, flat, dst, uint8_t(kernel), 0, 0).IsError());
            int ones = 0;
            for (const std::string& r : Bits(dst)) ones += int(std::count(r.begin(), r.end(), '1'));
            EXPECT_NEAR(ones * 255.0 / (64 * 64), grey, 9.0) << "kernel " << kernel << " grey " << grey;
        }
}

TEST(Dither2, SourcesToneAndRefusals) {
    // The tone table's fixed points and ends.
    const uint8_t* tone = Dither2ToneTable();
    EXPECT_EQ(tone[0], 1);
    EXPECT_EQ(tone[38], 1);
    EXPECT_EQ(tone[39], 2);
    EXPECT_EQ(tone[69], 32);
    EXPECT_EQ(tone[70], 32);
    EXPECT_EQ(tone[211], 251);
    EXPECT_EQ(tone[212], 254);
    EXPECT_EQ(tone[255], 254);
    for (int i = 1; i < 256; ++i) EXPECT_GE(tone[i], tone[i - 1]);

    // Paletted entries weigh blue 30 and red 11, pixels the other way round:
    // a pure blue entry of 255 is grey 76, a pure blue pixel grey 28.
    const RGBQUAD pal[] = {{255, 0, 0, 0}, {0, 0, 0, 0}, {255, 255, 255, 0}};
    CRowIterator indexed;
    ASSERT_FALSE(indexed.CreateIndexed(1, 1, 8, pal, 3).IsError());  // index 0: blue
    CRowIterator dst;
    ASSERT_FALSE(Dither2(nullptr, indexed, dst, 0, 0, 0).IsError());
    EXPECT_EQ(Bits(dst)[0], "0") << "76 <= (0 + 255) / 2";
    CRowIterator rgb;
    const CColorRef blue(0, 0, 255);
    ASSERT_FALSE(rgb.CreateRGB(1, 1, &blue).IsError());
    CRowIterator dst2;
    ASSERT_FALSE(Dither2(nullptr, rgb, dst2, 0, 3, 0).IsError());
    EXPECT_EQ(Bits(dst2)[0], "1") << "grey mode 3 reads the blue channel of a pixel";

    CRowIterator detached, wrong;
    ASSERT_FALSE(wrong.CreateGreyscale(3, 3).IsError());
    EXPECT_EQ(Dither2(nullptr, detached, dst, 1, 0, 0), keQuorErrIteratorState);
    EXPECT_EQ(Dither2(nullptr, rgb, wrong, 1, 0, 0), keQuorErrFormatNotSupported);

    CStatusControl status;
    status.SetAbortRequested(true);
    CRowIterator dst3;
    const CRowIterator big = GreyImage(8, 8, [](int x, int) { return x * 30; });
    const CErrorAutoThrow r = Dither2(&status, big, dst3, 1, 0, 0);
    EXPECT_TRUE(r == keQuorErrCancelled || r == keQuorErrSuccess);
}

CRowIterator RandomRgb(int w, int h, uint32_t seed) {
    std::mt19937 rng(seed);
    CRowIterator it;
    EXPECT_FALSE(it.CreateRGB(w, h).IsError());
    for (int y = 0; y < h; ++y) {
        uint8_t* row = nullptr;
        EXPECT_FALSE(it.GetRow(row, y).IsError());
        for (int x = 0; x < 3 * w; ++x) row[x] = uint8_t(rng());
        it.ReleaseRow(y).Ignore();
    }
    return it;
}

// Images drawn only in palette colours come out unchanged by every method,
// and a flat area in a palette colour stays flat beside a busy one.
TEST(DitherDIB, PaletteColoursStayClean) {
    int n = 0;
    const RGBQUAD* vga = QPalette_PaletteGetVGA16(&n);
    CRowIterator src;
    ASSERT_FALSE(src.CreateRGB(40, 30).IsError());
    for (int y = 0; y < 30; ++y) {
        uint8_t* row = nullptr;
        ASSERT_FALSE(src.GetRow(row, y).IsError());
        for (int x = 0; x < 40; ++x) {
            const RGBQUAD& c = x < 20 ? vga[(x * 3 + y * 5) % 16] : vga[9];  // right half flat red
            row[3 * x] = y < 15 || x < 20 ? c.rgbBlue : BYTE(x * 6);
            row[3 * x + 1] = y < 15 || x < 20 ? c.rgbGreen : BYTE(y * 8);
            row[3 * x + 2] = y < 15 || x < 20 ? c.rgbRed : BYTE(100);
        }
        src.ReleaseRow(y).Ignore();
    }
    for (int kernel = keDitherNone; kernel <= keDitherSierra; ++kernel) {
        CRowIterator dst;
        ASSERT_FALSE(DitherDIB(nullptr, src, dst, vga, n, EDitherKernel(kernel)).IsError());
        ASSERT_EQ(dst.GetPixelFormat(), keFormatIndex8);
        for (int y = 0; y < 15; ++y) {
            const uint8_t* row = nullptr;
            ASSERT_FALSE(dst.GetRow(row, y).IsError());
            for (int x = 0; x < 40; ++x) {
                const int want = x < 20 ? (x * 3 + y * 5) % 16 : 9;
                ASSERT_EQ(row[x], want) << "kernel " << kernel << " at " << x << "," << y;
            }
            dst.ReleaseRow(y).Ignore();
        }
    }
}

// Diffusion keeps the mean colour of a flat area that no entry matches.
TEST(DitherDIB, MeanColourAndMethods) {
    const RGBQUAD* bw = QPalette_PaletteGetBW();
    CRowIterator flat;
    const CColorRef grey(90, 90, 90);
    ASSERT_FALSE(flat.CreateRGB(64, 64, &grey).IsError());
    const auto meanOf = [](const CRowIterator& dst) {
        double sum = 0;
        for (int y = 0; y < dst.GetHeight(); ++y) {
            const uint8_t* row = nullptr;
            EXPECT_FALSE(dst.GetRow(row, y).IsError());
            for (int x = 0; x < dst.GetWidth(); ++x) sum += dst.GetPalette()[row[x]].rgbGreen;
            dst.ReleaseRow(y).Ignore();
        }
        return sum / (dst.GetWidth() * dst.GetHeight());
    };
    for (int kernel = keDitherFloydSteinberg; kernel <= keDitherSierra; ++kernel) {
        CRowIterator dst;
        ASSERT_FALSE(DitherDIB(nullptr, flat, dst, bw, 2, EDitherKernel(kernel)).IsError());
        EXPECT_NEAR(meanOf(dst), 90, 1.0) << "kernel " << kernel;
    }
    for (EOrderedMatrix m : {keOrderedBayer2, keOrderedBayer4, keOrderedBayer8, keOrderedBlueNoise}) {
        int side = 0;
        const uint16_t* ranks = OrderedDitherMatrix(m, side);
        std::vector<int> seen(size_t(side * side), 0);
        for (int i = 0; i < side * side; ++i) ++seen[ranks[i]];
        EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), side * side) << "every rank once";
        CRowIterator dst;
        ASSERT_FALSE(Odither(nullptr, flat, dst, QPalette_PaletteGetGreyscale(), 256, m).IsError());
        EXPECT_NEAR(meanOf(dst), 90, 1.0);
    }
    // Quick8 indices follow from the colour: r + 6g + 36b of the levels.
    const CRowIterator noise = RandomRgb(33, 17, 3);
    CRowIterator q8;
    ASSERT_FALSE(DitherDIBQuick8(nullptr, noise, q8).IsError());
    CRowIterator exact;
    const CColorRef level(51, 102, 255);
    ASSERT_FALSE(exact.CreateRGB(5, 5, &level).IsError());
    CRowIterator q8exact;
    ASSERT_FALSE(DitherDIBQuick8(nullptr, exact, q8exact).IsError());
    EXPECT_EQ(QGDI_GetPixelRow(&q8exact, 2)[3], 1 + 6 * 2 + 36 * 5);
    QGDI_ReleasePixelRow(&q8exact, 2);

    CRowIterator detached, dst;
    EXPECT_EQ(DitherDIB(nullptr, detached, dst, bw, 2), keQuorErrIteratorState);
    EXPECT_EQ(DitherDIB(nullptr, flat, dst, bw, 0), keQuorErrFailed);
    EXPECT_EQ(DitherDIB(nullptr, flat, dst, bw, 300), keQuorErrFailed);
    EXPECT_EQ(DitherDIB(nullptr, flat, dst, nullptr, 2), keQuorErrFailed);
    CRowIterator wrong;
    ASSERT_FALSE(wrong.CreateRGB(64, 64).IsError());
    EXPECT_EQ(DitherDIB(nullptr, flat, wrong, bw, 2), keQuorErrFormatNotSupported);
}

// Alpha travels beside the index.
TEST(DitherDIB, AlphaIsKept) {
    CRowIterator src;
    ASSERT_FALSE(src.CreateRGBA(8, 2).IsError());
    for (int y = 0; y < 2; ++y) {
        uint8_t* row = nullptr;
        ASSERT_FALSE(src.GetRow(row, y).IsError());
        for (int x = 0; x < 8; ++x) {
            row[4 * x] = row[4 * x + 1] = row[4 * x + 2] = uint8_t(x * 30);
            row[4 * x + 3] = uint8_t(x * 32 + y);
        }
        src.ReleaseRow(y).Ignore();
    }
    CRowIterator dst;
    ASSERT_FALSE(DitherDIB(nullptr, src, dst, QPalette_PaletteGetGreyscale(), 256).IsError());
    ASSERT_EQ(dst.GetNativeFormat(), keFormatIndex8A);
    const uint8_t* row = QGDI_GetPixelRow(&dst, 1);
    ASSERT_NE(row, nullptr);
    for (int x = 0; x < 8; ++x) {
        EXPECT_EQ(row[2 * x], x * 30);
        EXPECT_EQ(row[2 * x + 1], x * 32 + 1);
    }
    QGDI_ReleasePixelRow(&dst, 1);
}

}  // namespace

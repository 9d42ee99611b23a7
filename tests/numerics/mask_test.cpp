#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "geometry/Mask08.h"
#include "geometry/Random.h"

namespace {

// Builds a mask from rows of characters: '#' = 255, '.' = 0, digits d = 28·d.
CMask08 FromArt(const std::vector<std::string>& rows) {
    CMask08 m(static_cast<int>(rows[0].size()), static_cast<int>(rows.size()));
    for (int y = 0; y < m.GetHeight(); ++y)
        for (int x = 0; x < m.GetWidth(); ++x) {
            const char c = rows[static_cast<size_t>(y)][static_cast<size_t>(x)];
            m.Set(x, y, c == '#' ? 255 : c == '.' ? 0 : static_cast<uint8_t>(28 * (c - '0')));
        }
    return m;
}

std::vector<std::string> ToArt(const CMask08& m) {
    std::vector<std::string> rows;
    for (int y = 0; y < m.GetHeight(); ++y) {
        std::string r;
        for (int x = 0; x < m.GetWidth(); ++x) r += m.Get(x, y) == 255 ? '#' : m.Get(x, y) == 0 ? '.' : '?';
        rows.push_back(r);
    }
    return rows;
}

CMask08 RandomMask(CRandom& rnd, int w, int h) {
    CMask08 m(w, h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) m.Set(x, y, rnd.GetByte());
    return m;
}

// Straightforward morphology: every offset of the element, pixel by pixel.
CMask08 NaiveMorphology(const CMask08& src, int r, bool square, bool dilate) {
    CMask08 out(src.GetWidth(), src.GetHeight());
    for (int y = 0; y < src.GetHeight(); ++y)
        for (int x = 0; x < src.GetWidth(); ++x) {
            int v = dilate ? 0 : 255;
            for (int dy = -r; dy <= r; ++dy)
                for (int dx = -r; dx <= r; ++dx) {
                    const int sx = x + dx, sy = y + dy;
                    if (sx < 0 || sy < 0 || sx >= src.GetWidth() || sy >= src.GetHeight()) continue;
                    if (!square && dx * dx + dy * dy > r * r) continue;
                    v = dilate ? std::max(v, int(src.Get(sx, sy))) : std::min(v, int(src.Get(sx, sy)));
                }
            out.Set(x, y, static_cast<uint8_t>(v));
        }
    return out;
}

// Box average with replicated edges, horizontal then vertical, each rounded to nearest.
CMask08 NaiveBlur(const CMask08& src, int r) {
    const int w = src.GetWidth(), h = src.GetHeight();
    CMask08 tmp(w, h), out(w, h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            int s = 0;
            for (int i = -r; i <= r; ++i) s += src.Get(std::clamp(x + i, 0, w - 1), y);
            tmp.Set(x, y, static_cast<uint8_t>(std::lround(double(s) / (2 * r + 1))));
        }
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            int s = 0;
            for (int i = -r; i <= r; ++i) s += tmp.Get(x, std::clamp(y + i, 0, h - 1));
            out.Set(x, y, static_cast<uint8_t>(std::lround(double(s) / (2 * r + 1))));
        }
    return out;
}

bool Same(const CMask08& a, const CMask08& b) {
    return a.GetWidth() == b.GetWidth() && a.GetHeight() == b.GetHeight() &&
           std::equal(a.GetBits(), a.GetBits() + size_t(a.GetWidth()) * a.GetHeight(), b.GetBits());
}

TEST(CMask08, CircleCoverage) {
    CMask08 m(9, 9);
    m.Circle(4, 4, 2);
    // Inside within 1.5 (√2 included), half covered on the radius, empty from 2.5 (3, 2√2).
    const struct {
        int x, y, v;
    } coverage[] = {{4, 4, 255}, {5, 5, 255}, {6, 4, 128}, {4, 2, 128}, {6, 5, int((2.5 - std::sqrt(5.0)) * 255 + 0.5)},
                    {7, 4, 0},   {6, 6, 0}};
    for (const auto& c : coverage) EXPECT_EQ(m.Get(c.x, c.y), c.v) << c.x << "," << c.y;
    // Symmetric under the eight symmetries of the grid about the centre.
    for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 9; ++x) {
            ASSERT_EQ(m.Get(x, y), m.Get(8 - x, y));
            ASSERT_EQ(m.Get(x, y), m.Get(y, x));
        }
    // Drawing keeps the larger value, and a disc off the edge is clipped.
    m.Circle(0, 0, 1, 100);
    EXPECT_EQ(m.Get(0, 0), 100);
    m.Circle(4, 4, 0.5, 10);
    EXPECT_EQ(m.Get(4, 4), 255);
    m.Circle(-50, 3, 2);
    m.Circle(4, 4, -1);
    m.Circle(std::nan(""), 4, 3);
}

TEST(CMask08, DilateSinglePixel) {
    CMask08 m = FromArt({".....", ".....", "..#..", ".....", "....."});
    CMask08 disc = m, square = m;
    ASSERT_TRUE(disc.Dilate(1));
    ASSERT_TRUE(square.Dilate(1, true));
    EXPECT_EQ(ToArt(disc), (std::vector<std::string>{".....", "..#..", ".###.", "..#..", "....."}));
    EXPECT_EQ(ToArt(square), (std::vector<std::string>{".....", ".###.", ".###.", ".###.", "....."}));
    CMask08 two = m;
    ASSERT_TRUE(two.Dilate(2));
    EXPECT_EQ(two.CountAtLeast(255), 13);  // offsets with dx² + dy² ≤ 4
    ASSERT_TRUE(two.Erode(2));
    EXPECT_TRUE(Same(two, m));  // closing a point by a disc gives the point back
    EXPECT_FALSE(m.Dilate(-1));
    EXPECT_TRUE(m.Dilate(0));
}

struct MorphCase {
    int w, h, r;
    bool square, dilate;
};

class MaskMorphology : public ::testing::TestWithParam<MorphCase> {};

TEST_P(MaskMorphology, MatchesNaiveFilter) {
    const MorphCase c = GetParam();
    CRandom rnd(static_cast<uint32_t>(c.w * 131 + c.h * 7 + c.r));
    CMask08 m = RandomMask(rnd, c.w, c.h);
    const CMask08 expected = NaiveMorphology(m, c.r, c.square, c.dilate);
    ASSERT_TRUE(c.dilate ? m.Dilate(c.r, c.square) : m.Erode(c.r, c.square));
    EXPECT_TRUE(Same(m, expected));
}

INSTANTIATE_TEST_SUITE_P(Random, MaskMorphology,
                         ::testing::Values(MorphCase{17, 13, 1, false, true}, MorphCase{17, 13, 3, false, false},
                                           MorphCase{31, 7, 4, true, true}, MorphCase{5, 23, 2, true, false},
                                           MorphCase{1, 9, 3, false, true}, MorphCase{9, 1, 5, true, false},
                                           MorphCase{12, 12, 20, false, true}, MorphCase{40, 33, 7, false, false}));

struct BlurCase {
    int w, h, r;
};

class MaskBlur : public ::testing::TestWithParam<BlurCase> {};

TEST_P(MaskBlur, MatchesNaiveBoxAverage) {
    const BlurCase c = GetParam();
    CRandom rnd(static_cast<uint32_t>(c.w + 1000 * c.r));
    CMask08 m = RandomMask(rnd, c.w, c.h);
    const CMask08 expected = NaiveBlur(m, c.r);
    ASSERT_TRUE(m.Blur(c.r));
    EXPECT_TRUE(Same(m, expected));
}

INSTANTIATE_TEST_SUITE_P(Random, MaskBlur,
                         ::testing::Values(BlurCase{16, 11, 1}, BlurCase{7, 19, 3}, BlurCase{1, 5, 2},
                                           BlurCase{30, 2, 9}, BlurCase{50, 40, 25}));

TEST(CMask08, BlurKeepsConstantsAndRejectsBadRadius) {
    CMask08 m(20, 10, 77);
    ASSERT_TRUE(m.Blur(4, 3));
    EXPECT_TRUE(m.CountAtLeast(77) == 200 && m.CountAtLeast(78) == 0);
    EXPECT_FALSE(m.Blur(-1) || m.Blur(3000) || m.Blur(1, -1));
    // The largest radius still rounds like exact division.
    CMask08 wide(5000, 1);
    wide.Set(0, 0, 255);
    ASSERT_TRUE(wide.Blur(2047));
    EXPECT_EQ(wide.Get(0, 0), std::lround(255.0 * 2048 / 4095));
}

TEST(CMask08, HolesAndIslands) {
    CMask08 m = FromArt({"##########", "#..#######", "#..###.###", "#######...", "##.####...", "##########"});
    CMask08 holes = m;
    // The 4-pixel hole and the single pixels are enclosed; the notch at the right edge is not.
    EXPECT_EQ(holes.RemoveHoles(), 6);
    EXPECT_EQ(ToArt(holes), (std::vector<std::string>{"##########", "##########", "##########", "#######...",
                                                      "#######...", "##########"}));
    CMask08 small = m;
    EXPECT_EQ(small.RemoveHoles(128, 1), 2);
    EXPECT_EQ(small.Get(1, 1), 0);

    CMask08 specks = FromArt({"#....", "..#..", ".....", "...##", "...##"});
    EXPECT_EQ(specks.RemoveIslands(128, 2), 2);
    EXPECT_EQ(ToArt(specks), (std::vector<std::string>{".....", ".....", ".....", "...##", "...##"}));
    // Threshold decides what counts as set.
    CMask08 grey = FromArt({"5..", "...", "..9"});
    EXPECT_EQ(grey.RemoveIslands(200), 1);
    EXPECT_EQ(grey.Get(0, 0), 140);
}

TEST(CMask08, SeedFill) {
    CMask08 m = FromArt({"..#..", "..#..", "###..", ".....", "....4"});
    CMask08 a = m;
    EXPECT_EQ(a.SeedFill(0, 0, 200), 4);
    EXPECT_TRUE(a.Get(1, 1) == 200 && a.Get(3, 0) == 0);
    // The filled value equals the tolerance window of the seed: no endless refill.
    CMask08 b = m;
    EXPECT_EQ(b.SeedFill(4, 0, 1, 5), 15);
    EXPECT_EQ(b.Get(4, 4), 112);
    CMask08 c = m;
    EXPECT_EQ(c.SeedFill(4, 0, 1, 112), 16);
    EXPECT_TRUE(c.SeedFill(-1, 0, 1) == 0 && c.SeedFill(0, 5, 1) == 0);
}

TEST(CMask08, CreateRejectsBadSizes) {
    CMask08 m;
    EXPECT_TRUE(m.IsEmpty());
    EXPECT_FALSE(m.Create(-1, 4) || m.Create(70000, 70000));
    EXPECT_TRUE(m.IsEmpty() && m.GetRow(0) == nullptr && m.Get(0, 0) == 0);
    m.Set(3, 3, 1);
    EXPECT_TRUE(m.Create(3, 2, 9));
    EXPECT_EQ(m.CountAtLeast(9), 6);
    EXPECT_TRUE(m.Dilate(2));
    EXPECT_TRUE(m.RemoveHoles() == 0);
}

}  // namespace

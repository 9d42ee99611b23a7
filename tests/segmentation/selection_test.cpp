// Smart selection on images whose right answer is known by construction.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <random>
#include <vector>

#include "qdibcore/Source/StatusControl.h"
#include "segmentation/ColourMixture.h"
#include "segmentation/SmartSelection.h"

namespace {

using FColour = std::function<uint32_t(int x, int y)>;  // 0xRRGGBB

CRowIterator MakeImage(int w, int h, const FColour& colour, EQPixelFormat format = keFormatBGR) {
    CRowIterator bgr;
    EXPECT_FALSE(bgr.Create(w, h, keFormatBGR).IsError());
    for (int y = 0; y < h; ++y) {
        uint8_t* row = bgr.GetRow(y, 0, w);
        for (int x = 0; x < w; ++x) {
            const uint32_t c = colour(x, y);
            row[3 * x] = uint8_t(c), row[3 * x + 1] = uint8_t(c >> 8), row[3 * x + 2] = uint8_t(c >> 16);
        }
        bgr.ReleaseRow(y).Ignore();
    }
    if (format == keFormatBGR) return bgr;
    CRowIterator other;
    EXPECT_FALSE(other.CreateFromCopy(bgr, nullptr, format).IsError());
    return other;
}

std::vector<uint8_t> ReadMask(const CSmartSelection& s, int w, int h) {
    CRowIterator mask;
    EXPECT_EQ(s.GetMask(mask).Ignore(), keQuorErrSuccess);
    std::vector<uint8_t> out;
    for (int y = 0; y < h; ++y) {
        const uint8_t* row = mask.GetRow(y, 0, w);
        out.insert(out.end(), row, row + w);
        mask.ReleaseRow(y).Ignore();
    }
    return out;
}

// Noise keeps the colour models honest: flat colours are too easy.
uint32_t Noisy(uint32_t c, int x, int y, int amp) {
    const uint32_t h = uint32_t(x) * 73856093u ^ uint32_t(y) * 19349663u;
    const int n = int(h % uint32_t(2 * amp + 1)) - amp;
    uint32_t out = 0;
    for (int s = 0; s < 24; s += 8) out |= uint32_t(std::clamp(int((c >> s) & 255) + n, 0, 255)) << s;
    return out;
}

// A disc of one colour on another, cut from a rectangle around it, at full
// size and through the coarse path, from several formats: every pixel right.
struct SSplit {
    const char* name;
    EQPixelFormat format;
    int64_t coarseAbove;
    int noise;
};

class SplitsAlongBoundary : public ::testing::TestWithParam<SSplit> {};

TEST_P(SplitsAlongBoundary, EveryPixelRight) {
    const SSplit p = GetParam();
    const int w = 160, h = 120;
    auto inside = [](int x, int y) { return (x - 80) * (x - 80) + (y - 60) * (y - 60) < 40 * 40; };
    const CRowIterator img = MakeImage(w, h, [&](int x, int y) {
        return Noisy(inside(x, y) ? 0xd04020u : 0x2060c0u, x, y, p.noise);
    }, p.format);
    CSmartSelection s;
    ASSERT_FALSE(s.SetImage(img).IsError());
    SSmartSelectionOptions o;
    o.nCoarseAbove = p.coarseAbove;
    ASSERT_FALSE(s.SetOptions(o).IsError());
    ASSERT_FALSE(s.SetRect(RECT{30, 10, 130, 110}).IsError());
    ASSERT_FALSE(s.Segment().IsError());
    const auto mask = ReadMask(s, w, h);
    int wrong = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) wrong += (mask[size_t(y * w + x)] == 255) != inside(x, y);
    EXPECT_EQ(wrong, 0);
}

INSTANTIATE_TEST_SUITE_P(Inputs, SplitsAlongBoundary,
                         ::testing::Values(SSplit{"bgr", keFormatBGR, 1 << 21, 0},
                                           SSplit{"noisy", keFormatBGR, 1 << 21, 12},
                                           SSplit{"grey", keFormatGrey, 1 << 21, 0},
                                           SSplit{"bgra16", keFormatBGRA_u16, 1 << 21, 6},
                                           SSplit{"coarse", keFormatBGR, 2000, 8}),
                         [](const auto& info) { return std::string(info.param.name); });

// Strokes against the colours: they win wherever they fall, also when added
// later to a finished cut.
TEST(SmartSelection, HardConstraintsAlwaysHonoured) {
    const int w = 96, h = 64;
    const CRowIterator img = MakeImage(w, h, [](int x, int y) { return Noisy(x < 48 ? 0xf0f0f0u : 0x101010u, x, y, 10); });
    struct SDab {
        bool fg;
        int x, y, r;
    };
    const std::vector<std::vector<SDab>> sets = {
        {{true, 10, 10, 3}, {false, 80, 50, 3}},                  // agrees with the colours
        {{true, 80, 30, 4}, {false, 10, 30, 4}},                  // contradicts them
        {{true, 40, 20, 6}, {false, 56, 20, 6}, {true, 60, 50, 0}},  // across the edge, one pixel alone
    };
    for (size_t k = 0; k < sets.size(); ++k)
        for (int coarse = 0; coarse < 2; ++coarse) {
            CSmartSelection s;
            ASSERT_FALSE(s.SetImage(img).IsError());
            SSmartSelectionOptions o;
            o.nCoarseAbove = coarse ? 1000 : 1 << 21;
            ASSERT_FALSE(s.SetOptions(o).IsError());
            // Half the dabs before the first cut, the rest as a refinement.
            for (size_t i = 0; i < sets[k].size(); ++i)
                if (i < 2) {
                    ASSERT_FALSE(s.AddStroke(sets[k][i].fg, sets[k][i].x, sets[k][i].y, sets[k][i].r).IsError());
                }
            ASSERT_FALSE(s.Segment().IsError());
            for (size_t i = 2; i < sets[k].size(); ++i)
                ASSERT_FALSE(s.AddStroke(sets[k][i].fg, sets[k][i].x, sets[k][i].y, sets[k][i].r).IsError());
            ASSERT_FALSE(s.Refine().IsError());
            const auto mask = ReadMask(s, w, h);
            for (const SDab& d : sets[k])
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x)
                        if ((x - d.x) * (x - d.x) + (y - d.y) * (y - d.y) <= d.r * d.r) {
                            ASSERT_EQ(mask[size_t(y * w + x)], d.fg ? 255 : 0)
                                << "set " << k << " coarse " << coarse << " at " << x << "," << y;
                        }
        }
}

TEST(SmartSelection, RefinementTakesAStrokeAndKeepsTheRest) {
    // Two red discs, only one meant: a background stroke on the other is cut
    // out of it while the first stays whole.
    const int w = 120, h = 80;
    auto disc = [](int x, int y, int cx) { return (x - cx) * (x - cx) + (y - 40) * (y - 40) < 15 * 15; };
    const CRowIterator img = MakeImage(w, h, [&](int x, int y) {
        return Noisy(disc(x, y, 35) || disc(x, y, 85) ? 0xc02020u : 0x30a040u, x, y, 8);
    });
    CSmartSelection s;
    ASSERT_FALSE(s.SetImage(img).IsError());
    ASSERT_FALSE(s.SetRect(RECT{10, 10, 110, 70}).IsError());
    ASSERT_FALSE(s.Segment().IsError());
    const auto before = ReadMask(s, w, h);
    ASSERT_FALSE(s.AddStroke(false, 85, 40, 5).IsError());
    ASSERT_FALSE(s.Refine().IsError());
    const auto after = ReadMask(s, w, h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const size_t p = size_t(y * w + x);
            EXPECT_EQ(before[p] == 255, disc(x, y, 35) || disc(x, y, 85)) << x << "," << y;
            if (x < 60) {
                EXPECT_EQ(after[p], before[p]) << x << "," << y;
            }
            if ((x - 85) * (x - 85) + (y - 40) * (y - 40) <= 25) {
                EXPECT_EQ(after[p], 0);
            }
        }
}

TEST(SmartSelection, SameInputSameMask) {
    std::mt19937 rng(7);
    std::vector<uint32_t> noise(200 * 150);
    for (auto& v : noise) v = rng() & 0x3f3f3f;
    const CRowIterator img = MakeImage(200, 150, [&](int x, int y) {
        const bool in = std::abs(x - 100) + std::abs(y - 75) < 50;
        return (in ? 0x806040u : 0x406080u) + noise[size_t(y * 200 + x)];
    });
    std::vector<uint8_t> first;
    for (int run = 0; run < 3; ++run) {
        CSmartSelection s;
        ASSERT_FALSE(s.SetImage(img).IsError());
        ASSERT_FALSE(s.SetRect(RECT{40, 15, 160, 135}).IsError());
        ASSERT_FALSE(s.AddStroke(false, 100, 20, 2).IsError());
        ASSERT_FALSE(s.Segment().IsError());
        const auto mask = ReadMask(s, 200, 150);
        if (run == 0) first = mask;
        else EXPECT_EQ(mask, first) << "run " << run;
    }
}

struct SCancelAt {
    static int Check(CStatusControl*) { return 1; }
};

TEST(SmartSelection, CancellationReturns100) {
    const CRowIterator img = MakeImage(64, 64, [](int x, int y) { return Noisy(x < 32 ? 0xffffffu : 0u, x, y, 20); });
    for (int refine = 0; refine < 2; ++refine) {
        CSmartSelection s;
        ASSERT_FALSE(s.SetImage(img).IsError());
        ASSERT_FALSE(s.SetRect(RECT{4, 4, 60, 60}).IsError());
        if (refine) {
            ASSERT_FALSE(s.Segment().IsError());
            ASSERT_FALSE(s.AddStroke(true, 50, 30, 3).IsError());
        }
        CStatusControl status;
        status.SetAbortCheckCallback(&SCancelAt::Check);
        EXPECT_EQ((refine ? s.Refine(&status) : s.Segment(&status)).Ignore(), keQuorErrCancelled);
        // A cancelled object still works.
        ASSERT_FALSE(s.Segment().IsError());
    }
}

TEST(SmartSelection, BadInputGivesCodesNotCrashes) {
    const CRowIterator img = MakeImage(40, 30, [](int x, int) { return x < 20 ? 0xff0000u : 0x0000ffu; });
    CSmartSelection s;
    EXPECT_EQ(s.Segment().Ignore(), keQuorErrFailed);  // no image
    CRowIterator detached;
    EXPECT_EQ(s.SetImage(detached).Ignore(), keQuorErrIteratorState);
    ASSERT_FALSE(s.SetImage(img).IsError());
    CRowIterator mask;
    EXPECT_EQ(s.GetMask(mask).Ignore(), keQuorErrFailed);  // nothing cut yet
    for (const RECT r : {RECT{50, 0, 60, 10}, RECT{-20, -20, -1, -1}, RECT{10, 10, 10, 20}, RECT{10, 10, 5, 5}})
        EXPECT_EQ(s.SetRect(r).Ignore(), keQuorErrFailed);
    EXPECT_EQ(s.AddStroke(true, 100, 100, 3).Ignore(), keQuorErrFailed);
    EXPECT_EQ(s.AddStroke(true, 5, 5, -1).Ignore(), keQuorErrFailed);
    EXPECT_EQ(s.AddStroke(true, nullptr, 0, 2).Ignore(), keQuorErrFailed);
    // Strokes of one kind say nothing about the other side.
    ASSERT_FALSE(s.AddStroke(true, 5, 5, 2).IsError());
    const POINT line[] = {{2, 20}, {15, 25}};
    ASSERT_FALSE(s.AddStroke(true, line, 2, 1).IsError());
    EXPECT_EQ(s.Segment().Ignore(), keQuorErrFailed);
    for (const SSmartSelectionOptions& o :
         {SSmartSelectionOptions{0, 50, 5, 1, 1 << 21, false, 4}, SSmartSelectionOptions{5, -1, 5, 1, 1 << 21, false, 4},
          SSmartSelectionOptions{5, 50, 0, 1, 1 << 21, false, 4}, SSmartSelectionOptions{5, 50, 17, 1, 1 << 21, false, 4},
          SSmartSelectionOptions{5, 50, 5, 1, 0, false, 4}, SSmartSelectionOptions{5, 50, 5, 1, 1 << 21, true, -1}})
        EXPECT_EQ(s.SetOptions(o).Ignore(), keQuorErrFailed);
    CRowIterator wrong;
    ASSERT_FALSE(wrong.Create(10, 10, keFormatGrey).IsError());
    EXPECT_EQ(s.SetMask(wrong).Ignore(), keQuorErrFailed);
}

// Degenerate images still give a whole mask of the right size.
TEST(SmartSelection, TinyAndUniformImages) {
    struct SImage {
        int w, h;
        RECT rect;
        uint32_t colour;
    };
    for (const SImage& t : {SImage{1, 1, {0, 0, 1, 1}, 0x808080u}, SImage{1, 1, {-5, -5, 5, 5}, 0u},
                            SImage{50, 40, {10, 10, 40, 30}, 0x336699u}, SImage{50, 40, {0, 0, 50, 40}, 0xffffffu},
                            SImage{1, 30, {0, 5, 1, 25}, 0x123456u}}) {
        const CRowIterator img = MakeImage(t.w, t.h, [&](int, int) { return t.colour; });
        CSmartSelection s;
        ASSERT_FALSE(s.SetImage(img).IsError());
        ASSERT_FALSE(s.SetRect(t.rect).IsError());
        ASSERT_FALSE(s.Segment().IsError()) << t.w << "x" << t.h;
        const auto mask = ReadMask(s, t.w, t.h);
        ASSERT_EQ(mask.size(), size_t(t.w * t.h));
        // Nothing inside a uniform image stands out from its surroundings.
        if (t.rect.right - t.rect.left < t.w) {
            for (const uint8_t v : mask) EXPECT_EQ(v, 0);
        }
    }
}

TEST(SmartSelection, SoftEdgeOnlyAlongTheBorder) {
    // A blurred disc: partial alpha where the colour is mixed, hard elsewhere.
    const int w = 100, h = 100;
    const CRowIterator img = MakeImage(w, h, [](int x, int y) {
        const double d = std::hypot(x - 50.0, y - 50.0);
        const double a = std::clamp((30.0 - d) / 4 + 0.5, 0.0, 1.0);
        const int r = int(40 + a * 200), g = int(200 - a * 150), b = 60;
        return uint32_t(r << 16 | g << 8 | b);
    });
    CSmartSelection s;
    ASSERT_FALSE(s.SetImage(img).IsError());
    SSmartSelectionOptions o;
    o.bSoftEdge = true;
    ASSERT_FALSE(s.SetOptions(o).IsError());
    ASSERT_FALSE(s.SetRect(RECT{10, 10, 90, 90}).IsError());
    ASSERT_FALSE(s.Segment().IsError());
    const auto mask = ReadMask(s, w, h);
    int partial = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const double d = std::hypot(x - 50.0, y - 50.0);
            const uint8_t v = mask[size_t(y * w + x)];
            if (d < 22) {
                EXPECT_EQ(v, 255);
            }
            if (d > 38) {
                EXPECT_EQ(v, 0);
            }
            // Mixed colours get middling alpha, and only there.
            if (v > 20 && v < 235) {
                ++partial;
                EXPECT_NEAR(d, 30, 4.5);
            }
            if (std::abs(d - 30) < 0.7) {
                EXPECT_GT(v, 0) << x << "," << y;
                EXPECT_LT(v, 255) << x << "," << y;
            }
        }
    EXPECT_GT(partial, 100);
}

TEST(ColourMixture, RecoversTwoClusters) {
    // Two well-separated Gaussian clouds: the fit finds both means and weights.
    std::mt19937 rng(3);
    std::normal_distribution<double> n(0, 6);
    std::vector<uint8_t> c;
    const int counts[2] = {3000, 1000};
    const double means[2][3] = {{60, 80, 100}, {200, 150, 40}};
    for (int k = 0; k < 2; ++k)
        for (int i = 0; i < counts[k]; ++i)
            for (int j = 0; j < 3; ++j) c.push_back(uint8_t(std::clamp(means[k][j] + n(rng), 0.0, 255.0)));
    qgdi::segment::CColourMixture g;
    g.Initialise(c.data(), c.size() / 3, 3, 2);
    ASSERT_EQ(g.Components(), 2);
    for (int k = 0; k < 2; ++k) {
        const auto& comp = g.Component(k);
        const int which = comp.mean[0] < 130 ? 0 : 1;
        EXPECT_NEAR(comp.weight, counts[which] / 4000.0, 0.01);
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(comp.mean[j], means[which][j], 1.0);
        // Variance 36 plus the floor, inverted.
        EXPECT_NEAR(comp.inverse[0], 1 / (36 + qgdi::segment::CColourMixture::kfVarianceFloor), 0.006);
    }
    float cost[2];
    uint8_t best[2];
    const uint8_t probe[6] = {60, 80, 100, 200, 150, 40};
    g.Evaluate(probe, 2, cost, best);
    EXPECT_NE(best[0], best[1]);
}

}  // namespace

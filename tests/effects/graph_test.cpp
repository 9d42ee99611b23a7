// The effect graph: links, stock images, caching, invalidation, failures.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "effect_test_util.h"

using namespace effects_test;

namespace {

std::unique_ptr<CRowIterator> Photo(int w = 24, int h = 16) {
    return MakeBGRA(w, h, [](int x, int y) {
        return 0xff000000u | uint32_t(x * 10) << 16 | uint32_t(y * 15) << 8 | uint32_t((x * y) & 255);
    });
}

// Every pixel of two images equal.
bool Same(const CRowIterator& a, const CRowIterator& b) {
    if (a.GetWidth() != b.GetWidth() || a.GetHeight() != b.GetHeight()) return false;
    for (int y = 0; y < a.GetHeight(); ++y)
        for (int x = 0; x < a.GetWidth(); ++x)
            if (Pixel(a, x, y) != Pixel(b, x, y)) return false;
    return true;
}

TEST(EffectGraph, FailuresBeforeAnythingIsComputed) {
    const auto src = Photo();
    struct SBad {
        const char* what;
        std::function<void(CIoEffectBuilder&)> build;
    };
    const SBad cases[] = {
        {"only a stock identifier", [](CIoEffectBuilder& b) { b(keEffectSourceGraphic).Invert(); }},
        {"empty graph", [](CIoEffectBuilder&) {}},
        {"unknown input", [](CIoEffectBuilder& b) { b(1, 7).Invert(); }},
        {"input -5 is not stock", [](CIoEffectBuilder& b) { b(1, -5).Invert(); }},
        {"self loop", [](CIoEffectBuilder& b) { b(1, 1).Invert(); }},
        {"cycle through others", [](CIoEffectBuilder& b) {
             b(1, 3).Invert();
             b(2, 1).Invert();
             b(3, keEffectSourceGraphic, 2).Composite(keCompositeOver);
         }},
        {"node without operation", [](CIoEffectBuilder& b) { b(1, keEffectSourceGraphic).Add(nullptr, true); }},
        {"background without background image", [](CIoEffectBuilder& b) { b(1, keEffectBackgroundImage).Invert(); }},
    };
    for (const SBad& c : cases) {
        CIoEffect fx;
        CIoEffectBuilder b(fx);
        c.build(b);
        CRowIterator out;
        EXPECT_EQ(RunEffect(fx, *src, out).Ignore(), keQuorErrFailed) << c.what;
    }
    CIoEffect cyclic;
    CIoEffectBuilder{cyclic}(1, 1).Invert();
    EXPECT_FALSE(cyclic.IsValidEffect());
}

TEST(EffectGraph, StockImagesAreCopiesInBGRAAndAlphaHasNoColour) {
    const auto src = Photo();
    const auto bg = MakeBGRA(24, 16, [](int x, int) { return uint32_t(x * 10) << 24 | 0x00336699u; });
    for (const int id : {-1, -2, -3, -4}) {
        CIoEffect fx;
        fx.SetCache(true);
        CIoEffectBuilder{fx}(1, id).Offset(0, 0);
        CRowIterator out;
        ASSERT_EQ(RunEffect(fx, *src, out, bg.get()).Ignore(), keQuorErrSuccess) << id;
        const CRowIterator* stock = fx.GetNodeImage(id);
        ASSERT_NE(stock, nullptr);
        EXPECT_EQ(stock->GetPixelFormat(), keFormatBGRA);
        const CRowIterator& from = id >= keEffectSourceAlpha ? *src : *bg;
        const bool alpha = id == keEffectSourceAlpha || id == keEffectBackgroundAlpha;
        for (const auto& [x, y] : {std::pair{0, 0}, {5, 3}, {23, 15}}) {
            const uint32_t want = alpha ? Pixel(from, x, y) & 0xff000000u : Pixel(from, x, y);
            EXPECT_EQ(Pixel(*stock, x, y), want) << id << " at " << x << "," << y;
        }
    }
}

TEST(EffectGraph, TheResultIsTheLastNonNegativeNodeAndReplacementKeepsPlace) {
    CIoEffect fx;
    CIoEffectBuilder b(fx);
    b(5, keEffectSourceGraphic).Invert();
    b(2, 5).Invert();
    b(-7).Invert();  // negative: not a result
    EXPECT_EQ(fx.GetResultId(), 2);
    b(5, keEffectSourceGraphic).Greyscale();  // replaces in place: still the first node, result unchanged
    EXPECT_EQ(fx.GetResultId(), 2);
    EXPECT_EQ(fx.GetNodeCount(), 3);
    const std::string dump = fx.Dump();
    EXPECT_LT(dump.find("Node\t5"), dump.find("Node\t2"));
    const auto src = Photo();
    CRowIterator out;
    ASSERT_EQ(RunEffect(fx, *src, out).Ignore(), keQuorErrSuccess);  // Greyscale then Invert
    const uint32_t p = Pixel(out, 7, 5);
    EXPECT_EQ(p & 0xff, (p >> 8) & 0xff);
    EXPECT_EQ(p & 0xff, (p >> 16) & 0xff);
}

TEST(EffectGraph, ImagesLiveUntilTheirLastConsumerUnlessCached) {
    const auto src = Photo();
    for (const bool cache : {false, true}) {
        CIoEffect fx;
        fx.SetCache(cache);
        CIoEffectBuilder b(fx);
        b(1, keEffectSourceGraphic).Invert();
        b(2, 1).Greyscale();
        b(3, 1).ColorSaturate(0.5);
        b(4, 2, 3).Composite(keCompositeOver);
        CRowIterator out;
        ASSERT_EQ(RunEffect(fx, *src, out).Ignore(), keQuorErrSuccess);
        for (const int id : {int(keEffectSourceGraphic), 1, 2, 3})
            EXPECT_EQ(fx.GetNodeImage(id) != nullptr, cache) << "node " << id << " cache " << cache;
        EXPECT_NE(fx.GetNodeImage(4), nullptr);  // the result stays with its node
        EXPECT_TRUE(Same(out, *fx.GetNodeImage(4)));
    }
}

TEST(EffectGraph, InvalidationFollowsTheFirstConsumerChainOnly) {
    const auto src = Photo();
    CIoEffect fx;
    fx.SetCache(true);
    CIoEffectBuilder b(fx);
    b(1, keEffectSourceGraphic).Invert();
    b(2, 1).Greyscale();        // first consumer of 1
    b(3, 1).ColorSaturate(2);  // second consumer of 1: keeps its image
    b(4, 2).Invert();           // first consumer of 2
    b(5, 4, 3).Composite(keCompositeOver);
    CRowIterator out;
    ASSERT_EQ(RunEffect(fx, *src, out).Ignore(), keQuorErrSuccess);
    b(1, keEffectSourceGraphic).Gamma(1, 0.5, 0);  // replacing 1 invalidates 1, 2, 4, 5
    for (const int id : {1, 2, 4, 5}) EXPECT_EQ(fx.GetNodeImage(id), nullptr) << id;
    EXPECT_NE(fx.GetNodeImage(3), nullptr);
    EXPECT_NE(fx.GetNodeImage(keEffectSourceGraphic), nullptr);
    EXPECT_TRUE(fx.Invalidate(keEffectSourceGraphic));
    EXPECT_EQ(fx.GetNodeImage(keEffectSourceGraphic), nullptr);
    EXPECT_FALSE(fx.Invalidate(42));
    ASSERT_EQ(RunEffect(fx, *src, out).Ignore(), keQuorErrSuccess);
    for (const int id : {1, 2, 3, 4, 5}) EXPECT_NE(fx.GetNodeImage(id), nullptr) << id;
}

TEST(EffectGraph, EvaluateAllComputesEveryNodeAndEveryStockImage) {
    const auto src = Photo();
    const auto bg = Photo();
    CIoEffect fx;
    EXPECT_FALSE(fx.SetEvaluation(true));
    EXPECT_TRUE(fx.SetCache(true) == false);
    CIoEffectBuilder b(fx);
    b(1, keEffectSourceGraphic).Invert();
    b(2, keEffectSourceGraphic).Greyscale();  // the result does not need 1
    CRowIterator out;
    EXPECT_EQ(RunEffect(fx, *src, out).Ignore(), keQuorErrFailed);  // -3 and -4 made without a background
    CRowIterator out2;
    ASSERT_EQ(RunEffect(fx, *src, out2, bg.get()).Ignore(), keQuorErrSuccess);
    for (const int id : {-4, -3, -2, -1, 1, 2}) EXPECT_NE(fx.GetNodeImage(id), nullptr) << id;
}

TEST(EffectGraph, SubregionLimitsWhatANodeWrites) {
    const auto src = Photo();
    CIoEffect fx;
    CIoEffectBuilder b(fx);
    b(1, keEffectSourceGraphic).Invert();
    const SQRECT sub = {4, 2, 10, 9};
    EXPECT_TRUE(fx.SetSubregion(1, &sub));
    EXPECT_FALSE(fx.SetSubregion(9, &sub));
    EXPECT_FALSE(fx.SetSubregion(keEffectSourceGraphic, &sub));  // stock nodes hold no operation
    CRowIterator out;
    ASSERT_EQ(RunEffect(fx, *src, out).Ignore(), keQuorErrSuccess);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 24; ++x) {
            const bool inside = x >= 4 && x < 10 && y >= 2 && y < 9;
            const uint32_t s = Pixel(*src, x, y);
            EXPECT_EQ(Pixel(out, x, y), inside ? (s ^ 0x00ffffffu) : 0u) << x << "," << y;
        }
}

TEST(EffectGraph, BuilderGraphEqualsTheOperationsRunByHand) {
    const auto src = Photo(40, 30);
    CIoEffect fx;
    CIoEffectBuilder b(fx);
    b(1, keEffectSourceAlpha).GaussianBlur(2.5, 99);
    b(2, 1).Offset(3, 2);
    b(3, keEffectSourceGraphic, 2).Composite(keCompositeOver);
    b(4, 3).ColorHueRotate(40);
    CRowIterator viaGraph;
    ASSERT_EQ(RunEffect(fx, *src, viaGraph).Ignore(), keQuorErrSuccess);

    // The same by hand, each step into a new transparent image.
    const CColorRef clear(0, 0, 0, 0);
    const auto step = [&](CImageOp& op, const CRowIterator* in0, const CRowIterator* in1, CRowIterator& out) {
        ASSERT_FALSE(out.Create(40, 30, keFormatBGRA, &clear).IsError());
        CIoData d;
        d.pDst = &out;
        d.rcDst = {0, 0, 40, 30};
        d.SetInput(0, in0);
        d.SetInput(1, in1);
        ASSERT_EQ(op.Execute(d).Ignore(), keQuorErrSuccess);
    };
    CRowIterator alpha;
    ASSERT_FALSE(alpha.CreateFromCopy(*src).IsError());
    ASSERT_FALSE(RowIterator_ClearRGB(alpha).IsError());
    CIoGaussianBlur blur(2.5, 3);
    std::unique_ptr<CIoDeformation> offset(CIoDeformation::CreateOffset(3, 2));
    CIoComposite over(keCompositeOver);
    std::unique_ptr<CIoColorMatrix> hue(CIoColorMatrix::CreateHueRotate(40));
    CRowIterator s1, s2, s3, s4;
    step(blur, &alpha, nullptr, s1);
    step(*offset, &s1, nullptr, s2);
    step(over, src.get(), &s2, s3);
    step(*hue, &s3, nullptr, s4);
    EXPECT_TRUE(Same(viaGraph, s4));
}

TEST(EffectGraph, RowOperationsAreAddedNotOwned) {
    const auto src = Photo();
    CIoRowOp* op = nullptr;
    {
        CIoEffect fx;
        CIoEffectBuilder b(fx);
        op = b(1, keEffectSourceGraphic).Add(CRowOpDefRowNoise(0.3, false, false, 5), keIoRowOpOneInput);
        ASSERT_NE(op, nullptr);
        CRowIterator out;
        ASSERT_EQ(RunEffect(fx, *src, out).Ignore(), keQuorErrSuccess);
        EXPECT_FALSE(Same(out, *src));
    }
    EXPECT_EQ(op->GetType(), keIoRowOp);  // still alive after the graph
    delete op;
}

TEST(EffectGraph, CancellationStopsTheRun) {
    const auto src = Photo(64, 64);
    CIoEffect fx;
    CIoEffectBuilder{fx}(1, keEffectSourceGraphic).GaussianBlur(3, 3);
    CStatusControl status;
    status.SetAbortRequested(true);
    CRowIterator out;
    EXPECT_EQ(RunEffect(fx, *src, out, nullptr, &status).Ignore(), keQuorErrCancelled);
}

TEST(EffectGraph, SelectionKeepsTheResultOnlyWhereTheMaskIsSet) {
    const auto src = Photo();
    CRowIterator dst;
    ASSERT_FALSE(dst.CreateFromCopy(*src).IsError());
    CRowIterator mask;
    ASSERT_FALSE(mask.Create(24, 16, keFormatGrey).IsError());
    for (int y = 0; y < 16; ++y) {
        uint8_t* row = mask.GetRow(y, 0, 24);
        for (int x = 0; x < 24; ++x) row[x] = x < 12 ? 0 : 255;
        mask.ReleaseRow(y).Ignore();
    }
    std::unique_ptr<CIoComponentTransfer> invert(CIoComponentTransfer::CreateInvert());
    CIoData d;
    d.pDst = &dst;
    d.rcDst = {0, 0, 24, 16};
    d.SetInput(0, src.get());
    ASSERT_EQ(invert->ExecuteWithSelection(d, mask).Ignore(), keQuorErrSuccess);
    for (const int x : {0, 11, 12, 23})
        EXPECT_EQ(Pixel(dst, x, 7), x < 12 ? Pixel(*src, x, 7) : Pixel(*src, x, 7) ^ 0x00ffffffu) << x;
    CRowIterator notGrey;
    ASSERT_FALSE(notGrey.Create(24, 16, keFormatBGR).IsError());
    EXPECT_EQ(invert->ExecuteWithSelection(d, notGrey).Ignore(), keQuorErrFormatNotSupported);
}

TEST(EffectGraph, RectangleAndTimeOfTheGraph) {
    CIoEffect fx;
    CIoEffectBuilder b(fx);
    b(1, keEffectSourceAlpha).GaussianBlur(2, 2);
    b(2, 1).Offset(5, -3);
    const RECT rc = fx.CalculateRectangle({0, 0, 10, 10}, {100, 100});
    EXPECT_EQ(rc.left, 100 - 6 + 5);
    EXPECT_EQ(rc.top, 100 - 6 - 3);
    EXPECT_EQ(rc.right, 110 + 6 + 5);
    EXPECT_GT(fx.GetTime(100, 100), 0);
    EXPECT_EQ(fx.GetType(), keIoEffect);
}

}  // namespace

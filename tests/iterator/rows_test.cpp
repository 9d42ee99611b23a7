// Direct rows: spans, stepping, scoped holders, threads and statistics.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "iterator_test_util.h"

namespace {

TEST(Rows, BandsAndPackedBitmapsServeTheSameRows) {
    // Heights around the band size exercise the band lookup.
    for (int height : {1, 127, 128, 129, 300}) {
        CRowIterator bands;
        CDibIterator dib;
        qgdi::test::MakeRandomImage(bands, keFormatBGR, 37, height, 7);
        ASSERT_FALSE(dib.CreateFromCopy(bands).IsError());
        ASSERT_TRUE(dib.GetDIB() != nullptr);
        EXPECT_TRUE(dib.IsEquivalent(bands)) << height;
        for (int y : {0, height / 2, height - 1})
            EXPECT_EQ(qgdi::test::PackedRow(dib, y), qgdi::test::PackedRow(bands, y));
    }
}

TEST(Rows, SpansAndBadRequests) {
    CRowIterator it;
    qgdi::test::MakeRandomImage(it, keFormatBGRA, 10, 5, 3);
    const uint8_t* whole = nullptr;
    const uint8_t* span = nullptr;
    ASSERT_FALSE(it.GetRow(whole, 2).IsError());
    ASSERT_FALSE(it.GetRow(span, 2, 4, -1).IsError());
    EXPECT_EQ(span, whole + 16);
    it.ReleaseRow(2).Ignore();
    it.ReleaseRow(2).Ignore();
    struct SBad {
        int y, x, count;
    };
    for (const SBad& b :
         {SBad{-1, 0, 1}, SBad{5, 0, 1}, SBad{0, -1, 1}, SBad{0, 10, -1}, SBad{0, 4, 7}, SBad{0, 0, 0}}) {
        const uint8_t* row = reinterpret_cast<const uint8_t*>(1);
        EXPECT_EQ(it.GetRow(row, b.y, b.x, b.count).Ignore(), keQuorErrFailed) << b.y << "," << b.x << "," << b.count;
        EXPECT_EQ(row, nullptr);
    }
    EXPECT_EQ(static_cast<const CRowIterator&>(it).GetRow(9, 0, 1), nullptr);
    // A row never taken releases without effect.
    EXPECT_FALSE(it.ReleaseRow(3).IsError());

    std::vector<uint8_t> copy(12);
    EXPECT_FALSE(it.GetAndCopyRow(copy.data(), 1, 2, 3, copy.size()).IsError());
    EXPECT_EQ(0, std::memcmp(copy.data(), qgdi::test::PackedRow(it, 1).data() + 8, 12));
    EXPECT_EQ(it.GetAndCopyRow(copy.data(), 1, 2, 4, copy.size()).Ignore(), keQuorErrFailed);
}

TEST(Rows, StepAndScopedHolders) {
    CRowIterator it;
    qgdi::test::MakeRandomImage(it, keFormatGrey, 6, 4, 5);
    int visited = 0;
    const uint8_t* row = nullptr;
    for (int y = -1;;) {
        ASSERT_FALSE(std::as_const(it).GetNext(row, y).IsError());
        if (!row) break;
        EXPECT_EQ(y, visited++);
    }
    EXPECT_EQ(visited, 4);
    int y = 4;
    ASSERT_FALSE(std::as_const(it).GetPrev(row, y).IsError());
    EXPECT_EQ(y, 3);
    it.ReleaseRow(y).Ignore();

    uint8_t first;
    {
        TAutoRow<unsigned char> held(it, 2);
        ASSERT_TRUE(held.IsValid());
        first = held[0] = static_cast<uint8_t>(held[0] + 1);
    }
    TAutoRowConst<unsigned char> again(it, 2);
    EXPECT_EQ(again[0], first);
    TAutoRowConst<unsigned char> missing(it, 9);
    EXPECT_FALSE(missing.IsValid());
}

TEST(Rows, ThreadsReadDistinctRowsAtOnce) {
    CRowIterator it;
    qgdi::test::MakeRandomImage(it, keFormatBGRA, 64, 512, 11);
    std::vector<std::vector<uint8_t>> expected;
    for (int y = 0; y < it.GetHeight(); ++y) expected.push_back(qgdi::test::PackedRow(it, y));
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int round = 0; round < 20; ++round)
                for (int y = t; y < it.GetHeight(); y += 4) {
                    const uint8_t* row = nullptr;
                    if (std::as_const(it).GetRow(row, y).IsError() ||
                        std::memcmp(row, expected[size_t(y)].data(), expected[size_t(y)].size()) != 0)
                        ++mismatches;
                    it.ReleaseRow(y).Ignore();
                }
        });
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(mismatches.load(), 0);
}

TEST(Rows, EveryRowEventReachesTheStatistics) {
    CQMemStats& stats = CQMemManager::GetMgr().GetStats();
    CRowIterator it;
    qgdi::test::MakeRandomImage(it, keFormatBGR, 8, 8, 1);
    const SQMemEventTotals before = stats.GetTotals();
    for (int y = 0; y < 8; ++y) {
        const uint8_t* row = nullptr;
        ASSERT_FALSE(it.GetRow(row, y).IsError());
        it.ReleaseRow(y).Ignore();
    }
    ASSERT_FALSE(it.SetPixelFormat(keFormatBGRA, keImageModifyReadOnly).IsError());
    ASSERT_FALSE(it.SetChannelAccess(keChannelRed, keImageModifyReadOnly).IsError());
    const uint8_t* row = nullptr;
    ASSERT_FALSE(it.GetRow(row, 0).IsError());
    it.ReleaseRow(0).Ignore();
    it.ReleaseAllRows().Ignore();
    CQmmBinPtr dib;
    ASSERT_FALSE(it.CopyToDIB(dib).IsError());
    const SQMemEventTotals after = stats.GetTotals();
    auto delta = [&](EQMemEvent e) { return after.count[e] - before.count[e]; };
    EXPECT_GE(delta(keIteratorGetRow), 9u);
    EXPECT_GE(delta(keIteratorReleaseRow), 9u);
    EXPECT_GE(delta(keIteratorGetRowCopyBytes), 1u);
    EXPECT_GE(after.amount[keIteratorGetRowCopyBytes] - before.amount[keIteratorGetRowCopyBytes], 8u);
    EXPECT_GE(delta(keIteratorPixelFormatChange), 1u);
    EXPECT_GE(delta(keIteratorModeChange), 1u);
    EXPECT_GE(delta(keIteratorChannelAccessChange), 1u);
    EXPECT_GE(delta(keIteratorReleaseAllRows), 1u);
    EXPECT_GE(delta(keIteratorCopy), 1u);
    EXPECT_GE(delta(keNewDib), 1u);
}

TEST(Rows, PixelsByCoordinates) {
    for (EQPixelFormat f : qgdi::test::AllFormats()) {
        CRowIterator it;
        qgdi::test::MakeRandomImage(it, f, 9, 3, 2);
        // The nearest palette entry of an indexed image is the colour itself.
        const CColorRef colour = CQPixelFormat(f).IsIndexedColor() ? it.GetIndexedColor(1)
                                                                   : CColorRef(10, 200, 30, 255);
        ASSERT_FALSE(it.SetPixel(7, 2, colour).IsError()) << qgdi::test::FormatName(f);
        CColorRef back;
        ASSERT_FALSE(it.GetPixel(7, 2, back).IsError());
        const bool alpha = CQPixelFormat(f).IsAlphaChannelPresent();
        if (CQPixelFormat(f).IsGreyscale()) EXPECT_EQ(back.GetGrey8(), colour.GetGrey8()) << qgdi::test::FormatName(f);
        else EXPECT_EQ(back.GetRGBA() | (alpha ? 0 : 0xFF000000u), colour.GetRGBA()) << qgdi::test::FormatName(f);
        EXPECT_EQ(it.SetPixel(9, 0, colour).Ignore(), keQuorErrFailed);
    }
}

}  // namespace

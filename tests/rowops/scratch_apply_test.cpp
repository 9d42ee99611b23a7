// Scratch memory of converted, widened and bit-shifted rows: frames nest,
// the arena stops growing once it has met the widest row, and memory that
// cannot be had is a code (102) and a log line, never a silently skipped
// row. Also the byte-at-a-time moves of 1- and 4-bit spans at any offset.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "QuorRender/internal/RowOpScratch.h"
#include "rowops_test_util.h"

namespace {

using namespace qgdi::test;
using qgdi::rowop::CScratchFrame;

// Every take fails while one of these lives.
struct SFailingScratch {
    SFailingScratch() { qgdi::rowop::SetScratchFailures(INT_MAX); }
    ~SFailingScratch() { qgdi::rowop::SetScratchFailures(0); }
};

std::vector<std::string> g_log;
void Collect(EQLogLevel, const char* line, void*) { g_log.emplace_back(line); }

// Log lines at warning level and above while one of these lives.
struct SLogCapture {
    EQLogLevel level = QGDI_GetLogLevel();
    SLogCapture() {
        g_log.clear();
        QGDI_SetLogLevel(keLogWarning);
        QGDI_SetLogSink(&Collect, nullptr);
    }
    ~SLogCapture() {
        QGDI_SetLogSink(nullptr, nullptr);
        QGDI_SetLogLevel(level);
    }
    bool Saw(const char* text) const {
        for (const auto& l : g_log)
            if (l.find(text) != std::string::npos) return true;
        return false;
    }
};

TEST(Scratch, InnerFramesNeverDisturbWhatOuterFramesHold) {
    qgdi::rowop::ReleaseScratch();
    CScratchFrame outer;
    uint8_t* a = outer.Take(1000);
    ASSERT_NE(a, nullptr);
    std::fill(a, a + 1000, uint8_t(0x5A));
    {
        // Larger than the arena while the outer frame holds part of it.
        CScratchFrame inner;
        uint8_t* b = inner.Take(1 << 20);
        ASSERT_NE(b, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(b) % 64, 0u);
        std::fill(b, b + (1 << 20), uint8_t(0xC3));
        uint8_t* c = inner.Take(10);
        ASSERT_NE(c, nullptr);
        EXPECT_TRUE(c + 10 <= b || c >= b + (1 << 20));
    }
    for (int i = 0; i < 1000; ++i) ASSERT_EQ(a[i], 0x5A) << i;
}

TEST(Scratch, ArenaGrowsToTheWholeNeedOnceAndThenHoldsIt) {
    qgdi::rowop::ReleaseScratch();
    {
        CScratchFrame outer;
        ASSERT_NE(outer.Take(5000), nullptr);
        CScratchFrame inner;
        ASSERT_NE(inner.Take(300000), nullptr);
    }
    // The next time the arena is empty it takes both at once.
    {
        CScratchFrame outer;
        ASSERT_NE(outer.Take(5000), nullptr);
    }
    const size_t grown = qgdi::rowop::ScratchCapacity();
    EXPECT_GE(grown, 305000u);
    for (int i = 0; i < 10; ++i) {
        CScratchFrame outer;
        ASSERT_NE(outer.Take(5000), nullptr);
        CScratchFrame inner;
        ASSERT_NE(inner.Take(300000), nullptr);
    }
    EXPECT_EQ(qgdi::rowop::ScratchCapacity(), grown);
}

TEST(Scratch, ConvertedRowsStopAllocatingAfterTheFirst) {
    qgdi::rowop::ReleaseScratch();
    CRowOpDefRowFill fill(0xFF336699u);
    Bytes row(12 * 700);
    CRowOpData data;
    data.eDstFormat = keFormatBGR_f32;
    data.nCount = 700;
    data.pDst = row.data();
    const CRowOp op(&fill, data);
    ASSERT_TRUE(op.IsConverted());
    op(data);
    const size_t capacity = qgdi::rowop::ScratchCapacity();
    EXPECT_GE(capacity, 700u * 8);
    for (int y = 0; y < 50; ++y) ASSERT_FALSE(op.Run(data).IsError());
    EXPECT_EQ(qgdi::rowop::ScratchCapacity(), capacity);
}

// ---- Memory that cannot be had

struct FailureCase {
    const char* name;
    EQPixelFormat format;
    bool needsScratch;  // converted or widened
};

class ScratchFailure : public testing::TestWithParam<FailureCase> {};

TEST_P(ScratchFailure, RunSaysOutOfMemoryAndLeavesTheRow) {
    const FailureCase& c = GetParam();
    CRowOpDefRowFill fill(0xFF00FF00u, 1);
    constexpr int n = 37;
    const Bytes in(RowBytes(c.format, n), 0);
    Bytes row = in;
    CRowOpData data;
    data.eDstFormat = c.format;
    data.nCount = n;
    data.pDst = row.data();
    const CRowOp op(&fill, data);
    ASSERT_EQ(op.IsConverted(), c.needsScratch);
    {
        SFailingScratch failing;
        const CErrorAutoThrow result = op.Run(data);
        EXPECT_EQ(result.PeekCode(), c.needsScratch ? keQuorErrOutOfMemory : keQuorErrSuccess);
        (void)result.Ignore();
        EXPECT_EQ(row == in, c.needsScratch);
        row = in;
        // The plain call keeps its form and says it in the log.
        SLogCapture log;
        op(data);
        EXPECT_EQ(log.Saw("left unchanged"), c.needsScratch);
        // A span reports like a run.
        EXPECT_EQ(op.Span(data, 100) == keQuorErrOutOfMemory, c.needsScratch);
    }
    EXPECT_FALSE(op.Run(data).IsError());
    EXPECT_NE(row, in);
}

TEST_P(ScratchFailure, ApplyReportsOutOfMemoryInsteadOfSkippingRows) {
    const FailureCase& c = GetParam();
    CRowIterator img;
    if (CQPixelFormat(c.format).IsIndexedColor()) {
        const RGBQUAD palette[16] = {};
        const int bits = CQPixelFormat(c.format).GetBitsPerPixel();
        ASSERT_FALSE(img.CreateIndexed(40, 30, bits, palette, 1 << bits).IsError());
    } else {
        ASSERT_FALSE(img.Create(40, 30, c.format).IsError());
    }
    CRowOpDefRowFill fill(0xFF00FF00u, 1);
    auto untouched = [&] {
        for (int y = 0; y < 30; ++y) {
            const uint8_t* row = nullptr;
            EXPECT_FALSE(img.GetRow(row, y).IsError());
            for (int i = 0; i < img.GetBytesPerRow(); ++i)
                if (row[i] != 0) {
                    img.ReleaseRow(y).Ignore();
                    return false;
                }
            img.ReleaseRow(y).Ignore();
        }
        return true;
    };
    {
        SFailingScratch failing;
        SLogCapture log;
        const CErrorAutoThrow result = PixelIterator_ApplyRowOpChecked(fill, img);
        EXPECT_EQ(result.PeekCode(), c.needsScratch ? keQuorErrOutOfMemory : keQuorErrSuccess);
        (void)result.Ignore();
        EXPECT_EQ(untouched(), c.needsScratch);
        EXPECT_EQ(log.Saw("out of memory"), c.needsScratch);
        // The bool form keeps its contract: false only when cancelled.
        EXPECT_TRUE(PixelIterator_ApplyRowOp(fill, img));
    }
    EXPECT_FALSE(PixelIterator_ApplyRowOpChecked(fill, img).IsError());
    EXPECT_FALSE(untouched());
}

INSTANTIATE_TEST_SUITE_P(Bindings, ScratchFailure,
                         testing::Values(FailureCase{"Direct", keFormatBGRA, false},
                                         FailureCase{"Converted", keFormatBGR_f32, true},
                                         FailureCase{"ConvertedU16", keFormatGreyA_f32, true},
                                         FailureCase{"Widened", keFormatIndex4, true},
                                         FailureCase{"WidenedBits", keFormatIndex1, true}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(ScratchFailure, ShiftedSubByteSpansReportToo) {
    const RGBQUAD palette[16] = {};
    CRowIterator dst, src;
    ASSERT_FALSE(dst.CreateIndexed(21, 3, 4, palette, 16).IsError());
    ASSERT_FALSE(src.CreateIndexed(21, 3, 4, palette, 16).IsError());
    CRowOpDefRowCopyIndexed copy;  // a direct kernel: only the shifted span needs scratch
    const RECT d{3, 0, 20, 3}, s{1, 0, 21, 3};
    SFailingScratch failing;
    const CErrorAutoThrow result = PixelIterator_ApplyRowOpChecked(copy, dst, src, &d, &s);
    EXPECT_EQ(result.PeekCode(), keQuorErrOutOfMemory);
    (void)result.Ignore();
}

// ---- Packed spans at any bit offset

struct BitsCase {
    int bits;  // 1 or 4
    int dstLeft, srcLeft, width;
};

std::vector<BitsCase> BitsCases() {
    std::vector<BitsCase> out;
    for (int bits : {1, 4})
        for (int dstLeft : {0, 1, 3, 7, 8, 9})
            for (int srcLeft : {0, 2, 5, 8})
                for (int width : {1, 2, 6, 7, 8, 9, 15, 16, 17, 31}) out.push_back({bits, dstLeft, srcLeft, width});
    return out;
}

class PackedSpan : public testing::TestWithParam<BitsCase> {};

int IndexAt(const CRowIterator& it, int x, int y) {
    const uint8_t* row = nullptr;
    EXPECT_FALSE(it.GetRow(row, y).IsError());
    const int bpp = it.GetBPP(), perByte = 8 / bpp;
    const int v = (row[x / perByte] >> (8 - bpp * (x % perByte + 1))) & ((1 << bpp) - 1);
    it.ReleaseRow(y).Ignore();
    return v;
}

TEST_P(PackedSpan, CopyLandsExactlyOnItsBits) {
    const BitsCase& c = GetParam();
    const RGBQUAD palette[16] = {};
    constexpr int kWidth = 48;
    CRowIterator dst, src;
    ASSERT_FALSE(dst.CreateIndexed(kWidth, 2, c.bits, palette, 1 << c.bits).IsError());
    ASSERT_FALSE(src.CreateIndexed(kWidth, 2, c.bits, palette, 1 << c.bits).IsError());
    std::mt19937 rng(static_cast<uint32_t>(c.bits * 10000 + c.dstLeft * 1000 + c.srcLeft * 100 + c.width));
    for (CRowIterator* it : {&dst, &src})
        for (int y = 0; y < 2; ++y) {
            uint8_t* row = nullptr;
            ASSERT_FALSE(it->GetRow(row, y).IsError());
            for (int i = 0; i < it->GetBytesPerRow(); ++i) row[i] = static_cast<uint8_t>(rng());
            it->ReleaseRow(y).Ignore();
        }
    std::vector<int> before(2 * kWidth);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < kWidth; ++x) before[y * kWidth + x] = IndexAt(dst, x, y);
    CRowOpDefRowCopyIndexed copy;
    const RECT d{c.dstLeft, 0, c.dstLeft + c.width, 2}, s{c.srcLeft, 0, kWidth, 2};
    ASSERT_FALSE(PixelIterator_ApplyRowOpChecked(copy, dst, src, &d, &s).IsError());
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < kWidth; ++x) {
            const bool inside = x >= c.dstLeft && x < c.dstLeft + c.width;
            ASSERT_EQ(IndexAt(dst, x, y), inside ? IndexAt(src, x - c.dstLeft + c.srcLeft, y) : before[y * kWidth + x])
                << "x " << x << " y " << y;
        }
}

INSTANTIATE_TEST_SUITE_P(Offsets, PackedSpan, testing::ValuesIn(BitsCases()), [](const auto& info) {
    const BitsCase& c = info.param;
    return "bits" + std::to_string(c.bits) + "_dst" + std::to_string(c.dstLeft) + "_src" + std::to_string(c.srcLeft) +
           "_w" + std::to_string(c.width);
});

}  // namespace

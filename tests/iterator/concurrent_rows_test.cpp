// Converted rows taken by several threads at once: whatever the threads and
// their order, the bytes read and written back are those of one thread, and a
// row shared by threads follows the same rules as a row held twice by one.
#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <atomic>
#include <latch>
#include <random>
#include <set>
#include <thread>

#include "iterator_test_util.h"
#include "qdibcore/Source/internal/RowIteratorState.h"

namespace {

constexpr int kThreads = 4;

// A presentation: the native format and what the iterator hands out.
struct SPresentation {
    const char* name;
    EQPixelFormat native;
    EQPixelFormat presented;  // None: the native format
    EQChannelSet channels;
    bool packed = false;  // one packed bitmap (CDibIterator) rather than bands
};

const SPresentation kPresentations[] = {
    {"BGRasBGRA", keFormatBGR, keFormatBGRA, keChannelSetAll},
    {"Index4asBGRA", keFormatIndex4, keFormatBGRA, keChannelSetAll},
    {"Grey16asGrey", keFormatGrey_u16, keFormatGrey, keChannelSetAll},
    {"RedOfBGRA", keFormatBGRA, keFormatNone, keChannelSetRed},
    {"AlphaOfBGRAasBGRA16", keFormatBGRA, keFormatBGRA_u16, keChannelSetAlpha},  // both steps
    {"PackedIndex1asGrey", keFormatIndex1, keFormatGrey, keChannelSetAll, true},
};

void Present(CRowIterator& it, const SPresentation& p, EImageModifyMode mode = keImageModifyReadWrite) {
    if (p.presented != keFormatNone) {
        ASSERT_FALSE(it.SetPixelFormat(p.presented, mode).IsError());
    }
    if (p.channels != keChannelSetAll) {
        ASSERT_FALSE(it.SetChannelAccess(p.channels, mode).IsError());
    }
    ASSERT_TRUE(it.IsConverting());
}

std::vector<uint8_t> NativeBytes(const CRowIterator& it) {
    const size_t bytes = (size_t(CRowIterator::GetBPP(it.GetNativeFormat())) * size_t(it.GetWidth()) + 7) / 8;
    std::vector<uint8_t> out;
    for (int y = 0; y < it.GetHeight(); ++y) {
        const uint8_t* row = nullptr;
        if (it.GetNativeRow(row, y).IsError()) return {};
        out.insert(out.end(), row, row + bytes);
        it.ReleaseNativeRow(y).Ignore();
    }
    return out;
}

uint64_t Fnv(const uint8_t* p, size_t n) {
    uint64_t h = 14695981039346656037ull;
    for (size_t i = 0; i < n; ++i) h = (h ^ p[i]) * 1099511628211ull;
    return h;
}

// Row y's work: a span that differs from row to row (odd starts put 4-bit
// spans inside a byte), taken twice so that the row is shared, read, changed
// and given back. What was read goes to reads[y].
void WorkOnRow(CRowIterator& it, int y, std::vector<uint64_t>& reads, std::atomic<int>& failures) {
    const int x = y % 3, count = it.GetWidth() - x - y % 2;
    uint8_t* row = nullptr;
    uint8_t* again = nullptr;
    if (it.GetRow(row, y, x, count).IsError() || it.GetRow(again, y, x, count).IsError() || row != again) {
        ++failures;
        return;
    }
    const size_t bytes = (size_t(it.GetBPP()) * size_t(count) + 7) / 8;
    reads[size_t(y)] = Fnv(row, bytes);
    for (size_t i = 0; i < bytes; ++i) row[i] = static_cast<uint8_t>(row[i] * 5 + y + i);
    it.ReleaseRow(y).Ignore();
    it.ReleaseRow(y).Ignore();
}

enum class ERun { OneThread, StdThreads, OpenMP };

struct SOutcome {
    std::vector<uint64_t> reads;
    std::vector<uint8_t> native;
};

SOutcome RunRows(const SPresentation& p, ERun how) {
    CRowIterator bands;
    CDibIterator dib;
    CRowIterator& it = p.packed ? dib : bands;
    qgdi::test::MakeRandomImage(it, p.native, 61, 150, 21);
    Present(it, p);
    SOutcome out;
    out.reads.assign(size_t(it.GetHeight()), 0);
    std::atomic<int> failures{0};
    const int height = it.GetHeight();
    switch (how) {
    case ERun::OneThread:
        for (int y = 0; y < height; ++y) WorkOnRow(it, y, out.reads, failures);
        break;
    case ERun::StdThreads: {
        // Neighbouring rows on different threads: adjacent entries change at once.
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back([&, t] {
                for (int y = t; y < height; y += kThreads) WorkOnRow(it, y, out.reads, failures);
            });
        for (std::thread& t : threads) t.join();
        break;
    }
    case ERun::OpenMP:
#pragma omp parallel for schedule(dynamic, 1) num_threads(kThreads)
        for (int y = 0; y < height; ++y) WorkOnRow(it, y, out.reads, failures);
        break;
    }
    EXPECT_EQ(failures.load(), 0);
    EXPECT_FALSE(it.SetPixelFormat(keFormatNone).IsError()) << "a row is still held";
    out.native = NativeBytes(it);
    return out;
}

class ConcurrentRows : public ::testing::TestWithParam<SPresentation> {};

TEST_P(ConcurrentRows, ThreadsOnDistinctRowsGiveTheBytesOfOneThread) {
    const SOutcome one = RunRows(GetParam(), ERun::OneThread);
    ASSERT_FALSE(one.native.empty());
    for (ERun how : {ERun::StdThreads, ERun::OpenMP}) {
        const SOutcome many = RunRows(GetParam(), how);
        EXPECT_EQ(many.reads, one.reads) << static_cast<int>(how);
        EXPECT_EQ(many.native, one.native) << static_cast<int>(how);
    }
}

INSTANTIATE_TEST_SUITE_P(Presentations, ConcurrentRows, ::testing::ValuesIn(kPresentations),
                         [](const auto& info) { return std::string(info.param.name); });

// Threads holding one row with one span share one buffer; the row is written
// back once, at the last release, with what every thread wrote; another span
// is refused while the row is held and served once it is not.
TEST(ConcurrentRowsShared, SameSpanIsCountedOtherSpanFails) {
    CRowIterator it;
    qgdi::test::MakeRandomImage(it, keFormatBGR, 16, 8, 4);
    ASSERT_FALSE(it.SetPixelFormat(keFormatBGRA).IsError());
    const std::vector<uint8_t> before = NativeBytes(it);
    constexpr int kRow = 5, kX = 2, kCount = 7;
    std::latch taken(kThreads), written(kThreads), othersReleased(kThreads - 1);
    std::vector<uint8_t*> rows(kThreads, nullptr);
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            if (it.GetRow(rows[size_t(t)], kRow, kX, kCount).IsError()) ++failures;
            taken.arrive_and_wait();
            if (rows[size_t(t)] != rows[0]) ++failures;
            rows[size_t(t)][4 * t] = static_cast<uint8_t>(0x40 + t);  // blue of pixel t, one byte per thread
            written.arrive_and_wait();
            if (t > 0) {
                it.ReleaseRow(kRow).Ignore();
                othersReleased.count_down();
                return;
            }
            othersReleased.wait();
            // Still held once: nothing written back, and another span is refused.
            const uint8_t* native = nullptr;
            if (it.GetNativeRow(native, kRow).IsError() || !std::equal(native, native + 48, before.begin() + kRow * 48))
                ++failures;
            it.ReleaseNativeRow(kRow).Ignore();
            const uint8_t* other = nullptr;
            if (std::as_const(it).GetRow(other, kRow, 0, kCount).Ignore() != keQuorErrFailed || other) ++failures;
            it.ReleaseRow(kRow).Ignore();
        });
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(failures.load(), 0);
    const uint8_t* row = nullptr;
    ASSERT_FALSE(std::as_const(it).GetRow(row, kRow, 0, kCount).IsError());  // the other span, now free
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(row[4 * (kX + t)], 0x40 + t) << t;
    it.ReleaseRow(kRow).Ignore();
}

// Many threads on few rows: users of a row wait while it is converted or
// written back by another, and read-write rows left unchanged come back as
// they were.
TEST(ConcurrentRowsShared, ContendedRowsStayConsistent) {
    CRowIterator it;
    qgdi::test::MakeRandomImage(it, keFormatBGR, 200, 4, 6);
    const std::vector<uint8_t> before = NativeBytes(it);
    ASSERT_FALSE(it.SetPixelFormat(keFormatBGRA).IsError());
    std::vector<std::vector<uint8_t>> expected;
    for (int y = 0; y < it.GetHeight(); ++y) expected.push_back(qgdi::test::PackedRow(it, y));
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            std::mt19937 rng{uint32_t(t)};
            for (int i = 0; i < 3000; ++i) {
                const int y = int(rng() % 4);
                uint8_t* row = nullptr;
                if (it.GetRow(row, y).IsError() || !std::equal(row, row + 800, expected[size_t(y)].begin())) ++failures;
                if (row) it.ReleaseRow(y).Ignore();
            }
        });
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_FALSE(it.SetPixelFormat(keFormatNone).IsError());
    EXPECT_EQ(NativeBytes(it), before);
}

// The spare buffer is kept per thread: each thread's row loop reuses one buffer.
TEST(ConcurrentRowsShared, EachThreadsRowLoopAllocatesOnce) {
    CRowIterator it;
    qgdi::test::MakeRandomImage(it, keFormatIndex8, 33, 64, 2);
    ASSERT_FALSE(it.SetPixelFormat(keFormatBGRA_u16, keImageModifyReadOnly).IsError());
    std::vector<std::set<const uint8_t*>> buffers(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (int round = 0; round < 3; ++round)
                for (int y = t; y < it.GetHeight(); y += kThreads) {
                    const uint8_t* row = nullptr;
                    if (std::as_const(it).GetRow(row, y).IsError()) continue;
                    buffers[size_t(t)].insert(row);
                    it.ReleaseRow(y).Ignore();
                }
        });
    for (std::thread& t : threads) t.join();
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(buffers[size_t(t)].size(), 1u) << t;
}

// Row operations over converting iterators run on several threads and give
// what one thread gives.
TEST(ConcurrentRowsShared, RowOperationsOverConvertingIterators) {
    auto run = [](int threads) {
        const int before = omp_get_max_threads();
        omp_set_num_threads(threads);
        CRowIterator img, green, src;
        qgdi::test::MakeRandomImage(img, keFormatBGR, 97, 120, 3);
        qgdi::test::MakeRandomImage(green, keFormatBGRA, 97, 120, 4);
        qgdi::test::MakeRandomImage(src, keFormatGrey_u16, 90, 100, 5);
        EXPECT_FALSE(img.SetPixelFormat(keFormatBGRA).IsError());
        EXPECT_FALSE(green.SetChannelAccess(keChannelGreen).IsError());
        EXPECT_FALSE(src.SetPixelFormat(keFormatBGRA, keImageModifyReadOnly).IsError());
        CRowOpDefRowKodalith threshold(uint8_t(100));
        EXPECT_TRUE(PixelIterator_ApplyRowOp(threshold, img));
        EXPECT_TRUE(PixelIterator_ApplyRowOp(threshold, green));
        const RECT part{10, 7, 80, 90};
        EXPECT_TRUE(PixelIterator_ApplyRowOp(QGDI_GetRowCopyDef(), img, src, &part, nullptr));
        omp_set_num_threads(before);
        std::vector<uint8_t> out = NativeBytes(img), more = NativeBytes(green);
        out.insert(out.end(), more.begin(), more.end());
        return out;
    };
    const std::vector<uint8_t> one = run(1);
    ASSERT_FALSE(one.empty());
    EXPECT_EQ(run(kThreads), one);
}

// A converted row that finds no memory is a code, never a silently skipped
// row: from the iterator itself, and through the checked apply, which stops
// there; with memory again the same calls succeed.
TEST(ConvertedRowMemory, FailureIsReportedNotSkipped) {
    CRowIterator it;
    qgdi::test::MakeRandomImage(it, keFormatBGR, 9, 6, 11);
    ASSERT_FALSE(it.SetPixelFormat(keFormatBGRA).IsError());
    uint8_t* row = nullptr;
    qgdi::iter::SetRowBufferFailures(1);
    EXPECT_EQ(it.GetRow(row, 2), keQuorErrOutOfMemory);
    ASSERT_FALSE(it.GetRow(row, 2).IsError());
    it.ReleaseRow(2).Ignore();

    CRowOpDefRowFill fill(0xFF336699u);
    qgdi::iter::SetRowBufferFailures(1);
    EXPECT_EQ(PixelIterator_ApplyRowOpChecked(fill, it), keQuorErrOutOfMemory);
    qgdi::iter::SetRowBufferFailures(0);
    ASSERT_FALSE(PixelIterator_ApplyRowOpChecked(fill, it).IsError());
    ASSERT_FALSE(it.SetPixelFormat(keFormatNone).IsError());
    for (int y = 0; y < it.GetHeight(); ++y) {
        const uint8_t* p = nullptr;
        ASSERT_FALSE(it.GetRow(p, y).IsError());
        for (int x = 0; x < it.GetWidth(); ++x)
            EXPECT_EQ(p[3 * x] | p[3 * x + 1] << 8 | p[3 * x + 2] << 16, 0x996633) << x << "," << y;
        it.ReleaseRow(y).Ignore();
    }
}

}  // namespace

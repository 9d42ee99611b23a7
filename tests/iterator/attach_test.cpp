// Attaching to packed bitmaps: storage order, strides, pixel offsets,
// palettes, rectangles, and refusal of malformed bitmaps.
#include <gtest/gtest.h>

#include <climits>
#include <sstream>
#include <tuple>
#include <utility>

#include "iterator_test_util.h"

namespace {
using qgdi::test::MakePackedDib;

uint32_t Pattern(int x, int y) { return static_cast<uint32_t>((x * 7 + y * 13) & 0xFF) * 0x010101u; }

TEST(Attach, BottomUpAndTopDownGiveTheSameRows) {
    for (int bits : {8, 24, 32}) {
        const std::vector<RGBQUAD> palette = bits == 8 ? qgdi::test::RandomPalette(256, 1) : std::vector<RGBQUAD>{};
        CQmmBinPtr up = MakePackedDib(33, 9, bits, false, palette, Pattern);
        CQmmBinPtr down = MakePackedDib(33, 9, bits, true, palette, Pattern);
        CDibIterator a, b;
        ASSERT_FALSE(a.Attach(up.p).IsError());
        ASSERT_FALSE(b.Attach(down.p).IsError());
        EXPECT_TRUE(a.IsEquivalent(b)) << bits;
        for (int y : {0, 8}) EXPECT_EQ(qgdi::test::PackedRow(a, y), qgdi::test::PackedRow(b, y));
        EXPECT_EQ(qgdi::test::PackedRow(a, 0)[0], Pattern(0, 0) & 0xFF);
    }
}

TEST(Attach, PackedFormatsKeepStrideAndPixelOffset) {
    CQmmBinPtr one = MakePackedDib(1, 3, 1, false, {{0, 0, 0, 0}, {255, 255, 255, 0}},
                                   [](int, int y) { return y & 1u; });
    CDibIterator it;
    ASSERT_FALSE(it.Attach(one.p).IsError());
    // Rows are padded to 4 bytes.
    EXPECT_EQ(std::tuple(it.GetPixelFormat(), it.GetBytesPerRow(), it.GetBitmapSize()),
              std::tuple(keFormatIndex1, 1, 3u * 4u));
    CColorRef c;
    ASSERT_FALSE(it.GetPixel(0, 1, c).IsError());
    EXPECT_EQ(c.GetRed8(), 255);

    // A span from column 3 of a 4-bit image starts in the low nibble of byte 1.
    CQmmBinPtr four = MakePackedDib(10, 2, 4, true, qgdi::test::RandomPalette(16, 2),
                                    [](int x, int) { return uint32_t(x); });
    CDibIterator f;
    ASSERT_FALSE(f.Attach(four.p).IsError());
    const uint8_t* row = nullptr;
    int offset = -1;
    ASSERT_FALSE(f.GetRow(row, 0, 3, 4, &offset).IsError());
    EXPECT_EQ(std::tuple(offset, row[0] & 0x0F, row[1] >> 4), std::tuple(1, 3, 4));
    f.ReleaseRow(0).Ignore();

    // Attaching to a rectangle that starts at column 3 keeps the offset too.
    CDibIterator sub;
    const RECT rect{3, 0, 9, 2};
    ASSERT_FALSE(sub.Attach(four.p, &rect).IsError());
    EXPECT_EQ(std::pair(sub.GetPixelOffset(), sub.GetWidth()), std::pair(1, 6));
    for (int x = 0; x < 6; ++x) {
        ASSERT_FALSE(sub.GetPixel(x, 1, c).IsError());
        EXPECT_EQ(c, sub.GetIndexedColor(x + 3));
    }
}

TEST(Attach, PaletteRules) {
    struct SCase {
        int bits;
        uint32_t clrUsed;
        int paletteEntries;  // written after the header
        int expected;
    };
    const SCase cases[] = {{8, 0, 256, 256}, {8, 12, 12, 12}, {4, 0, 16, 16},
                           {1, 0, 2, 2},     {24, 0, 0, 0},   {24, 5, 5, 5}};
    for (const SCase& c : cases) {
        CQmmBinPtr dib = MakePackedDib(
            4, 2, c.bits, false, qgdi::test::RandomPalette(c.paletteEntries, 3), [](int, int) { return 0u; },
            c.clrUsed);
        CDibIterator it;
        ASSERT_FALSE(it.Attach(dib.p).IsError()) << c.bits << " " << c.clrUsed;
        EXPECT_EQ(it.GetPaletteCount(), c.expected);
    }
    // The grey test needs the whole ramp; then the palette is the ramp.
    std::vector<RGBQUAD> ramp(CDibIterator::sm_aoGreyPalette, CDibIterator::sm_aoGreyPalette + 256);
    CQmmBinPtr grey = MakePackedDib(4, 2, 8, false, ramp, [](int x, int) { return uint32_t(x); });
    CDibIterator g;
    ASSERT_FALSE(g.Attach(grey.p).IsError());
    EXPECT_EQ(std::pair(g.GetPixelFormat(), g.GetPaletteCount()), std::pair(keFormatGrey, 256));
}

TEST(Attach, RectangleAndOffset) {
    CQmmBinPtr dib = MakePackedDib(20, 10, 24, false, {}, Pattern);
    CDibIterator it;
    const RECT inside{105, 52, 115, 58};
    ASSERT_FALSE(it.Attach(dib.p, &inside, POINT{100, 50}).IsError());
    EXPECT_EQ(std::pair(it.GetWidth(), it.GetHeight()), std::pair(10, 6));
    EXPECT_EQ(qgdi::test::PackedRow(it, 0)[0], Pattern(5, 2) & 0xFF);
    EXPECT_TRUE(it.ContainsPoint(105, 52) && !it.ContainsPoint(115, 52));
    it.RemoveOffset();
    EXPECT_EQ(it.GetRect().left, 5);
    EXPECT_EQ(qgdi::test::PackedRow(it, 0)[0], Pattern(5, 2) & 0xFF);

    // A rectangle reaching outside the bitmap is refused and leaves the iterator usable.
    CDibIterator out;
    const RECT outside{15, 0, 21, 10};
    EXPECT_EQ(out.Attach(dib.p, &outside).Ignore(), keQuorErrFailed);
    EXPECT_FALSE(out.IsAttached());
    EXPECT_FALSE(out.Attach(dib.p).IsError());

    // Attaching to another iterator's rectangle: row 0 is its top row.
    CRowIterator view;
    const RECT part{2, 3, 6, 5};
    ASSERT_FALSE(view.Attach(out, &part).IsError());
    EXPECT_EQ(qgdi::test::PackedRow(view, 0)[0], Pattern(2, 3) & 0xFF);
}

TEST(Attach, ExplicitFormatMustMatchTheBitCount) {
    CQmmBinPtr dib = MakePackedDib(4, 2, 32, false, {}, [](int, int) { return 0x80402010u; });
    CDibIterator it;
    ASSERT_FALSE(it.Attach(dib.p, nullptr, POINT{0, 0}, keFormatBGRxA).IsError());
    EXPECT_EQ(it.GetPixelFormat(), keFormatBGRxA);
    CDibIterator wrong;
    EXPECT_EQ(wrong.Attach(dib.p, nullptr, POINT{0, 0}, keFormatBGR).Ignore(), keQuorErrFailed);
    EXPECT_FALSE(wrong.IsAttached());
}

// Each case corrupts one field of a valid 8-bit bitmap.
struct SMalformed {
    const char* name;
    void (*corrupt)(BITMAPINFOHEADER& h, size_t& length);
};

TEST(Attach, MalformedBitmapsAreRefusedAndLeaveTheIteratorUsable) {
    const SMalformed cases[] = {
        {"negative width", [](BITMAPINFOHEADER& h, size_t&) { h.biWidth = -8; }},
        {"zero height", [](BITMAPINFOHEADER& h, size_t&) { h.biHeight = 0; }},
        {"huge size",
         [](BITMAPINFOHEADER& h, size_t&) {
             h.biWidth = INT_MAX;
             h.biHeight = INT_MAX;
         }},
        {"overflowing height", [](BITMAPINFOHEADER& h, size_t&) { h.biHeight = INT_MIN; }},
        {"bit count 7", [](BITMAPINFOHEADER& h, size_t&) { h.biBitCount = 7; }},
        {"bit count 48", [](BITMAPINFOHEADER& h, size_t&) { h.biBitCount = 48; }},
        {"bit count 0", [](BITMAPINFOHEADER& h, size_t&) { h.biBitCount = 0; }},
        {"257 colours", [](BITMAPINFOHEADER& h, size_t&) { h.biClrUsed = 257; }},
        {"compressed", [](BITMAPINFOHEADER& h, size_t&) { h.biCompression = BI_RLE8; }},
        {"truncated pixels", [](BITMAPINFOHEADER&, size_t& n) { n -= 5; }},
        {"truncated palette", [](BITMAPINFOHEADER&, size_t& n) { n = 40 + 100; }},
        {"truncated header", [](BITMAPINFOHEADER&, size_t& n) { n = 39; }},
    };
    for (const SMalformed& c : cases) {
        CQmmBinPtr good = MakePackedDib(8, 4, 8, false, qgdi::test::RandomPalette(256, 4), Pattern);
        std::vector<uint8_t> bytes(good.Length());
        {
            CLockAccessor lock(good);
            std::memcpy(bytes.data(), lock.Lock(QMM_HERE), bytes.size());
        }
        BITMAPINFOHEADER h;
        std::memcpy(&h, bytes.data(), 40);
        size_t length = bytes.size();
        c.corrupt(h, length);
        std::memcpy(bytes.data(), &h, 40);
        CQmmBinPtr bad = CQmmBinPtr::Adopt(QMM_AllocEX(length, GHND));
        {
            CLockAccessor lock(bad);
            std::memcpy(lock.Lock(QMM_HERE), bytes.data(), length);
        }
        CDibIterator it;
        const QuorErrorCode code = it.Attach(bad.p).Ignore();
        EXPECT_TRUE(code == keQuorErrFailed || code == keQuorErrOutOfMemory) << c.name << " gave " << code;
        EXPECT_FALSE(it.IsAttached()) << c.name;
        EXPECT_FALSE(it.Attach(good.p).IsError()) << c.name;
    }
}

TEST(Attach, WrongAttachStateGives110) {
    CDibIterator it;
    const uint8_t* row = nullptr;
    CColorRef c;
    CQmmBinPtr dib;
    QMMHANDLE handle = QMM_NULL;
    EXPECT_EQ(it.GetRow(row, 0).Ignore(), keQuorErrIteratorState);
    EXPECT_EQ(it.ReleaseRow(0).Ignore(), keQuorErrIteratorState);
    EXPECT_EQ(it.GetPixel(0, 0, c).Ignore(), keQuorErrIteratorState);
    EXPECT_EQ(it.SetPixel(0, 0, c).Ignore(), keQuorErrIteratorState);
    EXPECT_EQ(it.Detach().Ignore(), keQuorErrIteratorState);
    EXPECT_EQ(it.CopyToDIB(dib).Ignore(), keQuorErrIteratorState);
    EXPECT_EQ(it.CopyToDIBHandle(handle).Ignore(), keQuorErrIteratorState);
    EXPECT_EQ(it.SetPixelFormat(keFormatBGRA).Ignore(), keQuorErrIteratorState);
    EXPECT_EQ(it.Fill(c).Ignore(), keQuorErrIteratorState);
    EXPECT_FALSE(QGDI_ValidPixelRow(&it, 0));
    EXPECT_EQ(QGDI_GetPixelRow(static_cast<const CRowIterator*>(&it), 0), nullptr);

    ASSERT_FALSE(it.Create(4, 4, keFormatBGR).IsError());
    CQmmBinPtr other = MakePackedDib(4, 4, 24, false, {}, Pattern);
    EXPECT_EQ(it.Attach(other.p).Ignore(), keQuorErrIteratorState);
    EXPECT_EQ(it.Create(4, 4, keFormatBGR).Ignore(), keQuorErrIteratorState);
    std::stringstream empty;
    EXPECT_EQ(it.StreamIn(empty).Ignore(), keQuorErrIteratorState);
    EXPECT_FALSE(it.Detach().IsError());
    EXPECT_FALSE(it.IsAttached());
}

TEST(Attach, HandleAttachKeepsTheCallersBlock) {
    CQmmBinPtr dib = MakePackedDib(6, 3, 24, false, {}, Pattern);
    QMMHANDLE h = dib.Handle();
    {
        CRowIterator it;
        ASSERT_FALSE(it.Attach(h).IsError());
        EXPECT_EQ(it.GetWidth(), 6);
        // The block is locked while attached: it cannot be freed under the iterator.
        EXPECT_GT(_QMM_GlobalLockCount(h), 0);
    }
    EXPECT_EQ(_QMM_GlobalLockCount(h), 0);
    EXPECT_TRUE(_QMM_IsValidHandle(h));
}

}  // namespace

// Row converters against hand-worked values, and the converted-row machinery.
#include <gtest/gtest.h>

#include "iterator_test_util.h"

namespace {

const RGBQUAD kPalette[4] = {{0, 0, 0, 0}, {255, 255, 255, 0}, {0, 0, 250, 0}, {1, 2, 3, 0}};

std::vector<uint8_t> Bytes(std::initializer_list<int> v) { return std::vector<uint8_t>(v.begin(), v.end()); }
template <class T>
std::vector<uint8_t> Raw(std::initializer_list<T> v) {
    std::vector<uint8_t> out(v.size() * sizeof(T));
    std::memcpy(out.data(), std::data(v), out.size());
    return out;
}

struct SConverterCase {
    const char* rule;
    EQPixelFormat from, to;
    std::vector<uint8_t> in, out;
    int count;
};

// Worked by hand from the rules: premultiply c a / 255 rounded, straighten
// c 255 / a rounded, grey (77 R + 151 G + 28 B) >> 8, 8 to 16 bits x 257,
// 16 to 8 bits rounded, float to 8 bits truncating v x 255.9999.
const SConverterCase kCases[] = {
    {"opaque alpha added", keFormatBGR, keFormatBGRA, Bytes({10, 20, 30}), Bytes({10, 20, 30, 255}), 1},
    {"alpha dropped", keFormatBGRA, keFormatBGR, Bytes({10, 20, 30, 40}), Bytes({10, 20, 30}), 1},
    {"premultiplied", keFormatBGRA, keFormatBGRxA, Bytes({200, 100, 50, 128}), Bytes({100, 50, 25, 128}), 1},
    {"straightened", keFormatBGRxA, keFormatBGRA, Bytes({100, 50, 25, 128}), Bytes({199, 100, 50, 128}), 1},
    {"zero alpha straightens to black", keFormatBGRxA, keFormatBGRA, Bytes({0, 0, 0, 0}), Bytes({0, 0, 0, 0}), 1},
    {"grey of colour", keFormatBGRA, keFormatGrey, Bytes({10, 20, 30, 99}), Bytes({21}), 1},
    {"grey with opaque alpha", keFormatBGR, keFormatGreyA, Bytes({10, 20, 30}), Bytes({21, 255}), 1},
    {"grey spread", keFormatGrey, keFormatBGR, Bytes({77}), Bytes({77, 77, 77}), 1},
    {"grey and alpha spread", keFormatGreyA, keFormatBGRA, Bytes({77, 9}), Bytes({77, 77, 77, 9}), 1},
    {"8 to 16 bits", keFormatGrey, keFormatGrey_u16, Bytes({0x12}), Raw<uint16_t>({0x1212}), 1},
    {"16 to 8 bits", keFormatGrey_u16, keFormatGrey, Raw<uint16_t>({0x1280, 0xFFFF, 0x0080}), Bytes({0x12, 255, 0}), 3},
    {"8 bits to float", keFormatGrey, keFormatGrey_f32, Bytes({51}), Raw<float>({0.2f}), 1},
    {"float to 8 bits", keFormatBGR_f32, keFormatBGR, Raw<float>({0.5f, 1.5f, -0.1f}), Bytes({127, 255, 0}), 1},
    {"16-bit premultiplied", keFormatBGRA_u16, keFormatBGRxA_u16, Raw<uint16_t>({65535, 32768, 0, 32768}),
     Raw<uint16_t>({32768, 16384, 0, 32768}), 1},
    {"palette entry", keFormatIndex8, keFormatBGRA, Bytes({3, 2}), Bytes({1, 2, 3, 255, 0, 0, 250, 255}), 2},
    {"palette entry with alpha", keFormatIndex8A, keFormatBGRA, Bytes({3, 77}), Bytes({1, 2, 3, 77}), 1},
    {"index beyond the palette is black", keFormatIndex8, keFormatBGR, Bytes({200}), Bytes({0, 0, 0}), 1},
    {"bits, most significant first", keFormatIndex1, keFormatIndex8, Bytes({0x40}), Bytes({0, 1, 0}), 3},
    {"nibbles, high first", keFormatIndex4, keFormatIndex8, Bytes({0x3A}), Bytes({3, 10}), 2},
    {"indices packed to bits", keFormatIndex8, keFormatIndex1, Bytes({1, 0, 1, 1, 0, 0, 0, 1, 1}), Bytes({0xB1, 0x80}),
     9},
    {"indices packed to nibbles", keFormatIndex8, keFormatIndex4, Bytes({3, 10, 5}), Bytes({0x3A, 0x50}), 3},
    {"nearest palette entry", keFormatBGR, keFormatIndex8, Bytes({0, 0, 240, 250, 250, 250}), Bytes({2, 1}), 2},
    {"one bit into the palette", keFormatIndex1, keFormatBGR, Bytes({0x80}), Bytes({255, 255, 255, 0, 0, 0}), 2},
};

class ConverterTable : public ::testing::TestWithParam<SConverterCase> {};

TEST_P(ConverterTable, MatchesTheHandWorkedValue) {
    const SConverterCase& c = GetParam();
    QRowConvertFn fn = CRowIteratorBands::FindConverter(c.from, c.to);
    ASSERT_NE(fn, nullptr);
    SQRowConvertContext ctx;
    ctx.palette = kPalette;
    ctx.paletteCount = 4;
    std::vector<uint8_t> out(c.out.size(), 0);
    fn(out.data(), c.in.data(), c.count, ctx);
    EXPECT_EQ(out, c.out) << c.rule;
}

INSTANTIATE_TEST_SUITE_P(Rules, ConverterTable, ::testing::ValuesIn(kCases));

TEST(Converters, NamedConvertersFollowTheirRules) {
    uint8_t out[8] = {};
    const uint8_t greyA[2] = {200, 128};
    CRowIteratorBands::ConvertGreyAToGreyxA(out, greyA, 1);
    EXPECT_EQ(out[0], 100);
    CRowIteratorBands::Convert8ATo8(out, greyA, 1);
    EXPECT_EQ(out[0], 200);
    const uint8_t bgra[4] = {200, 100, 50, 128};
    CRowIteratorBands::ConvertBGRAToBGRxA(out, bgra, 1);
    EXPECT_EQ(QGDI_RGBAtoRGBxA(0x80C86432u),
              uint32_t(out[2]) | uint32_t(out[1]) << 8 | uint32_t(out[0]) << 16 | 0x80000000u);
    const uint16_t wide[4] = {1, 2, 3, 4};
    uint16_t back[3] = {};
    CRowIteratorBands::ConvertBGRA16ToBGR16(back, wide, 1);
    EXPECT_EQ(back[2], 3);
    CRowIteratorBands::GetChannelFrom32(out, bgra, 1, 2);
    EXPECT_EQ(out[0], 50);
    uint8_t target[4] = {1, 2, 3, 4};
    const uint8_t nine = 9;
    CRowIteratorBands::MoveChannelTo32(target, &nine, 1, 3);
    EXPECT_EQ(target[3], 9);
    EXPECT_EQ(target[0], 1);

    CRowIterator it;
    ASSERT_FALSE(it.CreateIndexed(4, 1, 8, kPalette, 4).IsError());
    const uint8_t indices[1] = {3};
    it.ConvertIndex8toBGRA(out, indices, 1);
    EXPECT_EQ(out[2], 3);
    EXPECT_EQ(out[3], 255);
}

TEST(Converters, PremultiplicationIsExactlyRoundedForEveryPair) {
    // Every colour byte against every alpha, with the other channels varied too.
    // QGDI_RGBAtoRGBxA keeps its own rule and sits one lower at 24 pairs.
    std::vector<uint8_t> in(65536 * 4), out(65536 * 4);
    for (uint32_t i = 0; i < 65536; ++i) {
        const uint32_t rgba = (i & 0xFF) | ((i * 7) & 0xFF) << 8 | ((i >> 3) & 0xFF) << 16 | (i >> 8) << 24;
        const uint32_t bgra = QGDI_RGBAtoBGRA(rgba);
        std::memcpy(&in[4 * i], &bgra, 4);
    }
    SQRowConvertContext ctx;
    CRowIteratorBands::FindConverter(keFormatBGRA, keFormatBGRxA)(out.data(), in.data(), 65536, ctx);
    int publicRuleLower = 0;
    for (uint32_t i = 0; i < 65536; ++i) {
        const uint32_t a = in[4 * i + 3];
        for (int c = 0; c < 3; ++c)
            ASSERT_EQ(out[4 * i + c], (2 * in[4 * i + c] * a + 255) / 510) << i << " channel " << c;
        ASSERT_EQ(out[4 * i + 3], a);
        const uint32_t red = in[4 * i + 2];
        const uint32_t byRule = QGDI_RGBAtoRGBxA(red | a << 24) & 0xFF;
        if (byRule != out[4 * i + 2]) {
            EXPECT_EQ(byRule + 1, out[4 * i + 2]) << red << " x " << a;
            ++publicRuleLower;
        }
    }
    EXPECT_EQ(publicRuleLower, 24);
}

TEST(Converters, EveryPairExistsAndRoundTripsThroughWiderFormats) {
    for (EQPixelFormat from : qgdi::test::AllFormats())
        for (EQPixelFormat to : qgdi::test::AllFormats())
            EXPECT_NE(CRowIteratorBands::FindConverter(from, to), nullptr)
                << qgdi::test::FormatName(from) << "->" << qgdi::test::FormatName(to);
    // 8-bit colour survives 16 bits and float.
    for (EQPixelFormat wide : {keFormatBGRA_u16, keFormatBGRA_f32}) {
        std::vector<uint8_t> in(256 * 4), mid(256 * 16), out(256 * 4);
        for (int i = 0; i < 256 * 4; ++i) in[size_t(i)] = static_cast<uint8_t>(i * 7);
        SQRowConvertContext ctx;
        CRowIteratorBands::FindConverter(keFormatBGRA, wide)(mid.data(), in.data(), 256, ctx);
        CRowIteratorBands::FindConverter(wide, keFormatBGRA)(out.data(), mid.data(), 256, ctx);
        EXPECT_EQ(in, out) << qgdi::test::FormatName(wide);
    }
}

// ---- Converted rows ------------------------------------------------------------

class ConvertedRows : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_FALSE(it.Create(8, 4, keFormatBGR).IsError());
        qgdi::test::FillRandom(it, 5);
    }
    CRowIterator it;
};

TEST_F(ConvertedRows, SameSpanSharesTheBufferOtherSpanFails) {
    ASSERT_FALSE(it.SetPixelFormat(keFormatBGRA).IsError());
    EXPECT_EQ(it.GetPixelFormat(), keFormatBGRA);
    EXPECT_EQ(it.GetNativeFormat(), keFormatBGR);
    uint8_t* a = nullptr;
    uint8_t* b = nullptr;
    ASSERT_FALSE(it.GetRow(a, 1, 2, 3).IsError());
    ASSERT_FALSE(it.GetRow(b, 1, 2, 3).IsError());
    EXPECT_EQ(a, b);
    uint8_t* c = nullptr;
    EXPECT_EQ(it.GetRow(c, 1, 0, 3).Ignore(), keQuorErrFailed);
    EXPECT_EQ(c, nullptr);
    // Rows are held: the presentation cannot change under them.
    EXPECT_EQ(it.SetPixelFormat(keFormatGrey).Ignore(), keQuorErrFailed);
    it.ReleaseRow(1).Ignore();
    it.ReleaseRow(1).Ignore();
    EXPECT_FALSE(it.SetPixelFormat(keFormatGrey).IsError());
}

TEST_F(ConvertedRows, WriteBackOnTheLastRelease) {
    ASSERT_FALSE(it.SetPixelFormat(keFormatBGRA, keImageModifyReadWrite).IsError());
    uint8_t* row = nullptr;
    ASSERT_FALSE(it.GetRow(row, 2).IsError());
    EXPECT_EQ(row[3], 255);
    uint8_t* again = nullptr;
    ASSERT_FALSE(it.GetRow(again, 2).IsError());
    row[4] = 42;
    it.ReleaseRow(2).Ignore();
    const uint8_t* native = nullptr;
    ASSERT_FALSE(it.GetNativeRow(native, 2).IsError());
    EXPECT_NE(native[3], 42);  // still held once: not written yet
    it.ReleaseRow(2).Ignore();
    EXPECT_EQ(native[3], 42);
    it.ReleaseNativeRow(2).Ignore();

    // Read-only presentations and rows taken through a constant iterator are not written back.
    ASSERT_FALSE(it.SetPixelFormat(keFormatBGRA, keImageModifyReadOnly).IsError());
    ASSERT_FALSE(it.GetRow(row, 0).IsError());
    row[0] = static_cast<uint8_t>(~row[0]);
    const uint8_t expected = static_cast<uint8_t>(~row[0]);
    it.ReleaseRow(0).Ignore();
    ASSERT_FALSE(it.SetPixelFormat(keFormatBGRA, keImageModifyReadWrite).IsError());
    const uint8_t* constRow = nullptr;
    ASSERT_FALSE(std::as_const(it).GetRow(constRow, 0).IsError());
    EXPECT_EQ(constRow[0], expected);
    const_cast<uint8_t*>(constRow)[0] = 1;
    it.ReleaseRow(0).Ignore();
    ASSERT_FALSE(std::as_const(it).GetRow(constRow, 0).IsError());
    EXPECT_EQ(constRow[0], expected);
    it.ReleaseRow(0).Ignore();
}

TEST_F(ConvertedRows, TheSpareBufferServesTheNextRow) {
    ASSERT_FALSE(it.SetPixelFormat(keFormatBGRA_u16).IsError());
    const uint8_t* first = nullptr;
    ASSERT_FALSE(std::as_const(it).GetRow(first, 0).IsError());
    it.ReleaseRow(0).Ignore();
    for (int y = 1; y < 4; ++y) {
        const uint8_t* row = nullptr;
        ASSERT_FALSE(std::as_const(it).GetRow(row, y).IsError());
        EXPECT_EQ(row, first) << y;
        it.ReleaseRow(y).Ignore();
    }
    // A row held while another is taken needs a second buffer.
    const uint8_t* held = nullptr;
    const uint8_t* other = nullptr;
    ASSERT_FALSE(std::as_const(it).GetRow(held, 0).IsError());
    ASSERT_FALSE(std::as_const(it).GetRow(other, 1).IsError());
    EXPECT_NE(held, other);
    EXPECT_FALSE(it.ReleaseAllRows().IsError());
    EXPECT_FALSE(it.SetPixelFormat(keFormatNone).IsError());
    EXPECT_FALSE(it.IsConverting());
}

TEST_F(ConvertedRows, WriteOnlyRowsStartEmptyAndAreStored) {
    ASSERT_FALSE(it.SetPixelFormat(keFormatGrey, keImageModifyWriteOnly).IsError());
    uint8_t* row = nullptr;
    ASSERT_FALSE(it.GetRow(row, 3).IsError());
    EXPECT_EQ(row[0], 0);
    std::fill(row, row + 8, 90);
    it.ReleaseRow(3).Ignore();
    ASSERT_FALSE(it.SetPixelFormat(keFormatBGR).IsError());
    EXPECT_EQ(qgdi::test::PackedRow(it, 3), std::vector<uint8_t>(24, 90));
}

TEST_F(ConvertedRows, ChannelAccessPresentsOneChannel) {
    CRowIterator rgba;
    qgdi::test::MakeRandomImage(rgba, keFormatBGRA, 5, 2, 8);
    const std::vector<uint8_t> before = qgdi::test::PackedRow(rgba, 1);
    ASSERT_FALSE(rgba.SetChannelAccess(keChannelRed).IsError());
    EXPECT_EQ(rgba.GetPixelFormat(), keFormatGrey);
    EXPECT_EQ(rgba.GetChannelAccess(), keChannelSetRed);
    uint8_t* row = nullptr;
    ASSERT_FALSE(rgba.GetRow(row, 1).IsError());
    for (int x = 0; x < 5; ++x) EXPECT_EQ(row[x], before[size_t(4 * x + 2)]);
    row[0] = static_cast<uint8_t>(before[2] ^ 0xFF);
    rgba.ReleaseRow(1).Ignore();
    ASSERT_FALSE(rgba.SetChannelAccess(keChannelSetAll).IsError());
    std::vector<uint8_t> after = qgdi::test::PackedRow(rgba, 1);
    EXPECT_EQ(after[2], before[2] ^ 0xFF);
    after[2] = before[2];
    EXPECT_EQ(after, before);

    // Colour without alpha, and a channel through a format conversion.
    ASSERT_FALSE(rgba.SetChannelAccess(keChannelSetAllButAlpha).IsError());
    EXPECT_EQ(rgba.GetPixelFormat(), keFormatBGR);
    ASSERT_FALSE(rgba.SetChannelAccess(keChannelSetAll).IsError());
    ASSERT_FALSE(rgba.SetPixelFormat(keFormatBGRA_u16).IsError());
    ASSERT_FALSE(rgba.SetChannelAccess(keChannelAlpha).IsError());
    EXPECT_EQ(rgba.GetPixelFormat(), keFormatGrey_u16);
    const uint8_t* alpha = nullptr;
    ASSERT_FALSE(std::as_const(rgba).GetRow(alpha, 1).IsError());
    uint16_t a0;
    std::memcpy(&a0, alpha, 2);
    EXPECT_EQ(a0, before[3] * 257);
    rgba.ReleaseRow(1).Ignore();

    struct SUnsupported {
        EQPixelFormat format;
        EQChannelSet set;
        QuorErrorCode code;
    };
    for (const SUnsupported& u : {SUnsupported{keFormatIndex8, keChannelSetRed, keQuorErrFormatNotSupported},
                                  SUnsupported{keFormatBGR, keChannelSetGrey, keQuorErrFormatNotSupported},
                                  SUnsupported{keFormatBGR, keChannelSetAlpha, keQuorErrFormatNotSupported},
                                  SUnsupported{keFormatBGR, static_cast<EQChannelSet>(9), keQuorErrFailed}}) {
        CRowIterator x;
        qgdi::test::MakeRandomImage(x, u.format, 2, 2, 1);
        EXPECT_EQ(x.SetChannelAccess(u.set).Ignore(), u.code) << qgdi::test::FormatName(u.format) << " " << u.set;
        EXPECT_EQ(x.GetPixelFormat(), u.format);
    }
}

TEST_F(ConvertedRows, CustomConverterAndPixelFormatOverride) {
    // Presents BGR as inverted grey; writes the inverse back.
    QRowConvertFn read = [](void* dst, const void* src, int n, const SQRowConvertContext&) {
        for (int i = 0; i < n; ++i)
            static_cast<uint8_t*>(dst)[i] = static_cast<uint8_t>(255 - static_cast<const uint8_t*>(src)[3 * i]);
    };
    ASSERT_FALSE(it.SetConversion(keFormatGrey, read, nullptr, keImageModifyReadOnly).IsError());
    const std::vector<uint8_t> grey = qgdi::test::PackedRow(it, 0);
    ASSERT_FALSE(it.SetPixelFormat(keFormatNone).IsError());
    EXPECT_EQ(grey[1], 255 - qgdi::test::PackedRow(it, 0)[3]);
    EXPECT_EQ(it.SetConversion(keFormatGrey, nullptr, nullptr).Ignore(), keQuorErrFailed);

    CRowIterator rgba;
    qgdi::test::MakeRandomImage(rgba, keFormatBGRA, 3, 3, 2);
    const std::vector<uint8_t> bytes = qgdi::test::PackedRow(rgba, 0);
    ASSERT_FALSE(rgba.OverridePixelFormat(keFormatBGRxA).IsError());
    EXPECT_EQ(rgba.GetPixelFormat(), keFormatBGRxA);
    EXPECT_EQ(qgdi::test::PackedRow(rgba, 0), bytes);
    EXPECT_EQ(rgba.OverridePixelFormat(keFormatBGR).Ignore(), keQuorErrFailed);
    EXPECT_EQ(it.SetPixelFormat(static_cast<EQPixelFormat>(42)).Ignore(), keQuorErrFailed);
}

}  // namespace

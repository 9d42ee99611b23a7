// Exports and streams: every format goes out and comes back unchanged.
#include <gtest/gtest.h>

#include <sstream>

#include "iterator_test_util.h"
#include "qdibcore/Source/internal/RowSpanCopy.h"

namespace {

class EveryFormat : public ::testing::TestWithParam<EQPixelFormat> {
protected:
    void SetUp() override { qgdi::test::MakeRandomImage(image, GetParam(), 19, 7, 100 + GetParam()); }
    CRowIterator image;
};

std::string Name(const ::testing::TestParamInfo<EQPixelFormat>& info) { return qgdi::test::FormatName(info.param); }

TEST_P(EveryFormat, CopyToDIBAndAttachBack) {
    CQmmBinPtr dib;
    ASSERT_FALSE(image.CopyToDIB(dib).IsError());
    CDibIterator back;
    ASSERT_FALSE(back.Attach(dib.p, nullptr, POINT{0, 0}, GetParam()).IsError());
    EXPECT_TRUE(back.IsEquivalent(image));
    // The header alone names the format for the bit counts a bitmap can tell apart.
    const EQPixelFormat f = GetParam();
    if (f == keFormatIndex1 || f == keFormatIndex4 || f == keFormatIndex8 || f == keFormatGrey || f == keFormatBGR ||
        f == keFormatBGRA || f == keFormatGreyA || f == keFormatIndex8A) {
        CDibIterator guessed;
        ASSERT_FALSE(guessed.Attach(dib.p).IsError());
        EXPECT_EQ(guessed.GetPixelFormat(), f);
    }
    QMMHANDLE h = QMM_NULL;
    ASSERT_FALSE(image.CopyToDIBHandle(h).IsError());
    CRowIterator viaHandle;
    CDibIterator attached;
    ASSERT_FALSE(attached.Attach(h, nullptr, POINT{0, 0}, GetParam()).IsError());
    ASSERT_FALSE(viaHandle.CreateFromCopy(attached).IsError());
    EXPECT_TRUE(viaHandle.IsEquivalent(image));
    attached.Reset();
    EXPECT_EQ(QMM_GlobalFree(h), QMM_NULL);
    std::vector<uint8_t> bits(image.GetBitmapSize());
    ASSERT_FALSE(image.GetBitmapBits(bits.data(), bits.size()).IsError());
    EXPECT_EQ(image.GetBitmapBits(bits.data(), bits.size() - 1).Ignore(), keQuorErrFailed);
}

TEST_P(EveryFormat, BinaryStreamRoundTrip) {
    std::stringstream s;
    ASSERT_FALSE(image.StreamBinOut(s).IsError());
    CDibIterator back;
    ASSERT_FALSE(back.StreamIn(s).IsError());
    EXPECT_TRUE(back.IsEquivalent(image));
    EXPECT_EQ(back.GetPaletteCount(), image.GetPaletteCount());

    // Any flipped byte or missing tail is refused, leaving the iterator detached.
    const std::string bytes = s.str();
    for (size_t at : {size_t(5), size_t(20), bytes.size() / 2, bytes.size() - 1}) {
        std::string bad = bytes;
        bad[at] = static_cast<char>(bad[at] ^ 0x20);
        std::stringstream in(bad);
        CRowIterator it;
        EXPECT_EQ(it.StreamIn(in).Ignore(), keQuorErrFailed) << at;
        EXPECT_FALSE(it.IsAttached());
    }
    std::stringstream cut(bytes.substr(0, bytes.size() - 3));
    CRowIterator it;
    EXPECT_EQ(it.StreamIn(cut).Ignore(), keQuorErrFailed);
    EXPECT_FALSE(it.IsAttached());

    // The stream operators carry the same form.
    std::stringstream op;
    op << image;
    CRowIterator viaOperator;
    op >> viaOperator;
    EXPECT_TRUE(op);
    EXPECT_TRUE(viaOperator.IsEquivalent(image));
}

TEST_P(EveryFormat, SubRectangleCopiesKeepThePixels) {
    const RECT rect{3, 2, 14, 6};
    CRowIterator view, copy;
    ASSERT_FALSE(view.Attach(image, &rect).IsError());
    ASSERT_FALSE(copy.CreateFromCopy(image, &rect).IsError());
    EXPECT_TRUE(copy.IsEquivalent(view));
    ASSERT_FALSE(view.OwnCopy().IsError());
    EXPECT_TRUE(copy.IsEquivalent(view));
    EXPECT_EQ(view.GetRect().left, 3);
}

// Found by fuzzing: streams the iterator never writes, with a valid checksum,
// that were once accepted and then written back differently. Each is refused.
TEST(BinaryStream, StreamsTheIteratorNeverWritesAreRefused) {
    struct Case {
        const char* what;
        EQPixelFormat format;
        bool fromEnd;  // offset counted back from the end of the stream
        size_t offset;
        uint8_t orBits;
    } const cases[] = {
        {"padding bits of a packed row", keFormatIndex4, true, 5, 0x01},
        // Palette entry 190 of the grey ramp, after magic, version, format, width, height and count.
        {"fourth byte of a grey palette entry", keFormatGrey, false, 24 + 4 * 190 + 3, 0x04},
    };
    for (const Case& c : cases) {
        CRowIterator image;
        qgdi::test::MakeRandomImage(image, c.format, 3, 2, 1);
        std::stringstream s;
        ASSERT_FALSE(image.StreamBinOut(s).IsError());
        std::string bytes = s.str();
        const size_t at = c.fromEnd ? bytes.size() - c.offset : c.offset;
        bytes[at] = static_cast<char>(bytes[at] | c.orBits);
        const uint32_t crc = QGDI_Crc32(bytes.data() + 4, bytes.size() - 8);
        for (int i = 0; i < 4; ++i) bytes[bytes.size() - 4 + size_t(i)] = static_cast<char>(crc >> (8 * i));
        std::stringstream in(bytes);
        CRowIterator back;
        EXPECT_EQ(back.StreamIn(in).Ignore(), keQuorErrFailed) << c.what;
        EXPECT_FALSE(back.IsAttached()) << c.what;
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, EveryFormat, ::testing::ValuesIn(qgdi::test::AllFormats()), Name);

TEST(TextDump, RecordsCarryTheirKeywords) {
    CDibIterator dib;
    ASSERT_FALSE(dib.CreateIndexed(3, 2, 4, qgdi::test::RandomPalette(5, 1).data(), 5).IsError());
    std::stringstream s;
    ASSERT_FALSE(dib.StreamTextOut(s, CRowIteratorBands::TextFull).IsError());
    const std::string text = s.str();
    for (const char* word : {"<DibIterator", " Format=Index4", " Width=3", " Height=2", " PixelOffset=0",
                             " Rect=<Left=0", " Top=0", " Right=3", " Bottom=2", " Solid=", " SolidColor=",
                             "PaletteCount=5", " PaletteCRC=", "Palette=<", " BitmapCRC=", "Bitmap=<"})
        EXPECT_NE(text.find(word), std::string::npos) << word << "\n" << text;

    CRowIterator bands;
    ASSERT_FALSE(bands.CreateGreyscale(2, 2).IsError());
    std::stringstream t;
    ASSERT_FALSE(WriteSerializeRowIterator(&bands, t, CRowIteratorBands::TextCrc, 1).IsError());
    EXPECT_EQ(t.str().rfind("\tFULL\n\t<RowIterator Format=Grey", 0), 0u) << t.str();
    // Zero pixels: the CRC of four zero bytes.
    EXPECT_NE(t.str().find("BitmapCRC=2144DF1C"), std::string::npos) << t.str();
    std::stringstream n;
    ASSERT_FALSE(WriteSerializeRowIterator(nullptr, n, CRowIteratorBands::TextCrc, 0).IsError());
    EXPECT_EQ(n.str(), "NULL\n");
}

TEST(BmpFiles, WriteAndReadBackEveryBitmapFormat) {
    for (EQPixelFormat f : {keFormatIndex1, keFormatIndex4, keFormatIndex8, keFormatGrey, keFormatBGR, keFormatBGRA}) {
        CRowIterator image;
        qgdi::test::MakeRandomImage(image, f, 13, 5, 40 + f);
        std::vector<uint8_t> file;
        ASSERT_FALSE(QGDI_WriteBmp(image, file).IsError()) << qgdi::test::FormatName(f);
        CDibIterator back;
        ASSERT_FALSE(QGDI_ReadBmp(file.data(), file.size(), back).IsError()) << qgdi::test::FormatName(f);
        EXPECT_EQ(back.GetPixelFormat(), f);
        EXPECT_TRUE(back.IsEquivalent(image)) << qgdi::test::FormatName(f);
    }
    CRowIterator wide;
    qgdi::test::MakeRandomImage(wide, keFormatBGR_u16, 2, 2, 1);
    std::vector<uint8_t> file;
    EXPECT_EQ(QGDI_WriteBmp(wide, file).Ignore(), keQuorErrFormatNotSupported);
}

}  // namespace

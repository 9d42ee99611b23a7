#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "qdibcore/Source/PixelFormat.h"
#include "qdibcore/Source/PixelFormatTraits.h"

namespace {

// The published format table, written out independently of the traits table.
struct SFormatRow {
    int value;
    const wchar_t* name;
    int bpp, bpc;
    const char* channels;  // B G R A Y in storage order
    bool alpha, premul;
    // Get8bit, Get16bit, GetFloat, GetFlat, GetNonFlat, GetPremultiplied, GetNonPremultiplied
    int map[7];
};

const SFormatRow kRows[] = {
    {-1, L"keFormatCustom", 0, 0, "", false, false, {0, 0, 0, -1, -1, -1, -1}},
    {0, L"keFormatNone", 0, 0, "", false, false, {0, 0, 0, 0, 0, 0, 0}},
    {1, L"keFormatIndex1", 1, 1, "BGR", false, false, {3, 0, 0, 1, 4, 1, 1}},
    {2, L"keFormatIndex4", 4, 4, "BGR", false, false, {3, 0, 0, 2, 4, 2, 2}},
    {3, L"keFormatIndex8", 8, 8, "BGR", false, false, {3, 0, 0, 3, 4, 3, 3}},
    {4, L"keFormatIndex8A", 16, 8, "BGRA", true, false, {4, 0, 0, 3, 4, 4, 4}},
    {5, L"keFormatGrey", 8, 8, "Y", false, false, {5, 10, 15, 5, 6, 5, 5}},
    {6, L"keFormatGreyA", 16, 8, "YA", true, false, {6, 11, 16, 5, 6, 6, 6}},
    {7, L"keFormatBGR", 24, 8, "BGR", false, false, {7, 12, 17, 7, 8, 7, 7}},
    {8, L"keFormatBGRA", 32, 8, "BGRA", true, false, {8, 13, 18, 7, 8, 9, 8}},
    {9, L"keFormatBGRxA", 32, 8, "BGRA", true, true, {9, 14, 19, 7, 9, 9, 8}},
    {10, L"keFormatGrey_u16", 16, 16, "Y", false, false, {5, 10, 15, 10, 11, 10, 10}},
    {11, L"keFormatGreyA_u16", 32, 16, "YA", true, false, {6, 11, 16, 10, 11, 11, 11}},
    {12, L"keFormatBGR_u16", 48, 16, "BGR", false, false, {7, 12, 17, 12, 13, 12, 12}},
    {13, L"keFormatBGRA_u16", 64, 16, "BGRA", true, false, {8, 13, 18, 12, 13, 14, 13}},
    {14, L"keFormatBGRxA_u16", 64, 16, "BGRA", true, true, {9, 14, 19, 12, 14, 14, 13}},
    {15, L"keFormatGrey_f32", 32, 32, "Y", false, false, {5, 10, 15, 15, 16, 15, 15}},
    {16, L"keFormatGreyA_f32", 64, 32, "YA", true, false, {6, 11, 16, 15, 16, 16, 16}},
    {17, L"keFormatBGR_f32", 96, 32, "BGR", false, false, {7, 12, 17, 17, 18, 17, 17}},
    {18, L"keFormatBGRA_f32", 128, 32, "BGRA", true, false, {8, 13, 18, 12, 18, 19, 18}},
    {19, L"keFormatBGRxA_f32", 128, 32, "BGRA", true, true, {9, 14, 19, 12, 19, 19, 18}},
};

std::string ChannelString(const CQPixelFormat& pf) {
    int count = -1;
    EQChannel list[4] = {};
    pf.GetChannels(count, list);
    std::string s;
    for (int i = 0; i < count; ++i) s += "BGRAY"[list[i]];
    return s;
}

class PixelFormatRow : public ::testing::TestWithParam<SFormatRow> {};

TEST_P(PixelFormatRow, PropertiesAndMappings) {
    const SFormatRow& r = GetParam();
    CQPixelFormat pf(static_cast<EQPixelFormat>(r.value));
    EXPECT_STREQ(pf.GetFormatAsString(), r.name);
    EXPECT_EQ(pf.GetBitsPerPixel(), r.bpp);
    EXPECT_EQ(pf.GetBitsPerChannel(), r.bpc);
    EXPECT_EQ(ChannelString(pf), r.channels);
    EXPECT_EQ(pf.GetChannelCount(), static_cast<int>(std::strlen(r.channels)));
    EXPECT_EQ(pf.IsAlphaChannelPresent(), r.alpha);
    EXPECT_EQ(pf.IsAlphaPremultiplied(), r.premul);
    EXPECT_EQ(pf.Is8bit(), r.value >= 3 && r.value <= 9);
    EXPECT_EQ(pf.Is16bit(), r.value >= 10 && r.value <= 14);
    EXPECT_EQ(pf.IsFloat(), r.value >= 15 && r.value <= 19);
    EXPECT_EQ(pf.IsIndexedColor(), r.value >= 1 && r.value <= 4);
    EXPECT_EQ(pf.IsPixelByteAligned(), r.value > 2);
    const std::vector<int> grey = {5, 6, 10, 11, 15, 16}, rgb = {7, 8, 9, 12, 13, 14, 17, 18, 19};
    EXPECT_EQ(pf.IsGreyscale(), std::count(grey.begin(), grey.end(), r.value) == 1);
    EXPECT_EQ(pf.IsRGBColor(), std::count(rgb.begin(), rgb.end(), r.value) == 1);
    const EQPixelFormat got[7] = {
        pf.Get8bitFormat(),    pf.Get16bitFormat(),         pf.GetFloatFormat(),           pf.GetFlatFormat(),
        pf.GetNonFlatFormat(), pf.GetPremultipliedFormat(), pf.GetNonPremultipliedFormat()};
    for (int i = 0; i < 7; ++i) EXPECT_EQ(got[i], r.map[i]) << "mapping " << i;
}

INSTANTIATE_TEST_SUITE_P(AllFormats, PixelFormatRow, ::testing::ValuesIn(kRows),
                         [](const auto& info) { return "F" + std::to_string(info.param.value + 1); });

// Values outside -1..19 print "<unknown" and behave as having nothing.
TEST(PixelFormat, ValuesOutsideTheTable) {
    for (int v : {-100, -2, 20, 21, 1000}) {
        CQPixelFormat pf(static_cast<EQPixelFormat>(v));
        EXPECT_STREQ(pf.GetFormatAsString(), L"<unknown");
        EXPECT_EQ(pf.GetBitsPerPixel(), 0);
        EXPECT_EQ(pf.GetChannelCount(), 0);
        int count = 7;
        EXPECT_FALSE(pf.GetChannels(count, nullptr));
        EXPECT_EQ(count, 0);
        EXPECT_EQ(pf.Get8bitFormat(), keFormatNone);
        EXPECT_EQ(pf.Get16bitFormat(), keFormatNone);
        EXPECT_EQ(pf.GetFloatFormat(), keFormatNone);
        EXPECT_EQ(static_cast<int>(pf.GetFlatFormat()), v);
        EXPECT_EQ(static_cast<int>(pf.GetNonFlatFormat()), v);
        EXPECT_EQ(pf.GetChannelOffset(keChannelAlpha), 0);
        unsigned char pixel[16] = {};
        pf.GetPixelInFormat(pixel, 0xFFFFFFFFu);
        for (unsigned char b : pixel) EXPECT_EQ(b, 0);
    }
}

TEST(PixelFormat, ChannelOffsets) {
    struct SCase {
        EQPixelFormat format;
        int blue, green, red, alpha, grey;
    };
    const SCase cases[] = {
        {keFormatIndex8, 0, 0, 0, 0, 0},    {keFormatIndex8A, 0, 0, 0, 1, 0},   {keFormatGreyA, 0, 0, 0, 1, 0},
        {keFormatGreyA_u16, 0, 0, 0, 1, 0}, {keFormatGreyA_f32, 0, 0, 0, 1, 0}, {keFormatBGR, 0, 1, 2, 0, 0},
        {keFormatBGR_f32, 0, 1, 2, 0, 0},   {keFormatBGRA, 0, 1, 2, 3, 0},      {keFormatBGRxA_u16, 0, 1, 2, 3, 0},
        {keFormatGrey, 0, 0, 0, 0, 0},      {keFormatNone, 0, 0, 0, 0, 0},
    };
    for (const SCase& c : cases) {
        CQPixelFormat pf(c.format);
        EXPECT_EQ(pf.GetChannelOffset(keChannelBlue), c.blue) << c.format;
        EXPECT_EQ(pf.GetChannelOffset(keChannelGreen), c.green) << c.format;
        EXPECT_EQ(pf.GetChannelOffset(keChannelRed), c.red) << c.format;
        EXPECT_EQ(pf.GetChannelOffset(keChannelAlpha), c.alpha) << c.format;
        EXPECT_EQ(pf.GetChannelOffset(keChannelGrey), c.grey) << c.format;
        EXPECT_EQ(pf.GetChannelOffset(keChannelNone), 0);
    }
}

// A packed bitmap: header, then 256 palette entries.
struct SPackedHeader {
    BITMAPINFOHEADER header{};
    RGBQUAD palette[256]{};
};

TEST(PixelFormat, FromBitmapHeader) {
    SPackedHeader grey;
    grey.header.biSize = 40;
    grey.header.biClrUsed = 256;
    for (int i = 0; i < 256; ++i)
        grey.palette[i] = RGBQUAD{BYTE(i), BYTE(i), BYTE(i), 0x55};  // the reserved byte is ignored
    SPackedHeader colour = grey;
    colour.palette[200].rgbRed = 7;
    SPackedHeader fewer = grey;
    fewer.header.biClrUsed = 255;

    struct SCase {
        const SPackedHeader* bmp;
        WORD bits;
        EQPixelFormat expected;
    };
    const SCase cases[] = {
        {&grey, 1, keFormatIndex1},  {&grey, 4, keFormatIndex4},   {&grey, 8, keFormatGrey},
        {&grey, 16, keFormatGreyA},  {&colour, 8, keFormatIndex8}, {&colour, 16, keFormatIndex8A},
        {&fewer, 8, keFormatIndex8}, {&grey, 24, keFormatBGR},     {&grey, 32, keFormatBGRA},
        {&grey, 2, keFormatNone},    {&grey, 0, keFormatNone},     {&grey, 48, keFormatNone},
    };
    for (const SCase& c : cases) {
        SPackedHeader bmp = *c.bmp;
        bmp.header.biBitCount = c.bits;
        EXPECT_EQ(CQPixelFormat(bmp.header).Get(), c.expected) << "bits " << c.bits;
    }
}

TEST(PixelFormat, PixelInFormat) {
    const uint32_t colour = 0x80C04020u;  // R 0x20, G 0x40, B 0xC0, A 0x80
    uint8_t b[16];
    auto put = [&](EQPixelFormat f) {
        std::memset(b, 0, sizeof b);
        CQPixelFormat(f).GetPixelInFormat(b, colour);
    };
    put(keFormatBGRA);
    EXPECT_EQ(std::vector<int>(b, b + 4), (std::vector<int>{0xC0, 0x40, 0x20, 0x80}));
    put(keFormatBGR);
    EXPECT_EQ(std::vector<int>(b, b + 4), (std::vector<int>{0xC0, 0x40, 0x20, 0}));
    put(keFormatBGRxA);
    const uint32_t pm = QGDI_RGBAtoRGBxA(colour);
    EXPECT_EQ(std::vector<int>(b, b + 4),
              (std::vector<int>{int(pm >> 16 & 255), int(pm >> 8 & 255), int(pm & 255), 0x80}));
    put(keFormatGreyA);
    EXPECT_EQ(b[0], QGDI_GetChannelColor(colour, keChannelGrey));
    EXPECT_EQ(b[1], 0x80);
    put(keFormatBGRA_u16);
    uint16_t w[4];
    std::memcpy(w, b, 8);
    EXPECT_EQ(w[0], 0xC0 * 257);
    EXPECT_EQ(w[3], 0x80 * 257);
    put(keFormatBGRxA_u16);
    std::memcpy(w, b, 8);
    EXPECT_EQ(w[0], (0xC0 * 257u * (0x80 * 257u) + 32767) / 65535);
    put(keFormatBGRA_f32);
    float f[4];
    std::memcpy(f, b, 16);
    EXPECT_FLOAT_EQ(f[2], 0x20 / 255.0f);
    EXPECT_FLOAT_EQ(f[3], 0x80 / 255.0f);
    put(keFormatIndex8A);
    EXPECT_EQ(b[1], 0x80);
    b[0] = 0x0F;
    CQPixelFormat(keFormatIndex1).GetPixelInFormat(b, 0xFFFFFFFFu);
    EXPECT_EQ(b[0], 0x8F) << "Index1 sets only the first pixel's bit";
}

TEST(PixelFormat, ChannelColourAndSwaps) {
    const uint32_t c = 0x11223344u;  // R 0x44 G 0x33 B 0x22 A 0x11
    EXPECT_EQ(QGDI_GetChannelColor(c, keChannelRed), 0x44);
    EXPECT_EQ(QGDI_GetChannelColor(c, keChannelGreen), 0x33);
    EXPECT_EQ(QGDI_GetChannelColor(c, keChannelBlue), 0x22);
    EXPECT_EQ(QGDI_GetChannelColor(c, keChannelAlpha), 0x11);
    EXPECT_EQ(QGDI_GetChannelColor(c, keChannelGrey), (77 * 0x44 + 151 * 0x33 + 28 * 0x22) >> 8);
    EXPECT_EQ(QGDI_GetChannelColor(c, keChannelSixth), 0);
    EXPECT_EQ(QGDI_GetChannelColor(c, keChannelNone), 0);
    EXPECT_EQ(QGDI_GetChannelColor(0x00FFFFFFu, keChannelGrey), 255) << "grey weights sum to 256";
    EXPECT_EQ(QGDI_RGBAtoBGRA(c), 0x11443322u);
    EXPECT_EQ(QGDI_RGBAtoBGRA(QGDI_RGBAtoBGRA(c)), c);
}

// Premultiplication lands on the floor or the ceiling of c * a / 255 for every
// byte pair (its fast rounding differs from exact rounding only next to ties).
TEST(PixelFormat, PremultiplyIsExactlyRounded) {
    for (uint32_t a = 1; a < 255; ++a)
        for (uint32_t v = 0; v < 256; ++v) {
            uint32_t out = QGDI_RGBAtoRGBxA(v | (v << 8) | (v << 16) | (a << 24));
            const uint32_t floor = v * a / 255, ceil = (v * a + 254) / 255;
            ASSERT_TRUE((out & 0xFF) == floor || (out & 0xFF) == ceil) << v << "*" << a;
            if ((v * a) % 255 * 2 < 250 || (v * a) % 255 * 2 > 260) {
                ASSERT_EQ(out & 0xFF, (2 * v * a + 255) / 510) << "away from ties rounding is exact";
            }
            ASSERT_EQ(out >> 24, a);
        }
    EXPECT_EQ(QGDI_RGBAtoRGBxA(0xFF123456u), 0xFF123456u);
    EXPECT_EQ(QGDI_RGBAtoRGBxA(0x00123456u), 0u);
}

TEST(Channels, SetMappingAndMembership) {
    for (int c = 0; c <= 4; ++c) {
        EXPECT_EQ(QGDI_ChannelToChannelSet(static_cast<EQChannel>(c)), c);
        EXPECT_EQ(QGDI_ChannelSetToChannel(static_cast<EQChannelSet>(c)), c);
    }
    EXPECT_EQ(QGDI_ChannelToChannelSet(keChannelSixth), keChannelSetSixth);
    EXPECT_EQ(QGDI_ChannelSetToChannel(keChannelSetSixth), keChannelSixth);
    for (int v : {-1, 6, 8, 99}) {
        EXPECT_EQ(QGDI_ChannelToChannelSet(static_cast<EQChannel>(v)), keChannelSetNone);
        if (v != 6) {
            EXPECT_EQ(QGDI_ChannelSetToChannel(static_cast<EQChannelSet>(v)), keChannelNone);
        }
    }
    EXPECT_EQ(QGDI_ChannelSetToChannel(keChannelSetAllButAlpha), keChannelNone);
    EXPECT_EQ(QGDI_ChannelSetToChannel(keChannelSetAll), keChannelNone);

    // Rows: sets 0..7; columns: channels 0..5.
    const char* members[] = {"100000", "010000", "001000", "000100", "000010", "111011", "111111", "000001"};
    for (int s = 0; s < 8; ++s)
        for (int c = 0; c < 6; ++c)
            EXPECT_EQ(QGDI_ChannelIsMember(static_cast<EQChannelSet>(s), static_cast<EQChannel>(c)),
                      members[s][c] == '1')
                << "set " << s << " channel " << c;
    EXPECT_FALSE(QGDI_ChannelIsMember(static_cast<EQChannelSet>(8), keChannelBlue));
    EXPECT_FALSE(QGDI_ChannelIsMember(keChannelSetNone, keChannelBlue));
    EXPECT_FALSE(QGDI_ChannelIsMember(keChannelSetAll, keChannelNone));
}

TEST(QuorType, NamesSizesSignedness) {
    const char* names[] = {"null",  "uint08", "int08",  "uint16", "int16 ", "uint32",
                           "int32", "real32", "uint64", "int64",  "real64"};
    const size_t sizes[] = {0, 1, 1, 2, 2, 4, 4, 4, 8, 8, 8};
    const bool signedness[] = {false, false, true, false, true, false, true, true, false, true, true};
    for (int t = 0; t <= 10; ++t) {
        auto type = static_cast<quor::EQType>(t);
        EXPECT_STREQ(quor::GetName(type), names[t]);
        EXPECT_EQ(quor::SizeOf(type), sizes[t]);
        EXPECT_EQ(quor::IsSigned(type), signedness[t]);
    }
    for (int t : {-1, 11, 255}) {
        EXPECT_STREQ(quor::GetName(static_cast<quor::EQType>(t)), "unknown");
        EXPECT_EQ(quor::SizeOf(static_cast<quor::EQType>(t)), 0u);
        EXPECT_FALSE(quor::IsSigned(static_cast<quor::EQType>(t)));
    }
}

// The compile-time view agrees with the run-time descriptor.
template <EQPixelFormat F>
void CheckCompileTimeTraits() {
    using T = TQPixelFormat<F>;
    CQPixelFormat pf(F);
    EXPECT_EQ(T::kChannels, pf.GetChannelCount());
    EXPECT_EQ(T::kAlpha, pf.IsAlphaChannelPresent());
    EXPECT_EQ(int(sizeof(typename T::Elem) * 8 * T::kChannels), pf.GetBitsPerPixel());
}

TEST(PixelFormat, CompileTimeTraits) {
    CheckCompileTimeTraits<keFormatGrey>();
    CheckCompileTimeTraits<keFormatBGRA>();
    CheckCompileTimeTraits<keFormatGreyA_u16>();
    CheckCompileTimeTraits<keFormatBGR_f32>();
    static_assert(TQPixelFormat<keFormatBGRA>::kAlphaOffset == 3);
    static_assert(TQPixelFormat<keFormatGreyA>::kGreyOffset == 0);
    static_assert(TQPixelFormat<keFormatBGR_u16>::kMax == 65535);
}

}  // namespace

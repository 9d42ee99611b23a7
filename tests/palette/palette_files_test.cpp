// Built-in palettes and the two palette file forms.
#include <cstring>

#include "PaletteTestUtil.h"

using namespace palette_test;

namespace {

struct SBuiltIn {
    const char* name;
    const RGBQUAD* (*get)(int*);
    CQPalette* (*create)();
    int count;
};
const SBuiltIn kBuiltIns[] = {
    {"BW", QPalette_PaletteGetBW, QPalette_PaletteCreateBW, 2},
    {"VGA16", QPalette_PaletteGetVGA16, QPalette_PaletteCreateVGA16, 16},
    {"Netscape", QPalette_PaletteGetNetscape, QPalette_PaletteCreateNetscape, 256},
    {"Quick8", QPalette_PaletteGetQuick8, QPalette_PaletteCreateQuick8, 256},
    {"Greyscale", QPalette_PaletteGetGreyscale, QPalette_PaletteCreateGreyscale, 256},
};

RGBQUAD Rgb(int r, int g, int b) { return RGBQUAD{BYTE(b), BYTE(g), BYTE(r), 0}; }

// Spot entries of each table, as the published definitions give them.
TEST(BuiltInPalettes, EntriesAndObjects) {
    struct SSpot {
        int table, index;
        RGBQUAD colour;
    };
    const SSpot spots[] = {
        {0, 0, Rgb(0, 0, 0)},          {0, 1, Rgb(255, 255, 255)},   {1, 3, Rgb(128, 128, 0)},
        {1, 7, Rgb(192, 192, 192)},    {1, 8, Rgb(128, 128, 128)},   {1, 12, Rgb(0, 0, 255)},
        {2, 0, Rgb(255, 255, 255)},    {2, 1, Rgb(255, 255, 204)},   {2, 36 + 12 + 3, Rgb(204, 153, 102)},
        {2, 214, Rgb(0, 0, 51)},       {2, 215, Rgb(255, 255, 255)}, {2, 254, Rgb(255, 255, 255)},
        {2, 255, Rgb(0, 0, 0)},        {3, 1, Rgb(51, 0, 0)},        {3, 6, Rgb(0, 51, 0)},
        {3, 36, Rgb(0, 0, 51)},        {3, 215, Rgb(255, 255, 255)}, {3, 216, Rgb(0, 0, 0)},
        {3, 255, Rgb(0, 0, 0)},        {4, 77, Rgb(77, 77, 77)},
    };
    for (const SSpot& s : spots) {
        const RGBQUAD e = kBuiltIns[s.table].get(nullptr)[s.index];
        EXPECT_TRUE(SameRgb(e, s.colour) && e.rgbReserved == 0) << kBuiltIns[s.table].name << " entry " << s.index;
    }
    for (const SBuiltIn& b : kBuiltIns) {
        int n = 0;
        const RGBQUAD* table = b.get(&n);
        EXPECT_EQ(n, b.count) << b.name;
        CQPalette* object = b.create();
        ASSERT_NE(object, nullptr);
        EXPECT_EQ(object->GetCount(), b.count);
        EXPECT_EQ(std::memcmp(object->GetEntries(), table, sizeof(RGBQUAD) * size_t(n)), 0) << b.name;
        EXPECT_EQ(object->Release(), 0u);
    }
    EXPECT_EQ(QPalette_PaletteGetGreyscale(), QPalette_PaletteGetGreyscale()) << "one shared table";
}

// Every built-in palette the files can hold survives both forms exactly;
// BW (2 entries) is refused by both.
TEST(PaletteFiles, RoundTripEveryBuiltIn) {
    for (const SBuiltIn& b : kBuiltIns) {
        int n = 0;
        const RGBQUAD* table = b.get(&n);
        CRowIterator image = PalettedImage(table, n);
        const auto text = ScratchDir() / (std::string(b.name) + ".txt");
        const auto riff = ScratchDir() / (std::string(b.name) + ".pal");
        const CErrorAutoThrow savedText = SaveDIBPal(Wide(text).c_str(), image);
        const CErrorAutoThrow savedRiff = SaveDIBMSPal(Wide(riff).c_str(), image);
        if (n != 16 && n != 256) {
            EXPECT_EQ(savedText, keQuorErrFailed);
            EXPECT_EQ(savedRiff, keQuorErrFailed);
            continue;
        }
        ASSERT_FALSE(savedText.IsError()) << b.name;
        ASSERT_FALSE(savedRiff.IsError()) << b.name;
        for (int form = 0; form < 2; ++form) {
            RGBQUAD back[256];
            std::memset(back, 0xAB, sizeof back);
            uint16_t count = 0;
            const CErrorAutoThrow r = form ? OpenMSPalFile(Wide(riff).c_str(), back, &count)
                                           : OpenPalFile(Wide(text).c_str(), back, &count);
            ASSERT_FALSE(r.IsError()) << b.name << " form " << form;
            EXPECT_EQ(count, n);
            for (int i = 0; i < n; ++i) EXPECT_TRUE(SameRgb(back[i], table[i]) && back[i].rgbReserved == 0);
        }
        CQPalette loaded;
        ASSERT_FALSE(loaded.Load(Wide(riff).c_str()).IsError());
        EXPECT_EQ(loaded, CQPalette(table, n));
    }
}

TEST(PaletteFiles, WrittenBytes) {
    const RGBQUAD* vga = QPalette_PaletteGetVGA16();
    CRowIterator image = PalettedImage(vga, 16);
    const auto text = ScratchDir() / "vga.txt";
    ASSERT_FALSE(SaveDIBPal(Wide(text).c_str(), image).IsError());
    const std::string t = ReadBytes(text);
    EXPECT_EQ(t.substr(0, 20), "QUOR-PAL\r\n0100\r\n16\r\n");
    EXPECT_EQ(t.substr(20, 18), "0 0 0\r\n128 0 0\r\n0 ") << "no leading zeros, single blanks";

    RGBQUAD withFlags[16];
    std::memcpy(withFlags, vga, sizeof withFlags);
    withFlags[1].rgbReserved = 7;
    CRowIterator flagged = PalettedImage(withFlags, 16);
    const auto riff = ScratchDir() / "vga.pal";
    ASSERT_FALSE(SaveDIBMSPal(Wide(riff).c_str(), flagged).IsError());
    const std::string r = ReadBytes(riff);
    const auto u32 = [&](size_t at) { uint32_t v; std::memcpy(&v, r.data() + at, 4); return v; };
    const uint32_t data = 4 * (16 + 2);  // four bytes more than the logical palette
    ASSERT_EQ(r.size(), 20 + data);
    EXPECT_EQ(r.substr(0, 4), "RIFF");
    EXPECT_EQ(u32(4), data + 12);
    EXPECT_EQ(r.substr(8, 8), "PAL data");
    EXPECT_EQ(u32(16), data);
    EXPECT_EQ(std::string(r.data() + 20, 4), std::string("\x00\x03\x10\x00", 4));
    EXPECT_EQ(std::string(r.data() + 24 + 4, 4), std::string("\x80\x00\x00\x07", 4)) << "red, green, blue, flags";
    EXPECT_EQ(std::string(r.data() + 20 + data - 4, 4), std::string(4, '\0'));
}

TEST(PaletteFiles, SaveRefusals) {
    RGBQUAD pal[256] = {};
    CRowIterator grey;
    ASSERT_FALSE(grey.CreateGreyscale(2, 2).IsError());
    CRowIterator detached;
    const auto path = Wide(ScratchDir() / "refused");
    for (int n : {0, 2, 15, 17, 255}) {
        if (n == 0) continue;
        CRowIterator image = PalettedImage(pal, n);
        EXPECT_EQ(SaveDIBPal(path.c_str(), image), keQuorErrFailed) << n;
        EXPECT_EQ(SaveDIBMSPal(path.c_str(), image), keQuorErrFailed) << n;
    }
    for (const CRowIterator* image : {&grey, &detached}) {
        EXPECT_EQ(SaveDIBPal(path.c_str(), *image), keQuorErrFailed);
        EXPECT_EQ(SaveDIBMSPal(path.c_str(), *image), keQuorErrFailed);
    }
    CRowIterator ok = PalettedImage(pal, 16);
    EXPECT_EQ(SaveDIBPal(nullptr, ok), keQuorErrFailed);
    EXPECT_EQ(SaveDIBMSPal(nullptr, ok), keQuorErrFailed);
    const std::wstring noDir = Wide(ScratchDir() / "missing" / "x.pal");
    EXPECT_EQ(SaveDIBMSPal(noDir.c_str(), ok), static_cast<QuorErrorCode>(240));
    EXPECT_EQ(SaveDIBPal(noDir.c_str(), ok), keQuorErrPaletteOpen);
}

// The text reader, byte by byte: each case is a whole file.
TEST(PaletteFiles, TextReaderCases) {
    const std::string head16 = "QUOR-PAL\r\n0100\r\n16\r\n";
    std::string sixteen;
    for (int i = 0; i < 16; ++i) sixteen += std::to_string(i) + " " + std::to_string(i * 16) + " 255\r\n";
    struct SCase {
        const char* name;
        std::string bytes;
        int code;
        int count;  // -1: not checked
    };
    const SCase cases[] = {
        {"good", head16 + sixteen, 0, 16},
        {"lower-case magic", "quor-pal\r\n0100\r\n16\r\n" + sixteen, 0, 16},
        {"LF only", "QUOR-PAL\n0100\n16\n" + sixteen, 312, -1},
        {"wrong magic", "QUOR-PAM\r\n0100\r\n16\r\n" + sixteen, 312, -1},
        {"version", "QUOR-PAL\r\n0101\r\n16\r\n" + sixteen, 529, -1},
        {"version case", "QUOR-PAL\r\n010O\r\n16\r\n" + sixteen, 529, -1},
        {"count 15", "QUOR-PAL\r\n0100\r\n15\r\n" + sixteen, 528, -1},
        {"count 255", "QUOR-PAL\r\n0100\r\n255\r\n" + sixteen, 528, -1},
        {"count 300", "QUOR-PAL\r\n0100\r\n300\r\n" + sixteen, 528, -1},
        {"value 1000", head16 + "1000 0 0\r\n" + sixteen, 312, 0},
        {"blue not ended by CR", head16 + "1 2 3456\r\n" + sixteen, 312, 0},
        {"truncated entries", head16 + sixteen.substr(0, 40), 202, -1},
        {"truncated header", "QUOR-PAL\r\n01", 202, -1},
        {"empty", "", 202, -1},
    };
    for (const SCase& c : cases) {
        const auto path = WriteBytes("case.txt", c.bytes);
        RGBQUAD pal[256] = {};
        uint16_t count = 99;
        const CErrorAutoThrow r = OpenPalFile(Wide(path).c_str(), pal, &count);
        EXPECT_EQ(r.PeekCode(), c.code) << c.name;
        r.Ignore();
        if (c.count >= 0) {
            EXPECT_EQ(count, c.count) << c.name;
        }
    }
    // Values above 255 clamp; one- to three-digit numbers all parse.
    const auto path = WriteBytes("clamp.txt", head16 + "999 7 42\r\n" + sixteen.substr(sixteen.find('\n') + 1));
    RGBQUAD pal[256] = {};
    uint16_t count = 0;
    ASSERT_FALSE(OpenPalFile(Wide(path).c_str(), pal, &count).IsError());
    EXPECT_TRUE(SameRgb(pal[0], Rgb(255, 7, 42)));
    EXPECT_TRUE(SameRgb(pal[15], Rgb(15, 240, 255)));
    // Null arguments and a missing file.
    EXPECT_EQ(OpenPalFile(nullptr, pal, &count), keQuorErrFailed);
    EXPECT_EQ(OpenPalFile(Wide(path).c_str(), nullptr, &count), keQuorErrFailed);
    EXPECT_EQ(OpenPalFile(Wide(path).c_str(), pal, nullptr), keQuorErrFailed);
    EXPECT_EQ(OpenPalFile(Wide(ScratchDir() / "none").c_str(), pal, &count), keQuorErrPaletteOpen);
}

std::string Riff(const std::string& form, const std::string& chunk, const std::string& data) {
    const auto le = [](uint32_t v) { return std::string{char(v), char(v >> 8), char(v >> 16), char(v >> 24)}; };
    const std::string inner = form + chunk + le(uint32_t(data.size())) + data;
    return "RIFF" + le(uint32_t(inner.size())) + inner;
}

std::string LogPalette(int declared, int entries, int extra = 0) {
    std::string s{char(0), char(3), char(declared & 0xFF), char(declared >> 8)};
    for (int i = 0; i < entries; ++i) s += std::string{char(i), char(2 * i), char(3 * i), char(0)};
    return s + std::string(size_t(extra), '\0');
}

TEST(PaletteFiles, RiffReaderCases) {
    struct SCase {
        const char* name;
        std::string bytes;
        int code;
        int count;
    };
    const SCase cases[] = {
        {"3 entries", Riff("PAL ", "data", LogPalette(3, 3)), 0, 16},
        {"17 entries", Riff("PAL ", "data", LogPalette(17, 17, 4)), 0, 256},
        {"not RIFF", "RIFX" + Riff("PAL ", "data", LogPalette(3, 3)).substr(4), 312, -1},
        {"wrong form", Riff("WAVE", "data", LogPalette(3, 3)), 312, -1},
        {"no data chunk", Riff("PAL ", "date", LogPalette(3, 3)), 312, -1},
        {"count 0", Riff("PAL ", "data", LogPalette(0, 0)), 528, -1},
        {"count 300", Riff("PAL ", "data", LogPalette(300, 300)), 528, -1},
        {"count beyond chunk", Riff("PAL ", "data", LogPalette(16, 3)), 528, -1},
        {"size not multiple of 4", Riff("PAL ", "data", LogPalette(3, 3, 2)), 528, -1},
        {"chunk longer than file", Riff("PAL ", "data", LogPalette(16, 16)).substr(0, 40), 202, -1},
        {"empty", "", 312, -1},
    };
    for (const SCase& c : cases) {
        const auto path = WriteBytes("case.pal", c.bytes);
        RGBQUAD pal[256];
        std::memset(pal, 0x5A, sizeof pal);
        uint16_t count = 0;
        const CErrorAutoThrow r = OpenMSPalFile(Wide(path).c_str(), pal, &count);
        EXPECT_EQ(r.PeekCode(), c.code) << c.name;
        r.Ignore();
        if (c.code == 0) {
            EXPECT_EQ(count, c.count) << c.name;
            EXPECT_TRUE(SameRgb(pal[2], Rgb(2, 4, 6))) << c.name;
            EXPECT_EQ(pal[2].rgbReserved, 0);
            EXPECT_EQ(pal[200].rgbBlue, 0x5A) << "entries beyond the file are left alone";
        }
    }
    RGBQUAD pal[256];
    uint16_t count = 0;
    EXPECT_EQ(OpenMSPalFile(Wide(ScratchDir() / "none").c_str(), pal, &count), keQuorErrPaletteOpen);
}

// Two RIFF palettes written by other software.
TEST(PaletteFiles, RealRiffPalettes) {
    struct SSpot {
        int index, r, g, b;
    };
    struct SFile {
        const char* name;
        int count;
        std::vector<SSpot> spots;
    };
    const SFile files[] = {
        {"palettes/riff/arne-v20-16.pal", 16, {{0, 0, 0, 0}, {1, 157, 157, 157}, {14, 49, 162, 242}, {15, 178, 220, 239}}},
        {"palettes/riff/sample.pal",
         256,
         {{0, 0, 0, 0}, {1, 128, 0, 0}, {7, 192, 192, 192}, {8, 192, 220, 192}, {9, 166, 202, 240},
          {19, 166, 202, 240}, {253, 255, 0, 255}, {254, 0, 255, 255}, {255, 255, 255, 255}}},
    };
    for (const SFile& f : files) {
        const auto path = TestData(f.name);
        if (!std::filesystem::exists(path)) GTEST_SKIP() << path << " not found";
        RGBQUAD pal[256] = {};
        uint16_t count = 0;
        ASSERT_FALSE(OpenMSPalFile(Wide(path).c_str(), pal, &count).IsError()) << f.name;
        EXPECT_EQ(count, f.count);
        for (const SSpot& s : f.spots) EXPECT_TRUE(SameRgb(pal[s.index], Rgb(s.r, s.g, s.b))) << f.name << " " << s.index;
    }
}

}  // namespace

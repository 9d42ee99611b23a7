// Nearest-colour search, exact lookups and gamma tables.
#include <cmath>
#include <cstring>
#include <random>

#include "PaletteTestUtil.h"

using namespace palette_test;

namespace {

// Structure-of-arrays exhaustive search written apart from the library's:
// smallest squared distance, then the lowest index holding it.
struct SReference {
    std::vector<int> r, g, b;
    explicit SReference(const RGBQUAD* pal, int n) {
        for (int i = 0; i < n; ++i) {
            r.push_back(pal[i].rgbRed);
            g.push_back(pal[i].rgbGreen);
            b.push_back(pal[i].rgbBlue);
        }
    }
    // Distance and index packed in one key: the smallest key is the smallest
    // distance at the lowest index, and the loop is one vectorised minimum.
    int Nearest(int R, int G, int B, std::vector<int>&) const {
        const size_t n = r.size();
        int best = INT32_MAX;
        for (size_t i = 0; i < n; ++i) {
            const int d = (R - r[i]) * (R - r[i]) + (G - g[i]) * (G - g[i]) + (B - b[i]) * (B - b[i]);
            best = std::min(best, d << 8 | int(i));
        }
        return best & 0xFF;
    }
};

std::vector<RGBQUAD> RandomPalette(int n, uint32_t seed, bool duplicates) {
    std::mt19937 rng(seed);
    std::vector<RGBQUAD> p(static_cast<size_t>(n));
    for (auto& e : p) e = RGBQUAD{BYTE(rng()), BYTE(rng()), BYTE(rng()), 0};
    if (duplicates)
        for (int i = 0; i + 1 < n; i += 7) p[size_t(i + 1)] = p[size_t(i)];  // equal entries: the lower index wins
    return p;
}

// The cached search answers like the exhaustive one for every 24-bit colour
// (every 3rd blue level for the two large synthetic palettes, every 5th in
// unoptimised builds, to keep the run short).
TEST(NearestColour, CachedEqualsExhaustiveEverywhere) {
    struct SPal {
        const char* name;
        std::vector<RGBQUAD> entries;
        int step = 1;
    };
    std::vector<SPal> palettes;
    int n = 0;
    const RGBQUAD* vga = QPalette_PaletteGetVGA16(&n);
    palettes.push_back({"VGA16", {vga, vga + n}});
    const RGBQUAD* ns = QPalette_PaletteGetNetscape(&n);
    palettes.push_back({"Netscape (duplicate whites)", {ns, ns + n}, 3});
    palettes.push_back({"random 256 with duplicates", RandomPalette(256, 7, true), 3});
    palettes.push_back({"random 5", RandomPalette(5, 11, false)});
    const auto sample = TestData("palettes/riff/sample.pal");
    if (std::filesystem::exists(sample)) {
        RGBQUAD pal[256];
        uint16_t count = 0;
        if (!OpenMSPalFile(Wide(sample).c_str(), pal, &count).IsError()) palettes.push_back({"sample.pal", {pal, pal + count}});
    }
#ifdef NDEBUG
    const int debugStep = 1;
#else
    const int debugStep = 5;
#endif
    for (const SPal& p : palettes) {
        const int count = int(p.entries.size());
        const auto* bytes = reinterpret_cast<const uint8_t*>(p.entries.data());
        const SReference ref(p.entries.data(), count);
        std::vector<int> scratch(static_cast<size_t>(count));
        tagColorLookupCache* cache = CreateColorLookupCache(count);
        ASSERT_NE(cache, nullptr);
        LockColorLookupCache(cache);
        int mismatches = 0;
        const int blueStep = p.step * debugStep;
        for (int r = 0; r < 256; ++r)
            for (int g = 0; g < 256; ++g)
                for (int b = 0; b < 256; b += blueStep) {
                    const int want = ref.Nearest(r, g, b, scratch);
                    const int cached = LocateNearestColor(uint32_t(r), uint32_t(g), uint32_t(b), bytes, count, 4, cache);
                    if (cached != want && ++mismatches <= 3)
                        ADD_FAILURE() << p.name << " (" << r << "," << g << "," << b << "): " << cached << " vs " << want;
                }
        EXPECT_EQ(mismatches, 0) << p.name;
        // A second pass is served by the hash slots and bucket lists built above.
        for (int i = 0; i < 20000; ++i) {
            const int r = (i * 37) & 255, g = (i * 91) & 255, b = (i * 53) & 255;
            ASSERT_EQ(LocateNearestColor(uint32_t(r), uint32_t(g), uint32_t(b), bytes, count, 4, cache),
                      LocateNearestColor(uint32_t(r), uint32_t(g), uint32_t(b), bytes, count, 4, nullptr));
        }
        UnlockColorLookupCache(cache);
        FreeColorLookupCache(cache);
    }
}

TEST(NearestColour, CacheFollowsThePalette) {
    std::vector<RGBQUAD> a = RandomPalette(64, 3, false), b = RandomPalette(64, 4, false);
    tagColorLookupCache* cache = CreateColorLookupCache();
    const auto query = [&](const std::vector<RGBQUAD>& p, int stride = 4) {
        return LocateNearestColor(10, 200, 30, reinterpret_cast<const uint8_t*>(p.data()), int(p.size()) * 4 / stride,
                                  stride, cache);
    };
    const auto exhaustive = [](const std::vector<RGBQUAD>& p) {
        return LocateNearestColor(10, 200, 30, reinterpret_cast<const uint8_t*>(p.data()), int(p.size()), 4, nullptr);
    };
    EXPECT_EQ(query(a), exhaustive(a));
    EXPECT_EQ(query(b), exhaustive(b)) << "another palette";
    // An entry edited in place is noticed at the next lock.
    b[5] = RGBQUAD{30, 200, 10, 0};
    LockColorLookupCache(cache);
    EXPECT_EQ(query(b), 5);
    UnlockColorLookupCache(cache);
    FreeColorLookupCache(cache);
}

TEST(NearestColour, EdgeCases) {
    const RGBQUAD pal[] = {{10, 10, 10, 0}, {20, 20, 20, 0}, {10, 10, 10, 0}, {200, 0, 0, 0}};
    const auto* bytes = reinterpret_cast<const uint8_t*>(pal);
    tagColorLookupCache* cache = CreateColorLookupCache(4);
    struct SCase {
        uint32_t r, g, b;
        int count, stride, want;
    };
    const SCase cases[] = {
        {10, 10, 10, 4, 4, 0},    // exact, duplicated at 2: the lower index
        {15, 15, 15, 4, 4, 0},    // equidistant from 0 and 1: the lower index
        {16, 16, 16, 4, 4, 1},
        {0, 0, 255, 4, 4, 3},     // red 0, blue 255: entry 3 has blue 200
        {999, 999, 999, 4, 4, 3}, // channels above 255 count as 255
        {1, 2, 3, 0, 4, 0},       // empty palette
        {20, 20, 20, 2, 8, 0},    // stride 8 sees entries 0 and 2 only
    };
    for (const SCase& c : cases) {
        EXPECT_EQ(LocateNearestColor(c.r, c.g, c.b, bytes, c.count, c.stride, nullptr), c.want);
        EXPECT_EQ(LocateNearestColor(c.r, c.g, c.b, bytes, c.count, c.stride, cache), c.want);
        EXPECT_EQ(LocateNearestColor(c.r, c.g, c.b, bytes, c.count, c.stride, cache), c.want) << "from the slot";
    }
    FreeColorLookupCache(cache);
    EXPECT_EQ(LocateNearestColorExclude(10, 10, 10, bytes, 4, 4, 0), 2);
    EXPECT_EQ(LocateNearestColorExclude(10, 10, 10, bytes, 4, 4, 2), 0);
    EXPECT_EQ(LocateNearestColorExclude(200, 0, 0, bytes, 1, 4, 0), 0) << "nothing else left";

    CRowIterator image = PalettedImage(pal, 4);
    const uint8_t ten = 10, twenty = 20, zero = 0, two00 = 200;
    EXPECT_EQ(LocateColorInPal(image, &ten, &ten, &ten), 0);
    EXPECT_EQ(LocateColorInPal(image, &twenty, &twenty, &twenty), 1);
    EXPECT_EQ(LocateColorInPal(image, &zero, &zero, &two00), 3);
    EXPECT_EQ(LocateColorInPal(image, &zero, &zero, &zero), -1);
    EXPECT_EQ(LocateColorInPal(image, nullptr, &zero, &zero), -1);

    int a = 0, b = 0;
    EXPECT_TRUE(LocateColorPairInPal(image, pal[1], pal[3], a, b));
    EXPECT_EQ(a, 1);
    EXPECT_EQ(b, 3);
    EXPECT_FALSE(LocateColorPairInPal(image, RGBQUAD{11, 11, 11, 0}, RGBQUAD{12, 12, 12, 0}, a, b));
    EXPECT_EQ(a, 0);
    EXPECT_EQ(b, 2) << "kept apart: the nearest other entry";
}

TEST(GammaTable, ClosedForm) {
    for (double gamma : {0.1, 0.25, 0.45, 1.0, 2.2, 5.0, 9.0}) {
        const double g = std::clamp(gamma, 0.25, 5.0);
        uint8_t lut8[256];
        MakeGammaLUT(lut8, gamma);
        for (int i = 0; i < 256; ++i)
            ASSERT_EQ(lut8[i], std::min(255, int(std::pow(i / 255.0, 1 / g) * 255.9999))) << gamma << " " << i;
        std::vector<uint16_t> lut16(65536);
        MakeGammaLUT(lut16.data(), gamma);
        for (int i = 0; i < 65536; i += 257)
            ASSERT_EQ(lut16[size_t(i)], std::min(65535, int(std::pow(i / 65535.0, 1 / g) * 65535.9999)));
        EXPECT_EQ(lut8[0], 0);
        EXPECT_EQ(lut8[255], 255);
    }
    uint8_t lut[256];
    MakeGammaLUT(lut, 2.0);
    EXPECT_EQ(lut[64], 128) << "sqrt(64/255)·255.9999 = 128.2";
}

}  // namespace

// Shared tables at their corners, the fixed-point helpers they stand beside,
// and start-up and shut-down.
#include <gtest/gtest.h>

#include <cmath>

#include "qdibcore/Source/internal/pixel/PixelMath.h"
#include "rowops_test_util.h"

namespace {

using namespace qgdi::px;

uint32_t RoundDiv(uint64_t a, uint64_t b) { return static_cast<uint32_t>((2 * a + b) / (2 * b)); }

TEST(Tables, Div255thsCorners) {
    const uint8_t(*t)[256] = GetDiv255thsTable();
    for (int b : {0, 1, 77, 200, 255}) {
        EXPECT_EQ(t[255][b], b);
        EXPECT_EQ(t[0][b], 0);
    }
    EXPECT_EQ(t[128][200], 255);  // 398, clamped
    EXPECT_EQ(t[200][100], 127);
    EXPECT_EQ(t[2][1], 127);
    EXPECT_EQ(t[254][254], 255);
}

TEST(Tables, Mask64KCorners) {
    const uint8_t* m = GetMask64KLUT();
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m[65025], 255);
    EXPECT_EQ(m[126], 0);
    EXPECT_EQ(m[127], 1);
    EXPECT_EQ(m[0], 0);
    EXPECT_EQ(m[128 * 255], 128);
}

TEST(Tables, AlphaRatioCorners) {
    const uint32_t(*r)[256] = GetAlphaRatioTable();
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(r[255][255], 65536u);
    EXPECT_EQ(r[1][2], 32768u);
    EXPECT_EQ(r[0][17], 0u);
    EXPECT_EQ(r[1][3], 21845u);  // 65536 / 3 = 21845.33
    EXPECT_EQ(r[2][3], 43691u);  // 131072 / 3 = 43690.67
    EXPECT_EQ(r[255][1], 255u * 65536u);
}

TEST(Tables, Sqrt256Corners) {
    const uint8_t* s = GetSqrt256Table();
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s[0], 0);
    EXPECT_EQ(s[255], 255);
    EXPECT_EQ(s[64], 127);  // sqrt(64 / 255) x 255 = 127.75
    EXPECT_EQ(s[1], 15);    // 15.97
}

TEST(Tables, DissolveIsTheSeededRuntimeSequence) {
    // rand() seeded with 1 starts 41, 18467, 6334, 26500, 19169 on the C
    // runtime the pattern was made with.
    const uint8_t(*d)[kDissolveSize] = GetDissolveTable();
    ASSERT_NE(d, nullptr);
    const uint8_t first[] = {41, 18467 % 254, 6334 % 254, 26500 % 254, 19169 % 254};
    for (int i = 0; i < 5; ++i) EXPECT_EQ(d[0][i], first[i]) << i;
    for (int y = 0; y < kDissolveSize; ++y)
        for (int x = 0; x < kDissolveSize; ++x) ASSERT_LT(d[y][x], 254);
}

TEST(FixedPoint, DivisionFreeRoundingIsExact) {
    for (uint32_t x = 0; x <= 65025; ++x) ASSERT_EQ(Div255(x), RoundDiv(x, 255)) << x;
    for (uint64_t x = 0; x <= 65535ull * 65535; x += 65519) ASSERT_EQ(Div65535(uint32_t(x)), RoundDiv(x, 65535)) << x;
    ASSERT_EQ(Div65535(65535u * 65535u), 65535u);
    for (int32_t v = 0; v <= 65535; ++v) ASSERT_EQ((Cast<uint8_t, uint16_t>(v)), int32_t(RoundDiv(v, 257))) << v;
}

TEST(FixedPoint, WideningRoundTripsAndFloatTruncates) {
    for (int32_t v = 0; v < 256; ++v) {
        EXPECT_EQ((Cast<uint8_t, uint16_t>(Cast<uint16_t, uint8_t>(v))), v);
        EXPECT_EQ((Cast<uint8_t, float>(Cast<float, uint8_t>(v))), v);
    }
    for (int32_t v = 0; v < 65536; v += 7) EXPECT_EQ((Cast<uint16_t, float>(Cast<float, uint16_t>(v))), v);
    EXPECT_EQ((Cast<uint8_t, float>(0.5f)), 127);
    EXPECT_EQ((Cast<uint8_t, float>(2.0f)), 255);
    EXPECT_EQ((Cast<uint8_t, float>(-1.0f)), 0);
    EXPECT_EQ((Cast<uint8_t, float>(std::nanf(""))), 0);
    EXPECT_EQ((Cast<uint16_t, float>(1.0f)), 65535);
}

// Tables the host already has are used as given and never freed: the sanitizer
// build would report freeing these static arrays.
const void* Provide(EInstanceDataID id) {
    static uint8_t mask[kMask64KSize];
    static uint8_t sqrtTable[256];
    switch (id) {
    case keInstanceDataMask64K: return mask;
    case keInstanceDataSqrt256: return sqrtTable;
    default: return nullptr;
    }
}

TEST(Startup, ProviderTablesAreUsedAndNotFreed) {
    ASSERT_TRUE(QGDI_RowOpsStartup(Provide));
    EXPECT_EQ(GetMask64KLUT(), Provide(keInstanceDataMask64K));
    EXPECT_EQ(GetSqrt256Table(), Provide(keInstanceDataSqrt256));
    EXPECT_NE(GetAlphaRatioTable(), nullptr);
    QGDI_RowOpsShutdown();
    ASSERT_TRUE(QGDI_RowOpsStartup(nullptr));
    EXPECT_NE(GetMask64KLUT(), Provide(keInstanceDataMask64K));
    EXPECT_EQ(GetMask64KLUT()[65025], 255);
}

bool g_fontOk = true;
int g_fontStarts = 0, g_fontStops = 0;
bool FontStart() { return ++g_fontStarts, g_fontOk; }
void FontStop() { ++g_fontStops; }

TEST(Startup, SystemStartsOnceAndFailsCleanly) {
    QGDI_SystemShutdown();
    QGDI_SetFontCacheHooks(FontStart, FontStop);
    g_fontStarts = g_fontStops = 0;
    g_fontOk = false;
    EXPECT_EQ(QGDI_SystemStartup(), keQuorErrFailed);
    EXPECT_FALSE(QGDI_IsSystemStarted());
    g_fontOk = true;
    EXPECT_EQ(QGDI_SystemStartup(), keQuorErrSuccess);
    EXPECT_EQ(QGDI_SystemStartup(), keQuorErrSuccess);
    EXPECT_EQ(g_fontStarts, 2);  // the second success returned at once
    EXPECT_TRUE(QGDI_IsSystemStarted());
    EXPECT_NE(GetDissolveTable(), nullptr);
    QGDI_SystemShutdown();
    QGDI_SystemShutdown();
    EXPECT_EQ(g_fontStops, 1);
    QGDI_SetFontCacheHooks(nullptr, nullptr);
    EXPECT_EQ(QGDI_SystemStartup(), keQuorErrSuccess);
}

}  // namespace

// Process-wide raster settings and the scan-receiver protocol.
#include <gtest/gtest.h>

#include "scan_test_util.h"

using namespace qgdi::scantest;

TEST(RasterProps, DefaultsOfTheSystemInstance) {
    const SRasterProps& p = *QGDI_GetSystemRasterProps();
    EXPECT_EQ(p.antialiasingFilter, keAAFilterBox);
    EXPECT_EQ(p.antialiasingLevel, 8);
    EXPECT_EQ(p.lineDraw, 1);
    EXPECT_DOUBLE_EQ(p.pathFlatness, 0.05);
    EXPECT_EQ(p.polyFillMode, kePolyFillNonZero);
    EXPECT_TRUE(p.textRender);
    EXPECT_EQ(p.textRenderMemory, 1000000u);
    EXPECT_EQ(SRasterProps{}.antialiasingLevel, 8);
}

TEST(RasterProps, LevelIsClampedAndSettersReturnThePreviousValue) {
    const int saved = QGDI_GetAntialiasingLevel();
    struct {
        int set, stored;
    } const cases[] = {{0, 1}, {12, 8}, {5, 5}, {-3, 1}, {8, 8}, {1, 1}};
    int previous = QGDI_SetAntialiasingLevel(4);
    EXPECT_EQ(previous, saved);
    previous = 4;
    for (const auto& c : cases) {
        EXPECT_EQ(QGDI_SetAntialiasingLevel(c.set), previous) << c.set;
        EXPECT_EQ(QGDI_GetAntialiasingLevel(), c.stored) << c.set;
        previous = c.stored;
    }
    QGDI_SetAntialiasingLevel(saved);

    EXPECT_EQ(QGDI_SetAntialiasingFilter(keAAFilterFast), keAAFilterBox);
    EXPECT_EQ(QGDI_SetAntialiasingFilter(keAAFilterBox), keAAFilterFast);
    EXPECT_EQ(QGDI_SetPolyFillMode(kePolyFillEvenOdd), kePolyFillNonZero);
    EXPECT_EQ(QGDI_GetPolyFillMode(), kePolyFillEvenOdd);
    EXPECT_EQ(QGDI_SetPolyFillMode(kePolyFillNonZero), kePolyFillEvenOdd);
    EXPECT_TRUE(QGDI_SetSystemTextRender(false));
    EXPECT_FALSE(QGDI_SetSystemTextRender(true));
    EXPECT_EQ(QGDI_SetSystemTextRenderMemory(5), 1000000u);
    EXPECT_EQ(QGDI_SetSystemTextRenderMemory(1000000), 5u);
    const uint32_t sw = QGDI_SetSwitch(0xABCD);
    EXPECT_EQ(QGDI_GetSwitch(), 0xABCDu);
    EXPECT_EQ(QGDI_SetSwitch(sw), 0xABCDu);
}

TEST(ScanReceiver, RectAndMaskAreSplitIntoRuns) {
    struct Case {
        const char* name;
        std::vector<uint8_t> mask;  // empty: a rectangle 3 wide at coverage 40 and the height below
        int height;
        std::vector<qgdi::scantest::ScanRun> expected;
    } const cases[] = {
        {"mask", {0, 7, 7, 0, 9}, 0, {{11, 5, 7, 2}, {14, 5, 9, 1}}},
        {"mask-equal-neighbours", {3, 3, 4, 4, 4, 0}, 0, {{10, 5, 3, 2}, {12, 5, 4, 3}}},
        {"mask-all-zero", {0, 0, 0}, 0, {}},
        {"rect", {}, 3, {{10, 5, 40, 3}, {10, 6, 40, 3}, {10, 7, 40, 3}}},
        {"rect-zero-height", {}, 0, {}},
        {"rect-negative-height", {}, -2, {}},
    };
    for (const Case& c : cases) {
        CRecorder r;
        if (!c.mask.empty())
            r.AddScanMask(10, 5, c.mask.data(), int(c.mask.size()));
        else
            r.AddScanRect(10, 5, 3, c.height, 40);
        EXPECT_EQ(r.runs, c.expected) << c.name;
    }
}

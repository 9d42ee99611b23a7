// Transfer curves and the shared lightness table.
#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include "ColourTestData.h"
#include "colour/colour.h"
#include "colour/internal/TransferCurveKernels.h"

namespace {

SColorSpecRGB Curve(uint32_t kind, double gamma) { return qgdi::test::WithCurve(kind, gamma); }

// Decoded values at and around each curve's threshold, from the published
// definitions (IEC 61966-2-1 sRGB, ITU-R BT.709, CIE L*: L* = 50 is Y = 0.18419).
struct SCurvePoint {
    const char* what;
    SColorSpecRGB cs;
    double device, linear;
    // The sRGB pieces miss each other by 3e-8 at the threshold (rounded
    // constants of the standard), so the encode there only comes back to that.
    double encodeTolerance = 1e-9;
};

const SCurvePoint kCurvePoints[] = {
    {"sRGB threshold", Curve(keGammaSRGB, 0), 0.04045, 0.04045 / 12.92, 1e-7},
    {"sRGB mid", Curve(keGammaSRGB, 0), 0.5, 0.21404114048223255},
    {"sRGB from kind 0 without exponent", Curve(keGammaPower, 0), 0.5, 0.21404114048223255},
    {"sRGB from unknown kind", Curve(7, 2.2), 0.5, 0.21404114048223255},
    {"power 2.2", Curve(keGammaPower, 2.2), 0.5, 0.21763764082403103},
    {"Rec.709 threshold", Curve(keGammaRec709, 0), 0.081, 0.018},
    {"Rec.709 mid", Curve(keGammaRec709, 0), 0.5, 0.25958940050628576},
    {"L* threshold (L* = 8)", Curve(keGammaLStar, 0), 0.08, 216.0 / 24389.0},
    {"L* = 50", Curve(keGammaLStar, 0), 0.5, 0.18418651851244416},
    {"white", Curve(keGammaRec709, 0), 1.0, 1.0},
};

class CurvePoints : public ::testing::TestWithParam<SCurvePoint> {};

TEST_P(CurvePoints, DecodeEncodeAndOddSymmetry) {
    const SCurvePoint& p = GetParam();
    EXPECT_NEAR(DtoY(p.device, p.cs), p.linear, 1e-12) << p.what;
    EXPECT_NEAR(YtoD(p.linear, p.cs), p.device, p.encodeTolerance) << p.what;
    EXPECT_EQ(DtoY(-p.device, p.cs), -DtoY(p.device, p.cs)) << p.what;
    EXPECT_EQ(YtoD(-p.linear, p.cs), -YtoD(p.linear, p.cs)) << p.what;
    EXPECT_EQ(YtoD(0.0, p.cs), 0.0);
    // Both branches meet at the threshold (a wrong constant would leave a step).
    const double below = std::nextafter(p.device, 0.0);
    EXPECT_NEAR(DtoY(below, p.cs), DtoY(p.device, p.cs), 1e-7) << p.what;
}

INSTANTIATE_TEST_SUITE_P(Kinds, CurvePoints, ::testing::ValuesIn(kCurvePoints), [](const auto& info) {
    std::string name = info.param.what;
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
});

// sRGB encode points of the shared reference data (IEC 61966-2-1; 0.18 from colour-science).
TEST(TransferCurves, SRGBEncodeMatchesPublishedPoints) {
    COLOUR_REQUIRE_CSV(csv, "lindbloom-matrices/srgb_transfer.csv");
    ASSERT_GE(csv.rows.size(), 4u);
    for (const auto& row : csv.rows)
        EXPECT_NEAR(YtoD(std::stod(row[0]), kColorSpecSRGB), std::stod(row[1]), 1e-9) << row[0];
}

TEST(TransferCurves, EveryKindRoundTrips) {
    for (const SColorSpecRGB& cs : {Curve(0, 2.2), Curve(1, 0), Curve(2, 0), Curve(3, 0), Curve(0, 1.8)})
        for (double x = -1.25; x <= 1.25; x += 1.0 / 64)
            EXPECT_NEAR(YtoD(DtoY(x, cs), cs), x, 1e-12) << cs.nGammaType << " " << x;
}

// Inside 0..1 YtoL answers from the table (entry trunc(y x 8191)), so it
// never exceeds the exact L*/100 and trails it by at most one entry.
TEST(TransferCurves, YtoLInsideAndOutsideTheTable) {
    auto exactL = [](double y) { return y <= 216.0 / 24389 ? y * 24389 / 27 / 100 : (116 * std::cbrt(y) - 16) / 100; };
    for (double y = 0; y <= 1.0; y += 1.0 / 1000) {
        const int i = int(y * 8191);
        EXPECT_DOUBLE_EQ(YtoL(y), exactL(i / 8191.0)) << y;
        EXPECT_LE(YtoL(y), exactL(y) + 1e-15);
    }
    EXPECT_EQ(YtoL(1.0), 1.0);
    EXPECT_NEAR(YtoL(1.5), 1.1678685, 1e-7);  // outside: computed, (116 cbrt 1.5 - 16)/100
    EXPECT_DOUBLE_EQ(YtoL(-0.5), -exactL(0.5));
    EXPECT_EQ(YtoL(-1e-6), 0.0);  // index 0 after truncation toward zero
    // LtoY is the exact inverse of the curve.
    for (double l : {0.0, 0.05, 0.08, 0.5, 1.0, 1.3}) EXPECT_NEAR(exactL(LtoY(l)), l, 1e-14) << l;
    EXPECT_DOUBLE_EQ(DtoL(0.5, kColorSpecSRGB), YtoL(DtoY(0.5, kColorSpecSRGB)));
    EXPECT_DOUBLE_EQ(LtoD(0.5, kColorSpecSRGB), YtoD(LtoY(0.5), kColorSpecSRGB));
}

// Sixteen threads ask for the table at the same moment: it is filled once and
// all of them read the finished values (run under ThreadSanitizer too).
TEST(TransferCurves, YtoLTableIsBuiltOnceUnderContention) {
    qgdi::colour::YtoLTableResetForTest();
    constexpr int kThreads = 16;
    std::latch start(kThreads);
    std::vector<double> seen(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            seen[size_t(i)] = YtoL(0.5) + YtoL(1.0);
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(qgdi::colour::YtoLTableBuildCount(), 1);
    for (double v : seen) EXPECT_EQ(v, seen[0]);
    EXPECT_EQ(seen[0], YtoL(0.5) + 1.0);
}

}  // namespace

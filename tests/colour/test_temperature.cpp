// Correlated colour temperature and tint (Robertson's method).
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "ColourTestData.h"
#include "colour/colour.h"
#include "colour/internal/RobertsonTable.h"

namespace {

using qgdi::colour::kRobertsonIsotherms;
using qgdi::colour::kRobertsonRows;

void XYZtouv1960(double X, double Y, double Z, double& u, double& v) {
    double Yo;
    XYZtouvY(X, Y, Z, u, v, Yo, 0.95047, 1.0, 1.08883, keUCS1960);
}

// The embedded table is Robertson's (Wyszecki & Stiles Table 1(3.11), with the
// corrected 325-mired u), digit for digit.
TEST(Temperature, TableMatchesPublishedIsotherms) {
    COLOUR_REQUIRE_CSV(csv, "robertson1968/robertson1968_isotemperature_lines.csv");
    ASSERT_EQ(csv.rows.size(), size_t(kRobertsonRows));
    for (int i = 0; i < kRobertsonRows; ++i) {
        const auto& row = csv.rows[size_t(i)];
        EXPECT_NEAR(kRobertsonIsotherms[i].r * 1e6, std::stod(row[0]), 1e-9);
        EXPECT_EQ(kRobertsonIsotherms[i].u, std::stod(row[1])) << row[0];
        EXPECT_EQ(kRobertsonIsotherms[i].v, std::stod(row[2])) << row[0];
        EXPECT_EQ(kRobertsonIsotherms[i].t, std::stod(row[3])) << row[0];
    }
}

// colour-science's grid of (CCT, Duv) -> 1960 uv by Robertson interpolation:
// forward to 1e-7, and the inverse search back to the grid point.
TEST(Temperature, ReferenceGridBothWays) {
    COLOUR_REQUIRE_CSV(csv, "robertson1968/robertson_cct_duv_to_uv_reference.csv");
    ASSERT_GE(csv.rows.size(), 100u);
    double worstT = 0, worstTint = 0;
    for (const auto& row : csv.rows) {
        const double T = std::stod(row[0]), duv = std::stod(row[1]), u = std::stod(row[2]), v = std::stod(row[3]);
        double X, Y, Z, u2, v2;
        ASSERT_TRUE(TempTinttoXYZ(T, duv, X, Y, Z));
        EXPECT_EQ(Y, 1.0);
        XYZtouv1960(X, Y, Z, u2, v2);
        EXPECT_NEAR(u2, u, 1e-7) << T << " " << duv;
        EXPECT_NEAR(v2, v, 1e-7) << T << " " << duv;
        // Back from the published uv (Y = 1).
        double T2, tint2;
        uvYtoXYZ(u, v, 1.0, X, Y, Z, keUCS1960);
        ASSERT_TRUE(XYZtoTempTint(X, Y, Z, T2, tint2)) << T << " " << duv;
        worstT = std::max(worstT, std::fabs(T2 - T));
        worstTint = std::max(worstTint, std::fabs(tint2 - duv));
    }
    // colour-science itself accepts 0.25 K; an exact inverse is far tighter.
    EXPECT_LT(worstT, 1e-3);
    EXPECT_LT(worstTint, 1e-8);
    double T0, d0;
    EXPECT_FALSE(XYZtoTempTint(0, 0, 0, T0, d0));
}

// CIE illuminant A is 2856 K and D65 is about 6504 K (CIE 15:2004); both sit
// just off the Planckian locus in the 1960 plane.
TEST(Temperature, StandardIlluminants) {
    struct SCase {
        double x, y, T, tolerance;
    };
    for (const SCase& c : {SCase{0.44757, 0.40745, 2856, 2}, SCase{0.31271, 0.32902, 6504, 4}}) {
        double X, Y, Z, T, tint;
        xyYtoXYZ(c.x, c.y, 1.0, X, Y, Z);
        ASSERT_TRUE(XYZtoTempTint(X, Y, Z, T, tint));
        EXPECT_NEAR(T, c.T, c.tolerance);
        EXPECT_LT(std::fabs(tint), 0.004);
    }
}

// The table ends at 600 mired (1666.67 K); a temperature on a row gives that
// row's uv; a tint moves the point by |tint| in the uv plane.
TEST(Temperature, TableBoundsAndExactRows) {
    double x, y, X, Y, Z;
    EXPECT_FALSE(TempTinttoxy(1666.0, 0, x, y));
    EXPECT_FALSE(TempTinttoXYZ(1666.0, 0, X, Y, Z));
    EXPECT_FALSE(TempTinttoxy(-5000.0, 0, x, y));
    for (int i = 0; i < kRobertsonRows; ++i) {
        const auto& row = kRobertsonIsotherms[i];
        const double T = i == 0 ? INFINITY : 1.0 / row.r;
        ASSERT_TRUE(TempTinttoxy(T, 0, x, y)) << i;
        const double d = 2 * row.u - 8 * row.v + 4;
        EXPECT_NEAR(x, 3 * row.u / d, 1e-12) << i;
        EXPECT_NEAR(y, 2 * row.v / d, 1e-12) << i;
        double u, v;
        for (double tint : {0.0, 0.01, -0.02}) {
            ASSERT_TRUE(TempTinttoXYZ(T, tint, X, Y, Z)) << i;
            XYZtouv1960(X, Y, Z, u, v);
            EXPECT_NEAR(std::hypot(u - row.u, v - row.v), std::fabs(tint), 1e-12) << i;
            ASSERT_TRUE(TempTinttoxy(T, tint, x, y));
            XYZtouv1960(x, y, 1 - x - y, u, v);
            EXPECT_NEAR(std::hypot(u - row.u, v - row.v), std::fabs(tint), 1e-12) << i;
        }
    }
    // A tint that drives v' below zero gives black, still inside the table.
    ASSERT_TRUE(TempTinttoXYZ(1666.6666666666667, -1.0, X, Y, Z));
    EXPECT_TRUE(X == 0 && Y == 0 && Z == 0);
}

}  // namespace

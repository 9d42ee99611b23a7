// Chromatic adaptation and colour differences.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "ColourTestData.h"
#include "colour/colour.h"

namespace {

using qgdi::test::ExpectNear3;

constexpr double kD65[3] = {0.95047, 1.0, 1.08883}, kD50[3] = {0.96422, 1.0, 0.82521};

// Lindbloom's published Bradford and von Kries matrices between D65 and D50.
// The matrix handed out is A transposed: A[r][c] = e(c, r). The cone inverses
// are the published 6-decimal ones, so agreement is to the 4 decimals asked.
TEST(ChromaticAdaptation, MatchesPublishedMatrices) {
    COLOUR_REQUIRE_CSV(csv, "lindbloom-matrices/matrices.csv");
    int checked = 0;
    for (const auto& row : csv.rows) {
        if (row[0] != "bradford" && row[0] != "vonkries") continue;
        const double* src = row[1] == "D65" ? kD65 : kD50;
        const double* dst = row[2] == "D65" ? kD65 : kD50;
        const CGenMatrix m = CreateChromaticAdaptationMatrix(src[0], src[1], src[2], dst[0], dst[1], dst[2],
                                                             row[0] == "bradford" ? keAdaptBradford : keAdaptVonKries);
        ASSERT_TRUE(m.rows() == 3 && m.cols() == 3);
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 3; ++c) EXPECT_NEAR(m(c, r), std::stod(row[size_t(3 + r * 3 + c)]), 5e-5) << row[0];
        ++checked;
    }
    EXPECT_EQ(checked, 3);
}

TEST(ChromaticAdaptation, WhiteGoesToWhiteForEveryType) {
    std::mt19937 rng(2);
    std::uniform_real_distribution<double> d(0.7, 1.3);
    for (EChromaticAdaptationType type :
         {keAdaptXYZScaling, keAdaptVonKries, keAdaptBradford, EChromaticAdaptationType(9)}) {
        for (int n = 0; n < 50; ++n) {
            const double s[3] = {d(rng), d(rng), d(rng)}, t[3] = {d(rng), d(rng), d(rng)};
            const CGenMatrix m = CreateChromaticAdaptationMatrix(s[0], s[1], s[2], t[0], t[1], t[2], type);
            double X, Y, Z;
            ChromaticAdaptation(s[0], s[1], s[2], X, Y, Z, m);
            // Exact for the identity cones; within the rounding of the
            // published inverses (6 decimals) for the others.
            ExpectNear3({X, Y, Z}, {t[0], t[1], t[2]}, type == keAdaptXYZScaling ? 1e-15 : 1e-5);
        }
    }
    // Unknown types are Bradford; XYZ scaling is the diagonal of the white ratios.
    const CGenMatrix b = CreateChromaticAdaptationMatrix(kD65[0], 1, kD65[2], kD50[0], 1, kD50[2], keAdaptBradford);
    EXPECT_EQ(CreateChromaticAdaptationMatrix(kD65[0], 1, kD65[2], kD50[0], 1, kD50[2], EChromaticAdaptationType(7)),
              b);
    const CGenMatrix s = CreateChromaticAdaptationMatrix(2, 4, 5, 1, 1, 1, keAdaptXYZScaling);
    EXPECT_NEAR(s(0, 0), 0.5, 1e-15);
    EXPECT_NEAR(s(2, 2), 0.2, 1e-15);
    EXPECT_EQ(s(0, 1), 0.0);
    // Bad input: a white without response in a cone, a matrix of the wrong shape.
    EXPECT_EQ(CreateChromaticAdaptationMatrix(0, 0, 0, 1, 1, 1, keAdaptBradford), CGenMatrix::identity(3));
    double X, Y, Z;
    ChromaticAdaptation(0.1, 0.2, 0.3, X, Y, Z, CGenMatrix(2, 2, 1.0));
    EXPECT_TRUE(X == 0.1 && Y == 0.2 && Z == 0.3);
}

// Published example pairs (colour-science, colour/difference/tests/test_delta_e.py,
// BSD-3-Clause): CIE 1976 and CIE 1994 with graphic-arts weights.
TEST(DeltaE, PublishedPairs) {
    const double ref[3] = {100.0, 21.57210357, 272.2281935};
    struct SCase {
        double L, a, b, de76, de94;
    };
    const SCase cases[] = {
        {100.0, 426.67945353, 72.39590835, 451.7133019736, 83.7792255009},
        {100.0, 74.05216981, 276.45318193, 52.6498611564, 10.0539319546},
        {100.0, 8.32281957, -73.58297716, 346.0648917179, 57.5354537067},
    };
    for (const SCase& c : cases) {
        EXPECT_NEAR(DeltaE(ref[0], ref[1], ref[2], c.L, c.a, c.b, keDeltaECIE1976), c.de76, 1e-7);
        EXPECT_NEAR(DeltaE(ref[0], ref[1], ref[2], c.L, c.a, c.b, keDeltaECIE1994), c.de94, 1e-7);
        // Unknown kinds are the Euclidean distance.
        EXPECT_EQ(DeltaE(ref[0], ref[1], ref[2], c.L, c.a, c.b, EDeltaEType(42)),
                  DeltaE(ref[0], ref[1], ref[2], c.L, c.a, c.b, keDeltaECIE1976));
    }
}

// Between two greys only the lightness term is left, whatever the hue
// constants: CMC's S_L (Clarke, McDonald & Rigg 1984) and CIEDE2000's S_L.
TEST(DeltaE, LightnessOnlyDifferencesFollowPublishedWeights) {
    for (double L1 : {10.0, 16.0, 50.0, 90.0}) {
        const double L2 = L1 + 3, Lm = (L1 + L2) / 2;
        const double slCMC = L1 < 16 ? 0.511 : 0.040975 * L1 / (1 + 0.01765 * L1);
        const double sl2000 = 1 + 0.015 * (Lm - 50) * (Lm - 50) / std::sqrt(20 + (Lm - 50) * (Lm - 50));
        EXPECT_NEAR(DeltaE(L1, 0, 0, L2, 0, 0, keDeltaECMC), 3 / slCMC, 1e-12) << L1;
        EXPECT_NEAR(DeltaE(L1, 0, 0, L2, 0, 0, keDeltaECIEDE2000), 3 / sl2000, 1e-12) << L1;
        EXPECT_DOUBLE_EQ(DeltaE(L1, 0, 0, L2, 0, 0, keDeltaECIE1994), 3.0);
    }
}

TEST(DeltaE, IdentityReferenceAndRGBForm) {
    std::mt19937 rng(4);
    std::uniform_real_distribution<double> u(0, 1);
    for (int n = 0; n < 200; ++n) {
        const double r1 = u(rng), g1 = u(rng), b1 = u(rng), r2 = u(rng), g2 = u(rng), b2 = u(rng);
        double L1, a1, bb1, L2, a2, bb2;
        RGBDtoLab(r1, g1, b1, L1, a1, bb1, kColorSpecSRGB);
        RGBDtoLab(r2, g2, b2, L2, a2, bb2, kColorSpecSRGB);
        for (EDeltaEType t : {keDeltaECMC, keDeltaECIE1976, keDeltaECIE1994, keDeltaECIEDE2000}) {
            EXPECT_EQ(DeltaE(L1, a1, bb1, L1, a1, bb1, t), 0.0);
            const double d = DeltaE(L1, a1, bb1, L2, a2, bb2, t);
            EXPECT_TRUE(std::isfinite(d) && d >= 0);
            EXPECT_EQ(DeltaE(r1, g1, b1, r2, g2, b2, kColorSpecSRGB, t), d);
        }
    }
    // Colour 1 is the reference: its chroma sets the CIE 1994 weights.
    EXPECT_NE(DeltaE(50, 60, 0, 50, 10, 0, keDeltaECIE1994), DeltaE(50, 10, 0, 50, 60, 0, keDeltaECIE1994));
}

}  // namespace

#pragma once
// Reads the numeric CSV tables under QGDI_TESTDATA_DIR: '#' lines are
// comments, the first other line is the header.
#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "colour/ColourSpaceRGB.h"

namespace qgdi::test {

inline constexpr double kD65[3] = {0.95047, 1.0, 1.08883};  // ASTM E308, the white of the sRGB matrices

// The built-in sRGB with another transfer curve.
inline SColorSpecRGB WithCurve(uint32_t kind, double gamma) {
    SColorSpecRGB s = kColorSpecSRGB;
    s.nGammaType = kind;
    s.dGamma = gamma;
    return s;
}

// sRGB whose inverse matrix is the exact inverse of its forward one and whose
// Y row sums to 1: the published 7-decimal pair only inverts to about 3e-7,
// which would hide the algebra under test.
inline SColorSpecRGB ExactSRGB(uint32_t kind = keGammaSRGB, double gamma = 2.4) {
    SColorSpecRGB s{};
    QGDI_MakeColorSpec(0.64, 0.33, 0.30, 0.60, 0.15, 0.06, kD65[0], kD65[1], kD65[2], kind, gamma, s);
    return s;
}

using V3 = std::array<double, 3>;

inline void ExpectNear3(const V3& got, const V3& want, double tol, const std::string& what = {}) {
    for (size_t k = 0; k < 3; ++k) EXPECT_NEAR(got[k], want[k], tol) << what << " [" << k << "]";
}

struct SCsv {
    std::vector<std::string> header;
    std::vector<std::vector<std::string>> rows;
    bool ok = false;
};

inline SCsv ReadCsv(const std::string& relative) {
    SCsv csv;
    std::ifstream in(std::string(QGDI_TESTDATA_DIR) + "/" + relative);
    if (!in) return csv;
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == '#') continue;
        std::vector<std::string> cells;
        std::stringstream ss(line);
        std::string cell;
        while (std::getline(ss, cell, ',')) cells.push_back(cell);
        if (csv.header.empty()) csv.header = cells;
        else csv.rows.push_back(cells);
    }
    csv.ok = !csv.header.empty();
    return csv;
}

}  // namespace qgdi::test

// Skips the test when a data file of the shared test data is missing.
#define COLOUR_REQUIRE_CSV(csv, relative)                       \
    const qgdi::test::SCsv csv = qgdi::test::ReadCsv(relative); \
    if (!csv.ok) GTEST_SKIP() << "test data " << relative << " not found under " QGDI_TESTDATA_DIR

#pragma once
// Robertson's isotemperature lines, exposed for the tests that compare them
// with the published table.
namespace qgdi::colour {

struct SRobertsonIsotherm {
    double r;  // reciprocal temperature, per kelvin
    double u;  // CIE 1960 UCS chromaticity on the Planckian locus
    double v;
    double t;  // slope of the isotherm in the uv plane
};

inline constexpr int kRobertsonRows = 31;
extern const SRobertsonIsotherm kRobertsonIsotherms[kRobertsonRows];

}  // namespace qgdi::colour

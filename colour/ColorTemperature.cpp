#include "colour/ColorTemperature.h"

#include <cmath>

#include "colour/internal/RobertsonTable.h"

namespace qgdi::colour {

// A. R. Robertson, J. Opt. Soc. Am. 58(11), 1968; Wyszecki & Stiles Table 1(3.11).
// The 325-mired u is the corrected 0.24792.
const SRobertsonIsotherm kRobertsonIsotherms[kRobertsonRows] = {
    {0.0e-6, 0.18006, 0.26352, -0.24341},   {10.0e-6, 0.18066, 0.26589, -0.25479},
    {20.0e-6, 0.18133, 0.26846, -0.26876},  {30.0e-6, 0.18208, 0.27119, -0.28539},
    {40.0e-6, 0.18293, 0.27407, -0.30470},  {50.0e-6, 0.18388, 0.27709, -0.32675},
    {60.0e-6, 0.18494, 0.28021, -0.35156},  {70.0e-6, 0.18611, 0.28342, -0.37915},
    {80.0e-6, 0.18740, 0.28668, -0.40955},  {90.0e-6, 0.18880, 0.28997, -0.44278},
    {100.0e-6, 0.19032, 0.29326, -0.47888}, {125.0e-6, 0.19462, 0.30141, -0.58204},
    {150.0e-6, 0.19962, 0.30921, -0.70471}, {175.0e-6, 0.20525, 0.31647, -0.84901},
    {200.0e-6, 0.21142, 0.32312, -1.0182},  {225.0e-6, 0.21807, 0.32909, -1.2168},
    {250.0e-6, 0.22511, 0.33439, -1.4512},  {275.0e-6, 0.23247, 0.33904, -1.7298},
    {300.0e-6, 0.24010, 0.34308, -2.0637},  {325.0e-6, 0.24792, 0.34655, -2.4681},
    {350.0e-6, 0.25591, 0.34951, -2.9641},  {375.0e-6, 0.26400, 0.35200, -3.5814},
    {400.0e-6, 0.27218, 0.35407, -4.3633},  {425.0e-6, 0.28039, 0.35577, -5.3762},
    {450.0e-6, 0.28863, 0.35714, -6.7262},  {475.0e-6, 0.29685, 0.35823, -8.5955},
    {500.0e-6, 0.30505, 0.35907, -11.324},  {525.0e-6, 0.31320, 0.35968, -15.628},
    {550.0e-6, 0.32129, 0.36011, -23.325},  {575.0e-6, 0.32931, 0.36038, -40.770},
    {600.0e-6, 0.33724, 0.36051, -116.45},
};

}  // namespace qgdi::colour

using namespace qgdi::colour;

namespace {

constexpr double kMinTemperature = 1666.6666666666667;  // 1 / 600e-6

// Point on the locus between rows i-1 and i for reciprocal temperature r.
struct SSegment {
    int i;
    double f;
};

bool FindSegment(double T, SSegment& seg) noexcept {
    if (!(T >= kMinTemperature)) return false;
    const double r = 1.0 / T;
    for (int i = 1; i < kRobertsonRows; ++i) {
        const SRobertsonIsotherm& a = kRobertsonIsotherms[i - 1];
        const SRobertsonIsotherm& b = kRobertsonIsotherms[i];
        if (a.r <= r && r <= b.r) {
            seg.i = i;
            seg.f = b.r - a.r <= 1e-10 ? 0.5 : (r - a.r) / (b.r - a.r);
            return true;
        }
    }
    return false;
}

double Lerp(double a, double b, double f) noexcept { return a + (b - a) * f; }

// Unit direction (1, t)/sqrt(1 + t^2) of an isotherm.
void Direction(const SRobertsonIsotherm& row, double& du, double& dv) noexcept {
    const double n = std::sqrt(1.0 + row.t * row.t);
    du = 1.0 / n;
    dv = row.t / n;
}

double Cross(double ax, double ay, double bx, double by) noexcept { return ax * by - ay * bx; }

}  // namespace

bool TempTinttoxy(double T, double tint, double& x, double& y) noexcept {
    SSegment seg;
    if (!FindSegment(T, seg)) return false;
    const SRobertsonIsotherm& a = kRobertsonIsotherms[seg.i - 1];
    const SRobertsonIsotherm& b = kRobertsonIsotherms[seg.i];
    const double theta = std::atan(Lerp(a.t, b.t, seg.f));
    const double u = Lerp(a.u, b.u, seg.f) + tint * std::sin(theta);
    const double v = Lerp(a.v, b.v, seg.f) + tint * std::cos(theta);
    // 1960 uv to xy: x = 3u/(2u - 8v + 4), y = 2v/(2u - 8v + 4)
    const double d = 2.0 * u - 8.0 * v + 4.0;
    x = 3.0 * u / d;
    y = 2.0 * v / d;
    return true;
}

bool TempTinttoXYZ(double T, double tint, double& X, double& Y, double& Z) noexcept {
    SSegment seg;
    if (!FindSegment(T, seg)) return false;
    const SRobertsonIsotherm& a = kRobertsonIsotherms[seg.i - 1];
    const SRobertsonIsotherm& b = kRobertsonIsotherms[seg.i];
    double dua, dva, dub, dvb;
    Direction(a, dua, dva);
    Direction(b, dub, dvb);
    // Slope of the interpolated direction; the step along it has length tint.
    const double slope = Lerp(dva, dvb, seg.f) / Lerp(dua, dub, seg.f);
    const double d = tint / std::sqrt(1.0 + slope * slope);
    const double u = Lerp(a.u, b.u, seg.f) - d;
    const double v = Lerp(a.v, b.v, seg.f) - d * slope;
    if (v < 1e-10) {
        X = Y = Z = 0.0;
        return true;
    }
    // 1960 uv with Y = 1: X = 6u/(4v), Z = ((4 - u) 6 - 60v)/(12v)
    Y = 1.0;
    X = 6.0 * u / (4.0 * v);
    Z = ((4.0 - u) * 6.0 - 60.0 * v) / (12.0 * v);
    return true;
}

bool XYZtoTempTint(double X, double Y, double Z, double& T, double& tint) noexcept {
    const double den = X + 15.0 * Y + 3.0 * Z;
    if (!(den >= 1e-10)) return false;
    const double qu = 4.0 * X / den, qv = 6.0 * Y / den;

    // Between two neighbouring isotherms the forward map is
    //   P(f, tint) = U(f) - tint D(f)/|D(f)|, U and D linear in f,
    // so the colour lies on the interpolated isotherm where
    //   cross(Q - U(f), D(f)) = 0, a quadratic c0 + c1 f + c2 f^2.
    bool found = false;
    double bestT = 0, bestTint = 0;
    for (int i = 1; i < kRobertsonRows; ++i) {
        const SRobertsonIsotherm& ra = kRobertsonIsotherms[i - 1];
        const SRobertsonIsotherm& rb = kRobertsonIsotherms[i];
        double dua, dva, dub, dvb;
        Direction(ra, dua, dva);
        Direction(rb, dub, dvb);
        const double ax = qu - ra.u, ay = qv - ra.v;      // Q - U(0)
        const double bx = ra.u - rb.u, by = ra.v - rb.v;  // d(Q - U)/df
        const double ex = dub - dua, ey = dvb - dva;      // dD/df
        const double c0 = Cross(ax, ay, dua, dva);
        const double c1 = Cross(ax, ay, ex, ey) + Cross(bx, by, dua, dva);
        const double c2 = Cross(bx, by, ex, ey);
        // The isotherm at f = 0 belongs to the previous segment as f = 1 too.
        const double c1end = c0 + c1 + c2;
        if ((c0 > 0 && c1end > 0) || (c0 < 0 && c1end < 0)) continue;

        double roots[2];
        int count = 0;
        if (std::fabs(c2) < 1e-14 * (std::fabs(c1) + std::fabs(c0))) {
            if (c1 != 0) roots[count++] = -c0 / c1;
            else if (c0 == 0) roots[count++] = 0.0;
        } else {
            const double disc = c1 * c1 - 4.0 * c2 * c0;
            if (disc < 0) continue;
            // Cancellation-free pair of roots.
            const double q = -0.5 * (c1 + std::copysign(std::sqrt(disc), c1));
            roots[count++] = q / c2;
            if (q != 0) roots[count++] = c0 / q;
        }
        for (int k = 0; k < count; ++k) {
            const double f = roots[k];
            if (!(f >= -1e-12 && f <= 1.0 + 1e-12)) continue;
            const double du = Lerp(dua, dub, f), dv = Lerp(dva, dvb, f);
            const double n = std::sqrt(du * du + dv * dv);
            // tint = -(Q - U(f)) . D/|D|
            const double cand = -((qu - Lerp(ra.u, rb.u, f)) * du + (qv - Lerp(ra.v, rb.v, f)) * dv) / n;
            const double r = Lerp(ra.r, rb.r, f);
            // Far from the locus isotherms cross each other; the nearest crossing wins.
            if (!found || std::fabs(cand) < std::fabs(bestTint)) {
                found = true;
                bestTint = cand;
                bestT = r > 0 ? 1.0 / r : INFINITY;
            }
        }
    }
    if (!found) return false;
    T = bestT;
    tint = bestTint;
    return true;
}

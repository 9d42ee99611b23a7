// Coverage against exact geometry: random polygons against their exact
// per-pixel areas, and fill rules on self-overlapping stars.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "QuorRender/RowOpComposite.h"
#include "scan_test_util.h"

using namespace qgdi::scantest;

namespace {

constexpr double kPi = 3.14159265358979;

double Shoelace(const std::vector<Pt>& p) {
    double a = 0;
    for (size_t i = 0; i < p.size(); ++i) {
        const Pt& u = p[i];
        const Pt& v = p[(i + 1) % p.size()];
        a += u.x * v.y - v.x * u.y;
    }
    return a / 2;
}

// Sutherland-Hodgman against one half-plane: keep where sign*(coord - c) <= 0.
std::vector<Pt> ClipHalf(const std::vector<Pt>& in, bool xAxis, double c, double sign) {
    std::vector<Pt> out;
    auto d = [&](const Pt& p) { return sign * ((xAxis ? p.x : p.y) - c); };
    for (size_t i = 0; i < in.size(); ++i) {
        const Pt& a = in[i];
        const Pt& b = in[(i + 1) % in.size()];
        const double da = d(a), db = d(b);
        if (da <= 0) out.push_back(a);
        if ((da < 0 && db > 0) || (da > 0 && db < 0)) {
            const double t = da / (da - db);
            out.push_back({a.x + t * (b.x - a.x), a.y + t * (b.y - a.y)});
        }
    }
    return out;
}

// The exact area of a simple polygon inside pixel (x, y).
double PixelArea(const std::vector<Pt>& poly, int x, int y) {
    std::vector<Pt> p = ClipHalf(poly, true, x, -1);
    p = ClipHalf(p, true, x + 1, 1);
    p = ClipHalf(p, false, y, -1);
    p = ClipHalf(p, false, y + 1, 1);
    return p.size() < 3 ? 0 : std::fabs(Shoelace(p));
}

// The longer side of the part of segment a-b inside pixel (x, y) grown by
// `margin` on every side, in pixels.
double LengthIn(const Pt& a, const Pt& b, int x, int y, double margin) {
    double t0 = 0, t1 = 1;
    const double d[2] = {b.x - a.x, b.y - a.y}, o[2] = {a.x, a.y};
    const double lo[2] = {x - margin, y - margin}, hi[2] = {x + 1 + margin, y + 1 + margin};
    for (int k = 0; k < 2; ++k) {
        if (std::fabs(d[k]) < 1e-12) {
            if (o[k] < lo[k] || o[k] > hi[k]) return -1;
            continue;
        }
        double ta = (lo[k] - o[k]) / d[k], tb = (hi[k] - o[k]) / d[k];
        if (ta > tb) std::swap(ta, tb);
        t0 = std::max(t0, ta);
        t1 = std::min(t1, tb);
    }
    if (t0 > t1) return -1;
    return (t1 - t0) * std::max(std::fabs(d[0]), std::fabs(d[1]));
}

std::vector<Pt> Star(Pt c, double r, int n, int step, double turn = 0.1) {
    std::vector<Pt> p;
    for (int i = 0; i < n; ++i) {
        const double a = turn + 2 * kPi * double(i * step % n) / n;
        p.push_back({c.x + r * std::cos(a), c.y + r * std::sin(a)});
    }
    return p;
}

}  // namespace

// Only cells the outline passes through can be misjudged, each by one cell
// (1/s^2 of a pixel): a pixel's error is bounded by the outline cells in it,
// i.e. the outline's length inside it in cells, plus the cells at its ends.
// Points snap to the grid by truncation, so an outline up to a cell outside
// the pixel counts too.
TEST(Coverage, RandomPolygonsMatchExactPixelAreas) {
    std::mt19937 rng(15);
    std::uniform_real_distribution<double> centre(10, 22), radius(2, 9), unit(0, 1);
    for (int scale : {3, 4, 8, 16}) {
        for (int trial = 0; trial < 40; ++trial) {
            // Star-shaped about its centre, hence simple.
            const Pt c{centre(rng), centre(rng)};
            const int n = 3 + int(unit(rng) * 10);
            std::vector<double> angles;
            for (int i = 0; i < n; ++i) angles.push_back(unit(rng) * 2 * kPi);
            std::sort(angles.begin(), angles.end());
            std::vector<Pt> poly;
            for (double a : angles) {
                const double r = radius(rng);
                poly.push_back({c.x + r * std::cos(a), c.y + r * std::sin(a)});
            }
            const EPolyFillMode mode = trial % 2 ? kePolyFillEvenOdd : kePolyFillNonZero;
            const CCoverage cov = FillPolygons({poly}, 32, 32, mode, scale, trial % 3);
            const double cells = double(scale) * scale;
            double total = 0;
            for (int y = 0; y < 32; ++y)
                for (int x = 0; x < 32; ++x) {
                    const double exact = PixelArea(poly, x, y);
                    const double got = cov.At(x, y) / 255.0;
                    total += got - exact;
                    double outline = 0;
                    for (size_t i = 0; i < poly.size(); ++i) {
                        const double len = LengthIn(poly[i], poly[(i + 1) % poly.size()], x, y, 1.5 / scale);
                        if (len >= 0) outline += len * scale + 2;
                    }
                    // A turning vertex whose cell another edge also crosses keeps
                    // one crossing fewer (its count is ORed in, not added), which
                    // shifts the rest of that grid row: up to a row of cells here.
                    for (const Pt& v : poly)
                        if (v.y >= y - 1.0 / scale && v.y < y + 1 + 1.0 / scale && v.x < x + 1) outline += scale;
                    const double err = std::fabs(got - exact) * cells;
                    // Cells off the outline are exact (up to the 8-bit rounding of the share).
                    ASSERT_LE(err, outline + 0.5 * cells / 255 + 1e-9)
                        << "scale " << scale << " trial " << trial << " pixel " << x << "," << y << " got " << got
                        << " exact " << exact;
                }
            // Over the whole shape the misjudged cells mostly cancel.
            double perimeter = 0;
            for (size_t i = 0; i < poly.size(); ++i) {
                const Pt& a = poly[i];
                const Pt& b = poly[(i + 1) % poly.size()];
                perimeter += std::hypot(b.x - a.x, b.y - a.y);
            }
            EXPECT_LE(std::fabs(total), perimeter / scale + 32 * 32 * 0.5 / 255) << scale << " " << trial;
        }
    }
}

// Self-overlapping stars: the centre's winding number decides.
TEST(Coverage, StarsUnderNonZeroAndEvenOdd) {
    struct Case {
        int points, step;
        bool centreEvenOdd;  // the centre's winding is odd
    } const cases[] = {{5, 2, false}, {7, 2, false}, {7, 3, true}, {9, 4, false}, {5, 1, true}};
    for (const Case& c : cases)
        for (int scale : {1, 4, 8}) {
            const std::vector<Pt> star = Star({20, 20}, 16, c.points, c.step);
            const CCoverage nz = FillPolygons({star}, 40, 40, kePolyFillNonZero, scale);
            const CCoverage eo = FillPolygons({star}, 40, 40, kePolyFillEvenOdd, scale);
            EXPECT_EQ(nz.At(20, 20), 255) << c.points << "/" << c.step << " s" << scale;
            EXPECT_EQ(eo.At(20, 20), c.centreEvenOdd ? 255 : 0) << c.points << "/" << c.step << " s" << scale;
            EXPECT_EQ(nz.At(1, 1) + eo.At(1, 1), 0);
        }
    // The pentagram by area: the tips alone under even-odd, tips and the inner
    // pentagon under non-zero (the signed area counts the pentagon twice).
    const double R = 16, r = R * std::cos(2 * kPi / 5) / std::cos(kPi / 5);
    const double pentagon = 2.5 * r * r * std::sin(2 * kPi / 5);
    const std::vector<Pt> star = Star({20, 20}, R, 5, 2);
    const double signedArea = std::fabs(Shoelace(star));
    for (int scale : {4, 8, 16}) {
        double sumNz = 0, sumEo = 0;
        const CCoverage nz = FillPolygons({star}, 40, 40, kePolyFillNonZero, scale);
        const CCoverage eo = FillPolygons({star}, 40, 40, kePolyFillEvenOdd, scale);
        for (size_t i = 0; i < nz.pixels.size(); ++i) {
            sumNz += nz.pixels[i] / 255.0;
            sumEo += eo.pixels[i] / 255.0;
        }
        const double tolerance = 10 * R * 2 / scale;  // perimeter (about 10 R) over s, both ways
        EXPECT_NEAR(sumNz, signedArea - pentagon, tolerance) << scale;
        EXPECT_NEAR(sumEo, signedArea - 2 * pentagon, tolerance) << scale;
    }
}

// Filling through a bound row operation gives the coverage times the colour.
TEST(Coverage, RowOperationReceiverCompositesCoverage) {
    std::vector<uint8_t> image(16 * 16 * 4, 0);
    CRowOpDefRowMaskOverSolid white(0xFFFFFFFFu);
    CRowOpScanReceiver rx(image.data(), 16 * 4, keFormatBGRA, 16, 16, &white);
    SQPolygon* p = QGDI_PolygonCreate(RECT{0, 0, 16, 16}, kePolyFillNonZero, 4, 0, keQPathFill);
    CPolygonPathReceiver path(p);
    const std::vector<Pt> tri = {{-3, 2}, {14.5, 3.25}, {6, 30}};
    path.MoveTo(SQPOINT{tri[0].x, tri[0].y}, nullptr);
    for (int i = 1; i < 3; ++i) path.LineTo(SQPOINT{tri[i].x, tri[i].y}, nullptr);
    ASSERT_TRUE(p->Fill(&rx));
    EXPECT_TRUE(rx.IsOk());
    const CCoverage cov = FillPolygons({tri}, 16, 16, kePolyFillNonZero, 4);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x) {
            const uint8_t* px = &image[size_t(y * 16 + x) * 4];
            // Over a transparent pixel the colour stays white and coverage becomes alpha.
            EXPECT_NEAR(px[3], cov.At(x, y), 1) << x << "," << y;
            EXPECT_EQ(px[0], cov.At(x, y) ? 255 : 0) << x << "," << y;
        }
    p->Unreference();
}

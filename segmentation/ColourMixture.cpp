#include "segmentation/ColourMixture.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "geometry/KMeans.h"

namespace qgdi::segment {
namespace {

// Count, three sums and six products per component.
constexpr int kiMoments = 10;

void Accumulate(double* m, const uint8_t* c) {
    const double b = c[0], g = c[1], r = c[2];
    m[0] += 1;
    m[1] += b;
    m[2] += g;
    m[3] += r;
    m[4] += b * b;
    m[5] += b * g;
    m[6] += b * r;
    m[7] += g * g;
    m[8] += g * r;
    m[9] += r * r;
}

// e^x for x <= 0 in arithmetic that stays in vector lanes: 2^x split into
// a power of two (built in the exponent bits) and a polynomial on (-1, 0].
// Relative error below 2e-4, far under the 1/16 the costs are rounded to.
inline float ExpNonPositive(float x) {
    const float t = std::max(x, -87.f) * 1.44269504f;
    const int i = static_cast<int>(t);  // towards zero: t - i lies in (-1, 0]
    const float f = t - static_cast<float>(i);
    const float p = 1.f + f * (0.693147f + f * (0.240227f + f * (0.0555041f + f * (0.00961813f + f * 0.00133336f))));
    const int bits = (i + 127) << 23;
    float scale;
    std::memcpy(&scale, &bits, sizeof scale);
    return p * scale;
}

// At most this many colours go into the clustering: the means of a few
// thousand samples are as good as those of a million, at a thousandth of the cost.
constexpr size_t kiClusterSamples = 8192;

}  // namespace

SGaussian3 CColourMixture::FromMoments(const double* s, double total) {
    SGaussian3 g;
    const double n = s[0];
    g.weight = n / total;
    for (int i = 0; i < 3; ++i) g.mean[i] = s[1 + i] / n;
    const double* m = g.mean;
    double c[6] = {s[4] / n - m[0] * m[0], s[5] / n - m[0] * m[1], s[6] / n - m[0] * m[2],
                   s[7] / n - m[1] * m[1], s[8] / n - m[1] * m[2], s[9] / n - m[2] * m[2]};
    c[0] += kfVarianceFloor;
    c[3] += kfVarianceFloor;
    c[5] += kfVarianceFloor;
    // Adjugate over determinant of the symmetric matrix [a b c; b d e; c e f].
    const double a = c[0], b = c[1], cc = c[2], d = c[3], e = c[4], f = c[5];
    const double A = d * f - e * e, B = cc * e - b * f, C = b * e - cc * d;
    double det = a * A + b * B + cc * C;
    // The floor keeps the matrix positive definite; rounding alone could not
    // push the determinant below the floor's cube.
    det = std::max(det, kfVarianceFloor * kfVarianceFloor * kfVarianceFloor);
    const double inv[6] = {A / det, B / det, C / det, (a * f - cc * cc) / det, (b * cc - a * e) / det,
                           (a * d - b * b) / det};
    for (int i = 0; i < 6; ++i) g.inverse[i] = static_cast<float>(inv[i]);
    constexpr double kLog2Pi = 1.8378770664093453;
    g.logScale = static_cast<float>(std::log(std::max(g.weight, 1e-12)) - 0.5 * (3 * kLog2Pi + std::log(det)));
    return g;
}

void CColourMixture::Initialise(const uint8_t* colours, size_t count, size_t stride, int components) {
    m_components.clear();
    if (count == 0 || components < 1) return;
    components = std::min(components, kiMaxComponents);
    const size_t step = std::max<size_t>(1, count / kiClusterSamples);
    const int samples = static_cast<int>((count + step - 1) / step);
    const int k = std::min(components, samples);
    CKMeans kmeans(samples, k, 3);
    for (size_t i = 0; i < count; i += step) {
        const uint8_t* c = colours + i * stride;
        const double v[3] = {double(c[0]), double(c[1]), double(c[2])};
        kmeans.addNewVector(v);
    }
    // Farthest-first seeds: spread over the colours present, and the same
    // for the same input, where random means in the bounding box could land
    // in an empty corner and leave a component without colours.
    std::vector<double> nearest(static_cast<size_t>(samples), 1e300);
    int pick = 0;
    for (int m = 0; m < k; ++m) {
        const double* seed = kmeans.getVector(pick);
        kmeans.addNewMean(seed);
        int far = 0;
        double farD = -1;
        for (int i = 0; i < samples; ++i) {
            const double* v = kmeans.getVector(i);
            const double d = (v[0] - seed[0]) * (v[0] - seed[0]) + (v[1] - seed[1]) * (v[1] - seed[1]) +
                             (v[2] - seed[2]) * (v[2] - seed[2]);
            double& n = nearest[static_cast<size_t>(i)];
            n = std::min(n, d);
            if (n > farD) {
                farD = n;
                far = i;
            }
        }
        if (farD <= 0) break;  // every colour already coincides with a seed
        pick = far;
    }
    const int means = kmeans.getNMeansActual();
    kmeans.runKMeans(0.5);

    // Every colour (not only the samples) goes to its nearest mean.
    std::vector<double> moments(static_cast<size_t>(means) * kiMoments, 0.0);
    for (size_t i = 0; i < count; ++i) {
        const uint8_t* c = colours + i * stride;
        int best = 0;
        double bestD = 1e300;
        for (int m = 0; m < means; ++m) {
            const double* mu = kmeans.getMean(m);
            const double d = (c[0] - mu[0]) * (c[0] - mu[0]) + (c[1] - mu[1]) * (c[1] - mu[1]) +
                             (c[2] - mu[2]) * (c[2] - mu[2]);
            if (d < bestD) {
                bestD = d;
                best = m;
            }
        }
        Accumulate(&moments[static_cast<size_t>(best) * kiMoments], c);
    }
    for (int m = 0; m < means; ++m) {
        const double* s = &moments[static_cast<size_t>(m) * kiMoments];
        if (s[0] > 0) m_components.push_back(FromMoments(s, double(count)));
    }
}

void CColourMixture::Refit(const uint8_t* colours, const uint8_t* component, size_t count, size_t stride) {
    const int k = Components();
    if (k == 0) return;
    std::vector<double> moments(static_cast<size_t>(k) * kiMoments, 0.0);
    double total = 0;
    for (size_t i = 0; i < count; ++i) {
        if (component[i] >= k) continue;
        Accumulate(&moments[size_t(component[i]) * kiMoments], colours + i * stride);
        total += 1;
    }
    if (total == 0) return;
    for (int m = 0; m < k; ++m) {
        const double* s = &moments[static_cast<size_t>(m) * kiMoments];
        SGaussian3& g = m_components[static_cast<size_t>(m)];
        if (s[0] > 0) {
            g = FromMoments(s, total);
        } else {
            g.weight = 0;
            g.logScale = -80.f;
        }
    }
}

void CColourMixture::Evaluate(const uint8_t* colours, int n, float* cost, uint8_t* best) const {
    const int k = Components();
    if (k == 0) {
        std::fill(cost, cost + n, kfMaxCost);
        std::fill(best, best + n, uint8_t(0));
        return;
    }
    // Per component over the whole span: the loop body is straight arithmetic
    // the compiler can keep in vector registers; the log-sum-exp is taken
    // against the best component so that no term underflows to nothing.
    constexpr int kSpan = 256;
    float top[kSpan], sum[kSpan], ch[3][kSpan], lp[kiMaxComponents][kSpan];
    uint8_t pick[kSpan];
    for (int x0 = 0; x0 < n; x0 += kSpan) {
        const int m = std::min(kSpan, n - x0);
        const uint8_t* c = colours + static_cast<size_t>(x0) * 3;
        for (int i = 0; i < m; ++i) {
            ch[0][i] = float(int(c[3 * i]));
            ch[1][i] = float(int(c[3 * i + 1]));
            ch[2][i] = float(int(c[3 * i + 2]));
        }
        for (int j = 0; j < k; ++j) {
            const SGaussian3& g = m_components[static_cast<size_t>(j)];
            const float m0 = float(g.mean[0]), m1 = float(g.mean[1]), m2 = float(g.mean[2]);
            const float v0 = g.inverse[0], v1 = 2 * g.inverse[1], v2 = 2 * g.inverse[2], v3 = g.inverse[3],
                        v4 = 2 * g.inverse[4], v5 = g.inverse[5];
            const float ls = g.logScale;
            float* __restrict__ out = lp[j];
            for (int i = 0; i < m; ++i) {
                const float d0 = ch[0][i] - m0, d1 = ch[1][i] - m1, d2 = ch[2][i] - m2;
                const float q = d0 * (v0 * d0 + v1 * d1 + v2 * d2) + d1 * (v3 * d1 + v4 * d2) + d2 * v5 * d2;
                out[i] = ls - 0.5f * q;
            }
        }
        for (int i = 0; i < m; ++i) {
            top[i] = lp[0][i];
            pick[i] = 0;
        }
        for (int j = 1; j < k; ++j)
            for (int i = 0; i < m; ++i) {
                const bool more = lp[j][i] > top[i];
                top[i] = more ? lp[j][i] : top[i];
                pick[i] = more ? uint8_t(j) : pick[i];
            }
        std::copy_n(pick, m, best + x0);
        for (int i = 0; i < m; ++i) sum[i] = 0;
        for (int j = 0; j < k; ++j)
            for (int i = 0; i < m; ++i) sum[i] += ExpNonPositive(lp[j][i] - top[i]);
        for (int i = 0; i < m; ++i) cost[x0 + i] = std::min(kfMaxCost, -(top[i] + std::log(sum[i])));
    }
}

}  // namespace qgdi::segment

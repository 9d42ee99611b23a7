#include "segmentation/EdgeMatte.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace qgdi::segment {
namespace {

// Running-sum box of `radius` along rows then columns, windows clipped at the
// edges and divided by the pixels they hold.
void BoxMean(const float* in, float* out, int w, int h, int r, std::vector<float>& tmp) {
    tmp.resize(static_cast<size_t>(w) * static_cast<size_t>(h));
    for (int y = 0; y < h; ++y) {
        const float* s = in + static_cast<size_t>(y) * static_cast<size_t>(w);
        float* d = tmp.data() + static_cast<size_t>(y) * static_cast<size_t>(w);
        double acc = 0;
        for (int x = 0; x < std::min(r, w); ++x) acc += s[x];
        for (int x = 0; x < w; ++x) {
            if (x + r < w) acc += s[x + r];
            if (x - r - 1 >= 0) acc -= s[x - r - 1];
            const int n = std::min(w - 1, x + r) - std::max(0, x - r) + 1;
            d[x] = static_cast<float>(acc / n);
        }
    }
    std::vector<double> acc(static_cast<size_t>(w), 0.0);
    for (int y = 0; y < std::min(r, h); ++y)
        for (int x = 0; x < w; ++x) acc[static_cast<size_t>(x)] += tmp[static_cast<size_t>(y) * size_t(w) + size_t(x)];
    for (int y = 0; y < h; ++y) {
        if (y + r < h)
            for (int x = 0; x < w; ++x)
                acc[size_t(x)] += tmp[static_cast<size_t>(y + r) * size_t(w) + size_t(x)];
        if (y - r - 1 >= 0)
            for (int x = 0; x < w; ++x)
                acc[size_t(x)] -= tmp[static_cast<size_t>(y - r - 1) * size_t(w) + size_t(x)];
        const double n = std::min(h - 1, y + r) - std::max(0, y - r) + 1;
        float* d = out + static_cast<size_t>(y) * size_t(w);
        for (int x = 0; x < w; ++x) d[x] = static_cast<float>(acc[size_t(x)] / n);
    }
}

}  // namespace

void DilateMarks(const uint8_t* marks, int w, int h, int r, uint8_t* out) {
    const size_t n = static_cast<size_t>(w) * static_cast<size_t>(h);
    std::vector<int> across(n);
    // Counts of marks in the window, first along rows, then down columns.
    for (int y = 0; y < h; ++y) {
        const uint8_t* s = marks + size_t(y) * size_t(w);
        int* d = across.data() + size_t(y) * size_t(w);
        int acc = 0;
        for (int x = 0; x < std::min(r, w); ++x) acc += s[x] != 0;
        for (int x = 0; x < w; ++x) {
            if (x + r < w) acc += s[x + r] != 0;
            if (x - r - 1 >= 0) acc -= s[x - r - 1] != 0;
            d[x] = acc;
        }
    }
    std::vector<int> acc(static_cast<size_t>(w), 0);
    for (int y = 0; y < std::min(r, h); ++y)
        for (int x = 0; x < w; ++x) acc[size_t(x)] += across[size_t(y) * size_t(w) + size_t(x)];
    for (int y = 0; y < h; ++y) {
        if (y + r < h)
            for (int x = 0; x < w; ++x) acc[size_t(x)] += across[size_t(y + r) * size_t(w) + size_t(x)];
        if (y - r - 1 >= 0)
            for (int x = 0; x < w; ++x) acc[size_t(x)] -= across[size_t(y - r - 1) * size_t(w) + size_t(x)];
        uint8_t* d = out + size_t(y) * size_t(w);
        for (int x = 0; x < w; ++x) d[x] = acc[size_t(x)] > 0;
    }
}

void MarkBorder(const uint8_t* label, int w, int h, uint8_t* out) {
    std::fill(out, out + size_t(w) * size_t(h), uint8_t(0));
    for (int y = 0; y < h; ++y) {
        const size_t row = size_t(y) * size_t(w);
        for (int x = 0; x < w; ++x) {
            const size_t p = row + size_t(x);
            if (x + 1 < w && label[p] != label[p + 1]) out[p] = out[p + 1] = 1;
            if (y + 1 < h && label[p] != label[p + size_t(w)]) out[p] = out[p + size_t(w)] = 1;
        }
    }
}

void SoftenBorder(const uint8_t* bgr, const uint8_t* label, const uint8_t* hard, int width, int height, int radius,
                  uint8_t* alpha) {
    const size_t total = size_t(width) * size_t(height);
    for (size_t p = 0; p < total; ++p) alpha[p] = label[p] ? 255 : 0;
    if (radius < 1) return;
    std::vector<uint8_t> border(total), band(total);
    MarkBorder(label, width, height, border.data());
    DilateMarks(border.data(), width, height, radius, band.data());
    // Work on the box around the band, with room for the windows' windows.
    int x0 = width, y0 = height, x1 = -1, y1 = -1;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            if (border[size_t(y) * size_t(width) + size_t(x)]) {
                x0 = std::min(x0, x);
                x1 = std::max(x1, x);
                y0 = std::min(y0, y);
                y1 = std::max(y1, y);
            }
    if (x1 < 0) return;
    x0 = std::max(0, x0 - 3 * radius);
    y0 = std::max(0, y0 - 3 * radius);
    x1 = std::min(width - 1, x1 + 3 * radius);
    y1 = std::min(height - 1, y1 + 3 * radius);
    const int w = x1 - x0 + 1, h = y1 - y0 + 1;
    const size_t n = size_t(w) * size_t(h);

    // Planes: colour (3), mask, colour products (6), colour times mask (3).
    constexpr int kPlanes = 13;
    std::vector<float> plane(n * kPlanes), mean(n * kPlanes), tmp;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const size_t s = size_t(y + y0) * size_t(width) + size_t(x + x0);
            const size_t d = size_t(y) * size_t(w) + size_t(x);
            const float c[3] = {bgr[3 * s] / 255.f, bgr[3 * s + 1] / 255.f, bgr[3 * s + 2] / 255.f};
            const float m = label[s] ? 1.f : 0.f;
            float v[kPlanes] = {c[0], c[1], c[2], m, c[0] * c[0], c[0] * c[1], c[0] * c[2], c[1] * c[1],
                                c[1] * c[2], c[2] * c[2], c[0] * m, c[1] * m, c[2] * m};
            for (int k = 0; k < kPlanes; ++k) plane[size_t(k) * n + d] = v[k];
        }
    for (int k = 0; k < kPlanes; ++k) BoxMean(&plane[size_t(k) * n], &mean[size_t(k) * n], w, h, radius, tmp);

    // Per window: alpha ~ a . colour + b by regularised least squares; the
    // regulariser sets how much colour change it takes to move alpha.
    constexpr double kEps = 1e-3;
    std::vector<float> coef(n * 4), coefMean(n * 4);
    for (size_t d = 0; d < n; ++d) {
        double m[kPlanes];
        for (int k = 0; k < kPlanes; ++k) m[k] = mean[size_t(k) * n + d];
        const double a = m[4] - m[0] * m[0] + kEps, b = m[5] - m[0] * m[1], c = m[6] - m[0] * m[2];
        const double dd = m[7] - m[1] * m[1] + kEps, e = m[8] - m[1] * m[2], f = m[9] - m[2] * m[2] + kEps;
        const double cov[3] = {m[10] - m[0] * m[3], m[11] - m[1] * m[3], m[12] - m[2] * m[3]};
        const double A = dd * f - e * e, B = c * e - b * f, C = b * e - c * dd;
        const double det = a * A + b * B + c * C;
        const double inv[6] = {A / det, B / det, C / det, (a * f - c * c) / det, (b * c - a * e) / det,
                               (a * dd - b * b) / det};
        const double k0 = inv[0] * cov[0] + inv[1] * cov[1] + inv[2] * cov[2];
        const double k1 = inv[1] * cov[0] + inv[3] * cov[1] + inv[4] * cov[2];
        const double k2 = inv[2] * cov[0] + inv[4] * cov[1] + inv[5] * cov[2];
        coef[d] = float(k0);
        coef[n + d] = float(k1);
        coef[2 * n + d] = float(k2);
        coef[3 * n + d] = float(m[3] - k0 * m[0] - k1 * m[1] - k2 * m[2]);
    }
    for (int k = 0; k < 4; ++k) BoxMean(&coef[size_t(k) * n], &coefMean[size_t(k) * n], w, h, radius, tmp);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const size_t s = size_t(y + y0) * size_t(width) + size_t(x + x0);
            if (!band[s] || (hard && hard[s])) continue;
            const size_t d = size_t(y) * size_t(w) + size_t(x);
            const float q = coefMean[d] * plane[d] + coefMean[n + d] * plane[n + d] +
                            coefMean[2 * n + d] * plane[2 * n + d] + coefMean[3 * n + d];
            // Within a few levels of either end is the fit's noise over flat
            // colour, not a partial pixel.
            const float v = std::clamp(q, 0.f, 1.f) * 255.f + 0.5f;
            alpha[s] = v < 8 ? 0 : v >= 248 ? 255 : static_cast<uint8_t>(v);
        }
}

}  // namespace qgdi::segment

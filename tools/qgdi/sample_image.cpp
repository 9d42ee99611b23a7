#include "tools/qgdi/sample_image.h"

#include <algorithm>
#include <cmath>

#include "qdibcore/Source/internal/ResultTry.h"

namespace {

struct SRgba {
    float r, g, b, a;
};

// Fully saturated hue h in 0..1 (red, yellow, green, cyan, blue, magenta, red).
SRgba Hue(float h) {
    const float x = h * 6.0f;
    auto ch = [&](float offset) {
        return std::clamp(std::fabs(std::fmod(x + offset, 6.0f) - 3.0f) - 1.0f, 0.0f, 1.0f);
    };
    return {ch(0.0f), ch(4.0f), ch(2.0f), 1.0f};
}

// Coverage of a pixel by a shape, from 4 x 4 samples inside it.
template <class Inside>
float Coverage(int x, int y, Inside inside) {
    int hits = 0;
    for (int j = 0; j < 4; ++j)
        for (int i = 0; i < 4; ++i) hits += inside(x + (i + 0.5f) / 4.0f, y + (j + 0.5f) / 4.0f) ? 1 : 0;
    return hits / 16.0f;
}

// Paints `c` over `d` with weight `w` (source over, straight alpha).
void Over(SRgba& d, const SRgba& c, float w) {
    const float a = c.a * w, out = a + d.a * (1.0f - a);
    if (out <= 0.0f) return;
    d.r = (c.r * a + d.r * d.a * (1.0f - a)) / out;
    d.g = (c.g * a + d.g * d.a * (1.0f - a)) / out;
    d.b = (c.b * a + d.b * d.a * (1.0f - a)) / out;
    d.a = out;
}

uint8_t To8(float v) { return static_cast<uint8_t>(std::clamp(v, 0.0f, 1.0f) * 255.9999f); }

}  // namespace

CErrorAutoThrow QgdiMakeSampleImage(CRowIterator& image, int width, int height) {
    QGDI_TRY(image.CreateRGBA(width, height));
    const float w = static_cast<float>(width), h = static_cast<float>(height);
    const int band = height * 2 / 5, greyBand = height * 3 / 5, alphaBand = height * 4 / 5;
    for (int y = 0; y < height; ++y) {
        uint8_t* row = nullptr;
        QGDI_TRY(image.GetRow(row, y));
        for (int x = 0; x < width; ++x) {
            SRgba p;
            if (y < band) {
                // Hue across, towards white at the top and black at the bottom of the band.
                p = Hue(x / w);
                const float t = y / static_cast<float>(band);
                const float k = t < 0.5f ? 1.0f - 2.0f * t : 0.0f, d = t > 0.5f ? 2.0f * (t - 0.5f) : 0.0f;
                p = {(p.r + (1 - p.r) * k) * (1 - d), (p.g + (1 - p.g) * k) * (1 - d), (p.b + (1 - p.b) * k) * (1 - d),
                     1};
            } else if (y < greyBand) {
                const float g = x / (w - 1);
                p = {g, g, g, 1};
            } else if (y < alphaBand) {
                p = {0.1f, 0.3f, 0.9f, x / (w - 1)};
            } else {
                const float t = x / (w - 1);
                p = {t, 1 - t, 0.5f, 1};
            }
            // A disc, a ring, a square and a triangle drawn over the ramps.
            const float cx = w * 0.25f, cy = h * 0.5f, radius = h * 0.18f;
            Over(p, {1, 0.85f, 0.1f, 0.9f}, Coverage(x, y, [&](float u, float v) {
                     return (u - cx) * (u - cx) + (v - cy) * (v - cy) < radius * radius;
                 }));
            Over(p, {0.05f, 0.05f, 0.05f, 1}, Coverage(x, y, [&](float u, float v) {
                     const float d2 = (u - w * 0.5f) * (u - w * 0.5f) + (v - cy) * (v - cy);
                     return d2 < (radius * 0.9f) * (radius * 0.9f) && d2 > (radius * 0.6f) * (radius * 0.6f);
                 }));
            Over(p, {0.2f, 0.8f, 0.3f, 0.7f}, Coverage(x, y, [&](float u, float v) {
                     return std::fabs(u - w * 0.75f) < radius * 0.8f && std::fabs(v - cy) < radius * 0.8f;
                 }));
            Over(p, {0.8f, 0.1f, 0.6f, 1}, Coverage(x, y, [&](float u, float v) {
                     const float top = h * 0.08f, base = h * 0.34f, half = (v - top) * 0.6f;
                     return v > top && v < base && std::fabs(u - w * 0.9f) < half;
                 }));
            uint8_t* px = row + 4 * x;
            px[0] = To8(p.b);
            px[1] = To8(p.g);
            px[2] = To8(p.r);
            px[3] = To8(p.a);
        }
        image.ReleaseRow(y).Ignore();
    }
    return CErrorAutoThrow();
}

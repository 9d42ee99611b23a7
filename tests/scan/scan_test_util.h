#pragma once
// Receivers and polygon helpers shared by the scan tests.
#include <cstdint>
#include <tuple>
#include <vector>

#include "drawing/drawing.h"

namespace qgdi::scantest {

struct ScanRun {
    int x, y, coverage, length;
    bool operator==(const ScanRun&) const = default;
};

// Records every run as it comes.
class CRecorder : public VScanReceiver {
public:
    bool AddScan(int x, int y, int coverage, int length) override {
        runs.push_back({x, y, coverage, length});
        return true;
    }
    std::vector<ScanRun> runs;
};

// Paints coverage into a w x h byte image (masks through the base class).
class CCoverage : public VScanReceiver {
public:
    CCoverage(int w, int h) : width(w), height(h), pixels(size_t(w) * size_t(h), 0) {}
    bool AddScan(int x, int y, int coverage, int length) override {
        for (int i = 0; i < length; ++i) {
            const int px = x + i;
            if (px < 0 || px >= width || y < 0 || y >= height) {
                ++outside;
                continue;
            }
            pixels[size_t(y) * size_t(width) + size_t(px)] = uint8_t(coverage);
        }
        return true;
    }
    int At(int x, int y) const { return pixels[size_t(y) * size_t(width) + size_t(x)]; }
    int width, height, outside = 0;
    std::vector<uint8_t> pixels;
};

struct Pt {
    double x, y;
};

// Fills closed polygons (device coordinates) into a w x h coverage image.
inline CCoverage FillPolygons(const std::vector<std::vector<Pt>>& contours, int w, int h, EPolyFillMode mode,
                              int scale, int flag = kePolygonTableAuto) {
    CCoverage out(w, h);
    SQPolygon* poly = QGDI_PolygonCreate(RECT{0, 0, w, h}, mode, scale, flag, keQPathFill);
    CPolygonPathReceiver rx(poly);
    for (const auto& c : contours) {
        rx.MoveTo(SQPOINT{c[0].x, c[0].y}, nullptr);
        for (size_t i = 1; i < c.size(); ++i) rx.LineTo(SQPOINT{c[i].x, c[i].y}, nullptr);
        rx.ClosePath(nullptr);
    }
    poly->Fill(&out);
    poly->Unreference();
    return out;
}

}  // namespace qgdi::scantest

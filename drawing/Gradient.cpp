#include "drawing/Gradient.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "qdibcore/Source/PixelFormat.h"

bool QGDI_CleanUpGradient(const double* offsets, double*& out, int count) {
    out = nullptr;
    const size_t n = size_t(std::max(count, 0));
    out = new (std::nothrow) double[std::max<size_t>(n, 1)];
    if (!out) return false;
    for (size_t i = 0; i < n; ++i) {
        const double raw = offsets[i];
        // NaN has no place on the line: it goes to the start.
        double v = std::isnan(raw) ? 0.0 : std::clamp(raw, 0.0, 1.0);
        // Against the raw previous offset, not the cleaned one: a previous
        // offset above 1 is thus copied unclamped, and two falls in a row
        // are not fully undone. Callers' tables depend on exactly this.
        if (i > 0 && offsets[i - 1] > v) v = offsets[i - 1];
        out[i] = v;
    }
    return true;
}

namespace {

// Round to nearest, ties to even (the default rounding mode).
inline double RoundEven(double v) noexcept { return std::nearbyint(v); }

bool FillRange(uint32_t* table, double a, double b, uint32_t c0, uint32_t c1) {
    if (!std::isfinite(a) || !std::isfinite(b)) return false;
    const double i0 = RoundEven(a * 1024.0), i1 = RoundEven(b * 1024.0);
    if (i1 == i0) return true;
    if (i0 < 0 || i1 > 1024) return false;
    const int first = int(i0), last = int(i1);
    if (c0 == c1) {
        const uint32_t bgra = QGDI_RGBAtoBGRA(c0);
        for (int k = first; k <= last; ++k) table[k] = bgra;
        return true;
    }
    const int span = last - first;
    for (int k = 0; k <= span; ++k) {
        const double t = double(k) / span;
        uint32_t rgba = 0;
        for (int shift = 0; shift < 32; shift += 8) {
            const double v = double((c0 >> shift) & 0xFF) * (1.0 - t) + double((c1 >> shift) & 0xFF) * t;
            rgba |= uint32_t(RoundEven(v)) << shift;
        }
        table[first + k] = QGDI_RGBAtoBGRA(rgba);
    }
    return true;
}

}  // namespace

bool QGDI_CalculateGradientLUT1024(uint32_t* table, const double* offsets, const uint32_t* colours, int count) {
    if (!table || !offsets || !colours || count <= 0) return false;
    const int n = count;
    if (n == 1 || std::fabs(offsets[0] - offsets[n - 1]) < 1e-6) {
        std::fill_n(table, kGradientLUTSize, QGDI_RGBAtoBGRA(colours[0]));
        return true;
    }
    if (offsets[0] > 0 && !FillRange(table, 0.0, offsets[0], colours[0], colours[0])) return false;
    for (int i = 1; i < n; ++i)
        if (!FillRange(table, offsets[i - 1], offsets[i], colours[i - 1], colours[i])) return false;
    if (offsets[n - 1] < 1 && !FillRange(table, offsets[n - 1], 1.0, colours[n - 1], colours[n - 1])) return false;
    return true;
}

int QGDI_GradientSpreadIndex(double t, ESpreadMethod spread) noexcept {
    if (std::isnan(t)) return 0;
    double u = t;
    double whole;
    switch (spread) {
    case keSpreadReflect:
        if (t < 0)
            u = (std::modf(t / 2, &whole) + 1) * 2;
        else if (t > 1)
            u = std::modf(t / 2, &whole) * 2;
        if (u > 1) u = 2 - u;
        break;
    case keSpreadRepeat:
        if (t < 0)
            u = std::modf(t, &whole) + 1;
        else if (t > 1)
            u = std::modf(t, &whole);
        break;
    default:
        if (t < 0) return 0;
        if (t > 1) return 1024;
        break;
    }
    return std::clamp(int(RoundEven(u * 1024.0)), 0, 1024);
}

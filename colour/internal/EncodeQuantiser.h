#pragma once
// Linear light to an 8-bit device value without evaluating the curve: the byte
// trunc(YtoD(y) x 255.9999), clamped, only changes where y crosses one of 255
// thresholds, which are found once by bisection on the curve itself. The
// answer is therefore the byte the direct computation gives, for every y.
#include <cstdint>

#include "colour/ColourSpaceRGB.h"

namespace qgdi::colour {

class CEncodeQuantiser8 {
public:
    void Build(const SColorSpecRGB& cs) noexcept;

    uint8_t operator()(double y) const noexcept {
        // The coarse cell gives a first guess that is at most a few steps off.
        const double s = y * kCells;
        int b = m_cell[s > 0 ? (s < kCells ? int(s) : kCells) : 0];
        while (y < m_threshold[b]) --b;
        while (y >= m_threshold[b + 1]) ++b;
        return uint8_t(b);
    }

private:
    static constexpr int kCells = 4096;
    // m_threshold[k]: the smallest y that gives byte k or more; [0] = -inf, [256] = +inf.
    double m_threshold[257];
    uint8_t m_cell[kCells + 1];
};

}  // namespace qgdi::colour

#include "geometry/FastFn.h"

#include <algorithm>
#include <limits>

bool CFastFnI::Allocate(int first, int last) {
    m_table.clear();
    if (last < first || int64_t(last) - first >= (int64_t(1) << 24)) return false;
    m_first = first;
    m_table.assign(size_t(int64_t(last) - first + 1), 0);
    return true;
}

int32_t CFastFnI::Saturate(double v) noexcept {
    if (!(v == v)) return 0;
    // Half away from zero, then clamped to the 32-bit range.
    const double r = v >= 0.0 ? std::floor(v + 0.5) : std::ceil(v - 0.5);
    if (r >= 2147483647.0) return std::numeric_limits<int32_t>::max();
    if (r <= -2147483648.0) return std::numeric_limits<int32_t>::min();
    return int32_t(r);
}

void CFastFnI::Apply(const uint8_t* src, uint8_t* dst, int count) const noexcept {
    if (!src || !dst) return;
    for (int i = 0; i < count; ++i) dst[i] = uint8_t(std::clamp<int32_t>((*this)(src[i]), 0, 255));
}

void CFastFnI::Apply(const uint16_t* src, uint16_t* dst, int count) const noexcept {
    if (!src || !dst) return;
    for (int i = 0; i < count; ++i) dst[i] = uint16_t(std::clamp<int32_t>((*this)(src[i]), 0, 65535));
}

void CFastFnI::Apply(const int32_t* src, int32_t* dst, int count) const noexcept {
    if (!src || !dst) return;
    for (int i = 0; i < count; ++i) dst[i] = (*this)(src[i]);
}

bool CFastFnR::Allocate(double x0, double x1, int samples) {
    m_table.clear();
    if (samples < 2 || samples > (1 << 26) || !(x1 > x0) || !std::isfinite(x0) || !std::isfinite(x1)) return false;
    m_x0 = x0;
    m_x1 = x1;
    m_invStep = (samples - 1) / (x1 - x0);
    m_last = samples - 1;
    m_table.assign(size_t(samples) + 1, 0.0);
    return true;
}

double CFastFnR::SampleAt(int i) const noexcept {
    const int n = GetSamples();
    if (n < 2) return m_x0;
    // The last sample is exactly x1, not x0 plus an accumulated step.
    return i >= n - 1 ? m_x1 : m_x0 + (m_x1 - m_x0) * i / (n - 1);
}

void CFastFnR::Eval(const double* x, double* y, int count) const noexcept {
    if (!x || !y) return;
    for (int i = 0; i < count; ++i) y[i] = (*this)(x[i]);
}

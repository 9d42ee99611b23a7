#pragma once
// Tabulated functions: a costly function (a gamma curve, an exponential falloff,
// a filter kernel) sampled once so that per-pixel loops read a table instead.
#include <cmath>
#include <cstdint>
#include <vector>

#include "qgdi_export.h"

// Integer arguments first..last to integer results: one table read per call.
// Arguments outside the range are clamped to it.
class QGDI_API CFastFnI {
public:
    CFastFnI() noexcept = default;
    // fn(int) -> double, rounded half away from zero and saturated to 32 bits.
    // False (and an empty table) when last < first or the range exceeds 2^24 entries.
    template <class F>
    bool Init(F&& fn, int first, int last) {
        if (!Allocate(first, last)) return false;
        for (size_t k = 0; k < m_table.size(); ++k) m_table[k] = Saturate(fn(int(int64_t(first) + int64_t(k))));
        return true;
    }
    bool IsValid() const noexcept { return !m_table.empty(); }
    int GetFirst() const noexcept { return m_first; }
    int GetLast() const noexcept { return m_first + int(m_table.size()) - 1; }
    const int32_t* GetTable() const noexcept { return m_table.data(); }

    int32_t operator()(int x) const noexcept {
        const int64_t i = int64_t(x) - m_first;
        const int64_t n = int64_t(m_table.size()) - 1;
        return m_table.empty() ? 0 : m_table[size_t(i < 0 ? 0 : (i > n ? n : i))];
    }
    // Maps a span of samples, each result saturated to the sample type.
    void Apply(const uint8_t* src, uint8_t* dst, int count) const noexcept;
    void Apply(const uint16_t* src, uint16_t* dst, int count) const noexcept;
    void Apply(const int32_t* src, int32_t* dst, int count) const noexcept;

private:
    bool Allocate(int first, int last);
    static int32_t Saturate(double v) noexcept;

    int m_first = 0;
    std::vector<int32_t> m_table;
};

// Real arguments over [x0, x1], evaluated by linear interpolation between
// `samples` equally spaced values; arguments outside are clamped to the range.
// The error for a smooth f is at most h^2/8 max|f''| with h the sample spacing.
class QGDI_API CFastFnR {
public:
    CFastFnR() noexcept = default;
    // False (and an empty table) when samples < 2 or the range is empty or not finite.
    template <class F>
    bool Init(F&& fn, double x0, double x1, int samples) {
        if (!Allocate(x0, x1, samples)) return false;
        for (int i = 0; i < samples; ++i) m_table[size_t(i)] = fn(SampleAt(i));
        // The extra copy of the last value lets evaluation read two entries unguarded.
        m_table[size_t(samples)] = m_table[size_t(samples - 1)];
        return true;
    }
    bool IsValid() const noexcept { return !m_table.empty(); }
    double GetMin() const noexcept { return m_x0; }
    double GetMax() const noexcept { return m_x1; }
    int GetSamples() const noexcept { return m_table.empty() ? 0 : int(m_table.size()) - 1; }
    double SampleAt(int i) const noexcept;

    double operator()(double x) const noexcept {
        if (m_table.empty()) return 0.0;
        // Position in sample units, clamped; the fraction weights the next sample.
        double t = (x - m_x0) * m_invStep;
        t = t > 0.0 ? (t < m_last ? t : m_last) : 0.0;
        const int i = int(t);
        const double f = t - i;
        return m_table[size_t(i)] + f * (m_table[size_t(i) + 1] - m_table[size_t(i)]);
    }
    void Eval(const double* x, double* y, int count) const noexcept;

private:
    bool Allocate(double x0, double x1, int samples);

    double m_x0 = 0.0;
    double m_x1 = 0.0;
    double m_invStep = 0.0;
    double m_last = 0.0;
    std::vector<double> m_table;
};

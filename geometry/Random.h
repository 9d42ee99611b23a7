#pragma once
// Deterministic pseudo-random generators. Noise, dithering and clustering must
// give the same result from the same seed on every machine and build, so the
// recurrences and the scaling of each draw are fixed, not left to <random>.
#include <cstdint>

#include "qgdi_export.h"

// 15-bit linear congruential generator, cheap enough to call per pixel.
// Every draw first advances the state, then uses r = (state >> 16) & 0x7FFF.
class QGDI_API CRandom {
public:
    static constexpr int kMax = 0x7FFF;

    CRandom() noexcept = default;
    explicit CRandom(uint32_t seed) noexcept : m_state(seed) {}

    void Seed(uint32_t seed) noexcept { m_state = seed; }
    uint32_t GetState() const noexcept { return m_state; }

    // r in 0..32767
    int Get() noexcept { return Next(); }
    // (r·(n + 1)) >> 15, so 0..n; 64-bit product so large n cannot overflow
    int Get(int n) noexcept { return static_cast<int>((int64_t{Next()} * (int64_t{n} + 1)) >> 15); }
    // r/32767·max, both ends reachable
    double Get(double max) noexcept { return Next() / double{kMax} * max; }
    // (r·256) >> 15, 0..255
    uint8_t GetByte() noexcept { return static_cast<uint8_t>((Next() * 256) >> 15); }
    // r/32767 in [0, 1]
    double GetDecimal() noexcept { return Next() / double{kMax}; }
    // (r·101) >> 15, 0..100
    int GetPercent() noexcept { return (Next() * 101) >> 15; }

private:
    // state := state·214013 + 2531011 mod 2^32
    int Next() noexcept {
        m_state = m_state * 214013u + 2531011u;
        return static_cast<int>((m_state >> 16) & 0x7FFF);
    }

    uint32_t m_state = 1;
};

// The 31-bit minimal-standard generator, state := 16807·state mod (2^31 − 1),
// stepped by Schrage's method so that no product leaves 32 bits.
class QGDI_API CRandomMinStd {
public:
    static constexpr int32_t kModulus = 2147483647;

    CRandomMinStd() noexcept = default;
    explicit CRandomMinStd(int32_t seed) noexcept { Seed(seed); }

    // The state must stay in 1..2^31 − 2: 0 is a fixed point of the recurrence.
    void Seed(int32_t seed) noexcept;
    int32_t GetSeed() const noexcept { return m_state; }

    // The new state, 1..2147483646.
    int32_t Get() noexcept { return Next(); }
    // 0..n; n < 1 acts as 1 and 2^31 − 1 as 2^31 − 2.
    int32_t Get(int32_t n) noexcept;
    // lo + (0..hi − lo), with hi − lo treated as n above.
    int32_t Get(int32_t lo, int32_t hi) noexcept;
    // state/(2^31 − 1)·max
    double Get(double max) noexcept { return Next() / double{kModulus} * max; }
    // state/(2^31 − 1)·(hi − lo) + lo
    double Get(double lo, double hi) noexcept { return Next() / double{kModulus} * (hi - lo) + lo; }

private:
    int32_t Next() noexcept;

    int32_t m_state = 1;
};

#include "drawing/GradientSpan.h"

#include <algorithm>
#include <cmath>

#include "drawing/Gradient.h"
#include "platform/TargetPass.h"

namespace qgdi::QGDI_TARGET_NS {
namespace {

using gradient::SRadial;
using gradient::SSpanWalk;

// Parameters are carried as table positions in 16.16 fixed point: t x 1024 x 65536.
constexpr int32_t kOne = 1024 << 16;
constexpr int32_t kTwo = 2048 << 16;
// Lanes computed per chunk of a float-parameter span.
constexpr int kChunk = 256;

// Round to nearest, ties to even, of a non-negative 16.16 position.
inline int32_t RoundFixed(int32_t s) noexcept { return (s + 0x7FFF + ((s >> 16) & 1)) >> 16; }

// The table index of fixed position s. Repeat keeps the exact whole turns of
// the scalar rule: t = 1 and t = -k index the last entry, t = k > 1 the first.
template <int kSpread>
inline int32_t IndexOf(int32_t s) noexcept {
    if constexpr (kSpread == keSpreadRepeat) {
        const int32_t w = s & (kOne - 1);
        const int32_t i = RoundFixed(w);
        return ((w == 0) & ((s == kOne) | (s < 0))) ? 1024 : i;
    } else if constexpr (kSpread == keSpreadReflect) {
        const int32_t w = s & (kTwo - 1);
        return RoundFixed(w > kOne ? kTwo - w : w);
    } else {
        return RoundFixed(std::clamp(s, int32_t(0), kOne));
    }
}

// Colours of table indices; a gather where the target has one.
inline void Gather(const uint32_t* __restrict__ lut, const int32_t* __restrict__ idx, int n,
                   uint32_t* __restrict__ out) noexcept {
    for (int i = 0; i < n; ++i) out[i] = lut[idx[i]];  // @vectorised(avx2, avx512)
}

// n pixels at s0 + i ds (fixed); the caller keeps |s0| + n |ds| below 2^30.
template <int kSpread>
void LookupLinear(const uint32_t* lut, int32_t s0, int32_t ds, int n, uint32_t* out) noexcept {
    alignas(64) int32_t idx[kChunk];
    for (int done = 0; done < n; done += kChunk) {
        const int len = std::min(kChunk, n - done);
        const int32_t start = s0 + done * ds;
        for (int i = 0; i < len; ++i) idx[i] = IndexOf<kSpread>(start + i * ds);  // @vectorised
        Gather(lut, idx, len, out + done);
    }
}

// Float table positions (t x 1024) to colours. Repeat and reflect fold the
// position into one period first, so that it fits the fixed-point form.
template <int kSpread>
void LookupFloat(const uint32_t* lut, const float* __restrict__ s, int n, uint32_t* out) noexcept {
    alignas(64) int32_t idx[kChunk];
    for (int i = 0; i < n; ++i) {  // @vectorised
        float v = s[i];
        if constexpr (kSpread == keSpreadPad) {
            v = std::min(std::max(v, -1.0f), 1025.0f);
        } else {
            const float q = v * (1.0f / 2048.0f);
            int32_t k = int32_t(q);
            k -= int32_t(float(k) > q);
            v -= float(k) * 2048.0f;
        }
        idx[i] = IndexOf<kSpread>(int32_t(v * 65536.0f));
    }
    Gather(lut, idx, n, out);
}

template <class Fn>
void BySpread(int spread, Fn&& fn) {
    if (spread == keSpreadRepeat)
        fn(std::integral_constant<int, keSpreadRepeat>());
    else if (spread == keSpreadReflect)
        fn(std::integral_constant<int, keSpreadReflect>());
    else
        fn(std::integral_constant<int, keSpreadPad>());
}

}  // namespace

void GradientLinearSpan(const uint32_t* lut, int spread, double t0, double dt, int n, uint32_t* out) noexcept {
    const double s0 = t0 * 1024.0, ds = dt * 1024.0;
    if (!std::isfinite(s0) || !std::isfinite(ds)) {
        std::fill_n(out, std::max(n, 0), lut[0]);
        return;
    }
    // Chunks that move at most 4096 entries keep every fixed position of a
    // chunk within 2^30 once its start is brought near the table.
    // (and at most 4096 pixels, which keeps the rounded step's drift below a
    // twentieth of an entry).
    const double reach = std::fabs(ds);
    const int chunk = std::min(4096, reach * n <= 4096.0 ? n : std::max(1, int(4096.0 / reach)));
    BySpread(spread, [&](auto kind) {
        constexpr int kSpread = decltype(kind)::value;
        const int32_t step = int32_t(std::lround(ds * 65536.0));
        for (int done = 0; done < n;) {
            const int len = std::min(chunk, n - done);
            double s = s0 + done * ds;
            if constexpr (kSpread == keSpreadPad) {
                const double last = s + (len - 1) * ds;
                if (std::max(s, last) < 0 || std::min(s, last) > 1024) {
                    std::fill_n(out + done, len, lut[s < 0 ? 0 : 1024]);
                    done += len;
                    continue;
                }
            } else if (std::fabs(s) > 8192) {
                s -= 2048.0 * std::floor(s / 2048.0);
            }
            LookupLinear<kSpread>(lut, int32_t(std::lround(s * 65536.0)), step, len, out + done);
            done += len;
        }
    });
}

void GradientRadialSpan(const uint32_t* lut, int spread, const SRadial& radial, const SSpanWalk& walk, int n,
                        uint32_t* out) noexcept {
    alignas(64) float s[kChunk];
    const float fx = float(radial.fx), fy = float(radial.fy);
    const float a = float(1.0 / radial.inv), inv1024 = float(radial.inv * 1024.0);
    BySpread(spread, [&](auto kind) {
        constexpr int kSpread = decltype(kind)::value;
        for (int done = 0; done < n; done += kChunk) {
            const int len = std::min(kChunk, n - done);
            const float x0 = float(walk.u0 + done * walk.du - radial.fx), y0 = float(walk.v0 + done * walk.dv - radial.fy);
            const float dx = float(walk.du), dy = float(walk.dv);
            // |d - t cd|^2 = t^2 with cd = -f: a t^2 - 2 b t + c = 0 and a < 0,
            // so the root on the gradient's side is (b - sqrt(b^2 - a c)) / a.
            for (int i = 0; i < len; ++i) {  // @vectorised
                const float px = x0 + float(i) * dx, py = y0 + float(i) * dy;
                const float b = -(px * fx + py * fy);
                const float c = px * px + py * py;
                s[i] = (b - std::sqrt(std::max(b * b - a * c, 0.0f))) * inv1024;
            }
            LookupFloat<kSpread>(lut, s, len, out + done);
        }
    });
}

void GradientConicSpan(const uint32_t* lut, int spread, const SSpanWalk& walk, int n, uint32_t* out) noexcept {
    alignas(64) float s[kChunk];
    constexpr float kHalfPi = 1.57079632679489f, kPi = 3.14159265358979f, kTurn = 1024.0f / (2.0f * kPi);
    BySpread(spread, [&](auto kind) {
        constexpr int kSpread = decltype(kind)::value;
        for (int done = 0; done < n; done += kChunk) {
            const int len = std::min(kChunk, n - done);
            const float x0 = float(walk.u0 + done * walk.du), y0 = float(walk.v0 + done * walk.dv);
            const float dx = float(walk.du), dy = float(walk.dv);
            for (int i = 0; i < len; ++i) {  // @vectorised
                const float x = x0 + float(i) * dx, y = y0 + float(i) * dy;
                const float ax = std::fabs(x), ay = std::fabs(y);
                const float lo = std::min(ax, ay), hi = std::max(std::max(ax, ay), 1e-30f);
                // atan on 0..1 by a minimax polynomial (error below 1e-5 rad,
                // a hundredth of a table entry); the quotient is the one
                // division, as an angle has no linear form along a row.
                const float r = lo / hi, r2 = r * r;
                float q = r * (0.99997726f +
                               r2 * (-0.33262347f + r2 * (0.19354346f + r2 * (-0.11643287f +
                                                                             r2 * (0.05265332f + r2 * -0.01172120f)))));
                q = ay > ax ? kHalfPi - q : q;
                q = x < 0 ? kPi - q : q;
                q = y < 0 ? 2.0f * kPi - q : q;
                s[i] = q * kTurn;
            }
            LookupFloat<kSpread>(lut, s, len, out + done);
        }
    });
}

void GradientRectangularSpan(const uint32_t* lut, int spread, const SSpanWalk& walk, int n, uint32_t* out) noexcept {
    alignas(64) float s[kChunk];
    BySpread(spread, [&](auto kind) {
        constexpr int kSpread = decltype(kind)::value;
        for (int done = 0; done < n; done += kChunk) {
            const int len = std::min(kChunk, n - done);
            const float x0 = float((walk.u0 + done * walk.du) * 1024.0), y0 = float((walk.v0 + done * walk.dv) * 1024.0);
            const float dx = float(walk.du * 1024.0), dy = float(walk.dv * 1024.0);
            for (int i = 0; i < len; ++i)  // @vectorised
                s[i] = std::max(std::fabs(x0 + float(i) * dx), std::fabs(y0 + float(i) * dy));
            LookupFloat<kSpread>(lut, s, len, out + done);
        }
    });
}

}  // namespace qgdi::QGDI_TARGET_NS

#if QGDI_BASELINE_PASS
QGDI_DECLARE_PER_TARGET(void GradientLinearSpan(const uint32_t*, int, double, double, int, uint32_t*) noexcept)
QGDI_DECLARE_PER_TARGET(void GradientRadialSpan(const uint32_t*, int, const qgdi::gradient::SRadial&,
                                                const qgdi::gradient::SSpanWalk&, int, uint32_t*) noexcept)
QGDI_DECLARE_PER_TARGET(void GradientConicSpan(const uint32_t*, int, const qgdi::gradient::SSpanWalk&, int,
                                               uint32_t*) noexcept)
QGDI_DECLARE_PER_TARGET(void GradientRectangularSpan(const uint32_t*, int, const qgdi::gradient::SSpanWalk&, int,
                                                     uint32_t*) noexcept)

namespace qgdi::gradient {
void LinearSpan(const uint32_t* lut, int spread, double t0, double dt, int n, uint32_t* out) noexcept {
    QGDI_DISPATCH(GradientLinearSpan)(lut, spread, t0, dt, n, out);
}
void RadialSpan(const uint32_t* lut, int spread, const SRadial& radial, const SSpanWalk& walk, int n,
                uint32_t* out) noexcept {
    QGDI_DISPATCH(GradientRadialSpan)(lut, spread, radial, walk, n, out);
}
void ConicSpan(const uint32_t* lut, int spread, const SSpanWalk& walk, int n, uint32_t* out) noexcept {
    QGDI_DISPATCH(GradientConicSpan)(lut, spread, walk, n, out);
}
void RectangularSpan(const uint32_t* lut, int spread, const SSpanWalk& walk, int n, uint32_t* out) noexcept {
    QGDI_DISPATCH(GradientRectangularSpan)(lut, spread, walk, n, out);
}
}  // namespace qgdi::gradient
#endif  // QGDI_BASELINE_PASS
